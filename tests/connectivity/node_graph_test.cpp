#include <gtest/gtest.h>

#include "connectivity/reference.h"
#include "core/type_table.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

struct adjacency {
    dense1D<unsigned int> first;
    dense1D<unsigned int> list;
};

ids entries_of(const adjacency& a, unsigned int n) {
    return ids(a.list.begin() + a.first[n], a.list.begin() + a.first[n + 1]);
}

adjacency graph_of(const dense2D<unsigned int>& connect, element_type type) {
    adjacency a{{1, 2, 3}, {4, 5}};
    EXPECT_EQ(get_node_graph(connect, a.first, a.list, type), 0);
    return a;
}

adjacency elements_of(const dense2D<unsigned int>& connect) {
    adjacency a{{1, 2, 3}, {4, 5}};
    EXPECT_EQ(get_connected_elements(connect, a.first, a.list), 0);
    return a;
}

// Groups of nodes that are neighbours of one another, in order: the whole column, or its edges.
std::vector<ids> groups_of(const dense2D<unsigned int>& connect, element_type type) {
    std::vector<ids> groups;
    for (const ids& column : list(connect)) {
        if (type == ET_UNKNOWN || type == ET_BAR2 || type == ET_TRIA3 || type == ET_TETRA4) {
            groups.push_back(column);
            continue;
        }
        for (const auto& [a, b] : edges_of_shape(shape_of_column(column, type))) {
            groups.push_back({column[a], column[b]});
        }
    }
    return groups;
}

// Nested loops over nodes, groups and nodes of groups; neighbours in order of first occurrence.
void expect_plain_graph(const dense2D<unsigned int>& connect, element_type type) {
    const adjacency graph = graph_of(connect, type);
    const unsigned int nbr_nodes = max_ID(connect) + 1;
    const std::vector<ids> groups = groups_of(connect, type);
    ASSERT_EQ(graph.first.size(), nbr_nodes + 1U);
    EXPECT_EQ(graph.first[0], 0U);
    EXPECT_EQ(graph.first[nbr_nodes], graph.list.size());
    for (unsigned int n = 0; n < nbr_nodes; ++n) {
        ids met;
        for (const ids& group : groups) {
            if (std::find(group.begin(), group.end(), n) == group.end()) continue;
            for (const unsigned int m : group) {
                if (m != n && m != none && std::find(met.begin(), met.end(), m) == met.end()) {
                    met.push_back(m);
                }
            }
        }
        EXPECT_EQ(entries_of(graph, n), met) << "node " << n << " type " << type;
    }
}

TEST(node_graph, of_an_empty_connectivity_has_no_entry_in_first) {
    for (const element_type type : {ET_UNKNOWN, ET_TRIA3, ET_TRIA6}) {
        const adjacency graph = graph_of(dense2D<unsigned int>(), type);
        EXPECT_TRUE(graph.first.empty());
        EXPECT_TRUE(graph.list.empty());
    }
}

TEST(node_graph, elements_of_an_empty_connectivity_have_one_entry_in_first) {
    const adjacency elements = elements_of(dense2D<unsigned int>());
    EXPECT_EQ(list(elements.first), ids{0});
    EXPECT_TRUE(elements.list.empty());
}

TEST(node_graph, of_one_triangle_reaches_up_to_its_largest_node) {
    const adjacency graph = graph_of(connectivity({{5, 7, 9}}), ET_TRIA3);
    EXPECT_EQ(list(graph.first), (ids{0, 0, 0, 0, 0, 0, 2, 2, 4, 4, 6}));
    EXPECT_EQ(list(graph.list), (ids{7, 9, 5, 9, 5, 7}));
}

TEST(node_graph, lists_neighbours_in_the_order_of_meeting) {
    const adjacency graph = graph_of(connectivity({{0, 1, 2}, {2, 1, 3}}), ET_TRIA3);
    EXPECT_EQ(entries_of(graph, 1), (ids{0, 2, 3}));
}

TEST(node_graph, lists_a_repeated_node_once_and_never_under_itself) {
    const dense2D<unsigned int> connect = connectivity({{4, 4, 6}});
    const adjacency elements = elements_of(connect);
    EXPECT_EQ(entries_of(elements, 4), (ids{0, 0}));
    EXPECT_EQ(entries_of(elements, 6), ids{0});
    const adjacency graph = graph_of(connect, ET_TRIA3);
    EXPECT_EQ(entries_of(graph, 4), ids{6});
    EXPECT_EQ(entries_of(graph, 6), ids{4});
}

TEST(node_graph, refuses_rows_before_types_and_narrows_nothing) {
    dense1D<unsigned int> first{1};
    dense1D<unsigned int> list_out{1};
    const auto code = [&](std::size_t rows, element_type type) {
        first.push_back(1);
        list_out.push_back(1);
        const int result = get_node_graph(dense2D<unsigned int>(rows, 2, 0), first, list_out, type);
        EXPECT_TRUE(first.empty() || result == 0);
        EXPECT_TRUE(list_out.empty() || result == 0);
        return result;
    };
    EXPECT_EQ(code(3, ET_QUAD4), -2);
    EXPECT_EQ(code(3, ET_FACE_MIX), -2);
    EXPECT_EQ(code(4, ET_SOLID_MIX), -2);
    EXPECT_EQ(code(5, ET_TRIA6), -2);
    for (const element_type type : all_element_types) {
        if (type == ET_UNKNOWN) continue;
        const bool is_served =
            std::find(served_types.begin(), served_types.end(), type) != served_types.end();
        EXPECT_EQ(code(nbr_nodes(type), type), is_served ? 0 : -5) << type;
        EXPECT_EQ(code(nbr_nodes(type) + 1, type), -2) << type;
    }
    for (const std::size_t rows : {1U, 2U, 7U, 30U}) EXPECT_EQ(code(rows, ET_UNKNOWN), 0);
}

