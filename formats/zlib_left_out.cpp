#include "formats/zlib_stream.h"

namespace kv7::tessmaker {

bool has_zlib() { return false; }

bool expand_zlib_stream(std::string_view, char*, std::size_t, unsigned int) { return false; }

} // namespace kv7::tessmaker
