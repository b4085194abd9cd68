// Takes a mesh all the way: reads it, welds and cleans it, reports its topology and the quality of
// its elements, derives sizes from it, bounds how fast they grow from a sharp source,
// and writes the result:
//
//     mesh_tour IN PREFIX [CHARACTERISTIC]
//
// IN ends in .stl, .nas, .bdf, .dat (NASTRAN), .neu (FEMAP) or .obj. Written are PREFIX.vtk with
// qualities and sizes, PREFIX.mesh with the sizes beside it in PREFIX.bb, PREFIX.nas, and for an
// STL file PREFIX.stl. If CHARACTERISTIC is given and the surface has another Euler characteristic,
// the program fails.
//
// STL_input reads, welds and cleans in one go and reports no figures, so for an STL file the
// program does these steps a second time, one by one, with merge, remove_degenerated and simplify.
// Both ways must end with the same mesh.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <tessmaker/tessmaker.h>

#include "face_topology.h"
#include "mesh_file.h"
#include "progress.h"
#include "report.h"
#include "shape_report.h"
#include "stl_soup.h"

using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;

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
    std::size_t incomplete = 0;
    std::size_t degenerate = 0;
    bool is_text = false; // of an STL file
};

// The elements whose shape and topology are reported: the solids of a mesh, or its faces if there
// are none, reduced to their corners, in one array that is sorted by shape.
struct corner_mesh {
    dense2D<unsigned int> connect;
    element_type type = kv7::ET_UNKNOWN;
    // Elements of one shape form a group: group g ends before column group_ends[g].
    dense1D<unsigned int> node_counts;
    dense1D<unsigned int> group_ends;
};

// STL.

void weld_stl(const std::string& filename, mesh_data& m, welding& report, tour_times& times) {
    using mesh_file_detail::open;
    const mesh_file_detail::open_file file = open(filename, "rb");
    dense2D<double> checked_pos;
    dense2D<unsigned int> checked;
    if (kv7::tessmaker::STL_input(file.get(), checked_pos, checked) < 0) {
        throw mesh_file_error(filename, "can't be read a second time");
    }
    const std::int64_t nbr_binary_facets = binary_facet_count(file.get());
    report.is_text = nbr_binary_facets < 0;
    dense2D<double> pos;
    if (!(report.is_text ? read_text_corners(file.get(), pos)
                         : read_binary_corners(file.get(), nbr_binary_facets, pos))) {
        throw mesh_file_error(filename, "can't be read a second time");
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
        throw mesh_file_error(filename, "STL_input and its steps one by one give different meshes");
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

// Removes from the other arrays the elements that remove_degenerated has removed from `connect`.
void follow_removal(const dense1D<unsigned int>& new_columns, mesh_data& m) {
    mesh_data rest;
    expect_memory(rest.indices.push_back(0));
    unsigned int nbr_kept = 0;
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            if (new_columns[c] == absent) continue;
            ++nbr_kept;
            expect_memory(rest.pids.push_back(m.pids[c]));
        }
        expect_memory(rest.types.push_back(m.types[k]) && rest.indices.push_back(nbr_kept));
    }
    m.indices = rest.indices;
    m.types = rest.types;
    m.pids = rest.pids;
}

