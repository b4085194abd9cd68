// OBJ files read as meshes with a report.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "formats/mesh_files.h"
#include "formats/plain_obj_mesh.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using id_lists = std::vector<std::vector<unsigned int>>;
using sentences = std::vector<std::string>;

read_file read(const std::string& contents) {
    const read_file file = read_as(file_format::obj, contents);
    EXPECT_TRUE(file.code == 0 || file.code == -102);
    EXPECT_TRUE(std::all_of(file.m.pids.begin(), file.m.pids.end(),
                            [](unsigned int pid) { return pid == 1; }));
    EXPECT_TRUE(file.m.node_sets.empty() && file.m.node_numbers.empty() &&
                file.m.element_numbers.empty());
    return file;
}

// Five vertices.
const std::string square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 0.5 2\n";

TEST(obj_mesh, triangles_and_quadrangles_stay_in_their_order) {
    const read_file file = read(square + "f 1 2 3\nf 1 3 4\nf 1 2 3 4\nf 4 3 2\n");
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}, {0, 2, 3}, {0, 1, 2, 3}, {3, 2, 1}}));
    EXPECT_EQ(list(file.m.types), (std::vector<int>{ET_TRIA3, ET_QUAD4, ET_TRIA3}));
    EXPECT_EQ(list(file.m.indices), (std::vector<unsigned int>{0, 2, 3, 4}));
    EXPECT_EQ(file.m.pos.cols(), 5U);
    EXPECT_EQ(file.m.pos(2, 4), 2.0);
    EXPECT_TRUE(file.sentences().empty());
    EXPECT_EQ(file.counts(), "v 5/5, f 4/4");
    EXPECT_TRUE(file.m.element_sets.empty());
}

TEST(obj_mesh, corners_may_have_textures_and_normals) {
    const read_file file = read(square + "vt 0 0\nvn 0 0 1\nvn 0 0 1\nf 1/1 2/1/1 3//1\n"
                                         "f 1/ 2// 3/1/ 4\nfo 1 2 3\n");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}, {0, 1, 2, 3}, {0, 1, 2}}));
    EXPECT_EQ(file.sentences(), (sentences{"vt: 1 not read, in line 6: texture coordinates",
                                           "vn: 2 not read, first in line 7: normals"}));
    EXPECT_EQ(file.counts(), "v 5/5, vt 1/0, vn 2/0, f 2/2, fo 1/1");
    EXPECT_TRUE(file.report.has_lost());
}

TEST(obj_mesh, negative_numbers_count_from_the_last_vertex_so_far) {
    const read_file file =
        read("v 0 0 0\nv 1 0 0\nv 1 1 0\nf -3 -2 -1\nv 0 0 1\nf -4/-1/-1 +2 -1\n");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}, {0, 1, 3}}));
}

TEST(obj_mesh, vertices_may_stand_behind_faces) {
    const read_file file = read("f 1 2 3 4 5\nl 2 5\n" + square);
    EXPECT_EQ(file.m.connect.cols(), 4U);
    EXPECT_EQ(file.elements()[3], (std::vector<unsigned int>{1, 4}));
}

TEST(obj_mesh, lines_may_go_on_and_end_in_any_way) {
    const read_file file = read("\xEF\xBB\xBFv 0 0 0\r\nv 1\\\n0 0\rv 1 1 0 # the third\n"
                                "# a comment \\\nv 0 1 0\n\n  \t f 1 2\\\r\n 3\\ \t\n\\\n4");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2, 3}}));
    EXPECT_EQ(file.m.pos(0, 1), 1.0);
    EXPECT_TRUE(file.sentences().empty());
    EXPECT_EQ(read(square + "f 1 2 3\\").elements(), (id_lists{{0, 1, 2}}));
}

TEST(obj_mesh, polygons_are_cut_into_triangles) {
    const read_file file =
        read("v 0 0 0\nv 4 0 0\nv 4 4 0\nv 2 1 0\nv 0 4 0\nf 1 2 3\nf 1 2 3 4 5\nf 5 4 3 2 1\n");
    EXPECT_EQ(file.sentences(),
              (sentences{"f: 2 cut into triangles, first in line 7: more than 4 corners"}));
    EXPECT_FALSE(file.report.has_lost());
    ASSERT_EQ(file.m.connect.cols(), 7U);
    double areas[2] = {0, 0};
    for (std::size_t c = 1; c < 7; ++c) {
        const auto at = [&](std::size_t i, std::size_t r) {
            return file.m.pos(r, file.m.connect(i, c));
        };
        areas[(c - 1) / 3] += (at(1, 0) - at(0, 0)) * (at(2, 1) - at(0, 1)) -
                              (at(1, 1) - at(0, 1)) * (at(2, 0) - at(0, 0));
    }
    EXPECT_EQ(areas[0], 20.0);
    EXPECT_EQ(areas[1], -20.0);
}

