// Output to a stream through one large buffer.
#ifndef TESSMAKER_FORMATS_OUTPUT_BUFFER_H
#define TESSMAKER_FORMATS_OUTPUT_BUFFER_H

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace kv7::tessmaker {

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
    void put_unsigned(std::uint64_t value) { take(std::to_chars(end(), limit(), value)); }
    void put_signed(std::int64_t value) { take(std::to_chars(end(), limit(), value)); }
    // As `%.<precision>f` in the C locale, at most `fixed_size + precision` characters.
    void put_fixed(double value, int precision) {
        take(std::to_chars(end(), limit(), value, std::chars_format::fixed, precision));
    }
    // As `%.<precision>e` in the C locale, at most `scientific_size + precision` characters.
    void put_scientific(double value, int precision = 6) {
        take(std::to_chars(end(), limit(), value, std::chars_format::scientific, precision));
    }
    // As `%.<precision>E`.
    void put_capital_scientific(double value, int precision = 6) {
        char* const begin = end();
        put_scientific(value, precision);
        std::transform(begin, end(), begin,
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
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
    void take(std::to_chars_result result) {
        // Always true, since there is room; without the test compilers warn of writes beyond the
        // end.
        if (result.ec == std::errc()) size_ = static_cast<std::size_t>(result.ptr - data_);
    }

    std::FILE* file_;
    std::size_t size_ = 0;
    char data_[capacity];
};

} // namespace kv7::tessmaker

#endif
