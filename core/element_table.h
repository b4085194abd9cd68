// What is known of each element type, and how the shape of a mixed column is told.
#ifndef TESSMAKER_CORE_ELEMENT_TABLE_H
#define TESSMAKER_CORE_ELEMENT_TABLE_H

#include <array>
#include <cstddef>

#include "core/ids.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

struct element_shape {
    unsigned int nbr_nodes;
    unsigned int nbr_base_nodes;
    unsigned int nbr_boundaries;
    unsigned int dim;
};

// By the value of `element_type`.
inline constexpr std::array<element_shape, 23> element_table{{
    {0, 0, 0, 0},  // ET_UNKNOWN
    {1, 1, 0, 0},  // ET_NODE
    {2, 2, 2, 1},  // ET_BAR_MIX
    {2, 2, 2, 1},  // ET_BAR2
    {3, 2, 2, 1},  // ET_BAR3
    {4, 4, 4, 2},  // ET_FACE_MIX
    {3, 3, 3, 2},  // ET_TRIA3
    {4, 4, 4, 2},  // ET_QUAD4
    {6, 3, 3, 2},  // ET_TRIA6
    {8, 4, 4, 2},  // ET_QUAD8
    {9, 4, 4, 2},  // ET_QUAD9
    {8, 8, 6, 3},  // ET_SOLID_MIX
    {4, 4, 4, 3},  // ET_TETRA4
    {10, 4, 4, 3}, // ET_TETRA10
    {5, 5, 5, 3},  // ET_PYRA5
    {13, 5, 5, 3}, // ET_PYRA13
    {14, 5, 5, 3}, // ET_PYRA14
    {6, 6, 5, 3},  // ET_PENTA6
    {15, 6, 5, 3}, // ET_PENTA15
    {18, 6, 5, 3}, // ET_PENTA18
    {8, 8, 6, 3},  // ET_HEXA8
    {20, 8, 6, 3}, // ET_HEXA20
    {27, 8, 6, 3}, // ET_HEXA27
}};

// A value that is none of the types has the shape of ET_UNKNOWN.
constexpr const element_shape& shape_of(element_type type) {
    const auto row = static_cast<std::size_t>(type);
    return element_table[row < element_table.size() ? row : 0];
}

// The plain type of a mixed array whose row count leaves only one shape; any other type as it is.
constexpr element_type resolve_mixed_type(std::size_t rows, element_type type) {
    if (type == ET_FACE_MIX && rows == 3) return ET_TRIA3;
    if (type == ET_SOLID_MIX) {
        if (rows == 4) return ET_TETRA4;
        if (rows == 5) return ET_PYRA5;
        if (rows == 6) return ET_PENTA6;
    }
    return type;
}

// The plain type of one column of a 4-row ET_FACE_MIX or an 8-row ET_SOLID_MIX array, told by its
// first sentinel; a plain type as it is.
inline element_type column_type(element_type type, const unsigned int* column) {
    if (type == ET_FACE_MIX) return column[3] == no_id ? ET_TRIA3 : ET_QUAD4;
    if (type == ET_SOLID_MIX) {
        if (column[4] == no_id) return ET_TETRA4;
        if (column[5] == no_id) return ET_PYRA5;
        return column[6] == no_id ? ET_PENTA6 : ET_HEXA8;
    }
    return type;
}

} // namespace kv7::tessmaker

#endif
