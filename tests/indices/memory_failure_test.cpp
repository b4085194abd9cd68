// Memory failure at every allocation in turn: what is promised holds, nothing leaks (which the
// address sanitizer sees), nothing crashes. Where a single allocation fails and those after it do
// not, a call may get by and succeed; then its result is whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "core/memory_hook.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::connectivity;
using test::fail_each_allocation;
using test::list;
using test::memory_failure;
using test::none;

namespace {

using numbers = dense1D<double>;
using matrix = dense2D<double>;
using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;

template <class View> struct operation {
    std::string name;
    std::function<bool(View&)> run;
};

// Runs each operation on a view that `make` gives. On false the view and another one on its block
// show what they showed before, on true the view shows what it shows without failure; and in both
// cases it can be used on.
template <class View, class Make>
void expect_all_or_nothing(Make make, const std::vector<operation<View>>& operations) {
    for (const operation<View>& op : operations) {
        SCOPED_TRACE(op.name);
        View reached = make();
        ASSERT_TRUE(op.run(reached));
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            View view = make();
            const View other_view = view;
            const auto before = list(view);
            bool done = false;
            bool happened = false;
            {
                const memory_failure failure(k, and_later);
                done = op.run(view);
                happened = failure.happened();
            }
            EXPECT_TRUE(done || happened);
            EXPECT_EQ(list(view), done ? list(reached) : before);
            EXPECT_TRUE(done || list(other_view) == before);
            EXPECT_TRUE(op.run(view));
            return happened;
        });
        EXPECT_GE(nbr_failed, 2U);
    }
}

TEST(dense1D_memory, a_failed_operation_leaves_the_view_as_it_was) {
    const numbers source{7, 8, 9, 10, 11};
    expect_all_or_nothing<numbers>(
        [] {
            return numbers{1, 2, 3};
        },
        {{"resize", [](numbers& a) { return a.resize(20) && (a = 5.0, true); }},
         {"resize with a value", [](numbers& a) { return a.resize(a.size() + 20, 4.0); }},
         {"reserve", [](numbers& a) { return a.reserve(a.size() + 9, 1); }},
         {"push_back", [](numbers& a) { return a.push_back(4.0); }},
         {"push_back_n", [](numbers& a) { return a.push_back_n(4.0, 5); }},
         {"append", [&](numbers& a) { return a.append(source); }},
         {"append itself", [](numbers& a) { return a.append(a); }},
         {"copy", [&](numbers& a) { return a.copy(source); }},
         {"copy itself", [](numbers& a) { return a.copy(a); }},
         {"copy a part", [](numbers& a) { return a.copy(a.sub_vector(a.size() - 1, 1)); }}});
}

TEST(dense1D_memory, a_constructor_without_memory_makes_an_empty_view_that_works_later) {
    const std::vector<std::function<numbers()>> constructors{
        [] { return numbers(); }, [] { return numbers(5); }, [] { return numbers(5, 1.0); },
        [] {
            return numbers{1, 2, 3, 4, 5};
        }};
    for (const auto& construct : constructors) {
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      bool happened = false;
                      numbers a(2);
                      {
                          const memory_failure failure(k, and_later);
                          a = construct();
                          happened = failure.happened();
                      }
                      EXPECT_TRUE(a.empty() || a.size() == 5);
                      EXPECT_TRUE(a.empty() || !happened || !and_later);
                      EXPECT_TRUE(a.append(numbers{1, 2}));
                      EXPECT_TRUE(a.push_back(3.0));
                      EXPECT_EQ(a[a.size() - 1], 3.0);
                      return happened;
                  }),
                  2U);
    }
}

TEST(dense1D_memory, a_view_without_a_block_answers_everything) {
    numbers a;
    {
        const memory_failure failure(0, true);
        a = numbers();
    }
    const numbers b = a;
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(b.size(), 0U);
    EXPECT_EQ(b.capacity(), 0U);
    EXPECT_EQ(b.begin(), b.end());
    EXPECT_TRUE(b == a);
    EXPECT_TRUE(b.sub_vector(0, 0).empty());
    a = 3.0;
    EXPECT_TRUE(a.resize(0));
    EXPECT_TRUE(a.reserve(0, 1));
    EXPECT_TRUE(a.append(b));
    EXPECT_TRUE(a.copy(b));
    a.clear();
    a.clear_hard();
    EXPECT_TRUE(a.push_back(1.0));
    EXPECT_TRUE(numbers(b).copy(a));
}

TEST(dense1D_memory, wrap_without_memory_is_empty) {
    double memory[2] = {1, 2};
    const memory_failure failure(0, true);
    EXPECT_TRUE(numbers::wrap(memory, 2).empty());
    EXPECT_TRUE(matrix::wrap(memory, 2, 1).empty());
}

