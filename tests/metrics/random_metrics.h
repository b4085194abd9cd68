// Random metrics, and comparisons of metrics and fields bit for bit.
#ifndef TESSMAKER_TESTS_METRICS_RANDOM_METRICS_H
#define TESSMAKER_TESTS_METRICS_RANDOM_METRICS_H

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "support/random.h"
#include "tessmaker/containers.h"

namespace test {

inline constexpr double largest = std::numeric_limits<double>::max();
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

template <std::size_t N> using metric = kv7::symmetric_fixed<double, N>;
template <std::size_t N> using vector = kv7::vector_fixed<double, N>;
template <std::size_t N> using matrix = kv7::matrix_fixed<double, N, N>;
template <std::size_t N> inline constexpr std::size_t packed = N*(N + 1) / 2;

template <class T> bool same_bits(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}
inline bool same_bits(const dense1D<double>& a, const dense1D<double>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(&a[0], &b[0], a.size() * sizeof(double)) == 0);
}
inline bool same_bits(const dense2D<double>& a, const dense2D<double>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (std::size_t c = 0; c < a.cols(); ++c) {
        if (std::memcmp(a.column(c), b.column(c), a.rows() * sizeof(double)) != 0) return false;
    }
    return true;
}

template <class T> T copy_of(const T& array) {
    T copy;
    copy.copy(array);
    return copy;
}

inline double log_uniform(random_source& random, double low, double high) {
    return std::exp(random.uniform(std::log(low), std::log(high)));
}

// Takes from v what it has along the first k columns of P, twice: once leaves a rounding error.
template <std::size_t N> void make_orthogonal(double (&v)[N], const matrix<N>& P, std::size_t k) {
    for (std::size_t twice = 0; twice < 2; ++twice) {
        for (std::size_t j = 0; j < k; ++j) {
            double along = 0.0;
            for (std::size_t i = 0; i < N; ++i) along += v[i] * P(i, j);
            for (std::size_t i = 0; i < N; ++i) v[i] -= along * P(i, j);
        }
    }
}

// An orthonormal basis, its vectors in the columns.
template <std::size_t N> matrix<N> random_basis(random_source& random) {
    matrix<N> P{};
    for (std::size_t k = 0; k < N; ++k) {
        double length = 0.0;
        while (length < 0.1) {
            double v[N];
            for (std::size_t i = 0; i < N; ++i) v[i] = random.uniform(-1.0, 1.0);
            make_orthogonal(v, P, k);
            length = 0.0;
            for (std::size_t i = 0; i < N; ++i) length += v[i] * v[i];
            length = std::sqrt(length);
            for (std::size_t i = 0; i < N; ++i) P(i, k) = v[i] / length;
        }
    }
    return P;
}

// The sum of w_k p_k p_k^T.
template <std::size_t N> metric<N> assembled(const vector<N>& w, const matrix<N>& P) {
    metric<N> M{};
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            for (std::size_t k = 0; k < N; ++k) M(i, j) += w[k] * P(i, k) * P(j, k);
        }
    }
    return M;
}

// With eigenvalues between `low` and `high`, in any directions.
template <std::size_t N> metric<N> random_metric(random_source& random, double low, double high) {
    vector<N> w{};
    for (std::size_t k = 0; k < N; ++k) w[k] = log_uniform(random, low, high);
    return assembled<N>(w, random_basis<N>(random));
}

// a^T M b
template <std::size_t N>
double mixed_form(const vector<N>& a, const metric<N>& M, const vector<N>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j) sum += a[i] * M(i, j) * b[j];
    }
    return sum;
}
template <std::size_t N> double form(const metric<N>& M, const vector<N>& v) {
    return mixed_form<N>(v, M, v);
}
template <std::size_t N> vector<N> column_of(const matrix<N>& P, std::size_t k) {
    vector<N> v{};
    for (std::size_t i = 0; i < N; ++i) v[i] = P(i, k);
    return v;
}
template <std::size_t N> double product_of(const vector<N>& a, const vector<N>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < N; ++i) sum += a[i] * b[i];
    return sum;
}
inline double determinant(const matrix<2>& P) { return P(0, 0) * P(1, 1) - P(0, 1) * P(1, 0); }
inline double determinant(const matrix<3>& P) {
    return P(0, 0) * (P(1, 1) * P(2, 2) - P(1, 2) * P(2, 1)) -
           P(0, 1) * (P(1, 0) * P(2, 2) - P(1, 2) * P(2, 0)) +
           P(0, 2) * (P(1, 0) * P(2, 1) - P(1, 1) * P(2, 0));
}

template <std::size_t N> double largest_entry(const metric<N>& M) {
    double m = 0.0;
    for (std::size_t k = 0; k < packed<N>; ++k) m = std::fmax(m, std::fabs(M[k]));
    return m;
}
// The largest difference of entries over the largest entry of `b`.
template <std::size_t N> double distance(const metric<N>& a, const metric<N>& b) {
    double d = 0.0;
    for (std::size_t k = 0; k < packed<N>; ++k) d = std::fmax(d, std::fabs(a[k] - b[k]));
    return d == 0.0 ? 0.0 : d / largest_entry<N>(b);
}

template <std::size_t N> metric<N> diagonal(const vector<N>& d) {
    metric<N> M{};
    for (std::size_t k = 0; k < N; ++k) M(k, k) = d[k];
    return M;
}

} // namespace test

#endif
