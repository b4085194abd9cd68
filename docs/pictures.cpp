// Prints what the pictures of these pages show, as the library computes it; pictures.py draws it.
// An array is a line "name rows columns" and a line for each column.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include <tessmaker/tessmaker.h>

#include "core/element_table.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using point2 = vector_fixed<double, 2>;
using point3 = vector_fixed<double, 3>;

// A picture of nothing is none.
void require(bool done) {
    if (done) return;
    std::fprintf(stderr, "pictures: a call has failed\n");
    std::exit(1);
}

void print(const std::string& name, const dense2D<double>& values) {
    std::printf("%s %zu %zu\n", name.c_str(), values.rows(), values.cols());
    for (std::size_t c = 0; c < values.cols(); ++c) {
        for (std::size_t r = 0; r < values.rows(); ++r) std::printf("%.17g ", values(r, c));
        std::printf("\n");
    }
}

void print(const std::string& name, const id_matrix& ids) {
    std::printf("%s %zu %zu\n", name.c_str(), ids.rows(), ids.cols());
    for (std::size_t c = 0; c < ids.cols(); ++c) {
        for (std::size_t r = 0; r < ids.rows(); ++r) std::printf("%u ", ids(r, c));
        std::printf("\n");
    }
}

void print(const std::string& name, dense1D<double> values) {
    print(name, dense2D<double>::wrap(values.data(), 1, values.size()));
}

// n by n squares of the unit square, each cut in two.
struct triangle_grid {
    dense2D<double> pos;
    id_matrix connect;

    explicit triangle_grid(unsigned int n) : pos(2, (n + 1) * (n + 1)), connect(3, 2 * n * n) {
        for (unsigned int j = 0; j <= n; ++j) {
            for (unsigned int i = 0; i <= n; ++i) {
                pos(0, j * (n + 1) + i) = i / static_cast<double>(n);
                pos(1, j * (n + 1) + i) = j / static_cast<double>(n);
            }
        }
        for (unsigned int j = 0; j < n; ++j) {
            for (unsigned int i = 0; i < n; ++i) {
                const unsigned int a = j * (n + 1) + i;
                const unsigned int corners[] = {a, a + 1, a + n + 2, a, a + n + 2, a + n + 1};
                for (unsigned int k = 0; k < 6; ++k) {
                    connect(k % 3, 2 * (j * n + i) + k / 3) = corners[k];
                }
            }
        }
    }
};

// A field with two small sizes and a band of middling ones, and the same bounded.
void size_field() {
    const triangle_grid mesh(32);
    dense1D<double> sizes(mesh.pos.cols(), 0.5);
    const node_detector nodes(mesh.pos);
    sizes[nodes.find_closest(point2{0.25, 0.3})] = 0.01;
    sizes[nodes.find_closest(point2{0.75, 0.7})] = 0.05;
    for (std::size_t n = 0; n < sizes.size(); ++n) {
        if (mesh.pos(0, n) > 0.95) sizes[n] = 0.2;
    }
    print("sizes_pos", mesh.pos);
    print("sizes_connect", mesh.connect);
    print("sizes_before", sizes);
    dense1D<double> after;
    require(after.copy(sizes));
    require(bound_metric_gradations(mesh.pos, mesh.connect, ET_TRIA3, {}, true, -1, 0.8, after) >
            0);
    print("sizes_after", after);
}

// The vectors that a metric gives the length 1.
dense2D<double> unit_circle(const symmetric_fixed<double, 2>& m) {
    constexpr std::size_t n = 181;
    const double pi = std::acos(-1.0);
    dense2D<double> circle(2, n);
    for (std::size_t k = 0; k < n; ++k) {
        const double x = std::cos(2.0 * pi * static_cast<double>(k) / (n - 1));
        const double y = std::sin(2.0 * pi * static_cast<double>(k) / (n - 1));
        const double length = std::sqrt(m[0] * x * x + 2.0 * m[1] * x * y + m[2] * y * y);
        circle(0, k) = x / length;
        circle(1, k) = y / length;
    }
    return circle;
}

