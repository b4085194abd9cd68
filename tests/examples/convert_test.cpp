#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "examples/program_test.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

class convert : public program_test {
protected:
    program_run run(const std::string& option, const std::string& in,
                    const std::string& out) const {
        return program_test::run(CONVERT, option + " '" + file(in).string() + "' '" +
                                              file(out).string() + "'");
    }
    // All of the mesh must arrive.
    program_run run_on(const std::string& in, const std::string& out) const {
        return run("", in, out);
    }
    program_run run_lossy(const std::string& in, const std::string& out) const {
        return run("--lossy", in, out);
    }
};

bool has(const program_run& run, const std::string& text) {
    return run.output.find(text) != std::string::npos;
}
// A line of the report.
bool says(const program_run& run, const std::string& line) {
    return has(run, "\n  " + line + "\n");
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
                      "ENDDATA\n";

TEST_F(convert, goes_between_every_pair_of_formats_that_hold_faces) {
    const std::vector<std::string> readable{"stl", "nas",  "bdf", "dat", "neu",
                                            "obj", "mesh", "vtk", "vtu"};
    const std::vector<std::string> writable{"stl",  "nas", "bdf",  "dat", "neu", "obj",
                                            "mesh", "geo", "case", "vtk", "vtu"};
    file("start.obj", two_faces);
    for (const std::string& in : readable) {
        ASSERT_EQ(run_on("start.obj", "in." + in).exit_code, 0) << in;
        for (const std::string& out : writable) {
            const program_run result = run_on("in." + in, "out_of_" + in + "." + out);
            EXPECT_EQ(result.exit_code, 0) << in << " to " << out << result.errors;
            EXPECT_TRUE(has(result, in == "stl" ? "5 nodes, 3 elements" : "5 nodes, 2 elements"))
                << in << " to " << out << result.output;
            EXPECT_FALSE(has(result, "not written")) << in << " to " << out << result.output;
            const std::filesystem::path written = file("out_of_" + in + "." + out);
            EXPECT_GT(text_of(written).size(), 50U) << in << " to " << out;
            if (out == "geo" || out == "case") continue; // are not read
            mesh m;
            file_report report;
            EXPECT_EQ(read_mesh(written.c_str(), m, report), 0) << in << " to " << out;
            EXPECT_EQ(m.pos.cols(), 5U) << in << " to " << out;
            EXPECT_EQ(m.connect.cols(), in == "stl" || out == "stl" ? 3U : 2U)
                << in << " to " << out;
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
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_TRUE(says(result, "changed  1 quadrangle written as triangles")) << result.output;
    dense2D<double> pos;
    dense2D<unsigned int> triangles;
    ASSERT_EQ(STL_input(file("b.stl").string().c_str(), pos, triangles), 0);
    EXPECT_EQ(triangles.cols(), 3U);
    EXPECT_EQ(pos.cols(), 5U);
}

TEST_F(convert, splits_quadrangles_in_their_groups) {
    file("groups.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0.5\n"
                       "g wide\nf 1 2 3 4\ng narrow\nf 2 5 3\ng wide\nf 1 4 3 2\n");
    const program_run result = run_lossy("groups.obj", "b.stl");
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_TRUE(says(result, "changed  2 quadrangles written as triangles")) << result.output;
    EXPECT_TRUE(
        says(result, "lost     set of elements: 2 not written: the format has no such sets"));
    dense2D<double> pos;
    dense2D<unsigned int> triangles;
    ASSERT_EQ(STL_input(file("b.stl").string().c_str(), pos, triangles), 0);
    EXPECT_EQ(list(triangles),
              list(connectivity({{0, 1, 2}, {0, 2, 3}, {1, 4, 2}, {0, 3, 2}, {0, 2, 1}})));
}

TEST_F(convert, says_what_is_in_the_file_and_what_was_left_there) {
    file("deck.nas", "SOL 101\nBEGIN BULK\n"
                     "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,0.,1.,0.\n"
                     "CTRIA3,1,1,1,2,3\nCBUSH,2,7,1,2\nCBUSH,3,7,2,3\nENDDATA\n");
    const program_run result = run_on("deck.nas", "a.obj");
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output,
              file("deck.nas").string() +
                  ", NASTRAN: 3 nodes, 1 element\n"
                  "  1 TRIA3\n"
                  "  lost     CBUSH: 2 not read, first in line 7: no mesh element\n" +
                  file("a.obj").string() + ", Wavefront OBJ\n");
}

TEST_F(convert, refuses_to_lose_anything_unless_it_is_asked_to) {
    file("solids.nas", solids);
    const std::string lines =
        "  lost     node: 1 not written: in no element that is written\n"
        "  lost     number of a node: 1 not written: the format has no numbers\n"
        "  lost     number of an element: 2 not written: the format has no numbers\n";
    file("a.mesh", "older contents");
    const program_run refused = run_on("solids.nas", "a.mesh");
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(has(refused, lines)) << refused.output;
    EXPECT_EQ(refused.errors,
              "convert: " + file("a.mesh").string() + ": MEDIT can't hold all of the mesh\n");
    EXPECT_EQ(text_of(file("a.mesh")), "older contents");
    const program_run allowed = run_lossy("solids.nas", "a.mesh");
    EXPECT_EQ(allowed.exit_code, 0) << allowed.errors;
    EXPECT_TRUE(has(allowed, lines)) << allowed.output;
    EXPECT_NE(text_of(file("a.mesh")).find("Pyramids\n1\n"), std::string::npos);
    EXPECT_FALSE(has(allowed, "PYRA5: "));
    EXPECT_FALSE(has(allowed, "property"));
}

TEST_F(convert, says_what_is_lost) {
    file("solids.nas", solids);
    const program_run femap = run_lossy("solids.nas", "a.neu");
    EXPECT_EQ(femap.exit_code, 0) << femap.errors;
    EXPECT_TRUE(says(femap, "lost     PYRA5: 1 not written: the format has no such element"))
        << femap.output;
    EXPECT_FALSE(has(femap, "property"));
    EXPECT_FALSE(has(femap, "number"));

    file("shaded.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 5 5 5\nvn 0 0 1\nf 1//1 2//1 3//1\n");
    EXPECT_TRUE(says(run_on("shaded.obj", "b.nas"), "lost     vn: 1 not read, in line 5: normals"));
    EXPECT_TRUE(says(run_lossy("shaded.obj", "b.stl"),
                     "lost     node: 1 not written: in no element that is written"));

    // Nothing of it is left.
    EXPECT_EQ(run_on("solids.nas", "c.stl").exit_code, 1);
    EXPECT_FALSE(std::filesystem::exists(file("c.stl")));
    EXPECT_TRUE(says(run_lossy("solids.nas", "c.stl"),
                     "lost     PYRA5: 1 not written: the format has no such element"));
}

TEST_F(convert, keeps_properties_between_formats_that_have_them) {
    file("solids.nas", solids);
    ASSERT_EQ(run_on("solids.nas", "a.dat").exit_code, 0);
    ASSERT_EQ(run_lossy("a.dat", "b.neu").exit_code, 0);
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
    EXPECT_EQ(pos.cols(), 9U); // numbers are kept, and columns are numbers here

    // Both have a place for all of it.
    ASSERT_EQ(run_on("solids.nas", "d.nas").exit_code, 0);
    mesh before;
    mesh after;
    file_report report;
    ASSERT_EQ(read_mesh(file("solids.nas").c_str(), before, report), 0);
    ASSERT_EQ(read_mesh(file("d.nas").c_str(), after, report), 0);
    EXPECT_TRUE(report.remarks().empty());
    EXPECT_EQ(list(after.pos), list(before.pos));
    EXPECT_EQ(list(after.connect), list(before.connect));
    EXPECT_EQ(list(after.pids), (std::vector<unsigned int>{3, 4}));
    EXPECT_EQ(list(after.node_numbers), (std::vector<unsigned int>{1, 2, 3, 4, 5, 9}));
    EXPECT_EQ(list(after.element_numbers), (std::vector<unsigned int>{11, 12}));
}

TEST_F(convert, refuses_with_a_clear_message) {
    const auto expect_failure = [&](const program_run& run, const std::string& message) {
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_NE(run.errors.find(message), std::string::npos) << run.errors;
    };
    file("a.obj", two_faces);
    file("bad.obj", "v 1\n");
    file("bad.neu", "   -1\n403\n1,2\n");
    file("hole.nas", "GRID,1,,0.,0.,0.\nCBAR,7,1,1,77\n");
    file("words.dump", "no deck\n");
    expect_failure(run_on("missing.stl", "b.nas"),
                   "missing.stl: can't be opened: No such file or directory\n");
    expect_failure(run_on("a.obj", "nowhere/b.nas"),
                   "nowhere/b.nas: can't be opened: No such file or directory\n");
    expect_failure(run_on("a.obj", "nowhere/b.vtu"),
                   "nowhere/b.vtu: can't be opened: No such file or directory\n");
    expect_failure(run_on("a.obj", "b.step"), "b.step: its ending tells no format\n");
    expect_failure(run_on("words.dump", "b.nas"),
                   "words.dump: neither its name nor its contents tell a format\n");
    expect_failure(run_on("bad.obj", "b.nas"),
                   "bad.obj, line 1, column 4: a finite number is expected\n");
    expect_failure(run_on("bad.neu", "b.nas"), "bad.neu, line 3: 14 fields are expected\n");
    expect_failure(run_on("hole.nas", "b.nas"),
                   "hole.nas, line 2: node 77 of CBAR 7 is not in the deck\n");
    EXPECT_EQ(program_test::run(CONVERT, "one").exit_code, 2);
    EXPECT_EQ(program_test::run(CONVERT, "one two three").exit_code, 2);
    EXPECT_EQ(program_test::run(CONVERT, "--tight one two").exit_code, 2);
}

} // namespace
