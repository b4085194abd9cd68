// Meshes written as NASTRAN bulk data.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "formats/mesh_files.h"
#include "formats/mesh_round_trips.h"
#include "formats/meshes_for_files.h"
#include "formats/plain_deck.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::string of_a_triangle =
    "BEGIN BULK\n"
    "GRID*                  1                              0.              0.*\n"
    "*                     0.\n"
    "GRID*                  2                              1.              0.*\n"
    "*                    -.5\n"
    "GRID*                  3                              0.           1.+20*\n"
    "*               .0000002\n"
    "CTRIA3         1       1       1       2       3\n"
    "ENDDATA\n";

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, -0.5}, {0, 1e20, 2e-7}}), ET_TRIA3, {{0, 1, 2}});
}

TEST(nastran_mesh_output, of_a_triangle_is_this_text) {
    const written_mesh file = written(triangle(), file_format::nastran);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, of_a_triangle);
    EXPECT_TRUE(file.report.remarks().empty());
}

TEST(nastran_mesh_output, has_the_numbers_and_properties_of_the_mesh) {
    file_mesh m = triangle();
    m.node_numbers = vector_of<unsigned int>({300, 7, 99999999});
    m.element_numbers = vector_of<unsigned int>({12});
    m.pids = vector_of<unsigned int>({5});
    const written_mesh file = written(m, file_format::nastran);
    EXPECT_EQ(file.code, 0);
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_NE(file.text.find("CTRIA3        12       5     300       799999999\n"),
              std::string::npos);
    EXPECT_NE(file.text.find("GRID*                300     "), std::string::npos);

    // Longer numbers need large fields.
    m.node_numbers = vector_of<unsigned int>({300, 7, 100000000});
    EXPECT_NE(written(m, file_format::nastran)
                  .text.find("CTRIA3*               12               5             300"
                             "               7*\n"
                             "*              100000000\n"),
              std::string::npos);
}

TEST(nastran_mesh_output, long_numbers_are_noted) {
    file_mesh m = triangle();
    m.node_numbers = vector_of<unsigned int>({300, 4000000000, 100000000});
    m.element_numbers = vector_of<unsigned int>({99999999});
    m.pids = vector_of<unsigned int>({4294967294});
    const written_mesh file = written(m, file_format::nastran);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "number of a node: 2 above 99999999: not all programs read such numbers",
                  "property of an element: 1 above 99999999: not all programs read such numbers"}));
    EXPECT_EQ(file.report.remarks()[0].kind, remark_kind::note);
}

TEST(nastran_mesh_output, numbers_that_are_none_or_come_twice_are_replaced) {
    for (const std::vector<unsigned int>& numbers :
         {std::vector<unsigned int>{4, 5, 4}, {0, 5, 6}, {5, none, 6}, {7, 7, 8}}) {
        file_mesh m = triangle();
        m.node_numbers = vector_of(numbers);
        m.element_numbers = vector_of<unsigned int>({0});
        EXPECT_EQ(written(m, file_format::nastran).code, -4);
        const written_mesh file = written_lossy(m, file_format::nastran);
        EXPECT_EQ(file.text, of_a_triangle);
        EXPECT_EQ(file.sentences(),
                  (std::vector<std::string>{"number of a node: 3 replaced: the format asks for "
                                            "different numbers from 1 to 4294967294",
                                            "number of an element: 1 replaced: the format asks for "
                                            "different numbers from 1 to 4294967294"}));
    }
}

TEST(nastran_mesh_output, a_property_of_0_is_written_as_1) {
    file_mesh m = triangle();
    for (const unsigned int pid : {0U, none}) {
        m.pids = vector_of<unsigned int>({pid});
        EXPECT_EQ(written(m, file_format::nastran).code, -4);
        const written_mesh file = written_lossy(m, file_format::nastran);
        EXPECT_EQ(file.text, of_a_triangle);
        EXPECT_EQ(file.sentences().back(), "property of an element: 1 written as 1: a property is "
                                           "a number from 1 to 4294967294");
    }
}

