// The forms for streams of functions that take a name: they leave and read the same text, and tell
// when a write fails.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "formats/plain_writers.h"
#include "formats/scratch_files.h"
#include "formats/written_files.h"
#include "support/failing_call.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

struct medit {
    template <class... Arguments> static int output(const Arguments&... arguments) {
        return medit_output(arguments...);
    }
};
struct ensight {
    template <class... Arguments> static int output(const Arguments&... arguments) {
        return ensight_output(arguments...);
    }
};
struct vtk {
    template <class... Arguments> static int output(const Arguments&... arguments) {
        return vtk_output(arguments...);
    }
};

// What the call leaves in a stream behind the text that was there, all of it passed on.
template <class Call> std::string in_stream(Call call) {
    const scratch_file base("before ");
    std::FILE* const file = std::fopen(base.name(), "ab");
    EXPECT_EQ(call(file), 0);
    const std::string text = base.contents(); // while the stream is open
    std::fclose(file);
    EXPECT_EQ(text.substr(0, 7), "before ");
    return text.substr(7);
}

// The call leaves the same in a stream as in a file.
template <class Call> void expect_same_text(Call call) {
    const std::string expected = written([&](const char* name) { return call(name); });
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(in_stream([&](std::FILE* file) { return call(file); }), expected);
}

// A write fails at once, in the middle of a text, or when the stream is flushed.
template <class Call> void expect_full_disk_is_told(Call call) {
    for (const std::size_t buffer_size : {0U, 16U, 1U << 20}) {
        std::vector<char> buffer(buffer_size);
        std::FILE* const full = std::fopen("/dev/full", "w");
        ASSERT_TRUE(full);
        std::setvbuf(full, buffer.data(), buffer_size == 0 ? _IONBF : _IOFBF, buffer_size);
        EXPECT_EQ(call(full), -1);
        EXPECT_TRUE(std::ferror(full));
        EXPECT_EQ(call(full), -1); // in an error state from the start
        std::fclose(full);
    }
}

template <class Call> void expect_code_and_no_text(int code, Call call) {
    const scratch_stream stream;
    EXPECT_EQ(call(stream.get()), code);
    EXPECT_EQ(stream.contents(), "");
}

std::FILE* const no_file = nullptr;
const dense2D<double> square = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
const dense2D<unsigned int> two_triangles = connectivity({{0, 1, 2}, {0, 2, 3}});
const dense2D<unsigned int> one_quadrangle = connectivity({{0, 1, 2, 3}});
const dense2D<unsigned int> beyond = connectivity({{0, 1, none}});

template <class Writer> class list_writers : public testing::Test {};
using all_list_writers = testing::Types<medit, ensight, vtk>;
TYPED_TEST_SUITE(list_writers, all_list_writers);

TYPED_TEST(list_writers, leave_the_same_text_in_a_stream) {
    random_source random(3);
    for (int k = 0; k < 200; ++k) {
        mesh_list m;
        for (std::size_t n = random.below(4); n > 0; --n) {
            if (random.one_in(2)) {
                m.add(two_triangles, random.one_in(2) ? ET_TRIA3 : ET_FACE_MIX);
            } else {
                m.add(random.one_in(4) ? dense2D<unsigned int>() : one_quadrangle, ET_QUAD4);
            }
        }
        const auto type = [&m](std::size_t i) { return static_cast<element_type>(m.types[i]); };
        expect_same_text([&](auto to) {
            return TypeParam::output(to, square, m.begin(), m.end(), m.type_list());
        });
        if (m.size() == 1) {
            expect_same_text(
                [&](auto to) { return TypeParam::output(to, square, m.connects[0], type(0)); });
        }
        if (m.size() == 2) {
            expect_same_text([&](auto to) {
                return TypeParam::output(to, square, m.connects[0], m.connects[1], type(0),
                                         type(1));
            });
        }
    }
}

TYPED_TEST(list_writers, tell_that_a_write_to_a_stream_failed) {
    expect_full_disk_is_told(
        [](std::FILE* file) { return TypeParam::output(file, square, two_triangles, ET_TRIA3); });
    expect_full_disk_is_told([](std::FILE* file) {
        return TypeParam::output(file, square, two_triangles, one_quadrangle, ET_TRIA3, ET_QUAD4);
    });
    expect_full_disk_is_told([](std::FILE* file) {
        return TypeParam::output(file, square, &two_triangles, &two_triangles + 1,
                                 dense1D<int>{ET_TRIA3});
    });
}

