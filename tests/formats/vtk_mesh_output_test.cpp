// Meshes written as legacy VTK files.
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "core/type_table.h"
#include "formats/mesh_files.h"
#include "formats/meshes_for_files.h"
#include "formats/plain_vtu.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::string title = "# vtk DataFile Version 3.0\nMesh with the cells of VTK\nASCII\n"
                          "DATASET UNSTRUCTURED_GRID\n";
const std::string of_triangle = title + "POINTS 3 double\n0 0 0\n1 0 0\n0 1 0\n"
                                        "CELLS 1 4\n3 0 1 2\nCELL_TYPES 1\n5\n";

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{0, 1, 2}});
}

TEST(vtk_mesh, of_a_triangle_is_this_text) {
    const written_mesh file = written(triangle(), file_format::vtk);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, of_triangle);
    EXPECT_TRUE(file.report.remarks().empty());
}

TEST(vtk_mesh, wedges_and_tetrahedra_are_turned) {
    const file_mesh m =
        mesh_of(triangle().pos, {{ET_PENTA6, {0, 1, 2, 0, 1, 2}}, {ET_TETRA4, {0, 1, 2, 0}}});
    const std::string text = written(m, file_format::vtk).text;
    EXPECT_NE(text.find("CELLS 2 12\n6 0 2 1 0 2 1\n4 0 1 0 2\nCELL_TYPES 2\n13\n10\n"),
              std::string::npos);
}

TEST(vtk_mesh, numbers_properties_and_fields_follow_the_cells) {
    file_mesh m = triangle();
    m.node_numbers = vector_of<unsigned int>({5, 6, 4000000000});
    m.element_numbers = vector_of<unsigned int>({7});
    m.pids = vector_of<unsigned int>({3});
    m.fields = {{"T", field_place::nodes, columns<double>({{0.1}, {1e300}, {-3}})},
                {"u", field_place::nodes, columns<double>({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}})},
                {"s", field_place::elements, columns<double>({{1, 2, 3, 4, 5, 6}})}};
    const written_mesh file = written(m, file_format::vtk);
    EXPECT_EQ(file.code, 0);
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_EQ(file.text, of_triangle + "CELL_DATA 1\n"
                                       "FIELD FieldData 3\n"
                                       "element_number 1 1 unsigned_int\n7\n"
                                       "property 1 1 unsigned_int\n3\n"
                                       "s 9 1 double\n1 2 4 2 3 5 4 5 6\n"
                                       "POINT_DATA 3\n"
                                       "FIELD FieldData 3\n"
                                       "node_number 1 3 unsigned_int\n5\n6\n4000000000\n"
                                       "T 1 3 double\n0.1\n1e+300\n-3\n"
                                       "u 3 3 double\n1 2 3\n4 5 6\n7 8 9\n");
}

