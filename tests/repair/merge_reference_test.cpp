// Welding compared with the plain routines of plain_merge.h on random meshes.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "repair/plain_merge.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

struct random_case {
    explicit random_case(std::uint64_t seed, std::size_t nbr_nodes = 0) : rng(seed) {
        dim = 2 + rng.id_below(2);
        kind = static_cast<cloud>(rng.below(static_cast<std::size_t>(cloud::nbr_kinds)));
        pos = random_cloud(rng, kind, dim,
                           nbr_nodes == 0 ? 1 + rng.id_below(rng.one_in(8) ? 300 : 40) : nbr_nodes);
        tol = random_tolerance(rng);
        what = "seed " + std::to_string(seed) + ", kind " + std::to_string(static_cast<int>(kind)) +
               ", " + std::to_string(pos.cols()) + " nodes, tol " + std::to_string(tol);
    }
    random_source rng;
    std::size_t dim;
    cloud kind;
    dense2D<double> pos;
    double tol;
    std::string what;
};

dense2D<unsigned int> matrix_from(const column_list& columns) {
    dense2D<unsigned int> result(columns[0].size(), columns.size());
    for (std::size_t c = 0; c < columns.size(); ++c)
        std::copy(columns[c].begin(), columns[c].end(), result.column(c));
    return result;
}

ids stale(random_source& rng) { return ids(rng.id_below(50), 3U); }

// Some nodes, some of them more than once, and some sentinels, or nothing at all.
id_vector random_list(random_source& rng, std::size_t nbr_nodes) {
    id_vector nodes;
    if (rng.one_in(30)) return nodes;
    if (rng.one_in(4)) {
        nodes = identity(nbr_nodes);
        rng.shuffle(nodes);
        return nodes;
    }
    const std::size_t size = 1 + rng.id_below(2 * nbr_nodes);
    for (std::size_t k = 0; k < size; ++k) {
        nodes.push_back(rng.one_in(10) ? none : rng.id_below(nbr_nodes));
    }
    return nodes;
}

TEST(plain_tree, finds_what_a_linear_scan_finds) {
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        random_case c(seed);
        const plain_tree tree(c.pos, identity(c.pos.cols()));
        const box wanted = box_around(coordinates_of(c.pos, c.rng.id_below(c.pos.cols())), c.tol);
        id_vector hits = tree.hits(wanted);
        std::sort(hits.begin(), hits.end());
        id_vector inside;
        for (unsigned int i = 0; i < c.pos.cols(); ++i) {
            if (wanted.holds(coordinates_of(c.pos, i))) inside.push_back(i);
        }
        ASSERT_EQ(hits, inside) << c.what;
    }
}

TEST(plain_tree, lists_hits_as_node_right_side_left_side) {
    dense2D<double> pos(2, 7, 0.0);
    for (unsigned int i = 0; i < 7; ++i) pos(0, i) = pos(1, i) = i;
    const plain_tree tree(pos, {6, 2, 4, 0, 5, 1, 3});
    EXPECT_EQ(tree.hits(box_around({3, 3, 0}, 10)), (id_vector{3, 5, 6, 4, 1, 2, 0}));
}

TEST(merge_reference, all_nodes_of_random_clouds) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed);
        dense2D<double> expected;
        expected.copy(c.pos);
        const merge_result result = plain_merge(expected, c.tol);

        dense2D<double> without_map;
        without_map.copy(c.pos);
        ids new_IDs = stale(c.rng);
        ASSERT_EQ(merge(c.pos, new_IDs, c.tol), result.count) << c.what;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
        ASSERT_TRUE(same_bits(c.pos, expected)) << c.what;
        ASSERT_EQ(merge(without_map, c.tol), result.count) << c.what;
        ASSERT_TRUE(same_bits(without_map, expected)) << c.what;
    }
}

