// The nearest nodes by the index for distances, and which of several equally near ones counts.
#ifndef TESSMAKER_SEARCH_NEAREST_SEARCH_H
#define TESSMAKER_SEARCH_NEAREST_SEARCH_H

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "core/ids.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"
#include "search/balanced_order.h"
#include "search/clear_distance.h"
#include "search/distance_index.h"
#include "search/keyed_points.h"
#include "search/split_planes.h"
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
        : index_(index), boxes_(index.boxes()), nodes_of_buckets_(index.nodes()),
          first_bucket_(index.first_bucket()),
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
        prefetch(nodes_of_buckets_ + index_.begin_of(first));
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
        const std::size_t begin = index_.begin_of(bucket);
        const std::size_t size = index_.begin_of(bucket + 1) - begin;
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
        const node_set nearest = below(all(), std::nextafter(nodes_.least(), no_distance));
        double second = no_distance;
        for (node_set rest = all() & ~nearest; rest != 0; rest &= rest - 1) {
            second = std::min(second, nodes_[number_of(rest)].dist2);
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
