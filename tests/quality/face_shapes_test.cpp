#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "quality/plain_shapes.h"
#include "quality/random_elements.h"
#include "quality/shapes.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
using test::connectivity;
using test::near_ulps;
using test::none;
using test::points;
namespace plain = test::plain;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// An element of a mesh of its own, whose nodes are the corners in order.
struct element {
    element_type type;
    dense2D<double> pos;
};

dense2D<unsigned int> in_order(std::size_t n) {
    dense2D<unsigned int> connect(n, 1);
    for (std::size_t r = 0; r < n; ++r) connect(r, 0) = static_cast<unsigned int>(r);
    return connect;
}

double quality_of(const element& e) {
    dense1D<double, 8> qualities;
    EXPECT_EQ(shape_qualities(e.pos, in_order(e.pos.cols()), e.type, qualities), 0);
    EXPECT_EQ(qualities.size(), 1U);
    return qualities.size() == 1 ? qualities[0] : -7.0;
}

plain::corners corners_of(const dense2D<double>& pos) {
    plain::corners p(pos.cols());
    for (std::size_t c = 0; c < p.size(); ++c) {
        p[c] = {pos(0, c), pos(1, c), pos.rows() > 2 ? pos(2, c) : 0.0};
    }
    return p;
}

bool is_face(element_type type) { return kv7::tessmaker::element_dim(type) == 2; }

double plain_quality(const element& e) {
    return plain::quality(corners_of(e.pos), is_face(e.type), e.pos.rows() == 2);
}

// The nodes of `e` in another order.
element reordered(const element& e, const std::vector<std::size_t>& order) {
    element result{e.type, dense2D<double>(e.pos.rows(), e.pos.cols())};
    for (std::size_t c = 0; c < order.size(); ++c) {
        std::copy_n(e.pos.column(order[c]), e.pos.rows(), result.pos.column(c));
    }
    return result;
}

std::vector<element> ideal_elements() {
    const double h = std::sqrt(0.5);
    const double r3 = std::sqrt(3.0);
    return {
        {kv7::ET_TRIA3, points({{0, 0}, {1, 0}, {0.5, r3 / 2}})},
        {kv7::ET_TRIA3, points({{0, 0, 0}, {1, 0, 0}, {0.5, r3 / 2, 0}})},
        {kv7::ET_QUAD4, points({{0, 0}, {1, 0}, {1, 1}, {0, 1}})},
        {kv7::ET_QUAD4, points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}})},
        {kv7::ET_TETRA4, points({{-1, 1, -1}, {1, 1, 1}, {1, -1, -1}, {-1, -1, 1}})},
        {kv7::ET_PYRA5, points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, h}})},
        {kv7::ET_PENTA6,
         points({{0, 0, 0}, {1, 0, 0}, {0.5, r3 / 2, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, r3 / 2, 1}})},
        {kv7::ET_HEXA8, points({{0, 0, 0},
                                {1, 0, 0},
                                {1, 1, 0},
                                {0, 1, 0},
                                {0, 0, 1},
                                {1, 0, 1},
                                {1, 1, 1},
                                {0, 1, 1}})}};
}

// Turned by random angles and scaled.
dense2D<double> turned(test::random_source& random, const dense2D<double>& pos, double scale) {
    dense2D<double> result(pos.rows(), pos.cols());
    std::array<double, 3> angles = {random.uniform(0, 7), random.uniform(0, 7),
                                    random.uniform(0, 7)};
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        std::array<double, 3> x = {pos(0, c), pos(1, c), pos.rows() > 2 ? pos(2, c) : 0.0};
        for (std::size_t axis = 0; axis < (pos.rows() == 2 ? 1U : 3U); ++axis) {
            double& u = x[axis % 3];
            double& v = x[(axis + 1) % 3];
            const double u_before = u;
            u = std::cos(angles[axis]) * u - std::sin(angles[axis]) * v;
            v = std::sin(angles[axis]) * u_before + std::cos(angles[axis]) * v;
        }
        for (std::size_t r = 0; r < pos.rows(); ++r) result(r, c) = x[r] * scale;
    }
    return result;
}

const element_type served_types[] = {kv7::ET_BAR2,  kv7::ET_TRIA3,  kv7::ET_QUAD4, kv7::ET_TETRA4,
                                     kv7::ET_PYRA5, kv7::ET_PENTA6, kv7::ET_HEXA8};
const element_type unserved_types[] = {
    kv7::ET_NODE,    kv7::ET_BAR_MIX, kv7::ET_BAR3,   kv7::ET_TRIA6,  kv7::ET_QUAD8,
    kv7::ET_QUAD9,   kv7::ET_TETRA10, kv7::ET_PYRA13, kv7::ET_PYRA14, kv7::ET_PENTA15,
    kv7::ET_PENTA18, kv7::ET_HEXA20,  kv7::ET_HEXA27};

