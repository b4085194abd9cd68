#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <ostream>
#include <vector>

#include "search/point_tree.h"
#include "search/recursive_tree.h"
#include "search/tree_calls.h"
#include "support/failing_call.h"
#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::all_of;
using test::closest;
using test::closest_to;
using test::largest_double;
using test::nearest;
using test::none;
using test::random_source;

namespace {

using id_vector = std::vector<unsigned int>;

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <unsigned DIM> void build_indexed(point_tree<DIM>& tree, const id_vector& ids) {
    ASSERT_EQ(tree.build(ids.data(), ids.size()), ids.size());
    tree.index_distances(ids.data(), ids.size());
}

// Clouds with all kinds of ties, and with none.
enum class cloud {
    space,
    lattice,
    scaled_lattice,
    turned_lattice,
    full_lattice,
    layers,
    plane,
    plane_lattice,
    tilted_plane,
    axis,
    axis_lattice,
    sphere,
    few_places,
    one_place,
    clusters,
    with_a_far_node,
    tiny,
    least,
    huge,
    off_the_origin,
    holes_of_infinity,
    nbr_clouds
};

double some_step(random_source& random) {
    const double steps[] = {0.8, 0.1, 1.0 / 3.0, 1e-3, 1e6};
    return steps[random.below(5)];
}

void shape_point(cloud kind, random_source& random, double step, std::size_t dim, double* p) {
    const auto on_lattice = [&](double size) {
        for (std::size_t r = 0; r < dim; ++r) p[r] = std::round(4 * p[r]) * size;
    };
    switch (kind) {
    case cloud::lattice: on_lattice(1.0); break;
    case cloud::scaled_lattice: on_lattice(step); break;
    case cloud::turned_lattice: {
        on_lattice(step);
        const double x = p[0];
        p[0] = 0.6 * x - 0.8 * p[1];
        p[1] = 0.8 * x + 0.6 * p[1];
        break;
    }
    case cloud::layers: p[0] = random.one_in(3) ? std::round(3 * p[0]) : 0.5; break;
    case cloud::plane: p[dim - 1] = 0.0; break;
    case cloud::plane_lattice:
        on_lattice(step);
        p[dim - 1] = 0.0;
        break;
    case cloud::tilted_plane: p[dim - 1] = 0.3 * p[0] + (dim == 3 ? 0.7 * p[1] : 0.1); break;
    case cloud::axis:
        for (std::size_t r = 1; r < dim; ++r) p[r] = 0.0;
        break;
    case cloud::axis_lattice:
        p[0] = std::round(20 * p[0]) * step;
        for (std::size_t r = 1; r < dim; ++r) p[r] = 0.0;
        break;
    case cloud::sphere: {
        double length2 = 0.0;
        for (std::size_t r = 0; r < dim; ++r) length2 += p[r] * p[r];
        for (std::size_t r = 0; r < dim; ++r) p[r] /= std::sqrt(length2);
        break;
    }
    case cloud::few_places: on_lattice(0.0 + 0.25); break;
    case cloud::one_place:
        for (std::size_t r = 0; r < dim; ++r) p[r] = 2.0;
        break;
    case cloud::clusters:
        for (std::size_t r = 0; r < dim; ++r) p[r] = std::round(2 * p[r]) + 1e-9 * p[r];
        break;
    case cloud::with_a_far_node:
        if (random.one_in(100)) p[0] = std::pow(10.0, random.uniform(0, 120));
        break;
    case cloud::tiny:
        for (std::size_t r = 0; r < dim; ++r) p[r] *= 1e-120;
        break;
    case cloud::least: on_lattice(1e-161); break;
    case cloud::huge:
        for (std::size_t r = 0; r < dim; ++r) p[r] *= random.one_in(2) ? 3e99 : 1e153;
        break;
    case cloud::off_the_origin:
        for (std::size_t r = 0; r < dim; ++r) p[r] = 1e12 + std::round(100 * p[r]) / 64;
        break;
    case cloud::holes_of_infinity:
        on_lattice(step);
        if (random.one_in(9)) p[random.below(dim)] = random.one_in(2) ? infinite : -infinite;
        break;
    default: break;
    }
}

// The nodes of a grid, each place once, numbered at random.
dense2D<double> full_lattice(random_source& random, double step, std::size_t dim, std::size_t n) {
    const auto side = static_cast<std::size_t>(
        std::ceil(std::pow(static_cast<double>(n), 1.0 / static_cast<double>(dim))));
    std::vector<std::size_t> places(n);
    std::iota(places.begin(), places.end(), std::size_t{0});
    random.shuffle(places);
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < n; ++c) {
        std::size_t rest = places[c];
        for (std::size_t r = 0; r < dim; ++r) {
            pos(r, c) = step * static_cast<double>(rest % side);
            rest /= side;
        }
    }
    return pos;
}

