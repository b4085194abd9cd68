// What becomes of 3D matrices that are not finite, which the solver of eigenproblems refuses, and
// of metrics so small in size that their reduction overflows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "metrics/metric_dimensions.h"
#include "metrics/metric_reduction.h"
#include "metrics/nodal_fields.h"
#include "metrics/random_metrics.h"
#include "support/meshes.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using tensor = test::metric<3>;
using spectrum = test::vector<3>;
using basis = test::matrix<3>;

constexpr tensor unit{1.0, 0.0, 1.0, 0.0, 0.0, 1.0};
constexpr spectrum any_values{7.0, 8.0, 9.0};
constexpr basis any_vectors{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0};

// A valid metric with one entry, or all, replaced by what is not finite.
std::vector<tensor> matrices_that_are_not_finite() {
    const tensor valid{3.0, 0.5, 2.0, 0.25, 0.125, 5.0};
    std::vector<tensor> matrices;
    for (const double bad : {not_a_number, infinity, -infinity}) {
        matrices.push_back(full<3>(bad));
        for (const tensor& M : {valid, unit}) {
            for (std::size_t k = 0; k < 6; ++k) {
                matrices.push_back(M);
                matrices.back()[k] = bad;
            }
        }
    }
    return matrices;
}

TEST(not_finite, eigenpairs_are_false_and_leave_the_outputs) {
    for (const tensor& M : matrices_that_are_not_finite()) {
        spectrum l = any_values;
        basis P = any_vectors;
        EXPECT_FALSE(eigen_pairs(M, l, P));
        eigen_values(M, l);
        EXPECT_TRUE(same_bits(l, any_values));
        EXPECT_TRUE(same_bits(P, any_vectors));
    }
}

TEST(not_finite, a_matrix_is_no_valid_metric_and_has_the_size_0) {
    for (const tensor& M : matrices_that_are_not_finite()) {
        EXPECT_FALSE(is_valid_metric(M));
        for (const double x : {0.0, 0.5, 1.0}) EXPECT_EQ(metric_aniso_to_iso(M, x), 0.0);
    }
}

TEST(not_finite, a_matrix_is_not_clamped) {
    for (const tensor& before : matrices_that_are_not_finite()) {
        for (const double hmin : {0.0, 0.5, 4.0}) {
            for (const double hmax : {0.0, 0.25, 2.0, largest}) {
                if (hmin == 0.0 && hmax == largest) continue;
                tensor M = before;
                EXPECT_EQ(bound_metric(M, hmin, hmax), -1);
                EXPECT_TRUE(same_bits(M, before));
            }
        }
    }
}

TEST(not_finite, a_column_of_a_field_is_neither_clamped_nor_counted) {
    const std::vector<tensor> matrices = matrices_that_are_not_finite();
    dense2D<double> before(6, matrices.size() + 1);
    for (std::size_t n = 0; n < matrices.size(); ++n) {
        std::copy_n(matrices[n].values, 6, before.column(n));
    }
    std::copy_n(unit.values, 6, before.column(matrices.size()));
    dense2D<double> metrics = copy_of(before);
    EXPECT_EQ(bound_metrics(metrics, 2.0, 4.0), 1);
    EXPECT_FALSE(same_bits(metrics, before));
    std::copy_n(unit.values, 6, metrics.column(matrices.size()));
    EXPECT_TRUE(same_bits(metrics, before));
    dense1D<unsigned int> modified;
    EXPECT_EQ(bound_metrics(metrics, 2.0, 4.0, modified), 1);
    ASSERT_EQ(modified.size(), 1U);
    EXPECT_EQ(modified[0], matrices.size());
}

void expect_not_reduced(const tensor& A, const tensor& B) {
    spectrum l = any_values;
    basis P = any_vectors;
    EXPECT_FALSE(eigen_pairs(A, B, l, P));
    EXPECT_TRUE(same_bits(l, any_values));
    EXPECT_TRUE(same_bits(P, any_vectors));
    metric_reduction<3> r{any_vectors, any_vectors, any_values, any_values};
    EXPECT_FALSE(reduce_metrics(A, B, r));
    EXPECT_TRUE(same_bits(r, metric_reduction<3>{}));
    for (const int direction : {-1, 1}) {
        metric_field<3>::interpolation between(A, B, direction);
        tensor M = unit;
        EXPECT_EQ(between.at(0.5, M), interpolated::none);
        EXPECT_EQ(between.at(1.0, M), interpolated::refused);
    }
}
void expect_the_first_of_two(const tensor& A, const tensor& B) {
    tensor M = unit;
    EXPECT_FALSE(maximum_metric(A, B, M));
    EXPECT_TRUE(same_bits(M, A));
    M = unit;
    EXPECT_FALSE(minimum_metric(A, B, M));
    EXPECT_TRUE(same_bits(M, A));
}

TEST(not_finite, a_matrix_is_not_reduced_with_another_and_leaves_the_first) {
    for (const tensor& odd : matrices_that_are_not_finite()) {
        expect_not_reduced(unit, odd);
        expect_the_first_of_two(unit, odd);
        expect_not_reduced(odd, unit);
        expect_the_first_of_two(odd, unit);
    }
}

TEST(overflow_of_a_reduction, leaves_the_first_of_two_metrics) {
    for (const double l : {1e120, 1e150, 1e300}) {
        expect_not_reduced(isotropic<3>(l), isotropic<3>(2.0 * l));
        expect_the_first_of_two(isotropic<3>(l), isotropic<3>(2.0 * l));
    }
}

TEST(overflow_of_a_reduction, makes_a_step_along_an_edge_no_change) {
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const double size : {1e-10, 1e-60}) {
        dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}});
        pos(0, 1) = size;
        dense2D<double> metrics(6, 2);
        std::copy_n(isotropic<3>(1.0 / (size * size)).values, 6, metrics.column(0));
        std::copy_n(isotropic<3>(1e-4 / (size * size)).values, 6, metrics.column(1));
        const dense2D<double> start = copy_of(metrics);
        const int nbr = bound_metric_gradations(pos, bar, ET_BAR2, {}, true, -1, 0.2, metrics);
        const bool overflows = size == 1e-60;
        EXPECT_EQ(nbr, overflows ? 0 : 1);
        EXPECT_EQ(same_bits(metrics, start), overflows);
    }
}

} // namespace
