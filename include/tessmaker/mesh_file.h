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
// Nothing is printed, and nothing thrown. Text means the same in every locale. On memory failure of
// any kind a call returns -199; what it has told its report may be lost then.
#ifndef TESSMAKER_MESH_FILE_H
#define TESSMAKER_MESH_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// IDs of nodes or elements under a name: a group, a solid of an STL file, a set.
struct named_set {
    // As the file has it.
    std::string name;
    // Ascending.
    dense1D<unsigned int> ids;
};

// What has the values of a field.
enum class field_place { nodes, elements };

// A field: a column of values per node or per element, a row per component. Symmetric tensors have
// the rows of a metric: xx, xy, yy in 2D, xx, xy, yy, xz, yz, zz in 3D.
struct field {
    // As the file has it.
    std::string name;
    // Nodes or elements.
    field_place at = field_place::nodes;
    // A row per component.
    dense2D<double> values;
};

// A mesh. Copies share the arrays, as copies of arrays do.
//
//   pos              a column per node, 2 or 3 rows
//   connect          a column per element and as many rows as the largest needs, absent IDs below
//                    the nodes of the others
//   indices, types   the runs. Without elements `types` is empty, and `indices` is empty or holds a
//                    0 alone
//   pids             a property number per element; or empty, then all have the number 1
//   node_numbers     a number per node; or empty, then node k has the number k + 1
//   element_numbers  a number per element; or empty, then element k has the number k + 1
struct mesh {
    // As in the table above.
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    dense1D<unsigned int> indices;
    dense1D<int> types;
    dense1D<unsigned int> pids;
    dense1D<unsigned int> node_numbers;
    dense1D<unsigned int> element_numbers;
    // In the order of the file.
    std::vector<named_set> node_sets;
    std::vector<named_set> element_sets;
    std::vector<field> fields;
};

// Formats of mesh files.
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
//   .stl                      text, if it begins with `solid`, has no null in its first 84 bytes
//                             and not the size which these ask for as a binary file; else binary
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

// One sentence of a report, and what it is made of.
struct remark {
    // How much it tells.
    remark_kind kind = remark_kind::note;
    // What it is about; empty for the file or the mesh as a whole.
    std::string keyword;
    // How many there are.
    std::uint64_t count = 0;
    // Where the first of them stands: the file itself or one that it includes.
    std::string file;
    // Its line, from 1; 0 where lines mean nothing.
    std::uint64_t line = 0;
    // Of an error in a line, from 1; else 0.
    std::uint64_t column = 0;
    // All of this in words, in ASCII but for names of files:
    // "CBUSH: 96 not read, first in line 1234: no mesh element",
    // "wing.bdf, line 12, column 17: a real number is expected".
    std::string sentence;
};

