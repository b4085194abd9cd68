#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/ids.h"
#include "formats/characters.h"
#include "formats/mesh_readers.h"
#include "formats/reported_words.h"
#include "formats/stl_content.h"
#include "formats/stl_spelling.h"
#include "formats/stl_weld.h"
#include "formats/streams.h"
#include "formats/triangle_soup.h"
#include "formats/word_values.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form not_finite{remark_kind::lost, "left out", "left out",
                                 "a coordinate is no finite number"};
constexpr remark_form collapsed{remark_kind::lost, "collapsed", "collapsed",
                                "corners of one facet were welded"};
constexpr remark_form welded{remark_kind::note, "corner was welded to another one",
                             "corners were welded to other ones", ""};
constexpr remark_form not_welded{remark_kind::note, "corner not welded", "corners not welded",
                                 "no facet has a height"};
constexpr remark_form color_dropped{remark_kind::lost, "left out", "left out", "a color"};
constexpr remark_form attribute_dropped{remark_kind::lost, "left out", "left out",
                                        "an attribute of a facet"};
constexpr remark_form bytes_behind{remark_kind::note, "byte behind the last facet",
                                   "bytes behind the last facet", ""};
constexpr remark_form text_behind{remark_kind::note, "follows the last solid and is not read",
                                  "follow the last solid and are not read", ""};

// Whether a word stands for something that is no finite number, as programs write it: `nan`,
// `-inf`, `1.#QNAN`, or a number beyond the range of double.
bool means_no_number(std::string_view word) {
    if (!word.empty() && (word[0] == '-' || word[0] == '+')) word.remove_prefix(1);
    if (word.empty()) return false;
    return is_digit(word[0]) || starts_with_word(word, "nan") || starts_with_word(word, "inf");
}

bool is_finite(const double* facet) {
    return std::all_of(facet, facet + 9, [](double x) { return std::isfinite(x); });
}
// Moves facets without a coordinate that is no finite number to the front. Returns their number.
std::size_t keep_finite(double* corners, std::size_t n) {
    std::size_t nbr_kept = 0;
    for (std::size_t k = 0; k < n; ++k) {
        const double* const facet = corners + 9 * k;
        if (!is_finite(facet)) continue;
        if (nbr_kept != k) std::copy_n(facet, 9, corners + 9 * nbr_kept);
        ++nbr_kept;
    }
    return nbr_kept;
}

// Facets as they are read, and the solids that they belong to.
class stl_facets {
public:
    explicit stl_facets(mesh& result, report_builder& report)
        : mesh_(result), soup_(result.pos), report_(report), facet_(report.keyword("facet")) {}

    void reserve(std::size_t nbr_facets) { soup_.reserve(nbr_facets); }
    void begin_solid(std::string name) {
        forget_empty_solid();
        solids_.push_back({std::move(name), size()});
    }

    // Adds `n` facets by their coordinates, 9 for each, which may be moved. The first is at a
    // place. False when memory fails.
    bool add(double* corners, std::size_t n, file_place at) {
        report_.count_seen(facet_, n);
        has_facets_ = has_facets_ || n != 0;
        const std::size_t nbr_finite = keep_finite(corners, n);
        if (nbr_finite != n) report_.add(not_finite, facet_, at, n - nbr_finite);
        if (nbr_finite == 0) return true;
        double* const stored = soup_.add(nbr_finite);
        if (!stored) return false;
        std::copy_n(corners, 9 * nbr_finite, stored);
        for (std::size_t k = 0; k < nbr_finite; ++k) soup_.measure(corners + 9 * k);
        report_.count_read(facet_, nbr_finite);
        return true;
    }
    std::size_t size() const { return mesh_.pos.cols() / 3; }

    // Makes a mesh of them.
    int finish() {
        forget_empty_solid();
        const std::size_t nbr_read = size();
        mesh_.connect = id_matrix(nbr_read == 0 ? 0 : 3, nbr_read);
        if (mesh_.connect.cols() != nbr_read) return out_of_memory;
        id_list new_columns;
        if (nbr_read != 0) {
            number_corners(mesh_.connect);
            if (!weld(new_columns)) return out_of_memory;
        }
        const std::size_t n = mesh_.connect.cols();
        if (n == 0 && has_facets_) {
            return report_.fail(file_malformed, "no facet of three different corners is there");
        }
        bool is_done = mesh_.indices.push_back(0) && mesh_.pids.resize(n, 1U);
        if (n != 0) {
            is_done = is_done && mesh_.types.push_back(ET_TRIA3) &&
                      mesh_.indices.push_back(static_cast<unsigned int>(n));
        }
        return is_done && make_sets(new_columns, nbr_read) ? 0 : out_of_memory;
    }

private:
    struct solid {
        std::string name;
        std::size_t first_facet;
    };

