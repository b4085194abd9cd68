// How fast sizes and metrics change along an edge, and how they move, in the plainest form: a
// reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_MEASURES_H
#define TESSMAKER_TESTS_METRICS_PLAIN_MEASURES_H

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "metrics/plain_eigen.h"
#include "metrics/plain_reduction.h"
#include "metrics/random_metrics.h"
#include "tessmaker/containers.h"

namespace test {

enum class measured { gradation, variation };

// Length of an edge in units of a size that varies geometrically from h0 to h1, or its quality.
inline double plain_log_mean(double length, double h0, double h1, bool as_quality) {
    double h = h0;
    if (h0 != h1) {
        const double hs = std::min(h0, h1);
        const double hl = std::max(h0, h1);
        const double t = (hs - hl) / hl;
        const double third = 0.3333333333333333;
        const double u = t * 0.5;
        const double series = 1.0 + u * (1.0 - u * (third - u * (third - 0.42222222222222217 * u)));
        h = hl * (t > -0.1 ? series : t / std::log1p(t));
    }
    if (as_quality && length > h) return h / length;
    return h > 0.0 ? length / h : 0.0;
}

inline double plain_growth(measured what, double la, double lb, double L) {
    if (L >= largest) return 0.0;
    if (what == measured::variation) return std::fabs(la - lb) / (la * lb);
    const double e = std::log(std::max(la, lb) / std::min(la, lb)) / L;
    return e >= 700.0 ? largest : std::exp(e) - 1.0;
}

// The sum of the squares starts with the first coordinate.
template <std::size_t N> double plain_length(const vector<N>& v) {
    double sum = v[0] * v[0];
    for (std::size_t i = 1; i < N; ++i) sum += v[i] * v[i];
    return std::sqrt(sum);
}

// The steps of a bounding for a field of sizes, and below for one of metrics.
template <std::size_t N> struct plain_sizes {
    using value = double;

    dense1D<double>& field;

    value get(unsigned int n) const { return field[n]; }
    void set(unsigned int n, value h) const { field[n] = h; }
    static bool valid(value h) { return h > 0.0 && h < largest; }
    static double size(value h, const vector<N>&) { return h; }
    static double measure(measured what, value ha, value hb, const vector<N>& v) {
        const double d = plain_length<N>(v);
        const double la = ha > 0.0 ? d / ha : 0.0;
        const double lb = hb > 0.0 ? d / hb : 0.0;
        const double L = plain_log_mean(d, ha, hb, false);
        if (L < 1e-12) return ha == hb ? 0.0 : largest;
        return plain_growth(what, la, lb, L);
    }
    static bool at(double t, value ha, value hb, signed char dir, value& h, bool& made) {
        h = std::fabs(t) < 1e-12         ? ha
            : std::fabs(1.0 - t) < 1e-12 ? hb
            : ha > 0.0 && hb > 0.0       ? (hb - ha) * t + ha
                                         : 0.0;
        made = h > 0.0 && h < largest;
        if (!made) return false;
        if (dir == 1) h = std::max(h, ha);
        if (dir == -1) h = std::min(h, ha);
        return true;
    }
    static bool changed(value before, value after) {
        return std::max(after, before) / std::min(after, before) > 1.000000000001;
    }
};

template <std::size_t N> struct plain_metrics {
    using value = metric<N>;

    dense2D<double>& field;

    value get(unsigned int n) const {
        value M{};
        std::copy_n(field.column(n), packed<N>, M.values);
        return M;
    }
    void set(unsigned int n, const value& M) const {
        std::copy_n(M.values, packed<N>, field.column(n));
    }
    static bool valid(const value& M) { return plain_is_valid(M); }
    static double size(const value& M, const vector<N>& v) {
        double length2 = v[0] * v[0];
        for (std::size_t i = 1; i < N; ++i) length2 += v[i] * v[i];
        vector<N> u = v;
        if (length2 != 0.0 && length2 != 1.0) {
            for (std::size_t i = 0; i < N; ++i) u[i] /= std::sqrt(length2);
        }
        const double q = form<N>(M, u);
        return q > 0.0 ? 1.0 / std::sqrt(q) : q;
    }
    static double measure(measured what, const value& Ma, const value& Mb, const vector<N>& v) {
        const double qa = form<N>(Ma, v);
        const double qb = form<N>(Mb, v);
        if (qa > 0.0 && qb > 0.0) {
            const double la = std::sqrt(qa);
            const double lb = std::sqrt(qb);
            const double L = plain_log_mean(la * lb, la, lb, false);
            if (L >= 1e-12) return plain_growth(what, la, lb, L);
        }
        return std::equal(Ma.values, Ma.values + packed<N>, Mb.values) ? 0.0 : largest;
    }
    static bool at(double t, const value& Ma, const value& Mb, signed char dir, value& M,
                   bool& made) {
        made = plain_metric_at<N>(t, Ma, Mb, M);
        if (!made) return false;
        if (dir == 1) return plain_combination<N>(true, Ma, M, M);
        if (dir == -1) return plain_combination<N>(false, Ma, M, M);
        return true;
    }
    static bool changed(const value& before, const value& after) {
        double r = 1.0;
        for (std::size_t i = 0; i < N; ++i) {
            r = std::max(r,
                         std::max(before(i, i), after(i, i)) / std::min(before(i, i), after(i, i)));
        }
        return std::sqrt(r) > 1.000000000001;
    }
};

} // namespace test

#endif
