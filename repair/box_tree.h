// A tree of points with the bounds of every subtree, asked for the points close to another one. It
// stays fast where points lie in a plane or on a line, whatever the axes.
//
// Medians on the widest axis of each subtree: J. H. Friedman, J. L. Bentley, R. A. Finkel, An
// algorithm for finding best matches in logarithmic expected time, ACM Transactions on Mathematical
// Software 3 (3), 1977.
#ifndef TESSMAKER_REPAIR_BOX_TREE_H
#define TESSMAKER_REPAIR_BOX_TREE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "repair/closeness.h"

namespace kv7::tessmaker {

template <unsigned int DIM> class box_tree {
public:
    using point = std::array<double, DIM>;

    // Removes all points and makes room for `n`. False when memory fails.
    bool reserve(std::size_t n) {
        entries_.clear();
        return entries_.reserve(n, 1);
    }

    // Adds a point, for which there is room; no coordinate is NaN.
    void add(const double* at, unsigned int id, unsigned int rank) {
        entry added{};
        std::copy_n(at, DIM, added.at.begin());
        added.id = id;
        added.rank = rank;
        added.order = static_cast<unsigned int>(entries_.size());
        entries_.push_back(added);
    }

    // Comes between the last `add` and the first question.
    void finish() { arrange({0, entries_.size()}); }

    // The point nearest to `at`, close to it, of a rank below `rank`; the absent ID if there is
    // none. Of several at the same distance it is the one that was added last.
    unsigned int find_nearest(const double* at, double tol, unsigned int rank) const {
        // From infinity no distance is a number.
        if (!std::all_of(at, at + DIM, [](double x) { return std::isfinite(x); })) return no_id;
        nearest_query q{at, tol, rank, tol * tol, 0, no_id};
        const range all{0, entries_.size()};
        if (all.size() != 0) approach(all, dist2_of_box(root_of(all), at), q);
        return q.id;
    }

    // Calls `work(low, high)` for all pairs of IDs, the lower one first, of points p and q with
    // p - tol <= q <= p + tol or q - tol <= p <= q + tol on each axis, and perhaps for some others.
    // No ID has been added twice.
    template <class Work> void for_each_near_pair(double tol, Work work) const {
        for (const entry& e : entries_) { // in the order of the tree, where neighbours are close
            const auto with = [&](unsigned int id) {
                if (id < e.id) work(id, e.id);
            };
            list({0, entries_.size()}, e.at.data(), tol, with);
        }
    }

private:
    struct entry {
        point at;
        point low, high; // of the subtree
        unsigned int id, rank;
        unsigned int lowest_rank; // in the subtree
        unsigned int order;       // of addition
        unsigned int last_order;  // in the subtree
    };

    // The entries of a subtree. Its root stands in the middle, those before and those behind it are
    // the branches.
    struct range {
        std::size_t begin, end;

        std::size_t size() const { return end - begin; }
        std::size_t root() const { return begin + size() / 2; }
        range left() const { return {begin, root()}; }
        range right() const { return {root() + 1, end}; }
    };

    struct nearest_query {
        const double* at;
        double tol;
        unsigned int rank;
        double dist2; // the smallest found, the largest allowed before
        unsigned int order;
        unsigned int id; // absent before a point is found
    };

    const entry& root_of(range in) const { return entries_[in.root()]; }

    void arrange(range of) {
        if (of.size() == 0) return;
        entry* const first = entries_.data() + of.begin;
        entry* const last = entries_.data() + of.end;
        point low = first->at;
        point high = first->at;
        for (const entry* e = first; e != last; ++e) {
            for (unsigned int axis = 0; axis < DIM; ++axis) {
                low[axis] = std::min(low[axis], e->at[axis]);
                high[axis] = std::max(high[axis], e->at[axis]);
            }
        }
        unsigned int widest = 0;
        double width = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(high[axis] - low[axis] > width)) continue; // infinity less infinity neither
            width = high[axis] - low[axis];
            widest = axis;
        }
        entry* const root = entries_.data() + of.root();
        std::nth_element(first, root, last, [widest](const entry& a, const entry& b) {
            return a.at[widest] != b.at[widest] ? a.at[widest] < b.at[widest] : a.order < b.order;
        });
        root->low = low;
        root->high = high;
        root->lowest_rank = root->rank;
        root->last_order = root->order;
        for (const range branch : {of.left(), of.right()}) {
            if (branch.size() == 0) continue;
            arrange(branch);
            root->lowest_rank = std::min(root->lowest_rank, root_of(branch).lowest_rank);
            root->last_order = std::max(root->last_order, root_of(branch).last_order);
        }
    }

    // No point of the subtree is nearer, also as rounded, since each step of the squared distance
    // is monotone.
    static double dist2_of_box(const entry& root, const double* at) {
        point nearest;
        for (unsigned int axis = 0; axis < DIM; ++axis)
            nearest[axis] = std::min(std::max(at[axis], root.low[axis]), root.high[axis]);
        return squared_distance<DIM>(at, nearest.data());
    }

    // Whether the box around `at` meets the box of the subtree.
    static bool is_reached(const entry& root, const double* at, double tol) {
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(at[axis] - tol <= root.high[axis] && root.low[axis] <= at[axis] + tol))
                return false;
        }
        return true;
    }
    // The same with boxes around the points of the subtree.
    static bool reaches(const entry& root, const double* at, double tol) {
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(root.low[axis] - tol <= at[axis] && at[axis] <= root.high[axis] + tol))
                return false;
        }
        return true;
    }

    // Whether a point at that distance, added in this order, or one added before it, counts.
    static bool counts(double dist2, unsigned int order, const nearest_query& q) {
        if (q.id == no_id) return dist2 <= q.dist2;
        return dist2 < q.dist2 || (dist2 == q.dist2 && order > q.order);
    }

    void approach(range in, double box_dist2, nearest_query& q) const {
        const entry& e = root_of(in);
        if (e.lowest_rank >= q.rank || !counts(box_dist2, e.last_order, q)) return;
        if (!is_reached(e, q.at, q.tol)) return;
        if (e.rank < q.rank && is_in_box<DIM>(q.at, q.tol, e.at.data())) {
            const double dist2 = squared_distance<DIM>(q.at, e.at.data());
            if (counts(dist2, e.order, q)) {
                q.dist2 = dist2;
                q.order = e.order;
                q.id = e.id;
            }
        }
        std::array<range, 2> branch{in.left(), in.right()};
        std::array<double, 2> dist2{};
        for (unsigned int k = 0; k < 2; ++k) {
            if (branch[k].size() != 0) dist2[k] = dist2_of_box(root_of(branch[k]), q.at);
        }
        if (branch[1].size() != 0 && comes_first(branch[1], dist2[1], branch[0], dist2[0])) {
            std::swap(branch[0], branch[1]);
            std::swap(dist2[0], dist2[1]);
        }
        for (unsigned int k = 0; k < 2; ++k) {
            if (branch[k].size() != 0) approach(branch[k], dist2[k], q);
        }
    }

    // The nearer branch first; of two equally near ones, that with the point added last. Neither
    // is empty: a right branch never is larger than the left one.
    bool comes_first(range a, double dist2_a, range b, double dist2_b) const {
        return dist2_a != dist2_b ? dist2_a < dist2_b
                                  : root_of(a).last_order > root_of(b).last_order;
    }

    template <class Work>
    void list(range in, const double* at, double tol, const Work& work) const {
        if (in.size() == 0) return;
        const entry& e = root_of(in);
        if (!is_reached(e, at, tol) && !reaches(e, at, tol)) return;
        work(e.id);
        list(in.left(), at, tol, work);
        list(in.right(), at, tol, work);
    }

    dense1D<entry, 8> entries_;
};

} // namespace kv7::tessmaker

#endif
