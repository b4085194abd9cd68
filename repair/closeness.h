// When two nodes are close, for all merges: the squared distance is at most the squared tolerance,
// and one node lies in the box of half-width `tol` around the other. As rounded, either test can
// refuse a pair that the other accepts.
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
