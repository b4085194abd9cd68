#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/geometry.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

const double pi = std::acos(-1.0);
const double nan_value = std::nan("");
constexpr double infinity = std::numeric_limits<double>::infinity();

// Shape and values; NaN equals NaN.
void expect_same(const dense2D<double>& a, const dense2D<double>& b) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            if (std::isnan(b(r, c))) {
                EXPECT_TRUE(std::isnan(a(r, c))) << r << ", " << c;
            } else {
                EXPECT_EQ(a(r, c), b(r, c)) << r << ", " << c;
            }
        }
    }
}

void expect_near(const dense2D<double>& a, const dense2D<double>& b, double tolerance) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            EXPECT_NEAR(a(r, c), b(r, c), tolerance) << r << ", " << c;
        }
    }
}

template <class V> std::vector<double> parts(const V& v) {
    return std::vector<double>(v.data(), v.data() + sizeof(V) / sizeof(double));
}

dense2D<double> deep_copy(const dense2D<double>& a) {
    dense2D<double> result;
    result.copy(a);
    return result;
}

// Boxes.

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

TEST(inc_bounding_box, a_node_that_is_no_column_fails_and_a_sentinel_is_skipped) {
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

TEST(inc_bounding_box, a_connectivity_of_sentinels_widens_nothing_whatever_the_rows) {
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

// Centroids.

TEST(centroids, of_a_mixed_face_array_divide_by_three_and_four) {
    const dense2D<double> pos = points({{0, 0}, {3, 0}, {3, 3}, {0, 3}});
    dense2D<double> centers;
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, none}, {0, 1, 2, 3}}), centers, ET_FACE_MIX),
              0);
    expect_near(centers, points({{2, 1}, {1.5, 1.5}}), 1e-15);
}

TEST(centroids, of_quadratic_elements_are_refused_with_zeros_of_full_size) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {2, 0}, {2, 1}, {1, 2}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 4, 5}}), centers, ET_TRIA6), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}})));
}

TEST(centroids, clear_their_output_on_every_failure) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    const dense2D<unsigned int> triangle = connectivity({{0, 1, 2}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(dense2D<double>(4, 3, 0.0), triangle, centers, ET_TRIA3), -1);
    EXPECT_TRUE(centers.empty());
    centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 3}}), centers, ET_TRIA3), -2);
    EXPECT_TRUE(centers.empty());
}

TEST(centroids, look_at_the_connectivity_before_they_refuse_a_type) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 0, 1, 3}}), centers, ET_TRIA6), -2);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1}}), centers, ET_UNKNOWN), -2);
    EXPECT_TRUE(centers.empty());
    EXPECT_EQ(centroids(pos, connectivity({{0, 1}, {1, 2}}), centers, ET_BAR_MIX), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}, {0, 0}})));
    EXPECT_EQ(centroids(pos, connectivity({{0}}), centers, ET_NODE), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}})));
}

TEST(centroids, without_memory_give_minus_199_and_no_centers) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    for (const element_type type : {ET_BAR2, ET_BAR_MIX}) {
        dense2D<double> centers = points({{7, 7}});
        const memory_failure failure(0, true);
        EXPECT_EQ(centroids(pos, bars, centers, type), -199);
        EXPECT_TRUE(failure.happened());
        EXPECT_TRUE(centers.empty());
    }
}

TEST(centroids, need_coordinates_of_the_dimension_of_the_element) {
    dense2D<double> centers;
    const dense2D<double> line = points({{0}, {2}, {4}, {6}});
    const dense2D<double> plane = points({{0, 0}, {2, 0}, {0, 4}, {1, 1}});
    EXPECT_EQ(centroids(line, connectivity({{0, 1}}), centers, ET_BAR2), 0);
    EXPECT_EQ(list(centers), list(points({{1}})));
    EXPECT_EQ(centroids(line, connectivity({{0, 1, 2}}), centers, ET_TRIA3), -1);
    EXPECT_EQ(centroids(plane, connectivity({{0, 1, 2, 3}}), centers, ET_TETRA4), -1);
    EXPECT_EQ(centroids(plane, connectivity({{0, 1}}), centers, ET_BAR2), 0);
    EXPECT_EQ(list(centers), list(points({{1, 0}})));
}

