// Meshes written as Wavefront OBJ files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "formats/meshes_for_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const dense2D<double> square = points({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
const std::string vertices = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

TEST(obj_mesh, points_bars_and_faces_are_written_in_their_order) {
    const file_mesh m = mesh_of(
        square,
        {{ET_QUAD4, {0, 1, 2, 3}}, {ET_BAR2, {0, 2}}, {ET_NODE, {3}}, {ET_TRIA3, {3, 1, 0}}});
    const written_mesh file = written(m, file_format::obj);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, vertices + "f 1 2 3 4\nl 1 3\np 4\nf 4 2 1\n");
}

TEST(obj_mesh, nodes_in_no_element_are_left_out_and_the_others_numbered_anew) {
    const file_mesh m = mesh_of(square, {{ET_TRIA3, {3, 1, 2}}, {ET_TETRA4, {0, 1, 2, 3}}});
    EXPECT_EQ(written(m, file_format::obj).code, -4);
    const written_mesh file = written_lossy(m, file_format::obj);
    EXPECT_EQ(file.text, "v 1 0 0\nv 1 1 0\nv 0 1 0\nf 3 1 2\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"TETRA4: 1 not written: the format has no such element",
                                        "node: 1 not written: in no element that is written",
                                        "node: 3 written with a third coordinate of 0"}));
}

TEST(obj_mesh, quadratic_elements_are_written_by_their_corners) {
    const file_mesh m =
        mesh_of(square, {{ET_BAR3, {0, 1, 2}}, {ET_QUAD9, {0, 1, 2, 3, 0, 1, 2, 3, 0}}});
    const written_mesh file = written_lossy(m, file_format::obj);
    EXPECT_EQ(file.text, vertices + "l 1 2\nf 1 2 3 4\n");
    EXPECT_EQ(file.sentences()[0], "BAR3: 1 written without some of its nodes: as BAR2");
    EXPECT_EQ(file.sentences()[1], "QUAD9: 1 written without some of its nodes: as QUAD4");
}

TEST(obj_mesh, sets_of_elements_are_groups) {
    file_mesh m = mesh_of(square, ET_TRIA3, {{0, 1, 2}, {0, 2, 3}, {0, 1, 3}, {1, 2, 3}});
    m.element_sets = {set_of("a", {1, 2}), set_of("b", {2})};
    const written_mesh file = written(m, file_format::obj);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, vertices + "f 1 2 3\ng a\nf 1 3 4\ng a b\nf 1 2 4\ng\nf 2 3 4\n");
    EXPECT_EQ(file.sentences().size(), 1U); // of 2D
}

TEST(obj_mesh, names_become_words_and_sets_without_elements_are_lost) {
    file_mesh m = mesh_of(square, {{ET_TRIA3, {0, 1, 2}}, {ET_TRIA3, {0, 2, 3}}});
    m.element_sets = {set_of("left wing#2\\", {0}), set_of("", {1}), set_of("none", {})};
    EXPECT_EQ(written(m, file_format::obj).code, -4);
    const written_mesh file = written_lossy(m, file_format::obj);
    EXPECT_EQ(file.text, vertices + "g left_wing_2_\nf 1 2 3\ng _\nf 1 3 4\n");
    EXPECT_EQ(file.sentences()[1], "set of elements: 1 not written: no element of it is written");
    EXPECT_EQ(file.sentences()[2], "set of elements: 2 renamed: names are words without # and \\");
}

TEST(obj_mesh, a_set_that_is_lost_leaves_its_name_to_others) {
    file_mesh m =
        mesh_of(square, {{ET_TRIA3, {0, 1, 2}}, {ET_TETRA4, {0, 1, 2, 3}}, {ET_TRIA3, {0, 2, 3}}});
    m.element_sets = {set_of("a", {1}), set_of("a b", {}), set_of("a_b", {0}), set_of("a", {2})};
    const written_mesh file = written_lossy(m, file_format::obj);
    EXPECT_EQ(file.text, vertices + "g a_b\nf 1 2 3\ng a\nf 1 3 4\n");
    EXPECT_EQ(
        file.sentences(),
        (std::vector<std::string>{"TETRA4: 1 not written: the format has no such element",
                                  "node: 4 written with a third coordinate of 0",
                                  "set of elements: 2 not written: no element of it is written"}));
    m.element_sets.push_back(set_of("a", {0}));
    m.element_sets.push_back(set_of("a", {}));
    EXPECT_EQ(written_lossy(m, file_format::obj).text,
              vertices + "g a_b a_2\nf 1 2 3\ng a\nf 1 3 4\n");
}

