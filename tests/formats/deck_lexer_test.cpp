// Layouts, sections and files of a deck, one by one.
#include "formats/deck_lexer.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "formats/decks.h"
#include "formats/scratch_files.h"
#include "support/failing_call.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// Cards as `NAME a b c`, with a dot for a blank field, without the blank ones at the end.
std::vector<std::string> brief(const std::string& bytes, const files_by_name& files = {}) {
    std::vector<std::string> result;
    for (const plain_card& card : read_all_cards(bytes, files).cards) {
        std::string text = card.name;
        std::string gap;
        for (const plain_field& field : card.fields) {
            gap += " ";
            if (field.text.empty()) {
                gap += ".";
            } else {
                text += gap + field.text;
                gap.clear();
            }
        }
        result.push_back(text);
    }
    return result;
}
using cards = std::vector<std::string>;

std::string ten_million(char c) {
    std::string text;
    text.resize(10'000'000, c);
    return text;
}

TEST(deck_lexer, reads_small_large_and_free_fields_of_one_card) {
    const cards expected{"CHEXA 1 2 3 4 5 6 7 8 9 10"};
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): cards of several lines
    for (const std::string text :
         {"CHEXA   1       2       3       4       5       6       7       8       +A\n"
          "+A      9       10\n",
          "CHEXA*  1               2               3               4               *A\n"
          "*A      5               6               7               8\n"
          "*       9               10\n",
          "CHEXA,1,2,3,4,5,6,7,8,+A\n+A,9,10\n", "CHEXA,1,2,3,4,5,6,7,8\n,9,10\n",
          "CHEXA*,1,2,3,4,*\n*,5,6,7,8\n+,9,10",
          "CHEXA   1       2       3       4       5       6       7       8\n,9,10\n",
          "chexa,1,2,3,4,5,6,7,8,+\n+       9       10\r",
          "CHEXA\t1\t2\t3\t4\t5\t6\t7\t8\n\t9\t10\n",
          "CHEXA,1,2,3,4,5,6,7,8\n*       9               10\n",
          "CHEXA , 1 ,2\t, 3 ,4,5,6,7,8,+B\n  +B    9       10\n"}) {
        EXPECT_EQ(brief(text), expected) << text;
    }
    // NOLINTEND(bugprone-suspicious-missing-comma)
}

TEST(deck_lexer, gives_a_line_room_for_its_fields_whatever_stands_on_it) {
    EXPECT_EQ(brief("PBARL,10,20,,TUBE\n,1.0,0.9\n"),
              (cards{"PBARL 10 20 . TUBE . . . . 1.0 0.9"}));
    EXPECT_EQ(brief("GRID*,1,,0.5\n*,2.5\n"), (cards{"GRID 1 . 0.5 . 2.5"}));
    const auto read = read_all_cards("MATHP   1\n+\n+\n        7\n");
    ASSERT_EQ(read.cards.size(), 1U);
    EXPECT_EQ(read.cards[0].fields.at(24).text, "7");
}

TEST(deck_lexer, takes_no_field_for_commas_at_the_end) {
    EXPECT_EQ(brief("PLY,1,2,3,4,YES,,,UNI,\n+,3,\n"), (cards{"PLY 1 2 3 4 YES . . UNI 3"}));
    EXPECT_EQ(brief("PBARL,100,1000,,BAR,,,,,,,,,\n,10.\n"),
              (cards{"PBARL 100 1000 . BAR . . . . 10."}));
    EXPECT_EQ(brief("GRID,1,\nGRID,2,,,,,,,,,,,,\n"), (cards{"GRID 1", "GRID 2"}));
}

TEST(deck_lexer, reads_a_free_line_that_is_longer_than_its_layout) {
    EXPECT_EQ(brief("CQUAD8,1,2,3,4,5,6,7,8,9,10\n,11\n"),
              (cards{"CQUAD8 1 2 3 4 5 6 7 8 9 10 . . . . . . 11"}));
    EXPECT_EQ(brief("GRID*,1,,1.,2.,3.\n"), (cards{"GRID 1 . 1. 2. 3."}));
}

