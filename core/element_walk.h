// Walks over the columns of a connectivity in which the shape of each column is a compile-time
// constant, so that loops over its table of edges or facets unroll.
#ifndef TESSMAKER_CORE_ELEMENT_WALK_H
#define TESSMAKER_CORE_ELEMENT_WALK_H

#include <cstddef>
#include <type_traits>
#include <utility>

#include "core/element_table.h"
#include "core/element_topology.h"
#include "core/prefetch.h"

namespace kv7::tessmaker {

template <element_type TYPE> using type_constant = std::integral_constant<element_type, TYPE>;

// Calls `work` with the type as a constant if functions on facets serve it: a linear type with a
// shape, or one of the two mixed types whose columns tell theirs. Returns whether it is served.
template <class Work> bool with_linear_type(element_type type, Work work) {
    switch (type) {
    case ET_BAR2: return work(type_constant<ET_BAR2>{}), true;
    case ET_TRIA3: return work(type_constant<ET_TRIA3>{}), true;
    case ET_QUAD4: return work(type_constant<ET_QUAD4>{}), true;
    case ET_FACE_MIX: return work(type_constant<ET_FACE_MIX>{}), true;
    case ET_TETRA4: return work(type_constant<ET_TETRA4>{}), true;
    case ET_PYRA5: return work(type_constant<ET_PYRA5>{}), true;
    case ET_PENTA6: return work(type_constant<ET_PENTA6>{}), true;
    case ET_HEXA8: return work(type_constant<ET_HEXA8>{}), true;
    case ET_SOLID_MIX: return work(type_constant<ET_SOLID_MIX>{}), true;
    default: return false;
    }
}

inline bool is_linear_type(element_type type) {
    return with_linear_type(type, [](auto) {});
}

// Calls `work` with the shape of one column of a linear type as a constant.
template <element_type TYPE, class Work>
decltype(auto) with_shape(const unsigned int* column, Work work) {
    if constexpr (TYPE == ET_FACE_MIX) {
        if (column_type(TYPE, column) == ET_TRIA3) return work(type_constant<ET_TRIA3>{});
        return work(type_constant<ET_QUAD4>{});
    } else if constexpr (TYPE == ET_SOLID_MIX) {
        switch (column_type(TYPE, column)) {
        case ET_TETRA4: return work(type_constant<ET_TETRA4>{});
        case ET_PYRA5: return work(type_constant<ET_PYRA5>{});
        case ET_PENTA6: return work(type_constant<ET_PENTA6>{});
        default: return work(type_constant<ET_HEXA8>{});
        }
    } else {
        return work(type_constant<TYPE>{});
    }
}

// Calls `work(shape, e, column e)` for every column, in ascending order.
template <element_type TYPE, class Work>
void for_each_column(const dense2D<unsigned int>& connect, Work work) {
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const unsigned int* column = connect.column(0);
    for (std::size_t e = 0; e < cols; ++e, column += ld) {
        prefetch(column, ids_ahead);
        with_shape<TYPE>(column, [&](auto shape) { work(shape, e, column); });
    }
}

// Calls `work(f)` for f = 0 to N - 1, each a compile-time constant.
template <std::size_t N, class Work> void for_each_constant(Work work) {
    [&]<std::size_t... F>(std::index_sequence<F...>) {
        (work(std::integral_constant<std::size_t, F>{}), ...);
    }
    (std::make_index_sequence<N>{});
}

} // namespace kv7::tessmaker

#endif
