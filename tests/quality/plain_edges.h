#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "quality/random_elements.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
using test::columns;
using test::connectivity;
using test::near_ulps;
using test::none;
using test::points;
using test::vector_of;
using node_pairs = std::vector<std::pair<unsigned int, unsigned int>>;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();
const dense2D<unsigned int> no_edges;

// Keeps what it is given.
class recorder : public kv7::misc::histogram {
public:
    recorder() : histogram(0.0, 2.0, 4) {}
    void process(double value) override { values.push_back(value); }

    std::vector<double> values;
};

const element_type all_types[] = {
    kv7::ET_UNKNOWN,   kv7::ET_NODE,   kv7::ET_BAR_MIX, kv7::ET_BAR2,  kv7::ET_BAR3,
    kv7::ET_FACE_MIX,  kv7::ET_TRIA3,  kv7::ET_QUAD4,   kv7::ET_TRIA6, kv7::ET_QUAD8,
    kv7::ET_QUAD9,     kv7::ET_TETRA4, kv7::ET_TETRA10, kv7::ET_PYRA5, kv7::ET_PYRA13,
    kv7::ET_PYRA14,    kv7::ET_PENTA6, kv7::ET_PENTA15, kv7::ET_HEXA8, kv7::ET_PENTA18,
    kv7::ET_SOLID_MIX, kv7::ET_HEXA20, kv7::ET_HEXA27};

// A second writing of the mean along an edge.
double plain_log_mean(double length, double h0, double h1) {
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
const node_pairs& local_edges(element_type type, std::size_t nbr_corners) {
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

std::pair<unsigned int, unsigned int> ascending(unsigned int a, unsigned int b) {
    return {std::min(a, b), std::max(a, b)};
}

void add_edges(const dense2D<unsigned int>& connect, element_type type, edge_set& edges) {
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        std::size_t nbr_corners = 0;
        while (nbr_corners < connect.rows() && connect(nbr_corners, c) != none) ++nbr_corners;
        for (const auto& [i, j] : local_edges(type, nbr_corners)) {
            edges.insert(ascending(connect(i, c), connect(j, c)));
        }
    }
}

void remove_edges(const dense2D<unsigned int>& exclude, edge_set& edges) {
    for (std::size_t c = 0; c < exclude.cols(); ++c) {
        edges.erase(ascending(exclude(0, c), exclude(1, c)));
    }
}

// The values of the edges that are measured, and whether all were.
struct measured {
    std::vector<double> values;
    bool all_good = true;
};

std::vector<double> difference(const dense2D<double>& pos, unsigned int a, unsigned int b) {
    std::vector<double> d(pos.rows());
    for (std::size_t k = 0; k < d.size(); ++k) d[k] = pos(k, b) - pos(k, a);
    return d;
}

measured measure(const dense2D<double>& pos, const edge_set& edges,
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

bool is_valid_column(const dense2D<double>& metrics, unsigned int node) {
    const double* const m = metrics.column(node);
    if (metrics.rows() == 3) {
        kv7::symmetric_fixed<double, 2> M;
        for (std::size_t k = 0; k < 3; ++k) M.data()[k] = m[k];
        return is_valid_metric(M);
    }
    kv7::symmetric_fixed<double, 3> M;
    for (std::size_t k = 0; k < 6; ++k) M.data()[k] = m[k];
    return is_valid_metric(M);
}

double squared_length(const dense2D<double>& metrics, unsigned int node,
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

measured measure(const dense2D<double>& pos, const edge_set& edges,
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

void expect_near(const std::vector<double>& values, const std::vector<double>& expected,
                 double nbr_ulps) {
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t k = 0; k < values.size(); ++k) {
        EXPECT_TRUE(near_ulps(values[k], expected[k], nbr_ulps))
            << "value " << k << ": " << values[k] << " for " << expected[k];
    }
}

dense1D<double, 8> same_size(std::size_t n, double h) { return dense1D<double, 8>(n, h); }

// The metric of one size in every direction.
dense2D<double> same_metric(std::size_t dim, std::size_t n, double h) {
    dense2D<double> metrics(dim == 2 ? 3 : 6, n, 0.0);
    for (std::size_t c = 0; c < n; ++c) {
        metrics(0, c) = metrics(2, c) = 1.0 / (h * h);
        if (dim == 3) metrics(5, c) = 1.0 / (h * h);
    }
    return metrics;
}

// A^T A + I / 10 for random A; one in `bad_every` has an eigenvalue clearly below 0.
dense2D<double> random_metrics(test::random_source& random, std::size_t dim, std::size_t n,
                               std::size_t bad_every) {
    dense2D<double> metrics(dim == 2 ? 3 : 6, n, 0.0);
    for (std::size_t c = 0; c < n; ++c) {
        double a[3][3];
        for (auto& row : a) {
            for (double& x : row) x = random.uniform(-2.0, 2.0);
        }
        double* m = metrics.column(c);
        for (std::size_t i = 0; i < dim; ++i) {
            for (std::size_t j = 0; j <= i; ++j, ++m) {
                for (std::size_t k = 0; k < dim; ++k) *m += a[k][i] * a[k][j];
                if (i == j) *m += 0.1;
            }
        }
        if (bad_every != 0 && random.one_in(bad_every)) {
            metrics(dim == 2 ? 2 : 5, c) = random.one_in(3) ? nan_value : -1.0;
        }
    }
    return metrics;
}

dense1D<double, 8> random_sizes(test::random_source& random, std::size_t n, std::size_t bad_every) {
    const std::vector<double> bad = {0.0, -0.0, -1.0, nan_value, -infinite};
    dense1D<double, 8> sizes(n);
    for (std::size_t i = 0; i < n; ++i) {
        sizes[i] = std::exp(random.uniform(-3.0, 3.0));
        if (bad_every != 0 && random.one_in(bad_every)) sizes[i] = random.one_of(bad);
    }
    return sizes;
}

dense2D<unsigned int> random_pairs(test::random_source& random, const edge_set& edges,
                                   std::size_t limit) {
    if (random.one_in(3)) return dense2D<unsigned int>();
    std::vector<std::pair<unsigned int, unsigned int>> chosen;
    for (const auto& [a, b] : edges) {
        if (random.one_in(3)) {
            chosen.push_back(random.one_in(2) ? std::pair(a, b) : std::pair(b, a));
        }
    }
    for (int k = 0; k < 3; ++k) chosen.push_back({random.id_below(limit), random.id_below(limit)});
    chosen.push_back(chosen.front());
    chosen.push_back({none, none});
    dense2D<unsigned int> pairs(2, chosen.size());
    for (std::size_t c = 0; c < chosen.size(); ++c) {
        pairs(0, c) = chosen[c].first;
        pairs(1, c) = chosen[c].second;
    }
    return pairs;
}

const dense2D<unsigned int> two_triangles = connectivity({{0, 1, 2}, {2, 1, 3}});
dense2D<double> unit_square() { return points({{0, 0}, {1, 0}, {0, 1}, {1, 1}}); }

TEST(edge_quality, is_the_length_in_units_of_one_size) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(2.0, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, 2.0);
    EXPECT_EQ(edge_quality(3.0, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, 3.0);
}

TEST(edge_quality, takes_the_logarithmic_mean_of_two_sizes) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 1.0, 2.0, q), 0);
    EXPECT_EQ(q, 0.6931471805599453);
}

