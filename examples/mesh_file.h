// A mesh in memory, and the files that it can be read from and written to; the ending of the file
// name says which format.
#ifndef MESH_FILE_H
#define MESH_FILE_H

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessmaker/element_type.h>
#include <tessmaker/formats.h>
#include <tessmaker/index_arrays.h>

// Elements of all types in one array, in runs of equal type, as formats.h describes them.
struct mesh_data {
    kv7::dense2D<double> pos;
    kv7::dense2D<unsigned int> connect;
    kv7::dense1D<unsigned int> indices;
    kv7::dense1D<int> types;
    kv7::dense1D<unsigned int> pids;
};

// What went wrong with a file, in words for its user.
struct mesh_file_error : std::runtime_error {
    mesh_file_error(const std::string& filename, const std::string& what)
        : std::runtime_error(filename + ": " + what) {}
};

// With valid arguments the library fails only when memory runs out.
inline void expect_memory(bool done) {
    if (!done) throw std::bad_alloc();
}

enum class mesh_format { stl, nastran, femap, obj, medit, ensight, vtk };

inline constexpr std::size_t nbr_types = kv7::ET_HEXA27 + 1;

// How many there are of each type, by the value of `element_type`.
using type_counts = std::array<std::size_t, nbr_types>;

// An element type: its name, and what each format writes it as: the type itself, one with fewer
// nodes, or ET_UNKNOWN where the format has no place for it.
struct type_row {
    kv7::element_type type;
    const char* name;
    kv7::element_type in_stl_and_obj;
    kv7::element_type in_nastran;
    kv7::element_type in_femap; // quadratic triangles would not be read as they were written
    kv7::element_type in_medit;
    kv7::element_type in_ensight; // quadratic triangles would be listed twice
    kv7::element_type in_vtk; // cells of points beside linear cells hold the nodes between corners
};

// In the order of `element_type`.
inline const std::array<type_row, nbr_types>& type_rows() {
    using namespace kv7;
    constexpr element_type no = ET_UNKNOWN;
    // clang-format off
    static constexpr std::array<type_row, nbr_types> rows{{
        {ET_UNKNOWN,   "unknown",   no,       no,         no,         no,        no,         no},
        {ET_NODE,      "NODE",      no,       no,         ET_NODE,    no,        no,         no},
        {ET_BAR_MIX,   "BAR_MIX",   no,       no,         no,         no,        no,         no},
        {ET_BAR2,      "BAR2",      no,       ET_BAR2,    ET_BAR2,    ET_BAR2,   ET_BAR2,    ET_BAR2},
        {ET_BAR3,      "BAR3",      no,       ET_BAR2,    ET_BAR3,    ET_BAR2,   ET_BAR3,    ET_BAR3},
        {ET_FACE_MIX,  "FACE_MIX",  no,       no,         no,         no,        no,         no},
        {ET_TRIA3,     "TRIA3",     ET_TRIA3, ET_TRIA3,   ET_TRIA3,   ET_TRIA3,  ET_TRIA3,   ET_TRIA3},
        {ET_QUAD4,     "QUAD4",     ET_QUAD4, ET_QUAD4,   ET_QUAD4,   ET_QUAD4,  ET_QUAD4,   ET_QUAD4},
        {ET_TRIA6,     "TRIA6",     ET_TRIA3, ET_TRIA6,   ET_TRIA3,   ET_TRIA3,  ET_TRIA3,   ET_TRIA6},
        {ET_QUAD8,     "QUAD8",     ET_QUAD4, ET_QUAD8,   ET_QUAD8,   ET_QUAD4,  ET_QUAD8,   ET_QUAD8},
        {ET_QUAD9,     "QUAD9",     ET_QUAD4, ET_QUAD8,   ET_QUAD8,   ET_QUAD4,  ET_QUAD8,   ET_QUAD9},
        {ET_SOLID_MIX, "SOLID_MIX", no,       no,         no,         no,        no,         no},
        {ET_TETRA4,    "TETRA4",    no,       ET_TETRA4,  ET_TETRA4,  ET_TETRA4, ET_TETRA4,  ET_TETRA4},
        {ET_TETRA10,   "TETRA10",   no,       ET_TETRA10, ET_TETRA10, ET_TETRA4, ET_TETRA10, ET_TETRA10},
        {ET_PYRA5,     "PYRA5",     no,       ET_PYRA5,   no,         ET_PYRA5,  no,         ET_PYRA5},
        {ET_PYRA13,    "PYRA13",    no,       ET_PYRA13,  no,         ET_PYRA5,  no,         ET_PYRA5},
        {ET_PYRA14,    "PYRA14",    no,       ET_PYRA13,  no,         ET_PYRA5,  no,         ET_PYRA14},
        {ET_PENTA6,    "PENTA6",    no,       ET_PENTA6,  ET_PENTA6,  ET_PENTA6, ET_PENTA6,  ET_PENTA6},
        {ET_PENTA15,   "PENTA15",   no,       ET_PENTA15, ET_PENTA6,  ET_PENTA6, ET_PENTA6,  ET_PENTA6},
        {ET_PENTA18,   "PENTA18",   no,       ET_PENTA15, ET_PENTA6,  ET_PENTA6, ET_PENTA6,  ET_PENTA18},
        {ET_HEXA8,     "HEXA8",     no,       ET_HEXA8,   ET_HEXA8,   ET_HEXA8,  ET_HEXA8,   ET_HEXA8},
        {ET_HEXA20,    "HEXA20",    no,       ET_HEXA20,  ET_HEXA20,  ET_HEXA8,  ET_HEXA20,  ET_HEXA20},
        {ET_HEXA27,    "HEXA27",    no,       ET_HEXA20,  ET_HEXA20,  ET_HEXA8,  ET_HEXA20,  ET_HEXA27},
    }};
    // clang-format on
    static_assert(rows.back().type == ET_HEXA27);
    return rows;
}

