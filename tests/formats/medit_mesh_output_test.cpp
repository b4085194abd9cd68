// Meshes written as MEDIT files.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "core/type_table.h"
#include "formats/mesh_files.h"
#include "formats/meshes_for_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(medit_mesh, of_a_square_is_this_text) {
    file_mesh m = mesh_of(points({{0, 0, 0.5}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}),
                          {{ET_TRIA3, {0, 1, 2}}, {ET_TRIA3, {0, 2, 3}}, {ET_BAR2, {3, 0}}});
    const std::string start = "MeshVersionFormatted 2\nDimension 3\n\nVertices\n4\n"
                              "0 0 0.5 0\n1 0 0 0\n1 1 0 0\n0 1 0 0\n";
    const written_mesh file = written(m, file_format::medit);
    EXPECT_EQ(file.code, 0);
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_EQ(file.text, start + "\nTriangles\n2\n1 2 3 1\n1 3 4 1\n\nEdges\n1\n4 1 1\n\nEnd\n");
    m.pids = vector_of<unsigned int>({0, 7, 4000000000});
    EXPECT_EQ(written(m, file_format::medit).text,
              start + "\nTriangles\n2\n1 2 3 0\n1 3 4 7\n\nEdges\n1\n4 1 4000000000\n\nEnd\n");
}

TEST(medit_mesh, a_property_beyond_what_all_programs_read_is_told) {
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}),
                          {{ET_BAR2, {0, 1}}, {ET_BAR2, {1, 2}}, {ET_BAR2, {2, 0}}});
    m.pids = vector_of<unsigned int>({4294967295, 2147483648, 2147483647});
    const written_mesh file = written(m, file_format::medit);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"property of an element: 2 above 2147483647: not all "
                                        "programs read such numbers"}));
    EXPECT_NE(file.text.find("\nEdges\n3\n1 2 4294967295\n2 3 2147483648\n3 1 2147483647\n"),
              std::string::npos);
    const read_file back = read_as(file_format::medit, file.text);
    EXPECT_EQ(list(back.m.pids), list(m.pids));
    EXPECT_TRUE(back.report.remarks().empty());

    // Of an element that is not written nothing is said.
    file_mesh lone = mesh_of(points({{0, 0, 0}, {1, 0, 0}}), {{ET_BAR2, {0, 1}}, {ET_NODE, {0}}});
    lone.pids = vector_of<unsigned int>({1, 4294967295});
    EXPECT_EQ(written_lossy(lone, file_format::medit).sentences().size(), 1U);
}

TEST(medit_mesh, in_2d_has_two_coordinates) {
    const file_mesh m = mesh_of(points({{0, 0}, {1, 0}, {0, 1}}), ET_TRIA3, {{0, 1, 2}});
    const written_mesh file = written(m, file_format::medit);
    EXPECT_EQ(file.text, "MeshVersionFormatted 2\nDimension 2\n\nVertices\n3\n0 0 0\n1 0 0\n0 1 0\n"
                         "\nTriangles\n1\n1 2 3 1\n\nEnd\n");
    EXPECT_TRUE(file.report.remarks().empty());
}

TEST(medit_mesh, a_type_that_comes_back_goes_to_its_section_and_is_told) {
    const file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}),
                                {{ET_TRIA3, {0, 1, 2}}, {ET_BAR2, {0, 1}}, {ET_TRIA3, {2, 1, 0}}});
    const written_mesh file = written(m, file_format::medit);
    EXPECT_EQ(file.code, 0);
    EXPECT_NE(file.text.find("\nTriangles\n2\n1 2 3 1\n3 2 1 1\n\nEdges\n1\n1 2 1\n\nEnd\n"),
              std::string::npos);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "element: 3 written in another order: each type has one section"}));
    EXPECT_FALSE(file.report.has_lost());
}

// Which nodes of an element stand in a line, by the places of their middles in the format: the base
// 0 1 2 of a tetrahedron is counterclockwise seen from node 3.
struct line_of_type {
    element_type type;
    std::string keyword;
    std::string nodes;
};
const std::vector<line_of_type> lines{
    {ET_BAR2, "Edges", "1 2"},
    {ET_BAR3, "EdgesP2", "1 2 3"},
    {ET_TRIA3, "Triangles", "1 2 3"},
    {ET_TRIA6, "TrianglesP2", "1 2 3 6 4 5"}, // 0-1, 1-2, 2-0
    {ET_QUAD4, "Quadrilaterals", "1 2 3 4"},
    {ET_QUAD8, "Quadrilaterals", "1 2 3 4"},
    {ET_QUAD9, "QuadrilateralsQ2", "1 2 3 4 5 6 7 8 9"},
    {ET_TETRA4, "Tetrahedra", "1 2 4 3"},
    // 0-1, 1-3, 3-0, 0-2, 1-2, 3-2 of the element
    {ET_TETRA10, "TetrahedraP2", "1 2 4 3 7 9 8 6 5 10"},
    {ET_PYRA5, "Pyramids", "1 2 3 4 5"},
    {ET_PYRA13, "Pyramids", "1 2 3 4 5"},
    {ET_PYRA14, "Pyramids", "1 2 3 4 5"},
    {ET_PENTA6, "Prisms", "1 2 3 4 5 6"},
    {ET_PENTA15, "Prisms", "1 2 3 4 5 6"},
    {ET_PENTA18, "Prisms", "1 2 3 4 5 6"},
    {ET_HEXA8, "Hexahedra", "1 2 3 4 5 6 7 8"},
    {ET_HEXA20, "Hexahedra", "1 2 3 4 5 6 7 8"},
    {ET_HEXA27, "Hexahedra", "1 2 3 4 5 6 7 8"},
};

