// A small zoo of awkward meshes for suites to walk over.
#ifndef TESSMAKER_TESTS_SUPPORT_ZOO_H
#define TESSMAKER_TESTS_SUPPORT_ZOO_H

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/meshes.h"
#include "tessmaker/element_type.h"

namespace test {

// Every mesh passes `check_IDs(connect, type, pos.cols())`, and every call makes it anew.
struct mesh {
    std::string name;
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    kv7::element_type type = kv7::ET_UNKNOWN;
};

// A strip of `nbr_quads` pairs of triangles that closes on itself with half a turn: one side, one
// border.
inline mesh moebius_strip(unsigned int nbr_quads = 6) {
    mesh m{"moebius strip", dense2D<double>(3, 2 * std::size_t{nbr_quads}),
           dense2D<unsigned int>(3, 2 * std::size_t{nbr_quads}), kv7::ET_TRIA3};
    const double pi = std::acos(-1.0);
    for (unsigned int k = 0; k < nbr_quads; ++k) {
        const double angle = 2.0 * pi * k / nbr_quads;
        for (unsigned int side = 0; side < 2; ++side) {
            const double across = side == 0 ? -0.5 : 0.5;
            double* const p = m.pos.column(2 * k + side);
            p[0] = (2.0 + across * std::cos(angle / 2.0)) * std::cos(angle);
            p[1] = (2.0 + across * std::cos(angle / 2.0)) * std::sin(angle);
            p[2] = across * std::sin(angle / 2.0);
        }
        const bool last = k + 1 == nbr_quads;
        const unsigned int low = 2 * k;
        const unsigned int high = 2 * k + 1;
        const unsigned int next_low = last ? 1 : 2 * k + 2;
        const unsigned int next_high = last ? 0 : 2 * k + 3;
        const unsigned int corners[2][3] = {{low, next_low, high}, {high, next_low, next_high}};
        for (unsigned int t = 0; t < 2; ++t) {
            for (unsigned int r = 0; r < 3; ++r) m.connect(r, 2 * k + t) = corners[t][r];
        }
    }
    return m;
}

// Two triangles that share one node.
inline mesh hourglass() {
    return {"hourglass", points({{0, 0, 0}, {-1, 1, 0}, {1, 1, 0}, {-1, -1, 0}, {1, -1, 0}}),
            connectivity({{0, 2, 1}, {0, 3, 4}}), kv7::ET_TRIA3};
}

// Two tetrahedra that share one edge.
inline mesh solid_hourglass() {
    return {"solid hourglass",
            points({{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}}),
            connectivity({{0, 2, 3, 1}, {0, 4, 5, 1}}), kv7::ET_TETRA4};
}

// Three triangles on one edge.
inline mesh fan_of_three() {
    return {"fan of three", points({{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {-1, 1, 0}, {-1, -1, 0}}),
            connectivity({{0, 1, 2}, {0, 1, 3}, {0, 1, 4}}), kv7::ET_TRIA3};
}

// The surface of the unit cube in 12 triangles on 8 nodes, outward.
inline mesh cube_surface() {
    return {"cube surface",
            points({{0, 0, 0},
                    {1, 0, 0},
                    {1, 1, 0},
                    {0, 1, 0},
                    {0, 0, 1},
                    {1, 0, 1},
                    {1, 1, 1},
                    {0, 1, 1}}),
            connectivity({{0, 2, 1},
                          {0, 3, 2},
                          {4, 5, 6},
                          {4, 6, 7},
                          {0, 1, 5},
                          {0, 5, 4},
                          {1, 2, 6},
                          {1, 6, 5},
                          {2, 3, 7},
                          {2, 7, 6},
                          {3, 0, 4},
                          {3, 4, 7}}),
            kv7::ET_TRIA3};
}

// The same elements with nodes of their own. Sentinels stay.
inline mesh soup_of(const mesh& m) {
    const std::size_t rows = m.connect.rows();
    std::size_t nbr_corners = 0;
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        for (std::size_t r = 0; r < rows; ++r) nbr_corners += m.connect(r, c) != none;
    }
    mesh soup{m.name + ", soup", dense2D<double>(m.pos.rows(), nbr_corners),
              dense2D<unsigned int>(rows, m.connect.cols(), none), m.type};
    unsigned int node = 0;
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        for (std::size_t r = 0; r < rows; ++r) {
            if (m.connect(r, c) == none) continue;
            for (std::size_t k = 0; k < m.pos.rows(); ++k) {
                soup.pos(k, node) = m.pos(k, m.connect(r, c));
            }
            soup.connect(r, c) = node++;
        }
    }
    return soup;
}

// `nx` by `ny` unit squares in the plane, 2D coordinates.
inline mesh quad_grid(unsigned int nx = 3, unsigned int ny = 2) {
    mesh m{"quadrangle grid", dense2D<double>(2, std::size_t{nx + 1} * (ny + 1)),
           dense2D<unsigned int>(4, std::size_t{nx} * ny), kv7::ET_QUAD4};
    for (unsigned int j = 0; j <= ny; ++j) {
        for (unsigned int i = 0; i <= nx; ++i) {
            m.pos(0, j * (nx + 1) + i) = i;
            m.pos(1, j * (nx + 1) + i) = j;
        }
    }
    for (unsigned int j = 0; j < ny; ++j) {
        for (unsigned int i = 0; i < nx; ++i) {
            unsigned int* const column = m.connect.column(j * nx + i);
            const unsigned int corner = j * (nx + 1) + i;
            column[0] = corner;
            column[1] = corner + 1;
            column[2] = corner + nx + 2;
            column[3] = corner + nx + 1;
        }
    }
    return m;
}

