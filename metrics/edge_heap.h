// The queue of edges that break a limit, worst first.
#ifndef TESSMAKER_METRICS_EDGE_HEAP_H
#define TESSMAKER_METRICS_EDGE_HEAP_H

#include <cstddef>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

struct edge_entry {
    float key;           // the measure of the edge when queued
    unsigned int stamp;  // the change counter when queued
    unsigned int target; // the node whose value may change
    unsigned int source; // the node at the other end, towards whose value it moves
};

// A binary max-heap on the key. Equal keys are common, as both directions of an edge go in with
// one, so the order among them decides results: an entry rises past smaller keys only; a hole goes
// down to a leaf, to the larger child and to the right one of equals, and is filled from the end.
class edge_heap {
public:
    bool empty() const { return entries_.empty(); }
    std::size_t size() const { return entries_.size(); }

    // False when memory fails; the entry is then not there.
    bool push(const edge_entry& entry) {
        if (!entries_.push_back(entry)) return false;
        rise(entries_.size() - 1, entry);
        return true;
    }

    // Takes out an entry with the largest key. The heap must not be empty.
    edge_entry pop() {
        edge_entry* const heap = entries_.data();
        const edge_entry top = heap[0];
        const std::size_t size = entries_.size() - 1;
        const edge_entry last = heap[size];
        entries_.resize(size);
        if (size == 0) return top;
        std::size_t hole = 0;
        for (std::size_t child = 2; child <= size; child = 2 * hole + 2) {
            // `child` is the right one; at the end of the heap it may be missing.
            if (child == size || heap[child].key < heap[child - 1].key) --child;
            heap[hole] = heap[child];
            hole = child;
        }
        rise(hole, last);
        return top;
    }

private:
    void rise(std::size_t hole, const edge_entry& entry) {
        edge_entry* const heap = entries_.data();
        while (hole > 0) {
            const std::size_t parent = (hole - 1) / 2;
            if (!(heap[parent].key < entry.key)) break;
            heap[hole] = heap[parent];
            hole = parent;
        }
        heap[hole] = entry;
    }

    dense1D<edge_entry, 8> entries_;
};

} // namespace kv7::tessmaker

#endif
