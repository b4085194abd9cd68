// Checks of an array of node coordinates.
#ifndef TESSMAKER_CORE_COORDINATES_H
#define TESSMAKER_CORE_COORDINATES_H

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline bool is_2d_or_3d(const dense2D<double>& pos) { return pos.rows() == 2 || pos.rows() == 3; }

} // namespace kv7::tessmaker

#endif
