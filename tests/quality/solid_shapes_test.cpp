#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "quality/plain_shapes.h"
#include "quality/single_elements.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense2D;
using kv7::element_type;
using test::corners_of;
using test::element;
using test::ideal_elements;
using test::moved_ideal;
using test::points;
using test::quality_of;
using test::reordered;
namespace plain = test::plain;

TEST(shape_qualities, gives_a_tetrahedron_the_sign_of_its_orientation) {
    test::random_source random(62006);
    for (int k = 0; k < 200; ++k) {
        const element e{kv7::ET_TETRA4, test::random_points(random, 3, 4, -1, 1)};
        const double q = quality_of(e);
        std::vector<std::size_t> order = {0, 1, 2, 3};
        do {
            int nbr_inversions = 0;
            for (std::size_t i = 0; i < 4; ++i) {
                for (std::size_t j = i + 1; j < 4; ++j) nbr_inversions += order[i] > order[j];
            }
            const double expected = nbr_inversions % 2 == 0 ? q : -q;
            EXPECT_NEAR(quality_of(reordered(e, order)), expected, 2e-14);
        } while (std::next_permutation(order.begin(), order.end()));
    }
    EXPECT_GT(quality_of({kv7::ET_TETRA4, points({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}})}),
              0.5);
}

TEST(shape_qualities, keeps_its_value_when_a_solid_is_turned_in_itself) {
    struct turn {
        element_type type;
        std::vector<std::size_t> order;
    };
    const std::vector<turn> turns = {{kv7::ET_PYRA5, {1, 2, 3, 0, 4}},
                                     {kv7::ET_PENTA6, {1, 2, 0, 4, 5, 3}},
                                     {kv7::ET_PENTA6, {3, 5, 4, 0, 2, 1}},
                                     {kv7::ET_HEXA8, {1, 2, 3, 0, 5, 6, 7, 4}},
                                     {kv7::ET_HEXA8, {0, 3, 7, 4, 1, 2, 6, 5}}};
    test::random_source random(62007);
    const std::vector<element> ideals = ideal_elements();
    for (const auto& [type, order] : turns) {
        const auto ideal = std::find_if(ideals.begin(), ideals.end(),
                                        [t = type](const element& e) { return e.type == t; });
        int nbr_positive = 0;
        for (int k = 0; k < 300; ++k) {
            const element e = moved_ideal(random, *ideal, k % 2 ? 0.2 : 0.6);
            const double q = quality_of(e);
            nbr_positive += q > 0.0;
            // For bad elements the value depends on which bad facet comes first.
            const double again = quality_of(reordered(e, order));
            EXPECT_TRUE(std::fabs(again - q) < 1e-13 || std::max(again, q) <= 1e-12)
                << "type " << type << ": " << q << ", turned " << again;
        }
        EXPECT_GT(nbr_positive, 50);
    }
}

TEST(shape_qualities, is_negative_for_inverted_ideal_solids) {
    for (const element& ideal : ideal_elements()) {
        std::vector<std::size_t> mirrored;
        switch (ideal.type) {
        case kv7::ET_TETRA4: mirrored = {1, 0, 2, 3}; break;
        case kv7::ET_PYRA5: mirrored = {0, 3, 2, 1, 4}; break;
        case kv7::ET_PENTA6: mirrored = {3, 4, 5, 0, 1, 2}; break;
        case kv7::ET_HEXA8: mirrored = {4, 5, 6, 7, 0, 1, 2, 3}; break;
        default: continue;
        }
        EXPECT_NEAR(quality_of(reordered(ideal, mirrored)), -1.0, 1e-14);
        EXPECT_GE(quality_of(reordered(ideal, mirrored)), -1.0);
    }
}

TEST(shape_qualities, does_not_warp_a_cube_with_a_corner_pushed_through) {
    element cube = ideal_elements().back();
    cube.pos(2, 6) = -0.5;
    const double q = quality_of(cube);
    EXPECT_LT(q, 0.0);
    // The smallest determinants are -0.5, at nodes 2 and 6; the squared edges sum up to 15.75.
    EXPECT_NEAR(q, 24.0 * std::sqrt(3.0) * -0.5 / std::pow(15.75, 1.5), 1e-15);
}

TEST(shape_qualities, rates_the_flattest_pyramids_by_their_tetrahedra) {
    // The height is so small that the pyramid is just above q_zero, and the tetrahedra at its
    // corners are just below.
    const double h = 0x1p-41;
    const element e{kv7::ET_PYRA5,
                    points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, h}})};
    ASSERT_GT(plain::pyramid_shape(corners_of(e.pos)), 1.1e-12);
    EXPECT_NEAR(quality_of(e), std::sqrt(3.0) * h, 1e-15);
    // Twice as high, both are above.
    element higher = e;
    higher.pos(2, 4) = 2.0 * h;
    EXPECT_NEAR(quality_of(higher), plain::pyramid_shape(corners_of(higher.pos)), 1e-15);
}

TEST(shape_qualities, looks_at_the_tetrahedra_of_all_corners_of_a_pyramid) {
    // The apex is above the point at a quarter of the diagonal; only the tetrahedron at the corner
    // farthest from it is below q_zero.
    const double h = 0x1.8p-41;
    element e{kv7::ET_PYRA5, points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.25, 0.25, h}})};
    for (int turn = 0; turn < 4; ++turn) {
        EXPECT_NEAR(quality_of(e), 2.0 / std::sqrt(3.0) * h, 1e-15);
        e = reordered(e, {1, 2, 3, 0, 4});
    }
}

TEST(shape_qualities, warps_the_base_of_a_pyramid_in_space_only) {
    const element e{kv7::ET_PYRA5,
                    points({{0, 0, 0}, {1, 0, 0.25}, {1, 1, 0}, {0, 1, 0.25}, {0.5, 0.5, 1}})};
    const plain::corners p = corners_of(e.pos);
    ASSERT_LT(plain::warp(p), 0.9);
    EXPECT_NEAR(quality_of(e), plain::pyramid_shape(p) * plain::warp(p), 1e-15);
    element with_weights{kv7::ET_PYRA5, dense2D<double>(4, 5, 1.0)};
    for (std::size_t c = 0; c < 5; ++c) std::copy_n(e.pos.column(c), 3, with_weights.pos.column(c));
    EXPECT_NEAR(quality_of(with_weights), plain::pyramid_shape(p), 1e-15);
}

TEST(shape_qualities, rates_the_flattest_solids_by_the_tetrahedra_of_their_facets) {
    const double h = 0x1p-41;
    element e = ideal_elements().back();
    for (std::size_t c = 0; c < 8; ++c) e.pos(2, c) *= 2.0 * h;
    // By its corner determinants alone it would be above q_zero.
    ASSERT_GT(24.0 * std::sqrt(3.0) * 2.0 * h / std::pow(8.0, 1.5), 1.5e-12);
    EXPECT_NEAR(quality_of(e), std::sqrt(3.0) * h, 1e-15);
}

} // namespace
