// MEDIT files read as meshes with a report.
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/mesh_files.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;

read_file read(const std::string& contents) { return read_as(file_format::medit, contents); }

const std::string start = "MeshVersionFormatted 2\nDimension 3\n";
const std::string four_nodes = "Vertices\n4\n0 0 0 0\n1 0 0 0\n0 1 0 0\n0 0 1 0\n";

TEST(medit_mesh, reads_nodes_and_elements_in_the_order_of_the_file) {
    const read_file file = read(start + four_nodes +
                                "Triangles\n2\n1 2 3 7\n2 3 4 0\nTetrahedra\n1\n1 2 3 4 5\n"
                                "Edges\n1\n4 1 4294967294\nEnd\n");
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(list(file.m.pos),
              (std::vector<std::vector<double>>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
    EXPECT_EQ(elements_of(file.m), (std::vector<plain_element>{{ET_TRIA3, {0, 1, 2}, 7},
                                                               {ET_TRIA3, {1, 2, 3}, 0},
                                                               {ET_TETRA4, {0, 1, 3, 2}, 5},
                                                               {ET_BAR2, {3, 0}, 4294967294}}));
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(file.counts(), "MeshVersionFormatted 1/1, Dimension 1/1, Vertices 4/4, "
                             "Triangles 2/2, Tetrahedra 1/1, Edges 1/1, End 1/1");
    EXPECT_TRUE(file.m.node_numbers.empty() && file.m.fields.empty());
}

TEST(medit_mesh, nodes_of_fewer_dimensions_lie_at_0) {
    const read_file flat = read("MeshVersionFormatted 1 Dimension 2 Vertices 1 3.5 4D1 0 End");
    EXPECT_EQ(list(flat.m.pos), (std::vector<std::vector<double>>{{3.5, 40, 0}}));
    const read_file line = read("MeshVersionFormatted 1 Dimension 1 Vertices 1 +3.5e-1 0 End");
    EXPECT_EQ(list(line.m.pos), (std::vector<std::vector<double>>{{0.35, 0, 0}}));
    EXPECT_EQ(read(start + "Vertices 0 End").code, 0);
}

TEST(medit_mesh, comments_and_the_case_of_keywords_do_not_count) {
    const read_file file =
        read("\xEF\xBB\xBF# a file\nmeshversionformatted 2 # 3\n#\nDIMENSION\n\n3\n"
             "vertices 1 #x\n1 2 #3 4\n3 0\nEND #\n# Triangles\n");
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(list(file.m.pos), (std::vector<std::vector<double>>{{1, 2, 3}}));
    EXPECT_EQ(file.sentences(), strings());
}

TEST(medit_mesh, other_sections_are_passed_over_and_told) {
    const read_file file =
        read(start + four_nodes +
             "Corners\n2\n1\n2\nRidges 0\nNormals\n2\n0 0 1\n0 1 0\nNormalAtVertices 2\n1 1\n2 2\n"
             "AngleOfCornerBound 40.5\nLevel 3\nGeometry \"a file 3.mesh\"\nRequired 9\n1 2\n"
             "Triangles 1\n1 2 3 0\nCorners 1 3\nBare\nEnd\n");
    EXPECT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(elements_of(file.m).size(), 1U);
    EXPECT_EQ(file.sentences(),
              (strings{"Corners: 3 left out, first in line 9: no part of a mesh",
                       "Normals: 2 left out, first in line 14: no part of a mesh",
                       "NormalAtVertices: 2 left out, first in line 18: no part of a mesh",
                       "AngleOfCornerBound: 1 left out, in line 21: no part of a mesh",
                       "Level: 1 left out, in line 22: no part of a mesh",
                       "Geometry: 1 left out, in line 23: no part of a mesh",
                       "Required: 2 left out, first in line 24: no part of a mesh",
                       "Bare: 1 left out, in line 29: no part of a mesh"}));
    EXPECT_EQ(file.counts(),
              "MeshVersionFormatted 1/1, Dimension 1/1, Vertices 4/4, Corners 3/0, Normals 2/0, "
              "NormalAtVertices 2/0, AngleOfCornerBound 1/0, Level 1/0, Geometry 1/0, "
              "Required 2/0, Triangles 1/1, Bare 1/0, End 1/1");
}

TEST(medit_mesh, references_that_are_no_properties_are_told) {
    const read_file file = read(start + "Vertices 3\n0 0 0 1\n1 0 0 0\n0 1 0 -1\n"
                                        "Triangles 4 1 2 3 -4\n1 3 2 4294967296\n1 2 3 1\n"
                                        "2 3 1 4294967295\nEnd");
    EXPECT_EQ(list(file.m.pids), (std::vector<unsigned int>{0, 0, 1, 4294967295}));
    EXPECT_EQ(file.sentences(),
              (strings{"Vertices: 2 references left out, first in line 4: a node has no property",
                       "Triangles: 2 references read as 0, first in line 7: a property is a number "
                       "from 0 to 4294967295"}));
}

TEST(medit_mesh, hexahedra_that_stand_for_pyramids_and_wedges_are_told) {
    std::string nodes = "Vertices 8\n";
    for (int k = 0; k < 8; ++k) nodes += std::to_string(k) + " 0 0 0\n";
    const read_file file = read(start + nodes +
                                "Hexahedra 4\n1 2 3 4 5 6 7 8 1\n1 2 3 4 5 5 5 5 2\n"
                                "1 2 3 3 4 5 6 6 3\n1 2 3 4 5 6 6 6 4\nHexaedra 1\n"
                                "8 7 6 5 4 3 2 1 5\nPrisms 1 1 2 3 4 5 6 7 Pyramids 1 1 2 3 4 5 6 "
                                "Pentahedra 1 1 2 3 4 5 6 8 Quadrilaterals 1 1 2 3 4 9 End\n");
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{{ET_HEXA8, {0, 1, 2, 3, 4, 5, 6, 7}, 1},
                                          {ET_PYRA5, {0, 1, 2, 3, 4}, 2},
                                          {ET_PENTA6, {0, 1, 2, 3, 4, 5}, 3},
                                          {ET_HEXA8, {0, 1, 2, 3, 4, 5, 5, 5}, 4},
                                          {ET_HEXA8, {7, 6, 5, 4, 3, 2, 1, 0}, 5},
                                          {ET_PENTA6, {0, 1, 2, 3, 4, 5}, 7},
                                          {ET_PYRA5, {0, 1, 2, 3, 4}, 6},
                                          {ET_PENTA6, {0, 1, 2, 3, 4, 5}, 8},
                                          {ET_QUAD4, {0, 1, 2, 3}, 9}}));
    EXPECT_EQ(file.sentences(),
              (strings{"Hexahedra: 1 read as pyramid, in line 14: four nodes are one",
                       "Hexahedra: 1 read as wedge, in line 15: two edges have one node each"}));
}

