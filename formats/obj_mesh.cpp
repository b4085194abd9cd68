#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "formats/characters.h"
#include "formats/growing_arrays.h"
#include "formats/line_words.h"
#include "formats/mesh_readers.h"
#include "formats/numbers.h"
#include "formats/obj_sets.h"
#include "formats/polygon_triangles.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form color{remark_kind::lost, "color left out", "colors left out", ""};
constexpr remark_form weight{remark_kind::lost, "weight left out", "weights left out", ""};
constexpr remark_form more_values{remark_kind::lost, "with more values, which are left out",
                                  "with more values, which are left out", ""};
constexpr remark_form few_corners{remark_kind::lost, "left out", "left out",
                                  "fewer than 3 different corners"};
constexpr remark_form few_ends{remark_kind::lost, "left out", "left out",
                               "fewer than 2 different nodes"};
constexpr remark_form equal_ends{remark_kind::lost, "bar left out", "bars left out",
                                 "both ends are one node"};
constexpr remark_form repeated{remark_kind::changed, "corner left out", "corners left out",
                               "the same node as the corner before"};
constexpr remark_form triangulated{remark_kind::changed, "cut into triangles", "cut into triangles",
                                   "more than 4 corners"};
constexpr remark_form badly_triangulated{
    remark_kind::changed, "cut into triangles without area or lying over each other",
    "cut into triangles without area or lying over each other",
    "seen along its normal the outline touches or crosses itself"};
constexpr remark_form hastily_triangulated{
    remark_kind::changed, "cut into triangles that may lie over each other",
    "cut into triangles that may lie over each other", "too many corners"};
constexpr remark_form many_groups{remark_kind::lost, "name left out", "names left out",
                                  "an element is in 64 groups at most"};

constexpr remark_form not_read(const char* reason) {
    return {remark_kind::lost, "not read", "not read", reason};
}
constexpr remark_form normals = not_read("normals");
constexpr remark_form textures = not_read("texture coordinates");
constexpr remark_form materials = not_read("materials");
constexpr remark_form smoothing = not_read("smoothing");
constexpr remark_form free_forms = not_read("curves and surfaces of free form");
constexpr remark_form display = not_read("display");
constexpr remark_form other_files = not_read("other files and programs");
constexpr remark_form unknown = not_read("not known");

struct word_without_mesh {
    std::string_view word;
    const remark_form* form;
};
constexpr std::array words_without_mesh{
    word_without_mesh{"vn", &normals},        word_without_mesh{"vt", &textures},
    word_without_mesh{"usemtl", &materials},  word_without_mesh{"mtllib", &materials},
    word_without_mesh{"usemap", &materials},  word_without_mesh{"maplib", &materials},
    word_without_mesh{"s", &smoothing},       word_without_mesh{"vp", &free_forms},
    word_without_mesh{"cstype", &free_forms}, word_without_mesh{"deg", &free_forms},
    word_without_mesh{"bmat", &free_forms},   word_without_mesh{"step", &free_forms},
    word_without_mesh{"curv", &free_forms},   word_without_mesh{"curv2", &free_forms},
    word_without_mesh{"surf", &free_forms},   word_without_mesh{"parm", &free_forms},
    word_without_mesh{"trim", &free_forms},   word_without_mesh{"hole", &free_forms},
    word_without_mesh{"scrv", &free_forms},   word_without_mesh{"sp", &free_forms},
    word_without_mesh{"end", &free_forms},    word_without_mesh{"con", &free_forms},
    word_without_mesh{"mg", &free_forms},     word_without_mesh{"bevel", &display},
    word_without_mesh{"c_interp", &display},  word_without_mesh{"d_interp", &display},
    word_without_mesh{"lod", &display},       word_without_mesh{"shadow_obj", &display},
    word_without_mesh{"trace_obj", &display}, word_without_mesh{"ctech", &display},
    word_without_mesh{"stech", &display},     word_without_mesh{"call", &other_files},
    word_without_mesh{"csh", &other_files},
};

const remark_form& why_not_read(std::string_view word) {
    for (const word_without_mesh& known : words_without_mesh) {
        if (known.word == word) return *known.form;
    }
    return unknown;
}

