#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "metrics/nodal_fields.h"
#include "metrics/plain_bounding.h"
#include "metrics/random_metrics.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;

using ids = dense1D<unsigned int>;
using size_field = dense1D<double>;
using metric_field = dense2D<double>;

constexpr measured both_measures[] = {measured::gradation, measured::variation};

template <class Field>
int bound(measured what, const dense2D<double>& pos, const dense2D<unsigned int>& connect,
          element_type type, const ids& nodes, bool nodes_fixed, int direction, double limit,
          Field& field) {
    return what == measured::gradation
               ? bound_metric_gradations(pos, connect, type, nodes, nodes_fixed, direction, limit,
                                         field)
               : bound_metric_variations(pos, connect, type, nodes, nodes_fixed, direction, limit,
                                         field);
}

// The change of size per length at the limit.
double slope(measured what, double limit) {
    return what == measured::gradation ? std::log1p(limit) : limit;
}

// The field of isotropic metrics of these sizes.
metric_field isotropic(std::size_t dim, const size_field& sizes) {
    metric_field metrics(dim * (dim + 1) / 2, sizes.size(), 0.0);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        for (std::size_t k = 0; k < dim; ++k) {
            metrics(k * (k + 3) / 2, i) = 1.0 / (sizes[i] * sizes[i]);
        }
    }
    return metrics;
}
// Along x.
double size_of(const metric_field& metrics, std::size_t i) {
    return 1.0 / std::sqrt(metrics(0, i));
}

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

// Random meshes against the plain form

constexpr element_type all_types[] = {ET_BAR2,      ET_BAR3,    ET_FACE_MIX, ET_TRIA3,  ET_QUAD4,
                                      ET_TRIA6,     ET_QUAD8,   ET_QUAD9,    ET_TETRA4, ET_TETRA10,
                                      ET_SOLID_MIX, ET_PYRA5,   ET_PYRA13,   ET_PYRA14, ET_PENTA6,
                                      ET_PENTA15,   ET_PENTA18, ET_HEXA8,    ET_HEXA20, ET_HEXA27};

// Nodes at random; elements on nodes that follow each other, one in four with a hole or a repeat.
mesh random_mesh(random_source& random, element_type type, std::size_t dim, bool coincident) {
    mesh m{"random", {}, {}, type};
    const std::size_t rows = nbr_nodes(type);
    const std::size_t nbr = rows + random.between(3, 25);
    m.pos = random_points(random, dim, nbr + random.below(4), 0.0, 3.0);
    if (coincident) {
        for (std::size_t i = 1; i < m.pos.cols(); ++i) {
            if (!random.one_in(4)) continue;
            const std::size_t other = random.below(i);
            for (std::size_t r = 0; r < dim; ++r) m.pos(r, i) = m.pos(r, other);
        }
    }
    m.connect.resize(rows, 2 + 3 * nbr / rows);
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        const std::size_t start = random.below(nbr - rows + 1);
        for (std::size_t r = 0; r < rows; ++r) {
            m.connect(r, c) = static_cast<unsigned int>(start + r);
            if (random.one_in(4)) m.connect(r, c) = random.id_below(nbr);
        }
        const std::size_t nbr_used = type == ET_FACE_MIX    ? random.between(3, 4)
                                     : type == ET_SOLID_MIX ? random.between(4, 7)
                                                            : rows;
        for (std::size_t r = nbr_used < 7 ? nbr_used : rows; r < rows; ++r) {
            m.connect(r, c) = none;
        }
    }
    return m;
}

struct conditions {
    ids nodes;
    bool nodes_fixed = true;
    int direction = 0;
    double limit = 0.5;
};

conditions random_conditions(random_source& random, const mesh& m) {
    conditions c;
    c.nodes_fixed = !random.one_in(3);
    const std::size_t every = random.one_of<std::size_t>({0, 2, 3, 8});
    for (unsigned int i = 0; i < m.pos.cols(); ++i) {
        const bool listed = every != 0 && random.one_in(every);
        if (listed == c.nodes_fixed) c.nodes.push_back(i);
    }
    if (every == 0 && c.nodes_fixed) c.nodes.resize(0);
    if (random.one_in(4)) c.nodes.push_back(none);
    c.direction = random.one_of<int>({0, 0, 1, -1, 255, 256, 2});
    c.limit = random.one_of<double>({0.0, 1e-3, 0.05, 0.2, 0.5, 2.0});
    return c;
}

std::string described(const mesh& m, const conditions& c, int n) {
    return "type " + std::to_string(m.type) + ", run " + std::to_string(n) + ", direction " +
           std::to_string(c.direction) + ", limit " + std::to_string(c.limit) + ", listed " +
           std::to_string(c.nodes.size()) + (c.nodes_fixed ? " fixed" : " free");
}

