// Bounds a field along the edges of a mesh, worst edge first: one algorithm for every kind of field
// and every measure.
#ifndef TESSMAKER_METRICS_EDGE_BOUNDING_H
#define TESSMAKER_METRICS_EDGE_BOUNDING_H

#include <algorithm>
#include <cstddef>
#include <limits>

#include "connectivity/node_graph.h"
#include "core/ids.h"
#include "metrics/circle_proof.h"
#include "metrics/edge_heap.h"
#include "metrics/minimise_bracket.h"
#include "metrics/nodal_fields.h"
#include "metrics/sizes.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Every edge that breaks the limit is queued by its measure. The worst edge is repaired: the value
// at one end, the target, moves towards the value at the other, the source; then the edges of the
// target are queued again. Entries are never updated: a popped entry is dropped if one of its ends
// has changed since it was queued.
//
// A run ends because of three rules, which belong together: only edges above the limit are queued,
// a node keeps the direction of its first move, and small moves don't count.
//
// So sizes can't go in circles, whatever the rounding. A size is compared with its old value before
// it is written: in the direction of its node it only grows or only shrinks, by more than the
// smallest change each time. Between the smallest double and the largest, whose logarithms are less
// than 1500 apart, there is room for 1500 / 1e-12 such changes, and for one more if the size was 0
// or infinite. Each queues a limited number of entries; all other entries leave the queue for good.
//
// Metrics keep their direction along each vector of the basis in which the old and the new one are
// diagonal, and the basis changes from move to move. Where sizes are many orders of magnitude
// apart, rounding can move a metric to and fro. Such a run is broken off once it is proved to go in
// circles: field, directions and live entries are those that it had before.
template <class Field, class Measure, class Queue = edge_heap> class edge_bounding {
public:
    // Stamps are counted anew when they reach `last_stamp`, which must be at least 2 and below the
    // stamp of fixed nodes.
    edge_bounding(const Field& field, const Measure& measure,
                  unsigned int last_stamp = fixed_stamp - 1)
        : field_(field), measure_(measure), last_stamp_(last_stamp) {}

    // Returns the number of nodes that changed, or -199. `nodes` are the fixed nodes, or the free
    // ones; `direction` is +1, -1, or 0 for the direction of a node's first move.
    int run(const dense2D<unsigned int>& connect, std::size_t nbr_columns, const id_list& nodes,
            bool nodes_fixed, signed char direction) {
        if (!set_up(connect, nbr_columns, nodes, nodes_fixed, direction)) return -199;
        if (!seed()) return -199;
        while (!queue_.empty()) {
            const edge_entry entry = queue_.pop();
            if (is_stale(entry) || !relax(entry.target, entry.source)) continue;
            if (!requeue(entry.target)) return -199;
            if constexpr (Field::can_circle) {
                if (!circles_.seems_closed()) continue;
                run_state<value> now;
                if (!save(now)) return -199;
                if (circles_.closes(now)) break;
            }
        }
        return nbr_changed_;
    }

private:
    using value = typename Field::value;
    using interpolation = typename Field::interpolation;

    static constexpr unsigned int fixed_stamp = no_id;
    // Smaller fractions are no step: an edge may stay above the limit by this share of the
    // difference of its sizes. The minimisation near fixed nodes is no finer.
    static constexpr double smallest_step = 0.001;
    static constexpr int nbr_grid_intervals = 6;
    // The square root of the largest double: the square of anything larger is infinite.
    static constexpr double largest_excess = 1.3407807929942596e+154;

    bool set_up(const dense2D<unsigned int>& connect, std::size_t nbr_columns, const id_list& nodes,
                bool nodes_fixed, signed char direction) {
        if (!stamps_.resize(nbr_columns, nodes_fixed ? 0 : fixed_stamp)) return false;
        if (node_graph_of_cliques(connect, graph_first_, graph_list_) < 0) return false;
        for (const unsigned int node : nodes) {
            if (node != no_id) stamps_[node] = nodes_fixed ? fixed_stamp : 0;
        }
        const std::size_t nbr_nodes = graph_first_.empty() ? 0 : graph_first_.size() - 1;
        if (!stamps_.resize(nbr_nodes) || !directions_.resize(nbr_nodes, direction)) return false;
        return collect_fixed_neighbors();
    }

    // The fixed neighbours of each free node, in the order of the graph; empty if all nodes are
    // free.
    bool collect_fixed_neighbors() {
        const std::size_t nbr_nodes = stamps_.size();
        if (std::find(stamps_.begin(), stamps_.end(), fixed_stamp) == stamps_.end()) return true;
        if (!fixed_first_.resize(nbr_nodes + 1)) return false;
        unsigned int count = 0;
        for (unsigned int n = 0; n < nbr_nodes; ++n) {
            fixed_first_[n] = count;
            for_fixed_neighbors_of_free(n, [&count](unsigned int) { ++count; });
        }
        fixed_first_[nbr_nodes] = count;
        if (!fixed_list_.resize(count)) return false;
        unsigned int* next = fixed_list_.data();
        for (unsigned int n = 0; n < nbr_nodes; ++n) {
            for_fixed_neighbors_of_free(n, [&next](unsigned int c) { *next++ = c; });
        }
        return true;
    }
    template <class Work> void for_fixed_neighbors_of_free(unsigned int n, Work work) const {
        if (is_fixed(n)) return;
        for (unsigned int k = graph_first_[n]; k < graph_first_[n + 1]; ++k) {
            if (is_fixed(graph_list_[k])) work(graph_list_[k]);
        }
    }

    bool is_fixed(unsigned int node) const { return stamps_[node] == fixed_stamp; }
    bool has_fixed_neighbors(unsigned int a) const {
        return !fixed_first_.empty() && fixed_first_[a] != fixed_first_[a + 1];
    }

    bool is_stale(const edge_entry& entry) const {
        const unsigned int source_stamp = stamps_[entry.source];
        return stamps_[entry.target] > entry.stamp ||
               (source_stamp > entry.stamp && source_stamp != fixed_stamp);
    }

    // Queues each edge that has a free end, once and from a free end.
    bool seed() {
        const auto nbr_nodes = static_cast<unsigned int>(stamps_.size());
        for (unsigned int i = 0; i < nbr_nodes; ++i) {
            if (is_fixed(i)) continue;
            const value Mi = field_.at(i);
            for (unsigned int k = graph_first_[i]; k < graph_first_[i + 1]; ++k) {
                const unsigned int j = graph_list_[k];
                if (j < i && !is_fixed(j)) continue;
                if (!queue_edge(i, Mi, j)) return false;
            }
        }
        return true;
    }

    bool requeue(unsigned int a) {
        const value Ma = field_.at(a);
        for (unsigned int k = graph_first_[a]; k < graph_first_[a + 1]; ++k) {
            if (!queue_edge(a, Ma, graph_list_[k])) return false;
        }
        return true;
    }

    // Queues the edge from a, which is free, to b if it breaks the limit: with a as the target and,
    // if b is free, with b.
    bool queue_edge(unsigned int a, const value& Ma, unsigned int b) {
        const double g = field_.measure(measure_, a, Ma, b);
        if (!(g > measure_.limit)) return true;
        constexpr double largest_key = std::numeric_limits<float>::max();
        const auto key = static_cast<float>(std::min(g, largest_key));
        return queue_.push({key, counter_, a, b}) &&
               (is_fixed(b) || queue_.push({key, counter_, b, a}));
    }

    // Moves the value at a towards that at b. Returns whether it changed.
    bool relax(unsigned int a, unsigned int b) {
        const value Ma = field_.at(a);
        const value Mb = field_.at(b);
        double d;
        double ha;
        double hb;
        field_.sizes_along(a, Ma, b, Mb, d, ha, hb);
        double t = measure_.fraction(d, ha, hb);
        if (t <= smallest_step) return false;
        const signed char sign = ha < hb ? 1 : -1;
        if (directions_[a] != 0 && directions_[a] != sign) return false;

        interpolation towards_b(Ma, Mb, sign);
        if (has_fixed_neighbors(a) && !fit_to_fixed(a, Ma, towards_b, t)) return false;
        value moved;
        if (towards_b.at(t, moved) != interpolated::usable) return false;
        if (!Field::is_change(Ma, moved)) return false;

        field_.write(a, moved);
        if constexpr (Field::can_circle) circles_.add_move(a, Ma, moved);
        directions_[a] = sign; // only now: a step that is refused must not decide it
        if (stamps_[a] == 0) ++nbr_changed_;
        if (counter_ == last_stamp_) renumber();
        stamps_[a] = ++counter_;
        return true;
    }

    // Gives all nodes that have changed the stamp 1. Live entries get it too, stale ones get 0:
    // what is live or stale stays so, for the end that made an entry stale has changed.
    void renumber() {
        for (edge_entry& entry : queue_) entry.stamp = is_stale(entry) ? 0 : 1;
        for (unsigned int& stamp : stamps_) {
            if (stamp != fixed_stamp) stamp = std::min(stamp, 1U);
        }
        counter_ = 1;
    }

    // Saves what decides how the run goes on. False if memory fails.
    bool save(run_state<value>& state) {
        const std::size_t nbr_nodes = stamps_.size();
        if (!state.values.resize(nbr_nodes)) return false;
        for (unsigned int n = 0; n < nbr_nodes; ++n) state.values[n] = field_.at(n);
        for (const edge_entry& entry : queue_) {
            if (!is_stale(entry) && !state.live.push_back(entry)) return false;
        }
        state.nbr_changed = nbr_changed_;
        return true;
    }

    // A fixed neighbour can't adapt. So a node beside one takes the step, up to t, after which its
    // edges to fixed neighbours break the limit least. False if no step improves them.
    bool fit_to_fixed(unsigned int a, const value& Ma, interpolation& towards_b, double& t) const {
        if (!Field::is_valid(Ma)) return true;
        const auto penalty = [&](double s) { return fixed_penalty(a, towards_b, s); };
        const double unmoved = penalty(0.0);
        if (unmoved == no_limit) return true;
        if (!(unmoved > 0.0)) return false;

        const double interval = t / nbr_grid_intervals;
        minimum best{0.0, unmoved};
        double s = 0.0;
        for (int k = 1; k < nbr_grid_intervals; ++k) {
            s += interval;
            const double F = penalty(s);
            if (F < best.value) best = {s, F};
        }
        // Kept: the result of the bracket is used even if the grid had a lower value.
        best = minimise_bracket(std::max(best.t - interval, 0.0), std::min(best.t + interval, t),
                                smallest_step, smallest_step, penalty);
        t = best.t;
        return t > smallest_step && best.value < unmoved;
    }

    // The sum, over the edges to fixed neighbours, of the squared excess over the limit after a
    // step of t. Kept: 0 if there is no value at t; a refused value counts.
    double fixed_penalty(unsigned int a, interpolation& towards_b, double t) const {
        value Mt;
        if (towards_b.at(t, Mt) == interpolated::none) return 0.0;
        double sum = 0.0;
        for (unsigned int k = fixed_first_[a]; k < fixed_first_[a + 1]; ++k) {
            const double g = field_.measure(measure_, a, Mt, fixed_list_[k]);
            if (!(g > measure_.limit)) continue;
            const double excess = g - measure_.limit;
            if (excess >= largest_excess) return no_limit;
            sum += excess * excess;
        }
        return sum;
    }

    Field field_;
    Measure measure_;
    id_list graph_first_;
    id_list graph_list_;
    id_list fixed_first_;
    id_list fixed_list_;
    // `fixed_stamp`, or the change counter after the node's last change, 0 before its first.
    id_list stamps_;
    // +1: the node's size may only grow, -1: only shrink, 0: not decided.
    dense1D<signed char, 8> directions_;
    Queue queue_;
    unsigned int last_stamp_;
    unsigned int counter_ = 0; // of all changes, since stamps were last counted anew
    int nbr_changed_ = 0;      // nodes
    circle_proof<value> circles_;
};

} // namespace kv7::tessmaker

#endif
