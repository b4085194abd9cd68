// Meshes written as FEMAP neutral files.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "formats/mesh_files.h"
#include "formats/mesh_round_trips.h"
#include "formats/meshes_for_files.h"
#include "formats/plain_femap_mesh.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::string tail = "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n"
                         "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, -0.5}, {0, 1e10, 0.1}}), ET_TRIA3, {{0, 1, 2}});
}

TEST(femap_mesh_output, of_a_triangle_is_this_text) {
    const std::string start = "   -1\n   403\n"
                              "1,0,0,1,0,0,0,0,0,0,0,0,0,0,0,\n"
                              "2,0,0,1,0,0,0,0,0,0,0,1,0,-0.5,0,\n"
                              "3,0,0,1,0,0,0,0,0,0,0,0,1e+10,0.1,0,\n"
                              "   -1\n   -1\n   404\n";
    const written_mesh file = written(triangle(), file_format::femap);
    EXPECT_EQ(file.code, 0);
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_EQ(file.text, start +
                             "1,1,1,17,2,1,0,0,0,0,0,0,0,\n1,2,3,0,0,0,0,0,0,0,\n"
                             "0,0,0,0,0,0,0,0,0,0,\n" +
                             tail + "   -1\n");
}

TEST(femap_mesh_output, has_the_numbers_and_in_field_2_the_properties_of_the_mesh) {
    file_mesh m = triangle();
    m.node_numbers = vector_of<unsigned int>({7, 4000000000, 5});
    m.element_numbers = vector_of<unsigned int>({12});
    m.pids = vector_of<unsigned int>({0});
    const written_mesh file = written(m, file_format::femap);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"number of a node: 1 above 99999999: not all programs read "
                                        "such numbers"}));
    EXPECT_NE(file.text.find("\n7,0,0,1,"), std::string::npos);
    EXPECT_NE(file.text.find("\n12,1,0,17,2,1,0,0,0,0,0,0,0,\n7,4000000000,5,0,0,0,0,0,0,0,\n"),
              std::string::npos);
    m.node_numbers = vector_of<unsigned int>({7, 8, 7});
    EXPECT_EQ(written(m, file_format::femap).code, -4);
    EXPECT_EQ(written_lossy(m, file_format::femap).sentences(),
              (std::vector<std::string>{"number of a node: 3 replaced: the format asks for "
                                        "different numbers from 1 to 4294967294"}));
}

