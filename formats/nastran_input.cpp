#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/ids.h"
#include "core/outputs.h"
#include "formats/element_runs.h"
#include "formats/growing_arrays.h"
#include "formats/nastran_fields.h"
#include "formats/nastran_lines.h"
#include "formats/nastran_tables.h"
#include "formats/numbers.h"
#include "formats/streams.h"
#include "formats/text_lines.h"
#include "formats/words.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_input = -1;
constexpr int out_of_memory = -199;

struct node {
    unsigned int id = 0;
    double xyz[3] = {0.0, 0.0, 0.0};
};

// Fixed fields hold the ID, the coordinate system and the coordinates.
node small_node(const deck_reader& deck) {
    node result;
    result.id = field_integer(field(deck, nastran_small_fields, 0));
    for (std::size_t i = 0; i < 3; ++i) {
        result.xyz[i] = field_real(field(deck, nastran_small_fields, 2 + i));
    }
    return result;
}

// z stands on the next line, which becomes the current one.
node large_node(deck_reader& deck) {
    node result;
    result.id = field_integer(field(deck, nastran_large_fields, 0));
    result.xyz[0] = field_real(field(deck, nastran_large_fields, 2));
    result.xyz[1] = field_real(field(deck, nastran_large_fields, 3));
    deck.next();
    result.xyz[2] = field_real(field(deck, nastran_large_fields, 0));
    return result;
}

// Skips a comma with the white space on both sides; null if there is no comma.
const char* skip_comma(const char* text) {
    text = skip_spaces(text);
    return *text == ',' ? skip_spaces(text + 1) : nullptr;
}
const char* scan_after_comma(const char* text, const char* end, unsigned int& value) {
    text = skip_comma(text);
    return text ? scan_integer(text, end, value) : nullptr;
}
// Plain decimals only: in `1.5+3` the number ends at the `+`, where the next comma is then missed.
const char* scan_after_comma(const char* text, double& value) {
    text = skip_comma(text);
    return text ? scan_real(text, value) : nullptr;
}

// The three coordinates, after a field that has been read or skipped; `text` may be null.
bool scan_xyz(const char* text, node& result) {
    for (double& x : result.xyz) {
        if (text) text = scan_after_comma(text, x);
    }
    return text != nullptr;
}

// The field of the coordinate system may be empty.
bool scan_free_node(std::string_view line, node& result) {
    constexpr std::size_t keyword_size = 4; // GRID
    const char* const end = line.data() + line.size();
    const char* const id_end = scan_after_comma(line.data() + keyword_size, end, result.id);
    if (!id_end) return false;
    unsigned int ignored = 0;
    const char* const system_end = scan_after_comma(id_end, end, ignored);
    return scan_xyz(system_end ? system_end : skip_comma(id_end), result);
}

int read_node(deck_reader& deck, dense2D<double>& pos) {
    node n;
    if (is_large_node(deck)) {
        n = large_node(deck);
    } else if (!deck.has_comma()) {
        n = small_node(deck);
    } else if (!scan_free_node(deck.text(), n)) {
        return bad_input;
    }
    if (n.id == 0) return bad_input;
    if (!place_by_id(pos, n.id)) return out_of_memory;
    std::copy_n(n.xyz, 3, pos.column(n.id - 1));
    return 0;
}

// A card of any kind: its keyword, and its integers up to the number that an element can have.
class card {
public:
    void add(unsigned int value) {
        if (nbr_values_ < values_.size()) values_[nbr_values_] = value;
        ++nbr_values_;
    }
    std::size_t nbr_values() const { return nbr_values_; }

    // The first two integers are the element's ID and its property.
    unsigned int pid() const { return values_[1]; }
    std::size_t nbr_nodes() const { return nbr_values_ < 2 ? nbr_values_ : nbr_values_ - 2; }
    const unsigned int* nodes() const { return values_.data() + 2; }

    std::uint64_t keyword = 0;
    std::size_t nbr_fields = 0; // 0 if there is no card

private:
    std::array<unsigned int, 2 + nastran_max_nodes> values_{};
    std::size_t nbr_values_ = 0;
};

// What is known of one line of a card besides its integers.
struct card_line {
    std::string_view keyword;
    std::size_t nbr_fields;
    bool is_continued;
};

