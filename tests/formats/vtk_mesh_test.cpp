// Legacy VTK files read as meshes with a report.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/mesh_files.h"
#include "formats/vtk_shapes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;
using table = std::vector<std::vector<double>>;

read_file read(const std::string& contents) { return read_as(file_format::vtk, contents); }

const std::string start = "# vtk DataFile Version 3.0\na title\nASCII\n"
                          "DATASET UNSTRUCTURED_GRID\n";
const std::string four_points = "POINTS 4 float\n0 0 0 1 0 0\n0 1 0\n0 0 1\n";
const std::string two_cells = "CELLS 2 9\n3 0 1 2\n4 0 1 2 3\nCELL_TYPES 2\n5\n10\n";

TEST(vtk_mesh, reads_points_and_cells_of_the_old_layout) {
    const read_file file = read(start + four_points + two_cells);
    EXPECT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(list(file.m.pos), (table{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{{ET_TRIA3, {0, 1, 2}, 1}, {ET_TETRA4, {0, 1, 3, 2}, 1}}));
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(file.counts(), "POINTS 4/4, CELLS 2/2");
}

TEST(vtk_mesh, reads_cells_of_version_5) {
    const read_file file =
        read("# vtk DataFile Version 5.1\n\nASCII\nDATASET UNSTRUCTURED_GRID\n" + four_points +
             "CELLS 3 7\nOFFSETS vtktypeint64\n0 3 7 \nCONNECTIVITY vtktypeint64\n0 1 2 0 1 2 3 \n"
             "CELL_TYPES 2\n5\n10\n");
    EXPECT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(elements_of(file.m), elements_of(read(start + four_points + two_cells).m));
    for (const std::string& none :
         {std::string("CELLS 0 0\nCELL_TYPES 0\n"),
          std::string("CELLS 1 0\nOFFSETS int\n0\nCONNECTIVITY int\n"
                      "CELL_TYPES 0\n"),
          std::string("CELLS 0 0\nOFFSETS int\nCONNECTIVITY int\n"), std::string()}) {
        EXPECT_EQ(read(start + four_points + none).code, 0) << none;
    }
}

std::string file_of(const vtk_shape& shape) {
    std::ostringstream text;
    text.precision(17);
    text << start << "POINTS " << shape.points.size() << " double\n";
    for (const auto& p : shape.points) text << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
    text << "CELLS 1 " << shape.points.size() + 1 << '\n' << shape.points.size();
    for (std::size_t k = 0; k < shape.points.size(); ++k) text << ' ' << k;
    text << "\nCELL_TYPES 1\n" << shape.cell_type << '\n';
    return text.str();
}

TEST(vtk_mesh, every_cell_has_its_nodes_in_place) {
    for (const vtk_shape& shape : vtk_shapes()) {
        const read_file file = read(file_of(shape));
        ASSERT_EQ(list(file.m.types), (std::vector<int>{shape.type})) << file.error();
        expect_in_place(file.m, 0, shape.type);
        EXPECT_EQ(file.sentences(), strings());
    }
}

TEST(vtk_mesh, quadratic_wedges_that_face_the_other_way_are_told) {
    strings told;
    for (const vtk_shape& shape : wedges_that_face_in()) {
        const read_file file = read(file_of(shape));
        ASSERT_EQ(list(file.m.types), (std::vector<int>{shape.type})) << file.error();
        expect_in_place(file.m, 0, shape.type);
        for (const std::string& sentence : file.sentences()) told.push_back(sentence);
    }
    EXPECT_EQ(told, (strings{"quadratic wedge: 1 not turned, in line 24: its triangle 0 1 2 faces "
                             "in, as some programs have it",
                             "biquadratic quadratic wedge: 1 not turned, in line 27: its triangle "
                             "0 1 2 faces in, as some programs have it"}));
}

TEST(vtk_mesh, cells_that_are_no_elements_are_told_and_have_no_field) {
    const read_file file =
        read(start + four_points +
             "CELLS 5 18\n3 0 1 2\n3 1 2 3\n4 0 1 2 3\n2 0 3\n1 3\nCELL_TYPES 5\n5\n7\n68\n4\n1\n"
             "CELL_DATA 5\nSCALARS q double 2\nLOOKUP_TABLE default\n1 2 3 4 5 6 7 8 9 10\n");
    ASSERT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{{ET_TRIA3, {0, 1, 2}, 1}, {ET_NODE, {3}, 1}}));
    EXPECT_EQ(file.sentences(), (strings{"polygon: 1 left out, in line 17: no mesh element",
                                         "cell type 68: 1 left out, in line 18: no mesh element",
                                         "poly line: 1 left out, in line 19: no mesh element"}));
    EXPECT_EQ(file.counts(), "POINTS 4/4, CELLS 5/2, SCALARS 1/1");
    ASSERT_EQ(file.m.fields.size(), 1U);
    EXPECT_EQ(file.m.fields[0].at, field_place::elements);
    EXPECT_EQ(list(file.m.fields[0].values), (table{{1, 2}, {9, 10}}));
}

