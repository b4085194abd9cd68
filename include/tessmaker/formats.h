// Mesh files: readers and writers. The writers for viewers stand in a part of this header,
// formats/viewer_files.h.
//
//   node          a column of `pos`; named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node
//   runs          elements of several types in one array: `connect` has a column per element and as
//                 many rows as the largest needs, absent IDs below the nodes of the others. Run k
//                 holds the columns from indices[k] up to, not including, indices[k + 1], all of
//                 the element_type types[k]. `indices` begins with 0, ends with the number of
//                 columns and has one entry more than `types`. `pids` holds a property number per
//                 column
//   valid run     doesn't end before it begins or beyond `connect`; holds no absent ID where its
//                 type has none; and `connect` has enough rows: those of a plain type, at least 4
//                 for ET_FACE_MIX, exactly 8 for ET_SOLID_MIX
//   list          `begin`, `end`: a plain array of connectivities, `end` behind the last, with an
//                 element_type for each in `types`. Connectivities may be empty. Overloads with one
//                 or two connectivities are short for such a list
//   bad file      one that can't be opened; bad stream: a null one, or one in an error state
//
// Functions take a file name or an open stream. A stream that the caller opened stays open. A file
// opened by name is closed again, unless a function says otherwise. The NASTRAN and FEMAP functions
// leave it open until the process ends, and until then the end of what was written may wait in
// memory; where that matters, pass a stream.
//
// Text is read and written the same way in every locale. Node IDs and references are written up to
// 2^32 - 1. Unless a function says otherwise, it does not report that the system failed to take the
// text, as on a full disk. One that flushes a stream does: after 0 nothing waits in the stream that
// could still fail.
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_FORMATS_H
#define TESSMAKER_FORMATS_H

#include <cstdio>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats/viewer_files.h"

namespace kv7::tessmaker {

// Reads a triangle surface from an STL file, text or binary, all solids of it as one mesh, and
// welds it: nodes closer than a twentieth of the smallest height of a triangle become one;
// collapsed triangles and unused nodes are removed. Normals in the file have no influence.
//
// The file is read as text, and as binary if it breaks the text grammar. A stream should be opened
// in binary mode; reading starts at its position and leaves it behind what was read. A stream that
// can't be put back to where it stood, such as a pipe, is read as text only.
//
//   pos      out: 3 rows
//   connect  out: 3 rows, an ET_TRIA3 mesh
//
// Returns 0, or
//   -1    a bad file or stream
//   -2    a binary header shorter than 80 bytes; if only text could be tried, no `solid` line
//   -3    a truncated binary file; if only text could be tried, a broken grammar
//   -198  out of memory
//   -199  out of memory
// If memory fails while a text is welded, -2 and -3 are possible too. On failure both outputs are
// empty.
TESSMAKER_API int STL_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect);
TESSMAKER_API int STL_input(const char* filename, dense2D<double>& pos,
                            dense2D<unsigned int>& connect);

// Writes a triangle surface as STL, as text or binary (little-endian, coordinates rounded to
// float). Normals follow the orientation of the triangles; that of a degenerate one is zero. An
// empty mesh gives a valid file without facets. The stream is flushed: after 0 nothing waits in it
// that could still fail. The file is created before the arguments are checked.
//
// Returns 0, or
//   -1    a bad file or stream, or a write failed
//   -2    `pos` has not 3 rows
//   -3    `connect` has not 3 rows, or holds an ID that is no column of `pos`
TESSMAKER_API int STL_output(std::FILE* file, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, bool text);
TESSMAKER_API int STL_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, bool text);

