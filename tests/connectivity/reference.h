// Plain references for what the library derives from a connectivity: they share no tables with it,
// and use neither hashing nor counting passes.
#ifndef TESSMAKER_TESTS_CONNECTIVITY_REFERENCE_H
#define TESSMAKER_TESTS_CONNECTIVITY_REFERENCE_H

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"

namespace test {

using ids = std::vector<unsigned int>;

inline const std::vector<kv7::element_type> served_types{
    kv7::ET_BAR2,  kv7::ET_TRIA3,  kv7::ET_QUAD4, kv7::ET_FACE_MIX, kv7::ET_TETRA4,
    kv7::ET_PYRA5, kv7::ET_PENTA6, kv7::ET_HEXA8, kv7::ET_SOLID_MIX};

// The plain type of a column, by its number of rows and its absent IDs.
inline kv7::element_type shape_of_column(const ids& column, kv7::element_type type) {
    if (type == kv7::ET_FACE_MIX) {
        return column.size() == 3 || column[3] == none ? kv7::ET_TRIA3 : kv7::ET_QUAD4;
    }
    if (type == kv7::ET_SOLID_MIX) {
        const std::size_t n = static_cast<std::size_t>(
            std::find(column.begin(), column.end(), none) - column.begin());
        return n == 4   ? kv7::ET_TETRA4
               : n == 5 ? kv7::ET_PYRA5
               : n == 6 ? kv7::ET_PENTA6
                        : kv7::ET_HEXA8;
    }
    return type;
}

inline std::vector<ids> facets_of_shape(kv7::element_type shape) {
    switch (shape) {
    case kv7::ET_BAR2: return {{1}, {0}};
    case kv7::ET_TRIA3: return {{1, 2}, {2, 0}, {0, 1}};
    case kv7::ET_QUAD4: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case kv7::ET_TETRA4: return {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    case kv7::ET_PYRA5: return {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}};
    case kv7::ET_PENTA6: return {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {0, 2, 5, 3}, {1, 0, 3, 4}};
    case kv7::ET_HEXA8:
        return {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
    default: return {};
    }
}

inline std::vector<std::pair<unsigned int, unsigned int>> edges_of_shape(kv7::element_type shape) {
    switch (shape) {
    case kv7::ET_BAR2:
    case kv7::ET_BAR3: return {{0, 1}};
    case kv7::ET_TRIA3:
    case kv7::ET_TRIA6: return {{1, 2}, {2, 0}, {0, 1}};
    case kv7::ET_QUAD4:
    case kv7::ET_QUAD8:
    case kv7::ET_QUAD9: return {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case kv7::ET_TETRA4:
    case kv7::ET_TETRA10: return {{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}};
    case kv7::ET_PYRA5:
    case kv7::ET_PYRA14: return {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}};
    case kv7::ET_PENTA6:
    case kv7::ET_PENTA18:
        return {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
    case kv7::ET_HEXA8:
    case kv7::ET_HEXA27:
        return {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    default: return {};
    }
}

inline unsigned int stride_of(kv7::element_type type) {
    switch (type) {
    case kv7::ET_BAR2: return 2;
    case kv7::ET_TRIA3: return 3;
    case kv7::ET_QUAD4:
    case kv7::ET_FACE_MIX:
    case kv7::ET_TETRA4: return 4;
    case kv7::ET_PYRA5:
    case kv7::ET_PENTA6: return 5;
    default: return 6;
    }
}

inline unsigned int height_of(kv7::element_type type) {
    switch (type) {
    case kv7::ET_BAR2: return 1;
    case kv7::ET_TRIA3:
    case kv7::ET_QUAD4:
    case kv7::ET_FACE_MIX: return 2;
    case kv7::ET_TETRA4: return 3;
    default: return 4;
    }
}

// The type under which the library works on an array of so many rows.
inline kv7::element_type narrowed(std::size_t rows, kv7::element_type type) {
    if (type == kv7::ET_FACE_MIX && rows == 3) return kv7::ET_TRIA3;
    if (type == kv7::ET_SOLID_MIX && rows == 4) return kv7::ET_TETRA4;
    if (type == kv7::ET_SOLID_MIX && rows == 5) return kv7::ET_PYRA5;
    if (type == kv7::ET_SOLID_MIX && rows == 6) return kv7::ET_PENTA6;
    return type;
}

// The facets of a column, as lists of node IDs.
inline std::vector<ids> facets_of_column(const ids& column, kv7::element_type type) {
    std::vector<ids> facets = facets_of_shape(shape_of_column(column, type));
    for (ids& facet : facets) {
        for (unsigned int& node : facet) node = column[node];
    }
    return facets;
}

inline ids rotated_to_smallest(ids facet) {
    std::rotate(facet.begin(), std::min_element(facet.begin(), facet.end()), facet.end());
    return facet;
}

// +1 for the same facet in the same direction, -1 in the opposite one, 0 for another.
inline int compare(const ids& a, const ids& b) {
    if (a.size() != b.size()) return 0;
    if (a.size() == 1) return a[0] == b[0] ? 1 : 0;
    if (a.size() == 2) {
        if (a[0] == b[0] && a[1] == b[1]) return 1;
        return a[0] == b[1] && a[1] == b[0] ? -1 : 0;
    }
    const ids x = rotated_to_smallest(a);
    const ids y = rotated_to_smallest(b);
    if (x[0] != y[0]) return 0;
    if (a.size() == 3) {
        if (x[1] == y[1] && x[2] == y[2]) return 1;
        return x[1] == y[2] && x[2] == y[1] ? -1 : 0;
    }
    if (x[2] != y[2]) return 0;
    if (x[1] == y[1] && x[3] == y[3]) return 1;
    return x[1] == y[3] && x[3] == y[1] ? -1 : 0;
}

struct facet_at {
    unsigned int element;
    unsigned int local;
    ids nodes;
};

inline std::vector<facet_at> all_facets(const dense2D<unsigned int>& connect,
                                        kv7::element_type type) {
    std::vector<facet_at> facets;
    const auto columns = list(connect);
    for (unsigned int e = 0; e < columns.size(); ++e) {
        const std::vector<ids> local = facets_of_column(columns[e], type);
        for (unsigned int f = 0; f < local.size(); ++f) facets.push_back({e, f, local[f]});
    }
    return facets;
}

// Compares each facet with each later one, in ascending order of handle.
inline std::vector<ids> plain_neighbors(const dense2D<unsigned int>& connect,
                                        kv7::element_type type, bool link_non_manifold) {
    type = narrowed(connect.rows(), type);
    std::vector<ids> neighbors(connect.cols(), ids(stride_of(type), none));
    const std::vector<facet_at> facets = all_facets(connect, type);
    std::vector<bool> is_used(facets.size(), false);
    for (std::size_t a = 0; a < facets.size(); ++a) {
        if (is_used[a]) continue;
        std::vector<std::size_t> group{a};
        for (std::size_t b = a + 1; b < facets.size(); ++b) {
            if (!is_used[b] && compare(facets[a].nodes, facets[b].nodes) != 0) {
                group.push_back(b);
                is_used[b] = true;
            }
        }
        if (group.size() < 2 || (group.size() > 2 && !link_non_manifold)) continue;
        for (std::size_t k = 1; k < group.size(); ++k) {
            const facet_at& other = facets[group[k]];
            neighbors[other.element][other.local] = facets[a].element;
            neighbors[facets[a].element][facets[a].local] = other.element;
        }
    }
    return neighbors;
}

inline ids padded(ids facet, std::size_t height) {
    facet.resize(height, none);
    return facet;
}

inline dense2D<unsigned int> matrix_of(const std::vector<ids>& columns) {
    dense2D<unsigned int> result;
    if (columns.empty()) return result;
    result.resize(columns[0].size(), columns.size());
    for (std::size_t c = 0; c < columns.size(); ++c) {
        std::copy(columns[c].begin(), columns[c].end(), result.column(c));
    }
    return result;
}

// Elements of random nodes with many repeats: degenerate elements, duplicates, facets with many
// elements.
inline dense2D<unsigned int> random_connectivity(random_source& random, kv7::element_type type,
                                                 std::size_t nbr_elements, std::size_t nbr_nodes) {
    const std::size_t rows = kv7::tessmaker::nbr_nodes(type);
    std::vector<ids> columns;
    for (std::size_t e = 0; e < nbr_elements; ++e) {
        if (!columns.empty() && random.one_in(6)) {
            // A duplicate, rotated or reversed.
            ids again = random.one_of(columns);
            const auto used = std::find(again.begin(), again.end(), none) - again.begin();
            if (random.one_in(2)) std::reverse(again.begin(), again.begin() + used);
            columns.push_back(again);
            continue;
        }
        ids column(rows);
        for (unsigned int& node : column) node = random.id_below(nbr_nodes);
        if (!random.one_in(4)) {
            // Mostly distinct nodes, if there are enough.
            for (std::size_t r = 0; r < rows && nbr_nodes >= rows; ++r) {
                while (
                    std::count(column.begin(), column.begin() + static_cast<int>(r), column[r])) {
                    column[r] = random.id_below(nbr_nodes);
                }
            }
        }
        if (type == kv7::ET_FACE_MIX && random.one_in(2)) column[3] = none;
        if (type == kv7::ET_SOLID_MIX && !random.one_in(4)) {
            std::fill(column.begin() + static_cast<int>(random.between(4, 6)), column.end(), none);
        }
        columns.push_back(column);
    }
    return matrix_of(columns);
}

// Cells of a structured box with random node numbers, so that most facets are shared.
inline dense2D<unsigned int> random_box(random_source& random, kv7::element_type type) {
    const unsigned int nx = static_cast<unsigned int>(random.between(1, 3));
    const unsigned int ny = static_cast<unsigned int>(random.between(1, 3));
    const unsigned int nz = static_cast<unsigned int>(random.between(1, 2));
    const unsigned int nbr_nodes = (nx + 1) * (ny + 1) * (nz + 1);
    ids number(nbr_nodes);
    for (unsigned int n = 0; n < nbr_nodes; ++n) number[n] = n;
    random.shuffle(number);
    const auto node = [&](unsigned int i, unsigned int j, unsigned int k) {
        return number[(k * (ny + 1) + j) * (nx + 1) + i];
    };
    const std::size_t rows = kv7::tessmaker::nbr_nodes(type);
    std::vector<ids> columns;
    const auto add = [&](ids column) { columns.push_back(padded(std::move(column), rows)); };
    const bool is_solid = kv7::tessmaker::element_dim(type) == 3;
    for (unsigned int k = 0; k < (is_solid ? nz : 1); ++k) {
        for (unsigned int j = 0; j < ny; ++j) {
            for (unsigned int i = 0; i < nx; ++i) {
                const unsigned int p[8] = {node(i, j, k),
                                           node(i + 1, j, k),
                                           node(i + 1, j + 1, k),
                                           node(i, j + 1, k),
                                           node(i, j, k + 1),
                                           node(i + 1, j, k + 1),
                                           node(i + 1, j + 1, k + 1),
                                           node(i, j + 1, k + 1)};
                switch (type) {
                case kv7::ET_BAR2:
                    add({p[0], p[1]});
                    add({p[0], p[3]});
                    break;
                case kv7::ET_TRIA3:
                    add({p[0], p[1], p[2]});
                    add({p[0], p[2], p[3]});
                    break;
                case kv7::ET_QUAD4: add({p[0], p[1], p[2], p[3]}); break;
                case kv7::ET_FACE_MIX:
                    if (random.one_in(2)) {
                        add({p[0], p[1], p[2], p[3]});
                    } else {
                        add({p[0], p[1], p[3]});
                        add({p[1], p[2], p[3]});
                    }
                    break;
                case kv7::ET_TETRA4:
                    add({p[0], p[1], p[2], p[6]});
                    add({p[0], p[2], p[3], p[6]});
                    add({p[0], p[3], p[7], p[6]});
                    add({p[0], p[7], p[4], p[6]});
                    add({p[0], p[4], p[5], p[6]});
                    add({p[0], p[5], p[1], p[6]});
                    break;
                case kv7::ET_PYRA5:
                    add({p[0], p[1], p[2], p[3], p[6]});
                    add({p[0], p[4], p[5], p[1], p[6]});
                    add({p[0], p[3], p[7], p[4], p[6]});
                    break;
                case kv7::ET_PENTA6:
                    add({p[0], p[1], p[2], p[4], p[5], p[6]});
                    add({p[0], p[2], p[3], p[4], p[6], p[7]});
                    break;
                default:
                    if (type == kv7::ET_SOLID_MIX && random.one_in(2)) {
                        add({p[0], p[1], p[2], p[4], p[5], p[6]});
                        add({p[0], p[2], p[3], p[4], p[6], p[7]});
                    } else if (type == kv7::ET_SOLID_MIX && random.one_in(2)) {
                        add({p[0], p[1], p[2], p[3], p[6]});
                        add({p[0], p[4], p[5], p[1], p[6]});
                        add({p[0], p[3], p[7], p[6]});
                        add({p[0], p[7], p[4], p[6]});
                    } else {
                        add({p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]});
                    }
                }
            }
        }
    }
    random.shuffle(columns);
    return matrix_of(columns);
}

// A random mesh of one of the two kinds, sometimes with gaps between its columns.
inline dense2D<unsigned int> random_mesh(random_source& random, kv7::element_type type) {
    const dense2D<unsigned int> connect =
        random.one_in(2)
            ? random_box(random, type)
            : random_connectivity(random, type, random.between(1, 14), random.between(2, 12));
    return random.one_in(3) ? with_gaps(connect, 2, 0xDDDDDDDDU) : connect;
}

} // namespace test

#endif
