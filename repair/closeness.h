// When two nodes are close, as all merges take it: one lies in the box of the other, and the
// squares of distance and tolerance compare (`squared_distance`). The box as rounded filters beside
// the distance.
#ifndef TESSMAKER_REPAIR_CLOSENESS_H
#define TESSMAKER_REPAIR_CLOSENESS_H

#include "core/small_vectors.h"

namespace kv7::tessmaker {

// Whether `p` lies within `tol` of `center` on every axis, bounds included.
template <unsigned int DIM> bool is_in_box(const double* center, double tol, const double* p) {
    for (unsigned int axis = 0; axis < DIM; ++axis) {
        if (!(center[axis] - tol <= p[axis] && p[axis] <= center[axis] + tol)) return false;
    }
    return true;
}

} // namespace kv7::tessmaker

#endif
