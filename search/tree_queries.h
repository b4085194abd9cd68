// Queries on a k-d tree: the points in a box, the nearest point.
//
// The quick search for the nearest point: S. Arya and D. M. Mount, Algorithms for fast vector
// quantization, Data Compression Conference, 1993.
#ifndef TESSMAKER_SEARCH_TREE_QUERIES_H
#define TESSMAKER_SEARCH_TREE_QUERIES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "core/ids.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"
#include "search/balanced_order.h"
#include "search/clear_distance.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// What a query reads of a tree.
template <unsigned DIM> class tree_points {
public:
    tree_points(const dense1D<unsigned int>& ids, const dense2D<double>& pos)
        : ids_(ids.data()), coordinates_(pos.column(0)), ld_(pos.ld()) {}

    unsigned int id(subtree at) const { return ids_[at.slot]; }
    const double* point(unsigned int id) const { return coordinates_ + id * ld_; }

    // Prefetches the points of both children before it is known which one comes next: waiting for
    // memory takes up most of a query.
    [[gnu::always_inline]] void prefetch_children(subtree left, subtree right) const {
        if (left) prefetch_point(point(id(left)));
        if (right) prefetch_point(point(id(right)));
    }

private:
    // A point may lie across the end of a cache line.
    [[gnu::always_inline]] static void prefetch_point(const double* p) {
        prefetch(p);
        prefetch(p + DIM - 1);
    }

    const unsigned int* ids_;
    const double* coordinates_;
    std::size_t ld_;
};

// The subtrees that a walk has still to visit. A balanced tree needs one entry per level;
// insertions can make branches of any length, and the stack then moves to allocated memory.
template <class T> class walk_stack {
public:
    walk_stack() = default;
    walk_stack(const walk_stack&) = delete;
    walk_stack& operator=(const walk_stack&) = delete;
    ~walk_stack() {
        if (entries_ != local_.data()) __vector_num_free(entries_);
    }

    bool empty() const { return size_ == 0; }
    // An entry for which memory fails is left out.
    void push(const T& entry) {
        if (size_ == capacity_ && !grow()) return;
        entries_[size_++] = entry;
    }
    const T& pop() { return entries_[--size_]; }

private:
    bool grow() {
        const std::size_t bytes = size_ * sizeof(T);
        auto* const larger = static_cast<T*>(__vector_num_alloc(2 * bytes));
        if (!larger) return false;
        std::memcpy(larger, entries_, bytes);
        if (entries_ != local_.data()) __vector_num_free(entries_);
        entries_ = larger;
        capacity_ *= 2;
        return true;
    }

    std::array<T, 64> local_;
    T* entries_ = local_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = local_.size();
};

template <unsigned DIM> class box_search {
public:
    box_search(const tree_points<DIM>& tree, const double* box, unsigned int excluded_id,
               id_list& hits)
        : tree_(tree), box_(box), excluded_id_(excluded_id), hits_(hits) {}

    template <class Branches> void walk(const Branches& branches, subtree at) {
        walk_stack<pending_subtree> pending;
        unsigned int axis = 0;
        for (;;) {
            if (at.size == 1) { // a leaf, as half of all nodes are
                add_candidate(tree_.id(at));
                at = {};
            } else {
                const subtree left = branches.left(at);
                const subtree right = branches.right(at);
                tree_.prefetch_children(left, right);
                const unsigned int id = tree_.id(at);
                const double c = tree_.point(id)[axis];
                // NaN comes after all numbers, so they are on its left.
                const bool go_left = !(c < box_[axis]);
                const bool go_right = c <= box_[DIM + axis];
                axis = next_axis<DIM>(axis);
                if (go_left && go_right) {
                    add_candidate(id);
                    if (left && right) pending.push({left, axis});
                }
                at = go_right ? right : subtree{};
                if (go_left && !at) at = left;
            }
            if (!at) {
                if (pending.empty()) break;
                const pending_subtree& next = pending.pop();
                at = next.at;
                axis = next.axis;
            }
        }
        settle_candidates();
    }

private:
    struct pending_subtree {
        subtree at;
        unsigned int axis;
    };

    // Nodes are tested many at a time, in a loop without branches. Tested one by one during the
    // walk, every second outcome would be mispredicted.
    void add_candidate(unsigned int id) {
        if (nbr_candidates_ == candidates_.size()) settle_candidates();
        candidates_[nbr_candidates_++] = id;
    }

    void settle_candidates() {
        std::size_t nbr_hits = 0;
        for (std::size_t k = 0; k < nbr_candidates_; ++k) {
            const unsigned int id = candidates_[k];
            candidates_[nbr_hits] = id;
            nbr_hits += is_hit(id) ? 1 : 0;
        }
        for (std::size_t k = 0; k < nbr_hits; ++k) hits_.push_back(candidates_[k]);
        nbr_candidates_ = 0;
    }

    bool is_hit(unsigned int id) const {
        const double* const p = tree_.point(id);
        bool hit = id != excluded_id_;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            hit &= (box_[axis] <= p[axis]) & (p[axis] <= box_[DIM + axis]);
        }
        return hit;
    }

    tree_points<DIM> tree_;
    const double* box_;
    unsigned int excluded_id_;
    id_list& hits_;
    std::array<unsigned int, 256> candidates_;
    std::size_t nbr_candidates_ = 0;
};

