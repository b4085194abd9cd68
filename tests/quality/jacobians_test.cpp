#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "quality/random_elements.h"
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
using test::none;
using test::points;
using jacobian = std::array<std::array<double, 3>, 3>; // a column for each reference coordinate

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

double sign(bool is_positive) { return is_positive ? 0.5 : -0.5; }

using gradient = std::array<double, 3>;

// The derivatives of the shape function of corner i at the centre of the reference shape, which is
// told by the number of corners; 4 are a quadrangle if `is_face`, else a tetrahedron.
gradient shape_gradient(std::size_t nbr_corners, bool is_face, std::size_t i) {
    const std::array<gradient, 3> triangle = {{{1, 0, 0}, {0, 1, 0}, {-1, -1, 0}}};
    const double a = sign(i % 4 == 1 || i % 4 == 2);
    const double b = sign(i % 4 >= 2);
    switch (nbr_corners) {
    case 2: return {sign(i == 1), 0, 0};
    case 3: return triangle[i];
    case 4: {
        if (is_face) return {a * 0.5, 0.5 * b, 0};
        gradient g = {-1, -1, -1};
        if (i < 3) {
            g = {0, 0, 0};
            g[i] = 1;
        }
        return g;
    }
    case 5: {
        if (i == 4) return {0, 0, 1};
        const double xi = 0;
        const double eta = 0;
        const double d = 1 / (1 - 0.25);
        const double by_xi = a * (b * eta * d + 0.5);
        const double by_eta = b * (a * xi * d + 0.5);
        return {by_xi, by_eta,
                xi * d * by_xi + eta * d * by_eta - (a * xi * d + 0.5) * (b * eta * d + 0.5)};
    }
    case 6: {
        const double c = sign(i >= 3);
        const gradient& l = triangle[i % 3];
        return {l[0] * 0.5, l[1] * 0.5, 1.0 / 3.0 * c};
    }
    default: {
        const double c = sign(i >= 4);
        return {a * 0.25, 0.25 * b, 0.25 * c};
    }
    }
}

std::array<double, 3> cross(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double dot(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
double norm(const std::array<double, 3>& a) { return std::sqrt(dot(a, a)); }

// The value of a column, from sums over the shape functions.
double plain_jacobian(const dense2D<double>& pos, const std::vector<unsigned int>& nodes,
                      bool is_face) {
    jacobian J = {};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const gradient g = shape_gradient(nodes.size(), is_face, i);
        for (std::size_t k = 0; k < 3; ++k) {
            for (std::size_t x = 0; x < std::min<std::size_t>(pos.rows(), 3); ++x) {
                J[k][x] += g[k] * pos(x, nodes[i]);
            }
        }
    }
    if (nodes.size() == 2) return norm(J[0]);
    if (is_face) return norm(cross(J[0], J[1]));
    return dot(J[0], cross(J[1], J[2]));
}

std::vector<double> jacobians_of(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                 element_type type) {
    dense1D<double, 8> values = test::vector_of<double>({7.0});
    EXPECT_EQ(jacobians(pos, connect, type, values), 0);
    return test::list(values);
}

using numbers = std::vector<double>;

dense2D<double> cube(double side) {
    return points({{0, 0, 0},
                   {side, 0, 0},
                   {side, side, 0},
                   {0, side, 0},
                   {0, 0, side},
                   {side, 0, side},
                   {side, side, side},
                   {0, side, side}});
}

TEST(jacobians, is_half_the_length_of_a_bar) {
    EXPECT_EQ(jacobians_of(points({{0, 0}, {2, 0}}), connectivity({{0, 1}, {1, 0}, {1, 1}}),
                           kv7::ET_BAR2),
              (numbers{1.0, 1.0, 0.0}));
    EXPECT_EQ(jacobians_of(points({{1, 2, 3}, {4, 6, 15}}), connectivity({{0, 1}}), kv7::ET_BAR2),
              (numbers{6.5}));
}

TEST(jacobians, is_twice_the_area_of_a_triangle) {
    const dense2D<unsigned int> both = connectivity({{0, 1, 2}, {0, 2, 1}, {0, 1, 1}});
    EXPECT_EQ(jacobians_of(points({{0, 0}, {1, 0}, {0, 1}}), both, kv7::ET_TRIA3),
              (numbers{1.0, 1.0, 0.0}));
    EXPECT_EQ(jacobians_of(points({{0, 0, 5}, {3, 0, 5}, {0, 0, 9}}), both, kv7::ET_TRIA3),
              (numbers{12.0, 12.0, 0.0}));
}

TEST(jacobians, is_a_quarter_of_the_area_of_a_square) {
    const dense2D<unsigned int> both = connectivity({{0, 1, 2, 3}, {3, 2, 1, 0}});
    EXPECT_EQ(jacobians_of(points({{0, 0}, {1, 0}, {1, 1}, {0, 1}}), both, kv7::ET_QUAD4),
              (numbers{0.25, 0.25}));
    EXPECT_EQ(
        jacobians_of(points({{0, 0, 1}, {2, 0, 1}, {2, 2, 1}, {0, 2, 1}}), both, kv7::ET_QUAD4),
        (numbers{1.0, 1.0}));
    // A bow-tie is 0 at its centre.
    EXPECT_EQ(jacobians_of(points({{0, 0}, {1, 1}, {1, 0}, {0, 1}}), both, kv7::ET_QUAD4),
              (numbers{0.0, 0.0}));
}

TEST(jacobians, is_six_times_the_signed_volume_of_a_tetrahedron) {
    EXPECT_EQ(jacobians_of(points({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}}),
                           connectivity({{0, 1, 2, 3}, {1, 0, 2, 3}, {0, 1, 3, 2}, {1, 2, 0, 3}}),
                           kv7::ET_TETRA4),
              (numbers{1.0, -1.0, -1.0, 1.0}));
}

