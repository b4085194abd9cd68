// Welding a triangle soup: three nodes a facet in, a connected mesh without unused nodes out.
// Copying and clipping the mesh.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "growth.h"
#include "tessmaker/repair.h"

#ifdef TESSMAKER_HAVE_VTK
#include <vtkAppendPolyData.h>
#include <vtkCellArray.h>
#include <vtkCleanPolyData.h>
#include <vtkExtractPolyDataGeometry.h>
#include <vtkNew.h>
#include <vtkPlane.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkStaticCleanPolyData.h>
#include <vtkTransform.h>
#include <vtkTransformPolyDataFilter.h>
#endif

namespace {

using kv7::dense1D;
using kv7::dense2D;

using point = std::array<double, 3>;
using facet = std::array<point, 3>;

constexpr std::size_t around = 1000; // quadrangles along the large circle
constexpr std::size_t across = 500;  // along the small one
constexpr std::size_t nbr_facets = 2 * around * across;
constexpr std::size_t nbr_distinct = around * across;
enum class order { as_written, shuffled };

// Corners that belong together may be off by noise, along each axis. Nodes are 750 tolerances
// apart with the slight noise, 20 with the coarse one.
struct noise {
    double size, tolerance;
};
constexpr noise no_noise{0, 1e-4};
constexpr noise slight_noise{1e-6, 5e-6};
constexpr noise coarse_noise{4e-5, 1.9e-4};

point torus_point(std::size_t i, std::size_t j) {
    const double u = 2 * std::numbers::pi * static_cast<double>(i % around) / around;
    const double v = 2 * std::numbers::pi * static_cast<double>(j % across) / across;
    const double r = 1 + 0.4 * std::cos(v);
    return {r * std::cos(u), r * std::sin(u), 0.4 * std::sin(v)};
}

std::vector<facet> torus_soup(order facet_order, noise off) {
    std::vector<facet> soup;
    soup.reserve(nbr_facets);
    for (std::size_t i = 0; i < around; ++i) {
        for (std::size_t j = 0; j < across; ++j) {
            const point a = torus_point(i, j);
            const point b = torus_point(i + 1, j);
            const point c = torus_point(i + 1, j + 1);
            const point d = torus_point(i, j + 1);
            soup.push_back({a, b, c});
            soup.push_back({a, c, d});
        }
    }
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> move(-off.size / 2, off.size / 2);
    for (facet& corners : soup) {
        for (point& p : corners) {
            for (double& x : p) x += off.size == 0 ? 0 : move(random);
        }
    }
    if (facet_order == order::shuffled) std::shuffle(soup.begin(), soup.end(), std::mt19937(1));
    return soup;
}

void report_nodes(benchmark::State& state, std::size_t nbr_nodes) {
    state.counters["nodes"] = static_cast<double>(nbr_nodes);
    if (nbr_nodes != nbr_distinct) state.SkipWithError("wrong number of nodes");
}

void weld_ours(benchmark::State& state, order facet_order, noise off) {
    dense2D<double> soup(3, 3 * nbr_facets);
    dense2D<unsigned int> facets(3, nbr_facets);
    unsigned int node = 0;
    for (const facet& corners : torus_soup(facet_order, off)) {
        for (const point& p : corners) {
            std::copy(p.begin(), p.end(), soup.column(node));
            facets(node % 3, node / 3) = node;
            ++node;
        }
    }
    std::size_t nbr_nodes = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        dense2D<double> pos;
        dense2D<unsigned int> connect;
        dense1D<unsigned int> new_IDs;
        pos.copy(soup);
        connect.copy(facets);
        state.ResumeTiming();
        kv7::tessmaker::merge(pos, connect, new_IDs, off.tolerance, 0);
        kv7::tessmaker::simplify(pos, connect, new_IDs, 0);
        nbr_nodes = pos.cols();
    }
    report_nodes(state, nbr_nodes);
}

// The torus with its facets connected.
struct torus_mesh {
    dense2D<double> pos{3, nbr_distinct};
    dense2D<unsigned int> connect{3, nbr_facets};

