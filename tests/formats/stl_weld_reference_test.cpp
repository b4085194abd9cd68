// Welding of triangle soups compared with the plain routines, by the grid and by the tree.
#include "formats/stl_weld.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "formats/plain_stl.h"
#include "repair/plain_merge.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

enum class spread { uniform, near_grid, ties, crowd, coarse, fine, far_away, underflow, nbr_kinds };

// Corners drawn from a set of sites, each time a little off.
std::vector<std::vector<double>> random_soup(random_source& random, spread kind, double tol) {
    const std::size_t nbr_corners = 3 * (1 + random.below(random.one_in(6) ? 200 : 25));
    const std::size_t nbr_sites = 1 + random.below(nbr_corners);
    std::vector<std::vector<double>> sites(nbr_sites, std::vector<double>(3));
    for (auto& site : sites) {
        for (double& v : site) {
            v = kind == spread::uniform ? random.uniform(0, 1)
                                        : static_cast<double>(random.below(4)) * 0.25;
        }
    }
    std::vector<std::vector<double>> corners(nbr_corners);
    for (auto& corner : corners) {
        corner = random.one_of(sites);
        for (double& v : corner) {
            switch (kind) {
            case spread::uniform:
            case spread::near_grid:
                if (random.one_in(2)) v += tol * random.uniform(-0.7, 0.7);
                break;
            case spread::ties: v += tol * 0.5 * (static_cast<double>(random.below(5)) - 2); break;
            case spread::crowd: v = v * tol * 0.1 + tol * 0.01 * random.uniform(0, 1); break;
            case spread::coarse: v *= 100 * tol; break;
            case spread::fine: v *= 3 * tol; break;
            case spread::far_away: v = 1e6 + v + tol * random.uniform(-1, 1); break;
            default: v *= 1e-170; break;
            }
            if (v == 0 && random.one_in(2)) v = -0.0;
        }
    }
    return corners;
}

struct soup {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

soup soup_of(const std::vector<std::vector<double>>& corners) {
    soup s{dense2D<double>(3, corners.size()), dense2D<unsigned int>(3, corners.size() / 3)};
    for (std::size_t c = 0; c < corners.size(); ++c) {
        std::copy(corners[c].begin(), corners[c].end(), s.pos.column(c));
    }
    number_corners(s.connect);
    return s;
}

testing::AssertionResult welds_as_plain_routines(const std::vector<std::vector<double>>& corners,
                                                 double tol, bool* by_grid = nullptr) {
    std::vector<column_list> merged{list(soup_of(corners).connect)};
    plain_merge(soup_of(corners).pos, merged, 0.0, 0);
    plain_merge(soup_of(corners).pos, merged, tol, 0);
    std::vector<std::vector<double>> points = corners;
    std::vector<column_list> expected = merged;
    plain_remove_degenerated(expected[0], true);
    plain_simplify(points, expected, 0);

    soup grid = soup_of(corners);
    const bool told = stl_merge_by_grid(tol, grid.pos, grid.connect);
    if (by_grid) *by_grid = told;
    if (told && list(grid.connect) != merged[0]) {
        return testing::AssertionFailure() << "the grid merges other nodes";
    }
    soup s = soup_of(corners);
    if (stl_weld(tol, s.pos, s.connect) != 0) return testing::AssertionFailure() << "code";
    if (list(s.connect) != expected[0]) return testing::AssertionFailure() << "other triangles";
    dense2D<double> pos(points.empty() ? 0 : 3, points.size());
    for (std::size_t c = 0; c < points.size(); ++c) {
        std::copy(points[c].begin(), points[c].end(), pos.column(c));
    }
    if (!same_bits(s.pos, pos)) return testing::AssertionFailure() << "other points";
    return testing::AssertionSuccess();
}

double random_weld_tolerance(random_source& random) {
    static const std::vector<double> choice{0.25, 0.125, 0.1, 0.05,  0.01, 1e-3,
                                            1e-6, 0.3,   1.0, 1e-12, 50,   1e-170};
    return random.one_of(choice);
}

TEST(stl_weld_reference, random_soups) {
    unsigned int nbr_by_grid = 0;
    const unsigned int nbr_soups = 5000;
    for (std::uint64_t seed = 0; seed < nbr_runs(nbr_soups); ++seed) {
        random_source random(seed);
        const auto kind =
            static_cast<spread>(random.below(static_cast<std::size_t>(spread::nbr_kinds)));
        const double tol = random_weld_tolerance(random);
        bool by_grid = false;
        ASSERT_TRUE(welds_as_plain_routines(random_soup(random, kind, tol), tol, &by_grid))
            << "seed " << seed << ", kind " << static_cast<int>(kind) << ", tol " << tol;
        nbr_by_grid += by_grid;
    }
    // Both ways are taken often enough.
    EXPECT_GT(nbr_by_grid, nbr_soups / 4);
    EXPECT_LT(nbr_by_grid, nbr_soups - nbr_soups / 8);
}

TEST(stl_weld_reference, random_soups_with_coordinates_that_are_not_finite) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (std::uint64_t seed = 0; seed < nbr_runs(1500); ++seed) {
        random_source random(seed + 50000);
        const double tol = random_weld_tolerance(random);
        auto corners = random_soup(random, spread::near_grid, tol);
        for (std::size_t k = 1 + random.below(4); k > 0; --k) {
            const double odd = random.one_of(
                std::vector<double>{infinity, -infinity, std::nan(""), 1e308, -1e308});
            corners[random.below(corners.size())][random.below(3)] = odd;
        }
        ASSERT_TRUE(welds_as_plain_routines(corners, tol)) << "seed " << seed;
    }
}

// Corners at 0, 1 and 2 units of the tolerance: chains, and a tie for whoever comes last.
TEST(stl_weld_reference, every_order_of_a_few_corners_on_a_line) {
    const double tol = 0.125;
    std::vector<int> steps{0, 1, 2, 3, 4, 9};
    do {
        for (const double unit : {0.5 * tol, tol, 0.9 * tol, 1.1 * tol}) {
            std::vector<std::vector<double>> corners;
            for (const int step : steps) corners.push_back({step * unit, 7, -1});
            ASSERT_TRUE(welds_as_plain_routines(corners, tol)) << testing::PrintToString(steps);
        }
    } while (std::next_permutation(steps.begin(), steps.end()));
}

TEST(stl_weld_reference, a_surface_with_corners_off_by_less_than_the_tolerance_is_done_by_grid) {
    random_source random(3);
    const double tol = 0.05;
    std::vector<std::vector<double>> corners;
    for (int j = 0; j < 30; ++j) {
        for (int i = 0; i < 30; ++i) {
            const int square[6][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}};
            for (const auto& offset : square) {
                corners.push_back({i + offset[0] + random.uniform(-0.01, 0.01),
                                   j + offset[1] + random.uniform(-0.01, 0.01),
                                   random.uniform(-0.01, 0.01)});
            }
        }
    }
    bool by_grid = false;
    EXPECT_TRUE(welds_as_plain_routines(corners, tol, &by_grid));
    EXPECT_TRUE(by_grid);
}

} // namespace
