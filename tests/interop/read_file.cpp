// Reads a file of any format, with fields of a file beside it, and tells what is there.
//
// usage: read_file FILE [FIELDS]
//
// Prints lines of a word and what belongs to it:
//   nodes N         box LOW HIGH of each axis       remark SENTENCE
//   type NUMBER COUNT           elements of a type, for each type that is there
//   inverted N                  solids of no positive volume
//   off D                       how far a mid-edge node is from the middle of its edge at most
//   field NAME PLACE ROWS SUM   PLACE is 0 at nodes, 1 at elements
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <map>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"
#include "tessmaker/quality.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using edge = std::array<unsigned int, 2>;

element_type linear_type(element_type type) {
    switch (type) {
    case ET_TETRA10: return ET_TETRA4;
    case ET_PYRA13: return ET_PYRA5;
    case ET_PENTA15:
    case ET_PENTA18: return ET_PENTA6;
    case ET_HEXA20:
    case ET_HEXA27: return ET_HEXA8;
    default: return type;
    }
}

// The edges that have a node, in the order of element_type.h.
std::vector<edge> mid_edges(element_type type) {
    switch (type) {
    case ET_BAR3: return {{0, 1}};
    case ET_TRIA6: return {{1, 2}, {2, 0}, {0, 1}};
    case ET_QUAD8:
    case ET_QUAD9: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case ET_TETRA10: return {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}};
    case ET_PYRA13: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}};
    case ET_PENTA15:
    case ET_PENTA18:
        return {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
    case ET_HEXA20:
    case ET_HEXA27:
        return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    default: return {};
    }
}

double distance_off(const mesh& m, element_type type, std::size_t c) {
    double most = 0.0;
    unsigned int row = nbr_base_nodes(type);
    for (const edge& e : mid_edges(type)) {
        for (std::size_t r = 0; r < 3; ++r) {
            const double middle =
                0.5 * (m.pos(r, m.connect(e[0], c)) + m.pos(r, m.connect(e[1], c)));
            most = std::max(most, std::fabs(middle - m.pos(r, m.connect(row, c))));
        }
        ++row;
    }
    return most;
}

std::size_t nbr_inverted(const mesh& m, std::size_t run) {
    const auto type = static_cast<element_type>(m.types[run]);
    if (element_dim(type) != 3) return 0;
    const unsigned int begin = m.indices[run];
    const auto corners =
        m.connect.sub_matrix(0, begin, nbr_base_nodes(type), m.indices[run + 1] - begin);
    dense1D<double> determinants;
    if (jacobians(m.pos, corners, linear_type(type), determinants) < 0) return corners.cols();
    std::size_t n = 0;
    for (const double determinant : determinants) n += determinant > 0.0 ? 0U : 1U;
    return n;
}

void tell_nodes(const mesh& m) {
    std::printf("nodes %zu\nbox", m.pos.cols());
    for (std::size_t r = 0; r < m.pos.rows(); ++r) {
        double low = m.pos(r, 0);
        double high = low;
        for (std::size_t c = 0; c < m.pos.cols(); ++c) {
            low = std::min(low, m.pos(r, c));
            high = std::max(high, m.pos(r, c));
        }
        std::printf(" %.9g %.9g", low, high);
    }
    std::printf("\n");
}

void tell_elements(const mesh& m) {
    std::map<int, std::size_t> counts;
    std::size_t inverted = 0;
    double off = 0.0;
    for (std::size_t run = 0; run < m.types.size(); ++run) {
        counts[m.types[run]] += m.indices[run + 1] - m.indices[run];
        inverted += nbr_inverted(m, run);
        for (std::size_t c = m.indices[run]; c < m.indices[run + 1]; ++c) {
            off = std::max(off, distance_off(m, static_cast<element_type>(m.types[run]), c));
        }
    }
    for (const auto& [type, count] : counts) std::printf("type %d %zu\n", type, count);
    std::printf("inverted %zu\noff %.3g\n", inverted, off);
}

void tell_fields(const mesh& m) {
    for (const field& f : m.fields) {
        double sum = 0.0;
        for (std::size_t c = 0; c < f.values.cols(); ++c) {
            for (std::size_t r = 0; r < f.values.rows(); ++r) sum += f.values(r, c);
        }
        std::printf("field %s %d %zu %.9g\n", f.name.c_str(), f.at == field_place::nodes ? 0 : 1,
                    f.values.rows(), sum);
    }
}

} // namespace

int main(int nbr_arguments, char** arguments) {
    if (nbr_arguments < 2) return 2;
    mesh m;
    file_report report;
    int code = read_mesh(arguments[1], m, report);
    if (code == 0 && nbr_arguments > 2) code = read_fields(arguments[2], m, report);
    for (const remark& r : report.remarks()) std::printf("remark %s\n", r.sentence.c_str());
    if (code < 0) return 1;
    tell_nodes(m);
    tell_elements(m);
    tell_fields(m);
    return 0;
}