TEST(edge_quality, takes_a_series_for_sizes_that_are_close) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 1.0, 1.05, q), 0);
    EXPECT_EQ(q, plain_log_mean(1.0, 1.0, 1.05));
    EXPECT_NEAR(q, std::log(1.05) / 0.05, 1e-7);
}

TEST(edge_quality, takes_the_logarithm_from_a_tenth_of_difference_on) {
    // (hs - hl) / hl is exactly -0.1 as a double.
    ASSERT_EQ((9.0 - 10.0) / 10.0, -0.1);
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 9.0, 10.0, q), 0);
    EXPECT_EQ(q, 1.0 / (10.0 * (-0.1 / std::log1p(-0.1))));
}

TEST(edge_quality, is_exactly_symmetric_in_the_sizes) {
    test::random_source random(61001);
    for (int k = 0; k < 2000; ++k) {
        const double length = random.uniform(-1.0, 3.0);
        const double h0 = std::exp(random.uniform(-3.0, 3.0));
        const double h1 =
            random.one_in(2) ? h0 * random.uniform(0.85, 1.2) : std::exp(random.uniform(-3.0, 3.0));
        double q = -7.0;
        double swapped = -8.0;
        EXPECT_EQ(edge_quality(length, h0, h1, q), 0);
        EXPECT_EQ(edge_quality(length, h1, h0, swapped), 0);
        EXPECT_EQ(q, swapped);
        EXPECT_EQ(q, plain_log_mean(length, h0, h1));
    }
}

