#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/geometry_arrays.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/geometry.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(centroids, of_a_mixed_face_array_divide_by_three_and_four) {
    const dense2D<double> pos = points({{0, 0}, {3, 0}, {3, 3}, {0, 3}});
    dense2D<double> centers;
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, none}, {0, 1, 2, 3}}), centers, ET_FACE_MIX),
              0);
    expect_near(centers, points({{2, 1}, {1.5, 1.5}}), 1e-15);
}

TEST(centroids, of_quadratic_elements_are_refused_with_zeros_of_full_size) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}, {2, 0}, {2, 1}, {1, 2}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 4, 5}}), centers, ET_TRIA6), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}})));
}

TEST(centroids, clear_their_output_on_every_failure) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    const dense2D<unsigned int> triangle = connectivity({{0, 1, 2}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(dense2D<double>(4, 3, 0.0), triangle, centers, ET_TRIA3), -1);
    EXPECT_TRUE(centers.empty());
    centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 3}}), centers, ET_TRIA3), -2);
    EXPECT_TRUE(centers.empty());
}

TEST(centroids, look_at_the_connectivity_before_they_refuse_a_type) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    dense2D<double> centers = points({{7, 7, 7}});
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 0, 1, 3}}), centers, ET_TRIA6), -2);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1}}), centers, ET_UNKNOWN), -2);
    EXPECT_TRUE(centers.empty());
    EXPECT_EQ(centroids(pos, connectivity({{0, 1}, {1, 2}}), centers, ET_BAR_MIX), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}, {0, 0}})));
    EXPECT_EQ(centroids(pos, connectivity({{0}}), centers, ET_NODE), -4);
    EXPECT_EQ(list(centers), list(points({{0, 0}})));
}

TEST(centroids, without_memory_give_minus_199_and_no_centers) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}, {0, 1}});
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {1, 2}});
    for (const element_type type : {ET_BAR2, ET_BAR_MIX}) {
        dense2D<double> centers = points({{7, 7}});
        const memory_failure failure(0, true);
        EXPECT_EQ(centroids(pos, bars, centers, type), -199);
        EXPECT_TRUE(failure.happened());
        EXPECT_TRUE(centers.empty());
    }
}

TEST(centroids, need_coordinates_of_the_dimension_of_the_element) {
    dense2D<double> centers;
    const dense2D<double> line = points({{0}, {2}, {4}, {6}});
    const dense2D<double> plane = points({{0, 0}, {2, 0}, {0, 4}, {1, 1}});
    EXPECT_EQ(centroids(line, connectivity({{0, 1}}), centers, ET_BAR2), 0);
    EXPECT_EQ(list(centers), list(points({{1}})));
    EXPECT_EQ(centroids(line, connectivity({{0, 1, 2}}), centers, ET_TRIA3), -1);
    EXPECT_EQ(centroids(plane, connectivity({{0, 1, 2, 3}}), centers, ET_TETRA4), -1);
    EXPECT_EQ(centroids(plane, connectivity({{0, 1}}), centers, ET_BAR2), 0);
    EXPECT_EQ(list(centers), list(points({{1, 0}})));
}

TEST(centroids, rows_come_before_the_empty_mesh) {
    dense2D<double> centers;
    EXPECT_EQ(centroids(dense2D<double>(), dense2D<unsigned int>(), centers, ET_TRIA3), -1);
    const dense2D<double> pos = points({{0, 0, 0}});
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_TRIA3), 0);
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_FACE_MIX), 0);
    EXPECT_EQ(centroids(pos, dense2D<unsigned int>(), centers, ET_TRIA6), -4);
    EXPECT_TRUE(centers.empty());
}

TEST(centroids, of_a_mixed_array_with_the_rows_of_one_shape_take_missing_rows_as_absent) {
    const dense2D<double> pos = points({{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}});
    dense2D<double> centers;
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2}}), centers, ET_FACE_MIX), 0);
    expect_near(centers, points({{1, 1, 0}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.75, 0.75, 0.75}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.6, 0.6, 1.2}}), 1e-15);
    EXPECT_EQ(centroids(pos, connectivity({{0, 1, 2, 3, 3, 3}}), centers, ET_SOLID_MIX), 0);
    expect_near(centers, points({{0.5, 0.5, 1.5}}), 1e-15);
}

struct served_type {
    element_type type;
    std::size_t nbr_nodes;
    double factor;
};
const served_type served_types[] = {
    {ET_BAR2, 2, 0.5},    {ET_TRIA3, 3, 0.3333333333333333},
    {ET_QUAD4, 4, 0.25},  {ET_TETRA4, 4, 0.25},
    {ET_PYRA5, 5, 0.2},   {ET_PENTA6, 6, 0.16666666666666666},
    {ET_HEXA8, 8, 0.125},
};

std::vector<double> plain_centroid(const dense2D<double>& pos, const unsigned int* nodes,
                                   std::size_t n, double factor) {
    std::vector<double> center(pos.rows(), 0.0);
    for (std::size_t r = 0; r < pos.rows(); ++r) {
        double sum = pos(r, nodes[0]);
        for (std::size_t k = 1; k < n; ++k) sum += pos(r, nodes[k]);
        center[r] = sum * factor;
    }
    return center;
}

TEST(centroids, of_every_served_type_sum_in_column_order_and_multiply_once) {
    for (std::uint64_t seed = 0; seed < nbr_runs(400); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        for (const served_type& t : served_types) {
            const std::size_t dim = element_dim(t.type) + random.below(4 - element_dim(t.type));
            dense2D<double> pos = random_points(random, dim, 12, -5, 5);
            dense2D<unsigned int> connect(t.nbr_nodes, 1 + random.below(9));
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                for (std::size_t r = 0; r < t.nbr_nodes; ++r) connect(r, c) = random.id_below(12);
            }
            std::vector<std::vector<double>> expected;
            for (std::size_t c = 0; c < connect.cols(); ++c) {
                expected.push_back(plain_centroid(pos, connect.column(c), t.nbr_nodes, t.factor));
            }
            if (random.one_in(2)) pos = with_gaps(pos, 2, 1e9);
            if (random.one_in(2)) connect = with_gaps(connect, 3, none);
            dense2D<double> parent(dim + 3, connect.cols() + 2, 4.0);
            dense2D<double> centers =
                random.one_in(2) ? parent.sub_matrix(1, 1, dim, 1) : dense2D<double>();
            ASSERT_EQ(centroids(pos, connect, centers, t.type), 0);
            EXPECT_EQ(list(centers), expected);
        }
        if (HasFailure()) break;
    }
}

TEST(centroids, of_mixed_solids_divide_by_the_nodes_of_each_column) {
    for (std::uint64_t seed = 0; seed < nbr_runs(400); ++seed) {
        random_source random(seed);
        const dense2D<double> pos = random_points(random, 3, 12, -5, 5);
        dense2D<unsigned int> connect(8, 6, none);
        std::vector<std::vector<double>> expected;
        for (std::size_t c = 0; c < connect.cols(); ++c) {
            const std::size_t n = random.one_of(std::vector<std::size_t>{4, 5, 6, 8});
            for (std::size_t r = 0; r < n; ++r) connect(r, c) = random.id_below(12);
            expected.push_back(
                plain_centroid(pos, connect.column(c), n, 1.0 / static_cast<double>(n)));
        }
        dense2D<double> centers;
        ASSERT_EQ(centroids(pos, connect, centers, ET_SOLID_MIX), 0);
        ASSERT_EQ(list(centers), expected) << seed;
    }
}

} // namespace
