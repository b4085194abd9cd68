#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <vector>

#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/geometry.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

const double pi = std::acos(-1.0);

dense2D<double> unit_square() { return points({{0, 0}, {1, 0}, {1, 1}, {0, 1}}); }

void expect_near(const dense2D<double>& a, const dense2D<double>& b, double tolerance) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            EXPECT_NEAR(a(r, c), b(r, c), tolerance) << r << ", " << c;
        }
    }
}

// The coordinates that the columns of a connectivity stand on, one after another.
dense2D<double> corners(const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    dense2D<double> result(pos.rows(), connect.rows() * connect.cols());
    std::size_t at = 0;
    for (const auto& column : list(connect)) {
        for (const unsigned int id : column) {
            for (std::size_t r = 0; r < pos.rows(); ++r) result(r, at) = pos(r, id);
            ++at;
        }
    }
    return result;
}

TEST(copy_mesh, appends_the_nodes_in_the_order_in_which_they_are_seen) {
    dense2D<double> pos(2, 10);
    for (std::size_t c = 0; c < 10; ++c) pos(0, c) = pos(1, c) = static_cast<double>(c);
    dense2D<unsigned int> copy = connectivity({{1, 2}});
    EXPECT_EQ(copy_mesh(pos, copy, connectivity({{7, 2, 5}})), 0);
    EXPECT_EQ(pos.cols(), 13U);
    EXPECT_EQ(list(copy), list(connectivity({{10, 11, 12}})));
    EXPECT_EQ(pos(0, 10), 7);
    EXPECT_EQ(pos(0, 11), 2);
    EXPECT_EQ(pos(1, 12), 5);
}

TEST(copy_mesh, replaces_and_leaves_the_source_alone) {
    dense2D<double> pos = unit_square();
    const dense2D<unsigned int> source = connectivity({{0, 1, 2}, {0, 2, none}});
    dense2D<unsigned int> copy;
    EXPECT_EQ(copy_mesh(pos, copy, source), 0);
    EXPECT_EQ(copy_mesh(pos, copy, source), 0);
    EXPECT_EQ(list(copy), list(connectivity({{7, 8, 9}, {7, 9, none}})));
    EXPECT_EQ(list(source), list(connectivity({{0, 1, 2}, {0, 2, none}})));
    EXPECT_EQ(pos.cols(), 10U);
}

TEST(copy_mesh, may_write_over_its_source) {
    dense2D<double> pos = unit_square();
    dense2D<unsigned int> connect = connectivity({{3, 1}});
    EXPECT_EQ(copy_mesh(pos, connect, connect), 0);
    EXPECT_EQ(list(connect), list(connectivity({{4, 5}})));
}

TEST(copy_mesh, of_nothing_is_nothing) {
    dense2D<double> pos = unit_square();
    dense2D<unsigned int> copy = connectivity({{1}});
    EXPECT_EQ(copy_mesh(pos, copy, dense2D<unsigned int>()), 0);
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(pos.cols(), 4U);
    EXPECT_EQ(copy_mesh(pos, copy, connectivity({{none, none}})), 0);
    EXPECT_EQ(list(copy), list(connectivity({{none, none}})));
    EXPECT_EQ(pos.cols(), 4U);
}

TEST(copy_mesh, with_a_shift_puts_copies_at_growing_offsets) {
    dense2D<double> pos = unit_square();
    const dense2D<unsigned int> square = connectivity({{0, 1, 2, 3}});
    dense2D<unsigned int> copies;
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{5, 5}, 0.0, 3, square), 0);
    EXPECT_EQ(list(copies), list(connectivity({{4, 5, 6, 7}, {8, 9, 10, 11}, {12, 13, 14, 15}})));
    EXPECT_EQ(list(corners(pos, copies)), list(points({{1, 0},
                                                       {2, 0},
                                                       {2, 1},
                                                       {1, 1},
                                                       {2, 0},
                                                       {3, 0},
                                                       {3, 1},
                                                       {2, 1},
                                                       {3, 0},
                                                       {4, 0},
                                                       {4, 1},
                                                       {3, 1}})));
    EXPECT_EQ(list(corners(pos, square)), list(unit_square()));
}

