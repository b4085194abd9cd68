#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "quality/plain_edges.h"
#include "support/random.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using test::plain_log_mean;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

TEST(edge_quality, is_the_length_in_units_of_one_size) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(2.0, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, 2.0);
    EXPECT_EQ(edge_quality(3.0, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, 3.0);
}

TEST(edge_quality, takes_the_logarithmic_mean_of_two_sizes) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 1.0, 2.0, q), 0);
    EXPECT_EQ(q, 0.6931471805599453);
}

TEST(edge_quality, takes_a_series_for_sizes_that_are_close) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 1.0, 1.05, q), 0);
    EXPECT_EQ(q, plain_log_mean(1.0, 1.0, 1.05));
    EXPECT_NEAR(q, std::log(1.05) / 0.05, 1e-7);
}

TEST(edge_quality, takes_the_logarithm_from_a_tenth_of_difference_on) {
    // (hs - hl) / hl is exactly -0.1 as a double.
    ASSERT_EQ((9.0 - 10.0) / 10.0, -0.1);
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 9.0, 10.0, q), 0);
    EXPECT_EQ(q, 1.0 / (10.0 * (-0.1 / std::log1p(-0.1))));
}

TEST(edge_quality, is_exactly_symmetric_in_the_sizes) {
    test::random_source random(61001);
    for (int k = 0; k < 2000; ++k) {
        const double length = random.uniform(-1.0, 3.0);
        const double h0 = std::exp(random.uniform(-3.0, 3.0));
        const double h1 =
            random.one_in(2) ? h0 * random.uniform(0.85, 1.2) : std::exp(random.uniform(-3.0, 3.0));
        double q = -7.0;
        double swapped = -8.0;
        EXPECT_EQ(edge_quality(length, h0, h1, q), 0);
        EXPECT_EQ(edge_quality(length, h1, h0, swapped), 0);
        EXPECT_EQ(q, swapped);
        EXPECT_EQ(q, plain_log_mean(length, h0, h1));
    }
}

TEST(edge_quality, does_not_test_the_length) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(0.0, 1.0, 2.0, q), 0);
    EXPECT_EQ(q, 0.0);
    EXPECT_EQ(edge_quality(-2.0, 0.5, 0.5, q), 0);
    EXPECT_EQ(q, -4.0);
    EXPECT_EQ(edge_quality(nan_value, 1.0, 1.0, q), 0);
    EXPECT_TRUE(std::isnan(q));
    EXPECT_EQ(edge_quality(infinite, 1.0, 1.0, q), 0);
    EXPECT_EQ(q, infinite);
}

TEST(edge_quality, refuses_sizes_at_or_below_0_and_writes_nothing) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, 0.0, 1.0, q), -2);
    EXPECT_EQ(edge_quality(1.0, -1.0, 0.0, q), -2);
    EXPECT_EQ(edge_quality(1.0, 1.0, 0.0, q), -3);
    EXPECT_EQ(edge_quality(1.0, 1.0, -infinite, q), -3);
    EXPECT_EQ(q, -7.0);
}

TEST(edge_quality, lets_a_size_that_is_not_a_number_pass) {
    double q = -7.0;
    EXPECT_EQ(edge_quality(1.0, nan_value, 1.0, q), 0);
    EXPECT_EQ(edge_quality(1.0, 1.0, nan_value, q), 0);
    EXPECT_EQ(edge_quality(1.0, nan_value, 0.0, q), -3);
}

} // namespace
