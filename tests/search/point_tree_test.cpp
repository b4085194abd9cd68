#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "search/point_tree.h"
#include "search/recursive_tree.h"
#include "search/tree_calls.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::all_of;
using test::closest;
using test::closest_to;
using test::largest_double;
using test::list;
using test::nearest;
using test::none;
using test::points;
using test::random_source;

namespace {

using id_vector = std::vector<unsigned int>;

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Points of which no two have a coordinate in common.
dense2D<double> on_the_diagonal(std::size_t n) {
    dense2D<double> pos(2, n);
    for (std::size_t i = 0; i < n; ++i) pos(0, i) = pos(1, i) = static_cast<double>(i);
    return pos;
}
// Points on the x axis.
dense2D<double> on_a_line(std::size_t n) {
    dense2D<double> pos(2, n, 0.0);
    for (std::size_t i = 0; i < n; ++i) pos(0, i) = static_cast<double>(i);
    return pos;
}

template <unsigned DIM> std::size_t build(point_tree<DIM>& tree, id_vector ids) {
    return tree.build(ids.data(), ids.size());
}
template <unsigned DIM> unsigned int insert(point_tree<DIM>& tree, const id_vector& ids) {
    return tree.insert(ids.data(), ids.data() + ids.size());
}
template <unsigned DIM> id_vector hits(const point_tree<DIM>& tree, const double* box) {
    dense1D<unsigned int> found;
    tree.find_in_box(box, found);
    return list(found);
}
template <unsigned DIM>
id_vector hits_without(const point_tree<DIM>& tree, const double* box, unsigned int excluded) {
    dense1D<unsigned int> found;
    tree.find_in_box(box, found, excluded);
    return list(found);
}
template <unsigned DIM> id_vector all_hits(const point_tree<DIM>& tree) {
    const double box[] = {-infinite, -infinite, DIM == 2 ? infinite : -infinite,
                          infinite,  infinite,  infinite};
    return hits(tree, box);
}

TEST(point_tree, on_a_line_shows_its_nodes_in_the_order_of_the_walk) {
    const dense2D<double> pos = on_a_line(7);
    point_tree<2> tree(pos);
    EXPECT_EQ(build(tree, {0, 1, 2, 3, 4, 5, 6}), 7U);
    EXPECT_EQ(all_hits(tree), (id_vector{3, 5, 6, 4, 1, 2, 0}));
    EXPECT_EQ(tree.nbr_slots(), 7U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
}

TEST(point_tree, does_not_depend_on_the_order_of_its_ids) {
    random_source random(1);
    const dense2D<double> pos = test::grid_points(random, 3, 200, 5);
    id_vector ids = all_of(pos);
    point_tree<3> tree(pos);
    build(tree, ids);
    const id_vector expected = all_hits(tree);
    for (int k = 0; k < 20; ++k) {
        random.shuffle(ids);
        build(tree, ids);
        ASSERT_EQ(all_hits(tree), expected);
    }
}

TEST(point_tree, build_loses_no_id) {
    random_source random(2);
    for (const std::size_t n : {1U, 2U, 63U, 64U, 100U, 1000U}) {
        const dense2D<double> pos = test::random_points(random, 2, n, 0, 1);
        point_tree<2> tree(pos);
        build(tree, all_of(pos));
        id_vector found = all_hits(tree);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, all_of(pos));
    }
}

TEST(point_tree, an_id_listed_twice_becomes_two_nodes) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    EXPECT_EQ(build(tree, {1, 1, 2, 1}), 4U);
    id_vector found = all_hits(tree);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (id_vector{1, 1, 1, 2}));
}

TEST(point_tree, without_nodes_finds_nothing) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    const double point[] = {0, 0};
    EXPECT_EQ(closest(tree, point), nearest{});
    EXPECT_EQ(closest_to(tree, 0), nearest{});
    EXPECT_EQ(build(tree, {}), 0U);
    EXPECT_EQ(closest(tree, point), nearest{});
    EXPECT_EQ(tree.nbr_slots(), 0U);
}

