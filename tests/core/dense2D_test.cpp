#include <gtest/gtest.h>

#include <limits>
#include <type_traits>
#include <vector>

#include "support/memory_failure.h"
#include "support/meshes.h"

using namespace kv7;
using test::list;
using test::points;

namespace {

using matrix = dense2D<double>;
using column_list = std::vector<std::vector<double>>;

constexpr std::size_t most = std::numeric_limits<std::size_t>::max();

// Element (r, c) is 10 * c + r.
matrix counted(std::size_t rows, std::size_t cols) {
    matrix a(rows, cols);
    for (std::size_t c = 0; c < cols; ++c) {
        for (std::size_t r = 0; r < rows; ++r) a(r, c) = static_cast<double>(10 * c + r);
    }
    return a;
}

void expect_shape(const matrix& a, std::size_t rows, std::size_t cols, std::size_t ld) {
    EXPECT_EQ(a.rows(), rows);
    EXPECT_EQ(a.cols(), cols);
    EXPECT_EQ(a.ld(), ld);
    EXPECT_EQ(a.empty(), rows == 0);
}

TEST(dense2D, is_six_words) { EXPECT_EQ(sizeof(matrix), 6 * sizeof(void*)); }

TEST(dense2D, without_arguments_is_0_by_0) {
    const matrix a;
    expect_shape(a, 0, 0, 0);
}

TEST(dense2D, of_a_shape_stands_column_by_column) {
    matrix a = counted(3, 2);
    expect_shape(a, 3, 2, 3);
    EXPECT_EQ(a.column(1), a.column(0) + 3);
    EXPECT_EQ(a.column(1)[2], 12);
    EXPECT_EQ(&a(2, 1), a.column(0) + 5);
}

TEST(dense2D, of_a_shape_and_a_value_is_filled) {
    EXPECT_EQ(list(matrix(2, 2, 1.5)), (column_list{{1.5, 1.5}, {1.5, 1.5}}));
}

TEST(dense2D, of_no_rows_or_no_columns_is_0_by_0) {
    expect_shape(matrix(0, 5), 0, 0, 0);
    expect_shape(matrix(5, 0), 0, 0, 0);
    expect_shape(matrix(0, most, 1.0), 0, 0, 0);
}

TEST(dense2D, of_more_elements_than_memory_can_hold_is_empty) {
    expect_shape(matrix(most, most), 0, 0, 0);
    expect_shape(matrix(2, most / 2 + 1), 0, 0, 0);
    expect_shape(matrix(std::size_t{1} << 32, std::size_t{1} << 32), 0, 0, 0);
    expect_shape(matrix(2, most / 16, 1.0), 0, 0, 0);
}

TEST(dense2D, constructed_or_assigned_from_another_shares_its_block) {
    matrix a = counted(2, 2);
    matrix b(a);
    matrix c;
    c = a;
    matrix d;
    d.shallow_copy(a);
    b(0, 0) = 7;
    c(1, 0) = 8;
    d(0, 1) = 9;
    EXPECT_EQ(list(a), (column_list{{7, 8}, {9, 11}}));
    expect_shape(d, 2, 2, 2);
}

TEST(dense2D, shallow_copy_takes_place_and_ld_of_a_part) {
    matrix a = counted(3, 3);
    const matrix part = a.sub_matrix(1, 1, 2, 2);
    matrix b = counted(5, 5);
    b.shallow_copy(part);
    expect_shape(b, 2, 2, 3);
    EXPECT_EQ(b.column(0), a.column(1) + 1);
}

TEST(dense2D, packed_in_an_array_changes_in_place_reach_the_caller) {
    matrix a = counted(2, 1), b = counted(2, 2);
    matrix both[2] = {a, b};
    for (matrix& m : both) m(0, 0) = -1;
    EXPECT_EQ(a(0, 0), -1);
    EXPECT_EQ(b(0, 0), -1);
}

TEST(dense2D, a_const_view_gives_const_elements) {
    const matrix a = counted(1, 1);
    EXPECT_TRUE((std::is_same_v<decltype(a(0, 0)), const double&>));
    EXPECT_TRUE((std::is_same_v<decltype(a.column(0)), const double*>));
}

TEST(dense2D, sub_matrix_is_a_view_with_the_ld_of_its_parent) {
    matrix a = counted(4, 3);
    matrix part = a.sub_matrix(1, 1, 2, 2);
    expect_shape(part, 2, 2, 4);
    EXPECT_EQ(list(part), (column_list{{11, 12}, {21, 22}}));
    part(0, 0) = 99;
    EXPECT_EQ(a(1, 1), 99);
    const matrix& constant = a;
    EXPECT_EQ(list(constant.sub_matrix(0, 2, 1, 1)), (column_list{{20}}));
    EXPECT_EQ(list(part.sub_matrix(1, 1, 1, 1)), (column_list{{22}}));
}

TEST(dense2D, sub_matrix_without_rows_or_columns_is_0_by_0) {
    matrix a = counted(3, 3);
    expect_shape(a.sub_matrix(1, 1, 0, 2), 0, 0, 0);
    expect_shape(a.sub_matrix(1, 1, 2, 0), 0, 0, 0);
    expect_shape(a.sub_matrix(0, 3, 3, 0), 0, 0, 0);
}

TEST(dense2D, as_vector_sees_all_elements_of_the_same_block) {
    matrix a = counted(2, 3);
    dense1D<double> flat = a.as_vector();
    EXPECT_EQ(list(flat), (std::vector<double>{0, 1, 10, 11, 20, 21}));
    flat[0] = 5;
    EXPECT_EQ(a(0, 0), 5);
    EXPECT_EQ(a.sub_matrix(0, 1, 2, 2).as_vector().data(), a.column(1));
    EXPECT_TRUE(matrix().as_vector().empty());
}

TEST(dense2D, resize_to_no_rows_or_no_columns_is_0_by_0) {
    for (const auto& shape : {std::pair<std::size_t, std::size_t>{0, 7}, {7, 0}, {0, most}}) {
        matrix a = counted(2, 2);
        EXPECT_TRUE(a.resize(shape.first, shape.second));
        expect_shape(a, 0, 0, 0);
    }
}

TEST(dense2D, resize_to_the_same_shape_changes_nothing) {
    matrix a = counted(3, 2);
    matrix part = a.sub_matrix(1, 0, 2, 2);
    EXPECT_TRUE(part.resize(2, 2));
    expect_shape(part, 2, 2, 3);
    EXPECT_EQ(part.column(0), a.column(0) + 1);
}

TEST(dense2D, resize_to_fewer_rows_keeps_ld_and_shows_old_values_again) {
    matrix a = counted(3, 2);
    const double* const memory = a.column(0);
    EXPECT_TRUE(a.resize(2, 2));
    expect_shape(a, 2, 2, 3);
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}}));
    EXPECT_TRUE(a.resize(3, 2));
    expect_shape(a, 3, 2, 3);
    EXPECT_EQ(list(a), (column_list{{0, 1, 2}, {10, 11, 12}}));
    EXPECT_EQ(a.column(0), memory);
}

