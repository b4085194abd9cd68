#include <gtest/gtest.h>

#include <string>

#include "examples/program_test.h"

using namespace test;

namespace {

class size_field : public program_test {
protected:
    program_run run(const std::string& arguments) const {
        return program_test::run(SIZE_FIELD, arguments);
    }
};

// A sharp source has spread, and the limit holds but for the slack of refused steps.
void expect_bounded(const program_run& run, double limit) {
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(figure(run, "limit of the gradation"), limit);
    EXPECT_GT(figure(run, "  largest", 0), limit);
    EXPECT_LE(figure(run, "  largest", 1), 1.01 * limit);
    EXPECT_GT(figure(run, "nodes above the limit", 0), 0);
    EXPECT_EQ(figure(run, "nodes above the limit", 1), 0);
    EXPECT_GT(figure(run, "nodes changed"), 1);
    EXPECT_GE(figure(run, "time"), 0);
}

void expect_refused(const program_run& run, int exit_code, const std::string& message) {
    EXPECT_EQ(run.exit_code, exit_code);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find(message), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("usage") != std::string::npos, exit_code == 2) << run.errors;
}

TEST_F(size_field, bounds_the_sizes_of_the_sample) {
    const program_run result = run("");
    expect_bounded(result, 0.2);
    EXPECT_EQ(figure(result, "nodes"), 435);
    EXPECT_EQ(figure(result, "elements"), 1024);
    EXPECT_EQ(figure(result, "edges"), 1248 + 144);
    EXPECT_NEAR(figure(result, "size at the sources"), 0.1 * figure(result, "smallest size"), 1e-4);
}

TEST_F(size_field, takes_another_file) {
    const program_run result = run("--gradation 0.5 '" SAMPLE "'");
    expect_bounded(result, 0.5);
    EXPECT_EQ(figure(result, "nodes"), 435);
}

TEST_F(size_field, bounds_the_sizes_of_a_block_with_sources_where_asked) {
    const program_run result =
        run("--block 8 --source .5,.5,.5 --source 0,0,0 --size 1e-3 --gradation 0.3");
    expect_bounded(result, 0.3);
    EXPECT_EQ(figure(result, "nodes"), 9 * 9 * 9);
    EXPECT_EQ(figure(result, "elements"), 6 * 8 * 8 * 8);
    // Along the axes, across a side of each cell, through each cell.
    EXPECT_EQ(figure(result, "edges"), 3 * 8 * 9 * 9 + 3 * 8 * 8 * 9 + 8 * 8 * 8);
    EXPECT_EQ(figure(result, "sources"), 2);
    EXPECT_EQ(figure(result, "size at the sources"), 1e-3);
}

TEST_F(size_field, bounds_stretched_metrics) {
    const program_run surface = run("--stretch 1,1,0");
    expect_bounded(surface, 0.2);
    EXPECT_EQ(figure(surface, "stretched by"), 5);
    const program_run block = run("--block 6 --stretch 0,0,-2 --ratio 10 --source .5,.5,.5");
    expect_bounded(block, 0.2);
    EXPECT_EQ(figure(block, "stretched by"), 10);
    // What is stretched reaches farther along the direction.
    EXPECT_GT(figure(block, "nodes changed"),
              figure(run("--block 6 --source .5,.5,.5"), "nodes changed"));
}

TEST_F(size_field, stretching_by_one_changes_as_many_nodes_as_plain_sizes) {
    EXPECT_EQ(figure(run("--block 5 --stretch 1,2,3 --ratio 1"), "nodes changed"),
              figure(run("--block 5"), "nodes changed"));
}

TEST_F(size_field, a_limit_of_zero_makes_all_sizes_that_of_the_source) {
    const program_run result = run("--block 4 --gradation 0");
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(figure(result, "  largest", 1), 0);
    EXPECT_EQ(figure(result, "nodes changed"), 5 * 5 * 5 - 1);
}

TEST_F(size_field, tells_its_usage_where_an_argument_is_wrong) {
    expect_refused(run("--block"), 2, "--block: its value is missing");
    for (const char* const n : {"0", "-1", "1.5", "201", "1e30"}) {
        expect_refused(run(std::string("--block ") + n), 2, "must be a whole number");
    }
    for (const char* const number : {"nan", "inf", "x", "1x", "''", "1e999"}) {
        expect_refused(run(std::string("--size ") + number), 2, "--size: not a number");
    }
    expect_refused(run("--size 0"), 2, "--size must be above 0");
    expect_refused(run("--gradation -1"), 2, "--gradation must be 0 or more");
    expect_refused(run("--gradation 1,2"), 2, "--gradation takes 1 number");
    expect_refused(run("--source 1,2"), 2, "--source takes 3 numbers");
    expect_refused(run("--source 1,2,"), 2, "--source: not a number");
    expect_refused(run("--stretch 0,0,0"), 2, "--stretch must be a direction");
    expect_refused(run("--ratio -2"), 2, "--ratio must be above 0");
    expect_refused(run("--fast yes"), 2, "no such option: --fast");
    expect_refused(run("one two"), 2, "more than one mesh: two");
    expect_refused(run("one --block 3"), 2, "a file and a block");
}

TEST_F(size_field, tells_a_mesh_that_is_of_no_use) {
    expect_refused(run(file("absent.stl").string()), 1, "absent.stl: can't be read");
    expect_refused(run(file("bad.stl", "not a surface").string()), 1, "bad.stl: not an STL file");
    expect_refused(run(file("empty.stl", "solid x\nendsolid x\n").string()), 1, "no facets");
    expect_refused(run(file("point.stl", "solid x\nfacet normal 0 0 1\nouter loop\n"
                                         "vertex 1 1 1\nvertex 1 1 1\nvertex 1 1 1\n"
                                         "endloop\nendfacet\nendsolid x\n")
                           .string()),
                   1, "a node has no edge of any length");
}

TEST_F(size_field, tells_sizes_that_no_number_can_hold_and_sources_out_of_reach) {
    expect_refused(run("--stretch 1,0,0 --size 1e-160"), 1, "too small or too large");
    expect_refused(run("--source 1e200,0,0"), 1, "no node is near enough");
}

} // namespace
