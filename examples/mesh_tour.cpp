// Takes a mesh all the way: reads it, welds and cleans it, reports its topology and the quality of
// its elements, derives sizes from it, bounds how fast they grow from a sharp source,
// and writes the result:
//
//     mesh_tour IN PREFIX [CHARACTERISTIC]
//
// IN is a file of any format that read_mesh reads. Written are PREFIX.vtk with qualities and sizes,
// PREFIX.mesh with the sizes beside it in PREFIX.bb, both of the elements that are rated, by their
// corners; PREFIX.nas with the mesh as a whole; and for an STL file PREFIX.stl. If CHARACTERISTIC
// is given and the surface has another Euler characteristic, the program fails. What a file can't
// hold is said.
//
// Of an STL file read_mesh welds and cleans the facets, so for such a file the program does these
// steps a second time, one by one, with merge, remove_degenerated and simplify. Both ways must end
// with the same mesh.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <tessmaker/tessmaker.h>

#include "face_topology.h"
#include "progress.h"
#include "read_and_write.h"
#include "report.h"
#include "shape_report.h"
#include "stl_soup.h"

using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;
using kv7::tessmaker::file_format;
using kv7::tessmaker::file_report;
using kv7::tessmaker::mesh;

namespace {

constexpr double gradation_limit = 0.2;
constexpr unsigned int absent = 0xFFFFFFFF;

struct tour_times {
    double read = 0.0;
    double weld = 0.0;
    double clean = 0.0;
    double topology = 0.0;
    double quality = 0.0;
    double sizes = 0.0;
    double gradation = 0.0;
    double write = 0.0;
};

// What welding and cleaning did.
struct welding {
    double tolerance = 0.0;
    std::size_t nodes_before = 0;
    std::size_t elements_before = 0;
    std::size_t points = 0; // elements of one node
    std::size_t degenerate = 0;
};

// The elements whose shape and topology are reported: the solids of a mesh, or its faces if there
// are none, reduced to their corners, in one array that is sorted by shape.
struct corner_mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    element_type type = kv7::ET_UNKNOWN;
};

// STL.

void weld_stl(const std::string& filename, const file_report& read, const mesh& m, welding& report,
              tour_times& times) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(filename.c_str(), "rb"),
                                                               std::fclose);
    dense2D<double> pos;
    if (!file || !(read.format() == file_format::stl_text ? read_text_corners(file.get(), pos)
                                                          : read_binary_corners(file.get(), pos))) {
        throw failure(filename + ": can't be read a second time");
    }
    report.nodes_before = pos.cols();
    report.elements_before = pos.cols() / 3;
    report.tolerance = 0.05 * smallest_height(pos);

    dense2D<unsigned int> connect;
    expect_memory(pos.empty() || connect.resize(3, pos.cols() / 3));
    unsigned int node = 0;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) connect(r, c) = node++;
    }
    if (report.tolerance > 0.0) { // else all facets are degenerate
        const stopwatch welding_time;
        expect_memory(weld_soup(report.tolerance, pos, connect) >= 0);
        times.weld = welding_time.milliseconds();
        const stopwatch cleaning_time;
        expect_memory(clean_soup(pos, connect) >= 0);
        times.clean = cleaning_time.milliseconds();
    }
    if (pos.cols() != m.pos.cols() || connect.cols() != m.connect.cols()) {
        throw failure(filename + ": read_mesh and its steps one by one give different meshes");
    }
    report.degenerate = report.elements_before - connect.cols();
}

// Other files.

double diagonal(const dense2D<double>& pos) {
    kv7::vector_fixed<double, 3> low{pos(0, 0), pos(1, 0), pos(2, 0)};
    kv7::vector_fixed<double, 3> high = low;
    kv7::tessmaker::inc_bounding_box(pos, low, high);
    return std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
}

// Keeps of the runs and of the properties what belongs to the elements that `is_kept(column)`
// accepts; numbers and sets, which would not match any more, are left behind.
template <class Condition> void keep_runs(const Condition& is_kept, mesh& m) {
    mesh rest;
    expect_memory(rest.indices.push_back(0));
    unsigned int nbr_kept = 0;
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            if (!is_kept(c)) continue;
            ++nbr_kept;
            expect_memory(rest.pids.push_back(m.pids[c]));
        }
        expect_memory(rest.types.push_back(m.types[k]) && rest.indices.push_back(nbr_kept));
    }
    rest.pos = m.pos;
    rest.connect = m.connect;
    m = rest;
}

