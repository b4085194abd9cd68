// Qualities of elements and edges, on regular meshes of about a million elements with randomly
// moved nodes; triangles and quadrangles in space, and as `_2d` in the plane. The peers are
// Verdict, the functions behind VTK's filter, called on gathered points; VTK's filter
// vtkMeshQuality; and, for edges, an eigenvalue computation for the metrics at both ends of each.
// `shuffled` means nodes and elements in random order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "metrics/dspev.h"
#include "tessmaker/quality.h"
#include "tessmaker/repair.h"
#include "typed_mesh.h"

#ifdef TESSMAKER_HAVE_VTK
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCellType.h>
#include <vtkDoubleArray.h>
#include <vtkMeshQuality.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

// Debian has the library of VTK's Verdict, but not its header.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
double vtkverdict__v_tri_shape(int nbr_nodes, double coordinates[][3]);
double vtkverdict__v_quad_shape(int nbr_nodes, double coordinates[][3]);
double vtkverdict__v_tet_shape(int nbr_nodes, double coordinates[][3]);
double vtkverdict__v_pyramid_volume(int nbr_nodes, double coordinates[][3]);
double vtkverdict__v_wedge_volume(int nbr_nodes, double coordinates[][3]);
// NOLINTEND(bugprone-reserved-identifier)
}
#endif

namespace {

using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
namespace tm = kv7::tessmaker;

using bench::block;
using bench::mesh_of;
using mesh = bench::typed_mesh;

// The same mesh with two coordinates. The mesh of the last call is kept.
const mesh& plane_mesh_of(const std::string& name) {
    static std::string kept_name;
    static mesh kept;
    if (name == kept_name) return kept;
    const mesh& source = mesh_of(name);
    kept = {dense2D<double>(2, source.pos.cols()), source.connect, source.type};
    for (std::size_t n = 0; n < source.pos.cols(); ++n)
        std::copy_n(source.pos.column(n), 2, kept.pos.column(n));
    kept_name = name;
    return kept;
}

using mesh_source = const mesh& (*)(const std::string& name);

void report_worst(benchmark::State& state, const double* values, std::size_t n) {
    const double worst = *std::min_element(values, values + n);
    state.counters["worst"] = worst;
    if (!(worst > 0.0)) state.SkipWithError("an element is not good");
}

using rate = int (*)(const dense2D<double>&, const dense2D<unsigned int>&, element_type,
                     dense1D<double, 8>&);

void rate_ours(benchmark::State& state, mesh_source source, const std::string& name,
               rate function) {
    const mesh& m = source(name);
    dense1D<double> values;
    for ([[maybe_unused]] auto _ : state) {
        values.clear_hard();
        if (function(m.pos, m.connect, m.type, values) != 0) state.SkipWithError("failed");
    }
    report_worst(state, values.data(), values.size());
}

#ifdef TESSMAKER_HAVE_VTK
// In VTK the same elements are positive as in ours, except for tetrahedra, which are mirrored.
template <class Id>
void copy_in_vtk_order(element_type type, const unsigned int* column, std::size_t n, Id* ids) {
    std::copy_n(column, n, ids);
    if (type == kv7::ET_TETRA4) std::swap(ids[0], ids[1]);
}

template <std::size_t N, std::size_t ROWS>
void rate_verdict(benchmark::State& state, mesh_source source, const std::string& name,
                  double (*function)(int, double[][3])) {
    const mesh& m = source(name);
    std::vector<double> values;
    for ([[maybe_unused]] auto _ : state) {
        values = std::vector<double>(m.connect.cols());
        for (std::size_t c = 0; c < values.size(); ++c) {
            unsigned int ids[N];
            copy_in_vtk_order(m.type, m.connect.column(c), N, ids);
            double points[N][3];
            for (std::size_t r = 0; r < N; ++r) {
                points[r][2] = 0.0;
                std::copy_n(m.pos.column(ids[r]), ROWS, points[r]);
            }
            values[c] = function(static_cast<int>(N), points);
        }
        benchmark::DoNotOptimize(values.data());
    }
    report_worst(state, values.data(), values.size());
}

int vtk_type_of(element_type type) {
    switch (type) {
    case kv7::ET_TRIA3: return VTK_TRIANGLE;
    case kv7::ET_QUAD4: return VTK_QUAD;
    case kv7::ET_TETRA4: return VTK_TETRA;
    case kv7::ET_PYRA5: return VTK_PYRAMID;
    case kv7::ET_PENTA6: return VTK_WEDGE;
    default: return VTK_HEXAHEDRON;
    }
}

// The grid of the last call is kept, like the mesh.
vtkUnstructuredGrid& grid_of(const std::string& name) {
    static std::string kept_name;
    static vtkSmartPointer<vtkUnstructuredGrid> kept;
    if (name == kept_name) return *kept;
    const mesh& m = mesh_of(name);
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(static_cast<vtkIdType>(m.pos.cols()));
    for (std::size_t n = 0; n < m.pos.cols(); ++n)
        points->SetPoint(static_cast<vtkIdType>(n), m.pos.column(n));
    vtkNew<vtkCellArray> cells;
    std::array<vtkIdType, 8> ids{};
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        copy_in_vtk_order(m.type, m.connect.column(c), m.connect.rows(), ids.data());
        cells->InsertNextCell(static_cast<vtkIdType>(m.connect.rows()), ids.data());
    }
    kept = vtkSmartPointer<vtkUnstructuredGrid>::New();
    kept->SetPoints(points);
    kept->SetCells(vtk_type_of(m.type), cells);
    kept_name = name;
    return *kept;
}

