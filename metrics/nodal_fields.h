// The two kinds of field that are bounded along edges, sizes and metrics, at nodes in N dimensions.
#ifndef TESSMAKER_METRICS_NODAL_FIELDS_H
#define TESSMAKER_METRICS_NODAL_FIELDS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "core/small_vectors.h"
#include "metrics/edge_measures.h"
#include "metrics/metric_reduction.h"
#include "metrics/sizes.h"
#include "tessmaker/containers.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

// A value has changed if a size differs by more than this factor. The margin of 1e-12 is well above
// the rounding of the value and far below a change that any mesh would show.
inline constexpr double smallest_change = 1.000000000001;

// Fractions this close to 0 or 1 give the value at that end, bit for bit. The margin is well above
// the rounding of a fraction and far below the smallest step that a bounding takes.
inline constexpr double same_fraction = 1e-12;
inline bool is_start(double t) { return std::fabs(t) < same_fraction; }
inline bool is_end(double t) { return std::fabs(1.0 - t) < same_fraction; }

// Result of interpolating two nodal values: usable, refused, or none. A refused value exists, but
// the node must not take it.
//
// An interpolation has a direction: with +1 sizes only grow from the first value, with -1 they only
// shrink.
enum class interpolated { usable, refused, none };

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
    // Whether rounding can bring back a value that a node had before.
    static constexpr bool can_circle = true;

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

    // The measure of the edge from a, with the value Ma there, to b; 0 if the edge clearly keeps
    // the limit.
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

    // Only diagonal entries are compared. They are inverse squares of sizes.
    static bool is_change(const value& before, const value& after) {
        double largest_quotient = 1.0;
        for (std::size_t i = 0; i < N; ++i) {
            const double quotient =
                std::max(before(i, i), after(i, i)) / std::min(before(i, i), after(i, i));
            if (quotient > largest_quotient) largest_quotient = quotient;
        }
        return std::sqrt(largest_quotient) > smallest_change;
    }

    // Interpolates between two metrics. They are reduced once, by the first fraction that needs it:
    // every interpolated metric is diagonal in the same basis.
    class interpolation {
    public:
        interpolation(const value& from, const value& to, int direction)
            : from_(from), to_(to),
              choice_(direction > 0 ? size_choice::larger : size_choice::smaller) {}

        interpolated at(double t, value& M) {
            if (is_start(t)) {
                M = from_;
                return interpolated::usable;
            }
            if (!is_reduction_tried_) reduce();
            if (is_end(t)) {
                M = to_;
                if (!is_reduced_) return interpolated::refused;
                return restrict_direction(reduction_.m2, M);
            }
            vector<N> w;
            if (!is_reduced_ || !interpolate_values(*sizes_, t, w)) return interpolated::none;
            M = weighted_squares(w, reduction_.dual);
            return restrict_direction(w, M);
        }

    private:
        void reduce() {
            is_reduction_tried_ = true;
            is_reduced_ = reduce_metrics(from_, to_, reduction_);
            if (is_reduced_) sizes_.emplace(reduction_);
        }

        // Keeps, along each vector of the basis, the size of the first metric where M, with the
        // values w, would change it against the direction.
        interpolated restrict_direction(const vector<N>& w, value& M) const {
            const bool is_metric =
                choose_sizes(choice_, from_, M, reduction_.m1, w, reduction_.dual, M);
            return is_metric ? interpolated::usable : interpolated::refused;
        }

        value from_;
        value to_;
        size_choice choice_;
        bool is_reduction_tried_ = false;
        bool is_reduced_ = false;
        metric_reduction<N> reduction_;
        std::optional<reduced_sizes<N>> sizes_; // once reduced
    };

private:
    // Kept: a form that is not positive is returned as it is.
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
    static constexpr bool can_circle = false;

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

    static bool is_change(value before, value after) {
        return std::max(before, after) / std::min(before, after) > smallest_change;
    }

    // Interpolates between two sizes.
    class interpolation {
    public:
        interpolation(value from, value to, int direction)
            : from_(from), to_(to), direction_(direction) {}

        interpolated at(double t, value& h) const {
            h = size_at(t);
            if (!is_valid(h)) return interpolated::none;
            h = direction_ > 0 ? std::max(h, from_) : std::min(h, from_);
            return interpolated::usable;
        }

    private:
        double size_at(double t) const {
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
