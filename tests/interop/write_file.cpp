// Writes a file of any format for other programs to read, and tells what is in it.
//
// usage: write_file FILE fields|no_fields TYPE...
//
// There are two elements of each TYPE, a value of element_type, each with nodes of its own. Corners
// are those of a unit shape, stretched; other nodes are where straight elements have them. With
// fields there are a scalar, a vector and a symmetric tensor at nodes, and a scalar at elements.
// Prints lines of a word and what belongs to it:
//   nodes N         box LOW HIGH of each axis
//   type NUMBER COUNT           for each type
//   volume V        area A
//   field NAME PLACE ROWS SUM   with the nine rows that tensors have in files; PLACE is 0 at nodes,
//                               1 at elements
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

constexpr unsigned int no_id = 0xFFFFFFFF;
constexpr std::array<double, 3> stretch{1, 2, 3};
using point = std::array<double, 3>;
// The corners between which a node lies.
using corners = std::vector<unsigned int>;

std::vector<point> corner_points(element_type type) {
    switch (nbr_base_nodes(type)) {
    case 1: return {{0, 0, 0}};
    case 2: return {{0, 0, 0}, {1, 1, 0}};
    case 3: return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    case 4:
        if (element_dim(type) == 2) return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
        return {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}};
    case 5: return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}};
    case 6: return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
    default:
        return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    }
}

// Of a unit shape, by the number of its corners.
double size_of(element_type type) {
    switch (nbr_base_nodes(type)) {
    case 3: return 1.0 / 2;
    case 4: return element_dim(type) == 2 ? 1.0 : 1.0 / 6;
    case 5: return 1.0 / 3;
    case 6: return 1.0 / 2;
    default: return 1.0;
    }
}

// Of the nodes that are no corners, as element_type.h has them.
std::vector<corners> added_nodes(element_type type) {
    std::vector<corners> nodes;
    switch (type) {
    case ET_BAR3: return {{0, 1}};
    case ET_TRIA6: return {{1, 2}, {2, 0}, {0, 1}};
    case ET_QUAD8: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case ET_QUAD9: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 1, 2, 3}};
    case ET_TETRA10: return {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}};
    case ET_PYRA13: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}};
    case ET_PENTA15:
    case ET_PENTA18:
        nodes = {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
        if (type == ET_PENTA15) return nodes;
        for (const corners& quad : std::vector<corners>{{0, 1, 3, 4}, {1, 2, 4, 5}, {2, 0, 5, 3}}) {
            nodes.push_back(quad);
        }
        return nodes;
    case ET_HEXA20:
    case ET_HEXA27:
        nodes = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                 {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
        if (type == ET_HEXA20) return nodes;
        for (const corners& middle : std::vector<corners>{{0, 3, 4, 7},
                                                          {1, 2, 5, 6},
                                                          {0, 1, 4, 5},
                                                          {2, 3, 6, 7},
                                                          {0, 1, 2, 3},
                                                          {4, 5, 6, 7},
                                                          {0, 1, 2, 3, 4, 5, 6, 7}}) {
            nodes.push_back(middle);
        }
        return nodes;
    default: return {};
    }
}

std::vector<point> points_of(element_type type) {
    std::vector<point> points = corner_points(type);
    for (const corners& around : added_nodes(type)) {
        point middle{};
        for (const unsigned int k : around) {
            for (std::size_t r = 0; r < 3; ++r) {
                middle[r] += points[k][r] / static_cast<double>(around.size());
            }
        }
        points.push_back(middle);
    }
    return points;
}

// Two elements of each type.
mesh mesh_of(const std::vector<element_type>& types) {
    std::vector<point> nodes;
    std::vector<corners> elements;
    mesh m;
    m.indices.push_back(0);
    for (const element_type type : types) {
        const std::vector<point> points = points_of(type);
        for (int k = 0; k < 2; ++k) {
            const double shift = 2.0 * static_cast<double>(elements.size());
            m.pids.push_back(static_cast<unsigned int>(10 + elements.size() % 3));
            corners ids;
            for (const point& p : points) {
                ids.push_back(static_cast<unsigned int>(nodes.size()));
                nodes.push_back({p[0] * stretch[0] + shift, p[1] * stretch[1], p[2] * stretch[2]});
            }
            elements.push_back(ids);
        }
        m.types.push_back(type);
        m.indices.push_back(static_cast<unsigned int>(elements.size()));
    }
    m.pos = dense2D<double>(3, nodes.size());
    for (std::size_t c = 0; c < nodes.size(); ++c)
        std::copy_n(nodes[c].begin(), 3, m.pos.column(c));
    m.connect = dense2D<unsigned int>(27, elements.size(), no_id);
    for (std::size_t c = 0; c < elements.size(); ++c) {
        std::copy(elements[c].begin(), elements[c].end(), m.connect.column(c));
    }
    return m;
}

void add_field(const char* name, field_place at, std::size_t rows, mesh& m) {
    const std::size_t n = at == field_place::nodes ? m.pos.cols() : m.connect.cols();
    field f{name, at, dense2D<double>(rows, n)};
    double sum = 0.0;
    for (std::size_t c = 0; c < n; ++c) {
        for (std::size_t r = 0; r < rows; ++r) {
            f.values(r, c) = 0.5 * static_cast<double>((3 * c + 7 * r) % 64);
            const bool is_off_diagonal = rows == 6 && (r == 1 || r == 3 || r == 4);
            sum += is_off_diagonal ? 2.0 * f.values(r, c) : f.values(r, c);
        }
    }
    m.fields.push_back(f);
    std::printf("field %s %d %zu %.17g\n", name, at == field_place::nodes ? 0 : 1,
                rows == 6 ? 9 : rows, sum);
}

void tell(const mesh& m) {
    std::printf("nodes %zu\nbox", m.pos.cols());
    for (std::size_t r = 0; r < 3; ++r) {
        double low = m.pos(r, 0);
        double high = low;
        for (std::size_t c = 0; c < m.pos.cols(); ++c) {
            low = std::min(low, m.pos(r, c));
            high = std::max(high, m.pos(r, c));
        }
        std::printf(" %.17g %.17g", low, high);
    }
    double volume = 0.0;
    double area = 0.0;
    for (const int number : m.types) {
        const auto type = static_cast<element_type>(number);
        if (element_dim(type) == 2) area += 2 * size_of(type) * stretch[0] * stretch[1];
        if (element_dim(type) == 3) volume += 2 * size_of(type) * 6;
    }
    std::printf("\nvolume %.17g\narea %.17g\n", volume, area);
    for (const int type : m.types) std::printf("type %d 2\n", type);
}

} // namespace

int main(int nbr_arguments, char** arguments) {
    if (nbr_arguments < 4) return 2;
    std::vector<element_type> types;
    for (int k = 3; k < nbr_arguments; ++k) {
        types.push_back(static_cast<element_type>(std::atoi(arguments[k])));
    }
    mesh m = mesh_of(types);
    tell(m);
    if (std::string(arguments[2]) == "fields") {
        add_field("size", field_place::nodes, 1, m);
        add_field("flow", field_place::nodes, 3, m);
        add_field("metric", field_place::nodes, 6, m);
        add_field("stress", field_place::elements, 1, m);
    }
    write_options options;
    options.lossy = true;
    file_report report;
    const int code = write_mesh(arguments[1], m, options, report);
    for (const remark& r : report.remarks()) std::fprintf(stderr, "%s\n", r.sentence.c_str());
    return code == 0 ? 0 : 1;
}
