// A plain reference for edge qualities: edges in a std::set, each measured by itself.
#ifndef TESSMAKER_TESTS_QUALITY_PLAIN_EDGES_H
#define TESSMAKER_TESTS_QUALITY_PLAIN_EDGES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#include "quality/random_elements.h"
#include "support/meshes.h"
#include "tessmaker/element_type.h"
#include "tessmaker/histogram.h"

namespace test {

using kv7::dense1D;
using kv7::element_type;
using node_pairs = std::vector<std::pair<unsigned int, unsigned int>>;

// Keeps the values it is given.
class recorder : public kv7::misc::histogram {
public:
    recorder() : histogram(0.0, 2.0, 4) {}
    void process(double value) override { values.push_back(value); }

    std::vector<double> values;
};

// The length of an edge in units of a size that varies geometrically from h0 to h1.
inline double plain_log_mean(double length, double h0, double h1) {
    double h = h0;
    if (h0 != h1) {
        const double hs = std::min(h0, h1);
        const double hl = std::max(h0, h1);
        const double t = (hs - hl) / hl;
        const double third = 0.3333333333333333;
        const double u = t * 0.5;
        const double ratio =
            t > -0.1 ? 1.0 + u * (1.0 - u * (third - u * (third - 0.42222222222222217 * u)))
                     : t / std::log1p(t);
        h = hl * ratio;
    }
    return h > 0.0 ? length / h : 0.0;
}

// Local edges by the shape that the corners of a column make.
inline const node_pairs& local_edges(element_type type, std::size_t nbr_corners) {
    static const node_pairs nothing;
    static const node_pairs bar = {{0, 1}};
    static const node_pairs triangle = {{1, 2}, {2, 0}, {0, 1}};
    static const node_pairs quadrangle = {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    static const node_pairs tetrahedron = {{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}};
    static const node_pairs pyramid = {{0, 4}, {1, 4}, {2, 4}, {3, 4},
                                       {0, 1}, {1, 2}, {2, 3}, {3, 0}};
    static const node_pairs wedge = {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0},
                                     {0, 1}, {4, 5}, {5, 3}, {3, 4}};
    static const node_pairs hexahedron = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                          {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    switch (type) {
    case kv7::ET_BAR2:
    case kv7::ET_BAR3: return bar;
    case kv7::ET_TRIA3:
    case kv7::ET_TRIA6: return triangle;
    case kv7::ET_QUAD4:
    case kv7::ET_QUAD8:
    case kv7::ET_QUAD9: return quadrangle;
    case kv7::ET_FACE_MIX: return nbr_corners == 3 ? triangle : quadrangle;
    case kv7::ET_TETRA4:
    case kv7::ET_TETRA10: return tetrahedron;
    case kv7::ET_PYRA5:
    case kv7::ET_PYRA14: return pyramid;
    case kv7::ET_PENTA6:
    case kv7::ET_PENTA18: return wedge;
    case kv7::ET_HEXA8:
    case kv7::ET_HEXA27: return hexahedron;
    case kv7::ET_SOLID_MIX:
        return nbr_corners == 4   ? tetrahedron
               : nbr_corners == 5 ? pyramid
               : nbr_corners == 6 ? wedge
                                  : hexahedron;
    default: return nothing;
    }
}

using edge_set = std::set<std::pair<unsigned int, unsigned int>>;

inline std::pair<unsigned int, unsigned int> ascending(unsigned int a, unsigned int b) {
    return {std::min(a, b), std::max(a, b)};
}

inline void add_edges(const dense2D<unsigned int>& connect, element_type type, edge_set& edges) {
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        std::size_t nbr_corners = 0;
        while (nbr_corners < connect.rows() && connect(nbr_corners, c) != none) ++nbr_corners;
        for (const auto& [i, j] : local_edges(type, nbr_corners)) {
            edges.insert(ascending(connect(i, c), connect(j, c)));
        }
    }
}

inline void remove_edges(const dense2D<unsigned int>& exclude, edge_set& edges) {
    for (std::size_t c = 0; c < exclude.cols(); ++c) {
        edges.erase(ascending(exclude(0, c), exclude(1, c)));
    }
}

// The values of the edges with valid sizes or metrics at both ends, and whether that is all edges.
struct measured {
    std::vector<double> values;
    bool all_good = true;
};

inline std::vector<double> difference(const dense2D<double>& pos, unsigned int a, unsigned int b) {
    std::vector<double> d(pos.rows());
    for (std::size_t k = 0; k < d.size(); ++k) d[k] = pos(k, b) - pos(k, a);
    return d;
}

inline measured measure(const dense2D<double>& pos, const edge_set& edges,
                        const dense1D<double, 8>& sizes) {
    measured result;
    for (const auto& [a, b] : edges) {
        if (!(sizes[a] > 0.0) || !(sizes[b] > 0.0)) {
            result.all_good = false;
            continue;
        }
        double length2 = 0.0;
        for (const double x : difference(pos, a, b)) length2 += x * x;
        result.values.push_back(plain_log_mean(std::sqrt(length2), sizes[a], sizes[b]));
    }
    return result;
}

// Whether the metric is positive definite, by its leading minors. Metrics of the tests are so, or
// miss it, by far more than rounding.
inline bool is_valid_column(const dense2D<double>& metrics, unsigned int node) {
    const double* const m = metrics.column(node);
    const double minor2 = m[0] * m[2] - m[1] * m[1];
    if (!(m[0] > 0.0) || !(minor2 > 0.0)) return false;
    if (metrics.rows() == 3) return true;
    return m[0] * (m[2] * m[5] - m[4] * m[4]) - m[1] * (m[1] * m[5] - m[4] * m[3]) +
               m[3] * (m[1] * m[4] - m[2] * m[3]) >
           0.0;
}

inline double squared_length(const dense2D<double>& metrics, unsigned int node,
                             const std::vector<double>& d) {
    double sum = 0.0;
    for (std::size_t i = 0; i < d.size(); ++i) {
        for (std::size_t j = 0; j < d.size(); ++j) {
            const std::size_t high = std::max(i, j);
            sum += d[i] * d[j] * metrics(high * (high + 1) / 2 + std::min(i, j), node);
        }
    }
    return sum;
}

inline measured measure(const dense2D<double>& pos, const edge_set& edges,
                        const dense2D<double>& metrics) {
    measured result;
    for (const auto& [a, b] : edges) {
        if (!is_valid_column(metrics, a) || !is_valid_column(metrics, b)) {
            result.all_good = false;
            continue;
        }
        const std::vector<double> d = difference(pos, a, b);
        const double q0 = squared_length(metrics, a, d);
        const double q1 = squared_length(metrics, b, d);
        double value = 0.0;
        if (q0 > 0.0 && q1 > 0.0) {
            const double l0 = std::sqrt(q0);
            const double l1 = std::sqrt(q1);
            value = plain_log_mean(l0 * l1, l0, l1);
        }
        result.values.push_back(value);
    }
    return result;
}

inline void expect_near(const std::vector<double>& values, const std::vector<double>& expected,
                        double nbr_ulps) {
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t k = 0; k < values.size(); ++k) {
        EXPECT_TRUE(near_ulps(values[k], expected[k], nbr_ulps))
            << "value " << k << ": " << values[k] << " for " << expected[k];
    }
}

inline dense1D<double, 8> same_size(std::size_t n, double h) { return dense1D<double, 8>(n, h); }

// The metric of one size in every direction.
inline dense2D<double> same_metric(std::size_t dim, std::size_t n, double h) {
    dense2D<double> metrics(dim == 2 ? 3 : 6, n, 0.0);
    for (std::size_t c = 0; c < n; ++c) {
        metrics(0, c) = metrics(2, c) = 1.0 / (h * h);
        if (dim == 3) metrics(5, c) = 1.0 / (h * h);
    }
    return metrics;
}

} // namespace test

#endif
