// The functions on arrays of indices with every allocation failing in turn. If only one allocation
// fails, a call may still succeed; then its result is complete.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "core/memory_hook.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::call_failing;
using test::connectivity;
using test::fail_each_allocation;
using test::failing_call;
using test::list;
using test::none;

namespace {

using numbers = dense1D<double>;
using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;

// -199 if memory failed for good, 0 if it didn't fail; either if only one allocation failed.
void expect_code(const failing_call& call, bool and_later) {
    EXPECT_TRUE(call.code == 0 || call.code == -199) << call.code;
    EXPECT_TRUE(call.code == -199 ? call.failed : !call.failed || !and_later);
}

TEST(index_arrays_memory, permutation_gives_minus_199_and_leaves_the_values) {
    const ids perm{2, 0, 1};
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids values{10, 20, 30};
                  const failing_call o =
                      call_failing(k, and_later, [&] { return permutation(values, perm); });
                  EXPECT_FALSE(o.threw());
                  expect_code(o, and_later);
                  EXPECT_EQ(list(values),
                            o.code == 0 ? (id_vector{20, 30, 10}) : (id_vector{10, 20, 30}));
                  return o.failed;
              }),
              2U);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  numbers values{1.5, 2.5, 3.5};
                  const failing_call o =
                      call_failing(k, and_later, [&] { return permutation(values, perm); });
                  EXPECT_FALSE(o.threw());
                  expect_code(o, and_later);
                  EXPECT_EQ(values[0], o.code == 0 ? 2.5 : 1.5);
                  return o.failed;
              }),
              2U);
}

TEST(index_arrays_memory, get_sorted_order_gives_minus_199_and_empty_outputs) {
    const ids values{2, none, 0, 2};
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids order{9}, addresses{8};
                  const failing_call o = call_failing(
                      k, and_later, [&] { return get_sorted_order(values, order, addresses); });
                  EXPECT_FALSE(o.threw());
                  expect_code(o, and_later);
                  EXPECT_EQ(list(order), o.code == 0 ? (id_vector{2, 0, 3}) : id_vector{});
                  EXPECT_EQ(list(addresses), o.code == 0 ? (id_vector{0, 1, 1, 3}) : id_vector{});
                  return o.failed;
              }),
              2U);
}

// Every entry is the expected one or the absent ID, in an array of full size or an empty one.
void expect_part_of(const ids& result, const id_vector& expected) {
    EXPECT_TRUE(result.empty() || result.size() == expected.size());
    for (std::size_t i = 0; i < result.size(); ++i) {
        EXPECT_TRUE(result[i] == expected[i] || result[i] == none) << i;
    }
}

TEST(index_arrays_memory, get_IDs_of_lists_gives_0_and_what_memory_allows) {
    ids a, b;
    for (unsigned int k = 0; k < 200; ++k) a.push_back(k * 7919 % 1000);
    for (unsigned int k = 0; k < 300; ++k) b.push_back(k * 104729 % 1000000);
    ids full_a_of_b, full_b_of_a;
    ASSERT_EQ(get_IDs(a, b, full_a_of_b, full_b_of_a), 0);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids a_of_b, b_of_a;
                  const failing_call o =
                      call_failing(k, and_later, [&] { return get_IDs(a, b, a_of_b, b_of_a); });
                  EXPECT_FALSE(o.threw());
                  EXPECT_EQ(o.code, 0);
                  expect_part_of(a_of_b, list(full_a_of_b));
                  expect_part_of(b_of_a, list(full_b_of_a));
                  return o.failed;
              }),
              4U);
}

TEST(index_arrays_memory, get_IDs_of_columns_gives_minus_199_and_no_wrong_match) {
    const auto a = connectivity({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    const auto b = connectivity({{5, 6, 4}, {1, 3, 2}});
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids a_of_b, b_of_a;
                  const failing_call o = call_failing(
                      k, and_later, [&] { return get_IDs(a, b, a_of_b, b_of_a, false); });
                  EXPECT_FALSE(o.threw());
                  expect_code(o, and_later);
                  expect_part_of(a_of_b, {1, 0});
                  expect_part_of(b_of_a, {1, 0, none});
                  if (o.code == 0) {
                      EXPECT_EQ(list(a_of_b), (id_vector{1, 0}));
                      EXPECT_EQ(list(b_of_a), (id_vector{1, 0, none}));
                  }
                  return o.failed;
              }),
              4U);
}

