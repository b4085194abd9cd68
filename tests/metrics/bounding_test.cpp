#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "metrics/bounding_calls.h"
#include "metrics/nodal_fields.h"
#include "metrics/plain_bounding.h"
#include "metrics/random_metrics.h"
#include "support/zoo.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;
using test::metric_field;
using test::size_field;

// Two nodes at distance 1, one bar.
struct two_nodes {
    dense2D<double> pos = points({{0, 0}, {1, 0}});
    dense2D<unsigned int> bar = connectivity({{0, 1}});

    template <class Field> int run(measured what, int direction, double limit, Field& field) const {
        return bound(what, pos, bar, ET_BAR2, ids(), true, direction, limit, field);
    }
};

// Arguments

TEST(bounding, a_size_must_change_by_more_than_its_least_factor) {
    using sizes = kv7::tessmaker::size_field<2>;
    EXPECT_FALSE(sizes::is_change(1.0, smallest_change));
    EXPECT_FALSE(sizes::is_change(smallest_change, 1.0));
    EXPECT_TRUE(sizes::is_change(1.0, std::nextafter(smallest_change, 2.0)));
    EXPECT_TRUE(sizes::is_change(std::nextafter(smallest_change, 2.0), 1.0));
}

TEST(bounding, nothing_to_do_is_zero_before_any_check) {
    const dense2D<double> wrong = points({{0, 0, 0, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 7}});
    size_field sizes;
    metric_field metrics;
    for (const measured what : both_measures) {
        for (const double limit : {-1.0, not_a_number, 0.5}) {
            EXPECT_EQ(bound(what, wrong, {}, ET_BAR2, {9}, true, 0, limit, sizes), 0);
            EXPECT_EQ(bound(what, wrong, {}, ET_BAR2, {9}, true, 0, limit, metrics), 0);
        }
        EXPECT_EQ(bound(what, wrong, bar, ET_BAR2, {9}, true, 0, largest, sizes), 0);
        EXPECT_EQ(bound(what, wrong, bar, ET_BAR2, {9}, true, 0, largest, metrics), 0);
    }
}

TEST(bounding, arguments_are_checked_in_their_order) {
    const dense2D<double> wrong_pos = points({{0, 0, 0, 0}, {1, 0, 0, 0}});
    const dense2D<double> pos = points({{0, 0}, {1, 0}});
    const dense2D<unsigned int> wrong_bar = connectivity({{0, 2}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const measured what : both_measures) {
        size_field sizes(1, 1.0);
        EXPECT_EQ(bound(what, wrong_pos, wrong_bar, ET_BAR2, {9}, true, 0, -1.0, sizes), -1);
        EXPECT_EQ(bound(what, {}, wrong_bar, ET_BAR2, {9}, true, 0, -1.0, sizes), -1);
        EXPECT_EQ(bound(what, pos, wrong_bar, ET_BAR2, {9}, true, 0, -1.0, sizes), -2);
        EXPECT_EQ(bound(what, pos, bar, ET_TRIA3, {9}, true, 0, -1.0, sizes), -2);
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {2}, true, 0, -1.0, sizes), -4);
        for (const double limit : {-1.0, -1e-300, not_a_number, -infinity}) {
            EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, limit, sizes), -7);
        }
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, 0.5, sizes), -8);
        metric_field metrics(6, 2, 1.0);
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, -1.0, metrics), -7);
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, 0.5, metrics), -8);
        metrics.resize(3, 1, 1.0);
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, 0.5, metrics), -8);
        metric_field none_of_them;
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {1}, true, 0, 0.5, none_of_them), -8);
        const dense2D<double> space = points({{0, 0, 0}, {1, 0, 0}});
        metrics.resize(3, 2, 1.0);
        EXPECT_EQ(bound(what, space, bar, ET_BAR2, {1}, true, 0, 0.5, metrics), -8);
    }
}

