// Lines of a deck, with any line ending, of any length, and with any bytes in them.
#ifndef TESSMAKER_FORMATS_DECK_LINES_H
#define TESSMAKER_FORMATS_DECK_LINES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace kv7::tessmaker {

// Reads a stream to its end in large blocks. Lines end with LF, CR or both; the last one may have
// no end. Nulls are characters as others are. A byte-order mark at the start of the file is
// skipped.
//
// From every character of a line, and from its end, `nbr_behind` characters can be read, of which
// those behind the line mean nothing.
class deck_lines {
public:
    // The rest of a longer line is dropped.
    static constexpr std::size_t most_length = 1024;
    static constexpr std::size_t nbr_behind = 80;

    explicit deck_lines(std::FILE* file) : file_(file) {}
    deck_lines(const deck_lines&) = delete;
    deck_lines& operator=(const deck_lines&) = delete;

    // Reads the next line. False at the end of the file, or at an error; the current line is then
    // empty.
    bool next() { return take_to_newline() || next_in_parts(); }

    // The current line without its ending.
    std::string_view line() const { return line_; }
    bool is_cut() const { return is_cut_; }
    // Of the current line, from 1.
    std::uint64_t number() const { return number_; }

    // Whole lines that end with LF, from the current one on, as they stand in memory; empty if that
    // is none of them.
    std::string_view ahead() const {
        const char* const end = line_.data() + line_.size();
        if (is_cut_ || end + 1 != rest_ || *end != '\n') return {};
        return {line_.data(), static_cast<std::size_t>(next_return_ - line_.data())};
    }
    // How many bytes stand behind the current line in memory.
    std::size_t nbr_bytes_ahead() const { return static_cast<std::size_t>(data_end_ - rest_); }
    // Passes over lines of those, the current one among them; there is no current line then.
    void pass_over(std::size_t nbr_bytes, std::size_t nbr_lines) {
        rest_ = line_.data() + nbr_bytes;
        number_ += nbr_lines - 1;
        line_ = {};
    }

    // False if no line of the block at hand holds the character.
    bool may_hold_tab() const { return has_tabs_; }
    bool may_hold_dollar() const { return has_dollars_; }

private:
    static constexpr std::size_t block_size = std::size_t{1} << 16;

    void set_line(const char* end, const char* rest) {
        const auto size = static_cast<std::size_t>(end - rest_);
        is_cut_ = size > most_length;
        line_ = {rest_, is_cut_ ? most_length : size};
        rest_ = rest;
        ++number_;
    }
    // False if a CR or the end of the block comes first.
    bool take_to_newline() {
        const auto size = static_cast<std::size_t>(next_return_ - rest_);
        const void* const newline = size == 0 ? nullptr : std::memchr(rest_, '\n', size);
        if (!newline) return false;
        const char* const end = static_cast<const char*>(newline);
        set_line(end, end + 1);
        return true;
    }
    bool next_in_parts();
    bool take_whole_line();
    bool take_rest();
    bool take_start_of_line();
    void find_return();
    void read_more();

    std::FILE* file_;
    std::uint64_t number_ = 0;
    std::string_view line_;
    bool is_cut_ = false;
    bool has_all_ = false; // nothing is left in the stream
    bool has_tabs_ = false;
    bool has_dollars_ = false;
    // What stands in the block behind the line, and the first CR in it, or its end.
    const char* rest_ = block_;
    const char* next_return_ = block_;
    char* data_end_ = block_;
    char block_[block_size + nbr_behind];
    char start_of_line_[most_length + nbr_behind];
};

} // namespace kv7::tessmaker

#endif
