#include <algorithm>

#include "core/element_topology.h"
#include "quality/shapes.h"

namespace kv7::tessmaker {

namespace {

constexpr double tetra_scale = 4.898979485566356;   // 2 sqrt(6)
constexpr double pyramid_scale = 58.78775382679627; // 24 sqrt(6)
constexpr double wedge_scale = 31.17691453623979;   // 18 sqrt(3)
constexpr double hexa_scale = 41.569219381653056;   // 24 sqrt(3)

// A tetrahedron with a smaller quality is evaluated in other orders of its nodes too: 100 q_zero,
// so that rounding stays far below it.
constexpr double q_doubtful = 1e-10;
// A pyramid with a smaller quality is checked by its tetrahedra: 24 sqrt(3) * q_zero.
constexpr double q_pyramid_doubtful = 4.1569219381653057e-11;

// Products of the three edge vectors at one corner of a tetrahedron, or of a group of them.
template <class Vector> struct tetra_gram {
    using number = decltype(dot(Vector{}, Vector{}));

    tetra_gram(const Vector& a, const Vector& b, const Vector& c)
        : aa(square(a)), bb(square(b)), cc(square(c)), ab(dot(a, b)), ac(dot(a, c)), bc(dot(b, c)),
          ed_ac((aa - ac) + (cc - ac)), ed_ab((bb - ab) + (aa - ab)), ed_bc((cc - bc) + (bb - bc)),
          g((bc - ac) + (aa - ab)), g_bc(cc * bb - bc * bc), g_ac(aa * cc - ac * ac),
          g_ab(aa * bb - ab * ab), g_4(ed_ac * ed_ab - g * g) {}

    number aa, bb, cc, ab, ac, bc;
    // The squared lengths of the other three edges, and (a - b) . (a - c).
    number ed_ac, ed_ab, ed_bc, g;
    // Four times the squared areas of the facets.
    number g_bc, g_ac, g_ab, g_4;
};

struct tetra_value {
    double q;
    // Whether a facet is so thin that rounding may change the sign.
    bool is_doubtful;
};

// The quality of a tetrahedron from the three edge vectors at one corner.
tetra_value tetra_core(const point& a, const point& b, const point& c) {
    tetra_gram<point> m(a, b, c);
    const bool is_doubtful = !(m.ed_ab > 0.0) || !(m.ed_ac > 0.0) || !(m.ed_bc > 0.0) ||
                             m.g_bc < m.cc * m.bb * q_zero || m.g_ac < m.aa * m.cc * q_zero ||
                             m.g_ab < m.aa * m.bb * q_zero || m.g_4 < m.ed_ac * m.ed_ab * q_zero;
    if (is_doubtful) {
        m.g_bc = std::max(m.g_bc, 0.0);
        m.g_ac = std::max(m.g_ac, 0.0);
        m.g_ab = std::max(m.g_ab, 0.0);
        m.g_4 = std::max(m.g_4, 0.0);
    }
    const double L2 = std::max({m.aa, m.bb, m.cc, m.ed_ac, m.ed_ab, m.ed_bc});
    const double S = (std::sqrt(L2 * m.g_4) + std::sqrt(L2 * m.g_ab)) +
                     (std::sqrt(L2 * m.g_ac) + std::sqrt(L2 * m.g_bc));
    const double q = S > 0.0 ? clamped((determinant(a, b, c) / S) * tetra_scale) : 0.0;
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

// The quality of smallest magnitude over all even orders of the nodes; 0 if two differ in sign. `q`
// is the quality in the given order.
double smallest_tetra_value(const std::array<point, 4>& p, double q) {
    for (int k = 1; k < 12 && std::fabs(q) > q_zero; ++k) {
        const double other = tetra_core(even_order(p, k)).q;
        if (other * q <= 0.0) return 0.0;
        if (std::fabs(other) < std::fabs(q)) q = other;
    }
    return q;
}

// Kept: an element and the pyramid on a facet multiply in different orders, and round differently.
enum class pyramid_role { element, facet };

// `p` is the base, counterclockwise as seen from the apex, then the apex.
double pyramid_shape(const std::array<point, 5>& p, pyramid_role role) {
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
    return clamped(role == pyramid_role::element ? (pyramid_scale / volume) * D
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

// The value of the pyramid or tetrahedron between a solid's facet and its centroid, and the warp
// factor of the facet; or the smallest of each over several facets.
struct facet_values {
    double value = 1.0;
    double warp = 1.0;
};

// `p` is the pyramid on a quadrangle with the centroid as apex.
facet_values check_quadrangle(const std::array<point, 5>& p) {
    const double q = pyramid_shape(p, pyramid_role::facet);
    if (!(q > q_zero)) return {q, 0.0};
    if (q < q_pyramid_doubtful) {
        const double t = pyramid_tetras(p);
        if (!(t >= q_zero)) return {t, 0.0};
    }
    const double warp = quad_warp({p[0], p[1], p[2], p[3]});
    return {q * warp, warp};
}

// Stops at the first facet whose value counts as zero.
template <std::size_t N>
facet_values centroid_check(const std::array<point, N>& corners, const local_facets& facets,
                            double one_over_n) {
    point centroid = corners[0];
    for (std::size_t i = 1; i < N; ++i) {
        for (std::size_t k = 0; k < 3; ++k) centroid[k] += corners[i][k];
    }
    for (std::size_t k = 0; k < 3; ++k) centroid[k] *= one_over_n;

    facet_values result;
    for (unsigned int f = 0; f < facets.count && result.value > q_zero; ++f) {
        const auto& node = facets.facet[f].node;
        const auto corner = [&](std::size_t k) -> const point& { return corners[node[k]]; };
        if (facets.facet[f].size == 3) {
            const double q = tetra_quality({corner(2), corner(1), corner(0), centroid});
            result.value = std::min(result.value, q);
        } else {
            const facet_values of_facet =
                check_quadrangle({corner(0), corner(1), corner(2), corner(3), centroid});
            result.value = std::min(result.value, of_facet.value);
            result.warp = std::min(result.warp, of_facet.warp);
        }
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

// What wedge and hexahedron have in common: the smallest corner determinant, scaled by the squared
// edges, then the check of the facets.
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
    const double q = clamped(volume > 0.0 ? (scale / volume) * D : 0.0);
    if (!(q > q_zero)) return q;
    const facet_values facets = centroid_check(p, topology.facets, one_over_n);
    return facets.value < q_zero ? facets.value : q * facets.warp;
}

// The edges of hexahedra along the three axes of the reference cube.
struct hexa_edges {
    explicit hexa_edges(const std::array<lane_point, 8>& p)
        : x{p[1] - p[0], p[2] - p[3], p[5] - p[4], p[6] - p[7]},
          y{p[3] - p[0], p[2] - p[1], p[7] - p[4], p[6] - p[5]}, z{p[4] - p[0], p[5] - p[1],
                                                                   p[6] - p[2], p[7] - p[3]} {}

    lane_point x[4], y[4], z[4];
};

// The squared lengths of the edges.
struct hexa_squares {
    explicit hexa_squares(const hexa_edges& e) {
        for (std::size_t i = 0; i < 4; ++i) {
            x[i] = square(e.x[i]);
            y[i] = square(e.y[i]);
            z[i] = square(e.z[i]);
        }
    }
    // Added in the order of the table of edges, which decides the rounding.
    lanes sum() const {
        return x[0] + y[1] + x[1] + y[0] + x[2] + y[3] + x[3] + y[2] + z[0] + z[1] + z[2] + z[3];
    }
    lanes least() const {
        lanes result = x[0];
        for (std::size_t i = 0; i < 4; ++i)
            result = lesser(result, lesser(lesser(x[i], y[i]), z[i]));
        return result;
    }

    lanes x[4], y[4], z[4];
};

// The corner normals of a facet of hexahedra. Its edges are u0 and u1 along one axis, v0 and v1
// along the other; u0 and v0 meet at corner a, u0 and v1 at b, u1 and v1 at c, u1 and v0 at d.
struct facet_normals {
    facet_normals(const lane_point& u0, const lane_point& u1, const lane_point& v0,
                  const lane_point& v1)
        : a(cross(u0, v0)), b(cross(u0, v1)), c(cross(u1, v1)), d(cross(u1, v0)) {}

    lane_point a, b, c, d;
};

// The check of the facets of hexahedra, for elements that pass it clearly. All that is asked of the
// pyramid between a facet and the centroid is whether it counts as zero, so that its division and
// its root are avoided by comparing squares.
class hexa_facets {
public:
    // `ra` to `rd` are the corners, relative to the centroid. `side` is 1 if the normals point out
    // of the element, -1 if into it. `edges2` is the sum of the squared edges of the facet.
    void add(const facet_normals& n, const lane_point& ra, const lane_point& rb,
             const lane_point& rc, const lane_point& rd, double side, lanes edges2) {
        const lanes D = lesser(lesser(side * dot(n.a, ra), side * dot(n.b, rb)),
                               lesser(side * dot(n.c, rc), side * dot(n.d, rd)));
        const lanes S = 2.0 * (square(ra) + square(rb) + square(rc) + square(rd)) + edges2;
        constexpr double bound = pyramid_scale / clear_pyramid;
        are_clear_ &= (D > 0.0) & (D * D * (bound * bound) > S * S * S);

        // As in quad_warp. Where D is above 0, no normal is zero.
        const lanes c1 = dot(n.d, n.b);
        const lanes D1 = square(n.d) * square(n.b);
        const lanes c2 = dot(n.a, n.c);
        const lanes D2 = square(n.a) * square(n.c);
        const lane_mask is_first = magnitude(c1) * c1 * D2 < magnitude(c2) * c2 * D1;
        cosine_ = lesser(cosine_, (is_first ? c1 : c2) / root(is_first ? D1 : D2));
    }

    // The smallest warp factor. It is a monotonic function of the cosine even as rounded, so that
    // the smallest cosine gives it.
    lanes warp() const {
        const lanes cosine = greater(cosine_, lanes{} - 1.0);
        const lanes warped = 1.0 - root((1.0 - cosine) * 0.5);
        return cosine >= flat_cos ? lanes{} + 1.0 : warped;
    }
    // Where no facet has a value that counts as zero.
    lane_mask are_clear() const { return are_clear_ & (warp() > clear_warp); }

private:
    // Their product is 10 q_zero, and clear_pyramid is far above q_pyramid_doubtful.
    static constexpr double clear_pyramid = 1e-6;
    static constexpr double clear_warp = 1e-5;

    lanes cosine_ = lanes{} + 1.0;
    lane_mask are_clear_ = lanes{} == lanes{};
};

} // namespace

double tetra_quality(const std::array<point, 4>& p) {
    const double length2 =
        std::max({square(p[0] - p[3]), square(p[1] - p[3]), square(p[2] - p[3])});
    if (needs_scaling(length2)) return tetra_quality(at_unit_scale(p, length2));
    const tetra_value first = tetra_core(p);
    const bool is_clear = !first.is_doubtful && !(std::fabs(first.q) < q_doubtful);
    return is_clear ? first.q : smallest_tetra_value(p, first.q);
}

bool tetra_qualities(const std::array<lane_point, 4>& p, lanes& q) {
    const lane_point a = p[0] - p[3];
    const lane_point b = p[1] - p[3];
    const lane_point c = p[2] - p[3];
    const tetra_gram<lane_point> m(a, b, c);
    const lanes length2 = greater(greater(m.aa, m.bb), m.cc);
    const lanes L2 = greater(length2, greater(greater(m.ed_ac, m.ed_ab), m.ed_bc));
    const lanes S =
        (root(L2 * m.g_4) + root(L2 * m.g_ab)) + (root(L2 * m.g_ac) + root(L2 * m.g_bc));
    const lanes value = (dot(a, cross(b, c)) / S) * tetra_scale;
    const lane_mask is_clear = is_safe(length2) & (m.ed_ab > 0.0) & (m.ed_ac > 0.0) &
                               (m.ed_bc > 0.0) & (m.g_bc >= m.cc * m.bb * q_zero) &
                               (m.g_ac >= m.aa * m.cc * q_zero) & (m.g_ab >= m.aa * m.bb * q_zero) &
                               (m.g_4 >= m.ed_ac * m.ed_ab * q_zero) & (S > 0.0) &
                               (magnitude(value) >= q_doubtful);
    q = clamped(value);
    return all(is_clear);
}

double pyramid_quality(const std::array<point, 5>& p, bool base_is_warped) {
    const double q = pyramid_shape(p, pyramid_role::element);
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

bool hexa_qualities(const std::array<lane_point, 8>& p, lanes& q) {
    const hexa_edges e(p);
    const hexa_squares e2(e);
    const facet_normals bottom(e.x[0], e.x[1], e.y[0], e.y[1]);
    const facet_normals top(e.x[2], e.x[3], e.y[2], e.y[3]);
    lanes D = dot(bottom.a, e.z[0]);
    D = lesser(D, dot(bottom.b, e.z[1]));
    D = lesser(D, dot(bottom.c, e.z[2]));
    D = lesser(D, dot(bottom.d, e.z[3]));
    D = lesser(D, dot(top.a, e.z[0]));
    D = lesser(D, dot(top.b, e.z[1]));
    D = lesser(D, dot(top.c, e.z[2]));
    D = lesser(D, dot(top.d, e.z[3]));
    const lanes S = e2.sum();
    const lanes volume = S * root(S);
    const lanes value = (hexa_scale / volume) * D;

    lane_point centroid = p[0];
    for (std::size_t i = 1; i < 8; ++i) {
        for (std::size_t k = 0; k < 3; ++k) centroid[k] += p[i][k];
    }
    for (std::size_t k = 0; k < 3; ++k) centroid[k] *= 0.125;
    std::array<lane_point, 8> r;
    for (std::size_t i = 0; i < 8; ++i) r[i] = p[i] - centroid;

    constexpr double inward = -1.0;
    constexpr double outward = 1.0;
    hexa_facets facets;
    facets.add(bottom, r[0], r[1], r[2], r[3], inward, e2.x[0] + e2.x[1] + e2.y[0] + e2.y[1]);
    facets.add(top, r[4], r[5], r[6], r[7], outward, e2.x[2] + e2.x[3] + e2.y[2] + e2.y[3]);
    facets.add({e.y[0], e.y[2], e.z[0], e.z[3]}, r[0], r[3], r[7], r[4], inward,
               e2.y[0] + e2.y[2] + e2.z[0] + e2.z[3]);
    facets.add({e.y[1], e.y[3], e.z[1], e.z[2]}, r[1], r[2], r[6], r[5], outward,
               e2.y[1] + e2.y[3] + e2.z[1] + e2.z[2]);
    facets.add({e.z[0], e.z[1], e.x[0], e.x[2]}, r[0], r[4], r[5], r[1], inward,
               e2.z[0] + e2.z[1] + e2.x[0] + e2.x[2]);
    facets.add({e.z[3], e.z[2], e.x[1], e.x[3]}, r[3], r[7], r[6], r[2], outward,
               e2.z[3] + e2.z[2] + e2.x[1] + e2.x[3]);

    const lane_mask is_clear = (value > q_zero) & (e2.least() > safe_length2[0]) &
                               (S < safe_length2[1]) & facets.are_clear();
    q = lesser(value, lane_ones) * facets.warp();
    return all(is_clear);
}

} // namespace kv7::tessmaker
