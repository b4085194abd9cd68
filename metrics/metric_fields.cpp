#include "tessmaker/metric_fields.h"

#include <algorithm>
#include <cmath>

#include "core/ids.h"
#include "core/outputs.h"
#include "core/small_vectors.h"
#include "metrics/metric_spectrum.h"
#include "metrics/sizes.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

namespace {

// A column of a metric field as a metric, and back.
template <std::size_t N> metric<N> metric_of(const double* column) {
    metric<N> M;
    std::copy_n(column, metric_size<N>, M.values);
    return M;
}
template <std::size_t N> void store(const metric<N>& M, double* column) {
    std::copy_n(M.values, metric_size<N>, column);
}

bool is_metric_field(const dense2D<double>& metrics) {
    return metrics.rows() == metric_size<2> || metrics.rows() == metric_size<3>;
}

// The validity of column `i` of a field of 3 or 6 rows.
bool is_valid_column(const dense2D<double>& metrics, std::size_t i) {
    const double* const column = metrics.column(i);
    return metrics.rows() == metric_size<2> ? is_valid_metric(metric_of<2>(column))
                                            : is_valid_metric(metric_of<3>(column));
}

template <std::size_t N> void set_isotropic(double h, double* column) {
    metric<N> M;
    metric_aniso(h, M);
    store(M, column);
}

// The first index below `n` for which `is_invalid` holds, or `n`.
template <class Test> unsigned int first_index(std::size_t n, Test is_invalid) {
    std::size_t i = 0;
    while (i < n && !is_invalid(i)) ++i;
    return static_cast<unsigned int>(i);
}

// Offers each invalid one of the first `n` columns to `write(i, column)`, which returns whether it
// has replaced it. Returns how many were replaced.
template <class Write> int replace_invalid(dense2D<double>& metrics, std::size_t n, Write write) {
    int count = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!is_valid_column(metrics, i) && write(i, metrics.column(i))) ++count;
    }
    return count;
}

template <std::size_t N>
int overwrite_by(dense2D<double>& metrics, const symmetric_fixed<double, N>& M) {
    if (metrics.empty()) return 0;
    if (metrics.rows() != metric_size<N>) return -1;
    if (!is_valid_metric(M)) return -2;
    return replace_invalid(metrics, metrics.cols(), [&M](std::size_t, double* column) {
        store(M, column);
        return true;
    });
}

// Clamps each entry and calls `changed` with the index of each that has changed.
template <class Changed>
void clamp_entries(dense1D<double, 8>& sizes, double hmin, double hmax, Changed changed) {
    double* const h = sizes.data();
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        // Kept: below hmin (or not a number) an entry becomes hmin, even if hmin is above hmax.
        if (!(h[i] >= hmin)) {
            h[i] = hmin;
        } else if (h[i] > hmax) {
            h[i] = hmax;
        } else {
            continue;
        }
        changed(static_cast<unsigned int>(i));
    }
}

template <std::size_t N, class Changed>
void clamp_columns(dense2D<double>& metrics, double hmin, double hmax, Changed changed) {
    for (std::size_t i = 0; i < metrics.cols(); ++i) {
        metric<N> M = metric_of<N>(metrics.column(i));
        // Kept: a metric that is not valid after clamping is stored, but doesn't count.
        const bool is_changed = bound_metric_core(M, hmin, hmax);
        store(M, metrics.column(i));
        if (is_changed) changed(static_cast<unsigned int>(i));
    }
}
template <class Changed>
void clamp_entries(dense2D<double>& metrics, double hmin, double hmax, Changed changed) {
    if (metrics.rows() == metric_size<2>) {
        clamp_columns<2>(metrics, hmin, hmax, changed);
    } else {
        clamp_columns<3>(metrics, hmin, hmax, changed);
    }
}

bool has_field_rows(const dense1D<double, 8>&) { return true; }
bool has_field_rows(const dense2D<double>& metrics) { return is_metric_field(metrics); }

