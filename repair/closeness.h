// When two nodes are close, as all merges take it: one lies in the box of the other, and the
// squares of distance and tolerance compare. The box as rounded filters beside the distance.
#ifndef TESSMAKER_REPAIR_CLOSENESS_H
#define TESSMAKER_REPAIR_CLOSENESS_H

namespace kv7::tessmaker {

// Whether `p` lies within `tol` of `center` on every axis, bounds included.
template <unsigned int DIM> bool is_in_box(const double* center, double tol, const double* p) {
    for (unsigned int axis = 0; axis < DIM; ++axis) {
        if (!(center[axis] - tol <= p[axis] && p[axis] <= center[axis] + tol)) return false;
    }
    return true;
}

// The order of the sum is part of the result.
template <unsigned int DIM> double squared_distance(const double* p, const double* q) {
    const double dx = p[0] - q[0];
    const double dy = p[1] - q[1];
    const double in_plane = dy * dy + dx * dx;
    if constexpr (DIM == 2) return in_plane;
    const double dz = p[DIM - 1] - q[DIM - 1];
    return in_plane + dz * dz;
}

} // namespace kv7::tessmaker

#endif
