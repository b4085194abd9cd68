// Assembly and repair of meshes: weld nodes, remove collapsed elements and unused nodes, copy and
// clip meshes, list edges.
//
//   node          a column of `pos`, which has 2 or 3 rows; named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node, no element
//   range         `begin`, `end`: a plain array of connectivities, `end` behind the last; it is
//                 treated as one mesh, and so are `connect1` and `connect2`
//   packed        without a gap between the columns: `ld == rows`
//   new_IDs       what has become of each node or element: an entry for each old one with its new
//                 ID. It is emptied first, also on failure
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_REPAIR_H
#define TESSMAKER_REPAIR_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// `merge` welds nodes that lie within `tol` of each other. Each node goes to its nearest neighbour
// of lower rank within `tol`, and chains are followed to their end: in a row of nodes whose spacing
// is below `tol`, all collapse onto the first. Ranks are told with each overload. No column is
// removed.
//
//   pos      packed
//   new_IDs  out: an entry for each column of `pos`, the node that survives: the node itself if
//            nothing happened to it
//   tol      a distance, 0 or more, infinity included; 0 merges only nodes that coincide exactly.
//            Nodes with coordinates that are not finite merge with nothing, unless `tol` is
//            infinite
//
// A list, or a connectivity with flag 0, is first reduced to its distinct nodes. A node for which
// memory fails there is left out: it merges with nothing, and nothing merges with it. No code tells
// this. Where all memory fails, no node is merged and the result is 0. The codes for out of memory
// stand for all other memory; with flags 1 and 2 std::bad_alloc can be thrown as well, and the
// connectivities are then as the last full pass left them.

// Cost: about n log n for n nodes, on lines and in planes as well as in space. Two cases of flags 1
// and 2 take a time that grows like n^2. A column of n nodes that all lie within `tol` of each
// other has n^2 / 2 pairs, which are listed, at 16 bytes each, and sorted: 1.8 s for 4000 nodes.
// With flag 2, a pass looks again at every element that the pass before has changed: n elements
// around one node that merges in each of n passes, as the hub of a star can, are looked at n^2 / 2
// times, 0.4 s for 4000 bars.

// All nodes of `pos`. The rank is the ID, so the node with the lowest ID of a cluster survives.
// Merged nodes keep their columns and take the coordinates of the survivor.
//
// Returns the number of nodes merged away, 0 for an empty `pos`, or
//   -1    `pos` has neither 2 nor 3 rows
//   -3    `tol` is negative or not a number
//   -198  out of memory; the contents of `pos` are then undefined
TESSMAKER_API int merge(dense2D<double>& pos, dense1D<unsigned int, 8>& new_IDs, double tol);
TESSMAKER_API int merge(dense2D<double>& pos, double tol);

// Each node of `nodes1` goes to a node of `nodes2`. The rank is the position in `nodes2`; a node
// that isn't there has the last rank. `pos` stays. If a list is empty, `new_IDs` stays empty.
//
// Returns the number of nodes merged away, 0 for an empty `pos`, or
//   -1    `pos` has neither 2 nor 3 rows
//   -2    `nodes1` holds an ID that is no column of `pos`
//   -3    `nodes2` holds an ID that is no column of `pos`
//   -4    `tol` is negative or not a number
//   -199  out of memory, but not while nodes are listed
TESSMAKER_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes1,
                        const dense1D<unsigned int, 8>& nodes2, dense1D<unsigned int, 8>& new_IDs,
                        double tol);
// The nodes of one list among themselves. The node that is listed first survives.
//
// Returns the number of nodes merged away, 0 for an empty `pos`, or
//   -1    `pos` has neither 2 nor 3 rows
//   -2    `nodes` holds an ID that is no column of `pos`
//   -3    `tol` is negative or not a number
//   -198  out of memory, but not while nodes are listed
TESSMAKER_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes,
                        dense1D<unsigned int, 8>& new_IDs, double tol);