TEST(deck_lexer, joins_continuations_marked_by_anything_or_nothing) {
    const std::string full =
        "CTETRA  1       2       3       4       5       6       7       8       ";
    const cards expected{"CTETRA 1 2 3 4 5 6 7 8 9"};
    for (const char* const mark : {"", "+", "*", "+ ", "+C", "C", "1C", "ALUMINUM", "  +C"}) {
        EXPECT_EQ(brief(full + mark + "\n        9\n"), expected) << mark;
        EXPECT_EQ(brief(full + mark + "\n+       9\n"), expected) << mark;
        EXPECT_EQ(brief(full + mark + "\n$ +X\n\n,9\n"), expected) << mark;
    }
    for (const char* const mark : {"", "+C1", "*C1", "XC1", "C1", "+c1", " +C1"}) {
        EXPECT_EQ(brief(full + mark + "\n+C1     9\n"), expected) << mark;
        EXPECT_EQ(brief(full + mark + "\n*c1     9\n"), expected) << mark;
    }
    EXPECT_EQ(brief(full + "WORD1\nWORD1   9\n"), expected);
    EXPECT_EQ(brief("CTETRA,1,2,3,4,5,6,7,8,WORD1\nWORD1,9\n"), expected);
}

TEST(deck_lexer, keeps_a_continuation_of_another_name_apart) {
    EXPECT_EQ(brief("CTETRA,1,2,3,4,5,6,7,8,+A\n+B,9\nCTETRA,1,2,3,4,5,6,7,8,+A\n+B,9\n"),
              (cards{"CTETRA 1 2 3 4 5 6 7 8", " 9", "CTETRA 1 2 3 4 5 6 7 8", " 9"}));
    EXPECT_EQ(brief("+A,7\nGRID,1\n"), (cards{" 7", "GRID 1"}));
}

TEST(deck_lexer, tells_a_comma_of_a_text_from_one_of_free_fields) {
    EXPECT_EQ(brief("DEQATN  2       F(A,B)=B*A\n"), (cards{"DEQATN 2 F(A,B)=B *A"}));
    EXPECT_EQ(brief("GRID    , 1\nGRID         ,1\nCONTINUED9,1\n"),
              (cards{"GRID 1", "GRID 1", "CONTINUE 1"}));
    EXPECT_EQ(brief("GRID    12,3\n"), (cards{"GRID 12,3"}));
}

TEST(deck_lexer, leads_tabs_to_the_next_column_of_eight) {
    EXPECT_EQ(brief("GRID     6               0.     1.      1.\t 12\n"),
              (cards{"GRID 6 . 0. 1. 1. 12"}));
    EXPECT_EQ(brief("GRID\t6\t\t0.\t1.\t1.\n"), (cards{"GRID 6 . 0. 1. 1."}));
    EXPECT_EQ(brief("GRID,\t6,\t,1.\t\n"), (cards{"GRID 6 . 1."}));
}

TEST(deck_lexer, ends_lines_at_any_ending_and_a_file_without_one) {
    const cards expected{"GRID 1", "GRID 2", "GRID 3"};
    for (const char* const text :
         {"GRID,1\nGRID,2\nGRID,3", "GRID,1\r\nGRID,2\r\nGRID,3\r\n", "GRID,1\rGRID,2\rGRID,3\r",
          "\n\rGRID,1\r\n\r\nGRID,2\n\n\nGRID,3", "\xEF\xBB\xBFGRID,1\nGRID,2\rGRID,3\r\n"}) {
        EXPECT_EQ(brief(text), expected) << text;
    }
}

TEST(deck_lexer, takes_nulls_for_characters_as_others_are) {
    const std::string null(1, '\0');
    EXPECT_EQ(brief("GRID,1" + null + ",2\nGRID,3\n"), (cards{"GRID 1" + null + " 2", "GRID 3"}));
    EXPECT_EQ(brief(null + "\nGRID,3\n"), (cards{null, "GRID 3"}));
}

