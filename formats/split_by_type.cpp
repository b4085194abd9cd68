#include "formats/split_by_type.h"

#include "connectivity/sort_elfes.h"
#include "core/ids.h"

namespace kv7::tessmaker {

namespace {

bool split_mixed(const dense2D<unsigned int>& connect, element_type type, unsigned int place,
                 std::vector<element_group>& groups) {
    id_list order;
    id_list node_counts;
    id_list group_ends;
    if (!order_by_nbr_nodes(connect, order, node_counts, group_ends)) return false;
    std::size_t begin = 0;
    for (const unsigned int end : group_ends) {
        const element_type shape = column_type(type, connect.column(order[begin]));
        groups.push_back({&connect, order.sub_vector(begin, end - begin), shape, place});
        begin = end;
    }
    return true;
}

} // namespace

bool split_by_type(const connectivity_list& list, std::vector<element_group>& groups) {
    for (std::size_t k = 0; k < list.size(); ++k) {
        const dense2D<unsigned int>& connect = list.begin[k];
        if (connect.empty()) continue;
        const auto place = static_cast<unsigned int>(k);
        const element_type type = resolve_mixed_type(connect.rows(), list.type(k));
        if (type == ET_FACE_MIX || type == ET_SOLID_MIX) {
            if (!split_mixed(connect, type, place, groups)) return false;
        } else {
            groups.push_back({&connect, {}, type, place});
        }
    }
    return true;
}

} // namespace kv7::tessmaker