    torus_mesh() {
        for (unsigned int i = 0; i < around; ++i) {
            for (unsigned int j = 0; j < across; ++j) {
                const point p = torus_point(i, j);
                std::copy(p.begin(), p.end(), pos.column(node(i, j)));
                const unsigned int facets[] = {node(i, j), node(i + 1, j),     node(i + 1, j + 1),
                                               node(i, j), node(i + 1, j + 1), node(i, j + 1)};
                std::copy_n(facets, 6, connect.column(2 * std::size_t{node(i, j)}));
            }
        }
    }

    static unsigned int node(unsigned int i, unsigned int j) {
        return static_cast<unsigned int>(i % around * across + j % across);
    }
};

// A ring of tori: each turned by a further step about an axis outside of it.
constexpr unsigned int nbr_copies = 10;
constexpr double step_in_degrees = 30;

void copy_pattern_ours(benchmark::State& state) {
    const torus_mesh torus;
    constexpr double step = step_in_degrees * std::numbers::pi / 180;
    std::size_t nbr_copied = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        dense2D<double> pos;
        pos.copy(torus.pos);
        dense2D<unsigned int> copies;
        state.ResumeTiming();
        kv7::tessmaker::copy_mesh(pos, copies, {0, 0, 0}, {5, 0, 0}, {0, 0, step}, nbr_copies,
                                  torus.connect);
        nbr_copied = copies.cols();
    }
    if (nbr_copied != nbr_copies * nbr_facets) state.SkipWithError("wrong number of facets");
}

void report_kept(benchmark::State& state, std::size_t nbr_kept) {
    state.counters["facets"] = static_cast<double>(nbr_kept);
    if (nbr_kept == 0 || nbr_kept >= nbr_facets / 2) state.SkipWithError("wrong number of facets");
}

void clip_ours(benchmark::State& state) {
    const torus_mesh torus;
    std::size_t nbr_kept = 0;
    for ([[maybe_unused]] auto _ : state) {
        dense2D<unsigned int> kept;
        kv7::tessmaker::clip(torus.pos, torus.connect, {0.1, 0, 0}, {1, 2, 3}, kept);
        nbr_kept = kept.cols();
    }
    report_kept(state, nbr_kept);
}

#ifdef TESSMAKER_HAVE_VTK
vtkSmartPointer<vtkPolyData> torus_as_poly_data() {
    const torus_mesh torus;
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(nbr_distinct);
    for (std::size_t i = 0; i < nbr_distinct; ++i)
        points->SetPoint(static_cast<vtkIdType>(i), torus.pos.column(i));
    vtkNew<vtkCellArray> cells;
    cells->AllocateExact(nbr_facets, 3 * nbr_facets);
    for (std::size_t e = 0; e < nbr_facets; ++e) {
        std::array<vtkIdType, 3> ids{};
        std::copy_n(torus.connect.column(e), 3, ids.begin());
        cells->InsertNextCell(3, ids.data());
    }
    auto mesh = vtkSmartPointer<vtkPolyData>::New();
    mesh->SetPoints(points);
    mesh->SetPolys(cells);
    return mesh;
}

void copy_pattern_vtk(benchmark::State& state) {
    const vtkSmartPointer<vtkPolyData> torus = torus_as_poly_data();
    vtkIdType nbr_copied = 0;
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkAppendPolyData> all;
        for (unsigned int k = 1; k <= nbr_copies; ++k) {
            vtkNew<vtkTransform> turn;
            turn->Translate(5, 0, 0);
            turn->RotateZ(step_in_degrees * k);
            turn->Translate(-5, 0, 0);
            vtkNew<vtkTransformPolyDataFilter> copy;
            copy->SetInputData(torus);
            copy->SetTransform(turn);
            all->AddInputConnection(copy->GetOutputPort());
        }
        all->Update();
        nbr_copied = all->GetOutput()->GetNumberOfPolys();
    }
    if (nbr_copied != vtkIdType{nbr_copies} * vtkIdType{nbr_facets})
        state.SkipWithError("wrong number of facets");
}

void clip_vtk(benchmark::State& state) {
    const vtkSmartPointer<vtkPolyData> torus = torus_as_poly_data();
    std::size_t nbr_kept = 0;
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<vtkPlane> plane;
        plane->SetOrigin(0.1, 0, 0);
        plane->SetNormal(1, 2, 3);
        vtkNew<vtkExtractPolyDataGeometry> filter;
        filter->SetInputData(torus);
        filter->SetImplicitFunction(plane);
        filter->ExtractInsideOff();
        filter->ExtractBoundaryCellsOff();
        filter->Update();
        nbr_kept = static_cast<std::size_t>(filter->GetOutput()->GetNumberOfPolys());
    }
    report_kept(state, nbr_kept);
}

