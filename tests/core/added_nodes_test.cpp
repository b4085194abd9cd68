#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "core/element_table.h"
#include "core/element_topology.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

// Two corners, the smaller one first.
using edge = std::pair<unsigned int, unsigned int>;
using edge_list = std::vector<edge>;
using node_list = std::vector<unsigned int>;

edge ordered(unsigned int a, unsigned int b) { return std::minmax(a, b); }

// The edges on which nodes of a type lie, in the order of these nodes.
edge_list edges_with_nodes(element_type type) {
    edge_list edges;
    for (const added_node& node : shape_of(type).added) {
        if (node.on == added_node::place::edge) edges.push_back(ordered(node.a, node.b));
    }
    return edges;
}

edge_list edges_of_topology(element_type type) {
    const local_edges& local = topology_of(type).edges;
    edge_list edges;
    for (unsigned int e = 0; e < local.count; ++e) {
        edges.push_back(ordered(local.edge[e].a, local.edge[e].b));
    }
    return edges;
}

std::set<unsigned int> corners_of_facet(element_type type, unsigned int f) {
    const local_facet& facet = topology_of(type).facets.facet[f];
    return {facet.node.begin(), facet.node.begin() + facet.size};
}

// ---- The table

TEST(element_table, the_nodes_of_a_type_are_its_corners_and_the_added_ones) {
    for (const element_type type : all_element_types) {
        const element_shape& shape = shape_of(type);
        EXPECT_EQ(shape.nbr_nodes, shape.nbr_base_nodes + shape.added.size()) << type;
    }
}

TEST(element_table, a_type_is_linear_if_no_node_is_added) {
    for (const element_type type : all_element_types) {
        EXPECT_EQ(linear_type(type) == type, shape_of(type).added.empty()) << type;
        EXPECT_EQ(linear_type(linear_type(type)), linear_type(type)) << type;
    }
}

TEST(element_table, corners_boundaries_and_dimension_are_those_of_the_linear_type) {
    for (const element_type type : all_element_types) {
        const element_shape& shape = shape_of(type);
        const element_shape& linear = shape_of(shape.linear);
        EXPECT_EQ(shape.nbr_base_nodes, linear.nbr_nodes) << type;
        EXPECT_EQ(shape.nbr_boundaries, linear.nbr_boundaries) << type;
        EXPECT_EQ(shape.dim, linear.dim) << type;
        EXPECT_EQ(&topology_of(type), &topology_of(shape.linear)) << type;
    }
}

TEST(element_table, a_mixed_type_has_the_row_of_its_largest_member) {
    const std::map<element_type, element_type> largest{
        {ET_BAR_MIX, ET_BAR2}, {ET_FACE_MIX, ET_QUAD4}, {ET_SOLID_MIX, ET_HEXA8}};
    for (const auto& [mixed, member] : largest) {
        EXPECT_EQ(shape_of(mixed).nbr_nodes, shape_of(member).nbr_nodes) << mixed;
        EXPECT_EQ(shape_of(mixed).nbr_boundaries, shape_of(member).nbr_boundaries) << mixed;
        EXPECT_EQ(shape_of(mixed).boundary_height, shape_of(member).boundary_height) << mixed;
        EXPECT_EQ(shape_of(mixed).dim, shape_of(member).dim) << mixed;
        EXPECT_EQ(linear_type(mixed), mixed);
    }
}

TEST(element_table, a_value_that_is_no_type_has_the_row_of_the_unknown_type) {
    for (const int value : {-1, static_cast<int>(nbr_element_types), 1000}) {
        const auto type = static_cast<element_type>(value);
        EXPECT_EQ(&shape_of(type), &shape_of(ET_UNKNOWN)) << value;
        EXPECT_EQ(linear_type(type), ET_UNKNOWN) << value;
    }
}

// The nodes of a facet: its corners, those on edges between two of them, and its own.
unsigned int nodes_on_facet(element_type type, unsigned int f) {
    const std::set<unsigned int> corners = corners_of_facet(type, f);
    std::size_t count = corners.size();
    for (const added_node& node : shape_of(type).added) {
        if (node.on == added_node::place::edge)
            count += corners.count(node.a) * corners.count(node.b);
        if (node.on == added_node::place::facet) count += node.a == f ? 1 : 0;
    }
    return static_cast<unsigned int>(count);
}

