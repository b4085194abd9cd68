// The order of points in a balanced k-d tree.
#ifndef TESSMAKER_SEARCH_BALANCED_ORDER_H
#define TESSMAKER_SEARCH_BALANCED_ORDER_H

#include <array>
#include <cstddef>

namespace kv7::tessmaker {

// A point as it is sorted: on each axis a key that never decreases as the coordinate grows.
struct keyed_point {
    std::array<unsigned int, 3> key;
    unsigned int id;
};

// Coordinates in columns that begin `ld` apart.
struct coordinate_columns {
    const double* first;
    std::size_t ld;

    const double* of(unsigned int id) const { return first + id * ld; }
};

// A node with all nodes below it: its slot and their number, itself included; 0 for no node.
struct subtree {
    unsigned int slot;
    unsigned int size;

    explicit operator bool() const { return size != 0; }
};

// The branches of a balanced tree stored in pre-order in consecutive slots.
struct balanced_branches {
    static subtree left(subtree at) { return {at.slot + 1, at.size / 2}; }
    static subtree right(subtree at) {
        return {at.slot + 1 + at.size / 2, at.size - 1 - at.size / 2};
    }
};

template <unsigned DIM> constexpr unsigned int next_axis(unsigned int axis) {
    return axis + 1 == DIM ? 0 : axis + 1;
}

// Whether coordinate `a` comes behind `b`: NaN comes behind all numbers.
inline bool is_above(double a, double b) { return a > b || (a != a && b == b); }

// Writes `n` IDs to `ordered` as the nodes of a balanced tree in pre-order: of each run of `m`
// points the one of rank m / 2, in the order of coordinate, then ID, on the axis of its level; then
// those before it; then those behind it. The root's axis is 0. `scratch` has room for `n` points;
// `ordered` may be `ids`.
template <unsigned DIM>
void balanced_order(const unsigned int* ids, std::size_t n, coordinate_columns coordinates,
                    keyed_point* scratch, unsigned int* ordered);

} // namespace kv7::tessmaker

#endif
