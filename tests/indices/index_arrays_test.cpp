#include <gtest/gtest.h>

#include <vector>

#include "support/meshes.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::connectivity;
using test::list;
using test::none;
using test::with_gaps;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;
using column_list = std::vector<std::vector<unsigned int>>;

TEST(max_ID, of_an_empty_array_is_the_absent_id) {
    EXPECT_EQ(max_ID(ids()), none);
    EXPECT_EQ(max_ID(dense2D<unsigned int>()), none);
}

TEST(max_ID, of_absent_ids_only_is_0) {
    EXPECT_EQ(max_ID(ids{none, none}), 0U);
    EXPECT_EQ(max_ID(connectivity({{none, none}, {none, none}})), 0U);
}

TEST(max_ID, passes_over_absent_ids) {
    EXPECT_EQ(max_ID(ids{3, none, 7, 1}), 7U);
    EXPECT_EQ(max_ID(ids{0, none}), 0U);
    EXPECT_EQ(max_ID(ids{none - 1, none}), none - 1);
    EXPECT_EQ(max_ID(connectivity({{3, none}, {9, 1}})), 9U);
}

TEST(max_ID, does_not_look_between_columns) {
    EXPECT_EQ(max_ID(with_gaps(connectivity({{3, none}, {9, 1}}), 2, 99U)), 9U);
}

TEST(change_indices, an_id_becomes_its_new_id) {
    ids nodes{2, 0, 1, 2};
    change_indices(nodes, ids{10, 11, 12});
    EXPECT_EQ(list(nodes), (id_vector{12, 10, 11, 12}));
}

TEST(change_indices, an_id_beyond_the_new_ids_stays) {
    ids nodes{0, 3, none, 1, 7};
    change_indices(nodes, ids{5, 6});
    EXPECT_EQ(list(nodes), (id_vector{5, 3, none, 6, 7}));
    change_indices(nodes, ids());
    EXPECT_EQ(list(nodes), (id_vector{5, 3, none, 6, 7}));
}

TEST(change_indices, a_new_id_may_be_the_absent_id) {
    auto connect = connectivity({{0, 1}, {2, none}});
    change_indices(connect, ids{7, none, 9});
    EXPECT_EQ(list(connect), (column_list{{7, none}, {9, none}}));
}

TEST(change_indices, leaves_what_stands_between_columns) {
    dense2D<unsigned int> parent(3, 2, 1U);
    dense2D<unsigned int> connect = parent.sub_matrix(1, 0, 1, 2);
    change_indices(connect, ids{0, 5});
    EXPECT_EQ(list(parent), (column_list{{1, 5, 1}, {1, 5, 1}}));
}

TEST(change_indices, of_empty_arrays_does_nothing) {
    ids nodes;
    dense2D<unsigned int> connect;
    change_indices(nodes, ids{1});
    change_indices(connect, ids{1});
    EXPECT_TRUE(nodes.empty() && connect.empty());
}

TEST(shift_indices, of_a_list_keeps_absent_ids) {
    ids nodes{0, none, 5};
    EXPECT_EQ(shift_indices(nodes, 3), 0);
    EXPECT_EQ(list(nodes), (id_vector{3, none, 8}));
    EXPECT_EQ(shift_indices(nodes, -3), 0);
    EXPECT_EQ(list(nodes), (id_vector{0, none, 5}));
}

TEST(shift_indices, wraps_around_32_bits) {
    ids nodes{0, none - 1, 1};
    EXPECT_EQ(shift_indices(nodes, -1), 0);
    EXPECT_EQ(list(nodes), (id_vector{none, none - 2, 0}));
    ids far{none - 1, 7};
    EXPECT_EQ(shift_indices(far, 5), 0);
    EXPECT_EQ(list(far), (id_vector{3, 12}));
    ids low{0, 0x80000001U};
    EXPECT_EQ(shift_indices(low, -2147483647 - 1), 0);
    EXPECT_EQ(list(low), (id_vector{0x80000000U, 1}));
}

