#include "formats/vtu_arrays.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "formats/characters.h"
#include "formats/word_values.h"

namespace kv7::tessmaker {

namespace {

constexpr std::string_view cut_off = "the data end too early";

// Of eight bytes at most.
std::uint64_t load(std::string_view bytes, std::endian order) {
    std::uint64_t value = 0;
    for (std::size_t k = 0; k < bytes.size(); ++k) {
        const std::size_t from = order == std::endian::big ? k : bytes.size() - 1 - k;
        value = value << 8 | static_cast<unsigned char>(bytes[from]);
    }
    return value;
}

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

std::size_t size_of(vtu_type type) {
    switch (type) {
    case vtu_type::int8:
    case vtu_type::uint8: return 1;
    case vtu_type::int16:
    case vtu_type::uint16: return 2;
    case vtu_type::int32:
    case vtu_type::uint32:
    case vtu_type::float32: return 4;
    default: return 8;
    }
}

double value_of(std::uint64_t bits, vtu_type type) {
    switch (type) {
    case vtu_type::int8: return static_cast<std::int8_t>(bits);
    case vtu_type::int16: return static_cast<std::int16_t>(bits);
    case vtu_type::int32: return static_cast<std::int32_t>(bits);
    case vtu_type::int64: return static_cast<double>(static_cast<std::int64_t>(bits));
    case vtu_type::float32: return double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))};
    case vtu_type::float64: return std::bit_cast<double>(bits);
    default: return static_cast<double>(bits);
    }
}

std::string_view text_of(const vtu_array& array) {
    if (array.joined_text.empty()) return array.text;
    return std::string_view(array.joined_text).substr(0, array.joined_text.size() - word_size);
}

std::string read_words(std::string_view text, dense1D<double>& values) {
    std::size_t at = 0;
    for (;;) {
        while (at < text.size() && is_space(text[at])) ++at;
        if (at == text.size()) return {};
        const std::size_t begin = at;
        while (at < text.size() && !is_space(text[at])) ++at;
        double value = 0.0;
        if (!word_to_value(text.substr(begin, at - begin), value)) {
            constexpr std::size_t longest = 32;
            std::string word(text.substr(begin, std::min(at - begin, longest)));
            for (char& c : word) c = c < ' ' || c > '~' ? '?' : c;
            return word + " is no number";
        }
        if (!values.push_back(value)) throw std::bad_alloc();
    }
}

// Finds the bytes of an array behind the header that tells how many they are. `decoded` keeps them
// if they have to be decoded.
std::string find_bytes(std::string_view source, bool is_appended, const vtu_encoding& encoding,
                       std::string& decoded, std::string_view& bytes) {
    constexpr std::string_view not_base64 = "base64 is expected";
    const bool is_base64 = !is_appended || encoding.is_appended_base64;
    // Offsets leave no place for blanks; arrays would look for their first byte behind all of them.
    const auto decode = [&](std::uint64_t nbr_bytes) {
        return decode_base64(source, !is_appended, nbr_bytes, decoded);
    };
    if (is_base64) {
        if (!decode(encoding.header_size)) return std::string(not_base64);
        bytes = decoded;
    } else {
        bytes = source;
    }
    if (bytes.size() < encoding.header_size) return std::string(cut_off);
    const std::uint64_t size = load(bytes.substr(0, encoding.header_size), encoding.order);
    if (size > source.size()) return std::string(cut_off);
    if (is_base64) {
        if (!decode(encoding.header_size + size)) return std::string(not_base64);
        bytes = decoded;
    }
    bytes.remove_prefix(encoding.header_size);
    if (bytes.size() < size) return std::string(cut_off);
    bytes = bytes.substr(0, size);
    return {};
}

} // namespace

vtu_type vtu_type_of(std::string_view name) {
    constexpr std::pair<std::string_view, vtu_type> types[] = {
        {"Int8", vtu_type::int8},       {"UInt8", vtu_type::uint8},
        {"Int16", vtu_type::int16},     {"UInt16", vtu_type::uint16},
        {"Int32", vtu_type::int32},     {"UInt32", vtu_type::uint32},
        {"Int64", vtu_type::int64},     {"UInt64", vtu_type::uint64},
        {"Float32", vtu_type::float32}, {"Float64", vtu_type::float64},
    };
    for (const auto& [known, type] : types) {
        if (name == known) return type;
    }
    return vtu_type::none;
}

std::string read_vtu_values(const vtu_array& array, vtu_encoding& encoding,
                            dense1D<double>& values) {
    if (array.written == vtu_array::form::ascii) return read_words(text_of(array), values);
    const bool is_appended = array.written == vtu_array::form::appended;
    std::string_view source = is_appended ? encoding.appended : text_of(array);
    if (is_appended && array.offset > source.size()) return std::string(cut_off);
    if (is_appended) source.remove_prefix(array.offset);
    std::string decoded;
    std::string_view bytes;
    std::string fault = find_bytes(source, is_appended, encoding, decoded, bytes);
    if (!fault.empty()) return fault;
    // Else a small file could ask for the same large array again and again.
    if (is_appended && bytes.size() > encoding.nbr_unread) return "arrays have the same data";
    if (is_appended) encoding.nbr_unread -= bytes.size();
    const std::size_t size = size_of(array.type);
    if (bytes.size() % size != 0) return "the data end within a number";
    if (!values.resize(bytes.size() / size)) throw std::bad_alloc();
    for (std::size_t k = 0; k < values.size(); ++k) {
        values[k] = value_of(load(bytes.substr(k * size, size), encoding.order), array.type);
    }
    return {};
}

} // namespace kv7::tessmaker
