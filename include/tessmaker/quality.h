// How good a mesh is: its edges against a field of sizes or metrics, the shapes of its elements,
// their Jacobians.
//
// `pos` holds coordinates, one column per node. Served element types: ET_BAR2, ET_TRIA3, ET_QUAD4,
// ET_FACE_MIX, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8, ET_SOLID_MIX (`edge_qualities` takes all
// types but ET_UNKNOWN).
#ifndef TESSMAKER_QUALITY_H
#define TESSMAKER_QUALITY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/histogram.h"

namespace kv7::tessmaker {

// The length of an edge in units of a size that varies geometrically from h0 at one end to h1 at
// the other: `length` over the logarithmic mean of the two. 1 is an edge as long as it should be.
// Returns 0; -2: h0, and -3: h1 is 0 or below, `quality` is then not written.
TESSMAKER_API int edge_quality(double length, double h0, double h1, double& quality);

// Gives that length of every distinct edge of a mesh, or of several, to `histo`, in ascending order
// of (smaller node, larger node), without the edges in `exclude` (2 rows, either direction, may be
// empty). The edges are those of copy_edges (repair.h). `metrics` holds a size per node, or a
// metric per column, 3 rows in 2D and 6 rows in 3D; it must reach every node of the edges measured.
// An edge is bad at a node whose size is not above 0, or whose metric's smallest eigenvalue is not:
// it is left out, and the others are still measured. An edge without length has the value 0.
// Returns the number of edges; 0 at once when `begin` equals `end`.
// One connectivity: -1: `pos` has not 2 or 3 rows. -2: `connect` fails check_IDs. -6: `exclude`
// holds columns of other than 2 rows. -4: some edges were bad. -198: out of memory. Several: -1: as
// above. -4: the range has not as many members as `types`. -2: one fails check_IDs. -7: as -6
// above. -5: some edges were bad. -199: out of memory. The checks come in this order.
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                 element_type type, const dense2D<double>& metrics,
                                 misc::histogram& histo, const dense2D<unsigned int>& exclude);
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                 element_type type, const dense1D<double, 8>& metrics,
                                 misc::histogram& histo, const dense2D<unsigned int>& exclude);
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                                 const dense2D<double>& metrics, misc::histogram& histo,
                                 const dense2D<unsigned int>& exclude);
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                                 const dense1D<double, 8>& metrics, misc::histogram& histo,
                                 const dense2D<unsigned int>& exclude);

// A number without unit for each element, in column order: 1 for the ideal shape of its type, 0 for
// a flat element, below 0 for an inverted one, never outside [-1, 1]. Bars are 1.
//
//   triangle      2 sqrt(3) * twice the area / (perimeter * longest side)
//   quadrangle    4 sqrt(2) * smallest corner area / (perimeter * longest side or diagonal)
//   tetrahedron   2 sqrt(6) * determinant / (longest edge * twice the surface)
//   pyramid       24 sqrt(6) * smallest tetrahedron at a base corner / S^1.5,
//                 S = 2 * squared edges to the apex + squared base edges
//   wedge         18 sqrt(3) * smallest corner determinant / S^1.5, S = squared edges
//   hexahedron    24 sqrt(3) * the same
//
// For triangles and tetrahedra that is the radius of the inscribed circle or sphere over the
// longest edge, scaled. Ideal shapes: equilateral triangle, square, regular tetrahedron, pyramid
// and wedge with all edges equal, cube. In 3D triangles and quadrangles have no sign, and a
// quadrangle is multiplied by a warp factor: 1 when flat, 0 when folded. Solids with quadrangular
// facets are multiplied by their smallest warp factor, and are 0 or below when a facet lies beyond
// the centroid. Counterclockwise faces in 2D are positive; solids are when their base is
// counterclockwise as seen from the other nodes, tetrahedra with (p0 - p3) . ((p1 - p3) x (p2 -
// p3)) > 0. Nearly flat tetrahedra are evaluated in all orders of their nodes, and are 0 when these
// disagree about the sign.
//
// Solids need 3 rows of `pos`.
// Returns 0; -2: `connect` fails check_IDs; -3: a type that is not served; -199: out of memory.
// `qualities` is empty on failure.
TESSMAKER_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                  element_type type, dense1D<double, 8>& qualities);

// The smallest of these numbers and the first element that has it. 1.0 and 0xFFFFFFFF when no
// element is below 1, on failure, and for bars, whose nodes are not looked at. Returns 0, -2 or -3
// as above.
TESSMAKER_API int min_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                              element_type type, double& q_min, unsigned int& element_index);

// The determinant of the map from each element's reference shape, at the centre of that shape, in
// column order: a length, an area or a volume in the unit of `pos`. Solids have a sign, faces and
// bars have none.
//   bar half its length; triangle twice its area; quadrangle a quarter of its area if a
//   parallelogram; tetrahedron six times its volume; wedge its volume, hexahedron an eighth of it,
//   if a prism or a parallelepiped; pyramid at a quarter of its height
// Coordinates that `pos` does not have are 0.
// Returns 0; -2: `connect` fails check_IDs; -3: a type that is not served; -199: out of memory.
// `jacobians` is empty on failure.
TESSMAKER_API int jacobians(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, dense1D<double, 8>& jacobians);

} // namespace kv7::tessmaker

#endif
