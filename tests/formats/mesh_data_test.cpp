// The files of tests/data/mesh_file, one for each thing that files of other programs do.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "formats/mesh_files.h"
#include "support/meshes.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;
using ids = std::vector<unsigned int>;
using type_counts = std::map<int, std::size_t>;

const std::string folder = std::string(TEST_DATA) + "/mesh_file/";

std::string without_folder(std::string text) {
    for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder)) {
        text.erase(at, folder.size());
    }
    return text;
}

read_file read(const std::string& name) {
    read_file result;
    result.code = read_mesh((folder + name).c_str(), result.m, result.report);
    check_result(result);
    return result;
}

type_counts types_of(const mesh& m) {
    type_counts result;
    for (const plain_element& e : elements_of(m)) ++result[e.type];
    return result;
}

double area_of(const mesh& m, const ids& nodes) {
    double sum = 0.0;
    for (std::size_t k = 0; k < nodes.size(); ++k) {
        const unsigned int a = nodes[k];
        const unsigned int b = nodes[(k + 1) % nodes.size()];
        sum += m.pos(0, a) * m.pos(1, b) - m.pos(0, b) * m.pos(1, a);
    }
    return sum / 2;
}

TEST(mesh_data, cards_of_every_layout_and_continuation_are_one_cube) {
    const read_file file = read("layouts.bdf");
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(file.counts(), "GRID 8/8, CHEXA 9/9");
    EXPECT_EQ(list(file.m.pos), (std::vector<std::vector<double>>{{0, 0, 0},
                                                                  {1, 0, 0},
                                                                  {1, 1, 0},
                                                                  {0, 1, 0},
                                                                  {0, 0, 1},
                                                                  {1, 0, 1},
                                                                  {1, 1, 1},
                                                                  {0, 1, 1}}));
    for (const plain_element& e : elements_of(file.m)) {
        EXPECT_EQ(e, (plain_element{ET_HEXA8, {0, 1, 2, 3, 4, 5, 6, 7}, 7}));
    }
}

TEST(mesh_data, files_that_a_deck_includes_are_part_of_it) {
    const read_file file = read("includes.bdf");
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(list(file.m.node_numbers), (ids{1, 2, 3, 4}));
    EXPECT_EQ(elements_of(file.m), (std::vector<plain_element>{{ET_QUAD4, {0, 1, 2, 3}, 1}}));
}

TEST(mesh_data, nodes_in_systems_of_every_kind_lie_at_one_place) {
    const read_file file = read("systems.bdf");
    EXPECT_EQ(file.sentences(), strings());
    ASSERT_EQ(file.m.pos.cols(), 16U);
    for (std::size_t c = 0; c < 7; ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            EXPECT_NEAR(file.m.pos(r, c), static_cast<double>(r + 1), 1e-15) << c;
        }
    }
}

TEST(mesh_data, every_card_of_an_element_is_read_with_its_nodes_in_place) {
    const read_file file = read("elements.bdf");
    EXPECT_EQ(file.sentences(),
              (strings{"CTRIA6: 1 made linear, in line 63: blank mid-side nodes"}));
    EXPECT_EQ(types_of(file.m), (type_counts{{ET_BAR2, 7},
                                             {ET_TRIA3, 3},
                                             {ET_QUAD4, 3},
                                             {ET_TRIA6, 1},
                                             {ET_QUAD8, 1},
                                             {ET_QUAD9, 1},
                                             {ET_TETRA4, 1},
                                             {ET_TETRA10, 1},
                                             {ET_PYRA5, 1},
                                             {ET_PYRA13, 1},
                                             {ET_PENTA6, 1},
                                             {ET_PENTA15, 1},
                                             {ET_HEXA8, 1},
                                             {ET_HEXA20, 1}}));
    EXPECT_EQ(list(file.m.pids), (ids{10, 10, 10, 10, 10, 10, 10, 10, 20, 20, 20, 20,
                                      20, 14, 15, 20, 70, 5,  80, 30, 30, 30, 0,  20}));
    for (const plain_element& e : elements_of(file.m)) {
        const auto& shape = shape_of(static_cast<element_type>(e.type));
        const std::size_t nbr_corners = e.nodes.size() - shape.added.size();
        for (std::size_t k = 0; k < shape.added.size(); ++k) {
            const added_node& added = shape.added[k];
            if (added.on != added_node::place::edge) continue;
            for (std::size_t r = 0; r < 3; ++r) {
                const double middle =
                    (file.m.pos(r, e.nodes[added.a]) + file.m.pos(r, e.nodes[added.b])) / 2;
                EXPECT_EQ(file.m.pos(r, e.nodes[nbr_corners + k]), middle) << e.type << ' ' << k;
            }
        }
    }
}