// The nodes of an element in the format's order: corners, then points between them.
std::string quadratic_file(const std::string& keyword,
                           const std::vector<std::array<double, 3>>& corners,
                           const std::vector<std::vector<std::size_t>>& others) {
    std::vector<std::array<double, 3>> nodes = corners;
    for (const std::vector<std::size_t>& around : others) {
        std::vector<std::array<double, 3>> points;
        for (const std::size_t k : around) points.push_back(corners[k]);
        nodes.push_back(middle(points));
    }
    std::ostringstream text;
    text.precision(17);
    text << start << "Vertices " << nodes.size() << '\n';
    for (const auto& p : nodes) text << p[0] << ' ' << p[1] << ' ' << p[2] << " 0\n";
    text << keyword << " 1\n";
    for (std::size_t k = 1; k <= nodes.size(); ++k) text << k << ' ';
    text << "0\nEnd\n";
    return text.str();
}

TEST(medit_mesh, nodes_of_quadratic_elements_lie_on_their_edges) {
    auto tetrahedron = shape_corners(ET_TETRA4);
    std::swap(tetrahedron[2], tetrahedron[3]); // counterclockwise seen from the last
    struct quadratic {
        element_type type;
        std::string text;
    };
    const quadratic cases[] = {
        {ET_BAR3, quadratic_file("EdgesP2", shape_corners(ET_BAR2), {{0, 1}})},
        {ET_TRIA6,
         quadratic_file("TrianglesP2", shape_corners(ET_TRIA3), {{0, 1}, {1, 2}, {2, 0}})},
        {ET_QUAD9, quadratic_file("QuadrilateralsQ2", shape_corners(ET_QUAD4),
                                  {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 1, 2, 3}})},
        {ET_TETRA4, quadratic_file("Tetrahedra", tetrahedron, {})},
        {ET_TETRA10, quadratic_file("TetrahedraP2", tetrahedron,
                                    {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}})},
    };
    for (const quadratic& c : cases) {
        const read_file file = read(c.text);
        ASSERT_EQ(list(file.m.types), (std::vector<int>{c.type})) << file.error();
        expect_in_place(file.m, 0, c.type);
        EXPECT_EQ(file.sentences(), strings());
    }
}

