#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/element_table.h"
#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::connectivity;
using test::none;

namespace {

constexpr unsigned int no_limit = 0xFFFFFFFF;

struct table_row {
    element_type type;
    int value;
    unsigned int nbr_nodes;
    unsigned int nbr_base_nodes;
    unsigned int nbr_boundaries;
    unsigned int dim;
};
const std::vector<table_row> all_types{
    {ET_UNKNOWN, 0, 0, 0, 0, 0},   {ET_NODE, 1, 1, 1, 0, 0},      {ET_BAR_MIX, 2, 2, 2, 2, 1},
    {ET_BAR2, 3, 2, 2, 2, 1},      {ET_BAR3, 4, 3, 2, 2, 1},      {ET_FACE_MIX, 5, 4, 4, 4, 2},
    {ET_TRIA3, 6, 3, 3, 3, 2},     {ET_QUAD4, 7, 4, 4, 4, 2},     {ET_TRIA6, 8, 6, 3, 3, 2},
    {ET_QUAD8, 9, 8, 4, 4, 2},     {ET_QUAD9, 10, 9, 4, 4, 2},    {ET_SOLID_MIX, 11, 8, 8, 6, 3},
    {ET_TETRA4, 12, 4, 4, 4, 3},   {ET_TETRA10, 13, 10, 4, 4, 3}, {ET_PYRA5, 14, 5, 5, 5, 3},
    {ET_PYRA13, 15, 13, 5, 5, 3},  {ET_PYRA14, 16, 14, 5, 5, 3},  {ET_PENTA6, 17, 6, 6, 5, 3},
    {ET_PENTA15, 18, 15, 6, 5, 3}, {ET_PENTA18, 19, 18, 6, 5, 3}, {ET_HEXA8, 20, 8, 8, 6, 3},
    {ET_HEXA20, 21, 20, 8, 6, 3},  {ET_HEXA27, 22, 27, 8, 6, 3}};

TEST(element_type, the_tables_hold_their_23_rows) {
    ASSERT_EQ(all_types.size(), 23U);
    for (const table_row& row : all_types) {
        EXPECT_EQ(static_cast<int>(row.type), row.value);
        EXPECT_EQ(nbr_nodes(row.type), row.nbr_nodes) << row.value;
        EXPECT_EQ(nbr_base_nodes(row.type), row.nbr_base_nodes) << row.value;
        EXPECT_EQ(nbr_boundaries(row.type), row.nbr_boundaries) << row.value;
        EXPECT_EQ(element_dim(row.type), row.dim) << row.value;
    }
}

TEST(element_type, only_uniform_mixed_arrays_resolve_to_a_plain_type) {
    for (const table_row& row : all_types) {
        for (std::size_t rows = 0; rows < 30; ++rows) {
            element_type expected = row.type;
            if (rows == 3 && row.type == ET_FACE_MIX) expected = ET_TRIA3;
            if (rows == 4 && row.type == ET_SOLID_MIX) expected = ET_TETRA4;
            if (rows == 5 && row.type == ET_SOLID_MIX) expected = ET_PYRA5;
            if (rows == 6 && row.type == ET_SOLID_MIX) expected = ET_PENTA6;
            EXPECT_EQ(resolve_mixed_type(rows, row.type), expected) << rows << ' ' << row.value;
        }
    }
}

TEST(element_type, the_shape_of_a_mixed_column_is_told_by_its_first_absent_id) {
    const auto faces = connectivity({{0, 1, 2, none}, {0, 1, 2, 3}});
    EXPECT_EQ(column_type(ET_FACE_MIX, faces.column(0)), ET_TRIA3);
    EXPECT_EQ(column_type(ET_FACE_MIX, faces.column(1)), ET_QUAD4);
    const auto solids = connectivity({{0, 1, 2, 3, none, none, none, none},
                                      {0, 1, 2, 3, 4, none, none, none},
                                      {0, 1, 2, 3, 4, 5, none, none},
                                      {0, 1, 2, 3, 4, 5, 6, 7}});
    const element_type shapes[] = {ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8};
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_EQ(column_type(ET_SOLID_MIX, solids.column(c)), shapes[c]);
        EXPECT_EQ(column_type(ET_TETRA4, solids.column(c)), ET_TETRA4);
    }
}

TEST(version, is_the_text_of_four_numbers) {
    EXPECT_EQ(std::string(version()), "5.4.1.0");
    EXPECT_EQ(version(), version());
}

TEST(check_IDs, of_an_empty_list_is_true_with_any_limit) {
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>(), 0));
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>(), no_limit));
}

TEST(check_IDs, of_a_list_accepts_ids_below_the_limit_and_absent_ids) {
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>{0, none, 4, 0}, 5));
    EXPECT_FALSE(check_IDs(dense1D<unsigned int>{0, none, 5, 0}, 5));
    EXPECT_FALSE(check_IDs(dense1D<unsigned int>{none - 1}, 5));
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>{none}, 0));
    EXPECT_FALSE(check_IDs(dense1D<unsigned int>{0}, 0));
    EXPECT_FALSE(check_IDs(dense1D<unsigned int>{none - 1}, none - 1));
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>{none - 2}, none - 1));
}

