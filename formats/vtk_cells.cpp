#include "formats/vtk_cells.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "core/element_table.h"
#include "core/small_vectors.h"
#include "formats/mesh_readers.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form cell_dropped{remark_kind::lost, "left out", "left out", "no mesh element"};
constexpr remark_form points_joined{remark_kind::note, "joined to the cell ahead of it",
                                    "joined to the cells ahead of them",
                                    "the nodes of a quadratic element that are no corners"};

constexpr remark_form wedge_not_turned{remark_kind::note, "not turned", "not turned",
                                       "its triangle 0 1 2 faces in, as some programs have it"};

constexpr std::size_t most_nodes = 27;
using node_order = std::array<std::uint8_t, most_nodes>; // where each node stands in the cell

constexpr node_order as_in_cell{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                                14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26};
// Edges of triangles and tetrahedra are in VTK's cells 0-1, 1-2, 2-0, 0-3, 1-3, 2-3.
constexpr node_order triangle_6{0, 1, 2, 4, 5, 3};
constexpr node_order tetrahedron{0, 1, 3, 2, 8, 7, 4, 6, 5, 9};
// Edges of wedges are there 0-1, 1-2, 2-0, 3-4, 4-5, 5-3, 0-3, 1-4, 2-5.
constexpr node_order wedge{0, 2, 1, 3, 5, 4, 12, 14, 13, 7, 6, 8, 10, 9, 11, 17, 16, 15};
// The same for wedges that face the other way.
constexpr node_order wedge_as_it_is{0, 1, 2, 3, 4, 5, 12, 13, 14, 7, 8, 6, 10, 11, 9, 15, 16, 17};
constexpr node_order pixel{0, 1, 3, 2};
constexpr node_order voxel{0, 1, 3, 2, 4, 5, 7, 6};

struct cell_kind {
    unsigned int number;
    std::string_view name;
    element_type type = ET_UNKNOWN; // none for cells that are no elements
    node_order order = as_in_cell;
};

constexpr unsigned int poly_vertex = 2;
constexpr cell_kind cell_kinds[] = {
    {1, "vertex", ET_NODE},
    {poly_vertex, "poly vertex"},
    {3, "line", ET_BAR2},
    {4, "poly line"},
    {5, "triangle", ET_TRIA3},
    {6, "triangle strip"},
    {7, "polygon"},
    {8, "pixel", ET_QUAD4, pixel},
    {9, "quad", ET_QUAD4},
    {10, "tetra", ET_TETRA4, tetrahedron},
    {11, "voxel", ET_HEXA8, voxel},
    {12, "hexahedron", ET_HEXA8},
    {13, "wedge", ET_PENTA6, wedge},
    {14, "pyramid", ET_PYRA5},
    {21, "quadratic edge", ET_BAR3},
    {22, "quadratic triangle", ET_TRIA6, triangle_6},
    {23, "quadratic quad", ET_QUAD8},
    {24, "quadratic tetra", ET_TETRA10, tetrahedron},
    {25, "quadratic hexahedron", ET_HEXA20},
    {26, "quadratic wedge", ET_PENTA15, wedge},
    {27, "quadratic pyramid", ET_PYRA13},
    {28, "biquadratic quad", ET_QUAD9},
    {29, "triquadratic hexahedron", ET_HEXA27},
    {32, "biquadratic quadratic wedge", ET_PENTA18, wedge},
    {42, "polyhedron"},
};

// Null for a type that is not known.
const cell_kind* find_kind(std::uint64_t number) {
    for (const cell_kind& kind : cell_kinds) {
        if (kind.number == number) return &kind;
    }
    return nullptr;
}

// The type that a linear one becomes with `n` further nodes, as `vtk_output` splits it.
element_type type_with(element_type linear, std::size_t n) {
    for (const element_type type : {ET_BAR3, ET_TRIA6, ET_QUAD8, ET_QUAD9, ET_TETRA10, ET_PYRA14,
                                    ET_PENTA18, ET_HEXA20, ET_HEXA27}) {
        const element_shape& shape = shape_of(type);
        if (shape.linear == linear && shape.nbr_nodes - shape.nbr_base_nodes == n) return type;
    }
    return ET_UNKNOWN;
}

