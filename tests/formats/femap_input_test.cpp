#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

#include "formats/comma_locale.h"
#include "formats/femap_files.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;
using namespace test::femap_parts;

namespace {

using ids = std::vector<unsigned int>;

// A coordinate, as text.
double real(const std::string& text) {
    const femap_arrays result = read_femap(nodes(femap_node("1", "1.", text, "3.")));
    EXPECT_EQ(result.code, 0) << text;
    EXPECT_EQ(result.pos.cols(), 1U) << text;
    EXPECT_EQ(result.pos(2, 0), 3.0) << text;
    return result.pos(1, 0);
}

// The node in the first slot of a bar, as text.
unsigned int first_node(const std::string& text) {
    const femap_arrays result =
        read_femap(elements("1,1,1,5,0,1,\n" + text + ",2,0,0,0,0,0,0,0,0,\n" +
                            "0,0,0,0,0,0,0,0,0,0,\n" + femap_four_lines));
    EXPECT_EQ(result.code, 0) << text;
    EXPECT_EQ(result.connect.cols(), 1U) << text;
    EXPECT_EQ(result.connect(1, 0), 1U) << text;
    return result.connect(0, 0);
}

// ---- Files as a whole

TEST(femap_input, a_file_without_known_blocks_has_one_empty_run) {
    for (const std::string& text :
         {std::string(), std::string("\n"), std::string("   -1\n"),
          femap_block("100", "<NULL>\n8.3,\n"), femap_block("402", femap_node("1")),
          std::string("403,\n1,2,3\n"), std::string("block 403\n1\n"), nodes(""), elements(""),
          std::string("   -1\n403"), std::string("4030\n04 04\n1403\n403.\n-403\n+403\n")}) {
        const femap_arrays result = read_femap(text);
        EXPECT_EQ(result.code, 0) << text;
        EXPECT_TRUE(result.pos.empty()) << text;
        EXPECT_TRUE(result.connect.empty()) << text;
        EXPECT_EQ(list(result.indices), (ids{0, 0})) << text;
        EXPECT_TRUE(result.types.empty()) << text;
        EXPECT_TRUE(result.pids.empty()) << text;
    }
}

TEST(femap_input, an_empty_file_makes_the_type_of_one_connectivity_unknown) {
    const auto one = read_as<femap_one_connectivity>("");
    EXPECT_EQ(one.code, 0);
    EXPECT_TRUE(one.pos.empty());
    EXPECT_TRUE(one.connect.empty());
    EXPECT_EQ(one.type, ET_UNKNOWN);
}

TEST(femap_input, nodes_and_elements_come_in_any_order_of_blocks) {
    const std::string node_block = nodes(femap_node("1", "1.5", "-2.", "3e2") + femap_node("2"));
    const std::string element_block = elements(triangle + triangle + quadrangle);
    for (const std::string& text :
         {node_block + element_block, element_block + node_block,
          element_block + "text\n" + femap_block("405", "1,2,3\n") + node_block}) {
        const femap_arrays result = read_femap(text);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(list(result.pos), (number_lists{{1.5, -2, 300}, {0, 0, 0}}));
        EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, none}, {0, 1, 2, 3}}));
        EXPECT_EQ(list(result.indices), (ids{0, 2, 3}));
        EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_QUAD4}));
        EXPECT_EQ(list(result.pids), (ids{5, 5, 6}));
    }
}

TEST(femap_input, blocks_may_come_more_than_once) {
    const femap_arrays result =
        read_femap(nodes(femap_node("1", "1.")) + elements(triangle) +
                   nodes(femap_node("2", "2.")) + elements(triangle + bar) + elements(bar));
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{1, 0, 0}, {2, 0, 0}}));
    EXPECT_EQ(list(result.indices), (ids{0, 2, 4}));
    EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_BAR2}));
}

TEST(femap_input, a_block_number_needs_no_delimiter_and_may_hold_blanks) {
    for (const char* const number : {"403", " 403", "403  ", "4 0 3", "\t4\v0\f3\r"}) {
        const femap_arrays result = read_femap(std::string(number) + "\n" + femap_node("1", "5."));
        EXPECT_EQ(result.code, 0) << number;
        EXPECT_EQ(list(result.pos), (number_lists{{5, 0, 0}})) << number;
    }
}

