// What an STL file is by its beginning.
#ifndef TESSMAKER_FORMATS_STL_CONTENT_H
#define TESSMAKER_FORMATS_STL_CONTENT_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/characters.h"

namespace kv7::tessmaker {

// A binary file begins with a header of text and the number of facets.
inline constexpr std::size_t stl_header_size = 80;
inline constexpr std::size_t stl_start_size = stl_header_size + 4;
// A facet is its normal and its corners as floats, and an attribute of two bytes.
inline constexpr std::size_t stl_normal_size = 12;
inline constexpr std::size_t stl_facet_size = stl_normal_size + 9 * 4 + 2;

inline std::uint32_t little_endian(const char* bytes) {
    const auto byte = [&](std::size_t k) {
        return std::uint32_t{static_cast<unsigned char>(bytes[k])} << 8 * k;
    };
    return byte(0) | byte(1) | byte(2) | byte(3);
}

// The coordinates of the corners of a facet in a binary file.
inline void read_stl_corners(const char* facet, double* corners) {
    for (std::size_t i = 0; i < 9; ++i) {
        corners[i] = double{std::bit_cast<float>(little_endian(facet + stl_normal_size + 4 * i))};
    }
}

// Whether a file of `file_size` bytes, 0 if that is not known, has the size that the number of
// facets asks for.
inline bool has_binary_stl_size(std::string_view beginning, std::uint64_t file_size) {
    if (beginning.size() < stl_start_size) return false;
    const std::uint64_t nbr_facets = little_endian(beginning.data() + stl_header_size);
    return file_size == stl_start_size + stl_facet_size * nbr_facets;
}

// Whether a file is text: it begins with `solid`, perhaps behind the mark of UTF-8, as binary files
// do, too; but those have nulls, in the header or in the number of facets, as long as they are
// shorter than 800 MB.
inline bool is_text_stl(std::string_view beginning, std::uint64_t file_size) {
    const std::string_view start = beginning.substr(0, stl_start_size);
    const std::size_t word = start.find_first_not_of(" \t\r\n\v\f\xEF\xBB\xBF");
    if (word == std::string_view::npos) return false;
    return starts_with_word(start.substr(word), "solid") &&
           start.find('\0') == std::string_view::npos && !has_binary_stl_size(start, file_size);
}

} // namespace kv7::tessmaker

#endif
