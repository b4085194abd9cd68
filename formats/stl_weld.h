// Welding of a triangle soup.
#ifndef TESSMAKER_FORMATS_STL_WELD_H
#define TESSMAKER_FORMATS_STL_WELD_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Makes `connect`, 3 rows, number the nodes of a soup, three to a facet, in order.
void number_corners(dense2D<unsigned int>& connect);

// Turns a soup, `pos` with the numbered `connect`, into a mesh: exactly coincident nodes become one
// in blocks of 100000 facets, then all nodes within `tol` of each other, in the manner of `merge`;
// collapsed facets and unused nodes go. `tol` is above 0. Returns 0, or the code of the repair
// function that failed.
int stl_weld(double tol, dense2D<double>& pos, dense2D<unsigned int>& connect);
// The same; `new_columns` gets, for each facet, its new column, or the absent ID if it collapsed.
int stl_weld(double tol, dense2D<double>& pos, dense2D<unsigned int>& connect,
             id_list& new_columns);

// The two merging steps at once: each entry of `connect` becomes the surviving node. False where it
// can't tell that these are the same nodes, because equal distances leave the choice to the order
// in which `merge` meets them, positions crowd, or coordinates are not finite; and when memory
// fails. `connect` then holds anything.
bool stl_merge_by_grid(double tol, const dense2D<double>& pos, dense2D<unsigned int>& connect);

} // namespace kv7::tessmaker

#endif
