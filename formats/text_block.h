// The part of a text file that words are looked for in, and their places.
#ifndef TESSMAKER_FORMATS_TEXT_BLOCK_H
#define TESSMAKER_FORMATS_TEXT_BLOCK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/characters.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads a stream piece by piece. Lines are counted by the readers that are made of this, from 1 on.
// Behind each character, and behind the last one, `word_size` characters can be read.
class text_block {
public:
    // Where the last word begins, from 1; where there was none, the place where it was expected.
    std::uint64_t line() const { return word_line_; }
    std::uint64_t column() const { return word_column_; }

protected:
    static constexpr std::size_t size = std::size_t{1} << 16;

    explicit text_block(std::FILE* file) : file_(file) {}
    text_block(const text_block&) = delete;
    text_block& operator=(const text_block&) = delete;
    ~text_block() = default;

    static bool ends_line(char c) { return c == '\n' || c == '\r'; }

    // Moves what is left to the start of the block and fills it up. False if nothing could be
    // added.
    bool read_more() {
        const auto nbr_left = static_cast<std::size_t>(end_ - at_);
        std::memmove(block_, at_, nbr_left);
        passed_ += at_ - block_;
        at_ = block_;
        const std::size_t room = size - nbr_left;
        const std::size_t nbr_read = std::fread(block_ + nbr_left, 1, room, file_);
        has_all_ = nbr_read < room;
        set_end(block_ + nbr_left + nbr_read);
        return nbr_read != 0;
    }
    // Ends what has been read.
    void set_end(char* end) {
        end_ = end;
        std::fill_n(end_, word_size, '\0');
    }
    void begin_line_at(const char* start) { line_start_ = offset(start); }
    // Reads the beginning of the stream, but for the mark that it may have.
    void read_beginning() {
        read_more();
        const std::string_view text(at_, static_cast<std::size_t>(end_ - at_));
        at_ += text.size() - skip_utf8_mark(text).size();
        begin_line_at(at_);
    }
    void note_place(const char* place) {
        word_line_ = line_;
        word_column_ = static_cast<std::uint64_t>(offset(place) - line_start_ + 1);
    }

    char block_[size + word_size];
    const char* at_ = block_; // what is read next
    char* end_ = block_;
    bool has_all_ = false; // nothing is left in the stream
    std::uint64_t line_ = 1;

private:
    std::int64_t offset(const char* place) const { return passed_ + (place - block_); }

    std::FILE* file_;
    std::int64_t passed_ = 0; // characters ahead of the block
    std::int64_t line_start_ = 0;
    std::uint64_t word_line_ = 1;
    std::uint64_t word_column_ = 1;
};

} // namespace kv7::tessmaker

#endif
