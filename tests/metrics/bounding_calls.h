// What tests of bounding share: one call for both measures, and fields.
#ifndef TESSMAKER_TESTS_METRICS_BOUNDING_CALLS_H
#define TESSMAKER_TESTS_METRICS_BOUNDING_CALLS_H

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "metrics/plain_measures.h"
#include "metrics/random_metrics.h"
#include "tessmaker/element_type.h"
#include "tessmaker/metric_fields.h"

namespace test {

using ids = dense1D<unsigned int>;
using size_field = dense1D<double>;
using metric_field = dense2D<double>;

inline constexpr measured both_measures[] = {measured::gradation, measured::variation};

template <class Field>
int bound(measured what, const dense2D<double>& pos, const dense2D<unsigned int>& connect,
          kv7::element_type type, const ids& nodes, bool nodes_fixed, int direction, double limit,
          Field& field) {
    return what == measured::gradation
               ? kv7::tessmaker::bound_metric_gradations(pos, connect, type, nodes, nodes_fixed,
                                                         direction, limit, field)
               : kv7::tessmaker::bound_metric_variations(pos, connect, type, nodes, nodes_fixed,
                                                         direction, limit, field);
}

// The change of size per length at the limit.
inline double slope(measured what, double limit) {
    return what == measured::gradation ? std::log1p(limit) : limit;
}

// The field of isotropic metrics of these sizes.
inline metric_field isotropic(std::size_t dim, const size_field& sizes) {
    metric_field metrics(dim * (dim + 1) / 2, sizes.size(), 0.0);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        for (std::size_t k = 0; k < dim; ++k) {
            metrics(k * (k + 3) / 2, i) = 1.0 / (sizes[i] * sizes[i]);
        }
    }
    return metrics;
}
// Along x.
inline double size_of(const metric_field& metrics, std::size_t i) {
    return 1.0 / std::sqrt(metrics(0, i));
}

// The largest difference of an entry, over the largest entry of its column.
inline double difference_of(const metric_field& a, const metric_field& b) {
    double difference = 0.0;
    for (std::size_t c = 0; c < a.cols(); ++c) {
        double scale = 0.0;
        double d = 0.0;
        for (std::size_t r = 0; r < a.rows(); ++r) {
            scale = std::max(scale, std::fabs(b(r, c)));
            d = std::max(d, std::fabs(a(r, c) - b(r, c)));
        }
        if (d > 0.0) difference = std::max(difference, d / scale);
    }
    return difference;
}

} // namespace test

#endif
