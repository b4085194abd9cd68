// This work is based on: F. Alauzet, P. J. Frey, Estimateur d'erreur geometrique et metriques
// anisotropes pour l'adaptation de maillage, 2003 (simultaneous reduction, intersection and
// interpolation of metrics).
#include "metrics/metric_reduction.h"

#include <algorithm>
#include <cmath>

#include "metrics/eigen2.h"
#include "metrics/eigen3.h"
#include "metrics/sizes.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

namespace {

// The square roots of the smallest normal and of the largest double: between them 1 / h^2 is
// neither 0 nor infinite.
constexpr double smallest_square_root = 1.4916681462400413e-154;
constexpr double largest_square_root = 1.3407807929942596e+154;

// The eigenpairs of B x = l A x: those of B by an A that is positive definite.
bool generalized_pairs(const metric<2>& A, const metric<2>& B, vector<2>& l, matrix<2>& P) {
    const double a = A[0];
    const double b = A[1];
    const double c = A[2];
    const double x = B[0];
    const double y = B[1];
    const double z = B[2];
    const double D = a * c - b * b;
    // Kept: a negative definite A is let through.
    if (a == 0.0 || !(D > 0.0)) return false;
    // The plain problem C = a D L^-1 B L^-T, L being the Cholesky factor of A.
    const double s = std::sqrt(D);
    const double e = a * y - x * b;
    vector<2> z0;
    vector<2> z1;
    if (!eigen_pairs_closed(x * D, e * s, a * a * z - (e + a * y) * b, l[0], l[1], z0.data(),
                            z1.data(), false)) {
        return false;
    }
    l[0] /= D * a;
    l[1] /= D * a;
    set_column(P, 0, normalised(vector<2>{s * z0[0] - b * z0[1], a * z0[1]}));
    set_column(P, 1, normalised(vector<2>{s * z1[0] - b * z1[1], a * z1[1]}));
    return true;
}

// W B W^T
metric<3> congruent(const matrix<3>& W, const metric<3>& B) {
    vector<3> row[3];
    for (std::size_t i = 0; i < 3; ++i) row[i] = {W(i, 0), W(i, 1), W(i, 2)};
    metric<3> C;
    for (std::size_t i = 0; i < 3; ++i) {
        const vector<3> image = product(B, row[i]);
        for (std::size_t j = 0; j <= i; ++j) C(i, j) = dot(image, row[j]);
    }
    return C;
}

bool generalized_pairs(const metric<3>& A, const metric<3>& B, vector<3>& l, matrix<3>& P) {
    // The Cholesky factor R of A = R^T R.
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
    // W = delta R^-T, which needs no division.
    matrix<3> W{};
    W(0, 0) = r11 * r22;
    W(1, 0) = -r01 * r22;
    W(1, 1) = r00 * r22;
    W(2, 0) = r01 * r12 - r02 * r11;
    W(2, 1) = -r12 * r00;
    W(2, 2) = r00 * r11;
    matrix<3> Z;
    if (!eigen3(congruent(W, B), l, Z)) return false;
    for (std::size_t k = 0; k < 3; ++k) {
        l[k] /= delta * delta;
        const vector<3> z = column(Z, k);
        set_column(P, k,
                   normalised(vector<3>{dot(column(W, 0), z), dot(column(W, 1), z),
                                        dot(column(W, 2), z)}));
    }
    return true;
}

// The dual basis: the transposed inverse of `basis`. For a determinant of 0 it is zero in 2D and
// the bare cross products in 3D.
void invert_basis(metric_reduction<2>& r) {
    const matrix<2>& P = r.basis;
    const double det = P(0, 0) * P(1, 1) - P(0, 1) * P(1, 0);
    r.dual = {};
    if (det == 0.0) return;
    set_column(r.dual, 0, vector<2>{P(1, 1) / det, -P(0, 1) / det});
    set_column(r.dual, 1, vector<2>{-P(1, 0) / det, P(0, 0) / det});
}
void invert_basis(metric_reduction<3>& r) {
    const vector<3> p0 = column(r.basis, 0);
    const vector<3> p1 = column(r.basis, 1);
    const vector<3> p2 = column(r.basis, 2);
    set_column(r.dual, 0, cross(p1, p2));
    set_column(r.dual, 1, cross(p2, p0));
    set_column(r.dual, 2, cross(p0, p1));
    const double det = dot(column(r.dual, 0), p0);
    if (det == 0.0) return;
    for (double& entry : r.dual.values) entry /= det;
}

// Whether all values lie strictly between two bounds, and so are numbers.
template <std::size_t N>
bool all_within(const vector_fixed<double, N>& v, double lower, double upper) {
    return std::all_of(v.values, v.values + N,
                       [=](double value) { return value > lower && value < upper; });
}

// 1 / h^2, cut to the range of doubles.
double capped_inverse_square(double h) {
    if (h < smallest_square_root) return no_limit;
    if (h > largest_square_root) return 0.0;
    return inverse_square(h);
}

// M1 if the two can't be combined.
template <std::size_t N>
bool combine(size_choice choice, const symmetric_fixed<double, N>& M1,
             const symmetric_fixed<double, N>& M2, symmetric_fixed<double, N>& M) {
    const metric<N> first = M1; // M may be the same object
    metric_reduction<N> r;
    const bool is_combined =
        reduce_metrics(M1, M2, r) && choose_sizes(choice, M1, M2, r.m1, r.m2, r.dual, M);
    if (!is_combined) M = first;
    return is_combined;
}

} // namespace

