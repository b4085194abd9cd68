// Real numbers in the fields of a deck.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "formats/deck_reals.h"
#include "formats/plain_deck_reals.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

std::string field_of(double value, int digits = 17) {
    char field[deck_real_size];
    put_deck_real(value, digits, field);
    const std::string text(field, deck_real_size);
    EXPECT_EQ(text.find_last_not_of(' '), deck_real_size - 1);
    return text.substr(text.find_first_not_of(' '));
}

TEST(deck_real, has_all_digits_that_a_field_takes) {
    EXPECT_EQ(field_of(0.0), "0.");
    EXPECT_EQ(field_of(-0.0), "-0.");
    EXPECT_EQ(field_of(1.0), "1.");
    EXPECT_EQ(field_of(-0.5), "-.5");
    EXPECT_EQ(field_of(1234.5), "1234.5");
    EXPECT_EQ(field_of(120.0), "120.");
    EXPECT_EQ(field_of(1e10), "10000000000.");
    EXPECT_EQ(field_of(1e14), "100000000000000.");
    EXPECT_EQ(field_of(-1e14), "-1.+14"); // one character too many without an exponent
    EXPECT_EQ(field_of(2e-7), ".0000002");
    EXPECT_EQ(field_of(0.02), ".02");
    EXPECT_EQ(field_of(0.123456789012345), ".123456789012345");
    EXPECT_EQ(field_of(-0.12345678901234), "-.12345678901234");
    EXPECT_EQ(field_of(1.0 / 3.0), ".333333333333333");
    EXPECT_EQ(field_of(-1.0 / 3.0), "-.33333333333333");
    EXPECT_EQ(field_of(123456789012345.0), "123456789012345.");
    EXPECT_EQ(field_of(-123456789012345.0), "-1.2345678901+14"); // a digit more needs 17 characters
    EXPECT_EQ(field_of(999999999999999.9), "1.+15");
    EXPECT_EQ(field_of(-1.0 / 3.0 * 1e-300), "-3.333333333-301");
    EXPECT_EQ(field_of(5e-324), "5.-324");
}

TEST(deck_real, has_no_more_digits_than_are_asked_for) {
    EXPECT_EQ(field_of(1.0 / 3.0, 4), ".3333");
    EXPECT_EQ(field_of(123456.0, 3), "123000.");
    EXPECT_EQ(field_of(-0.000123, 2), "-.00012");
    EXPECT_EQ(field_of(0.9999, 3), "1.");
}

TEST(deck_real, is_never_beyond_the_range_of_double) {
    const double largest = std::numeric_limits<double>::max();
    EXPECT_EQ(field_of(largest), "1.7976931348+308");
    EXPECT_EQ(field_of(-largest), "-1.797693134+308");
    EXPECT_EQ(field_of(largest, 3), "1.79+308");
    EXPECT_EQ(field_of(largest, 1), "1.+308");
    EXPECT_EQ(field_of(1.7000000000000123e308), "1.7+308");
}

TEST(deck_real, says_whether_it_lacks_digits_that_were_asked_for) {
    EXPECT_FALSE(is_deck_real_rounded(0.0, 17));
    EXPECT_FALSE(is_deck_real_rounded(0.123456789012345, 17));
    EXPECT_TRUE(is_deck_real_rounded(-0.123456789012345, 17));
    EXPECT_FALSE(is_deck_real_rounded(-0.123456789012345, 14));
    EXPECT_TRUE(is_deck_real_rounded(1.0 / 3.0, 16));
    EXPECT_FALSE(is_deck_real_rounded(1.0 / 3.0, 15));
    EXPECT_TRUE(is_deck_real_rounded(-1.0 / 3.0 * 1e-300, 11));
    EXPECT_FALSE(is_deck_real_rounded(-1.0 / 3.0 * 1e-300, 10));
}

double value_of(std::string text) {
    const std::size_t sign = text.find_last_of("+-");
    if (sign != std::string::npos && sign != 0) text.insert(sign, "e");
    return std::strtod(text.c_str(), nullptr);
}

// The text with the most digits that fit, found by trying.
std::string plain_text(double value, int digits) {
    for (int n = digits; n > 0; --n) {
        char text[64];
        std::snprintf(text, sizeof text, "%.*e", n - 1, value);
        const std::string all(text);
        const std::size_t letter = all.find('e');
        std::string number = all.substr(0, letter);
        std::string sign;
        if (number[0] == '-') {
            sign = "-";
            number.erase(0, 1);
        }
        if (number.size() > 1) number.erase(1, 1);
        number.erase(std::max<std::size_t>(number.find_last_not_of('0') + 1, 1));
        const int exponent = std::atoi(all.c_str() + letter + 1);
        std::string with_exponent = number.substr(0, 1) + "." + number.substr(1);
        with_exponent += (exponent < 0 ? "-" : "+") + std::to_string(std::abs(exponent));
        std::string plain;
        if (exponent < 0) {
            plain = "." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + number;
        } else {
            const auto whole = static_cast<std::size_t>(exponent) + 1;
            std::string padded = number;
            if (padded.size() < whole) padded.append(whole - padded.size(), '0');
            plain = padded.substr(0, whole) + "." + padded.substr(whole);
        }
        const bool is_plain = sign.size() + plain.size() <= deck_real_size;
        const std::string& best = is_plain ? plain : with_exponent;
        if (sign.size() + best.size() <= deck_real_size) return sign + best;
    }
    return "";
}

