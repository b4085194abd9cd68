// Words of a text file whose lines mean something, with their places.
#ifndef TESSMAKER_FORMATS_LINE_WORDS_H
#define TESSMAKER_FORMATS_LINE_WORDS_H

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "formats/characters.h"
#include "formats/text_block.h"

namespace kv7::tessmaker {

// Reads a stream word by word and line by line. Lines end with "\n", "\r\n" or "\r"; the last one
// may have no end. A line goes on in the next one if a `\` is the last in it but for blanks. A word
// that begins with `#` begins a comment, which ends with its line in any case. A byte-order mark
// ahead of all is skipped. Behind each character of a word `word_size` characters can be read, the
// first of which is no part of a number but in the pieces of a long word.
class line_words : public text_block {
public:
    // A longer word arrives in pieces.
    static constexpr std::size_t longest_word = std::size_t{1} << 12;

    explicit line_words(std::FILE* file) : text_block(file) {
        fill();
        if (std::string_view(at_, static_cast<std::size_t>(end_ - at_)).substr(0, 3) ==
            "\xEF\xBB\xBF") {
            at_ += 3;
            begin_line_at(at_);
        }
    }

    // Goes to the first line, or passes over the rest of a line. False at the end of the file.
    bool next_line() {
        if (is_in_line_) {
            while (!next().empty()) {
            }
            pass_line_end();
        }
        is_in_line_ = true;
        fill();
        return at_ != end_;
    }

    // The next word of the line, which lives until the next call; empty at the end of the line.
    std::string_view next() {
        for (;;) {
            fill();
            if (at_ == end_ || ends_line(*at_)) return note(at_, at_);
            if (is_space(*at_)) {
                ++at_;
            } else if (*at_ == '\\' && continues(at_)) {
                ++at_;
                while (at_ != end_ && is_blank(*at_)) ++at_;
                pass_line_end();
            } else if (*at_ == '#') {
                skip_to_line_end();
                return note(at_, at_);
            } else {
                return next_word();
            }
        }
    }

private:
    // So much is there, unless the file ends: a word and what tells that its line goes on.
    static constexpr std::size_t window = 2 * longest_word;
    static_assert(size >= 2 * window);

    static bool is_blank(char c) { return is_space(c) && !ends_line(c); }

    // Whether nothing but blanks follows in the line; many more than anyone writes are not looked
    // through.
    bool continues(const char* backslash) const {
        const char* text = backslash + 1;
        while (text != end_ && is_blank(*text)) ++text;
        return text == end_ ? has_all_ : ends_line(*text);
    }
    std::string_view next_word() {
        const char* const word = at_;
        const char* const most =
            end_ - at_ > static_cast<std::ptrdiff_t>(longest_word) ? at_ + longest_word : end_;
        const char* text = at_;
        while (text != most && !is_space(*text) && !(*text == '\\' && continues(text))) ++text;
        at_ = text;
        return note(word, text);
    }
    std::string_view note(const char* word, const char* word_end) {
        note_place(word);
        return {word, static_cast<std::size_t>(word_end - word)};
    }

    void skip_to_line_end() {
        for (;;) {
            while (at_ != end_ && !ends_line(*at_)) ++at_;
            if (at_ != end_ || has_all_) return;
            fill();
        }
    }
    void pass_line_end() {
        fill();
        if (at_ == end_) return;
        const bool is_return = *at_++ == '\r';
        if (is_return && at_ != end_ && *at_ == '\n') ++at_;
        ++line_;
        begin_line_at(at_);
    }

    // Makes sure that the window is there.
    void fill() {
        if (end_ - at_ < static_cast<std::ptrdiff_t>(window) && !has_all_) read_more();
    }

    bool is_in_line_ = false;
};

} // namespace kv7::tessmaker

#endif
