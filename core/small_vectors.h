// Arithmetic of vectors and packed symmetric matrices of two or three dimensions.
#ifndef TESSMAKER_CORE_SMALL_VECTORS_H
#define TESSMAKER_CORE_SMALL_VECTORS_H

#include <cmath>
#include <cstddef>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

template <std::size_t N> using vector = vector_fixed<double, N>;
template <std::size_t N> using matrix = matrix_fixed<double, N, N>;
template <std::size_t N> using metric = symmetric_fixed<double, N>;

template <std::size_t N> inline constexpr std::size_t metric_size = N*(N + 1) / 2;

template <std::size_t N>
double dot(const vector_fixed<double, N>& a, const vector_fixed<double, N>& b) {
    double sum = a[0] * b[0];
    for (std::size_t i = 1; i < N; ++i) sum += a[i] * b[i];
    return sum;
}

inline vector<3> cross(const vector<3>& a, const vector<3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// a - b, of two columns of coordinates.
template <std::size_t N> vector<N> difference(const double* a, const double* b) {
    vector<N> v;
    for (std::size_t i = 0; i < N; ++i) v[i] = a[i] - b[i];
    return v;
}

// Squared distance of two columns of coordinates. Many results depend on the order of the sum.
template <std::size_t N> double squared_distance(const double* a, const double* b) {
    static_assert(N == 2 || N == 3);
    const double dx = a[0] - b[0];
    const double dy = a[1] - b[1];
    const double in_plane = dy * dy + dx * dx;
    if constexpr (N == 2) {
        return in_plane;
    } else {
        const double dz = a[2] - b[2];
        return in_plane + dz * dz;
    }
}

template <std::size_t R, std::size_t C>
vector<R> column(const matrix_fixed<double, R, C>& P, std::size_t k) {
    vector<R> p;
    for (std::size_t i = 0; i < R; ++i) p[i] = P(i, k);
    return p;
}

template <std::size_t R, std::size_t C>
void set_column(matrix_fixed<double, R, C>& P, std::size_t k, const vector_fixed<double, R>& p) {
    for (std::size_t i = 0; i < R; ++i) P(i, k) = p[i];
}

// The vector scaled to unit length. One whose squared length is exactly 0 or 1 is returned as it
// is.
template <std::size_t N> vector_fixed<double, N> normalised(vector_fixed<double, N> v) {
    const double length2 = dot(v, v);
    if (length2 == 0.0 || length2 == 1.0) return v;
    const double length = std::sqrt(length2);
    for (std::size_t i = 0; i < N; ++i) v[i] /= length;
    return v;
}

// M v
inline vector<2> product(const metric<2>& M, const vector<2>& v) {
    return {M[0] * v[0] + M[1] * v[1], M[1] * v[0] + M[2] * v[1]};
}
inline vector<3> product(const metric<3>& M, const vector<3>& v) {
    return {M[0] * v[0] + M[1] * v[1] + M[3] * v[2], M[1] * v[0] + M[2] * v[1] + M[4] * v[2],
            M[3] * v[0] + M[4] * v[1] + M[5] * v[2]};
}

// u^T M v
template <std::size_t N>
double form(const vector_fixed<double, N>& u, const symmetric_fixed<double, N>& M,
            const vector_fixed<double, N>& v) {
    return dot(u, product(M, v));
}

// The sum of w_k q_k q_k^T over the columns q_k of Q.
template <std::size_t N>
symmetric_fixed<double, N> weighted_squares(const vector_fixed<double, N>& w,
                                            const matrix_fixed<double, N, N>& Q) {
    symmetric_fixed<double, N> M{};
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            for (std::size_t k = 0; k < N; ++k) M(i, j) += w[k] * Q(i, k) * Q(j, k);
        }
    }
    return M;
}

template <std::size_t N>
bool equal_entries(const symmetric_fixed<double, N>& a, const symmetric_fixed<double, N>& b) {
    for (std::size_t k = 0; k < metric_size<N>; ++k) {
        if (a[k] != b[k]) return false;
    }
    return true;
}

} // namespace kv7::tessmaker

#endif
