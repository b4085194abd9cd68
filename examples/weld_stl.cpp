// Turns the triangle soup of an STL file into a welded surface, and reports what that did:
//
//     weld_stl IN.stl OUT.stl [CHARACTERISTIC]
//
// Where the Euler characteristic that the surface must have is given, another one is a failure.
//
// The job is STL_input, a look at how the facets hang together and at their shapes, and STL_output.
// STL_input reads, welds and cleans in one go and tells no figures, so the program does these steps
// a second time, one by one: it takes the facets from the file as they stand there, welds them with
// merge and cleans them with remove_degenerated and simplify. Both ways must end with the same
// mesh.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include <strings.h>

#include <tessmaker/tessmaker.h>

#include "surface_quality.h"
#include "surface_topology.h"

using kv7::dense2D;

namespace {

struct mesh {
    dense2D<double> pos;           // one column per node
    dense2D<unsigned int> connect; // one column per facet
};

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

class stopwatch {
public:
    double milliseconds() const {
        return std::chrono::duration<double, std::milli>(clock::now() - start_).count();
    }

private:
    using clock = std::chrono::steady_clock;
    clock::time_point start_ = clock::now();
};

int fail(const char* filename, const char* what) {
    std::fprintf(stderr, "weld_stl: %s: %s\n", filename, what);
    return 1;
}

const char* input_failure(int code) {
    switch (code) {
    case -1: return "can't be read";
    case -2: return "not an STL file: breaks the text grammar, and is too short for a binary one";
    case -3: return "not an STL file: breaks the text grammar, and is truncated as a binary one";
    default: return "out of memory";
    }
}

// The number of facets if the file is a binary one, -1 if it is text. STL_input has left it behind
// what it has read, and in a binary file that place follows from the count of facets.
std::int64_t binary_facet_count(std::FILE* file) {
    const long end = std::ftell(file);
    unsigned char bytes[4];
    if (std::fseek(file, 80, SEEK_SET) != 0 || std::fread(bytes, 1, 4, file) != 4) return -1;
    const std::uint32_t bits = std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 |
                               std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
    const std::int64_t count = std::max<std::int32_t>(0, static_cast<std::int32_t>(bits));
    return end == 84 + 50 * count ? count : -1;
}

bool add_corners(const double* corners, std::size_t n, dense2D<double>& pos) {
    const std::size_t cols = pos.cols();
    if (!pos.reserve(3, cols + n, 2) || !pos.resize(3, cols + n)) return false;
    std::copy_n(corners, 3 * n, pos.column(cols));
    return true;
}

// The corners of all facets, three nodes each, from a file that STL_input has accepted.
bool read_binary_corners(std::FILE* file, std::int64_t nbr_facets, dense2D<double>& pos) {
    if (std::fseek(file, 84, SEEK_SET) != 0) return false;
    for (std::int64_t k = 0; k < nbr_facets; ++k) {
        float values[12]; // the normal and three corners
        unsigned char attribute[2];
        if (std::fread(values, 4, 12, file) != 12 || std::fread(attribute, 1, 2, file) != 2) {
            return false;
        }
        double corners[9];
        std::copy_n(values + 3, 9, corners);
        if (!add_corners(corners, 3, pos)) return false;
    }
    return true;
}

bool read_text_corners(std::FILE* file, dense2D<double>& pos) {
    std::rewind(file);
    char line[256];
    while (std::fgets(line, sizeof line, file)) {
        char* rest = line + std::strspn(line, " \t");
        if (strncasecmp(rest, "vertex", 6) != 0) continue;
        rest += 6;
        double corner[3];
        for (double& x : corner) x = std::strtod(rest, &rest);
        if (!add_corners(corner, 1, pos)) return false;
    }
    return pos.cols() % 3 == 0;
}

// The smallest height of any facet that has one, 0 if there is none.
double smallest_height(const dense2D<double>& pos) {
    double smallest2 = std::numeric_limits<double>::max();
    for (std::size_t first = 0; first < pos.cols(); first += 3) {
        double facet_smallest2 = std::numeric_limits<double>::max();
        for (std::size_t i = 0; i < 3; ++i) {
            // Over corner `a`, measured from the nearer of the other two.
            const double* const a = pos.column(first + i);
            const double* near = pos.column(first + (i + 1) % 3);
            const double* far = pos.column(first + (i + 2) % 3);
            const auto distance2 = [a](const double* p) {
                return (a[0] - p[0]) * (a[0] - p[0]) + (a[1] - p[1]) * (a[1] - p[1]) +
                       (a[2] - p[2]) * (a[2] - p[2]);
            };
            if (distance2(near) > distance2(far)) std::swap(near, far);
            double e[3];
            double d[3];
            for (int r = 0; r < 3; ++r) {
                e[r] = far[r] - near[r];
                d[r] = a[r] - near[r];
            }
            const double n[3] = {e[1] * d[2] - e[2] * d[1], e[2] * d[0] - e[0] * d[2],
                                 e[0] * d[1] - e[1] * d[0]};
            const double length2 = e[0] * e[0] + e[1] * e[1] + e[2] * e[2];
            const double area2 = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
            facet_smallest2 = std::min(facet_smallest2, length2 > 0.0 ? area2 / length2 : area2);
        }
        if (facet_smallest2 > 0.0) smallest2 = std::min(smallest2, facet_smallest2);
    }
    return smallest2 < std::numeric_limits<double>::max() ? std::sqrt(smallest2) : 0.0;
}

// Nodes that coincide exactly go first, in blocks of facets, then those within the tolerance.
int weld(double tolerance, mesh& m) {
    constexpr std::size_t block_size = 100000;
    for (std::size_t c = 0; c < m.connect.cols(); c += block_size) {
        const std::size_t nbr_facets = std::min(block_size, m.connect.cols() - c);
        dense2D<unsigned int> block = m.connect.sub_matrix(0, c, 3, nbr_facets);
        const int result = kv7::tessmaker::merge(m.pos, block, 0.0, 0);
        if (result < 0) return result;
    }
    return kv7::tessmaker::merge(m.pos, m.connect, tolerance, 0);
}

int clean(mesh& m) {
    const int result = kv7::tessmaker::remove_degenerated(m.connect, true);
    return result < 0 ? result : kv7::tessmaker::simplify(m.pos, m.connect, 0);
}

struct step_times {
    double read = 0.0;
    double weld = 0.0;
    double clean = 0.0;
};

// What STL_input does to the facets in `m`, step by step. False when memory fails.
bool weld_and_clean(double tolerance, mesh& m, step_times& times) {
    if (!m.connect.resize(3, m.pos.cols() / 3)) return false;
    unsigned int node = 0;
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) m.connect(r, c) = node++;
    }
    if (!(tolerance > 0.0)) return true; // no facet has a height to measure by
    const stopwatch welding;
    if (weld(tolerance, m) < 0) return false;
    times.weld = welding.milliseconds();
    const stopwatch cleaning;
    if (clean(m) < 0) return false;
    times.clean = cleaning.milliseconds();
    return true;
}

