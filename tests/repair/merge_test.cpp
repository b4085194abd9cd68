#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "repair/plain_merge.h"
#include "support/meshes.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double smallest = std::numeric_limits<double>::denorm_min();
constexpr double bad_tolerances[] = {-1, -smallest, -infinity, not_a_number};

using ids = dense1D<unsigned int>;

ids stale() { return ids{9, 9, 9, 9, 9, 9, 9}; }

dense2D<double> on_a_line(std::initializer_list<double> xs) {
    dense2D<double> pos(3, xs.size(), 0.0);
    std::size_t c = 0;
    for (const double x : xs) pos(0, c++) = x;
    return pos;
}

// All nodes of `pos` --------------------------------------------------------------------------

TEST(merge_nodes, zero_tolerance_merges_exact_duplicates_only) {
    dense2D<double> pos =
        points({{1, 2, 3}, {1, 2, std::nextafter(3.0, 4.0)}, {1, 2, 3}, {1, 2, 3}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, new_IDs, 0), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 0, 0}));
}

TEST(merge_nodes, zero_tolerance_does_not_merge_neighbours_whose_squared_distance_underflows) {
    dense2D<double> pos = on_a_line({0, smallest});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0), 0);
    EXPECT_EQ(merge(pos, new_IDs, smallest), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0}));
}

TEST(merge_nodes, a_negative_zero_tolerance_is_zero) {
    dense2D<double> pos = on_a_line({1, 1, 2});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, -0.0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 2}));
}

TEST(merge_nodes, negative_zero_coincides_with_zero) {
    dense2D<double> pos = points({{-0.0, 0}, {0, -0.0}, {0, 0}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 0}));
    EXPECT_TRUE(std::signbit(pos(0, 2)));
    EXPECT_FALSE(std::signbit(pos(1, 2)));
}

TEST(merge_nodes, a_chain_collapses_onto_its_first_node) {
    dense2D<double> pos = on_a_line({0, 1, 2});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, new_IDs, 1), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 0}));
    EXPECT_EQ(list(pos), list(points({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}})));
}

TEST(merge_nodes, a_long_chain_collapses_whatever_its_length) {
    const unsigned int n = 5000;
    dense2D<double> pos(2, n, 0.0);
    for (unsigned int i = 0; i < n; ++i) pos(0, i) = i;
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 1), static_cast<int>(n - 1));
    EXPECT_EQ(list(new_IDs), id_vector(n, 0));
}

TEST(merge_nodes, merged_nodes_keep_their_columns_and_take_the_coordinates_of_the_survivor) {
    dense2D<double> pos = points({{5, 5}, {0, 0}, {5.25, 5}, {0, 0.25}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, new_IDs, 0.5), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 0, 1}));
    EXPECT_EQ(list(pos), list(points({{5, 5}, {0, 0}, {5, 5}, {0, 0}})));
}

TEST(merge_nodes, a_node_goes_to_the_nearest_of_the_nodes_of_lower_ID) {
    dense2D<double> pos = on_a_line({0, 1, 0.75, 0.875});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0.8), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 1, 1}));
}

TEST(merge_nodes, of_equally_near_nodes_the_last_in_query_order_is_taken) {
    // The tree's root is the middle node; its right side is visited before its left side.
    dense2D<double> first_left = on_a_line({-1, 1, 0});
    ids new_IDs;
    EXPECT_EQ(merge(first_left, new_IDs, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 0}));
    dense2D<double> first_right = on_a_line({1, -1, 0});
    EXPECT_EQ(merge(first_right, new_IDs, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 1}));
}

TEST(merge_nodes, the_distance_may_be_as_large_as_the_tolerance) {
    ids new_IDs;
    dense2D<double> pos = points({{0, 0}, {3, 4}});
    EXPECT_EQ(merge(pos, new_IDs, std::nextafter(5.0, 0.0)), 0);
    EXPECT_EQ(merge(pos, new_IDs, 5), 1);
}

