// The merge of two node lists, on which the global merges rest.
#ifndef TESSMAKER_REPAIR_LIST_MERGE_H
#define TESSMAKER_REPAIR_LIST_MERGE_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Sends each node of `list1` to its nearest node of `list2` within `tol` that has a lower rank than
// itself. The rank of a node is its place in `list2`; a node that is not in it ranks behind all
// others. `new_IDs` becomes the map on all columns of `pos`, chains followed to their end; it stays
// empty when a list is. Neither list holds an ID twice, the absent ID, or an ID that is no column
// of `pos`; `pos` has 2 or 3 rows. Returns the number of nodes merged; -199 when memory fails.
int merge_lists(const dense2D<double>& pos, const id_list& list1, const id_list& list2,
                id_list& new_IDs, double tol);

} // namespace kv7::tessmaker

#endif
