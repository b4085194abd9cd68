// Walks over all entries of an array, as few runs of consecutive ones as its `ld` allows.
#ifndef TESSMAKER_CORE_COLUMN_RUNS_H
#define TESSMAKER_CORE_COLUMN_RUNS_H

#include <cstddef>

namespace kv7::tessmaker {

// Calls `work(first, n)`: once for a packed array, column by column otherwise.
template <class Matrix, class Work> void for_each_run(Matrix& array, Work work) {
    const std::size_t rows = array.rows();
    const std::size_t cols = array.cols();
    if (array.ld() == rows) {
        work(array.column(0), rows * cols);
        return;
    }
    for (std::size_t c = 0; c < cols; ++c) work(array.column(c), rows);
}

} // namespace kv7::tessmaker

#endif
