#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "core/memory_hook.h"
#include "formats/plain_stl.h"
#include "formats/scratch_files.h"
#include "repair/plain_merge.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using corners = std::array<vector3, 3>;

const corners right_angle{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}};
const corners other_half{{{1, 0, 0}, {1, 1, 0}, {0, 1, 0}}};

std::string number(double v) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}

std::string text_facet(const corners& facet) {
    std::string text = "facet normal 0 0 1\nouter loop\n";
    for (const vector3& p : facet) {
        text += "vertex " + number(p[0]) + ' ' + number(p[1]) + ' ' + number(p[2]) + '\n';
    }
    return text + "endloop\nendfacet\n";
}

std::string text_solid(const std::vector<corners>& facets) {
    std::string text = "solid x\n";
    for (const corners& facet : facets) text += text_facet(facet);
    return text + "endsolid x\n";
}

std::string binary_header(std::int32_t count, const std::string& title = "") {
    std::string bytes = title;
    bytes.resize(80, ' ');
    append_bytes(bytes, count);
    return bytes;
}

std::string binary_facet(const corners& facet) {
    std::string bytes;
    for (int k = 0; k < 3; ++k) append_bytes(bytes, 0.25F);
    for (const vector3& p : facet) {
        for (const double v : p) append_bytes(bytes, static_cast<float>(v));
    }
    return bytes + "\1\2";
}

std::string binary_file(const std::vector<corners>& facets, const std::string& title = "") {
    std::string bytes = binary_header(static_cast<std::int32_t>(facets.size()), title);
    for (const corners& facet : facets) bytes += binary_facet(facet);
    return bytes;
}

// What both overloads make of a file. They must agree, and empty arrays that hold something else.
surface read(const std::string& bytes) {
    dense2D<double> pos(2, 4, 1.0);
    dense2D<unsigned int> connect(5, 3, 1U);
    const scratch_stream stream(bytes);
    const int code = STL_input(stream.get(), pos, connect);
    EXPECT_TRUE(pos.empty() || (pos.rows() == 3 && pos.ld() == 3));
    EXPECT_TRUE(connect.empty() || connect.rows() == 3);

    dense2D<double> pos_by_name(2, 4, 1.0);
    dense2D<unsigned int> connect_by_name(5, 3, 1U);
    const scratch_file file(bytes);
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(STL_input(file.name(), pos_by_name, connect_by_name), code);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    EXPECT_TRUE(same_bits(pos_by_name, pos));
    EXPECT_EQ(list(connect_by_name), list(connect));
    return {code, list(pos), list(connect)};
}

void expect_nothing(const surface& mesh, int code) {
    EXPECT_EQ(mesh.code, code);
    EXPECT_TRUE(mesh.points.empty());
    EXPECT_TRUE(mesh.triangles.empty());
}

// Two triangles on four nodes.
void expect_square(const surface& mesh) {
    EXPECT_EQ(mesh.code, 0);
    EXPECT_EQ(mesh.points,
              (std::vector<std::vector<double>>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}));
    EXPECT_EQ(mesh.triangles, (column_list{{0, 1, 2}, {1, 3, 2}}));
}

// Text ----------------------------------------------------------------------------------------

TEST(stl_text_input, a_solid_without_facets_gives_empty_arrays) {
    expect_nothing(read("solid x\nendsolid x\n"), 0);
    expect_nothing(read("solid x\nendsolid x"), 0);
}

TEST(stl_text_input, facets_become_a_welded_mesh) {
    expect_square(read(text_solid({right_angle, other_half})));
}

TEST(stl_text_input, shared_vertices_of_two_solids_are_welded) {
    expect_square(read(text_solid({right_angle}) + text_solid({other_half})));
}

TEST(stl_text_input, upper_case_spellings_pass) {
    expect_square(
        read("SOLID x\n"
             "FACET NORMAL 0 0 1\nOuter Loop\nVERTEX 0 0 0\nVertex 1 0 0\nverteX 0 1E0 0\n"
             "EndLoop\nENDFACET\n" +
             text_facet(other_half) + "EndSolid\n"));
}

