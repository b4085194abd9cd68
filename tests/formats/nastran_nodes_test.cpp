#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "formats/nastran_decks.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// Left-aligned fields of one width behind a keyword of 8.
std::string card(const std::string& keyword, const std::vector<std::string>& fields,
                 std::size_t width = 8) {
    std::string line = keyword;
    line.resize(8, ' ');
    for (const std::string& field : fields) {
        line += field;
        line.resize(line.size() + width - field.size(), ' ');
    }
    return line + "\n";
}

// The only element of a deck.
std::vector<unsigned int> only_element(const std::string& text, element_type type) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.connect.cols(), 1U) << text;
    EXPECT_EQ(list(deck.types), std::vector<int>{type}) << text;
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1})) << text;
    EXPECT_EQ(deck.pids.size(), 1U) << text;
    return deck.connect.cols() == 1 ? list(deck.connect)[0] : std::vector<unsigned int>();
}

std::size_t nbr_elements(const std::string& text) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.pids.size(), deck.connect.cols()) << text;
    return deck.connect.cols();
}

// The only node of a deck.
std::vector<double> only_node(const std::string& text) {
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(deck.code, 0) << text;
    EXPECT_EQ(deck.pos.cols(), 1U) << text;
    return deck.pos.cols() == 1 ? list(deck.pos)[0] : std::vector<double>();
}

// A coordinate in a small field.
double small_real(const std::string& field) { return only_node(card("GRID", {"1", "", field}))[0]; }
double large_real(const std::string& field) {
    return only_node(card("GRID*", {"1", "", field}, 16) + card("*", {}, 16))[0];
}

const std::string one_node = "GRID,1,0,1.,2.,3.\n";

// ---- Files as a whole

TEST(nastran_input, an_empty_file_has_no_mesh_and_one_empty_run) {
    const deck_arrays deck = read_deck("");
    EXPECT_EQ(deck.code, 0);
    EXPECT_TRUE(deck.pos.empty());
    EXPECT_TRUE(deck.connect.empty());
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 0}));
    EXPECT_TRUE(deck.types.empty());
    EXPECT_TRUE(deck.pids.empty());
}

TEST(nastran_input, an_empty_file_leaves_two_connectivities_untouched) {
    const auto two = read_as<two_connectivities>("");
    EXPECT_EQ(two.code, 0);
    EXPECT_TRUE(two.pos.empty());
    EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
    EXPECT_EQ(two.type1, ET_QUAD9);
    EXPECT_EQ(two.type2, ET_PYRA14);
}

TEST(nastran_input, an_empty_file_leaves_the_type_of_one_connectivity_untouched) {
    const auto one = read_as<one_connectivity>("");
    EXPECT_EQ(one.code, 0);
    EXPECT_TRUE(one.pos.empty());
    EXPECT_TRUE(one.connect.empty());
    EXPECT_EQ(one.type, ET_QUAD9);
}

TEST(nastran_input, cards_are_read_with_and_without_begin_bulk_and_before_it) {
    const std::string before = "CTRIA3,1,1,1,2,3\n";
    const std::string after = "CTRIA3,1,1,4,5,6\n";
    EXPECT_EQ(list(read_deck(before + after).connect), (id_lists{{0, 1, 2}, {3, 4, 5}}));
    EXPECT_EQ(list(read_deck(before + "BEGIN BULK\n" + after).connect),
              (id_lists{{0, 1, 2}, {3, 4, 5}}));
}

TEST(nastran_input, a_line_with_begin_bulk_anywhere_is_skipped) {
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3,  BEGIN BULK\nENDDATA BEGIN BULK\n"
                           "GRID,0 BEGIN BULK\nCTRIA3,1,1,4,5,6\n"),
              1U);
}

TEST(nastran_input, cards_behind_enddata_are_not_read) {
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3\nENDDATA\nCTRIA3,1,1,4,5,6\nGRID,0\n"), 1U);
}

TEST(nastran_input, enddata_anywhere_in_a_line_ends_reading) {
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3\nCTRIA3,1,1,1,2,3ENDDATA\nCTRIA3,1,1,4,5,6\n"), 1U);
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3\nGRID,0,ENDDATA\nCTRIA3,1,1,4,5,6\n"), 1U);
}

TEST(nastran_input, a_comment_line_with_enddata_does_not_end_reading) {
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3\n$ ENDDATA\n$ENDDATA\nCTRIA3,1,1,4,5,6\n"), 2U);
    // Only in the first column is the mark one of a comment.
    EXPECT_EQ(nbr_elements("CTRIA3,1,1,1,2,3\n $ ENDDATA\nCTRIA3,1,1,4,5,6\n"), 1U);
}

TEST(nastran_input, the_words_are_looked_for_in_capital_letters) {
    EXPECT_EQ(nbr_elements("enddata\nEndData\nctria3,1,1,1,2,3\nCtria3,1,1,1,2,3\ngrid,0\n"
                           "CTRIA3,1,1,4,5,6\n"),
              1U);
}

