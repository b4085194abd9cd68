// The walk that gives each element of a mesh a number.
//
// A measure is a function object that is called as `measure(shape, element)` and returns a double.
// `shape` is a `type_constant` of one of the seven linear shapes, `element` an `element_view`. A
// measure may also have members `rate_group(shape, corners, values)`, which rate a `lane_corners`
// group of elements at once, and return false if an element of it must be rated alone. The walk
// uses them for the shapes and dimensions that have one.
#ifndef TESSMAKER_QUALITY_ELEMENT_RATING_H
#define TESSMAKER_QUALITY_ELEMENT_RATING_H

#include <array>
#include <cstddef>

#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "core/small_vectors.h"
#include "quality/corners.h"
#include "quality/lanes.h"

namespace kv7::tessmaker {

// One element: its column of node IDs, and the coordinates of its nodes.
template <class Reader> class element_view {
public:
    element_view(const Reader& reader, const unsigned int* column)
        : reader_(reader), column_(column) {}

    // The vector from corner i to corner j, read from the coordinates themselves: copying the
    // corners first stalls on loads that span two of the stores just made.
    vector<3> edge(std::size_t i, std::size_t j) const {
        return reader_.edge(column_[i], column_[j]);
    }

    // The first N corners.
    template <std::size_t N> std::array<vector<3>, N> corners() const {
        return reader_.template corners<N>(column_);
    }

private:
    const Reader& reader_;
    const unsigned int* column_;
};

template <element_type SHAPE> inline constexpr std::size_t nbr_corners = shape_of(SHAPE).nbr_nodes;

// The corners of `nbr_lanes` elements of one shape, in a plane or in space: one lane for each
// element.
template <element_type SHAPE, std::size_t DIM>
using lane_corners = std::array<lane_vector<DIM>, nbr_corners<SHAPE>>;

template <element_type TYPE, std::size_t DIM, bool IS_FLAT>
lane_corners<TYPE, DIM> corners_of_group(const node_reader<DIM, IS_FLAT>& reader,
                                         const unsigned int* column, std::size_t ld) {
    lane_corners<TYPE, DIM> p;
    for (std::size_t i = 0; i < p.size(); ++i) {
        const double* const first = reader.at(column[i]);
        const double* const second = reader.at(column[ld + i]);
        for (std::size_t k = 0; k < DIM; ++k) p[i][k] = lanes{first[k], second[k]};
    }
    return p;
}

// Whether a measure rates groups of elements of that type, with so many coordinates.
template <element_type TYPE, std::size_t DIM, class Measure>
inline constexpr bool rates_groups = requires(const Measure& measure,
                                              const lane_corners<TYPE, DIM>& corners,
                                              lanes& values) {
    measure.rate_group(type_constant<TYPE>{}, corners, values);
};

// Calls `visit(c, value of column c)` for each column, ascending, until it returns false.
template <element_type TYPE, class Reader, class Measure, class Visit>
void rate_columns(const Reader& reader, const dense2D<unsigned int>& connect,
                  const Measure& measure, Visit visit) {
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const unsigned int* column = connect.column(0);
    const auto rate_alone = [&](const unsigned int* of) {
        return with_shape<TYPE>(
            of, [&](auto shape) { return measure(shape, element_view<Reader>(reader, of)); });
    };
    std::size_t c = 0;
    if constexpr (rates_groups<TYPE, Reader::rows, Measure>) {
        for (; c + nbr_lanes <= cols; c += nbr_lanes, column += nbr_lanes * ld) {
            reader.template prefetch_later<TYPE, nbr_lanes>(column, ld, cols - c);
            lanes values;
            if (!measure.rate_group(type_constant<TYPE>{},
                                    corners_of_group<TYPE>(reader, column, ld), values)) {
                for (std::size_t lane = 0; lane < nbr_lanes; ++lane)
                    values[lane] = rate_alone(column + lane * ld);
            }
            for (std::size_t lane = 0; lane < nbr_lanes; ++lane) {
                if (!visit(c + lane, values[lane])) return;
            }
        }
    }
    for (; c < cols; ++c, column += ld) {
        reader.template prefetch_later<TYPE, 1>(column, ld, cols - c);
        if (!visit(c, rate_alone(column))) return;
    }
}

// The same for a type that is known at run time. Returns whether it is one of the nine linear and
// mixed types; calls nothing for others.
template <class Measure, class Visit>
bool for_each_rating(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                     element_type type, const Measure& measure, Visit visit) {
    return with_linear_type(type, [&](auto linear) {
        with_reader(pos,
                    [&](auto reader) { rate_columns<linear()>(reader, connect, measure, visit); });
    });
}

// The body of an exported function that lists a value for each element.
// Returns 0; -2: bad connectivity; -3: unserved type; -199: out of memory. On a failure `values` is
// empty.
template <class Measure>
int list_ratings(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                 element_type type, const Measure& measure, dense1D<double, 8>& values) {
    clear_outputs(outputs{values}, inputs{pos, connect});
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    if (!values.resize(connect.cols())) return -199;
    double* const value_of = values.data();
    const auto store = [value_of](std::size_t c, double value) {
        value_of[c] = value;
        return true;
    };
    if (for_each_rating(pos, connect, type, measure, store)) return 0;
    values.clear();
    return -3;
}

} // namespace kv7::tessmaker

#endif