TEST(stl_text_input, line_ends_with_carriage_returns_and_blank_space_pass) {
    std::string text = text_solid({right_angle, other_half});
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 4) {
        text.replace(at, 1, "\t \r\n  ");
    }
    // What stands behind the last line end is a line of its own, and no solid.
    text.resize(text.rfind('\n') + 1);
    expect_square(read(text));
}

TEST(stl_text_input, the_first_line_may_hold_solid_anywhere) {
    expect_nothing(read("my first isolide\nendsolid\n"), 0);
    expect_nothing(read("endsolid\nendsolid\n"), 0);
}

TEST(stl_text_input, color_lines_before_facets_and_before_the_end_are_skipped) {
    expect_square(read("solid x\ncolor 1 0 0\nCOLOR 2\n" + text_facet(right_angle) + "  color\n" +
                       text_facet(other_half) + "color\nendsolid\n"));
}

TEST(stl_text_input, a_color_line_inside_a_facet_breaks_the_text) {
    expect_nothing(read("solid x\nfacet normal 0 0 1\ncolor 1 0 0\nouter loop\nvertex 0 0 0\n"
                        "vertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid\n"),
                   -3);
}

TEST(stl_text_input, color_is_looked_for_before_endsolid) {
    // The end is taken for a color, so the file has none.
    expect_nothing(read("solid colored\nendsolid colored\n"), -2);
    expect_nothing(read("solid colored\nendsolid colored\nendsolid\n"), 0);
}

TEST(stl_text_input, the_line_behind_endsolid_may_be_a_facet) {
    expect_square(read("solid x\n" + text_facet(right_angle) + "endsolid x\n" +
                       text_facet(other_half) + "endsolid\n"));
}

TEST(stl_text_input, a_color_line_behind_endsolid_is_taken_for_a_facet) {
    expect_nothing(read("solid x\nendsolid x\ncolor 1\nsolid y\nendsolid y\n"), -2);
}

TEST(stl_text_input, an_empty_line_behind_endsolid_is_taken_for_a_facet) {
    expect_nothing(read("solid x\nendsolid x\n\n"), -2);
}

TEST(stl_text_input, a_second_endsolid_leads_to_another_solid) {
    expect_square(read("solid x\n" + text_facet(right_angle) + "endsolid\nendsolid\n" +
                       text_facet(other_half) + "endsolid\n"));
    expect_nothing(read("solid x\nendsolid\nendsolid\n"), -2);
}

TEST(stl_text_input, without_endsolid_the_verdict_is_that_on_a_binary_file) {
    expect_nothing(read("solid x\n"), -2);
    const std::string text = "solid x\n" + text_facet(right_angle);
    ASSERT_GT(text.size(), 84U);
    expect_nothing(read(text), -3);
}

TEST(stl_text_input, blanks_between_words_and_numbers_may_be_missing_where_this_is_clear) {
    expect_square(read("solid\nfacetnormal0 0 1\nouter loop\nvertex0 0 0\nvertex1+0-0\n"
                       "vertex.0 1. 0\nendloop\nendfacet\n" +
                       text_facet(other_half) + "endsolid\n"));
}

TEST(stl_text_input, numbers_are_read_in_all_spellings) {
    const surface mesh =
        read("solid\nfacet normal nan inf -inf\nouter loop\nvertex +1 1e5 1.e-3\n"
             "vertex .5 0x10 0x1.8p+1\nvertex -0 1E2 000012.50\nendloop\nendfacet\nendsolid\n");
    EXPECT_EQ(mesh.code, 0);
    EXPECT_EQ(mesh.points,
              (std::vector<std::vector<double>>{{1, 1e5, 1e-3}, {0.5, 16, 3}, {-0.0, 100, 12.5}}));
}

