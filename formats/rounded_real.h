// Numbers in text with fewer digits than they have.
#ifndef TESSMAKER_FORMATS_ROUNDED_REAL_H
#define TESSMAKER_FORMATS_ROUNDED_REAL_H

#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace kv7::tessmaker {

inline constexpr std::size_t real_size = 24; // sign, 17 digits, point, "e-308"

// Writes a number as `%.<digits>g` in the C locale, from 1 to 16 digits, at most `real_size`
// characters. The number that stands there is finite if the given one is: where rounding leads
// beyond the largest double, the further digits are cut off. Returns the end of the text.
inline char* put_rounded_real(double value, int digits, char* text) {
    char* const limit = text + real_size;
    char* const end = std::to_chars(text, limit, value, std::chars_format::general, digits).ptr;
    constexpr double least_in_danger = 1.5e308; // one digit makes 2e308 of it
    if (!(std::abs(value) >= least_in_danger) || std::isinf(value)) return end;
    double read = 0.0;
    if (std::from_chars(text, end, read).ec == std::errc()) return end;
    // All 17 digits: the first, a point, and 16.
    constexpr std::string_view exponent = "e+308";
    std::to_chars(text, limit, value, std::chars_format::scientific, 16);
    char* kept = text + (value < 0.0 ? 1 : 0) + (digits == 1 ? 1 : digits + 1);
    for (const char c : exponent) *kept++ = c;
    return kept;
}

} // namespace kv7::tessmaker

#endif