// Merges coincident nodes, and removes elements that collapse and nodes without an element.
void weld_and_clean(mesh_data& m, welding& report, tour_times& times) {
    report.nodes_before = m.pos.cols();
    report.elements_before = m.connect.cols();
    report.incomplete = drop_incomplete(m);
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
    if (nbr_removed > 0) follow_removal(new_columns, m);
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

corner_mesh corners_of(const mesh_data& m) {
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
    dense1D<unsigned int> old_to_new;
    sort_elfes(result.connect, result.node_counts, result.group_ends, old_to_new);
    expect_memory(result.node_counts.size() > 0 && old_to_new.size() == n);
    result.type = dimension == 2 ? kv7::ET_FACE_MIX : kv7::ET_SOLID_MIX;
    if (result.node_counts.size() > 1) return result;
    // All elements have the same shape: no rows are needed beyond its nodes.
    const unsigned int rows = result.node_counts[0];
    dense2D<unsigned int> plain;
    expect_memory(plain.copy(result.connect.sub_matrix(0, 0, rows, n)));
    result.connect = plain;
    result.type = shape_of(dimension, rows);
    return result;
}

// The surface whose topology is reported: the faces, or the boundary of the solids.
struct surface {
    std::size_t nbr_nodes = 0;
    dense2D<unsigned int> connect;
    element_type type = kv7::ET_UNKNOWN;
};

surface surface_of(const mesh_data& m, const corner_mesh& elements) {
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
    // Renumber its nodes without those of bars, inner ones and those between corners.
    dense1D<unsigned int> nodes;
    unique_indices(nodes, result.connect, dense1D<unsigned int>());
    dense1D<unsigned int> place;
    expect_memory(place.resize(m.pos.cols(), absent));
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

shock_figures shock_of(const mesh_data& m, const dense2D<unsigned int>& edges,
                       const dense1D<double>& sizes) {
    dense1D<double> shocks;
    expect_memory(kv7::tessmaker::H_shock(m.pos, edges, sizes, shocks) == 0);
    expect_memory(shocks.size() == m.pos.cols());
    // Bounding refuses steps below a thousandth, so that an edge may stay a little above the limit.
    constexpr double above = 1.01 * gradation_limit;
    return {*std::max_element(shocks.begin(), shocks.end()),
            static_cast<std::size_t>(
                std::count_if(shocks.begin(), shocks.end(), [](double g) { return g > above; }))};
}

// Derives sizes from the elements, puts a small one at the lowest corner of the bounding box, and
// bounds how fast sizes grow from there.
void find_sizes(const mesh_data& m, const corner_mesh& elements, size_report& report,
                tour_times& times) {
    using namespace kv7::tessmaker;
    const stopwatch deriving;
    expect_memory(metrics_gen_iso(m.pos, elements.connect, elements.type, report.before, 1.0) == 0);
    // Nodes that are no corners have size 0, which means none.
    report.smallest = HUGE_VAL;
    for (const double h : report.before) {
        if (h > 0.0) report.smallest = std::min(report.smallest, h);
        report.largest = std::max(report.largest, h);
    }
    if (report.largest == 0.0) report.smallest = 0.0; // all nodes at one place
    for (double& h : report.before) {
        if (!(h > 0.0)) h = report.largest;
    }
    kv7::vector_fixed<double, 3> low{m.pos(0, 0), m.pos(1, 0), m.pos(2, 0)};
    kv7::vector_fixed<double, 3> high = low;
    inc_bounding_box(m.pos, low, high);
    const node_detector nodes(m.pos);
    report.source = nodes.find_closest(low);
    if (report.source >= m.pos.cols()) report.source = 0;
    report.source_size = 0.1 * report.smallest;
    report.before[report.source] = report.source_size;
    times.sizes = deriving.milliseconds();

    const stopwatch bounding;
    expect_memory(report.after.copy(report.before));
    report.nbr_changed = bound_metric_gradations(m.pos, elements.connect, elements.type, {}, true,
                                                 -1, gradation_limit, report.after);
    expect_memory(report.nbr_changed >= 0);
    times.gradation = bounding.milliseconds();

    dense2D<unsigned int> edges;
    expect_memory(copy_edges(elements.connect, elements.type, edges, {}) == 0);
    report.shock_before = shock_of(m, edges, report.before);
    report.shock_after = shock_of(m, edges, report.after);
}

// Output.

void write_vtk(const std::string& filename, const mesh_data& m, const corner_mesh& elements,
               const dense1D<double>& qualities, const size_report& sizes) {
    using namespace kv7::tessmaker;
    unsigned int nbr_cells = 0;
    dense1D<unsigned int> cells;
    dense1D<unsigned int> cell_types;
    unsigned int first = 0;
    for (std::size_t g = 0; g < elements.node_counts.size(); ++g) {
        const unsigned int rows = elements.node_counts[g];
        const element_type type = shape_of(element_dim(elements.type), rows);
        dense2D<unsigned int> all = elements.connect; // shares the array
        vtk_convert(all.sub_matrix(0, first, rows, elements.group_ends[g] - first), type, nbr_cells,
                    cells, cell_types);
        first = elements.group_ends[g];
    }
    expect_memory(nbr_cells == elements.connect.cols() && cell_types.size() == nbr_cells);
    mesh_file_detail::open_file file = mesh_file_detail::open(filename, "wb");
    bool is_written = vtk_output(file.get(), m.pos, nbr_cells, cells, cell_types) == 0;
    const auto write = [&](const char* name, const dense1D<double>& values) {
        is_written = is_written && std::fprintf(file.get(),
                                                "SCALARS %s double 1\n"
                                                "LOOKUP_TABLE default\n",
                                                name) > 0;
        for (const double value : values) {
            is_written = is_written && std::fprintf(file.get(), "%.9g\n", value) > 0;
        }
    };
    is_written = is_written && std::fprintf(file.get(), "\nCELL_DATA %u\n", nbr_cells) > 0;
    write("quality", qualities);
    is_written = is_written && std::fprintf(file.get(), "\nPOINT_DATA %zu\n", m.pos.cols()) > 0;
    write("size_before", sizes.before);
    write("size_after", sizes.after);
    if (std::fclose(file.release()) != 0 || !is_written) {
        throw mesh_file_error(filename, "can't be written");
    }
}

void write_stl(const std::string& filename, const mesh_data& m, bool text) {
    errno = 0;
    if (kv7::tessmaker::STL_output(filename.c_str(), m.pos, m.connect, text) < 0) {
        throw mesh_file_error(filename, errno != 0 ? std::strerror(errno) : "can't be written");
    }
}

std::vector<std::string> write_all(const std::string& prefix, bool is_stl, const mesh_data& m,
                                   const corner_mesh& elements, const dense1D<double>& qualities,
                                   const size_report& sizes, const welding& report) {
    std::vector<std::string> names{prefix + ".vtk", prefix + ".mesh", prefix + ".bb",
                                   prefix + ".nas", prefix + ".stl"};
    write_vtk(names[0], m, elements, qualities, sizes);
    write_mesh(names[1], m);
    if (kv7::tessmaker::medit_scalar(names[2].c_str(), 3, sizes.after) < 0) {
        throw mesh_file_error(names[2], "can't be written");
    }
    write_mesh(names[3], m);
    if (!is_stl) return {names.begin(), names.end() - 1};
    write_stl(names[4], m, report.is_text);
    return names;
}

// Report.

void print_elements(const mesh_data& m) {
    type_counts counts{};
    for_each_element(
        m, [&](element_type type, unsigned int) { ++counts[static_cast<std::size_t>(type)]; });
    for (const type_row& row : type_rows()) {
        const std::size_t count = counts[static_cast<std::size_t>(row.type)];
        if (count > 0) print_count((std::string("  ") + row.name).c_str(), count);
    }
}

void print_welding(bool is_stl, const mesh_data& m, const welding& report) {
    print_count(is_stl ? "facets in the file" : "elements in the file", report.elements_before);
    if (report.incomplete > 0) print_count("  without their nodes", report.incomplete);
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
    print_time("  read", t.read, is_stl ? "STL_input, which welds and cleans too" : "");
    print_time("  weld", t.weld, is_stl ? "merge, in a second go step by step" : "merge");
    print_time("  clean", t.clean, "remove_degenerated, simplify");
    print_time("  topology", t.topology, "get_neighbors, get_mesh_boundaries, copy_edges");
    print_time("  quality", t.quality, "shape_qualities, min_quality");
    print_time("  sizes", t.sizes, "metrics_gen_iso, node_detector");
    print_time("  gradation", t.gradation, "bound_metric_gradations");
    print_time("  write", t.write, "vtk_output, medit_output, NASTRAN_output");
}

// The whole tour.

int run(const std::string& in_name, const std::string& prefix, const char* characteristic) {
    progress shown;
    tour_times times;
    mesh_data m;
    shown.step("reading");
    const stopwatch reading;
    bool normals_or_textures = false;
    read_mesh(in_name, m, normals_or_textures);
    times.read = reading.milliseconds();

    shown.step("welding");
    const bool is_stl = format_of(in_name)->format == mesh_format::stl;
    welding report;
    if (is_stl) {
        weld_stl(in_name, m, report, times);
    } else {
        weld_and_clean(m, report, times);
    }
    const corner_mesh elements = corners_of(m);
    const bool has_elements = !elements.connect.empty();
    if (!has_elements && !is_stl) throw mesh_file_error(in_name, "has no faces and no solids");

    shown.step("finding the topology");
    const stopwatch joining;
    face_topology topology;
    const bool is_solid = kv7::tessmaker::element_dim(elements.type) == 3;
    if (has_elements) {
        const surface outside = surface_of(m, elements);
        expect_memory(find_topology(outside.nbr_nodes, outside.connect, outside.type, topology));
        if (!topology.adds_up()) {
            throw mesh_file_error(in_name, "the sides of its facets do not add up");
        }
    }
    times.topology = joining.milliseconds();

    shown.step("rating shapes");
    const stopwatch rating;
    shape_report quality;
    dense1D<double> qualities;
    size_report sizes;
    if (has_elements) {
        expect_memory(find_quality(m.pos, elements.connect, elements.type, qualities, quality));
        times.quality = rating.milliseconds();
        if (!quality.adds_up(elements.connect.cols())) {
            throw mesh_file_error(in_name, "the ratings of its elements do not add up");
        }
        shown.step("bounding sizes");
        find_sizes(m, elements, sizes, times);
    }

    shown.step("writing");
    const stopwatch writing;
    std::vector<std::string> written;
    if (has_elements) {
        written = write_all(prefix, is_stl, m, elements, qualities, sizes, report);
    } else {
        written = {prefix + ".stl"};
        write_stl(written[0], m, report.is_text);
    }
    times.write = writing.milliseconds();

    std::printf("%s, %s%s\n\n", in_name.c_str(), format_of(in_name)->name,
                !is_stl          ? ""
                : report.is_text ? ", text"
                                 : ", binary");
    print_welding(is_stl, m, report);
    std::printf("\n%s\n", is_solid ? "boundary of the solids" : "surface");
    if (is_solid) print_count("facets", topology.facets);
    print_topology(topology);
    print_quality(m.pos, elements.connect, quality);
    if (has_elements) print_sizes(sizes);
    print_times(is_stl, times);
    std::printf("\n");
    for (const std::string& name : written) std::printf("written to %s\n", name.c_str());
    if (characteristic && topology.characteristic() != std::strtoll(characteristic, nullptr, 10)) {
        throw mesh_file_error(in_name, "not the Euler characteristic that was expected");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: mesh_tour IN PREFIX [CHARACTERISTIC]\n"
                             "IN ends in .stl .nas .bdf .dat .neu .obj\n");
        return 2;
    }
    try {
        return run(argv[1], argv[2], argc == 4 ? argv[3] : nullptr);
    } catch (const mesh_file_error& error) {
        std::fprintf(stderr, "mesh_tour: %s\n", error.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "mesh_tour: %s: out of memory\n", argv[1]);
    }
    return 1;
}
