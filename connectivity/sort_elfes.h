// The order in which the columns of a mixed connectivity stand by their number of nodes.
#ifndef TESSMAKER_CONNECTIVITY_SORT_ELFES_H
#define TESSMAKER_CONNECTIVITY_SORT_ELFES_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Lists in `order` the columns that hold a node, by their number of nodes counted up to the first
// 0xFFFFFFFF, most nodes first, then ascending. Group g is the stretch of `order` that ends at
// group_ends[g], of columns of node_counts[g] nodes; without a column there is one group of 0 nodes
// that ends at 0. `connect` isn't changed, and its columns may be gathered from `order`.
// False when memory fails, all outputs empty.
bool order_by_nbr_nodes(const dense2D<unsigned int>& connect, id_list& order, id_list& node_counts,
                        id_list& group_ends);

} // namespace kv7::tessmaker

#endif
