#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "support/meshes.h"

using namespace kv7;

namespace {

template <class T> void expect_plain(std::size_t bytes) {
    EXPECT_EQ(sizeof(T), bytes);
    EXPECT_TRUE(std::is_trivially_copyable_v<T>);
    EXPECT_TRUE(std::is_aggregate_v<T>);
}

TEST(fixed_size, values_are_exactly_their_numbers) {
    expect_plain<vector_fixed<double, 2>>(16);
    expect_plain<vector_fixed<double, 3>>(24);
    expect_plain<vector_fixed<unsigned int, 5>>(20);
    expect_plain<matrix_fixed<double, 2, 2>>(32);
    expect_plain<matrix_fixed<double, 3, 3>>(72);
    expect_plain<matrix_fixed<double, 3, 2>>(48);
    expect_plain<symmetric_fixed<double, 2>>(24);
    expect_plain<symmetric_fixed<double, 3>>(48);
}

TEST(fixed_size, empty_braces_give_zeros) {
    const vector_fixed<double, 3> v{};
    const matrix_fixed<double, 3, 2> m{};
    const symmetric_fixed<double, 3> s{};
    for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(v[k], 0.0);
    for (std::size_t k = 0; k < 6; ++k) {
        EXPECT_EQ(m[k], 0.0);
        EXPECT_EQ(s[k], 0.0);
    }
}

TEST(fixed_size, a_vector_is_initialised_and_read_in_order) {
    vector_fixed<double, 3> p{1.0, 2.0, 3.0};
    EXPECT_EQ(p[0], 1.0);
    EXPECT_EQ(p[2], 3.0);
    EXPECT_EQ(p.data()[1], 2.0);
    p[1] = 7.0;
    const vector_fixed<double, 3> q = p;
    p[1] = 8.0;
    EXPECT_EQ(q[1], 7.0);
}

TEST(fixed_size, a_matrix_stands_column_by_column) {
    matrix_fixed<int, 3, 2> m{1, 2, 3, 4, 5, 6};
    for (std::size_t j = 0; j < 2; ++j) {
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(m(i, j), m[j * 3 + i]);
            EXPECT_EQ(m(i, j), static_cast<int>(j * 3 + i + 1));
        }
    }
    m(0, 1) = 9;
    EXPECT_EQ(m.data()[3], 9);
}

TEST(fixed_size, a_symmetric_matrix_packs_its_lower_triangle_row_by_row) {
    const symmetric_fixed<int, 2> two{1, 2, 3};
    EXPECT_EQ(two(0, 0), 1);
    EXPECT_EQ(two(1, 0), 2);
    EXPECT_EQ(two(1, 1), 3);
    symmetric_fixed<int, 3> three{1, 2, 3, 4, 5, 6};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j <= i; ++j) EXPECT_EQ(three(i, j), three[i * (i + 1) / 2 + j]);
    }
    EXPECT_EQ(three(0, 0), 1);
    EXPECT_EQ(three(1, 1), 3);
    EXPECT_EQ(three(2, 2), 6);
}

TEST(fixed_size, a_symmetric_matrix_is_mirrored_above_the_diagonal) {
    symmetric_fixed<int, 3> s{1, 2, 3, 4, 5, 6};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) EXPECT_EQ(&s(i, j), &s(j, i));
    }
    s(0, 2) = 9;
    EXPECT_EQ(s(2, 0), 9);
}

TEST(fixed_size, a_column_of_a_metric_field_is_byte_for_byte_a_symmetric_matrix) {
    const dense2D<double> field = test::points({{1, 2, 3, 4, 5, 6}});
    const symmetric_fixed<double, 3> metric{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(std::memcmp(field.column(0), &metric, sizeof metric), 0);
}

TEST(fixed_size, values_can_be_used_in_constant_expressions) {
    constexpr vector_fixed<int, 2> v{3, 4};
    constexpr matrix_fixed<int, 2, 2> m{1, 2, 3, 4};
    constexpr symmetric_fixed<int, 2> s{1, 2, 3};
    static_assert(v[1] == 4 && m(0, 1) == 3 && s(0, 1) == 2);
}

} // namespace
