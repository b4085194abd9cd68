#include "formats/deck_large_nodes.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "formats/characters.h"
#include "formats/deck_numbers.h"

namespace kv7::tessmaker {

namespace {

constexpr std::size_t name_width = 8;
constexpr std::size_t width = 16;
constexpr std::size_t first_width = 72; // of the name and four fields
constexpr std::size_t most_characters = 80;

// The size of the line without its LF; more than is asked for if it has none.
std::size_t size_of_line(const char* text, const char* text_end) {
    const auto size = static_cast<std::size_t>(text_end - text);
    const void* const end = size == 0 ? nullptr : std::memchr(text, '\n', size);
    return end ? static_cast<std::size_t>(static_cast<const char*>(end) - text)
               : most_characters + 1;
}

std::string_view field(const char* line, std::size_t i) {
    return {line + name_width + i * width, width};
}

bool read_coordinate(const char* line, std::size_t i, double& x) {
    x = 0.0;
    const deck_value value = read_real(field(line, i), x);
    return value == deck_value::number || value == deck_value::blank;
}

bool is_upper_letter(char c) { return c >= 'A' && c <= 'Z'; }
bool begins_card(char c) { return is_upper_letter(c) || (c >= 'a' && c <= 'z'); }

} // namespace

// A star, then letters and digits, then blanks.
bool deck_large_nodes::is_mark(std::uint64_t word) {
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

const char* deck_large_nodes::read(const char* text, const char* text_end, deck_node& node) {
    constexpr std::uint64_t name = deck_name("GRID*");
    if (load_word(text) != name) return nullptr;
    const std::size_t size = size_of_line(text, text_end);
    if (size <= first_width || size > most_characters) return nullptr;
    const std::uint64_t mark = field_word({text + first_width, size - first_width});
    const char* const second = text + size + 1;
    if (!is_mark(mark) || load_word(second) != mark) return nullptr;
    const std::size_t second_size = size_of_line(second, text_end);
    if (second_size < name_width + width || second_size > first_width) return nullptr;
    const char* const next = second + second_size + 1;
    if (next >= text_end || !begins_card(*next)) return nullptr;

    const std::string_view system = field(text, 1);
    node.system = no_id;
    const bool is_good = load_word(system.data()) == blank_word &&
                         load_word(system.data() + word_size) == blank_word &&
                         read_id(field(text, 0), node.id) == deck_value::number &&
                         read_coordinate(text, 2, node.xyz[0]) &&
                         read_coordinate(text, 3, node.xyz[1]) &&
                         read_coordinate(second, 0, node.xyz[2]);
    return is_good ? next : nullptr;
}

} // namespace kv7::tessmaker
