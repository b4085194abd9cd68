#include "formats/deck_elements.h"

#include <algorithm>

#include "core/element_table.h"

namespace kv7::tessmaker {

namespace {

using enum deck_property;

constexpr std::array<element_type, 3> bar{ET_BAR2};
constexpr std::array<element_type, 3> triangle{ET_TRIA3};
constexpr std::array<element_type, 3> triangle_6{ET_TRIA3, ET_TRIA6};
constexpr std::array<element_type, 3> quadrangle{ET_QUAD4};
constexpr std::array<element_type, 3> quadrangle_8{ET_QUAD4, ET_QUAD8};
constexpr std::array<element_type, 3> quadrangle_9{ET_QUAD4, ET_QUAD8, ET_QUAD9};
constexpr std::array<element_type, 3> tetrahedron{ET_TETRA4, ET_TETRA10};
constexpr std::array<element_type, 3> pyramid{ET_PYRA5, ET_PYRA13};
constexpr std::array<element_type, 3> wedge{ET_PENTA6, ET_PENTA15};
constexpr std::array<element_type, 3> hexahedron{ET_HEXA8, ET_HEXA20};

// Frequent ones first. On the first card of a type its elements are written.
constexpr deck_element_card element_cards[] = {
    {deck_name("CTETRA"), tetrahedron},
    {deck_name("CQUAD4"), quadrangle},
    {deck_name("CTRIA3"), triangle},
    {deck_name("CHEXA"), hexahedron},
    {deck_name("CPENTA"), wedge},
    {deck_name("CPYRAM"), pyramid},
    {deck_name("CBAR"), bar, 2, of_bars},
    {deck_name("CBEAM"), bar, 2, of_beams},
    {deck_name("CROD"), bar},
    {deck_name("CONROD"), bar, 1, none},
    {deck_name("CTUBE"), bar},
    {deck_name("CBEND"), bar},
    {deck_name("CTRIA6"), triangle_6},
    {deck_name("CQUAD8"), quadrangle_8},
    {deck_name("CQUADR"), quadrangle},
    {deck_name("CTRIAR"), triangle},
    {deck_name("CQUAD"), quadrangle_9},
    {deck_name("CSHEAR"), quadrangle},
    {deck_name("CPYRA"), pyramid},
    {deck_name("CTRIA"), triangle},
    {deck_name("BAR"), bar, 2, of_bars},
    {deck_name("BEAM"), bar, 2, of_beams},
    {deck_name("ROD"), bar},
    {deck_name("TRIA3"), triangle},
    {deck_name("TRIA6"), triangle_6},
    {deck_name("QUAD4"), quadrangle},
    {deck_name("QUAD8"), quadrangle_8},
    {deck_name("TETRA"), tetrahedron},
    {deck_name("PYRA"), pyramid},
    {deck_name("PYRAM"), pyramid},
    {deck_name("PENTA"), wedge},
    {deck_name("HEXA"), hexahedron},
};

// As the format has it: edges of the lower triangle, then those between the triangles, then those
// of the upper one.
constexpr nastran_order penta15_order{0, 1, 2, 3, 4, 5, 9, 10, 11, 7, 8, 6, 13, 14, 12};

std::size_t size_of(element_type type) { return element_table[type].nbr_nodes; }

deck_element_fault read_corners(const deck_card& card, std::size_t first, std::size_t n,
                                unsigned int* nodes) {
    const std::uint32_t* const digits = card.digits(first, first + n);
    for (std::size_t k = 0; k < n; ++k) {
        if (digits && digits[k] != 0) {
            nodes[k] = digits[k];
            continue;
        }
        const deck_value node = read_id(card[first + k], nodes[k]);
        if (node != deck_value::number) return {node, first + k};
    }
    return {};
}

// A mid-side node may be left out, by a blank field or a 0.
deck_value read_mid_node(const deck_card& card, std::size_t i, unsigned int& node) {
    const deck_value value = read_id(card, i, node);
    std::int64_t number = 1;
    if (value == deck_value::not_an_id && read_integer(card[i], number) == deck_value::number &&
        number == 0) {
        return deck_value::blank;
    }
    return value;
}

// The nodes of a card behind its corners.
struct further_nodes {
    element_type type;
    bool has_blanks = false; // beside some that are given
};

// Reads the nodes of a type that lie behind those of the one before it, from `begin` to `end`.
// `nbr_given` counts those that are not blank.
deck_element_fault read_further_nodes(const deck_card& card, std::size_t first, std::size_t begin,
                                      std::size_t end, unsigned int* nodes,
                                      std::size_t& nbr_given) {
    nbr_given = 0;
    const std::size_t last = std::min(first + end, card.nbr_fields());
    for (std::size_t k = begin; first + k < last; ++k) {
        if (card[first + k].empty()) continue;
        const deck_value value = read_mid_node(card, first + k, nodes[k]);
        if (value == deck_value::number) {
            ++nbr_given;
        } else if (value != deck_value::blank) {
            return {value, first + k};
        }
    }
    return {};
}

// Reads all nodes behind the corners, in the order of the card.
deck_element_fault read_to_largest_type(const deck_card& card, const deck_element_card& kind,
                                        unsigned int* nodes, further_nodes& further) {
    further.type = kind.types[0];
    bool has_all = true;
    for (std::size_t t = 1; t < kind.types.size() && kind.types[t] != ET_UNKNOWN; ++t) {
        const std::size_t begin = size_of(kind.types[t - 1]);
        const std::size_t end = size_of(kind.types[t]);
        std::size_t nbr_given = 0;
        const deck_element_fault fault =
            read_further_nodes(card, kind.first_node, begin, end, nodes, nbr_given);
        if (fault) return fault;
        has_all = has_all && nbr_given == end - begin;
        if (has_all) further.type = kind.types[t];
        further.has_blanks = further.has_blanks || (!has_all && nbr_given != 0);
    }
    return {};
}

deck_element_fault read_property(const deck_card& card, unsigned int& property) {
    const deck_value value = read_id(card, 1, property);
    if (value == deck_value::number) return {};
    if (value == deck_value::blank) {
        property = no_id;
        return {};
    }
    return {value, 1};
}

} // namespace

const deck_element_card* find_element_card(std::uint64_t name) {
    for (const deck_element_card& card : element_cards) {
        if (card.name == name) return &card;
    }
    return nullptr;
}

const deck_element_card* find_card_of_type(element_type type) {
    for (const deck_element_card& card : element_cards) {
        const bool has_type =
            std::find(card.types.begin(), card.types.end(), type) != card.types.end();
        if (has_type) return &card;
    }
    return nullptr;
}

const nastran_order& deck_order(element_type type) {
    return type == ET_PENTA15 ? penta15_order : nastran_input_order(type);
}

deck_element_fault read_element(const deck_card& card, const deck_element_card& kind,
                                deck_element& element) {
    element.property = no_id;
    element.has_blank_mid_nodes = false;
    const deck_value id = read_id(card, 0, element.id);
    if (id != deck_value::number) return {id, 0};
    if (kind.property != none) {
        const deck_element_fault fault = read_property(card, element.property);
        if (fault) return fault;
    }
    std::array<unsigned int, nastran_max_nodes> nodes;
    const std::size_t nbr_corners = size_of(kind.types[0]);
    const deck_element_fault fault = read_corners(card, kind.first_node, nbr_corners, nodes.data());
    if (fault) return fault;
    further_nodes further{kind.types[0]};
    if (kind.types[1] != ET_UNKNOWN && card.nbr_fields() > kind.first_node + nbr_corners) {
        const deck_element_fault mid = read_to_largest_type(card, kind, nodes.data(), further);
        if (mid) return mid;
    }
    element.type = further.type;
    element.has_blank_mid_nodes = further.has_blanks;
    const nastran_order& order = deck_order(element.type);
    const std::size_t n = size_of(element.type);
    for (std::size_t k = 0; k < n; ++k) element.nodes[k] = nodes[order[k]];
    return {};
}

bool deck_property_defaults::is_default(std::uint64_t name) {
    return name == deck_name("BAROR") || name == deck_name("BEAMOR");
}

deck_element_fault deck_property_defaults::read(const deck_card& card) {
    given_property& given = card.name() == deck_name("BAROR") ? of_bars_ : of_beams_;
    unsigned int property = no_id;
    deck_element_fault fault = read_property(card, property);
    if (fault) return fault;
    fault.field = 1;
    fault.is_given_twice = given.has_card && property != given.number;
    given = {property, true};
    return fault;
}

unsigned int deck_property_defaults::of(deck_property rule, unsigned int element_id) const {
    if (rule == none) return no_id;
    const unsigned int given = rule == of_bars    ? of_bars_.number
                               : rule == of_beams ? of_beams_.number
                                                  : no_id;
    return given == no_id ? element_id : given;
}

} // namespace kv7::tessmaker