// The nearest point; of several at the same distance, the first visited. The nodes on the path down
// to the place of `point` are visited first, then all others within the radius found so far, each
// node before its right subtree and that before its left one.
template <unsigned DIM> class plain_search {
public:
    plain_search(const tree_points<DIM>& tree, const double* point, unsigned int excluded_id,
                 double dist2)
        : tree_(tree), point_(point), excluded_id_(excluded_id), dist2_(dist2) {}

    template <class Branches> void run(const Branches& branches, subtree root) {
        descend(branches, root);
        radius_ = dist2_ < no_distance ? std::sqrt(dist2_) : no_distance;
        walk(branches, root);
    }
    unsigned int id() const { return id_; }
    double dist2() const { return dist2_; }

private:
    struct pending_node {
        double c;
        subtree left;
        unsigned int axis;
    };

    // Gives the walk a small radius to start with.
    template <class Branches> void descend(const Branches& branches, subtree at) {
        for (unsigned int axis = 0; at && dist2_ > 0.0; axis = next_axis<DIM>(axis)) {
            const unsigned int id = tree_.id(at);
            const double diff = point_[axis] - tree_.point(id)[axis];
            if (diff * diff < dist2_) test(id);
            at = diff < 0.0 ? branches.left(at) : branches.right(at);
        }
    }

    template <class Branches> void walk(const Branches& branches, subtree at) {
        walk_stack<pending_node> pending;
        unsigned int axis = 0;
        while (radius_ > 0.0) {
            const subtree left = branches.left(at);
            const subtree right = branches.right(at);
            const unsigned int id = tree_.id(at);
            const double c = tree_.point(id)[axis];
            if (c <= point_[axis] - radius_) {
                at = right;
            } else if (c < point_[axis] + radius_) {
                if (test(id)) radius_ = std::sqrt(dist2_);
                if (left && right) pending.push({c, left, axis});
                at = right ? right : left;
            } else {
                at = left; // also if the coordinate is NaN
            }
            while (!at) {
                if (pending.empty()) return;
                const pending_node& node = pending.pop();
                axis = node.axis;
                if (node.c > point_[axis] - radius_) at = node.left;
            }
            axis = next_axis<DIM>(axis);
        }
    }

    // Whether the node is the best so far.
    bool test(unsigned int id) {
        if (id == excluded_id_) return false;
        const double d2 = squared_distance<DIM>(point_, tree_.point(id));
        if (!(d2 < dist2_)) return false;
        id_ = id;
        dist2_ = d2;
        return true;
    }

    tree_points<DIM> tree_;
    const double* point_;
    unsigned int excluded_id_;
    unsigned int id_ = no_id;
    double dist2_;
    double radius_ = no_distance;
};

// The nearest point, by a search that starts at the bottom of the tree and skips more of it than
// `plain_search`. Its answer is that of `plain_search` if it is clear: if every other point is
// farther by more than all rounding errors together, including those of the bounds by which
// `plain_search` skips subtrees. Otherwise `plain_search` must decide.
template <unsigned DIM> class quick_search {
public:
    quick_search(const tree_points<DIM>& tree, const double* point, unsigned int excluded_id,
                 double dist2)
        : tree_(tree), point_(point), excluded_id_(excluded_id), clear_(point), dist2_(dist2),
          limit_(dist2 < no_distance ? limit_around(dist2) : no_distance) {}

    template <class Branches> void run(const Branches& branches, subtree root) {
        walk_stack<region> pending;
        region here{root, 0, 0.0, {}};
        for (;;) {
            while (here.at) {
                const subtree left = branches.left(here.at);
                const subtree right = branches.right(here.at);
                tree_.prefetch_children(left, right);
                const unsigned int id = tree_.id(here.at);
                const double* const p = tree_.point(id);
                test(id, p);

                const unsigned int axis = here.axis;
                const double diff = point_[axis] - p[axis];
                here.axis = next_axis<DIM>(axis);
                region far_side = here;
                far_side.at = diff < 0.0 ? right : left;
                far_side.offset[axis] = diff;
                far_side.dist2 = squared_length(far_side.offset);
                if (far_side.at && !(far_side.dist2 > limit_)) pending.push(far_side);
                here.at = diff < 0.0 ? left : right;
            }
            do {
                if (pending.empty() || !is_clear()) return;
                here = pending.pop();
            } while (here.dist2 > limit_);
        }
    }

    bool is_clear() const { return id_ == no_id || second_ >= limit_; }
    unsigned int id() const { return id_; }
    double dist2() const { return dist2_; }

private:
    // A subtree and a lower bound of its distance: on each axis, the distance to the last plane
    // that separates it from the point.
    struct region {
        subtree at;
        unsigned int axis;
        double dist2;
        std::array<double, DIM> offset;
    };

    static double squared_length(const std::array<double, DIM>& v) {
        double sum = 0.0;
        for (const double x : v) sum += x * x;
        return sum;
    }

    double limit_around(double dist2) const {
        const double clear = clear_.beyond(dist2);
        return clear * clear;
    }

    void test(unsigned int id, const double* p) {
        const double d2 = squared_distance<DIM>(point_, p);
        if (!(d2 < limit_) || id == excluded_id_) return;
        if (d2 < dist2_) {
            second_ = dist2_;
            id_ = id;
            dist2_ = d2;
            limit_ = limit_around(d2);
        } else {
            second_ = std::min(second_, d2);
        }
    }

    tree_points<DIM> tree_;
    const double* point_;
    unsigned int excluded_id_;
    clear_distance<DIM> clear_;
    unsigned int id_ = no_id;
    double dist2_;
    double second_ = no_distance; // squared distance of the second nearest point
    double limit_; // a second nearest point at least this far leaves the answer clear
};

} // namespace kv7::tessmaker

#endif
