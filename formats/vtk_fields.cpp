#include "formats/vtk_fields.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "formats/vtk_names.h"

namespace kv7::tessmaker {

namespace {

// Also of values that are no numbers.
bool are_equal(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
bool is_symmetric(const double* t) {
    return are_equal(t[1], t[3]) && are_equal(t[2], t[6]) && are_equal(t[5], t[7]);
}

bool are_whole_numbers(const dense2D<double>& values) {
    constexpr double most = std::numeric_limits<std::uint32_t>::max();
    if (values.rows() > 1) return false; // none without columns
    for (std::size_t c = 0; c < values.cols(); ++c) {
        const double value = *values.column(c);
        if (!(value >= 0.0 && value <= most) || value != std::floor(value)) return false;
    }
    return true;
}

} // namespace

bool vtk_fields::add(const std::string& name, field_place at, const dense1D<double>& values,
                     std::size_t rows, const id_list* element_of_cell, std::size_t nbr_columns) {
    field f;
    f.name = name;
    f.at = at;
    if (!make_field(values, rows, element_of_cell, nbr_columns, f)) return false;
    bool was_taken = false;
    if (!take_numbers(f, was_taken)) return false;
    if (!was_taken) mesh_.fields.push_back(std::move(f));
    return true;
}

bool vtk_fields::make_field(const dense1D<double>& values, std::size_t rows,
                            const id_list* element_of_cell, std::size_t nbr_columns,
                            field& result) const {
    const std::size_t n = rows == 0 ? 0 : values.size() / rows;
    bool is_tensor = rows == 9;
    for (std::size_t c = 0; c < n && is_tensor; ++c) {
        is_tensor = is_symmetric(values.begin() + c * rows);
    }
    constexpr std::array<std::uint8_t, 6> of_metric{0, 1, 4, 2, 5, 8};
    if (!result.values.resize(is_tensor ? of_metric.size() : rows, nbr_columns)) return false;
    for (std::size_t c = 0; c < n; ++c) {
        const std::size_t to = element_of_cell ? (*element_of_cell)[c] : c;
        if (to == no_id) continue;
        const double* const from = values.begin() + c * rows;
        double* const column = result.values.column(to);
        for (std::size_t r = 0; r < result.values.rows(); ++r) {
            column[r] = from[is_tensor ? of_metric[r] : r];
        }
    }
    return true;
}

bool vtk_fields::take_numbers(const field& f, bool& was_taken) {
    const bool at_nodes = f.at == field_place::nodes;
    dense1D<unsigned int>* numbers = nullptr;
    bool* has_numbers = nullptr;
    if (at_nodes && f.name == vtk_node_number_name) {
        numbers = &mesh_.node_numbers;
        has_numbers = &has_node_numbers_;
    } else if (!at_nodes && f.name == vtk_element_number_name) {
        numbers = &mesh_.element_numbers;
        has_numbers = &has_element_numbers_;
    } else if (!at_nodes && f.name == vtk_property_name) {
        numbers = &mesh_.pids;
        has_numbers = &has_properties_;
    }
    if (!numbers || *has_numbers || !are_whole_numbers(f.values)) return true;
    if (!numbers->resize(f.values.cols())) return false;
    for (std::size_t c = 0; c < f.values.cols(); ++c) {
        (*numbers)[c] = static_cast<unsigned int>(*f.values.column(c));
    }
    *has_numbers = was_taken = true;
    return true;
}

} // namespace kv7::tessmaker
