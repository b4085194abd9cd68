// What tests of metrics in both dimensions share.
#ifndef TESSMAKER_TESTS_METRICS_METRIC_DIMENSIONS_H
#define TESSMAKER_TESTS_METRICS_METRIC_DIMENSIONS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "metrics/random_metrics.h"

namespace test {

template <std::size_t N> struct dimension { static constexpr std::size_t n = N; };
struct dimension_name {
    template <class D> static std::string GetName(int) { return std::to_string(D::n) + "D"; }
};
using dimensions = testing::Types<dimension<2>, dimension<3>>;

template <std::size_t N> vector<N> filled(double v) {
    vector<N> result{};
    for (std::size_t k = 0; k < N; ++k) result[k] = v;
    return result;
}
template <std::size_t N> metric<N> isotropic(double l) { return diagonal<N>(filled<N>(l)); }
template <std::size_t N> metric<N> full(double v) {
    metric<N> M{};
    for (std::size_t k = 0; k < packed<N>; ++k) M[k] = v;
    return M;
}
template <std::size_t N> matrix<N> unit_basis() {
    matrix<N> P{};
    for (std::size_t k = 0; k < N; ++k) P(k, k) = 1.0;
    return P;
}

// Scales at which products of eight entries neither overflow nor underflow, and extreme ones.
inline const std::vector<double> tame_scales{1e-35, 1e-20, 1e-6, 1.0, 1e5, 1e20, 1e35};
inline const std::vector<double> all_scales{1e-150, 1e-90, 1e-6, 1.0, 1e5, 1e90, 1e150};
inline const std::vector<double> odd_values{0.0,     -0.0,     not_a_number, infinity, -infinity,
                                            largest, -largest, 1e200,        -1e-200,  5e-324,
                                            1.0,     -1.0,     1e-12,        3.0};

} // namespace test

#endif
