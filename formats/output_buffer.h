// Output to a stream through one large buffer.
#ifndef TESSMAKER_FORMATS_OUTPUT_BUFFER_H
#define TESSMAKER_FORMATS_OUTPUT_BUFFER_H

#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace kv7::tessmaker {

// What is put in reaches the stream with `flush` at the latest. The caller makes room before it
// puts anything.
class output_buffer {
public:
    explicit output_buffer(std::FILE* file) : file_(file) {}
    output_buffer(const output_buffer&) = delete;
    output_buffer& operator=(const output_buffer&) = delete;

    // Makes room for `size` characters, at most `capacity`. False when the stream refuses what was
    // there before.
    bool make_room(std::size_t size) { return capacity - size_ >= size || pass_on(); }

    void put(std::string_view text) {
        std::memcpy(data_ + size_, text.data(), text.size());
        size_ += text.size();
    }
    // As `%le` in the C locale, at most `number_size` characters.
    void put_scientific(double value) {
        char* const begin = data_ + size_;
        const auto result =
            std::to_chars(begin, begin + number_size, value, std::chars_format::scientific, 6);
        size_ += static_cast<std::size_t>(result.ptr - begin);
    }
    void put_little_endian(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            data_[size_++] = static_cast<char>(value >> shift & 0xFF);
        }
    }
    void put_little_endian(float value) { put_little_endian(std::bit_cast<std::uint32_t>(value)); }

    // Whether everything has reached the system.
    bool flush() { return pass_on() && std::fflush(file_) == 0; }

    static constexpr std::size_t capacity = 1 << 15;
    static constexpr std::size_t number_size = 14; // "-1.797693e+308"

private:
    bool pass_on() {
        const std::size_t size = size_;
        size_ = 0;
        return std::fwrite(data_, 1, size, file_) == size;
    }

    std::FILE* file_;
    std::size_t size_ = 0;
    char data_[capacity];
};

} // namespace kv7::tessmaker

#endif
