// What the writers of runs have in common: codes, in their order.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <vector>

#include "formats/femap_files.h"
#include "formats/nastran_decks.h"
#include "formats/run_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

template <class Functions> class writers_of_runs : public testing::Test {};
using run_formats = testing::Types<nastran_functions, femap_functions>;
TYPED_TEST_SUITE(writers_of_runs, run_formats, format_names);

const dense2D<double> one_point = points({{1.5, -0.00225, 0}});

TYPED_TEST(writers_of_runs, no_stream_or_a_failed_one_is_reported_before_any_check) {
    std::FILE* const failed = std::fopen("/dev/null", "r");
    std::fputc('x', failed);
    ASSERT_TRUE(std::ferror(failed));
    const dense2D<double> no_pos;
    const auto connect = connectivity({{0, none}});
    for (std::FILE* const file : {static_cast<std::FILE*>(nullptr), failed}) {
        EXPECT_EQ(TypeParam::output(file, no_pos, connect, dense1D<unsigned int>(), dense1D<int>{3},
                                    dense1D<unsigned int>()),
                  -1);
        EXPECT_EQ(TypeParam::output(file, no_pos, connect, ET_TRIA3), -1);
        EXPECT_EQ(TypeParam::output(file, no_pos, connect, connect, ET_TRIA3, ET_QUAD4), -1);
    }
    std::fclose(failed);
}

TYPED_TEST(writers_of_runs, a_file_that_cant_be_opened_is_reported_before_any_check) {
    const dense2D<double> no_pos;
    const auto connect = connectivity({{0, none}});
    const std::size_t nbr_open = nbr_open_files();
    for (const char* const name : {"/no/such/folder/mesh", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(TypeParam::output(name, no_pos, connect, dense1D<unsigned int>(), dense1D<int>{3},
                                    dense1D<unsigned int>()),
                  -1);
        EXPECT_EQ(TypeParam::output(name, no_pos, connect, ET_TRIA3), -1);
        EXPECT_EQ(TypeParam::output(name, no_pos, connect, connect, ET_TRIA3, ET_QUAD4), -1);
    }
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TYPED_TEST(writers_of_runs, nodes_need_two_or_three_rows) {
    const auto connect = connectivity({{0, 1}});
    for (const std::size_t rows : {0U, 1U, 4U, 6U}) {
        const dense2D<double> pos(rows, 2, 1.0);
        written_runs<TypeParam>(-2, pos, connect, ET_BAR2);
        written_runs<TypeParam>(-2, pos, connect, connect, ET_BAR2, ET_BAR2);
        written_runs<TypeParam>(-2, pos, connect, dense1D<unsigned int>{0U, 1U},
                                dense1D<int>{ET_BAR2}, dense1D<unsigned int>{1U});
    }
}

TYPED_TEST(writers_of_runs, indices_have_one_entry_more_than_types) {
    const auto connect = connectivity({{0, 1}});
    const dense1D<unsigned int> pids{1U};
    written_runs<TypeParam>(-5, one_point, connect, dense1D<unsigned int>{0U},
                            dense1D<int>{ET_BAR2}, pids);
    written_runs<TypeParam>(-5, one_point, connect, dense1D<unsigned int>{0U, 1U, 1U},
                            dense1D<int>{ET_BAR2}, pids);
    written_runs<TypeParam>(-5, one_point, connect, dense1D<unsigned int>(), dense1D<int>(), pids);
}

TYPED_TEST(writers_of_runs, every_column_has_a_property) {
    const auto connect = connectivity({{0, 1}, {1, 2}});
    for (const std::size_t n : {0U, 1U, 3U}) {
        written_runs<TypeParam>(-6, one_point, connect, dense1D<unsigned int>{0U, 2U},
                                dense1D<int>{ET_BAR2}, dense1D<unsigned int>(n, 1U));
    }
}

TYPED_TEST(writers_of_runs, the_checks_come_in_the_order_2_5_6_3) {
    const auto bad = connectivity({{0, none}});
    const dense2D<double> no_pos;
    const dense1D<unsigned int> good_indices{0U, 1U};
    const dense1D<unsigned int> bad_indices{0U};
    const dense1D<int> types{ET_BAR2};
    const dense1D<unsigned int> good_pids{1U};
    const dense1D<unsigned int> bad_pids;
    written_runs<TypeParam>(-2, no_pos, bad, bad_indices, types, bad_pids);
    written_runs<TypeParam>(-5, one_point, bad, bad_indices, types, bad_pids);
    written_runs<TypeParam>(-6, one_point, bad, good_indices, types, bad_pids);
    written_runs<TypeParam>(-3, one_point, bad, good_indices, types, good_pids);
}

TYPED_TEST(writers_of_runs, a_run_needs_the_rows_of_its_type_and_no_absent_node) {
    for (int t = 0; t <= ET_HEXA27; ++t) {
        const auto type = static_cast<element_type>(t);
        const std::size_t n = nbr_nodes(type);
        for (std::size_t rows = 1; rows <= 28; ++rows) {
            const dense2D<unsigned int> connect(rows, 2, 0U);
            const bool good = type == ET_SOLID_MIX ? rows == 8 : rows >= n;
            const dense1D<unsigned int> indices{0U, 2U};
            const dense1D<int> types{t};
            const dense1D<unsigned int> pids{1U, 1U};
            const scratch_stream stream;
            EXPECT_EQ(TypeParam::output(stream.get(), one_point, connect, indices, types, pids),
                      good ? 0 : -3)
                << t << ' ' << rows;
            EXPECT_EQ(TypeParam::output(stream.get(), one_point, connect, type), good ? 0 : -3)
                << t << ' ' << rows;
        }
        if (n == 0) continue;
        for (std::size_t r = 0; r < n; ++r) {
            dense2D<unsigned int> connect(n, 2, 0U);
            connect(r, 1) = none;
            const bool good = type == ET_FACE_MIX && r == 3;
            const scratch_stream stream;
            EXPECT_EQ(TypeParam::output(stream.get(), one_point, connect, type), good ? 0 : -3)
                << t << ' ' << r;
            EXPECT_EQ(stream.contents().empty(), !good) << t << ' ' << r;
        }
    }
}

TYPED_TEST(writers_of_runs, mixed_columns_are_a_shape_or_a_failure) {
    const auto code = [](const std::vector<unsigned int>& column, element_type type) {
        const scratch_stream stream;
        return TypeParam::output(stream.get(), one_point, array_of({column}, column.size()), type);
    };
    EXPECT_EQ(code({0, 1, 2}, ET_FACE_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, none}, ET_FACE_MIX), 0);
    EXPECT_EQ(code({0, 1, none, none}, ET_FACE_MIX), -3);
    EXPECT_EQ(code({0, 1, none, 3}, ET_FACE_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, 3}, ET_SOLID_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, 3, 4}, ET_SOLID_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, 3, 4, 5}, ET_SOLID_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, 3, none, none, none, none}, ET_SOLID_MIX), 0);
    EXPECT_EQ(code({0, 1, 2, 3, 4, none, none, none}, ET_SOLID_MIX), 0);
    EXPECT_EQ(code({0, 1, 2, 3, 4, 5, none, none}, ET_SOLID_MIX), 0);
    EXPECT_EQ(code({0, 1, 2, 3, 4, 5, 6, none}, ET_SOLID_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, 3, 4, none, 6, 7}, ET_SOLID_MIX), -3);
    EXPECT_EQ(code({0, 1, 2, none, none, none, none, none}, ET_SOLID_MIX), -3);
}

