// Eight characters at a time against one at a time, and printed numbers against those of the C
// library.
#include "formats/words.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "formats/characters.h"
#include "formats/decimal.h"
#include "formats/numbers.h"
#include "formats/output_buffer.h"
#include "formats/plain_numbers.h"
#include "formats/scratch_files.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

std::uint64_t word_at(const std::string& text) {
    std::string padded = text;
    padded.resize(word_size, '\0');
    return load_word(padded.data());
}

TEST(words, the_first_character_is_the_lowest_byte) {
    EXPECT_EQ(word_at("ABCDEFGH"), 0x4847464544434241U);
    char text[9] = "";
    store_word(0x4847464544434241U, text);
    EXPECT_STREQ(text, "ABCDEFGH");
    EXPECT_EQ(reversed_bytes(0x0102030405060708U), 0x0807060504030201U);
    EXPECT_EQ(first_characters(word_at("ABCDEFGH"), 3), word_at("ABC     "));
    EXPECT_EQ(first_characters(word_at("ABCDEFGH"), 0), blank_word);
    EXPECT_EQ(first_characters(word_at("ABCDEFGH"), 99), word_at("ABCDEFGH"));
}

// Every byte at every place, beside digits and beside bytes that carries could come from.
TEST(words, digits_are_told_from_all_other_bytes) {
    for (const char filling : {'0', '9', ' ', '\xFF', '\x80', '\0'}) {
        for (std::size_t place = 0; place < word_size; ++place) {
            for (int c = 0; c < 256; ++c) {
                std::string text(word_size, filling);
                text[place] = static_cast<char>(c);
                std::size_t nbr_digits = 0;
                while (nbr_digits < word_size && is_digit(text[nbr_digits])) ++nbr_digits;
                ASSERT_EQ(nbr_leading_digits(word_at(text)), nbr_digits) << place << ' ' << c;
                std::size_t nbr_blanks = 0;
                while (nbr_blanks < word_size && text[nbr_blanks] == ' ') ++nbr_blanks;
                ASSERT_EQ(nbr_leading_blanks(word_at(text)), nbr_blanks) << place << ' ' << c;
            }
        }
    }
}

TEST(words, digits_have_their_value_whatever_follows) {
    random_source random(91);
    for (int k = 0; k < 1000000; ++k) {
        const std::size_t n = 1 + random.below(word_size);
        std::string text;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < n; ++i) {
            text += static_cast<char>('0' + random.below(10));
            value = 10 * value + static_cast<std::uint32_t>(text.back() - '0');
        }
        while (text.size() < word_size) text += static_cast<char>(random.below(256));
        ASSERT_EQ(value_of_digits(word_at(text), n), value) << text;
    }
}

void expect_digits(std::uint32_t value) {
    std::uint64_t expected = 0;
    std::uint32_t rest = value;
    for (std::size_t i = 0; i < word_size; ++i) {
        expected = expected << 8 | rest % 10;
        rest /= 10;
    }
    ASSERT_EQ(digits_of(value), expected) << value;
}

TEST(words, a_value_has_its_eight_digits) {
    // All values of both halves, with each other's ends.
    for (std::uint32_t half = 0; half < 10000; ++half) {
        for (const std::uint32_t other : {0U, 1U, 99U, 100U, 1234U, 9999U}) {
            expect_digits(half * 10000 + other);
            expect_digits(other * 10000 + half);
        }
    }
    random_source random(92);
    for (int k = 0; k < 1000000; ++k) expect_digits(random.id_below(100000000));
}

TEST(words, a_value_is_aligned_to_the_right) {
    random_source random(96);
    for (int k = 0; k < 200000; ++k) {
        const std::uint32_t value = random.id_below(random.one_in(2) ? 100000000 : 1000);
        char text[9] = "";
        char expected[9];
        store_word(right_aligned(value), text);
        std::snprintf(expected, sizeof expected, "%8u", value);
        ASSERT_STREQ(text, expected);
    }
}

// What a buffer makes of a few calls.
template <class Put> std::string written_by(const Put& put) {
    const scratch_stream stream;
    output_buffer output(stream.get());
    put(output);
    output.flush();
    return stream.contents();
}

