// Coordinates of a mesh: the bounding box of nodes, the centroids of elements, and the motions
// `translate`, `rotate` and `zoom`.
//
//   node          a column of `pos`, which has a row per coordinate; named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node
//   2D, 3D        the dimension of a call: that of its vectors
//
// A function that acts on nodes takes all columns of `pos`, the nodes of a list, or the nodes that
// a connectivity uses, each once.
//
// Motions change `pos` in place. A 2D motion leaves the third row of a 3-row `pos` unchanged. A
// motion of more dimensions than `pos` has rows first adds the missing rows, filled with 0, unless
// there is nothing to do: `pos`, the list or the connectivity is empty, or nothing would move.
// Motions have no codes. If memory fails for a missing row, the existing rows are moved, with the
// missing coordinates taken as 0; if it fails while the nodes of a connectivity are listed, the
// nodes listed so far are moved.
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_GEOMETRY_H
#define TESSMAKER_GEOMETRY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Widens a box to hold all nodes as well. The caller has set the box up. A coordinate that is not a
// number widens nothing.
//
// Returns 0, or
//   -1    `pos` has another number of rows than the box has dimensions, as when it is empty
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);
// The same for the nodes of a list, in which absent IDs are skipped.
//
// Returns 0, for an empty list before any check, or
//   -1    `pos` has another number of rows than the box has dimensions, as when it is empty
//   -2    an ID that is no column of `pos`
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos,
                                   const dense1D<unsigned int, 8>& nodes,
                                   vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos,
                                   const dense1D<unsigned int, 8>& nodes,
                                   vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);
// The same for the nodes that a connectivity uses. If memory to list them fails, those listed so
// far are taken.
//
// Returns 0, for a connectivity without nodes before any check, or
//   -1    `pos` has another number of rows than the box has dimensions, as when it is empty
//   -2    an ID that is no column of `pos`
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                   vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                   vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);

// Computes the mean of the nodes of each element.
//
//   centers  out: a column per element, as many rows as `pos`
//   type     ET_BAR2, ET_TRIA3, ET_QUAD4, ET_FACE_MIX, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8 or
//            ET_SOLID_MIX
//
// Returns 0, or
//   -1    `pos` has not 1 to 3 rows, or fewer than the elements have dimensions; checked before an
//         empty `connect` gives 0
//   -2    `connect` fails check_IDs
//   -4    any other type; `centers` has its full size and holds zeros
//   -199  out of memory
// After -1, -2 and -199 `centers` is empty.
TESSMAKER_API int centroids(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            dense2D<double>& centers, element_type type);

// Adds `shift` to each node.
//
// Returns the number of nodes moved; 0 if `pos` is empty or `shift` is zero.
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift);
// The same for the nodes of a list, in which any value that is no column of `pos` is skipped, or
// for the nodes that a connectivity uses.
//
// Returns the number of moves: a node listed twice is moved twice and counted twice. 0 if `pos` is
// empty or `shift` is zero.
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
                            const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
                            const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
                            const dense2D<unsigned int>& connect);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
                            const dense2D<unsigned int>& connect);

// Rotates each node about `center`: in 2D counterclockwise by `angle`, in 3D about the axis along
// `rotation`, by the length of that vector. Angles are in radians.
//
// Returns the number of nodes moved; 0 if `pos` is empty, or `angle` or `rotation` is zero.
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle);
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                         const vector_fixed<double, 3>& rotation);
// The same for the nodes of a list or of a connectivity, which are taken as by `translate`.
//
// Returns the number of moves: a node listed twice is moved twice and counted twice. 0 if `pos` is
// empty, or `angle` or `rotation` is zero.
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                         const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                         const vector_fixed<double, 3>& rotation,
                         const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                         const dense2D<unsigned int>& connect);
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                         const vector_fixed<double, 3>& rotation,
                         const dense2D<unsigned int>& connect);

// Multiplies the distance of each node from `center` by `factor`: p becomes
// p + (p - center) * (factor - 1).
//
// Returns the number of nodes moved; 0 if `pos` is empty or `factor` is 1.
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor);
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor);
// The same for the nodes of a list or of a connectivity. All must be columns of `pos`, except for
// absent IDs of a connectivity; this is not checked. A node listed twice is moved twice.
//
// Returns 0, unlike the other motions.
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                       const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                       const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                       const dense2D<unsigned int>& connect);
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                       const dense2D<unsigned int>& connect);

} // namespace kv7::tessmaker

#endif
