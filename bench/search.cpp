// The spatial search beside nanoflann and CGAL: on uniform random points, and for the nearest node
// on clouds that lie in a plane, on a line or on a surface, as those of shells do.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <numeric>
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
#include <CGAL/Orthogonal_k_neighbor_search.h>
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

// Clouds of a million nodes or fewer, and what is asked of them.
enum class cloud { space, plane, tilted_plane, sphere, axis, space_grid, plane_grid, line_grid };

std::array<double, 3> place(cloud kind, std::mt19937_64& generator) {
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    std::array<double, 3> p{};
    for (double& x : p) x = coordinate(generator);
    switch (kind) {
    case cloud::plane: return {p[0], p[1], 0.0};
    case cloud::tilted_plane: return {p[0], p[1], 0.3 * p[0] + 0.7 * p[1]};
    case cloud::axis: return {p[0], 0.0, 0.0};
    case cloud::sphere: {
        const double length = std::hypot(p[0], p[1], p[2]);
        return {p[0] / length, p[1] / length, p[2] / length};
    }
    default: return p;
    }
}

// The number of nodes along the edges of a grid.
std::array<std::size_t, 3> sides(cloud kind, std::size_t n) {
    const auto side = [n](double power) {
        return static_cast<std::size_t>(std::lround(std::pow(static_cast<double>(n), power)));
    };
    switch (kind) {
    case cloud::space_grid: return {side(1.0 / 3.0), side(1.0 / 3.0), side(1.0 / 3.0)};
    case cloud::plane_grid: return {side(0.5), side(0.5), 1};
    case cloud::line_grid: return {n, 1, 1};
    default: return {};
    }
}
bool is_grid(cloud kind) { return sides(kind, 8)[0] != 0; }

// Cells have edges of 0.8, which are rounded; nodes are numbered at random.
constexpr double cell_edge = 0.8;

dense2D<double> make_cloud(cloud kind, std::size_t n) {
    std::mt19937_64 generator(3);
    const std::array<std::size_t, 3> side = sides(kind, n);
    dense2D<double> points(3, is_grid(kind) ? side[0] * side[1] * side[2] : n);
    std::vector<std::size_t> numbers(points.cols());
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    std::shuffle(numbers.begin(), numbers.end(), generator);
    for (std::size_t i = 0; i < points.cols(); ++i) {
        std::array<double, 3> p = place(kind, generator);
        if (is_grid(kind)) {
            const std::size_t k = numbers[i];
            const std::size_t step[] = {k % side[0], k / side[0] % side[1],
                                        k / (side[0] * side[1])};
            for (std::size_t r = 0; r < 3; ++r) p[r] = cell_edge * static_cast<double>(step[r]);
        }
        std::copy(p.begin(), p.end(), points.column(i));
    }
    return points;
}

const dense2D<double>& nodes_of(cloud kind, std::size_t n) {
    static std::map<std::pair<cloud, std::size_t>, dense2D<double>> made;
    const auto entry = made.try_emplace({kind, n});
    if (entry.second) entry.first->second = make_cloud(kind, n);
    return entry.first->second;
}

// Points of the cloud that are no nodes of it, or centres of the cells of a grid.
dense2D<double> points_around(cloud kind, std::size_t n) {
    std::mt19937_64 generator(4);
    const std::array<std::size_t, 3> side = sides(kind, n);
    dense2D<double> points(3, nbr_queries);
    for (std::size_t i = 0; i < nbr_queries; ++i) {
        std::array<double, 3> p = place(kind, generator);
        for (std::size_t r = 0; is_grid(kind) && r < 3; ++r) {
            const auto cell = static_cast<double>(generator() % side[r]);
            p[r] = side[r] == 1 ? 0.0 : cell_edge * (cell + 0.5);
        }
        std::copy(p.begin(), p.end(), points.column(i));
    }
    return points;
}

// The nearest node to each query point; the nearest other node to each of some nodes.
template <class Find>
void find_nearest(benchmark::State& state, cloud kind, std::size_t n, const Find& find) {
    const dense2D<double>& nodes = nodes_of(kind, n);
    const dense2D<double> points = points_around(kind, n);
    double sum = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const double* const point = points.column(q);
            sum += std::sqrt(squared_distance(point, nodes.column(find(point))));
        }
    }
    // Which of equally near nodes is found differs; the distance may by rounding.
    expect_same(state, "nearest " + std::to_string(static_cast<int>(kind)) + std::to_string(n),
                std::round(sum * 1e6));
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}
template <class Find>
void find_nearest_other(benchmark::State& state, cloud kind, std::size_t n, const Find& find) {
    const dense2D<double>& nodes = nodes_of(kind, n);
    double sum = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        sum = 0.0;
        for (std::size_t q = 0; q < nbr_queries; ++q) {
            const auto node = static_cast<unsigned int>(q * 7919 % nodes.cols());
            sum += std::sqrt(squared_distance(nodes.column(node), nodes.column(find(node))));
        }
    }
    expect_same(state, "other " + std::to_string(static_cast<int>(kind)) + std::to_string(n),
                std::round(sum * 1e6));
    state.SetItemsProcessed(state.iterations() * std::int64_t{nbr_queries});
}

