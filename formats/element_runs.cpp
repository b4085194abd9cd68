#include "formats/element_runs.h"

#include <algorithm>

#include "core/coordinates.h"
#include "core/element_table.h"
#include "core/ids.h"
#include "core/outputs.h"

namespace kv7::tessmaker {

namespace {

// The number of rows of `connect` that belong to a run of this type.
std::size_t rows_of_run(element_type type, std::size_t rows) {
    // Kept: these limits, though check_IDs refuses mixed solids of more than 8 rows.
    if (type == ET_FACE_MIX) return std::min<std::size_t>(4, rows);
    if (type == ET_SOLID_MIX) return std::min<std::size_t>(20, rows);
    return nbr_nodes(type);
}

bool is_valid_run(const id_matrix& connect, std::size_t begin, std::size_t end, element_type type) {
    if (begin > end || end > connect.cols()) return false;
    const std::size_t rows = rows_of_run(type, connect.rows());
    if (begin == end || rows == 0) return true;
    // The shape of a mixed column is told by rows that arrays of few rows don't have.
    if (rows > connect.rows() || resolve_mixed_type(rows, type) != type) return false;
    return check_IDs(connect.sub_matrix(0, begin, rows, end - begin), type, no_id);
}

} // namespace

void clear_all(const mesh_to_read& mesh) {
    clear_outputs(outputs{mesh.pos, mesh.connect, mesh.indices, mesh.types, mesh.pids}, inputs{});
}

int check_runs(const mesh_to_write& mesh) {
    if (!is_2d_or_3d(mesh.pos)) return -2;
    if (mesh.indices.size() != mesh.types.size() + 1) return -5;
    if (mesh.pids.size() != mesh.connect.cols()) return -6;
    for (std::size_t k = 0; k < mesh.types.size(); ++k) {
        const auto type = static_cast<element_type>(mesh.types[k]);
        if (!is_valid_run(mesh.connect, mesh.indices[k], mesh.indices[k + 1], type)) return -3;
    }
    return 0;
}

bool make_single_run(std::size_t cols, element_type type, element_runs& runs) {
    runs.indices.clear();
    runs.types.clear();
    runs.pids.clear();
    return runs.indices.push_back(0) && runs.indices.push_back(static_cast<unsigned int>(cols)) &&
           runs.types.push_back(type) && runs.pids.push_back_n(1, cols);
}

void add_to_runs(element_type type, unsigned int c, element_type& last, const mesh_to_read& mesh) {
    if (last == ET_UNKNOWN) {
        mesh.types.push_back(type);
    } else if (type != last) {
        mesh.types.push_back(type);
        mesh.indices.push_back(c);
    }
    last = type;
}

id_matrix view_of_run(id_matrix& connect, const id_list& indices, std::size_t k, std::size_t rows) {
    return connect.sub_matrix(0, indices[k], rows, indices[k + 1] - indices[k]);
}

} // namespace kv7::tessmaker
