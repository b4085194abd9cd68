#include "formats/nastran_fields.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/characters.h"
#include "formats/decimal.h"

namespace kv7::tessmaker {

namespace {

// Reads a field as `%16E` writes it: a sign or a blank, seven digits with a point behind the first,
// an exponent of two digits.
bool read_scientific(std::string_view field, decimal& number) {
    constexpr std::size_t head_size = 4;
    constexpr std::size_t mantissa_size = 8;
    if (field.size() != head_size + mantissa_size + 4) return false;
    const char* const text = field.data();
    const std::uint64_t head = first_characters(load_word(text), head_size);
    constexpr std::uint64_t minus_for_blank = std::uint64_t{' ' ^ '-'} << 24;
    if (head != blank_word && head != (blank_word ^ minus_for_blank)) return false;
    number.negative = head != blank_word;

    const char* const letter = text + head_size + mantissa_size;
    std::uint64_t digits = 0;
    if (!read_seven_digits(text + head_size, digits)) return false;
    if (*letter != 'E' || (letter[1] != '-' && letter[1] != '+')) return false;
    if (!is_digit(letter[2]) || !is_digit(letter[3])) return false;
    const int exponent = 10 * (letter[2] - '0') + (letter[3] - '0');
    number.digits = digits;
    number.exponent = (letter[1] == '-' ? -exponent : exponent) - 6;
    return true;
}

bool is_blank(const char* text, const char* end) {
    for (; text < end; text += word_size) {
        const auto size = static_cast<std::size_t>(end - text);
        if (first_characters(load_word(text), size) != blank_word) return false;
    }
    return true;
}

// Reads a field that is blank or holds one number, if need be with a letter before its exponent.
bool read_plain(std::string_view field, decimal& number) {
    const char* const end = field.data() + field.size();
    const char* text = field.data();
    while (text != end && *text == ' ') ++text;
    if (text == end) return true;
    number.negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    text = read_magnitude<digits_by_word>(text, end, number);
    return text && is_blank(text, end);
}

} // namespace

double field_real(std::string_view field) {
    decimal number;
    if (read_scientific(field, number)) {
        // Not all exponents of two digits are within reach.
        if (number.is_exact()) return number.exact_value();
    } else if (read_plain(field, number) && number.is_exact()) {
        return number.exact_value();
    }

    char stripped[2 * word_size + 1];
    std::size_t size = 0;
    std::size_t sign = 0;
    for (const char c : field) {
        if (is_space(c)) continue;
        if (c == '+' || c == '-') sign = size;
        stripped[size++] = c;
    }
    stripped[size] = '\0';
    if (sign == 0 || to_lower(stripped[sign - 1]) == 'e') return to_real(stripped);
    const int exponent = static_cast<int>(to_integer({stripped + sign, size - sign}));
    stripped[sign] = '\0';
    const double value = to_real(stripped);
    return exponent == 0 ? value : std::pow(10.0, exponent) * value;
}

} // namespace kv7::tessmaker
