// The shape qualities of groups of triangles and quadrangles. They are short, so that a call would
// take a good part of their time.
#ifndef TESSMAKER_QUALITY_SURFACE_LANES_H
#define TESSMAKER_QUALITY_SURFACE_LANES_H

#include <array>
#include <cstddef>

#include "quality/lanes.h"
#include "quality/shapes.h"

namespace kv7::tessmaker {

inline constexpr double tria_scale = 3.4641016151377544; // 2 sqrt(3)
inline constexpr double quad_scale = 5.656854249492381;  // 4 sqrt(2)

// Of points or groups of points.
template <class Vector> auto cross_2d(const Vector& a, const Vector& b) {
    return a[0] * b[1] - a[1] * b[0];
}

// The sides of a quadrangle, as vectors from each corner to the next.
template <class Vector> std::array<Vector, 4> sides_of(const std::array<Vector, 4>& p) {
    return {p[1] - p[0], p[2] - p[1], p[3] - p[2], p[0] - p[3]};
}

// The sides of a group of triangles and their lengths.
template <class Vector> struct lane_sides {
    explicit lane_sides(const std::array<Vector, 3>& p)
        : a(p[0] - p[2]), b(p[1] - p[2]), c(b - a), la(root(square(a))), lb(root(square(b))),
          lc(root(square(c))) {}

    // The perimeter times the longest side. Not NaN if lb and lc are, but la is not.
    lanes perimeter_product() const {
        const lanes shortest = lesser(lesser(la, lb), lc);
        const lanes middle = greater(lesser(la, lb), lesser(greater(la, lb), lc));
        const lanes longest = greater(greater(la, lb), lc);
        return (middle + shortest + longest) * longest;
    }

    Vector a, b, c;
    lanes la, lb, lc;
};

// `yes` in the lanes of the mask, `no` in the others.
template <std::size_t DIM>
lane_vector<DIM> select(lane_mask mask, const lane_vector<DIM>& yes, const lane_vector<DIM>& no) {
    lane_vector<DIM> v;
    for (std::size_t k = 0; k < DIM; ++k) v[k] = mask ? yes[k] : no[k];
    return v;
}

// The shape qualities of a group of elements, with the same bits as those of one. False if an
// element must be rated alone.

inline bool tria_qualities_2d(const std::array<lane_plane_point, 3>& p, lanes& q) {
    const lane_sides<lane_plane_point> s(p);
    const lanes c = cross_2d(s.a, select(s.lc > lesser(s.la, s.lb), s.b, s.c));
    const lanes d = s.perimeter_product();
    q = clamped((c / d) * tria_scale);
    return are_positive(d * s.lb); // a NaN of lb alone may be lost in d
}

inline bool tria_qualities_3d(const std::array<lane_point, 3>& p, lanes& q) {
    const lane_sides<lane_point> s(p);
    const lanes d = s.perimeter_product();
    const lane_point second = select(s.lc < lesser(s.la, s.lb), s.c, s.b);
    q = lesser((tria_scale / d) * root(square(cross(s.a, second))), lane_ones);
    return all(is_safe(d) & (s.lb >= 0.0));
}

inline bool quad_qualities_2d(const std::array<lane_plane_point, 4>& p, lanes& q) {
    const std::array<lane_plane_point, 4> e = sides_of(p);
    const std::array<lanes, 4> e2{square(e[0]), square(e[1]), square(e[2]), square(e[3])};
    lanes corner = cross_2d(e[3], e[0]);
    for (std::size_t i = 1; i < 4; ++i) corner = lesser(corner, cross_2d(e[i - 1], e[i]));
    const lanes diagonal2 = greater(square(p[2] - p[0]), square(p[3] - p[1]));
    const lanes far2 = greater(greater(greater(e2[0], e2[1]), greater(e2[2], e2[3])), diagonal2);
    const lanes d = root(far2) * ((root(e2[2]) + root(e2[3])) + (root(e2[1]) + root(e2[0])));
    q = clamped((corner / d) * quad_scale);
    return are_positive(d);
}

} // namespace kv7::tessmaker

#endif