TEST(femap_input, a_line_of_an_unknown_block_that_is_403_opens_that_block) {
    const femap_arrays result =
        read_femap("   -1\n100\nfirst\n403\n" + femap_node("1", "5.") + "   -1\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{5, 0, 0}}));
}

TEST(femap_input, the_end_of_a_block_has_its_three_blanks) {
    EXPECT_EQ(read_femap("403\n   -1\ngarbage\n").code, 0);
    EXPECT_EQ(read_femap("403\n   -1 \t\r\ngarbage\n").code, 0);
    EXPECT_EQ(read_femap("403\n   -1").code, 0);
    for (const char* const line :
         {"-1", " -1", "  -1", "    -1", "\t-1", "   - 1", "   -1,", "   -10"}) {
        EXPECT_EQ(read_femap("403\n" + std::string(line) + "\n").code, -102) << line;
        EXPECT_EQ(read_femap("404\n" + std::string(line) + "\n").code, -102) << line;
    }
}

TEST(femap_input, an_empty_line_in_a_block_is_one_of_too_few_fields) {
    EXPECT_EQ(read_femap("403\n\n").code, -102);
    EXPECT_EQ(read_femap("403\n" + femap_node("1") + "  \n").code, -102);
    EXPECT_EQ(read_femap("404\n\r\n").code, -102);
}

TEST(femap_input, lines_end_after_255_characters) {
    // What is beyond them is a line of its own, outside of blocks and inside.
    EXPECT_EQ(list(read_femap(std::string(255, 'x') + "403\n" + femap_node("1", "5.")).pos),
              (number_lists{{5, 0, 0}}));
    EXPECT_TRUE(read_femap(std::string(254, 'x') + "403\n" + femap_node("1", "5.")).pos.empty());
    std::string line = femap_node("1", "5.");
    line.pop_back();
    std::string filled = line + std::string(255 - line.size(), ' ');
    EXPECT_EQ(read_femap("403\n" + filled + "   -1\ngarbage\n").code, 0);
    EXPECT_EQ(read_femap("403\n" + filled + "\n").code, -102); // an empty line follows
    filled.pop_back();
    EXPECT_EQ(read_femap("403\n" + filled + "\n").code, 0);
}

// ---- Streams and files

TEST(femap_input, reading_starts_where_the_stream_stands) {
    const scratch_stream stream("403\n" + nodes(femap_node("1", "5.")));
    char line[100];
    ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    femap_arrays result;
    result.read(stream.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{5, 0, 0}}));
}

TEST(femap_input, a_bad_slot_line_takes_four_more_lines_along) {
    for (const char* const slots : {"1,2\n", "1,2,3,4,5,6,7,8,9,10\n1,2\n"}) {
        const scratch_stream stream("404\n1,1,1,5,0\n" + std::string(slots) +
                                    "a\nb\nc\nd\nthe rest");
        femap_arrays result;
        result.read(stream.get());
        EXPECT_EQ(result.code, -102);
        char line[100] = "";
        ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
        EXPECT_STREQ(line, "the rest");
    }
}

TEST(femap_input, a_pipe_is_left_behind_the_bad_line) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string text = nodes(femap_node("1", "1.")) + "403\nbad\nthe rest";
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    std::FILE* const file = fdopen(ends[0], "r");
    femap_arrays result;
    result.read(file);
    char line[100] = "";
    EXPECT_NE(std::fgets(line, sizeof line, file), nullptr);
    std::fclose(file);
    EXPECT_EQ(result.code, -102);
    EXPECT_EQ(list(result.pos), (number_lists{{1, 0, 0}}));
    EXPECT_STREQ(line, "the rest");
}

TEST(femap_input, a_stream_in_an_error_state_is_read_all_the_same) {
    const scratch_file file(nodes(femap_node("1", "5.")));
    std::FILE* const stream = std::fopen(file.name(), "r");
    std::fputc('x', stream);
    ASSERT_TRUE(std::ferror(stream));
    femap_arrays result;
    result.read(stream);
    std::fclose(stream);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{5, 0, 0}}));
}