TEST(dense2D, resize_to_fewer_columns_and_back_shows_old_values_again) {
    matrix a = counted(2, 4);
    EXPECT_TRUE(a.resize(2, 1));
    EXPECT_TRUE(a.resize(2, 4));
    EXPECT_EQ(list(a), list(counted(2, 4)));
}

TEST(dense2D, resize_within_ld_and_capacity_leaves_the_views_on_one_block) {
    matrix a = counted(3, 4);
    matrix other_view = a;
    EXPECT_TRUE(a.resize(2, 3));
    a(0, 2) = 99;
    EXPECT_EQ(other_view(0, 2), 99);
    EXPECT_TRUE(a.resize(3, 4));
    EXPECT_EQ(a.column(3), other_view.column(3));
}

TEST(dense2D, resize_to_more_rows_than_ld_moves_although_the_block_has_the_room) {
    matrix a = counted(2, 6);
    matrix other_view = a;
    EXPECT_TRUE(a.resize(2, 2));
    EXPECT_TRUE(a.resize(3, 2));
    expect_shape(a, 3, 2, 3);
    EXPECT_EQ(a(0, 1), 10);
    EXPECT_EQ(a(1, 1), 11);
    EXPECT_NE(a.column(0), other_view.column(0));
    a(0, 0) = 99;
    EXPECT_EQ(list(other_view), list(counted(2, 6)));
}