// A random element about as good as elements of meshes are: the ideal one with its corners moved.
element moved_ideal(test::random_source& random, const element& ideal, double by) {
    element e{ideal.type, turned(random, ideal.pos, std::exp(random.uniform(-2, 2)))};
    const double scale = plain::norm(corners_of(e.pos)[1] - corners_of(e.pos)[0]) * by;
    for (std::size_t c = 0; c < e.pos.cols(); ++c) {
        for (std::size_t r = 0; r < e.pos.rows(); ++r) {
            e.pos(r, c) += scale * random.uniform(-1, 1);
        }
    }
    return e;
}

// The ideal element with that side, rounded, and its corners moved by one `step` or none.
element moved_on_grid(test::random_source& random, const element& ideal, double side, double step) {
    element e{ideal.type, dense2D<double>(ideal.pos.rows(), ideal.pos.cols())};
    for (std::size_t c = 0; c < e.pos.cols(); ++c) {
        for (std::size_t r = 0; r < e.pos.rows(); ++r) {
            const double move = static_cast<double>(random.below(3)) - 1.0;
            e.pos(r, c) = std::round(side * ideal.pos(r, c)) + move * step;
        }
    }
    return e;
}

TEST(shape_qualities, is_1_for_ideal_shapes_in_any_rotation_and_scale) {
    test::random_source random(62001);
    for (const element& ideal : ideal_elements()) {
        SCOPED_TRACE("type " + std::to_string(ideal.type));
        EXPECT_NEAR(quality_of(ideal), 1.0, 1e-15);
        for (int power = -100; power <= 100; power += 4) {
            const double scale = std::pow(10.0, power);
            const double q = quality_of({ideal.type, turned(random, ideal.pos, scale)});
            EXPECT_NEAR(q, 1.0, 1e-14) << "scale 1e" << power;
            EXPECT_LE(q, 1.0);
        }
    }
}

TEST(shape_qualities, is_1_for_bars) {
    dense1D<double, 8> qualities;
    EXPECT_EQ(shape_qualities(points({{0, 0}, {nan_value, 0}}),
                              connectivity({{0, 1}, {0, 0}, {1, 1}}), kv7::ET_BAR2, qualities),
              0);
    EXPECT_EQ(test::list(qualities), (std::vector<double>{1.0, 1.0, 1.0}));
}

TEST(shape_qualities, does_not_depend_on_the_unit) {
    test::random_source random(62002);
    for (const element& ideal : ideal_elements()) {
        for (int k = 0; k < 40; ++k) {
            const element e = moved_ideal(random, ideal, 0.3);
            const double q = quality_of(e);
            for (const int power : {-330, -200, -100, -30, 30, 100, 200, 330}) {
                element scaled = {e.type, dense2D<double>(e.pos.rows(), e.pos.cols())};
                for (std::size_t c = 0; c < e.pos.cols(); ++c) {
                    for (std::size_t r = 0; r < e.pos.rows(); ++r) {
                        scaled.pos(r, c) = std::ldexp(e.pos(r, c), power);
                    }
                }
                EXPECT_EQ(quality_of(scaled), q) << "type " << e.type << ", 2^" << power;
            }
        }
    }
}

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

// In the plane the third side is as good as an equal one, in space it has to be shorter.
// Differences of such coordinates are exact, their products are not.
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
    // In the plane the bow-tie has a sign.
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
            // The walk over the facets ends at the first bad one.
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

TEST(shape_qualities, is_0_for_elements_without_size) {
    test::random_source random(62008);
    for (const element& ideal : ideal_elements()) {
        SCOPED_TRACE("type " + std::to_string(ideal.type));
        const std::size_t n = ideal.pos.cols();
        const std::size_t rows = ideal.pos.rows();
        // All nodes at one place, all in a line, and solids all in a plane.
        EXPECT_EQ(quality_of({ideal.type, dense2D<double>(rows, n, 0.0)}), 0.0);
        EXPECT_EQ(quality_of({ideal.type, dense2D<double>(rows, n, 1e10)}), 0.0);
        element line{ideal.type, dense2D<double>(rows, n, 2.0)};
        for (std::size_t c = 0; c < n; ++c) line.pos(0, c) = static_cast<double>(c * c);
        EXPECT_EQ(quality_of(line), 0.0);
        if (is_face(ideal.type)) continue;
        for (int k = 0; k < 50; ++k) {
            element plane{ideal.type, test::grid_points(random, 3, n, 7)};
            for (std::size_t c = 0; c < n; ++c) {
                plane.pos(2, c) = plane.pos(0, c) - 2.0 * plane.pos(1, c);
            }
            EXPECT_EQ(quality_of(plane), 0.0);
        }
    }
}

