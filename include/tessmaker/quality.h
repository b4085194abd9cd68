// How good a mesh is: the lengths of its edges against a field of sizes or metrics, the shapes of
// its elements, their Jacobians.
//
//   node          a column of `pos`, which has a row per coordinate; named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node, no element
//   range         `begin`, `end`: a plain array of connectivities, `end` behind the last
//   size, metric  the wanted edge length, one number or one for each direction (metric_algebra.h)
//   sink          `histo`, which takes each measured value (histogram.h)
//
// Served element types: ET_BAR2, ET_TRIA3, ET_QUAD4, ET_FACE_MIX, ET_TETRA4, ET_PYRA5, ET_PENTA6,
// ET_HEXA8, ET_SOLID_MIX. `edge_qualities` takes all types but ET_UNKNOWN.
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_QUALITY_H
#define TESSMAKER_QUALITY_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/histogram.h"

namespace kv7::tessmaker {

// Measures an edge: its length in units of a size that varies geometrically from h0 at one end to
// h1 at the other, `length` over the logarithmic mean of the two. 1 is an edge as long as it should
// be.
//
// Returns 0, or
//   -2    h0 is 0 or below; `quality` is not written
//   -3    h1 is 0 or below; `quality` is not written
TESSMAKER_API int edge_quality(double length, double h0, double h1, double& quality);

// Measures each distinct edge of a mesh in this way and hands the values to `histo`, in ascending
// order of (smaller node, larger node). The edges are those of copy_edges (repair.h). An edge is
// bad if one of its nodes has a size that is not above 0, or a metric whose smallest eigenvalue is
// not: it is left out, and the others are still measured. An edge of length 0 has the value 0.
//
//   metrics  the field, which must have an entry for each node of the edges measured: a size per
//            node, or a metric per column, 3 rows in 2D and 6 rows in 3D
//   exclude  edges that are left out: 2 rows, nodes in either order; may be empty
//
// Returns the number of edges, or
//   -1    `pos` has neither 2 nor 3 rows
//   -2    `connect` fails check_IDs
//   -6    `exclude` holds columns of other than 2 rows
//   -4    some edges were bad
//   -198  out of memory
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                 element_type type, const dense2D<double>& metrics,
                                 misc::histogram& histo, const dense2D<unsigned int>& exclude);
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                 element_type type, const dense1D<double, 8>& metrics,
                                 misc::histogram& histo, const dense2D<unsigned int>& exclude);
// The same for the edges of a range, types[i] being the type of its i-th connectivity.
//
// Returns the number of edges; 0 if `begin` equals `end`, before any check, or
//   -1    `pos` has neither 2 nor 3 rows
//   -4    the range has another number of members than `types`
//   -2    a connectivity fails check_IDs
//   -7    `exclude` holds columns of other than 2 rows
//   -5    some edges were bad
//   -199  out of memory
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                                 const dense2D<double>& metrics, misc::histogram& histo,
                                 const dense2D<unsigned int>& exclude);
TESSMAKER_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                                 const dense1D<double, 8>& metrics, misc::histogram& histo,
                                 const dense2D<unsigned int>& exclude);

// Rates the shape of each element by a number without unit, in column order: 1 for the ideal shape
// of its type, 0 for a flat element, below 0 for an inverted one, never outside [-1, 1]; 1 for
// bars.
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
//
//   qualities  out: a number per element; empty on failure
//
// Returns 0, or
//   -2    `connect` fails check_IDs
//   -3    a type that is not served
//   -199  out of memory
TESSMAKER_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                  element_type type, dense1D<double, 8>& qualities);

// Finds the worst element by these numbers. The nodes of bars are not looked at.
//
//   q_min          out: the smallest number; 1.0 if no element is below 1, for bars and on failure
//   element_index  out: the first element that has it; the absent ID where `q_min` is 1.0
//
// Returns 0, or
//   -2    `connect` fails check_IDs
//   -3    a type that is not served
TESSMAKER_API int min_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                              element_type type, double& q_min, unsigned int& element_index);

// Computes the determinant of the map from each element's reference shape, at the centre of that
// shape, in column order: a length, an area or a volume in the unit of `pos`. Solids have a sign,
// faces and bars have none. Coordinates that `pos` does not have are 0.
//
//   bar            half its length
//   triangle       twice its area
//   quadrangle     a quarter of its area, if it is a parallelogram
//   tetrahedron    six times its volume
//   pyramid        the determinant at a quarter of its height
//   wedge          its volume, if it is a prism
//   hexahedron     an eighth of its volume, if it is a parallelepiped
//
// Returns 0, or
//   -2    `connect` fails check_IDs
//   -3    a type that is not served
//   -199  out of memory
// On failure `jacobians` is empty.
TESSMAKER_API int jacobians(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, dense1D<double, 8>& jacobians);

} // namespace kv7::tessmaker

#endif
