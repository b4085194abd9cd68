// The eigen solver beside LAPACK, and the reduction of metrics that stands on it.
#include "metrics/eigen3.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "metrics/dspev.h"
#include "metrics/metric_reduction.h"
#include "metrics/plain_reduction.h"
#include "metrics/random_metrics.h"
#include "metrics/same_bits/eigen3_hash.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

using kv7::matrix_fixed;
using kv7::symmetric_fixed;
using kv7::vector_fixed;
using spectrum = vector_fixed<double, 3>;
using basis = matrix_fixed<double, 3, 3>;
using tensor = symmetric_fixed<double, 3>;

constexpr double eps = 2.220446049250313e-16;

// In units of `eps` times the largest entry: the largest entry of M P - P L.
double residual(const tensor& M, const spectrum& l, const basis& P) {
    double largest_entry_of_it = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < 3; ++i) {
            const double image = M(i, 0) * P(0, k) + M(i, 1) * P(1, k) + M(i, 2) * P(2, k);
            largest_entry_of_it = std::max(largest_entry_of_it, std::fabs(image - l[k] * P(i, k)));
        }
    }
    return largest_entry_of_it / (eps * largest_entry<3>(M));
}
// In units of `eps`: the largest entry of P^T P - I.
double skewness(const basis& P) {
    double worst = 0.0;
    for (std::size_t j = 0; j < 3; ++j) {
        for (std::size_t k = 0; k < 3; ++k) {
            const double p = product_of<3>(column_of<3>(P, j), column_of<3>(P, k));
            worst = std::max(worst, std::fabs(p - (j == k ? 1.0 : 0.0)));
        }
    }
    return worst / eps;
}

// Both solvers do it, and ours within what LAPACK promises: a few units in the last place of the
// largest entry.
void expect_as_by_lapack(const tensor& M) {
    spectrum ours;
    spectrum reference;
    basis P;
    basis Q;
    ASSERT_TRUE(eigen3(M, ours, P));
    ASSERT_TRUE(dspev(M, reference, &Q));
    ASSERT_LE(ours[0], ours[1]);
    ASSERT_LE(ours[1], ours[2]);
    for (std::size_t k = 0; k < 3; ++k) {
        ASSERT_LE(std::fabs(ours[k] - reference[k]), 24 * eps * largest_entry<3>(M));
    }
    ASSERT_LE(residual(M, ours, P), 16.0);
    ASSERT_LE(skewness(P), 16.0);
    ASSERT_GT(determinant(P), 0.0);
}

TEST(eigen3, metrics_in_any_directions) {
    random_source random(201);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        expect_as_by_lapack(random_metric<3>(random, 0.01, 100.0));
    }
}

TEST(eigen3, metrics_graded_over_twelve_orders_of_magnitude) {
    random_source random(202);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        expect_as_by_lapack(random_metric<3>(random, 1e-6, 1e6));
        // Graded along the axes: D A D.
        tensor M = random_metric<3>(random, 0.5, 2.0);
        const double d[3] = {log_uniform(random, 1e-3, 1e3), log_uniform(random, 1e-3, 1e3),
                             log_uniform(random, 1e-3, 1e3)};
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j <= i; ++j) M(i, j) *= d[i] * d[j];
        }
        expect_as_by_lapack(M);
    }
}

// The smallest ones come out to their last places, not to those of the largest.
TEST(eigen3, what_is_graded_along_the_axes_keeps_small_eigenvalues) {
    const tensor M = {1.0, 1e-7, 1e-12, 1e-13, 1e-19, 1e-24};
    spectrum l;
    basis P;
    ASSERT_TRUE(eigen3(M, l, P));
    // Schur complements: 1e-12 - 1e-14 and what is left of 1e-24 below both.
    EXPECT_NEAR(l[2], 1.0, 1e-13);
    EXPECT_NEAR(l[1] / 9.9e-13, 1.0, 1e-12);
    const double det = M[0] * (M[2] * M[5] - M[4] * M[4]) - M[1] * (M[1] * M[5] - M[4] * M[3]) +
                       M[3] * (M[1] * M[4] - M[2] * M[3]);
    EXPECT_NEAR(l[0] * l[1] * l[2] / det, 1.0, 1e-12);
}

