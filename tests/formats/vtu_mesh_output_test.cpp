// Meshes written as VTU files.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "core/type_table.h"
#include "formats/meshes_for_files.h"
#include "formats/plain_vtu.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"
#include "tessmaker/quality.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using numbers = std::vector<double>;

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{0, 1, 2}});
}

TEST(vtu_mesh, of_a_triangle_has_these_bytes) {
    std::string expected =
        "<?xml version=\"1.0\"?>\n"
        "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" "
        "header_type=\"UInt64\">\n"
        "<UnstructuredGrid>\n"
        "<Piece NumberOfPoints=\"3\" NumberOfCells=\"1\">\n"
        "<PointData>\n"
        "</PointData>\n"
        "<CellData>\n"
        "</CellData>\n"
        "<Points>\n"
        "<DataArray type=\"Float64\" Name=\"Points\" NumberOfComponents=\"3\" format=\"appended\" "
        "offset=\"0\"/>\n"
        "</Points>\n"
        "<Cells>\n"
        "<DataArray type=\"Int64\" Name=\"connectivity\" NumberOfComponents=\"1\" "
        "format=\"appended\" offset=\"80\"/>\n"
        "<DataArray type=\"Int64\" Name=\"offsets\" NumberOfComponents=\"1\" format=\"appended\" "
        "offset=\"112\"/>\n"
        "<DataArray type=\"UInt8\" Name=\"types\" NumberOfComponents=\"1\" format=\"appended\" "
        "offset=\"128\"/>\n"
        "</Cells>\n"
        "</Piece>\n"
        "</UnstructuredGrid>\n"
        "<AppendedData encoding=\"raw\">\n"
        "_";
    append_bytes(expected, std::uint64_t{72});
    for (const double x : {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0}) append_bytes(expected, x);
    append_bytes(expected, std::uint64_t{24});
    for (const std::int64_t node : {0, 1, 2}) append_bytes(expected, node);
    append_bytes(expected, std::uint64_t{8});
    append_bytes(expected, std::int64_t{3});
    append_bytes(expected, std::uint64_t{1});
    append_bytes(expected, std::uint8_t{5});
    expected += "\n</AppendedData>\n</VTKFile>\n";
    const written_mesh file = written(triangle(), file_format::vtu);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, expected);
    EXPECT_TRUE(file.report.remarks().empty());
}

// Nodes of cells as VTK defines them: each by the corners in whose middle it lies.
using corner_lists = std::vector<std::vector<std::size_t>>;
struct cell_definition {
    element_type type;
    double cell_type;
    std::size_t nbr_corners;
    corner_lists others;
};
const corner_lists tetra_middles{{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
const corner_lists pyramid_middles{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}};
const corner_lists wedge_middles{{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5},
                                 {5, 3}, {0, 3}, {1, 4}, {2, 5}};
const corner_lists hexahedron_middles{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                      {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
corner_lists joined(corner_lists first, const corner_lists& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}
const std::vector<cell_definition> cells{
    {ET_NODE, 1, 1, {}},
    {ET_BAR2, 3, 2, {}},
    {ET_BAR3, 21, 2, {{0, 1}}},
    {ET_TRIA3, 5, 3, {}},
    {ET_QUAD4, 9, 4, {}},
    {ET_TRIA6, 22, 3, {{0, 1}, {1, 2}, {2, 0}}},
    {ET_QUAD8, 23, 4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}},
    {ET_QUAD9, 28, 4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 1, 2, 3}}},
    {ET_TETRA4, 10, 4, {}},
    {ET_TETRA10, 24, 4, tetra_middles},
    {ET_PYRA5, 14, 5, {}},
    {ET_PYRA13, 27, 5, pyramid_middles},
    {ET_PYRA14, 27, 5, pyramid_middles},
    {ET_PENTA6, 13, 6, {}},
    {ET_PENTA15, 26, 6, wedge_middles},
    {ET_PENTA18, 32, 6, joined(wedge_middles, {{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}})},
    {ET_HEXA8, 12, 8, {}},
    {ET_HEXA20, 25, 8, hexahedron_middles},
    {ET_HEXA27, 29, 8,
     joined(hexahedron_middles, {{0, 4, 7, 3},
                                 {1, 2, 6, 5},
                                 {0, 1, 5, 4},
                                 {3, 7, 6, 2},
                                 {0, 1, 2, 3},
                                 {4, 5, 6, 7},
                                 {0, 1, 2, 3, 4, 5, 6, 7}})},
};

