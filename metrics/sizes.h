// The range of valid sizes.
#ifndef TESSMAKER_METRICS_SIZES_H
#define TESSMAKER_METRICS_SIZES_H

#include <limits>

namespace kv7::tessmaker {

// The value that stands for no limit, and for an infinite measure.
inline constexpr double no_limit = std::numeric_limits<double>::max();

inline bool is_valid_size(double h) { return h > 0.0 && h < no_limit; }

// The eigenvalue that stands for the size h.
inline double inverse_square(double h) { return 1.0 / (h * h); }

} // namespace kv7::tessmaker

#endif
