#include <gtest/gtest.h>

#include <numeric>

#include "connectivity/reference.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/connectivity.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using matrix = dense2D<unsigned int>;

struct sorted {
    int result = 1;
    ids node_counts;
    ids group_ends;
    ids old_to_new;
};

sorted sort(matrix& connect, matrix& neighbors) {
    dense1D<unsigned int> node_counts{7};
    dense1D<unsigned int> group_ends{7};
    dense1D<unsigned int> old_to_new{7};
    sorted out;
    out.result = sort_elfes(connect, neighbors, node_counts, group_ends, old_to_new);
    out.node_counts = list(node_counts);
    out.group_ends = list(group_ends);
    out.old_to_new = list(old_to_new);
    return out;
}

TEST(sort_elfes, puts_elements_with_most_nodes_first) {
    const unsigned int x = none;
    matrix connect = connectivity(
        {{0, 1, 2, 3, x, x, x, x}, {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, x, x}});
    matrix neighbors;
    const sorted out = sort(connect, neighbors);
    EXPECT_EQ(out.result, 0);
    EXPECT_EQ(out.node_counts, (ids{8, 6, 4}));
    EXPECT_EQ(out.group_ends, (ids{1, 2, 3}));
    EXPECT_EQ(out.old_to_new, (ids{2, 0, 1}));
    EXPECT_EQ(list(connect),
              (std::vector<ids>{
                  {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, x, x}, {0, 1, 2, 3, x, x, x, x}}));
}

TEST(sort_elfes, drops_a_column_without_nodes_and_its_mentions) {
    matrix connect = connectivity({{none, 1, 2}, {0, 1, 2}, {2, 1, none}});
    matrix neighbors = connectivity({{1, 2}, {0, 2}, {0, 1}});
    const sorted out = sort(connect, neighbors);
    EXPECT_EQ(out.old_to_new, (ids{none, 0, 1}));
    EXPECT_EQ(list(connect), (std::vector<ids>{{0, 1, 2}, {2, 1, none}}));
    EXPECT_EQ(list(neighbors), (std::vector<ids>{{none, 1}, {none, 0}}));
}

TEST(sort_elfes, of_nothing_yields_one_empty_group) {
    matrix connect;
    matrix neighbors;
    sorted out = sort(connect, neighbors);
    EXPECT_EQ(out.result, 0);
    EXPECT_EQ(out.node_counts, ids{0});
    EXPECT_EQ(out.group_ends, ids{0});
    EXPECT_TRUE(out.old_to_new.empty());
    connect = matrix(4, 2, none);
    out = sort(connect, neighbors);
    EXPECT_EQ(out.node_counts, ids{0});
    EXPECT_EQ(out.group_ends, ids{0});
    EXPECT_EQ(out.old_to_new, (ids{none, none}));
    EXPECT_TRUE(connect.empty());
}

TEST(sort_elfes, counts_up_to_an_absent_ID_and_carries_the_rest_along) {
    matrix connect = connectivity({{5, none, 7, 8}, {1, 2, 3, none}});
    matrix neighbors;
    const sorted out = sort(connect, neighbors);
    EXPECT_EQ(out.node_counts, (ids{3, 1}));
    EXPECT_EQ(list(connect), (std::vector<ids>{{1, 2, 3, none}, {5, none, 7, 8}}));
}

TEST(sort_elfes, refuses_neighbours_of_another_length_and_changes_nothing) {
    matrix connect = connectivity({{1, none}, {1, 2}});
    matrix neighbors = connectivity({{0, 0}});
    const sorted out = sort(connect, neighbors);
    EXPECT_EQ(out.result, -1);
    EXPECT_EQ(out.node_counts, ids{7});
    EXPECT_EQ(out.group_ends, ids{7});
    EXPECT_EQ(out.old_to_new, ids{7});
    EXPECT_EQ(list(connect), (std::vector<ids>{{1, none}, {1, 2}}));
    matrix empty;
    EXPECT_EQ(sort(empty, neighbors).result, -1);
}

TEST(sort_elfes, without_neighbours_has_a_form_of_its_own) {
    matrix connect = connectivity({{1, none}, {1, 2}});
    dense1D<unsigned int> node_counts;
    dense1D<unsigned int> group_ends;
    dense1D<unsigned int> old_to_new;
    EXPECT_EQ(sort_elfes(connect, node_counts, group_ends, old_to_new), 0);
    EXPECT_EQ(list(node_counts), (ids{2, 1}));
    EXPECT_EQ(list(old_to_new), (ids{1, 0}));
}

