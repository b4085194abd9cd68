// NASTRAN files of a block of a million tetrahedra, against gmsh. Each reads what either wrote.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tessmaker/formats.h"
#include "volume_files.h"

namespace {

using namespace kv7;
using namespace kv7::tessmaker;
using bench::files;
using bench::mesh;

void count_bytes(benchmark::State& state, const std::string& path) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

// With streams of our own, which are closed.
bool read(const std::string& path, mesh& m) {
    std::FILE* const file = std::fopen(path.c_str(), "r");
    element_type type = ET_UNKNOWN;
    const int result = NASTRAN_input(file, m.pos, m.connect, type);
    if (file) std::fclose(file);
    return result == 0 && type == ET_TETRA4;
}
bool write(const std::string& path, const mesh& m) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    const int result = NASTRAN_output(file, m.pos, m.connect, ET_TETRA4);
    return file && std::fclose(file) == 0 && result == 0;
}

bool is_block(const mesh& m) {
    return m.pos.cols() == files().volume.pos.cols() &&
           m.connect.cols() == files().volume.connect.cols();
}

void read_ours(benchmark::State& state, const std::string& path) {
    while (state.KeepRunning()) {
        mesh m;
        if (!read(path, m) || !is_block(m)) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
    count_bytes(state, path);
}

void write_ours(benchmark::State& state) {
    const std::string path = files().path("ours.bdf");
    while (state.KeepRunning()) {
        if (!write(path, files().volume)) {
            state.SkipWithError("not written");
            break;
        }
    }
    count_bytes(state, path);
}

void read_our_own(benchmark::State& state) {
    const std::string path = files().path("ours.bdf");
    write(path, files().volume);
    read_ours(state, path);
}

void tune(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond); }

BENCHMARK(write_ours)->Name("formats/nastran_write/ours")->Apply(tune);
BENCHMARK(read_our_own)->Name("formats/nastran_read/ours")->Apply(tune);

#ifdef TESSMAKER_HAVE_GMSH
enum field_format { free_fields, small_fields, large_fields };

const bench::gmsh_model& gmsh_instance() {
    static const bench::gmsh_model instance;
    return instance;
}

void write_by_gmsh(const std::string& path, field_format format) {
    gmsh_instance();
    gmsh::option::setNumber("Mesh.BdfFieldFormat", format);
    gmsh::write(path);
}

std::string path_of(field_format format) {
    return files().path(("gmsh_" + std::to_string(format) + ".bdf").c_str());
}

void write_gmsh(benchmark::State& state, field_format format) {
    const std::string path = path_of(format);
    while (state.KeepRunning()) write_by_gmsh(path, format);
    count_bytes(state, path);
}

void read_of_gmsh(benchmark::State& state, field_format format) {
    write_by_gmsh(path_of(format), format);
    read_ours(state, path_of(format));
}

void read_gmsh(benchmark::State& state, const std::string& path) {
    while (state.KeepRunning()) {
        gmsh::open(path); // a model of its own
        double nbr_nodes_read = 0.0;
        gmsh::option::getNumber("Mesh.NbNodes", nbr_nodes_read);
        if (nbr_nodes_read != static_cast<double>(files().volume.pos.cols())) {
            state.SkipWithError("not the mesh that was written");
        }
        gmsh::model::remove();
    }
    count_bytes(state, path);
}

void read_own_of_gmsh(benchmark::State& state, field_format format) {
    write_by_gmsh(path_of(format), format);
    read_gmsh(state, path_of(format));
}

void read_of_ours(benchmark::State& state) {
    const std::string path = files().path("ours.bdf");
    write(path, files().volume);
    gmsh_instance();
    read_gmsh(state, path);
}

BENCHMARK(read_of_ours)->Name("formats/nastran_read/gmsh")->Apply(tune);
BENCHMARK_CAPTURE(write_gmsh, gmsh, free_fields)->Name("formats/nastran_write/gmsh")->Apply(tune);
BENCHMARK_CAPTURE(read_of_gmsh, ours, small_fields)
    ->Name("formats/nastran_small_read/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_own_of_gmsh, gmsh, small_fields)
    ->Name("formats/nastran_small_read/gmsh")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_of_gmsh, ours, large_fields)
    ->Name("formats/nastran_large_read/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_own_of_gmsh, gmsh, large_fields)
    ->Name("formats/nastran_large_read/gmsh")
    ->Apply(tune);
#endif

} // namespace

BENCHMARK_MAIN();
