#include <stdio.h> // the functions that POSIX adds to <cstdio>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/deck_contents.h"
#include "formats/deck_coordinates.h"
#include "formats/deck_elements.h"
#include "formats/deck_faults.h"
#include "formats/deck_lexer.h"
#include "formats/deck_like_lines.h"
#include "formats/deck_like_nodes.h"
#include "formats/element_forecast.h"
#include "formats/growing_arrays.h"
#include "formats/mesh_readers.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form not_read{remark_kind::lost, "not read", "not read", "no mesh element"};
constexpr remark_form continues_none{remark_kind::lost, "not read", "not read",
                                     "it continues no card"};
constexpr remark_form line_cut{remark_kind::lost, "cut", "cut",
                               "a line of more than 1024 characters"};
constexpr remark_form behind_path{remark_kind::lost, "with text behind the quotes",
                                  "with text behind the quotes", "it is not read"};
constexpr remark_form made_linear{remark_kind::changed, "made linear", "made linear",
                                  "blank mid-side nodes"};

enum class card_use { other, node, defaults, system, property_default, element, stray, limit };

struct card_kind {
    std::uint64_t name = word_of('a'); // of no card: names are in upper case
    card_use use = card_use::other;
    unsigned int keyword = 0;
    unsigned int element = 0; // its place among the kinds of elements
};

card_use use_of(std::uint64_t name) {
    if (name == deck_name("GRID")) return card_use::node;
    if (find_element_card(name)) return card_use::element;
    if (deck_coordinates::is_system(name)) return card_use::system;
    if (name == deck_name("GRDSET")) return card_use::defaults;
    if (deck_property_defaults::is_default(name)) return card_use::property_default;
    if (name == deck_name("")) return card_use::stray;
    // Where the stream can't be searched for it, this line comes as a card.
    return name == deck_name("BEGIN BULK") ? card_use::limit : card_use::other;
}

// Tells what to do with cards by their names.
class card_kinds {
public:
    card_kinds(std::vector<element_kind>& elements, report_builder& report)
        : elements_(elements), report_(report) {}

    const card_kind& find(std::uint64_t name) {
        card_kind& kind = recent_[name * 0x9E3779B97F4A7C15U >> (64 - nbr_bits)];
        if (kind.name != name) kind = find_anew(name);
        return kind;
    }

private:
    static constexpr unsigned int nbr_bits = 5;

    card_kind find_anew(std::uint64_t name) {
        card_kind kind;
        kind.name = name;
        kind.use = use_of(name);
        if (kind.use == card_use::limit) return kind;
        kind.keyword =
            report_.keyword(kind.use == card_use::stray ? "continuation" : card_name_text(name));
        if (kind.use == card_use::element) kind.element = element_of(name, kind.keyword);
        return kind;
    }
    unsigned int element_of(std::uint64_t name, unsigned int keyword) {
        const deck_element_card* const card = find_element_card(name);
        std::size_t k = 0;
        while (k < elements_.size() && elements_[k].card != card) ++k;
        if (k == elements_.size()) elements_.push_back({card, keyword});
        return static_cast<unsigned int>(k);
    }

    std::vector<element_kind>& elements_;
    report_builder& report_;
    std::array<card_kind, std::size_t{1} << nbr_bits> recent_;
};

// Whether a name says that its elements have mid-side nodes.
bool names_mid_nodes(std::uint64_t name) {
    return name == deck_name("CTRIA6") || name == deck_name("CQUAD8") ||
           name == deck_name("TRIA6") || name == deck_name("QUAD8");
}

// How a card with a number in its first field is probably written. Digits are known of free fields
// alone.
deck_like_nodes::layout layout_of(const deck_card& card) {
    if (card.digits(0) != 0) return deck_like_nodes::free;
    const bool is_large = card[0].size() == 2 * word_size;
    return is_large ? deck_like_nodes::large : deck_like_nodes::small;
}

// Where the reading stands behind the card at hand.
deck_progress progress_of(const deck_lexer& lexer) {
    struct stat status {};
    std::FILE* const file = lexer.stream_ahead();
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    const off_t at = ftello(file);
    if (at < 0 || status.st_size < at) return {};
    const auto read = static_cast<std::uint64_t>(at);
    const std::uint64_t ahead = std::min<std::uint64_t>(read, lexer.nbr_bytes_ahead());
    return {lexer.file_ahead(), read - ahead, static_cast<std::uint64_t>(status.st_size)};
}

// Fills the arrays of a mesh while the cards come.
class card_reader {
public:
    card_reader(deck_lexer& lexer, mesh& result, deck_contents& deck, report_builder& report)
        : lexer_(lexer), mesh_(result), deck_(deck), report_(report), kinds_(deck.kinds, report),
          pos_(result.pos), connect_(result.connect) {}

