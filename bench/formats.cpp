// Reads and writes STL and Wavefront OBJ files of a torus of a million facets, beside VTK,
// tinyobjloader and OpenMesh.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>

#include "mesh_write.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"
#include "work_folder.h"

#ifdef TESSMAKER_HAVE_OPENMESH
#include <OpenMesh/Core/IO/MeshIO.hh>
// The header above must come first.
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#endif
#ifdef TESSMAKER_HAVE_TINYOBJLOADER
#include <tiny_obj_loader.h>
#endif
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

// Files of the torus: text and binary STL, and OBJ.
class surface_files : public bench::work_folder {
public:
    surface_files() {
        kv7::tessmaker::STL_output(path("text.stl").c_str(), surface.pos, surface.connect, true);
        kv7::tessmaker::STL_output(path("binary.stl").c_str(), surface.pos, surface.connect, false);
        kv7::tessmaker::WavefrontOBJ_output(path("surface.obj").c_str(), surface.pos,
                                            surface.connect, kv7::ET_TRIA3);
    }

    const mesh surface = torus(1000, 500);
};

const surface_files& files() {
    static const surface_files instance;
    return instance;
}

// A file of the torus with all that comes with it.
void read_mesh_ours(benchmark::State& state, const char* name) {
    const std::string path = files().path(name);
    while (state.KeepRunning()) {
        kv7::tessmaker::mesh m;
        kv7::tessmaker::file_report report;
        if (kv7::tessmaker::read_mesh(path.c_str(), m, report) != 0 ||
            m.connect.cols() != files().surface.connect.cols()) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
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

void write_mesh_ours(benchmark::State& state, kv7::tessmaker::file_format format,
                     const char* name) {
    const mesh& m = files().surface;
    bench::time_write_mesh(state, bench::mesh_of(m.pos, m.connect, kv7::ET_TRIA3), format,
                           files().path(name));
}

#ifdef TESSMAKER_HAVE_VTK
// VTK merges only nodes at exactly equal positions.
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

void read_obj_ours(benchmark::State& state) {
    const std::string path = files().path("surface.obj");
    while (state.KeepRunning()) {
        mesh m;
        dense2D<double> normals;
        dense2D<double> textures;
        dense2D<unsigned int> quadrangles;
        if (kv7::tessmaker::WavefrontOBJ_input(path.c_str(), m.pos, normals, textures, m.connect,
                                               quadrangles) != 0 ||
            m.connect.cols() != files().surface.connect.cols()) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
}

void write_obj_ours(benchmark::State& state) {
    const std::string path = files().path("ours.obj");
    const mesh& m = files().surface;
    while (state.KeepRunning()) {
        if (kv7::tessmaker::WavefrontOBJ_output(path.c_str(), m.pos, m.connect, kv7::ET_TRIA3) !=
            0) {
            state.SkipWithError("not written");
            break;
        }
    }
}

#ifdef TESSMAKER_HAVE_TINYOBJLOADER
// tinyobjloader is built for double precision.
void read_obj_tinyobjloader(benchmark::State& state) {
    const std::string path = files().path("surface.obj");
    while (state.KeepRunning()) {
        tinyobj::attrib_t attributes;
        std::vector<tinyobj::shape_t> shapes;
        std::vector<tinyobj::material_t> materials;
        std::string warning;
        std::string error;
        if (!tinyobj::LoadObj(&attributes, &shapes, &materials, &warning, &error, path.c_str()) ||
            shapes.size() != 1 ||
            shapes[0].mesh.num_face_vertices.size() != files().surface.connect.cols()) {
            state.SkipWithError("not the mesh that was written");
            break;
        }
    }
}
#endif

#ifdef TESSMAKER_HAVE_OPENMESH
// OpenMesh writes as many digits as we do.
void write_obj_openmesh(benchmark::State& state) {
    struct traits : OpenMesh::DefaultTraits {
        using Point = OpenMesh::Vec3d;
    };
    OpenMesh::TriMesh_ArrayKernelT<traits> peer;
    const mesh& m = files().surface;
    for (std::size_t k = 0; k < m.pos.cols(); ++k) {
        peer.add_vertex({m.pos(0, k), m.pos(1, k), m.pos(2, k)});
    }
    for (std::size_t k = 0; k < m.connect.cols(); ++k) {
        const unsigned int* const ids = m.connect.column(k);
        const auto vertex = [&](int i) { return peer.vertex_handle(ids[i]); };
        peer.add_face(vertex(0), vertex(1), vertex(2));
    }
    const std::string path = files().path("openmesh.obj");
    while (state.KeepRunning()) {
        if (!OpenMesh::IO::write_mesh(peer, path, OpenMesh::IO::Options::Default, 13)) {
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
BENCHMARK(read_obj_ours)->Name("formats/obj_read/ours")->Apply(tune);
BENCHMARK(write_obj_ours)->Name("formats/obj_write/ours")->Apply(tune);
BENCHMARK_CAPTURE(read_mesh_ours, ours, "binary.stl")
    ->Name("formats/stl_binary_mesh_read/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_ours, for_mesh, "binary.stl")
    ->Name("formats/stl_binary_mesh_read/stl_input")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_mesh_ours, ours, "text.stl")
    ->Name("formats/stl_text_mesh_read/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_ours, for_mesh, "text.stl")
    ->Name("formats/stl_text_mesh_read/stl_input")
    ->Apply(tune);
BENCHMARK_CAPTURE(read_mesh_ours, ours, "surface.obj")
    ->Name("formats/obj_mesh_read/ours")
    ->Apply(tune);
BENCHMARK(read_obj_ours)->Name("formats/obj_mesh_read/wavefrontobj_input")->Apply(tune);
BENCHMARK_CAPTURE(write_mesh_ours, ours, kv7::tessmaker::file_format::stl_text, "mesh_text.stl")
    ->Name("formats/stl_text_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, true)
    ->Name("formats/stl_text_mesh_write/stl_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_mesh_ours, ours, kv7::tessmaker::file_format::stl_binary, "mesh_binary.stl")
    ->Name("formats/stl_binary_mesh_write/ours")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_ours, for_mesh, false)
    ->Name("formats/stl_binary_mesh_write/stl_output")
    ->Apply(tune);
BENCHMARK_CAPTURE(write_mesh_ours, ours, kv7::tessmaker::file_format::obj, "mesh.obj")
    ->Name("formats/obj_mesh_write/ours")
    ->Apply(tune);
BENCHMARK(write_obj_ours)->Name("formats/obj_mesh_write/wavefrontobj_output")->Apply(tune);
#ifdef TESSMAKER_HAVE_TINYOBJLOADER
BENCHMARK(read_obj_tinyobjloader)->Name("formats/obj_read/tinyobjloader")->Apply(tune);
#endif
#ifdef TESSMAKER_HAVE_OPENMESH
BENCHMARK(write_obj_openmesh)->Name("formats/obj_write/openmesh")->Apply(tune);
#endif
#ifdef TESSMAKER_HAVE_VTK
BENCHMARK_CAPTURE(read_vtk, vtk, "binary.stl")->Name("formats/stl_binary_read/vtk")->Apply(tune);
BENCHMARK_CAPTURE(read_vtk, vtk, "text.stl")->Name("formats/stl_text_read/vtk")->Apply(tune);
BENCHMARK_CAPTURE(write_vtk, vtk, true)->Name("formats/stl_text_write/vtk")->Apply(tune);
BENCHMARK_CAPTURE(write_vtk, vtk, false)->Name("formats/stl_binary_write/vtk")->Apply(tune);
#endif

} // namespace

BENCHMARK_MAIN();
