#include "formats/deck_contents.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/deck_faults.h"
#include "formats/mesh_readers.h"
#include "formats/number_index.h"
#include "formats/repeated_nodes.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form given_again{remark_kind::note, "given again", "given again", "like before"};
constexpr remark_form number_shared{remark_kind::note, "has a number that was given before",
                                    "have numbers that were given before", "on other cards"};

// What elements without a property have: no property has this number.
constexpr unsigned int no_property = 0;

file_place place_of(const card_places::place& at) { return {at.line, at.file}; }

unsigned int find_column(const void* nodes, unsigned int number) {
    return static_cast<const number_index*>(nodes)->find(number);
}

// Makes a mesh of what all cards hold.
class mesh_finisher {
public:
    mesh_finisher(mesh& result, deck_contents& deck, report_builder& report)
        : mesh_(result), deck_(deck), report_(report) {}

    int finish() {
        if (mesh_.pos.cols() >= no_id || mesh_.connect.cols() >= no_id) {
            return report_.fail(file_malformed,
                                "less than 4294967295 nodes and elements are expected");
        }
        const auto nbr_elements = static_cast<unsigned int>(mesh_.connect.cols());
        if (nbr_elements != 0 && !mesh_.indices.push_back(nbr_elements)) return out_of_memory;
        if (!columns_.init(mesh_.node_numbers)) return out_of_memory;
        const deck_system_fault fault =
            deck_.coordinates.to_basic(mesh_.pos, {find_column, &columns_});
        if (fault) {
            return report_.fail(file_malformed, place_of(fault.position), 0, in_words(fault));
        }
        int code = settle_repeated_nodes();
        if (code == 0) code = settle_nodes_of_elements();
        if (code < 0) return code;
        settle_properties();
        columns_ = number_index(); // elements need memory for theirs
        return settle_repeated_elements();
    }

private:
    std::string line_text(const card_places::place& at) const {
        std::string text = "line " + std::to_string(at.line);
        if (!report_.path(at.file).empty()) text += " of " + report_.path(at.file);
        return text;
    }
    int refuse_second(const std::string& what, const card_places& places, std::size_t first,
                      std::size_t second) {
        return report_.fail(file_malformed, place_of(places[second]), 0,
                            what + " was given before with other values, in " +
                                line_text(places[first]));
    }

    // A node that is given again at the same place is left out.
    int settle_repeated_nodes() {
        const id_list& repeated = columns_.repeated();
        if (repeated.empty()) return 0;
        for (const unsigned int c : repeated) {
            const unsigned int number = mesh_.node_numbers[c];
            const unsigned int first = columns_.find(number);
            if (!lie_together(mesh_, first, c)) {
                return refuse_second("node " + std::to_string(number), deck_.nodes, first, c);
            }
            report_.add(given_again, "GRID", place_of(deck_.nodes[c]));
        }
        drop_nodes(mesh_, repeated);
        return columns_.init(mesh_.node_numbers) ? 0 : out_of_memory;
    }

    std::string element_text(std::size_t c) const {
        const element_kind& kind = deck_.kinds[deck_.elements[c].kind];
        return card_name_text(kind.card->name) + ' ' + std::to_string(mesh_.element_numbers[c]);
    }

    // Puts columns in the place of the numbers of nodes.
    int settle_nodes_of_elements() {
        const std::size_t ld = mesh_.connect.ld();
        for (std::size_t k = 0; k < mesh_.types.size(); ++k) {
            const auto type = static_cast<element_type>(mesh_.types[k]);
            const std::size_t n = element_table[type].nbr_nodes;
            const std::size_t end = mesh_.indices[k + 1];
            std::size_t c = mesh_.indices[k];
            unsigned int* nodes = mesh_.connect.column(c);
            if (n == ld && columns_.find_all(nodes, n * (end - c))) continue;
            for (; c < end; ++c, nodes += ld) {
                for (std::size_t i = 0; i < n; ++i) {
                    const unsigned int column = columns_.find(nodes[i]);
                    if (column == no_id) return refuse_node(c, nodes[i]);
                    nodes[i] = column;
                }
            }
        }
        return 0;
    }
    int refuse_node(std::size_t element, unsigned int number) {
        return report_.fail(file_malformed, place_of(deck_.elements[element]), 0,
                            "node " + std::to_string(number) + " of " + element_text(element) +
                                " is not in the deck");
    }

