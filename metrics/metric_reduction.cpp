// This work is based on: F. Alauzet, P. J. Frey, Estimateur d'erreur geometrique et metriques
// anisotropes pour l'adaptation de maillage, 2003 (simultaneous reduction, intersection and
// interpolation of metrics).
#include "metrics/metric_algebra.h"

#include <algorithm>

#include "metrics/eigen3.h"

namespace kv7::tessmaker {

namespace {

// Below this share of the other an eigenvalue is lost in a difference, and comes from the
// determinant.
constexpr double lost_share = 1e-12;
// The square roots of the smallest normal and of the largest double.
constexpr double smallest_square_root = 1.4916681462400413e-154;
constexpr double largest_square_root = 1.3407807929942596e+154;

double inverse_square(double h) { return 1.0 / (h * h); }

template <std::size_t N> void axis_metric(const vector_fixed<double, N>& h, metric<N>& M) {
    M = {};
    for (std::size_t i = 0; i < N; ++i) {
        if (h[i] > 0.0) M(i, i) = inverse_square(h[i]);
    }
}

// Kept: a negative size counts here, as its absolute value.
template <std::size_t N>
void directed_metric(const vector_fixed<double, N>& h, const matrix<N>& P, metric<N>& M) {
    vector<N> w{};
    for (std::size_t k = 0; k < N; ++k) {
        if (h[k] != 0.0) w[k] = inverse_square(h[k]);
    }
    M = weighted_squares(w, P);
}

bool pairs(const metric<2>& M, vector<2>& l, matrix<2>& P) {
    return eigen_pairs_closed(M[0], M[1], M[2], l[0], l[1], P.data(), P.data() + 2, true);
}
bool pairs(const metric<3>& M, vector<3>& l, matrix<3>& P) { return eigen3(M, l, P); }

bool values(const metric<2>& M, vector<2>& l) {
    return eigen_values_closed(M[0], M[1], M[2], l[0], l[1]);
}
bool values(const metric<3>& M, vector<3>& l) { return eigen3(M, l); }

bool generalized_pairs(const metric<2>& A, const metric<2>& B, vector<2>& l, matrix<2>& P) {
    const double a = A[0];
    const double b = A[1];
    const double c = A[2];
    const double x = B[0];
    const double y = B[1];
    const double z = B[2];
    const double D = a * c - b * b;
    // Kept: a negative definite A goes on.
    if (a == 0.0 || !(D > 0.0)) return false;
    // C = a D L^-1 B L^-T, with L the Cholesky factor of A.
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
    if (!eigen3_by_rotations(congruent(W, B), l, Z)) return false;
    for (std::size_t k = 0; k < 3; ++k) {
        l[k] /= delta * delta;
        const vector<3> z = column(Z, k);
        set_column(P, k,
                   normalised(vector<3>{dot(column(W, 0), z), dot(column(W, 1), z),
                                        dot(column(W, 2), z)}));
    }
    return true;
}

// The transposed inverse of `basis`. Where the determinant is 0 it is zero (2D) or not scaled (3D).
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

// Whether all values lie strictly between two bounds; what is not a number does not.
template <std::size_t N>
bool all_between(const vector_fixed<double, N>& v, double lower, double upper) {
    return std::all_of(v.values, v.values + N,
                       [=](double value) { return value > lower && value < upper; });
}
template <std::size_t N> bool all_positive(const vector_fixed<double, N>& v) {
    return std::all_of(v.values, v.values + N, [](double value) { return value > 0.0; });
}

// 1 / h^2 where that may leave the range of a double.
double capped_inverse_square(double h) {
    if (h < smallest_square_root) return no_limit;
    if (h > largest_square_root) return 0.0;
    return inverse_square(h);
}

template <std::size_t N>
bool combine(sizes_kept kept, const symmetric_fixed<double, N>& M1,
             const symmetric_fixed<double, N>& M2, symmetric_fixed<double, N>& M) {
    metric_reduction<N> r;
    return reduce_metrics(M1, M2, r) && select_sizes(kept, M1, M2, r.m1, r.m2, r.dual, M);
}

template <std::size_t N>
bool combine_or_first(sizes_kept kept, const symmetric_fixed<double, N>& M1,
                      const symmetric_fixed<double, N>& M2, symmetric_fixed<double, N>& M) {
    const metric<N> first = M1; // M may be the same object
    const bool done = combine(kept, M1, M2, M);
    if (!done) M = first;
    return done;
}

template <std::size_t N> double iso_size(const symmetric_fixed<double, N>& M, double x) {
    vector<N> l{};
    if (!values(M, l) || !all_positive(l)) return 0.0;
    const double h_large = 1.0 / std::sqrt(l[0]);
    const double h_small = 1.0 / std::sqrt(l[N - 1]);
    return (h_large - h_small) * x + h_small;
}

template <std::size_t N>
int bound_one_metric(symmetric_fixed<double, N>& M, double hmin, double hmax) {
    if (!(hmin > 0.0) && hmax == no_limit) return 0;
    if (!std::isfinite(hmin)) return -2;
    if (!std::isfinite(hmax)) return -3;
    // Kept: a metric that lies within the bounds already answers like one that can't be bounded.
    return bound_metric_core(M, hmin, hmax) ? 0 : -1;
}

// Whether a 3D metric is positive definite by so much that no rounding in its eigenvalues could
// tell otherwise: the smallest eigenvalue is at least 4 det / trace^2.
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

bool eigen_values_closed(double a, double b, double c, double& l0, double& l1) {
    const double det = a * c - b * b;
    const double disc = std::sqrt((a - c) * (a - c) + 4.0 * (b * b));
    l0 = ((a + c) - disc) * 0.5;
    l1 = l0 + disc;
    if (std::fabs(l0) < lost_share * std::fabs(l1)) {
        l0 = det / l1;
    } else if (std::fabs(l1) < lost_share * std::fabs(l0)) {
        l1 = det / l0;
    }
    return std::isfinite(l0) && std::isfinite(l1);
}

bool eigen_pairs_closed(double a, double b, double c, double& l0, double& l1, double* p0,
                        double* p1, bool normalise) {
    if (!eigen_values_closed(a, b, c, l0, l1)) return false;
    const double u = l0 - a;
    const double w = l0 - c;
    const bool by_w = u * u < w * w;
    double x = by_w ? w : b;
    double y = by_w ? b : u;
    const double length2 = b * b + (by_w ? w * w : u * u);
    if (std::max(a * a, c * c) * 1e-24 < length2) {
        if (normalise) {
            const double length = std::sqrt(length2);
            x /= length;
            y /= length;
        }
    } else {
        x = 1.0;
        y = 0.0;
    }
    p0[0] = x;
    p0[1] = y;
    p1[0] = -y;
    p1[1] = x;
    return true;
}

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
    : are_there(all_between(r.m1, 0.0, no_limit) && all_between(r.m2, 0.0, no_limit)) {
    for (std::size_t k = 0; k < N; ++k) {
        h1[k] = 1.0 / std::sqrt(r.m1[k]);
        h2[k] = 1.0 / std::sqrt(r.m2[k]);
    }
}

template <std::size_t N>
interpolation interpolate_values(const reduced_sizes<N>& sizes, double t,
                                 vector_fixed<double, N>& w) {
    if (!sizes.are_there) return interpolation::refused;
    vector<N> h;
    for (std::size_t k = 0; k < N; ++k) h[k] = (sizes.h2[k] - sizes.h1[k]) * t + sizes.h1[k];
    const bool on_the_way = t >= 0.0 && t <= 1.0;
    if (!on_the_way && !all_between(h, 0.0, no_limit)) return interpolation::no_size;
    const bool in_range = all_between(h, smallest_square_root, largest_square_root);
    for (std::size_t k = 0; k < N; ++k) {
        w[k] = in_range ? inverse_square(h[k]) : capped_inverse_square(h[k]);
    }
    return interpolation::done;
}

template <std::size_t N>
bool interpolate_metric(const metric_reduction<N>& r, double t, symmetric_fixed<double, N>& M) {
    vector<N> w;
    const interpolation result = interpolate_values(reduced_sizes<N>(r), t, w);
    if (result == interpolation::done) M = weighted_squares(w, r.dual);
    if (result == interpolation::no_size) M = {};
    return result == interpolation::done;
}

template <std::size_t N>
bool metric_at(double t, const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
               symmetric_fixed<double, N>& M) {
    if (is_start(t) || is_end(t)) {
        M = is_start(t) ? M1 : M2;
        return true;
    }
    metric_reduction<N> r;
    return reduce_metrics(M1, M2, r) && interpolate_metric(r, t, M);
}

template <std::size_t N>
bool select_sizes(sizes_kept kept, const symmetric_fixed<double, N>& M1,
                  const symmetric_fixed<double, N>& M2, const vector_fixed<double, N>& m1,
                  const vector_fixed<double, N>& m2, const matrix_fixed<double, N, N>& dual,
                  symmetric_fixed<double, N>& M) {
    // Rounding in the reduction must not tell a metric from itself.
    bool is_first = equal_entries(M1, M2);
    bool is_second = false;
    vector<N> w;
    if (!is_first) {
        for (std::size_t k = 0; k < N; ++k) {
            w[k] = kept == sizes_kept::larger ? std::min(m1[k], m2[k]) : std::max(m1[k], m2[k]);
        }
        is_first = std::equal(w.values, w.values + N, m1.values);
        is_second = std::equal(w.values, w.values + N, m2.values);
    }
    if (is_first || is_second) {
        M = is_first ? M1 : M2;
        return true;
    }
    const double most = *std::max_element(w.values, w.values + N);
    if (most < no_limit) M = weighted_squares(w, dual);
    return most > 0.0;
}

template <std::size_t N>
bool maximum_metric_core(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                         symmetric_fixed<double, N>& M) {
    return combine(sizes_kept::larger, M1, M2, M);
}

template <std::size_t N>
bool minimum_metric_core(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                         symmetric_fixed<double, N>& M) {
    return combine(sizes_kept::smaller, M1, M2, M);
}

template <std::size_t N>
bool bound_metric_core(symmetric_fixed<double, N>& M, double hmin, double hmax) {
    const double lmax = hmin > 0.0 ? inverse_square(hmin) : no_limit;
    const double lmin = hmax > 0.0 ? inverse_square(hmax) : 0.0;
    vector<N> l{};
    matrix<N> P{};
    pairs(M, l, P); // kept: what it leaves on a failure is judged below like any other
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
    if (!changed || !all_between(l, 0.0, no_limit)) return false;
    M = weighted_squares(l, P);
    return is_valid_metric(M);
}

template bool reduce_metrics(const metric<2>&, const metric<2>&, metric_reduction<2>&);
template bool reduce_metrics(const metric<3>&, const metric<3>&, metric_reduction<3>&);
template struct reduced_sizes<2>;
template struct reduced_sizes<3>;
template interpolation interpolate_values(const reduced_sizes<2>&, double, vector<2>&);
template interpolation interpolate_values(const reduced_sizes<3>&, double, vector<3>&);
template bool interpolate_metric(const metric_reduction<2>&, double, metric<2>&);
template bool interpolate_metric(const metric_reduction<3>&, double, metric<3>&);
template bool metric_at(double, const metric<2>&, const metric<2>&, metric<2>&);
template bool metric_at(double, const metric<3>&, const metric<3>&, metric<3>&);
template bool select_sizes(sizes_kept, const metric<2>&, const metric<2>&, const vector<2>&,
                           const vector<2>&, const matrix<2>&, metric<2>&);
template bool select_sizes(sizes_kept, const metric<3>&, const metric<3>&, const vector<3>&,
                           const vector<3>&, const matrix<3>&, metric<3>&);
template bool maximum_metric_core(const metric<2>&, const metric<2>&, metric<2>&);
template bool maximum_metric_core(const metric<3>&, const metric<3>&, metric<3>&);
template bool minimum_metric_core(const metric<2>&, const metric<2>&, metric<2>&);
template bool minimum_metric_core(const metric<3>&, const metric<3>&, metric<3>&);
template bool bound_metric_core(metric<2>&, double, double);
template bool bound_metric_core(metric<3>&, double, double);

void metric_aniso(double h, symmetric_fixed<double, 2>& M) { axis_metric(vector<2>{h, h}, M); }
void metric_aniso(double h, symmetric_fixed<double, 3>& M) { axis_metric(vector<3>{h, h, h}, M); }
void metric_aniso(double h0, double h1, symmetric_fixed<double, 2>& M) {
    axis_metric(vector<2>{h0, h1}, M);
}
void metric_aniso(double h0, double h1, double h2, symmetric_fixed<double, 3>& M) {
    axis_metric(vector<3>{h0, h1, h2}, M);
}
void metric_aniso(const vector_fixed<double, 2>& h, symmetric_fixed<double, 2>& M) {
    axis_metric(h, M);
}
void metric_aniso(const vector_fixed<double, 3>& h, symmetric_fixed<double, 3>& M) {
    axis_metric(h, M);
}

void metric_aniso(const vector_fixed<double, 2>& h, const matrix_fixed<double, 2, 2>& P,
                  symmetric_fixed<double, 2>& M) {
    directed_metric(h, P, M);
}
void metric_aniso(const vector_fixed<double, 3>& h, const matrix_fixed<double, 3, 3>& P,
                  symmetric_fixed<double, 3>& M) {
    directed_metric(h, P, M);
}

void metric_aniso2d(double h, const matrix_fixed<double, 3, 2>& frame,
                    symmetric_fixed<double, 2>& M) {
    M = {};
    if (!(h > 0.0)) return;
    const vector<3> p0 = column(frame, 0);
    const vector<3> p1 = column(frame, 1);
    M = {dot(p0, p0) / (h * h), dot(p1, p0) / (h * h), dot(p1, p1) / (h * h)};
}

void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3,
                               const matrix_fixed<double, 3, 2>& frame,
                               symmetric_fixed<double, 2>& M) {
    const vector<3> p0 = column(frame, 0);
    const vector<3> p1 = column(frame, 1);
    M = {form(p0, M3, p0), form(p1, M3, p0), form(p1, M3, p1)};
}

void eigen_values(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l) { values(M, l); }
void eigen_values(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l) { values(M, l); }

bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l,
                 matrix_fixed<double, 2, 2>& P) {
    return pairs(M, l, P);
}
bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                 matrix_fixed<double, 3, 3>& P) {
    return pairs(M, l, P);
}
bool eigen_pairs(const symmetric_fixed<double, 2>& A, const symmetric_fixed<double, 2>& B,
                 vector_fixed<double, 2>& l, matrix_fixed<double, 2, 2>& P) {
    return generalized_pairs(A, B, l, P);
}
bool eigen_pairs(const symmetric_fixed<double, 3>& A, const symmetric_fixed<double, 3>& B,
                 vector_fixed<double, 3>& l, matrix_fixed<double, 3, 3>& P) {
    return generalized_pairs(A, B, l, P);
}

bool is_valid_metric(const symmetric_fixed<double, 2>& M) {
    vector<2> l;
    values(M, l); // kept: only the sign of the smallest one counts
    return all_positive(l);
}
bool is_valid_metric(const symmetric_fixed<double, 3>& M) {
    if (is_clearly_valid(M)) return true;
    vector<3> l{};
    values(M, l);
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

bool maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    return combine_or_first(sizes_kept::larger, M1, M2, M);
}
bool maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    return combine_or_first(sizes_kept::larger, M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    return combine_or_first(sizes_kept::smaller, M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    return combine_or_first(sizes_kept::smaller, M1, M2, M);
}

} // namespace kv7::tessmaker
