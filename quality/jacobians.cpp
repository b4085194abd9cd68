#include <array>
#include <cmath>

#include "core/element_walk.h"
#include "core/small_vectors.h"
#include "quality/element_rating.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

using point = vector<3>;

// The sum of vectors times a factor.
template <class... Vectors> point scaled_sum(double factor, const point& first, Vectors... more) {
    point sum = first;
    for (const point& v : std::array<point, sizeof...(more)>{more...}) {
        for (std::size_t k = 0; k < 3; ++k) sum[k] += v[k];
    }
    for (std::size_t k = 0; k < 3; ++k) sum[k] *= factor;
    return sum;
}

double length(const point& v) { return std::sqrt(dot(v, v)); }
// Twice the area of the triangle, six times the volume of the tetrahedron on these sides.
double area(const point& a, const point& b) { return length(cross(a, b)); }
double volume(const point& a, const point& b, const point& c) {
    return ((b[1] * c[2] - b[2] * c[1]) * a[0] - (b[0] * c[2] - b[2] * c[0]) * a[1]) +
           (b[0] * c[1] - b[1] * c[0]) * a[2];
}

// The determinant of the Jacobian at the centre of the reference shape; for bars and faces the
// length of its column, or of the cross product of its columns. Each column is a sum over the
// corners, with weights that add up to zero, and thus a sum of edges.
struct jacobian_measure {
    template <element_type SHAPE, class Element>
    double operator()(type_constant<SHAPE>, const Element& e) const {
        if constexpr (SHAPE == ET_BAR2) return length(e.edge(0, 1)) * 0.5;
        if constexpr (SHAPE == ET_TRIA3) return area(e.edge(2, 0), e.edge(2, 1));
        if constexpr (SHAPE == ET_QUAD4) {
            return area(scaled_sum(0.25, e.edge(0, 1), e.edge(3, 2)),
                        scaled_sum(0.25, e.edge(0, 3), e.edge(1, 2)));
        }
        if constexpr (SHAPE == ET_TETRA4) return volume(e.edge(3, 0), e.edge(3, 1), e.edge(3, 2));
        if constexpr (SHAPE == ET_PYRA5) {
            return volume(scaled_sum(0.25, e.edge(0, 1), e.edge(3, 2)),
                          scaled_sum(0.25, e.edge(0, 3), e.edge(1, 2)),
                          scaled_sum(0.25, e.edge(0, 4), e.edge(1, 4), e.edge(2, 4), e.edge(3, 4)));
        }
        if constexpr (SHAPE == ET_PENTA6) {
            return volume(scaled_sum(0.5, e.edge(2, 0), e.edge(5, 3)),
                          scaled_sum(0.5, e.edge(2, 1), e.edge(5, 4)),
                          scaled_sum(0.5 / 3.0, e.edge(0, 3), e.edge(1, 4), e.edge(2, 5)));
        }
        if constexpr (SHAPE == ET_HEXA8) {
            return volume(
                scaled_sum(0.125, e.edge(0, 1), e.edge(3, 2), e.edge(4, 5), e.edge(7, 6)),
                scaled_sum(0.125, e.edge(0, 3), e.edge(1, 2), e.edge(4, 7), e.edge(5, 6)),
                scaled_sum(0.125, e.edge(0, 4), e.edge(1, 5), e.edge(2, 6), e.edge(3, 7)));
        }
    }
};

} // namespace

int jacobians(const dense2D<double>& pos, const dense2D<unsigned int>& connect, element_type type,
              dense1D<double, 8>& jacobians) {
    return list_ratings(pos, connect, type, jacobian_measure{}, jacobians);
}

} // namespace kv7::tessmaker
