#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "quality/plain_edges.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense1D;
using kv7::dense2D;
using test::columns;
using test::connectivity;
using test::expect_near;
using test::plain_log_mean;
using test::points;
using test::recorder;
using test::same_metric;
using test::same_size;
using test::vector_of;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

const dense2D<unsigned int> no_edges;
const dense2D<unsigned int> two_triangles = connectivity({{0, 1, 2}, {2, 1, 3}});
dense2D<double> unit_square() { return points({{0, 0}, {1, 0}, {0, 1}, {1, 1}}); }

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
    // Under a metric, a squared length that is NaN counts as no length.
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
    // Sizes 1 and 3 along x; the sizes along y have no influence.
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
                        // Lost beside 1 in the sum, but recovered from the determinant.
                        {{1, 0, 1e-20}, true},
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
    // The metrics differ in the directions across the edge only.
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
    // Sizes are needed for the nodes of edges only.
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
    // An empty connectivity is not an empty range: the coordinates are checked first.
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

// Runs the call with each allocation failing in turn. An array whose first allocation failed tries
// again when it grows, so that a single failure may have no effect.
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
