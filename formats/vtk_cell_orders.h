// The cells of VTK that hold the elements of each type whole, quadratic ones too.
#ifndef TESSMAKER_FORMATS_VTK_CELL_ORDERS_H
#define TESSMAKER_FORMATS_VTK_CELL_ORDERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "core/element_table.h"
#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Places of nodes: those of cells among those of elements, or the other way round.
using vtk_order = std::array<std::uint8_t, 27>;

// Node i of the cell is node nodes[i] of the element.
struct vtk_cell {
    std::uint8_t cell_type = 0; // 0: there is none
    std::string_view name{};    // for people
    vtk_order nodes{};
};

namespace vtk_orders {

using corner_list = std::span<const std::uint8_t>;
struct cell_edge {
    std::uint8_t a;
    std::uint8_t b;
};
using edge_list = std::span<const cell_edge>;

// The corners of cells by those of elements. The triangle 0 1 2 of VTK's tetrahedra and pyramids
// looks into the cell, that of its wedges out of it; ours look out of tetrahedra and into wedges.
inline constexpr std::uint8_t in_order[] = {0, 1, 2, 3, 4, 5, 6, 7};
inline constexpr std::uint8_t tetra[] = {0, 1, 3, 2};
inline constexpr std::uint8_t wedge[] = {0, 2, 1, 3, 5, 4};

// The edges of cells, in the order of the nodes at their middles.
inline constexpr cell_edge line_edges[] = {{0, 1}};
inline constexpr cell_edge triangle_edges[] = {{0, 1}, {1, 2}, {2, 0}};
inline constexpr cell_edge quad_edges[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
inline constexpr cell_edge tetra_edges[] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
inline constexpr cell_edge pyramid_edges[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0},
                                              {0, 4}, {1, 4}, {2, 4}, {3, 4}};
inline constexpr cell_edge wedge_edges[] = {{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5},
                                            {5, 3}, {0, 3}, {1, 4}, {2, 5}};
inline constexpr cell_edge hexa_edges[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                           {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};

// The row of the node at the middle of an edge of the element.
constexpr std::uint8_t row_of_edge(const element_shape& shape, std::uint8_t a, std::uint8_t b) {
    for (std::size_t k = 0; k < shape.added.size(); ++k) {
        const added_node& node = shape.added[k];
        const bool is_there = node.on == added_node::place::edge &&
                              ((node.a == a && node.b == b) || (node.a == b && node.b == a));
        if (is_there) return static_cast<std::uint8_t>(shape.nbr_base_nodes + k);
    }
    throw "no node is on the edge";
}

// Nodes behind those on edges keep their places.
consteval vtk_order order(element_type type, corner_list corners, edge_list edges = {}) {
    const element_shape& shape = shape_of(type);
    vtk_order result{};
    std::size_t n = 0;
    for (; n < shape.nbr_base_nodes; ++n) result[n] = corners[n];
    for (const cell_edge& e : edges) result[n++] = row_of_edge(shape, corners[e.a], corners[e.b]);
    for (; n < shape.nbr_nodes; ++n) result[n] = static_cast<std::uint8_t>(n);
    return result;
}

consteval vtk_cell cell(std::uint8_t cell_type, std::string_view name, element_type type,
                        corner_list corners, edge_list edges = {}) {
    return {cell_type, name, order(type, corners, edges)};
}

// Where wedges have turned, the nodes on their quadrangles have, too.
consteval vtk_cell wedge18() {
    vtk_cell result = cell(32, "biquadratic quadratic wedge", ET_PENTA18, wedge, wedge_edges);
    result.nodes[15] = 17;
    result.nodes[17] = 15;
    return result;
}

// Where each of the first `n` nodes of the element stands in the cell.
consteval vtk_order inverse(const vtk_order& nodes, std::size_t n) {
    vtk_order result{};
    for (std::size_t i = 0; i < n; ++i) result[nodes[i]] = static_cast<std::uint8_t>(i);
    return result;
}

inline constexpr type_table<vtk_cell> vtk_cell_table{{
    {ET_UNKNOWN, {}},
    {ET_NODE, cell(1, "vertex", ET_NODE, in_order)},
    {ET_BAR_MIX, {}},
    {ET_BAR2, cell(3, "line", ET_BAR2, in_order)},
    {ET_BAR3, cell(21, "quadratic edge", ET_BAR3, in_order, line_edges)},
    {ET_FACE_MIX, {}},
    {ET_TRIA3, cell(5, "triangle", ET_TRIA3, in_order)},
    {ET_QUAD4, cell(9, "quad", ET_QUAD4, in_order)},
    {ET_TRIA6, cell(22, "quadratic triangle", ET_TRIA6, in_order, triangle_edges)},
    {ET_QUAD8, cell(23, "quadratic quad", ET_QUAD8, in_order, quad_edges)},
    {ET_QUAD9, cell(28, "biquadratic quad", ET_QUAD9, in_order, quad_edges)},
    {ET_SOLID_MIX, {}},
    {ET_TETRA4, cell(10, "tetra", ET_TETRA4, tetra)},
    {ET_TETRA10, cell(24, "quadratic tetra", ET_TETRA10, tetra, tetra_edges)},
    {ET_PYRA5, cell(14, "pyramid", ET_PYRA5, in_order)},
    {ET_PYRA13, cell(27, "quadratic pyramid", ET_PYRA13, in_order, pyramid_edges)},
    {ET_PYRA14, {}},
    {ET_PENTA6, cell(13, "wedge", ET_PENTA6, wedge)},
    {ET_PENTA15, cell(26, "quadratic wedge", ET_PENTA15, wedge, wedge_edges)},
    {ET_PENTA18, wedge18()},
    {ET_HEXA8, cell(12, "hexahedron", ET_HEXA8, in_order)},
    {ET_HEXA20, cell(25, "quadratic hexahedron", ET_HEXA20, in_order, hexa_edges)},
    {ET_HEXA27, cell(29, "triquadratic hexahedron", ET_HEXA27, in_order, hexa_edges)},
}};

} // namespace vtk_orders

using vtk_orders::vtk_cell_table;

} // namespace kv7::tessmaker

#endif