// The nodes of a range or of two connectivities, which are renumbered in place.
//
//   flag 0  any two nodes within `tol`; the node seen first survives
//   flag 1  only nodes of a common element, closest pairs first; the lower ID of a pair survives,
//           and a node that has been merged away takes no others
//   flag 2  as flag 1, repeated until nothing merges
//
// Returns the number of nodes merged away; 0, with an empty `new_IDs`, for an empty `pos` or range,
// or
//   -1    `pos` has neither 2 nor 3 rows
//   -3    `end` lies before `begin`
//   -5    `tol` is negative or not a number
//   -6    `flag` is above 2
//   -2    an ID that is no column of `pos`; each entry of `new_IDs` is then the node itself
//   -199  out of memory; with flag 0 not while nodes are listed
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                        dense2D<unsigned int>* end, dense1D<unsigned int, 8>& new_IDs, double tol,
                        unsigned int flag);
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                        dense2D<unsigned int>* end, double tol, unsigned int flag);
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect1,
                        dense2D<unsigned int>& connect2, dense1D<unsigned int, 8>& new_IDs,
                        double tol, unsigned int flag);
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect1,
                        dense2D<unsigned int>& connect2, double tol, unsigned int flag);
// The same for one connectivity, with other codes.
//
// Returns the number of nodes merged away; 0, with an empty `new_IDs`, for an empty `pos`, or
//   -1    `pos` has neither 2 nor 3 rows
//   -4    `tol` is negative or not a number
//   -5    `flag` is above 2
//   -2    an ID that is no column of `pos`; each entry of `new_IDs` is then the node itself
//   -198  out of memory; with flag 0 not while nodes are listed
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect,
                        dense1D<unsigned int, 8>& new_IDs, double tol, unsigned int flag);
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect, double tol,
                        unsigned int flag);

// Removes the elements in which a node occurs twice. The others keep their order, and `connect`
// keeps its `ld`.
//
//   new_IDs  out: an entry for each old column, its new column or the absent ID
//   strict   true: two absent IDs in a column count as a repeated node too
//
// Returns the number of columns removed, or
//   -199  out of memory for `new_IDs`; `connect` is unchanged
TESSMAKER_API int remove_degenerated(dense2D<unsigned int>& connect,
                                     dense1D<unsigned int, 8>& new_IDs, bool strict);
// The same without `new_IDs`.
//
// Returns the number of columns removed.
TESSMAKER_API int remove_degenerated(dense2D<unsigned int>& connect, bool strict);

// Removes the nodes from `first_node` on that no element uses, and renumbers the others. These keep
// their order, and `pos` keeps its `ld`.
//
//   new_IDs  out: an entry for each old node, its new ID or the absent ID. Empty if there is
//            nothing to do: no connectivities, an empty `pos`, a `first_node` that is no column of
//            it

// A range.
//
// Returns the number of nodes removed, or
//   -3    `end` lies before `begin`
//   -2    an ID that is no column of `pos`, also if `pos` is empty
//   -199  out of memory
// On failure nothing is changed and `new_IDs` is empty.
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin,
                           dense2D<unsigned int>* end, dense1D<unsigned int, 8>& new_IDs,
                           unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin,
                           dense2D<unsigned int>* end, unsigned int first_node);
// One or two connectivities.
//
// Returns the number of nodes removed, or
//   -2    an ID that is no column of `pos`, also if `pos` is empty
//   -199  out of memory
// On failure nothing is changed and `new_IDs` is empty.
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect1,
                           dense2D<unsigned int>& connect2, unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect,
                           dense1D<unsigned int, 8>& new_IDs, unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect,
                           unsigned int first_node);

// Copies a mesh: appends a copy of each node that `connect` uses to `pos`, in the order in which
// they are first seen. Nothing is checked: the IDs must be columns of `pos` or absent IDs.
//
//   connect_out  out: `connect` with the IDs of the new nodes; absent IDs stay. What it held is
//                replaced
//
// Returns 0, or
//   -199  out of memory, or no IDs are left; `pos` may have grown
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const dense2D<unsigned int>& connect);

