#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "core/type_table.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/vtk_cell_orders.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form order_changed{remark_kind::changed, "written in another order",
                                    "written in another order", "each type has one section"};
constexpr remark_form property_long{remark_kind::note, "above 2147483647", "above 2147483647",
                                    "not all programs read such numbers"};

// The keywords of the types that are held. Wedges stand as ours do; all others have the order that
// VTK's cells have.
constexpr type_table<std::string_view> keywords{{
    {ET_UNKNOWN, {}},
    {ET_NODE, {}},
    {ET_BAR_MIX, {}},
    {ET_BAR2, "Edges"},
    {ET_BAR3, "EdgesP2"},
    {ET_FACE_MIX, {}},
    {ET_TRIA3, "Triangles"},
    {ET_QUAD4, "Quadrilaterals"},
    {ET_TRIA6, "TrianglesP2"},
    {ET_QUAD8, {}},
    {ET_QUAD9, "QuadrilateralsQ2"},
    {ET_SOLID_MIX, {}},
    {ET_TETRA4, "Tetrahedra"},
    {ET_TETRA10, "TetrahedraP2"},
    {ET_PYRA5, "Pyramids"},
    {ET_PYRA13, {}},
    {ET_PYRA14, {}},
    {ET_PENTA6, "Prisms"},
    {ET_PENTA15, {}},
    {ET_PENTA18, {}},
    {ET_HEXA8, "Hexahedra"},
    {ET_HEXA20, {}},
    {ET_HEXA27, {}},
}};

constexpr std::size_t id_size = 11; // with a blank or the end of a line

// A section of elements.
struct section {
    element_type type;
    std::size_t size;
};

// Sections in the order in which the mesh brings their types first.
struct section_list {
    std::vector<section> sections;
    bool keeps_order = true; // a type has come back after another one
};

section_list sections_of(const mesh_for_file& what) {
    section_list list;
    std::size_t last = 0;
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        std::vector<section>& sections = list.sections;
        if (sections.empty() || sections[last].type != type) {
            std::size_t s = 0;
            while (s < sections.size() && sections[s].type != type) ++s;
            if (s == sections.size()) {
                sections.push_back({type, 0});
            } else {
                list.keeps_order = false;
            }
            last = s;
        }
        ++sections[last].size;
    });
    return list;
}

void tell_properties(const mesh_for_file& what, write_losses& losses) {
    constexpr unsigned int most_of_int = 2'147'483'647;
    std::size_t nbr_long = 0;
    visit_written(what, [&](element_type, std::size_t c, const unsigned int*) {
        nbr_long += what.property(c) > most_of_int ? 1U : 0U;
    });
    losses.add(property_long, "property of an element", nbr_long);
}

void tell(const mesh_for_file& what, write_losses& losses) {
    if (!what.m.pids.empty()) tell_properties(what, losses);
    if (!sections_of(what).keeps_order) losses.add(order_changed, "element", what.nbr_elements);
}

bool put_keyword(std::string_view keyword, std::size_t count, output_buffer& output) {
    return put_text("\n" + std::string(keyword) + "\n" + std::to_string(count) + "\n", output);
}

bool put_nodes(const mesh_for_file& what, output_buffer& output) {
    const dense2D<double>& pos = what.m.pos;
    if (!put_keyword("Vertices", what.nbr_nodes, output)) return false;
    const std::size_t rows = pos.rows();
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!what.has_node(c)) continue;
        if (!output.make_room(3 * (real_size + 1) + 2)) return false;
        const double* const p = pos.column(c);
        for (std::size_t r = 0; r < rows; ++r) {
            put_real(p[r], what.digits, output);
            output.put(' ');
        }
        output.put("0\n"); // a reference
    }
    return true;
}

// The property of each element is its reference.
bool put_section(const section& s, const mesh_for_file& what, output_buffer& output) {
    const unsigned int n = nbr_nodes(s.type);
    const vtk_cell& cell = vtk_cell_table[s.type];
    bool is_good = put_keyword(keywords[s.type], s.size, output);
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        if (type != s.type || !is_good) return;
        is_good = output.make_room((n + 1) * id_size);
        if (!is_good) return;
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int row = type == ET_PENTA6 ? i : cell.nodes[i];
            output.put_unsigned(std::uint64_t{what.place(nodes[row])} + 1);
            output.put(' ');
        }
        output.put_unsigned(what.property(c));
        output.put('\n');
    });
    return is_good;
}

bool write(std::FILE* file, const mesh_for_file& what) {
    const section_list list = sections_of(what);
    output_buffer output(file);
    const bool is_flat = what.m.pos.rows() == 2;
    bool is_good = put_text(is_flat ? "MeshVersionFormatted 2\nDimension 2\n"
                                    : "MeshVersionFormatted 2\nDimension 3\n",
                            output) &&
                   put_nodes(what, output);
    for (const section& s : list.sections) is_good = is_good && put_section(s, what, output);
    is_good = is_good && put_text("\nEnd\n", output);
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer medit_writer{&medit_holdings, tell, write};

} // namespace kv7::tessmaker
