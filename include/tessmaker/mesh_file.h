// Meshes with all that comes with them in files, and reports of what files hold.
//
//   number    what a file calls a node or an element. It says nothing about the place: numbers may
//             have gaps and come in any order. The ID is the column in the arrays, from 0
//   runs      elements of several types in one array (formats.h)
//   keyword   the word by which a format names what a part of a file is: the name of a card, of a
//             section, of a kind of line
//   remark    a sentence on what a file and a mesh do not share
//   ending    of a path: what follows the last point in its last name; case does not count
//
// Nothing is printed. Text means the same in every locale.
#ifndef TESSMAKER_MESH_FILE_H
#define TESSMAKER_MESH_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// IDs of nodes or elements under a name: a group, a solid of an STL file, a set.
struct named_set {
    std::string name;
    dense1D<unsigned int> ids; // ascending
};

enum class field_place { nodes, elements };

// A field: a column of values per node or per element, a row per component. Symmetric tensors have
// the rows of a metric: xx, xy, yy in 2D, xx, xy, yy, xz, yz, zz in 3D.
struct field {
    std::string name;
    field_place at = field_place::nodes;
    dense2D<double> values;
};

// A mesh. Copies share the arrays, as copies of arrays do.
//
//   pos              a column per node, 2 or 3 rows
//   connect          a column per element and as many rows as the largest needs, absent IDs below
//                    the nodes of the others
//   indices, types   the runs. Without elements `types` is empty, and `indices` is empty or holds a
//                    0 alone
//   pids             a property number per element
//   node_numbers     a number per node; or empty, then node k has the number k + 1
//   element_numbers  a number per element; or empty, then element k has the number k + 1
struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    dense1D<unsigned int> indices;
    dense1D<int> types;
    dense1D<unsigned int> pids;
    dense1D<unsigned int> node_numbers;
    dense1D<unsigned int> element_numbers;
    std::vector<named_set> node_sets;
    std::vector<named_set> element_sets;
    std::vector<field> fields;
};

enum class file_format {
    unknown,
    stl_text,
    stl_binary,
    nastran,      // bulk data
    femap,        // neutral file
    obj,          // Wavefront
    medit,        // text
    ensight,      // geometry file
    ensight_case, // the file that names a geometry file and its fields
    vtk,          // legacy file
    vtu           // XML file of an unstructured grid
};

// The name for people: "NASTRAN", "binary STL". Static text; "unknown" for any other value.
TESSMAKER_API const char* format_name(file_format format);

// The format that the ending of a path stands for:
//
//   .stl                              stl_binary
//   .nas .bdf .dat .fem .blk .nastran  nastran
//   .neu                              femap
//   .obj                              obj
//   .mesh                             medit
//   .geo                              ensight
//   .case                             ensight_case
//   .vtk                              vtk
//   .vtu                              vtu
//
// and `unknown` for all others, for none and for a null path. No file is looked at.
TESSMAKER_API file_format format_by_ending(const char* path);

// The format of the file at a path. Where the ending alone doesn't decide, the beginning of the
// file does, if it is a regular file:
//
//   .stl                      text or binary. A file that has the size which the count of facets in
//                             its 84th byte asks for is binary, whatever it begins with
//   .dat                      any format but STL and OBJ that can be told by its beginning; else
//                             nastran
//   an ending of no format,   any format that can be told by its beginning, a bare NASTRAN deck
//   or none                   among them; else unknown
//
// A path whose ending decides needn't exist; nor one of .stl and .dat, which is then
// format_by_ending. No pipe or device is opened. Unknown for a null path.
TESSMAKER_API file_format format_of(const char* path);

// How much a remark tells.
enum class remark_kind {
    error,   // here the work stopped; what was expected
    lost,    // left out
    changed, // kept in another form
    note     // nothing is wrong, and the user may want to know
};

struct remark {
    remark_kind kind = remark_kind::note;
    std::string keyword;      // what it is about; empty for the file or the mesh as a whole
    std::uint64_t count = 0;  // how many there are
    std::string file;         // where the first of them stands: the file itself or one it includes
    std::uint64_t line = 0;   // and its line, from 1; 0 where lines mean nothing
    std::uint64_t column = 0; // of an error in a line, from 1; else 0
    // All of this in words, in ASCII but for names of files:
    // "CBUSH: 96 not read, first in line 1234: no mesh element",
    // "wing.bdf, line 12, column 17: a real number is expected".
    std::string sentence;
};

// How often a file has a keyword, and how often what it stands for was read.
struct keyword_count {
    std::string keyword;
    std::uint64_t seen = 0;
    std::uint64_t read = 0;
};

// What is to be said on a file after it was read or written. Control characters in keywords become
// question marks, and long keywords are cut, so that a report can be shown as it is. In a file with
// thousands of different keywords those met last are counted together.
struct file_report {
    // The path, as it was given; empty for a stream.
    const std::string& file() const noexcept { return file_; }
    file_format format() const noexcept { return format_; }

    // In the order of their first line; those without a line follow, in the order in which the work
    // met them. An error is the last.
    const std::vector<remark>& remarks() const noexcept { return remarks_; }
    // In the order in which the file brings them first. Empty after writing.
    const std::vector<keyword_count>& counts() const noexcept { return counts_; }

    // The remark of kind `error`; null if there is none.
    const remark* error() const noexcept {
        const bool has_failed = !remarks_.empty() && remarks_.back().kind == remark_kind::error;
        return has_failed ? &remarks_.back() : nullptr;
    }
    // Whether anything was left out.
    bool has_lost() const noexcept {
        for (const remark& r : remarks_) {
            if (r.kind == remark_kind::lost) return true;
        }
        return false;
    }

private:
    friend class report_builder;
    std::string file_;
    file_format format_ = file_format::unknown;
    std::vector<remark> remarks_;
    std::vector<keyword_count> counts_;
};

} // namespace kv7::tessmaker

#endif
