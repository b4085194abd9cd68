// A k-d tree of ranked nodes, asked for the nearest node of lower rank.
#ifndef TESSMAKER_REPAIR_RANK_TREE_H
#define TESSMAKER_REPAIR_RANK_TREE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "core/ids.h"
#include "repair/box_tree.h"
#include "repair/closeness.h"
#include "search/balanced_order.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The same tree as a `point_tree` of the same nodes, so the order of hits is the same. It also
// holds the coordinates, and the lowest rank in each subtree, by which subtrees without a candidate
// are skipped.
template <unsigned int DIM> class rank_tree {
public:
    // The nodes of `list`; `ranks` has one entry for each column of `pos`. False when memory fails.
    // A node whose position is not a number is left out: nothing is near it.
    bool build(const dense2D<double>& pos, const id_list& list, const unsigned int* ranks) {
        dense1D<keyed_point> scratch;
        if (!ids_.resize(list.size()) || !scratch.resize(list.size())) return false;
        const auto is_position = [&pos](unsigned int id) {
            return std::none_of(pos.column(id), pos.column(id) + DIM,
                                [](double x) { return std::isnan(x); });
        };
        const auto end = std::copy_if(list.begin(), list.end(), ids_.begin(), is_position);
        const auto n = static_cast<std::size_t>(end - ids_.begin());
        if (!entries_.resize(n)) return false;
        balanced_order<DIM>(ids_.data(), n, {pos.column(0), pos.ld()}, scratch.data(), ids_.data());
        for (std::size_t slot = 0; slot < n; ++slot) {
            std::copy_n(pos.column(ids_[slot]), DIM, entries_[slot].at.begin());
            entries_[slot].rank = ranks[ids_[slot]];
        }
        find_lowest_ranks(root());
        return true;
    }

    // The node nearest to `at`, close to it, of a rank below `rank`; the absent ID if there is
    // none. Of several at the same distance it is the last in the order of the tree: each node
    // before its right subtree, and that before its left one. Adds the nodes visited to
    // `nbr_visited`.
    unsigned int find_nearest(const double* at, double tol, unsigned int rank,
                              std::size_t& nbr_visited) const {
        // From infinity no distance is a number, and each node there would visit all the others.
        if (!std::all_of(at, at + DIM, [](double x) { return std::isfinite(x); })) return no_id;
        query q{{}, tol, rank, tol * tol, false, 0};
        std::copy_n(at, DIM, q.at.begin());
        approach(root(), 0, q);
        const unsigned int nearest = q.found ? last_at_distance(root(), 0, q) : no_id;
        nbr_visited += q.nbr_visited;
        return nearest;
    }

    // Makes another tree of the same nodes, with the same answers. False when memory fails.
    bool copy_to(box_tree<DIM>& other) const {
        if (!other.reserve(entries_.size())) return false;
        add_in_order(root(), other);
        other.finish();
        return true;
    }

private:
    using branches = balanced_branches;

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
        std::size_t nbr_visited;
    };

    subtree root() const { return {0, static_cast<unsigned int>(entries_.size())}; }

    unsigned int find_lowest_ranks(subtree of) {
        if (!of) return no_id;
        entry& e = entries_[of.slot];
        e.lowest_rank = std::min({find_lowest_ranks(branches::left(of)), e.rank,
                                  find_lowest_ranks(branches::right(of))});
        return e.lowest_rank;
    }

    void add_in_order(subtree of, box_tree<DIM>& other) const {
        if (!of) return;
        const entry& e = entries_[of.slot];
        other.add(e.at.data(), ids_[of.slot], e.rank);
        add_in_order(branches::right(of), other);
        add_in_order(branches::left(of), other);
    }

    bool has_candidates(subtree in, const query& q) const {
        return in && entries_[in.slot].lowest_rank < q.rank;
    }
    static bool is_candidate(const entry& e, const query& q) {
        return e.rank < q.rank && is_in_box<DIM>(q.at.data(), q.tol, e.at.data());
    }

    // Whether the box around the query holds points that may stand on that side of `e`.
    static bool box_reaches_left(const entry& e, unsigned int axis, const query& q) {
        return q.at[axis] - q.tol <= e.at[axis];
    }
    static bool box_reaches_right(const entry& e, unsigned int axis, const query& q) {
        return e.at[axis] <= q.at[axis] + q.tol;
    }

    // The squared distance to the plane through `e` that splits the subtrees. A point beyond the
    // plane is no nearer, also as rounded, since each step of the squared distance is monotone.
    static double dist2_of_plane(const entry& e, unsigned int axis, const query& q) {
        const double diff = q.at[axis] - e.at[axis];
        return diff * diff;
    }

    // Finds the smallest squared distance, the nearer subtree first.
    void approach(subtree in, unsigned int axis, query& q) const {
        if (!has_candidates(in, q)) return;
        ++q.nbr_visited;
        const entry& e = entries_[in.slot];
        if (is_candidate(e, q)) {
            const double dist2 = squared_distance<DIM>(q.at.data(), e.at.data());
            if (q.found ? dist2 < q.dist2 : dist2 <= q.dist2) {
                q.dist2 = dist2;
                q.found = true;
            }
        }
        const bool left_is_nearer = q.at[axis] < e.at[axis];
        approach_side(in, axis, left_is_nearer, q);
        if (q.found && dist2_of_plane(e, axis, q) >= q.dist2) return;
        approach_side(in, axis, !left_is_nearer, q);
    }
    void approach_side(subtree in, unsigned int axis, bool left, query& q) const {
        const entry& e = entries_[in.slot];
        if (left && box_reaches_left(e, axis, q))
            approach(branches::left(in), next_axis<DIM>(axis), q);
        if (!left && box_reaches_right(e, axis, q))
            approach(branches::right(in), next_axis<DIM>(axis), q);
    }

    // The last node at the smallest distance: the walk in the order of the tree, run backwards.
    unsigned int last_at_distance(subtree in, unsigned int axis, query& q) const {
        if (!has_candidates(in, q)) return no_id;
        ++q.nbr_visited;
        const entry& e = entries_[in.slot];
        const bool reaches_over = !(dist2_of_plane(e, axis, q) > q.dist2);
        // The box decides where squares underflow or overflow.
        if (box_reaches_left(e, axis, q) && (reaches_over || q.at[axis] < e.at[axis])) {
            const unsigned int id = last_at_distance(branches::left(in), next_axis<DIM>(axis), q);
            if (id != no_id) return id;
        }
        if (box_reaches_right(e, axis, q) && (reaches_over || e.at[axis] < q.at[axis])) {
            const unsigned int id = last_at_distance(branches::right(in), next_axis<DIM>(axis), q);
            if (id != no_id) return id;
        }
        if (is_candidate(e, q) && squared_distance<DIM>(q.at.data(), e.at.data()) == q.dist2)
            return ids_[in.slot];
        return no_id;
    }

    // By slot.
    id_list ids_;
    dense1D<entry, 8> entries_;
};

} // namespace kv7::tessmaker

#endif
