#include "metrics/metric_reduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "metrics/metric_dimensions.h"
#include "metrics/nodal_fields.h"
#include "metrics/plain_reduction.h"
#include "metrics/random_metrics.h"
#include "tessmaker/metric_algebra.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_reduction_of_pairs : public testing::Test {};
TYPED_TEST_SUITE(metric_reduction_of_pairs, dimensions, dimension_name);

TYPED_TEST(metric_reduction_of_pairs, generalized_pairs_solve_the_problem_with_unit_vectors) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(15);
    for (const double scale : tame_scales) {
        for (int n = 0; n < 200; ++n) {
            metric<N> A = random_metric<N>(random, 1e-2, 1e2);
            metric<N> B = random_metric<N>(random, 1e-2, 1e2);
            if (n % 4 == 0) B[0] = -B[0];
            for (std::size_t k = 0; k < packed<N>; ++k) {
                A[k] *= scale;
                B[k] *= scale;
            }
            vector<N> l{};
            matrix<N> P{};
            ASSERT_TRUE(eigen_pairs(A, B, l, P)) << scale;
            EXPECT_TRUE(std::is_sorted(l.values, l.values + N));
            for (std::size_t k = 0; k < N; ++k) {
                const vector<N> p = column_of<N>(P, k);
                EXPECT_NEAR(product_of<N>(p, p), 1.0, 1e-13);
                for (std::size_t i = 0; i < N; ++i) {
                    vector<N> e{};
                    e[i] = 1.0;
                    EXPECT_NEAR((mixed_form<N>(e, B, p) - l[k] * mixed_form<N>(e, A, p)) / scale,
                                0.0, 1e-7);
                }
            }
        }
    }
}

TEST(generalized_pairs, a_negative_definite_first_matrix_passes_in_the_plane_only) {
    const metric<2> A{-2.0, 0.0, -3.0};
    vector<2> l{};
    matrix<2> P{};
    ASSERT_TRUE(eigen_pairs(A, metric<2>{1.0, 0.0, 1.0}, l, P));
    for (std::size_t k = 0; k < 2; ++k) {
        const vector<2> p = column_of<2>(P, k);
        EXPECT_NEAR(l[k] * form<2>(A, p), 1.0, 1e-14);
    }
    vector<3> l3{};
    matrix<3> P3{};
    EXPECT_FALSE(eigen_pairs(isotropic<3>(-1.0), isotropic<3>(1.0), l3, P3));
}

TEST(generalized_pairs, a_first_matrix_that_is_not_definite_is_refused_and_writes_nothing) {
    for (const metric<2>& A :
         {metric<2>{0.0, 0.0, 1.0}, metric<2>{0.0, 1.0, 1.0}, metric<2>{1.0, 1.0, 1.0},
          metric<2>{1.0, 2.0, 1.0}, metric<2>{1.0, 0.0, 0.0}, metric<2>{not_a_number, 0.0, 1.0}}) {
        vector<2> l{7.0, 8.0};
        matrix<2> P{1.0, 2.0, 3.0, 4.0};
        EXPECT_FALSE(eigen_pairs(A, isotropic<2>(1.0), l, P));
        EXPECT_TRUE(same_bits(l, vector<2>{7.0, 8.0}));
        EXPECT_TRUE(same_bits(P, matrix<2>{1.0, 2.0, 3.0, 4.0}));
    }
    vector<3> l{};
    matrix<3> P{};
    const metric<3> B = isotropic<3>(1.0);
    for (const metric<3>& A :
         {metric<3>{0.0, 0.0, 1.0, 0.0, 0.0, 1.0}, metric<3>{1.0, 1.0, 1.0, 0.0, 0.0, 1.0},
          metric<3>{1.0, 0.0, 1.0, 0.0, 0.0, -1.0}, metric<3>{1.0, 0.0, 1.0, 0.0, 0.0, 0.0},
          metric<3>{1.0, 0.0, 1.0, 2.0, 0.0, 1.0}, metric<3>{-1.0, 0.0, -1.0, 0.0, 0.0, 1.0},
          full<3>(not_a_number)}) {
        EXPECT_FALSE(eigen_pairs(A, B, l, P));
    }
}

