// Parts of paths.
#include "formats/paths.h"

#include <gtest/gtest.h>

using namespace kv7::tessmaker;

namespace {

TEST(paths, a_folder_ends_with_its_slash_and_a_name_follows_it) {
    EXPECT_EQ(folder_of("a/b.c/d.e"), "a/b.c/");
    EXPECT_EQ(name_of("a/b.c/d.e"), "d.e");
    EXPECT_EQ(folder_of("/d"), "/");
    EXPECT_EQ(folder_of("d"), "");
    EXPECT_EQ(name_of("d"), "d");
    EXPECT_EQ(folder_of("a/"), "a/");
    EXPECT_EQ(name_of("a/"), "");
    EXPECT_EQ(folder_of(""), "");
    EXPECT_EQ(name_of(""), "");
}

TEST(paths, the_last_point_of_a_name_ends_its_stem) {
    EXPECT_EQ(stem_of("a.b/c.tar.gz"), "c.tar");
    EXPECT_EQ(ending_of("a.b/c.tar.gz"), "gz");
    EXPECT_EQ(stem_of("a.b/c"), "c");
    EXPECT_EQ(ending_of("a.b/c"), "");
    EXPECT_EQ(stem_of("a/.mesh"), ".mesh");
    EXPECT_EQ(ending_of("a/.mesh"), "mesh");
    EXPECT_EQ(stem_of("c."), "c");
    EXPECT_EQ(ending_of("c."), "");
}

} // namespace
