#include <gtest/gtest.h>

#include <deque>

#include "connectivity/neighbors_of.h"
#include "connectivity/reference.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/connectivity.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using matrix = dense2D<unsigned int>;

struct parts {
    ids list;
    ids first;
};

parts parts_of(const matrix& neighbors) {
    dense1D<unsigned int> elements{9};
    dense1D<unsigned int> first{9};
    EXPECT_EQ(get_subdomains(neighbors, elements, first), 0);
    return {list(elements), list(first)};
}

parts plain_parts(const matrix& neighbors) {
    const std::size_t nbr_elements = neighbors.cols();
    parts result{{}, {0}};
    std::vector<bool> is_listed(nbr_elements, false);
    for (unsigned int s = 0; s < nbr_elements; ++s) {
        if (is_listed[s]) continue;
        std::deque<unsigned int> queue{s};
        while (!queue.empty()) {
            const unsigned int u = queue.front();
            queue.pop_front();
            if (is_listed[u]) continue;
            is_listed[u] = true;
            result.list.push_back(u);
            for (std::size_t r = 0; r < neighbors.rows(); ++r) {
                const unsigned int v = neighbors(r, u);
                if (v < nbr_elements && !is_listed[v]) queue.push_back(v);
            }
        }
        result.first.push_back(static_cast<unsigned int>(result.list.size()));
    }
    return result;
}

TEST(subdomains, of_two_joined_tetrahedra_and_one_apart) {
    const matrix connect = connectivity({{0, 1, 2, 3}, {0, 2, 1, 4}, {5, 6, 7, 8}});
    const parts p = parts_of(neighbors_of(connect, ET_TETRA4, true));
    EXPECT_EQ(p.first, (ids{0, 2, 3}));
    EXPECT_EQ(p.list, (ids{0, 1, 2}));
}

TEST(subdomains, of_nothing_are_one_zero) {
    const parts p = parts_of(matrix());
    EXPECT_EQ(p.first, ids{0});
    EXPECT_TRUE(p.list.empty());
}

TEST(subdomains, without_neighbours_are_the_elements_in_order) {
    const parts p = parts_of(matrix(4, 3, none));
    EXPECT_EQ(p.first, (ids{0, 1, 2, 3}));
    EXPECT_EQ(p.list, (ids{0, 1, 2}));
}

TEST(subdomains, flood_a_chain_from_its_lowest_element) {
    const parts p = parts_of(connectivity({{1, none}, {0, 2}, {1, none}}));
    EXPECT_EQ(p.list, (ids{0, 1, 2}));
    EXPECT_EQ(p.first, (ids{0, 3}));
}

TEST(subdomains, reordered_stand_together_and_stay_so) {
    matrix connect = connectivity({{0, 1, 2}, {5, 6, 7}, {2, 1, 3}});
    matrix neighbors = neighbors_of(connect, ET_TRIA3, true);
    dense1D<unsigned int> first;
    for (int call = 0; call < 2; ++call) {
        ASSERT_EQ(get_subdomains(connect, neighbors, first), 0);
        EXPECT_EQ(list(first), (ids{0, 2, 3}));
        EXPECT_EQ(list(connect), (std::vector<ids>{{0, 1, 2}, {2, 1, 3}, {5, 6, 7}}));
        EXPECT_EQ(list(neighbors), list(neighbors_of(connect, ET_TRIA3, true)));
    }
}