TEST(bounding, a_field_needs_entries_only_for_the_nodes_of_elements) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 0}, {3, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const measured what : both_measures) {
        size_field sizes{1.0, 10.0};
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {}, true, -1, 0.5, sizes), 1);
        metric_field metrics = isotropic(2, {1.0, 10.0});
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {3}, true, -1, 0.5, metrics), 1);
    }
}

TEST(bounding, an_infinite_limit_is_kept_by_all_edges) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        size_field sizes{1.0, 1e6};
        EXPECT_EQ(mesh.run(what, 0, infinity, sizes), 0);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1e6}));
    }
}

// One edge

TEST(bounding, a_limit_of_zero_gives_the_target_the_value_of_the_source_exactly) {
    const two_nodes mesh;
    random_source random(51);
    for (const measured what : both_measures) {
        size_field sizes{0.3, 0.7};
        EXPECT_EQ(mesh.run(what, 0, 0.0, sizes), 1);
        EXPECT_EQ(list(sizes), (std::vector<double>{0.7, 0.7}));
        // One contains the other, so that the direction filters nothing.
        metric_field metrics(3, 2);
        const metric<2> M = random_metric<2>(random, 1.0, 100.0);
        for (std::size_t k = 0; k < 3; ++k) {
            metrics(k, 0) = M[k];
            metrics(k, 1) = 0.3 * M[k];
        }
        EXPECT_EQ(mesh.run(what, 0, 0.0, metrics), 1);
        for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(metrics(k, 0), metrics(k, 1));
    }
}

TEST(bounding, of_two_free_nodes_the_target_of_the_first_entry_moves_and_the_other_is_stale) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        size_field sizes{1.0, 10.0};
        EXPECT_EQ(mesh.run(what, 0, 0.5, sizes), 1);
        EXPECT_NEAR(sizes[0], 10.0 - slope(what, 0.5), 1e-12);
        EXPECT_EQ(sizes[1], 10.0);
        metric_field metrics = isotropic(2, {1.0, 10.0});
        EXPECT_EQ(mesh.run(what, 0, 0.5, metrics), 1);
        EXPECT_NEAR(size_of(metrics, 0), 10.0 - slope(what, 0.5), 1e-12);
        EXPECT_EQ(metrics(0, 1), 0.01);
    }
}

TEST(bounding, a_direction_lets_only_the_larger_or_only_the_smaller_size_move) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        for (const int down : {-1, 255, 0x1FF, -257}) {
            size_field sizes{1.0, 10.0};
            EXPECT_EQ(mesh.run(what, down, 0.5, sizes), 1);
            EXPECT_EQ(sizes[0], 1.0);
            EXPECT_NEAR(sizes[1], 1.0 + slope(what, 0.5), 1e-12);
            metric_field metrics = isotropic(2, {10.0, 1.0});
            EXPECT_EQ(mesh.run(what, down, 0.5, metrics), 1);
            EXPECT_NEAR(size_of(metrics, 0), 1.0 + slope(what, 0.5), 1e-12);
            EXPECT_EQ(metrics(0, 1), 1.0);
        }
        for (const int up : {1, 257, -255}) {
            size_field sizes{10.0, 1.0};
            EXPECT_EQ(mesh.run(what, up, 0.5, sizes), 1);
            EXPECT_EQ(sizes[0], 10.0);
            EXPECT_NEAR(sizes[1], 10.0 - slope(what, 0.5), 1e-12);
        }
        for (const int neither : {2, -2, 127, 128, 0x102}) {
            size_field sizes{1.0, 10.0};
            EXPECT_EQ(mesh.run(what, neither, 0.5, sizes), 0);
            EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 10.0}));
        }
        for (const int undecided : {0, 256, -256, 0x7FFFFF00}) {
            size_field sizes{1.0, 10.0};
            EXPECT_EQ(mesh.run(what, undecided, 0.5, sizes), 1);
            EXPECT_NEAR(sizes[0], 10.0 - slope(what, 0.5), 1e-12);
        }
    }
}

