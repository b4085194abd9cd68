// An index for distances beside a balanced k-d tree: boxes in a tree of four branches, split at the
// median of the widest axis, which therefore fit clouds in a plane, on a line or on a surface, too.
#ifndef TESSMAKER_SEARCH_DISTANCE_INDEX_H
#define TESSMAKER_SEARCH_DISTANCE_INDEX_H

#include <array>
#include <cstddef>

#include "core/ids.h"
#include "search/balanced_order.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The boxes of the four branches of a node, by axis.
template <unsigned DIM> struct branch_boxes {
    using floats = float __attribute__((vector_size(16)));

    std::array<floats, DIM> lower;
    std::array<floats, DIM> upper;
};

// The nodes stand in buckets, 4^k of them, as equal in size as can be, in the order of the leaves.
// Tree nodes are numbered by levels from 0, the root, so that the branches of `i` are 4 i + 1 to
// 4 i + 4; the last 4^k numbers are buckets.
//
// Boxes are in units of the index, (x - origin) * scale, rounded outwards. Left out are nodes with
// a coordinate that is not finite or beyond `farthest`: a query within `farthest_query` that has
// found a node within `farthest_query` is nearer to that.
template <unsigned DIM> class distance_index {
public:
    distance_index() = default;
    distance_index(const distance_index&) = delete;
    distance_index& operator=(const distance_index&) = delete;
    ~distance_index() = default;

    static constexpr double farthest = 1e100;
    static constexpr double farthest_query = 1e99;
    // In units of the index: the largest coordinate lies between the half of the first and the
    // first. Squares of coordinates up to the second do not overflow as float.
    static constexpr double largest_unit = 0x1p50;
    static constexpr double largest_query_unit = 0x1p62;

    // Indexes `n` nodes of these coordinates. Leaves no index if memory fails, or where one would
    // not help: for a few nodes; if steps of float are too coarse for the details of the cloud.
    void build(const unsigned int* ids, std::size_t n, coordinate_columns coordinates);
    // Becomes a copy of `other`, or no index if memory fails.
    void copy(const distance_index& other);
    void clear();

    bool empty() const { return order_.empty(); }
    std::size_t first_bucket() const { return first_bucket_; }
    // The place of the first node of a bucket among all.
    std::size_t begin_of(std::size_t bucket) const {
        return order_.size() * bucket >> 2 * nbr_levels_;
    }
    const unsigned int* nodes() const { return order_.data(); }
    const branch_boxes<DIM>* boxes() const { return boxes_.data(); }
    double origin(unsigned int axis) const { return origin_[axis]; }
    double scale() const { return scale_; }

private:
    class builder;

    bool list_nodes(const unsigned int* ids, std::size_t n, coordinate_columns coordinates);
    void set_units(coordinate_columns coordinates);

    id_list order_;                        // by bucket
    dense1D<branch_boxes<DIM>, 16> boxes_; // by tree node
    unsigned int nbr_levels_ = 0;          // of boxes
    std::size_t first_bucket_ = 0;
    std::array<double, DIM> origin_{};
    double scale_ = 1.0;
};

extern template class distance_index<2>;
extern template class distance_index<3>;

} // namespace kv7::tessmaker

#endif