// The corners of an element that isn't symmetric, with a positive volume where it has one.
dense2D<double> corners_of(element_type type) {
    switch (type) {
    case ET_TETRA4: return points({{0, 0, 0}, {0, 3, 0}, {2, 0, 0}, {0, 0, 1}});
    case ET_PYRA5: return points({{0, 0, 0}, {3, 0, 0}, {2, 1, 0}, {0, 1, 0}, {0, 0, 5}});
    case ET_PENTA6:
        return points({{0, 0, 0}, {3, 0, 0}, {0, 1, 0}, {0, 0, 5}, {2, 0, 5}, {0, 2, 5}});
    default:
        return points({{0, 0, 0},
                       {3, 0, 0},
                       {2, 1, 0},
                       {0, 1, 0},
                       {0, 0, 5},
                       {3, 0, 4},
                       {3, 1, 4},
                       {0, 1, 7}});
    }
}

numbers middle(const std::vector<numbers>& corners, const std::vector<std::size_t>& which) {
    numbers sum(3, 0.0);
    for (const std::size_t k : which) {
        for (std::size_t i = 0; i < 3; ++i) sum[i] += corners[k][i];
    }
    for (double& x : sum) x /= static_cast<double>(which.size());
    return sum;
}

// The corners around the nodes that lie neither on corners nor on edges, as element_type.h orders
// them.
corner_lists inner_nodes(element_type type) {
    switch (type) {
    case ET_QUAD9:
    case ET_PYRA14: return {{0, 1, 2, 3}};
    case ET_PENTA18: return {{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}};
    case ET_HEXA27:
        return {{0, 3, 7, 4},
                {1, 2, 6, 5},
                {0, 1, 5, 4},
                {3, 2, 6, 7},
                {0, 1, 2, 3},
                {4, 5, 6, 7},
                {0, 1, 2, 3, 4, 5, 6, 7}};
    default: return {};
    }
}

std::vector<numbers> nodes_of(element_type type) {
    const element_shape& shape = shape_of(type);
    std::vector<numbers> nodes = list(corners_of(shape.linear));
    nodes.resize(shape.nbr_base_nodes);
    corner_lists others;
    for (const added_node& node : shape.added) {
        if (node.on == added_node::place::edge) others.push_back({node.a, node.b});
    }
    const std::vector<numbers> corners = nodes;
    for (const auto& which : joined(others, inner_nodes(type))) {
        nodes.push_back(middle(corners, which));
    }
    EXPECT_EQ(nodes.size(), shape.nbr_nodes);
    return nodes;
}

double volume(const numbers& a, const numbers& b, const numbers& c, const numbers& d) {
    double u[3];
    double v[3];
    double w[3];
    for (std::size_t i = 0; i < 3; ++i) {
        u[i] = b[i] - a[i];
        v[i] = c[i] - a[i];
        w[i] = d[i] - a[i];
    }
    return (u[1] * v[2] - u[2] * v[1]) * w[0] + (u[2] * v[0] - u[0] * v[2]) * w[1] +
           (u[0] * v[1] - u[1] * v[0]) * w[2];
}

// Whether a solid is turned as VTK wants it.
bool is_turned_well(element_type linear, const std::vector<numbers>& p) {
    switch (linear) {
    case ET_TETRA4: return volume(p[0], p[1], p[2], p[3]) > 0;
    case ET_PYRA5:
    case ET_HEXA8: return volume(p[0], p[1], p[3], p[4]) > 0;
    case ET_PENTA6: return volume(p[0], p[1], p[2], p[3]) < 0; // 0 1 2 faces out
    default: return true;
    }
}

TEST(vtu_mesh, cells_have_the_nodes_and_the_sense_that_vtk_gives_them) {
    for (const cell_definition& cell : cells) {
        SCOPED_TRACE(cell.type);
        const std::vector<numbers> nodes = nodes_of(cell.type);
        file_mesh m;
        std::vector<unsigned int> ids;
        dense2D<double> pos(3, nodes.size());
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            // IDs that are not their places.
            const auto id = static_cast<unsigned int>((k + 1) % nodes.size());
            ids.push_back(id);
            for (std::size_t i = 0; i < 3; ++i) pos(i, id) = nodes[k][i];
        }
        m = mesh_of(pos, cell.type, {ids});
        const element_type linear = linear_type(cell.type);
        if (element_dim(linear) == 3) {
            dense1D<double> determinants;
            const dense2D<unsigned int> corners = m.connect.sub_matrix(0, 0, nbr_nodes(linear), 1);
            EXPECT_EQ(jacobians(pos, corners, linear, determinants), 0);
            EXPECT_GT(determinants[0], 0.0);
        }
        const vtu_file file(written_lossy(m, file_format::vtu).text);
        EXPECT_EQ(file.values("Cells/types"), numbers{cell.cell_type});
        const numbers& connected = file.values("Cells/connectivity");
        ASSERT_EQ(connected.size(), cell.nbr_corners + cell.others.size());
        EXPECT_EQ(file.values("Cells/offsets"), numbers{static_cast<double>(connected.size())});
        std::vector<numbers> found;
        for (const double id : connected) {
            const auto c = static_cast<std::size_t>(id);
            found.push_back({pos(0, c), pos(1, c), pos(2, c)});
        }
        EXPECT_TRUE(is_turned_well(linear, found));
        for (std::size_t k = 0; k < cell.others.size(); ++k) {
            EXPECT_EQ(found[cell.nbr_corners + k], middle(found, cell.others[k])) << k;
        }
    }
}