TEST(merge_nodes, the_box_keeps_nodes_apart_whose_distance_is_the_tolerance_by_rounding_only) {
    for (const bool swapped : {false, true}) {
        dense2D<double> pos = points({{1, 0, 0}, {-0.75 * 0x1p-53, 0, 0}});
        if (swapped) std::swap(pos(0, 0), pos(0, 1));
        ASSERT_EQ(pos(0, swapped ? 1 : 0) - pos(0, swapped ? 0 : 1), 1.0);
        ids new_IDs;
        EXPECT_EQ(merge(pos, new_IDs, 1), 0);
        for (unsigned int flag = 0; flag < 3; ++flag) {
            dense2D<unsigned int> connect = connectivity({{0, 1}});
            EXPECT_EQ(merge(pos, connect, new_IDs, 1, flag), 0) << flag;
        }
    }
}

TEST(merge_nodes, the_box_keeps_nodes_apart_where_squares_overflow) {
    dense2D<double> pos = on_a_line({0, 2e200});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 1e200), 0);
    EXPECT_EQ(merge(pos, new_IDs, 2e200), 1);
}

TEST(merge_nodes, the_box_keeps_nodes_apart_where_squares_underflow) {
    dense2D<double> pos = on_a_line({0, 2e-200});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 1e-200), 0);
    EXPECT_EQ(merge(pos, new_IDs, 2e-200), 1);
}

TEST(merge_nodes, an_infinite_tolerance_merges_all_that_is_finite) {
    dense2D<double> pos = points({{1e300, 0, 0}, {-1e300, 5, 1}, {0, 0, 0}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, infinity), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 0}));
}

TEST(merge_nodes, coordinates_that_are_not_finite_merge_with_nothing) {
    for (const double tol : {0.0, 1.0, 1e300}) {
        dense2D<double> pos = points({{infinity, 0, 0},
                                      {infinity, 0, 0},
                                      {0, not_a_number, 0},
                                      {0, not_a_number, 0},
                                      {0, 0, -infinity},
                                      {not_a_number, infinity, 0}});
        ids new_IDs;
        EXPECT_EQ(merge(pos, new_IDs, tol), 0) << tol;
        EXPECT_EQ(list(new_IDs), identity(6)) << tol;
    }
}

