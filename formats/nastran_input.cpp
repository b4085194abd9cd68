#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "core/ids.h"
#include "formats/element_runs.h"
#include "formats/nastran_tables.h"
#include "formats/text_scanning.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_input = -1;
constexpr int out_of_memory = -199;

// A line of the deck, empty behind the end of the file.
class deck_line {
public:
    deck_line() = default;
    deck_line(const deck_line&) = delete;
    deck_line& operator=(const deck_line&) = delete;

    bool read(std::FILE* file) {
        const bool found = read_text_line(buffer_, file);
        text_ = found ? std::string_view(buffer_) : std::string_view();
        has_comma_ = text_.find(',') != std::string_view::npos;
        return found;
    }

    // The text up to the first null character, with the line ending.
    std::string_view text() const { return text_; }
    bool has_comma() const { return has_comma_; }
    bool has_star() const { return text_.find('*') != std::string_view::npos; }
    // Of the first 80 columns, as if blanks followed the line; shorter where it ends.
    std::string_view columns(std::size_t begin, std::size_t width) const {
        return begin < text_.size() ? text_.substr(begin, width) : std::string_view();
    }

private:
    char buffer_[line_buffer_size];
    std::string_view text_; // of the buffer
    bool has_comma_ = false;
};

bool is_comment(const deck_line& line) { return line.text().starts_with('$'); }
bool begins_bulk(const deck_line& line) {
    return line.text().find("BEGIN BULK") != std::string_view::npos;
}
bool ends_data(const deck_line& line) {
    return line.text().find("ENDDATA") != std::string_view::npos;
}
bool is_node(const deck_line& line) { return line.text().starts_with("GRID"); }
bool is_large_node(const deck_line& line) { return line.text().starts_with("GRID*"); }

// Data field `i`, from 0.
std::string_view field(const deck_line& line, const nastran_layout& layout, std::size_t i) {
    return line.columns(nastran_keyword_width + i * layout.field_width, layout.field_width);
}
// Whether the last field announces a continuation.
bool is_marked(const deck_line& line, const nastran_layout& layout) {
    return line.columns(nastran_mark_column, 1) == std::string_view(&layout.mark, 1);
}

// A real number, with or without a letter before its exponent: `1.5+3` is 1500. Blanks don't count.
double nastran_real(std::string_view text) {
    char stripped[nastran_large_fields.field_width + 1];
    std::size_t size = 0;
    std::size_t sign = 0;
    for (const char c : text) {
        if (is_space(c)) continue;
        if (c == '+' || c == '-') sign = size;
        stripped[size++] = c;
    }
    stripped[size] = '\0';
    if (sign == 0 || to_lower(stripped[sign - 1]) == 'e') return to_real(stripped);
    const int exponent = static_cast<int>(to_integer({stripped + sign, size - sign}));
    stripped[sign] = '\0';
    const double value = to_real(stripped);
    return exponent == 0 ? value : std::pow(10.0, exponent) * value;
}

struct node {
    unsigned int id = 0;
    double xyz[3] = {0.0, 0.0, 0.0};
};

// Fixed fields hold the ID, the coordinate system and the coordinates.
node small_node(const deck_line& line) {
    node result;
    result.id = to_integer(field(line, nastran_small_fields, 0));
    for (std::size_t i = 0; i < 3; ++i) {
        result.xyz[i] = nastran_real(field(line, nastran_small_fields, 2 + i));
    }
    return result;
}

// A node of two lines, of which the second becomes the current one.
node large_node(std::FILE* file, deck_line& line) {
    node result;
    result.id = to_integer(field(line, nastran_large_fields, 0));
    result.xyz[0] = nastran_real(field(line, nastran_large_fields, 2));
    result.xyz[1] = nastran_real(field(line, nastran_large_fields, 3));
    line.read(file);
    result.xyz[2] = nastran_real(field(line, nastran_large_fields, 0));
    return result;
}

// The text behind a comma and the white space on both sides of it, or null.
const char* skip_comma(const char* text) {
    text = skip_spaces(text);
    return *text == ',' ? skip_spaces(text + 1) : nullptr;
}
const char* scan_after_comma(const char* text, const char* end, unsigned int& value) {
    text = skip_comma(text);
    return text ? scan_integer(text, end, value) : nullptr;
}
// Plain decimals: an exponent without a letter ends the number, and the next comma isn't there.
const char* scan_after_comma(const char* text, double& value) {
    text = skip_comma(text);
    return text ? scan_real(text, value) : nullptr;
}

// Three coordinates behind whatever stands before them.
bool scan_xyz(const char* text, node& result) {
    for (double& x : result.xyz) {
        if (text) text = scan_after_comma(text, x);
    }
    return text != nullptr;
}