TYPED_TEST(metric_reduction_of_pairs, both_metrics_are_diagonal_in_the_reduced_basis) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(16);
    for (const double scale : tame_scales) {
        for (int n = 0; n < 200; ++n) {
            metric<N> M1 = random_metric<N>(random, 1e-2, 1e2);
            metric<N> M2 = random_metric<N>(random, 1e-2, 1e2);
            for (std::size_t k = 0; k < packed<N>; ++k) {
                M1[k] *= scale;
                M2[k] *= scale;
            }
            metric_reduction<N> r;
            ASSERT_TRUE(reduce_metrics(M1, M2, r));
            vector<N> l{};
            matrix<N> P{};
            ASSERT_TRUE(eigen_pairs(M1, M2, l, P));
            EXPECT_TRUE(same_bits(r.basis, P));
            for (std::size_t k = 0; k < N; ++k) {
                const vector<N> p = column_of<N>(r.basis, k);
                const vector<N> q = column_of<N>(r.dual, k);
                EXPECT_NEAR(r.m1[k] / form<N>(M1, p), 1.0, 1e-10);
                EXPECT_EQ(r.m2[k], r.m1[k] * l[k]);
                EXPECT_NEAR(r.m2[k] / scale, form<N>(M2, p) / scale, 1e-7);
                for (std::size_t j = 0; j < N; ++j) {
                    const vector<N> other = column_of<N>(r.basis, j);
                    EXPECT_NEAR(product_of<N>(q, other), k == j ? 1.0 : 0.0, 1e-9);
                    if (k == j) continue;
                    EXPECT_NEAR(mixed_form<N>(p, M1, other) / scale, 0.0, 1e-7);
                    EXPECT_NEAR(mixed_form<N>(p, M2, other) / scale, 0.0, 1e-7);
                }
            }
            EXPECT_LE(distance<N>(assembled<N>(r.m1, r.dual), M1), 1e-8) << scale;
            EXPECT_LE(distance<N>(assembled<N>(r.m2, r.dual), M2), 1e-8) << scale;
        }
    }
}

TYPED_TEST(metric_reduction_of_pairs, a_failed_reduction_is_all_zero) {
    constexpr std::size_t N = TypeParam::n;
    metric_reduction<N> r;
    ASSERT_TRUE(reduce_metrics(isotropic<N>(1.0), isotropic<N>(2.0), r));
    EXPECT_FALSE(reduce_metrics(metric<N>{}, isotropic<N>(2.0), r));
    for (std::size_t k = 0; k < N * N; ++k) {
        EXPECT_EQ(r.basis[k], 0.0);
        EXPECT_EQ(r.dual[k], 0.0);
    }
    for (std::size_t k = 0; k < N; ++k) {
        EXPECT_EQ(r.m1[k], 0.0);
        EXPECT_EQ(r.m2[k], 0.0);
    }
}

template <std::size_t N> metric_reduction<N> along_axes(const vector<N>& m1, const vector<N>& m2) {
    metric_reduction<N> r{};
    r.basis = unit_basis<N>();
    r.dual = unit_basis<N>();
    r.m1 = m1;
    r.m2 = m2;
    return r;
}

// The metric with the values at t. False, and M is left as it is, without values.
template <std::size_t N> bool metric_between(const metric_reduction<N>& r, double t, metric<N>& M) {
    const vector<N> untouched = filled<N>(7.0);
    vector<N> w = untouched;
    if (!interpolate_values(reduced_sizes<N>(r), t, w)) {
        EXPECT_TRUE(same_bits(w, untouched));
        return false;
    }
    M = assembled<N>(w, r.dual);
    return true;
}

