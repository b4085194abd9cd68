#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/outputs.h"
#include "formats/characters.h"
#include "formats/numbers.h"
#include "formats/stl_content.h"
#include "formats/stl_spelling.h"
#include "formats/stl_weld.h"
#include "formats/streams.h"
#include "formats/text_lines.h"
#include "formats/triangle_soup.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_stream = -1;
constexpr int no_start = -2;       // no `solid` line, no whole header
constexpr int broken_rest = -3;    // broken grammar, truncated file
constexpr int merge_failed = -198; // kept: the last code that lets binary follow a text attempt
constexpr int out_of_memory = -199;

int number_and_weld(const triangle_soup& soup, dense2D<double>& pos,
                    dense2D<unsigned int>& connect) {
    if (!connect.resize(3, pos.cols() / 3)) return out_of_memory;
    number_corners(connect);
    return soup.has_height() ? stl_weld(soup.tolerance(), pos, connect) : 0;
}

// Turns the soup that has been read into a mesh; after a failure the mesh is empty. A soup of
// degenerate facets only is not welded.
int make_mesh(int read_result, const triangle_soup& soup, dense2D<double>& pos,
              dense2D<unsigned int>& connect) {
    const int result = read_result < 0 ? read_result : number_and_weld(soup, pos, connect);
    if (result < 0) {
        pos.clear();
        connect.clear();
    }
    return result;
}

// Reads the lines of a text file and knows their grammar. The usual spellings are recognised
// directly; only a line that is spelled otherwise is turned to lower case and searched.
class facet_reader {
public:
    explicit facet_reader(std::FILE* file) : lines_(file) {}

    bool next() {
        is_lower_ = false;
        return lines_.next();
    }

    bool contains(const char* word) {
        if (skip_word(skip_spaces(lines_.text()), word)) return true;
        make_lower();
        return std::strstr(lines_.text(), word) != nullptr;
    }
    bool next_contains(const char* word) { return next() && contains(word); }

    // Whether the line is the first of a facet and holds nothing else.
    bool is_plain_facet() const {
        const char* end = skip_word(skip_spaces(lines_.text()), "facet");
        if (end) end = skip_word(skip_spaces(end), "normal");
        double normal[3];
        if (end) end = scan_decimals_in_words(end, normal, 3);
        return end && *skip_spaces(end) == '\0';
    }
    bool is_facet() {
        if (is_plain_facet()) return true;
        make_lower();
        const c_locale_scope point_is_decimal;
        double normal[3];
        return scan_text(lines_.text(), " facet normal %lg %lg %lg\n", &normal[0], &normal[1],
                         &normal[2]) == 3;
    }

    bool next_vertex(double* corner) {
        if (!next()) return false;
        const char* const numbers = skip_word(skip_spaces(lines_.text()), "vertex");
        if (numbers && scan_decimals_in_words(numbers, corner, 3)) return true;
        make_lower();
        const c_locale_scope point_is_decimal;
        return scan_text(lines_.text(), " vertex %lg %lg %lg\n", corner, corner + 1, corner + 2) ==
               3;
    }

    // Reads facets behind the current line, at most `most`, as long as all their lines have been
    // read from the stream and are spelled in the usual way. Returns their number.
    std::size_t read_spelled_facets(double* corners, std::size_t most) {
        static_assert(longest_spelled_line == text_lines::max_length);
        const std::string_view ahead = lines_.text_ahead();
        if (ahead.empty()) return 0;
        const char* text = ahead.data();
        std::size_t n = 0;
        for (; n < most; ++n) {
            const char* const end = read_spelled_facet(text, corners + 9 * n);
            if (!end) break;
            text = end;
        }
        lines_.pass_over(static_cast<std::size_t>(text - ahead.data()));
        return n;
    }

private:
    void make_lower() {
        if (!is_lower_) lines_.make_lower();
        is_lower_ = true;
    }

    text_lines lines_;
    bool is_lower_ = false;
};

// Reads what follows the first line of a facet.
int read_text_facet(facet_reader& reader, triangle_soup& soup) {
    if (!reader.next_contains("outer loop")) return broken_rest;
    double corners[9];
    for (double* corner = corners; corner != corners + 9; corner += 3) {
        if (!reader.next_vertex(corner)) return broken_rest;
    }
    if (!reader.next_contains("endloop") || !reader.next_contains("endfacet")) return broken_rest;
    double* const stored = soup.add(1);
    if (!stored) return out_of_memory;
    std::copy_n(corners, 9, stored);
    soup.measure(stored);
    return 0;
}