TEST(centroids, rows_come_before_the_empty_mesh) {
    dense2D<double> centers;
    EXPECT_EQ(centroids(dense2D<double>(), dense2D<unsigned int>(), centers, ET_TRIA3), -1);
    const dense2D<double> pos = points({{0, 0, 0}});
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_TRIA3), 0);
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_FACE_MIX), 0);
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_TRIA6), -4);
    EXPECT_TRUE(centers.empty());
}

TEST(centroids, of_a_mixed_array_with_the_rows_of_one_shape_take_missing_rows_as_absent) {
    const dense2D<double> pos = points({{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}});
    dense2D<double> centers;
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2}}), centers, ET_FACE_MIX), 0);
    expect_near(centers, points({{1, 1, 0}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.75, 0.75, 0.75}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.6, 0.6, 1.2}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 3, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.5, 0.5, 1.5}}), 1e-15);
}

struct served_type {
    element_type type;
    std::size_t nbr_nodes;
    double factor;
};
const served_type served_types[] = {
    {ET_BAR2, 2, 0.5},    {ET_TRIA3, 3, 0.3333333333333333},
    {ET_QUAD4, 4, 0.25},  {ET_TETRA4, 4, 0.25},
    {ET_PYRA5, 5, 0.2},   {ET_PENTA6, 6, 0.16666666666666666},
    {ET_HEXA8, 8, 0.125},
};

std::vector<double> plain_centroid(const dense2D<double>& pos, const unsigned int* nodes,
                                   std::size_t n, double factor) {
    std::vector<double> center(pos.rows(), 0.0);
    for (std::size_t r = 0; r < pos.rows(); ++r) {
        double sum = pos(r, nodes[0]);
        for (std::size_t k = 1; k < n; ++k) sum += pos(r, nodes[k]);
        center[r] = sum * factor;
    }
    return center;
}

TEST(centroids, of_every_served_type_sum_in_column_order_and_multiply_once) {
    for (std::uint64_t seed = 0; seed < nbr_runs(400); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        for (const served_type& t : served_types) {
            const std::size_t dim = element_dim(t.type) + random.below(4 - element_dim(t.type));
            dense2D<double> pos = random_points(random, dim, 12, -5, 5);
            dense2D<unsigned int> connect(t.nbr_nodes, 1 + random.below(9));
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                for (std::size_t r = 0; r < t.nbr_nodes; ++r) connect(r, c) = random.id_below(12);
            }
            std::vector<std::vector<double>> expected;
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                expected.push_back(plain_centroid(pos, connect.column(c), t.nbr_nodes, t.factor));
            }
            if (random.one_in(2)) pos = with_gaps(pos, 2, 1e9);
            if (random.one_in(2)) connect = with_gaps(connect, 3, none);
            dense2D<double> parent(dim + 3, connect.cols() + 2, 4.0);
            dense2D<double> centers =
                random.one_in(2) ? parent.sub_matrix(1, 1, dim, 1) : dense2D<double>();
            ASSERT_EQ(centroids(pos, connect, centers, t.type), 0);
            EXPECT_EQ(list(centers), expected);
        }
        if (HasFailure()) break;
    }
}

TEST(centroids, of_mixed_solids_divide_by_the_nodes_of_each_column) {
    for (std::uint64_t seed = 0; seed < nbr_runs(400); ++seed) {
        random_source random(seed);
        const dense2D<double> pos = random_points(random, 3, 12, -5, 5);
        dense2D<unsigned int> connect(8, 6, none);
        std::vector<std::vector<double>> expected;
        for (std::size_t c = 0; c < connect.cols(); ++c) {
            const std::size_t n = random.one_of(std::vector<std::size_t>{4, 5, 6, 8});
            for (std::size_t r = 0; r < n; ++r) connect(r, c) = random.id_below(12);
            expected.push_back(
                plain_centroid(pos, connect.column(c), n, 1.0 / static_cast<double>(n)));
        }
        dense2D<double> centers;
        ASSERT_EQ(centroids(pos, connect, centers, ET_SOLID_MIX), 0);
        ASSERT_EQ(list(centers), expected) << seed;
    }
}

