// MEDIT, EnSight and VTK files of a block of a million tetrahedra, against gmsh and VTK.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "tessmaker/formats.h"

#ifdef TESSMAKER_HAVE_GMSH
#include <gmsh.h>

#include <vector>
#endif
#ifdef TESSMAKER_HAVE_VTK
#include <vtkCellArray.h>
#include <vtkCellType.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkUnstructuredGrid.h>
#include <vtkUnstructuredGridWriter.h>
#endif

namespace {

using namespace kv7;
using namespace kv7::tessmaker;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

// A bent block of side^3 cubes of six tetrahedra each, with coordinates that use all digits.
mesh block(unsigned int side) {
    const unsigned int n = side + 1;
    mesh m;
    m.pos.resize(3, std::size_t{n} * n * n);
    m.connect.resize(4, std::size_t{6} * side * side * side);
    for (unsigned int k = 0; k < m.pos.cols(); ++k) {
        const double x = 1.0 * (k % n) / side;
        const double y = 1.0 * (k / n % n) / side;
        const double z = 1.0 * (k / n / n) / side;
        double* const p = m.pos.column(k);
        p[0] = x + 0.1 * std::sin(3.0 * y);
        p[1] = 10.0 * (y - 0.5) + 0.1 * std::sin(3.0 * z);
        p[2] = 100.0 * z * z + 0.1 * std::sin(3.0 * x);
    }
    constexpr unsigned int paths[6][2] = {{1, 2}, {2, 1}, {2, 4}, {4, 2}, {4, 1}, {1, 4}};
    const auto step = [n](unsigned int axes) {
        return (axes & 1U) + (axes >> 1U & 1U) * n + (axes >> 2U) * n * n;
    };
    unsigned int* id = m.connect.column(0);
    for (unsigned int c = 0; c < side * side * side; ++c) {
        const unsigned int low = c % side + c / side % side * n + c / side / side * n * n;
        for (const auto& [first, second] : paths) {
            for (const unsigned int axes : {0U, first, first | second, 7U})
                *id++ = low + step(axes);
        }
    }
    return m;
}

// A folder of its own, in memory where the system has such a place, and the block.
class work_folder {
public:
    work_folder() : volume(block(55)) { std::filesystem::create_directories(folder_); }
    ~work_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    work_folder(const work_folder&) = delete;
    work_folder& operator=(const work_folder&) = delete;

    std::string path(const char* name) const { return (folder_ / name).string(); }

    const mesh volume;

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

// One of our writers in its short form.
using our_writer = int (*)(const char*, const dense2D<double>&, const dense2D<unsigned int>&,
                           element_type);

void write_ours(benchmark::State& state, our_writer write, const char* name) {
    const std::string path = files().path(name);
    const mesh& m = files().volume;
    while (state.KeepRunning()) {
        if (write(path.c_str(), m.pos, m.connect, ET_TETRA4) != 0) {
            state.SkipWithError("not written");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

// The time that a MEDIT file as long as the EnSight file would take.
void write_medit_per_byte(benchmark::State& state) {
    const mesh& m = files().volume;
    const std::string ensight = files().path("ours.geo");
    const std::string medit = files().path("ours.mesh");
    ensight_output(ensight.c_str(), m.pos, m.connect, ET_TETRA4);
    while (state.KeepRunning()) {
        const auto start = std::chrono::steady_clock::now();
        medit_output(medit.c_str(), m.pos, m.connect, ET_TETRA4);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(time.count() *
                               static_cast<double>(std::filesystem::file_size(ensight)) /
                               static_cast<double>(std::filesystem::file_size(medit)));
    }
}

void tune(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond); }

BENCHMARK_CAPTURE(write_ours, ours, medit_output, "ours.mesh")
    ->Name("formats/medit_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, ours, vtk_output, "ours.vtk")
    ->Name("formats/vtk_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, ours, ensight_output, "ours.geo")
    ->Name("formats/ensight_write/ours")
    ->Apply(tune);
BENCHMARK(write_medit_per_byte)
    ->Name("formats/ensight_write/medit_per_byte")
    ->UseManualTime()
    ->Apply(tune);

#ifdef TESSMAKER_HAVE_GMSH
class gmsh_model {
public:
    gmsh_model() {
        gmsh::initialize();
        gmsh::option::setNumber("General.Terminal", 0);
        gmsh::option::setNumber("Mesh.SaveAll", 1);
        const mesh& m = files().volume;
        const double* const p = m.pos.column(0);
        const unsigned int* const id = m.connect.column(0);
        std::vector<std::size_t> nodes(m.pos.cols());
        for (std::size_t k = 0; k < nodes.size(); ++k) nodes[k] = k + 1;
        std::vector<std::size_t> elements(m.connect.cols());
        for (std::size_t k = 0; k < elements.size(); ++k) elements[k] = k + 1;
        std::vector<std::size_t> corners(id, id + 4 * m.connect.cols());
        for (std::size_t& corner : corners) ++corner;
        constexpr int tetrahedra = 4;
        const int volume = gmsh::model::addDiscreteEntity(3);
        gmsh::model::mesh::addNodes(3, volume, nodes, {p, p + 3 * m.pos.cols()});
        gmsh::model::mesh::addElementsByType(volume, tetrahedra, elements, corners);
    }
    ~gmsh_model() { gmsh::finalize(); }
    gmsh_model(const gmsh_model&) = delete;
    gmsh_model& operator=(const gmsh_model&) = delete;
};

void write_gmsh(benchmark::State& state, const char* name) {
    static const gmsh_model instance;
    const std::string path = files().path(name);
    while (state.KeepRunning()) gmsh::write(path);
    if (std::filesystem::file_size(path) < 10 * files().volume.connect.cols()) {
        state.SkipWithError("not written");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

BENCHMARK_CAPTURE(write_gmsh, gmsh, "gmsh.mesh")->Name("formats/medit_write/gmsh")->Apply(tune);
BENCHMARK_CAPTURE(write_gmsh, gmsh, "gmsh.vtk")->Name("formats/vtk_write/gmsh")->Apply(tune);
#endif

#ifdef TESSMAKER_HAVE_VTK
void write_vtk(benchmark::State& state) {
    const mesh& m = files().volume;
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (std::size_t k = 0; k < m.pos.cols(); ++k) points->InsertNextPoint(m.pos.column(k));
    vtkNew<vtkCellArray> cells;
    for (std::size_t k = 0; k < m.connect.cols(); ++k) {
        const unsigned int* const id = m.connect.column(k);
        cells->InsertNextCell({id[0], id[1], id[3], id[2]});
    }
    vtkNew<vtkUnstructuredGrid> grid;
    grid->SetPoints(points);
    grid->SetCells(VTK_TETRA, cells);
    const std::string path = files().path("vtk.vtk");
    while (state.KeepRunning()) {
        vtkNew<vtkUnstructuredGridWriter> writer;
        writer->SetInputData(grid);
        writer->SetFileName(path.c_str());
        writer->SetFileTypeToASCII();
        if (writer->Write() == 0) {
            state.SkipWithError("not written");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

BENCHMARK(write_vtk)->Name("formats/vtk_write/vtk")->Apply(tune);
#endif

} // namespace

BENCHMARK_MAIN();
