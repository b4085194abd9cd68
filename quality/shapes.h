// The quality of one element from the coordinates of its corners. Formulas and orientations: see
// tessmaker/quality.h.
#ifndef TESSMAKER_QUALITY_SHAPES_H
#define TESSMAKER_QUALITY_SHAPES_H

#include <array>
#include <cmath>
#include <cstddef>

#include "core/small_vectors.h"
#include "quality/lanes.h"

namespace kv7::tessmaker {

using point = vector<3>; // z = 0 in 2D

// A quality at or below it counts as zero.
inline constexpr double q_zero = 1e-12;
// At or above this cosine between two corner normals a quadrangle is flat.
inline constexpr double flat_cos = 0.999999999999;

inline point operator-(const point& a, const point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline double square(const point& v) { return dot(v, v); }
// a . (b x c)
inline double determinant(const point& a, const point& b, const point& c) {
    return dot(a, cross(b, c));
}

// At most 1, and -1 for what lies below; what is not a number stays.
inline double at_most_one(double q) {
    if (q < -1.0) return -1.0;
    return q > 1.0 ? 1.0 : q;
}

// The formulas have no unit, but powers of lengths in them, up to the 16th, leave the range of a
// double. An element whose squared length is that far out is measured after a change of unit, by a
// power of two, which no rounding sees.
inline constexpr double tame_length2[] = {1e-30, 1e30};
inline bool needs_other_unit(double length2) {
    const bool is_tame = length2 > tame_length2[0] && length2 < tame_length2[1];
    return !is_tame && length2 > 0.0 && std::isfinite(length2);
}
inline lane_mask is_tame(lanes length2) {
    return (length2 > tame_length2[0]) & (length2 < tame_length2[1]);
}
// The corners in a unit in which that length is about 1.
template <std::size_t N>
std::array<point, N> in_other_unit(const std::array<point, N>& corners, double length2) {
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

// How flat a quadrangle in space is: 1 when it is, 0 when its corner normals oppose.
double quad_warp(const std::array<point, 4>& p);

double tetra_quality(const std::array<point, 4>& p);
// `base_is_warped` false leaves out the warp factor of the base.
double pyramid_quality(const std::array<point, 5>& p, bool base_is_warped);
double wedge_quality(const std::array<point, 6>& p);
double hexa_quality(const std::array<point, 8>& p);

// The same of several elements at once, to the last bit.
lanes tria_qualities_3d(const std::array<lane_point, 3>& p);
lanes tetra_qualities(const std::array<lane_point, 4>& p);
lanes hexa_qualities(const std::array<lane_point, 8>& p);

} // namespace kv7::tessmaker

#endif
