// Arrays of more than 2^32 elements: sizes, places and byte counts are 64 bits wide. The largest of
// them takes 17 GiB. Kept out of the quick suite: scripts/large.sh.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>

#include "tessmaker/tessmaker.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using bytes = dense1D<signed char>;
using byte_matrix = dense2D<signed char>;
using ids = dense1D<unsigned int>;
using id_matrix = dense2D<unsigned int>;

constexpr std::size_t two_to_32 = std::size_t{1} << 32;

// A connectivity whose columns all stand on the one that is given: as many as wanted, without
// memory for them.
id_matrix repeated(ids& column, std::size_t cols) {
    return id_matrix::wrap(column.data(), column.size(), cols, 0);
}

} // namespace

TEST(large, a_list_grows_past_2_to_the_32_and_keeps_its_elements) {
    bytes list(two_to_32 - 1, 1);
    ASSERT_EQ(list.size(), two_to_32 - 1);
    ASSERT_TRUE(list.reserve(two_to_32 + 100, 1));
    for (signed char v = 2; v < 6; ++v) ASSERT_TRUE(list.push_back(v));
    EXPECT_EQ(list.size(), two_to_32 + 3);
    EXPECT_EQ(list[0], 1);
    EXPECT_EQ(list[two_to_32 - 2], 1);
    EXPECT_EQ(list[two_to_32 - 1], 2);
    EXPECT_EQ(list[two_to_32], 3);
    EXPECT_EQ(list[two_to_32 + 2], 5);
    EXPECT_EQ(list.end() - list.begin(), static_cast<std::ptrdiff_t>(two_to_32 + 3));

    const bytes tail = list.sub_vector(two_to_32, 3);
    ASSERT_TRUE(list.append(tail));
    EXPECT_EQ(list[two_to_32 + 3], 3);
    EXPECT_EQ(list[two_to_32 + 5], 5);
}

TEST(large, a_copy_of_a_list_past_2_to_the_32_is_equal_up_to_its_end) {
    bytes list(two_to_32 + 2, 1);
    list[two_to_32 + 1] = 7;
    bytes copy;
    ASSERT_TRUE(copy.copy(list));
    EXPECT_TRUE(copy == list);
    copy[two_to_32] = 9;
    EXPECT_FALSE(copy == list);
}

TEST(large, a_matrix_past_2_to_the_32_elements_grows_by_columns_and_by_rows) {
    constexpr std::size_t cols = (std::size_t{1} << 30) + 1;
    byte_matrix matrix(4, cols, 1);
    ASSERT_EQ(matrix.cols(), cols);
    matrix(3, cols - 1) = 2;
    EXPECT_EQ(matrix.as_vector().size(), two_to_32 + 4);
    EXPECT_EQ(matrix.as_vector()[two_to_32 + 3], 2);
    EXPECT_EQ(matrix.column(cols - 1) - matrix.column(0), static_cast<std::ptrdiff_t>(two_to_32));

    const byte_matrix last = matrix.sub_matrix(0, cols - 1, 4, 1);
    ASSERT_TRUE(matrix.append(last));
    EXPECT_EQ(matrix(0, cols), 1);
    EXPECT_EQ(matrix(3, cols), 2);
    ASSERT_TRUE(matrix.resize(5, cols, 3));
    EXPECT_EQ(matrix.ld(), 5U);
    EXPECT_EQ(matrix(3, cols - 1), 2);
    EXPECT_EQ(matrix(4, cols - 1), 3);
}

TEST(large, sizes_that_no_64_bits_hold_are_refused) {
    id_matrix matrix;
    EXPECT_FALSE(matrix.resize(two_to_32, two_to_32));
    EXPECT_FALSE(matrix.resize(two_to_32 / 2, two_to_32 / 2)); // 2^64 bytes
    EXPECT_TRUE(matrix.empty());
    ids list;
    EXPECT_FALSE(list.resize(static_cast<std::size_t>(-1) / sizeof(unsigned int)));
    EXPECT_TRUE(list.empty());
}

// 17 GiB: 2^30 + 2^26 columns of four.
TEST(large, ids_are_found_checked_and_changed_behind_the_place_2_to_the_32) {
    constexpr std::size_t cols = (std::size_t{1} << 30) + (std::size_t{1} << 26);
    id_matrix connect(4, cols, 0);
    ASSERT_EQ(connect.cols(), cols) << "there is no memory for this test";
    connect(3, cols - 1) = 9;
    EXPECT_EQ(max_ID(connect), 9U);
    EXPECT_TRUE(check_IDs(connect, 10));
    EXPECT_FALSE(check_IDs(connect, 9));
    EXPECT_FALSE(check_IDs(connect, ET_QUAD4, 9));
    EXPECT_EQ(count_unique_indices(connect), 2);
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, connect, ids()), 0);
    EXPECT_EQ(nodes, (ids{0, 9}));

    change_indices(connect, ids{5, 6, 7, 8, 9, 10, 11, 12, 13, 4});
    EXPECT_EQ(connect(2, cols - 1), 5U);
    EXPECT_EQ(connect(3, cols - 1), 4U);
    EXPECT_EQ(shift_indices(connect, 1, ET_QUAD4), 0);
    EXPECT_EQ(max_ID(connect), 6U);
    EXPECT_EQ(connect(3, cols - 1), 5U);
    EXPECT_EQ(remove_degenerated(connect, false), static_cast<int>(cols));
}

// Offsets of 32 bits would be too short.
TEST(large, adjacency_of_more_entries_than_32_bits_count_is_refused) {
    ids column{0, 1, 2, 3};
    const id_matrix connect = repeated(column, std::size_t{1} << 30);
    ids first;
    ids list;
    EXPECT_EQ(get_connected_elements(connect, first, list), -199);
    EXPECT_TRUE(first.empty());
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(get_node_graph(connect, first, list, ET_QUAD4), -199);
    EXPECT_TRUE(first.empty());
    EXPECT_TRUE(list.empty());
}

// Columns beyond the largest element ID have no number.
TEST(large, more_elements_than_ids_can_name_are_not_sorted) {
    ids column{3};
    id_matrix connect = repeated(column, two_to_32 + 10);
    ids node_counts;
    ids group_ends;
    ids old_to_new;
    EXPECT_EQ(sort_elfes(connect, node_counts, group_ends, old_to_new), 0);
    EXPECT_EQ(connect.cols(), two_to_32 + 10);
    EXPECT_TRUE(node_counts.empty());
    EXPECT_TRUE(group_ends.empty());
    EXPECT_TRUE(old_to_new.empty());
}

TEST(large, a_count_past_2_to_the_31_comes_out_negative) {
    ids column{3, 3};
    id_matrix connect = repeated(column, (std::size_t{1} << 31) + 5);
    EXPECT_LT(remove_degenerated(connect, false), 0);
    EXPECT_TRUE(connect.empty());
}
