#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include "core/outputs.h"
#include "formats/characters.h"
#include "formats/decimal.h"
#include "formats/growing_arrays.h"
#include "formats/numbers.h"
#include "formats/streams.h"
#include "formats/words.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_line = -2;

// Reads a file in blocks of whole lines, each line ending in '\n'. Lines may have any length.
// Behind each character of a block a word can be read.
class line_blocks {
public:
    explicit line_blocks(std::FILE* file) : file_(file), text_(block_size + room_behind) {}

    // Reads the next block. False when no lines are left.
    bool next() {
        if (is_at_end_) return false;
        size_ = static_cast<std::size_t>(
            std::copy(text_.data() + lines_end_, text_.data() + size_, text_.data()) -
            text_.data());
        while (read_more()) {
            lines_end_ = find_lines_end();
            if (lines_end_ != 0) return true;
            text_.resize(2 * text_.size());
        }
        return finish();
    }

    const char* begin() const { return text_.data(); }
    const char* end() const { return text_.data() + lines_end_; }
    // Whether the last line of the block ends the file without a '\n', which has been added.
    bool lacks_line_end() const { return lacks_line_end_; }

private:
    static constexpr std::size_t block_size = std::size_t{1} << 18;
    // For a line ending and a word.
    static constexpr std::size_t room_behind = 1 + word_size;

    // Fills the block. False at the end of the file.
    bool read_more() {
        const std::size_t room = text_.size() - room_behind - size_;
        const std::size_t nbr_read = std::fread(text_.data() + size_, 1, room, file_);
        size_ += nbr_read;
        return nbr_read == room;
    }
    std::size_t find_lines_end() const {
        std::size_t end = size_;
        while (end != 0 && text_[end - 1] != '\n') --end;
        return end;
    }
    // Gives out the last lines; without the last one if an error cut it off.
    bool finish() {
        is_at_end_ = true;
        lines_end_ = find_lines_end();
        if (lines_end_ != size_ && !std::ferror(file_)) {
            text_[size_] = '\n';
            lines_end_ = size_ + 1;
            lacks_line_end_ = true;
        }
        return lines_end_ != 0;
    }

    std::FILE* file_;
    std::vector<char> text_;
    std::size_t size_ = 0;
    std::size_t lines_end_ = 0;
    bool is_at_end_ = false;
    bool lacks_line_end_ = false;
};

// Within a line: `skip_blanks` stops at the end of the line, and a word ends there.
const char* skip_blanks(const char* text) {
    while (is_space(*text) && *text != '\n') ++text;
    return text;
}
const char* skip_rest_of_word(const char* text) {
    while (!is_space(*text)) ++text;
    return text;
}

const char* scan_value(const char* text, double& value) {
    const char* const end = scan_fixed(text, value);
    return end ? end : scan_number_in_words(text, value);
}

// Most lines are read up to their end, but for a blank.
const char* find_line_end(const char* text, const char* block_end) {
    if (*text == ' ') ++text;
    if (*text == '\n') return text;
    const auto size = static_cast<std::size_t>(block_end - text);
    return static_cast<const char*>(std::memchr(text, '\n', size));
}

// Reads up to `most` numbers, with or without blanks between them, and returns how many there are.
std::size_t read_numbers(const char*& text, double* values, std::size_t most) {
    for (std::size_t n = 0; n < most; ++n) {
        const char* const end = scan_value(skip_blanks(text), values[n]);
        if (!end) return n;
        text = end;
    }
    return most;
}