TEST(eigen3, nearly_multiple_eigenvalues) {
    random_source random(203);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        const double gap = log_uniform(random, 1e-18, 1e-2);
        const double l = random.uniform(-3.0, 3.0);
        const double other = random.one_in(3) ? l : random.uniform(-3.0, 3.0);
        expect_as_by_lapack(assembled<3>({l, l * (1.0 + gap), other}, random_basis<3>(random)));
    }
}

TEST(eigen3, any_symmetric_matrix) {
    random_source random(204);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        const double scale = log_uniform(random, 1e-150, 1e150);
        tensor M;
        for (double& entry : M.values) {
            entry = random.one_in(4) ? 0.0 : scale * random.uniform(-1.0, 1.0);
        }
        if (largest_entry<3>(M) > 0.0) expect_as_by_lapack(M);
    }
}

TEST(eigen3, integer_matrices_with_many_ties) {
    random_source random(205);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        tensor M;
        for (double& entry : M.values) entry = static_cast<double>(random.between(0, 4)) - 2.0;
        if (largest_entry<3>(M) > 0.0) expect_as_by_lapack(M);
    }
}

TEST(eigen3, diagonal_matrices_are_sorted_and_nothing_else) {
    spectrum l;
    basis P;
    ASSERT_TRUE(eigen3({3.0, 0.0, 1.0, 0.0, 0.0, 2.0}, l, P));
    EXPECT_EQ(l[0], 1.0);
    EXPECT_EQ(l[1], 2.0);
    EXPECT_EQ(l[2], 3.0);
    EXPECT_EQ(skewness(P), 0.0);
    ASSERT_TRUE(eigen3({}, l, P));
    EXPECT_EQ(l[0], 0.0);
    EXPECT_EQ(l[2], 0.0);
    EXPECT_EQ(skewness(P), 0.0);
}

TEST(eigen3, what_is_not_finite_is_refused_with_the_outputs_untouched) {
    random_source random(206);
    const spectrum l_before = {7.0, 8.0, 9.0};
    const basis P_before = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0};
    for (const double bad : {not_a_number, infinity, -infinity}) {
        for (std::size_t k = 0; k < 6; ++k) {
            tensor M = random_metric<3>(random, 0.1, 10.0);
            M[k] = bad;
            spectrum l = l_before;
            basis P = P_before;
            EXPECT_FALSE(eigen3(M, l));
            EXPECT_FALSE(eigen3(M, l, P));
            EXPECT_TRUE(same_bits(l, l_before));
            EXPECT_TRUE(same_bits(P, P_before));
        }
    }
}

TEST(eigen3, an_eigenvalue_beyond_the_range_is_infinite) {
    spectrum l;
    ASSERT_TRUE(eigen3({largest, largest, largest, 0.0, 0.0, 1.0}, l));
    EXPECT_EQ(l[1], 1.0);
    EXPECT_EQ(l[2], infinity);
    ASSERT_TRUE(eigen3({-largest, largest, -largest, 0.0, 0.0, 1.0}, l));
    EXPECT_EQ(l[0], -infinity);
    EXPECT_EQ(l[2], 1.0);
}

TEST(eigen3, a_power_of_two_scales_the_values_exactly_and_leaves_the_vectors) {
    random_source random(209);
    for (std::uint64_t run = 0; run < nbr_runs(2000); ++run) {
        const tensor M = random_metric<3>(random, 1e-6, 1e6);
        spectrum l;
        basis P;
        ASSERT_TRUE(eigen3(M, l, P));
        for (const int exponent : {-960, -600, -300, 1, 300, 600, 990}) {
            tensor scaled = M;
            for (double& entry : scaled.values) entry = std::ldexp(entry, exponent);
            spectrum l_scaled;
            basis P_scaled;
            ASSERT_TRUE(eigen3(scaled, l_scaled, P_scaled));
            for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(l_scaled[k], std::ldexp(l[k], exponent));
            EXPECT_TRUE(same_bits(P_scaled, P));
        }
    }
}