TYPED_TEST(list_writers, check_a_stream_first_and_write_nothing_when_a_check_fails) {
    const dense2D<double> four_rows(4, 1, 0.0);
    const dense2D<unsigned int>* const one = &two_triangles;
    const dense1D<int> no_types;
    const dense1D<int> one_type{ET_TRIA3};
    EXPECT_EQ(TypeParam::output(no_file, four_rows, one + 1, one, no_types), -1);
    EXPECT_EQ(TypeParam::output(no_file, four_rows, beyond, ET_TRIA3), -1);
    EXPECT_EQ(TypeParam::output(no_file, four_rows, beyond, beyond, ET_TRIA3, ET_TRIA3), -1);
    expect_code_and_no_text(-2, [&](std::FILE* file) {
        return TypeParam::output(file, four_rows, one + 1, one, no_types);
    });
    expect_code_and_no_text(-4, [&](std::FILE* file) {
        return TypeParam::output(file, square, one + 1, one, no_types);
    });
    expect_code_and_no_text(-5, [&](std::FILE* file) {
        return TypeParam::output(file, square, one, one + 1, no_types);
    });
    expect_code_and_no_text(
        -3, [&](std::FILE* file) { return TypeParam::output(file, square, beyond, ET_TRIA3); });
    expect_code_and_no_text(-3, [&](std::FILE* file) {
        return TypeParam::output(file, square, two_triangles, beyond, ET_TRIA3, ET_TRIA3);
    });
}

TYPED_TEST(list_writers, write_all_or_nothing_to_a_stream_where_memory_fails) {
    const dense2D<unsigned int> mixed = connectivity({{0, 1, 2, none}, {0, 1, 2, 3}});
    const auto write = [&](std::FILE* file) {
        return TypeParam::output(file, square, mixed, two_triangles, ET_FACE_MIX, ET_TRIA3);
    };
    const std::string whole = in_stream(write);
    fail_each_allocation([&](std::size_t k, bool and_later) {
        const scratch_stream stream;
        const auto [code, failed] = call_failing(k, and_later, [&] { return write(stream.get()); });
        EXPECT_TRUE(code == 0 || (failed && (code == -199 || code == failing_call::thrown)));
        EXPECT_EQ(stream.contents(), code == 0 ? whole : "") << code;
        return failed;
    });
}

TEST(vtk_output, of_types_without_a_cell_writes_nothing_to_a_stream) {
    expect_code_and_no_text(
        -2, [](std::FILE* file) { return vtk_output(file, square, connectivity({{0}}), ET_NODE); });
}

TEST(medit_output, with_colours_leaves_the_same_text_in_a_stream) {
    const dense1D<unsigned int> colors{5, none};
    expect_same_text(
        [&](auto to) { return medit_output(to, square, two_triangles, ET_TRIA3, colors); });
    expect_full_disk_is_told([&](std::FILE* file) {
        return medit_output(file, square, two_triangles, ET_TRIA3, colors);
    });
}

TEST(medit_output, with_colours_checks_a_stream_first) {
    const dense1D<unsigned int> colors{5};
    EXPECT_EQ(medit_output(no_file, square, two_triangles, ET_TRIA3, colors), -1);
    EXPECT_EQ(medit_output(no_file, square, dense2D<unsigned int>(), ET_TRIA3, colors), -1);
    expect_code_and_no_text(0, [&](std::FILE* file) {
        return medit_output(file, square, dense2D<unsigned int>(), ET_TRIA3, colors);
    });
    expect_code_and_no_text(-5, [&](std::FILE* file) {
        return medit_output(file, square, two_triangles, ET_TRIA3, colors);
    });
    expect_code_and_no_text(-2, [&](std::FILE* file) {
        return medit_output(file, dense2D<double>(4, 1, 0.0), beyond, ET_TRIA3, colors);
    });
    expect_code_and_no_text(
        -3, [&](std::FILE* file) { return medit_output(file, square, beyond, ET_TRIA3, colors); });
}

TEST(medit_fields, leave_the_same_text_in_a_stream) {
    for (const std::size_t n : {0U, 7U, 8U, 5000U}) {
        const dense1D<double> values(n, 0.125);
        expect_same_text([&](auto to) { return medit_scalar(to, 3, values); });
        expect_same_text([&](auto to) { return medit_vector(to, 3, dense2D<double>(3, n, 2.5)); });
        expect_same_text([&](auto to) {
            return n == 0 ? medit_scalar(to, 3, values)
                          : medit_tensor(to, dense2D<double>(6, n, 2.5));
        });
    }
}

TEST(medit_fields, tell_that_a_write_to_a_stream_failed) {
    expect_full_disk_is_told(
        [](std::FILE* file) { return medit_scalar(file, 3, dense1D<double>{1}); });
    expect_full_disk_is_told(
        [](std::FILE* file) { return medit_vector(file, 3, dense2D<double>(3, 1, 0.0)); });
    expect_full_disk_is_told(
        [](std::FILE* file) { return medit_tensor(file, dense2D<double>(3, 1, 0.0)); });
}

TEST(medit_fields, check_a_stream_first) {
    EXPECT_EQ(medit_scalar(no_file, 3, dense1D<double>()), -1);
    EXPECT_EQ(medit_vector(no_file, 3, dense2D<double>()), -1);
    EXPECT_EQ(medit_tensor(no_file, dense2D<double>()), -1);
    expect_code_and_no_text(
        -2, [](std::FILE* file) { return medit_tensor(file, dense2D<double>(4, 1, 0.0)); });
}

