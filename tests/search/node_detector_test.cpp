#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "search/recursive_tree.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/node_detector.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::connectivity;
using test::list;
using test::none;
using test::points;
using test::random_source;
using test::vector_of;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;
using point2 = vector_fixed<double, 2>;
using point3 = vector_fixed<double, 3>;

constexpr double infinite = std::numeric_limits<double>::infinity();

id_vector hits(const node_detector& detector, const point2& lower, const point2& upper) {
    ids found;
    detector.find_in_box(lower, upper, found);
    return list(found);
}
id_vector hits(const node_detector& detector, const point3& lower, const point3& upper) {
    ids found;
    detector.find_in_box(lower, upper, found);
    return list(found);
}
// All nodes in the order of the walk.
id_vector all_hits(const node_detector& detector) {
    return hits(detector, point3{-infinite, -infinite, -infinite},
                point3{infinite, infinite, infinite});
}
id_vector sorted(id_vector values) {
    std::sort(values.begin(), values.end());
    return values;
}

// No two have a coordinate in common.
dense2D<double> on_the_diagonal(std::size_t dim, std::size_t n) {
    dense2D<double> pos(dim, n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t r = 0; r < dim; ++r) pos(r, i) = static_cast<double>(i);
    }
    return pos;
}

void expect_empty(node_detector& detector) {
    EXPECT_EQ(detector.size(), 0U);
    EXPECT_EQ(detector.find_closest(point2{0, 0}), none);
    EXPECT_EQ(detector.find_closest(point3{0, 0, 0}), none);
    EXPECT_EQ(detector.find_closest(0U), none);
    EXPECT_EQ(all_hits(detector), id_vector{});
    EXPECT_EQ(detector.insert(ids{0, 1}), 0U);
    EXPECT_EQ(detector.insert(connectivity({{0, 1}})), 0U);
    EXPECT_EQ(detector.size(), 0U);
}

TEST(node_detector, is_two_words_without_virtual_operations) {
    EXPECT_EQ(sizeof(node_detector), 2 * sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<node_detector>);
}

TEST(node_detector, without_arguments_is_empty) {
    node_detector detector;
    expect_empty(detector);
    detector.clear();
    expect_empty(detector);
}

// It would look at coordinates that are gone.
TEST(node_detector, on_a_temporary_array_does_not_compile) {
    using points = dense2D<double>;
    using columns = dense2D<unsigned int>;
    const auto is_made_of = []<class... Arguments>(std::type_identity<Arguments>...) {
        return std::is_constructible_v<node_detector, Arguments...>;
    };
    const auto is_made_on = [&]<class Pos>(std::type_identity<Pos> pos) {
        const bool of_all = is_made_of(pos);
        EXPECT_EQ(is_made_of(pos, std::type_identity<const ids&>{}), of_all);
        EXPECT_EQ(is_made_of(pos, std::type_identity<ids>{}), of_all);
        EXPECT_EQ(is_made_of(pos, std::type_identity<const columns&>{}), of_all);
        EXPECT_EQ(is_made_of(pos, std::type_identity<columns>{}), of_all);
        EXPECT_EQ(
            is_made_of(pos, std::type_identity<const columns*>{}, std::type_identity<columns*>{}),
            of_all);
        return of_all;
    };
    EXPECT_TRUE(is_made_on(std::type_identity<points&>{}));
    EXPECT_TRUE(is_made_on(std::type_identity<const points&>{}));
    EXPECT_FALSE(is_made_on(std::type_identity<points>{}));
    EXPECT_FALSE(is_made_on(std::type_identity<const points>{}));
    EXPECT_FALSE((std::is_convertible_v<const points&, node_detector>));
    EXPECT_TRUE((std::is_constructible_v<node_detector, node_detector>));

    const auto can_reinit = []<class Pos>(std::type_identity<Pos>) {
        return requires(node_detector & d, Pos && pos) { d.reinit(std::forward<Pos>(pos)); }
        || requires(node_detector & d, Pos && pos, const ids& n) {
            d.reinit(std::forward<Pos>(pos), n);
        }
        || requires(node_detector & d, Pos && pos, const columns& c) {
            d.reinit(std::forward<Pos>(pos), c);
        }
        || requires(node_detector & d, Pos && pos, const columns& c) {
            d.reinit(std::forward<Pos>(pos), &c, &c + 1);
        };
    };
    EXPECT_TRUE(can_reinit(std::type_identity<points&>{}));
    EXPECT_TRUE(can_reinit(std::type_identity<const points&>{}));
    EXPECT_FALSE(can_reinit(std::type_identity<points>{}));
    EXPECT_FALSE(can_reinit(std::type_identity<const points>{}));
}