TEST(stl_text_input, more_words_behind_three_numbers_do_no_harm) {
    expect_square(read("solid\nfacet normal 0 0 1 1 x\nsome outer loop\nvertex 0 0 0 7\n"
                       "vertex 1 0 0d\nvertex 0 1 0\nthe endloop here\nendfacet.\n" +
                       text_facet(other_half) + "endsolid\n"));
}

// The first line, of `length` characters without its end, and a facetless solid behind it.
std::string with_first_line(std::size_t length, const std::string& end) {
    std::string line = "solid ";
    line.resize(length - end.size(), 'x');
    return line + end + "\nendsolid\n";
}

TEST(stl_text_input, a_line_holds_255_characters_with_its_end) {
    expect_nothing(read(with_first_line(254, "")), 0);
    expect_nothing(read(with_first_line(255, "")), -3);
    expect_nothing(read(with_first_line(300, "")), -3);
}

TEST(stl_text_input, the_rest_of_a_long_line_is_a_line_of_its_own) {
    expect_nothing(read(with_first_line(300, "color")), 0);
    // 255 characters, then a line that ends the solid.
    std::string text = with_first_line(255, "");
    text.erase(text.find('\n'), 1);
    expect_nothing(read(text), 0);
}

TEST(stl_text_input, a_vertex_may_stand_at_the_end_of_a_line_of_255_characters) {
    std::string facet = text_facet(right_angle);
    const std::size_t vertex = facet.find("vertex 0 0 0\n");
    facet.insert(vertex, 255 - std::string("vertex 0 0 0\n").size(), ' ');
    expect_square(read("solid\n" + facet + text_facet(other_half) + "endsolid\n"));
    facet.insert(vertex, 1, ' ');
    EXPECT_EQ(read("solid\n" + facet + text_facet(other_half) + "endsolid\n").code, -3);
}

TEST(stl_text_input, a_line_ends_for_us_at_a_NUL) {
    std::string text = text_solid({right_angle, other_half});
    text.insert(text.find("endloop") + 7, std::string("\0junk", 5));
    expect_square(read(text));
    text = text_solid({right_angle, other_half});
    text.insert(text.find("endloop"), std::string("\0", 1));
    EXPECT_EQ(read(text).code, -3);
}

TEST(stl_text_input, every_line_of_a_facet_is_required) {
    const std::vector<std::string> lines{
        "facet normal 0 0 1\n", "outer loop\n", "vertex 0 0 0\n", "vertex 1 0 0\n",
        "vertex 0 1 0\n",       "endloop\n",    "endfacet\n"};
    const std::string tail = text_solid({right_angle, other_half});
    for (std::size_t gone = 0; gone < lines.size(); ++gone) {
        std::string text = "solid\n";
        for (std::size_t k = 0; k < lines.size(); ++k) {
            if (k != gone) text += lines[k];
        }
        expect_nothing(read(text + "endsolid\n" + tail), -3);
    }
}

TEST(stl_text_input, a_vertex_or_normal_of_two_numbers_breaks_the_text) {
    const std::string good = text_solid({right_angle, other_half});
    for (const std::string word : {"facet normal 0 0 1", "vertex 1 0 0"}) {
        std::string text = good;
        text.erase(text.find(word) + word.size() - 1, 1);
        expect_nothing(read(text), -3);
        text.insert(text.find(word.substr(0, word.size() - 1)) + word.size() - 1, "x");
        expect_nothing(read(text), -3);
    }
}

TEST(stl_text_input, a_text_cut_at_any_byte_gets_the_verdict_of_the_plain_reader) {
    const std::string text = "solid a\n color 1\n" + text_facet(right_angle) +
                             text_facet(other_half) + "endsolid a\nsolid b\nendsolid";
    for (std::size_t n = 0; n <= text.size(); ++n) {
        const std::string start = text.substr(0, n);
        const surface expected = plain_stl_input(start);
        const surface mesh = read(start);
        ASSERT_EQ(mesh.code, expected.code) << n;
        ASSERT_EQ(mesh.points, expected.points) << n;
        ASSERT_EQ(mesh.triangles, expected.triangles) << n;
    }
}