// Reads an `int` as `>>` of a stream does. Null if there is none or it is out of range.
const char* scan_int(const char* text, int& value) {
    const bool is_negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    const std::uint64_t word = load_word(text);
    const std::size_t nbr_digits = nbr_leading_digits(word);
    if (nbr_digits != 0 && nbr_digits != word_size) {
        const auto magnitude = static_cast<int>(value_of_digits(word, nbr_digits));
        value = is_negative ? -magnitude : magnitude;
        return text + nbr_digits;
    }
    const char* const digits = text;
    const std::int64_t limit =
        std::int64_t{std::numeric_limits<int>::max()} + (is_negative ? 1 : 0);
    std::int64_t magnitude = 0;
    for (; is_digit(*text); ++text) {
        magnitude = std::min(10 * magnitude + (*text - '0'), limit + 1);
    }
    if (text == digits || magnitude > limit) return nullptr;
    value = static_cast<int>(is_negative ? -magnitude : magnitude);
    return text;
}

// The parts of a corner, in the order of the file.
enum part : std::size_t { vertex, texture, normal };

// The first vertices of a face, and the count of each part over all corners.
struct face_numbers {
    static constexpr std::size_t most_vertices = 4;

    int vertices[most_vertices] = {};
    std::size_t counts[3] = {};

    void add(part p, int number) {
        if (p == vertex && counts[vertex] < most_vertices) vertices[counts[vertex]] = number;
        ++counts[p];
    }
};

// Reads a part of a corner and the following slash. A part that is not a number ends the corner,
// without an error. Null when other text follows the number.
const char* read_part(const char* text, part p, face_numbers& face) {
    if (is_space(*text)) return text;
    if (*text == '/') return text + 1;
    int number;
    const char* const end = scan_int(text, number);
    if (!end) return skip_rest_of_word(text);
    face.add(p, number);
    if (is_space(*end)) return end;
    return *end == '/' ? end + 1 : nullptr;
}

// Text after a third slash is skipped.
const char* read_corner(const char* text, face_numbers& face) {
    for (const part p : {vertex, texture, normal}) {
        text = read_part(text, p, face);
        if (!text) return nullptr;
    }
    return skip_rest_of_word(text);
}

// Reads corners that are a vertex of up to 8 digits and nothing else. Returns where other text
// begins.
const char* read_plain_corners(const char* text, face_numbers& face) {
    for (;;) {
        while (*text == ' ') ++text;
        const std::uint64_t word = load_word(text);
        const std::size_t nbr_digits = nbr_leading_digits(word);
        if (nbr_digits == 0) return text;
        const char behind = text[nbr_digits];
        if (behind != ' ' && behind != '\n') return text;
        face.add(vertex, static_cast<int>(value_of_digits(word, nbr_digits)));
        text += nbr_digits;
    }
}

// Reads the corners up to the end of the line. Null when one is bad.
const char* read_corners(const char* text, face_numbers& face) {
    text = read_plain_corners(text, face);
    while (text && *(text = skip_blanks(text)) != '\n') text = read_corner(text, face);
    return text;
}

class obj_reader {
public:
    obj_reader(dense2D<double>& pos, dense2D<double>& normals, dense2D<double>& textures,
               dense2D<unsigned int>& connect_tri, dense2D<unsigned int>& connect_quad)
        : own_pos_(pos), own_normals_(normals), own_textures_(textures), own_tri_(connect_tri),
          own_quad_(connect_quad), pos_(own_pos_),
          normals_(&normals == &pos ? own_pos_ : own_normals_),
          textures_(&textures == &pos       ? own_pos_
                    : &textures == &normals ? own_normals_
                                            : own_textures_),
          connect_tri_(own_tri_),
          connect_quad_(&connect_quad == &connect_tri ? own_tri_ : own_quad_) {}

    int read(std::FILE* file) {
        line_blocks blocks(file);
        while (blocks.next()) {
            for (const char* line = blocks.begin(); line != blocks.end();) {
                line = read_line(line, blocks.lacks_line_end() ? blocks.end() : nullptr);
                if (!line) return bad_line;
                line = find_line_end(line, blocks.end()) + 1;
            }
        }
        return 0;
    }

private:
    // Returns how far the line was read, or null when it is bad. `open_end` is the end of the block
    // if its last line had no line ending, else null.
    const char* read_line(const char* line, const char* open_end) {
        const char* const word = skip_blanks(line);
        if (*word == 'v') {
            if (is_space(word[1])) return read_vertex(word + 1);
            if (word[1] == 'n' && is_space(word[2])) return read_normal(word + 2);
            if (word[1] == 't' && is_space(word[2])) return read_texture(word + 2);
        }
        if (*word == 'f' && is_space(word[1])) return read_face(word + 1, open_end);
        return word;
    }