// Whether the triangle 0 1 2 of a wedge is counterclockwise seen from the other one.
bool faces_in(const mesh_filler& filler, const unsigned int* nodes) {
    std::array<const double*, 6> p{};
    for (std::size_t k = 0; k < p.size(); ++k) p[k] = filler.node(nodes[k]);
    vector<3> up;
    for (std::size_t r = 0; r < 3; ++r) {
        up[r] = (p[3][r] + p[4][r] + p[5][r]) - (p[0][r] + p[1][r] + p[2][r]);
    }
    return dot(cross(difference<3>(p[1], p[0]), difference<3>(p[2], p[0])), up) > 0.0;
}

bool is_symmetric(const double* t) { return t[1] == t[3] && t[2] == t[6] && t[5] == t[7]; }

} // namespace

int vtk_cells::add(std::uint64_t type, const unsigned int* nodes, std::size_t n, file_place at) {
    if (form_ == form::of_vtk_output && type == poly_vertex && join(nodes, n)) {
        report_.add(points_joined, "poly vertex", at);
        if (!elements_.push_back(no_id)) return out_of_memory;
        return add_held_back() ? 0 : out_of_memory;
    }
    if (!add_held_back()) return out_of_memory;
    const cell_kind* const kind = find_kind(type);
    if (!kind || kind->type == ET_UNKNOWN) {
        const std::string name =
            kind ? std::string(kind->name) : "cell type " + std::to_string(type);
        report_.add(cell_dropped, name, at);
        return elements_.push_back(no_id) ? 0 : out_of_memory;
    }
    const std::size_t nbr_nodes = shape_of(kind->type).nbr_nodes;
    if (n != nbr_nodes) {
        return report_.fail(file_malformed, at, 0,
                            "a " + std::string(kind->name) + " has " + std::to_string(nbr_nodes) +
                                " nodes, and this one " + std::to_string(n));
    }
    const bool is_wedge = shape_of(kind->type).linear == ET_PENTA6;
    const bool stands_as_here = is_wedge && has_wedge_as_here(kind->type, nodes);
    if (stands_as_here && n != nbr_base_nodes(ET_PENTA6)) {
        report_.add(wedge_not_turned, kind->name, at);
    }
    const node_order& order = stands_as_here ? wedge_as_it_is : kind->order;
    for (std::size_t k = 0; k < n; ++k) nodes_[k] = nodes[order[k]];
    held_back_ = kind->type;
    if (!elements_.push_back(static_cast<unsigned int>(filler_.nbr_elements()))) {
        return out_of_memory;
    }
    return form_ == form::of_vtk_output || add_held_back() ? 0 : out_of_memory;
}

// Linear wedges face out in files of all programs but ours. Of quadratic ones some programs write
// the triangle 0 1 2 facing in: they are taken so that they are not inside out.
bool vtk_cells::has_wedge_as_here(element_type type, const unsigned int* nodes) const {
    return type == ET_PENTA6 ? form_ == form::of_vtk_output : faces_in(filler_, nodes);
}

// Joins nodes to the cell that was held back. False if they don't make an element together.
bool vtk_cells::join(const unsigned int* nodes, std::size_t n) {
    const element_type linear = held_back_;
    const element_type type = linear == ET_UNKNOWN ? ET_UNKNOWN : type_with(linear, n);
    if (type == ET_UNKNOWN) return false;
    std::copy_n(nodes, n, nodes_.begin() + shape_of(linear).nbr_nodes);
    held_back_ = type;
    return true;
}

bool vtk_cells::add_held_back() {
    if (held_back_ == ET_UNKNOWN) return true;
    const element_type type = held_back_;
    held_back_ = ET_UNKNOWN;
    unsigned int* const element = filler_.add_element(type, 1);
    if (element) std::copy_n(nodes_.begin(), shape_of(type).nbr_nodes, element);
    return element != nullptr;
}

bool make_vtk_field(const dense1D<double>& values, std::size_t rows, const id_list* element_of_cell,
                    std::size_t nbr_columns, field& result) {
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

} // namespace kv7::tessmaker