TEST(dense2D, resize_beyond_the_capacity_moves_with_ld_equal_to_rows) {
    matrix a = counted(3, 2);
    ASSERT_TRUE(a.resize(2, 2));
    matrix other_view = a;
    EXPECT_TRUE(a.resize(2, 3));
    expect_shape(a, 2, 3, 2);
    EXPECT_EQ(a(1, 1), 11);
    a(0, 0) = 99;
    EXPECT_EQ(list(other_view), (column_list{{0, 1}, {10, 11}}));
    expect_shape(other_view, 2, 2, 3);
}

TEST(dense2D, resize_of_an_empty_array_writes_with_the_new_rows_as_ld) {
    matrix a = counted(4, 3);
    matrix other_view = a;
    a.clear();
    EXPECT_TRUE(a.resize(3, 4));
    expect_shape(a, 3, 4, 3);
    EXPECT_EQ(a.column(0), other_view.column(0));
    EXPECT_EQ(list(a), (column_list{{0, 1, 2}, {3, 10, 11}, {12, 13, 20}, {21, 22, 23}}));
}

TEST(dense2D, a_cleared_part_writes_at_its_old_place_with_the_new_rows_as_ld) {
    matrix a = counted(4, 3);
    matrix part = a.sub_matrix(1, 1, 2, 2);
    part.clear();
    expect_shape(part, 0, 0, 0);
    EXPECT_TRUE(part.resize(2, 2, -1.0));
    expect_shape(part, 2, 2, 2);
    EXPECT_EQ(part.column(0), &a(1, 1));
    EXPECT_EQ(list(a), (column_list{{0, 1, 2, 3}, {10, -1, -1, -1}, {-1, 21, 22, 23}}));
}

TEST(dense2D, an_array_emptied_by_resize_starts_over_in_its_block) {
    matrix a = counted(3, 2);
    matrix other_view = a;
    EXPECT_TRUE(a.resize(0, 0));
    EXPECT_TRUE(a.resize(2, 3));
    expect_shape(a, 2, 3, 2);
    EXPECT_EQ(a.column(0), other_view.column(0));
}

TEST(dense2D, in_place_resize_looks_at_ld_and_capacity_and_not_at_the_visible_shape) {
    matrix a = counted(4, 4);
    matrix part = a.sub_matrix(0, 1, 1, 1);
    EXPECT_TRUE(part.resize(4, 3));
    expect_shape(part, 4, 3, 4);
    EXPECT_EQ(part.column(0), a.column(1));
    EXPECT_EQ(part(3, 2), 33);
    EXPECT_TRUE(part.resize(4, 4)); // one column more than the block holds from there
    EXPECT_NE(part.column(0), a.column(1));
    expect_shape(part, 4, 4, 4);
    EXPECT_EQ(part(3, 2), 33);
}

TEST(dense2D, a_part_below_row_0_at_the_blocks_end_moves_even_when_it_shrinks) {
    matrix a = counted(3, 2); // columns of the part span 6 elements, the block holds 5 from there
    matrix part = a.sub_matrix(1, 0, 2, 2);
    EXPECT_TRUE(part.resize(1, 2));
    expect_shape(part, 1, 2, 1);
    EXPECT_EQ(list(part), (column_list{{1}, {11}}));
    EXPECT_NE(part.column(0), a.column(0) + 1);
    EXPECT_EQ(list(a), list(counted(3, 2)));
}