TEST(vtk_mesh, reads_data_of_every_kind) {
    const std::string points = "POINTS 2 float 0 0 0 1 0 0\n";
    const read_file file =
        read(start + "FIELD FieldData 2\nTIME 1 1 double\n0.5\nnote 1 2 string\nhello%20world\n\n" +
             points +
             "METADATA\nINFORMATION 1\nNAME L2_NORM_RANGE LOCATION vtkDataArray\nDATA 2 0 1\n\n"
             "CELLS 1 2\n1 0\nCELL_TYPES 1\n1\n"
             "POINT_DATA 2\n"
             "SCALARS a%20b float\nLOOKUP_TABLE default\n1 2\n"
             "SCALARS bare float\n3 4\n"
             "SCALARS three float 3\nLOOKUP_TABLE mine\n1 2 3 4 5 6\n"
             "LOOKUP_TABLE mine 2\n0 0 0 1\n1 1 1 1\n"
             "VECTORS v float\n1 2 3 4 5 nan\n\nMETADATA\nCOMPONENT_NAMES\nx\ny\nz\n\n"
             "NORMALS n float\n0 0 1 0 1 0\n"
             "TENSORS any float\n1 2 3 4 5 6 7 8 9\n1 2 3 4 5 6 7 8 9\n"
             "TENSORS symmetric float\n1 2 3 2 5 6 3 6 9\n-1 -2 -3 -2 -5 -6 -3 -6 -9\n"
             "TENSORS6 six float\n1 2 3 4 5 6\n10 20 30 40 50 60\n"
             "TEXTURE_COORDINATES t 2 float\n0 0 1 1\n"
             "COLOR_SCALARS c 3\n0 0.5 1 0 0 0\n"
             "GLOBAL_IDS g vtkIdType\n7 9\n"
             "FIELD FieldData 3\np 1 2 int\n1 2\nMETADATA\nINFORMATION 0\n\nq 2 2 double\n1 2 3 4\n"
             "names 1 2 string\nfirst\nsecond\n"
             "CELL_DATA 1\nPEDIGREE_IDS ids int\n5\nEDGE_FLAGS e bit\n1\n");
    ASSERT_EQ(file.code, 0) << file.error();
    std::vector<std::pair<std::string, table>> found;
    for (const field& f : file.m.fields) found.emplace_back(f.name, list(f.values));
    found[3].second[1][2] = 6;
    const std::vector<std::pair<std::string, table>> wanted = {
        {"a b", {{1}, {2}}},
        {"bare", {{3}, {4}}},
        {"three", {{1, 2, 3}, {4, 5, 6}}},
        {"v", {{1, 2, 3}, {4, 5, 6}}},
        {"n", {{0, 0, 1}, {0, 1, 0}}},
        {"any", {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 2, 3, 4, 5, 6, 7, 8, 9}}},
        {"symmetric", {{1, 2, 5, 3, 6, 9}, {-1, -2, -5, -3, -6, -9}}},
        {"six", {{1, 4, 2, 6, 5, 3}, {10, 40, 20, 60, 50, 30}}},
        {"t", {{0, 0}, {1, 1}}},
        {"c", {{0, 0.5, 1}, {0, 0, 0}}},
        {"g", {{7}, {9}}},
        {"p", {{1}, {2}}},
        {"q", {{1, 2}, {3, 4}}},
        {"ids", {{5}}},
        {"e", {{1}}},
    };
    EXPECT_EQ(found, wanted);
    EXPECT_EQ(file.m.fields[13].at, field_place::elements);
    EXPECT_EQ(file.sentences(),
              (strings{"FIELD: 1 array left out, in line 6: data of the file as a whole",
                       "FIELD: 2 arrays of text left out, first in line 8: a field has numbers",
                       "LOOKUP_TABLE: 1 left out, in line 30: colors"}));
    EXPECT_EQ(file.counts(),
              "FIELD 5/2, POINTS 2/2, CELLS 1/1, SCALARS 3/3, LOOKUP_TABLE 1/0, VECTORS 1/1, "
              "NORMALS 1/1, TENSORS 2/2, TENSORS6 1/1, TEXTURE_COORDINATES 1/1, "
              "COLOR_SCALARS 1/1, GLOBAL_IDS 1/1, PEDIGREE_IDS 1/1, EDGE_FLAGS 1/1");
}

