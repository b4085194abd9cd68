// Arithmetic on a group of two elements, in the 16-byte vector registers that every x86-64 machine
// has. Each operation rounds as the scalar one does, so that an element gets the same value in a
// group as alone.
#ifndef TESSMAKER_QUALITY_LANES_H
#define TESSMAKER_QUALITY_LANES_H

#include <cmath>
#include <cstddef>
#include <limits>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

using lanes = double __attribute__((vector_size(16)));
using lane_mask = decltype(lanes{} < lanes{}); // all bits of a lane, or none
inline constexpr std::size_t nbr_lanes = sizeof(lanes) / sizeof(double);

template <std::size_t DIM> using lane_vector = vector_fixed<lanes, DIM>;
using lane_point = lane_vector<3>;
using lane_plane_point = lane_vector<2>;

// 1 and -1 in all lanes, loaded from memory: for constants that it knows, g++ takes five
// instructions where `minpd` and `maxpd` do.
extern const lanes lane_ones;
extern const lanes lane_minus_ones;

// As std::min and std::max, lane by lane.
inline lanes lesser(lanes a, lanes b) { return b < a ? b : a; }
inline lanes greater(lanes a, lanes b) { return a < b ? b : a; }
inline lanes magnitude(lanes a) { return greater(a, -a); }
inline lanes root(lanes a) { return lanes{std::sqrt(a[0]), std::sqrt(a[1])}; }
// Whether all lanes are above 0 and finite. May be false for some that are, but only if one of them
// is not between 1e-154 and 1e154.
inline bool are_positive(lanes a) {
    const double product = a[0] * a[1];
    return product > 0.0 && product <= std::numeric_limits<double>::max();
}
inline bool all(lane_mask m) { return (m[0] & m[1]) != 0; }

inline lane_point operator-(const lane_point& a, const lane_point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline lanes dot(const lane_point& a, const lane_point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline lanes square(const lane_point& a) { return dot(a, a); }
inline lane_plane_point operator-(const lane_plane_point& a, const lane_plane_point& b) {
    return {a[0] - b[0], a[1] - b[1]};
}
inline lanes square(const lane_plane_point& a) { return a[0] * a[0] + a[1] * a[1]; }
inline lane_point cross(const lane_point& a, const lane_point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

} // namespace kv7::tessmaker

#endif
