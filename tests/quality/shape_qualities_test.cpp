#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "quality/single_elements.h"
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
using test::element;
using test::ideal_elements;
using test::moved_ideal;
using test::moved_on_grid;
using test::none;
using test::points;
using test::quality_of;
using test::turned;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

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

TEST(shape_qualities, treats_coordinates_that_are_not_finite_by_their_comparisons) {
    const auto triangle = [](double x, double y) {
        return element{kv7::ET_TRIA3, points({{x, y}, {1, 1}, {0, 0}})};
    };
    // If no length is above 0 the quality is 0; a ratio of two infinities gives -1.
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

// An element of any kind: good, flat, inverted, degenerate, not finite, of any size.
dense2D<double> any_corners(test::random_source& random, const element& ideal) {
    const std::size_t n = ideal.pos.cols();
    const std::size_t rows = ideal.pos.rows();
    switch (random.below(8)) {
    case 0: return moved_ideal(random, ideal, random.uniform(0, 1)).pos;
    case 1: return test::grid_points(random, rows, n, random.between(1, 4));
    case 2: {
        dense2D<double> pos = moved_ideal(random, ideal, 0.1).pos;
        const double height = std::pow(10.0, random.uniform(-14, 0));
        for (std::size_t c = 0; c < n; ++c) pos(rows - 1, c) *= height;
        return pos;
    }
    case 3: return turned(random, ideal.pos, std::pow(10.0, random.uniform(-100, 100)));
    case 4: {
        dense2D<double> pos = moved_ideal(random, ideal, 0.2).pos;
        const std::vector<double> wild = {nan_value, infinite, 1e300, 1e-300, -0.0};
        pos(random.below(rows), random.below(n)) = random.one_of(wild);
        return pos;
    }
    case 5: {
        // One corner is pushed towards another, or through it.
        dense2D<double> pos = moved_ideal(random, ideal, 0.2).pos;
        const std::size_t a = random.below(n);
        const std::size_t b = random.below(n);
        const double way = random.uniform(0, 1.5);
        for (std::size_t r = 0; r < rows; ++r) pos(r, a) += way * (pos(r, b) - pos(r, a));
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

// Columns are rated in groups of two, the last of an odd number alone.
TEST(shape_qualities, gives_an_element_the_same_bits_beside_any_other) {
    test::random_source random(62018);
    for (const element& ideal : ideal_elements()) {
        const std::size_t nbr_elements = 2 * test::nbr_runs(1500) + 1;
        const std::size_t n = ideal.pos.cols();
        const std::size_t rows = ideal.pos.rows();
        dense2D<double> pos(rows, n * nbr_elements);
        dense2D<unsigned int> connect(n, nbr_elements);
        std::vector<double> alone;
        for (std::size_t c = 0; c < nbr_elements; ++c) {
            const element e{ideal.type, any_corners(random, ideal)};
            alone.push_back(quality_of(e));
            for (std::size_t r = 0; r < n; ++r) {
                connect(r, c) = static_cast<unsigned int>(c * n + r);
                std::copy_n(e.pos.column(r), rows, pos.column(c * n + r));
            }
        }
        dense1D<double, 8> qualities;
        ASSERT_EQ(shape_qualities(pos, connect, ideal.type, qualities), 0);
        std::size_t nbr_good = 0;
        for (std::size_t c = 0; c < nbr_elements; ++c) {
            EXPECT_EQ(std::bit_cast<std::uint64_t>(qualities[c]),
                      std::bit_cast<std::uint64_t>(alone[c]))
                << "type " << ideal.type << ", rows " << rows << ": " << qualities[c] << " beside "
                << qualities[c ^ 1U] << ", " << alone[c] << " alone";
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

const element_type unserved_types[] = {
    kv7::ET_NODE,    kv7::ET_BAR_MIX, kv7::ET_BAR3,   kv7::ET_TRIA6,  kv7::ET_QUAD8,
    kv7::ET_QUAD9,   kv7::ET_TETRA10, kv7::ET_PYRA13, kv7::ET_PYRA14, kv7::ET_PENTA15,
    kv7::ET_PENTA18, kv7::ET_HEXA20,  kv7::ET_HEXA27};

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
        // The connectivity is checked before the type.
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
    // The smallest value twice, after a better one.
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