// Points have no shape, and don't hold nodes together.
std::size_t drop_points(mesh& m) {
    dense1D<unsigned int> kept;
    std::vector<bool> is_kept(m.connect.cols(), false);
    for_each_element(m, [&](element_type type, unsigned int c) {
        if (type == kv7::ET_NODE) return;
        is_kept[c] = true;
        expect_memory(kept.push_back(c));
    });
    const std::size_t nbr_points = m.connect.cols() - kept.size();
    keep_runs([&is_kept](unsigned int c) { return is_kept[c]; }, m);
    if (nbr_points == 0) return 0;
    dense2D<unsigned int> rest;
    expect_memory(kept.empty() || rest.append(m.connect, kept));
    m.connect = rest;
    return nbr_points;
}

// Merges coincident nodes, and removes points, elements that collapse and nodes without an element.
void weld_and_clean(mesh& m, welding& report, tour_times& times) {
    report.nodes_before = m.pos.cols();
    report.elements_before = m.connect.cols();
    report.points = drop_points(m);
    if (m.connect.empty()) return;
    const stopwatch welding_time;
    report.tolerance = 1e-9 * diagonal(m.pos);
    if (!(report.tolerance >= 0.0)) report.tolerance = 0.0;
    expect_memory(kv7::tessmaker::merge(m.pos, m.connect, report.tolerance, 0) >= 0);
    times.weld = welding_time.milliseconds();
    const stopwatch cleaning_time;
    dense1D<unsigned int> new_columns;
    const int nbr_removed = kv7::tessmaker::remove_degenerated(m.connect, new_columns, false);
    expect_memory(nbr_removed >= 0);
    report.degenerate = static_cast<std::size_t>(nbr_removed);
    if (nbr_removed > 0) {
        keep_runs([&](unsigned int c) { return new_columns[c] != absent; }, m);
    }
    expect_memory(kv7::tessmaker::simplify(m.pos, m.connect, 0) >= 0);
    times.clean = cleaning_time.milliseconds();
}

// The elements as a whole.

// The linear type with this number of corners.
element_type shape_of(unsigned int dimension, unsigned int nbr_corners) {
    if (dimension == 2) return nbr_corners == 3 ? kv7::ET_TRIA3 : kv7::ET_QUAD4;
    switch (nbr_corners) {
    case 4: return kv7::ET_TETRA4;
    case 5: return kv7::ET_PYRA5;
    case 6: return kv7::ET_PENTA6;
    default: return kv7::ET_HEXA8;
    }
}

corner_mesh corners_of(const mesh& m) {
    using namespace kv7::tessmaker;
    unsigned int dimension = 0;
    for_each_element(m, [&](element_type type, unsigned int) {
        dimension = std::max(dimension, element_dim(type));
    });
    corner_mesh result;
    if (dimension < 2) return result;
    std::size_t n = 0;
    for_each_element(m, [&](element_type type, unsigned int) {
        if (element_dim(type) == dimension) ++n;
    });
    expect_memory(result.connect.resize(dimension == 2 ? 4 : 8, n, absent));
    std::size_t to = 0;
    for_each_element(m, [&](element_type type, unsigned int c) {
        if (element_dim(type) != dimension) return;
        std::copy_n(m.connect.column(c), nbr_base_nodes(type), result.connect.column(to++));
    });
    dense1D<unsigned int> node_counts; // of the shapes that are there
    dense1D<unsigned int> ends;
    dense1D<unsigned int> old_to_new;
    sort_elfes(result.connect, node_counts, ends, old_to_new);
    expect_memory(node_counts.size() > 0 && old_to_new.size() == n);
    result.type = dimension == 2 ? kv7::ET_FACE_MIX : kv7::ET_SOLID_MIX;
    if (node_counts.size() == 1) { // no rows are needed beyond its nodes
        const unsigned int rows = node_counts[0];
        dense2D<unsigned int> plain;
        expect_memory(plain.copy(result.connect.sub_matrix(0, 0, rows, n)));
        result.connect = plain;
        result.type = shape_of(dimension, rows);
    }
    expect_memory(result.pos.copy(m.pos) && simplify(result.pos, result.connect, 0) >= 0);
    return result;
}

