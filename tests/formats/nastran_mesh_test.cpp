// Decks read as meshes with a report.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "formats/deck_contents.h"
#include "formats/deck_meshes.h"
#include "support/memory_failure.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = std::vector<unsigned int>;
using strings = std::vector<std::string>;

// A line of fixed fields: a name of 8 columns, then fields of a width.
std::string fixed(const std::string& name, const strings& fields, std::size_t width = 8) {
    std::string line = name + std::string(8 - name.size(), ' ');
    for (const std::string& f : fields) line += std::string(width - f.size(), ' ') + f;
    return line + "\n";
}

// Nodes 1 to n on the x-axis.
std::string grids(unsigned int n) {
    std::string text;
    for (unsigned int k = 1; k <= n; ++k) {
        text += "GRID," + std::to_string(k) + ",," + std::to_string(k) + ".\n";
    }
    return text;
}

TEST(nastran_mesh, nodes_and_elements_come_in_file_order_with_their_numbers) {
    const read_file deck = read_deck_mesh(
        "SOL 101\nCEND\nBEGIN BULK\n" + fixed("CTRIA3", {"501", "7", "30", "10", "20"}) +
        fixed("GRID", {"30", "", "1.", "2.", "3.+0"}) +
        fixed("grid*", {"10", "", "-1.0", "2.5D+1"}, 16) + fixed("*", {".5"}, 16) +
        "GRID,20\nCQUAD4,7,,10,20,30,20\nENDDATA\nGRID,1\n");
    EXPECT_EQ(deck.code, 0) << deck.error();
    EXPECT_EQ(list(deck.m.pos),
              (std::vector<std::vector<double>>{{1, 2, 3}, {-1, 25, 0.5}, {0, 0, 0}}));
    EXPECT_EQ(list(deck.m.node_numbers), (ids{30, 10, 20}));
    EXPECT_EQ(deck.nodes(0), (ids{0, 1, 2}));
    EXPECT_EQ(deck.nodes(1), (ids{1, 2, 0, 2}));
    EXPECT_EQ(list(deck.m.types), (std::vector<int>{ET_TRIA3, ET_QUAD4}));
    EXPECT_EQ(list(deck.m.indices), (ids{0, 1, 2}));
    EXPECT_EQ(list(deck.m.element_numbers), (ids{501, 7}));
    EXPECT_EQ(list(deck.m.pids), (ids{7, 7}));
    EXPECT_TRUE(deck.report.remarks().empty());
    const auto& counts = deck.report.counts();
    ASSERT_EQ(counts.size(), 3U);
    EXPECT_EQ(counts[0].keyword, "CTRIA3");
    EXPECT_EQ(counts[1].keyword, "GRID");
    EXPECT_EQ(counts[1].seen, 3U);
    EXPECT_EQ(counts[1].read, 3U);
    EXPECT_EQ(counts[2].keyword, "CQUAD4");
}

TEST(nastran_mesh, numbers_may_have_gaps_and_come_in_any_order) {
    const read_file deck =
        read_deck_mesh("GRID,4294967294\nGRID,5\nGRID,100000\nGRID,6\n"
                       "CQUAD4,4294967294,4000000000,5,6,100000,4294967294\nCROD,1,1,6,5\n");
    EXPECT_EQ(list(deck.m.node_numbers), (ids{4294967294, 5, 100000, 6}));
    EXPECT_EQ(deck.nodes(0), (ids{1, 3, 2, 0}));
    EXPECT_EQ(deck.nodes(1), (ids{3, 1}));
    EXPECT_EQ(list(deck.m.element_numbers), (ids{4294967294, 1}));
    EXPECT_EQ(list(deck.m.pids), (ids{4000000000, 1}));
}

TEST(nastran_mesh, cards_of_no_mesh_element_are_counted_by_their_names) {
    const read_file deck = read_deck_mesh("MAT1,1,1.+7,,.3\n" + grids(2) +
                                          "CBUSH,1,1,1,2\ncbush,2,1,1,2\nMAT1,2\nRBE2,5,1,123\n");
    EXPECT_EQ(deck.code, 0);
    EXPECT_EQ(deck.sentences(), (strings{"MAT1: 2 not read, first in line 1: no mesh element",
                                         "CBUSH: 2 not read, first in line 4: no mesh element",
                                         "RBE2: 1 not read, in line 7: no mesh element"}));
    EXPECT_TRUE(deck.report.has_lost());
    const auto& counts = deck.report.counts();
    ASSERT_EQ(counts.size(), 4U);
    EXPECT_EQ(counts[0].seen, 2U);
    EXPECT_EQ(counts[0].read, 0U);
    EXPECT_EQ(deck.m.pos.cols(), 2U);
}

