#include <algorithm>
#include <cmath>

#include "core/coordinates.h"
#include "core/ids.h"
#include "core/small_vectors.h"
#include "metrics/edge_measures.h"
#include "metrics/nodal_fields.h"
#include "tessmaker/metric_fields.h"

namespace kv7::tessmaker {

namespace {

// The gradation of an edge. The field is not checked: entries that it lacks, for a node or for the
// dimension, are read as 0.
template <std::size_t N> class metric_gradation {
public:
    explicit metric_gradation(const dense2D<double>& metrics)
        : first_(metrics.column(0)), ld_(metrics.ld()), cols_(metrics.cols()),
          rows_(std::min(metrics.rows(), metric_size<N>)) {}

    double operator()(unsigned int a, unsigned int b, const vector<N>& v) const {
        const metric<N> Ma = at(a);
        const metric<N> Mb = at(b);
        return measure_of_metrics<gradation>(Ma, Mb, length_in(Ma, v), length_in(Mb, v));
    }

private:
    metric<N> at(unsigned int node) const {
        metric<N> M{};
        if (node < cols_) std::copy_n(first_ + node * ld_, rows_, M.values);
        return M;
    }

    const double* first_;
    std::size_t ld_;
    std::size_t cols_;
    std::size_t rows_;
};

template <std::size_t N> class size_gradation {
public:
    explicit size_gradation(const dense1D<double, 8>& sizes)
        : first_(sizes.data()), size_(sizes.size()) {}

    double operator()(unsigned int a, unsigned int b, const vector<N>& v) const {
        return measure_of_sizes<gradation>(at(a), at(b), std::sqrt(dot(v, v)));
    }

private:
    double at(unsigned int node) const { return node < size_ ? first_[node] : 0.0; }

    const double* first_;
    std::size_t size_;
};

template <std::size_t N, class EdgeMeasure>
void raise_shocks(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                  const EdgeMeasure& measure, dense1D<double, 8>& shocks) {
    const nodal_positions<N> positions(pos);
    const std::size_t nbr_edges = edges.cols();
    const std::size_t ld = edges.ld();
    const std::size_t nbr_shocks = shocks.size();
    const unsigned int* edge = edges.column(0);
    double* const shock = shocks.data();
    for (std::size_t c = 0; c < nbr_edges; ++c, edge += ld) {
        const unsigned int a = edge[0];
        const unsigned int b = edge[1];
        const double g = measure(a, b, positions.edge(a, b));
        for (const unsigned int node : {a, b}) {
            // Without memory the list could not grow to all nodes.
            if (node < nbr_shocks) shock[node] = std::max(shock[node], g);
        }
    }
}

template <template <std::size_t> class EdgeMeasure, class Field>
int measure_shocks(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                   const Field& field, dense1D<double, 8>& shocks) {
    if (edges.empty()) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (!check_IDs(edges, ET_BAR2, id_limit(pos))) return -2;
    shocks.resize(pos.cols(), 0.0);
    if (pos.rows() == 2) {
        raise_shocks<2>(pos, edges, EdgeMeasure<2>(field), shocks);
    } else {
        raise_shocks<3>(pos, edges, EdgeMeasure<3>(field), shocks);
    }
    return 0;
}

} // namespace

int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
            const dense2D<double>& metrics, dense1D<double, 8>& shocks) {
    return measure_shocks<metric_gradation>(pos, connect, metrics, shocks);
}

int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
            const dense1D<double, 8>& sizes, dense1D<double, 8>& shocks) {
    return measure_shocks<size_gradation>(pos, connect, sizes, shocks);
}

} // namespace kv7::tessmaker
