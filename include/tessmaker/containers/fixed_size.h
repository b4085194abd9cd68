// Small values that hold their numbers inline: vectors, matrices, symmetric matrices, triads.
#ifndef TESSMAKER_CONTAINERS_FIXED_SIZE_H
#define TESSMAKER_CONTAINERS_FIXED_SIZE_H

#include <cstddef>

#include "tessmaker/api.h"

namespace kv7 {

// A record of three fields, compared in the order of the fields.
template <class A, class B, class C> struct TESSMAKER_API triad {
    // The fields.
    A first;
    B second;
    C third;

    // Equal if all fields are; less by the first field that differs.
    friend bool operator==(const triad& a, const triad& b) {
        return a.first == b.first && a.second == b.second && a.third == b.third;
    }
    friend bool operator!=(const triad& a, const triad& b) { return !(a == b); }
    friend bool operator<(const triad& a, const triad& b) {
        if (a.first < b.first) return true;
        if (b.first < a.first) return false;
        if (a.second < b.second) return true;
        if (b.second < a.second) return false;
        return a.third < b.third;
    }
};

// N values. `vector_fixed<double, 2>` and `<double, 3>` are points and directions.
template <class T, std::size_t N> struct vector_fixed {
    // The values.
    T values[N];

    // Value `k`; the first value.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }
};

// R * C values, column by column.
template <class T, std::size_t R, std::size_t C> struct matrix_fixed {
    // Entry (i, j) is values[j * R + i].
    T values[R * C];

    // The entry in row `i` of column `j`.
    constexpr T& operator()(std::size_t i, std::size_t j) noexcept { return values[j * R + i]; }
    constexpr const T& operator()(std::size_t i, std::size_t j) const noexcept {
        return values[j * R + i];
    }
    // Value `k` in the order of storage; the first value.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }
};

// Symmetric N by N matrix, entry (i, j) with i >= j at i * (i + 1) / 2 + j: (m00, m10, m11) or
// (m00, m10, m11, m20, m21, m22). This is LAPACK's packed upper triangle, and the order of a metric
// field's columns.
template <class T, std::size_t N> struct symmetric_fixed {
    // The lower triangle, row by row.
    T values[N * (N + 1) / 2];

    // Entry (i, j), which is also entry (j, i).
    constexpr T& operator()(std::size_t i, std::size_t j) noexcept { return values[index(i, j)]; }
    constexpr const T& operator()(std::size_t i, std::size_t j) const noexcept {
        return values[index(i, j)];
    }
    // Value `k` in the order of storage; the first value.
    constexpr T& operator[](std::size_t k) noexcept { return values[k]; }
    constexpr const T& operator[](std::size_t k) const noexcept { return values[k]; }
    constexpr T* data() noexcept { return values; }
    constexpr const T* data() const noexcept { return values; }

private:
    static constexpr std::size_t index(std::size_t i, std::size_t j) noexcept {
        return i >= j ? i * (i + 1) / 2 + j : j * (j + 1) / 2 + i;
    }
};

} // namespace kv7

#endif
