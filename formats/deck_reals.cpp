#include "formats/deck_reals.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace kv7::tessmaker {

namespace {

// The digits of a magnitude, the point behind the first of them. No zeros at the end but one that
// is alone.
struct decimal_digits {
    char digit[17];
    int size = 0;
    int exponent = 0;

    void drop_zeros_at_end() {
        while (size > 1 && digit[size - 1] == '0') --size;
    }
};

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
        result.size = nbr_digits;
        result.drop_zeros_at_end();
        return result;
    }
    char text[text_size];
    const auto end = std::to_chars(text, text + text_size, magnitude, std::chars_format::scientific,
                                   nbr_digits - 1);
    return parse(text, end.ptr);
}

int size_of_exponent(int exponent) {
    const int magnitude = std::abs(exponent);
    return magnitude < 10 ? 2 : magnitude < 100 ? 3 : 4; // with its sign
}

// Characters of the two forms, without a sign.
int size_of_plain_form(int nbr_digits, int exponent) {
    return exponent < 0 ? nbr_digits - exponent : 1 + std::max(nbr_digits, exponent + 1);
}
int size_of_exponent_form(int nbr_digits, int exponent) {
    return nbr_digits + 1 + size_of_exponent(exponent);
}

// How many digits fit `room` characters in the better form.
int most_digits(int room, int exponent) {
    const int plain = exponent < 0 ? room + exponent : exponent + 2 <= room ? room - 1 : 0;
    return std::max(plain, room - 1 - size_of_exponent(exponent));
}

int room_for(double value) {
    return static_cast<int>(deck_real_size) - (std::signbit(value) ? 1 : 0);
}

char* put_digits(const decimal_digits& number, int begin, int end, char* text) {
    return std::copy(number.digit + begin, number.digit + end, text);
}

char* put_plain_form(const decimal_digits& number, char* text) {
    const int nbr_whole = number.exponent + 1;
    const int n = std::clamp(nbr_whole, 0, number.size);
    text = put_digits(number, 0, n, text);
    text = std::fill_n(text, nbr_whole - n, '0');
    *text++ = '.';
    text = std::fill_n(text, -nbr_whole, '0');
    return put_digits(number, n, number.size, text);
}

char* put_exponent_form(const decimal_digits& number, char* text) {
    text = put_digits(number, 0, 1, text);
    *text++ = '.';
    text = put_digits(number, 1, number.size, text);
    *text++ = number.exponent < 0 ? '-' : '+';
    return std::to_chars(text, text + 3, std::abs(number.exponent)).ptr;
}

} // namespace

void put_deck_real(double value, int digits, char* field) {
    const double magnitude = std::abs(value);
    decimal_digits number = shortest_digits(magnitude);
    const int room = room_for(value);
    const int nbr_digits = std::min(digits, most_digits(room, number.exponent));
    if (number.size > nbr_digits) number = rounded(magnitude, number, nbr_digits);
    const int plain_size = size_of_plain_form(number.size, number.exponent);
    const bool is_plain = plain_size <= room;
    const int size = is_plain ? plain_size : size_of_exponent_form(number.size, number.exponent);
    char* text = field + (static_cast<int>(deck_real_size) - size);
    std::fill(field, text, ' ');
    if (std::signbit(value)) text[-1] = '-';
    if (is_plain) {
        put_plain_form(number, text);
    } else {
        put_exponent_form(number, text);
    }
}

bool is_deck_real_rounded(double value, int digits) {
    if (digits <= deck_real_least_digits) return false;
    const decimal_digits number = shortest_digits(std::abs(value));
    return std::min(number.size, digits) > most_digits(room_for(value), number.exponent);
}

} // namespace kv7::tessmaker
