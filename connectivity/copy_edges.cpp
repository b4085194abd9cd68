#include <algorithm>
#include <cstddef>
#include <functional>

#include "connectivity/edges.h"
#include "core/element_table.h"
#include "core/ids.h"
#include "tessmaker/repair.h"

namespace kv7::tessmaker {

namespace {

bool is_connectivity(const dense2D<unsigned int>& connect, int type) {
    return check_IDs(connect, static_cast<element_type>(type), no_id);
}

// Appends the edges of the connectivities, without those in `exclude`, to `edges`.
// Returns 0; -199: out of memory.
int append_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                 const int* types, dense2D<unsigned int>& edges,
                 const dense2D<unsigned int>& exclude) {
    edge_list found;
    if (collect_edges(begin, end, types, found) != 0 || subtract_edges(exclude, found) != 0)
        return -199;
    const std::size_t old = edges.cols();
    // With `reserve`, a block that must grow does so in place and stays shared with its other
    // views.
    if (!edges.reserve(2, old + found.size(), 1) || !edges.resize(2, old + found.size()))
        return -199;
    for (std::size_t k = 0; k < found.size(); ++k) {
        unsigned int* const edge = edges.column(old + k);
        edge[0] = smaller_node(found[k]);
        edge[1] = larger_node(found[k]);
    }
    return 0;
}

} // namespace

int copy_edges(const dense2D<unsigned int>& connect, element_type type,
               dense2D<unsigned int>& edges, const dense2D<unsigned int>& exclude) {
    if (connect.empty()) return 0;
    const int only_type = type;
    if (!is_connectivity(connect, only_type)) return -1;
    if (!has_pairs(edges)) return -3;
    if (!has_pairs(exclude)) return -4;
    return append_edges(&connect, &connect + 1, &only_type, edges, exclude);
}

int copy_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
               const dense1D<int, 8>& types, dense2D<unsigned int>& edges,
               const dense2D<unsigned int>& exclude) {
    if (std::less<>{}(end, begin)) return -2;
    if (static_cast<std::size_t>(end - begin) != types.size()) return -3;
    if (!has_pairs(edges)) return -4;
    if (!std::equal(begin, end, types.begin(), is_connectivity)) return -1;
    if (!has_pairs(exclude)) return -5;
    return append_edges(begin, end, types.data(), edges, exclude);
}

} // namespace kv7::tessmaker