    int read() {
        if (!mesh_.indices.push_back(0)) return out_of_memory;
        while (lexer_.next()) {
            const deck_card& card = lexer_.card();
            if (card.position().file >= nbr_files_) add_files(card.position().file);
            const int code = take(card, kinds_.find(card.name()));
            if (code < 0) return code;
        }
        const deck_fault& fault = lexer_.fault();
        if (fault.kind == deck_failure::none) return 0;
        add_files(fault.position.file);
        const bool is_of_system = fault.kind == deck_failure::not_read ||
                                  fault.kind == deck_failure::file_not_found ||
                                  fault.kind == deck_failure::not_a_file;
        return report_.fail(is_of_system ? file_failed : file_malformed, place_of(fault.position),
                            0, in_words(fault));
    }
    void tell_texts_behind_paths() {
        for (const deck_position& at : lexer_.texts_behind_paths()) {
            add_files(at.file);
            report_.add(behind_path, "INCLUDE", place_of(at));
        }
    }
    bool has_met_cards() const { return has_met_cards_; }

private:
    // Tells the report of files up to one.
    void add_files(unsigned int last) {
        for (; nbr_files_ <= last; ++nbr_files_) {
            report_.add_file(lexer_.path(nbr_files_), place_of(lexer_.included_at(nbr_files_)));
        }
    }

    int take(const deck_card& card, const card_kind& kind) {
        if (kind.use == card_use::limit) return 0;
        has_met_cards_ = true;
        report_.count_seen(kind.keyword);
        if (card.is_cut()) report_.add(line_cut, kind.keyword, place_of(card.position()));
        int code = 0;
        switch (kind.use) {
        case card_use::node: code = take_node(card, kind); break;
        case card_use::element: code = take_element(card, kind); break;
        case card_use::defaults: code = checked(card, deck_.coordinates.read_defaults(card)); break;
        case card_use::system: code = checked(card, deck_.coordinates.read_system(card)); break;
        case card_use::property_default: code = checked(card, deck_.properties.read(card)); break;
        case card_use::stray:
            report_.add(continues_none, kind.keyword, place_of(card.position()));
            return 0;
        default: report_.add(not_read, kind.keyword, place_of(card.position())); return 0;
        }
        if (code == 0) report_.count_read(kind.keyword);
        return code;
    }

    int refuse(const deck_card& card, const deck_position& at, std::string_view text) {
        const std::string sentence = card_name_text(card.name()) + ": ";
        return report_.fail(file_malformed, place_of(at), at.column, sentence + std::string(text));
    }
    int checked(const deck_card& card, const deck_system_fault& fault) {
        return fault ? refuse(card, fault.position, in_words(fault)) : 0;
    }
    int checked(const deck_card& card, const deck_element_fault& fault) {
        return fault ? refuse(card, card.position(fault.field), in_words(fault)) : 0;
    }

    int take_node(const deck_card& card, const card_kind& kind) {
        deck_node node;
        const deck_system_fault fault = deck_coordinates::read_node(card, node);
        if (fault) return checked(card, fault);
        if (!keep_node(node, card.position())) return out_of_memory;
        return take_like_nodes(kind, like_nodes_[layout_of(card)]);
    }
    bool keep_node(const deck_node& node, const deck_position& at) {
        deck_.coordinates.add_node(node.system, at);
        deck_.nodes.add(at, 0);
        return pos_.append(node.xyz, 3) && mesh_.node_numbers.push_back(node.id);
    }
    int take_like_nodes(const card_kind& kind, deck_like_nodes& nodes) {
        const std::string_view ahead = lexer_.lines_ahead();
        if (ahead.empty() || !lexer_.are_plain_ahead()) return 0;
        const char* const end = ahead.data() + ahead.size();
        const char* text = ahead.data();
        deck_position at{lexer_.file_ahead(), lexer_.line_ahead(), 1};
        std::size_t nbr_read = 0;
        deck_node node;
        while (const char* const next = nodes.read(text, end, node)) {
            if (!keep_node(node, at)) return out_of_memory;
            at.line += nodes.nbr_lines();
            ++nbr_read;
            text = next;
        }
        pass_over(kind, static_cast<std::size_t>(text - ahead.data()), nbr_read, nodes.nbr_lines());
        return 0;
    }
    // Leaves out cards that were read past the lexer, of `nbr_lines` each.
    void pass_over(const card_kind& kind, std::size_t nbr_bytes, std::size_t nbr_cards,
                   std::size_t nbr_lines) {
        if (nbr_cards == 0) return;
        lexer_.pass_over(nbr_bytes, nbr_cards * nbr_lines);
        report_.count_seen(kind.keyword, nbr_cards);
        report_.count_read(kind.keyword, nbr_cards);
    }

