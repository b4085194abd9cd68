#include "formats/vtu_bytes.h"

#include <array>

#include "formats/characters.h"
#include "formats/zlib_stream.h"

namespace kv7::tessmaker {

namespace {

constexpr std::string_view cut_off = "the data end too early";

constexpr std::uint8_t no_digit = 64;
constexpr std::array<std::uint8_t, 256> make_base64_digits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(no_digit);
    constexpr std::string_view characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t k = 0; k < characters.size(); ++k) {
        digits[static_cast<unsigned char>(characters[k])] = static_cast<std::uint8_t>(k);
    }
    return digits;
}
constexpr std::array<std::uint8_t, 256> base64_digits = make_base64_digits();

// Decodes groups of four characters until there are `nbr_bytes`, or the text ends. A group that is
// filled up may be followed by others. False for other characters than those of base64 and, if they
// may be there, blanks.
bool decode_base64(std::string_view text, bool may_have_blanks, std::uint64_t nbr_bytes,
                   std::string& bytes) {
    bytes.clear();
    std::uint32_t group = 0;
    unsigned int nbr_digits = 0;
    unsigned int nbr_filled = 0;
    for (const char c : text) {
        if (may_have_blanks && is_space(c)) continue;
        const std::uint8_t digit = base64_digits[static_cast<unsigned char>(c)];
        if (c == '=' ? nbr_digits < 2 : digit == no_digit || nbr_filled != 0) return false;
        group = group << 6 | (c == '=' ? 0U : digit);
        nbr_filled += c == '=' ? 1 : 0;
        if (++nbr_digits < 4) continue;
        for (unsigned int k = 0; k + nbr_filled < 3; ++k) {
            bytes += static_cast<char>(group >> (16 - 8 * k) & 0xFF);
        }
        if (bytes.size() >= nbr_bytes) return true;
        nbr_digits = nbr_filled = 0;
    }
    return true;
}

// Ahead of the compressed sizes of the blocks there are: how many they are, the size that a block
// expands to, and that of the last one, if it is another.
constexpr std::uint64_t nbr_ahead_of_sizes = 3;

} // namespace

std::string vtu_bytes::find() { return encoding_.is_compressed ? find_compressed() : find_plain(); }

// Makes `stored_` the first bytes of the array, so many at least.
std::string vtu_bytes::fetch(std::uint64_t nbr_bytes) {
    if (!is_appended_ || encoding_.is_appended_base64) {
        // Offsets leave no place for blanks; arrays would look for their first byte behind all of
        // them.
        if (!decode_base64(text_, !is_appended_, nbr_bytes, decoded_)) return "base64 is expected";
        stored_ = decoded_;
    } else {
        stored_ = text_;
    }
    return stored_.size() < nbr_bytes ? std::string(cut_off) : std::string();
}

// Else a small file could ask for the same large array again and again.
std::string vtu_bytes::take_from_appended(std::uint64_t nbr_bytes) {
    if (!is_appended_) return {};
    if (nbr_bytes > encoding_.nbr_unread) return "arrays have the same data";
    encoding_.nbr_unread -= nbr_bytes;
    return {};
}

std::uint64_t vtu_bytes::header_number(std::uint64_t k) const {
    return load_vtu_number(stored_.substr(k * encoding_.header_size, encoding_.header_size),
                           encoding_.order);
}

// The header is the number of bytes.
std::string vtu_bytes::find_plain() {
    if (std::string fault = fetch(encoding_.header_size); !fault.empty()) return fault;
    const std::uint64_t size = header_number(0);
    if (size > text_.size()) return std::string(cut_off);
    if (std::string fault = fetch(encoding_.header_size + size); !fault.empty()) return fault;
    found_ = stored_.substr(encoding_.header_size, size);
    return take_from_appended(size);
}

// The blocks, each a stream of zlib, stand behind the header one behind the other; in base64 they
// are encoded together, apart from it.
std::string vtu_bytes::find_compressed() {
    if (std::string fault = fetch(encoding_.header_size); !fault.empty()) return fault;
    const std::uint64_t nbr_blocks = header_number(0);
    if (nbr_blocks == 0) return {};
    if (nbr_blocks > text_.size()) return std::string(cut_off);
    const std::uint64_t header_size = (nbr_ahead_of_sizes + nbr_blocks) * encoding_.header_size;
    if (std::string fault = fetch(header_size); !fault.empty()) return fault;
    std::uint64_t end = header_size; // below the size of the text and of its header
    for (std::uint64_t k = 0; k < nbr_blocks; ++k) {
        const std::uint64_t size = header_number(nbr_ahead_of_sizes + k);
        if (size > text_.size() - (end - header_size)) return std::string(cut_off);
        end += size;
    }
    if (std::string fault = fetch(end); !fault.empty()) return fault;
    if (std::string fault = take_from_appended(end); !fault.empty()) return fault;
    return expand(nbr_blocks);
}

// A last block of no bytes stands for a whole one.
std::uint64_t vtu_bytes::block_size(std::uint64_t k, std::uint64_t nbr_blocks) const {
    const std::uint64_t last = header_number(2);
    return k + 1 == nbr_blocks && last != 0 ? last : header_number(1);
}

std::string vtu_bytes::expand(std::uint64_t nbr_blocks) {
    const auto not_expected = [&](std::uint64_t k) {
        return "block " + std::to_string(k) + " is expected to be " +
               std::to_string(block_size(k, nbr_blocks)) + " bytes compressed by zlib";
    };
    const auto stored_size = [&](std::uint64_t k) { return header_number(nbr_ahead_of_sizes + k); };
    std::uint64_t size = 0;
    for (std::uint64_t k = 0; k < nbr_blocks; ++k) {
        // Compared so, no product can be too large.
        if (block_size(k, nbr_blocks) / most_per_zlib_byte > stored_size(k)) return not_expected(k);
        size += block_size(k, nbr_blocks);
    }
    // Memory that is reserved is not touched before a block is there.
    expanded_.reserve(size);
    std::string_view rest =
        stored_.substr((nbr_ahead_of_sizes + nbr_blocks) * encoding_.header_size);
    for (std::uint64_t k = 0; k < nbr_blocks; ++k) {
        const std::size_t begin = expanded_.size();
        const std::uint64_t expanded_size = block_size(k, nbr_blocks);
        expanded_.resize(begin + expanded_size);
        if (!expand_zlib_stream(rest.substr(0, stored_size(k)), expanded_.data() + begin,
                                expanded_size)) {
            return not_expected(k);
        }
        rest.remove_prefix(stored_size(k));
    }
    found_ = expanded_;
    return {};
}

} // namespace kv7::tessmaker
