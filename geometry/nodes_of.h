// The nodes of a connectivity, each once.
#ifndef TESSMAKER_GEOMETRY_NODES_OF_H
#define TESSMAKER_GEOMETRY_NODES_OF_H

#include "core/ids.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

// Without memory for all, as many as there is memory for.
inline id_list nodes_of(const id_matrix& connect) {
    id_list nodes;
    unique_indices(nodes, connect, id_list());
    return nodes;
}

} // namespace kv7::tessmaker

#endif
