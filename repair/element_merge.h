// The merge of nodes that share an element.
#ifndef TESSMAKER_REPAIR_ELEMENT_MERGE_H
#define TESSMAKER_REPAIR_ELEMENT_MERGE_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Merges the nodes of each element that lie within `tol` of each other, closest pairs first, the
// lower ID of a pair surviving, and relabels the connectivities; with `repeated`, again until
// nothing merges. `new_IDs` comes in as the identity on the columns of `pos` and goes out as the
// map. `pos` has 2 or 3 rows, and every ID but the absent one is a column of it. Returns the number
// of nodes merged away; -199 when memory fails for the scratch array: `new_IDs` is then empty and
// nothing else is changed. Memory failure for the merge records throws, and the connectivities stay
// as the last complete pass left them.
int merge_in_elements(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                      dense2D<unsigned int>* end, id_list& new_IDs, double tol, bool repeated);

} // namespace kv7::tessmaker

#endif
