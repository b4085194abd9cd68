#include "formats/nastran_fields.h"

#include <cmath>
#include <cstddef>
#include <string_view>

#include "formats/characters.h"
#include "formats/decimal.h"

namespace kv7::tessmaker {

namespace {

// Reads a field that is blank or holds one number, if need be with a letter before its exponent.
// False for anything else, and for numbers that take more than one rounding.
bool read_plain_real(std::string_view field, double& value) {
    const char* text = field.data();
    const char* end = text + field.size();
    while (text != end && is_space(end[-1])) --end;
    while (text != end && *text == ' ') ++text;
    decimal number;
    if (text != end) {
        number.negative = *text == '-';
        if (*text == '-' || *text == '+') ++text;
        text = read_magnitude<digits_by_character>(text, end, number);
    }
    if (text != end || !number.is_exact()) return false;
    value = number.exact_value();
    return true;
}

} // namespace

double field_real(std::string_view field) {
    double plain = 0.0;
    if (read_plain_real(field, plain)) return plain;

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
