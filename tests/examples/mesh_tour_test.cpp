#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "examples/program_test.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"
#include "tessmaker/quality.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

namespace fs = std::filesystem;

class mesh_tour : public program_test {
protected:
    program_run run(const std::string& arguments) const {
        return program_test::run(MESH_TOUR, arguments);
    }
    program_run run(const fs::path& in, const fs::path& out) const {
        return run("'" + in.string() + "' '" + out.string() + "'");
    }
};

std::string facet(const char* a, const char* b, const char* c) {
    return std::string("facet normal 0 0 1\nouter loop\nvertex ") + a + "\nvertex " + b +
           "\nvertex " + c + "\nendloop\nendfacet\n";
}

void expect_sample_report(const program_run& run) {
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(figure(run, "facets in the file"), 1036);
    EXPECT_EQ(figure(run, "degenerate, dropped"), 12);
    EXPECT_EQ(figure(run, "left"), 1024);
    EXPECT_EQ(figure(run, "nodes before welding"), 3108);
    EXPECT_EQ(figure(run, "nodes after welding"), 435);
    EXPECT_NEAR(figure(run, "tolerance"), 0.0875, 0.0001);
    for (const char* const step : {"  read", "  weld", "  clean", "  topology", "  quality",
                                   "  sizes", "  gradation", "  write"}) {
        EXPECT_GT(figure(run, step), 0.0) << step;
    }
}

TEST_F(mesh_tour, welds_the_sample_and_tells_its_figures) {
    const program_run result = run(SAMPLE, file("out"));
    expect_sample_report(result);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    ASSERT_EQ(STL_input(file("out.stl").c_str(), pos, connect), 0);
    EXPECT_EQ(pos.cols(), 435U);
    EXPECT_EQ(connect.cols(), 1024U);
}

// The facets of a text file as a binary one.
std::string as_binary(const char* text_file) {
    std::ifstream text(text_file);
    std::string records;
    std::uint32_t nbr_facets = 0;
    for (std::string word; text >> word;) {
        if (word == "endfacet") {
            records.append(2, '\0');
            ++nbr_facets;
        }
        if (word != "normal" && word != "vertex") continue;
        for (int r = 0; r < 3; ++r) {
            float value = 0.0F;
            text >> value;
            records.append(reinterpret_cast<const char*>(&value), sizeof value);
        }
    }
    const std::string count(reinterpret_cast<const char*>(&nbr_facets), sizeof nbr_facets);
    return std::string(80, ' ') + count + records;
}

// Two closed boxes on one grid of 81 nodes and 144 edges, each with facets of its own there.
TEST_F(mesh_tour, tells_the_topology_of_the_sample) {
    const program_run result = run(SAMPLE, file("out"));
    EXPECT_EQ(figure(result, "components"), 1);
    EXPECT_EQ(figure(result, "of one facet, free"), 0);
    EXPECT_EQ(figure(result, "of two"), 1248);
    EXPECT_EQ(figure(result, "of three or more"), 144);
    EXPECT_EQ(figure(result, "edges"), 1248 + 144);
    EXPECT_EQ(figure(result, "Euler characteristic"), 2 + 2 - (81 - 144));
}

// The lines from `what` up to the next empty one.
std::string section(const program_run& run, const std::string& what) {
    const std::size_t begin = run.output.find("\n" + what) + 1;
    return run.output.substr(begin, run.output.find("\n\n", begin) + 1 - begin);
}

// Halves of squares of side 2.5, the corners shaken by 0.01. The half of a square has
// 2 sqrt(3) / (2 + sqrt(2)) / sqrt(2) = 0.7174.
TEST_F(mesh_tour, tells_the_quality_of_the_sample) {
    const program_run result = run(SAMPLE, file("out"));
    const std::string quality = section(result, "quality ");
    EXPECT_NE(quality.find("  0.7 to 0.8                      1024  ####"), std::string::npos)
        << quality;
    EXPECT_NEAR(figure(result, "mean quality"), 0.7174, 0.0005);

    dense2D<double> pos;
    dense2D<unsigned int> connect;
    ASSERT_EQ(STL_input(SAMPLE, pos, connect), 0);
    double q_min = 0.0;
    unsigned int worst = 0;
    ASSERT_EQ(min_quality(pos, connect, ET_TRIA3, q_min, worst), 0);
    EXPECT_NEAR(figure(result, "worst quality"), q_min, 1e-6);
    EXPECT_EQ(figure(result, "worst element"), worst);
    std::string corners;
    for (std::size_t r = 0; r < 3; ++r) {
        const double* const p = pos.column(connect(r, worst));
        char line[128];
        std::snprintf(line, sizeof line, "  corner, node %23u  (%.9g, %.9g, %.9g)\n",
                      connect(r, worst), p[0], p[1], p[2]);
        corners += line;
    }
    EXPECT_EQ(quality.substr(quality.find("  corner")), corners);
}

