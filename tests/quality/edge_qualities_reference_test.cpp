#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "quality/plain_edges.h"
#include "quality/random_elements.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/quality.h"

namespace {

using namespace kv7::tessmaker;
using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
using test::add_edges;
using test::edge_set;
using test::expect_near;
using test::measure;
using test::measured;
using test::none;
using test::recorder;
using test::remove_edges;
using test::same_metric;
using test::same_size;
using test::vector_of;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

const dense2D<unsigned int> no_edges;

const element_type all_types[] = {
    kv7::ET_UNKNOWN,   kv7::ET_NODE,   kv7::ET_BAR_MIX, kv7::ET_BAR2,  kv7::ET_BAR3,
    kv7::ET_FACE_MIX,  kv7::ET_TRIA3,  kv7::ET_QUAD4,   kv7::ET_TRIA6, kv7::ET_QUAD8,
    kv7::ET_QUAD9,     kv7::ET_TETRA4, kv7::ET_TETRA10, kv7::ET_PYRA5, kv7::ET_PYRA13,
    kv7::ET_PYRA14,    kv7::ET_PENTA6, kv7::ET_PENTA15, kv7::ET_HEXA8, kv7::ET_PENTA18,
    kv7::ET_SOLID_MIX, kv7::ET_HEXA20, kv7::ET_HEXA27};

// A^T A + I / 10 for random A; one in `bad_every` is clearly not positive definite, or NaN.
dense2D<double> random_metrics(test::random_source& random, std::size_t dim, std::size_t n,
                               std::size_t bad_every) {
    dense2D<double> metrics(dim == 2 ? 3 : 6, n, 0.0);
    for (std::size_t c = 0; c < n; ++c) {
        double a[3][3];
        for (auto& row : a) {
            for (double& x : row) x = random.uniform(-2.0, 2.0);
        }
        double* m = metrics.column(c);
        for (std::size_t i = 0; i < dim; ++i) {
            for (std::size_t j = 0; j <= i; ++j, ++m) {
                for (std::size_t k = 0; k < dim; ++k) *m += a[k][i] * a[k][j];
                if (i == j) *m += 0.1;
            }
        }
        if (bad_every != 0 && random.one_in(bad_every)) {
            metrics(dim == 2 ? 2 : 5, c) = random.one_in(3) ? nan_value : -1.0;
        }
    }
    return metrics;
}

dense1D<double, 8> random_sizes(test::random_source& random, std::size_t n, std::size_t bad_every) {
    const std::vector<double> bad = {0.0, -0.0, -1.0, nan_value, -infinite};
    dense1D<double, 8> sizes(n);
    for (std::size_t i = 0; i < n; ++i) {
        sizes[i] = std::exp(random.uniform(-3.0, 3.0));
        if (bad_every != 0 && random.one_in(bad_every)) sizes[i] = random.one_of(bad);
    }
    return sizes;
}

dense2D<unsigned int> random_pairs(test::random_source& random, const edge_set& edges,
                                   std::size_t limit) {
    if (random.one_in(3)) return dense2D<unsigned int>();
    std::vector<std::pair<unsigned int, unsigned int>> chosen;
    for (const auto& [a, b] : edges) {
        if (random.one_in(3)) {
            chosen.push_back(random.one_in(2) ? std::pair(a, b) : std::pair(b, a));
        }
    }
    for (int k = 0; k < 3; ++k) chosen.push_back({random.id_below(limit), random.id_below(limit)});
    chosen.push_back(chosen.front());
    chosen.push_back({none, none});
    dense2D<unsigned int> pairs(2, chosen.size());
    for (std::size_t c = 0; c < chosen.size(); ++c) {
        pairs(0, c) = chosen[c].first;
        pairs(1, c) = chosen[c].second;
    }
    return pairs;
}

TEST(edge_qualities, agrees_with_a_plain_set_of_edges_for_every_type) {
    test::random_source random(61002);
    for (const element_type type : all_types) {
        for (int round = 0; round < 24; ++round) {
            SCOPED_TRACE("type " + std::to_string(type) + ", round " + std::to_string(round));
            const std::size_t dim = random.between(2, 3);
            const std::size_t n = random.between(1, 40);
            const std::size_t bad_every = random.one_in(2) ? 0 : 8;
            dense2D<double> pos = random.one_in(3) ? test::grid_points(random, dim, n, 3)
                                                   : test::random_points(random, dim, n, -2, 2);
            dense2D<unsigned int> connect =
                type == kv7::ET_UNKNOWN
                    ? dense2D<unsigned int>()
                    : test::random_elements(random, type, random.between(1, 12), n);
            if (type == kv7::ET_FACE_MIX && random.one_in(4)) {
                connect = test::first_rows(connect, 3);
            }
            edge_set edges;
            add_edges(connect, type, edges);
            dense2D<unsigned int> exclude = random_pairs(random, edges, n);
            remove_edges(exclude, edges);
            dense1D<double, 8> sizes = random_sizes(random, n, bad_every);
            dense2D<double> metrics = random_metrics(random, dim, n, bad_every);
            if (random.one_in(2)) {
                pos = test::with_gaps(pos, 2, nan_value);
                connect = test::with_gaps(connect, 3, 0xDDDDDDDDU);
                metrics = test::with_gaps(metrics, 1, nan_value);
                exclude = test::with_gaps(exclude, 1, 0U);
            }
            const int nbr_edges = static_cast<int>(edges.size());
            const measured by_sizes = measure(pos, edges, sizes);
            recorder iso;
            EXPECT_EQ(edge_qualities(pos, connect, type, sizes, iso, exclude),
                      by_sizes.all_good ? nbr_edges : -4);
            expect_near(iso.values, by_sizes.values, 4);
            const measured by_metrics = measure(pos, edges, metrics);
            recorder aniso;
            EXPECT_EQ(edge_qualities(pos, connect, type, metrics, aniso, exclude),
                      by_metrics.all_good ? nbr_edges : -4);
            expect_near(aniso.values, by_metrics.values, 32);

            recorder iso_range;
            recorder aniso_range;
            const dense1D<int, 8> types = vector_of<int>({type});
            EXPECT_EQ(edge_qualities(pos, &connect, &connect + 1, types, sizes, iso_range, exclude),
                      by_sizes.all_good ? nbr_edges : -5);
            EXPECT_EQ(
                edge_qualities(pos, &connect, &connect + 1, types, metrics, aniso_range, exclude),
                by_metrics.all_good ? nbr_edges : -5);
            EXPECT_EQ(iso_range.values, iso.values);
            EXPECT_EQ(aniso_range.values, aniso.values);
        }
    }
}

TEST(edge_qualities, agrees_with_a_plain_set_of_edges_for_ranges) {
    test::random_source random(61003);
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const std::size_t dim = random.between(2, 3);
        const std::size_t n = random.between(1, 60);
        const std::size_t nbr_members = random.between(1, 4);
        const dense2D<double> pos = test::random_points(random, dim, n, -2, 2);
        std::vector<dense2D<unsigned int>> members;
        std::vector<int> types;
        edge_set edges;
        for (std::size_t k = 0; k < nbr_members; ++k) {
            const element_type type = all_types[random.between(1, std::size(all_types) - 1)];
            members.push_back(test::random_elements(random, type, random.below(8), n));
            types.push_back(type);
            add_edges(members.back(), type, edges);
        }
        const dense2D<unsigned int> exclude = random_pairs(random, edges, n);
        remove_edges(exclude, edges);
        const int nbr_edges = static_cast<int>(edges.size());
        const dense1D<double, 8> sizes = random_sizes(random, n, round % 2 ? 10 : 0);
        const dense2D<double> metrics = random_metrics(random, dim, n, round % 2 ? 10 : 0);
        const measured by_sizes = measure(pos, edges, sizes);
        const measured by_metrics = measure(pos, edges, metrics);
        recorder iso;
        recorder aniso;
        const dense2D<unsigned int>* const begin = members.data();
        EXPECT_EQ(edge_qualities(pos, begin, begin + nbr_members, vector_of<int>(types), sizes, iso,
                                 exclude),
                  by_sizes.all_good ? nbr_edges : -5);
        EXPECT_EQ(edge_qualities(pos, begin, begin + nbr_members, vector_of<int>(types), metrics,
                                 aniso, exclude),
                  by_metrics.all_good ? nbr_edges : -5);
        expect_near(iso.values, by_sizes.values, 4);
        expect_near(aniso.values, by_metrics.values, 32);
    }
}

