// FEMAP neutral files read as meshes with a report.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/element_table.h"
#include "formats/mesh_files.h"
#include "formats/plain_femap_mesh.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using id_lists = std::vector<std::vector<unsigned int>>;
using ids = std::vector<unsigned int>;
using types = std::vector<element_type>;
using sentences = std::vector<std::string>;

// Neutral files number all nodes and elements.
read_file read(const std::string& contents) {
    const read_file file = read_as(file_format::femap, contents);
    EXPECT_TRUE(file.code == 0 || file.code == -102);
    EXPECT_EQ(file.m.node_numbers.size(), file.m.pos.cols());
    EXPECT_EQ(file.m.element_numbers.size(), file.m.connect.cols());
    return file;
}

std::string block(int number, const std::string& lines) {
    return "   -1\n   " + std::to_string(number) + '\n' + lines + "   -1\n";
}
std::string node(unsigned int number, const std::string& xyz, int system = 0) {
    return std::to_string(number) + ',' + std::to_string(system) + ",0,1,46,0,0,0,0,0,0," + xyz +
           ",0,\n";
}
std::string element(unsigned int number, unsigned int property, int topology, ids slots,
                    const std::string& rest = "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n"
                                              "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n") {
    slots.resize(20, 0);
    std::string text = std::to_string(number) + ",124," + std::to_string(property) + ",17," +
                       std::to_string(topology) + ",1,0,0,0,0,0,0,\n";
    for (std::size_t k = 0; k < 20; ++k) {
        text += std::to_string(slots[k]) + (k % 10 == 9 ? ",\n" : ",");
    }
    return text + rest;
}
// Nodes 1 to n, on a curve.
std::string nodes(unsigned int n) {
    std::string text;
    for (unsigned int k = 1; k <= n; ++k) {
        text += node(k, std::to_string(k) + ".," + std::to_string(k * k) + ".,0.");
    }
    return block(403, text);
}
ids up_to(unsigned int n) {
    ids result(n);
    for (unsigned int k = 0; k < n; ++k) result[k] = k + 1;
    return result;
}

TEST(femap_mesh, numbers_properties_and_several_blocks_are_read) {
    const read_file file =
        read(block(100, "<NULL>\n8.1,\n") + "$COM the elements\n" +
             block(404, element(7, 12, 4, {30, 5, 20, 8})) +
             block(403, node(30, "1.5D+01, 2.5d-1,-3") + node(5, " 1.0+2 ,.5E0,1e1")) +
             block(404, element(3, 0, 2, {5, 20, 8}) + element(4, 9, 4, {8, 20, 5, 30})) +
             block(403, node(8, "0.,0.,") + node(20, "7.,,8.")));
    EXPECT_EQ(file.error(), "none");
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 3, 2}, {1, 3, 2}, {2, 3, 1, 0}}));
    EXPECT_EQ(file.types(), (types{ET_QUAD4, ET_TRIA3, ET_QUAD4}));
    EXPECT_EQ(list(file.m.pids), (ids{12, 0, 9}));
    EXPECT_EQ(list(file.m.node_numbers), (ids{30, 5, 8, 20}));
    EXPECT_EQ(list(file.m.element_numbers), (ids{7, 3, 4}));
    const std::vector<std::vector<double>> pos{
        {15.0, 0.25, -3.0}, {100.0, 0.5, 10.0}, {0.0, 0.0, 0.0}, {7.0, 0.0, 8.0}};
    for (std::size_t c = 0; c < 4; ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_EQ(file.m.pos(r, c), pos[c][r]);
    }
    EXPECT_TRUE(file.sentences().empty());
    EXPECT_EQ(
        file.counts(),
        "block 100 1/1, block 404 2/2, topology 4 2/2, block 403 2/2, node 4/4, topology 2 1/1");
}

