// Prefetches for walks that know in advance what they will read.
#ifndef TESSMAKER_CORE_PREFETCH_H
#define TESSMAKER_CORE_PREFETCH_H

#include <cstddef>
#include <cstdint>

namespace kv7::tessmaker {

// How many IDs ahead a walk over consecutive IDs prefetches. The hardware prefetches, too, but
// stops at the end of each page.
inline constexpr std::size_t ids_ahead = 256;

// IDs in a cache line, which is what one prefetch loads.
inline constexpr std::size_t ids_of_line = 16;

// To the compiler, a function that only prefetches has no effect: at -O2, g++ drops calls of it
// that it does not inline. Hence `always_inline`, here and on every function that wraps these.

// Prefetches the memory at `address`.
[[gnu::always_inline]] inline void prefetch(const void* address) { __builtin_prefetch(address); }

// Prefetches the memory `distance` elements after `first`, which may lie outside any array.
template <class T>
[[gnu::always_inline]] inline void prefetch(const T* first, std::size_t distance) {
    const auto address = reinterpret_cast<std::uintptr_t>(first) + distance * sizeof(T);
    // A pointer must stay in its array, a number need not.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    prefetch(reinterpret_cast<const void*>(address));
}

} // namespace kv7::tessmaker

#endif