TEST(point_tree, of_copies_of_one_position_finds_a_valid_one_at_distance_0) {
    for (const std::size_t n : {1U, 2U, 33U, 1000U}) {
        const dense2D<double> pos(3, n, 2.0);
        point_tree<3> tree(pos);
        build(tree, all_of(pos));
        // The first descent meets the root first.
        EXPECT_EQ(closest(tree, pos.column(0)), (nearest{static_cast<unsigned int>(n / 2), 0.0}));
    }
}

TEST(point_tree, the_other_point_at_the_same_position_is_the_nearest_to_a_node) {
    const dense2D<double> pos = points({{0, 0}, {1, 1}, {5, 5}, {1, 1}});
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    EXPECT_EQ(closest_to(tree, 1), (nearest{3, 0.0}));
    EXPECT_EQ(closest_to(tree, 3), (nearest{1, 0.0}));
    EXPECT_EQ(closest_to(tree, 0).dist2, 2.0);
}

TEST(point_tree, a_node_alone_has_no_nearest) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    build(tree, {1});
    EXPECT_EQ(closest_to(tree, 1), nearest{});
    EXPECT_EQ(closest_to(tree, 2), (nearest{1, 1.0})); // need not be in the tree
    build(tree, {1, 1, 1});
    EXPECT_EQ(closest_to(tree, 1), nearest{});
}

TEST(point_tree, an_id_that_is_no_column_has_no_nearest) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    EXPECT_EQ(closest_to(tree, 3), nearest{});
    EXPECT_EQ(closest_to(tree, none), nearest{});
}

TEST(point_tree, a_box_reports_points_on_its_boundary) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {1, 1}, {2, 2}});
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    const double touching[] = {1, 1, 2, 2};
    EXPECT_EQ(hits(tree, touching).size(), 2U);
    const double degenerate[] = {1, 0, 1, 0};
    EXPECT_EQ(hits(tree, degenerate), (id_vector{1}));
    const double just_beside[] = {std::nextafter(2.0, 3.0), 2, 3, 3};
    EXPECT_EQ(hits(tree, just_beside), id_vector{});
}

TEST(point_tree, an_inverted_box_yields_no_hit) {
    const dense2D<double> pos = on_a_line(50);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    const double inverted_x[] = {30, -1, 20, 1};
    const double inverted_y[] = {0, 1, 50, -1};
    EXPECT_EQ(hits(tree, inverted_x), id_vector{});
    EXPECT_EQ(hits(tree, inverted_y), id_vector{});
}

TEST(point_tree, hits_are_appended) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    dense1D<unsigned int> found{77};
    const double box[] = {0, 0, 0, 0};
    tree.find_in_box(box, found);
    tree.find_in_box(box, found);
    EXPECT_EQ(list(found), (id_vector{77, 0, 0}));
}

TEST(point_tree, an_excluded_id_is_left_out_of_the_hits_and_still_walked_through) {
    const dense2D<double> pos = on_a_line(7);
    point_tree<2> tree(pos);
    build(tree, {0, 1, 2, 3, 3, 4, 5, 6});
    const double box[] = {0, 0, 6, 0};
    const id_vector with = hits(tree, box);
    id_vector expected;
    for (const unsigned int id : with) {
        if (id != 3) expected.push_back(id);
    }
    EXPECT_EQ(hits_without(tree, box, 3), expected);
    EXPECT_EQ(hits_without(tree, box, 99), with);
}

TEST(point_tree, inserting_a_node_that_is_there_counts_0_and_leaves_a_free_slot) {
    const dense2D<double> pos = on_the_diagonal(9);
    point_tree<2> tree(pos);
    build(tree, {0, 1, 2, 3, 4});
    EXPECT_EQ(insert(tree, {3}), 0U);
    EXPECT_EQ(tree.nbr_slots(), 6U);
    EXPECT_EQ(tree.nbr_free_slots(), 1U);
    EXPECT_EQ(insert(tree, {1}), 0U); // takes the free slot and gives it back
    EXPECT_EQ(tree.nbr_slots(), 6U);
    EXPECT_EQ(tree.nbr_free_slots(), 1U);
    EXPECT_EQ(insert(tree, {7}), 1U);
    EXPECT_EQ(tree.nbr_slots(), 6U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
    EXPECT_EQ(insert(tree, {8}), 1U);
    EXPECT_EQ(tree.nbr_slots(), 7U);
    id_vector found = all_hits(tree);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (id_vector{0, 1, 2, 3, 4, 7, 8}));
}

