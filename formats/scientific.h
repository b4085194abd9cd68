// Numbers in scientific notation with up to eight digits.
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
    std::uint32_t digits = 0;
    int exponent = 0;
};

// 5 ^ k, up to the last below 2 ^ 64.
inline constexpr auto powers_of_five = [] {
    std::array<std::uint64_t, 28> powers{1};
    for (std::size_t k = 1; k < powers.size(); ++k) powers[k] = 5 * powers[k - 1];
    return powers;
}();

// The magnitude of a number, rounded to `precision` + 1 digits, at most 8, as `%.<precision>e`
// rounds it: exactly, and halves to even. False if that needs more than 128 bits, as beyond about
// 10 ^ precision or below 10 ^ (precision - 27), or if the number is not finite.
inline bool round_to_digits(double x, int precision, scientific& result) {
    constexpr int fraction_bits = 52;
    constexpr std::uint64_t hidden_bit = std::uint64_t{1} << fraction_bits;
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(x) & ~(std::uint64_t{1} << 63);
    if (bits == 0) {
        result = {};
        return true;
    }
    // |x| is significand * 2 ^ (power - 52). Numbers without the hidden bit are far below the
    // range.
    const std::uint64_t significand = (bits & (hidden_bit - 1)) | hidden_bit;
    const int power = static_cast<int>(bits >> fraction_bits) - 1023;
    // The exponent of 2 ^ power, which is that of |x| or one less: 78913 / 2^18 is log10(2).
    for (int exponent = power * 78913 >> 18;; ++exponent) {
        // |x| * 10 ^ scale is product / 2 ^ shift.
        const int scale = precision - exponent;
        const int shift = fraction_bits - power - scale;
        if (scale < 0 || scale >= static_cast<int>(powers_of_five.size())) return false;
        if (shift < 1 || shift > 127) return false;
        const uint128 product =
            uint128{significand} * powers_of_five[static_cast<std::size_t>(scale)];
        const auto whole = static_cast<std::uint64_t>(product >> shift);
        if (whole >= powers_of_ten[static_cast<std::size_t>(precision) + 1]) continue;

        const uint128 half = uint128{1} << (shift - 1);
        const uint128 rest = product & (2 * half - 1);
        const bool rounds_up = rest > half || (rest == half && whole % 2 != 0);
        result = {static_cast<std::uint32_t>(whole) + (rounds_up ? 1U : 0U), exponent};
        if (result.digits == powers_of_ten[static_cast<std::size_t>(precision) + 1]) {
            result = {result.digits / 10, exponent + 1};
        }
        return true;
    }
}

// Writes the number with a point behind its first digit and `letter` before its exponent, which is
// below 100 on either side. Returns the end of the text; behind it up to a word is overwritten.
// `precision` is from 1 to 7.
inline char* put_number(const scientific& number, int precision, char letter, char* text) {
    const auto size = static_cast<std::size_t>(precision) + 1;
    const std::uint64_t digits = (digits_of(number.digits) | zero_word) >> 8 * (word_size - size);
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
