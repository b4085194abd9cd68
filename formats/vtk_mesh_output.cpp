#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "formats/characters.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/vtk_cell_orders.h"
#include "formats/vtk_content.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form field_renamed{remark_kind::changed, "renamed", "renamed", "names differ"};
constexpr remark_form no_number{remark_kind::changed, "written as a word", "written as words",
                                "nan and inf are not read by all programs"};

constexpr std::size_t id_size = 11; // with a blank or the end of a line

// Whether a program takes an array of this name for further data on the one before, which it skips,
// or for one that is not there.
bool is_taken_for_keyword(std::string_view name) {
    constexpr std::string_view keywords[] = {"metadata", "null_array"};
    return std::any_of(std::begin(keywords), std::end(keywords), [name](std::string_view keyword) {
        return is_word(name.substr(0, keyword.size()), keyword);
    });
}

// A name as VTK spells it: other characters than those from ! to ~, and two of these, by their
// codes; so is the first one of a name that would be a keyword.
std::string in_one_word(std::string_view name) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    const bool hides_first = is_taken_for_keyword(name);
    for (const char& c : name) {
        const bool is_hidden = hides_first && &c == name.data();
        const bool is_kept = c > ' ' && c <= '~' && c != '"' && c != '%' && !is_hidden;
        if (is_kept) {
            result += c;
            continue;
        }
        const auto code = static_cast<unsigned char>(c);
        result += '%';
        result += digits[code / 16];
        result += digits[code % 16];
    }
    return result;
}

void tell(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    const std::vector<std::string> names = vtk_field_names(m, in_one_word);
    std::size_t nbr_renamed = 0;
    std::size_t nbr_no_numbers = 0;
    for (std::size_t k = 0; k < names.size(); ++k) {
        nbr_renamed += names[k] != in_one_word(m.fields[k].name) ? 1U : 0U;
        visit_components(m, m.fields[k], [&nbr_no_numbers](double value) {
            nbr_no_numbers += std::isfinite(value) ? 0U : 1U;
            return true;
        });
    }
    losses.add(field_renamed, "field", nbr_renamed);
    tell_filled_up_fields(m, losses);
    losses.add(no_number, "value", nbr_no_numbers);
}

bool put_counts(std::string_view word, std::uint64_t count, std::string_view rest,
                output_buffer& output) {
    return put_text(std::string(word) + ' ' + std::to_string(count) + std::string(rest) + '\n',
                    output);
}

bool put_points(const mesh_for_file& what, output_buffer& output) {
    const dense2D<double>& pos = what.m.pos;
    if (!put_counts("POINTS", pos.cols(), " double", output)) return false;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!output.make_room(3 * (real_size + 1))) return false;
        const double* const p = pos.column(c);
        put_real(p[0], what.digits, output);
        output.put(' ');
        put_real(p[1], what.digits, output);
        output.put(' ');
        put_real(pos.rows() == 2 ? 0.0 : p[2], what.digits, output);
        output.put('\n');
    }
    return true;
}

bool put_cells(const vtk_content& content, output_buffer& output) {
    const mesh_for_file& what = content.what;
    const std::uint64_t nbr_cells = what.nbr_elements;
    bool is_good = put_counts("CELLS", nbr_cells,
                              ' ' + std::to_string(nbr_cells + content.nbr_connected), output);
    visit_written(what, [&](element_type type, std::size_t, const unsigned int* nodes) {
        const unsigned int n = nbr_nodes(type);
        is_good = is_good && output.make_room((n + 1) * id_size);
        if (!is_good) return;
        output.put_unsigned(n);
        const vtk_cell& cell = vtk_cell_table[type];
        for (unsigned int i = 0; i < n; ++i) {
            output.put(' ');
            output.put_unsigned(nodes[cell.nodes[i]]);
        }
        output.put('\n');
    });
    is_good = is_good && put_counts("CELL_TYPES", nbr_cells, "", output);
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        is_good = is_good && output.make_room(id_size);
        if (!is_good) return;
        output.put_unsigned(vtk_cell_table[type].cell_type);
        output.put('\n');
    });
    return is_good;
}

bool put_array_line(std::string_view name, std::size_t nbr_components, std::size_t size,
                    std::string_view type, output_buffer& output) {
    return put_text(name, output) &&
           put_text(' ' + std::to_string(nbr_components) + ' ' + std::to_string(size) + ' ' +
                        std::string(type) + '\n',
                    output);
}

bool put_numbers(std::string_view name, const dense1D<unsigned int>& numbers,
                 output_buffer& output) {
    if (!put_array_line(name, 1, numbers.size(), "unsigned_int", output)) return false;
    for (const unsigned int number : numbers) {
        if (!output.make_room(id_size)) return false;
        output.put_unsigned(number);
        output.put('\n');
    }
    return true;
}

// A line for each node or element.
bool put_field(const vtk_content& content, std::size_t k, output_buffer& output) {
    const mesh& m = content.what.m;
    const field& f = m.fields[k];
    const std::size_t nbr = nbr_components(m, f);
    if (!put_array_line(content.names[k], nbr, f.values.cols(), "double", output)) return false;
    std::size_t i = 0;
    return visit_components(m, f, [&](double value) {
        if (!output.make_room(real_size + 1)) return false;
        put_real(value, content.what.digits, output);
        const bool ends_line = ++i == nbr;
        if (ends_line) i = 0;
        output.put(ends_line ? '\n' : ' ');
        return true;
    });
}

bool put_arrays(const vtk_content& content, field_place at, output_buffer& output) {
    const mesh& m = content.what.m;
    const std::size_t nbr_arrays = content.nbr_arrays(at);
    if (nbr_arrays == 0) return true;
    const bool at_nodes = at == field_place::nodes;
    bool is_good = put_counts(at_nodes ? "POINT_DATA" : "CELL_DATA",
                              at_nodes ? m.pos.cols() : m.connect.cols(), "", output) &&
                   put_counts("FIELD FieldData", nbr_arrays, "", output);
    const auto put = [&](bool is_there, std::string_view name,
                         const dense1D<unsigned int>& numbers) {
        is_good = is_good && (!is_there || put_numbers(name, numbers, output));
    };
    put(at_nodes && content.has_node_numbers, vtk_node_number_name, m.node_numbers);
    put(!at_nodes && content.has_element_numbers, vtk_element_number_name, m.element_numbers);
    put(!at_nodes && content.has_properties, vtk_property_name, m.pids);
    visit_fields(m, at, [&](std::size_t k) { is_good = is_good && put_field(content, k, output); });
    return is_good;
}

bool write(std::FILE* file, const mesh_for_file& what) {
    const vtk_content content = vtk_content_of(what, in_one_word);
    output_buffer output(file);
    const bool is_good = put_text("# vtk DataFile Version 3.0\n", output) &&
                         put_text(vtk_title, output) &&
                         put_text("\n"
                                  "ASCII\n"
                                  "DATASET UNSTRUCTURED_GRID\n",
                                  output) &&
                         put_points(what, output) && put_cells(content, output) &&
                         put_arrays(content, field_place::elements, output) &&
                         put_arrays(content, field_place::nodes, output);
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer vtk_writer{&vtk_holdings, tell, write};

} // namespace kv7::tessmaker