TEST(nastran_mesh, a_continuation_without_its_card_is_told) {
    const read_file deck = read_deck_mesh("GRID,1,,,,,,,,+A\n+B,5.\nGRID,2,,,,,,,,+A\n+C,6.\n");
    EXPECT_EQ(deck.sentences(), (strings{"continuation: 2 not read, first in line 2: it continues "
                                         "no card"}));
    EXPECT_EQ(deck.m.pos.cols(), 2U);
}

TEST(nastran_mesh, a_line_that_is_too_long_is_told) {
    const read_file deck = read_deck_mesh("GRID,1" + std::string(1100, ',') + "\nGRID,2\n");
    EXPECT_EQ(deck.sentences(),
              (strings{"GRID: 1 cut, in line 1: a line of more than 1024 characters"}));
    EXPECT_EQ(deck.m.pos.cols(), 2U);
}

TEST(nastran_mesh, blank_mid_side_nodes_make_a_linear_element) {
    const read_file deck = read_deck_mesh(
        grids(10) + "CTETRA,1,1,1,2,3,4,5,6\n,7,8,,10\nCTETRA,2,1,1,2,3,4,5,6\n,7,8,9,10\n"
                    "CTETRA,3,1,1,2,3,4\nCQUAD8,4,1,1,2,3,4\nCTRIA6,5,1,1,2,3,4,,6\n"
                    "CTRIA6,6,1,1,2,3\nCTRIA6,7,1,1,2,3\nCQUAD,8,1,1,2,3,4\n");
    EXPECT_EQ(deck.code, 0) << deck.error();
    EXPECT_EQ(deck.sentences(),
              (strings{"CTETRA: 1 made linear, in line 11: blank mid-side nodes",
                       "CQUAD8: 1 made linear, in line 16: blank mid-side nodes",
                       "CTRIA6: 3 made linear, first in line 17: blank mid-side nodes"}));
    EXPECT_EQ(list(deck.m.types),
              (std::vector<int>{ET_TETRA4, ET_TETRA10, ET_TETRA4, ET_QUAD4, ET_TRIA3, ET_QUAD4}));
    EXPECT_EQ(deck.nodes(0), (ids{0, 2, 1, 3}));
    EXPECT_FALSE(deck.report.has_lost());
}

TEST(nastran_mesh, a_blank_property_is_the_default_or_the_number_of_the_element) {
    const read_file deck =
        read_deck_mesh("CBAR,11,,1,2,0.,1.,0.\nCBAR,12,5,1,2,0.,1.,0.\nCBEAM,13,,1,2,0.,1.,0.\n"
                       "CROD,14,,1,2\nCONROD,15,1,2,99,.5\nBAROR,,70,,,0.,1.,0.\n" +
                       grids(2));
    EXPECT_EQ(list(deck.m.pids), (ids{70, 5, 13, 14, 0}));
    EXPECT_EQ(deck.nodes(4), (ids{0, 1}));
    EXPECT_EQ(list(deck.m.types), (std::vector<int>{ET_BAR2}));
    EXPECT_TRUE(deck.report.remarks().empty());
    EXPECT_EQ(list(read_deck_mesh("BEAMOR,,8\nBEAM,3,,1,2\nBAR,4,,1,2\n" + grids(2)).m.pids),
              (ids{8, 4}));
}

TEST(nastran_mesh, nodes_in_local_systems_are_moved_to_the_basic_one) {
    const read_file deck = read_deck_mesh(
        "GRID,1,5,2.,90.,3.\nGRID,2,,1.,1.,1.\nGRID,3,0,1.,1.,1.\nGRDSET,,6\n"
        "CORD2C,5,6,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\nCORD2R,6,,10.,0.,0.,10.,0.,1.\n,11.,0.,0.\n");
    EXPECT_EQ(deck.code, 0) << deck.error();
    EXPECT_EQ(list(deck.m.pos),
              (std::vector<std::vector<double>>{{10, 2, 3}, {11, 1, 1}, {1, 1, 1}}));
    EXPECT_TRUE(deck.report.remarks().empty());
    EXPECT_EQ(deck.report.counts()[1].keyword, "GRDSET");
    EXPECT_EQ(deck.report.counts()[2].read, 1U);
}

TEST(nastran_mesh, nodes_and_elements_given_again_alike_are_left_out) {
    const read_file deck = read_deck_mesh(
        "GRID,7,,1.\nGRID,3\nGRID,7,0,1.0\nGRID,9,,5.\nGRID,3,,-0.\nCROD,4,1,7,3\nCROD,4,1,7,3\n"
        "CTRIA3,5,1,7,3,9\nCROD,6,1,3,9\nCTRIA3,5,1,7,3,9\nCROD,8,1,9,3\n");
    EXPECT_EQ(deck.code, 0) << deck.error();
    EXPECT_EQ(deck.sentences(), (strings{"GRID: 2 given again, first in line 3: like before",
                                         "CROD: 1 given again, in line 7: like before",
                                         "CTRIA3: 1 given again, in line 10: like before"}));
    EXPECT_EQ(list(deck.m.node_numbers), (ids{7, 3, 9}));
    EXPECT_EQ(list(deck.m.pos),
              (std::vector<std::vector<double>>{{1, 0, 0}, {0, 0, 0}, {5, 0, 0}}));
    EXPECT_EQ(list(deck.m.element_numbers), (ids{4, 5, 6, 8}));
    EXPECT_EQ(list(deck.m.types), (std::vector<int>{ET_BAR2, ET_TRIA3, ET_BAR2}));
    EXPECT_EQ(list(deck.m.indices), (ids{0, 1, 2, 4}));
    EXPECT_EQ(deck.nodes(2), (ids{1, 2}));
    EXPECT_EQ(deck.nodes(3), (ids{2, 1}));
}