TEST(mesh_data, what_is_left_of_a_deck_is_told) {
    const read_file file = read("left_out.bdf");
    EXPECT_EQ(file.sentences(),
              (strings{"MAT1: 2 not read, first in line 3: no mesh element",
                       "PARAM: 1 not read, in line 5: no mesh element",
                       "GRID: 1 given again, in line 8: like before",
                       "CBUSH: 1 not read, in line 9: no mesh element",
                       "RBE2: 1 not read, in line 10: no mesh element",
                       "continuation: 1 not read, in line 12: it continues no card",
                       "CROD: 1 given again, in line 13: like before",
                       "CTUBE: 1 has a number that was given before, in line 14: on other cards"}));
    EXPECT_EQ(list(file.m.node_numbers), (ids{1, 2}));
    EXPECT_EQ(list(file.m.element_numbers), (ids{3, 3}));
}

TEST(mesh_data, decks_that_make_no_sense_are_refused_with_the_line) {
    const auto error = [](const std::string& name, int code) {
        const read_file file = read(name);
        EXPECT_EQ(file.code, code);
        return without_folder(file.error());
    };
    EXPECT_EQ(error("missing_node.bdf", -102),
              "missing_node.bdf, line 3: node 77 of CROD 5 is not in the deck");
    EXPECT_EQ(error("given_otherwise.bdf", -102),
              "given_otherwise.bdf, line 3: node 4 was given before with other values, in line 1 "
              "of given_otherwise.bdf");
    EXPECT_EQ(error("circle.bdf", -102),
              "circle.bdf, line 2: coordinate systems refer to each other: 3, 8");
    EXPECT_EQ(error("includes_itself.bdf", -102),
              "includes_itself.bdf, line 2: INCLUDE: the file includes itself: "
              "includes_itself.bdf");
    EXPECT_EQ(error("includes_nothing.bdf", -1),
              "includes_nothing.bdf, line 3: INCLUDE: the file can't be opened: "
              "parts/not_there.inc");
}

TEST(mesh_data, solids_of_an_STL_file_are_sets) {
    const read_file file = read("two_solids.stl");
    EXPECT_EQ(file.report.format(), file_format::stl_text);
    EXPECT_EQ(file.sentences(),
              (strings{"facet: 1 left out, in line 27: a coordinate is no finite number",
                       "words: 3 follow the last solid and are not read, first in line 43",
                       "facet: 1 collapsed: corners of one facet were welded",
                       "2 corners were welded to other ones: closer than 0.0354"}));
    EXPECT_EQ(types_of(file.m), (type_counts{{ET_TRIA3, 3}}));
    ASSERT_EQ(file.m.element_sets.size(), 2U);
    EXPECT_EQ(file.m.element_sets[0].name, "plate one");
    EXPECT_EQ(list(file.m.element_sets[0].ids), (ids{0, 1}));
    EXPECT_EQ(list(file.m.element_sets[1].ids), (ids{2}));
}