TEST(femap_input, no_stream_reads_as_an_empty_one) {
    std::FILE* const no_stream = nullptr;
    femap_arrays full;
    full.read(no_stream);
    EXPECT_EQ(full.code, 0);
    EXPECT_TRUE(full.pos.empty());
    EXPECT_TRUE(full.connect.empty());
    EXPECT_EQ(list(full.indices), (ids{0, 0}));
    femap_one_connectivity one;
    one.read(no_stream);
    EXPECT_EQ(one.code, 0);
    femap_two_connectivities two;
    two.read(no_stream);
    EXPECT_EQ(two.code, 0);
}

TEST(femap_input, the_stream_of_a_file_name_stays_open) {
    const scratch_file file(nodes(femap_node("1", "5.")) + elements(triangle + quadrangle));
    const std::size_t nbr_open = nbr_open_files();
    femap_arrays full;
    full.read(file.name());
    EXPECT_EQ(full.code, 0);
    EXPECT_EQ(list(full.pos), (number_lists{{5, 0, 0}}));
    EXPECT_EQ(list(full.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, 3}}));
    EXPECT_EQ(nbr_open_files(), nbr_open + 1);
    femap_one_connectivity one;
    one.read(file.name());
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(list(one.connect), list(full.connect));
    EXPECT_EQ(nbr_open_files(), nbr_open + 2);
    femap_two_connectivities two;
    two.read(file.name());
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(list(two.connect2), (id_lists{{0, 1, 2, 3}}));
    EXPECT_EQ(nbr_open_files(), nbr_open + 3);
}

// ---- Nodes

TEST(femap_input, many_nodes_keep_their_places_as_the_array_grows) {
    std::string lines;
    for (int id = 1000; id >= 1; --id) lines += femap_node(std::to_string(id), std::to_string(id));
    for (int id = 1001; id <= 3000; id += 2) lines += femap_node(std::to_string(id), "-1.");
    const femap_arrays result = read_femap(nodes(lines));
    ASSERT_EQ(result.pos.cols(), 2999U);
    for (unsigned int c = 0; c < 2999; ++c) {
        const double x = c < 1000 ? c + 1.0 : c % 2 == 0 ? -1.0 : 0.0;
        ASSERT_EQ(list(result.pos.sub_matrix(0, c, 3, 1)), (number_lists{{x, 0, 0}})) << c;
    }
}

TEST(femap_input, a_node_needs_fourteen_fields) {
    EXPECT_EQ(read_femap("403\n1,2,3,4,5,6,7,8,9,10,11,12,13\n").code, -102);
    EXPECT_EQ(read_femap("403\n1,2,3,4,5,6,7,8,9,10,11,12,13,\n").code, -102);
    EXPECT_EQ(list(read_femap("403\n1,2,3,4,5,6,7,8,9,10,11,12,13,14\n").pos),
              (number_lists{{12, 13, 14}}));
    EXPECT_EQ(list(read_femap("403\n1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,x\n").pos),
              (number_lists{{12, 13, 14}}));
}

TEST(femap_input, empty_fields_of_a_node_are_not_counted) {
    EXPECT_EQ(list(read_femap("403\n,1,,2,3,4,5,,,6,7,8,9,10,11,12,13,14,,\n").pos),
              (number_lists{{12, 13, 14}}));
    EXPECT_EQ(list(read_femap("403\n1, ,3,4,5,6,7,8,9,10,11,12,13,14\n").pos),
              (number_lists{{12, 13, 14}}));
    // Blanks at the end of the line are no field.
    EXPECT_EQ(read_femap("403\n1,2,3,4,5,6,7,8,9,10,11,12,13, \n").code, -102);
}

TEST(femap_input, a_node_number_of_zero_ends_reading_with_what_was_read) {
    for (const char* const id : {"0", "-0", "x", " ", "4294967296", "0x1", "+", "0.9"}) {
        const femap_arrays result = read_femap(
            elements(triangle) + nodes(femap_node("2", "2.") + femap_node(id) + femap_node("3")));
        EXPECT_EQ(result.code, -102) << id;
        EXPECT_EQ(list(result.pos), (number_lists{{0, 0, 0}, {2, 0, 0}})) << id;
        EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2}})) << id;
        EXPECT_EQ(list(result.indices), (ids{0, 1})) << id;
        EXPECT_EQ(list(result.types), std::vector<int>{ET_TRIA3}) << id;
        EXPECT_EQ(list(result.pids), ids{5}) << id;
    }
}