// The surface whose topology is reported: the faces, or the boundary of the solids.
struct surface {
    std::size_t nbr_nodes = 0;
    dense2D<unsigned int> connect;
    element_type type = kv7::ET_UNKNOWN;
};

surface surface_of(const corner_mesh& elements) {
    using namespace kv7::tessmaker;
    surface result;
    if (element_dim(elements.type) == 2) {
        result.connect = elements.connect;
        result.type = elements.type;
    } else {
        dense2D<unsigned int> neighbors;
        expect_memory(get_neighbors(elements.connect, elements.type, true, neighbors) == 0);
        expect_memory(
            get_mesh_boundaries(elements.connect, neighbors, elements.type, result.connect) == 0);
        result.type = result.connect.rows() == 3 ? kv7::ET_TRIA3 : kv7::ET_FACE_MIX;
    }
    // Renumber its nodes without the inner ones.
    dense1D<unsigned int> nodes;
    unique_indices(nodes, result.connect, dense1D<unsigned int>());
    dense1D<unsigned int> place;
    expect_memory(place.resize(elements.pos.cols(), absent));
    for (std::size_t k = 0; k < nodes.size(); ++k) place[nodes[k]] = static_cast<unsigned int>(k);
    dense2D<unsigned int> numbered;
    expect_memory(numbered.copy(result.connect));
    change_indices(numbered, place);
    result.connect = numbered;
    result.nbr_nodes = nodes.size();
    return result;
}

// Sizes.

struct shock_figures {
    double largest = 0.0;
    std::size_t nbr_above = 0; // nodes at edges above the limit
};

struct size_report {
    dense1D<double> before; // with the source in it
    dense1D<double> after;
    double smallest = 0.0;
    double largest = 0.0;
    double source_size = 0.0;
    unsigned int source = 0;
    int nbr_changed = 0;
    shock_figures shock_before;
    shock_figures shock_after;
};

shock_figures shock_of(const corner_mesh& elements, const dense2D<unsigned int>& edges,
                       const dense1D<double>& sizes) {
    dense1D<double> shocks;
    expect_memory(kv7::tessmaker::H_shock(elements.pos, edges, sizes, shocks) == 0);
    expect_memory(shocks.size() == elements.pos.cols());
    // Bounding refuses steps below a thousandth, so that an edge may stay a little above the limit.
    constexpr double above = 1.01 * gradation_limit;
    return {*std::max_element(shocks.begin(), shocks.end()),
            static_cast<std::size_t>(
                std::count_if(shocks.begin(), shocks.end(), [](double g) { return g > above; }))};
}

// Derives sizes from the elements, puts a small one at the lowest corner of the bounding box, and
// bounds how fast sizes grow from there.
void find_sizes(const corner_mesh& elements, size_report& report, tour_times& times) {
    using namespace kv7::tessmaker;
    const stopwatch deriving;
    expect_memory(
        metrics_gen_iso(elements.pos, elements.connect, elements.type, report.before, 1.0) == 0);
    // A node whose elements are all at its place has size 0, which means none.
    report.smallest = HUGE_VAL;
    for (const double h : report.before) {
        if (h > 0.0) report.smallest = std::min(report.smallest, h);
        report.largest = std::max(report.largest, h);
    }
    if (report.largest == 0.0) report.smallest = 0.0; // all nodes at one place
    for (double& h : report.before) {
        if (!(h > 0.0)) h = report.largest;
    }
    kv7::vector_fixed<double, 3> low{elements.pos(0, 0), elements.pos(1, 0), elements.pos(2, 0)};
    kv7::vector_fixed<double, 3> high = low;
    inc_bounding_box(elements.pos, low, high);
    const node_detector nodes(elements.pos);
    report.source = nodes.find_closest(low);
    if (report.source >= elements.pos.cols()) report.source = 0;
    report.source_size = 0.1 * report.smallest;
    report.before[report.source] = report.source_size;
    times.sizes = deriving.milliseconds();

    const stopwatch bounding;
    expect_memory(report.after.copy(report.before));
    report.nbr_changed = bound_metric_gradations(elements.pos, elements.connect, elements.type, {},
                                                 true, -1, gradation_limit, report.after);
    expect_memory(report.nbr_changed >= 0);
    times.gradation = bounding.milliseconds();

    dense2D<unsigned int> edges;
    expect_memory(copy_edges(elements.connect, elements.type, edges, {}) == 0);
    report.shock_before = shock_of(elements, edges, report.before);
    report.shock_after = shock_of(elements, edges, report.after);
}