TEST(dense2D, a_part_below_row_0_at_the_blocks_end_grows_without_reading_past_the_block) {
    matrix a = counted(3, 2);
    matrix part = a.sub_matrix(2, 0, 1, 2);
    EXPECT_TRUE(part.reserve(1, 100, 1));
    EXPECT_EQ(list(part), (column_list{{2}, {12}}));
    EXPECT_EQ(list(a), list(counted(3, 2)));
    EXPECT_EQ(part.column(0), a.column(0) + 2);
    EXPECT_TRUE(part.append(part));
    EXPECT_EQ(list(part), (column_list{{2}, {12}, {2}, {12}}));
}

TEST(dense2D, a_third_row_of_zeros_keeps_x_and_y_when_the_array_moves) {
    matrix a = counted(2, 3);
    EXPECT_TRUE(a.resize(3, a.cols(), 0.0));
    EXPECT_EQ(list(a), (column_list{{0, 1, 0}, {10, 11, 0}, {20, 21, 0}}));
}

TEST(dense2D, a_third_row_of_zeros_keeps_x_and_y_in_place) {
    matrix a = counted(3, 3);
    ASSERT_TRUE(a.resize(2, 3));
    EXPECT_TRUE(a.resize(3, a.cols(), 0.0));
    expect_shape(a, 3, 3, 3);
    EXPECT_EQ(list(a), (column_list{{0, 1, 0}, {10, 11, 0}, {20, 21, 0}}));
}

TEST(dense2D, resize_with_a_value_fills_every_cell_outside_the_old_shape) {
    matrix a = counted(4, 4);
    ASSERT_TRUE(a.resize(2, 2));
    EXPECT_TRUE(a.resize(3, 3, -1.0)); // old values still lie in the block there
    EXPECT_EQ(list(a), (column_list{{0, 1, -1}, {10, 11, -1}, {-1, -1, -1}}));
    EXPECT_EQ(a.ld(), 4U);
    EXPECT_TRUE(a.resize(6, 2, -2.0));
    EXPECT_EQ(list(a), (column_list{{0, 1, -1, -2, -2, -2}, {10, 11, -1, -2, -2, -2}}));
    EXPECT_TRUE(a.resize(1, 4, -3.0));
    EXPECT_EQ(list(a), (column_list{{0}, {10}, {-3}, {-3}}));
}

TEST(dense2D, resize_with_a_value_fills_a_cleared_array_wholly) {
    matrix a = counted(3, 3);
    a.clear();
    EXPECT_TRUE(a.resize(2, 2, 5.0));
    EXPECT_EQ(list(a), (column_list{{5, 5}, {5, 5}}));
}

TEST(dense2D, resize_with_a_value_touches_no_gap_between_columns) {
    matrix a = counted(4, 3);
    matrix part = a.sub_matrix(0, 0, 2, 1);
    EXPECT_TRUE(part.resize(2, 3, -1.0));
    EXPECT_EQ(list(a), (column_list{{0, 1, 2, 3}, {-1, -1, 12, 13}, {-1, -1, 22, 23}}));
}

TEST(dense2D, resize_with_an_own_element_takes_its_value_before_the_move) {
    matrix a = counted(2, 2);
    EXPECT_TRUE(a.resize(3, 3, a(1, 1)));
    EXPECT_EQ(list(a), (column_list{{0, 1, 11}, {10, 11, 11}, {11, 11, 11}}));
}