TEST(shift_indices, of_mixed_faces_and_solids_keeps_absent_ids) {
    auto faces = connectivity({{0, 1, 2, none}, {0, 1, 2, 3}});
    EXPECT_EQ(shift_indices(faces, 10, ET_FACE_MIX), 0);
    EXPECT_EQ(list(faces), (column_list{{10, 11, 12, none}, {10, 11, 12, 13}}));
    auto solids = connectivity({{0, 1, 2, 3, none, none, none, none}});
    EXPECT_EQ(shift_indices(solids, 1, ET_SOLID_MIX), 0);
    EXPECT_EQ(list(solids), (column_list{{1, 2, 3, 4, none, none, none, none}}));
}

TEST(shift_indices, of_plain_types_shifts_absent_ids_too) {
    for (const element_type type : {ET_QUAD4, ET_BAR_MIX, ET_TRIA3, ET_UNKNOWN, ET_HEXA27}) {
        auto faces = connectivity({{0, 1, 2, none}});
        EXPECT_EQ(shift_indices(faces, 2, type), 0);
        EXPECT_EQ(list(faces), (column_list{{2, 3, 4, 1}})) << type;
    }
}

TEST(shift_indices, does_not_resolve_a_mixed_type_by_its_rows) {
    auto triangles = connectivity({{0, 1, none}});
    EXPECT_EQ(shift_indices(triangles, 2, ET_FACE_MIX), 0);
    EXPECT_EQ(list(triangles), (column_list{{2, 3, none}}));
}

TEST(shift_indices, leaves_what_stands_between_columns) {
    for (const element_type type : {ET_BAR2, ET_FACE_MIX}) {
        dense2D<unsigned int> parent(3, 2, 1U);
        dense2D<unsigned int> connect = parent.sub_matrix(0, 0, 2, 2);
        EXPECT_EQ(shift_indices(connect, 4, type), 0);
        EXPECT_EQ(list(parent), (column_list{{5, 5, 1}, {5, 5, 1}}));
    }
}

TEST(shift_indices, by_0_or_of_nothing_does_nothing) {
    auto connect = connectivity({{0, none}});
    EXPECT_EQ(shift_indices(connect, 0, ET_BAR2), 0);
    EXPECT_EQ(list(connect), (column_list{{0, none}}));
    ids nodes;
    dense2D<unsigned int> empty;
    EXPECT_EQ(shift_indices(nodes, 3), 0);
    EXPECT_EQ(shift_indices(empty, 3, ET_BAR2), 0);
}

TEST(permutation, scatters_the_value_at_i_to_perm_of_i) {
    ids values{10, 20, 30};
    EXPECT_EQ(permutation(values, ids{2, 0, 1}), 0);
    EXPECT_EQ(list(values), (id_vector{20, 30, 10}));
    dense1D<double> numbers{1.5, 2.5, 3.5};
    EXPECT_EQ(permutation(numbers, ids{2, 0, 1}), 0);
    EXPECT_EQ(list(numbers), (std::vector<double>{2.5, 3.5, 1.5}));
}

TEST(permutation, an_entry_at_its_own_index_moves_nothing_and_wins_nothing) {
    ids values{10, 20, 30};
    EXPECT_EQ(permutation(values, ids{1, 1, none}), 0);
    EXPECT_EQ(list(values), (id_vector{10, 10, 30}));
}

TEST(permutation, of_two_entries_with_one_target_the_later_wins) {
    ids values{10, 20, 30};
    EXPECT_EQ(permutation(values, ids{2, 2, 2}), 0);
    EXPECT_EQ(list(values), (id_vector{10, 20, 20}));
}

TEST(permutation, an_entry_out_of_range_moves_nothing) {
    ids values{10, 20, 30};
    EXPECT_EQ(permutation(values, ids{3, none, 0}), 0);
    EXPECT_EQ(list(values), (id_vector{30, 20, 30}));
}

