// Clamping of the sizes of one metric.
#ifndef TESSMAKER_METRICS_METRIC_SPECTRUM_H
#define TESSMAKER_METRICS_METRIC_SPECTRUM_H

#include <cstddef>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Clamps the sizes of M to [hmin, hmax], for N = 2 and 3. Returns whether M has been changed and is
// valid.
template <std::size_t N>
bool bound_metric_core(symmetric_fixed<double, N>& M, double hmin, double hmax);

} // namespace kv7::tessmaker

#endif