TEST(bounding, an_edge_of_no_length_moves_a_size_whole_and_a_metric_not_at_all) {
    const dense2D<double> pos = points({{1, 1}, {1, 1}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const measured what : both_measures) {
        size_field sizes{1.0, 2.0};
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {}, true, -1, 0.5, sizes), 1);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1.0}));
        metric_field metrics = isotropic(2, {1.0, 2.0});
        const metric_field before = copy_of(metrics);
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {}, true, -1, 0.5, metrics), 0);
        EXPECT_TRUE(same_bits(metrics, before));
    }
}

TEST(bounding, a_size_of_zero_moves_only_where_the_step_is_whole) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        for (const int direction : {0, 1, -1}) {
            size_field sizes{0.0, 1.0};
            EXPECT_EQ(mesh.run(what, direction, 0.1, sizes), 0);
            EXPECT_EQ(list(sizes), (std::vector<double>{0.0, 1.0}));
        }
        size_field sizes{0.0, 1.0};
        EXPECT_EQ(mesh.run(what, 0, 0.0, sizes), 1);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1.0}));
    }
}

TEST(bounding, a_small_step_is_refused) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        const double step = slope(what, 0.5);
        size_field sizes{1.0, 1.0 + step * 1.0005};
        EXPECT_EQ(mesh.run(what, -1, 0.5, sizes), 0);
        sizes[1] = 1.0 + step * 1.002;
        EXPECT_EQ(mesh.run(what, -1, 0.5, sizes), 1);
        EXPECT_NEAR(sizes[1], 1.0 + step, 1e-12);
    }
}

TEST(bounding, a_difference_that_is_nothing_beside_the_length_moves_no_variation) {
    const dense2D<double> pos = points({{0, 0}, {1e6, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    const size_field before{1.0, 1.0 + 5e-7};
    size_field sizes = copy_of(before);
    EXPECT_EQ(bound_metric_variations(pos, bar, ET_BAR2, {}, true, -1, 0.0, sizes), 0);
    EXPECT_TRUE(same_bits(sizes, before));
    EXPECT_EQ(bound_metric_gradations(pos, bar, ET_BAR2, {}, true, -1, 0.0, sizes), 1);
    EXPECT_EQ(sizes[1], 1.0);
}

// Fixed nodes

TEST(bounding, nothing_moves_without_a_free_node) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        size_field sizes{1.0, 10.0};
        EXPECT_EQ(bound(what, mesh.pos, mesh.bar, ET_BAR2, {0, 1}, true, 0, 0.5, sizes), 0);
        EXPECT_EQ(bound(what, mesh.pos, mesh.bar, ET_BAR2, {}, false, 0, 0.5, sizes), 0);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 10.0}));
    }
}

TEST(bounding, the_list_names_the_fixed_nodes_or_the_free_ones) {
    const two_nodes mesh;
    for (const measured what : both_measures) {
        for (const bool fixed : {true, false}) {
            size_field sizes{1.0, 10.0};
            const ids nodes = fixed ? ids{0, none, 0} : ids{none, 1, 1};
            EXPECT_EQ(bound(what, mesh.pos, mesh.bar, ET_BAR2, nodes, fixed, 0, 0.5, sizes), 1);
            EXPECT_EQ(sizes[0], 1.0);
            EXPECT_LT(sizes[1], 2.0);
        }
    }
}

TEST(bounding, a_listed_node_without_elements_has_no_effect) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const measured what : both_measures) {
        size_field sizes{1.0, 10.0, 100.0};
        EXPECT_EQ(bound(what, pos, bar, ET_BAR2, {2}, true, -1, 0.5, sizes), 1);
        EXPECT_NEAR(sizes[1], 1.0 + slope(what, 0.5), 1e-12);
        EXPECT_EQ(sizes[2], 100.0);
    }
}

