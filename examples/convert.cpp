// Converts a mesh from one file format to another:
//
//     convert [--lossy] IN OUT
//
// The endings of the names say which formats, or what IN contains. What is left out of IN is said,
// with the line of the first. What OUT can't hold is said too; then OUT is only written with
// --lossy. STL has no quadrangles: they are written as two triangles each.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "read_and_write.h"

namespace {

using kv7::dense1D;
using kv7::element_type;
using kv7::tessmaker::file_format;
using kv7::tessmaker::mesh;

std::string count_of(std::size_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

bool is_quadrangle(element_type type) {
    return type == kv7::ET_QUAD4 || type == kv7::ET_QUAD8 || type == kv7::ET_QUAD9;
}

dense1D<unsigned int> columns_of(const dense1D<unsigned int>& values,
                                 const dense1D<unsigned int>& columns) {
    dense1D<unsigned int> result;
    if (values.empty()) return result;
    for (const unsigned int c : columns) expect_memory(result.push_back(values[c]));
    return result;
}

// Whether the numbers say no more than the order.
bool is_order(const dense1D<unsigned int>& numbers) {
    for (unsigned int k = 0; k < numbers.size(); ++k) {
        if (numbers[k] != k + 1) return false;
    }
    return true;
}

// The mesh with two triangles for each quadrangle, which its first diagonal cuts.
mesh with_quadrangles_split(const mesh& m) {
    mesh out = m;
    out.indices = dense1D<unsigned int>{0};
    out.types = dense1D<int>();
    dense1D<unsigned int> origin; // the element from which each one comes
    std::vector<unsigned int> first;
    for_each_element(m, [&](element_type type, unsigned int c) {
        const bool is_cut = is_quadrangle(type);
        first.push_back(static_cast<unsigned int>(origin.size()));
        expect_memory(origin.push_back(c) && (!is_cut || origin.push_back(c)));
        const element_type as = is_cut ? kv7::ET_TRIA3 : type;
        if (out.types.empty() || out.types[out.types.size() - 1] != as) {
            expect_memory(out.types.push_back(as) && out.indices.push_back(0));
        }
        out.indices[out.types.size()] = static_cast<unsigned int>(origin.size());
    });
    first.push_back(static_cast<unsigned int>(origin.size()));
    if (origin.size() == m.connect.cols()) return m;

    out.connect = kv7::dense2D<unsigned int>();
    expect_memory(out.connect.append(m.connect, origin));
    for (unsigned int c = 0; c < origin.size(); ++c) {
        unsigned int* const nodes = out.connect.column(c);
        const unsigned int from = first[origin[c]];
        if (first[origin[c] + 1] - from == 1) continue;
        if (c != from) nodes[1] = nodes[2];
        if (c != from) nodes[2] = nodes[3];
        std::fill(nodes + 3, nodes + out.connect.rows(), 0xFFFFFFFF);
    }
    out.pids = columns_of(m.pids, origin);
    out.element_numbers = dense1D<unsigned int>();
    if (!is_order(m.element_numbers)) out.element_numbers = columns_of(m.element_numbers, origin);
    for (kv7::tessmaker::named_set& set : out.element_sets) {
        dense1D<unsigned int> ids;
        for (const unsigned int id : set.ids) {
            for (unsigned int c = first[id]; c < first[id + 1]; ++c) {
                expect_memory(ids.push_back(c));
            }
        }
        set.ids = ids;
    }
    for (kv7::tessmaker::field& f : out.fields) {
        if (f.at == kv7::tessmaker::field_place::nodes) continue;
        kv7::dense2D<double> values;
        expect_memory(values.append(f.values, origin));
        f.values = values;
    }
    std::printf("  %-9s%s written as triangles\n", "changed",
                count_of(origin.size() - m.connect.cols(), "quadrangle").c_str());
    return out;
}

void run(const std::string& in, const std::string& out, bool lossy) {
    mesh m;
    kv7::tessmaker::file_report report;
    const int code = kv7::tessmaker::read_mesh(in.c_str(), m, report);
    if (code >= 0) {
        std::printf("%s, %s: %s, %s\n", in.c_str(), format_name(report.format()),
                    count_of(m.pos.cols(), "node").c_str(),
                    count_of(m.connect.cols(), "element").c_str());
    }
    for_each_type(
        m, [](const char* name, std::size_t count) { std::printf("  %zu %s\n", count, name); });
    print_remarks(report);
    expect_success(code, report);

    const file_format format = kv7::tessmaker::format_by_ending(out.c_str());
    std::printf("%s, %s\n", out.c_str(), kv7::tessmaker::format_name(format));
    if (format == file_format::stl_binary) m = with_quadrangles_split(m);
    kv7::tessmaker::write_options options;
    options.lossy = lossy;
    write_file(out, m, options);
}

} // namespace

int main(int argc, char** argv) {
    const bool lossy = argc > 1 && std::strcmp(argv[1], "--lossy") == 0;
    char** const names = argv + (lossy ? 2 : 1);
    if (argv + argc - names != 2 || (names[0][0] == '-' && names[0][1] == '-')) {
        std::fprintf(stderr, "usage: convert [--lossy] IN OUT\n"
                             "--lossy writes OUT although it can't hold all that is in IN\n");
        return 2;
    }
    try {
        run(names[0], names[1], lossy);
        return 0;
    } catch (const failure& failed) {
        std::fprintf(stderr, "convert: %s\n", failed.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "convert: out of memory\n");
    }
    return 1;
}