std::string_view up_to(std::string_view text, char c) { return text.substr(0, text.find(c)); }

std::string_view keyword_of(const deck_reader& deck) {
    return up_to(deck.columns(0, nastran_keyword_width), ' ');
}

// Adds the integers of a line up to the first field that doesn't start with one, and returns their
// number. Of a real number, the part before its point is taken.
std::size_t add_integers(const deck_reader& deck, const nastran_layout& layout, card& c) {
    for (std::size_t i = 0; i < layout.nbr_fields; ++i) {
        const std::string_view text = field(deck, layout, i);
        unsigned int value = 0;
        if (!scan_field(text, value)) return i;
        c.add(value);
    }
    return layout.nbr_fields;
}

card_line add_small_fields(deck_reader& deck, card& c) {
    const std::size_t n = add_integers(deck, nastran_small_fields, c);
    // A full first line goes on without a mark if the next line has a blank keyword.
    const bool is_continued =
        is_marked(deck, nastran_small_fields) || (c.nbr_values() == 8 && deck.next_begins_blank());
    return {keyword_of(deck), n, is_continued};
}

card_line add_large_fields(const deck_reader& deck, card& c) {
    const std::string_view word = keyword_of(deck);
    const std::size_t star = word.find('*');
    const std::size_t n = add_integers(deck, nastran_large_fields, c);
    // Kept: a star behind a keyword (`CHEXA*`) always announces a continuation.
    const bool has_starred_name = star != 0 && star != std::string_view::npos;
    return {word.substr(0, star), n, has_starred_name || is_marked(deck, nastran_large_fields)};
}

// Takes the next token off the line and returns it. Tokens stand between commas, and may be empty.
// A token that is too long is cut short, and the rest of the line is dropped.
std::string_view next_token(std::string_view& line, bool& is_last) {
    const std::string_view whole = up_to(line, ',');
    is_last = whole.size() == line.size() || whole.size() > nastran_token_size;
    line.remove_prefix(is_last ? line.size() : whole.size() + 1);
    return whole.substr(0, nastran_token_size);
}

// Takes tokens off the line as long as each is a number of up to 8 digits and nothing else. Returns
// how many they are.
std::size_t take_numbers(std::string_view& line, bool& is_last, card& c) {
    const char* text = line.data();
    std::size_t n = 0;
    for (; !is_last; ++n) {
        const std::uint64_t word = load_word(text);
        const std::size_t nbr_digits = nbr_leading_digits(word);
        const char behind = text[nbr_digits];
        if (nbr_digits == 0 || (behind != ',' && behind != '\n')) break;
        c.add(value_of_digits(word, nbr_digits));
        is_last = behind == '\n';
        text += nbr_digits + 1;
    }
    line.remove_prefix(static_cast<std::size_t>(text - line.data()));
    return n;
}

// The keyword is the first token, untrimmed.
card_line add_free_fields(const deck_reader& deck, card& c) {
    const std::string_view keyword = deck.first_token();
    card_line result{keyword.substr(0, nastran_token_size), 1, false};
    bool is_last = keyword.size() > nastran_token_size;
    std::string_view rest = deck.text().substr(keyword.size() + 1);
    while (!is_last) {
        result.nbr_fields += take_numbers(rest, is_last, c);
        if (is_last) break;
        const std::string_view token = next_token(rest, is_last);
        ++result.nbr_fields;
        if (is_last && (token.starts_with('+') || token.starts_with('*'))) {
            result.is_continued = true;
        } else {
            c.add(to_integer(token));
        }
    }
    return result;
}

card_line add_line(deck_reader& deck, card& c) {
    if (deck.has_comma()) return add_free_fields(deck, c);
    if (deck.has_star()) return add_large_fields(deck, c);
    return add_small_fields(deck, c);
}

// Reads the card that begins with the current line, with its continuations.
void read_card(deck_reader& deck, card& c) {
    for (;;) {
        const card_line added = add_line(deck, c);
        // A line of fewer than three fields ends the card; if it is the first, there is no card.
        if (added.nbr_fields < 3) return;
        if (c.nbr_fields == 0) c.keyword = packed_keyword(added.keyword);
        c.nbr_fields += added.nbr_fields;
        if (!added.is_continued || deck.has_met_end()) return;
        deck.next();
    }
}