    const char* read_vertex(const char* text) {
        double values[3];
        if (*text == '\n' || read_numbers(text, values, 3) < 3) return nullptr;
        pos_.append(values, 3);
        return text;
    }
    const char* read_normal(const char* text) {
        normals_seen_ = true;
        double values[4];
        if (*text == '\n' || read_numbers(text, values, 4) != 3) return nullptr;
        normals_.append(values, 3);
        return text;
    }
    const char* read_texture(const char* text) {
        textures_seen_ = true;
        double values[4];
        if (*text == '\n') return nullptr;
        const std::size_t nbr_values = read_numbers(text, values, 4);
        if (nbr_values > 3) return nullptr;
        textures_.append(values, nbr_values);
        return text;
    }

    // Kept: on a last line without a line ending a face is checked, but not stored.
    const char* read_face(const char* text, const char* open_end) {
        if (*text == '\n') return nullptr;
        face_numbers face;
        text = read_corners(text, face);
        if (!text) return nullptr;
        if (face.counts[texture] != 0 && !textures_seen_) return nullptr;
        if (face.counts[normal] != 0 && !normals_seen_) return nullptr;
        if (text + 1 != open_end) store(face);
        return text;
    }
    void store(const face_numbers& face) {
        const std::size_t nbr_vertices = face.counts[vertex];
        if (nbr_vertices != 3 && nbr_vertices != 4) return;
        unsigned int ids[face_numbers::most_vertices];
        for (std::size_t i = 0; i < nbr_vertices; ++i) ids[i] = node_ID(face.vertices[i]);
        if (nbr_vertices == 3) {
            connect_tri_.append(ids, 3);
        } else {
            connect_quad_.append(ids, 4);
        }
    }
    // Kept: 0 is the vertex that will be read next, and negative numbers wrap around.
    unsigned int node_ID(int number) const {
        return number == 0 ? static_cast<unsigned int>(pos_.size())
                           : static_cast<unsigned int>(number) - 1;
    }

    appended_columns<double> own_pos_;
    appended_columns<double> own_normals_;
    appended_columns<double> own_textures_;
    appended_columns<unsigned int> own_tri_;
    appended_columns<unsigned int> own_quad_;
    // Callers may pass one array for two things: both are then appended to it.
    appended_columns<double>& pos_;
    appended_columns<double>& normals_;
    appended_columns<double>& textures_;
    appended_columns<unsigned int>& connect_tri_;
    appended_columns<unsigned int>& connect_quad_;
    bool normals_seen_ = false;
    bool textures_seen_ = false;
};

} // namespace

int WavefrontOBJ_input(std::FILE* file, dense2D<double>& pos, dense2D<double>& normals,
                       dense2D<double>& textures, dense2D<unsigned int>& connect_tri,
                       dense2D<unsigned int>& connect_quad) {
    clear_outputs(outputs{pos, normals, textures, connect_tri, connect_quad}, inputs{});
    if (!is_usable(file)) return -1;
    return obj_reader(pos, normals, textures, connect_tri, connect_quad).read(file);
}

int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals,
                       dense2D<double>& textures, dense2D<unsigned int>& connect_tri,
                       dense2D<unsigned int>& connect_quad) {
    const opened_file file{filename, "rt"};
    clear_outputs(outputs{pos, normals, textures, connect_tri, connect_quad}, inputs{});
    if (!file) return -1;
    return obj_reader(pos, normals, textures, connect_tri, connect_quad).read(file.get());
}

} // namespace kv7::tessmaker
