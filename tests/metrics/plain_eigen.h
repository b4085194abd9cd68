// The reduction of two 3D metrics by LAPACK in its plainest form, one step after the other: a
// reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_REDUCTION_H
#define TESSMAKER_TESTS_METRICS_PLAIN_REDUCTION_H

#include <cmath>
#include <cstddef>

#include "core/small_vectors.h"
#include "metrics/eigen3.h"
#include "metrics/metric_algebra.h"

namespace test {

inline bool plain_reduction(const kv7::symmetric_fixed<double, 3>& M1,
                            const kv7::symmetric_fixed<double, 3>& M2,
                            kv7::tessmaker::metric_reduction<3>& r) {
    namespace tm = kv7::tessmaker;
    using tensor = kv7::symmetric_fixed<double, 3>;
    using direction = kv7::vector_fixed<double, 3>;
    r = {};
    const double a = M1[0];
    if (!(a > 0.0)) return false;
    const double D = a * M1[2] - M1[1] * M1[1];
    if (!(D > 0.0)) return false;
    const double r00 = std::sqrt(a);
    const double r01 = M1[1] / r00;
    const double r02 = M1[3] / r00;
    const double r11 = std::sqrt(D) / r00;
    const double r12 = ((M1[4] * a - M1[3] * M1[1]) / std::sqrt(D)) / r00;
    const double f = M1[5] - (r12 * r12 + r02 * r02);
    if (f < 0.0) return false;
    const double r22 = std::sqrt(f);
    const double delta = r00 * r11 * r22;
    if (delta == 0.0) return false;
    const double W[3][3] = {{r11 * r22, 0.0, 0.0},
                            {-r01 * r22, r00 * r22, 0.0},
                            {r01 * r12 - r02 * r11, -r12 * r00, r00 * r11}};
    tensor C{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            C(i, j) = tm::form(direction{W[j][0], W[j][1], W[j][2]}, M2,
                               direction{W[i][0], W[i][1], W[i][2]});
        }
    }
    direction l;
    kv7::matrix_fixed<double, 3, 3> Z;
    if (!tm::eigen3(C, l, Z)) return false;
    direction p[3];
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < 3; ++i) {
            p[k][i] = W[0][i] * Z(0, k) + W[1][i] * Z(1, k) + W[2][i] * Z(2, k);
        }
        p[k] = tm::normalised(p[k]);
        tm::set_column(r.basis, k, p[k]);
        r.m1[k] = tm::form(p[k], M1, p[k]);
        r.m2[k] = r.m1[k] * (l[k] / (delta * delta));
    }
    const double det = tm::dot(tm::cross(p[1], p[2]), p[0]);
    for (std::size_t k = 0; k < 3; ++k) {
        const direction q = tm::cross(p[(k + 1) % 3], p[(k + 2) % 3]);
        tm::set_column(r.dual, k, det == 0.0 ? q : direction{q[0] / det, q[1] / det, q[2] / det});
    }
    return true;
}

} // namespace test

#endif
