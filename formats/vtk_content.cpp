#include "formats/vtk_content.h"

#include <functional>
#include <set>

namespace kv7::tessmaker {

namespace {

constexpr remark_form field_filled_up{remark_kind::changed, "written with further components of 0",
                                      "written with further components of 0", "the mesh is in 2D"};

constexpr std::uint8_t zero = component_map::zero;
constexpr component_map as_it_is{0, {}};
constexpr component_map vector_2d{3, {0, 1, zero}};
constexpr component_map tensor_2d{9, {0, 1, zero, 1, 2, zero, zero, zero, zero}};
constexpr component_map tensor_3d{9, {0, 1, 3, 1, 2, 4, 3, 4, 5}};

} // namespace

std::vector<std::string> vtk_field_names(const mesh& m, std::string (*spelling)(std::string_view)) {
    std::set<std::string, std::less<>> used[2];
    used[0].emplace(vtk_node_number_name);
    used[1].emplace(vtk_element_number_name);
    used[1].emplace(vtk_property_name);
    std::vector<std::string> names;
    names.reserve(m.fields.size());
    for (const field& f : m.fields) {
        std::set<std::string, std::less<>>& at_place = used[f.at == field_place::nodes ? 0 : 1];
        const std::string wanted = f.name.empty() ? "field" : f.name;
        std::string name = spelling(wanted);
        for (unsigned int k = 2; !at_place.insert(name).second; ++k) {
            name = spelling(wanted + ' ' + std::to_string(k));
        }
        names.push_back(name);
    }
    return names;
}

std::size_t vtk_content::nbr_arrays(field_place at) const {
    std::size_t n = 0;
    visit_fields(what.m, at, [&n](std::size_t) { ++n; });
    if (at == field_place::nodes) return n + (has_node_numbers ? 1U : 0U);
    return n + (has_element_numbers ? 1U : 0U) + (has_properties ? 1U : 0U);
}

vtk_content vtk_content_of(const mesh_for_file& what, std::string (*spelling)(std::string_view)) {
    const mesh& m = what.m;
    std::uint64_t nbr_connected = 0;
    bool has_quadratic_wedges = false;
    visit_written(what, [&](element_type type, std::size_t, const unsigned int*) {
        nbr_connected += nbr_nodes(type);
        has_quadratic_wedges = has_quadratic_wedges || type == ET_PENTA15 || type == ET_PENTA18;
    });
    return {what,
            vtk_field_names(m, spelling),
            nbr_real_numbers(m.node_numbers) != 0,
            nbr_real_numbers(m.element_numbers) != 0,
            nbr_real_properties(m.pids) != 0,
            has_quadratic_wedges,
            nbr_connected};
}

const component_map& components_of(const mesh& m, const field& f) {
    const std::size_t rows = f.values.rows();
    if (m.pos.rows() == 2) return rows == 2 ? vector_2d : rows == 3 ? tensor_2d : as_it_is;
    return rows == 6 ? tensor_3d : as_it_is;
}

std::size_t nbr_components(const mesh& m, const field& f) {
    const component_map& map = components_of(m, f);
    return map.size != 0 ? map.size : std::max<std::size_t>(f.values.rows(), 1);
}

void tell_filled_up_fields(const mesh& m, write_losses& losses) {
    std::size_t count = 0;
    for (const field& f : m.fields) {
        const component_map& map = components_of(m, f);
        count += &map == &vector_2d || &map == &tensor_2d ? 1U : 0U;
    }
    losses.add(field_filled_up, "field", count);
}

} // namespace kv7::tessmaker