TEST(point_tree, an_id_that_is_no_column_takes_no_slot) {
    const dense2D<double> pos = on_a_line(3);
    point_tree<2> tree(pos);
    EXPECT_EQ(insert(tree, {3, none, 1000}), 0U);
    EXPECT_EQ(tree.nbr_slots(), 0U);
    EXPECT_EQ(insert(tree, {2, 3, 0}), 2U);
    EXPECT_EQ(tree.nbr_slots(), 2U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
}

TEST(point_tree, a_node_hidden_on_the_left_by_an_equal_coordinate_is_added_a_second_time) {
    // Built, 0 stands left of 1 with the same x; on its way down, 0 goes right at 1.
    const dense2D<double> pos = points({{5, 0}, {5, 1}});
    point_tree<2> tree(pos);
    build(tree, {0, 1});
    EXPECT_EQ(insert(tree, {0}), 1U);
    EXPECT_EQ(tree.nbr_slots(), 3U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
    EXPECT_EQ(all_hits(tree), (id_vector{1, 0, 0}));
    EXPECT_EQ(closest_to(tree, 1), (nearest{0, 1.0}));
}

TEST(point_tree, inserted_equal_coordinates_go_right) {
    const dense2D<double> pos(2, 4, 1.0);
    point_tree<2> tree(pos);
    EXPECT_EQ(insert(tree, {2, 0, 3, 1}), 4U);
    EXPECT_EQ(all_hits(tree), (id_vector{2, 0, 3, 1}));
    EXPECT_EQ(insert(tree, {1}), 0U); // all stand on its way
}

TEST(point_tree, reset_removes_all_nodes) {
    const dense2D<double> pos = on_the_diagonal(5);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    insert(tree, {2});
    tree.reset();
    EXPECT_EQ(tree.nbr_slots(), 0U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
    EXPECT_EQ(closest_to(tree, 0), nearest{});
    EXPECT_EQ(insert(tree, {4}), 1U);
    EXPECT_EQ(tree.nbr_slots(), 1U);
    EXPECT_EQ(all_hits(tree), (id_vector{4}));
}

TEST(point_tree, build_replaces_what_was_there) {
    const dense2D<double> pos = on_the_diagonal(5);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    insert(tree, {2});
    EXPECT_EQ(build(tree, {1, 3}), 2U);
    EXPECT_EQ(tree.nbr_free_slots(), 0U);
    EXPECT_EQ(all_hits(tree), (id_vector{3, 1}));
}

TEST(point_tree, reserve_changes_nothing_that_is_seen) {
    const dense2D<double> pos = on_a_line(5);
    point_tree<2> tree(pos);
    EXPECT_TRUE(tree.reserve(1000));
    EXPECT_EQ(tree.nbr_slots(), 0U);
    build(tree, all_of(pos));
    EXPECT_TRUE(tree.reserve(1000));
    EXPECT_TRUE(tree.reserve(0));
    EXPECT_EQ(tree.nbr_slots(), 5U);
    EXPECT_EQ(all_hits(tree).size(), 5U);
}

TEST(point_tree, coordinates_are_read_at_each_query) {
    random_source random(3);
    dense2D<double> pos = test::grid_points(random, 2, 60, 6);
    point_tree<2> tree(pos);
    test::recursive_tree<2> reference(pos);
    build(tree, all_of(pos));
    reference.build(all_of(pos));
    dense2D<double> moved;
    ASSERT_TRUE(moved.copy(pos));
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        pos(0, c) += 100.0;
        pos(1, c) -= 7.0;
    }
    const double box[] = {101, -6, 103, -4};
    EXPECT_EQ(hits(tree, box), reference.find_in_box(box));
    EXPECT_FALSE(hits(tree, box).empty());
    const double point[] = {102.25, -5.5};
    EXPECT_EQ(closest(tree, point), reference.find_closest(point));
    EXPECT_LT(closest(tree, point).dist2, 10.0);
}

// Point sets that are awkward for a tree, each of its own kind.
dense2D<double> awkward_points(random_source& random, std::size_t dim, std::size_t n) {
    const std::size_t kind = random.below(12);
    dense2D<double> pos = kind < 5 ? test::grid_points(random, dim, n, random.between(1, 9))
                                   : test::random_points(random, dim, n, -1.0, 1.0);
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        double* const p = pos.column(c);
        switch (kind) {
        case 5: // in a line along an axis
            for (std::size_t r = 1; r < dim; ++r) p[r] = 0.5;
            break;
        case 6: // in a line across all axes
            for (std::size_t r = 1; r < dim; ++r) p[r] = p[0];
            break;
        case 7: // around the origin, all but equally far
        {
            double length = 0.0;
            for (std::size_t r = 0; r < dim; ++r) length += p[r] * p[r];
            for (std::size_t r = 0; r < dim; ++r) p[r] /= std::sqrt(length);
            break;
        }
        case 8: // clusters, many points twice
            for (std::size_t r = 0; r < dim; ++r) {
                p[r] = c % 3 == 0 && c != 0 ? pos(r, c - 1) : std::round(3 * p[r]) + 1e-9 * p[r];
            }
            break;
        case 9: // distances underflow
            for (std::size_t r = 0; r < dim; ++r) p[r] = std::round(4 * p[r]) * 1e-162;
            break;
        case 10: // distances overflow, coordinates are infinite here and there
            for (std::size_t r = 0; r < dim; ++r) {
                p[r] *= random.one_in(3) ? 1.7e308 : 1e154;
                if (random.one_in(12)) p[r] = random.one_in(2) ? infinite : -infinite;
            }
            break;
        case 11: // far from the origin, on few floating-point numbers
            for (std::size_t r = 0; r < dim; ++r) p[r] = 1e15 + 4 * p[r];
            break;
        default: break;
        }
    }
    return pos;
}

// Query coordinates at, near and between those of the points.
template <unsigned DIM>
void awkward_query(random_source& random, const dense2D<double>& pos, double* point) {
    for (unsigned axis = 0; axis < DIM; ++axis) {
        const double at = pos.empty() ? 0.0 : pos(axis, random.below(pos.cols()));
        const double other = pos.empty() ? 1.0 : pos(axis, random.below(pos.cols()));
        switch (random.below(8)) {
        case 0: point[axis] = 0.5 * at + 0.5 * other; break;
        case 1: point[axis] = std::nextafter(at, other); break;
        case 2: point[axis] = at + random.uniform(-2.0, 2.0); break;
        case 3: point[axis] = 0.0; break;
        case 4: point[axis] = random.one_in(30) ? std::copysign(infinite, other) : at; break;
        default: point[axis] = at; break;
        }
    }
}

template <unsigned DIM>
void expect_same_answers(random_source& random, const dense2D<double>& pos,
                         const point_tree<DIM>& tree, const test::recursive_tree<DIM>& reference) {
    ASSERT_EQ(tree.nbr_slots(), reference.nbr_slots());
    ASSERT_EQ(tree.nbr_free_slots(), reference.nbr_free_slots());
    for (int k = 0; k < 12; ++k) {
        double point[DIM];
        awkward_query<DIM>(random, pos, point);
        ASSERT_EQ(closest(tree, point), reference.find_closest(point));
        if (!pos.empty()) {
            const unsigned int id = random.id_below(pos.cols());
            ASSERT_EQ(closest_to(tree, id), reference.find_closest(pos.column(id), id));
        }
        if (reference.nbr_slots() == 0) continue;
        double box[2 * DIM];
        awkward_query<DIM>(random, pos, box);
        awkward_query<DIM>(random, pos, box + DIM);
        for (unsigned axis = 0; axis < DIM; ++axis) {
            if (box[axis] > box[axis + DIM] && !random.one_in(20)) {
                std::swap(box[axis], box[axis + DIM]);
            }
        }
        ASSERT_EQ(hits(tree, box), reference.find_in_box(box));
        const unsigned int excluded = random.id_below(pos.cols());
        ASSERT_EQ(hits_without(tree, box, excluded), reference.find_in_box(box, excluded));
    }
    if (reference.nbr_slots() != 0) {
        const double box[] = {-infinite, -infinite, DIM == 2 ? infinite : -infinite,
                              infinite,  infinite,  infinite};
        ASSERT_EQ(hits(tree, box), reference.find_in_box(box));
    }
}

// A tree on some of the points, some of them twice, then insertions of new nodes, nodes that are
// there and IDs that are none, now and then a new build.
template <unsigned DIM> void run_tree(std::uint64_t seed) {
    SCOPED_TRACE(seed);
    random_source random(seed);
    const std::size_t sizes[] = {0, 1, 2, 3, 8, 20, 40, 100, 300};
    const dense2D<double> pos = awkward_points(random, DIM, sizes[random.below(9)]);
    point_tree<DIM> tree(pos);
    test::recursive_tree<DIM> reference(pos);
    id_vector ids = all_of(pos);
    for (int stage = 0; stage < 8; ++stage) {
        SCOPED_TRACE(stage);
        random.shuffle(ids);
        const std::size_t n = random.one_in(3) ? ids.size() : random.below(ids.size() + 1);
        id_vector chosen(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(n));
        if (random.one_in(4) && n != 0) {
            for (int k = 0; k < 5; ++k) chosen.push_back(random.one_of(ids));
        }
        if (stage == 0 || random.one_in(8)) {
            reference.build(chosen);
            ASSERT_EQ(build(tree, chosen), chosen.size());
        } else {
            chosen.resize(std::min<std::size_t>(chosen.size(), random.below(60)));
            if (random.one_in(2)) chosen.push_back(static_cast<unsigned int>(pos.cols()));
            if (random.one_in(2)) chosen.push_back(none);
            random.shuffle(chosen);
            ASSERT_EQ(insert(tree, chosen), reference.insert(chosen));
        }
        ASSERT_NO_FATAL_FAILURE(expect_same_answers(random, pos, tree, reference));
    }
}

TEST(point_tree_random, in_2D_answers_like_the_recursive_tree_hit_for_hit_and_tie_for_tie) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(700); ++seed) {
        ASSERT_NO_FATAL_FAILURE(run_tree<2>(seed));
    }
}

