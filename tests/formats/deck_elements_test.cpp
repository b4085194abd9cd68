// Each card of an element, in each layout, with all nodes, corners only, and gaps.
#include "formats/deck_elements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "formats/deck_lexer.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// What a card holds, written down a second time.
struct known_card {
    const char* name;
    std::vector<element_type> types;
    bool has_property = true;
};
const std::vector<known_card> known_cards{{"CBAR", {ET_BAR2}},
                                          {"CBEAM", {ET_BAR2}},
                                          {"CROD", {ET_BAR2}},
                                          {"CONROD", {ET_BAR2}, false},
                                          {"CTUBE", {ET_BAR2}},
                                          {"CBEND", {ET_BAR2}},
                                          {"CQUAD4", {ET_QUAD4}},
                                          {"CQUADR", {ET_QUAD4}},
                                          {"CQUAD8", {ET_QUAD4, ET_QUAD8}},
                                          {"CQUAD", {ET_QUAD4, ET_QUAD8, ET_QUAD9}},
                                          {"CSHEAR", {ET_QUAD4}},
                                          {"CTRIA3", {ET_TRIA3}},
                                          {"CTRIAR", {ET_TRIA3}},
                                          {"CTRIA6", {ET_TRIA3, ET_TRIA6}},
                                          {"CTETRA", {ET_TETRA4, ET_TETRA10}},
                                          {"CPYRAM", {ET_PYRA5, ET_PYRA13}},
                                          {"CPYRA", {ET_PYRA5, ET_PYRA13}},
                                          {"CPENTA", {ET_PENTA6, ET_PENTA15}},
                                          {"CHEXA", {ET_HEXA8, ET_HEXA20}},
                                          {"CTRIA", {ET_TRIA3}},
                                          {"BAR", {ET_BAR2}},
                                          {"BEAM", {ET_BAR2}},
                                          {"ROD", {ET_BAR2}},
                                          {"TRIA3", {ET_TRIA3}},
                                          {"TRIA6", {ET_TRIA3, ET_TRIA6}},
                                          {"QUAD4", {ET_QUAD4}},
                                          {"QUAD8", {ET_QUAD4, ET_QUAD8}},
                                          {"TETRA", {ET_TETRA4, ET_TETRA10}},
                                          {"PYRA", {ET_PYRA5, ET_PYRA13}},
                                          {"PYRAM", {ET_PYRA5, ET_PYRA13}},
                                          {"PENTA", {ET_PENTA6, ET_PENTA15}},
                                          {"HEXA", {ET_HEXA8, ET_HEXA20}}};

struct read_card {
    deck_element_fault fault;
    deck_element element;
    std::vector<unsigned int> nodes;
};
read_card read(const std::string& text) {
    const scratch_stream stream(text);
    deck_lexer lexer(stream.get());
    read_card result;
    EXPECT_TRUE(lexer.next()) << text;
    const deck_element_card* const kind = find_element_card(lexer.card().name());
    EXPECT_NE(kind, nullptr) << text;
    if (!kind) return result;
    result.fault = read_element(lexer.card(), *kind, result.element);
    if (!result.fault) {
        const unsigned int* const nodes = result.element.nodes.data();
        result.nodes.assign(nodes, nodes + nbr_nodes(result.element.type));
    }
    EXPECT_FALSE(lexer.next());
    return result;
}

// A card of fields in the layout `s`, `l` or `f`.
std::string card(const std::string& name, const std::vector<std::string>& fields, char layout) {
    const std::size_t n = layout == 'l' ? 4 : 8;
    std::string text;
    for (std::size_t at = 0; at == 0 || at < fields.size(); at += n) {
        std::string line = at == 0 ? name + (layout == 'l' ? "*" : "") : layout == 'l' ? "*" : "";
        if (layout != 'f') line.resize(8, ' ');
        for (std::size_t k = at; k < at + n; ++k) {
            std::string field = k < fields.size() ? fields[k] : "";
            if (layout == 'f') {
                line += "," + field;
            } else {
                field.resize(layout == 'l' ? 16 : 8, ' ');
                line += field;
            }
        }
        text += line + "\n";
    }
    return text;
}

// Fields of an element 11 of property 22 with the nodes 101, 102, ... in the order of the card.
std::vector<std::string> fields_of(const known_card& known, std::size_t nbr_nodes) {
    std::vector<std::string> fields{"11"};
    if (known.has_property) fields.push_back("22");
    for (std::size_t k = 0; k < nbr_nodes; ++k) fields.push_back(std::to_string(101 + k));
    return fields;
}

using edge = std::pair<unsigned int, unsigned int>;
edge sorted(unsigned int a, unsigned int b) { return {std::min(a, b), std::max(a, b)}; }

