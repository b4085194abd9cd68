// Meshes written as STL files.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "formats/meshes_for_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

file_mesh read_back(const std::string& text) {
    const scratch_stream stream(text);
    file_mesh m;
    file_report report;
    EXPECT_EQ(read_mesh(stream.get(), file_format::stl_text, m, report), 0);
    return m;
}

// The corners of the triangles, element by element.
std::vector<std::vector<double>> corners(const file_mesh& m) {
    std::vector<std::vector<double>> all(m.connect.cols());
    for (std::size_t c = 0; c < all.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t i = 0; i < 3; ++i) {
                all[c].push_back(i < m.pos.rows() ? m.pos(i, m.connect(r, c)) : 0.0);
            }
        }
    }
    return all;
}

std::string facet_text(const std::string& a, const std::string& b, const std::string& c) {
    return "   facet normal 0 0 1\n"
           "      outer loop\n"
           "         vertex " +
           a +
           "\n"
           "         vertex " +
           b +
           "\n"
           "         vertex " +
           c +
           "\n"
           "      endloop\n"
           "   endfacet\n";
}
const std::string lower = facet_text("0 0 0", "1 0 0", "1 1 0");
const std::string upper = facet_text("0 0 0", "1 1 0", "0 1 0");

// On arrays of its own.
file_mesh two_triangles() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}), ET_TRIA3,
                   {{0, 1, 2}, {0, 2, 3}});
}

TEST(stl_text_mesh, a_mesh_without_sets_is_a_solid_without_a_name) {
    const written_mesh file = written(two_triangles(), file_format::stl_text);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, "solid\n" + lower + upper + "endsolid\n");
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_TRUE(read_back(file.text).element_sets.empty());
}

TEST(stl_text_mesh, sets_of_elements_are_solids) {
    file_mesh m = two_triangles();
    m.element_sets = {set_of("low part", {0}), set_of("high", {1})};
    const written_mesh file = written(m, file_format::stl_text);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, "solid low part\n" + lower + "endsolid low part\nsolid high\n" + upper +
                             "endsolid high\n");
    EXPECT_TRUE(file.report.remarks().empty());
    const file_mesh back = read_back(file.text);
    ASSERT_EQ(back.element_sets.size(), 2U);
    EXPECT_EQ(back.element_sets[0].name, "low part");
    EXPECT_EQ(list(back.element_sets[1].ids), (std::vector<unsigned int>{1}));
}

TEST(stl_text_mesh, elements_of_no_set_come_first_and_another_order_is_told) {
    file_mesh m = two_triangles();
    m.element_sets = {set_of("low", {0})};
    const written_mesh file = written(m, file_format::stl_text);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, "solid\n" + upper + "endsolid\nsolid low\n" + lower + "endsolid low\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "element: 2 written in another order: sets are one after the other"}));
    EXPECT_FALSE(file.report.has_lost());

    m.element_sets = {set_of("high", {1})};
    const written_mesh ordered = written(m, file_format::stl_text);
    EXPECT_EQ(ordered.text,
              "solid\n" + lower + "endsolid\nsolid high\n" + upper + "endsolid high\n");
    EXPECT_TRUE(ordered.report.remarks().empty());
}

TEST(stl_text_mesh, sets_with_elements_in_common_or_without_any_are_lost) {
    file_mesh m = two_triangles();
    m.element_sets = {set_of("empty", {}), set_of("all", {0, 1}), set_of("low", {0})};
    EXPECT_EQ(written(m, file_format::stl_text).code, -4);
    const written_mesh file = written_lossy(m, file_format::stl_text);
    EXPECT_EQ(file.text, "solid all\n" + lower + upper + "endsolid all\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"set of elements: 2 not written: no element, or one that "
                                        "another set has as well"}));
}