TEST(edge_quality, does_not_test_the_length) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(0.0, 1.0, 2.0, q), 0);
    EXPECT_EQ(q, 0.0);
    EXPECT_EQ(edge_quality(-2.0, 0.5, 0.5, q), 0);
    EXPECT_EQ(q, -4.0);
    EXPECT_EQ(edge_quality(nan_value, 1.0, 1.0, q), 0);
    EXPECT_TRUE(std::isnan(q));
    EXPECT_EQ(edge_quality(infinite, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, infinite);
}

TEST(edge_quality, refuses_sizes_at_or_below_0_and_writes_nothing) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 0.0, 1.0, q), -2);
    EXPECT_EQ(edge_quality(1.0, -1.0, 0.0, q), -2);
    EXPECT_EQ(edge_quality(1.0, 1.0, 0.0, q), -3);
    EXPECT_EQ(edge_quality(1.0, 1.0, -infinite, q), -3);
    EXPECT_EQ(q, -7.0);
}

TEST(edge_quality, lets_a_size_that_is_not_a_number_pass) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, nan_value, 1.0, q), 0);
    EXPECT_EQ(edge_quality(1.0, 1.0, nan_value, q), 0);
    EXPECT_EQ(edge_quality(1.0, nan_value, 0.0, q), -3);
}

TEST(edge_qualities, measures_each_edge_of_two_triangles_once_in_ascending_order) {
    recorder histo;
    const dense1D<double, 8> sizes = vector_of<double>({1.0, 1.0, 2.0, 4.0});
    EXPECT_EQ(edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, sizes, histo, no_edges),
              5);
    const std::vector<double> expected = {
        plain_log_mean(1.0, 1.0, 1.0), plain_log_mean(1.0, 1.0, 2.0),
        plain_log_mean(std::sqrt(2.0), 1.0, 2.0), plain_log_mean(1.0, 1.0, 4.0),
        plain_log_mean(1.0, 2.0, 4.0)};
    EXPECT_EQ(histo.values, expected);
}

TEST(edge_qualities, adds_to_what_the_histogram_holds) {
    kv7::misc::histogram histo(0.0, 2.0, 2);
    histo.process(5.0);
    EXPECT_EQ(edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, same_size(4, 1.0), histo,
                             no_edges),
              5);
    EXPECT_EQ(histo.total(), 6U);
    EXPECT_EQ(histo.overflow(), 1U);
    EXPECT_EQ(histo.count(1), 5U);
    EXPECT_EQ(histo.max(), 5.0);
}

