#include "tessmaker/geometry.h"

#include <algorithm>
#include <cstddef>

#include "core/element_table.h"
#include "core/element_walk.h"
#include "core/ids.h"
#include "core/small_vectors.h"
#include "geometry/motions.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The nodes that a connectivity uses, as far as memory reaches.
id_list nodes_of(const id_matrix& connect) {
    id_list nodes;
    unique_indices(nodes, connect, id_list());
    return nodes;
}

// Both bounds are tested for each node: the box may start out inverted. No comparison holds for a
// coordinate that is not a number.
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

// One column of a linear type: the sum in the order of its nodes, multiplied once.
template <std::size_t ROWS, std::size_t NODES>
void mean_of_nodes(const double* pos, std::size_t ld, const unsigned int* nodes, double* center) {
    vector<ROWS> sum{};
    for (std::size_t k = 0; k < NODES; ++k) {
        const double* const p = pos + nodes[k] * ld;
        for (std::size_t i = 0; i < ROWS; ++i) sum[i] += p[i];
    }
    constexpr double weight = 1.0 / NODES;
    for (std::size_t i = 0; i < ROWS; ++i) center[i] = sum[i] * weight;
}

template <std::size_t ROWS, element_type TYPE>
void means_of_nodes(const dense2D<double>& pos, const id_matrix& connect, double* centers) {
    const double* const origin = pos.column(0);
    const std::size_t ld = pos.ld();
    for_each_column<TYPE>(connect, [=](auto shape, std::size_t e, const unsigned int* nodes) {
        constexpr std::size_t nbr_nodes = shape_of(decltype(shape)::value).nbr_nodes;
        mean_of_nodes<ROWS, nbr_nodes>(origin, ld, nodes, centers + e * ROWS);
    });
}

// Distances from the centre multiplied by `excess` + 1, in just this form.
template <std::size_t N> struct dilation {
    static constexpr std::size_t dim = N;
    vector<N> center;
    double excess;

    void operator()(double* p) const {
        for (std::size_t i = 0; i < N; ++i) p[i] = p[i] + (p[i] - center[i]) * excess;
    }
};

// The three forms of a map: all nodes, those of a list, those of a connectivity. All return the
// number of moves.
template <class Map> int move_nodes(dense2D<double>& pos, const Map& map) {
    if (pos.empty()) return 0;
    move_from(pos, 0, map);
    return static_cast<int>(pos.cols());
}

template <class Map> int move_nodes(dense2D<double>& pos, const Map& map, const id_list& nodes) {
    if (pos.empty() || nodes.empty()) return 0;
    return static_cast<int>(move_listed(pos, nodes, map));
}

template <class Map>
int move_nodes(dense2D<double>& pos, const Map& map, const id_matrix& connect) {
    if (pos.empty()) return 0;
    return move_nodes(pos, map, nodes_of(connect));
}

// `Nodes` is nothing, a list or a connectivity.
template <std::size_t N, class... Nodes>
int move_by(dense2D<double>& pos, const vector_fixed<double, N>& shift, const Nodes&... nodes) {
    if (is_zero(shift)) return 0;
    return move_nodes(pos, translation<N>{shift}, nodes...);
}

template <class Center, class Rotation, class... Nodes>
int turn(dense2D<double>& pos, const Center& center, const Rotation& rotation,
         const Nodes&... nodes) {
    if (is_zero(rotation)) return 0;
    return move_nodes(pos, rotation_about(center, rotation), nodes...);
}

template <std::size_t N, class... Nodes>
int stretch(dense2D<double>& pos, const vector_fixed<double, N>& center, double factor,
            const Nodes&... nodes) {
    if (factor == 1.0) return 0;
    const int nbr_moves = move_nodes(pos, dilation<N>{center, factor - 1.0}, nodes...);
    return sizeof...(nodes) == 0 ? nbr_moves : 0; // kept: only the form for all nodes counts
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

int centroids(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
              dense2D<double>& centers, element_type type) {
    centers.clear();
    const std::size_t rows = pos.rows();
    const std::size_t cols = connect.cols();
    if (rows < 1 || rows > 3 || element_dim(type) > rows) return -1;
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    const element_type resolved = resolve_mixed_type(connect.rows(), type);
    if (!is_linear_type(resolved)) return centers.resize(rows, cols, 0.0) ? -4 : -199;
    if (!centers.resize(rows, cols)) return -199;

    double* const to = centers.column(0);
    with_linear_type(resolved, [&](auto shape) {
        constexpr element_type constant = decltype(shape)::value;
        switch (rows) {
        case 1: return means_of_nodes<1, constant>(pos, connect, to);
        case 2: return means_of_nodes<2, constant>(pos, connect, to);
        default: return means_of_nodes<3, constant>(pos, connect, to);
        }
    });
    return 0;
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift) {
    return move_by(pos, shift);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift) {
    return move_by(pos, shift);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift, const id_list& nodes) {
    return move_by(pos, shift, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift, const id_list& nodes) {
    return move_by(pos, shift, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
              const dense2D<unsigned int>& connect) {
    return move_by(pos, shift, connect);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
              const dense2D<unsigned int>& connect) {
    return move_by(pos, shift, connect);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) {
    return turn(pos, center, angle);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation) {
    return turn(pos, center, rotation);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const id_list& nodes) {
    return turn(pos, center, angle, nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const id_list& nodes) {
    return turn(pos, center, rotation, nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense2D<unsigned int>& connect) {
    return turn(pos, center, angle, connect);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const dense2D<unsigned int>& connect) {
    return turn(pos, center, rotation, connect);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) {
    return stretch(pos, center, factor);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) {
    return stretch(pos, center, factor);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const id_list& nodes) {
    return stretch(pos, center, factor, nodes);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const id_list& nodes) {
    return stretch(pos, center, factor, nodes);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense2D<unsigned int>& connect) {
    return stretch(pos, center, factor, connect);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense2D<unsigned int>& connect) {
    return stretch(pos, center, factor, connect);
}

} // namespace kv7::tessmaker
