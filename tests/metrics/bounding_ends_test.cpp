// How runs of a bounding end: by themselves however long they take, or on proof of a circle.
#include <gtest/gtest.h>

#include <cstddef>

#include "metrics/bounded_edges.h"
#include "metrics/bounding_calls.h"
#include "metrics/edge_bounding.h"
#include "metrics/edge_measures.h"
#include "metrics/nodal_fields.h"
#include "metrics/plain_bounding.h"
#include "metrics/random_meshes.h"
#include "metrics/random_metrics.h"
#include "support/memory_failure.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric_field;
using test::size_field;
using test::vector;

template <std::size_t N> using sizes_of_library = kv7::tessmaker::size_field<N>;
template <std::size_t N> using metrics_of_library = kv7::tessmaker::metric_field<N>;

// Long runs

void expect_no_edge_above_the_limit(unsigned int nbr_in_row, unsigned int nbr_rows) {
    const mesh m = long_chain(nbr_in_row, nbr_rows);
    for (const measured what : both_measures) {
        size_field sizes = convex_sizes(m, nbr_in_row);
        EXPECT_GT(bound(what, m.pos, m.connect, m.type, {}, true, -1, 0.3, sizes), 0);
        EXPECT_LE(largest_measure<2>(what, m, plain_sizes<2>{sizes}), limit_with_slack(what, 0.3));
        metric_field metrics = isotropic(2, convex_sizes(m, nbr_in_row));
        EXPECT_GT(bound(what, m.pos, m.connect, m.type, {}, true, -1, 0.3, metrics), 0);
        EXPECT_LE(largest_measure<2>(what, m, plain_metrics<2>{metrics}),
                  limit_with_slack(what, 0.3));
    }
}

TEST(bounding_ends, on_a_convex_chain_with_no_edge_above_the_limit) {
    expect_no_edge_above_the_limit(200, 1);
    expect_no_edge_above_the_limit(100, 2);
}

// Circles

// Metrics, with their moves counted.
class counted_metrics : public metrics_of_library<2> {
public:
    counted_metrics(const dense2D<double>& pos, dense2D<double>& metrics, int& nbr_moves)
        : metrics_of_library<2>(pos, metrics), nbr_moves_(nbr_moves) {}

    void write(unsigned int node, const value& M) {
        ++nbr_moves_;
        metrics_of_library<2>::write(node, M);
    }

private:
    int& nbr_moves_;
};

// Rounding sends the node in the middle to and fro between the values of the two others.
struct known_circle {
    dense2D<double> pos = points({{0, 0}, {1, 0}, {2, 1}});
    dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    metric_field start =
        points({{0.0122, -0.0202, 1e150}, {23.5, -13.8, 12.5}, {23.5, -13.8, 12.5}});
};

TEST(bounding_ends, in_a_circle_after_a_few_rounds) {
    const known_circle known;
    metric_field metrics = copy_of(known.start);
    int nbr_moves = 0;
    edge_bounding run(counted_metrics(known.pos, metrics, nbr_moves), gradation(0.0));
    EXPECT_EQ(run.run(known.bars, 3, {}, true, 1), 1);
    EXPECT_GE(nbr_moves, 4);
    EXPECT_LE(nbr_moves, 16);
}

TEST(bounding_ends, in_a_circle_or_without_the_memory_to_prove_it_at_minus_199) {
    const known_circle known;
    const auto run = [&known](metric_field& metrics) {
        return bound_metric_gradations(known.pos, known.bars, ET_BAR2, {}, true, 1, 0.0, metrics);
    };
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        metric_field metrics = copy_of(known.start);
        const memory_failure failure(k, and_later);
        const int result = run(metrics);
        EXPECT_TRUE(result == 1 || (result == -199 && failure.happened())) << k;
        EXPECT_FALSE(result == 1 && failure.happened() && and_later) << k;
        return failure.happened();
    });
    EXPECT_GT(nbr_failed, 10U);
}

// A field that the test leads: the value at node 1 swings between 1 and 2, towards node 0, as long
// as the measure of their edge is above 0. Other edges never move a node.
struct swing {
    // Keys of the edge between nodes 0 and 1 by the number of moves so far.
    double (*key)(int nbr_moves);
    int nbr_moves = 0;
    double swinging = 1.0;
};

class swinging_field {
public:
    using value = double;
    static constexpr bool can_circle = true;

    explicit swinging_field(swing& state) : state_(&state) {}

    value at(unsigned int node) const { return node == 1 ? state_->swinging : 0.0; }
    void write(unsigned int, value h) {
        state_->swinging = h;
        ++state_->nbr_moves;
    }
    static bool is_valid(value) { return true; }
    static bool is_change(value before, value after) { return before != after; }