    int take_element(const deck_card& card, const card_kind& kind) {
        const deck_element_card& element_card = *deck_.kinds[kind.element].card;
        const deck_element_fault fault = read_element(card, element_card, element_);
        if (fault) return checked(card, fault);
        const bool is_linear = element_.type == element_card.types[0];
        if (element_.has_blank_mid_nodes || (is_linear && names_mid_nodes(kind.name))) {
            report_.add(made_linear, kind.keyword, place_of(card.position()));
        }
        deck_.elements.add(card.position(), kind.element);
        const std::size_t n = element_table[element_.type].nbr_nodes;
        unsigned int* const column = connect_.append(n);
        if (!column) return out_of_memory;
        std::copy_n(element_.nodes.data(), n, column);
        const bool is_kept = mesh_.pids.push_back(element_.property) &&
                             mesh_.element_numbers.push_back(element_.id) &&
                             (element_.type == last_type_ || begin_run());
        if (!is_kept) return out_of_memory;
        if (connect_.size() == 1) fit_nodes();
        if (forecast_.is_due(connect_.size())) foresee_elements();
        const bool may_be_repeated =
            element_card.first_node == 2 && !(is_linear && names_mid_nodes(kind.name));
        if (!may_be_repeated) return 0;
        switch (layout_of(card)) {
        case deck_like_nodes::free:
            return take_like_elements(kind, n, deck_like_lines(kind.name, 2 + n));
        case deck_like_nodes::small:
            if (2 + n > deck_like_small_lines::most_fields) return 0;
            return take_like_elements(kind, n, deck_like_small_lines(kind.name, 2 + n));
        default: return 0;
        }
    }
    // Elements on lines like that of the last one, whose nodes are `n`.
    template <class Lines>
    int take_like_elements(const card_kind& kind, std::size_t n, const Lines& lines) {
        const std::string_view ahead = lexer_.lines_ahead();
        if (ahead.empty()) return 0;
        const nastran_order& order = deck_order(element_.type);
        const char* const end = ahead.data() + ahead.size();
        const char* text = ahead.data();
        std::size_t nbr_read = 0;
        std::array<std::uint32_t, 2 + nastran_max_nodes> values;
        while (const char* const next = lines.read(text, end, values.data())) {
            unsigned int* const column = connect_.append(n);
            const bool is_kept = column && mesh_.pids.push_back(values[1]) &&
                                 mesh_.element_numbers.push_back(values[0]);
            if (!is_kept) return out_of_memory;
            for (std::size_t i = 0; i < n; ++i) column[i] = values[2 + order[i]];
            ++nbr_read;
            text = next;
        }
        if (nbr_read == 0) return 0;
        const deck_position first{lexer_.file_ahead(), lexer_.line_ahead(), 1};
        deck_.elements.add_lines(first, nbr_read, kind.element);
        pass_over(kind, static_cast<std::size_t>(text - ahead.data()), nbr_read, 1);
        return 0;
    }
    // Gives back the room for further nodes: few decks have more of them behind the first element.
    void fit_nodes() {
        pos_.give_up_room();
        id_list fitting;
        if (fitting.copy(mesh_.node_numbers)) mesh_.node_numbers = fitting;
    }
    // Failure does no harm.
    void foresee_elements() {
        const std::size_t n =
            forecast_.look(progress_of(lexer_), connect_.size(), element_.id, connect_.nbr_held());
        connect_.reserve(n);
        mesh_.pids.reserve(n, 1);
        mesh_.element_numbers.reserve(n, 1);
    }
    bool begin_run() {
        last_type_ = element_.type;
        const std::size_t first = connect_.size() - 1;
        return mesh_.types.push_back(last_type_) &&
               (first == 0 || mesh_.indices.push_back(static_cast<unsigned int>(first)));
    }

    deck_lexer& lexer_;
    mesh& mesh_;
    deck_contents& deck_;
    report_builder& report_;
    card_kinds kinds_;
    unsigned int nbr_files_ = 1; // that the report knows
    bool has_met_cards_ = false;
    appended_columns<double> pos_;
    element_columns connect_;
    deck_element element_;
    deck_like_nodes like_nodes_[3]{deck_like_nodes(deck_like_nodes::free),
                                   deck_like_nodes(deck_like_nodes::small),
                                   deck_like_nodes(deck_like_nodes::large)};
    element_type last_type_ = ET_UNKNOWN;
    element_forecast forecast_;
};

int read_cards(std::FILE* file, mesh& result, deck_contents& deck, report_builder& report,
               deck_opener open) {
    deck_lexer lexer(file, report.path(0), open);
    card_reader reader(lexer, result, deck, report);
    const int code = reader.read();
    reader.tell_texts_behind_paths();
    if (code < 0) return code;
    const bool is_empty = deck.nodes.size() == 0 && deck.elements.size() == 0;
    if (is_empty && reader.has_met_cards()) {
        return report.fail(file_malformed, "a card GRID is expected, and there is none");
    }
    return 0;
}

} // namespace

int read_nastran_mesh(std::FILE* file, mesh& result, report_builder& report, deck_opener open) {
    deck_contents deck;
    const int code = read_cards(file, result, deck, report, open);
    return code < 0 ? code : finish_deck_mesh(result, deck, report);
}

int read_nastran_mesh(std::FILE* file, mesh& result, report_builder& report) {
    return read_nastran_mesh(file, result, report, open_deck_file);
}

} // namespace kv7::tessmaker
