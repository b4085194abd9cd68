#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "indices/id_hash.h"
#include "support/memory_failure.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using content = std::pair<unsigned int, unsigned int>;

id_hash_set::insertion insert(id_hash_set& set, unsigned int key) { return set.insert(key); }

// Keys spread over all IDs, close to each other, or all of one bucket for many bucket counts.
unsigned int any_key(test::random_source& random, unsigned int kind) {
    if (kind == 0) return static_cast<unsigned int>(random.draw());
    if (kind == 1) return random.id_below(300);
    if (kind == 2) return random.id_below(200) * 23 * 53 * 97;
    return test::none - random.id_below(50);
}

TEST(bucket_primes, are_30_ascending_primes) {
    const std::vector<std::uint64_t> expected{
        13,        23,        53,        97,         193,        389,       769,      1543,
        3079,      6151,      12289,     24593,      49157,      98317,     196613,   393241,
        786433,    1572869,   3145739,   6291469,    12582917,   25165843,  50331653, 100663319,
        201326611, 402653189, 805306457, 1610612741, 3221225473, 4294967291};
    EXPECT_EQ(std::vector<std::uint64_t>(bucket_primes.begin(), bucket_primes.end()), expected);
}

TEST(next_prime, is_the_first_not_below_or_the_last) {
    EXPECT_EQ(next_prime(0), 13U);
    EXPECT_EQ(next_prime(13), 13U);
    EXPECT_EQ(next_prime(14), 23U);
    EXPECT_EQ(next_prime(4294967291), 4294967291U);
    EXPECT_EQ(next_prime(4294967292), 4294967291U);
    EXPECT_EQ(next_prime(~std::uint64_t{0}), 4294967291U);
}

TEST(id_hash_set, is_created_with_at_least_23_buckets_and_the_number_asked_for) {
    for (const auto& [asked, expected] :
         std::map<std::uint64_t, std::uint64_t>{{0, 23}, {23, 23}, {24, 53}, {1000, 1543}}) {
        id_hash_set set;
        ASSERT_TRUE(set.init(0, asked));
        EXPECT_EQ(set.nbr_buckets(), expected);
        EXPECT_EQ(set.count(), 0U);
    }
}

TEST(id_hash_set, before_init_takes_nothing_in) {
    id_hash_set set;
    EXPECT_EQ(set.insert(1).place, nullptr);
    EXPECT_EQ(set.find(1), nullptr);
    EXPECT_EQ(set.count(), 0U);
}

TEST(id_hash_set, tells_whether_a_key_was_new_by_its_count_and_its_answer) {
    id_hash_set set;
    ASSERT_TRUE(set.init(3, 23));
    EXPECT_TRUE(set.insert(7).added);
    EXPECT_EQ(set.count(), 1U);
    EXPECT_FALSE(set.insert(7).added);
    EXPECT_EQ(set.count(), 1U);
    EXPECT_TRUE(set.insert(7 + 23).added);
    EXPECT_TRUE(set.insert(test::none).added);
    EXPECT_EQ(set.count(), 3U);
    EXPECT_EQ(set.find(8), nullptr);
    ASSERT_NE(set.find(30), nullptr);
    EXPECT_EQ(*set.find(30), 30U);
}

TEST(id_hash_set, is_rebuilt_when_keys_are_more_than_twice_the_buckets) {
    id_hash_set set;
    ASSERT_TRUE(set.init(0, 23));
    for (unsigned int key = 0; key < 46; ++key) set.insert(key * 23);
    EXPECT_EQ(set.nbr_buckets(), 23U);
    set.insert(46 * 23);
    EXPECT_EQ(set.nbr_buckets(), 53U);
    EXPECT_EQ(set.count(), 47U);
    for (unsigned int key = 0; key < 47; ++key) EXPECT_NE(set.find(key * 23), nullptr);
    EXPECT_FALSE(set.insert(0).added);
}

