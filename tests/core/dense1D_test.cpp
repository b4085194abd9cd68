#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <vector>

#include "support/meshes.h"

using namespace kv7;
using test::list;

namespace {

using numbers = dense1D<double>;
using values = std::vector<double>;

constexpr std::size_t most = std::numeric_limits<std::size_t>::max();

// Elements from `first` on of a block of exactly `capacity` elements, numbered from 0.
numbers counted(std::size_t capacity) {
    numbers a(capacity);
    for (std::size_t i = 0; i < capacity; ++i) a[i] = static_cast<double>(i);
    return a;
}

TEST(dense1D, is_three_words) { EXPECT_EQ(sizeof(numbers), 3 * sizeof(void*)); }

TEST(dense1D, has_the_alignment_8_when_none_is_named) {
    EXPECT_TRUE((std::is_same_v<dense1D<double>, dense1D<double, 8>>));
}

TEST(dense1D, without_arguments_is_empty_and_can_grow_at_once) {
    numbers a;
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.size(), 0U);
    EXPECT_EQ(a.capacity(), 0U);
    EXPECT_EQ(a.begin(), a.end());
    EXPECT_TRUE(a.push_back(1.5));
    EXPECT_EQ(list(a), (values{1.5}));
}

TEST(dense1D, of_a_size_has_that_size_on_a_block_of_its_own) {
    numbers a(5), b(5);
    EXPECT_EQ(a.size(), 5U);
    EXPECT_EQ(a.capacity(), 5U);
    EXPECT_NE(a.data(), b.data());
}

TEST(dense1D, of_a_size_and_a_value_is_filled) {
    EXPECT_EQ(list(numbers(3, 2.5)), (values{2.5, 2.5, 2.5}));
}

TEST(dense1D, of_size_0_is_empty) {
    EXPECT_TRUE(numbers(0).empty());
    EXPECT_TRUE(numbers(0, 1.0).empty());
    EXPECT_TRUE(numbers(std::initializer_list<double>{}).empty());
}

TEST(dense1D, of_more_elements_than_memory_can_hold_is_empty) {
    EXPECT_TRUE(numbers(most).empty());
    EXPECT_TRUE(numbers(most / sizeof(double) + 1).empty());
    EXPECT_TRUE(numbers(most / sizeof(double)).empty());
    EXPECT_TRUE(numbers(most, 1.0).empty());
}

TEST(dense1D, from_braces_holds_these_elements) {
    EXPECT_EQ(list(numbers{3.0, 1.0, 2.0}), (values{3.0, 1.0, 2.0}));
    EXPECT_EQ(list(dense1D<unsigned int>{7}), (std::vector<unsigned int>{7}));
}

TEST(dense1D, constructed_from_another_shares_its_block) {
    numbers a{1, 2, 3};
    numbers b(a);
    b[1] = 9;
    EXPECT_EQ(list(a), (values{1, 9, 3}));
    EXPECT_EQ(a.data(), b.data());
}

TEST(dense1D, assigned_from_another_shares_its_block_and_leaves_its_own) {
    numbers a{1, 2, 3};
    numbers b{4, 5};
    numbers other_view_of_b(b);
    b = a;
    b[0] = 9;
    EXPECT_EQ(list(a), (values{9, 2, 3}));
    EXPECT_EQ(list(other_view_of_b), (values{4, 5}));
}

TEST(dense1D, assigned_to_itself_stays) {
    numbers a{1, 2, 3};
    const numbers& same = a;
    a = same;
    EXPECT_EQ(list(a), (values{1, 2, 3}));
}

TEST(dense1D, passed_by_value_shares) {
    const auto change = [](numbers view) { view[0] = 7; };
    numbers a{1, 2};
    change(a);
    EXPECT_EQ(list(a), (values{7, 2}));
}

TEST(dense1D, elements_outlive_the_view_that_made_them) {
    numbers b;
    {
        numbers a{1, 2, 3};
        b = a.sub_vector(1, 2);
    }
    EXPECT_EQ(list(b), (values{2, 3}));
}