template <class... Values> std::string printed(const char* format, Values... values) {
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

TEST(words, numbers_are_printed_as_by_the_C_library) {
    random_source random(93);
    std::string expected;
    const std::string written = written_by([&](output_buffer& output) {
        const auto put = [&](std::int64_t value) {
            output.make_room(100);
            output.put_signed(value);
            output.put(' ');
            expected += std::to_string(value) + ' ';
            if (value < 0) return;
            output.put_unsigned(static_cast<std::uint64_t>(value));
            expected += std::to_string(value);
        };
        for (std::int64_t power = 1; power < 1000000000000000000; power *= 10) {
            for (std::int64_t value = power - 3; value <= power + 3; ++value) {
                put(value);
                put(-value);
            }
        }
        put(std::numeric_limits<std::int64_t>::min());
        put(std::numeric_limits<std::int64_t>::max());
        for (int k = 0; k < 100000; ++k) put(random.id_below(std::size_t{1} << random.below(33)));
    });
    EXPECT_TRUE(written == expected);
}

class scientific_check {
public:
    void operator()(double value, int precision = 6) {
        values_[size_] = value;
        precisions_[size_++] = precision;
        if (size_ == values_.size()) finish();
    }
    // Numbers are written many at a time, for speed.
    void finish() {
        std::string expected;
        const std::string written = written_by([&](output_buffer& output) {
            for (std::size_t i = 0; i < size_; ++i) {
                const double value = values_[i];
                const int precision = precisions_[i];
                output.make_room(1000);
                output.put_scientific(value, precision);
                output.put('|');
                output.put_capital_scientific(value, precision);
                output.put('|');
                output.put_capital_scientific_right(16, value, precision);
                output.put('\n');
                expected += printed("%.*e|%.*E|%16.*E\n", precision, value, precision, value,
                                    precision, value);
            }
        });
        EXPECT_TRUE(written == expected) << "from " << values_[0];
        size_ = 0;
    }

private:
    std::size_t size_ = 0;
    std::array<double, 1000> values_{};
    std::array<int, 1000> precisions_{};
};

TEST(words, numbers_in_scientific_notation_are_printed_as_by_the_C_library) {
    random_source random(94);
    scientific_check check;
    for (int precision = 0; precision <= 9; ++precision) {
        for (const double value :
             {0.0, -0.0, 1.0, -1.0, 0.5, 9.9999995, 9.99999949, 999999.95, 1e22, 1e23, 5e-324,
              2.2250738585072014e-308, std::numeric_limits<double>::max(),
              std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
              std::numeric_limits<double>::quiet_NaN()}) {
            check(value, precision);
        }
        // Where the number of digits changes: powers of two and ten, and their neighbours.
        for (int k = -330; k < 310; ++k) {
            const double ten = std::strtod(("1e" + std::to_string(k)).c_str(), nullptr);
            for (const double power : {ten, std::ldexp(1.0, k), std::ldexp(1.0, 3 * k)}) {
                check(power, precision);
                check(std::nextafter(power, 0.0), precision);
                check(-std::nextafter(power, 1e308), precision);
            }
        }
    }
    // Halves between two numbers of seven digits are exact doubles here.
    for (int k = 0; k < 100000; ++k) {
        const double digits = 1000000.0 + random.id_below(9000000);
        check(std::ldexp(digits + 0.5, -static_cast<int>(random.below(3))));
        check((digits + 0.5) / std::pow(10.0, static_cast<double>(random.below(20))));
        check(std::ldexp(random.id_below(1U << 25), -static_cast<int>(random.below(60))));
    }
    // Numbers of all sizes, and of the sizes that coordinates have.
    for (int k = 0; k < 300000; ++k) {
        const std::uint64_t bits = random.draw();
        check(std::bit_cast<double>(bits), 1 + static_cast<int>(random.below(7)));
        const double fraction =
            std::bit_cast<double>((bits >> 12) | std::bit_cast<std::uint64_t>(1.0));
        check(std::ldexp(random.one_in(2) ? -fraction : fraction,
                         static_cast<int>(random.below(120)) - 90));
    }
    check.finish();
}

// The end and the value of a number, in words and character by character.
void expect_same_number(const std::string& text) {
    std::string padded = text;
    padded.append(word_size + 1, '\0');
    double plain = 1.5;
    double value = 1.5;
    const char* const plain_end = scan_number(padded.c_str(), plain);
    ASSERT_EQ(scan_number_in_words(padded.c_str(), value), plain_end) << text;
    if (plain_end) {
        ASSERT_EQ(std::memcmp(&value, &plain, sizeof value), 0) << text;
    }
    // The short ways leave to the long one what they don't know.
    for (const auto scan : {scan_fixed, scan_scientific}) {
        const char* const end = scan(padded.c_str(), value);
        if (!end) continue;
        ASSERT_EQ(end, plain_end) << text;
        ASSERT_EQ(std::memcmp(&value, &plain, sizeof value), 0) << text;
    }
    double plains[2] = {};
    double values[2] = {};
    const char* const plains_end = scan_decimals(padded.c_str(), plains, 2);
    ASSERT_EQ(scan_decimals_in_words(padded.c_str(), values, 2), plains_end) << text;
    if (plains_end) {
        ASSERT_EQ(std::memcmp(values, plains, sizeof values), 0) << text;
    }
}

TEST(words, numbers_read_in_words_are_those_read_by_characters) {
    for_each_text("019.+-eE x", 5, [](const std::string& text) { expect_same_number(text); });
    random_source random(95);
    for (int k = 0; k < 500000; ++k) {
        std::string text;
        const char* const characters =
            random.one_in(2) ? "00123456789..eE+- x" : "01234567890123456789.";
        for (std::size_t n = random.below(30); n > 0; --n) {
            text += characters[random.below(std::strlen(characters))];
        }
        expect_same_number(text);
        if (HasFatalFailure()) return;
    }
}

TEST(words, numbers_as_they_are_mostly_written_are_read_in_the_short_ways) {
    random_source random(97);
    for (int k = 0; k < 200000; ++k) {
        const double sign = random.one_in(2) ? -1.0 : 1.0;
        const double number = sign * std::pow(10.0, random.uniform(-15, 15));
        const std::string scientific = printed("%.6e", number);
        const std::string fixed =
            printed("%.*f", 1 + static_cast<int>(random.below(15)), random.uniform(-99, 99));
        expect_same_number(scientific);
        expect_same_number(fixed);
        if (HasFatalFailure()) return;
        double value = 0.0;
        EXPECT_TRUE(scan_scientific((scientific + std::string(9, '\0')).c_str(), value))
            << scientific;
        // Beyond 2 ^ 53 digits are left to the long way.
        if (fixed.size() < 16) {
            EXPECT_TRUE(scan_fixed((fixed + std::string(9, '\0')).c_str(), value)) << fixed;
        }
    }
}

} // namespace