TEST(point_tree_random, in_3D_answers_like_the_recursive_tree_hit_for_hit_and_tie_for_tie) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(700); ++seed) {
        ASSERT_NO_FATAL_FAILURE(run_tree<3>(seed + 1000000));
    }
}

template <unsigned DIM> void run_large_tree(const dense2D<double>& pos, random_source& random) {
    point_tree<DIM> tree(pos);
    test::recursive_tree<DIM> reference(pos);
    build(tree, all_of(pos));
    reference.build(all_of(pos));
    for (int k = 0; k < 30; ++k) {
        ASSERT_NO_FATAL_FAILURE(expect_same_answers(random, pos, tree, reference));
    }
}

TEST(point_tree_random, large_trees_answer_like_the_recursive_tree) {
    random_source random(5);
    ASSERT_NO_FATAL_FAILURE(run_large_tree<2>(test::random_points(random, 2, 20000, 0, 1), random));
    ASSERT_NO_FATAL_FAILURE(run_large_tree<3>(test::random_points(random, 3, 20000, 0, 1), random));
    ASSERT_NO_FATAL_FAILURE(run_large_tree<2>(test::grid_points(random, 2, 20000, 40), random));
    ASSERT_NO_FATAL_FAILURE(run_large_tree<3>(test::grid_points(random, 3, 20000, 20), random));
}

