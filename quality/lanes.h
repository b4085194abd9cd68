// Arithmetic on a group of two elements, in the 16-byte vector registers that every x86-64 machine
// has. Each operation rounds as the scalar one does, so that an element gets the same value in a
// group as alone.
#ifndef TESSMAKER_QUALITY_LANES_H
#define TESSMAKER_QUALITY_LANES_H

#include <array>
#include <cmath>
#include <cstddef>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

using lanes = double __attribute__((vector_size(16)));
using lane_mask = decltype(lanes{} < lanes{}); // all bits of a lane, or none
inline constexpr std::size_t nbr_lanes = sizeof(lanes) / sizeof(double);

using lane_point = vector_fixed<lanes, 3>;

// As std::min and std::max, lane by lane.
inline lanes lesser(lanes a, lanes b) { return b < a ? b : a; }
inline lanes greater(lanes a, lanes b) { return a < b ? b : a; }
inline lanes magnitude(lanes a) { return greater(a, -a); }
inline lanes root(lanes a) { return lanes{std::sqrt(a[0]), std::sqrt(a[1])}; }
inline bool all(lane_mask m) { return (m[0] & m[1]) != 0; }

inline lane_point operator-(const lane_point& a, const lane_point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline lanes dot(const lane_point& a, const lane_point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline lanes square(const lane_point& a) { return dot(a, a); }
inline lane_point cross(const lane_point& a, const lane_point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The corners of the element in one lane.
template <std::size_t N>
std::array<vector<3>, N> corners_of_lane(const std::array<lane_point, N>& p, std::size_t lane) {
    std::array<vector<3>, N> corners;
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t k = 0; k < 3; ++k) corners[i][k] = p[i][k][lane];
    }
    return corners;
}

// `q` in the lanes where it is clear; in the others, `rate` of the corners of that element.
template <std::size_t N, class Rate>
lanes where_clear(lane_mask is_clear, lanes q, const std::array<lane_point, N>& p, Rate rate) {
    if (all(is_clear)) return q;
    for (std::size_t lane = 0; lane < nbr_lanes; ++lane) {
        if (is_clear[lane] == 0) q[lane] = rate(corners_of_lane(p, lane));
    }
    return q;
}

} // namespace kv7::tessmaker

#endif
