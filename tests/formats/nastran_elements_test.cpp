// Element cards and their continuations.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "formats/nastran_cards.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// ---- Element cards

TEST(nastran_input, a_free_card_holds_keyword_number_property_and_nodes) {
    const deck_arrays deck = read_deck("CQUAD4,1,2,3,4,5,6\n");
    EXPECT_EQ(list(deck.connect), (id_lists{{2, 3, 4, 5}}));
    EXPECT_EQ(list(deck.pids), std::vector<unsigned int>{2});
    EXPECT_EQ(list(deck.types), std::vector<int>{ET_QUAD4});
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1}));
    EXPECT_TRUE(deck.pos.empty());
}

TEST(nastran_input, every_keyword_is_known_in_every_layout) {
    for (const auto& [keyword, type] : keywords) {
        for (const char layout : {'s', 'l', 'f'}) {
            const std::string text = element_card(keyword, nbr_nodes(type), layout);
            EXPECT_EQ(only_element(text, type), column_of(type)) << text;
            EXPECT_EQ(list(read_deck(text).pids), std::vector<unsigned int>{22}) << text;
        }
    }
}

TEST(nastran_input, nodes_are_brought_into_our_order) {
    EXPECT_EQ(only_element("CTRIA6,1,1,1,2,3,4,5,6\n", ET_TRIA6),
              (std::vector<unsigned int>{0, 1, 2, 4, 5, 3}));
    EXPECT_EQ(only_element("CTETRA,1,1,1,2,3,4\n", ET_TETRA4),
              (std::vector<unsigned int>{0, 2, 1, 3}));
    EXPECT_EQ(only_element(element_card("CTETRA", 10, 'f'), ET_TETRA10),
              (std::vector<unsigned int>{0, 2, 1, 3, 5, 4, 6, 7, 9, 8}));
    EXPECT_EQ(only_element(element_card("CPENTA", 15, 'f'), ET_PENTA15),
              (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 11, 9, 10, 6, 7, 8, 14, 12, 13}));
    EXPECT_EQ(only_element(element_card("CHEXA", 20, 'f'), ET_HEXA20),
              (std::vector<unsigned int>{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                         10, 11, 16, 17, 18, 19, 12, 13, 14, 15}));
    EXPECT_EQ(only_element(element_card("CPYRAM", 13, 'f'), ET_PYRA13),
              (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(only_element(element_card("CQUAD8", 8, 'f'), ET_QUAD8),
              (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(nastran_input, the_number_of_nodes_tells_the_type_of_a_solid_and_other_numbers_drop_it) {
    const std::vector<std::pair<std::string, std::vector<std::pair<std::size_t, element_type>>>>
        solids{{"CTETRA", {{4, ET_TETRA4}, {10, ET_TETRA10}}},
               {"CPYRAM", {{5, ET_PYRA5}, {13, ET_PYRA13}}},
               {"CPENTA", {{6, ET_PENTA6}, {15, ET_PENTA15}}},
               {"CHEXA", {{8, ET_HEXA8}, {20, ET_HEXA20}}}};
    for (const auto& [keyword, types] : solids) {
        for (std::size_t n = 0; n <= 30; ++n) {
            for (const char layout : {'s', 'l', 'f'}) {
                const std::string text = element_card(keyword, n, layout);
                element_type expected = ET_UNKNOWN;
                for (const auto& [nbr, type] : types) {
                    if (nbr == n) expected = type;
                }
                if (expected == ET_UNKNOWN) {
                    EXPECT_EQ(nbr_elements(text), 0U) << text;
                } else {
                    EXPECT_EQ(only_element(text, expected), column_of(expected)) << text;
                }
            }
        }
    }
}

TEST(nastran_input, other_cards_need_exactly_their_nodes) {
    for (const auto& [keyword, type] : keywords) {
        if (element_dim(type) == 3) continue;
        for (std::size_t n = 0; n <= 12; ++n) {
            for (const char layout : {'s', 'l', 'f'}) {
                const std::string text = element_card(keyword, n, layout);
                EXPECT_EQ(nbr_elements(text), n == nbr_nodes(type) ? 1U : 0U) << text;
            }
        }
    }
}

TEST(nastran_input, keywords_that_are_not_in_the_table_are_skipped) {
    for (const char* const keyword :
         {"ctria3", "CTRIA4", "CTRIA3X", "TRIA", "XCTRIA3", "CTRIAR", "", "MAT1", "CQUADR",
          "CTRIA3.", "CTRIA\t3", "C", "CTRIAX6"}) {
        EXPECT_EQ(nbr_elements(std::string(keyword) + ",1,1,1,2,3\n"), 0U) << keyword;
        EXPECT_EQ(nbr_elements(card(keyword, {"1", "1", "1", "2", "3"})), 0U) << keyword;
        EXPECT_EQ(nbr_elements(card(std::string(keyword) + "*", {"1", "1", "1", "2"}, 16) +
                               card("*", {"3"}, 16)),
                  0U)
            << keyword;
    }
}

TEST(nastran_input, a_free_keyword_is_not_trimmed) {
    EXPECT_EQ(nbr_elements("CTRIA3 ,1,1,1,2,3\n"), 0U);
    EXPECT_EQ(nbr_elements(" CTRIA3,1,1,1,2,3\n"), 0U);
    EXPECT_EQ(nbr_elements("CHEXA ,1,1,1,2,3,4,5,6,7,8\n"), 0U);
    // A fixed one ends at the first blank.
    EXPECT_EQ(nbr_elements("CTRIA3 x1       1       1       2       3\n"), 1U);
    EXPECT_EQ(nbr_elements(" CTRIA3 1       1       1       2       3\n"), 0U);
}

TEST(nastran_input, properties_and_nodes_are_stored_as_they_are) {
    const deck_arrays deck = read_deck("CBAR,5,-3,0,99\nCBAR,5,,-1,100\nCBAR,5,x,1,2\n"
                                       "CBAR    5       -3      0       0\n");
    EXPECT_EQ(list(deck.connect), (id_lists{{none, 98}, {none - 1, 99}, {0, 1}, {none, none}}));
    EXPECT_EQ(list(deck.pids), (std::vector<unsigned int>{0xFFFFFFFDU, 0, 0, 0xFFFFFFFDU}));
    EXPECT_TRUE(deck.pos.empty());
}

TEST(nastran_input, numbers_beyond_an_int_wrap_as_in_the_C_library) {
    const std::string text = card("CBAR*", {"1", "4294967297", "4294967295", "-4294967295"}, 16);
    const deck_arrays deck = read_deck(text);
    int value = 0;
    std::vector<unsigned int> expected;
    for (const char* const field : {"4294967297", "4294967295", "-4294967295"}) {
        ASSERT_EQ(std::sscanf(field, "%d", &value), 1);
        expected.push_back(static_cast<unsigned int>(value));
    }
    EXPECT_EQ(list(deck.pids), std::vector<unsigned int>{expected[0]});
    EXPECT_EQ(list(deck.connect), (id_lists{{expected[1] - 1, expected[2] - 1}}));
}

TEST(nastran_input, the_first_fixed_field_without_an_integer_ends_the_line) {
    EXPECT_EQ(only_element(card("CTRIA3", {"1", "1", "1", "2", "3", "", "7", "8"}), ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(only_element(card("CTRIA3", {"1", "1", "1", "2", "3", "x", "7"}), ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(only_element(card("CTRIA3", {"1", "1", "1", "2", "3", ".5", "7"}), ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(nbr_elements(card("CTRIA3", {"1", "", "1", "2", "3"})), 0U);
    EXPECT_EQ(nbr_elements(card("CTRIA3", {"", "1", "1", "2", "3"})), 0U);
}

TEST(nastran_input, a_real_in_an_integer_field_is_read_up_to_its_point) {
    // A third number is one too many for a bar.
    EXPECT_EQ(nbr_elements(card("CBAR", {"1", "1", "1", "2", "0.5", "0.", "0."})), 0U);
    EXPECT_EQ(only_element(card("CTRIA3", {"1", "1", "1", "2", "0.5"}), ET_TRIA3),
              (std::vector<unsigned int>{0, 1, none}));
    EXPECT_EQ(only_element(card("CBAR", {"1", "1", "1.9", "2 3"}), ET_BAR2),
              (std::vector<unsigned int>{0, 1}));
}

TEST(nastran_input, a_bar_with_an_orientation_vector_is_dropped) {
    EXPECT_EQ(nbr_elements(card("CBAR", {"1", "1", "1", "2", "0.", "0.", "1."})), 0U);
    EXPECT_EQ(nbr_elements("CBAR,1,1,1,2,0.,0.,1.\n"), 0U);
}

TEST(nastran_input, cards_with_fewer_than_three_numbers_count_for_nothing) {
    EXPECT_EQ(nbr_elements("CTRIA3  1       1\nCTRIA3,1\nCTRIA3*,1\nCTRIA3\n\n"), 0U);
    // What seems to go on after such a line is a card of its own.
    EXPECT_EQ(
        nbr_elements(card("FORCE", {"1", "1", "", "", "", "", "", "", "+"}) + "CTRIA3,1,1,1,2,3\n"),
        1U);
}

TEST(nastran_input, a_comma_makes_a_card_free_whatever_else_it_holds) {
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,3       \n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    // The star belongs to the keyword then.
    EXPECT_EQ(nbr_elements("CTRIA3*,1,1,1,2,3\n"), 0U);
    EXPECT_EQ(nbr_elements("CTRIA3  1       1       1       2       3       ,\n"), 0U);
}

TEST(nastran_input, a_star_anywhere_makes_a_card_large) {
    // Fields of 16, of which the first holds `1       1`.
    EXPECT_EQ(nbr_elements("CBAR    1       1       1       2            *\n"), 0U);
    EXPECT_EQ(only_element("CBAR    1               1               1               2        *\n",
                           ET_BAR2),
              (std::vector<unsigned int>{0, 1}));
    // Behind the 80th character as well.
    EXPECT_EQ(only_element("CBAR    1               1               1               2"
                           "                       *\n",
                           ET_BAR2),
              (std::vector<unsigned int>{0, 1}));
}

TEST(nastran_input, a_tab_is_a_character_of_its_field) {
    EXPECT_EQ(nbr_elements("CTRIA3\t1\t1\t1\t2\t3\n"), 0U);
    EXPECT_EQ(nbr_elements("CTRIA3  \t1      1\t      1       2       3\n"), 1U);
}

TEST(nastran_input, lines_may_end_in_carriage_return_and_line_feed) {
    const deck_arrays deck = read_deck("CTRIA3,1,1,1,2,3\r\nCTRIA3  1       1       4       5  "
                                       "     6\r\nGRID,1,,1.,2.,3.\r\nENDDATA\r\n");
    EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, 2}, {3, 4, 5}}));
    EXPECT_EQ(list(deck.pos), (number_lists{{1, 2, 3}}));
}

// ---- Continuations

TEST(nastran_input, eight_integers_and_a_line_that_starts_blank_are_one_card) {
    EXPECT_EQ(
        only_element(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) + card("", {"7", "8"}),
                     ET_HEXA8),
        (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7}));
    // A line that doesn't start blank is another card.
    EXPECT_EQ(nbr_elements(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
                           card("X", {"7", "8"})),
              0U);
    EXPECT_EQ(nbr_elements(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
                           "\t       7       8\n"),
              0U);
}

TEST(nastran_input, the_implicit_continuation_works_once_for_a_card) {
    // After the second line the card has 16 integers.
    EXPECT_EQ(nbr_elements(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
                           card("", {"7", "8", "9", "10", "11", "12", "13", "14"}) +
                           card("", {"15", "16", "17", "18", "19", "20"})),
              0U);
    // Announced, the second may go on.
    EXPECT_EQ(nbr_elements(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
                           card("", {"7", "8", "9", "10", "11", "12", "13", "14", "+"}) +
                           card("", {"15", "16", "17", "18", "19", "20"})),
              1U);
}

TEST(nastran_input, fewer_than_eight_integers_have_no_implicit_continuation) {
    EXPECT_EQ(nbr_elements(card("CPENTA", {"1", "1", "1", "2", "3", "4", "5"}) +
                           card("", {"6", "7", "8"})),
              0U);
    EXPECT_EQ(only_element(card("CTRIA3", {"1", "1", "1", "2", "3"}) + card("", {"4", "5", "6"}),
                           ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
}

TEST(nastran_input, a_full_first_line_swallows_a_line_that_starts_blank) {
    // Six nodes fill the card of a triangle; the line behind makes them too many.
    EXPECT_EQ(nbr_elements(card("CTRIA6", {"1", "1", "1", "2", "3", "4", "5", "6"})), 1U);
    EXPECT_EQ(
        nbr_elements(card("CTRIA6", {"1", "1", "1", "2", "3", "4", "5", "6"}) + card("", {"0."})),
        0U);
    // A blank line adds nothing to it.
    EXPECT_EQ(nbr_elements(card("CTRIA6", {"1", "1", "1", "2", "3", "4", "5", "6"}) + "  \n"), 1U);
    EXPECT_EQ(nbr_elements(card("CTRIA6", {"1", "1", "1", "2", "3", "4", "5", "6"}) + " ENDDATA\n" +
                           card("CTRIA6", {"1", "1", "1", "2", "3", "4", "5", "6"})),
              2U);
}

TEST(nastran_input, a_mark_in_the_last_small_field_takes_the_next_line_whatever_it_is) {
    const std::string first = card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6", "+"});
    for (const std::string& second :
         {card("+", {"7", "8"}), card("", {"7", "8"}), card("$", {"7", "8"}),
          card("CTRIA3", {"7", "8"}), card("GRID", {"7", "8"}), card("ENDDATA", {"7", "8"}),
          std::string("+,7,8\n"), card("*", {"7", "8"}, 16)}) {
        EXPECT_EQ(only_element(first + second, ET_HEXA8).size(), 8U) << second;
    }
    // Only in its first column.
    EXPECT_EQ(nbr_elements(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6", " +"}) +
                           card("+", {"7", "8"})),
              0U);
}

TEST(nastran_input, a_mark_goes_on_before_the_line_is_full) {
    EXPECT_EQ(only_element(card("CQUAD4", {"1", "1", "1", "2", "", "", "", "", "+Q"}) +
                               card("+Q", {"3", "4"}),
                           ET_QUAD4),
              (std::vector<unsigned int>{0, 1, 2, 3}));
}

TEST(nastran_input, a_continuation_of_one_or_two_nodes_is_complete) {
    // Two integers are fewer than three, so that the mark behind them is not followed.
    EXPECT_EQ(only_element(card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6", "+"}) +
                               card("+", {"7", "8", "", "", "", "", "", "", "+"}) +
                               "CTRIA3  1       1       1\n",
                           ET_HEXA8)
                  .size(),
              8U);
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,+\n+,3\n", ET_TRIA3).size(), 3U);
    EXPECT_EQ(nbr_elements("CQUAD4,1,1,1,2,+\n+,3\n+,4\n"), 0U);
}

TEST(nastran_input, an_unknown_card_takes_its_continuations_with_it) {
    EXPECT_EQ(nbr_elements("PCOMP,1,2,3,+\nCTRIA3,1,1,1,2,3\nCTRIA3,1,1,1,2,3\n"), 1U);
    EXPECT_EQ(nbr_elements(card("RBE2", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
                           card(" CTRIA3", {"1", "1", "1"}) + "CTRIA3,1,1,1,2,3\n"),
              1U);
}

TEST(nastran_input, a_star_behind_a_large_keyword_announces_a_continuation_always) {
    EXPECT_EQ(only_element(card("CBAR*", {"1", "1", "1", "2"}, 16) + card("*", {}, 16), ET_BAR2),
              (std::vector<unsigned int>{0, 1}));
    // The next line is taken, card of its own or not.
    EXPECT_EQ(nbr_elements(card("CBAR*", {"1", "1", "1", "2"}, 16) + "CTRIA3,1,1,1,2,3\n"), 0U);
    EXPECT_EQ(only_element(card("CBAR*", {"1", "1", "1", "2"}, 16), ET_BAR2),
              (std::vector<unsigned int>{0, 1}));
}

TEST(nastran_input, a_star_in_the_first_place_announces_nothing) {
    EXPECT_EQ(only_element(card("CHEXA*", {"1", "1", "1", "2"}, 16) +
                               card("*", {"3", "4", "5", "6", "*"}, 16) +
                               card("*", {"7", "8"}, 16) + card("*", {"9"}, 16),
                           ET_HEXA8)
                  .size(),
              8U);
    EXPECT_EQ(nbr_elements(card("CHEXA*", {"1", "1", "1", "2"}, 16) +
                           card("*", {"3", "4", "5", "6"}, 16) + card("*", {"7", "8"}, 16)),
              0U);
}

TEST(nastran_input, a_large_card_may_be_known_by_the_mark_in_its_last_field_alone) {
    EXPECT_EQ(
        only_element(card("CQUAD4", {"1", "1", "1", "2", "*"}, 16) + card("*", {"3", "4"}, 16),
                     ET_QUAD4),
        (std::vector<unsigned int>{0, 1, 2, 3}));
}

TEST(nastran_input, lines_of_one_card_may_have_different_layouts) {
    EXPECT_EQ(only_element("CHEXA,1,1,1,2,3,+\n" + card("*", {"4", "5", "6", "", "*"}, 16) +
                               card("+", {"7", "8"}),
                           ET_HEXA8),
              (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(nastran_input, the_count_of_a_free_line_includes_keyword_and_mark) {
    // Three tokens are enough, though only one of them is a node.
    EXPECT_EQ(only_element("CQUAD4,1,1,1,2,+\n+,3,+\n+,4\n", ET_QUAD4),
              (std::vector<unsigned int>{0, 1, 2, 3}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,+\n+,3,+\n+\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(only_element("CTRIA3,1,+\n+,1,1,2,3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(nbr_elements("CTRIA3,+\n+,1,1,1,2,3\n"), 0U);
}

TEST(nastran_input, a_mark_counts_in_the_last_token_of_a_free_line_only) {
    EXPECT_EQ(only_element("CTRIA3,1,1,+1,+2,3\n", ET_TRIA3), (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,*2,3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, none, 2}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,+3\n+,3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3, +\n"), 0U);
}

TEST(nastran_input, a_trailing_comma_is_one_more_node_of_number_0) {
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3,\n"), 0U);
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,\n", ET_TRIA3), (std::vector<unsigned int>{0, 1, none}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,", ET_TRIA3), (std::vector<unsigned int>{0, 1, none}));
    EXPECT_EQ(only_element("CTRIA3,1,1,,2,3\n", ET_TRIA3), (std::vector<unsigned int>{none, 1, 2}));
}

TEST(nastran_input, a_free_token_of_more_than_8_characters_is_cut_and_ends_its_line) {
    EXPECT_EQ(only_element("CBAR,1,1,1,123456789,7,8,9\n", ET_BAR2),
              (std::vector<unsigned int>{0, 12345677}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,12345678,3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 12345677, 2}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,12345678\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 12345677}));
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,        3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, none}));
    EXPECT_EQ(nbr_elements("CTRIA3          ,1,1,1,2,3\n"), 0U);
    // A long mark is one as well.
    EXPECT_EQ(only_element("CTRIA3,1,1,1,+CONTINUED_HERE\n+,2,3\n", ET_TRIA3),
              (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,+CONTINUED_HERE\n+CONTINUED_HERE,2,3\n+,2,3\n"), 0U);
}

TEST(nastran_input, a_continuation_at_the_end_of_the_file_is_empty) {
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,3,+\n", ET_TRIA3).size(), 3U);
    EXPECT_EQ(only_element("CTRIA3,1,1,1,2,3,+", ET_TRIA3).size(), 3U);
    EXPECT_EQ(
        only_element(card("CTRIA3", {"1", "1", "1", "2", "3", "", "", "", "+"}), ET_TRIA3).size(),
        3U);
    EXPECT_EQ(nbr_elements("CQUAD4,1,1,1,2,3,+\n"), 0U);
}

} // namespace
