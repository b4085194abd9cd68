// Assembly and repair of meshes: welding nodes, removing collapsed elements and unused nodes,
// copying and clipping, listing edges.
//
// `pos` holds coordinates, 2 or 3 rows, one column per node, packed (`ld == rows`) for `merge`. A
// connectivity has one column per element, 0-based node IDs, 0xFFFFFFFF for an absent node. A pair
// `begin`, `end` is a plain array of connectivities, `end` behind the last; overloads with
// `connect1` and `connect2` treat the two as one mesh.
#ifndef TESSMAKER_REPAIR_H
#define TESSMAKER_REPAIR_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Welds nodes that lie within `tol` of each other. All overloads return the number of nodes merged
// away, or a negative code. `new_IDs` gets one entry per column of `pos`: the surviving node, the
// node itself where nothing happened. It is emptied first, also on failure. `tol` is a distance,
// 0 or more (infinity included); 0 merges exact coincidence only. Nodes with coordinates that are
// not finite merge with nothing, as long as `tol` doesn't reach to infinity either.
//
// Each node goes to its nearest neighbour of lower rank within `tol`, and chains are followed to
// their end: in a row of nodes spaced below `tol` all collapse onto the first.

// All nodes of `pos`; the rank is the ID, so the lowest ID of a cluster survives. Merged nodes keep
// their columns and take the survivor's coordinates.
// Empty `pos`: 0. -1: `pos` has not 2 or 3 rows. -3: `tol`, in both overloads. -198: out of memory;
// the contents of `pos` are then undefined.
TESSMAKER_API int merge(dense2D<double>& pos, dense1D<unsigned int, 8>& new_IDs, double tol);
TESSMAKER_API int merge(dense2D<double>& pos, double tol);

// Each node of `nodes1` goes to a node of `nodes2`; the rank is the place in `nodes2`, and a node
// that isn't there has the last. `pos` stays. With an empty list `new_IDs` stays empty.
// Empty `pos`: 0. -1: rows of `pos`. -2: `nodes1` holds an ID that is no column of `pos`. -3: the
// same for `nodes2`. -4: `tol`. -199: out of memory.
TESSMAKER_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes1,
                        const dense1D<unsigned int, 8>& nodes2, dense1D<unsigned int, 8>& new_IDs,
                        double tol);
// The nodes of one list among themselves; the node listed first survives.
// As above, but -3: `tol`. -198: out of memory.
TESSMAKER_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes,
                        dense1D<unsigned int, 8>& new_IDs, double tol);

// The nodes of connectivities, which are relabelled in place; no column is removed.
//   flag 0   any two nodes within `tol`; the node seen first survives
//   flag 1   only nodes that share an element, closest pairs first; the lower ID of a pair
//            survives, and a node that has gone takes no others
//   flag 2   the same, repeated until nothing merges
// Empty `pos` or empty range: 0, `new_IDs` empty. -1: rows of `pos`. -3: `end` lies before `begin`.
// -5: `tol`. -6: `flag`. -2: an ID that is no column of `pos`; `new_IDs` is then the identity.
// -199: out of memory.
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
// As above, but -4: `tol`. -5: `flag`. -198: out of memory.
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect,
                        dense1D<unsigned int, 8>& new_IDs, double tol, unsigned int flag);
TESSMAKER_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect, double tol,
                        unsigned int flag);

// Removes the elements in which a node occurs twice. The others keep their order, and `connect` its
// `ld`. With `strict`, two sentinels in a column count as a repeated node too. `new_IDs` gets one
// entry per old column: the new column, or 0xFFFFFFFF.
// Returns the number of columns removed; -199 when memory fails for `new_IDs`, `connect` unchanged.
TESSMAKER_API int remove_degenerated(dense2D<unsigned int>& connect,
                                     dense1D<unsigned int, 8>& new_IDs, bool strict);
TESSMAKER_API int remove_degenerated(dense2D<unsigned int>& connect, bool strict);

// Removes the nodes from `first_node` on that no element uses, and renumbers the others, which keep
// their order; `pos` keeps its `ld`. `new_IDs` gets one entry per old node: the new ID, or
// 0xFFFFFFFF. It is empty when nothing was looked at: no arrays, an empty `pos`, a `first_node`
// that is no column of it. Returns the number of nodes removed. -3: `end` lies before `begin`. -2:
// an ID that is no column of `pos`, be it empty. -199: out of memory. On failure nothing is changed
// and `new_IDs` is empty.
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin,
                           dense2D<unsigned int>* end, dense1D<unsigned int, 8>& new_IDs,
                           unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin,
                           dense2D<unsigned int>* end, unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect1,
                           dense2D<unsigned int>& connect2, unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect,
                           dense1D<unsigned int, 8>& new_IDs, unsigned int first_node);
