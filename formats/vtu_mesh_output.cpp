#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/vtk_cell_orders.h"
#include "formats/vtk_content.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form field_renamed{remark_kind::changed, "renamed", "renamed",
                                    "names are of UTF-8 and differ"};
// The bytes of the character of UTF-8 that the text begins with; 0 if it begins with none.
std::size_t character_size(std::string_view text) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return first >= ' ' && first != 0x7F ? 1 : 0;
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
    std::uint32_t code = first & 0xFFU >> (size + 1);
    for (std::size_t k = 1; k < size; ++k) {
        if ((byte(k) & 0xC0U) != 0x80) return 0;
        code = code << 6 | (byte(k) & 0x3FU);
    }
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    // The last two of 16 bits are no characters of XML.
    const bool is_character = code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
    return code >= least[size] && !is_surrogate && is_character ? size : 0;
}

std::string in_utf8(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t size = character_size(text);
        result += size == 0 ? "?" : text.substr(0, size);
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

void tell(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    const std::vector<std::string> names = vtk_field_names(m, in_utf8);
    std::size_t nbr_renamed = 0;
    for (std::size_t k = 0; k < names.size(); ++k) {
        nbr_renamed += names[k] != m.fields[k].name ? 1U : 0U;
    }
    losses.add(field_renamed, "field", nbr_renamed);
    tell_filled_up_fields(m, losses);
}

// The part of a VTU file in words. Arrays follow behind it, in the order in which they are named
// here, each behind its size in bytes.
class vtu_header {
public:
    vtu_header(std::size_t nbr_points, std::size_t nbr_cells, bool has_quadratic_wedges) {
        text_ = "<?xml version=\"1.0\"?>\n";
        if (has_quadratic_wedges) text_.append(vtu_wedge_comment).append("\n");
        text_ += "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\""
                 " header_type=\"UInt64\">\n"
                 "<UnstructuredGrid>\n"
                 "<Piece NumberOfPoints=\"" +
                 std::to_string(nbr_points) + "\" NumberOfCells=\"" + std::to_string(nbr_cells) +
                 "\">\n";
    }
    void begin(std::string_view part) { text_.append("<").append(part).append(">\n"); }
    void end(std::string_view part) { text_.append("</").append(part).append(">\n"); }
    void add(std::string_view type, std::string_view name, std::size_t nbr_components,
             std::size_t size) {
        text_.append("<DataArray type=\"").append(type).append("\" Name=\"");
        append_escaped(name);
        text_ += "\" NumberOfComponents=\"" + std::to_string(nbr_components) +
                 "\" format=\"appended\" offset=\"" + std::to_string(offset_) + "\"/>\n";
        offset_ += sizeof(std::uint64_t) + size;
    }
    const std::string& finish() {
        text_ += "</Piece>\n"
                 "</UnstructuredGrid>\n"
                 "<AppendedData encoding=\"raw\">\n"
                 "_";
        return text_;
    }

private:
    void append_escaped(std::string_view name) {
        for (const char c : name) {
            switch (c) {
            case '&': text_ += "&amp;"; break;
            case '<': text_ += "&lt;"; break;
            case '>': text_ += "&gt;"; break;
            case '"': text_ += "&quot;"; break;
            default: text_ += c;
            }
        }
    }

    std::string text_;
    std::uint64_t offset_ = 0;
};

std::string header_of(const vtk_content& content) {
    const mesh& m = content.what.m;
    const std::size_t n = m.pos.cols();
    const std::size_t nbr_cells = m.connect.cols();
    vtu_header header(n, nbr_cells, content.has_quadratic_wedges);
    const auto add_field = [&](std::size_t k) {
        const field& f = m.fields[k];
        const std::size_t nbr = nbr_components(m, f);
        header.add("Float64", content.names[k], nbr, nbr * f.values.cols() * sizeof(double));
    };
    header.begin("PointData");
    if (content.has_node_numbers) header.add("UInt32", vtk_node_number_name, 1, 4 * n);
    visit_fields(m, field_place::nodes, add_field);
    header.end("PointData");
    header.begin("CellData");
    if (content.has_element_numbers)
        header.add("UInt32", vtk_element_number_name, 1, 4 * nbr_cells);
    if (content.has_properties) header.add("UInt32", vtk_property_name, 1, 4 * nbr_cells);
    visit_fields(m, field_place::elements, add_field);
    header.end("CellData");
    header.begin("Points");
    header.add("Float64", "Points", 3, 3 * sizeof(double) * n);
    header.end("Points");
    header.begin("Cells");
    header.add("Int64", "connectivity", 1, 8 * content.nbr_connected);
    header.add("Int64", "offsets", 1, 8 * nbr_cells);
    header.add("UInt8", "types", 1, nbr_cells);
    header.end("Cells");
    return header.finish();
}

void put_word(std::uint64_t word, output_buffer& output) {
    output.put_by([word](char* text) {
        store_word(word, text);
        return text + word_size;
    });
}
void put_double(double value, output_buffer& output) {
    put_word(std::bit_cast<std::uint64_t>(value), output);
}

bool put_size(std::uint64_t size, output_buffer& output) {
    if (!output.make_room(word_size)) return false;
    put_word(size, output);
    return true;
}

bool put_numbers(const dense1D<unsigned int>& numbers, output_buffer& output) {
    if (!put_size(4 * std::uint64_t{numbers.size()}, output)) return false;
    for (const unsigned int number : numbers) {
        if (!output.make_room(4)) return false;
        output.put_little_endian(std::uint32_t{number});
    }
    return true;
}

bool put_field(const mesh& m, const field& f, output_buffer& output) {
    if (!put_size(nbr_components(m, f) * f.values.cols() * sizeof(double), output)) return false;
    return visit_components(m, f, [&output](double value) {
        if (!output.make_room(word_size)) return false;
        put_double(value, output);
        return true;
    });
}

bool put_points(const dense2D<double>& pos, output_buffer& output) {
    if (!put_size(3 * sizeof(double) * pos.cols(), output)) return false;
    const bool is_flat = pos.rows() == 2;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!output.make_room(3 * word_size)) return false;
        const double* const p = pos.column(c);
        put_double(p[0], output);
        put_double(p[1], output);
        put_double(is_flat ? 0.0 : p[2], output);
    }
    return true;
}