// Copies a mesh `nbr_copies` times, as a pattern: appends the nodes to `pos` and the elements to
// `connect_out`. Copy k, from 1 on, is the source rotated by k * angle (k * rotation) about
// `center` and then translated by k * shift, as `rotate` and `translate` do it (geometry.h). The
// source stays and is not among the copies. If `connect_out` holds columns of other rows than
// `connect`, or can't grow, a copy is left out of it.
//
// Returns 0; for an empty `pos` with nothing done, or
//   -199  out of memory; the copies made so far stay
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const vector_fixed<double, 2>& shift,
                            const vector_fixed<double, 2>& center, double angle,
                            unsigned int nbr_copies, const dense2D<unsigned int>& connect);
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const vector_fixed<double, 3>& shift,
                            const vector_fixed<double, 3>& center,
                            const vector_fixed<double, 3>& rotation, unsigned int nbr_copies,
                            const dense2D<unsigned int>& connect);

// Makes a mirror image: a copy as by the first `copy_mesh`, its nodes reflected in the line or
// plane through `point` with the normal `normal`, which may have any length. The nodes of an
// element keep their order, so its orientation is reversed: solids get negative volumes. A 2D call
// leaves the third row unchanged; a 3D call adds a third row of 0 to a 2-row `pos`.
//
// Returns 0; for an empty `pos` with nothing done, or
//   -4    the squared length of `normal` is 0; nothing is done
//   -199  out of memory, or no IDs are left; `pos` may have grown
TESSMAKER_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                                const vector_fixed<double, 2>& point,
                                const vector_fixed<double, 2>& normal,
                                const dense2D<unsigned int>& connect);
TESSMAKER_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                                const vector_fixed<double, 3>& point,
                                const vector_fixed<double, 3>& normal,
                                const dense2D<unsigned int>& connect);

// Appends to `kept` the elements that lie wholly on that side of a plane to which `normal` points,
// in their order. The plane goes through `point` and belongs to that side. The nodes of an element
// end at its first absent ID. If `pos` has fewer than 3 rows, the missing coordinates are those of
// `point`.
//
// Returns 0, also for an empty `connect`, or
//   -2    an ID that is no column of `pos`
//   -4    `normal` is zero
//   -5    `kept` holds columns of other rows than `connect`
//   -199  out of memory
// On failure `kept` is unchanged.
TESSMAKER_API int clip(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                       const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
                       dense2D<unsigned int>& kept);

// Appends to `edges` the distinct edges of a connectivity, as pairs of corner nodes with the
// smaller ID in row 0, ascending by row 0, then by row 1. What `edges` held stays and is not
// compared. A node that an element repeats gives the edge (n, n). ET_PYRA13, ET_PENTA15, ET_HEXA20,
// ET_BAR_MIX and ET_NODE have no edges here.
//
//   edges    in, out: 2 rows
//   exclude  edges that are left out: 2 rows, nodes in either order; may be empty
//
// Returns 0, also for an empty `connect`, or
//   -1    `connect` fails check_IDs
//   -3    `edges` holds columns of other than 2 rows
//   -4    `exclude` holds columns of other than 2 rows
//   -199  out of memory
// On failure `edges` is unchanged.
TESSMAKER_API int copy_edges(const dense2D<unsigned int>& connect, element_type type,
                             dense2D<unsigned int>& edges, const dense2D<unsigned int>& exclude);
// The same for a range, types[i] being the type of its i-th connectivity.
//
// Returns 0, or
//   -2    `end` lies before `begin`
//   -3    the range has another number of members than `types`
//   -4    `edges` holds columns of other than 2 rows
//   -1    a connectivity fails check_IDs
//   -5    `exclude` holds columns of other than 2 rows
//   -199  out of memory
// On failure `edges` is unchanged.
TESSMAKER_API int copy_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                             const dense1D<int, 8>& types, dense2D<unsigned int>& edges,
                             const dense2D<unsigned int>& exclude);

} // namespace kv7::tessmaker

#endif
