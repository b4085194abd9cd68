// Reads any bytes as a mesh file and checks what must hold whatever they are.
#ifndef TESSMAKER_FUZZ_READ_BYTES_H
#define TESSMAKER_FUZZ_READ_BYTES_H

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

// Nodes are numbers, runs are those of plain types with all their nodes, and sets ascend.
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
    for (const kv7::tessmaker::named_set& set : mesh.element_sets) {
        for (std::size_t i = 0; i < set.ids.size(); ++i) {
            require(set.ids[i] < nbr_elements);
            require(i == 0 || set.ids[i - 1] < set.ids[i]);
        }
    }
}

// A failure leaves no mesh and says why, and keywords are not read more often than seen.
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
    if (result == 0) {
        require(report.error() == nullptr);
        check_mesh(mesh);
    } else {
        require(report.error() != nullptr);
        require(mesh.pos.empty() && mesh.connect.empty() && mesh.element_sets.empty());
    }
    for (const kv7::tessmaker::keyword_count& count : report.counts()) {
        require(count.read <= count.seen);
    }
}

} // namespace fuzz

#endif