void expect_fixed_nodes_kept(const mesh& m, const conditions& c, const double* before,
                             const double* after, std::size_t per_node) {
    std::vector<bool> fixed(m.pos.cols(), !c.nodes_fixed);
    for (const unsigned int node : c.nodes) {
        if (node != none) fixed[node] = c.nodes_fixed;
    }
    for (std::size_t i = 0; i < fixed.size(); ++i) {
        if (fixed[i]) {
            EXPECT_EQ(
                std::memcmp(before + i * per_node, after + i * per_node, per_node * sizeof(double)),
                0);
        }
    }
}

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

template <std::size_t N> metric_field random_metrics(random_source& random, std::size_t nbr) {
    metric_field metrics(packed<N>, nbr);
    for (std::size_t i = 0; i < nbr; ++i) {
        const metric<N> M = random_metric<N>(random, 0.1, 100.0);
        std::copy_n(M.values, packed<N>, metrics.column(i));
    }
    return metrics;
}

// The largest difference of an entry, over the largest entry of its column.
double difference_of(const metric_field& a, const metric_field& b) {
    double difference = 0.0;
    for (std::size_t c = 0; c < a.cols(); ++c) {
        double scale = 0.0;
        double d = 0.0;
        for (std::size_t r = 0; r < a.rows(); ++r) {
            scale = std::max(scale, std::fabs(b(r, c)));
            d = std::max(d, std::fabs(a(r, c) - b(r, c)));
        }
        if (d > 0.0) difference = std::max(difference, d / scale);
    }
    return difference;
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

// What holds whatever the rounding

// A square or a cube of `n` intervals a side, its nodes shaken, cut into triangles or tetrahedra.
mesh shaken_grid(random_source& random, std::size_t dim, unsigned int n) {
    const unsigned int side = n + 1;
    const std::size_t nbr_nodes = std::size_t{side} * side * (dim == 2 ? 1 : side);
    mesh m{"shaken grid", dense2D<double>(dim, nbr_nodes), {}, dim == 2 ? ET_TRIA3 : ET_TETRA4};
    for (unsigned int i = 0; i < nbr_nodes; ++i) {
        unsigned int rest = i;
        for (std::size_t r = 0; r < dim; ++r, rest /= side) {
            m.pos(r, i) = (rest % side + random.uniform(-0.2, 0.2)) / n;
        }
    }
    // In each cell one element for each order of the axes, along the way to the opposite corner.
    const unsigned int orders[6][3] = {{0, 1, 2}, {1, 0, 2}, {0, 2, 1},
                                       {2, 0, 1}, {1, 2, 0}, {2, 1, 0}};
    const unsigned int steps[3] = {1, side, side * side};
    const std::size_t per_cell = dim == 2 ? 2 : 6;
    m.connect.resize(dim + 1, per_cell * n * n * (dim == 2 ? 1 : n));
    std::size_t c = 0;
    for (unsigned int i = 0; i < nbr_nodes; ++i) {
        if (i % side == n || i / side % side == n || (dim == 3 && i / steps[2] == n)) continue;
        for (std::size_t o = 0; o < per_cell; ++o, ++c) {
            unsigned int node = i;
            m.connect(0, c) = node;
            for (std::size_t k = 0; k < dim; ++k) {
                m.connect(k + 1, c) = node += steps[orders[o][k]];
            }
        }
    }
    return m;
}

template <std::size_t N, class Plain>
double largest_measure(measured what, const mesh& m, const Plain& field) {
    double result = 0.0;
    const std::vector<std::vector<unsigned int>> graph = plain_neighbours(m.connect);
    for (unsigned int a = 0; a < graph.size(); ++a) {
        for (const unsigned int b : graph[a]) {
            vector_fixed<double, N> v{};
            for (std::size_t r = 0; r < N; ++r) v[r] = m.pos(r, b) - m.pos(r, a);
            result = std::max(result, Plain::measure(what, field.get(a), field.get(b), v));
        }
    }
    return result;
}

// The limit plus what a refused step of a thousandth leaves.
double limit_with_slack(measured what, double limit) {
    const double steepest = slope(what, limit) / 0.999 * (1.0 + 1e-6);
    return what == measured::gradation ? std::expm1(steepest) : steepest;
}

size_field random_sizes(random_source& random, const mesh& m) {
    size_field sizes(m.pos.cols());
    for (double& h : sizes) h = log_uniform(random, 0.03, 2.0);
    return sizes;
}

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
