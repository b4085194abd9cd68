// Fields of NASTRAN cards against numbers read character by character.
#include "formats/nastran_fields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "formats/nastran_tables.h"
#include "formats/plain_numbers.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// A field in a line that goes on with `rest`, and room for a word behind it, as in `text_lines`.
class padded_field {
public:
    padded_field(const std::string& field, const std::string& rest)
        : size_(field.size()), line_(field + rest) {
        line_.append(word_size, '\0');
    }
    std::string_view view() const { return {line_.data(), size_}; }

private:
    std::size_t size_;
    std::string line_;
};

bool same_bits(double x, double y) {
    return std::memcmp(&x, &y, sizeof x) == 0 || (std::isnan(x) && std::isnan(y));
}

// Whether the field has the value of the plain form, whatever follows it.
bool reads_integer(const std::string& field) {
    const plain_integer expected = plain_integer_of(field);
    for (const char* const rest : {"", "1234567812345678", "        1", ",", "\n"}) {
        const padded_field padded(field, rest);
        unsigned int value = 0;
        if (scan_field(padded.view(), value) != expected.found) return false;
        if (expected.found && value != expected.value) return false;
        if (field_integer(padded.view()) != expected.value) return false;
    }
    return true;
}
bool reads_real(const std::string& field) {
    const double expected = plain_field_real(field);
    for (const char* const rest : {"", "1234567812345678", "E5", "\n"}) {
        if (!same_bits(field_real(padded_field(field, rest).view()), expected)) return false;
    }
    return true;
}

constexpr std::size_t small_width = 8;
constexpr std::size_t large_width = 16;

TEST(nastran_fields, integers_of_short_fields_are_those_of_strtol) {
    for_each_text("019 +-.\n\tx", 5, [](const std::string& text) {
        EXPECT_TRUE(reads_integer(text)) << '"' << text << '"';
    });
}

TEST(nastran_fields, integers_anywhere_in_a_field_are_those_of_strtol) {
    random_source random(81);
    for (int k = 0; k < 200000; ++k) {
        const std::size_t width = random.one_in(2) ? small_width : large_width;
        std::string field(random.below(width + 1), ' ');
        while (field.size() < width && !random.one_in(12)) {
            field += static_cast<char>('0' + random.below(10));
        }
        if (random.one_in(3)) field.resize(width, random.one_in(3) ? '\n' : ' ');
        if (!field.empty() && random.one_in(4)) {
            field[random.below(field.size())] = "0 +-.,x\t\n*\xB5"[random.below(11)];
        }
        ASSERT_TRUE(reads_integer(field)) << '"' << field << '"';
    }
}

TEST(nastran_fields, reals_of_short_fields_are_those_of_the_plain_form) {
    for_each_text("01.+-eE \n", 5, [](const std::string& text) {
        EXPECT_TRUE(reads_real(text)) << '"' << text << '"';
    });
}

TEST(nastran_fields, reals_of_any_characters_are_those_of_the_plain_form) {
    random_source random(82);
    for (int k = 0; k < 200000; ++k) {
        const std::size_t width = random.one_in(2) ? small_width : large_width;
        std::string field;
        for (std::size_t n = random.below(width + 1); n > 0; --n) {
            field += "0123456789..eE+-  \nxd"[random.below(21)];
        }
        ASSERT_TRUE(reads_real(field)) << '"' << field << '"';
    }
}

// A number as programs write it: cut to the width, on the left or the right of the field.
std::string written_field(random_source& random, std::size_t width) {
    constexpr const char* formats[] = {"%E", "%.9G", "%f", "%.2E", "%G", "%.3f", "%.1E", "%.0f"};
    const double value = (random.one_in(2) ? -1.0 : 1.0) * random.id_below(1000000) *
                         std::pow(10.0, static_cast<int>(random.below(30)) - 20);
    char text[400];
    std::snprintf(text, sizeof text, formats[random.below(8)], value);
    std::string field(text);
    const std::size_t letter = field.find('E');
    if (letter != std::string::npos && random.one_in(3)) field.erase(letter, 1);
    if (field.size() > width) field.resize(width);
    const std::string blanks(width - field.size(), ' ');
    return random.one_in(2) ? field + blanks : blanks + field;
}

TEST(nastran_fields, reals_as_programs_write_them_are_those_of_the_plain_form) {
    random_source random(83);
    for (int k = 0; k < 200000; ++k) {
        const std::string field =
            written_field(random, random.one_in(2) ? small_width : large_width);
        ASSERT_TRUE(reads_real(field)) << '"' << field << '"';
    }
}

TEST(nastran_fields, a_keyword_is_packed_as_in_the_table) {
    for (std::size_t n = 0; n <= word_size; ++n) {
        const padded_field keyword(std::string("CTETRA10").substr(0, n), ",12345678");
        EXPECT_EQ(packed_keyword(keyword.view()), nastran_packed(keyword.view()));
    }
    EXPECT_EQ(packed_keyword({}), 0U);
}

} // namespace
