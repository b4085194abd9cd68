#include "tessmaker/repair.h"

#include <algorithm>

#include "core/ids.h"
#include "core/outputs.h"
#include "repair/few_rows.h"

namespace kv7::tessmaker {

namespace {

// For columns of few rows comparing all pairs is faster than sorting.
bool has_equal_pair(const unsigned int* column, std::size_t rows, bool strict) {
    for (std::size_t i = 1; i < rows; ++i) {
        if (column[i] == no_id && !strict) continue;
        for (std::size_t j = 0; j < i; ++j) {
            if (column[j] == column[i]) return true;
        }
    }
    return false;
}

// `sorted` has room for a column.
bool has_equal_neighbors(const unsigned int* column, std::size_t rows, bool strict,
                         unsigned int* sorted) {
    unsigned int* const end = strict ? std::copy_n(column, rows, sorted)
                                     : std::remove_copy(column, column + rows, sorted, no_id);
    std::sort(sorted, end);
    return std::adjacent_find(sorted, end) != end;
}

// `new_columns` is null or has one entry per column, each the absent ID.
int remove_columns(dense2D<unsigned int>& connect, unsigned int* new_columns, bool strict) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    // Without memory, long columns are compared like short ones.
    id_list sorted;
    const bool is_long = rows > few_rows && sorted.resize(rows);
    std::size_t dest = 0;
    for (std::size_t c = 0; c < cols; ++c) {
        const unsigned int* const column = connect.column(c);
        if (is_long ? has_equal_neighbors(column, rows, strict, sorted.data())
                    : has_equal_pair(column, rows, strict))
            continue;
        if (dest < c) std::copy_n(column, rows, connect.column(dest));
        if (new_columns) new_columns[c] = static_cast<unsigned int>(dest);
        ++dest;
    }
    connect.resize(rows, dest); // never more columns, so in place
    return static_cast<int>(cols - dest);
}

} // namespace

int remove_degenerated(dense2D<unsigned int>& connect, id_list& new_IDs, bool strict) {
    clear_outputs(outputs{new_IDs}, inputs{connect});
    if (!new_IDs.resize(connect.cols(), no_id)) return -199;
    return remove_columns(connect, new_IDs.data(), strict);
}

int remove_degenerated(dense2D<unsigned int>& connect, bool strict) {
    return remove_columns(connect, nullptr, strict);
}

} // namespace kv7::tessmaker
