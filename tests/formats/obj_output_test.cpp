#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "formats/obj_files.h"
#include "formats/plain_writers.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

std::string data_file(const std::string& name) {
    std::ifstream in(std::string(TEST_DATA) + "/obj/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// What a file holds afterwards that existed before.
template <class... Arguments>
std::string written(int expected_code, const Arguments&... arguments) {
    const scratch_file file("older contents\n");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(WavefrontOBJ_output(file.name(), arguments...), expected_code);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    const std::string bytes = file.contents();
    if (expected_code != 0) {
        EXPECT_EQ(bytes, "");
    }
    return bytes;
}

const dense2D<double> no_numbers;
const dense2D<unsigned int> no_faces;
const dense2D<double> square = points({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
const dense2D<double> square_textures = points({{0, 0.125}, {1, 0.25}, {0.5, 0.75}, {0, 1}});
const dense2D<double> square_normals = points({{0, 0, 1}, {0, 1, 0}, {1, 0, 0}, {-1, 0, 0}});
const dense2D<unsigned int> triangle = connectivity({{0, 1, 2}});
const dense2D<unsigned int> quadrangle = connectivity({{3, 2, 1, 0}});

std::string number_lines(const char* word, const dense2D<double>& values) {
    plain_text text;
    for (const auto& column : list(values)) {
        text.add("%s ", word);
        for (const double x : column) text.add("%.12f ", x);
        text.add("\n");
    }
    return text.text();
}
const std::string square_lines = number_lines("v", square);

// ---- Files as a whole

TEST(obj_output, vertices_triangles_and_quadrangles) {
    const double infinity = std::numeric_limits<double>::infinity();
    const dense2D<double> pos = points({{0, 1, -2.5},
                                        {123456.789, -1e-12, 1e-300},
                                        {-0.0, 1. / 3., 1e22},
                                        {-1, infinity, -infinity}});
    const auto triangles = connectivity({{0, 1, 2}, {2, 1, 3}});
    const auto quadrangles = connectivity({{0, 1, 2, 3}});
    const std::string expected = data_file("faces.obj");
    EXPECT_EQ(written(0, pos, no_numbers, no_numbers, triangles, quadrangles), expected);
    EXPECT_EQ(written(0, pos, triangles, quadrangles, ET_TRIA3, ET_QUAD4), expected);
    EXPECT_EQ(written(0, pos, quadrangles, triangles, ET_QUAD4, ET_TRIA3), expected);
    // Out of windows in larger arrays too.
    EXPECT_EQ(written(0, with_gaps(pos, 2, 7.0), no_numbers, no_numbers,
                      with_gaps(triangles, 1, 8U), with_gaps(quadrangles, 3, 8U)),
              expected);
    EXPECT_EQ(written(0, with_gaps(pos, 2, 7.0), with_gaps(triangles, 1, 8U),
                      with_gaps(quadrangles, 3, 8U), ET_TRIA3, ET_QUAD4),
              expected);
}

TEST(obj_output, textures_come_before_normals) {
    const std::string expected = data_file("normals_and_textures.obj");
    EXPECT_EQ(written(0, square, square_normals, square_textures, triangle, quadrangle), expected);
    EXPECT_EQ(written(0, with_gaps(square, 1, 7.0), with_gaps(square_normals, 2, 7.0),
                      with_gaps(square_textures, 3, 7.0), with_gaps(triangle, 1, 7U),
                      with_gaps(quadrangle, 1, 7U)),
              expected);
}

TEST(obj_output, corners_without_textures_have_two_slashes) {
    EXPECT_EQ(written(0, square, square_normals, no_numbers, triangle, quadrangle),
              square_lines + number_lines("vn", square_normals) +
                  "f 1//1 2//2 3//3 \nf 4//4 3//3 2//2 1//1 \n");
}

TEST(obj_output, corners_without_normals_end_in_a_slash) {
    EXPECT_EQ(written(0, square, no_numbers, square_textures, triangle, quadrangle),
              square_lines + number_lines("vt", square_textures) +
                  "f 1/1/ 2/2/ 3/3/ \nf 4/4/ 3/3/ 2/2/ 1/1/ \n");
}

TEST(obj_output, vertices_alone) {
    EXPECT_EQ(written(0, square, no_numbers, no_numbers, no_faces, no_faces), square_lines);
    EXPECT_EQ(written(0, square, square_normals, square_textures, no_faces, no_faces),
              square_lines + number_lines("vt", square_textures) +
                  number_lines("vn", square_normals));
    EXPECT_EQ(written(0, square, no_faces, ET_TRIA3), square_lines);
    EXPECT_EQ(written(0, square, no_faces, no_faces, ET_TRIA3, ET_TRIA3), square_lines);
}

TEST(obj_output, two_rows_have_a_z_of_zero) {
    EXPECT_EQ(written(0, points({{1, 2}, {-3, 4}}), no_faces, ET_TRIA3),
              "v 1.000000000000 2.000000000000 0.000000000000 \n"
              "v -3.000000000000 4.000000000000 0.000000000000 \n");
    EXPECT_EQ(written(0, with_gaps(points({{1, 2}, {-3, 4}}), 1, 9.0), no_faces, ET_TRIA3),
              "v 1.000000000000 2.000000000000 0.000000000000 \n"
              "v -3.000000000000 4.000000000000 0.000000000000 \n");
}

TEST(obj_output, numbers_have_twelve_decimals_whatever_their_size) {
    const double largest = std::numeric_limits<double>::max();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const dense2D<double> pos =
        points({{1e300, -largest, 5e-13}, {4.9e-13, -4.9e-13, 0.1}, {nan, -nan, 2. / 3.}});
    EXPECT_EQ(written(0, pos, no_faces, ET_TRIA3), number_lines("v", pos));
    const std::string line = written(0, points({{1e300, 0}}), no_faces, ET_TRIA3);
    EXPECT_EQ(line.find('.'), 2U + 301U);
}

TEST(obj_output, all_ids_but_the_absent_one_are_written_as_unsigned) {
    EXPECT_EQ(written(0, points({{0, 0}}), connectivity({{0x7FFFFFFEU, 0x7FFFFFFFU, 0xFFFFFFFEU}}),
                      ET_TRIA3),
              number_lines("v", points({{0, 0, 0}})) + "f 2147483647 2147483648 4294967295 \n");
}

TEST(obj_output, a_locale_with_a_decimal_comma_changes_nothing) {
    class odd_punctuation : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new odd_punctuation));
    const std::string text =
        written(0, points({{1234.5, 0}}), connectivity({{1233, 0, 1}}), ET_TRIA3);
    std::locale::global(before);
    EXPECT_EQ(text, "v 1234.500000000000 0.000000000000 0.000000000000 \nf 1234 1 2 \n");
}

// ---- Short forms

TEST(obj_output, one_connectivity_goes_by_its_type) {
    EXPECT_EQ(written(0, square, triangle, ET_TRIA3), square_lines + "f 1 2 3 \n");
    EXPECT_EQ(written(0, square, quadrangle, ET_QUAD4), square_lines + "f 4 3 2 1 \n");
}

TEST(obj_output, other_types_are_passed_over_unchecked) {
    for (int t = 0; t <= ET_HEXA27; ++t) {
        if (t == ET_TRIA3 || t == ET_QUAD4) continue;
        const auto type = static_cast<element_type>(t);
        const auto odd = connectivity({{none, 7}});
        EXPECT_EQ(written(0, square, odd, type), square_lines) << t;
        EXPECT_EQ(written(0, square, triangle, type), square_lines) << t;
        EXPECT_EQ(written(0, square, odd, odd, type, type), square_lines) << t;
        EXPECT_EQ(written(0, square, odd, triangle, type, ET_TRIA3), square_lines + "f 1 2 3 \n");
        EXPECT_EQ(written(0, square, quadrangle, odd, ET_QUAD4, type),
                  square_lines + "f 4 3 2 1 \n");
    }
}

TEST(obj_output, two_connectivities_of_one_type_follow_each_other) {
    const auto more = connectivity({{3, 1, 0}, {3, 2, 1}});
    EXPECT_EQ(written(0, square, triangle, more, ET_TRIA3, ET_TRIA3),
              square_lines + "f 1 2 3 \nf 4 2 1 \nf 4 3 2 \n");
    EXPECT_EQ(
        written(0, square, with_gaps(more, 1, 8U), with_gaps(triangle, 2, 8U), ET_TRIA3, ET_TRIA3),
        square_lines + "f 4 2 1 \nf 4 3 2 \nf 1 2 3 \n");
    EXPECT_EQ(written(0, square, quadrangle, quadrangle, ET_QUAD4, ET_QUAD4),
              square_lines + "f 4 3 2 1 \nf 4 3 2 1 \n");
    EXPECT_EQ(written(0, square, no_faces, triangle, ET_TRIA3, ET_TRIA3),
              square_lines + "f 1 2 3 \n");
    EXPECT_EQ(written(0, square, triangle, no_faces, ET_TRIA3, ET_TRIA3),
              square_lines + "f 1 2 3 \n");
}

TEST(obj_output, the_arguments_are_left_as_they_are) {
    dense2D<unsigned int> first = connectivity({{0, 1, 2}});
    dense2D<unsigned int> second = connectivity({{3, 1, 0}});
    const unsigned int* const place = first.column(0);
    written(0, square, first, second, ET_TRIA3, ET_TRIA3);
    EXPECT_EQ(list(first), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(second), (id_lists{{3, 1, 0}}));
    EXPECT_EQ(first.column(0), place);
}

// ---- Codes

TEST(obj_output, a_file_that_cant_be_opened_comes_first) {
    const std::size_t nbr_open = nbr_open_files();
    for (const char* const name :
         {"/no/such/folder/mesh.obj", "", "/proc", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(WavefrontOBJ_output(name, square, square_normals, square_textures, triangle,
                                      quadrangle),
                  -1);
        EXPECT_EQ(WavefrontOBJ_output(name, no_numbers, triangle, quadrangle, ET_TRIA3, ET_QUAD4),
                  -1);
        EXPECT_EQ(WavefrontOBJ_output(name, no_numbers, triangle, ET_TRIA3), -1);
    }
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST(obj_output, nodes_have_two_or_three_rows) {
    for (const std::size_t rows : {0U, 1U, 4U, 6U}) {
        const dense2D<double> pos(rows, 4, 1.0);
        written(-2, pos, no_numbers, no_numbers, triangle, quadrangle);
        written(-2, pos, triangle, quadrangle, ET_TRIA3, ET_QUAD4);
        written(-2, pos, triangle, ET_TRIA3);
        written(-2, pos, triangle, ET_HEXA8);
    }
    written(-2, no_numbers, no_faces, ET_TRIA3);
    written(-2, no_numbers, no_numbers, no_numbers, no_faces, no_faces);
}

TEST(obj_output, normals_have_three_rows_and_a_column_for_each_node) {
    for (const std::size_t rows : {1U, 2U, 4U}) {
        written(-3, square, dense2D<double>(rows, 4, 1.0), no_numbers, triangle, quadrangle);
    }
    for (const std::size_t cols : {1U, 3U, 5U}) {
        written(-3, square, dense2D<double>(3, cols, 1.0), no_numbers, triangle, quadrangle);
    }
    written(0, points({{0, 0}}), dense2D<double>(3, 1, 1.0), no_numbers, no_faces, no_faces);
}

TEST(obj_output, textures_have_two_rows_and_a_column_for_each_node) {
    for (const std::size_t rows : {1U, 3U, 4U}) {
        written(-4, square, square_normals, dense2D<double>(rows, 4, 1.0), triangle, quadrangle);
    }
    for (const std::size_t cols : {1U, 3U, 5U}) {
        written(-4, square, no_numbers, dense2D<double>(2, cols, 1.0), triangle, quadrangle);
    }
}

TEST(obj_output, triangles_have_three_rows_and_no_absent_node) {
    for (const auto& bad :
         {quadrangle, connectivity({{0, 1}}), connectivity({{0, 1, 2}, {0, none, 2}})}) {
        written(-5, square, no_numbers, no_numbers, bad, quadrangle);
        written(-5, square, bad, ET_TRIA3);
        written(-5, square, bad, quadrangle, ET_TRIA3, ET_QUAD4);
        written(-5, square, quadrangle, bad, ET_QUAD4, ET_TRIA3);
    }
    written(-5, square, triangle, connectivity({{0, none, 2}}), ET_TRIA3, ET_TRIA3);
    written(-5, square, connectivity({{none, 1, 2}}), triangle, ET_TRIA3, ET_TRIA3);
}

TEST(obj_output, quadrangles_have_four_rows_and_no_absent_node) {
    for (const auto& bad :
         {triangle, connectivity({{0, 1, 2, 3, 4}}), connectivity({{0, 1, 2, none}})}) {
        written(-6, square, no_numbers, no_numbers, triangle, bad);
        written(-6, square, bad, ET_QUAD4);
        written(-6, square, triangle, bad, ET_TRIA3, ET_QUAD4);
        written(-6, square, bad, triangle, ET_QUAD4, ET_TRIA3);
    }
    written(-6, square, quadrangle, connectivity({{0, 1, 2, none}}), ET_QUAD4, ET_QUAD4);
}

TEST(obj_output, the_checks_come_in_the_order_of_the_arguments) {
    const dense2D<double> bad(1, 1, 1.0);
    const auto absent = connectivity({{none}});
    written(-2, bad, bad, bad, absent, absent);
    written(-3, square, bad, bad, absent, absent);
    written(-4, square, square_normals, bad, absent, absent);
    written(-5, square, square_normals, square_textures, absent, absent);
    written(-6, square, square_normals, square_textures, triangle, absent);
}

TEST(obj_output, node_ids_are_not_compared_with_the_nodes_there_are) {
    EXPECT_EQ(written(0, square, connectivity({{7, 8, 9}}), ET_TRIA3),
              square_lines + "f 8 9 10 \n");
}

TEST(obj_output, a_failed_check_leaves_an_empty_file_where_none_was) {
    const scratch_file file;
    ASSERT_FALSE(file.exists());
    EXPECT_EQ(WavefrontOBJ_output(file.name(), square, quadrangle, ET_TRIA3), -5);
    EXPECT_TRUE(file.exists());
    EXPECT_EQ(file.contents(), "");
}

TEST(obj_output, a_full_disk_passes_unnoticed) {
    EXPECT_EQ(WavefrontOBJ_output("/dev/full", square, triangle, ET_TRIA3), 0);
    const dense2D<double> many(3, 100000, 1.0);
    EXPECT_EQ(WavefrontOBJ_output("/dev/full", many, triangle, ET_TRIA3), 0);
}

// ---- Round trip and plain writer

TEST(obj_output, two_triangles_and_a_quadrangle_read_back_as_they_were) {
    const auto triangles = connectivity({{0, 1, 2}, {0, 2, 3}});
    const scratch_file file;
    const dense2D<double> flat = points({{0, 0}, {2, 0}, {2, 2}, {0, 2}});
    EXPECT_EQ(WavefrontOBJ_output(file.name(), flat, triangles, quadrangle, ET_TRIA3, ET_QUAD4), 0);
    obj_arrays result;
    result.read(file.name());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), list(square));
    EXPECT_EQ(list(result.triangles), list(triangles));
    EXPECT_EQ(list(result.quadrangles), list(quadrangle));
    EXPECT_TRUE(result.normals.empty());
    EXPECT_TRUE(result.textures.empty());
}

TEST(obj_output, as_the_plain_writer_on_random_meshes_and_back) {
    const std::uint64_t n = nbr_runs(1500);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        const std::size_t nbr_nodes = 1 + random.below(20);
        const auto pos = random_coordinates(random, 2 + random.below(2), nbr_nodes);
        dense2D<double> normals, textures;
        if (random.one_in(2)) normals = random_coordinates(random, 3, nbr_nodes);
        if (random.one_in(2)) textures = random_coordinates(random, 2, nbr_nodes);
        const std::size_t limit = random.one_in(4) ? 0x7FFFFFFFU : nbr_nodes;
        const auto triangles = random_connect(random, ET_TRIA3, random.below(10), limit);
        const auto quadrangles = random_connect(random, ET_QUAD4, random.below(10), limit);
        const scratch_file file;
        ASSERT_EQ(WavefrontOBJ_output(file.name(), pos, normals, textures, triangles, quadrangles),
                  0)
            << seed;
        ASSERT_EQ(file.contents(), plain_obj_text(pos, normals, textures, triangles, quadrangles))
            << seed;
        obj_arrays result;
        result.read(file.name());
        ASSERT_EQ(result.code, 0) << seed;
        ASSERT_EQ(list(result.triangles), list(triangles)) << seed;
        ASSERT_EQ(list(result.quadrangles), list(quadrangles)) << seed;
        ASSERT_EQ(result.normals.cols(), normals.cols()) << seed;
        ASSERT_EQ(result.textures.cols(), textures.cols()) << seed;
        ASSERT_EQ(result.pos.cols(), nbr_nodes) << seed;
        for (std::size_t c = 0; c < nbr_nodes; ++c) {
            for (std::size_t r = 0; r < 3; ++r) {
                const double wanted = r < pos.rows() ? pos(r, c) : 0.0;
                ASSERT_LE(std::abs(result.pos(r, c) - wanted), 0.5e-12 + std::abs(wanted) * 0x1p-53)
                    << seed;
            }
        }
    }
}

// More than any buffer takes at once, with the longest lines.
TEST(obj_output, as_the_plain_writer_on_a_large_mesh) {
    random_source random(5);
    dense2D<double> pos = random_points(random, 3, 5000, -1e3, 1e3);
    for (std::size_t c = 0; c < 5000; c += 7) pos(c % 3, c) = -1.7e308;
    const dense2D<double> normals = random_points(random, 3, 5000, -1, 1);
    const dense2D<double> textures = random_points(random, 2, 5000, -1e200, 1e200);
    const auto triangles = random_connect(random, ET_TRIA3, 5000, 0xFFFFFFFFU);
    const auto quadrangles = random_connect(random, ET_QUAD4, 5000, 0xFFFFFFFFU);
    EXPECT_TRUE(written(0, pos, normals, textures, triangles, quadrangles) ==
                plain_obj_text(pos, normals, textures, triangles, quadrangles));
}

} // namespace