TEST(dense1D, a_const_view_gives_const_elements) {
    const numbers a{1, 2};
    EXPECT_TRUE((std::is_same_v<decltype(a[0]), const double&>));
    EXPECT_TRUE((std::is_same_v<decltype(a.begin()), const double*>));
    EXPECT_TRUE((std::is_same_v<decltype(a.end()), const double*>));
    EXPECT_TRUE((std::is_same_v<decltype(a.data()), const double*>));
}

TEST(dense1D, assignment_of_a_value_fills_what_is_seen_and_returns_the_value) {
    numbers a = counted(4);
    numbers middle = a.sub_vector(1, 2);
    EXPECT_EQ(middle = 8.0, 8.0);
    EXPECT_EQ(list(a), (values{0, 8, 8, 3}));
    EXPECT_EQ(middle.size(), 2U);
}

TEST(dense1D, assignment_of_an_own_element_fills_with_its_old_value) {
    numbers a = counted(4);
    a = a[1];
    EXPECT_EQ(list(a), (values{1, 1, 1, 1}));
    a = counted(4);
    a = a[0];
    EXPECT_EQ(list(a), (values{0, 0, 0, 0}));
    a = counted(4);
    a = a[3];
    EXPECT_EQ(list(a), (values{3, 3, 3, 3}));
}

TEST(dense1D, braces_around_one_value_or_none_fill_and_around_more_make_a_new_array) {
    numbers a = counted(3);
    const numbers other_view = a;
    a = {7.0};
    EXPECT_EQ(list(other_view), (values{7, 7, 7}));
    a = {};
    EXPECT_EQ(list(other_view), (values{0, 0, 0}));
    a = {1.0, 2.0};
    EXPECT_EQ(list(a), (values{1, 2}));
    EXPECT_EQ(list(other_view), (values{0, 0, 0}));
}

TEST(dense1D, equality_is_by_value_and_order_and_size) {
    EXPECT_TRUE((numbers{1, 2} == numbers{1, 2}));
    EXPECT_FALSE((numbers{1, 2} == numbers{2, 1}));
    EXPECT_FALSE((numbers{1, 2} == numbers{1, 2, 3}));
    EXPECT_FALSE((numbers{1, 2, 3} == numbers{1, 2}));
    EXPECT_TRUE(numbers() == numbers());
    EXPECT_TRUE(numbers() == numbers(3).sub_vector(2, 0));
}

TEST(dense1D, positive_and_negative_zero_are_equal) {
    EXPECT_TRUE((numbers{0.0, -0.0} == numbers{-0.0, 0.0}));
}

TEST(dense1D, what_is_not_a_number_equals_nothing_not_even_itself) {
    const numbers a{std::numeric_limits<double>::quiet_NaN()};
    EXPECT_FALSE(a == a);
    EXPECT_FALSE(a == numbers{0.0});
}

TEST(dense1D, copy_gives_elements_of_its_own) {
    numbers a{1, 2, 3};
    numbers b;
    EXPECT_TRUE(b.copy(a));
    b[0] = 9;
    EXPECT_EQ(list(a), (values{1, 2, 3}));
    EXPECT_EQ(list(b), (values{9, 2, 3}));
}

TEST(dense1D, copy_uses_the_block_again_when_it_has_the_capacity) {
    numbers a{1, 2};
    numbers b = counted(4);
    numbers other_view = b;
    EXPECT_TRUE(b.copy(a));
    EXPECT_EQ(b.data(), other_view.data());
    EXPECT_EQ(list(b), (values{1, 2}));
    EXPECT_EQ(list(other_view), (values{1, 2, 2, 3}));
}

