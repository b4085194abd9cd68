#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

#include "quality/single_elements.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense2D;
using test::element;
using test::ideal_elements;
using test::is_face;
using test::plain_quality;
using test::points;
using test::quality_of;
using test::reordered;

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
    int flat_not_zero = 0; // exactly flat ones that do not count as zero
};

// Draws tetrahedra by `draw` and compares the signs of qualities that do not count as zero.
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
    // The last node is some units off the plane of the others: 0 to about 1e-8 of the size.
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

    // All nodes are close to one line: volume and surface are both small, so that their ratio, the
    // quality, is not.
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
    // So thin that different orders of the nodes give different signs.
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
        // A square whose corners are alternately above and below their plane.
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

} // namespace