TEST(vtk_mesh, faults_have_their_place_and_say_what_was_expected) {
    const auto error = [](const std::string& text) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, -102) << text;
        return file.error();
    };
    const std::string header = "# vtk DataFile Version 3.0\ntitle\n";
    const std::string data = start + four_points + two_cells;
    const std::string line_15 = data + "POINT_DATA 4\n"; // the line that follows
    EXPECT_EQ(error(""), "line 1, column 1: # vtk DataFile Version is expected, and the file ends");
    EXPECT_EQ(error("# vtk file"), "line 1, column 7: # vtk DataFile Version is expected");
    EXPECT_EQ(error(header + "BINARY"), "line 3, column 1: binary files are not read");
    EXPECT_EQ(error(header + "text"), "line 3, column 1: ASCII is expected");
    EXPECT_EQ(error(header + "ASCII POINTS"), "line 3, column 7: DATASET is expected");
    EXPECT_EQ(error(header + "ASCII DATASET POLYDATA"),
              "line 3, column 15: UNSTRUCTURED_GRID is expected");
    EXPECT_EQ(error(start), "POINTS are expected");
    EXPECT_EQ(error(start + "PINTS"),
              "line 5, column 1: POINTS, CELLS, POINT_DATA, CELL_DATA or FIELD is expected");
    EXPECT_EQ(error(start + "POINTS x"), "line 5, column 8: a count is expected");
    EXPECT_EQ(error(start + "POINTS 1"),
              "line 5, column 9: a type of numbers is expected, and the file ends");
    EXPECT_EQ(error(start + "POINTS 18446744073709551615 float 1 nan"),
              "line 5, column 37: a number is expected");
    EXPECT_EQ(error(start + four_points + four_points),
              "line 9, column 1: POINTS stand in the file already");
    EXPECT_EQ(error(start + "CELLS 1 2"), "line 5, column 1: POINTS are expected ahead of CELLS");
    EXPECT_EQ(error(start + "POINT_DATA 1"),
              "line 5, column 1: POINTS are expected ahead of POINT_DATA");
    EXPECT_EQ(error(start + "CELL_TYPES 1"),
              "line 5, column 1: CELLS are expected ahead of CELL_TYPES");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 0"), "CELL_TYPES are expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 0 CELL_DATA 1"),
              "line 9, column 15: CELL_TYPES are expected ahead of CELL_DATA");
    EXPECT_EQ(error(start + four_points + "CELLS 1 x"), "line 9, column 9: a count is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 x"),
              "line 9, column 11: the size of a cell is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 4"),
              "line 9, column 13: a point below 4 is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 -1"),
              "line 9, column 13: a point below 4 is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 99999999999 1 2"),
              "line 9, column 26: a point below 4 is expected, and the file ends");
    EXPECT_EQ(error(start + four_points + "CELLS 3 7 OFFSETS int 1"),
              "line 9, column 23: an offset from 0 to 0 is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 4 7 OFFSETS int 0 4 3"),
              "line 9, column 27: an offset from 4 to 7 is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 3 7 OFFSETS int 0 3 8"),
              "line 9, column 27: an offset from 7 to 7 is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 2 3 OFFSETS int 0 3 0 1 2"),
              "line 9, column 27: CONNECTIVITY is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 0 CELLS 1 2"),
              "line 9, column 15: CELLS stand in the file already");
    EXPECT_EQ(error(data + "CELL_TYPES 2 5 10"),
              "line 15, column 1: CELL_TYPES stand in the file already");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 0 CELL_TYPES 2"),
              "line 9, column 26: 2 types for 1 cells");
    EXPECT_EQ(error(start + four_points + "CELLS 1 2 1 0 CELL_TYPES 1 x"),
              "line 9, column 28: the type of a cell is expected");
    EXPECT_EQ(error(start + four_points + "CELLS 1 4 3 0 1 2 CELL_TYPES 1 10"),
              "line 9: a tetra has 4 nodes, and this one 3");
    EXPECT_EQ(error(data + "POINT_DATA 5"), "line 15, column 12: data for 5 of the 4 points");
    EXPECT_EQ(error(data + "CELL_DATA 1"), "line 15, column 11: data for 1 of the 2 cells");
    EXPECT_EQ(error(line_15 + "THINGS"), "line 16, column 1: a kind of data is expected");
    EXPECT_EQ(error(line_15 + "VECTORS"),
              "line 16, column 8: a name is expected, and the file ends");
    EXPECT_EQ(error(line_15 + "VECTORS v"),
              "line 16, column 10: a type of numbers is expected, and the file ends");
    EXPECT_EQ(error(line_15 + "VECTORS v int 1 2 CELL_DATA"),
              "line 16, column 19: a number is expected");
    EXPECT_EQ(error(line_15 + "SCALARS s int 0"),
              "line 16, column 11: a number of components is expected behind this word");
    EXPECT_EQ(error(line_15 + "SCALARS s int\nLOOKUP_TABLE"),
              "line 17, column 13: a name is expected, and the file ends");
    EXPECT_EQ(error(line_15 + "COLOR_SCALARS s 0"),
              "line 16, column 17: a number of components is expected");
    EXPECT_EQ(error(line_15 + "LOOKUP_TABLE t x"), "line 16, column 16: a count is expected");
    EXPECT_EQ(error(line_15 + "FIELD f 1 a 1 3 int 1 2 3"),
              "line 16, column 15: data for 3 in place of 4");
    EXPECT_EQ(error(line_15 + "FIELD f 1 a 1 4 variant 1 2 3"),
              "line 16, column 17: values of several types are not read");
    EXPECT_EQ(error(line_15 + "FIELD f 99999999999999"),
              "line 16, column 23: a name is expected, and the file ends");
    EXPECT_EQ(error(start + "FIELD f 1 a 18446744073709551615 18446744073709551615 int 1"),
              "line 5, column 60: a number is expected, and the file ends");
    EXPECT_EQ(error(start + "FIELD f 1 a 0 18446744073709551615 int"), "POINTS are expected");
    EXPECT_EQ(error(start + "FIELD f 1 a 18446744073709551615 18446744073709551615 string\nx\n"),
              "POINTS are expected");
}

