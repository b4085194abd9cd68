// The order of the columns of a mixed connectivity by number of nodes.
#ifndef TESSMAKER_CONNECTIVITY_SORT_ELFES_H
#define TESSMAKER_CONNECTIVITY_SORT_ELFES_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Lists in `order` the columns that have a node: those with most nodes first, and columns with
// equally many nodes ascending. The nodes of a column end at its first absent ID. Group g, of
// columns with node_counts[g] nodes, ends at group_ends[g] in `order`; if no column has a node
// there is one group with 0 nodes that ends at 0. Returns false, with all outputs empty, if memory
// fails.
bool order_by_nbr_nodes(const dense2D<unsigned int>& connect, id_list& order, id_list& node_counts,
                        id_list& group_ends);

} // namespace kv7::tessmaker

#endif
