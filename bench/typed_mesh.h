// A mesh of one element type, in natural and in random order.
#ifndef TESSMAKER_BENCH_TYPED_MESH_H
#define TESSMAKER_BENCH_TYPED_MESH_H

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
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

} // namespace bench

#endif