TEST(femap_mesh, every_topology_with_a_type_is_read) {
    const std::vector<std::pair<element_type, ids>> linear{{ET_BAR2, {1, 2}},
                                                           {ET_BAR3, {1, 2, 3}},
                                                           {ET_TRIA3, {1, 2, 3}},
                                                           {ET_TRIA6, {1, 2, 3, 4, 5, 6}},
                                                           {ET_QUAD4, up_to(4)},
                                                           {ET_QUAD8, up_to(8)},
                                                           {ET_TETRA4, {1, 2, 3, 0, 4}},
                                                           {ET_PENTA6, {1, 2, 3, 0, 4, 5, 6}},
                                                           {ET_HEXA8, up_to(8)},
                                                           {ET_NODE, {1}}};
    for (std::size_t k = 0; k < linear.size(); ++k) {
        const read_file file =
            read(nodes(8) + block(404, element(1, 1, static_cast<int>(k), linear[k].second)));
        EXPECT_EQ(file.types(), (types{linear[k].first})) << file.error();
        EXPECT_TRUE(file.sentences().empty());
    }
}

using corner = std::array<double, 3>;

// A file of one element whose nodes on edges lie in the middle of those that the slots stand for:
// 8 to 11 on the lower edges of a brick, 12 to 15 on those between, 16 to 19 on the upper ones.
std::string quadratic(int topology, const std::vector<std::size_t>& corner_slots,
                      const std::vector<std::array<std::size_t, 3>>& edges) {
    const std::array<corner, 8> brick{
        {{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {0, 0, 9}, {4, 0, 9}, {4, 4, 9}, {0, 4, 9}}};
    std::string text;
    ids slots(20);
    const auto add = [&](std::size_t slot, const corner& p) {
        slots[slot] = static_cast<unsigned int>(100 + slot);
        text += node(slots[slot], std::to_string(p[0]) + ',' + std::to_string(p[1]) + ',' +
                                      std::to_string(p[2]));
    };
    for (const std::size_t s : corner_slots) add(s, brick[s]);
    for (const auto& [slot, a, b] : edges) {
        corner middle{};
        for (std::size_t i = 0; i < 3; ++i) middle[i] = (brick[a][i] + brick[b][i]) / 2;
        add(slot, middle);
    }
    return block(403, text) + block(404, element(1, 1, topology, slots));
}
// Whether the nodes on edges lie on those of the type.
void expect_on_edges(const read_file& file, element_type type) {
    ASSERT_EQ(file.types(), (types{type})) << file.error();
    const ids nodes = file.elements()[0];
    const element_shape& shape = shape_of(type);
    for (std::size_t k = 0; k < shape.added.size(); ++k) {
        for (std::size_t r = 0; r < 3; ++r) {
            const double middle =
                (file.m.pos(r, nodes[shape.added[k].a]) + file.m.pos(r, nodes[shape.added[k].b])) /
                2;
            EXPECT_EQ(file.m.pos(r, nodes[shape.nbr_base_nodes + k]), middle) << type << ' ' << k;
        }
    }
}

TEST(femap_mesh, nodes_on_edges_lie_on_them) {
    const std::vector<std::array<std::size_t, 3>> brick{
        {8, 0, 1},  {9, 1, 2},  {10, 2, 3}, {11, 3, 0}, {12, 0, 4}, {13, 1, 5},
        {14, 2, 6}, {15, 3, 7}, {16, 4, 5}, {17, 5, 6}, {18, 6, 7}, {19, 7, 4}};
    const read_file bricks = read(quadratic(12, {0, 1, 2, 3, 4, 5, 6, 7}, brick));
    expect_on_edges(bricks, ET_HEXA20);
    EXPECT_TRUE(bricks.sentences().empty());
    const std::vector<std::array<std::size_t, 3>> wedge{{8, 0, 1},  {9, 1, 2},  {10, 2, 0},
                                                        {12, 0, 4}, {13, 1, 5}, {14, 2, 6},
                                                        {16, 4, 5}, {17, 5, 6}, {18, 6, 4}};
    expect_on_edges(read(quadratic(11, {0, 1, 2, 4, 5, 6}, wedge)), ET_PENTA15);
    const std::vector<std::array<std::size_t, 3>> tetra{{8, 0, 1},  {9, 1, 2},  {10, 2, 0},
                                                        {12, 0, 4}, {13, 1, 4}, {14, 2, 4}};
    expect_on_edges(read(quadratic(10, {0, 1, 2, 4}, tetra)), ET_TETRA10);
    const std::vector<std::array<std::size_t, 3>> quadrangle{
        {4, 0, 1}, {5, 1, 2}, {6, 2, 3}, {7, 3, 0}};
    expect_on_edges(read(quadratic(5, {0, 1, 2, 3}, quadrangle)), ET_QUAD8);
    expect_on_edges(read(quadratic(3, {0, 1, 2}, {{3, 0, 1}, {4, 1, 2}, {5, 2, 0}})), ET_TRIA6);
    expect_on_edges(read(quadratic(3, {0, 1, 2}, {{4, 0, 1}, {5, 1, 2}, {6, 2, 0}})), ET_TRIA6);
    expect_on_edges(read(quadratic(1, {0, 1}, {{2, 0, 1}})), ET_BAR3);
}

TEST(femap_mesh, bricks_with_upper_edges_first_are_told) {
    const std::vector<std::array<std::size_t, 3>> brick{
        {8, 0, 1},  {9, 1, 2},  {10, 2, 3}, {11, 3, 0}, {12, 4, 5}, {13, 5, 6},
        {14, 6, 7}, {15, 7, 4}, {16, 0, 4}, {17, 1, 5}, {18, 2, 6}, {19, 3, 7}};
    const read_file file = read(quadratic(12, {0, 1, 2, 3, 4, 5, 6, 7}, brick));
    expect_on_edges(file, ET_HEXA20);
    EXPECT_EQ(file.sentences(),
              (sentences{"topology 12: 1 with the nodes on the upper edges ahead of those between, "
                         "in line 26: told by where they lie"}));
    EXPECT_FALSE(file.report.has_lost());
}

TEST(femap_mesh, a_missing_node_on_an_edge_makes_a_linear_element) {
    const read_file file = read(
        nodes(20) +
        block(404, element(1, 1, 5, {1, 2, 3, 4, 5, 0, 7, 8}) + element(2, 1, 10, {1, 2, 3, 0, 4}) +
                       element(3, 1, 10, {1, 3, 2, 0, 4, 0, 0, 0, 6, 5, 7, 0, 8, 10, 9})));
    EXPECT_EQ(file.types(), (types{ET_QUAD4, ET_TETRA4, ET_TETRA10}));
    EXPECT_EQ(file.sentences(),
              (sentences{"topology 5: 1 read as a linear one, in line 26: a node on an edge is "
                         "missing",
                         "topology 10: 1 read as a linear one, in line 33: a node on an edge is "
                         "missing"}));
    EXPECT_EQ(
        read(nodes(4) +
             block(404, element(1, 1, 5, {1, 2, 3, 4}) + element(2, 1, 5, {4, 3, 2, 1, 1, 2})))
            .sentences(),
        (sentences{"topology 5: 2 read as linear ones, first in line 10: a node on an edge is "
                   "missing"}));
}

TEST(femap_mesh, what_has_no_type_is_counted) {
    const std::string listed = "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,1,0,1,0,\n"
                               "4,0,1.,1,1,1,0,0,0,\n-1,0,0.,0,0,0,0,0,0,\n2,\n 3,\n   -1\n";
    const read_file file =
        read(block(402, "1,2,3\n") + nodes(4) +
             block(404, element(1, 1, 13, {1}, listed) + element(2, 1, 2, {1, 2, 3}) +
                            element(3, 1, 13, {2}) + element(4, 1, -1, {}) +
                            element(5, 1, 2, {1, 2, 0}) + element(6, 1, 9, {})) +
             block(506, ""));
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}}));
    EXPECT_EQ(file.sentences(),
              (sentences{"block 402: 1 not read, in line 2: neither nodes nor elements",
                         "topology 13: 2 not read, first in line 14: no mesh element",
                         "topology -1: 1 not read, in line 40: no mesh element",
                         "topology 2: 1 left out, in line 47: a corner has no node",
                         "topology 9: 1 left out, in line 54: a corner has no node",
                         "block 506: 1 not read, in line 63: neither nodes nor elements"}));
    EXPECT_EQ(file.counts(), "block 402 1/0, block 403 1/1, node 4/4, block 404 1/1, topology 13 "
                             "2/0, topology 2 2/1, topology -1 1/0, topology 9 1/0, block 506 1/0");
}

