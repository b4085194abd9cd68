// Welding of nodes that belong together but are off by noise, in numbers that are dealt out into
// parts, compared with the plain routine.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "repair/grid_cells.h"
#include "repair/grid_weld.h"
#include "repair/plain_merge.h"
#include "repair/random_meshes.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr double tol = 0.01;

// Nodes in random order around sites of a regular grid `spacing` tolerances wide. They are off by
// up to `noise` tolerances along each axis, in steps of which there are `nbr_steps` to a tolerance,
// so that few steps make many equal distances.
struct noisy_grid {
    std::size_t dim;
    double spacing, noise, nbr_steps;

    dense2D<double> nodes(random_source& rng, std::size_t n) const {
        const auto nbr_sites = static_cast<double>(n) / 6;
        const auto side =
            static_cast<unsigned int>(std::pow(nbr_sites, 1.0 / static_cast<double>(dim)));
        dense2D<double> pos(dim, n);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < dim; ++r) {
                const double off = std::round(rng.uniform(-noise, noise) * nbr_steps) / nbr_steps;
                pos(r, c) = tol * (spacing * (rng.id_below(side) - 0.3 * side) + off);
            }
        }
        return pos;
    }
};

noisy_grid random_grid(random_source& rng) {
    return {2 + rng.below(2), rng.one_of(std::vector<double>{1, 1.5, 3, 7, 20, 100, 5000}),
            rng.one_of(std::vector<double>{0.1, 0.25, 0.5, 1}),
            rng.one_of(std::vector<double>{2, 8, 64, 1e6})};
}

// Merges all nodes as the plain routine does, and adds the number merged.
void expect_plain_merge(dense2D<double>& pos, std::size_t& nbr_merged) {
    dense2D<double> expected;
    expected.copy(pos);
    const merge_result result = plain_merge(expected, tol);
    dense1D<unsigned int> new_IDs;
    ASSERT_EQ(merge(pos, new_IDs, tol), result.count);
    ASSERT_EQ(list(new_IDs), result.new_IDs);
    ASSERT_TRUE(same_bits(pos, expected));
    nbr_merged += static_cast<std::size_t>(result.count);
}

TEST(merge_noisy_nodes, gives_what_the_plain_routine_gives) {
    std::size_t nbr_merged = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(20); ++seed) {
        random_source rng(seed + 77000);
        const noisy_grid grid = random_grid(rng);
        dense2D<double> pos = grid.nodes(rng, 4097 + rng.below(12000));
        if (rng.one_in(3)) pos = with_gaps(pos, 1, 0.0);
        SCOPED_TRACE(seed);
        ASSERT_NO_FATAL_FAILURE(expect_plain_merge(pos, nbr_merged));
    }
    EXPECT_GT(nbr_merged, 30000U);
}

TEST(merge_noisy_nodes, takes_the_nodes_of_a_list_in_its_order) {
    for (std::uint64_t seed = 0; seed < nbr_runs(10); ++seed) {
        random_source rng(seed + 78000);
        const dense2D<double> pos = random_grid(rng).nodes(rng, 6000 + rng.below(6000));
        id_vector nodes = identity(pos.cols());
        rng.shuffle(nodes);
        nodes.resize(nodes.size() - rng.below(1000));
        const merge_result result = plain_merge_distinct(pos, nodes, nodes, tol);
        dense1D<unsigned int> new_IDs;
        ASSERT_EQ(merge(pos, vector_of(nodes), new_IDs, tol), result.count) << seed;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << seed;
    }
}

// Coordinates below zero, and all equal on one axis: at 0, in a cell, at its bounds or near them.
// An offset takes them out of the range where cells are numbered one by one.
TEST(merge_noisy_nodes, may_lie_in_a_plane_anywhere) {
    std::size_t nbr_merged = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(8); ++seed) {
        random_source rng(seed + 82000);
        const double spacing = rng.one_of(std::vector<double>{3, 20, 750});
        dense2D<double> pos = noisy_grid{3, spacing, 0.3, 1e6}.nodes(rng, 5000);
        const double z = rng.one_of(std::vector<double>{0, 0.5, 1, 64, 4096, -63.9999, -12.5});
        const double offset = rng.one_of(std::vector<double>{0, -7777.3, 0x1p35, -0x1p37, 0x1p44});
        for (std::size_t c = 0; c < pos.cols(); ++c) {
            pos(0, c) += tol * offset;
            pos(1, c) -= tol * offset;
            pos(2, c) = tol * (rng.one_in(4) ? std::nextafter(z, 1e9) : z);
        }
        SCOPED_TRACE(seed);
        ASSERT_NO_FATAL_FAILURE(expect_plain_merge(pos, nbr_merged));
    }
    EXPECT_GT(nbr_merged, 8000U);
}

