// Sorting of IDs together with their places, in a time that no choice of IDs changes.
#ifndef TESSMAKER_INDICES_RADIX_SORT_H
#define TESSMAKER_INDICES_RADIX_SORT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/ids.h"

namespace kv7::tessmaker {

// An ID above a place.
using placed_ids = dense1D<std::uint64_t, 8>;

inline std::uint64_t placed_id(unsigned int id, std::size_t place) {
    return std::uint64_t{id} << 32 | static_cast<unsigned int>(place);
}
inline unsigned int id_of(std::uint64_t entry) { return static_cast<unsigned int>(entry >> 32); }
inline unsigned int place_of(std::uint64_t entry) { return static_cast<unsigned int>(entry); }

// Sorts the first `n` entries by ID; those of equal IDs keep their order. `scratch` has as many.
inline void sort_by_id(placed_ids& entries, placed_ids& scratch, std::size_t n) {
    std::uint64_t* from = entries.data();
    std::uint64_t* to = scratch.data();
    for (unsigned int shift = 32; shift < 64; shift += 8) { // an even number of passes
        std::array<std::size_t, 256> place{};
        for (std::size_t k = 0; k < n; ++k) ++place[from[k] >> shift & 0xFF];
        std::size_t sum = 0;
        for (std::size_t& p : place) sum += std::exchange(p, sum);
        for (std::size_t k = 0; k < n; ++k) to[place[from[k] >> shift & 0xFF]++] = from[k];
        std::swap(from, to);
    }
}

} // namespace kv7::tessmaker

#endif
