#include "formats/deck_numbers.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "core/ids.h"
#include "formats/characters.h"
#include "formats/decimal.h"
#include "formats/numbers.h"

namespace kv7::tessmaker {

namespace {

constexpr std::ptrdiff_t most_characters = 100;

// The first character that isn't white space; most are blanks.
const char* skip_blanks(const char* text, const char* end) {
    while (end - text >= static_cast<std::ptrdiff_t>(word_size)) {
        const std::size_t n = nbr_leading_blanks(load_word(text));
        text += n;
        if (n != word_size) break;
    }
    while (text != end && is_space(*text)) ++text;
    return text;
}

bool is_sign(char c) { return c == '+' || c == '-'; }
bool is_letter_of_exponent(char c) {
    const char lower = to_lower(c);
    return lower == 'e' || lower == 'd';
}

// Reads the exponent, if there is one, behind the digits of a number. Null if it has no digits.
const char* read_any_exponent(const char* text, const char* end, decimal& number) {
    if (text == end) return text;
    if (is_letter_of_exponent(*text)) return read_exponent(text + 1, end, number);
    return is_sign(*text) ? read_exponent(text, end, number) : text;
}

// Reads a number behind its sign. Null if it has no digits, or its exponent has none. `magnitude`
// is the end of what precedes the exponent.
const char* read_parts(const char* text, const char* end, decimal& number, const char*& magnitude) {
    text = digits_by_word::read(text, end, number);
    if (text != end && *text == '.') text = read_fraction<digits_by_word>(text + 1, end, number);
    magnitude = text;
    return number.nbr_digits == 0 ? nullptr : read_any_exponent(text, end, number);
}

// Reads a number as `%e` writes it: seven digits with a point behind the first, a letter, an
// exponent of two digits. Null if there is anything else, or the value is not exact.
const char* read_seven_with_exponent(const char* text, const char* end, double& number) {
    constexpr std::ptrdiff_t mantissa_size = 8;
    constexpr std::ptrdiff_t exponent_size = 4;
    decimal parts;
    parts.negative = *text == '-';
    if (parts.negative) ++text;
    if (end - text < mantissa_size + exponent_size) return nullptr;
    if (!read_seven_digits(text, parts.digits)) return nullptr;
    text += mantissa_size;
    if (!is_letter_of_exponent(text[0]) || !is_sign(text[1])) return nullptr;
    if (!is_digit(text[2]) || !is_digit(text[3])) return nullptr;
    const std::ptrdiff_t exponent = 10 * (text[2] - '0') + (text[3] - '0');
    parts.exponent = (text[1] == '-' ? -exponent : exponent) - 6;
    if (!parts.is_exact()) return nullptr;
    number = parts.exact_value();
    return text + exponent_size;
}

// The value of a number that is no double times a small power of ten; `text` from its sign on.
deck_value round_number(const char* text, const char* magnitude, const char* end, double& number) {
    char plain[most_characters + 3];
    char* to = std::copy(text, magnitude, plain);
    if (magnitude != end) {
        *to++ = 'e';
        to = std::copy(is_sign(*magnitude) ? magnitude : magnitude + 1, end, to);
    }
    *to = '\0';
    double value = 0.0;
    if (!scan_number(plain, value)) return deck_value::too_large;
    number = value;
    return deck_value::number;
}

} // namespace

const char* reason(deck_value value) {
    switch (value) {
    case deck_value::number: return "a number";
    case deck_value::blank: return "a blank field";
    case deck_value::not_an_integer: return "an integer was expected";
    case deck_value::not_a_real: return "a real number was expected";
    case deck_value::not_an_id: return "a number from 1 to 4294967294 was expected";
    case deck_value::too_large: return "a number beyond the range of its type";
    case deck_value::too_long: return "a field of more than 100 characters is no number";
    }
    return "";
}

deck_value read_integer(std::string_view field, std::int64_t& number) {
    std::string_view text = trim(field);
    if (text.empty()) return deck_value::blank;
    if (text.front() == '+') {
        text.remove_prefix(1);
        if (text.empty() || text.front() == '-') return deck_value::not_an_integer;
    }
    const char* const end = text.data() + text.size();
    std::int64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (stop != end || error == std::errc::invalid_argument) return deck_value::not_an_integer;
    if (error != std::errc()) return deck_value::too_large;
    number = value;
    return deck_value::number;
}

deck_value read_long_id(std::string_view field, unsigned int& id) {
    std::int64_t number = 0;
    const deck_value result = read_integer(field, number);
    if (result == deck_value::too_large) return deck_value::not_an_id;
    if (result != deck_value::number) return result;
    if (number < 1 || number >= std::int64_t{no_id}) return deck_value::not_an_id;
    id = static_cast<unsigned int>(number);
    return deck_value::number;
}

deck_value read_real(std::string_view field, double& number) {
    const char* const end = field.data() + field.size();
    const char* const begin = skip_blanks(field.data(), end);
    if (begin == end) return deck_value::blank;
    double short_form = 0.0;
    const char* const short_end = read_seven_with_exponent(begin, end, short_form);
    if (short_end && skip_blanks(short_end, end) == end) {
        number = short_form;
        return deck_value::number;
    }
    decimal parts;
    parts.negative = *begin == '-';
    const char* const digits = is_sign(*begin) ? begin + 1 : begin;
    const char* magnitude = nullptr;
    const char* const stop = read_parts(digits, end, parts, magnitude);
    if (!stop || skip_blanks(stop, end) != end) return deck_value::not_a_real;
    if (parts.is_exact()) {
        number = parts.exact_value();
        return deck_value::number;
    }
    if (stop - begin > most_characters) return deck_value::too_long;
    return round_number(begin, magnitude, stop, number);
}

} // namespace kv7::tessmaker
