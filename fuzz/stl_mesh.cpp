// Reads any bytes as an STL file with all that comes with it. Checks that a mesh is whole, that a
// failure leaves none and says why, and that keywords were not read more often than seen.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void check_mesh(const kv7::tessmaker::mesh& mesh) {
    const auto nbr_nodes = static_cast<unsigned int>(mesh.pos.cols());
    const std::size_t nbr_elements = mesh.connect.cols();
    require(kv7::tessmaker::check_IDs(mesh.connect, kv7::ET_TRIA3, nbr_nodes));
    require(mesh.pids.size() == nbr_elements);
    require(mesh.indices.size() == mesh.types.size() + 1);
    for (const kv7::tessmaker::named_set& set : mesh.element_sets) {
        for (std::size_t i = 0; i < set.ids.size(); ++i) {
            require(set.ids[i] < nbr_elements);
            require(i == 0 || set.ids[i - 1] < set.ids[i]);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<std::uint8_t> bytes(data, data + size);
    std::FILE* const file = fmemopen(bytes.data(), size, "rb");
    require(file != nullptr);
    kv7::tessmaker::mesh mesh;
    kv7::tessmaker::file_report report;
    const auto format = kv7::tessmaker::file_format::stl_text;
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
    return 0;
}
