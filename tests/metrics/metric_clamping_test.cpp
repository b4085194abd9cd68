#include "tessmaker/metric_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "metrics/metric_dimensions.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_clamping : public testing::Test {};
TYPED_TEST_SUITE(metric_clamping, dimensions, dimension_name);

TYPED_TEST(metric_clamping, no_bound_is_zero_and_leaves_the_metric) {
    constexpr std::size_t N = TypeParam::n;
    for (const double hmin : {0.0, -1.0, not_a_number, -infinity}) {
        metric<N> M = full<N>(not_a_number);
        EXPECT_EQ(bound_metric(M, hmin, largest), 0);
        EXPECT_TRUE(same_bits(M, full<N>(not_a_number)));
    }
}

TYPED_TEST(metric_clamping, bounds_that_are_not_finite_are_told_in_order) {
    constexpr std::size_t N = TypeParam::n;
    for (const double bad : {infinity, -infinity, not_a_number}) {
        metric<N> M = isotropic<N>(1.0);
        EXPECT_EQ(bound_metric(M, bad, 1.0), -2);
        EXPECT_EQ(bound_metric(M, bad, bad), -2);
        EXPECT_EQ(bound_metric(M, 1.0, bad), -3);
        EXPECT_EQ(bound_metric(M, -1.0, bad), -3);
        EXPECT_TRUE(same_bits(M, isotropic<N>(1.0)));
    }
    metric<N> M = isotropic<N>(1.0);
    EXPECT_EQ(bound_metric(M, infinity, largest), -2);
}

TYPED_TEST(metric_clamping, bounds_around_the_sizes_are_minus_one_and_leave_the_metric) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(22);
    for (int n = 0; n < 100; ++n) {
        const metric<N> before = random_metric<N>(random, 0.01, 100.0);
        metric<N> M = before;
        EXPECT_EQ(bound_metric(M, 0.01, 100.0), -1);
        EXPECT_EQ(bound_metric(M, -1.0, 100.0), -1);
        EXPECT_EQ(bound_metric(M, 0.01, largest), -1);
        EXPECT_EQ(bound_metric(M, 0.01, 0.0), -1); // hmax not above 0: no upper bound
        EXPECT_TRUE(same_bits(M, before));
    }
}

TYPED_TEST(metric_clamping, bounds_that_cut_clamp_each_size_in_its_direction) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(23);
    for (int n = 0; n < 300; ++n) {
        const matrix<N> P = random_basis<N>(random);
        vector<N> h{};
        vector<N> clamped{};
        for (std::size_t k = 0; k < N; ++k) {
            h[k] = log_uniform(random, 0.1, 10.0);
            clamped[k] = 1.0 / std::pow(std::clamp(h[k], 0.5, 2.0), 2);
        }
        h[0] = 0.2;
        clamped[0] = 4.0;
        metric<N> M{};
        metric_aniso(h, P, M);
        ASSERT_EQ(bound_metric(M, 0.5, 2.0), 0);
        EXPECT_LE(distance<N>(M, assembled<N>(clamped, P)), 1e-11);
    }
}

TYPED_TEST(metric_clamping, an_hmax_not_above_0_leaves_the_lower_bound_alone_in_force) {
    constexpr std::size_t N = TypeParam::n;
    for (const double none : {0.0, -0.0, -1.0}) {
        metric<N> M = isotropic<N>(4.0);
        ASSERT_EQ(bound_metric(M, 1.0, none), 0);
        EXPECT_LE(distance<N>(M, isotropic<N>(1.0)), 1e-14) << none;
    }
}

TYPED_TEST(metric_clamping, hmax_wins_over_a_larger_hmin) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.1, 1.5, 7.0}) {
        metric<N> M{};
        metric_aniso(h, M);
        ASSERT_EQ(bound_metric(M, 2.0, 1.0), 0);
        EXPECT_LE(distance<N>(M, isotropic<N>(1.0)), 1e-14) << h;
    }
}

TYPED_TEST(metric_clamping, what_cannot_be_bounded_is_minus_one_and_stays) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> M = isotropic<N>(4.0);
    M[2] = 0.0; // no upper bound mends the 0
    const metric<N> before = M;
    EXPECT_EQ(bound_metric(M, 1.0, largest), -1);
    EXPECT_TRUE(same_bits(M, before));
    M = isotropic<N>(-1.0); // an upper bound does
    EXPECT_EQ(bound_metric(M, 0.0, 2.0), 0);
    EXPECT_LE(distance<N>(M, isotropic<N>(0.25)), 1e-14);
    M = isotropic<N>(1.0);
    EXPECT_EQ(bound_metric(M, 0.0, 1e-160), -1); // 1 / hmax^2 overflows
    EXPECT_TRUE(same_bits(M, isotropic<N>(1.0)));
}

} // namespace