// Translation.

TEST(translate, by_a_vector_in_space_lifts_plane_nodes) {
    dense2D<double> pos = points({{1, 2}, {3, 4}});
    EXPECT_EQ(translate(pos, vec3{1, 0, 5}), 2);
    EXPECT_EQ(list(pos), list(points({{2, 2, 5}, {4, 4, 5}})));
}

TEST(translate, by_zero_touches_nothing) {
    dense2D<double> pos = points({{1, 2}, {3, 4}});
    EXPECT_EQ(translate(pos, vec3{0, 0, 0}), 0);
    EXPECT_EQ(translate(pos, vec3{0, -0.0, 0}, ids{0}), 0);
    EXPECT_EQ(translate(pos, vec3{0, 0, 0}, connectivity({{0, 1}})), 0);
    EXPECT_EQ(translate(pos, vec2{0, 0}, connectivity({{0, 1}})), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2}, {3, 4}})));
}

TEST(translate, of_no_nodes_gives_0) {
    dense2D<double> pos;
    EXPECT_EQ(translate(pos, vec2{1, 1}), 0);
    EXPECT_EQ(translate(pos, vec2{1, 1}, ids{0}), 0);
    EXPECT_EQ(translate(pos, vec3{1, 1, 1}, connectivity({{0}})), 0);
    EXPECT_TRUE(pos.empty());
}

TEST(translate, with_an_empty_list_does_not_grow) {
    dense2D<double> pos = points({{1, 2}});
    EXPECT_EQ(translate(pos, vec3{1, 1, 1}, ids()), 0);
    EXPECT_EQ(translate(pos, vec3{1, 1, 1}, connectivity({{none}})), 0);
    EXPECT_EQ(pos.rows(), 2U);
}

TEST(translate, a_list_skips_what_is_no_column_and_moves_repeated_nodes_again) {
    dense2D<double> pos = points({{1, 2}, {3, 4}});
    EXPECT_EQ(translate(pos, vec2{1, 10}, ids{1, none, 2, 1, 77}), 2);
    EXPECT_EQ(list(pos), list(points({{1, 2}, {5, 24}})));
}

TEST(translate, a_list_without_a_column_still_grows) {
    dense2D<double> pos = points({{1, 2}});
    EXPECT_EQ(translate(pos, vec3{1, 1, 1}, ids{9}), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2, 0}})));
}

TEST(translate, a_node_shared_by_elements_moves_once) {
    dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {1, 1}, {9, 9}});
    EXPECT_EQ(translate(pos, vec2{1, 1}, connectivity({{0, 1, 2}, {1, 3, 2}})), 4);
    EXPECT_EQ(list(pos), list(points({{1, 1}, {2, 1}, {1, 2}, {2, 2}, {9, 9}})));
}

TEST(translate, in_the_plane_leaves_z) {
    dense2D<double> pos = points({{0, 0, 7}});
    EXPECT_EQ(translate(pos, vec2{1, 2}), 1);
    EXPECT_EQ(translate(pos, vec2{1, 2}, ids{0}), 1);
    EXPECT_EQ(translate(pos, vec2{1, 2}, connectivity({{0}})), 1);
    EXPECT_EQ(list(pos), list(points({{3, 6, 7}})));
}

TEST(translate, by_NaN_is_a_move) {
    dense2D<double> pos = points({{0, 0}});
    EXPECT_EQ(translate(pos, vec2{nan_value, 1}), 1);
    expect_same(pos, points({{nan_value, 1}}));
}

TEST(translate, through_a_window_leaves_the_rest_of_the_block) {
    dense2D<double> parent(4, 3, 8.0);
    dense2D<double> pos = parent.sub_matrix(1, 0, 2, 3);
    EXPECT_EQ(translate(pos, vec2{1, 2}), 3);
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(parent(0, c), 8.0);
        EXPECT_EQ(parent(1, c), 9.0);
        EXPECT_EQ(parent(2, c), 10.0);
        EXPECT_EQ(parent(3, c), 8.0);
    }
}

// Rotation.