TEST(permutation, the_shorter_of_the_two_arrays_sets_how_many_entries_count) {
    ids values{10, 20, 30};
    EXPECT_EQ(permutation(values, ids{1}), 0);
    EXPECT_EQ(list(values), (id_vector{10, 10, 30}));
    EXPECT_EQ(permutation(values, ids{1, 0, 2, 0, 0, 0}), 0);
    EXPECT_EQ(list(values), (id_vector{10, 10, 30}));
    EXPECT_EQ(permutation(values, ids()), 0);
    EXPECT_EQ(list(values), (id_vector{10, 10, 30}));
}

TEST(permutation, of_nothing_is_nothing) {
    ids values;
    EXPECT_EQ(permutation(values, ids{0, 1}), 0);
    EXPECT_TRUE(values.empty());
}

TEST(permutation, by_itself_reads_the_entries_as_they_were) {
    ids values{1, 2, 0};
    EXPECT_EQ(permutation(values, values), 0);
    EXPECT_EQ(list(values), (id_vector{0, 1, 2}));
}

TEST(permutation, reaches_the_views_on_the_same_block) {
    ids values{10, 20, 30};
    const ids other_view = values;
    EXPECT_EQ(permutation(values, ids{2, 0, 1}), 0);
    EXPECT_EQ(list(other_view), (id_vector{20, 30, 10}));
}

struct sorted_order {
    int code;
    id_vector order;
    id_vector addresses;
};
sorted_order sorted(const ids& values) {
    ids order{7, 7}, addresses{8};
    const int code = get_sorted_order(values, order, addresses);
    return {code, list(order), list(addresses)};
}

TEST(get_sorted_order, of_an_empty_list_has_the_one_address_0) {
    const auto [code, order, addresses] = sorted(ids());
    EXPECT_EQ(code, 0);
    EXPECT_EQ(order, id_vector());
    EXPECT_EQ(addresses, (id_vector{0}));
}

TEST(get_sorted_order, leaves_absent_ids_out_and_keeps_the_order_of_equal_values) {
    const auto [code, order, addresses] = sorted(ids{2, none, 0, 2});
    EXPECT_EQ(code, 0);
    EXPECT_EQ(order, (id_vector{2, 0, 3}));
    EXPECT_EQ(addresses, (id_vector{0, 1, 1, 3}));
}

TEST(get_sorted_order, of_absent_ids_only_has_two_addresses) {
    const auto [code, order, addresses] = sorted(ids{none});
    EXPECT_EQ(code, 0);
    EXPECT_EQ(order, id_vector());
    EXPECT_EQ(addresses, (id_vector{0, 0}));
}

TEST(get_sorted_order, of_one_zero_has_two_addresses) {
    const auto [code, order, addresses] = sorted(ids{0});
    EXPECT_EQ(code, 0);
    EXPECT_EQ(order, (id_vector{0}));
    EXPECT_EQ(addresses, (id_vector{0, 1}));
}

struct cross_reference {
    int code;
    id_vector a_of_b;
    id_vector b_of_a;

    friend bool operator==(const cross_reference&, const cross_reference&) = default;
};
std::ostream& operator<<(std::ostream& out, const cross_reference& x) {
    return out << x.code << ' ' << testing::PrintToString(x.a_of_b) << ' '
               << testing::PrintToString(x.b_of_a);
}
cross_reference matched(const ids& a, const ids& b) {
    ids a_of_b{1, 2, 3, 4, 5}, b_of_a{6};
    const int code = get_IDs(a, b, a_of_b, b_of_a);
    return {code, list(a_of_b), list(b_of_a)};
}
cross_reference matched(const dense2D<unsigned int>& a, const dense2D<unsigned int>& b,
                        bool strict) {
    ids a_of_b{1, 2, 3, 4, 5}, b_of_a{6};
    const int code = get_IDs(a, b, a_of_b, b_of_a, strict);
    return {code, list(a_of_b), list(b_of_a)};
}