TEST(node_detector, of_coordinates_holds_all_columns) {
    for (const std::size_t dim : {2U, 3U}) {
        const dense2D<double> pos = on_the_diagonal(dim, 7);
        node_detector detector(pos);
        EXPECT_EQ(detector.size(), 7U);
        EXPECT_EQ(all_hits(detector), (id_vector{3, 5, 6, 4, 1, 2, 0}));
        node_detector later;
        EXPECT_EQ(later.reinit(pos), 7);
        EXPECT_EQ(all_hits(later), all_hits(detector));
    }
}

TEST(node_detector, of_listed_nodes_holds_the_list_as_it_stands) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const ids nodes{5, 2, 2, 0};
    node_detector detector(pos, nodes);
    EXPECT_EQ(detector.size(), 4U);
    EXPECT_EQ(sorted(all_hits(detector)), (id_vector{0, 2, 2, 5}));
    EXPECT_EQ(list(nodes), (id_vector{5, 2, 2, 0}));
    EXPECT_EQ(detector.reinit(pos, ids{6}), 1);
    EXPECT_EQ(all_hits(detector), (id_vector{6}));
}

TEST(node_detector, of_a_connectivity_holds_its_distinct_nodes) {
    const dense2D<double> pos = on_the_diagonal(3, 7);
    const auto connect = connectivity({{5, 2, 3, none}, {2, 5, 6, 3}});
    node_detector detector(pos, connect);
    EXPECT_EQ(detector.size(), 4U);
    EXPECT_EQ(sorted(all_hits(detector)), (id_vector{2, 3, 5, 6}));
    EXPECT_EQ(detector.reinit(pos, connect), 4);
}

TEST(node_detector, of_several_connectivities_holds_their_distinct_nodes) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const dense2D<unsigned int> arrays[] = {connectivity({{5, 2}}), dense2D<unsigned int>(),
                                            test::with_gaps(connectivity({{2, 0, none}}), 1, 3U)};
    node_detector detector(pos, arrays, arrays + 3);
    EXPECT_EQ(sorted(all_hits(detector)), (id_vector{0, 2, 5}));
    EXPECT_EQ(detector.reinit(pos, arrays, arrays + 1), 2);
    EXPECT_EQ(sorted(all_hits(detector)), (id_vector{2, 5}));
}

TEST(node_detector, of_an_empty_list_has_a_tree_that_insertion_fills_from_slot_0) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const dense2D<unsigned int> no_elements;
    node_detector of_list(pos, ids());
    node_detector of_columns(pos, no_elements);
    node_detector of_range(pos, &no_elements, &no_elements);
    node_detector later;
    EXPECT_EQ(later.reinit(pos, ids()), 0);
    for (node_detector* detector : {&of_list, &of_columns, &of_range, &later}) {
        EXPECT_EQ(detector->size(), 0U);
        EXPECT_EQ(detector->find_closest(point2{0, 0}), none);
        EXPECT_EQ(all_hits(*detector), id_vector{});
        EXPECT_EQ(detector->insert(ids{4}), 1U);
        EXPECT_EQ(detector->size(), 1U);
        EXPECT_EQ(all_hits(*detector), (id_vector{4}));
    }
}

TEST(node_detector, of_coordinates_without_2_or_3_rows_is_empty) {
    for (const std::size_t rows : {0U, 1U, 4U}) {
        const dense2D<double> pos(rows, 5, 1.0);
        const dense2D<unsigned int> connect = connectivity({{0, 1}});
        node_detector a(pos), b(pos, ids{0, 1}), c(pos, connect), d(pos, &connect, &connect + 1);
        for (node_detector* detector : {&a, &b, &c, &d}) expect_empty(*detector);
    }
}

