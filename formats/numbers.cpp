#include "formats/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>

#include "formats/characters.h"
#include "formats/decimal.h"

namespace kv7::tessmaker {

namespace {

// The value of `strtod` in the C locale.
double real_of_library(const char* text) {
    const c_locale_scope point_is_decimal;
    return std::strtod(text, nullptr);
}

// The value of a number whose digits or power of ten are no doubles. False if it is out of range:
// too large, while below the smallest double there is a nearest one.
bool round_decimal(const char* begin, const char* end, double& value) {
    if (std::from_chars(begin, end, value).ec == std::errc()) return true;
    value = real_of_library(begin);
    return std::isfinite(value);
}

template <class Digits> const char* scan_number_by(const char* text, double& value) {
    decimal number;
    number.negative = *text == '-';
    if (*text == '+') ++text;
    const char* const begin = text;
    if (number.negative) ++text;
    text = read_magnitude<Digits>(text, nullptr, number);
    if (!text) return nullptr;
    if (number.is_exact()) {
        value = number.exact_value();
        return text;
    }
    return round_decimal(begin, text, value) ? text : nullptr;
}

template <class Digits> const char* scan_decimals_by(const char* text, double* values, int n) {
    for (int i = 0; i < n; ++i) {
        text = scan_number_by<Digits>(skip_spaces(text), values[i]);
        if (!text || !(*text == '\0' || is_space(*text))) return nullptr;
    }
    return text;
}

} // namespace

int scan_text(const char* text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return result;
}

c_locale_scope::c_locale_scope()
    : c_locale_(newlocale(LC_ALL_MASK, "C", nullptr)), callers_(uselocale(c_locale_)) {}

c_locale_scope::~c_locale_scope() {
    uselocale(callers_);
    if (c_locale_) freelocale(c_locale_);
}

const char* scan_number(const char* text, double& value) {
    return scan_number_by<digits_by_character>(text, value);
}

const char* scan_number_in_words(const char* text, double& value) {
    return scan_number_by<digits_by_word>(text, value);
}

const char* scan_decimals(const char* text, double* values, int n) {
    return scan_decimals_by<digits_by_character>(text, values, n);
}

const char* scan_decimals_in_words(const char* text, double* values, int n) {
    return scan_decimals_by<digits_by_word>(text, values, n);
}

const char* scan_real(const char* text, double& value) {
    text = skip_spaces(text);
    const char* const stop = scan_number(text, value);
    if (stop && to_lower(*stop) != 'x') return stop;
    // Hexadecimal, infinite, not-a-number, or no number at all.
    const c_locale_scope point_is_decimal;
    int size = 0;
    return scan_text(text, "%lf%n", &value, &size) == 1 ? text + size : nullptr;
}

const char* scan_integer(const char* text, const char* end, unsigned int& value) {
    while (text != end && is_space(*text)) ++text;
    const bool negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+')) ++text;
    if (text == end || !is_digit(*text)) return nullptr;
    constexpr std::uint64_t no_overflow = 100'000'000'000'000'000;
    const std::uint64_t limit = std::numeric_limits<std::int64_t>::max() + std::uint64_t{negative};
    std::uint64_t magnitude = 0;
    for (; text != end && is_digit(*text); ++text) {
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        const bool fits = magnitude < no_overflow || magnitude <= (limit - digit) / 10;
        magnitude = fits ? 10 * magnitude + digit : limit;
    }
    value = static_cast<unsigned int>(negative ? 0 - magnitude : magnitude);
    return text;
}

unsigned int to_integer(std::string_view text) {
    unsigned int value = 0;
    return scan_integer(text.data(), text.data() + text.size(), value) ? value : 0;
}

double to_real(const char* text) {
    text = skip_spaces(text);
    if (*text == '\0') return 0.0; // as blank fields often are
    double value = 0.0;
    const char* const stop = scan_number(text, value);
    return stop && to_lower(*stop) != 'x' ? value : real_of_library(text);
}

} // namespace kv7::tessmaker