TEST(nastran_mesh, elements_of_different_cards_may_share_a_number) {
    const read_file deck =
        read_deck_mesh(grids(4) + "CQUAD4,1,1,1,2,3,4\nCTRIA3,2,1,1,2,3\nCTRIA3,1,1,1,2,3\n");
    EXPECT_EQ(deck.sentences(), (strings{"CTRIA3: 1 has a number that was given before, in line 7: "
                                         "on other cards"}));
    EXPECT_EQ(deck.m.connect.cols(), 3U);
    EXPECT_EQ(list(deck.m.element_numbers), (ids{1, 2, 1}));
}

TEST(nastran_mesh, what_breaks_the_rules_is_told_with_its_line_and_column) {
    const auto error = [](const std::string& text) {
        const read_file deck = read_deck_mesh(text);
        EXPECT_EQ(deck.code, -102) << text;
        return deck.error();
    };
    const std::string two = grids(2);
    EXPECT_EQ(error("GRID,1\nGRID,2,,x\n"), "line 2, column 9: GRID: a real number is expected");
    EXPECT_EQ(error("GRID,1\n\n" + fixed("GRID", {"2", "1.5"})),
              "line 3, column 17: GRID: an integer is expected");
    EXPECT_EQ(error("GRID,-1\n"),
              "line 1, column 6: GRID: a number from 1 to 4294967294 is expected");
    EXPECT_EQ(error("GRID,,,1.\n"),
              "line 1, column 6: GRID: a number is expected in a blank field");
    EXPECT_EQ(error("GRID,1,,1.+999\n"),
              "line 1, column 9: GRID: a number within the range of its type is expected");
    EXPECT_EQ(error("GRID,1,,." + std::string(150, '3') + "\n"),
              "line 1, column 9: GRID: a number of at most 100 characters is expected");
    EXPECT_EQ(error(two + "CROD,1,1,1\n"),
              "line 3, column 11: CROD: a number is expected in a blank field");
    EXPECT_EQ(error(two + "CHEXA,1,1,1,2,1,2,1,2\n+,1,x\n"),
              "line 4, column 5: CHEXA: an integer is expected");
    EXPECT_EQ(error("BAROR,,x\n"), "line 1, column 8: BAROR: an integer is expected");
    EXPECT_EQ(error("BAROR,,7\nBAROR,,7\nBEAMOR,,8\nBEAMOR\n"),
              "line 4, column 17: BEAMOR: other values were given before");
    EXPECT_EQ(error("BAROR\nBEAMOR,,8\nBAROR,,7\n"),
              "line 3, column 8: BAROR: other values were given before");
    EXPECT_EQ(error("GRDSET,,x\n"), "line 1, column 9: GRDSET: an integer is expected");
    EXPECT_EQ(error("GRDSET,,1\nGRDSET,,2\n"),
              "line 2, column 1: GRDSET: other values were given before");
    EXPECT_EQ(error("CORD1R,1,1,2,x\n"), "line 1, column 14: CORD1R: an integer is expected");
    EXPECT_EQ(error("CORD1R,1,1,2,3\nCORD1R,1,1,3,2\n"),
              "line 2, column 8: CORD1R: coordinate system 1 was given before with other values");
}