TEST(shape_qualities, is_not_above_0_with_coincident_nodes) {
    for (const element& ideal : ideal_elements()) {
        for (std::size_t i = 0; i < ideal.pos.cols(); ++i) {
            for (std::size_t j = 0; j < ideal.pos.cols(); ++j) {
                if (i == j) continue;
                std::vector<std::size_t> order(ideal.pos.cols());
                std::iota(order.begin(), order.end(), std::size_t{0});
                order[i] = j;
                const element e = reordered(ideal, order);
                EXPECT_LE(quality_of(e), 1e-12) << "type " << ideal.type;
                EXPECT_NEAR(quality_of(e), plain_quality(e), 1e-15);
            }
        }
    }
}

TEST(shape_qualities, agrees_with_plain_formulas_on_integer_coordinates) {
    // Full of ties.
    test::random_source random(62009);
    for (const element& ideal : ideal_elements()) {
        for (int k = 0; k < 3000; ++k) {
            element e =
                moved_on_grid(random, ideal, static_cast<double>(random.between(1, 4)), 1.0);
            if (k % 3 == 0) {
                e.pos = test::grid_points(random, ideal.pos.rows(), ideal.pos.cols(),
                                          random.between(2, 8));
            }
            EXPECT_EQ(quality_of(e), plain_quality(e))
                << "type " << e.type << ", rows " << e.pos.rows();
        }
    }
}

TEST(shape_qualities, agrees_with_plain_formulas_on_random_elements) {
    test::random_source random(62010);
    for (const element& ideal : ideal_elements()) {
        int nbr_positive = 0;
        for (int k = 0; k < 3000; ++k) {
            const element e =
                k % 4 == 0 ? element{ideal.type, test::random_points(random, ideal.pos.rows(),
                                                                     ideal.pos.cols(), -1, 1)}
                           : moved_ideal(random, ideal, k % 4 * 0.15);
            const double q = quality_of(e);
            nbr_positive += q > 1e-3;
            EXPECT_EQ(q, plain_quality(e)) << "type " << e.type << ", rows " << e.pos.rows();
        }
        EXPECT_GT(nbr_positive, 800);
    }
}

TEST(shape_qualities, agrees_with_plain_formulas_on_nearly_flat_elements) {
    test::random_source random(62011);
    for (const element& ideal : ideal_elements()) {
        if (ideal.pos.rows() == 2) continue;
        for (int k = 0; k < 3000; ++k) {
            element e = moved_ideal(random, ideal, 0.1);
            const double height = std::pow(10.0, random.uniform(-17, -2));
            for (std::size_t c = 0; c < e.pos.cols(); ++c) e.pos(2, c) = height * e.pos(2, c);
            EXPECT_EQ(quality_of(e), plain_quality(e))
                << "type " << e.type << ", height " << height;
        }
    }
}

// Three corners lie nearly on a line, so that a facet is thin while others need not be; every
// second element is flat besides.
TEST(shape_qualities, agrees_with_plain_formulas_on_needles) {
    test::random_source random(62019);
    for (const element& ideal : ideal_elements()) {
        if (ideal.pos.rows() == 2) continue;
        const std::size_t n = ideal.pos.cols();
        for (int k = 0; k < 3000; ++k) {
            element e = moved_ideal(random, ideal, 0.1);
            const double height = k % 2 == 0 ? 1.0 : std::pow(10.0, random.uniform(-12, -4));
            for (std::size_t c = 0; c < n; ++c) e.pos(2, c) *= height;
            const std::size_t a = random.below(n);
            const std::size_t b = (a + random.between(1, n - 1)) % n;
            const std::size_t moved = random.below(n);
            const double place = random.uniform(-1, 2);
            const double off = std::pow(10.0, random.uniform(-17, -4));
            for (std::size_t r = 0; r < 3; ++r) {
                e.pos(r, moved) = e.pos(r, a) + place * (e.pos(r, b) - e.pos(r, a)) +
                                  off * (r == 2 ? height : 1.0) * random.uniform(-1, 1);
            }
            EXPECT_EQ(quality_of(e), plain_quality(e)) << "type " << e.type << ", off by " << off;
        }
    }
}

// Twice the exact determinant needs at most 126 bits for coordinates below 2^39.
__extension__ using int128 = __int128;

int exact_sign(const std::array<std::array<long long, 3>, 4>& p) {
    std::array<std::array<int128, 3>, 3> d;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) d[i][k] = p[i][k] - p[3][k];
    }
    const int128 value = d[0][0] * (d[1][1] * d[2][2] - d[1][2] * d[2][1]) +
                         d[0][1] * (d[1][2] * d[2][0] - d[1][0] * d[2][2]) +
                         d[0][2] * (d[1][0] * d[2][1] - d[1][1] * d[2][0]);
    return (value > 0) - (value < 0);
}

long long random_integer(test::random_source& random, long long limit) {
    return static_cast<long long>(random.below(static_cast<std::size_t>(2 * limit))) - limit;
}

