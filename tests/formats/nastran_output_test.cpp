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
#include "formats/nastran_decks.h"
#include "formats/plain_nastran.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

std::string data_file(const std::string& name) {
    std::ifstream in(std::string(TEST_DATA) + "/nastran/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

template <class... Arguments>
std::string written(int expected_code, const Arguments&... arguments) {
    return written_runs<nastran_functions>(expected_code, arguments...);
}

const dense2D<double> one_point = points({{1.5, -0.00225, 0}});

// The element cards of a deck.
std::string cards_of(const std::string& deck) {
    const std::string rule = "$----------------------------------------\n";
    const std::size_t begin = deck.rfind(rule) + rule.size();
    const std::size_t end = deck.rfind("ENDDATA\n");
    return deck.substr(begin, end - begin);
}

std::string cards(const dense2D<unsigned int>& connect, element_type type) {
    return cards_of(written(0, one_point, connect, type));
}

std::string cards_of_one(element_type type) {
    return cards(array_of({counted(0, nbr_nodes(type))}, nbr_nodes(type)), type);
}

// ---- Whole decks

TEST(nastran_output, no_elements_leave_the_nodes) {
    EXPECT_EQ(written(0, one_point, dense2D<unsigned int>(), ET_TRIA3),
              data_file("no_elements.bdf"));
    EXPECT_EQ(written(0, one_point, dense2D<unsigned int>(), dense1D<unsigned int>{0U},
                      dense1D<int>(), dense1D<unsigned int>()),
              data_file("no_elements.bdf"));
    EXPECT_EQ(written(0, one_point, dense2D<unsigned int>(), dense2D<unsigned int>(), ET_TRIA3,
                      ET_HEXA20),
              data_file("no_elements.bdf"));
}

TEST(nastran_output, every_type_by_its_table) {
    const std::vector<int> types{ET_QUAD9,  ET_BAR2,    ET_QUAD9,   ET_BAR3,    ET_TRIA3,
                                 ET_TRIA6,  ET_QUAD4,   ET_QUAD8,   ET_QUAD9,   ET_NODE,
                                 ET_TETRA4, ET_TETRA10, ET_BAR_MIX, ET_PYRA5,   ET_PYRA13,
                                 ET_PYRA14, ET_PENTA6,  ET_PENTA15, ET_PENTA18, ET_HEXA8,
                                 ET_HEXA20, ET_HEXA27,  ET_UNKNOWN, ET_QUAD9,   ET_FACE_MIX};
    const std::vector<std::vector<unsigned int>> elements{counted(900, 9),
                                                          counted(0, 2),
                                                          counted(900, 9),
                                                          counted(10, 3),
                                                          counted(20, 3),
                                                          counted(30, 6),
                                                          counted(40, 4),
                                                          counted(50, 8),
                                                          counted(900, 9),
                                                          {900},
                                                          counted(60, 4),
                                                          counted(70, 10),
                                                          counted(900, 2),
                                                          counted(80, 5),
                                                          counted(90, 13),
                                                          counted(110, 14),
                                                          counted(130, 6),
                                                          counted(140, 15),
                                                          counted(160, 18),
                                                          counted(180, 8),
                                                          counted(190, 20),
                                                          counted(220, 27),
                                                          {},
                                                          counted(900, 9),
                                                          counted(250, 3),
                                                          counted(260, 4)};
    dense1D<unsigned int> indices;
    dense1D<unsigned int> pids;
    for (unsigned int k = 0; k < types.size(); ++k) indices.push_back(k);
    indices.push_back(26);
    for (unsigned int k = 1; k <= 26; ++k) pids.push_back(100 + k);
    const double infinity = std::numeric_limits<double>::infinity();
    const dense2D<double> pos = points(
        {{0.0, 1.0, -2.5},
         {123456.789, -0.001, 1e-300},
         {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()},
         {-0.0, std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min()}});
    EXPECT_EQ(written(0, pos, array_of(elements, 27), indices, vector_of(types), pids),
              data_file("every_type.bdf"));
    // Out of windows in larger arrays too.
    EXPECT_EQ(written(0, with_gaps(pos, 2, -7.0), with_gaps(array_of(elements, 27), 3, 777U),
                      indices, vector_of(types), pids),
              data_file("every_type.bdf"));
}

TEST(nastran_output, mixed_solids_by_their_first_absent_node) {
    const mesh m = mixed_solids();
    EXPECT_EQ(written(0, m.pos, m.connect, m.type), data_file("mixed_solids.bdf"));
}

TEST(nastran_output, two_connectivities_have_two_properties_and_one_numbering) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    const auto triangles = connectivity({{0, 1, 2}, {0, 2, 3}});
    const auto quadrangle = connectivity({{0, 1, 2, 3}});
    EXPECT_EQ(written(0, pos, triangles, quadrangle, ET_TRIA3, ET_QUAD4),
              data_file("two_connectivities.bdf"));
    EXPECT_EQ(written(0, with_gaps(pos, 1, 3.0), with_gaps(triangles, 2, 9U),
                      with_gaps(quadrangle, 4, 9U), ET_TRIA3, ET_QUAD4),
              data_file("two_connectivities.bdf"));
}

TEST(nastran_output, a_planar_mesh_has_a_z_of_zero) {
    const std::string deck =
        written(0, points({{1, 2}, {-3, 4}}), dense2D<unsigned int>(), ET_TRIA3);
    EXPECT_NE(deck.find("GRID*                  1                    1.000000E+00    2.000000E+00"
                        "*C\n*C          0.000000E+00\n"
                        "GRID*                  2                   -3.000000E+00    4.000000E+00"
                        "*C\n*C          0.000000E+00\n"),
              std::string::npos)
        << deck;
    EXPECT_EQ(deck, written(0, points({{1, 2, 0}, {-3, 4, 0}}), dense2D<unsigned int>(), ET_TRIA3));
}

// ---- Cards

TEST(nastran_output, six_nodes_fit_on_one_line) {
    EXPECT_EQ(cards_of_one(ET_TRIA6), "CTRIA6,1,1,1,2,3,6,4,5\n");
    EXPECT_EQ(cards_of_one(ET_PENTA6), "CPENTA,1,1,1,2,3,4,5,6\n");
}

TEST(nastran_output, further_lines_hold_eight_nodes) {
    EXPECT_EQ(cards_of_one(ET_HEXA8), "CHEXA,1,1,1,2,3,4,5,6,+C\n+C,7,8\n");
    EXPECT_EQ(cards_of_one(ET_HEXA20), "CHEXA,1,1,1,2,3,4,5,6,+C\n"
                                       "+C,7,8,9,10,11,12,17,18,+C\n"
                                       "+C,19,20,13,14,15,16\n");
    EXPECT_EQ(cards_of_one(ET_PYRA14), "CPYRAM,1,1,1,2,3,4,5,6,+C\n+C,7,8,9,10,11,12,13\n");
    EXPECT_EQ(cards_of_one(ET_PENTA15),
              "CPENTA,1,1,1,2,3,4,5,6,+C\n+C,12,10,11,7,8,9,15,13,+C\n+C,14\n");
}

TEST(nastran_output, bars_of_three_nodes_lose_the_middle_one) {
    EXPECT_EQ(cards(connectivity({{4, 5, 6}, {6, 7, 8}}), ET_BAR3), "CBAR,1,1,5,6\nCBAR,2,1,7,8\n");
}

TEST(nastran_output, types_without_a_card_are_left_out_and_count_on) {
    EXPECT_EQ(cards(connectivity({{0}, {1}}), ET_NODE), "");
    EXPECT_EQ(cards(connectivity({{0, 1}, {1, 2}}), ET_BAR_MIX), "");
    const dense1D<unsigned int> indices{0U, 1U, 2U, 3U};
    const dense1D<unsigned int> pids{5U, 6U, 7U};
    EXPECT_EQ(cards_of(written(0, one_point, connectivity({{0, 1}, {1, 2}, {2, 3}}), indices,
                               dense1D<int>{ET_BAR_MIX, ET_UNKNOWN, ET_BAR2}, pids)),
              "CBAR,3,7,3,4\n");
    // The unknown type has no rows to check.
    EXPECT_EQ(cards(connectivity({{none, none}}), ET_UNKNOWN), "");
}

TEST(nastran_output, nine_node_quadrangles_repeat_the_numbers_of_the_card_before) {
    EXPECT_EQ(cards_of_one(ET_QUAD9), "CQUAD8,1,1,1,1,1,1,1,1,+C\n+C,1,1,1\n");
    const dense2D<unsigned int> connect =
        array_of({counted(10, 3), counted(50, 9), counted(70, 20), counted(50, 9), counted(20, 2),
                  counted(50, 9), counted(50, 9)},
                 20);
    EXPECT_EQ(
        cards_of(written(0, one_point, connect, dense1D<unsigned int>{0U, 1U, 2U, 3U, 4U, 5U, 7U},
                         dense1D<int>{ET_TRIA3, ET_QUAD9, ET_HEXA20, ET_QUAD9, ET_BAR2, ET_QUAD9},
                         dense1D<unsigned int>(7, 3U))),
        "CTRIA3,1,3,11,12,13\n"
        "CQUAD8,2,3,11,12,13,1,1,1,+C\n+C,1,1,1\n"
        "CHEXA,3,3,71,72,73,74,75,76,+C\n"
        "+C,77,78,79,80,81,82,87,88,+C\n"
        "+C,89,90,83,84,85,86\n"
        "CQUAD8,4,3,71,72,73,74,75,76,+C\n+C,77,78,79\n"
        "CBAR,5,3,21,22\n"
        "CQUAD8,6,3,21,22,73,74,75,76,+C\n+C,77,78,79\n"
        "CQUAD8,7,3,21,22,73,74,75,76,+C\n+C,77,78,79\n");
}

TEST(nastran_output, mixed_faces_of_four_rows_and_more) {
    EXPECT_EQ(cards(connectivity({{0, 1, 2, none}, {3, 4, 5, 6}}), ET_FACE_MIX),
              "CTRIA3,1,1,1,2,3\nCQUAD4,2,1,4,5,6,7\n");
    // Rows further down belong to other runs.
    const dense2D<unsigned int> connect =
        array_of({{0, 1, 2, none, 9, 9}, {3, 4, 5, 6, 9, 9}, counted(0, 6)}, 6);
    EXPECT_EQ(cards_of(written(0, one_point, connect, dense1D<unsigned int>{0U, 2U, 3U},
                               dense1D<int>{ET_FACE_MIX, ET_TRIA6}, dense1D<unsigned int>(3, 1U))),
              "CTRIA3,1,1,1,2,3\nCQUAD4,2,1,4,5,6,7\nCTRIA6,3,1,1,2,3,6,4,5\n");
}

TEST(nastran_output, a_run_may_leave_out_columns_at_both_ends_and_be_empty) {
    const auto connect = connectivity({{0, 1}, {2, 3}, {4, 5}, {6, 7}});
    EXPECT_EQ(cards_of(written(0, one_point, connect, dense1D<unsigned int>{1U, 1U, 3U, 3U},
                               dense1D<int>{ET_HEXA20, ET_BAR2, ET_FACE_MIX},
                               dense1D<unsigned int>{1U, 2U, 3U, 4U})),
              "CBAR,2,2,3,4\nCBAR,3,3,5,6\n");
}

TEST(nastran_output, numbers_beyond_an_int_are_written_as_negative_ones) {
    const auto connect = connectivity({{0x7FFFFFFEU, 0x7FFFFFFFU}, {0xFFFFFFFDU, 0xFFFFFFFEU}});
    EXPECT_EQ(
        cards_of(written(0, one_point, connect, dense1D<unsigned int>{0U, 2U},
                         dense1D<int>{ET_BAR2}, dense1D<unsigned int>{0x80000000U, 0xFFFFFFFFU})),
        "CBAR,1,-2147483648,2147483647,-2147483648\nCBAR,2,-1,-2,-1\n");
}

TEST(nastran_output, nodes_are_not_compared_with_those_there_are) {
    EXPECT_EQ(cards(connectivity({{7, 8, 9}}), ET_TRIA3), "CTRIA3,1,1,8,9,10\n");
}

TEST(nastran_output, a_locale_with_a_decimal_comma_changes_nothing_for_either_side) {
    const scratch_stream stream;
    deck_arrays deck;
    {
        const comma_locale locale;
        if (!locale.is_set()) GTEST_SKIP() << "no such locale here";
        EXPECT_EQ(NASTRAN_output(stream.get(), one_point, dense2D<unsigned int>(), ET_TRIA3), 0);
        deck = read_deck("GRID,1,,1.5,2.5e0,0x1.8p1\n"
                         "GRID    2               1.5+1   2.5     1.5E-1\n"
                         "GRID*                  3                             1.5         2.5D+1\n"
                         "*       0.1234567890123\n");
    }
    EXPECT_EQ(stream.contents(), data_file("no_elements.bdf"));
    EXPECT_EQ(list(deck.pos),
              (number_lists{{1.5, 2.5, 3}, {15, 2.5, 0.15}, {1.5, 25, 0.1234567890123}}));
}

TEST(nastran_output, writes_behind_what_the_stream_holds_and_leaves_it_open) {
    const scratch_stream stream;
    std::fputs("$ before\n", stream.get());
    EXPECT_EQ(NASTRAN_output(stream.get(), one_point, dense2D<unsigned int>(), ET_TRIA3), 0);
    std::fputs("$ behind\n", stream.get());
    EXPECT_EQ(stream.contents(), "$ before\n" + data_file("no_elements.bdf") + "$ behind\n");
}

// ---- Codes

TEST(nastran_output, a_mesh_without_elements_is_checked_too) {
    written(-2, dense2D<double>(), dense2D<unsigned int>(), ET_BAR2);
    written(-5, one_point, dense2D<unsigned int>(), dense1D<unsigned int>(), dense1D<int>(),
            dense1D<unsigned int>());
}

TEST(nastran_output, two_connectivities_are_checked_each_by_its_type) {
    const auto triangles = connectivity({{0, 1, 2}});
    const auto quadrangles = connectivity({{0, 1, 2, 3}});
    written(-3, one_point, quadrangles, connectivity({{0, none, 1}}), ET_QUAD4, ET_TRIA3);
    written(-3, one_point, connectivity({{0, none, 1}}), quadrangles, ET_TRIA3, ET_QUAD4);
    written(-3, one_point, triangles, quadrangles, ET_QUAD4, ET_TRIA3);
    // Rows beyond the type's are left away.
    EXPECT_EQ(cards_of(written(0, one_point, quadrangles, quadrangles, ET_TRIA3, ET_QUAD4)),
              "CTRIA3,1,1,1,2,3\nCQUAD4,2,2,1,2,3,4\n");
    EXPECT_EQ(
        cards_of(written(0, one_point, quadrangles, dense2D<unsigned int>(), ET_QUAD4, ET_TETRA10)),
        "CQUAD4,1,1,1,2,3,4\n");
    EXPECT_EQ(
        cards_of(written(0, one_point, dense2D<unsigned int>(), quadrangles, ET_TETRA10, ET_QUAD4)),
        "CQUAD4,1,2,1,2,3,4\n");
    EXPECT_EQ(
        cards_of(written(0, one_point, connectivity({{0, 1, 2, none}}),
                         connectivity({{0, 1, 2, 3, 4, 5, 6, 7}}), ET_FACE_MIX, ET_SOLID_MIX)),
        "CTRIA3,1,1,1,2,3\nCHEXA,2,2,1,2,3,4,5,6,+C\n+C,7,8\n");
}

TEST(nastran_output, two_connectivities_without_nodes_have_properties_for_no_column) {
    const auto connect = connectivity({{0, 1}});
    written(-6, one_point, connect, connect, ET_UNKNOWN, ET_UNKNOWN);
    EXPECT_EQ(cards_of(written(0, one_point, connect, connect, ET_UNKNOWN, ET_BAR2)),
              "CBAR,2,2,1,2\n");
}

TEST(nastran_output, uniform_mixed_arrays_of_two_fail_too) {
    const auto quadrangles = connectivity({{0, 1, 2, 3}});
    written(-3, one_point, connectivity({{0, 1, 2}}), quadrangles, ET_FACE_MIX, ET_QUAD4);
    written(-3, one_point, quadrangles, connectivity({{0, 1, 2, 3}}), ET_QUAD4, ET_SOLID_MIX);
}

TEST(nastran_output, a_value_that_is_no_type_reads_nothing_outside) {
    for (const int type : {-1, 23, 99, 0x7FFFFFFF}) {
        const scratch_stream stream;
        const auto connect = connectivity({{0, 1}});
        NASTRAN_output(stream.get(), one_point, connect, dense1D<unsigned int>{0U, 1U},
                       dense1D<int>{type}, dense1D<unsigned int>{1U});
        EXPECT_EQ(stream.contents().find("\nC"), std::string::npos) << type;
    }
}

TEST(nastran_output, a_full_disk_passes_unnoticed) {
    std::FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(NASTRAN_output(full, one_point, dense2D<unsigned int>(), ET_TRIA3), 0);
    std::fclose(full);
}

// ---- Against the plain writer

TEST(nastran_output, as_the_plain_writer_on_random_runs) {
    const std::uint64_t n = nbr_runs(1500);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        dense2D<double> pos(2 + random.below(2), 1 + random.below(20));
        for (std::size_t c = 0; c < pos.cols(); ++c) {
            for (std::size_t r = 0; r < pos.rows(); ++r) {
                const double exponent = random.one_in(3) ? random.uniform(-320, 310) : 0.0;
                pos(r, c) = random.one_in(4) ? static_cast<double>(random.below(5)) - 2
                                             : random.uniform(-2, 2) * std::pow(10.0, exponent);
            }
        }
        // Mixed solids allow 8 rows only.
        const bool wide = random.one_in(2);
        std::vector<int> types;
        std::vector<unsigned int> indices{0};
        std::size_t rows = wide ? 27 : 8;
        std::vector<std::vector<unsigned int>> elements;
        for (std::size_t k = random.below(8); k > 0; --k) {
            int type = static_cast<int>(random.below(ET_HEXA27 + 1));
            const auto nbr = [&] { return nbr_nodes(static_cast<element_type>(type)); };
            if (nbr() > rows || (wide && type == ET_SOLID_MIX)) type = ET_TRIA3;
            types.push_back(type);
            for (std::size_t c = random.below(4); c > 0; --c) {
                auto column = random_ids(random, rows, random.one_in(3) ? 0xFFFFFFFFU : 100U, 0);
                if (type == ET_FACE_MIX && random.one_in(2)) column[3] = none;
                if (type == ET_SOLID_MIX) {
                    const std::size_t end = random.one_in(4) ? 8 : 4 + random.below(3);
                    std::fill(column.begin() + static_cast<std::ptrdiff_t>(end), column.end(),
                              none);
                }
                elements.push_back(column);
            }
            indices.push_back(static_cast<unsigned int>(elements.size()));
        }
        dense2D<unsigned int> connect = array_of(elements, rows);
        if (random.one_in(3)) connect = with_gaps(connect, 1 + random.below(4), 3U);
        if (random.one_in(3)) pos = with_gaps(pos, 1 + random.below(4), -1.0);
        const auto pids = random_ids(random, elements.size(), random.one_in(3) ? none : 50U, 0);
        const scratch_stream stream;
        ASSERT_EQ(NASTRAN_output(stream.get(), pos, connect, vector_of(indices), vector_of(types),
                                 vector_of(pids)),
                  0)
            << seed;
        ASSERT_EQ(stream.contents(),
                  plain_nastran_writer().write(pos, connect, indices, types, pids))
            << seed;
    }
}