TEST(stl_text_input, a_text_can_be_read_from_a_pipe) {
    std::FILE* const pipe = popen("printf 'solid\\nendsolid\\n'", "r");
    ASSERT_TRUE(pipe);
    dense2D<double> pos(3, 1);
    dense2D<unsigned int> connect(3, 1);
    EXPECT_EQ(STL_input(pipe, pos, connect), 0);
    EXPECT_TRUE(pos.empty() && connect.empty());
    pclose(pipe);
}

// Binary --------------------------------------------------------------------------------------

TEST(stl_binary_input, facets_become_a_welded_mesh) {
    expect_square(read(binary_file({right_angle, other_half})));
}

TEST(stl_binary_input, a_header_that_begins_with_solid_does_not_mislead) {
    expect_square(read(binary_file({right_angle, other_half}, "solid made of steel")));
    expect_square(read(binary_file({right_angle, other_half}, "solid x\nendsolid x\n")));
    expect_square(
        read(binary_file({right_angle, other_half},
                         "solid x\nfacet normal 0 0 1\nouter loop\nvertex 5 5 5\nvertex 6 5 5\n")));
}

TEST(stl_binary_input, a_count_of_zero_or_below_gives_empty_arrays) {
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        expect_nothing(read(binary_header(count)), 0);
        expect_nothing(read(binary_header(count) + binary_facet(right_angle)), 0);
    }
}

TEST(stl_binary_input, a_file_cut_at_any_byte_is_refused) {
    const std::string bytes = binary_file({right_angle, other_half});
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        expect_nothing(read(bytes.substr(0, n)), n < 80 ? -2 : -3);
    }
}

TEST(stl_binary_input, missing_attribute_bytes_of_the_last_facet_are_a_truncation) {
    const std::string bytes = binary_file({right_angle, other_half});
    expect_nothing(read(bytes.substr(0, bytes.size() - 1)), -3);
    expect_nothing(read(bytes.substr(0, bytes.size() - 2)), -3);
}

std::size_t most_bytes_asked_for;
bool note_size(std::size_t bytes) noexcept {
    most_bytes_asked_for = std::max(most_bytes_asked_for, bytes);
    return bytes < (std::size_t{1} << 26);
}

TEST(stl_binary_input, a_huge_count_takes_no_memory_that_the_file_does_not_fill) {
    most_bytes_asked_for = 0;
    const memory_hook before = set_memory_hook(note_size);
    expect_nothing(
        read(binary_header(std::numeric_limits<std::int32_t>::max()) + binary_facet(right_angle)),
        -3);
    set_memory_hook(before);
    EXPECT_LT(most_bytes_asked_for, std::size_t{1} << 24);
}

TEST(stl_binary_input, normals_have_no_influence) {
    std::string bytes = binary_file({right_angle, other_half});
    for (std::size_t facet = 0; facet < 2; ++facet) {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(84 + 50 * facet), 12, '\xFF');
    }
    expect_square(read(bytes));
}