TEST(femap_mesh, lists_behind_elements_are_passed_over_and_told) {
    const std::string releases =
        "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,1,0,0,0,0,0,0,0,0,0,0,0,1,\n"
        "3,0,1.,1,1,1,0,0,0,\n-1,\n";
    const std::string lists = "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,1,1,0,0,\n"
                              "4,0,1.,1,1,1,0,0,0,\n-1,0,0.,0,0,0,0,0,0,\n2,\n 3,\n   -1,\n";
    const read_file file = read(nodes(4) + block(404, element(1, 5, 2, {1, 2, 3}, lists) +
                                                          element(2, 6, 2, {1, 0, 3}, lists) +
                                                          element(3, 7, 4, {1, 2, 3, 4}, releases) +
                                                          element(4, 8, 2, {2, 3, 4}, lists)));
    EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}, {0, 1, 2, 3}, {1, 2, 3}}));
    EXPECT_EQ(list(file.m.element_numbers), (ids{1, 3, 4}));
    EXPECT_EQ(
        file.sentences(),
        (sentences{"topology 2: 2 with lists of nodes, which are left out, first in line 10",
                   "topology 2: 1 left out, in line 22: a corner has no node",
                   "topology 4: 1 with an orientation, offsets or releases, which are left out, "
                   "in line 34",
                   "topology 4: 1 with a list of nodes, which is left out, in line 34"}));
    const std::string cut = nodes(3) + "   -1\n   404\n" + element(1, 5, 2, {1, 2, 3}, lists);
    EXPECT_EQ(read(cut.substr(0, cut.size() - 7)).error(),
              "line 19: the end of the block is expected, and the file ends");
}

