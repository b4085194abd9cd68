#include "formats/growing_arrays.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

template <class T> bool append(const std::vector<T>& column, dense2D<T>& array) {
    return append_column(column.data(), column.size(), array);
}

TEST(append_column, columns_follow_each_other) {
    dense2D<unsigned int> array;
    for (unsigned int k = 0; k < 100; ++k) {
        ASSERT_TRUE(append<unsigned int>({k, k + 1}, array));
    }
    ASSERT_EQ(array.cols(), 100U);
    ASSERT_EQ(array.rows(), 2U);
    for (unsigned int k = 0; k < 100; ++k) {
        EXPECT_EQ(array(0, k), k);
        EXPECT_EQ(array(1, k), k + 1);
    }
}

TEST(append_column, a_column_of_another_size_is_refused) {
    dense2D<double> array(4, 2, 1.0);
    EXPECT_FALSE(append<double>({1, 2, 3}, array));
    EXPECT_EQ(list(array), list(dense2D<double>(4, 2, 1.0)));
}

TEST(append_column, an_empty_column_is_none_and_fits_everywhere) {
    dense2D<double> array(4, 2, 1.0);
    EXPECT_TRUE(append<double>({}, array));
    EXPECT_EQ(array.cols(), 2U);
    dense2D<double> nothing;
    EXPECT_TRUE(append<double>({}, nothing));
    EXPECT_TRUE(nothing.empty());
}

TEST(append_column, growth_keeps_the_leading_dimension_and_the_cells_between_columns) {
    dense2D<double> parent(4, 2, 9.0);
    dense2D<double> view = parent.sub_matrix(1, 0, 2, 2);
    for (int k = 0; k < 10; ++k) {
        ASSERT_TRUE(append<double>({1.0 * k, 2.0 * k}, view));
    }
    EXPECT_EQ(view.cols(), 12U);
    EXPECT_EQ(view(0, 1), 9);
    EXPECT_EQ(view(1, 11), 18);
    EXPECT_EQ(view.ld(), 4U);
    EXPECT_EQ(parent(0, 0), 9);
    EXPECT_EQ(parent(3, 1), 9);
}

TEST(place_by_id, columns_that_are_skipped_hold_zeros) {
    dense2D<double> pos;
    ASSERT_TRUE(place_by_id(pos, 5));
    ASSERT_EQ(pos.cols(), 5U);
    ASSERT_EQ(pos.rows(), 3U);
    for (std::size_t c = 0; c < 4; ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_EQ(pos(r, c), 0);
    }
    // Room for 8 columns is there.
    const double* const block = pos.column(0);
    ASSERT_TRUE(place_by_id(pos, 8));
    EXPECT_EQ(pos.column(0), block);
    EXPECT_EQ(pos.cols(), 8U);
}

TEST(place_by_id, columns_that_are_there_stay) {
    dense2D<double> pos = points({{1, 2, 3}, {4, 5, 6}});
    ASSERT_TRUE(place_by_id(pos, 1));
    EXPECT_EQ(list(pos), list(points({{1, 2, 3}, {4, 5, 6}})));
    ASSERT_TRUE(place_by_id(pos, 100));
    EXPECT_EQ(pos.cols(), 100U);
    EXPECT_EQ(pos(2, 1), 6);
    EXPECT_EQ(pos(2, 98), 0);
}

TEST(place_by_id, what_the_machine_has_no_memory_for_is_refused_at_once) {
    for (const unsigned int id : {4294967295U, 2147483647U}) {
        const std::uint64_t memory = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                                     static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
        if (24 * std::uint64_t{id} <= memory) GTEST_SKIP() << "it has that much";
        dense2D<double> pos = points({{1, 2, 3}});
        EXPECT_FALSE(place_by_id(pos, id));
        EXPECT_EQ(list(pos), list(points({{1, 2, 3}})));
    }
}

// Values, shape and capacity.
template <class T> void expect_same_array(const dense2D<T>& array, const dense2D<T>& expected) {
    EXPECT_EQ(list(array), list(expected));
    EXPECT_EQ(array.rows(), expected.rows());
    EXPECT_EQ(array.ld(), expected.ld());
    EXPECT_EQ(array.capacity(), expected.capacity());
}

TEST(appended_columns, as_columns_appended_one_by_one) {
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        random_source random(seed);
        dense2D<double> expected;
        dense2D<double> array;
        if (random.one_in(2)) {
            expected = dense2D<double>(5, 3, 7.0).sub_matrix(1, 0, 1 + random.below(3), 3);
            array = dense2D<double>(5, 3, 7.0).sub_matrix(1, 0, expected.rows(), 3);
        }
        {
            appended_columns<double> columns(array);
            for (std::size_t n = random.below(60); n > 0; --n) {
                const std::size_t rows = random.one_in(4) ? random.below(4) : 3;
                const auto v = static_cast<double>(n);
                const double column[] = {v, 2 * v, 3 * v};
                EXPECT_EQ(columns.append(column, rows), append_column(column, rows, expected));
                EXPECT_EQ(columns.size(), expected.cols());
            }
        }
        expect_same_array(array, expected);
    }
}

} // namespace
