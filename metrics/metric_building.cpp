#include "core/small_vectors.h"
#include "metrics/sizes.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

namespace {

// A size that is not above 0 leaves its entry 0.
template <std::size_t N> void axis_metric(const vector_fixed<double, N>& h, metric<N>& M) {
    M = {};
    for (std::size_t i = 0; i < N; ++i) {
        if (h[i] > 0.0) M(i, i) = inverse_square(h[i]);
    }
}

// Kept: a negative size counts as its absolute value here, and only here.
template <std::size_t N>
void directed_metric(const vector_fixed<double, N>& h, const matrix<N>& P, metric<N>& M) {
    vector<N> w{};
    for (std::size_t k = 0; k < N; ++k) {
        if (h[k] != 0.0) w[k] = inverse_square(h[k]);
    }
    M = weighted_squares(w, P);
}

} // namespace

void metric_aniso(double h, symmetric_fixed<double, 2>& M) { axis_metric(vector<2>{h, h}, M); }
void metric_aniso(double h, symmetric_fixed<double, 3>& M) { axis_metric(vector<3>{h, h, h}, M); }
void metric_aniso(double h0, double h1, symmetric_fixed<double, 2>& M) {
    axis_metric(vector<2>{h0, h1}, M);
}
void metric_aniso(double h0, double h1, double h2, symmetric_fixed<double, 3>& M) {
    axis_metric(vector<3>{h0, h1, h2}, M);
}
void metric_aniso(const vector_fixed<double, 2>& h, symmetric_fixed<double, 2>& M) {
    axis_metric(h, M);
}
void metric_aniso(const vector_fixed<double, 3>& h, symmetric_fixed<double, 3>& M) {
    axis_metric(h, M);
}

void metric_aniso(const vector_fixed<double, 2>& h, const matrix_fixed<double, 2, 2>& P,
                  symmetric_fixed<double, 2>& M) {
    directed_metric(h, P, M);
}
void metric_aniso(const vector_fixed<double, 3>& h, const matrix_fixed<double, 3, 3>& P,
                  symmetric_fixed<double, 3>& M) {
    directed_metric(h, P, M);
}

void metric_aniso2d(double h, const matrix_fixed<double, 3, 2>& frame,
                    symmetric_fixed<double, 2>& M) {
    M = {};
    if (!(h > 0.0)) return;
    const vector<3> p0 = column(frame, 0);
    const vector<3> p1 = column(frame, 1);
    M = {dot(p0, p0) / (h * h), dot(p1, p0) / (h * h), dot(p1, p1) / (h * h)};
}

void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3,
                               const matrix_fixed<double, 3, 2>& frame,
                               symmetric_fixed<double, 2>& M) {
    const vector<3> p0 = column(frame, 0);
    const vector<3> p1 = column(frame, 1);
    M = {form(p0, M3, p0), form(p1, M3, p0), form(p1, M3, p1)};
}

} // namespace kv7::tessmaker
