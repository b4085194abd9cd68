// Words of a text file, between blanks of any kind, with their places.
#ifndef TESSMAKER_FORMATS_TEXT_WORDS_H
#define TESSMAKER_FORMATS_TEXT_WORDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/characters.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads a stream word by word. Lines end with "\n", "\r\n" or "\r". Behind each character of a word
// `word_size` characters can be read, the first of which is no part of a number.
class text_words {
public:
    // A longer word arrives in pieces.
    static constexpr std::size_t longest_word = std::size_t{1} << 12;

    // `already_read` comes first, and then the stream; at most `longest_word` characters.
    text_words(std::FILE* file, std::string_view already_read) : file_(file) {
        end_ = std::copy(already_read.begin(), already_read.end(), block_);
        std::fill_n(end_, word_size, '\0');
    }
    explicit text_words(std::FILE* file) : text_words(file, {}) {}
    text_words(const text_words&) = delete;
    text_words& operator=(const text_words&) = delete;

    // The next word, which lives until the next call; empty at the end of the file.
    std::string_view next() {
        for (;;) {
            while (at_ != end_ && is_space(*at_)) pass(*at_++);
            if (at_ != end_) break;
            if (!read_more()) return note({});
        }
        const char* word_end = find_end(at_);
        if (word_end == end_) {
            read_more();
            word_end = find_end(at_);
        }
        const char* const word = at_;
        const auto size = std::min(static_cast<std::size_t>(word_end - word), longest_word);
        at_ += size;
        return note({word, size});
    }

    // What follows the last word in its line, without blanks around it, and cut behind
    // `longest_word` characters. Lives until the next call.
    std::string_view rest_of_line() {
        if (find_line_end() == end_) read_more();
        const char* const start = at_;
        const char* const line_end = find_line_end();
        if (line_end != start) last_ = ' ';
        at_ = line_end;
        return trim({start, static_cast<std::size_t>(line_end - start)});
    }
    // Passes over the rest of the line, whatever its length.
    void skip_line() {
        do {
            while (at_ != end_ && !ends_line(*at_)) pass(*at_++);
        } while (at_ == end_ && read_more());
    }

    // Passes over the rest of the line and its end. False at the end of the file.
    bool to_next_line() {
        skip_line();
        if (at_ == end_) return false;
        const bool may_be_two = *at_ == '\r';
        pass(*at_++);
        if (may_be_two && (at_ != end_ || read_more()) && *at_ == '\n') pass(*at_++);
        return true;
    }

    // Where the last word stands, from 1; at the end of the file, where a word was expected.
    std::uint64_t line() const { return word_line_; }
    std::uint64_t column() const { return word_column_; }

private:
    static constexpr std::size_t block_size = std::size_t{1} << 16;
    static_assert(block_size >= 4 * longest_word);

    static bool ends_line(char c) { return c == '\n' || c == '\r'; }

    const char* find_end(const char* from) const {
        while (from != end_ && !is_space(*from)) ++from;
        return from;
    }
    const char* find_line_end() const {
        const std::ptrdiff_t most = longest_word;
        return std::find_if(at_, at_ + std::min(end_ - at_, most), ends_line);
    }
    // Counts lines over a character that is passed. The "\n" of "\r\n" is a part of the same end.
    void pass(char c) {
        if (c == '\r' || (c == '\n' && last_ != '\r')) ++line_;
        if (ends_line(c)) line_start_ = passed_ + (at_ - block_);
        last_ = c;
    }
    std::string_view note(std::string_view word) {
        const char* const place = word.empty() ? at_ : word.data();
        word_line_ = line_;
        word_column_ = static_cast<std::uint64_t>(passed_ + (place - block_) - line_start_ + 1);
        if (!word.empty()) last_ = ' ';
        return word;
    }
    // Moves what is left to the start of the block and fills it up. False if nothing could be
    // added.
    bool read_more() {
        const auto left = static_cast<std::size_t>(end_ - at_);
        std::memmove(block_, at_, left);
        passed_ += at_ - block_;
        at_ = block_;
        const std::size_t size = std::fread(block_ + left, 1, block_size - left, file_);
        end_ = block_ + left + size;
        std::fill_n(end_, word_size, '\0');
        return size != 0;
    }

    std::FILE* file_;
    char block_[block_size + word_size];
    const char* at_ = block_;
    char* end_ = block_;
    std::int64_t passed_ = 0; // characters ahead of the block
    std::int64_t line_start_ = 0;
    std::uint64_t line_ = 1;
    char last_ = ' ';
    std::uint64_t word_line_ = 1;
    std::uint64_t word_column_ = 1;
};

} // namespace kv7::tessmaker

#endif
