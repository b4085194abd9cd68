// An index for distances beside a balanced k-d tree: boxes in a tree of four branches, split at the
// median of the widest axis, which therefore fit clouds in a plane, on a line or on a surface, too.
#ifndef TESSMAKER_SEARCH_DISTANCE_INDEX_H
#define TESSMAKER_SEARCH_DISTANCE_INDEX_H

#include <array>
#include <cmath>
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

// A float not above a coordinate in units of an index. The difference and the product that gave it
// are off by 1.1e-16 of it, the float by 6.0e-8 or, where it is least, by 1e-45.
inline float rounded_down(double x) {
    return static_cast<float>(x - (std::fabs(x) * 1e-7 + 1e-44));
}

// The nodes stand in buckets of about equal size, 4^k or 2 * 4^k of them, whichever keeps them
// small. There is one tree over them or two. Tree nodes are numbered by levels, from the roots
// on, so that the branches of each have consecutive numbers; the last numbers are the buckets.
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
    // Mean sizes lie between the half of this and this: 36 bytes a bucket are less than 6 a node.
    static constexpr std::size_t mean_bucket = 13;
    static constexpr std::size_t largest_bucket = 24;
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
    unsigned int nbr_roots() const { return nbr_roots_; }
    // The root whose half of the nodes is nearer to a point, all but always.
    std::size_t near_root(const double* point) const {
        return nbr_roots_ == 2 && point[root_axis_] > root_plane_ ? 1 : 0;
    }
    std::size_t first_branch(std::size_t node) const { return 4 * node + nbr_roots_; }
    std::size_t first_bucket() const { return first_bucket_; }
    // By bucket, the place of its first node among all, and the end of the last bucket.
    const unsigned int* begins() const { return begin_.data(); }
    const unsigned int* nodes() const { return order_.data(); }
    const branch_boxes<DIM>* boxes() const { return boxes_.data(); }
    double origin(unsigned int axis) const { return origin_[axis]; }
    double scale() const { return scale_; }

private:
    class builder;

    bool list_nodes(const unsigned int* ids, std::size_t n, coordinate_columns coordinates);
    void set_units(coordinate_columns coordinates);

    id_list order_;                        // by bucket
    id_list begin_;                        // by bucket, and the end of the last one
    dense1D<branch_boxes<DIM>, 16> boxes_; // by tree node
    unsigned int nbr_roots_ = 1;
    unsigned int root_axis_ = 0;   // between two roots
    double root_plane_ = 0.0;      // between two roots
    unsigned int log_buckets_ = 0; // of the number of buckets, to base 2
    std::size_t first_bucket_ = 0;
    std::array<double, DIM> origin_{};
    double scale_ = 1.0;
};

extern template class distance_index<2>;
extern template class distance_index<3>;

} // namespace kv7::tessmaker

#endif
