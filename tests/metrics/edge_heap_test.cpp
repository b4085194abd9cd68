#include "metrics/edge_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "metrics/plain_heap.h"
#include "support/memory_failure.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

bool same(const edge_entry& a, const plain_entry& b) {
    return a.key == b.key && a.stamp == b.stamp && a.target == b.target && a.source == b.source;
}

TEST(edge_heap, pops_what_a_plain_heap_pops_with_many_equal_keys) {
    random_source random(31);
    for (int run = 0; run < 300; ++run) {
        edge_heap heap;
        plain_heap plain;
        std::size_t size = 0;
        const std::size_t nbr_keys = random.between(1, 12);
        for (unsigned int n = 0; n < 600; ++n) {
            const bool filling = n < 300;
            if (size == 0 || !random.one_in(filling ? 4 : 2)) {
                const float key = static_cast<float>(random.below(nbr_keys));
                ASSERT_TRUE(heap.push({key, n, n + 1, n + 2}));
                plain.push({key, n, n + 1, n + 2});
                ++size;
            } else {
                ASSERT_TRUE(same(heap.pop(), plain.pop()));
                --size;
            }
            ASSERT_EQ(heap.size(), size);
            ASSERT_EQ(heap.empty(), size == 0);
        }
        for (; size > 0; --size) ASSERT_TRUE(same(heap.pop(), plain.pop()));
        EXPECT_TRUE(heap.empty());
    }
}

TEST(edge_heap, an_equal_key_stops_the_rise_and_the_right_one_of_equals_goes_up) {
    edge_heap heap;
    for (unsigned int n = 0; n < 4; ++n) ASSERT_TRUE(heap.push({1.0F, 0, n, 0}));
    // (0 1 2 3): 2 goes up, and 3 fills the hole.
    EXPECT_EQ(heap.pop().target, 0U);
    EXPECT_EQ(heap.pop().target, 2U);
    // (2 1 3): 1 goes up, being alone, and 3 stays below it.
    EXPECT_EQ(heap.pop().target, 1U);
    EXPECT_EQ(heap.pop().target, 3U);
}

TEST(edge_heap, the_last_entry_is_no_child_when_the_hole_goes_down) {
    edge_heap heap;
    ASSERT_TRUE(heap.push({3.0F, 0, 0, 0}));
    ASSERT_TRUE(heap.push({2.0F, 0, 1, 0}));
    ASSERT_TRUE(heap.push({2.0F, 0, 2, 0}));
    // Were it compared, 2 would go up as the right one of equals; it fills the hole below 1.
    EXPECT_EQ(heap.pop().target, 0U);
    EXPECT_EQ(heap.pop().target, 1U);
    EXPECT_EQ(heap.pop().target, 2U);
}

TEST(edge_heap, the_largest_key_comes_first) {
    edge_heap heap;
    random_source random(32);
    for (unsigned int n = 0; n < 1000; ++n) {
        ASSERT_TRUE(heap.push({static_cast<float>(random.uniform(0.0, 1.0)), 0, n, 0}));
    }
    float last = 2.0F;
    while (!heap.empty()) {
        const float key = heap.pop().key;
        EXPECT_LE(key, last);
        last = key;
    }
}

TEST(edge_heap, shows_each_entry_once_the_top_one_first) {
    edge_heap heap;
    EXPECT_EQ(heap.begin(), heap.end());
    random_source random(33);
    for (unsigned int n = 0; n < 100; ++n) {
        ASSERT_TRUE(heap.push({static_cast<float>(random.uniform(0.0, 1.0)), 0, n, 0}));
    }
    heap.pop();
    std::vector<int> times(100, 0);
    for (const edge_entry& entry : heap) ++times[entry.target];
    EXPECT_EQ(std::count(times.begin(), times.end(), 1), 99);
    EXPECT_EQ(std::count(times.begin(), times.end(), 0), 1);
    const unsigned int top = heap.begin()->target;
    EXPECT_EQ(heap.pop().target, top);
}

TEST(edge_heap, a_push_without_memory_is_false_and_keeps_the_heap) {
    edge_heap heap;
    const memory_failure failure(0, true);
    EXPECT_FALSE(heap.push({1.0F, 0, 0, 0}));
    EXPECT_TRUE(heap.empty());
}

} // namespace
