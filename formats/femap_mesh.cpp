#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/characters.h"
#include "formats/deck_lines.h"
#include "formats/deck_numbers.h"
#include "formats/femap_elements.h"
#include "formats/mesh_filler.h"
#include "formats/mesh_readers.h"
#include "formats/number_index.h"
#include "formats/repeated_nodes.h"
#include "formats/word_values.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form other_block{remark_kind::lost, "not read", "not read",
                                  "neither nodes nor elements"};
constexpr remark_form outside{remark_kind::lost, "not read", "not read", "outside of all blocks"};
constexpr remark_form open_block{remark_kind::lost, "left out", "left out",
                                 "the file ends ahead of its number"};
constexpr remark_form empty_block{remark_kind::note, "empty", "empty", "no mesh is in the file"};
constexpr remark_form own_system{remark_kind::note, "with a system of its own",
                                 "with systems of their own",
                                 "coordinates are taken for global ones"};
constexpr remark_form given_twice{remark_kind::note, "given again", "given again",
                                  "the same as before"};
constexpr remark_form no_element{remark_kind::lost, "not read", "not read", "no mesh element"};
constexpr remark_form no_corner{remark_kind::lost, "left out", "left out", "a corner has no node"};
constexpr remark_form made_linear{remark_kind::changed, "read as a linear one",
                                  "read as linear ones", "a node on an edge is missing"};
constexpr remark_form more_data{remark_kind::lost,
                                "with an orientation, offsets or releases, which are left out",
                                "with orientations, offsets or releases, which are left out", ""};
constexpr remark_form lists_dropped{remark_kind::lost, "with a list of nodes, which is left out",
                                    "with lists of nodes, which are left out", ""};
constexpr remark_form upper_edges_first{
    remark_kind::note, "with the nodes on the upper edges ahead of those between",
    "with the nodes on the upper edges ahead of those between", "told by where they lie"};

// The line at which blocks begin and end.
bool is_delimiter(std::string_view line) { return trim(line) == "-1"; }

// The fields of a line between commas, up to `Most`. What follows the last comma is one if it is
// not blank.
template <std::size_t Most> struct comma_fields {
    std::array<std::string_view, Most> field{};
    std::size_t size = 0;

    explicit comma_fields(std::string_view line) {
        for (;;) {
            const std::size_t comma = line.find(',');
            if (size == Most || (comma == std::string_view::npos && trim(line).empty())) return;
            field[size++] = line.substr(0, comma);
            if (comma == std::string_view::npos) return;
            line.remove_prefix(comma + 1);
        }
    }
};

// The lines on which records begin that follow each other at a distance, but for some.
class record_lines {
public:
    explicit record_lines(std::uint64_t distance) : distance_(distance) {}
    void add(std::size_t record, std::uint64_t line) {
        if (starts_.empty() || line_after(starts_.back(), record) != line) {
            starts_.push_back({record, line});
        }
    }
    std::uint64_t operator[](std::size_t record) const {
        const auto after =
            std::upper_bound(starts_.begin(), starts_.end(), record,
                             [](std::size_t r, const start& s) { return r < s.record; });
        return line_after(*(after - 1), record);
    }

private:
    struct start {
        std::size_t record;
        std::uint64_t line;
    };
    std::uint64_t line_after(const start& s, std::size_t record) const {
        return s.line + distance_ * (record - s.record);
    }

    std::uint64_t distance_;
    std::vector<start> starts_;
};

constexpr std::uint64_t lines_of_element = 7;

struct femap_lines {
    record_lines of_nodes{1};
    record_lines of_elements{lines_of_element};
};

// Reads the blocks. The connectivity is one of node numbers then.
class femap_block_reader {
public:
    femap_block_reader(std::FILE* file, mesh& result, femap_lines& places, report_builder& report)
        : lines_(file), mesh_(result), places_(places), report_(report), filler_(result) {}

    int read() {
        for (std::int64_t number = 0; find_block(number);) {
            if (const int code = read_block(number); code < 0) return code;
        }
        if (of_nodes_.count == 0 && of_elements_.count == 0) {
            return report_.fail(file_malformed, "no block 403 or 404 is there");
        }
        if (filler_.nbr_nodes() == 0 && filler_.nbr_elements() == 0) {
            if (has_left_out_) return report_.fail(file_malformed, "no node is there");
            tell_empty("block 403", of_nodes_);
            tell_empty("block 404", of_elements_);
        }
        return filler_.finish() ? 0 : out_of_memory;
    }

private:
    // The blocks of one number.
    struct blocks {
        std::uint64_t count = 0;
        file_place first;

