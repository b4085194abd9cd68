// The check of a mesh that is to be written.
#ifndef TESSMAKER_FORMATS_MESH_CHECK_H
#define TESSMAKER_FORMATS_MESH_CHECK_H

#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// The first fault in the order that `write_mesh` promises, in words; null if there is none.
const char* fault_of(const mesh& m);

} // namespace kv7::tessmaker

#endif
