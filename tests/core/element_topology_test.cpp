#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "core/element_topology.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

const std::vector<element_type> plain_types{ET_BAR2,   ET_BAR3,   ET_TRIA3,  ET_QUAD4,   ET_TRIA6,
                                            ET_QUAD8,  ET_QUAD9,  ET_TETRA4, ET_TETRA10, ET_PYRA5,
                                            ET_PYRA13, ET_PYRA14, ET_PENTA6, ET_PENTA15, ET_PENTA18,
                                            ET_HEXA8,  ET_HEXA20, ET_HEXA27};

TEST(element_topology, facets_are_as_many_as_the_boundaries_of_the_type) {
    for (const element_type type : plain_types) {
        EXPECT_EQ(topology_of(type).facets.count, nbr_boundaries(type)) << type;
    }
}

TEST(element_topology, corners_edges_and_facets_of_a_solid_satisfy_euler) {
    for (const element_type type : plain_types) {
        if (element_dim(type) != 3) continue;
        const element_topology& t = topology_of(type);
        EXPECT_EQ(nbr_base_nodes(type) + t.facets.count, t.edges.count + 2) << type;
    }
}

TEST(element_topology, every_edge_of_a_solid_is_run_through_in_both_directions_by_its_facets) {
    for (const element_type type : plain_types) {
        if (element_dim(type) != 3) continue;
        const element_topology& t = topology_of(type);
        std::multiset<std::pair<unsigned, unsigned>> directed;
        for (unsigned f = 0; f < t.facets.count; ++f) {
            const local_facet& facet = t.facets.facet[f];
            for (unsigned k = 0; k < facet.size; ++k) {
                directed.emplace(facet.node[k], facet.node[(k + 1) % facet.size]);
            }
        }
        EXPECT_EQ(directed.size(), 2 * t.edges.count) << type;
        for (unsigned e = 0; e < t.edges.count; ++e) {
            const unsigned a = t.edges.edge[e].a;
            const unsigned b = t.edges.edge[e].b;
            EXPECT_EQ(directed.count({a, b}), 1U) << type << ' ' << e;
            EXPECT_EQ(directed.count({b, a}), 1U) << type << ' ' << e;
        }
    }
}

TEST(element_topology, facets_of_a_simplex_leave_out_the_node_of_their_number) {
    for (const element_type type : {ET_BAR2, ET_TRIA3, ET_TETRA4}) {
        const element_topology& t = topology_of(type);
        for (unsigned f = 0; f < t.facets.count; ++f) {
            const auto& node = t.facets.facet[f].node;
            EXPECT_EQ(std::count(node.begin(), node.begin() + t.facets.facet[f].size, f), 0);
        }
    }
}

TEST(element_topology, the_facets_around_a_corner_are_those_that_hold_it_each_once) {
    for (const element_type type : plain_types) {
        const element_topology& t = topology_of(type);
        for (unsigned u = 0; u < nbr_base_nodes(type); ++u) {
            std::set<unsigned> holding;
            for (unsigned f = 0; f < t.facets.count; ++f) {
                const auto& node = t.facets.facet[f].node;
                const auto* const end = node.begin() + t.facets.facet[f].size;
                if (std::find(node.begin(), end, u) != end) holding.insert(f);
            }
            const auto& facet = t.around[u].facet;
            EXPECT_EQ(t.around[u].count, holding.size()) << type << ' ' << u;
            EXPECT_EQ(std::set<unsigned>(facet.begin(), facet.begin() + t.around[u].count), holding)
                << type << ' ' << u;
        }
    }
}

TEST(element_topology, types_without_a_shape_have_neither_edges_nor_facets) {
    for (const element_type type : {ET_UNKNOWN, ET_NODE, ET_BAR_MIX, ET_FACE_MIX, ET_SOLID_MIX}) {
        EXPECT_EQ(topology_of(type).edges.count, 0U);
        EXPECT_EQ(topology_of(type).facets.count, 0U);
        EXPECT_EQ(topology_of(type).around[0].count, 0U);
    }
}

} // namespace
