#include <cstddef>

#include "core/ids.h"
#include "quality/element_rating.h"
#include "quality/lanes.h"
#include "quality/shapes.h"
#include "quality/surface_lanes.h"
#include "tessmaker/quality.h"

namespace kv7::tessmaker {

namespace {

// How close an element is to the ideal of its shape, in coordinates of `rows` rows.
struct shape_measure {
    std::size_t rows;

    template <element_type SHAPE, class Element>
    double operator()(type_constant<SHAPE>, const Element& element) const {
        if constexpr (SHAPE == ET_BAR2) {
            return 1.0;
        } else {
            const auto p = element.template corners<nbr_corners<SHAPE>>();
            const bool is_plane = rows == 2;
            if constexpr (SHAPE == ET_TRIA3)
                return is_plane ? tria_quality_2d(p) : tria_quality_3d(p);
            if constexpr (SHAPE == ET_QUAD4)
                return is_plane ? quad_quality_2d(p) : quad_quality_3d(p);
            if constexpr (SHAPE == ET_TETRA4) return tetra_quality(p);
            if constexpr (SHAPE == ET_PYRA5) return pyramid_quality(p, rows == 3);
            if constexpr (SHAPE == ET_PENTA6) return wedge_quality(p);
            if constexpr (SHAPE == ET_HEXA8) return hexa_quality(p);
        }
    }

    static bool rate_group(type_constant<ET_TRIA3>, const lane_corners<ET_TRIA3, 2>& p, lanes& q) {
        return tria_qualities_2d(p, q);
    }
    static bool rate_group(type_constant<ET_TRIA3>, const lane_corners<ET_TRIA3, 3>& p, lanes& q) {
        return tria_qualities_3d(p, q);
    }
    static bool rate_group(type_constant<ET_QUAD4>, const lane_corners<ET_QUAD4, 2>& p, lanes& q) {
        return quad_qualities_2d(p, q);
    }
    static bool rate_group(type_constant<ET_TETRA4>, const lane_corners<ET_TETRA4, 3>& p,
                           lanes& q) {
        return tetra_qualities(p, q);
    }
    static bool rate_group(type_constant<ET_HEXA8>, const lane_corners<ET_HEXA8, 3>& p, lanes& q) {
        return hexa_qualities(p, q);
    }
};

} // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                    element_type type, dense1D<double, 8>& qualities) {
    return list_ratings(pos, connect, type, shape_measure{pos.rows()}, qualities);
}

int min_quality(const dense2D<double>& pos, const dense2D<unsigned int>& connect, element_type type,
                double& q_min, unsigned int& element_index) {
    q_min = 1.0;
    element_index = no_id;
    type = resolve_mixed_type(connect.rows(), type);
    if (connect.empty() || type == ET_BAR2) return 0;
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    const auto keep_smaller = [&](std::size_t c, double q) {
        if (q < q_min) {
            q_min = q;
            element_index = static_cast<unsigned int>(c);
        }
        return q_min > -1.0; // no quality is lower
    };
    const bool is_served =
        for_each_rating(pos, connect, type, shape_measure{pos.rows()}, keep_smaller);
    return is_served ? 0 : -3;
}

} // namespace kv7::tessmaker
