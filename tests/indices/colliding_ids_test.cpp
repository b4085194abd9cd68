// Lists of distinct IDs and cross-references where IDs were chosen to collide, against references
// of a few lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <vector>

#include "indices/colliding.h"
#include "indices/plain_distinct.h"
#include "indices/sorted_ids.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::colliding_columns;
using test::colliding_ids;
using test::distinct;
using test::list;
using test::none;
using test::random_source;
using test::vector_of;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;

// `n` of the IDs, some repeatedly, some absent, in any order; at times ascending at first.
id_vector drawn_from(random_source& random, const id_vector& pool, std::size_t n) {
    id_vector drawn;
    if (random.one_in(3)) drawn = pool;
    while (drawn.size() < n) drawn.push_back(random.one_in(50) ? none : random.one_of(pool));
    return drawn;
}

TEST(sorted_ids, tell_what_is_new_in_the_order_of_the_source_whatever_the_portion) {
    random_source random(1);
    for (std::uint64_t run = 0; run < test::nbr_runs(2000); ++run) {
        const id_vector values =
            test::random_ids(random, random.below(80), 1 + random.below(60), 9);
        const id_vector before =
            test::random_ids(random, random.below(20), 1 + random.below(60), 0);
        ids seen = vector_of(before);
        seen.push_back(none);
        sorted_ids set;
        ASSERT_TRUE(set.init(seen, random.below(30)));
        const id_vector skip = test::random_ids(random, random.below(9), 1 + random.below(60), 0);
        ASSERT_TRUE(set.add_seen(skip.data(), skip.size()));
        id_vector added;
        const auto sink = [&added](const unsigned int* id, std::size_t n) {
            added.insert(added.end(), id, id + n);
        };
        for (std::size_t i = 0; i < values.size();) {
            const std::size_t n = std::min(values.size() - i, random.below(40));
            set.add(values.data() + i, n, sink);
            i += n;
        }
        set.finish(sink);
        id_vector all_before = before;
        all_before.insert(all_before.end(), skip.begin(), skip.end());
        ASSERT_EQ(added, distinct(values, all_before)) << run;
    }
}

TEST(id_hash_set, counts_the_steps_by_which_colliding_keys_are_passed) {
    id_hash_set set;
    ASSERT_TRUE(set.init(100, 100));
    for (const unsigned int id : colliding_ids(100, 100)) set.insert(id);
    EXPECT_EQ(set.nbr_steps(),
              98U * 99 / 2); // to the end of the chain, on which nothing stands yet
    ASSERT_TRUE(set.init(100, 100));
    for (unsigned int id = 0; id < 100; ++id) set.insert(id);
    EXPECT_EQ(set.nbr_steps(), 0U);
}

TEST(unique_indices, of_colliding_IDs_are_those_of_a_plain_set) {
    random_source random(2);
    for (std::uint64_t run = 0; run < test::nbr_runs(300); ++run) {
        const std::size_t n = 40 + random.below(random.one_in(10) ? 6000 : 900);
        const std::size_t nbr_skipped = random.one_in(2) ? random.below(2 * n) : 0;
        const id_vector pool = colliding_ids(1 + random.below(n + nbr_skipped), n + nbr_skipped);
        const id_vector values = drawn_from(random, pool, n);
        const id_vector skip =
            nbr_skipped == 0 ? id_vector() : drawn_from(random, pool, nbr_skipped);

        ids nodes{7, 7};
        ASSERT_EQ(unique_indices(nodes, vector_of(values), vector_of(skip)), 0);
        id_vector expected{7, 7};
        for (const unsigned int id : distinct(values, skip)) expected.push_back(id);
        ASSERT_EQ(list(nodes), expected) << run;

        dense2D<unsigned int> connect(1, values.size());
        std::copy(values.begin(), values.end(), connect.column(0));
        ASSERT_EQ(count_unique_indices(connect), static_cast<int>(distinct(values, {}).size()));
        const auto halves = test::with_gaps(connect, 2, 0xDDDDDDDDU);
        const dense2D<unsigned int> range[] = {connect, halves};
        ids of_range;
        ASSERT_EQ(unique_indices(of_range, range, range + 2, vector_of(skip)), 0);
        ASSERT_EQ(list(of_range), distinct(values, skip)) << run;
    }
}

TEST(unique_indices, may_replace_the_colliding_IDs_that_they_are_of) {
    const id_vector values = colliding_ids(3000, 3000);
    ids nodes = vector_of(values);
    const ids source = nodes;
    nodes.clear();
    ASSERT_EQ(unique_indices(nodes, source, ids()), 0);
    EXPECT_EQ(list(nodes), values);
}

struct places {
    id_vector a_of_b, b_of_a;
};

places plain_places(const id_vector& a, const id_vector& b) {
    places result{id_vector(b.size(), none), id_vector(a.size(), none)};
    std::map<unsigned int, unsigned int> first_in_a;
    for (unsigned int i = 0; i < a.size(); ++i) first_in_a.emplace(a[i], i);
    first_in_a.erase(none);
    for (unsigned int j = 0; j < b.size(); ++j) {
        const auto found = first_in_a.find(b[j]);
        if (found == first_in_a.end()) continue;
        result.a_of_b[j] = found->second;
        unsigned int& first = result.b_of_a[found->second];
        first = std::min(first, j);
    }
    return result;
}

