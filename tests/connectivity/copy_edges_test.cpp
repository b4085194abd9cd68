#include <gtest/gtest.h>

#include "connectivity/reference.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using matrix = dense2D<unsigned int>;
using columns_list = std::vector<ids>;

columns_list edges_of(const matrix& connect, element_type type, const matrix& exclude = {}) {
    matrix edges;
    EXPECT_EQ(copy_edges(connect, type, edges, exclude), 0);
    return list(edges);
}

using edge_set = std::set<std::pair<unsigned int, unsigned int>>;

void add_edges(const matrix& connect, element_type type, edge_set& edges) {
    const element_type plain = narrowed(connect.rows(), type);
    for (const ids& column : list(connect)) {
        for (const auto& [a, b] : edges_of_shape(shape_of_column(column, plain))) {
            edges.insert(std::minmax(column[a], column[b]));
        }
    }
}

columns_list columns_of(const edge_set& edges) {
    columns_list result;
    for (const auto& [a, b] : edges) result.push_back({a, b});
    return result;
}

TEST(copy_edges, of_two_triangles_are_five_ascending) {
    EXPECT_EQ(edges_of(connectivity({{0, 1, 2}, {2, 1, 3}}), ET_TRIA3),
              (columns_list{{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}}));
}

TEST(copy_edges, leaves_out_an_edge_given_in_reverse_and_twice) {
    EXPECT_EQ(edges_of(connectivity({{0, 1, 2}}), ET_TRIA3, connectivity({{2, 1}, {2, 1}})),
              (columns_list{{0, 1}, {0, 2}}));
}

TEST(copy_edges, passes_over_an_excluded_edge_that_no_element_has) {
    EXPECT_EQ(edges_of(connectivity({{0, 1, 2}}), ET_TRIA3, connectivity({{7, 1}})).size(), 3U);
}

TEST(copy_edges, does_not_look_for_edges_that_are_listed_already) {
    matrix edges = connectivity({{0, 1}});
    EXPECT_EQ(copy_edges(connectivity({{0, 1, 2}}), ET_TRIA3, edges, matrix()), 0);
    EXPECT_EQ(list(edges), (columns_list{{0, 1}, {0, 1}, {0, 2}, {1, 2}}));
}

TEST(copy_edges, grows_the_block_that_other_views_stand_on) {
    matrix edges = connectivity({{90, 91}});
    const matrix other = edges;
    EXPECT_EQ(copy_edges(mixed_solids().connect, ET_SOLID_MIX, edges, matrix()), 0);
    EXPECT_GT(edges.cols(), 1U);
    EXPECT_EQ(other.column(0), std::as_const(edges).column(0));
}

TEST(copy_edges, joins_corners_of_quadratic_triangles_only) {
    EXPECT_EQ(edges_of(connectivity({{0, 1, 2, 3, 4, 5}}), ET_TRIA6),
              (columns_list{{0, 1}, {0, 2}, {1, 2}}));
}

TEST(copy_edges, of_a_serendipity_hexahedron_are_none_but_of_its_corners_twelve) {
    matrix connect(20, 1);
    for (unsigned int r = 0; r < 20; ++r) connect(r, 0) = r;
    EXPECT_TRUE(edges_of(connect, ET_HEXA20).empty());
    EXPECT_EQ(edges_of(connect.sub_matrix(0, 0, 8, 1), ET_HEXA8).size(), 12U);
    for (const element_type type : {ET_PYRA13, ET_PENTA15, ET_BAR_MIX, ET_NODE}) {
        EXPECT_TRUE(edges_of(matrix(nbr_nodes(type), 1, 0), type).empty());
    }
}

TEST(copy_edges, lists_an_edge_of_two_shapes_once) {
    const unsigned int x = none;
    const auto edges =
        edges_of(connectivity({{0, 1, 2, 8, x, x, x, x}, {0, 1, 2, 3, 4, 5, 6, 7}}), ET_SOLID_MIX);
    EXPECT_EQ(edges.size(), 12U + 6U - 2U);
}

TEST(copy_edges, keeps_a_repeated_node_as_an_edge) {
    EXPECT_EQ(edges_of(connectivity({{4, 4, 6}}), ET_TRIA3), (columns_list{{4, 4}, {4, 6}}));
}

TEST(copy_edges, of_an_empty_range_are_none) {
    matrix edges = connectivity({{0, 1}});
    const matrix array;
    EXPECT_EQ(copy_edges(&array, &array, {}, edges, matrix()), 0);
    EXPECT_EQ(edges.cols(), 1U);
}

TEST(copy_edges, of_one_connectivity_refuses_in_order) {
    const matrix good = connectivity({{0, 1, 2}});
    matrix wrong(3, 1, 0);
    matrix edges;
    EXPECT_EQ(copy_edges(matrix(), ET_TRIA3, wrong, wrong), 0);
    EXPECT_EQ(copy_edges(matrix(4, 1, 0), ET_TRIA3, wrong, wrong), -1);
    EXPECT_EQ(copy_edges(good, ET_TRIA3, wrong, wrong), -3);
    EXPECT_EQ(copy_edges(good, ET_TRIA3, edges, wrong), -4);
    EXPECT_EQ(list(wrong), (columns_list{ids(3, 0)}));
}

