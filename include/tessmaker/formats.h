// Mesh files: readers and writers.
//
// Functions take a file name or an open stream. -1 says that the file can't be opened, or that the
// stream is null or in an error state. A stream that the caller opened stays open. A file opened by
// name is closed again, unless a function says otherwise. The NASTRAN and FEMAP functions leave it
// open until the process ends, and the end of what was written may wait in memory until then; where
// that matters, pass a stream.
//
// Text is read and written the same way in every locale. In `pos` a column is a node.
//
// Elements of several types travel in one array, in runs. `connect` has a column for each element
// and as many rows as the largest needs; 0xFFFFFFFF below the nodes of the others. Run k holds the
// columns `indices[k]` up to, not including, `indices[k + 1]`, all of the `element_type`
// `types[k]`: `indices` begins with 0, ends with the number of columns and has one entry more than
// `types`. `pids` holds a property number for each column.
//
// The writers of MEDIT, EnSight and VTK take a list of connectivities instead: `begin` and `end`
// bound a plain array of them, with `types` one element_type for each, and the forms with one or
// two connectivities are short for such a list. Empty connectivities are allowed. Node IDs and
// references are written up to 2^32 - 1. A failure of the system to take the text is not reported.
#ifndef TESSMAKER_FORMATS_H
#define TESSMAKER_FORMATS_H

#include <cstdio>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Reads a triangle surface from an STL file, text or binary, all solids of it as one mesh, and
// welds it: nodes closer than a twentieth of the smallest height of a triangle become one,
// collapsed triangles and unused nodes go. `pos` gets 3 rows, `connect` 3 rows of an ET_TRIA3 mesh.
// Normals in the file have no influence.
//
// The file is read as text, and as binary where it breaks the text grammar. A stream should be
// opened in binary mode; reading starts where it stands and leaves it behind what was read. A
// stream that can't be put back to where it stood, such as a pipe, is read as text only.
// Returns 0; -1: see above; -2: a binary header shorter than 80 bytes; -3: a truncated binary file;
// -198, -199: out of memory; where it fails in welding a text, also -2 or -3. On failure both
// outputs are empty. Where only text could be tried, -2 is a missing `solid` line and -3 a broken
// grammar.
TESSMAKER_API int STL_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect);
TESSMAKER_API int STL_input(const char* filename, dense2D<double>& pos,
                            dense2D<unsigned int>& connect);

// Writes a triangle surface as STL, text or binary (little-endian, coordinates rounded to float).
// `pos`: 3 rows. `connect`: 3 rows. Normals follow the orientation of the triangles; that of a
// degenerate one is zero. An empty mesh gives a valid file without facets. The stream is flushed:
// after 0 nothing waits in it that could still fail.
// Returns 0; -1: see above, or a write failed; -2: `pos` has not 3 rows; -3: `connect` has not 3
// rows, or an ID that is no column of `pos`. The file is created before the arguments are checked.
TESSMAKER_API int STL_output(std::FILE* file, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, bool text);
TESSMAKER_API int STL_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, bool text);

