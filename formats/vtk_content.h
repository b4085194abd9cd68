// What VTK's files have of a mesh beside points and cells: arrays with names.
#ifndef TESSMAKER_FORMATS_VTK_CONTENT_H
#define TESSMAKER_FORMATS_VTK_CONTENT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/mesh_writers.h"
#include "formats/vtk_names.h"

namespace kv7::tessmaker {

// The names of the fields in the file: none of them empty, and none twice at one place. `spelling`
// says how the file spells a name.
std::vector<std::string> vtk_field_names(const mesh& m, std::string (*spelling)(std::string_view));

// What is written of a mesh, counted once.
struct vtk_content {
    const mesh_for_file& what;
    std::vector<std::string> names; // of fields
    bool has_node_numbers;
    bool has_element_numbers;
    bool has_properties;
    bool has_quadratic_wedges;
    std::uint64_t nbr_connected; // nodes of all elements

    // Arrays at nodes and at elements.
    std::size_t nbr_arrays(field_place at) const;
};

vtk_content vtk_content_of(const mesh_for_file& what, std::string (*spelling)(std::string_view));

// Calls `visit(k)` for the fields at a place.
template <class Visit> void visit_fields(const mesh& m, field_place at, const Visit& visit) {
    for (std::size_t k = 0; k < m.fields.size(); ++k) {
        if (m.fields[k].at == at) visit(k);
    }
}

// Components of a field in the file, by rows of the field; `zero` for a component of 0. VTK knows
// vectors of three components and tensors of nine.
struct component_map {
    static constexpr std::uint8_t zero = 0xFF;
    std::size_t size; // if it is 0, all rows stand in their order
    std::array<std::uint8_t, 9> rows;
};
const component_map& components_of(const mesh& m, const field& f);
std::size_t nbr_components(const mesh& m, const field& f);

// Calls `visit(value)` for all components, column by column, until it returns false. False then.
template <class Visit> bool visit_components(const mesh& m, const field& f, const Visit& visit) {
    const component_map& map = components_of(m, f);
    const std::size_t rows = f.values.rows();
    const std::size_t nbr = nbr_components(m, f);
    for (std::size_t c = 0; c < f.values.cols(); ++c) {
        const double* const column = f.values.column(c);
        for (std::size_t i = 0; i < nbr; ++i) {
            const std::size_t row = map.size == 0 ? i : map.rows[i];
            if (!visit(row < rows ? column[row] : 0.0)) return false;
        }
    }
    return true;
}

// Tells of vectors and tensors in 2D.
void tell_filled_up_fields(const mesh& m, write_losses& losses);

} // namespace kv7::tessmaker

#endif
