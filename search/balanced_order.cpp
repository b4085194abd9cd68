// Medians by C. A. R. Hoare, Algorithm 65: find, Communications of the ACM 4 (7), 1961, with a
// partition that does not branch on the comparison (N. Lomuto's scheme; for the branches see S.
// Edelkamp and A. Weiss, BlockQuicksort, 2016).
#include "search/balanced_order.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace kv7::tessmaker {

namespace {

// Makes integer keys of the coordinates on one axis: the range of the finite ones is cut into steps
// numbered 0 to 2^32 - 2. Infinite coordinates get the first and the last of these, NaN 2^32 - 1.
class key_scale {
public:
    void include(double x) {
        if (!std::isfinite(x)) return;
        lower_ = std::min(lower_, 0.5 * x); // halves, so that the range can't overflow
        upper_ = std::max(upper_, 0.5 * x);
    }
    void finish() {
        const double range = upper_ - lower_;
        factor_ = range > 0.0 ? std::min(last_step / range, largest) : 0.0;
    }
    unsigned int key(double x) const {
        if (std::isnan(x)) return 0xFFFFFFFFU;
        const double step = (0.5 * x - lower_) * factor_;
        // In this form a step that is not a number (infinity times 0) becomes 0.
        return static_cast<unsigned int>(std::min(last_step, step > 0.0 ? step : 0.0));
    }

private:
    static constexpr double largest = std::numeric_limits<double>::max();
    static constexpr double last_step = 4294967294.0;

    double lower_ = largest;
    double upper_ = -largest;
    double factor_ = 0.0;
};

template <unsigned DIM>
void set_keys(const unsigned int* ids, std::size_t n, coordinate_columns coordinates,
              keyed_point* points) {
    std::array<key_scale, DIM> scales;
    for (std::size_t i = 0; i < n; ++i) {
        const double* const p = coordinates.of(ids[i]);
        for (unsigned int axis = 0; axis < DIM; ++axis) scales[axis].include(p[axis]);
    }
    for (key_scale& scale : scales) scale.finish();
    for (std::size_t i = 0; i < n; ++i) {
        const double* const p = coordinates.of(ids[i]);
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            points[i].key[axis] = scales[axis].key(p[axis]);
        }
        points[i].id = ids[i];
    }
}

// The order on an axis. It is total, so the tree does not depend on how medians are found.
// Coordinates are looked up only where keys are equal.
struct axis_order {
    coordinate_columns coordinates;
    unsigned int axis;

    bool operator()(const keyed_point& a, const keyed_point& b) const {
        if (a.key[axis] != b.key[axis]) return a.key[axis] < b.key[axis];
        const double x = coordinates.of(a.id)[axis];
        const double y = coordinates.of(b.id)[axis];
        return is_above(y, x) || (!is_above(x, y) && a.id < b.id);
    }
};

unsigned int median(unsigned int a, unsigned int b, unsigned int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

unsigned int pivot_key(const keyed_point* points, std::size_t n, unsigned int axis) {
    const auto median_around = [=](std::size_t at, std::size_t step) {
        return median(points[at - step].key[axis], points[at].key[axis],
                      points[at + step].key[axis]);
    };
    if (n < 64) return median_around(n / 2, n / 4);
    return median(median_around(n / 8, n / 8), median_around(n / 2, n / 8),
                  median_around(n - 1 - n / 8, n / 8));
}

// Brings the points for which `goes_first` holds to the front. Returns where the others begin.
template <class Predicate>
keyed_point* partition(keyed_point* first, keyed_point* last, Predicate goes_first) {
    keyed_point* middle = first;
    for (keyed_point* point = first; point != last; ++point) {
        const keyed_point moved = *point;
        *point = *middle;
        *middle = moved;
        middle += goes_first(moved) ? 1 : 0;
    }
    return middle;
}

// std::nth_element in `axis_order`, most of it done on keys alone. Points that are set aside have
// other keys than the rest, so points of equal key stay together to the end.
void select(keyed_point* first, keyed_point* nth, keyed_point* last, unsigned int axis,
            coordinate_columns coordinates) {
    constexpr std::ptrdiff_t few = 4;
    constexpr int patience = 64; // then std::nth_element, whatever the points
    for (int round = 0; round < patience && last - first > few; ++round) {
        const unsigned int pivot = pivot_key(first, static_cast<std::size_t>(last - first), axis);
        keyed_point* middle =
            partition(first, last, [=](const keyed_point& p) { return p.key[axis] < pivot; });
        if (nth < middle) {
            last = middle;
            continue;
        }
        first = middle;
        middle = partition(first, last, [=](const keyed_point& p) { return p.key[axis] == pivot; });
        if (nth < middle) {
            last = middle;
            break;
        }
        first = middle;
    }
    std::nth_element(first, nth, last, axis_order{coordinates, axis});
}

template <unsigned DIM>
void order_subtree(keyed_point* points, subtree at, unsigned int axis,
                   coordinate_columns coordinates, unsigned int* ordered) {
    const subtree left = balanced_branches::left(at);
    const subtree right = balanced_branches::right(at);
    keyed_point* const first = points + at.slot;
    select(first, first + left.size, first + at.size, axis, coordinates);
    std::swap(first[0], first[left.size]);
    ordered[at.slot] = first[0].id;
    if (left) order_subtree<DIM>(points, left, next_axis<DIM>(axis), coordinates, ordered);
    if (right) order_subtree<DIM>(points, right, next_axis<DIM>(axis), coordinates, ordered);
}

} // namespace

template <unsigned DIM>
void balanced_order(const unsigned int* ids, std::size_t n, coordinate_columns coordinates,
                    keyed_point* scratch, unsigned int* ordered) {
    if (n == 0) return;
    set_keys<DIM>(ids, n, coordinates, scratch);
    order_subtree<DIM>(scratch, {0, static_cast<unsigned int>(n)}, 0, coordinates, ordered);
}

template void balanced_order<2>(const unsigned int*, std::size_t, coordinate_columns, keyed_point*,
                                unsigned int*);
template void balanced_order<3>(const unsigned int*, std::size_t, coordinate_columns, keyed_point*,
                                unsigned int*);

} // namespace kv7::tessmaker
