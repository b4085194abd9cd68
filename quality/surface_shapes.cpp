#include <algorithm>

#include "quality/shapes.h"
#include "quality/surface_lanes.h"

namespace kv7::tessmaker {

namespace {

// Keeps both values even if one is NaN.
void put_in_order(double& a, double& b) {
    const double low = a < b ? a : b;
    b = a < b ? b : a;
    a = low;
}

// The sides of a triangle and their lengths.
struct tria_sides {
    explicit tria_sides(const std::array<point, 3>& p)
        : a(p[0] - p[2]), b(p[1] - p[2]), c(b - a), la(std::sqrt(square(a))),
          lb(std::sqrt(square(b))), lc(std::sqrt(square(c))) {}

    point a, b, c;
    double la, lb, lc;
};

// The perimeter times the longest side; NaN if a side is.
double perimeter_product(const tria_sides& s) {
    double shortest = s.la;
    double middle = s.lb;
    double longest = s.lc;
    put_in_order(shortest, middle);
    put_in_order(middle, longest);
    put_in_order(shortest, middle);
    return (middle + shortest + longest) * longest;
}

// Kept: NaN becomes -1.
double clamped_or_worst(double q) {
    if (!(q >= -1.0)) return -1.0;
    return q > 1.0 ? 1.0 : q;
}

// The warp factor of two corner normals: 1 if they are parallel, 0 if they oppose. c is their
// scalar product, D the product of their squared lengths.
double warp_of(double c, double D) {
    const double cosine = std::max(c / std::sqrt(D), -1.0);
    return cosine >= flat_cos ? 1.0 : 1.0 - std::sqrt((1.0 - cosine) * 0.5);
}

struct corner_normals {
    explicit corner_normals(const std::array<point, 4>& e)
        : a(cross(e[0], e[1])), b(cross(e[1], e[2])), c(cross(e[2], e[3])), d(cross(e[3], e[0])),
          a2(square(a)), b2(square(b)), c2(square(c)), d2(square(d)) {}

    point a, b, c, d;
    double a2, b2, c2, d2;
};

// Which pair of normals is taken if both have the same signed squared cosine. Kept: elements take
// the first, facets of solids the second, and the cosines of the two may round differently.
enum class tie_goes_to { first, second };

// The warp factor of that pair of opposite corner normals whose signed squared cosine is smaller.
double warp_of(const corner_normals& n, tie_goes_to pair) {
    const double c1 = dot(n.c, n.a);
    const double D1 = n.c2 * n.a2;
    const double c2 = dot(n.d, n.b);
    const double D2 = n.d2 * n.b2;
    if (!(D1 > 0.0 && D2 > 0.0)) return 0.0;
    const double first = std::fabs(c1) * c1 * D2;
    const double second = std::fabs(c2) * c2 * D1;
    const bool is_first = first < second || (first == second && pair == tie_goes_to::first);
    return is_first ? warp_of(c1, D1) : warp_of(c2, D2);
}

double largest_side2(const std::array<point, 4>& e) {
    return std::max(std::max(square(e[0]), square(e[1])), std::max(square(e[2]), square(e[3])));
}

} // namespace

double tria_quality_2d(const std::array<point, 3>& p) {
    const tria_sides s(p);
    // The cross product of the two shortest sides has the smallest rounding error.
    const double c = cross_2d(s.a, s.lc > std::min(s.la, s.lb) ? s.b : s.c);
    const double d = perimeter_product(s);
    return clamped_or_worst(d > 0.0 ? (c / d) * tria_scale : 0.0);
}

double tria_quality_3d(const std::array<point, 3>& p) {
    const tria_sides s(p);
    const double d = perimeter_product(s);
    if (needs_scaling(d)) return tria_quality_3d(at_unit_scale(p, d));
    const double c = std::sqrt(square(cross(s.a, s.lc < std::min(s.la, s.lb) ? s.c : s.b)));
    return clamped_or_worst(d > 0.0 ? (tria_scale / d) * c : 0.0);
}

double quad_quality_2d(const std::array<point, 4>& p) {
    const std::array<point, 4> e = sides_of(p);
    double corner = cross_2d(e[3], e[0]);
    for (std::size_t i = 1; i < 4; ++i) corner = std::min(corner, cross_2d(e[i - 1], e[i]));
    double l_far = std::sqrt(largest_side2(e));
    const double diagonal2 = std::max(square(p[2] - p[0]), square(p[3] - p[1]));
    if (diagonal2 > largest_side2(e)) l_far = std::sqrt(diagonal2);
    const double d = l_far * ((std::sqrt(square(e[2])) + std::sqrt(square(e[3]))) +
                              (std::sqrt(square(e[1])) + std::sqrt(square(e[0]))));
    return clamped(d > 0.0 ? (corner / d) * quad_scale : 0.0);
}

double quad_quality_3d(const std::array<point, 4>& p) {
    const std::array<point, 4> e = sides_of(p);
    const double L2 =
        std::max(largest_side2(e), std::max(square(p[2] - p[0]), square(p[3] - p[1])));
    if (needs_scaling(L2)) return quad_quality_3d(at_unit_scale(p, L2));
    const corner_normals n(e);
    const double m = std::min(std::min(n.a2, n.b2), std::min(n.c2, n.d2));
    const double P = std::sqrt(square(e[3])) + std::sqrt(square(e[2])) + std::sqrt(square(e[1])) +
                     std::sqrt(square(e[0]));
    const double d = L2 * P * P;
    const double q = d > 0.0 ? std::sqrt(m / d) * quad_scale : 0.0;
    const double w = m > 0.0 ? warp_of(n, tie_goes_to::first) : 0.0;
    return std::clamp(q * w, 0.0, 1.0);
}

double quad_warp(const std::array<point, 4>& p) {
    const std::array<point, 4> e = sides_of(p);
    const double L2 = largest_side2(e);
    if (needs_scaling(L2)) return quad_warp(at_unit_scale(p, L2));
    return std::clamp(warp_of(corner_normals(e), tie_goes_to::second), 0.0, 1.0);
}

} // namespace kv7::tessmaker