// Edges with their mid-side nodes as the format lists them, corners from 1.
std::vector<edge> edges_of_format(element_type type) {
    switch (type) {
    case ET_TRIA6: return {{1, 2}, {2, 3}, {3, 1}};
    case ET_QUAD8:
    case ET_QUAD9: return {{1, 2}, {2, 3}, {3, 4}, {4, 1}};
    case ET_TETRA10: return {{1, 2}, {2, 3}, {3, 1}, {1, 4}, {2, 4}, {3, 4}};
    case ET_PYRA13: return {{1, 2}, {2, 3}, {3, 4}, {4, 1}, {1, 5}, {2, 5}, {3, 5}, {4, 5}};
    case ET_PENTA15:
        return {{1, 2}, {2, 3}, {3, 1}, {1, 4}, {2, 5}, {3, 6}, {4, 5}, {5, 6}, {6, 4}};
    case ET_HEXA20:
        return {{1, 2}, {2, 3}, {3, 4}, {4, 1}, {1, 5}, {2, 6},
                {3, 7}, {4, 8}, {5, 6}, {6, 7}, {7, 8}, {8, 5}};
    default: return {};
    }
}
// The same as `element_type.h` lists them, corners from 0.
std::vector<edge> edges_of_library(element_type type) {
    switch (type) {
    case ET_TRIA6: return {{1, 2}, {2, 0}, {0, 1}};
    case ET_QUAD8:
    case ET_QUAD9: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case ET_TETRA10: return {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}};
    case ET_PYRA13: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}};
    case ET_PENTA15:
        return {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
    case ET_HEXA20:
        return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    default: return {};
    }
}

// Whether corners are those of the card and each mid-side node lies on its edge.
void expect_nodes(const std::vector<unsigned int>& nodes, element_type type) {
    const std::size_t nbr_corners = nbr_base_nodes(type);
    std::set<unsigned int> corners;
    for (std::size_t k = 0; k < nbr_corners; ++k) corners.insert(nodes[k] - 100);
    EXPECT_EQ(corners.size(), nbr_corners);
    EXPECT_EQ(*corners.rbegin(), nbr_corners);
    const std::vector<edge> format = edges_of_format(type);
    const std::vector<edge> library = edges_of_library(type);
    for (std::size_t k = 0; k < library.size(); ++k) {
        const unsigned int place =
            nodes[nbr_corners + k] - 101 - static_cast<unsigned int>(nbr_corners);
        ASSERT_LT(place, format.size());
        EXPECT_EQ(sorted(nodes[library[k].first] - 100, nodes[library[k].second] - 100),
                  sorted(format[place].first, format[place].second))
            << type << " " << k;
    }
    if (type == ET_QUAD9) {
        EXPECT_EQ(nodes[8], 109U);
    }
}

TEST(deck_elements, are_read_from_each_card_in_each_layout) {
    for (const known_card& known : known_cards) {
        for (const element_type type : known.types) {
            for (const char layout : {'s', 'l', 'f'}) {
                const std::string text =
                    card(known.name, fields_of(known, nbr_nodes(type)), layout);
                const read_card result = read(text);
                EXPECT_FALSE(result.fault) << text;
                ASSERT_EQ(result.element.type, type) << text;
                EXPECT_EQ(result.element.id, 11U) << text;
                EXPECT_EQ(result.element.property, known.has_property ? 22U : none) << text;
                EXPECT_FALSE(result.element.has_blank_mid_nodes) << text;
                expect_nodes(result.nodes, type);
            }
        }
    }
}

