// A cell of each type that VTK's files have and we read, with its nodes where VTK has them.
#ifndef TESSMAKER_TESTS_FORMATS_VTK_SHAPES_H
#define TESSMAKER_TESTS_FORMATS_VTK_SHAPES_H

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "core/element_table.h"
#include "core/element_topology.h"
#include "formats/mesh_files.h"

namespace test {

struct vtk_shape {
    unsigned int cell_type;
    kv7::element_type type;
    std::vector<std::array<double, 3>> points; // in VTK's order

    // Where each node of the element stands in the cell, found by its place in space.
    std::vector<std::size_t> order() const {
        std::vector<std::size_t> result;
        const auto& shape = kv7::tessmaker::shape_of(type);
        const auto corners = shape_corners(shape.linear);
        std::vector<std::array<double, 3>> wanted = corners;
        const auto& facets = kv7::tessmaker::topology_of(type).facets;
        for (const kv7::tessmaker::added_node& added : shape.added) {
            using place = kv7::tessmaker::added_node::place;
            std::vector<std::array<double, 3>> around = corners;
            if (added.on == place::edge) around = {corners[added.a], corners[added.b]};
            if (added.on == place::facet) {
                around.clear();
                for (unsigned int i = 0; i < facets.facet[added.a].size; ++i) {
                    around.push_back(corners[facets.facet[added.a].node[i]]);
                }
            }
            wanted.push_back(middle(around));
        }
        for (const auto& p : wanted) {
            for (std::size_t k = 0; k < points.size(); ++k) {
                double distance = 0.0;
                for (std::size_t r = 0; r < 3; ++r) distance += std::fabs(p[r] - points[k][r]);
                if (distance < 1e-9) result.push_back(k);
            }
        }
        return result;
    }
};

// Whether the triangle 0 1 2 of six corners is counterclockwise seen from the other one.
inline bool faces_in(const std::vector<std::vector<double>>& corners) {
    double a[3];
    double b[3];
    double up[3];
    for (std::size_t r = 0; r < 3; ++r) {
        a[r] = corners[1][r] - corners[0][r];
        b[r] = corners[2][r] - corners[0][r];
        up[r] = corners[3][r] + corners[4][r] + corners[5][r] - corners[0][r] - corners[1][r] -
                corners[2][r];
    }
    return up[0] * (a[1] * b[2] - a[2] * b[1]) + up[1] * (a[2] * b[0] - a[0] * b[2]) +
               up[2] * (a[0] * b[1] - a[1] * b[0]) >
           0.0;
}

// As VTK's documentation draws its cells: a tetrahedron has 0 1 2 counterclockwise seen from 3, a
// wedge has them clockwise seen from 3 4 5.
inline const std::vector<vtk_shape>& vtk_shapes() {
    using around = std::vector<std::vector<std::size_t>>;
    struct cell {
        unsigned int cell_type;
        kv7::element_type type;
        std::vector<std::size_t> corners; // of `shape_corners`
        around others;                    // corners of the cell that each lies between
    };
    const std::vector<std::size_t> tetra{0, 1, 3, 2};
    const std::vector<std::size_t> wedge{0, 2, 1, 3, 5, 4};
    const std::vector<std::size_t> eight{0, 1, 2, 3, 4, 5, 6, 7};
    const around wedge_edges{{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5},
                             {5, 3}, {0, 3}, {1, 4}, {2, 5}};
    const around hexahedron_edges{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                  {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    around wedge_18 = wedge_edges;
    for (const std::vector<std::size_t>& face : around{{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}}) {
        wedge_18.push_back(face);
    }
    around hexahedron_27 = hexahedron_edges;
    for (const std::vector<std::size_t>& face : around{{0, 4, 7, 3},
                                                       {1, 2, 6, 5},
                                                       {0, 1, 5, 4},
                                                       {3, 7, 6, 2},
                                                       {0, 3, 2, 1},
                                                       {4, 5, 6, 7},
                                                       {0, 1, 2, 3, 4, 5, 6, 7}}) {
        hexahedron_27.push_back(face);
    }
    static const std::vector<vtk_shape> all = [&] {
        const std::vector<cell> cells = {
            {1, kv7::ET_NODE, {0}, {}},
            {3, kv7::ET_BAR2, {0, 1}, {}},
            {5, kv7::ET_TRIA3, {0, 1, 2}, {}},
            {8, kv7::ET_QUAD4, {0, 1, 3, 2}, {}},
            {9, kv7::ET_QUAD4, {0, 1, 2, 3}, {}},
            {10, kv7::ET_TETRA4, tetra, {}},
            {11, kv7::ET_HEXA8, {0, 1, 3, 2, 4, 5, 7, 6}, {}},
            {12, kv7::ET_HEXA8, eight, {}},
            {13, kv7::ET_PENTA6, wedge, {}},
            {14, kv7::ET_PYRA5, {0, 1, 2, 3, 4}, {}},
            {21, kv7::ET_BAR3, {0, 1}, {{0, 1}}},
            {22, kv7::ET_TRIA6, {0, 1, 2}, {{0, 1}, {1, 2}, {2, 0}}},
            {23, kv7::ET_QUAD8, {0, 1, 2, 3}, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}},
            {24, kv7::ET_TETRA10, tetra, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}},
            {25, kv7::ET_HEXA20, eight, hexahedron_edges},
            {26, kv7::ET_PENTA15, wedge, wedge_edges},
            {27,
             kv7::ET_PYRA13,
             {0, 1, 2, 3, 4},
             {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}}},
            {28, kv7::ET_QUAD9, {0, 1, 2, 3}, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 1, 2, 3}}},
            {29, kv7::ET_HEXA27, eight, hexahedron_27},
            {32, kv7::ET_PENTA18, wedge, wedge_18},
        };
        std::vector<vtk_shape> shapes;
        for (const cell& c : cells) {
            const auto corners = shape_corners(kv7::tessmaker::linear_type(c.type));
            vtk_shape shape{c.cell_type, c.type, {}};
            for (const std::size_t k : c.corners) shape.points.push_back(corners[k]);
            const std::vector<std::array<double, 3>> placed = shape.points;
            for (const std::vector<std::size_t>& other : c.others) {
                std::vector<std::array<double, 3>> between;
                for (const std::size_t k : other) between.push_back(placed[k]);
                shape.points.push_back(middle(between));
            }
            shapes.push_back(shape);
        }
        return shapes;
    }();
    return all;
}

// Quadratic wedges as some programs write them.
inline const std::vector<vtk_shape>& wedges_that_face_in() {
    static const std::vector<vtk_shape> both = [] {
        std::vector<vtk_shape> shapes;
        for (const vtk_shape& shape : vtk_shapes()) {
            if (shape.type != kv7::ET_PENTA15 && shape.type != kv7::ET_PENTA18) continue;
            // The other way round each stands where these do.
            const std::size_t turned[] = {0,  2,  1, 3,  5,  4,  8,  7,  6,
                                          11, 10, 9, 12, 14, 13, 17, 16, 15};
            vtk_shape other = shape;
            for (std::size_t k = 0; k < shape.points.size(); ++k) {
                other.points[k] = shape.points[turned[k]];
            }
            shapes.push_back(other);
        }
        return shapes;
    }();
    return both;
}

// The order of nodes of a cell whose points have integer coordinates.
inline std::vector<std::size_t> order_in_cell(const vtk_shape& shape,
                                              const std::vector<std::vector<double>>& points) {
    for (const vtk_shape& other : wedges_that_face_in()) {
        if (other.type == shape.type && faces_in(points)) return other.order();
    }
    return shape.order();
}

} // namespace test

#endif