TEST(stl_binary_input, coordinates_that_are_not_finite_are_kept_and_welded_to_nothing) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::nan("");
    const surface mesh = read(binary_file({right_angle,
                                           {{{infinity, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                                           {{{infinity, 0, 0}, {nan, 0, 0}, {nan, 0, 0}}}}));
    EXPECT_EQ(mesh.code, 0);
    EXPECT_EQ(mesh.triangles, (column_list{{0, 1, 2}, {3, 1, 2}, {4, 5, 6}}));
    ASSERT_EQ(mesh.points.size(), 7U);
    EXPECT_EQ(mesh.points[3][0], infinity);
    EXPECT_EQ(mesh.points[4][0], infinity);
    EXPECT_TRUE(std::isnan(mesh.points[5][0]) && std::isnan(mesh.points[6][0]));
}

TEST(stl_binary_input, the_stream_is_left_behind_the_last_facet) {
    for (const std::size_t nbr_facets : {0U, 1U, 2U, 5000U}) {
        std::vector<corners> facets(nbr_facets, right_angle);
        for (std::size_t k = 0; k < nbr_facets; ++k) {
            for (vector3& corner : facets[k]) corner[2] = static_cast<double>(k);
        }
        const scratch_stream stream("begin" + binary_file(facets) + "middle" +
                                    binary_file({other_half}, "solid") + "end");
        char word[8] = {};
        ASSERT_EQ(std::fread(word, 1, 5, stream.get()), 5U);
        dense2D<double> pos;
        dense2D<unsigned int> connect;
        EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
        EXPECT_EQ(connect.cols(), nbr_facets);
        EXPECT_EQ(static_cast<std::size_t>(std::ftell(stream.get())), 5 + 84 + 50 * nbr_facets);
        ASSERT_EQ(std::fread(word, 1, 6, stream.get()), 6U);
        EXPECT_STREQ(word, "middle");
        EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
        EXPECT_EQ(connect.cols(), 1U);
        EXPECT_EQ(std::fgetc(stream.get()), 'e');
        EXPECT_FALSE(std::ferror(stream.get()));
    }
}

TEST(stl_binary_input, a_truncated_file_leaves_the_stream_at_its_end) {
    const std::string bytes = binary_file({right_angle, other_half});
    for (const std::size_t n : {0U, 79U, 80U, 100U, 182U}) {
        const scratch_stream stream(bytes.substr(0, n));
        dense2D<double> pos;
        dense2D<unsigned int> connect;
        EXPECT_LT(STL_input(stream.get(), pos, connect), 0);
        EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(n));
    }
}

// Welding -------------------------------------------------------------------------------------

corners shifted_half(double dx) { return {{{1 + dx, 0, 0}, {1, 1, 0}, {0, 1, 0}}}; }

TEST(stl_weld, nodes_closer_than_a_twentieth_of_the_smallest_height_become_one) {
    // The smallest height is that of the shifted triangle, about 0.695.
    EXPECT_EQ(read(text_solid({right_angle, shifted_half(0.0347)})).points.size(), 4U);
    EXPECT_EQ(read(text_solid({right_angle, shifted_half(0.0348)})).points.size(), 5U);
    EXPECT_EQ(read(binary_file({right_angle, shifted_half(0.0347)})).points.size(), 4U);
    EXPECT_EQ(read(binary_file({right_angle, shifted_half(0.0348)})).points.size(), 5U);
}

TEST(stl_weld, the_smallest_height_is_that_of_all_triangles) {
    const corners flat{{{5, 0, 0}, {6, 0, 0}, {5.5, 0.1, 0}}};
    EXPECT_EQ(read(text_solid({right_angle, shifted_half(0.005), flat})).points.size(), 4U + 3U);
    EXPECT_EQ(read(text_solid({right_angle, shifted_half(0.006), flat})).points.size(), 5U + 3U);
    EXPECT_EQ(read(binary_file({flat, right_angle, shifted_half(0.006)})).points.size(), 5U + 3U);
}

TEST(stl_weld, triangles_without_height_have_no_say_in_the_tolerance_and_go) {
    const corners in_a_line{{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}};
    const corners point{{{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}};
    const surface mesh = read(text_solid({point, right_angle, in_a_line, shifted_half(0.03)}));
    EXPECT_EQ(mesh.code, 0);
    // The point is the first to be seen; the line keeps three nodes and stays.
    EXPECT_EQ(mesh.triangles, (column_list{{1, 0, 2}, {1, 0, 3}, {0, 4, 2}}));
    EXPECT_EQ(mesh.points, (std::vector<std::vector<double>>{
                               {1, 0, 0}, {0, 0, 0}, {0, 1, 0}, {2, 0, 0}, {1, 1, 0}}));
}

TEST(stl_weld, only_degenerate_facets_are_left_as_they_are) {
    const corners point{{{1, 2, 3}, {1, 2, 3}, {1, 2, 3}}};
    for (const std::string& bytes : {text_solid({point, point}), binary_file({point, point})}) {
        const surface mesh = read(bytes);
        EXPECT_EQ(mesh.code, 0);
        EXPECT_EQ(mesh.triangles, (column_list{{0, 1, 2}, {3, 4, 5}}));
        EXPECT_EQ(mesh.points, std::vector<std::vector<double>>(6, {1, 2, 3}));
    }
}

TEST(stl_weld, one_facet_keeps_its_nodes) {
    const surface mesh = read(text_solid({right_angle}));
    EXPECT_EQ(mesh.triangles, (column_list{{0, 1, 2}}));
    EXPECT_EQ(mesh.points.size(), 3U);
}

TEST(stl_weld, negative_zero_is_welded_to_zero_and_the_first_to_be_seen_stays) {
    const corners below_zero{{{-0.0, 0, 0}, {1, 0, -0.0}, {0, -1, 0}}};
    const surface mesh = read(text_solid({below_zero, right_angle}));
    EXPECT_EQ(mesh.triangles, (column_list{{0, 1, 2}, {0, 1, 3}}));
    EXPECT_TRUE(std::signbit(mesh.points[0][0]));
    EXPECT_TRUE(std::signbit(mesh.points[1][2]));
}

TEST(stl_weld, triangles_that_collapse_in_welding_go) {
    // The needle is high enough to count, and its base is below a twentieth of the others' heights,
    // but not of its own.
    const corners needle{{{3, 0, 0}, {3.02, 0, 0}, {3, 9, 0}}};
    const surface with_needle = read(text_solid({right_angle, needle}));
    EXPECT_EQ(with_needle.triangles.size(), 2U);
    const corners repeated{{{0, 0, 0}, {1, 0, 0}, {0, 0, 0}}};
    EXPECT_EQ(read(text_solid({right_angle, repeated})).triangles, (column_list{{0, 1, 2}}));
}

// A sheet of right triangles, in rows.
std::string sheet(std::size_t nx, std::size_t ny) {
    std::string bytes = binary_header(static_cast<std::int32_t>(2 * nx * ny));
    for (std::size_t j = 0; j < ny; ++j) {
        for (std::size_t i = 0; i < nx; ++i) {
            const double x = static_cast<double>(i);
            const double y = static_cast<double>(j);
            bytes += binary_facet({{{x, y, 0}, {x + 1, y, 0}, {x, y + 1, 0}}});
            bytes += binary_facet({{{x + 1, y, 0}, {x + 1, y + 1, 0}, {x, y + 1, 0}}});
        }
    }
    return bytes;
}

void expect_sheet(const dense2D<double>& pos, const dense2D<unsigned int>& connect, std::size_t nx,
                  std::size_t ny) {
    for (std::size_t c = 0; c < 2 * nx * ny; ++c) {
        const std::size_t i = c / 2 % nx;
        const std::size_t j = c / 2 / nx;
        ASSERT_EQ(coordinates_of(pos, connect(1, c)),
                  (coordinates{static_cast<double>(i + 1), static_cast<double>(j + c % 2), 0}));
    }
    // Nodes stand in the order in which they are first seen.
    unsigned int seen = 0;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            ASSERT_LE(connect(r, c), seen);
            seen += connect(r, c) == seen;
        }
    }
    EXPECT_EQ(seen, pos.cols());
}

