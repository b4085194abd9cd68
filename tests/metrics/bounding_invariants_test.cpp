// What holds for every bounded field, whatever the rounding, and without memory.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "metrics/bounded_edges.h"
#include "metrics/bounding_calls.h"
#include "metrics/plain_bounding.h"
#include "metrics/random_meshes.h"
#include "metrics/random_metrics.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;
using test::metric_field;
using test::size_field;

template <std::size_t N> void expect_bounded(unsigned int n) {
    random_source random(60 + N);
    const mesh m = shaken_grid(random, N, n);
    for (const measured what : both_measures) {
        for (const int direction : {-1, 1}) {
            const double limit = random.uniform(0.1, 0.5);
            size_field sizes = random_sizes(random, m);
            const size_field before = copy_of(sizes);
            EXPECT_GT(bound(what, m.pos, m.connect, m.type, {}, true, direction, limit, sizes), 0);
            EXPECT_LE(largest_measure<N>(what, m, plain_sizes<N>{sizes}),
                      limit_with_slack(what, limit));
            for (std::size_t i = 0; i < sizes.size(); ++i) {
                EXPECT_GE((sizes[i] - before[i]) * direction, 0.0);
            }
            metric_field metrics = random_metrics<N>(random, m.pos.cols());
            metric_field start = copy_of(metrics);
            EXPECT_GT(bound(what, m.pos, m.connect, m.type, {}, true, direction, limit, metrics),
                      0);
            const plain_metrics<N> field{metrics};
            const plain_metrics<N> old{start};
            EXPECT_LE(largest_measure<N>(what, m, field), limit_with_slack(what, limit));
            for (unsigned int i = 0; i < metrics.cols(); ++i) {
                EXPECT_TRUE(is_valid_metric(field.get(i)));
                for (int k = 0; k < 5; ++k) {
                    const vector_fixed<double, N> u = column_of<N>(random_basis<N>(random), 0);
                    const double growth = form<N>(old.get(i), u) - form<N>(field.get(i), u);
                    EXPECT_GE(growth * direction, -1e-7);
                }
            }
        }
    }
}

TEST(bounding_holds, edges_in_2d_keep_the_limit_and_values_go_one_way) { expect_bounded<2>(12); }
TEST(bounding_holds, edges_in_3d_keep_the_limit_and_values_go_one_way) { expect_bounded<3>(4); }

// With directions left open the two ends of an edge tie, and what rounding puts into the queue
// decides between them.
template <std::size_t N> void expect_equivalence(unsigned int n) {
    random_source random(70 + N);
    const mesh m = shaken_grid(random, N, n);
    for (const int direction : {-1, 1}) {
        const double limit = random.uniform(0.1, 0.5);
        size_field sizes = random_sizes(random, m);
        size_field other_sizes = copy_of(sizes);
        EXPECT_EQ(
            bound_metric_gradations(m.pos, m.connect, m.type, {}, true, direction, limit, sizes),
            bound_metric_variations(m.pos, m.connect, m.type, {}, true, direction,
                                    std::log1p(limit), other_sizes));
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            EXPECT_NEAR(sizes[i], other_sizes[i], 1e-6);
        }
    }
}

TEST(bounding_holds, a_variation_at_the_logarithm_of_a_gradation_makes_the_same_moves) {
    expect_equivalence<2>(12);
    expect_equivalence<3>(4);
}

template <std::size_t N> void expect_isotropic_as_sizes(unsigned int n) {
    random_source random(80 + N);
    const mesh m = shaken_grid(random, N, n);
    for (const measured what : both_measures) {
        for (const int direction : {-1, 1}) {
            const double limit = random.uniform(0.1, 0.5);
            size_field sizes = random_sizes(random, m);
            metric_field metrics = isotropic(N, sizes);
            const int nbr =
                bound(what, m.pos, m.connect, m.type, {}, true, direction, limit, sizes);
            EXPECT_EQ(bound(what, m.pos, m.connect, m.type, {}, true, direction, limit, metrics),
                      nbr);
            EXPECT_LE(difference_of(metrics, isotropic(N, sizes)), 1e-6);
        }
    }
}

TEST(bounding_holds, a_field_of_isotropic_metrics_is_bounded_as_its_sizes) {
    expect_isotropic_as_sizes<2>(12);
    expect_isotropic_as_sizes<3>(4);
}

