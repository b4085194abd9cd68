// Reads any bytes as an OBJ file with all that comes with it.
#include <cstddef>
#include <cstdint>

#include "mesh_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::read_bytes(data, size, kv7::tessmaker::file_format::obj);
    return 0;
}
