// The reduction of two metrics, and what is made of it, in their plainest form, one step after the
// other: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_REDUCTION_H
#define TESSMAKER_TESTS_METRICS_PLAIN_REDUCTION_H

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "metrics/plain_eigen.h"
#include "metrics/random_metrics.h"

namespace test {

template <std::size_t N> struct plain_reduced {
    matrix<N> basis;
    matrix<N> dual;
    vector<N> m1;
    vector<N> m2;
};

// Writes a vector to column k; at unit length unless its squared length is exactly 0 or 1.
template <std::size_t N> void put_unit_column(matrix<N>& P, std::size_t k, const vector<N>& p) {
    const double length2 = product_of<N>(p, p);
    const bool is_kept = length2 == 0.0 || length2 == 1.0;
    for (std::size_t i = 0; i < N; ++i) P(i, k) = is_kept ? p[i] : p[i] / std::sqrt(length2);
}

// The values l and unit vectors p, in the columns of P, with B p = l A p.
inline bool plain_generalized(const metric<2>& A, const metric<2>& B, vector<2>& l, matrix<2>& P) {
    const double D = A(0, 0) * A(1, 1) - A(1, 0) * A(1, 0);
    if (A(0, 0) == 0.0 || !(D > 0.0)) return false;
    const double s = std::sqrt(D);
    const double e = A(0, 0) * B(1, 0) - B(0, 0) * A(1, 0);
    const metric<2> C{B(0, 0) * D, e * s,
                      A(0, 0) * A(0, 0) * B(1, 1) - (e + A(0, 0) * B(1, 0)) * A(1, 0)};
    matrix<2> Z{};
    if (!plain_eigen_pairs(C, l, Z, false)) return false;
    for (std::size_t k = 0; k < 2; ++k) {
        l[k] /= D * A(0, 0);
        put_unit_column<2>(P, k, {s * Z(0, k) - A(1, 0) * Z(1, k), A(0, 0) * Z(1, k)});
    }
    return true;
}

inline bool plain_generalized(const metric<3>& A, const metric<3>& B, vector<3>& l, matrix<3>& P) {
    const double a = A(0, 0);
    if (!(a > 0.0)) return false;
    const double D = a * A(1, 1) - A(1, 0) * A(1, 0);
    if (!(D > 0.0)) return false;
    const double r00 = std::sqrt(a);
    const double r01 = A(1, 0) / r00;
    const double r02 = A(2, 0) / r00;
    const double r11 = std::sqrt(D) / r00;
    const double r12 = ((A(2, 1) * a - A(2, 0) * A(1, 0)) / std::sqrt(D)) / r00;
    const double f = A(2, 2) - (r12 * r12 + r02 * r02);
    if (f < 0.0) return false;
    const double r22 = std::sqrt(f);
    const double delta = r00 * r11 * r22;
    if (delta == 0.0) return false;
    const vector<3> W[3] = {{r11 * r22, 0.0, 0.0},
                            {-r01 * r22, r00 * r22, 0.0},
                            {r01 * r12 - r02 * r11, -r12 * r00, r00 * r11}};
    metric<3> C{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j <= i; ++j) C(i, j) = mixed_form<3>(W[i], B, W[j]);
    }
    matrix<3> Z{};
    if (!plain_eigen_pairs(C, l, Z)) return false;
    for (std::size_t k = 0; k < 3; ++k) {
        l[k] /= delta * delta;
        vector<3> p{};
        for (std::size_t i = 0; i < 3; ++i) {
            p[i] = W[0][i] * Z(0, k) + W[1][i] * Z(1, k) + W[2][i] * Z(2, k);
        }
        put_unit_column<3>(P, k, p);
    }
    return true;
}

inline matrix<2> plain_dual(const matrix<2>& P) {
    const double det = determinant(P);
    if (det == 0.0) return {};
    return {P(1, 1) / det, -P(0, 1) / det, -P(1, 0) / det, P(0, 0) / det};
}
inline matrix<3> plain_dual(const matrix<3>& P) {
    matrix<3> Q{};
    for (std::size_t c = 0; c < 3; ++c) {
        const vector<3> p = column_of<3>(P, (c + 1) % 3);
        const vector<3> q = column_of<3>(P, (c + 2) % 3);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t j = (i + 1) % 3;
            const std::size_t k = (i + 2) % 3;
            Q(i, c) = p[j] * q[k] - p[k] * q[j];
        }
    }
    const double det = product_of<3>(column_of<3>(Q, 0), column_of<3>(P, 0));
    for (double& entry : Q.values) entry = det == 0.0 ? entry : entry / det;
    return Q;
}

template <std::size_t N>
bool plain_reduction(const kv7::symmetric_fixed<double, N>& M1,
                     const kv7::symmetric_fixed<double, N>& M2, plain_reduced<N>& r) {
    r = {};
    vector<N> l{};
    matrix<N> P{};
    if (!plain_generalized(M1, M2, l, P)) return false;
    r.basis = P;
    r.dual = plain_dual(P);
    for (std::size_t k = 0; k < N; ++k) {
        r.m1[k] = form<N>(M1, column_of<N>(P, k));
        r.m2[k] = r.m1[k] * l[k];
    }
    return true;
}

// The metric whose sizes in the basis lie at t of the straight lines between those of the two.
template <std::size_t N>
bool plain_interpolation(const plain_reduced<N>& r, double t, metric<N>& M) {
    vector<N> h{};
    for (std::size_t k = 0; k < N; ++k) {
        for (const double m : {r.m1[k], r.m2[k]}) {
            if (!(m > 0.0 && m < largest)) return false;
        }
        const double h1 = 1.0 / std::sqrt(r.m1[k]);
        h[k] = (1.0 / std::sqrt(r.m2[k]) - h1) * t + h1;
    }
    vector<N> w{};
    for (std::size_t k = 0; k < N; ++k) {
        if ((t < 0.0 || t > 1.0) && !(h[k] > 0.0 && h[k] < largest)) return false;
        w[k] = h[k] < 1.4916681462400413e-154   ? largest
               : h[k] > 1.3407807929942596e+154 ? 0.0
                                                : 1.0 / (h[k] * h[k]);
    }
    M = assembled<N>(w, r.dual);
    return true;
}

// The metric at t between M1 and M2.
template <std::size_t N>
bool plain_metric_at(double t, const metric<N>& M1, const metric<N>& M2, metric<N>& M) {
    if (std::fabs(t) < 1e-12 || std::fabs(1.0 - t) < 1e-12) {
        M = std::fabs(t) < 1e-12 ? M1 : M2;
        return true;
    }
    plain_reduced<N> r;
    return plain_reduction(M1, M2, r) && plain_interpolation<N>(r, t, M);
}

// The metric with the larger sizes of two, or with the smaller ones.
template <std::size_t N>
bool plain_combination(bool larger, const metric<N>& M1, metric<N> M2, metric<N>& M) {
    plain_reduced<N> r;
    if (!plain_reduction(M1, M2, r)) return false;
    vector<N> w{};
    bool is_first = true;
    bool is_second = true;
    for (std::size_t k = 0; k < N; ++k) {
        w[k] = larger ? std::min(r.m1[k], r.m2[k]) : std::max(r.m1[k], r.m2[k]);
        is_first = is_first && w[k] == r.m1[k];
        is_second = is_second && w[k] == r.m2[k];
    }
    if (is_first || is_second) {
        M = is_first ? M1 : M2;
        return true;
    }
    const double most = *std::max_element(w.values, w.values + N);
    if (most < largest) M = assembled<N>(w, r.dual);
    return most > 0.0;
}

} // namespace test

#endif
