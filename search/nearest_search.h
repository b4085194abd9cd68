// The nearest nodes by the index for distances, and which of several equally near ones counts.
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

#include "core/ids.h"
#include "core/small_vectors.h"
#include "search/balanced_order.h"
#include "search/clear_distance.h"
#include "search/distance_index.h"
#include "search/keyed_points.h"
#include "search/tree_queries.h"

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

// Finds the near nodes by the index.
template <unsigned DIM> class index_search {
public:
    index_search(const distance_index<DIM>& index, const double* coordinates, const double* point,
                 unsigned int excluded_id)
        : index_(index), coordinates_(coordinates), point_(point), excluded_id_(excluded_id),
          clear_(point) {}

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
    using branch_key = std::uint32_t;
    struct pending_branch {
        branch_key key;
        std::uint32_t first_branch;
    };

    // The point in units of the index, rounded down and up. Like bounds of boxes, see
    // `distance_index`.
    bool set_query() {
        constexpr float infinite = std::numeric_limits<float>::infinity();
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(std::fabs(point_[axis]) <= distance_index<DIM>::farthest_query)) return false;
            const double x = (point_[axis] - index_.origin(axis)) * index_.scale();
            if (!(std::fabs(x) <= distance_index<DIM>::largest_query_unit)) return false;
            const auto nearest = static_cast<float>(x);
            lower_[axis] = std::nextafter(nearest, -infinite);
            upper_[axis] = std::nextafter(nearest, infinite);
        }
        return true;
    }

    void walk() {
        std::array<pending_branch, 64> pending; // at most 3 on each of 15 levels
        std::size_t nbr_pending = 0;
        std::size_t at = 0;
        for (;;) {
            bool is_near = true;
            while (is_near && at < index_.first_bucket()) {
                std::array<branch_key, 4> keys;
                sort_branches(index_.boxes()[at], keys);
                const auto first_branch = static_cast<std::uint32_t>(4 * at + 1);
                for (std::size_t k = 3; k > 0; --k) {
                    pending[nbr_pending] = {keys[k], first_branch};
                    nbr_pending += keys[k] <= limit_key_ ? 1 : 0;
                }
                is_near = keys[0] <= limit_key_;
                at = first_branch + (keys[0] & 3U);
            }
            if (is_near) search_bucket(at - index_.first_bucket());
            if (gives_up_) return;
            do {
                if (nbr_pending == 0) return;
                --nbr_pending;
            } while (pending[nbr_pending].key > limit_key_);
            at = pending[nbr_pending].first_branch + (pending[nbr_pending].key & 3U);
        }
    }

    // Keys of the branches, the nearest first.
    void sort_branches(const branch_boxes<DIM>& boxes, std::array<branch_key, 4>& keys) const {
        floats sum{};
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const floats below = boxes.lower[axis] - upper_[axis];
            const floats above = lower_[axis] - boxes.upper[axis];
            const floats outside = below > above ? below : above;
            const floats gap = outside > floats{} ? outside : floats{};
            sum += gap * gap;
        }
        std::memcpy(keys.data(), &sum, sizeof keys);
        for (branch_key k = 0; k < 4; ++k) keys[k] = (keys[k] & ~3U) | k;
        const auto order = [&](std::size_t i, std::size_t j) {
            const branch_key less = std::min(keys[i], keys[j]);
            keys[j] = std::max(keys[i], keys[j]);
            keys[i] = less;
        };
        order(0, 1);
        order(2, 3);
        order(0, 2);
        order(1, 3);
        order(1, 2);
    }

    void search_bucket(std::size_t bucket) {
        const unsigned int* const end = index_.nodes() + index_.begin_of(bucket + 1);
        for (const unsigned int* id = index_.nodes() + index_.begin_of(bucket); id != end; ++id) {
            const double d2 = squared_distance<DIM>(point_, coordinates_ + std::size_t{*id} * DIM);
            if (d2 < limit_ && *id != excluded_id_) add(*id, d2);
        }
    }

    void add(unsigned int id, double d2) {
        if (d2 < nodes_.least()) {
            const double radius = clear_.beyond(d2);
            limit_ = radius * radius;
            set_limit_key(radius);
            if (nodes_.least() >= limit_) nodes_.remove_all();
        }
        if (nodes_.is_full()) nodes_.remove_beyond(limit_);
        if (nodes_.is_full()) {
            gives_up_ = true;
        } else {
            nodes_.add(id, d2);
        }
    }

    // The squared distance of a box, as float, exceeds that of each node in it by five roundings of
    // 6e-8 at most, and by 3e-45 where squares are that small; the limit is rounded once.
    void set_limit_key(double radius) {
        const double in_units = radius * index_.scale();
        const double limit = in_units * in_units * (1 + 1e-6) + 1e-40;
        const float as_float = limit < largest_float ? static_cast<float>(limit) : largest_float;
        std::memcpy(&limit_key_, &as_float, sizeof limit_key_);
        limit_key_ |= 3U;
    }

    static constexpr float largest_float = std::numeric_limits<float>::max();

    const distance_index<DIM>& index_;
    const double* coordinates_;
    const double* point_;
    unsigned int excluded_id_;
    clear_distance<DIM> clear_;
    std::array<float, DIM> lower_;
    std::array<float, DIM> upper_;
    double limit_ = no_distance; // nodes at least this far are not near
    branch_key limit_key_ = 0xFFFFFFFFU;
    bool gives_up_ = false;
    near_nodes nodes_;
};

