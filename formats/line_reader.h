// Lines of a text file, and the fields of a line.
#ifndef TESSMAKER_FORMATS_LINE_READER_H
#define TESSMAKER_FORMATS_LINE_READER_H

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/characters.h"

namespace kv7::tessmaker {

// Reads a stream line by line. The stream always stands directly behind the current line: callers
// may go on reading from it, and pipes can't be put back.
class line_reader {
public:
    // A longer line arrives in pieces of this length.
    static constexpr int max_length = 255;

    // A null stream reads like an empty file.
    explicit line_reader(std::FILE* file) : file_(file) { line_[0] = '\0'; }
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    // Reads the next line. False at the end of the file; the current line is then empty.
    bool next() {
        const bool found = file_ && std::fgets(line_, sizeof line_, file_);
        if (!found) line_[0] = '\0';
        return found;
    }
    void skip(int nbr_lines) {
        for (int i = 0; i < nbr_lines; ++i) next();
    }

    // The current line with its line ending, up to its first null character if it has one.
    const char* text() const { return line_; }
    std::string_view line() const { return line_; }

    void make_lower() {
        for (char* c = line_; *c != '\0'; ++c) *c = to_lower(*c);
    }

    bool next_begins_with(char c) {
        const int first = std::fgetc(file_);
        std::ungetc(first, file_);
        return first == c;
    }
    // Whether the last read met the end of the file or an error.
    bool has_met_end() const { return std::ferror(file_) || std::feof(file_); }

private:
    std::FILE* file_;
    char line_[max_length + 1];
};

// The first `Most` fields of a line between commas. Empty fields don't count: in `1,,2` the second
// field is `2`.
template <std::size_t Most> class line_fields {
public:
    explicit line_fields(std::string_view line) {
        const char* begin = line.data();
        const char* const end = begin + line.size();
        while (begin != end && size_ < Most) {
            const auto nbr_left = static_cast<std::size_t>(end - begin);
            const void* const comma = std::memchr(begin, ',', nbr_left);
            const char* const stop = comma ? static_cast<const char*>(comma) : end;
            if (stop != begin) {
                fields_[size_++] = {begin, static_cast<std::size_t>(stop - begin)};
            }
            begin = comma ? stop + 1 : end;
        }
    }

    std::size_t size() const { return size_; }
    // Empty for `i` from `size()` on.
    std::string_view operator[](std::size_t i) const { return fields_[i]; }

private:
    std::array<std::string_view, Most> fields_{};
    std::size_t size_ = 0;
};

} // namespace kv7::tessmaker

#endif
