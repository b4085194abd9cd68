// The containers with every allocation failing in turn: what is promised holds, nothing leaks
// (which the address sanitizer sees), nothing crashes. If only one allocation fails, a call may
// still succeed; then its result is complete.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/containers.h"

using namespace kv7;
using test::call_failing;
using test::connectivity;
using test::fail_each_allocation;
using test::failing_call;
using test::list;
using test::memory_failure;

namespace {

using numbers = dense1D<double>;
using matrix = dense2D<double>;

template <class View> struct operation {
    std::string name;
    std::function<bool(View&)> run;
};

// Runs each operation on a view that `make` returns. If it returns false, the view and another one
// on the same block are unchanged; if true, the view has the contents that it gets without failure.
// In both cases it can be used afterwards.
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
            const failing_call call = call_failing(k, and_later, [&] { return op.run(view); });
            EXPECT_FALSE(call.threw());
            const bool done = call.code != 0;
            EXPECT_TRUE(done || call.failed);
            EXPECT_EQ(list(view), done ? list(reached) : before);
            EXPECT_TRUE(done || list(other_view) == before);
            EXPECT_TRUE(op.run(view));
            return call.failed;
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
                      numbers a(2);
                      const failing_call call =
                          call_failing(k, and_later, [&] { a = construct(); });
                      EXPECT_FALSE(call.threw());
                      EXPECT_TRUE(a.empty() || a.size() == 5);
                      EXPECT_TRUE(a.empty() || !call.failed || !and_later);
                      EXPECT_TRUE(a.append(numbers{1, 2}));
                      EXPECT_TRUE(a.push_back(3.0));
                      EXPECT_EQ(a[a.size() - 1], 3.0);
                      return call.failed;
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
                  const failing_call call =
                      call_failing(k, and_later, [&] { return a.copy(source); });
                  EXPECT_FALSE(call.threw());
                  const bool done = call.code != 0;
                  EXPECT_TRUE(done ? !call.failed || !and_later : call.failed);
                  EXPECT_EQ(a.rows(), done ? 2U : 0U);
                  EXPECT_EQ(a.cols(), done ? 3U : 0U);
                  EXPECT_EQ(other_view(1, 1), 4.0);
                  return call.failed;
              }),
              2U);
}

TEST(dense2D_memory, a_constructor_without_memory_makes_an_empty_array_that_works_later) {
    const std::vector<std::function<matrix()>> constructors{
        [] { return matrix(); }, [] { return matrix(2, 3); }, [] { return matrix(2, 3, 1.0); }};
    for (const auto& construct : constructors) {
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      matrix a(2, 1);
                      const failing_call call =
                          call_failing(k, and_later, [&] { a = construct(); });
                      EXPECT_FALSE(call.threw());
                      EXPECT_TRUE(a.empty() || (a.rows() == 2 && a.cols() == 3));
                      EXPECT_TRUE(a.empty() || !call.failed || !and_later);
                      EXPECT_TRUE(a.append(test::points({{4, 5}})));
                      EXPECT_EQ(a(1, a.cols() - 1), 5.0);
                      return call.failed;
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
                  const failing_call call = call_failing(k, and_later, [&] {
                      for (int n = 0; n < 6; ++n) nbr_pushed += meshes.push_back(mesh);
                  });
                  EXPECT_FALSE(call.threw());
                  EXPECT_EQ(meshes.size(), 2 + nbr_pushed);
                  for (const dense2D<unsigned int>& m : meshes) EXPECT_EQ(m(1, 0), 2U);
                  return call.failed;
              }),
              2U);
}

} // namespace
