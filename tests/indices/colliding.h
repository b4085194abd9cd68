// IDs and columns chosen to collide in the hash tables of the library.
#ifndef TESSMAKER_TESTS_INDICES_COLLIDING_H
#define TESSMAKER_TESTS_INDICES_COLLIDING_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "indices/form_hash.h"
#include "indices/id_hash.h"

namespace test {

// `n` distinct IDs of as few buckets as possible in a table made for `nbr_keys` keys.
inline std::vector<unsigned int> colliding_ids(std::size_t n, std::size_t nbr_keys) {
    const std::uint64_t prime = kv7::tessmaker::next_prime(nbr_keys < 23 ? 23 : nbr_keys);
    const std::uint64_t most_of_bucket = 0xFFFFFFF0U / prime;
    std::vector<unsigned int> ids(n);
    for (std::size_t k = 0; k < n; ++k)
        ids[k] = static_cast<unsigned int>(k % most_of_bucket * prime + k / most_of_bucket);
    return ids;
}

// `n` columns of two nodes, the first one smaller than the second, whose forms have the same slot
// in a table made for as many columns: the second nodes. The first one is 1.
inline std::vector<unsigned int> colliding_columns(std::size_t n) {
    const std::uint64_t last_of_first_slot = ~std::uint64_t{0} / std::bit_ceil(2 * n);
    std::vector<unsigned int> second;
    for (unsigned int id = 2; second.size() < n; ++id) {
        const unsigned int form[] = {1, id};
        if (kv7::tessmaker::hash_of_form(form, 2) <= last_of_first_slot) second.push_back(id);
    }
    return second;
}

} // namespace test

#endif
