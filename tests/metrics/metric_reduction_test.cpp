#include "metrics/metric_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <lapack.h>
#include <vector>

#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_algebra : public testing::Test {};
template <std::size_t N> struct dimension { static constexpr std::size_t n = N; };
struct dimension_name {
    template <class D> static std::string GetName(int) { return std::to_string(D::n) + "D"; }
};
using dimensions = testing::Types<dimension<2>, dimension<3>>;
TYPED_TEST_SUITE(metric_algebra, dimensions, dimension_name);

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
const std::vector<double> tame_scales{1e-35, 1e-20, 1e-6, 1.0, 1e5, 1e20, 1e35};
const std::vector<double> all_scales{1e-150, 1e-90, 1e-6, 1.0, 1e5, 1e90, 1e150};
const std::vector<double> odd_values{0.0,     -0.0,     not_a_number, infinity, -infinity,
                                     largest, -largest, 1e200,        -1e-200,  5e-324,
                                     1.0,     -1.0,     1e-12,        3.0};

// Building

TYPED_TEST(metric_algebra, a_size_gives_the_inverse_square_on_the_diagonal) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.5, 3.0, 1e-70, 1e70, 5e-324, largest, infinity}) {
        metric<N> M = full<N>(9.0);
        metric_aniso(h, M);
        EXPECT_TRUE(same_bits(M, isotropic<N>(1.0 / (h * h)))) << h;
    }
}

TYPED_TEST(metric_algebra, a_size_not_above_zero_gives_the_zero_metric_which_is_not_valid) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.0, -0.0, -1.0, not_a_number, -infinity}) {
        metric<N> M = full<N>(9.0);
        metric_aniso(h, M);
        EXPECT_TRUE(same_bits(M, metric<N>{})) << h;
        EXPECT_FALSE(is_valid_metric(M));
    }
}

TEST(metric_building, sizes_along_the_axes_stand_on_the_diagonal_and_others_are_no_constraint) {
    metric<2> A = full<2>(9.0);
    metric_aniso(2.0, -1.0, A);
    EXPECT_TRUE(same_bits(A, metric<2>{0.25, 0.0, 0.0}));
    metric_aniso(not_a_number, 4.0, A);
    EXPECT_TRUE(same_bits(A, metric<2>{0.0, 0.0, 0.0625}));
    metric_aniso(vector<2>{0.0, 2.0}, A);
    EXPECT_TRUE(same_bits(A, metric<2>{0.0, 0.0, 0.25}));
    metric<3> B = full<3>(9.0);
    metric_aniso(2.0, 0.0, 4.0, B);
    EXPECT_TRUE(same_bits(B, metric<3>{0.25, 0.0, 0.0, 0.0, 0.0, 0.0625}));
    metric_aniso(vector<3>{-2.0, 0.5, not_a_number}, B);
    EXPECT_TRUE(same_bits(B, metric<3>{0.0, 0.0, 4.0, 0.0, 0.0, 0.0}));
}

TYPED_TEST(metric_algebra, a_negative_size_along_a_direction_counts_as_its_absolute_value) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> h = filled<N>(1.0);
    h[0] = -2.0;
    metric<N> M = full<N>(9.0);
    metric_aniso(h, unit_basis<N>(), M);
    metric<N> expected = isotropic<N>(1.0);
    expected[0] = 0.25;
    EXPECT_LE(distance<N>(M, expected), 0.0);
}

TYPED_TEST(metric_algebra, a_size_of_zero_along_a_direction_has_no_weight) {
    constexpr std::size_t N = TypeParam::n;
    for (const double zero : {0.0, -0.0}) {
        vector<N> h = filled<N>(1.0);
        h[0] = zero;
        metric<N> M = full<N>(9.0);
        metric_aniso(h, unit_basis<N>(), M);
        metric<N> expected = isotropic<N>(1.0);
        expected[0] = 0.0;
        EXPECT_LE(distance<N>(M, expected), 0.0);
    }
}