void print_count(const char* what, std::size_t count, const char* remark) {
    std::printf("%-24s%14zu%s\n", what, count, remark);
}
void print_time(const char* what, double milliseconds, const char* remark) {
    std::printf("%-24s%14.3f  %s\n", what, milliseconds, remark);
}

void print_figures(std::size_t nbr_corners, const mesh& result, double tolerance) {
    const std::size_t nbr_facets = nbr_corners / 3;
    print_count("facets in the file", nbr_facets, "");
    print_count("  degenerate, dropped", nbr_facets - result.connect.cols(), "");
    print_count("  left", result.connect.cols(), "");
    print_count("nodes before welding", nbr_corners, "  three a facet");
    print_count("nodes after welding", result.pos.cols(), "");
    if (tolerance > 0.0) {
        std::printf("%-24s%14.6g  %s\n", "tolerance", tolerance,
                    "a twentieth of the smallest height of a facet");
    } else {
        std::printf("%-24s%14s  %s\n", "tolerance", "none", "no facet has a height: not welded");
    }
}

struct job_times {
    double input = 0.0;
    double topology = 0.0;
    double quality = 0.0;
    double output = 0.0;
};

void print_times(const job_times& job, const step_times& times) {
    std::printf("\n%-24s%14s\n", "the job", "ms");
    print_time("  read, weld and clean", job.input, "STL_input");
    print_time("  topology", job.topology, "get_neighbors, get_mesh_boundaries, copy_edges");
    print_time("  quality", job.quality, "shape_qualities, min_quality");
    print_time("  write", job.output, "STL_output");
    std::printf("\n%-24s%14s\n", "reading step by step", "ms");
    print_time("  read", times.read, "by this program, facets as they stand");
    print_time("  weld", times.weld, "merge");
    print_time("  clean", times.clean, "remove_degenerated, simplify");
}

