// What the readers and writers of mesh files share: streams opened by name, lines and their pieces,
// and arrays that grow while a file is read.
#ifndef TESSMAKER_FORMATS_TEXT_SCANNING_H
#define TESSMAKER_FORMATS_TEXT_SCANNING_H

#include <locale.h> // the types and functions that POSIX adds to <clocale>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Whether the stream can be worked on: it is there, and no error has been met on it.
inline bool is_usable(std::FILE* file) { return file && !std::ferror(file); }

// A stream opened by name. It is closed at the end of its scope, unless the caller closes it
// earlier, to learn whether all was written, or leaves it open for the rest of the process.
class opened_file {
public:
    opened_file(const char* filename, const char* mode)
        : file_(filename ? std::fopen(filename, mode) : nullptr) {}
    ~opened_file() { close(); }
    opened_file(const opened_file&) = delete;
    opened_file& operator=(const opened_file&) = delete;

    explicit operator bool() const { return file_ != nullptr; }
    std::FILE* get() const { return file_; }

    // Whether everything written has reached the file. A stream that isn't open has nothing to
    // lose.
    bool close() {
        std::FILE* const file = leave_open();
        return !file || std::fclose(file) == 0;
    }
    // The stream, which is not closed any more.
    std::FILE* leave_open() {
        std::FILE* const file = file_;
        file_ = nullptr;
        return file;
    }

private:
    std::FILE* file_;
};

// Formatted input as in the C library, in the caller's locale, with its result: the number of
// values found, EOF when the text ends before the first.
[[gnu::format(scanf, 2, 3)]] int scan_text(const char* text, const char* format, ...);

// White space and letters are those of the C locale, whatever the caller has set, so that a file
// reads the same everywhere.
constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Room for the 255 characters that count as one line, and the terminator.
inline constexpr int line_buffer_size = 256;

// Reads a line with its ending into `line_buffer_size` characters. A longer line arrives in pieces.
// False when nothing is left.
bool read_text_line(char* buffer, std::FILE* file);

void to_lower_line(char* buffer);

// The first character that isn't white space.
inline const char* skip_spaces(const char* text) {
    while (is_space(*text)) ++text;
    return text;
}

// The place behind `word`, in small letters, at the start of the text, in letters of any case. Null
// when the text starts otherwise.
inline const char* skip_word(const char* text, const char* word) {
    for (; *word != '\0'; ++text, ++word) {
        if (to_lower(*text) != *word) return nullptr;
    }
    return text;
}

// The decimal number at the start of the text, as `>>` of a stream reads it in the C locale: null
// where what could be a number, up to the first character that can't go on with it, is none, as for
// `1e+`, and beyond the range of double. Below that range the value is the nearest double.
// Hexadecimal numbers end at their `x`; words are no numbers. Returns the place behind the number.
const char* scan_number(const char* text, double& value);

// Reads `n` decimal numbers, white space before each and at least one space or the end of the text
// behind it. Returns the place behind them, or null when anything else stands there (what
// `scan_text` makes of that, hexadecimal numbers or `nan`, is not looked at) or a number is beyond
// the range of double. The values are those of `scan_text`, at a fraction of its cost.
const char* scan_decimals(const char* text, double* values, int n);

// The number at the start of the text as `%lf` of `scan_text` reads it in the C locale. Returns the
// place behind it, or null when there is none.
const char* scan_real(const char* text, double& value);

// The integer at the start of the text, white space before it aside, as `strtol` gives it, and of
// that what an `int` keeps: an integer beyond `long` is clamped, one beyond `int` loses its upper
// bits, and its bits are the value. Returns the place behind it, or null when there is none.
const char* scan_integer(const char* text, const char* end, unsigned int& value);

// The values of `atoi` and `atof` in the C locale: 0 for a text that starts otherwise.
unsigned int to_integer(std::string_view text);
double to_real(const char* text);

// While it lives, the C library reads and writes numbers in this thread as in the C locale.
class c_locale_scope {
public:
    c_locale_scope();
    ~c_locale_scope();
    c_locale_scope(const c_locale_scope&) = delete;
    c_locale_scope& operator=(const c_locale_scope&) = delete;

private:
    locale_t c_locale_;
    locale_t callers_;
};

// The text without the white space at its end.
constexpr std::string_view trim_right(std::string_view text) {
    while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
    return text;
}

// The first `Most` pieces of a line between commas, without the empty ones: in `1,,2` the second
// piece is `2`.
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
    // Empty where there is none.
    std::string_view operator[](std::size_t i) const { return fields_[i]; }

private:
    std::array<std::string_view, Most> fields_{};
    std::size_t size_ = 0;
};

// Appends a column of `rows` values, which are not the array's own; repeated appends take linear
// time. No values are no column, and always fit. False, and nothing changed, when the array has
// other rows or memory fails.
template <class T> bool append_column(const T* column, std::size_t rows, dense2D<T>& array) {
    if (rows == 0) return true;
    const std::size_t cols = array.cols();
    if (!array.empty() && array.rows() != rows) return false;
    const std::size_t ld = array.empty() ? rows : array.ld();
    if (array.capacity() < ld * (cols + 1)) {
        // The block moves on in place, so that other views on it follow; `resize` has the last
        // word.
        array.reserve(rows, std::max<std::size_t>(4, 2 * cols), 1);
    }
    if (!array.resize(rows, cols + 1)) return false;
    std::copy_n(column, rows, array.column(cols));
    return true;
}

// Makes column `id - 1` of 3-row coordinates exist, for files that number their nodes from 1, in
// any order. `id` is 1 or more. Columns that were skipped hold zeros. False when memory fails, or
// would have to be more than this machine has.
bool place_by_id(dense2D<double>& pos, unsigned int id);

} // namespace kv7::tessmaker

#endif