TEST(node_detector, reinit_with_bad_rows_gives_minus_1_and_keeps_the_tree) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const dense2D<unsigned int> connect = connectivity({{0, 1}});
    node_detector detector(pos);
    const id_vector before = all_hits(detector);
    for (const std::size_t rows : {0U, 1U, 4U}) {
        const dense2D<double> bad(rows, 5, 1.0);
        EXPECT_EQ(detector.reinit(bad), -1);
        EXPECT_EQ(detector.reinit(bad, ids{0}), -1);
        EXPECT_EQ(detector.reinit(bad, ids()), -1);
        EXPECT_EQ(detector.reinit(bad, connect), -1);
        EXPECT_EQ(all_hits(detector), before);
        EXPECT_EQ(detector.size(), 7U);
    }
}

TEST(node_detector, reinit_on_empty_coordinates_gives_minus_1) {
    const dense2D<double> pos;
    node_detector detector;
    EXPECT_EQ(detector.reinit(pos), -1);
}

TEST(node_detector, range_reinit_with_bad_rows_empties_the_detector_and_gives_0) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const dense2D<unsigned int> connect = connectivity({{0, 1}});
    for (const std::size_t rows : {0U, 1U, 4U}) {
        node_detector detector(pos);
        const dense2D<double> bad(rows, 5, 1.0);
        EXPECT_EQ(detector.reinit(bad, &connect, &connect + 1), 0);
        expect_empty(detector);
    }
}

TEST(node_detector, range_reinit_on_a_reversed_range_gives_minus_3_first_and_keeps_the_tree) {
    const dense2D<double> pos = on_the_diagonal(2, 7);
    const dense2D<double> bad(4, 5, 1.0);
    const dense2D<unsigned int> connect = connectivity({{0, 1}});
    node_detector detector(pos);
    EXPECT_EQ(detector.reinit(pos, &connect + 1, &connect), -3);
    EXPECT_EQ(detector.reinit(bad, &connect + 1, &connect), -3);
    EXPECT_EQ(detector.size(), 7U);
    node_detector constructed(pos, &connect + 1, &connect);
    expect_empty(constructed);
}

TEST(node_detector, reinit_replaces_a_tree_of_the_other_dimension) {
    const dense2D<double> flat = on_the_diagonal(2, 4);
    const dense2D<double> solid = on_the_diagonal(3, 6);
    node_detector detector(flat);
    EXPECT_EQ(detector.reinit(solid), 6);
    EXPECT_EQ(all_hits(detector).size(), 6U);
    EXPECT_EQ(detector.find_closest(point3{4.6, 5, 5}), 5U);
    EXPECT_EQ(detector.reinit(flat), 4);
    EXPECT_EQ(all_hits(detector).size(), 4U);
}

TEST(node_detector, clear_empties_it_until_the_next_reinit) {
    const dense2D<double> pos = on_the_diagonal(3, 4);
    node_detector detector(pos);
    detector.clear();
    expect_empty(detector);
    EXPECT_EQ(detector.reinit(pos), 4);
    EXPECT_EQ(detector.size(), 4U);
}

TEST(node_detector, finds_the_node_nearest_to_a_point) {
    const dense2D<double> pos = points({{0, 0}, {4, 0}, {0, 4}, {4, 4}});
    const node_detector detector(pos);
    EXPECT_EQ(detector.find_closest(point2{1, 1}), 0U);
    EXPECT_EQ(detector.find_closest(point2{3, 1}), 1U);
    EXPECT_EQ(detector.find_closest(point2{-9, 99}), 2U);
    EXPECT_EQ(detector.find_closest(point2{4, 4}), 3U);
}

TEST(node_detector, a_2D_point_on_3D_coordinates_has_z_0) {
    const dense2D<double> pos = points({{0, 0, 5}, {3, 0, 0}, {0, 0, -2}});
    const node_detector detector(pos);
    EXPECT_EQ(detector.find_closest(point2{0, 0}), 2U);
    EXPECT_EQ(detector.find_closest(point3{0, 0, 4}), 0U);
}

TEST(node_detector, of_a_3D_point_only_x_and_y_count_on_2D_coordinates) {
    const dense2D<double> pos = points({{0, 0}, {3, 0}});
    const node_detector detector(pos);
    EXPECT_EQ(detector.find_closest(point3{1, 0, 1e300}), 0U);
    EXPECT_EQ(detector.find_closest(point3{2, 0, infinite}), 1U);
}