TEST(id_hash_set, holds_what_a_set_holds) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(120); ++seed) {
        test::random_source random(seed);
        const unsigned int kind = random.id_below(4);
        id_hash_set set;
        ASSERT_TRUE(set.init(random.below(200), random.below(200)));
        std::set<unsigned int> expected;
        for (int k = 0; k < 1500; ++k) {
            if (random.one_in(400)) {
                set.clear();
                expected.clear();
            }
            const unsigned int key = any_key(random, kind);
            ASSERT_EQ(set.find(key) != nullptr, expected.count(key) == 1);
            const auto [place, added] = insert(set, key);
            ASSERT_EQ(added, expected.insert(key).second);
            ASSERT_EQ(*place, key);
            ASSERT_EQ(set.count(), expected.size());
        }
        for (const unsigned int key : expected) ASSERT_NE(set.find(key), nullptr);
    }
}

TEST(id_hash_set, a_cleared_set_uses_its_entries_again) {
    id_hash_set set;
    ASSERT_TRUE(set.init(40, 23));
    for (unsigned int key = 0; key < 40; ++key) set.insert(key);
    const unsigned int* const place = set.find(25);
    set.clear();
    EXPECT_EQ(set.count(), 0U);
    EXPECT_EQ(set.find(2), nullptr);
    set.insert(48); // bucket 2, whose head is free again
    set.insert(71); // the same bucket, where 25 stood
    EXPECT_EQ(set.find(71), place);
}

TEST(id_hash_set, init_empties_a_used_set) {
    id_hash_set set;
    ASSERT_TRUE(set.init(100, 23));
    for (unsigned int key = 0; key < 100; ++key) set.insert(key);
    ASSERT_TRUE(set.init(10, 10));
    EXPECT_EQ(set.count(), 0U);
    EXPECT_EQ(set.nbr_buckets(), 23U);
    for (unsigned int key = 0; key < 100; ++key) EXPECT_EQ(set.find(key), nullptr);
    EXPECT_TRUE(set.insert(5).added);
}

TEST(id_hash_set, for_more_entries_than_memory_can_hold_is_not_created) {
    id_hash_set set;
    EXPECT_FALSE(set.init(~std::uint64_t{0}, 0));
    EXPECT_EQ(set.insert(1).place, nullptr);
}

TEST(id_hash_map, gives_the_place_of_a_key_that_is_there_already) {
    id_hash_map map;
    ASSERT_TRUE(map.init(2, 0));
    EXPECT_TRUE(map.insert({5, 50}).added);
    const auto again = map.insert({5, 60});
    EXPECT_FALSE(again.added);
    EXPECT_EQ(*again.place, (content{5, 50}));
    again.place->second = 70;
    EXPECT_EQ(*map.find(5), (content{5, 70}));
    EXPECT_EQ(map.count(), 1U);
}

TEST(id_hash_map, holds_what_a_map_holds) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(60); ++seed) {
        test::random_source random(seed + 1000000);
        const unsigned int kind = random.id_below(4);
        id_hash_map map;
        ASSERT_TRUE(map.init(random.below(200), random.below(200)));
        std::map<unsigned int, unsigned int> expected;
        for (unsigned int k = 0; k < 1500; ++k) {
            if (random.one_in(500)) {
                map.clear();
                expected.clear();
            }
            const unsigned int key = any_key(random, kind);
            map.insert({key, 0}).place->second = k;
            expected[key] = k;
        }
        ASSERT_EQ(map.count(), expected.size());
        for (const auto& [key, value] : expected) ASSERT_EQ(*map.find(key), (content{key, value}));
    }
}

TEST(id_hash_set, a_key_for_which_memory_fails_is_not_there_and_the_others_are) {
    const std::size_t nbr_failed = test::fail_each_allocation([](std::size_t k, bool and_later) {
        std::vector<unsigned int> held, lost; // with memory of their own beforehand
        held.reserve(300);
        lost.reserve(300);
        const test::memory_failure failure(k, and_later);
        id_hash_set set;
        const bool created = set.init(10, 23);
        for (unsigned int key = 0; key < 300; ++key) {
            const auto [place, added] = insert(set, key * 23);
            EXPECT_EQ(place != nullptr, added);
            (added ? held : lost).push_back(key * 23);
            EXPECT_EQ(set.count(), held.size());
        }
        EXPECT_TRUE(created || held.empty());
        EXPECT_TRUE(failure.happened() || lost.empty());
        for (const unsigned int key : held) EXPECT_NE(set.find(key), nullptr);
        for (const unsigned int key : lost) EXPECT_EQ(set.find(key), nullptr);
        return failure.happened();
    });
    EXPECT_GT(nbr_failed, 6U);
}

} // namespace
