// Splits connectivities into elements of plain types.
#ifndef TESSMAKER_FORMATS_SPLIT_BY_TYPE_H
#define TESSMAKER_FORMATS_SPLIT_BY_TYPE_H

#include <cstddef>
#include <vector>

#include "core/ids.h"
#include "formats/connectivity_list.h"

namespace kv7::tessmaker {

// Elements of one plain type: columns of a connectivity, of which the first nbr_nodes(type) rows
// count. The connectivity is not owned.
struct element_group {
    const dense2D<unsigned int>* connect;
    id_list columns; // in order; empty if the group has all columns
    element_type type;
    unsigned int place; // the position of the connectivity in its list

    std::size_t size() const { return columns.empty() ? connect->cols() : columns.size(); }
};

// Calls `work(c, nodes)` for every element, with its column and the nodes there.
template <class Work> void for_each_element(const element_group& group, Work work) {
    if (group.columns.empty()) {
        const std::size_t cols = group.connect->cols();
        for (std::size_t c = 0; c < cols; ++c) work(c, group.connect->column(c));
        return;
    }
    for (const unsigned int c : group.columns) work(c, group.connect->column(c));
}

// Splits connectivities that have passed check_list into groups, none of them empty. A connectivity
// of a plain type gives one group, a mixed one a group for each number of nodes per element, most
// nodes first. False when memory fails.
bool split_by_type(const connectivity_list& list, std::vector<element_group>& groups);

} // namespace kv7::tessmaker

#endif