// Scans all points.
template <unsigned DIM> void run_against_scan(const dense2D<double>& pos, random_source& random) {
    point_tree<DIM> tree(pos);
    id_vector ids = all_of(pos);
    random.shuffle(ids);
    const auto half = static_cast<std::ptrdiff_t>(ids.size() / 2);
    build(tree, {ids.begin(), ids.begin() + half});
    ASSERT_EQ(insert(tree, {ids.begin() + half, ids.end()}), ids.size() - ids.size() / 2);
    for (int k = 0; k < 60; ++k) {
        const unsigned int id = random.id_below(pos.cols());
        double point[DIM], box[2 * DIM];
        awkward_query<DIM>(random, pos, point);
        awkward_query<DIM>(random, pos, box);
        awkward_query<DIM>(random, pos, box + DIM);
        double least = largest_double;
        double least_other = largest_double;
        id_vector inside;
        for (unsigned int i = 0; i < pos.cols(); ++i) {
            const double* const p = pos.column(i);
            least = std::min(least, test::squared_distance<DIM>(point, p));
            if (i != id) {
                least_other = std::min(least_other, test::squared_distance<DIM>(pos.column(id), p));
            }
            if (test::is_inside<DIM>(box, p)) inside.push_back(i);
        }
        const nearest found = closest(tree, point);
        // A point may be passed over that is nearer by a rounding of the radius.
        ASSERT_GE(found.dist2, least);
        ASSERT_LE(found.dist2, least * (1 + 1e-14));
        if (found.id != none) {
            ASSERT_EQ(found.dist2, test::squared_distance<DIM>(point, pos.column(found.id)));
        }
        const nearest other = closest_to(tree, id);
        ASSERT_NE(other.id, id);
        ASSERT_GE(other.dist2, least_other);
        ASSERT_LE(other.dist2, least_other * (1 + 1e-14));
        id_vector found_inside = hits(tree, box);
        std::sort(found_inside.begin(), found_inside.end());
        ASSERT_EQ(found_inside, inside);
    }
}