        void add(file_place at) {
            if (count++ == 0) first = at;
        }
    };
    int read_block(std::int64_t number) {
        const unsigned int keyword = report_.keyword("block " + std::to_string(number));
        report_.count_seen(keyword);
        if (number == 403) of_nodes_.add(place());
        if (number == 404) of_elements_.add(place());
        // Block 100 tells the version.
        if (number == 403 || number == 404 || number == 100) {
            report_.count_read(keyword);
        } else {
            leave_out(other_block, keyword, place());
        }
        return number == 403 ? read_nodes() : number == 404 ? read_elements() : skip_block();
    }
    void tell_empty(std::string_view keyword, const blocks& all) {
        if (all.count != 0) report_.add(empty_block, keyword, all.first, all.count);
    }
    void leave_out(const remark_form& form, unsigned int keyword, file_place at) {
        report_.add(form, keyword, at);
        has_left_out_ = true;
    }

    file_place place() const { return {lines_.number()}; }
    int fail(std::string_view field, std::string_view text) {
        const auto column = static_cast<std::uint64_t>(field.data() - lines_.line().data()) + 1;
        return report_.fail(file_malformed, place(), column, text);
    }
    int fail(std::string_view text) { return report_.fail(file_malformed, place(), 0, text); }
    int fail_at_end() {
        return report_.fail(file_malformed, place(), 0,
                            "the end of the block is expected, and the file ends");
    }

    // Goes to the line with the number of the next block. Text may stand ahead of it; numbers there
    // may be a block whose beginning is missing.
    bool find_block(std::int64_t& number) {
        bool is_open = false;
        while (lines_.next()) {
            const std::string_view line = trim(lines_.line());
            if (line.empty()) continue;
            if (is_delimiter(line)) {
                is_open = true;
                continue;
            }
            if (is_open && read_integer(line, number) == deck_value::number) return true;
            if (begins_as_number(line)) leave_out(outside, report_.keyword("line"), place());
            is_open = false;
        }
        if (is_open) leave_out(open_block, report_.keyword("block"), place());
        return false;
    }
    // Goes to the next line of the block that isn't blank. False at the end of the block and at
    // that of the file, which `code` tells.
    bool next_in_block(int& code) {
        while (lines_.next()) {
            if (is_delimiter(lines_.line())) return false;
            if (!trim(lines_.line()).empty()) return true;
        }
        code = fail_at_end();
        return false;
    }
    int skip_block() {
        int code = 0;
        while (next_in_block(code)) {
        }
        return code;
    }

    int read_nodes() {
        const unsigned int keyword = report_.keyword("node");
        int code = 0;
        while (next_in_block(code)) {
            constexpr std::size_t nbr_fields = 14;
            const comma_fields<nbr_fields> fields(lines_.line());
            if (fields.size < nbr_fields) return fail("14 fields are expected");
            report_.count_seen(keyword);
            unsigned int number = 0;
            const deck_value found = read_id(fields.field[0], number);
            if (found != deck_value::number) return fail(fields.field[0], reason(found));
            std::int64_t system = 0;
            const deck_value of_system = read_integer(fields.field[1], system);
            if (of_system == deck_value::number && system != 0) {
                report_.add(own_system, keyword, place());
            }
            std::array<double, 3> p{};
            for (std::size_t i = 0; i < 3; ++i) {
                const std::string_view field = fields.field[11 + i];
                const deck_value value = read_real(field, p[i]);
                if (value > deck_value::blank) return fail(field, reason(value));
            }
            places_.of_nodes.add(filler_.nbr_nodes(), lines_.number());
            if (filler_.nbr_nodes() + 1 >= no_id || !filler_.add_node(p.data()) ||
                !mesh_.node_numbers.push_back(number)) {
                return out_of_memory;
            }
            report_.count_read(keyword);
        }
        return code;
    }

    // The lines of an element; `code` is 0 until there is a fault.
    struct element_record {
        unsigned int number = 0;
        unsigned int property = 0;
        std::int64_t topology = 0;
        std::uint64_t line = 0;
        femap_numbers numbers{};
        bool has_more_data = false;
        int nbr_lists = 0;
    };

