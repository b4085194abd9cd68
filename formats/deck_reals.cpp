#include "formats/deck_reals.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "formats/scientific.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

// The digits of a magnitude, the point behind the first of them. No zeros at the end count but one
// that is alone.
struct decimal_digits {
    // Zeros from `size` on. Blocks of the size of a field can be read from any place in the field.
    char digit[2 * deck_real_size];
    int size = 0;
    int exponent = 0;

    decimal_digits() { std::memset(digit, '0', sizeof digit); }
    void drop_zeros_at_end() {
        while (size > 1 && digit[size - 1] == '0') --size;
    }
};

int size_of_exponent(int exponent) {
    const int magnitude = std::abs(exponent);
    return magnitude < 10 ? 2 : magnitude < 100 ? 3 : 4; // with its sign
}

// Characters without a sign and an exponent.
int size_of_plain_form(int nbr_digits, int exponent) {
    return exponent < 0 ? nbr_digits - exponent : 1 + std::max(nbr_digits, exponent + 1);
}

// How many digits fit `room` characters in the better form: from 10 to 15.
int most_digits(int room, int exponent) {
    const int plain = exponent < 0 ? room + exponent : exponent + 2 <= room ? room - 1 : 0;
    return std::max(plain, room - 1 - size_of_exponent(exponent));
}

int room_for(double value) {
    return static_cast<int>(deck_real_size) - (std::signbit(value) ? 1 : 0);
}

// Digits of most numbers. The double that is nearest to a number of at most 15 digits has these for
// its shortest ones, and they are what its rounding to 15 digits or fewer yields. So one exact
// rounding does for both cases, that all digits fit and that they don't.

// Powers of ten from 10 ^ -17 to 10 ^ 15, between which numbers have exponents that are told here.
constexpr int least_power = -17;
constexpr std::array<double, 33> real_powers_of_ten{
    1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9, 1e-8, 1e-7,
    1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0,   1e1,   1e2,  1e3,  1e4,
    1e5,   1e6,   1e7,   1e8,   1e9,   1e10,  1e11,  1e12,  1e13, 1e14, 1e15};
bool has_exponent_in_table(double magnitude) {
    return magnitude >= real_powers_of_ten.front() && magnitude < real_powers_of_ten.back();
}

// The exponent of the shortest digits: a double that stands for a power of ten has that power, also
// where it is a little below.
int exponent_of(double magnitude) {
    const int power = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> 52) - 1023;
    const int exponent = power * 78913 >> 18; // that of 2 ^ power, see round_to_digits
    const auto next = static_cast<std::size_t>(exponent + 1 - least_power);
    return magnitude >= real_powers_of_ten[next] ? exponent + 1 : exponent;
}

// False for numbers that are left to the library.
bool find_digits(double magnitude, int room, int digits, decimal_digits& result) {
    if (!has_exponent_in_table(magnitude)) return false;
    const int nbr_digits = std::min(digits, most_digits(room, exponent_of(magnitude)));
    scientific number;
    if (nbr_digits < 2 || !round_to_digits(magnitude, nbr_digits - 1, number)) return false;

    constexpr int most = 2 * word_size;
    const std::uint64_t all =
        number.digits * long_powers_of_ten[static_cast<std::size_t>(most - nbr_digits)];
    const std::uint64_t first = digits_of(static_cast<std::uint32_t>(all / powers_of_ten[8]));
    const std::uint64_t last = digits_of(static_cast<std::uint32_t>(all % powers_of_ten[8]));
    store_word(first | zero_word, result.digit);
    store_word(last | zero_word, result.digit + word_size);
    const int nbr_zero_bits = last != 0 ? std::countl_zero(last)
                                        : 8 * static_cast<int>(word_size) + std::countl_zero(first);
    result.size = most - nbr_zero_bits / 8;
    result.exponent = number.exponent;
    return true;
}

// Digits of all numbers, by the library.