// Class and topology, and the slots of nodes: those of a brick, of which other solids leave some
// free.
struct record_of_type {
    element_type type;
    std::string numbers;
    std::string slots;
};
const std::vector<record_of_type> records{
    {ET_NODE, "10,9", "1,0,0,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_BAR2, "5,0", "1,2,0,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_BAR3, "8,1", "1,2,3,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    // The fourth corner of a quadrangle is free.
    {ET_TRIA6, "18,3", "1,2,3,0,6,4,5,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_QUAD8, "18,5", "1,2,3,4,5,6,7,8,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_QUAD9, "18,5", "1,2,3,4,5,6,7,8,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_TETRA4, "25,6", "2,1,3,0,4,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    {ET_TETRA10, "26,10", "1,3,2,0,4,0,0,0,6,5,\n7,0,8,10,9,0,0,0,0,0,"},
    {ET_PENTA6, "25,7", "1,2,3,0,4,5,6,0,0,0,\n0,0,0,0,0,0,0,0,0,0,"},
    // Edges 0-1, 1-2, a gap, 2-0; then 0-3, 1-4, 2-5; then 3-4, 4-5, a gap, 5-3.
    {ET_PENTA15, "26,11", "1,2,3,0,4,5,6,0,12,10,\n11,0,7,8,9,0,15,13,14,0,"},
    {ET_PENTA18, "26,11", "1,2,3,0,4,5,6,0,12,10,\n11,0,7,8,9,0,15,13,14,0,"},
    {ET_HEXA20, "26,12", "1,2,3,4,5,6,7,8,9,10,\n11,12,17,18,19,20,13,14,15,16,"},
    {ET_HEXA27, "26,12", "1,2,3,4,5,6,7,8,9,10,\n11,12,17,18,19,20,13,14,15,16,"},
};

TEST(femap_mesh_output, each_type_has_its_topology_and_slots) {
    for (const record_of_type& expected : records) {
        std::vector<unsigned int> nodes;
        for (unsigned int k = 0; k < nbr_nodes(expected.type); ++k) nodes.push_back(k);
        const dense2D<double> pos(3, nodes.size(), 0.0);
        const written_mesh file =
            written_lossy(mesh_of(pos, expected.type, {nodes}), file_format::femap);
        const std::string record =
            "404\n1,1,1," + expected.numbers + ",1,0,0,0,0,0,0,0,\n" + expected.slots + '\n' + tail;
        EXPECT_NE(file.text.find(record), std::string::npos) << file.text;
        const bool has_less =
            expected.type == ET_QUAD9 || expected.type == ET_PENTA18 || expected.type == ET_HEXA27;
        EXPECT_EQ(file.report.has_lost(), has_less);
    }
}

// Bricks with 20 nodes are read by where these lie.
const std::vector<element_type> whole_types{ET_NODE,    ET_BAR2,   ET_BAR3,    ET_TRIA3,
                                            ET_TRIA6,   ET_QUAD4,  ET_QUAD8,   ET_TETRA4,
                                            ET_TETRA10, ET_PENTA6, ET_PENTA15, ET_HEXA8};

TEST(femap_mesh_output, is_read_again_whole) {
    random_source random(16);
    for (std::uint64_t run = 0; run < nbr_runs(500); ++run) {
        const file_mesh m = random_numbered_mesh(random, whole_types);
        const written_mesh file = written(m, file_format::femap);
        ASSERT_EQ(file.code, 0);
        const read_file back = read_as(file_format::femap, file.text);
        expect_same_elements(m, back);
        EXPECT_TRUE(back.report.remarks().empty());
        EXPECT_EQ(nbr_changed_coordinates(m, back.m), 0U);

        const plain_femap_mesh plain(file.text);
        EXPECT_TRUE(plain.is_good);
        EXPECT_EQ(plain.nodes.size(), m.pos.cols());
        const std::vector<plain_element> elements = elements_of(back.m);
        ASSERT_EQ(plain.elements.size(), elements.size());
        for (std::size_t c = 0; c < elements.size(); ++c) {
            EXPECT_EQ(plain.elements[c], elements[c].nodes);
            EXPECT_EQ(plain.pids[c], elements[c].pid);
            EXPECT_EQ(plain.element_numbers[c], back.m.element_numbers[c]);
        }
    }
}

// Bricks whose nodes lie near the middles of their edges.
TEST(femap_mesh_output, bricks_with_20_nodes_are_read_again_whole) {
    random_source random(17);
    const element_shape& shape = shape_of(ET_HEXA20);
    const auto corners = shape_corners(ET_HEXA8);
    for (std::uint64_t run = 0; run < nbr_runs(100); ++run) {
        dense2D<double> pos(3, 20);
        for (std::size_t k = 0; k < 20; ++k) {
            for (std::size_t r = 0; r < 3; ++r) {
                const double at = k < 8 ? corners[k][r]
                                        : 0.5 * (corners[shape.added[k - 8].a][r] +
                                                 corners[shape.added[k - 8].b][r]);
                pos(r, k) = at + random.uniform(-0.1, 0.1);
            }
        }
        std::vector<unsigned int> nodes(20);
        for (unsigned int k = 0; k < 20; ++k) nodes[k] = k;
        const file_mesh m = mesh_of(pos, ET_HEXA20, {nodes});
        const read_file back = read_as(file_format::femap, written(m, file_format::femap).text);
        expect_same_elements(m, back);
        EXPECT_TRUE(back.report.remarks().empty());
    }
}

TEST(femap_mesh_output, has_no_pyramids) {
    const file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}}),
                                ET_PYRA5, {{0, 1, 2, 3, 4}});
    EXPECT_EQ(written(m, file_format::femap).code, -4);
    const written_mesh file = written_lossy(m, file_format::femap);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"PYRA5: 1 not written: the format has no such element"}));
    EXPECT_EQ(read_as(file_format::femap, file.text).m.pos.cols(), 5U);
}

} // namespace