TEST(rotate, by_a_quarter_turn_takes_x_to_y) {
    dense2D<double> plane = points({{1, 0}});
    EXPECT_EQ(rotate(plane, vec2{0, 0}, pi / 2), 1);
    expect_near(plane, points({{0, 1}}), 1e-15);
    dense2D<double> space = points({{1, 0, 0}});
    EXPECT_EQ(rotate(space, vec3{0, 0, 0}, vec3{0, 0, pi / 2}), 1);
    expect_near(space, points({{0, 1, 0}}), 1e-15);
}

TEST(rotate, in_the_plane_follows_its_formula_to_the_last_bit) {
    for (std::uint64_t seed = 0; seed < nbr_runs(1000); ++seed) {
        random_source random(seed);
        dense2D<double> pos = random_points(random, 2, 5, -3, 3);
        const vec2 center{random.uniform(-3, 3), random.uniform(-3, 3)};
        const double angle = random.uniform(-7, 7);
        const double s = std::sin(angle);
        const double c = std::cos(angle);
        dense2D<double> expected = deep_copy(pos);
        for (std::size_t k = 0; k < 5; ++k) {
            const double dx = pos(0, k) - center[0];
            const double dy = pos(1, k) - center[1];
            expected(0, k) = center[0] + c * dx - s * dy;
            expected(1, k) = center[1] + s * dx + c * dy;
        }
        ASSERT_EQ(rotate(pos, center, angle), 5);
        ASSERT_EQ(list(pos), list(expected)) << seed;
    }
}

TEST(rotate, by_nothing_touches_nothing) {
    dense2D<double> pos = points({{1, 2}});
    EXPECT_EQ(rotate(pos, vec2{5, 5}, 0.0), 0);
    EXPECT_EQ(rotate(pos, vec2{5, 5}, -0.0, ids{0}), 0);
    EXPECT_EQ(rotate(pos, vec2{5, 5}, 0.0, connectivity({{0}})), 0);
    EXPECT_EQ(rotate(pos, vec3{5, 5, 5}, vec3{0, 0, 0}), 0);
    EXPECT_EQ(rotate(pos, vec3{5, 5, 5}, vec3{0, -0.0, 0}, ids{0}), 0);
    EXPECT_EQ(rotate(pos, vec3{5, 5, 5}, vec3{0, 0, 0}, connectivity({{0}})), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2}})));
    dense2D<double> nothing;
    EXPECT_EQ(rotate(nothing, vec2{0, 0}, 1.0), 0);
    EXPECT_EQ(rotate(nothing, vec3{0, 0, 0}, vec3{1, 0, 0}, ids{0}), 0);
    EXPECT_TRUE(nothing.empty());
}

TEST(rotate, in_space_grows_plane_nodes_and_in_the_plane_leaves_z) {
    dense2D<double> pos = points({{0, 1}});
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{pi / 2, 0, 0}, ids{0}), 1);
    expect_near(pos, points({{0, 0, 1}}), 1e-15);
    EXPECT_EQ(rotate(pos, vec2{0, 0}, 2.0), 1);
    EXPECT_NEAR(pos(2, 0), 1.0, 1e-15);
}

TEST(rotate, counts_the_moves_of_a_list_and_the_nodes_of_a_connectivity) {
    dense2D<double> pos = points({{1, 0}, {1, 0}, {1, 0}});
    EXPECT_EQ(rotate(pos, vec2{0, 0}, pi / 2, ids{0, 0, 3, none}), 2);
    EXPECT_EQ(rotate(pos, vec2{0, 0}, pi / 2, connectivity({{1, 2}, {2, none}})), 2);
    expect_near(pos, points({{-1, 0}, {0, 1}, {0, 1}}), 1e-15);
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, 0, pi / 2}, ids{1, 1, 9}), 2);
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, 0, pi}, connectivity({{1, 1}, {1, none}})), 1);
    expect_near(pos, points({{-1, 0, 0}, {0, 1, 0}, {0, 1, 0}}), 1e-15);
}