TEST(bounding, a_free_node_whose_edge_to_a_fixed_one_keeps_the_limit_never_moves) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 0}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    for (const measured what : both_measures) {
        size_field sizes{1.0, 1.0, 0.01};
        EXPECT_EQ(bound(what, pos, bars, ET_BAR2, {0}, true, -1, 0.2, sizes), 0);
        EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1.0, 0.01}));
        metric_field metrics = isotropic(2, sizes);
        EXPECT_EQ(bound(what, pos, bars, ET_BAR2, {0}, true, -1, 0.2, metrics), 0);
    }
}

TEST(bounding, a_free_node_between_fixed_ones_settles_where_both_edges_suffer_least) {
    const dense2D<double> pos = points({{-1, 0}, {0, 0}, {1, 0}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    size_field sizes{1.0, 9.0, 3.0};
    // |h - 1| and |h - 3| above 0.5: the sum of squares is least at 2.
    EXPECT_EQ(bound_metric_variations(pos, bars, ET_BAR2, {0, 2}, true, 0, 0.5, sizes), 1);
    EXPECT_NEAR(sizes[1], 2.0, 0.02);
    EXPECT_EQ(sizes[0], 1.0);
    EXPECT_EQ(sizes[2], 3.0);
}

TEST(bounding, an_invalid_value_beside_a_fixed_node_takes_the_whole_step) {
    const dense2D<double> pos = points({{-1, 0}, {0, 0}, {1, 0}});
    const dense2D<unsigned int> bars = connectivity({{1, 0}, {1, 2}});
    for (const measured what : both_measures) {
        for (const double invalid : {largest, infinity}) {
            size_field sizes{1.0, invalid, 5.0};
            EXPECT_EQ(bound(what, pos, bars, ET_BAR2, {0, 2}, true, 0, 0.5, sizes), 1);
            EXPECT_EQ(list(sizes), (std::vector<double>{1.0, 1.0, 5.0})) << invalid;
        }
    }
}

TEST(bounding, diagonals_and_mid_side_nodes_are_joined) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    const dense2D<unsigned int> quad = connectivity({{0, 1, 2, 3}});
    size_field sizes{1.0, 1.0, 10.0, 1.0};
    // The sides are out of it: their ends are fixed, which 2 has only on the diagonal otherwise.
    EXPECT_EQ(bound_metric_variations(pos, quad, ET_QUAD4, {2}, false, -1, 0.5, sizes), 1);
    EXPECT_LT(sizes[2], 1.0 + 0.5 + 0.01);
    const mesh curved = quadratic_triangles();
    size_field field(curved.pos.cols(), 1.0);
    field[4] = 50.0;
    EXPECT_EQ(
        bound_metric_variations(curved.pos, curved.connect, curved.type, {}, true, -1, 0.5, field),
        1);
    EXPECT_NEAR(field[4], 1.5, 1e-12); // at 1 from two corners and the two nodes in the middle
}

TEST(bounding, a_node_that_moves_often_counts_once) {
    const std::size_t n = 30;
    dense2D<double> pos(2, n, 0.0);
    dense2D<unsigned int> bars(2, n - 1);
    size_field sizes(n);
    for (unsigned int i = 0; i < n; ++i) {
        pos(0, i) = i;
        sizes[i] = 100.0 - 3.0 * i;
        if (i + 1 < n) {
            bars(0, i) = i;
            bars(1, i) = i + 1;
        }
    }
    size_field plain_field = copy_of(sizes);
    plain_bounding<2, plain_sizes<2>> plain(measured::variation, pos, {plain_field}, 0.5);
    const int nbr = plain.run(bars, {}, true, -1);
    EXPECT_GT(plain.nbr_moves, nbr);
    EXPECT_EQ(bound_metric_variations(pos, bars, ET_BAR2, {}, true, -1, 0.5, sizes), nbr);
    EXPECT_EQ(nbr, static_cast<int>(n - 1));
}

} // namespace
