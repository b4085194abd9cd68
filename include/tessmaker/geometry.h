// Coordinates as a whole: the bounding box of nodes, the centroids of elements, and the maps
// `translate`, `rotate` and `zoom`.
//
// `pos` holds coordinates, one column per node. Whether a call works in 2D or in 3D is told by its
// vectors. Functions that act on nodes take all of `pos`, those of a list, or those that a
// connectivity uses, each of the latter once.
//
// The maps change `pos` in place. A 2D map leaves the third row of a 3-row `pos` as it is; a map of
// more dimensions than `pos` has rows first gives it the missing ones, filled with 0, unless it has
// nothing to do: an empty `pos`, a list or a connectivity without nodes, a map that moves nothing.
// The maps have no failure codes. Without memory for a missing row the rows that are there are
// moved, the missing coordinates taken as 0; without memory to list the nodes of a connectivity,
// those listed so far are moved.
#ifndef TESSMAKER_GEOMETRY_H
#define TESSMAKER_GEOMETRY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Widens a box, which the caller has set up, to hold the nodes as well. A coordinate that is not a
// number widens nothing.
// Returns 0. -1: `pos` has not just as many rows as the box has dimensions, an empty `pos`
// included.
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);
// The nodes of a list, 0xFFFFFFFF skipped.
// Returns 0, at once for an empty list. -1: as above. -2: an ID that is no column of `pos`.
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos,
                                   const dense1D<unsigned int, 8>& nodes,
                                   vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos,
                                   const dense1D<unsigned int, 8>& nodes,
                                   vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);
// The nodes that a connectivity uses. As above; without memory to list them, those listed so far.
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                   vector_fixed<double, 2>& min_box,
                                   vector_fixed<double, 2>& max_box);
TESSMAKER_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                   vector_fixed<double, 3>& min_box,
                                   vector_fixed<double, 3>& max_box);

// The mean of the nodes of each element: one column per element, as many rows as `pos`. Served
// types: ET_BAR2, ET_TRIA3, ET_QUAD4, ET_FACE_MIX, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8,
// ET_SOLID_MIX.
// Returns 0. -1: `pos` has not 1 to 3 rows, or fewer than the elements have dimensions; this comes
// first, also for an empty `connect`. -2: `connect` fails check_IDs. -199: out of memory. In these
// cases `centers` is empty. -4: any other type; `centers` then has its full size and holds zeros.
TESSMAKER_API int centroids(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            dense2D<double>& centers, element_type type);

// Adds `shift` to each node.
// Returns the number of nodes moved; 0 for an empty `pos` and a `shift` that is zero throughout. In
// a list, a value that is no column of `pos` is skipped, and a node listed twice moves twice and
// counts twice.
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
                            const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
                            const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
                            const dense2D<unsigned int>& connect);
TESSMAKER_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
                            const dense2D<unsigned int>& connect);

// Turns each node about `center`: in 2D counter-clockwise by `angle`, in 3D about the axis along
// `rotation` by its length. Angles are in radians.
// Returns the number of nodes moved, lists and counts as for `translate`; 0 for an empty `pos` and
// for an `angle` of 0 or a `rotation` that is zero throughout.
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle);
TESSMAKER_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                         const vector_fixed<double, 3>& rotation);
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
// Returns the number of nodes moved; 0 for an empty `pos` and a `factor` of 1.
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor);
TESSMAKER_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor);
// The nodes of a list, which must be columns of `pos`, a node listed twice moving twice; and those
// of a connectivity. Return 0, unlike the other maps.
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
