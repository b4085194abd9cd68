#include "search/balanced_order.h"

#include <utility>

#include "search/keyed_points.h"

namespace kv7::tessmaker {

namespace {

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