TEST(medit_mesh, quadratic_elements_whose_order_is_not_known_are_linear) {
    const std::vector<std::pair<std::string, std::pair<element_type, std::size_t>>> cases = {
        {"PyramidsP2", {ET_PYRA5, 14}},
        {"PrismsP2", {ET_PENTA6, 18}},
        {"HexahedraQ2", {ET_HEXA8, 27}}};
    for (const auto& [keyword, what] : cases) {
        const auto corners = shape_corners(what.first);
        const std::vector<std::vector<std::size_t>> others(what.second - corners.size(), {0, 1});
        const read_file file = read(quadratic_file(keyword, corners, others));
        ASSERT_EQ(list(file.m.types), (std::vector<int>{what.first}));
        expect_in_place(file.m, 0, what.first);
        const std::string line = std::to_string(what.second + 5);
        EXPECT_EQ(file.sentences(), (strings{keyword + ": 1 read as linear, in line " + line +
                                             ": the order of further nodes is not known"}));
    }
}

TEST(medit_mesh, faults_have_their_place_and_say_what_was_expected) {
    const auto error = [](const std::string& text) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, -102) << text;
        return file.error();
    };
    EXPECT_EQ(error(""), "line 1, column 1: MeshVersionFormatted is expected, and the file ends");
    EXPECT_EQ(error("solid"), "line 1, column 1: MeshVersionFormatted is expected");
    EXPECT_EQ(error("MeshVersionFormatted 5"),
              "line 1, column 22: a version from 1 to 4 is expected");
    EXPECT_EQ(error("MeshVersionFormatted 1\nDimension 4"),
              "line 2, column 11: a dimension from 1 to 3 is expected");
    EXPECT_EQ(error("MeshVersionFormatted 1\nDimension"),
              "line 2, column 10: a dimension from 1 to 3 is expected, and the file ends");
    EXPECT_EQ(error("MeshVersionFormatted 1\nVertices 1\n0 0 0"),
              "line 2, column 1: Dimension is expected ahead of Vertices");
    EXPECT_EQ(error(start + "Vertices\nx"), "line 4, column 1: a count is expected");
    EXPECT_EQ(error(start + "Vertices\n-1"), "line 4, column 1: a count is expected");
    EXPECT_EQ(error(start + "Vertices 1\n1 nan 1 0"), "line 4, column 3: a number is expected");
    EXPECT_EQ(error(start + "Vertices 1\n1 1e999 1 0"), "line 4, column 3: a number is expected");
    EXPECT_EQ(error(start + "Vertices 1\n1 1 1 0.5"), "line 4, column 7: an integer is expected");
    EXPECT_EQ(error(start + "Vertices 18446744073709551615\n1 1 1 0\nEnd"),
              "line 5, column 1: a number is expected");
    EXPECT_EQ(error(start + four_nodes + "1"), "line 9, column 1: a keyword is expected");
    EXPECT_EQ(error(start + four_nodes + four_nodes),
              "line 9, column 1: Vertices stand in the file already");
    EXPECT_EQ(error(start + four_nodes + "Triangles 1\n1 2 5 0"),
              "line 10, column 5: a node from 1 to 4 is expected");
    EXPECT_EQ(error(start + four_nodes + "Triangles 1\n1 0"),
              "line 10, column 3: a node from 1 to 4 is expected");
    EXPECT_EQ(error(start + four_nodes + "Triangles 1\n1 2 3\nEnd"),
              "line 11, column 1: an integer is expected");
    EXPECT_EQ(error(start + "Triangles 1\n1 0"),
              "line 4, column 3: the number of a node is expected");
    EXPECT_EQ(error(start + "Triangles 2\n1 2 3 0\n1 2 5 0\n" + four_nodes),
              "line 3: a node of element 2 of this section is not there");
    EXPECT_EQ(error(start + four_nodes + "TrianglesP2Ordering 6\n"),
              "line 9, column 1: elements with nodes in an order of their own are not read");
    EXPECT_EQ(error(start + "End"), "Vertices are expected");
}