TEST(nastran_mesh, what_does_not_fit_together_is_told_with_its_line) {
    const auto error = [](const std::string& text) {
        const read_file deck = read_deck_mesh(text);
        EXPECT_EQ(deck.code, -102) << text;
        return deck.error();
    };
    EXPECT_EQ(error(grids(2) + "CROD,1,1,1,2\n$\nCROD,8,1,2,3\n"),
              "line 5: node 3 of CROD 8 is not in the deck");
    EXPECT_EQ(error("GRID,9\n$\n$\n" + grids(2) + "CROD,8,1,2,3\n"),
              "line 6: node 3 of CROD 8 is not in the deck");
    EXPECT_EQ(error("GRID,1,,1.\nGRID,2\n$\nGRID,1,,2.\n"),
              "line 4: node 1 was given before with other values, in line 1");
    EXPECT_EQ(error(grids(2) + "CROD,1,1,1,2\nCROD,1,1,2,1\n"),
              "line 4: CROD 1 was given before with other values, in line 3");
    EXPECT_EQ(error(grids(2) + "CROD,1,1,1,2\nCROD,1,2,1,2\n"),
              "line 4: CROD 1 was given before with other values, in line 3");
    EXPECT_EQ(error("\nGRID,1,5\n"), "line 2: coordinate system 5 is not in the deck");
    const std::string axes = ",0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n";
    EXPECT_EQ(error("GRID,1,5\nCORD2R,5,6" + axes), "line 2: coordinate system 6, in which "
                                                    "coordinate system 5 is given, is not in the "
                                                    "deck");
    EXPECT_EQ(error("GRID,1\nCORD2R,5,5" + axes), "line 2: coordinate system 5 refers to itself");
    EXPECT_EQ(error("GRID,1\nCORD2R,5,6" + axes + "CORD2R,6,5" + axes),
              "line 2: coordinate systems refer to each other: 5, 6");
    std::string circle = "GRID,1\n";
    for (int k = 1; k <= 20; ++k) {
        circle += "CORD2R," + std::to_string(k) + "," + std::to_string(k % 20 + 1) + axes;
    }
    EXPECT_EQ(error(circle),
              "line 2: coordinate systems refer to each other: 1, 2, 3, 4, 5, 6, 7, 8 ...");
    EXPECT_EQ(error("GRID,1\nGRID,4,5\nCORD1R,5,1,2,3\n"),
              "line 3: node 2 of coordinate system 5 is not "
              "in the deck");
    EXPECT_EQ(error("GRID,1,5\nCORD2R,5\n"), "line 2: the points of coordinate system 5 lie on one "
                                             "line");
}

// No memory holds so many: the columns are not looked at.
TEST(nastran_mesh, more_nodes_or_elements_than_ids_are_refused) {
    double x = 0.0;
    unsigned int id = 0;
    for (const bool are_nodes : {true, false}) {
        mesh m;
        if (are_nodes) m.pos = dense2D<double>::wrap(&x, 1, none);
        if (!are_nodes) m.connect = dense2D<unsigned int>::wrap(&id, 1, none);
        file_report report;
        report_builder builder(report, "", file_format::nastran);
        deck_contents deck;
        EXPECT_EQ(finish_deck_mesh(m, deck, builder), -102);
        builder.finish();
        EXPECT_EQ(report.error()->sentence, "less than 4294967295 nodes and elements are expected");
    }
}

TEST(nastran_mesh, a_deck_without_cards_is_empty_and_cards_without_a_node_are_no_mesh) {
    for (const char* const text : {"", "$ comment\n\n", "BEGIN BULK\nENDDATA\n", "ENDDATA\nGRID"}) {
        const read_file deck = read_deck_mesh(text);
        EXPECT_EQ(deck.code, 0) << text;
        EXPECT_TRUE(deck.m.pos.empty() && deck.m.types.empty()) << text;
        EXPECT_TRUE(deck.report.counts().empty());
    }
    for (const char* const text : {"MAT1,1\n", "hello\n", "\x01\x02\x03\n\x04", "+,1\n"}) {
        const read_file deck = read_deck_mesh(text);
        EXPECT_EQ(deck.code, -102) << text;
        EXPECT_EQ(deck.error(), "a card GRID is expected, and there is none");
    }
    EXPECT_EQ(read_deck_mesh(std::string(8, '\0') + "\n").code, -102);
}