TEST(copy_mesh, with_an_angle_turns_about_the_fixed_centre_back_to_the_source) {
    dense2D<double> pos = points({{1, 0}, {2, 0}});
    dense2D<unsigned int> copies;
    EXPECT_EQ(copy_mesh(pos, copies, vec2{0, 0}, vec2{0, 0}, pi / 2, 4, connectivity({{0, 1}})), 0);
    EXPECT_EQ(list(copies), list(connectivity({{2, 3}, {4, 5}, {6, 7}, {8, 9}})));
    expect_near(corners(pos, copies),
                points({{0, 1}, {0, 2}, {-1, 0}, {-2, 0}, {0, -1}, {0, -2}, {1, 0}, {2, 0}}),
                2e-15);
}

TEST(copy_mesh, turns_before_it_shifts) {
    dense2D<double> pos = points({{1, 0}});
    dense2D<unsigned int> copies;
    EXPECT_EQ(copy_mesh(pos, copies, vec2{10, 0}, vec2{0, 0}, pi / 2, 2, connectivity({{0}})), 0);
    expect_near(corners(pos, copies), points({{10, 1}, {19, 0}}), 2e-15);
    dense2D<double> solid = points({{1, 0, 0}});
    copies.clear();
    EXPECT_EQ(copy_mesh(solid, copies, vec3{10, 0, 3}, vec3{0, 0, 0}, vec3{0, 0, pi / 2}, 2,
                        connectivity({{0}})),
              0);
    expect_near(corners(solid, copies), points({{10, 1, 3}, {19, 0, 6}}), 2e-15);
}

TEST(copy_mesh, with_a_pattern_appends) {
    dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    dense2D<unsigned int> copies;
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(copy_mesh(pos, copies, vec3{0, 1, 0}, vec3{0, 0, 0}, vec3{0, 0, 0}, 2, bar), 0);
    }
    EXPECT_EQ(list(copies), list(connectivity({{2, 3}, {4, 5}, {6, 7}, {8, 9}})));
    EXPECT_EQ(copy_mesh(pos, copies, bar), 0);
    EXPECT_EQ(list(copies), list(connectivity({{10, 11}})));
}

TEST(copy_mesh, with_no_copies_or_nodes_does_nothing) {
    dense2D<double> pos = points({{0, 0}});
    dense2D<unsigned int> copies = connectivity({{4, 4}});
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 1}, vec2{0, 0}, 1.0, 0, connectivity({{0, 0}})), 0);
    dense2D<double> nothing;
    EXPECT_EQ(copy_mesh(nothing, copies, vec3{1, 1, 1}, vec3{0, 0, 0}, vec3{1, 0, 0}, 3,
                        connectivity({{0, 0}})),
              0);
    EXPECT_EQ(list(copies), list(connectivity({{4, 4}})));
    EXPECT_EQ(pos.cols(), 1U);
    EXPECT_TRUE(nothing.empty());
}

TEST(copy_mesh, in_space_lifts_plane_nodes) {
    dense2D<double> pos = points({{1, 0}});
    dense2D<unsigned int> copies;
    EXPECT_EQ(
        copy_mesh(pos, copies, vec3{0, 0, 2}, vec3{0, 0, 0}, vec3{0, 0, 0}, 2, connectivity({{0}})),
        0);
    EXPECT_EQ(list(pos), list(points({{1, 0, 0}, {1, 0, 2}, {1, 0, 4}})));
}

TEST(copy_mesh, in_space_leaves_plane_nodes_where_it_neither_turns_nor_shifts) {
    dense2D<double> pos = points({{1, -0.0}});
    dense2D<unsigned int> copies;
    EXPECT_EQ(copy_mesh(pos, copies, vec3{0, -0.0, 0}, vec3{5, 5, 5}, vec3{0, 0, 0}, 2,
                        connectivity({{0}})),
              0);
    ASSERT_EQ(list(pos), list(points({{1, 0}, {1, 0}, {1, 0}})));
    for (std::size_t c = 0; c < 3; ++c) EXPECT_TRUE(std::signbit(pos(1, c)));
    EXPECT_EQ(list(copies), list(connectivity({{1}, {2}})));
}