inline const type_row& row_of(kv7::element_type type) {
    return type_rows()[static_cast<std::size_t>(type)];
}
inline const char* type_name(kv7::element_type type) { return row_of(type).name; }

struct mesh_format_traits {
    mesh_format format;
    const char* name;
    std::vector<const char*> endings;
    bool is_readable;
    bool keeps_properties;
    const char* precision; // of coordinates
    kv7::element_type type_row::*column;

    kv7::element_type written_as(kv7::element_type type) const { return row_of(type).*column; }
};

inline const std::vector<mesh_format_traits>& mesh_formats() {
    using f = mesh_format;
    using r = type_row;
    static const std::vector<mesh_format_traits> formats{
        {f::stl, "STL", {".stl"}, true, false, "single precision", &r::in_stl_and_obj},
        {f::nastran, "NASTRAN", {".nas", ".bdf", ".dat"}, true, true, "7 digits", &r::in_nastran},
        {f::femap, "FEMAP", {".neu"}, true, true, "6 decimals", &r::in_femap},
        {f::obj, "Wavefront OBJ", {".obj"}, true, false, "12 decimals", &r::in_stl_and_obj},
        {f::medit, "MEDIT", {".mesh"}, false, false, "7 digits", &r::in_medit},
        {f::ensight, "EnSight", {".geo"}, false, false, "6 digits", &r::in_ensight},
        {f::vtk, "VTK", {".vtk"}, false, false, "6 decimals", &r::in_vtk}};
    return formats;
}

// The format that belongs to the ending of a file name, upper or lower case; null for none.
inline const mesh_format_traits* format_of(const std::string& filename) {
    const auto ends_with = [&](const char* ending) {
        const std::size_t n = std::strlen(ending);
        return filename.size() > n &&
               std::equal(
                   ending, ending + n, filename.end() - static_cast<std::ptrdiff_t>(n),
                   [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
    };
    for (const mesh_format_traits& traits : mesh_formats()) {
        if (std::any_of(traits.endings.begin(), traits.endings.end(), ends_with)) return &traits;
    }
    return nullptr;
}

namespace mesh_file_detail {

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

inline open_file open(const std::string& filename, const char* mode) {
    open_file file(std::fopen(filename.c_str(), mode));
    if (!file) throw mesh_file_error(filename, std::strerror(errno));
    return file;
}

// Appends the elements of one plain type as a run.
inline void add_run(const kv7::dense2D<unsigned int>& connect, kv7::element_type type,
                    mesh_data& m) {
    if (m.indices.empty()) expect_memory(m.indices.push_back(0));
    if (connect.empty()) return;
    const std::size_t first = m.connect.cols();
    const std::size_t rows = std::max(m.connect.rows(), connect.rows());
    expect_memory(m.connect.resize(rows, first + connect.cols(), 0xFFFFFFFF));
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        std::copy_n(connect.column(c), connect.rows(), m.connect.column(first + c));
    }
    expect_memory(m.types.push_back(type));
    expect_memory(m.pids.resize(m.connect.cols(), 1U));
    expect_memory(m.indices.push_back(static_cast<unsigned int>(m.connect.cols())));
}

} // namespace mesh_file_detail

// Reads a mesh. `normals_or_textures` is set if the file has some, which a mesh_data can't hold.
// Throws mesh_file_error, or std::bad_alloc.
inline void read_mesh(const std::string& filename, mesh_data& m, bool& normals_or_textures) {
    using namespace kv7;
    using namespace kv7::tessmaker;
    using namespace mesh_file_detail;
    normals_or_textures = false;
    const mesh_format_traits* const traits = format_of(filename);
    if (!traits || !traits->is_readable) {
        throw mesh_file_error(filename, "its ending is none of .stl .nas .bdf .dat .neu .obj");
    }
    m = mesh_data();
    const open_file file = open(filename, "rb");
    int code = 0;
    if (traits->format == mesh_format::nastran) {
        code = NASTRAN_input(file.get(), m.pos, m.connect, m.indices, m.types, m.pids);
    } else if (traits->format == mesh_format::femap) {
        code = FEMAP_input(file.get(), m.pos, m.connect, m.indices, m.types, m.pids);
        // After an element of unknown topology `indices` and `types` don't match.
        if (code >= 0 && std::find(m.types.begin(), m.types.end(), ET_UNKNOWN) != m.types.end()) {
            throw mesh_file_error(filename, "has elements of a topology that can't be read");
        }
    } else if (traits->format == mesh_format::stl) {
        dense2D<unsigned int> triangles;
        code = STL_input(file.get(), m.pos, triangles);
        add_run(triangles, ET_TRIA3, m);
    } else {
        dense2D<double> normals;
        dense2D<double> textures;
        dense2D<unsigned int> triangles;
        dense2D<unsigned int> quadrangles;
        code =
            WavefrontOBJ_input(filename.c_str(), m.pos, normals, textures, triangles, quadrangles);
        add_run(triangles, ET_TRIA3, m);
        add_run(quadrangles, ET_QUAD4, m);
        normals_or_textures = !normals.empty() || !textures.empty();
    }
    if (std::ferror(file.get())) throw mesh_file_error(filename, "can't be read");
    if (code == -198 || code == -199) {
        throw mesh_file_error(filename, "needs more memory than there is");
    }
    if (code < 0) {
        throw mesh_file_error(filename, std::string("not a readable ") + traits->name + " file");
    }
    if (m.types.empty()) m.indices.clear();
}

// Calls `visit(type, column)` for each element.
template <class Visit> void for_each_element(const mesh_data& m, const Visit& visit) {
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const auto type = static_cast<kv7::element_type>(m.types[k]);
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) visit(type, c);
    }
}