struct sign_counts {
    int right = 0;
    int zero = 0;
    int wrong = 0;
    int flat_not_zero = 0; // exactly flat ones with a sign, above the bound of zero
};

// Draws tetrahedra by `draw` and compares signs of qualities above the bound of zero.
template <class Draw> sign_counts count_signs(Draw draw, int nbr) {
    sign_counts counts;
    for (int k = 0; k < nbr; ++k) {
        const std::array<std::array<long long, 3>, 4> p = draw();
        element e{kv7::ET_TETRA4, dense2D<double>(3, 4)};
        for (std::size_t c = 0; c < 4; ++c) {
            for (std::size_t r = 0; r < 3; ++r) e.pos(r, c) = static_cast<double>(p[c][r]);
        }
        const double q = quality_of(e);
        const int sign = exact_sign(p);
        if (std::fabs(q) <= 1e-12) {
            ++counts.zero;
        } else if (sign == 0) {
            ++counts.flat_not_zero;
        } else if ((q > 0.0) == (sign > 0)) {
            ++counts.right;
        } else {
            ++counts.wrong;
        }
    }
    return counts;
}

void record(const std::string& name, const sign_counts& counts) {
    testing::Test::RecordProperty(name + "_right", counts.right);
    testing::Test::RecordProperty(name + "_zero", counts.zero);
    testing::Test::RecordProperty(name + "_wrong", counts.wrong);
}

TEST(shape_qualities, gives_nearly_flat_tetrahedra_their_exact_sign) {
    constexpr long long limit = 1LL << 38;
    test::random_source random(62012);
    // The last node stands some units beside the plane of the others, from 0 to about 1e-8 of the
    // size.
    const sign_counts caps = count_signs(
        [&] {
            std::array<std::array<long long, 3>, 4> p;
            for (std::size_t c = 0; c < 3; ++c) {
                for (long long& x : p[c]) x = random_integer(random, limit);
            }
            const double u = random.uniform(0, 1);
            const double v = random.uniform(0, 1 - u);
            const double range = std::exp2(random.uniform(0, 11));
            for (std::size_t k = 0; k < 3; ++k) {
                const double x = u * static_cast<double>(p[0][k]) +
                                 v * static_cast<double>(p[1][k]) +
                                 (1 - u - v) * static_cast<double>(p[2][k]);
                p[3][k] = std::llround(x + random.uniform(-range, range));
            }
            return p;
        },
        20000);
    record("caps", caps);
    EXPECT_EQ(caps.wrong, 0);
    EXPECT_EQ(caps.flat_not_zero, 0);
    EXPECT_GT(caps.right, 5000);

    // All nodes close to one line: the surface is small as well, so that the quality is not.
    const sign_counts needles = count_signs(
        [&] {
            std::array<std::array<long long, 3>, 4> p;
            std::array<double, 3> direction;
            for (double& x : direction) x = random.uniform(-1, 1);
            const double width = std::exp2(random.uniform(0, 24));
            for (auto& corner : p) {
                const double along = random.uniform(-0.5, 0.5) * static_cast<double>(limit);
                for (std::size_t k = 0; k < 3; ++k) {
                    corner[k] = std::llround(along * direction[k] + random.uniform(-width, width));
                }
            }
            return p;
        },
        20000);
    record("needles", needles);
    EXPECT_GT(needles.right, needles.zero + needles.wrong);
    EXPECT_LE(needles.wrong, 20);
}

TEST(shape_qualities, lets_no_order_of_nodes_change_the_sign_of_a_doubtful_tetrahedron) {
    // Thin enough that single orders disagree.
    test::random_source random(62013);
    int nbr_zero = 0;
    int nbr_disagreeing = 0;
    for (int k = 0; k < 4000; ++k) {
        element e{kv7::ET_TETRA4, dense2D<double>(3, 4)};
        for (std::size_t c = 0; c < 4; ++c) {
            const double along = random.uniform(-1, 1);
            for (std::size_t r = 0; r < 3; ++r) {
                e.pos(r, c) =
                    0.3 * static_cast<double>(r + 1) * along + random.uniform(-1, 1) * 1e-14;
            }
        }
        const double q = quality_of(e);
        const double expected = plain_quality(e);
        nbr_zero += q == 0.0;
        nbr_disagreeing += (q > 0.0) != (expected > 0.0) && (q < 0.0) != (expected < 0.0);
        EXPECT_GE(q * expected, -1e-24);
    }
    EXPECT_GT(nbr_zero, 0);
    RecordProperty("zero", nbr_zero);
    RecordProperty("disagreeing", nbr_disagreeing);
}