int run(const char* in_name, const char* out_name, const char* characteristic) {
    const open_file in(std::fopen(in_name, "rb"));
    if (!in) return fail(in_name, std::strerror(errno));

    mesh result;
    job_times job;
    const stopwatch input;
    const int in_code = kv7::tessmaker::STL_input(in.get(), result.pos, result.connect);
    job.input = input.milliseconds();
    if (std::ferror(in.get())) return fail(in_name, "can't be read");
    if (in_code < 0) return fail(in_name, input_failure(in_code));

    const std::int64_t nbr_binary_facets = binary_facet_count(in.get());
    const bool is_text = nbr_binary_facets < 0;
    mesh again;
    step_times times;
    const stopwatch reading;
    if (!(is_text ? read_text_corners(in.get(), again.pos)
                  : read_binary_corners(in.get(), nbr_binary_facets, again.pos))) {
        return fail(in_name, "can't be read a second time");
    }
    times.read = reading.milliseconds();
    const std::size_t nbr_corners = again.pos.cols();
    const double tolerance = 0.05 * smallest_height(again.pos);
    if (!weld_and_clean(tolerance, again, times)) return fail(in_name, "out of memory");
    if (again.pos.cols() != result.pos.cols() || again.connect.cols() != result.connect.cols()) {
        return fail(in_name, "STL_input and its steps one by one give different meshes");
    }

    surface_topology topology;
    const stopwatch joining;
    if (!find_topology(result.pos.cols(), result.connect, topology)) {
        return fail(in_name, "out of memory");
    }
    job.topology = joining.milliseconds();
    if (!topology.adds_up()) return fail(in_name, "the sides of its facets do not add up");

    surface_quality quality;
    const stopwatch rating;
    if (!find_quality(result.pos, result.connect, quality)) return fail(in_name, "out of memory");
    job.quality = rating.milliseconds();
    if (!quality.adds_up(result.connect.cols())) {
        return fail(in_name, "the ratings of its facets do not add up");
    }

    errno = 0;
    const stopwatch output;
    if (kv7::tessmaker::STL_output(out_name, result.pos, result.connect, is_text) < 0) {
        return fail(out_name, errno != 0 ? std::strerror(errno) : "can't be written");
    }
    job.output = output.milliseconds();

    std::printf("%s, %s\n\n", in_name, is_text ? "text" : "binary");
    print_figures(nbr_corners, result, tolerance);
    print_topology(topology);
    print_quality(result.pos, result.connect, quality);
    print_times(job, times);
    std::printf("\nwritten to %s, %s\n", out_name, is_text ? "text" : "binary");
    if (characteristic && topology.characteristic() != std::strtoll(characteristic, nullptr, 10)) {
        return fail(in_name, "not the Euler characteristic that was expected");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: weld_stl IN.stl OUT.stl [CHARACTERISTIC]\n");
        return 2;
    }
    try {
        return run(argv[1], argv[2], argc == 4 ? argv[3] : nullptr);
    } catch (const std::bad_alloc&) {
        return fail(argv[1], "out of memory");
    }
}
