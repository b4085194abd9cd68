// How fast a size or a metric changes along an edge.
#ifndef TESSMAKER_METRICS_EDGE_MEASURES_H
#define TESSMAKER_METRICS_EDGE_MEASURES_H

#include <algorithm>
#include <cmath>

#include "core/small_vectors.h"
#include "metrics/edge_length.h"
#include "metrics/sizes.h"

namespace kv7::tessmaker {

// Below this length, in units of size, the ends of an edge count as one place: at any size used in
// practice their distance is rounding of the coordinates.
inline constexpr double shortest_edge = 1e-12;

// Below this change per unit of length the sizes of two ends count as equal where slopes are
// bounded: their difference is rounding.
inline constexpr double smallest_slope = 1e-12;

// Two measures, each with its limit. `value` takes the lengths la and lb of an edge in units of the
// sizes at its ends, and its length L, at least `shortest_edge`, in units of the size that varies
// between them. `fraction` takes the length d of an edge and the sizes ha and hb at its ends: it is
// the fraction t of the change from ha to hb after which the edge is at its limit.

// exp(|ha - hb| / d) - 1
struct gradation {
    explicit gradation(double max_gradation)
        : limit(max_gradation), max_slope(std::log1p(max_gradation)) {}

    // |ha - hb| / d is the logarithm of the growth per unit of L.
    static double value(double la, double lb, double L) {
        if (L >= no_limit) return 0.0;
        const double e = std::log(std::max(la, lb) / std::min(la, lb)) / L;
        // exp overflows above 709.78.
        return e >= 700.0 ? no_limit : std::exp(e) - 1.0;
    }
    double fraction(double d, double ha, double hb) const {
        const double change = std::fabs(hb - ha);
        return change == 0.0 ? 0.0 : std::max(0.0, 1.0 - max_slope * (d / change));
    }

    double limit;
    double max_slope; // the value of |ha - hb| / d at the limit
};

// |ha - hb| / d
struct variation {
    explicit variation(double max_variation) : limit(max_variation), max_slope(max_variation) {}

    static double value(double la, double lb, double L) {
        return L >= no_limit ? 0.0 : std::fabs(la - lb) / (la * lb);
    }
    double fraction(double d, double ha, double hb) const {
        const double change = std::fabs(hb - ha);
        if (change <= smallest_slope * d) return 0.0;
        return std::max(0.0, 1.0 - (d / change) * max_slope);
    }

    double limit;
    double max_slope;
};

// For an edge too short or without valid sizes: 0 between equal values, else infinite.
inline double measure_of_unmeasurable(bool equal) { return equal ? 0.0 : no_limit; }

// The length of a vector in a metric; 0 or not a number where the metric gives it none.
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

// Whether an edge keeps a limit by so much that its measure, which takes a logarithm and an
// exponential, need not be computed: rounding could not bring it above the limit. The slope of the
// size along the edge is |la - lb| / (la lb). The margins, each at least five times what they must
// cover:
// - 1e-6 of the limit: `log_mean_length` takes the mean size from a series good to 2e-7.
// - 1e-14 (longer + la lb): rounding of lb / la moves its logarithm, and so the slope, by about
//   1e-15 / L; rounding of the exponential counts as 1e-15 in the slope. L is about la lb / longer.
// - 1e-11: L is not below the shorter of the two, so it is well above `shortest_edge`.
// - 1e-8: the relative difference of the two must not round to 1, whose logarithm is infinite.
inline bool clearly_keeps(double max_slope, double la, double lb) {
    const double longer = std::max(la, lb);
    const double margin = 1e-14 * (longer + la * lb);
    const double shorter = std::min(la, lb);
    return shorter > 1e-11 && shorter > 1e-8 * longer &&
           std::fabs(la - lb) + margin < la * lb * (max_slope * (1.0 - 1e-6));
}

} // namespace kv7::tessmaker

#endif
