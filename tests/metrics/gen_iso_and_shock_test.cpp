#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "metrics/plain_measures.h"
#include "metrics/random_metrics.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;
using size_field = dense1D<double>;
using edges = std::vector<std::pair<unsigned int, unsigned int>>;

// Sizes of a mesh

edges local_edges(element_type type, const unsigned int* column, std::size_t rows) {
    if (type == ET_FACE_MIX) type = rows < 4 || column[3] == none ? ET_TRIA3 : ET_QUAD4;
    if (type == ET_SOLID_MIX) {
        type = rows < 5 || column[4] == none   ? ET_TETRA4
               : rows < 6 || column[5] == none ? ET_PYRA5
               : rows < 7 || column[6] == none ? ET_PENTA6
                                               : ET_HEXA8;
    }
    switch (type) {
    case ET_BAR2: return {{0, 1}};
    case ET_TRIA3: return {{1, 2}, {2, 0}, {0, 1}};
    case ET_QUAD4: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case ET_TETRA4: return {{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}};
    case ET_PYRA5: return {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case ET_PENTA6: return {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
    case ET_HEXA8:
        return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    default: return {};
    }
}

double distance_of(const dense2D<double>& pos, unsigned int a, unsigned int b) {
    double sum = 0.0;
    for (std::size_t r = 0; r < pos.rows(); ++r) {
        sum += (pos(r, b) - pos(r, a)) * (pos(r, b) - pos(r, a));
    }
    return std::sqrt(sum);
}

void plain_sizes_of(const mesh& m, size_field& sizes, double exponent) {
    if (sizes.size() < m.pos.cols()) sizes.resize(m.pos.cols(), 0.0);
    std::vector<std::vector<double>> lengths(sizes.size());
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        const unsigned int* const column = m.connect.column(c);
        for (const auto& [i, j] : local_edges(m.type, column, m.connect.rows())) {
            const double d = distance_of(m.pos, column[i], column[j]);
            if (d == 0.0 || !std::isfinite(d)) continue;
            lengths[column[i]].push_back(d);
            lengths[column[j]].push_back(d);
        }
    }
    for (std::size_t n = 0; n < sizes.size(); ++n) {
        if (lengths[n].empty()) continue;
        double sum = exponent == 0.0 ? largest : 0.0;
        for (const double d : lengths[n]) {
            if (exponent == 0.0) {
                sum = std::min(sum, d);
            } else if (exponent == largest) {
                sum = std::max(sum, d);
            } else {
                sum += exponent == 1.0 ? d : std::pow(d, exponent);
            }
        }
        if (exponent > 0.0 && exponent < largest) {
            sum /= static_cast<double>(lengths[n].size());
            if (exponent != 1.0) sum = std::pow(sum, 1.0 / exponent);
        }
        sizes[n] = sum;
    }
}

bool is_served(element_type type) {
    switch (type) {
    case ET_BAR2:
    case ET_TRIA3:
    case ET_QUAD4:
    case ET_TETRA4:
    case ET_PYRA5:
    case ET_PENTA6:
    case ET_HEXA8:
    case ET_FACE_MIX:
    case ET_SOLID_MIX: return true;
    default: return false;
    }
}

TEST(metrics_gen_iso, sizes_of_the_zoo_are_the_means_of_its_edges) {
    for (const mesh& m : zoo()) {
        if (m.connect.empty() || !is_served(m.type)) continue;
        for (const double exponent : {0.0, 1.0, 0.5, 2.0, 3.7, largest}) {
            size_field sizes{5.0, 6.0};
            size_field expected{5.0, 6.0};
            ASSERT_EQ(metrics_gen_iso(m.pos, m.connect, m.type, sizes, exponent), 0) << m.name;
            plain_sizes_of(m, expected, exponent);
            ASSERT_EQ(sizes.size(), expected.size());
            for (std::size_t i = 0; i < sizes.size(); ++i) {
                EXPECT_DOUBLE_EQ(sizes[i], expected[i]) << m.name << ' ' << exponent;
            }
        }
    }
}

TEST(metrics_gen_iso, sizes_of_random_elements_are_the_means_of_their_edges) {
    random_source random(101);
    for (const element_type type : {ET_BAR2, ET_TRIA3, ET_QUAD4, ET_TETRA4, ET_PYRA5, ET_PENTA6,
                                    ET_HEXA8, ET_FACE_MIX, ET_SOLID_MIX}) {
        for (int n = 0; n < 30; ++n) {
            mesh m{"random", random_points(random, 3, 20, 0.0, 1.0), {}, type};
            m.connect.resize(nbr_nodes(type), random.between(1, 12));
            for (std::size_t c = 0; c < m.connect.cols(); ++c) {
                std::size_t used = m.connect.rows();
                if (type == ET_FACE_MIX) used = random.between(3, 4);
                if (type == ET_SOLID_MIX) used = random.one_of<std::size_t>({4, 5, 6, 8});
                for (std::size_t r = 0; r < m.connect.rows(); ++r) {
                    m.connect(r, c) = r < used ? random.id_below(18) : none;
                }
            }
            for (const double exponent : {0.0, 1.0, 2.0, 0.3, largest}) {
                size_field sizes;
                size_field expected;
                ASSERT_EQ(metrics_gen_iso(m.pos, m.connect, m.type, sizes, exponent), 0);
                plain_sizes_of(m, expected, exponent);
                ASSERT_EQ(sizes.size(), 20U);
                for (std::size_t i = 0; i < 20; ++i) EXPECT_DOUBLE_EQ(sizes[i], expected[i]);
            }
        }
    }
}

TEST(metrics_gen_iso, a_square_mean_of_edges_3_and_4) {
    const dense2D<double> pos = points({{0, 0}, {3, 0}, {0, 4}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {2, 0}});
    size_field sizes;
    ASSERT_EQ(metrics_gen_iso(pos, bars, ET_BAR2, sizes, 2.0), 0);
    EXPECT_DOUBLE_EQ(sizes[0], std::sqrt((9.0 + 16.0) / 2.0));
    EXPECT_DOUBLE_EQ(sizes[1], 3.0);
    EXPECT_DOUBLE_EQ(sizes[2], 4.0);
}

TEST(metrics_gen_iso, a_shared_edge_counts_once_for_each_element) {
    const dense2D<double> pos = points({{0, 0}, {3, 0}, {0, 4}, {3, 4}});
    const dense2D<unsigned int> triangles = connectivity({{0, 1, 2}, {1, 3, 2}});
    size_field sizes;
    ASSERT_EQ(metrics_gen_iso(pos, triangles, ET_TRIA3, sizes, 1.0), 0);
    EXPECT_DOUBLE_EQ(sizes[1], (3.0 + 5.0 + 4.0 + 5.0) / 4.0);
}

TEST(metrics_gen_iso, triangles_among_quadrangles_count_three_edges) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {3, 0}});
    const dense2D<unsigned int> faces = connectivity({{0, 1, 2, 3}, {1, 4, 2, none}});
    size_field sizes;
    ASSERT_EQ(metrics_gen_iso(pos, faces, ET_FACE_MIX, sizes, 1.0), 0);
    EXPECT_DOUBLE_EQ(sizes[0], 1.0);
    EXPECT_DOUBLE_EQ(sizes[1], (1.0 + 1.0 + 2.0 + 1.0) / 4.0);
    EXPECT_DOUBLE_EQ(sizes[4], (2.0 + std::sqrt(5.0)) / 2.0);
}