TEST(check_IDs, of_a_list_finds_a_bad_id_at_every_place) {
    for (std::size_t n = 1; n < 40; ++n) {
        for (std::size_t bad = 0; bad < n; ++bad) {
            dense1D<unsigned int> nodes(n, 3);
            EXPECT_TRUE(check_IDs(nodes, 4));
            nodes[bad] = 4;
            EXPECT_FALSE(check_IDs(nodes, 4)) << n << ' ' << bad;
        }
    }
}

TEST(check_IDs, with_the_limit_0xFFFFFFFF_compares_nothing) {
    EXPECT_TRUE(check_IDs(dense1D<unsigned int>{none, none - 1, 0}, no_limit));
    EXPECT_TRUE(check_IDs(connectivity({{none, none - 1}, {7, 0}}), no_limit));
}

TEST(check_IDs, of_columns_accepts_ids_below_the_limit_and_absent_ids_anywhere) {
    EXPECT_TRUE(check_IDs(dense2D<unsigned int>(), 0));
    EXPECT_TRUE(check_IDs(connectivity({{none, 1}, {2, none}}), 3));
    EXPECT_FALSE(check_IDs(connectivity({{none, 1}, {3, none}}), 3));
    EXPECT_FALSE(check_IDs(connectivity({{0, 3}, {0, 0}}), 3));
}

TEST(check_IDs, of_columns_apart_in_their_block_does_not_look_between_them) {
    const auto good = connectivity({{0, 1, 2}, {2, 1, 0}});
    EXPECT_TRUE(check_IDs(test::with_gaps(good, 2, 99U), 3));
    EXPECT_TRUE(check_IDs(test::with_gaps(good, 2, 99U), ET_TRIA3, 3));
    const auto bad = connectivity({{0, 1, 2}, {2, 1, 3}});
    EXPECT_FALSE(check_IDs(test::with_gaps(bad, 2, 0U), 3));
    EXPECT_FALSE(check_IDs(test::with_gaps(bad, 2, 0U), ET_TRIA3, 3));
}

TEST(check_IDs, of_an_empty_array_is_true_under_any_type) {
    for (const table_row& row : all_types) {
        EXPECT_TRUE(check_IDs(dense2D<unsigned int>(), row.type, 0)) << row.value;
    }
}

TEST(check_IDs, of_a_2_row_array_under_triangles_is_false) {
    EXPECT_FALSE(check_IDs(connectivity({{0, 1}}), ET_TRIA3, 10));
}

TEST(check_IDs, under_the_unknown_type_any_entry_fails) {
    EXPECT_FALSE(check_IDs(connectivity({{0}}), ET_UNKNOWN, 10));
}

TEST(check_IDs, a_triangle_among_faces_ends_with_an_absent_id_in_row_3) {
    EXPECT_TRUE(check_IDs(connectivity({{1, 2, 3, none}}), ET_FACE_MIX, 4));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, 3}, {1, 2, 3, none}}), ET_FACE_MIX, 4));
}

TEST(check_IDs, rows_0_to_2_of_a_face_tolerate_no_absent_id) {
    EXPECT_FALSE(check_IDs(connectivity({{1, none, 3, 4}}), ET_FACE_MIX, 5));
    EXPECT_FALSE(check_IDs(connectivity({{none, 1, 2, none}}), ET_FACE_MIX, 5));
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, none, none}}), ET_FACE_MIX, 5));
}

TEST(check_IDs, three_rows_of_faces_are_triangles_without_absent_ids) {
    EXPECT_TRUE(check_IDs(connectivity({{1, 2, 3}}), ET_FACE_MIX, 4));
    EXPECT_FALSE(check_IDs(connectivity({{1, 2, none}}), ET_FACE_MIX, 4));
}

TEST(check_IDs, a_hexahedron_and_the_smaller_solids_pass_in_8_rows) {
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, 3, 4, 5, 6, 7}}), ET_SOLID_MIX, 8));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, 3, none, none, none, none}}), ET_SOLID_MIX, 8));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, 3, 4, none, none, none}}), ET_SOLID_MIX, 8));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, 3, 4, 5, none, none}}), ET_SOLID_MIX, 8));
}

TEST(check_IDs, below_a_solids_first_absent_id_only_absent_ids_pass) {
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, 2, 3, 4, none, 6, 7}}), ET_SOLID_MIX, 8));
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, 2, 3, none, none, none, 7}}), ET_SOLID_MIX, 8));
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, 2, 3, 4, 5, none, 7}}), ET_SOLID_MIX, 8));
}

TEST(check_IDs, row_7_alone_and_rows_0_to_3_of_a_solid_tolerate_no_absent_id) {
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, 2, 3, 4, 5, 6, none}}), ET_SOLID_MIX, 8));
    EXPECT_FALSE(
        check_IDs(connectivity({{0, 1, 2, none, none, none, none, none}}), ET_SOLID_MIX, 8));
    EXPECT_FALSE(check_IDs(connectivity({{none, 1, 2, 3, 4, 5, 6, 7}}), ET_SOLID_MIX, 8));
}

