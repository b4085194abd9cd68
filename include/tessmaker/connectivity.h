// What follows from a connectivity alone: which nodes and elements are adjacent, the neighbours
// across facets, boundaries, connected parts.
//
//   connectivity   `dense2D<unsigned int>`: a column per element, a row per node of the element
//                  (element_type.h)
//   node, element  named by an ID, from 0; the ID of an element is its column
//   absent ID      0xFFFFFFFF: no node, no element, no facet
//   facet          a node of a bar, an edge of a face, a face of a solid. The facets of an element
//                  are numbered from 0, its local facets, and their nodes have the order given
//                  below
//   K              the number of local facets of a type
//   neighbors      K rows, a column per element: neighbors(f, e) is the element across local facet
//                  f of element e, or the absent ID
//   handle         of a facet: element * K + local facet
//   free facet     a facet without a neighbour
//   boundaries     facets as columns of node IDs. A function that appends to `boundaries` or
//                  `handles` first moves the array, with what it holds, to a block of its own if it
//                  stands on that of an input
//   compressed     of a relation: what belongs to item n is `list` from first[n] up to, not
//                  including, first[n + 1]
//
// Served types, unless a function says otherwise, with K and the rows of `boundaries`:
//
//   type           K   rows        type           K   rows
//   ET_BAR2        2   1           ET_PYRA5       5   4, absent ID in row 3 of a triangle
//   ET_TRIA3       3   2           ET_PENTA6      5   4, absent ID in row 3 of a triangle
//   ET_QUAD4       4   2           ET_HEXA8       6   4
//   ET_FACE_MIX    4   2           ET_SOLID_MIX   6   4, absent ID in row 3 of a triangle
//   ET_TETRA4      4   3
//
// ET_FACE_MIX with 3 rows is taken as ET_TRIA3, ET_SOLID_MIX with 4, 5 or 6 rows as ET_TETRA4,
// ET_PYRA5 or ET_PENTA6. Local facets, by local nodes in their order:
//
//   ET_BAR2     1 | 0
//   ET_TRIA3    1 2 | 2 0 | 0 1
//   ET_QUAD4    0 1 | 1 2 | 2 3 | 3 0
//   ET_TETRA4   1 2 3 | 2 0 3 | 0 1 3 | 2 1 0
//   ET_PYRA5    0 4 1 | 1 4 2 | 2 4 3 | 3 4 0 | 0 1 2 3
//   ET_PENTA6   0 1 2 | 3 5 4 | 2 1 4 5 | 0 2 5 3 | 1 0 3 4
//   ET_HEXA8    0 3 7 4 | 1 5 6 2 | 0 4 5 1 | 3 2 6 7 | 0 1 2 3 | 4 7 6 5
//
// "By element" means ascending columns, and in each ascending local facets. Codes are listed in the
// order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_CONNECTIVITY_H
#define TESSMAKER_CONNECTIVITY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Lists the elements of each node, for any connectivity, all rows taken and absent IDs skipped. The
// elements of a node are in ascending order; an element is listed twice if the node stands twice in
// its column.
//
//   first, list  out: the compressed relation. `first` has max_ID(connect) + 2 entries; it is (0)
//                for an empty `connect`, (0, 0) if no column holds a node
//
// Returns 0, or
//   -199  out of memory
TESSMAKER_API int get_connected_elements(const dense2D<unsigned int>& connect,
                                         dense1D<unsigned int, 8>& first,
                                         dense1D<unsigned int, 8>& list);