TEST(vtu_mesh, a_pyramid_of_14_nodes_is_written_by_13_and_told) {
    std::vector<unsigned int> nodes;
    for (unsigned int k = 0; k < 14; ++k) nodes.push_back(k);
    random_source random(9);
    const file_mesh m = mesh_of(random_points(random, 3, 14, 0, 1), ET_PYRA14, {nodes, nodes});
    EXPECT_EQ(written(m, file_format::vtu).code, -4);
    const written_mesh file = written_lossy(m, file_format::vtu);
    EXPECT_EQ(file.sentences(), (std::vector<std::string>{
                                    "PYRA14: 2 written without some of their nodes: as PYRA13"}));
    EXPECT_EQ(vtu_file(file.text).values("Points/Points").size(), 42U); // the node stays
}

TEST(vtu_mesh, runs_of_several_types_are_written_in_their_order) {
    random_source random(10);
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        std::vector<element_type> types;
        for (const cell_definition& cell : cells) {
            if (cell.type != ET_PYRA14) types.push_back(cell.type);
        }
        const std::size_t n = random.between(1, 30);
        const file_mesh m = random_mesh(random, types, n, random.below(20));
        const written_mesh text = written(m, file_format::vtu);
        EXPECT_EQ(text.code, 0);
        const vtu_file file(text.text);
        EXPECT_EQ(file.nbr_points(), n);
        EXPECT_EQ(file.nbr_cells(), m.connect.cols());
        numbers expected_types;
        numbers offsets;
        double end = 0;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                for (const cell_definition& cell : cells) {
                    if (cell.type == m.types[k]) expected_types.push_back(cell.cell_type);
                }
                end += nbr_nodes(static_cast<element_type>(m.types[k]));
                offsets.push_back(end);
            }
        }
        EXPECT_EQ(file.values("Cells/types"), expected_types);
        EXPECT_EQ(file.values("Cells/offsets"), offsets);
        numbers coordinates;
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t i = 0; i < 3; ++i) {
                coordinates.push_back(i < m.pos.rows() ? m.pos(i, c) : 0.0);
            }
        }
        EXPECT_EQ(file.values("Points/Points"), coordinates);
    }
}