// The elements of one type, with the first `rows` of their nodes.
inline kv7::dense2D<unsigned int> elements_of(const mesh_data& m, kv7::element_type type,
                                              std::size_t rows) {
    std::size_t n = 0;
    for_each_element(m, [&](kv7::element_type t, unsigned int) { n += t == type ? 1U : 0U; });
    kv7::dense2D<unsigned int> result(n == 0 ? 0 : rows, n);
    expect_memory(result.cols() == n);
    std::size_t to = 0;
    for_each_element(m, [&](kv7::element_type t, unsigned int c) {
        if (t == type) std::copy_n(m.connect.column(c), rows, result.column(to++));
    });
    return result;
}

namespace mesh_file_detail {

// The elements in one array for each type that the mesh has and the format writes, in the order of
// the types.
inline void split_by_written_type(const mesh_data& m, const mesh_format_traits& out,
                                  std::vector<kv7::dense2D<unsigned int>>& connects,
                                  kv7::dense1D<int>& types) {
    std::array<bool, nbr_types> is_there{};
    for (const int type : m.types) is_there[static_cast<std::size_t>(type)] = true;
    for (const type_row& row : type_rows()) {
        const kv7::element_type as = out.written_as(row.type);
        if (!is_there[static_cast<std::size_t>(row.type)] || as == kv7::ET_UNKNOWN) continue;
        connects.push_back(elements_of(m, row.type, kv7::tessmaker::nbr_nodes(as)));
        expect_memory(types.push_back(as));
    }
}

inline kv7::dense2D<unsigned int> joined(const std::vector<kv7::dense2D<unsigned int>>& connects,
                                         const kv7::dense1D<int>& types, kv7::element_type type) {
    kv7::dense2D<unsigned int> all;
    for (std::size_t k = 0; k < connects.size(); ++k) {
        if (types[k] == type) expect_memory(connects[k].empty() || all.append(connects[k]));
    }
    return all;
}

// Appends the two triangles into which its first diagonal cuts each quadrangle.
inline void append_halves(const kv7::dense2D<unsigned int>& quadrangles,
                          kv7::dense2D<unsigned int>& triangles) {
    std::size_t to = triangles.cols();
    expect_memory(quadrangles.empty() || triangles.resize(3, to + 2 * quadrangles.cols()));
    for (std::size_t c = 0; c < quadrangles.cols(); ++c) {
        const unsigned int* const q = quadrangles.column(c);
        for (const std::size_t last : {2U, 3U}) {
            unsigned int* const t = triangles.column(to++);
            t[0] = q[0];
            t[1] = q[last - 1];
            t[2] = q[last];
        }
    }
}

// The runs for a format that holds runs. Types that it can't hold are left out.
inline mesh_data written_runs(const mesh_data& m, const mesh_format_traits& traits) {
    mesh_data out;
    out.pos = m.pos;
    expect_memory(out.indices.push_back(0));
    kv7::dense1D<unsigned int> kept;
    kv7::element_type last = kv7::ET_UNKNOWN;
    for_each_element(m, [&](kv7::element_type type, unsigned int c) {
        const kv7::element_type as = traits.written_as(type);
        if (as == kv7::ET_UNKNOWN) return;
        if (as != last) {
            if (last != kv7::ET_UNKNOWN) {
                expect_memory(out.indices.push_back(static_cast<unsigned int>(kept.size())));
            }
            expect_memory(out.types.push_back(as));
            last = as;
        }
        expect_memory(kept.push_back(c) && out.pids.push_back(m.pids[c]));
    });
    if (!kept.empty()) {
        expect_memory(out.indices.push_back(static_cast<unsigned int>(kept.size())));
        expect_memory(out.connect.append(m.connect, kept));
    }
    return out;
}

} // namespace mesh_file_detail