TEST(get_IDs, of_lists_of_colliding_IDs_are_those_of_a_plain_map) {
    random_source random(3);
    for (std::uint64_t run = 0; run < test::nbr_runs(300); ++run) {
        const std::size_t n = 40 + random.below(900);
        const id_vector pool = colliding_ids(1 + random.below(n), n);
        const id_vector a = drawn_from(random, pool, n);
        // Too few collide among these alone, but the last of them is looked up again and again.
        const bool one_wanted = random.one_in(3);
        const id_vector b = one_wanted ? id_vector(n * 9, pool.back())
                                       : drawn_from(random, pool, 1 + random.below(2 * n));
        ids a_of_b, b_of_a;
        ASSERT_EQ(get_IDs(vector_of(a), vector_of(b), a_of_b, b_of_a), 0);
        const places expected = plain_places(a, b);
        ASSERT_EQ(list(a_of_b), expected.a_of_b) << run;
        ASSERT_EQ(list(b_of_a), expected.b_of_a) << run;
    }
}

TEST(get_IDs, of_columns_that_collide_are_those_of_a_plain_map) {
    random_source random(4);
    for (std::uint64_t run = 0; run < test::nbr_runs(60); ++run) {
        const std::size_t n = 60 + random.below(300);
        const bool strict = random.one_in(2);
        id_vector pool = colliding_columns(n);
        pool.resize(1 + random.below(n));
        const id_vector a = drawn_from(random, pool, n);
        const id_vector b = drawn_from(random, pool, 1 + random.below(3 * n));
        dense2D<unsigned int> columns_a(2, a.size(), 1);
        dense2D<unsigned int> columns_b(2, b.size(), 1);
        for (std::size_t c = 0; c < a.size(); ++c) columns_a(1, c) = a[c];
        for (std::size_t c = 0; c < b.size(); ++c) {
            columns_b(1, c) = b[c];
            if (!strict && random.one_in(2)) std::swap(columns_b(0, c), columns_b(1, c));
        }

        // An absent ID takes part, and every column finds the first, whatever comes first.
        std::map<unsigned int, unsigned int> first_a, first_b;
        for (unsigned int c = 0; c < a.size(); ++c) first_a.emplace(a[c], c);
        for (unsigned int c = 0; c < b.size(); ++c) first_b.emplace(b[c], c);
        id_vector expected_a_of_b, expected_b_of_a;
        for (const unsigned int id : b)
            expected_a_of_b.push_back(first_a.count(id) ? first_a[id] : none);
        for (const unsigned int id : a)
            expected_b_of_a.push_back(first_b.count(id) ? first_b[id] : none);
        ids a_of_b, b_of_a;
        ASSERT_EQ(get_IDs(columns_a, columns_b, a_of_b, b_of_a, strict), 0);
        ASSERT_EQ(list(a_of_b), expected_a_of_b) << run;
        ASSERT_EQ(list(b_of_a), expected_b_of_a) << run;
    }
}

// Each entry is the expected one or the absent ID.
void expect_part_of(const ids& result, const id_vector& expected) {
    EXPECT_TRUE(result.empty() || result.size() == expected.size());
    for (std::size_t i = 0; i < result.size(); ++i)
        EXPECT_TRUE(result[i] == expected[i] || result[i] == none) << i;
}

TEST(index_arrays_memory, unique_indices_of_colliding_IDs_gives_a_part) {
    const id_vector values = colliding_ids(200, 200);
    const ids source = vector_of(values);
    const ids skip;
    EXPECT_GE(test::fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids nodes;
                  const test::failing_call call = test::call_failing(
                      k, and_later, [&] { return unique_indices(nodes, source, skip); });
                  EXPECT_EQ(call.code, 0);
                  const id_vector part = list(nodes);
                  EXPECT_TRUE(
                      std::includes(values.begin(), values.end(), part.begin(), part.end()));
                  return call.failed;
              }),
              4U);
}

TEST(index_arrays_memory, get_IDs_of_colliding_IDs_gives_no_wrong_place) {
    const ids source = vector_of(colliding_ids(200, 200));
    id_vector identity(source.size());
    std::iota(identity.begin(), identity.end(), 0U);
    EXPECT_GE(test::fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids a_of_b, b_of_a;
                  const test::failing_call call = test::call_failing(
                      k, and_later, [&] { return get_IDs(source, source, a_of_b, b_of_a); });
                  EXPECT_EQ(call.code, 0);
                  expect_part_of(a_of_b, identity);
                  expect_part_of(b_of_a, identity);
                  return call.failed;
              }),
              4U);
}

TEST(index_arrays_memory, get_IDs_of_colliding_columns_gives_minus_199_and_no_wrong_match) {
    const id_vector second = colliding_columns(60);
    dense2D<unsigned int> columns(2, second.size(), 1);
    for (std::size_t c = 0; c < second.size(); ++c) columns(1, c) = second[c];
    id_vector identity(second.size());
    std::iota(identity.begin(), identity.end(), 0U);
    EXPECT_GE(test::fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids a_of_b, b_of_a;
                  const test::failing_call call = test::call_failing(k, and_later, [&] {
                      return get_IDs(columns, columns, a_of_b, b_of_a, true);
                  });
                  EXPECT_TRUE(call.code == -199 ? call.failed : call.code == 0);
                  expect_part_of(a_of_b, identity);
                  expect_part_of(b_of_a, identity);
                  EXPECT_TRUE(call.code != 0 || list(b_of_a) == identity);
                  return call.failed;
              }),
              5U);
}

} // namespace
