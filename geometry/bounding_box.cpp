#include <cstddef>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "geometry/nodes_of.h"
#include "tessmaker/geometry.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// Both bounds are tested for each node, since the box may be inverted at the start. NaN compares
// false, and so changes neither.
template <std::size_t N> void widen(vector<N>& min_box, vector<N>& max_box, const double* p) {
    for (std::size_t i = 0; i < N; ++i) {
        min_box[i] = p[i] < min_box[i] ? p[i] : min_box[i];
        max_box[i] = p[i] > max_box[i] ? p[i] : max_box[i];
    }
}

template <std::size_t N>
int widen_by_all(const dense2D<double>& pos, vector<N>& min_box, vector<N>& max_box) {
    if (pos.rows() != N) return -1;
    vector<N> low = min_box;
    vector<N> high = max_box;
    const double* p = pos.column(0);
    const std::size_t ld = pos.ld();
    for (std::size_t c = 0; c < pos.cols(); ++c, p += ld) widen<N>(low, high, p);
    min_box = low;
    max_box = high;
    return 0;
}

template <std::size_t N>
int widen_by_list(const dense2D<double>& pos, const id_list& nodes, vector<N>& min_box,
                  vector<N>& max_box) {
    if (nodes.empty()) return 0;
    if (pos.rows() != N) return -1;
    if (!check_IDs(nodes, id_limit(pos))) return -2;
    vector<N> low = min_box;
    vector<N> high = max_box;
    const double* const origin = pos.column(0);
    const std::size_t ld = pos.ld();
    for (const unsigned int node : nodes) {
        if (node != no_id) widen<N>(low, high, origin + node * ld);
    }
    min_box = low;
    max_box = high;
    return 0;
}

} // namespace

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min_box,
                     vector_fixed<double, 2>& max_box) {
    return widen_by_all(pos, min_box, max_box);
}

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min_box,
                     vector_fixed<double, 3>& max_box) {
    return widen_by_all(pos, min_box, max_box);
}

int inc_bounding_box(const dense2D<double>& pos, const id_list& nodes,
                     vector_fixed<double, 2>& min_box, vector_fixed<double, 2>& max_box) {
    return widen_by_list(pos, nodes, min_box, max_box);
}

int inc_bounding_box(const dense2D<double>& pos, const id_list& nodes,
                     vector_fixed<double, 3>& min_box, vector_fixed<double, 3>& max_box) {
    return widen_by_list(pos, nodes, min_box, max_box);
}

int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                     vector_fixed<double, 2>& min_box, vector_fixed<double, 2>& max_box) {
    return widen_by_list(pos, nodes_of(connect), min_box, max_box);
}

int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                     vector_fixed<double, 3>& min_box, vector_fixed<double, 3>& max_box) {
    return widen_by_list(pos, nodes_of(connect), min_box, max_box);
}

} // namespace kv7::tessmaker