TEST(medit_mesh, elements_may_stand_ahead_of_their_nodes) {
    const read_file file =
        read(start + "Triangles 1\n1 2 3 0\nEdges 1\n1 4 0\n" + four_nodes + "Edges 1 1 2 0 End");
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{
                  {ET_TRIA3, {0, 1, 2}, 0}, {ET_BAR2, {0, 3}, 0}, {ET_BAR2, {0, 1}, 0}}));
}

TEST(medit_mesh, the_end_is_told_if_it_is_missing_or_followed) {
    EXPECT_EQ(read(start + four_nodes).sentences(),
              (strings{"End: 1 missing: the file may have been cut off"}));
    EXPECT_EQ(read(start + four_nodes + "End\nEdges 1\n").sentences(),
              (strings{"words: 2 follow End and are not read, first in line 10"}));
    EXPECT_EQ(read(start + four_nodes + "End\nEdges\n").sentences(),
              (strings{"words: 1 follows End and is not read, in line 10"}));
}

// What we write comes back, but for what the format has no section for.
TEST(medit_mesh, reads_what_medit_output_writes) {
    const element_type types[] = {ET_BAR2,   ET_BAR3,   ET_TRIA3,   ET_TRIA6,   ET_QUAD4,
                                  ET_QUAD8,  ET_QUAD9,  ET_TETRA4,  ET_TETRA10, ET_PYRA5,
                                  ET_PYRA14, ET_PENTA6, ET_PENTA18, ET_HEXA8,   ET_HEXA20};
    dense2D<double> pos(3, 30);
    for (std::size_t c = 0; c < 30; ++c) {
        for (std::size_t r = 0; r < 3; ++r) pos(r, c) = static_cast<double>(3 * c + r);
    }
    for (const element_type type : types) {
        dense2D<unsigned int> connect(nbr_nodes(type), 2);
        for (unsigned int r = 0; r < connect.rows(); ++r) {
            connect(r, 0) = r;
            connect(r, 1) = 29 - r;
        }
        const scratch_stream stream;
        ASSERT_EQ(medit_output(stream.get(), pos, connect, type, dense1D<unsigned int>(2, 3U)), 0);
        const read_file file = read(stream.contents());
        ASSERT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(list(file.m.pos), list(pos));
        const element_type linear = linear_type(type);
        std::vector<plain_element> wanted;
        for (std::size_t c = 0; c < 2; ++c) {
            const unsigned int* const nodes = connect.column(c);
            wanted.push_back({linear, {nodes, nodes + nbr_nodes(linear)}, 3});
        }
        EXPECT_EQ(elements_of(file.m), wanted);
    }
}

// --- random files and a plain reader of them ---

struct section_kind {
    std::string keyword;
    element_type type;
    std::vector<std::size_t> order; // where each node stands in the file
};

const std::vector<section_kind> kinds = {
    {"Edges", ET_BAR2, {0, 1}},
    {"Triangles", ET_TRIA3, {0, 1, 2}},
    {"Quadrilaterals", ET_QUAD4, {0, 1, 2, 3}},
    {"Tetrahedra", ET_TETRA4, {0, 1, 3, 2}},
    {"Prisms", ET_PENTA6, {0, 1, 2, 3, 4, 5}},
    {"Pyramids", ET_PYRA5, {0, 1, 2, 3, 4}},
    {"EdgesP2", ET_BAR3, {0, 1, 2}},
    {"TrianglesP2", ET_TRIA6, {0, 1, 2, 4, 5, 3}},
    {"TetrahedraP2", ET_TETRA10, {0, 1, 3, 2, 8, 7, 4, 6, 5, 9}},
};

struct plain_mesh {
    std::vector<std::vector<double>> pos;
    std::vector<plain_element> elements;
};

