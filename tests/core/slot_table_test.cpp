#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "core/slot_table.h"
#include "support/memory_failure.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

std::vector<unsigned int> all_under(const slot_table& table, std::uint64_t hash) {
    std::vector<unsigned int> found;
    table.search(hash, [&found](unsigned int id) { return found.push_back(id), false; });
    return found;
}

// A hash whose upper half is `half`.
std::uint64_t hash_of(std::uint64_t half, std::uint64_t low = 0) { return half << 32 | low; }

TEST(slot_table, has_no_id_under_any_hash_when_new) {
    slot_table table;
    ASSERT_TRUE(table.init(2));
    for (const std::uint64_t hash : {std::uint64_t{0}, hash_of(1), ~std::uint64_t{0}}) {
        EXPECT_EQ(all_under(table, hash), std::vector<unsigned int>());
        EXPECT_EQ(table.find(hash, [](unsigned int) { return true; }), no_id);
    }
}

TEST(slot_table, has_two_slots_at_least_for_each_id_that_it_is_sized_for) {
    const std::map<std::size_t, std::size_t> expected{
        {0, 2},     {1, 2},     {2, 4},     {3, 8},       {4, 8},      {5, 16},
        {100, 256}, {128, 256}, {129, 512}, {1000, 2048}, {1024, 2048}};
    for (const auto& [nbr_ids, nbr_slots] : expected) {
        slot_table table;
        ASSERT_TRUE(table.init_for(nbr_ids));
        EXPECT_EQ(table.nbr_slots(), nbr_slots) << nbr_ids;
    }
}

TEST(slot_table, tells_ids_apart_by_the_upper_half_of_their_hash_alone) {
    slot_table table;
    ASSERT_TRUE(table.init(16));
    ASSERT_TRUE(table.insert(hash_of(7, 1), 40));
    ASSERT_TRUE(table.insert(hash_of(7, 2), 30));
    ASSERT_TRUE(table.insert(hash_of(8, 1), 20));
    EXPECT_EQ(all_under(table, hash_of(7, 99)), (std::vector<unsigned int>{40, 30}));
    EXPECT_EQ(all_under(table, hash_of(8)), (std::vector<unsigned int>{20}));
    EXPECT_EQ(all_under(table, hash_of(9)), std::vector<unsigned int>());
}

TEST(slot_table, a_search_ends_at_the_id_that_is_accepted_and_counts_those_passed) {
    slot_table table;
    ASSERT_TRUE(table.init(16));
    // All of them begin at slot 0.
    for (const unsigned int id : {5U, 6U, 7U}) ASSERT_TRUE(table.insert(hash_of(id % 2), id));
    std::vector<unsigned int> shown;
    const auto accepts = [&shown](unsigned int wanted) {
        return [&shown, wanted](unsigned int id) { return shown.push_back(id), id == wanted; };
    };
    EXPECT_EQ(table.search(hash_of(1), accepts(5)), 0U);
    EXPECT_EQ(table.search(hash_of(1), accepts(7)), 2U);
    EXPECT_EQ(table.search(hash_of(1), accepts(8)), 3U);
    EXPECT_EQ(table.search(hash_of(0), accepts(6)), 1U);
    EXPECT_EQ(shown, (std::vector<unsigned int>{5, 5, 7, 5, 7, 6}));
}