// Each of them would take part in the search for each other one, which takes minutes.
TEST(merge_nodes, masses_of_nodes_at_infinity_merge_with_nothing_in_no_time) {
    for (const double tol : {0.0, 1.0}) {
        dense2D<double> pos(3, 100'000, 0.0);
        for (std::size_t c = 2; c < pos.cols(); ++c) pos(0, c) = infinity;
        ids new_IDs;
        EXPECT_EQ(merge(pos, new_IDs, tol), 1) << tol;
        id_vector expected = identity(pos.cols());
        expected[1] = 0;
        EXPECT_EQ(list(new_IDs), expected) << tol;
    }
}

// The box alone tells near from far.
TEST(merge_nodes, a_long_chain_whose_squared_distances_underflow_collapses_in_no_time) {
    dense2D<double> pos(2, 50'000, 0.0);
    for (std::size_t c = 0; c < pos.cols(); ++c) pos(0, c) = 0x1p-600 * static_cast<double>(c);
    ids new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0x1p-600), 49'999);
    EXPECT_EQ(list(new_IDs), id_vector(50'000, 0));
}

TEST(merge_nodes, one_node_merges_with_nothing) {
    dense2D<double> pos = points({{1, 2}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, new_IDs, 10), 0);
    EXPECT_EQ(list(new_IDs), (id_vector{0}));
    EXPECT_EQ(list(pos), list(points({{1, 2}})));
}

TEST(merge_nodes, the_overload_without_a_map_does_the_same) {
    dense2D<double> pos = on_a_line({0, 1, 2, 7});
    EXPECT_EQ(merge(pos, 1.0), 2);
    EXPECT_EQ(list(pos), list(on_a_line({0, 0, 0, 7})));
}

TEST(merge_nodes, columns_of_a_larger_array_are_merged_in_place) {
    dense2D<double> all = on_a_line({1, 1, 1, 1, 1, 1});
    dense2D<double> middle = all.sub_matrix(0, 2, 3, 3);
    all(1, 3) = 0.5;
    all(1, 2) = 0.25;
    EXPECT_EQ(merge(middle, 0.3), 2);
    EXPECT_EQ(
        list(all),
        list(points({{1, 0, 0}, {1, 0, 0}, {1, 0.25, 0}, {1, 0.25, 0}, {1, 0.25, 0}, {1, 0, 0}})));
}

TEST(merge_nodes, no_nodes_is_success_whatever_the_tolerance) {
    dense2D<double> pos;
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, new_IDs, not_a_number), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(pos, -1.0), 0);
}

TEST(merge_nodes, rows_other_than_2_or_3_give_minus_1_before_the_tolerance_is_looked_at) {
    for (const std::size_t rows : {1U, 4U, 6U}) {
        dense2D<double> pos(rows, 2, 0.0);
        ids new_IDs = stale();
        EXPECT_EQ(merge(pos, new_IDs, -1), -1);
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(merge(pos, -1.0), -1);
    }
}

TEST(merge_nodes, a_tolerance_that_is_not_at_least_zero_gives_minus_3) {
    for (const double tol : bad_tolerances) {
        dense2D<double> pos = on_a_line({0, 0});
        ids new_IDs = stale();
        EXPECT_EQ(merge(pos, new_IDs, tol), -3) << tol;
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(merge(pos, tol), -3) << tol;
        EXPECT_EQ(list(pos), list(on_a_line({0, 0})));
    }
}

// Lists of nodes ------------------------------------------------------------------------------

TEST(merge_lists, the_node_listed_first_survives) {
    const dense2D<double> pos = on_a_line({0, 0, 0, 9});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, ids{2, 0, 1}, new_IDs, 0), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{2, 2, 2, 3}));
}

TEST(merge_lists, nodes_outside_the_lists_stay) {
    const dense2D<double> pos = on_a_line({0, 0, 0, 0});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, ids{3, 1}, new_IDs, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 3, 2, 3}));
}

TEST(merge_lists, repeated_nodes_and_sentinels_count_for_nothing) {
    const dense2D<double> pos = on_a_line({0, 0, 0});
    ids new_IDs;
    EXPECT_EQ(merge(pos, ids{none, 1, 1, none, 0, 1, 0}, new_IDs, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{1, 1, 2}));
    EXPECT_EQ(merge(pos, ids{0, none, 0}, ids{none, 2, 2}, new_IDs, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{2, 1, 2}));
}

TEST(merge_lists, a_node_of_the_first_list_alone_goes_to_any_node_of_the_second) {
    const dense2D<double> pos = on_a_line({0, 0.5, 0.25, 3});
    ids new_IDs;
    EXPECT_EQ(merge(pos, ids{0, 3}, ids{1, 2}, new_IDs, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{2, 1, 2, 3}));
}

TEST(merge_lists, a_node_of_the_second_list_alone_never_moves) {
    const dense2D<double> pos = on_a_line({0, 0, 0});
    ids new_IDs;
    EXPECT_EQ(merge(pos, ids{2}, ids{0, 1}, new_IDs, 0), 1);
    EXPECT_EQ(new_IDs[0], 0U);
    EXPECT_EQ(new_IDs[1], 1U);
}

TEST(merge_lists, rank_is_the_place_in_the_second_list) {
    const dense2D<double> pos = on_a_line({0, 0, 0});
    ids new_IDs;
    // Both are in both lists; 1 stands first in the second.
    EXPECT_EQ(merge(pos, ids{0, 1}, ids{1, 0}, new_IDs, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{1, 1, 2}));
    EXPECT_EQ(merge(pos, ids{0, 1}, ids{2, 0, 1}, new_IDs, 0), 2);
    EXPECT_EQ(new_IDs[2], 2U);
}