TEST(dense2D, resize_and_reserve_to_shapes_that_wrap_fail_and_change_nothing) {
    matrix a = counted(3, 2);
    ASSERT_TRUE(a.resize(2, 2));
    const double* const memory = a.column(0);
    const std::pair<std::size_t, std::size_t> shapes[] = {
        {most, most},      {2, most / 2 + 1}, {2, most / 3 + 1},
        {most / 2 + 1, 2}, {most, 2},         {std::size_t{1} << 32, std::size_t{1} << 32},
        {1, most / 8 + 1}, {1, most}};
    for (const auto& [rows, cols] : shapes) {
        EXPECT_FALSE(a.resize(rows, cols));
        EXPECT_FALSE(a.resize(rows, cols, 1.0));
        EXPECT_FALSE(a.reserve(rows, cols, 1));
        matrix empty;
        EXPECT_FALSE(empty.resize(rows, cols));
        EXPECT_FALSE(empty.reserve(rows, cols, 1));
        expect_shape(empty, 0, 0, 0);
    }
    expect_shape(a, 2, 2, 3);
    EXPECT_EQ(a.column(0), memory);
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}}));
}

TEST(dense2D, reserve_makes_room_without_changing_the_shape) {
    matrix a = counted(3, 2);
    matrix other_view = a;
    EXPECT_TRUE(a.reserve(3, 10, 1));
    expect_shape(a, 3, 2, 3);
    EXPECT_EQ(list(a), list(counted(3, 2)));
    EXPECT_EQ(a.as_vector().capacity(), 30U);
    EXPECT_TRUE(a.resize(3, 10));
    EXPECT_EQ(a.column(0), other_view.column(0));
    EXPECT_EQ(a(2, 1), 12);
}

TEST(dense2D, reserve_on_an_empty_array_makes_room_for_the_shape) {
    matrix a;
    EXPECT_TRUE(a.reserve(3, 4, 1));
    const double* const memory = a.as_vector().data();
    EXPECT_TRUE(a.resize(3, 4));
    EXPECT_EQ(a.column(0), memory);
}

TEST(dense2D, copy_gives_elements_of_its_own) {
    const matrix a = counted(2, 3);
    matrix b;
    EXPECT_TRUE(b.copy(a));
    EXPECT_EQ(list(b), list(a));
    b(0, 0) = 99;
    EXPECT_EQ(a(0, 0), 0);
}

TEST(dense2D, copy_uses_the_block_again_when_it_has_the_capacity) {
    matrix b = counted(4, 3);
    matrix other_view = b;
    EXPECT_TRUE(b.copy(points({{-1, -2}, {-3, -4}})));
    expect_shape(b, 2, 2, 2);
    EXPECT_EQ(list(b), (column_list{{-1, -2}, {-3, -4}}));
    EXPECT_EQ(list(other_view),
              (column_list{{-1, -2, -3, -4}, {10, 11, 12, 13}, {20, 21, 22, 23}}));
}

TEST(dense2D, copy_beyond_the_capacity_moves_and_leaves_the_other_views) {
    matrix b = counted(2, 1);
    matrix other_view = b;
    EXPECT_TRUE(b.copy(counted(2, 4)));
    EXPECT_EQ(list(b), list(counted(2, 4)));
    EXPECT_EQ(list(other_view), (column_list{{0, 1}}));
}

TEST(dense2D, copy_packs_the_columns_of_a_part) {
    matrix a = counted(4, 3);
    matrix b;
    EXPECT_TRUE(b.copy(a.sub_matrix(1, 0, 2, 3)));
    expect_shape(b, 2, 3, 2);
    EXPECT_EQ(list(b), (column_list{{1, 2}, {11, 12}, {21, 22}}));
}

TEST(dense2D, copy_from_a_view_of_the_same_block_leaves_the_source_unchanged) {
    matrix a = counted(3, 3);
    matrix front = a.sub_matrix(0, 0, 3, 2);
    const matrix back = a.sub_matrix(0, 1, 3, 2);
    EXPECT_TRUE(front.copy(back));
    EXPECT_EQ(list(front), list(back));
    EXPECT_EQ(list(a), list(counted(3, 3)));
    front(0, 0) = 99;
    EXPECT_EQ(list(a), list(counted(3, 3)));
}