TEST(stl_weld, a_sheet_of_more_than_a_hundred_thousand_facets_is_closed_over_all_blocks) {
    const std::size_t nx = 250;
    const std::size_t ny = 202;
    const scratch_stream stream(sheet(nx, ny));
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    ASSERT_EQ(STL_input(stream.get(), pos, connect), 0);
    ASSERT_EQ(connect.cols(), 2 * nx * ny);
    ASSERT_EQ(pos.cols(), (nx + 1) * (ny + 1));
    expect_sheet(pos, connect, nx, ny);
}

TEST(stl_weld, a_corner_that_is_no_position_does_not_keep_a_large_sheet_from_being_closed) {
    const std::size_t nx = 250;
    const std::size_t ny = 202;
    std::string bytes =
        sheet(nx, ny) + binary_facet({{{std::nan(""), 0, 0}, {0, 0, 0}, {1, 0, 0}}});
    bytes.replace(0, 84, binary_header(static_cast<std::int32_t>(2 * nx * ny + 1)));
    const scratch_stream stream(bytes);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    ASSERT_EQ(STL_input(stream.get(), pos, connect), 0);
    ASSERT_EQ(connect.cols(), 2 * nx * ny + 1);
    ASSERT_EQ(pos.cols(), (nx + 1) * (ny + 1) + 1);
    expect_sheet(pos, connect, nx, ny);
}