TEST(nastran_mesh_output, a_bar_without_a_property_is_on_the_card_that_has_none) {
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}),
                          {{ET_BAR2, {0, 1}}, {ET_BAR2, {1, 2}}, {ET_BAR3, {0, 2, 1}}});
    m.pids = vector_of<unsigned int>({0, 3, 0});
    const written_mesh file = written_lossy(m, file_format::nastran);
    EXPECT_NE(file.text.find("CONROD         1       1       2\n"
                             "CBAR           2       3       2       3\n"
                             "CONROD         3       1       3\n"),
              std::string::npos);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"BAR3: 1 written without some of its nodes: as BAR2"}));
    EXPECT_EQ(list(read_as(file_format::nastran, file.text).m.pids), list(m.pids));
}

TEST(nastran_mesh_output, rounded_coordinates_are_counted) {
    const file_mesh m = mesh_of(points({{1.0 / 3.0, 0.5, 1.0 / 7.0}, {0.1, 0.2, 0.3}}),
                                std::vector<test_element>());
    const written_mesh file = written(m, file_format::nastran);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{"coordinate: 2 rounded: a field has 16 characters"}));
    EXPECT_EQ(file.report.remarks()[0].kind, remark_kind::changed);
    write_options options;
    options.digits = 15;
    EXPECT_TRUE(written(m, file_format::nastran, options).report.remarks().empty());
}

// The nodes of each type by the cards of the format: corners, then the middles of edges.
struct card_of_type {
    element_type type;
    std::string keyword;
    std::vector<std::string> nodes;
};
const std::vector<card_of_type> cards{
    {ET_BAR2, "CBAR", {"1", "2"}},
    {ET_BAR3, "CBAR", {"1", "2"}},
    {ET_TRIA3, "CTRIA3", {"1", "2", "3"}},
    {ET_TRIA6, "CTRIA6", {"1", "2", "3", "6", "4", "5"}},
    {ET_QUAD4, "CQUAD4", {"1", "2", "3", "4"}},
    {ET_QUAD8, "CQUAD8", {"1", "2", "3", "4", "5", "6", "7", "8"}},
    {ET_QUAD9, "CQUAD", {"1", "2", "3", "4", "5", "6", "7", "8", "9"}},
    {ET_TETRA4, "CTETRA", {"1", "3", "2", "4"}},
    {ET_TETRA10, "CTETRA", {"1", "3", "2", "4", "6", "5", "7", "8", "10", "9"}},
    {ET_PYRA5, "CPYRAM", {"1", "2", "3", "4", "5"}},
    {ET_PYRA14, "CPYRAM", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13"}},
    {ET_PENTA6, "CPENTA", {"1", "2", "3", "4", "5", "6"}},
    // Edges 0-1, 1-2, 2-0, then 0-3, 1-4, 2-5, then 3-4, 4-5, 5-3.
    {ET_PENTA15,
     "CPENTA",
     {"1", "2", "3", "4", "5", "6", "12", "10", "11", "7", "8", "9", "15", "13", "14"}},
    {ET_PENTA18,
     "CPENTA",
     {"1", "2", "3", "4", "5", "6", "12", "10", "11", "7", "8", "9", "15", "13", "14"}},
    {ET_HEXA8, "CHEXA", {"1", "2", "3", "4", "5", "6", "7", "8"}},
    {ET_HEXA20, "CHEXA", {"1",  "2",  "3",  "4",  "5",  "6",  "7",  "8",  "9",  "10",
                          "11", "12", "17", "18", "19", "20", "13", "14", "15", "16"}},
};

TEST(nastran_mesh_output, each_type_has_its_card_and_order) {
    for (const bool is_large : {false, true}) {
        for (const card_of_type& expected : cards) {
            std::vector<unsigned int> nodes;
            for (unsigned int k = 0; k < nbr_nodes(expected.type); ++k) nodes.push_back(k);
            const dense2D<double> pos(3, nodes.size(), 0.0);
            file_mesh m = mesh_of(pos, expected.type, {nodes});
            if (is_large) m.element_numbers = vector_of<unsigned int>({4000000000});
            const written_mesh file = written_lossy(m, file_format::nastran);
            plain_deck_reader reader;
            reader.read(file.text);
            const plain_card& card = reader.cards.back();
            EXPECT_EQ(card.name, expected.keyword);
            std::vector<std::string> fields;
            for (const plain_field& f : card.fields) {
                if (!f.text.empty()) fields.push_back(f.text);
            }
            std::vector<std::string> all{is_large ? "4000000000" : "1", "1"};
            all.insert(all.end(), expected.nodes.begin(), expected.nodes.end());
            EXPECT_EQ(fields, all);
            EXPECT_EQ(file.report.has_lost(), expected.nodes.size() != nodes.size());
        }
    }
}

// All types that are held whole.
const std::vector<element_type> whole_types{ET_BAR2,   ET_TRIA3,   ET_TRIA6,   ET_QUAD4, ET_QUAD8,
                                            ET_QUAD9,  ET_TETRA4,  ET_TETRA10, ET_PYRA5, ET_PYRA13,
                                            ET_PENTA6, ET_PENTA15, ET_HEXA8,   ET_HEXA20};

TEST(nastran_mesh_output, is_read_again_whole) {
    random_source random(15);
    for (std::uint64_t run = 0; run < nbr_runs(500); ++run) {
        const file_mesh m = random_numbered_mesh(random, whole_types);
        const written_mesh file = written(m, file_format::nastran);
        ASSERT_EQ(file.code, 0);
        const read_file back = read_as(file_format::nastran, file.text);
        expect_same_elements(m, back);
        EXPECT_TRUE(back.report.remarks().empty());
        std::size_t nbr_rounded = 0;
        for (const remark& r : file.report.remarks()) {
            EXPECT_NE(r.kind, remark_kind::lost);
            if (r.keyword == "coordinate") nbr_rounded = r.count;
        }
        EXPECT_EQ(nbr_changed_coordinates(m, back.m), nbr_rounded);
    }
}

TEST(nastran_mesh_output, coordinates_that_fit_come_back_to_the_last_bit) {
    random_source random(16);
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        file_mesh m = random_numbered_mesh(random, whole_types);
        for (std::size_t c = 0; c < m.pos.cols(); ++c) {
            for (std::size_t r = 0; r < m.pos.rows(); ++r) {
                m.pos(r, c) = std::round(1e9 * m.pos(r, c)) / 1e9;
            }
        }
        const read_file back = read_as(file_format::nastran, written(m, file_format::nastran).text);
        expect_same_elements(m, back);
        EXPECT_EQ(nbr_changed_coordinates(m, back.m), 0U);
    }
}