TEST(node_detector, finds_the_other_node_nearest_to_a_node) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {3, 0}, {3, 0}, {9, 9}});
    const node_detector detector(pos, ids{0, 1, 2, 3});
    EXPECT_EQ(detector.find_closest(0U), 1U);
    EXPECT_EQ(detector.find_closest(1U), 0U);
    EXPECT_EQ(detector.find_closest(2U), 3U);
    EXPECT_EQ(detector.find_closest(3U), 2U);
    EXPECT_TRUE(detector.find_closest(4U) == 2U || detector.find_closest(4U) == 3U);
    EXPECT_EQ(detector.find_closest(5U), none);
    EXPECT_EQ(detector.find_closest(none), none);
}

TEST(node_detector, a_node_alone_has_no_nearest) {
    const dense2D<double> pos = on_the_diagonal(2, 3);
    const node_detector detector(pos, ids{1});
    EXPECT_EQ(detector.find_closest(1U), none);
    EXPECT_EQ(detector.find_closest(0U), 1U);
}

TEST(node_detector, finds_nothing_where_every_distance_overflows) {
    const dense2D<double> pos = points({{1e200, 0, 0}, {-1e200, 0, 0}});
    const node_detector detector(pos);
    EXPECT_EQ(detector.find_closest(point3{0, 0, 0}), none);
    EXPECT_EQ(detector.find_closest(0U), none);
    EXPECT_EQ(detector.find_closest(point3{std::nan(""), 0, 0}), none);
}

TEST(node_detector, finds_the_nodes_in_a_box_bounds_included) {
    const dense2D<double> pos = on_the_diagonal(2, 9);
    const node_detector detector(pos);
    EXPECT_EQ(sorted(hits(detector, point2{2, 2}, point2{5, 5})), (id_vector{2, 3, 4, 5}));
    EXPECT_EQ(hits(detector, point2{2.5, 2}, point2{2.75, 9}), id_vector{});
    EXPECT_EQ(hits(detector, point2{5, 5}, point2{2, 9}), id_vector{});
}

TEST(node_detector, find_in_box_twice_doubles_the_list) {
    const dense2D<double> pos = on_the_diagonal(2, 4);
    const node_detector detector(pos);
    ids found;
    detector.find_in_box(point2{1, 1}, point2{2, 2}, found);
    detector.find_in_box(point2{1, 1}, point2{2, 2}, found);
    EXPECT_EQ(list(found), (id_vector{2, 1, 2, 1}));
}

TEST(node_detector, a_2D_box_on_3D_coordinates_holds_the_plane_z_0_only) {
    const dense2D<double> pos = points({{1, 1, 0}, {1, 1, 1e-300}, {2, 2, -0.0}, {2, 2, 5}});
    const node_detector detector(pos);
    EXPECT_EQ(sorted(hits(detector, point2{0, 0}, point2{9, 9})), (id_vector{0, 2}));
}

TEST(node_detector, of_a_3D_box_only_x_and_y_count_on_2D_coordinates) {
    const dense2D<double> pos = on_the_diagonal(2, 4);
    const node_detector detector(pos);
    EXPECT_EQ(sorted(hits(detector, point3{1, 1, 50}, point3{2, 2, -50})), (id_vector{1, 2}));
}