TEST_F(mesh_tour, counts_facets_by_quality_and_names_the_worst) {
    // A right one, a flat one, and one that is nearly equilateral.
    const fs::path in = file("in.stl", "solid\n" + facet("0 0 0", "1 0 0", "0 1 0") +
                                           facet("5 0 0", "9 0 0", "7 0.125 0") +
                                           facet("0 0 2", "1 0 2", "0.5 0.875 2") + "endsolid\n");
    const program_run result = run(in, file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    const std::string bar = "  ################################\n";
    EXPECT_EQ(section(result, "quality "),
              "quality                       elements  0 is flat, 1 ideal\n"
              "  0.0 to 0.1                         1" +
                  bar +
                  "  0.1 to 0.2                         0\n"
                  "  0.2 to 0.3                         0\n"
                  "  0.3 to 0.4                         0\n"
                  "  0.4 to 0.5                         0\n"
                  "  0.5 to 0.6                         0\n"
                  "  0.6 to 0.7                         0\n"
                  "  0.7 to 0.8                         1" +
                  bar +
                  "  0.8 to 0.9                         0\n"
                  "  0.9 to 1.0                         1" +
                  bar +
                  // (0.0541 + 0.7174 + 0.9974) / 3
                  "mean quality                  0.589633\n"
                  // 2 sqrt(3) * 0.5 / (4 * (4 + 2 sqrt(4 + 1 / 64)))
                  "worst quality                0.0540738\n"
                  "worst element                        1\n"
                  "  corner, node                       3  (5, 0, 0)\n"
                  "  corner, node                       4  (9, 0, 0)\n"
                  "  corner, node                       5  (7, 0.125, 0)\n");
}

TEST_F(mesh_tour, has_no_worst_facet_without_facets) {
    const program_run result = run(file("in.stl", "solid x\nendsolid x\n"), file("out"));
    EXPECT_EQ(figure(result, "0.9 to 1.0"), 0);
    EXPECT_EQ(result.output.find("worst quality"), std::string::npos);
}

TEST_F(mesh_tour, fails_where_another_euler_characteristic_is_expected) {
    const std::string files = "'" + std::string(SAMPLE) + "' '" + file("out").string() + "'";
    EXPECT_EQ(run(files + " 67").exit_code, 0);
    const program_run result = run(files + " 68");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("Euler"), std::string::npos) << result.errors;
}

TEST_F(mesh_tour, welds_a_binary_file_alike) {
    const std::string binary = as_binary(SAMPLE);
    const program_run result = run(file("in.stl", binary), file("out"));
    expect_sample_report(result);
    EXPECT_NE(result.output.find(", binary STL\n"), std::string::npos);
    EXPECT_EQ(fs::file_size(file("out.stl")), 84U + 50U * 1024U);
}

TEST_F(mesh_tour, does_not_weld_where_no_facet_has_a_height) {
    const fs::path in = file("in.stl", "solid\n" + facet("0 0 0", "0 0 0", "1 0 0") + "endsolid\n");
    const program_run result = run(in, file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "nodes after welding"), 3);
    EXPECT_NE(result.output.find("not welded"), std::string::npos);
}

TEST_F(mesh_tour, takes_a_file_without_facets) {
    const program_run result = run(file("in.stl", "solid x\nendsolid x\n"), file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "facets in the file"), 0);
    EXPECT_TRUE(fs::exists(file("out.stl")));
}

TEST_F(mesh_tour, takes_upper_case_colors_and_a_continued_solid) {
    const fs::path in =
        file("in.stl", "SOLID A\nCOLOR 1 0 0\nFACET NORMAL 0 0 1\nOUTER LOOP\n  VERTEX 0 0 0\n"
                       "\tVertex 1 0 0\nvertex 0 1 0\nENDLOOP\nENDFACET\nENDSOLID\n" +
                           facet("1 0 0", "1 1 0", "0 1 0") + "endsolid\n");
    const program_run result = run(in, file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "facets in the file"), 2);
    EXPECT_EQ(figure(result, "nodes after welding"), 4);
}

TEST_F(mesh_tour, bounds_sizes_around_a_source) {
    const program_run result = run(SAMPLE, file("out"));
    EXPECT_NEAR(figure(result, "size at the source"), 0.1 * figure(result, "smallest size"), 1e-4);
    EXPECT_GT(figure(result, "nodes changed"), 1);
    EXPECT_GT(figure(result, "  largest", 0), 0.2);
    EXPECT_LT(figure(result, "  largest", 1), 0.202);
    EXPECT_EQ(figure(result, "nodes above the limit", 1), 0);
}

