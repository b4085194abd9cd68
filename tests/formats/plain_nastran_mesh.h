// Reading a mesh from the cards of a deck as plainly as possible, for tests to compare with.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_NASTRAN_MESH_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_NASTRAN_MESH_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "formats/plain_deck.h"
#include "tessmaker/element_type.h"

namespace test {

struct plain_deck_element {
    kv7::element_type type;
    std::vector<unsigned int> nodes;
    unsigned int property;
    unsigned int number;
    std::string card;
    std::size_t line;
    bool operator==(const plain_deck_element& e) const {
        return type == e.type && nodes == e.nodes && property == e.property && card == e.card;
    }
};

// Decks in one file, without local systems, whose numbers are well formed or blank. Knows some
// cards only.
class plain_mesh_reader {
public:
    void read(const std::string& bytes) {
        plain_deck_reader deck;
        deck.read(bytes);
        for (const plain_card& card : deck.cards) {
            if (fault_line == 0) take(card);
        }
        if (fault_line == 0) settle();
    }

    std::vector<std::array<double, 3>> nodes;
    std::vector<unsigned int> node_numbers;
    std::vector<plain_deck_element> elements;
    std::size_t fault_line = 0; // 0 if the deck is good
    // How often cards of a name were met, not read, given again, made linear, share a number.
    std::map<std::string, std::size_t> seen;
    std::map<std::string, std::size_t> lost;
    std::map<std::string, std::size_t> again;
    std::map<std::string, std::size_t> linear;
    std::map<std::string, std::size_t> shared;

private:
    struct kind {
        kv7::element_type linear;
        std::size_t nbr_corners;
        kv7::element_type quadratic;
        std::size_t nbr_nodes;
        std::vector<std::size_t> order; // of the linear one
        std::vector<std::size_t> quadratic_order;
    };

    static const std::map<std::string, kind>& kinds() {
        using namespace kv7;
        static const std::map<std::string, kind> all{
            {"CBAR", {ET_BAR2, 2, ET_BAR2, 2, {0, 1}, {}}},
            {"CROD", {ET_BAR2, 2, ET_BAR2, 2, {0, 1}, {}}},
            {"CTRIA3", {ET_TRIA3, 3, ET_TRIA3, 3, {0, 1, 2}, {}}},
            {"CQUAD4", {ET_QUAD4, 4, ET_QUAD4, 4, {0, 1, 2, 3}, {}}},
            {"CTRIA6", {ET_TRIA3, 3, ET_TRIA6, 6, {0, 1, 2}, {0, 1, 2, 4, 5, 3}}},
            {"CQUAD8", {ET_QUAD4, 4, ET_QUAD8, 8, {0, 1, 2, 3}, {0, 1, 2, 3, 4, 5, 6, 7}}},
            {"CTETRA",
             {ET_TETRA4, 4, ET_TETRA10, 10, {0, 2, 1, 3}, {0, 2, 1, 3, 5, 4, 6, 7, 9, 8}}},
            {"CPENTA", {ET_PENTA6, 6, ET_PENTA6, 6, {0, 1, 2, 3, 4, 5}, {}}},
            {"CHEXA", {ET_HEXA8, 8, ET_HEXA8, 8, {0, 1, 2, 3, 4, 5, 6, 7}, {}}}};
        return all;
    }

    static const plain_field& field(const plain_card& card, std::size_t i) {
        static const plain_field blank;
        return i < card.fields.size() ? card.fields[i] : blank;
    }
    // 0 if it is blank.
    static unsigned int number(const plain_card& card, std::size_t i) {
        return static_cast<unsigned int>(std::strtoul(field(card, i).text.c_str(), nullptr, 10));
    }
    static double real(std::string text) {
        for (char& c : text) {
            if (c == 'D' || c == 'd') c = 'e';
        }
        const std::size_t sign = text.find_last_of("+-");
        const bool has_letter = text.find_first_of("eE") != std::string::npos;
        if (sign != std::string::npos && sign != 0 && !has_letter) text.insert(sign, "e");
        return std::strtod(text.c_str(), nullptr);
    }
    // The line of a field, or of its card if it has none.
    static std::size_t line_of(const plain_card& card, std::size_t i) {
        return i < card.fields.size() ? card.fields[i].line : card.line;
    }

