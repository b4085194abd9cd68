#include <gtest/gtest.h>

#include <cstring>
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

dense2D<double> numbered(std::size_t n) {
    dense2D<double> pos(3, n);
    for (std::size_t c = 0; c < n; ++c) {
        for (std::size_t r = 0; r < 3; ++r) pos(r, c) = static_cast<double>(10 * c + r);
    }
    return pos;
}

TEST(simplify, nodes_before_the_first_stay_used_or_not) {
    dense2D<double> pos = numbered(5);
    dense2D<unsigned int> connect = connectivity({{0, 4}});
    ids new_IDs{8};
    EXPECT_EQ(simplify(pos, connect, new_IDs, 2), 2);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, none, none, 2}));
    EXPECT_EQ(list(connect), (column_list{{0, 2}}));
    EXPECT_EQ(list(pos), list(points({{0, 1, 2}, {10, 11, 12}, {40, 41, 42}})));
}

TEST(simplify, without_unused_nodes_the_map_is_the_identity) {
    dense2D<double> pos = numbered(3);
    dense2D<unsigned int> connect = connectivity({{2, 0}, {1, none}});
    ids new_IDs;
    EXPECT_EQ(simplify(pos, connect, new_IDs, 0), 0);
    EXPECT_EQ(list(new_IDs), identity(3));
    EXPECT_EQ(list(connect), (column_list{{2, 0}, {1, none}}));
    EXPECT_EQ(list(pos), list(numbered(3)));
}

TEST(simplify, sentinels_stay) {
    dense2D<double> pos = numbered(4);
    dense2D<unsigned int> connect = connectivity({{3, none, 1, none}});
    EXPECT_EQ(simplify(pos, connect, 0), 2);
    EXPECT_EQ(list(connect), (column_list{{1, none, 0, none}}));
}

TEST(simplify, a_first_node_that_is_no_column_does_nothing) {
    for (const unsigned int first : {5U, 6U, none}) {
        dense2D<double> pos = numbered(5);
        dense2D<unsigned int> connect = connectivity({{4, 3}});
        ids new_IDs{8};
        EXPECT_EQ(simplify(pos, connect, new_IDs, first), 0);
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(list(pos), list(numbered(5)));
    }
}

TEST(simplify, the_last_node_alone_can_be_open_to_removal) {
    dense2D<double> pos = numbered(3);
    dense2D<unsigned int> connect = connectivity({{0, 1}});
    ids new_IDs;
    EXPECT_EQ(simplify(pos, connect, new_IDs, 2), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{0, 1, none}));
    EXPECT_EQ(pos.cols(), 2U);
}

TEST(simplify, the_leading_dimension_of_the_coordinates_stays) {
    dense2D<double> parent(5, 4, -1.0);
    dense2D<double> pos = parent.sub_matrix(1, 0, 3, 4);
    for (std::size_t c = 0; c < 4; ++c) pos(0, c) = static_cast<double>(c);
    dense2D<unsigned int> connect = connectivity({{3, 1}});
    EXPECT_EQ(simplify(pos, connect, 0), 2);
    EXPECT_EQ(pos.ld(), 5U);
    EXPECT_EQ(list(pos), list(points({{1, -1, -1}, {3, -1, -1}})));
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_EQ(parent(0, c), -1);
        EXPECT_EQ(parent(4, c), -1);
    }
}

TEST(simplify, arrays_without_columns_let_every_node_from_the_first_go) {
    std::vector<dense2D<unsigned int>> nothing(2);
    dense2D<double> pos = numbered(4);
    ids new_IDs;
    EXPECT_EQ(simplify(pos, nothing.data(), nothing.data() + 2, new_IDs, 1), 3);
    EXPECT_EQ(list(new_IDs), (id_vector{0, none, none, none}));
    EXPECT_EQ(list(pos), list(numbered(1)));
    EXPECT_EQ(simplify(pos, nothing[0], new_IDs, 0), 1);
    EXPECT_EQ(list(new_IDs), (id_vector{none}));
    EXPECT_EQ(pos.rows(), 0U);
    EXPECT_EQ(pos.cols(), 0U);
    EXPECT_EQ(pos.ld(), 0U);
}

TEST(simplify, an_empty_range_removes_nothing) {
    dense2D<double> pos = numbered(4);
    dense2D<unsigned int>* const nowhere = nullptr;
    ids new_IDs{8};
    EXPECT_EQ(simplify(pos, nowhere, nowhere, new_IDs, 0), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(simplify(pos, nowhere, nowhere, 0), 0);
    EXPECT_EQ(list(pos), list(numbered(4)));
}

TEST(simplify, the_two_arrays_of_the_caller_are_renumbered_together) {
    dense2D<double> pos = numbered(6);
    dense2D<unsigned int> connect1 = connectivity({{5, 2}});
    dense2D<unsigned int> connect2 = connectivity({{1, 2, 5}});
    EXPECT_EQ(simplify(pos, connect1, connect2, 0), 3);
    EXPECT_EQ(list(connect1), (column_list{{2, 1}}));
    EXPECT_EQ(list(connect2), (column_list{{0, 1, 2}}));
    EXPECT_EQ(list(pos), list(points({{10, 11, 12}, {20, 21, 22}, {50, 51, 52}})));
}

TEST(simplify, an_ID_that_is_no_column_gives_minus_2_before_all_else) {
    dense2D<double> pos = numbered(3);
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 1}}), connectivity({{0, 3}})};
    dense2D<unsigned int>* const begin = arrays.data();
    ids new_IDs{8};
    for (const unsigned int first : {0U, 9U}) {
        EXPECT_EQ(simplify(pos, begin, begin + 2, new_IDs, first), -2);
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(simplify(pos, begin, begin + 2, first), -2);
        EXPECT_EQ(simplify(pos, arrays[0], arrays[1], first), -2);
        EXPECT_EQ(simplify(pos, arrays[1], new_IDs, first), -2);
        EXPECT_EQ(simplify(pos, arrays[1], first), -2);
    }
    EXPECT_EQ(list(pos), list(numbered(3)));
    EXPECT_EQ(list(arrays[0]), (column_list{{0, 1}}));
    dense2D<double> no_nodes;
    EXPECT_EQ(simplify(no_nodes, arrays[0], 0), -2);
}

