#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/vtk_cell_orders.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form field_renamed{remark_kind::changed, "renamed", "renamed",
                                    "names are of UTF-8 and differ"};
constexpr remark_form field_filled_up{remark_kind::changed, "written with further components of 0",
                                      "written with further components of 0", "the mesh is in 2D"};

constexpr std::string_view property_name = "property";
constexpr std::string_view node_number_name = "node_number";
constexpr std::string_view element_number_name = "element_number";

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

// The names of the fields in the file: none of them empty, and none twice at one place.
std::vector<std::string> field_names(const mesh& m) {
    std::set<std::string, std::less<>> used[2];
    used[0].emplace(node_number_name);
    used[1].emplace(element_number_name);
    used[1].emplace(property_name);
    std::vector<std::string> names;
    names.reserve(m.fields.size());
    for (const field& f : m.fields) {
        std::set<std::string, std::less<>>& at_place = used[f.at == field_place::nodes ? 0 : 1];
        const std::string wanted = f.name.empty() ? "field" : in_utf8(f.name);
        std::string name = wanted;
        for (unsigned int k = 2; !at_place.insert(name).second; ++k) {
            name = wanted + ' ' + std::to_string(k);
        }
        names.push_back(name);
    }
    return names;
}

// Components of a field in the file, by rows of the field; `zero` for a component of 0. VTK knows
// vectors of three components and tensors of nine.
struct component_map {
    static constexpr std::uint8_t zero = 0xFF;
    std::size_t size; // if it is 0, all rows stand in their order
    std::array<std::uint8_t, 9> rows;
};
constexpr component_map as_it_is{0, {}};
constexpr component_map vector_2d{3, {0, 1, component_map::zero}};
constexpr component_map tensor_2d{9,
                                  {0, 1, component_map::zero, 1, 2, component_map::zero,
                                   component_map::zero, component_map::zero, component_map::zero}};
constexpr component_map tensor_3d{9, {0, 1, 3, 1, 2, 4, 3, 4, 5}};

const component_map& components_of(const mesh& m, const field& f) {
    const std::size_t rows = f.values.rows();
    if (m.pos.rows() == 2) return rows == 2 ? vector_2d : rows == 3 ? tensor_2d : as_it_is;
    return rows == 6 ? tensor_3d : as_it_is;
}
std::size_t nbr_components(const mesh& m, const field& f) {
    const component_map& map = components_of(m, f);
    return map.size != 0 ? map.size : std::max<std::size_t>(f.values.rows(), 1);
}

void tell(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    const std::vector<std::string> names = field_names(m);
    std::size_t nbr_renamed = 0;
    std::size_t nbr_filled_up = 0;
    for (std::size_t k = 0; k < names.size(); ++k) {
        nbr_renamed += names[k] != m.fields[k].name ? 1U : 0U;
        const component_map& map = components_of(m, m.fields[k]);
        nbr_filled_up += &map == &vector_2d || &map == &tensor_2d ? 1U : 0U;
    }
    losses.add(field_renamed, "field", nbr_renamed);
    losses.add(field_filled_up, "field", nbr_filled_up);
}

// The part of a VTU file in words. Arrays follow behind it, in the order in which they are named
// here, each behind its size in bytes.
class vtu_header {
public:
    vtu_header(std::size_t nbr_points, std::size_t nbr_cells) {
        text_ = "<?xml version=\"1.0\"?>\n"
                "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\""
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

// What is written of a mesh, counted once.
struct vtu_content {
    const mesh_for_file& what;
    std::vector<std::string> names; // of fields
    bool has_node_numbers;
    bool has_element_numbers;
    bool has_properties;
    std::uint64_t nbr_connected; // nodes of all elements
};

vtu_content content_of(const mesh_for_file& what) {
    const mesh& m = what.m;
    std::uint64_t nbr_connected = 0;
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        nbr_connected += nbr_nodes(type);
    });
    return {what,
            field_names(m),
            nbr_real_numbers(m.node_numbers) != 0,
            nbr_real_numbers(m.element_numbers) != 0,
            nbr_real_properties(m.pids) != 0,
            nbr_connected};
}

// Calls `visit(k)` for the fields at a place.
template <class Visit> void visit_fields(const mesh& m, field_place at, const Visit& visit) {
    for (std::size_t k = 0; k < m.fields.size(); ++k) {
        if (m.fields[k].at == at) visit(k);
    }
}

std::string header_of(const vtu_content& content) {
    const mesh& m = content.what.m;
    const std::size_t n = m.pos.cols();
    const std::size_t nbr_cells = m.connect.cols();
    vtu_header header(n, nbr_cells);
    const auto add_field = [&](std::size_t k) {
        const field& f = m.fields[k];
        const std::size_t nbr = nbr_components(m, f);
        header.add("Float64", content.names[k], nbr, nbr * f.values.cols() * sizeof(double));
    };
    header.begin("PointData");
    if (content.has_node_numbers) header.add("UInt32", node_number_name, 1, 4 * n);
    visit_fields(m, field_place::nodes, add_field);
    header.end("PointData");
    header.begin("CellData");
    if (content.has_element_numbers) header.add("UInt32", element_number_name, 1, 4 * nbr_cells);
    if (content.has_properties) header.add("UInt32", property_name, 1, 4 * nbr_cells);
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
    const component_map& map = components_of(m, f);
    const dense2D<double>& values = f.values;
    const std::size_t rows = values.rows();
    const std::size_t nbr = nbr_components(m, f);
    if (!put_size(nbr * values.cols() * sizeof(double), output)) return false;
    for (std::size_t c = 0; c < values.cols(); ++c) {
        const double* const column = values.column(c);
        for (std::size_t i = 0; i < nbr; ++i) {
            if (!output.make_room(word_size)) return false;
            const std::size_t row = map.size == 0 ? i : map.rows[i];
            put_double(row < rows ? column[row] : 0.0, output);
        }
    }
    return true;
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

bool put_cells(const vtu_content& content, output_buffer& output) {
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
    const vtu_content content = content_of(what);
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

const mesh_writer vtu_writer{&vtu_holdings, tell, write};

} // namespace kv7::tessmaker
