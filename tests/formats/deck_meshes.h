// Meshes that are read from decks in tests.
#ifndef TESSMAKER_TESTS_FORMATS_DECK_MESHES_H
#define TESSMAKER_TESTS_FORMATS_DECK_MESHES_H

#include <gtest/gtest.h>

#include <string>

#include "formats/mesh_files.h"
#include "tessmaker/mesh_file.h"

namespace test {

// Decks number all nodes and elements.
inline void check_deck(const read_file& deck) {
    check_result(deck);
    EXPECT_EQ(deck.m.node_numbers.size(), deck.m.pos.cols());
    EXPECT_EQ(deck.m.element_numbers.size(), deck.m.connect.cols());
}

inline read_file read_deck_mesh(const std::string& contents) {
    const read_file deck = read_as(kv7::tessmaker::file_format::nastran, contents);
    check_deck(deck);
    return deck;
}

} // namespace test

#endif