TEST(jacobians, is_1_for_the_reference_pyramid) {
    EXPECT_EQ(jacobians_of(points({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {0, 0, 1}}),
                           connectivity({{0, 1, 2, 3, 4}, {0, 3, 2, 1, 4}}), kv7::ET_PYRA5),
              (numbers{1.0, -1.0}));
}

TEST(jacobians, is_the_signed_volume_of_a_prism) {
    const numbers prisms =
        jacobians_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}}),
                     connectivity({{0, 1, 2, 3, 4, 5}, {3, 4, 5, 0, 1, 2}}), kv7::ET_PENTA6);
    ASSERT_EQ(prisms.size(), 2U);
    EXPECT_NEAR(prisms[0], 0.5, 1e-15);
    EXPECT_NEAR(prisms[1], -0.5, 1e-15);
}

TEST(jacobians, is_an_eighth_of_the_signed_volume_of_a_cube) {
    const dense2D<unsigned int> both =
        connectivity({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 7, 0, 1, 2, 3}});
    EXPECT_EQ(jacobians_of(cube(1.0), both, kv7::ET_HEXA8), (numbers{0.125, -0.125}));
    EXPECT_EQ(jacobians_of(cube(2.0), both, kv7::ET_HEXA8), (numbers{1.0, -1.0}));
}

TEST(jacobians, tells_the_columns_of_mixed_types_apart) {
    EXPECT_EQ(jacobians_of(points({{0, 0}, {1, 0}, {1, 1}, {0, 1}}),
                           connectivity({{0, 1, 2, 3}, {0, 1, 2, none}}), kv7::ET_FACE_MIX),
              (numbers{0.25, 1.0}));
    const numbers solids = jacobians_of(cube(2.0),
                                        connectivity({{0, 1, 2, 3, 4, 5, 6, 7},
                                                      {1, 3, 4, 0, none, none, none, none},
                                                      {0, 1, 2, 3, 4, none, none, none},
                                                      {0, 1, 3, 4, 5, 7, none, none}}),
                                        kv7::ET_SOLID_MIX);
    ASSERT_EQ(solids.size(), 4U);
    EXPECT_EQ(solids[0], 1.0);
    EXPECT_EQ(solids[1], 8.0);
    EXPECT_EQ(solids[2], 2.0);
    EXPECT_NEAR(solids[3], 4.0, 1e-14);
}