vtkSmartPointer<vtkPolyData> soup_as_poly_data(order facet_order, noise off) {
    constexpr auto nbr_corners = vtkIdType{3} * vtkIdType{nbr_facets};
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(nbr_corners);
    vtkNew<vtkCellArray> cells;
    cells->AllocateExact(nbr_corners / 3, nbr_corners);
    vtkIdType node = 0;
    for (const facet& corners : torus_soup(facet_order, off)) {
        const std::array<vtkIdType, 3> ids{node, node + 1, node + 2};
        cells->InsertNextCell(3, ids.data());
        for (const point& p : corners) points->SetPoint(node++, p.data());
    }
    auto soup = vtkSmartPointer<vtkPolyData>::New();
    soup->SetPoints(points);
    soup->SetPolys(cells);
    return soup;
}

template <class Filter, class SetUp>
void run_vtk(benchmark::State& state, const vtkSmartPointer<vtkPolyData>& soup, SetUp set_up) {
    std::size_t nbr_nodes = 0;
    for ([[maybe_unused]] auto _ : state) {
        vtkNew<Filter> filter;
        set_up(*filter);
        filter->SetInputData(soup);
        filter->Update();
        nbr_nodes = static_cast<std::size_t>(filter->GetOutput()->GetNumberOfPoints());
    }
    report_nodes(state, nbr_nodes);
}

void weld_exact_vtk(benchmark::State& state) {
    const auto soup = soup_as_poly_data(order::as_written, no_noise);
    run_vtk<vtkCleanPolyData>(state, soup, [](vtkCleanPolyData& filter) {
        filter.PointMergingOn();
        filter.ToleranceIsAbsoluteOn();
        filter.SetAbsoluteTolerance(0);
    });
}

void weld_tolerance_vtk(benchmark::State& state, order facet_order, noise off) {
    const auto soup = soup_as_poly_data(facet_order, off);
    run_vtk<vtkStaticCleanPolyData>(state, soup, [off](vtkStaticCleanPolyData& filter) {
        filter.ToleranceIsAbsoluteOn();
        filter.SetAbsoluteTolerance(off.tolerance);
    });
}
#endif

// What once grew like the square of the input.

// Nodes at random on a line, in a plane or in space, ten of them or so within the tolerance along
// each axis.
struct cloud {
    dense2D<double> pos;
    double tol;
};

cloud random_cloud(unsigned int dim, std::size_t n) {
    cloud c{dense2D<double>(3, n, 0.0), 10 / std::pow(static_cast<double>(n), 1.0 / dim)};
    std::mt19937_64 random(1);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t axis = 0; axis < dim; ++axis)
            c.pos(axis, k) = static_cast<double>(random() >> 11) * 0x1p-53;
    }
    return c;
}

void merge_one_list(benchmark::State& state, unsigned int dim) {
    bench::report_growth(state, 8000, [dim](std::size_t n) {
        return [c = random_cloud(dim, n)]() mutable {
            dense1D<unsigned int> new_IDs;
            benchmark::DoNotOptimize(kv7::tessmaker::merge(c.pos, new_IDs, c.tol));
        };
    });
}

void merge_two_lists(benchmark::State& state, unsigned int dim) {
    bench::report_growth(state, 8000, [dim](std::size_t n) {
        std::array<dense1D<unsigned int>, 2> nodes;
        for (unsigned int k = 0; k < n; ++k) nodes[k % 2].push_back(k);
        return [c = random_cloud(dim, n), nodes] {
            dense1D<unsigned int> new_IDs;
            benchmark::DoNotOptimize(
                kv7::tessmaker::merge(c.pos, nodes[0], nodes[1], new_IDs, c.tol));
        };
    });
}

// Bars from side to side of node 0, which takes the next node in each pass.
void merge_one_pair_a_pass(benchmark::State& state) {
    bench::report_growth(state, 2000, [](std::size_t n) {
        dense2D<double> pos(2, n + 1, 0.0);
        dense2D<unsigned int> connect(2, n);
        for (unsigned int k = 1; k <= n; ++k) {
            pos(0, k) = k % 2 == 0 ? 1 : -1;
            connect(0, k - 1) = k - 1;
            connect(1, k - 1) = k;
        }
        return [pos, connect]() mutable {
            benchmark::DoNotOptimize(kv7::tessmaker::merge(pos, connect, 1.25, 2));
        };
    });
}

