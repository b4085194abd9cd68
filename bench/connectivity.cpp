// Node graphs, node-to-element lists, neighbours, boundaries and edges of regular meshes of about a
// million elements, beside METIS and VTK. `shuffled` means nodes and elements in random order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "growth.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/repair.h"
#include "typed_mesh.h"

#ifdef TESSMAKER_HAVE_METIS
#include <metis.h>
#endif
#ifdef TESSMAKER_HAVE_VTK
#include <vtkCellArray.h>
#include <vtkCellType.h>
#include <vtkDataSetSurfaceFilter.h>
#include <vtkExtractEdges.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkStaticCellLinks.h>
#include <vtkUnstructuredGrid.h>
#endif

namespace {

using kv7::dense1D;
using kv7::dense2D;
namespace tm = kv7::tessmaker;

using bench::mesh_of;
using mesh = bench::typed_mesh;

void node_graph_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    for ([[maybe_unused]] auto _ : state) {
        dense1D<unsigned int> first;
        dense1D<unsigned int> list;
        if (tm::get_node_graph(m.connect, first, list, kv7::ET_UNKNOWN) != 0)
            state.SkipWithError("failed");
        state.counters["size"] = static_cast<double>(list.size());
    }
}

void neighbors_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    for ([[maybe_unused]] auto _ : state) {
        dense2D<unsigned int> neighbors;
        if (tm::get_neighbors(m.connect, m.type, true, neighbors) != 0)
            state.SkipWithError("failed");
        benchmark::DoNotOptimize(neighbors.column(0));
    }
}

void connected_elements_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    for ([[maybe_unused]] auto _ : state) {
        dense1D<unsigned int> first;
        dense1D<unsigned int> list;
        if (tm::get_connected_elements(m.connect, first, list) != 0) state.SkipWithError("failed");
        state.counters["size"] = static_cast<double>(list.size());
    }
}

void boundaries_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    for ([[maybe_unused]] auto _ : state) {
        dense2D<unsigned int> neighbors;
        dense2D<unsigned int> boundaries;
        if (tm::get_neighbors(m.connect, m.type, true, neighbors) != 0 ||
            tm::get_mesh_boundaries(m.connect, neighbors, m.type, boundaries) != 0)
            state.SkipWithError("failed");
        state.counters["size"] = static_cast<double>(boundaries.cols());
    }
}

void edges_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    for ([[maybe_unused]] auto _ : state) {
        dense2D<unsigned int> edges;
        if (tm::copy_edges(m.connect, m.type, edges, dense2D<unsigned int>()) != 0)
            state.SkipWithError("failed");
        state.counters["size"] = static_cast<double>(edges.cols());
    }
}

#ifdef TESSMAKER_HAVE_METIS
struct metis_mesh {
    idx_t nbr_elements;
    idx_t nbr_nodes;
    std::vector<idx_t> offsets;
    std::vector<idx_t> nodes;
    idx_t nodes_of_facet;
};

metis_mesh to_metis(const mesh& m) {
    const std::size_t rows = m.connect.rows();
    metis_mesh result{static_cast<idx_t>(m.connect.cols()),
                      static_cast<idx_t>(m.pos.cols()),
                      {},
                      {m.connect.column(0), m.connect.column(m.connect.cols())},
                      m.type == kv7::ET_TRIA3    ? 2
                      : m.type == kv7::ET_TETRA4 ? 3
                                                 : 4};
    for (std::size_t e = 0; e <= m.connect.cols(); ++e)
        result.offsets.push_back(static_cast<idx_t>(e * rows));
    return result;
}

// A graph allocated by the peer; freed by the destructor.
struct metis_graph {
    idx_t* first = nullptr;
    idx_t* list = nullptr;

    metis_graph() = default;
    metis_graph(const metis_graph&) = delete;
    metis_graph& operator=(const metis_graph&) = delete;
    ~metis_graph() {
        METIS_Free(first);
        METIS_Free(list);
    }
};

void node_graph_metis(benchmark::State& state, const std::string& name) {
    metis_mesh m = to_metis(mesh_of(name));
    idx_t base = 0;
    for ([[maybe_unused]] auto _ : state) {
        metis_graph graph;
        if (METIS_MeshToNodal(&m.nbr_elements, &m.nbr_nodes, m.offsets.data(), m.nodes.data(),
                              &base, &graph.first, &graph.list) != METIS_OK)
            state.SkipWithError("failed");
        state.counters["size"] = graph.first[m.nbr_nodes];
    }
}

void neighbors_metis(benchmark::State& state, const std::string& name) {
    metis_mesh m = to_metis(mesh_of(name));
    idx_t base = 0;
    for ([[maybe_unused]] auto _ : state) {
        metis_graph graph;
        if (METIS_MeshToDual(&m.nbr_elements, &m.nbr_nodes, m.offsets.data(), m.nodes.data(),
                             &m.nodes_of_facet, &base, &graph.first, &graph.list) != METIS_OK)
            state.SkipWithError("failed");
        benchmark::DoNotOptimize(graph.list);
    }
}
#endif

