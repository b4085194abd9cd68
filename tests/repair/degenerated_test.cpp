#include <gtest/gtest.h>

#include <vector>

#include "repair/plain_merge.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

TEST(remove_degenerated, a_column_with_a_repeated_node_goes) {
    for (const bool strict : {false, true}) {
        dense2D<unsigned int> connect = connectivity({{7, 7, 3}, {1, 2, 3}, {4, 5, 4}, {8, 6, 6}});
        ids new_IDs{5, 5};
        EXPECT_EQ(remove_degenerated(connect, new_IDs, strict), 3);
        EXPECT_EQ(list(new_IDs), (id_vector{none, 0, none, none}));
        EXPECT_EQ(list(connect), (column_list{{1, 2, 3}}));
    }
}

TEST(remove_degenerated, several_sentinels_are_a_repetition_only_when_strict) {
    const column_list columns{{0, 1, 2, 3, none, none, none, none}};
    dense2D<unsigned int> connect = connectivity({{0, 1, 2, 3, none, none, none, none}});
    ids new_IDs;
    EXPECT_EQ(remove_degenerated(connect, new_IDs, false), 0);
    EXPECT_EQ(list(new_IDs), (id_vector{0}));
    EXPECT_EQ(list(connect), columns);
    EXPECT_EQ(remove_degenerated(connect, new_IDs, true), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{none}));
}

TEST(remove_degenerated, a_repeated_node_counts_beside_sentinels_when_not_strict) {
    dense2D<unsigned int> connect = connectivity({{0, 1, 2, 0, none, none, none, none}});
    EXPECT_EQ(remove_degenerated(connect, false), 1);
}

TEST(remove_degenerated, one_sentinel_is_no_repetition) {
    for (const bool strict : {false, true}) {
        dense2D<unsigned int> connect = connectivity({{1, 2, 3, none}});
        EXPECT_EQ(remove_degenerated(connect, strict), 0);
        EXPECT_EQ(list(connect), (column_list{{1, 2, 3, none}}));
    }
}

TEST(remove_degenerated, nodes_apart_in_a_column_are_found) {
    dense2D<unsigned int> connect =
        connectivity({{9, 0, 1, 2, 3, 4, 5, 9}, {9, 0, 1, 2, 3, 4, 5, 8}});
    EXPECT_EQ(remove_degenerated(connect, false), 1);
    EXPECT_EQ(list(connect), (column_list{{9, 0, 1, 2, 3, 4, 5, 8}}));
}

TEST(remove_degenerated, an_empty_array_gives_zero_and_no_map) {
    dense2D<unsigned int> connect;
    ids new_IDs{1, 2};
    EXPECT_EQ(remove_degenerated(connect, new_IDs, true), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(remove_degenerated(connect, false), 0);
}

TEST(remove_degenerated, when_all_columns_go_the_array_has_no_rows_either) {
    dense2D<unsigned int> connect = connectivity({{1, 1, 2}, {3, 3, 3}});
    ids new_IDs;
    EXPECT_EQ(remove_degenerated(connect, new_IDs, false), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{none, none}));
    EXPECT_EQ(connect.rows(), 0U);
    EXPECT_EQ(connect.cols(), 0U);
    EXPECT_EQ(connect.ld(), 0U);
}

TEST(remove_degenerated, columns_that_stay_in_place_map_to_themselves) {
    dense2D<unsigned int> connect = connectivity({{0, 1}, {2, 3}, {4, 4}, {5, 6}});
    ids new_IDs;
    EXPECT_EQ(remove_degenerated(connect, new_IDs, false), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, none, 2}));
}