    int read_elements() {
        int code = 0;
        while (next_in_block(code)) {
            element_record element;
            element.line = lines_.number();
            code = read_first_line(element);
            if (code == 0) code = read_numbers(element);
            if (code == 0) code = read_more_data(element);
            if (code == 0) code = take(element);
            if (code < 0) break;
        }
        return code;
    }
    int read_first_line(element_record& element) {
        constexpr std::size_t nbr_fields = 5;
        const comma_fields<nbr_fields> fields(lines_.line());
        if (fields.size < nbr_fields) return fail("5 fields are expected");
        deck_value found = read_id(fields.field[0], element.number);
        if (found != deck_value::number) return fail(fields.field[0], reason(found));
        std::int64_t property = 0;
        found = read_integer(fields.field[2], property);
        if (found > deck_value::blank) return fail(fields.field[2], reason(found));
        if (property < 0 || property > no_id) {
            return fail(fields.field[2], "a number from 0 to 4294967295 was expected");
        }
        element.property = static_cast<unsigned int>(property);
        found = read_integer(fields.field[4], element.topology);
        if (found != deck_value::number) return fail(fields.field[4], reason(found));
        return 0;
    }
    // Goes to the next line of an element.
    int next_of_element() {
        int code = 0;
        if (next_in_block(code)) return 0;
        return code < 0 ? code : fail("another line of the element is expected");
    }
    int read_numbers(element_record& element) {
        constexpr std::size_t nbr_fields = 10;
        for (std::size_t first = 0; first < femap_nbr_slots; first += nbr_fields) {
            if (const int code = next_of_element(); code < 0) return code;
            const comma_fields<nbr_fields> fields(lines_.line());
            if (fields.size < nbr_fields) return fail("10 fields are expected");
            for (std::size_t i = 0; i < nbr_fields; ++i) {
                std::int64_t number = 0;
                const deck_value found = read_integer(fields.field[i], number);
                if (found > deck_value::blank) return fail(fields.field[i], reason(found));
                if (number < 0 || number >= std::int64_t{no_id}) {
                    return fail(fields.field[i], "a number from 0 to 4294967294 was expected");
                }
                element.numbers[first + i] = static_cast<unsigned int>(number);
            }
        }
        return 0;
    }
    // Orientation, offsets and releases are not zero if any of their digits is not. Behind the
    // releases a flag for each list says whether it follows the element.
    int read_more_data(element_record& element) {
        constexpr int nbr_lines = 4;
        constexpr std::size_t first_list = 12;
        const auto is_zero = [](std::string_view text) {
            return text.find_first_of("123456789") == std::string_view::npos;
        };
        for (int k = 0; k + 1 < nbr_lines; ++k) {
            if (const int code = next_of_element(); code < 0) return code;
            element.has_more_data = element.has_more_data || !is_zero(lines_.line());
        }
        if (const int code = next_of_element(); code < 0) return code;
        const comma_fields<first_list + 4> fields(lines_.line());
        for (std::size_t k = 0; k < fields.size; ++k) {
            if (k < first_list) {
                element.has_more_data = element.has_more_data || !is_zero(fields.field[k]);
                continue;
            }
            std::int64_t flag = 0;
            read_integer(fields.field[k], flag);
            element.nbr_lists += flag != 0 ? 1 : 0;
        }
        return 0;
    }

    int take(const element_record& element) {
        const int code = store(element);
        return code < 0 ? code : skip_lists(element.nbr_lists);
    }
    int store(const element_record& element) {
        const unsigned int keyword =
            report_.keyword("topology " + std::to_string(element.topology));
        report_.count_seen(keyword);
        const file_place at{element.line};
        element_type type = femap_type(element.topology);
        if (type == ET_UNKNOWN) {
            leave_out(no_element, keyword, at);
            return 0;
        }
        if (!has_nodes(linear_type(type), element.numbers)) {
            leave_out(no_corner, keyword, at);
            return 0;
        }
        if (!has_nodes(type, element.numbers)) {
            report_.add(made_linear, keyword, at);
            type = linear_type(type);
        }
        if (element.has_more_data) report_.add(more_data, keyword, at);
        if (element.nbr_lists != 0) report_.add(lists_dropped, keyword, at);
        report_.count_read(keyword);
        return append(type, element) ? 0 : out_of_memory;
    }
    // Behind an element with lists of nodes each of them ends with a line that begins with -1.
    int skip_lists(int nbr_lists) {
        for (; nbr_lists != 0; --nbr_lists) {
            std::int64_t number = 0;
            while (number != -1) {
                if (!lines_.next()) return fail_at_end();
                number = 0;
                read_integer(comma_fields<1>(lines_.line()).field[0], number);
            }
        }
        return 0;
    }
    static bool has_nodes(element_type type, const femap_numbers& numbers) {
        const femap_slots& slots = femap_slots_of(type, numbers);
        for (std::size_t i = 0; i < shape_of(type).nbr_nodes; ++i) {
            if (numbers[slots[i]] == 0) return false;
        }
        return true;
    }
    // False when memory fails.
    bool append(element_type type, const element_record& element) {
        places_.of_elements.add(filler_.nbr_elements(), element.line);
        unsigned int* const column = filler_.add_element(type, element.property);
        if (!column) return false;
        const femap_slots& slots = femap_slots_of(type, element.numbers);
        for (std::size_t i = 0; i < shape_of(type).nbr_nodes; ++i) {
            column[i] = element.numbers[slots[i]];
        }
        return mesh_.element_numbers.push_back(element.number);
    }