// Checks the arguments and, if there is a bound, clamps the field. Returns 0 or the code of the
// failed check.
template <class Field, class Changed>
int clamp_field(Field& field, double hmin, double hmax, Changed changed) {
    if (field.empty() || (!(hmin > 0.0) && hmax == no_limit)) return 0;
    if (!has_field_rows(field)) return -1;
    if (!std::isfinite(hmin)) return -2;
    if (!std::isfinite(hmax)) return -3;
    clamp_entries(field, hmin, hmax, changed);
    return 0;
}

template <class Field> int clamp_and_count(Field& field, double hmin, double hmax) {
    int count = 0;
    const int fault = clamp_field(field, hmin, hmax, [&count](unsigned int) { ++count; });
    return fault < 0 ? fault : count;
}

template <class Field>
int clamp_and_list(Field& field, double hmin, double hmax, id_list& modified) {
    clear_outputs(outputs{modified}, inputs{field});
    const int fault =
        clamp_field(field, hmin, hmax, [&modified](unsigned int i) { modified.push_back(i); });
    return fault < 0 ? fault : static_cast<int>(modified.size());
}

bool has_shape(const dense2D<double>& metrics, std::size_t rows, std::size_t cols) {
    return metrics.rows() == rows && metrics.cols() >= cols;
}

matrix_fixed<double, 3, 2> frame_of(const double* column) {
    matrix_fixed<double, 3, 2> frame;
    std::copy_n(column, 6, frame.values);
    return frame;
}

template <std::size_t N>
int iso_to_aniso(const dense1D<double, 8>& sizes, dense2D<double>& metrics) {
    if (sizes.empty() && metrics.empty()) return 0;
    if (!has_shape(metrics, metric_size<N>, sizes.size())) return -2;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        if (sizes[i] > 0.0) set_isotropic<N>(sizes[i], metrics.column(i));
    }
    return 0;
}

} // namespace

unsigned int first_invalid_metric(const dense1D<double, 8>& sizes) {
    return first_index(sizes.size(), [&](std::size_t i) { return !is_valid_size(sizes[i]); });
}

unsigned int first_invalid_metric(const dense2D<double>& metrics) {
    if (!is_metric_field(metrics)) return 0;
    return first_index(metrics.cols(), [&](std::size_t i) { return !is_valid_column(metrics, i); });
}

unsigned int first_invalid_metric(const id_list& nodes, const dense1D<double, 8>& sizes) {
    return first_index(nodes.size(), [&](std::size_t i) {
        return nodes[i] >= sizes.size() || !is_valid_size(sizes[nodes[i]]);
    });
}

unsigned int first_invalid_metric(const id_list& nodes, const dense2D<double>& metrics) {
    if (!is_metric_field(metrics)) return 0;
    return first_index(nodes.size(), [&](std::size_t i) {
        return nodes[i] >= metrics.cols() || !is_valid_column(metrics, nodes[i]);
    });
}

bool are_valid_metrics(const dense1D<double, 8>& sizes) {
    return first_invalid_metric(sizes) == sizes.size();
}

bool are_valid_metrics(const dense2D<double>& metrics) {
    return first_invalid_metric(metrics) == metrics.cols();
}

bool are_valid_metrics(const id_list& nodes, const dense1D<double, 8>& sizes) {
    return first_invalid_metric(nodes, sizes) == nodes.size();
}

bool are_valid_metrics(const id_list& nodes, const dense2D<double>& metrics) {
    return first_invalid_metric(nodes, metrics) == nodes.size();
}

void valid_metrics(const dense2D<double>& metrics, id_list& valid) {
    if (!is_metric_field(metrics)) return;
    for (std::size_t i = 0; i < metrics.cols(); ++i) {
        if (is_valid_column(metrics, i)) valid.push_back(static_cast<unsigned int>(i));
    }
}