TEST(remove_degenerated, a_window_keeps_its_leading_dimension_and_its_surroundings) {
    dense2D<unsigned int> parent =
        connectivity({{9, 1, 1, 9}, {9, 1, 2, 9}, {9, 3, 3, 9}, {9, 4, 5, 9}, {9, 9, 9, 9}});
    dense2D<unsigned int> view = parent.sub_matrix(1, 0, 2, 4);
    EXPECT_EQ(remove_degenerated(view, false), 2);
    EXPECT_EQ(view.ld(), 4U);
    EXPECT_EQ(list(view), (column_list{{1, 2}, {4, 5}}));
    for (std::size_t c = 0; c < 5; ++c) {
        EXPECT_EQ(parent(0, c), 9U);
        EXPECT_EQ(parent(3, c), 9U);
    }
    EXPECT_EQ(view.column(0), parent.column(0) + 1);
}

TEST(remove_degenerated, agrees_with_a_plain_scan_on_every_mesh_of_the_zoo) {
    for (const bool strict : {false, true}) {
        for (mesh m : zoo()) {
            column_list columns = list(m.connect);
            const std::size_t before = columns.size();
            const id_vector map = plain_remove_degenerated(columns, strict);
            ids new_IDs;
            EXPECT_EQ(remove_degenerated(m.connect, new_IDs, strict),
                      static_cast<int>(before - columns.size()))
                << m.name;
            EXPECT_EQ(list(new_IDs), map) << m.name;
            EXPECT_EQ(list(m.connect), columns) << m.name;
        }
    }
}

TEST(remove_degenerated, agrees_with_a_plain_scan_on_random_arrays) {
    for (std::uint64_t seed = 0; seed < nbr_runs(4000); ++seed) {
        random_source rng(seed);
        column_list columns =
            random_columns(rng, 1 + rng.id_below(9), rng.id_below(30), 2 + rng.id_below(20));
        window<unsigned int> connect(rng, columns, 77U);
        const std::size_t ld = connect.view.ld();
        const bool strict = rng.one_in(2);
        const std::size_t before = columns.size();
        const id_vector map = plain_remove_degenerated(columns, strict);
        const int removed = static_cast<int>(before - columns.size());
        if (rng.one_in(4)) {
            ASSERT_EQ(remove_degenerated(connect.view, strict), removed) << seed;
        } else {
            ids new_IDs(rng.id_below(40), 4U);
            ASSERT_EQ(remove_degenerated(connect.view, new_IDs, strict), removed) << seed;
            ASSERT_EQ(list(new_IDs), map) << seed;
        }
        ASSERT_EQ(list(connect.view), columns) << seed;
        ASSERT_EQ(connect.view.ld(), columns.empty() ? 0 : ld) << seed;
        ASSERT_TRUE(connect.surroundings_untouched()) << seed;
    }
}

TEST(remove_degenerated, agrees_with_a_plain_scan_on_columns_of_many_rows) {
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        random_source rng(seed);
        column_list columns;
        const std::size_t rows = 60 + rng.id_below(60);
        for (std::size_t c = 1 + rng.id_below(8); c > 0; --c) {
            id_vector column(rows);
            for (std::size_t r = 0; r < rows; ++r) column[r] = static_cast<unsigned int>(r * 3);
            rng.shuffle(column);
            if (rng.one_in(2)) column[rng.below(rows)] = column[rng.below(rows)];
            if (rng.one_in(2)) column[rng.below(rows)] = none;
            if (rng.one_in(2)) column[rng.below(rows)] = none;
            columns.push_back(column);
        }
        window<unsigned int> connect(rng, columns, 77U);
        const bool strict = rng.one_in(2);
        const std::size_t before = columns.size();
        const id_vector map = plain_remove_degenerated(columns, strict);
        ids new_IDs;
        ASSERT_EQ(remove_degenerated(connect.view, new_IDs, strict),
                  static_cast<int>(before - columns.size()))
            << seed;
        ASSERT_EQ(list(new_IDs), map) << seed;
        ASSERT_EQ(list(connect.view), columns) << seed;
        ASSERT_TRUE(connect.surroundings_untouched()) << seed;
    }
}

} // namespace