TEST(point_tree_random, finds_the_distance_and_the_set_of_a_scan_over_all_points) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(100); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t n = random.between(1, 400);
        const bool grid = random.one_in(2);
        const auto make = [&](std::size_t dim) {
            return grid ? test::grid_points(random, dim, n, 7)
                        : test::random_points(random, dim, n, -5, 5);
        };
        ASSERT_NO_FATAL_FAILURE(run_against_scan<2>(make(2), random));
        ASSERT_NO_FATAL_FAILURE(run_against_scan<3>(make(3), random));
    }
}

TEST(point_tree, queries_and_insertions_go_by_ld) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(40); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        dense2D<double> pos = test::grid_points(random, 3, 80, 5);
        ASSERT_TRUE(pos.resize(2, pos.cols())); // ld stays 3
        ASSERT_EQ(pos.ld(), 3U);
        point_tree<2> tree(pos);
        test::recursive_tree<2> reference(pos);
        id_vector ids = all_of(pos);
        random.shuffle(ids);
        ASSERT_EQ(insert(tree, ids), reference.insert(ids));
        ASSERT_NO_FATAL_FAILURE(expect_same_answers(random, pos, tree, reference));
    }
}

TEST(point_tree, the_build_takes_columns_for_packed_whatever_ld_is) {
    random_source random(7);
    dense2D<double> pos = test::grid_points(random, 3, 80, 5);
    ASSERT_TRUE(pos.resize(2, pos.cols())); // ld stays 3
    point_tree<2> tree(pos);
    test::recursive_tree<2> reference(pos);
    build(tree, all_of(pos));
    reference.build(all_of(pos));
    ASSERT_NO_FATAL_FAILURE(expect_same_answers(random, pos, tree, reference));
}

TEST(point_tree, a_chain_of_sorted_insertions_is_walked_without_recursion) {
    const dense2D<double> pos = on_a_line(5000);
    point_tree<2> tree(pos);
    EXPECT_EQ(insert(tree, all_of(pos)), 5000U);
    EXPECT_EQ(all_hits(tree), all_of(pos));
    const double point[] = {4321.4, 3.0};
    EXPECT_EQ(closest(tree, point).id, 4321U);
}

