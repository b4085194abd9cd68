// The merge of one node list with itself by hashing, for lists where nothing but distance decides.
#ifndef TESSMAKER_REPAIR_GRID_WELD_H
#define TESSMAKER_REPAIR_GRID_WELD_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline constexpr int grid_undecided = -1;

// Sends each node of `nodes` to the node where its chain of nearest neighbours of lower rank ends.
// The rank of a node is its place in the list, which holds no ID twice. `new_IDs`, one entry per
// column of `pos`, is written at these nodes only. Returns the number of nodes merged; -199 when
// memory fails.
//
// Returns `grid_undecided`, with arbitrary entries in `new_IDs`, if two neighbours of a node are
// equally near and end at different nodes, if many nodes crowd within the tolerance, and if
// coordinates or tolerance are too large, too small or not finite.
int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol);
// The same for all columns of `pos`, ranked by ID.
int weld_by_grid(const dense2D<double>& pos, unsigned int* new_IDs, double tol);

} // namespace kv7::tessmaker

#endif
