// Element shapes, their tables, and the check of a connectivity against its shape.
//
// A connectivity is a `dense2D<unsigned int>` with one column per element and one row per node of
// the element; its entries are 0-based node IDs, corners first. The absent ID is 0xFFFFFFFF; it
// stands where an element has no node. Three types name a dimension and not a shape. In two of them
// the absent ID tells the shape of each column:
//
//   ET_FACE_MIX   3 rows: triangles
//                 4 rows: a quadrangle; or a triangle, with the absent ID in row 3
//   ET_SOLID_MIX  4 rows: tetrahedra
//                 5 rows: pyramids
//                 6 rows: wedges
//                 8 rows: a hexahedron; or a tetrahedron, a pyramid or a wedge, with the absent ID
//                         from row 4, 5 or 6 on
//
// Quadratic types have further nodes in the rows that follow the corners. First come the nodes at
// the middle of edges, in this order (1-2 is the edge between local nodes 1 and 2):
//
//   ET_BAR3                 0-1
//   ET_TRIA6                1-2, 2-0, 0-1
//   ET_QUAD8, ET_QUAD9      0-1, 1-2, 2-3, 3-0
//   ET_TETRA10              1-2, 2-0, 0-1, 0-3, 1-3, 2-3
//   ET_PYRA13, ET_PYRA14    0-1, 1-2, 2-3, 3-0, 0-4, 1-4, 2-4, 3-4
//   ET_PENTA15, ET_PENTA18  0-3, 1-4, 2-5, 1-2, 2-0, 0-1, 4-5, 5-3, 3-4
//   ET_HEXA20, ET_HEXA27    0-1, 1-2, 2-3, 3-0, 4-5, 5-6, 6-7, 7-4, 0-4, 1-5, 2-6, 3-7
//
// Then come the nodes at the middle of facets, and last the one at the middle of the element:
//
//   ET_QUAD9    the element
//   ET_PYRA14   facet 0-1-2-3
//   ET_PENTA18  facets 0-1-4-3, 1-2-5-4, 2-0-3-5
//   ET_HEXA27   facets 0-3-7-4, 1-2-6-5, 0-1-5-4, 3-2-6-7, 0-1-2-3, 4-5-6-7; the element
//
// Every function of the library that returns an `int` follows one frame, unless its own contract
// says otherwise. It empties its outputs; returns 0 when its main input is empty; checks its
// arguments in the order of the signature; sizes the outputs; works; and returns 0 or a count. A
// negative result is a failure:
//
//   -1 to -8      the first to eighth argument is not acceptable (each function says in what way)
//   -102          malformed file
//   -198, -199    out of memory
//
// Each function lists its codes one to a line, in the order of its checks; out of memory can be met
// at any point.
//
// Memory failure inside standard containers reaches the caller as an exception.
#ifndef TESSMAKER_ELEMENT_TYPE_H
#define TESSMAKER_ELEMENT_TYPE_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7 {

// The shape of an element and, in its name, the number of its nodes.
enum element_type : int {
    ET_UNKNOWN,   // no shape, or several without a common one
    ET_NODE,      // a point
    ET_BAR_MIX,   // bars, in most places as ET_BAR2
    ET_BAR2,      // two end points
    ET_BAR3,      // and the middle
    ET_FACE_MIX,  // triangles and quadrangles, see above
    ET_TRIA3,     // triangle
    ET_QUAD4,     // quadrangle
    ET_TRIA6,     // triangle with mid-side nodes
    ET_QUAD8,     // quadrangle with mid-side nodes
    ET_QUAD9,     // and the centre
    ET_SOLID_MIX, // tetrahedra, pyramids, wedges, hexahedra, see above
    ET_TETRA4,    // tetrahedron
    ET_TETRA10,   // tetrahedron with mid-edge nodes
    ET_PYRA5,     // pyramid, base and apex
    ET_PYRA13,    // pyramid with mid-edge nodes
    ET_PYRA14,    // and the centre of the base
    ET_PENTA6,    // wedge, two triangles
    ET_PENTA15,   // wedge with mid-edge nodes
    ET_PENTA18,   // and the centres of its quadrangles
    ET_HEXA8,     // hexahedron, two quadrangles
    ET_HEXA20,    // hexahedron with mid-edge nodes
    ET_HEXA27     // and the centres of its facets and its own
};

namespace tessmaker {

// Look-ups for one of these types; any other value is the caller's error. ET_FACE_MIX has the
// values of ET_QUAD4, ET_SOLID_MIX those of ET_HEXA8, ET_BAR_MIX those of ET_BAR2.

// 0 for a point, 1 for bars, 2 for faces, 3 for solids.
TESSMAKER_API unsigned int element_dim(element_type type);
// Nodes of an element, mid-side and inner nodes included.
TESSMAKER_API unsigned int nbr_nodes(element_type type);
// Corner nodes, which come first in a column.
TESSMAKER_API unsigned int nbr_base_nodes(element_type type);
// Facets of a solid, sides of a face, end points of a bar.
TESSMAKER_API unsigned int nbr_boundaries(element_type type);

// The library's version, "5.4.1.0". Static text.
TESSMAKER_API const char* version();

// Whether every ID is below `limit` or absent. True for an empty list, and for a `limit` that is
// the absent ID, which compares nothing.
TESSMAKER_API bool check_IDs(const dense1D<unsigned int, 8>& nodes, unsigned int limit);

// The same over all entries of a connectivity of any shape.
TESSMAKER_API bool check_IDs(const dense2D<unsigned int>& connect, unsigned int limit);

// Whether `connect` has the rows of `type`, every node that the shape of a column needs is below
// `limit`, and the absent ID stands only where a mixed type allows it. Plain types, ET_BAR_MIX
// among them, never allow it. True for an empty array under any type. No value of `limit` skips the
// comparison: if it is the absent ID, all others are below it.
TESSMAKER_API bool check_IDs(const dense2D<unsigned int>& connect, element_type type,
                             unsigned int limit);

} // namespace tessmaker

} // namespace kv7

#endif
