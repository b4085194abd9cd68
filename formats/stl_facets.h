// Facets of STL files that are written.
#ifndef TESSMAKER_FORMATS_STL_FACETS_H
#define TESSMAKER_FORMATS_STL_FACETS_H

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

// The unit normal, from the two shorter sides; zero for a degenerate triangle.
inline vector<3> facet_normal(const double* a, const double* b, const double* c) {
    const vector<3> u = difference<3>(a, c);
    const vector<3> v = difference<3>(b, c);
    const vector<3> w = difference<3>(b, a);
    const bool w_is_short = dot(w, w) <= std::min(dot(u, u), dot(v, v));
    vector<3> n = w_is_short ? cross(u, w) : cross(u, v);
    const double s = dot(n, n);
    if (s != 0.0 && s != 1.0) {
        const double factor = 1.0 / std::sqrt(s);
        for (std::size_t i = 0; i < 3; ++i) n[i] *= factor;
    }
    return n;
}

} // namespace kv7::tessmaker

#endif
