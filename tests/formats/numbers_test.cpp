#include "formats/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(numbers, text_is_scanned_as_by_the_C_library) {
    double x = 0;
    double y = 0;
    EXPECT_EQ(scan_text(" a 1.5 0x2", " a %lg %lg", &x, &y), 2);
    EXPECT_EQ(x, 1.5);
    EXPECT_EQ(y, 2);
    EXPECT_EQ(scan_text("", "%lg", &x), -1);
    EXPECT_EQ(scan_text("b", "%lg", &x), 0);
}

TEST(numbers, decimal_numbers_have_the_values_that_scan_text_gives_them) {
    random_source random(11);
    unsigned int nbr_read = 0;
    for (int k = 0; k < 200000; ++k) {
        std::string text = random.one_in(3) ? "-" : random.one_in(8) ? "+" : "";
        const std::size_t nbr_digits = random.below(24);
        for (std::size_t d = 0; d < nbr_digits; ++d) text += "0123456789"[random.below(10)];
        if (random.one_in(2)) text.insert(text.size() - random.below(nbr_digits + 1), 1, '.');
        if (random.one_in(2)) {
            text += random.one_in(2) ? "e" : "E";
            text += random.one_in(2) ? "-" : random.one_in(2) ? "+" : "";
            text += std::to_string(random.below(random.one_in(3) ? 340 : 30));
        }
        if (random.one_in(30)) text += "xde.+-1\v"[random.below(8)];
        const std::string line = "  " + text + " \t" + text + "\n";
        double values[2] = {};
        const char* const end = scan_decimals(line.c_str(), values, 2);
        if (!end) continue;
        ++nbr_read;
        double expected[2] = {};
        int length = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "%lg%lg%n", &expected[0], &expected[1], &length), 2)
            << text;
        ASSERT_EQ(std::memcmp(values, expected, sizeof values), 0) << text;
        ASSERT_EQ(end - line.c_str(), length) << text;
    }
    EXPECT_GT(nbr_read, 100000U);
}

TEST(numbers, what_is_no_decimal_number_is_left_to_scan_text) {
    double value = 0;
    for (const char* const text :
         {"",    " ",   "x",     ".",    "-",   "+",   "+-1", "--1",   "1e",     "1e+",
          "1d5", "1,5", "1.2.3", "0x10", "nan", "inf", "1f",  "1e400", "-1e400", "1e99999999999",
          "- 1"}) {
        EXPECT_EQ(scan_decimals(text, &value, 1), nullptr) << text;
    }
    EXPECT_STREQ(scan_decimals(" 1.\v2", &value, 1), "\v2");
    EXPECT_EQ(value, 1);
    EXPECT_EQ(scan_decimals("1 2", &value, 0)[0], '1');
}

// What `>>` of a stream finds at the start of the text, and how much of it is left then.
bool scan_by_stream(const std::string& text, double& value, std::size_t& nbr_left) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    if (!(stream >> value)) return false;
    nbr_left =
        text.size() - (stream.eof() ? text.size() : static_cast<std::size_t>(stream.tellg()));
    return true;
}

void expect_number_of_a_stream(const std::string& text) {
    double expected = 0;
    double value = 0;
    std::size_t nbr_left = 0;
    const bool is_number = scan_by_stream(text, expected, nbr_left);
    const char* const end = scan_number(text.c_str(), value);
    ASSERT_EQ(end != nullptr, is_number) << text;
    if (!end) return;
    EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << text;
    EXPECT_EQ(text.c_str() + text.size() - end, static_cast<std::ptrdiff_t>(nbr_left)) << text;
}

TEST(numbers, numbers_end_and_fail_where_those_of_a_stream_do) {
    for (const char* const text : {"",
                                   "+",
                                   "-",
                                   "+-1",
                                   "--1",
                                   ".",
                                   ".e5",
                                   "1.",
                                   "-.5",
                                   "1.5.2",
                                   "1..5",
                                   "1-2",
                                   "1e5e3",
                                   "1e5.3",
                                   "1e",
                                   "1e+",
                                   "1e.5",
                                   "1ee5",
                                   "1.e5",
                                   "0x10",
                                   "0e5",
                                   "00012",
                                   "-0",
                                   "+7/2",
                                   "inf",
                                   "nan",
                                   "1d5",
                                   "1,5",
                                   "1_",
                                   "1e400",
                                   "-1e400",
                                   "1e-400",
                                   "-1e-400",
                                   "4.9e-324",
                                   "2e-324",
                                   "3e-324",
                                   "1e309",
                                   "1.8e308",
                                   "1e-99999999999",
                                   "1e999999",
                                   "0e9999999",
                                   "1e22",
                                   "1e23",
                                   "9007199254740993",
                                   "2.2250738585072011e-308",
                                   "1.7976931348623159e308",
                                   "1.7976931348623158e308"}) {
        expect_number_of_a_stream(text);
    }
    std::string text = "0.";
    expect_number_of_a_stream(text.append(400, '0').append("1e400"));
    text.clear();
    expect_number_of_a_stream(text.append(400, '1').append("e-400"));
    text.clear();
    expect_number_of_a_stream(text.append(400, '0').append("1"));
}

