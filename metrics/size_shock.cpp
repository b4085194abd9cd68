#include <algorithm>
#include <cmath>

#include "core/coordinates.h"
#include "metrics/edge_measures.h"
#include "tessmaker/metric_fields.h"

namespace kv7::tessmaker {

namespace {

// The gradation of an edge, read from a field that need not reach every node nor fit the dimension:
// what is missing is 0.
template <std::size_t N> class metric_gradation {
public:
    explicit metric_gradation(const dense2D<double>& metrics)
        : metrics_(metrics), rows_(std::min(metrics.rows(), metric_size<N>)) {}

    double operator()(unsigned int a, unsigned int b, const vector<N>& v) const {
        const metric<N> Ma = at(a);
        const metric<N> Mb = at(b);
        return measure_of_metrics<gradation>(Ma, Mb, length_in(Ma, v), length_in(Mb, v));
    }

private:
    metric<N> at(unsigned int node) const {
        metric<N> M{};
        if (node < metrics_.cols()) std::copy_n(metrics_.column(node), rows_, M.values);
        return M;
    }

    const dense2D<double>& metrics_;
    std::size_t rows_;
};

template <std::size_t N> class size_gradation {
public:
    explicit size_gradation(const dense1D<double, 8>& sizes) : sizes_(sizes) {}

    double operator()(unsigned int a, unsigned int b, const vector<N>& v) const {
        return measure_of_sizes<gradation>(at(a), at(b), std::sqrt(dot(v, v)));
    }

private:
    double at(unsigned int node) const { return node < sizes_.size() ? sizes_[node] : 0.0; }

    const dense1D<double, 8>& sizes_;
};

template <std::size_t N, class EdgeMeasure>
void raise_shocks(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                  const EdgeMeasure& measure, dense1D<double, 8>& shocks) {
    for (std::size_t c = 0; c < edges.cols(); ++c) {
        const unsigned int a = edges(0, c);
        const unsigned int b = edges(1, c);
        const double g = measure(a, b, difference<N>(pos.column(b), pos.column(a)));
        for (const unsigned int node : {a, b}) {
            // A list that could not grow has no place for some.
            if (node < shocks.size()) shocks[node] = std::max(shocks[node], g);
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
