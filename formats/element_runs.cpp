#include "formats/element_runs.h"

#include <algorithm>
#include <bit>

#include "core/coordinates.h"
#include "core/ids.h"
#include "formats/text_scanning.h"

namespace kv7::tessmaker {

namespace {

// The rows of `connect` that a run of this type takes.
std::size_t rows_of_run(element_type type, std::size_t rows) {
    // Kept: the limits of what a mixed run may span. A solid one of more than 8 rows is refused.
    if (type == ET_FACE_MIX) return std::min<std::size_t>(4, rows);
    if (type == ET_SOLID_MIX) return std::min<std::size_t>(20, rows);
    return nbr_nodes(type);
}

bool is_valid_run(const dense2D<unsigned int>& connect, std::size_t begin, std::size_t end,
                  element_type type) {
    if (begin > end || end > connect.cols()) return false;
    const std::size_t rows = rows_of_run(type, connect.rows());
    if (begin == end || rows == 0) return true;
    // A column of a mixed run is told by rows that an array of one shape doesn't have.
    if (rows > connect.rows() || resolve_mixed_type(rows, type) != type) return false;
    return check_IDs(connect.sub_matrix(0, begin, rows, end - begin), type, no_id);
}

} // namespace

void clear_all(dense2D<double>& pos, dense2D<unsigned int>& connect, id_list& indices,
               dense1D<int, 8>& types, id_list& pids) {
    pos.clear();
    connect.clear();
    indices.clear();
    types.clear();
    pids.clear();
}

std::FILE* open_for_good(const char* filename, const char* mode) {
    opened_file file{filename, mode};
    return file.leave_open();
}

int check_runs(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
               const id_list& indices, const dense1D<int, 8>& types, const id_list& pids) {
    if (!is_2d_or_3d(pos)) return -2;
    if (indices.size() != types.size() + 1) return -5;
    if (pids.size() != connect.cols()) return -6;
    for (std::size_t k = 0; k < types.size(); ++k) {
        const auto type = static_cast<element_type>(types[k]);
        if (!is_valid_run(connect, indices[k], indices[k + 1], type)) return -3;
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

void note_type(element_type type, unsigned int c, element_type& last, id_list& indices,
               dense1D<int, 8>& types) {
    if (last == ET_UNKNOWN) {
        types.push_back(type);
    } else if (type != last) {
        types.push_back(type);
        indices.push_back(c);
    }
    last = type;
}

bool append_element(const unsigned int* nodes, std::size_t n, dense2D<unsigned int>& connect) {
    const std::size_t cols = connect.cols();
    const std::size_t rows = std::max(connect.rows(), n);
    const std::size_t ld = connect.empty() ? rows : connect.ld();
    if (connect.capacity() / ld <= cols && !connect.reserve(rows, std::bit_ceil(cols + 1), 1)) {
        return false;
    }
    const bool fits = rows == connect.rows() ? connect.resize(rows, cols + 1)
                                             : connect.resize(rows, cols + 1, no_id);
    if (!fits) return false;
    unsigned int* const column = connect.column(cols);
    std::fill(std::copy_n(nodes, n, column), column + rows, no_id);
    return true;
}

dense2D<unsigned int> view_of_run(dense2D<unsigned int>& connect, const id_list& indices,
                                  std::size_t k, std::size_t rows) {
    return connect.sub_matrix(0, indices[k], rows, indices[k + 1] - indices[k]);
}

} // namespace kv7::tessmaker
