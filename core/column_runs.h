// Walks over all entries of an array in runs of consecutive ones: a single run if the columns are
// packed, otherwise one per column.
#ifndef TESSMAKER_CORE_COLUMN_RUNS_H
#define TESSMAKER_CORE_COLUMN_RUNS_H

#include <cstddef>

namespace kv7::tessmaker {

// Whether `run_ok(first, n)` is true for each run. Stops at the first that fails.
template <class Matrix, class RunCheck> bool all_runs(Matrix& array, RunCheck run_ok) {
    const std::size_t rows = array.rows();
    const std::size_t cols = array.cols();
    if (array.ld() == rows) return run_ok(array.column(0), rows * cols);
    for (std::size_t c = 0; c < cols; ++c) {
        if (!run_ok(array.column(c), rows)) return false;
    }
    return true;
}

// Calls `work(first, n)` for each run.
template <class Matrix, class Work> void for_each_run(Matrix& array, Work work) {
    all_runs(array, [&work](auto* first, std::size_t n) { return work(first, n), true; });
}

} // namespace kv7::tessmaker

#endif
