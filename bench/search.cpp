// The spatial search beside nanoflann and CGAL, on uniform random points.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "tessmaker/node_detector.h"

#ifdef TESSMAKER_HAVE_NANOFLANN
#include <nanoflann.hpp>
#endif
#ifdef TESSMAKER_HAVE_CGAL
#include <CGAL/Fuzzy_iso_box.h>
#include <CGAL/Kd_tree.h>
#include <CGAL/Search_traits_3.h>
#include <CGAL/Search_traits_adapter.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/property_map.h>
#endif

namespace {

using kv7::dense1D;
using kv7::dense2D;
using kv7::vector_fixed;
using kv7::tessmaker::node_detector;

constexpr std::size_t nbr_points = 1000000;
constexpr std::size_t nbr_queries = 100000;
constexpr double box_side = 0.032; // about 32 hits in the unit cube

// Points of the unit square or cube.
dense2D<double> random_points(std::size_t dim, std::size_t n, unsigned int seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> coordinate(0.0, 1.0);
    dense2D<double> points(dim, n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t axis = 0; axis < dim; ++axis) points(axis, i) = coordinate(generator);
    }
    return points;
}

template <std::size_t DIM> const dense2D<double>& points() {
    static const dense2D<double> made = random_points(DIM, nbr_points, 1);
    return made;
}

const dense2D<double>& queries() {
    static const dense2D<double> made = random_points(3, nbr_queries, 2);
    return made;
}

// Competitors at one task must come to the same result, bit for bit.
void expect_same(benchmark::State& state, const std::string& task, double result) {
    static std::map<std::string, double> results;
    if (results.emplace(task, result).first->second != result) {
        state.SkipWithError("differs from the result of the other");
    }
}

double squared_distance(const double* a, const double* b) {
    const double dx = a[0] - b[0];
    const double dy = a[1] - b[1];
    const double dz = a[2] - b[2];
    return dx * dx + dy * dy + dz * dz;
}

vector_fixed<double, 3> shifted(const double* p, double distance) {
    return {p[0] + distance, p[1] + distance, p[2] + distance};
}

template <std::size_t DIM> void build_ours(benchmark::State& state) {
    const dense2D<double>& pos = points<DIM>();
    for ([[maybe_unused]] auto _ : state) {
        const node_detector tree(pos);
        benchmark::DoNotOptimize(tree.size());
    }
}

void nearest_ours(benchmark::State& state) {
    const node_detector tree(points<3>());
    double sum = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const double* const point = queries().column(q);
            const unsigned int id = tree.find_closest(shifted(point, 0.0));
            sum += squared_distance(point, points<3>().column(id));
        }
    }
    expect_same(state, "nearest", sum);
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}

void box_ours(benchmark::State& state) {
    const node_detector tree(points<3>());
    double sum = 0.0;
    dense1D<unsigned int, 8> hits;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const double* const center = queries().column(q);
            hits.clear();
            tree.find_in_box(shifted(center, -box_side / 2), shifted(center, box_side / 2), hits);
            for (const unsigned int id : hits) sum += id;
        }
    }
    expect_same(state, "box", sum);
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}

BENCHMARK(build_ours<2>)->Name("search/build_2d/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(build_ours<3>)->Name("search/build_3d/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nearest_ours)->Name("search/nearest_3d/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(box_ours)->Name("search/box_3d/ours")->Unit(benchmark::kMillisecond);

#ifdef TESSMAKER_HAVE_NANOFLANN
struct point_cloud {
    const double* coordinates;
    std::size_t dim;

    std::size_t kdtree_get_point_count() const { return nbr_points; }
    double kdtree_get_pt(std::size_t i, std::size_t axis) const {
        return coordinates[i * dim + axis];
    }
    template <class Box> bool kdtree_get_bbox(Box&) const { return false; }
};

template <std::size_t DIM>
using nanoflann_tree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, point_cloud>,
                                        point_cloud, static_cast<int>(DIM), unsigned int>;

template <std::size_t DIM> void build_nanoflann(benchmark::State& state) {
    const point_cloud cloud{points<DIM>().column(0), DIM};
    for ([[maybe_unused]] auto _ : state) {
        const nanoflann_tree<DIM> tree(DIM, cloud);
        benchmark::DoNotOptimize(tree.m_size);
    }
}

void nearest_nanoflann(benchmark::State& state) {
    const point_cloud cloud{points<3>().column(0), 3};
    const nanoflann_tree<3> tree(3, cloud);
    double sum = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const double* const point = queries().column(q);
            unsigned int id = 0;
            double dist2 = 0.0;
            tree.knnSearch(point, 1, &id, &dist2);
            sum += squared_distance(point, points<3>().column(id));
        }
    }
    expect_same(state, "nearest", sum);
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}

BENCHMARK(build_nanoflann<2>)->Name("search/build_2d/nanoflann")->Unit(benchmark::kMillisecond);
BENCHMARK(build_nanoflann<3>)->Name("search/build_3d/nanoflann")->Unit(benchmark::kMillisecond);
BENCHMARK(nearest_nanoflann)->Name("search/nearest_3d/nanoflann")->Unit(benchmark::kMillisecond);
#endif

#ifdef TESSMAKER_HAVE_CGAL
using cgal_kernel = CGAL::Simple_cartesian<double>;
using cgal_point = std::pair<cgal_kernel::Point_3, unsigned int>;
using cgal_traits =
    CGAL::Search_traits_adapter<cgal_point, CGAL::First_of_pair_property_map<cgal_point>,
                                CGAL::Search_traits_3<cgal_kernel>>;

void box_cgal(benchmark::State& state) {
    CGAL::Kd_tree<cgal_traits> tree;
    for (unsigned int i = 0; i < nbr_points; ++i) {
        const double* const p = points<3>().column(i);
        tree.insert({cgal_kernel::Point_3(p[0], p[1], p[2]), i});
    }
    tree.build();
    double sum = 0.0;
    std::vector<cgal_point> hits;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const double* const center = queries().column(q);
            const vector_fixed<double, 3> lower = shifted(center, -box_side / 2);
            const vector_fixed<double, 3> upper = shifted(center, box_side / 2);
            hits.clear();
            tree.search(std::back_inserter(hits),
                        CGAL::Fuzzy_iso_box<cgal_traits>(
                            cgal_kernel::Point_3(lower[0], lower[1], lower[2]),
                            cgal_kernel::Point_3(upper[0], upper[1], upper[2])));
            for (const cgal_point& hit : hits) sum += hit.second;
        }
    }
    expect_same(state, "box", sum);
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}

BENCHMARK(box_cgal)->Name("search/box_3d/cgal")->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
