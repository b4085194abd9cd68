#include <gtest/gtest.h>

#include "connectivity/facets.h"
#include "connectivity/reference.h"
#include "core/type_table.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/connectivity.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

std::vector<ids> neighbors_of(const dense2D<unsigned int>& connect, element_type type,
                              bool link = false) {
    dense2D<unsigned int> neighbors(2, 2, 7);
    EXPECT_EQ(get_neighbors(connect, type, link, neighbors), 0);
    return list(neighbors);
}

TEST(neighbors, of_a_single_tetrahedron_are_none) {
    EXPECT_EQ(neighbors_of(connectivity({{0, 1, 2, 3}}), ET_TETRA4),
              (std::vector<ids>{{none, none, none, none}}));
}

TEST(neighbors, of_two_triangles_on_an_edge_name_each_other) {
    EXPECT_EQ(neighbors_of(connectivity({{0, 1, 2}, {1, 3, 2}}), ET_TRIA3),
              (std::vector<ids>{{1, none, none}, {none, 0, none}}));
}

TEST(neighbors, linked_facets_of_three_name_the_first_and_it_names_the_last) {
    const auto linked = neighbors_of(fan_of_three().connect, ET_TRIA3, true);
    EXPECT_EQ(linked, (std::vector<ids>{{none, none, 2}, {none, none, 0}, {none, none, 0}}));
}

TEST(neighbors, unlinked_facets_of_three_or_four_stay_free) {
    const auto free3 = neighbors_of(fan_of_three().connect, ET_TRIA3, false);
    EXPECT_EQ(free3, std::vector<ids>(3, ids(3, none)));
    const auto four = connectivity({{0, 1, 2, 3}, {0, 1, 2, 4}, {2, 1, 0, 5}, {1, 2, 0, 6}});
    EXPECT_EQ(neighbors_of(four, ET_TETRA4, false), std::vector<ids>(4, ids(4, none)));
    const auto linked = neighbors_of(four, ET_TETRA4, true);
    EXPECT_EQ(linked[0][3], 3U);
    for (const std::size_t e : {1U, 2U, 3U}) EXPECT_EQ(linked[e][3], 0U);
}

TEST(neighbors, join_a_hexahedron_and_a_pyramid_across_a_quadrangle_only) {
    const auto neighbors = neighbors_of(mixed_solids().connect, ET_SOLID_MIX);
    EXPECT_EQ(neighbors[0][5], 1U);
    EXPECT_EQ(neighbors[1][4], 0U);
    // A triangle on three nodes of a quadrangle is another facet.
    const auto apart =
        connectivity({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 8, none, none, none, none}});
    EXPECT_EQ(neighbors_of(apart, ET_SOLID_MIX), std::vector<ids>(2, ids(6, none)));
}

TEST(neighbors, of_the_same_element_twice_are_each_others_twins) {
    for (const element_type type : {ET_TRIA3, ET_QUAD4, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8}) {
        ids column(nbr_nodes(type));
        for (unsigned int r = 0; r < column.size(); ++r) column[r] = r;
        const auto neighbors = neighbors_of(matrix_of({column, column}), type);
        EXPECT_EQ(neighbors[0], ids(stride_of(type), 1));
        EXPECT_EQ(neighbors[1], ids(stride_of(type), 0));
    }
}

TEST(neighbors, of_a_degenerate_element_can_be_itself) {
    EXPECT_EQ(neighbors_of(connectivity({{0, 0, 1}}), ET_TRIA3), (std::vector<ids>{{0, 0, none}}));
}

TEST(neighbors, of_mixed_faces_with_three_rows_have_three_rows) {
    EXPECT_EQ(neighbors_of(connectivity({{0, 1, 2}}), ET_FACE_MIX)[0].size(), 3U);
}

TEST(neighbors, refuse_a_bad_connectivity_before_an_unserved_type) {
    const auto code = [](const dense2D<unsigned int>& connect, element_type type) {
        dense2D<unsigned int> neighbors(3, 1, 0);
        const int result = get_neighbors(connect, type, true, neighbors);
        EXPECT_TRUE(neighbors.empty() || result == 0);
        return result;
    };
    EXPECT_EQ(code(dense2D<unsigned int>(), ET_TRIA6), 0);
    EXPECT_EQ(code(dense2D<unsigned int>(5, 1, 0), ET_TRIA6), -1);
    EXPECT_EQ(code(connectivity({{0, 1, none}}), ET_TRIA3), -1);
    EXPECT_EQ(code(dense2D<unsigned int>(7, 1, 0), ET_SOLID_MIX), -1);
    EXPECT_EQ(code(connectivity({{0, 1, 2, 3, none, 5, none, none}}), ET_SOLID_MIX), -1);
    for (const element_type type : all_element_types) {
        if (type == ET_UNKNOWN) continue;
        const bool is_served =
            std::find(served_types.begin(), served_types.end(), type) != served_types.end();
        EXPECT_EQ(code(dense2D<unsigned int>(nbr_nodes(type), 1, 0), type), is_served ? 0 : -2);
    }
    EXPECT_EQ(code(dense2D<unsigned int>(3, 1, 0), ET_UNKNOWN), -1);
}