TEST(node_detector, inserting_what_is_there_adds_nothing_and_shows_one_more_place) {
    const dense2D<double> pos = on_the_diagonal(2, 9);
    node_detector detector(pos, ids{0, 1, 2, 3});
    EXPECT_EQ(detector.insert(ids{4, 5, 6}), 3U);
    EXPECT_EQ(detector.size(), 7U);
    EXPECT_EQ(detector.insert(ids{4, 5, 6}), 0U);
    EXPECT_EQ(detector.size(), 8U);
    EXPECT_EQ(detector.insert(ids{7}), 1U);
    EXPECT_EQ(detector.size(), 8U);
    EXPECT_EQ(sorted(all_hits(detector)), (id_vector{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(node_detector, inserting_a_node_twice_into_an_empty_tree_adds_it_once) {
    const dense2D<double> pos = on_the_diagonal(2, 6);
    node_detector detector(pos, ids());
    EXPECT_EQ(detector.insert(ids{5, 5}), 1U);
    EXPECT_EQ(detector.size(), 2U);
}

TEST(node_detector, inserting_ids_that_are_no_columns_adds_nothing) {
    const dense2D<double> pos = on_the_diagonal(2, 6);
    node_detector detector(pos, ids{0});
    EXPECT_EQ(detector.insert(ids{6, none, 1, 1000}), 1U);
    EXPECT_EQ(detector.size(), 2U);
    EXPECT_EQ(detector.insert(ids()), 0U);
    EXPECT_EQ(detector.size(), 2U);
}

TEST(node_detector, inserting_a_connectivity_adds_its_distinct_nodes) {
    const dense2D<double> pos = on_the_diagonal(3, 9);
    node_detector detector(pos, ids());
    EXPECT_EQ(detector.insert(connectivity({{5, 2, none}, {2, 7, 5}})), 3U);
    EXPECT_EQ(detector.size(), 3U);
    EXPECT_EQ(detector.insert(dense2D<unsigned int>()), 0U);
}

TEST(node_detector, insertion_leaves_the_callers_list_in_its_order) {
    const dense2D<double> pos = on_the_diagonal(2, 9);
    node_detector detector(pos, ids());
    const ids nodes{0, 1, 2, 3, 4, 5, 6, 7, 8};
    detector.insert(nodes);
    EXPECT_EQ(list(nodes), (id_vector{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

// The order in which a list is inserted: every call draws anew from MT19937 with seed 1.
id_vector shuffled(id_vector nodes) {
    std::mt19937 generator(1);
    for (std::size_t k = 1; k < nodes.size(); ++k) {
        std::swap(nodes[k], nodes[generator() % (k + 1)]);
    }
    return nodes;
}

TEST(node_detector, the_generator_draws_the_published_sequence) {
    std::mt19937 generator(1);
    EXPECT_EQ(generator(), 1791095845U);
    EXPECT_EQ(generator(), 4282876139U);
}

template <unsigned DIM> void expect_shuffled_insertions(std::size_t n, random_source& random) {
    const dense2D<double> pos = test::grid_points(random, DIM, n, 20);
    node_detector detector(pos, ids());
    test::recursive_tree<DIM> reference(pos);
    reference.build({});
    for (int call = 0; call < 4; ++call) {
        const id_vector nodes = test::random_ids(random, n, n + 2, 20);
        ASSERT_EQ(detector.insert(vector_of(nodes)), reference.insert(shuffled(nodes)));
        ASSERT_EQ(detector.size(), reference.nbr_slots());
        const double box[] = {0, 0, DIM == 2 ? 20.0 : 0.0, 20, 20, 20};
        if (reference.nbr_slots() != 0) {
            ASSERT_EQ(all_hits(detector), reference.find_in_box(box));
        }
    }
}

TEST(node_detector, insertion_runs_in_a_shuffled_order_that_is_the_same_in_every_call) {
    random_source random(1);
    for (const std::size_t n : {1U, 2U, 3U, 10U, 50U, 400U, 1000U}) {
        ASSERT_NO_FATAL_FAILURE(expect_shuffled_insertions<2>(n, random));
        ASSERT_NO_FATAL_FAILURE(expect_shuffled_insertions<3>(n, random));
    }
}

TEST(node_detector, a_sorted_run_is_inserted_without_a_chain) {
    const dense2D<double> pos = on_the_diagonal(2, 200000);
    ids nodes(200000);
    for (unsigned int i = 0; i < nodes.size(); ++i) nodes[i] = i;
    node_detector detector(pos, ids());
    EXPECT_EQ(detector.insert(nodes), 200000U); // in a chain, 2e10 steps
    EXPECT_EQ(detector.find_closest(point2{1234.4, 1234.4}), 1234U);
}

TEST(node_detector, insertion_of_a_connectivity_shuffles_its_distinct_nodes) {
    random_source random(2);
    const dense2D<double> pos = test::grid_points(random, 3, 100, 10);
    const auto connect = connectivity({{5, 2, 40, none}, {2, 77, 5, 99}, {0, 1, 98, 41}});
    ids distinct;
    ASSERT_EQ(unique_indices(distinct, connect, ids()), 0);
    node_detector detector(pos, ids{50, 51});
    test::recursive_tree<3> reference(pos);
    reference.build({50, 51});
    EXPECT_EQ(detector.insert(connect), reference.insert(shuffled(list(distinct))));
    const double box[] = {0, 0, 0, 10, 10, 10};
    EXPECT_EQ(all_hits(detector), reference.find_in_box(box));
}

TEST(node_detector, a_copy_answers_like_its_source_and_grows_on_its_own) {
    for (const std::size_t dim : {2U, 3U}) {
        const dense2D<double> pos = on_the_diagonal(dim, 9);
        node_detector source(pos, ids{0, 1, 2, 3, 4});
        EXPECT_EQ(source.insert(ids{2}), 0U); // leaves a place
        node_detector copy(source);
        EXPECT_EQ(copy.size(), 6U);
        EXPECT_EQ(all_hits(copy), all_hits(source));
        EXPECT_EQ(copy.find_closest(point2{0, 0}), source.find_closest(point2{0, 0}));
        EXPECT_EQ(copy.insert(ids{8}), 1U);
        EXPECT_EQ(copy.size(), 6U); // the copy knew of the place
        EXPECT_EQ(all_hits(source), (id_vector{2, 4, 3, 1, 0}));
        EXPECT_EQ(source.insert(ids{7}), 1U);
        EXPECT_EQ(sorted(all_hits(copy)), (id_vector{0, 1, 2, 3, 4, 8}));
    }
}

TEST(node_detector, a_copy_outlives_its_source_and_reads_the_same_coordinates) {
    dense2D<double> pos = on_the_diagonal(2, 5);
    node_detector copy;
    {
        const node_detector source(pos);
        copy = source;
    }
    EXPECT_EQ(copy.find_closest(point2{1.1, 1.1}), 1U);
    for (std::size_t c = 0; c < pos.cols(); ++c) pos(0, c) += 100.0;
    EXPECT_EQ(copy.find_closest(point2{103.1, 3.1}), 3U);
}

TEST(node_detector, assignment_replaces_a_tree_of_either_dimension) {
    const dense2D<double> flat = on_the_diagonal(2, 4);
    const dense2D<double> solid = on_the_diagonal(3, 6);
    const node_detector of_flat(flat), of_solid(solid);
    node_detector detector;
    detector = of_flat;
    EXPECT_EQ(detector.size(), 4U);
    detector = of_solid;
    EXPECT_EQ(detector.size(), 6U);
    EXPECT_EQ(detector.find_closest(point3{5, 5, 4}), 5U);
    detector = of_flat;
    EXPECT_EQ(all_hits(detector), all_hits(of_flat));
}

TEST(node_detector, assignment_of_an_empty_one_empties) {
    const dense2D<double> pos = on_the_diagonal(2, 4);
    node_detector detector(pos);
    const node_detector empty;
    detector = empty;
    expect_empty(detector);
    detector = empty;
    node_detector copy(empty);
    expect_empty(copy);
}

TEST(node_detector, assigned_to_itself_stays) {
    const dense2D<double> pos = on_the_diagonal(2, 4);
    node_detector detector(pos);
    node_detector& same = detector;
    detector = same;
    EXPECT_EQ(detector.size(), 4U);
    EXPECT_EQ(all_hits(detector).size(), 4U);
}

// Every way of asking, on grids full of ties and on scattered points, after insertions.
template <unsigned DIM> void expect_the_trees_answers(std::uint64_t seed) {
    SCOPED_TRACE(seed);
    random_source random(seed);
    const std::size_t n = random.between(1, 200);
    const dense2D<double> pos = random.one_in(2) ? test::grid_points(random, DIM, n, 5)
                                                 : test::random_points(random, DIM, n, 0, 5);
    const id_vector listed = test::random_ids(random, random.below(n + 1), n, 0);
    const id_vector added = test::random_ids(random, random.below(n + 1), n + 3, 9);
    node_detector detector(pos, vector_of(listed));
    test::recursive_tree<DIM> reference(pos);
    reference.build(listed);
    ASSERT_EQ(detector.insert(vector_of(added)), reference.insert(shuffled(added)));
    ASSERT_EQ(detector.size(), reference.nbr_slots());
    for (int k = 0; k < 40; ++k) {
        const unsigned int node = random.id_below(n);
        ASSERT_EQ(detector.find_closest(node), reference.find_closest(pos.column(node), node).id);
        double p[6] = {}; // a point, or a box of 3 + 3, on or between the points
        for (double& x : p) x = 0.5 * static_cast<double>(random.below(11));
        const double flat_point[] = {p[0], p[1], 0.0};
        ASSERT_EQ(detector.find_closest(point2{p[0], p[1]}), reference.find_closest(flat_point).id);
        ASSERT_EQ(detector.find_closest(point3{p[0], p[1], p[2]}), reference.find_closest(p).id);
        if (reference.nbr_slots() == 0) continue;
        const double of_2D_box[] = {p[0], p[1], DIM == 2 ? p[3] : 0.0, DIM == 2 ? p[4] : p[3],
                                    p[4], 0.0};
        ASSERT_EQ(hits(detector, point2{p[0], p[1]}, point2{p[3], p[4]}),
                  reference.find_in_box(of_2D_box));
        const double of_3D_box[] = {p[0], p[1], DIM == 2 ? p[3] : p[2], DIM == 2 ? p[4] : p[3],
                                    p[4], p[5]};
        ASSERT_EQ(hits(detector, point3{p[0], p[1], p[2]}, point3{p[3], p[4], p[5]}),
                  reference.find_in_box(of_3D_box));
    }
}

TEST(node_detector_random, answers_like_the_recursive_tree_of_its_dimension) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(150); ++seed) {
        ASSERT_NO_FATAL_FAILURE(expect_the_trees_answers<2>(seed));
        ASSERT_NO_FATAL_FAILURE(expect_the_trees_answers<3>(seed + 1000000));
    }
}

// Two rows of columns that have three: its answers may be wrong, but are always nodes of the tree.
TEST(node_detector, on_columns_of_more_rows_finds_nodes_of_the_tree) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(20); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t n = random.between(1, 60);
        dense2D<double> solid = test::grid_points(random, 3, n, 6);
        const dense2D<double> lower = solid.sub_matrix(1, 0, 2, n);
        dense2D<double> shrunk = solid;
        ASSERT_TRUE(shrunk.resize(2, n));
        for (const dense2D<double>* const pos :
             {&lower, static_cast<const dense2D<double>*>(&shrunk)}) {
            const node_detector detector(*pos);
            ASSERT_EQ(detector.size(), n);
            for (unsigned int node = 0; node < n; ++node) {
                const unsigned int other = detector.find_closest(node);
                ASSERT_TRUE(other == none || (other < n && other != node));
                const double* const p = pos->column(node);
                ASSERT_LT(detector.find_closest(point2{p[0], p[1]}), n);
                for (const unsigned int hit : hits(detector, point2{p[0], p[1]}, point2{6, 6}))
                    ASSERT_LT(hit, n);
            }
        }
    }
}

TEST(node_detector, walks_over_the_zoo) {
    for (const test::mesh& m : test::zoo()) {
        SCOPED_TRACE(m.name);
        node_detector detector(m.pos, m.connect);
        if (m.pos.empty()) {
            expect_empty(detector);
            continue;
        }
        EXPECT_EQ(static_cast<int>(detector.size()), count_unique_indices(m.connect));
        for (unsigned int node = 0; node < m.pos.cols(); ++node) {
            const unsigned int nearest = detector.find_closest(node);
            EXPECT_TRUE(nearest == none || (nearest != node && nearest < m.pos.cols()));
        }
        EXPECT_LE(detector.insert(m.connect), detector.size());
        EXPECT_EQ(detector.reinit(m.pos), static_cast<int>(m.pos.cols()));
    }
}

TEST(node_detector, const_members_may_run_at_once_in_several_threads) {
    random_source random(3);
    const dense2D<double> pos = test::random_points(random, 2, 1000, 0, 1);
    const node_detector detector(pos);
    id_vector expected;
    for (unsigned int node = 0; node < 1000; ++node) {
        expected.push_back(detector.find_closest(node));
    }
    std::vector<unsigned int> same(4, 0);
    std::vector<std::thread> threads;
    for (unsigned int& n : same) {
        threads.emplace_back([&] {
            for (unsigned int node = 0; node < 1000; ++node) {
                n += detector.find_closest(node) == expected[node];
                n += !hits(detector, point2{0, 0}, point2{pos(0, node), pos(1, node)}).empty();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const unsigned int n : same) EXPECT_EQ(n, 2000U);
}

} // namespace
