// Meshes of a single element: ideal ones, moved and turned ones, and their qualities.
#ifndef TESSMAKER_TESTS_QUALITY_SINGLE_ELEMENTS_H
#define TESSMAKER_TESTS_QUALITY_SINGLE_ELEMENTS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "quality/plain_shapes.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"
#include "tessmaker/quality.h"

namespace test {

using kv7::dense1D;
using kv7::element_type;

// A mesh of one element whose corners are the nodes in order.
struct element {
    element_type type;
    dense2D<double> pos;
};

inline dense2D<unsigned int> in_order(std::size_t n) {
    dense2D<unsigned int> connect(n, 1);
    for (std::size_t r = 0; r < n; ++r) connect(r, 0) = static_cast<unsigned int>(r);
    return connect;
}

inline double quality_of(const element& e) {
    dense1D<double, 8> qualities;
    EXPECT_EQ(kv7::tessmaker::shape_qualities(e.pos, in_order(e.pos.cols()), e.type, qualities), 0);
    EXPECT_EQ(qualities.size(), 1U);
    return qualities.size() == 1 ? qualities[0] : -7.0;
}

inline plain::corners corners_of(const dense2D<double>& pos) {
    plain::corners p(pos.cols());
    for (std::size_t c = 0; c < p.size(); ++c) {
        p[c] = {pos(0, c), pos(1, c), pos.rows() > 2 ? pos(2, c) : 0.0};
    }
    return p;
}

inline bool is_face(element_type type) { return kv7::tessmaker::element_dim(type) == 2; }

inline double plain_quality(const element& e) {
    return plain::quality(corners_of(e.pos), is_face(e.type), e.pos.rows() == 2);
}

// The nodes of `e` in another order.
inline element reordered(const element& e, const std::vector<std::size_t>& order) {
    element result{e.type, dense2D<double>(e.pos.rows(), e.pos.cols())};
    for (std::size_t c = 0; c < order.size(); ++c) {
        std::copy_n(e.pos.column(order[c]), e.pos.rows(), result.pos.column(c));
    }
    return result;
}

inline std::vector<element> ideal_elements() {
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

// The nodes, rotated by random angles and scaled.
inline dense2D<double> turned(test::random_source& random, const dense2D<double>& pos,
                              double scale) {
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

// The ideal element, rotated and scaled, with its corners moved at random by up to `by` times its
// edge length.
inline element moved_ideal(test::random_source& random, const element& ideal, double by) {
    element e{ideal.type, turned(random, ideal.pos, std::exp(random.uniform(-2, 2)))};
    const double scale = plain::norm(corners_of(e.pos)[1] - corners_of(e.pos)[0]) * by;
    for (std::size_t c = 0; c < e.pos.cols(); ++c) {
        for (std::size_t r = 0; r < e.pos.rows(); ++r) {
            e.pos(r, c) += scale * random.uniform(-1, 1);
        }
    }
    return e;
}

// The ideal element with edges of length `side`, its coordinates rounded and moved by -1, 0 or 1
// `step`.
inline element moved_on_grid(test::random_source& random, const element& ideal, double side,
                             double step) {
    element e{ideal.type, dense2D<double>(ideal.pos.rows(), ideal.pos.cols())};
    for (std::size_t c = 0; c < e.pos.cols(); ++c) {
        for (std::size_t r = 0; r < e.pos.rows(); ++r) {
            const double move = static_cast<double>(random.below(3)) - 1.0;
            e.pos(r, c) = std::round(side * ideal.pos(r, c)) + move * step;
        }
    }
    return e;
}

} // namespace test

#endif