TEST(obj_mesh, an_outline_that_crosses_itself_is_told) {
    const read_file file = read(square + "f 1 2 3 4 5\nf 1 3 2 4 1 3 2 4\n");
    EXPECT_EQ(file.sentences(),
              (sentences{"f: 2 cut into triangles, first in line 6: more than 4 corners",
                         "f: 1 cut into triangles without area or lying over each other, in line "
                         "7: seen along its normal the outline touches or crosses itself"}));
}

// Two combs that make an L.
TEST(obj_mesh, an_outline_that_takes_too_long_is_told) {
    constexpr int nbr_teeth = 6000;
    const std::string length = std::to_string(2 * nbr_teeth);
    std::string text = "v -1 -1 0\nv " + length + " -1 0\nv " + length + " 0 0\n";
    for (int k = nbr_teeth; k-- > 0;) {
        text += "v " + std::to_string(2 * k + 1) + " 0 0\nv " + std::to_string(2 * k) + ".5 5 0\n";
    }
    text += "v 0 0 0\nv 0 " + length + " 0\nv -1 " + length + " 0\n";
    for (int k = nbr_teeth; k-- > 0;) {
        text +=
            "v -1 " + std::to_string(2 * k + 1) + " 0\nv -6 " + std::to_string(2 * k) + ".5 0\n";
    }
    text += 'f';
    for (int k = 1; k <= 4 * nbr_teeth + 6; ++k) text += ' ' + std::to_string(k);
    EXPECT_EQ(read(text).sentences(),
              (sentences{"f: 1 cut into triangles, in line 24007: more than 4 corners",
                         "f: 1 cut into triangles that may lie over each other, in line 24007: too "
                         "many corners"}));
}

TEST(obj_mesh, repeated_corners_are_one) {
    const read_file file = read(square + "f 1 2 2 3\nf 1 1 2 3 4 1\nf 1 2 1\nf 1 2\nf\n");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}, {0, 1, 2, 3}}));
    EXPECT_EQ(
        file.sentences(),
        (sentences{"f: 3 corners left out, first in line 6: the same node as the corner before",
                   "f: 3 left out, first in line 8: fewer than 3 different corners"}));
    EXPECT_EQ(file.counts(), "v 5/5, f 5/2");
}

TEST(obj_mesh, lines_are_bars_and_points_are_nodes) {
    const read_file file = read(square + "l 1 2/1 3\np 4 5\nl 1 1 2 2\nl 3\nl 4 4\n");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1}, {1, 2}, {3}, {4}, {0, 1}}));
    EXPECT_EQ(list(file.m.types), (std::vector<int>{ET_BAR2, ET_NODE, ET_BAR2}));
    EXPECT_EQ(file.sentences(),
              (sentences{"l: 2 bars left out, first in line 8: both ends are one node",
                         "l: 2 left out, first in line 9: fewer than 2 different nodes"}));
    EXPECT_EQ(file.counts(), "v 5/5, l 4/2, p 1/1");
}

TEST(obj_mesh, groups_and_objects_are_sets) {
    const read_file file = read(square + "f 1 2 3\no the box\ng left right\nf 1 2 3 4 5\ng left\n"
                                         "l 1 2\ng\nf 1 2 4\no\nf 1 2 3\ng right empty left\n");
    using set = std::pair<std::string, std::vector<unsigned int>>;
    std::vector<set> sets;
    for (const named_set& s : file.m.element_sets) sets.emplace_back(s.name, list(s.ids));
    EXPECT_EQ(sets,
              (std::vector<set>{
                  {"the box", {1, 2, 3, 4, 5}}, {"left", {1, 2, 3, 4}}, {"right", {1, 2, 3}}}));
    EXPECT_EQ(file.counts(), "v 5/5, f 4/4, o 2/2, g 4/4, l 1/1");
}

TEST(obj_mesh, an_object_and_a_group_of_one_name_are_one_set_if_they_hold_the_same) {
    EXPECT_EQ(read(square + "o a\ng a\nf 1 2 3\n").m.element_sets.size(), 1U);
    EXPECT_EQ(read(square + "o a\nf 1 2 3\ng a\nf 1 2 3\n").m.element_sets.size(), 2U);
}