TEST(merge_reference, one_list_of_nodes_in_random_clouds) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed + 1000000);
        const id_vector nodes = random_list(c.rng, c.pos.cols());
        const merge_result result = plain_merge(c.pos, nodes, nodes, c.tol);
        dense2D<double> before;
        before.copy(c.pos);
        ids new_IDs = stale(c.rng);
        ASSERT_EQ(merge(c.pos, vector_of(nodes), new_IDs, c.tol), result.count) << c.what;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
        ASSERT_TRUE(same_bits(c.pos, before)) << c.what;
    }
}

TEST(merge_reference, two_lists_of_nodes_in_random_clouds) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed + 2000000);
        const id_vector nodes1 = random_list(c.rng, c.pos.cols());
        id_vector nodes2 = random_list(c.rng, c.pos.cols());
        if (c.rng.one_in(8)) {
            nodes2 = nodes1;
            if (c.rng.one_in(2)) std::reverse(nodes2.begin(), nodes2.end());
        }
        const merge_result result = plain_merge(c.pos, nodes1, nodes2, c.tol);
        ids new_IDs = stale(c.rng);
        ASSERT_EQ(merge(c.pos, vector_of(nodes1), vector_of(nodes2), new_IDs, c.tol), result.count)
            << c.what;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
    }
}

void compare_connectivities(random_case& c, unsigned int flag, std::size_t most_columns) {
    std::vector<column_list> arrays(1 + c.rng.id_below(4));
    std::vector<window<unsigned int>> windows;
    std::vector<dense2D<unsigned int>> views;
    for (column_list& array : arrays) {
        const std::size_t rows = 1 + c.rng.id_below(8);
        const std::size_t cols = c.rng.one_in(6) ? 0 : c.rng.id_below(most_columns);
        array = random_columns(c.rng, rows, cols, c.pos.cols());
        windows.emplace_back(c.rng, array, 0U);
        views.push_back(windows.back().view);
    }
    const merge_result result = plain_merge(c.pos, arrays, c.tol, flag);

    ids new_IDs = stale(c.rng);
    dense2D<unsigned int>* const begin = views.data();
    dense2D<unsigned int>* const end = begin + views.size();
    const bool with_map = !c.rng.one_in(4);
    int count = 0;
    if (views.size() == 1) {
        count = with_map ? merge(c.pos, views[0], new_IDs, c.tol, flag)
                         : merge(c.pos, views[0], c.tol, flag);
    } else if (views.size() == 2) {
        count = with_map ? merge(c.pos, views[0], views[1], new_IDs, c.tol, flag)
                         : merge(c.pos, views[0], views[1], c.tol, flag);
    } else {
        count = with_map ? merge(c.pos, begin, end, new_IDs, c.tol, flag)
                         : merge(c.pos, begin, end, c.tol, flag);
    }
    ASSERT_EQ(count, result.count) << c.what;
    if (with_map) {
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
    }
    for (std::size_t k = 0; k < arrays.size(); ++k) {
        ASSERT_EQ(list(windows[k].view), arrays[k]) << c.what << ", array " << k;
        ASSERT_TRUE(windows[k].surroundings_untouched()) << c.what << ", array " << k;
    }
}

TEST(merge_reference, any_two_nodes_of_random_connectivities) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed + 3000000);
        compare_connectivities(c, 0, 12);
        if (HasFatalFailure()) return;
    }
}

TEST(merge_reference, nodes_of_one_element_in_random_connectivities) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed + 4000000);
        compare_connectivities(c, 1, 12);
        if (HasFatalFailure()) return;
    }
}

TEST(merge_reference, nodes_of_one_element_until_nothing_merges_in_random_connectivities) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_case c(seed + 5000000);
        compare_connectivities(c, 2, 12);
        if (HasFatalFailure()) return;
    }
}