TEST(copy_edges, of_several_refuses_in_order) {
    const matrix arrays[2] = {connectivity({{0, 1, 2}}), matrix(4, 1, none)};
    matrix wrong(3, 1, 0);
    matrix edges;
    const dense1D<int> one{ET_TRIA3};
    const dense1D<int> two{ET_TRIA3, ET_TRIA3};
    EXPECT_EQ(copy_edges(arrays + 1, arrays, one, wrong, wrong), -2);
    EXPECT_EQ(copy_edges(arrays, arrays + 2, one, wrong, wrong), -3);
    EXPECT_EQ(copy_edges(arrays, arrays + 2, two, wrong, wrong), -4);
    EXPECT_EQ(copy_edges(arrays, arrays + 2, two, edges, wrong), -1);
    EXPECT_EQ(copy_edges(arrays, arrays + 1, one, edges, wrong), -5);
    EXPECT_TRUE(edges.empty());
}

TEST(copy_edges, of_several_passes_over_an_empty_one_whatever_its_type) {
    const matrix arrays[2] = {matrix(), connectivity({{0, 1, 2}})};
    for (const int type : {-1, int{ET_UNKNOWN}, int{ET_BAR_MIX}, 1000}) {
        matrix edges;
        EXPECT_EQ(copy_edges(arrays, arrays + 2, {type, ET_TRIA3}, edges, matrix()), 0) << type;
        EXPECT_EQ(list(edges), (columns_list{{0, 1}, {0, 2}, {1, 2}})) << type;
        EXPECT_EQ(copy_edges(arrays, arrays + 2, {ET_TRIA3, type}, edges, matrix()), -1) << type;
        EXPECT_EQ(edges.cols(), 3U);
    }
}

TEST(copy_edges, equals_a_set_on_random_meshes_of_every_type) {
    for (std::uint64_t seed = 0; seed < nbr_runs(200); ++seed) {
        random_source random(seed);
        const std::size_t n = random.between(1, 3);
        std::vector<matrix> arrays;
        dense1D<int> types;
        edge_set expected;
        for (std::size_t i = 0; i < n; ++i) {
            const element_type type = random.one_of(served_types);
            arrays.push_back(random.one_in(5) ? matrix() : random_mesh(random, type));
            types.push_back(type);
            add_edges(arrays.back(), type, expected);
        }
        matrix exclude;
        if (random.one_in(2)) {
            exclude = matrix(2, random.between(1, 20));
            for (std::size_t c = 0; c < exclude.cols(); ++c) {
                exclude(0, c) = random.id_below(12);
                exclude(1, c) = random.id_below(12);
                expected.erase(std::minmax(exclude(0, c), exclude(1, c)));
            }
            if (random.one_in(2)) exclude = with_gaps(exclude, 1, 3U);
        }
        matrix edges = connectivity({{90, 91}});
        if (random.one_in(2)) edges = with_gaps(edges, 1, 3U);
        ASSERT_EQ(copy_edges(arrays.data(), arrays.data() + n, types, edges, exclude), 0);
        columns_list whole = columns_of(expected);
        whole.insert(whole.begin(), ids{90, 91});
        ASSERT_EQ(list(edges), whole) << seed;
    }
}

TEST(copy_edges, under_a_uniform_mixed_type_are_those_of_the_plain_one) {
    for (const auto& [plain, mixed] :
         {std::pair{ET_TRIA3, ET_FACE_MIX}, std::pair{ET_TETRA4, ET_SOLID_MIX},
          std::pair{ET_PYRA5, ET_SOLID_MIX}, std::pair{ET_PENTA6, ET_SOLID_MIX}}) {
        random_source random(7);
        const matrix connect = random_box(random, plain);
        EXPECT_EQ(edges_of(connect, mixed), edges_of(connect, plain));
    }
}

TEST(copy_edges, of_all_quadratic_types_join_corners) {
    for (const element_type type :
         {ET_BAR3, ET_TRIA6, ET_QUAD8, ET_QUAD9, ET_TETRA10, ET_PYRA14, ET_PENTA18, ET_HEXA27}) {
        random_source random(static_cast<std::uint64_t>(type));
        const matrix connect = random_connectivity(random, type, 10, 60);
        edge_set expected;
        add_edges(connect, type, expected);
        EXPECT_EQ(edges_of(connect, type), columns_of(expected)) << type;
    }
}

TEST(copy_edges, keeps_what_it_holds_when_memory_fails) {
    const matrix connect = mixed_solids().connect;
    const matrix exclude = connectivity({{0, 1}});
    EXPECT_GT(fail_each_allocation([&](std::size_t k, bool and_later) {
                  matrix edges = connectivity({{90, 91}});
                  const memory_failure failure(k, and_later);
                  const int result = copy_edges(connect, ET_SOLID_MIX, edges, exclude);
                  EXPECT_TRUE(result == 0 || (result == -199 && edges.cols() == 1));
                  EXPECT_TRUE(failure.happened() || result == 0);
                  EXPECT_EQ(edges(1, 0), 91U);
                  return failure.happened();
              }),
              0U);
}

} // namespace
