// Nodes in large fields that repeat the layout of the one before.
#ifndef TESSMAKER_FORMATS_DECK_LARGE_NODES_H
#define TESSMAKER_FORMATS_DECK_LARGE_NODES_H

#include <cstdint>

#include "formats/deck_coordinates.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads cards GRID of two lines of large fields, the first of which ends with a star, perhaps with
// letters and digits behind it, and the second begins with the same. Their field for a coordinate
// system is blank. Whatever differs is left to the lexer, which reads these cards as well, and
// slower.
class deck_large_nodes {
public:
    // Reads the card at the beginning of a text without tabs and comments, behind which words can
    // be read. Returns the beginning of the next line; null if there is no such card, or the next
    // line may belong to it. Then the node may hold anything.
    const char* read(const char* text, const char* text_end, deck_node& node);

private:
    bool is_mark(std::uint64_t word);

    std::uint64_t mark_ = blank_word; // the last one that was met
};

} // namespace kv7::tessmaker

#endif
