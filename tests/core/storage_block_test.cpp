#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/meshes.h"

using namespace kv7;
using test::connectivity;
using test::list;

namespace {

// Sets a flag of the test when it is destroyed.
class watched final : public math1::ref_counted {
public:
    explicit watched(bool& destroyed) : destroyed_(destroyed) {}
    ~watched() override { destroyed_ = true; }

private:
    bool& destroyed_;
};

TEST(ref_counted, the_last_owner_destroys_the_object_through_its_virtual_destructor) {
    bool destroyed = false;
    math1::ref_counted* const object = new watched(destroyed);
    object->add_owner();
    object->add_owner();
    object->drop_owner();
    EXPECT_FALSE(destroyed);
    object->drop_owner();
    EXPECT_TRUE(destroyed);
}

TEST(ref_counted, holds_a_count_of_32_bits_beside_its_virtual_table) {
    EXPECT_TRUE(std::has_virtual_destructor_v<math1::ref_counted>);
    EXPECT_LE(sizeof(math1::ref_counted), 2 * sizeof(void*));
}

TEST(Ptr, is_one_word_and_null_by_default) {
    EXPECT_EQ(sizeof(Ptr<watched>), sizeof(void*));
    const Ptr<watched> p;
    EXPECT_FALSE(p);
    EXPECT_EQ(p.get(), nullptr);
}

TEST(Ptr, shares_the_object_among_its_copies) {
    bool destroyed = false;
    {
        Ptr<watched> outer;
        {
            const Ptr<watched> inner(new watched(destroyed));
            EXPECT_TRUE(inner);
            EXPECT_EQ(&*inner, inner.get());
            outer = inner;
            EXPECT_TRUE(outer == inner);
        }
        EXPECT_FALSE(destroyed);
    }
    EXPECT_TRUE(destroyed);
}

TEST(Ptr, assigned_its_own_pointer_keeps_the_object) {
    bool destroyed = false;
    Ptr<watched> p(new watched(destroyed));
    p = p.get();
    EXPECT_FALSE(destroyed);
    const Ptr<watched>& same = p;
    p = same;
    EXPECT_FALSE(destroyed);
    p = nullptr;
    EXPECT_TRUE(destroyed);
}

TEST(Ptr, assigned_another_pointer_drops_the_old_object) {
    bool first_destroyed = false, second_destroyed = false;
    Ptr<watched> p(new watched(first_destroyed));
    p = new watched(second_destroyed);
    EXPECT_TRUE(first_destroyed);
    EXPECT_FALSE(second_destroyed);
}

TEST(vector_num, starts_without_memory) {
    const Ptr<vector_num<double>> block(new vector_num<double>);
    EXPECT_EQ(block->data(), nullptr);
    EXPECT_EQ(block->capacity(), 0U);
}

TEST(vector_num, has_the_alignment_8_when_none_is_named) {
    EXPECT_TRUE((std::is_same_v<vector_num<int>, vector_num<int, 8>>));
}

TEST(vector_num, elements_start_on_their_alignment) {
    for (std::size_t n = 1; n < 200; n += 7) {
        const auto address = [](const auto& view) {
            return reinterpret_cast<std::uintptr_t>(view.data());
        };
        EXPECT_EQ(address(dense1D<signed char>(n)) % 8, 0U);
        EXPECT_EQ(address(dense1D<double>(n)) % 8, 0U);
        EXPECT_EQ(address(dense1D<int, 64>(n)) % 64, 0U);
        EXPECT_EQ(address(dense1D<triad<double, unsigned int, unsigned int>>(n)) % 16, 0U);
    }
}

TEST(vector_num, aligned_elements_stay_aligned_and_keep_their_values_over_growth) {
    dense1D<int, 128> a;
    for (int v = 0; v < 5000; ++v) {
        ASSERT_TRUE(a.push_back(v));
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(a.data()) % 128, 0U);
    }
    for (int v = 0; v < 5000; ++v) ASSERT_EQ(a[static_cast<std::size_t>(v)], v);
}

TEST(vector_num, capacity_is_what_the_memory_really_holds) {
    dense1D<unsigned int> a(3);
    EXPECT_GE(a.capacity(), 3U);
    EXPECT_LE(a.capacity(), 4U); // 7 spare bytes hold one more
    const std::size_t capacity = a.capacity();
    ASSERT_TRUE(a.resize(capacity, 5));
    EXPECT_EQ(a.capacity(), capacity);
    EXPECT_EQ(a[capacity - 1], 5U);
}