// Streams and names ---------------------------------------------------------------------------

TEST(stl_input_file, a_null_stream_gives_minus_1_and_empty_arrays) {
    dense2D<double> pos(3, 1);
    dense2D<unsigned int> connect(3, 1);
    EXPECT_EQ(STL_input(static_cast<std::FILE*>(nullptr), pos, connect), -1);
    EXPECT_TRUE(pos.empty() && connect.empty());
}

TEST(stl_input_file, a_stream_in_error_gives_minus_1_and_empty_arrays) {
    const scratch_file file(text_solid({right_angle}));
    std::FILE* const stream = std::fopen(file.name(), "rb");
    ASSERT_TRUE(stream);
    std::fputc('x', stream);
    ASSERT_TRUE(std::ferror(stream));
    dense2D<double> pos(3, 1);
    dense2D<unsigned int> connect(3, 1);
    EXPECT_EQ(STL_input(stream, pos, connect), -1);
    EXPECT_TRUE(pos.empty() && connect.empty());
    std::clearerr(stream);
    EXPECT_EQ(STL_input(stream, pos, connect), 0);
    std::fclose(stream);
}

TEST(stl_input_file, a_file_that_can_not_be_opened_gives_minus_1_and_empty_arrays) {
    const scratch_file file;
    dense2D<double> pos(3, 1);
    dense2D<unsigned int> connect(3, 1);
    EXPECT_EQ(STL_input(file.name(), pos, connect), -1);
    EXPECT_TRUE(pos.empty() && connect.empty());
    EXPECT_FALSE(file.exists());
}

TEST(stl_input_file, a_directory_is_a_file_without_contents) {
    dense2D<double> pos(3, 1);
    dense2D<unsigned int> connect(3, 1);
    EXPECT_EQ(STL_input(testing::TempDir().c_str(), pos, connect), -2);
    EXPECT_TRUE(pos.empty() && connect.empty());
}

TEST(stl_input_file, an_empty_file_gives_minus_2) { expect_nothing(read(""), -2); }

TEST(stl_input_file, a_text_is_read_from_where_the_stream_stands_to_its_end) {
    const std::string text = text_solid({right_angle, other_half});
    const scratch_stream stream("solid of another kind\n" + text);
    std::fseek(stream.get(), 22, SEEK_SET);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
    expect_square({0, list(pos), list(connect)});
    EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(22 + text.size()));
}

TEST(stl_input_file, the_second_attempt_begins_where_the_first_did) {
    const scratch_stream stream("solid\n" + binary_file({right_angle, other_half}, "solid\n"));
    std::fseek(stream.get(), 6, SEEK_SET);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
    expect_square({0, list(pos), list(connect)});
}

TEST(stl_input_file, the_stream_stays_open) {
    const scratch_stream stream(text_solid({right_angle}));
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    std::rewind(stream.get());
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
}

TEST(stl_input_file, other_views_on_the_arrays_of_the_caller_do_not_disturb) {
    dense2D<double> pos(3, 2, 7.0);
    dense2D<unsigned int> connect(3, 2, 7U);
    const dense2D<double> other_pos(pos);
    const dense2D<unsigned int> other_connect(connect);
    const scratch_stream stream(text_solid({right_angle, other_half}));
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
    expect_square({0, list(pos), list(connect)});
    EXPECT_EQ(other_pos.cols(), 2U);
    EXPECT_EQ(other_connect.cols(), 2U);
}

} // namespace
