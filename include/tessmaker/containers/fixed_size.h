// The numeric containers that cross the library's interface.
//
// Storage and view are two things. A `vector_num` is a reference-counted block of memory; `dense1D`
// and `dense2D` are cheap views on such a block. Copying a view shares the block, only `copy`
// duplicates elements. `vector_fixed`, `matrix_fixed` and `symmetric_fixed` hold their few numbers
// inline.
//
// Nothing here throws. An operation that needs memory and can't have it returns false and leaves
// the array as it was; a constructor that can't have it leaves an empty array. Sizes are
// mathematical: a product or sum that does not fit in `std::size_t` fails in the same way.
//
// Elements that `resize` adds are not initialised unless a value is given. Element access is not
// checked. The reference count is atomic; nothing else is synchronised.
#ifndef TESSMAKER_CONTAINERS_H
#define TESSMAKER_CONTAINERS_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <type_traits>
#include <utility>

#include "tessmaker/api.h"

namespace kv7 {

// The pair through which all block memory goes. `__vector_num_alloc` returns memory aligned as by
// malloc, or null; it never throws.
// NOLINTBEGIN(bugprone-reserved-identifier): the names belong to the binary interface.
TESSMAKER_API void* __vector_num_alloc(std::size_t bytes) noexcept;
TESSMAKER_API void __vector_num_free(void* memory) noexcept;
// NOLINTEND(bugprone-reserved-identifier)

namespace math1 {

// Base class of storage blocks: a count of the owners, changed only atomically. A new block has
// none; `Ptr` and the views raise the count.
class TESSMAKER_API ref_counted {
public:
    ref_counted() noexcept = default;
    ref_counted(const ref_counted&) = delete;
    ref_counted& operator=(const ref_counted&) = delete;
    virtual ~ref_counted();

    // Adds one owner.
    void add_owner() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

    // Drops one owner; the last one destroys the object.
    void drop_owner() noexcept {
        if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) __destroy();
    }

    // Destroys the object through its virtual destructor.
    void __destroy() noexcept; // NOLINT(bugprone-reserved-identifier)

    // Objects live in block memory. A failed `new` yields null.
    static void* operator new(std::size_t bytes) noexcept { return __vector_num_alloc(bytes); }
    static void operator delete(void* memory) noexcept { __vector_num_free(memory); }

private:
    mutable std::atomic<std::int32_t> count_{0};
};

} // namespace math1

// Intrusive smart pointer to a `math1::ref_counted`: each one that isn't null is an owner. Compares
// as the plain pointer does.
template <class T> class Ptr {
public:
    // Null, an owner of `object`, another owner of what `other` points to.
    Ptr() noexcept = default;
    explicit Ptr(T* object) noexcept : object_(object) {
        if (object_) object_->add_owner();
    }
    Ptr(const Ptr& other) noexcept : Ptr(other.object_) {}
    ~Ptr() {
        if (object_) object_->drop_owner();
    }

    // The new object's count is raised before the old one's is dropped, so self-assignment is safe.
    Ptr& operator=(T* object) noexcept {
        if (object) object->add_owner();
        T* const old = object_;
        object_ = object;
        if (old) old->drop_owner();
        return *this;
    }
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the one above handles it
    Ptr& operator=(const Ptr& other) noexcept {
        *this = other.object_;
        return *this;
    }

    // The object, or null; `*` and `->` only where there is one.
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* get() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.object_ == b.object_; }
    friend bool operator!=(const Ptr& a, const Ptr& b) noexcept { return a.object_ != b.object_; }

private:
    T* object_ = nullptr;
};

// A record of three fields, compared in their order.
template <class A, class B, class C> struct TESSMAKER_API triad {
    // The fields.
    A first;
    B second;
    C third;

    // Equal in all fields; less in the first field in which they differ.
    friend bool operator==(const triad& a, const triad& b) {
        return a.first == b.first && a.second == b.second && a.third == b.third;
    }
    friend bool operator!=(const triad& a, const triad& b) { return !(a == b); }
    friend bool operator<(const triad& a, const triad& b) {
        if (a.first < b.first) return true;
        if (b.first < a.first) return false;
        if (a.second < b.second) return true;
        if (b.second < a.second) return false;
        return a.third < b.third;
    }
};

template <class T, unsigned Alignment> class dense1D;
template <class T> class dense2D;

// Storage block of elements of type T, the first of them on an address that divides by `Alignment`
// (by the size of T when that is larger). Elements that own nothing are raw memory; all others are
// constructed over the whole capacity.
template <class T, unsigned Alignment = 8>
class TESSMAKER_API vector_num final : public math1::ref_counted {
public:
    // Without memory.
    vector_num() noexcept = default;
    ~vector_num() override { release(); }