// The rotation by the exponential of the skew matrix, summed in extended precision.
std::vector<long double> plain_rotation(const vec3& v, const double* d) {
    std::vector<long double> term(d, d + 3);
    std::vector<long double> sum = term;
    for (int k = 1; k < 60; ++k) {
        const std::vector<long double> t = term;
        term = {(v[1] * t[2] - v[2] * t[1]) / k, (v[2] * t[0] - v[0] * t[2]) / k,
                (v[0] * t[1] - v[1] * t[0]) / k};
        for (std::size_t i = 0; i < 3; ++i) sum[i] += term[i];
    }
    return sum;
}

TEST(rotate, in_space_is_exact_to_rounding_on_both_sides_of_the_series_bound) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        vec3 v{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        const std::vector<double> lengths{1e-200,    1e-8, 0.05, 0.0999999, 0.1,
                                          0.1000001, 0.2,  1.0,  3.0,       6.0};
        const double wanted = random.one_of(lengths);
        for (std::size_t i = 0; i < 3; ++i) v[i] *= wanted / length;
        dense2D<double> pos = random_points(random, 3, 1, -1, 1);
        const vec3 center{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        const double d[3] = {pos(0, 0) - center[0], pos(1, 0) - center[1], pos(2, 0) - center[2]};
        const std::vector<long double> turned = plain_rotation(v, d);
        ASSERT_EQ(rotate(pos, center, v), 1);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(pos(i, 0), static_cast<double>(center[i] + turned[i]), 4e-15);
        }
        if (HasFailure()) break;
    }
}

TEST(rotate, in_space_agrees_with_the_plane_about_the_third_axis) {
    random_source random(5);
    for (int run = 0; run < 300; ++run) {
        dense2D<double> plane = random_points(random, 2, 4, -2, 2);
        dense2D<double> space = deep_copy(plane);
        const double angle = random.uniform(-4, 4);
        ASSERT_EQ(rotate(plane, vec2{1, -1}, angle), 4);
        ASSERT_EQ(rotate(space, vec3{1, -1, 3}, vec3{0, 0, angle}), 4);
        for (std::size_t c = 0; c < 4; ++c) {
            EXPECT_NEAR(plane(0, c), space(0, c), 4e-15);
            EXPECT_NEAR(plane(1, c), space(1, c), 4e-15);
            EXPECT_EQ(space(2, c), 0.0);
        }
    }
}

// Similarity.

TEST(zoom, by_two_doubles_the_distance_and_by_zero_collapses) {
    dense2D<double> pos = points({{2, 3}, {1, 1}});
    EXPECT_EQ(zoom(pos, vec2{1, 1}, 2.0), 2);
    EXPECT_EQ(list(pos), list(points({{3, 5}, {1, 1}})));
    EXPECT_EQ(zoom(pos, vec2{1, 1}, 0.0), 2);
    EXPECT_EQ(list(pos), list(points({{1, 1}, {1, 1}})));
}

TEST(zoom, returns_0_for_a_connectivity_and_for_a_list_after_moving) {
    dense2D<double> pos = points({{1, 0}, {2, 0}, {3, 0}});
    EXPECT_EQ(zoom(pos, vec2{0, 0}, 2.0, connectivity({{0, 1}, {1, none}})), 0);
    EXPECT_EQ(list(pos), list(points({{2, 0}, {4, 0}, {3, 0}})));
    EXPECT_EQ(zoom(pos, vec2{0, 0}, 2.0, ids{2, 2}), 0);
    EXPECT_EQ(list(pos), list(points({{2, 0}, {4, 0}, {12, 0}})));
}

TEST(zoom, by_one_and_without_nodes_touches_nothing) {
    dense2D<double> pos = points({{1, 2}});
    EXPECT_EQ(zoom(pos, vec3{0, 0, 0}, 1.0), 0);
    EXPECT_EQ(zoom(pos, vec3{0, 0, 0}, 1.0, ids{0}), 0);
    EXPECT_EQ(zoom(pos, vec3{0, 0, 0}, 1.0, connectivity({{0}})), 0);
    EXPECT_EQ(zoom(pos, vec3{0, 0, 0}, 2.0, ids()), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2}})));
    dense2D<double> nothing;
    EXPECT_EQ(zoom(nothing, vec2{0, 0}, 2.0), 0);
    EXPECT_EQ(zoom(nothing, vec2{0, 0}, 2.0, connectivity({{0}})), 0);
}