// What we write comes back whole, by the title that it has.
TEST(vtk_mesh, reads_what_vtk_output_writes) {
    dense2D<double> pos(3, 60);
    for (std::size_t c = 0; c < 60; ++c) {
        for (std::size_t r = 0; r < 3; ++r) pos(r, c) = static_cast<double>(3 * c + r);
    }
    for (int value = 0; value <= ET_HEXA27; ++value) {
        const auto type = static_cast<element_type>(value);
        dense2D<unsigned int> connect(nbr_nodes(type), 2);
        for (unsigned int r = 0; r < connect.rows(); ++r) {
            connect(r, 0) = r;
            connect(r, 1) = 59 - r;
        }
        const scratch_stream stream;
        const bool is_mixed = linear_type(type) == type && resolve_mixed_type(3, type) != type;
        if (is_mixed || vtk_output(stream.get(), pos, connect, type) != 0) continue;
        const read_file file = read(stream.contents());
        ASSERT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(list(file.m.pos), list(pos));
        if (type == ET_UNKNOWN || type == ET_FACE_MIX || type == ET_SOLID_MIX) continue;
        std::vector<plain_element> wanted;
        for (const std::vector<unsigned int>& nodes : list(connect)) {
            wanted.push_back({type, nodes, 1});
        }
        EXPECT_EQ(elements_of(file.m), wanted);
        if (linear_type(type) == type) {
            EXPECT_EQ(file.sentences(), strings());
        } else {
            ASSERT_EQ(file.sentences().size(), 1U);
            EXPECT_EQ(file.sentences()[0].substr(0, 63),
                      "poly vertex: 2 joined to the cells ahead of them, first in line");
            EXPECT_TRUE(file.sentences()[0].ends_with(
                ": the nodes of a quadratic element that are no corners"))
                << file.sentences()[0];
        }
    }
}