// Chains of bars between nodes of few places, so that a pass merges few pairs: each survivor comes
// near to the next node only as the chain shortens.
TEST(merge_reference, nodes_of_one_element_that_merge_in_many_passes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        random_source rng(seed);
        const std::size_t n = 3 + rng.id_below(60);
        dense2D<double> pos(2, n, 0.0);
        for (std::size_t k = 1; k < n; ++k) {
            pos(0, k) = rng.one_in(8) ? rng.uniform(-2, 2) : k % 2 == 0 ? 1 : -1;
            pos(1, k) = rng.one_in(4) ? rng.uniform(0, 0.5) : 0;
        }
        id_vector label = identity(n);
        if (rng.one_in(3)) rng.shuffle(label);
        std::vector<column_list> arrays(1 + rng.id_below(2));
        for (std::size_t k = 1; k < n; ++k)
            arrays[rng.below(arrays.size())].push_back({label[k - 1], label[k]});
        std::vector<dense2D<unsigned int>> views;
        for (column_list& array : arrays) {
            rng.shuffle(array);
            if (array.empty()) array.push_back({label[0], label[0]});
            views.push_back(matrix_from(array));
        }
        const merge_result result = plain_merge(pos, arrays, 1.25, 2);
        ids new_IDs;
        ASSERT_EQ(merge(pos, views.data(), views.data() + views.size(), new_IDs, 1.25, 2),
                  result.count)
            << seed;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << seed;
        for (std::size_t k = 0; k < arrays.size(); ++k)
            ASSERT_EQ(list(views[k]), arrays[k]) << seed << ", array " << k;
    }
}

TEST(merge_reference, nodes_of_columns_of_many_rows) {
    for (std::uint64_t seed = 0; seed < nbr_runs(300); ++seed) {
        random_case c(seed + 6000000, 100 + random_source(seed).id_below(150));
        std::vector<column_list> arrays(1);
        const std::size_t rows = 65 + c.rng.id_below(100);
        arrays[0] = random_columns(c.rng, rows, 1 + c.rng.id_below(3), c.pos.cols());
        dense2D<unsigned int> connect = matrix_from(arrays[0]);
        const unsigned int flag = 1 + c.rng.id_below(2);
        const merge_result result = plain_merge(c.pos, arrays, c.tol, flag);
        ids new_IDs;
        ASSERT_EQ(merge(c.pos, &connect, &connect + 1, new_IDs, c.tol, flag), result.count)
            << c.what;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
        ASSERT_EQ(list(connect), arrays[0]) << c.what;
    }
}

// Lists of nodes of a plane or a line in space, so many that the merge changes to its second tree.
TEST(merge_reference, lists_of_nodes_in_planes_and_on_lines) {
    for (std::uint64_t seed = 0; seed < nbr_runs(12); ++seed) {
        random_source rng(seed);
        const std::size_t n = 800 + rng.id_below(1200);
        const std::size_t dim = 1 + rng.id_below(2);
        dense2D<double> pos(3, n, 0.0);
        const bool on_grid = rng.one_in(2); // with ties
        for (std::size_t k = 0; k < n; ++k) {
            for (std::size_t axis = 0; axis < dim; ++axis)
                pos(axis, k) = on_grid ? static_cast<double>(rng.below(dim == 1 ? n : 40))
                                       : rng.uniform(0, 40);
        }
        const double tol = rng.one_of(std::vector<double>{1, 3, 20});
        id_vector nodes1 = identity(n);
        rng.shuffle(nodes1);
        id_vector nodes2 = nodes1;
        if (rng.one_in(2)) rng.shuffle(nodes2);
        if (rng.one_in(2)) nodes1.resize(n / 2);
        const merge_result result = plain_merge(pos, nodes1, nodes2, tol);
        ids new_IDs;
        ASSERT_EQ(merge(pos, vector_of(nodes1), vector_of(nodes2), new_IDs, tol), result.count)
            << seed;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << seed;
    }
}

TEST(merge_reference, gaps_between_the_columns_of_coordinates_are_not_looked_at) {
    for (std::uint64_t seed = 0; seed < nbr_runs(1500); ++seed) {
        random_case c(seed + 9000000);
        c.pos = with_gaps(c.pos, 1 + c.rng.id_below(2), 0.0);
        const id_vector nodes1 = random_list(c.rng, c.pos.cols());
        const id_vector nodes2 = c.rng.one_in(2) ? nodes1 : random_list(c.rng, c.pos.cols());
        const merge_result result = plain_merge(c.pos, nodes1, nodes2, c.tol);
        ids new_IDs;
        ASSERT_EQ(merge(c.pos, vector_of(nodes1), vector_of(nodes2), new_IDs, c.tol), result.count)
            << c.what;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << c.what;
        compare_connectivities(c, static_cast<unsigned int>(seed % 3), 12);
    }
}