dense2D<double> make_cloud(cloud kind, random_source& random, std::size_t dim, std::size_t n) {
    dense2D<double> pos = test::random_points(random, dim, n, -1.0, 1.0);
    const double step = some_step(random);
    if (kind == cloud::full_lattice) return full_lattice(random, step, dim, n);
    for (std::size_t c = 0; c < n; ++c) shape_point(kind, random, step, dim, pos.column(c));
    return pos;
}

// At nodes, amid nodes (the centre of a cell or an edge of a lattice), near them and anywhere.
template <unsigned DIM>
void make_query(random_source& random, const dense2D<double>& pos, double* point) {
    const double* const a = pos.column(random.below(pos.cols()));
    const double* const b = pos.column(random.below(pos.cols()));
    const std::size_t kind = random.below(6);
    for (unsigned axis = 0; axis < DIM; ++axis) {
        switch (kind) {
        case 0: point[axis] = a[axis]; break;
        case 1: point[axis] = 0.5 * a[axis] + 0.5 * b[axis]; break;
        case 2: point[axis] = std::nextafter(a[axis], b[axis]); break;
        case 3: point[axis] = random.one_in(2) ? a[axis] : 0.5 * a[axis] + 0.5 * b[axis]; break;
        case 4: point[axis] = a[axis] + random.uniform(-0.5, 0.5); break;
        default: point[axis] = random.uniform(-1.0, 1.0) * std::pow(10.0, random.uniform(-3, 3));
        }
    }
    if (random.one_in(50)) point[random.below(DIM)] = random.one_in(2) ? 1e110 : infinite;
    if (random.one_in(100)) point[random.below(DIM)] = nan;
}

// Returns whether there was an index.
template <unsigned DIM> bool run_cloud(cloud kind, std::uint64_t seed) {
    SCOPED_TRACE(static_cast<int>(kind));
    SCOPED_TRACE(seed);
    random_source random(seed * 100 + static_cast<std::uint64_t>(kind));
    const std::size_t sizes[] = {1, 26, 27, 50, 104, 105, 300, 1000, 3000};
    const std::size_t n = sizes[random.below(9)];
    const dense2D<double> pos = make_cloud(kind, random, DIM, n);
    id_vector ids = all_of(pos);
    random.shuffle(ids);
    if (random.one_in(3)) ids.resize(ids.size() / 2); // not all
    if (random.one_in(3) && !ids.empty()) {
        for (int k = 0; k < 40; ++k) ids.push_back(random.one_of(ids)); // some twice
    }
    point_tree<DIM> tree(pos);
    build_indexed(tree, ids);
    test::recursive_tree<DIM> reference(pos);
    reference.build(ids);
    for (int k = 0; k < 120; ++k) {
        double point[DIM];
        make_query<DIM>(random, pos, point);
        EXPECT_EQ(closest(tree, point), reference.find_closest(point));
        const unsigned int id = random.id_below(n);
        EXPECT_EQ(closest_to(tree, id), reference.find_closest(pos.column(id), id));
        if (::testing::Test::HasFailure()) break;
    }
    return tree.has_distance_index();
}

TEST(distance_index, finds_what_the_plain_walk_finds_in_every_cloud_tie_for_tie) {
    for (int kind = 0; kind < static_cast<int>(cloud::nbr_clouds); ++kind) {
        int nbr_indexed = 0;
        for (std::uint64_t seed = 0; seed < test::nbr_runs(60); ++seed) {
            nbr_indexed += run_cloud<2>(static_cast<cloud>(kind), seed) ? 1 : 0;
            nbr_indexed += run_cloud<3>(static_cast<cloud>(kind), seed + 5000) ? 1 : 0;
            if (HasFailure()) return;
        }
        EXPECT_GT(nbr_indexed, 20);
    }
}

