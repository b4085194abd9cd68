#include "formats/stl_weld.h"

#include <algorithm>
#include <cstddef>

#include "core/ids.h"
#include "repair/grid_weld.h"
#include "tessmaker/repair.h"

namespace kv7::tessmaker {

namespace {

int merge_by_tree(double tol, const dense2D<double>& pos, dense2D<unsigned int>& connect) {
    constexpr std::size_t block_size = 100000;
    id_list new_IDs;
    for (std::size_t first = 0; first < connect.cols(); first += block_size) {
        const std::size_t size = std::min(block_size, connect.cols() - first);
        dense2D<unsigned int> block = connect.sub_matrix(0, first, 3, size);
        const int result = merge(pos, block, new_IDs, 0.0, 0);
        if (result < 0) return result;
    }
    return merge(pos, connect, new_IDs, tol, 0);
}

} // namespace

void number_corners(dense2D<unsigned int>& connect) {
    unsigned int* const ids = connect.column(0);
    const std::size_t nbr_corners = 3 * connect.cols();
    for (std::size_t c = 0; c < nbr_corners; ++c) ids[c] = static_cast<unsigned int>(c);
}

// Exact coincidence needs no step of its own: the first corner at a position stands for all others
// there, which lie at distance 0 from it and go where it goes.
bool stl_merge_by_grid(double tol, const dense2D<double>& pos, dense2D<unsigned int>& connect) {
    return connect.empty() || weld_by_grid(pos, connect.column(0), tol) >= 0;
}

int stl_weld(double tol, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    id_list new_columns;
    return stl_weld(tol, pos, connect, new_columns);
}

int stl_weld(double tol, dense2D<double>& pos, dense2D<unsigned int>& connect,
             id_list& new_columns) {
    int result = 0;
    if (!stl_merge_by_grid(tol, pos, connect)) {
        number_corners(connect);
        result = merge_by_tree(tol, pos, connect);
    }
    if (result >= 0) result = remove_degenerated(connect, new_columns, true);
    id_list new_IDs;
    if (result >= 0) result = simplify(pos, connect, new_IDs, 0);
    return std::min(result, 0);
}

} // namespace kv7::tessmaker
