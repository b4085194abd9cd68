// Words of a text file, between blanks of any kind, with their places.
#ifndef TESSMAKER_FORMATS_TEXT_WORDS_H
#define TESSMAKER_FORMATS_TEXT_WORDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "formats/characters.h"
#include "formats/text_block.h"

namespace kv7::tessmaker {

// Reads a stream word by word. Lines end with "\n", "\r\n" or "\r". Behind each character of a word
// `word_size` characters can be read, the first of which is no part of a number. A byte-order mark
// ahead of all is skipped if nothing was read before.
class text_words : public text_block {
public:
    // A longer word arrives in pieces.
    static constexpr std::size_t longest_word = std::size_t{1} << 12;

    // `already_read` comes first, and then the stream; at most `longest_word` characters.
    text_words(std::FILE* file, std::string_view already_read) : text_block(file) {
        set_end(std::copy(already_read.begin(), already_read.end(), block_));
    }
    explicit text_words(std::FILE* file) : text_words(file, {}) { read_beginning(); }

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
        const auto n = std::min(static_cast<std::size_t>(word_end - word), longest_word);
        at_ += n;
        return note({word, n});
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

    // What has been read of the text behind the last word; may end anywhere, and `word_size` nulls
    // follow.
    std::string_view text_ahead() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
    // Passes over the first `n` characters of it, whole lines with as many ends, at least one.
    void pass_over(std::size_t n, std::uint64_t nbr_lines) {
        at_ += n;
        line_ += nbr_lines;
        begin_line_at(at_);
        last_ = '\n';
    }

private:
    static_assert(size >= 4 * longest_word);

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
        if (ends_line(c)) begin_line_at(at_);
        last_ = c;
    }
    std::string_view note(std::string_view word) {
        note_place(word.empty() ? at_ : word.data());
        if (!word.empty()) last_ = ' ';
        return word;
    }

    char last_ = ' ';
};

} // namespace kv7::tessmaker

#endif
