// Memory failure at every allocation of the NASTRAN functions, one after the other.
#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "formats/nastran_decks.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr int thrown = -1000;

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

// Runs `read` on result after result, with every allocation failing. `check` is told the code and
// the result.
template <class Result, class Read, class Check> std::size_t fail_reading(Read read, Check check) {
    return fail_each_allocation([&](std::size_t k, bool and_later) {
        Result result;
        int code = thrown;
        bool failed = false;
        {
            const memory_failure failure(k, and_later);
            try {
                read(result);
                code = result.code;
            } catch (const std::bad_alloc&) {
            }
            failed = failure.happened();
        }
        EXPECT_TRUE(code == 0 || code == -199 || code == thrown) << k << ": " << code;
        EXPECT_TRUE(failed || code == 0) << k;
        check(code, failed, result);
        return failed;
    });
}

// Whether `part` is the beginning of `whole`.
template <class T> bool is_beginning(const std::vector<T>& part, const std::vector<T>& whole) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

template <class T> bool is_beginning_of_columns(const dense2D<T>& part, const dense2D<T>& whole) {
    if (part.cols() > whole.cols()) return false;
    for (std::size_t c = 0; c < part.cols(); ++c) {
        for (std::size_t r = 0; r < part.rows(); ++r) {
            if (part(r, c) != whole(r, c)) return false;
        }
    }
    return true;
}

void fail_full_form(const std::string& text, bool by_name) {
    const deck_arrays whole = read_deck(text);
    ASSERT_EQ(whole.code, 0);
    const scratch_stream stream(text);
    const scratch_file file(text);
    const std::size_t nbr_failed = fail_reading<deck_arrays>(
        [&](deck_arrays& deck) {
            if (by_name) {
                deck.read(file.name());
            } else {
                std::rewind(stream.get());
                deck.read(stream.get());
            }
        },
        [&](int code, bool failed, const deck_arrays& deck) {
            if (code == thrown) return;
            // Nodes and elements are whole, or the failure is told, and they are what came first.
            if (code == 0) {
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
    EXPECT_GT(nbr_failed, 4U);
}

TEST(nastran_memory, input_of_all_runs_from_a_stream) {
    fail_full_form(small_deck(), false);
    fail_full_form(large_deck(), false);
}

TEST(nastran_memory, input_of_all_runs_by_name) { fail_full_form(small_deck(), true); }

TEST(nastran_memory, input_of_one_connectivity) {
    const auto whole = read_as<one_connectivity>(large_deck());
    ASSERT_EQ(whole.code, 0);
    const scratch_stream stream(large_deck());
    fail_reading<one_connectivity>(
        [&](one_connectivity& one) {
            std::rewind(stream.get());
            one.read(stream.get());
        },
        [&](int code, bool failed, const one_connectivity& one) {
            if (code != 0) {
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
    fail_reading<two_connectivities>(
        [&](two_connectivities& two) {
            std::rewind(stream.get());
            two.read(stream.get());
        },
        [&](int code, bool failed, const two_connectivities& two) {
            if (code != 0) {
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

// Either all is written, or nothing and a code tells of it, or an exception leaves.
template <class... Arguments> void fail_writing(const Arguments&... arguments) {
    const std::string expected = [&] {
        const scratch_stream stream;
        EXPECT_EQ(NASTRAN_output(stream.get(), arguments...), 0);
        return stream.contents();
    }();
    fail_each_allocation([&](std::size_t k, bool and_later) {
        const scratch_stream stream;
        int code = thrown;
        bool failed = false;
        {
            const memory_failure failure(k, and_later);
            try {
                code = NASTRAN_output(stream.get(), arguments...);
            } catch (const std::bad_alloc&) {
            }
            failed = failure.happened();
        }
        if (code != thrown) {
            EXPECT_EQ(stream.contents(), code == 0 ? expected : "") << k;
        }
        EXPECT_TRUE(failed || code == 0) << k;
        return failed;
    });
}

TEST(nastran_memory, output_writes_all_or_nothing) {
    const mesh solids = mixed_solids();
    fail_writing(solids.pos, solids.connect, solids.type);
    fail_writing(solids.pos, solids.connect, dense1D<unsigned int>{0U, 4U},
                 dense1D<int>{ET_SOLID_MIX}, dense1D<unsigned int>{1U, 2U, 3U, 4U});
    const mesh faces = mixed_faces();
    fail_writing(solids.pos, solids.connect, faces.connect, solids.type, faces.type);
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
