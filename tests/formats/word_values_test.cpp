// Numbers that words stand for.
#include "formats/word_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// A word behind which other words can be read, and no others.
struct padded {
    explicit padded(const std::string& word) : text(word + std::string(word_size, '\0')) {}
    std::string_view word() const {
        return std::string_view(text).substr(0, text.size() - word_size);
    }
    std::string text;
};

double number(const std::string& word) {
    double value = 0.0;
    return word_to_number(padded(word).word(), value) ? value : -0.25;
}
double value(const std::string& word) {
    double result = 0.0;
    return word_to_value(padded(word).word(), result) ? result : -0.25;
}

TEST(word_values, numbers_may_have_an_exponent_behind_an_e_or_a_d) {
    EXPECT_EQ(number("12"), 12.0);
    EXPECT_EQ(number("-.5"), -0.5);
    EXPECT_EQ(number("+5."), 5.0);
    EXPECT_EQ(number("1e3"), 1000.0);
    EXPECT_EQ(number("1D3"), 1000.0);
    EXPECT_EQ(number("-2.5d-1"), -0.25);
    EXPECT_EQ(number("0.1000000000000000055511151231257827D+00"), 0.1);
    for (const char* const bad : {"", "x", "1x", "1e", "1d", "d5", "1d2d3", "1d2e3", "1e999",
                                  "1d999", "nan", "inf", "-", "1,5", "0x10", "1 2"}) {
        EXPECT_EQ(number(bad), -0.25) << bad;
    }
    EXPECT_EQ(number("1d" + std::string(100, '0')), -0.25); // longer than any that is written
    EXPECT_EQ(number("1e" + std::string(100, '0')), 1.0);
}

TEST(word_values, values_may_be_no_numbers) {
    EXPECT_EQ(value("-3.5"), -3.5);
    for (const char* const nan : {"nan", "NaN", "-nan", "+NAN", "nan(0x8)", "-nan(ind)"}) {
        EXPECT_TRUE(std::isnan(value(nan))) << nan;
    }
    EXPECT_EQ(value("inf"), INFINITY);
    EXPECT_EQ(value("+Infinity"), INFINITY);
    EXPECT_EQ(value("-INF"), -INFINITY);
    for (const char* const bad : {"", "-", "+", "n", "infi", "nans", "--inf", "1e999"}) {
        EXPECT_EQ(value(bad), -0.25) << bad;
    }
}

TEST(word_values, integers_must_fit) {
    const auto fits = [](std::string_view word, auto expected) {
        decltype(expected) found{};
        return word_to_integer(word, found) && found == expected;
    };
    EXPECT_TRUE(fits("4294967295", 4294967295U));
    EXPECT_TRUE(fits("+7", 7U));
    EXPECT_TRUE(fits("-7", std::int64_t{-7}));
    std::uint32_t found = 0;
    for (const char* const bad : {"", "+", "-1", "4294967296", "1.0", "1x", "++1", "+-1", " 1"}) {
        EXPECT_FALSE(word_to_integer(std::string_view(bad), found)) << bad;
    }
}

TEST(word_values, keywords_do_not_begin_as_numbers) {
    for (const char* const word : {"1", "-1", "+x", ".5"}) EXPECT_TRUE(begins_as_number(word));
    for (const char* const word : {"", "End", "nan", "\"1\""}) EXPECT_FALSE(begins_as_number(word));
}

TEST(word_values, of_any_bytes_are_numbers_or_nothing) {
    random_source random(89);
    for (std::uint64_t k = 0; k < nbr_runs(20000); ++k) {
        std::string word;
        for (std::size_t n = random.below(90); n != 0; --n)
            word += "0123.+-eEdDnaif("[random.below(16)];
        const double found = number(word);
        EXPECT_TRUE(std::isfinite(found));
        EXPECT_TRUE(found == -0.25 || value(word) == found);
    }
}

} // namespace
