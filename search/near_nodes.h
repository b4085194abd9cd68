// The nodes that can be the nearest to a point.
#ifndef TESSMAKER_SEARCH_NEAR_NODES_H
#define TESSMAKER_SEARCH_NEAR_NODES_H

#include <algorithm>
#include <array>
#include <cstddef>

#include "search/clear_distance.h"

namespace kv7::tessmaker {

struct near_node {
    unsigned int id;
    double dist2;
};

// The nodes that can be the nearest: the one at the least distance, and those that are not clearly
// farther.
class near_nodes {
public:
    // Between the least distance and a clear one there is then a gap between the distances of two
    // of these nodes of 1/32 of the margin, which is 2.8 times what rounding can do
    // (`clear_distance`). Nodes beyond the gap, listed or not, have no say in which of those before
    // it is taken.
    static constexpr std::size_t most = 32;

    std::size_t size() const { return size_; }
    const near_node& operator[](std::size_t i) const { return nodes_[i]; }
    double least() const { return least_; }
    bool is_full() const { return size_ == most; }

    void add(unsigned int id, double dist2) {
        least_ = std::min(least_, dist2);
        nodes_[size_++] = {id, dist2};
    }
    void remove_all() { size_ = 0; }
    void remove_beyond(double limit) {
        std::size_t nbr_kept = 0;
        for (std::size_t i = 0; i < size_; ++i) {
            const near_node node = nodes_[i];
            nodes_[nbr_kept] = node;
            nbr_kept += node.dist2 < limit ? 1 : 0;
        }
        size_ = nbr_kept;
    }

private:
    std::array<near_node, most> nodes_;
    std::size_t size_ = 0;
    double least_ = no_distance;
};

} // namespace kv7::tessmaker

#endif