TEST(shape_qualities, gives_a_doubtful_tetrahedron_one_value_in_every_even_order) {
    test::random_source random(62017);
    const std::vector<std::vector<std::size_t>> even = {{1, 2, 0, 3}, {1, 0, 3, 2}, {3, 2, 1, 0},
                                                        {0, 2, 3, 1}, {2, 1, 3, 0}, {3, 0, 2, 1}};
    const auto check = [&](const element& e) {
        const double q = quality_of(e);
        if (std::fabs(q) <= 1e-12) return false;
        for (const std::vector<std::size_t>& order : even) {
            EXPECT_EQ(quality_of(reordered(e, order)), q);
        }
        return true;
    };
    int nbr_needles = 0;
    int nbr_flat = 0;
    for (int k = 0; k < 500; ++k) {
        element needle{kv7::ET_TETRA4, dense2D<double>(3, 4)};
        for (std::size_t c = 0; c < 4; ++c) {
            const double along = random.uniform(-1, 1);
            for (std::size_t r = 0; r < 3; ++r) {
                needle.pos(r, c) =
                    0.3 * static_cast<double>(r + 1) * along + random.uniform(-1, 1) * 3e-8;
            }
        }
        nbr_needles += check(needle);
        // A square whose corners stand alternately above and below their plane.
        element flat{kv7::ET_TETRA4, points({{0, 0, 1}, {1, 1, 1}, {1, 0, -1}, {0, 1, -1}})};
        for (std::size_t c = 0; c < 4; ++c) {
            flat.pos(0, c) += random.uniform(-0.2, 0.2);
            flat.pos(1, c) += random.uniform(-0.2, 0.2);
            flat.pos(2, c) = flat.pos(2, c) * 1e-11 + 0.5 * flat.pos(0, c) + 0.7 * flat.pos(1, c);
        }
        nbr_flat += check(flat);
    }
    EXPECT_GT(nbr_needles, 100);
    EXPECT_GT(nbr_flat, 400);
}

TEST(shape_qualities, rates_the_flattest_pyramids_by_their_tetrahedra) {
    // The height is so small that the pyramid is just above the bound of zero, and the tetrahedra
    // at its corners are just below.
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
    // The apex stands over a quarter of the diagonal; the tetrahedron at the corner farthest from
    // it alone is below the bound of zero.
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
    // As the corners tell it would be above the bound of zero.
    ASSERT_GT(24.0 * std::sqrt(3.0) * 2.0 * h / std::pow(8.0, 1.5), 1.5e-12);
    EXPECT_NEAR(quality_of(e), std::sqrt(3.0) * h, 1e-15);
}

TEST(shape_qualities, treats_coordinates_that_are_not_finite_by_their_comparisons) {
    const auto triangle = [](double x, double y) {
        return element{kv7::ET_TRIA3, points({{x, y}, {1, 1}, {0, 0}})};
    };
    // Without a length above 0 there is no shape; a ratio of two infinities is the worst.
    for (std::size_t c = 0; c < 3; ++c) {
        for (const std::size_t rows : {std::size_t{2}, std::size_t{3}}) {
            element e{kv7::ET_TRIA3, dense2D<double>(rows, 3, 0.0)};
            e.pos(0, 1) = e.pos(1, 2) = 1.0;
            e.pos(1, c) = nan_value;
            EXPECT_EQ(quality_of(e), 0.0) << "corner " << c << ", rows " << rows;
        }
    }
    EXPECT_EQ(quality_of(triangle(infinite, 0)), -1.0);
    EXPECT_EQ(quality_of({kv7::ET_TRIA3, points({{infinite, 0, 0}, {1, 1, 0}, {0, 0, 0}})}), -1.0);
    EXPECT_EQ(quality_of({kv7::ET_QUAD4, points({{nan_value, 0}, {1, 0}, {1, 1}, {0, 1}})}), 0.0);
    EXPECT_EQ(
        quality_of({kv7::ET_QUAD4, points({{nan_value, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}})}),
        0.0);

    test::random_source random(62014);
    const std::vector<double> wild = {nan_value, infinite, -infinite, 1e308, -1e308,
                                      1.7e308,   5e-324,   1e-160,    1e160, -0.0};
    for (const element& ideal : ideal_elements()) {
        for (int k = 0; k < 3000; ++k) {
            element e{ideal.type, dense2D<double>(ideal.pos.rows(), ideal.pos.cols())};
            const std::size_t every = random.between(1, 12);
            for (std::size_t c = 0; c < e.pos.cols(); ++c) {
                for (std::size_t r = 0; r < e.pos.rows(); ++r) {
                    e.pos(r, c) = random.one_in(every) ? random.one_of(wild) : ideal.pos(r, c);
                }
            }
            const double q = quality_of(e);
            EXPECT_FALSE(q < -1.0 || q > 1.0) << "type " << e.type << ": " << q;
            EXPECT_FALSE(e.type == kv7::ET_TRIA3 && std::isnan(q));
        }
    }
}