TEST(nastran_input, a_line_is_255_characters_long_and_a_longer_one_several_lines) {
    // What begins behind them is a card of its own.
    const std::string tail = "CTRIA3,1,9,4,5,6\n";
    EXPECT_EQ(nbr_elements("$" + std::string(254, 'x') + tail), 1U);
    EXPECT_EQ(nbr_elements("$" + std::string(252, 'x') + tail), 0U);
    EXPECT_EQ(nbr_elements("$" + std::string(255, 'x') + tail), 0U);
    EXPECT_EQ(nbr_elements("$" + std::string(254 + 255, 'x') + tail), 1U);
    // A word cut in two is none.
    EXPECT_EQ(nbr_elements("$" + std::string(254, 'x') + "ENDDATA\n" + tail), 0U);
    EXPECT_EQ(nbr_elements("." + std::string(250, 'x') + "ENDDATA\n" + tail), 1U);
}

TEST(nastran_input, reading_starts_where_the_stream_stands_and_stops_behind_enddata) {
    const scratch_stream stream("CTRIA3,1,1,7,8,9\nCTRIA3,1,1,1,2,3\nENDDATA\nGRID,0\n");
    char line[100];
    ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    deck_arrays deck;
    deck.read(stream.get());
    EXPECT_EQ(deck.code, 0);
    EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, 2}}));
    ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    EXPECT_STREQ(line, "GRID,0\n");
}

TEST(nastran_input, a_pipe_is_left_behind_enddata_too) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string text =
        "GRID,1,,1.,2.,3.\nCTRIA3  1       1       1       2       3\nENDDATA\n"
        "GRID,2,,4.,5.,6.\nENDDATA\nthe rest";
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    std::FILE* const file = fdopen(ends[0], "r");
    deck_arrays first;
    first.read(file);
    deck_arrays second;
    second.read(file);
    char line[100] = "";
    EXPECT_NE(std::fgets(line, sizeof line, file), nullptr);
    std::fclose(file);
    EXPECT_EQ(list(first.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(first.connect), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(second.pos), (number_lists{{0, 0, 0}, {4, 5, 6}}));
    EXPECT_STREQ(line, "the rest");
}

TEST(nastran_input, a_character_pushed_back_is_read_first) {
    const scratch_stream stream("CTRIA3,1,1,1,2,3\n");
    ASSERT_EQ(std::ungetc('$', stream.get()), '$');
    deck_arrays deck;
    deck.read(stream.get());
    EXPECT_EQ(deck.code, 0);
    EXPECT_TRUE(deck.connect.empty());
}

TEST(nastran_input, a_stream_that_is_left_because_of_a_bad_node_stands_behind_it) {
    const scratch_stream stream("GRID,0,0,1.,1.,1.\nthe rest");
    deck_arrays deck;
    deck.read(stream.get());
    EXPECT_EQ(deck.code, -1);
    char line[100] = "";
    ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    EXPECT_STREQ(line, "the rest");
}

// ---- Nodes

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

TEST(nastran_input, nodes_come_in_any_order_and_the_later_of_one_number_counts) {
    EXPECT_EQ(list(read_deck("GRID,3,,3.,0.,0.\nGRID,1,,1.,0.,0.\nGRID,3,,4.,5.,6.\n").pos),
              (number_lists{{1, 0, 0}, {0, 0, 0}, {4, 5, 6}}));
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

// ---- Element cards

TEST(nastran_input, a_free_card_holds_keyword_number_property_and_nodes) {
    const deck_arrays deck = read_deck("CQUAD4,1,2,3,4,5,6\n");
    EXPECT_EQ(list(deck.connect), (id_lists{{2, 3, 4, 5}}));
    EXPECT_EQ(list(deck.pids), std::vector<unsigned int>{2});
    EXPECT_EQ(list(deck.types), std::vector<int>{ET_QUAD4});
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1}));
    EXPECT_TRUE(deck.pos.empty());
}

struct keyword_of_type {
    const char* keyword;
    element_type type;
};
constexpr keyword_of_type keywords[] = {
    {"BAR", ET_BAR2},     {"CBAR", ET_BAR2},     {"BEAM", ET_BAR2},    {"CBEAM", ET_BAR2},
    {"ROD", ET_BAR2},     {"CROD", ET_BAR2},     {"TRIA3", ET_TRIA3},  {"CTRIA", ET_TRIA3},
    {"CTRIA3", ET_TRIA3}, {"TRIA6", ET_TRIA6},   {"CTRIA6", ET_TRIA6}, {"QUAD4", ET_QUAD4},
    {"CQUAD", ET_QUAD4},  {"CQUAD4", ET_QUAD4},  {"QUAD8", ET_QUAD8},  {"CQUAD8", ET_QUAD8},
    {"TETRA", ET_TETRA4}, {"CTETRA", ET_TETRA4}, {"PYRA", ET_PYRA5},   {"CPYRA", ET_PYRA5},
    {"PYRAM", ET_PYRA5},  {"CPYRAM", ET_PYRA5},  {"PENTA", ET_PENTA6}, {"CPENTA", ET_PENTA6},
    {"HEXA", ET_HEXA8},   {"CHEXA", ET_HEXA8}};

