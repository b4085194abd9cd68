// Triangles as STL files hold them: each with corners of its own.
#ifndef TESSMAKER_FORMATS_TRIANGLE_SOUP_H
#define TESSMAKER_FORMATS_TRIANGLE_SOUP_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline constexpr double no_height = std::numeric_limits<double>::max();

inline double squared_length(const vector<3>& v) { return dot(v, v); }

// The squared height of corner `a` over the opposite edge, computed from the nearer of the other
// two corners.
inline double height2(const double* a, const double* b, const double* c) {
    const bool b_is_near =
        squared_length(difference<3>(a, b)) <= squared_length(difference<3>(a, c));
    const double* const near = b_is_near ? b : c;
    const double* const far = b_is_near ? c : b;
    const vector<3> e = difference<3>(far, near);
    const vector<3> d = difference<3>(a, near);
    const double value = squared_length(cross(e, d));
    const double length2 = squared_length(e);
    return length2 > 0.0 ? value / length2 : value;
}

inline double triangle_min_height2(const double* corners) {
    double result = no_height;
    for (int i = 0; i < 3; ++i) {
        result = std::min(result, height2(corners + 3 * i, corners + 3 * ((i + 1) % 3),
                                          corners + 3 * ((i + 2) % 3)));
    }
    return result;
}

// Appends facets to `pos` in file order, each with three nodes of its own, and keeps the smallest
// height that isn't 0.
class triangle_soup {
public:
    explicit triangle_soup(dense2D<double>& pos) : pos_(pos) {}

    // Reserves room if memory allows.
    void reserve(std::size_t nbr_facets) { pos_.reserve(3, 3 * nbr_facets, 1); }

    // Adds `n` facets. Returns their coordinates, 9 for each, to be set; null when memory fails or
    // IDs run out.
    double* add(std::size_t n) {
        const std::size_t cols = pos_.cols();
        if (n > (max_nodes - cols) / 3) return nullptr;
        const std::size_t new_cols = cols + 3 * n;
        if (pos_.capacity() / 3 < new_cols) pos_.reserve(3, std::max(new_cols, 2 * cols), 1);
        return pos_.resize(3, new_cols) ? pos_.column(cols) : nullptr;
    }
    void measure(const double* corners) {
        const double h2 = triangle_min_height2(corners);
        if (h2 > 0.0) min_height2_ = std::min(min_height2_, h2);
    }

    // Nothing is to be welded if all facets are degenerate.
    bool has_height() const { return min_height2_ > 0.0 && min_height2_ < no_height; }
    // Corners closer than this are one node. A twentieth of the smallest height closes the gaps of
    // rounding and is far below every edge of a facet that has a height.
    double tolerance() const { return 0.05 * std::sqrt(min_height2_); }

private:
    static constexpr std::size_t max_nodes = no_id;

    dense2D<double>& pos_;
    double min_height2_ = no_height;
};

} // namespace kv7::tessmaker

#endif