TEST(vtk_mesh, names_are_words_with_the_codes_of_other_characters) {
    file_mesh m = triangle();
    const dense2D<double> values(1, 1, 0.5);
    m.fields = {{"a b%\"\xC3\xBC\n", field_place::elements, values},
                {"property", field_place::elements, values},
                {"", field_place::elements, values}};
    const written_mesh file = written(m, file_format::vtk);
    EXPECT_EQ(file.code, 0);
    for (const char* const line : {"\na%20b%25%22%C3%BC%0A 1 1 double\n",
                                   "\nproperty%202 1 1 double\n", "\nfield 1 1 double\n"}) {
        EXPECT_NE(file.text.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(file.sentences(), (std::vector<std::string>{"field: 2 renamed: names differ"}));
}

TEST(vtk_mesh, names_that_are_keywords_begin_with_a_code) {
    for (const std::string name : {"METADATA", "metadata", "MetaData_2", "NULL_ARRAY"}) {
        file_mesh m = triangle();
        m.fields = {{"first", field_place::nodes, dense2D<double>(1, 3, 0.25)},
                    {name, field_place::nodes, dense2D<double>(1, 3, 0.5)},
                    {"last", field_place::nodes, dense2D<double>(1, 3, 0.75)}};
        const written_mesh file = written(m, file_format::vtk);
        EXPECT_EQ(file.code, 0);
        EXPECT_TRUE(file.report.remarks().empty());
        const std::string code = name[0] == 'm' ? "%6D" : name[0] == 'M' ? "%4D" : "%4E";
        EXPECT_NE(file.text.find('\n' + code + name.substr(1) + " 1 3 double\n0.5\n"),
                  std::string::npos);
        const read_file back = read_as(file_format::vtk, file.text);
        ASSERT_EQ(back.m.fields.size(), 3U) << back.error();
        EXPECT_EQ(back.m.fields[1].name, name);
        EXPECT_EQ(back.m.fields[1].values(0, 2), 0.5);
        EXPECT_EQ(back.m.fields[2].name, "last");
    }
}

TEST(vtk_mesh, values_that_are_no_numbers_are_told) {
    file_mesh m = triangle();
    const double no_number = std::numeric_limits<double>::quiet_NaN();
    const double no_bound = std::numeric_limits<double>::infinity();
    m.fields = {{"u", field_place::nodes, columns<double>({{no_number}, {-no_bound}, {1}})}};
    const written_mesh file = written(m, file_format::vtk);
    EXPECT_EQ(file.code, 0);
    EXPECT_NE(file.text.find("u 1 3 double\nnan\n-inf\n1\n"), std::string::npos);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "value: 2 written as words: nan and inf are not read by all programs"}));
}

TEST(vtk_mesh, holds_the_same_as_a_vtu_file) {
    random_source random(11);
    const std::vector<element_type> types(all_element_types.begin() + 1, all_element_types.end());
    std::vector<element_type> plain;
    for (const element_type type : types) {
        if (type != ET_FACE_MIX && type != ET_SOLID_MIX) plain.push_back(type);
    }
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        const std::size_t n = random.between(1, 30);
        file_mesh m = random_mesh(random, plain, n, random.below(15));
        m.fields = {
            {"u", field_place::nodes, random_points(random, random.between(1, 7), n, -1e-3, 1e5)}};
        const written_mesh of_vtk = written_lossy(m, file_format::vtk);
        const written_mesh of_vtu = written_lossy(m, file_format::vtu);
        EXPECT_EQ(of_vtk.sentences(), of_vtu.sentences());
        const vtu_file vtu(of_vtu.text);

        std::istringstream text(of_vtk.text.substr(title.size()));
        std::string word;
        std::size_t size = 0;
        const auto expect_values = [&text](const std::vector<double>& expected) {
            for (const double x : expected) {
                std::string number;
                text >> number;
                EXPECT_EQ(std::stod(number), x);
            }
        };
        text >> word >> size >> word;
        EXPECT_EQ(size, n);
        expect_values(vtu.values("Points/Points"));
        std::size_t nbr_cells = 0;
        text >> word >> nbr_cells >> size;
        EXPECT_EQ(word, "CELLS");
        EXPECT_EQ(size, vtu.values("Cells/connectivity").size() + nbr_cells);
        std::vector<double> connected;
        for (std::size_t k = 0; k < nbr_cells; ++k) {
            text >> size;
            for (std::size_t i = 0; i < size; ++i) text >> connected.emplace_back();
            EXPECT_EQ(static_cast<double>(connected.size()), vtu.values("Cells/offsets")[k]);
        }
        EXPECT_EQ(connected, vtu.values("Cells/connectivity"));
        text >> word >> size;
        EXPECT_EQ(word, "CELL_TYPES");
        expect_values(vtu.values("Cells/types"));
        std::string line;
        std::getline(text, line);
        std::getline(text, line);
        EXPECT_EQ(line, "POINT_DATA " + std::to_string(n));
        std::getline(text, line);
        std::getline(text, line);
        EXPECT_EQ(line, "u " + std::to_string(vtu.array("PointData/u").nbr_components) + ' ' +
                            std::to_string(n) + " double");
        expect_values(vtu.values("PointData/u"));
    }
}

} // namespace
