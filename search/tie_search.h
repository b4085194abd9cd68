// Which of several nodes that are equally near counts.
#ifndef TESSMAKER_SEARCH_TIE_SEARCH_H
#define TESSMAKER_SEARCH_TIE_SEARCH_H

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "search/clear_distance.h"
#include "search/near_nodes.h"
#include "search/split_planes.h"
#include "search/tree_queries.h"

namespace kv7::tessmaker {

// Which of the near nodes `plain_search` takes. It visits the nodes in the same order and with the
// same bounds, but only those above the near ones in the tree: all others have no say, since from
// the first near node on they are too far to be taken, and before it no bound that they set comes
// close enough to pass over a near one.
template <unsigned DIM> class tie_search {
public:
    tie_search(const tree_points<DIM>& tree, const split_planes<DIM>& planes, const double* point,
               const near_nodes& nodes)
        : tree_(tree), planes_(planes.begin()), nbr_planes_(planes.size()), nodes_(nodes) {
        std::copy(point, point + DIM, point_.begin());
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const double* const p = tree.point(nodes[i].id);
            for (unsigned int axis = 0; axis < DIM; ++axis) coordinates_[axis][i] = p[axis];
        }
    }

    near_node run(std::size_t nbr_slots) {
        const auto root = place::root(nbr_slots);
        const node_set nodes = choose();
        if (is_single(nodes)) return nodes_[number_of(nodes)];
        const way_down way = go_to_all(root);
        if (way.is_of_point) descend(way.end, nodes);
        if (!is_found()) {
            walk(way.end, nodes);
        } else if (!is_settled()) {
            walk(way.can_be_cut ? root : way.end, below(nodes, best_.dist2));
        }
        // None is met where nodes were moved.
        return is_found() ? best_ : nodes_[0];
    }

private:
    using place = tree_place<DIM>;
    // Bit `i` for near node `i`.
    using node_set = std::uint32_t;
    struct node_sets {
        node_set here = 0;
        node_set left = 0;
        node_set right = 0;
    };
    // The way from the root to a subtree that holds all chosen nodes.
    struct way_down {
        place end;
        bool is_of_point; // the point itself belongs there
        bool can_be_cut;  // by a radius not below the least distance
    };
    // A left branch, and the plane that bounds it.
    struct pending_branch {
        double c;
        place at;
        node_set nodes;
        unsigned int axis;
    };

    static bool is_single(node_set nodes) { return (nodes & (nodes - 1)) == 0; }
    static std::size_t number_of(node_set single) {
        return static_cast<std::size_t>(std::countr_zero(single));
    }

    // The nodes of a set that are nearer than this.
    node_set below(node_set nodes, double dist2) const {
        node_set nearer = 0;
        for (node_set rest = nodes; rest != 0; rest &= rest - 1) {
            const std::size_t i = number_of(rest);
            if (nodes_[i].dist2 < dist2) nearer |= node_set{1} << i;
        }
        return nearer;
    }

    void set_bounds(node_set nodes) {
        lower_.fill(no_distance);
        upper_.fill(-no_distance);
        lowest_id_ = no_id;
        highest_id_ = 0;
        for (node_set rest = nodes; rest != 0; rest &= rest - 1) {
            const std::size_t i = number_of(rest);
            lowest_id_ = std::min(lowest_id_, nodes_[i].id);
            highest_id_ = std::max(highest_id_, nodes_[i].id);
            for (unsigned int axis = 0; axis < DIM; ++axis) {
                lower_[axis] = std::min(lower_[axis], coordinates_[axis][i]);
                upper_[axis] = std::max(upper_[axis], coordinates_[axis][i]);
            }
        }
    }

    node_set all() const { return 0xFFFFFFFFU >> (near_nodes::most - nodes_.size()); }