// Reads the nodes and elements of a NASTRAN bulk data file, in small, large and free fields. These
// cards are read: GRID and, with or without a leading C, BAR, BEAM, ROD, TRIA3, TRIA6, QUAD4,
// QUAD8, TETRA, PYRA (or PYRAM), PENTA and HEXA. All others are skipped, and so is an element whose
// number of nodes fits no type. Bulk data is looked for from the first line on, up to the end of
// the file or to ENDDATA; a stream is left behind that line.
//
// Node `id` of the file becomes column `id - 1` of `pos`, which gets 3 rows; columns of unused IDs
// hold zeros. IDs of elements are dropped. Node numbers of elements are not compared with the
// nodes.
//
//   runs                 a run ends wherever the type changes. Without elements `indices` is (0,
//                        0), one entry more than can be written
//   one connectivity     `type` is that of all elements: ET_FACE_MIX or ET_SOLID_MIX if they are
//                        linear and of one dimension, or ET_UNKNOWN. `connect` is as for runs.
//                        Without elements the overload for a stream leaves `type` unchanged
//   two connectivities   the first two runs, as views of one array; the rest is lost. Outputs
//                        without a run are left unchanged by the overload for a stream; the other
//                        one empties them, with ET_UNKNOWN
//
// Returns 0, or
//   -1    a bad file or stream; a GRID card with ID 0; a GRID card in free fields that can't be
//         read
//   -199  out of memory for `pos` or `connect`, also for a node ID whose columns are beyond the
//         memory of the machine or of its container
// On failure the arrays hold what was read before; `type` and the outputs of two connectivities are
// not set.
//
// Memory failure for `indices`, `types` or `pids` is not reported: the result may be 0, `pos` and
// `connect` are whole, and of these lists the entries for which memory failed are missing, so that
// later entries stand too early. Lists that fit together have one entry more in `indices` than in
// `types`, the number of columns as the last entry of `indices`, and an entry in `pids` per column.
// In the short forms `type` and the two connectivities follow from such lists.
TESSMAKER_API int NASTRAN_input(std::FILE* file, dense2D<double>& pos,
                                dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& indices,
                                dense1D<int, 8>& types, dense1D<unsigned int, 8>& pids);
TESSMAKER_API int NASTRAN_input(std::FILE* file, dense2D<double>& pos,
                                dense2D<unsigned int>& connect, element_type& type);
TESSMAKER_API int NASTRAN_input(std::FILE* file, dense2D<double>& pos,
                                dense2D<unsigned int>& connect1, dense2D<unsigned int>& connect2,
                                element_type& type1, element_type& type2);
TESSMAKER_API int NASTRAN_input(const char* filename, dense2D<double>& pos,
                                dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& indices,
                                dense1D<int, 8>& types, dense1D<unsigned int, 8>& pids);
TESSMAKER_API int NASTRAN_input(const char* filename, dense2D<double>& pos,
                                dense2D<unsigned int>& connect, element_type& type);
TESSMAKER_API int NASTRAN_input(const char* filename, dense2D<double>& pos,
                                dense2D<unsigned int>& connect1, dense2D<unsigned int>& connect2,
                                element_type& type1, element_type& type2);

// Writes a mesh as a NASTRAN bulk data deck: nodes as GRID* cards with 7 digits, elements in free
// fields, numbered by their column. With 2 rows in `pos`, z is 0. Node IDs are not compared with
// `pos`.
//
// Elements lose the nodes that their card has no place for: ET_BAR3, ET_PYRA14, ET_PENTA18 and
// ET_HEXA27 become ET_BAR2, ET_PYRA13, ET_PENTA15 and ET_HEXA20. ET_UNKNOWN, ET_NODE and ET_BAR_MIX
// are left out. ET_QUAD9 gets a card without meaning. Read again, nodes 6 to 14 of an ET_PENTA15
// have another order.
//
// Runs. The file is created before the arguments are checked.
//
// Returns 0, also if a write fails, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows
//   -5    `indices` has not one entry more than `types`
//   -6    `pids` has not one entry per column
//   -3    a run is not valid
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect,
                                 const dense1D<unsigned int, 8>& indices,
                                 const dense1D<int, 8>& types,
                                 const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect,
                                 const dense1D<unsigned int, 8>& indices,
                                 const dense1D<int, 8>& types,
                                 const dense1D<unsigned int, 8>& pids);
// One connectivity, with property 1, or two, with the properties 1 and 2; the elements of the
// second are numbered on behind those of the first.
//
// Returns 0, also if a write fails, or
//   -1    a bad file or stream
//   -199  out of memory
//   -2    `pos` has neither 2 nor 3 rows
//   -3    a connectivity is no valid run of its type
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);

