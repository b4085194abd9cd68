#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <vector>

#include "quality/plain_shapes.h"
#include "quality/random_elements.h"
#include "quality/single_elements.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
using test::element;
using test::ideal_elements;
using test::is_face;
using test::moved_ideal;
using test::moved_on_grid;
using test::none;
using test::plain_quality;
using test::quality_of;
namespace plain = test::plain;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

TEST(shape_qualities, agrees_with_plain_formulas_on_integer_coordinates) {
    // Such coordinates give many equal lengths and determinants.
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

// Three corners are nearly on a line, so that one facet is thin and others need not be. Every
// second element is flat, too.
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

const element_type served_types[] = {kv7::ET_BAR2,  kv7::ET_TRIA3,  kv7::ET_QUAD4, kv7::ET_TETRA4,
                                     kv7::ET_PYRA5, kv7::ET_PENTA6, kv7::ET_HEXA8};

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

} // namespace
