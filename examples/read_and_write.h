// Meshes read and written as the programs do it: they print what the library has to say on a file,
// and a failure is an exception.
#ifndef READ_AND_WRITE_H
#define READ_AND_WRITE_H

#include <array>
#include <cstddef>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

#include <tessmaker/element_type.h>
#include <tessmaker/mesh_file.h>

// What went wrong, in words for the user of the program.
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// With valid arguments the library fails only when memory runs out.
inline void expect_memory(bool done) {
    if (!done) throw std::bad_alloc();
}

inline const char* type_name(kv7::element_type type) {
    static constexpr std::array<const char*, kv7::ET_HEXA27 + 1> names{
        "unknown", "NODE",   "BAR_MIX", "BAR2",      "BAR3",   "FACE_MIX", "TRIA3", "QUAD4",
        "TRIA6",   "QUAD8",  "QUAD9",   "SOLID_MIX", "TETRA4", "TETRA10",  "PYRA5", "PYRA13",
        "PYRA14",  "PENTA6", "PENTA15", "PENTA18",   "HEXA8",  "HEXA20",   "HEXA27"};
    return names[static_cast<std::size_t>(type)];
}

// Calls `visit(type, column)` for each element.
template <class Visit> void for_each_element(const kv7::tessmaker::mesh& m, const Visit& visit) {
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const auto type = static_cast<kv7::element_type>(m.types[k]);
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) visit(type, c);
    }
}

// Calls `visit(name, count)` for each type of which there are elements, in the order of the types.
template <class Visit> void for_each_type(const kv7::tessmaker::mesh& m, const Visit& visit) {
    std::array<std::size_t, kv7::ET_HEXA27 + 1> counts{};
    for_each_element(m, [&counts](kv7::element_type type, unsigned int) {
        ++counts[static_cast<std::size_t>(type)];
    });
    for (std::size_t t = 0; t < counts.size(); ++t) {
        if (counts[t] > 0) visit(type_name(static_cast<kv7::element_type>(t)), counts[t]);
    }
}

// Prints what was left out or changed, and what is worth knowing. An error is thrown instead.
inline void print_remarks(const kv7::tessmaker::file_report& report) {
    using kv7::tessmaker::remark_kind;
    for (const kv7::tessmaker::remark& r : report.remarks()) {
        if (r.kind == remark_kind::error) continue;
        const char* const kind = r.kind == remark_kind::lost      ? "lost"
                                 : r.kind == remark_kind::changed ? "changed"
                                                                  : "note";
        std::printf("  %-9s%s\n", kind, r.sentence.c_str());
    }
}

// Throws what a report says after a call that returned a code.
inline void expect_success(int code, const kv7::tessmaker::file_report& report) {
    if (code >= 0) return;
    if (!report.error()) throw std::bad_alloc();
    throw failure(report.error()->sentence);
}

// Writes a mesh, and prints what became of it. What the format can't hold is left out if `lossy` is
// set, and else a failure.
inline void write_file(const std::string& name, const kv7::tessmaker::mesh& m,
                       const kv7::tessmaker::write_options& options) {
    kv7::tessmaker::file_report report;
    const int code = kv7::tessmaker::write_mesh(name.c_str(), m, options, report);
    print_remarks(report);
    expect_success(code, report);
}

#endif
