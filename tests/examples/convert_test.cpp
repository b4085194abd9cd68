#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "examples/program_test.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

class convert : public program_test {
protected:
    program_run run(const std::string& in, const std::string& out) const {
        return program_test::run(CONVERT, "'" + in + "' '" + out + "'");
    }
    program_run run_on(const std::string& in, const std::string& out) const {
        return run(file(in).string(), file(out).string());
    }
};

bool has(const program_run& run, const std::string& text) {
    return run.output.find(text) != std::string::npos;
}

const char two_faces[] = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0.5\n"
                         "f 1 2 3 4\nf 2 5 3\n";

const char solids[] = "BEGIN BULK\n"
                      "GRID,1,,0.,0.,0.\n"
                      "GRID,2,,1.,0.,0.\n"
                      "GRID,3,,1.,1.,0.\n"
                      "GRID,4,,0.,1.,0.\n"
                      "GRID,5,,0.5,0.5,1.\n"
                      "GRID,9,,7.,7.,7.\n"
                      "CTETRA,11,3,1,2,3,5\n"
                      "CPYRAM,12,4,1,2,3,4,5\n"
                      "CTRIA3,13,4,1,2,77\n"
                      "ENDDATA\n";

TEST_F(convert, goes_between_every_pair_of_formats_that_hold_faces) {
    const std::vector<std::string> readable{"stl", "nas", "bdf", "dat", "neu", "obj"};
    const std::vector<std::string> writable{"stl", "nas",  "bdf", "dat", "neu",
                                            "obj", "mesh", "geo", "vtk"};
    file("start.obj", two_faces);
    for (const std::string& in : readable) {
        ASSERT_EQ(run_on("start.obj", "in." + in).exit_code, 0) << in;
        for (const std::string& out : writable) {
            const program_run result = run_on("in." + in, "out_of_" + in + "." + out);
            EXPECT_EQ(result.exit_code, 0) << in << " to " << out << result.errors;
            EXPECT_TRUE(has(result, in == "stl" ? "5 nodes, 3 elements" : "5 nodes, 2 elements"))
                << in << " to " << out << result.output;
            EXPECT_GT(text_of(file("out_of_" + in + "." + out)).size(), 80U) << in << " to " << out;
        }
    }
}

TEST_F(convert, keeps_nodes_and_elements_on_the_way_round) {
    file("a.obj", two_faces);
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"a.obj", "b.nas"}, {"b.nas", "c.neu"}, {"c.neu", "d.OBJ"}}) {
        ASSERT_EQ(run_on(from, to).exit_code, 0);
    }
    dense2D<double> pos;
    dense2D<double> normals;
    dense2D<double> textures;
    dense2D<unsigned int> triangles;
    dense2D<unsigned int> quadrangles;
    ASSERT_EQ(WavefrontOBJ_input(file("d.OBJ").string().c_str(), pos, normals, textures, triangles,
                                 quadrangles),
              0);
    EXPECT_EQ(list(pos), list(points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0, 0.5}})));
    EXPECT_EQ(list(triangles), list(connectivity({{1, 4, 2}})));
    EXPECT_EQ(list(quadrangles), list(connectivity({{0, 1, 2, 3}})));
}

TEST_F(convert, splits_quadrangles_for_stl) {
    file("a.obj", two_faces);
    const program_run result = run_on("a.obj", "b.stl");
    EXPECT_TRUE(has(result, "1 QUAD4 split into triangles"));
    dense2D<double> pos;
    dense2D<unsigned int> triangles;
    ASSERT_EQ(STL_input(file("b.stl").string().c_str(), pos, triangles), 0);
    EXPECT_EQ(triangles.cols(), 3U);
    EXPECT_EQ(pos.cols(), 5U);
}

