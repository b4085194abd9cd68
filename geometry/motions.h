// Motions of nodes in place, for all nodes, the last ones, or those of a list. A motion is a
// function object that changes the `dim` coordinates of one node.
#ifndef TESSMAKER_GEOMETRY_MOTIONS_H
#define TESSMAKER_GEOMETRY_MOTIONS_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

template <std::size_t N> bool is_zero(const vector_fixed<double, N>& v) {
    for (std::size_t i = 0; i < N; ++i) {
        if (v[i] != 0.0) return false;
    }
    return true;
}

inline bool is_zero(double v) { return v == 0.0; }

template <std::size_t N>
vector_fixed<double, N> scaled(double factor, const vector_fixed<double, N>& v) {
    vector<N> w;
    for (std::size_t i = 0; i < N; ++i) w[i] = factor * v[i];
    return w;
}

inline double scaled(double factor, double v) { return factor * v; }

template <std::size_t N> struct translation {
    static constexpr std::size_t dim = N;
    vector<N> shift;

    void operator()(double* p) const {
        for (std::size_t i = 0; i < N; ++i) p[i] += shift[i];
    }
};

// Counter-clockwise in the plane, the angle in radians.
class rotation_2d {
public:
    static constexpr std::size_t dim = 2;

    rotation_2d(const vector<2>& center, double angle)
        : center_(center), sine_(std::sin(angle)), cosine_(std::cos(angle)) {}

    void operator()(double* p) const {
        const vector<2> d = difference<2>(p, center_.data());
        p[0] = center_[0] + cosine_ * d[0] - sine_ * d[1];
        p[1] = center_[1] + sine_ * d[0] + cosine_ * d[1];
    }

private:
    vector<2> center_;
    double sine_;
    double cosine_;
};

// About the axis along v, by its length t in radians. Rodrigues: R = I + a W + b W^2, where
// W x = v cross x, a = sin(t) / t and b = (1 - cos(t)) / t^2.
class rotation_3d {
public:
    static constexpr std::size_t dim = 3;

    rotation_3d(const vector<3>& center, const vector<3>& v) : center_(center) {
        const double t2 = dot(v, v);
        const double t = std::sqrt(t2);
        double a = 0.0;
        double b = 0.0;
        if (t <= 0.1) {
            // 1 - cos(t) would cancel. The Taylor series by Horner, up to t^10 / 11! and t^8 / 10!;
            // the first terms left out are below 3e-19, far below the rounding of a and b.
            a = 1 - t2 / 6 * (1 - t2 / 20 * (1 - t2 / 42 * (1 - t2 / 72 * (1 - t2 / 110))));
            b = (1 - t2 / 12 * (1 - t2 / 30 * (1 - t2 / 56 * (1 - t2 / 90)))) / 2;
        } else {
            a = std::sin(t) / t;
            b = (1 - std::cos(t)) / t2;
        }
        const auto [x, y, z] = v.values;
        rows_[0] = {1 - b * (y * y + z * z), b * (x * y) - a * z, b * (x * z) + a * y};
        rows_[1] = {b * (x * y) + a * z, 1 - b * (x * x + z * z), b * (y * z) - a * x};
        rows_[2] = {b * (x * z) - a * y, b * (y * z) + a * x, 1 - b * (x * x + y * y)};
    }

    void operator()(double* p) const {
        const vector<3> d = difference<3>(p, center_.data());
        for (std::size_t i = 0; i < 3; ++i) p[i] = center_[i] + dot(rows_[i], d);
    }

private:
    vector<3> center_;
    std::array<vector<3>, 3> rows_;
};

inline rotation_2d rotation_about(const vector<2>& center, double angle) { return {center, angle}; }
inline rotation_3d rotation_about(const vector<3>& center, const vector<3>& v) {
    return {center, v};
}

// Distances from the centre multiplied by `excess` + 1, rounded in just this order.
template <std::size_t N> struct zooming {
    static constexpr std::size_t dim = N;
    vector<N> center;
    double excess;

    void operator()(double* p) const {
        for (std::size_t i = 0; i < N; ++i) p[i] = p[i] + (p[i] - center[i]) * excess;
    }
};

// Moves a node that has fewer coordinates than the motion: those that are missing count as 0, and
// what becomes of them is lost.
template <class Motion> void move_padded(double* p, std::size_t rows, const Motion& motion) {
    std::array<double, Motion::dim> padded{};
    std::copy_n(p, rows, padded.data());
    motion(padded.data());
    std::copy_n(padded.data(), rows, p);
}

// Gives `pos` as many rows as the motion has dimensions, and moves the nodes from `first` on. The
// motion comes by value: by reference it could be among the coordinates that are written, and would
// be read again for each node.
template <class Motion> void move_from(dense2D<double>& pos, std::size_t first, Motion motion) {
    constexpr std::size_t dim = Motion::dim;
    const std::size_t cols = pos.cols();
    if (pos.rows() < dim) pos.resize(dim, cols, 0.0); // kept: without memory the rest is moved
    const std::size_t rows = pos.rows();
    const std::size_t ld = pos.ld();
    double* p = pos.column(first);
    if (rows < dim) {
        for (std::size_t c = first; c < cols; ++c, p += ld) move_padded(p, rows, motion);
    } else if (ld == dim) {
        for (std::size_t c = first; c < cols; ++c, p += dim) motion(p);
    } else {
        for (std::size_t c = first; c < cols; ++c, p += ld) motion(p);
    }
}

// The same for the nodes of a list, less the values that are no columns. Returns the number of
// moves.
template <class Motion>
std::size_t move_listed(dense2D<double>& pos, const id_list& nodes, Motion motion) {
    constexpr std::size_t dim = Motion::dim;
    const std::size_t cols = pos.cols();
    if (pos.rows() < dim) pos.resize(dim, cols, 0.0); // kept: likewise
    const std::size_t rows = pos.rows();
    const std::size_t ld = pos.ld();
    double* const origin = pos.column(0);
    std::size_t nbr_moves = 0;
    for (const unsigned int node : nodes) {
        if (node >= cols) continue;
        double* const p = origin + node * ld;
        rows < dim ? move_padded(p, rows, motion) : motion(p);
        ++nbr_moves;
    }
    return nbr_moves;
}

} // namespace kv7::tessmaker

#endif
