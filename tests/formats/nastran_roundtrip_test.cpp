// Decks that we write and read back.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "formats/nastran_decks.h"
#include "formats/plain_nastran.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const dense2D<double> three_points = points({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});

template <class... Arguments> std::string deck_of(const Arguments&... arguments) {
    const scratch_stream stream;
    EXPECT_EQ(NASTRAN_output(stream.get(), arguments...), 0);
    return stream.contents();
}

// Two elements of one type, nodes 0, 1, ... and 50, 51, ...
dense2D<unsigned int> two_elements(element_type type) {
    dense2D<unsigned int> connect(nbr_nodes(type), 2);
    for (unsigned int r = 0; r < connect.rows(); ++r) {
        connect(r, 0) = r;
        connect(r, 1) = 50 + r;
    }
    return connect;
}

// What is left of the two when they are read: type and number of nodes.
deck_arrays read_back(element_type type) {
    return read_deck(deck_of(three_points, two_elements(type), type));
}

TEST(nastran_roundtrip, nodes_keep_their_numbers_and_get_three_rows) {
    const dense2D<unsigned int> no_elements;
    EXPECT_EQ(list(read_deck(deck_of(three_points, no_elements, ET_TRIA3)).pos),
              list(three_points));
    EXPECT_EQ(list(read_deck(deck_of(points({{1, 2}, {-0.5, 1e300}}), no_elements, ET_TRIA3)).pos),
              (number_lists{{1, 2, 0}, {-0.5, 1e300, 0}}));
}

TEST(nastran_roundtrip, coordinates_keep_seven_digits) {
    const dense2D<double> pos = points({{1.0 / 3.0, -1234567.89, 1e-310}});
    EXPECT_EQ(list(read_deck(deck_of(pos, dense2D<unsigned int>(), ET_TRIA3)).pos),
              (number_lists{{0.3333333, -1.234568e6, 1e-310}}));
}

TEST(nastran_roundtrip, elements_keep_their_order_and_their_properties) {
    const dense2D<unsigned int> connect = dense2D<unsigned int>(connectivity(
        {{0, 1, 2, none}, {3, 4, none, none}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, none}}));
    const dense1D<unsigned int> indices{0U, 1U, 2U, 4U, 5U};
    const dense1D<int> types{ET_TRIA3, ET_BAR2, ET_QUAD4, ET_TRIA3};
    const dense1D<unsigned int> pids{7U, 0U, 99999999U, 3U, 0xFFFFFFFFU};
    const deck_arrays deck = read_deck(deck_of(three_points, connect, indices, types, pids));
    EXPECT_EQ(deck.code, 0);
    EXPECT_EQ(list(deck.pos), list(three_points));
    EXPECT_EQ(list(deck.connect), list(connect));
    EXPECT_EQ(list(deck.indices), list(indices));
    EXPECT_EQ(list(deck.types), list(types));
    EXPECT_EQ(list(deck.pids), list(pids));
}

TEST(nastran_roundtrip, these_types_come_back_as_they_were) {
    for (const element_type type :
         {ET_BAR2, ET_TRIA3, ET_QUAD4, ET_TRIA6, ET_QUAD8, ET_TETRA4, ET_TETRA10, ET_PYRA5,
          ET_PYRA13, ET_PENTA6, ET_HEXA8, ET_HEXA20}) {
        const deck_arrays deck = read_back(type);
        EXPECT_EQ(deck.code, 0) << type;
        EXPECT_EQ(list(deck.types), std::vector<int>{type});
        EXPECT_EQ(list(deck.connect), list(two_elements(type))) << type;
        EXPECT_EQ(list(deck.pids), (std::vector<unsigned int>{1, 1})) << type;
    }
}

