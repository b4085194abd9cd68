#include "metrics/edge_length.h"

#include <gtest/gtest.h>

#include <cmath>

#include "metrics/plain_measures.h"
#include "metrics/random_metrics.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

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