TEST(simplify, a_reversed_range_gives_minus_3_before_the_nodes_are_looked_at) {
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 9}}), connectivity({{0, 9}})};
    dense2D<unsigned int>* const begin = arrays.data();
    for (dense2D<double> pos : {numbered(3), dense2D<double>()}) {
        ids new_IDs{8};
        EXPECT_EQ(simplify(pos, begin + 2, begin, new_IDs, 9), -3);
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(simplify(pos, begin + 1, begin, 9), -3);
    }
}

TEST(simplify, without_nodes_nothing_happens) {
    dense2D<double> pos;
    dense2D<unsigned int> connect(2, 2, none);
    ids new_IDs{8};
    EXPECT_EQ(simplify(pos, connect, new_IDs, 0), 0);
    EXPECT_TRUE(new_IDs.empty());
}

TEST(simplify, agrees_with_a_plain_scan_on_every_mesh_of_the_zoo) {
    for (const unsigned int first : {0U, 1U, 3U}) {
        for (mesh m : zoo()) {
            if (first >= m.pos.cols()) continue;
            dense2D<double> pos = with_gaps(m.pos, 1, -1.0);
            std::vector<std::vector<double>> coordinates = list(m.pos);
            std::vector<column_list> arrays{list(m.connect)};
            const id_vector map = plain_simplify(coordinates, arrays, first);
            ids new_IDs;
            EXPECT_EQ(simplify(pos, m.connect, new_IDs, first),
                      static_cast<int>(m.pos.cols() - coordinates.size()))
                << m.name;
            EXPECT_EQ(list(new_IDs), map) << m.name;
            EXPECT_EQ(list(m.connect), arrays[0]) << m.name;
            EXPECT_EQ(pos.cols(), coordinates.size()) << m.name;
            for (std::size_t c = 0; c < coordinates.size(); ++c) {
                // NaN is among the coordinates.
                EXPECT_EQ(std::memcmp(pos.column(c), coordinates[c].data(),
                                      coordinates[c].size() * sizeof(double)),
                          0)
                    << m.name;
            }
        }
    }
}

TEST(simplify, agrees_with_a_plain_scan_on_random_meshes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(4000); ++seed) {
        random_source rng(seed);
        const std::size_t nbr_nodes = 1 + rng.id_below(60);
        const std::size_t rows = 1 + rng.id_below(4);
        std::vector<std::vector<double>> coordinates(nbr_nodes, std::vector<double>(rows));
        for (auto& point : coordinates) {
            for (double& v : point) v = rng.uniform(0, 1);
        }
        window<double> pos(rng, coordinates, -1.0);
        const std::size_t ld = pos.view.ld();
        std::vector<column_list> arrays(1 + rng.id_below(3));
        std::vector<window<unsigned int>> windows;
        std::vector<dense2D<unsigned int>> views;
        for (column_list& array : arrays) {
            array = random_columns(rng, 1 + rng.id_below(8), rng.id_below(8), nbr_nodes);
            windows.emplace_back(rng, array, 0U);
            views.push_back(windows.back().view);
        }
        const unsigned int first = rng.one_in(2) ? 0 : rng.id_below(nbr_nodes);
        const id_vector map = plain_simplify(coordinates, arrays, first);
        const int removed = static_cast<int>(nbr_nodes - coordinates.size());

        ids new_IDs(rng.id_below(40), 4U);
        dense2D<unsigned int>* const begin = views.data();
        int count = 0;
        bool with_map = rng.one_in(2);
        if (views.size() == 1) {
            count = with_map ? simplify(pos.view, views[0], new_IDs, first)
                             : simplify(pos.view, views[0], first);
        } else if (views.size() == 2 && !with_map) {
            count = simplify(pos.view, views[0], views[1], first);
        } else {
            count = with_map ? simplify(pos.view, begin, begin + views.size(), new_IDs, first)
                             : simplify(pos.view, begin, begin + views.size(), first);
        }
        ASSERT_EQ(count, removed) << seed;
        if (with_map) {
            ASSERT_EQ(list(new_IDs), map) << seed;
        }
        ASSERT_EQ(list(pos.view), coordinates) << seed;
        ASSERT_EQ(pos.view.ld(), coordinates.empty() ? 0 : ld) << seed;
        ASSERT_TRUE(pos.surroundings_untouched()) << seed;
        for (std::size_t k = 0; k < arrays.size(); ++k) {
            ASSERT_EQ(list(windows[k].view), arrays[k]) << seed;
            ASSERT_TRUE(windows[k].surroundings_untouched()) << seed;
        }
    }
}

} // namespace