TEST(subdomains, reordered_in_views_leave_what_stands_around_them) {
    matrix around_connect(5, 4, 77);
    matrix around_neighbors(4, 4, 78);
    matrix connect = around_connect.sub_matrix(1, 0, 3, 3);
    matrix neighbors = around_neighbors.sub_matrix(0, 1, 3, 3);
    const matrix mesh = connectivity({{0, 1, 2}, {5, 6, 7}, {2, 1, 3}});
    const matrix across = neighbors_of(mesh, ET_TRIA3, true);
    for (std::size_t c = 0; c < 3; ++c) {
        std::copy_n(mesh.column(c), 3, connect.column(c));
        std::copy_n(across.column(c), 3, neighbors.column(c));
    }
    dense1D<unsigned int> first;
    EXPECT_EQ(get_subdomains(connect, neighbors, first), 0);
    EXPECT_EQ(list(around_connect),
              (std::vector<ids>{
                  {77, 0, 1, 2, 77}, {77, 2, 1, 3, 77}, {77, 5, 6, 7, 77}, {77, 77, 77, 77, 77}}));
    EXPECT_EQ(
        list(around_neighbors),
        (std::vector<ids>{
            {78, 78, 78, 78}, {1, none, none, 78}, {none, none, 0, 78}, {none, none, none, 78}}));
}

TEST(subdomains, refuse_arrays_of_different_length_before_all_else) {
    matrix connect(3, 2, 0);
    matrix neighbors(3, 1, none);
    dense1D<unsigned int> first{4};
    EXPECT_EQ(get_subdomains(connect, neighbors, first), -2);
    matrix empty;
    EXPECT_EQ(get_subdomains(empty, neighbors, first), -2);
    EXPECT_EQ(get_subdomains(connect, empty, first), -2);
    matrix also_empty;
    EXPECT_EQ(get_subdomains(empty, also_empty, first), 0);
}

TEST(subdomains, equal_a_breadth_first_search_on_random_arrays) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        random_source random(seed);
        const std::size_t n = random.between(1, 20);
        matrix neighbors(random.between(1, 6), n, none);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < neighbors.rows(); ++r) {
                // Not always mutual, and not always an element.
                if (random.one_in(3)) neighbors(r, c) = random.id_below(n + 2);
            }
        }
        if (random.one_in(2)) neighbors = with_gaps(neighbors, 2, 1U);
        const parts plain = plain_parts(neighbors);
        const parts found = parts_of(neighbors);
        ASSERT_EQ(found.list, plain.list) << seed;
        ASSERT_EQ(found.first, plain.first) << seed;

        matrix connect(3, n);
        for (unsigned int c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < 3; ++r) connect(r, c) = c;
        }
        if (random.one_in(2)) connect = with_gaps(connect, 1, 5U);
        const auto old_neighbors = list(neighbors);
        dense1D<unsigned int> first;
        ASSERT_EQ(get_subdomains(connect, neighbors, first), 0);
        ASSERT_EQ(list(first), plain.first);
        ids inverse(n);
        for (unsigned int i = 0; i < n; ++i) inverse[plain.list[i]] = i;
        for (unsigned int i = 0; i < n; ++i) {
            ASSERT_EQ(connect(0, i), plain.list[i]);
            for (std::size_t r = 0; r < neighbors.rows(); ++r) {
                const unsigned int v = old_neighbors[plain.list[i]][r];
                ASSERT_EQ(neighbors(r, i), v < n ? inverse[v] : v);
            }
        }
    }
}

TEST(subdomains, fail_by_their_code_and_change_nothing_when_memory_does) {
    const matrix connect = connectivity({{0, 1, 2}, {5, 6, 7}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3, true);
    const auto nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        matrix own_connect;
        matrix own_neighbors;
        EXPECT_TRUE(own_connect.copy(connect) && own_neighbors.copy(neighbors));
        dense1D<unsigned int> first;
        int result = 0;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            result = get_subdomains(own_connect, own_neighbors, first);
            happened = failure.happened();
        }
        if (result == 0) {
            EXPECT_EQ(list(first), (ids{0, 2, 3}));
            EXPECT_EQ(list(own_connect), (std::vector<ids>{{0, 1, 2}, {2, 1, 3}, {5, 6, 7}}));
            EXPECT_EQ(list(own_neighbors), list(neighbors_of(own_connect, ET_TRIA3, true)));
        } else {
            EXPECT_TRUE(happened && result == -199);
            EXPECT_TRUE(first.empty());
            EXPECT_EQ(list(own_connect), list(connect));
            EXPECT_EQ(list(own_neighbors), list(neighbors));
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 0U);
}

} // namespace
