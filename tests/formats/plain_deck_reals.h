// Real numbers in the fields of a deck, by the library's conversions alone: the shortest digits,
// and if these are too many, rounded ones.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_DECK_REALS_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_DECK_REALS_H

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace test::plain {

struct decimal_digits {
    std::string digits; // the point behind the first of them; no zeros at the end but one alone
    int exponent = 0;

    int size() const { return static_cast<int>(digits.size()); }
    void drop_zeros_at_end() {
        digits.erase(std::max<std::size_t>(digits.find_last_not_of('0') + 1, 1));
    }
};

// Of a text as `%e` has it, without a sign.
inline decimal_digits parse(const std::string& text) {
    const std::size_t letter = text.find('e');
    decimal_digits result{text.substr(0, letter), std::atoi(text.c_str() + letter + 1)};
    if (result.digits.size() > 1) result.digits.erase(1, 1);
    result.drop_zeros_at_end();
    return result;
}

inline decimal_digits shortest_digits(double magnitude) {
    char text[32];
    const auto end = std::to_chars(text, text + 32, magnitude, std::chars_format::scientific);
    return parse({text, end.ptr});
}

// `all` are the shortest ones.
inline decimal_digits rounded(double magnitude, const decimal_digits& all, int nbr_digits) {
    if (magnitude > 1e308) {
        decimal_digits result{all.digits.substr(0, static_cast<std::size_t>(nbr_digits)),
                              all.exponent};
        result.drop_zeros_at_end();
        return result;
    }
    char text[32];
    const auto end =
        std::to_chars(text, text + 32, magnitude, std::chars_format::scientific, nbr_digits - 1);
    return parse({text, end.ptr});
}

inline int size_of_exponent(int exponent) {
    return 1 + static_cast<int>(std::to_string(std::abs(exponent)).size());
}

inline int most_digits(int room, int exponent) {
    const int plain = exponent < 0 ? room + exponent : exponent + 2 <= room ? room - 1 : 0;
    return std::max(plain, room - 1 - size_of_exponent(exponent));
}

inline int room_for(double value) { return std::signbit(value) ? 15 : 16; }

inline std::string deck_real(double value, int digits) {
    decimal_digits number = shortest_digits(std::abs(value));
    const int room = room_for(value);
    const int nbr_digits = std::min(digits, most_digits(room, number.exponent));
    if (number.size() > nbr_digits) number = rounded(std::abs(value), number, nbr_digits);
    const int exponent = number.exponent;
    std::string text;
    if (exponent < 0) {
        text = "." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + number.digits;
    } else {
        const auto whole = static_cast<std::size_t>(exponent) + 1;
        text = number.digits;
        if (text.size() < whole) text.resize(whole, '0');
        text.insert(whole, ".");
    }
    if (static_cast<int>(text.size()) > room) {
        text = number.digits.substr(0, 1) + "." + number.digits.substr(1) +
               (exponent < 0 ? "-" : "+") + std::to_string(std::abs(exponent));
    }
    if (std::signbit(value)) text.insert(0, "-");
    return std::string(16 - text.size(), ' ') + text;
}

inline bool is_deck_real_rounded(double value, int digits) {
    const decimal_digits number = shortest_digits(std::abs(value));
    return digits > 10 &&
           std::min(number.size(), digits) > most_digits(room_for(value), number.exponent);
}

} // namespace test::plain

#endif
