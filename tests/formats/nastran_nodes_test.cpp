// GRID cards.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "formats/nastran_cards.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(nastran_input, a_node_stands_in_the_column_of_its_number_and_skipped_columns_are_zero) {
    const deck_arrays deck = read_deck(card("GRID", {"7", "", "1.5", "2.5", "3.5"}));
    EXPECT_EQ(deck.code, 0);
    EXPECT_EQ(
        list(deck.pos),
        (number_lists{
            {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {1.5, 2.5, 3.5}}));
    EXPECT_TRUE(deck.connect.empty());
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 0}));
}

TEST(nastran_input, many_nodes_far_beyond_the_first_reserve_keep_their_places) {
    std::string text;
    for (int id = 1000; id >= 1; --id) text += card("GRID", {std::to_string(id), "", "1.", "2."});
    for (int id = 1001; id <= 3000; id += 2) {
        text += card("GRID", {std::to_string(id), "", std::to_string(id) + ".", "2."});
    }
    const deck_arrays deck = read_deck(text);
    ASSERT_EQ(deck.pos.cols(), 2999U);
    for (std::size_t c = 0; c < 2999; ++c) {
        const double x = c < 1000 ? 1.0 : c % 2 == 0 ? static_cast<double>(c + 1) : 0.0;
        ASSERT_EQ(deck.pos(0, c), x) << c;
        ASSERT_EQ(deck.pos(1, c), x == 0 ? 0 : 2) << c;
        ASSERT_EQ(deck.pos(2, c), 0) << c;
    }
}