// Output.

kv7::tessmaker::field scalar_field(const char* name, kv7::tessmaker::field_place at,
                                   dense1D<double>& values) {
    kv7::tessmaker::field result;
    result.name = name;
    result.at = at;
    result.values = dense2D<double>::wrap(values.begin(), 1, values.size());
    return result;
}

// The elements as a mesh, with what was found out about them.
mesh told_mesh(const corner_mesh& elements, dense1D<double>& qualities, size_report& sizes) {
    using kv7::tessmaker::field_place;
    mesh result;
    result.pos = elements.pos;
    result.connect = elements.connect;
    result.types = dense1D<int>{elements.type};
    result.indices = dense1D<unsigned int>{0, static_cast<unsigned int>(elements.connect.cols())};
    result.fields = {scalar_field("quality", field_place::elements, qualities),
                     scalar_field("size_before", field_place::nodes, sizes.before),
                     scalar_field("size_after", field_place::nodes, sizes.after)};
    return result;
}

// Writes a file, and prints its name and what it can't hold.
void write_told(const std::string& name, const mesh& m, file_format format) {
    std::printf("written to %s\n", name.c_str());
    kv7::tessmaker::write_options options;
    options.format = format;
    options.lossy = true;
    write_file(name, m, options);
}

void write_all(const std::string& prefix, const mesh& m, const corner_mesh& elements,
               dense1D<double>& qualities, size_report& sizes) {
    mesh told = told_mesh(elements, qualities, sizes);
    write_told(prefix + ".vtk", told, file_format::vtk);
    told.fields.clear(); // the sizes have a file of their own
    write_told(prefix + ".mesh", told, file_format::medit);
    const std::string sizes_name = prefix + ".bb";
    std::printf("written to %s\n", sizes_name.c_str());
    if (kv7::tessmaker::medit_scalar(sizes_name.c_str(), 3, sizes.after) < 0) {
        throw failure(sizes_name + ": can't be written");
    }
    write_told(prefix + ".nas", m, file_format::nastran);
}

// Report.

void print_elements(const mesh& m) {
    for_each_type(m, [](const char* name, std::size_t count) {
        print_count((std::string("  ") + name).c_str(), count);
    });
}

void print_welding(bool is_stl, const mesh& m, const welding& report) {
    print_count(is_stl ? "facets in the file" : "elements in the file", report.elements_before);
    if (report.points > 0) print_count("  points, dropped", report.points);
    print_count("  degenerate, dropped", report.degenerate);
    print_count("  left", m.connect.cols());
    if (!is_stl) print_elements(m);
    print_count("nodes before welding", report.nodes_before, is_stl ? "three a facet" : "");
    print_count("nodes after welding", m.pos.cols());
    if (report.tolerance > 0.0) {
        print_value("tolerance", report.tolerance,
                    is_stl ? "a twentieth of the smallest height of a facet"
                           : "a thousand millionth of the diagonal");
    } else {
        std::printf("%-24s%14s  %s\n", "tolerance", "none",
                    is_stl ? "no facet has a height: not welded" : "exact coincidence only");
    }
}

void print_sizes(const size_report& s) {
    std::printf("\n");
    print_value("smallest size", s.smallest, "mean length of the edges at a node");
    print_value("largest size", s.largest);
    print_value("size at the source", s.source_size);
    print_count("  at node", s.source);
    print_value("limit of the gradation", gradation_limit);
    print_count("nodes changed", static_cast<std::size_t>(s.nbr_changed));
    std::printf("%-24s%14s%14s\n", "gradation", "before", "after");
    print_pair("  largest", s.shock_before.largest, s.shock_after.largest);
    print_pair("  nodes above the limit", static_cast<double>(s.shock_before.nbr_above),
               static_cast<double>(s.shock_after.nbr_above));
}