// More than any buffer takes at once.
TEST(nastran_output, as_the_plain_writer_on_a_large_mesh) {
    random_source random(5);
    const dense2D<double> pos = random_points(random, 3, 5000, -1e3, 1e3);
    std::vector<std::vector<unsigned int>> elements;
    for (int k = 0; k < 5000; ++k) elements.push_back(random_ids(random, 20, 5000, 0));
    const dense2D<unsigned int> connect = array_of(elements, 20);
    const scratch_stream stream;
    EXPECT_EQ(NASTRAN_output(stream.get(), pos, connect, ET_HEXA20), 0);
    EXPECT_TRUE(stream.contents() ==
                plain_nastran_writer().write(pos, connect, {0, 5000}, {ET_HEXA20},
                                             std::vector<unsigned int>(5000, 1)));
}

// Properties that stay, follow each other, and differ, also where their text gets longer or a sign.
TEST(nastran_output, as_the_plain_writer_on_properties_in_sequence) {
    const std::vector<unsigned int> starts{0,          8,          97,         9998,
                                           99999997,   99999999,   100000000,  2147483646,
                                           4294967286, 4294967294, 1234567890, 7};
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        random_source random(seed + 1000);
        std::vector<unsigned int> pids;
        while (pids.size() < 120) {
            unsigned int pid = random.one_of(starts);
            for (std::size_t k = random.below(15); k > 0; --k) {
                pids.push_back(pid);
                if (!random.one_in(4)) ++pid;
            }
        }
        const auto nbr_elements = static_cast<unsigned int>(pids.size());
        const std::vector<unsigned int> indices{0, nbr_elements};
        const std::vector<int> types{ET_TRIA3};
        const dense2D<double> pos(3, 1, 0.0);
        const dense2D<unsigned int> connect(3, nbr_elements, 5U);
        const scratch_stream stream;
        ASSERT_EQ(NASTRAN_output(stream.get(), pos, connect, vector_of(indices), vector_of(types),
                                 vector_of(pids)),
                  0);
        ASSERT_EQ(stream.contents(),
                  plain_nastran_writer().write(pos, connect, indices, types, pids))
            << seed;
    }
}

} // namespace
