// Fields bounded on random meshes against the plain form.
#include <gtest/gtest.h>

#include "metrics/bounding_calls.h"
#include "metrics/plain_bounding.h"
#include "metrics/random_meshes.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;
using test::metric_field;
using test::size_field;

template <std::size_t N> void compare_sizes(random_source& random, int nbr_runs) {
    int nbr_changed = 0;
    int nbr_minimised = 0;
    for (const element_type type : all_types) {
        for (int n = 0; n < nbr_runs; ++n) {
            const mesh m = random_mesh(random, type, N, random.one_in(3));
            const conditions c = random_conditions(random, m);
            const bool bad = random.one_in(3);
            size_field sizes(m.pos.cols());
            for (std::size_t i = 0; i < sizes.size(); ++i) {
                sizes[i] = log_uniform(random, 0.05, 5.0);
                if (random.one_in(10)) sizes[i] = 1.0; // ties
                if (bad && random.one_in(4)) {
                    sizes[i] = random.one_of<double>({0.0, -1.0, not_a_number, infinity, -infinity,
                                                      largest, 5e-324, 1e-200, 1e200});
                }
            }
            const size_field before = copy_of(sizes);
            for (const measured what : both_measures) {
                sizes.copy(before);
                size_field expected = copy_of(before);
                plain_bounding<N, plain_sizes<N>> plain(what, m.pos, {expected}, c.limit);
                const int nbr = plain.run(m.connect, c.nodes, c.nodes_fixed, c.direction);
                ASSERT_EQ(bound(what, m.pos, m.connect, m.type, c.nodes, c.nodes_fixed, c.direction,
                                c.limit, sizes),
                          nbr)
                    << described(m, c, n);
                ASSERT_TRUE(same_bits(sizes, expected)) << described(m, c, n);
                expect_fixed_nodes_kept(m, c, &before[0], &sizes[0], 1);
                nbr_changed += nbr;
                nbr_minimised += plain.nbr_minimised;
            }
        }
    }
    EXPECT_GT(nbr_changed, 20 * nbr_runs);
    EXPECT_GT(nbr_minimised, 20 * nbr_runs);
}

TEST(bounding_at_random, sizes_in_2d_become_those_of_the_plain_form_bit_for_bit) {
    random_source random(52);
    compare_sizes<2>(random, 40);
}
TEST(bounding_at_random, sizes_in_3d_become_those_of_the_plain_form_bit_for_bit) {
    random_source random(53);
    compare_sizes<3>(random, 40);
}

template <std::size_t N> void compare_metrics(random_source& random, int nbr_runs, bool fix) {
    int nbr_changed = 0;
    for (const element_type type : all_types) {
        for (int n = 0; n < nbr_runs; ++n) {
            const mesh m = random_mesh(random, type, N, false);
            conditions c = random_conditions(random, m);
            c.limit = random.uniform(0.05, 1.0);
            if (!fix) {
                c.nodes = ids();
                c.nodes_fixed = true;
            }
            const metric_field before = random_metrics<N>(random, m.pos.cols());
            for (const measured what : both_measures) {
                metric_field metrics = copy_of(before);
                metric_field expected = copy_of(before);
                plain_bounding<N, plain_metrics<N>> plain(what, m.pos, {expected}, c.limit);
                const int nbr = plain.run(m.connect, c.nodes, c.nodes_fixed, c.direction);
                EXPECT_EQ(bound(what, m.pos, m.connect, m.type, c.nodes, c.nodes_fixed, c.direction,
                                c.limit, metrics),
                          nbr)
                    << described(m, c, n);
                EXPECT_LE(difference_of(metrics, expected), 1e-9) << described(m, c, n);
                expect_fixed_nodes_kept(m, c, before.column(0), metrics.column(0), packed<N>);
                nbr_changed += nbr;
            }
        }
    }
    EXPECT_GT(nbr_changed, 20 * nbr_runs);
}

TEST(bounding_at_random, metrics_in_2d_become_those_of_the_plain_form) {
    random_source random(54);
    compare_metrics<2>(random, 10, false);
    compare_metrics<2>(random, 10, true);
}
TEST(bounding_at_random, metrics_in_3d_become_those_of_the_plain_form) {
    random_source random(55);
    compare_metrics<3>(random, 3, false);
    compare_metrics<3>(random, 3, true);
}

} // namespace