TEST(numbers, any_characters_hold_the_number_that_a_stream_reads_there) {
    random_source random(12);
    for (int k = 0; k < 100000; ++k) {
        std::string text;
        for (std::size_t n = random.below(16); n > 0; --n)
            text += "0123456789.eE+-x"[random.below(16)];
        expect_number_of_a_stream(text);
        if (HasFatalFailure()) return;
    }
}

// Characters of which numbers are made, and a few others.
std::string random_number_text(random_source& random, const char* characters) {
    std::string text;
    for (std::size_t n = random.below(24); n > 0; --n) {
        text += characters[random.below(std::strlen(characters))];
    }
    return text;
}

void expect_real_of_the_library(const std::string& text) {
    const double expected = std::strtod(text.c_str(), nullptr);
    const double value = to_real(text.c_str());
    EXPECT_TRUE(std::memcmp(&value, &expected, sizeof value) == 0 ||
                (std::isnan(value) && std::isnan(expected)))
        << text;

    double scanned = 0;
    int length = 0;
    const bool is_number = std::sscanf(text.c_str(), "%lf%n", &scanned, &length) == 1;
    double found = 0;
    const char* const end = scan_real(text.c_str(), found);
    ASSERT_EQ(end != nullptr, is_number) << text;
    if (!end) return;
    EXPECT_TRUE(std::memcmp(&found, &scanned, sizeof found) == 0 ||
                (std::isnan(found) && std::isnan(scanned)))
        << text;
    EXPECT_EQ(end - text.c_str(), length) << text;
}

TEST(numbers, reals_are_those_of_the_C_library_and_end_where_its_do) {
    for (const char* const text : {"",
                                   " ",
                                   "+",
                                   "-",
                                   ".",
                                   "+-1",
                                   "-+1",
                                   "1.",
                                   ".5",
                                   "-.5e1",
                                   "+1.5x",
                                   "1e",
                                   "1e+",
                                   "1e+5",
                                   "1d5",
                                   "1.5-3",
                                   "1,5",
                                   "0x10",
                                   "0X.8p1",
                                   "0x",
                                   "-0",
                                   "inf",
                                   "-INFINITY",
                                   "nan",
                                   "nan(12)",
                                   "infx",
                                   "1e400",
                                   "-1e400",
                                   "1e-400",
                                   "4.9e-324",
                                   "2e-324",
                                   " \t\n 7 8",
                                   "1e5e5",
                                   "1.2.3",
                                   "e5",
                                   "1 e5",
                                   "123456789012345678901234567890",
                                   "1.7976931348623159e308"}) {
        expect_real_of_the_library(text);
    }
    random_source random(13);
    for (int k = 0; k < 100000; ++k) {
        expect_real_of_the_library(random_number_text(random, "0123456789..eE+- x"));
        if (HasFatalFailure()) return;
    }
}

TEST(numbers, integers_are_those_of_strtol_without_their_upper_half) {
    random_source random(14);
    std::vector<std::string> texts{"",
                                   "+",
                                   "-",
                                   "+-1",
                                   " \t\n 12 3",
                                   "0x10",
                                   "0.5",
                                   "2147483647",
                                   "2147483648",
                                   "-2147483649",
                                   "4294967297",
                                   "9223372036854775806",
                                   "9223372036854775807",
                                   "9223372036854775808",
                                   "-9223372036854775807",
                                   "-9223372036854775808",
                                   "-9223372036854775809",
                                   "92233720368547758070",
                                   "123456789012345678901234567890"};
    for (int k = 0; k < 100000; ++k) texts.push_back(random_number_text(random, "0123456789+- "));
    for (const std::string& text : texts) {
        char* end = nullptr;
        const auto expected = static_cast<unsigned int>(std::strtol(text.c_str(), &end, 10));
        unsigned int value = 0;
        const char* const found = scan_integer(text.data(), text.data() + text.size(), value);
        ASSERT_EQ(found, end == text.c_str() ? nullptr : end) << text;
        ASSERT_EQ(value, expected) << text;
        ASSERT_EQ(to_integer(text), expected) << text;
    }
    unsigned int value = 0;
    const char digits[] = "12345";
    EXPECT_EQ(scan_integer(digits, digits + 2, value), digits + 2);
    EXPECT_EQ(value, 12U);
}

} // namespace