TEST(femap_input, an_absurd_node_number_is_memory_that_fails_at_once) {
    const memory_limit limit(std::size_t{1} << 30); // on any machine
    for (const char* const id :
         {"4294967295", "2147483647", "-1", "-2147483648", "9223372036854775807", "4294967294"}) {
        const std::string text =
            elements(triangle) + nodes(femap_node("2", "2.") + femap_node(id) + femap_node("3"));
        const auto start = std::chrono::steady_clock::now();
        const femap_arrays result = read_femap(text);
        const auto one = read_as<femap_one_connectivity>(text);
        const auto two = read_as<femap_two_connectivities>(text);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(result.code, -199) << id;
        EXPECT_EQ(list(result.pos), (number_lists{{0, 0, 0}, {2, 0, 0}})) << id;
        EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2}})) << id;
        EXPECT_EQ(list(result.indices), (ids{0, 1})) << id;
        EXPECT_EQ(one.code, -199) << id;
        EXPECT_EQ(one.type, ET_UNKNOWN) << id;
        EXPECT_EQ(two.code, -199) << id;
        EXPECT_EQ(two.type1, ET_QUAD9) << id;
        EXPECT_LT(time.count(), 2.0) << id;
    }
}

TEST(femap_input, coordinates_are_read_as_the_c_library_reads_them) {
    EXPECT_EQ(real("1.5"), 1.5);
    EXPECT_EQ(real(" -2.5e3"), -2500);
    EXPECT_EQ(real("\t+7"), 7);
    EXPECT_EQ(real(" "), 0);
    EXPECT_EQ(real("x"), 0);
    EXPECT_EQ(real("1.5x"), 1.5);
    EXPECT_EQ(real("1.5D+3"), 1.5);
    EXPECT_EQ(real("1.5-3"), 1.5);
    EXPECT_EQ(real("1e"), 1);
    EXPECT_EQ(real("."), 0);
    EXPECT_EQ(real("0x10"), 16);
    EXPECT_EQ(real("0x1p-1"), 0.5);
    EXPECT_EQ(real("inf"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(real("-1e999"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(real("1e-999"), 0);
    EXPECT_EQ(real("5e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_TRUE(std::isnan(real("nan")));
    EXPECT_TRUE(std::signbit(real("-0.")));
}

// ---- Elements

TEST(femap_input, each_topology_has_its_type_and_its_slots) {
    std::vector<int> slots(20);
    for (int k = 0; k < 20; ++k) slots[static_cast<std::size_t>(k)] = 101 + k;
    const auto straight = [](std::size_t n) {
        ids column;
        for (unsigned int k = 0; k < n; ++k) column.push_back(100 + k);
        return column;
    };
    const struct {
        int topology;
        element_type type;
        ids column;
    } known[] = {{0, ET_BAR2, straight(2)},
                 {1, ET_BAR3, straight(3)},
                 {2, ET_TRIA3, straight(3)},
                 {3, ET_TRIA6, {100, 101, 102, 104, 105, 103}},
                 {4, ET_QUAD4, straight(4)},
                 {5, ET_QUAD8, straight(8)},
                 {6, ET_TETRA4, {101, 100, 102, 104}},
                 {7, ET_PENTA6, {100, 101, 102, 104, 105, 106}},
                 {8, ET_HEXA8, straight(8)},
                 {9, ET_NODE, straight(1)},
                 {10, ET_TETRA10, {100, 102, 101, 104, 109, 108, 110, 112, 114, 113}},
                 {12, ET_HEXA20, straight(20)}};
    for (const auto& [topology, type, column] : known) {
        const std::string text = elements(femap_element(33, topology, slots));
        const femap_arrays full = read_femap(text);
        EXPECT_EQ(full.code, 0) << topology;
        EXPECT_EQ(list(full.connect), id_lists{column}) << topology;
        EXPECT_EQ(list(full.types), std::vector<int>{type}) << topology;
        EXPECT_EQ(list(full.indices), (ids{0, 1})) << topology;
        EXPECT_EQ(list(full.pids), ids{33}) << topology;
        const auto one = read_as<femap_one_connectivity>(text);
        EXPECT_EQ(one.type, type);
        EXPECT_EQ(list(one.connect), id_lists{column});
    }
}

TEST(femap_input, the_class_and_the_element_number_are_not_read) {
    EXPECT_EQ(list(read_femap(elements("x,5,x,x,2,x\n1,2,3,0,0,0,0,0,0,0\n0,0,0,0,0,0,0,0,0,0\n" +
                                       femap_four_lines))
                       .connect),
              (id_lists{{0, 1, 2}}));
}

TEST(femap_input, longer_elements_fill_the_others_up_with_absent_nodes) {
    const femap_arrays result = read_femap(
        elements(bar + femap_element(1, 6, {1, 2, 3, 4, 5}) + triangle + femap_element(1, 9, {8})));
    EXPECT_EQ(list(result.connect),
              (id_lists{{0, 1, none, none}, {1, 0, 2, 4}, {0, 1, 2, none}, {7, none, none, none}}));
    EXPECT_EQ(list(result.indices), (ids{0, 1, 2, 3, 4}));
    EXPECT_EQ(list(result.types), (std::vector<int>{ET_BAR2, ET_TETRA4, ET_TRIA3, ET_NODE}));
}

TEST(femap_input, an_unused_slot_is_an_absent_node) {
    EXPECT_EQ(list(read_femap(elements(femap_element(1, 4, {1, 2, 0, 4}))).connect),
              (id_lists{{0, 1, none, 3}}));
}

TEST(femap_input, node_numbers_are_read_as_the_c_library_reads_them) {
    EXPECT_EQ(first_node("7"), 6U);
    EXPECT_EQ(first_node("  +7"), 6U);
    EXPECT_EQ(first_node("-7"), 0xFFFFFFF8U);
    EXPECT_EQ(first_node("7.9"), 6U);
    EXPECT_EQ(first_node("x"), none);
    EXPECT_EQ(first_node(" "), none);
    EXPECT_EQ(first_node("0x7"), none);
    EXPECT_EQ(first_node("2147483647"), 0x7FFFFFFEU);
    EXPECT_EQ(first_node("-2147483648"), 0x7FFFFFFFU);
    // Beyond an int the low half of a long, beyond that of the largest and the least.
    EXPECT_EQ(first_node("2147483648"), 0x7FFFFFFFU);
    EXPECT_EQ(first_node("4294967297"), 0U);
    EXPECT_EQ(first_node("99999999999999999999"), 0xFFFFFFFEU);
    EXPECT_EQ(first_node("-99999999999999999999"), none);
}

TEST(femap_input, an_element_needs_four_fields_and_enters_nothing_without) {
    for (const char* const line : {"1,2,3\n", "1,2,3,\n", "1,,2,,3\n", "x\n", ",,,,,\n"}) {
        const scratch_stream stream("404\n" + triangle + quadrangle + line + "the rest");
        femap_arrays result;
        result.read(stream.get());
        EXPECT_EQ(result.code, -102) << line;
        EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, 3}})) << line;
        EXPECT_EQ(list(result.indices), (ids{0, 1, 2})) << line;
        EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_QUAD4})) << line;
        char rest[100] = "";
        EXPECT_NE(std::fgets(rest, sizeof rest, stream.get()), nullptr) << line;
        EXPECT_STREQ(rest, "the rest") << line;
    }
}