// A card for the nodes 1, 2, ... in one of the layouts, with every continuation announced.
std::string element_card(const std::string& keyword, std::size_t nbr_nodes, char layout) {
    const std::size_t width = layout == 'l' ? 16 : 8;
    const std::size_t per_line = layout == 'l' ? 4 : 8;
    std::vector<std::string> numbers{"11", "22"};
    for (std::size_t k = 1; k <= nbr_nodes; ++k) numbers.push_back(std::to_string(k));
    std::string text;
    std::string start = keyword + (layout == 'l' ? "*" : "");
    for (std::size_t at = 0; at < numbers.size(); at += per_line) {
        const std::size_t end = std::min(at + per_line, numbers.size());
        const bool more = end < numbers.size();
        std::string line = start;
        if (layout != 'f') line.resize(8, ' ');
        for (std::size_t k = at; k < end; ++k) {
            if (layout == 'f') {
                line += "," + numbers[k];
            } else {
                line += numbers[k];
                line.resize(8 + width * (k - at + 1), ' ');
            }
        }
        const std::string mark = layout == 'l' ? "*" : "+";
        if (more) line += (layout == 'f' ? "," : "") + mark + "M";
        text += line + "\n";
        start = mark + "M";
    }
    return text;
}

// Where the file's n-th node comes to stand.
std::vector<unsigned int> column_of(element_type type) {
    std::vector<unsigned int> column;
    for (const std::size_t k : plain_nastran_order(type)) {
        column.push_back(static_cast<unsigned int>(k));
    }
    return column;
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

// ---- Runs

TEST(nastran_input, each_change_of_type_begins_a_run) {
    const std::string text = "CTRIA3,1,5,1,2,3\nCQUAD4,2,6,1,2,3,4\nCTRIA3,3,7,4,5,6\n";
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 1, 2, 3}));
    EXPECT_EQ(list(deck.types), (std::vector<int>{ET_TRIA3, ET_QUAD4, ET_TRIA3}));
    EXPECT_EQ(list(deck.pids), (std::vector<unsigned int>{5, 6, 7}));
    EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, 3}, {3, 4, 5, none}}));

    const auto one = read_as<one_connectivity>(text);
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(one.type, ET_FACE_MIX);
    EXPECT_EQ(list(one.connect), list(deck.connect));
}

TEST(nastran_input, a_bar_and_a_triangle_have_no_common_type) {
    const auto one = read_as<one_connectivity>("CBAR,1,1,1,2\nCTRIA3,1,1,1,2,3\n");
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(one.type, ET_UNKNOWN);
    EXPECT_EQ(list(one.connect), (id_lists{{0, 1, none}, {0, 1, 2}}));
}

TEST(nastran_input, the_common_type_of_every_pair_of_types) {
    const std::pair<const char*, element_type> cards[] = {
        {"CBAR,1,1,1,2\n", ET_BAR2},
        {"CTRIA3,1,1,1,2,3\n", ET_TRIA3},
        {"CQUAD4,1,1,1,2,3,4\n", ET_QUAD4},
        {"CTRIA6,1,1,1,2,3,4,5,6\n", ET_TRIA6},
        {"CQUAD8,1,1,1,2,3,4,5,6,7,8\n", ET_QUAD8},
        {"CTETRA,1,1,1,2,3,4\n", ET_TETRA4},
        {"CPYRAM,1,1,1,2,3,4,5\n", ET_PYRA5},
        {"CPENTA,1,1,1,2,3,4,5,6\n", ET_PENTA6},
        {"CHEXA,1,1,1,2,3,4,5,6,7,8\n", ET_HEXA8},
        {"CTETRA,1,1,1,2,3,4,5,6,7,8,9,10\n", ET_TETRA10}};
    const auto is_face = [](element_type t) { return t == ET_TRIA3 || t == ET_QUAD4; };
    const auto is_solid = [](element_type t) {
        return t == ET_TETRA4 || t == ET_PYRA5 || t == ET_PENTA6 || t == ET_HEXA8;
    };
    for (const auto& [text1, t1] : cards) {
        for (const auto& [text2, t2] : cards) {
            for (const auto& [text3, t3] : cards) {
                element_type expected = ET_UNKNOWN;
                if (t1 == t2 && t2 == t3)
                    expected = t1;
                else if (is_face(t1) && is_face(t2) && is_face(t3))
                    expected = ET_FACE_MIX;
                else if (is_solid(t1) && is_solid(t2) && is_solid(t3))
                    expected = ET_SOLID_MIX;
                const std::string text = std::string(text1) + text2 + text3;
                EXPECT_EQ(read_as<one_connectivity>(text).type, expected) << text;
            }
        }
    }
}

TEST(nastran_input, a_larger_element_gives_the_columns_before_it_more_rows) {
    std::string text;
    id_lists expected;
    for (unsigned int k = 0; k < 300; ++k) {
        text += "CBAR,1,1,1," + std::to_string(k + 1) + "\n";
        expected.push_back({0, k});
    }
    text += "CQUAD4,1,1,1,2,3,4\nCBAR,1,1,7,8\n" + element_card("CHEXA", 20, 'l') +
            "CTRIA3,1,1,7,8,9\n";
    expected.push_back({0, 1, 2, 3});
    expected.push_back({6, 7});
    expected.push_back(column_of(ET_HEXA20));
    expected.push_back({6, 7, 8});
    for (auto& column : expected) column.resize(20, none);
    const deck_arrays deck = read_deck(text);
    EXPECT_EQ(list(deck.connect), expected);
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 300, 301, 302, 303, 304}));
    EXPECT_EQ(deck.pids.size(), 304U);
}

