// A k-d tree of ranked nodes, asked for the nearest node of lower rank.
#ifndef TESSMAKER_REPAIR_RANK_TREE_H
#define TESSMAKER_REPAIR_RANK_TREE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "core/element_table.h"
#include "repair/closeness.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The same tree as a `point_tree` of the same nodes, and so with the same order of hits, but laid
// out flat: the median of a range of entries stands in its middle, the left subtree before it, the
// right one behind. Each entry knows the lowest rank of its range, so that ranges without a
// candidate are passed over.
template <unsigned int DIM> class rank_tree {
public:
    // The nodes of `list`, ranked by their place in it. False when memory fails. A node whose
    // position is not a number is left out: nothing is near it, and it has no place in an order.
    bool build(const dense2D<double>& pos, const dense1D<unsigned int, 8>& list) {
        entries_.clear();
        list_ = list.data();
        if (!entries_.reserve(list.size(), 1)) return false;
        for (std::size_t k = 0; k < list.size(); ++k) {
            entry added;
            std::copy_n(pos.column(list[k]), DIM, added.at.begin());
            added.rank = added.lowest_rank = static_cast<unsigned int>(k);
            const auto is_nan = [](double x) { return std::isnan(x); };
            if (std::none_of(added.at.begin(), added.at.end(), is_nan)) entries_.push_back(added);
        }
        balance(entries_.begin(), entries_.end(), 0);
        return true;
    }

    // The node nearest to `at`, close to it, of a rank below `rank`; 0xFFFFFFFF when there is none.
    // Of several at the same distance it is the last in the order of the tree: each node before its
    // right subtree, and that before its left one.
    unsigned int find_nearest(const double* at, double tol, unsigned int rank) const {
        query q{{}, tol, rank, tol * tol, false};
        std::copy_n(at, DIM, q.at.begin());
        approach(entries_.begin(), entries_.end(), 0, q);
        return q.found ? list_[last_at_distance(entries_.begin(), entries_.end(), 0, q)] : no_id;
    }

private:
    struct entry {
        std::array<double, DIM> at;
        unsigned int rank;
        unsigned int lowest_rank; // in the subtree
    };

    struct query {
        std::array<double, DIM> at;
        double tol;
        unsigned int rank;
        double dist2; // the smallest found, the largest allowed before
        bool found;
    };

    static constexpr unsigned int next_axis(unsigned int axis) {
        return axis + 1 == DIM ? 0 : axis + 1;
    }
    static const entry* middle(const entry* first, const entry* last) {
        return first + (last - first) / 2;
    }

    // Returns the lowest rank.
    unsigned int balance(entry* first, entry* last, unsigned int axis) {
        if (first == last) return no_id;
        entry* const mid = first + (last - first) / 2;
        std::nth_element(first, mid, last, [this, axis](const entry& a, const entry& b) {
            if (a.at[axis] != b.at[axis]) return a.at[axis] < b.at[axis];
            return list_[a.rank] < list_[b.rank];
        });
        const unsigned int left = balance(first, mid, next_axis(axis));
        const unsigned int right = balance(mid + 1, last, next_axis(axis));
        mid->lowest_rank = std::min({left, mid->rank, right});
        return mid->lowest_rank;
    }

    static bool is_candidate(const entry& e, const query& q) {
        return e.rank < q.rank && is_in_box<DIM>(q.at.data(), q.tol, e.at.data());
    }

    // A point beyond the plane through `e` is no nearer than the plane, also as rounded: all steps
    // to the squared distance keep order. Closer than this the subtrees needn't be looked at.
    static double dist2_of_plane(const entry& e, unsigned int axis, const query& q) {
        const double diff = q.at[axis] - e.at[axis];
        return diff * diff;
    }

    // Finds the smallest squared distance, the nearer subtree first.
    void approach(const entry* first, const entry* last, unsigned int axis, query& q) const {
        if (first == last) return;
        const entry* const mid = middle(first, last);
        if (mid->lowest_rank >= q.rank) return;
        if (is_candidate(*mid, q)) {
            const double dist2 = squared_distance<DIM>(q.at.data(), mid->at.data());
            if (q.found ? dist2 < q.dist2 : dist2 <= q.dist2) {
                q.dist2 = dist2;
                q.found = true;
            }
        }
        const bool left_is_nearer = q.at[axis] < mid->at[axis];
        approach_side(first, mid, last, axis, left_is_nearer, q);
        if (q.found && dist2_of_plane(*mid, axis, q) >= q.dist2) return;
        approach_side(first, mid, last, axis, !left_is_nearer, q);
    }
    void approach_side(const entry* first, const entry* mid, const entry* last, unsigned int axis,
                       bool left, query& q) const {
        const double c = mid->at[axis];
        if (left && q.at[axis] - q.tol <= c) approach(first, mid, next_axis(axis), q);
        if (!left && c <= q.at[axis] + q.tol) approach(mid + 1, last, next_axis(axis), q);
    }

    // The rank of the last node at the smallest distance: the walk in the order of the tree, run
    // backwards.
    unsigned int last_at_distance(const entry* first, const entry* last, unsigned int axis,
                                  const query& q) const {
        if (first == last) return no_id;
        const entry* const mid = middle(first, last);
        if (mid->lowest_rank >= q.rank) return no_id;
        const double c = mid->at[axis];
        const bool reaches_over = !(dist2_of_plane(*mid, axis, q) > q.dist2);
        if (reaches_over || q.at[axis] < c) {
            const unsigned int rank = last_at_distance(first, mid, next_axis(axis), q);
            if (rank != no_id) return rank;
        }
        if (reaches_over || c < q.at[axis]) {
            const unsigned int rank = last_at_distance(mid + 1, last, next_axis(axis), q);
            if (rank != no_id) return rank;
        }
        if (is_candidate(*mid, q) && squared_distance<DIM>(q.at.data(), mid->at.data()) == q.dist2)
            return mid->rank;
        return no_id;
    }

    const unsigned int* list_ = nullptr;
    dense1D<entry, 8> entries_;
};

} // namespace kv7::tessmaker

#endif
