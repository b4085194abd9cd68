// By how much distances must differ for rounding not to decide which one is less.
#ifndef TESSMAKER_SEARCH_CLEAR_DISTANCE_H
#define TESSMAKER_SEARCH_CLEAR_DISTANCE_H

#include <cmath>
#include <limits>

namespace kv7::tessmaker {

// The squared distance before any point is found.
inline constexpr double no_distance = std::numeric_limits<double>::max();

// Distances from one point. With u = 1.1e-16: a squared distance in 3D is off by at most 5 u of
// itself (3 for each square, 2 for the sums), so its root by 3.5 u, and the bounds point -+ radius
// by which `plain_search` skips subtrees by u of |point| + radius. Two distances and two bounds
// meet, which 10 u (|point| + radius) covers. The margin here is ninety times as much.
template <unsigned DIM> class clear_distance {
public:
    explicit clear_distance(const double* point) {
        // Squares lose digits below 1.5e-154, the square root of the smallest normal double; this
        // keeps all that are compared far above it.
        double size = 1e-140;
        for (unsigned int axis = 0; axis < DIM; ++axis) size += std::fabs(point[axis]);
        margin_ = relative_margin * size;
    }

    // From this distance on, a point is clearly farther than one at the squared distance `dist2`.
    double beyond(double dist2) const {
        const double radius = std::sqrt(dist2);
        return radius + (margin_ + relative_margin * radius);
    }

private:
    static constexpr double relative_margin = 1e-13;

    double margin_;
};

} // namespace kv7::tessmaker

#endif
