#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/ids.h"
#include "core/type_table.h"
#include "formats/deck_card.h"
#include "formats/deck_elements.h"
#include "formats/deck_reals.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form coordinate_rounded{remark_kind::changed, "rounded", "rounded",
                                         "a field has 16 characters"};
constexpr remark_form property_replaced{remark_kind::lost, "written as 1", "written as 1",
                                        "a property is a number from 1 to 4294967294"};

constexpr unsigned int no_property = 0;
bool is_property(unsigned int pid) { return pid != no_property && pid != no_id; }

// The card of each type. A bar without a property is a CONROD, which has none.
class cards_of_types {
public:
    cards_of_types() : without_property_(*find_element_card(deck_name("CONROD"))) {
        for (const element_type type : all_element_types) {
            cards_[static_cast<std::size_t>(type)] = find_card_of_type(type);
        }
    }
    const deck_element_card& of(element_type type, unsigned int pid) const {
        const bool has_none = pid == no_property && type == without_property_.types[0];
        return has_none ? without_property_ : *cards_[static_cast<std::size_t>(type)];
    }
    bool has_fitting(element_type type, unsigned int pid) const {
        return is_property(pid) || &of(type, pid) == &without_property_;
    }

private:
    const deck_element_card& without_property_;
    std::array<const deck_element_card*, nbr_element_types> cards_{};
};

std::size_t nbr_replaced_properties(const mesh_for_file& what) {
    if (what.m.pids.empty()) return 0;
    const cards_of_types cards;
    std::size_t count = 0;
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int*) {
        count += cards.has_fitting(type, what.m.pids[c]) ? 0U : 1U;
    });
    return count;
}

std::size_t nbr_rounded_coordinates(const mesh_for_file& what) {
    const dense2D<double>& pos = what.m.pos;
    std::size_t count = 0;
    if (what.digits <= deck_real_least_digits) return count;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        const double* const p = pos.column(c);
        for (std::size_t r = 0; r < pos.rows(); ++r) {
            count += is_deck_real_rounded(p[r], what.digits) ? 1U : 0U;
        }
    }
    return count;
}

void tell(const mesh_for_file& what, write_losses& losses) {
    losses.add(property_replaced, "property of an element", nbr_replaced_properties(what));
    losses.add(coordinate_rounded, "coordinate", nbr_rounded_coordinates(what));
}

// Fields, each of which returns its end.

constexpr unsigned int most_in_small_field = 99'999'999;

char* put_small_field(unsigned int number, char* text) {
    store_word(right_aligned(number), text);
    return text + word_size;
}

char* put_large_field(unsigned int number, char* text) {
    store_word(blank_word, text);
    if (number <= most_in_small_field) return put_small_field(number, text + word_size);
    constexpr std::ptrdiff_t width = 2 * word_size;
    char digits[width];
    const char* const end = std::to_chars(digits, digits + width, number).ptr;
    store_word(blank_word, text + word_size);
    std::copy(static_cast<const char*>(digits), end, text + (width - (end - digits)));
    return text + width;
}

char* put_word(std::string_view word, char* text) {
    return std::copy(word.begin(), word.end(), text);
}

char* put_coordinate(double x, int digits, char* text) {
    put_deck_real(x, digits, text);
    return text + deck_real_size;
}

bool put_nodes(const mesh_for_file& what, output_buffer& output) {
    constexpr std::size_t card_size = 2 * 80;
    const dense2D<double>& pos = what.m.pos;
    const bool is_flat = pos.rows() == 2;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!output.make_room(card_size)) return false;
        const double* const p = pos.column(c);
        output.put_by([&](char* text) {
            text = put_large_field(what.node_number(c), put_word("GRID*   ", text));
            text = put_word("                ", text); // in the basic coordinate system
            text = put_coordinate(p[0], what.digits, text);
            text = put_coordinate(p[1], what.digits, text);
            text = put_word("*\n*       ", text);
            text = put_coordinate(is_flat ? 0.0 : p[2], what.digits, text);
            return put_word("\n", text);
        });
    }
    return true;
}

// The numbers of a card: of the element, of its property, of its nodes.
constexpr std::size_t most_numbers = 2 + nastran_max_nodes;
struct card_numbers {
    std::array<unsigned int, most_numbers> values;
    std::size_t size = 0;

    const unsigned int* begin() const { return values.data(); }
    const unsigned int* end() const { return values.data() + size; }
};

// Calls `put` for each number, between which lines end after `nbr_in_line` of them.
template <class Put>
char* put_fields(const card_numbers& numbers, std::size_t nbr_in_line,
                 std::string_view continuation, char* text, const Put& put) {
    std::size_t nbr_left = nbr_in_line;
    for (const unsigned int number : numbers) {
        if (nbr_left == 0) {
            text = put_word(continuation, text);
            nbr_left = nbr_in_line;
        }
        --nbr_left;
        text = put(number, text);
    }
    *text = '\n';
    return text + 1;
}

// Small fields, or large ones if a number is too long for these.
char* put_card(std::uint64_t name, const card_numbers& numbers, char* text) {
    store_word(name, text);
    char* const fields = text + word_size;
    if (*std::max_element(numbers.begin(), numbers.end()) <= most_in_small_field) {
        return put_fields(numbers, 8, "+\n+       ", fields, put_small_field);
    }
    *std::find(text, fields, ' ') = '*'; // no name has eight characters
    return put_fields(numbers, 4, "*\n*       ", fields, put_large_field);
}

card_numbers numbers_of_card(const mesh_for_file& what, const deck_element_card& card,
                             element_type type, std::size_t c, const unsigned int* nodes) {
    card_numbers numbers;
    numbers.values[0] = what.element_number(c);
    // The property has the field before the nodes, if there is one.
    if (card.property != deck_property::none) {
        numbers.values[1] = is_property(what.property(c)) ? what.property(c) : 1;
    }
    const nastran_order& order = deck_order(type);
    const std::size_t n = nbr_nodes(type);
    for (std::size_t k = 0; k < n; ++k) {
        numbers.values[card.first_node + order[k]] = what.node_number(nodes[k]);
    }
    numbers.size = card.first_node + n;
    return numbers;
}

bool put_elements(const mesh_for_file& what, output_buffer& output) {
    constexpr std::size_t card_size = 6 * 80; // lines of four numbers
    const cards_of_types cards;
    bool is_good = true;
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        is_good = is_good && output.make_room(card_size);
        if (!is_good) return;
        const deck_element_card& card = cards.of(type, what.property(c));
        const card_numbers numbers = numbers_of_card(what, card, type, c, nodes);
        output.put_by([&](char* text) { return put_card(card.name, numbers, text); });
    });
    return is_good;
}

bool write(std::FILE* file, const mesh_for_file& what) {
    output_buffer output(file);
    const bool is_good = put_text("BEGIN BULK\n", output) && put_nodes(what, output) &&
                         put_elements(what, output) && put_text("ENDDATA\n", output);
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer nastran_writer{&nastran_holdings, tell, write};

} // namespace kv7::tessmaker
