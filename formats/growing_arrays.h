// Arrays that grow while a file is read.
#ifndef TESSMAKER_FORMATS_GROWING_ARRAYS_H
#define TESSMAKER_FORMATS_GROWING_ARRAYS_H

#include <algorithm>
#include <cstddef>

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Appends a column of `rows` values, which must not lie in the array itself. Capacity doubles, so
// that repeated appends take linear time. Without values nothing is appended, successfully. False,
// and nothing changed, when the array has another number of rows or memory fails.
template <class T> bool append_column(const T* column, std::size_t rows, dense2D<T>& array) {
    if (rows == 0) return true;
    const std::size_t cols = array.cols();
    if (!array.empty() && array.rows() != rows) return false;
    const std::size_t ld = array.empty() ? rows : array.ld();
    if (array.capacity() < ld * (cols + 1)) {
        // `reserve` moves the block for all views that share it. If it fails, `resize` may still
        // succeed with less.
        array.reserve(rows, std::max<std::size_t>(4, 2 * cols), 1);
    }
    if (!array.resize(rows, cols + 1)) return false;
    std::copy_n(column, rows, array.column(cols));
    return true;
}

// Appends columns to an array as `append_column` does. Nobody else may use the array until the end
// of its life: between its calls the array has all columns that its block can hold.
template <class T> class appended_columns {
public:
    explicit appended_columns(dense2D<T>& array) : array_(array), cols_(array.cols()) {}
    ~appended_columns() { give_back(); }
    appended_columns(const appended_columns&) = delete;
    appended_columns& operator=(const appended_columns&) = delete;

    // The number of columns.
    std::size_t size() const { return cols_; }

    bool append(const T* column, std::size_t rows) {
        if (nbr_free_ == 0 || rows != rows_) return append_and_grow(column, rows);
        for (std::size_t r = 0; r < rows; ++r) next_[r] = column[r];
        next_ += ld_;
        --nbr_free_;
        ++cols_;
        return true;
    }

    // Gives back the memory for columns to come. Failure does no harm.
    void give_up_room() {
        give_back();
        dense2D<T> fitting;
        if (fitting.copy(array_)) array_ = fitting;
    }

private:
    [[gnu::noinline]] bool append_and_grow(const T* column, std::size_t rows) {
        give_back();
        if (!append_column(column, rows, array_)) return false;
        cols_ = array_.cols();
        if (cols_ == 0) return true;
        rows_ = array_.rows();
        ld_ = array_.ld();
        // The last column of a view may end, with its gap, beyond the end of the block.
        nbr_free_ = std::max(array_.capacity() / ld_, cols_) - cols_;
        array_.resize(rows_, cols_ + nbr_free_);
        next_ = array_.column(cols_);
        return true;
    }
    // Columns that were not appended leave the array.
    void give_back() {
        if (nbr_free_ != 0) array_.resize(rows_, cols_);
        nbr_free_ = 0;
    }

    dense2D<T>& array_;
    std::size_t cols_;
    std::size_t rows_ = 0;
    std::size_t ld_ = 0;
    std::size_t nbr_free_ = 0; // columns of the array that were not appended
    T* next_ = nullptr;        // the first of them
};

// Appends elements to a connectivity, which nobody else may use until the end of its life. Between
// its calls the array has all columns that its block can hold, so that most elements need no change
// of its shape.
class element_columns {
public:
    explicit element_columns(id_matrix& connect)
        : connect_(connect), rows_(connect.rows()), cols_(connect.cols()), held_(cols_) {}
    ~element_columns() { give_back(); }
    element_columns(const element_columns&) = delete;
    element_columns& operator=(const element_columns&) = delete;

    // The number of elements, and of those that there is room for.
    std::size_t size() const { return cols_; }
    std::size_t nbr_held() const { return held_; }

    // Makes room for so many elements in all, the first of which is there. Failure does no harm.
    void reserve(std::size_t nbr_elements);

    // Appends an element of `n` nodes, at least 1, and returns its column, whose first `n` entries
    // are to be set. The array gets more rows if the element needs them; entries beyond the nodes
    // of an element are absent IDs. Null when memory fails.
    unsigned int* append(std::size_t n) {
        if (n > rows_ || cols_ == held_) return append_and_grow(n);
        unsigned int* const column = connect_.column(cols_++);
        for (std::size_t r = n; r < rows_; ++r) column[r] = no_id;
        return column;
    }

private:
    unsigned int* append_and_grow(std::size_t n);
    // Columns that no element has taken leave the array.
    void give_back() { connect_.resize(rows_, cols_); }

    id_matrix& connect_;
    std::size_t rows_;
    std::size_t cols_;
    std::size_t held_; // columns of the array
};

// Makes sure that column `id - 1` of 3-row coordinates exists, for files that number their nodes
// from 1, in any order. `id` is at least 1. Skipped columns hold zeros. False when memory fails, or
// more would be needed than this machine has.
bool place_by_id(dense2D<double>& pos, unsigned int id);

} // namespace kv7::tessmaker

#endif
