// Reads and writes NASTRAN files of a block of a million tetrahedra, beside gmsh: each program
// reads files of both. FEMAP files of the same block are compared with our NASTRAN files, per byte.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "mesh_write.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"
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

struct file_format {
    const char* file;
    int (*input)(std::FILE*, dense2D<double>&, dense2D<unsigned int>&, element_type&);
    int (*output)(std::FILE*, const dense2D<double>&, const dense2D<unsigned int>&, element_type);
};
constexpr file_format nastran{"ours.bdf", NASTRAN_input, NASTRAN_output};
constexpr file_format femap{"ours.neu", FEMAP_input, FEMAP_output};

// The bench opens and closes the streams: the functions that take a name leave theirs open.
bool read(const file_format& f, const std::string& path, mesh& m) {
    std::FILE* const file = std::fopen(path.c_str(), "r");
    element_type type = ET_UNKNOWN;
    const int result = f.input(file, m.pos, m.connect, type);
    if (file) std::fclose(file);
    return result == 0 && type == ET_TETRA4;
}
bool write(const file_format& f) {
    std::FILE* const file = std::fopen(files().path(f.file).c_str(), "w");
    const mesh& m = files().volume;
    const int result = f.output(file, m.pos, m.connect, ET_TETRA4);
    return file && std::fclose(file) == 0 && result == 0;
}

bool is_block(const mesh& m) {
    return m.pos.cols() == files().volume.pos.cols() &&
           m.connect.cols() == files().volume.connect.cols();
}

void read_ours(benchmark::State& state, const file_format& f, const std::string& path) {
    while (state.KeepRunning()) {
        mesh m;
        if (!read(f, path, m) || !is_block(m)) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
    count_bytes(state, path);
}

void write_ours(benchmark::State& state, const file_format& f) {
    while (state.KeepRunning()) {
        if (!write(f)) {
            state.SkipWithError("not written");
            break;
        }
    }
    count_bytes(state, files().path(f.file));
}

void read_our_own(benchmark::State& state, const file_format& f) {
    write(f);
    read_ours(state, f, files().path(f.file));
}

// The same file, with all that comes with it.
void read_with_all(benchmark::State& state, const file_format& f) {
    write(f);
    const std::string path = files().path(f.file);
    while (state.KeepRunning()) {
        kv7::tessmaker::mesh m;
        kv7::tessmaker::file_report report;
        const int result = read_mesh(path.c_str(), m, report);
        if (result != 0 || !is_block({m.pos, m.connect})) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
    count_bytes(state, path);
}

void write_with_all(benchmark::State& state, kv7::tessmaker::file_format format, const char* name) {
    const mesh& m = files().volume;
    bench::time_write_mesh(state, bench::mesh_of(m.pos, m.connect, ET_TETRA4), format,
                           files().path(name));
}

// Measures the work on a NASTRAN file, scaled to the length of the FEMAP file.
template <class Work> void run_per_byte(benchmark::State& state, const Work& work) {
    write(femap);
    write(nastran);
    const auto size_of = [](const file_format& f) {
        return static_cast<double>(std::filesystem::file_size(files().path(f.file)));
    };
    while (state.KeepRunning()) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(time.count() * size_of(femap) / size_of(nastran));
    }
}
void write_nastran_per_byte(benchmark::State& state) {
    run_per_byte(state, [] { write(nastran); });
}
void read_nastran_per_byte(benchmark::State& state) {
    run_per_byte(state, [] {
        mesh m;
        read(nastran, files().path(nastran.file), m);
    });
}

void tune(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond); }

BENCHMARK_CAPTURE(write_ours, ours, nastran)->Name("formats/nastran_write/ours")->Apply(tune);
BENCHMARK_CAPTURE(read_our_own, ours, nastran)->Name("formats/nastran_read/ours")->Apply(tune);
BENCHMARK_CAPTURE(write_ours, ours, femap)->Name("formats/femap_write/ours")->Apply(tune);
BENCHMARK(write_nastran_per_byte)
    ->Name("formats/femap_write/nastran_per_byte")
    ->UseManualTime()
    ->Apply(tune);
BENCHMARK_CAPTURE(read_our_own, ours, femap)->Name("formats/femap_read/ours")->Apply(tune);
BENCHMARK_CAPTURE(read_with_all, ours, nastran)
    ->Name("formats/nastran_mesh_read/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_our_own, for_mesh, nastran)
    ->Name("formats/nastran_mesh_read/nastran_input")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_with_all, ours, femap)->Name("formats/femap_mesh_read/ours")->Apply(tune);
BENCHMARK_CAPTURE(read_our_own, for_mesh, femap)
    ->Name("formats/femap_mesh_read/femap_input")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_with_all, ours, kv7::tessmaker::file_format::nastran, "mesh.bdf")
    ->Name("formats/nastran_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, nastran)
    ->Name("formats/nastran_mesh_write/nastran_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_with_all, ours, kv7::tessmaker::file_format::femap, "mesh.neu")
    ->Name("formats/femap_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, femap)
    ->Name("formats/femap_mesh_write/femap_output")
    ->Apply(tune);
BENCHMARK(read_nastran_per_byte)
    ->Name("formats/femap_read/nastran_per_byte")
    ->UseManualTime()
    ->Apply(tune);

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
    read_ours(state, nastran, path_of(format));
}

void read_gmsh(benchmark::State& state, const std::string& path) {
    while (state.KeepRunning()) {
        gmsh::open(path); // makes a new model
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
    write(nastran);
    gmsh_instance();
    read_gmsh(state, files().path(nastran.file));
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
