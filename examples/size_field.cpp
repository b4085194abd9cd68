// Puts sharp sources into the size field of a mesh, bounds how fast its sizes grow from there, and
// reports the result. `usage` below lists the options.
//
// The field is what metrics_gen_iso derives from the mesh, or that field stretched along a
// direction as metrics. Each source is the node nearest to a point and gets a small size.
// bound_metric_gradations then lets sizes shrink only, so that the sources stay and everything else
// adapts to them. H_shock gives the worst growth at each node before and after.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessmaker/tessmaker.h>

#include "report.h"

using kv7::dense1D;
using kv7::dense2D;
using kv7::matrix_fixed;
using kv7::symmetric_fixed;
using kv7::vector_fixed;

namespace {

constexpr char usage[] =
    "usage: size_field [OPTION]... [MESH.stl]\n"
    "Without a mesh it takes the sample. An STL file is welded.\n"
    "  --block N            instead of a file, a unit cube of 6 N^3 tetrahedra, N from 1 to 200\n"
    "  --source X,Y,Z       a source at the node nearest to this point; as many as you like;\n"
    "                       without any, one at the lowest corner of the bounding box\n"
    "  --size H             the size at the sources; without, a tenth of the smallest\n"
    "  --gradation G        the limit, 0 or more; without, 0.2\n"
    "  --stretch X,Y,Z      bounds metrics instead, their sizes stretched along this direction\n"
    "  --ratio R            by this factor; without, 5\n";

struct wrong_usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct options {
    std::string file = SAMPLE;
    unsigned int block = 0; // 0: `file` is read
    std::vector<vector_fixed<double, 3>> sources;
    double size = 0.0; // 0: a tenth of the smallest
    double gradation = 0.2;
    bool is_stretched = false;
    vector_fixed<double, 3> direction{};
    double ratio = 5.0;
};

// Reads exactly `n` numbers separated by commas.
std::vector<double> numbers(const std::string& option, const char* text, std::size_t n) {
    std::vector<double> values;
    const char* place = text;
    for (bool goes_on = true; goes_on; ++place) {
        char* end = nullptr;
        values.push_back(std::strtod(place, &end));
        const bool is_number = end != place && std::isfinite(values.back());
        goes_on = *end == ',';
        if (!is_number || (*end != '\0' && !goes_on)) {
            throw wrong_usage(option + ": not a number: " + text);
        }
        place = end;
    }
    if (values.size() != n) {
        throw wrong_usage(option + " takes " + std::to_string(n) +
                          (n == 1 ? " number" : " numbers"));
    }
    return values;
}

double number(const std::string& option, const char* text) { return numbers(option, text, 1)[0]; }

vector_fixed<double, 3> point(const std::string& option, const char* text) {
    const std::vector<double> p = numbers(option, text, 3);
    return {p[0], p[1], p[2]};
}

void require(bool holds, const std::string& option, const char* what) {
    if (!holds) throw wrong_usage(option + " must be " + what);
}

void read_option(const std::string& option, const char* text, options& o) {
    if (option == "--block") {
        const double n = number(option, text);
        require(n >= 1.0 && n <= 200.0 && n == std::floor(n), option, "a whole number, 1 to 200");
        o.block = static_cast<unsigned int>(n);
    } else if (option == "--source") {
        o.sources.push_back(point(option, text));
    } else if (option == "--size") {
        o.size = number(option, text);
        require(o.size > 0.0, option, "above 0");
    } else if (option == "--gradation") {
        o.gradation = number(option, text);
        require(o.gradation >= 0.0, option, "0 or more");
    } else if (option == "--stretch") {
        o.is_stretched = true;
        o.direction = point(option, text);
        const double* const d = o.direction.values;
        require(std::hypot(d[0], d[1], d[2]) > 0.0, option, "a direction");
    } else if (option == "--ratio") {
        o.ratio = number(option, text);
        require(o.ratio > 0.0, option, "above 0");
    } else {
        throw wrong_usage("no such option: " + option);
    }
}

options read_options(int argc, char** argv) {
    options o;
    bool has_file = false;
    for (int k = 1; k < argc; ++k) {
        const std::string word = argv[k];
        if (word.compare(0, 2, "--") == 0) {
            if (k + 1 == argc) throw wrong_usage(word + ": its value is missing");
            read_option(word, argv[++k], o);
        } else if (has_file) {
            throw wrong_usage("more than one mesh: " + word);
        } else {
            has_file = true;
            o.file = word;
        }
    }
    if (has_file && o.block > 0) throw wrong_usage("a file and a block: one of them, please");
    return o;
}

struct mesh {
    dense2D<double> pos; // one column per node, three rows
    dense2D<unsigned int> connect;
    kv7::element_type type = kv7::ET_TRIA3;
};

// With valid arguments the library fails only when memory runs out.
void expect_memory(bool done) {
    if (!done) throw std::bad_alloc();
}

mesh read_mesh(const std::string& file) {
    mesh m;
    switch (kv7::tessmaker::STL_input(file.c_str(), m.pos, m.connect)) {
    case -1: throw failure(file + ": can't be read");
    case -2:
    case -3: throw failure(file + ": not an STL file");
    case -199: throw std::bad_alloc();
    default: break;
    }
    if (m.connect.empty()) throw failure(file + ": no facets");
    return m;
}

// The unit cube, each of its n^3 cells cut into six tetrahedra around a diagonal.
mesh make_block(unsigned int n) {
    const unsigned int side = n + 1;
    const auto node = [side](unsigned int x, unsigned int y, unsigned int z) {
        return (z * side + y) * side + x;
    };
    mesh m;
    m.type = kv7::ET_TETRA4;
    const std::size_t nbr_cells = std::size_t{n} * n * n;
    expect_memory(m.pos.resize(3, std::size_t{side} * side * side));
    expect_memory(m.connect.resize(4, 6 * nbr_cells));
    for (unsigned int z = 0; z < side; ++z) {
        for (unsigned int y = 0; y < side; ++y) {
            for (unsigned int x = 0; x < side; ++x) {
                double* const p = m.pos.column(node(x, y, z));
                p[0] = static_cast<double>(x) / n;
                p[1] = static_cast<double>(y) / n;
                p[2] = static_cast<double>(z) / n;
            }
        }
    }
    // Each tetrahedron goes from the lowest corner of a cell to the highest, one axis at a time.
    // For odd permutations of the axes it would be inverted.
    constexpr unsigned int orders[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                           {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    std::size_t c = 0;
    for (std::size_t cell = 0; cell < nbr_cells; ++cell) {
        const auto x = static_cast<unsigned int>(cell % n);
        const auto y = static_cast<unsigned int>(cell / n % n);
        const auto z = static_cast<unsigned int>(cell / n / n);
        for (std::size_t k = 0; k < 6; ++k) {
            unsigned int corner[3] = {x, y, z};
            unsigned int* const tetrahedron = m.connect.column(c++);
            tetrahedron[0] = node(x, y, z);
            for (std::size_t step = 0; step < 3; ++step) {
                ++corner[orders[k][step]];
                tetrahedron[step + 1] = node(corner[0], corner[1], corner[2]);
            }
            if (k >= 3) std::swap(tetrahedron[1], tetrahedron[2]);
        }
    }
    return m;
}

std::vector<unsigned int> source_nodes(const mesh& m, const options& o) {
    std::vector<vector_fixed<double, 3>> places = o.sources;
    if (places.empty()) {
        vector_fixed<double, 3> lowest{m.pos(0, 0), m.pos(1, 0), m.pos(2, 0)};
        for (std::size_t n = 0; n < m.pos.cols(); ++n) {
            for (std::size_t r = 0; r < 3; ++r) lowest[r] = std::min(lowest[r], m.pos(r, n));
        }
        places.push_back(lowest);
    }
    const kv7::tessmaker::node_detector nodes(m.pos);
    std::vector<unsigned int> found;
    for (const vector_fixed<double, 3>& place : places) {
        const unsigned int node = nodes.find_closest(place);
        if (node >= m.pos.cols()) throw failure("no node is near enough to a source to tell");
        found.push_back(node);
    }
    return found;
}

// The vector scaled to length 1. It must not be zero.
vector_fixed<double, 3> unit(const vector_fixed<double, 3>& v) {
    const double length = std::hypot(v[0], v[1], v[2]);
    return {v[0] / length, v[1] / length, v[2] / length};
}

vector_fixed<double, 3> cross(const vector_fixed<double, 3>& a, const vector_fixed<double, 3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// Three unit vectors at right angles in the columns, the first along `direction`.
matrix_fixed<double, 3, 3> frame_along(const vector_fixed<double, 3>& direction) {
    const vector_fixed<double, 3> u = unit(direction);
    // The axis at the largest angle to u.
    std::size_t axis = 0;
    for (std::size_t r = 1; r < 3; ++r) {
        if (std::fabs(u[r]) < std::fabs(u[axis])) axis = r;
    }
    vector_fixed<double, 3> e{};
    e[axis] = 1.0;
    const vector_fixed<double, 3> v = unit(cross(u, e));
    const vector_fixed<double, 3> w = cross(u, v);
    matrix_fixed<double, 3, 3> P;
    for (std::size_t r = 0; r < 3; ++r) {
        P(r, 0) = u[r];
        P(r, 1) = v[r];
        P(r, 2) = w[r];
    }
    return P;
}

// A metric for each size, `ratio` times as large along the direction.
dense2D<double> stretched(const dense1D<double>& sizes, const options& o) {
    const matrix_fixed<double, 3, 3> P = frame_along(o.direction);
    dense2D<double> metrics;
    expect_memory(metrics.resize(6, sizes.size()));
    for (std::size_t n = 0; n < sizes.size(); ++n) {
        const vector_fixed<double, 3> h{o.ratio * sizes[n], sizes[n], sizes[n]};
        symmetric_fixed<double, 3> M;
        kv7::tessmaker::metric_aniso(h, P, M);
        std::copy_n(M.values, 6, metrics.column(n));
    }
    return metrics;
}

void put_source(unsigned int node, double h, dense1D<double>& sizes) { sizes[node] = h; }
void put_source(unsigned int node, double h, dense2D<double>& metrics) {
    symmetric_fixed<double, 3> M;
    kv7::tessmaker::metric_aniso(h, M);
    std::copy_n(M.values, 6, metrics.column(node));
}

template <class Field>
void put_sources(const std::vector<unsigned int>& nodes, double h, Field& field) {
    for (const unsigned int node : nodes) put_source(node, h, field);
    if (!kv7::tessmaker::are_valid_metrics(field)) {
        throw failure("some size is too small or too large for a number");
    }
}

// The growth of a field, from H_shock.
struct shock_report {
    double largest;
    double median;
    std::size_t nbr_above; // nodes at edges above the limit
};

// Bounding refuses steps below a thousandth, so that an edge may stay a little above the limit.
constexpr double slack = 1.01;

template <class Field>
shock_report shocks_of(const mesh& m, const dense2D<unsigned int>& edges, double limit,
                       const Field& field) {
    dense1D<double> shocks;
    expect_memory(kv7::tessmaker::H_shock(m.pos, edges, field, shocks) == 0);
    expect_memory(shocks.size() == m.pos.cols());
    const auto nbr_above = std::count_if(shocks.begin(), shocks.end(),
                                         [limit](double g) { return g > slack * limit + 1e-9; });
    std::sort(shocks.begin(), shocks.end());
    return {shocks[shocks.size() - 1], shocks[shocks.size() / 2],
            static_cast<std::size_t>(nbr_above)};
}

template <class Field> void bound_and_report(const mesh& m, double limit, Field& field) {
    dense2D<unsigned int> edges;
    expect_memory(kv7::tessmaker::copy_edges(m.connect, m.type, edges, {}) == 0);
    const shock_report before = shocks_of(m, edges, limit, field);
    const stopwatch bounding;
    const int nbr_changed = kv7::tessmaker::bound_metric_gradations(m.pos, m.connect, m.type, {},
                                                                    true, -1, limit, field);
    const double time = bounding.milliseconds();
    expect_memory(nbr_changed >= 0);
    const shock_report after = shocks_of(m, edges, limit, field);

    print_count("edges", edges.cols());
    print_value("limit of the gradation", limit);
    std::printf("\n%-24s%14s%14s\n", "H_shock", "before", "after");
    print_pair("  largest", before.largest, after.largest);
    print_pair("  median", before.median, after.median);
    print_pair("  nodes above the limit", static_cast<double>(before.nbr_above),
               static_cast<double>(after.nbr_above));
    std::printf("\n");
    print_count("nodes changed", static_cast<std::size_t>(nbr_changed));
    std::printf("%-24s%14.3f  ms\n", "time", time);
}

void run(const options& o) {
    const mesh m = o.block > 0 ? make_block(o.block) : read_mesh(o.file);
    dense1D<double> sizes;
    expect_memory(kv7::tessmaker::metrics_gen_iso(m.pos, m.connect, m.type, sizes, 1.0) == 0);
    const double smallest = *std::min_element(sizes.begin(), sizes.end());
    const double largest = *std::max_element(sizes.begin(), sizes.end());
    if (!(smallest > 0.0)) throw failure(o.file + ": a node has no edge of any length");

    const std::vector<unsigned int> sources = source_nodes(m, o);
    const double size = o.size > 0.0 ? o.size : 0.1 * smallest;
    dense2D<double> metrics;
    if (o.is_stretched) {
        metrics = stretched(sizes, o);
        put_sources(sources, size, metrics);
    } else {
        put_sources(sources, size, sizes);
    }

    std::printf("%s\n\n", o.block > 0 ? "a block of tetrahedra" : o.file.c_str());
    print_count("nodes", m.pos.cols());
    print_count("elements", m.connect.cols());
    print_value("smallest size", smallest);
    print_value("largest size", largest);
    if (o.is_stretched) print_value("stretched by", o.ratio);
    print_count("sources", sources.size());
    print_value("size at the sources", size);
    if (o.is_stretched) {
        bound_and_report(m, o.gradation, metrics);
    } else {
        bound_and_report(m, o.gradation, sizes);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(read_options(argc, argv));
        return 0;
    } catch (const wrong_usage& wrong) {
        std::fprintf(stderr, "size_field: %s\n%s", wrong.what(), usage);
        return 2;
    } catch (const failure& failed) {
        std::fprintf(stderr, "size_field: %s\n", failed.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "size_field: out of memory\n");
    }
    return 1;
}
