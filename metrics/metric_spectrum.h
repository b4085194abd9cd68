// What the functions that measure and bound fields need of the algebra of one metric or two.
#ifndef TESSMAKER_METRICS_METRIC_ALGEBRA_H
#define TESSMAKER_METRICS_METRIC_ALGEBRA_H

#include <cmath>
#include <limits>

#include "core/small_vectors.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

// No limit, or an infinite measure.
inline constexpr double no_limit = std::numeric_limits<double>::max();

inline bool is_valid_size(double h) { return h > 0.0 && h < no_limit; }

// Eigenvalues of the matrix with the rows (a, b) and (b, c), l0 <= l1. False when one is not
// finite; both are written in any case.
bool eigen_values_closed(double a, double b, double c, double& l0, double& l1);
// The same with eigenvectors p0 and p1, which make a rotation, of unit length if `normalise`. On
// false the vectors are not written.
bool eigen_pairs_closed(double a, double b, double c, double& l0, double& l1, double* p0,
                        double* p1, bool normalise);

// Two metrics in the basis in which both are diagonal.
template <std::size_t N> struct metric_reduction {
    matrix<N> basis; // unit columns p_k with p_k^T M2 p_k = l_k p_k^T M1 p_k
    matrix<N> dual;  // columns q_k with q_k . p_j = 1 for j = k, 0 for others
    vector<N> m1;    // p_k^T M1 p_k
    vector<N> m2;    // l_k times that
};

// False, and all zero, unless M1 is positive definite.
template <std::size_t N>
bool reduce_metrics(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                    metric_reduction<N>& r);

// The sizes of two metrics in their reduced basis; none where one of the two is not valid in it.
template <std::size_t N> struct reduced_sizes {
    explicit reduced_sizes(const metric_reduction<N>& r);

    bool are_there;
    vector<N> h1;
    vector<N> h2;
};

// The values in the reduced basis of the metric whose sizes lie at place t of the straight lines
// from the first sizes (t = 0) to the second (t = 1). Refused without sizes; no_size when a place
// outside [0, 1] has none.
enum class interpolation { done, refused, no_size };
template <std::size_t N>
interpolation interpolate_values(const reduced_sizes<N>& sizes, double t,
                                 vector_fixed<double, N>& w);

// The metric at place t. False as above; M is then untouched where it was refused, zero where there
// is no size.
template <std::size_t N>
bool interpolate_metric(const metric_reduction<N>& r, double t, symmetric_fixed<double, N>& M);

// Whether a place counts as the start or the end of the way.
inline bool is_start(double t) { return std::fabs(t) < 1e-12; }
inline bool is_end(double t) { return std::fabs(1.0 - t) < 1e-12; }

// The metric at place t on the way from M1 to M2; an exact copy at both ends.
template <std::size_t N>
bool metric_at(double t, const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
               symmetric_fixed<double, N>& M);

enum class sizes_kept { larger, smaller };

// Given the values m1 and m2 of two metrics in a reduced basis with this dual basis, makes the one
// with the larger or the smaller sizes of the two; a copy where one contains the other. M, which
// may be the same object as M1 or M2, stays as it is where no finite values make it. False when
// none of the values is above 0.
template <std::size_t N>
bool select_sizes(sizes_kept kept, const symmetric_fixed<double, N>& M1,
                  const symmetric_fixed<double, N>& M2, const vector_fixed<double, N>& m1,
                  const vector_fixed<double, N>& m2, const matrix_fixed<double, N, N>& dual,
                  symmetric_fixed<double, N>& M);

// The metric with the larger or the smaller sizes of two. M may be the same object as M1 or M2. On
// false M is untouched where M1 is not positive definite.
template <std::size_t N>
bool maximum_metric_core(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                         symmetric_fixed<double, N>& M);
template <std::size_t N>
bool minimum_metric_core(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                         symmetric_fixed<double, N>& M);

// Clamps the sizes of M. Whether M has been changed and is valid.
template <std::size_t N>
bool bound_metric_core(symmetric_fixed<double, N>& M, double hmin, double hmax);

// Length, in units of size, of an edge along which the size varies geometrically from h0 to h1: the
// size is their logarithmic mean. With `as_quality` that or its inverse, whichever is not above 1.
inline double log_mean_length(double length, double h0, double h1, bool as_quality) {
    double h = h0;
    if (h0 != h1) {
        const double small = h1 < h0 ? h1 : h0;
        const double large = h0 < h1 ? h1 : h0;
        const double t = (small - large) / large; // in [-1, 0)
        // The quotient t / log1p(t), by its series where both go to 0.
        double ratio;
        if (t > -0.1) {
            constexpr double third = 0.3333333333333333;
            const double u = t * 0.5;
            ratio = 1.0 + u * (1.0 - u * (third - u * (third - 0.42222222222222217 * u)));
        } else {
            ratio = t / std::log1p(t);
        }
        h = large * ratio;
    }
    if (as_quality && length > h) return h / length;
    return h > 0.0 ? length / h : 0.0;
}

} // namespace kv7::tessmaker

#endif
