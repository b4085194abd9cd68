#include <algorithm>
#include <cmath>
#include <functional>

#include "connectivity/edges.h"
#include "core/coordinates.h"
#include "core/ids.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"
#include "metrics/edge_length.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_edges = -5;
constexpr int bad_exclude = -7;
constexpr int out_of_memory = -199;

// How many edges ahead of the walk nodes are prefetched.
constexpr std::size_t edges_ahead = 16;

// Measures edges in units of a size for each node. Nodes beyond the sizes are bad.
template <std::size_t N> class size_measure {
public:
    size_measure(const dense2D<double>& pos, const dense1D<double, 8>& sizes)
        : pos_(pos), sizes_(sizes) {}

    static bool is_ready() { return true; }

    bool is_good(unsigned int node) { return node < sizes_.size() && sizes_[node] > 0.0; }

    [[gnu::always_inline]] void prefetch(unsigned int node) const {
        tessmaker::prefetch(pos_.column(node));
        if (node < sizes_.size()) tessmaker::prefetch(&sizes_[node]);
    }

    double operator()(unsigned int a, unsigned int b) const {
        const vector<N> d = difference<N>(pos_.column(b), pos_.column(a));
        return log_mean_length(std::sqrt(dot(d, d)), sizes_[a], sizes_[b], false);
    }

private:
    const dense2D<double>& pos_;
    const dense1D<double, 8>& sizes_;
};

// Measures edges by a metric for each node. Each metric is checked once, when it is first needed.
template <std::size_t N> class metric_measure {
public:
    metric_measure(const dense2D<double>& pos, const dense2D<double>& metrics)
        : pos_(pos), metrics_(metrics), validity_(pos.cols(), not_checked) {}

    bool is_ready() const { return validity_.size() == pos_.cols(); }

    bool is_good(unsigned int node) {
        if (validity_[node] == not_checked) validity_[node] = is_valid(node) ? good : bad;
        return validity_[node] == good;
    }

    [[gnu::always_inline]] void prefetch(unsigned int node) const {
        tessmaker::prefetch(&validity_[node]);
        tessmaker::prefetch(pos_.column(node));
        if (node >= metrics_.cols()) return;
        const double* const metric = metrics_.column(node);
        tessmaker::prefetch(metric);
        tessmaker::prefetch(metric + metrics_.rows() - 1);
    }

    double operator()(unsigned int a, unsigned int b) const {
        const vector<N> d = difference<N>(pos_.column(b), pos_.column(a));
        const double q0 = form(d, metric_at_node(a), d);
        const double q1 = form(d, metric_at_node(b), d);
        if (!(q0 > 0.0 && q1 > 0.0)) return 0.0;
        // The logarithmic mean of the inverse lengths.
        const double l0 = std::sqrt(q0);
        const double l1 = std::sqrt(q1);
        return log_mean_length(l0 * l1, l0, l1, false);
    }

private:
    static constexpr signed char not_checked = 0;
    static constexpr signed char good = 1;
    static constexpr signed char bad = -1;

    bool is_valid(unsigned int node) const {
        return metrics_.rows() >= metric_size<N> && node < metrics_.cols() &&
               is_valid_metric(metric_at_node(node));
    }
    metric<N> metric_at_node(unsigned int node) const {
        metric<N> M;
        std::copy_n(metrics_.column(node), metric_size<N>, M.values);
        return M;
    }

    const dense2D<double>& pos_;
    const dense2D<double>& metrics_;
    dense1D<signed char, 8> validity_;
};

template <std::size_t N>
size_measure<N> measure_by(const dense2D<double>& pos, const dense1D<double, 8>& sizes) {
    return {pos, sizes};
}
template <std::size_t N>
metric_measure<N> measure_by(const dense2D<double>& pos, const dense2D<double>& metrics) {
    return {pos, metrics};
}

template <class EdgeMeasure>
int measure_edges(const edge_list& edges, EdgeMeasure measure, misc::histogram& histo) {
    if (!measure.is_ready()) return out_of_memory;
    bool all_good = true;
    for (std::size_t k = 0; k < edges.size(); ++k) {
        // Smaller nodes ascend, so that only the larger ones are far from the last.
        if (k + edges_ahead < edges.size()) measure.prefetch(larger_node(edges[k + edges_ahead]));
        const unsigned int a = smaller_node(edges[k]);
        const unsigned int b = larger_node(edges[k]);
        if (measure.is_good(a) && measure.is_good(b)) {
            histo.process(measure(a, b));
        } else {
            all_good = false;
        }
    }
    return all_good ? static_cast<int>(edges.size()) : bad_edges;
}

template <class Field>
int range_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                    const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                    const Field& field, misc::histogram& histo,
                    const dense2D<unsigned int>& exclude) {
    if (begin == end) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (std::less<>()(end, begin) || static_cast<std::size_t>(end - begin) != types.size()) {
        return -4;
    }
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (!check_IDs(begin[i], static_cast<element_type>(types[i]), id_limit(pos))) return -2;
    }
    if (!has_pairs(exclude)) return bad_exclude;
    edge_list edges;
    if (collect_edges(begin, end, types.data(), edges) < 0) return out_of_memory;
    if (subtract_edges(exclude, edges) < 0) return out_of_memory;
    return pos.rows() == 2 ? measure_edges(edges, measure_by<2>(pos, field), histo)
                           : measure_edges(edges, measure_by<3>(pos, field), histo);
}

template <class Field>
int single_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                     element_type type, const Field& field, misc::histogram& histo,
                     const dense2D<unsigned int>& exclude) {
    const dense1D<int, 8> types(1, type);
    if (types.empty()) return out_of_memory + 1;
    const int result = range_qualities(pos, &connect, &connect + 1, types, field, histo, exclude);
    // Kept: all codes below -3 move up by one, as there is no count of types to refuse here.
    return result < -3 ? result + 1 : result;
}

} // namespace

int edge_quality(double length, double h0, double h1, double& quality) {
    if (h0 <= 0.0) return -2;
    if (h1 <= 0.0) return -3;
    quality = log_mean_length(length, h0, h1, false);
    return 0;
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                   element_type type, const dense2D<double>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& exclude) {
    return single_qualities(pos, connect, type, metrics, histo, exclude);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                   element_type type, const dense1D<double, 8>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& exclude) {
    return single_qualities(pos, connect, type, metrics, histo, exclude);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                   const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                   const dense2D<double>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& exclude) {
    return range_qualities(pos, begin, end, types, metrics, histo, exclude);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                   const dense2D<unsigned int>* end, const dense1D<int, 8>& types,
                   const dense1D<double, 8>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& exclude) {
    return range_qualities(pos, begin, end, types, metrics, histo, exclude);
}

} // namespace kv7::tessmaker
