// The topology of a surface of triangles and quadrangles.
#ifndef FACE_TOPOLOGY_H
#define FACE_TOPOLOGY_H

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vector>

#include <tessmaker/connectivity.h>
#include <tessmaker/repair.h>

#include "report.h"

struct face_topology {
    std::size_t nodes = 0;
    std::size_t edges = 0;
    std::size_t facets = 0;
    std::size_t sides = 0;         // of all facets
    std::size_t components = 0;    // parts that share no node
    std::size_t free_edges = 0;    // of one facet
    std::size_t shared_edges = 0;  // of two
    std::size_t crowded_edges = 0; // of three or more
    std::size_t crowded_uses = 0;  // facets at these edges, summed over the edges

    long long characteristic() const {
        return static_cast<long long>(nodes) - static_cast<long long>(edges) +
               static_cast<long long>(facets);
    }
    bool adds_up() const { return sides == free_edges + 2 * shared_edges + crowded_uses; }
    bool is_closed_surface() const { return free_edges == 0 && crowded_edges == 0; }
};

// The number of parts that share no node; -1 when memory fails. Every node must be in a facet.
inline int count_components(const kv7::dense2D<unsigned int>& connect, kv7::element_type type) {
    kv7::dense1D<unsigned int> first;
    kv7::dense1D<unsigned int> list;
    if (kv7::tessmaker::get_node_graph(connect, first, list, type) < 0) return -1;
    const std::size_t nbr_nodes = first.empty() ? 0 : first.size() - 1;
    std::vector<bool> is_reached(nbr_nodes, false);
    std::vector<unsigned int> to_visit;
    int count = 0;
    for (unsigned int start = 0; start < nbr_nodes; ++start) {
        if (is_reached[start]) continue;
        ++count;
        is_reached[start] = true;
        to_visit.push_back(start);
        while (!to_visit.empty()) {
            const unsigned int node = to_visit.back();
            to_visit.pop_back();
            for (unsigned int k = first[node]; k < first[node + 1]; ++k) {
                if (is_reached[list[k]]) continue;
                is_reached[list[k]] = true;
                to_visit.push_back(list[k]);
            }
        }
    }
    return count;
}

// ET_TRIA3, ET_QUAD4, or ET_FACE_MIX of 4 rows. False when memory fails. `connect` must have no
// repeated node in a column and use all nodes.
inline bool find_topology(std::size_t nbr_nodes, const kv7::dense2D<unsigned int>& connect,
                          kv7::element_type type, face_topology& topology) {
    using namespace kv7;
    using namespace kv7::tessmaker;
    const dense2D<unsigned int> none;
    // At an edge of three or more facets, unlinked neighbours are all absent, and linked ones all
    // present.
    dense2D<unsigned int> linked;
    dense2D<unsigned int> unlinked;
    dense2D<unsigned int> free_sides;
    dense2D<unsigned int> unpaired_sides;
    dense2D<unsigned int> edges;
    dense2D<unsigned int> crowded;
    const int nbr_components = count_components(connect, type);
    if (get_neighbors(connect, type, true, linked) < 0 ||
        get_neighbors(connect, type, false, unlinked) < 0 ||
        get_mesh_boundaries(connect, linked, type, free_sides) < 0 ||
        get_mesh_boundaries(connect, unlinked, type, unpaired_sides) < 0 ||
        copy_edges(connect, type, edges, none) < 0 ||
        copy_edges(unpaired_sides, ET_BAR2, crowded, free_sides) < 0 || nbr_components < 0) {
        return false;
    }
    topology.nodes = nbr_nodes;
    topology.edges = edges.cols();
    topology.facets = connect.cols();
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const unsigned int* const nodes = connect.column(c);
        topology.sides += static_cast<std::size_t>(std::count_if(
            nodes, nodes + connect.rows(), [](unsigned int n) { return n != 0xFFFFFFFF; }));
    }
    topology.components = static_cast<std::size_t>(nbr_components);
    topology.free_edges = free_sides.cols();
    topology.crowded_edges = crowded.cols();
    topology.crowded_uses = unpaired_sides.cols() - free_sides.cols();
    topology.shared_edges = edges.cols() - free_sides.cols() - crowded.cols();
    return true;
}

inline void print_topology(const face_topology& t) {
    print_count("components", t.components);
    print_count("edges", t.edges);
    print_count("  of one facet, free", t.free_edges);
    print_count("  of two", t.shared_edges);
    print_count("  of three or more", t.crowded_edges);
    std::printf("%-24s%14lld  nodes - edges + facets", "Euler characteristic", t.characteristic());
    const auto twice_parts = 2 * static_cast<long long>(t.components);
    if (t.is_closed_surface()) {
        std::printf("; closed, %lld handles", (twice_parts - t.characteristic()) / 2);
    }
    std::printf("\n");
}

#endif
