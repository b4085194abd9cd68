// Writes MEDIT, EnSight, VTK and VTU files of a block of a million tetrahedra, beside gmsh and VTK.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "mesh_write.h"
#include "tessmaker/formats.h"
#include "volume_files.h"

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
using bench::files;
using bench::mesh;

// A writer of ours, in the form for one connectivity.
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

void write_with_all(benchmark::State& state, file_format format, const char* name) {
    const mesh& m = files().volume;
    bench::time_write_mesh(state, bench::mesh_of(m.pos, m.connect, ET_TETRA4), format,
                           files().path(name));
}

// Measures the writing of a MEDIT file, scaled to the length of the EnSight file.
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
BENCHMARK_CAPTURE(write_with_all, ours, file_format::medit, "mesh.mesh")
    ->Name("formats/medit_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, medit_output, "ours.mesh")
    ->Name("formats/medit_mesh_write/medit_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_with_all, ours, file_format::vtk, "mesh.vtk")
    ->Name("formats/vtk_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, vtk_output, "ours.vtk")
    ->Name("formats/vtk_mesh_write/vtk_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_with_all, ours, file_format::vtu, "mesh.vtu")
    ->Name("formats/vtu_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_vtu, vtk_output, "ours.vtk")
    ->Name("formats/vtu_mesh_write/vtk_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_with_all, ours, file_format::ensight, "mesh.geo")
    ->Name("formats/ensight_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, ensight_output, "ours.geo")
    ->Name("formats/ensight_mesh_write/ensight_output")
    ->Apply(tune);

#ifdef TESSMAKER_HAVE_GMSH
void write_gmsh(benchmark::State& state, const char* name) {
    static const bench::gmsh_model instance;
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
