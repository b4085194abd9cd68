// The distinct edges of elements, as a sorted list of pairs of corner nodes.
#ifndef TESSMAKER_CONNECTIVITY_EDGES_H
#define TESSMAKER_CONNECTIVITY_EDGES_H

#include <cstdint>

#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// An edge is one number with the smaller ID in its upper half, so that edges ascend by the smaller
// ID, then by the larger one.
using edge_list = dense1D<std::uint64_t, 8>;

inline std::uint64_t edge_of(unsigned int a, unsigned int b) {
    return a < b ? std::uint64_t{a} << 32 | b : std::uint64_t{b} << 32 | a;
}
inline unsigned int smaller_node(std::uint64_t edge) {
    return static_cast<unsigned int>(edge >> 32);
}
inline unsigned int larger_node(std::uint64_t edge) { return static_cast<unsigned int>(edge); }

// Whether an array of edges holds pairs of nodes, or nothing.
inline bool has_pairs(const dense2D<unsigned int>& edges) {
    return edges.empty() || edges.rows() == 2;
}

// Lists the edges of the connectivities from `begin` up to `end`, each of them once, ascending.
// types[i] is the type of the i-th, which must pass check_IDs. ET_PYRA13, ET_PENTA15, ET_HEXA20 and
// the types without a shape have none.
// Returns 0; -199: out of memory.
int collect_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                  const int* types, edge_list& edges);

// Removes the edges in the columns of `exclude`, pairs in whichever direction.
// Returns 0; -199: out of memory.
int subtract_edges(const dense2D<unsigned int>& exclude, edge_list& edges);

} // namespace kv7::tessmaker

#endif
