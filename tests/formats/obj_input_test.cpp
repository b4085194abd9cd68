#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "formats/obj_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::string three_vertices = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";

// The vertices of a file without faults.
number_lists vertices(const std::string& text) {
    const obj_arrays result = read_obj(text);
    EXPECT_EQ(result.code, 0) << text;
    return list(result.pos);
}
id_lists triangles(const std::string& text) {
    const obj_arrays result = read_obj(text);
    EXPECT_EQ(result.code, 0) << text;
    EXPECT_TRUE(result.quadrangles.empty()) << text;
    return list(result.triangles);
}
id_lists quadrangles(const std::string& text) {
    const obj_arrays result = read_obj(text);
    EXPECT_EQ(result.code, 0) << text;
    EXPECT_TRUE(result.triangles.empty()) << text;
    return list(result.quadrangles);
}
int code_of(const std::string& text) { return read_obj(text).code; }

// ---- Files as a whole

TEST(obj_input, a_file_of_comments_is_empty) {
    for (const char* const text :
         {"", "\n", "# a\n", "# v 1 2 3\n#v 1 2 3\n# f 1 2 3\n", "#", " \t\n\r\n#\n", "\n\n\n"}) {
        const obj_arrays result = read_obj(text);
        EXPECT_EQ(result.code, 0) << text;
        EXPECT_TRUE(result.all_empty()) << text;
    }
}

