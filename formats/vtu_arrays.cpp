#include "formats/vtu_arrays.h"

#include <new>
#include <utility>

#include "formats/characters.h"
#include "formats/word_values.h"

namespace kv7::tessmaker {

namespace {

constexpr std::string_view cut_off = "the data end too early";

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
            return shown_word(text.substr(begin, at - begin)) + " is no number";
        }
        if (!values.push_back(value)) throw std::bad_alloc();
    }
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
    vtu_bytes stored(source, is_appended, encoding);
    if (std::string fault = stored.find(); !fault.empty()) return fault;
    const std::string_view bytes = stored.found();
    const std::size_t size = size_of(array.type);
    if (bytes.size() % size != 0) return "the data end within a number";
    if (!values.resize(bytes.size() / size)) throw std::bad_alloc();
    for (std::size_t k = 0; k < values.size(); ++k) {
        values[k] =
            value_of(load_vtu_number(bytes.substr(k * size, size), encoding.order), array.type);
    }
    return {};
}

} // namespace kv7::tessmaker
