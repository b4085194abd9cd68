#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "core/element_table.h"
#include "core/ids.h"
#include "core/small_vectors.h"
#include "formats/output_buffer.h"
#include "formats/stl_facets.h"
#include "formats/streams.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

struct facet {
    const double* corners[3];
    vector<3> normal;
};
facet facet_at(const dense2D<double>& pos, const unsigned int* ids) {
    const double* const a = pos.column(ids[0]);
    const double* const b = pos.column(ids[1]);
    const double* const c = pos.column(ids[2]);
    return {{a, b, c}, facet_normal(a, b, c)};
}

void put_text(const double* numbers, output_buffer& output) {
    for (int i = 0; i < 3; ++i) {
        output.put(" ");
        output.put_scientific(numbers[i]);
    }
    output.put("\n");
}
void put_text(const facet& f, output_buffer& output) {
    output.put("   facet normal");
    put_text(f.normal.data(), output);
    output.put("      outer loop\n");
    for (const double* const corner : f.corners) {
        output.put("         vertex");
        put_text(corner, output);
    }
    output.put("      endloop\n"
               "   endfacet\n");
}

bool write_text(std::FILE* file, const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    constexpr std::size_t words_size = 120; // the words of a facet, and of a solid
    constexpr std::size_t number_size = output_buffer::scientific_size + 6;
    constexpr std::size_t facet_size = words_size + 12 * (number_size + 1);
    output_buffer output(file);
    output.put("solid KV7\n");
    for (std::size_t k = 0; k < connect.cols(); ++k) {
        if (!output.make_room(facet_size)) return false;
        put_text(facet_at(pos, connect.column(k)), output);
    }
    if (!output.make_room(words_size)) return false;
    output.put("endsolid KV7\n");
    return output.flush();
}

void put_binary(const double* numbers, output_buffer& output) {
    for (int i = 0; i < 3; ++i) output.put_little_endian(static_cast<float>(numbers[i]));
}
void put_binary(const facet& f, output_buffer& output) {
    put_binary(f.normal.data(), output);
    for (const double* const corner : f.corners) put_binary(corner, output);
    output.put({"\0\0", 2}); // attributes
}

bool write_binary(std::FILE* file, const dense2D<double>& pos,
                  const dense2D<unsigned int>& connect) {
    constexpr char header[80] = "KV7 STL Binary";
    constexpr std::size_t facet_size = 50;
    output_buffer output(file);
    output.put({header, sizeof header});
    output.put_little_endian(static_cast<std::uint32_t>(connect.cols()));
    for (std::size_t k = 0; k < connect.cols(); ++k) {
        if (!output.make_room(facet_size)) return false;
        put_binary(facet_at(pos, connect.column(k)), output);
    }
    return output.flush();
}

} // namespace

int STL_output(std::FILE* file, const dense2D<double>& pos, const dense2D<unsigned int>& connect,
               bool text) {
    if (!is_usable(file)) return -1;
    if (!pos.empty() && pos.rows() != 3) return -2;
    if (!check_IDs(connect, ET_TRIA3, id_limit(pos))) return -3;
    const bool written = text ? write_text(file, pos, connect) : write_binary(file, pos, connect);
    return written ? 0 : -1;
}

int STL_output(const char* filename, const dense2D<double>& pos,
               const dense2D<unsigned int>& connect, bool text) {
    opened_file file{filename, text ? "wt" : "wb"};
    const int result = STL_output(file.get(), pos, connect, text);
    return file.close() || result != 0 ? result : -1;
}

} // namespace kv7::tessmaker