TEST(merge_lists, chains_lead_through_nodes_of_both_lists) {
    const dense2D<double> pos = on_a_line({0, 1, 2, 3});
    ids new_IDs;
    EXPECT_EQ(merge(pos, ids{3, 2, 1}, ids{0, 1, 2}, new_IDs, 1), 3);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 0, 0}));
}

TEST(merge_lists, an_empty_list_on_either_side_gives_zero_and_no_map) {
    const dense2D<double> pos = on_a_line({0, 0});
    for (const ids& nothing : {ids{}, ids{none, none}}) {
        ids new_IDs = stale();
        EXPECT_EQ(merge(pos, nothing, ids{0, 1}, new_IDs, 0), 0);
        EXPECT_TRUE(new_IDs.empty());
        new_IDs = stale();
        EXPECT_EQ(merge(pos, ids{0, 1}, nothing, new_IDs, 0), 0);
        EXPECT_TRUE(new_IDs.empty());
        new_IDs = stale();
        EXPECT_EQ(merge(pos, nothing, new_IDs, 0), 0);
        EXPECT_TRUE(new_IDs.empty());
    }
}

TEST(merge_lists, no_nodes_is_success_whatever_the_other_arguments) {
    const dense2D<double> pos;
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, ids{5}, ids{6}, new_IDs, -1), 0);
    EXPECT_TRUE(new_IDs.empty());
    new_IDs = stale();
    EXPECT_EQ(merge(pos, ids{5}, new_IDs, -1), 0);
    EXPECT_TRUE(new_IDs.empty());
}

TEST(merge_lists, faults_of_two_lists_are_reported_in_the_order_rows_lists_tolerance) {
    const dense2D<double> four_rows(4, 2, 0.0);
    const dense2D<double> pos = on_a_line({0, 0});
    const auto code = [](const dense2D<double>& p, const ids& nodes1, const ids& nodes2,
                         double tol) {
        ids new_IDs = stale();
        const int result = merge(p, nodes1, nodes2, new_IDs, tol);
        EXPECT_TRUE(new_IDs.empty());
        return result;
    };
    EXPECT_EQ(code(four_rows, ids{2}, ids{2}, -1), -1);
    EXPECT_EQ(code(pos, ids{2}, ids{2}, -1), -2);
    EXPECT_EQ(code(pos, ids{1, none}, ids{0, 2}, -1), -3);
    for (const double tol : bad_tolerances) EXPECT_EQ(code(pos, ids{1}, ids{0}, tol), -4) << tol;
    EXPECT_EQ(code(pos, ids{}, ids{0, 2}, 0), -3);
    EXPECT_EQ(code(pos, ids{}, ids{}, -1), -4);
}

TEST(merge_lists, faults_of_one_list_are_reported_in_the_order_rows_list_tolerance) {
    const dense2D<double> four_rows(4, 2, 0.0);
    const dense2D<double> pos = on_a_line({0, 0});
    const auto code = [](const dense2D<double>& p, const ids& nodes, double tol) {
        ids new_IDs = stale();
        const int result = merge(p, nodes, new_IDs, tol);
        EXPECT_TRUE(new_IDs.empty());
        return result;
    };
    EXPECT_EQ(code(four_rows, ids{2}, -1), -1);
    EXPECT_EQ(code(pos, ids{0, 2}, -1), -2);
    for (const double tol : bad_tolerances) EXPECT_EQ(code(pos, ids{0, 1}, tol), -3) << tol;
    EXPECT_EQ(code(pos, ids{}, -1), -3);
}

// Connectivities, any two nodes ---------------------------------------------------------------

TEST(merge_connectivity, the_node_seen_first_survives_though_its_ID_is_higher) {
    dense2D<double> pos = on_a_line({0, 1, 2, 3, 4, 3});
    dense2D<unsigned int> connect = connectivity({{5, 3, 4}, {3, 0, 1}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, connect, new_IDs, 0.5, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 2, 5, 4, 5}));
    EXPECT_EQ(list(connect), (column_list{{5, 5, 4}, {5, 0, 1}}));
}

