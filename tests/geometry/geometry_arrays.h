// What the tests of boxes, centroids and motions compare.
#ifndef TESSMAKER_TESTS_GEOMETRY_GEOMETRY_ARRAYS_H
#define TESSMAKER_TESTS_GEOMETRY_GEOMETRY_ARRAYS_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "tessmaker/containers.h"

namespace test {

using kv7::dense2D;
using vec2 = kv7::vector_fixed<double, 2>;
using vec3 = kv7::vector_fixed<double, 3>;

inline const double nan_value = std::nan("");

// Shape and values; NaN equals NaN.
inline void expect_same(const dense2D<double>& a, const dense2D<double>& b) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            if (std::isnan(b(r, c))) {
                EXPECT_TRUE(std::isnan(a(r, c))) << r << ", " << c;
            } else {
                EXPECT_EQ(a(r, c), b(r, c)) << r << ", " << c;
            }
        }
    }
}

inline void expect_near(const dense2D<double>& a, const dense2D<double>& b, double tolerance) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            EXPECT_NEAR(a(r, c), b(r, c), tolerance) << r << ", " << c;
        }
    }
}

template <class V> std::vector<double> parts(const V& v) {
    return std::vector<double>(v.data(), v.data() + sizeof(V) / sizeof(double));
}

inline dense2D<double> deep_copy(const dense2D<double>& a) {
    dense2D<double> result;
    result.copy(a);
    return result;
}

} // namespace test

#endif