TEST(metrics_gen_iso, a_node_without_a_counted_edge_keeps_its_entry_or_gets_zero) {
    const dense2D<double> pos =
        points({{0, 0}, {1, 0}, {2, 2}, {2, 2}, {infinity, 0}, {not_a_number, 0}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {2, 3}, {4, 1}, {5, 0}});
    for (const double exponent : {0.0, 1.0, 2.0, largest}) {
        size_field sizes{9.0, 9.0, 7.0};
        ASSERT_EQ(metrics_gen_iso(pos, bars, ET_BAR2, sizes, exponent), 0);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1.0, 7.0, 0.0, 0.0, 0.0}));
    }
}

TEST(metrics_gen_iso, entries_beyond_the_nodes_stay) {
    const dense2D<double> pos = points({{0, 0}, {2, 0}});
    size_field sizes{1.0, 1.0, 8.0, 9.0};
    ASSERT_EQ(metrics_gen_iso(pos, connectivity({{0, 1}}), ET_BAR2, sizes, 1.0), 0);
    EXPECT_EQ(list(sizes), (std::vector<double>{2.0, 2.0, 8.0, 9.0}));
}

TEST(metrics_gen_iso, arguments_are_checked_in_their_order) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    const dense2D<unsigned int> bad = connectivity({{0, 1, 3}});
    const dense2D<unsigned int> good = connectivity({{0, 1, 2}});
    size_field sizes{7.0};
    EXPECT_EQ(metrics_gen_iso(points({{0}}), {}, ET_TRIA3, sizes, -1.0), 0);
    EXPECT_EQ(metrics_gen_iso(points({{0}, {1}}), bad, ET_TRIA3, sizes, -1.0), -1);
    EXPECT_EQ(metrics_gen_iso({}, bad, ET_TRIA3, sizes, -1.0), -1);
    EXPECT_EQ(metrics_gen_iso(pos, connectivity({{0, 1, 2, 9}}), ET_TETRA4, sizes, 1.0), -1);
    EXPECT_EQ(metrics_gen_iso(pos, connectivity({{0, 1, 2, 9}}), ET_SOLID_MIX, sizes, 1.0), -1);
    EXPECT_EQ(metrics_gen_iso(pos, bad, ET_TRIA3, sizes, -1.0), -2);
    EXPECT_EQ(metrics_gen_iso(pos, good, ET_QUAD4, sizes, -1.0), -2);
    for (const double exponent : {-1.0, -1e-300, not_a_number, -infinity}) {
        EXPECT_EQ(metrics_gen_iso(pos, good, ET_TRIA3, sizes, exponent), -5);
        EXPECT_EQ(metrics_gen_iso(pos, connectivity({{0, 1, 2}}), ET_BAR3, sizes, exponent), -5);
    }
    EXPECT_EQ(list(sizes), (std::vector<double>{7.0}));
}

