// Words of lines.
#include "formats/line_words.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/scratch_files.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

using lines = std::vector<std::vector<std::string>>;

lines lines_of(const std::string& text) {
    const scratch_stream stream(text);
    line_words words(stream.get());
    lines result;
    while (words.next_line()) {
        result.emplace_back();
        for (std::string_view word; !(word = words.next()).empty();) {
            result.back().emplace_back(word);
        }
    }
    return result;
}

// "line:column" of each word, and of the end of each line.
std::string places_of(const std::string& text) {
    const scratch_stream stream(text);
    line_words words(stream.get());
    std::string result;
    while (words.next_line()) {
        for (bool is_end = false; !is_end;) {
            is_end = words.next().empty();
            result += std::to_string(words.line()) + ':' + std::to_string(words.column()) + ' ';
        }
    }
    return result;
}

TEST(line_words, lines_end_in_any_way) {
    EXPECT_EQ(lines_of("a b\nc\r\nd\re"), (lines{{"a", "b"}, {"c"}, {"d"}, {"e"}}));
    EXPECT_EQ(lines_of("\n\n\ta\v\f b \n\r\n"), (lines{{}, {}, {"a", "b"}, {}}));
    EXPECT_EQ(lines_of(""), lines{});
    EXPECT_EQ(lines_of("\xEF\xBB\xBF"
                       "a"),
              (lines{{"a"}}));
    EXPECT_EQ(lines_of(std::string("a\0b c", 5)), (lines{{std::string("a\0b", 3), "c"}}));
}

TEST(line_words, a_backslash_at_the_end_of_a_line_joins_it_with_the_next) {
    EXPECT_EQ(lines_of("a \\\nb\\\r\nc \\ \t\rd\ne"), (lines{{"a", "b", "c", "d"}, {"e"}}));
    EXPECT_EQ(lines_of("a\\b \\c d\\"), (lines{{"a\\b", "\\c", "d"}}));
    EXPECT_EQ(lines_of("\\\n\\\n\na"), (lines{{}, {"a"}}));
    EXPECT_EQ(lines_of("\\\\\na"), (lines{{"\\", "a"}}));
}

TEST(line_words, comments_end_with_their_line) {
    EXPECT_EQ(lines_of("a # b \\\nc#d\n#\n# e"), (lines{{"a"}, {"c#d"}, {}, {}}));
    EXPECT_EQ(lines_of("a #" + std::string(200000, 'x') + "\nb"), (lines{{"a"}, {"b"}}));
}

TEST(line_words, know_where_they_stand) {
    EXPECT_EQ(places_of("a  bc\n d\\\n  e\r\n\nf"), "1:1 1:4 1:6 2:2 3:3 3:4 4:1 5:1 5:2 ");
    EXPECT_EQ(places_of("\xEF\xBB\xBF"
                        "a b # c"),
              "1:1 1:3 1:8 ");
}

TEST(line_words, long_words_arrive_in_pieces) {
    const std::string piece(line_words::longest_word, 'x');
    EXPECT_EQ(lines_of(piece + "y z\n" + piece + piece),
              (lines{{piece, "y", "z"}, {piece, piece}}));
}

// A sample at every place around the ends of what is read at a time.
TEST(line_words, blocks_make_no_difference) {
    const std::string sample = "ab \\\r\n cd\\ \nef # g \\\n\rh i\\\r\nj\\";
    const lines expected{{"ab", "cd", "ef"}, {}, {"h", "i", "j"}};
    ASSERT_EQ(lines_of(sample), expected);
    constexpr std::size_t block_size = std::size_t{1} << 16;
    for (const std::size_t around : {block_size, 2 * block_size, block_size - 8192}) {
        for (std::size_t start = around - sample.size() - 2; start < around + 2; ++start) {
            EXPECT_EQ(lines_of(std::string(start, ' ') + sample), expected) << start;
            lines with_word = expected;
            with_word.insert(with_word.begin(), std::vector<std::string>{});
            EXPECT_EQ(lines_of("#" + std::string(start - 2, '\\') + "\n" + sample), with_word);
        }
    }
}

} // namespace
