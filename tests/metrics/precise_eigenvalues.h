// Eigenvalues of symmetric 3 by 3 matrices in arithmetic of 120 digits: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PRECISE_EIGENVALUES_H
#define TESSMAKER_TESTS_METRICS_PRECISE_EIGENVALUES_H

#include <mpfr.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "tessmaker/containers.h"

namespace test {

class precise {
public:
    precise(double value = 0.0) {
        mpfr_init2(value_, nbr_bits);
        mpfr_set_d(value_, value, MPFR_RNDN);
    }
    precise(const precise& other) {
        mpfr_init2(value_, nbr_bits);
        mpfr_set(value_, other.value_, MPFR_RNDN);
    }
    precise& operator=(const precise& other) {
        mpfr_set(value_, other.value_, MPFR_RNDN);
        return *this;
    }
    ~precise() { mpfr_clear(value_); }

    explicit operator double() const { return mpfr_get_d(value_, MPFR_RNDN); }
    bool is_zero() const { return mpfr_zero_p(value_) != 0; }

    friend precise operator+(const precise& a, const precise& b) { return of(mpfr_add, a, b); }
    friend precise operator-(const precise& a, const precise& b) { return of(mpfr_sub, a, b); }
    friend precise operator*(const precise& a, const precise& b) { return of(mpfr_mul, a, b); }
    friend precise operator/(const precise& a, const precise& b) { return of(mpfr_div, a, b); }
    friend bool operator<(const precise& a, const precise& b) {
        return mpfr_less_p(a.value_, b.value_) != 0;
    }
    friend precise sqrt(const precise& a) {
        precise root;
        mpfr_sqrt(root.value_, a.value_, MPFR_RNDN);
        return root;
    }
    friend precise abs(const precise& a) {
        precise magnitude;
        mpfr_abs(magnitude.value_, a.value_, MPFR_RNDN);
        return magnitude;
    }

private:
    static constexpr mpfr_prec_t nbr_bits = 400;

    template <class Operation>
    static precise of(Operation operation, const precise& a, const precise& b) {
        precise result;
        operation(result.value_, a.value_, b.value_, MPFR_RNDN);
        return result;
    }

    mpfr_t value_;
};

struct precise_spectrum {
    std::array<precise, 3> values; // ascending
};

// Rotations, until every entry is below 1e-110 of the geometric mean of its diagonal entries.
inline precise_spectrum precise_eigenvalues(const kv7::symmetric_fixed<double, 3>& M) {
    precise a[3][3];
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) a[i][j] = M(std::max(i, j), std::min(i, j));
    }
    const auto rotate = [&a](std::size_t p, std::size_t q) {
        const std::size_t r = 3 - p - q;
        const precise limit = precise(1e-110) * sqrt(abs(a[p][p] * a[q][q]));
        if (a[p][q].is_zero() || abs(a[p][q]) < limit) return false;
        const precise d = a[q][q] - a[p][p];
        const precise twice = precise(2.0) * a[p][q];
        const precise root = sqrt(d * d + twice * twice);
        const precise tangent = twice / (d < precise() ? d - root : d + root);
        const precise cosine = precise(1.0) / sqrt(precise(1.0) + tangent * tangent);
        const precise sine = tangent * cosine;
        a[p][p] = a[p][p] - tangent * a[p][q];
        a[q][q] = a[q][q] + tangent * a[p][q];
        a[p][q] = precise();
        const precise x = cosine * a[r][p] - sine * a[r][q];
        const precise y = sine * a[r][p] + cosine * a[r][q];
        a[r][p] = a[p][r] = x;
        a[r][q] = a[q][r] = y;
        a[q][p] = precise();
        return true;
    };
    bool has_turned = true;
    for (int sweep = 0; has_turned && sweep < 40; ++sweep) {
        has_turned = rotate(0, 1);
        has_turned |= rotate(0, 2);
        has_turned |= rotate(1, 2);
    }
    precise_spectrum spectrum{{a[0][0], a[1][1], a[2][2]}};
    std::sort(spectrum.values.begin(), spectrum.values.end());
    return spectrum;
}

} // namespace test

#endif
