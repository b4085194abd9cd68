#include "tessmaker/metric_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "metrics/dspev.h"
#include "metrics/eigen2.h"
#include "metrics/metric_dimensions.h"
#include "metrics/plain_eigen.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_spectrum : public testing::Test {};
TYPED_TEST_SUITE(metric_spectrum, dimensions, dimension_name);

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

bool same_number(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(eigen_closed, odd_values_follow_the_steps_and_false_leaves_the_vectors) {
    for (const double a : odd_values) {
        for (const double b : odd_values) {
            for (const double c : odd_values) {
                vector<2> e{};
                const bool expected = plain_eigen_values(metric<2>{a, b, c}, e);
                double l0 = 0.0;
                double l1 = 0.0;
                EXPECT_EQ(eigen_values_closed(a, b, c, l0, l1), expected);
                EXPECT_TRUE(same_number(l0, e[0]) && same_number(l1, e[1]))
                    << a << ' ' << b << ' ' << c;
                vector<2> l{7.0, 7.0};
                matrix<2> P{1.0, 2.0, 3.0, 4.0};
                EXPECT_EQ(eigen_pairs(metric<2>{a, b, c}, l, P), expected);
                EXPECT_TRUE(same_number(l[0], e[0]) && same_number(l[1], e[1]));
                if (!expected) {
                    EXPECT_TRUE(same_bits(P, matrix<2>{1.0, 2.0, 3.0, 4.0}));
                }
                EXPECT_EQ(is_valid_metric(metric<2>{a, b, c}), e[0] > 0.0);
                eigen_values(metric<2>{a, b, c}, l);
                EXPECT_TRUE(same_number(l[0], e[0]) && same_number(l[1], e[1]));
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

TYPED_TEST(metric_spectrum, eigenpairs_rebuild_the_matrix_in_a_right_handed_basis) {
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

TEST(eigen_pairs_3d, matrices_that_are_not_finite_end) {
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

bool valid_by_eigenvalues(const metric<3>& M) {
    vector<3> l{};
    eigen_values(M, l);
    return l[0] > 0.0;
}

// LAPACK's verdict, unless its smallest eigenvalue is so near 0 that the rounding of either solver
// may tell it from ours: 12 units in the last place of the largest. What is not finite is not
// valid.
void expect_verdict_of_lapack(const metric<3>& M) {
    const bool verdict = is_valid_metric(M);
    ASSERT_EQ(verdict, valid_by_eigenvalues(M)) << testing::PrintToString(M.values);
    const bool is_finite =
        std::all_of(M.values, M.values + 6, [](double entry) { return std::isfinite(entry); });
    vector<3> l{};
    if (is_finite) dspev(M, l);
    const double norm = std::fmax(std::fabs(l[0]), std::fabs(l[2]));
    if (is_finite && std::fabs(l[0]) <= 12 * 2.220446049250313e-16 * norm) return;
    ASSERT_EQ(verdict, l[0] > 0.0) << testing::PrintToString(M.values);
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
        expect_verdict_of_lapack(M);
        nbr_valid += is_valid_metric(M);
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
        expect_verdict_of_lapack(M);
    }
}

TYPED_TEST(metric_spectrum, a_metric_is_valid_whose_smallest_eigenvalue_is_above_zero) {
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

TYPED_TEST(metric_spectrum, an_invalid_metric_has_size_zero_for_any_x) {
    constexpr std::size_t N = TypeParam::n;
    for (const double x : {0.0, 0.5, 1.0, -3.0, 7.0}) {
        EXPECT_EQ(metric_aniso_to_iso(metric<N>{}, x), 0.0);
        EXPECT_EQ(metric_aniso_to_iso(isotropic<N>(-1.0), x), 0.0);
        EXPECT_EQ(metric_aniso_to_iso(full<N>(not_a_number), x), 0.0);
    }
}

TYPED_TEST(metric_spectrum, a_size_lies_between_the_smallest_and_the_largest_and_beyond) {
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

} // namespace