TEST(zoom, grows_plane_nodes_in_space_and_leaves_z_in_the_plane) {
    dense2D<double> pos = points({{1, 2}});
    EXPECT_EQ(zoom(pos, vec3{0, 0, 1}, 3.0), 1);
    EXPECT_EQ(list(pos), list(points({{3, 6, -2}})));
    EXPECT_EQ(zoom(pos, vec2{0, 0}, 2.0), 1);
    EXPECT_EQ(list(pos), list(points({{6, 12, -2}})));
    dense2D<double> other = points({{1, 2}});
    EXPECT_EQ(zoom(other, vec3{0, 0, 1}, 3.0, ids{0}), 0);
    EXPECT_EQ(list(other), list(points({{3, 6, -2}})));
}

TEST(maps, in_space_move_the_two_coordinates_there_are_without_memory_for_a_third) {
    const ids second{1};
    const auto moved = [](auto map) {
        dense2D<double> pos = points({{1, 2}, {3, 4}});
        const memory_failure failure(0, true);
        map(pos);
        EXPECT_TRUE(failure.happened());
        return pos;
    };
    const vec3 origin{0, 0, 0};
    const vec3 quarter{pi / 2, 0, 0}; // takes y to z, which is lost
    expect_same(moved([](auto& pos) {
                    EXPECT_EQ(translate(pos, vec3{1, 10, 5}), 2);
                }),
                points({{2, 12}, {4, 14}}));
    expect_same(moved([&](auto& pos) {
                    EXPECT_EQ(translate(pos, vec3{1, 10, 5}, second), 1);
                }),
                points({{1, 2}, {4, 14}}));
    expect_near(moved([&](auto& pos) { EXPECT_EQ(rotate(pos, origin, quarter), 2); }),
                points({{1, 0}, {3, 0}}), 1e-15);
    expect_near(moved([&](auto& pos) { EXPECT_EQ(rotate(pos, origin, quarter, second), 1); }),
                points({{1, 2}, {3, 0}}), 1e-15);
    expect_same(moved([&](auto& pos) { EXPECT_EQ(zoom(pos, origin, 3.0), 2); }),
                points({{3, 6}, {9, 12}}));
    expect_same(moved([&](auto& pos) { EXPECT_EQ(zoom(pos, origin, 3.0, second), 0); }),
                points({{1, 2}, {9, 12}}));
}

TEST(maps, of_a_connectivity_move_the_nodes_that_memory_lets_them_list) {
    const dense2D<unsigned int> connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  dense2D<double> pos(2, 5, 1.0);
                  vec2 low{9, 9};
                  vec2 high{-9, -9};
                  int nbr_moves = 0;
                  bool happened = false;
                  {
                      const memory_failure failure(k, and_later);
                      nbr_moves = translate(pos, vec2{2, 0}, connect);
                      EXPECT_EQ(zoom(pos, vec2{0, 0}, 1.0, connect), 0);
                      EXPECT_EQ(inc_bounding_box(pos, connect, low, high), 0);
                      happened = failure.happened();
                  }
                  for (unsigned int id = 0; id < 5; ++id) {
                      const bool moved = id < static_cast<unsigned int>(nbr_moves);
                      EXPECT_EQ(pos(0, id), moved ? 3.0 : 1.0);
                  }
                  EXPECT_TRUE(happened || nbr_moves == 4);
                  return happened;
              }),
              2U);
}