#ifdef TESSMAKER_HAVE_VTK
vtkSmartPointer<vtkUnstructuredGrid> to_vtk(const mesh& m) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(static_cast<vtkIdType>(m.pos.cols()));
    for (std::size_t n = 0; n < m.pos.cols(); ++n)
        points->SetPoint(static_cast<vtkIdType>(n), m.pos.column(n));
    vtkNew<vtkCellArray> cells;
    std::vector<vtkIdType> ids(m.connect.rows());
    for (std::size_t e = 0; e < m.connect.cols(); ++e) {
        std::copy_n(m.connect.column(e), ids.size(), ids.begin());
        cells->InsertNextCell(static_cast<vtkIdType>(ids.size()), ids.data());
    }
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(points);
    grid->SetCells(m.type == kv7::ET_TRIA3    ? VTK_TRIANGLE
                   : m.type == kv7::ET_TETRA4 ? VTK_TETRA
                                              : VTK_HEXAHEDRON,
                   cells);
    return grid;
}

void connected_elements_vtk(benchmark::State& state, const std::string& name) {
    const auto grid = to_vtk(mesh_of(name));
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkStaticCellLinks> links;
        links->SequentialProcessingOn();
        links->BuildLinks(grid);
        benchmark::DoNotOptimize(links->GetCells(0));
    }
}

void boundaries_vtk(benchmark::State& state, const std::string& name) {
    const auto grid = to_vtk(mesh_of(name));
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkDataSetSurfaceFilter> filter;
        filter->SetInputData(grid);
        filter->Update();
        state.counters["size"] = static_cast<double>(filter->GetOutput()->GetNumberOfCells());
    }
}

void edges_vtk(benchmark::State& state, const std::string& name) {
    const auto grid = to_vtk(mesh_of(name));
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkExtractEdges> filter;
        filter->SetInputData(grid);
        filter->Update();
        state.counters["size"] = static_cast<double>(filter->GetOutput()->GetNumberOfLines());
    }
}
#endif

// Tetrahedra in a ring around the edge of nodes 0 and 1.
dense2D<unsigned int> ring_of_tetrahedra(std::size_t n) {
    dense2D<unsigned int> connect(4, n);
    for (std::size_t e = 0; e < n; ++e) {
        const auto rim = static_cast<unsigned int>(2 + e);
        const unsigned int nodes[] = {0, 1, rim, e + 1 == n ? 2 : rim + 1};
        std::copy(nodes, nodes + 4, connect.column(e));
    }
    return connect;
}

// The facets that look for their elements begin at node 0, or at 0 and 1 by turns.
void facets_on_few_nodes(benchmark::State& state, unsigned int nbr_hubs) {
    bench::report_growth(state, 2000, [nbr_hubs](std::size_t n) {
        const dense2D<unsigned int> connect = ring_of_tetrahedra(n);
        dense2D<unsigned int> neighbors;
        dense1D<unsigned int> ancestors;
        tm::get_neighbors(connect, kv7::ET_TETRA4, false, neighbors);
        tm::get_ancestors(connect, ancestors);
        dense2D<unsigned int> boundaries(3, n);
        for (std::size_t b = 0; b < n; ++b) {
            boundaries(0, b) = static_cast<unsigned int>(b % nbr_hubs);
            boundaries(1, b) = connect(3, b);
            boundaries(2, b) = connect(2, b);
        }
        return [connect, neighbors, ancestors, boundaries] {
            dense1D<unsigned int> handles;
            unsigned int stride = 0;
            tm::get_elements_on_boundaries(boundaries, connect, neighbors, ancestors,
                                           kv7::ET_TETRA4, 1, handles, stride);
            benchmark::DoNotOptimize(handles.data());
        };
    });
}

void add_growth() {
    for (const unsigned int nbr_hubs : {1U, 2U}) {
        const std::string name = nbr_hubs == 1 ? "one_node" : "two_nodes";
        benchmark::RegisterBenchmark(
            ("connectivity/elements_on_boundaries_" + name + "/ours").c_str(),
            [=](benchmark::State& state) { facets_on_few_nodes(state, nbr_hubs); })
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
}

using task = void (*)(benchmark::State&, const std::string&);

void add(const std::string& name, const std::string& mesh_name, const char* who, task run) {
    benchmark::RegisterBenchmark(("connectivity/" + name + "_" + mesh_name + "/" + who).c_str(),
                                 [=](benchmark::State& state) { run(state, mesh_name); })
        ->Unit(benchmark::kMillisecond);
}

void add_all() {
    for (const char* const mesh_name :
         {"tetrahedra_natural", "tetrahedra_shuffled", "hexahedra_natural", "hexahedra_shuffled",
          "triangles_natural", "triangles_shuffled"}) {
        const bool is_solid = *mesh_name != 't' || mesh_name[1] != 'r';
        add("node_graph", mesh_name, "ours", node_graph_ours);
        add("neighbors", mesh_name, "ours", neighbors_ours);
        add("node_to_elements", mesh_name, "ours", connected_elements_ours);
        if (is_solid) add("boundary", mesh_name, "ours", boundaries_ours);
        add("edges", mesh_name, "ours", edges_ours);
#ifdef TESSMAKER_HAVE_METIS
        add("node_graph", mesh_name, "metis", node_graph_metis);
        add("neighbors", mesh_name, "metis", neighbors_metis);
#endif
#ifdef TESSMAKER_HAVE_VTK
        add("node_to_elements", mesh_name, "vtk", connected_elements_vtk);
        if (is_solid) add("boundary", mesh_name, "vtk", boundaries_vtk);
        add("edges", mesh_name, "vtk", edges_vtk);
#endif
    }
}

} // namespace

int main(int argc, char** argv) {
    setenv("VTK_SMP_BACKEND_IN_USE", "Sequential", 1); // one thread, as ours
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    add_all();
    add_growth();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