TEST(merge_connectivity, nodes_that_no_element_uses_take_no_part) {
    const dense2D<double> pos = on_a_line({0, 0, 0});
    dense2D<unsigned int> connect = connectivity({{2, 1}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 0, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 2, 2}));
}

TEST(merge_connectivity, arrays_of_a_range_are_welded_to_each_other) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {1, 0}, {0, 1}, {1, 1}});
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 1, 2}}), dense2D<unsigned int>(),
                                              connectivity({{3, 5, 4, none}})};
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, arrays.data(), arrays.data() + 3, new_IDs, 0, 0), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 2, 1, 2, 5}));
    EXPECT_EQ(list(arrays[0]), (column_list{{0, 1, 2}}));
    EXPECT_EQ(list(arrays[2]), (column_list{{1, 5, 2, none}}));
}

TEST(merge_connectivity, the_two_arrays_of_the_caller_are_relabelled_in_place) {
    const dense2D<double> pos = on_a_line({0, 1, 0, 1});
    dense2D<unsigned int> block = connectivity({{7, 7, 7}, {7, 0, 1}, {7, 2, 3}, {7, 7, 7}});
    dense2D<unsigned int> connect1 = block.sub_matrix(1, 1, 2, 1);
    dense2D<unsigned int> connect2 = block.sub_matrix(1, 2, 2, 1);
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect1, connect2, new_IDs, 0, 0), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 0, 1}));
    EXPECT_EQ(list(block), (column_list{{7, 7, 7}, {7, 0, 1}, {7, 0, 1}, {7, 7, 7}}));
}

TEST(merge_connectivity, all_overloads_agree_with_the_one_that_has_the_most_arguments) {
    const dense2D<double> pos = on_a_line({0, 1, 2, 3.5, 0.25, 1.25, 7});
    const column_list columns{{4, 1, 3}, {0, 5, none}, {6, 2, 2}};
    for (unsigned int flag = 0; flag < 3; ++flag) {
        std::vector<column_list> expected{columns};
        const int count = plain_merge(pos, expected, 1.0, flag).count;
        const auto fresh = [&] {
            dense2D<unsigned int> connect(3, columns.size());
            for (std::size_t c = 0; c < columns.size(); ++c) {
                std::copy(columns[c].begin(), columns[c].end(), connect.column(c));
            }
            return connect;
        };
        ids new_IDs;
        std::vector<dense2D<unsigned int>> runs;
        for (int k = 0; k < 6; ++k) runs.push_back(fresh());
        dense2D<unsigned int> nothing;
        EXPECT_EQ(merge(pos, &runs[0], &runs[0] + 1, new_IDs, 1, flag), count);
        EXPECT_EQ(merge(pos, &runs[1], &runs[1] + 1, 1, flag), count);
        EXPECT_EQ(merge(pos, runs[2], nothing, new_IDs, 1, flag), count);
        EXPECT_EQ(merge(pos, nothing, runs[3], 1, flag), count);
        EXPECT_EQ(merge(pos, runs[4], new_IDs, 1, flag), count);
        EXPECT_EQ(merge(pos, runs[5], 1, flag), count);
        for (const auto& run : runs) EXPECT_EQ(list(run), expected[0]);
    }
}

TEST(merge_connectivity, repeated_nodes_in_a_column_stay) {
    const dense2D<double> pos = on_a_line({0, 0, 1});
    dense2D<unsigned int> connect = connectivity({{0, 1, 2}});
    EXPECT_EQ(merge(pos, connect, 0, 0), 1);
    EXPECT_EQ(list(connect), (column_list{{0, 0, 2}}));
}

