#include "formats/deck_like_nodes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "formats/characters.h"
#include "formats/deck_like_lines.h"
#include "formats/deck_numbers.h"

namespace kv7::tessmaker {

namespace {

constexpr std::size_t name_width = 8;
constexpr std::size_t small_width = 8;
constexpr std::size_t large_width = 16;
constexpr std::size_t first_width = 72; // of the name and the fields behind it
constexpr std::size_t most_characters = 80;

// The size of the line without its LF; more than is asked for if it has none.
std::size_t size_of_line(const char* text, const char* text_end) {
    const auto size = static_cast<std::size_t>(text_end - text);
    const void* const end = size == 0 ? nullptr : std::memchr(text, '\n', size);
    return end ? static_cast<std::size_t>(static_cast<const char*>(end) - text)
               : most_characters + 1;
}

std::string_view large_field(const char* line, std::size_t i) {
    return {line + name_width + i * large_width, large_width};
}

bool read_coordinate(std::string_view text, double& x) {
    x = 0.0;
    const deck_value value = read_real(text, x);
    return value == deck_value::number || value == deck_value::blank;
}

// The number of a system, as digits and nothing else.
bool read_system(std::string_view digits, unsigned int& system) {
    const std::uint64_t word = field_word(digits);
    const std::size_t n = nbr_leading_digits(word);
    if (digits.size() > word_size || n == 0 || n != digits.size()) return false;
    system = value_of_digits(word, n);
    return true;
}

bool is_upper_letter(char c) { return c >= 'A' && c <= 'Z'; }

} // namespace

const char* deck_like_nodes::read_free(const char* text, const char* text_end, deck_node& node) {
    constexpr std::string_view name = "GRID,";
    constexpr std::size_t nbr_fields = 5;
    const std::size_t size = size_of_line(text, text_end);
    if (size > most_characters) return nullptr;
    const std::string_view line(text, size);
    const char* const next = text + size + 1;
    if (!line.starts_with(name) || next >= text_end || !begins_card(*next)) return nullptr;

    std::string_view fields[nbr_fields];
    std::size_t at = name.size();
    for (std::size_t i = 0; i < nbr_fields; ++i) {
        const std::size_t end = std::min(line.find(',', at), size);
        const bool is_last = i + 1 == nbr_fields;
        if ((end == size) != is_last) return nullptr;
        fields[i] = line.substr(at, end - at);
        at = end + 1;
    }
    node.system = no_id;
    const bool is_good = (fields[1].empty() || read_system(fields[1], node.system)) &&
                         read_id(fields[0], node.id) == deck_value::number &&
                         read_coordinate(fields[2], node.xyz[0]) &&
                         read_coordinate(fields[3], node.xyz[1]) &&
                         read_coordinate(fields[4], node.xyz[2]);
    return is_good ? next : nullptr;
}

const char* deck_like_nodes::read_small(const char* text, const char* text_end, deck_node& node) {
    constexpr std::uint64_t name = deck_name("GRID");
    if (load_word(text) != name) return nullptr;
    const std::size_t size = size_of_line(text, text_end);
    constexpr std::size_t last = name_width + 4 * small_width; // the beginning of z
    if (size <= last || size > first_width) return nullptr;
    const char* const next = text + size + 1;
    if (next >= text_end || !begins_card(*next)) return nullptr;

    const auto field = [&](std::size_t i) {
        const std::size_t begin = name_width + i * small_width;
        return std::string_view(text + begin, std::min(small_width, size - begin));
    };
    node.system = no_id;
    const bool has_system = load_word(field(1).data()) != blank_word;
    const bool is_good = (!has_system || read_system(trim(field(1)), node.system)) &&
                         read_id(field(0), node.id) == deck_value::number &&
                         read_coordinate(field(2), node.xyz[0]) &&
                         read_coordinate(field(3), node.xyz[1]) &&
                         read_coordinate(field(4), node.xyz[2]);
    return is_good ? next : nullptr;
}

// A star, then letters and digits, then blanks.
bool deck_like_nodes::is_mark(std::uint64_t word) {
    if (word == mark_) return word != blank_word;
    char text[word_size];
    store_word(word, text);
    const std::string_view name = trim_right({text, word_size});
    if (name.empty() || name.front() != '*') return false;
    for (const char c : name.substr(1)) {
        if (!is_upper_letter(c) && !is_digit(c)) return false;
    }
    mark_ = word;
    return true;
}

const char* deck_like_nodes::read_large(const char* text, const char* text_end, deck_node& node) {
    constexpr std::uint64_t name = deck_name("GRID*");
    if (load_word(text) != name) return nullptr;
    const std::size_t size = size_of_line(text, text_end);
    if (size <= first_width || size > most_characters) return nullptr;
    const std::uint64_t mark = field_word({text + first_width, size - first_width});
    const char* const second = text + size + 1;
    if (!is_mark(mark) || load_word(second) != mark) return nullptr;
    const std::size_t second_size = size_of_line(second, text_end);
    if (second_size < name_width + large_width || second_size > first_width) return nullptr;
    const char* const next = second + second_size + 1;
    if (next >= text_end || !begins_card(*next)) return nullptr;

    const std::string_view system = large_field(text, 1);
    node.system = no_id;
    const bool is_good = load_word(system.data()) == blank_word &&
                         load_word(system.data() + word_size) == blank_word &&
                         read_id(large_field(text, 0), node.id) == deck_value::number &&
                         read_coordinate(large_field(text, 2), node.xyz[0]) &&
                         read_coordinate(large_field(text, 3), node.xyz[1]) &&
                         read_coordinate(large_field(second, 0), node.xyz[2]);
    return is_good ? next : nullptr;
}

} // namespace kv7::tessmaker