TEST(nastran_input, dropped_elements_begin_no_run) {
    const deck_arrays deck = read_deck("CQUAD4,1,1,1,2\nCTRIA3,1,8,1,2,3\nCQUAD4,1,1,1,2\n"
                                       "CTRIA3,1,9,4,5,6\nCBAR,1,1\n");
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 2}));
    EXPECT_EQ(list(deck.types), std::vector<int>{ET_TRIA3});
    EXPECT_EQ(list(deck.pids), (std::vector<unsigned int>{8, 9}));
    EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, 2}, {3, 4, 5}}));
}

// ---- Forms

TEST(nastran_input, two_connectivities_are_the_first_two_runs) {
    const std::string text = "GRID,1,,1.,2.,3.\nCTRIA3,1,1,1,2,3\nCTRIA3,1,1,4,5,6\n"
                             "CHEXA,1,1,1,2,3,4,5,6,7,8\nCQUAD4,1,1,1,2,3,4\n";
    auto two = read_as<two_connectivities>(text);
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(list(two.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(two.type1, ET_TRIA3);
    EXPECT_EQ(two.type2, ET_HEXA8);
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, 2}, {3, 4, 5}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{0, 1, 2, 3, 4, 5, 6, 7}}));
    // Both are views on the array of all elements.
    EXPECT_EQ(two.connect1.ld(), 8U);
    EXPECT_EQ(two.connect2.ld(), 8U);
    EXPECT_EQ(two.connect2.column(0), two.connect1.column(0) + 16);
}

TEST(nastran_input, one_run_leaves_the_second_connectivity_untouched) {
    const auto two = read_as<two_connectivities>("CTRIA3,1,1,1,2,3\nCTRIA3,1,1,4,5,6\n");
    EXPECT_EQ(two.type1, ET_TRIA3);
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, 2}, {3, 4, 5}}));
    EXPECT_EQ(two.type2, ET_PYRA14);
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
}

TEST(nastran_input, by_name_what_the_file_lacks_is_emptied) {
    const scratch_file nothing("");
    one_connectivity one;
    one.read(nothing.name());
    EXPECT_EQ(one.code, 0);
    EXPECT_TRUE(one.pos.empty() && one.connect.empty());
    EXPECT_EQ(one.type, ET_UNKNOWN);

    two_connectivities two;
    two.read(nothing.name());
    EXPECT_EQ(two.code, 0);
    EXPECT_TRUE(two.pos.empty() && two.connect1.empty() && two.connect2.empty());
    EXPECT_EQ(two.type1, ET_UNKNOWN);
    EXPECT_EQ(two.type2, ET_UNKNOWN);

    const scratch_file one_run("CTRIA3,1,1,1,2,3\n");
    two = two_connectivities();
    two.read(one_run.name());
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(two.type1, ET_TRIA3);
    EXPECT_TRUE(two.connect2.empty());
    EXPECT_EQ(two.type2, ET_UNKNOWN);
}

TEST(nastran_input, by_name_all_forms_read_what_the_stream_forms_read) {
    const std::string text = one_node + "CTRIA3,1,7,1,2,3\nCQUAD4,1,8,1,2,3,4\n";
    const scratch_file file(text);
    deck_arrays full;
    full.read(file.name());
    EXPECT_EQ(full.code, 0);
    EXPECT_EQ(list(full.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(full.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, 3}}));
    EXPECT_EQ(list(full.indices), (std::vector<unsigned int>{0, 1, 2}));
    EXPECT_EQ(list(full.types), (std::vector<int>{ET_TRIA3, ET_QUAD4}));
    EXPECT_EQ(list(full.pids), (std::vector<unsigned int>{7, 8}));

    one_connectivity one;
    one.read(file.name());
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(list(one.pos), list(full.pos));
    EXPECT_EQ(list(one.connect), list(full.connect));
    EXPECT_EQ(one.type, ET_FACE_MIX);

    two_connectivities two;
    two.read(file.name());
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(list(two.pos), list(full.pos));
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{0, 1, 2, 3}}));
    EXPECT_EQ(two.type1, ET_TRIA3);
    EXPECT_EQ(two.type2, ET_QUAD4);
}

TEST(nastran_input, by_name_the_stream_stays_open) {
    const scratch_file good(one_node);
    const scratch_file bad("GRID,0\n");
    for (const scratch_file* const file : {&good, &bad}) {
        std::size_t nbr_open = nbr_open_files();
        deck_arrays full;
        full.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
        one_connectivity one;
        one.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
        two_connectivities two;
        two.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
    }
}

TEST(nastran_input, a_file_that_cant_be_opened_empties_all_outputs) {
    const scratch_file missing;
    for (const char* const name : {missing.name(), "", static_cast<const char*>(nullptr)}) {
        const std::size_t nbr_open = nbr_open_files();
        deck_arrays full;
        full.read(name);
        EXPECT_EQ(full.code, -1);
        EXPECT_TRUE(full.all_empty());

        one_connectivity one;
        one.read(name);
        EXPECT_EQ(one.code, -1);
        EXPECT_TRUE(one.pos.empty() && one.connect.empty());
        EXPECT_EQ(one.type, ET_UNKNOWN);

        two_connectivities two;
        two.read(name);
        EXPECT_EQ(two.code, -1);
        EXPECT_TRUE(two.pos.empty() && two.connect1.empty() && two.connect2.empty());
        EXPECT_EQ(two.type1, ET_UNKNOWN);
        EXPECT_EQ(two.type2, ET_UNKNOWN);
        EXPECT_EQ(nbr_open_files(), nbr_open);
    }
    EXPECT_FALSE(missing.exists());
}