// The coordinate system may be missing.
bool scan_free_node(const deck_line& line, node& result) {
    const char* const end = line.text().data() + line.text().size();
    const char* const id_end = scan_after_comma(line.text().data() + 4, end, result.id);
    if (!id_end) return false;
    unsigned int ignored = 0;
    const char* const system_end = scan_after_comma(id_end, end, ignored);
    return scan_xyz(system_end ? system_end : skip_comma(id_end), result);
}

int read_node(std::FILE* file, deck_line& line, dense2D<double>& pos) {
    node n;
    if (is_large_node(line)) {
        n = large_node(file, line);
    } else if (!line.has_comma()) {
        n = small_node(line);
    } else if (!scan_free_node(line, n)) {
        return bad_input;
    }
    if (n.id == 0) return bad_input;
    if (!place_by_id(pos, n.id)) return out_of_memory;
    std::copy_n(n.xyz, 3, pos.column(n.id - 1));
    return 0;
}

// A card of any kind: its keyword and its integers, as far as an element can use them.
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
    std::size_t nbr_fields = 0; // 0 says that there is nothing to be had from the card

private:
    std::array<unsigned int, 2 + nastran_max_nodes> values_{};
    std::size_t nbr_values_ = 0;
};

// What a line adds to a card, its integers aside.
struct card_line {
    std::string_view keyword;
    std::size_t nbr_fields;
    bool is_continued;
};

std::string_view up_to(std::string_view text, char c) { return text.substr(0, text.find(c)); }

std::string_view keyword_of(const deck_line& line) {
    return up_to(line.columns(0, nastran_keyword_width), ' ');
}

// The integers of a line up to the first field without one. A real number counts by what stands
// before its point.
std::size_t add_integers(const deck_line& line, const nastran_layout& layout, card& c) {
    for (std::size_t i = 0; i < layout.nbr_fields; ++i) {
        const std::string_view text = field(line, layout, i);
        unsigned int value = 0;
        if (!scan_integer(text.data(), text.data() + text.size(), value)) return i;
        c.add(value);
    }
    return layout.nbr_fields;
}

bool next_line_is_blank(std::FILE* file) {
    const int next = std::fgetc(file);
    std::ungetc(next, file);
    return next == ' ';
}

card_line nastran_card_small(std::FILE* file, const deck_line& line, card& c) {
    const std::size_t n = add_integers(line, nastran_small_fields, c);
    const bool is_continued =
        is_marked(line, nastran_small_fields) || (c.nbr_values() == 8 && next_line_is_blank(file));
    return {keyword_of(line), n, is_continued};
}

card_line nastran_card_large(const deck_line& line, card& c) {
    const std::string_view word = keyword_of(line);
    const std::size_t star = word.find('*');
    const std::size_t n = add_integers(line, nastran_large_fields, c);
    const bool has_starred_name = star != 0 && star != std::string_view::npos;
    return {word.substr(0, star), n, has_starred_name || is_marked(line, nastran_large_fields)};
}

// The tokens between commas, empty ones too. The first that is too long is cut short and is the
// last. Takes off and returns the next one.
std::string_view next_token(std::string_view& line, bool& is_last) {
    const std::string_view whole = up_to(line, ',');
    is_last = whole.size() == line.size() || whole.size() > nastran_token_size;
    line.remove_prefix(is_last ? line.size() : whole.size() + 1);
    return whole.substr(0, nastran_token_size);
}

card_line nastran_card_free(const deck_line& line, card& c) {
    card_line result{{}, 0, false};
    std::string_view rest = line.text();
    for (bool is_last = false; !is_last;) {
        const std::string_view token = next_token(rest, is_last);
        ++result.nbr_fields;
        if (is_last && (token.starts_with('+') || token.starts_with('*'))) {
            result.is_continued = true;
        } else if (result.nbr_fields == 1) {
            result.keyword = token;
        } else {
            c.add(to_integer(token));
        }
    }
    return result;
}

card_line add_line(std::FILE* file, const deck_line& line, card& c) {
    if (line.has_comma()) return nastran_card_free(line, c);
    if (line.has_star()) return nastran_card_large(line, c);
    return nastran_card_small(file, line, c);
}