// Which of the near nodes `plain_search` takes. It visits the nodes in the same order and with the
// same bounds, but only those above the near ones in the tree: all others have no say, since from
// the first near node on they are too far to be taken, and before it no bound that they set comes
// close enough to pass over a near one.
template <unsigned DIM> class tie_search {
public:
    tie_search(const tree_points<DIM>& tree, const double* point, const near_nodes& nodes)
        : tree_(tree), point_(point), nodes_(nodes) {
        for (std::size_t i = 0; i < nodes.size(); ++i) places_[i] = tree.point(nodes[i].id);
    }

    near_node run(subtree root) {
        const node_set all = 0xFFFFFFFFU >> (near_nodes::most - nodes_.size());
        descend(root, all);
        if (!is_settled()) walk(root, all);
        // None is met where nodes were moved.
        return is_found() ? best_ : nodes_[0];
    }

private:
    // Bit `i` for near node `i`.
    using node_set = std::uint32_t;
    struct node_sets {
        node_set here = 0;
        node_set left = 0;
        node_set right = 0;
    };
    struct pending_branch {
        double c;
        subtree left;
        node_set nodes;
        unsigned int axis;
    };

    bool is_found() const { return best_.id != no_id; }
    // A node at the least distance is not replaced.
    bool is_settled() const { return is_found() && best_.dist2 == nodes_.least(); }

    // The near nodes of a subtree by where they are in it.
    node_sets divide(node_set nodes, unsigned int id, double c, unsigned int axis) const {
        node_sets sets;
        for (std::size_t i = 0; nodes >> i != 0; ++i) {
            const node_set node = nodes & (node_set{1} << i);
            if (nodes_[i].id == id) {
                sets.here |= node;
            } else if (ranks_before(places_[i][axis], nodes_[i].id, c, id)) {
                sets.left |= node;
            } else {
                sets.right |= node;
            }
            if (i + 1 == near_nodes::most) break;
        }
        return sets;
    }

    void take_nearer(node_set here) {
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const bool is_here = (here >> i & 1U) != 0;
            if (is_here && nodes_[i].dist2 < best_.dist2) best_ = nodes_[i];
        }
    }

    void descend(subtree at, node_set nodes) {
        for (unsigned int axis = 0; at && nodes != 0; axis = next_axis<DIM>(axis)) {
            const subtree left = balanced_branches::left(at);
            const subtree right = balanced_branches::right(at);
            tree_.prefetch_children(left, right);
            const unsigned int id = tree_.id(at);
            const double c = tree_.point(id)[axis];
            const node_sets sets = divide(nodes, id, c, axis);
            if (sets.here != 0) take_nearer(sets.here);
            if (is_settled()) return;
            const bool goes_left = point_[axis] - c < 0.0;
            at = goes_left ? left : right;
            nodes = goes_left ? sets.left : sets.right;
        }
    }

    void walk(subtree at, node_set nodes) {
        walk_stack<pending_branch> pending;
        double radius = is_found() ? std::sqrt(best_.dist2) : no_distance;
        for (unsigned int axis = 0;; axis = next_axis<DIM>(axis)) {
            if (!is_found() && is_last_word(nodes)) return;
            const subtree left = balanced_branches::left(at);
            const subtree right = balanced_branches::right(at);
            const unsigned int id = tree_.id(at);
            const double c = tree_.point(id)[axis];
            const node_sets sets = divide(nodes, id, c, axis);
            at = left;
            nodes = sets.left;
            if (c <= point_[axis] - radius) {
                at = right;
                nodes = sets.right;
            } else if (c < point_[axis] + radius) {
                if (sets.here != 0) take_nearer(sets.here);
                if (is_settled()) return;
                if (is_found()) radius = std::sqrt(best_.dist2);
                if (right) {
                    if (sets.left != 0) pending.push({c, left, sets.left, axis});
                    at = right;
                    nodes = sets.right;
                }
            }
            while (!at || nodes == 0) {
                if (pending.empty()) return;
                const pending_branch& branch = pending.pop();
                axis = branch.axis;
                at = branch.left;
                nodes = branch.c > point_[axis] - radius ? branch.nodes : 0;
            }
        }
    }

    // Takes the only node of a set if it is at the least distance: it is the next to be met.
    bool is_last_word(node_set nodes) {
        if ((nodes & (nodes - 1)) != 0) return false;
        take_nearer(nodes);
        if (is_settled()) return true;
        best_ = {no_id, no_distance};
        return false;
    }

    tree_points<DIM> tree_;
    const double* point_;
    const near_nodes& nodes_;
    std::array<const double*, near_nodes::most> places_;
    near_node best_{no_id, no_distance};
};

} // namespace kv7::tessmaker

#endif
