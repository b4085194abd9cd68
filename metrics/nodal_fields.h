// The two kinds of field that are bounded along edges, over nodes in N dimensions.
#ifndef TESSMAKER_METRICS_NODAL_FIELDS_H
#define TESSMAKER_METRICS_NODAL_FIELDS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "metrics/edge_measures.h"
#include "metrics/metric_algebra.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// A move counts that changes a size by more than this factor.
inline constexpr double smallest_change = 1.000000000001;

// What stands at a place of the way from one node's value to another's: a value, one that the node
// must not take, or none. A way has a direction: +1 lets sizes only grow, -1 only shrink.
enum class step { done, refused, no_value };

template <std::size_t N> class nodal_positions {
public:
    explicit nodal_positions(const dense2D<double>& pos) : first_(pos.column(0)), ld_(pos.ld()) {}

    // The vector from node a to node b.
    vector<N> edge(unsigned int a, unsigned int b) const {
        return difference<N>(first_ + b * ld_, first_ + a * ld_);
    }

private:
    const double* first_;
    std::size_t ld_;
};

template <std::size_t N> class metric_field {
public:
    using value = metric<N>;

    metric_field(const dense2D<double>& pos, dense2D<double>& metrics)
        : positions_(pos), first_(metrics.column(0)), ld_(metrics.ld()) {}

    value at(unsigned int node) const {
        value M;
        std::copy_n(first_ + node * ld_, metric_size<N>, M.values);
        return M;
    }
    void write(unsigned int node, const value& M) {
        std::copy_n(M.values, metric_size<N>, first_ + node * ld_);
    }

    static bool is_valid(const value& M) { return is_valid_metric(M); }

    // The measure of the edge from a, with the value Ma there, to b; 0 where it clearly keeps the
    // limit.
    template <class Measure>
    double measure(const Measure& measure, unsigned int a, const value& Ma, unsigned int b) const {
        const value Mb = at(b);
        const vector<N> v = positions_.edge(a, b);
        const double la = length_in(Ma, v);
        const double lb = length_in(Mb, v);
        if (clearly_keeps(measure.max_slope, la, lb)) return 0.0;
        return measure_of_metrics<Measure>(Ma, Mb, la, lb);
    }

    // The sizes of two metrics along the edge between their nodes, and its length.
    void sizes_along(unsigned int a, const value& Ma, unsigned int b, const value& Mb, double& d,
                     double& ha, double& hb) const {
        const vector<N> v = positions_.edge(a, b);
        const vector<N> u = normalised(v);
        d = std::sqrt(dot(v, v));
        ha = size_along(Ma, u);
        hb = size_along(Mb, u);
    }

    static bool is_change(const value& old, const value& fresh) {
        double largest_quotient = 1.0;
        for (std::size_t i = 0; i < N; ++i) {
            const double quotient =
                std::max(old(i, i), fresh(i, i)) / std::min(old(i, i), fresh(i, i));
            if (quotient > largest_quotient) largest_quotient = quotient;
        }
        return std::sqrt(largest_quotient) > smallest_change;
    }

    // The way from one metric to another. Both are reduced once, at the first place that needs it:
    // whatever lies on the way is diagonal in the same basis.
    class way {
    public:
        way(const value& from, const value& to, int direction)
            : from_(from), to_(to),
              kept_(direction > 0 ? sizes_kept::larger : sizes_kept::smaller) {}

        step at(double t, value& M) {
            if (is_start(t)) {
                M = from_;
                return step::done;
            }
            if (!is_tried_) reduce();
            if (is_end(t)) {
                M = to_;
                if (!is_reduced_) return step::refused;
                return keep_direction(reduction_.m2, M);
            }
            vector<N> w;
            if (!is_reduced_ || interpolate_values(*sizes_, t, w) != interpolation::done) {
                return step::no_value;
            }
            M = weighted_squares(w, reduction_.dual);
            return keep_direction(w, M);
        }

        unsigned int nbr_reductions() const { return is_tried_ ? 1 : 0; }

    private:
        void reduce() {
            is_tried_ = true;
            is_reduced_ = reduce_metrics(from_, to_, reduction_);
            if (is_reduced_) sizes_.emplace(reduction_);
        }
        step keep_direction(const vector<N>& w, value& M) const {
            const bool kept = select_sizes(kept_, from_, M, reduction_.m1, w, reduction_.dual, M);
            return kept ? step::done : step::refused;
        }

        value from_;
        value to_;
        sizes_kept kept_;
        bool is_tried_ = false;
        bool is_reduced_ = false;
        metric_reduction<N> reduction_;
        std::optional<reduced_sizes<N>> sizes_; // once reduced
    };

private:
    static double size_along(const value& M, const vector<N>& u) {
        const double q = form(u, M, u);
        return q > 0.0 ? 1.0 / std::sqrt(q) : q;
    }

    nodal_positions<N> positions_;
    double* first_;
    std::size_t ld_;
};

template <std::size_t N> class size_field {
public:
    using value = double;

    size_field(const dense2D<double>& pos, dense1D<double, 8>& sizes)
        : positions_(pos), first_(sizes.data()) {}

    value at(unsigned int node) const { return first_[node]; }
    void write(unsigned int node, value h) { first_[node] = h; }

    static bool is_valid(value h) { return is_valid_size(h); }

    template <class Measure>
    double measure(const Measure& measure, unsigned int a, value ha, unsigned int b) const {
        const value hb = at(b);
        const double d = length(a, b);
        if (ha > 0.0 && hb > 0.0 && clearly_keeps(measure.max_slope, d / ha, d / hb)) return 0.0;
        return measure_of_sizes<Measure>(ha, hb, d);
    }

    void sizes_along(unsigned int a, value Ma, unsigned int b, value Mb, double& d, double& ha,
                     double& hb) const {
        d = length(a, b);
        ha = Ma;
        hb = Mb;
    }

    static bool is_change(value old, value fresh) {
        return std::max(old, fresh) / std::min(old, fresh) > smallest_change;
    }

    class way {
    public:
        way(value from, value to, int direction) : from_(from), to_(to), direction_(direction) {}

        step at(double t, value& h) const {
            h = place(t);
            if (!is_valid(h)) return step::no_value;
            h = direction_ > 0 ? std::max(h, from_) : std::min(h, from_);
            return step::done;
        }

        static unsigned int nbr_reductions() { return 0; }

    private:
        double place(double t) const {
            if (is_start(t)) return from_;
            if (is_end(t)) return to_;
            return from_ > 0.0 && to_ > 0.0 ? (to_ - from_) * t + from_ : 0.0;
        }

        value from_;
        value to_;
        int direction_;
    };

private:
    double length(unsigned int a, unsigned int b) const {
        const vector<N> v = positions_.edge(a, b);
        return std::sqrt(dot(v, v));
    }

    nodal_positions<N> positions_;
    double* first_;
};

} // namespace kv7::tessmaker

#endif