TEST(jacobians, takes_uniform_arrays_under_the_mixed_types) {
    const dense2D<double> pos = cube(2.0);
    const std::vector<std::pair<element_type, element_type>> pairs = {
        {kv7::ET_TRIA3, kv7::ET_FACE_MIX},   {kv7::ET_QUAD4, kv7::ET_FACE_MIX},
        {kv7::ET_TETRA4, kv7::ET_SOLID_MIX}, {kv7::ET_PYRA5, kv7::ET_SOLID_MIX},
        {kv7::ET_PENTA6, kv7::ET_SOLID_MIX}, {kv7::ET_HEXA8, kv7::ET_SOLID_MIX}};
    test::random_source random(63001);
    for (const auto& [plain, mixed] : pairs) {
        const dense2D<unsigned int> connect = test::random_elements(random, plain, 50, 8);
        EXPECT_EQ(jacobians_of(pos, connect, mixed), jacobians_of(pos, connect, plain));
    }
}

TEST(jacobians, agrees_with_sums_over_the_shape_functions) {
    test::random_source random(63002);
    for (const element_type type :
         {kv7::ET_BAR2, kv7::ET_TRIA3, kv7::ET_QUAD4, kv7::ET_FACE_MIX, kv7::ET_TETRA4,
          kv7::ET_PYRA5, kv7::ET_PENTA6, kv7::ET_HEXA8, kv7::ET_SOLID_MIX}) {
        for (int round = 0; round < 80; ++round) {
            const std::size_t rows = random.one_in(3) ? random.between(1, 4) : 3;
            const std::size_t n = random.between(1, 80);
            dense2D<double> pos = test::random_points(random, rows, n, -2, 2);
            dense2D<unsigned int> connect =
                test::random_elements(random, type, random.between(1, 60), n);
            if (random.one_in(2)) {
                pos = test::with_gaps(pos, 1, nan_value);
                connect = test::with_gaps(connect, 2, 0xDDDDDDDDU);
            }
            const numbers found = jacobians_of(pos, connect, type);
            ASSERT_EQ(found.size(), connect.cols());
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                std::vector<unsigned int> nodes;
                for (std::size_t r = 0; r < connect.rows() && connect(r, c) != none; ++r) {
                    nodes.push_back(connect(r, c));
                }
                const bool is_face = element_dim(type) == 2;
                EXPECT_NEAR(found[c], plain_jacobian(pos, nodes, is_face), 2e-13)
                    << "type " << type << ", corners " << nodes.size() << ", rows " << rows;
                EXPECT_TRUE(element_dim(type) == 3 || found[c] >= 0.0);
            }
        }
    }
}

TEST(jacobians, takes_coordinates_that_are_missing_as_0) {
    const dense2D<double> line(1, 8, 3.0);
    EXPECT_EQ(jacobians_of(line, connectivity({{0, 1, 2}}), kv7::ET_TRIA3), numbers{0.0});
    const dense2D<double> square = points({{0, 0}, {2, 0}, {2, 2}, {0, 2}});
    EXPECT_EQ(jacobians_of(square, connectivity({{0, 1, 2, 3}}), kv7::ET_QUAD4), numbers{1.0});
    EXPECT_EQ(jacobians_of(square, connectivity({{0, 1, 2, 3}}), kv7::ET_TETRA4), numbers{0.0});
    const dense2D<double> higher = points({{0, 0, 0, 9}, {2, 0, 0, -9}});
    EXPECT_EQ(jacobians_of(higher, connectivity({{0, 1}}), kv7::ET_BAR2), numbers{1.0});
}