    // A last solid without facets makes no set.
    void forget_empty_solid() {
        if (!solids_.empty() && solids_.back().first_facet == size()) solids_.pop_back();
    }
    // False when memory fails.
    bool weld(id_list& new_columns) {
        const std::size_t nbr_corners = mesh_.pos.cols();
        if (!soup_.has_height()) {
            report_.add(not_welded, "", {}, nbr_corners);
            return true;
        }
        const double tolerance = soup_.tolerance();
        if (stl_weld(tolerance, mesh_.pos, mesh_.connect, new_columns) < 0) return false;
        std::size_t nbr_collapsed = 0;
        for (const unsigned int c : new_columns) nbr_collapsed += c == no_id ? 1U : 0U;
        if (nbr_collapsed != 0) report_.add(collapsed, facet_, {}, nbr_collapsed);
        const std::size_t nbr_welded = nbr_corners - 3 * nbr_collapsed - mesh_.pos.cols();
        if (nbr_welded == 0) return true;
        report_.add(welded, "", {}, nbr_welded);
        char digits[32];
        const auto end =
            std::to_chars(digits, digits + sizeof digits, tolerance, std::chars_format::general, 3);
        report_.explain(welded, "", "closer than " + std::string(digits, end.ptr));
        return true;
    }

    // A set for each solid, unless there is nothing to be told apart or named. `new_columns` is
    // empty if all facets have stayed.
    bool make_sets(const id_list& new_columns, std::size_t nbr_read) {
        if (solids_.size() < 2 && (solids_.empty() || solids_[0].name.empty())) return true;
        for (std::size_t s = 0; s < solids_.size(); ++s) {
            const std::size_t end = s + 1 < solids_.size() ? solids_[s + 1].first_facet : nbr_read;
            named_set set;
            set.name = std::move(solids_[s].name);
            if (set.name.empty()) set.name = "solid " + std::to_string(s + 1);
            for (std::size_t f = solids_[s].first_facet; f < end; ++f) {
                const unsigned int c =
                    new_columns.empty() ? static_cast<unsigned int>(f) : new_columns[f];
                if (c != no_id && !set.ids.push_back(c)) return false;
            }
            mesh_.element_sets.push_back(std::move(set));
        }
        return true;
    }

    mesh& mesh_;
    triangle_soup soup_;
    report_builder& report_;
    unsigned int facet_; // its number in the report
    std::vector<solid> solids_;
    bool has_facets_ = false;
};

class text_reader {
public:
    text_reader(std::FILE* file, std::string_view beginning, stl_facets& facets,
                report_builder& report)
        : words_(file, beginning, report), facets_(facets), report_(report),
          solid_(report.keyword("solid")) {}

    // The file begins with `solid`.
    int read() {
        words_.next();
        begin_solid();
        bool is_in_solid = true;
        for (;;) {
            const std::string_view word = words_.next();
            if (is_word(word, "facet")) {
                if (!is_in_solid) facets_.begin_solid({});
                is_in_solid = true;
                if (!read_facet() || !read_spelled_facets()) return words_.code();
            } else if (is_word(word, "color")) {
                report_.add(color_dropped, "color", words_.place());
                words_.skip_line();
            } else if (is_word(word, "solid")) {
                begin_solid();
                is_in_solid = true;
            } else if (is_in_solid && (is_word(word, "endsolid") || is_word(word, "end"))) {
                // In two words the second is passed with the name.
                words_.skip_line();
                is_in_solid = false;
            } else if (!is_in_solid) {
                words_.put_back();
                words_.tell_rest(text_behind);
                return 0;
            } else {
                words_.expect("facet or endsolid");
                return words_.code();
            }
        }
    }

private:
    void begin_solid() {
        report_.count_seen(solid_);
        report_.count_read(solid_);
        facets_.begin_solid(std::string(words_.rest_of_line()));
    }