TEST(stl_text_mesh, names_that_no_line_can_hold_are_changed) {
    file_mesh m = two_triangles();
    m.element_sets = {set_of("  a\nb\t", {0}), set_of(" \t", {1})};
    const written_mesh file = written(m, file_format::stl_text);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, "solid a?b\n" + lower + "endsolid a?b\nsolid solid 2\n" + upper +
                             "endsolid solid 2\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "set of elements: 2 renamed: a name is up to 200 characters of a line"}));
    EXPECT_EQ(read_back(file.text).element_sets[0].name, "a?b");

    const std::string umlaut = "Fl\xC3\xBCgel";
    m.element_sets = {set_of(std::string(201, 'x'), {0}), set_of(umlaut, {1})};
    const written_mesh cut = written(m, file_format::stl_text);
    const file_mesh back = read_back(cut.text);
    EXPECT_EQ(back.element_sets[0].name, std::string(200, 'x'));
    EXPECT_EQ(back.element_sets[1].name, umlaut);
    EXPECT_EQ(cut.report.remarks()[0].count, 1U);
    // The plain reader, whose lines end at 255 characters, takes it, too.
    const scratch_stream stream(cut.text);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    EXPECT_EQ(STL_input(stream.get(), pos, connect), 0);
    EXPECT_EQ(connect.cols(), 2U);
}

TEST(stl_text_mesh, triangles_with_mid_side_nodes_are_written_by_their_corners) {
    const dense2D<double> pos =
        points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 0.5, 0}, {0.5, 0.5, 0}, {0.5, 0, 0}});
    const file_mesh m = mesh_of(pos, {{ET_TRIA6, {0, 1, 2, 3, 4, 5}}, {ET_QUAD4, {0, 1, 2, 4}}});
    EXPECT_EQ(written(m, file_format::stl_text).code, -4);
    const written_mesh file = written_lossy(m, file_format::stl_text);
    EXPECT_EQ(file.text, "solid\n" + lower + "endsolid\n");
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"QUAD4: 1 not written: the format has no such element",
                                        "TRIA6: 1 written without some of its nodes: as TRIA3",
                                        "node: 3 not written: in no element that is written"}));
}

TEST(stl_mesh, a_normal_that_is_no_number_is_written_as_zeros) {
    const file_mesh m = mesh_of(points({{0, 0, 0}, {1e300, 0, 0}, {0, 1e300, 0}, {1, 1, 1}}),
                                ET_TRIA3, {{0, 1, 2}, {3, 3, 3}});
    const std::string text = written(m, file_format::stl_text).text;
    EXPECT_EQ(text.substr(0, 33), "solid\n   facet normal 0 0 0\n     ");
    EXPECT_EQ(text.find("nan"), std::string::npos);
    EXPECT_EQ(text.find("inf"), std::string::npos);
}

TEST(stl_binary_mesh, has_the_bytes_of_the_plain_writer) {
    const file_mesh m = two_triangles();
    const written_mesh file = written(m, file_format::stl_binary);
    EXPECT_EQ(file.code, 0);
    EXPECT_TRUE(file.report.remarks().empty());
    const scratch_stream plain;
    EXPECT_EQ(STL_output(plain.get(), m.pos, m.connect, false), 0);
    EXPECT_EQ(file.text, plain.contents());
}

TEST(stl_binary_mesh, coordinates_that_are_rounded_are_told) {
    file_mesh m = two_triangles();
    m.pos(0, 1) = 0.1;
    m.pos(2, 3) = 1.0 + 1e-15;
    const written_mesh file = written(m, file_format::stl_binary);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"coordinate: 2 rounded: the format has 24 bits"}));
    EXPECT_EQ(file.report.remarks()[0].kind, remark_kind::changed);
    m.element_sets = {set_of("all", {0, 1})};
    EXPECT_EQ(written(m, file_format::stl_binary).code, -4); // no solids in binary
}