TEST(dense2D, copy_of_itself_keeps_the_values_and_packs_them) {
    matrix a = counted(3, 2);
    ASSERT_TRUE(a.resize(2, 2));
    EXPECT_TRUE(a.copy(a));
    expect_shape(a, 2, 2, 2);
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}}));
}

TEST(dense2D, copy_of_an_empty_array_empties) {
    matrix a = counted(2, 2);
    EXPECT_TRUE(a.copy(matrix()));
    expect_shape(a, 0, 0, 0);
}

TEST(dense2D, append_adds_all_columns) {
    matrix a = counted(2, 1);
    EXPECT_TRUE(a.append(points({{5, 6}, {7, 8}})));
    EXPECT_EQ(list(a), (column_list{{0, 1}, {5, 6}, {7, 8}}));
}

TEST(dense2D, append_to_an_empty_array_takes_the_rows_of_the_other) {
    matrix a;
    EXPECT_TRUE(a.append(counted(3, 2)));
    EXPECT_EQ(list(a), list(counted(3, 2)));
    matrix cleared = counted(2, 6);
    cleared.clear();
    EXPECT_TRUE(cleared.append(counted(4, 2)));
    expect_shape(cleared, 4, 2, 4);
    EXPECT_EQ(list(cleared), list(counted(4, 2)));
}

TEST(dense2D, append_of_another_row_count_to_a_non_empty_array_fails) {
    matrix a = counted(2, 2);
    EXPECT_FALSE(a.append(counted(3, 1)));
    EXPECT_FALSE(a.append(counted(1, 1)));
    EXPECT_FALSE(a.append(counted(3, 1), dense1D<unsigned int>{0}));
    EXPECT_EQ(list(a), list(counted(2, 2)));
}

TEST(dense2D, append_of_nothing_succeeds_and_changes_nothing) {
    matrix a = counted(2, 2);
    EXPECT_TRUE(a.append(matrix()));
    EXPECT_TRUE(a.append(counted(2, 3), dense1D<unsigned int>()));
    EXPECT_EQ(list(a), list(counted(2, 2)));
    matrix empty;
    EXPECT_TRUE(empty.append(matrix()));
    expect_shape(empty, 0, 0, 0);
}

TEST(dense2D, append_reserves_the_old_count_and_the_larger_of_old_and_appended) {
    matrix a = counted(2, 10);
    EXPECT_TRUE(a.append(counted(2, 3)));
    EXPECT_EQ(a.as_vector().capacity(), 40U);
    matrix b = counted(2, 3);
    EXPECT_TRUE(b.append(counted(2, 10)));
    EXPECT_EQ(b.as_vector().capacity(), 26U);
}

TEST(dense2D, append_keeps_the_views_on_one_block) {
    matrix a = counted(2, 2);
    matrix other_view = a;
    EXPECT_TRUE(a.append(counted(2, 1)));
    EXPECT_EQ(a.column(0), other_view.column(0));
    EXPECT_EQ(list(other_view), list(counted(2, 2)));
}

TEST(dense2D, append_goes_by_ld_on_both_sides) {
    matrix a = counted(4, 2);
    ASSERT_TRUE(a.resize(2, 2));
    const matrix source = counted(3, 3).sub_matrix(1, 0, 2, 3);
    EXPECT_TRUE(a.append(source));
    EXPECT_EQ(a.ld(), 4U);
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}, {1, 2}, {11, 12}, {21, 22}}));
}