TEST(metrics_gen_iso, types_that_are_not_served_are_told_after_sizes_have_grown) {
    const dense2D<double> pos(3, 40, 0.5);
    for (const element_type type :
         {ET_NODE, ET_BAR_MIX, ET_BAR3, ET_TRIA6, ET_QUAD8, ET_QUAD9, ET_TETRA10, ET_PYRA13,
          ET_PYRA14, ET_PENTA15, ET_PENTA18, ET_HEXA20, ET_HEXA27}) {
        dense2D<unsigned int> connect(nbr_nodes(type), 1);
        for (std::size_t r = 0; r < connect.rows(); ++r) {
            connect(r, 0) = static_cast<unsigned int>(r);
        }
        size_field sizes{7.0};
        EXPECT_EQ(metrics_gen_iso(pos, connect, type, sizes, 1.0), -3) << type;
        ASSERT_EQ(sizes.size(), 40U);
        EXPECT_EQ(sizes[0], 7.0);
        EXPECT_EQ(sizes[39], 0.0);
    }
}

TEST(metrics_gen_iso, a_call_without_memory_is_minus_199_or_gets_by) {
    const mesh m = cube_surface();
    size_field expected;
    plain_sizes_of(m, expected, 1.0);
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        size_field sizes{7.0};
        const memory_failure failure(k, and_later);
        const int result = metrics_gen_iso(m.pos, m.connect, m.type, sizes, 1.0);
        if (result == -199) {
            EXPECT_TRUE(failure.happened());
            EXPECT_EQ(sizes[0], 7.0);
        } else {
            EXPECT_EQ(result, 0);
            EXPECT_FALSE(failure.happened() && and_later);
            EXPECT_DOUBLE_EQ(sizes[0], expected[0]);
        }
        return failure.happened();
    });
    EXPECT_GE(nbr_failed, 4U);
}

// Shock

