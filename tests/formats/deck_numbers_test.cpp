// Numbers in the fields of a deck, against the C library on a plain spelling of each.
#include "formats/deck_numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <regex>
#include <string>
#include <vector>

#include "formats/comma_locale.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// A copy of a text with words behind it that must not matter.
class field_copy {
public:
    explicit field_copy(const std::string& text)
        : size_(text.size()), text_(text + "7,+E5.9,1234567") {}
    std::string_view get() const { return std::string_view(text_).substr(0, size_); }

private:
    std::size_t size_;
    std::string text_;
};

struct read_result {
    deck_value value;
    double number;
};
read_result real(const std::string& text) {
    double number = -99.0;
    const deck_value value = read_real(field_copy(text).get(), number);
    return {value, number};
}
deck_value integer(const std::string& text, std::int64_t& number) {
    return read_integer(field_copy(text).get(), number);
}
deck_value id(const std::string& text, unsigned int& number) {
    return read_id(field_copy(text).get(), number);
}

// What the format asks for, and the C library on the same number with an `e`.
read_result plain_real(const std::string& field) {
    static const std::regex form("([ \t\n\v\f\r]*)([+-]?)(([0-9]+\\.?[0-9]*)|(\\.[0-9]+))"
                                 "([eEdD][+-]?[0-9]+|[+-][0-9]+)?[ \t\n\v\f\r]*");
    static const std::regex blank("[ \t\n\v\f\r]*");
    if (std::regex_match(field, blank)) return {deck_value::blank, -99.0};
    std::smatch parts;
    if (!std::regex_match(field, parts, form)) return {deck_value::not_a_real, -99.0};
    std::string exponent = parts[6];
    if (!exponent.empty() && std::isalpha(static_cast<unsigned char>(exponent[0]))) {
        exponent.erase(0, 1);
    }
    std::string plain = std::string(parts[2]) + std::string(parts[3]);
    if (!exponent.empty()) plain += "e" + exponent;
    const double value = std::strtod(plain.c_str(), nullptr);
    if (std::isinf(value)) return {deck_value::too_large, -99.0};
    return {deck_value::number, value};
}

testing::AssertionResult same_real(const std::string& text) {
    const read_result read = real(text);
    const read_result plain = plain_real(text);
    if (read.value != plain.value ||
        std::bit_cast<std::uint64_t>(read.number) != std::bit_cast<std::uint64_t>(plain.number)) {
        return testing::AssertionFailure()
               << "'" << text << "': " << reason(read.value) << " " << read.number << ", not "
               << reason(plain.value) << " " << plain.number;
    }
    return testing::AssertionSuccess();
}

TEST(deck_numbers, reads_reals_in_every_spelling_of_the_format) {
    for (const char* const text :
         {"1.5", "1.5+0", "1.5E0", "1.5D0", "1.5e+00", "+1.5d-0", " 1.5 ", "15.-1", "15.E-1",
          ".15+1", "\t1.5", "1.5     ", "       1.5       ", "150000000000000000000000.-23"}) {
        const read_result read = real(text);
        EXPECT_EQ(read.value, deck_value::number) << text;
        EXPECT_EQ(read.number, 1.5) << text;
    }
    EXPECT_EQ(real("-2.5-2").number, -0.025);
    EXPECT_EQ(real("7").number, 7.0);
    EXPECT_TRUE(std::signbit(real("-0.").number));
}

