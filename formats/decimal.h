// A decimal number that is being read: digits * 10 ^ exponent.
#ifndef TESSMAKER_FORMATS_DECIMAL_H
#define TESSMAKER_FORMATS_DECIMAL_H

#include <cstddef>
#include <cstdint>

#include "formats/characters.h"
#include "formats/words.h"

namespace kv7::tessmaker {

struct decimal {
    // 10 ^ 19 is below 2 ^ 64.
    static constexpr std::ptrdiff_t most_digits = 19;

    bool negative = false;
    std::uint64_t digits = 0; // means nothing where `nbr_digits` is above `most_digits`
    std::ptrdiff_t nbr_digits = 0;
    std::ptrdiff_t exponent = 0;

    // Whether the digits (up to 2 ^ 53) and the power of ten (up to 10 ^ 22) are exact as doubles:
    // their product or quotient is then rounded once, and correctly.
    bool is_exact() const {
        return nbr_digits <= most_digits && digits <= std::uint64_t{1} << 53 && exponent >= -22 &&
               exponent <= 22;
    }
    double exact_value() const {
        static constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
        const double magnitude = static_cast<double>(digits);
        const double value = negative ? -magnitude : magnitude;
        return exponent < 0 ? value / powers[-exponent] : value * powers[exponent];
    }
};

// Ways to read the digits at the start of a text. `end` is the end of the text, or null if another
// character is known to follow the digits.

struct digits_by_character {
    static const char* read(const char* text, const char* end, decimal& number) {
        for (; text != end && is_digit(*text); ++text) {
            if (number.nbr_digits < decimal::most_digits) {
                number.digits = 10 * number.digits + static_cast<std::uint64_t>(*text - '0');
            }
            ++number.nbr_digits;
        }
        return text;
    }
};

// Takes the first `n` characters of a word, all of them digits, `n` from 1 to 8.
inline void append_digits(std::uint64_t word, std::size_t n, decimal& number) {
    number.digits = number.digits * powers_of_ten[n] + value_of_digits(word, n);
    number.nbr_digits += static_cast<std::ptrdiff_t>(n);
}

// Behind each character a word can be read.
struct digits_by_word {
    static const char* read(const char* text, const char* end, decimal& number) {
        for (std::size_t n = word_size; n == word_size; text += n) {
            std::uint64_t word = load_word(text);
            if (end) word = first_characters(word, static_cast<std::size_t>(end - text));
            n = nbr_leading_digits(word);
            if (n == 0) break;
            append_digits(word, n, number);
        }
        return text;
    }
};

template <class Digits>
const char* read_fraction(const char* text, const char* end, decimal& number) {
    const std::ptrdiff_t before = number.nbr_digits;
    text = Digits::read(text, end, number);
    number.exponent -= number.nbr_digits - before;
    return text;
}

// Reads an exponent behind its letter. Null if no digit follows. Stops counting at 10000, far
// beyond what `is_exact` accepts.
inline const char* read_exponent(const char* text, const char* end, decimal& number) {
    const bool is_negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+')) ++text;
    if (text == end || !is_digit(*text)) return nullptr;
    int value = 0;
    for (; text != end && is_digit(*text); ++text) {
        if (value < 10000) value = 10 * value + (*text - '0');
    }
    number.exponent += is_negative ? -value : value;
    return text;
}

// Reads a number behind its sign. Null if there is no digit, or none behind the letter of an
// exponent.
template <class Digits>
const char* read_magnitude(const char* text, const char* end, decimal& number) {
    text = Digits::read(text, end, number);
    if (text != end && *text == '.') text = read_fraction<Digits>(text + 1, end, number);
    if (number.nbr_digits == 0) return nullptr;
    const bool has_exponent = text != end && (*text == 'e' || *text == 'E');
    return has_exponent ? read_exponent(text + 1, end, number) : text;
}

// Reads seven digits with a point behind the first. False if there is anything else.
inline bool read_seven_digits(const char* text, std::uint64_t& digits) {
    const std::uint64_t word = load_word(text);
    // A zero in front, and the first digit in the place of the point.
    const std::uint64_t without_point = (word & ~std::uint64_t{0xFFFF}) | (word & 0xFF) << 8 | '0';
    if ((word >> 8 & 0xFF) != '.' || nbr_leading_digits(without_point) != word_size) return false;
    digits = value_of_digits(without_point, word_size);
    return true;
}

// Reads a number as `%e` writes it: seven digits with a point behind the first, an exponent of two
// digits. Returns its end; null if there is anything else or the number is not exact. Behind each
// character a word can be read.
inline const char* scan_scientific(const char* text, double& value) {
    constexpr std::size_t mantissa_size = 8;
    decimal number;
    number.negative = *text == '-';
    if (number.negative) ++text;
    if (!read_seven_digits(text, number.digits)) return nullptr;
    text += mantissa_size;
    if (*text != 'e' || (text[1] != '-' && text[1] != '+')) return nullptr;
    if (!is_digit(text[2]) || !is_digit(text[3]) || is_digit(text[4])) return nullptr;
    const int exponent = 10 * (text[2] - '0') + (text[3] - '0');
    number.exponent = (text[1] == '-' ? -exponent : exponent) - 6;
    if (!number.is_exact()) return nullptr;
    value = number.exact_value();
    return text + 4;
}

// Reads a number as `%f` writes it: up to 8 digits, a point, up to 15 digits. Returns its end; null
// if there is anything else, an exponent follows or the number is not exact. Behind each character
// a word can be read.
inline const char* scan_fixed(const char* text, double& value) {
    decimal number;
    number.negative = *text == '-';
    if (number.negative) ++text;
    std::uint64_t word = load_word(text);
    std::size_t n = nbr_leading_digits(word);
    if (n == 0 || text[n] != '.') return nullptr;
    append_digits(word, n, number);
    text += n + 1;

    const std::ptrdiff_t nbr_whole = number.nbr_digits;
    word = load_word(text);
    n = nbr_leading_digits(word);
    if (n == 0) return nullptr;
    append_digits(word, n, number);
    text += n;
    if (n == word_size) {
        word = load_word(text);
        n = nbr_leading_digits(word);
        if (n == word_size) return nullptr;
        if (n != 0) append_digits(word, n, number);
        text += n;
    }
    number.exponent = nbr_whole - number.nbr_digits;
    if (*text == 'e' || *text == 'E' || !number.is_exact()) return nullptr;
    value = number.exact_value();
    return text;
}

} // namespace kv7::tessmaker

#endif