// Reads a card that begins with the current line, and whatever continues it.
void nastran_read_card(std::FILE* file, deck_line& line, card& c) {
    for (;;) {
        const card_line added = add_line(file, line, c);
        // What is short ends a card; as a first line, it is none.
        if (added.nbr_fields < 3) return;
        if (c.nbr_fields == 0) c.keyword = nastran_packed(added.keyword);
        c.nbr_fields += added.nbr_fields;
        if (!added.is_continued || std::ferror(file) || std::feof(file)) return;
        line.read(file);
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

bool nastran_store_element(const card& c, element_type type, dense2D<unsigned int>& connect) {
    const nastran_order& order = nastran_input_order(type);
    unsigned int nodes[nastran_max_nodes];
    for (std::size_t i = 0; i < c.nbr_nodes(); ++i) nodes[i] = c.nodes()[order[i]] - 1;
    return append_element(nodes, c.nbr_nodes(), connect);
}

// Elements in file order.
class element_reader {
public:
    element_reader(dense2D<unsigned int>& connect, id_list& indices, dense1D<int, 8>& types,
                   id_list& pids)
        : connect_(connect), indices_(indices), types_(types), pids_(pids) {}

    // Stores what is an element.
    int read(std::FILE* file, deck_line& line) {
        card c;
        nastran_read_card(file, line, c);
        if (c.nbr_fields == 0) return 0;
        const element_type type = refined(type_of(c.keyword), c.nbr_nodes());
        if (type == ET_UNKNOWN || c.nbr_nodes() != nbr_nodes(type)) return 0;
        if (!nastran_store_element(c, type, connect_)) return out_of_memory;
        pids_.push_back(c.pid());
        note_type(type, static_cast<unsigned int>(connect_.cols() - 1), last_, indices_, types_);
        return 0;
    }

private:
    dense2D<unsigned int>& connect_;
    id_list& indices_;
    dense1D<int, 8>& types_;
    id_list& pids_;
    element_type last_ = ET_UNKNOWN;
};

// Reads into empty arrays.
int nastran_read_deck(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                      id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    if (!is_usable(file)) return bad_input;
    pos.reserve(3, 256, 1);
    connect.reserve(8, 256, 1);
    indices.push_back(0);

    element_reader elements(connect, indices, types, pids);
    deck_line line;
    int result = 0;
    while (result == 0 && line.read(file)) {
        if (is_comment(line) || begins_bulk(line)) continue;
        if (ends_data(line)) break;
        result = is_node(line) ? read_node(file, line, pos) : elements.read(file, line);
    }
    indices.push_back(static_cast<unsigned int>(connect.cols()));
    return result;
}

bool is_face(element_type type) { return type == ET_TRIA3 || type == ET_QUAD4; }
bool is_solid(element_type type) {
    return type == ET_TETRA4 || type == ET_PYRA5 || type == ET_PENTA6 || type == ET_HEXA8;
}

// The type of all runs together.
element_type mixed_type_of(const dense1D<int, 8>& types) {
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

// Gives out run `k`, if there is one.
void take_run(dense2D<unsigned int>& all, const element_runs& runs, std::size_t k,
              dense2D<unsigned int>& connect, element_type& type) {
    if (runs.indices.size() < k + 2 || runs.types.size() < k + 1) return;
    type = static_cast<element_type>(runs.types[k]);
    connect = view_of_run(all, runs.indices, k, nbr_nodes(type));
}

} // namespace

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                  id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    clear_all(pos, connect, indices, types, pids);
    return nastran_read_deck(file, pos, connect, indices, types, pids);
}

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                  element_type& type) {
    pos.clear();
    connect.clear();
    element_runs runs;
    const int result = nastran_read_deck(file, pos, connect, runs.indices, runs.types, runs.pids);
    if (result == 0 && !runs.types.empty()) type = mixed_type_of(runs.types);
    return result;
}

int NASTRAN_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect1,
                  dense2D<unsigned int>& connect2, element_type& type1, element_type& type2) {
    pos.clear();
    dense2D<unsigned int> connect;
    element_runs runs;
    const int result = nastran_read_deck(file, pos, connect, runs.indices, runs.types, runs.pids);
    if (result != 0) return result;
    take_run(connect, runs, 0, connect1, type1);
    take_run(connect, runs, 1, connect2, type2);
    return result;
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect,
                  id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    return NASTRAN_input(open_for_good(filename, "rt"), pos, connect, indices, types, pids);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect,
                  element_type& type) {
    type = ET_UNKNOWN;
    return NASTRAN_input(open_for_good(filename, "rt"), pos, connect, type);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect1,
                  dense2D<unsigned int>& connect2, element_type& type1, element_type& type2) {
    connect1.clear();
    connect2.clear();
    type1 = ET_UNKNOWN;
    type2 = ET_UNKNOWN;
    return NASTRAN_input(open_for_good(filename, "rt"), pos, connect1, connect2, type1, type2);
}

} // namespace kv7::tessmaker
