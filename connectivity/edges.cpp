#include "connectivity/edges.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/element_walk.h"
#include "core/ids.h"

namespace kv7::tessmaker {

namespace {

// The linear type whose edges are listed for `type`; ET_UNKNOWN, which has none, for the
// serendipity solids (kept: clients rely on these having no edges).
element_type edge_type(std::size_t rows, element_type type) {
    type = resolve_mixed_type(rows, type);
    const bool is_left_out = type == ET_PYRA13 || type == ET_PENTA15 || type == ET_HEXA20;
    return is_left_out ? ET_UNKNOWN : linear_type(type);
}

// Several connectivities and their types.
struct mesh {
    const dense2D<unsigned int>* begin;
    const dense2D<unsigned int>* end;
    const int* types;
};

// Calls `work(smaller node, larger node)` for each edge of one element.
template <element_type SHAPE, class Work>
[[gnu::always_inline]] inline void for_each_edge_of(const unsigned int* column, Work& work) {
    constexpr local_edges edges = topology_of(SHAPE).edges;
    for_each_constant<edges.count>([&](auto k) {
        constexpr local_edge edge = edges.edge[k];
        const unsigned int a = column[edge.a];
        const unsigned int b = column[edge.b];
        work(std::min(a, b), std::max(a, b));
    });
}

// The same for each element; edges that elements share come repeatedly.
template <class Work> void for_each_edge(const mesh& elements, Work work) {
    const int* type = elements.types;
    for (const dense2D<unsigned int>* connect = elements.begin; connect != elements.end;
         ++connect) {
        const element_type of = edge_type(connect->rows(), static_cast<element_type>(*type++));
        if (connect->empty()) continue;
        with_linear_type(of, [&](auto linear) {
            for_each_column<linear()>(*connect,
                                      [&](auto shape, std::size_t, const unsigned int* column) {
                                          for_each_edge_of<shape()>(column, work);
                                      });
        });
    }
}

template <class T> std::size_t sort_unique(T* begin, T* end) {
    std::sort(begin, end);
    return static_cast<std::size_t>(std::unique(begin, end) - begin);
}

// Lists all edges and sorts them at once. Returns false if memory fails.
bool collect_by_sorting(const mesh& elements, std::size_t nbr_occurrences, edge_list& edges) {
    if (!edges.resize(nbr_occurrences)) return false;
    std::uint64_t* next = edges.data();
    for_each_edge(elements, [&](unsigned int smaller, unsigned int larger) {
        *next++ = edge_of(smaller, larger);
    });
    return edges.resize(sort_unique(edges.begin(), edges.end()));
}

// Groups the edges by their smaller node in two counting passes, and sorts the larger nodes of each
// group. `nbr_occurrences` must fit in 32 bits. Returns false if memory fails.
bool collect_by_node(const mesh& elements, std::size_t nbr_occurrences, std::size_t nbr_nodes,
                     edge_list& edges) {
    id_list ends;
    id_list gathered;
    if (!ends.resize(nbr_nodes, 0) || !gathered.resize(nbr_occurrences)) return false;
    unsigned int* const end_of = ends.data();
    unsigned int* const larger_nodes = gathered.data();
    for_each_edge(elements, [=](unsigned int smaller, unsigned int) { ++end_of[smaller]; });
    unsigned int sum = 0;
    for (std::size_t n = 0; n < nbr_nodes; ++n) sum += std::exchange(end_of[n], sum);
    for_each_edge(elements, [=](unsigned int smaller, unsigned int larger) {
        larger_nodes[end_of[smaller]++] = larger;
    });

    std::size_t nbr_edges = 0;
    unsigned int* begin = larger_nodes;
    for (std::size_t n = 0; n < nbr_nodes; ++n) {
        unsigned int* const end = larger_nodes + end_of[n];
        const std::size_t nbr_distinct = sort_unique(begin, end);
        std::copy_n(begin, nbr_distinct, larger_nodes + nbr_edges);
        nbr_edges += nbr_distinct;
        end_of[n] = static_cast<unsigned int>(nbr_edges);
        begin = end;
    }

    if (!edges.resize(nbr_edges)) return false;
    std::uint64_t* const edge = edges.data();
    std::size_t k = 0;
    for (std::size_t n = 0; n < nbr_nodes; ++n) {
        for (; k < end_of[n]; ++k) edge[k] = std::uint64_t{n} << 32 | larger_nodes[k];
    }
    return true;
}

} // namespace

int collect_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                  const int* types, edge_list& edges) {
    edges.clear();
    const mesh elements{begin, end, types};
    std::size_t nbr_occurrences = 0;
    unsigned int largest = 0;
    for_each_edge(elements, [&](unsigned int smaller, unsigned int) {
        largest = std::max(largest, smaller);
        ++nbr_occurrences;
    });
    if (nbr_occurrences == 0) return 0;
    const std::size_t nbr_nodes = std::size_t{largest} + 1;
    // Counts for all IDs up to the largest cost more than sorting where only few of the IDs occur.
    const bool is_by_node = nbr_occurrences < no_id && nbr_nodes <= 4 * nbr_occurrences + 64;
    const bool done = is_by_node ? collect_by_node(elements, nbr_occurrences, nbr_nodes, edges)
                                 : collect_by_sorting(elements, nbr_occurrences, edges);
    return done ? 0 : -199;
}

int subtract_edges(const dense2D<unsigned int>& exclude, edge_list& edges) {
    const std::size_t nbr_excluded = exclude.cols();
    if (nbr_excluded == 0) return 0;
    edge_list excluded;
    if (!excluded.resize(nbr_excluded)) return -199;
    for (std::size_t c = 0; c < nbr_excluded; ++c) {
        excluded[c] = edge_of(exclude(0, c), exclude(1, c));
    }
    std::sort(excluded.begin(), excluded.end());
    const std::uint64_t* next = excluded.begin();
    std::size_t nbr_kept = 0;
    for (const std::uint64_t edge : edges) {
        while (next != excluded.end() && *next < edge) ++next;
        if (next == excluded.end() || *next != edge) edges[nbr_kept++] = edge;
    }
    edges.resize(nbr_kept);
    return 0;
}

} // namespace kv7::tessmaker
