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

unsigned int* element_columns::append_and_grow(std::size_t n) {
    give_back();
    const std::size_t rows = std::max(rows_, n);
    const std::size_t old_ld = connect_.empty() ? rows : connect_.ld();
    if (connect_.capacity() / old_ld <= cols_ &&
        !connect_.reserve(rows, std::bit_ceil(cols_ + 1), 1)) {
        return nullptr;
    }
    const bool fits = rows == rows_ ? connect_.resize(rows, cols_ + 1)
                                    : connect_.resize(rows, cols_ + 1, no_id);
    if (!fits) return nullptr;
    const std::size_t added = cols_++;
    rows_ = rows;
    ld_ = connect_.ld();
    held_ = connect_.capacity() / ld_;
    connect_.resize(rows, held_);
    first_ = connect_.column(0);
    std::fill(first_ + added * ld_ + n, first_ + added * ld_ + rows, no_id);
    return first_ + added * ld_;
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
