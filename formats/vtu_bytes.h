// The bytes of binary arrays in VTU files: raw or in base64, as they are or compressed.
#ifndef TESSMAKER_FORMATS_VTU_BYTES_H
#define TESSMAKER_FORMATS_VTU_BYTES_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kv7::tessmaker {

// How the binary data of a file are written.
struct vtu_encoding {
    std::endian order = std::endian::little;
    std::size_t header_size = 4; // of each number in the header of an array
    bool is_compressed = false;  // by zlib
    bool is_appended_base64 = false;
    std::string_view appended;  // arrays one behind the other
    std::size_t nbr_unread = 0; // bytes of it that no array has had; at first all
};

// A number of eight bytes at most.
inline std::uint64_t load_vtu_number(std::string_view bytes, std::endian order) {
    std::uint64_t value = 0;
    for (std::size_t k = 0; k < bytes.size(); ++k) {
        const std::size_t from = order == std::endian::big ? k : bytes.size() - 1 - k;
        value = value << 8 | static_cast<unsigned char>(bytes[from]);
    }
    return value;
}

// The bytes of one array.
class vtu_bytes {
public:
    // The text begins with the array, which is in the element or appended.
    vtu_bytes(std::string_view text, bool is_appended, vtu_encoding& encoding)
        : text_(text), is_appended_(is_appended), encoding_(encoding) {}

    // Returns an empty text, or what is wrong. Memory goes with the bytes that are there, at most
    // `most_per_zlib_byte` times as many where they are compressed; std::bad_alloc if it fails.
    std::string find();

    // What has been found; lives as long as this and the text.
    std::string_view found() const { return found_; }

private:
    std::string fetch(std::uint64_t nbr_bytes);
    std::string find_plain();
    std::string find_compressed();
    std::string expand(std::uint64_t nbr_blocks);
    std::string take_from_appended(std::uint64_t nbr_bytes);
    std::uint64_t header_number(std::uint64_t k) const;
    std::uint64_t block_size(std::uint64_t k, std::uint64_t nbr_blocks) const;

    std::string_view text_;
    bool is_appended_;
    vtu_encoding& encoding_;
    std::string_view stored_; // the first bytes of the array, from its header on
    std::string decoded_;     // keeps them if they are in base64
    std::string expanded_;    // keeps what is found if it is compressed
    std::string_view found_;
};

} // namespace kv7::tessmaker

#endif