TEST(merge_connectivity, an_array_of_sentinels_gives_zero_and_the_identity) {
    const dense2D<double> pos = on_a_line({0, 0});
    for (unsigned int flag = 0; flag < 3; ++flag) {
        dense2D<unsigned int> connect(4, 2, none);
        ids new_IDs = stale();
        EXPECT_EQ(merge(pos, connect, new_IDs, 1, flag), 0);
        EXPECT_EQ(list(new_IDs), identity(2));
        EXPECT_EQ(list(connect), column_list(2, id_vector(4, none)));
    }
}

TEST(merge_connectivity, arrays_without_columns_give_zero_and_the_identity_after_the_checks) {
    const dense2D<double> pos = on_a_line({0, 0});
    std::vector<dense2D<unsigned int>> arrays(2);
    for (unsigned int flag = 0; flag < 3; ++flag) {
        ids new_IDs = stale();
        EXPECT_EQ(merge(pos, arrays.data(), arrays.data() + 2, new_IDs, 1, flag), 0);
        EXPECT_EQ(list(new_IDs), identity(2));
    }
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, arrays.data(), arrays.data() + 2, new_IDs, -1, 0), -5);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(pos, arrays.data(), arrays.data() + 2, new_IDs, 1, 3), -6);
    EXPECT_EQ(merge(pos, arrays[0], new_IDs, -1, 0), -4);
    EXPECT_EQ(merge(pos, arrays[0], 1, 3), -5);
}

TEST(merge_connectivity, an_empty_range_gives_zero_and_no_map_without_any_check) {
    const dense2D<double> pos(4, 2, 0.0);
    dense2D<unsigned int> connect = connectivity({{0, 1}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, &connect, &connect, new_IDs, not_a_number, 9), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(pos, &connect, &connect, not_a_number, 9), 0);
    dense2D<unsigned int>* const nowhere = nullptr;
    EXPECT_EQ(merge(pos, nowhere, nowhere, new_IDs, -1, 9), 0);
}

TEST(merge_connectivity, no_nodes_is_success_whatever_the_other_arguments) {
    const dense2D<double> pos;
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 1}}), connectivity({{2, 3}})};
    dense2D<unsigned int>* const begin = arrays.data();
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, begin, begin + 2, new_IDs, -1, 9), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(pos, begin + 2, begin, new_IDs, -1, 9), 0);
    EXPECT_EQ(merge(pos, begin, begin + 2, -1, 9), 0);
    EXPECT_EQ(merge(pos, arrays[0], arrays[1], new_IDs, -1, 9), 0);
    EXPECT_EQ(merge(pos, arrays[0], arrays[1], -1, 9), 0);
    EXPECT_EQ(merge(pos, arrays[0], new_IDs, -1, 9), 0);
    EXPECT_EQ(merge(pos, arrays[0], -1, 9), 0);
    EXPECT_EQ(list(arrays[0]), (column_list{{0, 1}}));
}

// The codes of the six overloads for one set of arguments.
struct all_codes {
    int range_map, range, two_map, two, one_map, one;
    bool operator==(const all_codes&) const = default;
};
std::ostream& operator<<(std::ostream& out, const all_codes& c) {
    return out << c.range_map << ' ' << c.range << ' ' << c.two_map << ' ' << c.two << ' '
               << c.one_map << ' ' << c.one;
}

all_codes codes_for(const dense2D<double>& pos, const column_list& columns, double tol,
                    unsigned int flag) {
    const auto fresh = [&] {
        dense2D<unsigned int> connect(columns[0].size(), columns.size());
        for (std::size_t c = 0; c < columns.size(); ++c) {
            std::copy(columns[c].begin(), columns[c].end(), connect.column(c));
        }
        return connect;
    };
    std::vector<dense2D<unsigned int>> arrays{fresh(), fresh()};
    dense2D<unsigned int>* const begin = arrays.data();
    ids map1 = stale();
    ids map2 = stale();
    ids map3 = stale();
    const all_codes codes{merge(pos, begin, begin + 2, map1, tol, flag),
                          merge(pos, begin, begin + 2, tol, flag),
                          merge(pos, arrays[0], arrays[1], map2, tol, flag),
                          merge(pos, arrays[0], arrays[1], tol, flag),
                          merge(pos, arrays[0], map3, tol, flag),
                          merge(pos, arrays[0], tol, flag)};
    // Kept: an ID that is no node is found behind the identity.
    const id_vector map = codes.range_map == -2 ? identity(pos.cols()) : id_vector{};
    EXPECT_EQ(list(map1), map);
    EXPECT_EQ(list(map2), map);
    EXPECT_EQ(list(map3), map);
    EXPECT_EQ(list(arrays[0]), columns);
    EXPECT_EQ(list(arrays[1]), columns);
    return codes;
}

