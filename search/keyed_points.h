// Points with integer keys for their coordinates, and their medians.
//
// Medians by C. A. R. Hoare, Algorithm 65: find, Communications of the ACM 4 (7), 1961, with pivots
// by a sample (R. W. Floyd and R. L. Rivest, Algorithm 489: select, 18 (3), 1975) and a partition
// that does not branch on the comparison (N. Lomuto's scheme; for the branches see S. Edelkamp and
// A. Weiss, BlockQuicksort, 2016).
#ifndef TESSMAKER_SEARCH_KEYED_POINTS_H
#define TESSMAKER_SEARCH_KEYED_POINTS_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "search/balanced_order.h"

namespace kv7::tessmaker {

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
    // Half the length that so many steps cover.
    double half_length(unsigned int nbr_steps) const {
        return factor_ > 0.0 ? static_cast<double>(nbr_steps) / factor_ : 0.0;
    }

private:
    static constexpr double largest = std::numeric_limits<double>::max();
    static constexpr double last_step = 4294967294.0;

    double lower_ = largest;
    double upper_ = -largest;
    double factor_ = 0.0;
};

// Makes points of `n` IDs, at least one. Returns the scales of their keys. Where all coordinates on
// an axis are equal, the IDs are the keys, so that none is compared by its coordinate.
template <unsigned DIM>
std::array<key_scale, DIM> set_keys(const unsigned int* ids, std::size_t n,
                                    coordinate_columns coordinates, keyed_point* points) {
    std::array<key_scale, DIM> scales;
    std::array<bool, DIM> is_constant;
    is_constant.fill(true);
    const double* const first = coordinates.of(ids[0]);
    for (std::size_t i = 0; i < n; ++i) {
        const double* const p = coordinates.of(ids[i]);
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            scales[axis].include(p[axis]);
            is_constant[axis] &= p[axis] == first[axis];
        }
    }
    for (key_scale& scale : scales) scale.finish();
    for (std::size_t i = 0; i < n; ++i) {
        const double* const p = coordinates.of(ids[i]);
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            points[i].key[axis] = is_constant[axis] ? ids[i] : scales[axis].key(p[axis]);
        }
        points[i].id = ids[i];
    }
    return scales;
}

// Whether the node of a coordinate ranks before another one: by coordinate, then ID.
inline bool ranks_before(double x, unsigned int x_id, double y, unsigned int y_id) {
    return is_above(y, x) || (!is_above(x, y) && x_id < y_id);
}

// The order on an axis. It is total, so the tree does not depend on how medians are found.
// Coordinates are looked up only where keys are equal.
struct axis_order {
    coordinate_columns coordinates;
    unsigned int axis;

    bool operator()(const keyed_point& a, const keyed_point& b) const {
        if (a.key[axis] != b.key[axis]) return a.key[axis] < b.key[axis];
        return ranks_before(coordinates.of(a.id)[axis], a.id, coordinates.of(b.id)[axis], b.id);
    }
};

inline unsigned int median(unsigned int a, unsigned int b, unsigned int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// A key to part points by that leaves few around the one of this rank: of many points, one that all
// but always lies on its farther side, by a sample.
inline unsigned int pivot_key(const keyed_point* points, std::size_t n, std::size_t rank,
                              unsigned int axis) {
    const auto median_around = [=](std::size_t at, std::size_t step) {
        return median(points[at - step].key[axis], points[at].key[axis],
                      points[at + step].key[axis]);
    };
    if (n < 64) return median_around(n / 2, n / 4);
    if (n < 1024) {
        return median(median_around(n / 8, n / 8), median_around(n / 2, n / 8),
                      median_around(n - 1 - n / 8, n / 8));
    }
    constexpr std::size_t sample_size = 63;
    constexpr std::size_t margin = 6; // 1.5 standard deviations of a median
    std::array<unsigned int, sample_size> sample;
    for (std::size_t i = 0; i < sample_size; ++i) {
        sample[i] = points[n / sample_size * i].key[axis];
    }
    const std::size_t at = rank * sample_size / n;
    const std::size_t other_side =
        rank < n / 2 ? std::min(at + margin, sample_size - 1) : at - std::min(at, margin);
    std::nth_element(sample.begin(), sample.begin() + other_side, sample.end());
    return sample[other_side];
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

// Points in a row.
struct point_range {
    keyed_point* first;
    keyed_point* last;

    std::ptrdiff_t size() const { return last - first; }
};

inline constexpr std::ptrdiff_t few_points = 4;

// Brings all points whose key is less than that of the nth before it, and all whose key is greater
// behind it. Returns where it stopped: the points of equal key are all in that range, and if it
// holds more than `few_points`, there is no other in it, unless patience ended first.
inline point_range select_key(keyed_point* first, keyed_point* nth, keyed_point* last,
                              unsigned int axis) {
    constexpr int patience = 64;
    for (int round = 0; round < patience && last - first > few_points; ++round) {
        const unsigned int pivot = pivot_key(first, static_cast<std::size_t>(last - first),
                                             static_cast<std::size_t>(nth - first), axis);
        keyed_point* middle =
            partition(first, last, [=](const keyed_point& p) { return p.key[axis] < pivot; });
        if (nth < middle) {
            last = middle;
            continue;
        }
        if (middle == first) { // none is less
            middle =
                partition(first, last, [=](const keyed_point& p) { return p.key[axis] == pivot; });
            if (nth < middle) return {first, middle};
        }
        first = middle;
    }
    return {first, last};
}

// std::nth_element in `axis_order`, most of it done on keys alone. Points that are set aside have
// other keys than the rest, so points of equal key stay together to the end.
inline void select(keyed_point* first, keyed_point* nth, keyed_point* last, unsigned int axis,
                   coordinate_columns coordinates) {
    const point_range rest = select_key(first, nth, last, axis);
    std::nth_element(rest.first, nth, rest.last, axis_order{coordinates, axis});
}

} // namespace kv7::tessmaker

#endif
