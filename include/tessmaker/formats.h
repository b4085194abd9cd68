// Mesh files: readers and writers.
//
// Functions take a file name or an open stream. -1 says that the file can't be opened, or that the
// stream is null or in an error state. A stream that the caller opened stays open.
//
// Text is read and written the same way in every locale.
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
// -198, -199: out of memory. On failure both outputs are empty. Where only text could be tried, -2
// is a missing `solid` line and -3 a broken grammar.
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

} // namespace kv7::tessmaker

#endif