TEST(merge_connectivity, faults_are_reported_in_the_order_rows_tolerance_flag_nodes) {
    const dense2D<double> one_row(1, 2, 0.0);
    const dense2D<double> four_rows(4, 2, 0.0);
    const dense2D<double> pos = on_a_line({0, 0});
    const column_list bad{{0, 2}};
    const column_list good{{0, 1}};
    EXPECT_EQ(codes_for(one_row, bad, -1, 3), (all_codes{-1, -1, -1, -1, -1, -1}));
    EXPECT_EQ(codes_for(four_rows, bad, -1, 3), (all_codes{-1, -1, -1, -1, -1, -1}));
    for (const double tol : bad_tolerances) {
        EXPECT_EQ(codes_for(pos, bad, tol, 3), (all_codes{-5, -5, -5, -5, -4, -4}));
        EXPECT_EQ(codes_for(pos, good, tol, 0), (all_codes{-5, -5, -5, -5, -4, -4}));
    }
    EXPECT_EQ(codes_for(pos, bad, 1, 3), (all_codes{-6, -6, -6, -6, -5, -5}));
    EXPECT_EQ(codes_for(pos, good, 1, none), (all_codes{-6, -6, -6, -6, -5, -5}));
    for (unsigned int flag = 0; flag < 3; ++flag) {
        EXPECT_EQ(codes_for(pos, bad, 1, flag), (all_codes{-2, -2, -2, -2, -2, -2}));
    }
}

TEST(merge_connectivity, a_reversed_range_comes_after_the_rows_and_before_the_tolerance) {
    const dense2D<double> four_rows(4, 2, 0.0);
    const dense2D<double> pos = on_a_line({0, 0});
    std::vector<dense2D<unsigned int>> arrays(2);
    dense2D<unsigned int>* const begin = arrays.data();
    ids new_IDs = stale();
    EXPECT_EQ(merge(four_rows, begin + 2, begin, new_IDs, -1, 3), -1);
    EXPECT_TRUE(new_IDs.empty());
    new_IDs = stale();
    EXPECT_EQ(merge(pos, begin + 2, begin, new_IDs, -1, 3), -3);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(pos, begin + 2, begin, -1, 3), -3);
}

TEST(merge_connectivity, an_ID_that_is_no_node_in_the_last_array_of_the_range_is_found) {
    const dense2D<double> pos = on_a_line({0, 0});
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 1}}), connectivity({{none, 2}})};
    for (unsigned int flag = 0; flag < 3; ++flag) {
        EXPECT_EQ(merge(pos, arrays.data(), arrays.data() + 2, 1, flag), -2);
        EXPECT_EQ(list(arrays[0]), (column_list{{0, 1}}));
    }
}

// Connectivities, nodes of one element --------------------------------------------------------

TEST(merge_in_elements, coincident_nodes_of_different_elements_stay_apart) {
    const dense2D<double> pos = on_a_line({0, 1, 1, 2});
    dense2D<unsigned int> connect = connectivity({{0, 1}, {2, 3}});
    ids new_IDs = stale();
    for (unsigned int flag = 1; flag < 3; ++flag) {
        EXPECT_EQ(merge(pos, connect, new_IDs, 0.5, flag), 0);
        EXPECT_EQ(list(new_IDs), identity(4));
        EXPECT_EQ(list(connect), (column_list{{0, 1}, {2, 3}}));
    }
    EXPECT_EQ(merge(pos, connect, new_IDs, 0.5, 0), 1);
    EXPECT_EQ(list(connect), (column_list{{0, 1}, {1, 3}}));
}

