// Streams as zlib makes them, written plainly after RFC 1950 and 1951: stored blocks and blocks of
// the fixed code.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_ZLIB_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_ZLIB_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/random.h"

namespace test {

// A stream is a header of two bytes, blocks of bits, and a checksum.
class plain_zlib {
public:
    explicit plain_zlib(random_source& random) : random_(random) {}

    std::string compress(const std::string& bytes) {
        out_ = "\x78\x9C";
        nbr_bits_ = 0;
        std::size_t begin = 0;
        do {
            const std::size_t longest = random_.one_in(2) ? 20 : 60000;
            const std::size_t size = std::min(bytes.size() - begin, random_.between(0, longest));
            put(begin + size == bytes.size() ? 1 : 0, 1);
            if (random_.one_in(3)) {
                put_stored(bytes.substr(begin, size));
            } else {
                put_coded(bytes, begin, begin + size);
            }
            begin += size;
        } while (begin != bytes.size());
        nbr_bits_ = 0;
        return out_ + checksum(bytes);
    }

private:
    // The lowest bit comes first.
    void put(std::uint32_t bits, unsigned int n) {
        for (unsigned int k = 0; k < n; ++k) {
            if (nbr_bits_ == 0) out_ += '\0';
            const unsigned int bit = (bits >> k & 1) << nbr_bits_;
            out_.back() = static_cast<char>(static_cast<unsigned char>(out_.back()) | bit);
            nbr_bits_ = (nbr_bits_ + 1) % 8;
        }
    }
    // The highest bit comes first.
    void put_code(std::uint32_t code, unsigned int n) {
        while (n != 0) put(code >> --n, 1);
    }

    void put_stored(const std::string& bytes) {
        put(0, 2);
        nbr_bits_ = 0;
        const auto size = static_cast<std::uint32_t>(bytes.size());
        put(size, 16);
        put(~size, 16);
        out_ += bytes;
    }

    void put_coded(const std::string& bytes, std::size_t begin, std::size_t end) {
        put(1, 2);
        while (begin != end) {
            std::size_t length = 0;
            std::size_t distance = 0;
            for (std::size_t d = 1; d <= std::min<std::size_t>(begin, 40); ++d) {
                std::size_t same = 0;
                while (same < std::min<std::size_t>(end - begin, 258) &&
                       bytes[begin + same] == bytes[begin + same - d]) {
                    ++same;
                }
                if (same > length) {
                    length = same;
                    distance = d;
                }
            }
            if (length < 3) {
                put_symbol(static_cast<unsigned char>(bytes[begin++]));
            } else {
                put_match(static_cast<unsigned int>(length), static_cast<unsigned int>(distance));
                begin += length;
            }
        }
        put_symbol(256);
    }

    void put_symbol(unsigned int symbol) {
        if (symbol < 144) {
            put_code(0x30 + symbol, 8);
        } else if (symbol < 256) {
            put_code(0x190 + symbol - 144, 9);
        } else if (symbol < 280) {
            put_code(symbol - 256, 7);
        } else {
            put_code(0xC0 + symbol - 280, 8);
        }
    }

    // Codes stand for ranges of lengths: eight of one length, then four of 2, four of 4 ...; the
    // last one is for 258 alone. Distances have four of one, then two of 2, two of 4 ...
    void put_match(unsigned int length, unsigned int distance) {
        unsigned int first = 3;
        unsigned int code = 0;
        unsigned int nbr_extra = 0;
        while (length != 258 && first + (1U << nbr_extra) <= length) {
            first += 1U << nbr_extra;
            ++code;
            nbr_extra = code < 8 ? 0 : code / 4 - 1;
        }
        put_symbol(257 + (length == 258 ? 28 : code));
        if (length != 258) put(length - first, nbr_extra);
        first = 1;
        code = nbr_extra = 0;
        while (first + (1U << nbr_extra) <= distance) {
            first += 1U << nbr_extra;
            ++code;
            nbr_extra = code < 4 ? 0 : code / 2 - 1;
        }
        put_code(code, 5);
        put(distance - first, nbr_extra);
    }

    static std::string checksum(const std::string& bytes) {
        std::uint32_t a = 1;
        std::uint32_t b = 0;
        for (const char c : bytes) {
            a = (a + static_cast<unsigned char>(c)) % 65521;
            b = (b + a) % 65521;
        }
        std::string text;
        for (const std::uint32_t half : {b, a}) {
            text += static_cast<char>(half >> 8);
            text += static_cast<char>(half & 0xFF);
        }
        return text;
    }

    random_source& random_;
    std::string out_;
    unsigned int nbr_bits_ = 0; // in the last byte, if it is not full
};

} // namespace test

#endif