TYPED_TEST(metric_reduction_of_pairs, interpolation_draws_a_straight_line_between_the_sizes) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> m1 = filled<N>(1.0);
    vector<N> m2 = filled<N>(1.0 / 9.0); // sizes from 1 to 3
    m1[0] = 1.0 / 16.0;
    m2[0] = 1.0 / 4.0; // from 4 to 2
    const metric_reduction<N> r = along_axes<N>(m1, m2);
    for (const double t : {0.0, 0.25, 0.5, 1.0, 1.5, -0.25}) {
        metric<N> M = full<N>(9.0);
        ASSERT_TRUE(metric_between<N>(r, t, M));
        EXPECT_NEAR(M[0], 1.0 / std::pow(4.0 - 2.0 * t, 2), 1e-12) << t;
        EXPECT_NEAR(M(N - 1, N - 1), 1.0 / std::pow(1.0 + 2.0 * t, 2), 1e-12);
        EXPECT_EQ(M[1], 0.0);
    }
    // Beyond the place at which a size gets to 0 there is none.
    for (const double t : {2.0, 2.5, -0.5, -3.0}) {
        metric<N> M = full<N>(9.0);
        EXPECT_FALSE(metric_between<N>(r, t, M)) << t;
        EXPECT_TRUE(same_bits(M, full<N>(9.0)));
    }
}

TYPED_TEST(metric_reduction_of_pairs,
           interpolation_refuses_values_that_are_no_metric_and_writes_none) {
    constexpr std::size_t N = TypeParam::n;
    for (const double bad : {0.0, -1.0, not_a_number, infinity, largest}) {
        vector<N> m = filled<N>(1.0);
        m[N - 1] = bad;
        metric<N> M = full<N>(9.0);
        EXPECT_FALSE(metric_between<N>(along_axes<N>(m, filled<N>(1.0)), 0.5, M));
        EXPECT_FALSE(metric_between<N>(along_axes<N>(filled<N>(1.0), m), 0.5, M));
        EXPECT_TRUE(same_bits(M, full<N>(9.0))) << bad;
    }
}

TYPED_TEST(metric_reduction_of_pairs, interpolation_holds_values_within_the_range_of_doubles) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> m = filled<N>(1.0);
    m[0] = 1e308; // a size below the smallest that can be squared and inverted
    metric<N> M{};
    ASSERT_TRUE(metric_between<N>(along_axes<N>(m, m), 0.5, M));
    EXPECT_EQ(M[0], largest);
    EXPECT_EQ(M(N - 1, N - 1), 1.0);
    m[0] = 5e-324; // a size whose square overflows
    ASSERT_TRUE(metric_between<N>(along_axes<N>(m, m), 0.5, M));
    EXPECT_EQ(M[0], 0.0);
    EXPECT_EQ(M(N - 1, N - 1), 1.0);
}

template <std::size_t N>
using metric_interpolation = typename kv7::tessmaker::metric_field<N>::interpolation;

TYPED_TEST(metric_reduction_of_pairs, both_ends_of_an_interpolation_are_copies) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(17);
    const metric<N> M1 = random_metric<N>(random, 0.1, 10.0);
    const metric<N> more = random_metric<N>(random, 0.1, 10.0);
    metric<N> M2{}; // with smaller sizes everywhere, so that the direction restricts nothing
    for (std::size_t k = 0; k < packed<N>; ++k) M2[k] = M1[k] + more[k];
    metric<N> M{};
    for (const double t : {0.0, 9e-13, -9e-13}) {
        metric_interpolation<N> shrinking(M1, M2, -1);
        ASSERT_EQ(shrinking.at(t, M), interpolated::usable);
        EXPECT_TRUE(same_bits(M, M1));
        ASSERT_EQ(shrinking.at(1.0 + t, M), interpolated::usable);
        EXPECT_TRUE(same_bits(M, M2));
        metric_interpolation<N> growing(M2, M1, 1);
        ASSERT_EQ(growing.at(1.0 + t, M), interpolated::usable);
        EXPECT_TRUE(same_bits(M, M1));
    }
}

