// Bounds a field along the edges of a mesh, best first: one algorithm for every kind of field and
// every measure.
#ifndef TESSMAKER_METRICS_EDGE_BOUNDING_H
#define TESSMAKER_METRICS_EDGE_BOUNDING_H

#include <cstdint>
#include <limits>

#include "connectivity/node_graph.h"
#include "core/element_table.h"
#include "core/ids.h"
#include "metrics/edge_heap.h"
#include "metrics/minimise_bracket.h"
#include "metrics/nodal_fields.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// What a run has done.
struct bounding_counts {
    std::uint64_t pushed = 0;
    std::uint64_t popped = 0;
    std::uint64_t steps_tried = 0; // entries popped that were still of use
    std::uint64_t moves = 0;
    std::uint64_t reductions = 0; // generalized eigenproblems
};

// Every edge that breaks the limit goes into a queue by how badly it does. The worst is repaired by
// moving one end's value towards the other's; the edges of that end are then queued again. An entry
// is never updated: it is dropped when popped if one of its ends has changed since.
//
// A run ends because three decisions hold together: only edges above the limit go in, a node moves
// in the direction of its first move only, and small moves do not count. Rounding can still send a
// metric in circles where sizes are many orders of magnitude apart: there a run is broken off, long
// after any other has ended.
template <class Field, class Measure, class Queue = edge_heap> class edge_bounding {
public:
    edge_bounding(const Field& field, const Measure& measure) : field_(field), measure_(measure) {}

    // Returns the number of nodes that changed, or -199. `nodes` are the fixed nodes, or the free
    // ones; `direction` is +1, -1, or 0 for the direction of a node's first move.
    int run(const dense2D<unsigned int>& connect, std::size_t nbr_columns, const id_list& nodes,
            bool nodes_fixed, signed char direction) {
        if (!set_up(connect, nbr_columns, nodes, nodes_fixed, direction)) return -199;
        if (!seed()) return -199;
        const unsigned int most_moves = most_moves_of(stamps_.size());
        while (!queue_.empty() && counter_ < most_moves) {
            const edge_entry entry = queue_.pop();
            ++counts_.popped;
            if (is_stale(entry)) continue;
            ++counts_.steps_tried;
            if (relax(entry.target, entry.source) && !requeue(entry.target)) return -199;
        }
        return nbr_changed_;
    }

    const bounding_counts& counts() const { return counts_; }
    const Queue& queue() const { return queue_; }

private:
    using value = typename Field::value;
    using way = typename Field::way;

    static constexpr unsigned int fixed_stamp = no_id;
    static constexpr double smallest_step = 0.001;
    static constexpr int nbr_grid_intervals = 6;
    // The square root of the largest double: a sum of squares beyond it is infinite.
    static constexpr double largest_excess = 1.3407807929942596e+154;

    // Runs make a few moves a node, tens at a small limit, a few thousand on a small mesh at worst.
    // The counter must not reach the stamp of fixed nodes either.
    static unsigned int most_moves_of(std::size_t nbr_nodes) {
        const std::size_t most_moves = 1000000 + 1000 * nbr_nodes;
        return static_cast<unsigned int>(std::min<std::size_t>(most_moves, fixed_stamp - 1));
    }

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

    // The fixed neighbours of each free node, in the order of the graph; nothing when all are free.
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

    // Each edge with a free end, once. Edges are taken from a free end only.
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

    // Queues the edge between a and b in both directions, as far as their targets are free, when it
    // breaks the limit.
    bool queue_edge(unsigned int a, const value& Ma, unsigned int b) {
        const double g = field_.measure(measure_, a, Ma, b);
        if (!(g > measure_.limit)) return true;
        constexpr double largest_key = std::numeric_limits<float>::max();
        const auto key = static_cast<float>(std::min(g, largest_key));
        ++counts_.pushed;
        if (!queue_.push({key, counter_, a, b})) return false;
        if (is_fixed(b)) return true;
        ++counts_.pushed;
        return queue_.push({key, counter_, b, a});
    }

    // Moves the value at a towards that at b. Whether it changed.
    bool relax(unsigned int a, unsigned int b) {
        const value Ma = field_.at(a);
        const value Mb = field_.at(b);
        double d;
        double ha;
        double hb;
        field_.sizes_along(a, Ma, b, Mb, d, ha, hb);
        double t = measure_.fraction(d, ha, hb);
        if (t <= 1e-12) return false;
        const signed char sign = ha < hb ? 1 : -1;
        // A step that is refused must not decide the direction.
        if (directions_[a] != 0 && directions_[a] != sign) return false;
        if (t <= smallest_step) return false;

        way towards_b(Ma, Mb, sign);
        value fresh;
        const bool moves = (!has_fixed_neighbors(a) || serve_fixed(a, Ma, towards_b, t)) &&
                           towards_b.at(t, fresh) == step::done && Field::is_change(Ma, fresh);
        counts_.reductions += towards_b.nbr_reductions();
        if (!moves) return false;

        field_.write(a, fresh);
        directions_[a] = sign;
        if (stamps_[a] == 0) ++nbr_changed_;
        stamps_[a] = ++counter_;
        ++counts_.moves;
        return true;
    }

    // A fixed neighbour can't adapt, so a step of a node beside one serves those edges first: it is
    // shortened to where they break the limit least. False when no step does them good.
    bool serve_fixed(unsigned int a, const value& Ma, way& towards_b, double& t) const {
        if (!Field::is_valid(Ma)) return true;
        const auto penalty = [&](double place) { return fixed_penalty(a, towards_b, place); };
        const double unmoved = penalty(0.0);
        if (unmoved == no_limit) return true;
        if (!(unmoved > 0.0)) return false;

        const double interval = t / nbr_grid_intervals;
        minimum best{0.0, unmoved};
        double place = 0.0;
        for (int k = 1; k < nbr_grid_intervals; ++k) {
            place += interval;
            const double F = penalty(place);
            if (F < best.value) best = {place, F};
        }
        // Kept: what the bracket finds counts, even where the grid had a lower value.
        best = minimise_bracket(std::max(best.t - interval, 0.0), std::min(best.t + interval, t),
                                smallest_step, smallest_step, penalty);
        t = best.t;
        return t > smallest_step && best.value < unmoved;
    }

    // The sum of the squared excesses over the limit of the edges to fixed neighbours.
    double fixed_penalty(unsigned int a, way& towards_b, double t) const {
        value Mt;
        if (towards_b.at(t, Mt) == step::no_value) return 0.0;
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
    // `fixed_stamp`, or the change counter at a node's last change, 0 before its first.
    id_list stamps_;
    // +1, -1, or 0 where it is not decided.
    dense1D<signed char, 8> directions_;
    Queue queue_;
    unsigned int counter_ = 0;
    int nbr_changed_ = 0;
    bounding_counts counts_;
};

} // namespace kv7::tessmaker

#endif
