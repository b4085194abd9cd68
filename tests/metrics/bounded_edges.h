// The edges of a bounded field against its limit, and meshes whose runs are long.
#ifndef TESSMAKER_TESTS_METRICS_BOUNDED_EDGES_H
#define TESSMAKER_TESTS_METRICS_BOUNDED_EDGES_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "metrics/bounding_calls.h"
#include "metrics/plain_bounding.h"
#include "metrics/plain_measures.h"
#include "support/zoo.h"

namespace test {

template <std::size_t N, class Plain>
double largest_measure(measured what, const mesh& m, const Plain& field) {
    double result = 0.0;
    const std::vector<std::vector<unsigned int>> graph = plain_neighbours(m.connect);
    for (unsigned int a = 0; a < graph.size(); ++a) {
        for (const unsigned int b : graph[a]) {
            vector<N> v{};
            for (std::size_t r = 0; r < N; ++r) v[r] = m.pos(r, b) - m.pos(r, a);
            result = std::max(result, Plain::measure(what, field.get(a), field.get(b), v));
        }
    }
    return result;
}

// The limit plus what a refused step of a thousandth leaves.
inline double limit_with_slack(measured what, double limit) {
    const double steepest = slope(what, limit) / 0.999 * (1.0 + 1e-6);
    return what == measured::gradation ? std::expm1(steepest) : steepest;
}

// Straight bars of length 1 along x, or squares with their nodes in two rows.
inline mesh long_chain(unsigned int nbr_in_row, unsigned int nbr_rows) {
    mesh m{"chain", dense2D<double>(2, std::size_t{nbr_in_row} * nbr_rows),
           dense2D<unsigned int>(2 * nbr_rows, nbr_in_row - 1),
           nbr_rows == 1 ? kv7::ET_BAR2 : kv7::ET_QUAD4};
    for (unsigned int i = 0; i < m.pos.cols(); ++i) {
        m.pos(0, i) = i % nbr_in_row;
        m.pos(1, i) = i / nbr_in_row;
    }
    for (unsigned int i = 0; i + 1 < nbr_in_row; ++i) {
        const unsigned int around[] = {i, i + 1, nbr_in_row + i + 1, nbr_in_row + i};
        std::copy_n(around, 2 * nbr_rows, m.connect.column(i));
    }
    return m;
}

// 1 + x^2 / n along a chain of n nodes in a row. The slope grows with x, so a size that shrinks
// leaves the next one too large, and each shrinks again and again.
inline size_field convex_sizes(const mesh& m, unsigned int nbr_in_row) {
    size_field sizes(m.pos.cols());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        sizes[i] = 1.0 + m.pos(0, i) * m.pos(0, i) / nbr_in_row;
    }
    return sizes;
}

} // namespace test

#endif
