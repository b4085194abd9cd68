// This work is based on: C. G. J. Jacobi, Ueber ein leichtes Verfahren, die in der Theorie der
// Saecularstoerungen vorkommenden Gleichungen numerisch aufzuloesen, 1846; J. Demmel, K. Veselic,
// Jacobi's method is more accurate than QR, 1992 (when an entry is small enough).
//
// Nothing here calls a function of the mathematical library whose result may differ between
// machines: fabs, copysign and sqrt are exact or correctly rounded.
#include "metrics/eigen3.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

namespace {

// The sum of the magnitudes of the entries is brought between these by a power of two, so that no
// square leaves the range of a double, nor one of an entry 2^300 times smaller.
constexpr double smallest_norm = 0x1p-170;
constexpr double largest_norm = 0x1p500;
constexpr double scaling = 0x1p600;

// An entry is nothing where its square is below this share of the product of its diagonal entries:
// a quarter of the rounding error of the smaller eigenvalue.
constexpr double negligible2 = 2.5e-33;
// Two to four sweeps are usual. From the sixth on, an entry is also nothing where its square is
// below this share of the squared norm: an indefinite matrix may have a diagonal of zeros.
constexpr int nbr_relative_sweeps = 5;
constexpr double negligible_norm2 = 0x1p-120;
constexpr int most_sweeps = 30;

// Series in the entries over the differences of the diagonal give the rest where these shares are
// below it: what is cut off is of the fifth order, 2^-60.
constexpr double nearly = 0x1p-12;
constexpr double nearly2 = nearly * nearly;

// Diagonal entries d, and the others.
struct entries {
    double d0, d1, d2;
    double e01, e02, e12;
};

struct three_vectors {
    vector<3> p0{1.0, 0.0, 0.0};
    vector<3> p1{0.0, 1.0, 0.0};
    vector<3> p2{0.0, 0.0, 1.0};
};

double norm_of(const metric<3>& M) {
    return std::fabs(M[0]) + std::fabs(M[1]) + std::fabs(M[2]) + std::fabs(M[3]) + std::fabs(M[4]) +
           std::fabs(M[5]);
}
bool is_finite(const metric<3>& M) {
    double sum = 0.0;
    for (const double entry : M.values) sum += entry * 0.0;
    return sum == 0.0;
}

entries scaled(const entries& A, double factor) {
    return {A.d0 * factor,  A.d1 * factor,  A.d2 * factor,
            A.e01 * factor, A.e02 * factor, A.e12 * factor};
}

// Turns the plane of two axes p and q so that their entry becomes 0; r is the third axis. Whether
// there was anything to turn.
template <bool with_vectors>
[[gnu::always_inline]] inline bool rotate(double& app, double& aqq, double& apq, double& arp,
                                          double& arq, vector<3>& p, vector<3>& q, double floor2) {
    if (apq * apq <= std::max(negligible2 * std::fabs(app * aqq), floor2)) return false;
    const double d = aqq - app;
    const double distance = std::fabs(d);
    const double twice = 2.0 * apq;
    const double square = d * d + twice * twice;
    const double root = std::sqrt(square);
    // (length)^2 = (distance + root)^2 + twice^2
    const double length = std::sqrt(2.0 * square + (2.0 * distance) * root);
    const double signed_twice = std::copysign(1.0, d) * twice;
    const double cosine = (distance + root) / length;
    const double sine = signed_twice / length;
    const double change = signed_twice / (distance + root) * apq;
    app -= change;
    aqq += change;
    apq = 0.0;
    const auto turn = [=](double& x, double& y) {
        const double old = x;
        x = cosine * old - sine * y;
        y = sine * old + cosine * y;
    };
    turn(arp, arq);
    if constexpr (with_vectors) {
        for (std::size_t i = 0; i < 3; ++i) turn(p[i], q[i]);
    }
    return true;
}

// Whether the entry e of two axes is small beside the gap between their diagonal entries and beside
// these, and so is what the two other entries add to it. `least_gap` is the smaller of the two
// other gaps.
inline bool is_small(double e, double gap, double product_of_diagonal, double product_of_others,
                     double least_gap) {
    return (std::fabs(e) < nearly * gap) & (e * e < nearly2 * std::fabs(product_of_diagonal)) &
           (std::fabs(product_of_others) < 8.0 * nearly2 * gap * least_gap);
}
[[gnu::always_inline]] inline bool is_nearly_diagonal(const entries& A) {
    const double g01 = std::fabs(A.d1 - A.d0);
    const double g02 = std::fabs(A.d2 - A.d0);
    const double g12 = std::fabs(A.d2 - A.d1);
    return is_small(A.e01, g01, A.d0 * A.d1, A.e02 * A.e12, std::min(g02, g12)) &&
           is_small(A.e02, g02, A.d0 * A.d2, A.e01 * A.e12, std::min(g01, g12)) &&
           is_small(A.e12, g12, A.d1 * A.d2, A.e01 * A.e02, std::min(g01, g02));
}

// Turns planes until the matrix is nearly diagonal (true) or there is nothing left to turn.
template <bool with_vectors>
[[gnu::always_inline]] inline bool turn_planes(entries& A, double norm, three_vectors& v) {
    for (int sweep = 0; sweep < most_sweeps; ++sweep) {
        const double floor2 = sweep < nbr_relative_sweeps ? 0.0 : negligible_norm2 * norm * norm;
        const bool is_first = sweep == 0; // it seldom is enough
        if (is_nearly_diagonal(A)) return true;
        bool has_turned = rotate<with_vectors>(A.d0, A.d1, A.e01, A.e02, A.e12, v.p0, v.p1, floor2);
        if (!is_first && is_nearly_diagonal(A)) return true;
        has_turned |= rotate<with_vectors>(A.d0, A.d2, A.e02, A.e01, A.e12, v.p0, v.p2, floor2);
        if (!is_first && is_nearly_diagonal(A)) return true;
        has_turned |= rotate<with_vectors>(A.d1, A.d2, A.e12, A.e01, A.e02, v.p1, v.p2, floor2);
        if (!has_turned) return false;
    }
    return false;
}

// What the entries of a nearly diagonal matrix add to the diagonal entry of axis n, to the fourth
// order; k and l are the other axes, ik and il the inverses of its distances from theirs.
inline double shift_of(double ik, double il, double enk, double enl, double ekl) {
    const double xk = enk * ik;
    const double xl = enl * il;
    const double second = enk * xk + enl * xl;
    const double third = 2.0 * ekl * xk * xl;
    const double fourth = second * ((ekl * ik) * (ekl * il) - (xk * xk + xl * xl));
    return second + (third + fourth);
}

// The eigenvector of axis n, not quite of unit length. `gk` and `gl` are the distances of the other
// diagonal entries from its own.
vector<3> corrected(double shift, double gk, double gl, double enk, double enl, double ekl,
                    const vector<3>& pn, const vector<3>& pk, const vector<3>& pl) {
    const double dk = gk - shift;
    const double dl = gl - shift;
    const double determinant = dk * dl - ekl * ekl;
    const double xk = (enl * ekl - enk * dl) / determinant;
    const double xl = (enk * ekl - enl * dk) / determinant;
    vector<3> p;
    for (std::size_t i = 0; i < 3; ++i) p[i] = pn[i] + (xk * pk[i] + xl * pl[i]);
    return p;
}

// Ends what the rotations began. The shifts come before the vectors, since these need them alone:
// beside the diagonal entries they would lose their last places.
template <bool with_vectors>
[[gnu::always_inline]] inline void correct(entries& A, three_vectors& v) {
    const double g01 = A.d1 - A.d0;
    const double g02 = A.d2 - A.d0;
    const double g12 = A.d2 - A.d1;
    const double i01 = 1.0 / g01;
    const double i02 = 1.0 / g02;
    const double i12 = 1.0 / g12;
    const double s0 = shift_of(-i01, -i02, A.e01, A.e02, A.e12);
    const double s1 = shift_of(i01, -i12, A.e01, A.e12, A.e02);
    const double s2 = shift_of(i02, i12, A.e02, A.e12, A.e01);
    A.d0 += s0;
    A.d1 += s1;
    A.d2 += s2;
    if constexpr (with_vectors) {
        v = {corrected(s0, g01, g02, A.e01, A.e02, A.e12, v.p0, v.p1, v.p2),
             corrected(s1, -g01, g12, A.e01, A.e12, A.e02, v.p1, v.p0, v.p2),
             corrected(s2, -g02, -g12, A.e02, A.e12, A.e01, v.p2, v.p0, v.p1)};
    }
}

vector<3> ascending(double a, double b, double c) {
    const double lower = std::min(a, b);
    const double upper = std::max(a, b);
    return {std::min(lower, c), std::max(lower, std::min(upper, c)), std::max(upper, c)};
}

// That of the entry of largest magnitude; of several, the first.
double sign_of(const vector<3>& p) {
    const double most = std::max(p[0], std::max(p[1], p[2]));
    const double least = std::min(p[0], std::min(p[1], p[2]));
    if (most != -least) return std::copysign(1.0, most + least);
    for (const double entry : p.values) {
        if (std::fabs(entry) == most) return std::copysign(1.0, entry);
    }
    return 1.0;
}

// At unit length if it was so but for 2^-22 (the series is cut at the third order), and with its
// sign, which is that of what comes out: rounding may make magnitudes equal.
vector<3> oriented(const vector<3>& p) {
    const double excess = dot(p, p) - 1.0;
    const double share = excess * (0.5 - 0.375 * excess);
    vector<3> q;
    for (std::size_t i = 0; i < 3; ++i) q[i] = p[i] - share * p[i];
    const double sign = sign_of(q);
    for (double& entry : q.values) entry *= sign;
    return q;
}

// The vectors in the order of the values of their axes.
void put_in_order(const entries& A, const three_vectors& v, matrix_fixed<double, 3, 3>& P) {
    const std::size_t after1 = A.d1 < A.d0;
    const std::size_t after2 = A.d2 < A.d0;
    const std::size_t crossed = A.d2 < A.d1;
    vector<3> p[3];
    p[after1 + after2] = v.p0;
    p[1 - after1 + crossed] = v.p1;
    p[2 - after2 - crossed] = v.p2;
    const vector<3> first = oriented(p[0]);
    const vector<3> second = oriented(p[1]);
    set_column(P, 0, first);
    set_column(P, 1, second);
    set_column(P, 2, cross(first, second));
}

template <bool with_vectors>
bool solve(const metric<3>& M, vector_fixed<double, 3>& l, matrix_fixed<double, 3, 3>* P) {
    double norm = norm_of(M);
    entries A = {M[0], M[2], M[5], M[1], M[3], M[4]};
    double inverse = 1.0;
    if (!(norm > smallest_norm && norm < largest_norm)) {
        if (!is_finite(M)) return false;
        const double factor = norm < 1.0 ? scaling : 1.0 / scaling;
        A = scaled(A, factor);
        norm = std::min(norm, std::numeric_limits<double>::max()) * factor;
        inverse = 1.0 / factor;
    }
    three_vectors v;
    if (turn_planes<with_vectors>(A, norm, v)) correct<with_vectors>(A, v);
    const vector<3> values = ascending(A.d0, A.d1, A.d2);
    for (std::size_t k = 0; k < 3; ++k) l[k] = values[k] * inverse;
    if constexpr (with_vectors) put_in_order(A, v, *P);
    return true;
}

} // namespace

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l) {
    return solve<false>(M, l, nullptr);
}

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
            matrix_fixed<double, 3, 3>& P) {
    return solve<true>(M, l, &P);
}

} // namespace kv7::tessmaker
