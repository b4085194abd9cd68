// The arrays of a mesh while it is read, node by node and element by element.
#ifndef TESSMAKER_FORMATS_MESH_FILLER_H
#define TESSMAKER_FORMATS_MESH_FILLER_H

#include <cstddef>
#include <optional>
#include <utility>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/growing_arrays.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// Fills an empty mesh, which nobody else may use before `finish`.
class mesh_filler {
public:
    explicit mesh_filler(mesh& result)
        : mesh_(result), nodes_(std::in_place, result.pos),
          elements_(std::in_place, result.connect) {}

    std::size_t nbr_nodes() const { return nodes_->size(); }
    std::size_t nbr_elements() const { return elements_->size(); }

    // The coordinates of a node that was added.
    const double* node(std::size_t id) const { return mesh_.pos.column(id); }

    // False when memory fails or IDs run out.
    bool add_node(const double* xyz) { return nodes_->size() < no_id && nodes_->append(xyz, 3); }

    // Adds an element of a plain type, whose nodes are to be set. Null when memory fails or IDs run
    // out.
    unsigned int* add_element(element_type type, unsigned int pid) {
        const std::size_t c = elements_->size();
        if (c == no_id || !mesh_.pids.push_back(pid)) return nullptr;
        if (type != last_ && !begin_run(type, c)) return nullptr;
        return elements_->append(shape_of(type).nbr_nodes);
    }
    // The first of the elements from `begin` to `end` with a node that is not there; `end` if there
    // is none.
    std::size_t find_without_nodes(std::size_t begin, std::size_t end) const {
        const std::size_t rows = mesh_.connect.rows();
        for (std::size_t c = begin; c < end; ++c) {
            const unsigned int* const nodes = mesh_.connect.column(c);
            for (std::size_t r = 0; r < rows; ++r) {
                if (nodes[r] >= nbr_nodes() && nodes[r] != no_id) return c;
            }
        }
        return end;
    }

    // Completes the mesh; nothing may be added behind. False when memory fails.
    bool finish() {
        const auto n = static_cast<unsigned int>(elements_->size());
        nodes_.reset();
        elements_.reset();
        return mesh_.indices.push_back(n);
    }

private:
    bool begin_run(element_type type, std::size_t c) {
        last_ = type;
        return mesh_.types.push_back(type) && mesh_.indices.push_back(static_cast<unsigned int>(c));
    }

    mesh& mesh_;
    std::optional<appended_columns<double>> nodes_;
    std::optional<element_columns> elements_;
    element_type last_ = ET_UNKNOWN;
};

} // namespace kv7::tessmaker

#endif
