// The length of an edge in units of a size that varies along it.
#ifndef TESSMAKER_METRICS_EDGE_LENGTH_H
#define TESSMAKER_METRICS_EDGE_LENGTH_H

#include <cmath>

namespace kv7::tessmaker {

// Length, in units of size, of an edge along which the size varies geometrically from h0 to h1: the
// mean size is the logarithmic mean of the two, (h1 - h0) / ln(h1 / h0). With `as_quality` the
// result is that length or its inverse, whichever is not above 1.
inline double log_mean_length(double length, double h0, double h1, bool as_quality) {
    double h = h0;
    if (h0 != h1) {
        const double small = h1 < h0 ? h1 : h0;
        const double large = h0 < h1 ? h1 : h0;
        const double t = (small - large) / large; // in [-1, 0)
        double ratio;                             // t / log1p(t)
        if (t > -0.1) {
            // Near 0 / 0 by the Taylor series, in u = t / 2, up to u^4, whose factor is 19/45. The
            // first term left out, 3/160 t^5, is below 2e-7.
            constexpr double third = 0.3333333333333333;
            const double u = t * 0.5;
            ratio = 1.0 + u * (1.0 - u * (third - u * (third - 0.42222222222222217 * u)));
        } else {
            ratio = t / std::log1p(t);
        }
        h = large * ratio;
    }
    if (as_quality && length > h) return h / length;
    return h > 0.0 ? length / h : 0.0;
}

} // namespace kv7::tessmaker

#endif
