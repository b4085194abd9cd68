// Eigenvalues and eigenvectors of symmetric 2 by 2 matrices, in closed form.
#ifndef TESSMAKER_METRICS_EIGEN2_H
#define TESSMAKER_METRICS_EIGEN2_H

#include <algorithm>
#include <cmath>

namespace kv7::tessmaker {

// Differences of the entries leave an error of about 2e-16 times the largest. What is smaller than
// this share of it would keep fewer than four correct digits and counts as lost.
inline constexpr double lost_share = 1e-12;

// Eigenvalues of the matrix with the rows (a, b) and (b, c), l0 <= l1. False if one is not finite;
// both are written in any case.
inline bool eigen_values_closed(double a, double b, double c, double& l0, double& l1) {
    const double det = a * c - b * b;
    const double disc = std::sqrt((a - c) * (a - c) + 4.0 * (b * b));
    l0 = ((a + c) - disc) * 0.5;
    l1 = l0 + disc;
    // A value lost in the difference is computed from the determinant, the product of the two.
    if (std::fabs(l0) < lost_share * std::fabs(l1)) {
        l0 = det / l1;
    } else if (std::fabs(l1) < lost_share * std::fabs(l0)) {
        l1 = det / l0;
    }
    return std::isfinite(l0) && std::isfinite(l1);
}

// The same with eigenvectors p0 and p1, which have the orientation of the axes and, with
// `normalise`, unit length. On false the vectors are not written.
inline bool eigen_pairs_closed(double a, double b, double c, double& l0, double& l1, double* p0,
                               double* p1, bool normalise) {
    if (!eigen_values_closed(a, b, c, l0, l1)) return false;
    const double u = l0 - a;
    const double w = l0 - c;
    // Both (b, u) and (w, b) solve the equation; the longer has less rounding.
    const bool by_w = u * u < w * w;
    double x = by_w ? w : b;
    double y = by_w ? b : u;
    const double length2 = b * b + (by_w ? w * w : u * u);
    if (std::max(a * a, c * c) * (lost_share * lost_share) < length2) {
        if (normalise) {
            const double length = std::sqrt(length2);
            x /= length;
            y /= length;
        }
    } else { // isotropic but for rounding: any direction is an eigenvector
        x = 1.0;
        y = 0.0;
    }
    p0[0] = x;
    p0[1] = y;
    p1[0] = -y;
    p1[1] = x;
    return true;
}

} // namespace kv7::tessmaker

#endif