TYPED_TEST(metric_reduction_of_pairs, an_interpolation_from_or_to_no_metric_has_no_values_between) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(17);
    const metric<N> M1 = random_metric<N>(random, 0.1, 10.0);
    for (const metric<N>& bad : {metric<N>{}, full<N>(not_a_number)}) {
        for (const int direction : {-1, 1}) {
            metric<N> M = full<N>(9.0);
            metric_interpolation<N> from_bad(bad, M1, direction);
            EXPECT_EQ(from_bad.at(0.5, M), interpolated::none);
            EXPECT_TRUE(same_bits(M, full<N>(9.0)));
            ASSERT_EQ(from_bad.at(0.0, M), interpolated::usable); // nothing is reduced there
            EXPECT_TRUE(same_bits(M, bad));
            ASSERT_EQ(from_bad.at(1.0, M), interpolated::refused);
            EXPECT_TRUE(same_bits(M, M1));
            M = full<N>(9.0);
            EXPECT_EQ(metric_interpolation<N>(M1, bad, direction).at(0.5, M), interpolated::none);
            EXPECT_TRUE(same_bits(M, full<N>(9.0)));
        }
    }
}

TYPED_TEST(metric_reduction_of_pairs, isotropic_metrics_are_interpolated_as_their_sizes) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> M{};
    metric_interpolation<N> growing(isotropic<N>(1.0), isotropic<N>(1.0 / 25.0), 1);
    ASSERT_EQ(growing.at(0.25, M), interpolated::usable);
    EXPECT_LE(distance<N>(M, isotropic<N>(0.25)), 1e-13);
}

TYPED_TEST(metric_reduction_of_pairs, an_interpolation_lets_each_size_move_one_way_only) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> d1 = filled<N>(1.0);
    vector<N> d2 = filled<N>(1.0 / 9.0); // sizes from 1 to 3
    d1[0] = 1.0 / 16.0;
    d2[0] = 1.0 / 4.0; // from 4 to 2
    vector<N> grown = filled<N>(1.0 / 4.0);
    grown[0] = d1[0];
    vector<N> shrunk = filled<N>(1.0);
    shrunk[0] = 1.0 / 9.0;
    metric<N> M{};
    metric_interpolation<N> growing(diagonal<N>(d1), diagonal<N>(d2), 1);
    ASSERT_EQ(growing.at(0.5, M), interpolated::usable);
    EXPECT_LE(distance<N>(M, diagonal<N>(grown)), 1e-13);
    metric_interpolation<N> shrinking(diagonal<N>(d1), diagonal<N>(d2), -1);
    ASSERT_EQ(shrinking.at(0.5, M), interpolated::usable);
    EXPECT_LE(distance<N>(M, diagonal<N>(shrunk)), 1e-13);
}

TYPED_TEST(metric_reduction_of_pairs, metrics_are_interpolated_as_in_the_plain_form) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(25);
    for (std::uint64_t n = 0; n < nbr_runs(2000); ++n) {
        const metric<N> M1 = random_metric<N>(random, 0.1, 10.0);
        const metric<N> M2 = random_metric<N>(random, 0.1, 10.0);
        const double t = random.uniform(0.0, 1.0);
        const int direction = random.one_in(2) ? 1 : -1;
        metric<N> M{};
        metric<N> expected{};
        ASSERT_EQ(metric_interpolation<N>(M1, M2, direction).at(t, M), interpolated::usable);
        ASSERT_TRUE(plain_metric_at<N>(t, M1, M2, expected));
        ASSERT_TRUE(plain_combination<N>(direction > 0, M1, expected, expected));
        EXPECT_LE(distance<N>(M, expected), 1e-10);
    }
}

} // namespace