void metrics() {
    const double c = std::cos(0.35);
    const double s = std::sin(0.35);
    symmetric_fixed<double, 2> a;
    symmetric_fixed<double, 2> b;
    metric_aniso(point2{2.0, 0.6}, matrix_fixed<double, 2, 2>{{c, s, -s, c}}, a);
    metric_aniso(point2{0.8, 1.5}, matrix_fixed<double, 2, 2>{{s, c, -c, s}}, b);
    symmetric_fixed<double, 2> smaller;
    symmetric_fixed<double, 2> larger;
    require(minimum_metric(a, b, smaller));
    require(maximum_metric(a, b, larger));
    print("metric_a", unit_circle(a));
    print("metric_b", unit_circle(b));
    print("metric_minimum", unit_circle(smaller));
    print("metric_maximum", unit_circle(larger));
    // The directions in which both are diagonal.
    vector_fixed<double, 2> l;
    matrix_fixed<double, 2, 2> basis;
    require(eigen_pairs(a, b, l, basis));
    print("metric_basis", dense2D<double>::wrap(basis.data(), 2, 2));
}

// Triangles on one base, the third corner at the places of a grid.
void qualities() {
    constexpr unsigned int nx = 201;
    constexpr unsigned int ny = 181;
    dense2D<double> pos(2, 2 + nx * ny, 0.0);
    id_matrix connect(3, nx * ny, 0U);
    pos(0, 1) = 1.0;
    for (unsigned int k = 0; k < nx * ny; ++k) {
        pos(0, 2 + k) = -0.5 + 2.0 * (k % nx) / (nx - 1);
        pos(1, 2 + k) = -0.6 + 1.8 * (k / nx) / (ny - 1); // NOLINT(bugprone-integer-division): row
        connect(1, k) = 1;
        connect(2, k) = 2 + k;
    }
    dense1D<double> q;
    require(shape_qualities(pos, connect, ET_TRIA3, q) == 0);
    print("quality", dense2D<double>::wrap(q.data(), nx, ny));
}

// A square with cuts: its parts and its boundary, and the boundaries of three colours.
void parts() {
    const triangle_grid square(14);
    dense2D<double> centers;
    require(centroids(square.pos, square.connect, centers, ET_TRIA3) == 0);
    dense1D<unsigned int> columns;
    for (unsigned int e = 0; e < square.connect.cols(); ++e) {
        const double x = centers(0, e);
        const double y = centers(1, e);
        const bool is_cut = std::abs(x + 0.5 * y - 0.75) < 0.06;
        const bool is_hole = std::hypot(x - 0.25, y - 0.4) < 0.12;
        if (!is_cut && !is_hole) require(columns.push_back(e));
    }
    id_matrix connect;
    require(connect.append(square.connect, columns));
    id_matrix neighbors;
    require(get_neighbors(connect, ET_TRIA3, false, neighbors) == 0);
    id_matrix boundaries;
    require(get_mesh_boundaries(connect, neighbors, ET_TRIA3, boundaries) == 0);
    dense1D<unsigned int> elements;
    dense1D<unsigned int> first;
    require(get_subdomains(neighbors, elements, first) == 0);
    dense1D<double> part_of(connect.cols());
    for (std::size_t d = 0; d + 1 < first.size(); ++d) {
        for (unsigned int k = first[d]; k < first[d + 1]; ++k) {
            part_of[elements[k]] = static_cast<double>(d);
        }
    }
    require(centroids(square.pos, connect, centers, ET_TRIA3) == 0);
    dense1D<unsigned int> colors(connect.cols());
    dense1D<double> color_of(connect.cols());
    for (std::size_t e = 0; e < connect.cols(); ++e) {
        colors[e] = (centers(1, e) > 0.5 ? 1U : 0U) + (centers(0, e) > 0.8 ? 1U : 0U);
        color_of[e] = colors[e];
    }
    id_matrix borders;
    require(get_colors_boundaries(connect, neighbors, colors, ET_TRIA3, false, false, borders) ==
            0);
    print("parts_pos", square.pos);
    print("parts_connect", connect);
    print("parts_part", part_of);
    print("parts_boundaries", boundaries);
    print("parts_color", color_of);
    print("parts_borders", borders);
}

// A piece of a ring, five copies of it around the centre, and all of them mirrored.
void copies() {
    const triangle_grid square(4);
    dense2D<double> pos;
    require(pos.copy(square.pos));
    for (std::size_t n = 0; n < pos.cols(); ++n) {
        const double angle = 0.9 * pos(0, n);
        const double radius = 1.0 + pos(1, n) * (0.6 + 0.4 * pos(0, n));
        pos(0, n) = 3.2 + radius * std::cos(angle);
        pos(1, n) = radius * std::sin(angle);
    }
    id_matrix source;
    require(source.copy(square.connect));
    id_matrix around;
    const double sixth = std::acos(-1.0) / 3.0;
    const point2 origin{0.0, 0.0};
    require(copy_mesh(pos, around, origin, point2{3.2, 0.0}, sixth, 5, source) == 0);
    id_matrix all;
    require(all.append(source) && all.append(around));
    id_matrix mirrored;
    require(copy_sym_mesh(pos, mirrored, origin, point2{1.0, 0.0}, all) == 0);
    print("copies_pos", pos);
    print("copies_source", source);
    print("copies_around", around);
    print("copies_mirrored", mirrored);
}