    // Elements without one get that of their card's rule.
    void settle_properties() {
        deck_.elements.for_each_kind([&](std::size_t first, std::size_t end, unsigned int kind) {
            const deck_property rule = deck_.kinds[kind].card->property;
            for (std::size_t c = first; c < end; ++c) {
                unsigned int& property = mesh_.pids[c];
                if (rule == deck_property::none) {
                    property = no_property;
                } else if (property == no_id) {
                    property = deck_.properties.of(rule, mesh_.element_numbers[c]);
                }
            }
        });
    }

    std::size_t run_of(std::size_t element) const {
        const unsigned int* const first = mesh_.indices.begin();
        const unsigned int* const end = first + mesh_.indices.size();
        return static_cast<std::size_t>(std::upper_bound(first, end, element) - first) - 1;
    }
    bool are_alike(std::size_t a, std::size_t b) const {
        const int type = mesh_.types[run_of(a)];
        const std::size_t n = element_table[static_cast<element_type>(type)].nbr_nodes;
        const unsigned int* const nodes = mesh_.connect.column(a);
        return type == mesh_.types[run_of(b)] && mesh_.pids[a] == mesh_.pids[b] &&
               std::equal(nodes, nodes + n, mesh_.connect.column(b));
    }

    // An element that is given again on the same card is left out. Cards of different names may
    // share numbers.
    int settle_repeated_elements() {
        const id_list& numbers = mesh_.element_numbers;
        const bool ascend = std::adjacent_find(numbers.begin(), numbers.end(),
                                               std::greater_equal<>()) == numbers.end();
        if (ascend) return 0; // as in most decks
        number_index elements;
        if (!elements.init_repeated(numbers)) return out_of_memory;
        if (elements.repeated().empty()) return 0;
        if (!elements.init(numbers)) return out_of_memory;
        id_list dropped;
        for (const unsigned int c : elements.repeated()) {
            const unsigned int first = elements.find(numbers[c]);
            const card_places::place at = deck_.elements[c];
            const bool is_of_same_card = deck_.elements[first].kind == at.kind;
            if (!is_of_same_card) {
                report_.add(number_shared, deck_.kinds[at.kind].keyword, place_of(at));
            } else if (are_alike(first, c)) {
                report_.add(given_again, deck_.kinds[at.kind].keyword, place_of(at));
                if (!dropped.push_back(c)) return out_of_memory;
            } else {
                return refuse_second(element_text(c), deck_.elements, first, c);
            }
        }
        if (!dropped.empty()) drop_elements(dropped);
        return 0;
    }
    void drop_elements(const id_list& dropped) {
        std::size_t nbr_runs = 0;
        std::size_t to = 0;
        std::size_t d = 0;
        std::size_t c = 0;
        for (std::size_t k = 0; k < mesh_.types.size(); ++k) {
            const std::size_t end = mesh_.indices[k + 1];
            const int type = mesh_.types[k];
            for (; c < end; ++c) {
                if (d < dropped.size() && dropped[d] == c) {
                    ++d;
                    continue;
                }
                if (nbr_runs == 0 || mesh_.types[nbr_runs - 1] != type) {
                    mesh_.types[nbr_runs] = type;
                    mesh_.indices[nbr_runs++] = static_cast<unsigned int>(to);
                }
                move_element(c, to++);
            }
        }
        mesh_.indices[nbr_runs] = static_cast<unsigned int>(to);
        mesh_.indices.resize(nbr_runs + 1);
        mesh_.types.resize(nbr_runs);
        mesh_.connect.resize(mesh_.connect.rows(), to);
        mesh_.pids.resize(to);
        mesh_.element_numbers.resize(to);
    }
    void move_element(std::size_t from, std::size_t to) {
        std::copy_n(mesh_.connect.column(from), mesh_.connect.rows(), mesh_.connect.column(to));
        mesh_.pids[to] = mesh_.pids[from];
        mesh_.element_numbers[to] = mesh_.element_numbers[from];
    }

    mesh& mesh_;
    deck_contents& deck_;
    report_builder& report_;
    number_index columns_; // of the nodes
};

} // namespace

int finish_deck_mesh(mesh& result, deck_contents& deck, report_builder& report) {
    return mesh_finisher(result, deck, report).finish();
}

} // namespace kv7::tessmaker
