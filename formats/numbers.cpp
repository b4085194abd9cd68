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

namespace kv7::tessmaker {

namespace {

// The value is digits * 10 ^ exponent.
struct decimal {
    bool negative = false;
    std::uint64_t digits = 0;
    std::ptrdiff_t nbr_digits = 0;
    std::ptrdiff_t exponent = 0;

    // Reads digits up to the first other character. Keeps the first 19: 10 ^ 19 is below 2 ^ 64.
    const char* read_digits(const char* text) {
        for (; is_digit(*text); ++text) {
            if (nbr_digits < 19) digits = 10 * digits + static_cast<std::uint64_t>(*text - '0');
            ++nbr_digits;
        }
        return text;
    }
    const char* read_fraction(const char* text) {
        const std::ptrdiff_t before = nbr_digits;
        text = read_digits(text);
        exponent -= nbr_digits - before;
        return text;
    }
    // Null if no digit follows. Stops counting at 10000, far beyond what `is_exact` accepts.
    const char* read_exponent(const char* text) {
        const bool is_negative = *text == '-';
        if (*text == '-' || *text == '+') ++text;
        if (!is_digit(*text)) return nullptr;
        int value = 0;
        for (; is_digit(*text); ++text) {
            if (value < 10000) value = 10 * value + (*text - '0');
        }
        exponent += is_negative ? -value : value;
        return text;
    }

    // Whether the digits (up to 2 ^ 53) and the power of ten (up to 10 ^ 22) are exact as doubles:
    // their product or quotient is then rounded once, and correctly.
    bool is_exact() const {
        return nbr_digits <= 19 && digits <= std::uint64_t{1} << 53 && exponent >= -22 &&
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

const char* scan_decimal(const char* text, double& value) {
    const char* const end = scan_number(skip_spaces(text), value);
    return end && (*end == '\0' || is_space(*end)) ? end : nullptr;
}

// The value of `strtod` in the C locale.
double real_of_library(const char* text) {
    const c_locale_scope point_is_decimal;
    return std::strtod(text, nullptr);
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
    decimal number;
    number.negative = *text == '-';
    if (*text == '+') ++text;
    const char* const begin = text;
    if (number.negative) ++text;
    text = number.read_digits(text);
    if (*text == '.') text = number.read_fraction(text + 1);
    if (number.nbr_digits == 0) return nullptr;
    if (*text == 'e' || *text == 'E') {
        text = number.read_exponent(text + 1);
        if (!text) return nullptr;
    }
    if (number.is_exact()) {
        value = number.exact_value();
        return text;
    }
    const auto [end, error] = std::from_chars(begin, text, value);
    if (error == std::errc()) return text;
    // Out of range: too large, or below the smallest double.
    value = real_of_library(begin);
    return std::isfinite(value) ? text : nullptr;
}

const char* scan_decimals(const char* text, double* values, int n) {
    for (int i = 0; text && i < n; ++i) text = scan_decimal(text, values[i]);
    return text;
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
