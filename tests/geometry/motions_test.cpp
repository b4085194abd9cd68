#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

#include "geometry/geometry_arrays.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/geometry.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

const double pi = std::acos(-1.0);

// ---- Translation

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

// ---- Rotation

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

// ---- Zoom

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

// ---- All three

TEST(motions, in_space_move_the_two_coordinates_there_are_without_memory_for_a_third) {
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

TEST(motions, of_a_connectivity_move_the_nodes_that_memory_lets_them_list) {
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

template <class V> void compare_motions(random_source& random) {
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

TEST(motions, agree_with_plain_loops_to_the_last_bit) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        compare_motions<vec2>(random);
        compare_motions<vec3>(random);
        if (HasFailure()) break;
    }
}

// A motion of all nodes, of the list of all nodes and of a connectivity that uses all is the same.
TEST(motions, rotate_the_same_in_all_three_forms) {
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
