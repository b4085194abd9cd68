// Lines of a text file, found in large pieces of it.
#ifndef TESSMAKER_FORMATS_TEXT_LINES_H
#define TESSMAKER_FORMATS_TEXT_LINES_H

#include <sys/types.h> // off_t

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/characters.h"
#include "formats/line_reader.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads a stream line by line, as `line_reader` does. At the end of its life it leaves the stream
// directly behind the current line, in the state in which reading line by line would have left it.
// Until then nobody else may use the stream. A stream that can't be put back, such as a pipe, is
// read line by line.
//
// From every character of the line, and from its end, `word_size` characters can be read, of which
// those behind the line mean nothing.
class text_lines {
public:
    // A longer line arrives in pieces of this length.
    static constexpr std::size_t max_length = line_reader::max_length;

    // A null stream reads like an empty file.
    explicit text_lines(std::FILE* file);
    ~text_lines();
    text_lines(const text_lines&) = delete;
    text_lines& operator=(const text_lines&) = delete;

    // Reads the next line. False at the end of the file; the current line is then empty.
    bool next() {
        if (start_ < 0) return next_of_stream();
        const char* end = find_end_of_next();
        // A character behind the line is there, for `next_begins_with`, unless the file ends.
        if ((!end || end == data_end_) && !has_all_) {
            read_more();
            end = find_end_of_next();
        }
        if (!end) return end_with_rest();
        set_line(end);
        return true;
    }
    void skip(int nbr_lines) {
        for (int i = 0; i < nbr_lines; ++i) next();
    }

    // The current line with its line ending, up to its first null character if it has one.
    const char* text() const { return line_; }
    std::string_view line() const { return {line_, size_}; }

    void make_lower() {
        for (char* c = line_; *c != '\0'; ++c) *c = to_lower(*c);
    }

    bool next_begins_with(char c) {
        if (start_ < 0) return lines_.next_begins_with(c);
        if (rest_ == data_end_ && !has_all_) read_more(); // before the first line only
        if (rest_ == data_end_) has_met_end_ = true;
        return rest_ != data_end_ && first_of_rest_ == c;
    }
    // What has been read of the text behind the current line, for callers that know lines of it
    // without `next`; may end within a line, and is empty for a stream that is read line by line.
    // `word_size` nulls follow. Unless it is empty, `pass_over` must be called next.
    std::string_view text_ahead() {
        if (start_ < 0) return {};
        *rest_ = first_of_rest_;
        return {rest_, static_cast<std::size_t>(data_end_ - rest_)};
    }
    // Goes on behind the first `size` characters of the text ahead. The current line is then empty.
    void pass_over(std::size_t size) {
        line_ = rest_ + size;
        rest_ = line_;
        set_line(line_);
    }

    // Whether the last read met the end of the file or an error.
    bool has_met_end() const { return start_ < 0 ? lines_.has_met_end() : has_met_end_; }

private:
    static constexpr std::size_t block_size = std::size_t{1} << 15;

    // The end of the next line in the block, with its line ending; null if the block holds less.
    const char* find_end_of_next() {
        const auto size = static_cast<std::size_t>(data_end_ - rest_);
        const std::size_t most = size < max_length ? size : max_length;
        if (most == 0) return nullptr;
        // The first character is looked at on its own: it may just have been written.
        *rest_ = first_of_rest_;
        if (first_of_rest_ == '\n') return rest_ + 1;
        const void* const newline = std::memchr(rest_ + 1, '\n', most - 1);
        if (newline) return static_cast<const char*>(newline) + 1;
        return most == max_length ? rest_ + max_length : nullptr;
    }
    void set_line(const char* end) {
        const auto size = static_cast<std::size_t>(end - rest_);
        line_ = rest_;
        rest_ += size;
        first_of_rest_ = *rest_;
        *rest_ = '\0';
        size_ = has_nulls_ ? std::strlen(line_) : size;
    }

    bool next_of_stream();
    void read_more();
    bool end_with_rest();

    std::FILE* file_;
    line_reader lines_;
    off_t start_;        // of the stream; negative if it can't be put back
    off_t nbr_read_ = 0; // characters that were taken off it

    char* line_ = block_;
    std::size_t size_ = 0;
    // What stands in the block behind the line. Its first character is a null there, which ends the
    // line, and is kept here.
    char* rest_ = block_;
    char* data_end_ = block_;
    char first_of_rest_ = '\0';
    bool has_all_ = false; // nothing is left in the stream
    bool has_met_end_ = false;
    bool has_nulls_ = false;
    char block_[block_size + word_size + 1];
};

} // namespace kv7::tessmaker

#endif