TEST(nastran_mesh, lines_like_the_one_before_may_be_followed_by_others) {
    // Each of these follows lines of digits, and is read as it would be alone.
    const std::string head = grids(8) + "CROD,1,1,1,2\nCROD,2,1,2,3\nCROD,3,1,3,4\n";
    const auto numbers = [&](const std::string& tail) {
        return list(read_deck_mesh(head + tail).m.element_numbers);
    };
    EXPECT_EQ(numbers(""), (ids{1, 2, 3}));
    EXPECT_EQ(numbers("CROD,4,1,4,5"), (ids{1, 2, 3, 4}));
    EXPECT_EQ(numbers("CROD,4,1,4,5\n$\nCROD,5,1,4,5\n"), (ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(numbers("CROD,4,,4,5\nCROD,5,1,4,5\nCROD,6,1,4,5,\n"), (ids{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(numbers("CRODS,4,1,4,5\ncrod,5,1,4,5\nCROD,000000006,1,4,5\nCROD,7,1,4,5\n"),
              (ids{1, 2, 3, 5, 6, 7}));
    EXPECT_EQ(numbers("CROD,4,1,4,5\nENDDATA\nCROD,5,1,4,5\n"), (ids{1, 2, 3, 4}));
    EXPECT_EQ(read_deck_mesh(head + "CROD,4,1,4,0\nCROD,5,1,4,5\n").error(),
              "line 12, column 12: CROD: a number from 1 to 4294967294 is expected");
    EXPECT_EQ(read_deck_mesh(head + "CROD,4,1,4,5\n$\nCROD,5,1,4,9\nCROD,6,1,4,5\n").error(),
              "line 14: node 9 of CROD 5 is not in the deck");
    // What stands on a continuation belongs to the card.
    const read_file deck =
        read_deck_mesh(grids(10) + "CTETRA,1,1,1,2,3,4\nCTETRA,2,1,1,2,3,4\n"
                                   "CTETRA,3,1,1,2,3,4\n,,,,,,\nCTETRA,4,1,1,2,3,4,5,6\n"
                                   "+,7,8,9,10\nCTETRA,5,1,1,2,3,4\n");
    EXPECT_EQ(deck.code, 0) << deck.error();
    EXPECT_EQ(list(deck.m.indices), (ids{0, 3, 4, 5}));
    EXPECT_EQ(deck.report.counts()[1].seen, 5U);
    EXPECT_EQ(deck.report.counts()[1].read, 5U);
    EXPECT_EQ(deck.nodes(1), (ids{0, 2, 1, 3}));
    // An element that is linear for want of nodes is told each time.
    EXPECT_EQ(read_deck_mesh(grids(3) + "CTRIA6,1,1,1,2,3\nCTRIA6,2,1,1,2,3\nCTRIA6,3,1,1,2,3\n")
                  .report.remarks()[0]
                  .count,
              3U);
}

TEST(nastran_mesh, nodes_of_two_lines_are_read_with_what_belongs_to_them) {
    const auto node = [](int n, const std::string& mark, const std::string& second) {
        std::string line = fixed("GRID*", {std::to_string(n), "", "1.", "2.5"}, 16);
        line.insert(line.size() - 1, mark);
        return line + second;
    };
    const std::string z = fixed("*C", {"3."}, 16);
    const std::string first = node(1, "*C", z) + node(2, "*C", z);
    EXPECT_EQ(read_deck_mesh(first + node(3, "*C", z) + "ENDDATA\n").m.pos(2, 2), 3.0);
    EXPECT_EQ(read_deck_mesh(first + node(3, "*C", "")).m.pos(2, 2), 0.0);
    EXPECT_EQ(read_deck_mesh(first + node(3, "*C", fixed("*", {"4."}, 16))).m.pos(2, 2), 4.0);
    EXPECT_EQ(read_deck_mesh(first + node(3, "*C", fixed("*C", {"", "0"}, 16))).m.pos(2, 2), 0.0);
    const read_file other = read_deck_mesh(first + node(3, "*C", fixed("*D", {"4."}, 16)) +
                                           node(4, "*C", z) + "GRID,5\n");
    EXPECT_EQ(list(other.m.node_numbers), (ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(other.m.pos(2, 2), 0.0);
    EXPECT_EQ(other.sentences(),
              (strings{"continuation: 1 not read, in line 6: it continues no card"}));
    EXPECT_EQ(read_deck_mesh(first + node(3, "*C", fixed("*C", {"x"}, 16)) + z).error(),
              "line 6, column 9: GRID: a real number is expected");
    EXPECT_EQ(read_deck_mesh(first + node(1, "*C", fixed("*C", {"4."}, 16)) + "GRID,5\n").error(),
              "line 5: node 1 was given before with other values, in line 1");
    // Lines without a mark before them belong to the card.
    const read_file longer = read_deck_mesh(first + z + node(3, "*C", z) + "GRID,5\n");
    EXPECT_EQ(list(longer.m.node_numbers), (ids{1, 2, 3, 5}));
    EXPECT_TRUE(longer.report.remarks().empty());
    const read_file after = read_deck_mesh(first + node(3, "*C", z) + "CROD,1,1,3,4\n");
    EXPECT_EQ(after.error(), "line 7: node 4 of CROD 1 is not in the deck");
}

TEST(nastran_mesh, a_stream_that_cant_be_put_back_is_read_as_bulk_data) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        std::FILE* const to = fdopen(ends[1], "wb");
        std::fputs(("SOL 101\nBEGIN BULK\n" + grids(2) + "CROD,1,1,1,2\nENDDATA\n").c_str(), to);
        std::fclose(to);
    });
    std::FILE* const from = fdopen(ends[0], "rb");
    read_file deck;
    deck.code = read_mesh(from, file_format::nastran, deck.m, deck.report);
    writer.join();
    std::fclose(from);
    check_deck(deck);
    EXPECT_EQ(deck.m.connect.cols(), 1U);
    EXPECT_EQ(deck.sentences(), (strings{"SOL 101: 1 not read, in line 1: no mesh element"}));
}

TEST(nastran_mesh, a_stream_that_the_system_cant_read_is_told) {
    std::FILE* const folder = std::fopen("/proc", "rb");
    ASSERT_TRUE(folder);
    read_file deck;
    deck.code = read_mesh(folder, file_format::nastran, deck.m, deck.report);
    std::fclose(folder);
    check_deck(deck);
    EXPECT_EQ(deck.code, -1);
    EXPECT_EQ(deck.error(), "the system failed to read the file");
}

// Files in a folder of their own.
class deck_folder {
public:
    explicit deck_folder(const std::vector<std::pair<std::string, std::string>>& files)
        : folder_(std::string(base_.name()) + "_folder") {
        std::filesystem::create_directories(folder_ + "/parts");
        for (const auto& [name, text] : files) {
            std::ofstream(folder_ + "/" + name, std::ios::binary) << text;
        }
    }
    ~deck_folder() { std::filesystem::remove_all(folder_); }
    deck_folder(const deck_folder&) = delete;
    deck_folder& operator=(const deck_folder&) = delete;

    read_file read(const std::string& name) const {
        read_file deck;
        deck.code = read_mesh((folder_ + "/" + name).c_str(), deck.m, deck.report);
        check_deck(deck);
        return deck;
    }
    // A text with the name of the folder taken out.
    std::string without_folder(std::string text) const {
        const std::string name = folder_ + "/";
        for (std::size_t at = 0; (at = text.find(name)) != std::string::npos;) {
            text.erase(at, name.size());
        }
        return text;
    }

private:
    scratch_file base_;
    std::string folder_;
};

TEST(nastran_mesh, remarks_on_included_files_come_in_the_order_of_reading) {
    const deck_folder folder(
        {{"wing.bdf", "MAT1,1\nGRID,1\nINCLUDE 'parts/\n  skin.inc'\nMAT8,1\nCROD,1,1,1,2\n"},
         {"parts/skin.inc", "GRID,2\nCBUSH,1\nINCLUDE ribs.inc\nCBUSH,2\n"},
         {"parts/ribs.inc", "RBE2,1\nMAT8,2\nGRID,1\n"}});
    const read_file deck = folder.read("wing.bdf");
    EXPECT_EQ(deck.code, 0) << deck.error();
    strings texts;
    for (const std::string& s : deck.sentences()) texts.push_back(folder.without_folder(s));
    const std::string why = ": no mesh element";
    EXPECT_EQ(texts, (strings{"MAT1: 1 not read, in line 1" + why,
                              "CBUSH: 2 not read, first in line 2 of parts/skin.inc" + why,
                              "RBE2: 1 not read, in line 1 of parts/ribs.inc" + why,
                              "MAT8: 2 not read, first in line 2 of parts/ribs.inc" + why,
                              "GRID: 1 given again, in line 3 of parts/ribs.inc: like before"}));
    EXPECT_EQ(list(deck.m.node_numbers), (ids{1, 2}));
}

TEST(nastran_mesh, a_fault_in_an_included_file_names_it) {
    const deck_folder folder({{"a.bdf", "GRID,1\nINCLUDE 'parts/b.inc'\nGRID,2\n"},
                              {"parts/b.inc", "\nGRID,x\n"},
                              {"c.bdf", "GRID,1,,1.\nINCLUDE d.inc\n"},
                              {"d.inc", "GRID,2\nGRID,1,,2.\nCROD,1,1,1,3\n"},
                              {"e.bdf", "INCLUDE d.inc\nGRID,4\n"}});
    EXPECT_EQ(folder.without_folder(folder.read("a.bdf").error()),
              "parts/b.inc, line 2, column 6: GRID: an integer is expected");
    EXPECT_EQ(folder.without_folder(folder.read("c.bdf").error()),
              "d.inc, line 2: node 1 was given before with other values, in line 1 of c.bdf");
    EXPECT_EQ(folder.without_folder(folder.read("e.bdf").error()),
              "d.inc, line 3: node 3 of CROD 1 is not in the deck");
}

TEST(nastran_mesh, an_include_that_cant_be_followed_is_told_with_its_line) {
    const deck_folder folder({{"a.bdf", "GRID,1\n$\nINCLUDE 'gone.inc'\n"},
                              {"b.bdf", "GRID,1\nINCLUDE parts\n"},
                              {"c.bdf", "GRID,1\nINCLUDE c.bdf\n"},
                              {"d.bdf", "GRID,1\nINCLUDE\n"},
                              {"e.bdf", "GRID,1\nINCLUDE 'x\x1b[1m'\n"}});
    const auto error = [&](const char* name, int code) {
        const read_file deck = folder.read(name);
        EXPECT_EQ(deck.code, code);
        return folder.without_folder(deck.error());
    };
    EXPECT_EQ(error("a.bdf", -1), "a.bdf, line 3: INCLUDE: the file can't be opened: gone.inc");
    EXPECT_EQ(error("b.bdf", -1), "b.bdf, line 2: INCLUDE: a regular file is expected: parts");
    EXPECT_EQ(error("c.bdf", -102), "c.bdf, line 2: INCLUDE: the file includes itself: c.bdf");
    EXPECT_EQ(error("d.bdf", -102), "d.bdf, line 2: INCLUDE: the name of a file is expected");
    EXPECT_EQ(error("e.bdf", -1), "e.bdf, line 2: INCLUDE: the file can't be opened: x?[1m");
}

TEST(nastran_mesh, text_behind_the_quotes_of_an_include_is_told_with_its_line) {
    const std::string behind = "with text behind the quotes, ";
    const deck_folder folder(
        {{"a.bdf", "INCLUDE 'parts/b.inc' $ all of it\nINCLUDE \"c.inc\"\t \nGRID,1\n"},
         {"one.bdf", "GRID,1\nINCLUDE 'parts/\n b.inc', GRID,7\n"},
         {"case.bdf", "INCLUDE 'c.inc' 'parts/b.inc'\nBEGIN BULK\nGRID,1\n"},
         {"long.bdf", "GRID,1\nINCLUDE 'c.inc'" + std::string(1010, ' ') + "x\n"},
         {"most.bdf", "GRID,1\nINCLUDE 'c.inc'" + std::string(1009, ' ') + "\n"},
         {"many.bdf", "GRID,1\nINCLUDE 'parts/d.inc';\nINCLUDE 'c.inc' x$y\n"},
         {"fault.bdf", "GRID,1\nINCLUDE 'c.inc'x\nGRID,x\n"},
         {"parts/b.inc", "GRID,2\n"},
         {"parts/d.inc", "\nINCLUDE 'b.inc' \x01\n"},
         {"c.inc", "GRID,3\n"}});
    const auto sentence = [&](const char* name, std::size_t nbr_nodes) {
        const read_file deck = folder.read(name);
        EXPECT_EQ(deck.m.pos.cols(), nbr_nodes) << name;
        return deck.sentences().empty() ? "" : folder.without_folder(deck.sentences()[0]);
    };
    EXPECT_EQ(sentence("a.bdf", 3), "");
    EXPECT_EQ(sentence("one.bdf", 2), "INCLUDE: 1 " + behind + "in line 3: it is not read");
    EXPECT_EQ(sentence("case.bdf", 1), "INCLUDE: 1 " + behind + "in line 1: it is not read");
    EXPECT_EQ(sentence("long.bdf", 2), "INCLUDE: 1 " + behind + "in line 2: it is not read");
    EXPECT_EQ(sentence("most.bdf", 2), "");
    EXPECT_EQ(sentence("many.bdf", 3), "INCLUDE: 3 " + behind + "first in line 2: it is not read");
    EXPECT_EQ(sentence("fault.bdf", 0), "INCLUDE: 1 " + behind + "in line 2: it is not read");
    EXPECT_TRUE(folder.read("one.bdf").report.has_lost());
}

TEST(nastran_mesh, files_that_include_each_other_are_bounded) {
    std::vector<std::pair<std::string, std::string>> files;
    for (int k = 0; k < 18; ++k) {
        files.emplace_back(std::to_string(k) + ".bdf",
                           "INCLUDE " + std::to_string(k + 1) + ".bdf\n");
    }
    files.emplace_back("many.bdf", "");
    for (int k = 0; k < 102; ++k) files.back().second += "INCLUDE parts/100.inc\n";
    files.emplace_back("parts/100.inc", "");
    for (int k = 0; k < 100; ++k) files.back().second += "INCLUDE one.inc\n";
    files.emplace_back("parts/one.inc", "");
    const deck_folder folder(files);
    EXPECT_EQ(folder.without_folder(folder.read("0.bdf").error()),
              "16.bdf, line 1: INCLUDE: files include each other to a depth above 16");
    const std::string many = folder.without_folder(folder.read("many.bdf").error());
    EXPECT_NE(many.find("INCLUDE: more than 10000 files are included"), std::string::npos) << many;
}

// Nodes out of order, all kinds of cards, and a file that can't be read further.
std::string varied_deck() {
    return "SOL 101\nBEGIN BULK\n" + fixed("GRID", {"4", "", "1.", "2.", "3.", "", "", ""}) +
           fixed("GRID*", {"2", "7", "1.", "2."}, 16) + fixed("*", {"3.5"}, 16) +
           "GRID,9,,1.5-1\nGRID,3\nGRID,3\nGRID,5,7,1.,1.,1.\nCORD2R,7,,0.,0.,0.,0.,0.,1.\n"
           ",1.,0.,0.\nGRDSET,,0\nMAT1,1,1.\nCTRIA3,1,1,2,3,4\nCTRIA3,2,1,2,3,4\n"
           "CTRIA3,3,1,2,3,4\nCQUAD4,7,,2,3,4,5\nCTRIA6,8,1,2,3,4\nCBAR,5,,2,3,0.,0.,1.\n"
           "CTRIA3,2,1,2,3,4\nBAROR,,6\n$ comment\nCTETRA,10,1,2,3,4,5\nENDDATA\n";
}

TEST(nastran_mesh, a_deck_that_ends_at_any_byte_is_read_or_refused) {
    const std::string whole = varied_deck();
    EXPECT_EQ(read_deck_mesh(whole).m.connect.cols(), 7U);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const read_file deck = read_deck_mesh(whole.substr(0, size));
        EXPECT_TRUE(deck.code == 0 || deck.code == -102) << deck.code;
    }
}

TEST(nastran_mesh, any_byte_may_be_another_one) {
    const std::string whole = varied_deck();
    for (const char c : {'\0', '\n', '\r', '\t', ',', '$', '+', '*', ' ', '0', '9', 'E', '\xFF'}) {
        for (std::size_t k = 0; k < whole.size(); ++k) {
            std::string text = whole;
            text[k] = c;
            const read_file deck = read_deck_mesh(text);
            EXPECT_TRUE(deck.code == 0 || deck.code == -102) << deck.code;
        }
    }
}

TEST(nastran_mesh, memory_failure_is_a_code_with_or_without_words) {
    std::string large = varied_deck().substr(0, varied_deck().size() - 8);
    for (int k = 100; k < 400; ++k) {
        const std::string n = std::to_string(k);
        large += "GRID," + std::to_string(900 - k) + "\nCROD," + n + ",1,4,2\nCTRIA3," + n +
                 ",1,2,3,4\n";
    }
    const scratch_stream stream(large);
    mesh whole;
    file_report report;
    ASSERT_EQ(read_mesh(stream.get(), file_format::nastran, whole, report), 0);
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        std::rewind(stream.get());
        read_file deck;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            deck.code = read_mesh(stream.get(), file_format::nastran, deck.m, deck.report);
            happened = failure.happened();
        }
        EXPECT_TRUE(deck.code == 0 || (deck.code == -199 && happened)) << deck.code;
        if (deck.code == 0) {
            EXPECT_EQ(list(deck.m.connect), list(whole.connect));
            EXPECT_EQ(list(deck.m.pos), list(whole.pos));
            EXPECT_EQ(list(deck.m.pids), list(whole.pids));
            EXPECT_EQ(list(deck.m.element_numbers), list(whole.element_numbers));
        } else {
            EXPECT_TRUE(deck.m.connect.empty() && deck.m.pos.empty() && deck.m.indices.empty());
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 40U);
}

TEST(nastran_mesh, many_elements_are_read_from_a_deck_that_is_not_what_its_start_foretells) {
    // Elements of the second half have more nodes and shorter lines, or there are none.
    std::string bars = grids(4);
    const unsigned int n = 120000;
    for (unsigned int k = 1; k <= n; ++k) {
        bars += "CROD," + std::to_string(k) + ",1,1," + std::to_string(2 + k % 3) + "\n";
    }
    std::string quads;
    for (unsigned int k = n + 1; k <= n + 30000; ++k) {
        quads += "CQUAD4," + std::to_string(k) + ",,1,2,3,4\n";
    }
    for (const std::string& tail : {quads, std::string(2000000, '$') + "\n", std::string()}) {
        const scratch_stream stream(bars + tail);
        read_file deck;
        deck.code = read_mesh(stream.get(), file_format::nastran, deck.m, deck.report);
        ASSERT_EQ(deck.code, 0) << deck.error();
        ASSERT_EQ(deck.m.connect.cols(), tail == quads ? n + 30000 : n);
        bool is_same = true;
        for (unsigned int c = 0; c < deck.m.connect.cols(); ++c) {
            const bool is_bar = c < n;
            const unsigned int second = is_bar ? 1 + (c + 1) % 3 : 1;
            is_same = is_same && deck.m.element_numbers[c] == c + 1 && deck.m.connect(0, c) == 0 &&
                      deck.m.connect(1, c) == second && deck.m.pids[c] == (is_bar ? 1 : c + 1) &&
                      (deck.m.connect.rows() == 2 || deck.m.connect(3, c) == (is_bar ? none : 3));
        }
        EXPECT_TRUE(is_same);
    }
}

TEST(nastran_mesh, absurd_counts_and_nesting_come_to_an_end) {
    constexpr int million = 1000000;
    const std::string start = "GRID,1\nMAT1,1\n";
    for (const char* const line : {"+,1\n", "*\n", "\t1\n", "+A      1\n"}) {
        std::string continued = start;
        for (int k = 0; k < million; ++k) continued += line;
        EXPECT_EQ(read_deck_mesh(continued).code, 0);
    }
    const std::string include = start + "INCLUDE '";
    for (const char* const line : {"\"\n", "\"'"}) {
        std::string quotes = include;
        for (int k = 0; k < million; ++k) quotes += line;
        EXPECT_LT(read_deck_mesh(quotes).code, 0);
    }
    EXPECT_EQ(read_deck_mesh(include + std::string(million, '\n')).error(),
              "line 3: INCLUDE: the name of a file is expected");
    std::string names = start;
    for (int k = 0; k < 20000; ++k) {
        names += 'N';
        names += std::to_string(k) + "\n";
    }
    EXPECT_EQ(read_deck_mesh(names).code, 0);
}

} // namespace