// Reads the nodes and elements of a NASTRAN bulk data file, in small, large and free fields. Every
// card but GRID and those of BAR, BEAM, ROD, TRIA3, TRIA6, QUAD4, QUAD8, TETRA, PYRA (or PYRAM),
// PENTA and HEXA, with or without a leading C, is skipped, and so is an element whose node count
// fits no type. Bulk data is looked for from the first line on, up to ENDDATA, behind which a
// stream is left, or the end of the file.
//
// `pos` gets 3 rows; node `id` of the file is column `id - 1`, zeros where an ID is not in use. An
// element's ID is dropped. Node numbers of elements are not compared with the nodes there are.
//
// With all runs: a run ends wherever the type changes. Without any element `indices` is 0, 0, one
// entry more than can be written. With one connectivity: `type` is that of all elements,
// ET_FACE_MIX or ET_SOLID_MIX if they are linear and of one dimension, or ET_UNKNOWN, with
// `connect` as above; where there is no element, the overload for a stream leaves it as it is. With
// two: the first two runs, as views of one array; the rest is lost. Outputs that there is no run
// for stay as they are in the overload for a stream, and are emptied, with ET_UNKNOWN, in the
// other.
//
// Returns 0; -1: see above, or a GRID card with ID 0, or one in free fields that can't be read;
// -199: out of memory, also for an ID that this machine has no memory for. On failure the arrays
// hold what was read before; neither the type of one connectivity nor any of two is given out.
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
// fields, numbered by their column. `pos`: 2 or 3 rows; z is 0 for 2. With one connectivity the
// property of all elements is 1; with two it is 1 for the first and 2 for the second, and the
// second is numbered on behind the first.
//
// Elements lose the nodes that their card has no place for: ET_BAR3, ET_PYRA14, ET_PENTA18 and
// ET_HEXA27 become ET_BAR2, ET_PYRA13, ET_PENTA15 and ET_HEXA20. ET_UNKNOWN, ET_NODE and ET_BAR_MIX
// are left out. ET_QUAD9 gets a card without meaning. Read again, nodes 6 to 14 of an ET_PENTA15
// have another order.
//
// Returns 0, also if a write fails; -1: see above; -199: out of memory, with one connectivity or
// two; -2: `pos` has neither 2 nor 3 rows; -5: `indices` has not one entry more than `types`; -6:
// `pids` has not one entry for each column; -3: a run that ends before it begins or beyond
// `connect`, that has fewer rows than its type needs, an absent ID in a plain type or where a mixed
// type has none, an ET_FACE_MIX run of fewer than 4 rows, an ET_SOLID_MIX run of other than 8. Node
// IDs are not compared with `pos`. The checks come in this order; a file is created before them.
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect,
                                 const dense1D<unsigned int, 8>& indices,
                                 const dense1D<int, 8>& types,
                                 const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int NASTRAN_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect,
                                 const dense1D<unsigned int, 8>& indices,
                                 const dense1D<int, 8>& types,
                                 const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);

// Reads the nodes and elements of a FEMAP neutral file, blocks 403 and 404 in any order; everything
// else is skipped. `pos` gets 3 rows; node `id` of the file is column `id - 1`, zeros where an ID
// is not in use. An element's ID is dropped. Node numbers of elements are not compared with the
// nodes there are.
//
// Topologies are those of ET_NODE, ET_BAR2, ET_BAR3, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8,
// ET_TETRA4, ET_TETRA10, ET_PENTA6, ET_HEXA8 and ET_HEXA20. An element of any other is dropped, but
// puts an ET_UNKNOWN in `types`, and what follows it in a type without an entry in `indices`: the
// two don't match then. With all runs: a run ends wherever the type changes. With one connectivity:
// `type` is that of all elements, or ET_UNKNOWN. With two: `connect1` is a view on the first run,
// with all rows, `connect2` on the second, and the rest is lost; what there is no run for stays as
// it is, and all four do on failure. Where the file can't be opened, `type` stays as it is, too.
// Returns 0; -1: the file can't be opened; -102: a line with too few fields, or a node with ID 0;
// -199: out of memory for a node, by an ID far beyond the number of nodes too. On failure the
// arrays hold what was read before, and an element that broke off. A stream in an error state is
// read as far as it goes; a null stream reads as an empty one.
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

// Writes a mesh as a FEMAP neutral file, coordinates with 6 decimals, elements numbered by their
// column. `pos`: 2 or 3 rows; z is 0 for 2. Types that `FEMAP_input` doesn't know are left out,
// also from mixed runs. With one connectivity the property of all elements is 1. Without elements
// nothing is written.
//
// The corners of ET_TRIA6 are written as 0-based numbers, where all other numbers count from 1.
// With two connectivities, of equal rows, only one run is written: the first `connect2.cols()`
// columns of `connect1` followed by `connect2`, as elements of `type1`; property 1 for those of
// `connect1`, 2 for those of `connect2`. Returns 0, also if a write fails, and for an empty
// `connect` before anything is checked; -1: see above; -2: `pos` has neither 2 nor 3 rows; -3: a
// run with fewer rows than its type needs, with an absent ID in a plain type or where a mixed type
// has none, that ends before it begins or reaches beyond `connect`; an ET_FACE_MIX run of fewer
// than 4 rows, an ET_SOLID_MIX run of other than 8; two connectivities of different rows; -5:
// `indices` has not one entry more than `types`; -6: `pids` has not one entry for each column;
// -199: out of memory, with one or two connectivities. The checks come in the order -1, -2, -5, -6,
// -3; before them come different rows and -199. Node IDs are not compared with `pos`. A file is
// created before the arguments are checked.
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect,
                               const dense1D<unsigned int, 8>& indices,
                               const dense1D<int, 8>& types, const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int FEMAP_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect,
                               const dense1D<unsigned int, 8>& indices,
                               const dense1D<int, 8>& types, const dense1D<unsigned int, 8>& pids);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);