// Reads the nodes and elements of a FEMAP neutral file, blocks 403 and 404 in any order; everything
// else is skipped. Node `id` of the file becomes column `id - 1` of `pos`, which gets 3 rows;
// columns of unused IDs hold zeros. IDs of elements are dropped. Node numbers of elements are not
// compared with the nodes.
//
// Topologies are those of ET_NODE, ET_BAR2, ET_BAR3, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8,
// ET_TETRA4, ET_TETRA10, ET_PENTA6, ET_HEXA8 and ET_HEXA20. An element of any other is dropped, but
// it puts an ET_UNKNOWN in `types`, and the type of the elements after it has no entry in
// `indices`: the two don't match then.
//
//   runs                 a run ends wherever the type changes
//   one connectivity     `type` is that of all elements, or ET_UNKNOWN; unchanged if the file can't
//                        be opened
//   two connectivities   `connect1` is a view on the first run, with all rows, `connect2` on the
//                        second; the rest is lost. Outputs without a run are left unchanged, and on
//                        failure all four are
//
// Returns 0, or
//   -1    the file can't be opened
//   -102  a line with too few fields, or a node with ID 0
//   -199  out of memory for a node, also for an ID whose columns are beyond the memory of the
//         machine or of its container
// On failure the arrays hold what was read before, and the element that was being read. Streams are
// not checked: one in an error state is read as far as it goes, a null stream reads as an empty
// one.
//
// Memory failure for `connect`, `indices`, `types` or `pids` is not reported: the result may be 0,
// and `pos` is whole. An element is lost if there is no memory for its column, and so is each entry
// of a list that finds none; later columns and entries then stand too early. Lost elements still
// have their property in `pids`, and `indices` counts them, so that it may lead beyond `connect`.
// Lists that fit together have one entry more in `indices` than in `types`, the number of columns
// as the last entry of `indices`, and an entry in `pids` per column. In the short forms elements
// can be missing, `type` and the two connectivities follow from such lists, and a run that leads
// beyond `connect` is an empty connectivity.
TESSMAKER_API int FEMAP_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                              dense1D<unsigned int, 8>& indices, dense1D<int, 8>& types,
                              dense1D<unsigned int, 8>& pids);
TESSMAKER_API int FEMAP_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                              element_type& type);
TESSMAKER_API int FEMAP_input(std::FILE* file, dense2D<double>& pos,
                              dense2D<unsigned int>& connect1, dense2D<unsigned int>& connect2,
                              element_type& type1, element_type& type2);
TESSMAKER_API int FEMAP_input(const char* filename, dense2D<double>& pos,
                              dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& indices,
                              dense1D<int, 8>& types, dense1D<unsigned int, 8>& pids);
TESSMAKER_API int FEMAP_input(const char* filename, dense2D<double>& pos,
                              dense2D<unsigned int>& connect, element_type& type);
TESSMAKER_API int FEMAP_input(const char* filename, dense2D<double>& pos,
                              dense2D<unsigned int>& connect1, dense2D<unsigned int>& connect2,
                              element_type& type1, element_type& type2);

// Writes a mesh as a FEMAP neutral file: coordinates with 6 decimals, elements numbered by their
// column. With 2 rows in `pos`, z is 0. Types that `FEMAP_input` doesn't know are left out, also
// from mixed runs. Without elements nothing is written. The corners of ET_TRIA6 are written as
// 0-based numbers, where all other numbers count from 1. Node IDs are not compared with `pos`.
//
// Runs. The file is created before the arguments are checked.
//
// Returns 0, also if a write fails, and for an empty `connect` before any check of it, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows
//   -5    `indices` has not one entry more than `types`
//   -6    `pids` has not one entry per column
//   -3    a run is not valid
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect,
                               const dense1D<unsigned int, 8>& indices,
                               const dense1D<int, 8>& types, const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect,
                               const dense1D<unsigned int, 8>& indices,
                               const dense1D<int, 8>& types, const dense1D<unsigned int, 8>& pids);
// One connectivity, with property 1.
//
// Returns 0, also if a write fails, and for an empty `connect` before any check of it, or
//   -199  out of memory
//   -1    a bad file or stream; a bad file comes first
//   -2    `pos` has neither 2 nor 3 rows
//   -3    `connect` is no valid run of its type
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
// Two connectivities. Only one run is written: the first connect2.cols() columns of `connect1`
// followed by `connect2`, as elements of `type1`, with property 1 for those of `connect1`, 2 for
// those of `connect2`.
//
// Returns 0, also if a write fails, and if both are empty, or
//   -3    the two have different numbers of rows
//   -199  out of memory
//   -1    a bad file or stream; a bad file comes first
//   -2    `pos` has neither 2 nor 3 rows
//   -3    that run is not valid
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);