TESSMAKER_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect,
                           unsigned int first_node);

// Appends a copy of each node that `connect` uses to `pos`, in the order in which they are first
// seen, and makes `connect_out` the copy of `connect` that refers to the new nodes, whatever it
// held. Nothing is checked: the IDs must be columns of `pos`, or 0xFFFFFFFF, which stays. Returns
// 0; -199 when memory fails, `pos` may have grown by then, or when IDs run out.
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const dense2D<unsigned int>& connect);

// A pattern: appends `nbr_copies` copies of the mesh to `pos` and to `connect_out`. Copy k, from 1
// on, is the source turned by k * angle (k * rotation) about `center`, and then shifted by
// k * shift, as `rotate` and `translate` do it (geometry.h). The source stays and is not among the
// copies. A `connect_out` that holds columns of other rows than `connect` gets none.
// Returns 0, with nothing done for an empty `pos`; -199 when memory fails, with the copies made so
// far. A copy for which `connect_out` can't grow is left out of it.
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const vector_fixed<double, 2>& shift,
                            const vector_fixed<double, 2>& center, double angle,
                            unsigned int nbr_copies, const dense2D<unsigned int>& connect);
TESSMAKER_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                            const vector_fixed<double, 3>& shift,
                            const vector_fixed<double, 3>& center,
                            const vector_fixed<double, 3>& rotation, unsigned int nbr_copies,
                            const dense2D<unsigned int>& connect);

// The mirror image: a copy as by the first `copy_mesh`, its nodes reflected in the line or plane
// through `point` across `normal`, which may have any length. Node orders are kept, so the elements
// are oriented the opposite way: solids have negative volumes. A 2D call leaves the third row as it
// is; a 3D one gives a 2-row `pos` a third row of 0.
// Returns 0, with nothing done for an empty `pos`. -4: the squared length of `normal` is 0;
// nothing is done. -199: as `copy_mesh`.
TESSMAKER_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                                const vector_fixed<double, 2>& point,
                                const vector_fixed<double, 2>& normal,
                                const dense2D<unsigned int>& connect);
TESSMAKER_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                                const vector_fixed<double, 3>& point,
                                const vector_fixed<double, 3>& normal,
                                const dense2D<unsigned int>& connect);

// Appends to `kept` the elements that lie wholly on the side of a plane to which `normal` points,
// the plane through `point` included, in their order. What `kept` holds stays. The nodes of an
// element end at its first 0xFFFFFFFF. Rows that `pos` lacks count as a coordinate of `point`.
// Returns 0, also for an empty `connect`. -2: an ID that is no column of `pos`. -4: `normal` is
// zero throughout. -5: `kept` holds columns of other rows than `connect`. -199: out of memory. On
// failure `kept` is as it was.
TESSMAKER_API int clip(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                       const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
                       dense2D<unsigned int>& kept);

// Appends to `edges` (2 rows) the distinct edges of one or several connectivities, as pairs of
// corner nodes with the smaller ID in row 0, ascending by row 0, then row 1, without those in
// `exclude` (2 rows, either direction, may be empty). What `edges` holds is kept and not looked at.
// A node that an element repeats gives the edge (n, n). ET_PYRA13, ET_PENTA15, ET_HEXA20,
// ET_BAR_MIX, ET_NODE have no edges here. Returns 0, also for an empty `connect`. -1: `connect`
// fails check_IDs. -3: `edges` holds columns of other than 2 rows. -4: `exclude` does. -199: out of
// memory. On failure `edges` is as it was.
TESSMAKER_API int copy_edges(const dense2D<unsigned int>& connect, element_type type,
                             dense2D<unsigned int>& edges, const dense2D<unsigned int>& exclude);
// types[i] is the type of the i-th connectivity of the range.
// Returns 0. -2: `end` lies before `begin`. -3: the range has not as many members as `types`. -4:
// `edges` holds columns of other than 2 rows. -1: a connectivity fails check_IDs. -5: `exclude`
// holds columns of other than 2 rows. -199: out of memory. On failure `edges` is as it was.
TESSMAKER_API int copy_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                             const dense1D<int, 8>& types, dense2D<unsigned int>& edges,
                             const dense2D<unsigned int>& exclude);

} // namespace kv7::tessmaker

#endif