TEST(medit_mesh, each_type_has_its_keyword_and_order) {
    for (const line_of_type& line : lines) {
        std::vector<unsigned int> nodes;
        for (unsigned int k = 0; k < nbr_nodes(line.type); ++k) nodes.push_back(k);
        random_source random(12);
        const file_mesh m =
            mesh_of(random_points(random, 3, nodes.size(), 0, 1), line.type, {nodes});
        const written_mesh file = written_lossy(m, file_format::medit);
        EXPECT_NE(file.text.find('\n' + line.keyword + "\n1\n" + line.nodes + " 1\n\nEnd\n"),
                  std::string::npos)
            << line.keyword << '\n'
            << file.text;
        std::istringstream words(line.nodes);
        std::size_t nbr_written = 0;
        for (std::string word; words >> word;) ++nbr_written;
        EXPECT_EQ(file.report.has_lost(), nbr_written != nodes.size());
    }
}

TEST(medit_mesh, nodes_in_no_element_are_left_out) {
    file_mesh m = mesh_of(points({{9, 9, 9}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}}),
                          {{ET_TRIA3, {3, 1, 2}}, {ET_NODE, {0}}});
    EXPECT_EQ(written(m, file_format::medit).code, -4);
    const written_mesh file = written_lossy(m, file_format::medit);
    EXPECT_EQ(file.text, "MeshVersionFormatted 2\nDimension 3\n\nVertices\n3\n0 0 0 0\n1 0 0 0\n"
                         "0 1 0 0\n\nTriangles\n1\n3 1 2 1\n\nEnd\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"NODE: 1 not written: the format has no such element",
                                        "node: 1 not written: in no element that is written"}));
}

// The sections of a file hold the corners of all elements, type by type.
TEST(medit_mesh, random_meshes_are_found_again_in_their_sections) {
    random_source random(13);
    const std::vector<element_type> types{ET_BAR2, ET_TRIA3, ET_QUAD4, ET_PENTA6, ET_HEXA8};
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        file_mesh m = random_mesh(random, types, 8, random.below(12));
        for (std::size_t c = 0; c < m.connect.cols(); ++c) {
            m.pids.push_back(random.id_below(5));
        }
        std::istringstream text(written_lossy(m, file_format::medit).text);
        std::string word;
        std::size_t dim = 0;
        std::size_t n = 0;
        text >> word >> word >> word >> dim >> word >> n;
        EXPECT_EQ(dim, m.pos.rows());
        dense2D<double> pos(dim, n);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < dim; ++r) text >> pos(r, c);
            text >> word;
            EXPECT_EQ(word, "0");
        }
        std::map<std::string, std::vector<std::vector<double>>> found;
        while (text >> word && word != "End") {
            std::size_t size = 0;
            std::string line;
            std::getline(text >> size, line);
            for (std::size_t k = 0; k < size; ++k) {
                std::getline(text, line);
                std::istringstream ids(line);
                std::vector<double> element;
                std::vector<std::size_t> numbers;
                for (std::size_t id = 0; ids >> id;) numbers.push_back(id);
                for (std::size_t i = 0; i + 1 < numbers.size(); ++i) {
                    for (std::size_t r = 0; r < dim; ++r) {
                        element.push_back(pos(r, numbers[i] - 1));
                    }
                }
                element.push_back(static_cast<double>(numbers.back()));
                found[word].push_back(element);
            }
        }
        EXPECT_EQ(word, "End");
        std::map<std::string, std::vector<std::vector<double>>> expected;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            const auto type = static_cast<element_type>(m.types[k]);
            for (const line_of_type& line : lines) {
                if (line.type != type) continue;
                for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                    std::vector<double> element;
                    for (std::size_t i = 0; i < nbr_nodes(type); ++i) {
                        for (std::size_t r = 0; r < dim; ++r) {
                            element.push_back(m.pos(r, m.connect(i, c)));
                        }
                    }
                    element.push_back(m.pids[c]);
                    expected[line.keyword].push_back(element);
                }
            }
        }
        EXPECT_EQ(found, expected);
    }
}

} // namespace