// A stream with its error mark set.
class failed_stream {
public:
    failed_stream() : file_(std::fopen("/dev/null", "r")) { std::fputc('x', file_); }
    ~failed_stream() { std::fclose(file_); }
    failed_stream(const failed_stream&) = delete;
    failed_stream& operator=(const failed_stream&) = delete;
    std::FILE* get() const { return file_; }

private:
    std::FILE* file_;
};

TEST(nastran_input, no_stream_or_a_failed_one_empties_what_the_form_empties) {
    const failed_stream failed;
    ASSERT_TRUE(std::ferror(failed.get()));
    for (std::FILE* const file : {static_cast<std::FILE*>(nullptr), failed.get()}) {
        deck_arrays full;
        full.read(file);
        EXPECT_EQ(full.code, -1);
        EXPECT_TRUE(full.all_empty());

        one_connectivity one;
        one.read(file);
        EXPECT_EQ(one.code, -1);
        EXPECT_TRUE(one.pos.empty() && one.connect.empty());
        EXPECT_EQ(one.type, ET_QUAD9);

        two_connectivities two;
        two.read(file);
        EXPECT_EQ(two.code, -1);
        EXPECT_TRUE(two.pos.empty());
        EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
        EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
        EXPECT_EQ(two.type1, ET_QUAD9);
        EXPECT_EQ(two.type2, ET_PYRA14);
    }
}

TEST(nastran_input, after_a_failure_types_and_second_arrays_stay_as_they_were) {
    const std::string text = one_node + "CTRIA3,1,1,1,2,3\nCBAR,1,1,1,2\nGRID,0\n";
    const auto one = read_as<one_connectivity>(text);
    EXPECT_EQ(one.code, -1);
    EXPECT_EQ(list(one.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(one.connect), (id_lists{{0, 1, 2}, {0, 1, none}}));
    EXPECT_EQ(one.type, ET_QUAD9);

    const auto two = read_as<two_connectivities>(text);
    EXPECT_EQ(two.code, -1);
    EXPECT_EQ(list(two.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));

    const scratch_file file(text);
    one_connectivity named_one;
    named_one.read(file.name());
    EXPECT_EQ(named_one.code, -1);
    EXPECT_EQ(list(named_one.connect), list(one.connect));
    EXPECT_EQ(named_one.type, ET_UNKNOWN);
    two_connectivities named_two;
    named_two.read(file.name());
    EXPECT_EQ(named_two.code, -1);
    EXPECT_EQ(list(named_two.pos), (number_lists{{1, 2, 3}}));
    EXPECT_TRUE(named_two.connect1.empty() && named_two.connect2.empty());
    EXPECT_EQ(named_two.type1, ET_UNKNOWN);
    EXPECT_EQ(named_two.type2, ET_UNKNOWN);
}

TEST(nastran_input, outputs_that_hold_something_or_are_windows_are_replaced) {
    // Cleared arrays keep their block and their place in it.
    dense2D<double> parent_pos(5, 600, -1.0);
    dense2D<unsigned int> parent_connect(9, 600, 5U);
    deck_arrays deck;
    deck.pos = parent_pos.sub_matrix(1, 3, 2, 4);
    deck.connect = parent_connect.sub_matrix(2, 1, 3, 5);
    const scratch_stream stream(one_node + "CBAR,1,1,1,2\nCTRIA3,1,1,1,2,3\n");
    deck.read(stream.get());
    EXPECT_EQ(deck.code, 0);
    EXPECT_EQ(list(deck.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(deck.connect), (id_lists{{0, 1, none}, {0, 1, 2}}));
    EXPECT_EQ(parent_pos(0, 0), -1.0);
    EXPECT_EQ(parent_connect(8, 0), 5U);
}

// ---- Against the plain reader

TEST(nastran_input, truncated_at_every_byte) {
    std::string text =
        "$ comment\nBEGIN BULK\n" + card("GRID", {"2", "", "1.5", "2.5-1", "3.E+1"}) +
        "GRID,1,0,1.,2.,3.,0\nGRID,3,,1.,2.,3.\n" +
        card("GRID*", {"4", "", "1.25", "-2.5", "*N"}, 16) + card("*N", {"3.75+1"}, 16) +
        element_card("CHEXA", 20, 's') + card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
        card("", {"7", "8"}) + element_card("CHEXA", 8, 'l') + element_card("CPENTA", 15, 'f') +
        "CTRIA6,1,2,3,4,5,6,7,8\r\n" + "CBAR,1,1,1,2,\n,,,\nENDDATA\nGRID,0\n";
    for (std::size_t size = 0; size <= text.size(); ++size) {
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size))) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + "\n")) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + "\nCTRIA3,1,2,3,4,5\n")) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(size))) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + '\0' + text.substr(size))) << size;
    }
}