    bool next_is(std::string_view expected) { return words_.next_is(expected, expected); }
    bool next_number(double& value) {
        const std::string_view word = words_.next();
        if (word_to_number(word, value)) return true;
        if (!means_no_number(word)) return words_.expect("a number");
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    bool next_numbers(double* values) {
        return next_number(values[0]) && next_number(values[1]) && next_number(values[2]);
    }

    // Reads what follows the word `facet`.
    bool read_facet() {
        const file_place at = words_.place();
        double normal[3];
        std::array<double, 9> corners{};
        bool is_good =
            next_is("normal") && next_numbers(normal) && next_is("outer") && next_is("loop");
        for (std::size_t k = 0; k < 9 && is_good; k += 3) {
            is_good = next_is("vertex") && next_numbers(corners.data() + k);
        }
        if (!is_good || !next_is("endloop") || !next_is("endfacet")) return false;
        return facets_.add(corners.data(), 1, at) || words_.fail_for_memory();
    }

    // Reads the facets that follow, as long as they are in memory and in the usual spelling, which
    // is much faster than word by word.
    bool read_spelled_facets() {
        constexpr std::size_t block_size = 64;
        double corners[9 * block_size];
        const char* const begin = words_.text_ahead().data();
        const char* text = skip_line_end(begin, begin);
        if (!text) return true;
        std::uint64_t nbr_lines = 1;
        for (std::size_t n = block_size; n == block_size;) {
            n = 0;
            while (n < block_size) {
                const char* const end = read_spelled_facet(text, corners + 9 * n);
                if (!end) break;
                text = end;
                ++n;
            }
            if (!facets_.add(corners, n, {})) return words_.fail_for_memory();
            nbr_lines += n * nbr_lines_of_spelled_facet;
        }
        words_.pass_over(static_cast<std::size_t>(text - begin), nbr_lines);
        return true;
    }

    reported_words words_;
    stl_facets& facets_;
    report_builder& report_;
    unsigned int solid_;
};

std::uint64_t count_rest(std::FILE* file) {
    char block[4096];
    std::uint64_t size = 0;
    for (std::size_t n; (n = std::fread(block, 1, sizeof block, file)) != 0;) size += n;
    return size;
}

int cut_off(std::uint64_t facet, std::uint64_t nbr_facets, report_builder& report) {
    return report.fail(file_malformed, "facet " + std::to_string(facet) + " of " +
                                           std::to_string(nbr_facets) +
                                           " is expected, and the file ends");
}

int read_binary(std::FILE* file, std::string_view beginning, std::uint64_t file_size,
                stl_facets& facets, report_builder& report) {
    if (beginning.size() < stl_start_size) {
        return report.fail(file_malformed,
                           "neither the word solid nor the 84 bytes before binary facets");
    }
    const std::uint64_t nbr_facets = little_endian(beginning.data() + stl_header_size);
    if (file_size != 0) {
        const std::uint64_t nbr_there = (file_size - stl_start_size) / stl_facet_size;
        if (nbr_there < nbr_facets) return cut_off(nbr_there + 1, nbr_facets, report);
        facets.reserve(nbr_facets);
    }
    constexpr std::size_t block_size = 512;
    char block[block_size * stl_facet_size];
    double corners[block_size * 9];
    std::uint64_t nbr_attributes = 0;
    for (std::uint64_t nbr_read = 0; nbr_read < nbr_facets;) {
        const auto n =
            static_cast<std::size_t>(std::min<std::uint64_t>(nbr_facets - nbr_read, block_size));
        const std::size_t nbr_there = std::fread(block, stl_facet_size, n, file);
        if (nbr_there < n) return cut_off(nbr_read + nbr_there + 1, nbr_facets, report);
        for (std::size_t k = 0; k < n; ++k) {
            const char* const facet = block + k * stl_facet_size;
            read_stl_corners(facet, corners + 9 * k);
            if (facet[48] != 0 || facet[49] != 0) ++nbr_attributes;
        }
        if (!facets.add(corners, n, {})) return out_of_memory;
        nbr_read += n;
    }
    if (nbr_attributes != 0) report.add(attribute_dropped, "attribute", {}, nbr_attributes);
    const std::uint64_t nbr_behind = count_rest(file);
    if (nbr_facets == 0 && nbr_behind != 0) {
        return report.fail(file_malformed, "a number of facets is expected in byte 81");
    }
    if (nbr_behind != 0) report.add(bytes_behind, "", {}, nbr_behind);
    return 0;
}

} // namespace

int read_stl_mesh(std::FILE* file, mesh& result, report_builder& report) {
    const std::uint64_t file_size = nbr_bytes_left(file);
    char start[stl_start_size];
    const std::string_view beginning(start, std::fread(start, 1, sizeof start, file));
    report.keyword("solid"); // ahead of its facets
    stl_facets facets(result, report);
    const int code = is_text_stl(beginning, file_size)
                         ? text_reader(file, beginning, facets, report).read()
                         : read_binary(file, beginning, file_size, facets, report);
    if (code < 0) return code;
    if (std::ferror(file)) return file_failed;
    return facets.finish();
}

} // namespace kv7::tessmaker
