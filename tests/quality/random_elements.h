// Random connectivities of any type, and numbers compared in units of their last place.
#ifndef TESSMAKER_TESTS_QUALITY_RANDOM_ELEMENTS_H
#define TESSMAKER_TESTS_QUALITY_RANDOM_ELEMENTS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"

namespace test {

inline std::size_t one_shape_of(random_source& random, kv7::element_type type) {
    if (type == kv7::ET_FACE_MIX) return random.between(3, 4);
    if (type != kv7::ET_SOLID_MIX) return kv7::tessmaker::nbr_nodes(type);
    return random.one_of(std::vector<std::size_t>{4, 5, 6, 8});
}

// Columns of random IDs below `limit`, which may repeat within a column. Mixed types get columns of
// all their shapes.
inline dense2D<unsigned int> random_elements(random_source& random, kv7::element_type type,
                                             std::size_t nbr_elements, std::size_t limit) {
    dense2D<unsigned int> connect(kv7::tessmaker::nbr_nodes(type), nbr_elements, none);
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const std::size_t nbr_nodes = one_shape_of(random, type);
        for (std::size_t r = 0; r < nbr_nodes; ++r) connect(r, c) = random.id_below(limit);
    }
    return connect;
}

// The first `rows` rows.
inline dense2D<unsigned int> first_rows(const dense2D<unsigned int>& connect, std::size_t rows) {
    dense2D<unsigned int> part(rows, connect.cols());
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        std::copy_n(connect.column(c), rows, part.column(c));
    }
    return part;
}

// Whether a and b differ by at most `nbr_ulps` units in the last place of the larger one, or of
// `scale` if that is larger still. NaNs are equal.
inline bool near_ulps(double a, double b, double nbr_ulps, double scale = 0.0) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    if (a == b) return true;
    const double size = std::max({std::fabs(a), std::fabs(b), scale});
    return std::fabs(a - b) <= nbr_ulps * std::numeric_limits<double>::epsilon() * size;
}

} // namespace test

#endif
