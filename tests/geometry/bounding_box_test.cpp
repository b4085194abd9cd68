#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "geometry/geometry_arrays.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/geometry.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(inc_bounding_box, a_larger_box_stays) {
    const dense2D<double> pos = points({{1, 2}, {3, -4}});
    vec2 low{-10, -10};
    vec2 high{10, 10};
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{-10, -10})));
    EXPECT_EQ(parts(high), (parts(vec2{10, 10})));
}

TEST(inc_bounding_box, an_empty_box_becomes_that_of_the_nodes) {
    const dense2D<double> pos = points({{1, 2, 3}, {3, -4, 3}, {0, 0, 9}});
    vec3 low{infinity, infinity, infinity};
    vec3 high{-infinity, -infinity, -infinity};
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec3{0, -4, 3})));
    EXPECT_EQ(parts(high), (parts(vec3{3, 2, 9})));
}

TEST(inc_bounding_box, each_bound_is_widened_on_its_own) {
    const dense2D<double> pos = points({{1, 5}, {3, 2}});
    vec2 low{2, 0};
    vec2 high{2, 4};
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{1, 0})));
    EXPECT_EQ(parts(high), (parts(vec2{3, 5})));
}

TEST(inc_bounding_box, a_first_node_moves_both_bounds_of_an_inverted_box) {
    const dense2D<double> pos = points({{1, 1}});
    vec2 low{1e300, 1e300};
    vec2 high{-1e300, -1e300};
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{1, 1})));
    EXPECT_EQ(parts(high), (parts(vec2{1, 1})));
}

TEST(inc_bounding_box, coordinates_of_three_rows_do_not_fit_a_plane_box) {
    const dense2D<double> pos = points({{1, 2, 3}});
    vec2 low{0, 0};
    vec2 high{0, 0};
    EXPECT_EQ(inc_bounding_box(pos, low, high), -1);
    EXPECT_EQ(inc_bounding_box(pos, ids{0}, low, high), -1);
    EXPECT_EQ(inc_bounding_box(pos, connectivity({{0}}), low, high), -1);
    EXPECT_EQ(parts(low), (parts(vec2{0, 0})));
    EXPECT_EQ(parts(high), (parts(vec2{0, 0})));
}

TEST(inc_bounding_box, coordinates_of_two_rows_do_not_fit_a_solid_box) {
    const dense2D<double> pos = points({{1, 2}});
    vec3 low{};
    vec3 high{};
    EXPECT_EQ(inc_bounding_box(pos, low, high), -1);
    EXPECT_EQ(inc_bounding_box(pos, ids{0}, low, high), -1);
}

TEST(inc_bounding_box, no_rows_fail_and_an_empty_list_does_not) {
    const dense2D<double> pos;
    vec2 low{0, 0};
    vec2 high{1, 1};
    EXPECT_EQ(inc_bounding_box(pos, low, high), -1);
    EXPECT_EQ(inc_bounding_box(pos, ids(), low, high), 0);
    EXPECT_EQ(inc_bounding_box(pos, dense2D<unsigned int>(), low, high), 0);
    EXPECT_EQ(inc_bounding_box(pos, ids{0}, low, high), -1);
}

TEST(inc_bounding_box, a_node_that_is_no_column_fails_and_an_absent_id_is_skipped) {
    const dense2D<double> pos = points({{1, 2}, {3, 4}});
    vec2 low{2, 2};
    vec2 high{2, 2};
    EXPECT_EQ(inc_bounding_box(pos, ids{0, 2}, low, high), -2);
    EXPECT_EQ(parts(low), (parts(vec2{2, 2})));
    EXPECT_EQ(inc_bounding_box(pos, ids{none, 1, none}, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{2, 2})));
    EXPECT_EQ(parts(high), (parts(vec2{3, 4})));
}