    // Edges of nodes 2 and 3, 4 and 5, ... have the keys 100, 99, ...
    template <class Measure>
    double measure(const Measure&, unsigned int a, value, unsigned int b) const {
        return a + b == 1 ? state_->key(state_->nbr_moves) : 101.0 - (a + b - 1) / 4;
    }
    // The fraction stands in the place of the length.
    void sizes_along(unsigned int a, value, unsigned int, value, double& d, double& ha,
                     double& hb) const {
        d = a == 1 ? 1.0 : 0.0;
        ha = 1.0;
        hb = 2.0;
    }

    class interpolation {
    public:
        interpolation(value from, value, int) : from_(from) {}
        interpolated at(double, value& h) const {
            h = 3.0 - from_;
            return interpolated::usable;
        }

    private:
        value from_;
    };

private:
    swing* state_;
};

struct swinging_measure {
    double fraction(double d, double, double) const { return d; }
    double limit = 0.0;
};

int nbr_moves_of(double (*key)(int nbr_moves)) {
    swing state{key};
    dense2D<unsigned int> bars(2, 60);
    for (unsigned int i = 0; i < 120; ++i) bars(i % 2, i / 2) = i;
    EXPECT_EQ(edge_bounding(swinging_field(state), swinging_measure())
                  .run(bars, 2 * bars.cols(), {}, true, 1),
              1);
    return state.nbr_moves;
}

TEST(bounding_ends, in_a_circle_if_field_and_queue_come_back) {
    EXPECT_LE(nbr_moves_of([](int) { return 50.5; }), 16);
}

// Each time that the field comes back one more of the other edges has left the queue.
TEST(bounding_ends, by_itself_if_the_field_comes_back_but_not_the_queue) {
    EXPECT_EQ(nbr_moves_of([](int n) { return n < 100 ? 100.5 - n / 2 : 0.0; }), 100);
}

// Stamps

template <class Field, class Measure>
int bound_with_stamps(const Field& field, double limit, const mesh& m, const conditions& c,
                      unsigned int last_stamp) {
    return edge_bounding(field, Measure(limit), last_stamp)
        .run(m.connect, m.pos.cols(), c.nodes, c.nodes_fixed,
             static_cast<signed char>(c.direction));
}

template <std::size_t N> void expect_same_with_few_stamps(random_source& random) {
    int nbr_changed = 0;
    for (int n = 0; n < 40; ++n) {
        const mesh m = random_mesh(random, all_types[n % 20], N, false);
        conditions c = random_conditions(random, m);
        c.limit = random.uniform(0.02, 1.0);
        const unsigned int last_stamp = static_cast<unsigned int>(random.between(2, 20));

        size_field sizes = random_sizes(random, m);
        size_field plain_field = copy_of(sizes);
        plain_bounding<N, plain_sizes<N>> plain(measured::variation, m.pos, {plain_field}, c.limit);
        const int nbr = plain.run(m.connect, c.nodes, c.nodes_fixed, c.direction);
        EXPECT_EQ((bound_with_stamps<sizes_of_library<N>, variation>({m.pos, sizes}, c.limit, m, c,
                                                                     last_stamp)),
                  nbr)
            << described(m, c, n);
        EXPECT_TRUE(same_bits(sizes, plain_field)) << described(m, c, n);

        metric_field metrics = random_metrics<N>(random, m.pos.cols());
        metric_field expected = copy_of(metrics);
        const int nbr_metrics = bound_metric_gradations(
            m.pos, m.connect, m.type, c.nodes, c.nodes_fixed, c.direction, c.limit, expected);
        EXPECT_EQ((bound_with_stamps<metrics_of_library<N>, gradation>({m.pos, metrics}, c.limit, m,
                                                                       c, last_stamp)),
                  nbr_metrics)
            << described(m, c, n);
        EXPECT_TRUE(same_bits(metrics, expected)) << described(m, c, n);
        nbr_changed += nbr + nbr_metrics;
    }
    EXPECT_GT(nbr_changed, 400);
}

TEST(bounding_ends, with_the_same_field_if_stamps_are_counted_anew) {
    random_source random(98);
    expect_same_with_few_stamps<2>(random);
    expect_same_with_few_stamps<3>(random);
}

// Sizes far apart

TEST(bounding_ends, without_growth_beside_a_size_1e12_times_the_step) {
    const mesh m = long_chain(4, 1);
    for (const measured what : both_measures) {
        for (const double far : {1e13, 1e300, largest}) {
            size_field sizes{1.0, far, far, far};
            EXPECT_EQ(bound(what, m.pos, m.connect, m.type, {}, true, -1, 0.5, sizes), 3);
            for (const double h : sizes) EXPECT_EQ(h, 1.0);

            sizes = size_field{1.0, far, far, far};
            EXPECT_EQ(bound_metrics(sizes, 0.0, 1e6), 3);
            EXPECT_EQ(bound(what, m.pos, m.connect, m.type, {}, true, -1, 0.5, sizes), 3);
            for (std::size_t i = 0; i < 4; ++i) {
                const double step = slope(what, 0.5);
                EXPECT_NEAR(sizes[i], 1.0 + static_cast<double>(i) * step, 0.01 * step);
            }
        }
    }
}

} // namespace