    void take(const plain_card& card) {
        const std::string name = card.name.empty() ? "continuation" : card.name;
        ++seen[name];
        if (name == "GRID") {
            if (number(card, 0) == 0) {
                fault_line = line_of(card, 0);
                return;
            }
            nodes.push_back(
                {real(field(card, 2).text), real(field(card, 3).text), real(field(card, 4).text)});
            node_numbers.push_back(number(card, 0));
            node_lines_.push_back(card.line);
        } else if (name == "BAROR") {
            default_ = number(card, 1);
        } else if (kinds().count(name) != 0) {
            take_element(card, kinds().at(name));
        } else {
            ++lost[name];
        }
    }

    void take_element(const plain_card& card, const kind& k) {
        plain_deck_element e{k.linear, {}, number(card, 1), number(card, 0), card.name, card.line};
        if (e.number == 0) {
            fault_line = line_of(card, 0);
            return;
        }
        std::vector<unsigned int> given;
        for (std::size_t i = 0; i < k.nbr_nodes; ++i) given.push_back(number(card, 2 + i));
        for (std::size_t i = 0; i < k.nbr_corners; ++i) {
            if (given[i] != 0) continue;
            fault_line = line_of(card, 2 + i);
            return;
        }
        const auto nbr_blank = static_cast<std::size_t>(std::count(given.begin(), given.end(), 0U));
        const bool is_linear = k.nbr_nodes == k.nbr_corners || nbr_blank != 0;
        if (!is_linear) e.type = k.quadratic;
        for (const std::size_t i : is_linear ? k.order : k.quadratic_order)
            e.nodes.push_back(given[i]);
        const bool has_none = nbr_blank == k.nbr_nodes - k.nbr_corners;
        if (nbr_blank != 0 && (!has_none || card.name != "CTETRA")) ++linear[card.name];
        elements.push_back(e);
    }

    void settle() {
        settle_nodes();
        for (plain_deck_element& e : elements) {
            for (unsigned int& n : e.nodes) {
                const auto found = std::find(node_numbers.begin(), node_numbers.end(), n);
                if (found == node_numbers.end() && fault_line == 0) fault_line = e.line;
                n = static_cast<unsigned int>(found - node_numbers.begin());
            }
            if (e.property == 0) e.property = e.card == "CBAR" ? default_ : 0;
            if (e.property == 0) e.property = e.number;
        }
        settle_elements();
    }
    void settle_nodes() {
        std::map<unsigned int, std::size_t> first;
        std::vector<std::array<double, 3>> kept;
        std::vector<unsigned int> numbers;
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            const auto [place, is_new] = first.emplace(node_numbers[k], k);
            if (is_new) {
                kept.push_back(nodes[k]);
                numbers.push_back(node_numbers[k]);
            } else if (nodes[place->second] == nodes[k]) {
                ++again["GRID"];
            } else if (fault_line == 0) {
                fault_line = node_lines_[k];
            }
        }
        nodes = kept;
        node_numbers = numbers;
    }
    void settle_elements() {
        std::map<unsigned int, plain_deck_element> first;
        std::vector<plain_deck_element> kept;
        for (const plain_deck_element& e : elements) {
            const auto [place, is_new] = first.emplace(e.number, e);
            const plain_deck_element& other = place->second;
            if (!is_new && other == e) {
                ++again[e.card];
                continue;
            }
            if (!is_new && other.card == e.card && fault_line == 0) fault_line = e.line;
            if (!is_new && other.card != e.card) ++shared[e.card];
            kept.push_back(e);
        }
        elements = kept;
    }

    std::vector<std::size_t> node_lines_;
    unsigned int default_ = 0;
};

} // namespace test

#endif