TEST(obj_mesh, an_element_is_in_64_groups_at_most) {
    std::string names;
    for (int k = 0; k < 66; ++k) names += " g" + std::to_string(k);
    const read_file file = read(square + "g" + names + " g0\nf 1 2 3\n");
    EXPECT_EQ(file.m.element_sets.size(), 64U);
    EXPECT_EQ(file.sentences(),
              (sentences{"g: 2 names left out, first in line 6: an element is in 64 "
                         "groups at most"}));
}

TEST(obj_mesh, what_stands_behind_coordinates_is_told) {
    const read_file file = read("v 0 0 0 1 0.5 0\nv 0 0 0 1\nv 1 0 0 2\nv 1 0 0 0.5\nv 1 0 0 1 2\n"
                                "v 0 0 0 a 0 0 0\n");
    EXPECT_EQ(file.sentences(),
              (sentences{"v: 1 color left out, in line 1", "v: 2 weights left out, first in line 3",
                         "v: 2 with more values, which are left out, first in line 5"}));
    EXPECT_EQ(file.m.pos.cols(), 6U);
}

TEST(obj_mesh, all_else_is_counted_by_keyword) {
    const read_file file = read("mtllib a.mtl\n" + square +
                                "usemtl x\ns 1\ns off\nvp 1\ncurv 0 1 1 2\ncall a.obj\n"
                                "bevel on\nV 1 2 3\n\x01z\n");
    EXPECT_EQ(
        file.sentences(),
        (sentences{"mtllib: 1 not read, in line 1: materials",
                   "usemtl: 1 not read, in line 7: materials",
                   "s: 2 not read, first in line 8: smoothing",
                   "vp: 1 not read, in line 10: curves and surfaces of free form",
                   "curv: 1 not read, in line 11: curves and surfaces of free form",
                   "call: 1 not read, in line 12: other files and programs",
                   "bevel: 1 not read, in line 13: display", "V: 1 not read, in line 14: not known",
                   "?z: 1 not read, in line 15: not known"}));
}

TEST(obj_mesh, faults_say_where_they_are) {
    EXPECT_EQ(read("v 0 0 0\nv 1 x 0\n").error(), "line 2, column 5: a finite number is expected");
    EXPECT_EQ(read("v 0 0\n").error(), "line 1, column 6: a finite number is expected");
    EXPECT_EQ(read("v 0 0 nan").error(), "line 1, column 7: a finite number is expected");
    EXPECT_EQ(read("v 0 0 1e999").error(), "line 1, column 7: a finite number is expected");
    const std::string form = "a corner such as 3, 3/2, 3//1 or 3/2/1 is expected";
    for (const char* corner : {"x", "1x", "/1", "1/x", "1/1/1/1", "1.0", "-", "1/-"}) {
        EXPECT_EQ(read(square + "f 1 2\\\n " + corner).error(), "line 7, column 2: " + form);
    }
    EXPECT_EQ(read(square + "p 1 0").error(), "line 6, column 5: vertices have numbers from 1");
    EXPECT_EQ(read(square + "l 1 -6").error(),
              "line 6, column 5: this leads ahead of the first vertex");
    EXPECT_EQ(read(square + "f 1 2 6\nf 1 2 99\n").error(),
              "line 6, column 7: there is no vertex 6: the file has 5");
    EXPECT_EQ(read("f 1 2 3\nf 1 2 9\nf 7 8 9\n" + square).error(),
              "line 2, column 7: there is no vertex 9: the file has 5");
    EXPECT_EQ(read(square + "f 1 2 99999999999999999999\n").error(),
              "line 6, column 7: there is no vertex 1099511627776: the file has 5");
}

TEST(obj_mesh, a_file_without_vertices_is_none_unless_it_says_nothing) {
    EXPECT_EQ(read("g a\n").error(), "no vertex is there");
    EXPECT_EQ(read("f 1 2 3\n").error(), "no vertex is there");
    EXPECT_EQ(read("<html>").error(), "no vertex is there");
    EXPECT_EQ(read("").code, 0);
    EXPECT_EQ(read("# nothing\n\n").code, 0);
}

TEST(obj_mesh, words_may_be_long) {
    const std::string name(10000, 'x');
    const std::string digits = "0." + std::string(3000, '3');
    const read_file file = read("v " + digits + " 0 0 # " + std::string(200000, 'c') + "\n" + name +
                                "\no " + std::string(70000, ' ') + "b\np 1\n");
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.m.pos(0, 0), 1.0 / 3.0);
    EXPECT_EQ(file.m.element_sets.at(0).name, "b");
    EXPECT_EQ(read("v " + std::string(5000, '1') + " 0 0").code, -102);
    EXPECT_EQ(read("v 0." + std::string(5000, '1') + " 0 0").code, -102);
}