const std::vector<std::string> odd_integers{"",
                                            "0",
                                            "-1",
                                            "+7",
                                            "1.",
                                            "0.5",
                                            ".5",
                                            "1e3",
                                            "x",
                                            "12x",
                                            "2147483647",
                                            "2147483648",
                                            "-2147483648",
                                            "4294967295",
                                            "4294967296",
                                            "4294967297",
                                            "99999999",
                                            "9999999999999999",
                                            "999999999999999999",
                                            "00000012",
                                            "0x10",
                                            "1 2",
                                            "- 1",
                                            "--1",
                                            "+",
                                            "-",
                                            "+-1",
                                            "\t3",
                                            "3\t",
                                            "\xC2\xA0",
                                            "*",
                                            "+*",
                                            "1\r",
                                            "$",
                                            "'",
                                            "1,2",
                                            "1*2",
                                            "65536",
                                            "65537",
                                            "10000000000",
                                            "-99999999999999",
                                            "\v5",
                                            "5\f",
                                            "12345678",
                                            "123456789"};

const std::vector<std::string> odd_reals{"",          "0",
                                         "1",         "-1.",
                                         ".5",        "1.5E3",
                                         "1.5e-3",    "1.5+3",
                                         "1.5-3",     "-1.5-3",
                                         "+1.5+3",    "1.5D+3",
                                         "1.5D3",     "1.5 + 3",
                                         "1.5E +3",   "1.+",
                                         "1.-",       "-",
                                         "+",         "--1",
                                         "1-2-3",     "1+2E3",
                                         "1E2+3",     "nan",
                                         "-nan",      "inf",
                                         "-inf",      "inf-1",
                                         "nan+2",     "0x1p-3",
                                         "0x1.8",     "1e400",
                                         "1e-400",    "1.+400",
                                         "1.-400",    "1.-320",
                                         "4.9-324",   "1,5",
                                         "1.5.2",     "x",
                                         "1.5x",      "1e",
                                         "1E+",       "1.e-",
                                         "0x",        "0x.p1",
                                         "0x1p",      "0X1.8P+3",
                                         "nan(12)",   "nan(",
                                         "infinity",  "infin",
                                         "in",        "n",
                                         "1e5.5",     "+-1",
                                         "1e0000005", "1e99999",
                                         "-.0e-9999", "4.9e-324",
                                         "2e-324",    "1.7976931348623159e308",
                                         "0b1",       "1_0",
                                         ".",         "e5",
                                         "1d5",       "E+3",
                                         "e-3",       "-E+3",
                                         "1.\t5",     "1.5+3x",
                                         "1.5+ 3",    "1.5+99999",
                                         "1.5-0",     "1.5+00",
                                         "0.1-17",    "3.3+15",
                                         "1.7+308",   "1E+308+1"};

std::string random_integer(random_source& random) {
    if (random.one_in(25)) return random.one_of(odd_integers);
    return std::to_string(random.below(random.one_in(10) ? 40000 : 40));
}

std::string random_real(random_source& random) {
    if (random.one_in(12)) return random.one_of(odd_reals);
    char text[40];
    static const char* const formats[] = {"%.1f", "%.3f", "%.6E", "%.10f", "%.9e", "%g", "%+.2f"};
    std::snprintf(text, sizeof text, formats[random.below(7)],
                  random.uniform(-1, 1) * std::pow(10.0, static_cast<double>(random.below(9)) - 4));
    std::string number = text;
    if (random.one_in(4)) {
        const std::size_t letter = number.find_first_of("eE");
        if (letter != std::string::npos) number.erase(letter, 1);
    }
    return number;
}

// A number in a field of the width, left or right or anywhere in it.
std::string in_field(random_source& random, std::string number, std::size_t width) {
    if (number.size() >= width) return number.substr(0, random.one_in(4) ? number.size() : width);
    const std::size_t gap = width - number.size();
    const std::size_t before = random.one_in(2) ? 0 : random.one_in(2) ? gap : random.below(gap);
    return std::string(before, ' ') + number + std::string(gap - before, ' ');
}

std::string random_mark(random_source& random, char first) {
    static const std::vector<std::string> tails{"", "", "C", "E1", "  ", "CONT", "1234567", "x y"};
    return first + random.one_of(tails);
}

std::vector<std::string> random_node(random_source& random) {
    const std::string id =
        random.one_in(20) ? random.one_of(odd_integers) : std::to_string(1 + random.below(60));
    const std::string system = random.one_in(2) ? "" : random_integer(random);
    const std::string xyz[] = {random_real(random), random_real(random), random_real(random)};
    switch (random.below(4)) {
    case 0: {
        std::string line = "GRID,";
        for (const std::string& text : {id, system, xyz[0], xyz[1], xyz[2]}) {
            line += random.one_in(6) ? " " + text + "  ," : text + ",";
        }
        if (random.one_in(2)) line.pop_back();
        if (random.one_in(3)) line += "0,1,2,3";
        return {line};
    }
    case 1: {
        std::string first = "GRID*   " + in_field(random, id, 16) + in_field(random, system, 16);
        first += in_field(random, xyz[0], 16) + in_field(random, xyz[1], 16);
        if (random.one_in(2)) first += random_mark(random, '*');
        std::string second = random_mark(random, '*');
        second.resize(8, ' ');
        return {first, second + in_field(random, xyz[2], 16)};
    }
    default: {
        std::string line = "GRID    ";
        for (const std::string& text : {id, system, xyz[0], xyz[1], xyz[2]}) {
            line += in_field(random, text, 8);
        }
        return {line};
    }
    }
}

