// Storage of the arrays: how the memory of blocks is allocated and freed, the count of owners, the
// block.
#ifndef TESSMAKER_CONTAINERS_STORAGE_H
#define TESSMAKER_CONTAINERS_STORAGE_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "tessmaker/api.h"

namespace kv7 {

// All memory of blocks is allocated and freed by these two functions. `__vector_num_alloc` returns
// memory aligned as by malloc, or null; it never throws.
// NOLINTBEGIN(bugprone-reserved-identifier): the names belong to the binary interface.
TESSMAKER_API void* __vector_num_alloc(std::size_t bytes) noexcept;
TESSMAKER_API void __vector_num_free(void* memory) noexcept;
// NOLINTEND(bugprone-reserved-identifier)

namespace math1 {

// Base class of blocks: a count of the owners, changed only atomically. A new block has none; `Ptr`
// and the views raise the count.
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

// Intrusive smart pointer to a `math1::ref_counted`: each pointer that isn't null is an owner.
// Compares like the plain pointer.
template <class T> class Ptr {
public:
    // A null pointer, an owner of `object`, another owner of what `other` points to.
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

    // The object, or null; `*` and `->` need an object.
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* get() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.object_ == b.object_; }
    friend bool operator!=(const Ptr& a, const Ptr& b) noexcept { return a.object_ != b.object_; }

private:
    T* object_ = nullptr;
};

template <class T, unsigned Alignment> class dense1D;
template <class T> class dense2D;

// Block of elements of type T. The address of the first element is a multiple of `Alignment`, or of
// the size of T if that is larger. Elements that own nothing are raw memory; all others are
// constructed over the whole capacity.
template <class T, unsigned Alignment = 8>
class TESSMAKER_API vector_num final : public math1::ref_counted {
public:
    // A block without memory.
    vector_num() noexcept = default;
    ~vector_num() override { release(); }

    // The first element, null without memory; the number of elements that the memory holds.
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
    // elements, and keeps the first `nbr_kept` elements. On false the block is unchanged.
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
        // The last column of a rectangle may end, with its gap, beyond the end of the block.
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

} // namespace kv7

#endif
