// This work is based on: C. G. J. Jacobi, Ueber ein leichtes Verfahren, die in der Theorie der
// Saecularstoerungen vorkommenden Gleichungen numerisch aufzuloesen, 1846; J. Demmel, K. Veselic,
// Jacobi's method is more accurate than QR, 1992 (when an entry is small enough).
#include "metrics/eigen3.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <lapack.h>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

namespace {

bool dspev(char job, const symmetric_fixed<double, 3>& M, double* values, double* vectors) {
    constexpr lapack_int n = 3;
    const lapack_int ld = vectors ? 3 : 1;
    const char upper = 'U';
    symmetric_fixed<double, 3> packed = M; // destroyed by the call
    double work[9] = {};
    lapack_int info = 0;
    LAPACK_dspev(&job, &upper, &n, packed.data(), values, vectors, &ld, work, &info);
    return info == 0;
}

// Beyond, squares of entries or of what counts beside them could leave the range of a double.
constexpr double smallest_norm = 1e-100;
constexpr double largest_norm = 1e100;
// The square of the share of the geometric mean of its diagonal entries below which an entry is
// nothing.
constexpr double negligible2 = 2.5e-33;
// Three to five are usual.
constexpr int most_sweeps = 15;

// Turns the plane of two axes p and q so that their entry becomes 0; r is the third axis. Whether
// there was anything to turn.
bool rotate(double& app, double& aqq, double& apq, double& arp, double& arq, vector<3>& p,
            vector<3>& q) {
    if (!(apq * apq > negligible2 * std::fabs(app * aqq))) return false;
    const double d = aqq - app;
    const double twice = 2.0 * apq;
    const double tangent = twice / (d + std::copysign(std::sqrt(d * d + twice * twice), d));
    const double cosine = 1.0 / std::sqrt(1.0 + tangent * tangent);
    const double sine = tangent * cosine;
    app -= tangent * apq;
    aqq += tangent * apq;
    apq = 0.0;
    const auto turn = [=](double& x, double& y) {
        const double old = x;
        x = cosine * old - sine * y;
        y = sine * old + cosine * y;
    };
    turn(arp, arq);
    for (std::size_t i = 0; i < 3; ++i) turn(p[i], q[i]);
    return true;
}

} // namespace

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l) {
    return dspev('N', M, l.data(), nullptr);
}

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
            matrix_fixed<double, 3, 3>& P) {
    if (!dspev('V', M, l.data(), P.data())) return false;
    set_column(P, 2, cross(column(P, 0), column(P, 1)));
    return true;
}

bool eigen3_by_rotations(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                         matrix_fixed<double, 3, 3>& P) {
    double norm = 0.0;
    for (const double entry : M.values) {
        if (!(std::fabs(entry) < largest_norm)) return eigen3(M, l, P);
        norm = std::max(norm, std::fabs(entry));
    }
    if (norm < smallest_norm) return eigen3(M, l, P);

    metric<3> A = M;
    vector<3> p[3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
    bool has_turned = true;
    for (int sweep = 0; has_turned; ++sweep) {
        if (sweep == most_sweeps) return eigen3(M, l, P);
        has_turned = rotate(A[0], A[2], A[1], A[3], A[4], p[0], p[1]);
        has_turned |= rotate(A[0], A[5], A[3], A[1], A[4], p[0], p[2]);
        has_turned |= rotate(A[2], A[5], A[4], A[1], A[3], p[1], p[2]);
    }

    l = {A[0], A[2], A[5]};
    const auto order = [&](std::size_t i, std::size_t j) {
        if (!(l[j] < l[i])) return;
        std::swap(l[i], l[j]);
        std::swap(p[i], p[j]);
    };
    order(0, 1);
    order(1, 2);
    order(0, 1);
    set_column(P, 0, p[0]);
    set_column(P, 1, p[1]);
    set_column(P, 2, cross(p[0], p[1]));
    return true;
}

} // namespace kv7::tessmaker