std::vector<std::string> random_element(random_source& random) {
    static const std::vector<std::string> others{"MAT1",   "PSHELL", "FORCE",  "ctria3", "CTRIA",
                                                 "CQUADR", "CBUSH",  "CELAS1", "",       "CTRIA3 "};
    static constexpr element_type second_order[] = {ET_TETRA10, ET_PYRA13, ET_PENTA15, ET_HEXA20};
    const auto& [name, type] = keywords[random.below(std::size(keywords))];
    std::string keyword = random.one_in(15) ? random.one_of(others) : name;
    std::size_t n = nbr_nodes(type);
    if (element_dim(type) == 3 && random.one_in(2)) {
        for (const element_type t : second_order) {
            if (nbr_base_nodes(t) == nbr_base_nodes(type)) n = nbr_nodes(t);
        }
    }
    if (random.one_in(12)) n = random.below(24);
    std::vector<std::string> numbers;
    for (std::size_t k = 0; k < n + 2; ++k) numbers.push_back(random_integer(random));

    std::vector<std::string> lines;
    char layout = "slf"[random.below(3)];
    std::string start = keyword;
    for (std::size_t at = 0; at == 0 || at < numbers.size();) {
        if (random.one_in(30)) layout = "slf"[random.below(3)];
        const std::size_t full = layout == 'l' ? 4 : 8;
        const std::size_t per_line = random.one_in(20) ? random.below(full + 2) + 1 : full;
        const std::size_t end = std::min(at + per_line, numbers.size());
        const bool more = end < numbers.size();
        std::string line = start;
        const char mark = layout == 'l' ? '*' : '+';
        if (layout == 'f') {
            for (std::size_t k = at; k < end; ++k) line += "," + numbers[k];
            if (more != random.one_in(15)) line += "," + random_mark(random, mark);
            if (random.one_in(25)) line += ",";
        } else {
            const std::size_t width = layout == 'l' ? 16 : 8;
            if (layout == 'l' && at == 0) line += "*";
            line.resize(8, ' ');
            for (std::size_t k = at; k < end; ++k) line += in_field(random, numbers[k], width);
            if (more && !random.one_in(4)) {
                if (line.size() < 72) line.resize(72, ' ');
                line += random_mark(random, mark);
            } else if (layout == 'l' && random.one_in(8)) {
                line += std::string(random.below(30), ' ') + "*";
            }
        }
        lines.push_back(line);
        at = std::max(end, at + 1);
        start = random.one_in(3) ? "" : random_mark(random, mark);
    }
    return lines;
}

void mutate_lines(random_source& random, std::vector<std::string>& lines) {
    static const std::vector<std::string> words{
        "BEGIN BULK", "ENDDATA", "$",     "$ ENDDATA", "GRID",      "GRID*",  "",
        " ",          "+",       "*",     ",",         "        1", "CTRIA3", "CEND",
        "\r",         " GRID",   "CBAR*", ",,,,",      "*,,,",      "GRID,"};
    if (lines.empty()) return;
    std::string& line = lines[random.below(lines.size())];
    const std::size_t at = random.below(lines.size());
    switch (random.below(10)) {
    case 0: line = random.one_of(words); break;
    case 1:
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), random.one_of(words));
        break;
    case 2: lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at)); break;
    case 3: std::swap(line, lines[at]); break;
    case 4: line += random.one_of(words); break;
    case 5: line.insert(random.below(line.size() + 1), random.below(300), ' '); break;
    case 6: line += std::string(random.below(300), 'x'); break;
    case 7: line.insert(0, random.one_of(words)); break;
    case 8: line.insert(random.below(line.size() + 1), random.one_of(words)); break;
    default: line.resize(random.below(line.size() + 1)); break;
    }
}

void mutate_bytes(random_source& random, std::string& bytes) {
    if (bytes.empty()) return;
    const std::size_t at = random.below(bytes.size());
    static constexpr char likely[] = " \t\v\f\n\r\0.-+eE0123456789,,,***$GRID";
    switch (random.below(5)) {
    case 0: bytes.erase(at, 1 + random.below(3)); break;
    case 1: bytes.insert(at, 1, likely[random.below(sizeof likely - 1)]); break;
    case 2: bytes[at] = likely[random.below(sizeof likely - 1)]; break;
    case 3: bytes[at] = static_cast<char>(random.below(256)); break;
    default: {
        const std::size_t end = bytes.find('\n', at);
        if (end != std::string::npos) bytes.erase(end, 1);
        break;
    }
    }
}

std::vector<std::string> random_lines(random_source& random) {
    std::vector<std::string> lines;
    for (std::size_t k = random.below(12); k > 0; --k) {
        const auto more = random.one_in(3) ? random_node(random) : random_element(random);
        lines.insert(lines.end(), more.begin(), more.end());
        if (random.one_in(20)) lines.push_back("$ comment");
    }
    return lines;
}

std::string joined(random_source& random, const std::vector<std::string>& lines) {
    const std::string line_end = random.one_in(4) ? "\r\n" : "\n";
    std::string text;
    for (const std::string& line : lines) text += line + line_end;
    if (random.one_in(4) && !text.empty()) text.resize(text.size() - line_end.size());
    return text;
}

TEST(nastran_input_as_the_plain_reader, on_random_decks) {
    int nbr_stored = 0;
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        int nbr_here = 0;
        ASSERT_TRUE(same_as_plain_reader(joined(random, random_lines(random)), &nbr_here))
            << "seed " << seed;
        nbr_stored += nbr_here;
    }
    EXPECT_GT(nbr_stored, 8000); // mostly elements that count
}