TEST(copy_mesh, with_a_pattern_leaves_out_copies_that_fit_no_column) {
    dense2D<double> pos = points({{0, 0}, {1, 0}});
    dense2D<unsigned int> copies = connectivity({{4, 4, 4}});
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 0.0, 2, connectivity({{1}})), 0);
    EXPECT_EQ(list(copies), list(connectivity({{4, 4, 4}})));
    EXPECT_EQ(list(pos), list(points({{0, 0}, {1, 0}, {2, 0}, {3, 0}})));
}

// Nodes, connectivity and every transformed position, for random meshes behind windows.
TEST(copy_mesh, agrees_with_a_plain_pattern_on_random_meshes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t dim = 2 + random.below(2);
        const std::size_t n = 1 + random.below(12);
        const dense2D<double> start = random_points(random, dim, n, -1, 1);
        dense2D<unsigned int> source(1 + random.below(5), 1 + random.below(6));
        for (std::size_t c = 0; c < source.cols(); ++c) {
            const auto column = random_ids(random, source.rows(), n, 7);
            std::copy(column.begin(), column.end(), source.column(c));
        }
        std::vector<unsigned int> used;
        std::map<unsigned int, unsigned int> place;
        for (const auto& column : list(source)) {
            for (const unsigned int id : column) {
                if (id == none || place.count(id)) continue;
                place[id] = static_cast<unsigned int>(used.size());
                used.push_back(id);
            }
        }
        dense2D<double> pos =
            random.one_in(2) ? with_gaps(start, 2, 9.0) : with_gaps(start, 0, 9.0);
        const dense2D<unsigned int> connect = random.one_in(2) ? with_gaps(source, 3, 5U) : source;
        dense2D<unsigned int> parent(source.rows() + 2, 4, 3U);
        dense2D<unsigned int> copies = parent.sub_matrix(1, 1, source.rows(), 1);
        if (random.one_in(2)) copies.clear();
        std::vector<std::vector<unsigned int>> expected = list(copies);

        const auto nbr_copies = 1 + random.id_below(4);
        const vec3 shift{random.uniform(-1, 1), random.uniform(-1, 1),
                         dim == 2 ? 0.0 : random.uniform(-1, 1)};
        const vec3 center{random.uniform(-1, 1), random.uniform(-1, 1), 0.5};
        const double angle = random.one_in(3) ? 0.0 : random.uniform(-2, 2);
        const int result =
            dim == 2
                ? copy_mesh(pos, copies, vec2{shift[0], shift[1]}, vec2{center[0], center[1]},
                            angle, nbr_copies, connect)
                : copy_mesh(pos, copies, shift, center, vec3{0, 0, angle}, nbr_copies, connect);
        ASSERT_EQ(result, 0);
        ASSERT_EQ(pos.cols(), n + nbr_copies * used.size());
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < dim; ++r) ASSERT_EQ(pos(r, c), start(r, c));
        }
        for (std::size_t k = 0; k < nbr_copies; ++k) {
            const std::size_t first = n + k * used.size();
            const double f = static_cast<double>(k) + 1.0;
            for (const auto& column : list(source)) {
                expected.push_back(column);
                for (unsigned int& id : expected.back()) {
                    if (id != none) id = static_cast<unsigned int>(first) + place[id];
                }
            }
            for (std::size_t u = 0; u < used.size(); ++u) {
                const double dx = start(0, used[u]) - center[0];
                const double dy = start(1, used[u]) - center[1];
                const double cosine = std::cos(f * angle);
                const double sine = std::sin(f * angle);
                EXPECT_NEAR(pos(0, first + u), center[0] + cosine * dx - sine * dy + f * shift[0],
                            1e-14);
                EXPECT_NEAR(pos(1, first + u), center[1] + sine * dx + cosine * dy + f * shift[1],
                            1e-14);
                if (dim == 3) {
                    EXPECT_NEAR(pos(2, first + u), start(2, used[u]) + f * shift[2], 1e-14);
                }
            }
        }
        EXPECT_EQ(list(copies), expected);
        if (HasFailure()) break;
    }
}

// Mirror images.

TEST(copy_sym_mesh, mirrors_about_a_point_whatever_the_length_of_the_normal) {
    dense2D<double> pos = points({{0, 5}, {3, -1}});
    dense2D<unsigned int> image;
    EXPECT_EQ(copy_sym_mesh(pos, image, vec2{1, 0}, vec2{2, 0}, connectivity({{1, 0}})), 0);
    EXPECT_EQ(list(image), list(connectivity({{2, 3}})));
    EXPECT_EQ(list(pos), list(points({{0, 5}, {3, -1}, {-1, -1}, {2, 5}})));
}

