#include "formats/vtk_cells.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "core/element_table.h"
#include "core/small_vectors.h"
#include "formats/mesh_readers.h"
#include "formats/vtk_cell_orders.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form cell_dropped{remark_kind::lost, "left out", "left out", "no mesh element"};
constexpr remark_form points_joined{remark_kind::note, "joined to the cell ahead of it",
                                    "joined to the cells ahead of them",
                                    "the nodes of a quadratic element that are no corners"};

constexpr remark_form wedge_not_turned{remark_kind::note, "not turned", "not turned",
                                       "its triangle 0 1 2 faces in, as some programs have it"};

// Orders of other cells: where each node of the element stands in them.
constexpr vtk_order pixel{0, 1, 3, 2};
constexpr vtk_order voxel{0, 1, 3, 2, 4, 5, 7, 6};

struct cell_kind {
    std::string_view name{};        // none for types that are not known
    element_type type = ET_UNKNOWN; // none for cells that are no elements
    vtk_order order{};
};

constexpr unsigned int poly_vertex = 2;
constexpr std::size_t nbr_cell_types = 43;

// The kinds by their numbers.
consteval std::array<cell_kind, nbr_cell_types> make_cell_kinds() {
    std::array<cell_kind, nbr_cell_types> kinds{};
    kinds[poly_vertex].name = "poly vertex";
    kinds[4].name = "poly line";
    kinds[6].name = "triangle strip";
    kinds[7].name = "polygon";
    kinds[8] = {"pixel", ET_QUAD4, pixel};
    kinds[11] = {"voxel", ET_HEXA8, voxel};
    kinds[42].name = "polyhedron";
    for (const element_type type : all_element_types) {
        const vtk_cell& cell = vtk_cell_table[type];
        if (cell.cell_type == 0) continue;
        kinds[cell.cell_type] = {cell.name, type,
                                 vtk_orders::inverse(cell.nodes, shape_of(type).nbr_nodes)};
    }
    return kinds;
}
constexpr std::array<cell_kind, nbr_cell_types> cell_kinds = make_cell_kinds();

// Of all wedges whose corners have the order of ours.
constexpr vtk_order wedge_as_it_is = vtk_orders::inverse(
    vtk_orders::order(ET_PENTA18, vtk_orders::in_order, vtk_orders::wedge_edges), 18);

// Null for a type that is not known.
const cell_kind* find_kind(std::uint64_t number) {
    if (number >= nbr_cell_types || cell_kinds[number].name.empty()) return nullptr;
    return &cell_kinds[number];
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
    const vtk_order& order = stands_as_here ? wedge_as_it_is : kind->order;
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
    if (type == ET_PENTA6) return form_ == form::of_vtk_output;
    return form_ != form::of_write_mesh && faces_in(filler_, nodes);
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

} // namespace kv7::tessmaker