TEST(merge_in_elements, the_lower_ID_of_a_pair_survives_though_it_is_seen_later) {
    const dense2D<double> pos = on_a_line({0, 0.25, 9});
    dense2D<unsigned int> connect = connectivity({{1, 0}, {1, 2}});
    ids new_IDs = stale();
    EXPECT_EQ(merge(pos, connect, new_IDs, 0.5, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 2}));
    EXPECT_EQ(list(connect), (column_list{{0, 0}, {0, 2}}));
}

TEST(merge_in_elements, a_short_pair_wins_over_a_longer_one_that_shares_a_node) {
    const dense2D<double> pos = on_a_line({0, 1.5, 1});
    dense2D<unsigned int> connect = connectivity({{0, 2}, {1, 2}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 1, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 1}));
    EXPECT_EQ(list(connect), (column_list{{0, 1}, {1, 1}}));
}

TEST(merge_in_elements, a_node_that_has_taken_others_can_itself_go) {
    const dense2D<double> pos = on_a_line({0, 1, 1.5});
    dense2D<unsigned int> connect = connectivity({{0, 1}, {1, 2}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 1, 1), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 0}));
    EXPECT_EQ(list(connect), (column_list{{0, 0}, {0, 0}}));
}

TEST(merge_in_elements, a_node_that_has_gone_takes_no_others_in_the_same_pass) {
    const dense2D<double> pos = on_a_line({0, 1, 2});
    dense2D<unsigned int> connect = connectivity({{0, 1, 2}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 1, 1), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 0, 2}));
    EXPECT_EQ(list(connect), (column_list{{0, 0, 2}}));
}

TEST(merge_in_elements, passes_are_repeated_until_nothing_merges_only_with_flag_2) {
    // 1 goes to 0, which then shares an element with 2.
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0.5, 1.1}});
    for (unsigned int flag = 1; flag < 3; ++flag) {
        dense2D<unsigned int> connect = connectivity({{0, 1}, {1, 2}});
        ids new_IDs;
        EXPECT_EQ(merge(pos, connect, new_IDs, 1.25, flag), flag == 1 ? 1 : 2);
        EXPECT_EQ(list(new_IDs), (flag == 1 ? id_vector{0, 0, 2} : id_vector{0, 0, 0}));
        EXPECT_EQ(list(connect),
                  (flag == 1 ? column_list{{0, 0}, {0, 2}} : column_list{{0, 0}, {0, 0}}));
    }
}

TEST(merge_in_elements, diagonals_count_like_sides) {
    const dense2D<double> pos = points({{0, 0}, {3, 1}, {0.5, 0}, {-3, -1}});
    dense2D<unsigned int> connect = connectivity({{0, 1, 2, 3}});
    EXPECT_EQ(merge(pos, connect, 0.5, 1), 1);
    EXPECT_EQ(list(connect), (column_list{{0, 1, 0, 3}}));
}

TEST(merge_in_elements, sentinels_are_passed_over_wherever_they_stand) {
    const dense2D<double> pos = on_a_line({0, 0, 0});
    dense2D<unsigned int> connect = connectivity({{none, 2, none, 1}, {none, none, none, 0}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 0, 2), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, 1}));
    EXPECT_EQ(list(connect), (column_list{{none, 1, none, 1}, {none, none, none, 0}}));
}

TEST(merge_in_elements, a_node_repeated_in_a_column_is_no_pair) {
    const dense2D<double> pos = on_a_line({0, 5});
    dense2D<unsigned int> connect = connectivity({{0, 0, 1}});
    ids new_IDs;
    EXPECT_EQ(merge(pos, connect, new_IDs, 1, 2), 0);
    EXPECT_EQ(list(new_IDs), identity(2));
}

} // namespace