TEST(femap_input, a_missing_topology_is_that_of_bars) {
    for (const char* const line : {"1,5,1,17\n", "1,5,1,17, \n", "1,5,1,17,x\n", "1,5,1,17,,\n"}) {
        const femap_arrays result = read_femap(elements(
            line + std::string("3,4,0,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n") + femap_four_lines));
        EXPECT_EQ(result.code, 0) << line;
        EXPECT_EQ(list(result.connect), (id_lists{{2, 3}})) << line;
        EXPECT_EQ(list(result.types), std::vector<int>{ET_BAR2}) << line;
    }
}

TEST(femap_input, a_slot_line_has_ten_fields_of_which_its_end_may_be_one) {
    const auto code = [](const std::string& first, const std::string& second) {
        return read_femap("404\n1,5,1,5,0\n" + first + second + "a\nb\nc\nd\n").code;
    };
    const std::string good = "1,2,3,4,5,6,7,8,9,10\n";
    EXPECT_EQ(code(good, good), 0);
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,9,10,11,x\n", good), 0);
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,9\n", good), -102);
    EXPECT_EQ(code("1,2,3,,5,6,7,8,9,10\n", good), -102);
    EXPECT_EQ(code(good, "1,2,3,4,5,6,7,8,9\n"), -102);
    // The line end behind a comma is a field.
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,9,\n", good), 0);
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,9, \n", good), 0);
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,9,\r\n", good), 0);
    EXPECT_EQ(code("1,2,3,,5,6,7,8,9,10,\n", good), 0);
    EXPECT_EQ(code("1,2,3,4,5,6,7,8,,\n", good), -102);
}