void merge_one_column(benchmark::State& state) {
    bench::report_growth(state, 4000, [](std::size_t n) {
        const cloud c = random_cloud(3, n);
        dense2D<unsigned int> connect(n, 1);
        for (unsigned int k = 0; k < n; ++k) connect(k, 0) = k;
        return [c, connect]() mutable {
            benchmark::DoNotOptimize(kv7::tessmaker::merge(c.pos, connect, c.tol / 10, 1));
        };
    });
}

void degenerated_column(benchmark::State& state) {
    bench::report_growth(state, 4000, [](std::size_t n) {
        dense2D<unsigned int> connect(n, 1);
        for (unsigned int k = 0; k < n; ++k) connect(k, 0) = k * 7919;
        return [connect]() mutable {
            benchmark::DoNotOptimize(kv7::tessmaker::remove_degenerated(connect, true));
        };
    });
}

template <class... Arguments>
void add_growth(const char* name, void (*run)(benchmark::State&, Arguments...),
                Arguments... arguments) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { run(state, arguments...); })
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

void add_all_growth() {
    add_growth("repair/merge_line/ours", merge_one_list, 1U);
    add_growth("repair/merge_plane/ours", merge_one_list, 2U);
    add_growth("repair/merge_space/ours", merge_one_list, 3U);
    add_growth("repair/merge_two_lists_line/ours", merge_two_lists, 1U);
    add_growth("repair/merge_two_lists_plane/ours", merge_two_lists, 2U);
    add_growth("repair/merge_two_lists_space/ours", merge_two_lists, 3U);
    add_growth("repair/merge_one_pair_a_pass/ours", merge_one_pair_a_pass);
    add_growth("repair/merge_one_column/ours", merge_one_column);
    add_growth("repair/remove_degenerated_one_column/ours", degenerated_column);
}

} // namespace

BENCHMARK(copy_pattern_ours)->Name("repair/copy_pattern/ours")->Unit(benchmark::kMillisecond);
#ifdef TESSMAKER_HAVE_VTK
BENCHMARK(copy_pattern_vtk)->Name("repair/copy_pattern/vtk")->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(clip_ours)->Name("repair/clip/ours")->Unit(benchmark::kMillisecond);
#ifdef TESSMAKER_HAVE_VTK
BENCHMARK(clip_vtk)->Name("repair/clip/vtk")->Unit(benchmark::kMillisecond);
#endif

namespace {

void add_weld(const std::string& name, order facet_order, noise off) {
    benchmark::RegisterBenchmark(("repair/" + name + "/ours").c_str(), weld_ours, facet_order, off)
        ->Unit(benchmark::kMillisecond);
#ifdef TESSMAKER_HAVE_VTK
    benchmark::RegisterBenchmark(("repair/" + name + "/vtk").c_str(), weld_tolerance_vtk,
                                 facet_order, off)
        ->Unit(benchmark::kMillisecond);
#endif
}

} // namespace

BENCHMARK_CAPTURE(weld_ours, exact, order::as_written, noise{0, 0})
    ->Name("repair/weld_exact/ours")
    ->Unit(benchmark::kMillisecond);
#ifdef TESSMAKER_HAVE_VTK
BENCHMARK(weld_exact_vtk)->Name("repair/weld_exact/vtk")->Unit(benchmark::kMillisecond);
#endif

int main(int argc, char** argv) {
    setenv("VTK_SMP_BACKEND_IN_USE", "Sequential", 1); // one thread, as ours
    add_weld("weld_tolerance", order::as_written, no_noise);
    add_weld("weld_tolerance_shuffled", order::shuffled, no_noise);
    add_weld("weld_noise", order::as_written, slight_noise);
    add_weld("weld_noise_shuffled", order::shuffled, slight_noise);
    add_weld("weld_noise_coarse", order::as_written, coarse_noise);
    add_weld("weld_noise_coarse_shuffled", order::shuffled, coarse_noise);
    benchmark::Initialize(&argc, argv);
    add_all_growth();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
