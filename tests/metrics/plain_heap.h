// A binary max-heap in its plainest form: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_HEAP_H
#define TESSMAKER_TESTS_METRICS_PLAIN_HEAP_H

#include <cstddef>
#include <utility>
#include <vector>

namespace test {

struct plain_entry {
    float key;
    unsigned int stamp;
    unsigned int target;
    unsigned int source;
};

class plain_heap {
public:
    bool empty() const { return entries_.empty(); }
    void push(const plain_entry& entry) {
        entries_.push_back(entry);
        rise(entries_.size() - 1);
    }
    plain_entry pop() {
        const plain_entry top = entries_.front();
        const plain_entry last = entries_.back();
        entries_.pop_back();
        if (entries_.empty()) return top;
        std::size_t hole = 0;
        while (2 * hole + 1 < entries_.size()) {
            const std::size_t left = 2 * hole + 1;
            const std::size_t right = left + 1;
            std::size_t child = left;
            if (right < entries_.size() && !(entries_[left].key > entries_[right].key)) {
                child = right;
            }
            entries_[hole] = entries_[child];
            hole = child;
        }
        entries_[hole] = last;
        rise(hole);
        return top;
    }

private:
    void rise(std::size_t k) {
        while (k > 0 && entries_[(k - 1) / 2].key < entries_[k].key) {
            std::swap(entries_[(k - 1) / 2], entries_[k]);
            k = (k - 1) / 2;
        }
    }
    std::vector<plain_entry> entries_;
};

} // namespace test

#endif