TEST(dense1D_memory, clear_hard_empties_even_without_memory_for_a_new_block) {
    numbers a{1, 2};
    const numbers other_view = a;
    {
        const memory_failure failure(0, true);
        a.clear_hard();
    }
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(list(other_view), (std::vector<double>{1, 2}));
}

TEST(dense2D_memory, a_failed_operation_leaves_the_view_as_it_was) {
    const matrix source = test::points({{7, 8}, {9, 10}, {11, 12}});
    const dense1D<unsigned int> chosen{2, 0, 2};
    expect_all_or_nothing<matrix>(
        [] {
            return test::points({{1, 2}, {3, 4}});
        },
        {{"resize to more rows", [](matrix& a) { return a.resize(a.rows() + 1, 2, 5.0); }},
         {"resize to more columns",
          [](matrix& a) { return a.resize(a.rows(), a.cols() + 5, 5.0); }},
         {"reserve", [](matrix& a) { return a.reserve(2, a.cols() + 9, 1); }},
         {"append", [&](matrix& a) { return a.append(source); }},
         {"append itself", [](matrix& a) { return a.append(a); }},
         {"append listed columns", [&](matrix& a) { return a.append(source, chosen); }},
         {"copy itself", [](matrix& a) { return a.copy(a); }},
         {"copy a part",
          [](matrix& a) { return a.copy(a.sub_matrix(a.rows() - 1, 0, 1, a.cols())); }}});
}

TEST(dense2D_memory, a_failed_copy_from_elsewhere_leaves_an_empty_array_and_the_other_views) {
    const matrix source = test::points({{7, 8}, {9, 10}, {11, 12}});
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  matrix a = test::points({{1, 2}, {3, 4}});
                  const matrix other_view = a;
                  bool done = false;
                  bool happened = false;
                  {
                      const memory_failure failure(k, and_later);
                      done = a.copy(source);
                      happened = failure.happened();
                  }
                  EXPECT_TRUE(done ? !happened || !and_later : happened);
                  EXPECT_EQ(a.rows(), done ? 2U : 0U);
                  EXPECT_EQ(a.cols(), done ? 3U : 0U);
                  EXPECT_EQ(other_view(1, 1), 4.0);
                  return happened;
              }),
              2U);
}

TEST(dense2D_memory, a_constructor_without_memory_makes_an_empty_array_that_works_later) {
    const std::vector<std::function<matrix()>> constructors{
        [] { return matrix(); }, [] { return matrix(2, 3); }, [] { return matrix(2, 3, 1.0); }};
    for (const auto& construct : constructors) {
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      bool happened = false;
                      matrix a(2, 1);
                      {
                          const memory_failure failure(k, and_later);
                          a = construct();
                          happened = failure.happened();
                      }
                      EXPECT_TRUE(a.empty() || (a.rows() == 2 && a.cols() == 3));
                      EXPECT_TRUE(a.empty() || !happened || !and_later);
                      EXPECT_TRUE(a.append(test::points({{4, 5}})));
                      EXPECT_EQ(a(1, a.cols() - 1), 5.0);
                      return happened;
                  }),
                  2U);
    }
}

TEST(dense2D_memory, an_array_without_a_block_answers_everything) {
    matrix a;
    {
        const memory_failure failure(0, true);
        a = matrix();
    }
    const matrix b = a;
    EXPECT_TRUE(b.empty());
    EXPECT_TRUE(b.as_vector().empty());
    EXPECT_TRUE(b.sub_matrix(0, 0, 0, 0).empty());
    EXPECT_TRUE(a.resize(0, 3));
    EXPECT_TRUE(a.append(b));
    EXPECT_TRUE(a.copy(b));
    a.clear();
    a.clear_hard();
    EXPECT_TRUE(a.resize(1, 1, 2.0));
    EXPECT_TRUE(matrix(b).resize(2, 2));
}

TEST(vector_num_memory, growth_of_a_list_of_arrays_loses_no_element) {
    const dense2D<unsigned int> mesh = connectivity({{1, 2}});
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  dense1D<dense2D<unsigned int>> meshes;
                  EXPECT_TRUE(meshes.push_back(mesh) && meshes.push_back(mesh));
                  std::size_t nbr_pushed = 0;
                  bool happened = false;
                  {
                      const memory_failure failure(k, and_later);
                      for (int n = 0; n < 6; ++n) nbr_pushed += meshes.push_back(mesh);
                      happened = failure.happened();
                  }
                  EXPECT_EQ(meshes.size(), 2 + nbr_pushed);
                  for (const dense2D<unsigned int>& m : meshes) EXPECT_EQ(m(1, 0), 2U);
                  return happened;
              }),
              2U);
}

