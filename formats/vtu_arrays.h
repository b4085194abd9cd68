// Arrays of numbers in VTU files: where they are, and how they are written.
#ifndef TESSMAKER_FORMATS_VTU_ARRAYS_H
#define TESSMAKER_FORMATS_VTU_ARRAYS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "formats/vtu_bytes.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

enum class vtu_type {
    none, // no numbers that are known
    int8,
    uint8,
    int16,
    uint16,
    int32,
    uint32,
    int64,
    uint64,
    float32,
    float64
};

// The type of a name such as `Float64`.
vtu_type vtu_type_of(std::string_view name);

struct vtu_array {
    enum class form { ascii, binary, appended };

    std::string name;
    vtu_type type = vtu_type::none;
    std::uint64_t rows = 1;
    form written = form::ascii;
    std::uint64_t offset = 0; // in what is appended
    // What stands in the element, if it is not appended: behind each character `word_size`
    // characters can be read.
    std::string_view text;
    std::string joined_text; // in place of `text`, if that is in pieces; ends with a word of nulls
    std::size_t place = 0;   // in the file
};

// Appends the values of an array to an empty list. Returns an empty text, or what is wrong. Memory
// goes with the bytes that are there; std::bad_alloc if it fails.
std::string read_vtu_values(const vtu_array& array, vtu_encoding& encoding,
                            dense1D<double>& values);

} // namespace kv7::tessmaker

#endif