TEST(stl_binary_mesh, facets_beyond_the_range_of_float_are_lost) {
    const double largest = 3.4028234663852886e38;
    file_mesh m = two_triangles();
    m.pos(0, 1) = largest;
    EXPECT_EQ(written(m, file_format::stl_binary).code, 0);
    m.pos(0, 1) = -3.4028235677973366e38; // half a step beyond, which is rounded up
    EXPECT_EQ(written(m, file_format::stl_binary).code, -4);
    const written_mesh file = written_lossy(m, file_format::stl_binary);
    EXPECT_EQ(file.text.size(), 134U);
    EXPECT_EQ(file.text[80], 1);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"facet: 1 not written: a coordinate is too large"}));
    EXPECT_EQ(read_back(file.text).connect.cols(), 1U);
}

TEST(stl_mesh, is_read_back_as_it_was) {
    random_source random(5);
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        // Points of a grid that is not too fine for the welding.
        const std::size_t n = random.between(3, 20);
        dense2D<double> pos(random.between(2, 3), n);
        for (std::size_t c = 0; c < n; ++c) {
            pos(0, c) = static_cast<double>(c) + 0.1;
            pos(1, c) = static_cast<double>(c * c);
            if (pos.rows() == 3) pos(2, c) = static_cast<double>(random.below(3)) / 3.0;
        }
        std::vector<std::vector<unsigned int>> triangles;
        for (std::size_t k = random.between(1, 12); k > 0; --k) {
            const unsigned int a = random.id_below(n - 2);
            triangles.push_back({a, a + 1, a + 2});
        }
        const file_mesh m = mesh_of(pos, ET_TRIA3, triangles);
        EXPECT_EQ(corners(read_back(written_lossy(m, file_format::stl_text).text)), corners(m));

        std::vector<std::vector<double>> rounded = corners(m);
        for (auto& triangle : rounded) {
            for (double& x : triangle) x = static_cast<double>(static_cast<float>(x));
        }
        EXPECT_EQ(corners(read_back(written_lossy(m, file_format::stl_binary).text)), rounded);
    }
}

// The solids of a text, written down by a plain search for the set of each element.
TEST(stl_text_mesh, random_sets_are_the_solids_that_a_plain_search_finds) {
    random_source random(6);
    for (std::uint64_t run = 0; run < nbr_runs(300); ++run) {
        const std::size_t n = random.below(8);
        file_mesh m = random_mesh(random, {ET_TRIA3, ET_BAR2}, 5, n);
        for (std::size_t s = random.below(5); s > 0; --s) {
            std::vector<unsigned int> ids;
            for (unsigned int c = 0; c < n; ++c) {
                if (random.one_in(4)) ids.push_back(c);
            }
            m.element_sets.push_back(set_of("set" + std::to_string(s), ids));
        }
        std::vector<std::size_t> type_of(n);
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                type_of[c] = static_cast<std::size_t>(m.types[k]);
            }
        }
        std::vector<std::string> solid_of(n);
        std::vector<std::string> order{""};
        for (const named_set& set : m.element_sets) {
            bool is_free = true;
            bool has_any = false;
            for (const unsigned int c : set.ids) {
                if (type_of[c] != ET_TRIA3) continue;
                is_free = is_free && solid_of[c].empty();
                has_any = true;
            }
            if (!is_free || !has_any) continue;
            for (const unsigned int c : set.ids) {
                if (type_of[c] == ET_TRIA3) solid_of[c] = set.name;
            }
            order.push_back(set.name);
        }
        std::string expected;
        for (const std::string& solid : order) {
            std::string facets;
            for (std::size_t c = 0; c < n; ++c) {
                if (type_of[c] != ET_TRIA3 || solid_of[c] != solid) continue;
                const std::vector<unsigned int> nodes{m.connect(0, c), m.connect(1, c),
                                                      m.connect(2, c)};
                const file_mesh alone = mesh_of(m.pos, ET_TRIA3, {nodes});
                const std::string text = written_lossy(alone, file_format::stl_text).text;
                facets += text.substr(6, text.size() - 15);
            }
            const std::string name = solid.empty() ? "\n" : " " + solid + "\n";
            if (!facets.empty() || order.size() == 1) {
                expected += "solid" + name + facets + "endsolid" + name;
            }
        }
        EXPECT_EQ(written_lossy(m, file_format::stl_text).text, expected);
    }
}

} // namespace
