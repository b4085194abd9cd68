// Plain references for the shape qualities of single elements: no shortcuts, and nothing shared
// between formulas. Operations are in the same order as in the library, so that the results have
// the same bits as long as no power of a length leaves the range of a double.
#ifndef TESSMAKER_TESTS_QUALITY_PLAIN_SHAPES_H
#define TESSMAKER_TESTS_QUALITY_PLAIN_SHAPES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace test::plain {

struct vec {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};
inline vec operator-(const vec& a, const vec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline vec operator+(const vec& a, const vec& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline vec operator*(double f, const vec& a) { return {f * a.x, f * a.y, f * a.z}; }
inline double dot(const vec& a, const vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline vec cross(const vec& a, const vec& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double det(const vec& a, const vec& b, const vec& c) { return dot(a, cross(b, c)); }
inline double norm(const vec& a) { return std::sqrt(dot(a, a)); }
inline double area(const vec& a, const vec& b) { return a.x * b.y - a.y * b.x; }
using corners = std::vector<vec>;

inline double clamped(double q) { return q < -1.0 ? -1.0 : std::min(q, 1.0); }

inline double tria(const corners& p, bool is_2d) {
    const vec a = p[0] - p[2];
    vec b = p[1] - p[2];
    std::array<double, 3> l = {norm(a), norm(b), norm(b - a)};
    const double smaller = std::min(l[0], l[1]);
    if (is_2d ? !(l[2] > smaller) : l[2] < smaller) b = b - a;
    std::sort(l.begin(), l.end());
    const double c = is_2d ? area(a, b) : norm(cross(a, b));
    const double d = (l[1] + l[0] + l[2]) * l[2];
    constexpr double constant = 3.4641016151377544;
    const double q = !(d > 0.0) ? 0.0 : is_2d ? c / d * constant : constant / d * c;
    return std::isnan(q) ? -1.0 : clamped(q);
}

inline std::array<vec, 4> sides(const corners& p) {
    return {p[1] - p[0], p[2] - p[1], p[3] - p[2], p[0] - p[3]};
}

inline double quad_2d(const corners& p) {
    const auto e = sides(p);
    const double perimeter = (norm(e[2]) + norm(e[3])) + (norm(e[1]) + norm(e[0]));
    double smallest = area(e[3], e[0]);
    double longest = 0.0;
    for (std::size_t i = 0; i < 4; ++i) {
        smallest = std::min(smallest, area(e[(i + 3) % 4], e[i]));
        longest = std::max(longest, norm(e[i]));
    }
    longest = std::max({longest, norm(p[2] - p[0]), norm(p[3] - p[1])});
    const double d = longest * perimeter;
    return d > 0.0 ? clamped(smallest / d * 5.656854249492381) : 0.0;
}

inline double factor_of(double c, double squares) {
    const double cosine = std::max(c / std::sqrt(squares), -1.0);
    return cosine >= 0.999999999999 ? 1.0 : 1.0 - std::sqrt((1.0 - cosine) / 2.0);
}

// If both pairs of normals have the same signed squared cosine, facets of solids take the second.
inline double warp(const corners& p, bool tie_goes_to_first = false) {
    const auto e = sides(p);
    const vec na = cross(e[0], e[1]);
    const vec nb = cross(e[1], e[2]);
    const vec nc = cross(e[2], e[3]);
    const vec nd = cross(e[3], e[0]);
    const double c1 = dot(na, nc);
    const double d1 = dot(na, na) * dot(nc, nc);
    const double c2 = dot(nd, nb);
    const double d2 = dot(nd, nd) * dot(nb, nb);
    if (!(d1 > 0.0) || !(d2 > 0.0)) return 0.0;
    const double first = std::fabs(c1) * c1 * d2;
    const double second = std::fabs(c2) * c2 * d1;
    const bool takes_first = tie_goes_to_first ? first <= second : first < second;
    const double w = takes_first ? factor_of(c1, d1) : factor_of(c2, d2);
    return std::clamp(w, 0.0, 1.0);
}

inline double quad_3d(const corners& p) {
    const auto e = sides(p);
    double m = 1e300;
    double longest2 = std::max(dot(p[2] - p[0], p[2] - p[0]), dot(p[3] - p[1], p[3] - p[1]));
    const double perimeter = norm(e[3]) + norm(e[2]) + norm(e[1]) + norm(e[0]);
    for (std::size_t i = 0; i < 4; ++i) {
        const vec normal = cross(e[i], e[(i + 1) % 4]);
        m = std::min(m, dot(normal, normal));
        longest2 = std::max(longest2, dot(e[i], e[i]));
    }
    const double d = longest2 * perimeter * perimeter;
    const double q = d > 0.0 ? std::sqrt(m / d) * 5.656854249492381 : 0.0;
    return m > 0.0 ? std::clamp(q * warp(p, true), 0.0, 1.0) : 0.0;
}

struct core {
    double q;
    bool is_doubtful;
};

inline core tetra_core(const vec& a, const vec& b, const vec& c) {
    const double aa = dot(a, a);
    const double bb = dot(b, b);
    const double cc = dot(c, c);
    const double ab = dot(a, b);
    const double ac = dot(a, c);
    const double bc = dot(b, c);
    const double ed_ac = (aa - ac) + (cc - ac);
    const double ed_ab = (bb - ab) + (aa - ab);
    const double ed_bc = (cc - bc) + (bb - bc);
    const double g = (bc - ac) + (aa - ab);
    double g_bc = cc * bb - bc * bc;
    double g_ac = aa * cc - ac * ac;
    double g_ab = aa * bb - ab * ab;
    double g_4 = ed_ac * ed_ab - g * g;
    const bool is_doubtful = !(ed_ab > 0.0) || !(ed_ac > 0.0) || !(ed_bc > 0.0) ||
                             g_bc < cc * bb * 1e-12 || g_ac < aa * cc * 1e-12 ||
                             g_ab < aa * bb * 1e-12 || g_4 < ed_ac * ed_ab * 1e-12;
    if (is_doubtful) {
        for (double* const g_i : {&g_bc, &g_ac, &g_ab, &g_4}) *g_i = std::max(*g_i, 0.0);
    }
    const double l2 = std::max({aa, bb, cc, ed_ab, ed_ac, ed_bc});
    const double s = (std::sqrt(l2 * g_4) + std::sqrt(l2 * g_ab)) +
                     (std::sqrt(l2 * g_ac) + std::sqrt(l2 * g_bc));
    if (!(s > 0.0)) return {0.0, is_doubtful};
    return {clamped(det(a, b, c) / s * 4.898979485566356), is_doubtful};
}

inline double tetra(const corners& p) {
    core first = tetra_core(p[0] - p[3], p[1] - p[3], p[2] - p[3]);
    double q = first.q;
    if (!first.is_doubtful && !(std::fabs(q) < 1e-10)) return q;
    for (std::ptrdiff_t k = 1; k < 12 && std::fabs(q) > 1e-12; ++k) {
        corners n(p.begin(), p.begin() + 4);
        std::rotate(n.begin(), n.begin() + k / 3, n.end());
        std::rotate(n.begin(), n.begin() + k % 3, n.begin() + 3);
        if (k / 3 % 2 == 1) std::swap(n[0], n[1]);
        const double other = tetra_core(n[0] - n[3], n[1] - n[3], n[2] - n[3]).q;
        if (other * q <= 0.0) return 0.0;
        if (std::fabs(other) < std::fabs(q)) q = other;
    }
    return q;
}

inline double pyramid_shape(const corners& p, bool is_facet = false) {
    const vec a = p[0] - p[4];
    const vec b = p[1] - p[4];
    const vec c = p[2] - p[4];
    const vec d = p[3] - p[4];
    const double smallest = std::min({-det(a, b, d), det(c, b, d), -det(d, a, c), det(b, a, c)});
    double to_apex = 0.0;
    for (const vec& edge : {a, b, c, d}) to_apex += dot(edge, edge);
    double base = 0.0;
    for (const vec& edge : {b - a, c - b, d - c, a - d}) base += dot(edge, edge);
    const double s = 2.0 * to_apex + base;
    const double power = s * std::sqrt(s);
    constexpr double constant = 58.78775382679627;
    if (!(power > 0.0)) return 0.0;
    return clamped(is_facet ? smallest / power * constant : constant / power * smallest);
}

inline double pyramid_tetras(const corners& p) {
    double smallest = 1.0;
    for (std::size_t u = 1; u <= 4 && smallest > 1e-12; ++u) {
        smallest = std::min(smallest, tetra({p[u - 1], p[(u + 1) % 4], p[u % 4], p[4]}));
    }
    return smallest;
}

inline double pyramid(const corners& p) {
    const double q = pyramid_shape(p);
    if (!(q > 1e-12)) return q;
    if (q < 4.1569219381653057e-11) {
        const double t = pyramid_tetras(p);
        if (t < 1e-12) return t;
    }
    return q * warp(p);
}

using facet = std::vector<std::size_t>;

inline double solid(const corners& p, const std::vector<std::array<std::size_t, 4>>& corner_edges,
                    const std::vector<std::array<std::size_t, 2>>& edges,
                    const std::vector<facet>& facets, double part, double constant) {
    double smallest = 1e300;
    for (const auto& [c, u, v, w] : corner_edges) {
        smallest = std::min(smallest, det(p[w] - p[c], p[u] - p[c], p[v] - p[c]));
    }
    double s = 0.0;
    for (const auto& [i, j] : edges) s += dot(p[j] - p[i], p[j] - p[i]);
    const double power = s * std::sqrt(s);
    const double q = power > 0.0 ? clamped(constant / power * smallest) : 0.0;
    if (!(q > 1e-12)) return q;

    vec centroid;
    for (const vec& corner : p) centroid = centroid + corner;
    centroid = part * centroid;
    double least = 1.0;
    double least_factor = 1.0;
    for (const facet& nodes : facets) {
        if (least <= 1e-12) break;
        if (nodes.size() == 3) {
            least = std::min(least, tetra({p[nodes[2]], p[nodes[1]], p[nodes[0]], centroid}));
            continue;
        }
        const corners on = {p[nodes[0]], p[nodes[1]], p[nodes[2]], p[nodes[3]], centroid};
        const double shape = pyramid_shape(on, true);
        double value = shape;
        double factor = 0.0;
        if (shape > 1e-12) {
            const bool is_clear = shape >= 4.1569219381653057e-11;
            if (!is_clear) value = pyramid_tetras(on);
            if (is_clear || value >= 1e-12) {
                factor = warp(on);
                value = shape * factor;
            }
        }
        least = std::min(least, value);
        least_factor = std::min(least_factor, factor);
    }
    return least < 1e-12 ? least : q * least_factor;
}

inline double wedge(const corners& p) {
    return solid(
        p, {{0, 2, 3, 1}, {1, 0, 4, 2}, {2, 1, 5, 0}, {3, 4, 0, 5}, {4, 5, 1, 3}, {5, 3, 2, 4}},
        {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}},
        {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {0, 2, 5, 3}, {1, 0, 3, 4}}, 0.16666666666666666,
        31.17691453623979);
}

inline double hexa(const corners& p) {
    return solid(
        p,
        {{0, 1, 3, 4},
         {1, 2, 0, 5},
         {2, 3, 1, 6},
         {3, 0, 2, 7},
         {4, 7, 5, 0},
         {5, 4, 6, 1},
         {6, 5, 7, 2},
         {7, 6, 4, 3}},
        {{0, 1},
         {1, 2},
         {2, 3},
         {3, 0},
         {4, 5},
         {5, 6},
         {6, 7},
         {7, 4},
         {0, 4},
         {1, 5},
         {2, 6},
         {3, 7}},
        {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}}, 0.125,
        41.569219381653056);
}

// The shape is told by the number of corners; 4 are a quadrangle if `is_face`, else a tetrahedron.
inline double quality(const corners& p, bool is_face, bool is_2d) {
    switch (p.size()) {
    case 2: return 1.0;
    case 3: return tria(p, is_2d);
    case 4: return !is_face ? tetra(p) : is_2d ? quad_2d(p) : quad_3d(p);
    case 5: return pyramid(p);
    case 6: return wedge(p);
    default: return hexa(p);
    }
}

} // namespace test::plain

#endif
