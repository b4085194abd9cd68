// Hints for walks that know what they will read.
#ifndef TESSMAKER_CORE_PREFETCH_H
#define TESSMAKER_CORE_PREFETCH_H

#include <cstddef>
#include <cstdint>

namespace kv7::tessmaker {

// How far a walk over consecutive IDs asks ahead: hardware that does so by itself stops at the end
// of each page.
inline constexpr std::size_t ids_ahead = 256;

// IDs in what one request brings.
inline constexpr std::size_t ids_of_line = 16;

// A function that only prefetches has no effect known to the compiler: at -O2, g++ drops calls of
// it that it does not inline. Hence `always_inline`, here and on every function that wraps these.

// Asks for the memory at `address`.
[[gnu::always_inline]] inline void prefetch(const void* address) { __builtin_prefetch(address); }

// Asks for the memory `distance` elements behind `first`, which may lie beyond any array.
template <class T>
[[gnu::always_inline]] inline void prefetch(const T* first, std::size_t distance) {
    const auto address = reinterpret_cast<std::uintptr_t>(first) + distance * sizeof(T);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a pointer must not leave its array, a number may.
    prefetch(reinterpret_cast<const void*>(address));
}

} // namespace kv7::tessmaker

#endif