TEST(femap_mesh, orientations_offsets_releases_and_systems_are_told) {
    const std::string offset =
        "0.,0.,0.,\n0.,0.,2.5,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
    const read_file file =
        read(block(403, node(1, "0.,0.,0.", 3) + node(2, "1.,0.,0.", 3) + node(3, "0.,1.,0.")) +
             block(404, element(1, 1, 0, {1, 2}, offset) + element(2, 1, 0, {2, 3}) +
                            element(3, 1, 0, {1, 3}, offset)));
    EXPECT_EQ(read(block(403, node(1, "0.,0.,0.", 3))).sentences(),
              (sentences{"node: 1 with a system of its own, in line 3: coordinates are taken for "
                         "global ones"}));
    EXPECT_EQ(
        file.sentences(),
        (sentences{"node: 2 with systems of their own, first in line 3: coordinates are taken "
                   "for global ones",
                   "topology 0: 2 with orientations, offsets or releases, which are left out, "
                   "first in line 9"}));
}

TEST(femap_mesh, a_node_may_be_given_again_alike) {
    const read_file file =
        read(block(403, node(4, "1.,2.,3.") + node(2, "0.,0.,0.") + node(4, "1.,2.,3.") +
                            node(9, "5.,0.,0.")) +
             block(403, node(2, "0.,0.,-0.")) + block(404, element(1, 1, 2, {2, 4, 9})));
    EXPECT_EQ(file.elements(), (id_lists{{1, 0, 2}}));
    EXPECT_EQ(list(file.m.node_numbers), (ids{4, 2, 9}));
    EXPECT_EQ(file.m.pos(0, 2), 5.0);
    EXPECT_EQ(file.sentences(),
              (sentences{"node: 2 given again, first in line 5: the same as before"}));
    EXPECT_EQ(
        read(block(403, node(4, "1.,2.,3.") + node(2, "0.,0.,0.") + node(4, "1.,2.,4."))).error(),
        "line 5: node 4 was given before, at another place");
}