void rate_vtk(benchmark::State& state, const std::string& name, void (*set_up)(vtkMeshQuality&)) {
    vtkUnstructuredGrid& grid = grid_of(name);
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkMeshQuality> filter;
        set_up(*filter);
        filter->SetInputData(&grid);
        filter->Update();
        state.PauseTiming();
        auto* const found =
            vtkDoubleArray::SafeDownCast(filter->GetOutput()->GetCellData()->GetArray("Quality"));
        report_worst(state, found->GetPointer(0),
                     static_cast<std::size_t>(grid.GetNumberOfCells()));
        state.ResumeTiming();
    }
}

void choose_shape(vtkMeshQuality& filter) { filter.SetHexQualityMeasureToShape(); }

// VTK has no Jacobian for triangles; it is constant, twice the area.
void choose_jacobian(vtkMeshQuality& filter) {
    filter.SetTriangleQualityMeasureToArea();
    filter.SetQuadQualityMeasureToJacobian();
    filter.SetTetQualityMeasureToJacobian();
    filter.SetHexQualityMeasureToJacobian();
}
#endif

// Sizes from 1 to 2, along axes that rotate from node to node.
dense2D<double> metrics_of(const mesh& m) {
    dense2D<double> metrics(6, m.pos.cols());
    for (std::size_t n = 0; n < m.pos.cols(); ++n) {
        const double* const p = m.pos.column(n);
        const std::array<double, 3> axis{std::sin(p[0]), std::cos(p[0]) * std::sin(p[1]),
                                         std::cos(p[0]) * std::cos(p[1])};
        const double stretch = 0.75 * (0.5 + 0.5 * std::sin(p[2]));
        double* entry = metrics.column(n);
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t i = 0; i <= j; ++i)
                *entry++ = (i == j ? 1.0 : 0.0) - stretch * axis[i] * axis[j];
        }
    }
    return metrics;
}

void edges_ours(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    const dense2D<double> metrics = metrics_of(m);
    for ([[maybe_unused]] auto _ : state) {
        kv7::misc::histogram lengths(0.0, 4.0, 40);
        if (tm::edge_qualities(m.pos, m.connect, m.type, metrics, lengths,
                               dense2D<unsigned int>()) <= 0)
            state.SkipWithError("failed");
        state.counters["mean"] = lengths.mean();
    }
}

bool is_valid_by_dspev(const double* metric) {
    kv7::symmetric_fixed<double, 3> M;
    std::copy_n(metric, 6, M.data());
    kv7::vector_fixed<double, 3> values{};
    return test::dspev(M, values) && values[0] > 0.0;
}

double length2(const std::array<double, 3>& d, const double* m) {
    return d[0] * (m[0] * d[0] + m[1] * d[1] + m[3] * d[2]) +
           d[1] * (m[1] * d[0] + m[2] * d[1] + m[4] * d[2]) +
           d[2] * (m[3] * d[0] + m[4] * d[1] + m[5] * d[2]);
}