TEST(vtk_mesh, wedges_are_turned_but_for_files_of_ours) {
    const std::string cells = "POINTS 6 float\n0 0 0 1 0 0 0 1 0 0 0 1 1 0 1 0 1 1\n"
                              "CELLS 1 7\n6 0 1 2 3 4 5\nCELL_TYPES 1\n13\n";
    EXPECT_EQ(elements_of(read(start + cells).m),
              (std::vector<plain_element>{{ET_PENTA6, {0, 2, 1, 3, 5, 4}, 1}}));
    std::string ours = start;
    ours.replace(ours.find("a title"), 7, "Generated by KV7 Tessmaker(R).");
    EXPECT_EQ(elements_of(read(ours + cells).m),
              (std::vector<plain_element>{{ET_PENTA6, {0, 1, 2, 3, 4, 5}, 1}}));
    // Points that fit no cell ahead of them stay points.
    const std::string points = "POINTS 4 float\n0 0 0 1 0 0 0 1 0 0 0 1\n"
                               "CELLS 3 10\n2 0 3\n4 0 1 2 3\n2 1 2\nCELL_TYPES 3\n2\n9\n2\n";
    EXPECT_EQ(read(ours + points).sentences(),
              (strings{"poly vertex: 2 left out, first in line 12: no mesh element"}));
}

TEST(vtk_mesh, lines_may_end_in_any_way_and_titles_be_empty_or_long) {
    for (const std::string& title : {std::string(), std::string(10000, 'x'), std::string("# x")}) {
        for (const std::string& line_end : {std::string("\n"), std::string("\r\n")}) {
            std::string text = "# vtk DataFile Version 3.0\n" + title + "\nASCII\n" +
                               "DATASET UNSTRUCTURED_GRID\n" + four_points + two_cells;
            std::string spelled;
            for (const char c : text) spelled += c == '\n' ? line_end : std::string(1, c);
            EXPECT_EQ(elements_of(read(spelled).m).size(), 2U);
            EXPECT_EQ(elements_of(read("\xEF\xBB\xBF" + spelled).m).size(), 2U);
            EXPECT_EQ(read(spelled + "x").error().substr(0, 17), "line 15, column 1");
        }
    }
}

// --- random files and a plain reader of them ---

struct plain_mesh {
    table pos;
    std::vector<plain_element> elements;
    std::vector<std::pair<std::string, table>> fields;
};

