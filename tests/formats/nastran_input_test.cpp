// Decks as a whole, runs, and the overloads of NASTRAN_input.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "formats/nastran_cards.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// ---- Files as a whole

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

} // namespace