TEST(deck_lexer, skips_the_control_sections) {
    const std::string control =
        "ID A,B\nSOL 101\nCEND\n  TITLE = GRID POINT\nGRID,99\n$ BEGIN BULK\n";
    for (const char* const begin :
         {"BEGIN BULK", "begin bulk", "  BEGIN   BULK $ now", "Begin\tBulk"}) {
        EXPECT_EQ(brief(control + begin + "\nGRID,1\nENDDATA\nGRID,2\n"), (cards{"GRID 1"}))
            << begin;
    }
    EXPECT_EQ(brief("GRID,1\nENDDATA 58e050da\nGRID,2\nBEGIN BULK\nGRID,3\n"), (cards{"GRID 1"}));
    EXPECT_EQ(brief("SOL 1\nBEGIN BULK\nGRID,1\nBEGIN SUPER=2\nGRID,2\n"),
              (cards{"GRID 1", "BEGIN SU PER=2", "GRID 2"}));
}

TEST(deck_lexer, tells_where_fields_stand) {
    const auto read = read_all_cards("SOL 1\nBEGIN BULK\n$\nGRID    1               0.5\n"
                                     "GRID*   1                               0.5\n*  2.5\n"
                                     "GRID, 1,,0.5\n\n+,  7\n");
    ASSERT_EQ(read.cards.size(), 3U);
    EXPECT_EQ(read.cards[0].line, 4U);
    EXPECT_EQ(read.cards[0].fields[2].column, 25U);
    EXPECT_EQ(read.cards[1].fields[2].line, 5U);
    EXPECT_EQ(read.cards[1].fields[2].column, 41U);
    EXPECT_EQ(read.cards[1].fields[4].line, 6U);
    EXPECT_EQ(read.cards[1].fields[4].column, 9U);
    EXPECT_EQ(read.cards[2].fields[2].line, 7U);
    EXPECT_EQ(read.cards[2].fields[2].column, 10U);
    EXPECT_EQ(read.cards[2].fields[8].line, 9U);
    EXPECT_EQ(read.cards[2].fields[8].column, 3U);
}

TEST(deck_lexer, cuts_an_endless_line_and_says_so) {
    const std::string endless = ten_million('7');
    const auto read = read_all_cards("GRID,1\nGRID,2," + endless + "\nGRID,3\n" + endless);
    ASSERT_EQ(read.cards.size(), 4U);
    EXPECT_FALSE(read.cards[0].is_cut);
    EXPECT_TRUE(read.cards[1].is_cut);
    EXPECT_EQ(read.cards[1].fields[1].text.size(), deck_lines::most_length - 7);
    EXPECT_FALSE(read.cards[2].is_cut);
    EXPECT_EQ(read.cards[2].line, 3U);
    EXPECT_TRUE(read.cards[3].is_cut);
}

TEST(deck_lexer, counts_the_fields_of_a_card_without_end_and_keeps_the_first) {
    std::string text = "SPC1,1";
    for (int k = 0; k < 1'000'000; ++k) text += "\n,2,3";
    text += "\nGRID,1\n";
    const auto read = read_all_cards(text);
    ASSERT_EQ(read.cards.size(), 2U);
    EXPECT_EQ(read.nbr_fields[0], 8U * 1'000'001);
    EXPECT_EQ(read.cards[0].fields.size(), deck_card::most_fields);
    EXPECT_EQ(read.cards[0].fields[56].text, "2");
    EXPECT_EQ(read.cards[1].line, 1'000'002U);
}

TEST(deck_lexer, takes_linear_time_for_lines_of_any_ending) {
    for (const char* const end : {"\n", "\r", "\n\r", "\r\n\r"}) {
        std::string text = "$" + std::string(40'000, 'x');
        for (int k = 0; k < 1'000'000; ++k) text += end;
        EXPECT_EQ(brief(text + "GRID,1\r"), (cards{"GRID 1"}));
    }
}

// What precedes BEGIN BULK can't be known there.
TEST(deck_lexer, takes_a_pipe_for_bulk_data_from_its_first_line) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string text = "SOL 101\nBEGIN BULK\nGRID,1\n";
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    std::FILE* const stream = fdopen(ends[0], "r");
    deck_lexer lexer(stream);
    std::vector<std::string> names;
    while (lexer.next()) names.push_back(text_of_name(lexer.card().name()));
    EXPECT_EQ(names, (cards{"SOL 101", "BEGIN BU", "GRID"}));
    std::fclose(stream);
}