// How often a file has a keyword, and how often what it stands for was read.
struct keyword_count {
    // As a report shows it.
    std::string keyword;
    // How often the file has it, and how often it was read.
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
    // Whether anything was left out, of whatever kind: true for nearly every deck of an analysis,
    // as materials and parameters are no part of a mesh. `counts` tells whether elements were.
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

// Reads a mesh with all that comes with it. Files of binary and text STL, NASTRAN, Wavefront OBJ,
// FEMAP (neutral), MEDIT and legacy VTK in text, and VTU can be read.
//
// Of every format:
//   - The nodes are those of the file, in its order, 3 rows. Memory goes with what is there, never
//     with a count that the file gives or with its largest number.
//   - The elements are those of the file, in its order, of plain types alone, and the nodes of each
//     stand in the order of element_type.h. Every node of an element is there. `indices` has one
//     entry more than `types`, also without elements, and `pids` has an entry per element: 1 where
//     the format has no properties.
//   - Numbers are there if the format has them.
//   - What is in the file and not in the mesh, or in another form, is told by remarks, but for
//     what is said below not to be looked at. `counts` of the report has every keyword of the file.
//
// STL: all solids are one mesh, welded as by STL_input: corners closer than a twentieth of the
// smallest height of a facet are one node. Solids with a name, and all of several, are sets of
// elements. Facets that collapse, and those with a coordinate that is no finite number, are left
// out. Normals are not looked at.
//
// NASTRAN: the bulk data, from BEGIN BULK to ENDDATA, or the whole of a deck without these lines.
//   - Fields are small, large or free; a deck may mix them. Case does not count. Continuations
//     follow their card.
//   - INCLUDE reads a regular file, looked for in the folder of the file that includes it, then in
//     that of the deck; to a depth of 16, and 10000 files in all.
//   - Nodes are those of GRID, in the basic coordinate system. They may be given in others (CORD1
//     and CORD2, each R, C and S); GRDSET tells in which if a node does not. A blank coordinate
//     is 0.
//   - Elements are those of CBAR, CBEAM, CROD, CONROD, CTUBE, CBEND, CTRIA3, CTRIAR, CTRIA6,
//     CQUAD4, CQUADR, CQUAD8, CQUAD, CSHEAR, CTETRA, CPYRAM, CPYRA, CPENTA, CHEXA, and of the short
//     names CTRIA, BAR, BEAM, ROD, TRIA3, TRIA6, QUAD4, QUAD8, TETRA, PYRAM, PYRA, PENTA, HEXA. One
//     with a blank mid-side node is linear.
//   - A blank property is that of BAROR for bars and of BEAMOR for beams, else the number of the
//     element. CONROD has none, that is 0.
//   - What is given again alike, a node or an element, is left out. To give it again with other
//     values breaks the rules, and so does an element with a node that is not there. Elements on
//     cards of different names may share a number.
//   - BAROR and BEAMOR, GRDSET and systems may be given again alike.
//   - All other cards are counted as lost, those of materials, loads and parameters too. What else
//     stands on the cards of nodes and elements, as constraints, orientations, offsets and
//     thicknesses, is not looked at. A deck of cards without a node breaks the rules.
//
// OBJ: vertices are nodes, used or not, and faces are triangles and quadrangles. A face of more
// corners is cut into triangles, by ear clipping as seen along its normal, also where it is concave
// or leads to a hole and back. Lines are bars, points are elements of type ET_NODE. Negative
// numbers count back from the last vertex so far; positive ones may be those of vertices to come.
// Corners that repeat the one before are left out. Groups and objects are sets of elements; an
// element is in the 64 groups that its `g` names first at most. Normals, textures, colors,
// materials and curves are left out.
//
// FEMAP: blocks 403 and 404 are read, wherever and however often they stand. The property is the
// third value of an element; nodes on edges are where the format puts them, and those of bricks
// where they lie, since FEMAP_output writes them in another order. If one is missing the element is
// linear. Elements of other topologies or without a corner, and what else stands on elements, as
// orientations and lists of nodes, are left out. A node may be given again alike. Coordinates are
// global ones. Numbers of elements may repeat. Empty blocks are an empty mesh, which is a remark; a
// file without a node of which something is left out breaks the rules.
//
// MEDIT: versions 1 to 4 in one, two or three dimensions. Elements of all linear sections, and
// EdgesP2, TrianglesP2, QuadrilateralsQ2, TetrahedraP2. Of PyramidsP2, PrismsP2 and HexahedraQ2,
// whose order of nodes is not known, the corners. References of elements are property numbers;
// those of nodes are left out. Hexahedra in which nodes coincide as `medit_output` has them are
// pyramids and wedges. Tetrahedra are turned, but for files of `medit_output`, known by their
// comment, which have them as they are here. Sections may come in any order.
//
// VTK: legacy files of unstructured grids, cells in the layout of version 5 or of those before.
// Linear and quadratic cells, pixels and voxels are elements; other cells are left out. Wedges are
// turned, but for files of `vtk_output`, known by their title, which have them as they are here; in
// these the sets of points that follow linear cells make them the quadratic elements they were.
// Quadratic wedges, which programs have in either way, are turned where they would be inside out;
// those of `write_mesh`, known by its title, always. Data at points and cells are fields, if they
// are numbers; nine components that are a symmetric tensor everywhere become six. The first arrays
// `property` and `element_number` at cells and `node_number` at points are those of the mesh and no
// fields, if all their values are whole numbers from 0 to 4294967295.
//
// VTU: all pieces, one behind the other, with the data that are in each that has points or cells.
// Arrays as text, inline or appended, the latter raw or in base64, in both byte orders. They may be
// compressed by zlib, if the library was built with it; other compressors are refused. Cells and
// data as of VTK, and linear wedges are turned always; files of `write_mesh` with quadratic ones
// are known by a comment.
// The file is held in memory while it is read.
//
//   path    of a file of any kind; its format is told by format_of
//   result  out: the mesh; empty on failure
//   report  out: what is to be said; on failure its error says what was expected, and where. If
//           memory fails it may be empty
//
// Returns 0, or
//   -1    no path; the file, or one that it includes, can't be opened; its format is not read or
//         can't be told; the system failed to read it
//   -102  the file breaks the rules of its format, or nothing of it is left
//   -199  out of memory
TESSMAKER_API int read_mesh(const char* path, mesh& result, file_report& report);
// The same from a stream in binary mode, from its position on. The stream, which may be a pipe, is
// left at its end, or after a failure somewhere behind the fault; behind a deck it is left
// somewhere behind ENDDATA. Both names of STL stand for both. Files that a deck includes are looked
// for in the working folder. In a deck from a pipe, lines before BEGIN BULK count as cards.
//
// Returns 0, or
//   -1    a stream that is null or in an error state
//   -2    a format that is not read
//   -1    the system failed to read the stream; a file that it includes can't be opened
//   -102  the file breaks the rules of its format, or nothing of it is left
//   -199  out of memory
TESSMAKER_API int read_mesh(std::FILE* file, file_format format, mesh& result, file_report& report);

// Reads the fields of a file beside that of a mesh, and appends them to the fields of the mesh. The
// file is text of one of two kinds, told apart by its first word:
//
//   with keywords   SolAtVertices of a MEDIT field file: scalars, vectors, symmetric tensors and
//                   full ones at the nodes, with the components that the dimension of the file
//                   asks for; if the mesh has another, as all that are read have three, this is
//                   told. Other sections are passed over and told
//   numbers alone   as medit_scalar, medit_vector and medit_tensor write it: the dimension, the
//                   number of components, that of values, and 2 for values at nodes or 1 for those
//                   at elements; then the values, which are one field
//
// A field has the name of the file without its ending, and if there are several, their number
// behind it. Values may be infinite, and nan.
//
//   path    of a file of any kind
//   target  in/out: the mesh; unchanged on failure
//   report  out: as of read_mesh
//
// Returns 0, or
//   -1    no path; the file can't be opened; the system failed to read it
//   -102  the file breaks the rules of its format, has no fields, or has another number of values
//         than the mesh has nodes or elements
//   -199  out of memory
TESSMAKER_API int read_fields(const char* path, mesh& target, file_report& report);

// How a mesh is written.
struct write_options {
    // The format of a file; `unknown` for that which the ending of its path stands for.
    file_format format = file_format::unknown;
    // Whether what the format can't hold may be left out.
    bool lossy = false;
    // Significant digits of numbers in text, from 1 to 17. With 17 the text is the shortest that is
    // read back as the same number.
    int digits = 17;
};

// Writes a mesh with all that comes with it.
//
// What the format can't hold is told by remarks of the kind `lost`. Without `options.lossy` it is
// an error, nothing is written, and a file of that name stays as it is. What is written in another
// form is told by remarks of the kind `changed`. Remarks have no line, and there are no counts.
//
//   STL    triangles, with their normals. In text, sets of elements are solids: elements in no set
//          come first, then set by set; of sets with elements in common the first is written.
//          Binary files have coordinates of type float, and no sets
//   OBJ    points, bars, triangles and quadrangles; sets of elements are groups, numbered where
//          their names would be the same
//   MEDIT  version 2: all elements but points, in a section for each type; properties are
//          references. ET_BAR3, ET_TRIA6, ET_QUAD9 and ET_TETRA10 are whole
//   VTK    text, and
//   VTU    all elements, in the order of VTK's cells; fields, where symmetric tensors have nine
//          components; properties as `property`, and numbers as `node_number` and
//          `element_number`, arrays of 32 bits
//   NASTRAN
//          bulk data: all elements but points, with numbers and properties. ET_BAR3 is a CBAR of
//          two nodes; a bar of property 0 is a CONROD. Large fields, of 16 characters, hold from 10
//          to 15 digits of a coordinate; one that has more is rounded, which is a remark
//   FEMAP  blocks 403 and 404: all elements but pyramids, with numbers and properties
//   EnSight
//          geometry of EnSight Gold in text, with numbers; each property is a part, in ascending
//          order. Coordinates have 6 digits at most. A case file names the geometry file, which has
//          its name with the ending .geo; both are replaced after both have been written, geometry
//          first. It can't be the standard output, and its name has neither quotes nor control
//          characters
//
// Where a format lacks a quadratic type, elements are written by the first of their nodes: those of
// the next smaller type that it has. Mixed types are written by the type of each column. Nodes
// stand in their order, in STL, OBJ, MEDIT and EnSight those alone that are in a written element.
// The third coordinate of nodes in 2D is 0, but MEDIT has 2D. Properties that are all 1, and
// numbers that say no more than the order, are never lost. Numbers that NASTRAN, FEMAP and EnSight
// don't allow, a 0 or one that stands twice, are a loss: all nodes, or all elements, have those of
// their order then. So is a property of 0 or 4294967295 in NASTRAN, which becomes 1.
//
// A file is replaced as a whole, after all of it has been written beside it; links are followed,
// and the mode is kept. Devices, pipes and the standard output are written straight.
//
//   path     of the file; `-` is the standard output
//   m        the mesh. Its arrays may have gaps between their columns
//   options  see above
//   report   out: what is to be said. If memory fails it may be empty
//
// Returns 0, or
//   -1    no path, or one that a case file can't have; or a format that is not written, or that
//         nothing tells
//   -2    `pos` has neither 2 nor 3 rows, or a coordinate is no finite number
//   -2    `indices` doesn't begin with 0, go up, and end with the number of columns of `connect`;
//         or it has not one entry more than `types`
//   -2    a run with columns is of no known type, or of one that needs more rows
//   -2    a node of an element is not there
//   -2    `pids`, `node_numbers` or `element_numbers` is not empty and has not an entry per element
//         or node
//   -2    the IDs of a set are not ascending, or one of them is not there
//   -2    a field has not a column per node or element, or has columns without rows
//   -3    `options.digits` is not from 1 to 17
//   -3    something would be lost, and `options.lossy` is not set
//   -1    the file can't be opened, or the system failed to write it
//   -199  out of memory
TESSMAKER_API int write_mesh(const char* path, const mesh& m, const write_options& options,
                             file_report& report);
// The same to a stream in binary mode, in a format that is named; options.format is not looked at.
// The stream is flushed. After a failure of the system or of memory the file, or a part of it, may
// be in the stream.
//
// Returns 0, or
//   -1    a stream that is null or in an error state
//   -2    a format that is not written, or not to a stream, as a case file
//   -3    a fault of the mesh, as above
//   -4    `options.digits` is not from 1 to 17
//   -4    something would be lost, and `options.lossy` is not set
//   -1    the system failed to write it
//   -199  out of memory
TESSMAKER_API int write_mesh(std::FILE* file, file_format format, const mesh& m,
                             const write_options& options, file_report& report);

// Writes the fields at the nodes of a mesh as a MEDIT field file, `SolAtVertices` in text: the
// mirror of read_fields. It stands beside the mesh that write_mesh writes as MEDIT: nodes which
// that leaves out have no values here either. Scalars, vectors, symmetric tensors and full ones,
// told by the number of components and the dimension of the mesh, are written; other fields, and
// those at elements, are lost. So are values of nodes that are left out. Names are not written,
// which is a remark.
//
// A file is replaced as by write_mesh, and what would be lost is an error as there.
//
//   path     of the file; `-` is the standard output
//   m        the mesh
//   options  see above; `format` is not looked at
//   report   out: what is to be said. If memory fails it may be empty
//
// Returns 0, or
//   -1    no path
//   -2    a fault of the mesh, as above; or it has no field that can be written
//   -3    `options.digits` is not from 1 to 17
//   -3    something would be lost, and `options.lossy` is not set
//   -1    the file can't be opened, or the system failed to write it
//   -199  out of memory
TESSMAKER_API int write_fields(const char* path, const mesh& m, const write_options& options,
                               file_report& report);

} // namespace kv7::tessmaker

#endif