TEST(nastran_roundtrip, types_with_more_nodes_than_their_card_come_back_as_the_card) {
    const std::pair<element_type, element_type> pairs[] = {
        {ET_BAR3, ET_BAR2}, {ET_PYRA14, ET_PYRA13}, {ET_HEXA27, ET_HEXA20}};
    for (const auto& [type, less] : pairs) {
        const deck_arrays deck = read_back(type);
        EXPECT_EQ(list(deck.types), std::vector<int>{less});
        EXPECT_EQ(list(deck.connect), list(two_elements(less))) << type;
    }
}

TEST(nastran_roundtrip, the_middle_nodes_of_a_wedge_come_back_permuted) {
    for (const element_type type : {ET_PENTA15, ET_PENTA18}) {
        const deck_arrays deck = read_back(type);
        EXPECT_EQ(list(deck.types), std::vector<int>{ET_PENTA15});
        EXPECT_EQ(list(deck.connect),
                  (id_lists{{0, 1, 2, 3, 4, 5, 8, 6, 7, 11, 9, 10, 13, 14, 12},
                            {50, 51, 52, 53, 54, 55, 58, 56, 57, 61, 59, 60, 63, 64, 62}}));
    }
}

TEST(nastran_roundtrip, quadrangles_of_nine_nodes_are_dropped) {
    const deck_arrays deck = read_back(ET_QUAD9);
    EXPECT_EQ(deck.code, 0);
    EXPECT_TRUE(deck.connect.empty());
    EXPECT_TRUE(deck.types.empty());
    EXPECT_EQ(list(deck.indices), (std::vector<unsigned int>{0, 0}));
}

TEST(nastran_roundtrip, types_without_a_card_are_gone) {
    for (const element_type type : {ET_NODE, ET_BAR_MIX}) {
        EXPECT_TRUE(read_back(type).connect.empty());
    }
}

TEST(nastran_roundtrip, mixed_elements_come_back_in_one_connectivity) {
    for (const mesh& m : {mixed_faces(), mixed_solids()}) {
        const auto one = read_as<one_connectivity>(deck_of(m.pos, m.connect, m.type));
        EXPECT_EQ(one.code, 0);
        EXPECT_EQ(one.type, m.type);
        EXPECT_EQ(list(one.connect), list(m.connect));
    }
}

TEST(nastran_roundtrip, two_connectivities_come_back_as_two) {
    const auto bars = connectivity({{0, 1}, {1, 2}});
    const auto hexahedra = connectivity({{0, 1, 2, 3, 4, 5, 6, 7}});
    const auto two =
        read_as<two_connectivities>(deck_of(three_points, bars, hexahedra, ET_BAR2, ET_HEXA8));
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(list(two.pos), list(three_points));
    EXPECT_EQ(two.type1, ET_BAR2);
    EXPECT_EQ(two.type2, ET_HEXA8);
    EXPECT_EQ(list(two.connect1), list(bars));
    EXPECT_EQ(list(two.connect2), list(hexahedra));
}

TEST(nastran_roundtrip, a_number_of_more_than_eight_digits_costs_its_element) {
    EXPECT_EQ(
        read_deck(deck_of(three_points, connectivity({{0, 99999998}}), ET_BAR2)).connect.cols(),
        1U);
    EXPECT_EQ(
        list(read_deck(deck_of(three_points, connectivity({{0, 99999999, 1}}), ET_TRIA3)).connect),
        id_lists());
}

TEST(nastran_roundtrip, meshes_of_the_zoo) {
    for (const mesh& m : zoo()) {
        if (m.pos.empty() || m.type == ET_BAR_MIX) continue;
        if (m.type == ET_FACE_MIX && m.connect.rows() == 3) continue;
        const auto one = read_as<one_connectivity>(deck_of(m.pos, m.connect, m.type));
        EXPECT_EQ(one.code, 0) << m.name;
        EXPECT_EQ(list(one.connect), list(m.connect)) << m.name;
        if (!m.connect.empty()) {
            EXPECT_EQ(one.type, m.type) << m.name;
        }
        EXPECT_EQ(one.pos.cols(), m.pos.cols()) << m.name;
    }
}