TEST(edge_qualities, is_the_plain_ratio_under_a_metric_of_one_size) {
    test::random_source random(61004);
    for (const std::size_t dim : {std::size_t{2}, std::size_t{3}}) {
        const dense2D<double> pos = test::random_points(random, dim, 50, -1, 1);
        const element_type type = dim == 2 ? kv7::ET_TRIA3 : kv7::ET_TETRA4;
        const dense2D<unsigned int> connect = test::random_elements(random, type, 100, 50);
        recorder iso;
        recorder aniso;
        const int nbr_edges =
            edge_qualities(pos, connect, type, same_size(50, 0.25), iso, no_edges);
        EXPECT_GT(nbr_edges, 0);
        EXPECT_EQ(edge_qualities(pos, connect, type, same_metric(dim, 50, 0.25), aniso, no_edges),
                  nbr_edges);
        expect_near(aniso.values, iso.values, 8);
    }
}

TEST(edge_qualities, takes_every_mesh_of_the_zoo) {
    for (const test::mesh& m : test::zoo()) {
        SCOPED_TRACE(m.name);
        if (m.pos.rows() == 0) continue;
        const std::size_t n = m.pos.cols();
        edge_set edges;
        add_edges(m.connect, m.type == kv7::ET_BAR_MIX ? kv7::ET_UNKNOWN : m.type, edges);
        recorder iso;
        recorder aniso;
        EXPECT_EQ(edge_qualities(m.pos, m.connect, m.type, same_size(n, 0.5), iso, no_edges),
                  static_cast<int>(edges.size()));
        EXPECT_EQ(edge_qualities(m.pos, m.connect, m.type, same_metric(m.pos.rows(), n, 0.5), aniso,
                                 no_edges),
                  static_cast<int>(edges.size()));
        EXPECT_EQ(iso.values.size(), edges.size());
        EXPECT_EQ(aniso.values.size(), edges.size());
    }
}

} // namespace