TEST(vtu_mesh, fields_stand_at_nodes_and_elements) {
    file_mesh m = triangle();
    const double smallest = std::numeric_limits<double>::denorm_min();
    const double no_bound = std::numeric_limits<double>::infinity();
    m.fields = {{"T", field_place::nodes, columns<double>({{0.1}, {smallest}, {-no_bound}})},
                {"u", field_place::nodes, columns<double>({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}})},
                {"two", field_place::elements, columns<double>({{1, 2}})},
                {"s", field_place::elements, columns<double>({{1, 2, 3, 4, 5, 6}})}};
    const written_mesh text = written(m, file_format::vtu);
    EXPECT_EQ(text.code, 0);
    EXPECT_TRUE(text.report.remarks().empty());
    const vtu_file file(text.text);
    EXPECT_EQ(file.nbr_arrays(), 8U);
    EXPECT_EQ(file.values("PointData/T"), (numbers{0.1, smallest, -no_bound}));
    EXPECT_EQ(file.array("PointData/u").nbr_components, 3U);
    EXPECT_EQ(file.values("PointData/u"), (numbers{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(file.values("CellData/two"), (numbers{1, 2}));
    // xx, xy, yy, xz, yz, zz, written row by row.
    EXPECT_EQ(file.array("CellData/s").nbr_components, 9U);
    EXPECT_EQ(file.values("CellData/s"), (numbers{1, 2, 4, 2, 3, 5, 4, 5, 6}));
}

TEST(vtu_mesh, vectors_and_tensors_in_2d_are_filled_up) {
    file_mesh m = mesh_of(points({{0, 0}, {1, 0}, {0, 1}}), ET_TRIA3, {{0, 1, 2}});
    m.fields = {{"u", field_place::elements, columns<double>({{1, 2}})},
                {"s", field_place::elements, columns<double>({{1, 2, 3}})},
                {"six", field_place::elements, columns<double>({{1, 2, 3, 4, 5, 6}})}};
    const written_mesh text = written(m, file_format::vtu);
    EXPECT_EQ(text.code, 0);
    EXPECT_EQ(text.sentences(),
              (std::vector<std::string>{
                  "node: 3 written with a third coordinate of 0",
                  "field: 2 written with further components of 0: the mesh is in 2D"}));
    const vtu_file file(text.text);
    EXPECT_EQ(file.values("CellData/u"), (numbers{1, 2, 0}));
    EXPECT_EQ(file.values("CellData/s"), (numbers{1, 2, 0, 2, 3, 0, 0, 0, 0}));
    EXPECT_EQ(file.values("CellData/six"), (numbers{1, 2, 3, 4, 5, 6}));
}

TEST(vtu_mesh, numbers_and_properties_are_arrays) {
    file_mesh m = triangle();
    m.node_numbers = vector_of<unsigned int>({1, 2, 4000000000});
    m.element_numbers = vector_of<unsigned int>({7});
    m.pids = vector_of<unsigned int>({0});
    m.fields = {{"property", field_place::elements, dense2D<double>(1, 1, 0.5)},
                {"property", field_place::nodes, dense2D<double>(1, 3, 0.5)}};
    const written_mesh text = written(m, file_format::vtu);
    EXPECT_EQ(text.code, 0);
    const vtu_file file(text.text);
    EXPECT_EQ(file.array("PointData/node_number").type, "UInt32");
    EXPECT_EQ(file.values("PointData/node_number"), (numbers{1, 2, 4000000000}));
    EXPECT_EQ(file.values("CellData/element_number"), numbers{7});
    EXPECT_EQ(file.values("CellData/property"), numbers{0});
    EXPECT_EQ(file.values("CellData/property 2"), numbers{0.5});
    EXPECT_EQ(file.values("PointData/property"), (numbers{0.5, 0.5, 0.5}));
    EXPECT_EQ(text.sentences(),
              (std::vector<std::string>{"field: 1 renamed: names are of UTF-8 and differ"}));
}

TEST(vtu_mesh, names_are_escaped_and_made_of_characters_of_xml) {
    const auto name_of = [](const std::string& name) {
        file_mesh m = triangle();
        m.fields = {{name, field_place::elements, dense2D<double>(1, 1, 0.5)}};
        const written_mesh text = written(m, file_format::vtu);
        EXPECT_EQ(text.code, 0);
        const std::string start = "<CellData>\n<DataArray type=\"Float64\" Name=\"";
        const std::size_t begin = text.text.find(start) + start.size();
        const std::string found = text.text.substr(begin, text.text.find('"', begin) - begin);
        return found + (text.report.remarks().empty() ? "" : " renamed");
    };
    EXPECT_EQ(name_of("a<b & \"c\" > 'd'"), "a&lt;b &amp; &quot;c&quot; &gt; 'd'");
    EXPECT_EQ(name_of("\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80"),
              "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(name_of(""), "field renamed");
    EXPECT_EQ(name_of("a\tb\n\x7F"), "a?b?? renamed");
    EXPECT_EQ(name_of(std::string("a\0b", 3)), "a?b renamed");
    EXPECT_EQ(name_of("\xFC"), "? renamed");      // no UTF-8
    EXPECT_EQ(name_of("\xC0\x80"), "?? renamed"); // longer than need be
    EXPECT_EQ(name_of("\xE0\x80\x80"), "??? renamed");
    EXPECT_EQ(name_of("\xED\xA0\x80"), "??? renamed");      // half of a pair
    EXPECT_EQ(name_of("\xEF\xBF\xBF"), "??? renamed");      // no character
    EXPECT_EQ(name_of("\xF4\x90\x80\x80"), "???? renamed"); // beyond the last
    EXPECT_EQ(name_of("\xE2\x82"), "?? renamed");           // cut off
    EXPECT_EQ(name_of("\xE2\x82x"), "??x renamed");
}

TEST(vtu_mesh, fields_of_one_name_get_two) {
    file_mesh m = triangle();
    for (const char* const name : {"a", "a 2", "a", "", ""}) {
        m.fields.push_back({name, field_place::elements, dense2D<double>(1, 1, 0.5)});
    }
    const vtu_file file(written(m, file_format::vtu).text);
    EXPECT_EQ(file.nbr_arrays(), 9U);
    for (const char* const name : {"a", "a 2", "a 3", "field", "field 2"}) {
        EXPECT_TRUE(file.has(std::string("CellData/") + name)) << name;
    }
}

TEST(vtu_mesh, sets_are_lost) {
    file_mesh m = triangle();
    m.node_sets = {set_of("a", {0}), set_of("b", {0})};
    m.element_sets = {set_of("c", {0})};
    EXPECT_EQ(written(m, file_format::vtu).code, -4);
    const written_mesh text = written_lossy(m, file_format::vtu);
    EXPECT_EQ(text.text, written(triangle(), file_format::vtu).text);
    EXPECT_EQ(
        text.sentences(),
        (std::vector<std::string>{"set of nodes: 2 not written: the format has no such sets",
                                  "set of elements: 1 not written: the format has no such sets"}));
}

} // namespace