TEST(slot_table, entries_of_the_last_slot_go_on_at_the_first) {
    slot_table table;
    ASSERT_TRUE(table.init(16));
    const std::uint64_t last = hash_of(0xFFFFFFFF);
    for (unsigned int id = 0; id < 5; ++id) ASSERT_TRUE(table.insert(last, id));
    ASSERT_TRUE(table.insert(hash_of(0), 9));
    EXPECT_EQ(all_under(table, last), (std::vector<unsigned int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(all_under(table, hash_of(0)), (std::vector<unsigned int>{9}));
    EXPECT_EQ(table.search(hash_of(0), [](unsigned int) { return true; }), 4U);
}

TEST(slot_table, holds_the_largest_id_under_the_largest_hash) {
    slot_table table;
    ASSERT_TRUE(table.init(4));
    ASSERT_TRUE(table.insert(~std::uint64_t{0}, no_id - 1));
    EXPECT_EQ(all_under(table, ~std::uint64_t{0}), (std::vector<unsigned int>{no_id - 1}));
}

TEST(slot_table, is_never_more_than_half_full_when_it_grows) {
    slot_table table;
    ASSERT_TRUE(table.init(2));
    test::random_source random(3);
    for (unsigned int n = 1; n <= 3000; ++n) {
        ASSERT_TRUE(table.insert(random.draw(), n));
        ASSERT_LE(n, table.nbr_slots() / 2 + 1) << n;
        ASSERT_GE(std::max(4 * n, 4U), table.nbr_slots()) << n;
    }
}

TEST(slot_table, is_emptied_by_init) {
    slot_table table;
    ASSERT_TRUE(table.init(2));
    for (unsigned int n = 0; n < 100; ++n) ASSERT_TRUE(table.insert(hash_of(n), n));
    ASSERT_TRUE(table.init(8));
    EXPECT_EQ(table.nbr_slots(), 8U);
    for (unsigned int n = 0; n < 100; ++n) EXPECT_TRUE(all_under(table, hash_of(n)).empty());
}

// Upper halves spread over all, few of them, close to each other, or at the end of the range.
std::uint64_t any_hash(test::random_source& random, std::size_t kind) {
    const std::uint64_t low = random.draw() >> 32;
    if (kind == 0) return random.draw();
    if (kind == 1) return hash_of(random.below(5) * 0x33333333, low);
    if (kind == 2) return hash_of(0x80000000 + random.below(200), low);
    return hash_of(0xFFFFFFFF - random.below(20), low);
}

TEST(slot_table, holds_what_a_map_from_hash_to_ids_holds) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(200); ++seed) {
        SCOPED_TRACE(seed);
        test::random_source random(seed);
        const std::size_t kind = random.below(4);
        slot_table table;
        ASSERT_TRUE(table.init(std::size_t{2} << random.below(6)));
        std::map<std::uint64_t, std::multiset<unsigned int>> expected;
        const std::size_t nbr_ids = random.below(400);
        for (std::size_t n = 0; n < nbr_ids; ++n) {
            const std::uint64_t hash = any_hash(random, kind);
            const unsigned int id = random.id_below(1000);
            ASSERT_TRUE(table.insert(hash, id));
            expected[hash >> 32].insert(id);
        }
        for (const auto& [half, ids] : expected) {
            const auto found = all_under(table, hash_of(half));
            EXPECT_EQ(std::multiset<unsigned int>(found.begin(), found.end()), ids);
        }
        for (std::size_t n = 0; n < 50; ++n) {
            const std::uint64_t hash = any_hash(random, kind);
            EXPECT_EQ(all_under(table, hash).empty(), expected.count(hash >> 32) == 0);
        }
        if (HasFailure()) break;
    }
}

// As users with keys do: an ID stands for the key at its place.
TEST(slot_table, finds_the_id_of_a_key_as_a_map_from_keys_to_ids_does) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(200); ++seed) {
        SCOPED_TRACE(seed);
        test::random_source random(seed);
        const std::size_t kind = random.below(4);
        std::vector<std::uint64_t> keys(1 + random.below(300));
        for (std::uint64_t& key : keys) key = any_hash(random, kind) & ~std::uint64_t{0xF0};
        slot_table table;
        ASSERT_TRUE(table.init_for(keys.size()));
        std::map<std::uint64_t, unsigned int> expected;
        const auto is_key = [&keys](std::uint64_t key) {
            return [&keys, key](unsigned int id) { return keys[id] == key; };
        };
        for (unsigned int id = 0; id < keys.size(); ++id) {
            const unsigned int first = expected.emplace(keys[id], id).first->second;
            EXPECT_EQ(table.find_or_insert(keys[id], id, is_key(keys[id])), first);
        }
        for (const std::uint64_t key : keys) {
            EXPECT_EQ(table.find(key, is_key(key)), expected.at(key));
            EXPECT_EQ(table.find(key + 0x10, is_key(key + 0x10)), no_id);
        }
        if (HasFailure()) break;
    }
}

TEST(slot_table, without_memory_to_grow_stays_as_it_is) {
    slot_table table;
    ASSERT_TRUE(table.init(2));
    std::size_t nbr_failures = 0;
    for (unsigned int id = 0; id < 500; ++id) {
        const std::uint64_t hash = hash_of(id * 0x9E3779B9U);
        bool is_inserted = false;
        {
            const test::memory_failure failure(0, true);
            is_inserted = table.insert(hash, id);
            EXPECT_EQ(is_inserted, !failure.happened());
        }
        if (is_inserted) continue;
        ++nbr_failures;
        for (unsigned int n = 0; n < id; ++n) {
            EXPECT_EQ(all_under(table, hash_of(n * 0x9E3779B9U)), (std::vector<unsigned int>{n}));
        }
        EXPECT_TRUE(all_under(table, hash).empty());
        ASSERT_TRUE(table.insert(hash, id));
    }
    EXPECT_EQ(nbr_failures, 9U);
}

TEST(slot_table, without_memory_is_not_made) {
    slot_table table;
    const test::memory_failure failure(0, true);
    EXPECT_FALSE(table.init(64));
    EXPECT_FALSE(table.init_for(64));
}

} // namespace