// Removes elements with nodes that the file does not have, which no format can hold. Returns their
// number.
inline std::size_t drop_incomplete(mesh_data& m) {
    const auto is_complete = [&](kv7::element_type type, unsigned int c) {
        const unsigned int* const nodes = m.connect.column(c);
        const std::size_t n = kv7::tessmaker::nbr_nodes(type);
        return std::all_of(nodes, nodes + n, [&](unsigned int id) { return id < m.pos.cols(); });
    };
    std::size_t nbr_incomplete = 0;
    mesh_data rest;
    kv7::dense1D<unsigned int> kept;
    expect_memory(rest.indices.push_back(0));
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const auto type = static_cast<kv7::element_type>(m.types[k]);
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            if (is_complete(type, c)) {
                expect_memory(kept.push_back(c) && rest.pids.push_back(m.pids[c]));
            } else {
                ++nbr_incomplete;
            }
        }
        expect_memory(rest.types.push_back(type) &&
                      rest.indices.push_back(static_cast<unsigned int>(kept.size())));
    }
    if (nbr_incomplete == 0) return 0;
    expect_memory(kept.empty() || rest.connect.append(m.connect, kept));
    rest.pos = m.pos;
    m = rest;
    return nbr_incomplete;
}

// Writes a mesh whose elements have only nodes that are columns of `pos`. Throws mesh_file_error,
// or std::bad_alloc.
inline void write_mesh(const std::string& filename, const mesh_data& m) {
    using namespace kv7;
    using namespace kv7::tessmaker;
    using namespace mesh_file_detail;
    const mesh_format_traits* const traits = format_of(filename);
    if (!traits) {
        throw mesh_file_error(
            filename, "its ending is none of .stl .nas .bdf .dat .neu .obj .mesh .geo .vtk");
    }
    std::vector<dense2D<unsigned int>> connects;
    dense1D<int> types;
    split_by_written_type(m, *traits, connects, types);
    const dense2D<unsigned int>* const begin = connects.data();
    const dense2D<unsigned int>* const end = begin + connects.size();

    // Opened here also for functions that take a name, to say why it can't be written.
    open_file file = open(filename, "wb");
    int code = 0;
    switch (traits->format) {
    case mesh_format::stl: {
        dense2D<unsigned int> triangles = joined(connects, types, ET_TRIA3);
        append_halves(joined(connects, types, ET_QUAD4), triangles);
        dense2D<double> pos = m.pos;
        if (!pos.empty() && pos.rows() < 3) {
            pos = dense2D<double>();
            expect_memory(pos.copy(m.pos) && pos.resize(3, m.pos.cols(), 0.0));
        }
        code = STL_output(file.get(), pos, triangles, false);
        break;
    }
    case mesh_format::nastran:
    case mesh_format::femap: {
        const mesh_data out = written_runs(m, *traits);
        if (traits->format == mesh_format::nastran) {
            code =
                NASTRAN_output(file.get(), out.pos, out.connect, out.indices, out.types, out.pids);
        } else {
            code = FEMAP_output(file.get(), out.pos, out.connect, out.indices, out.types, out.pids);
        }
        break;
    }
    case mesh_format::obj:
        code = WavefrontOBJ_output(filename.c_str(), m.pos, dense2D<double>(), dense2D<double>(),
                                   joined(connects, types, ET_TRIA3),
                                   joined(connects, types, ET_QUAD4));
        break;
    case mesh_format::medit: code = medit_output(filename.c_str(), m.pos, begin, end, types); break;
    case mesh_format::ensight:
        code = ensight_output(filename.c_str(), m.pos, begin, end, types);
        break;
    case mesh_format::vtk: code = vtk_output(filename.c_str(), m.pos, begin, end, types); break;
    }
    if (std::fclose(file.release()) != 0 || code < 0) {
        throw mesh_file_error(filename, "can't be written");
    }
}

#endif