TEST(edge_qualities, gives_an_edge_without_length_the_value_0) {
    const dense2D<double> flat = points({{1, 1}, {1, 1}});
    const dense2D<double> space = points({{1, 1, 1}, {1, 1, 1}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    recorder histo;
    EXPECT_EQ(edge_qualities(flat, bar, kv7::ET_BAR2, same_metric(2, 2, 1.0), histo, no_edges), 1);
    EXPECT_EQ(edge_qualities(space, bar, kv7::ET_BAR2, same_metric(3, 2, 1.0), histo, no_edges), 1);
    EXPECT_EQ(edge_qualities(flat, bar, kv7::ET_BAR2, same_size(2, 1.0), histo, no_edges), 1);
    EXPECT_EQ(edge_qualities(space, bar, kv7::ET_BAR2, same_size(2, 1.0), histo, no_edges), 1);
    EXPECT_EQ(histo.values, (std::vector<double>{0.0, 0.0, 0.0, 0.0}));
}

TEST(edge_qualities, takes_coordinates_that_are_no_numbers) {
    const dense2D<double> pos = points({{0, 0}, {nan_value, 1}, {infinite, 0}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {0, 2}});
    recorder iso;
    EXPECT_EQ(edge_qualities(pos, bars, kv7::ET_BAR2, same_size(3, 1.0), iso, no_edges), 2);
    ASSERT_EQ(iso.values.size(), 2U);
    EXPECT_TRUE(std::isnan(iso.values[0]));
    EXPECT_EQ(iso.values[1], infinite);
    // A squared length that is not above 0 is none.
    recorder aniso;
    EXPECT_EQ(edge_qualities(pos, bars, kv7::ET_BAR2, same_metric(2, 3, 1.0), aniso, no_edges), 2);
    ASSERT_EQ(aniso.values.size(), 2U);
    EXPECT_EQ(aniso.values[0], 0.0);
}

TEST(edge_qualities, counts_the_edge_from_a_repeated_node_to_itself_as_0) {
    const dense2D<unsigned int> folded = connectivity({{0, 0, 1}});
    recorder histo;
    EXPECT_EQ(
        edge_qualities(unit_square(), folded, kv7::ET_TRIA3, same_size(4, 0.5), histo, no_edges),
        2);
    EXPECT_EQ(edge_qualities(unit_square(), folded, kv7::ET_TRIA3, same_metric(2, 4, 0.5), histo,
                             no_edges),
              2);
    EXPECT_EQ(histo.values, (std::vector<double>{0.0, 2.0, 0.0, 2.0}));
    dense1D<double, 8> sizes = same_size(4, 0.5);
    sizes[0] = 0.0;
    EXPECT_EQ(edge_qualities(unit_square(), folded, kv7::ET_TRIA3, sizes, histo, no_edges), -4);
    EXPECT_EQ(histo.values.size(), 4U);
}

TEST(edge_qualities, measures_both_metrics_as_inverse_lengths) {
    // Sizes 1 and 3 along x; the size along y plays no part.
    const dense2D<double> pos = points({{0, 0}, {2, 0}});
    const dense2D<double> metrics = columns<double>({{1.0, 0.0, 100.0}, {1.0 / 9.0, 0.0, 1e-4}});
    recorder histo;
    EXPECT_EQ(edge_qualities(pos, connectivity({{1, 0}}), kv7::ET_BAR2, metrics, histo, no_edges),
              1);
    // The metrics give lengths 2 and 2/3.
    expect_near(histo.values, {2.0 * std::log(3.0) / 2.0}, 8);
}

TEST(edge_qualities, judges_a_metric_by_its_smallest_eigenvalue) {
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    const dense2D<double> flat = points({{0, 0}, {1, 0}});
    const dense2D<double> space = points({{0, 0, 0}, {1, 0, 0}});
    struct {
        double metric[3];
        bool is_valid;
    } const judged[] = {{{1, 0, 1}, true},
                        {{1, 0, 1e-20}, true}, // too small against 1, recovered by the
                                               // determinant
                        {{1, 0, 0}, false},
                        {{1, 0, -1e-20}, false},
                        {{1, 1, 1}, false},
                        {{1, 2, 1}, false},
                        {{0, 0, 0}, false},
                        {{-1, 0, -1}, false},
                        {{nan_value, 0, 1}, false}};
    for (const auto& one : judged) {
        dense2D<double> metrics2 = same_metric(2, 2, 1.0);
        std::copy_n(one.metric, 3, metrics2.column(1));
        recorder histo;
        const int expected = one.is_valid ? 1 : -4;
        EXPECT_EQ(edge_qualities(flat, bar, kv7::ET_BAR2, metrics2, histo, no_edges), expected)
            << one.metric[0] << ' ' << one.metric[1] << ' ' << one.metric[2];
        EXPECT_EQ(histo.values.size(), one.is_valid ? 1U : 0U);
    }
    // m11, then m21 and m22 carry the two directions that the edge does not have.
    for (const std::vector<double>& column : {std::vector<double>{1, 0, 1, 0, 0, 1},
                                              {1, 0, -1, 0, 0, 1},
                                              {1, 0, 1, 0, 2, 1},
                                              {1, 0, 1, 0, 0, 0},
                                              {0, 0, 0, 0, 0, 0}}) {
        dense2D<double> metrics3 = same_metric(3, 2, 1.0);
        std::copy(column.begin(), column.end(), metrics3.column(0));
        recorder histo;
        const bool is_valid = column == std::vector<double>{1, 0, 1, 0, 0, 1};
        EXPECT_EQ(edge_qualities(space, bar, kv7::ET_BAR2, metrics3, histo, no_edges),
                  is_valid ? 1 : -4);
        EXPECT_EQ(histo.values.size(), is_valid ? 1U : 0U);
    }
}

TEST(edge_qualities, leaves_out_the_edges_of_a_bad_node_and_goes_on) {
    const std::vector<double> bad_sizes = {0.0, -1.0, nan_value};
    for (const double bad : bad_sizes) {
        dense1D<double, 8> sizes = same_size(4, 1.0);
        sizes[0] = bad;
        recorder histo;
        EXPECT_EQ(
            edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, sizes, histo, no_edges),
            -4);
        EXPECT_EQ(histo.values, (std::vector<double>{std::sqrt(2.0), 1.0, 1.0}));
        recorder ranged;
        EXPECT_EQ(edge_qualities(unit_square(), &two_triangles, &two_triangles + 1,
                                 vector_of<int>({kv7::ET_TRIA3}), sizes, ranged, no_edges),
                  -5);
        EXPECT_EQ(ranged.values, histo.values);
    }
    dense2D<double> metrics = same_metric(2, 4, 1.0);
    metrics(0, 3) = 0.0;
    recorder histo;
    EXPECT_EQ(edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, metrics, histo, no_edges),
              -4);
    EXPECT_EQ(histo.values.size(), 3U);
    EXPECT_EQ(edge_qualities(unit_square(), &two_triangles, &two_triangles + 1,
                             vector_of<int>({kv7::ET_TRIA3}), metrics, histo, no_edges),
              -5);
    EXPECT_EQ(histo.values.size(), 6U);
}