TEST(node_graph, skips_absent_IDs_of_mixed_columns) {
    const dense2D<unsigned int> connect = connectivity({{1, 2, 3, none}});
    for (const element_type type : {ET_UNKNOWN, ET_FACE_MIX}) {
        const adjacency graph = graph_of(connect, type);
        EXPECT_EQ(graph.first.size(), 5U);
        EXPECT_EQ(graph.list.size(), 6U);
        EXPECT_EQ(std::count(graph.list.begin(), graph.list.end(), none), 0);
    }
}

TEST(node_graph, without_a_real_node_has_two_zeros_in_first) {
    const dense2D<unsigned int> connect(8, 3, none);
    for (const element_type type : {ET_UNKNOWN, ET_SOLID_MIX}) {
        const adjacency graph = graph_of(connect, type);
        EXPECT_EQ(list(graph.first), (ids{0, 0}));
        EXPECT_TRUE(graph.list.empty());
    }
    const adjacency elements = elements_of(connect);
    EXPECT_EQ(list(elements.first), (ids{0, 0}));
    EXPECT_TRUE(elements.list.empty());
}

TEST(node_graph, equals_nested_loops_on_random_meshes_of_every_type) {
    for (std::uint64_t seed = 0; seed < nbr_runs(150); ++seed) {
        for (const element_type type : served_types) {
            random_source random(seed * 100 + static_cast<std::uint64_t>(type));
            const dense2D<unsigned int> connect = random_mesh(random, type);
            expect_plain_graph(connect, type);
            expect_plain_graph(connect, ET_UNKNOWN);
            if (HasFatalFailure() || HasNonfatalFailure()) FAIL() << "seed " << seed;
        }
    }
}

void expect_plain_elements(const dense2D<unsigned int>& connect) {
    std::vector<ids> met(max_ID(connect) + std::size_t{1});
    const auto columns = list(connect);
    for (unsigned int e = 0; e < columns.size(); ++e) {
        for (const unsigned int n : columns[e]) {
            if (n != none) met[n].push_back(e);
        }
    }
    const adjacency elements = elements_of(connect);
    ASSERT_EQ(elements.first.size(), met.size() + 1);
    for (unsigned int n = 0; n < met.size(); ++n) ASSERT_EQ(entries_of(elements, n), met[n]);
}

TEST(node_graph, elements_of_a_node_equal_a_plain_scan) {
    for (std::uint64_t seed = 0; seed < nbr_runs(100); ++seed) {
        for (const element_type type : served_types) {
            random_source random(seed * 100 + static_cast<std::uint64_t>(type));
            expect_plain_elements(random_mesh(random, type));
        }
    }
}

TEST(node_graph, of_many_elements_is_the_same_wherever_the_largest_node_stands) {
    for (const element_type type : served_types) {
        for (const std::size_t nbr_elements : {1400U, 1401U}) {
            for (const std::size_t largest : {std::size_t{0}, nbr_elements - 1}) {
                random_source random(11);
                dense2D<unsigned int> connect = random_connectivity(random, type, nbr_elements, 20);
                connect(0, largest) = 20;
                expect_plain_elements(connect);
                expect_plain_elements(with_gaps(connect, 2, 0xDDDDDDDDU));
                expect_plain_graph(connect, type);
            }
        }
    }
}

TEST(node_graph, ancestors_are_the_last_elements_of_their_nodes) {
    dense1D<unsigned int> ancestors;
    EXPECT_EQ(get_ancestors(connectivity({{0, 2, 3}, {3, 2, none}}), ancestors), 0);
    EXPECT_EQ(list(ancestors), (ids{0, none, 1, 1}));
}

TEST(node_graph, ancestors_keep_their_size_and_what_no_element_touches) {
    dense1D<unsigned int> ancestors{70, 71, 72};
    EXPECT_EQ(get_ancestors(connectivity({{0, 2, 7}}), ancestors), 0);
    EXPECT_EQ(list(ancestors), (ids{0, 71, 0}));
    EXPECT_EQ(get_ancestors(dense2D<unsigned int>(), ancestors), 0);
    EXPECT_EQ(list(ancestors), (ids{0, 71, 0}));
}

// Fails each allocation of `call` in turn. The call must end with its code for memory, or succeed
// with the usual result.
template <class Call> void expect_code_on_failure(Call call) {
    adjacency expected;
    ASSERT_EQ(call(expected), 0);
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        adjacency a;
        int result = 0;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            result = call(a);
            happened = failure.happened();
        }
        EXPECT_TRUE(result == 0 || (result == -199 && happened));
        EXPECT_TRUE(result != 0 || (a.first == expected.first && a.list == expected.list));
        return happened;
    });
    EXPECT_GT(nbr_failed, 0U);
}

TEST(node_graph, fails_by_its_code_when_memory_does) {
    const dense2D<unsigned int> connect = mixed_solids().connect;
    const dense2D<unsigned int> apart = with_gaps(connect, 1, 0U);
    dense2D<unsigned int> many(8, 2500, 1);
    many(0, 0) = 5000;
    for (const auto& input : {connect, apart, many}) {
        for (const element_type type : {ET_UNKNOWN, ET_SOLID_MIX}) {
            expect_code_on_failure(
                [&](adjacency& a) { return get_node_graph(input, a.first, a.list, type); });
        }
        expect_code_on_failure(
            [&](adjacency& a) { return get_connected_elements(input, a.first, a.list); });
        expect_code_on_failure([&](adjacency& a) { return get_ancestors(input, a.list); });
    }
}

} // namespace