TEST(get_IDs_of_lists, match_first_positions) {
    EXPECT_EQ(matched(ids{5, 7, 5}, ids{5, 9}), (cross_reference{0, {0, none}, {0, none, none}}));
}

TEST(get_IDs_of_lists, a_repeated_value_of_b_is_found_every_time_and_points_back_to_its_first) {
    EXPECT_EQ(matched(ids{9, 5}, ids{5, 5, 9}), (cross_reference{0, {1, 1, 0}, {2, 0}}));
}

TEST(get_IDs_of_lists, an_absent_id_matches_nothing) {
    EXPECT_EQ(matched(ids{none, 1}, ids{none, 1, none}),
              (cross_reference{0, {none, 1, none}, {none, 1}}));
}

TEST(get_IDs_of_lists, with_an_empty_list_the_other_is_sized_and_unmatched) {
    EXPECT_EQ(matched(ids(), ids{1, 2}), (cross_reference{0, {none, none}, {}}));
    EXPECT_EQ(matched(ids{1, 2}, ids()), (cross_reference{0, {}, {none, none}}));
    EXPECT_EQ(matched(ids(), ids()), (cross_reference{0, {}, {}}));
}

TEST(get_IDs_of_columns, with_strict_match_the_same_nodes_in_the_same_order_only) {
    const auto a = connectivity({{1, 2, 3}, {2, 3, 1}, {3, 2, 1}});
    EXPECT_EQ(matched(a, connectivity({{2, 3, 1}, {1, 3, 2}}), true),
              (cross_reference{0, {1, none}, {none, 0, none}}));
}

TEST(get_IDs_of_columns, without_strict_match_the_same_loop_rotated_or_reversed) {
    const auto a = connectivity({{1, 2, 3, 4}});
    for (const auto& loop :
         {connectivity({{1, 2, 3, 4}}), connectivity({{2, 3, 4, 1}}), connectivity({{4, 3, 2, 1}}),
          connectivity({{1, 4, 3, 2}}), connectivity({{3, 2, 1, 4}})}) {
        EXPECT_EQ(matched(a, loop, false), (cross_reference{0, {0}, {0}}));
        EXPECT_EQ(matched(loop, a, false), (cross_reference{0, {0}, {0}}));
    }
}

TEST(get_IDs_of_columns, without_strict_the_same_nodes_in_another_loop_do_not_match) {
    EXPECT_EQ(matched(connectivity({{1, 2, 3, 4}}), connectivity({{1, 3, 2, 4}}), false),
              (cross_reference{0, {none}, {none}}));
}

TEST(get_IDs_of_columns, every_matching_column_of_a_gets_its_smallest_of_b) {
    const auto a = connectivity({{1, 2}, {3, 4}, {1, 2}, {2, 1}});
    const auto b = connectivity({{9, 9}, {2, 1}, {1, 2}, {2, 1}});
    EXPECT_EQ(matched(a, b, false), (cross_reference{0, {none, 0, 0, 0}, {1, none, 1, 1}}));
    EXPECT_EQ(matched(a, b, true), (cross_reference{0, {none, 3, 0, 3}, {2, none, 2, 1}}));
}

TEST(get_IDs_of_columns, a_single_row_matches_by_value) {
    EXPECT_EQ(matched(connectivity({{5}, {7}, {5}}), connectivity({{7}, {5}}), false),
              (cross_reference{0, {1, 0}, {1, 0, 1}}));
}

TEST(get_IDs_of_columns, absent_ids_are_ordinary_values) {
    const auto a = connectivity({{1, 2, 3, none}, {none, none, none, none}});
    EXPECT_EQ(matched(a, connectivity({{none, 1, 2, 3}, {none, none, none, none}}), false),
              (cross_reference{0, {0, 1}, {0, 1}}));
    EXPECT_EQ(matched(a, connectivity({{2, 1, 3, none}}), false),
              (cross_reference{0, {none}, {none, none}}));
}

