#include "tessmaker/repair.h"

#include <algorithm>

#include "core/column_runs.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "tessmaker/element_type.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// Maps each node that the connectivity uses to itself.
void mark_nodes(const dense2D<unsigned int>& connect, unsigned int* new_IDs) {
    for_each_run(connect, [new_IDs](const unsigned int* ids, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            if (ids[i] != no_id) new_IDs[ids[i]] = ids[i];
        }
    });
}

// Closes the gaps between the marked columns from `first_node` on. Returns the number of columns
// that are left.
std::size_t compact(dense2D<double>& pos, unsigned int* new_IDs, std::size_t first_node) {
    const std::size_t rows = pos.rows();
    std::size_t dest = first_node;
    for (std::size_t i = first_node; i < pos.cols(); ++i) {
        if (new_IDs[i] == no_id) continue;
        if (dest < i) std::copy_n(pos.column(i), rows, pos.column(dest));
        new_IDs[i] = static_cast<unsigned int>(dest);
        ++dest;
    }
    return dest;
}

} // namespace

int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin, dense2D<unsigned int>* end,
             id_list& new_IDs, unsigned int first_node) {
    clear_outputs(outputs{new_IDs}, inputs{pos, connectivities{begin, end}});
    if (begin == end) return 0;
    if (end < begin) return -3;
    const std::size_t nbr_nodes = pos.cols();
    const unsigned int limit = id_limit(pos);
    const auto ids_are_nodes = [limit](const dense2D<unsigned int>& connect) {
        return check_IDs(connect, limit);
    };
    if (!std::all_of(begin, end, ids_are_nodes)) return -2;
    if (first_node >= nbr_nodes) return 0;
    if (!new_IDs.resize(nbr_nodes, no_id)) return -199;

    unsigned int* const map = new_IDs.data();
    for (const dense2D<unsigned int>* connect = begin; connect != end; ++connect)
        mark_nodes(*connect, map);
    for (unsigned int i = 0; i < first_node; ++i) map[i] = i;
    const std::size_t nbr_left = compact(pos, map, first_node);
    if (nbr_left == nbr_nodes) return 0;

    pos.resize(pos.rows(), nbr_left); // fewer columns, so in place
    for (dense2D<unsigned int>* connect = begin; connect != end; ++connect)
        change_indices(*connect, new_IDs);
    return static_cast<int>(nbr_nodes - nbr_left);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>* begin, dense2D<unsigned int>* end,
             unsigned int first_node) {
    id_list new_IDs;
    return simplify(pos, begin, end, new_IDs, first_node);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect1, dense2D<unsigned int>& connect2,
             unsigned int first_node) {
    dense2D<unsigned int> both[] = {connect1, connect2};
    return simplify(pos, std::begin(both), std::end(both), first_node);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect, id_list& new_IDs,
             unsigned int first_node) {
    return simplify(pos, &connect, &connect + 1, new_IDs, first_node);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connect, unsigned int first_node) {
    id_list new_IDs;
    return simplify(pos, connect, new_IDs, first_node);
}

} // namespace kv7::tessmaker
