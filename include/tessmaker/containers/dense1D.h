// dense1D: view on consecutive elements of a block.
#ifndef TESSMAKER_CONTAINERS_DENSE1D_H
#define TESSMAKER_CONTAINERS_DENSE1D_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <type_traits>
#include <utility>

#include "tessmaker/api.h"
#include "tessmaker/containers/storage.h"

namespace kv7 {

// View on consecutive elements of a block. Two views on one block see each other's writes, also
// after the block has grown.
template <class T, unsigned Alignment = 8> class TESSMAKER_API dense1D {
public:
    // The type of an element, and of the block.
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

    // View on `n` elements of memory that the caller owns and that is never freed here. If the
    // array grows beyond `n`, its elements move to memory of its own.
    static dense1D wrap(T* data, std::size_t n) noexcept {
        dense1D view;
        if (view.storage_) {
            view.storage_->wrap(data, n);
            view.size_ = n;
        }
        return view;
    }

    // The number of elements of this view.
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    // The number of elements for which the block has room, from the first of the view.
    std::size_t capacity() const noexcept {
        return storage_ && storage_->capacity_ > first_ ? storage_->capacity_ - first_ : 0;
    }

    // The block: views that see each other's writes have the same one.
    const block_type* block() const noexcept { return storage_.get(); }

    // The first element, and the position behind the last; null without memory.
    T* data() noexcept { return origin(); }
    const T* data() const noexcept { return origin(); }
    T* begin() noexcept { return origin(); }
    const T* begin() const noexcept { return origin(); }
    T* end() noexcept { return origin() + size_; }
    const T* end() const noexcept { return origin() + size_; }
    // Element `i`, which must exist.
    T& operator[](std::size_t i) noexcept { return storage_->data_[first_ + i]; }
    const T& operator[](std::size_t i) const noexcept { return storage_->data_[first_ + i]; }

    // Gives every element the value `v`. The size stays: `a = {v}` fills with v, `a = {}` with 0;
    // neither empties.
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

    // Duplicates the elements of `other`. If the block of this view has the capacity, it is used
    // again, so other views on it see the new values. If `other` is a view on the same block, this
    // view moves to a new one.
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

    // Makes room for `n` elements from the first of the view; the size stays. A block that must
    // grow gets at least `factor` times its capacity.
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

    // Appends the elements of `other`, which may be any view, also one on the same block.
    bool append(const dense1D& other) noexcept {
        const dense1D source(other);
        const std::size_t nbr_added = source.size_;
        if (nbr_added > static_cast<std::size_t>(-1) - size_) return false;
        const std::size_t total = size_ + nbr_added;
        if (capacity() < total) {
            // The growth must keep what `other` sees of this block as well.
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

    // Empties the view; the block and its capacity stay.
    void clear() noexcept { size_ = 0; }
    // Empties the view and leaves the block to its other views, which stay valid.
    void clear_hard() noexcept { *this = dense1D(); }

    // View on `n` elements from element `first` on; all must exist.
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

    // Makes room for `n` elements from the first of the view. A block that moves keeps everything
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

} // namespace kv7

#endif