TEST_F(mesh_tour, writes_qualities_and_sizes_with_the_mesh) {
    const program_run result = run(SAMPLE, file("out"));
    const std::string vtk = text_of(file("out.vtk"));
    EXPECT_NE(vtk.find("POINTS 435 double\n"), std::string::npos);
    EXPECT_NE(vtk.find("CELL_DATA 1024\nFIELD FieldData 1\nquality 1 1024 double\n"),
              std::string::npos);
    EXPECT_NE(vtk.find("POINT_DATA 435\nFIELD FieldData 2\nsize_before 1 435 double\n"),
              std::string::npos);
    EXPECT_NE(vtk.find("\nsize_after 1 435 double\n"), std::string::npos);
    EXPECT_NE(text_of(file("out.mesh")).find("Triangles\n1024\n"), std::string::npos);
    EXPECT_EQ(text_of(file("out.bb")).substr(0, 10), "3 1 435 2\n");
    mesh with_sizes;
    file_report report;
    ASSERT_EQ(read_mesh(file("out.mesh").c_str(), with_sizes, report), 0);
    EXPECT_EQ(read_fields(file("out.bb").c_str(), with_sizes, report), 0);
    mesh with_all;
    ASSERT_EQ(read_mesh(file("out.vtk").c_str(), with_all, report), 0);
    EXPECT_EQ(with_all.fields.size(), 3U);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    element_type type = ET_UNKNOWN;
    ASSERT_EQ(NASTRAN_input(file("out.nas").c_str(), pos, connect, type), 0);
    EXPECT_EQ(pos.cols(), 435U);
    EXPECT_EQ(connect.cols(), 1024U);
    EXPECT_EQ(type, ET_TRIA3);
}

// A cube with a pyramid on it and a wedge at its side, a bar, a collapsed element, and the nodes of
// the pyramid's base twice.
const char house[] = "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\nGRID,4,,0.,1.,0.\n"
                     "GRID,5,,0.,0.,1.\nGRID,6,,1.,0.,1.\nGRID,7,,1.,1.,1.\nGRID,8,,0.,1.,1.\n"
                     "GRID,15,,0.,0.,1.\nGRID,16,,1.,0.,1.\nGRID,17,,1.,1.,1.\n"
                     "GRID,18,,0.,1.,1.\nGRID,20,,.5,.5,2.\n"
                     "GRID,21,,2.,0.,.5\nGRID,22,,2.,1.,.5\n"
                     "CBAR,1,1,1,2\n"
                     "CHEXA,2,1,1,2,3,4,5,6,+\n+,7,8\n"
                     "CPENTA,3,1,2,21,6,3,22,7\n"
                     "CPYRAM,4,2,15,16,17,18,20\n"
                     "CONM2,7,1,,2.5\n"
                     "CTETRA,6,2,1,1,2,3\n";