TEST(deck_numbers, refuses_what_is_no_real_and_leaves_the_number_alone) {
    for (const char* const text :
         {".",      "+",       "-",       "E5",     ".E5",  "1.5E", "1.5+", "1.5E+", "1.5 +3",
          "1 5",    "1.5.",    "--1",     "+-1",    "nan",  "inf",  "0x10", "1.5F3", "1,5",
          "1.5E3.", "1.5+3+3", "1.5E+-3", "1.5EE3", "THRU", "1.5d", "1_000"}) {
        const read_result read = real(text);
        EXPECT_EQ(read.value, deck_value::not_a_real) << text;
        EXPECT_EQ(read.number, -99.0) << text;
    }
    EXPECT_EQ(real("").value, deck_value::blank);
    EXPECT_EQ(real("                ").value, deck_value::blank);
    EXPECT_EQ(real("1.+309").value, deck_value::too_large);
    EXPECT_EQ(real("1.+99999999999999999999").value, deck_value::too_large);
    EXPECT_EQ(real("1.-99999999999999999999").number, 0.0);
    EXPECT_EQ(real("0.+99999999999999999999").number, 0.0);
    EXPECT_EQ(real("5.-324").number, std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(real(std::string(101, '7')).value, deck_value::too_long);
}

TEST(deck_numbers, reads_any_real_as_the_library_does) {
    static const std::vector<std::string> parts{
        "1",   "2",   "37", "0",  "00", ".",  "+", "-",       "E",  "e",        "D",
        "d",   " ",   "8",  "99", "x",  "\t", "5", "0000000", "31", "12345678", "9007199254740993",
        "4.9", "-324"};
    for (std::uint64_t seed = 0; seed < nbr_runs(30000); ++seed) {
        random_source random(seed);
        std::string text = random.one_in(2) ? "" : std::string(random.below(12), ' ');
        for (std::size_t k = random.below(7); k > 0; --k) text += random.one_of(parts);
        ASSERT_TRUE(same_real(text)) << seed;
        char number[60];
        static const char* const forms[] = {"%.3f", "%16E", "%.17g", "%8.2f", "%.9e", "%-20.5E"};
        std::snprintf(number, sizeof number, forms[random.below(6)],
                      random.uniform(-1, 1) *
                          std::pow(10.0, static_cast<double>(random.below(600)) - 300));
        text = number;
        const std::size_t letter = text.find_first_of("eE");
        if (letter != std::string::npos && random.one_in(2)) text.erase(letter, 1);
        if (text.size() < 100) {
            ASSERT_TRUE(same_real(text)) << seed;
        }
    }
}

TEST(deck_numbers, reads_reals_with_a_point_in_any_locale) {
    const comma_locale locale;
    EXPECT_EQ(real("1.2345678901234567890123-5").number, 1.2345678901234567890123e-5);
}

TEST(deck_numbers, reads_integers_within_64_bits) {
    std::int64_t number = 0;
    EXPECT_EQ(integer(" -12 ", number), deck_value::number);
    EXPECT_EQ(number, -12);
    EXPECT_EQ(integer("+9223372036854775807", number), deck_value::number);
    EXPECT_EQ(number, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("9223372036854775808", number), deck_value::too_large);
    for (const char* const text : {"1.", "1 2", "+-1", "+", "-", "1+", "1E2", "x", "0x1", "--1"}) {
        EXPECT_EQ(integer(text, number), deck_value::not_an_integer) << text;
    }
    EXPECT_EQ(integer("   ", number), deck_value::blank);
    EXPECT_EQ(number, std::numeric_limits<std::int64_t>::max());
}

TEST(deck_numbers, reads_ids_as_integers_of_their_range) {
    static const std::vector<std::string> parts{"1",          "2",        "0",   "99", "12345678",
                                                " ",          "        ", "-",   "+",  "x",
                                                "4294967294", "\t",       "007", "."};
    std::size_t nbr_ids = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(40000); ++seed) {
        random_source random(seed);
        std::string text;
        for (std::size_t k = random.below(5); k > 0; --k) text += random.one_of(parts);
        std::int64_t number = 0;
        deck_value expected = integer(text, number);
        if (expected == deck_value::number && (number < 1 || number > 4294967294))
            expected = deck_value::not_an_id;
        if (expected == deck_value::too_large) expected = deck_value::not_an_id;
        unsigned int read = 77;
        ASSERT_EQ(id(text, read), expected) << "'" << text << "'";
        ASSERT_EQ(read, expected == deck_value::number ? number : 77) << text;
        nbr_ids += expected == deck_value::number ? 1 : 0;
    }
    EXPECT_GT(nbr_ids, 8000U);
    unsigned int read = 0;
    EXPECT_EQ(id("4294967295", read), deck_value::not_an_id);
}

TEST(deck_numbers, has_a_reason_for_each_refusal) {
    for (int k = 0; k <= static_cast<int>(deck_value::too_long); ++k) {
        EXPECT_GT(std::string(reason(static_cast<deck_value>(k))).size(), 5U) << k;
    }
}

} // namespace
