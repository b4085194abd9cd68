#include "core/coordinates.h"
#include "core/ids.h"
#include "metrics/edge_bounding.h"
#include "metrics/nodal_fields.h"
#include "metrics/sizes.h"
#include "tessmaker/element_type.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/metric_fields.h"

namespace kv7::tessmaker {

namespace {

std::size_t length_of(const dense2D<double>& metrics) { return metrics.cols(); }
std::size_t length_of(const dense1D<double, 8>& sizes) { return sizes.size(); }

bool fits_dimension(const dense2D<double>& pos, const dense2D<double>& metrics) {
    return metrics.rows() == (pos.rows() == 2 ? metric_size<2> : metric_size<3>);
}
bool fits_dimension(const dense2D<double>&, const dense1D<double, 8>&) { return true; }

template <std::size_t N>
metric_field<N> field_over(const dense2D<double>& pos, dense2D<double>& f) {
    return metric_field<N>(pos, f);
}
template <std::size_t N>
size_field<N> field_over(const dense2D<double>& pos, dense1D<double, 8>& f) {
    return size_field<N>(pos, f);
}

template <class Measure, class Values>
int bound(const dense2D<double>& pos, const dense2D<unsigned int>& connect, element_type type,
          const id_list& nodes, bool nodes_fixed, int direction, double limit, Values& values) {
    if (connect.empty() || limit == no_limit) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    if (!check_IDs(nodes, id_limit(pos))) return -4;
    if (!(limit >= 0.0)) return -7;
    if (!fits_dimension(pos, values)) return -8;
    if (!(length_of(values) > max_ID(connect))) return -8;

    const auto run = [&](auto field) {
        // Kept: only the low 8 bits of the direction are used.
        return edge_bounding(field, Measure(limit))
            .run(connect, pos.cols(), nodes, nodes_fixed, static_cast<signed char>(direction));
    };
    return pos.rows() == 2 ? run(field_over<2>(pos, values)) : run(field_over<3>(pos, values));
}

} // namespace

int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, const id_list& nodes, bool nodes_fixed,
                            int direction, double max_gradation, dense2D<double>& metrics) {
    return bound<gradation>(pos, connect, type, nodes, nodes_fixed, direction, max_gradation,
                            metrics);
}

int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, const id_list& nodes, bool nodes_fixed,
                            int direction, double max_gradation, dense1D<double, 8>& sizes) {
    return bound<gradation>(pos, connect, type, nodes, nodes_fixed, direction, max_gradation,
                            sizes);
}

int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, const id_list& nodes, bool nodes_fixed,
                            int direction, double max_variation, dense2D<double>& metrics) {
    return bound<variation>(pos, connect, type, nodes, nodes_fixed, direction, max_variation,
                            metrics);
}

int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                            element_type type, const id_list& nodes, bool nodes_fixed,
                            int direction, double max_variation, dense1D<double, 8>& sizes) {
    return bound<variation>(pos, connect, type, nodes, nodes_fixed, direction, max_variation,
                            sizes);
}

} // namespace kv7::tessmaker
