// What follows from a connectivity alone: adjacency of nodes and elements, neighbours across
// facets, boundaries, connected parts.
//
// A connectivity has one column per element (element_type.h). Local facets of an element are the
// nodes of a bar, the edges of a face, the faces of a solid. `neighbors` has one column per element
// and one row per local facet: the element across that facet, or 0xFFFFFFFF. A facet handle is
// element * K + local facet, K being the rows of `neighbors` for the type.
//
// Served types, unless a function says otherwise, with K and the rows of a facet:
//
//   type           K   rows        type           K   rows
//   ET_BAR2        2   1           ET_PYRA5       5   4, 0xFFFFFFFF in row 3 of a triangle
//   ET_TRIA3       3   2           ET_PENTA6      5   4, 0xFFFFFFFF in row 3 of a triangle
//   ET_QUAD4       4   2           ET_HEXA8       6   4
//   ET_FACE_MIX    4   2           ET_SOLID_MIX   6   4, 0xFFFFFFFF in row 3 of a triangle
//   ET_TETRA4      4   3
//
// An ET_FACE_MIX of 3 rows is taken as ET_TRIA3, an ET_SOLID_MIX of 4, 5 or 6 rows as ET_TETRA4,
// ET_PYRA5 or ET_PENTA6. Local facets, by local nodes in the order in which they are read:
//
//   ET_BAR2     1 | 0
//   ET_TRIA3    1 2 | 2 0 | 0 1
//   ET_QUAD4    0 1 | 1 2 | 2 3 | 3 0
//   ET_TETRA4   1 2 3 | 2 0 3 | 0 1 3 | 2 1 0
//   ET_PYRA5    0 4 1 | 1 4 2 | 2 4 3 | 3 4 0 | 0 1 2 3
//   ET_PENTA6   0 1 2 | 3 5 4 | 2 1 4 5 | 0 2 5 3 | 1 0 3 4
//   ET_HEXA8    0 3 7 4 | 1 5 6 2 | 0 4 5 1 | 3 2 6 7 | 0 1 2 3 | 4 7 6 5
//
// Compressed adjacency: the entries of item n stand in `list` from first[n] up to first[n + 1].
#ifndef TESSMAKER_CONNECTIVITY_H
#define TESSMAKER_CONNECTIVITY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Node to elements, for all rows of any connectivity, sentinels skipped: the elements of a node in
// ascending order, twice where the node stands twice in a column. `first` has max_ID(connect) + 2
// entries; the one entry 0 for an empty `connect`, and (0, 0) when no column holds a node.
// Returns 0; -199: out of memory.
TESSMAKER_API int get_connected_elements(const dense2D<unsigned int>& connect,
                                         dense1D<unsigned int, 8>& first,
                                         dense1D<unsigned int, 8>& list);

// Node to nodes along the edges of ET_BAR2, ET_TRIA3, ET_QUAD4, ET_FACE_MIX (4 rows), ET_TETRA4,
// ET_PYRA5, ET_PENTA6, ET_HEXA8, ET_SOLID_MIX (8 rows); under ET_UNKNOWN all nodes of a column are
// joined to one another, whatever its rows. The neighbours of a node stand in the order in which
// they are first met, by element, then by local edge; never the node itself, and none twice.
// `first` has max_ID(connect) + 2 entries, (0, 0) when no column holds a node. Both outputs stay
// empty for an empty `connect`.
// Returns 0; -2: the rows of `connect` are not those of the type; -5: a type not listed; -199: out
// of memory.
TESSMAKER_API int get_node_graph(const dense2D<unsigned int>& connect,
                                 dense1D<unsigned int, 8>& first, dense1D<unsigned int, 8>& list,
                                 element_type type);

// Node to one element that holds it, the last one, or 0xFFFFFFFF. An empty `ancestors` gets
// max_ID(connect) + 1 entries. One that is not empty keeps its size and its entries but for the
// nodes met: nodes beyond its end are passed over. Untouched when `connect` is empty.
// Returns 0; -199: out of memory.
TESSMAKER_API int get_ancestors(const dense2D<unsigned int>& connect,
                                dense1D<unsigned int, 8>& ancestors);

// Element to elements across facets: K rows, one column per element. Facets match that hold the
// same nodes in the same or the opposite cyclic order; an element can name itself. Where three or
// more facets match, in ascending order of handle: with `link_non_manifold` all but the first name
// the first's element and the first names the last one's; without, all stay 0xFFFFFFFF. Returns 0;
// -1: `connect` fails check_IDs; -2: a type that is not served; -199: out of memory.
TESSMAKER_API int get_neighbors(const dense2D<unsigned int>& connect, element_type type,
                                bool link_non_manifold, dense2D<unsigned int>& neighbors);

// Appends to `boundaries` all facets of all elements, by element, then by local facet. A facet
// between two elements comes twice.
// Returns 0; -1: `connect` fails check_IDs; -2: `boundaries` holds columns of other rows, or a type
// that is not served; -199: out of memory.
TESSMAKER_API int get_element_boundaries(const dense2D<unsigned int>& connect, element_type type,
                                         dense2D<unsigned int>& boundaries);

