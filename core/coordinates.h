// What functions ask of an array of node coordinates.
#ifndef TESSMAKER_CORE_COORDINATES_H
#define TESSMAKER_CORE_COORDINATES_H

#include <algorithm>
#include <cstddef>

#include "core/element_table.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline bool is_2d_or_3d(const dense2D<double>& pos) { return pos.rows() == 2 || pos.rows() == 3; }

// The limit for `check_IDs` that lets the columns of `pos` through.
inline unsigned int id_limit(const dense2D<double>& pos) {
    return static_cast<unsigned int>(std::min(pos.cols(), std::size_t{no_id}));
}

} // namespace kv7::tessmaker

#endif
