// The shape quality of one element from the coordinates of its corners. For formulas and
// orientations see tessmaker/quality.h.
#ifndef TESSMAKER_QUALITY_SHAPES_H
#define TESSMAKER_QUALITY_SHAPES_H

#include <array>
#include <cmath>
#include <cstddef>

#include "core/small_vectors.h"
#include "quality/lanes.h"

namespace kv7::tessmaker {

using point = vector<3>; // z = 0 in 2D

// A quality at or below it counts as zero. It is 4500 times the relative rounding error of a
// double, 2.2e-16: coordinates may be some hundred times as large as the element before their
// rounding shows.
inline constexpr double q_zero = 1e-12;
// A quadrangle is flat if the cosine of the angle between its corner normals is at least this,
// 1 - q_zero: the angle is at most 1.4e-6.
inline constexpr double flat_cos = 0.999999999999;

inline point operator-(const point& a, const point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline double square(const point& v) { return dot(v, v); }
// a . (b x c)
inline double determinant(const point& a, const point& b, const point& c) {
    return dot(a, cross(b, c));
}

// Clamped to the range from -1 to 1; NaN stays.
inline double clamped(double q) {
    if (q < -1.0) return -1.0;
    return q > 1.0 ? 1.0 : q;
}
inline lanes clamped(lanes q) { return lesser(greater(q, lane_minus_ones), lane_ones); }

// The formulas have no unit, but they contain powers of lengths, up to the 16th. In this range of
// squared lengths these lie between 1e-240 and 1e240, within the range of a double. Other elements
// are scaled first, by a power of two, so that nothing is rounded.
inline constexpr double safe_length2[] = {1e-30, 1e30};
inline bool needs_scaling(double length2) {
    const bool is_safe = length2 > safe_length2[0] && length2 < safe_length2[1];
    return !is_safe && length2 > 0.0 && std::isfinite(length2);
}
inline lane_mask is_safe(lanes length2) {
    return (length2 > safe_length2[0]) & (length2 < safe_length2[1]);
}
// The corners, scaled so that the length becomes about 1.
template <std::size_t N>
std::array<point, N> at_unit_scale(const std::array<point, N>& corners, double length2) {
    const double factor = std::ldexp(1.0, -std::ilogb(length2) / 2);
    std::array<point, N> scaled;
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t k = 0; k < 3; ++k) scaled[i][k] = corners[i][k] * factor;
    }
    return scaled;
}

// Signed in 2D, 0 or above in 3D.
double tria_quality_2d(const std::array<point, 3>& p);
double tria_quality_3d(const std::array<point, 3>& p);
double quad_quality_2d(const std::array<point, 4>& p);
double quad_quality_3d(const std::array<point, 4>& p);

// The warp factor of a quadrangle in space: 1 if it is flat, 0 if opposite corner normals oppose.
double quad_warp(const std::array<point, 4>& p);

double tetra_quality(const std::array<point, 4>& p);
// Without `base_is_warped`, the warp factor of the base is left out.
double pyramid_quality(const std::array<point, 5>& p, bool base_is_warped);
double wedge_quality(const std::array<point, 6>& p);
double hexa_quality(const std::array<point, 8>& p);

// The same for a group of elements, with the same bits. False if an element must be rated alone.
// For triangles and quadrangles see surface_lanes.h.
bool tetra_qualities(const std::array<lane_point, 4>& p, lanes& q);
bool hexa_qualities(const std::array<lane_point, 8>& p, lanes& q);

} // namespace kv7::tessmaker

#endif
