// How many elements of a deck are foreseen, and that its arrays fit them.
#include "formats/element_forecast.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>

#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "tessmaker/mesh_file.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(element_forecast, goes_by_the_last_part_that_was_read) {
    element_forecast forecast;
    EXPECT_FALSE(forecast.is_due(24999));
    EXPECT_TRUE(forecast.is_due(25000));
    EXPECT_EQ(forecast.look({0, 1000000, 5000000}, 25000, 25000, 32768), 0U);
    EXPECT_FALSE(forecast.is_due(49999));
    // 40 bytes each, though the first ones took fewer; 3 MB are left.
    const std::size_t n = forecast.look({0, 2000000, 5000000}, 50000, 50000, 65536);
    EXPECT_EQ(n, 50000U + 76500U);
    // Then once there is little room.
    EXPECT_FALSE(forecast.is_due(n - 6000));
    EXPECT_TRUE(forecast.is_due(n - 5999));
}

TEST(element_forecast, expects_more_where_numbers_descend) {
    element_forecast forecast;
    forecast.look({0, 1000000, 5000000}, 25000, 100000, 32768);
    EXPECT_EQ(forecast.look({0, 2000000, 5000000}, 50000, 75000, 65536), 50000U + 82500U);
}

TEST(element_forecast, each_file_is_one_of_its_own) {
    element_forecast forecast;
    forecast.look({0, 1000000, 5000000}, 25000, 25000, 32768);
    EXPECT_EQ(forecast.look({1, 2000000, 5000000}, 50000, 50000, 65536), 0U);
    EXPECT_FALSE(forecast.is_due(74999));
    EXPECT_NE(forecast.look({1, 3000000, 5000000}, 75000, 75000, 131072), 0U);
}

TEST(element_forecast, nothing_is_told_of_what_is_no_regular_file) {
    element_forecast forecast;
    for (std::size_t n = 25000; n < 200000; n += 25000) {
        EXPECT_TRUE(forecast.is_due(n));
        EXPECT_EQ(forecast.look({}, n, 1, n), 0U);
    }
}

TEST(element_forecast, looks_are_few_where_room_ends) {
    element_forecast forecast;
    forecast.look({0, 1000000, 2000000}, 25000, 25000, 32768);
    std::size_t nbr_looks = 0;
    for (std::size_t n = 25000; n < 50000; ++n) {
        if (!forecast.is_due(n)) continue;
        ++nbr_looks;
        EXPECT_LE(forecast.look({0, 1000000 + 40 * (n - 25000), 2000000}, n, 1, 50000), 51000U);
    }
    EXPECT_LT(nbr_looks, 40U);
}

// A deck of three nodes and of triangles.
std::string deck_of_triangles(std::size_t nbr_elements, const char* form, bool descends) {
    std::string text = "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,0.,1.,0.\n";
    for (std::size_t k = 0; k < nbr_elements; ++k) {
        const std::size_t number = descends ? nbr_elements - k : k + 1;
        char line[80];
        const int size = std::snprintf(line, sizeof line, form, static_cast<unsigned int>(number));
        text.append(line, static_cast<std::size_t>(size));
    }
    return text;
}

void expect_blocks_that_fit(const char* form, bool descends) {
    constexpr std::size_t n = 140000; // a little more than a power of two
    const scratch_stream file(deck_of_triangles(n, form, descends));
    mesh m;
    file_report report;
    int code = 0;
    {
        const memory_limit limit(n * 3 * sizeof(unsigned int) * 6 / 5);
        code = read_mesh(file.get(), file_format::nastran, m, report);
    }
    EXPECT_EQ(code, 0);
    EXPECT_EQ(m.connect.cols(), n);
    EXPECT_EQ(m.element_numbers.size(), n);
}

// No array takes a block beyond what it will hold and a little more.
TEST(element_forecast, large_decks_take_blocks_that_fit) {
    for (const bool descends : {false, true}) {
        expect_blocks_that_fit("CTRIA3  %8u       1       1       2       3\n", descends);
        expect_blocks_that_fit("CTRIA3,%u,1,1,2,3\n", descends);
    }
}

} // namespace
