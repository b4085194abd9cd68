#include "metrics/metric_spectrum.h"

#include <algorithm>
#include <cmath>

#include "core/small_vectors.h"
#include "metrics/eigen2.h"
#include "metrics/eigen3.h"
#include "metrics/sizes.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

namespace {

// False if an eigenvalue (2D) or an entry of M (3D) is not finite.
bool eigenpairs_of(const metric<2>& M, vector<2>& l, matrix<2>& P) {
    return eigen_pairs_closed(M[0], M[1], M[2], l[0], l[1], P.data(), P.data() + 2, true);
}
bool eigenpairs_of(const metric<3>& M, vector<3>& l, matrix<3>& P) { return eigen3(M, l, P); }

bool eigenvalues_of(const metric<2>& M, vector<2>& l) {
    return eigen_values_closed(M[0], M[1], M[2], l[0], l[1]);
}
bool eigenvalues_of(const metric<3>& M, vector<3>& l) { return eigen3(M, l); }

template <std::size_t N> bool all_positive(const vector_fixed<double, N>& v) {
    return std::all_of(v.values, v.values + N, [](double value) { return value > 0.0; });
}

template <std::size_t N> double iso_size(const symmetric_fixed<double, N>& M, double x) {
    vector<N> l{};
    if (!eigenvalues_of(M, l) || !all_positive(l)) return 0.0;
    const double h_large = 1.0 / std::sqrt(l[0]);
    const double h_small = 1.0 / std::sqrt(l[N - 1]);
    return (h_large - h_small) * x + h_small;
}

template <std::size_t N>
int bound_one_metric(symmetric_fixed<double, N>& M, double hmin, double hmax) {
    if (!(hmin > 0.0) && hmax == no_limit) return 0;
    if (!std::isfinite(hmin)) return -2;
    if (!std::isfinite(hmax)) return -3;
    // Kept: a metric already within the bounds gives -1, like one that can't be brought there.
    return bound_metric_core(M, hmin, hmax) ? 0 : -1;
}

// Whether a 3D metric is positive definite beyond doubt, so that its eigenvalues need not be
// computed. The product of the two larger ones is at most (trace / 2)^2, so the smallest is at
// least 4 det / trace^2. It must be above 1e-12 of the trace: rounding puts an error of about 1e-15
// of the trace into computed eigenvalues, and of its cube into the determinant. The range of the
// trace keeps its cube far from overflow and underflow.
bool is_clearly_valid(const metric<3>& M) {
    constexpr double clear_share = 1e-12;
    const double trace = M[0] + M[2] + M[5];
    if (!(trace > 1e-90 && trace < 1e90)) return false;
    const double minor = M[0] * M[2] - M[1] * M[1];
    if (!(M[0] > 0.0 && minor > 0.0)) return false;
    const double det =
        M[5] * minor - (M[0] * (M[4] * M[4]) + M[2] * (M[3] * M[3])) + 2.0 * (M[1] * M[3] * M[4]);
    return 4.0 * det > clear_share * (trace * trace * trace);
}

} // namespace

template <std::size_t N>
bool bound_metric_core(symmetric_fixed<double, N>& M, double hmin, double hmax) {
    const double lmax = hmin > 0.0 ? inverse_square(hmin) : no_limit;
    const double lmin = hmax > 0.0 ? inverse_square(hmax) : 0.0;
    vector<N> l{};
    matrix<N> P{};
    const bool is_solved = eigenpairs_of(M, l, P);
    // Kept: in 2D what a failure has left in l and P is used. In 3D it leaves nothing.
    if (N == 3 && !is_solved) return false;
    bool changed = false;
    for (std::size_t k = 0; k < N; ++k) {
        if (l[k] > lmax) {
            l[k] = lmax;
            changed = true;
        }
        if (l[k] < lmin) {
            l[k] = lmin;
            changed = true;
        }
    }
    if (!changed || !std::all_of(l.values, l.values + N, is_valid_size)) return false;
    M = weighted_squares(l, P);
    return is_valid_metric(M);
}

template bool bound_metric_core(metric<2>&, double, double);
template bool bound_metric_core(metric<3>&, double, double);

void eigen_values(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l) {
    eigenvalues_of(M, l);
}
void eigen_values(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l) {
    eigenvalues_of(M, l);
}

bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l,
                 matrix_fixed<double, 2, 2>& P) {
    return eigenpairs_of(M, l, P);
}
bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                 matrix_fixed<double, 3, 3>& P) {
    return eigenpairs_of(M, l, P);
}

bool is_valid_metric(const symmetric_fixed<double, 2>& M) {
    vector<2> l;
    eigenvalues_of(M, l); // kept: one that is not finite counts by its sign
    return all_positive(l);
}
bool is_valid_metric(const symmetric_fixed<double, 3>& M) {
    if (is_clearly_valid(M)) return true;
    vector<3> l{};
    eigenvalues_of(M, l);
    return all_positive(l);
}

double metric_aniso_to_iso(const symmetric_fixed<double, 2>& M, double x) { return iso_size(M, x); }
double metric_aniso_to_iso(const symmetric_fixed<double, 3>& M, double x) { return iso_size(M, x); }

int bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax) {
    return bound_one_metric(M, hmin, hmax);
}
int bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax) {
    return bound_one_metric(M, hmin, hmax);
}

} // namespace kv7::tessmaker
