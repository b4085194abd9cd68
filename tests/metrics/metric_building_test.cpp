#include "tessmaker/metric_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "metrics/metric_dimensions.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::matrix;
using test::metric;
using test::vector;

template <class Dimension> class metric_building : public testing::Test {};
TYPED_TEST_SUITE(metric_building, dimensions, dimension_name);

TYPED_TEST(metric_building, a_size_gives_the_inverse_square_on_the_diagonal) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.5, 3.0, 1e-70, 1e70, 5e-324, largest, infinity}) {
        metric<N> M = full<N>(9.0);
        metric_aniso(h, M);
        EXPECT_TRUE(same_bits(M, isotropic<N>(1.0 / (h * h)))) << h;
    }
}

TYPED_TEST(metric_building, a_size_not_above_zero_gives_the_zero_metric_which_is_not_valid) {
    constexpr std::size_t N = TypeParam::n;
    for (const double h : {0.0, -0.0, -1.0, not_a_number, -infinity}) {
        metric<N> M = full<N>(9.0);
        metric_aniso(h, M);
        EXPECT_TRUE(same_bits(M, metric<N>{})) << h;
        EXPECT_FALSE(is_valid_metric(M));
    }
}

TEST(metric_building_by_axes,
     sizes_along_the_axes_stand_on_the_diagonal_and_others_are_no_constraint) {
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

TYPED_TEST(metric_building, a_negative_size_along_a_direction_counts_as_its_absolute_value) {
    constexpr std::size_t N = TypeParam::n;
    vector<N> h = filled<N>(1.0);
    h[0] = -2.0;
    metric<N> M = full<N>(9.0);
    metric_aniso(h, unit_basis<N>(), M);
    metric<N> expected = isotropic<N>(1.0);
    expected[0] = 0.25;
    EXPECT_LE(distance<N>(M, expected), 0.0);
}

TYPED_TEST(metric_building, a_size_of_zero_along_a_direction_has_no_weight) {
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

TYPED_TEST(metric_building, sizes_along_directions_are_read_back_by_the_eigenpairs) {
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

TEST(metric_building_by_frame, a_frame_gives_the_metric_of_its_plane) {
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

} // namespace