std::string random_line(random_source& random, std::size_t& nbr_vertices) {
    const auto number = [&] {
        const auto below = static_cast<int>(random.below(nbr_vertices + 1));
        if (random.one_in(60)) return static_cast<int>(random.below(12)) - 4;
        return random.one_in(3) ? -below - (below == 0) : below + (below == 0);
    };
    const auto corner = [&] {
        static const std::vector<std::string> tails{"", "", "", "/", "//", "/1", "//1", "/2/-3"};
        std::string text = std::to_string(number()) + random.one_of(tails);
        if (random.one_in(400)) text += "x";
        return text;
    };
    static const std::vector<std::string> words{"v", "v",  "v", "f",  "f",      "f", "l",
                                                "p", "g",  "o", "vn", "usemtl", "#", "z",
                                                "f", "fo", "v", "",   "f"};
    const std::string word = random.one_of(words);
    static const std::vector<std::string> blanks{" ",  " ",     " ",       "  ",
                                                 "\t", " \\\n", "\\\r\n ", " \\ \r"};
    std::string line = word;
    const auto add = [&](const std::string& text) { line += random.one_of(blanks) + text; };
    if (word == "v") {
        ++nbr_vertices;
        const std::size_t n = random.one_in(100) ? 2 : random.one_in(10) ? random.between(3, 7) : 3;
        for (std::size_t i = 0; i < n; ++i) {
            add(random.one_in(4) ? "-1.5e1" : std::to_string(random.below(5)));
        }
    } else if (word == "g" || word == "o") {
        for (std::size_t k = random.below(3); k != 0; --k) {
            add(std::string(1, static_cast<char>('a' + random.below(3))));
        }
    } else {
        const std::size_t n = random.one_in(8) ? random.below(3) : random.between(3, 7);
        for (std::size_t k = 0; k < n; ++k) add(corner());
    }
    if (random.one_in(15)) line += " # rest \\";
    static const std::vector<std::string> ends{"\n", "\n", "\r\n", "\r", " \n"};
    return line + random.one_of(ends);
}

// Returns whether there was a mesh to compare.
bool is_read_as_plain(const std::string& text) {
    const plain_obj_mesh expected(text);
    const read_file file = read(text);
    const bool is_good = expected.error_line == 0 && !expected.lacks_vertices;
    EXPECT_EQ(file.code, is_good ? 0 : -102) << text << '\n' << file.error();
    if (!is_good) {
        EXPECT_EQ(file.report.error()->line, expected.error_line) << text;
        return false;
    }
    EXPECT_EQ(file.elements(), expected.elements) << text;
    EXPECT_EQ(file.m.pos.cols(), expected.nodes.size());
    if (testing::Test::HasFailure()) return false;
    for (std::size_t c = 0; c < expected.nodes.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_EQ(file.m.pos(r, c), expected.nodes[c][r]);
    }
    std::vector<std::pair<std::string, std::vector<unsigned int>>> sets;
    for (const named_set& s : file.m.element_sets) sets.emplace_back(s.name, list(s.ids));
    EXPECT_EQ(sets, expected.sets) << text;
    EXPECT_EQ(counts_of(file.report), expected.counts) << text;
    return true;
}

TEST(obj_mesh, random_files_are_read_as_by_a_plain_reader) {
    random_source random(31);
    std::uint64_t nbr_good = 0;
    for (std::uint64_t k = 0; k < nbr_runs(3000); ++k) {
        std::string text;
        std::size_t nbr_vertices = 0;
        for (std::size_t n = random.below(40); n != 0; --n) {
            text += random_line(random, nbr_vertices);
        }
        if (random.one_in(3) && !text.empty()) text.pop_back();
        nbr_good += is_read_as_plain(text) ? 1U : 0U;
        if (HasFailure()) break;
    }
    EXPECT_GT(nbr_good, nbr_runs(3000) / 4);
}

const std::string all_kinds = "# all\r\nmtllib a\no box\ng a b\n" + square +
                              "vn 0 0 1\nf 1//1 2//1 \\\n3//1\nf -5 -4 -3 -2\nf 1 2 3 4 5\n"
                              "l 1 2 3\np 4\ng a\nf 1 3 4 # end\nf 2 3 4";

TEST(obj_mesh, a_file_cut_at_any_byte_is_read_as_by_a_plain_reader) {
    for (std::size_t size = 0; size <= all_kinds.size(); ++size) {
        is_read_as_plain(all_kinds.substr(0, size));
    }
}

TEST(obj_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    EXPECT_GT(read_failing(file_format::obj, all_kinds), 30U);
}

} // namespace
