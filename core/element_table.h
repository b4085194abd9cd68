// The properties of each element type, and the type of each column of a mixed array.
#ifndef TESSMAKER_CORE_ELEMENT_TABLE_H
#define TESSMAKER_CORE_ELEMENT_TABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/ids.h"
#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Where a node of a quadratic type lies, if it is no corner: at the middle of an edge, of a facet,
// or of the element.
struct added_node {
    enum class place : std::uint8_t { edge, facet, inside };
    place on;
    std::uint8_t a; // a corner of the edge, or the local facet of `element_topology`
    std::uint8_t b; // the other corner of the edge
};

// These nodes by type, in the order of the column, from the row that follows the corners on. The
// order of those on edges is the one from which the writers of files start. No format orders the
// others; they stand in the order of VTK's cells with as many nodes.
namespace added_nodes {

constexpr added_node edge(std::uint8_t a, std::uint8_t b) {
    return {added_node::place::edge, a, b};
}
constexpr added_node facet(std::uint8_t f) { return {added_node::place::facet, f, 0}; }
inline constexpr added_node inside{added_node::place::inside, 0, 0};

template <std::size_t N, std::size_t M>
constexpr std::array<added_node, N + M> joined(const std::array<added_node, N>& first,
                                               const std::array<added_node, M>& second) {
    std::array<added_node, N + M> all{};
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), all.begin()));
    return all;
}

inline constexpr std::array<added_node, 0> none{};
inline constexpr std::array bar3{edge(0, 1)};
inline constexpr std::array tria6{edge(1, 2), edge(2, 0), edge(0, 1)};
inline constexpr std::array quad8{edge(0, 1), edge(1, 2), edge(2, 3), edge(3, 0)};
inline constexpr auto quad9 = joined(quad8, std::array{inside});
inline constexpr std::array tetra10{edge(1, 2), edge(2, 0), edge(0, 1),
                                    edge(0, 3), edge(1, 3), edge(2, 3)};
inline constexpr std::array pyra13{edge(0, 1), edge(1, 2), edge(2, 3), edge(3, 0),
                                   edge(0, 4), edge(1, 4), edge(2, 4), edge(3, 4)};
inline constexpr auto pyra14 = joined(pyra13, std::array{facet(4)});
inline constexpr std::array penta15{edge(0, 3), edge(1, 4), edge(2, 5), edge(1, 2), edge(2, 0),
                                    edge(0, 1), edge(4, 5), edge(5, 3), edge(3, 4)};
inline constexpr auto penta18 = joined(penta15, std::array{facet(4), facet(2), facet(3)});
inline constexpr std::array hexa20{edge(0, 1), edge(1, 2), edge(2, 3), edge(3, 0),
                                   edge(4, 5), edge(5, 6), edge(6, 7), edge(7, 4),
                                   edge(0, 4), edge(1, 5), edge(2, 6), edge(3, 7)};
inline constexpr auto hexa27 =
    joined(hexa20, std::array{facet(0), facet(1), facet(2), facet(3), facet(4), facet(5), inside});

} // namespace added_nodes

struct element_shape {
    unsigned int nbr_nodes;
    unsigned int nbr_base_nodes;
    unsigned int nbr_boundaries;
    unsigned int dim;
    // Nodes of a facet, those on its edges and in its middle included; of the larger facets, where
    // they have two sizes.
    unsigned int boundary_height;
    // The type with the corners alone. A mixed type is its own: its columns tell theirs.
    element_type linear;
    std::span<const added_node> added;
};

// clang-format off
inline constexpr type_table<element_shape> element_table{{
    // nodes, corners, boundaries, dimension, height of a boundary, linear type, nodes added to it
    {ET_UNKNOWN,   { 0, 0, 0, 0, 0, ET_UNKNOWN,   added_nodes::none}},
    {ET_NODE,      { 1, 1, 0, 0, 0, ET_NODE,      added_nodes::none}},
    {ET_BAR_MIX,   { 2, 2, 2, 1, 1, ET_BAR_MIX,   added_nodes::none}},
    {ET_BAR2,      { 2, 2, 2, 1, 1, ET_BAR2,      added_nodes::none}},
    {ET_BAR3,      { 3, 2, 2, 1, 1, ET_BAR2,      added_nodes::bar3}},
    {ET_FACE_MIX,  { 4, 4, 4, 2, 2, ET_FACE_MIX,  added_nodes::none}},
    {ET_TRIA3,     { 3, 3, 3, 2, 2, ET_TRIA3,     added_nodes::none}},
    {ET_QUAD4,     { 4, 4, 4, 2, 2, ET_QUAD4,     added_nodes::none}},
    {ET_TRIA6,     { 6, 3, 3, 2, 3, ET_TRIA3,     added_nodes::tria6}},
    {ET_QUAD8,     { 8, 4, 4, 2, 3, ET_QUAD4,     added_nodes::quad8}},
    {ET_QUAD9,     { 9, 4, 4, 2, 3, ET_QUAD4,     added_nodes::quad9}},
    {ET_SOLID_MIX, { 8, 8, 6, 3, 4, ET_SOLID_MIX, added_nodes::none}},
    {ET_TETRA4,    { 4, 4, 4, 3, 3, ET_TETRA4,    added_nodes::none}},
    {ET_TETRA10,   {10, 4, 4, 3, 6, ET_TETRA4,    added_nodes::tetra10}},
    {ET_PYRA5,     { 5, 5, 5, 3, 4, ET_PYRA5,     added_nodes::none}},
    {ET_PYRA13,    {13, 5, 5, 3, 8, ET_PYRA5,     added_nodes::pyra13}},
    {ET_PYRA14,    {14, 5, 5, 3, 9, ET_PYRA5,     added_nodes::pyra14}},
    {ET_PENTA6,    { 6, 6, 5, 3, 4, ET_PENTA6,    added_nodes::none}},
    {ET_PENTA15,   {15, 6, 5, 3, 8, ET_PENTA6,    added_nodes::penta15}},
    {ET_PENTA18,   {18, 6, 5, 3, 9, ET_PENTA6,    added_nodes::penta18}},
    {ET_HEXA8,     { 8, 8, 6, 3, 4, ET_HEXA8,     added_nodes::none}},
    {ET_HEXA20,    {20, 8, 6, 3, 8, ET_HEXA8,     added_nodes::hexa20}},
    {ET_HEXA27,    {27, 8, 6, 3, 9, ET_HEXA8,     added_nodes::hexa27}},
}};
// clang-format on

// A value that is none of the types has the shape of ET_UNKNOWN.
constexpr const element_shape& shape_of(element_type type) { return element_table[type]; }

// The type with the corners of a plain one alone; any other type as it is.
constexpr element_type linear_type(element_type type) { return shape_of(type).linear; }

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
// first absent ID; a plain type as it is.
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