bool has_at_most(const std::string& text, int digits) {
    const std::string magnitude =
        text.substr(0, text.find_last_of("+-") == 0 || text.find_last_of("+-") == std::string::npos
                           ? text.size()
                           : text.find_last_of("+-"));
    std::string all;
    for (const char c : magnitude) {
        if (c >= '0' && c <= '9') all += c;
    }
    all.erase(0, all.find_first_not_of('0'));
    all.erase(all.find_last_not_of('0') + 1);
    return all.size() <= static_cast<std::size_t>(digits);
}

TEST(deck_real, of_any_value_is_that_which_trying_finds) {
    random_source random(1);
    for (std::uint64_t run = 0; run < nbr_runs(20000); ++run) {
        double value = random.uniform(-1, 1) * std::pow(10.0, random.uniform(-20, 20));
        if (random.one_in(4)) value = std::bit_cast<double>(random.draw());
        if (random.one_in(4)) value = std::round(value * 1000) / 1000;
        if (!std::isfinite(value) || std::abs(value) > 1e308) continue;
        const int digits = static_cast<int>(random.between(1, 17));
        const std::string text = field_of(value, digits);
        const std::string expected = plain_text(value, digits);
        const double off = std::abs(value_of(text) - value);
        const double expected_off = std::abs(value_of(expected) - value);
        // Shorter where that is the same number; else as found.
        const bool is_exact = off == 0.0 && text.size() <= expected.size();
        EXPECT_TRUE(is_exact || text == expected) << text << ' ' << expected;
        EXPECT_LE(off, expected_off);
        EXPECT_TRUE(has_at_most(text, digits)) << text << ' ' << digits;
        EXPECT_NE(text.find('.'), std::string::npos);
        if (digits == 17) {
            EXPECT_EQ(is_deck_real_rounded(value, 17), off != 0.0) << text;
        }
    }
}

// Values where the number of digits, or the exponent, is decided by the last bit.
double critical_value(random_source& random) {
    const auto power = [&random] { return std::pow(10.0, random.uniform(-22, 20)); };
    double value = 0.0;
    switch (random.below(7)) {
    case 0: value = random.uniform(-1, 1) * power(); break;
    case 1: value = std::bit_cast<double>(random.draw()); break;
    case 2: { // a power of ten as text has it
        const std::string text = "1e" + std::to_string(static_cast<int>(random.below(40)) - 20);
        value = std::strtod(text.c_str(), nullptr);
        break;
    }
    case 3: value = std::ldexp(1.0, static_cast<int>(random.below(140)) - 70); break;
    case 4: { // of some digits, the last of which is often a 5
        const int precision = static_cast<int>(random.between(1, 17));
        char text[64];
        std::snprintf(text, sizeof text, "%.*e", precision, random.uniform(1, 10) * power());
        if (random.one_in(2)) text[precision + 1] = '5';
        value = std::strtod(text, nullptr);
        break;
    }
    case 5: // with few bits: a half of the last digit is exact
        value = std::ldexp(static_cast<double>(random.below(1U << 20)),
                           static_cast<int>(random.below(90)) - 60);
        break;
    default: value = std::round(random.uniform(-1e6, 1e6)) / 1e3;
    }
    const double toward = random.one_in(2) ? 0.0 : std::numeric_limits<double>::max();
    for (std::size_t k = random.one_in(2) ? random.below(4) : 0; k > 0; --k) {
        value = std::nextafter(value, toward);
    }
    return random.one_in(2) ? value : -value;
}

TEST(deck_real, is_what_the_library_makes_of_the_value) {
    random_source random(2);
    for (std::uint64_t run = 0; run < nbr_runs(100000); ++run) {
        const double value = critical_value(random);
        if (!std::isfinite(value)) continue;
        const int digits = random.one_in(2) ? 17 : static_cast<int>(random.between(1, 17));
        char field[deck_real_size];
        put_deck_real(value, digits, field);
        const std::string text(field, deck_real_size);
        ASSERT_EQ(text, plain::deck_real(value, digits)) << std::hexfloat << value << ' ' << digits;
        ASSERT_EQ(is_deck_real_rounded(value, digits), plain::is_deck_real_rounded(value, digits))
            << std::hexfloat << value << ' ' << digits;
    }
}

} // namespace