TEST(femap_input, the_line_end_as_a_slot_is_an_absent_node) {
    // The tenth of the first line and the tenth of the second.
    const std::string line = "1,2,3,4,5,6,7,8,9,\n";
    const femap_arrays result = read_femap("404\n1,5,1,26,12\n" + line + line + femap_four_lines);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.connect),
              (id_lists{{0, 1, 2, 3, 4, 5, 6, 7, 8, none, 0, 1, 2, 3, 4, 5, 6, 7, 8, none}}));
}

TEST(femap_input, an_element_whose_slots_fail_is_stored_from_what_was_filled) {
    // The first of all from zeros.
    const std::string ten = "11,12,13,14,15,16,17,18,19,20\n";
    femap_arrays result = read_femap("404\n1,5,1,26,12\n1,2\n");
    EXPECT_EQ(result.code, -102);
    EXPECT_EQ(list(result.connect), (id_lists{ids(20, none)}));
    EXPECT_EQ(list(result.indices), (ids{0, 1}));
    EXPECT_EQ(list(result.types), std::vector<int>{ET_HEXA20});
    EXPECT_EQ(list(result.pids), ids{5});

    result = read_femap("404\n1,5,1,26,12\n" + ten);
    EXPECT_EQ(result.code, -102);
    ids column(20, none);
    for (unsigned int k = 0; k < 10; ++k) column[k] = 10 + k;
    EXPECT_EQ(list(result.connect), id_lists{column});

    // A later one from those of the element before: a bad first line leaves all, a second the half.
    std::vector<int> slots(20);
    for (int k = 0; k < 20; ++k) slots[static_cast<std::size_t>(k)] = 101 + k;
    ids before(20);
    for (unsigned int k = 0; k < 20; ++k) before[k] = 100 + k;
    result = read_femap("404\n" + femap_element(3, 12, slots) + "1,5,1,26,12\n1,2\n" + ten);
    EXPECT_EQ(result.code, -102);
    EXPECT_EQ(list(result.connect), (id_lists{before, before}));
    EXPECT_EQ(list(result.pids), (ids{3, 5}));
    result = read_femap("404\n" + femap_element(3, 12, slots) + "1,5,1,26,12\n" + ten + "1,2\n");
    ids half = before;
    for (unsigned int k = 0; k < 10; ++k) half[k] = 10 + k;
    EXPECT_EQ(list(result.connect), (id_lists{before, half}));

    // And it begins a run as any other.
    result = read_femap("404\n" + triangle + "1,5,1,17,4\n1,2\n");
    EXPECT_EQ(result.code, -102);
    EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, none}}));
    EXPECT_EQ(list(result.indices), (ids{0, 1, 2}));
    EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_QUAD4}));
}

TEST(femap_input, the_four_lines_behind_the_slots_may_be_anything_or_missing) {
    const std::string head = "404\n1,5,1,17,2\n1,2,3,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n";
    for (const char* const tail :
         {"", "a", "a\n", "   -1\n403\n404\n\n", "\n\n\n\n   -1\ntext\n"}) {
        const femap_arrays result = read_femap(head + tail);
        EXPECT_EQ(result.code, 0) << tail;
        EXPECT_EQ(list(result.connect), (id_lists{{0, 1, 2}})) << tail;
    }
}

TEST(femap_input, runs_begin_where_the_type_changes) {
    const femap_arrays result =
        read_femap(elements(triangle + triangle + bar + quadrangle + triangle));
    EXPECT_EQ(list(result.indices), (ids{0, 2, 3, 4, 5}));
    EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_BAR2, ET_QUAD4, ET_TRIA3}));
    EXPECT_EQ(list(result.pids), (ids{5, 5, 4, 6, 5}));
}

