// Numbers in scientific notation, rounded exactly.
#ifndef TESSMAKER_FORMATS_SCIENTIFIC_H
#define TESSMAKER_FORMATS_SCIENTIFIC_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "formats/words.h"

namespace kv7::tessmaker {

__extension__ using uint128 = unsigned __int128;

// Non-negative: digits * 10 ^ (exponent - precision).
struct scientific {
    std::uint64_t digits = 0;
    int exponent = 0;
};

// 5 ^ k without its trailing zeros in binary: 5 ^ k is `bits` * 2 ^ (`width` - 64), with the
// highest bit of `bits` set.
struct power_of_five {
    std::uint64_t bits;
    int width;
};
// Up to the last power below 2 ^ 64.
inline constexpr auto powers_of_five = [] {
    std::array<power_of_five, 28> powers{};
    std::uint64_t power = 1;
    for (power_of_five& p : powers) {
        p = {power << std::countl_zero(power), 64 - std::countl_zero(power)};
        power *= 5;
    }
    return powers;
}();

// Up to the last one that a precision needs.
inline constexpr auto long_powers_of_ten = [] {
    std::array<std::uint64_t, 16> powers{};
    std::uint64_t power = 1;
    for (std::uint64_t& p : powers) {
        p = power;
        power *= 10;
    }
    return powers;
}();

// The magnitude of a number, rounded to `precision` + 1 digits, at most 15, as `%.<precision>e`
// rounds it: exactly, and halves to even. `precision` is from 1 to 14. False if the number needs a
// power of five beyond the table, as beyond about 10 ^ precision or below 10 ^ (precision - 27), or
// if it is not finite. `is_other`, if not null, is whether these digits are read back as another
// number.
inline bool round_to_digits(double x, int precision, scientific& result, bool* is_other = nullptr) {
    constexpr int fraction_bits = 52;
    constexpr std::uint64_t hidden_bit = std::uint64_t{1} << fraction_bits;
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(x) & ~(std::uint64_t{1} << 63);
    if (bits == 0) {
        result = {};
        if (is_other) *is_other = false;
        return true;
    }
    // |x| is significand * 2 ^ (power - 63), with the highest bit of the significand set. Numbers
    // without the hidden bit are far below the range.
    const std::uint64_t significand = ((bits & (hidden_bit - 1)) | hidden_bit) << 11;
    const int power = static_cast<int>(bits >> fraction_bits) - 1023;
    // The exponent of 2 ^ power, which is that of |x| or one less: 78913 / 2^18 is log10(2).
    for (int exponent = power * 78913 >> 18;; ++exponent) {
        const int scale = precision - exponent;
        if (scale < 0 || scale >= static_cast<int>(powers_of_five.size())) return false;
        const power_of_five& five = powers_of_five[static_cast<std::size_t>(scale)];
        // |x| * 10 ^ scale is product / 2 ^ (64 + shift). It is from 10 to below 2 * 10 ^ 15, and
        // the product has 127 or 128 bits: the shift is from 12 to 60.
        const uint128 product = uint128{significand} * five.bits;
        const auto high = static_cast<std::uint64_t>(product >> 64);
        const int shift = 63 - scale - power - five.width;
        const std::uint64_t whole = high >> shift;
        const std::uint64_t end = long_powers_of_ten[static_cast<std::size_t>(precision) + 1];
        if (whole >= end) continue;

        const std::uint64_t half = std::uint64_t{1} << (shift - 1);
        const std::uint64_t rest = high & (2 * half - 1);
        const bool half_goes_up = static_cast<std::uint64_t>(product) != 0 || whole % 2 != 0;
        const bool goes_up = rest + (half_goes_up ? 1U : 0U) > half;
        result = {whole + (goes_up ? 1U : 0U), exponent};
        if (result.digits == end) result = {result.digits / 10, exponent + 1};
        if (is_other) {
            // The digits are read as x if they are at most half a step from it, the last bit of the
            // significand being 2 ^ 11. Below a power of two steps are half as wide; in the middle
            // between two numbers it is the even one that is read.
            const uint128 one = uint128{1} << (64 + shift);
            const uint128 fraction = product & (one - 1);
            const uint128 distance = goes_up ? one - fraction : fraction;
            const bool is_step_narrow = (bits & (hidden_bit - 1)) == 0 && !goes_up;
            const uint128 half_step = uint128{five.bits} << (is_step_narrow ? 9 : 10);
            *is_other = distance > half_step || (distance == half_step && bits % 2 != 0);
        }
        return true;
    }
}

// Writes the number with a point behind its first digit and `letter` before its exponent, which is
// below 100 on either side. Returns the end of the text; behind it up to a word is overwritten.
// `precision` is from 1 to 7.
inline char* put_number(const scientific& number, int precision, char letter, char* text) {
    const auto size = static_cast<std::size_t>(precision) + 1;
    const auto value = static_cast<std::uint32_t>(number.digits);
    const std::uint64_t digits = (digits_of(value) | zero_word) >> 8 * (word_size - size);
    text[0] = static_cast<char>(digits & 0xFF);
    text[1] = '.';
    store_word(digits >> 8, text + 2);
    text += size + 1;
    const auto exponent = static_cast<unsigned int>(std::abs(number.exponent));
    text[0] = letter;
    text[1] = number.exponent < 0 ? '-' : '+';
    text[2] = static_cast<char>('0' + exponent / 10);
    text[3] = static_cast<char>('0' + exponent % 10);
    return text + 4;
}

} // namespace kv7::tessmaker

#endif
