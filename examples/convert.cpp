// Converts a mesh from one file format to another:
//
//     convert IN OUT
//
// The endings of the names say which formats: .stl, .nas .bdf .dat (NASTRAN), .neu (FEMAP), .obj
// are read and written, .mesh (MEDIT), .geo (EnSight), .vtk are written only. What OUT can't hold
// is left out or written in the nearest form that it can hold, and the program says so.
#include <array>
#include <cstdio>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "mesh_file.h"

using kv7::element_type;

namespace {

std::string count_of(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

type_counts count_types(const mesh_data& m) {
    type_counts counts{};
    for_each_element(
        m, [&](element_type type, unsigned int) { ++counts[static_cast<std::size_t>(type)]; });
    return counts;
}

std::size_t total(const type_counts& counts) {
    std::size_t sum = 0;
    for (const std::size_t n : counts) sum += n;
    return sum;
}

std::size_t count_unused_nodes(const mesh_data& m) {
    std::vector<bool> is_used(m.pos.cols(), false);
    for_each_element(m, [&](element_type type, unsigned int c) {
        const unsigned int* const nodes = m.connect.column(c);
        for (unsigned int r = 0; r < kv7::tessmaker::nbr_nodes(type); ++r) is_used[nodes[r]] = true;
    });
    return static_cast<std::size_t>(std::count(is_used.begin(), is_used.end(), false));
}

std::size_t count_properties(const mesh_data& m) {
    std::map<unsigned int, std::size_t> counts;
    for (const unsigned int pid : m.pids) ++counts[pid];
    return counts.size();
}

// Reports how the elements are written. Returns the number that are; a quadrangle that is split
// counts once.
std::size_t report_types(const type_counts& counts, const mesh_format_traits& out) {
    std::size_t nbr_written = 0;
    for (std::size_t t = 0; t < counts.size(); ++t) {
        if (counts[t] == 0) continue;
        const auto type = static_cast<element_type>(t);
        const element_type as = out.written_as(type);
        const std::string what = std::to_string(counts[t]) + " " + type_name(type);
        if (as == kv7::ET_UNKNOWN) {
            std::printf("  %s left out: %s has no such element here\n", what.c_str(), out.name);
            continue;
        }
        nbr_written += counts[t];
        if (as != type) {
            std::printf("  %s written as %s, with fewer nodes\n", what.c_str(), type_name(as));
        }
        if (out.format == mesh_format::stl && as == kv7::ET_QUAD4) {
            std::printf("  %s split into triangles\n", what.c_str());
        }
        if (out.format == mesh_format::vtk && as == type &&
            kv7::tessmaker::nbr_nodes(as) > kv7::tessmaker::nbr_base_nodes(as)) {
            std::printf("  %s written as linear cells, their other nodes as cells of points\n",
                        what.c_str());
        }
    }
    return nbr_written;
}

bool has_numbers(const mesh_format_traits& traits) {
    return traits.format == mesh_format::nastran || traits.format == mesh_format::femap;
}

int run(const std::string& in_name, const std::string& out_name) {
    const mesh_format_traits* const out = format_of(out_name);
    if (!out) {
        throw mesh_file_error(
            out_name, "its ending is none of .stl .nas .bdf .dat .neu .obj .mesh .geo .vtk");
    }
    mesh_data m;
    bool normals_or_textures = false;
    read_mesh(in_name, m, normals_or_textures);
    const mesh_format_traits& in = *format_of(in_name);
    const type_counts read = count_types(m);
    std::printf("%s, %s: %s, %s\n", in_name.c_str(), in.name,
                count_of(m.pos.cols(), "node", "nodes").c_str(),
                count_of(total(read), "element", "elements").c_str());
    for (std::size_t t = 0; t < read.size(); ++t) {
        if (read[t] > 0) {
            std::printf("  %zu %s\n", read[t], type_name(static_cast<element_type>(t)));
        }
    }
    if (m.pos.empty()) throw mesh_file_error(in_name, "has no nodes");
    std::printf("%s, %s\n", out_name.c_str(), out->name);

    if (const std::size_t n = drop_incomplete(m); n > 0) {
        std::printf("  %s left out: nodes that they name are not in the file\n",
                    count_of(n, "element", "elements").c_str());
    }
    const type_counts complete = count_types(m);
    const std::size_t nbr_written = report_types(complete, *out);
    if (nbr_written == 0 && total(read) > 0) {
        throw mesh_file_error(out_name, "would hold none of the elements, and is not written");
    }
    if (nbr_written == 0 && out->format == mesh_format::femap) {
        throw mesh_file_error(out_name, "can't hold nodes alone, and is not written");
    }
    if (has_numbers(in)) {
        std::printf("  elements are numbered anew, from 1 in the order of the file\n");
    }
    if (out->format == mesh_format::stl) {
        if (const std::size_t n = count_unused_nodes(m); n > 0) {
            std::printf("  %s without an element left out\n", count_of(n, "node", "nodes").c_str());
        }
    }
    if (has_numbers(in) && !out->keeps_properties) {
        std::printf("  properties left out, %s\n",
                    count_of(count_properties(m), "number", "different numbers").c_str());
    }
    if (normals_or_textures) std::printf("  normals and texture coordinates left out\n");
    std::printf("  coordinates in %s\n", out->precision);
    write_mesh(out_name, m);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr,
                     "usage: convert IN OUT\n"
                     "IN ends in .stl .nas .bdf .dat .neu .obj, OUT in one of these or in .mesh "
                     ".geo .vtk\n");
        return 2;
    }
    try {
        return run(argv[1], argv[2]);
    } catch (const mesh_file_error& error) {
        std::fprintf(stderr, "convert: %s\n", error.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "convert: out of memory\n");
    }
    return 1;
}