TEST(dense2D, append_of_itself_or_of_an_own_part_works) {
    matrix a = counted(2, 2);
    EXPECT_TRUE(a.append(a));
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}, {0, 1}, {10, 11}}));
    EXPECT_TRUE(a.append(a.sub_matrix(0, 1, 2, 1)));
    EXPECT_EQ(list(a), (column_list{{0, 1}, {10, 11}, {0, 1}, {10, 11}, {10, 11}}));
    EXPECT_TRUE(a.append(a, dense1D<unsigned int>{1, 1, 0, 4, 2, 3}));
    EXPECT_EQ(a.cols(), 11U);
    EXPECT_EQ(list(a.sub_matrix(0, 5, 2, 6)),
              (column_list{{10, 11}, {10, 11}, {0, 1}, {10, 11}, {0, 1}, {10, 11}}));
}

// Columns 0 to 2 of a block of seven: what is appended comes over the columns behind.
TEST(dense2D, append_of_columns_of_the_same_block_behind_the_array_works) {
    const matrix full = counted(2, 7);
    for (const bool has_room : {false, true}) {
        for (const std::size_t from : {1U, 2U, 3U, 4U}) {
            SCOPED_TRACE(from);
            matrix block = counted(2, 7);
            EXPECT_TRUE(block.reserve(2, has_room ? 20 : 7, 1));
            matrix a = block.sub_matrix(0, 0, 2, 3);
            EXPECT_TRUE(a.append(block.sub_matrix(0, from, 2, 3)));
            column_list expected = list(full.sub_matrix(0, 0, 2, 3));
            for (const auto& column : list(full.sub_matrix(0, from, 2, 3))) {
                expected.push_back(column);
            }
            EXPECT_EQ(list(a), expected);

            block = counted(2, 7);
            EXPECT_TRUE(block.reserve(2, has_room ? 20 : 7, 1));
            a = block.sub_matrix(0, 0, 2, 3);
            EXPECT_TRUE(a.append(block, dense1D<unsigned int>{6, 3, 5, 4, 0, 6}));
            expected = list(full.sub_matrix(0, 0, 2, 3));
            for (const unsigned int c : {6U, 3U, 5U, 4U, 0U, 6U}) expected.push_back(list(full)[c]);
            EXPECT_EQ(list(a), expected);
        }
    }
}

TEST(dense2D, append_of_rows_of_the_same_block_with_another_ld_works) {
    matrix block = counted(3, 6);
    const matrix lower = block.sub_matrix(1, 0, 2, 6);
    const column_list expected = list(lower);
    matrix cleared = block;
    cleared.clear();
    EXPECT_TRUE(cleared.append(lower));
    EXPECT_EQ(list(cleared), expected);
    expect_shape(cleared, 2, 6, 2);
}

TEST(dense2D, append_of_all_columns_to_some_amid_them_works) {
    matrix block = counted(3, 6);
    EXPECT_TRUE(block.reserve(3, 40, 1));
    const matrix all = block.sub_matrix(0, 0, 2, 6);
    matrix part = block.sub_matrix(0, 2, 2, 2);
    column_list expected = list(part);
    for (const auto& column : list(all)) expected.push_back(column);
    EXPECT_TRUE(part.append(all));
    EXPECT_EQ(list(part), expected);
}

// The list ends behind the array; with five columns the block has to grow as well.
TEST(dense2D, append_by_a_list_on_the_same_block_works) {
    const dense2D<unsigned int> other = test::connectivity({{10}, {11}, {12}});
    for (const std::size_t cols : {4U, 5U}) {
        SCOPED_TRACE(cols);
        dense2D<unsigned int> block = test::connectivity({{5}, {6}, {7}, {1}, {2}, {0}});
        std::vector<unsigned int> expected = list(block.as_vector().sub_vector(0, cols));
        expected.insert(expected.end(), {11, 12, 10});
        dense2D<unsigned int> a = block.sub_matrix(0, 0, 1, cols);
        EXPECT_TRUE(a.append(other, block.as_vector().sub_vector(3, 3)));
        EXPECT_EQ(list(a.as_vector()), expected);
    }
}

