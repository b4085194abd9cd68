#include <algorithm>

#include "core/element_topology.h"
#include "quality/shapes.h"

namespace kv7::tessmaker {

namespace {

constexpr double tetra_scale = 4.898979485566356;   // 2 sqrt(6)
constexpr double pyramid_scale = 58.78775382679627; // 24 sqrt(6)
constexpr double wedge_scale = 31.17691453623979;   // 18 sqrt(3)
constexpr double hexa_scale = 41.569219381653056;   // 24 sqrt(3)

// Below it a tetrahedron is evaluated again.
constexpr double q_doubtful = 1e-10;
// Below it a pyramid is judged by its tetrahedra: 24 sqrt(3) * 1e-12.
constexpr double q_pyramid_doubtful = 4.1569219381653057e-11;

struct tetra_value {
    double q;
    // Whether a facet is so thin that rounding may decide the sign.
    bool is_doubtful;
};

// The quality of a tetrahedron from the three edge vectors at one corner.
tetra_value tetra_core(const point& a, const point& b, const point& c) {
    const double aa = square(a);
    const double bb = square(b);
    const double cc = square(c);
    const double ab = dot(a, b);
    const double ac = dot(a, c);
    const double bc = dot(b, c);
    // The squares of the other three edges, and (a - b) . (a - c).
    const double ed_ac = (aa - ac) + (cc - ac);
    const double ed_ab = (bb - ab) + (aa - ab);
    const double ed_bc = (cc - bc) + (bb - bc);
    const double g = (bc - ac) + (aa - ab);
    // Four times the squared areas of the facets.
    double g_bc = cc * bb - bc * bc;
    double g_ac = aa * cc - ac * ac;
    double g_ab = aa * bb - ab * ab;
    double g_4 = ed_ac * ed_ab - g * g;
    const bool is_doubtful = !(ed_ab > 0.0) || !(ed_ac > 0.0) || !(ed_bc > 0.0) ||
                             g_bc < cc * bb * q_zero || g_ac < aa * cc * q_zero ||
                             g_ab < aa * bb * q_zero || g_4 < ed_ac * ed_ab * q_zero;
    if (is_doubtful) {
        g_bc = std::max(g_bc, 0.0);
        g_ac = std::max(g_ac, 0.0);
        g_ab = std::max(g_ab, 0.0);
        g_4 = std::max(g_4, 0.0);
    }
    const double L2 = std::max({aa, bb, cc, ed_ac, ed_ab, ed_bc});
    const double S = (std::sqrt(L2 * g_4) + std::sqrt(L2 * g_ab)) +
                     (std::sqrt(L2 * g_ac) + std::sqrt(L2 * g_bc));
    const double q = S > 0.0 ? at_most_one((determinant(a, b, c) / S) * tetra_scale) : 0.0;
    return {q, is_doubtful};
}

tetra_value tetra_core(const std::array<point, 4>& p) {
    return tetra_core(p[0] - p[3], p[1] - p[3], p[2] - p[3]);
}

// The k-th of the 12 even orders of the nodes of a tetrahedron.
std::array<point, 4> even_order(std::array<point, 4> p, int k) {
    std::rotate(p.begin(), p.begin() + k / 3, p.end());
    std::rotate(p.begin(), p.begin() + k % 3, p.begin() + 3);
    // Rotating four by an odd number of places is odd.
    if (k / 3 % 2 == 1) std::swap(p[0], p[1]);
    return p;
}

// The value of smallest magnitude over all orders of the nodes; 0 where two disagree about the
// sign.
double smallest_tetra_value(const std::array<point, 4>& p, double q) {
    for (int k = 1; k < 12 && std::fabs(q) > q_zero; ++k) {
        const double other = tetra_core(even_order(p, k)).q;
        if (other * q <= 0.0) return 0.0;
        if (std::fabs(other) < std::fabs(q)) q = other;
    }
    return q;
}

// Kept: the two forms round differently.
enum class pyramid_form { of_element, of_facet };

// `p` holds the base, counterclockwise as seen from the apex, and the apex.
double pyramid_shape(const std::array<point, 5>& p, pyramid_form form) {
    const point a = p[0] - p[4];
    const point b = p[1] - p[4];
    const point c = p[2] - p[4];
    const point d = p[3] - p[4];
    const point bd = cross(b, d);
    const point ac = cross(a, c);
    const double D = std::min(std::min(-dot(a, bd), dot(c, bd)), std::min(-dot(d, ac), dot(b, ac)));
    const double S = 2.0 * (square(a) + square(b) + square(c) + square(d)) +
                     (square(b - a) + square(c - b) + square(d - c) + square(a - d));
    const double volume = S * std::sqrt(S);
    if (!(volume > 0.0)) return 0.0;
    return at_most_one(form == pyramid_form::of_element ? (pyramid_scale / volume) * D
                                                        : (D / volume) * pyramid_scale);
}

// The smallest quality of the tetrahedra at the corners of the base.
double pyramid_tetras(const std::array<point, 5>& p) {
    double least = 1.0;
    for (std::size_t u = 1; u <= 4 && least > q_zero; ++u) {
        const double q = tetra_quality({p[u - 1], p[(u + 1) % 4], p[u % 4], p[4]});
        least = std::min(least, q);
    }
    return least;
}

// The smallest value of the pyramids and tetrahedra between a solid's facets and its centroid, and
// the smallest warp factor of its quadrangular facets.
struct facet_values {
    double p = 1.0;
    double w = 1.0;
};

template <std::size_t N>
facet_values centroid_check(const std::array<point, N>& corners, const local_facets& facets,
                            double one_over_n) {
    point centroid = corners[0];
    for (std::size_t i = 1; i < N; ++i) {
        for (std::size_t k = 0; k < 3; ++k) centroid[k] += corners[i][k];
    }
    for (std::size_t k = 0; k < 3; ++k) centroid[k] *= one_over_n;

    facet_values result;
    for (unsigned int f = 0; f < facets.count && result.p > q_zero; ++f) {
        const auto& node = facets.facet[f].node;
        if (facets.facet[f].size == 3) {
            const double q =
                tetra_quality({corners[node[2]], corners[node[1]], corners[node[0]], centroid});
            result.p = std::min(result.p, q);
            continue;
        }
        const std::array<point, 4> facet{corners[node[0]], corners[node[1]], corners[node[2]],
                                         corners[node[3]]};
        const std::array<point, 5> pyramid{facet[0], facet[1], facet[2], facet[3], centroid};
        const double q = pyramid_shape(pyramid, pyramid_form::of_facet);
        double value = q;
        double warp = 0.0;
        if (q > q_zero) {
            if (q < q_pyramid_doubtful) value = pyramid_tetras(pyramid);
            if (value >= q_zero) {
                warp = quad_warp(facet);
                value = q * warp;
            }
        }
        result.p = std::min(result.p, value);
        result.w = std::min(result.w, warp);
    }
    return result;
}

// A corner and its three neighbours, positive in this order.
struct solid_corner {
    unsigned char c, u, v, w;
};
constexpr std::array<solid_corner, 6> wedge_corners{
    {{0, 2, 3, 1}, {1, 0, 4, 2}, {2, 1, 5, 0}, {3, 4, 0, 5}, {4, 5, 1, 3}, {5, 3, 2, 4}}};
constexpr std::array<solid_corner, 8> hexa_corners{{{0, 1, 3, 4},
                                                    {1, 2, 0, 5},
                                                    {2, 3, 1, 6},
                                                    {3, 0, 2, 7},
                                                    {4, 7, 5, 0},
                                                    {5, 4, 6, 1},
                                                    {6, 5, 7, 2},
                                                    {7, 6, 4, 3}}};

// The frame of wedge and hexahedron.
template <std::size_t N>
double corner_quality(const std::array<point, N>& p, const std::array<solid_corner, N>& corners,
                      const element_topology& topology, double scale, double one_over_n) {
    double D = 0.0;
    for (std::size_t i = 0; i < N; ++i) {
        const solid_corner& n = corners[i];
        const double d = dot(cross(p[n.u] - p[n.c], p[n.v] - p[n.c]), p[n.w] - p[n.c]);
        D = i == 0 ? d : std::min(D, d);
    }
    double S = 0.0;
    for (unsigned int e = 0; e < topology.edges.count; ++e) {
        const local_edge edge = topology.edges.edge[e];
        S += square(p[edge.b] - p[edge.a]);
    }
    const double volume = S * std::sqrt(S);
    const double q = at_most_one(volume > 0.0 ? (scale / volume) * D : 0.0);
    if (!(q > q_zero)) return q;
    const facet_values facets = centroid_check(p, topology.facets, one_over_n);
    return facets.p < q_zero ? facets.p : q * facets.w;
}

} // namespace

double tetra_quality(const std::array<point, 4>& p) {
    const double length2 =
        std::max({square(p[0] - p[3]), square(p[1] - p[3]), square(p[2] - p[3])});
    if (needs_other_unit(length2)) return tetra_quality(in_other_unit(p, length2));
    const tetra_value first = tetra_core(p);
    const bool is_clear = !first.is_doubtful && !(std::fabs(first.q) < q_doubtful);
    return is_clear ? first.q : smallest_tetra_value(p, first.q);
}

double pyramid_quality(const std::array<point, 5>& p, bool base_is_warped) {
    const double q = pyramid_shape(p, pyramid_form::of_element);
    if (!(q > q_zero)) return q;
    if (q < q_pyramid_doubtful) {
        const double t = pyramid_tetras(p);
        if (t < q_zero) return t;
    }
    return base_is_warped ? q * quad_warp({p[0], p[1], p[2], p[3]}) : q;
}

double wedge_quality(const std::array<point, 6>& p) {
    return corner_quality(p, wedge_corners, topology_of(ET_PENTA6), wedge_scale,
                          0.16666666666666666);
}

double hexa_quality(const std::array<point, 8>& p) {
    return corner_quality(p, hexa_corners, topology_of(ET_HEXA8), hexa_scale, 0.125);
}

} // namespace kv7::tessmaker
