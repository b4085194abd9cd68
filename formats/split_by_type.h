// Elements by their plain type.
#ifndef TESSMAKER_FORMATS_SPLIT_BY_TYPE_H
#define TESSMAKER_FORMATS_SPLIT_BY_TYPE_H

#include <cstddef>
#include <vector>

#include "core/ids.h"
#include "formats/connectivity_list.h"

namespace kv7::tessmaker {

// Elements of one plain type, in columns of a connectivity that somebody else owns. The first
// nbr_nodes(type) rows of such a column hold the element.
struct element_group {
    const dense2D<unsigned int>* connect;
    id_list columns; // in their order; empty where it is all columns
    element_type type;
    unsigned int place; // of the connectivity in its list

    std::size_t size() const { return columns.empty() ? connect->cols() : columns.size(); }
};

// Calls `work(c, column c)` for every element.
template <class Work> void for_each_element(const element_group& group, Work work) {
    if (group.columns.empty()) {
        const std::size_t cols = group.connect->cols();
        for (std::size_t c = 0; c < cols; ++c) work(c, group.connect->column(c));
        return;
    }
    for (const unsigned int c : group.columns) work(c, group.connect->column(c));
}

// Lists the elements of connectivities that have passed check_list. A connectivity of a plain type
// is a group; a mixed one becomes one group for each number of nodes that it holds, most nodes
// first; an empty one none. Groups are never empty. False when memory fails.
bool split_by_type(const connectivity_list& list, std::vector<element_group>& groups);

} // namespace kv7::tessmaker

#endif
