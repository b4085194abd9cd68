#include "metrics/minimise_bracket.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "metrics/plain_minimise.h"
#include "metrics/random_metrics.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// Both go through the same places with the same result.
void expect_same_course(double a, double b, double tolerance, const plain_function& F) {
    std::vector<double> places;
    std::vector<double> plain_places;
    const minimum found = minimise_bracket(a, b, tolerance, tolerance, [&](double t) {
        places.push_back(t);
        return F(t);
    });
    const plain_sample plain = plain_minimise(a, b, tolerance, tolerance, [&](double t) {
        plain_places.push_back(t);
        return F(t);
    });
    EXPECT_EQ(found.t, plain.t);
    EXPECT_EQ(found.value, plain.F);
    EXPECT_EQ(places, plain_places);
}

TEST(minimise_bracket, an_empty_bracket_gives_its_start) {
    const auto F = [](double t) { return t + 1.0; };
    const minimum at = minimise_bracket(0.5, 0.5, 0.001, 0.001, F);
    EXPECT_EQ(at.t, 0.5);
    EXPECT_EQ(at.value, 1.5);
    const minimum reversed = minimise_bracket(0.75, 0.5, 0.001, 0.001, F);
    EXPECT_EQ(reversed.t, 0.75);
    EXPECT_EQ(reversed.value, 1.75);
}

TEST(minimise_bracket, finds_the_bottom_of_a_valley) {
    for (const double bottom : {0.1, 0.25, 0.37, 0.5, 0.9}) {
        const minimum found = minimise_bracket(
            0.0, 1.0, 1e-9, 1e-6, [&](double t) { return (t - bottom) * (t - bottom) + 0.5; });
        EXPECT_NEAR(found.t, bottom, 2e-4);
        EXPECT_NEAR(found.value, 0.5, 1e-7);
    }
}

TEST(minimise_bracket, goes_to_the_lower_end_of_a_slope) {
    const minimum falling =
        minimise_bracket(0.0, 1.0, 1e-6, 1e-6, [](double t) { return 2.0 - t; });
    EXPECT_NEAR(falling.t, 1.0, 1e-5);
    const minimum rising = minimise_bracket(0.0, 1.0, 1e-6, 1e-6, [](double t) { return 1.0 + t; });
    EXPECT_NEAR(rising.t, 0.0, 1e-5);
}

TEST(minimise_bracket, takes_the_course_of_its_plain_form) {
    random_source random(33);
    for (int n = 0; n < 3000; ++n) {
        const double a = random.uniform(0.0, 0.5);
        const double b = random.one_in(20) ? a : a + random.uniform(0.0, 0.5);
        const double p = random.uniform(-0.5, 1.5);
        const double q = random.uniform(0.0, 40.0);
        const double scale = log_uniform(random, 1e-3, 1e3);
        expect_same_course(a, b, 0.001, [&](double t) {
            return scale * ((t - p) * (t - p) + 0.1 * std::sin(q * t) + 0.1);
        });
    }
}

TEST(minimise_bracket, ends_on_constant_stepped_and_odd_functions) {
    random_source random(34);
    expect_same_course(0.0, 1.0, 0.001, [](double) { return 0.0; });
    expect_same_course(0.0, 1.0, 0.001, [](double) { return 3.0; });
    expect_same_course(0.0, 1.0, 0.001, [](double) { return largest; });
    for (int n = 0; n < 1000; ++n) {
        const std::size_t nbr_steps = random.between(2, 200);
        std::vector<double> values(nbr_steps + 1);
        for (double& v : values) v = random.one_in(8) ? largest : random.uniform(0.0, 1.0);
        expect_same_course(0.0, 1.0, 0.001, [&](double t) {
            return values[static_cast<std::size_t>(t * static_cast<double>(nbr_steps))];
        });
    }
    const minimum not_numbers =
        minimise_bracket(0.0, 1.0, 0.001, 0.001, [](double) { return not_a_number; });
    EXPECT_GE(not_numbers.t, 0.0);
    EXPECT_LE(not_numbers.t, 1.0);
}

} // namespace