TEST(femap_input, elements_of_unknown_topology_go_and_confuse_the_runs) {
    const auto runs = [](const std::string& lines, const std::vector<int>& types,
                         const ids& indices) {
        const femap_arrays result = read_femap(elements(lines));
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(list(result.types), types);
        EXPECT_EQ(list(result.indices), indices);
        EXPECT_EQ(result.pids.size(), result.connect.cols());
    };
    runs(unknown, {ET_UNKNOWN}, {0, 0});
    runs(unknown + unknown, {ET_UNKNOWN, ET_UNKNOWN}, {0, 0});
    runs(unknown + triangle, {ET_UNKNOWN, ET_TRIA3}, {0, 1});
    runs(triangle + unknown, {ET_TRIA3, ET_UNKNOWN}, {0, 0, 1});
    runs(triangle + unknown + triangle, {ET_TRIA3, ET_UNKNOWN, ET_TRIA3}, {0, 0, 2});
    runs(triangle + triangle + unknown + unknown + quadrangle + bar,
         {ET_TRIA3, ET_UNKNOWN, ET_UNKNOWN, ET_QUAD4, ET_BAR2}, {0, 1, 3, 4});
    for (const int topology : {-1, 11, 13, 99}) {
        runs(femap_element(1, topology, {1, 2, 3}), {ET_UNKNOWN}, {0, 0});
    }
}

// ---- One and two connectivities

TEST(femap_input, one_connectivity_of_several_types_is_unknown) {
    const auto one = read_as<femap_one_connectivity>(elements(triangle + quadrangle));
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(one.type, ET_UNKNOWN);
    EXPECT_EQ(list(one.connect), (id_lists{{0, 1, 2, none}, {0, 1, 2, 3}}));
    // Of one type in two runs as well, and of none that is known.
    EXPECT_EQ(read_as<femap_one_connectivity>(elements(triangle + bar + triangle)).type,
              ET_UNKNOWN);
    EXPECT_EQ(read_as<femap_one_connectivity>(elements(unknown + triangle)).type, ET_UNKNOWN);
    EXPECT_EQ(read_as<femap_one_connectivity>(elements(unknown)).type, ET_UNKNOWN);
}

TEST(femap_input, one_connectivity_has_no_type_after_a_failure) {
    const auto one = read_as<femap_one_connectivity>("404\n" + triangle + "1,2\n");
    EXPECT_EQ(one.code, -102);
    EXPECT_EQ(one.type, ET_UNKNOWN);
    EXPECT_EQ(list(one.connect), (id_lists{{0, 1, 2}}));
}

TEST(femap_input, two_connectivities_are_the_first_two_runs) {
    const auto two = read_as<femap_two_connectivities>(
        nodes(femap_node("1", "5.")) + elements(bar + bar + quadrangle + femap_element(1, 5, {1})));
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(list(two.pos), (number_lists{{5, 0, 0}}));
    EXPECT_EQ(two.type1, ET_BAR2);
    // The first has all rows, the second those of its type.
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, none, none, none, none, none, none},
                                            {0, 1, none, none, none, none, none, none}}));
    EXPECT_EQ(two.type2, ET_QUAD4);
    EXPECT_EQ(list(two.connect2), (id_lists{{0, 1, 2, 3}}));
}

TEST(femap_input, an_empty_first_run_leaves_the_first_connectivity_untouched) {
    const auto two = read_as<femap_two_connectivities>(elements(triangle + unknown + quadrangle));
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(two.type1, ET_QUAD9);
    EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
    EXPECT_EQ(two.type2, ET_UNKNOWN);
    EXPECT_TRUE(two.connect2.empty());
}

TEST(femap_input, two_connectivities_stay_untouched_after_a_failure) {
    const auto two = read_as<femap_two_connectivities>(nodes(femap_node("1", "5.")) + "404\n" +
                                                       triangle + quadrangle + "1,2\n");
    EXPECT_EQ(two.code, -102);
    EXPECT_EQ(list(two.pos), (number_lists{{5, 0, 0}}));
    EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
    EXPECT_EQ(two.type1, ET_QUAD9);
    EXPECT_EQ(two.type2, ET_PYRA14);
}

TEST(femap_input, a_locale_with_a_decimal_comma_changes_nothing) {
    femap_arrays result;
    {
        const comma_locale locale;
        if (!locale.is_set()) GTEST_SKIP() << "no such locale here";
        result = read_femap(nodes(femap_node("1", "1.5", "2.25", "0x1.8p1")));
    }
    EXPECT_EQ(list(result.pos), (number_lists{{1.5, 2.25, 3}}));
}

} // namespace
