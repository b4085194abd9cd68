#include <algorithm>

#include "core/element_walk.h"
#include "quality/shapes.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

// The corners of a column. Coordinates that `pos` does not have are 0.
template <std::size_t N>
std::array<point, N> corners_of(const dense2D<double>& pos, const unsigned int* column) {
    const std::size_t rows = std::min<std::size_t>(pos.rows(), 3);
    std::array<point, N> corners{};
    for (std::size_t i = 0; i < N; ++i) std::copy_n(pos.column(column[i]), rows, corners[i].values);
    return corners;
}

template <element_type TYPE>
double quality_of(const dense2D<double>& pos, const unsigned int* column) {
    if constexpr (TYPE == ET_BAR2) {
        return 1.0;
    } else {
        const auto p = corners_of<shape_of(TYPE).nbr_nodes>(pos, column);
        const bool is_plane = pos.rows() == 2;
        if constexpr (TYPE == ET_TRIA3) return is_plane ? tria_quality_2d(p) : tria_quality_3d(p);
        if constexpr (TYPE == ET_QUAD4) return is_plane ? quad_quality_2d(p) : quad_quality_3d(p);
        if constexpr (TYPE == ET_TETRA4) return tetra_quality(p);
        if constexpr (TYPE == ET_PYRA5) return pyramid_quality(p, pos.rows() == 3);
        if constexpr (TYPE == ET_PENTA6) return wedge_quality(p);
        if constexpr (TYPE == ET_HEXA8) return hexa_quality(p);
    }
}

// Gives `visit` each column and its quality, ascending, until it returns false. Whether the type is
// served.
template <class Visit>
bool for_each_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                      element_type type, Visit visit) {
    return with_linear_type(type, [&](auto linear) {
        for (std::size_t c = 0; c < connect.cols(); ++c) {
            const unsigned int* const column = connect.column(c);
            const double q = with_shape<linear()>(
                column, [&](auto shape) { return quality_of<shape()>(pos, column); });
            if (!visit(c, q)) return;
        }
    });
}

} // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                    element_type type, dense1D<double, 8>& qualities) {
    qualities.clear();
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, static_cast<unsigned int>(pos.cols()))) return -2;
    if (!qualities.resize(connect.cols())) return -199;
    double* const quality = qualities.data();
    const bool is_served = for_each_quality(pos, connect, type, [quality](std::size_t c, double q) {
        quality[c] = q;
        return true;
    });
    if (is_served) return 0;
    qualities.clear();
    return -3;
}

int min_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect, element_type type,
                double& q_min, unsigned int& element_index) {
    q_min = 1.0;
    element_index = no_id;
    type = resolve_mixed_type(connect.rows(), type);
    if (connect.empty() || type == ET_BAR2) return 0;
    if (!check_IDs(connect, type, static_cast<unsigned int>(pos.cols()))) return -2;
    const bool is_served = for_each_quality(pos, connect, type, [&](std::size_t c, double q) {
        if (q < q_min) {
            q_min = q;
            element_index = static_cast<unsigned int>(c);
        }
        return q_min > -1.0; // nothing lies below
    });
    return is_served ? 0 : -3;
}

} // namespace kv7::tessmaker