TEST(mesh_data, polygons_of_an_OBJ_file_are_cut_into_triangles) {
    const read_file file = read("polygons.obj");
    EXPECT_EQ(file.sentences(),
              (strings{"v: 1 color left out, in line 3", "vn: 1 not read, in line 12: normals",
                       "vt: 1 not read, in line 13: texture coordinates",
                       "f: 2 cut into triangles, first in line 14: more than 4 corners",
                       "usemtl: 1 not read, in line 23: materials"}));
    EXPECT_EQ(types_of(file.m),
              (type_counts{{ET_NODE, 1}, {ET_BAR2, 2}, {ET_TRIA3, 13}, {ET_QUAD4, 1}}));
    const std::vector<plain_element> elements = elements_of(file.m);
    const ids star{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const ids step{10, 11, 12, 13, 14, 15};
    double areas[] = {0.0, 0.0};
    for (std::size_t e = 0; e < 12; ++e) {
        const double area = area_of(file.m, elements[e].nodes);
        EXPECT_GT(area, 0.0);
        areas[e < 8 ? 0 : 1] += area;
    }
    EXPECT_NEAR(areas[0], area_of(file.m, star), 1e-12);
    EXPECT_NEAR(areas[1], area_of(file.m, step), 1e-12);
    ASSERT_EQ(file.m.element_sets.size(), 3U);
    EXPECT_EQ(file.m.element_sets[0].name, "star");
    EXPECT_EQ(list(file.m.element_sets[1].ids), (ids{8, 9, 10, 11}));
    EXPECT_EQ(list(file.m.element_sets[2].ids), (ids{12, 13, 14, 15, 16}));
}

TEST(mesh_data, blocks_of_a_neutral_file_stand_in_any_order) {
    const read_file file = read("blocks.neu");
    EXPECT_EQ(file.sentences(),
              (strings{"block 601: 1 not read, in line 31: neither nodes nor elements",
                       "node: 1 given again, in line 38: the same as before",
                       "topology 2: 1 with a list of nodes, which is left out, in line 42",
                       "topology 13: 1 not read, in line 51: no mesh element"}));
    EXPECT_EQ(elements_of(file.m), (std::vector<plain_element>{{ET_QUAD4, {0, 1, 2, 3}, 11},
                                                               {ET_TETRA4, {1, 0, 3, 4}, 12},
                                                               {ET_TRIA3, {0, 1, 2}, 12},
                                                               {ET_BAR2, {0, 1}, 13}}));
    EXPECT_EQ(list(file.m.element_numbers), (ids{1, 2, 3, 5}));
}

TEST(mesh_data, fields_stand_beside_a_MEDIT_mesh) {
    read_file file = read("remeshed.mesh");
    EXPECT_EQ(file.sentences(),
              (strings{"Vertices: 1 reference left out, in line 9: a node has no property",
                       "Corners: 1 left out, in line 12: no part of a mesh"}));
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{{ET_TRIA3, {0, 2, 1}, 5}, {ET_TETRA4, {0, 1, 3, 2}, 7}}));
    ASSERT_EQ(read_fields((folder + "remeshed.sol").c_str(), file.m, file.report), 0);
    EXPECT_EQ(file.sentences(), strings());
    ASSERT_EQ(file.m.fields.size(), 2U);
    EXPECT_EQ(list(file.m.fields[0].values),
              (std::vector<std::vector<double>>{{.5}, {.25}, {.5}, {.5}}));
    EXPECT_EQ(file.m.fields[1].values.rows(), 6U);
    EXPECT_EQ(file.m.fields[1].values(5, 1), 4.0);
}

TEST(mesh_data, wedges_of_VTK_are_turned) {
    const read_file file = read("wedge.vtk");
    EXPECT_EQ(file.sentences(), (strings{"polygon: 1 left out, in line 12: no mesh element"}));
    const std::vector<plain_element> elements = elements_of(file.m);
    ASSERT_EQ(elements.size(), 1U);
    EXPECT_EQ(elements[0].type, ET_PENTA6);
    EXPECT_GT(area_of(file.m, {elements[0].nodes[0], elements[0].nodes[1], elements[0].nodes[2]}),
              0.0);
    ASSERT_EQ(file.m.fields.size(), 2U);
    EXPECT_EQ(list(file.m.fields[1].values), (std::vector<std::vector<double>>{{1, 2, 3}}));
}

TEST(mesh_data, a_VTU_file_may_be_text) {
    const read_file file = read("triangle.vtu");
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(elements_of(file.m), (std::vector<plain_element>{{ET_TRIA3, {0, 1, 2}, 1}}));
    ASSERT_EQ(file.m.fields.size(), 1U);
    EXPECT_EQ(file.m.fields[0].name, "t");
}

} // namespace