TEST(inc_bounding_box, a_connectivity_counts_its_own_nodes_only) {
    const dense2D<double> pos = points({{9, 9}, {1, 2}, {3, 4}, {-9, -9}});
    vec2 low{infinity, infinity};
    vec2 high{-infinity, -infinity};
    EXPECT_EQ(inc_bounding_box(pos, connectivity({{1, 2, none}}), low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{1, 2})));
    EXPECT_EQ(parts(high), (parts(vec2{3, 4})));
    EXPECT_EQ(inc_bounding_box(pos, connectivity({{1, 4, none}}), low, high), -2);
}

TEST(inc_bounding_box, a_connectivity_of_absent_ids_widens_nothing_whatever_the_rows) {
    vec3 low{1, 1, 1};
    vec3 high{1, 1, 1};
    EXPECT_EQ(inc_bounding_box(points({{5, 5}}), connectivity({{none}}), low, high), 0);
    EXPECT_EQ(parts(high), (parts(vec3{1, 1, 1})));
}

TEST(inc_bounding_box, NaN_changes_nothing) {
    const dense2D<double> pos = points({{nan_value, 5}, {3, nan_value}});
    vec2 low{4, 4};
    vec2 high{4, 4};
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    EXPECT_EQ(parts(low), (parts(vec2{3, 4})));
    EXPECT_EQ(parts(high), (parts(vec2{4, 5})));
}

template <class V> void compare_boxes(random_source& random) {
    constexpr std::size_t dim = sizeof(V) / sizeof(double);
    const std::size_t n = 1 + random.below(40);
    dense2D<double> pos = random_points(random, dim, n, -1, 1);
    if (random.one_in(4)) pos(random.below(dim), random.below(n)) = nan_value;
    if (random.one_in(2)) pos = with_gaps(pos, 1 + random.below(3), 1e9);
    const std::vector<unsigned int> nodes = random_ids(random, random.below(30), n, 5);
    dense2D<unsigned int> connect(3, 1 + random.below(10));
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const auto column = random_ids(random, 3, n, 6);
        std::copy(column.begin(), column.end(), connect.column(c));
    }
    if (random.one_in(2)) connect = with_gaps(connect, 2, 0U);

    V start_low;
    V start_high;
    for (std::size_t i = 0; i < dim; ++i) {
        start_low[i] = random.uniform(-1, 1);
        start_high[i] = random.uniform(-1, 1);
    }
    const auto widened = [&](const std::vector<unsigned int>& list, V& low, V& high) {
        low = start_low;
        high = start_high;
        for (const unsigned int id : list) {
            if (id == none) continue;
            for (std::size_t i = 0; i < dim; ++i) {
                if (pos(i, id) < low[i]) low[i] = pos(i, id);
                if (pos(i, id) > high[i]) high[i] = pos(i, id);
            }
        }
    };
    std::vector<unsigned int> all(n);
    for (std::size_t i = 0; i < n; ++i) all[i] = static_cast<unsigned int>(i);
    std::vector<unsigned int> used;
    for (const auto& column : list(connect)) used.insert(used.end(), column.begin(), column.end());

    V low;
    V high;
    V expected_low;
    V expected_high;
    low = start_low, high = start_high;
    EXPECT_EQ(inc_bounding_box(pos, low, high), 0);
    widened(all, expected_low, expected_high);
    EXPECT_EQ(parts(low), parts(expected_low));
    EXPECT_EQ(parts(high), parts(expected_high));

    low = start_low, high = start_high;
    EXPECT_EQ(inc_bounding_box(pos, vector_of(nodes), low, high), 0);
    widened(nodes, expected_low, expected_high);
    EXPECT_EQ(parts(low), parts(expected_low));
    EXPECT_EQ(parts(high), parts(expected_high));

    low = start_low, high = start_high;
    EXPECT_EQ(inc_bounding_box(pos, connect, low, high), 0);
    widened(used, expected_low, expected_high);
    EXPECT_EQ(parts(low), parts(expected_low));
    EXPECT_EQ(parts(high), parts(expected_high));
}

TEST(inc_bounding_box, agrees_with_a_plain_walk_on_random_nodes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        compare_boxes<vec2>(random);
        compare_boxes<vec3>(random);
        if (HasFailure()) break;
    }
}

} // namespace
