// Motions, boxes and centroids of ten million nodes, beside a copy of their coordinates.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include <benchmark/benchmark.h>

#include "tessmaker/geometry.h"

namespace {

using kv7::dense2D;
using namespace kv7::tessmaker;
using point = kv7::vector_fixed<double, 3>;

// The nodes of a square grid in space, row by row, and its quadrangles.
constexpr std::size_t grid_side = 3163;
constexpr std::size_t nbr_grid_nodes = grid_side * grid_side;

dense2D<double> grid_nodes() {
    dense2D<double> pos(3, nbr_grid_nodes);
    for (std::size_t i = 0; i < nbr_grid_nodes; ++i) {
        const std::size_t row = i / grid_side;
        const auto x = static_cast<double>(i % grid_side);
        const auto y = static_cast<double>(row);
        const double coordinates[] = {x, y, 0.25 * x - 0.5 * y};
        std::copy_n(coordinates, 3, pos.column(i));
    }
    return pos;
}

dense2D<unsigned int> grid_quadrangles() {
    dense2D<unsigned int> connect(4, (grid_side - 1) * (grid_side - 1));
    constexpr auto side = static_cast<unsigned int>(grid_side);
    for (std::size_t e = 0; e < connect.cols(); ++e) {
        const auto a = static_cast<unsigned int>(e / (grid_side - 1) * grid_side + e % (side - 1));
        const unsigned int corners[] = {a, a + 1, a + side + 1, a + side};
        std::copy_n(corners, 4, connect.column(e));
    }
    return connect;
}

// The motions change `pos` little enough for any number of runs.
template <class Work> void run_on_nodes(benchmark::State& state, Work work) {
    dense2D<double> pos = grid_nodes();
    for ([[maybe_unused]] auto _ : state) {
        work(pos);
        benchmark::ClobberMemory();
    }
}

void translate_ours(benchmark::State& state) {
    run_on_nodes(state, [](auto& pos) { translate(pos, point{1e-3, 2e-3, -1e-3}); });
}

void rotate_ours(benchmark::State& state) {
    run_on_nodes(state, [](auto& pos) { rotate(pos, point{1, 2, 3}, point{0.1, 0.2, 0.3}); });
}

void zoom_ours(benchmark::State& state) {
    run_on_nodes(state, [](auto& pos) { zoom(pos, point{1, 2, 3}, 1.000001); });
}

void box_ours(benchmark::State& state) {
    run_on_nodes(state, [](auto& pos) {
        constexpr double most = std::numeric_limits<double>::max();
        point min_box{most, most, most};
        point max_box{-most, -most, -most};
        inc_bounding_box(pos, min_box, max_box);
        benchmark::DoNotOptimize(min_box);
        benchmark::DoNotOptimize(max_box);
    });
}

void centroids_ours(benchmark::State& state) {
    const dense2D<unsigned int> connect = grid_quadrangles();
    dense2D<double> centers(3, connect.cols(), 0.0);
    run_on_nodes(state, [&](auto& pos) { centroids(pos, connect, centers, kv7::ET_QUAD4); });
}

void nodes_memcpy(benchmark::State& state) {
    dense2D<double> copy(3, nbr_grid_nodes, 0.0);
    run_on_nodes(state, [&copy](auto& pos) {
        std::memcpy(copy.column(0), pos.column(0), 3 * nbr_grid_nodes * sizeof(double));
    });
}

BENCHMARK(translate_ours)->Name("geometry/translate/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nodes_memcpy)->Name("geometry/translate/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(rotate_ours)->Name("geometry/rotate/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nodes_memcpy)->Name("geometry/rotate/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(zoom_ours)->Name("geometry/zoom/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nodes_memcpy)->Name("geometry/zoom/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(box_ours)->Name("geometry/inc_bounding_box/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nodes_memcpy)->Name("geometry/inc_bounding_box/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(centroids_ours)->Name("geometry/centroids/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(nodes_memcpy)->Name("geometry/centroids/memcpy")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
