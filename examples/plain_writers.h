// Writes meshes in the formats that write_mesh does not write. The functions of formats.h hold less
// than these formats, so what is lost is said here.
#ifndef PLAIN_WRITERS_H
#define PLAIN_WRITERS_H

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <tessmaker/element_type.h>
#include <tessmaker/formats.h>
#include <tessmaker/mesh_file.h>

struct plain_writer {
    kv7::tessmaker::file_format format;
    const char* precision; // of coordinates
    bool has_properties;   // where readers look for them
    // The types that are written with fewer nodes, or not at all (ET_UNKNOWN). Others stay.
    std::vector<std::pair<kv7::element_type, kv7::element_type>> reduced;

    kv7::element_type written_as(kv7::element_type type) const {
        for (const auto& [from, to] : reduced) {
            if (from == type) return to;
        }
        return type;
    }
};

// Null for a format that is not written so.
inline const plain_writer* find_plain_writer(kv7::tessmaker::file_format format) {
    using namespace kv7;
    using kv7::tessmaker::file_format;
    static const std::array<plain_writer, 3> writers{{
        {file_format::nastran,
         "7 digits",
         true,
         {{ET_NODE, ET_UNKNOWN},
          {ET_BAR3, ET_BAR2},
          {ET_QUAD9, ET_QUAD8},
          {ET_PYRA14, ET_PYRA13},
          {ET_PENTA18, ET_PENTA15},
          {ET_HEXA27, ET_HEXA20}}},
        {file_format::femap,
         "6 decimals",
         false, // FEMAP_output writes them where other programs have the color
         {{ET_TRIA6, ET_TRIA3},
          {ET_QUAD9, ET_QUAD8},
          {ET_PYRA5, ET_UNKNOWN},
          {ET_PYRA13, ET_UNKNOWN},
          {ET_PYRA14, ET_UNKNOWN},
          {ET_PENTA15, ET_PENTA6},
          {ET_PENTA18, ET_PENTA6},
          {ET_HEXA27, ET_HEXA20}}},
        {file_format::ensight,
         "6 digits",
         false,
         {{ET_NODE, ET_UNKNOWN},
          {ET_TRIA6, ET_TRIA3}, // else listed twice
          {ET_QUAD9, ET_QUAD8},
          {ET_PYRA5, ET_UNKNOWN},
          {ET_PYRA13, ET_UNKNOWN},
          {ET_PYRA14, ET_UNKNOWN},
          {ET_PENTA15, ET_PENTA6},
          {ET_PENTA18, ET_PENTA6},
          {ET_HEXA27, ET_HEXA20}}},
    }};
    const auto* const found =
        std::find_if(writers.begin(), writers.end(),
                     [format](const plain_writer& writer) { return writer.format == format; });
    return found == writers.end() ? nullptr : found;
}

// The mesh as it is written.
inline kv7::tessmaker::mesh reduced_mesh(const kv7::tessmaker::mesh& m,
                                         const plain_writer& writer) {
    using namespace kv7;
    tessmaker::mesh out;
    out.pos = m.pos;
    dense1D<unsigned int> kept;
    bool is_done = out.indices.push_back(0);
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const element_type as = writer.written_as(static_cast<element_type>(m.types[k]));
        if (as == ET_UNKNOWN) continue;
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            is_done = is_done && kept.push_back(c) && out.pids.push_back(m.pids[c]);
        }
        is_done = is_done && out.types.push_back(as) &&
                  out.indices.push_back(static_cast<unsigned int>(kept.size()));
    }
    is_done = is_done && (kept.empty() || out.connect.append(m.connect, kept));
    if (!is_done) throw std::bad_alloc();
    for (std::size_t k = 0; k < out.types.size(); ++k) {
        const unsigned int n = tessmaker::nbr_nodes(static_cast<element_type>(out.types[k]));
        for (unsigned int c = out.indices[k]; c < out.indices[k + 1]; ++c) {
            std::fill(out.connect.column(c) + n, out.connect.column(c) + out.connect.rows(),
                      0xFFFFFFFF);
        }
    }
    return out;
}

struct plain_report {
    std::vector<std::string> remarks;
    std::string error; // empty if the file is written
};

// What the format doesn't hold of the mesh. True if that is nothing.
inline bool tell_plain_losses(const plain_writer& writer, const kv7::tessmaker::mesh& m,
                              std::vector<std::string>& remarks) {
    using namespace kv7;
    bool is_whole = true;
    const auto lost = [&](const std::string& what, std::size_t count, const std::string& how) {
        if (count == 0) return;
        is_whole = false;
        remarks.push_back("lost     " + what + ": " + std::to_string(count) + " " + how);
    };
    const auto real_numbers = [](const dense1D<unsigned int>& numbers) {
        std::size_t count = 0;
        for (std::size_t k = 0; k < numbers.size(); ++k) count += numbers[k] != k + 1 ? 1U : 0U;
        return count;
    };
    const auto nbr_properties = static_cast<std::size_t>(
        std::count_if(m.pids.begin(), m.pids.end(), [](unsigned int pid) { return pid != 1; }));
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const auto type = static_cast<element_type>(m.types[k]);
        const element_type as = writer.written_as(type);
        if (as == type) continue;
        lost("elements of " + std::to_string(tessmaker::nbr_nodes(type)) + " nodes",
             m.indices[k + 1] - m.indices[k],
             as == ET_UNKNOWN ? "not written" : "written without some of their nodes");
    }
    lost("number of a node", real_numbers(m.node_numbers), "not written");
    lost("number of an element", real_numbers(m.element_numbers), "not written");
    if (!writer.has_properties) lost("property of an element", nbr_properties, "not written");
    lost("set of nodes", m.node_sets.size(), "not written");
    lost("set of elements", m.element_sets.size(), "not written");
    lost("field", m.fields.size(), "not written");
    remarks.push_back("changed  coordinates: written with " + std::string(writer.precision));
    return is_whole;
}

inline plain_report write_plain(const plain_writer& writer, const std::string& name,
                                const kv7::tessmaker::mesh& m, bool lossy) {
    using namespace kv7::tessmaker;
    plain_report report;
    if (!tell_plain_losses(writer, m, report.remarks) && !lossy) {
        report.error = name + ": " + format_name(writer.format) + " can't hold all of the mesh";
        return report;
    }
    const mesh out = reduced_mesh(m, writer);
    errno = 0;
    std::FILE* const file = std::fopen(name.c_str(), "wb");
    if (!file) {
        report.error = name + ": can't be opened: " + std::strerror(errno);
        return report;
    }
    int code = 0;
    if (writer.format == file_format::nastran) {
        code = NASTRAN_output(file, out.pos, out.connect, out.indices, out.types, out.pids);
    } else if (writer.format == file_format::femap) {
        code = FEMAP_output(file, out.pos, out.connect, out.indices, out.types, out.pids);
    } else {
        std::vector<kv7::dense2D<unsigned int>> runs;
        for (std::size_t k = 0; k < out.types.size(); ++k) {
            const auto type = static_cast<kv7::element_type>(out.types[k]);
            const unsigned int begin = out.indices[k];
            kv7::dense2D<unsigned int> all = out.connect; // shares the array
            runs.push_back(all.sub_matrix(0, begin, nbr_nodes(type), out.indices[k + 1] - begin));
        }
        code = ensight_output(name.c_str(), out.pos, runs.data(), runs.data() + runs.size(),
                              out.types);
    }
    if (std::fclose(file) != 0 || code < 0) report.error = name + ": can't be written";
    return report;
}

#endif