TEST(get_IDs_of_columns, the_first_of_several_smallest_ids_starts_the_loop) {
    // Rotated to their first 1, the loops are 1 1 2 and 1 2 1, and 1 2 1 reversed behind its first
    // entry is 1 1 2.
    EXPECT_EQ(matched(connectivity({{1, 1, 2}}), connectivity({{1, 2, 1}}), false),
              (cross_reference{0, {0}, {0}}));
    // 1 1 3 2 against 1 3 2 1, which reversed is 1 1 2 3: the same loop for the eye, no match.
    EXPECT_EQ(matched(connectivity({{1, 1, 3, 2}}), connectivity({{1, 3, 2, 1}}), false),
              (cross_reference{0, {none}, {none}}));
}

TEST(get_IDs_of_columns, of_different_rows_give_minus_2_and_outputs_of_absent_ids) {
    EXPECT_EQ(matched(connectivity({{1, 2}, {3, 4}}), connectivity({{1, 2, 3}}), true),
              (cross_reference{-2, {none}, {none, none}}));
}

TEST(get_IDs_of_columns, with_an_empty_array_different_rows_are_no_failure) {
    const dense2D<unsigned int> empty;
    EXPECT_EQ(matched(connectivity({{1, 2}, {3, 4}}), empty, true),
              (cross_reference{0, {}, {none, none}}));
    EXPECT_EQ(matched(empty, connectivity({{1, 2}}), false), (cross_reference{0, {none}, {}}));
    EXPECT_EQ(matched(empty, empty, false), (cross_reference{0, {}, {}}));
}

TEST(get_IDs_of_columns, do_not_look_between_columns) {
    const auto a = connectivity({{1, 2, 3}, {4, 5, 6}});
    const auto b = connectivity({{6, 5, 4}, {3, 1, 2}});
    const cross_reference expected{0, {1, 0}, {1, 0}};
    EXPECT_EQ(matched(with_gaps(a, 1, 7U), with_gaps(b, 2, 8U), false), expected);
    EXPECT_EQ(matched(a, with_gaps(b, 2, 8U), false), expected);
    EXPECT_EQ(matched(with_gaps(a, 1, 7U), b, false), expected);
}

TEST(get_IDs_of_columns, leave_the_arrays_as_they_are) {
    const auto a = connectivity({{4, 3, 2, 1}});
    const auto b = connectivity({{2, 1, 4, 3}});
    matched(a, b, false);
    EXPECT_EQ(list(a), (column_list{{4, 3, 2, 1}}));
    EXPECT_EQ(list(b), (column_list{{2, 1, 4, 3}}));
}

TEST(unique_indices, of_a_list_come_in_the_order_of_first_sight_without_skip_and_absent_ids) {
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, ids{3, 1, 3, none, 2}, ids{1}), 0);
    EXPECT_EQ(list(nodes), (id_vector{3, 2}));
}

TEST(unique_indices, return_0_and_not_the_count) {
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, ids{3, 1, 2}, ids()), 0);
    EXPECT_EQ(unique_indices(nodes, connectivity({{3, 1}}), ids()), 0);
    EXPECT_EQ(nodes.size(), 5U);
}

TEST(unique_indices, append_to_what_is_there_and_do_not_look_at_it) {
    ids nodes{3, 9};
    EXPECT_EQ(unique_indices(nodes, ids{3, 4}, ids()), 0);
    EXPECT_EQ(list(nodes), (id_vector{3, 9, 3, 4}));
}

TEST(unique_indices, with_the_earlier_result_as_skip_add_only_what_is_new) {
    ids nodes{3, 9};
    EXPECT_EQ(unique_indices(nodes, ids{9, 3, 4}, nodes), 0);
    EXPECT_EQ(list(nodes), (id_vector{3, 9, 4}));
}

TEST(unique_indices, of_the_list_itself_double_it) {
    ids nodes{3, 9, 3};
    EXPECT_EQ(unique_indices(nodes, nodes, ids()), 0);
    EXPECT_EQ(list(nodes), (id_vector{3, 9, 3, 3, 9}));
}