TEST(shape_qualities, stays_within_its_bounds_on_huge_and_tiny_elements) {
    test::random_source random(62015);
    for (const element& ideal : ideal_elements()) {
        for (int k = 0; k < 500; ++k) {
            element e{ideal.type, dense2D<double>(ideal.pos.rows(), ideal.pos.cols())};
            for (std::size_t c = 0; c < e.pos.cols(); ++c) {
                for (std::size_t r = 0; r < e.pos.rows(); ++r) {
                    e.pos(r, c) = random.uniform(-1, 1) * std::pow(10.0, random.uniform(-300, 300));
                }
            }
            const double q = quality_of(e);
            EXPECT_FALSE(q < -1.0 || q > 1.0);
        }
    }
}

TEST(shape_qualities, takes_coordinates_of_any_number_of_rows) {
    for (const element& ideal : ideal_elements()) {
        for (const std::size_t rows : {std::size_t{1}, std::size_t{2}, std::size_t{4}}) {
            element e{ideal.type, dense2D<double>(rows, ideal.pos.cols(), 0.0)};
            for (std::size_t c = 0; c < e.pos.cols(); ++c) {
                std::copy_n(ideal.pos.column(c), std::min(rows, ideal.pos.rows()), e.pos.column(c));
            }
            const double q = quality_of(e);
            EXPECT_FALSE(q < -1.0 || q > 1.0);
            EXPECT_TRUE(rows != 1 || q == 0.0);
        }
    }
}

TEST(shape_qualities, rates_the_columns_of_every_type_in_order) {
    test::random_source random(62016);
    std::vector<element_type> types(std::begin(served_types), std::end(served_types));
    types.push_back(kv7::ET_FACE_MIX);
    types.push_back(kv7::ET_SOLID_MIX);
    for (const element_type type : types) {
        for (int round = 0; round < 60; ++round) {
            const std::size_t dim = is_face(type) ? random.between(2, 3) : 3;
            dense2D<double> pos;
            dense2D<unsigned int> connect;
            const std::size_t n = random.between(8, 60);
            pos = random.one_in(2) ? test::random_points(random, dim, n, -1, 1)
                                   : test::grid_points(random, dim, n, 3);
            connect = test::random_elements(random, type, random.between(1, 30), n);
            element_type of = type;
            if (type == kv7::ET_FACE_MIX && random.one_in(3)) {
                connect = test::first_rows(connect, 3);
            }
            if (round % 5 == 4) {
                // A uniform array under the mixed type of its dimension.
                if (type == kv7::ET_TRIA3) of = kv7::ET_FACE_MIX;
                if (type == kv7::ET_TETRA4 || type == kv7::ET_PYRA5 || type == kv7::ET_PENTA6) {
                    of = kv7::ET_SOLID_MIX;
                }
            }
            if (random.one_in(2)) {
                pos = test::with_gaps(pos, 2, nan_value);
                connect = test::with_gaps(connect, 1, 0xDDDDDDDDU);
            }
            dense1D<double, 8> qualities = test::vector_of<double>({7.0, 7.0});
            ASSERT_EQ(shape_qualities(pos, connect, of, qualities), 0);
            ASSERT_EQ(qualities.size(), connect.cols());
            double smallest = 1.0;
            unsigned int first = none;
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                plain::corners p;
                for (std::size_t r = 0; r < connect.rows() && connect(r, c) != none; ++r) {
                    const double* const x = pos.column(connect(r, c));
                    p.push_back({x[0], x[1], pos.rows() > 2 ? x[2] : 0.0});
                }
                EXPECT_EQ(qualities[c], plain::quality(p, is_face(type), pos.rows() == 2))
                    << "type " << type << ", corners " << p.size();
                if (qualities[c] < smallest) {
                    smallest = qualities[c];
                    first = static_cast<unsigned int>(c);
                }
            }
            double q_min = -7.0;
            unsigned int index = 7;
            EXPECT_EQ(min_quality(pos, connect, of, q_min, index), 0);
            EXPECT_EQ(q_min, smallest);
            EXPECT_EQ(index, first);
        }
    }
}

// An element of any kind: good, flat, inverted, degenerate, wild, in any unit.
dense2D<double> any_corners(test::random_source& random, const element& ideal) {
    const std::size_t n = ideal.pos.cols();
    switch (random.below(8)) {
    case 0: return moved_ideal(random, ideal, random.uniform(0, 1)).pos;
    case 1: return test::grid_points(random, 3, n, random.between(1, 4));
    case 2: {
        dense2D<double> pos = moved_ideal(random, ideal, 0.1).pos;
        const double height = std::pow(10.0, random.uniform(-14, 0));
        for (std::size_t c = 0; c < n; ++c) pos(2, c) *= height;
        return pos;
    }
    case 3: return turned(random, ideal.pos, std::pow(10.0, random.uniform(-100, 100)));
    case 4: {
        dense2D<double> pos = moved_ideal(random, ideal, 0.2).pos;
        const std::vector<double> wild = {nan_value, infinite, 1e300, 1e-300, -0.0};
        pos(random.below(3), random.below(n)) = random.one_of(wild);
        return pos;
    }
    case 5: {
        // One corner is pushed towards another, or through it.
        dense2D<double> pos = moved_ideal(random, ideal, 0.2).pos;
        const std::size_t a = random.below(n);
        const std::size_t b = random.below(n);
        const double way = random.uniform(0, 1.5);
        for (std::size_t r = 0; r < 3; ++r) pos(r, a) += way * (pos(r, b) - pos(r, a));
        return pos;
    }
    case 6: {
        // Nearly ideal, with warped facets whose pairs of normals often differ in rounding only.
        const int digits = static_cast<int>(random.between(4, 20));
        return moved_on_grid(random, ideal, 1.0, std::ldexp(1.0, -digits)).pos;
    }
    default: return turned(random, moved_ideal(random, ideal, 0.01).pos, 1.0);
    }
}

