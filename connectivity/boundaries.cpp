#include <algorithm>
#include <cstddef>

#include "connectivity/facets.h"
#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "tessmaker/connectivity.h"

namespace kv7::tessmaker {

namespace {

// Whether facets of the type can be appended to `boundaries`: it is empty or has their height.
bool has_height(const dense2D<unsigned int>& boundaries, element_type type) {
    return boundaries.empty() || boundaries.rows() == boundary_height(type);
}

// Returns the test for facets without a neighbour.
auto is_free_facet(const dense2D<unsigned int>& neighbors) {
    return [across = neighbors.column(0), ld = neighbors.ld()](std::size_t e, std::size_t f) {
        return across[e * ld + f] == no_id;
    };
}

// Calls `work(shape, f, e, column e)` for each facet with `is_wanted(e, f)`, by element e, then by
// local facet f. `shape` and `f` are compile-time constants.
template <element_type TYPE, class IsWanted, class Work>
void for_each_wanted_facet(const dense2D<unsigned int>& connect, IsWanted is_wanted, Work work) {
    for_each_column<TYPE>(connect, [&](auto shape, std::size_t e, const unsigned int* column) {
        constexpr element_type SHAPE = decltype(shape)::value;
        for_each_constant<topology_of(SHAPE).facets.count>([&](auto f) {
            if (is_wanted(e, f)) work(shape, f, e, column);
        });
    });
}

template <element_type TYPE, class IsWanted>
std::size_t count_facets(const dense2D<unsigned int>& connect, IsWanted is_wanted) {
    std::size_t nbr_wanted = 0;
    for_each_wanted_facet<TYPE>(
        connect, is_wanted, [&](auto, auto, std::size_t, const unsigned int*) { ++nbr_wanted; });
    return nbr_wanted;
}

// Appends the wanted facets to `boundaries`. Returns false, with nothing changed, if memory fails.
template <element_type TYPE, class IsWanted>
bool append_facets(const dense2D<unsigned int>& connect, IsWanted is_wanted,
                   dense2D<unsigned int>& boundaries) {
    constexpr std::size_t height = boundary_height(TYPE);
    const std::size_t old = boundaries.cols();
    const std::size_t total = old + count_facets<TYPE>(connect, is_wanted);
    // With `reserve`, a block that must grow does so in place and stays shared with its other
    // views.
    if (!boundaries.reserve(height, total, 1) || !boundaries.resize(height, total)) return false;

    const std::size_t ld = boundaries.ld();
    unsigned int* boundary = boundaries.column(old);
    for_each_wanted_facet<TYPE>(
        connect, is_wanted, [&](auto shape, auto f, std::size_t, const unsigned int* column) {
            constexpr local_facet facet = topology_of(decltype(shape)::value).facets.facet[f];
            for (std::size_t k = 0; k < height; ++k) {
                boundary[k] = k < facet.size ? column[facet.node[k]] : no_id;
            }
            boundary += ld;
        });
    return true;
}

// Appends the handles of the wanted facets to `handles`. Returns false, with nothing changed, if
// memory fails.
template <element_type TYPE, class IsWanted>
bool append_handles(const dense2D<unsigned int>& connect, IsWanted is_wanted, id_list& handles) {
    const std::size_t old = handles.size();
    if (!handles.resize(old + count_facets<TYPE>(connect, is_wanted))) return false;
    unsigned int* handle = handles.data() + old;
    for_each_wanted_facet<TYPE>(
        connect, is_wanted, [&](auto, auto f, std::size_t e, const unsigned int*) {
            *handle++ = static_cast<unsigned int>(e * element_table[TYPE].nbr_boundaries + f);
        });
    return true;
}

// The same for a type that is known at run time and is linear. Returns 0; -199: out of memory.
template <class IsWanted>
int append_facets(const dense2D<unsigned int>& connect, element_type type, IsWanted is_wanted,
                  dense2D<unsigned int>& boundaries) {
    bool done = false;
    with_linear_type(type, [&](auto of_type) {
        done = append_facets<decltype(of_type)::value>(connect, is_wanted, boundaries);
    });
    return done ? 0 : -199;
}

} // namespace

int get_element_boundaries(const dense2D<unsigned int>& connect, element_type type,
                           dense2D<unsigned int>& boundaries) {
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, no_id)) return -1;
    if (!has_height(boundaries, type)) return -2;
    if (!is_linear_type(type)) return -2;
    if (!keep_apart(boundaries, inputs{connect})) return -199;
    return append_facets(
        connect, type, [](std::size_t, std::size_t) { return true; }, boundaries);
}

int get_mesh_boundaries(const dense2D<unsigned int>& connect,
                        const dense2D<unsigned int>& neighbors, element_type type,
                        dense2D<unsigned int>& boundaries) {
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (connect.rows() != nbr_nodes(type)) return -1;
    if (!are_neighbors(neighbors, connect, type)) return -2;
    if (!has_height(boundaries, type)) return -4;
    if (!is_linear_type(type)) return -3;
    if (!keep_apart(boundaries, inputs{connect, neighbors})) return -199;
    return append_facets(connect, type, is_free_facet(neighbors), boundaries);
}

int get_colors_boundaries(const dense2D<unsigned int>& connect,
                          const dense2D<unsigned int>& neighbors, const id_list& colors,
                          element_type type, bool both_sides, bool colored_only,
                          dense2D<unsigned int>& boundaries) {
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (connect.rows() != nbr_nodes(type)) return -1;
    if (!are_neighbors(neighbors, connect, type)) return -2;
    if (colors.size() != connect.cols()) return -3;
    if (!has_height(boundaries, type)) return -5;
    if (!is_linear_type(type)) return -4;
    if (!keep_apart(boundaries, inputs{connect, neighbors, colors})) return -199;
    const unsigned int* const across = neighbors.column(0);
    const unsigned int* const color = colors.data();
    const std::size_t ld = neighbors.ld();
    const auto is_wanted = [=](std::size_t e, std::size_t f) {
        const unsigned int n = across[e * ld + f];
        if (n == no_id) return true;
        if (color[n] == color[e]) return false;
        if (colored_only && (color[n] == no_id || color[e] == no_id)) return false;
        return both_sides || e < n;
    };
    return append_facets(connect, type, is_wanted, boundaries);
}

int get_mesh_bounding_elements(const dense2D<unsigned int>& connect,
                               const dense2D<unsigned int>& neighbors, element_type type,
                               id_list& handles, unsigned int& stride) {
    stride = 0;
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, no_id)) return -1;
    if (!has_shape(neighbors, connect, type)) return -2;
    if (!is_linear_type(type)) return -2;
    if (!keep_apart(handles, inputs{connect, neighbors})) return -199;
    bool done = false;
    with_linear_type(type, [&](auto of_type) {
        done = append_handles<decltype(of_type)::value>(connect, is_free_facet(neighbors), handles);
    });
    if (!done) return -199;
    stride = boundary_stride(type);
    return 0;
}

} // namespace kv7::tessmaker