TEST(check_IDs, five_rows_of_faces_and_seven_of_solids_are_no_shape) {
    EXPECT_FALSE(check_IDs(dense2D<unsigned int>(5, 1, 0), ET_FACE_MIX, 10));
    EXPECT_FALSE(check_IDs(dense2D<unsigned int>(7, 1, 0), ET_SOLID_MIX, 10));
    EXPECT_FALSE(check_IDs(dense2D<unsigned int>(2, 1, 0), ET_FACE_MIX, 10));
    EXPECT_FALSE(check_IDs(dense2D<unsigned int>(3, 1, 0), ET_SOLID_MIX, 10));
}

TEST(check_IDs, mixed_bars_are_a_plain_type) {
    EXPECT_TRUE(check_IDs(connectivity({{0, 1}}), ET_BAR_MIX, 2));
    EXPECT_FALSE(check_IDs(connectivity({{0, none}}), ET_BAR_MIX, 2));
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, 2}}), ET_BAR_MIX, 5));
}

TEST(check_IDs, by_type_no_limit_skips_the_comparison) {
    EXPECT_FALSE(check_IDs(connectivity({{0, 1, none}}), ET_TRIA3, no_limit));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, none - 1}}), ET_TRIA3, no_limit));
    EXPECT_FALSE(check_IDs(connectivity({{0, none, 2, 3}}), ET_FACE_MIX, no_limit));
    EXPECT_TRUE(check_IDs(connectivity({{0, 1, 2, none}}), ET_FACE_MIX, no_limit));
}

// The rule, entry by entry.
bool passes(const dense2D<unsigned int>& connect, element_type type, unsigned int limit) {
    if (connect.empty()) return true;
    const std::size_t rows = connect.rows();
    const bool faces = type == ET_FACE_MIX && rows != 3;
    const bool solids = type == ET_SOLID_MIX && (rows < 4 || rows > 6);
    std::size_t wanted = all_types[static_cast<std::size_t>(type)].nbr_nodes;
    if (type == ET_FACE_MIX && rows == 3) wanted = 3;
    if (type == ET_SOLID_MIX && !solids) wanted = rows;
    if (rows != wanted) return false;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const unsigned int* const v = connect.column(c);
        std::size_t end = rows;
        if (faces && v[3] == none) end = 3;
        for (std::size_t r = 6; solids && r >= 4; --r) {
            if (v[r] == none) end = r;
        }
        for (std::size_t r = 0; r < end; ++r) {
            if (v[r] >= limit) return false;
        }
        for (std::size_t r = end; r < rows; ++r) {
            if (v[r] != none) return false;
        }
    }
    return true;
}

TEST(check_IDs, agrees_with_the_rule_on_random_columns_of_every_type) {
    test::random_source random(1);
    std::size_t nbr_passed = 0;
    std::size_t nbr_failed = 0;
    for (std::uint64_t k = 0; k < test::nbr_runs(40000); ++k) {
        const table_row& row = all_types[random.below(all_types.size())];
        std::size_t rows = row.nbr_nodes;
        if (row.type == ET_FACE_MIX && random.one_in(3)) rows = 3;
        if (row.type == ET_SOLID_MIX && random.one_in(2)) rows = random.between(4, 6);
        if (random.one_in(10)) rows = random.between(1, 28);
        const unsigned int limit = random.one_in(8) ? no_limit : random.id_below(20) + 1;
        dense2D<unsigned int> connect(rows, random.between(1, 4));
        const bool mixed = row.type == ET_FACE_MIX || row.type == ET_SOLID_MIX;
        for (std::size_t c = 0; c < connect.cols(); ++c) {
            for (std::size_t r = 0; r < rows; ++r) connect(r, c) = random.id_below(limit);
            // The shapes of a mixed array, and now and then something else.
            const std::size_t from = row.type == ET_FACE_MIX ? 3 : random.between(4, 8);
            if (mixed && random.one_in(2)) {
                for (std::size_t r = from; r < rows; ++r) connect(r, c) = none;
            }
            if (rows != 0 && random.one_in(8)) connect(random.below(rows), c) = none;
            if (rows != 0 && random.one_in(8)) connect(random.below(rows), c) = limit;
        }
        if (random.one_in(2)) connect = test::with_gaps(connect, 1, none - 1);
        const bool expected = passes(connect, row.type, limit);
        ASSERT_EQ(check_IDs(connect, row.type, limit), expected) << row.value << ' ' << limit;
        ++(expected ? nbr_passed : nbr_failed);

        bool below = true;
        for (const auto& column : test::list(connect)) {
            for (const unsigned int v : column) below &= v == none || v < limit;
        }
        ASSERT_EQ(check_IDs(connect, limit), below || limit == no_limit);
    }
    EXPECT_GT(nbr_passed, 5000U);
    EXPECT_GT(nbr_failed, 5000U);
}

} // namespace