// Columns are rated in pairs, the last of an odd number alone.
TEST(shape_qualities, gives_an_element_the_same_bits_beside_any_other) {
    test::random_source random(62018);
    for (const element& ideal : ideal_elements()) {
        if (ideal.pos.rows() == 2) continue;
        const std::size_t nbr_elements = 2 * test::nbr_runs(1500) + 1;
        const std::size_t n = ideal.pos.cols();
        dense2D<double> pos(3, n * nbr_elements);
        dense2D<unsigned int> connect(n, nbr_elements);
        std::vector<double> alone;
        for (std::size_t c = 0; c < nbr_elements; ++c) {
            const element e{ideal.type, any_corners(random, ideal)};
            alone.push_back(quality_of(e));
            for (std::size_t r = 0; r < n; ++r) {
                connect(r, c) = static_cast<unsigned int>(c * n + r);
                std::copy_n(e.pos.column(r), 3, pos.column(c * n + r));
            }
        }
        dense1D<double, 8> qualities;
        ASSERT_EQ(shape_qualities(pos, connect, ideal.type, qualities), 0);
        std::size_t nbr_good = 0;
        for (std::size_t c = 0; c < nbr_elements; ++c) {
            EXPECT_EQ(std::bit_cast<std::uint64_t>(qualities[c]),
                      std::bit_cast<std::uint64_t>(alone[c]))
                << "type " << ideal.type << ": " << qualities[c] << " beside " << qualities[c ^ 1U]
                << ", " << alone[c] << " alone";
            nbr_good += qualities[c] > 1e-3;
        }
        EXPECT_GT(nbr_good, nbr_elements / 4);
    }
}

TEST(shape_qualities, takes_every_mesh_of_the_zoo) {
    for (const test::mesh& m : test::zoo()) {
        SCOPED_TRACE(m.name);
        dense1D<double, 8> qualities = test::vector_of<double>({7.0});
        const bool is_served =
            m.connect.empty() || (m.type != kv7::ET_BAR_MIX && m.type != kv7::ET_TRIA6);
        EXPECT_EQ(shape_qualities(m.pos, m.connect, m.type, qualities), is_served ? 0 : -3);
        EXPECT_EQ(qualities.size(), is_served ? m.connect.cols() : 0U);
        for (const double q : qualities) EXPECT_FALSE(q < -1.0 || q > 1.0);
    }
}

TEST(shape_qualities, serves_only_types_of_straight_elements) {
    const dense2D<double> pos(3, 30, 1.0);
    for (const element_type type : unserved_types) {
        dense1D<double, 8> qualities = test::vector_of<double>({7.0});
        double q_min = -7.0;
        unsigned int index = 7;
        const dense2D<unsigned int> connect(nbr_nodes(type), 2, 3U);
        EXPECT_EQ(shape_qualities(pos, connect, type, qualities), -3) << "type " << type;
        EXPECT_TRUE(qualities.empty());
        EXPECT_EQ(min_quality(pos, connect, type, q_min, index), -3);
        EXPECT_EQ(q_min, 1.0);
        EXPECT_EQ(index, none);
        // A bad connectivity is the earlier answer.
        q_min = -7.0;
        index = 7;
        qualities = test::vector_of<double>({7.0});
        const dense2D<unsigned int> bad(nbr_nodes(type), 2, 30U);
        EXPECT_EQ(shape_qualities(pos, bad, type, qualities), -2);
        EXPECT_TRUE(qualities.empty());
        EXPECT_EQ(min_quality(pos, bad, type, q_min, index), -2);
        EXPECT_EQ(q_min, 1.0);
        EXPECT_EQ(index, none);
    }
}

