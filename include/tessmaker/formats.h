// Mesh files: readers and writers.
//
// Every function takes a file name or an open stream. -1 says that the file can't be opened, or
// that the stream is null or in an error state. A stream that the caller opened stays open.
//
// STL text is read and written the same way in every locale.
#ifndef TESSMAKER_FORMATS_H
#define TESSMAKER_FORMATS_H

#include <cstdio>

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

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

} // namespace kv7::tessmaker

#endif
