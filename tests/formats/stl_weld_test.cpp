// Welding in one pass over a hashed grid, compared with the merging steps that it stands for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "formats/stl_weld.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

dense2D<unsigned int> numbered(std::size_t nbr_facets) {
    dense2D<unsigned int> connect(3, nbr_facets);
    number_corners(connect);
    return connect;
}

// Exact coincidence in blocks of facets, then the tolerance over all.
dense2D<unsigned int> merged_in_steps(double tol, const dense2D<double>& pos,
                                      std::size_t block_size, int& nbr_by_tolerance) {
    dense2D<unsigned int> connect = numbered(pos.cols() / 3);
    for (std::size_t first = 0; first < connect.cols(); first += block_size) {
        const std::size_t size = std::min(block_size, connect.cols() - first);
        dense2D<unsigned int> block = connect.sub_matrix(0, first, 3, size);
        EXPECT_GE(merge(pos, block, 0.0, 0), 0);
    }
    nbr_by_tolerance = merge(pos, connect, tol, 0);
    return connect;
}

// Corners on few places of a lattice with the spacing 1, most of them exactly there, some moved by
// an amount of the order of `tol`: at random, in steps that make equal distances, or not at all.
dense2D<double> random_soup(random_source& random, double tol) {
    const std::size_t side = random.between(1, 6);
    const std::size_t moves = random.below(3);
    dense2D<double> pos = grid_points(random, 3, 3 * random.between(1, 60), side);
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            if (random.one_in(2)) pos(r, c) = pos(r, c) == 0.0 ? -0.0 : pos(r, c);
            if (moves == 1 && random.one_in(3)) pos(r, c) += random.uniform(-1.5 * tol, 1.5 * tol);
            if (moves == 2) pos(r, c) += 0.5 * tol * static_cast<double>(random.below(4));
        }
        // Corners of facets repeat.
        if (c > 0 && random.one_in(2)) std::copy_n(pos.column(random.below(c)), 3, pos.column(c));
    }
    return pos;
}

bool declines(double tol, const dense2D<double>& pos) {
    dense2D<unsigned int> connect = numbered(pos.cols() / 3);
    return !stl_merge_by_grid(tol, pos, connect);
}

} // namespace

TEST(stl_merge_by_grid, agrees_with_the_steps_for_blocks_of_any_size) {
    std::size_t nbr_done = 0;
    std::size_t nbr_with_tolerance = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(3000); ++seed) {
        random_source random(seed);
        double tol = random.uniform(0.001, 0.3);
        dense2D<double> pos = random_soup(random, tol);
        // Squares of very small and very large lengths leave the range of double.
        if (random.one_in(10)) {
            const double scale = std::pow(10.0, static_cast<double>(random.below(600)) - 300.0);
            tol *= scale;
            for (std::size_t c = 0; c < pos.cols(); ++c) {
                for (std::size_t r = 0; r < 3; ++r) pos(r, c) *= scale;
            }
        }
        dense2D<unsigned int> connect = numbered(pos.cols() / 3);
        if (!stl_merge_by_grid(tol, pos, connect)) continue;
        ++nbr_done;
        int nbr_by_tolerance = 0;
        const dense2D<unsigned int> whole = merged_in_steps(tol, pos, pos.cols(), nbr_by_tolerance);
        ASSERT_EQ(list(connect), list(whole)) << "seed " << seed;
        if (nbr_by_tolerance > 0) ++nbr_with_tolerance;
        for (const std::size_t block_size : {1U, 2U, 7U}) {
            const dense2D<unsigned int> in_blocks =
                merged_in_steps(tol, pos, block_size, nbr_by_tolerance);
            ASSERT_EQ(list(connect), list(in_blocks)) << "seed " << seed;
        }
    }
    EXPECT_GT(nbr_done, 1000U);
    EXPECT_GT(nbr_with_tolerance, 200U);
}

TEST(stl_merge_by_grid, chains_are_followed_to_their_end) {
    const dense2D<double> pos =
        points({{0, 0, 0}, {1, 0, 0}, {2.25, 0, 0}, {3.75, 0, 0}, {9, 9, 9}, {5.5, 0, 0}});
    dense2D<unsigned int> connect = numbered(2);
    ASSERT_TRUE(stl_merge_by_grid(2.0, pos, connect));
    EXPECT_EQ(list(connect), list(connectivity({{0, 0, 0}, {0, 4, 0}})));
}

TEST(stl_merge_by_grid, declines_a_node_between_two_as_near_as_each_other) {
    EXPECT_TRUE(declines(0.5, points({{0, 0, 0}, {1, 0, 0}, {0.5, 0, 0}})));
    EXPECT_FALSE(declines(0.5, points({{0, 0, 0}, {1.125, 0, 0}, {0.5, 0, 0}})));
}

TEST(stl_merge_by_grid, takes_equal_distances_to_nodes_with_one_survivor) {
    EXPECT_FALSE(declines(1.0, points({{0, 0, 0}, {1, 0, 0}, {0.5, 0, 0}})));
}

TEST(stl_merge_by_grid, declines_distinct_positions_whose_distance_squares_to_zero) {
    EXPECT_TRUE(declines(1e-170, points({{0, 0, 0}, {1e-175, 0, 0}, {1, 1, 1}})));
}

TEST(stl_merge_by_grid, declines_coordinates_that_are_not_finite) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
    for (const double odd : {infinity, -infinity, not_a_number}) {
        for (const std::size_t r : {0U, 1U, 2U}) {
            dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
            pos(r, 2) = odd;
            EXPECT_TRUE(declines(0.1, pos));
        }
    }
    constexpr double largest = std::numeric_limits<double>::max();
    EXPECT_TRUE(declines(0.1, points({{largest, 0, 0}, {-largest, 0, 0}, {0, 1, 0}})));
}

TEST(stl_merge_by_grid, declines_many_positions_within_the_tolerance) {
    random_source random(1);
    dense2D<double> pos = random_points(random, 3, 3000, 0.0, 1e-9);
    pos(0, 0) = 1.0;
    EXPECT_TRUE(declines(1e-3, pos));
}

TEST(stl_merge_by_grid, takes_many_positions_in_one_place_that_are_farther_apart) {
    random_source random(1);
    dense2D<double> pos = random_points(random, 3, 300, 0.0, 1e-9);
    pos(0, 0) = 1.0;
    EXPECT_FALSE(declines(1e-12, pos));
}

TEST(stl_weld, makes_the_same_mesh_where_the_grid_declines) {
    dense2D<double> pos =
        points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0.5, 0, 0}, {5, 5, 5}, {6, 5, 5}});
    ASSERT_TRUE(declines(0.5, pos));
    int nbr_by_tolerance = 0;
    dense2D<unsigned int> expected = merged_in_steps(0.5, pos, 2, nbr_by_tolerance);
    dense2D<double> expected_pos;
    ASSERT_TRUE(expected_pos.copy(pos));
    remove_degenerated(expected, true);
    simplify(expected_pos, expected, 0);

    dense2D<unsigned int> connect = numbered(2);
    EXPECT_EQ(stl_weld(0.5, pos, connect), 0);
    EXPECT_EQ(list(connect), list(expected));
    EXPECT_EQ(list(pos), list(expected_pos));
}
