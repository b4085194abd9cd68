// Lines found in large pieces of a file against lines that are read one by one.
#include "formats/text_lines.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>

#include "formats/line_reader.h"
#include "formats/scratch_files.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

struct stream_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using stream = std::unique_ptr<std::FILE, stream_closer>;
using stream_maker = std::function<stream(const std::string&)>;

stream file_of(const std::string& text) {
    stream result(std::tmpfile());
    std::fwrite(text.data(), 1, text.size(), result.get());
    std::rewind(result.get());
    return result;
}
// `text` must not be empty and stay until the stream is closed.
stream memory_of(const std::string& text) {
    return stream(fmemopen(const_cast<char*>(text.data()), text.size(), "rb"));
}
// For a text that a pipe holds.
stream pipe_of(const std::string& text) {
    int ends[2];
    if (pipe(ends) != 0) return nullptr;
    const auto size = write(ends[1], text.data(), text.size());
    EXPECT_EQ(size, static_cast<ssize_t>(text.size()));
    close(ends[1]);
    return stream(fdopen(ends[0], "rb"));
}

// Everything that a reader shows while `nbr_lines` lines are read, with a look ahead at some of
// them.
template <class Reader>
std::string shown_by(std::FILE* file, std::size_t nbr_lines, bool looks_ahead) {
    std::string shown;
    Reader reader(file);
    for (std::size_t k = 0; k < nbr_lines; ++k) {
        const bool found = reader.next();
        shown += found ? "line " : "end ";
        shown += reader.line();
        if (k % 3 == 0) reader.make_lower();
        shown += reader.text();
        if (looks_ahead) shown += reader.next_begins_with(' ') ? " blank" : " other";
        shown += reader.has_met_end() ? " met" : " goes on";
    }
    return shown;
}
// The state of the stream, and what it holds from there on.
std::string rest_of(std::FILE* file) {
    std::string rest = std::feof(file) ? "at end " : "before end ";
    rest += std::to_string(std::ftell(file)) + ' ';
    for (int c; (c = std::fgetc(file)) != EOF;) rest += static_cast<char>(c);
    return rest;
}

void expect_same_lines(const stream_maker& make, const std::string& text, std::size_t nbr_lines,
                       std::size_t nbr_skipped, bool looks_ahead) {
    const stream plain = make(text);
    const stream fast = make(text);
    for (std::size_t k = 0; k < nbr_skipped; ++k) {
        ASSERT_EQ(std::fgetc(plain.get()), std::fgetc(fast.get()));
    }
    const std::string expected = shown_by<line_reader>(plain.get(), nbr_lines, looks_ahead);
    ASSERT_EQ(shown_by<text_lines>(fast.get(), nbr_lines, looks_ahead), expected);
    ASSERT_EQ(rest_of(fast.get()), rest_of(plain.get()));
}

// Lines of lengths around that of a piece, and empty ones.
std::string random_lines(random_source& random, std::size_t nbr_lines, bool has_nulls) {
    std::string text;
    for (std::size_t k = 0; k < nbr_lines; ++k) {
        const std::size_t length = random.one_in(3)   ? random.below(3)
                                   : random.one_in(3) ? 250 + random.below(12)
                                                      : random.below(80);
        for (std::size_t i = 0; i < length; ++i) {
            text += has_nulls && random.one_in(30) ? '\0' : "abC 1,\r"[random.below(7)];
        }
        text += '\n';
    }
    if (random.one_in(2)) text.pop_back();
    return text;
}