TEST(dense2D, append_from_the_same_block_changes_nothing_when_memory_fails) {
    for (const bool by_list : {false, true}) {
        EXPECT_GT(test::fail_each_allocation([&](std::size_t k, bool and_later) {
                      matrix block = counted(2, 5);
                      matrix a = block.sub_matrix(0, 0, 2, 2);
                      const dense1D<unsigned int> columns{4, 3, 2, 4, 3, 2};
                      const test::memory_failure failure(k, and_later);
                      const bool done = by_list ? a.append(block, columns) : a.append(block);
                      EXPECT_EQ(a.cols(), done ? (by_list ? 8U : 7U) : 2U);
                      EXPECT_EQ(a(1, 1), 11);
                      return failure.happened();
                  }),
                  2U);
    }
}

TEST(dense2D, append_of_listed_columns_follows_the_list) {
    matrix a;
    const matrix source = counted(2, 4);
    EXPECT_TRUE(a.append(source, dense1D<unsigned int>{3, 0, 3}));
    EXPECT_EQ(list(a), (column_list{{30, 31}, {0, 1}, {30, 31}}));
}

TEST(dense2D, append_of_a_column_that_does_not_exist_fails_and_changes_nothing) {
    matrix a = counted(2, 1);
    EXPECT_FALSE(a.append(counted(2, 3), dense1D<unsigned int>{0, 3}));
    EXPECT_FALSE(a.append(counted(2, 3), dense1D<unsigned int>{test::none}));
    EXPECT_EQ(list(a), list(counted(2, 1)));
}

TEST(dense2D, clear_keeps_the_block) {
    matrix a = counted(3, 3);
    const double* const memory = a.column(0);
    a.clear();
    expect_shape(a, 0, 0, 0);
    EXPECT_TRUE(a.resize(3, 3));
    EXPECT_EQ(a.column(0), memory);
    EXPECT_EQ(a(2, 2), 22);
}

TEST(dense2D, clear_hard_gives_up_the_share_and_other_views_stay_valid) {
    matrix a = counted(2, 2);
    matrix other_view = a;
    a.clear_hard();
    expect_shape(a, 0, 0, 0);
    EXPECT_EQ(a.as_vector().capacity(), 0U);
    EXPECT_TRUE(a.resize(2, 2, 7.0));
    EXPECT_EQ(list(other_view), list(counted(2, 2)));
}

TEST(dense2D, wrap_is_a_view_on_the_callers_memory) {
    double memory[6] = {1, 2, 3, 4, 5, 6};
    matrix a = matrix::wrap(memory, 3, 2);
    expect_shape(a, 3, 2, 3);
    EXPECT_EQ(list(a), (column_list{{1, 2, 3}, {4, 5, 6}}));
    a(2, 1) = 9;
    EXPECT_EQ(memory[5], 9);
    matrix gaps = matrix::wrap(memory, 2, 2, 3);
    expect_shape(gaps, 2, 2, 3);
    EXPECT_EQ(list(gaps), (column_list{{1, 2}, {4, 5}}));
}

TEST(dense2D, wrap_is_left_behind_on_growth_and_the_callers_memory_stays_as_it_was) {
    double memory[6] = {1, 2, 3, 4, 5, 6};
    {
        matrix a = matrix::wrap(memory, 2, 2, 4); // 6 elements: the last gap is not the caller's
        EXPECT_TRUE(a.append(points({{7, 8}})));
        EXPECT_EQ(list(a), (column_list{{1, 2}, {5, 6}, {7, 8}}));
        a(0, 0) = 99;
        EXPECT_TRUE(a.reserve(2, 100, 1));
    }
    EXPECT_EQ(std::vector<double>(memory, memory + 6), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(dense2D, wrap_without_rows_or_columns_is_0_by_0) {
    double memory[1] = {1};
    expect_shape(matrix::wrap(memory, 0, 5), 0, 0, 0);
    expect_shape(matrix::wrap(memory, 5, 0), 0, 0, 0);
}

} // namespace
