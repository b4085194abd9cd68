// Columns by their numbers, compared with a map.
#include "formats/number_index.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = std::vector<unsigned int>;

id_list list_of(const ids& numbers) {
    id_list result;
    for (const unsigned int n : numbers) result.push_back(n);
    return result;
}

void expect_as_map(const ids& numbers, const ids& asked) {
    number_index index;
    ASSERT_TRUE(index.init(list_of(numbers)));
    std::map<unsigned int, unsigned int> first;
    ids repeated;
    for (unsigned int c = 0; c < numbers.size(); ++c) {
        if (!first.emplace(numbers[c], c).second) repeated.push_back(c);
    }
    EXPECT_EQ(list(index.repeated()), repeated);
    number_index only_repeated;
    ASSERT_TRUE(only_repeated.init_repeated(list_of(numbers)));
    EXPECT_EQ(list(only_repeated.repeated()), repeated);
    const auto expected = [&](unsigned int n) { return first.count(n) == 0 ? none : first[n]; };
    for (const unsigned int n : numbers) {
        for (const unsigned int near : {n - 1, n, n + 1})
            EXPECT_EQ(index.find(near), expected(near));
    }
    for (const unsigned int n : asked) EXPECT_EQ(index.find(n), expected(n));
}

TEST(number_index, finds_numbers_that_run_on_by_one) {
    expect_as_map({}, {0, 1, 5, 4294967294U});
    expect_as_map({7}, {0, 6, 8});
    expect_as_map({1, 2, 3, 4}, {0, 5, 4294967295U});
    expect_as_map({4294967292U, 4294967293U, 4294967294U}, {0, 1});
}

TEST(number_index, puts_columns_in_the_place_of_numbers_if_all_are_there) {
    number_index index;
    ASSERT_TRUE(index.init(list_of({5, 6, 7})));
    ids numbers{7, 5, 5, 6};
    EXPECT_TRUE(index.find_all(numbers.data(), numbers.size()));
    EXPECT_EQ(numbers, (ids{2, 0, 0, 1}));
    for (const unsigned int absent : {4U, 8U, 4294967294U}) {
        ids others{5, absent, 6};
        EXPECT_FALSE(index.find_all(others.data(), others.size()));
        EXPECT_EQ(others, (ids{5, absent, 6}));
    }
    ASSERT_TRUE(index.init(list_of({5, 7})));
    EXPECT_FALSE(index.find_all(numbers.data(), 1));
}

TEST(number_index, finds_numbers_of_any_kind) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t n = 1 + random.below(60);
        // Blocks with gaps, small and large ones.
        const std::size_t gap = std::size_t{1} << random.below(26);
        ids numbers;
        unsigned int number = 1;
        for (std::size_t k = 0; k < n; ++k) {
            numbers.push_back(number);
            number += random.one_in(6) ? 1 + random.id_below(gap) : 1;
        }
        if (random.one_in(3)) numbers.push_back(4294967294U);
        if (random.one_in(3)) numbers.push_back(random.one_of(numbers));
        if (random.one_in(2)) random.shuffle(numbers);
        ids asked{0, 1, 4294967294U, 4294967295U};
        for (int k = 0; k < 20; ++k) asked.push_back(static_cast<unsigned int>(random.draw()));
        for (int k = 0; k < 20; ++k) asked.push_back(random.id_below(number));
        expect_as_map(numbers, asked);
    }
}

TEST(number_index, memory_failure_is_told) {
    const id_list numbers = list_of({5, 3, 5, 9, 3, 3, 70});
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        number_index index;
        bool happened = false;
        bool is_done = false;
        {
            const memory_failure failure(k, and_later);
            is_done = index.init(numbers);
            happened = failure.happened();
        }
        EXPECT_TRUE(is_done || happened);
        if (is_done) {
            EXPECT_EQ(index.find(70), 6U);
        }
        return happened;
    });
    EXPECT_GE(nbr_failed, 3U);
}

} // namespace