TEST(nastran_input, a_small_node_card_holds_number_and_coordinates_in_fields_of_8) {
    //               GRID    id      cp      x       y       z
    EXPECT_EQ(only_node("GRID           1       0     1.5    -2.5   3.E+1       0\n"),
              (std::vector<double>{1.5, -2.5, 30}));
    // Nothing needs to be between the numbers.
    EXPECT_EQ(only_node("GRID    00000001000000001.000000-2.00000+3.00000 trailing text\n"),
              (std::vector<double>{1, -2, 3}));
    EXPECT_EQ(only_node("GRID    1\n"), (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(only_node("GRID    1"), (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(only_node("GRID    1               4.\r\n"), (std::vector<double>{4, 0, 0}));
}

TEST(nastran_input, whatever_begins_with_the_word_is_a_node) {
    EXPECT_EQ(only_node("GRIDSET 1               1.\n"), (std::vector<double>{1, 0, 0}));
    EXPECT_EQ(only_node("GRID----1               1.\n"), (std::vector<double>{1, 0, 0}));
}

TEST(nastran_input, a_star_behind_the_keyword_leaves_a_node_card_small) {
    EXPECT_EQ(only_node("GRID    1               1.      2.      3.      *\n"),
              (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(only_node("GRID   *1               1.      2.      3.\n"),
              (std::vector<double>{1, 2, 3}));
}

TEST(nastran_input, a_node_behind_a_blank_is_none) {
    const deck_arrays deck = read_deck(" GRID,0,1\n GRID   1       1       1       1\n");
    EXPECT_EQ(deck.code, 0);
    EXPECT_TRUE(deck.pos.empty());
    // The first occurrence of the word decides.
    EXPECT_EQ(only_node("GRID    1       GRID    1.\n"), (std::vector<double>{1, 0, 0}));
}

TEST(nastran_input, an_exponent_may_stand_without_its_letter) {
    EXPECT_EQ(small_real("1.0-3"), std::pow(10.0, -3));
    EXPECT_EQ(small_real("1.5+3"), 1500);
    EXPECT_EQ(small_real("-2.5-2"), std::pow(10.0, -2) * -2.5);
    EXPECT_EQ(large_real("1.5+3"), 1500);
    EXPECT_EQ(large_real("-2.5-2"), std::pow(10.0, -2) * -2.5);
    // The product with a power, not the nearest number.
    EXPECT_EQ(large_real("1.1-23"), std::pow(10.0, -23) * 1.1);
    EXPECT_EQ(large_real("7.3+22"), std::pow(10.0, 22) * 7.3);
}

TEST(nastran_input, numbers_with_an_exponent_letter_are_read_whole) {
    EXPECT_EQ(small_real("1.5E+3"), 1500);
    EXPECT_EQ(small_real("1.5e-3"), 0.0015);
    EXPECT_EQ(large_real("1.1E-23"), 1.1e-23);
    EXPECT_EQ(large_real("-7.3e+22"), -7.3e22);
    EXPECT_EQ(large_real("1.5E3"), 1500);
}

TEST(nastran_input, odd_numbers_in_fixed_fields) {
    EXPECT_EQ(small_real(""), 0);
    EXPECT_EQ(small_real("+5"), 5);
    EXPECT_EQ(small_real("-5"), -5);
    EXPECT_EQ(small_real("7"), 7);
    EXPECT_EQ(small_real(".5"), 0.5);
    EXPECT_EQ(small_real("-"), 0);
    EXPECT_EQ(small_real("x"), 0);
    EXPECT_EQ(small_real("1.5D+3"), 1500); // the letter ends the first number
    EXPECT_EQ(small_real("1.5D3"), 1.5);
    EXPECT_EQ(small_real("2.+0"), 2);
    EXPECT_EQ(small_real("2.-"), 2);
    EXPECT_EQ(small_real("1.5 + 3"), 1500); // blanks don't count
    EXPECT_EQ(small_real("1 2 . 5"), 12.5);
    EXPECT_EQ(small_real("1\t2\v3\f4\r"), 1234);
    EXPECT_EQ(small_real("1.+2-1"), 0.1); // the last sign parts them
    EXPECT_EQ(small_real("--5"), 0);
    EXPECT_EQ(small_real("1.E+2+1"), 1000);
    EXPECT_EQ(large_real("1.+99999999999"), only_node("GRID,1,,inf,0.,0.\n")[0]);
    EXPECT_EQ(large_real("1.+400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(large_real("1.-400"), 0);
    EXPECT_EQ(large_real("1E400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(large_real("0x10"), 16);
    EXPECT_TRUE(std::isnan(large_real("nan")));
    EXPECT_TRUE(std::signbit(large_real("-0.")));
}

TEST(nastran_input, a_large_node_card_and_its_continuation_are_one_node) {
    EXPECT_EQ(only_node("GRID*                  1               0            1.25           -2.5"
                        "*N1\n"
                        "*N1                 3.75               0\n"),
              (std::vector<double>{1.25, -2.5, 3.75}));
    // Whatever the second line begins with, and whether or not a mark announces it.
    EXPECT_EQ(only_node(card("GRID*", {"1", "", "1.", "2."}, 16) + card("$", {"3."}, 16)),
              (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(only_node(card("GRID*", {"1", "", "1.", "2."}, 16) + card("ENDDATA", {"3."}, 16)),
              (std::vector<double>{1, 2, 3}));
}

TEST(nastran_input, a_large_node_card_at_the_end_of_the_file_lies_in_the_plane) {
    EXPECT_EQ(only_node(card("GRID*", {"1", "", "1.", "2."}, 16)), (std::vector<double>{1, 2, 0}));
    EXPECT_EQ(only_node("GRID*   1"), (std::vector<double>{0, 0, 0}));
}

TEST(nastran_input, a_comma_does_not_make_a_large_node_card_free) {
    EXPECT_EQ(only_node(card("GRID*", {"1,", "", "1.", "2.,"}, 16) + card("*", {"3.,"}, 16)),
              (std::vector<double>{1, 2, 3}));
    const deck_arrays deck = read_deck("GRID*,1,,1.,2.,3.\nGRID,1,,1.,2.,3.\n");
    EXPECT_EQ(deck.code, -1);
    EXPECT_TRUE(deck.pos.empty());
}

TEST(nastran_input, a_free_node_card_has_commas_with_blanks_around) {
    EXPECT_EQ(only_node("GRID,1,0,1.5,-2.5,3e1\n"), (std::vector<double>{1.5, -2.5, 30}));
    EXPECT_EQ(only_node("GRID , 1 , 0 , 1.5 , -2.5 , 3e1 , 0 , 1 , 2 , 3\n"),
              (std::vector<double>{1.5, -2.5, 30}));
    EXPECT_EQ(only_node("GRID,1,,1.5,-2.5,3e1\n"), (std::vector<double>{1.5, -2.5, 30}));
    EXPECT_EQ(only_node("GRID,1, ,1.5,-2.5,3e1,,,\n"), (std::vector<double>{1.5, -2.5, 30}));
    EXPECT_EQ(only_node("GRID\t,\t1,0,1,2,3"), (std::vector<double>{1, 2, 3}));
}

TEST(nastran_input, free_node_cards_have_plain_decimals) {
    // `1.5` ends at the sign, and no comma follows.
    EXPECT_EQ(read_deck("GRID,1,0,1.5+3,2.,3.\n").code, -1);
    // In the last place nothing needs to follow.
    EXPECT_EQ(only_node("GRID,1,0,1.,2.,1.5+3\n"), (std::vector<double>{1, 2, 1.5}));
}

TEST(nastran_input, a_free_node_card_that_lacks_a_number_ends_reading) {
    for (const char* const bad :
         {"GRID,1,0,1.,2.\n", "GRID,1,,1.,2.\n", "GRID,1,0,1.,,3.\n", "GRID,,0,1.,2.,3.\n",
          "GRID,x,0,1.,2.,3.\n", "GRID,1,x,1.,2.,3.\n", "GRIDX,1,0,1.,2.,3.\n", "GRID,\n",
          "GRID 1,0,1.,2.,3.\n", "GRID,1.,0,1.,2.,3.\n"}) {
        const deck_arrays deck = read_deck("GRID,2,,5.,6.,7.\nCTRIA3,1,4,1,2,3\n" +
                                           std::string(bad) + "CTRIA3,1,1,1,2,3\n");
        EXPECT_EQ(deck.code, -1) << bad;
        // What was read stays, and the runs are closed.
        EXPECT_EQ(list(deck.pos), (number_lists{{0, 0, 0}, {5, 6, 7}})) << bad;
        EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, 2}})) << bad;
        EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1})) << bad;
        EXPECT_EQ(list(deck.types), std::vector<int>{ET_TRIA3}) << bad;
        EXPECT_EQ(list(deck.pids), std::vector<unsigned int>{4}) << bad;
    }
}

TEST(nastran_input, a_node_number_of_zero_ends_reading) {
    for (const std::string& bad :
         {std::string("GRID,0,0,1.,2.,3.\n"), std::string("GRID\n"), card("GRID", {"0"}),
          card("GRID", {"x"}), card("GRID*", {"0"}, 16) + card("*", {"1."}, 16),
          card("GRID*", {"4294967296"}, 16) + "*\n"}) {
        const deck_arrays deck = read_deck("CBAR,1,4,1,2\n" + bad + "CBAR,1,1,1,2\n");
        EXPECT_EQ(deck.code, -1) << bad;
        EXPECT_TRUE(deck.pos.empty()) << bad;
        EXPECT_EQ(list(deck.connect), (id_lists{{0, 1}})) << bad;
        EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1})) << bad;
    }
}

TEST(nastran_input, an_absurd_node_number_is_memory_that_fails_at_once) {
    const memory_limit limit(std::size_t{1} << 30);
    for (const std::string& bad :
         {std::string("GRID,4294967295,,1.,2.,3.\n"), std::string("GRID,2147483647,,1.,2.,3.\n"),
          std::string("GRID,-1,,1.,2.,3.\n"), card("GRID", {"-1"}), card("GRID", {"99999999"}),
          card("GRID*", {"4294967295"}, 16) + "*\n", card("GRID*", {"2147483647"}, 16) + "*\n",
          card("GRID*", {"-2147483648"}, 16) + "*\n"}) {
        const auto start = std::chrono::steady_clock::now();
        const deck_arrays deck =
            read_deck("GRID,2,,5.,6.,7.\nCBAR,1,4,1,2\n" + bad + "CBAR,1,1,1,2\n");
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(deck.code, -199) << bad;
        EXPECT_EQ(list(deck.pos), (number_lists{{0, 0, 0}, {5, 6, 7}})) << bad;
        EXPECT_EQ(list(deck.connect), (id_lists{{0, 1}})) << bad;
        EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1})) << bad;
        EXPECT_EQ(list(deck.types), std::vector<int>{ET_BAR2}) << bad;
        EXPECT_EQ(list(deck.pids), std::vector<unsigned int>{4}) << bad;
        EXPECT_LT(time.count(), 1.0) << bad;
    }
}

} // namespace
