#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string_view>

#include "core/coordinates.h"
#include "core/element_table.h"
#include "core/ids.h"
#include "formats/output_buffer.h"
#include "formats/streams.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

// Faces to be written. Types other than ET_TRIA3 and ET_QUAD4 are left out.
struct typed_faces {
    const dense2D<unsigned int>& connect;
    element_type type;
};
using face_arrays = std::initializer_list<typed_faces>;

bool has_shape(const dense2D<double>& array, std::size_t rows, std::size_t cols) {
    return array.empty() || (array.rows() == rows && array.cols() == cols);
}

bool check_faces(const face_arrays& faces, element_type type) {
    for (const auto& [connect, faces_type] : faces) {
        if (faces_type == type && !check_IDs(connect, type, no_id)) return false;
    }
    return true;
}

// Writes a line for each column, with zeros for rows that the array doesn't have.
void write_numbers(std::string_view keyword, const dense2D<double>& array, std::size_t nbr_numbers,
                   output_buffer& output) {
    constexpr int precision = 12;
    const std::size_t line_size =
        keyword.size() + nbr_numbers * (output_buffer::fixed_size + precision + 1) + 1;
    for (std::size_t k = 0; k < array.cols(); ++k) {
        if (!output.make_room(line_size)) return;
        output.put(keyword);
        for (std::size_t i = 0; i < nbr_numbers; ++i) {
            output.put_fixed(i < array.rows() ? array(i, k) : 0.0, precision);
            output.put(" ");
        }
        output.put("\n");
    }
}

// How a corner is written: its vertex and, by the same number, its texture and its normal.
class corner_form {
public:
    corner_form(bool has_textures, bool has_normals)
        : has_slashes_(has_textures || has_normals), has_textures_(has_textures),
          has_normals_(has_normals) {}

    void put(unsigned int id, output_buffer& output) const {
        const std::uint64_t number = std::uint64_t{id} + 1;
        output.put_unsigned(number);
        if (has_slashes_) {
            output.put("/");
            if (has_textures_) output.put_unsigned(number);
            output.put("/");
            if (has_normals_) output.put_unsigned(number);
        }
        output.put(" ");
    }

private:
    bool has_slashes_;
    bool has_textures_;
    bool has_normals_;
};

void write_faces(const dense2D<unsigned int>& connect, const corner_form& form,
                 output_buffer& output) {
    constexpr std::size_t line_size = 160; // four corners of three numbers
    for (std::size_t k = 0; k < connect.cols(); ++k) {
        if (!output.make_room(line_size)) return;
        output.put("f ");
        const unsigned int* const ids = connect.column(k);
        for (std::size_t i = 0; i < connect.rows(); ++i) form.put(ids[i], output);
        output.put("\n");
    }
}

void write_mesh(std::FILE* file, const dense2D<double>& pos, const dense2D<double>& normals,
                const dense2D<double>& textures, const face_arrays& faces) {
    output_buffer output(file);
    write_numbers("v ", pos, 3, output);
    write_numbers("vt ", textures, 2, output);
    write_numbers("vn ", normals, 3, output);
    const corner_form form(!textures.empty(), !normals.empty());
    for (const element_type type : {ET_TRIA3, ET_QUAD4}) {
        for (const auto& [connect, faces_type] : faces) {
            if (faces_type == type) write_faces(connect, form, output);
        }
    }
    output.pass_on();
}

int check(const dense2D<double>& pos, const dense2D<double>& normals,
          const dense2D<double>& textures, const face_arrays& faces) {
    if (!is_2d_or_3d(pos)) return -2;
    if (!has_shape(normals, 3, pos.cols())) return -3;
    if (!has_shape(textures, 2, pos.cols())) return -4;
    if (!check_faces(faces, ET_TRIA3)) return -5;
    if (!check_faces(faces, ET_QUAD4)) return -6;
    return 0;
}

int write_file(const char* filename, const dense2D<double>& pos, const dense2D<double>& normals,
               const dense2D<double>& textures, const face_arrays& faces) {
    const opened_file file{filename, "wt"};
    if (!file) return -1;
    // Kept: failed writes are not reported.
    const int fault = check(pos, normals, textures, faces);
    if (fault == 0) write_mesh(file.get(), pos, normals, textures, faces);
    return fault;
}

int write_stream(std::FILE* file, const dense2D<double>& pos, const dense2D<double>& normals,
                 const dense2D<double>& textures, const face_arrays& faces) {
    if (!is_usable(file)) return -1;
    if (const int fault = check(pos, normals, textures, faces); fault != 0) return fault;
    write_mesh(file, pos, normals, textures, faces);
    return has_taken_all(file) ? 0 : -1;
}

} // namespace

int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos, const dense2D<double>& normals,
                        const dense2D<double>& textures, const dense2D<unsigned int>& connect_tri,
                        const dense2D<unsigned int>& connect_quad) {
    return write_stream(file, pos, normals, textures,
                        {{connect_tri, ET_TRIA3}, {connect_quad, ET_QUAD4}});
}

int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos,
                        const dense2D<unsigned int>& connect1,
                        const dense2D<unsigned int>& connect2, element_type type1,
                        element_type type2) {
    return write_stream(file, pos, {}, {}, {{connect1, type1}, {connect2, type2}});
}

int WavefrontOBJ_output(std::FILE* file, const dense2D<double>& pos,
                        const dense2D<unsigned int>& connect, element_type type) {
    return write_stream(file, pos, {}, {}, {{connect, type}});
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                        const dense2D<double>& normals, const dense2D<double>& textures,
                        const dense2D<unsigned int>& connect_tri,
                        const dense2D<unsigned int>& connect_quad) {
    return write_file(filename, pos, normals, textures,
                      {{connect_tri, ET_TRIA3}, {connect_quad, ET_QUAD4}});
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                        const dense2D<unsigned int>& connect1,
                        const dense2D<unsigned int>& connect2, element_type type1,
                        element_type type2) {
    return write_file(filename, pos, {}, {}, {{connect1, type1}, {connect2, type2}});
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                        const dense2D<unsigned int>& connect, element_type type) {
    return write_file(filename, pos, {}, {}, {{connect, type}});
}

} // namespace kv7::tessmaker