// Reads an integer, and goes behind it. False if there is none. One beyond the range of IDs becomes
// one that is still beyond it.
bool take_integer(std::string_view& text, std::int64_t& value) {
    const bool is_negative = !text.empty() && text[0] == '-';
    std::size_t k = is_negative || (!text.empty() && text[0] == '+') ? 1 : 0;
    const std::size_t first_digit = k;
    std::int64_t magnitude = 0;
    for (; k < text.size() && is_digit(text[k]); ++k) {
        magnitude = std::min<std::int64_t>(10 * magnitude + (text[k] - '0'), std::int64_t{1} << 40);
    }
    if (k == first_digit) return false;
    value = is_negative ? -magnitude : magnitude;
    text.remove_prefix(k);
    return true;
}

// Reads the vertex of a corner, which is all of it or stands before a slash. A texture and a normal
// may follow, each of which may be left out.
bool read_corner(std::string_view word, std::int64_t& vertex) {
    if (!take_integer(word, vertex)) return false;
    for (int part = 0; part < 2 && !word.empty() && word[0] == '/'; ++part) {
        word.remove_prefix(1);
        std::int64_t reference = 0;
        take_integer(word, reference);
    }
    return word.empty();
}

class obj_mesh_reader {
public:
    obj_mesh_reader(std::FILE* file, mesh& result, report_builder& report)
        : words_(file), mesh_(result), report_(report), pos_(result.pos) {}

    // Collects nodes and elements.
    int read() {
        while (words_.next_line()) {
            const std::string_view word = words_.next();
            if (word.empty()) continue;
            if (const int code = read_line(word); code < 0) return code;
        }
        if (nbr_vertices() == 0 && has_lines_) {
            return report_.fail(file_malformed, "no vertex is there");
        }
        for (const reference& r : to_come_) {
            if (r.vertex <= nbr_vertices()) continue;
            return fail(r.line, r.column,
                        "there is no vertex " + std::to_string(r.vertex) + ": the file has " +
                            std::to_string(nbr_vertices()));
        }
        return 0;
    }

    // Makes a mesh of them.
    int finish() {
        sets_.finish(nbr_elements_);
        std::size_t rows = 0;
        for (const unsigned int size : sizes_) rows = std::max<std::size_t>(rows, rows_of(size));
        mesh_.connect = id_matrix(rows, nbr_elements_, no_id);
        const bool is_sized = mesh_.connect.cols() == nbr_elements_ &&
                              mesh_.pids.resize(nbr_elements_, 1U) && mesh_.indices.push_back(0);
        return is_sized && store_elements() && sets_.store(mesh_.element_sets) ? 0 : out_of_memory;
    }

private:
    // A vertex that was not there where it was referred to.
    struct reference {
        std::uint64_t vertex;
        std::uint64_t line;
        std::uint64_t column;
    };

    std::uint64_t nbr_vertices() const { return pos_.size(); }
    // Of the elements that are made of a point, a bar or a face.
    static std::size_t rows_of(unsigned int size) { return size > 4 ? 3 : size; }

    int fail(std::uint64_t line, std::uint64_t column, const std::string& text) {
        return report_.fail(file_malformed, {line}, column, text);
    }
    int fail(const std::string& text) { return fail(words_.line(), words_.column(), text); }

    int read_line(std::string_view word) {
        has_lines_ = true;
        const unsigned int keyword = report_.keyword(word);
        report_.count_seen(keyword);
        at_ = {words_.line()};
        bool is_kept = true;
        int code = 0;
        if (word == "v") {
            code = read_vertex(keyword);
        } else if (word == "f" || word == "fo") {
            code = read_face(keyword, is_kept);
        } else if (word == "l") {
            code = read_bars(keyword, is_kept);
        } else if (word == "p") {
            code = read_points();
        } else if (word == "g") {
            read_groups(keyword);
        } else if (word == "o") {
            read_object();
        } else {
            report_.add(why_not_read(word), keyword, at_);
            is_kept = false;
        }
        if (is_kept) report_.count_read(keyword);
        return code;
    }

