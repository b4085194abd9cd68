// Reads NASTRAN decks of a block of a million tetrahedra whose numbers lie in various ways. The
// counter `peak` is the most memory that was allocated at a time, as a multiple of the bytes of the
// mesh that is returned.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>

#include "mesh_write.h"
#include "tessmaker/mesh_file.h"
#include "volume_files.h"

// All allocations of the process are counted, by the sizes that they were given.
// NOLINTBEGIN(bugprone-reserved-identifier, cppcoreguidelines-no-malloc)
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t n, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);
void __libc_free(void* memory);
}

namespace {

std::atomic<std::int64_t> bytes_now{0};
std::atomic<std::int64_t> bytes_at_peak{0};

void* counted(void* memory) {
    if (!memory) return nullptr;
    const std::int64_t now = bytes_now += static_cast<std::int64_t>(malloc_usable_size(memory));
    if (now > bytes_at_peak) bytes_at_peak = now;
    return memory;
}
void* uncounted(void* memory) {
    if (memory) bytes_now -= static_cast<std::int64_t>(malloc_usable_size(memory));
    return memory;
}

} // namespace

extern "C" {
void* malloc(std::size_t bytes) { return counted(__libc_malloc(bytes)); }
void* calloc(std::size_t n, std::size_t bytes) { return counted(__libc_calloc(n, bytes)); }
void* realloc(void* memory, std::size_t bytes) {
    return counted(__libc_realloc(uncounted(memory), bytes));
}
void free(void* memory) { __libc_free(uncounted(memory)); }
}
// NOLINTEND(bugprone-reserved-identifier, cppcoreguidelines-no-malloc)

namespace {

using kv7::dense1D;
using kv7::dense2D;
using namespace kv7::tessmaker;

enum class order { ascending, with_gaps, descending, shuffled, sparse };

dense1D<unsigned int> numbers(std::size_t n, order by) {
    std::mt19937 random(static_cast<unsigned int>(n));
    dense1D<unsigned int> result(n);
    std::iota(result.begin(), result.end(), 1U);
    if (by == order::with_gaps) {
        unsigned int next = 0;
        for (unsigned int& number : result) {
            number = next += random() % 8 == 0 ? 1U + static_cast<unsigned int>(random() % 40) : 1U;
        }
    }
    if (by == order::descending) std::reverse(result.begin(), result.end());
    if (by == order::sparse) {
        for (unsigned int& number : result) number *= 70;
    }
    if (by == order::shuffled || by == order::sparse) {
        std::shuffle(result.begin(), result.end(), random);
    }
    return result;
}

template <class T> std::size_t bytes_of(const dense2D<T>& array) {
    return array.rows() * array.cols() * sizeof(T);
}
template <class T> std::size_t bytes_of(const dense1D<T>& array) {
    return array.size() * sizeof(T);
}
double size_of(const kv7::tessmaker::mesh& m) {
    return static_cast<double>(bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(m.indices) +
                               bytes_of(m.types) + bytes_of(m.pids) + bytes_of(m.node_numbers) +
                               bytes_of(m.element_numbers));
}

void read_deck(benchmark::State& state, order by) {
    const bench::mesh& block = bench::files().volume;
    const std::string path = bench::files().path("numbered.bdf");
    kv7::tessmaker::mesh m = bench::mesh_of(block.pos, block.connect, kv7::ET_TETRA4);
    m.node_numbers = numbers(block.pos.cols(), by);
    m.element_numbers = numbers(block.connect.cols(), by);
    file_report report;
    const int written = write_mesh(path.c_str(), m, {file_format::nastran, true}, report);
    double peak = 0.0;
    while (state.KeepRunning()) {
        m = {};
        const std::int64_t before = bytes_now;
        bytes_at_peak = before;
        const int result = read_mesh(path.c_str(), m, report);
        if (written != 0 || result != 0 || m.connect.cols() != block.connect.cols()) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
        peak = static_cast<double>(bytes_at_peak - before) / size_of(m);
    }
    state.counters["peak"] = peak;
}

void tune(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond); }

BENCHMARK_CAPTURE(read_deck, ours, order::ascending)
    ->Name("formats/nastran_mesh_read_ascending/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_deck, ours, order::with_gaps)
    ->Name("formats/nastran_mesh_read_with_gaps/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_deck, ours, order::descending)
    ->Name("formats/nastran_mesh_read_descending/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_deck, ours, order::shuffled)
    ->Name("formats/nastran_mesh_read_shuffled/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_deck, ours, order::sparse)
    ->Name("formats/nastran_mesh_read_sparse/ours")
    ->Apply(tune);

} // namespace

BENCHMARK_MAIN();