// Reads the facets that follow in the usual spelling.
int read_spelled_facets(facet_reader& reader, triangle_soup& soup) {
    constexpr std::size_t block_size = 64;
    double corners[9 * block_size];
    for (std::size_t n = block_size; n == block_size;) {
        n = reader.read_spelled_facets(corners, block_size);
        if (n == 0) break;
        double* const stored = soup.add(n);
        if (!stored) return out_of_memory;
        std::copy_n(corners, 9 * n, stored);
        for (std::size_t k = 0; k < n; ++k) soup.measure(corners + 9 * k);
    }
    return 0;
}

// Reads all solids up to the end of the file.
int read_text_solids(std::FILE* file, triangle_soup& soup) {
    facet_reader reader(file);
    if (!reader.next_contains("solid")) return no_start;
    while (reader.next()) {
        if (!reader.is_plain_facet()) {
            // Kept: a line with "color" is skipped, even if it has "endsolid" as well.
            if (reader.contains("color")) continue;
            if (reader.contains("endsolid")) {
                if (!reader.next()) return 0;
                // Kept: after `endsolid` facets may follow without a new `solid`.
                if (reader.contains("solid")) continue;
            }
            if (!reader.is_facet()) return broken_rest;
        }
        int result = read_text_facet(reader, soup);
        if (result == 0) result = read_spelled_facets(reader, soup);
        if (result < 0) return result;
    }
    return broken_rest;
}

int read_text(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    triangle_soup soup(pos);
    return make_mesh(read_text_solids(file, soup), soup, pos, connect);
}

int read_binary_facets(std::FILE* file, triangle_soup& soup) {
    char start[stl_start_size];
    const std::size_t start_size = std::fread(start, 1, stl_start_size, file);
    if (start_size < stl_header_size) return no_start;
    if (start_size < stl_start_size) return broken_rest;
    const auto nbr_facets = static_cast<std::int32_t>(little_endian(start + stl_header_size));
    std::size_t nbr_left = nbr_facets > 0 ? static_cast<std::size_t>(nbr_facets) : 0;
    // The count may be wrong: reserve for no more facets than the file can hold.
    soup.reserve(std::min(nbr_left, nbr_bytes_left(file) / stl_facet_size));

    constexpr std::size_t block_size = 1024;
    char block[block_size * stl_facet_size];
    while (nbr_left > 0) {
        const std::size_t nbr_wanted = std::min(nbr_left, block_size);
        if (std::fread(block, stl_facet_size, nbr_wanted, file) < nbr_wanted) return broken_rest;
        double* corners = soup.add(nbr_wanted);
        if (!corners) return out_of_memory;
        for (std::size_t k = 0; k < nbr_wanted; ++k, corners += 9) {
            read_stl_corners(block + k * stl_facet_size, corners);
            soup.measure(corners);
        }
        nbr_left -= nbr_wanted;
    }
    return 0;
}

int read_binary(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    triangle_soup soup(pos);
    return make_mesh(read_binary_facets(file, soup), soup, pos, connect);
}

// Whether a failed text attempt is to be followed by a binary one.
bool may_be_binary(int text_result) { return text_result >= merge_failed && text_result <= -1; }

} // namespace

int STL_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    clear_outputs(outputs{pos, connect}, inputs{});
    if (!is_usable(file)) return bad_stream;
    std::fpos_t start;
    const bool can_return = std::fgetpos(file, &start) == 0;
    const int result = read_text(file, pos, connect);
    if (!may_be_binary(result)) return result;
    if (!can_return || std::fsetpos(file, &start) != 0) return result;
    return read_binary(file, pos, connect);
}

int STL_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    clear_outputs(outputs{pos, connect}, inputs{});
    int result = bad_stream;
    if (const opened_file file{filename, "rt"}) {
        result = read_text(file.get(), pos, connect);
        if (!may_be_binary(result)) return result;
    }
    const opened_file file{filename, "rb"};
    return file ? read_binary(file.get(), pos, connect) : result;
}

} // namespace kv7::tessmaker