    int read_vertex(unsigned int keyword) {
        std::array<double, 3> p{};
        for (double& coordinate : p) {
            const std::string_view word = words_.next();
            if (word.empty() ||
                scan_number_in_words(word.data(), coordinate) != word.data() + word.size()) {
                return fail("a finite number is expected");
            }
        }
        std::size_t nbr_more = 0;
        bool is_one = false;
        for (std::string_view word; !(word = words_.next()).empty(); ++nbr_more) {
            double value = 0.0;
            is_one = scan_number_in_words(word.data(), value) && value == 1.0;
        }
        if (nbr_more == 1 && !is_one) report_.add(weight, keyword, at_);
        if (nbr_more == 3) report_.add(color, keyword, at_);
        if (nbr_more == 2 || nbr_more > 3) report_.add(more_values, keyword, at_);
        if (nbr_vertices() + 1 >= no_id) return out_of_memory;
        return pos_.append(p.data(), 3) ? 0 : out_of_memory;
    }

    // The next corner of the line, as an ID, which may be that of a vertex to come. False at the
    // end of the line and at a fault, which `code` tells.
    bool next_node(unsigned int& id, int& code) {
        const std::string_view word = words_.next();
        if (word.empty()) return false;
        std::int64_t vertex = 0;
        if (!read_corner(word, vertex)) {
            code = fail("a corner such as 3, 3/2, 3//1 or 3/2/1 is expected");
            return false;
        }
        const auto count = static_cast<std::int64_t>(nbr_vertices());
        const std::int64_t k = vertex < 0 ? count + vertex : vertex - 1;
        if (vertex == 0 || k < 0) {
            code = fail(vertex == 0 ? "vertices have numbers from 1"
                                    : "this leads ahead of the first vertex");
            return false;
        }
        // Of those to come the first that is larger than all before it may be missing.
        const std::uint64_t most = to_come_.empty() ? 0 : to_come_.back().vertex;
        if (vertex > count && static_cast<std::uint64_t>(vertex) > most) {
            to_come_.push_back(
                {static_cast<std::uint64_t>(vertex), words_.line(), words_.column()});
        }
        // Beyond the range of IDs there is no vertex, and the file will fail.
        id = static_cast<unsigned int>(std::min<std::int64_t>(k, no_id));
        return true;
    }

    // False if there are more than can be numbered.
    bool add_element(unsigned int size) {
        sizes_.push_back(size);
        nbr_elements_ += size > 4 ? size - 2 : 1;
        return nbr_elements_ < no_id;
    }

    int read_face(unsigned int keyword, bool& is_kept) {
        const std::size_t first = nodes_.size();
        std::uint64_t nbr_repeated = 0;
        int code = 0;
        for (unsigned int id; next_node(id, code);) {
            if (nodes_.size() != first && nodes_.back() == id) {
                ++nbr_repeated;
            } else {
                nodes_.push_back(id);
            }
        }
        if (code < 0) return code;
        if (nodes_.size() > first + 1 && nodes_.back() == nodes_[first]) {
            nodes_.pop_back();
            ++nbr_repeated;
        }
        const std::size_t n = nodes_.size() - first;
        is_kept = n >= 3;
        if (!is_kept) {
            nodes_.resize(first);
            report_.add(few_corners, keyword, at_);
            return 0;
        }
        if (nbr_repeated != 0) report_.add(repeated, keyword, at_, nbr_repeated);
        if (n > polygon_triangles::most_corners) return out_of_memory;
        if (n > 4) {
            report_.add(triangulated, keyword, at_);
            polygons_.push_back({at_.line, keyword});
        }
        return add_element(static_cast<unsigned int>(n)) ? 0 : out_of_memory;
    }

    int read_bars(unsigned int keyword, bool& is_kept) {
        std::uint64_t nbr_equal = 0;
        std::uint64_t nbr_bars = 0;
        int code = 0;
        unsigned int last = no_id;
        unsigned int id = no_id;
        bool is_first = true;
        for (; next_node(id, code); last = id, is_first = false) {
            if (is_first) continue;
            if (id == last) {
                ++nbr_equal;
                continue;
            }
            nodes_.push_back(last);
            nodes_.push_back(id);
            ++nbr_bars;
            if (!add_element(2)) return out_of_memory;
        }
        is_kept = nbr_bars != 0;
        if (!is_kept) report_.add(few_ends, keyword, at_);
        if (is_kept && nbr_equal != 0) report_.add(equal_ends, keyword, at_, nbr_equal);
        return code;
    }

