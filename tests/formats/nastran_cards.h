// Cards of NASTRAN decks for tests, and what a deck of one card holds.
#ifndef TESSMAKER_TESTS_FORMATS_NASTRAN_CARDS_H
#define TESSMAKER_TESTS_FORMATS_NASTRAN_CARDS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "formats/nastran_decks.h"
#include "formats/plain_nastran.h"
#include "support/meshes.h"
#include "tessmaker/element_type.h"

namespace test {

// Left-aligned fields of one width behind a keyword of 8.
inline std::string card(const std::string& keyword, const std::vector<std::string>& fields,
                        std::size_t width = 8) {
    std::string line = keyword;
    line.resize(8, ' ');
    for (const std::string& field : fields) {
        line += field;
        line.resize(line.size() + width - field.size(), ' ');
    }
    return line + "\n";
}

// The only element of a deck.
inline std::vector<unsigned int> only_element(const std::string& text, kv7::element_type type) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.connect.cols(), 1U) << text;
    EXPECT_EQ(list(deck.types), std::vector<int>{type}) << text;
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1})) << text;
    EXPECT_EQ(deck.pids.size(), 1U) << text;
    return deck.connect.cols() == 1 ? list(deck.connect)[0] : std::vector<unsigned int>();
}

inline std::size_t nbr_elements(const std::string& text) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.pids.size(), deck.connect.cols()) << text;
    return deck.connect.cols();
}

// The only node of a deck.
inline std::vector<double> only_node(const std::string& text) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.pos.cols(), 1U) << text;
    return deck.pos.cols() == 1 ? list(deck.pos)[0] : std::vector<double>();
}

// A coordinate in a small field.
inline double small_real(const std::string& field) {
    return only_node(card("GRID", {"1", "", field}))[0];
}
inline double large_real(const std::string& field) {
    return only_node(card("GRID*", {"1", "", field}, 16) + card("*", {}, 16))[0];
}

inline const std::string one_node = "GRID,1,0,1.,2.,3.\n";

// A card for the nodes 1, 2, ... in one of the layouts, with every continuation announced.
inline std::string element_card(const std::string& keyword, std::size_t nbr_nodes, char layout) {
    const std::size_t width = layout == 'l' ? 16 : 8;
    const std::size_t per_line = layout == 'l' ? 4 : 8;
    std::vector<std::string> numbers{"11", "22"};
    for (std::size_t k = 1; k <= nbr_nodes; ++k) numbers.push_back(std::to_string(k));
    std::string text;
    std::string start = keyword + (layout == 'l' ? "*" : "");
    for (std::size_t at = 0; at < numbers.size(); at += per_line) {
        const std::size_t end = std::min(at + per_line, numbers.size());
        const bool more = end < numbers.size();
        std::string line = start;
        if (layout != 'f') line.resize(8, ' ');
        for (std::size_t k = at; k < end; ++k) {
            if (layout == 'f') {
                line += "," + numbers[k];
            } else {
                line += numbers[k];
                line.resize(8 + width * (k - at + 1), ' ');
            }
        }
        const std::string mark = layout == 'l' ? "*" : "+";
        if (more) line += (layout == 'f' ? "," : "") + mark + "M";
        text += line + "\n";
        start = mark + "M";
    }
    return text;
}

struct keyword_of_type {
    const char* keyword;
    kv7::element_type type;
};
inline constexpr keyword_of_type keywords[] = {
    {"BAR", kv7::ET_BAR2},     {"CBAR", kv7::ET_BAR2},    {"BEAM", kv7::ET_BAR2},
    {"CBEAM", kv7::ET_BAR2},   {"ROD", kv7::ET_BAR2},     {"CROD", kv7::ET_BAR2},
    {"TRIA3", kv7::ET_TRIA3},  {"CTRIA", kv7::ET_TRIA3},  {"CTRIA3", kv7::ET_TRIA3},
    {"TRIA6", kv7::ET_TRIA6},  {"CTRIA6", kv7::ET_TRIA6}, {"QUAD4", kv7::ET_QUAD4},
    {"CQUAD", kv7::ET_QUAD4},  {"CQUAD4", kv7::ET_QUAD4}, {"QUAD8", kv7::ET_QUAD8},
    {"CQUAD8", kv7::ET_QUAD8}, {"TETRA", kv7::ET_TETRA4}, {"CTETRA", kv7::ET_TETRA4},
    {"PYRA", kv7::ET_PYRA5},   {"CPYRA", kv7::ET_PYRA5},  {"PYRAM", kv7::ET_PYRA5},
    {"CPYRAM", kv7::ET_PYRA5}, {"PENTA", kv7::ET_PENTA6}, {"CPENTA", kv7::ET_PENTA6},
    {"HEXA", kv7::ET_HEXA8},   {"CHEXA", kv7::ET_HEXA8}};

// What an element of the nodes 1, 2, 3, ... is read as.
inline std::vector<unsigned int> column_of(kv7::element_type type) {
    std::vector<unsigned int> column;
    for (const std::size_t k : plain_nastran_order(type)) {
        column.push_back(static_cast<unsigned int>(k));
    }
    return column;
}

} // namespace test

#endif