TEST(obj_output, leaves_the_same_text_in_a_stream) {
    const dense2D<double> normals(3, 4, 0.5);
    const dense2D<double> textures(2, 4, 0.25);
    expect_same_text([&](auto to) {
        return WavefrontOBJ_output(to, square, normals, textures, two_triangles, one_quadrangle);
    });
    expect_same_text([&](auto to) {
        return WavefrontOBJ_output(to, square, two_triangles, one_quadrangle, ET_TRIA3, ET_QUAD4);
    });
    expect_same_text(
        [&](auto to) { return WavefrontOBJ_output(to, square, two_triangles, ET_TRIA3); });
}

TEST(obj_output, tells_that_a_write_to_a_stream_failed) {
    expect_full_disk_is_told([](std::FILE* file) {
        return WavefrontOBJ_output(file, square, dense2D<double>(), dense2D<double>(),
                                   two_triangles, one_quadrangle);
    });
    expect_full_disk_is_told([](std::FILE* file) {
        return WavefrontOBJ_output(file, square, two_triangles, two_triangles, ET_TRIA3, ET_TRIA3);
    });
    expect_full_disk_is_told(
        [](std::FILE* file) { return WavefrontOBJ_output(file, square, two_triangles, ET_TRIA3); });
}

TEST(obj_output, checks_a_stream_first_and_writes_nothing_when_a_check_fails) {
    const dense2D<double> none_there;
    const dense2D<double> bad(1, 1, 0.0);
    const dense2D<unsigned int> no_faces;
    const auto write = [](std::FILE* file, const dense2D<double>& pos,
                          const dense2D<double>& normals, const dense2D<double>& textures,
                          const dense2D<unsigned int>& triangles,
                          const dense2D<unsigned int>& quadrangles) {
        return WavefrontOBJ_output(file, pos, normals, textures, triangles, quadrangles);
    };
    EXPECT_EQ(write(no_file, bad, bad, bad, beyond, beyond), -1);
    EXPECT_EQ(WavefrontOBJ_output(no_file, bad, beyond, ET_TRIA3), -1);
    EXPECT_EQ(WavefrontOBJ_output(no_file, bad, beyond, beyond, ET_TRIA3, ET_TRIA3), -1);
    const auto code = [&](int expected, const auto&... arguments) {
        expect_code_and_no_text(expected,
                                [&](std::FILE* file) { return write(file, arguments...); });
    };
    code(-2, bad, bad, bad, beyond, beyond);
    code(-3, square, bad, bad, beyond, beyond);
    code(-4, square, none_there, bad, beyond, beyond);
    code(-5, square, none_there, none_there, beyond, beyond);
    code(-6, square, none_there, none_there, no_faces, beyond);
}

struct obj_arrays {
    dense2D<double> pos, normals, textures;
    dense2D<unsigned int> triangles, quadrangles;

    template <class From> int read(From from) {
        return WavefrontOBJ_input(from, pos, normals, textures, triangles, quadrangles);
    }
    bool operator==(const obj_arrays& other) const {
        return list(pos) == list(other.pos) && list(normals) == list(other.normals) &&
               list(textures) == list(other.textures) && list(triangles) == list(other.triangles) &&
               list(quadrangles) == list(other.quadrangles);
    }
};

TEST(obj_input, of_a_stream_reads_from_its_position_on_what_the_name_reads) {
    std::string text = "v 1 2 3\nv 2 3 4\nvt 0 1\nvn 0 0 1\nf 1/1/1 2/1/1 1/1/1\nf 1 2 1 2\n";
    for (int k = 0; k < 100000; ++k) text += "v 1 2 3\n"; // more than one block
    text += "f 2 1 2";                                    // without a line ending
    for (const char* const end : {"", "\n", "\nv 1\n"}) {
        const scratch_file file(text + end);
        obj_arrays expected;
        const int code = expected.read(file.name());
        const scratch_stream stream("v x\n" + text + end);
        std::fseek(stream.get(), 4, SEEK_SET);
        obj_arrays arrays;
        EXPECT_EQ(arrays.read(stream.get()), code);
        EXPECT_TRUE(arrays == expected);
    }
}

TEST(obj_input, of_a_bad_stream_empties_all_outputs) {
    obj_arrays arrays;
    const scratch_stream stream("v 1 2 3\nvt 1\nvn 1 2 3\nf 1 1 1\nf 1 1 1 1\n");
    EXPECT_EQ(arrays.read(stream.get()), 0);
    EXPECT_FALSE(arrays == obj_arrays());
    EXPECT_EQ(arrays.read(no_file), -1);
    EXPECT_TRUE(arrays == obj_arrays());

    std::rewind(stream.get());
    EXPECT_EQ(arrays.read(stream.get()), 0);
    const scratch_file to_write;
    std::FILE* const in_error = std::fopen(to_write.name(), "w");
    EXPECT_EQ(std::fgetc(in_error), EOF);
    EXPECT_EQ(arrays.read(in_error), -1);
    std::fclose(in_error);
    EXPECT_TRUE(arrays == obj_arrays());
}

} // namespace