element_type type_of(std::uint64_t keyword) {
    for (const nastran_keyword& known : nastran_keywords) {
        if (known.name == keyword) return known.type;
    }
    return ET_UNKNOWN;
}

element_type refined(element_type type, std::size_t nbr_nodes) {
    if (type == ET_TETRA4 && nbr_nodes == 10) return ET_TETRA10;
    if (type == ET_PYRA5 && nbr_nodes == 13) return ET_PYRA13;
    if (type == ET_PENTA6 && nbr_nodes == 15) return ET_PENTA15;
    if (type == ET_HEXA8 && nbr_nodes == 20) return ET_HEXA20;
    return type;
}

// Lines of free fields that repeat the keyword of an element and hold as many numbers: elements of
// the same type.
class like_line {
public:
    // Like the line of the card, which is an element. False if lines like it can't be told.
    bool set(const deck_reader& deck, const card& c) {
        if (!deck.has_comma()) return false;
        const std::string_view keyword = deck.first_token();
        if (keyword.size() >= word_size || packed_keyword(keyword) != c.keyword) return false;
        // The comma is part of the word.
        head_size_ = keyword.size() + 1;
        mask_ = ~std::uint64_t{0} >> 8 * (word_size - head_size_);
        head_ = load_word(keyword.data()) & mask_;
        nbr_values_ = c.nbr_values();
        return true;
    }

    // Reads a line in a text behind whose end there are nulls. Returns its end, or null if it is
    // not like the other. Lines of this form are never too long to be read in one piece.
    const char* read(const char* text, unsigned int* values) const {
        static_assert(word_size + (2 + nastran_max_nodes) * (word_size + 1) <
                      text_lines::max_length);
        if ((load_word(text) & mask_) != head_) return nullptr;
        text += head_size_;
        for (std::size_t i = 0; i < nbr_values_; ++i) {
            const std::uint64_t word = load_word(text);
            const std::size_t nbr_digits = nbr_leading_digits(word);
            if (nbr_digits == 0) return nullptr;
            values[i] = value_of_digits(word, nbr_digits);
            text += nbr_digits;
            if (*text != (i + 1 == nbr_values_ ? '\n' : ',')) return nullptr;
            ++text;
        }
        return text;
    }

private:
    std::uint64_t mask_ = 0;
    std::uint64_t head_ = 0;
    std::size_t head_size_ = 0;
    std::size_t nbr_values_ = 0;
};

// Appends elements in file order.
class element_reader {
public:
    explicit element_reader(const mesh_to_read& mesh) : mesh_(mesh), elements_(mesh.connect) {}

    // Reads a card and stores it if it is a complete element of a known type, with those behind it
    // that are like it.
    int read(deck_reader& deck) {
        card c;
        read_card(deck, c);
        if (c.nbr_fields == 0) return 0;
        const element_type type = refined(type_of(c.keyword), c.nbr_nodes());
        if (type == ET_UNKNOWN || c.nbr_nodes() != nbr_nodes(type)) return 0;
        const nastran_order& order = nastran_input_order(type);
        if (!store(c.nodes(), c.nbr_nodes(), c.pid(), order)) return out_of_memory;
        add_to_runs(type, static_cast<unsigned int>(elements_.size() - 1), last_, mesh_);
        like_line line;
        return line.set(deck, c) ? read_like(line, c.nbr_nodes(), order, deck) : 0;
    }

private:
    bool store(const unsigned int* nodes, std::size_t n, unsigned int pid,
               const nastran_order& order) {
        unsigned int* const column = elements_.append(n);
        if (!column) return false;
        for (std::size_t i = 0; i < n; ++i) column[i] = nodes[order[i]] - 1;
        mesh_.pids.push_back(pid);
        return true;
    }

    int read_like(const like_line& line, std::size_t n, const nastran_order& order,
                  deck_reader& deck) {
        const std::string_view ahead = deck.text_ahead();
        if (ahead.empty()) return 0;
        const char* const text_end = ahead.data() + ahead.size();
        const char* text = ahead.data();
        unsigned int values[2 + nastran_max_nodes];
        bool is_stored = true;
        while (is_stored && text != text_end) {
            const char* const end = line.read(text, values);
            if (!end) break;
            text = end;
            is_stored = store(values + 2, n, values[1], order);
        }
        deck.pass_over(static_cast<std::size_t>(text - ahead.data()));
        return is_stored ? 0 : out_of_memory;
    }