TEST(obj_input, each_line_fills_its_array) {
    const obj_arrays result = read_obj("mtllib scene.mtl\n"
                                       "o plate\n"
                                       "v 0 0 0\nv 1 0 0.5\nv 1 1 -0.25\nv 0 1 1e3\n"
                                       "vt 0 0\nvt 1 0.5\n"
                                       "vn 0 0 1\n"
                                       "g side\nusemtl red\ns off\n"
                                       "f 1/1/1 2/2/1 3/1/1\n"
                                       "f 1 2 3 4\n"
                                       "f 4//1 3//1 1//1\n"
                                       "vn 0 1 0\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{0, 0, 0}, {1, 0, 0.5}, {1, 1, -0.25}, {0, 1, 1e3}}));
    EXPECT_EQ(list(result.textures), (number_lists{{0, 0}, {1, 0.5}}));
    EXPECT_EQ(list(result.normals), (number_lists{{0, 0, 1}, {0, 1, 0}}));
    EXPECT_EQ(list(result.triangles), (id_lists{{0, 1, 2}, {3, 2, 0}}));
    EXPECT_EQ(list(result.quadrangles), (id_lists{{0, 1, 2, 3}}));
}

TEST(obj_input, a_file_that_cant_be_opened_empties_all_outputs) {
    const std::size_t nbr_open = nbr_open_files();
    for (const char* const name :
         {"/no/such/folder/mesh.obj", "", static_cast<const char*>(nullptr)}) {
        obj_arrays result;
        result.read(name);
        EXPECT_EQ(result.code, -1);
        EXPECT_TRUE(result.all_empty());
    }
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST(obj_input, a_folder_opens_and_has_no_lines) {
    obj_arrays result;
    result.read("/proc");
    const plain_obj expected("/proc");
    EXPECT_EQ(expected.code, 0);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(result.all_empty());
}

TEST(obj_input, the_file_is_closed) {
    const std::size_t nbr_open = nbr_open_files();
    const scratch_file good(three_vertices + "f 1 2 3\n");
    const scratch_file bad(three_vertices + "v 1 2\n");
    obj_arrays result;
    result.read(good.name());
    EXPECT_EQ(result.code, 0);
    result.read(bad.name());
    EXPECT_EQ(result.code, -2);
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST(obj_input, what_stands_before_a_fault_is_kept) {
    const obj_arrays result = read_obj(three_vertices + "vn 0 0 1\nvt 0.5\nf 1 2 3\nf 1 2 3 1\n" +
                                       "v 1 2\n" + three_vertices + "f 1 2 3\n");
    EXPECT_EQ(result.code, -2);
    EXPECT_EQ(list(result.pos), (number_lists{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(list(result.normals), (number_lists{{0, 0, 1}}));
    EXPECT_EQ(list(result.textures), (number_lists{{0.5}}));
    EXPECT_EQ(list(result.triangles), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(result.quadrangles), (id_lists{{0, 1, 2, 0}}));
}

TEST(obj_input, a_second_read_replaces_the_first_through_no_view) {
    const scratch_file first(three_vertices + "f 1 2 3\n");
    const scratch_file second("v 9 9 9\n");
    obj_arrays result;
    result.read(first.name());
    result.read(second.name());
    EXPECT_EQ(list(result.pos), (number_lists{{9, 9, 9}}));
    EXPECT_TRUE(result.triangles.empty());
}

TEST(obj_input, words_are_compared_whole_and_by_case) {
    const obj_arrays result =
        read_obj("V 1 2\nVN 1\nVT 1 2 3 4\nF 1x\nvx 1 2\nvp 1 2\nfo 1x\nv1 2 3\nf1 2 3\nl 1 2\n"
                 "v,1,2,3\np 1\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(result.all_empty());
}

TEST(obj_input, blanks_around_words_are_any_white_space) {
    EXPECT_EQ(vertices(" \t v\t1 \v2\f 3\r\n"), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(triangles("\v\f f\t1\v2\f3 \r\n"), (id_lists{{0, 1, 2}}));
}

TEST(obj_input, lines_of_any_length_are_one_line) {
    const std::string blanks(100000, ' ');
    EXPECT_EQ(vertices("v" + blanks + "1" + blanks + "2 3\nv 4 5 6\n"),
              (number_lists{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(triangles("f 1 2" + blanks + "3\n"), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(vertices("#" + std::string(100000, 'x') + "v 1 2\nv 1 2 3\n"),
              (number_lists{{1, 2, 3}}));
    EXPECT_EQ(vertices("v 1." + std::string(5000, '0') + "1 2 3\n"), (number_lists{{1, 2, 3}}));
}

TEST(obj_input, a_carriage_return_alone_ends_no_line) {
    EXPECT_EQ(vertices("v 1 2 3\rv 4 5 6\r"), (number_lists{{1, 2, 3}}));
}

// ---- Vertices

TEST(obj_input, a_fourth_number_of_a_vertex_is_dropped) {
    EXPECT_EQ(vertices("v 1 2 3 0.5\n"), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(vertices("v 1 2 3 0.5 0.6 0.7 0.8\n"), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(vertices("v 1 2 3 # corner\n"), (number_lists{{1, 2, 3}}));
}

TEST(obj_input, a_vertex_of_two_numbers_is_a_fault) {
    for (const char* const text : {"v 1 2\n", "v 1\n", "v\n", "v \n", "v 1 2", "v", "v x 1 2 3\n",
                                   "v 1 2 x3\n", "v 1 2 #3\n", "v 1,2,3\n", "v 1 2 nan\n",
                                   "v inf 1 2\n", "v 1 2 -\n", "v 1 2 1e\n", "v 1 2 .\n"}) {
        const obj_arrays result = read_obj(text);
        EXPECT_EQ(result.code, -2) << text;
        EXPECT_TRUE(result.all_empty()) << text;
    }
}

TEST(obj_input, many_vertices_keep_their_order_as_arrays_grow) {
    std::string text;
    for (int k = 1; k <= 3000; ++k) {
        const std::string n = std::to_string(k);
        text += "v " + n + " 0 -" + n + "\nvn " + n + " 1 0\nvt 0 " + n + "\nf " + n + " 1 2\nf " +
                n + " 1 2 3\n";
    }
    const obj_arrays result = read_obj(text);
    EXPECT_EQ(result.code, 0);
    ASSERT_EQ(result.pos.cols(), 3000U);
    ASSERT_EQ(result.normals.cols(), 3000U);
    ASSERT_EQ(result.textures.cols(), 3000U);
    ASSERT_EQ(result.triangles.cols(), 3000U);
    ASSERT_EQ(result.quadrangles.cols(), 3000U);
    for (unsigned int c = 0; c < 3000; ++c) {
        ASSERT_EQ(list(result.pos.sub_matrix(0, c, 3, 1)), (number_lists{{c + 1., 0, -(c + 1.)}}));
        ASSERT_EQ(list(result.normals.sub_matrix(0, c, 3, 1)), (number_lists{{c + 1., 1, 0}}));
        ASSERT_EQ(list(result.textures.sub_matrix(0, c, 2, 1)), (number_lists{{0, c + 1.}}));
        ASSERT_EQ(list(result.triangles.sub_matrix(0, c, 3, 1)), (id_lists{{c, 0, 1}}));
        ASSERT_EQ(list(result.quadrangles.sub_matrix(0, c, 4, 1)), (id_lists{{c, 0, 1, 2}}));
    }
}

TEST(obj_input, numbers_are_those_that_a_stream_extracts) {
    EXPECT_EQ(vertices("v +1 -2.5 .5\n"), (number_lists{{1, -2.5, 0.5}}));
    EXPECT_EQ(vertices("v 1. 1e3 1E-3\n"), (number_lists{{1, 1000, 0.001}}));
    // A number ends where no more of it follows, and the next may follow at once.
    EXPECT_EQ(vertices("v 1-2+3\n"), (number_lists{{1, -2, 3}}));
    EXPECT_EQ(vertices("v 1.5.25 7\n"), (number_lists{{1.5, 0.25, 7}}));
    // Hexadecimal is none: the zero ends at the letter.
    EXPECT_EQ(code_of("v 0x10 1 2\n"), -2);
    EXPECT_EQ(vertices("v 1 2 0x10\n"), (number_lists{{1, 2, 0}}));
    // Too large is a failure, too small is not.
    EXPECT_EQ(code_of("v 1 2 1e400\n"), -2);
    EXPECT_EQ(vertices("v 1 2 3 1e400\n"), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(vertices("v 1e-400 5e-324 1e308\n"),
              (number_lists{{0, std::numeric_limits<double>::denorm_min(), 1e308}}));
    EXPECT_TRUE(std::signbit(vertices("v -0 0 0\n").at(0).at(0)));
    EXPECT_TRUE(std::signbit(vertices("v -1e-400 0 0\n").at(0).at(0)));
}

TEST(obj_input, a_nul_ends_the_numbers_but_not_the_line) {
    using namespace std::string_literals;
    EXPECT_EQ(vertices("v 1 2 3\0 4\nv 5 6 7\n"s), (number_lists{{1, 2, 3}, {5, 6, 7}}));
    EXPECT_EQ(code_of("v 1 2\0 3\n"s), -2);
    EXPECT_EQ(code_of("f 1 2 3\0\n"s), -2);
    EXPECT_EQ(quadrangles("f 1 2 3 \0 4\n"s), (id_lists{{0, 1, 2, 3}}));
    EXPECT_TRUE(vertices("v\0 1 2 3\n"s).empty());
}

// ---- Normals and textures

TEST(obj_input, a_normal_has_three_numbers) {
    EXPECT_EQ(list(read_obj("vn 1 2 3\nvn 4 5 6 x\n").normals),
              (number_lists{{1, 2, 3}, {4, 5, 6}}));
    for (const char* const text : {"vn 1 2\n", "vn 1 2 3 4\n", "vn\n", "vn \n", "vn", "vn x\n"}) {
        const obj_arrays result = read_obj(text);
        EXPECT_EQ(result.code, -2) << text;
        EXPECT_TRUE(result.all_empty()) << text;
    }
}

TEST(obj_input, a_texture_has_up_to_three_numbers) {
    EXPECT_EQ(list(read_obj("vt 0.5\nvt 1\n").textures), (number_lists{{0.5}, {1}}));
    EXPECT_EQ(list(read_obj("vt 0.5 1\n").textures), (number_lists{{0.5, 1}}));
    EXPECT_EQ(list(read_obj("vt 0.5 1 2\n").textures), (number_lists{{0.5, 1, 2}}));
    EXPECT_EQ(code_of("vt 1 2 3 4\n"), -2);
    EXPECT_EQ(code_of("vt 1 2 3 x4\n"), 0);
}

TEST(obj_input, textures_of_another_length_than_the_first_are_lost) {
    const obj_arrays result = read_obj("vt 0.5\nvt 0.5 0.5\nvt 1 2 3\nvt 0.25\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.textures), (number_lists{{0.5}, {0.25}}));
}

TEST(obj_input, a_texture_of_no_numbers_is_none_and_sets_no_length) {
    const obj_arrays result = read_obj("vt \nvt x\nvt\t\r\nvt 1 2\nvt \nvt 3 4\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.textures), (number_lists{{1, 2}, {3, 4}}));
}

TEST(obj_input, a_keyword_with_nothing_behind_it_is_a_fault) {
    for (const char* const word : {"v", "vt", "vn", "f"}) {
        EXPECT_EQ(code_of(std::string(word) + "\n"), -2) << word;
        EXPECT_EQ(code_of(word), -2) << word;
        EXPECT_EQ(code_of(" " + std::string(word) + "\n"), -2) << word;
    }
    EXPECT_EQ(code_of("vt \n"), 0);
    EXPECT_EQ(code_of("vt\r\n"), 0);
    EXPECT_EQ(code_of("f \n"), 0);
    EXPECT_EQ(code_of("f\r\n"), 0);
    EXPECT_EQ(code_of("o\ng\ns\n#\n"), 0);
}

// ---- Faces

TEST(obj_input, faces_of_other_than_three_or_four_corners_are_dropped) {
    const obj_arrays result = read_obj(
        three_vertices + "f 1 2 3 4 5\nf 1 2\nf 1\nf \nf 1 2 3\nf 1 2 3 4\nf 1 2 3 4 5 6 7 8 9\n");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.triangles), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(list(result.quadrangles), (id_lists{{0, 1, 2, 3}}));
}

TEST(obj_input, all_forms_of_a_corner_give_its_vertex) {
    EXPECT_EQ(triangles("vt 0 0\nvn 0 0 1\nf 7 8/2 9//3\nf 7/2/3 8/2/ 9/\n"),
              (id_lists{{6, 7, 8}, {6, 7, 8}}));
    EXPECT_EQ(triangles("f 7// 8/ 9//\n"), (id_lists{{6, 7, 8}}));
    EXPECT_EQ(triangles("f +7 08 0009\n"), (id_lists{{6, 7, 8}}));
    // A fourth part is not looked at.
    EXPECT_EQ(triangles("vt 0 0\nvn 0 0 1\nf 7/1/1/x 8/1/1/2 9//1/\n"), (id_lists{{6, 7, 8}}));
}

TEST(obj_input, textures_before_any_texture_line_are_a_fault) {
    EXPECT_EQ(code_of("f 1/1/1 2/2/2 3/3/3\nvt 0 0\nvn 0 0 1\n"), -2);
    EXPECT_EQ(code_of("vn 0 0 1\nf 1/1/1 2/2/2 3/3/3\n"), -2);
    EXPECT_EQ(code_of("f 1 2 3/1\n"), -2);
    EXPECT_EQ(code_of("f 1 2 3 4 5/1\n"), -2);
    EXPECT_EQ(code_of("f /1\n"), -2);
    EXPECT_EQ(code_of("f 1 2 3/1"), -2);
}

TEST(obj_input, normals_before_any_normal_line_are_a_fault) {
    EXPECT_EQ(code_of("vt 0 0\nf 1/1/1 2/2/2 3/3/3\n"), -2);
    EXPECT_EQ(code_of("f 1//1 2 3\n"), -2);
    EXPECT_EQ(code_of("f 1 2 3//1"), -2);
    EXPECT_EQ(code_of("vn 0 0 1\nf 1//1 2 3\n"), 0);
}

TEST(obj_input, a_texture_line_without_numbers_allows_textures) {
    EXPECT_EQ(triangles("vt \nf 1/1 2/5 3/-7\n"), (id_lists{{0, 1, 2}}));
}

TEST(obj_input, texture_and_normal_numbers_have_no_range) {
    EXPECT_EQ(triangles("vt 0\nvn 0 0 1\nf 1/9/9 2/0/0 3/-5/2147483647\n"), (id_lists{{0, 1, 2}}));
}

TEST(obj_input, text_behind_a_number_is_a_fault) {
    for (const char* const word : {"7x", "7.", "7.5", "7e1", "0x7", "7-", "7\\", "7/1x", "7/1/1x",
                                   "7//1x", "7/1.5", "7,", "7#", "/1x", "//1x"}) {
        EXPECT_EQ(code_of("vt 0\nvn 0 0 1\nf 1 2 " + std::string(word) + "\n"), -2) << word;
        EXPECT_EQ(code_of("vt 0\nvn 0 0 1\nf 1 2 " + std::string(word)), -2) << word;
    }
}

TEST(obj_input, a_word_that_is_no_integer_is_no_corner) {
    EXPECT_EQ(quadrangles("f 1 2 3 # 4\n"), (id_lists{{0, 1, 2, 3}}));
    EXPECT_EQ(triangles("f 1 2 3 #4\n"), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(triangles("f 1 x 2 - 3 + .5 e1\n"), (id_lists{{0, 1, 2}}));
    // Nor is one too large, whatever stands behind it.
    EXPECT_EQ(triangles("f 1 2 3 2147483648 -2147483649 99999999999999999999x 4294967296/1\n"),
              (id_lists{{0, 1, 2}}));
    // The same behind a slash, where it counts for no texture either.
    EXPECT_EQ(triangles("f 1/x 2/99999999999 3//y\n"), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(triangles("vt 0\nf 1/x/5 2/99999999999/5 3/1/y\n"), (id_lists{{0, 1, 2}}));
}

TEST(obj_input, an_empty_first_slot_is_no_corner) {
    EXPECT_EQ(triangles("vt 0\nvn 0 0 1\nf 1 / 2 // /4 //5 /4/5 3 ///\n"), (id_lists{{0, 1, 2}}));
}

TEST(obj_input, number_zero_becomes_the_number_of_vertices_so_far) {
    EXPECT_EQ(triangles(three_vertices + "v 1 1 0\nf 0 1 2\nv 9 9 9\nf 1 0 -0\n"),
              (id_lists{{4, 0, 1}, {0, 5, 5}}));
    EXPECT_EQ(triangles("f 0 1 2\n"), (id_lists{{0, 0, 1}}));
}

TEST(obj_input, negative_numbers_are_not_relative) {
    EXPECT_EQ(triangles(three_vertices + "f -1 -2 -3\n"),
              (id_lists{{0xFFFFFFFEU, 0xFFFFFFFDU, 0xFFFFFFFCU}}));
}

TEST(obj_input, the_least_integer_wraps_around) {
    EXPECT_EQ(triangles("f -2147483648 2147483647 -2147483647\n"),
              (id_lists{{0x7FFFFFFFU, 0x7FFFFFFEU, 0x80000000U}}));
}

TEST(obj_input, faces_may_stand_before_their_vertices) {
    EXPECT_EQ(triangles("f 1 2 3\nf 100 200 300\n" + three_vertices),
              (id_lists{{0, 1, 2}, {99, 199, 299}}));
}

TEST(obj_input, a_face_without_a_final_newline_is_lost_but_checked) {
    EXPECT_TRUE(triangles("f 1 2 3").empty());
    EXPECT_TRUE(quadrangles("f 1 2 3 4").empty());
    EXPECT_EQ(triangles("f 1 2 3\nf 4 5 6"), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(code_of("f 1 2 3x"), -2);
    EXPECT_EQ(code_of("f 1/1 2 3"), -2);
    EXPECT_EQ(code_of("f"), -2);
}

TEST(obj_input, numbers_without_a_final_newline_are_kept) {
    const obj_arrays result = read_obj("v 1 2 3");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(read_obj("vn 1 2 3").normals), (number_lists{{1, 2, 3}}));
    EXPECT_EQ(list(read_obj("vt 1 2").textures), (number_lists{{1, 2}}));
    EXPECT_EQ(code_of("v 1 2"), -2);
}

// ---- Locales

// Commas for points, and points between groups of one digit.
class odd_punctuation : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(obj_input, a_locale_with_a_decimal_comma_changes_nothing) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new odd_punctuation));
    const obj_arrays result = read_obj("v 1.5 2.25 1234567\nvt 0.5\nf 1234 5678 9012\n");
    std::locale::global(before);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(list(result.pos), (number_lists{{1.5, 2.25, 1234567}}));
    EXPECT_EQ(list(result.textures), (number_lists{{0.5}}));
    EXPECT_EQ(list(result.triangles), (id_lists{{1233, 5677, 9011}}));
}

// ---- Against the plain reader

TEST(obj_input_as_the_plain_reader, cut_off_at_every_byte) {
    const std::string text = "# plate\nv 1.5 -2e1 +3\r\nv 4 5 6 7\nvt 0.5 0.25\nvt 1\nvn 0 0 1\n"
                             "f 1/1/1 2//1 3/2/\nf 1 2 3 4\nf 1 2 3 4 5\nf 0 -1 x 2 3 # 9\n"
                             "v 1e-5 1e400\n";
    for (std::size_t n = 0; n <= text.size(); ++n) {
        ASSERT_TRUE(same_as_plain_obj(text.substr(0, n)));
        ASSERT_TRUE(same_as_plain_obj(text.substr(0, n) + "\n"));
        ASSERT_TRUE(same_as_plain_obj(text.substr(n)));
    }
}

std::string digits(random_source& random, std::size_t max_nbr) {
    std::string text;
    for (std::size_t k = random.below(max_nbr + 1); k > 0; --k) {
        text += static_cast<char>('0' + random.below(10));
    }
    return text;
}

const std::vector<std::string> odd_numbers{"nan",
                                           "inf",
                                           "-inf",
                                           "+nan",
                                           "NAN",
                                           "INFINITY",
                                           "nan(1)",
                                           "0x1p3",
                                           "0X1",
                                           "1e",
                                           "1e+",
                                           "1e-",
                                           "1e400",
                                           "-1e400",
                                           "1e-400",
                                           "-1e-400",
                                           "4.9e-324",
                                           "2.4e-324",
                                           "2.5e-324",
                                           "1.7976931348623157e308",
                                           "1.7976931348623159e308",
                                           "1.7976931348623158e308",
                                           "2.2250738585072011e-308",
                                           "9007199254740993",
                                           "+",
                                           "-",
                                           ".",
                                           "+.",
                                           "-.",
                                           ".e1",
                                           "e1",
                                           "1.e1",
                                           "1.5.5",
                                           "1-1",
                                           "1+1",
                                           "--1",
                                           "+-1",
                                           "1,5",
                                           "1_0",
                                           "1f",
                                           "1d3",
                                           "1E5",
                                           "1E+05",
                                           "1ee5",
                                           "1e5.5",
                                           "00000",
                                           "-0",
                                           "+0",
                                           "0.0",
                                           "1e99999999999999999999",
                                           "1e-99999999999999999999",
                                           "0e99999999999",
                                           "0.1e1e1",
                                           "1e1+1",
                                           "1e1-",
                                           "1\t2",
                                           "1'000",
                                           "\xFF",
                                           "1\xA0"};

std::string random_real(random_source& random) {
    if (random.one_in(6)) return random.one_of(odd_numbers);
    std::string text = random.one_of(std::vector<std::string>{"", "", "", "-", "-", "+"});
    text += digits(random, random.one_in(10) ? 30 : 4);
    if (random.one_in(2)) text += "." + digits(random, random.one_in(10) ? 40 : 6);
    if (random.one_in(4)) {
        text += random.one_of(std::vector<std::string>{"e", "E", "e-", "e+", "E-"}) +
                digits(random, random.one_in(4) ? 3 : 2);
    }
    return text.empty() ? "0" : text;
}

const std::vector<std::string> odd_corners{"0",
                                           "-0",
                                           "+0",
                                           "2147483647",
                                           "2147483648",
                                           "-2147483648",
                                           "-2147483649",
                                           "4294967295",
                                           "99999999999",
                                           "1x",
                                           "x",
                                           "#",
                                           "1.5",
                                           "0x1",
                                           "+",
                                           "-",
                                           "+-1",
                                           "/",
                                           "//",
                                           "///",
                                           "1/",
                                           "1//",
                                           "1///",
                                           "/1",
                                           "//1",
                                           "1/x",
                                           "1//x",
                                           "1/1x",
                                           "1/1/x",
                                           "1/99999999999/1",
                                           "99999999999/1",
                                           "99999999999x",
                                           "1/1/1/1",
                                           "1/1/1x",
                                           "1\\",
                                           "1/-1",
                                           "1/+1/-1",
                                           "-/1",
                                           "x/1",
                                           "000001",
                                           "1e1",
                                           "/x",
                                           "//x",
                                           "/99999999999"};

std::string random_corner(random_source& random) {
    if (random.one_in(12)) return random.one_of(odd_corners);
    const auto number = [&] {
        return random.one_in(8)
                   ? "-" + std::to_string(random.below(12))
                   : std::to_string(1 + random.below(random.one_in(9) ? 3000000000 : 20));
    };
    switch (random.below(8)) {
    case 0: return number() + "/" + number();
    case 1: return number() + "//" + number();
    case 2: return number() + "/" + number() + "/" + number();
    default: return number();
    }
}

std::string random_line(random_source& random) {
    static const std::vector<std::string> blanks{" ",  " ",  " ",  " ",  " ",
                                                 "  ", "\t", "\v", "\f", "\r"};
    static const std::vector<std::string> others{"# v 1 2 3", "",    " ",      "g a",   "o",
                                                 "usemtl x",  "s 1", "vp 1 2", "l 1 2", "vt ",
                                                 "f ",        "vt",  "v\r",    "V 1"};
    std::string line;
    std::size_t nbr_words = 3;
    const std::size_t kind = random.below(9);
    const bool is_face = kind >= 5 && kind < 8;
    if (kind < 3) line = "v";
    if (kind == 3) line = "vn";
    if (kind == 4) {
        line = "vt";
        nbr_words = 1 + random.below(3);
    }
    if (is_face) {
        line = "f";
        nbr_words = 3 + random.below(2);
    }
    if (kind == 8) return random.one_of(others);
    if (random.one_in(20)) nbr_words += random.below(3);
    if (random.one_in(40)) nbr_words -= 1;
    const bool all_plain = !random.one_in(4);
    for (std::size_t k = 0; k < nbr_words; ++k) {
        line += random.one_of(blanks);
        if (is_face) {
            line += all_plain ? std::to_string(1 + random.below(9)) : random_corner(random);
        } else {
            line += all_plain ? std::to_string(random.uniform(-9, 9)) : random_real(random);
        }
    }
    if (random.one_in(10)) line += random.one_of(blanks);
    if (random.one_in(30)) line += " # 1";
    return line;
}

std::string random_file(random_source& random) {
    const std::string line_end = random.one_in(4) ? "\r\n" : "\n";
    std::string text;
    if (random.one_in(2)) text += "vt 0 0" + line_end + "vn 0 0 1" + line_end;
    for (std::size_t k = random.below(12); k > 0; --k) text += random_line(random) + line_end;
    if (random.one_in(4) && !text.empty()) text.resize(text.size() - line_end.size());
    return text;
}

void mutate(random_source& random, std::string& bytes) {
    if (bytes.empty()) return;
    static constexpr char likely[] = " \t\v\f\n\r\0.-+eExX0123456789///#vvtnfinas";
    const std::size_t at = random.below(bytes.size());
    const char c = random.one_in(6) ? static_cast<char>(random.below(256))
                                    : likely[random.below(sizeof likely - 1)];
    switch (random.below(4)) {
    case 0: bytes.erase(at, 1 + random.below(3)); break;
    case 1: bytes.insert(at, 1, c); break;
    case 2: bytes[at] = c; break;
    default: {
        const std::size_t end = bytes.find('\n', at);
        if (end != std::string::npos) bytes.erase(end, 1);
        break;
    }
    }
}

TEST(obj_input_as_the_plain_reader, on_random_files) {
    std::size_t nbr_stored = 0;
    const std::uint64_t n = nbr_runs(6000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        ASSERT_TRUE(same_as_plain_obj(random_file(random), &nbr_stored)) << "seed " << seed;
    }
    EXPECT_GT(nbr_stored, 3 * n); // mostly files that hold something
}

TEST(obj_input_as_the_plain_reader, on_files_with_faults) {
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed + 1000000);
        std::string text = random_file(random);
        for (std::size_t k = random.below(6); k > 0; --k) mutate(random, text);
        ASSERT_TRUE(same_as_plain_obj(text)) << "seed " << seed;
    }
}

// Each spelling by itself.
TEST(obj_input_as_the_plain_reader, on_every_odd_spelling) {
    random_source random(3);
    std::vector<std::string> numbers = odd_numbers;
    for (int k = 0; k < 2000; ++k) numbers.push_back(random_real(random));
    for (const std::string& number : numbers) {
        ASSERT_TRUE(same_as_plain_obj("v 1 2 " + number + "\nv " + number + " 1 2\nv 4 5 6\n"));
        ASSERT_TRUE(same_as_plain_obj("vt " + number));
    }
    std::vector<std::string> corners = odd_corners;
    for (int k = 0; k < 500; ++k) corners.push_back(random_corner(random));
    for (const std::string& corner : corners) {
        ASSERT_TRUE(same_as_plain_obj("vt 0\nvn 0 0 1\nf 1 " + corner + " 2 3\nv 4 5 6\n"));
        ASSERT_TRUE(same_as_plain_obj("vt 0\nf 1 " + corner + " 2\nv 4 5 6\n"));
        ASSERT_TRUE(same_as_plain_obj("vn 0 0 1\nf 1 " + corner + " 2"));
        ASSERT_TRUE(same_as_plain_obj("f 1 2 3 " + corner));
    }
}

// Every double as it would be written in full, and in a few digits.
TEST(obj_input_as_the_plain_reader, on_random_bits) {
    random_source random(4);
    std::string text;
    for (std::uint64_t k = nbr_runs(3000); k > 0; --k) {
        const std::uint64_t bits = random.draw();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        char line[200];
        std::snprintf(line, sizeof line, "v %.17g %.*e %.3g\n", value,
                      static_cast<int>(random.below(40)), value, value);
        text += line;
    }
    std::size_t nbr_stored = 0;
    EXPECT_TRUE(same_as_plain_obj(text, &nbr_stored));
    EXPECT_GT(nbr_stored, 2000U);
}

// What stands where a block of some usual size ends, in a file of many lines and in one of few.
TEST(obj_input_as_the_plain_reader, on_lines_around_every_power_of_two) {
    const std::string tail = "f 1 2 3\nv 4 5 6\nf 4 5 6 7";
    for (std::size_t size = 1U << 10; size <= 1U << 19; size *= 2) {
        std::string many_lines(size - 10, '#');
        for (std::size_t at = 999; at < many_lines.size(); at += 1000) many_lines[at] = '\n';
        for (const std::string& filled :
             {many_lines + "\n", "v 1 2" + std::string(size - 15, ' ') + "3.25\n"}) {
            for (std::size_t k = 0; k < 12; k += 2) {
                const std::string text = filled + std::string(k, '\n') + tail;
                ASSERT_TRUE(same_as_plain_obj(text)) << size << ' ' << k;
                ASSERT_TRUE(same_as_plain_obj(text + "\n")) << size << ' ' << k;
            }
        }
    }
}

// More than any block takes at once, with lines across all block ends.
TEST(obj_input_as_the_plain_reader, on_large_files) {
    for (std::uint64_t seed = 0; seed < 4; ++seed) {
        random_source random(seed);
        std::string text(seed, '\n');
        while (text.size() < 300000) {
            text += "v " + std::to_string(random.uniform(-99, 99)) + " 1 2\nf " +
                    std::to_string(random.below(5000)) + " 2 3\n";
            if (random.one_in(100)) text += "#" + std::string(random.below(9000), '.') + "\n";
        }
        std::size_t nbr_stored = 0;
        ASSERT_TRUE(same_as_plain_obj(text, &nbr_stored)) << seed;
        EXPECT_GT(nbr_stored, 5000U);
    }
}

// ---- Arguments

// Both fill it in the order of the file.
TEST(obj_input, one_array_may_take_two_things) {
    std::string text;
    for (int k = 0; k < 40; ++k) {
        text += "v 1 2 " + std::to_string(k) + "\nvn 4 5 " + std::to_string(k) + "\n";
        text += "vt 7 8 " + std::to_string(k) + "\nf 1 2 3\nf 1 2 3 4\n";
    }
    const scratch_file file(text);
    obj_arrays all;
    all.read(file.name());
    ASSERT_EQ(all.code, 0);
    number_lists mixed;
    for (std::size_t k = 0; k < 40; ++k) {
        mixed.push_back(list(all.pos)[k]);
        mixed.push_back(list(all.normals)[k]);
        mixed.push_back(list(all.textures)[k]);
    }
    dense2D<double> numbers;
    dense2D<unsigned int> faces;
    ASSERT_EQ(WavefrontOBJ_input(file.name(), numbers, numbers, numbers, faces, faces), 0);
    EXPECT_EQ(list(numbers), mixed);
    // Quadrangles find three rows there.
    EXPECT_EQ(list(faces), list(all.triangles));

    dense2D<double> pos;
    dense2D<unsigned int> quadrangles;
    ASSERT_EQ(WavefrontOBJ_input(file.name(), pos, numbers, numbers, faces, quadrangles), 0);
    EXPECT_EQ(list(pos), list(all.pos));
    EXPECT_EQ(numbers.cols(), 80U);
    EXPECT_EQ(list(faces), list(all.triangles));
    EXPECT_EQ(list(quadrangles), list(all.quadrangles));
}

} // namespace
