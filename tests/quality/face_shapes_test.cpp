#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "quality/plain_shapes.h"
#include "quality/random_elements.h"
#include "quality/shapes.h"
#include "quality/single_elements.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense2D;
using test::corners_of;
using test::element;
using test::ideal_elements;
using test::moved_ideal;
using test::near_ulps;
using test::plain_quality;
using test::points;
using test::quality_of;
using test::reordered;
using test::turned;
namespace plain = test::plain;

TEST(shape_qualities, gives_a_triangle_a_sign_in_the_plane_only) {
    test::random_source random(62003);
    for (int k = 0; k < 500; ++k) {
        const element e{kv7::ET_TRIA3, test::random_points(random, 2, 3, -1, 1)};
        const double q = quality_of(e);
        EXPECT_TRUE(near_ulps(quality_of(reordered(e, {1, 2, 0})), q, 16, 0.1));
        EXPECT_TRUE(near_ulps(quality_of(reordered(e, {2, 0, 1})), q, 16, 0.1));
        EXPECT_TRUE(near_ulps(quality_of(reordered(e, {0, 2, 1})), -q, 16, 0.1));
        EXPECT_TRUE(near_ulps(quality_of(reordered(e, {1, 0, 2})), -q, 16, 0.1));
        EXPECT_TRUE(near_ulps(quality_of(reordered(e, {2, 1, 0})), -q, 16, 0.1));
        element in_space{kv7::ET_TRIA3, dense2D<double>(3, 3, 0.25)};
        for (std::size_t c = 0; c < 3; ++c) std::copy_n(e.pos.column(c), 2, in_space.pos.column(c));
        EXPECT_TRUE(near_ulps(quality_of(in_space), std::fabs(q), 16, 0.1));
        EXPECT_TRUE(near_ulps(quality_of(reordered(in_space, {0, 2, 1})), std::fabs(q), 16, 0.1));
    }
}

// If the third side has the length of another, it is taken in the plane and not in space.
// Differences of these coordinates are exact, their products are not.
TEST(shape_qualities, takes_the_two_shortest_sides_of_an_isosceles_triangle_by_the_dimension) {
    test::random_source random(62020);
    int nbr_told_apart = 0;
    for (int k = 0; k < 500; ++k) {
        const double x = std::ldexp(static_cast<double>(random.below(1U << 30)), -30);
        const double y = std::ldexp(static_cast<double>(random.below(1U << 30)), -30);
        const element flat{kv7::ET_TRIA3, points({{x - y, y + x}, {x, y}, {0, 0}})};
        const element space{kv7::ET_TRIA3, points({{x - y, y + x, 0}, {x, y, 0}, {0, 0, 0}})};
        EXPECT_EQ(quality_of(flat), plain_quality(flat));
        EXPECT_EQ(quality_of(space), plain_quality(space));
        nbr_told_apart += (x - y) * y - (y + x) * x != (x - y) * -x - (y + x) * y;
    }
    EXPECT_GT(nbr_told_apart, 100);
}

TEST(shape_qualities, takes_the_smallest_corner_of_a_quadrangle_in_either_direction) {
    // Corner areas 2, 2, 1, 1; reversed they are the negatives, of which -2 is the smallest.
    const element e{kv7::ET_QUAD4, points({{0, 0}, {2, 0}, {1, 1}, {0, 1}})};
    const double d = std::sqrt(5.0) * (2.0 + std::sqrt(2.0) + 1.0 + 1.0);
    EXPECT_NEAR(quality_of(e), 4.0 * std::sqrt(2.0) / d, 1e-15);
    EXPECT_NEAR(quality_of(reordered(e, {0, 3, 2, 1})), -2.0 * 4.0 * std::sqrt(2.0) / d, 1e-15);
}

TEST(shape_qualities, gives_a_quadrangle_in_space_no_sign) {
    test::random_source random(62004);
    for (int k = 0; k < 500; ++k) {
        const element e{kv7::ET_QUAD4, test::random_points(random, 3, 4, -1, 1)};
        const double q = quality_of(e);
        EXPECT_GE(q, 0.0);
        EXPECT_NEAR(quality_of(reordered(e, {1, 2, 3, 0})), q, 1e-13);
        EXPECT_NEAR(quality_of(reordered(e, {2, 1, 0, 3})), q, 1e-13);
    }
}