// Reads by `>>` alone.
plain_mesh plain_read(const std::string& text) {
    std::istringstream in(text);
    std::string word;
    for (int k = 0; k < 4; ++k) std::getline(in, word);
    plain_mesh result;
    std::vector<std::vector<unsigned int>> cells;
    std::vector<bool> is_element;
    bool is_at_points = true;
    while (in >> word) {
        std::size_t n = 0;
        if (word == "POINTS") {
            in >> n >> word;
            result.pos.assign(n, std::vector<double>(3));
            for (auto& p : result.pos) in >> p[0] >> p[1] >> p[2];
        } else if (word == "CELLS") {
            std::size_t size = 0;
            in >> n >> size;
            const auto at = in.tellg();
            in >> word;
            if (word == "OFFSETS") {
                in >> word;
                std::vector<std::size_t> offsets(n);
                for (std::size_t& offset : offsets) in >> offset;
                in >> word >> word;
                for (std::size_t k = 1; k < n; ++k) {
                    cells.emplace_back(offsets[k] - offsets[k - 1]);
                    for (unsigned int& id : cells.back()) in >> id;
                }
            } else {
                in.seekg(at);
                for (std::size_t k = 0; k < n; ++k) {
                    in >> size;
                    cells.emplace_back(size);
                    for (unsigned int& id : cells.back()) in >> id;
                }
            }
        } else if (word == "CELL_TYPES") {
            in >> n;
            for (std::size_t k = 0; k < n; ++k) {
                unsigned int number = 0;
                in >> number;
                is_element.push_back(false);
                for (const vtk_shape& shape : vtk_shapes()) {
                    if (shape.cell_type != number) continue;
                    plain_element e{shape.type, {}, 1};
                    table around;
                    for (const unsigned int id : cells[k]) around.push_back(result.pos[id]);
                    for (const std::size_t place : order_in_cell(shape, around)) {
                        e.nodes.push_back(cells[k][place]);
                    }
                    result.elements.push_back(e);
                    is_element.back() = true;
                }
            }
        } else if (word == "POINT_DATA" || word == "CELL_DATA") {
            is_at_points = word == "POINT_DATA";
            in >> n;
        } else if (word == "FIELD") {
            std::size_t nbr_arrays = 0;
            in >> word >> nbr_arrays;
            for (std::size_t k = 0; k < nbr_arrays; ++k) {
                std::string name;
                std::size_t rows = 0;
                in >> name >> rows >> n >> word;
                table values;
                for (std::size_t c = 0; c < n; ++c) {
                    std::vector<double> column(rows);
                    for (double& x : column) in >> x;
                    if (is_at_points || is_element[c]) values.push_back(column);
                }
                result.fields.emplace_back(name, values);
            }
        }
    }
    return result;
}

