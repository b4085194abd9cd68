// The cells of VTK that hold the elements of each type whole, for files of quadratic elements too.
#ifndef TESSMAKER_FORMATS_VTK_CELL_ORDERS_H
#define TESSMAKER_FORMATS_VTK_CELL_ORDERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/element_table.h"
#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Node i of the cell is node nodes[i] of the element.
struct vtk_cell {
    std::uint8_t cell_type = 0; // 0: there is none
    std::array<std::uint8_t, 27> nodes{};
};

namespace vtk_cells {

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
consteval vtk_cell cell(std::uint8_t cell_type, element_type type, corner_list corners,
                        edge_list edges = {}) {
    const element_shape& shape = shape_of(type);
    vtk_cell result;
    result.cell_type = cell_type;
    std::size_t n = 0;
    for (; n < shape.nbr_base_nodes; ++n) result.nodes[n] = corners[n];
    for (const cell_edge& e : edges) {
        result.nodes[n++] = row_of_edge(shape, corners[e.a], corners[e.b]);
    }
    for (; n < shape.nbr_nodes; ++n) result.nodes[n] = static_cast<std::uint8_t>(n);
    return result;
}

// The wedge with nodes on its quadrangles, which have turned with its corners.
consteval vtk_cell wedge18() {
    vtk_cell result = cell(32, ET_PENTA18, wedge, wedge_edges);
    result.nodes[15] = 17;
    result.nodes[17] = 15;
    return result;
}

} // namespace vtk_cells

inline constexpr type_table<vtk_cell> vtk_cell_table{{
    {ET_UNKNOWN, {}},
    {ET_NODE, vtk_cells::cell(1, ET_NODE, vtk_cells::in_order)},
    {ET_BAR_MIX, {}},
    {ET_BAR2, vtk_cells::cell(3, ET_BAR2, vtk_cells::in_order)},
    {ET_BAR3, vtk_cells::cell(21, ET_BAR3, vtk_cells::in_order, vtk_cells::line_edges)},
    {ET_FACE_MIX, {}},
    {ET_TRIA3, vtk_cells::cell(5, ET_TRIA3, vtk_cells::in_order)},
    {ET_QUAD4, vtk_cells::cell(9, ET_QUAD4, vtk_cells::in_order)},
    {ET_TRIA6, vtk_cells::cell(22, ET_TRIA6, vtk_cells::in_order, vtk_cells::triangle_edges)},
    {ET_QUAD8, vtk_cells::cell(23, ET_QUAD8, vtk_cells::in_order, vtk_cells::quad_edges)},
    {ET_QUAD9, vtk_cells::cell(28, ET_QUAD9, vtk_cells::in_order, vtk_cells::quad_edges)},
    {ET_SOLID_MIX, {}},
    {ET_TETRA4, vtk_cells::cell(10, ET_TETRA4, vtk_cells::tetra)},
    {ET_TETRA10, vtk_cells::cell(24, ET_TETRA10, vtk_cells::tetra, vtk_cells::tetra_edges)},
    {ET_PYRA5, vtk_cells::cell(14, ET_PYRA5, vtk_cells::in_order)},
    {ET_PYRA13, vtk_cells::cell(27, ET_PYRA13, vtk_cells::in_order, vtk_cells::pyramid_edges)},
    {ET_PYRA14, {}},
    {ET_PENTA6, vtk_cells::cell(13, ET_PENTA6, vtk_cells::wedge)},
    {ET_PENTA15, vtk_cells::cell(26, ET_PENTA15, vtk_cells::wedge, vtk_cells::wedge_edges)},
    {ET_PENTA18, vtk_cells::wedge18()},
    {ET_HEXA8, vtk_cells::cell(12, ET_HEXA8, vtk_cells::in_order)},
    {ET_HEXA20, vtk_cells::cell(25, ET_HEXA20, vtk_cells::in_order, vtk_cells::hexa_edges)},
    {ET_HEXA27, vtk_cells::cell(29, ET_HEXA27, vtk_cells::in_order, vtk_cells::hexa_edges)},
}};

} // namespace kv7::tessmaker

#endif
