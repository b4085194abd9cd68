// Lists of connectivities, as the writers of mesh files take them.
#ifndef TESSMAKER_FORMATS_CONNECTIVITY_LIST_H
#define TESSMAKER_FORMATS_CONNECTIVITY_LIST_H

#include <cstddef>

#include "core/element_table.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// An array of connectivities with a type for each; owns nothing.
struct connectivity_list {
    const dense2D<unsigned int>* begin;
    const dense2D<unsigned int>* end;
    const int* types;
    std::size_t nbr_types;

    // `k` is below `nbr_types`.
    element_type type(std::size_t k) const { return static_cast<element_type>(types[k]); }
    std::size_t size() const { return static_cast<std::size_t>(end - begin); }
};

// Calls `write` with a list of one connectivity, or of two.
template <class Write>
int with_list(const dense2D<unsigned int>& connect, element_type type, Write write) {
    const int value = type;
    return write(connectivity_list{&connect, &connect + 1, &value, 1});
}
template <class Write>
int with_list(const dense2D<unsigned int>& connect1, const dense2D<unsigned int>& connect2,
              element_type type1, element_type type2, Write write) {
    const dense2D<unsigned int> connects[] = {connect1, connect2};
    const int types[] = {type1, type2};
    return write(connectivity_list{connects, connects + 2, types, 2});
}

// The checks that the writers share, in this order:
//  0  the list is valid
// -4  `end` lies before `begin`
// -5  the number of types is not that of the connectivities
// -3  a connectivity fails `check_IDs` with the limit
inline int check_list(const connectivity_list& list, unsigned int limit) {
    if (list.end < list.begin) return -4;
    if (list.size() != list.nbr_types) return -5;
    for (std::size_t k = 0; k < list.size(); ++k) {
        if (!check_IDs(list.begin[k], list.type(k), limit)) return -3;
    }
    return 0;
}

} // namespace kv7::tessmaker

#endif
