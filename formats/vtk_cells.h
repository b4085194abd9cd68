// Cells of VTK's files, which become elements.
#ifndef TESSMAKER_FORMATS_VTK_CELLS_H
#define TESSMAKER_FORMATS_VTK_CELLS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "formats/file_report.h"
#include "formats/mesh_filler.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// Takes cells one by one, in the order of their file.
class vtk_cells {
public:
    enum class form {
        of_vtk,        // linear wedges have the triangle 0 1 2 facing out
        of_write_mesh, // quadratic ones, too
        // What `vtk_output` writes: wedges as they are here; the nodes of a quadratic element that
        // are no corners form a set of points that follows the linear cell.
        of_vtk_output
    };

    vtk_cells(mesh_filler& filler, report_builder& report, form cells_are)
        : filler_(filler), report_(report), form_(cells_are) {}

    std::size_t size() const { return elements_.size(); }
    std::size_t nbr_elements() const { return filler_.nbr_elements(); }

    // Adds a cell. Returns 0 or a code, -199 without telling of it.
    int add(std::uint64_t type, const unsigned int* nodes, std::size_t n, file_place at);
    // Must follow the last cell. False when memory fails.
    bool finish() { return add_held_back(); }

    // The element of each cell; the absent ID for one that was left out. For a set of points that
    // was joined to the cell ahead of it, too.
    const id_list& elements() const { return elements_; }

private:
    bool has_wedge_as_here(element_type type, const unsigned int* nodes) const;
    bool join(const unsigned int* nodes, std::size_t n);
    bool add_held_back();

    mesh_filler& filler_;
    report_builder& report_;
    form form_;
    id_list elements_;
    // A linear cell to which nodes may be joined.
    element_type held_back_ = ET_UNKNOWN; // its type; unknown if there is none
    std::array<unsigned int, 27> nodes_{};
};

} // namespace kv7::tessmaker

#endif
