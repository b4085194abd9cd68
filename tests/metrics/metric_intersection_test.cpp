#include "tessmaker/metric_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "metrics/metric_dimensions.h"
#include "metrics/metric_reduction.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_intersection : public testing::Test {};
TYPED_TEST_SUITE(metric_intersection, dimensions, dimension_name);

TYPED_TEST(metric_intersection, the_intersection_contains_neither_less_nor_more) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(18);
    for (const double scale : tame_scales) {
        for (int n = 0; n < 100; ++n) {
            metric<N> M1 = random_metric<N>(random, 1e-2, 1e2);
            metric<N> M2 = random_metric<N>(random, 1e-2, 1e2);
            for (std::size_t k = 0; k < packed<N>; ++k) {
                M1[k] *= scale;
                M2[k] *= scale;
            }
            metric<N> smaller{};
            metric<N> larger{};
            ASSERT_TRUE(minimum_metric(M1, M2, smaller));
            ASSERT_TRUE(maximum_metric(M1, M2, larger));
            const double rounding = 1e-7;
            for (int d = 0; d < 20; ++d) {
                const vector<N> u = column_of<N>(random_basis<N>(random), 0);
                const double f1 = form<N>(M1, u) / scale;
                const double f2 = form<N>(M2, u) / scale;
                EXPECT_GE(form<N>(smaller, u) / scale, std::max(f1, f2) - rounding);
                EXPECT_LE(form<N>(larger, u) / scale, std::min(f1, f2) + rounding);
            }
            // Neither has room left in a direction of the common basis.
            metric_reduction<N> r;
            ASSERT_TRUE(reduce_metrics(M1, M2, r));
            for (std::size_t k = 0; k < N; ++k) {
                const vector<N> p = column_of<N>(r.basis, k);
                const double f1 = form<N>(M1, p) / scale;
                const double f2 = form<N>(M2, p) / scale;
                EXPECT_NEAR(form<N>(smaller, p) / scale, std::max(f1, f2), rounding);
                EXPECT_NEAR(form<N>(larger, p) / scale, std::min(f1, f2), rounding);
            }
        }
    }
}

TYPED_TEST(metric_intersection, the_maximum_of_a_metric_with_itself_is_a_copy_bit_for_bit) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(19);
    for (const double scale : all_scales) {
        for (int n = 0; n < 300; ++n) {
            metric<N> M = random_metric<N>(random, 1e-4, 1e4);
            for (std::size_t k = 0; k < packed<N>; ++k) M[k] *= scale;
            metric<N> out = full<N>(9.0);
            const bool reduced = maximum_metric(M, M, out);
            EXPECT_TRUE(same_bits(out, M));
            EXPECT_TRUE(reduced || scale > 1e50 || scale < 1e-50);
            out = full<N>(9.0);
            minimum_metric(M, M, out);
            EXPECT_TRUE(same_bits(out, M));
        }
    }
}

TYPED_TEST(metric_intersection, where_one_metric_contains_the_other_the_result_is_one_of_them) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(20);
    for (const double scale : tame_scales) {
        for (int n = 0; n < 300; ++n) {
            metric<N> M1 = random_metric<N>(random, 1e-2, 1e2);
            metric<N> M2{};
            const metric<N> more = random_metric<N>(random, 1e-2, 1e2);
            for (std::size_t k = 0; k < packed<N>; ++k) {
                M1[k] *= scale;
                M2[k] = M1[k] + more[k] * scale; // smaller sizes everywhere
            }
            metric<N> out{};
            ASSERT_TRUE(maximum_metric(M1, M2, out));
            EXPECT_TRUE(same_bits(out, M1));
            ASSERT_TRUE(maximum_metric(M2, M1, out));
            EXPECT_TRUE(same_bits(out, M1));
            ASSERT_TRUE(minimum_metric(M1, M2, out));
            EXPECT_TRUE(same_bits(out, M2));
            ASSERT_TRUE(minimum_metric(M2, M1, out));
            EXPECT_TRUE(same_bits(out, M2));
        }
    }
}

TYPED_TEST(metric_intersection, the_output_may_be_either_input) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(21);
    for (int n = 0; n < 100; ++n) {
        const metric<N> M1 = random_metric<N>(random, 1e-2, 1e2);
        const metric<N> M2 = random_metric<N>(random, 1e-2, 1e2);
        metric<N> expected{};
        ASSERT_TRUE(maximum_metric(M1, M2, expected));
        metric<N> M = M1;
        ASSERT_TRUE(maximum_metric(M, M2, M));
        EXPECT_TRUE(same_bits(M, expected));
        M = M2;
        ASSERT_TRUE(maximum_metric(M1, M, M));
        EXPECT_TRUE(same_bits(M, expected));
        ASSERT_TRUE(minimum_metric(M1, M2, expected));
        M = M1;
        ASSERT_TRUE(minimum_metric(M, M2, M));
        EXPECT_TRUE(same_bits(M, expected));
    }
}

