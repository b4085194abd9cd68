// Data that zlib has compressed. The library may be built without it (TESSMAKER_ZLIB), and then has
// zlib_left_out.cpp in place of zlib_stream.cpp.
#ifndef TESSMAKER_FORMATS_ZLIB_STREAM_H
#define TESSMAKER_FORMATS_ZLIB_STREAM_H

#include <cstddef>
#include <limits>
#include <string_view>

namespace kv7::tessmaker {

// Whether the library was built with zlib.
bool has_zlib();

// No byte of a stream stands for more: the longest match of deflate is 258 bytes, which take two
// bits at least.
inline constexpr std::size_t most_per_zlib_byte = 258 * 8 / 2;

// Expands a stream to `target`. False if it is not one whole stream of exactly `size` bytes with
// nothing behind it, or if there is no zlib; `target` may then hold anything. std::bad_alloc if
// memory fails.
//
//   most_at_once  how many bytes zlib is given or asked for in a step; it counts them in 32 bits
bool expand_zlib_stream(std::string_view stream, char* target, std::size_t size,
                        unsigned int most_at_once = std::numeric_limits<unsigned int>::max());

} // namespace kv7::tessmaker

#endif
