// STL from and to files, on a torus of a million facets, against VTK.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <filesystem>
#include <numbers>
#include <string>

#include "tessmaker/formats.h"

#ifdef TESSMAKER_HAVE_VTK
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkSTLReader.h>
#include <vtkSTLWriter.h>
#endif

namespace {

using kv7::dense2D;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

mesh torus(unsigned int nbr_around, unsigned int nbr_across) {
    constexpr double full_turn = 2.0 * std::numbers::pi;
    mesh m;
    m.pos.resize(3, std::size_t{nbr_around} * nbr_across);
    m.connect.resize(3, 2 * m.pos.cols());
    std::size_t k = 0;
    for (unsigned int i = 0; i < nbr_around; ++i) {
        const double u = full_turn * i / nbr_around;
        for (unsigned int j = 0; j < nbr_across; ++j) {
            const double v = full_turn * j / nbr_across;
            const double radius = 3.0 + std::cos(v);
            const unsigned int a = i * nbr_across + j;
            m.pos(0, a) = radius * std::cos(u);
            m.pos(1, a) = radius * std::sin(u);
            m.pos(2, a) = std::sin(v);
            const unsigned int b = (i + 1) % nbr_around * nbr_across + j;
            const unsigned int c = (i + 1) % nbr_around * nbr_across + (j + 1) % nbr_across;
            const unsigned int d = i * nbr_across + (j + 1) % nbr_across;
            for (const unsigned int id : {a, b, c}) *(m.connect.column(0) + k++) = id;
            for (const unsigned int id : {a, c, d}) *(m.connect.column(0) + k++) = id;
        }
    }
    return m;
}

// A folder of its own, in memory where the system has such a place, with the torus in both
// variants.
class work_folder {
public:
    work_folder() : surface(torus(1000, 500)) {
        std::filesystem::create_directories(folder_);
        kv7::tessmaker::STL_output(path("text.stl").c_str(), surface.pos, surface.connect, true);
        kv7::tessmaker::STL_output(path("binary.stl").c_str(), surface.pos, surface.connect, false);
    }
    ~work_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    work_folder(const work_folder&) = delete;
    work_folder& operator=(const work_folder&) = delete;

    std::string path(const char* name) const { return (folder_ / name).string(); }

    const mesh surface;

private:
    static std::filesystem::path base() {
        return std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path();
    }

    std::filesystem::path folder_ = base() / ("tessmaker_bench_" + std::to_string(getpid()));
};

const work_folder& files() {
    static const work_folder instance;
    return instance;
}

void read_ours(benchmark::State& state, const char* name) {
    const std::string path = files().path(name);
    while (state.KeepRunning()) {
        mesh m;
        if (kv7::tessmaker::STL_input(path.c_str(), m.pos, m.connect) != 0 ||
            m.pos.cols() != files().surface.pos.cols()) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
}

void write_ours(benchmark::State& state, bool text) {
    const std::string path = files().path("ours.stl");
    const mesh& m = files().surface;
    while (state.KeepRunning()) {
        if (kv7::tessmaker::STL_output(path.c_str(), m.pos, m.connect, text) != 0) {
            state.SkipWithError("not written");
            break;
        }
    }
}

#ifdef TESSMAKER_HAVE_VTK
// The peer merges exact coincidence only.
void read_vtk(benchmark::State& state, const char* name) {
    const std::string path = files().path(name);
    while (state.KeepRunning()) {
        vtkNew<vtkSTLReader> reader;
        reader->SetFileName(path.c_str());
        reader->Update();
        if (reader->GetOutput()->GetNumberOfCells() == 0) {
            state.SkipWithError("nothing read");
            break;
        }
    }
}

void write_vtk(benchmark::State& state, bool text) {
    vtkNew<vtkSTLReader> reader;
    reader->SetFileName(files().path("binary.stl").c_str());
    reader->Update();
    const std::string path = files().path("vtk.stl");
    while (state.KeepRunning()) {
        vtkNew<vtkSTLWriter> writer;
        writer->SetInputData(reader->GetOutput());
        writer->SetFileName(path.c_str());
        if (text) {
            writer->SetFileTypeToASCII();
        } else {
            writer->SetFileTypeToBinary();
        }
        if (writer->Write() == 0) {
            state.SkipWithError("not written");
            break;
        }
    }
}
#endif

void tune(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond); }

BENCHMARK_CAPTURE(read_ours, ours, "binary.stl")->Name("formats/stl_binary_read/ours")->Apply(tune);
BENCHMARK_CAPTURE(read_ours, ours, "text.stl")->Name("formats/stl_text_read/ours")->Apply(tune);
BENCHMARK_CAPTURE(write_ours, ours, true)->Name("formats/stl_text_write/ours")->Apply(tune);
BENCHMARK_CAPTURE(write_ours, ours, false)->Name("formats/stl_binary_write/ours")->Apply(tune);
#ifdef TESSMAKER_HAVE_VTK
BENCHMARK_CAPTURE(read_vtk, vtk, "binary.stl")->Name("formats/stl_binary_read/vtk")->Apply(tune);
BENCHMARK_CAPTURE(read_vtk, vtk, "text.stl")->Name("formats/stl_text_read/vtk")->Apply(tune);
BENCHMARK_CAPTURE(write_vtk, vtk, true)->Name("formats/stl_text_write/vtk")->Apply(tune);
BENCHMARK_CAPTURE(write_vtk, vtk, false)->Name("formats/stl_binary_write/vtk")->Apply(tune);
#endif

} // namespace

BENCHMARK_MAIN();