TEST(shape_qualities, refuses_connectivities_that_do_not_fit) {
    const dense2D<double> pos(3, 8, 1.0);
    const auto check = [&](const dense2D<unsigned int>& connect, element_type type) {
        dense1D<double, 8> qualities = test::vector_of<double>({7.0});
        double q_min = -7.0;
        unsigned int index = 7;
        EXPECT_EQ(shape_qualities(pos, connect, type, qualities), -2) << "type " << type;
        EXPECT_TRUE(qualities.empty());
        EXPECT_EQ(min_quality(pos, connect, type, q_min, index), -2) << "type " << type;
        EXPECT_EQ(q_min, 1.0);
        EXPECT_EQ(index, none);
    };
    check(connectivity({{0, 1, 2}}), kv7::ET_UNKNOWN);
    check(connectivity({{0, 1, 2}}), kv7::ET_QUAD4);
    check(connectivity({{0, 1, 8}}), kv7::ET_TRIA3);
    check(connectivity({{0, 1, none}}), kv7::ET_TRIA3);
    check(connectivity({{0, none, 2, none}}), kv7::ET_FACE_MIX);
    check(connectivity({{0, 1, 2, 3, none, none, 6, none}}), kv7::ET_SOLID_MIX);
    check(connectivity({{0, 1, 2, 3, 4, 5, 6, none}}), kv7::ET_SOLID_MIX);
    dense1D<double, 8> qualities = test::vector_of<double>({7.0});
    EXPECT_EQ(shape_qualities(pos, connectivity({{0, 8}}), kv7::ET_BAR2, qualities), -2);
    EXPECT_TRUE(qualities.empty());
}

TEST(shape_qualities, has_nothing_to_rate_without_elements) {
    for (const element_type type : {kv7::ET_UNKNOWN, kv7::ET_TRIA3, kv7::ET_TRIA6}) {
        dense1D<double, 8> qualities = test::vector_of<double>({7.0});
        double q_min = -7.0;
        unsigned int index = 7;
        EXPECT_EQ(shape_qualities(dense2D<double>(), dense2D<unsigned int>(), type, qualities), 0);
        EXPECT_TRUE(qualities.empty());
        EXPECT_EQ(min_quality(dense2D<double>(), dense2D<unsigned int>(), type, q_min, index), 0);
        EXPECT_EQ(q_min, 1.0);
        EXPECT_EQ(index, none);
    }
}

TEST(min_quality, does_not_look_at_bars) {
    double q_min = -7.0;
    unsigned int index = 7;
    EXPECT_EQ(min_quality(points({{0, 0}}), connectivity({{5, 6}, {none, 1}}), kv7::ET_BAR2, q_min,
                          index),
              0);
    EXPECT_EQ(q_min, 1.0);
    EXPECT_EQ(index, none);
}

TEST(min_quality, names_the_first_of_equally_bad_elements) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {0, 5}, {1, 1}});
    double q_min = -7.0;
    unsigned int index = 7;
    EXPECT_EQ(min_quality(pos, connectivity({{0, 1, 2}, {0, 1, 3}, {0, 1, 3}, {0, 1, 4}}),
                          kv7::ET_TRIA3, q_min, index),
              0);
    EXPECT_EQ(index, 1U);
    EXPECT_EQ(q_min, quality_of({kv7::ET_TRIA3, points({{0, 0}, {1, 0}, {0, 5}})}));
    // The worst of all, twice, behind a bad one.
    EXPECT_EQ(min_quality(pos, connectivity({{0, 1, 3}, {0, 3, 1}, {0, 2, 1}, {0, 2, 1}}),
                          kv7::ET_TRIA3, q_min, index),
              0);
    EXPECT_EQ(index, 2U);
}

TEST(min_quality, keeps_1_and_no_element_for_perfect_ones) {
    double q_min = -7.0;
    unsigned int index = 7;
    EXPECT_EQ(min_quality(points({{0, 0}, {1, 0}, {1, 1}, {0, 1}}), connectivity({{0, 1, 2, 3}}),
                          kv7::ET_QUAD4, q_min, index),
              0);
    EXPECT_EQ(q_min, 1.0);
    EXPECT_EQ(index, none);
}

TEST(shape_qualities, is_empty_when_memory_fails) {
    const test::mesh m = test::mixed_solids();
    const std::size_t nbr_failed = test::fail_each_allocation([&](std::size_t k, bool and_later) {
        dense1D<double, 8> qualities;
        int result = 0;
        bool happened = false;
        {
            const test::memory_failure failure(k, and_later);
            result = shape_qualities(m.pos, m.connect, m.type, qualities);
            happened = failure.happened();
        }
        EXPECT_EQ(result, happened ? -199 : 0);
        EXPECT_EQ(qualities.size(), happened ? 0U : m.connect.cols());
        return happened;
    });
    EXPECT_GE(nbr_failed, 2U);
}

TEST(min_quality, needs_no_memory) {
    for (const test::mesh& m : test::zoo()) {
        double q_min = -7.0;
        unsigned int index = 7;
        const test::memory_failure failure(0, true);
        min_quality(m.pos, m.connect, m.type, q_min, index);
        EXPECT_FALSE(failure.happened()) << m.name;
    }
}

} // namespace
