// Mesh files that are written for viewers: MEDIT, EnSight and VTK. Include tessmaker/formats.h,
// which tells the words of this part, too; read_mesh (mesh_file.h) reads MEDIT and VTK.
#ifndef TESSMAKER_FORMATS_VIEWER_FILES_H
#define TESSMAKER_FORMATS_VIEWER_FILES_H

#include <cstdio>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Writes a mesh for the MEDIT viewer. Each element has a reference: the position of its
// connectivity in the list, from 0, or its colour. Only the corners of an element are written;
// pyramids and wedges become degenerate hexahedra. Elements are written by type, in the order of
// `element_type`, each type in a section of its own, where they keep their order, also those of a
// mixed connectivity. ET_PYRA13, ET_PENTA15, ET_NODE and ET_BAR_MIX are checked and left out. The
// file is only touched after all checks. A stream is flushed.
//
// A list.
//
// Returns 0, or
//   -1    a bad stream
//   -2    `pos` has not 1 to 3 rows
//   -4    `end` lies before `begin`
//   -5    the list has another number of members than `types`
//   -3    a connectivity fails check_IDs
//   -199  out of memory, for a mixed type
//   -1    the file can't be opened, or a write to the stream failed
TESSMAKER_API int medit_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                               const dense1D<int, 8>& types);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                               const dense1D<int, 8>& types);
// One or two connectivities.
//
// Returns 0, or
//   -1    a bad stream
//   -2    `pos` has not 1 to 3 rows
//   -3    a connectivity fails check_IDs
//   -199  out of memory, for a mixed type
//   -1    the file can't be opened, or a write to the stream failed
TESSMAKER_API int medit_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect1,
                               const dense2D<unsigned int>& connect2, element_type type1,
                               element_type type2);
TESSMAKER_API int medit_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type);
// One connectivity with a colour per column; the lower colour comes first. Elements whose colour is
// the absent ID are left out and not even checked.
//
// Returns 0, for an empty `connect` without a file or text, or
//   -1    a bad stream
//   -5    `colors` has not an entry per column
//   -6    out of memory, for colours
//   -2    `pos` has not 1 to 3 rows
//   -3    `connect` fails check_IDs
//   -199  out of memory, for a mixed type
//   -1    the file can't be opened, or a write to the stream failed
TESSMAKER_API int medit_output(std::FILE* file, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type,
                               const dense1D<unsigned int, 8>& colors);
TESSMAKER_API int medit_output(const char* filename, const dense2D<double>& pos,
                               const dense2D<unsigned int>& connect, element_type type,
                               const dense1D<unsigned int, 8>& colors);

// Writes a field for a MEDIT mesh of dimension `dim`, which goes to the header unchecked. The
// header is four numbers, without keywords; files of that layout end in .bb. read_fields
// (mesh_file.h) reads them.
//
//   values  one value per node, or one column per node with as many rows as there are
//
// A stream is flushed.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream, or a write to the stream failed
TESSMAKER_API int medit_scalar(std::FILE* file, unsigned int dim, const dense1D<double, 8>& values);
TESSMAKER_API int medit_scalar(const char* filename, unsigned int dim,
                               const dense1D<double, 8>& values);
TESSMAKER_API int medit_vector(std::FILE* file, unsigned int dim, const dense2D<double>& values);
TESSMAKER_API int medit_vector(const char* filename, unsigned int dim,
                               const dense2D<double>& values);
// Writes tensors, 3 rows in 2D and 6 rows in 3D, in the order of the rows. A stream is flushed.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `values` has neither 3 nor 6 rows; a named file is then empty, and its stream stays open
//         for the rest of the process
//   -1    a write to the stream failed
TESSMAKER_API int medit_tensor(std::FILE* file, const dense2D<double>& values);
TESSMAKER_API int medit_tensor(const char* filename, const dense2D<double>& values);