TEST(deck_elements, keep_the_corners_of_the_card_in_the_order_of_the_plain_reader) {
    EXPECT_EQ(read("CTETRA,1,1,1,2,3,4\n").nodes, (std::vector<unsigned int>{1, 3, 2, 4}));
    EXPECT_EQ(read("CPENTA,1,1,1,2,3,4,5,6\n").nodes,
              (std::vector<unsigned int>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(read("CPYRAM,1,1,1,2,3,4,5\n").nodes, (std::vector<unsigned int>{1, 2, 3, 4, 5}));
}

TEST(deck_elements, are_linear_where_a_mid_side_node_is_blank_or_0) {
    for (const known_card& known : known_cards) {
        if (known.types.size() < 2) continue;
        const std::size_t nbr_corners = nbr_nodes(known.types[0]);
        for (std::size_t k = nbr_corners; k < nbr_nodes(known.types[1]); ++k) {
            for (const char* const blank : {"", "0"}) {
                std::vector<std::string> fields = fields_of(known, nbr_nodes(known.types[1]));
                fields[2 + k] = blank;
                const read_card result = read(card(known.name, fields, 's'));
                EXPECT_FALSE(result.fault);
                EXPECT_EQ(result.element.type, known.types[0]) << known.name << k;
                EXPECT_TRUE(result.element.has_blank_mid_nodes);
            }
        }
        std::vector<std::string> corners = fields_of(known, nbr_corners);
        corners.resize(2 + nbr_nodes(known.types[1]), "0");
        const read_card result = read(card(known.name, corners, 'f'));
        EXPECT_EQ(result.element.type, known.types[0]);
        EXPECT_FALSE(result.element.has_blank_mid_nodes);
    }
    EXPECT_EQ(read("CQUAD,1,2,1,2,3,4,,,\n,,,9\n").element.type, ET_QUAD4);
    EXPECT_TRUE(read("CQUAD,1,2,1,2,3,4,,,\n,,,9\n").element.has_blank_mid_nodes);
}

TEST(deck_elements, leave_what_else_stands_on_their_cards) {
    EXPECT_EQ(read("CBAR,1,2,3,4,0.,1.,0.,OFF\n,,456,.1,.2\n").nodes,
              (std::vector<unsigned int>{3, 4}));
    EXPECT_EQ(read("CONROD,1,3,4,55,0.5\n").nodes, (std::vector<unsigned int>{3, 4}));
    EXPECT_EQ(read("CQUAD4,1,2,3,4,5,6,45.,.01\n,,,.1,.1,.1,.1\n").element.type, ET_QUAD4);
    EXPECT_EQ(read("CTRIA6,1,2,3,4,5,6,7,8\n,30.,.1\n").element.type, ET_TRIA6);
    EXPECT_EQ(read("CQUAD8,1,2,3,4,5,6,7,8\n,9,10,.1,.1,.1,.1\n").element.type, ET_QUAD8);
}

TEST(deck_elements, tell_the_field_that_is_wrong) {
    EXPECT_EQ(read("CTRIA3,1,2,3,,5\n").fault.field, 3U);
    EXPECT_EQ(read("CTRIA3,1,2,3,,5\n").fault.value, deck_value::blank);
    EXPECT_EQ(read("CTRIA3,1,2,3,4.,5\n").fault.value, deck_value::not_an_integer);
    EXPECT_EQ(read("CTRIA3,,2,3,4,5\n").fault.field, 0U);
    EXPECT_EQ(read("CTRIA3,1,-2,3,4,5\n").fault.value, deck_value::not_an_id);
    EXPECT_EQ(read("CTETRA,1,2,3,4,5,6,7,x\n").fault.field, 7U);
    EXPECT_EQ(read("CHEXA,1,2,3,4,5,6,7,8\n").fault.field, 8U);
}

TEST(deck_elements, take_a_blank_property_from_their_number_or_from_a_default) {
    deck_property_defaults defaults;
    EXPECT_EQ(read("CQUAD4,7,,1,2,3,4\n").element.property, none);
    EXPECT_EQ(defaults.of(find_element_card(deck_name("CQUAD4"))->property, 7), 7U);
    const auto rule = [](const char* name) { return find_element_card(deck_name(name))->property; };
    EXPECT_EQ(defaults.of(rule("CBAR"), 7), 7U);
    const scratch_stream stream("BAROR,,33,,,0.,1.,0.\nBEAMOR,,44\nBAROR,,x\n");
    deck_lexer lexer(stream.get());
    for (int k = 0; k < 2; ++k) {
        ASSERT_TRUE(lexer.next());
        EXPECT_TRUE(deck_property_defaults::is_default(lexer.card().name()));
        EXPECT_FALSE(defaults.read(lexer.card()));
    }
    EXPECT_EQ(defaults.of(rule("CBAR"), 7), 33U);
    EXPECT_EQ(defaults.of(rule("BAR"), 7), 33U);
    EXPECT_EQ(defaults.of(rule("CBEAM"), 7), 44U);
    EXPECT_EQ(defaults.of(rule("CROD"), 7), 7U);
    EXPECT_EQ(defaults.of(rule("CONROD"), 7), none);
    ASSERT_TRUE(lexer.next());
    EXPECT_EQ(defaults.read(lexer.card()).field, 1U);
    EXPECT_FALSE(deck_property_defaults::is_default(deck_name("CBAR")));
}

TEST(deck_elements, are_none_of_other_cards) {
    for (const char* const name :
         {"GRID", "CBUSH", "CONM2", "CELAS1", "RBE2", "", "CTRIA33", "C"}) {
        EXPECT_EQ(find_element_card(deck_name(name)), nullptr) << name;
    }
}

} // namespace
