// The eigenproblem of one symmetric matrix in its plainest form, by the closed formulas in 2D and
// by LAPACK in 3D: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_EIGEN_H
#define TESSMAKER_TESTS_METRICS_PLAIN_EIGEN_H

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "metrics/dspev.h"
#include "metrics/random_metrics.h"

namespace test {

inline bool plain_eigen_values(const metric<2>& M, vector<2>& l) {
    const double a = M(0, 0);
    const double b = M(1, 0);
    const double c = M(1, 1);
    const double determinant = a * c - b * b;
    const double gap = std::sqrt((a - c) * (a - c) + 4.0 * (b * b));
    l[0] = ((a + c) - gap) * 0.5;
    l[1] = l[0] + gap;
    if (std::fabs(l[0]) < 1e-12 * std::fabs(l[1])) {
        l[0] = determinant / l[1];
    } else if (std::fabs(l[1]) < 1e-12 * std::fabs(l[0])) {
        l[1] = determinant / l[0];
    }
    return std::isfinite(l[0]) && std::isfinite(l[1]);
}

inline bool plain_eigen_pairs(const metric<2>& M, vector<2>& l, matrix<2>& P, bool normalise) {
    if (!plain_eigen_values(M, l)) return false;
    const double a = M(0, 0);
    const double b = M(1, 0);
    const double c = M(1, 1);
    const double u = l[0] - a;
    const double w = l[0] - c;
    vector<2> p = u * u < w * w ? vector<2>{w, b} : vector<2>{b, u};
    const double length2 = b * b + std::max(u * u, w * w);
    if (!(std::max(a * a, c * c) * 1e-24 < length2)) {
        p = {1.0, 0.0};
    } else if (normalise) {
        p = {p[0] / std::sqrt(length2), p[1] / std::sqrt(length2)};
    }
    P(0, 0) = p[0];
    P(1, 0) = p[1];
    P(0, 1) = -p[1];
    P(1, 1) = p[0];
    return true;
}

inline bool plain_eigen_pairs(const metric<3>& M, vector<3>& l, matrix<3>& P) {
    if (!dspev(M, l, &P)) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        P(i, 2) = P(j, 0) * P(k, 1) - P(k, 0) * P(j, 1);
    }
    return true;
}

inline bool plain_is_valid(const metric<2>& M) {
    vector<2> l{};
    plain_eigen_values(M, l);
    return l[0] > 0.0 && l[1] > 0.0;
}
inline bool plain_is_valid(const metric<3>& M) {
    vector<3> l{};
    dspev(M, l);
    return l[0] > 0.0;
}

} // namespace test

#endif