std::string random_file(random_source& random) {
    std::ostringstream text;
    text.precision(17);
    const auto blank = [&] { return random.one_in(3) ? "\n" : random.one_in(4) ? " \t" : " "; };
    text << start;
    const std::size_t nbr_points = random.between(1, 30);
    text << "POINTS " << nbr_points << " double" << blank();
    for (std::size_t k = 0; k < 3 * nbr_points; ++k) text << random.below(19) << blank();
    const std::size_t nbr_cells = random.below(10);
    std::vector<unsigned int> types;
    std::vector<std::vector<std::size_t>> cells(nbr_cells);
    std::size_t nbr_nodes = 0;
    for (std::vector<std::size_t>& cell : cells) {
        const bool is_known = !random.one_in(5);
        const vtk_shape& shape = random.one_of(vtk_shapes());
        types.push_back(is_known ? shape.cell_type : 7);
        cell.resize(is_known ? shape.points.size() : random.below(6));
        for (std::size_t& id : cell) id = random.below(nbr_points);
        nbr_nodes += cell.size();
    }
    if (random.one_in(2)) {
        text << "\nCELLS " << nbr_cells << ' ' << nbr_cells + nbr_nodes << '\n';
        for (const auto& cell : cells) {
            text << cell.size() << blank();
            for (const std::size_t id : cell) text << id << blank();
        }
    } else {
        text << "\nCELLS " << nbr_cells + 1 << ' ' << nbr_nodes << "\nOFFSETS int\n0" << blank();
        std::size_t end = 0;
        for (const auto& cell : cells) text << (end += cell.size()) << blank();
        text << "\nCONNECTIVITY int\n";
        for (const auto& cell : cells) {
            for (const std::size_t id : cell) text << id << blank();
        }
    }
    text << "\nCELL_TYPES " << nbr_cells << '\n';
    for (const unsigned int type : types) text << type << blank();
    for (std::size_t d = random.below(3); d != 0; --d) {
        const bool is_at_points = random.one_in(2);
        const std::size_t n = is_at_points ? nbr_points : nbr_cells;
        const std::size_t nbr_arrays = random.below(3);
        text << (is_at_points ? "\nPOINT_DATA " : "\nCELL_DATA ") << n << "\nFIELD f " << nbr_arrays
             << '\n';
        for (std::size_t k = 0; k < nbr_arrays; ++k) {
            const std::size_t rows = random.between(1, 8);
            text << "array" << k << ' ' << rows << ' ' << n << " float\n";
            for (std::size_t v = 0; v < rows * n; ++v) text << random.uniform(-9, 9) << blank();
        }
    }
    return text.str();
}

TEST(vtk_mesh, equals_what_a_plain_reader_finds) {
    random_source random(53);
    std::size_t nbr_elements = 0;
    std::size_t nbr_fields = 0;
    for (std::uint64_t k = 0; k < nbr_runs(1000); ++k) {
        const std::string text = random_file(random);
        const read_file file = read(text);
        const plain_mesh plain = plain_read(text);
        ASSERT_EQ(file.code, 0) << file.error() << '\n' << text;
        ASSERT_EQ(list(file.m.pos), plain.pos);
        ASSERT_EQ(elements_of(file.m), plain.elements);
        ASSERT_EQ(file.m.fields.size(), plain.fields.size());
        for (std::size_t f = 0; f < plain.fields.size(); ++f) {
            ASSERT_EQ(file.m.fields[f].name, plain.fields[f].first);
            ASSERT_EQ(list(file.m.fields[f].values), plain.fields[f].second);
        }
        nbr_elements += plain.elements.size();
        nbr_fields += plain.fields.size();
    }
    EXPECT_GT(nbr_elements, 1000U);
    EXPECT_GT(nbr_fields, 500U);
}

TEST(vtk_mesh, cut_off_at_every_byte_is_a_fault_or_a_shorter_file) {
    random_source random(59);
    for (int k = 0; k < 20; ++k) {
        const std::string text = random_file(random);
        const plain_mesh whole = plain_read(text);
        expect_no_more_if_cut(file_format::vtk, text, whole.pos.size(), whole.elements.size());
    }
}

TEST(vtk_mesh, changed_bytes_give_a_mesh_or_a_fault) {
    random_source random(61);
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        read_changed(file_format::vtk, random_file(random), random);
    }
}

TEST(vtk_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    std::string ours = start;
    ours.replace(ours.find("a title"), 7, "Generated by KV7 Tessmaker(R).");
    EXPECT_GT(read_failing(file_format::vtk,
                           start + four_points + two_cells +
                               "POINT_DATA 4\nSCALARS s int\nLOOKUP_TABLE default\n1 2 3 4\n"
                               "CELL_DATA 2\nTENSORS t int\n1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1\n"),
              20U);
    EXPECT_GT(read_failing(file_format::vtk, ours + four_points +
                                                 "CELLS 3 11\n3 0 1 2\n3 1 2 3\n2 0 1\n"
                                                 "CELL_TYPES 3\n5\n2\n7\n"),
              20U);
}

} // namespace