// Nodes on the diagonal in a chain to the right, each with a leaf on its left: a walk over all
// remembers as many subtrees as the chain is long.
dense2D<double> comb(std::size_t nbr_teeth) {
    dense2D<double> pos(2, 2 * nbr_teeth);
    for (std::size_t k = 0; k < nbr_teeth; ++k) {
        for (std::size_t r = 0; r < 2; ++r) {
            pos(r, k) = static_cast<double>(k);
            pos(r, nbr_teeth + k) = static_cast<double>(k) - 0.5;
        }
    }
    return pos;
}

TEST(point_tree, a_walk_may_remember_any_number_of_subtrees) {
    const dense2D<double> pos = comb(3000);
    point_tree<2> tree(pos);
    test::recursive_tree<2> reference(pos);
    ASSERT_EQ(insert(tree, all_of(pos)), 6000U);
    ASSERT_EQ(reference.insert(all_of(pos)), 6000U);
    const double box[] = {-1, -1, 4000, 4000};
    EXPECT_EQ(hits(tree, box), reference.find_in_box(box));
    EXPECT_EQ(hits(tree, box).size(), 6000U);
    // From far off the diagonal the slab holds all nodes.
    const double point[] = {5000, -2000};
    EXPECT_EQ(closest(tree, point), reference.find_closest(point));
}

TEST(point_tree, among_equally_distant_points_the_first_on_the_way_is_the_nearest) {
    // Root 0 in the middle of a square. Its way leads right, then by y: 3 below, 4 above.
    const dense2D<double> pos = points({{0, 0}, {-1, -1}, {-1, 1}, {1, -1}, {1, 1}});
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    test::recursive_tree<2> reference(pos);
    reference.build(all_of(pos));
    for (const unsigned int id : all_of(pos)) {
        EXPECT_EQ(closest_to(tree, id), reference.find_closest(pos.column(id), id));
    }
    const nearest around_0 = closest_to(tree, 0);
    EXPECT_EQ(around_0, (nearest{4, 2.0}));
}

TEST(point_tree, gives_nothing_where_every_distance_overflows) {
    const dense2D<double> pos = points({{1e308, 0}, {-1e308, 0}, {infinite, 0}});
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    const double point[] = {0, 1e200};
    EXPECT_EQ(closest(tree, point), nearest{});
    EXPECT_EQ(closest_to(tree, 0), nearest{});
    EXPECT_EQ(closest_to(tree, 2), nearest{});
}

TEST(point_tree, gives_nothing_for_a_point_that_is_not_a_number) {
    const dense2D<double> pos = on_a_line(40);
    point_tree<2> tree(pos);
    build(tree, all_of(pos));
    const double no_x[] = {nan, 0.0};
    const double no_y[] = {0.0, nan};
    EXPECT_EQ(closest(tree, no_x), nearest{});
    EXPECT_EQ(closest(tree, no_y), nearest{});
    const double box[] = {nan, 0, 1, 1};
    EXPECT_EQ(hits(tree, box), id_vector{});
}

