// What the readers of runs have in common: streams and files, node numbers, overloads.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "formats/femap_files.h"
#include "formats/nastran_decks.h"
#include "formats/run_files.h"
#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = std::vector<unsigned int>;

// How each format spells what the tests need.
struct nastran_text : nastran_functions {
    static constexpr int bad_node_code = -1;
    // Without a file the types are reset, and both connectivities emptied.
    static constexpr bool resets_all_by_name = true;

    static std::string nodes(const std::vector<std::vector<std::string>>& nodes) {
        std::string text;
        for (const auto& n : nodes) {
            text += "GRID," + n[0] + ",," + n[1] + "," + n[2] + "," + n[3] + "\n";
        }
        return text;
    }
    static std::string bad_node() { return "GRID,0,0,1.,1.,1.\n"; }
    static std::string two_triangles() { return "CTRIA3,1,7,1,2,3\nCTRIA3,1,8,4,5,6\n"; }
};
struct femap_text : femap_functions {
    static constexpr int bad_node_code = -102;
    static constexpr bool resets_all_by_name = false;

    static std::string nodes(const std::vector<std::vector<std::string>>& nodes) {
        std::string text;
        for (const auto& n : nodes) text += femap_node(n[0], n[1], n[2], n[3]);
        return femap_block("403", text);
    }
    static std::string bad_node() { return "403\n0,1\n"; }
    static std::string two_triangles() {
        return femap_block("404", femap_element(7, 2, {1, 2, 3}) + femap_element(8, 2, {4, 5, 6}));
    }
};

template <class Text> class readers_of_runs : public testing::Test {};
using run_texts = testing::Types<nastran_text, femap_text>;
TYPED_TEST_SUITE(readers_of_runs, run_texts, format_names);

template <class Text> std::string one_node() { return Text::nodes({{"1", "1.", "2.", "3."}}); }

TYPED_TEST(readers_of_runs, an_empty_file_has_no_mesh_and_one_empty_run) {
    const auto mesh = read_as<run_arrays<TypeParam>>("");
    EXPECT_EQ(mesh.code, 0);
    EXPECT_TRUE(mesh.pos.empty());
    EXPECT_TRUE(mesh.connect.empty());
    EXPECT_EQ(list(mesh.indices), (ids{0, 0}));
    EXPECT_TRUE(mesh.types.empty());
    EXPECT_TRUE(mesh.pids.empty());
}

TYPED_TEST(readers_of_runs, an_empty_file_leaves_two_connectivities_untouched) {
    const auto two = read_as<two_connectivities_of<TypeParam>>("");
    EXPECT_EQ(two.code, 0);
    EXPECT_TRUE(two.pos.empty());
    EXPECT_EQ(list(two.connect1), (id_lists{{71}}));
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
    EXPECT_EQ(two.type1, ET_QUAD9);
    EXPECT_EQ(two.type2, ET_PYRA14);
}

TYPED_TEST(readers_of_runs, a_character_pushed_back_is_read_first) {
    const std::string text = one_node<TypeParam>();
    const scratch_stream stream(text.substr(1));
    ASSERT_EQ(std::ungetc(text[0], stream.get()), text[0]);
    run_arrays<TypeParam> mesh;
    mesh.read(stream.get());
    EXPECT_EQ(mesh.code, 0);
    EXPECT_EQ(list(mesh.pos), (number_lists{{1, 2, 3}}));
}

TYPED_TEST(readers_of_runs, a_stream_that_is_left_because_of_a_bad_node_stands_behind_it) {
    const scratch_stream stream(TypeParam::bad_node() + "the rest");
    run_arrays<TypeParam> mesh;
    mesh.read(stream.get());
    EXPECT_EQ(mesh.code, TypeParam::bad_node_code);
    char line[100] = "";
    ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    EXPECT_STREQ(line, "the rest");
}

TYPED_TEST(readers_of_runs, nodes_come_in_any_order_and_the_later_of_one_number_counts) {
    const auto mesh = read_as<run_arrays<TypeParam>>(TypeParam::nodes(
        {{"3", "3.", "0.", "0."}, {"1", "1.", "2.", "3."}, {"1", "4.", "0.", "0."}}));
    EXPECT_EQ(mesh.code, 0);
    EXPECT_EQ(list(mesh.pos), (number_lists{{4, 0, 0}, {0, 0, 0}, {3, 0, 0}}));
}

TYPED_TEST(readers_of_runs, one_run_leaves_the_second_connectivity_untouched) {
    const auto two = read_as<two_connectivities_of<TypeParam>>(TypeParam::two_triangles());
    EXPECT_EQ(two.code, 0);
    EXPECT_EQ(two.type1, ET_TRIA3);
    EXPECT_EQ(list(two.connect1), (id_lists{{0, 1, 2}, {3, 4, 5}}));
    EXPECT_EQ(two.type2, ET_PYRA14);
    EXPECT_EQ(list(two.connect2), (id_lists{{72}}));
}

TYPED_TEST(readers_of_runs, by_name_the_stream_stays_open) {
    const scratch_file good(one_node<TypeParam>());
    const scratch_file bad(TypeParam::bad_node());
    for (const scratch_file* const file : {&good, &bad}) {
        std::size_t nbr_open = nbr_open_files();
        run_arrays<TypeParam> full;
        full.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
        one_connectivity_of<TypeParam> one;
        one.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
        two_connectivities_of<TypeParam> two;
        two.read(file->name());
        EXPECT_EQ(nbr_open_files(), ++nbr_open);
    }
}

TYPED_TEST(readers_of_runs, a_file_that_cant_be_opened_empties_the_arrays) {
    constexpr bool resets = TypeParam::resets_all_by_name;
    const scratch_file missing;
    for (const char* const name :
         {missing.name(), "/no/such/folder/mesh", "", static_cast<const char*>(nullptr)}) {
        const std::size_t nbr_open = nbr_open_files();
        run_arrays<TypeParam> full;
        full.read(name);
        EXPECT_EQ(full.code, -1);
        EXPECT_TRUE(full.all_empty());

        one_connectivity_of<TypeParam> one;
        one.read(name);
        EXPECT_EQ(one.code, -1);
        EXPECT_TRUE(one.pos.empty() && one.connect.empty());
        EXPECT_EQ(one.type, resets ? ET_UNKNOWN : ET_QUAD9);

        two_connectivities_of<TypeParam> two;
        two.read(name);
        EXPECT_EQ(two.code, -1);
        EXPECT_TRUE(two.pos.empty());
        EXPECT_EQ(list(two.connect1), resets ? id_lists{} : (id_lists{{71}}));
        EXPECT_EQ(list(two.connect2), resets ? id_lists{} : (id_lists{{72}}));
        EXPECT_EQ(two.type1, resets ? ET_UNKNOWN : ET_QUAD9);
        EXPECT_EQ(two.type2, resets ? ET_UNKNOWN : ET_PYRA14);
        EXPECT_EQ(nbr_open_files(), nbr_open);
    }
    EXPECT_FALSE(missing.exists());
}

} // namespace