// Lists the nodes to which each node is joined by an edge. The neighbours of a node are in the
// order in which they are first met, by element, then by local edge; the node itself is not among
// them, and none is listed twice.
//
//   first, list  out: the compressed relation. `first` has max_ID(connect) + 2 entries; it is (0,
//                0) if no column holds a node. Both stay empty for an empty `connect`
//   type         ET_BAR2, ET_TRIA3, ET_QUAD4, ET_FACE_MIX (4 rows), ET_TETRA4, ET_PYRA5, ET_PENTA6,
//                ET_HEXA8 or ET_SOLID_MIX (8 rows); ET_UNKNOWN joins all nodes of a column to one
//                another, for any number of rows
//
// Returns 0, or
//   -2    `connect` has not the rows of the type
//   -5    any other type
//   -199  out of memory
TESSMAKER_API int get_node_graph(const dense2D<unsigned int>& connect,
                                 dense1D<unsigned int, 8>& first, dense1D<unsigned int, 8>& list,
                                 element_type type);

// Finds for each node the last element that holds it, or the absent ID.
//
//   ancestors  in, out: if empty, it gets max_ID(connect) + 1 entries. Otherwise its size stays and
//              only the entries of the nodes of `connect` change; nodes beyond its end are skipped.
//              Unchanged if `connect` is empty
//
// Returns 0, or
//   -199  out of memory
TESSMAKER_API int get_ancestors(const dense2D<unsigned int>& connect,
                                dense1D<unsigned int, 8>& ancestors);

// Finds the elements across the facets of each element. Facets match if they hold the same nodes in
// the same or the opposite cyclic order; an element can be its own neighbour.
//
//   link_non_manifold  what becomes of three or more matching facets. false: they have no
//                      neighbour. true: in ascending order of handles, the first one's element is
//                      the neighbour of all others, and the last one's element that of the first
//   neighbors          out: K rows, a column per element
//
// Returns 0, or
//   -1    `connect` fails check_IDs
//   -2    a type that is not served
//   -199  out of memory
TESSMAKER_API int get_neighbors(const dense2D<unsigned int>& connect, element_type type,
                                bool link_non_manifold, dense2D<unsigned int>& neighbors);

// Appends to `boundaries` all facets of all elements, by element. A facet between two elements
// comes twice.
//
// Returns 0, or
//   -1    `connect` fails check_IDs
//   -2    `boundaries` holds columns of other rows, or a type that is not served
//   -199  out of memory
TESSMAKER_API int get_element_boundaries(const dense2D<unsigned int>& connect, element_type type,
                                         dense2D<unsigned int>& boundaries);

// Appends to `boundaries` the free facets, by element.
//
// Returns 0, or
//   -1    `connect` has not the rows of the type
//   -2    `neighbors` has not K rows and a column per element, or holds an element that does not
//         exist
//   -4    `boundaries` holds columns of other rows
//   -3    a type that is not served
//   -199  out of memory
TESSMAKER_API int get_mesh_boundaries(const dense2D<unsigned int>& connect,
                                      const dense2D<unsigned int>& neighbors, element_type type,
                                      dense2D<unsigned int>& boundaries);

// Appends to `handles` the handles of the free facets, by element.
//
//   stride  out: K; 0 on failure and for an empty `connect`
//
// Returns 0, or
//   -1    `connect` fails check_IDs
//   -2    `neighbors` has not K rows and a column per element, or a type that is not served
//   -199  out of memory
TESSMAKER_API int get_mesh_bounding_elements(const dense2D<unsigned int>& connect,
                                             const dense2D<unsigned int>& neighbors,
                                             element_type type, dense1D<unsigned int, 8>& handles,
                                             unsigned int& stride);