    mesh_to_read mesh_;
    element_columns elements_;
    element_type last_ = ET_UNKNOWN;
};

int read_cards(std::FILE* file, const mesh_to_read& mesh) {
    element_reader elements(mesh);
    deck_reader deck(file);
    int result = 0;
    while (result == 0 && deck.next()) {
        if (is_comment(deck)) continue;
        if (may_hold_mark(deck)) {
            if (begins_bulk(deck)) continue;
            if (ends_data(deck)) break;
        }
        result = is_node(deck) ? read_node(deck, mesh.pos) : elements.read(deck);
    }
    return result;
}

// Reads into empty arrays.
int read_deck(std::FILE* file, const mesh_to_read& mesh) {
    if (!is_usable(file)) return bad_input;
    mesh.pos.reserve(3, 256, 1);
    mesh.connect.reserve(8, 256, 1);
    mesh.indices.push_back(0);
    const int result = read_cards(file, mesh);
    mesh.indices.push_back(static_cast<unsigned int>(mesh.connect.cols()));
    return result;
}

bool is_face(element_type type) { return type == ET_TRIA3 || type == ET_QUAD4; }
bool is_solid(element_type type) {
    return type == ET_TETRA4 || type == ET_PYRA5 || type == ET_PENTA6 || type == ET_HEXA8;
}

// The plain or mixed type that holds all runs; ET_UNKNOWN if there is none.
element_type mixed_type_of(const type_list& types) {
    auto result = static_cast<element_type>(types[0]);
    for (const int t : types) {
        const auto type = static_cast<element_type>(t);
        if (type == result) continue;
        if ((result == ET_FACE_MIX || is_face(result)) && is_face(type)) {
            result = ET_FACE_MIX;
        } else if ((result == ET_SOLID_MIX || is_solid(result)) && is_solid(type)) {
            result = ET_SOLID_MIX;
        } else {
            return ET_UNKNOWN;
        }
    }
    return result;
}

// Makes `connect` a view of run `k`, if there is one.
void take_run(id_matrix& all, const element_runs& runs, std::size_t k, id_matrix& connect,
              element_type& type) {
    if (runs.indices.size() < k + 2 || runs.types.size() < k + 1) return;
    type = static_cast<element_type>(runs.types[k]);
    connect = view_of_run(all, runs.indices, k, nbr_nodes(type));
}

} // namespace

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect, id_list& indices,
                  type_list& types, id_list& pids) {
    const mesh_to_read mesh{pos, connect, indices, types, pids};
    clear_all(mesh);
    return read_deck(file, mesh);
}

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect, element_type& type) {
    clear_outputs(outputs{pos, connect}, inputs{});
    element_runs runs;
    const int result = read_deck(file, {pos, connect, runs.indices, runs.types, runs.pids});
    if (result == 0 && !runs.types.empty()) type = mixed_type_of(runs.types);
    return result;
}

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect1, id_matrix& connect2,
                  element_type& type1, element_type& type2) {
    clear_outputs(outputs{pos}, inputs{});
    id_matrix connect;
    element_runs runs;
    const int result = read_deck(file, {pos, connect, runs.indices, runs.types, runs.pids});
    if (result != 0) return result;
    take_run(connect, runs, 0, connect1, type1);
    take_run(connect, runs, 1, connect2, type2);
    return result;
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, id_matrix& connect, id_list& indices,
                  type_list& types, id_list& pids) {
    return NASTRAN_input(open_without_closing(filename, "rt"), pos, connect, indices, types, pids);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, id_matrix& connect,
                  element_type& type) {
    type = ET_UNKNOWN;
    return NASTRAN_input(open_without_closing(filename, "rt"), pos, connect, type);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, id_matrix& connect1,
                  id_matrix& connect2, element_type& type1, element_type& type2) {
    clear_outputs(outputs{connect1, connect2}, inputs{});
    type1 = ET_UNKNOWN;
    type2 = ET_UNKNOWN;
    return NASTRAN_input(open_without_closing(filename, "rt"), pos, connect1, connect2, type1,
                         type2);
}

} // namespace kv7::tessmaker