// The middle of the corners on which a node of a quadratic type lies.
point3 place_of(const added_node& node, const dense2D<double>& corners, const id_matrix& facets) {
    std::vector<unsigned int> on;
    if (node.on == added_node::place::edge) {
        on = {node.a, node.b};
    } else if (node.on == added_node::place::facet) {
        on.assign(facets.column(node.a), facets.column(node.a) + facets.rows());
    } else {
        for (unsigned int c = 0; c < corners.cols(); ++c) on.push_back(c);
    }
    point3 sum{};
    for (const unsigned int corner : on) {
        for (unsigned int i = 0; i < 3; ++i) sum[i] += corners(i, corner);
    }
    const auto weight = 1.0 / static_cast<double>(on.size());
    return {sum[0] * weight, sum[1] * weight, sum[2] * weight};
}

// An element that is not inverted: its nodes, its edges and facets as corners, and of each node of
// a quadratic type that is no corner where it lies: 0 on an edge, 1 on a facet, 2 inside.
void shape(const std::string& name, element_type type, std::initializer_list<double> corners) {
    const element_type linear = linear_type(type);
    dense2D<double> pos(3, nbr_nodes(linear));
    std::copy(corners.begin(), corners.end(), pos.column(0));
    id_matrix connect(nbr_nodes(linear), 1);
    for (unsigned int r = 0; r < connect.rows(); ++r) connect(r, 0) = r;
    id_matrix edges;
    require(copy_edges(connect, linear, edges, {}) == 0);
    id_matrix facets;
    require(get_element_boundaries(connect, linear, facets) == 0);
    dense1D<double> determinants;
    require(jacobians(pos, connect, linear, determinants) == 0 && determinants[0] > 0.0);

    const auto added = shape_of(type).added;
    dense2D<double> all_pos;
    require(all_pos.copy(pos) && all_pos.resize(3, nbr_nodes(type)));
    dense1D<double> places;
    for (const added_node& node : added) {
        const point3 at = place_of(node, pos, facets);
        std::copy_n(at.data(), 3, all_pos.column(pos.cols() + places.size()));
        require(places.push_back(static_cast<double>(node.on)));
    }
    print("shape_" + name + "_pos", all_pos);
    print("shape_" + name + "_edges", edges);
    print("shape_" + name + "_facets", facets);
    print("shape_" + name + "_places", places);
}

void shapes() {
    const std::initializer_list<double> bar{0, 0, 0, 1, 0, 0};
    const std::initializer_list<double> triangle{0, 0, 0, 1, 0, 0, 0.5, 0.9, 0};
    const std::initializer_list<double> quadrangle{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    const std::initializer_list<double> tetrahedron{0, 0, 0, 0.35, 0.9, 0, 1, 0, 0, 0.5, 0.3, 0.9};
    const std::initializer_list<double> pyramid{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5, 0.5, 0.9};
    const std::initializer_list<double> wedge{0, 0, 0, 1, 0, 0, 0.25, 0.9, 0,
                                              0, 0, 1, 1, 0, 1, 0.25, 0.9, 1};
    const std::initializer_list<double> hexahedron{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0,
                                                   0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1};
    shape("BAR2", ET_BAR2, bar);
    shape("TRIA3", ET_TRIA3, triangle);
    shape("QUAD4", ET_QUAD4, quadrangle);
    shape("TETRA4", ET_TETRA4, tetrahedron);
    shape("PYRA5", ET_PYRA5, pyramid);
    shape("PENTA6", ET_PENTA6, wedge);
    shape("HEXA8", ET_HEXA8, hexahedron);
    shape("BAR3", ET_BAR3, bar);
    shape("TRIA6", ET_TRIA6, triangle);
    shape("QUAD9", ET_QUAD9, quadrangle);
    // Deeper, for room between its nodes.
    shape("TETRA10", ET_TETRA10, {0, 0, 0, 0.3, 1.5, 0, 1, 0, 0, 0.4, 0.4, 1});
    shape("PYRA14", ET_PYRA14, pyramid);
    shape("PENTA18", ET_PENTA18, wedge);
    shape("HEXA27", ET_HEXA27, hexahedron);
}

} // namespace

int main() {
    size_field();
    metrics();
    qualities();
    parts();
    copies();
    shapes();
    return std::fflush(stdout) == 0 ? 0 : 1;
}
