// Output to a stream through one large buffer.
#ifndef TESSMAKER_FORMATS_OUTPUT_BUFFER_H
#define TESSMAKER_FORMATS_OUTPUT_BUFFER_H

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/scientific.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Writes an integer. Returns the end of the text; behind it up to a word is overwritten.
inline char* put_integer(std::int64_t value, char* text) {
    constexpr std::size_t most_characters = 20;
    if (static_cast<std::uint64_t>(value) >= powers_of_ten[word_size]) {
        return std::to_chars(text, text + most_characters, value).ptr;
    }
    const std::uint64_t digits = digits_of(static_cast<std::uint32_t>(value));
    // The last digit counts, also where it is a zero.
    const int nbr_zero_bits = std::countr_zero(digits | std::uint64_t{1} << 56) & ~7;
    store_word((digits | zero_word) >> nbr_zero_bits, text);
    return text + word_size - nbr_zero_bits / 8;
}

// Call `make_room` before putting anything, and `pass_on` or `flush` at the end.
class output_buffer {
public:
    explicit output_buffer(std::FILE* file) : file_(file) {}
    output_buffer(const output_buffer&) = delete;
    output_buffer& operator=(const output_buffer&) = delete;

    // Makes room for `size` characters, at most `capacity`, by writing what the buffer holds to the
    // stream if need be. False when the stream fails.
    bool make_room(std::size_t size) { return capacity - size_ >= size || pass_on(); }

    void put(std::string_view text) {
        std::memcpy(data_ + size_, text.data(), text.size());
        size_ += text.size();
    }
    void put(char c) { data_[size_++] = c; }
    void put_unsigned(std::uint64_t value) {
        if (value >= powers_of_ten[word_size]) {
            take(std::to_chars(end(), limit(), value));
        } else {
            put_signed(static_cast<std::int64_t>(value));
        }
    }
    void put_signed(std::int64_t value) {
        put_by([value](char* text) { return put_integer(value, text); });
    }
    // What `write` writes behind the characters put so far; it returns the end of that. Up to a
    // word behind the end may be overwritten.
    template <class Write> void put_by(const Write& write) {
        size_ = static_cast<std::size_t>(write(end()) - data_);
    }
    // As `%.<precision>f` in the C locale, at most `fixed_size + precision` characters.
    void put_fixed(double value, int precision) {
        take(std::to_chars(end(), limit(), value, std::chars_format::fixed, precision));
    }
    // As `%.<precision>e` in the C locale, at most `scientific_size + precision` characters.
    void put_scientific(double value, int precision = 6) {
        if (!put_few_digits(value, precision, 'e')) put_any_scientific(value, precision);
    }
    // As `%.<precision>E`.
    void put_capital_scientific(double value, int precision = 6) {
        if (put_few_digits(value, precision, 'E')) return;
        char* const begin = end();
        put_any_scientific(value, precision);
        std::transform(begin, end(), begin,
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    }
    // As `%<width>.<precision>E`.
    void put_capital_scientific_right(std::size_t width, double value, int precision = 6) {
        char* const begin = end();
        for (std::size_t k = 0; k < width; k += word_size) store_word(blank_word, begin + k);
        scientific number;
        // Most numbers have this length.
        const std::size_t length = static_cast<std::size_t>(precision) + 6;
        if (length < width && is_short(value, precision, number)) {
            char* const text = begin + (width - length);
            if (std::signbit(value)) text[-1] = '-';
            put_number(number, precision, 'E', text);
            size_ += width;
            return;
        }
        put_right(width, [&] { put_capital_scientific(value, precision); });
    }
    // Calls `put` and fills what it has put up to `width` characters, with blanks on the left.
    template <class Put> void put_right(std::size_t width, const Put& put) {
        char* const begin = end();
        put();
        const auto length = static_cast<std::size_t>(end() - begin);
        if (length >= width) return;
        std::memmove(begin + (width - length), begin, length);
        std::memset(begin, ' ', width - length);
        size_ += width - length;
    }
    // As `%<width>u`, digit by digit from the right.
    void put_unsigned_right(std::size_t width, std::uint64_t value) {
        char* const begin = end();
        char* digit = begin + width;
        std::uint64_t rest = value;
        do {
            if (digit == begin) {
                put_unsigned(value);
                return;
            }
            *--digit = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest != 0);
        std::fill(begin, digit, ' ');
        size_ += width;
    }
    void put_little_endian(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            data_[size_++] = static_cast<char>(value >> shift & 0xFF);
        }
    }
    void put_little_endian(float value) { put_little_endian(std::bit_cast<std::uint32_t>(value)); }

    // Writes what the buffer holds to the stream, which may buffer it in turn. False when it fails.
    bool pass_on() {
        const std::size_t size = size_;
        size_ = 0;
        return std::fwrite(data_, 1, size, file_) == size;
    }
    // As `pass_on`, and flushes the stream.
    bool flush() { return pass_on() && std::fflush(file_) == 0; }

    static constexpr std::size_t capacity = 1 << 15;
    static constexpr std::size_t fixed_size = 311;    // sign, 309 digits, point
    static constexpr std::size_t scientific_size = 8; // "-1." and "e+308"

private:
    char* end() { return data_ + size_; }
    char* limit() { return data_ + capacity; }
    void put_any_scientific(double value, int precision) {
        take(std::to_chars(end(), limit(), value, std::chars_format::scientific, precision));
    }
    static bool is_short(double value, int precision, scientific& number) {
        return precision >= 1 && precision <= 7 && round_to_digits(value, precision, number);
    }
    // False for numbers that are left to the library.
    bool put_few_digits(double value, int precision, char letter) {
        scientific number;
        if (!is_short(value, precision, number)) return false;
        char* text = end();
        *text = '-';
        if (std::signbit(value)) ++text;
        text = put_number(number, precision, letter, text);
        size_ = static_cast<std::size_t>(text - data_);
        return true;
    }
    void take(std::to_chars_result result) {
        // Always true, since there is room; without the test compilers warn of writes beyond the
        // end.
        if (result.ec == std::errc()) size_ = static_cast<std::size_t>(result.ptr - data_);
    }

    std::FILE* file_;
    std::size_t size_ = 0;
    // Words may be written that reach beyond what counts.
    char data_[capacity + word_size];
};

} // namespace kv7::tessmaker

#endif