// By turns the reduction of the two metrics finds that each of them contains the other.
TEST(bounding_holds, a_run_that_rounding_sends_in_circles_is_broken_off) {
    const metric_field start =
        points({{0.0122, -0.0202, 1e150}, {23.5, -13.8, 12.5}, {23.5, -13.8, 12.5}});
    const metric<2> thin{start(0, 0), start(1, 0), start(2, 0)};
    const metric<2> round{start(0, 1), start(1, 1), start(2, 1)};
    metric<2> M;
    ASSERT_TRUE(maximum_metric(thin, round, M));
    ASSERT_TRUE(same_bits(M, round));
    ASSERT_TRUE(maximum_metric(round, thin, M));
    ASSERT_TRUE(same_bits(M, thin));

    const dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 1}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    for (const measured what : both_measures) {
        metric_field metrics = copy_of(start);
        EXPECT_EQ(bound(what, pos, bars, ET_BAR2, {}, true, 1, 0.0, metrics), 1);
        const metric<2> last{metrics(0, 1), metrics(1, 1), metrics(2, 1)};
        EXPECT_TRUE(same_bits(last, thin) || same_bits(last, round));
    }
}

template <std::size_t N> void run_bad_metrics(unsigned int n) {
    random_source random(90 + N);
    const mesh m = shaken_grid(random, N, n);
    for (std::size_t run = 0; run < 60; ++run) {
        metric_field metrics = random_metrics<N>(random, m.pos.cols());
        for (std::size_t i = 0; i < metrics.cols(); ++i) {
            if (!random.one_in(4)) continue;
            const double v = random.one_of<double>(
                {0.0, -1.0, not_a_number, infinity, -infinity, largest, 1e200, 1e-200, -1e9});
            const bool all = random.one_in(2);
            const std::size_t one = random.below(packed<N>);
            for (std::size_t r = 0; r < packed<N>; ++r) {
                if (all || r == one) metrics(r, i) = v;
            }
        }
        const conditions c = random_conditions(random, m);
        const metric_field before = copy_of(metrics);
        EXPECT_GE(bound(both_measures[run % 2], m.pos, m.connect, m.type, c.nodes, c.nodes_fixed,
                        c.direction, c.limit, metrics),
                  0);
        expect_fixed_nodes_kept(m, c, before.column(0), metrics.column(0), packed<N>);
    }
}

TEST(bounding_holds, a_run_over_bad_metrics_ends_and_keeps_fixed_nodes) {
    run_bad_metrics<2>(7);
    run_bad_metrics<3>(3);
}

TEST(bounding_holds, metrics_apart_in_their_block_become_the_same) {
    random_source random(95);
    const mesh m = shaken_grid(random, 3, 3);
    metric_field metrics = random_metrics<3>(random, m.pos.cols());
    metric_field apart = with_gaps(metrics, 2, -7.0);
    const dense2D<double> pos_apart = with_gaps(m.pos, 1, not_a_number);
    const mesh other = apart_in_block(m);
    const int nbr = bound_metric_gradations(m.pos, m.connect, m.type, {3}, true, 0, 0.3, metrics);
    EXPECT_EQ(bound_metric_gradations(pos_apart, other.connect, m.type, {3}, true, 0, 0.3, apart),
              nbr);
    EXPECT_TRUE(same_bits(apart, metrics));
}

TEST(bounding_holds, the_zoo_is_bounded_in_every_form) {
    random_source random(96);
    for (const mesh& m : zoo()) {
        size_field sizes = random_sizes(random, m);
        const metric_field start = m.pos.rows() == 2 ? random_metrics<2>(random, m.pos.cols())
                                                     : random_metrics<3>(random, m.pos.cols());
        for (const measured what : both_measures) {
            metric_field metrics = copy_of(start);
            EXPECT_GE(bound(what, m.pos, m.connect, m.type, {}, true, 0, 0.2, sizes), 0) << m.name;
            EXPECT_GE(bound(what, m.pos, m.connect, m.type, {}, true, 0, 0.2, metrics), 0)
                << m.name;
        }
    }
}

// An array that can't double may still find the room that it needs, and the run goes on.
TEST(bounding_memory, a_run_without_memory_is_minus_199_or_gets_by) {
    random_source random(97);
    const mesh m = shaken_grid(random, 2, 5);
    const metric_field metrics = random_metrics<2>(random, m.pos.cols());
    const size_field sizes = random_sizes(random, m);
    const ids nodes{7};
    const auto nbr_failed = [&](measured what, const auto& start) {
        auto expected = copy_of(start);
        const int nbr = bound(what, m.pos, m.connect, m.type, nodes, true, -1, 0.1, expected);
        return fail_each_allocation([&](std::size_t k, bool and_later) {
            auto field = copy_of(start);
            const memory_failure failure(k, and_later);
            const int result = bound(what, m.pos, m.connect, m.type, nodes, true, -1, 0.1, field);
            if (result == -199) {
                EXPECT_TRUE(failure.happened());
            } else {
                EXPECT_FALSE(failure.happened() && and_later);
                EXPECT_EQ(result, nbr);
                EXPECT_TRUE(same_bits(field, expected));
            }
            return failure.happened();
        });
    };
    for (const measured what : both_measures) {
        EXPECT_GT(nbr_failed(what, sizes), 10U);
        EXPECT_GT(nbr_failed(what, metrics), 10U);
    }
}

} // namespace