TEST(sort_elfes, equals_its_definition_on_random_arrays) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        random_source random(seed);
        const std::size_t rows = random.between(1, 8);
        const std::size_t n = random.between(1, 15);
        matrix connect(rows, n);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < rows; ++r) {
                connect(r, c) = random.one_in(6) ? none : random.id_below(30);
            }
        }
        matrix neighbors;
        if (random.one_in(2)) {
            neighbors = matrix(3, n);
            for (std::size_t c = 0; c < n; ++c) {
                for (std::size_t r = 0; r < 3; ++r) {
                    neighbors(r, c) = random.one_in(3) ? none : random.id_below(n + 2);
                }
            }
            if (random.one_in(2)) neighbors = with_gaps(neighbors, 1, 9U);
        }
        if (random.one_in(2)) connect = with_gaps(connect, 2, 9U);
        const auto old_connect = list(connect);
        const auto old_neighbors = list(neighbors);

        std::vector<std::size_t> order;
        std::vector<std::size_t> counts(n);
        for (std::size_t c = 0; c < n; ++c) {
            counts[c] = static_cast<std::size_t>(
                std::find(old_connect[c].begin(), old_connect[c].end(), none) -
                old_connect[c].begin());
            if (counts[c] > 0) order.push_back(c);
        }
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return counts[a] > counts[b]; });
        ids old_to_new(n, none);
        ids node_counts;
        ids group_ends;
        for (unsigned int i = 0; i < order.size(); ++i) {
            old_to_new[order[i]] = i;
            const auto count = static_cast<unsigned int>(counts[order[i]]);
            if (node_counts.empty() || node_counts.back() != count) {
                if (!node_counts.empty()) group_ends.push_back(i);
                node_counts.push_back(count);
            }
        }
        if (node_counts.empty()) node_counts.push_back(0);
        group_ends.push_back(static_cast<unsigned int>(order.size()));

        const sorted out = sort(connect, neighbors);
        ASSERT_EQ(out.result, 0);
        ASSERT_EQ(out.node_counts, node_counts) << seed;
        ASSERT_EQ(out.group_ends, group_ends) << seed;
        ASSERT_EQ(out.old_to_new, old_to_new) << seed;
        ASSERT_EQ(connect.cols(), order.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            ASSERT_EQ(list(connect)[i], old_connect[order[i]]);
            if (old_neighbors.empty()) continue;
            ids expected = old_neighbors[order[i]];
            for (unsigned int& v : expected) v = v < n ? old_to_new[v] : v;
            ASSERT_EQ(list(neighbors)[i], expected) << seed;
        }
    }
}

TEST(sort_elfes, sorts_all_or_nothing_when_memory_fails) {
    const matrix mesh = connectivity({{1, none}, {1, 2}, {none, 0}});
    const matrix around = connectivity({{1, 2}, {0, 2}, {none, 0}});
    const auto nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        matrix connect;
        matrix neighbors;
        EXPECT_TRUE(connect.copy(mesh) && neighbors.copy(around));
        dense1D<unsigned int> node_counts{7};
        dense1D<unsigned int> group_ends{7};
        dense1D<unsigned int> old_to_new{7};
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            EXPECT_EQ(sort_elfes(connect, neighbors, node_counts, group_ends, old_to_new), 0);
            happened = failure.happened();
        }
        if (happened && old_to_new.empty()) {
            EXPECT_EQ(list(connect), list(mesh));
            EXPECT_EQ(list(neighbors), list(around));
            EXPECT_TRUE(node_counts.empty() && group_ends.empty());
        } else {
            EXPECT_EQ(list(connect), (std::vector<ids>{{1, 2}, {1, none}}));
            EXPECT_EQ(list(neighbors), (std::vector<ids>{{1, none}, {0, none}}));
            EXPECT_EQ(list(node_counts), (ids{2, 1}));
            EXPECT_EQ(list(group_ends), (ids{1, 2}));
            EXPECT_EQ(list(old_to_new), (ids{1, 0, none}));
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 0U);
}

} // namespace