TEST(edge_qualities, never_judges_an_excluded_edge) {
    const dense2D<unsigned int> exclude = connectivity({{3, 1}, {2, 3}, {3, 2}, {0, 3}});
    dense1D<double, 8> sizes = same_size(4, 1.0);
    sizes[3] = -1.0;
    recorder histo;
    EXPECT_EQ(edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, sizes, histo, exclude),
              3);
    dense2D<double> metrics = same_metric(2, 4, 1.0);
    metrics(0, 3) = nan_value;
    EXPECT_EQ(edge_qualities(unit_square(), two_triangles, kv7::ET_TRIA3, metrics, histo, exclude),
              3);
    const std::vector<double> one_round = {1.0, 1.0, std::sqrt(2.0)};
    ASSERT_EQ(histo.values.size(), 6U);
    EXPECT_EQ(std::vector<double>(histo.values.begin(), histo.values.begin() + 3), one_round);
    expect_near({histo.values.begin() + 3, histo.values.end()}, one_round, 4);
}

TEST(edge_qualities, never_judges_a_node_without_edges) {
    const dense2D<unsigned int> bar = connectivity({{0, 2}});
    dense1D<double, 8> sizes = same_size(4, 1.0);
    sizes[1] = sizes[3] = 0.0;
    recorder histo;
    EXPECT_EQ(edge_qualities(unit_square(), bar, kv7::ET_BAR2, sizes, histo, no_edges), 1);
    // The metrics need to reach the nodes of the edges only.
    EXPECT_EQ(edge_qualities(unit_square(), bar, kv7::ET_BAR2, same_size(3, 1.0), histo, no_edges),
              1);
    EXPECT_EQ(histo.values, (std::vector<double>{1.0, 1.0}));
}

TEST(edge_qualities, excludes_everything_if_asked) {
    recorder histo;
    EXPECT_EQ(edge_qualities(unit_square(), connectivity({{0, 1}}), kv7::ET_BAR2, same_size(4, 0.0),
                             histo, connectivity({{1, 0}})),
              0);
    EXPECT_TRUE(histo.values.empty());
}

TEST(edge_qualities, answers_its_codes_in_order) {
    const dense2D<double> bad_pos(4, 4, 0.0);
    const dense2D<double> good_pos = unit_square();
    const dense2D<unsigned int> good = two_triangles;
    const dense2D<unsigned int> bad = connectivity({{0, 1, 4}});
    const dense2D<unsigned int> members[2] = {good, bad};
    const dense1D<int, 8> one_type = vector_of<int>({kv7::ET_TRIA3});
    const dense1D<int, 8> two_types = vector_of<int>({kv7::ET_TRIA3, kv7::ET_TRIA3});
    recorder histo;
    const auto check = [&](const auto& field, const auto& bad_field) {
        // One connectivity.
        EXPECT_EQ(edge_qualities(bad_pos, bad, kv7::ET_TRIA3, bad_field, histo, no_edges), -1);
        EXPECT_EQ(edge_qualities(good_pos, bad, kv7::ET_TRIA3, bad_field, histo, no_edges), -2);
        EXPECT_EQ(edge_qualities(good_pos, good, kv7::ET_QUAD4, bad_field, histo, no_edges), -2);
        EXPECT_EQ(edge_qualities(good_pos, good, kv7::ET_UNKNOWN, bad_field, histo, no_edges), -2);
        EXPECT_EQ(edge_qualities(good_pos, good, kv7::ET_TRIA3, bad_field, histo, no_edges), -4);
        // Several.
        EXPECT_EQ(edge_qualities(bad_pos, members, members, two_types, bad_field, histo, no_edges),
                  0);
        EXPECT_EQ(edge_qualities(bad_pos, nullptr, nullptr, two_types, bad_field, histo, no_edges),
                  0);
        EXPECT_EQ(
            edge_qualities(bad_pos, members, members + 2, one_type, bad_field, histo, no_edges),
            -1);
        EXPECT_EQ(
            edge_qualities(good_pos, members, members + 2, one_type, bad_field, histo, no_edges),
            -4);
        EXPECT_EQ(
            edge_qualities(good_pos, members + 2, members, two_types, bad_field, histo, no_edges),
            -4);
        EXPECT_EQ(
            edge_qualities(good_pos, members, members + 2, two_types, bad_field, histo, no_edges),
            -2);
        EXPECT_TRUE(histo.values.empty());
        EXPECT_EQ(
            edge_qualities(good_pos, members, members + 1, one_type, bad_field, histo, no_edges),
            -5);
        EXPECT_EQ(edge_qualities(good_pos, members, members + 1, one_type, field, histo, no_edges),
                  5);
        histo.values.clear();
    };
    check(same_size(4, 1.0), same_size(4, 0.0));
    check(same_metric(2, 4, 1.0), dense2D<double>(3, 4, 0.0));
}

