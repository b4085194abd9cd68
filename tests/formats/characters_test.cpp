// Kinds of characters, and white space around texts.
#include "formats/characters.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace kv7::tessmaker;

namespace {

TEST(characters, texts_lose_white_space_at_their_ends_alone) {
    constexpr std::string_view text = " \t\n\v\f\ra b\tc \r\n";
    EXPECT_EQ(trim_left(text), "a b\tc \r\n");
    EXPECT_EQ(trim_right(text), " \t\n\v\f\ra b\tc");
    EXPECT_EQ(trim(text), "a b\tc");
    for (const char* const blank : {"", " ", "\t \n"}) EXPECT_EQ(trim(blank), "");
    EXPECT_EQ(trim(std::string_view("\0 ", 2)), std::string_view("\0", 1));
    EXPECT_EQ(trim("\xA0x\x85"), "\xA0x\x85");
}

TEST(characters, texts_are_shown_in_ascii) {
    EXPECT_EQ(in_ascii("a ~\t\x1B\x7F\xC3\xA9"), "a ~?????");
    EXPECT_EQ(in_ascii(std::string_view("\0", 1)), "?");
}

TEST(characters, words_are_the_same_in_letters_of_any_case) {
    EXPECT_TRUE(is_word("EnD", "end"));
    EXPECT_FALSE(is_word("ends", "end"));
    EXPECT_FALSE(is_word("en", "end"));
    EXPECT_TRUE(is_word("", ""));
    EXPECT_FALSE(is_word("\x45\x4E\xC4", "en\xE4"));
}

TEST(characters, a_text_starts_with_a_word_if_all_of_it_is_there) {
    EXPECT_TRUE(starts_with_word("SOLIDS of two", "solid"));
    EXPECT_TRUE(starts_with_word("solid", "solid"));
    EXPECT_FALSE(starts_with_word("soli", "solid"));
    EXPECT_FALSE(starts_with_word(" solid", "solid"));
    EXPECT_TRUE(starts_with_word("", ""));
}

} // namespace