// A folder with a deck and what it includes.
class deck_folder {
public:
    deck_folder() {
        char name[] = "/tmp/tessmaker_deck_XXXXXX";
        path_ = mkdtemp(name);
    }
    ~deck_folder() { std::filesystem::remove_all(path_); }
    deck_folder(const deck_folder&) = delete;
    deck_folder& operator=(const deck_folder&) = delete;

    std::string path(const std::string& name) const { return path_ + "/" + name; }
    void write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << text;
    }
    read_cards read(const std::string& name) const {
        std::FILE* const file = std::fopen(path(name).c_str(), "rb");
        read_cards result;
        {
            deck_lexer lexer(file, path(name));
            result = read_all_cards(lexer);
        }
        std::fclose(file);
        return result;
    }

private:
    std::string path_;
};

std::vector<std::string> names_of(const read_cards& read) {
    std::vector<std::string> names;
    for (const plain_card& card : read.cards) names.push_back(card.fields.at(0).text);
    return names;
}

TEST(deck_lexer_includes, look_beside_the_file_that_names_them_then_beside_the_deck) {
    const deck_folder folder;
    folder.write("deck.bdf", "SOL 1\ninclude case.inc\nBEGIN BULK\nGRID,1\nINCLUDE 'sub/one.bdf'\n"
                             "GRID,5\nInclude \"" +
                                 folder.path("sub/two.bdf") + "\"\n");
    folder.write("case.inc", "GRID,99\n");
    folder.write("sub/one.bdf",
                 "GRID,2\nINCLUDE two.bdf $ beside this one\nINCLUDE '\n  three.\nbdf' x\n");
    folder.write("sub/two.bdf", "GRID,3");
    folder.write("three.bdf", "GRID,4\n");
    const std::size_t nbr_open = nbr_open_files();
    const read_cards read = folder.read("deck.bdf");
    EXPECT_EQ(read.fault, "");
    EXPECT_EQ(names_of(read), (cards{"1", "2", "3", "4", "5", "3"}));
    EXPECT_EQ(read.cards[0].file, 0U);
    EXPECT_EQ(read.cards[1].file, 2U);
    EXPECT_EQ(read.cards[2].file, 3U);
    EXPECT_EQ(read.cards[4].file, 0U);
    EXPECT_EQ(read.cards[4].line, 6U);
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST(deck_lexer_includes, fail_with_their_line_and_leave_what_came_before) {
    const deck_folder folder;
    folder.write("itself.bdf", "GRID,1\nINCLUDE 'other.bdf'\n");
    folder.write("other.bdf", "GRID,2\n\nINCLUDE './itself.bdf'\n");
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    struct {
        std::string line;
        const char* fault;
    } const all[] = {{"INCLUDE 'missing.bdf'", "missing"},
                     {"INCLUDE", "name"},
                     {"INCLUDE ''", "name"},
                     {"INCLUDE 'x", "name"},
                     {"INCLUDE '.'", "not a file"},
                     {"INCLUDE '/dev/zero'", "not a file"},
                     {"INCLUDE pipe", "not a file"},
                     {"INCLUDE 'deck.bdf'", "itself"},
                     {"INCLUDE itself.bdf", "itself"},
                     {"INCLUDE '" + std::string(5000, 'x') + "'", "name"}};
    for (const auto& [line, fault] : all) {
        folder.write("deck.bdf", "GRID,0\n" + line + "\nGRID,9\n");
        const read_cards read = folder.read("deck.bdf");
        EXPECT_EQ(read.fault, fault) << line;
        EXPECT_EQ(read.cards.size(), line == "INCLUDE itself.bdf" ? 3U : 1U) << line;
        if (line == "INCLUDE itself.bdf") {
            EXPECT_EQ(read.fault_file, 2U);
            EXPECT_EQ(read.fault_line, 3U);
            EXPECT_EQ(read.fault_path, "./itself.bdf");
        } else {
            EXPECT_EQ(read.fault_file, 0U) << line;
            EXPECT_EQ(read.fault_line, 2U) << line;
        }
    }
}

TEST(deck_lexer_includes, reach_a_depth_of_16) {
    files_by_name files;
    for (int k = 1; k <= 17; ++k) {
        files["f" + std::to_string(k)] =
            "GRID," + std::to_string(k) + "\nINCLUDE f" + std::to_string(k + 1) + "\n";
    }
    const read_cards deep = read_all_cards("INCLUDE f1\n", files);
    EXPECT_EQ(deep.cards.size(), 16U);
    EXPECT_EQ(deep.fault, "depth");
    EXPECT_EQ(deep.fault_file, 16U);
    files["f16"] = "GRID,16\n";
    const read_cards read = read_all_cards("INCLUDE f1\nGRID,0\n", files);
    EXPECT_EQ(read.fault, "");
    EXPECT_EQ(read.cards.size(), 17U);
}

// Ten files in each of ten, and so on, would be 10^16.
TEST(deck_lexer_includes, come_to_an_end_when_files_multiply) {
    files_by_name files;
    for (int k = 1; k <= 16; ++k) {
        for (int n = 0; n < 10; ++n)
            files["f" + std::to_string(k)] += "INCLUDE f" + std::to_string(k + 1) + "\n";
    }
    files["f16"] = "";
    const read_cards read = read_all_cards("INCLUDE f1\n", files);
    EXPECT_EQ(read.fault, "count");
}

TEST(deck_lexer_includes, end_a_card) {
    const files_by_name files{{"a", "+,9\nGRID,2\n"}};
    EXPECT_EQ(brief("GRID,1\nINCLUDE a\n,7\n", files), (cards{"GRID 1", " 9", "GRID 2", " 7"}));
}

TEST(deck_lexer_includes, survive_a_million_quotes) {
    std::string quotes;
    for (int k = 0; k < 1'000'000; ++k) quotes += "'\"\n";
    EXPECT_EQ(read_all_cards("INCLUDE '" + ten_million('\n') + quotes).fault, "name");
    EXPECT_EQ(read_all_cards("INCLUDE " + quotes).fault, "missing");
    EXPECT_EQ(read_all_cards("INCLUDE '" + ten_million('"')).fault, "name");
}

TEST(deck_lexer_memory, fails_by_bad_alloc_or_reads_all) {
    const deck_folder folder;
    folder.write("deck.bdf", "SOL 1\nBEGIN BULK\nGRID,1\nINCLUDE 'one.bdf'\nGRID,3\n");
    folder.write("one.bdf", "GRID,2\nINCLUDE 'two.bdf'\n");
    folder.write("two.bdf", "GRID,2\n");
    const std::size_t nbr_open = nbr_open_files();
    std::size_t nbr_failed = 0;
    for (const bool and_later : {false, true}) {
        for (std::size_t k = 0;; ++k) {
            std::FILE* const file = std::fopen(folder.path("deck.bdf").c_str(), "rb");
            const std::string path = folder.path("deck.bdf");
            const failing_call call = call_failing(k, and_later, [&] {
                deck_lexer lexer(file, path);
                int n = 0;
                while (lexer.next()) ++n;
                return lexer.fault().kind == deck_failure::none ? n : -1;
            });
            std::fclose(file);
            EXPECT_EQ(nbr_open_files(), nbr_open);
            if (!call.failed) {
                EXPECT_EQ(call.code, 4);
                break;
            }
            EXPECT_TRUE(call.threw());
            ++nbr_failed;
        }
    }
    EXPECT_GT(nbr_failed, 8U);
}

} // namespace
