// Eight characters of a text at a time, as one number: the first character in the lowest byte,
// whatever the byte order of the machine.
#ifndef TESSMAKER_FORMATS_WORDS_H
#define TESSMAKER_FORMATS_WORDS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kv7::tessmaker {

inline constexpr std::size_t word_size = 8;

// A word of eight times the same character.
constexpr std::uint64_t word_of(char c) {
    return static_cast<unsigned char>(c) * std::uint64_t{0x0101010101010101};
}
inline constexpr std::uint64_t blank_word = word_of(' ');
inline constexpr std::uint64_t zero_word = word_of('0');

constexpr std::uint64_t reversed_bytes(std::uint64_t word) {
    std::uint64_t result = 0;
    for (std::size_t i = 0; i < word_size; ++i) result = result << 8 | (word >> 8 * i & 0xFF);
    return result;
}

inline constexpr std::array<std::uint32_t, 10> powers_of_ten{
    1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

// Eight characters, all of which must be there.
inline std::uint64_t load_word(const char* text) {
    std::uint64_t word;
    std::memcpy(&word, text, word_size);
    return std::endian::native == std::endian::big ? reversed_bytes(word) : word;
}
inline void store_word(std::uint64_t word, char* text) {
    if (std::endian::native == std::endian::big) word = reversed_bytes(word);
    std::memcpy(text, &word, word_size);
}

// The first `n` characters of a word, and blanks behind them.
constexpr std::uint64_t first_characters(std::uint64_t word, std::size_t n) {
    if (n >= word_size) return word;
    const std::uint64_t kept = (std::uint64_t{1} << 8 * n) - 1;
    return (word & kept) | (blank_word & ~kept);
}

// How many blanks the word begins with.
constexpr std::size_t nbr_leading_blanks(std::uint64_t word) {
    return static_cast<std::size_t>(std::countr_zero(word ^ blank_word)) / 8;
}

// How many digits the word begins with. Digits are '0' plus a value below 10: adding 0x76 to larger
// values raises the high bit of their byte, and no sum of 7 bits reaches the next byte.
constexpr std::size_t nbr_leading_digits(std::uint64_t word) {
    constexpr std::uint64_t high_bits = word_of('\x80');
    const std::uint64_t values = word ^ zero_word;
    const std::uint64_t others = (((values & ~high_bits) + word_of('\x76')) | values) & high_bits;
    return static_cast<std::size_t>(std::countr_zero(others)) / 8;
}

// The number that the first `n` characters are, all of them digits, `n` from 1 to 8. Pairs of
// digits are joined, then pairs of pairs.
constexpr std::uint32_t value_of_digits(std::uint64_t word, std::size_t n) {
    // The first digits are zeros, and the last ones those of the text.
    const std::uint64_t digits = (word ^ zero_word) << 8 * (word_size - n);
    constexpr std::uint64_t mask = 0x000000FF000000FF;
    const std::uint64_t pairs = 10 * digits + (digits >> 8);
    const std::uint64_t first_and_third = (pairs & mask) * (100 + (std::uint64_t{1000000} << 32));
    const std::uint64_t second_and_fourth =
        (pairs >> 16 & mask) * (1 + (std::uint64_t{10000} << 32));
    return static_cast<std::uint32_t>((first_and_third + second_and_fourth) >> 32);
}

// The eight digits of a value below 10^8, as values of 0 to 9, with zeros at the front. Halves of
// four digits are split into pairs, and these into digits: 10486 / 2^20 and 103 / 2^10 are 1 / 100
// and 1 / 10, near enough for numbers of four and of two digits.
constexpr std::uint64_t digits_of(std::uint32_t value) {
    const std::uint64_t halves = value / 10000 | std::uint64_t{value % 10000} << 32;
    const std::uint64_t hundreds = halves * 10486 >> 20 & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (halves - 100 * hundreds) << 16;
    const std::uint64_t tens = pairs * 103 >> 10 & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

// The same as text, with blanks in place of the zeros at the front. The last digit counts, also
// where it is a zero.
constexpr std::uint64_t right_aligned(std::uint32_t value) {
    const std::uint64_t digits = digits_of(value);
    const int nbr_zero_bits = std::countr_zero(digits | std::uint64_t{1} << 56) & ~7;
    const std::uint64_t zeros = (std::uint64_t{1} << nbr_zero_bits) - 1;
    return (digits | zero_word) ^ ((blank_word ^ zero_word) & zeros);
}

} // namespace kv7::tessmaker

#endif
