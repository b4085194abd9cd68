#include <array>
#include <cmath>

#include "core/element_walk.h"
#include "core/ids.h"
#include "core/small_vectors.h"
#include "quality/corners.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

using point = vector<3>;

// The corners of one column. Edges are read from where the nodes are: copies of corners would be
// read across the bounds of what was written, for which the machine waits.
template <class Reader> struct corners {
    point edge(std::size_t i, std::size_t j) const { return reader.edge(column[i], column[j]); }

    const Reader& reader;
    const unsigned int* column;
};

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
double area(const point& a, const point& b) { return length(cross(a, b)); }
double volume(const point& a, const point& b, const point& c) {
    return ((b[1] * c[2] - b[2] * c[1]) * a[0] - (b[0] * c[2] - b[2] * c[0]) * a[1]) +
           (b[0] * c[1] - b[1] * c[0]) * a[2];
}

// The columns of the Jacobian at the centre of the reference shape are sums of edges: the weights
// of the corners add up to zero in each.
template <element_type TYPE, class Reader> double jacobian_of(const corners<Reader>& p) {
    if constexpr (TYPE == ET_BAR2) return length(p.edge(0, 1)) * 0.5;
    if constexpr (TYPE == ET_TRIA3) return area(p.edge(2, 0), p.edge(2, 1));
    if constexpr (TYPE == ET_QUAD4) {
        return area(scaled_sum(0.25, p.edge(0, 1), p.edge(3, 2)),
                    scaled_sum(0.25, p.edge(0, 3), p.edge(1, 2)));
    }
    if constexpr (TYPE == ET_TETRA4) return volume(p.edge(3, 0), p.edge(3, 1), p.edge(3, 2));
    if constexpr (TYPE == ET_PYRA5) {
        return volume(scaled_sum(0.25, p.edge(0, 1), p.edge(3, 2)),
                      scaled_sum(0.25, p.edge(0, 3), p.edge(1, 2)),
                      scaled_sum(0.25, p.edge(0, 4), p.edge(1, 4), p.edge(2, 4), p.edge(3, 4)));
    }
    if constexpr (TYPE == ET_PENTA6) {
        return volume(scaled_sum(0.5, p.edge(2, 0), p.edge(5, 3)),
                      scaled_sum(0.5, p.edge(2, 1), p.edge(5, 4)),
                      scaled_sum(0.5 / 3.0, p.edge(0, 3), p.edge(1, 4), p.edge(2, 5)));
    }
    if constexpr (TYPE == ET_HEXA8) {
        return volume(scaled_sum(0.125, p.edge(0, 1), p.edge(3, 2), p.edge(4, 5), p.edge(7, 6)),
                      scaled_sum(0.125, p.edge(0, 3), p.edge(1, 2), p.edge(4, 7), p.edge(5, 6)),
                      scaled_sum(0.125, p.edge(0, 4), p.edge(1, 5), p.edge(2, 6), p.edge(3, 7)));
    }
}

template <element_type TYPE, class Reader>
void walk(const Reader& reader, const dense2D<unsigned int>& connect, double* values) {
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const unsigned int* column = connect.column(0);
    for (std::size_t c = 0; c < cols; ++c, column += ld) {
        reader.template prefetch<TYPE>(column, ld, cols - c);
        values[c] = with_shape<TYPE>(column, [&](auto shape) {
            return jacobian_of<shape()>(corners<Reader>{reader, column});
        });
    }
}

} // namespace

int jacobians(const dense2D<double>& pos, const dense2D<unsigned int>& connect, element_type type,
              dense1D<double, 8>& jacobians) {
    jacobians.clear();
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    if (!jacobians.resize(connect.cols())) return -199;
    const bool is_served = with_linear_type(type, [&](auto linear) {
        with_reader(pos, [&](auto reader) { walk<linear()>(reader, connect, jacobians.data()); });
    });
    if (is_served) return 0;
    jacobians.clear();
    return -3;
}

} // namespace kv7::tessmaker