TYPED_TEST(writers_of_runs, runs_that_decrease_or_reach_beyond_the_columns_fail) {
    const dense2D<unsigned int> connect(2, 4, 1U);
    const dense1D<unsigned int> pids(4, 1U);
    const auto fails = [&](const dense1D<unsigned int>& indices, const dense1D<int>& types) {
        written_runs<TypeParam>(-3, one_point, connect, indices, types, pids);
    };
    fails({0U, 5U}, {ET_BAR2});
    fails({5U, 5U}, {ET_BAR2});
    fails({3U, 2U}, {ET_BAR2});
    fails({0U, 4U, 3U}, {ET_BAR2, ET_BAR2});
    fails({0U, none}, {ET_BAR2});
    fails({none, 0U}, {ET_BAR2});
    fails({4U, none}, {ET_BAR2});
    fails({0U, 0x80000000U, 4U}, {ET_BAR2, ET_BAR2});
    // Also with types that are not written.
    fails({0U, 5U}, {ET_UNKNOWN});
    fails({3U, 2U}, {ET_UNKNOWN});
    fails({0U, 5U}, {ET_NODE});
    fails({0U, 5U}, {ET_BAR_MIX});
    // Also if the array is a window.
    const dense2D<unsigned int> window = with_gaps(connect, 3, 7U);
    written_runs<TypeParam>(-3, one_point, window, dense1D<unsigned int>{0U, 5U},
                            dense1D<int>{ET_BAR2}, pids);
    written_runs<TypeParam>(-3, one_point, window, dense1D<unsigned int>{0U, 4U},
                            dense1D<int>{ET_TRIA3}, pids);
}

TYPED_TEST(writers_of_runs, one_bad_run_among_good_ones_leaves_the_file_empty) {
    const dense2D<unsigned int> connect = array_of({counted(0, 4), counted(0, 3)}, 4);
    written_runs<TypeParam>(-3, one_point, connect, dense1D<unsigned int>{0U, 1U, 2U},
                            dense1D<int>{ET_QUAD4, ET_QUAD4}, dense1D<unsigned int>{1U, 1U});
}

TYPED_TEST(writers_of_runs, a_full_disk_passes_unnoticed) {
    std::FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(TypeParam::output(full, one_point, connectivity({{0, 1}}), ET_BAR2), 0);
    std::fclose(full);
}

} // namespace