TEST(edge_qualities, refuses_excluded_edges_that_are_no_pairs) {
    const dense2D<unsigned int> bad = connectivity({{0, 1, 4}});
    const dense1D<int, 8> types = vector_of<int>({kv7::ET_TRIA3});
    recorder histo;
    for (const dense2D<unsigned int>& exclude :
         {connectivity({{0}, {1}}), connectivity({{0, 1, 2}})}) {
        const auto single = [&](const dense2D<unsigned int>& connect, const auto& field) {
            return edge_qualities(unit_square(), connect, kv7::ET_TRIA3, field, histo, exclude);
        };
        const auto range = [&](const dense2D<unsigned int>& connect, const auto& field) {
            return edge_qualities(unit_square(), &connect, &connect + 1, types, field, histo,
                                  exclude);
        };
        for (const double size : {0.0, 1.0}) {
            EXPECT_EQ(single(two_triangles, same_size(4, size)), -6);
            EXPECT_EQ(single(two_triangles, same_metric(2, 4, size)), -6);
            EXPECT_EQ(range(two_triangles, same_size(4, size)), -7);
            EXPECT_EQ(range(two_triangles, same_metric(2, 4, size)), -7);
        }
        EXPECT_EQ(single(bad, same_size(4, 1.0)), -2);
        EXPECT_EQ(range(bad, same_size(4, 1.0)), -2);
    }
    EXPECT_TRUE(histo.values.empty());
}

TEST(edge_qualities, finds_nothing_in_empty_connectivities) {
    const dense2D<unsigned int> empty;
    const dense2D<unsigned int> members[2] = {empty, empty};
    recorder histo;
    EXPECT_EQ(
        edge_qualities(unit_square(), empty, kv7::ET_TRIA3, same_size(4, 0.0), histo, no_edges), 0);
    EXPECT_EQ(
        edge_qualities(unit_square(), empty, kv7::ET_UNKNOWN, dense2D<double>(), histo, no_edges),
        0);
    EXPECT_EQ(edge_qualities(unit_square(), members, members + 2,
                             vector_of<int>({kv7::ET_TRIA3, kv7::ET_UNKNOWN}), same_size(4, 0.0),
                             histo, no_edges),
              0);
    // An empty connectivity is no empty range: the coordinates are looked at first.
    EXPECT_EQ(edge_qualities(dense2D<double>(4, 4, 0.0), empty, kv7::ET_TRIA3, same_size(4, 0.0),
                             histo, no_edges),
              -1);
    EXPECT_EQ(
        edge_qualities(dense2D<double>(), empty, kv7::ET_TRIA3, same_size(4, 0.0), histo, no_edges),
        -1);
    EXPECT_TRUE(histo.values.empty());
}