// The quick test for the only cell that a box reaches, against its ends.
TEST(cells_of_a_grid, are_told_in_two_ways_alike) {
    std::size_t nbr_alone = 0;
    std::size_t nbr_near_bounds = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(20000); ++seed) {
        random_source rng(seed + 83000);
        const double width = rng.one_of(std::vector<double>{4, 6, 12, 24, 128, 1e9});
        const cube_cells<3> cells(tol, tol * width);
        std::array<double, 3> p{};
        for (double& x : p) {
            const double middle = std::round(rng.uniform(-10, 10) *
                                             rng.one_of(std::vector<double>{0, 1, 1e4, 4e8, 1e12}));
            const double off = rng.one_of(std::vector<double>{0.5 - 1 / width, 0.5, 0.25, 0});
            x = tol * width *
                (middle + off +
                 rng.uniform(-1, 1) * rng.one_of(std::vector<double>{0, 1e-9, 1e-4}));
        }
        if (rng.one_in(50)) p[seed % 3] = std::numeric_limits<double>::quiet_NaN();
        if (rng.one_in(50)) p[seed % 3] = 1e300;
        std::uint64_t key = 0;
        if (!cells.find_only(p.data(), key)) {
            ++nbr_near_bounds;
            continue;
        }
        cell_keys<3> keys{};
        ASSERT_TRUE(cells.holds(p.data())) << seed;
        ASSERT_TRUE(cells.find_reached(p.data(), keys)) << seed;
        ASSERT_EQ(keys.count, 1U) << seed;
        ASSERT_EQ(keys.key[0], key) << seed;
        ++nbr_alone;
    }
    EXPECT_GT(nbr_alone, nbr_runs(20000) / 100);
    EXPECT_GT(nbr_near_bounds, nbr_runs(20000) / 2);
}

// Few of them are so far out that all others are in one block.
TEST(merge_noisy_nodes, may_lie_far_from_each_other) {
    for (const double far :
         {1e3, 1e9, 1e15, 1e25, 1e200, std::numeric_limits<double>::infinity()}) {
        random_source rng(79000);
        dense2D<double> pos = noisy_grid{3, 20, 0.25, 1e6}.nodes(rng, 6000);
        for (std::size_t c = 0; c < pos.cols(); c += 7) pos(c % 3, c) = far;
        SCOPED_TRACE(far);
        std::size_t nbr_merged = 0;
        ASSERT_NO_FATAL_FAILURE(expect_plain_merge(pos, nbr_merged));
    }
}

TEST(merge_noisy_nodes, needs_no_tree_where_neighbours_are_distinct) {
    for (const std::size_t dim : {std::size_t{2}, std::size_t{3}}) {
        for (const double spacing : {4.0, 20.0, 750.0}) {
            random_source rng(80000);
            const dense2D<double> pos = noisy_grid{dim, spacing, 0.25, 1e6}.nodes(rng, 30000);
            id_list new_IDs(pos.cols());
            EXPECT_GT(weld_by_grid(pos, new_IDs.data(), tol), 20000) << spacing;
        }
    }
}

TEST(merge_noisy_nodes, tells_that_memory_failed_or_does_without) {
    random_source rng(81000);
    const dense2D<double> pos = noisy_grid{3, 20, 0.5, 64}.nodes(rng, 6000);
    id_list expected(pos.cols());
    const int nbr_merged = weld_by_grid(pos, expected.data(), tol);
    ASSERT_GT(nbr_merged, 0);
    std::size_t nbr_told = 0;
    fail_each_allocation([&](std::size_t k, bool and_later) {
        id_list new_IDs(pos.cols());
        const memory_failure failure(k, and_later);
        const int result = weld_by_grid(pos, new_IDs.data(), tol);
        nbr_told += result == -199;
        EXPECT_TRUE(result == -199 || (result == nbr_merged && new_IDs == expected)) << k;
        return failure.happened();
    });
    EXPECT_GE(nbr_told, 8U);
}

} // namespace