TEST(nastran_input_as_the_plain_reader, on_decks_with_faults) {
    const std::uint64_t n = nbr_runs(12000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed + 1000000);
        std::vector<std::string> lines = random_lines(random);
        for (std::size_t k = random.below(4); k > 0; --k) mutate_lines(random, lines);
        std::string text = joined(random, lines);
        for (std::size_t k = random.below(6); k > 0; --k) mutate_bytes(random, text);
        ASSERT_TRUE(same_as_plain_reader(text)) << "seed " << seed;
    }
}

// One field at a time, so that each spelling is judged on its own.
TEST(nastran_input_as_the_plain_reader, on_every_odd_spelling_in_every_field) {
    random_source random(3);
    std::vector<std::string> reals = odd_reals;
    for (int k = 0; k < 3000; ++k) reals.push_back(random_real(random));
    for (const std::string& text : reals) {
        const std::string eight = (text + std::string(8, ' ')).substr(0, 8);
        const std::string sixteen = (text + std::string(16, ' ')).substr(0, 16);
        ASSERT_TRUE(same_as_plain_reader(card("GRID", {"1", "", eight, eight, eight}))) << text;
        ASSERT_TRUE(same_as_plain_reader(card("GRID*", {"1", "", sixteen, sixteen}, 16) +
                                         card("*", {sixteen}, 16)))
            << text;
        for (const char* const form : {"GRID,1,0,%s,2.,3.\n", "GRID,1,,1.,%s,3.\n",
                                       "GRID,1,0,1.,2.,%s\n", "GRID,1,%s,1.,2.,3.\n"}) {
            char line[200];
            std::snprintf(line, sizeof line, form, text.c_str());
            ASSERT_TRUE(same_as_plain_reader(line)) << text;
        }
    }
    std::vector<std::string> integers = odd_integers;
    for (int k = 0; k < 300; ++k) integers.push_back(random_integer(random));
    for (const std::string& text : integers) {
        const std::string eight = (text + std::string(8, ' ')).substr(0, 8);
        const std::string sixteen = (text + std::string(16, ' ')).substr(0, 16);
        for (std::size_t at = 0; at < 5; ++at) {
            std::vector<std::string> small{"1", "2", "3", "4", "5"};
            small[at] = eight;
            ASSERT_TRUE(same_as_plain_reader(card("CTRIA3", small))) << text;
            if (at < 4) {
                std::vector<std::string> large{"1", "2", "3", "4"};
                large[at] = sixteen;
                ASSERT_TRUE(same_as_plain_reader(card("CBAR*", large, 16))) << text;
            }
            std::vector<std::string> tokens{"1", "2", "3", "4", "5"};
            tokens[at] = text;
            std::string line = "CTRIA3";
            for (const std::string& token : tokens) line += "," + token;
            ASSERT_TRUE(same_as_plain_reader(line + "\n")) << text;
            ASSERT_TRUE(same_as_plain_reader(line)) << text;
        }
        ASSERT_TRUE(same_as_plain_reader(card("GRID", {eight, "", "1."}))) << text;
        ASSERT_TRUE(same_as_plain_reader(card("GRID*", {sixteen, "", "1."}, 16))) << text;
        ASSERT_TRUE(same_as_plain_reader("GRID," + text + ",,1.,2.,3.\n")) << text;
        ASSERT_TRUE(same_as_plain_reader("GRID," + text + ",0,1.,2.,3.\n")) << text;
    }
}

TEST(nastran_input_as_the_plain_reader, on_lines_of_every_length_around_the_limits) {
    const std::string cards[] = {card("CTRIA3", {"1", "2", "3", "4", "5"}),
                                 card("CBAR*", {"1", "2", "3", "4"}, 16),
                                 card("CHEXA", {"1", "2", "3", "4", "5", "6", "7", "8", "+C"}),
                                 "CTRIA3,1,2,3,4,5\n",
                                 "CTRIA3,1,2,3,4,5,+\n",
                                 "GRID,1,,1.,2.,3.\n",
                                 card("GRID", {"1", "", "1.", "2.", "3."}),
                                 card("GRID*", {"1", "", "1.", "2."}, 16),
                                 "$\n",
                                 "BEGIN BULK\n",
                                 "ENDDATA\n"};
    for (const std::string& text : cards) {
        const std::string line = text.substr(0, text.size() - 1);
        for (const std::size_t limit : {80U, 255U, 510U}) {
            for (std::size_t length = limit - 10; length <= limit + 4; ++length) {
                if (length < line.size()) continue;
                for (const char fill : {' ', 'x', ',', '*', '1'}) {
                    const std::string padding(length - line.size(), fill);
                    for (const char* const next : {"+,7,8\n", "        7       8\n", "ENDDATA\n",
                                                   "CTRIA3,1,2,3,4,5\n", "GRID,2,,1.,2.,3.\n"}) {
                        ASSERT_TRUE(same_as_plain_reader(line + padding + "\n" + next));
                        ASSERT_TRUE(same_as_plain_reader(line + padding + next));
                        ASSERT_TRUE(same_as_plain_reader(padding + line + "\n" + next));
                    }
                }
            }
        }
    }
}

} // namespace