    // The first element, null without memory; elements that the memory holds.
    T* data() noexcept { return data_; }
    const T* data() const noexcept { return data_; }
    std::size_t capacity() const noexcept { return capacity_; }

private:
    template <class U, unsigned A> friend class dense1D;
    template <class U> friend class dense2D;

    static constexpr bool is_raw =
        std::is_trivially_copy_constructible_v<T> && std::is_trivially_destructible_v<T>;
    static constexpr std::size_t boundary = sizeof(T) > Alignment ? sizeof(T) : Alignment;
    static constexpr std::uint16_t not_owned = 0xFFFF;
    static_assert(boundary < not_owned);

    // Moves the block to memory for the largest of 2, capacity * factor and `min_capacity`
    // elements, keeping the first `nbr_kept` of them. On false the block is unchanged.
    // NOLINTNEXTLINE(bugprone-reserved-identifier)
    bool __grow(std::size_t min_capacity, std::size_t nbr_kept, std::size_t factor) noexcept {
        constexpr std::size_t most = static_cast<std::size_t>(-1);
        if (factor != 0 && capacity_ > most / factor) return false;
        const std::size_t wanted = std::max({std::size_t{2}, capacity_ * factor, min_capacity});
        if (wanted > (most - (boundary - 1)) / sizeof(T)) return false;
        const std::size_t bytes = wanted * sizeof(T) + (boundary - 1);
        void* const memory = __vector_num_alloc(bytes);
        if (!memory) return false;

        const std::size_t beyond = reinterpret_cast<std::uintptr_t>(memory) % boundary;
        const std::size_t padding = beyond == 0 ? 0 : boundary - beyond;
        T* const elements = reinterpret_cast<T*>(static_cast<char*>(memory) + padding);
        const std::size_t new_capacity = (bytes - padding) / sizeof(T);
        // A view may reach beyond its block's end, behind the last column of a rectangle.
        nbr_kept = std::min(nbr_kept, capacity_);
        if constexpr (is_raw) {
            if (nbr_kept != 0) {
                std::memcpy(static_cast<void*>(elements), static_cast<const void*>(data_),
                            nbr_kept * sizeof(T));
            }
        } else {
            for (std::size_t i = 0; i < nbr_kept; ++i) new (elements + i) T(data_[i]);
            for (std::size_t i = nbr_kept; i < new_capacity; ++i) new (elements + i) T();
        }
        release();
        data_ = elements;
        capacity_ = new_capacity;
        pad_ = static_cast<std::uint16_t>(padding);
        return true;
    }

    void wrap(T* data, std::size_t capacity) noexcept {
        data_ = data;
        capacity_ = capacity;
        pad_ = not_owned;
    }

    void release() noexcept {
        if (!data_ || pad_ == not_owned) return;
        if constexpr (!is_raw) {
            for (std::size_t i = 0; i < capacity_; ++i) data_[i].~T();
        }
        __vector_num_free(reinterpret_cast<char*>(data_) - pad_);
    }

    T* data_ = nullptr;
    std::size_t capacity_ = 0; // elements that the memory holds
    std::uint16_t pad_ = 0;    // bytes from the start of the memory to `data_`, or `not_owned`
};