TEST(copy_sym_mesh, of_an_empty_mesh_comes_before_the_zero_normal) {
    dense2D<double> nothing;
    dense2D<unsigned int> image = connectivity({{4}});
    EXPECT_EQ(copy_sym_mesh(nothing, image, vec2{0, 0}, vec2{0, 0}, connectivity({{0}})), 0);
    EXPECT_EQ(copy_sym_mesh(nothing, image, vec3{0, 0, 0}, vec3{0, 0, 0}, connectivity({{0}})), 0);
    dense2D<double> pos = points({{1, 1}});
    EXPECT_EQ(copy_sym_mesh(pos, image, vec2{0, 0}, vec2{0, -0.0}, connectivity({{0}})), -4);
    EXPECT_EQ(copy_sym_mesh(pos, image, vec3{0, 0, 0}, vec3{0, 0, 0}, connectivity({{0}})), -4);
    EXPECT_EQ(list(image), list(connectivity({{4}})));
    EXPECT_EQ(list(pos), list(points({{1, 1}})));
}

TEST(copy_sym_mesh, leaves_z_in_the_plane_and_lifts_in_space) {
    dense2D<double> pos = points({{1, 2, 3}});
    dense2D<unsigned int> image;
    EXPECT_EQ(copy_sym_mesh(pos, image, vec2{0, 0}, vec2{0, 1}, connectivity({{0}})), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2, 3}, {1, -2, 3}})));
    dense2D<double> plane = points({{1, 2}});
    EXPECT_EQ(copy_sym_mesh(plane, image, vec3{0, 0, 1}, vec3{0, 0, 4}, connectivity({{0}})), 0);
    EXPECT_EQ(list(plane), list(points({{1, 2, 0}, {1, 2, 2}})));
}

TEST(copy_sym_mesh, in_space_lifts_plane_nodes_though_it_copies_none) {
    dense2D<double> pos = points({{1, 2}});
    dense2D<unsigned int> image = connectivity({{4}});
    EXPECT_EQ(copy_sym_mesh(pos, image, vec3{0, 0, 1}, vec3{0, 0, 4}, dense2D<unsigned int>()), 0);
    EXPECT_EQ(list(pos), list(points({{1, 2, 0}})));
    EXPECT_TRUE(image.empty());
    // A pattern that moves no node leaves them.
    dense2D<double> plane = points({{1, 2}});
    EXPECT_EQ(copy_mesh(plane, image, vec3{0, 0, 1}, vec3{0, 0, 0}, vec3{1, 0, 0}, 2,
                        connectivity({{none}})),
              0);
    EXPECT_EQ(list(plane), list(points({{1, 2}})));
    EXPECT_EQ(list(image), list(connectivity({{none}, {none}})));
}