// Coordinates that are not numbers: every answer is still a true one, and comes.
template <unsigned DIM> void run_wild_tree(std::uint64_t seed) {
    SCOPED_TRACE(seed);
    random_source random(seed);
    dense2D<double> pos = awkward_points(random, DIM, random.between(1, 120));
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        for (std::size_t r = 0; r < DIM; ++r) {
            if (random.one_in(5)) pos(r, c) = nan;
            if (random.one_in(12)) pos(r, c) = random.one_in(2) ? infinite : -infinite;
        }
    }
    point_tree<DIM> tree(pos);
    id_vector ids = all_of(pos);
    random.shuffle(ids);
    const auto half = static_cast<std::ptrdiff_t>(ids.size() / 2);
    ASSERT_EQ(build(tree, {ids.begin(), ids.begin() + half}), ids.size() / 2);
    insert(tree, {ids.begin() + half, ids.end()});
    insert(tree, ids);
    for (int k = 0; k < 40; ++k) {
        double point[DIM], box[2 * DIM];
        awkward_query<DIM>(random, pos, point);
        awkward_query<DIM>(random, pos, box);
        awkward_query<DIM>(random, pos, box + DIM);
        const nearest found = closest(tree, point);
        ASSERT_EQ(found.id == none, found.dist2 == largest_double);
        if (found.id != none) {
            ASSERT_EQ(found.dist2, test::squared_distance<DIM>(point, pos.column(found.id)));
        }
        const unsigned int id = random.id_below(pos.cols());
        const nearest other = closest_to(tree, id);
        ASSERT_NE(other.id, id);
        if (other.id != none) {
            ASSERT_EQ(other.dist2,
                      test::squared_distance<DIM>(pos.column(id), pos.column(other.id)));
        }
        for (const unsigned int hit : hits(tree, box)) {
            ASSERT_LT(hit, pos.cols());
            ASSERT_TRUE(test::is_inside<DIM>(box, pos.column(hit)));
        }
    }
}

TEST(point_tree_random, coordinates_that_are_not_numbers_do_no_harm) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(150); ++seed) {
        ASSERT_NO_FATAL_FAILURE(run_wild_tree<2>(seed));
        ASSERT_NO_FATAL_FAILURE(run_wild_tree<3>(seed));
    }
}

TEST(point_tree, walks_over_the_zoo) {
    for (const test::mesh& m : test::zoo()) {
        SCOPED_TRACE(m.name);
        if (m.pos.rows() != 3) continue;
        point_tree<3> tree(m.pos);
        EXPECT_EQ(build(tree, all_of(m.pos)), m.pos.cols());
        const std::size_t nbr_added = insert(tree, all_of(m.pos));
        EXPECT_EQ(tree.nbr_slots(), m.pos.cols() + nbr_added + tree.nbr_free_slots());
        for (unsigned int id = 0; id < m.pos.cols(); ++id) {
            EXPECT_NE(closest_to(tree, id).id, id);
        }
    }
}

TEST(point_tree, a_copy_answers_like_its_source_and_grows_on_its_own) {
    const dense2D<double> pos = on_the_diagonal(9);
    point_tree<2> tree(pos);
    build(tree, {0, 1, 2, 3, 4});
    insert(tree, {3});
    point_tree<2> copy(tree);
    EXPECT_EQ(all_hits(copy), all_hits(tree));
    EXPECT_EQ(copy.nbr_slots(), 6U);
    EXPECT_EQ(copy.nbr_free_slots(), 1U);
    EXPECT_EQ(insert(copy, {8}), 1U);
    EXPECT_EQ(copy.nbr_slots(), 6U);
    EXPECT_EQ(copy.nbr_free_slots(), 0U);
    EXPECT_EQ(tree.nbr_free_slots(), 1U);
    EXPECT_EQ(all_hits(tree).size(), 5U);
}

TEST(point_tree, queries_may_run_at_once_in_several_threads) {
    random_source random(11);
    const dense2D<double> pos = test::random_points(random, 3, 2000, 0, 1);
    point_tree<3> tree(pos);
    build(tree, all_of(pos));
    std::vector<nearest> expected;
    for (unsigned int id = 0; id < 2000; ++id) expected.push_back(closest_to(tree, id));
    std::vector<int> same(4, 0);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < same.size(); ++t) {
        threads.emplace_back([&, t] {
            for (unsigned int id = 0; id < 2000; ++id) {
                same[t] += closest_to(tree, id) == expected[id];
                const double* const p = pos.column(id);
                const double box[] = {p[0] - 0.01, p[1] - 0.01, p[2] - 0.01,
                                      p[0] + 0.01, p[1] + 0.01, p[2] + 0.01};
                same[t] += !hits(tree, box).empty();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const int n : same) EXPECT_EQ(n, 4000);
}

} // namespace
