// The distinct edges of meshes: sorted lists of pairs of corner nodes.
#ifndef TESSMAKER_CONNECTIVITY_EDGES_H
#define TESSMAKER_CONNECTIVITY_EDGES_H

#include <cstdint>

#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// An edge is one 64-bit number with the smaller ID in its upper half, so that sorted edges ascend
// by smaller ID, then by larger ID.
using edge_list = dense1D<std::uint64_t, 8>;

inline std::uint64_t edge_of(unsigned int a, unsigned int b) {
    return a < b ? std::uint64_t{a} << 32 | b : std::uint64_t{b} << 32 | a;
}
inline unsigned int smaller_node(std::uint64_t edge) {
    return static_cast<unsigned int>(edge >> 32);
}
inline unsigned int larger_node(std::uint64_t edge) { return static_cast<unsigned int>(edge); }

// Whether an array of edges is empty or has the two rows of node pairs.
inline bool has_pairs(const dense2D<unsigned int>& edges) {
    return edges.empty() || edges.rows() == 2;
}

// Lists the distinct edges of the connectivities from `begin` to `end`, ascending. types[i] is the
// type of connectivity i, which must pass check_IDs. ET_PYRA13, ET_PENTA15, ET_HEXA20, ET_UNKNOWN,
// ET_NODE and ET_BAR_MIX have no edges.
// Returns 0; -199: out of memory.
int collect_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                  const int* types, edge_list& edges);

// Removes the edges that are columns of `exclude`, in either direction.
// Returns 0; -199: out of memory.
int subtract_edges(const dense2D<unsigned int>& exclude, edge_list& edges);

} // namespace kv7::tessmaker

#endif