void compare_random_lines(const stream_maker& make, std::size_t most_lines, bool has_nulls,
                          int nbr_texts, std::uint64_t seed) {
    random_source random(seed);
    for (int k = 0; k < nbr_texts; ++k) {
        std::string text = random_lines(random, 1 + random.below(most_lines), has_nulls);
        if (text.empty()) text = "x";
        const std::size_t nbr_lines = random.below(2 * most_lines);
        const std::size_t nbr_skipped = random.one_in(2) ? 0 : random.below(text.size());
        expect_same_lines(make, text, nbr_lines, nbr_skipped, random.one_in(2));
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(text_lines, a_file_has_the_lines_that_are_read_one_by_one_and_is_left_behind_them) {
    compare_random_lines(file_of, 8, false, 2000, 71);
    compare_random_lines(file_of, 8, true, 2000, 72);
}

TEST(text_lines, a_large_file_does_too) {
    compare_random_lines(file_of, 1500, false, 60, 73);
    compare_random_lines(file_of, 1500, true, 60, 74);
}

TEST(text_lines, a_text_in_memory_does_too) {
    compare_random_lines(memory_of, 8, false, 2000, 75);
    compare_random_lines(memory_of, 1500, false, 30, 76);
}

TEST(text_lines, a_pipe_is_read_line_by_line_and_left_behind_the_last) {
    compare_random_lines(pipe_of, 8, false, 1000, 77);
    compare_random_lines(pipe_of, 8, true, 1000, 78);
    compare_random_lines(pipe_of, 300, false, 30, 79);
}

// Line ends at each place around the end of the pieces that are taken off the stream.
TEST(text_lines, lines_may_end_anywhere_in_a_piece) {
    for (std::size_t length = 32 * 1024 - 270; length < 32 * 1024 + 10; ++length) {
        std::string text;
        while (text.size() + 100 < length) text.append(99, 'x') += '\n';
        text.append(length - text.size(), 'y');
        text += "\n third\nfourth";
        const std::size_t nbr_lines = length / 100 + length % 3;
        for (const bool looks_ahead : {false, true}) {
            expect_same_lines(file_of, text, nbr_lines, 0, looks_ahead);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(text_lines, a_stream_that_cannot_be_read_has_no_lines) {
    const scratch_file scratch("a line\n");
    const stream write_only(std::fopen(scratch.name(), "a"));
    text_lines lines(write_only.get());
    EXPECT_FALSE(lines.next());
    EXPECT_EQ(lines.line(), "");
    EXPECT_TRUE(lines.has_met_end());
    EXPECT_TRUE(std::ferror(write_only.get()));
    text_lines none(nullptr);
    EXPECT_FALSE(none.next());
    EXPECT_STREQ(none.text(), "");
}

TEST(text_lines, a_word_can_be_read_behind_each_line) {
    const std::string text = "1\n22\n\n" + std::string(300, '3') + "\n4";
    for (const stream_maker& make : {stream_maker(file_of), stream_maker(pipe_of)}) {
        const stream file = make(text);
        text_lines lines(file.get());
        std::uint64_t bits = 0;
        do {
            EXPECT_EQ(lines.line().data()[lines.line().size()], '\0');
            bits |= load_word(lines.line().data() + lines.line().size());
        } while (lines.next());
        EXPECT_EQ(bits & 0xFF, 0U);
    }
}

TEST(text_lines, a_stream_that_nothing_was_read_from_stays_as_it_is) {
    const stream file = file_of("ab\n");
    std::fgetc(file.get());
    std::ungetc('x', file.get());
    { const text_lines lines(file.get()); }
    EXPECT_EQ(std::fgetc(file.get()), 'x');
}

// Takes up to `nbr_lines` whole lines of the text ahead.
std::string passed_over(text_lines& lines, std::size_t nbr_lines) {
    std::string shown;
    const std::string_view ahead = lines.text_ahead();
    if (ahead.empty()) return shown;
    std::size_t size = 0;
    for (; nbr_lines > 0; --nbr_lines) {
        const std::size_t end = ahead.find('\n', size);
        if (end == std::string_view::npos || end - size >= text_lines::max_length) break;
        size = end + 1;
    }
    shown = ahead.substr(0, size);
    lines.pass_over(size);
    EXPECT_EQ(lines.line(), "");
    return shown;
}

TEST(text_lines, text_ahead_may_be_passed_over) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        random_source random(seed);
        const std::string text = random_lines(random, random.below(3000), false);
        const std::size_t nbr_calls = random.below(4000);
        for (const stream_maker& make : {stream_maker(file_of), stream_maker(memory_of)}) {
            if (text.empty()) continue;
            const stream file = make(text);
            std::string seen;
            {
                text_lines lines(file.get());
                for (std::size_t k = 0; k < nbr_calls; ++k) {
                    if (random.one_in(3)) {
                        seen += passed_over(lines, random.below(4));
                    } else {
                        lines.next();
                        seen += lines.line();
                    }
                }
            }
            ASSERT_EQ(seen, text.substr(0, seen.size()));
            ASSERT_EQ(std::ftell(file.get()), static_cast<long>(seen.size()));
        }
    }
}

TEST(text_lines, a_stream_read_line_by_line_has_no_text_ahead) {
    const stream pipe = pipe_of("a\nb\n");
    text_lines lines(pipe.get());
    EXPECT_TRUE(lines.text_ahead().empty());
    EXPECT_TRUE(lines.next());
    EXPECT_TRUE(lines.text_ahead().empty());
    EXPECT_EQ(lines.line(), "a\n");
}

} // namespace