// Rounding may pass over one of the copies, and another one be met.
TEST(distance_index, of_a_node_held_several_times_any_copy_may_be_met) {
    random_source random(1);
    const dense2D<double> pos = make_cloud(cloud::scaled_lattice, random, 3, 80);
    for (int run = 0; run < 300; ++run) {
        id_vector ids;
        for (int k = 0; k < 300; ++k) ids.push_back(random.id_below(pos.cols()));
        point_tree<3> tree(pos);
        build_indexed(tree, ids);
        ASSERT_TRUE(tree.has_distance_index());
        test::recursive_tree<3> reference(pos);
        reference.build(ids);
        for (unsigned int id = 0; id < pos.cols(); ++id) {
            ASSERT_EQ(closest_to(tree, id), reference.find_closest(pos.column(id), id));
        }
    }
}

TEST(distance_index, an_insertion_gives_it_up_and_answers_stay_those_of_the_tree) {
    random_source random(2);
    const dense2D<double> pos = make_cloud(cloud::plane_lattice, random, 3, 400);
    const id_vector ids = all_of(pos);
    const id_vector half(ids.begin(), ids.begin() + 200);
    const id_vector rest(ids.begin() + 200, ids.end());
    point_tree<3> tree(pos);
    build_indexed(tree, half);
    EXPECT_TRUE(tree.has_distance_index());
    const point_tree<3> copy(tree);
    test::recursive_tree<3> reference(pos);
    reference.build(half);
    for (const unsigned int id : ids) {
        ASSERT_EQ(closest_to(copy, id), reference.find_closest(pos.column(id), id));
    }
    EXPECT_EQ(tree.insert(rest.data(), rest.data() + rest.size()), reference.insert(rest));
    EXPECT_FALSE(tree.has_distance_index());
    EXPECT_TRUE(copy.has_distance_index());
    for (const unsigned int id : ids) {
        ASSERT_EQ(closest_to(tree, id), reference.find_closest(pos.column(id), id));
    }
}

TEST(distance_index, without_memory_the_tree_answers_alone) {
    random_source random(3);
    const dense2D<double> pos = make_cloud(cloud::full_lattice, random, 3, 500);
    const id_vector ids = all_of(pos);
    test::recursive_tree<3> reference(pos);
    reference.build(ids);
    std::vector<nearest> answers;
    for (unsigned int id = 0; id < 20; ++id) {
        answers.push_back(reference.find_closest(pos.column(id), id));
    }
    EXPECT_GE(test::fail_each_allocation([&](std::size_t k, bool and_later) {
                  point_tree<3> tree(pos);
                  tree.build(ids.data(), ids.size());
                  const test::failing_call o = test::call_failing(
                      k, and_later, [&] { tree.index_distances(ids.data(), ids.size()); });
                  EXPECT_FALSE(o.threw());
                  EXPECT_TRUE(o.failed || tree.has_distance_index());
                  for (unsigned int id = 0; id < 20; ++id) {
                      EXPECT_EQ(closest_to(tree, id), answers[id]);
                  }
                  return o.failed;
              }),
              4U);
}

TEST(distance_index, of_nodes_that_were_moved_still_gives_a_node_at_its_distance) {
    random_source random(4);
    dense2D<double> pos = make_cloud(cloud::scaled_lattice, random, 3, 2000);
    point_tree<3> tree(pos);
    build_indexed(tree, all_of(pos));
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            if (random.one_in(3)) pos(r, c) = random.one_in(9) ? nan : 0.8 * random.uniform(-9, 9);
            if (random.one_in(3)) pos(r, c) = std::round(pos(r, c)) * 0.8;
        }
    }
    for (int k = 0; k < 2000; ++k) {
        double point[3];
        make_query<3>(random, pos, point);
        const nearest found = closest(tree, point);
        ASSERT_TRUE(found.id == none
                        ? found.dist2 == largest_double
                        : found.dist2 == test::squared_distance<3>(point, pos.column(found.id)));
    }
}

} // namespace