// Reads by lines without comments, then by `>>`, and looks nothing up but keywords.
plain_mesh plain_read(const std::string& text) {
    std::string bare;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) bare += line.substr(0, line.find('#')) + ' ';
    std::istringstream in(bare);
    plain_mesh result;
    std::size_t dim = 0;
    for (std::string word; in >> word && word != "End";) {
        if (word == "Dimension") {
            in >> dim;
        } else if (word == "Vertices") {
            std::size_t n = 0;
            in >> n;
            for (std::size_t k = 0; k < n; ++k) {
                std::vector<double> x(3, 0.0);
                for (std::size_t r = 0; r < dim; ++r) in >> x[r];
                int reference = 0;
                in >> reference;
                result.pos.push_back(x);
            }
        } else {
            for (const section_kind& kind : kinds) {
                if (kind.keyword != word) continue;
                std::size_t n = 0;
                in >> n;
                for (std::size_t k = 0; k < n; ++k) {
                    std::vector<unsigned int> nodes(kind.order.size());
                    plain_element e{kind.type, {}, 0};
                    for (unsigned int& node : nodes) in >> node;
                    for (const std::size_t place : kind.order) e.nodes.push_back(nodes[place] - 1);
                    in >> e.pid;
                    result.elements.push_back(e);
                }
            }
        }
    }
    return result;
}

std::string random_file(random_source& random) {
    const auto blank = [&]() -> std::string {
        const std::size_t k = random.below(8);
        if (k == 0) return "\n";
        if (k == 1) return " \t";
        if (k == 2) return " # 3 Triangles\n\n";
        return k == 3 ? "\r\n" : " ";
    };
    std::ostringstream text;
    text.precision(17);
    const std::size_t dim = random.between(2, 3);
    const std::size_t nbr_nodes = random.between(1, 30);
    text << "MeshVersionFormatted" << blank() << random.between(1, 2) << blank() << "Dimension"
         << blank() << dim << '\n';
    const auto put_nodes = [&] {
        text << "Vertices" << blank() << nbr_nodes << blank();
        for (std::size_t k = 0; k < nbr_nodes; ++k) {
            for (std::size_t r = 0; r < dim; ++r) {
                text << (random.one_in(3) ? random.uniform(-1e3, 1e3)
                                          : static_cast<double>(random.below(9)))
                     << blank();
            }
            text << random.below(3) << blank();
        }
    };
    const std::size_t nbr_sections = random.below(6);
    const std::size_t place_of_nodes = random.one_in(3) ? random.below(nbr_sections + 1) : 0;
    for (std::size_t s = 0; s <= nbr_sections; ++s) {
        if (s == place_of_nodes) put_nodes();
        if (s == nbr_sections) break;
        if (random.one_in(4)) {
            const std::size_t n = random.below(4);
            text << "RequiredVertices" << blank() << n << blank();
            for (std::size_t k = 0; k < n; ++k) text << random.below(9) << blank();
            continue;
        }
        const section_kind& kind = random.one_of(kinds);
        const std::size_t n = random.below(5);
        text << kind.keyword << blank() << n << blank();
        for (std::size_t k = 0; k < n * kind.order.size(); ++k) {
            text << 1 + random.below(nbr_nodes) << blank();
            if ((k + 1) % kind.order.size() == 0) text << random.below(100) << blank();
        }
    }
    text << (random.one_in(4) ? "" : "End\n");
    return text.str();
}

TEST(medit_mesh, equals_what_a_plain_reader_finds) {
    random_source random(31);
    std::size_t nbr_elements = 0;
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        const std::string text = random_file(random);
        const read_file file = read(text);
        const plain_mesh plain = plain_read(text);
        ASSERT_EQ(file.code, 0) << file.error() << '\n' << text;
        ASSERT_EQ(list(file.m.pos), plain.pos) << text;
        ASSERT_EQ(elements_of(file.m), plain.elements) << text;
        nbr_elements += plain.elements.size();
    }
    EXPECT_GT(nbr_elements, 1000U);
}

TEST(medit_mesh, cut_off_at_every_byte_is_a_fault_or_a_shorter_file) {
    random_source random(37);
    for (int k = 0; k < 20; ++k) {
        const std::string text = random_file(random);
        const plain_mesh whole = plain_read(text);
        expect_no_more_if_cut(file_format::medit, text, whole.pos.size(), whole.elements.size());
    }
}

TEST(medit_mesh, changed_bytes_give_a_mesh_or_a_fault) {
    random_source random(41);
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        read_changed(file_format::medit, random_file(random), random);
    }
}

TEST(medit_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    EXPECT_GT(
        read_failing(file_format::medit, start + "Edges 1\n1 4 -1\n" + four_nodes +
                                             "Triangles 2 1 2 3 0 1 2 3 1 Tetrahedra 1 1 2 3 4 0 "
                                             "RequiredVerticesOfALongName 1 2 End more words"),
        20U);
}

} // namespace