TEST(jacobians, follows_the_numbers_where_coordinates_are_not_finite) {
    EXPECT_TRUE(std::isnan(
        jacobians_of(points({{0, 0}, {nan_value, 0}}), connectivity({{0, 1}}), kv7::ET_BAR2)[0]));
    EXPECT_EQ(
        jacobians_of(points({{0, 0}, {infinite, 0}}), connectivity({{0, 1}}), kv7::ET_BAR2)[0],
        infinite);
    for (const test::mesh& m : test::zoo()) {
        dense1D<double, 8> values;
        const int result = jacobians(m.pos, m.connect, m.type, values);
        const bool is_served =
            m.connect.empty() || (m.type != kv7::ET_BAR_MIX && m.type != kv7::ET_TRIA6);
        EXPECT_EQ(result, is_served ? 0 : -3) << m.name;
        EXPECT_EQ(values.size(), is_served ? m.connect.cols() : 0U);
    }
}

TEST(jacobians, serves_only_types_of_straight_elements) {
    const dense2D<double> pos(3, 30, 1.0);
    for (const element_type type :
         {kv7::ET_NODE, kv7::ET_BAR_MIX, kv7::ET_BAR3, kv7::ET_TRIA6, kv7::ET_QUAD8, kv7::ET_QUAD9,
          kv7::ET_TETRA10, kv7::ET_PYRA13, kv7::ET_PYRA14, kv7::ET_PENTA15, kv7::ET_PENTA18,
          kv7::ET_HEXA20, kv7::ET_HEXA27}) {
        dense1D<double, 8> values = test::vector_of<double>({7.0});
        EXPECT_EQ(jacobians(pos, dense2D<unsigned int>(nbr_nodes(type), 2, 3U), type, values), -3);
        EXPECT_TRUE(values.empty());
        values = test::vector_of<double>({7.0});
        EXPECT_EQ(jacobians(pos, dense2D<unsigned int>(nbr_nodes(type), 2, 30U), type, values), -2);
        EXPECT_TRUE(values.empty());
    }
}

TEST(jacobians, refuses_connectivities_that_do_not_fit) {
    const dense2D<double> pos = cube(1.0);
    const auto check = [&](const dense2D<unsigned int>& connect, element_type type) {
        dense1D<double, 8> values = test::vector_of<double>({7.0});
        EXPECT_EQ(jacobians(pos, connect, type, values), -2) << "type " << type;
        EXPECT_TRUE(values.empty());
    };
    check(connectivity({{0, 1, 2}}), kv7::ET_UNKNOWN);
    check(connectivity({{0, 1, 2}}), kv7::ET_QUAD4);
    check(connectivity({{0, 8}}), kv7::ET_BAR2);
    check(connectivity({{0, 1, none}}), kv7::ET_TRIA3);
    check(connectivity({{0, 1, none, none}}), kv7::ET_FACE_MIX);
    check(connectivity({{0, 1, 2, none, none, none, none, none}}), kv7::ET_SOLID_MIX);
    check(connectivity({{0, 1, 2, 3, 4, 5, 6, none}}), kv7::ET_SOLID_MIX);
}

TEST(jacobians, has_nothing_to_give_without_elements) {
    for (const element_type type : {kv7::ET_UNKNOWN, kv7::ET_HEXA8, kv7::ET_HEXA20}) {
        EXPECT_EQ(jacobians_of(dense2D<double>(), dense2D<unsigned int>(), type), numbers{});
    }
}

TEST(jacobians, is_empty_when_memory_fails) {
    const test::mesh m = test::mixed_solids();
    const std::size_t nbr_failed = test::fail_each_allocation([&](std::size_t k, bool and_later) {
        dense1D<double, 8> values;
        int result = 0;
        bool happened = false;
        {
            const test::memory_failure failure(k, and_later);
            result = jacobians(m.pos, m.connect, m.type, values);
            happened = failure.happened();
        }
        EXPECT_EQ(result, happened ? -199 : 0);
        EXPECT_EQ(values.size(), happened ? 0U : m.connect.cols());
        return happened;
    });
    EXPECT_GE(nbr_failed, 2U);
}

} // namespace