TEST(edge_qualities, joins_the_edges_of_several_connectivities) {
    const dense2D<unsigned int> members[3] = {connectivity({{2, 1, 3}}), dense2D<unsigned int>(),
                                              connectivity({{0, 1}, {1, 2}})};
    const dense1D<int, 8> types = vector_of<int>({kv7::ET_TRIA3, kv7::ET_HEXA8, kv7::ET_BAR2});
    recorder histo;
    EXPECT_EQ(edge_qualities(unit_square(), members, members + 3, types,
                             vector_of<double>({1.0, 1.0, 1.0, 0.5}), histo, no_edges),
              4);
    EXPECT_EQ(histo.values, (std::vector<double>{1.0, std::sqrt(2.0), plain_log_mean(1.0, 1.0, 0.5),
                                                 plain_log_mean(1.0, 1.0, 0.5)}));
}

TEST(edge_qualities, agrees_with_a_plain_set_of_edges_for_every_type) {
    test::random_source random(61002);
    for (const element_type type : all_types) {
        for (int round = 0; round < 24; ++round) {
            SCOPED_TRACE("type " + std::to_string(type) + ", round " + std::to_string(round));
            const std::size_t dim = random.between(2, 3);
            const std::size_t n = random.between(1, 40);
            const std::size_t bad_every = random.one_in(2) ? 0 : 8;
            dense2D<double> pos = random.one_in(3) ? test::grid_points(random, dim, n, 3)
                                                   : test::random_points(random, dim, n, -2, 2);
            dense2D<unsigned int> connect =
                type == kv7::ET_UNKNOWN
                    ? dense2D<unsigned int>()
                    : test::random_elements(random, type, random.between(1, 12), n);
            if (type == kv7::ET_FACE_MIX && random.one_in(4)) {
                connect = test::first_rows(connect, 3);
            }
            edge_set edges;
            add_edges(connect, type, edges);
            dense2D<unsigned int> exclude = random_pairs(random, edges, n);
            remove_edges(exclude, edges);
            dense1D<double, 8> sizes = random_sizes(random, n, bad_every);
            dense2D<double> metrics = random_metrics(random, dim, n, bad_every);
            if (random.one_in(2)) {
                pos = test::with_gaps(pos, 2, nan_value);
                connect = test::with_gaps(connect, 3, 0xDDDDDDDDU);
                metrics = test::with_gaps(metrics, 1, nan_value);
                exclude = test::with_gaps(exclude, 1, 0U);
            }
            const int nbr_edges = static_cast<int>(edges.size());
            const measured by_sizes = measure(pos, edges, sizes);
            recorder iso;
            EXPECT_EQ(edge_qualities(pos, connect, type, sizes, iso, exclude),
                      by_sizes.all_good ? nbr_edges : -4);
            expect_near(iso.values, by_sizes.values, 4);
            const measured by_metrics = measure(pos, edges, metrics);
            recorder aniso;
            EXPECT_EQ(edge_qualities(pos, connect, type, metrics, aniso, exclude),
                      by_metrics.all_good ? nbr_edges : -4);
            expect_near(aniso.values, by_metrics.values, 32);

            recorder iso_range;
            recorder aniso_range;
            const dense1D<int, 8> types = vector_of<int>({type});
            EXPECT_EQ(edge_qualities(pos, &connect, &connect + 1, types, sizes, iso_range, exclude),
                      by_sizes.all_good ? nbr_edges : -5);
            EXPECT_EQ(
                edge_qualities(pos, &connect, &connect + 1, types, metrics, aniso_range, exclude),
                by_metrics.all_good ? nbr_edges : -5);
            EXPECT_EQ(iso_range.values, iso.values);
            EXPECT_EQ(aniso_range.values, aniso.values);
        }
    }
}

TEST(edge_qualities, agrees_with_a_plain_set_of_edges_for_ranges) {
    test::random_source random(61003);
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const std::size_t dim = random.between(2, 3);
        const std::size_t n = random.between(1, 60);
        const std::size_t nbr_members = random.between(1, 4);
        const dense2D<double> pos = test::random_points(random, dim, n, -2, 2);
        std::vector<dense2D<unsigned int>> members;
        std::vector<int> types;
        edge_set edges;
        for (std::size_t k = 0; k < nbr_members; ++k) {
            const element_type type = all_types[random.between(1, std::size(all_types) - 1)];
            members.push_back(test::random_elements(random, type, random.below(8), n));
            types.push_back(type);
            add_edges(members.back(), type, edges);
        }
        const dense2D<unsigned int> exclude = random_pairs(random, edges, n);
        remove_edges(exclude, edges);
        const int nbr_edges = static_cast<int>(edges.size());
        const dense1D<double, 8> sizes = random_sizes(random, n, round % 2 ? 10 : 0);
        const dense2D<double> metrics = random_metrics(random, dim, n, round % 2 ? 10 : 0);
        const measured by_sizes = measure(pos, edges, sizes);
        const measured by_metrics = measure(pos, edges, metrics);
        recorder iso;
        recorder aniso;
        const dense2D<unsigned int>* const begin = members.data();
        EXPECT_EQ(edge_qualities(pos, begin, begin + nbr_members, vector_of<int>(types), sizes, iso,
                                 exclude),
                  by_sizes.all_good ? nbr_edges : -5);
        EXPECT_EQ(edge_qualities(pos, begin, begin + nbr_members, vector_of<int>(types), metrics,
                                 aniso, exclude),
                  by_metrics.all_good ? nbr_edges : -5);
        expect_near(iso.values, by_sizes.values, 4);
        expect_near(aniso.values, by_metrics.values, 32);
    }
}