TEST(eigen3, denormal_matrices) {
    const double least = std::numeric_limits<double>::denorm_min();
    spectrum l;
    basis P;
    ASSERT_TRUE(eigen3({0.0, least, 0.0, 0.0, 0.0, 2.0 * least}, l, P));
    EXPECT_EQ(l[0], -least);
    EXPECT_EQ(l[1], least);
    EXPECT_EQ(l[2], 2.0 * least);
    EXPECT_LE(skewness(P), 4.0);
}

TEST(eigen3, equal_values_keep_the_order_of_their_axes) {
    spectrum l;
    basis P;
    ASSERT_TRUE(eigen3({2.0, 0.0, 2.0, 0.0, 0.0, 1.0}, l, P));
    EXPECT_TRUE(same_bits(l, spectrum{1.0, 2.0, 2.0}));
    EXPECT_EQ(P(2, 0), 1.0);
    EXPECT_EQ(P(0, 1), 1.0);
    EXPECT_EQ(P(1, 2), 1.0);
}

TEST(eigen3, the_largest_entry_of_the_first_two_vectors_is_positive_and_of_several_the_first) {
    random_source random(210);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        tensor M;
        for (double& entry : M.values) {
            entry = run % 2 == 0 ? random.uniform(-1.0, 1.0)
                                 : static_cast<double>(random.between(0, 4)) - 2.0;
        }
        spectrum l;
        basis P;
        ASSERT_TRUE(eigen3(M, l, P));
        for (std::size_t k = 0; k < 2; ++k) {
            const double* const p = P.data() + 3 * k;
            EXPECT_GT(*std::max_element(
                          p, p + 3, [](double a, double b) { return std::fabs(a) < std::fabs(b); }),
                      0.0);
        }
    }
}

TEST(eigen3, has_the_bits_that_it_has_on_every_machine) {
    EXPECT_EQ(eigen3_hash(), expected_eigen3_hash);
}

// What both metrics become when they are built again from their values in the basis.
template <class Reduction>
void expect_rebuilt(const Reduction& r, const tensor& M1, const tensor& M2, double tolerance) {
    EXPECT_LT(distance<3>(assembled<3>(r.m1, r.dual), M1), tolerance);
    EXPECT_LT(distance<3>(assembled<3>(r.m2, r.dual), M2), tolerance);
}

TEST(reduce_metrics, gives_values_and_metrics_as_the_plain_reduction_by_lapack) {
    random_source random(207);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        const double scale = log_uniform(random, 1e-12, 1e12);
        const tensor M1 = random_metric<3>(random, 0.1 * scale, 10.0 * scale);
        const tensor M2 = random_metric<3>(random, 0.1 * scale, 10.0 * scale);
        metric_reduction<3> ours;
        plain_reduced<3> reference;
        ASSERT_TRUE(reduce_metrics(M1, M2, ours));
        ASSERT_TRUE(plain_reduction(M1, M2, reference));
        expect_rebuilt(ours, M1, M2, 1e-11);
        expect_rebuilt(reference, M1, M2, 1e-11);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(ours.m2[k] / ours.m1[k] / (reference.m2[k] / reference.m1[k]), 1.0, 1e-10);
        }
    }
}

TEST(reduce_metrics, fails_where_the_plain_reduction_does) {
    random_source random(208);
    for (int run = 0; run < 5000; ++run) {
        tensor M1;
        for (double& entry : M1.values) entry = static_cast<double>(random.between(0, 4)) - 1.0;
        const tensor M2 = random_metric<3>(random, 0.1, 10.0);
        metric_reduction<3> ours;
        plain_reduced<3> reference;
        ASSERT_EQ(reduce_metrics(M1, M2, ours), plain_reduction(M1, M2, reference));
    }
}

} // namespace
