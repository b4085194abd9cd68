#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "formats/characters.h"
#include "formats/paths.h"
#include "formats/stl_content.h"
#include "formats/streams.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

namespace {

struct format_ending {
    std::string_view ending;
    file_format format;
};

constexpr format_ending endings[] = {
    {"stl", file_format::stl_binary},  {"nas", file_format::nastran},
    {"bdf", file_format::nastran},     {"dat", file_format::nastran},
    {"fem", file_format::nastran},     {"blk", file_format::nastran},
    {"nastran", file_format::nastran}, {"neu", file_format::femap},
    {"obj", file_format::obj},         {"mesh", file_format::medit},
    {"geo", file_format::ensight},     {"case", file_format::ensight_case},
    {"vtk", file_format::vtk},         {"vtu", file_format::vtu},
};

// Cards, in lower case, by which a deck is known: every mesh has some of them.
constexpr std::string_view mesh_cards[] = {
    "grid",   "cord1r", "cord1c", "cord1s", "cord2r", "cord2c", "cord2s", "cbar",   "cbeam",
    "crod",   "conrod", "ctube",  "cbend",  "ctria3", "ctriar", "ctria6", "cquad4", "cquadr",
    "cquad8", "cquad",  "cshear", "ctetra", "cpyram", "cpyra",  "cpenta", "chexa",
};

// Takes the next line off the text, without its ending.
std::string_view next_line(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

std::string_view first_word(std::string_view text, std::string_view ends) {
    text = trim_left(text);
    return text.substr(0, text.find_first_of(ends));
}

// A card with its number, or a line that only decks have.
bool is_deck_line(std::string_view line) {
    constexpr std::string_view between_fields = " \t,*";
    const std::string_view word = first_word(line, between_fields);
    std::string_view rest = trim_left(line).substr(word.size());
    if (is_word(word, "cend") || is_word(word, "enddata")) return trim_left(rest).empty();
    if (is_word(word, "begin")) return is_word(first_word(rest, " \t,$="), "bulk");
    const bool is_card = std::any_of(std::begin(mesh_cards), std::end(mesh_cards),
                                     [&](std::string_view card) { return is_word(word, card); });
    rest.remove_prefix(std::min(rest.find_first_not_of(between_fields), rest.size()));
    return is_card && !rest.empty() && is_digit(rest.front());
}

bool is_deck(std::string_view text) {
    while (!text.empty()) {
        if (is_deck_line(next_line(text))) return true;
    }
    return false;
}

// Blocks stand between lines of -1, and their number follows the first. Stars may be above.
bool is_neutral_file(std::string_view text) {
    std::string_view line;
    while (!text.empty() && (line.empty() || line.front() == '*')) {
        line = trim(next_line(text));
    }
    if (line != "-1") return false;
    while (!text.empty() && (text.front() == '\r' || text.front() == '\n')) text.remove_prefix(1);
    const std::string_view number = trim(next_line(text));
    return !number.empty() && std::all_of(number.begin(), number.end(), is_digit);
}

bool is_obj_line(std::string_view line) {
    const std::string_view word = first_word(line, " \t");
    const std::string_view rest = trim_left(trim_left(line).substr(word.size()));
    if (word == "mtllib" || word == "usemtl") return !rest.empty();
    if (word != "v" && word != "vn" && word != "vt" && word != "f") return false;
    return !rest.empty() && (is_digit(rest[0]) || rest[0] == '-' || rest[0] == '.');
}

// The first line that says anything is one of them, but for names of groups.
bool is_wavefront(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = next_line(text);
        const std::string_view word = first_word(line, " \t");
        const bool says_nothing =
            word.empty() || word[0] == '#' || word == "o" || word == "g" || word == "s";
        if (!says_nothing) return is_obj_line(line);
    }
    return false;
}

bool is_medit(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = trim_left(next_line(text));
        if (line.empty() || line.front() == '#') continue;
        return starts_with_word(line, "meshversionformatted");
    }
    return false;
}

bool is_vtu(std::string_view text) {
    return trim_left(text).starts_with('<') && text.find("<VTKFile") != std::string_view::npos &&
           text.find("UnstructuredGrid") != std::string_view::npos;
}

// The beginning of a file.
struct file_beginning {
    std::array<char, std::size_t{1} << 16> block;
    std::size_t size = 0;
    std::uint64_t file_size = 0;

    std::string_view text() const { return {block.data(), size}; }
};

// A format with a beginning of its own; else unknown.
file_format format_by_beginning(const file_beginning& file) {
    const std::string_view text = skip_utf8_mark(file.text());
    if (text.substr(0, 5) == "# vtk") return file_format::vtk;
    if (is_vtu(text)) return file_format::vtu;
    if (is_medit(text)) return file_format::medit;
    if (is_neutral_file(text)) return file_format::femap;
    if (is_deck(text)) return file_format::nastran;
    return file_format::unknown;
}

file_format format_by_content(const file_beginning& file) {
    if (has_binary_stl_size(file.text(), file.file_size)) return file_format::stl_binary;
    const file_format format = format_by_beginning(file);
    if (format != file_format::unknown) return format;
    if (is_text_stl(file.text(), file.file_size)) return file_format::stl_text;
    return is_wavefront(skip_utf8_mark(file.text())) ? file_format::obj : file_format::unknown;
}

// False if there is no regular file that can be read.
bool read_beginning(const char* path, file_beginning& beginning) {
    // Looked at before it is opened: the opening of a pipe would wait.
    struct stat status {};
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const opened_file file(path, "rbe");
    if (!file) return false;
    beginning.file_size = static_cast<std::uint64_t>(status.st_size);
    beginning.size = std::fread(beginning.block.data(), 1, beginning.block.size(), file.get());
    return std::ferror(file.get()) == 0;
}

} // namespace

const char* format_name(file_format format) {
    switch (format) {
    case file_format::stl_text: return "text STL";
    case file_format::stl_binary: return "binary STL";
    case file_format::nastran: return "NASTRAN";
    case file_format::femap: return "FEMAP";
    case file_format::obj: return "Wavefront OBJ";
    case file_format::medit: return "MEDIT";
    case file_format::ensight: return "EnSight";
    case file_format::ensight_case: return "EnSight case";
    case file_format::vtk: return "VTK";
    case file_format::vtu: return "VTU";
    case file_format::unknown: break;
    }
    return "unknown";
}

file_format format_by_ending(const char* path) {
    if (!path) return file_format::unknown;
    const std::string_view ending = ending_of(path);
    for (const format_ending& known : endings) {
        if (is_word(ending, known.ending)) return known.format;
    }
    return file_format::unknown;
}

file_format format_of(const char* path) {
    const file_format by_ending = format_by_ending(path);
    if (!path) return by_ending;
    const bool is_stl = by_ending == file_format::stl_binary;
    const bool is_dat = is_word(ending_of(path), "dat");
    if (by_ending != file_format::unknown && !is_stl && !is_dat) return by_ending;

    file_beginning file;
    if (!read_beginning(path, file)) return by_ending;
    if (is_stl) {
        const bool is_text = is_text_stl(file.text(), file.file_size);
        return is_text ? file_format::stl_text : file_format::stl_binary;
    }
    if (!is_dat) return format_by_content(file);
    const file_format found = format_by_beginning(file);
    return found != file_format::unknown ? found : file_format::nastran;
}

} // namespace kv7::tessmaker