// View on consecutive elements of a block. Two views on one block see each other's writes, and stay
// views of it when the block grows.
template <class T, unsigned Alignment = 8> class TESSMAKER_API dense1D {
public:
    // What is stored, and the block that stores it.
    using value_type = T;
    using block_type = vector_num<T, Alignment>;

    // An empty view on a new block.
    dense1D() noexcept : storage_(new block_type) {}
    // `n` elements, not initialised.
    explicit dense1D(std::size_t n) noexcept : dense1D() { resize(n); }
    // `n` elements of value `v`.
    dense1D(std::size_t n, const T& v) noexcept : dense1D() { resize(n, v); }
    // These elements.
    dense1D(std::initializer_list<T> values) noexcept : dense1D() {
        if (resize(values.size())) std::copy(values.begin(), values.end(), begin());
    }
    // Shares the other view's block.
    dense1D(const dense1D& other) noexcept = default;
    dense1D& operator=(const dense1D& other) noexcept = default;
    ~dense1D() = default;

    // View on `n` elements of memory that the caller owns. It is never freed; growth beyond `n`
    // moves to memory of the block's own.
    static dense1D wrap(T* data, std::size_t n) noexcept {
        dense1D view;
        if (view.storage_) {
            view.storage_->wrap(data, n);
            view.size_ = n;
        }
        return view;
    }

    // Elements of this view.
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    // Elements that the block holds from the view's first.
    std::size_t capacity() const noexcept {
        return storage_ && storage_->capacity_ > first_ ? storage_->capacity_ - first_ : 0;
    }

    // The first element, and the place behind the last; null without memory.
    T* data() noexcept { return origin(); }
    const T* data() const noexcept { return origin(); }
    T* begin() noexcept { return origin(); }
    const T* begin() const noexcept { return origin(); }
    T* end() noexcept { return origin() + size_; }
    const T* end() const noexcept { return origin() + size_; }
    // Element `i`, which must exist.
    T& operator[](std::size_t i) noexcept { return storage_->data_[first_ + i]; }
    const T& operator[](std::size_t i) const noexcept { return storage_->data_[first_ + i]; }

    // Gives every element the value `v`. The size stays. Braces around one value are that value,
    // and without one they are 0: `a = {}` empties nothing.
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): it yields the value
    const T& operator=(const T& v) noexcept {
        const T value(v); // `v` may be one of the elements
        std::fill(begin(), end(), value);
        return v;
    }

    // Same size and equal elements in the same order.
    bool operator==(const dense1D& other) const noexcept {
        return size_ == other.size_ && std::equal(begin(), end(), other.begin());
    }
    bool operator!=(const dense1D& other) const noexcept { return !(*this == other); }

    // Gives this view elements of its own equal to those of `other`. The view's block is used again
    // when it has the capacity, so other views on it see the new values; if `other` stands on the
    // same block, this view moves to a new one.
    bool copy(const dense1D& other) noexcept {
        if (storage_ == other.storage_) {
            dense1D fresh;
            if (other.size_ != 0 && !fresh.copy(other)) return false;
            *this = fresh;
            return true;
        }
        if (!make_room(other.size_, 0, 1)) return false;
        std::copy(other.begin(), other.end(), begin());
        size_ = other.size_;
        return true;
    }

    // Sets the size to `n`. The first min(old size, n) elements stay.
    bool resize(std::size_t n) noexcept {
        if (n > size_ && !make_room(n, size_, 1)) return false;
        size_ = n;
        return true;
    }
    // The same; elements beyond the old size become `v`.
    bool resize(std::size_t n, T v) noexcept {
        const std::size_t old = size_;
        if (!resize(n)) return false;
        if (n > old) std::fill(begin() + old, end(), v);
        return true;
    }

    // Room for `n` elements from the view's first, without changing the size. A block that must
    // grow gets at least `factor` times its capacity. Whether the room is there.
    bool reserve(std::size_t n, std::size_t factor) noexcept { return make_room(n, size_, factor); }

    // Appends `v`; the block doubles when it is full.
    bool push_back(T v) noexcept {
        const std::size_t i = first_ + size_;
        if ((!storage_ || i >= storage_->capacity_) && !make_room(size_ + 1, size_, 2))
            return false;
        storage_->data_[i] = std::move(v);
        ++size_;
        return true;
    }
    // Appends `n` times `v`.
    bool push_back_n(T v, std::size_t n) noexcept {
        return n <= static_cast<std::size_t>(-1) - size_ && resize(size_ + n, std::move(v));
    }

    // Appends the elements of `other`, which may be this view or a part of it.
    bool append(const dense1D& other) noexcept {
        const dense1D source(other);
        const std::size_t nbr_added = source.size_;
        if (nbr_added > static_cast<std::size_t>(-1) - size_) return false;
        const std::size_t total = size_ + nbr_added;
        if (capacity() < total) {
            // What `other` sees of this block must survive the growth as well.
            std::size_t nbr_kept = size_;
            if (storage_ == source.storage_ && source.first_ + nbr_added > first_) {
                nbr_kept = std::max(nbr_kept, source.first_ + nbr_added - first_);
            }
            const std::size_t more = std::max(size_, nbr_added);
            const bool roomy = more <= static_cast<std::size_t>(-1) - size_ &&
                               make_room(size_ + more, nbr_kept, 1);
            if (!roomy && !make_room(total, nbr_kept, 1)) return false;
        }
        if constexpr (std::is_trivially_copyable_v<T>) {
            if (nbr_added != 0) std::memmove(end(), source.begin(), nbr_added * sizeof(T));
        } else if (source.begin() < end()) {
            std::copy_backward(source.begin(), source.end(), begin() + total);
        } else {
            std::copy(source.begin(), source.end(), end());
        }
        size_ = total;
        return true;
    }

    // No elements; block and capacity stay.
    void clear() noexcept { size_ = 0; }
    // No elements, and this view's share of the block is given up. Other views stay valid.
    void clear_hard() noexcept { *this = dense1D(); }

    // View on `n` elements from element `first`, which must exist.
    dense1D sub_vector(std::size_t first, std::size_t n) noexcept {
        dense1D view(*this);
        view.first_ = first_ + first;
        view.size_ = n;
        return view;
    }
    const dense1D sub_vector(std::size_t first, std::size_t n) const noexcept {
        return const_cast<dense1D*>(this)->sub_vector(first, n);
    }

