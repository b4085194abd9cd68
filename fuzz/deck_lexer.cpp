// Reads any bytes as a deck: its cards must be those of a plain reader, and whatever they hold must
// be read or refused. Parts of the input between record separators are files that the first one can
// include as a, b and so on; no other file is opened.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "deck_input.h"
#include "formats/deck_coordinates.h"
#include "formats/deck_elements.h"
#include "formats/deck_lexer.h"
#include "formats/plain_deck.h"

namespace {

using namespace kv7::tessmaker;
using namespace fuzz;

std::string name_of(const deck_card& card) {
    char text[word_size];
    store_word(card.name(), text);
    return test::plain_strip(std::string(text, sizeof text), " ");
}

void check_card(const deck_card& card, const test::plain_card& plain) {
    require(name_of(card) == plain.name && card.is_cut() == plain.is_cut);
    require(card.position().line == plain.line && card.position().file == plain.file);
    require(card.nbr_fields() == plain.fields.size());
    for (std::size_t i = 0; i < card.nbr_fields() && i < deck_card::most_fields; ++i) {
        const std::string text = test::plain_strip(std::string(card[i]), " ");
        require(text == plain.fields[i].text && card.position(i).line == plain.fields[i].line);
    }
}

unsigned int find_no_more_than(const void* nbr_nodes, unsigned int id) {
    return id <= *static_cast<const unsigned int*>(nbr_nodes) ? id - 1 : no_id;
}

// Nodes are found by their place, as if they had been numbered so.
class mesh_of_cards {
public:
    void read(const deck_card& card) {
        deck_node node;
        if (card.name() == deck_name("GRID") && !deck_coordinates::read_node(card, node)) {
            coordinates_.add_node(node.system, card.position());
            require(pos_.resize(3, ++nbr_nodes_));
            std::copy_n(node.xyz, 3, pos_.column(nbr_nodes_ - 1));
        }
        if (card.name() == deck_name("GRDSET")) coordinates_.read_defaults(card);
        if (deck_coordinates::is_system(card.name())) coordinates_.read_system(card);
        deck_element element;
        if (const deck_element_card* const kind = find_element_card(card.name())) {
            if (!read_element(card, *kind, element)) require(nbr_nodes(element.type) > 1);
        }
    }
    void finish() { coordinates_.to_basic(pos_, {find_no_more_than, &nbr_nodes_}); }

private:
    deck_coordinates coordinates_;
    kv7::dense2D<double> pos_;
    unsigned int nbr_nodes_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string deck = split_input({reinterpret_cast<const char*>(data), size});
    test::plain_deck_reader plain(included_files());
    plain.read(deck);
    std::FILE* const file = stream_of(deck);
    {
        deck_lexer lexer(file, "", open_included);
        mesh_of_cards mesh;
        std::size_t n = 0;
        for (; lexer.next(); ++n) {
            require(n < plain.cards.size());
            check_card(lexer.card(), plain.cards[n]);
            mesh.read(lexer.card());
        }
        mesh.finish();
        require(n == plain.cards.size());
        require((lexer.fault().kind == deck_failure::none) == plain.fault.empty());
        require(plain.fault.empty() || lexer.fault().position.line == plain.fault_line);
    }
    std::fclose(file);
    return 0;
}
