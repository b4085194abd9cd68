// Facets of a text STL file in the spelling that almost all files have.
#ifndef TESSMAKER_FORMATS_STL_SPELLING_H
#define TESSMAKER_FORMATS_STL_SPELLING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "formats/characters.h"
#include "formats/decimal.h"
#include "formats/numbers.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Behind each character of a text that is read here, and behind its end, a word of memory can be
// read.

// Longer lines are left to others.
inline constexpr std::ptrdiff_t longest_spelled_line = 255;
inline constexpr std::size_t nbr_lines_of_spelled_facet = 7;

// A word of the usual spelling in a text behind which a word of memory can be read. Returns the end
// of the word, or null if there is another.
template <std::size_t Size> const char* skip_spelled(const char* text, const char (&word)[Size]) {
    constexpr std::size_t length = Size - 1; // without the null
    for (std::size_t k = 0; k < length; k += word_size) {
        const std::size_t n = std::min(word_size, length - k);
        std::uint64_t expected = 0;
        for (std::size_t i = 0; i < n; ++i) {
            expected |= std::uint64_t{static_cast<unsigned char>(word[k + i])} << 8 * i;
        }
        const std::uint64_t mask =
            n < word_size ? (std::uint64_t{1} << 8 * n) - 1 : ~std::uint64_t{0};
        if (((load_word(text + k) ^ expected) & mask) != 0) return nullptr;
    }
    return text + length;
}

constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }
inline const char* skip_blanks(const char* text) {
    while (is_blank(*text)) ++text;
    return text;
}

// The lines of a facet in their usual spelling, each read from its start. All return the start of
// the next line, or null if the line is spelled otherwise or is longer.

// What is left of a line whose words have been read.
inline const char* skip_line_end(const char* text, const char* line) {
    text = skip_blanks(text);
    if (*text == '\r') ++text;
    if (*text != '\n') return nullptr;
    ++text;
    return text - line <= longest_spelled_line ? text : nullptr;
}
template <std::size_t Size> const char* skip_line(const char* line, const char (&word)[Size]) {
    const char* const end = skip_spelled(skip_blanks(line), word);
    return end ? skip_line_end(end, line) : nullptr;
}
template <std::size_t Size>
const char* read_line(const char* line, const char (&word)[Size], double* numbers) {
    const char* text = skip_spelled(skip_blanks(line), word);
    if (text && !is_blank(*text)) return nullptr;
    for (int i = 0; i < 3 && text; ++i) {
        const char* const begin = skip_blanks(text);
        text = scan_scientific(begin, numbers[i]);
        if (!text) text = scan_number_in_words(begin, numbers[i]);
        if (text && !is_space(*text)) return nullptr;
    }
    return text ? skip_line_end(text, line) : nullptr;
}

// Reads a facet from the start of its first line. Returns the start of the line behind it, or null
// if a line is spelled in another way.
inline const char* read_spelled_facet(const char* line, double* corners) {
    double normal[3];
    line = read_line(line, "facet normal", normal);
    if (line) line = skip_line(line, "outer loop");
    for (int i = 0; i < 3 && line; ++i) line = read_line(line, "vertex", corners + 3 * i);
    if (line) line = skip_line(line, "endloop");
    return line ? skip_line(line, "endfacet") : nullptr;
}

} // namespace kv7::tessmaker

#endif
