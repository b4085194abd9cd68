#include "tessmaker/index_arrays.h"

#include <algorithm>

#include "core/column_runs.h"
#include "core/ids.h"
#include "core/outputs.h"

namespace kv7::tessmaker {

namespace {

// The largest ID plus 1. The absent ID does not count: adding 1 wraps it to 0.
unsigned int max_successor(const unsigned int* ids, std::size_t n) {
    unsigned int largest = 0;
    for (std::size_t i = 0; i < n; ++i) largest = std::max(largest, ids[i] + 1U);
    return largest;
}

unsigned int predecessor(unsigned int successor) { return successor == 0 ? 0 : successor - 1; }

void relabel(unsigned int* ids, std::size_t n, const unsigned int* new_IDs, std::size_t nbr_new) {
    for (std::size_t i = 0; i < n; ++i) {
        if (ids[i] < nbr_new) ids[i] = new_IDs[ids[i]];
    }
}

void shift_all(unsigned int* ids, std::size_t n, unsigned int shift) {
    for (std::size_t i = 0; i < n; ++i) ids[i] += shift;
}

void shift_present(unsigned int* ids, std::size_t n, unsigned int shift) {
    for (std::size_t i = 0; i < n; ++i) ids[i] = ids[i] == no_id ? no_id : ids[i] + shift;
}

template <class T> int permute(dense1D<T, 8>& values, const id_list& perm) {
    const std::size_t n = values.size();
    const std::size_t m = std::min(n, perm.size());
    if (n == 0) return 0;

    dense1D<T, 8> moved;
    if (!moved.copy(values)) return -199;
    const T* const from = values.data();
    const unsigned int* const target = perm.data();
    T* const to = moved.data();
    for (std::size_t i = 0; i < m; ++i) {
        const std::size_t p = target[i];
        if (p < n && p != i) to[p] = from[i];
    }
    std::copy_n(to, n, values.data());
    return 0;
}

} // namespace

unsigned int max_ID(const id_list& nodes) {
    return nodes.empty() ? no_id : predecessor(max_successor(nodes.data(), nodes.size()));
}

unsigned int max_ID(const dense2D<unsigned int>& connect) {
    if (connect.empty()) return no_id;
    unsigned int largest = 0;
    for_each_run(connect, [&largest](const unsigned int* ids, std::size_t n) {
        largest = std::max(largest, max_successor(ids, n));
    });
    return predecessor(largest);
}

void change_indices(id_list& nodes, const id_list& new_IDs) {
    relabel(nodes.data(), nodes.size(), new_IDs.data(), new_IDs.size());
}

void change_indices(dense2D<unsigned int>& connect, const id_list& new_IDs) {
    for_each_run(connect, [&new_IDs](unsigned int* ids, std::size_t n) {
        relabel(ids, n, new_IDs.data(), new_IDs.size());
    });
}

int shift_indices(id_list& nodes, int shift) {
    if (shift != 0) shift_present(nodes.data(), nodes.size(), static_cast<unsigned int>(shift));
    return 0;
}

int shift_indices(dense2D<unsigned int>& connect, int shift, element_type type) {
    if (shift == 0) return 0;
    // Kept: the type counts as given, whatever the number of rows, and so the absent ID is shifted
    // under any other type.
    const bool keep_absent = type == ET_FACE_MIX || type == ET_SOLID_MIX;
    for_each_run(connect, [shift, keep_absent](unsigned int* ids, std::size_t n) {
        (keep_absent ? shift_present : shift_all)(ids, n, static_cast<unsigned int>(shift));
    });
    return 0;
}

int permutation(id_list& values, const id_list& perm) { return permute(values, perm); }

int permutation(dense1D<double, 8>& values, const id_list& perm) { return permute(values, perm); }

int get_sorted_order(const id_list& values, id_list& order, id_list& addresses) {
    clear_outputs(outputs{order, addresses}, inputs{values});
    if (values.empty()) return addresses.push_back(0) ? 0 : -199;

    const std::size_t n = values.size();
    const std::size_t m = max_ID(values);
    if (!order.resize(n) || !addresses.resize(m + 3, 0)) {
        order.clear();
        addresses.clear();
        return -199;
    }

    // Value v is counted in address[v + 2]. After the sum, address[v + 1] is where the indices of v
    // begin; after the scatter, it is where they end and those of v + 1 begin.
    const unsigned int* const value = values.data();
    unsigned int* const address = addresses.data();
    unsigned int* const index = order.data();
    for (std::size_t i = 0; i < n; ++i) {
        if (value[i] != no_id) ++address[std::size_t{value[i]} + 2];
    }
    for (std::size_t v = 2; v < m + 2; ++v) address[v] += address[v - 1];
    for (std::size_t i = 0; i < n; ++i) {
        if (value[i] == no_id) continue;
        index[address[std::size_t{value[i]} + 1]++] = static_cast<unsigned int>(i);
    }
    addresses.resize(m + 2);
    order.resize(addresses[m + 1]);
    return 0;
}

} // namespace kv7::tessmaker