    int read_points() {
        int code = 0;
        for (unsigned int id; next_node(id, code);) {
            nodes_.push_back(id);
            if (!add_element(1)) return out_of_memory;
        }
        return code;
    }

    void read_groups(unsigned int keyword) {
        sets_.begin_groups(nbr_elements_);
        std::uint64_t nbr_dropped = 0;
        for (std::string_view name; !(name = words_.next()).empty();) {
            if (!sets_.add_group(name)) ++nbr_dropped;
        }
        if (nbr_dropped != 0) report_.add(many_groups, keyword, at_, nbr_dropped);
    }
    void read_object() {
        std::string name;
        for (std::string_view word; !(word = words_.next()).empty();) {
            if (!name.empty()) name += ' ';
            name += word;
        }
        sets_.begin_object(name, nbr_elements_);
    }

    // Writes the elements into the connectivity, all of whose entries are absent IDs. False when
    // memory fails.
    bool store_elements() {
        const unsigned int* nodes = nodes_.data();
        std::size_t nbr_polygons = 0;
        std::size_t c = 0;
        element_type last = ET_UNKNOWN;
        for (const unsigned int size : sizes_) {
            constexpr std::array types{ET_UNKNOWN, ET_NODE, ET_BAR2, ET_TRIA3, ET_QUAD4};
            const element_type type = types[rows_of(size)];
            const bool is_new_run = type != last && last != ET_UNKNOWN;
            if (is_new_run && !mesh_.indices.push_back(static_cast<unsigned int>(c))) return false;
            if (type != last && !mesh_.types.push_back(type)) return false;
            last = type;
            if (size > 4) {
                store_polygon(nodes, size, c, polygons_[nbr_polygons++]);
                c += size - 2;
            } else {
                std::copy_n(nodes, size, mesh_.connect.column(c++));
            }
            nodes += size;
        }
        return c == 0 || mesh_.indices.push_back(static_cast<unsigned int>(c));
    }

    struct polygon {
        std::uint64_t line;
        unsigned int keyword;
    };
    void store_polygon(const unsigned int* nodes, std::size_t n, std::size_t c,
                       const polygon& face) {
        points_.resize(3 * n);
        for (std::size_t k = 0; k < n; ++k) {
            std::copy_n(mesh_.pos.column(nodes[k]), 3, points_.data() + 3 * k);
        }
        if (!cutter_.cut(points_.data(), n)) {
            const bool is_too_long = cutter_.has_given_up();
            report_.add(is_too_long ? hastily_triangulated : badly_triangulated, face.keyword,
                        {face.line});
        }
        const unsigned int* corner = cutter_.corners().data();
        for (std::size_t k = 0; k < n - 2; ++k) {
            unsigned int* const column = mesh_.connect.column(c + k);
            for (std::size_t i = 0; i < 3; ++i) column[i] = nodes[*corner++];
        }
    }

    line_words words_;
    mesh& mesh_;
    report_builder& report_;
    file_place at_; // of the line at hand
    bool has_lines_ = false;

    appended_columns<double> pos_;
    // Points, bars and faces as they are in the file: the number of nodes of each, and their nodes
    // one after the other. Faces of more than four corners, which will be triangles, in the same
    // order.
    std::vector<unsigned int> sizes_;
    std::vector<unsigned int> nodes_;
    std::vector<polygon> polygons_;
    std::size_t nbr_elements_ = 0;
    std::vector<reference> to_come_; // ascending
    obj_sets sets_;
    polygon_triangles cutter_;
    std::vector<double> points_;
};

} // namespace

int read_obj_mesh(std::FILE* file, mesh& result, report_builder& report) {
    obj_mesh_reader reader(file, result, report);
    if (const int code = reader.read(); code < 0) return code;
    if (std::ferror(file)) return file_failed;
    return reader.finish();
}

} // namespace kv7::tessmaker