TEST(femap_mesh, faults_say_where_they_are) {
    EXPECT_EQ(read("").error(), "no block 403 or 404 is there");
    EXPECT_EQ(read("hello\n").error(), "no block 403 or 404 is there");
    EXPECT_EQ(read(block(100, "")).error(), "no block 403 or 404 is there");
    EXPECT_EQ(read(block(403, "")).code, 0);
    EXPECT_EQ(read(block(403, "1,2,3\n")).error(), "line 3: 14 fields are expected");
    EXPECT_EQ(read(block(403, node(0, "1,1,1"))).error(),
              "line 3, column 1: a number from 1 to 4294967294 was expected");
    EXPECT_EQ(read(block(403, node(1, "1,x,1"))).error(),
              "line 3, column 26: a real number was expected");
    EXPECT_EQ(read(block(403, node(1, "1,1.D999,1"))).error(),
              "line 3, column 26: a number beyond the range of its type");
    EXPECT_EQ(read(block(403, node(1, "1," + std::string(101, '1') + ",1"))).error(),
              "line 3, column 26: a field of more than 100 characters is no number");
    EXPECT_EQ(read(block(404, "1,2,3,4\n")).error(), "line 3: 5 fields are expected");
    EXPECT_EQ(read(block(404, "x,2,3,4,5\n")).error(), "line 3, column 1: an integer was expected");
    EXPECT_EQ(read(block(404, "1,2,-3,4,5\n")).error(),
              "line 3, column 5: a number from 0 to 4294967295 was expected");
    EXPECT_EQ(read(block(404, "1,2,x,4,5\n")).error(), "line 3, column 5: an integer was expected");
    EXPECT_EQ(read(block(404, "1,2,3,4,5.\n")).error(),
              "line 3, column 9: an integer was expected");
    EXPECT_EQ(read(block(404, "1,2,3,4,2\n1,2,3\n")).error(), "line 4: 10 fields are expected");
    EXPECT_EQ(read(block(404, "1,2,3,4,2\n1,2,y,0,0,0,0,0,0,0\n")).error(),
              "line 4, column 5: an integer was expected");
    EXPECT_EQ(read(block(404, "1,2,3,4,2\n1,-2,3,0,0,0,0,0,0,0\n")).error(),
              "line 4, column 3: a number from 0 to 4294967294 was expected");
    EXPECT_EQ(read(block(404, "1,2,3,4,2\n")).error(),
              "line 4: another line of the element is expected");
    EXPECT_EQ(read("   -1\n403\n" + node(1, "1,1,1")).error(),
              "line 3: the end of the block is expected, and the file ends");
    EXPECT_EQ(read(nodes(3) +
                   block(404, element(1, 1, 2, {1, 2, 3}) + "\n" + element(5, 1, 2, {1, 2, 4})))
                  .error(),
              "line 17: node 4 of element 5 is not there");
}

TEST(femap_mesh, a_file_of_empty_blocks_is_an_empty_mesh_and_told) {
    const std::string why = ": no mesh is in the file";
    const read_file both = read(block(100, "<NULL>\n8.1\n") + block(404, "") + block(403, "\n"));
    EXPECT_EQ(both.code, 0);
    EXPECT_EQ(list(both.m.indices), (ids{0}));
    EXPECT_EQ(both.sentences(), (sentences{"block 404: 1 empty, in line 7" + why,
                                           "block 403: 1 empty, in line 10" + why}));
    EXPECT_FALSE(both.report.has_lost());
    EXPECT_EQ(read("text\n" + block(403, "") + block(403, "")).sentences(),
              (sentences{"block 403: 2 empty, first in line 3" + why}));
    EXPECT_EQ(read(block(404, "")).sentences(), (sentences{"block 404: 1 empty, in line 2" + why}));
    // Beside nodes a block may be empty.
    EXPECT_EQ(read(nodes(3) + block(404, "")).sentences(), sentences());
}

TEST(femap_mesh, a_file_with_all_but_nodes_is_no_mesh) {
    const std::string empty = block(403, "") + block(404, "");
    for (const std::string& text :
         {empty + block(601, "1,2\n"), block(402, "") + empty, "1,2,3\n" + empty, empty + "   -1\n",
          block(404, element(1, 1, 13, {1})),
          block(404, element(1, 1, 2, {0, 1, 2})) + block(403, "")}) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, -102) << text;
        EXPECT_EQ(file.error(), "no node is there");
        EXPECT_EQ(file.sentences().size(), 2U); // what is lost, and the error
    }
    EXPECT_EQ(read(block(404, element(1, 1, 2, {1, 2, 3}))).error(),
              "line 3: node 1 of element 1 is not there");
}