// Elements that are themselves views: their owners must be counted right through growth, copies and
// destruction, or memory leaks or is used after it was freed (which the sanitizers see).
using array_list = dense1D<dense2D<unsigned int>>;

TEST(vector_num_of_arrays, elements_are_constructed_over_the_whole_capacity) {
    array_list a(3);
    ASSERT_EQ(a.size(), 3U);
    for (dense2D<unsigned int>& element : a) {
        EXPECT_TRUE(element.empty());
        EXPECT_TRUE(element.resize(2, 1, 7));
    }
    ASSERT_TRUE(a.resize(a.capacity()));
    EXPECT_TRUE(a[a.size() - 1].resize(1, 1, 3));
    EXPECT_EQ(a[2](1, 0), 7U);
}

TEST(vector_num_of_arrays, an_element_shares_the_block_of_what_was_pushed) {
    array_list a;
    dense2D<unsigned int> mesh = connectivity({{1, 2, 3}});
    ASSERT_TRUE(a.push_back(mesh));
    a[0](0, 0) = 9;
    EXPECT_EQ(mesh(0, 0), 9U);
}

TEST(vector_num_of_arrays, growth_keeps_the_elements_on_their_blocks) {
    array_list a;
    std::vector<dense2D<unsigned int>> kept;
    for (unsigned int k = 0; k < 100; ++k) {
        kept.push_back(connectivity({{k, k + 1}}));
        ASSERT_TRUE(a.push_back(kept.back()));
    }
    for (unsigned int k = 0; k < 100; ++k) {
        a[k](1, 0) = k + 1000;
        EXPECT_EQ(kept[k](1, 0), k + 1000);
    }
}

TEST(vector_num_of_arrays, elements_outlive_the_arrays_they_came_from_and_their_own_list) {
    dense2D<unsigned int> survivor;
    {
        array_list a;
        for (unsigned int k = 0; k < 10; ++k) ASSERT_TRUE(a.push_back(connectivity({{k}})));
        survivor = a[4];
    }
    EXPECT_EQ(list(survivor), (std::vector<std::vector<unsigned int>>{{4}}));
}

TEST(vector_num_of_arrays, copy_of_the_list_shares_the_elements) {
    array_list a, b;
    ASSERT_TRUE(a.push_back(connectivity({{1}})));
    ASSERT_TRUE(a.push_back(connectivity({{2}})));
    ASSERT_TRUE(b.copy(a));
    b[0](0, 0) = 7;
    EXPECT_EQ(a[0](0, 0), 7U);
    b[1].clear_hard();
    EXPECT_EQ(a[1](0, 0), 2U);
}

TEST(vector_num_of_arrays, append_of_itself_works) {
    array_list a;
    for (unsigned int k = 0; k < 3; ++k) ASSERT_TRUE(a.push_back(connectivity({{k}})));
    ASSERT_TRUE(a.append(a));
    ASSERT_TRUE(a.append(a.sub_vector(1, 2)));
    ASSERT_EQ(a.size(), 8U);
    for (unsigned int k = 0; k < 6; ++k) EXPECT_EQ(a[k](0, 0), k % 3);
    EXPECT_EQ(a[7](0, 0), 2U);
}

TEST(vector_num, a_block_may_be_shared_between_threads) {
    dense1D<double> a{1, 2, 3};
    const auto share = [&a] {
        for (int k = 0; k < 20000; ++k) {
            dense1D<double> view(a);
            dense1D<double> part = view.sub_vector(1, 1);
            view = part;
        }
    };
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k) threads.emplace_back(share);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(list(a), (std::vector<double>{1, 2, 3}));
    a.clear_hard();
}

TEST(triad, is_a_plain_record_compared_in_the_order_of_its_fields) {
    using record = triad<int, int, int>;
    EXPECT_TRUE(std::is_aggregate_v<record>);
    EXPECT_TRUE((record{1, 2, 3} == record{1, 2, 3}));
    EXPECT_TRUE((record{1, 2, 3} != record{1, 2, 4}));
    EXPECT_TRUE((record{1, 9, 9} < record{2, 0, 0}));
    EXPECT_TRUE((record{1, 1, 9} < record{1, 2, 0}));
    EXPECT_TRUE((record{1, 1, 1} < record{1, 1, 2}));
    EXPECT_FALSE((record{1, 1, 2} < record{1, 1, 2}));
    EXPECT_FALSE((record{2, 0, 0} < record{1, 9, 9}));
    EXPECT_FALSE((record{1, 2, 0} < record{1, 1, 9}));
}

} // namespace