// Reads the vertices, normals, texture coordinates, triangles and quadrangles of a Wavefront OBJ
// file. `pos` and `normals` get 3 rows, `textures` 1 to 3, as its first line has; one column for
// each line `v`, `vn`, `vt`. `connect_tri` gets 3 rows, `connect_quad` 4; IDs are 0-based. All
// columns stand in the order of the file.
//
// Texture and normal numbers of faces are checked for form, and for a `vt` or `vn` line anywhere
// before them, and are dropped. Faces of other than 3 or 4 corners are dropped, and so are texture
// coordinates of another length than the first, numbers behind the third of a `v` line, and all
// other lines. A word of a face that doesn't start with an integer counts as no corner, a word that
// is no number ends a line of numbers.
//
// IDs are not checked against `pos` (see `check_IDs`): vertices may stand behind the faces. Vertex
// number 0 becomes the number of vertices read so far; negative numbers are not relative, -1
// becomes 0xFFFFFFFE. A face on a last line that has no line ending is checked, but not stored.
// Returns 0; -1: see above; -2: a `v` line of fewer than 3 numbers, a `vn` line of other than 3, a
// `vt` line of more than 3; nothing at all behind one of the four words; a corner with text behind
// its numbers; a texture or normal number before any line of that kind. On failure the outputs hold
// what was read so far, and after -1 nothing. A column that finds no memory is lost.
TESSMAKER_API int WavefrontOBJ_input(const char* filename, dense2D<double>& pos,
                                     dense2D<double>& normals, dense2D<double>& textures,
                                     dense2D<unsigned int>& connect_tri,
                                     dense2D<unsigned int>& connect_quad);

// Writes a Wavefront OBJ file: vertices, texture coordinates, normals, triangles, quadrangles, in
// this order and nothing else, numbers with 12 decimals. `pos`: 2 or 3 rows; z is 0 where there are
// 2. `normals`: 3 rows, or empty. `textures`: 2 rows, or empty. Both have a column for each of
// `pos`, and corners of faces name them by the number of their vertex. `connect_tri`: 3 rows,
// `connect_quad`: 4, either may be empty; their IDs are not checked against `pos`.
// Returns 0, also when a write failed; -1: see above; -2: `pos` has neither 2 nor 3 rows, as when
// it is empty; -3, -4: `normals`, `textures` of another shape; -5, -6: `connect_tri`,
// `connect_quad` of other rows, or with an ID 0xFFFFFFFF. The file is created before the arguments
// are checked.
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<double>& normals,
                                      const dense2D<double>& textures,
                                      const dense2D<unsigned int>& connect_tri,
                                      const dense2D<unsigned int>& connect_quad);
// The same without normals and textures. A connectivity of a type other than ET_TRIA3 and ET_QUAD4
// is passed over. Of two of one type, the columns of the second follow those of the first.
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect1,
                                      const dense2D<unsigned int>& connect2, element_type type1,
                                      element_type type2);
TESSMAKER_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned int>& connect, element_type type);

// Writes a mesh for the MEDIT viewer. Every element has a reference: the place of its connectivity
// in the list, from 0, or its colour. Of an element only the corners are written; pyramids and
// wedges go out as degenerate hexahedra. Elements stand by type, in the order of `element_type`,
// each type in a section of its own; within it they keep their order, those of a mixed connectivity
// too, and with colours the lower colour comes first. ET_PYRA13, ET_PENTA15, ET_NODE and ET_BAR_MIX
// are checked and left out, and so are elements of colour 0xFFFFFFFF, which are not even checked.
// `pos`: 1 to 3 rows. `colors`: one per column of `connect`.
// Returns 0, in the form with colours also for an empty `connect`, without a file; -1: the file
// can't be opened; -2: rows of `pos`; -4: `end` lies before `begin`; -5: the range has not as many
// members as `types`, or `connect` not as many columns as `colors`; -3: a connectivity fails
// check_IDs; -6: out of memory, for colours; -199: out of memory, for a mixed type. The file is
// only touched after all checks; with colours -5 and -6 come before -2.
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                               const dense1D<int, 8>& types);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type,
                               const dense1D<unsigned int, 8>& colors);

