// Maps from old to new node IDs.
#ifndef TESSMAKER_REPAIR_NODE_MAP_H
#define TESSMAKER_REPAIR_NODE_MAP_H

#include <cstddef>

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Makes `map` the identity on `n` nodes; false when memory fails.
inline bool set_identity(id_list& map, std::size_t n) {
    if (!map.resize(n)) return false;
    unsigned int* const to = map.data();
    for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<unsigned int>(i);
    return true;
}

// Follows `map` from `id` to the node that maps to itself, and maps every node on that path to it.
inline void resolve_chain(unsigned int* map, unsigned int id) {
    unsigned int last = map[id];
    while (map[last] != last) last = map[last];
    while (map[id] != last) {
        const unsigned int next = map[id];
        map[id] = last;
        id = next;
    }
}

} // namespace kv7::tessmaker

#endif
