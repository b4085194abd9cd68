// One number for the bits of the eigenvalues and eigenvectors of a seeded sample of matrices.
#ifndef TESSMAKER_TESTS_METRICS_SAME_BITS_EIGEN3_HASH_H
#define TESSMAKER_TESTS_METRICS_SAME_BITS_EIGEN3_HASH_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

#include "metrics/eigen3.h"

namespace test {

// What it is on every machine.
inline constexpr std::uint64_t expected_eigen3_hash = 0x03218AC5204FF78B;

inline std::uint64_t eigen3_hash() {
    std::mt19937_64 generator(401);
    std::uint64_t hash = 0xCBF29CE484222325;
    const auto add = [&hash](const double* values, std::size_t n) {
        for (std::size_t k = 0; k < n; ++k) {
            std::uint64_t bits = 0;
            std::memcpy(&bits, values + k, sizeof bits);
            hash = (hash ^ bits) * 0x100000001B3;
        }
    };
    for (int run = 0; run < 100000; ++run) {
        // Any entries, small integers, entries of many scales, and what is graded along the axes.
        const int kind = run % 4;
        int scale[3];
        for (int& s : scale) s = static_cast<int>(generator() % 41) - 20;
        kv7::symmetric_fixed<double, 3> M;
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                const double share = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
                const int far = static_cast<int>(generator() % 40);
                if (kind == 0) M(i, j) = share;
                if (kind == 1) M(i, j) = std::floor(4.0 * share);
                if (kind == 2) M(i, j) = std::ldexp(share, -far);
                if (kind == 3) M(i, j) = std::ldexp(i == j ? 2.0 : share, scale[i] + scale[j]);
            }
        }
        kv7::vector_fixed<double, 3> l;
        kv7::matrix_fixed<double, 3, 3> P;
        kv7::tessmaker::eigen3(M, l);
        add(l.values, 3);
        kv7::tessmaker::eigen3(M, l, P);
        add(l.values, 3);
        add(P.values, 9);
    }
    return hash;
}

} // namespace test

#endif