TEST(element_table, the_height_of_a_boundary_is_the_most_nodes_on_a_facet) {
    for (const element_type type : all_element_types) {
        const unsigned int nbr_facets = topology_of(type).facets.count;
        if (nbr_facets == 0) continue;
        unsigned int most = 0;
        for (unsigned int f = 0; f < nbr_facets; ++f)
            most = std::max(most, nodes_on_facet(type, f));
        EXPECT_EQ(shape_of(type).boundary_height, most) << type;
    }
}

TEST(added_nodes, are_on_every_edge_of_a_quadratic_type_once) {
    for (const element_type type : all_element_types) {
        if (shape_of(type).added.empty()) continue;
        edge_list with_nodes = edges_with_nodes(type);
        edge_list expected = edges_of_topology(type);
        std::sort(with_nodes.begin(), with_nodes.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(with_nodes, expected) << type;
    }
}

TEST(added_nodes, come_in_the_order_edges_facets_inside) {
    for (const element_type type : all_element_types) {
        const auto added = shape_of(type).added;
        EXPECT_TRUE(
            std::is_sorted(added.begin(), added.end(),
                           [](const added_node& a, const added_node& b) { return a.on < b.on; }))
            << type;
        EXPECT_LE(std::count_if(
                      added.begin(), added.end(),
                      [](const added_node& node) { return node.on == added_node::place::inside; }),
                  1)
            << type;
    }
}

TEST(added_nodes, are_on_all_quadrangles_of_a_solid_or_on_none) {
    for (const element_type type : all_element_types) {
        if (element_dim(type) != 3) continue;
        std::multiset<unsigned int> with_nodes;
        for (const added_node& node : shape_of(type).added) {
            if (node.on == added_node::place::facet) with_nodes.insert(node.a);
        }
        if (with_nodes.empty()) continue;
        const local_facets& facets = topology_of(type).facets;
        for (unsigned int f = 0; f < facets.count; ++f) {
            EXPECT_EQ(with_nodes.count(f), facets.facet[f].size == 4 ? 1U : 0U) << type << ' ' << f;
        }
    }
}

// ---- Their order

edge_list edges(std::initializer_list<edge> unordered) {
    edge_list list;
    for (const auto& [a, b] : unordered) list.push_back(ordered(a, b));
    return list;
}

TEST(added_nodes, on_edges_have_the_order_that_element_type_h_states) {
    EXPECT_EQ(edges_with_nodes(ET_BAR3), edges({{0, 1}}));
    EXPECT_EQ(edges_with_nodes(ET_TRIA6), edges({{1, 2}, {2, 0}, {0, 1}}));
    EXPECT_EQ(edges_with_nodes(ET_QUAD8), edges({{0, 1}, {1, 2}, {2, 3}, {3, 0}}));
    EXPECT_EQ(edges_with_nodes(ET_TETRA10),
              edges({{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}}));
    EXPECT_EQ(edges_with_nodes(ET_PYRA13),
              edges({{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}}));
    EXPECT_EQ(edges_with_nodes(ET_PENTA15),
              edges({{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}));
    EXPECT_EQ(edges_with_nodes(ET_HEXA20), edges({{0, 1},
                                                  {1, 2},
                                                  {2, 3},
                                                  {3, 0},
                                                  {4, 5},
                                                  {5, 6},
                                                  {6, 7},
                                                  {7, 4},
                                                  {0, 4},
                                                  {1, 5},
                                                  {2, 6},
                                                  {3, 7}}));
}

TEST(added_nodes, of_a_type_with_nodes_on_facets_begin_with_those_of_the_type_without) {
    for (const auto& [full, edges_only] :
         std::map<element_type, element_type>{{ET_QUAD9, ET_QUAD8},
                                              {ET_PYRA14, ET_PYRA13},
                                              {ET_PENTA18, ET_PENTA15},
                                              {ET_HEXA27, ET_HEXA20}}) {
        EXPECT_EQ(edges_with_nodes(full), edges_with_nodes(edges_only)) << full;
    }
}

// VTK tells these by the corners of the facet.
TEST(added_nodes, on_facets_and_inside_have_the_order_of_vtk) {
    using corner_set = std::set<unsigned int>;
    const std::map<element_type, std::vector<corner_set>> facets{
        {ET_PYRA14, {{0, 1, 2, 3}}},
        {ET_PENTA18, {{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}}},
        {ET_HEXA27,
         {{0, 4, 7, 3}, {1, 2, 6, 5}, {0, 1, 5, 4}, {3, 7, 6, 2}, {0, 3, 2, 1}, {4, 5, 6, 7}}}};
    const std::map<element_type, bool> has_centre{
        {ET_QUAD9, true}, {ET_PYRA14, false}, {ET_PENTA18, false}, {ET_HEXA27, true}};
    for (const auto& [type, is_inside] : has_centre) {
        const auto added = shape_of(type).added;
        std::vector<corner_set> on_facets;
        for (const added_node& node : added) {
            if (node.on == added_node::place::facet) {
                on_facets.push_back(corners_of_facet(type, node.a));
            }
        }
        EXPECT_EQ(on_facets, facets.count(type) != 0 ? facets.at(type) : std::vector<corner_set>())
            << type;
        EXPECT_EQ(added.back().on == added_node::place::inside, is_inside) << type;
    }
}

// ---- Their order in files. A format numbers corners, and tells for each of the other places of an
// element between which two corners it is. What a writer puts at these places tells on which edge
// each node lies.

void expect_nodes_on_edges(element_type type, const node_list& file, const edge_list& edges) {
    const unsigned int nbr_corners = nbr_base_nodes(type);
    ASSERT_EQ(file.size(), nbr_corners + edges.size()) << type;
    edge_list expected(edges.size());
    for (std::size_t k = 0; k < edges.size(); ++k) {
        const auto [a, b] = edges[k];
        expected.at(file[nbr_corners + k] - nbr_corners) = ordered(file[a], file[b]);
    }
    EXPECT_EQ(edges_with_nodes(type), expected) << type;
}

// One element of a type, on as many nodes: node k of the column is node k.
dense2D<unsigned int> one_element(element_type type) {
    dense2D<unsigned int> connect(nbr_nodes(type), 1);
    std::iota(connect.column(0), connect.column(0) + connect.rows(), 0U);
    return connect;
}

dense2D<double> nodes_of_one(element_type type) { return dense2D<double>(3, nbr_nodes(type), 0.0); }

template <class Call> std::vector<std::string> lines_of_stream(Call call) {
    return lines_of_file([&call](const char* name) {
        std::FILE* const file = std::fopen(name, "w");
        const int code = call(file);
        std::fclose(file);
        return code;
    });
}

// The numbers between commas or blanks.
std::vector<unsigned int> numbers_in(std::string text) {
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream fields(text);
    std::vector<unsigned int> numbers;
    for (std::string field; fields >> field;) {
        if (field[0] >= '0' && field[0] <= '9') {
            numbers.push_back(static_cast<unsigned int>(std::stoul(field)));
        }
    }
    return numbers;
}

template <class Call> std::vector<std::string> lines_of_file(Call call) {
    const std::string name = (std::filesystem::temp_directory_path() /
                              ("tessmaker_added_nodes_" + std::to_string(getpid())))
                                 .string();
    EXPECT_EQ(call(name.c_str()), 0);
    std::vector<std::string> lines;
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    std::filesystem::remove(name);
    return lines;
}

// A card is what follows the last comment: numbers of element and property, nodes.
node_list nastran_nodes(element_type type) {
    const auto lines = lines_of_stream([type](std::FILE* file) {
        return NASTRAN_output(file, nodes_of_one(type), one_element(type), type);
    });
    std::string card;
    for (const std::string& line : lines) card = line[0] == '$' ? "" : card + line + ',';
    node_list nodes = numbers_in(card);
    nodes.erase(nodes.begin(), nodes.begin() + 2);
    for (unsigned int& node : nodes) --node;
    return nodes;
}

TEST(added_nodes, on_edges_are_those_that_a_nastran_card_has_there) {
    const std::map<element_type, edge_list> cards{
        {ET_TRIA6, {{0, 1}, {1, 2}, {2, 0}}},
        {ET_QUAD8, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}},
        {ET_TETRA10, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}},
        {ET_PYRA13, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}}},
        {ET_PENTA15, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 4}, {2, 5}, {3, 4}, {4, 5}, {5, 3}}},
        {ET_HEXA20,
         {{0, 1},
          {1, 2},
          {2, 3},
          {3, 0},
          {0, 4},
          {1, 5},
          {2, 6},
          {3, 7},
          {4, 5},
          {5, 6},
          {6, 7},
          {7, 4}}}};
    for (const auto& [type, edges] : cards) {
        expect_nodes_on_edges(type, nastran_nodes(type), edges);
    }
}