TEST(unique_indices, may_be_gathered_in_the_block_that_they_come_from) {
    ids all;
    id_vector expected;
    for (unsigned int k = 0; k < 5000; ++k) {
        const unsigned int id = k * 7919 % 997;
        all.push_back(id);
        if (k < 997) expected.push_back(id);
    }
    ids nodes = all;
    nodes.clear();
    EXPECT_EQ(unique_indices(nodes, all, ids()), 0);
    EXPECT_EQ(list(nodes), expected);
}

TEST(unique_indices, of_nothing_leave_the_list_alone) {
    ids nodes{1};
    const unsigned int* const memory = nodes.data();
    EXPECT_EQ(unique_indices(nodes, ids(), ids{2}), 0);
    EXPECT_EQ(unique_indices(nodes, dense2D<unsigned int>(), ids{2}), 0);
    EXPECT_EQ(list(nodes), (id_vector{1}));
    EXPECT_EQ(nodes.data(), memory);
}

TEST(unique_indices, of_columns_run_down_each_column_in_turn) {
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, connectivity({{5, 2, none}, {2, 7, 5}}), ids()), 0);
    EXPECT_EQ(list(nodes), (id_vector{5, 2, 7}));
}

TEST(unique_indices, of_several_arrays_run_through_them_in_turn) {
    const dense2D<unsigned int> arrays[] = {connectivity({{5, 2}}), dense2D<unsigned int>(),
                                            with_gaps(connectivity({{2, 8, 1}, {4, 5, 8}}), 1, 9U)};
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, arrays, arrays + 3, ids{4}), 0);
    EXPECT_EQ(list(nodes), (id_vector{5, 2, 8, 1}));
}

TEST(unique_indices, of_an_empty_range_are_none_and_of_a_reversed_one_minus_3) {
    const dense2D<unsigned int> arrays[] = {connectivity({{5, 2}})};
    ids nodes{1};
    EXPECT_EQ(unique_indices(nodes, arrays, arrays, ids()), 0);
    EXPECT_EQ(unique_indices(nodes, arrays + 1, arrays, ids()), -3);
    EXPECT_EQ(list(nodes), (id_vector{1}));
}

TEST(unique_indices, only_read_the_skip_list) {
    const ids skip{7, 7, none, 1};
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, ids{7, 2, 1}, skip), 0);
    EXPECT_EQ(list(nodes), (id_vector{2}));
    EXPECT_EQ(list(skip), (id_vector{7, 7, none, 1}));
}

TEST(unique_indices, far_apart_ids_are_told_apart) {
    ids nodes;
    EXPECT_EQ(unique_indices(nodes, ids{none - 1, 0, 23, 46, none - 1, 0x80000000U, 0}, ids{46}),
              0);
    EXPECT_EQ(list(nodes), (id_vector{none - 1, 0, 23, 0x80000000U}));
}

TEST(count_unique_indices, counts_without_the_absent_id) {
    EXPECT_EQ(count_unique_indices(connectivity({{1, 2, none}, {2, 3, none}})), 3);
}

TEST(count_unique_indices, of_absent_ids_only_is_0) {
    EXPECT_EQ(count_unique_indices(connectivity({{none, none}, {none, none}})), 0);
}

TEST(count_unique_indices, of_nothing_is_0) {
    EXPECT_EQ(count_unique_indices(dense2D<unsigned int>()), 0);
}

TEST(count_unique_indices, of_an_empty_range_is_0_and_of_a_reversed_one_minus_2) {
    const dense2D<unsigned int> arrays[] = {connectivity({{5, 2}}), connectivity({{2, 7, 9}})};
    EXPECT_EQ(count_unique_indices(arrays, arrays), 0);
    EXPECT_EQ(count_unique_indices(arrays + 1, arrays), -2);
    EXPECT_EQ(count_unique_indices(arrays, arrays + 2), 4);
}

} // namespace
