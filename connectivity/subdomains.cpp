#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "core/outputs.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// One bit for each element, clear at first.
class element_bits {
public:
    bool init(std::size_t n) { return words_.resize((n + 63) / 64, 0); }

    // Sets bit i. Returns whether it was clear.
    bool set(std::size_t i) {
        std::uint64_t& word = words_[i / 64];
        const std::uint64_t bit = std::uint64_t{1} << (i % 64);
        const bool was_clear = (word & bit) == 0;
        word |= bit;
        return was_clear;
    }

    // The first clear bit from `i` on; there must be one.
    std::size_t next_clear(std::size_t i) const {
        std::size_t w = i / 64;
        std::uint64_t clear = ~words_[w] & (~std::uint64_t{0} << (i % 64));
        while (clear == 0) clear = ~words_[++w];
        return w * 64 + static_cast<std::size_t>(std::countr_zero(clear));
    }

private:
    dense1D<std::uint64_t, 8> words_;
};

// Floods the mesh breadth first from the lowest element not yet listed. `list` itself is the queue;
// an element is marked when it enters. Both outputs are empty on entry. Returns false if memory
// fails.
bool list_subdomains(const dense2D<unsigned int>& neighbors, id_list& list, id_list& first) {
    const std::size_t nbr_elements = neighbors.cols();
    const std::size_t rows = neighbors.rows();
    element_bits marks;
    if (!marks.init(nbr_elements) || !list.resize(nbr_elements) || !first.push_back(0))
        return false;
    unsigned int* const queue = list.data();
    std::size_t nbr_listed = 0;
    std::size_t seed = 0;
    for (std::size_t next = 0; next < nbr_elements;) {
        seed = marks.next_clear(seed);
        marks.set(seed);
        queue[nbr_listed++] = static_cast<unsigned int>(seed);
        for (; next < nbr_listed; ++next) {
            const unsigned int* const across = neighbors.column(queue[next]);
            for (std::size_t r = 0; r < rows; ++r) {
                if (across[r] < nbr_elements && marks.set(across[r]))
                    queue[nbr_listed++] = across[r];
            }
        }
        if (!first.push_back(static_cast<unsigned int>(nbr_listed))) return false;
    }
    return true;
}

// Copies the values of `source` into `target`, which has the same rows and columns and keeps its
// leading dimension.
void put_columns(const dense2D<unsigned int>& source, dense2D<unsigned int>& target) {
    for (std::size_t c = 0; c < source.cols(); ++c) {
        std::copy_n(source.column(c), source.rows(), target.column(c));
    }
}

// Puts the columns of both arrays in the order of `list` and renumbers the elements in `neighbors`.
// Returns false, with nothing changed, if memory fails.
bool reorder_columns(const id_list& list, dense2D<unsigned int>& connect,
                     dense2D<unsigned int>& neighbors) {
    dense2D<unsigned int> new_connect;
    dense2D<unsigned int> new_neighbors;
    id_list inverse;
    if (!new_connect.append(connect, list) || !new_neighbors.append(neighbors, list) ||
        !inverse.resize(list.size()))
        return false;
    for (std::size_t i = 0; i < list.size(); ++i) inverse[list[i]] = static_cast<unsigned int>(i);
    change_indices(new_neighbors, inverse);
    put_columns(new_connect, connect);
    put_columns(new_neighbors, neighbors);
    return true;
}

} // namespace

int get_subdomains(const dense2D<unsigned int>& neighbors, id_list& list, id_list& first) {
    clear_outputs(outputs{list, first}, inputs{neighbors});
    if (list_subdomains(neighbors, list, first)) return 0;
    list.clear();
    first.clear();
    return -199;
}

int get_subdomains(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
                   id_list& first) {
    clear_outputs(outputs{first}, inputs{connect, neighbors});
    if (connect.cols() != neighbors.cols()) return -2;
    id_list list;
    const int result = get_subdomains(neighbors, list, first);
    if (result != 0) return result;
    if (reorder_columns(list, connect, neighbors)) return 0;
    first.clear();
    return -199;
}

} // namespace kv7::tessmaker