TYPED_TEST(metric_algebra, sizes_along_directions_are_read_back_by_the_eigenpairs) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(11);
    for (int n = 0; n < 500; ++n) {
        const matrix<N> P = random_basis<N>(random);
        vector<N> h{};
        for (std::size_t k = 0; k < N; ++k) h[k] = log_uniform(random, 0.1, 10.0);
        metric<N> M{};
        metric_aniso(h, P, M);
        for (std::size_t k = 0; k < N; ++k) {
            EXPECT_NEAR(form<N>(M, column_of<N>(P, k)) * h[k] * h[k], 1.0, 1e-10);
        }
        EXPECT_NEAR(metric_aniso_to_iso(M, 0.0), *std::min_element(h.values, h.values + N), 1e-9);
        EXPECT_NEAR(metric_aniso_to_iso(M, 1.0), *std::max_element(h.values, h.values + N), 1e-9);
    }
}

TEST(metric_building, a_frame_gives_the_metric_of_its_plane) {
    const matrix_fixed<double, 3, 2> frame{1.0, 2.0, 3.0, -1.0, 0.5, 2.0};
    metric<2> M = full<2>(9.0);
    metric_aniso2d(0.5, frame, M);
    EXPECT_LE(distance<2>(M, metric<2>{14.0 * 4.0, 6.0 * 4.0, 5.25 * 4.0}), 1e-15);
    for (const double h : {0.0, -2.0, not_a_number}) {
        M = full<2>(9.0);
        metric_aniso2d(h, frame, M);
        EXPECT_TRUE(same_bits(M, metric<2>{})) << h;
    }
    const metric<3> M3{1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    metric_aniso3d_to_aniso2d(M3, frame, M);
    const vector<3> p0{1.0, 2.0, 3.0};
    const vector<3> p1{-1.0, 0.5, 2.0};
    EXPECT_LE(
        distance<2>(M, metric<2>{form<3>(M3, p0), mixed_form<3>(p1, M3, p0), form<3>(M3, p1)}),
        1e-15);
}

// Eigenvalues and eigenvectors of one matrix

TEST(eigen_closed, values_far_apart_come_from_the_determinant) {
    double l0 = 0.0;
    double l1 = 0.0;
    EXPECT_TRUE(eigen_values_closed(1e16, 1.0, 1.0, l0, l1));
    EXPECT_EQ(l0, (1e16 - 1.0) / l1);
    EXPECT_NEAR(l0, 1.0, 1e-12); // the difference gives 0 or 2
    EXPECT_TRUE(eigen_values_closed(-1e16, 1.0, -1.0, l0, l1));
    EXPECT_EQ(l1, (1e16 - 1.0) / l0);
    EXPECT_NEAR(l1, -1.0, 1e-12);
}

// The closed form, step by step.
bool plain_values(double a, double b, double c, double& l0, double& l1) {
    const double det = a * c - b * b;
    const double disc = std::sqrt((a - c) * (a - c) + 4.0 * (b * b));
    l0 = ((a + c) - disc) * 0.5;
    l1 = l0 + disc;
    if (std::fabs(l0) < 1e-12 * std::fabs(l1)) {
        l0 = det / l1;
    } else if (std::fabs(l1) < 1e-12 * std::fabs(l0)) {
        l1 = det / l0;
    }
    return std::isfinite(l0) && std::isfinite(l1);
}

bool same_number(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(eigen_closed, odd_values_follow_the_steps_and_false_leaves_the_vectors) {
    for (const double a : odd_values) {
        for (const double b : odd_values) {
            for (const double c : odd_values) {
                double e0 = 0.0;
                double e1 = 0.0;
                const bool expected = plain_values(a, b, c, e0, e1);
                double l0 = 0.0;
                double l1 = 0.0;
                EXPECT_EQ(eigen_values_closed(a, b, c, l0, l1), expected);
                EXPECT_TRUE(same_number(l0, e0) && same_number(l1, e1))
                    << a << ' ' << b << ' ' << c;
                vector<2> l{7.0, 7.0};
                matrix<2> P{1.0, 2.0, 3.0, 4.0};
                EXPECT_EQ(eigen_pairs(metric<2>{a, b, c}, l, P), expected);
                EXPECT_TRUE(same_number(l[0], e0) && same_number(l[1], e1));
                if (!expected) {
                    EXPECT_TRUE(same_bits(P, matrix<2>{1.0, 2.0, 3.0, 4.0}));
                }
                EXPECT_EQ(is_valid_metric(metric<2>{a, b, c}), e0 > 0.0);
                eigen_values(metric<2>{a, b, c}, l);
                EXPECT_TRUE(same_number(l[0], e0) && same_number(l[1], e1));
            }
        }
    }
}

TEST(eigen_closed, vectors_have_fixed_signs) {
    vector<2> l{};
    matrix<2> P{};
    ASSERT_TRUE(eigen_pairs(metric<2>{1.0, 0.0, 4.0}, l, P));
    EXPECT_EQ(l[0], 1.0);
    EXPECT_EQ(l[1], 4.0);
    EXPECT_EQ(P(0, 0), -1.0);
    EXPECT_EQ(P(1, 0), 0.0);
    EXPECT_EQ(P(0, 1), 0.0);
    EXPECT_EQ(P(1, 1), -1.0);
    ASSERT_TRUE(eigen_pairs(metric<2>{4.0, 0.0, 1.0}, l, P)); // u = -3, w = 0: (b, u)
    EXPECT_EQ(P(0, 0), 0.0);
    EXPECT_EQ(P(1, 0), -1.0);
    EXPECT_EQ(P(0, 1), 1.0);
    EXPECT_EQ(P(1, 1), 0.0);
    ASSERT_TRUE(eigen_pairs(metric<2>{2.0, 1.0, 2.0}, l, P)); // u^2 = w^2: (b, u)
    EXPECT_NEAR(P(0, 0), std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(P(1, 0), -std::sqrt(0.5), 1e-15);
}

TEST(eigen_closed, a_multiple_of_the_identity_has_the_axes_for_vectors) {
    for (const double l : {1.0, -3.0, 1e150, 1e-150, 0.0}) {
        vector<2> values{};
        matrix<2> P{};
        ASSERT_TRUE(eigen_pairs(metric<2>{l, 0.0, l}, values, P));
        for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(P[k], unit_basis<2>()[k]);
        EXPECT_EQ(values[0], l);
        EXPECT_EQ(values[1], l);
    }
    double l0 = 0.0;
    double l1 = 0.0;
    double p0[2] = {7.0, 7.0};
    double p1[2] = {7.0, 7.0};
    ASSERT_TRUE(eigen_pairs_closed(5.0, 0.0, 5.0, l0, l1, p0, p1, false));
    EXPECT_EQ(p0[0], 1.0);
    EXPECT_EQ(p0[1], 0.0);
    EXPECT_EQ(p1[0], 0.0);
    EXPECT_EQ(p1[1], 1.0);
}

TYPED_TEST(metric_algebra, eigenpairs_rebuild_the_matrix_in_a_right_handed_basis) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(12);
    for (const double scale : all_scales) {
        for (int n = 0; n < 200; ++n) {
            metric<N> M = random_metric<N>(random, 1e-3, 1e3);
            for (std::size_t k = 0; k < packed<N>; ++k) M[k] *= scale;
            if (n % 3 == 0) M[0] = -M[0];
            vector<N> l{};
            matrix<N> P{};
            ASSERT_TRUE(eigen_pairs(M, l, P));
            EXPECT_TRUE(std::is_sorted(l.values, l.values + N));
            EXPECT_NEAR(determinant(P), 1.0, 1e-12);
            EXPECT_LE(distance<N>(assembled<N>(l, P), M), 1e-11) << scale;
            vector<N> values{};
            eigen_values(M, values);
            for (std::size_t k = 0; k < N; ++k) {
                EXPECT_NEAR(values[k] / scale, l[k] / scale, 1e-11 * largest_entry<N>(M) / scale);
            }
        }
    }
}

TEST(eigen_lapack, matrices_that_are_not_finite_end) {
    for (const double a : odd_values) {
        for (const double b : odd_values) {
            for (const double c : odd_values) {
                const metric<3> M{a, b, c, c, b, a};
                vector<3> l{};
                matrix<3> P{};
                eigen_values(M, l);
                eigen_pairs(M, l, P);
                metric<3> out{};
                maximum_metric(M, metric<3>{1.0, 0.0, 1.0, 0.0, 0.0, 1.0}, out);
                minimum_metric(metric<3>{1.0, 0.0, 1.0, 0.0, 0.0, 1.0}, M, out);
                bound_metric(out, 0.5, 2.0);
                EXPECT_GE(metric_aniso_to_iso(M, 0.0), 0.0);
            }
        }
    }
}

bool valid_by_lapack(const metric<3>& M) {
    metric<3> copy = M;
    double l[3] = {};
    double work[9] = {};
    double z = 0.0;
    const lapack_int n = 3;
    const lapack_int ldz = 1;
    lapack_int info = 0;
    LAPACK_dspev("N", "U", &n, copy.values, l, &z, &ldz, work, &info);
    return l[0] > 0.0;
}

TEST(validity, verdict_in_3d_is_that_of_lapack_on_matrices_near_singularity) {
    random_source random(13);
    std::size_t nbr_valid = 0;
    const std::size_t nbr = 300000;
    for (std::size_t n = 0; n < nbr; ++n) {
        // One eigenvalue is rounding away from 0; a third of the matrices have more of them.
        const double top = log_uniform(random, 1e-3, 1e3);
        const double small = top * log_uniform(random, 1e-19, 1e-13);
        vector<3> w{top, top * log_uniform(random, 1e-16, 1.0), small};
        if (random.one_in(2)) w[2] = random.one_in(4) ? 0.0 : -w[2];
        metric<3> M{};
        if (random.one_in(4)) { // small integers: exactly singular ones among them
            for (std::size_t k = 0; k < 6; ++k) M[k] = random.uniform(-3.0, 3.0) > 0.0 ? 1.0 : 2.0;
        } else {
            M = assembled<3>(w, random_basis<3>(random));
        }
        const bool expected = valid_by_lapack(M);
        nbr_valid += expected;
        ASSERT_EQ(is_valid_metric(M), expected) << testing::PrintToString(M.values);
    }
    EXPECT_GT(nbr_valid, nbr / 10);
    EXPECT_LT(nbr_valid, nbr - nbr / 10);
}

TEST(validity, verdict_in_3d_is_that_of_lapack_at_every_scale_and_on_odd_values) {
    random_source random(14);
    for (int n = 0; n < 50000; ++n) {
        const double scale = log_uniform(random, 1e-300, 1e300);
        metric<3> M = random_metric<3>(random, 1e-4, 1e1);
        if (random.one_in(3)) M[2] = -M[2];
        for (std::size_t k = 0; k < 6; ++k) M[k] *= scale;
        if (random.one_in(10)) M[random.below(6)] = random.one_of(odd_values);
        ASSERT_EQ(is_valid_metric(M), valid_by_lapack(M)) << testing::PrintToString(M.values);
    }
}

TYPED_TEST(metric_algebra, a_metric_is_valid_whose_smallest_eigenvalue_is_above_zero) {
    constexpr std::size_t N = TypeParam::n;
    EXPECT_TRUE(is_valid_metric(isotropic<N>(1e-150)));
    EXPECT_TRUE(is_valid_metric(isotropic<N>(1e150)));
    EXPECT_FALSE(is_valid_metric(metric<N>{}));
    EXPECT_FALSE(is_valid_metric(isotropic<N>(-1.0)));
    EXPECT_FALSE(is_valid_metric(full<N>(not_a_number)));
    metric<N> M = isotropic<N>(1.0);
    M[2] = 0.0;
    EXPECT_FALSE(is_valid_metric(M));
}

TEST(validity, a_plane_metric_whose_eigenvalues_overflow_is_valid_but_has_no_size) {
    const metric<2> M{1.7e308, 0.0, 1.7e308};
    EXPECT_TRUE(is_valid_metric(M));
    EXPECT_EQ(metric_aniso_to_iso(M, 0.5), 0.0);
}

TYPED_TEST(metric_algebra, an_invalid_metric_has_size_zero_for_any_x) {
    constexpr std::size_t N = TypeParam::n;
    for (const double x : {0.0, 0.5, 1.0, -3.0, 7.0}) {
        EXPECT_EQ(metric_aniso_to_iso(metric<N>{}, x), 0.0);
        EXPECT_EQ(metric_aniso_to_iso(isotropic<N>(-1.0), x), 0.0);
        EXPECT_EQ(metric_aniso_to_iso(full<N>(not_a_number), x), 0.0);
    }
}

TYPED_TEST(metric_algebra, a_size_lies_between_the_smallest_and_the_largest_and_beyond) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> d = filled<N>(0.5);
    d[0] = 4.0;
    d[N - 1] = 1.0 / 16.0;
    const metric<N> M = diagonal<N>(d); // sizes 0.5 to 4
    EXPECT_NEAR(metric_aniso_to_iso(M, 0.0), 0.5, 1e-14);
    EXPECT_NEAR(metric_aniso_to_iso(M, 1.0), 4.0, 1e-13);
    EXPECT_NEAR(metric_aniso_to_iso(M, 2.0), 7.5, 1e-13);
    EXPECT_NEAR(metric_aniso_to_iso(M, -1.0), -3.0, 1e-13);
}

// Two matrices

TYPED_TEST(metric_algebra, generalized_pairs_solve_the_problem_with_unit_vectors) {
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

TYPED_TEST(metric_algebra, both_metrics_are_diagonal_in_the_reduced_basis) {
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

TYPED_TEST(metric_algebra, a_failed_reduction_is_all_zero) {
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

TYPED_TEST(metric_algebra, interpolation_draws_a_straight_line_between_the_sizes) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> m1 = filled<N>(1.0);
    vector<N> m2 = filled<N>(1.0 / 9.0); // sizes from 1 to 3
    m1[0] = 1.0 / 16.0;
    m2[0] = 1.0 / 4.0; // from 4 to 2
    const metric_reduction<N> r = along_axes<N>(m1, m2);
    for (const double t : {0.0, 0.25, 0.5, 1.0, 1.5, -0.25}) {
        metric<N> M = full<N>(9.0);
        ASSERT_TRUE(interpolate_metric(r, t, M));
        EXPECT_NEAR(M[0], 1.0 / std::pow(4.0 - 2.0 * t, 2), 1e-12) << t;
        EXPECT_NEAR(M(N - 1, N - 1), 1.0 / std::pow(1.0 + 2.0 * t, 2), 1e-12);
        EXPECT_EQ(M[1], 0.0);
    }
    // Beyond the place at which a size gets to 0 there is none.
    for (const double t : {2.0, 2.5, -0.5, -3.0}) {
        metric<N> M = full<N>(9.0);
        EXPECT_FALSE(interpolate_metric(r, t, M));
        EXPECT_TRUE(same_bits(M, metric<N>{})) << t;
    }
}

TYPED_TEST(metric_algebra, interpolation_refuses_values_that_are_no_metric_and_leaves_the_output) {
    constexpr std::size_t N = TypeParam::n;
    for (const double bad : {0.0, -1.0, not_a_number, infinity, largest}) {
        vector<N> m = filled<N>(1.0);
        m[N - 1] = bad;
        metric<N> M = full<N>(9.0);
        EXPECT_FALSE(interpolate_metric(along_axes<N>(m, filled<N>(1.0)), 0.5, M));
        EXPECT_FALSE(interpolate_metric(along_axes<N>(filled<N>(1.0), m), 0.5, M));
        EXPECT_TRUE(same_bits(M, full<N>(9.0))) << bad;
    }
}

TYPED_TEST(metric_algebra, interpolation_holds_values_within_the_range_of_doubles) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> m = filled<N>(1.0);
    m[0] = 1e308; // a size below the smallest that can be squared and inverted
    metric<N> M{};
    ASSERT_TRUE(interpolate_metric(along_axes<N>(m, m), 0.5, M));
    EXPECT_EQ(M[0], largest);
    EXPECT_EQ(M(N - 1, N - 1), 1.0);
    m[0] = 5e-324; // a size whose square overflows
    ASSERT_TRUE(interpolate_metric(along_axes<N>(m, m), 0.5, M));
    EXPECT_EQ(M[0], 0.0);
    EXPECT_EQ(M(N - 1, N - 1), 1.0);
}

TYPED_TEST(metric_algebra, both_ends_of_the_way_are_copies) {
    constexpr std::size_t N = TypeParam::n;
    random_source random(17);
    const metric<N> M1 = random_metric<N>(random, 0.1, 10.0);
    const metric<N> M2 = random_metric<N>(random, 0.1, 10.0);
    metric<N> M{};
    for (const double t : {0.0, 9e-13, -9e-13}) {
        ASSERT_TRUE(metric_at(t, M1, M2, M));
        EXPECT_TRUE(same_bits(M, M1));
        ASSERT_TRUE(metric_at(1.0 + t, M1, M2, M));
        EXPECT_TRUE(same_bits(M, M2));
    }
    ASSERT_TRUE(metric_at(0.0, full<N>(not_a_number), M2, M)); // nothing is reduced there
    ASSERT_TRUE(metric_at(1.0, metric<N>{}, M2, M));
    EXPECT_TRUE(same_bits(M, M2));
    EXPECT_FALSE(metric_at(0.5, metric<N>{}, M2, M));
    EXPECT_FALSE(metric_at(0.5, M2, metric<N>{}, M));
    EXPECT_TRUE(same_bits(M, M2));
}

TYPED_TEST(metric_algebra, the_way_between_isotropic_metrics_is_that_between_their_sizes) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> M{};
    ASSERT_TRUE(metric_at(0.25, isotropic<N>(1.0), isotropic<N>(1.0 / 25.0), M));
    EXPECT_LE(distance<N>(M, isotropic<N>(0.25)), 1e-13);
}

TYPED_TEST(metric_algebra, the_intersection_contains_neither_less_nor_more) {
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

TYPED_TEST(metric_algebra, the_maximum_of_a_metric_with_itself_is_a_copy_bit_for_bit) {
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

TYPED_TEST(metric_algebra, where_one_metric_contains_the_other_the_result_is_one_of_them) {
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

TYPED_TEST(metric_algebra, the_output_may_be_either_input) {
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
        M = M2;
        ASSERT_TRUE(maximum_metric_core(M1, M, M));
        EXPECT_TRUE(same_bits(M, expected));
        ASSERT_TRUE(minimum_metric(M1, M2, expected));
        M = M1;
        ASSERT_TRUE(minimum_metric(M, M2, M));
        EXPECT_TRUE(same_bits(M, expected));
        M = M2;
        ASSERT_TRUE(minimum_metric_core(M1, M, M));
        EXPECT_TRUE(same_bits(M, expected));
    }
}

TYPED_TEST(metric_algebra, a_first_metric_that_is_not_definite_comes_back_with_false) {
    constexpr std::size_t N = TypeParam::n;
    metric<N> flat = isotropic<N>(1.0);
    flat[2] = 0.0;
    for (const metric<N>& M1 : {metric<N>{}, flat, full<N>(not_a_number), full<N>(infinity)}) {
        metric<N> M = full<N>(9.0);
        EXPECT_FALSE(maximum_metric_core(M1, isotropic<N>(1.0), M));
        EXPECT_FALSE(minimum_metric_core(M1, isotropic<N>(1.0), M));
        EXPECT_TRUE(same_bits(M, full<N>(9.0)));
        EXPECT_FALSE(maximum_metric(M1, isotropic<N>(1.0), M));
        EXPECT_TRUE(same_bits(M, M1));
        M = full<N>(9.0);
        EXPECT_FALSE(minimum_metric(M1, isotropic<N>(1.0), M));
        EXPECT_TRUE(same_bits(M, M1));
    }
}

TYPED_TEST(metric_algebra, a_second_metric_that_is_not_definite_follows_the_formulas) {
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

TYPED_TEST(metric_algebra, the_maximum_with_the_zero_metric_is_the_zero_metric_and_true) {
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

// Clamping

TYPED_TEST(metric_algebra, no_bound_is_zero_and_leaves_the_metric) {
    constexpr std::size_t N = TypeParam::n;
    for (const double hmin : {0.0, -1.0, not_a_number, -infinity}) {
        metric<N> M = full<N>(not_a_number);
        EXPECT_EQ(bound_metric(M, hmin, largest), 0);
        EXPECT_TRUE(same_bits(M, full<N>(not_a_number)));
    }
}

TYPED_TEST(metric_algebra, bounds_that_are_not_finite_are_told_in_order) {
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

TYPED_TEST(metric_algebra, bounds_around_the_sizes_are_minus_one_and_leave_the_metric) {
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

TYPED_TEST(metric_algebra, bounds_that_cut_clamp_each_size_in_its_direction) {
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

TYPED_TEST(metric_algebra, an_hmax_not_above_0_leaves_the_lower_bound_alone_in_force) {
    constexpr std::size_t N = TypeParam::n;
    for (const double none : {0.0, -0.0, -1.0}) {
        metric<N> M = isotropic<N>(4.0);
        ASSERT_EQ(bound_metric(M, 1.0, none), 0);
        EXPECT_LE(distance<N>(M, isotropic<N>(1.0)), 1e-14) << none;
    }
}

TYPED_TEST(metric_algebra, hmax_wins_over_a_larger_hmin) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.1, 1.5, 7.0}) {
        metric<N> M{};
        metric_aniso(h, M);
        ASSERT_EQ(bound_metric(M, 2.0, 1.0), 0);
        EXPECT_LE(distance<N>(M, isotropic<N>(1.0)), 1e-14) << h;
    }
}

TYPED_TEST(metric_algebra, what_cannot_be_bounded_is_minus_one_and_stays) {
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

// Mean size along an edge

double plain_log_mean(double length, double h0, double h1, bool as_quality) {
    double h = h0;
    if (h0 != h1) {
        const double hs = std::min(h0, h1);
        const double hl = std::max(h0, h1);
        const double t = (hs - hl) / hl;
        const double third = 0.3333333333333333;
        const double u = t * 0.5;
        const double series = 1.0 + u * (1.0 - u * (third - u * (third - 0.42222222222222217 * u)));
        h = hl * (t > -0.1 ? series : t / std::log1p(t));
    }
    if (as_quality && length > h) return h / length;
    return h > 0.0 ? length / h : 0.0;
}

TEST(log_mean_length, constant_size_divides_the_length) {
    EXPECT_EQ(log_mean_length(2.0, 1.0, 1.0, false), 2.0);
    EXPECT_EQ(log_mean_length(2.0, 1.0, 1.0, true), 0.5);
    EXPECT_EQ(log_mean_length(0.5, 1.0, 1.0, true), 0.5);
    EXPECT_EQ(log_mean_length(2.0, 0.0, 1.0, false), 0.0);
    EXPECT_EQ(log_mean_length(2.0, 1.0, 0.0, false), 0.0);
    EXPECT_EQ(log_mean_length(2.0, 0.0, 0.0, false), 0.0);
    EXPECT_EQ(log_mean_length(2.0, 0.0, 1.0, true), 0.0);
    EXPECT_EQ(log_mean_length(2.0, -1.0, -1.0, false), 0.0);
}

TEST(log_mean_length, follows_its_steps_bit_for_bit_and_the_logarithmic_mean_closely) {
    random_source random(24);
    for (int n = 0; n < 20000; ++n) {
        const double length = log_uniform(random, 1e-3, 1e3);
        const double h0 = log_uniform(random, 1e-2, 1e2);
        const double h1 =
            random.one_in(2) ? h0 * random.uniform(0.85, 1.15) : log_uniform(random, 1e-2, 1e2);
        for (const bool as_quality : {false, true}) {
            EXPECT_EQ(log_mean_length(length, h0, h1, as_quality),
                      plain_log_mean(length, h0, h1, as_quality));
        }
        if (h0 == h1 || std::fabs(h0 - h1) < 1e-4 * h0) continue;
        const double mean = (h1 - h0) / std::log(h1 / h0);
        EXPECT_NEAR(log_mean_length(length, h0, h1, false) * mean / length, 1.0, 1e-5);
    }
}

} // namespace