double as_written(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%16E", value);
    return std::strtod(text, nullptr);
}

// What the card of a column becomes for the reader; empty where it is dropped.
std::vector<unsigned int> column_read_back(int& type, std::vector<unsigned int> column) {
    if (type == ET_BAR3) type = ET_BAR2;
    if (type == ET_PYRA14) type = ET_PYRA13;
    if (type == ET_PENTA18) type = ET_PENTA15;
    if (type == ET_HEXA27) type = ET_HEXA20;
    if (type == ET_FACE_MIX) type = column[3] == none ? ET_TRIA3 : ET_QUAD4;
    if (type == ET_UNKNOWN || type == ET_NODE || type == ET_BAR_MIX || type == ET_QUAD9) return {};
    column.resize(nbr_nodes(static_cast<element_type>(type)));
    if (type == ET_PENTA15) {
        const auto order = plain_nastran_order(type);
        const auto old = column;
        for (std::size_t i = 0; i < 15; ++i) column[i] = old[order[order[i]]];
    }
    return column;
}

TEST(nastran_roundtrip, random_runs) {
    const std::uint64_t n = nbr_runs(1000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        const dense2D<double> pos =
            random_points(random, 2 + random.below(2), 1 + random.below(30), -1e4, 1e4);
        dense1D<unsigned int> indices{0U};
        dense1D<int> types;
        dense1D<unsigned int> pids;
        std::vector<std::vector<unsigned int>> columns;
        deck expected;
        expected.indices = {0};
        int last = ET_UNKNOWN;
        for (std::size_t k = random.below(8); k > 0; --k) {
            int type = static_cast<int>(random.below(ET_HEXA27 + 1));
            if (type == ET_SOLID_MIX) type = ET_FACE_MIX;
            types.push_back(type);
            for (std::size_t c = random.below(5); c > 0; --c) {
                auto column = random_ids(random, 27, random.one_in(3) ? 10000000 : 30, 0);
                if (type == ET_FACE_MIX && random.one_in(2)) column[3] = none;
                columns.push_back(column);
                const unsigned int pid = random.id_below(100);
                pids.push_back(pid);
                int type_read = type;
                const auto read = column_read_back(type_read, column);
                if (read.empty()) continue;
                if (type_read != last) {
                    if (last != ET_UNKNOWN) {
                        expected.indices.push_back(
                            static_cast<unsigned int>(expected.elements.size()));
                    }
                    expected.types.push_back(type_read);
                    last = type_read;
                }
                expected.elements.push_back(read);
                expected.pids.push_back(pid);
            }
            indices.push_back(static_cast<unsigned int>(columns.size()));
        }
        expected.indices.push_back(static_cast<unsigned int>(expected.elements.size()));

        dense2D<unsigned int> connect(27, columns.size());
        for (std::size_t c = 0; c < columns.size(); ++c) {
            std::copy(columns[c].begin(), columns[c].end(), connect.column(c));
        }
        const deck_arrays deck = read_deck(deck_of(pos, connect, indices, types, pids));
        ASSERT_EQ(deck.code, 0) << seed;
        ASSERT_EQ(deck.pos.cols(), pos.cols()) << seed;
        for (std::size_t c = 0; c < pos.cols(); ++c) {
            for (std::size_t r = 0; r < 3; ++r) {
                ASSERT_EQ(deck.pos(r, c), r < pos.rows() ? as_written(pos(r, c)) : 0.0) << seed;
            }
        }
        ASSERT_EQ(list(deck.connect), expected.columns_of_all()) << seed;
        ASSERT_EQ(list(deck.indices), expected.indices) << seed;
        ASSERT_EQ(list(deck.types), expected.types) << seed;
        ASSERT_EQ(list(deck.pids), expected.pids) << seed;
    }
}

} // namespace
