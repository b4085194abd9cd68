// Facets of elements: their number and size for each type, checks of `neighbors`, comparison.
#ifndef TESSMAKER_CONNECTIVITY_FACETS_H
#define TESSMAKER_CONNECTIVITY_FACETS_H

#include <algorithm>
#include <array>
#include <cstddef>

#include "core/element_table.h"
#include "core/element_topology.h"
#include "core/ids.h"

namespace kv7::tessmaker {

// The rows K of `neighbors` for a type. The handle of a facet is element * K + local facet.
inline unsigned int boundary_stride(element_type type) { return shape_of(type).nbr_boundaries; }

// Nodes of a facet of a type, the most that it has for types with facets of two sizes. A value that
// is none of the types has none.
constexpr unsigned int boundary_height(element_type type) { return shape_of(type).boundary_height; }

// Whether `neighbors` has K rows and one column for each element.
inline bool has_shape(const dense2D<unsigned int>& neighbors, const dense2D<unsigned int>& connect,
                      element_type type) {
    return neighbors.cols() == connect.cols() && neighbors.rows() == boundary_stride(type);
}

// The same, and whether each entry is an element or absent.
inline bool are_neighbors(const dense2D<unsigned int>& neighbors,
                          const dense2D<unsigned int>& connect, element_type type) {
    return has_shape(neighbors, connect, type) &&
           check_IDs(neighbors, static_cast<unsigned int>(connect.cols()));
}

// The nodes of a facet, one to four, in the order that gives its direction.
struct facet_nodes {
    unsigned int size;
    std::array<unsigned int, 4> node;
};

inline facet_nodes facet_of(const unsigned int* element, const local_facet& local) {
    facet_nodes facet{local.size, {}};
    for (unsigned int k = 0; k < local.size; ++k) facet.node[k] = element[local.node[k]];
    return facet;
}

// From a column of a facet array; an absent ID in row 3 makes it a triangle.
inline facet_nodes facet_of(const unsigned int* column, unsigned int height) {
    facet_nodes facet{height == 4 && column[3] == no_id ? 3 : height, {}};
    std::copy_n(column, facet.size, facet.node.begin());
    return facet;
}

// 1 if the facets hold the same nodes in the same direction, -1 in the opposite direction, else 0.
// Single nodes have only one direction. Facets of three and four nodes are read as cycles that
// start at the smallest ID, at its first occurrence if it repeats.
inline int compare_facets(const facet_nodes& a, const facet_nodes& b) {
    if (a.size != b.size) return 0;
    const unsigned int size = a.size;
    std::array<unsigned int, 4> p = a.node;
    std::array<unsigned int, 4> q = b.node;
    if (size == 1) return p[0] == q[0] ? 1 : 0;
    if (size == 2) {
        if (p[0] == q[0] && p[1] == q[1]) return 1;
        return p[0] == q[1] && p[1] == q[0] ? -1 : 0;
    }
    std::rotate(p.begin(), std::min_element(p.begin(), p.begin() + size), p.begin() + size);
    std::rotate(q.begin(), std::min_element(q.begin(), q.begin() + size), q.begin() + size);
    if (p[0] != q[0] || (size == 4 && p[2] != q[2])) return 0;
    const unsigned int last = size - 1;
    if (p[1] == q[1] && p[last] == q[last]) return 1;
    return p[1] == q[last] && p[last] == q[1] ? -1 : 0;
}

} // namespace kv7::tessmaker

#endif
