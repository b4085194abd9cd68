#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>

#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form at_elements{remark_kind::lost, "not written", "not written",
                                  "at elements; the file has those at nodes"};
constexpr remark_form no_kind{remark_kind::lost, "not written", "not written",
                              "neither scalars nor vectors nor tensors of the mesh's dimension"};
constexpr remark_form no_name{remark_kind::changed, "not written", "not written",
                              "the format has no names"};
constexpr remark_form no_number{remark_kind::changed, "written as a word", "written as words",
                                "nan and inf are not read by all programs"};

// The word for what the values of a field are: 1 scalars, 2 vectors, 3 symmetric tensors, 4 any
// tensors. 0 if they are none of these.
int kind_of(const mesh& m, const field& f) {
    const std::size_t dim = m.pos.rows();
    const std::size_t rows = f.values.rows();
    if (rows == 0) return 0; // of a mesh without nodes
    if (rows == 1) return 1;
    if (rows == dim) return 2;
    if (rows == dim * (dim + 1) / 2) return 3;
    return rows == dim * dim ? 4 : 0;
}

bool is_written(const mesh& m, const field& f) {
    return f.at == field_place::nodes && kind_of(m, f) != 0;
}

// Calls `visit(f)` for the fields that are written.
template <class Visit> void visit_written_fields(const mesh& m, const Visit& visit) {
    for (const field& f : m.fields) {
        if (is_written(m, f)) visit(f);
    }
}

// Calls `visit(value)` for all values at a node.
template <class Visit> void visit_values(const mesh& m, std::size_t node, const Visit& visit) {
    visit_written_fields(m, [&](const field& f) {
        const double* const values = f.values.column(node);
        for (std::size_t r = 0; r < f.values.rows(); ++r) visit(values[r]);
    });
}

bool put_head(const mesh_for_file& what, output_buffer& output) {
    const mesh& m = what.m;
    std::string kinds;
    visit_written_fields(m, [&](const field& f) { kinds += ' ' + std::to_string(kind_of(m, f)); });
    return put_text("MeshVersionFormatted 2\nDimension " + std::to_string(m.pos.rows()) +
                        "\n\nSolAtVertices\n" + std::to_string(what.nbr_nodes) + '\n' +
                        std::to_string(nbr_medit_fields(m)) + kinds + '\n',
                    output);
}

bool put_values(const mesh_for_file& what, output_buffer& output) {
    bool is_good = true;
    for (std::size_t c = 0; c < what.m.pos.cols() && is_good; ++c) {
        if (!what.has_node(c)) continue;
        char before = '\0';
        visit_values(what.m, c, [&](double value) {
            is_good = is_good && output.make_room(real_size + 2);
            if (!is_good) return;
            if (before != '\0') output.put(before);
            before = ' ';
            put_real(value, what.digits, output);
        });
        if (is_good) output.put('\n');
    }
    return is_good;
}

} // namespace

std::size_t nbr_medit_fields(const mesh& m) {
    std::size_t count = 0;
    visit_written_fields(m, [&count](const field&) { ++count; });
    return count;
}

void tell_medit_field_losses(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    tell_lone_nodes(what, losses);
    std::size_t nbr_at_elements = 0;
    std::size_t nbr_of_no_kind = 0;
    std::size_t nbr_names = 0;
    for (const field& f : m.fields) {
        const bool is_at_nodes = f.at == field_place::nodes;
        nbr_at_elements += is_at_nodes ? 0U : 1U;
        nbr_of_no_kind += is_at_nodes && kind_of(m, f) == 0 ? 1U : 0U;
        nbr_names += is_written(m, f) && !f.name.empty() ? 1U : 0U;
    }
    losses.add(at_elements, "field", nbr_at_elements);
    losses.add(no_kind, "field", nbr_of_no_kind);
    losses.add(no_name, "name of a field", nbr_names);
    std::size_t nbr_no_numbers = 0;
    for (std::size_t c = 0; c < m.pos.cols(); ++c) {
        if (!what.has_node(c)) continue;
        visit_values(m, c, [&](double value) { nbr_no_numbers += std::isfinite(value) ? 0U : 1U; });
    }
    losses.add(no_number, "value", nbr_no_numbers);
}

bool write_medit_fields(std::FILE* file, const mesh_for_file& what) {
    output_buffer output(file);
    const bool is_good =
        put_head(what, output) && put_values(what, output) && put_text("\nEnd\n", output);
    return output.pass_on() && is_good;
}

} // namespace kv7::tessmaker