// The line behind the count of the part; the first number is that of the element.
node_list ensight_nodes(element_type type) {
    const auto lines = lines_of_file([type](const char* name) {
        return ensight_output(name, nodes_of_one(type), one_element(type), type);
    });
    const auto part = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.rfind("part ", 0) == 0;
    });
    node_list nodes = numbers_in(*(part + 4));
    nodes.erase(nodes.begin());
    for (unsigned int& node : nodes) --node;
    return nodes;
}

TEST(added_nodes, on_edges_are_those_that_an_ensight_element_has_there) {
    const std::map<element_type, edge_list> elements{
        {ET_BAR3, {{0, 1}}},
        {ET_TRIA6, {{0, 1}, {1, 2}, {2, 0}}},
        {ET_QUAD8, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}},
        {ET_TETRA10, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}},
        {ET_HEXA20,
         {{0, 1},
          {1, 2},
          {2, 3},
          {3, 0},
          {4, 5},
          {5, 6},
          {6, 7},
          {7, 4},
          {0, 4},
          {1, 5},
          {2, 6},
          {3, 7}}}};
    for (const auto& [type, edges] : elements) {
        expect_nodes_on_edges(type, ensight_nodes(type), edges);
    }
}

// The 20 slots of a FEMAP element, of which those that are not used hold 0: the two lines behind
// the first one of the element, which follows the head of the block.
std::vector<unsigned int> femap_slots_of(element_type type) {
    const auto lines = lines_of_stream([type](std::FILE* file) {
        return FEMAP_output(file, nodes_of_one(type), one_element(type), type);
    });
    const auto block = std::find(lines.begin(), lines.end(), "404");
    return numbers_in(*(block + 2) + *(block + 3));
}