int overwrite_invalid_metrics(dense1D<double, 8>& sizes, const dense1D<double, 8>& other) {
    const std::size_t n = std::min(sizes.size(), other.size());
    int count = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!(other[i] > 0.0 && sizes[i] <= 0.0)) continue;
        sizes[i] = other[i];
        ++count;
    }
    return count;
}

int overwrite_invalid_metrics(dense1D<double, 8>& sizes, double h) {
    if (sizes.empty()) return 0;
    if (!(h > 0.0)) return -2;
    int count = 0;
    for (double& size : sizes) {
        if (!(size <= 0.0)) continue;
        size = h;
        ++count;
    }
    return count;
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const dense2D<double>& other) {
    if (metrics.empty()) return 0;
    if (!is_metric_field(metrics)) return -1;
    if (other.rows() != metrics.rows()) return -2;
    const std::size_t n = std::min(metrics.cols(), other.cols());
    return replace_invalid(metrics, n, [&other](std::size_t i, double* column) {
        if (!is_valid_column(other, i)) return false;
        std::copy_n(other.column(i), other.rows(), column);
        return true;
    });
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const dense1D<double, 8>& sizes) {
    if (metrics.empty()) return 0;
    if (!is_metric_field(metrics)) return -1;
    const std::size_t n = std::min(metrics.cols(), sizes.size());
    const auto set_metric = metrics.rows() == metric_size<2> ? set_isotropic<2> : set_isotropic<3>;
    return replace_invalid(metrics, n, [&sizes, set_metric](std::size_t i, double* column) {
        if (!(sizes[i] > 0.0)) return false;
        set_metric(sizes[i], column);
        return true;
    });
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const symmetric_fixed<double, 2>& M) {
    return overwrite_by(metrics, M);
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const symmetric_fixed<double, 3>& M) {
    return overwrite_by(metrics, M);
}

int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax) {
    return clamp_and_count(sizes, hmin, hmax);
}

int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax, id_list& modified) {
    return clamp_and_list(sizes, hmin, hmax, modified);
}

int bound_metrics(dense2D<double>& metrics, double hmin, double hmax) {
    return clamp_and_count(metrics, hmin, hmax);
}

int bound_metrics(dense2D<double>& metrics, double hmin, double hmax, id_list& modified) {
    return clamp_and_list(metrics, hmin, hmax, modified);
}

int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes, dense2D<double>& metrics) {
    return iso_to_aniso<2>(sizes, metrics);
}

int metrics_iso_to_aniso3d(const dense1D<double, 8>& sizes, dense2D<double>& metrics) {
    return iso_to_aniso<3>(sizes, metrics);
}

int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes, const dense2D<double>& frames,
                           dense2D<double>& metrics) {
    const std::size_t n = sizes.size();
    if (n == 0 && frames.empty() && metrics.empty()) return 0;
    if (frames.rows() != 6 || frames.cols() != n) return -2;
    if (!has_shape(metrics, metric_size<2>, n)) return -3;
    for (std::size_t i = 0; i < n; ++i) {
        metric<2> M;
        metric_aniso2d(sizes[i], frame_of(frames.column(i)), M);
        store(M, metrics.column(i));
    }
    return 0;
}

int metrics_aniso3d_to_aniso2d(const dense2D<double>& metrics3d, const dense2D<double>& frames,
                               dense2D<double>& metrics2d) {
    const std::size_t n = metrics3d.cols();
    if (n == 0 && frames.empty() && metrics2d.empty()) return 0;
    if (metrics3d.rows() != metric_size<3>) return -1;
    if (frames.rows() != 6 || frames.cols() != n) return -2;
    if (!has_shape(metrics2d, metric_size<2>, n)) return -3;
    for (std::size_t i = 0; i < n; ++i) {
        metric<2> M;
        metric_aniso3d_to_aniso2d(metric_of<3>(metrics3d.column(i)), frame_of(frames.column(i)), M);
        store(M, metrics2d.column(i));
    }
    return 0;
}

} // namespace kv7::tessmaker