TEST(shape_qualities, is_0_for_a_folded_quadrangle_in_space) {
    // A bow-tie, and a square folded flat along its diagonal.
    EXPECT_EQ(quality_of({kv7::ET_QUAD4, points({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}})}),
              0.0);
    EXPECT_EQ(
        quality_of({kv7::ET_QUAD4, points({{0, 0, 0}, {1, 0, 0}, {0.25, 0.25, 0}, {0, 1, 0}})}),
        0.0);
    // In the plane the bow-tie is negative.
    EXPECT_LT(quality_of({kv7::ET_QUAD4, points({{0, 0}, {1, 1}, {1, 0}, {0, 1}})}), 0.0);
}

TEST(shape_qualities, warps_a_quadrangle_by_its_most_different_normals) {
    // A square folded by a right angle along a diagonal: the normals of the two halves are at right
    // angles, those at the ends of the diagonal less apart.
    const element e{kv7::ET_QUAD4, points({{0, 0, 0}, {1, -1, 0}, {2, 0, 0}, {1, 0, 1}})};
    const double factor = 1.0 - std::sqrt(0.5);
    EXPECT_NEAR(quad_warp({{{0, 0, 0}, {1, -1, 0}, {2, 0, 0}, {1, 0, 1}}}), factor, 1e-15);
    EXPECT_NEAR(quality_of(e), std::sqrt(0.75) * factor, 1e-15);
    EXPECT_NEAR(quality_of(reordered(e, {1, 2, 3, 0})), std::sqrt(0.75) * factor, 1e-15);
}

TEST(shape_qualities, does_not_warp_a_planar_quadrangle) {
    test::random_source random(62005);
    for (int k = 0; k < 200; ++k) {
        element flat = moved_ideal(random, ideal_elements()[2], 0.15);
        element space{kv7::ET_QUAD4, dense2D<double>(3, 4, 0.0)};
        for (std::size_t c = 0; c < 4; ++c) std::copy_n(flat.pos.column(c), 2, space.pos.column(c));
        const plain::corners p = corners_of(space.pos);
        EXPECT_EQ(plain::warp(p), 1.0);
        EXPECT_TRUE(near_ulps(quality_of(space), quality_of(flat), 16));
        EXPECT_NEAR(quality_of({kv7::ET_QUAD4, turned(random, space.pos, 1.0)}), quality_of(flat),
                    1e-14);
    }
}

TEST(quad_warp, guards_each_product_of_normals) {
    EXPECT_EQ(quad_warp({{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}}), 1.0);
    EXPECT_EQ(quad_warp({{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}}}), 0.0);
    EXPECT_EQ(quad_warp({{{0, 0, 0}, {1, 0, 0}, {0, 0, 0}, {0, 1, 0}}}), 0.0);
    EXPECT_EQ(quad_warp({{{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}}}), 0.0);
    EXPECT_EQ(quad_warp({{{3, 3, 3}, {3, 3, 3}, {3, 3, 3}, {3, 3, 3}}}), 0.0);
}

// Opposite normals of this quadrangle have the same cosine, which rounds differently: the products
// are 180 / sqrt(38880) and 120 / sqrt(17280).
TEST(shape_qualities, takes_the_first_of_two_equal_warps_for_an_element_the_second_for_a_facet) {
    const element e{kv7::ET_QUAD4, points({{2, 1, -2}, {-2, -1, 0}, {-4, 1, 1}, {-4, 3, 0}})};
    const double first = 1.0 - std::sqrt((1.0 - 180.0 / std::sqrt(38880.0)) * 0.5);
    const double second = 1.0 - std::sqrt((1.0 - 120.0 / std::sqrt(17280.0)) * 0.5);
    ASSERT_NE(first, second);
    EXPECT_EQ(quad_warp({{{2, 1, -2}, {-2, -1, 0}, {-4, 1, 1}, {-4, 3, 0}}}), second);
    EXPECT_EQ(plain::warp(corners_of(e.pos)), second);
    EXPECT_EQ(plain::warp(corners_of(e.pos), true), first);
    const double perimeter = std::sqrt(44.0) + std::sqrt(5.0) + std::sqrt(9.0) + std::sqrt(24.0);
    const double without_warp =
        std::sqrt(36.0 / (45.0 * perimeter * perimeter)) * 5.656854249492381;
    EXPECT_EQ(quality_of(e), without_warp * first);
    ASSERT_NE(quality_of(e), without_warp * second);
}

} // namespace
