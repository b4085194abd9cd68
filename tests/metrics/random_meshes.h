// Meshes, fields and conditions of a bounding at random.
#ifndef TESSMAKER_TESTS_METRICS_RANDOM_MESHES_H
#define TESSMAKER_TESTS_METRICS_RANDOM_MESHES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "metrics/bounding_calls.h"
#include "metrics/random_metrics.h"
#include "support/random.h"
#include "support/zoo.h"

namespace test {

inline constexpr kv7::element_type all_types[] = {
    kv7::ET_BAR2,      kv7::ET_BAR3,    kv7::ET_FACE_MIX, kv7::ET_TRIA3,  kv7::ET_QUAD4,
    kv7::ET_TRIA6,     kv7::ET_QUAD8,   kv7::ET_QUAD9,    kv7::ET_TETRA4, kv7::ET_TETRA10,
    kv7::ET_SOLID_MIX, kv7::ET_PYRA5,   kv7::ET_PYRA13,   kv7::ET_PYRA14, kv7::ET_PENTA6,
    kv7::ET_PENTA15,   kv7::ET_PENTA18, kv7::ET_HEXA8,    kv7::ET_HEXA20, kv7::ET_HEXA27};

// Nodes at random; elements on nodes that follow each other, one in four with a hole or a repeat.
inline mesh random_mesh(random_source& random, kv7::element_type type, std::size_t dim,
                        bool coincident) {
    mesh m{"random", {}, {}, type};
    const std::size_t rows = kv7::tessmaker::nbr_nodes(type);
    const std::size_t nbr = rows + random.between(3, 25);
    m.pos = random_points(random, dim, nbr + random.below(4), 0.0, 3.0);
    if (coincident) {
        for (std::size_t i = 1; i < m.pos.cols(); ++i) {
            if (!random.one_in(4)) continue;
            const std::size_t other = random.below(i);
            for (std::size_t r = 0; r < dim; ++r) m.pos(r, i) = m.pos(r, other);
        }
    }
    m.connect.resize(rows, 2 + 3 * nbr / rows);
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        const std::size_t start = random.below(nbr - rows + 1);
        for (std::size_t r = 0; r < rows; ++r) {
            m.connect(r, c) = static_cast<unsigned int>(start + r);
            if (random.one_in(4)) m.connect(r, c) = random.id_below(nbr);
        }
        const std::size_t nbr_used = type == kv7::ET_FACE_MIX    ? random.between(3, 4)
                                     : type == kv7::ET_SOLID_MIX ? random.between(4, 7)
                                                                 : rows;
        for (std::size_t r = nbr_used < 7 ? nbr_used : rows; r < rows; ++r) {
            m.connect(r, c) = none;
        }
    }
    return m;
}

struct conditions {
    ids nodes;
    bool nodes_fixed = true;
    int direction = 0;
    double limit = 0.5;
};

inline conditions random_conditions(random_source& random, const mesh& m) {
    conditions c;
    c.nodes_fixed = !random.one_in(3);
    const std::size_t every = random.one_of<std::size_t>({0, 2, 3, 8});
    for (unsigned int i = 0; i < m.pos.cols(); ++i) {
        const bool listed = every != 0 && random.one_in(every);
        if (listed == c.nodes_fixed) c.nodes.push_back(i);
    }
    if (every == 0 && c.nodes_fixed) c.nodes.resize(0);
    if (random.one_in(4)) c.nodes.push_back(none);
    c.direction = random.one_of<int>({0, 0, 1, -1, 255, 256, 2});
    c.limit = random.one_of<double>({0.0, 1e-3, 0.05, 0.2, 0.5, 2.0});
    return c;
}

inline std::string described(const mesh& m, const conditions& c, int n) {
    return "type " + std::to_string(m.type) + ", run " + std::to_string(n) + ", direction " +
           std::to_string(c.direction) + ", limit " + std::to_string(c.limit) + ", listed " +
           std::to_string(c.nodes.size()) + (c.nodes_fixed ? " fixed" : " free");
}

inline void expect_fixed_nodes_kept(const mesh& m, const conditions& c, const double* before,
                                    const double* after, std::size_t per_node) {
    std::vector<bool> fixed(m.pos.cols(), !c.nodes_fixed);
    for (const unsigned int node : c.nodes) {
        if (node != none) fixed[node] = c.nodes_fixed;
    }
    for (std::size_t i = 0; i < fixed.size(); ++i) {
        if (fixed[i]) {
            EXPECT_EQ(
                std::memcmp(before + i * per_node, after + i * per_node, per_node * sizeof(double)),
                0);
        }
    }
}

// A square or a cube of `n` intervals a side, its nodes shaken, cut into triangles or tetrahedra.
inline mesh shaken_grid(random_source& random, std::size_t dim, unsigned int n) {
    const unsigned int side = n + 1;
    const std::size_t nbr_nodes = std::size_t{side} * side * (dim == 2 ? 1 : side);
    mesh m{"shaken grid",
           dense2D<double>(dim, nbr_nodes),
           {},
           dim == 2 ? kv7::ET_TRIA3 : kv7::ET_TETRA4};
    for (unsigned int i = 0; i < nbr_nodes; ++i) {
        unsigned int rest = i;
        for (std::size_t r = 0; r < dim; ++r, rest /= side) {
            m.pos(r, i) = (rest % side + random.uniform(-0.2, 0.2)) / n;
        }
    }
    // In each cell one element for each order of the axes, along the way to the opposite corner.
    const unsigned int orders[6][3] = {{0, 1, 2}, {1, 0, 2}, {0, 2, 1},
                                       {2, 0, 1}, {1, 2, 0}, {2, 1, 0}};
    const unsigned int steps[3] = {1, side, side * side};
    const std::size_t per_cell = dim == 2 ? 2 : 6;
    m.connect.resize(dim + 1, per_cell * n * n * (dim == 2 ? 1 : n));
    std::size_t c = 0;
    for (unsigned int i = 0; i < nbr_nodes; ++i) {
        if (i % side == n || i / side % side == n || (dim == 3 && i / steps[2] == n)) continue;
        for (std::size_t o = 0; o < per_cell; ++o, ++c) {
            unsigned int node = i;
            m.connect(0, c) = node;
            for (std::size_t k = 0; k < dim; ++k) {
                m.connect(k + 1, c) = node += steps[orders[o][k]];
            }
        }
    }
    return m;
}

inline size_field random_sizes(random_source& random, const mesh& m) {
    size_field sizes(m.pos.cols());
    for (double& h : sizes) h = log_uniform(random, 0.03, 2.0);
    return sizes;
}

template <std::size_t N> metric_field random_metrics(random_source& random, std::size_t nbr) {
    metric_field metrics(packed<N>, nbr);
    for (std::size_t i = 0; i < nbr; ++i) {
        const metric<N> M = random_metric<N>(random, 0.1, 100.0);
        std::copy_n(M.values, packed<N>, metrics.column(i));
    }
    return metrics;
}

} // namespace test

#endif
