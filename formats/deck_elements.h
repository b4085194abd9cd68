// The cards of elements: where their nodes stand, in which order, and what their property is.
#ifndef TESSMAKER_FORMATS_DECK_ELEMENTS_H
#define TESSMAKER_FORMATS_DECK_ELEMENTS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "formats/deck_card.h"
#include "formats/deck_numbers.h"
#include "formats/nastran_tables.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// The property of an element: in field 1, or there is none. A blank one is the element's number,
// unless a card gives another for all bars or beams.
enum class deck_property : std::uint8_t { own, of_bars, of_beams, none };

// The nodes of a card are its corners, then mid-side nodes, then perhaps a centre. Types of more
// nodes need all of theirs; a card that leaves out some is the largest type whose nodes it has.
struct deck_element_card {
    std::uint64_t name;
    // The linear one, that with mid-side nodes, that with a centre.
    std::array<element_type, 3> types;
    std::uint8_t first_node = 2; // its field
    deck_property property = deck_property::own;
};

// An element of a card. Nodes are numbers of the deck, in the order of `element_type`.
struct deck_element {
    element_type type = ET_UNKNOWN;
    unsigned int id = 0;
    unsigned int property = no_id;    // the absent ID if its field is blank, or it has none
    bool has_blank_mid_nodes = false; // the type is linear, though some mid-side nodes are given
    std::array<unsigned int, nastran_max_nodes> nodes;
};

// A field that is refused.
struct deck_element_fault {
    deck_value value = deck_value::number;
    std::size_t field = 0;
    bool is_given_twice = false; // and was another one before
    explicit operator bool() const { return value != deck_value::number || is_given_twice; }
};

// Null if the card is none of an element.
const deck_element_card* find_element_card(std::uint64_t name);

// The card that elements of a type are written on; null if there is none.
const deck_element_card* find_card_of_type(element_type type);

// Where each node of an element stands among those of its card.
const nastran_order& deck_order(element_type type);

// `kind` is the entry of the card's name.
deck_element_fault read_element(const deck_card& card, const deck_element_card& kind,
                                deck_element& element);

// Properties that BAROR and BEAMOR give to elements with a blank one. These cards may stand behind
// the elements, and each may be given again with the same property.
class deck_property_defaults {
public:
    static bool is_default(std::uint64_t name);
    deck_element_fault read(const deck_card& card);
    unsigned int of(deck_property rule, unsigned int element_id) const;

private:
    struct given_property {
        unsigned int number = no_id; // the absent ID if its field is blank
        bool has_card = false;
    };

    given_property of_bars_;
    given_property of_beams_;
};

} // namespace kv7::tessmaker

#endif
