// Memory failure at every allocation of the NASTRAN functions, one after the other.
#include <gtest/gtest.h>

#include <string>

#include "formats/nastran_decks.h"
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

// Nodes and elements beyond what is reserved at first, rows that grow, several runs.
std::string large_deck() {
    std::string text;
    for (int id = 1; id <= 300; ++id) {
        const std::string number = std::to_string(id);
        text += "GRID," + number + ",," + number + ".,0.,-1.\n";
    }
    for (int k = 1; k <= 300; ++k) text += "CBAR,1," + std::to_string(k) + ",1,2\n";
    text += "CHEXA,1,1,1,2,3,4,5,6,+\n+,7,8\n";
    for (int k = 1; k <= 300; ++k) text += "CTRIA3,1," + std::to_string(k) + ",1,2,3\n";
    for (int k = 1; k <= 20; ++k) text += "CBAR,1,1,1,2\nCTRIA3,1,1,1,2,3\n";
    return text;
}

std::string small_deck() {
    return "GRID,1,,1.,2.,3.\nCTRIA3,1,1,1,2,3\nCQUAD4,1,2,1,2,3,4\n"
           "GRID    2               1.5     2.5-1   3.5\n"
           "GRID*                  3                             4.5             5.5*\n"
           "*                    6.5\nCHEXA,1,1,1,2,3,4,5,6,+\n+,7,8\n";
}

template <class File> void fail_full_form(const std::string& text, File* file) {
    const deck_arrays whole = read_deck(text);
    ASSERT_EQ(whole.code, 0);
    fail_reading<deck_arrays>(file, [&](bool failed, const deck_arrays& deck) {
        // Nodes and elements are whole, or the failure is told, and they are what came first.
        if (deck.code == 0) {
            EXPECT_EQ(list(deck.pos), list(whole.pos));
            EXPECT_EQ(list(deck.connect), list(whole.connect));
        } else {
            EXPECT_TRUE(is_beginning_of_columns(deck.pos, whole.pos));
            EXPECT_TRUE(is_beginning_of_columns(deck.connect, whole.connect));
        }
        // What can't be appended to the lists is lost.
        EXPECT_LE(deck.indices.size(), whole.indices.size());
        EXPECT_LE(deck.types.size(), whole.types.size());
        EXPECT_LE(deck.pids.size(), whole.pids.size());
        if (!failed) {
            EXPECT_EQ(list(deck.indices), list(whole.indices));
            EXPECT_EQ(list(deck.types), list(whole.types));
            EXPECT_EQ(list(deck.pids), list(whole.pids));
        }
    });
}

TEST(nastran_memory, input_of_all_runs_from_a_stream) {
    for (const std::string& text : {small_deck(), large_deck()}) {
        const scratch_stream stream(text);
        fail_full_form(text, stream.get());
    }
}

TEST(nastran_memory, input_of_all_runs_by_name) {
    const scratch_file file(small_deck());
    fail_full_form(small_deck(), file.name());
}

TEST(nastran_memory, input_of_one_connectivity) {
    const auto whole = read_as<one_connectivity>(large_deck());
    ASSERT_EQ(whole.code, 0);
    const scratch_stream stream(large_deck());
    fail_reading<one_connectivity>(stream.get(), [&](bool failed, const one_connectivity& one) {
        if (one.code != 0) {
            EXPECT_EQ(one.type, ET_QUAD9);
            return;
        }
        EXPECT_EQ(list(one.pos), list(whole.pos));
        EXPECT_EQ(list(one.connect), list(whole.connect));
        if (!failed) {
            EXPECT_EQ(one.type, whole.type);
        }
    });
}

TEST(nastran_memory, input_of_two_connectivities) {
    const auto whole = read_as<two_connectivities>(large_deck());
    ASSERT_EQ(whole.code, 0);
    const scratch_stream stream(large_deck());
    fail_reading<two_connectivities>(stream.get(), [&](bool failed, const two_connectivities& two) {
        if (two.code != 0) {
            EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
            EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
            return;
        }
        EXPECT_EQ(list(two.pos), list(whole.pos));
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

TEST(nastran_memory, output_writes_all_or_nothing) {
    const mesh solids = mixed_solids();
    fail_writing<nastran_functions>(solids.pos, solids.connect, solids.type);
    fail_writing<nastran_functions>(solids.pos, solids.connect, dense1D<unsigned int>{0U, 4U},
                                    dense1D<int>{ET_SOLID_MIX},
                                    dense1D<unsigned int>{1U, 2U, 3U, 4U});
    const mesh faces = mixed_faces();
    fail_writing<nastran_functions>(solids.pos, solids.connect, faces.connect, solids.type,
                                    faces.type);
}

TEST(nastran_memory, two_connectivities_that_cant_be_joined_are_out_of_memory_before_any_check) {
    const auto triangles = connectivity({{0, 1, 2}});
    const scratch_stream stream;
    for (const std::size_t rows : {1U, 2U}) {
        const dense2D<double> pos(rows, 1, 0.0);
        int code = 0;
        {
            const memory_limit limit(0);
            code = NASTRAN_output(stream.get(), pos, triangles, triangles, ET_TRIA3, ET_TRIA3);
        }
        EXPECT_EQ(code, -199);
    }
    EXPECT_EQ(stream.contents(), "");
}

} // namespace