TYPED_TEST(metric_intersection, a_first_metric_that_is_not_definite_comes_back_with_false) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> flat = isotropic<N>(1.0);
    flat[2] = 0.0;
    for (const metric<N>& M1 : {metric<N>{}, flat, full<N>(not_a_number), full<N>(infinity)}) {
        metric<N> M = full<N>(9.0);
        metric_reduction<N> r;
        EXPECT_FALSE(reduce_metrics(M1, isotropic<N>(1.0), r));
        EXPECT_FALSE(maximum_metric(M1, isotropic<N>(1.0), M));
        EXPECT_TRUE(same_bits(M, M1));
        M = full<N>(9.0);
        EXPECT_FALSE(minimum_metric(M1, isotropic<N>(1.0), M));
        EXPECT_TRUE(same_bits(M, M1));
    }
}

TYPED_TEST(metric_intersection, a_second_metric_that_is_not_definite_follows_the_formulas) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> d = filled<N>(0.5);
    d[0] = -1.0;
    d[N - 1] = 2.0;
    const metric<N> M1 = isotropic<N>(1.0);
    metric<N> M{};
    ASSERT_TRUE(maximum_metric(M1, diagonal<N>(d), M));
    for (std::size_t k = 0; k < N; ++k) EXPECT_NEAR(M(k, k), std::min(1.0, d[k]), 1e-14);
    ASSERT_TRUE(minimum_metric(M1, diagonal<N>(d), M));
    for (std::size_t k = 0; k < N; ++k) EXPECT_NEAR(M(k, k), std::max(1.0, d[k]), 1e-14);
}

TYPED_TEST(metric_intersection, the_maximum_with_the_zero_metric_is_the_zero_metric_and_true) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> M = full<N>(9.0);
    EXPECT_TRUE(maximum_metric(isotropic<N>(2.0), metric<N>{}, M));
    EXPECT_TRUE(same_bits(M, metric<N>{}));
    EXPECT_TRUE(minimum_metric(isotropic<N>(2.0), metric<N>{}, M));
    EXPECT_TRUE(same_bits(M, isotropic<N>(2.0)));
}

TEST(intersection, values_beyond_the_doubles_leave_the_output_and_are_true) {
    const metric<2> M1{1e-150, 0.0, 1e-5};
    const metric<2> M2{1.7e308, 0.0, 1e-6};
    metric<2> M{7.0, 8.0, 9.0};
    EXPECT_TRUE(minimum_metric(M1, M2, M));
    EXPECT_TRUE(same_bits(M, metric<2>{7.0, 8.0, 9.0}));
}

TEST(intersection, an_entry_that_is_the_largest_double_is_copied_or_leaves_the_output) {
    const metric<3> unit = isotropic<3>(1.0);
    const metric<3> inside{largest, 0.0, 1.0, 0.0, 0.0, 1.0}; // sizes at most those of `unit`
    metric<3> M = full<3>(7.0);
    EXPECT_TRUE(minimum_metric(unit, inside, M));
    EXPECT_TRUE(same_bits(M, inside));
    EXPECT_TRUE(maximum_metric(inside, unit, M));
    EXPECT_TRUE(same_bits(M, unit));
    const metric<3> across{largest, 0.0, 0.5, 0.0, 0.0, 0.5};
    M = full<3>(7.0);
    EXPECT_TRUE(minimum_metric(unit, across, M));
    EXPECT_TRUE(same_bits(M, full<3>(7.0)));
    EXPECT_TRUE(maximum_metric(unit, across, M));
    EXPECT_TRUE(same_bits(M, metric<3>{1.0, 0.0, 0.5, 0.0, 0.0, 0.5}));
}

template <std::size_t N> void expect_overflow(const metric<N>& M1, const metric<N>& M2) {
    metric<N> M = full<N>(7.0);
    EXPECT_FALSE(minimum_metric(M1, M2, M));
    EXPECT_TRUE(same_bits(M, M1));
    M = full<N>(7.0);
    EXPECT_FALSE(maximum_metric(M1, M2, M));
    EXPECT_TRUE(same_bits(M, M1));
}

TEST(intersection, of_an_entry_that_is_the_largest_double_is_the_first_where_products_overflow) {
    const metric<2> thin{largest, 0.0, 1.0};
    expect_overflow<2>(isotropic<2>(1.0), thin);
    expect_overflow<2>(thin, metric<2>{2.0, 0.25, 1.0});
    const metric<3> thin3{largest, 0.0, 1.0, 0.0, 0.0, 1.0};
    const metric<3> other{2.0, 0.25, 1.0, 0.125, 0.25, 3.0};
    expect_overflow<3>(thin3, other);
    expect_overflow<3>(other, thin3);
    expect_overflow<3>(isotropic<3>(largest), isotropic<3>(largest / 2.0));
}

} // namespace