TEST(femap_mesh, a_block_without_a_number_is_told) {
    EXPECT_EQ(read(nodes(3) + "   -1\n").sentences(),
              (sentences{"block: 1 left out, in line 7: the file ends ahead of its number"}));
    // A line of -1 within a block that is not read ends it, and what follows finds its way back.
    const read_file file = read(block(506, "1,2\n-1\n3,4\n") + nodes(3));
    EXPECT_EQ(file.m.pos.cols(), 3U);
}

TEST(femap_mesh, numbers_outside_of_all_blocks_are_told) {
    const read_file file = read("*** 1 ***\n" + nodes(3) + "   404\n" +
                                element(1, 1, 2, {1, 2, 3}) + "   -1\n" + block(506, ""));
    EXPECT_EQ(file.m.pos.cols(), 3U);
    EXPECT_EQ(file.sentences(),
              (sentences{"line: 8 not read, first in line 8: outside of all blocks",
                         "block 506: 1 not read, in line 18: neither nodes nor elements"}));
    EXPECT_TRUE(file.report.has_lost());
    EXPECT_EQ(read("   -1\n1,2,3\n" + nodes(3)).sentences(),
              (sentences{"line: 1 not read, in line 2: outside of all blocks"}));
}

TEST(femap_mesh, line_ends_and_blanks_dont_matter) {
    std::string text = nodes(3) + block(404, element(1, 1, 2, {1, 2, 3}));
    for (const std::string end : {"\r\n", "\r", " \n\n"}) {
        std::string other;
        for (const char c : text) other += c == '\n' ? end : std::string(1, c);
        const read_file file = read(other);
        EXPECT_EQ(file.elements(), (id_lists{{0, 1, 2}}));
        EXPECT_TRUE(file.sentences().empty());
    }
}

// Elements of all types that it writes, but for triangles of six nodes, whose corners it writes
// with numbers from 0.
TEST(femap_mesh, takes_what_FEMAP_output_writes) {
    for (const element_type type : {ET_NODE, ET_BAR2, ET_BAR3, ET_TRIA3, ET_QUAD4, ET_QUAD8,
                                    ET_TETRA4, ET_TETRA10, ET_PENTA6, ET_HEXA8}) {
        const unsigned int n = kv7::tessmaker::nbr_nodes(type);
        dense2D<double> pos(3, n + 2, 0.0);
        for (unsigned int k = 0; k < n + 2; ++k) pos(0, k) = k;
        dense2D<unsigned int> connect(n, 2);
        for (unsigned int k = 0; k < n; ++k) {
            connect(k, 0) = k;
            connect(k, 1) = n + 1 - k;
        }
        const scratch_stream stream;
        ASSERT_EQ(FEMAP_output(stream.get(), pos, connect, type), 0);
        const read_file file = read(stream.contents());
        EXPECT_EQ(file.elements(), list(connect)) << type;
        EXPECT_TRUE(file.sentences().empty());
    }
}

