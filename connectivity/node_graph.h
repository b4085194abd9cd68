// The node graph in which all nodes of an element are neighbours of one another.
#ifndef TESSMAKER_CONNECTIVITY_NODE_GRAPH_H
#define TESSMAKER_CONNECTIVITY_NODE_GRAPH_H

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Lists the neighbours of each node: all other nodes of its columns. Any number of rows is
// accepted; absent IDs are skipped. Order and sizes as from `get_node_graph`. Returns 0; -199: out
// of memory, both outputs empty.
int node_graph_of_cliques(const dense2D<unsigned int>& connect, id_list& first, id_list& list);

} // namespace kv7::tessmaker

#endif