void print_times(bool is_stl, const tour_times& t) {
    std::printf("\n%-24s%14s\n", "step", "ms");
    print_time("  read", t.read, is_stl ? "read_mesh, which welds and cleans too" : "read_mesh");
    print_time("  weld", t.weld, is_stl ? "merge, in a second go step by step" : "merge");
    print_time("  clean", t.clean, "remove_degenerated, simplify");
    print_time("  topology", t.topology, "get_neighbors, get_mesh_boundaries, copy_edges");
    print_time("  quality", t.quality, "shape_qualities, min_quality");
    print_time("  sizes", t.sizes, "metrics_gen_iso, node_detector");
    print_time("  gradation", t.gradation, "bound_metric_gradations");
    print_time("  write", t.write, "write_mesh");
}

// The whole tour.

void expect_to_add_up(bool adds_up, const std::string& name, const char* what) {
    if (!adds_up) throw failure(name + ": " + what);
}

void run(const std::string& in_name, const std::string& prefix, const char* characteristic) {
    std::optional<progress> shown(std::in_place); // until something is printed
    tour_times times;
    mesh m;
    file_report read;
    shown->step("reading");
    const stopwatch reading;
    const int code = kv7::tessmaker::read_mesh(in_name.c_str(), m, read);
    expect_success(code, read);
    times.read = reading.milliseconds();

    shown->step("welding");
    const bool is_stl =
        read.format() == file_format::stl_text || read.format() == file_format::stl_binary;
    welding report;
    if (is_stl) {
        weld_stl(in_name, read, m, report, times);
    } else {
        weld_and_clean(m, report, times);
    }
    const corner_mesh elements = corners_of(m);
    const bool has_elements = !elements.connect.empty();
    if (!has_elements && !is_stl) throw failure(in_name + ": has no faces and no solids");

    shown->step("finding the topology");
    const stopwatch joining;
    face_topology topology;
    const bool is_solid = kv7::tessmaker::element_dim(elements.type) == 3;
    if (has_elements) {
        const surface outside = surface_of(elements);
        expect_memory(find_topology(outside.nbr_nodes, outside.connect, outside.type, topology));
        expect_to_add_up(topology.adds_up(), in_name, "the sides of its facets do not add up");
    }
    times.topology = joining.milliseconds();

    shown->step("rating shapes");
    const stopwatch rating;
    shape_report quality;
    dense1D<double> qualities;
    size_report sizes;
    if (has_elements) {
        expect_memory(
            find_quality(elements.pos, elements.connect, elements.type, qualities, quality));
        times.quality = rating.milliseconds();
        expect_to_add_up(quality.adds_up(elements.connect.cols()), in_name,
                         "the ratings of its elements do not add up");
        shown->step("bounding sizes");
        find_sizes(elements, sizes, times);
    }
    shown.reset();

    std::printf("%s, %s\n", in_name.c_str(), format_name(read.format()));
    print_remarks(read);
    std::printf("\n");
    print_welding(is_stl, m, report);
    std::printf("\n%s\n", is_solid ? "boundary of the solids" : "surface");
    if (is_solid) print_count("facets", topology.facets);
    print_topology(topology);
    print_quality(elements.pos, elements.connect, quality);
    if (has_elements) print_sizes(sizes);

    std::printf("\n");
    const stopwatch writing;
    if (has_elements) write_all(prefix, m, elements, qualities, sizes);
    if (is_stl) write_told(prefix + ".stl", m, read.format());
    times.write = writing.milliseconds();
    print_times(is_stl, times);
    if (characteristic && topology.characteristic() != std::strtoll(characteristic, nullptr, 10)) {
        throw failure(in_name + ": not the Euler characteristic that was expected");
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: mesh_tour IN PREFIX [CHARACTERISTIC]\n");
        return 2;
    }
    try {
        run(argv[1], argv[2], argc == 4 ? argv[3] : nullptr);
        return 0;
    } catch (const failure& failed) {
        std::fprintf(stderr, "mesh_tour: %s\n", failed.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "mesh_tour: %s: out of memory\n", argv[1]);
    }
    return 1;
}