// Finds for each column of `boundaries` a facet of the mesh with these nodes. It searches the
// elements around the first node of the column: it starts from ancestors[node] (see get_ancestors)
// and goes on through `neighbors`. Nothing is found for a node without an ancestor. If several
// elements have the facet, `side` decides:
//
//   side >= 2    the first one met that holds it in the given direction
//   side 0 or 1  the last one met that holds it in the given direction, else the last one met that
//                holds it in the opposite direction
//   side -1      the last one met in the opposite direction, else the last one met in the given one
//   side <= -2   the first one met in the opposite direction
//
// The facet of a bar, a single node, always has the given direction, so none is found with a `side`
// below -1.
//
//   handles  out: a handle per column of `boundaries`, or the absent ID
//   stride   out: K; 0 for an empty `boundaries`, whatever the other arguments
//
// Returns 0, or
//   -1    `boundaries` has not the rows of a facet
//   -2    `connect` has not the rows of the type
//   -3    `neighbors` has not K rows and a column per element, holds an element that does not
//         exist, or led to an element that does not hold the node
//   -4    `ancestors` holds an element that does not exist or does not hold the node
//   -5    a type that is not served
//   -199  out of memory
// If the search fails with -3 or -4, the columns done so far keep their handles and the others have
// the absent ID. After any other failure `handles` is empty and `stride` 0.
TESSMAKER_API int get_elements_on_boundaries(
    const dense2D<unsigned int>& boundaries, const dense2D<unsigned int>& connect,
    const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
    element_type type, int side, dense1D<unsigned int, 8>& handles, unsigned int& stride);

// Appends to `boundaries`, by element, the free facets and those between elements of different
// colour.
//
//   colors        an entry per element; the absent ID is no colour
//   both_sides    true: a facet between two colours comes from both elements; false: from the lower
//                 one
//   colored_only  true: a facet between two elements comes only if both have a colour
//
// Returns 0, or
//   -1    `connect` has not the rows of the type
//   -2    `neighbors` has not K rows and a column per element, or holds an element that does not
//         exist
//   -3    `colors` has not an entry per element
//   -5    `boundaries` holds columns of other rows
//   -4    a type that is not served
//   -199  out of memory
TESSMAKER_API int get_colors_boundaries(const dense2D<unsigned int>& connect,
                                        const dense2D<unsigned int>& neighbors,
                                        const dense1D<unsigned int, 8>& colors, element_type type,
                                        bool both_sides, bool colored_only,
                                        dense2D<unsigned int>& boundaries);

// Lists the connected parts of a mesh, in ascending order of their lowest element; each part is
// listed breadth-first from that element, by row of `neighbors`. Entries of `neighbors` that are no
// column of it count as no neighbour.
//
//   list, first  out: all elements; part d is `list` from first[d] up to, not including, first[d +
//                1]
//
// Returns 0, or
//   -199  out of memory
TESSMAKER_API int get_subdomains(const dense2D<unsigned int>& neighbors,
                                 dense1D<unsigned int, 8>& list, dense1D<unsigned int, 8>& first);

// Puts the columns of `connect` and `neighbors` in that order and renumbers `neighbors`. Part d is
// then the columns from first[d] up to, not including, first[d + 1].
//
// Returns 0, or
//   -2    `connect` and `neighbors` differ in columns
//   -199  out of memory
TESSMAKER_API int get_subdomains(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
                                 dense1D<unsigned int, 8>& first);

// Sorts the columns of a mixed connectivity by their number of nodes, counted up to the first
// absent ID: most nodes first, stably. Columns without a node are dropped.
//
//   neighbors    in, out: follows and is renumbered; may be empty. A neighbour that is dropped
//                becomes the absent ID; an entry that is no column stays
//   node_counts  out: the number of nodes in each group of equal columns; (0) if no column is left
//   group_ends   out: the end of each group; (0) if no column is left
//   old_to_new   out: an entry per old column, the absent ID if it is dropped
//
// Returns 0, or
//   -1    `neighbors` holds something and differs in columns; nothing is changed
// Out of memory gives 0 too: the mesh is then unchanged and the lists are empty.
TESSMAKER_API int sort_elfes(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
                             dense1D<unsigned int, 8>& node_counts,
                             dense1D<unsigned int, 8>& group_ends,
                             dense1D<unsigned int, 8>& old_to_new);
// The same without neighbours.
//
// Returns 0, also if memory fails: the mesh is then unchanged and the lists are empty.
TESSMAKER_API int sort_elfes(dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& node_counts,
                             dense1D<unsigned int, 8>& group_ends,
                             dense1D<unsigned int, 8>& old_to_new);

} // namespace kv7::tessmaker

#endif