TEST(merge_reference, every_mesh_of_the_zoo) {
    for (const double tol : {0.0, 0.5, 1.0, 1.5, 1e308, std::numeric_limits<double>::infinity()}) {
        for (mesh m : zoo()) {
            dense2D<double> expected_pos;
            expected_pos.copy(m.pos);
            const merge_result all = plain_merge(expected_pos, tol);
            dense2D<double> pos;
            pos.copy(m.pos);
            ids new_IDs;
            EXPECT_EQ(merge(pos, new_IDs, tol), all.count) << m.name << ", tol " << tol;
            EXPECT_EQ(list(new_IDs), all.new_IDs) << m.name << ", tol " << tol;
            EXPECT_TRUE(same_bits(pos, expected_pos)) << m.name << ", tol " << tol;
        }
        for (unsigned int flag = 0; flag < 3; ++flag) {
            for (mesh m : zoo()) {
                std::vector<column_list> arrays{list(m.connect)};
                const merge_result result = plain_merge(m.pos, arrays, tol, flag);
                ids new_IDs;
                EXPECT_EQ(merge(m.pos, m.connect, new_IDs, tol, flag), result.count)
                    << m.name << ", tol " << tol << ", flag " << flag;
                EXPECT_EQ(list(new_IDs), result.new_IDs)
                    << m.name << ", tol " << tol << ", flag " << flag;
                EXPECT_EQ(list(m.connect), arrays[0])
                    << m.name << ", tol " << tol << ", flag " << flag;
            }
        }
    }
}

// Sizes at which searching pays: spread over a volume so that few nodes are in reach of each other.
dense2D<double> large_cloud(random_source& rng, std::size_t dim, std::size_t n) {
    const unsigned int kind = rng.id_below(4);
    const unsigned int side = dim == 2 ? 60 : 16;
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < n; ++c) {
        for (std::size_t r = 0; r < dim; ++r) {
            const double whole = rng.id_below(side);
            switch (kind) {
            case 0: pos(r, c) = whole; break;
            case 1: pos(r, c) = side * rng.uniform(0, 1); break;
            case 2: pos(r, c) = whole + 0.01 * rng.uniform(0, 1); break;
            default: pos(r, c) = 0.5 * whole + (rng.one_in(200) ? 1000 : 0); break;
            }
        }
    }
    return pos;
}

TEST(merge_reference, all_nodes_of_large_clouds) {
    const std::vector<double> tolerances{0, 0.02, 0.4, 0.5, 1};
    for (std::uint64_t seed = 0; seed < nbr_runs(30); ++seed) {
        random_source rng(seed);
        dense2D<double> pos = large_cloud(rng, 2 + seed % 2, 3000 + rng.id_below(3000));
        const double tol = tolerances[rng.id_below(tolerances.size())];
        dense2D<double> expected;
        expected.copy(pos);
        const merge_result result = plain_merge(expected, tol);
        ids new_IDs;
        ASSERT_EQ(merge(pos, new_IDs, tol), result.count) << seed;
        ASSERT_EQ(list(new_IDs), result.new_IDs) << seed;
        ASSERT_TRUE(same_bits(pos, expected)) << seed;
    }
}

TEST(merge_reference, connectivities_on_large_clouds) {
    const std::vector<double> tolerances{0, 0.02, 0.5, 1};
    for (std::uint64_t seed = 0; seed < nbr_runs(30); ++seed) {
        random_case c(seed, 1);
        c.pos = large_cloud(c.rng, c.dim, 2000 + c.rng.id_below(2000));
        c.tol = tolerances[c.rng.id_below(tolerances.size())];
        c.what = "large, seed " + std::to_string(seed);
        compare_connectivities(c, static_cast<unsigned int>(seed % 3), 2000);
        if (HasFatalFailure()) return;
    }
}

} // namespace
