// dense2D: column-major view on a block.
#ifndef TESSMAKER_CONTAINERS_DENSE2D_H
#define TESSMAKER_CONTAINERS_DENSE2D_H

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "tessmaker/api.h"
#include "tessmaker/containers/dense1D.h"
#include "tessmaker/containers/storage.h"

namespace kv7 {

// Column-major view on a block: element (r, c) is `c * ld + r` elements behind element (0, 0). One
// column is one node or one element of a mesh. An array without rows or columns is 0 by 0, with
// `ld` 0.
template <class T> class TESSMAKER_API dense2D {
public:
    // The type of an element, and of the block.
    using value_type = T;
    using block_type = vector_num<T, 8>;

    // An empty array on a new block.
    dense2D() noexcept : storage_(new block_type) {}
    // `rows` by `cols` elements, not initialised.
    dense2D(std::size_t rows, std::size_t cols) noexcept : dense2D() { resize(rows, cols); }
    // The same, every element `v`.
    dense2D(std::size_t rows, std::size_t cols, const T& v) noexcept : dense2D() {
        resize(rows, cols, v);
    }
    // Shares the other view's block.
    dense2D(const dense2D& other) noexcept = default;
    dense2D& operator=(const dense2D& other) noexcept = default;
    ~dense2D() = default;

    // View on `ld * (cols - 1) + rows` elements of memory that the caller owns and that is never
    // freed here. If the array grows beyond them, its elements move to memory of its own.
    static dense2D wrap(T* data, std::size_t rows, std::size_t cols, std::size_t ld) noexcept {
        dense2D view;
        if (!view.storage_ || rows == 0 || cols == 0) return view;
        view.storage_->wrap(data, ld * (cols - 1) + rows);
        view.set_shape(rows, cols, ld);
        return view;
    }
    static dense2D wrap(T* data, std::size_t rows, std::size_t cols) noexcept {
        return wrap(data, rows, cols, rows);
    }

    // The number of rows, the number of columns, and the number of elements from the start of a
    // column to that of the next.
    std::size_t rows() const noexcept { return rows_; }
    std::size_t cols() const noexcept { return cols_; }
    std::size_t ld() const noexcept { return ld_; }
    bool empty() const noexcept { return cols_ == 0; }
    // The number of elements for which the block has room, from element (0, 0).
    std::size_t capacity() const noexcept {
        return storage_ && storage_->capacity_ > first_ ? storage_->capacity_ - first_ : 0;
    }

    // The block: views that see each other's writes have the same one.
    const block_type* block() const noexcept { return storage_.get(); }

    // The element in row `r` of column `c`, which must exist.
    T& operator()(std::size_t r, std::size_t c) noexcept {
        return storage_->data_[first_ + c * ld_ + r];
    }
    const T& operator()(std::size_t r, std::size_t c) const noexcept {
        return storage_->data_[first_ + c * ld_ + r];
    }
    // The first element of column `c`; null for an array that has no memory.
    T* column(std::size_t c) noexcept { return origin() + c * ld_; }
    const T* column(std::size_t c) const noexcept { return origin() + c * ld_; }

    // Changes the shape; the common rectangle of the old and the new shape keeps its values. The
    // block and `ld` stay if the new rows fit in `ld` and the block has the capacity; for an empty
    // array only the capacity counts. Other views on the block then still share it. In all other
    // cases this view moves to a new block, packed.
    bool resize(std::size_t rows, std::size_t cols) noexcept {
        if (rows == 0 || cols == 0) rows = cols = 0;
        if (rows == rows_ && cols == cols_) return true;
        if (cols_ == 0 || rows <= ld_) {
            const std::size_t stride = cols_ == 0 ? rows : ld_;
            if (fits(stride, cols) && stride * cols <= capacity()) {
                set_shape(rows, cols, rows == 0 ? 0 : stride);
                return true;
            }
        }
        dense2D moved;
        if (!fits(rows, cols) || !moved.make_room(rows * cols)) return false;
        moved.set_shape(rows, cols, rows);
        const std::size_t common = std::min(rows, rows_);
        for (std::size_t c = 0; c < std::min(cols, cols_); ++c) {
            copy_column(column(c), common, moved.column(c));
        }
        *this = moved;
        return true;
    }
    // The same; every element outside the common rectangle becomes `v`.
    bool resize(std::size_t rows, std::size_t cols, T v) noexcept {
        const std::size_t old_rows = rows_;
        const std::size_t old_cols = cols_;
        if (!resize(rows, cols)) return false;
        const std::size_t common_cols = std::min(old_cols, cols_);
        for (std::size_t c = 0; old_rows < rows_ && c < common_cols; ++c) {
            std::fill(column(c) + old_rows, column(c) + rows_, v);
        }
        if (ld_ == rows_) {
            std::fill(column(common_cols), column(cols_), v);
            return true;
        }
        for (std::size_t c = common_cols; c < cols_; ++c) {
            std::fill(column(c), column(c) + rows_, v);
        }
        return true;
    }

    // Makes room for a shape; the present one stays. A block that must grow gets at least `factor`
    // times its capacity.
    bool reserve(std::size_t rows, std::size_t cols, std::size_t factor) noexcept {
        const std::size_t stride = std::max(rows, ld_);
        if (!fits(stride, cols)) return false;
        return make_room(stride * cols, factor);
    }

    // Takes the shape of `other` and duplicates its elements. The array is emptied first, and is
    // empty on failure. If `other` is a view on the same block, this view moves to a new one
    // instead, and is unchanged on failure.
    bool copy(const dense2D& other) noexcept {
        if (storage_ == other.storage_) {
            dense2D fresh;
            if (other.cols_ != 0 && !fresh.copy(other)) return false;
            *this = fresh;
            return true;
        }
        clear();
        if (!resize(other.rows_, other.cols_)) return false;
        copy_columns(other, 0, other.cols_);
        return true;
    }

    // Becomes a view on the block of `other`, of the same shape.
    void shallow_copy(const dense2D& other) noexcept { *this = other; }

    // Appends all columns of `other`, which may be any array, also one on the same block. False,
    // with nothing changed, if both hold something and differ in rows, or if memory fails.
    bool append(const dense2D& other) noexcept {
        dense2D source(other);
        if (may_overwrite(source) && !source.copy(other)) return false;
        const std::size_t old = cols_;
        if (!append_room(source, source.cols_)) return false;
        copy_columns(source, old, source.cols_);
        return true;
    }
    // Appends the listed columns of `other`, in the order of the list. False also if one of them
    // does not exist.
    bool append(const dense2D& other, const dense1D<unsigned int, 8>& columns) noexcept {
        dense2D source(other);
        dense1D<unsigned int, 8> list(columns);
        for (const unsigned int c : list) {
            if (c >= source.cols_) return false;
        }
        if (may_overwrite(source) && !source.copy(other)) return false;
        if constexpr (std::is_same_v<T, unsigned int>) {
            const bool is_safe = !may_overwrite(list.storage_, list.first_ + list.size_);
            if (!is_safe && !list.copy(columns)) return false;
        }
        const std::size_t old = cols_;
        if (!append_room(source, list.size())) return false;
        T* to = column(old);
        for (const unsigned int c : list) {
            copy_column(source.column(c), rows_, to);
            to += ld_;
        }
        return true;
    }

    // Empties the array, to 0 by 0; the block and the position on it stay.
    void clear() noexcept { set_shape(0, 0, 0); }
    // Empties the array, to 0 by 0, and leaves the block to its other views, which stay valid.
    void clear_hard() noexcept { *this = dense2D(); }

    // View on a rectangle of the array, which must exist, with the same `ld`.
    dense2D sub_matrix(std::size_t row0, std::size_t col0, std::size_t nrows,
                       std::size_t ncols) noexcept {
        dense2D view(*this);
        view.first_ = first_ + col0 * ld_ + row0;
        const bool none = nrows == 0 || ncols == 0;
        view.set_shape(none ? 0 : nrows, none ? 0 : ncols, none ? 0 : ld_);
        return view;
    }
    const dense2D sub_matrix(std::size_t row0, std::size_t col0, std::size_t nrows,
                             std::size_t ncols) const noexcept {
        return const_cast<dense2D*>(this)->sub_matrix(row0, col0, nrows, ncols);
    }

    // All elements as one vector on the same block. The array must be packed.
    dense1D<T, 8> as_vector() const noexcept {
        return dense1D<T, 8>(storage_, first_, rows_ * cols_);
    }

private:
    T* origin() const noexcept {
        return storage_ && storage_->data_ ? storage_->data_ + first_ : nullptr;
    }
    static bool fits(std::size_t stride, std::size_t cols) noexcept {
        return stride == 0 || cols <= static_cast<std::size_t>(-1) / stride;
    }
    void set_shape(std::size_t rows, std::size_t cols, std::size_t ld) noexcept {
        total_ = ld * cols;
        rows_ = rows;
        cols_ = cols;
        ld_ = ld;
    }

    bool make_room(std::size_t n, std::size_t factor = 1) noexcept {
        if (capacity() >= n) return true;
        if (!storage_) storage_ = new block_type;
        return storage_ && n <= static_cast<std::size_t>(-1) - first_ &&
               storage_->__grow(first_ + n, first_ + total_, factor);
    }

    // Whether columns that are appended may come over elements that end at index `end` of a block,
    // or growth may lose these. What ends with the last column, or before it, stays.
    bool may_overwrite(const Ptr<block_type>& storage, std::size_t end) const noexcept {
        return storage == storage_ && end > first_ + total_;
    }
    bool may_overwrite(const dense2D& source) const noexcept {
        if (source.cols_ == 0) return false;
        const std::size_t size = source.ld_ * (source.cols_ - 1) + source.rows_;
        return may_overwrite(source.storage_, source.first_ + size);
    }

    // Adds `nbr_added` columns for the rows of `source`, not initialised.
    bool append_room(const dense2D& source, std::size_t nbr_added) noexcept {
        if (nbr_added == 0) return true;
        if (cols_ != 0 && rows_ != source.rows_) return false;
        if (nbr_added > static_cast<std::size_t>(-1) - cols_) return false;
        const std::size_t total = cols_ + nbr_added;
        const std::size_t held = ld_ == 0 ? 0 : capacity() / ld_;
        const std::size_t more = std::max(cols_, nbr_added);
        if (held < total && more <= static_cast<std::size_t>(-1) - cols_) {
            reserve(source.rows_, cols_ + more, 1); // `resize` has the last word
        }
        return resize(source.rows_, total);
    }

    // Most columns have few rows, for which a loop takes half the time of a call.
    static void copy_column(const T* from, std::size_t rows, T* to) noexcept {
        if (rows > 8) {
            std::copy_n(from, rows, to);
        } else {
            for (std::size_t r = 0; r < rows; ++r) to[r] = from[r];
        }
    }

    void copy_columns(const dense2D& source, std::size_t to, std::size_t n) noexcept {
        if (n == 0) return;
        if (ld_ == rows_ && source.ld_ == source.rows_) {
            std::copy_n(source.column(0), rows_ * n, column(to));
            return;
        }
        for (std::size_t c = 0; c < n; ++c) copy_column(source.column(c), rows_, column(to + c));
    }

    Ptr<block_type> storage_;
    std::size_t total_ = 0; // elements from the view's first to the end of its last column
    std::size_t first_ = 0; // index in the block of element (0, 0)
    std::size_t rows_ = 0;
    std::size_t cols_ = 0;
    std::size_t ld_ = 0;
};

} // namespace kv7

#endif
