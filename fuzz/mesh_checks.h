// What the targets that read meshes with a report share.
#ifndef TESSMAKER_FUZZ_MESH_CHECKS_H
#define TESSMAKER_FUZZ_MESH_CHECKS_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace fuzz {

inline void require(bool condition) {
    if (!condition) std::abort();
}

// Sets ascend, and what they name is there.
inline void check_sets(const std::vector<kv7::tessmaker::named_set>& sets, std::size_t size) {
    for (const kv7::tessmaker::named_set& set : sets) {
        for (std::size_t i = 0; i < set.ids.size(); ++i) {
            require(set.ids[i] < size);
            require(i == 0 || set.ids[i - 1] < set.ids[i]);
        }
    }
}

// Coordinates are numbers, runs are those of plain types with all their nodes, and every field has
// a column for each node or element.
inline void check_mesh(const kv7::tessmaker::mesh& mesh) {
    const auto nbr_nodes = static_cast<unsigned int>(mesh.pos.cols());
    const std::size_t nbr_elements = mesh.connect.cols();
    require(mesh.pos.empty() || mesh.pos.rows() == 3);
    for (std::size_t c = 0; c < nbr_nodes; ++c) {
        for (std::size_t r = 0; r < 3; ++r) require(std::isfinite(mesh.pos(r, c)));
    }
    require(mesh.pids.size() == nbr_elements);
    require(mesh.indices.size() == mesh.types.size() + 1);
    require(mesh.indices[mesh.types.size()] == nbr_elements);
    for (std::size_t k = 0; k < mesh.types.size(); ++k) {
        const auto type = static_cast<kv7::element_type>(mesh.types[k]);
        const unsigned int begin = mesh.indices[k];
        require(begin < mesh.indices[k + 1]);
        const auto run = mesh.connect.sub_matrix(0, begin, kv7::tessmaker::nbr_nodes(type),
                                                 mesh.indices[k + 1] - begin);
        require(kv7::tessmaker::check_IDs(run, type, nbr_nodes));
    }
    for (const kv7::tessmaker::field& field : mesh.fields) {
        const bool is_at_nodes = field.at == kv7::tessmaker::field_place::nodes;
        require(field.values.cols() == (is_at_nodes ? nbr_nodes : nbr_elements));
    }
    check_sets(mesh.node_sets, nbr_nodes);
    check_sets(mesh.element_sets, nbr_elements);
}

inline void check_report(int result, const kv7::tessmaker::file_report& report) {
    require((result < 0) == (report.error() != nullptr));
    for (const kv7::tessmaker::keyword_count& count : report.counts()) {
        require(count.read <= count.seen);
    }
}

// Reads the bytes as a file of a format. Checks that a mesh is whole, that a failure leaves none
// and says why, and that keywords were not read more often than seen.
inline void read_bytes(const std::uint8_t* data, std::size_t size,
                       kv7::tessmaker::file_format format) {
    if (size == 0) return;
    std::vector<std::uint8_t> bytes(data, data + size);
    std::FILE* const file = fmemopen(bytes.data(), size, "rb");
    require(file != nullptr);
    kv7::tessmaker::mesh mesh;
    kv7::tessmaker::file_report report;
    const int result = kv7::tessmaker::read_mesh(file, format, mesh, report);
    std::fclose(file);
    check_report(result, report);
    if (result == 0) {
        check_mesh(mesh);
    } else {
        require(mesh.pos.empty() && mesh.connect.empty() && mesh.fields.empty() &&
                mesh.element_sets.empty());
    }
}

} // namespace fuzz

#endif
