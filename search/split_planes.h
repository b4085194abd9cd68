// The planes at which the upper levels of a balanced tree split space.
#ifndef TESSMAKER_SEARCH_SPLIT_PLANES_H
#define TESSMAKER_SEARCH_SPLIT_PLANES_H

#include <bit>
#include <cstddef>

#include "core/ids.h"
#include "search/balanced_order.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// A node of a balanced tree, with all below it, its axis, and its number: 1 for the root, 2 k and
// 2 k + 1 for the left and the right child of node k.
template <unsigned DIM> struct tree_place {
    subtree at;
    unsigned int axis;
    std::size_t number;

    explicit operator bool() const { return static_cast<bool>(at); }
    static tree_place root(std::size_t n) { return {{0, static_cast<unsigned int>(n)}, 0, 1}; }
    tree_place left() const {
        return {balanced_branches::left(at), next_axis<DIM>(axis), 2 * number};
    }
    tree_place right() const {
        return {balanced_branches::right(at), next_axis<DIM>(axis), 2 * number + 1};
    }
};

// The coordinate of each node on its axis, by the number of the node. A way down the tree that
// reads planes here does not wait for the memory of two arrays at each step. They take half a byte
// a node at most.
template <unsigned DIM> class split_planes {
public:
    // Of a balanced tree of `n` nodes in pre-order. Leaves none if memory fails.
    void build(const unsigned int* ids, std::size_t n, coordinate_columns coordinates) {
        clear();
        const auto log_n = static_cast<unsigned int>(std::bit_width(n));
        if (log_n <= log_nodes_a_plane ||
            !planes_.resize(std::size_t{1} << (log_n - log_nodes_a_plane))) {
            return;
        }
        fill(tree_place<DIM>::root(n), ids, coordinates);
    }
    void copy(const split_planes& other) {
        if (!planes_.copy(other.planes_)) clear();
    }
    // Gives up the memory, too.
    void clear() {
        if (planes_.capacity() != 0) planes_ = dense1D<double>();
    }

    const double* begin() const { return planes_.data(); }
    // Number 0 has no plane.
    std::size_t size() const { return planes_.size(); }

private:
    // Of n nodes, n / 32 to n / 16 have a plane; subtrees of fewer than 15 have none.
    static constexpr unsigned int log_nodes_a_plane = 5;

    void fill(tree_place<DIM> place, const unsigned int* ids, coordinate_columns coordinates) {
        if (place.number >= planes_.size()) return;
        planes_[place.number] = coordinates.of(ids[place.at.slot])[place.axis];
        fill(place.left(), ids, coordinates);
        fill(place.right(), ids, coordinates);
    }

    dense1D<double> planes_;
};

} // namespace kv7::tessmaker

#endif