// Outcome of a call under memory failure.
struct outcome {
    int code = 0;
    bool threw = false;
    bool happened = false;
};
// -199 where no memory came, 0 where none failed, either where one allocation failed alone.
void expect_code(const outcome& o, bool and_later) {
    EXPECT_TRUE(o.code == 0 || o.code == -199) << o.code;
    EXPECT_TRUE(o.code == -199 ? o.happened : !o.happened || !and_later || o.threw);
}
template <class Call> outcome run(std::size_t k, bool and_later, Call call) {
    outcome result;
    const memory_failure failure(k, and_later);
    try {
        result.code = call();
    } catch (const std::bad_alloc&) {
        result.threw = true;
    }
    result.happened = failure.happened();
    return result;
}

TEST(index_arrays_memory, permutation_gives_minus_199_and_leaves_the_values) {
    const ids perm{2, 0, 1};
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids values{10, 20, 30};
                  const outcome o = run(k, and_later, [&] { return permutation(values, perm); });
                  EXPECT_FALSE(o.threw);
                  expect_code(o, and_later);
                  EXPECT_EQ(list(values),
                            o.code == 0 ? (id_vector{20, 30, 10}) : (id_vector{10, 20, 30}));
                  return o.happened;
              }),
              2U);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  numbers values{1.5, 2.5, 3.5};
                  const outcome o = run(k, and_later, [&] { return permutation(values, perm); });
                  EXPECT_FALSE(o.threw);
                  expect_code(o, and_later);
                  EXPECT_EQ(values[0], o.code == 0 ? 2.5 : 1.5);
                  return o.happened;
              }),
              2U);
}

TEST(index_arrays_memory, get_sorted_order_gives_minus_199_and_empty_outputs) {
    const ids values{2, none, 0, 2};
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids order{9}, addresses{8};
                  const outcome o =
                      run(k, and_later, [&] { return get_sorted_order(values, order, addresses); });
                  EXPECT_FALSE(o.threw);
                  expect_code(o, and_later);
                  EXPECT_EQ(list(order), o.code == 0 ? (id_vector{2, 0, 3}) : id_vector{});
                  EXPECT_EQ(list(addresses), o.code == 0 ? (id_vector{0, 1, 1, 3}) : id_vector{});
                  return o.happened;
              }),
              2U);
}

// Every entry is what it should be or the sentinel, in an array of full size or none.
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
                  const outcome o =
                      run(k, and_later, [&] { return get_IDs(a, b, a_of_b, b_of_a); });
                  EXPECT_FALSE(o.threw);
                  EXPECT_EQ(o.code, 0);
                  expect_part_of(a_of_b, list(full_a_of_b));
                  expect_part_of(b_of_a, list(full_b_of_a));
                  return o.happened;
              }),
              4U);
}

TEST(index_arrays_memory, get_IDs_of_columns_gives_minus_199_and_no_wrong_match) {
    const auto a = connectivity({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    const auto b = connectivity({{5, 6, 4}, {1, 3, 2}});
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids a_of_b, b_of_a;
                  const outcome o =
                      run(k, and_later, [&] { return get_IDs(a, b, a_of_b, b_of_a, false); });
                  EXPECT_FALSE(o.threw);
                  expect_code(o, and_later);
                  expect_part_of(a_of_b, {1, 0});
                  expect_part_of(b_of_a, {1, 0, none});
                  if (o.code == 0) {
                      EXPECT_EQ(list(a_of_b), (id_vector{1, 0}));
                      EXPECT_EQ(list(b_of_a), (id_vector{1, 0, none}));
                  }
                  return o.happened;
              }),
              4U);
}

TEST(index_arrays_memory, unique_indices_leave_out_an_id_for_which_memory_fails) {
    // IDs close together, and so far apart that only a hash serves.
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
                      const outcome o =
                          run(k, and_later, [&] { return unique_indices(nodes, connect, skip); });
                      EXPECT_FALSE(o.threw);
                      EXPECT_EQ(o.code, 0);
                      EXPECT_EQ(nodes[0], 3U);
                      // Those that are there stand in the same order, and none is a second time.
                      const unsigned int* next = all.begin();
                      for (const unsigned int v : nodes) {
                          next = std::find(next, std::as_const(all).end(), v);
                          if (next == all.end()) {
                              ADD_FAILURE() << v;
                              break;
                          }
                          ++next;
                      }
                      return o.happened;
                  }),
                  4U);
    }
}

TEST(index_arrays_memory, count_unique_indices_never_counts_too_many) {
    for (const unsigned int step : {1U, 20000003U}) {
        dense2D<unsigned int> connect(1, 100);
        for (unsigned int c = 0; c < 100; ++c) connect(0, c) = c * step;
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      const outcome o =
                          run(k, and_later, [&] { return count_unique_indices(connect); });
                      EXPECT_FALSE(o.threw);
                      EXPECT_GE(o.code, -1);
                      EXPECT_LE(o.code, 100);
                      EXPECT_TRUE(o.happened || o.code == 100);
                      return o.happened;
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
