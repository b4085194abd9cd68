#include "formats/growing_arrays.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "core/ids.h"
#include "formats/memory_bound.h"

namespace kv7::tessmaker {

unsigned int* element_columns::append_and_grow(std::size_t n) {
    give_back();
    const std::size_t rows = std::max(rows_, n);
    const std::size_t old_ld = connect_.empty() ? rows : connect_.ld();
    if (connect_.capacity() / old_ld <= cols_ &&
        !connect_.reserve(rows, std::bit_ceil(cols_ + 1), 1)) {
        return nullptr;
    }
    const bool fits =
        rows == rows_ ? connect_.resize(rows, cols_ + 1) : connect_.resize(rows, cols_ + 1, no_id);
    if (!fits) return nullptr;
    rows_ = rows;
    held_ = connect_.capacity() / connect_.ld();
    connect_.resize(rows, held_);
    unsigned int* const column = connect_.column(cols_++);
    std::fill(column + n, column + rows, no_id);
    return column;
}

void element_columns::reserve(std::size_t nbr_elements) {
    if (nbr_elements <= held_ || cols_ == 0) return;
    give_back();
    connect_.reserve(rows_, nbr_elements, 1);
    held_ = std::max(cols_, connect_.capacity() / connect_.ld());
    connect_.resize(rows_, held_);
}

bool place_by_id(dense2D<double>& pos, unsigned int id) {
    const std::uint64_t k = std::uint64_t{id} - 1;
    const std::size_t ld = pos.empty() ? 3 : pos.ld();
    if ((k + 1) * ld > pos.capacity()) {
        // A single absurd ID must not use up all memory: Linux grants more than there is.
        static const std::uint64_t memory = available_memory();
        const std::uint64_t nbr_columns = std::bit_ceil(k + 1);
        if (nbr_columns > memory / (ld * sizeof(double))) return false;
        if (!pos.reserve(3, nbr_columns, 1)) return false;
    }
    return k < pos.cols() || pos.resize(3, id, 0.0);
}

} // namespace kv7::tessmaker
