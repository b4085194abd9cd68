#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "formats/plain_stl.h"
#include "formats/scratch_files.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::string written_to_stream(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                              bool text) {
    const scratch_stream stream;
    EXPECT_EQ(STL_output(stream.get(), pos, connect, text), 0);
    return stream.contents();
}

// What both overloads write. They must agree.
std::string written(const dense2D<double>& pos, const dense2D<unsigned int>& connect, bool text) {
    const std::string bytes = written_to_stream(pos, connect, text);
    const scratch_file file("older contents, longer than an empty mesh");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(STL_output(file.name(), pos, connect, text), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    EXPECT_EQ(file.contents(), bytes);
    return bytes;
}

dense2D<double> tetrahedron_points() {
    return points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
}

// The sign of a zero in a normal is free.
std::string with_plain_zeros(std::string text) {
    const std::string zero = "-0.000000e+00";
    for (std::size_t at = 0; (at = text.find(zero, at)) != std::string::npos;) text.erase(at, 1);
    return text;
}

TEST(stl_text_output, writes_a_triangle_in_this_form) {
    EXPECT_EQ(with_plain_zeros(written(points({{0, 0, 2}, {1, 0, 2}, {0, 1.5, 2}}),
                                       connectivity({{0, 1, 2}}), true)),
              "solid KV7\n"
              "   facet normal 0.000000e+00 0.000000e+00 1.000000e+00\n"
              "      outer loop\n"
              "         vertex 0.000000e+00 0.000000e+00 2.000000e+00\n"
              "         vertex 1.000000e+00 0.000000e+00 2.000000e+00\n"
              "         vertex 0.000000e+00 1.500000e+00 2.000000e+00\n"
              "      endloop\n"
              "   endfacet\n"
              "endsolid KV7\n");
}

TEST(stl_text_output, writes_nothing_but_the_frame_for_an_empty_mesh) {
    EXPECT_EQ(written({}, {}, true), "solid KV7\nendsolid KV7\n");
    EXPECT_EQ(written(tetrahedron_points(), {}, true), "solid KV7\nendsolid KV7\n");
}

std::string literal_binary(std::uint32_t count) {
    std::string bytes = "KV7 STL Binary";
    bytes.resize(80, '\0');
    append_bytes(bytes, count);
    return bytes;
}

TEST(stl_binary_output, writes_a_triangle_in_this_form) {
    std::string expected = literal_binary(1);
    for (const float v : {0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 2.0F, 1.0F, 0.0F, 2.0F, 0.0F, 1.5F, 2.0F}) {
        append_bytes(expected, v);
    }
    expected += std::string(2, '\0');
    std::string bytes =
        written(points({{0, 0, 2}, {1, 0, 2}, {0, 1.5, 2}}), connectivity({{0, 1, 2}}), false);
    ASSERT_EQ(bytes.size(), 134U);
    bytes[84 + 3] = bytes[84 + 7] = '\0'; // the signs of the zeros in the normal
    EXPECT_EQ(bytes, expected);
}

TEST(stl_binary_output, writes_nothing_but_header_and_count_for_an_empty_mesh) {
    EXPECT_EQ(written({}, {}, false), literal_binary(0));
    EXPECT_EQ(written(tetrahedron_points(), {}, false), literal_binary(0));
}

// Numbers -------------------------------------------------------------------------------------

double random_number(random_source& random) {
    static const std::vector<double> special{0.0,
                                             -0.0,
                                             1.0,
                                             -1.0,
                                             0.5,
                                             9.9999995,
                                             9.99999949999,
                                             999999.5,
                                             1234567.5,
                                             0.00012345675,
                                             2.5e-7,
                                             1e22,
                                             1e23,
                                             5e-324,
                                             -5e-324,
                                             2.2250738585072014e-308,
                                             1.7976931348623157e308,
                                             -1.7976931348623157e308,
                                             1e100,
                                             1e-100,
                                             3.4028235e38,
                                             3.5e38,
                                             1e-45,
                                             1e-46,
                                             infinity,
                                             -infinity,
                                             std::nan(""),
                                             -std::nan("")};
    switch (random.below(5)) {
    case 0: return random.one_of(special);
    case 1: {
        const std::uint64_t bits = random.draw();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }
    case 2: return static_cast<double>(random.between(0, 2000000)) / 128 - 5000;
    case 3: return std::ldexp(random.uniform(-1, 1), static_cast<int>(random.between(0, 80)) - 40);
    default: return random.uniform(-10, 10);
    }
}

struct random_surface {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

// Nodes beyond the finite numbers only on demand.
random_surface make_random_surface(random_source& random, bool wild) {
    std::vector<std::vector<double>> coordinates(3 + random.below(20), std::vector<double>(3));
    for (auto& p : coordinates) {
        for (double& v : p) v = wild ? random_number(random) : random.uniform(-10, 10);
    }
    column_list columns(random.below(12), id_vector(3));
    for (id_vector& column : columns) {
        for (unsigned int& id : column) id = random.id_below(coordinates.size());
    }
    return {window<double>(random, coordinates, -7.0).view,
            window<unsigned int>(random, columns, 0xDDDDDDDDU).view};
}

vector3 corner(const random_surface& s, std::size_t column, std::size_t row) {
    return coordinates_of(s.pos, s.connect(row, column));
}

std::string formatted(const char* before, const vector3& v) {
    char line[120];
    std::snprintf(line, sizeof line, "%s %le %le %le\n", before, v[0], v[1], v[2]);
    return line;
}

// The last digit of a computed normal is free, and so is the sign of zero and of NaN.
bool nearly_same(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return a == b || std::fabs(a - b) <= 2e-6 * std::fabs(b);
}

bool stable_normal(const vector3& n) {
    for (const double v : n) {
        if (v != 0 && !(std::fabs(v) > 1e-3)) return false;
    }
    return true;
}

TEST(stl_text_output, numbers_read_as_printf_writes_them) {
    for (std::uint64_t seed = 0; seed < nbr_runs(3000); ++seed) {
        random_source random(seed);
        const random_surface s = make_random_surface(random, true);
        const std::string text = written_to_stream(s.pos, s.connect, true);
        std::size_t at = 0;
        const auto next_line = [&] {
            const std::size_t end = text.find('\n', at);
            const std::string line = text.substr(at, end + 1 - at);
            at = end + 1;
            return line;
        };
        ASSERT_EQ(next_line(), "solid KV7\n");
        for (std::size_t c = 0; c < s.connect.cols(); ++c) {
            const vector3 normal = plain_normal(corner(s, c, 0), corner(s, c, 1), corner(s, c, 2));
            const std::string normal_line = next_line();
            vector3 found{};
            ASSERT_EQ(std::sscanf(normal_line.c_str(), "   facet normal %lg %lg %lg\n", &found[0],
                                  &found[1], &found[2]),
                      3)
                << seed;
            for (std::size_t k = 0; k < 3; ++k) {
                if (stable_normal(normal)) {
                    ASSERT_TRUE(nearly_same(found[k], normal[k])) << seed << ' ' << normal_line;
                }
                ASSERT_TRUE(std::isnan(found[k]) || std::fabs(found[k]) <= 1.000001) << seed;
            }
            ASSERT_EQ(next_line(), "      outer loop\n") << seed;
            for (std::size_t r = 0; r < 3; ++r) {
                ASSERT_EQ(next_line(), formatted("         vertex", corner(s, c, r))) << seed;
            }
            ASSERT_EQ(next_line(), "      endloop\n") << seed;
            ASSERT_EQ(next_line(), "   endfacet\n") << seed;
        }
        ASSERT_EQ(text.substr(at), "endsolid KV7\n") << seed;
    }
}

TEST(stl_binary_output, coordinates_are_rounded_to_float) {
    for (std::uint64_t seed = 0; seed < nbr_runs(3000); ++seed) {
        random_source random(seed + 10000);
        const random_surface s = make_random_surface(random, true);
        const std::string bytes = written_to_stream(s.pos, s.connect, false);
        ASSERT_EQ(bytes.substr(0, 84),
                  literal_binary(static_cast<std::uint32_t>(s.connect.cols())));
        ASSERT_EQ(bytes.size(), 84 + 50 * s.connect.cols());
        for (std::size_t c = 0; c < s.connect.cols(); ++c) {
            const vector3 normal = plain_normal(corner(s, c, 0), corner(s, c, 1), corner(s, c, 2));
            float found[3];
            std::memcpy(found, bytes.data() + 84 + 50 * c, sizeof found);
            for (std::size_t k = 0; k < 3; ++k) {
                if (stable_normal(normal)) {
                    ASSERT_TRUE(nearly_same(static_cast<double>(found[k]), normal[k])) << seed;
                }
            }
            std::string expected;
            for (std::size_t r = 0; r < 3; ++r) {
                for (const double v : corner(s, c, r)) {
                    append_bytes(expected, static_cast<float>(v));
                }
            }
            expected += std::string(2, '\0');
            ASSERT_EQ(bytes.substr(84 + 50 * c + 12, 38), expected) << seed;
        }
    }
}

TEST(stl_output, normals_have_unit_length_and_follow_the_orientation) {
    for (std::uint64_t seed = 0; seed < nbr_runs(500); ++seed) {
        random_source random(seed);
        const random_surface s = make_random_surface(random, false);
        const std::string bytes = written_to_stream(s.pos, s.connect, false);
        for (std::size_t c = 0; c < s.connect.cols(); ++c) {
            const vector3 a = corner(s, c, 0);
            const vector3 direction = cross(minus(corner(s, c, 1), a), minus(corner(s, c, 2), a));
            float raw[3];
            std::memcpy(raw, bytes.data() + 84 + 50 * c, sizeof raw);
            const vector3 normal{static_cast<double>(raw[0]), static_cast<double>(raw[1]),
                                 static_cast<double>(raw[2])};
            const double length = std::sqrt(dot(direction, direction));
            const double expected = length > 1e-9 ? 1 : 0;
            EXPECT_NEAR(dot(normal, normal), expected, 1e-5) << seed;
            EXPECT_NEAR(dot(normal, direction), length, 1e-5 * length) << seed;
        }
    }
}

TEST(stl_output, a_degenerate_triangle_has_a_zero_normal) {
    const dense2D<double> pos = points({{0, 0, 0}, {1, 1, 1}, {2, 2, 2}});
    for (const auto& connect : {connectivity({{0, 1, 2}}), connectivity({{1, 1, 2}})}) {
        const std::string text = with_plain_zeros(written(pos, connect, true));
        EXPECT_NE(text.find("facet normal 0.000000e+00 0.000000e+00 0.000000e+00\n"),
                  std::string::npos);
    }
}

// Checks --------------------------------------------------------------------------------------

// The codes for a stream and for a name, in both variants.
void expect_code(int code, const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    for (const bool text : {false, true}) {
        const scratch_stream stream;
        EXPECT_EQ(STL_output(stream.get(), pos, connect, text), code);
        EXPECT_EQ(stream.contents(), "");
        const scratch_file file("older contents");
        const std::size_t nbr_open = nbr_open_files();
        EXPECT_EQ(STL_output(file.name(), pos, connect, text), code);
        EXPECT_EQ(nbr_open_files(), nbr_open);
        EXPECT_TRUE(file.exists());
        EXPECT_EQ(file.contents(), "");
    }
}

TEST(stl_output, coordinates_of_other_than_3_rows_give_minus_2_and_an_empty_file) {
    expect_code(-2, dense2D<double>(2, 3, 0.0), connectivity({{0, 1, 2}}));
    expect_code(-2, dense2D<double>(4, 3, 0.0), connectivity({{0, 1, 2}}));
    expect_code(-2, dense2D<double>(2, 3, 0.0), {});
}

TEST(stl_output, elements_that_are_no_triangles_on_the_nodes_give_minus_3_and_an_empty_file) {
    const dense2D<double> pos = tetrahedron_points();
    expect_code(-3, pos, connectivity({{0, 1, 2, 3}}));
    expect_code(-3, pos, connectivity({{0, 1}}));
    expect_code(-3, pos, connectivity({{0, 1, 2}, {0, 1, 4}}));
    expect_code(-3, pos, connectivity({{0, 1, none}}));
    expect_code(-3, {}, connectivity({{0, 1, 2}}));
}

TEST(stl_output, rows_of_the_coordinates_are_looked_at_first) {
    expect_code(-2, dense2D<double>(2, 3, 0.0), connectivity({{0, 1, 2, 9}}));
}

TEST(stl_output, a_stream_that_is_null_or_in_error_gives_minus_1_before_all_else) {
    const dense2D<double> two_rows(2, 3, 0.0);
    const scratch_file file("contents");
    for (const bool text : {false, true}) {
        EXPECT_EQ(STL_output(static_cast<std::FILE*>(nullptr), two_rows, {}, text), -1);
        std::FILE* const stream = std::fopen(file.name(), "rb");
        ASSERT_TRUE(stream);
        std::fputc('x', stream);
        EXPECT_EQ(STL_output(stream, two_rows, {}, text), -1);
        std::fclose(stream);
    }
    EXPECT_EQ(file.contents(), "contents");
}

TEST(stl_output, a_name_that_can_not_be_opened_gives_minus_1) {
    for (const bool text : {false, true}) {
        EXPECT_EQ(STL_output(testing::TempDir().c_str(), {}, {}, text), -1);
        EXPECT_EQ(STL_output("/no such folder/x.stl", {}, {}, text), -1);
    }
}

TEST(stl_output, a_stream_that_takes_no_output_gives_minus_1) {
    const mesh cube = cube_surface();
    const scratch_file file("contents");
    for (const bool text : {false, true}) {
        std::FILE* const stream = std::fopen(file.name(), "rb");
        ASSERT_TRUE(stream);
        EXPECT_EQ(STL_output(stream, cube.pos, cube.connect, text), -1);
        std::fclose(stream);
    }
}

TEST(stl_output, a_full_device_gives_minus_1_also_where_only_the_last_flush_fails) {
    std::FILE* const device = std::fopen("/dev/full", "wb");
    if (!device) GTEST_SKIP() << "no full device here";
    std::fclose(device);
    const dense2D<double> pos = tetrahedron_points();
    const dense2D<unsigned int> large(3, 100000, 0U);
    for (const bool text : {false, true}) {
        for (const auto& connect : {dense2D<unsigned int>(), connectivity({{0, 1, 2}}), large}) {
            EXPECT_EQ(STL_output("/dev/full", pos, connect, text), -1);
            std::FILE* const stream = std::fopen("/dev/full", "wb");
            ASSERT_TRUE(stream);
            EXPECT_EQ(STL_output(stream, pos, connect, text), -1);
            std::fclose(stream);
        }
    }
}

TEST(stl_output, a_stream_is_written_from_where_it_stands_and_stays_open) {
    const dense2D<double> pos = tetrahedron_points();
    const dense2D<unsigned int> connect = connectivity({{0, 1, 2}});
    for (const bool text : {false, true}) {
        const scratch_stream stream;
        std::fputs("before\n", stream.get());
        EXPECT_EQ(STL_output(stream.get(), pos, connect, text), 0);
        std::fputs("after\n", stream.get());
        EXPECT_EQ(stream.contents(), "before\n" + written(pos, connect, text) + "after\n");
    }
}

// Round trips ---------------------------------------------------------------------------------

// The corners of all triangles, rounded to float.
std::vector<std::vector<float>> corner_list(const dense2D<double>& pos,
                                            const dense2D<unsigned int>& connect) {
    std::vector<std::vector<float>> all;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            const double* const p = pos.column(connect(r, c));
            all.push_back(
                {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
        }
    }
    return all;
}

void expect_round_trip(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                       std::size_t nbr_nodes) {
    for (const bool text : {false, true}) {
        const scratch_file file;
        ASSERT_EQ(STL_output(file.name(), pos, connect, text), 0);
        dense2D<double> read_pos;
        dense2D<unsigned int> read_connect;
        ASSERT_EQ(STL_input(file.name(), read_pos, read_connect), 0);
        EXPECT_EQ(read_pos.cols(), nbr_nodes);
        EXPECT_EQ(corner_list(read_pos, read_connect), corner_list(pos, connect));
        // Written again, nothing changes any more.
        const scratch_file second;
        ASSERT_EQ(STL_output(second.name(), read_pos, read_connect, text), 0);
        EXPECT_EQ(second.contents(), file.contents());
    }
}

TEST(stl_round_trip, a_closed_surface) {
    const mesh cube = cube_surface();
    expect_round_trip(cube.pos, cube.connect, 8);
    const mesh soup = soup_of(cube);
    expect_round_trip(soup.pos, soup.connect, 8);
    const mesh apart = apart_in_block(cube);
    expect_round_trip(apart.pos, apart.connect, 8);
}

TEST(stl_round_trip, a_surface_on_numbers_that_both_variants_can_hold) {
    const unsigned int n = 20;
    dense2D<double> pos(3, (n + 1) * (n + 1));
    dense2D<unsigned int> connect(3, 2 * std::size_t{n} * n);
    random_source random(5);
    for (unsigned int j = 0; j <= n; ++j) {
        for (unsigned int i = 0; i <= n; ++i) {
            double* const p = pos.column(j * (n + 1) + i);
            p[0] = i;
            p[1] = j;
            p[2] = static_cast<double>(random.below(64)) / 64;
        }
    }
    for (unsigned int j = 0; j < n; ++j) {
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * (n + 1) + i;
            unsigned int* const column = connect.column(2 * (j * n + i));
            column[0] = column[3] = a;
            column[1] = a + 1;
            column[2] = column[4] = a + n + 2;
            column[5] = a + n + 1;
        }
    }
    expect_round_trip(pos, connect, pos.cols());
}

TEST(stl_round_trip, every_mesh_of_the_zoo_gets_its_code_and_what_is_written_can_be_read) {
    for (const mesh& m : zoo()) {
        const bool fits = m.pos.empty() || m.pos.rows() == 3;
        const bool triangles = m.connect.empty() || m.connect.rows() == 3;
        const int expected = !fits ? -2 : !triangles ? -3 : 0;
        for (const bool text : {false, true}) {
            const scratch_stream stream;
            ASSERT_EQ(STL_output(stream.get(), m.pos, m.connect, text), expected) << m.name;
            if (expected != 0) continue;
            std::rewind(stream.get());
            dense2D<double> pos;
            dense2D<unsigned int> connect;
            ASSERT_EQ(STL_input(stream.get(), pos, connect), 0) << m.name;
            EXPECT_LE(connect.cols(), m.connect.cols()) << m.name;
        }
    }
}

TEST(stl_round_trip, an_empty_mesh) { expect_round_trip({}, {}, 0); }

TEST(stl_round_trip, nodes_that_no_triangle_uses_are_lost) {
    dense2D<double> pos = tetrahedron_points();
    expect_round_trip(pos, connectivity({{1, 2, 3}}), 3);
}

} // namespace
