// Index arrays beside what a user of the standard library would write.
#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "growth.h"
#include "indices/colliding.h"
#include "tessmaker/element_type.h"
#include "tessmaker/index_arrays.h"

namespace {

using namespace kv7;
using namespace kv7::tessmaker;
using id_list = dense1D<unsigned int, 8>;

// The triangles of a square grid of 1e6 facets: 3e6 corners on about 5e5 nodes, in natural order or
// with the nodes renumbered and the facets shuffled.
constexpr unsigned int grid_side = 707;
constexpr unsigned int nbr_nodes_of_grid = (grid_side + 1) * (grid_side + 1);

std::vector<unsigned int> grid_corners(bool shuffled) {
    std::vector<unsigned int> place(nbr_nodes_of_grid);
    std::iota(place.begin(), place.end(), 0U);
    std::vector<unsigned int> order(2 * grid_side * grid_side);
    std::iota(order.begin(), order.end(), 0U);
    if (shuffled) {
        std::mt19937 random(1);
        std::shuffle(place.begin(), place.end(), random);
        std::shuffle(order.begin(), order.end(), random);
    }
    std::vector<unsigned int> corners;
    corners.reserve(3 * order.size());
    for (const unsigned int facet : order) {
        const unsigned int a = facet / 2 / grid_side * (grid_side + 1) + facet / 2 % grid_side;
        const unsigned int far = a + grid_side + 2;
        const unsigned int side = facet % 2 == 0 ? a + 1 : a + grid_side + 1;
        for (const unsigned int corner : {a, side, far}) corners.push_back(place[corner]);
    }
    return corners;
}

// The same with IDs spread over all 32 bits, where no bitmap serves.
std::vector<unsigned int> sparse_corners(bool shuffled) {
    std::vector<unsigned int> corners = grid_corners(shuffled);
    for (unsigned int& id : corners) id *= 8191;
    return corners;
}

id_list to_list(const std::vector<unsigned int>& values) {
    id_list list(values.size());
    std::copy(values.begin(), values.end(), list.data());
    return list;
}

using make_corners = std::vector<unsigned int> (*)(bool shuffled);

void unique_ours(benchmark::State& state, make_corners make, bool shuffled) {
    const id_list ids = to_list(make(shuffled));
    for ([[maybe_unused]] auto run : state) {
        id_list nodes;
        unique_indices(nodes, ids, id_list());
        benchmark::DoNotOptimize(nodes.data());
    }
}

void unique_std(benchmark::State& state, make_corners make, bool shuffled) {
    const std::vector<unsigned int> ids = make(shuffled);
    for ([[maybe_unused]] auto run : state) {
        std::vector<unsigned int> nodes;
        std::unordered_set<unsigned int> seen{0xFFFFFFFFU};
        seen.reserve(ids.size());
        for (const unsigned int id : ids) {
            if (seen.insert(id).second) nodes.push_back(id);
        }
        benchmark::DoNotOptimize(nodes.data());
    }
}

// The corners of the grid in natural order and those shuffled, each found in the other.
void places_ours(benchmark::State& state, make_corners make) {
    const id_list a = to_list(make(false));
    const id_list b = to_list(make(true));
    for ([[maybe_unused]] auto run : state) {
        id_list a_of_b;
        id_list b_of_a;
        get_IDs(a, b, a_of_b, b_of_a);
        benchmark::DoNotOptimize(a_of_b.data());
        benchmark::DoNotOptimize(b_of_a.data());
    }
}

void places_std(benchmark::State& state, make_corners make) {
    const std::vector<unsigned int> a = make(false);
    const std::vector<unsigned int> b = make(true);
    for ([[maybe_unused]] auto run : state) {
        std::vector<unsigned int> a_of_b(b.size(), 0xFFFFFFFFU);
        std::vector<unsigned int> b_of_a(a.size(), 0xFFFFFFFFU);
        std::unordered_map<unsigned int, unsigned int> first;
        first.reserve(a.size());
        for (unsigned int i = 0; i < a.size(); ++i) first.emplace(a[i], i);
        for (unsigned int j = 0; j < b.size(); ++j) {
            const auto found = first.find(b[j]);
            if (found == first.end()) continue;
            a_of_b[j] = found->second;
            b_of_a[found->second] = std::min(b_of_a[found->second], j);
        }
        benchmark::DoNotOptimize(a_of_b.data());
        benchmark::DoNotOptimize(b_of_a.data());
    }
}

void sorted_order_ours(benchmark::State& state, bool shuffled) {
    const id_list values = to_list(grid_corners(shuffled));
    id_list order;
    id_list addresses;
    for ([[maybe_unused]] auto run : state) {
        get_sorted_order(values, order, addresses);
        benchmark::DoNotOptimize(order.data());
    }
}

void sorted_order_std(benchmark::State& state, bool shuffled) {
    const std::vector<unsigned int> values = grid_corners(shuffled);
    std::vector<unsigned int> order(values.size());
    for ([[maybe_unused]] auto run : state) {
        std::iota(order.begin(), order.end(), 0U);
        std::stable_sort(order.begin(), order.end(), [&values](unsigned int a, unsigned int b) {
            return values[a] < values[b];
        });
        benchmark::DoNotOptimize(order.data());
    }
}

void check_ours(benchmark::State& state) {
    const std::vector<unsigned int> corners = grid_corners(true);
    dense2D<unsigned int> connect(3, corners.size() / 3);
    std::copy(corners.begin(), corners.end(), connect.column(0));
    for ([[maybe_unused]] auto run : state) {
        benchmark::DoNotOptimize(check_IDs(connect, ET_TRIA3, nbr_nodes_of_grid));
    }
}

void check_std(benchmark::State& state) {
    const std::vector<unsigned int> corners = grid_corners(true);
    for ([[maybe_unused]] auto run : state) {
        benchmark::DoNotOptimize(std::all_of(corners.begin(), corners.end(), [](unsigned int id) {
            return id < nbr_nodes_of_grid;
        }));
    }
}

// Relabelling by a permutation and back leaves the IDs in range, so runs can follow each other.
std::vector<unsigned int> new_labels() {
    std::vector<unsigned int> labels(nbr_nodes_of_grid);
    std::iota(labels.begin(), labels.end(), 0U);
    std::shuffle(labels.begin(), labels.end(), std::mt19937(2));
    return labels;
}

void change_ours(benchmark::State& state) {
    id_list ids = to_list(grid_corners(true));
    const id_list labels = to_list(new_labels());
    for ([[maybe_unused]] auto run : state) {
        change_indices(ids, labels);
        benchmark::DoNotOptimize(ids.data());
    }
}

void change_std(benchmark::State& state) {
    std::vector<unsigned int> ids = grid_corners(true);
    const std::vector<unsigned int> labels = new_labels();
    for ([[maybe_unused]] auto run : state) {
        std::transform(ids.begin(), ids.end(), ids.begin(),
                       [&labels](unsigned int id) { return id < labels.size() ? labels[id] : id; });
        benchmark::DoNotOptimize(ids.data());
    }
}

// IDs and columns that were chosen to collide.

void unique_of_colliding(benchmark::State& state) {
    bench::report_growth(state, 6151, [](std::size_t n) {
        return [ids = to_list(test::colliding_ids(n, n))] {
            id_list nodes;
            unique_indices(nodes, ids, id_list());
            benchmark::DoNotOptimize(nodes.data());
        };
    });
}

void count_of_colliding(benchmark::State& state) {
    bench::report_growth(state, 6151, [](std::size_t n) {
        dense2D<unsigned int> connect(1, n);
        const std::vector<unsigned int> ids = test::colliding_ids(n, n);
        std::copy(ids.begin(), ids.end(), connect.column(0));
        return [connect] { benchmark::DoNotOptimize(count_unique_indices(connect)); };
    });
}

void places_of_colliding(benchmark::State& state) {
    bench::report_growth(state, 6151, [](std::size_t n) {
        return [ids = to_list(test::colliding_ids(n, n))] {
            id_list a_of_b;
            id_list b_of_a;
            get_IDs(ids, ids, a_of_b, b_of_a);
            benchmark::DoNotOptimize(a_of_b.data());
        };
    });
}

void columns_of_colliding(benchmark::State& state) {
    bench::report_growth(state, 2048, [](std::size_t n) {
        dense2D<unsigned int> connect(2, n, 1);
        const std::vector<unsigned int> second = test::colliding_columns(n);
        for (std::size_t c = 0; c < n; ++c) connect(1, c) = second[c];
        return [connect] {
            id_list a_of_b;
            id_list b_of_a;
            get_IDs(connect, connect, a_of_b, b_of_a, true);
            benchmark::DoNotOptimize(a_of_b.data());
        };
    });
}

void add_growth(const char* name, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, run)->UseManualTime()->Iterations(1)->Unit(
        benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(unique_ours, natural, grid_corners, false)
    ->Name("indices/unique_indices_natural/ours");
BENCHMARK_CAPTURE(unique_std, natural, grid_corners, false)
    ->Name("indices/unique_indices_natural/std");
BENCHMARK_CAPTURE(unique_ours, shuffled, grid_corners, true)
    ->Name("indices/unique_indices_shuffled/ours");
BENCHMARK_CAPTURE(unique_std, shuffled, grid_corners, true)
    ->Name("indices/unique_indices_shuffled/std");
BENCHMARK_CAPTURE(unique_ours, sparse, sparse_corners, true)
    ->Name("indices/unique_indices_sparse/ours");
BENCHMARK_CAPTURE(unique_std, sparse, sparse_corners, true)
    ->Name("indices/unique_indices_sparse/std");
BENCHMARK_CAPTURE(places_ours, dense, grid_corners)->Name("indices/get_IDs/ours");
BENCHMARK_CAPTURE(places_std, dense, grid_corners)->Name("indices/get_IDs/std");
BENCHMARK_CAPTURE(places_ours, sparse, sparse_corners)->Name("indices/get_IDs_sparse/ours");
BENCHMARK_CAPTURE(places_std, sparse, sparse_corners)->Name("indices/get_IDs_sparse/std");
BENCHMARK_CAPTURE(sorted_order_ours, natural, false)->Name("indices/get_sorted_order_natural/ours");
BENCHMARK_CAPTURE(sorted_order_std, natural, false)->Name("indices/get_sorted_order_natural/std");
BENCHMARK_CAPTURE(sorted_order_ours, shuffled, true)
    ->Name("indices/get_sorted_order_shuffled/ours");
BENCHMARK_CAPTURE(sorted_order_std, shuffled, true)->Name("indices/get_sorted_order_shuffled/std");
BENCHMARK(check_ours)->Name("indices/check_IDs/ours");
BENCHMARK(check_std)->Name("indices/check_IDs/std");
BENCHMARK(change_ours)->Name("indices/change_indices/ours");
BENCHMARK(change_std)->Name("indices/change_indices/std");

} // namespace

int main(int argc, char** argv) {
    add_growth("indices/unique_indices_colliding/ours", unique_of_colliding);
    add_growth("indices/count_unique_indices_colliding/ours", count_of_colliding);
    add_growth("indices/get_IDs_colliding/ours", places_of_colliding);
    add_growth("indices/get_IDs_of_columns_colliding/ours", columns_of_colliding);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
