// How fast a size or a metric changes along an edge.
#ifndef TESSMAKER_METRICS_EDGE_MEASURES_H
#define TESSMAKER_METRICS_EDGE_MEASURES_H

#include <algorithm>
#include <cmath>

#include "metrics/metric_algebra.h"

namespace kv7::tessmaker {

// Measures take the lengths la and lb of an edge in units of the sizes at its two ends, and its
// length L in units of the size that varies between them; L is at least `shortest_edge`. `fraction`
// is the part of the way from ha to hb that brings an edge of length d to the limit.
inline constexpr double shortest_edge = 1e-12;

// exp(|ha - hb| / d) - 1
struct gradation {
    explicit gradation(double max_gradation)
        : limit(max_gradation), max_slope(std::log1p(max_gradation)) {}

    static double value(double la, double lb, double L) {
        if (L >= no_limit) return 0.0;
        const double e = std::log(std::max(la, lb) / std::min(la, lb)) / L;
        return e >= 700.0 ? no_limit : std::exp(e) - 1.0;
    }
    double fraction(double d, double ha, double hb) const {
        const double change = std::fabs(hb - ha);
        return change == 0.0 ? 0.0 : std::max(0.0, 1.0 - max_slope * (d / change));
    }

    double limit;
    double max_slope; // of the size along an edge
};

// |ha - hb| / d
struct variation {
    explicit variation(double max_variation) : limit(max_variation), max_slope(max_variation) {}

    static double value(double la, double lb, double L) {
        return L >= no_limit ? 0.0 : std::fabs(la - lb) / (la * lb);
    }
    double fraction(double d, double ha, double hb) const {
        const double change = std::fabs(hb - ha);
        if (change <= 1e-12 * d) return 0.0;
        return std::max(0.0, 1.0 - (d / change) * max_slope);
    }

    double limit;
    double max_slope;
};

// Where the two ends can't be measured: 0 between equal values, else infinite.
inline double measure_of_unmeasurable(bool equal) { return equal ? 0.0 : no_limit; }

// The length of a vector in a metric; 0 or not a number where it has none.
template <std::size_t N>
double length_in(const symmetric_fixed<double, N>& M, const vector_fixed<double, N>& v) {
    return std::sqrt(form(v, M, v));
}

// Between two metrics, in which the edge is la and lb long.
template <class Measure, std::size_t N>
double measure_of_metrics(const symmetric_fixed<double, N>& Ma,
                          const symmetric_fixed<double, N>& Mb, double la, double lb) {
    if (la > 0.0 && lb > 0.0) {
        const double L = log_mean_length(la * lb, la, lb, false);
        if (L >= shortest_edge) return Measure::value(la, lb, L);
    }
    return measure_of_unmeasurable(equal_entries(Ma, Mb));
}

// Between two sizes, d being the length of the edge.
template <class Measure> double measure_of_sizes(double ha, double hb, double d) {
    const double la = ha > 0.0 ? d / ha : 0.0;
    const double lb = hb > 0.0 ? d / hb : 0.0;
    const double L = log_mean_length(d, ha, hb, false);
    if (L < shortest_edge) return measure_of_unmeasurable(ha == hb);
    return Measure::value(la, lb, L);
}

// Whether an edge keeps a limit by so much that no rounding in its measure could tell otherwise.
// The slope of the size is |la - lb| / (la lb). The measure comes from a series good to 2e-7 and
// from quotients whose rounding counts as much as 1e-15 in the logarithm. Where one size is nothing
// beside the other, rounding makes the measure infinite.
inline bool clearly_keeps(double max_slope, double la, double lb) {
    const double longer = std::max(la, lb);
    const double margin = 1e-14 * (longer + la * lb);
    const double shorter = std::min(la, lb);
    return shorter > 1e-11 && shorter > 1e-8 * longer &&
           std::fabs(la - lb) + margin < la * lb * (max_slope * (1.0 - 1e-6));
}

} // namespace kv7::tessmaker

#endif