TEST_F(mesh_tour, takes_solids_of_several_shapes) {
    const program_run result = run(file("house.nas", house), file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_NE(result.output.find("  lost     CONM2: 1 not read, in line 21: no mesh element\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(figure(result, "elements in the file"), 5);
    EXPECT_EQ(figure(result, "degenerate, dropped"), 1);
    EXPECT_EQ(figure(result, "left"), 4);
    EXPECT_EQ(figure(result, "  BAR2"), 1);
    EXPECT_EQ(figure(result, "  PYRA5"), 1);
    EXPECT_EQ(figure(result, "  PENTA6"), 1);
    EXPECT_EQ(figure(result, "  HEXA8"), 1);
    EXPECT_EQ(figure(result, "nodes before welding"), 15);
    EXPECT_EQ(figure(result, "nodes after welding"), 11);
    EXPECT_EQ(figure(result, "facets"), 6 + 5 + 5 - 2 * 2);
    EXPECT_EQ(figure(result, "components"), 1);
    EXPECT_EQ(figure(result, "of one facet, free"), 0);
    EXPECT_EQ(figure(result, "Euler characteristic"), 2);
    EXPECT_EQ(figure(result, "nodes above the limit", 1), 0);
    const std::string vtk = text_of(file("out.vtk"));
    EXPECT_NE(vtk.find("CELL_TYPES 3\n12\n13\n14\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(file("out.stl")));
}

// Points would keep nodes that nothing else has, and the nodes between corners have no size.
TEST_F(mesh_tour, writes_sizes_for_the_nodes_of_the_file_beside_them) {
    const fs::path in = file("in.nas", "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,0.,1.,0.\n"
                                       "GRID,4,,.5,0.,0.\nGRID,5,,.5,.5,0.\nGRID,6,,0.,.5,0.\n"
                                       "GRID,7,,9.,9.,9.\nCBAR,1,1,1,7\nCTRIA6,2,1,1,2,3,4,5,6\n");
    const program_run triangle = run(in, file("out"));
    EXPECT_EQ(triangle.exit_code, 0) << triangle.errors;
    EXPECT_EQ(figure(triangle, "nodes after welding"), 7);
    EXPECT_EQ(text_of(file("out.bb")).substr(0, 8), "3 1 3 2\n");
    EXPECT_NE(text_of(file("out.mesh")).find("Vertices\n3\n"), std::string::npos);
    EXPECT_NE(text_of(file("out.vtk")).find("POINTS 3 double\n"), std::string::npos);

    const program_run points = run(file("in.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 5 5 5\n"
                                                  "p 4\nf 1 2 3\np 1 2\n"),
                                   file("of_obj"));
    EXPECT_EQ(points.exit_code, 0) << points.errors;
    EXPECT_EQ(figure(points, "points, dropped"), 3);
    EXPECT_EQ(figure(points, "left"), 1);
    EXPECT_EQ(figure(points, "nodes after welding"), 3);
}

TEST_F(mesh_tour, takes_faces_of_both_shapes) {
    const fs::path in = file("in.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\n"
                                       "f 1 2 3 4\nf 2 5 3\n");
    const program_run result = run(in, file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "components"), 1);
    EXPECT_EQ(figure(result, "of one facet, free"), 5);
    EXPECT_EQ(figure(result, "of two"), 1);
    EXPECT_EQ(figure(result, "Euler characteristic"), 1);
}

TEST_F(mesh_tour, refuses_a_mesh_of_bars) {
    const program_run result =
        run(file("in.nas", "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nCBAR,1,1,1,2\n"), file("out"));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("no faces and no solids"), std::string::npos) << result.errors;
}

TEST_F(mesh_tour, takes_a_facet_whose_corners_are_at_one_place) {
    const fs::path in = file("in.stl", "solid\n" + facet("1 1 1", "1 1 1", "1 1 1") + "endsolid\n");
    const program_run result = run(in, file("out"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "smallest size"), 0);
}

TEST_F(mesh_tour, tells_a_missing_file) {
    const program_run result = run(file("absent.stl"), file("out"));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("absent.stl: can't be opened: No such file or directory\n"),
              std::string::npos)
        << result.errors;
    EXPECT_TRUE(result.output.empty());
}

TEST_F(mesh_tour, tells_a_folder) {
    fs::create_directory(file("folder.stl"));
    const program_run result = run(file("folder.stl"), file("out"));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("folder.stl: is a folder\n"), std::string::npos) << result.errors;
}

TEST_F(mesh_tour, tells_a_malformed_file_and_writes_nothing) {
    const std::string sample = text_of(SAMPLE);
    const std::string no_surface =
        "in.stl: neither the word solid nor the 84 bytes before binary facets\n";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"not a surface", no_surface},
        {sample.substr(0, sample.rfind("endloop", sample.size() / 2)),
         ": endloop is expected, and the file ends\n"},
        {std::string(200, 'x'), "in.stl: facet 3 of 2021161080 is expected, and the file ends\n"},
        {"", no_surface}};
    for (const auto& [content, sentence] : cases) {
        const program_run result = run(file("in.stl", content), file("out"));
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_NE(result.errors.find(sentence), std::string::npos) << result.errors;
        EXPECT_TRUE(result.output.empty());
        EXPECT_FALSE(fs::exists(file("out.stl")));
        EXPECT_FALSE(fs::exists(file("out.vtk")));
    }
}

TEST_F(mesh_tour, tells_the_line_of_an_element_without_its_node) {
    const std::string contents = std::string(house) + "CTRIA3,9,2,1,2,99\n";
    const program_run result = run(file("house.nas", contents), file("out"));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("house.nas, line 23: node 99 of CTRIA3 9 is not in the deck\n"),
              std::string::npos)
        << result.errors;
}

TEST_F(mesh_tour, tells_an_output_that_cannot_be_written) {
    const program_run result = run(SAMPLE, file("no_such_folder/out"));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find("out.vtk: can't be opened: No such file or directory\n"),
              std::string::npos)
        << result.errors;
}

TEST_F(mesh_tour, tells_its_usage) {
    EXPECT_EQ(run("").exit_code, 2);
    EXPECT_EQ(run("one").exit_code, 2);
}

} // namespace
