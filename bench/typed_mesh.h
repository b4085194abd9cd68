// Regular meshes of one element type and about a million elements, with randomly moved nodes, in
// natural and in random order.
#ifndef TESSMAKER_BENCH_TYPED_MESH_H
#define TESSMAKER_BENCH_TYPED_MESH_H

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace bench {

struct typed_mesh {
    kv7::dense2D<double> pos; // of 3 rows
    kv7::dense2D<unsigned int> connect;
    kv7::element_type type = kv7::ET_UNKNOWN;
};

inline std::vector<unsigned int> random_order(std::size_t n, std::mt19937_64& random) {
    std::vector<unsigned int> order(n);
    std::iota(order.begin(), order.end(), 0U);
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

// The same mesh, with nodes and elements in random order.
inline typed_mesh shuffle(const typed_mesh& source) {
    std::mt19937_64 random(1);
    const std::vector<unsigned int> node = random_order(source.pos.cols(), random);
    const std::vector<unsigned int> column = random_order(source.connect.cols(), random);
    typed_mesh m{kv7::dense2D<double>(3, source.pos.cols()),
                 kv7::dense2D<unsigned int>(source.connect.rows(), source.connect.cols()),
                 source.type};
    for (std::size_t n = 0; n < node.size(); ++n)
        std::copy_n(source.pos.column(n), 3, m.pos.column(node[n]));
    for (std::size_t e = 0; e < column.size(); ++e) {
        for (std::size_t r = 0; r < source.connect.rows(); ++r)
            m.connect(r, column[e]) = node[source.connect(r, e)];
    }
    return m;
}

// A block of nx by ny by nz cells, each of them cut into elements that are given by corners of the
// cell: bit d of a corner is its side along axis d.
struct block {
    const char* name;
    kv7::element_type type;
    unsigned int nx, ny, nz;
    std::vector<std::vector<unsigned int>> elements;
};

inline const std::vector<block>& blocks() {
    static const std::vector<block> all{
        {"triangles", kv7::ET_TRIA3, 1000, 500, 0, {{0, 1, 3}, {0, 3, 2}}},
        {"quadrangles", kv7::ET_QUAD4, 1000, 1000, 0, {{0, 1, 3, 2}}},
        {"tetrahedra",
         kv7::ET_TETRA4,
         55,
         55,
         55,
         {{1, 0, 3, 7}, {3, 0, 2, 7}, {2, 0, 6, 7}, {6, 0, 4, 7}, {4, 0, 5, 7}, {5, 0, 1, 7}}},
        {"pyramids",
         kv7::ET_PYRA5,
         69,
         69,
         69,
         {{0, 1, 3, 2, 7}, {0, 2, 6, 4, 7}, {0, 4, 5, 1, 7}}},
        {"wedges", kv7::ET_PENTA6, 79, 79, 79, {{0, 1, 3, 4, 5, 7}, {0, 3, 2, 4, 7, 6}}},
        {"hexahedra", kv7::ET_HEXA8, 100, 100, 100, {{0, 1, 3, 2, 4, 5, 7, 6}}}};
    return all;
}

inline typed_mesh make(const block& b) {
    const auto node = [&b](unsigned int i, unsigned int j, unsigned int k) {
        return i + (b.nx + 1) * (j + (b.ny + 1) * k);
    };
    std::mt19937_64 random(1);
    const auto shake = [&random] { return 0.2 * (static_cast<double>(random() >> 11) * 0x1p-53); };
    typed_mesh m;
    m.type = b.type;
    m.pos.resize(3, std::size_t{node(b.nx, b.ny, b.nz)} + 1);
    for (unsigned int k = 0; k <= b.nz; ++k) {
        for (unsigned int j = 0; j <= b.ny; ++j) {
            for (unsigned int i = 0; i <= b.nx; ++i) {
                double* const p = m.pos.column(node(i, j, k));
                p[0] = i + shake();
                p[1] = j + shake();
                p[2] = k + shake();
            }
        }
    }
    const unsigned int layers = std::max(b.nz, 1U);
    m.connect.resize(b.elements[0].size(), std::size_t{b.nx} * b.ny * layers * b.elements.size());
    unsigned int* next = m.connect.column(0);
    for (unsigned int k = 0; k < layers; ++k) {
        for (unsigned int j = 0; j < b.ny; ++j) {
            for (unsigned int i = 0; i < b.nx; ++i) {
                for (const auto& corners : b.elements) {
                    for (const unsigned int c : corners)
                        *next++ = node(i + (c & 1U), j + (c >> 1 & 1U), k + (c >> 2));
                }
            }
        }
    }
    return m;
}

// The mesh named "BLOCK_natural" or "BLOCK_shuffled". The mesh of the last call is kept, since
// benchmarks on the same mesh follow one another.
inline const typed_mesh& mesh_of(const std::string& name) {
    static std::string kept_name;
    static typed_mesh kept;
    if (name == kept_name) return kept;
    const std::string shape = name.substr(0, name.find('_'));
    const auto b = std::find_if(blocks().begin(), blocks().end(),
                                [&shape](const block& each) { return each.name == shape; });
    kept = make(*b);
    if (name != shape + "_natural") kept = shuffle(kept);
    kept_name = name;
    return kept;
}

} // namespace bench

#endif
