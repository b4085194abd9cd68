// The queue of edges that break a limit, worst first.
#ifndef TESSMAKER_METRICS_EDGE_HEAP_H
#define TESSMAKER_METRICS_EDGE_HEAP_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/prefetch.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

struct edge_entry {
    float key;           // the measure of the edge when queued
    unsigned int stamp;  // the change counter when queued
    unsigned int target; // the node whose value may change
    unsigned int source; // the node at the other end, towards whose value it moves
};

// A binary max-heap on the key. Both directions of an edge are pushed with the same key, so equal
// keys are common and their order decides results. Hence the rules: a pushed entry rises past
// smaller keys only. A pop moves the hole at the top down to a leaf, each time to the child with
// the larger key, to the right child if the keys are equal; the last entry fills the hole and rises
// as in a push.
//
// A large heap is bound by memory access: its entries are aligned so that the four grandchildren of
// an entry share a cache line, and a pop prefetches what the hole may reach in four steps.
class edge_heap {
public:
    bool empty() const { return size() == 0; }
    std::size_t size() const { return entries_.empty() ? 0 : entries_.size() - spare; }
    // The entries, the top one first and the others in no particular order. Their keys must stay.
    edge_entry* begin() { return heap_; }
    edge_entry* end() { return heap_ + size(); }

    // False if memory fails; the entry is then not in the heap.
    bool push(const edge_entry& entry) {
        if (entries_.empty() && !entries_.resize(spare)) return false;
        const std::size_t hole = size();
        if (!entries_.push_back(entry)) return false;
        if (entries_.data() != block_) align(hole);
        rise(hole, entry);
        return true;
    }

    // Removes and returns the top entry. The heap must not be empty.
    edge_entry pop() {
        const std::size_t size = this->size() - 1;
        const edge_entry top = heap_[0];
        const edge_entry last = heap_[size];
        entries_.resize(size + spare);
        if (size == 0) return top;
        std::size_t hole = 0;
        std::size_t child = 2; // the right one
        for (; child < size; child = 2 * hole + 2) {
            prefetch_below(hole);
            child -= heap_[child].key < heap_[child - 1].key ? 1 : 0;
            heap_[hole] = heap_[child];
            hole = child;
        }
        if (child == size) { // an only child
            heap_[hole] = heap_[child - 1];
            hole = child - 1;
        }
        rise(hole, last);
        return top;
    }

private:
    static constexpr std::size_t line = 64 / sizeof(edge_entry); // entries in a cache line
    // Alignment puts the heap's first entry up to this many entries into the block.
    static constexpr std::size_t spare = line - 1;
    // The first of the four grandchildren of the top begins a cache line. So do then those of all
    // others.
    static constexpr std::size_t first_grandchild = 3;

    // Aligns the `size` entries of the heap anew after its block has moved.
    void align(std::size_t size) {
        const std::ptrdiff_t old_begin = block_ ? heap_ - block_ : 0;
        block_ = entries_.data();
        const std::size_t place = reinterpret_cast<std::uintptr_t>(block_) / sizeof(edge_entry);
        heap_ = block_ + (2 * line - first_grandchild - place % line) % line;
        std::memmove(heap_, block_ + old_begin, size * sizeof(edge_entry));
    }

    // Prefetches the 16 entries four levels below the hole.
    [[gnu::always_inline]] void prefetch_below(std::size_t hole) const {
        for (std::size_t k = 0; k < 16; k += line) prefetch(heap_, 16 * hole + 15 + k);
    }

    // Moves a hole up past smaller keys and puts the entry there.
    void rise(std::size_t hole, const edge_entry& entry) {
        while (hole > 0) {
            const std::size_t parent = (hole - 1) / 2;
            if (!(heap_[parent].key < entry.key)) break;
            heap_[hole] = heap_[parent];
            hole = parent;
        }
        heap_[hole] = entry;
    }

    dense1D<edge_entry, 8> entries_; // those of the heap and `spare` more
    edge_entry* block_ = nullptr;    // their address when the heap was last aligned
    edge_entry* heap_ = nullptr;     // the top
};

} // namespace kv7::tessmaker

#endif