// Of a text as `%e` has it, without a sign.
decimal_digits parse(const char* text, const char* end) {
    decimal_digits result;
    for (; *text != 'e'; ++text) {
        if (*text != '.') result.digit[result.size++] = *text;
    }
    const bool is_negative = text[1] == '-';
    std::from_chars(text + 2, end, result.exponent);
    if (is_negative) result.exponent = -result.exponent;
    result.drop_zeros_at_end();
    return result;
}

constexpr std::size_t text_size = 32; // of a number as `%e` has it

decimal_digits shortest_digits(double magnitude) {
    char text[text_size];
    const auto end =
        std::to_chars(text, text + text_size, magnitude, std::chars_format::scientific);
    return parse(text, end.ptr);
}

// `all` are the shortest ones.
decimal_digits rounded(double magnitude, const decimal_digits& all, int nbr_digits) {
    constexpr double near_end_of_range = 1e308; // where rounding up could lead beyond it
    if (magnitude > near_end_of_range) {
        decimal_digits result = all;
        std::fill(result.digit + nbr_digits, result.digit + result.size, '0');
        result.size = nbr_digits;
        result.drop_zeros_at_end();
        return result;
    }
    char text[text_size];
    const auto end = std::to_chars(text, text + text_size, magnitude, std::chars_format::scientific,
                                   nbr_digits - 1);
    return parse(text, end.ptr);
}

decimal_digits digits_of_library(double magnitude, int room, int digits) {
    const decimal_digits all = shortest_digits(magnitude);
    const int nbr_digits = std::min(digits, most_digits(room, all.exponent));
    return all.size > nbr_digits ? rounded(magnitude, all, nbr_digits) : all;
}

// Both forms return their end, behind which a block may be overwritten.

void copy_block(const char* from, char* to) { std::memcpy(to, from, deck_real_size); }

char* put_plain_form(const decimal_digits& number, char* text) {
    const int nbr_whole = number.exponent + 1;
    if (nbr_whole <= 0) {
        *text++ = '.';
        std::memset(text, '0', deck_real_size);
        copy_block(number.digit, text - nbr_whole);
        return text - nbr_whole + number.size;
    }
    copy_block(number.digit, text);
    text[nbr_whole] = '.';
    copy_block(number.digit + nbr_whole, text + nbr_whole + 1);
    return text + std::max(nbr_whole, number.size) + 1;
}

char* put_exponent_form(const decimal_digits& number, char* text) {
    text[0] = number.digit[0];
    text[1] = '.';
    copy_block(number.digit + 1, text + 2);
    text += number.size + 1;
    *text++ = number.exponent < 0 ? '-' : '+';
    return std::to_chars(text, text + 3, std::abs(number.exponent)).ptr;
}

} // namespace

void put_deck_real(double value, int digits, char* field) {
    const double magnitude = std::abs(value);
    const int room = room_for(value);
    decimal_digits number;
    if (!find_digits(magnitude, room, digits, number)) {
        number = digits_of_library(magnitude, room, digits);
    }
    // A field of blanks, then the number with blocks behind it: the last characters are the field.
    char text[4 * deck_real_size];
    std::memset(text, ' ', deck_real_size);
    char* const begin = text + deck_real_size;
    if (std::signbit(value)) begin[-1] = '-';
    const bool is_plain = size_of_plain_form(number.size, number.exponent) <= room;
    const char* const end =
        is_plain ? put_plain_form(number, begin) : put_exponent_form(number, begin);
    copy_block(end - deck_real_size, field);
}

bool is_deck_real_rounded(double value, int digits) {
    if (digits <= deck_real_least_digits) return false;
    const double magnitude = std::abs(value);
    const int room = room_for(value);
    if (has_exponent_in_table(magnitude)) {
        const int most = most_digits(room, exponent_of(magnitude));
        if (digits <= most) return false;
        scientific number;
        bool is_other = false;
        if (round_to_digits(magnitude, most - 1, number, &is_other)) return is_other;
    }
    const decimal_digits number = shortest_digits(magnitude);
    return std::min(number.size, digits) > most_digits(room, number.exponent);
}

} // namespace kv7::tessmaker
