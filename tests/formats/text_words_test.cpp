#include "formats/text_words.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/scratch_files.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

struct placed_word {
    std::string text;
    std::uint64_t line, column;
    bool operator==(const placed_word& other) const {
        return text == other.text && line == other.line && column == other.column;
    }
};

std::vector<placed_word> words_of(const std::string& text, std::size_t nbr_already_read = 0) {
    const scratch_stream stream(text.substr(nbr_already_read));
    text_words words(stream.get(), std::string_view(text).substr(0, nbr_already_read));
    std::vector<placed_word> result;
    for (std::string_view word; !(word = words.next()).empty();) {
        result.push_back({std::string(word), words.line(), words.column()});
    }
    EXPECT_TRUE(words.next().empty());
    return result;
}

// Character by character.
std::vector<placed_word> plain_words(const std::string& text) {
    std::vector<placed_word> result;
    std::uint64_t line = 1;
    std::uint64_t column = 1;
    bool is_in_word = false;
    for (std::size_t k = 0; k < text.size(); ++k) {
        const char c = text[k];
        if (std::isspace(static_cast<unsigned char>(c))) {
            is_in_word = false;
            const bool ends_line = c == '\r' || (c == '\n' && (k == 0 || text[k - 1] != '\r'));
            line += ends_line ? 1 : 0;
            column = c == '\r' || c == '\n' ? 1 : column + 1;
            continue;
        }
        if (!is_in_word || result.back().text.size() == text_words::longest_word) {
            result.push_back({"", line, column});
        }
        is_in_word = true;
        result.back().text += c;
        ++column;
    }
    return result;
}

TEST(text_words, are_what_stands_between_blanks_with_their_places) {
    EXPECT_EQ(
        words_of("solid a\r\n\tfacet\r\r\n 1.5\n"),
        (std::vector<placed_word>{{"solid", 1, 1}, {"a", 1, 7}, {"facet", 2, 2}, {"1.5", 4, 2}}));
    EXPECT_TRUE(words_of("").empty());
    EXPECT_TRUE(words_of(" \n\n ").empty());
}

TEST(text_words, equal_those_of_a_walk_over_the_characters) {
    random_source random(5);
    for (int round = 0; round < 400; ++round) {
        std::string text;
        const std::size_t nbr_pieces = random.below(40);
        for (std::size_t k = 0; k < nbr_pieces; ++k) {
            if (random.one_in(2)) {
                text += " \t\r\n\v\f"[random.below(6)];
            } else {
                const std::size_t most = random.one_in(10) ? 20000 : 6;
                text += std::string(1 + random.below(most), static_cast<char>('a' + k % 26));
            }
        }
        if (random.one_in(10)) text += std::string(1, '\0');
        const std::size_t nbr_already = std::min<std::size_t>(random.below(100), text.size());
        ASSERT_EQ(words_of(text, nbr_already), plain_words(text)) << round;
    }
}

TEST(text_words, begin_behind_a_byte_order_mark) {
    const std::string mark = "\xEF\xBB\xBF";
    for (const std::string& text :
         {mark + "one two", mark + " one\ntwo", mark + mark, mark, mark.substr(0, 2)}) {
        const scratch_stream stream(text);
        text_words words(stream.get());
        const bool has_mark = text.substr(0, 3) == mark;
        for (const placed_word& expected : plain_words(has_mark ? text.substr(3) : text)) {
            EXPECT_EQ(words.next(), expected.text);
            EXPECT_EQ(words.line(), expected.line);
            EXPECT_EQ(words.column(), expected.column);
        }
        EXPECT_TRUE(words.next().empty());
    }
}

TEST(text_words, around_the_ends_of_blocks_are_whole) {
    for (std::size_t size = (1U << 16) - 12; size < (1U << 16) + 4; ++size) {
        for (const char* const end : {"\n", "\r\n", "\r", " "}) {
            const std::string text = std::string(size, ' ') + "word" + end + "next" + end + "last";
            ASSERT_EQ(words_of(text), plain_words(text)) << size;
        }
    }
}

TEST(text_words, give_the_rest_of_a_line) {
    const std::string long_name(100000, 'n');
    const scratch_stream stream("solid  a name \t\r\nfacet solid\nnext solid" + long_name +
                                "\rsolid " + long_name + " b\nskip " + long_name + long_name +
                                "\nsolid");
    text_words words(stream.get());
    EXPECT_EQ(words.next(), "solid");
    EXPECT_EQ(words.rest_of_line(), "a name");
    EXPECT_EQ(words.next(), "facet");
    EXPECT_EQ(words.line(), 2U);
    EXPECT_EQ(words.next(), "solid");
    EXPECT_EQ(words.rest_of_line(), "");
    EXPECT_EQ(words.next(), "next");
    EXPECT_EQ(words.line(), 3U);
    words.skip_line();
    EXPECT_EQ(words.next(), "solid");
    EXPECT_EQ(words.line(), 4U);
    EXPECT_EQ(words.column(), 1U);
    EXPECT_EQ(words.rest_of_line(), std::string(text_words::longest_word - 1, 'n'));
    words.skip_line();
    EXPECT_EQ(words.next(), "skip");
    words.skip_line();
    EXPECT_EQ(words.next(), "solid");
    EXPECT_EQ(words.line(), 6U);
    EXPECT_EQ(words.rest_of_line(), "");
    words.skip_line();
    EXPECT_EQ(words.next(), "");
}

// Lines without their endings.
std::vector<std::string> plain_lines(const std::string& text) {
    std::vector<std::string> lines(1);
    for (std::size_t k = 0; k < text.size(); ++k) {
        const bool is_second = text[k] == '\n' && k != 0 && text[k - 1] == '\r';
        if (is_second) continue;
        if (text[k] == '\n' || text[k] == '\r') {
            lines.emplace_back();
        } else {
            lines.back() += text[k];
        }
    }
    return lines;
}

TEST(text_words, lines_can_be_passed_one_by_one) {
    random_source random(5);
    for (int k = 0; k < 2000; ++k) {
        std::string text;
        // Some lines go beyond the block that is read at a time.
        if (random.one_in(50)) text.assign(65530 + random.below(12), random.one_in(2) ? ' ' : 'x');
        for (std::size_t n = random.below(12); n != 0; --n) {
            text += random.one_of(std::vector<std::string>{"\n", "\r", "\r\n", "a", "b c", " "});
        }
        const scratch_stream stream(text);
        text_words words(stream.get());
        const std::vector<std::string> lines = plain_lines(text);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const bool asks_for_rest = lines[i].size() < 100 && random.one_in(2);
            std::string wanted = lines[i];
            wanted.erase(wanted.find_last_not_of(' ') + 1);
            wanted.erase(0, wanted.find_first_not_of(' '));
            if (asks_for_rest) {
                ASSERT_EQ(words.rest_of_line(), wanted);
            }
            ASSERT_EQ(words.to_next_line(), i + 1 < lines.size());
        }
        EXPECT_TRUE(words.next().empty());
        EXPECT_EQ(words.line(), lines.size());
    }
}

} // namespace