private:
    template <class U> friend class dense2D;

    dense1D(const Ptr<block_type>& storage, std::size_t first, std::size_t size) noexcept
        : storage_(storage), size_(size), first_(first) {}

    T* origin() const noexcept {
        return storage_ && storage_->data_ ? storage_->data_ + first_ : nullptr;
    }

    // Lets the block hold `n` elements from the view's first. A block that moves keeps everything
    // before the view and `nbr_kept` elements of it.
    bool make_room(std::size_t n, std::size_t nbr_kept, std::size_t factor) noexcept {
        if (capacity() >= n) return true;
        if (!storage_) storage_ = new block_type;
        return storage_ && n <= static_cast<std::size_t>(-1) - first_ &&
               storage_->__grow(first_ + n, first_ + nbr_kept, factor);
    }

    Ptr<block_type> storage_;
    std::size_t size_ = 0;
    std::size_t first_ = 0; // index in the block of element 0
};

// Column-major view on a block: element (r, c) stands `c * ld + r` elements behind element (0, 0).
// One column is one node or one element of a mesh. An array without rows or columns is 0 by 0, with
// `ld` 0. Columns follow each other without a gap only where `ld == rows`.
template <class T> class TESSMAKER_API dense2D {
public:
    // What is stored, and the block that stores it.
    using value_type = T;
    using block_type = vector_num<T, 8>;

    // An empty array on a new block.
    dense2D() noexcept : storage_(new block_type) {}
    // A block of its own, elements not initialised.
    dense2D(std::size_t rows, std::size_t cols) noexcept : dense2D() { resize(rows, cols); }
    // The same, every element `v`.
    dense2D(std::size_t rows, std::size_t cols, const T& v) noexcept : dense2D() {
        resize(rows, cols, v);
    }
    // Shares the other view's block.
    dense2D(const dense2D& other) noexcept = default;
    dense2D& operator=(const dense2D& other) noexcept = default;
    ~dense2D() = default;

    // View on memory that the caller owns, of `ld * (cols - 1) + rows` elements. It is never freed;
    // growth beyond it moves to a block of the view's own.
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

    // Elements of a column, columns, and elements from the start of a column to that of the next.
    std::size_t rows() const noexcept { return rows_; }
    std::size_t cols() const noexcept { return cols_; }
    std::size_t ld() const noexcept { return ld_; }
    bool empty() const noexcept { return cols_ == 0; }
    // Elements that the block holds from element (0, 0).
    std::size_t capacity() const noexcept {
        return storage_ && storage_->capacity_ > first_ ? storage_->capacity_ - first_ : 0;
    }

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

    // Changes the shape; the common rectangle of old and new shape keeps its values. The change
    // takes place on the same block, with the same `ld`, when the array is empty or the new rows
    // fit in `ld`, and the block has the capacity: other views on the block then stay its views. In
    // all other cases this view moves to a new block with `ld == rows`.
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

    // Room for the shape, without changing the visible one. A block that must grow gets at least
    // `factor` times its capacity. Whether the room is there.
    bool reserve(std::size_t rows, std::size_t cols, std::size_t factor) noexcept {
        const std::size_t stride = std::max(rows, ld_);
        if (!fits(stride, cols)) return false;
        return make_room(stride * cols, factor);
    }

    // Gives this array the shape of `other` and elements of its own equal to those of `other`. It
    // first empties itself, and is empty on failure; if `other` stands on the same block, this view
    // moves to a new one, and stays as it is on failure.
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

    // This view becomes a view on the block of `other`, of the same shape.
    void shallow_copy(const dense2D& other) noexcept { *this = other; }

    // Appends all columns of `other`, which may be this array or a part of it. False, and nothing
    // changed, when both hold something and differ in rows, or when memory fails.
    bool append(const dense2D& other) noexcept {
        const dense2D source(other);
        const std::size_t old = cols_;
        if (!append_room(source, source.cols_)) return false;
        copy_columns(source, old, source.cols_);
        return true;
    }
    // Appends the listed columns of `other` in their order. False also for a column that does not
    // exist.
    bool append(const dense2D& other, const dense1D<unsigned int, 8>& columns) noexcept {
        const dense2D source(other);
        for (const unsigned int c : columns) {
            if (c >= source.cols_) return false;
        }
        const std::size_t old = cols_;
        if (!append_room(source, columns.size())) return false;
        T* to = column(old);
        for (const unsigned int c : columns) {
            copy_column(source.column(c), rows_, to);
            to += ld_;
        }
        return true;
    }

    // 0 by 0; block and place on it stay.
    void clear() noexcept { set_shape(0, 0, 0); }
    // 0 by 0, and this view's share of the block is given up. Other views stay valid.
    void clear_hard() noexcept { *this = dense2D(); }

    // View on a rectangle, which must lie in the array, with the same `ld`.
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

    // All elements as one vector on the same block. Only where `ld == rows`.
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

    // Most columns have few rows: a loop takes half the time of a call.
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

// N values, and nothing else. `vector_fixed<double, 2>` and `<double, 3>` are points and
// directions.
template <class T, std::size_t N> struct vector_fixed {
    // In their order.
    T values[N];

    // Value `k`, and the first of all.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }
};

// R * C values, column by column.
template <class T, std::size_t R, std::size_t C> struct matrix_fixed {
    // Entry (i, j) stands at j * R + i.
    T values[R * C];

    // The entry in row `i` of column `j`; value `k` in the order in which they stand; the first.
    constexpr T& operator()(std::size_t i, std::size_t j) noexcept { return values[j * R + i]; }
    constexpr const T& operator()(std::size_t i, std::size_t j) const noexcept {
        return values[j * R + i];
    }
    // Value `k`, and the first of all.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }
};

// Symmetric N by N matrix, entry (i, j) with i >= j at i * (i + 1) / 2 + j: (m00, m10, m11) or
// (m00, m10, m11, m20, m21, m22). This is LAPACK's packed upper triangle, and the order of a metric
// field's columns.
template <class T, std::size_t N> struct symmetric_fixed {
    // The lower triangle, row by row.
    T values[N * (N + 1) / 2];

    // Entry (i, j), which is entry (j, i); value `k` in the order in which they stand; the first.
    constexpr T& operator()(std::size_t i, std::size_t j) noexcept { return values[index(i, j)]; }
    constexpr const T& operator()(std::size_t i, std::size_t j) const noexcept {
        return values[index(i, j)];
    }
    // Value `k`, and the first of all.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }

private:
    static constexpr std::size_t index(std::size_t i, std::size_t j) noexcept {
        return i >= j ? i * (i + 1) / 2 + j : j * (j + 1) / 2 + i;
    }
};

// The instantiations that the library holds: declared here, made once in core/containers.cpp.
#ifndef TESSMAKER_INSTANTIATION
#define TESSMAKER_INSTANTIATION extern template
#endif
TESSMAKER_INSTANTIATION class vector_num<unsigned int>;
TESSMAKER_INSTANTIATION class vector_num<int>;
TESSMAKER_INSTANTIATION class vector_num<double>;
TESSMAKER_INSTANTIATION class vector_num<std::uint64_t>;
TESSMAKER_INSTANTIATION class vector_num<short>;
TESSMAKER_INSTANTIATION class vector_num<signed char>;
TESSMAKER_INSTANTIATION class vector_num<std::pair<unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class vector_num<triad<unsigned int, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<triad<double, unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class vector_num<
    triad<std::pair<unsigned int, unsigned int>, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<triad<std::uint64_t, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<dense2D<unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<unsigned int>;
TESSMAKER_INSTANTIATION class dense1D<int>;
TESSMAKER_INSTANTIATION class dense1D<double>;
TESSMAKER_INSTANTIATION class dense1D<std::uint64_t>;
TESSMAKER_INSTANTIATION class dense1D<short>;
TESSMAKER_INSTANTIATION class dense1D<signed char>;
TESSMAKER_INSTANTIATION class dense1D<std::pair<unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<triad<unsigned int, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense1D<triad<double, unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<
    triad<std::pair<unsigned int, unsigned int>, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense1D<triad<std::uint64_t, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense2D<unsigned int>;
TESSMAKER_INSTANTIATION class dense2D<double>;
TESSMAKER_INSTANTIATION class dense2D<std::uint64_t>;
#undef TESSMAKER_INSTANTIATION

} // namespace kv7

#endif