TEST(dense1D, copy_beyond_the_capacity_keeps_the_views_on_one_block) {
    numbers a = counted(6);
    numbers b{7, 8};
    numbers other_view = b;
    EXPECT_TRUE(b.copy(a));
    EXPECT_EQ(list(b), (values{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(b.data(), other_view.data());
    EXPECT_EQ(list(other_view), (values{0, 1}));
}

TEST(dense1D, copy_into_a_part_writes_from_the_first_element_of_the_part) {
    numbers a = counted(6);
    numbers part = a.sub_vector(2, 0);
    EXPECT_TRUE(part.copy(numbers{8, 9}));
    EXPECT_EQ(list(a), (values{0, 1, 8, 9, 4, 5}));
    EXPECT_EQ(part.size(), 2U);
}

TEST(dense1D, copy_from_a_view_of_the_same_block_leaves_the_source_unchanged) {
    numbers a = counted(5);
    numbers front = a.sub_vector(0, 3);
    const numbers back = a.sub_vector(2, 3);
    EXPECT_TRUE(front.copy(back));
    EXPECT_EQ(list(front), (values{2, 3, 4}));
    EXPECT_EQ(list(back), (values{2, 3, 4}));
    EXPECT_EQ(list(a), (values{0, 1, 2, 3, 4}));
    front[0] = 99;
    EXPECT_EQ(list(a), (values{0, 1, 2, 3, 4}));
}

TEST(dense1D, copy_of_itself_keeps_the_values_and_parts_from_the_other_views) {
    numbers a{1, 2, 3};
    numbers other_view = a;
    EXPECT_TRUE(a.copy(a));
    EXPECT_EQ(list(a), (values{1, 2, 3}));
    a[0] = 9;
    EXPECT_EQ(list(other_view), (values{1, 2, 3}));
}

TEST(dense1D, copy_of_an_empty_view_empties) {
    numbers a{1, 2, 3};
    EXPECT_TRUE(a.copy(numbers()));
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.capacity(), 3U);
}

TEST(dense1D, resize_keeps_the_first_elements) {
    numbers a{1, 2, 3};
    EXPECT_TRUE(a.resize(2));
    EXPECT_EQ(list(a), (values{1, 2}));
    EXPECT_TRUE(a.resize(50));
    EXPECT_EQ(a.size(), 50U);
    EXPECT_EQ(a[0], 1);
    EXPECT_EQ(a[1], 2);
}

TEST(dense1D, resize_grows_by_what_is_asked_for_and_no_more) {
    numbers a(10);
    EXPECT_TRUE(a.resize(11));
    EXPECT_EQ(a.capacity(), 11U);
    numbers b;
    EXPECT_TRUE(b.resize(1));
    EXPECT_EQ(b.capacity(), 2U);
}

TEST(dense1D, resize_with_a_value_fills_only_beyond_the_old_size) {
    numbers a{1, 2};
    EXPECT_TRUE(a.resize(4, 7.0));
    EXPECT_EQ(list(a), (values{1, 2, 7, 7}));
    EXPECT_TRUE(a.resize(1, 8.0));
    EXPECT_EQ(list(a), (values{1}));
    EXPECT_TRUE(a.resize(3, 9.0));
    EXPECT_EQ(list(a), (values{1, 9, 9}));
}

TEST(dense1D, resize_with_an_own_element_takes_its_value_before_the_block_moves) {
    numbers a{1, 2};
    EXPECT_TRUE(a.resize(1000, a[1]));
    EXPECT_EQ(a[1], 2);
    EXPECT_EQ(a[2], 2);
    EXPECT_EQ(a[999], 2);
}

TEST(dense1D, resize_of_a_part_writes_over_what_follows_in_the_block) {
    numbers a = counted(4);
    numbers part = a.sub_vector(1, 1);
    EXPECT_TRUE(part.resize(3, 9.0));
    EXPECT_EQ(list(a), (values{0, 1, 9, 9}));
}

TEST(dense1D, resize_to_a_size_that_wraps_fails_and_changes_nothing) {
    numbers a{1, 2, 3};
    numbers part = a.sub_vector(1, 2);
    for (const std::size_t n : {most, most - 1, most / 8, most / 8 + 1}) {
        EXPECT_FALSE(a.resize(n));
        EXPECT_FALSE(a.resize(n, 1.0));
        EXPECT_FALSE(part.resize(n));
        EXPECT_FALSE(a.reserve(n, 1));
        EXPECT_FALSE(part.reserve(n, 1));
        EXPECT_FALSE(a.push_back_n(1.0, n));
    }
    EXPECT_EQ(list(a), (values{1, 2, 3}));
    EXPECT_EQ(list(part), (values{2, 3}));
    EXPECT_EQ(a.capacity(), 3U);
}

TEST(dense1D, a_growth_factor_whose_product_wraps_fails_and_changes_nothing) {
    numbers a{1, 2, 3};
    EXPECT_FALSE(a.reserve(4, most));
    EXPECT_FALSE(a.reserve(4, most / 3 + 1));
    EXPECT_EQ(list(a), (values{1, 2, 3}));
    EXPECT_EQ(a.capacity(), 3U);
}

TEST(dense1D, reserve_makes_room_without_changing_the_size) {
    numbers a{1, 2};
    EXPECT_TRUE(a.reserve(9, 1));
    EXPECT_EQ(list(a), (values{1, 2}));
    EXPECT_EQ(a.capacity(), 9U);
    EXPECT_TRUE(a.reserve(3, 1));
    EXPECT_EQ(a.capacity(), 9U);
}

TEST(dense1D, reserve_grows_by_its_factor_at_least) {
    numbers a(10);
    EXPECT_TRUE(a.reserve(11, 3));
    EXPECT_EQ(a.capacity(), 30U);
}

TEST(dense1D, reserve_counts_from_the_first_element_of_a_part) {
    numbers a = counted(6);
    numbers part = a.sub_vector(4, 2);
    EXPECT_EQ(part.capacity(), 2U);
    EXPECT_TRUE(part.reserve(5, 1));
    EXPECT_EQ(part.capacity(), 5U);
    EXPECT_EQ(a.capacity(), 9U);
    EXPECT_EQ(list(a), (values{0, 1, 2, 3, 4, 5}));
}

TEST(dense1D, push_back_doubles_a_full_block) {
    numbers a(10, 0.0);
    EXPECT_TRUE(a.push_back(1.0));
    EXPECT_EQ(a.capacity(), 20U);
    EXPECT_EQ(a.size(), 11U);
    EXPECT_EQ(a[10], 1.0);
}

TEST(dense1D, push_back_starts_with_room_for_two) {
    numbers a;
    a.push_back(1.0);
    EXPECT_EQ(a.capacity(), 2U);
}

TEST(dense1D, push_back_of_an_own_element_works_while_the_block_moves) {
    numbers a{1, 2};
    for (int k = 0; k < 100; ++k) EXPECT_TRUE(a.push_back(a[static_cast<std::size_t>(k)]));
    for (std::size_t k = 0; k < 100; ++k) EXPECT_EQ(a[k + 2], a[k]);
}

TEST(dense1D, push_back_on_a_part_writes_over_what_follows_in_the_block) {
    numbers a = counted(4);
    numbers part = a.sub_vector(0, 2);
    EXPECT_TRUE(part.push_back(9));
    EXPECT_EQ(list(a), (values{0, 1, 9, 3}));
}

TEST(dense1D, push_back_n_appends_copies) {
    numbers a{1};
    EXPECT_TRUE(a.push_back_n(5.0, 3));
    EXPECT_EQ(list(a), (values{1, 5, 5, 5}));
    EXPECT_TRUE(a.push_back_n(6.0, 0));
    EXPECT_EQ(a.size(), 4U);
    EXPECT_TRUE(a.push_back_n(a[0], 1000));
    EXPECT_EQ(a[1003], 1.0);
}

TEST(dense1D, append_adds_all_elements) {
    numbers a{1, 2};
    EXPECT_TRUE(a.append(numbers{3, 4, 5}));
    EXPECT_EQ(list(a), (values{1, 2, 3, 4, 5}));
    EXPECT_TRUE(a.append(numbers()));
    EXPECT_EQ(a.size(), 5U);
}

TEST(dense1D, append_reserves_the_old_size_and_the_larger_of_old_and_appended) {
    numbers a(10);
    EXPECT_TRUE(a.append(numbers(3)));
    EXPECT_EQ(a.size(), 13U);
    EXPECT_EQ(a.capacity(), 20U);
    numbers b(3);
    EXPECT_TRUE(b.append(numbers(10)));
    EXPECT_EQ(b.size(), 13U);
    EXPECT_EQ(b.capacity(), 13U);
}

TEST(dense1D, append_of_itself_doubles_the_sequence) {
    numbers a{1, 2, 3};
    EXPECT_TRUE(a.append(a));
    EXPECT_EQ(list(a), (values{1, 2, 3, 1, 2, 3}));
    EXPECT_TRUE(a.append(a));
    EXPECT_EQ(list(a), (values{1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3}));
}

TEST(dense1D, append_of_an_own_part_takes_it_from_where_the_block_has_moved) {
    numbers a{1, 2, 3};
    EXPECT_TRUE(a.append(a.sub_vector(1, 2)));
    EXPECT_EQ(list(a), (values{1, 2, 3, 2, 3}));
    EXPECT_TRUE(a.append(a.sub_vector(4, 1)));
    EXPECT_EQ(list(a), (values{1, 2, 3, 2, 3, 3}));
}

TEST(dense1D, sub_vector_is_a_view_on_the_same_block) {
    numbers a = counted(5);
    numbers part = a.sub_vector(1, 3);
    EXPECT_EQ(list(part), (values{1, 2, 3}));
    EXPECT_EQ(part.data(), a.data() + 1);
    part[0] = 9;
    EXPECT_EQ(a[1], 9);
    EXPECT_EQ(list(part.sub_vector(1, 1)), (values{2}));
    const numbers& constant = a;
    EXPECT_EQ(list(constant.sub_vector(3, 2)), (values{3, 4}));
    EXPECT_TRUE(a.sub_vector(5, 0).empty());
}

TEST(dense1D, a_sub_vector_keeps_reading_after_another_view_has_moved_the_block) {
    numbers a = counted(4);
    const numbers part = a.sub_vector(1, 2);
    const double* const before = a.data();
    for (double v = 4; v < 500; ++v) ASSERT_TRUE(a.push_back(v));
    EXPECT_NE(a.data(), before);
    EXPECT_EQ(part.data(), a.data() + 1);
    EXPECT_EQ(list(part), (values{1, 2}));
}

TEST(dense1D, clear_keeps_block_and_place) {
    numbers a = counted(4);
    numbers part = a.sub_vector(2, 2);
    part.clear();
    EXPECT_TRUE(part.empty());
    EXPECT_EQ(part.capacity(), 2U);
    part.push_back(9);
    EXPECT_EQ(list(a), (values{0, 1, 9, 3}));
}

TEST(dense1D, clear_and_resize_do_not_release_memory) {
    numbers a(100, 1.0);
    const double* const memory = a.data();
    a.clear();
    EXPECT_EQ(a.capacity(), 100U);
    EXPECT_TRUE(a.resize(60));
    EXPECT_EQ(a.data(), memory);
    EXPECT_EQ(a[59], 1.0);
    EXPECT_EQ(a.capacity(), 100U);
}

TEST(dense1D, clear_and_resize_with_a_value_sets_every_element) {
    numbers a{1, 2, 3};
    a.clear();
    EXPECT_TRUE(a.resize(4, 7.0));
    EXPECT_EQ(list(a), (values{7, 7, 7, 7}));
}

TEST(dense1D, clear_hard_gives_up_the_share_and_other_views_stay_valid) {
    numbers a = counted(3);
    numbers other_view = a;
    a.clear_hard();
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.capacity(), 0U);
    EXPECT_EQ(list(other_view), (values{0, 1, 2}));
    EXPECT_TRUE(a.push_back(9));
    EXPECT_EQ(list(other_view), (values{0, 1, 2}));
}

TEST(dense1D, wrap_is_a_view_on_the_callers_memory) {
    double memory[4] = {1, 2, 3, 4};
    numbers a = numbers::wrap(memory, 3);
    EXPECT_EQ(a.data(), memory);
    EXPECT_EQ(a.capacity(), 3U);
    a[0] = 9;
    EXPECT_EQ(memory[0], 9);
    a.clear();
    EXPECT_TRUE(a.push_back(8));
    EXPECT_EQ(memory[0], 8);
}

TEST(dense1D, wrap_is_left_behind_on_growth_and_the_callers_memory_stays_as_it_was) {
    double memory[3] = {1, 2, 3};
    {
        numbers a = numbers::wrap(memory, 3);
        numbers part = a.sub_vector(1, 2);
        EXPECT_TRUE(a.push_back(4));
        EXPECT_NE(a.data(), memory);
        EXPECT_EQ(part.data(), a.data() + 1);
        a[0] = 9;
        // What the block owns now is moved and freed like any other.
        for (double v = 5; v < 100; ++v) EXPECT_TRUE(a.push_back(v));
        EXPECT_EQ(a[98], 99);
    }
    EXPECT_EQ(memory[0], 1);
    EXPECT_EQ(memory[1], 2);
    EXPECT_EQ(memory[2], 3);
}

TEST(dense1D, wrap_of_nothing_is_an_empty_view_that_can_grow) {
    numbers a = numbers::wrap(nullptr, 0);
    EXPECT_TRUE(a.empty());
    EXPECT_TRUE(a.push_back(1));
    EXPECT_EQ(list(a), (values{1}));
}

TEST(dense1D, copy_into_a_wrapped_view_reaches_the_callers_memory_while_it_has_room) {
    double memory[3] = {0, 0, 0};
    numbers a = numbers::wrap(memory, 3);
    EXPECT_TRUE(a.copy(numbers{1, 2, 3}));
    EXPECT_EQ(memory[2], 3);
    EXPECT_TRUE(a.copy(numbers{5, 6, 7, 8}));
    EXPECT_EQ(memory[0], 1);
    EXPECT_EQ(list(a), (values{5, 6, 7, 8}));
}

template <class T> void expect_works_for(T one, T two) {
    dense1D<T> a;
    for (int k = 0; k < 20; ++k) {
        ASSERT_TRUE(a.push_back(one));
        ASSERT_TRUE(a.push_back(two));
    }
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a.data()) % 8, 0U);
    EXPECT_TRUE(a[38] == one && a[39] == two);
    EXPECT_TRUE(a.append(a.sub_vector(1, 1)));
    EXPECT_TRUE(a[40] == two);
    dense1D<T> b;
    EXPECT_TRUE(b.copy(a));
    EXPECT_TRUE(a == b);
}

TEST(dense1D, holds_every_element_type_of_the_library) {
    using pair = std::pair<unsigned int, unsigned int>;
    expect_works_for<unsigned int>(1, 2);
    expect_works_for<int>(-1, 2);
    expect_works_for<double>(0.5, 2);
    expect_works_for<std::uint64_t>(1, ~std::uint64_t{0});
    expect_works_for<short>(-1, 2);
    expect_works_for<signed char>(-1, 2);
    expect_works_for<pair>({1, 2}, {3, 4});
    expect_works_for<triad<unsigned int, std::uint64_t, std::uint64_t>>({1, 2, 3}, {4, 5, 6});
    expect_works_for<triad<double, unsigned int, unsigned int>>({1.5, 2, 3}, {4.5, 5, 6});
    expect_works_for<triad<pair, std::uint64_t, std::uint64_t>>({{1, 2}, 2, 3}, {{3, 4}, 5, 6});
    expect_works_for<triad<std::uint64_t, std::uint64_t, std::uint64_t>>({1, 2, 3}, {4, 5, 6});
}

} // namespace