// Write a field for a MEDIT mesh of dimension `dim`, which goes to the header unchecked: one value
// per node, or one column per node, as many rows as there are. A tensor has 3 rows in 2D and 6 in
// 3D, and is written in the order of its rows. Return 0; -1: the file can't be opened; -2, tensors
// only: another number of rows. The file is then there and empty, and its stream stays open for
// the rest of the process.
TESSMAKER_API int medit_scalar(const char* filename, unsigned int dim,
                               const dense1D<double, 8>& values);
TESSMAKER_API int medit_vector(const char* filename, unsigned int dim,
                               const dense2D<double>& values);
TESSMAKER_API int medit_tensor(const char* filename, const dense2D<double>& values);

// Writes a mesh as an EnSight 6 geometry file in text, with node and element numbers from 1. Every
// connectivity is a part, numbered by its place in the list from 1; an empty one and one of a type
// without an EnSight element here leave their number unused: mixed types, of one shape or several,
// ET_BAR_MIX, ET_NODE, all pyramids, ET_PENTA15. ET_QUAD9, ET_PENTA18 and ET_HEXA27 go out as
// quad8, penta6 and hexa20. The elements of an ET_TRIA6 part are listed twice, in two orders.
// `pos`: 1 to 3 rows, missing coordinates are 0. IDs needn't be columns of `pos`.
// Returns 0; -1: the file can't be opened; -2: rows of `pos`; -4: `end` lies before `begin`; -5:
// the range has not as many members as `types`; -3: a connectivity fails check_IDs with the limit
// 0xFFFFFFFF. After -2 to -5 the file is there and empty, and its stream stays open for the rest of
// the process.
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types);
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);

// Appends the elements of a connectivity to the lists of a VTK file: to `cells` the number of nodes
// of each cell and then these, to `cell_types` VTK's number of its type; `nbr_cells` goes up by the
// number of cells. An element of more nodes than its linear type is two cells, first the linear
// one, then a set of points (type 2) with the other nodes. The last two nodes of tetrahedra change
// places. Entries for which memory fails are lost.
// Returns 0; -1: `connect` fails check_IDs with the limit 0xFFFFFFFF, or is empty; -2: a type
// without a cell: mixed types, of one shape or several, ET_BAR_MIX, ET_NODE, ET_PYRA13, ET_PENTA15,
// ET_UNKNOWN; this comes before the -1 for an empty `connect`. On failure nothing is appended.
TESSMAKER_API int vtk_convert(const dense2D<unsigned int>& connect, element_type type,
                              unsigned int& nbr_cells, dense1D<unsigned int, 8>& cells,
                              dense1D<unsigned int, 8>& cell_types);

// Writes an unstructured grid as a VTK legacy file in text, from lists as vtk_convert makes them.
// `pos`: 2 or 3 rows. `nbr_cells` cells are written, as far as `cells` reaches. The stream is
// neither flushed nor closed. Returns 0; -1: the stream is null; -2: rows of `pos`.
TESSMAKER_API int vtk_output(std::FILE* file, const dense2D<double>& pos, unsigned int nbr_cells,
                             const dense1D<unsigned int, 8>& cells,
                             const dense1D<unsigned int, 8>& cell_types);
// The same from connectivities, converted one after another; a mixed one is first sorted by
// shape, most nodes first.
// Returns 0; -1: the file can't be opened; -2: `pos` has not 2 or 3 rows; -4: `end` lies before
// `begin`; -5: the range has not as many members as `types`; -3: a connectivity fails check_IDs;
// -199: out of memory, for a mixed type; -2: elements of ET_BAR_MIX, ET_NODE, ET_PYRA13 or
// ET_PENTA15. The checks come in this order. After all of them but -1 the file is there and empty,
// and its stream stays open for the rest of the process.
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                             const dense1D<int, 8>& types);
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect1,
                             const dense2D<unsigned int>& connect2, element_type type1,
                             element_type type2);
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, element_type type);

} // namespace kv7::tessmaker

#endif