// Writes a mesh as an EnSight 6 geometry file in text, with node and element numbers from 1. Each
// connectivity is a part, numbered by its position in the list, from 1. The number is left unused
// for an empty one and for types without an EnSight element here: mixed types, of one shape or
// several, ET_BAR_MIX, ET_NODE, all pyramids, ET_PENTA15. ET_QUAD9, ET_PENTA18 and ET_HEXA27 are
// written as quad8, penta6 and hexa20. The elements of an ET_TRIA6 part are listed twice, in two
// orders. Coordinates that `pos` does not have are 0. IDs needn't be columns of `pos`.
//
// After all codes but -1 a named file is empty, and its stream stays open for the rest of the
// process. A stream of the caller is flushed.
//
// A list.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has not 1 to 3 rows
//   -4    `end` lies before `begin`
//   -5    the list has another number of members than `types`
//   -3    a connectivity fails check_IDs with the limit 0xFFFFFFFF
//   -1    a write to the stream failed
TESSMAKER_API int ensight_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types);
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, const dense1D<int, 8>& types);
// One or two connectivities.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has not 1 to 3 rows
//   -3    a connectivity fails check_IDs with the limit 0xFFFFFFFF
//   -1    a write to the stream failed
TESSMAKER_API int ensight_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect1,
                                 const dense2D<unsigned int>& connect2, element_type type1,
                                 element_type type2);
TESSMAKER_API int ensight_output(std::FILE* file, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int ensight_output(const char* filename, const dense2D<double>& pos,
                                 const dense2D<unsigned int>& connect, element_type type);

// Appends the elements of a connectivity to the lists of a VTK file. An element of more nodes than
// its linear type becomes two cells, first the linear one, then a set of points (type 2) with the
// other nodes. The last two nodes of tetrahedra change places. Entries for which memory fails are
// lost.
//
//   nbr_cells   in, out: goes up by the number of cells
//   cells       in, out: for each cell the number of its nodes, then the nodes
//   cell_types  in, out: for each cell VTK's number of its type
//
// Returns 0, or
//   -1    `connect` fails check_IDs with the limit 0xFFFFFFFF
//   -2    a type without a cell: mixed types, of one shape or several, ET_BAR_MIX, ET_NODE,
//         ET_PYRA13, ET_PENTA15, ET_UNKNOWN
//   -1    `connect` is empty
// On failure nothing is appended.
TESSMAKER_API int vtk_convert(const dense2D<unsigned int>& connect, element_type type,
                              unsigned int& nbr_cells, dense1D<unsigned int, 8>& cells,
                              dense1D<unsigned int, 8>& cell_types);

// Writes an unstructured grid as a VTK legacy file in text, from lists as vtk_convert makes them.
// `nbr_cells` cells are written, as far as `cells` reaches. The stream is neither flushed nor
// closed.
//
// Returns 0, or
//   -1    the stream is null
//   -2    `pos` has neither 2 nor 3 rows
TESSMAKER_API int vtk_output(std::FILE* file, const dense2D<double>& pos, unsigned int nbr_cells,
                             const dense1D<unsigned int, 8>& cells,
                             const dense1D<unsigned int, 8>& cell_types);
// The same from connectivities, which are converted one after another; a mixed one is first sorted
// by shape, most nodes first. After all codes but -1 a named file is empty, and its stream stays
// open for the rest of the process. A stream of the caller is flushed.
//
// A list.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows
//   -4    `end` lies before `begin`
//   -5    the list has another number of members than `types`
//   -3    a connectivity fails check_IDs
//   -199  out of memory, for a mixed type
//   -2    elements of ET_BAR_MIX, ET_NODE, ET_PYRA13 or ET_PENTA15
//   -1    a write to the stream failed
TESSMAKER_API int vtk_output(std::FILE* file, const dense2D<double>& pos,
                             const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                             const dense1D<int, 8>& types);
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                             const dense1D<int, 8>& types);
// One or two connectivities.
//
// Returns 0, also if a write to a named file fails, or
//   -1    a bad file or stream
//   -2    `pos` has neither 2 nor 3 rows
//   -3    a connectivity fails check_IDs
//   -199  out of memory, for a mixed type
//   -2    elements of ET_BAR_MIX, ET_NODE, ET_PYRA13 or ET_PENTA15
//   -1    a write to the stream failed
TESSMAKER_API int vtk_output(std::FILE* file, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect1,
                             const dense2D<unsigned int>& connect2, element_type type1,
                             element_type type2);
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect1,
                             const dense2D<unsigned int>& connect2, element_type type1,
                             element_type type2);
TESSMAKER_API int vtk_output(std::FILE* file, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, element_type type);
TESSMAKER_API int vtk_output(const char* filename, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connect, element_type type);

} // namespace kv7::tessmaker

#endif
