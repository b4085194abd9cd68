#include "formats/line_reader.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "formats/scratch_files.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(line_reader, a_line_of_300_characters_arrives_as_255_and_45) {
    std::string text(299, 'x');
    text += "\nnext\n";
    const scratch_stream stream(text);
    line_reader reader(stream.get());
    ASSERT_TRUE(reader.next());
    EXPECT_EQ(reader.line(), text.substr(0, 255));
    ASSERT_TRUE(reader.next());
    EXPECT_EQ(reader.line(), text.substr(255, 45));
    ASSERT_TRUE(reader.next());
    EXPECT_STREQ(reader.text(), "next\n");
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.line(), "");
}

TEST(line_reader, the_last_line_needs_no_end) {
    const scratch_stream stream("a\n\nb");
    line_reader reader(stream.get());
    std::vector<std::string> lines;
    while (reader.next()) lines.emplace_back(reader.line());
    EXPECT_EQ(lines, (std::vector<std::string>{"a\n", "\n", "b"}));
}

TEST(line_reader, the_stream_stands_behind_the_current_line) {
    const scratch_stream stream("one\ntwo\n three\nfour");
    line_reader reader(stream.get());
    EXPECT_EQ(reader.line(), "");
    ASSERT_TRUE(reader.next());
    EXPECT_FALSE(reader.next_begins_with(' '));
    EXPECT_EQ(std::ftell(stream.get()), 4);
    reader.skip(1);
    EXPECT_EQ(reader.line(), "two\n");
    EXPECT_TRUE(reader.next_begins_with(' '));
    EXPECT_EQ(std::ftell(stream.get()), 8);
    EXPECT_FALSE(reader.has_met_end());
    reader.skip(5);
    EXPECT_EQ(reader.line(), "");
    EXPECT_TRUE(reader.has_met_end());
    EXPECT_FALSE(reader.next_begins_with(' '));
}

TEST(line_reader, no_stream_reads_like_an_empty_file) {
    line_reader reader(nullptr);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.line(), "");
}

TEST(line_reader, lower_case_changes_letters_only) {
    std::string text;
    for (int c = 1; c < 128; ++c) text += static_cast<char>(c);
    text += "\nFacet NORMAL 1E5 \xC4\xFF\n";
    const scratch_stream stream(text);
    line_reader reader(stream.get());
    std::string lower;
    while (reader.next()) {
        reader.make_lower();
        lower += reader.line();
    }
    std::string expected;
    for (int c = 1; c < 128; ++c) expected += static_cast<char>(std::tolower(c));
    EXPECT_EQ(lower, expected + "\nfacet normal 1e5 \xC4\xFF\n");
}

template <std::size_t Most> std::vector<std::string> fields_of(std::string_view line) {
    const line_fields<Most> fields(line);
    std::vector<std::string> result;
    for (std::size_t i = 0; i < fields.size(); ++i) result.emplace_back(fields[i]);
    return result;
}

TEST(line_fields, empty_pieces_are_dropped) {
    using pieces = std::vector<std::string>;
    EXPECT_EQ(fields_of<5>("a,,b,"), (pieces{"a", "b"}));
    EXPECT_EQ(fields_of<5>("1,,2"), (pieces{"1", "2"}));
    EXPECT_EQ(fields_of<5>(",,x y"), (pieces{"x y"}));
    EXPECT_EQ(fields_of<5>(""), pieces{});
    EXPECT_EQ(fields_of<5>(",,"), pieces{});
    EXPECT_EQ(fields_of<5>("one"), (pieces{"one"}));
    EXPECT_EQ(fields_of<5>("1,2,\n"), (pieces{"1", "2", "\n"}));
}

TEST(line_fields, pieces_beyond_those_asked_for_are_not_looked_at) {
    using pieces = std::vector<std::string>;
    EXPECT_EQ(fields_of<2>("1,,2"), (pieces{"1", "2"}));
    EXPECT_EQ(fields_of<2>(",1,2,3"), (pieces{"1", "2"}));
    EXPECT_EQ(line_fields<3>("1")[2], "");
}

TEST(characters, white_space_goes_at_the_end) {
    EXPECT_EQ(trim_right(" a \t b \v\f\r\n "), " a \t b");
    EXPECT_EQ(trim_right(" \n\t"), "");
    EXPECT_EQ(trim_right(""), "");
}

TEST(characters, words_are_found_at_the_start_in_letters_of_any_case) {
    const char* const text = "\t Facet NORMAL";
    const char* const word = skip_spaces(text);
    EXPECT_STREQ(word, "Facet NORMAL");
    EXPECT_EQ(skip_word(word, "facet"), word + 5);
    EXPECT_EQ(skip_word(word, ""), word);
    EXPECT_EQ(skip_word(word, "facets"), nullptr);
    EXPECT_EQ(skip_word("fac", "facet"), nullptr);
    EXPECT_STREQ(skip_spaces(" \n "), "");
}

} // namespace