// Two types are left out. Kept: the nodes of ET_HEXA20 are written as they stand, though the format
// has those of the vertical edges before those of the top, and the corners of ET_TRIA6 count from
// 0.
TEST(added_nodes, on_edges_are_those_that_a_femap_element_has_there) {
    struct slot_edge {
        unsigned int slot, a, b;
    };
    const std::map<element_type, std::vector<slot_edge>> elements{
        {ET_BAR3, {{2, 0, 1}}},
        {ET_QUAD8, {{4, 0, 1}, {5, 1, 2}, {6, 2, 3}, {7, 3, 0}}},
        {ET_TETRA10, {{8, 0, 1}, {9, 1, 2}, {10, 2, 0}, {12, 0, 4}, {13, 1, 4}, {14, 2, 4}}}};
    for (const auto& [type, edges] : elements) {
        const std::vector<unsigned int> slots = femap_slots_of(type);
        ASSERT_EQ(slots.size(), 20U) << type;
        edge_list expected(edges.size());
        for (const auto& [slot, a, b] : edges) {
            expected.at(slots[slot] - 1 - nbr_base_nodes(type)) =
                ordered(slots[a] - 1, slots[b] - 1);
        }
        EXPECT_EQ(edges_with_nodes(type), expected) << type;
    }
}

} // namespace