TEST(index_arrays_memory, unique_indices_leave_out_an_id_for_which_memory_fails) {
    // IDs close together, and so far apart that they need a hash table.
    for (const unsigned int step : {1U, 20000003U}) {
        dense2D<unsigned int> connect(2, 100);
        for (unsigned int c = 0; c < 100; ++c) {
            connect(0, c) = c * step;
            connect(1, c) = c % 3 == 0 ? none : (c + 1) * step;
        }
        const ids skip{4 * step, 50 * step, none};
        ids all{3};
        ASSERT_EQ(unique_indices(all, connect, skip), 0);
        ASSERT_EQ(all.size(), 1U + 100U - 2U);
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      ids nodes{3};
                      const failing_call o = call_failing(
                          k, and_later, [&] { return unique_indices(nodes, connect, skip); });
                      EXPECT_FALSE(o.threw());
                      EXPECT_EQ(o.code, 0);
                      EXPECT_EQ(nodes[0], 3U);
                      // The IDs that were found are in the same order, none of them twice.
                      const unsigned int* next = all.begin();
                      for (const unsigned int v : nodes) {
                          next = std::find(next, std::as_const(all).end(), v);
                          if (next == all.end()) {
                              ADD_FAILURE() << v;
                              break;
                          }
                          ++next;
                      }
                      return o.failed;
                  }),
                  4U);
    }
}

TEST(index_arrays_memory, count_unique_indices_never_counts_too_many) {
    for (const unsigned int step : {1U, 20000003U}) {
        dense2D<unsigned int> connect(1, 100);
        for (unsigned int c = 0; c < 100; ++c) connect(0, c) = c * step;
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      const failing_call o =
                          call_failing(k, and_later, [&] { return count_unique_indices(connect); });
                      EXPECT_FALSE(o.threw());
                      EXPECT_GE(o.code, -1);
                      EXPECT_LE(o.code, 100);
                      EXPECT_TRUE(o.failed || o.code == 100);
                      return o.failed;
                  }),
                  2U);
    }
}

// Refuses blocks above `most` bytes while it lives, and remembers the largest that was asked for.
class block_limit {
public:
    explicit block_limit(std::size_t most) {
        most_ = most;
        largest_ = 0;
        set_memory_hook([](std::size_t bytes) noexcept {
            largest_ = std::max(largest_, bytes);
            return bytes <= most_;
        });
    }
    ~block_limit() { set_memory_hook(nullptr); }
    block_limit(const block_limit&) = delete;
    block_limit& operator=(const block_limit&) = delete;
    std::size_t largest() const { return largest_; }

private:
    static inline std::size_t most_ = 0;
    static inline std::size_t largest_ = 0;
};

TEST(index_arrays_memory, get_sorted_order_sizes_its_addresses_in_64_bits) {
    for (const unsigned int largest : {none - 1, none - 2, none - 3}) {
        ids order{1}, addresses{2};
        const block_limit limit(std::size_t{1} << 30);
        EXPECT_EQ(get_sorted_order(ids{largest, 0}, order, addresses), -199);
        EXPECT_GE(limit.largest(), (std::size_t{largest} + 3) * sizeof(unsigned int));
        EXPECT_TRUE(order.empty());
        EXPECT_TRUE(addresses.empty());
    }
}

TEST(index_arrays_memory, what_few_huge_ids_need_does_not_grow_with_the_ids) {
    const ids few{none - 1, 5, 0x80000000U, none - 2};
    const block_limit limit(std::size_t{1} << 30);
    ids nodes, a_of_b, b_of_a;
    EXPECT_EQ(unique_indices(nodes, few, ids()), 0);
    EXPECT_EQ(nodes.size(), 4U);
    EXPECT_EQ(get_IDs(few, few, a_of_b, b_of_a), 0);
    EXPECT_EQ(list(a_of_b), (id_vector{0, 1, 2, 3}));
    EXPECT_EQ(count_unique_indices(connectivity({{none - 1, 5, 0x80000000U}})), 3);
    EXPECT_LT(limit.largest(), std::size_t{1} << 16);
}

} // namespace
