// The readers behind `read_mesh`, one for each format.
//
// A reader gets a stream at the start of the file and an empty mesh, fills the mesh as
// mesh_file.h promises, and collects what is to be said. It returns 0 or the code of a failure,
// -1, -102 or -199, of which it has told the report, if it knows more than the code says; the mesh
// may then hold anything. It may read beyond what it uses. std::bad_alloc may leave it.
#ifndef TESSMAKER_FORMATS_MESH_READERS_H
#define TESSMAKER_FORMATS_MESH_READERS_H

#include <cstdio>
#include <string_view>
#include <vector>

#include "formats/deck_files.h"
#include "formats/file_report.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

inline constexpr int file_failed = -1;
inline constexpr int file_malformed = -102;
inline constexpr int out_of_memory = -199;

// Of text or binary, whichever the file is.
int read_stl_mesh(std::FILE* file, mesh& result, report_builder& report);
int read_obj_mesh(std::FILE* file, mesh& result, report_builder& report);
int read_femap_mesh(std::FILE* file, mesh& result, report_builder& report);

// Of a deck of bulk data, with all files that it includes. They are looked for in the folder of the
// file of the report.
int read_nastran_mesh(std::FILE* file, mesh& result, report_builder& report);
// The same; files are opened by `open`.
int read_nastran_mesh(std::FILE* file, mesh& result, report_builder& report, deck_opener open);
// Of text.
int read_medit_mesh(std::FILE* file, mesh& result, report_builder& report);
// Of a legacy file in text.
int read_vtk_mesh(std::FILE* file, mesh& result, report_builder& report);
// Of an XML file.
int read_vtu_mesh(std::FILE* file, mesh& result, report_builder& report);

// Reads fields beside a mesh, in text with keywords or of numbers alone, and gives them a name; if
// there are several, with a number behind it.
int read_medit_fields(std::FILE* file, std::string_view name, const mesh& target,
                      std::vector<field>& fields, report_builder& report);

} // namespace kv7::tessmaker

#endif