// Repeated nodes, coincident nodes, three points in a line, an element twice and once reversed.
inline mesh degenerate_triangles() {
    return {"degenerate triangles",
            points({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 1, 0}, {1, 0, 0}}),
            connectivity({{0, 1, 3},
                          {0, 0, 1},
                          {2, 1, 2},
                          {3, 3, 3},
                          {0, 1, 2},
                          {0, 3, 4},
                          {0, 1, 3},
                          {3, 1, 0},
                          {0, 5, 3}}),
            kv7::ET_TRIA3};
}

// Quadrangles and triangles of 4 rows.
inline mesh mixed_faces() {
    return {"mixed faces", points({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 0}, {2, 1}, {3, 0.5}}),
            connectivity({{0, 1, 2, 3}, {1, 4, 2, none}, {4, 5, 2, none}, {4, 6, 5, none}}),
            kv7::ET_FACE_MIX};
}

// Triangles of 3 rows under the mixed type.
inline mesh mixed_faces_all_triangles() {
    return {"mixed faces, all triangles", points({{0, 0}, {1, 0}, {1, 1}, {0, 1}}),
            connectivity({{0, 1, 2}, {0, 2, 3}}), kv7::ET_FACE_MIX};
}

// A hexahedron, a pyramid and a wedge on it, a tetrahedron beside: 8 rows.
inline mesh mixed_solids() {
    return {"mixed solids",
            points({{0, 0, 0},
                    {1, 0, 0},
                    {1, 1, 0},
                    {0, 1, 0},
                    {0, 0, 1},
                    {1, 0, 1},
                    {1, 1, 1},
                    {0, 1, 1},
                    {0.5, 0.5, 2},
                    {2, 0, 0},
                    {2, 0, 1}}),
            connectivity({{0, 1, 2, 3, 4, 5, 6, 7},
                          {4, 5, 6, 7, 8, none, none, none},
                          {1, 9, 2, 5, 10, 6, none, none},
                          {5, 10, 6, 8, none, none, none, none}}),
            kv7::ET_SOLID_MIX};
}

// Six-node triangles on 2D coordinates.
inline mesh quadratic_triangles() {
    return {"quadratic triangles",
            points({{0, 0}, {2, 0}, {2, 2}, {0, 2}, {1, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 1}}),
            connectivity({{0, 1, 2, 4, 5, 6}, {0, 2, 3, 6, 7, 8}}), kv7::ET_TRIA6};
}

// A closed chain of bars with a tail, and nodes at its start and end that nothing uses.
inline mesh bars_with_unused_nodes() {
    return {"bars, unused nodes", points({{9, 9}, {0, 0}, {1, 0}, {8, 8}, {0, 1}, {-1, 0}, {7, 7}}),
            connectivity({{1, 2}, {2, 4}, {4, 1}, {1, 5}}), kv7::ET_BAR_MIX};
}

// Coordinates that are no numbers or infinite, and finite ones whose distances overflow.
inline mesh wild_coordinates() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    return {"wild coordinates",
            points({{0, 0, 0},
                    {nan, 0, 0},
                    {nan, nan, nan},
                    {infinite, 0, 0},
                    {-infinite, 0, 0},
                    {0, infinite, nan},
                    {1e308, -1e308, 0},
                    {-1e308, 1e308, 0},
                    {0, 0, -0.0},
                    {nan, 0, 0},
                    {infinite, 0, 0},
                    {5e-324, 0, 0}}),
            connectivity({{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}, {0, 8, 11}}),
            kv7::ET_TRIA3};
}

// The columns of the connectivity, and only these, stand apart in their block.
inline mesh apart_in_block(const mesh& m) {
    return {m.name + ", apart in its block", m.pos, with_gaps(m.connect, 2, 0xDDDDDDDDU), m.type};
}

inline mesh no_elements() {
    return {"no elements", points({{0, 0, 0}, {1, 0, 0}}), dense2D<unsigned int>(), kv7::ET_TRIA3};
}
inline mesh nothing() {
    return {"nothing", dense2D<double>(), dense2D<unsigned int>(), kv7::ET_TRIA3};
}
inline mesh one_triangle() {
    return {"one triangle", points({{0, 0}, {1, 0}, {0, 1}}), connectivity({{0, 1, 2}}),
            kv7::ET_TRIA3};
}

inline std::vector<mesh> zoo() {
    return {nothing(),
            no_elements(),
            one_triangle(),
            moebius_strip(),
            hourglass(),
            solid_hourglass(),
            fan_of_three(),
            cube_surface(),
            soup_of(cube_surface()),
            soup_of(moebius_strip()),
            quad_grid(),
            degenerate_triangles(),
            mixed_faces(),
            apart_in_block(mixed_faces()),
            soup_of(mixed_faces()),
            mixed_faces_all_triangles(),
            mixed_solids(),
            apart_in_block(mixed_solids()),
            soup_of(mixed_solids()),
            quadratic_triangles(),
            bars_with_unused_nodes(),
            wild_coordinates(),
            apart_in_block(cube_surface())};
}

} // namespace test

#endif
