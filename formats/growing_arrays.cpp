#include "formats/growing_arrays.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include "core/ids.h"

namespace kv7::tessmaker {

namespace {

// In bytes; the largest number if the system does not tell.
std::uint64_t physical_memory() {
    const long nbr_pages = sysconf(_SC_PHYS_PAGES);
    const long page_size = sysconf(_SC_PAGESIZE);
    if (nbr_pages <= 0 || page_size <= 0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(nbr_pages) * static_cast<std::uint64_t>(page_size);
}

} // namespace

bool append_element(const unsigned int* nodes, std::size_t n, id_matrix& connect) {
    const std::size_t cols = connect.cols();
    const std::size_t rows = std::max(connect.rows(), n);
    const std::size_t ld = connect.empty() ? rows : connect.ld();
    if (connect.capacity() / ld <= cols && !connect.reserve(rows, std::bit_ceil(cols + 1), 1)) {
        return false;
    }
    const bool fits = rows == connect.rows() ? connect.resize(rows, cols + 1)
                                             : connect.resize(rows, cols + 1, no_id);
    if (!fits) return false;
    unsigned int* const column = connect.column(cols);
    std::fill(std::copy_n(nodes, n, column), column + rows, no_id);
    return true;
}

bool place_by_id(dense2D<double>& pos, unsigned int id) {
    const std::uint64_t k = std::uint64_t{id} - 1;
    const std::size_t ld = pos.empty() ? 3 : pos.ld();
    if (k >= pos.capacity() / ld) {
        // A single absurd ID must not use up all memory: Linux grants more than there is.
        static const std::uint64_t memory = physical_memory();
        const std::uint64_t nbr_columns = std::bit_ceil(k + 1);
        if (nbr_columns > memory / (ld * sizeof(double))) return false;
        if (!pos.reserve(3, nbr_columns, 1)) return false;
    }
    return k < pos.cols() || pos.resize(3, id, 0.0);
}

} // namespace kv7::tessmaker