void edges_dspev(benchmark::State& state, const std::string& name) {
    const mesh& m = mesh_of(name);
    const dense2D<double> metrics = metrics_of(m);
    for ([[maybe_unused]] auto _ : state) {
        kv7::misc::histogram lengths(0.0, 4.0, 40);
        dense2D<unsigned int> edges;
        if (tm::copy_edges(m.connect, m.type, edges, dense2D<unsigned int>()) != 0)
            state.SkipWithError("failed");
        for (std::size_t e = 0; e < edges.cols(); ++e) {
            const unsigned int a = edges(0, e);
            const unsigned int b = edges(1, e);
            if (!is_valid_by_dspev(metrics.column(a)) || !is_valid_by_dspev(metrics.column(b)))
                continue;
            std::array<double, 3> d{};
            for (std::size_t k = 0; k < 3; ++k) d[k] = m.pos(k, b) - m.pos(k, a);
            const double l0 = std::sqrt(length2(d, metrics.column(a)));
            const double l1 = std::sqrt(length2(d, metrics.column(b)));
            double quality = 0.0;
            tm::edge_quality(l0 * l1, l0, l1, quality);
            lengths.process(quality);
        }
        state.counters["mean"] = lengths.mean();
    }
}

template <class Function, class... Arguments>
void add(const std::string& task, const char* who, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(("quality/" + task + "/" + who).c_str(), function, arguments...)
        ->Unit(benchmark::kMillisecond);
}

void add_plane_shapes(const block& b, const std::string& numbering) {
    const std::string name = b.name + numbering;
    const std::string task = std::string("shapes_") + b.name + "_2d" + numbering;
    add(task, "ours", rate_ours, plane_mesh_of, name, tm::shape_qualities);
#ifdef TESSMAKER_HAVE_VTK
    if (b.type == kv7::ET_TRIA3) {
        add(task, "verdict", rate_verdict<3, 2>, plane_mesh_of, name, vtkverdict__v_tri_shape);
    } else {
        add(task, "verdict", rate_verdict<4, 2>, plane_mesh_of, name, vtkverdict__v_quad_shape);
    }
#endif
}

void add_benchmarks(const block& b, const std::string& numbering) {
    const std::string name = b.name + numbering;
    const bool has_shapes =
        b.type == kv7::ET_TRIA3 || b.type == kv7::ET_TETRA4 || b.type == kv7::ET_HEXA8;
    if (has_shapes) add("shapes_" + name, "ours", rate_ours, mesh_of, name, tm::shape_qualities);
#ifdef TESSMAKER_HAVE_VTK
    if (b.type == kv7::ET_TRIA3) {
        add("shapes_" + name, "verdict", rate_verdict<3, 3>, mesh_of, name,
            vtkverdict__v_tri_shape);
    } else if (b.type == kv7::ET_TETRA4) {
        add("shapes_" + name, "verdict", rate_verdict<4, 3>, mesh_of, name,
            vtkverdict__v_tet_shape);
    } else if (b.type == kv7::ET_HEXA8) {
        add("shapes_" + name, "vtk", rate_vtk, name, choose_shape);
    }
#endif
    add("jacobians_" + name, "ours", rate_ours, mesh_of, name, tm::jacobians);
#ifdef TESSMAKER_HAVE_VTK
    if (b.type == kv7::ET_PYRA5) {
        add("jacobians_" + name, "verdict", rate_verdict<5, 3>, mesh_of, name,
            vtkverdict__v_pyramid_volume);
    } else if (b.type == kv7::ET_PENTA6) {
        add("jacobians_" + name, "verdict", rate_verdict<6, 3>, mesh_of, name,
            vtkverdict__v_wedge_volume);
    } else {
        add("jacobians_" + name, "vtk", rate_vtk, name, choose_jacobian);
    }
#endif
    if (b.type == kv7::ET_TRIA3 || b.type == kv7::ET_QUAD4) add_plane_shapes(b, numbering);
    if (b.type == kv7::ET_TETRA4) {
        add("edges_" + name, "ours", edges_ours, name);
        add("edges_" + name, "dspev", edges_dspev, name);
    }
}

} // namespace

int main(int argc, char** argv) {
    setenv("VTK_SMP_BACKEND_IN_USE", "Sequential", 1); // one thread, as ours
    for (const block& b : bench::blocks()) {
        add_benchmarks(b, "_natural");
        add_benchmarks(b, "_shuffled");
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
