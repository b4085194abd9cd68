// Proves that a run of moves over a field goes in circles.
#ifndef TESSMAKER_METRICS_CIRCLE_PROOF_H
#define TESSMAKER_METRICS_CIRCLE_PROOF_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>

#include "core/hash_step.h"
#include "metrics/edge_heap.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// What decides how a run goes on. `nbr_changed` stands for the directions: a node gets its own with
// its first change and keeps it.
template <class Value> struct run_state {
    dense1D<Value, 8> values;    // of all nodes
    dense1D<edge_entry, 8> live; // what the queue holds but for stale entries, in any order
    int nbr_changed = 0;
};

// This work is based on: R. P. Brent, An improved Monte Carlo factorization algorithm, 1980.
//
// A run that has come into a circle comes back to every field of the circle. So the field is
// compared with the one after the last power of two of moves: sooner or later that one is on the
// circle, and the moves until the next power suffice to come back to it. Most runs never come back
// to a field, so comparing must cost little. Hence a hash tells how the two fields differ, the XOR
// of the hashes of each node that has moved, before and after: it is 0 where they are the same. The
// first time that it is 0 the state of the run is saved, and from then on compared with that.
template <class Value> class circle_proof {
public:
    void add_move(unsigned int node, const Value& before, const Value& after) {
        if (nbr_moves_ == next_power_) start_anew();
        ++nbr_moves_;
        difference_ ^= hash_of(node, before) ^ hash_of(node, after);
    }

    // Whether the last move brought back the field, or so it seems: then `closes` must be asked.
    bool seems_closed() const { return difference_ == 0; }

    // Whether the state of the run after the last move, which is put in order, is one that it had
    // before.
    bool closes(run_state<Value>& now) {
        std::sort(now.live.begin(), now.live.end(), is_before);
        if (is_saved_) return is_same(now, saved_);
        saved_ = now;
        is_saved_ = true;
        return false;
    }

private:
    // The field after the last move becomes the one to come back to.
    void start_anew() {
        next_power_ *= 2;
        difference_ = 0;
        if (is_saved_) saved_ = run_state<Value>();
        is_saved_ = false;
    }

    static std::uint64_t hash_of(unsigned int node, const Value& value) {
        constexpr std::size_t nbr_words = sizeof(Value) / sizeof(std::uint64_t);
        static_assert(nbr_words * sizeof(std::uint64_t) == sizeof(Value));
        std::uint64_t words[nbr_words];
        std::memcpy(words, &value, sizeof(Value));
        std::uint64_t hash = node;
        for (const std::uint64_t word : words) hash = hash_step(hash, word);
        return hash;
    }

    // Of live entries no two have the same ends in the same order.
    static bool is_before(const edge_entry& a, const edge_entry& b) {
        return std::tie(a.target, a.source) < std::tie(b.target, b.source);
    }
    static bool is_same(const run_state<Value>& a, const run_state<Value>& b) {
        const auto is_same_entry = [](const edge_entry& x, const edge_entry& y) {
            return x.target == y.target && x.source == y.source && x.key == y.key;
        };
        return a.nbr_changed == b.nbr_changed && a.values.size() == b.values.size() &&
               std::memcmp(a.values.data(), b.values.data(), a.values.size() * sizeof(Value)) ==
                   0 &&
               std::equal(a.live.begin(), a.live.end(), b.live.begin(), b.live.end(),
                          is_same_entry);
    }

    std::uint64_t nbr_moves_ = 0;
    std::uint64_t next_power_ = 1;
    std::uint64_t difference_ = 0;
    bool is_saved_ = false;
    run_state<Value> saved_;
};

} // namespace kv7::tessmaker

#endif
