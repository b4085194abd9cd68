// Memory failure at every allocation of the FEMAP functions, one after the other.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/femap_files.h"
#include "formats/run_memory.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

std::string large_file() {
    std::string nodes;
    for (int id = 1; id <= 300; ++id) nodes += femap_node(std::to_string(id), std::to_string(id));
    std::string elements;
    for (int k = 1; k <= 40; ++k) elements += femap_element(k, 0, {k, 1});
    elements += femap_element(1, 8, {1, 2, 3, 4, 5, 6, 7, 8});
    for (int k = 1; k <= 20; ++k) {
        elements += femap_element(k, 2, {k, 1, 2}) + femap_element(k, 4, {k, 1, 2, 3});
    }
    return femap_block("403", nodes) + femap_block("404", elements);
}

TEST(femap_memory, input_of_all_runs) {
    const femap_arrays whole = read_femap(large_file());
    ASSERT_EQ(whole.code, 0);
    const scratch_stream stream(large_file());
    fail_reading<femap_arrays>(stream.get(), [&](bool failed, const femap_arrays& result) {
        // Nodes are whole, or the failure is told, and they are what came first.
        if (result.code == 0) {
            EXPECT_EQ(list(result.pos), list(whole.pos));
        } else {
            EXPECT_TRUE(is_beginning_of_columns(result.pos, whole.pos));
        }
        // What can't be appended to the lists is lost.
        EXPECT_LE(result.connect.cols(), whole.connect.cols());
        EXPECT_LE(result.indices.size(), whole.indices.size());
        EXPECT_LE(result.types.size(), whole.types.size());
        EXPECT_LE(result.pids.size(), whole.pids.size());
        if (!failed) {
            EXPECT_EQ(list(result.connect), list(whole.connect));
            EXPECT_EQ(list(result.indices), list(whole.indices));
            EXPECT_EQ(list(result.types), list(whole.types));
            EXPECT_EQ(list(result.pids), list(whole.pids));
        }
    });
}

TEST(femap_memory, input_of_one_connectivity) {
    const auto whole = read_as<femap_one_connectivity>(large_file());
    const scratch_stream stream(large_file());
    fail_reading<femap_one_connectivity>(stream.get(),
                                         [&](bool failed, const femap_one_connectivity& one) {
                                             if (one.code != 0) {
                                                 EXPECT_EQ(one.type, ET_UNKNOWN);
                                             }
                                             if (!failed) {
                                                 EXPECT_EQ(list(one.pos), list(whole.pos));
                                                 EXPECT_EQ(list(one.connect), list(whole.connect));
                                             }
                                         });
}

TEST(femap_memory, input_of_two_connectivities) {
    const auto whole = read_as<femap_two_connectivities>(large_file());
    const scratch_stream stream(large_file());
    fail_reading<femap_two_connectivities>(
        stream.get(), [&](bool failed, const femap_two_connectivities& two) {
            if (two.code != 0) {
                EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
                EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
                return;
            }
            // Views stay within what was read, whatever was lost.
            for (const dense2D<unsigned int>* const connect : {&two.connect1, &two.connect2}) {
                for (const auto& column : list(*connect)) EXPECT_LE(column.size(), 8U);
            }
            if (!failed) {
                EXPECT_EQ(list(two.connect1), list(whole.connect1));
                EXPECT_EQ(list(two.connect2), list(whole.connect2));
            }
        });
}

TEST(femap_memory, output_writes_all_or_nothing) {
    const mesh solids = mixed_solids();
    fail_writing<femap_functions>(solids.pos, solids.connect, solids.type);
    fail_writing<femap_functions>(solids.pos, solids.connect, dense1D<unsigned int>{0U, 4U},
                                  dense1D<int>{ET_SOLID_MIX},
                                  dense1D<unsigned int>{1U, 2U, 3U, 4U});
    fail_writing<femap_functions>(solids.pos, solids.connect, solids.connect, solids.type,
                                  solids.type);
}

TEST(femap_memory, lists_that_find_no_memory_are_out_of_memory) {
    const dense2D<double> pos = points({{0, 0}});
    const auto triangles = connectivity({{0, 1, 2}});
    const scratch_stream stream;
    int one = 0, two = 0;
    {
        const memory_limit limit(0);
        one = FEMAP_output(stream.get(), pos, triangles, ET_TRIA3);
        two = FEMAP_output(stream.get(), pos, triangles, triangles, ET_TRIA3, ET_TRIA3);
    }
    EXPECT_EQ(one, -199);
    EXPECT_EQ(two, -199);
    EXPECT_EQ(stream.contents(), "");
}

} // namespace