    deck_lines lines_;
    mesh& mesh_;
    femap_lines& places_;
    report_builder& report_;
    mesh_filler filler_;
    blocks of_nodes_;
    blocks of_elements_;
    bool has_left_out_ = false; // something that may be a part of a mesh
};

// Drops nodes that are given again. Fails if they are given differently.
int drop_repeated_nodes(mesh& m, number_index& columns, const femap_lines& places,
                        report_builder& report) {
    const id_list& repeated = columns.repeated();
    if (repeated.empty()) return 0;
    for (const unsigned int c : repeated) {
        const unsigned int number = m.node_numbers[c];
        if (lie_together(m, columns.find(number), c)) continue;
        return report.fail(file_malformed, {places.of_nodes[c]}, 0,
                           "node " + std::to_string(number) +
                               " was given before, at another place");
    }
    report.add(given_twice, "node", {places.of_nodes[repeated[0]]}, repeated.size());
    drop_nodes(m, repeated);
    return columns.init(m.node_numbers) ? 0 : out_of_memory;
}

// How far nodes lie from the middles of the edges on which they are to lie, all squared and added.
double distance_from_edges(const mesh& m, const unsigned int* nodes) {
    double sum = 0.0;
    const std::span<const added_node> added = shape_of(ET_HEXA20).added;
    for (std::size_t k = 0; k < added.size(); ++k) {
        const double* const a = m.pos.column(nodes[added[k].a]);
        const double* const b = m.pos.column(nodes[added[k].b]);
        const double* const p = m.pos.column(nodes[8 + k]);
        for (std::size_t i = 0; i < 3; ++i) {
            const double d = p[i] - (0.5 * a[i] + 0.5 * b[i]);
            sum += d * d;
        }
    }
    return sum;
}

// Puts the nodes of a brick into order by where they lie: FEMAP_output, and perhaps others, write
// those on upper edges first. Whether it did.
bool puts_upper_edges_first(const mesh& m, unsigned int* nodes) {
    std::array<unsigned int, femap_nbr_slots> other{};
    std::copy_n(nodes, other.size(), other.begin());
    std::swap_ranges(other.begin() + 12, other.begin() + 16, other.begin() + 16);
    if (!(distance_from_edges(m, other.data()) < distance_from_edges(m, nodes))) return false;
    std::copy_n(other.begin(), other.size(), nodes);
    return true;
}

// Makes IDs of the node numbers of elements.
int find_nodes(mesh& m, const number_index& columns, const femap_lines& places,
               report_builder& report) {
    const auto fail = [&](std::size_t c, unsigned int number) {
        return report.fail(file_malformed, {places.of_elements[c]}, 0,
                           "node " + std::to_string(number) + " of element " +
                               std::to_string(m.element_numbers[c]) + " is not there");
    };
    for (std::size_t run = 0; run < m.types.size(); ++run) {
        const auto type = static_cast<element_type>(m.types[run]);
        const std::size_t n = shape_of(type).nbr_nodes;
        for (std::size_t c = m.indices[run]; c < m.indices[run + 1]; ++c) {
            unsigned int* const nodes = m.connect.column(c);
            for (std::size_t i = 0; i < n; ++i) {
                const unsigned int id = columns.find(nodes[i]);
                if (id == no_id) return fail(c, nodes[i]);
                nodes[i] = id;
            }
            if (type == ET_HEXA20 && puts_upper_edges_first(m, nodes)) {
                report.add(upper_edges_first, "topology 12", {places.of_elements[c]});
            }
        }
    }
    return 0;
}

} // namespace

int read_femap_mesh(std::FILE* file, mesh& result, report_builder& report) {
    femap_lines places;
    if (const int code = femap_block_reader(file, result, places, report).read(); code < 0) {
        return code;
    }
    if (std::ferror(file)) return file_failed;
    number_index columns;
    if (!columns.init(result.node_numbers)) return out_of_memory;
    if (const int code = drop_repeated_nodes(result, columns, places, report); code < 0) {
        return code;
    }
    return find_nodes(result, columns, places, report);
}

} // namespace kv7::tessmaker
