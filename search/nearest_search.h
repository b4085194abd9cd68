// The nodes that can be the nearest, by the index for distances.
#ifndef TESSMAKER_SEARCH_NEAREST_SEARCH_H
#define TESSMAKER_SEARCH_NEAREST_SEARCH_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "core/prefetch.h"
#include "core/small_vectors.h"
#include "search/clear_distance.h"
#include "search/distance_index.h"
#include "search/near_nodes.h"

namespace kv7::tessmaker {

// Finds the near nodes by the index.
template <unsigned DIM> class index_search {
public:
    index_search(const distance_index<DIM>& index, const double* coordinates, const double* point,
                 unsigned int excluded_id)
        : index_(index), boxes_(index.boxes()), nodes_of_buckets_(index.nodes()),
          begins_(index.begins()), first_bucket_(index.first_bucket()),
          above_buckets_((first_bucket_ - index.nbr_roots()) / 4), coordinates_(coordinates),
          excluded_id_(excluded_id), clear_(point) {
        std::copy(point, point + DIM, point_.begin());
    }

    // False, and no word on the nodes, if the tree must be searched: far from the nodes, with none
    // to be found, with too many equally near.
    bool run() {
        if (!set_query()) return false;
        walk();
        constexpr double farthest = distance_index<DIM>::farthest_query;
        if (gives_up_ || nodes_.size() == 0 || !(nodes_.least() < farthest * farthest)) {
            return false;
        }
        if (nodes_.size() > 1) nodes_.remove_beyond(limit_);
        return true;
    }
    const near_nodes& nodes() const { return nodes_; }

private:
    using floats = typename branch_boxes<DIM>::floats;

    // A branch, its squared distance in the upper bits, which order like the number, and its number
    // among the four in the last two.
    using branch_key = std::int32_t;
    struct pending_branch {
        branch_key key;
        std::uint32_t first_branch;
    };

    // The point in units of the index, rounded down and up.
    bool set_query() {
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(std::fabs(point_[axis]) <= distance_index<DIM>::farthest_query)) return false;
            const double x = (point_[axis] - index_.origin(axis)) * index_.scale();
            if (!(std::fabs(x) <= distance_index<DIM>::largest_query_unit)) return false;
            lower_[axis] = floats{} + rounded_down(x);
            upper_[axis] = floats{} - rounded_down(-x);
        }
        return true;
    }

    void walk() {
        std::array<pending_branch, 64> pending; // at most 3 on each of 15 levels, and one beyond
        std::size_t nbr_pending = 0;
        std::size_t at = index_.near_root(point_.data());
        if (index_.nbr_roots() == 2) {
            pending[nbr_pending++] = {0, static_cast<std::uint32_t>(1 - at)};
        }
        for (;;) {
            bool is_near = true;
            while (is_near && at < first_bucket_) {
                const std::array<branch_key, 4> keys = sorted_branches(boxes_[at]);
                const auto first_branch = static_cast<std::uint32_t>(index_.first_branch(at));
                for (std::size_t k = 3; k > 0; --k) {
                    pending[nbr_pending] = {keys[k], first_branch};
                    nbr_pending += keys[k] <= limit_key_ ? 1 : 0;
                }
                is_near = keys[0] <= limit_key_;
                at = first_branch + branch_of(keys[0]);
                if (at >= above_buckets_) prefetch_nodes(at);
            }
            if (is_near) search_bucket(at - first_bucket_);
            if (gives_up_) return;
            do {
                if (nbr_pending == 0) return;
                --nbr_pending;
            } while (pending[nbr_pending].key > limit_key_);
            at = pending[nbr_pending].first_branch + branch_of(pending[nbr_pending].key);
        }
    }

    // Those below a tree node whose branches are buckets, or in a bucket.
    [[gnu::always_inline]] void prefetch_nodes(std::size_t at) const {
        const std::size_t first =
            at < first_bucket_ ? index_.first_branch(at) - first_bucket_ : at - first_bucket_;
        prefetch(nodes_of_buckets_ + begins_[first]);
    }

    static std::uint32_t branch_of(branch_key key) { return static_cast<std::uint32_t>(key) & 3U; }

    // Keys of the branches, the nearest first.
    std::array<branch_key, 4> sorted_branches(const branch_boxes<DIM>& boxes) const {
        std::array<floats, DIM> gap2;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const floats below = boxes.lower[axis] - upper_[axis];
            const floats above = lower_[axis] - boxes.upper[axis];
            const floats outside = below > above ? below : above;
            const floats gap = outside > 0.0F ? outside : 0.0F;
            gap2[axis] = gap * gap;
        }
        floats sum = gap2[0] + gap2[1];
        if constexpr (DIM == 3) sum += gap2[2];
        std::array<branch_key, 4> keys;
        std::memcpy(keys.data(), &sum, sizeof keys);
        keys = {keys[0] & ~3, (keys[1] & ~3) | 1, (keys[2] & ~3) | 2, keys[3] | 3};
        sort(keys[0], keys[1]);
        sort(keys[2], keys[3]);
        sort(keys[0], keys[2]);
        sort(keys[1], keys[3]);
        sort(keys[1], keys[2]);
        return keys;
    }

    // Without a branch, which would be mispredicted every other time. Keys are not negative.
    static void sort(branch_key& a, branch_key& b) {
        const branch_key below = (a - b) & ((a - b) >> 31); // 0 if a is not below b
        b = std::exchange(a, b + below) - below;
    }

    // Distances first, then what follows from them: tested one by one, every second outcome would
    // be mispredicted.
    void search_bucket(std::size_t bucket) {
        const std::size_t begin = begins_[bucket];
        const std::size_t size = begins_[bucket + 1] - begin;
        const unsigned int* const ids = nodes_of_buckets_ + begin;
        const std::array<double, DIM> point = point_;
        std::array<double, distance_index<DIM>::largest_bucket> dist2;
        double least = no_distance;
        for (std::size_t i = 0; i < size; ++i) {
            const double* const p = coordinates_ + std::size_t{ids[i]} * DIM;
            const double d2 = squared_distance<DIM>(point.data(), p);
            dist2[i] = ids[i] == excluded_id_ ? no_distance : d2;
            least = dist2[i] < least ? dist2[i] : least;
        }
        if (!(least < limit_)) return;
        if (least < nodes_.least()) narrow(least);
        for (std::size_t i = 0; i < size; ++i) {
            if (dist2[i] < limit_) add(ids[i], dist2[i]);
        }
    }

    // Nodes must now be near those at this distance.
    void narrow(double least) {
        const double radius = clear_.beyond(least);
        limit_ = radius * radius;
        set_limit_key(radius);
        if (nodes_.least() >= limit_) nodes_.remove_all();
    }

    void add(unsigned int id, double d2) {
        if (nodes_.is_full()) nodes_.remove_beyond(limit_);
        gives_up_ = nodes_.is_full();
        if (!gives_up_) nodes_.add(id, d2);
    }

    // The squared distance of a box, as float, exceeds that of each node in it by five roundings of
    // 6e-8 at most, and by 3e-45 where squares are that small; the limit is rounded once.
    void set_limit_key(double radius) {
        const double in_units = radius * index_.scale();
        const double limit = in_units * in_units * (1 + 1e-6) + 1e-40;
        const float as_float = limit < largest_float ? static_cast<float>(limit) : largest_float;
        std::memcpy(&limit_key_, &as_float, sizeof limit_key_);
        limit_key_ |= 3;
    }

    static constexpr float largest_float = std::numeric_limits<float>::max();

    const distance_index<DIM>& index_;
    const branch_boxes<DIM>* boxes_;
    const unsigned int* nodes_of_buckets_;
    const unsigned int* begins_; // of the buckets among their nodes
    std::size_t first_bucket_;
    std::size_t above_buckets_; // the first tree node whose branches are buckets
    const double* coordinates_;
    std::array<double, DIM> point_;
    unsigned int excluded_id_;
    clear_distance<DIM> clear_;
    std::array<floats, DIM> lower_;
    std::array<floats, DIM> upper_;
    double limit_ = no_distance; // nodes at least this far are not near
    branch_key limit_key_ = 0x7FFFFFFF;
    bool gives_up_ = false;
    near_nodes nodes_;
};

} // namespace kv7::tessmaker

#endif