TEST(H_shock, equal_sizes_have_none) {
    const mesh m = quad_grid();
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}, {0, 4}});
    size_field shocks;
    EXPECT_EQ(H_shock(m.pos, bars, size_field(m.pos.cols(), 0.3), shocks), 0);
    EXPECT_EQ(list(shocks), std::vector<double>(m.pos.cols(), 0.0));
}

TEST(H_shock, sizes_1_and_2_at_distance_1) {
    const dense2D<double> pos = points({{0, 0, 0}, {0, 1, 0}});
    size_field shocks;
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{1.0, 2.0}, shocks), 0);
    EXPECT_NEAR(shocks[0], std::exp(1.0) - 1.0, 1e-12);
    EXPECT_EQ(shocks[0], shocks[1]);
    dense2D<double> metrics(6, 2, 0.0);
    for (const std::size_t r : {0U, 2U, 5U}) {
        metrics(r, 0) = 1.0;
        metrics(r, 1) = 0.25;
    }
    shocks.resize(0);
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), metrics, shocks), 0);
    EXPECT_NEAR(shocks[0], std::exp(1.0) - 1.0, 1e-12);
}

TEST(H_shock, an_edge_of_no_length_is_infinite_between_different_values) {
    const dense2D<double> pos = points({{1, 1}, {1, 1}});
    size_field shocks;
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{2.0, 2.0}, shocks), 0);
    EXPECT_EQ(list(shocks), (std::vector<double>{0.0, 0.0}));
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{2.0, 3.0}, shocks), 0);
    EXPECT_EQ(list(shocks), (std::vector<double>{largest, largest}));
}

TEST(H_shock, a_growth_beyond_exp_700_is_infinite_and_less_is_not_cut) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}});
    size_field shocks;
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{1.0, 702.0}, shocks), 0);
    EXPECT_EQ(shocks[0], largest);
    shocks.resize(0);
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{1.0, 601.0}, shocks), 0);
    EXPECT_GT(shocks[0], 1e250);
    EXPECT_LT(shocks[0], 1e270);
}

TEST(H_shock, the_zero_metric_has_none_beside_itself_and_is_infinite_beside_others) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 0}});
    const dense2D<double> metrics = points({{0, 0, 0}, {0, 0, 0}, {1, 0, 1}});
    size_field shocks;
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), metrics, shocks), 0);
    EXPECT_EQ(list(shocks), (std::vector<double>{0.0, 0.0, 0.0}));
    EXPECT_EQ(H_shock(pos, connectivity({{1, 2}}), metrics, shocks), 0);
    EXPECT_EQ(list(shocks), (std::vector<double>{0.0, largest, largest}));
}

TEST(H_shock, earlier_entries_take_part_and_the_length_is_that_of_the_nodes) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {5, 5}});
    size_field shocks{9.0, 0.5, 3.0, 4.0};
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{1.0, 2.0, 1.0}, shocks), 0);
    ASSERT_EQ(shocks.size(), 3U);
    EXPECT_EQ(shocks[0], 9.0);
    EXPECT_NEAR(shocks[1], std::exp(1.0) - 1.0, 1e-12);
    EXPECT_EQ(shocks[2], 3.0);
    EXPECT_EQ(H_shock(pos, connectivity({{0, 1}}), size_field{1.0, 1.5, 1.0}, shocks), 0);
    EXPECT_NEAR(shocks[1], std::exp(1.0) - 1.0, 1e-12);
}

TEST(H_shock, arguments_are_checked_in_their_order) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}});
    size_field shocks{7.0};
    EXPECT_EQ(H_shock(points({{0}}), {}, size_field(), shocks), 0);
    for (const dense2D<unsigned int>& bad : {connectivity({{0, 2}}), connectivity({{0, 1, 1}}),
                                             connectivity({{0}}), connectivity({{0, none}})}) {
        EXPECT_EQ(H_shock({}, bad, size_field(), shocks), -1);
        EXPECT_EQ(H_shock(points({{0, 0, 0, 0}, {0, 0, 0, 0}}), bad, dense2D<double>(), shocks),
                  -1);
        EXPECT_EQ(H_shock(pos, bad, size_field(), shocks), -2);
        EXPECT_EQ(H_shock(pos, bad, dense2D<double>(), shocks), -2);
    }
    EXPECT_EQ(list(shocks), (std::vector<double>{7.0}));
}

