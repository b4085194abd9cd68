#include "connectivity/sort_elfes.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "core/element_table.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The number of rows from the first absent ID of a column on. Columns are sorted by it, ascending;
// those without a node come last.
std::size_t nbr_rows_below(const unsigned int* column, std::size_t rows) {
    return static_cast<std::size_t>(column + rows - std::find(column, column + rows, no_id));
}

// A counting sort of the columns by number of nodes. Returns false if memory fails.
bool sort_columns(const dense2D<unsigned int>& connect, id_list& order, id_list& node_counts,
                  id_list& group_ends) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    if (cols > no_id) return false; // the counters have 32 bits
    id_list places;
    if (!places.resize(rows + 1, 0)) return false;
    for (std::size_t c = 0; c < cols; ++c) ++places[nbr_rows_below(connect.column(c), rows)];

    unsigned int nbr_placed = 0;
    for (std::size_t below = 0; below < rows; ++below) {
        const unsigned int count = std::exchange(places[below], nbr_placed);
        if (count == 0) continue;
        nbr_placed += count;
        if (!node_counts.push_back(static_cast<unsigned int>(rows - below)) ||
            !group_ends.push_back(nbr_placed))
            return false;
    }
    if (nbr_placed == 0) return node_counts.push_back(0) && group_ends.push_back(0);

    if (!order.resize(nbr_placed)) return false;
    for (std::size_t c = 0; c < cols; ++c) {
        const std::size_t below = nbr_rows_below(connect.column(c), rows);
        if (below < rows) order[places[below]++] = static_cast<unsigned int>(c);
    }
    return true;
}

void exchange_columns(dense2D<unsigned int>& array, std::size_t a, std::size_t b) {
    std::swap_ranges(array.column(a), array.column(a) + array.rows(), array.column(b));
}

// Moves the columns listed in `order` to the front, one after the other, by exchanging columns.
// On entry both lists hold 0, 1, 2, ... for all columns. Returns whether any column moved.
bool bring_to_front(const id_list& order, dense2D<unsigned int>& connect,
                    dense2D<unsigned int>& neighbors, id_list& old_to_new, id_list& new_to_old) {
    bool any_moved = false;
    for (unsigned int i = 0; i < order.size(); ++i) {
        const unsigned int from = old_to_new[order[i]];
        if (from == i) continue;
        any_moved = true;
        exchange_columns(connect, i, from);
        if (!neighbors.empty()) exchange_columns(neighbors, i, from);
        std::swap(new_to_old[i], new_to_old[from]);
        old_to_new[new_to_old[i]] = i;
        old_to_new[new_to_old[from]] = from;
    }
    return any_moved;
}

} // namespace

bool order_by_nbr_nodes(const dense2D<unsigned int>& connect, id_list& order, id_list& node_counts,
                        id_list& group_ends) {
    order.clear();
    node_counts.clear();
    group_ends.clear();
    if (sort_columns(connect, order, node_counts, group_ends)) return true;
    order.clear();
    node_counts.clear();
    group_ends.clear();
    return false;
}

int sort_elfes(dense2D<unsigned int>& connect, dense2D<unsigned int>& neighbors,
               id_list& node_counts, id_list& group_ends, id_list& old_to_new) {
    const std::size_t cols = connect.cols();
    if (!neighbors.empty() && neighbors.cols() != cols) return -1;
    clear_outputs(outputs{node_counts, group_ends, old_to_new}, inputs{connect, neighbors});
    id_list order;
    id_list new_to_old;
    if (!order_by_nbr_nodes(connect, order, node_counts, group_ends)) return 0;
    if (!old_to_new.resize(cols) || !new_to_old.resize(cols)) {
        // Kept: 0 even if memory fails, since clients know no other result. The mesh is unchanged,
        // and the lists are empty.
        old_to_new.clear();
        node_counts.clear();
        group_ends.clear();
        return 0;
    }

    std::iota(old_to_new.begin(), old_to_new.end(), 0U);
    std::iota(new_to_old.begin(), new_to_old.end(), 0U);
    const bool any_moved = bring_to_front(order, connect, neighbors, old_to_new, new_to_old);
    const std::size_t nbr_kept = order.size();
    if (!any_moved && nbr_kept == cols) return 0;

    connect.resize(connect.rows(), nbr_kept);
    if (!neighbors.empty()) neighbors.resize(neighbors.rows(), nbr_kept);
    for (unsigned int& place : old_to_new) {
        if (place >= nbr_kept) place = no_id;
    }
    change_indices(neighbors, old_to_new);
    return 0;
}

int sort_elfes(dense2D<unsigned int>& connect, id_list& node_counts, id_list& group_ends,
               id_list& old_to_new) {
    dense2D<unsigned int> none;
    return sort_elfes(connect, none, node_counts, group_ends, old_to_new);
}

} // namespace kv7::tessmaker
