// Reads any bytes as a file of fields beside a mesh of three nodes and two elements.
#include <cstddef>
#include <cstdint>

#include "formats/file_calls.h"
#include "mesh_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<std::uint8_t> bytes(data, data + size);
    std::FILE* const file = fmemopen(bytes.data(), size, "rb");
    fuzz::require(file != nullptr);
    kv7::tessmaker::mesh mesh;
    mesh.pos = kv7::dense2D<double>(3, 3, 0.0);
    mesh.connect = kv7::dense2D<unsigned int>(1, 2, 0U);
    std::vector<kv7::tessmaker::field> fields;
    kv7::tessmaker::file_report report;
    const auto read = [&](kv7::tessmaker::report_builder& builder) {
        return kv7::tessmaker::read_medit_fields(file, "name", mesh, fields, builder);
    };
    const auto format = kv7::tessmaker::file_format::medit;
    const int result = kv7::tessmaker::with_report(report, "", format, read);
    std::fclose(file);
    fuzz::check_report(result, report);
    for (const kv7::tessmaker::field& field : fields) {
        const bool is_at_nodes = field.at == kv7::tessmaker::field_place::nodes;
        if (result == 0) fuzz::require(field.values.cols() == (is_at_nodes ? 3U : 2U));
    }
    return 0;
}