template <class V> void compare_maps(random_source& random) {
    constexpr std::size_t dim = sizeof(V) / sizeof(double);
    const std::size_t n = 1 + random.below(20);
    const std::size_t rows = 1 + random.below(3);
    const dense2D<double> start = random_points(random, rows, n, -2, 2);
    V v;
    V center;
    for (std::size_t i = 0; i < dim; ++i) {
        v[i] = random.one_in(4) ? 0.0 : random.uniform(-2, 2);
        center[i] = random.uniform(-2, 2);
    }
    const bool none_moves = std::all_of(v.data(), v.data() + dim, [](double x) { return x == 0; });
    const double factor = random.uniform(-2, 2);

    dense2D<unsigned int> connect(3, 1 + random.below(6));
    std::set<unsigned int> used;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const auto column = random_ids(random, 3, n, 5);
        std::copy(column.begin(), column.end(), connect.column(c));
        used.insert(column.begin(), column.end());
    }
    used.erase(none);
    if (random.one_in(2)) connect = with_gaps(connect, 1, 0U);
    std::vector<unsigned int> nodes = random_ids(random, random.below(12), n, 0);

    const auto fresh = [&] {
        return random.one_in(2) ? with_gaps(start, 1 + random.below(3), 77.0) : deep_copy(start);
    };
    const auto shifted = [&](const std::vector<unsigned int>& moved) {
        dense2D<double> pos = deep_copy(start);
        if (none_moves || moved.empty()) return pos;
        if (rows < dim) pos.resize(dim, n, 0.0);
        for (const unsigned int id : moved) {
            for (std::size_t i = 0; i < dim; ++i) pos(i, id) += v[i];
        }
        return pos;
    };
    const auto zoomed = [&](const std::vector<unsigned int>& moved) {
        dense2D<double> pos = deep_copy(start);
        if (moved.empty()) return pos;
        if (rows < dim) pos.resize(dim, n, 0.0);
        for (const unsigned int id : moved) {
            for (std::size_t i = 0; i < dim; ++i) {
                pos(i, id) = pos(i, id) + (pos(i, id) - center[i]) * (factor - 1.0);
            }
        }
        return pos;
    };
    std::vector<unsigned int> all(n);
    for (std::size_t i = 0; i < n; ++i) all[i] = static_cast<unsigned int>(i);
    const std::vector<unsigned int> distinct(used.begin(), used.end());

    dense2D<double> pos = fresh();
    EXPECT_EQ(translate(pos, v), none_moves ? 0 : static_cast<int>(n));
    expect_same(pos, shifted(all));
    pos = fresh();
    EXPECT_EQ(translate(pos, v, vector_of(nodes)), none_moves ? 0 : static_cast<int>(nodes.size()));
    expect_same(pos, shifted(nodes));
    pos = fresh();
    EXPECT_EQ(translate(pos, v, connect), none_moves ? 0 : static_cast<int>(distinct.size()));
    expect_same(pos, shifted(distinct));

    pos = fresh();
    EXPECT_EQ(zoom(pos, center, factor), static_cast<int>(n));
    expect_same(pos, zoomed(all));
    pos = fresh();
    EXPECT_EQ(zoom(pos, center, factor, vector_of(nodes)), 0);
    expect_same(pos, zoomed(nodes));
    pos = fresh();
    EXPECT_EQ(zoom(pos, center, factor, connect), 0);
    expect_same(pos, zoomed(distinct));
}

TEST(maps, agree_with_plain_loops_to_the_last_bit) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        compare_maps<vec2>(random);
        compare_maps<vec3>(random);
        if (HasFailure()) break;
    }
}

// A map of all nodes, of the list of all nodes and of a connectivity that uses all are the same.
TEST(maps, rotate_the_same_in_all_three_forms) {
    random_source random(11);
    for (int run = 0; run < 300; ++run) {
        const std::size_t n = 3;
        const dense2D<double> start = random_points(random, 3, n, -2, 2);
        const vec3 center{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        const vec3 v{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        dense2D<double> a = deep_copy(start);
        dense2D<double> b = with_gaps(start, 2, 0.0);
        dense2D<double> c = deep_copy(start);
        EXPECT_EQ(rotate(a, center, v), 3);
        EXPECT_EQ(rotate(b, center, v, ids{2, 0, 1}), 3);
        EXPECT_EQ(rotate(c, center, v, connectivity({{0, 1}, {1, 2}})), 3);
        EXPECT_EQ(list(a), list(b));
        EXPECT_EQ(list(a), list(c));
        dense2D<double> d = deep_copy(start);
        dense2D<double> e = with_gaps(start, 2, 0.0);
        EXPECT_EQ(rotate(d, vec2{center[0], center[1]}, v[2]), 3);
        EXPECT_EQ(rotate(e, vec2{center[0], center[1]}, v[2], connectivity({{2, 1, 0}})), 3);
        EXPECT_EQ(list(d), list(e));
    }
}

} // namespace