TEST(copy_sym_mesh, follows_its_formula_to_the_last_bit_on_axes) {
    random_source random(3);
    for (int run = 0; run < 500; ++run) {
        const std::size_t axis = random.below(3);
        dense2D<double> pos = random_points(random, 3, 1, -4, 4);
        vec3 normal{0, 0, 0};
        normal[axis] = random.uniform(0.5, 2);
        const vec3 point{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        const double p = pos(axis, 0);
        const double s =
            ((p - point[axis]) * normal[axis]) * (-2.0 / (normal[axis] * normal[axis]));
        dense2D<unsigned int> image;
        ASSERT_EQ(copy_sym_mesh(pos, image, point, normal, connectivity({{0}})), 0);
        for (std::size_t r = 0; r < 3; ++r) {
            EXPECT_EQ(pos(r, 1), r == axis ? p + s * normal[axis] : pos(r, 0));
        }
    }
}

TEST(copy_sym_mesh, twice_is_the_source_again) {
    random_source random(4);
    for (int run = 0; run < 300; ++run) {
        dense2D<double> pos = random_points(random, 3, 4, -1, 1);
        const dense2D<unsigned int> tetrahedron = connectivity({{0, 1, 2, 3}});
        const vec3 point{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        const vec3 normal{random.uniform(0.1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
        dense2D<unsigned int> image;
        dense2D<unsigned int> again;
        ASSERT_EQ(copy_sym_mesh(pos, image, point, normal, tetrahedron), 0);
        ASSERT_EQ(copy_sym_mesh(pos, again, point, normal, image), 0);
        EXPECT_EQ(list(image), list(connectivity({{4, 5, 6, 7}})));
        EXPECT_EQ(list(again), list(connectivity({{8, 9, 10, 11}})));
        expect_near(corners(pos, again), corners(pos, tetrahedron), 1e-14);
        // The middle of a node and its image lies on the plane, and the way along the normal.
        for (std::size_t c = 0; c < 4; ++c) {
            double middle = 0;
            for (std::size_t r = 0; r < 3; ++r) {
                middle += ((pos(r, c) + pos(r, c + 4)) / 2 - point[r]) * normal[r];
            }
            EXPECT_NEAR(middle, 0.0, 1e-14);
        }
    }
}

// Memory.

dense2D<double> own_copy(const dense2D<double>& source) {
    dense2D<double> result;
    result.copy(source);
    return result;
}

TEST(copy_mesh, without_memory_gives_199_or_the_whole_copy) {
    const dense2D<double> start = unit_square();
    const dense2D<unsigned int> source = connectivity({{0, 1, 2}, {0, 2, 3}});
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        dense2D<double> pos = own_copy(start);
        dense2D<unsigned int> copy = connectivity({{9, 9, 9}});
        int result = 0;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            result = copy_mesh(pos, copy, source);
            happened = failure.happened();
        }
        // The list of distinct nodes comes out shorter without a word when memory fails for it.
        EXPECT_TRUE(result == 0 || result == -199) << result;
        if (!happened) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(list(copy), list(connectivity({{4, 5, 6}, {4, 6, 7}})));
        }
        for (std::size_t c = 0; c < 4; ++c) {
            for (std::size_t r = 0; r < 2; ++r) EXPECT_EQ(pos(r, c), start(r, c));
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 4U);
}

TEST(copy_mesh, with_a_pattern_survives_every_failing_allocation) {
    const dense2D<unsigned int> source = connectivity({{0, 1, 2, 3}});
    const auto attempt = [&](auto call) {
        return fail_each_allocation([&](std::size_t k, bool and_later) {
            dense2D<double> pos = unit_square();
            dense2D<unsigned int> copies = connectivity({{0, 1, 2, 3}});
            int result = 0;
            bool happened = false;
            {
                const memory_failure failure(k, and_later);
                result = call(pos, copies);
                happened = failure.happened();
            }
            EXPECT_TRUE(result == 0 || result == -199) << result;
            if (!happened) {
                EXPECT_EQ(result, 0);
                EXPECT_EQ(pos.cols(), 12U);
                EXPECT_EQ(copies.cols(), 3U);
            }
            EXPECT_EQ(copies.column(0)[3], 3U);
            return happened;
        });
    };
    EXPECT_GT(attempt([&](dense2D<double>& pos, dense2D<unsigned int>& copies) {
                  return copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 1.0, 2, source);
              }),
              8U);
    EXPECT_GT(
        attempt([&](dense2D<double>& pos, dense2D<unsigned int>& copies) {
            return copy_mesh(pos, copies, vec3{1, 0, 0}, vec3{0, 0, 0}, vec3{0, 0, 1}, 2, source);
        }),
        8U);
}

TEST(copy_sym_mesh, survives_every_failing_allocation) {
    const dense2D<unsigned int> source = connectivity({{0, 1, 2, 3}});
    EXPECT_GT(fail_each_allocation([&](std::size_t k, bool and_later) {
                  dense2D<double> pos = unit_square();
                  dense2D<unsigned int> image;
                  int result = 0;
                  bool happened = false;
                  {
                      const memory_failure failure(k, and_later);
                      result = copy_sym_mesh(pos, image, vec3{2, 0, 0}, vec3{1, 0, 0}, source);
                      happened = failure.happened();
                  }
                  EXPECT_TRUE(result == 0 || result == -199) << result;
                  if (!happened) {
                      EXPECT_EQ(list(image), list(connectivity({{4, 5, 6, 7}})));
                      EXPECT_EQ(pos.rows(), 3U);
                  }
                  return happened;
              }),
              4U);
}

} // namespace