template <std::size_t N>
bool reduce_metrics(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                    metric_reduction<N>& r) {
    vector<N> l;
    if (!generalized_pairs(M1, M2, l, r.basis)) {
        r = {};
        return false;
    }
    invert_basis(r);
    for (std::size_t k = 0; k < N; ++k) {
        const vector<N> p = column(r.basis, k);
        r.m1[k] = form(p, M1, p);
        r.m2[k] = r.m1[k] * l[k];
    }
    return true;
}

template <std::size_t N>
reduced_sizes<N>::reduced_sizes(const metric_reduction<N>& r)
    : are_valid(all_within(r.m1, 0.0, no_limit) && all_within(r.m2, 0.0, no_limit)) {
    for (std::size_t k = 0; k < N; ++k) {
        h1[k] = 1.0 / std::sqrt(r.m1[k]);
        h2[k] = 1.0 / std::sqrt(r.m2[k]);
    }
}

template <std::size_t N>
bool interpolate_values(const reduced_sizes<N>& sizes, double t, vector_fixed<double, N>& w) {
    if (!sizes.are_valid) return false;
    vector<N> h;
    for (std::size_t k = 0; k < N; ++k) h[k] = (sizes.h2[k] - sizes.h1[k]) * t + sizes.h1[k];
    const bool between_ends = t >= 0.0 && t <= 1.0;
    if (!between_ends && !all_within(h, 0.0, no_limit)) return false;
    const bool in_range = all_within(h, smallest_square_root, largest_square_root);
    for (std::size_t k = 0; k < N; ++k) {
        w[k] = in_range ? inverse_square(h[k]) : capped_inverse_square(h[k]);
    }
    return true;
}

template <std::size_t N>
bool choose_sizes(size_choice choice, const symmetric_fixed<double, N>& M1,
                  const symmetric_fixed<double, N>& M2, const vector_fixed<double, N>& m1,
                  const vector_fixed<double, N>& m2, const matrix_fixed<double, N, N>& dual,
                  symmetric_fixed<double, N>& M) {
    // Equal metrics are compared first: rounding in the reduction may make their values differ.
    bool is_first = equal_entries(M1, M2);
    bool is_second = false;
    vector<N> w;
    if (!is_first) {
        for (std::size_t k = 0; k < N; ++k) {
            w[k] = choice == size_choice::larger ? std::min(m1[k], m2[k]) : std::max(m1[k], m2[k]);
        }
        is_first = std::equal(w.values, w.values + N, m1.values);
        is_second = std::equal(w.values, w.values + N, m2.values);
    }
    if (is_first || is_second) {
        M = is_first ? M1 : M2;
        return true;
    }
    const double largest = *std::max_element(w.values, w.values + N);
    if (largest < no_limit) M = weighted_squares(w, dual);
    return largest > 0.0;
}

template bool reduce_metrics(const metric<2>&, const metric<2>&, metric_reduction<2>&);
template bool reduce_metrics(const metric<3>&, const metric<3>&, metric_reduction<3>&);
template struct reduced_sizes<2>;
template struct reduced_sizes<3>;
template bool interpolate_values(const reduced_sizes<2>&, double, vector<2>&);
template bool interpolate_values(const reduced_sizes<3>&, double, vector<3>&);
template bool choose_sizes(size_choice, const metric<2>&, const metric<2>&, const vector<2>&,
                           const vector<2>&, const matrix<2>&, metric<2>&);
template bool choose_sizes(size_choice, const metric<3>&, const metric<3>&, const vector<3>&,
                           const vector<3>&, const matrix<3>&, metric<3>&);

bool eigen_pairs(const symmetric_fixed<double, 2>& A, const symmetric_fixed<double, 2>& B,
                 vector_fixed<double, 2>& l, matrix_fixed<double, 2, 2>& P) {
    return generalized_pairs(A, B, l, P);
}
bool eigen_pairs(const symmetric_fixed<double, 3>& A, const symmetric_fixed<double, 3>& B,
                 vector_fixed<double, 3>& l, matrix_fixed<double, 3, 3>& P) {
    return generalized_pairs(A, B, l, P);
}

bool maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    return combine(size_choice::larger, M1, M2, M);
}
bool maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    return combine(size_choice::larger, M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    return combine(size_choice::smaller, M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    return combine(size_choice::smaller, M1, M2, M);
}

} // namespace kv7::tessmaker
