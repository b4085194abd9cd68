// What is kept of a deck beside the arrays of its mesh, and the end of its reading.
#ifndef TESSMAKER_FORMATS_DECK_CONTENTS_H
#define TESSMAKER_FORMATS_DECK_CONTENTS_H

#include <vector>

#include "formats/card_places.h"
#include "formats/deck_coordinates.h"
#include "formats/deck_elements.h"
#include "formats/file_report.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

inline file_place place_of(const deck_position& at) { return {at.line, at.file}; }

// A name of cards that become elements.
struct element_kind {
    const deck_element_card* card;
    unsigned int keyword; // its number in the report
};

// What stands beside the arrays of a mesh until all of its deck was read. Meanwhile elements have
// the numbers of their nodes, and the absent ID for a property that is blank.
struct deck_contents {
    deck_coordinates coordinates;
    card_places nodes;
    card_places elements; // by their kind
    std::vector<element_kind> kinds;
    deck_property_defaults properties;
};

// Makes a mesh of what all cards hold: places nodes in the basic system, gives elements columns for
// numbers of nodes, and properties where they are blank, and leaves out what was given again. The
// mesh has a start of the first run already. Returns 0, or the code of a failure.
int finish_deck_mesh(mesh& result, deck_contents& deck, report_builder& report);

} // namespace kv7::tessmaker

#endif