    // Those at the least distance, if each is inside the slabs around the point that the second
    // distance leaves on the axes: planes above it are not beyond it, so that none of them is
    // passed over, and one of them is taken in the end, whatever is found before. Otherwise all.
    node_set choose() {
        node_set nearest = 0;
        double second = no_distance;
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const double d2 = nodes_[i].dist2;
            if (d2 > nodes_.least()) {
                second = std::min(second, d2);
            } else {
                nearest |= node_set{1} << i;
            }
        }
        set_bounds(nearest);
        const double radius = second < no_distance ? std::sqrt(second) : no_distance;
        bool are_inside = true;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            are_inside &= point_[axis] - radius < lower_[axis];
            are_inside &= upper_[axis] < point_[axis] + radius;
        }
        if (are_inside) return nearest;
        set_bounds(all());
        return all();
    }

    bool is_found() const { return best_.id != no_id; }
    // A node at the least distance is not replaced.
    bool is_settled() const { return is_found() && best_.dist2 == nodes_.least(); }

    double plane(const place& node) const {
        return node.number < nbr_planes_ ? planes_[node.number]
                                         : tree_.point(tree_.id(node.at))[node.axis];
    }

    // Down as long as one branch holds all chosen nodes.
    way_down go_to_all(place root) const {
        const double radius = std::sqrt(nodes_.least());
        way_down way{root, true, false};
        while (way.end) {
            const unsigned int axis = way.end.axis;
            const double c = plane(way.end);
            bool is_left = upper_[axis] < c;
            if (!is_left && !(c < lower_[axis])) {
                const unsigned int id = tree_.id(way.end.at);
                const bool are_level = lower_[axis] == c && upper_[axis] == c;
                is_left = highest_id_ < id;
                if (!are_level || (!is_left && lowest_id_ <= id)) return way;
            }
            way.is_of_point &= is_left == (point_[axis] < c);
            way.can_be_cut |= is_left ? c <= point_[axis] - radius : c >= point_[axis] + radius;
            way.end = is_left ? way.end.left() : way.end.right();
        }
        return {root, false, true}; // nodes were moved
    }

    // The near nodes of a subtree by where they are in it. Of a node that the tree holds several
    // times, one may be above others, on both sides.
    node_sets divide(node_set nodes, const place& node, double c) const {
        const std::array<double, near_nodes::most>& x = coordinates_[node.axis];
        node_sets sets;
        for (node_set rest = nodes; rest != 0; rest &= rest - 1) {
            const std::size_t i = number_of(rest);
            const node_set bit = node_set{1} << i;
            sets.left |= x[i] < c ? bit : 0;
            sets.right |= x[i] > c ? bit : 0;
        }
        if (node_set level = nodes & ~(sets.left | sets.right)) {
            const unsigned int id = tree_.id(node.at);
            for (; level != 0; level &= level - 1) {
                const std::size_t i = number_of(level);
                const node_set bit = node_set{1} << i;
                const bool is_before = nodes_[i].id < id || std::isnan(c);
                const bool is_here = nodes_[i].id == id;
                sets.here |= is_here ? bit : 0;
                sets.left |= is_before || is_here ? bit : 0;
                sets.right |= !is_before ? bit : 0;
            }
        }
        return sets;
    }

    void take_nearer(node_set here) {
        for (; here != 0; here &= here - 1) {
            const near_node& node = nodes_[number_of(here)];
            if (node.dist2 < best_.dist2) best_ = node;
        }
    }

    // The nodes of a set above the place of the point.
    void descend(place at, node_set nodes) {
        while (at && nodes != 0) {
            const double c = plane(at);
            const node_sets sets = divide(nodes, at, c);
            if (sets.here != 0) take_nearer(sets.here);
            if (is_settled()) return;
            const bool goes_left = point_[at.axis] < c;
            nodes = (goes_left ? sets.left : sets.right) & ~sets.here;
            at = goes_left ? at.left() : at.right();
        }
    }

    // The nodes of a set below a place, as the walk through all nodes meets them.
    void walk(place at, node_set nodes) {
        for (radius_ = radius_of_best();;) {
            if (is_single(nodes) && is_met(nodes)) {
                take_nearer(nodes);
                radius_ = radius_of_best();
                nodes = 0;
            } else {
                branch(at, nodes);
            }
            if (is_settled()) return;
            while (!at || nodes == 0) {
                if (pending_.empty()) return;
                const pending_branch& left = pending_.pop();
                at = left.at;
                nodes = left.c > point_[left.axis] - radius_ ? left.nodes : 0;
                if (is_found()) nodes = below(nodes, best_.dist2);
            }
        }
    }

    double radius_of_best() const { return is_found() ? std::sqrt(best_.dist2) : no_distance; }

    // One step of the walk.
    void branch(place& at, node_set& nodes) {
        const place here = at;
        const double c = plane(here);
        node_sets sets = divide(nodes, here, c);
        at = here.left();
        nodes = sets.left;
        if (c <= point_[here.axis] - radius_) {
            at = here.right();
            nodes = sets.right;
        } else if (c < point_[here.axis] + radius_) {
            if (sets.here != 0) {
                take_nearer(sets.here);
                radius_ = radius_of_best();
                sets.left = below(sets.left, best_.dist2);
                sets.right = below(sets.right, best_.dist2);
                nodes = sets.left;
            }
            if (const place right = here.right()) {
                if (sets.left != 0) pending_.push({c, here.left(), sets.left, here.axis});
                at = right;
                nodes = sets.right;
            }
        }
    }

    // Whether the only node of a set, in a subtree that is searched, is met for sure: before one is
    // found nothing is passed over; later nothing that is inside the slabs of the radius, since
    // planes on the way to it are not beyond it.
    bool is_met(node_set single) const {
        if (!is_found()) return true;
        const std::size_t i = number_of(single);
        bool is_inside = true;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const double x = coordinates_[axis][i];
            is_inside &= point_[axis] - radius_ < x && x < point_[axis] + radius_;
        }
        return is_inside;
    }

    tree_points<DIM> tree_;
    const double* planes_;
    std::size_t nbr_planes_;
    const near_nodes& nodes_;
    std::array<double, DIM> point_;
    std::array<std::array<double, near_nodes::most>, DIM> coordinates_;
    std::array<double, DIM> lower_; // bounds of the near nodes
    std::array<double, DIM> upper_;
    unsigned int lowest_id_ = no_id;
    unsigned int highest_id_ = 0;
    near_node best_{no_id, no_distance};
    walk_stack<pending_branch> pending_;
    double radius_ = no_distance;
};

} // namespace kv7::tessmaker

#endif
