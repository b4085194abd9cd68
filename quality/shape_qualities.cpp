#include <array>
#include <cstddef>

#include "core/element_walk.h"
#include "core/ids.h"
#include "quality/corners.h"
#include "quality/lanes.h"
#include "quality/shapes.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

template <element_type TYPE> inline constexpr std::size_t nbr_corners = shape_of(TYPE).nbr_nodes;

template <element_type TYPE, class Reader>
double quality_of(const Reader& reader, std::size_t rows, const unsigned int* column) {
    if constexpr (TYPE == ET_BAR2) {
        return 1.0;
    } else {
        const auto p = reader.template corners<nbr_corners<TYPE>>(column);
        const bool is_plane = rows == 2;
        if constexpr (TYPE == ET_TRIA3) return is_plane ? tria_quality_2d(p) : tria_quality_3d(p);
        if constexpr (TYPE == ET_QUAD4) return is_plane ? quad_quality_2d(p) : quad_quality_3d(p);
        if constexpr (TYPE == ET_TETRA4) return tetra_quality(p);
        if constexpr (TYPE == ET_PYRA5) return pyramid_quality(p, rows == 3);
        if constexpr (TYPE == ET_PENTA6) return wedge_quality(p);
        if constexpr (TYPE == ET_HEXA8) return hexa_quality(p);
    }
}

// The types of which several columns are rated at once.
template <element_type TYPE>
inline constexpr bool has_lanes = TYPE == ET_TRIA3 || TYPE == ET_TETRA4 || TYPE == ET_HEXA8;

template <element_type TYPE>
lanes qualities_of(const node_reader<true>& reader, const unsigned int* column, std::size_t ld) {
    constexpr std::size_t N = nbr_corners<TYPE>;
    std::array<lane_point, N> p;
    for (std::size_t i = 0; i < N; ++i) {
        const point first = reader(column[i]);
        const point second = reader(column[ld + i]);
        for (std::size_t k = 0; k < 3; ++k) p[i][k] = lanes{first[k], second[k]};
    }
    if constexpr (TYPE == ET_TRIA3) return tria_qualities_3d(p);
    if constexpr (TYPE == ET_TETRA4) return tetra_qualities(p);
    if constexpr (TYPE == ET_HEXA8) return hexa_qualities(p);
}

// Gives `visit` each column and its quality, ascending, until it returns false. Whether the type is
// served.
template <class Visit>
bool for_each_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                      element_type type, Visit visit) {
    const std::size_t rows = pos.rows();
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const auto walk = [&](auto linear, auto reader) {
        const unsigned int* column = connect.column(0);
        std::size_t c = 0;
        if constexpr (has_lanes<linear()> && reader.in_space) {
            for (; c + nbr_lanes <= cols; c += nbr_lanes, column += nbr_lanes * ld) {
                for (std::size_t lane = 0; lane < nbr_lanes; ++lane) {
                    reader.template prefetch<linear()>(column + lane * ld, ld, cols - c - lane);
                }
                const lanes q = qualities_of<linear()>(reader, column, ld);
                for (std::size_t lane = 0; lane < nbr_lanes; ++lane) {
                    if (!visit(c + lane, q[lane])) return;
                }
            }
        }
        for (; c < cols; ++c, column += ld) {
            reader.template prefetch<linear()>(column, ld, cols - c);
            const double q = with_shape<linear()>(
                column, [&](auto shape) { return quality_of<shape()>(reader, rows, column); });
            if (!visit(c, q)) return;
        }
    };
    return with_linear_type(
        type, [&](auto linear) { with_reader(pos, [&](auto reader) { walk(linear, reader); }); });
}

} // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                    element_type type, dense1D<double, 8>& qualities) {
    qualities.clear();
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
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
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
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