// Appends to `boundaries` the facets without a neighbour, by element, then by local facet.
// Returns 0; -1: the rows of `connect` are not those of the type; -2: `neighbors` is not K rows by
// one column per element, or names an element that does not exist; -4: `boundaries` holds columns
// of other rows; -3: a type that is not served; -199: out of memory.
TESSMAKER_API int get_mesh_boundaries(const dense2D<unsigned int>& connect,
                                      const dense2D<unsigned int>& neighbors, element_type type,
                                      dense2D<unsigned int>& boundaries);

// Appends to `handles` the facets without a neighbour, as handles, by element, then by local facet.
// `stride` becomes K; 0 on failure, and for an empty `connect`.
// Returns 0; -1: `connect` fails check_IDs; -2: `neighbors` is not K rows by one column per
// element, or a type that is not served; -199: out of memory.
TESSMAKER_API int get_mesh_bounding_elements(const dense2D<unsigned int>& connect,
                                             const dense2D<unsigned int>& neighbors,
                                             element_type type, dense1D<unsigned int, 8>& handles,
                                             unsigned int& stride);

// For each column of `boundaries` a facet of the mesh with these nodes, as a handle, or 0xFFFFFFFF.
// It is looked for among the elements around the column's first node, which are reached from
// ancestors[node] (see get_ancestors) through `neighbors`; a node that `ancestors` does not reach
// or has no element for finds nothing. Several elements may carry the facet:
//   side 2 or more     the first met that holds it in the given direction
//   side 0 or 1        the last met in the given direction, else the last met in the opposite one
//   side -1            the last met in the opposite direction, else the last met in the given one
//   side -2 or less    the first met that holds it in the opposite direction
// The facet of a bar, a node, has the given direction; under a `side` below -1 none is found.
// `handles` is emptied first, `stride` becomes K; 0 for an empty `boundaries`, whatever the rest.
// Returns 0; -1: rows of `boundaries`; -2: rows of `connect`; -3: `neighbors` is not K rows by one
// column per element, names an element that does not exist, or led to one without the node; -4:
// `ancestors` names an element that does not exist or does not hold the node; -5: a type that is
// not served; -199: out of memory. After a walk that led astray the columns done keep their
// handles, the others have 0xFFFFFFFF; after any other failure `handles` is empty and `stride` 0.
TESSMAKER_API int get_elements_on_boundaries(
    const dense2D<unsigned int>& boundaries, const dense2D<unsigned int>& connect,
    const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
    element_type type, int side, dense1D<unsigned int, 8>& handles, unsigned int& stride);

// Appends to `boundaries` the facets without a neighbour and those between elements of different
// colour, by element, then by local facet. `colors` has one entry per element; 0xFFFFFFFF is no
// colour. With `both_sides` a facet between two colours comes from both elements, otherwise from
// the lower one; with `colored_only` it comes only if both elements have a colour.
// Returns 0; -1: rows of `connect`; -2: `neighbors` as in get_mesh_boundaries; -3: size of
// `colors`; -5: `boundaries` holds columns of other rows; -4: a type that is not served; -199: out
// of memory.
TESSMAKER_API int get_colors_boundaries(const dense2D<unsigned int>& connect,
                                        const dense2D<unsigned int>& neighbors,
                                        const dense1D<unsigned int, 8>& colors, element_type type,
                                        bool both_sides, bool colored_only,
                                        dense2D<unsigned int>& boundaries);

// Connected parts of a mesh: `list` holds all elements, part d from first[d] up to first[d + 1].
// Parts come in ascending order of their lowest element, and each is listed breadth-first from it,
// by row of `neighbors`. Entries of `neighbors` that are no column of it count as none.
// Returns 0; -199: out of memory.
TESSMAKER_API int get_subdomains(const dense2D<unsigned int>& neighbors,
                                 dense1D<unsigned int, 8>& list, dense1D<unsigned int, 8>& first);

// Puts the columns of `connect` and `neighbors` in that order, and renumbers `neighbors`; part d is
// then the columns from first[d] up to first[d + 1].
// Returns 0; -2: the two differ in columns; -199: out of memory.
TESSMAKER_API int get_subdomains(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
                                 dense1D<unsigned int, 8>& first);

// Sorts the columns of a mixed connectivity by their number of nodes, counted up to the first
// 0xFFFFFFFF, most nodes first, stably, and drops columns without a node. `neighbors`, which may be
// empty, follows and is renumbered; a dropped neighbour becomes 0xFFFFFFFF, an entry that is no
// column stays. node_counts[g] is the number of nodes in group g, group_ends[g] its end; both have
// one entry 0 when no column is left. `old_to_new` gets one entry per old column, 0xFFFFFFFF for a
// dropped one. Returns 0; -1: `neighbors` holds something and differs in columns, nothing changed.
// Out of memory is 0 too, the mesh as it was and the lists empty.
TESSMAKER_API int sort_elfes(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
                             dense1D<unsigned int, 8>& node_counts,
                             dense1D<unsigned int, 8>& group_ends,
                             dense1D<unsigned int, 8>& old_to_new);
TESSMAKER_API int sort_elfes(dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& node_counts,
                             dense1D<unsigned int, 8>& group_ends,
                             dense1D<unsigned int, 8>& old_to_new);

} // namespace kv7::tessmaker

#endif
