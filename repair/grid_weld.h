// The merge of one node list with itself by hashing, for lists where nothing but distance decides.
#ifndef TESSMAKER_REPAIR_GRID_WELD_H
#define TESSMAKER_REPAIR_GRID_WELD_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline constexpr int grid_undecided = -1;

// Sends each node of `nodes` to the node where its chain of nearest neighbours of lower rank ends,
// rank being the place in the list. Only the entries of `nodes` in `new_IDs` are written, which has
// one for each column of `pos`. Returns the number of nodes that go; -199 when memory fails.
//
// `grid_undecided`, and entries of no meaning, where two ways from a node are equally short and end
// apart, where many nodes crowd within the tolerance, and where coordinates or tolerance are too
// large, too small or not finite.
int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol);

} // namespace kv7::tessmaker

#endif
