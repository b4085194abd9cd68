// Nodes that repeat the layout of the one before.
#ifndef TESSMAKER_FORMATS_DECK_LIKE_NODES_H
#define TESSMAKER_FORMATS_DECK_LIKE_NODES_H

#include <cstddef>
#include <cstdint>

#include "formats/deck_coordinates.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads cards GRID of one layout, in upper case:
//
//   free    one line of five fields; that for a coordinate system is digits or empty
//   small   one line of at most 72 characters; the field for a system is digits or blank
//   large   two lines, the first of which ends with a star, perhaps with letters and digits behind
//           it, and the second begins with the same. The field for a system is blank
//
// Whatever differs is left to the lexer, which reads these cards as well, and slower.
class deck_like_nodes {
public:
    enum layout { free, small, large };

    explicit deck_like_nodes(layout fields) : layout_(fields) {}

    std::size_t nbr_lines() const { return layout_ == large ? 2 : 1; }

    // Reads the card at the beginning of a text without tabs and comments, behind which words can
    // be read. Returns the beginning of the next line; null if there is no such card, or the next
    // line may belong to it. Then the node may hold anything.
    const char* read(const char* text, const char* text_end, deck_node& node) {
        switch (layout_) {
        case free: return read_free(text, text_end, node);
        case small: return read_small(text, text_end, node);
        default: return read_large(text, text_end, node);
        }
    }

private:
    static const char* read_free(const char* text, const char* text_end, deck_node& node);
    static const char* read_small(const char* text, const char* text_end, deck_node& node);
    const char* read_large(const char* text, const char* text_end, deck_node& node);
    bool is_mark(std::uint64_t word);

    layout layout_;
    std::uint64_t mark_ = blank_word; // the last one that was met
};

} // namespace kv7::tessmaker

#endif