bool put_cells(const vtk_content& content, output_buffer& output) {
    const mesh_for_file& what = content.what;
    const std::uint64_t nbr_cells = what.m.connect.cols();
    bool is_good = put_size(8 * content.nbr_connected, output);
    visit_written(what, [&](element_type type, std::size_t, const unsigned int* nodes) {
        const unsigned int n = nbr_nodes(type);
        const vtk_cell& cell = vtk_cell_table[type];
        is_good = is_good && output.make_room(n * word_size);
        for (unsigned int i = 0; i < n && is_good; ++i) put_word(nodes[cell.nodes[i]], output);
    });
    is_good = is_good && put_size(8 * nbr_cells, output);
    std::uint64_t end = 0;
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        end += nbr_nodes(type);
        is_good = is_good && output.make_room(word_size);
        if (is_good) put_word(end, output);
    });
    is_good = is_good && put_size(nbr_cells, output);
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        is_good = is_good && output.make_room(1);
        if (is_good) output.put(static_cast<char>(vtk_cell_table[type].cell_type));
    });
    return is_good;
}

// Every element of a mesh without fault has a cell, so that fields at elements fit the cells.
bool write(std::FILE* file, const mesh_for_file& what) {
    const mesh& m = what.m;
    const vtk_content content = vtk_content_of(what, in_utf8);
    const std::string header = header_of(content);
    output_buffer output(file);
    bool is_good = put_text(header, output);
    const auto put_field_at = [&](std::size_t k) {
        is_good = is_good && put_field(m, m.fields[k], output);
    };
    if (content.has_node_numbers) is_good = is_good && put_numbers(m.node_numbers, output);
    visit_fields(m, field_place::nodes, put_field_at);
    if (content.has_element_numbers) is_good = is_good && put_numbers(m.element_numbers, output);
    if (content.has_properties) is_good = is_good && put_numbers(m.pids, output);
    visit_fields(m, field_place::elements, put_field_at);
    is_good = is_good && put_points(m.pos, output) && put_cells(content, output) &&
              put_text("\n</AppendedData>\n</VTKFile>\n", output);
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer vtu_writer{&vtk_holdings, tell, write};

} // namespace kv7::tessmaker