TEST(obj_mesh, long_names_and_many_groups_are_written_whole) {
    file_mesh m = mesh_of(square, ET_TRIA3, {{0, 1, 2}, {0, 2, 3}});
    const std::string name(100000, 'x');
    m.element_sets = {set_of(name, {1})};
    EXPECT_EQ(written(m, file_format::obj).text, vertices + "f 1 2 3\ng " + name + "\nf 1 3 4\n");
    m.element_sets.clear();
    std::string line = "g";
    for (std::size_t k = 0; k < 20000; ++k) {
        m.element_sets.push_back(set_of(std::to_string(k), {1}));
        line += ' ' + std::to_string(k);
    }
    EXPECT_EQ(written(m, file_format::obj).text, vertices + "f 1 2 3\n" + line + "\nf 1 3 4\n");
}

TEST(obj_mesh, the_plain_reader_gets_all_triangles_and_quadrangles) {
    random_source random(7);
    for (std::uint64_t run = 0; run < nbr_runs(100); ++run) {
        const file_mesh m = random_mesh(random, {ET_TRIA3, ET_QUAD4, ET_BAR2}, 6, 12);
        const written_mesh file = written_lossy(m, file_format::obj);
        const scratch_stream stream(file.text);
        dense2D<double> pos;
        dense2D<double> normals;
        dense2D<double> textures;
        dense2D<unsigned int> tria;
        dense2D<unsigned int> quad;
        EXPECT_EQ(WavefrontOBJ_input(stream.get(), pos, normals, textures, tria, quad), 0);
        std::size_t t = 0;
        std::size_t q = 0;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            if (m.types[k] == ET_BAR2) continue;
            const bool is_tria = m.types[k] == ET_TRIA3;
            for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                for (std::size_t r = 0; r < (is_tria ? 3U : 4U); ++r) {
                    const unsigned int id = is_tria ? tria(r, t) : quad(r, q);
                    for (std::size_t i = 0; i < m.pos.rows(); ++i) {
                        EXPECT_EQ(pos(i, id), m.pos(i, m.connect(r, c)));
                    }
                }
                ++(is_tria ? t : q);
            }
        }
        EXPECT_EQ(t, tria.cols());
        EXPECT_EQ(q, quad.cols());
    }
}

// Reads the lines with a set of open groups, and looks each element up in all sets.
TEST(obj_mesh, random_sets_are_the_groups_that_stand_before_each_element) {
    random_source random(8);
    for (std::uint64_t run = 0; run < nbr_runs(300); ++run) {
        const std::size_t n = random.below(10);
        file_mesh m = random_mesh(random, {ET_TRIA3, ET_TETRA4}, 5, n);
        for (std::size_t s = random.below(4); s > 0; --s) {
            std::vector<unsigned int> ids;
            for (unsigned int c = 0; c < n; ++c) {
                if (random.one_in(3)) ids.push_back(c);
            }
            m.element_sets.push_back(set_of("set" + std::to_string(s), ids));
        }
        std::vector<std::string> expected;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                if (m.types[k] != ET_TRIA3) continue;
                std::string groups;
                for (const named_set& set : m.element_sets) {
                    const bool has = std::find(set.ids.begin(), set.ids.end(), c) != set.ids.end();
                    if (has) groups += ' ' + set.name;
                }
                expected.push_back(groups);
            }
        }
        std::vector<std::string> found;
        std::string open;
        std::istringstream lines(written_lossy(m, file_format::obj).text);
        for (std::string line; std::getline(lines, line);) {
            if (line[0] == 'g') {
                EXPECT_NE(line.substr(1), open);
                open = line.substr(1);
            }
            if (line[0] == 'f') found.push_back(open);
        }
        EXPECT_EQ(found, expected);
    }
}

} // namespace