std::string random_number(random_source& random) {
    static const std::vector<std::string> ends{".", ".5", ".0D+00", ".25E+01", "", ".d0"};
    std::string end = random.one_of(ends);
    if (end == ".d0") end = ".D0";
    return (random.one_in(4) ? "-" : " ") + std::to_string(random.below(4)) + end;
}
std::string random_file(random_source& random) {
    const auto nbr_nodes = static_cast<unsigned int>(random.between(8, 30));
    ids numbers;
    for (unsigned int k = 0; k < nbr_nodes; ++k) {
        numbers.push_back(random.one_in(3) ? 5 * k + 1 : k + 1);
    }
    random.shuffle(numbers);
    std::sort(numbers.begin(),
              numbers.begin() + static_cast<std::ptrdiff_t>(random.below(nbr_nodes)));
    std::vector<std::string> pieces;
    for (unsigned int k = 0; k < nbr_nodes; ++k) {
        const std::string place =
            random_number(random) + ',' + random_number(random) + ',' + random_number(random);
        const std::string line = node(numbers[k], place, random.one_in(10) ? 2 : 0);
        if (pieces.empty() || random.one_in(6)) pieces.emplace_back();
        pieces.back() += line;
        if (random.one_in(100)) pieces.back() += line;
    }
    for (std::string& piece : pieces) piece = block(403, piece);
    for (std::size_t n = random.below(4); n != 0; --n) {
        std::string lines;
        for (std::size_t k = random.below(5); k != 0; --k) {
            const int topology = static_cast<int>(random.below(random.one_in(8) ? 16 : 13));
            ids slots(20);
            for (unsigned int& s : slots) {
                s = random.one_in(200) ? 0 : random.one_of(numbers);
                if (random.one_in(1000)) s = 77777;
            }
            if (topology == 3 && random.one_in(2)) slots[3] = 0;
            const bool has_list = random.one_in(topology > 12 ? 2 : 20);
            const char* const flags = has_list ? "0,1,0,0" : "0,0,0,0";
            std::string rest = "0.,0.,0.,\n0.,0.,0.,\n 0.D0 ,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0," +
                               std::string(flags) + ",\n";
            if (has_list) rest += "3,4,\n-1,0,\n";
            if (random.one_in(8)) rest[0] = '1';
            lines += element(random.id_below(1000) + 1, random.id_below(9), topology, slots, rest);
        }
        pieces.push_back(block(404, lines));
    }
    if (random.one_in(2)) pieces.push_back(block(601, "1,2\n"));
    if (random.one_in(3)) pieces.push_back("$COM text\n\n");
    random.shuffle(pieces);
    std::string text;
    for (const std::string& piece : pieces) text += piece;
    return text;
}

// Returns whether there was a mesh to compare.
bool is_read_as_plain(const std::string& text) {
    const plain_femap_mesh expected(text);
    const read_file file = read(text);
    EXPECT_EQ(file.code, expected.is_good ? 0 : -102) << text << '\n' << file.error();
    if (!expected.is_good) {
        EXPECT_EQ(file.report.error()->line, expected.error_line) << text << file.error();
        return false;
    }
    EXPECT_EQ(file.elements(), expected.elements) << text;
    EXPECT_EQ(file.types(), expected.types);
    EXPECT_EQ(list(file.m.pids), expected.pids);
    EXPECT_EQ(list(file.m.element_numbers), expected.element_numbers);
    EXPECT_EQ(list(file.m.node_numbers), expected.node_numbers);
    EXPECT_EQ(file.m.pos.cols(), expected.nodes.size());
    if (testing::Test::HasFailure()) return false;
    for (std::size_t c = 0; c < expected.nodes.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_EQ(file.m.pos(r, c), expected.nodes[c][r]);
    }
    EXPECT_EQ(counts_of(file.report), expected.counts) << text;
    return true;
}

TEST(femap_mesh, random_files_are_read_as_by_a_plain_reader) {
    random_source random(41);
    std::uint64_t nbr_good = 0;
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        nbr_good += is_read_as_plain(random_file(random)) ? 1U : 0U;
        if (HasFailure()) break;
    }
    EXPECT_GT(nbr_good, nbr_runs(2000) / 4);
}

const std::string with_list = "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,1,0,0,0,\n"
                              "4,0,1.,1,1,1,0,0,0,\n-1,0,0.,0,0,0,0,0,0,\n";
const std::string all_kinds = block(100, "<NULL>\n8.1\n") + block(601, "1\n") + nodes(3) +
                              block(404, element(1, 4, 2, {1, 2, 3}) + element(2, 5, 13, {1}) +
                                             element(3, 6, 4, {4, 2, 3, 1}, with_list)) +
                              block(403, node(4, "1.5D1,2,3") + node(2, "2.,4.,0."));

TEST(femap_mesh, a_file_cut_at_any_byte_is_read_as_by_a_plain_reader) {
    const std::string no_mesh = block(100, "") + block(403, "") + block(404, "") + "1\n" +
                                block(404, element(1, 1, 13, {1})) + "   -1\n";
    for (const std::string& text : {all_kinds, no_mesh}) {
        for (std::size_t size = 0; size <= text.size(); ++size) {
            is_read_as_plain(text.substr(0, size));
        }
    }
}

TEST(femap_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    EXPECT_GT(read_failing(file_format::femap, all_kinds), 30U);
}

} // namespace
