// Two metrics in the basis in which both are diagonal: their reduction, and what is made of it.
//
// These templates are instantiated for N = 2 and 3.
#ifndef TESSMAKER_METRICS_METRIC_REDUCTION_H
#define TESSMAKER_METRICS_METRIC_REDUCTION_H

#include <cstddef>

#include "core/small_vectors.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Two metrics M1 and M2, reduced. A metric with the values w_k in this basis is the sum of
// w_k q_k q_k^T.
template <std::size_t N> struct metric_reduction {
    matrix<N> basis; // unit columns p_k with M2 p_k = l_k M1 p_k
    matrix<N> dual;  // columns q_k with q_k . p_j = 1 for j = k, 0 for others
    vector<N> m1;    // values of M1: p_k^T M1 p_k
    vector<N> m2;    // values of M2: l_k times those of M1
};

// False, and all zero, if M1 is not positive definite.
template <std::size_t N>
bool reduce_metrics(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                    metric_reduction<N>& r);

// The sizes of two reduced metrics along the vectors of the basis.
template <std::size_t N> struct reduced_sizes {
    explicit reduced_sizes(const metric_reduction<N>& r);

    bool are_valid; // whether all values of both metrics are above 0 and finite
    vector<N> h1;
    vector<N> h2;
};

// Interpolates the sizes of two reduced metrics linearly, from the first (t = 0) to the second
// (t = 1), and gives the values of the metric that has these sizes. False, and nothing is written,
// without valid sizes at the ends or, for t outside [0, 1], at t.
template <std::size_t N>
bool interpolate_values(const reduced_sizes<N>& sizes, double t, vector_fixed<double, N>& w);

enum class size_choice { larger, smaller };

// Given the values m1 and m2 of two metrics in a reduced basis with this dual basis, makes the
// metric that has the larger or the smaller of their two sizes along each vector; an exact copy
// where one of the two metrics is that already. M, which may be the same object as M1 or M2, is
// left as it is if a value overflows. False if no value is above 0.
template <std::size_t N>
bool choose_sizes(size_choice choice, const symmetric_fixed<double, N>& M1,
                  const symmetric_fixed<double, N>& M2, const vector_fixed<double, N>& m1,
                  const vector_fixed<double, N>& m2, const matrix_fixed<double, N, N>& dual,
                  symmetric_fixed<double, N>& M);

} // namespace kv7::tessmaker

#endif