// Both forms over random edges, step by step.
template <std::size_t N> void compare_shocks(random_source& random, bool bad) {
    const std::size_t nbr = 30;
    const dense2D<double> pos = grid_points(random, N, nbr, 4);
    dense2D<unsigned int> bars(2, 80);
    for (std::size_t c = 0; c < bars.cols(); ++c) {
        for (std::size_t r = 0; r < 2; ++r) bars(r, c) = random.id_below(nbr);
    }
    size_field sizes(nbr);
    dense2D<double> metrics(packed<N>, nbr);
    for (unsigned int i = 0; i < nbr; ++i) {
        sizes[i] = log_uniform(random, 0.05, 5.0);
        const metric<N> M = random_metric<N>(random, 0.1, 100.0);
        std::copy_n(M.values, packed<N>, metrics.column(i));
        if (!bad || !random.one_in(4)) continue;
        const double v = random.one_of<double>({0.0, -1.0, infinity, largest, 1e-200, 5e-324});
        sizes[i] = v;
        metrics(random.below(packed<N>), i) = v;
    }
    std::vector<double> of_sizes(nbr, 0.0);
    std::vector<double> of_metrics(nbr, 0.0);
    for (std::size_t c = 0; c < bars.cols(); ++c) {
        const unsigned int a = bars(0, c);
        const unsigned int b = bars(1, c);
        vector_fixed<double, N> v{};
        for (std::size_t r = 0; r < N; ++r) v[r] = pos(r, b) - pos(r, a);
        const plain_metrics<N> field{metrics};
        const double g = plain_sizes<N>::measure(measured::gradation, sizes[a], sizes[b], v);
        const double gm =
            plain_metrics<N>::measure(measured::gradation, field.get(a), field.get(b), v);
        for (const unsigned int n : {a, b}) {
            of_sizes[n] = std::max(of_sizes[n], g);
            of_metrics[n] = std::max(of_metrics[n], gm);
        }
    }
    size_field shocks;
    ASSERT_EQ(H_shock(pos, bars, sizes, shocks), 0);
    EXPECT_EQ(list(shocks), of_sizes);
    shocks.resize(0);
    ASSERT_EQ(H_shock(pos, bars, metrics, shocks), 0);
    for (std::size_t n = 0; n < nbr; ++n) {
        EXPECT_NEAR(shocks[n], of_metrics[n], 1e-10 * std::fabs(of_metrics[n]));
    }
}

TEST(H_shock, each_node_has_the_largest_gradation_of_its_edges) {
    random_source random(102);
    for (int n = 0; n < 200; ++n) {
        compare_shocks<2>(random, n % 2 == 1);
        compare_shocks<3>(random, n % 2 == 1);
    }
}

// Nothing tells of the failure: the list keeps its length, and the nodes that it holds are
// measured.
TEST(H_shock, a_list_that_can_not_grow_takes_the_nodes_that_it_has) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {3, 0}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    const size_field sizes{1.0, 2.0, 8.0};
    const dense2D<double> metrics = points({{1, 0, 1}, {0.25, 0, 0.25}, {1.0 / 64, 0, 1.0 / 64}});
    const auto expect_kept = [&](const auto& field, const size_field& start) {
        size_field expected = copy_of(start);
        ASSERT_EQ(H_shock(pos, bars, field, expected), 0);
        ASSERT_EQ(expected.size(), 3U);
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            size_field shocks = copy_of(start);
            const memory_failure failure(k, and_later);
            EXPECT_EQ(H_shock(pos, bars, field, shocks), 0);
            EXPECT_EQ(shocks.size(), failure.happened() ? start.size() : 3U);
            for (std::size_t n = 0; n < shocks.size(); ++n) EXPECT_EQ(shocks[n], expected[n]);
            return failure.happened();
        });
        EXPECT_EQ(nbr_failed, 2U); // one allocation, failed in two manners
    };
    for (const size_field& start : {size_field(), size_field{0.5}, size_field{0.5, 100.0}}) {
        expect_kept(sizes, start);
        expect_kept(metrics, start);
    }
}

} // namespace