struct our_search {
    node_detector tree;

    explicit our_search(const dense2D<double>& nodes) : tree(nodes) {}
    unsigned int nearest(const double* point) const {
        return tree.find_closest(shifted(point, 0.0));
    }
    unsigned int nearest_other(unsigned int node) const { return tree.find_closest(node); }
};

template <class Search> void nearest(benchmark::State& state, cloud kind, std::size_t n) {
    const Search search(nodes_of(kind, n));
    find_nearest(state, kind, n, [&](const double* point) { return search.nearest(point); });
}
template <class Search> void nearest_other(benchmark::State& state, cloud kind, std::size_t n) {
    const Search search(nodes_of(kind, n));
    find_nearest_other(state, kind, n,
                       [&](unsigned int node) { return search.nearest_other(node); });
}
template <class Search> void build(benchmark::State& state, cloud kind, std::size_t n) {
    const dense2D<double>& nodes = nodes_of(kind, n);
    for ([[maybe_unused]] auto _ : state) {
        const Search search(nodes);
        benchmark::DoNotOptimize(&search);
    }
}

// Registers the cases of one competitor on a cloud.
template <class Search> void add_cloud(const std::string& task, cloud kind, std::size_t n) {
    const auto add = [&](const char* of, auto run) {
        benchmark::RegisterBenchmark(("search/" + std::string(of) + task).c_str(), run, kind, n)
            ->Unit(benchmark::kMillisecond);
    };
    add("nearest_in_", nearest<Search>);
    add("nearest_other_in_", nearest_other<Search>);
    add("build_of_", build<Search>);
}

template <class Search> void add_clouds(const std::string& name) {
    const std::pair<const char*, cloud> clouds[] = {{"space", cloud::space},
                                                    {"plane", cloud::plane},
                                                    {"tilted_plane", cloud::tilted_plane},
                                                    {"sphere", cloud::sphere},
                                                    {"axis", cloud::axis},
                                                    {"space_grid", cloud::space_grid},
                                                    {"plane_grid", cloud::plane_grid},
                                                    {"line_grid", cloud::line_grid}};
    for (const auto& [of, kind] : clouds) {
        for (const std::size_t n : {std::size_t{100000}, nbr_points}) {
            add_cloud<Search>(std::string(of) + '_' + std::to_string(n) + '/' + name, kind, n);
        }
    }
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
    std::size_t size = nbr_points;

    std::size_t kdtree_get_point_count() const { return size; }
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

struct nanoflann_search {
    point_cloud cloud;
    nanoflann_tree<3> tree;

    explicit nanoflann_search(const dense2D<double>& nodes)
        : cloud{nodes.column(0), 3, nodes.cols()}, tree(3, cloud) {}
    unsigned int nearest(const double* point) const {
        unsigned int id = 0;
        double dist2 = 0.0;
        tree.knnSearch(point, 1, &id, &dist2);
        return id;
    }
    unsigned int nearest_other(unsigned int node) const {
        std::array<unsigned int, 2> ids{};
        std::array<double, 2> dist2{};
        tree.knnSearch(cloud.coordinates + std::size_t{node} * 3, 2, ids.data(), dist2.data());
        return ids[0] == node ? ids[1] : ids[0];
    }
};

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

struct cgal_search {
    using neighbours = CGAL::Orthogonal_k_neighbor_search<cgal_traits>;

    CGAL::Kd_tree<cgal_traits> tree;
    const dense2D<double>& nodes;

    explicit cgal_search(const dense2D<double>& of) : nodes(of) {
        for (unsigned int i = 0; i < nodes.cols(); ++i) tree.insert({at(nodes.column(i)), i});
        tree.build();
    }
    unsigned int nearest(const double* point) const {
        return neighbours(tree, at(point), 1).begin()->first.second;
    }
    unsigned int nearest_other(unsigned int node) const {
        const neighbours found(tree, at(nodes.column(node)), 2);
        const unsigned int first = found.begin()->first.second;
        return first == node ? std::next(found.begin())->first.second : first;
    }

private:
    static cgal_kernel::Point_3 at(const double* p) {
        return cgal_kernel::Point_3(p[0], p[1], p[2]);
    }
};

BENCHMARK(box_cgal)->Name("search/box_3d/cgal")->Unit(benchmark::kMillisecond);
#endif

} // namespace

int main(int argc, char** argv) {
    add_clouds<our_search>("ours");
#ifdef TESSMAKER_HAVE_NANOFLANN
    add_clouds<nanoflann_search>("nanoflann");
#endif
#ifdef TESSMAKER_HAVE_CGAL
    add_clouds<cgal_search>("cgal");
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