TEST(edge_qualities, is_the_plain_ratio_under_a_metric_of_one_size) {
    test::random_source random(61004);
    for (const std::size_t dim : {std::size_t{2}, std::size_t{3}}) {
        const dense2D<double> pos = test::random_points(random, dim, 50, -1, 1);
        const element_type type = dim == 2 ? kv7::ET_TRIA3 : kv7::ET_TETRA4;
        const dense2D<unsigned int> connect = test::random_elements(random, type, 100, 50);
        recorder iso;
        recorder aniso;
        const int nbr_edges =
            edge_qualities(pos, connect, type, same_size(50, 0.25), iso, no_edges);
        EXPECT_GT(nbr_edges, 0);
        EXPECT_EQ(edge_qualities(pos, connect, type, same_metric(dim, 50, 0.25), aniso, no_edges),
                  nbr_edges);
        expect_near(aniso.values, iso.values, 8);
    }
}

TEST(edge_qualities, takes_every_mesh_of_the_zoo) {
    for (const test::mesh& m : test::zoo()) {
        SCOPED_TRACE(m.name);
        if (m.pos.rows() == 0) continue;
        const std::size_t n = m.pos.cols();
        edge_set edges;
        add_edges(m.connect, m.type == kv7::ET_BAR_MIX ? kv7::ET_UNKNOWN : m.type, edges);
        recorder iso;
        recorder aniso;
        EXPECT_EQ(edge_qualities(m.pos, m.connect, m.type, same_size(n, 0.5), iso, no_edges),
                  static_cast<int>(edges.size()));
        EXPECT_EQ(edge_qualities(m.pos, m.connect, m.type, same_metric(m.pos.rows(), n, 0.5), aniso,
                                 no_edges),
                  static_cast<int>(edges.size()));
        EXPECT_EQ(iso.values.size(), edges.size());
        EXPECT_EQ(aniso.values.size(), edges.size());
    }
}

// Runs the call with each allocation failing in turn. An array that got no block when it was made
// asks again when it grows, so a single failure may be overcome.
template <class Call> void expect_code_without_memory(Call call, int code) {
    const std::size_t nbr_failed = test::fail_each_allocation([&](std::size_t k, bool and_later) {
        recorder histo;
        histo.values.reserve(8);
        int result = 0;
        bool happened = false;
        {
            const test::memory_failure failure(k, and_later);
            result = call(histo);
            happened = failure.happened();
        }
        if (!happened || (!and_later && result >= 0)) {
            EXPECT_EQ(result, 4);
            EXPECT_EQ(histo.values.size(), 4U);
        } else {
            EXPECT_EQ(result, code);
            EXPECT_TRUE(histo.values.empty());
        }
        return happened;
    });
    EXPECT_GE(nbr_failed, 4U);
}

TEST(edge_qualities, reports_failed_allocations) {
    const dense2D<double> pos = unit_square();
    const dense2D<unsigned int> exclude = connectivity({{1, 0}});
    const dense1D<int, 8> types = vector_of<int>({kv7::ET_TRIA3});
    const auto check = [&](const auto& field) {
        expect_code_without_memory(
            [&](recorder& histo) {
                return edge_qualities(pos, two_triangles, kv7::ET_TRIA3, field, histo, exclude);
            },
            -198);
        expect_code_without_memory(
            [&](recorder& histo) {
                return edge_qualities(pos, &two_triangles, &two_triangles + 1, types, field, histo,
                                      exclude);
            },
            -199);
    };
    check(same_size(4, 1.0));
    check(same_metric(2, 4, 1.0));
}

} // namespace