// Reads the vertices, normals, texture coordinates, triangles and quadrangles of a Wavefront OBJ
// file, in the order of the file. IDs are not checked against `pos` (see `check_IDs`): vertices may
// come behind the faces.
//
//   pos, normals    out: 3 rows, a column per line `v`, `vn`
//   textures        out: a column per line `vt`, 1 to 3 rows, as many as the first such line has
//                   numbers
//   connect_tri     out: 3 rows, 0-based IDs
//   connect_quad    out: 4 rows, 0-based IDs
//
// Texture and normal numbers of faces are dropped, after a check of their form and that a `vt` or
// `vn` line precedes them. Also dropped are faces of other than 3 or 4 corners, texture coordinates
// of another length than the first, numbers behind the third of a `v` line, and all other lines. In
// a face, a word that doesn't start with an integer is no corner; in other lines, the numbers end
// at the first word that is no number.
//
// Vertex number 0 becomes the number of vertices read so far. Negative numbers are not relative: -1
// becomes 0xFFFFFFFE. A face on a last line without a line ending is checked, but not stored. A
// column for which memory fails is lost. A stream is left at its end, or behind a bad line.
//
// Returns 0, or
//   -1    a bad file or stream; the outputs are empty
//   -2    a `v` line of fewer than 3 numbers, a `vn` line of other than 3, a `vt` line of more than
//         3; nothing at all behind one of the four words; a corner with text behind its numbers; a
//         texture or normal number before any line of that kind. The outputs hold what was read
//         before
TESSMAKER_API int WavefrontOBJ_input(std::FILE* file, dense2D<double>& pos,
                                     dense2D<double>& normals, dense2D<double>& textures,
                                     dense2D<unsigned int>& connect_tri,
                                     dense2D<unsigned int>& connect_quad);
TESSMAKER_API int WavefrontOBJ_input(const char* filename, dense2D<double>& pos,
                                     dense2D<double>& normals, dense2D<double>& textures,
                                     dense2D<unsigned int>& connect_tri,
                                     dense2D<unsigned int>& connect_quad);

// Writes a Wavefront OBJ file: vertices, texture coordinates, normals, triangles and quadrangles,
// in this order, numbers with 12 decimals. With 2 rows in `pos`, z is 0. Corners of faces name
// normals and textures by the number of their vertex. IDs are not checked against `pos`. The file
// is created before the arguments are checked. A stream is flushed.
//
//   normals       3 rows and a column per column of `pos`, or empty
//   textures      2 rows and a column per column of `pos`, or empty
//   connect_tri   3 rows, or empty
//   connect_quad  4 rows, or empty
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows, as when it is empty
//   -3    `normals` has another shape
//   -4    `textures` has another shape
//   -5    `connect_tri` has another number of rows, or holds an absent ID
//   -6    `connect_quad` has another number of rows, or holds an absent ID
//   -1    a write to the stream failed
TESSMAKER_API int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos,
                                      const dense2D<double>& normals,
                                      const dense2D<double>& textures,
                                      const dense2D<unsigned int>& connect_tri,
                                      const dense2D<unsigned int>& connect_quad);
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<double>& normals,
                                      const dense2D<double>& textures,
                                      const dense2D<unsigned int>& connect_tri,
                                      const dense2D<unsigned int>& connect_quad);
// The same without normals and textures. A connectivity of a type other than ET_TRIA3 and ET_QUAD4
// is skipped. If both have the same type, the columns of the second follow those of the first.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows, as when it is empty
//   -5    a connectivity of ET_TRIA3 has other than 3 rows, or holds an absent ID
//   -6    a connectivity of ET_QUAD4 has other than 4 rows, or holds an absent ID
//   -1    a write to the stream failed
TESSMAKER_API int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect1,
                                      const dense2D<unsigned int>& connect2, element_type type1,
                                      element_type type2);
TESSMAKER_API int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect1,
                                      const dense2D<unsigned int>& connect2, element_type type1,
                                      element_type type2);
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect, element_type type);

} // namespace kv7::tessmaker

#endif