TEST_F(convert, says_what_is_lost) {
    file("solids.nas", solids);
    const program_run femap = run_on("solids.nas", "a.neu");
    EXPECT_EQ(femap.exit_code, 0);
    EXPECT_TRUE(has(femap, "1 element left out: nodes that they name are not in the file"));
    EXPECT_TRUE(has(femap, "1 PYRA5 left out: FEMAP has no such element here"));
    EXPECT_TRUE(has(femap, "elements are numbered anew"));
    EXPECT_FALSE(has(femap, "properties left out"));
    const program_run medit = run_on("solids.nas", "a.mesh");
    EXPECT_EQ(medit.exit_code, 0);
    EXPECT_TRUE(has(medit, "properties left out, 2 different numbers"));
    EXPECT_FALSE(has(medit, "PYRA5 left out"));

    file("shaded.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 5 5 5\nvn 0 0 1\nf 1//1 2//1 3//1\n");
    EXPECT_TRUE(has(run_on("shaded.obj", "b.nas"), "normals and texture coordinates left out"));
    EXPECT_TRUE(has(run_on("shaded.obj", "b.stl"), "1 node without an element left out"));
}

TEST_F(convert, keeps_properties_between_formats_that_have_them) {
    file("solids.nas", solids);
    ASSERT_EQ(run_on("solids.nas", "a.dat").exit_code, 0);
    ASSERT_EQ(run_on("a.dat", "b.neu").exit_code, 0);
    ASSERT_EQ(run_on("b.neu", "c.nas").exit_code, 0);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    dense1D<unsigned int> indices;
    dense1D<int> types;
    dense1D<unsigned int> pids;
    std::FILE* const result = std::fopen(file("c.nas").string().c_str(), "r");
    ASSERT_TRUE(result);
    EXPECT_EQ(NASTRAN_input(result, pos, connect, indices, types, pids), 0);
    std::fclose(result);
    EXPECT_EQ(list(pids), (std::vector<unsigned int>{3}));
    EXPECT_EQ(list(types), (std::vector<int>{ET_TETRA4}));
    EXPECT_EQ(list(connect), list(connectivity({{0, 2, 1, 4}})));
    EXPECT_EQ(pos.cols(), 9U);
}

// An element of a FEMAP file, on node 1 only.
std::string femap_element(int number, int topology) {
    std::string text = std::to_string(number) + ",1,1,10," + std::to_string(topology) + ",\n";
    text += "1,0,0,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n";
    return text + "0.,\n0.,\n0.,\n0,\n";
}

TEST_F(convert, refuses_with_a_clear_message) {
    const auto expect_failure = [&](const program_run& run, const std::string& message) {
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_NE(run.errors.find(message), std::string::npos) << run.errors;
    };
    file("a.obj", two_faces);
    file("solids.nas", "GRID,1,,0.,0.,0.\nCTETRA,1,1,1,1,1,1\n");
    file("bad.obj", "v 1\n");
    file("bad.neu", "   -1\n403\n1,2\n");
    file("unknown.neu", "   -1\n403\n1,0,0,1,0,0,0,0,0,0,0,0.,0.,0.,0,\n   -1\n"
                        "   -1\n404\n" +
                            femap_element(1, 9) + femap_element(2, 11) + "   -1\n");
    file("empty.nas", "");
    expect_failure(run_on("missing.stl", "b.nas"), "No such file");
    expect_failure(run_on("a.obj", "nowhere/b.nas"), "No such file");
    expect_failure(run_on("a.obj", "b.step"), "its ending is none of");
    expect_failure(run_on("a.mesh", "b.nas"), "its ending is none of");
    expect_failure(run_on("bad.obj", "b.nas"), "not a readable Wavefront OBJ file");
    expect_failure(run_on("bad.neu", "b.nas"), "not a readable FEMAP file");
    expect_failure(run_on("unknown.neu", "b.nas"), "has elements of a topology");
    expect_failure(run_on("empty.nas", "b.vtk"), "has no nodes");
    expect_failure(run_on("solids.nas", "b.stl"), "would hold none of the elements");
    EXPECT_EQ(program_test::run(CONVERT, "one").exit_code, 2);
}

} // namespace