TEST(nastran_mesh_output, a_mesh_of_nothing_is_read_again) {
    const read_file back =
        read_as(file_format::nastran, written(file_mesh(), file_format::nastran).text);
    EXPECT_EQ(back.code, 0);
    EXPECT_TRUE(back.m.pos.empty());
}

// Types whose order of nodes is the same to the plain reader.
TEST(nastran_mesh_output, the_plain_reader_gets_the_mesh) {
    random_source random(17);
    const std::vector<element_type> types{ET_BAR2,   ET_TRIA3,  ET_TRIA6,   ET_QUAD4,
                                          ET_QUAD8,  ET_TETRA4, ET_TETRA10, ET_PYRA5,
                                          ET_PYRA13, ET_PENTA6, ET_HEXA8,   ET_HEXA20};
    for (std::uint64_t run = 0; run < nbr_runs(200); ++run) {
        const std::size_t n = random.between(1, 30);
        file_mesh m = random_mesh(random, types, n, random.between(1, 12));
        for (std::size_t c = 0; c < m.connect.cols(); ++c) {
            m.pids.push_back(1 + random.id_below(5));
        }
        const written_mesh file = written(m, file_format::nastran);
        EXPECT_EQ(file.code, 0);
        const scratch_stream stream(file.text);
        file_mesh back;
        EXPECT_EQ(NASTRAN_input(stream.get(), back.pos, back.connect, back.indices, back.types,
                                back.pids),
                  0);
        ASSERT_EQ(back.pos.cols(), n);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t r = 0; r < 3; ++r) {
                const double x = r < m.pos.rows() ? m.pos(r, c) : 0.0;
                EXPECT_NEAR(back.pos(r, c), x, 1e-12 * std::abs(x));
            }
        }
        EXPECT_EQ(list(back.types), list(m.types));
        EXPECT_EQ(list(back.indices), list(m.indices));
        EXPECT_EQ(list(back.pids), list(m.pids));
        EXPECT_EQ(list(back.connect), list(m.connect));
    }
}

} // namespace
