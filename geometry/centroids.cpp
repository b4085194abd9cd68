#include <cstddef>

#include "core/element_table.h"
#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "core/small_vectors.h"
#include "tessmaker/geometry.h"

namespace kv7::tessmaker {

namespace {

// One element: the sum in the order of its nodes, multiplied once.
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

} // namespace

int centroids(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
              dense2D<double>& centers, element_type type) {
    clear_outputs(outputs{centers}, inputs{pos, connect});
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

} // namespace kv7::tessmaker
