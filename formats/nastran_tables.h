// The cards of NASTRAN bulk data: columns of their fields, keywords, and the order in which they
// list the nodes of an element.
#ifndef TESSMAKER_FORMATS_NASTRAN_TABLES_H
#define TESSMAKER_FORMATS_NASTRAN_TABLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// A line of fixed fields: a keyword, data fields, and a field for the mark that announces a
// continuation.
struct nastran_layout {
    std::size_t nbr_fields;
    std::size_t field_width;
    char mark;
};
inline constexpr nastran_layout nastran_small_fields{8, 8, '+'};
inline constexpr nastran_layout nastran_large_fields{4, 16, '*'};
inline constexpr std::size_t nastran_keyword_width = 8;
inline constexpr std::size_t nastran_mark_column = 72;

// The most characters of a token in free fields.
inline constexpr std::size_t nastran_token_size = 8;

// A keyword, up to 8 characters, as one number.
constexpr std::uint64_t nastran_packed(std::string_view keyword) {
    std::uint64_t result = 0;
    for (const char c : keyword) result = result << 8 | static_cast<unsigned char>(c);
    return result;
}

// The keywords that are read, frequent ones first, with the type that they stand for. On a card of
// more nodes the type is the quadratic one of that shape.
struct nastran_keyword {
    std::uint64_t name;
    element_type type;
};
inline constexpr std::array<nastran_keyword, 26> nastran_keywords{{
    {nastran_packed("CTRIA3"), ET_TRIA3},  {nastran_packed("CQUAD4"), ET_QUAD4},
    {nastran_packed("CTETRA"), ET_TETRA4}, {nastran_packed("CHEXA"), ET_HEXA8},
    {nastran_packed("CPENTA"), ET_PENTA6}, {nastran_packed("CPYRAM"), ET_PYRA5},
    {nastran_packed("CPYRA"), ET_PYRA5},   {nastran_packed("CBAR"), ET_BAR2},
    {nastran_packed("CBEAM"), ET_BAR2},    {nastran_packed("CROD"), ET_BAR2},
    {nastran_packed("CTRIA6"), ET_TRIA6},  {nastran_packed("CQUAD8"), ET_QUAD8},
    {nastran_packed("CTRIA"), ET_TRIA3},   {nastran_packed("CQUAD"), ET_QUAD4},
    {nastran_packed("TRIA3"), ET_TRIA3},   {nastran_packed("QUAD4"), ET_QUAD4},
    {nastran_packed("TETRA"), ET_TETRA4},  {nastran_packed("HEXA"), ET_HEXA8},
    {nastran_packed("PENTA"), ET_PENTA6},  {nastran_packed("PYRAM"), ET_PYRA5},
    {nastran_packed("PYRA"), ET_PYRA5},    {nastran_packed("BAR"), ET_BAR2},
    {nastran_packed("BEAM"), ET_BAR2},     {nastran_packed("ROD"), ET_BAR2},
    {nastran_packed("TRIA6"), ET_TRIA6},   {nastran_packed("QUAD8"), ET_QUAD8},
}};

// The most nodes of a card that is read.
inline constexpr std::size_t nastran_max_nodes = 20;

// A node order: on input `node[i]` of the element is `card[order[i]]`, on output `card[i]` is
// `node[order[i]]`.
using nastran_order = std::array<unsigned char, nastran_max_nodes>;

inline constexpr nastran_order nastran_straight{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                                10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
inline constexpr nastran_order nastran_tria6_input{0, 1, 2, 4, 5, 3};
inline constexpr nastran_order nastran_tria6_output{0, 1, 2, 5, 3, 4};
// These are their own inverses, and serve input and output.
inline constexpr nastran_order nastran_tetra4{0, 2, 1, 3};
inline constexpr nastran_order nastran_tetra10{0, 2, 1, 3, 5, 4, 6, 7, 9, 8};
inline constexpr nastran_order nastran_hexa20{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                              10, 11, 16, 17, 18, 19, 12, 13, 14, 15};
// Kept: serves input and output, though it is not its own inverse.
inline constexpr nastran_order nastran_penta15{0, 1, 2, 3, 4, 5, 11, 9, 10, 6, 7, 8, 14, 12, 13};

constexpr const nastran_order& nastran_input_order(element_type type) {
    switch (type) {
    case ET_TRIA6: return nastran_tria6_input;
    case ET_TETRA4: return nastran_tetra4;
    case ET_TETRA10: return nastran_tetra10;
    case ET_PENTA15: return nastran_penta15;
    case ET_HEXA20: return nastran_hexa20;
    default: return nastran_straight;
    }
}

// A keyword of up to 8 characters as a word (words.h), empty by default.
struct nastran_word {
    constexpr nastran_word() = default;
    // NOLINTNEXTLINE(google-explicit-constructor): for the table below
    constexpr nastran_word(const char* keyword) {
        for (; keyword[size] != '\0'; ++size) {
            word |= std::uint64_t{static_cast<unsigned char>(keyword[size])} << 8 * size;
        }
    }

    std::uint64_t word = 0;
    std::size_t size = 0;
};

// How an element is written: the keyword, and the first `nbr_nodes` nodes in the given order.
// Elements of a type without a keyword are left out.
struct nastran_card {
    nastran_word keyword;
    std::size_t nbr_nodes = 0;
    const nastran_order* order = nullptr; // null for ET_QUAD9, too
};

inline constexpr type_table<nastran_card> nastran_cards{{
    {ET_UNKNOWN, {}},
    {ET_NODE, {}},
    {ET_BAR_MIX, {}},
    {ET_BAR2, {"CBAR", 2, &nastran_straight}},
    {ET_BAR3, {"CBAR", 2, &nastran_straight}},
    {ET_FACE_MIX, {}},
    {ET_TRIA3, {"CTRIA3", 3, &nastran_straight}},
    {ET_QUAD4, {"CQUAD4", 4, &nastran_straight}},
    {ET_TRIA6, {"CTRIA6", 6, &nastran_tria6_output}},
    {ET_QUAD8, {"CQUAD8", 8, &nastran_straight}},
    {ET_QUAD9, {"CQUAD8", 9, nullptr}}, // kept: repeats the nodes of the card before
    {ET_SOLID_MIX, {}},
    {ET_TETRA4, {"CTETRA", 4, &nastran_tetra4}},
    {ET_TETRA10, {"CTETRA", 10, &nastran_tetra10}},
    {ET_PYRA5, {"CPYRAM", 5, &nastran_straight}},
    {ET_PYRA13, {"CPYRAM", 13, &nastran_straight}},
    {ET_PYRA14, {"CPYRAM", 13, &nastran_straight}},
    {ET_PENTA6, {"CPENTA", 6, &nastran_straight}},
    {ET_PENTA15, {"CPENTA", 15, &nastran_penta15}},
    {ET_PENTA18, {"CPENTA", 15, &nastran_penta15}},
    {ET_HEXA8, {"CHEXA", 8, &nastran_straight}},
    {ET_HEXA20, {"CHEXA", 20, &nastran_hexa20}},
    {ET_HEXA27, {"CHEXA", 20, &nastran_hexa20}},
}};

} // namespace kv7::tessmaker

#endif