TEST(neighbors, equal_a_comparison_of_all_pairs_on_random_meshes_of_every_type) {
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        for (const element_type type : served_types) {
            for (const bool link : {false, true}) {
                random_source random(seed * 1000 + static_cast<std::uint64_t>(type));
                const dense2D<unsigned int> connect = random_mesh(random, type);
                ASSERT_EQ(neighbors_of(connect, type, link), plain_neighbors(connect, type, link))
                    << "seed " << seed << " type " << type;
            }
        }
    }
}

TEST(neighbors, equal_a_comparison_of_all_pairs_where_many_facets_share_their_smallest_node) {
    for (const element_type type : served_types) {
        for (const std::size_t nbr_nodes : {5U, 12U}) {
            for (const bool link : {false, true}) {
                random_source random(nbr_nodes);
                const dense2D<unsigned int> connect =
                    random_connectivity(random, type, 120, nbr_nodes);
                EXPECT_EQ(neighbors_of(connect, type, link), plain_neighbors(connect, type, link))
                    << "type " << type;
            }
        }
    }
}

TEST(neighbors, equal_a_comparison_of_all_pairs_where_ids_lie_far_apart) {
    for (const element_type type : served_types) {
        for (const bool link : {false, true}) {
            random_source random(3);
            dense2D<unsigned int> connect = random_connectivity(random, type, 60, 12);
            for (std::size_t e = 0; e < connect.cols(); ++e) {
                for (std::size_t r = 0; r < connect.rows(); ++r) {
                    if (connect(r, e) != none) connect(r, e) *= 300'000'000U;
                }
            }
            EXPECT_EQ(neighbors_of(connect, type, link), plain_neighbors(connect, type, link))
                << "type " << type;
        }
    }
}

TEST(neighbors, under_a_uniform_mixed_type_are_those_of_the_plain_one) {
    for (const auto& [plain, mixed] :
         {std::pair{ET_TRIA3, ET_FACE_MIX}, std::pair{ET_TETRA4, ET_SOLID_MIX},
          std::pair{ET_PYRA5, ET_SOLID_MIX}, std::pair{ET_PENTA6, ET_SOLID_MIX}}) {
        random_source random(5);
        const dense2D<unsigned int> connect = random_mesh(random, plain);
        EXPECT_EQ(neighbors_of(connect, plain), neighbors_of(connect, mixed));
    }
}

TEST(neighbors, take_node_ids_up_to_the_largest) {
    const unsigned int big = none - 1;
    EXPECT_EQ(neighbors_of(connectivity({{0, big, big - 1}, {big, 0, 5}}), ET_TRIA3),
              (std::vector<ids>{{none, none, 1}, {none, none, 0}}));
}

facet_nodes facet_of(const ids& nodes) {
    facet_nodes facet{};
    facet.size = static_cast<unsigned int>(nodes.size());
    std::copy(nodes.begin(), nodes.end(), facet.node.begin());
    return facet;
}

int result(const ids& a, const ids& b) { return compare_facets(facet_of(a), facet_of(b)); }

TEST(facet_comparison, tells_direction_of_facets_of_one_to_three_nodes) {
    EXPECT_EQ(result({4}, {4}), 1);
    EXPECT_EQ(result({4}, {5}), 0);
    EXPECT_EQ(result({1, 2}, {1, 2}), 1);
    EXPECT_EQ(result({1, 2}, {2, 1}), -1);
    EXPECT_EQ(result({1, 2, 3}, {2, 3, 1}), 1);
    EXPECT_EQ(result({1, 2, 3}, {2, 1, 3}), -1);
    EXPECT_EQ(result({1, 1, 2}, {1, 2, 1}), -1);
    EXPECT_EQ(result({1, 2, 3}, {1, 2, 3, 4}), 0);
}

TEST(facet_comparison, needs_equal_opposite_corners_of_quadrangles) {
    EXPECT_EQ(result({1, 2, 3, 4}, {3, 4, 1, 2}), 1);
    EXPECT_EQ(result({1, 2, 3, 4}, {4, 3, 2, 1}), -1);
    EXPECT_EQ(result({1, 2, 3, 4}, {1, 3, 2, 4}), 0);
    EXPECT_EQ(result({1, 1, 2, 3}, {1, 2, 3, 1}), 0);
}

TEST(neighbors, fail_by_their_code_when_memory_does) {
    for (const element_type type : served_types) {
        random_source random(7);
        const dense2D<unsigned int> connect = random_mesh(random, type);
        const std::vector<ids> expected = plain_neighbors(connect, type, true);
        const auto nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            dense2D<unsigned int> neighbors;
            int result = 0;
            bool happened = false;
            {
                const memory_failure failure(k, and_later);
                result = get_neighbors(connect, type, true, neighbors);
                happened = failure.happened();
            }
            // An allocation that failed once may succeed when it is tried again.
            EXPECT_TRUE(result == 0 || (result == -199 && happened));
            EXPECT_TRUE(result != 0 || list(neighbors) == expected);
            return happened;
        });
        EXPECT_GT(nbr_failed, 0U);
    }
}

} // namespace
