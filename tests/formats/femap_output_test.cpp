#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "formats/comma_locale.h"
#include "formats/femap_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

std::string data_file(const std::string& name) {
    std::ifstream in(std::string(TEST_DATA) + "/femap/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

template <class... Arguments>
std::string written(int expected_code, const Arguments&... arguments) {
    return written_runs<femap_functions>(expected_code, arguments...);
}

const dense2D<double> one_point = points({{1.5, -0.00225, 0}});
const dense2D<double> no_points;
const dense2D<unsigned int> no_elements_at_all;

// The first three lines of each element of a file: head and slots.
std::string element_lines(const std::string& text) {
    const std::string begin = "   -1\n404\n";
    std::istringstream in(text.substr(text.rfind(begin) + begin.size()));
    std::string lines, line;
    while (std::getline(in, line) && line != "   -1") {
        lines += line + "\n";
        for (int k = 0; k < 2 && std::getline(in, line); ++k) lines += line + "\n";
        std::string constants;
        for (int k = 0; k < 4 && std::getline(in, line); ++k) constants += line + "\n";
        EXPECT_EQ(constants, femap_four_lines);
    }
    EXPECT_FALSE(std::getline(in, line));
    return lines;
}
std::string elements(const dense2D<unsigned int>& connect, element_type type) {
    return element_lines(written(0, one_point, connect, type));
}
std::string lines(const std::string& head, const std::string& slots) {
    return head + ",1,0,0,0,0,0,0,0,\n" + slots + "\n0,0,0,0,0,0,0,0,0,0,\n";
}

// ---- Whole files

TEST(femap_output, every_type_by_its_table) {
    const std::vector<int> types{ET_QUAD9,   ET_BAR2,   ET_BAR3,   ET_TRIA3,  ET_BAR_MIX,
                                 ET_TRIA6,   ET_QUAD4,  ET_QUAD8,  ET_TETRA4, ET_PENTA6,
                                 ET_PENTA18, ET_HEXA8,  ET_NODE,   ET_PYRA13, ET_TETRA10,
                                 ET_HEXA27,  ET_HEXA20, ET_UNKNOWN};
    const id_lists columns{counted(900, 9),  counted(0, 2),    counted(10, 3),
                           counted(20, 3),   counted(900, 2),  counted(30, 6),
                           counted(40, 4),   counted(50, 8),   counted(60, 4),
                           counted(70, 6),   counted(900, 18), counted(80, 8),
                           counted(90, 1),   counted(900, 13), counted(100, 10),
                           counted(900, 27), counted(110, 20), {}};
    dense1D<unsigned int> indices, pids;
    for (unsigned int k = 0; k <= 18; ++k) indices.push_back(k);
    for (unsigned int k = 1; k <= 18; ++k) pids.push_back(100 + k);
    const double infinity = std::numeric_limits<double>::infinity();
    const dense2D<double> pos = points({{0, 1, -2.5},
                                        {123456.789, -0.001, 1e-300},
                                        {infinity, -infinity, -0.0},
                                        {1e-6, 1e22, 1. / 3.}});
    const auto connect = array_of(columns, 27);
    EXPECT_EQ(written(0, pos, connect, indices, vector_of(types), pids),
              data_file("every_type.neu"));
    // Out of windows in larger arrays too.
    EXPECT_EQ(written(0, with_gaps(pos, 2, 7.0), with_gaps(connect, 3, 777U), indices,
                      vector_of(types), pids),
              data_file("every_type.neu"));
}

TEST(femap_output, types_without_a_table_entry_leave_two_blocks_without_elements) {
    const dense2D<double> pos = points({{1.5, -0.00225}, {-3, 4}});
    for (const element_type type : {ET_PYRA5, ET_QUAD9, ET_BAR_MIX, ET_PYRA13, ET_PYRA14,
                                    ET_PENTA15, ET_PENTA18, ET_HEXA27}) {
        const dense2D<unsigned int> connect(nbr_nodes(type), 2, 1U);
        EXPECT_EQ(written(0, pos, connect, type), data_file("no_table_entry.neu")) << type;
    }
    EXPECT_EQ(written(0, pos, connectivity({{none}}), ET_UNKNOWN), data_file("no_table_entry.neu"));
}

TEST(femap_output, two_rows_have_a_z_of_zero_with_one_decimal) {
    EXPECT_EQ(written(0, with_gaps(points({{1.5, -0.00225}, {-3, 4}}), 1, 7.0),
                      connectivity({{0, 0, 0, 0, 0}}), ET_PYRA5),
              data_file("no_table_entry.neu"));
}

TEST(femap_output, a_mesh_without_nodes_has_no_rows_of_coordinates) {
    written(-2, dense2D<double>(2, 0), connectivity({{0, 1}}), ET_BAR2);
}

TEST(femap_output, writes_behind_what_the_stream_holds_and_leaves_it_open) {
    const scratch_stream stream;
    std::fputs("before\n", stream.get());
    EXPECT_EQ(FEMAP_output(stream.get(), points({{1.5, -0.00225}, {-3, 4}}),
                           connectivity({{0, 0, 0, 0, 0}}), ET_PYRA5),
              0);
    std::fputs("behind\n", stream.get());
    EXPECT_EQ(stream.contents(), "before\n" + data_file("no_table_entry.neu") + "behind\n");
}

// ---- Elements

TEST(femap_output, a_tetrahedron_has_its_own_slots) {
    EXPECT_EQ(elements(connectivity({{6, 7, 8, 9}}), ET_TETRA4),
              lines("1,1,1,25,6", "8,7,9,0,10,0,0,0,0,0,"));
}

TEST(femap_output, corners_of_six_node_triangles_count_from_zero) {
    EXPECT_EQ(elements(connectivity({{0, 1, 2, 3, 4, 5}}), ET_TRIA6),
              lines("1,1,1,18,3", "0,1,2,6,4,5,0,0,0,0,"));
}

TEST(femap_output, twenty_nodes_use_all_slots) {
    EXPECT_EQ(elements(array_of({counted(0, 20)}, 20), ET_HEXA20),
              "1,1,1,26,12,1,0,0,0,0,0,0,0,\n1,2,3,4,5,6,7,8,9,10,\n"
              "11,12,13,14,15,16,17,18,19,20,\n");
}

TEST(femap_output, elements_are_numbered_by_their_column) {
    EXPECT_EQ(
        element_lines(written(0, one_point, connectivity({{0, 1}, {2, 3}, {4, 5}, {6, 7}}),
                              ids{1U, 1U, 2U, 4U}, dense1D<int>{ET_HEXA20, ET_BAR_MIX, ET_BAR2},
                              ids{1U, 2U, 3U, 4U})),
        lines("3,3,1,5,0", "5,6,0,0,0,0,0,0,0,0,") + lines("4,4,1,5,0", "7,8,0,0,0,0,0,0,0,0,"));
}

TEST(femap_output, mixed_faces_by_their_last_row) {
    const std::string expected =
        lines("1,1,1,17,2", "1,2,3,0,0,0,0,0,0,0,") + lines("2,1,1,17,4", "4,5,6,7,0,0,0,0,0,0,");
    EXPECT_EQ(elements(connectivity({{0, 1, 2, none}, {3, 4, 5, 6}}), ET_FACE_MIX), expected);
    // Rows further down belong to other runs.
    EXPECT_EQ(elements(array_of({{0, 1, 2, none, 9, 9}, {3, 4, 5, 6, 9, 9}}, 6), ET_FACE_MIX),
              expected);
}

TEST(femap_output, mixed_solids_by_their_first_absent_node_without_pyramids) {
    const mesh m = mixed_solids();
    EXPECT_EQ(elements(m.connect, ET_SOLID_MIX), lines("1,1,1,25,8", "1,2,3,4,5,6,7,8,0,0,") +
                                                     lines("3,1,1,25,7", "2,10,3,0,6,11,7,0,0,0,") +
                                                     lines("4,1,1,25,6", "11,6,7,0,9,0,0,0,0,0,"));
}

TEST(femap_output, numbers_beyond_an_int_are_written_as_negative_ones) {
    EXPECT_EQ(element_lines(
                  written(0, one_point,
                          connectivity({{0x7FFFFFFEU, 0x7FFFFFFFU}, {0xFFFFFFFDU, 0xFFFFFFFEU}}),
                          ids{0U, 2U}, dense1D<int>{ET_BAR2}, ids{0x80000000U, none})),
              lines("1,-2147483648,1,5,0", "2147483647,-2147483648,0,0,0,0,0,0,0,0,") +
                  lines("2,-1,1,5,0", "-2,-1,0,0,0,0,0,0,0,0,"));
}

TEST(femap_output, node_ids_are_not_compared_with_the_nodes_there_are) {
    EXPECT_EQ(elements(connectivity({{7, 8}}), ET_BAR2),
              lines("1,1,1,5,0", "8,9,0,0,0,0,0,0,0,0,"));
}

TEST(femap_output, large_coordinates_are_written_in_full) {
    const double largest = std::numeric_limits<double>::max();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const dense2D<double> pos = points({{largest, -largest, largest}, {nan, -nan, 5e-7}});
    EXPECT_EQ(written(0, pos, connectivity({{0, 1}}), ET_BAR2),
              plain_femap_text(pos, connectivity({{0, 1}}), {0, 1}, {ET_BAR2}, {1}));
}

TEST(femap_output, a_locale_with_a_decimal_comma_changes_nothing) {
    std::string text;
    {
        const comma_locale locale;
        if (!locale.is_set()) GTEST_SKIP() << "no such locale here";
        text = written(0, points({{1.5, -0.00225}, {-3, 4}}), connectivity({{0, 0, 0, 0, 0}}),
                       ET_PYRA5);
    }
    EXPECT_EQ(text, data_file("no_table_entry.neu"));
}

// ---- Two connectivities

TEST(femap_output, of_two_connectivities_of_one_size_the_first_is_written) {
    const auto first = connectivity({{0, 1, 2}, {3, 4, 5}});
    const auto second = connectivity({{6, 7, 8}, {9, 10, 11}});
    const std::string expected =
        lines("1,1,1,17,2", "1,2,3,0,0,0,0,0,0,0,") + lines("2,1,1,17,2", "4,5,6,0,0,0,0,0,0,0,");
    EXPECT_EQ(element_lines(written(0, one_point, first, second, ET_TRIA3, ET_TRIA3)), expected);
    EXPECT_EQ(element_lines(written(0, one_point, with_gaps(first, 1, 9U), with_gaps(second, 2, 9U),
                                    ET_TRIA3, ET_BAR3)),
              expected);
    // The type of the second has no influence, nor need the second be whole.
    EXPECT_EQ(
        element_lines(written(0, one_point, first, connectivity({{none, none, none}, {0, 0, 0}}),
                              ET_TRIA3, ET_HEXA20)),
        expected);
}

TEST(femap_output, of_two_connectivities_as_many_are_written_as_the_second_has) {
    const auto one = connectivity({{0, 1, 2}});
    const auto three = connectivity({{3, 4, 5}, {6, 7, 8}, {9, 10, 11}});
    EXPECT_EQ(element_lines(written(0, one_point, three, one, ET_TRIA3, ET_TRIA3)),
              lines("1,1,1,17,2", "4,5,6,0,0,0,0,0,0,0,"));
    // Those of the second as well, under the type of the first.
    EXPECT_EQ(element_lines(written(0, one_point, one, three, ET_BAR3, ET_TRIA3)),
              lines("1,1,1,8,1", "1,2,3,0,0,0,0,0,0,0,") +
                  lines("2,2,1,8,1", "4,5,6,0,0,0,0,0,0,0,") +
                  lines("3,2,1,8,1", "7,8,9,0,0,0,0,0,0,0,"));
    EXPECT_EQ(element_lines(written(0, one_point, no_elements_at_all, one, ET_BAR3, ET_TRIA3)),
              lines("1,2,1,8,1", "1,2,3,0,0,0,0,0,0,0,"));
    EXPECT_EQ(element_lines(written(0, one_point, three, no_elements_at_all, ET_TRIA3, ET_TRIA3)),
              "");
}

TEST(femap_output, two_connectivities_are_left_as_they_are) {
    dense2D<unsigned int> first = connectivity({{0, 1, 2}});
    dense2D<unsigned int> second = connectivity({{3, 4, 5}});
    const unsigned int* const place = first.column(0);
    written(0, one_point, first, second, ET_TRIA3, ET_TRIA3);
    EXPECT_EQ(list(first), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(second), (id_lists{{3, 4, 5}}));
    EXPECT_EQ(first.column(0), place);
}

TEST(femap_output, two_connectivities_of_different_rows_fail) {
    written(-3, one_point, connectivity({{0, 1, 2}}), connectivity({{0, 1}}), ET_BAR2, ET_BAR2);
    written(-3, one_point, connectivity({{0, 1}}), connectivity({{0, 1, 2}}), ET_BAR2, ET_BAR2);
}

// ---- Codes

TEST(femap_output, no_elements_write_nothing_before_anything_is_checked) {
    std::FILE* const no_stream = nullptr;
    EXPECT_EQ(
        FEMAP_output(no_stream, no_points, no_elements_at_all, ids(), dense1D<int>{3}, ids{1U}), 0);
    EXPECT_EQ(FEMAP_output(no_stream, no_points, no_elements_at_all, ET_TRIA3), 0);
    EXPECT_EQ(FEMAP_output(no_stream, no_points, no_elements_at_all, no_elements_at_all, ET_TRIA3,
                           ET_BAR2),
              0);
    EXPECT_EQ(written(0, one_point, no_elements_at_all, ET_TRIA3), "");
    EXPECT_EQ(written(0, one_point, no_elements_at_all, no_elements_at_all, ET_TRIA3, ET_TRIA3),
              "");
    EXPECT_EQ(written(0, one_point, no_elements_at_all, ids{0U}, dense1D<int>(), ids()), "");
    EXPECT_EQ(written(0, no_points, no_elements_at_all, ids(), dense1D<int>{1, 2}, ids{7U}), "");
}

TEST(femap_output, a_file_that_cant_be_opened_is_reported_even_without_elements) {
    for (const char* const name :
         {"/no/such/folder/mesh.neu", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(FEMAP_output(name, one_point, no_elements_at_all, ET_TRIA3), -1);
    }
}

// ---- Round trips

TEST(femap_output, a_tetrahedron_reads_back_in_its_order) {
    const auto connect = connectivity({{6, 7, 8, 9}, {3, 2, 1, 0}});
    const auto one = read_as<femap_one_connectivity>(written(0, one_point, connect, ET_TETRA4));
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(one.type, ET_TETRA4);
    EXPECT_EQ(list(one.connect), list(connect));
}

TEST(femap_output, six_node_triangles_read_back_with_corners_off_by_one) {
    const auto one = read_as<femap_one_connectivity>(
        written(0, one_point, connectivity({{0, 1, 2, 3, 4, 5}}), ET_TRIA6));
    EXPECT_EQ(one.type, ET_TRIA6);
    EXPECT_EQ(list(one.connect), (id_lists{{none, 0, 1, 3, 4, 5}}));
}

TEST(femap_output, every_other_type_reads_back_as_it_was) {
    for (const auto& [t, row] : plain_femap_types()) {
        if (t == ET_TRIA6) continue;
        const auto type = static_cast<element_type>(t);
        const dense2D<unsigned int> connect =
            array_of({counted(0, nbr_nodes(type)), counted(100, nbr_nodes(type))}, nbr_nodes(type));
        const dense2D<double> pos = points({{1.5, -0.25, 0}, {1e6, 0, 0.125}});
        const auto one = read_as<femap_one_connectivity>(written(0, pos, connect, type));
        EXPECT_EQ(one.code, 0);
        EXPECT_EQ(one.type, type);
        EXPECT_EQ(list(one.connect), list(connect)) << t;
        EXPECT_EQ(list(one.pos), list(pos));
    }
}

TEST(femap_output, runs_read_back_as_they_were) {
    const auto connect = array_of({counted(0, 3), counted(5, 3), counted(2, 4), counted(7, 2)}, 4);
    const femap_arrays result =
        read_femap(written(0, points({{1, 2}}), connect, ids{0U, 2U, 3U, 4U},
                           dense1D<int>{ET_TRIA3, ET_QUAD4, ET_BAR2}, ids{9U, 8U, 7U, 6U}));
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.connect), list(connect));
    EXPECT_EQ(list(result.indices), (std::vector<unsigned int>{0, 2, 3, 4}));
    EXPECT_EQ(list(result.types), (std::vector<int>{ET_TRIA3, ET_QUAD4, ET_BAR2}));
    EXPECT_EQ(list(result.pids), (std::vector<unsigned int>{9, 8, 7, 6}));
    EXPECT_EQ(list(result.pos), (number_lists{{1, 2, 0}}));
}

// ---- Against the plain writer

TEST(femap_output, as_the_plain_writer_on_random_runs) {
    const std::uint64_t n = nbr_runs(1500);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        const auto pos = random_coordinates(random, 2 + random.below(2), 1 + random.below(20));
        // Mixed solids allow 8 rows only.
        const bool wide = random.one_in(2);
        const std::size_t rows = wide ? 27 : 8;
        std::vector<int> types;
        std::vector<unsigned int> indices{0};
        id_lists columns;
        for (std::size_t k = random.below(8); k > 0; --k) {
            int type = static_cast<int>(random.below(ET_HEXA27 + 1));
            if (nbr_nodes(static_cast<element_type>(type)) > rows ||
                (wide && type == ET_SOLID_MIX)) {
                type = ET_TRIA6;
            }
            types.push_back(type);
            for (std::size_t c = random.below(4); c > 0; --c) {
                auto column = random_ids(random, rows, random.one_in(3) ? 0xFFFFFFFFU : 100U, 0);
                if (type == ET_FACE_MIX && random.one_in(2)) column[3] = none;
                if (type == ET_SOLID_MIX) {
                    const std::size_t end = random.one_in(4) ? 8 : 4 + random.below(3);
                    std::fill(column.begin() + static_cast<std::ptrdiff_t>(end), column.end(),
                              none);
                }
                columns.push_back(column);
            }
            indices.push_back(static_cast<unsigned int>(columns.size()));
        }
        if (columns.empty()) continue;
        dense2D<unsigned int> connect = array_of(columns, rows);
        if (random.one_in(3)) connect = with_gaps(connect, 1 + random.below(4), 3U);
        const auto pids = random_ids(random, columns.size(), random.one_in(3) ? none : 50U, 0);
        const scratch_stream stream;
        ASSERT_EQ(FEMAP_output(stream.get(), pos, connect, vector_of(indices), vector_of(types),
                               vector_of(pids)),
                  0)
            << seed;
        const std::string text = stream.contents();
        ASSERT_EQ(text, plain_femap_text(pos, connect, indices, types, pids)) << seed;
        ASSERT_TRUE(same_as_plain_femap(text)) << seed;
    }
}

// More than any buffer takes at once.
TEST(femap_output, as_the_plain_writer_on_a_large_mesh) {
    random_source random(5);
    dense2D<double> pos = random_points(random, 3, 5000, -1e3, 1e3);
    for (std::size_t c = 0; c < 5000; c += 7) pos(c % 3, c) = -1.7e308;
    id_lists columns;
    for (int k = 0; k < 3000; ++k) columns.push_back(random_ids(random, 20, none, 0));
    const auto connect = array_of(columns, 20);
    const scratch_stream stream;
    EXPECT_EQ(FEMAP_output(stream.get(), pos, connect, ET_HEXA20), 0);
    EXPECT_TRUE(stream.contents() == plain_femap_text(pos, connect, {0, 3000}, {ET_HEXA20},
                                                      std::vector<unsigned int>(3000, 1)));
}

} // namespace
