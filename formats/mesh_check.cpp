#include "formats/mesh_check.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "core/coordinates.h"
#include "core/ids.h"
#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

namespace {

bool are_finite(const dense2D<double>& pos) {
    const std::size_t rows = pos.rows();
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        const double* const p = pos.column(c);
        for (std::size_t r = 0; r < rows; ++r) {
            if (!std::isfinite(p[r])) return false;
        }
    }
    return true;
}

bool have_places(const mesh& m) {
    const dense1D<unsigned int>& indices = m.indices;
    const std::size_t cols = m.connect.cols();
    if (indices.empty()) return m.types.empty() && cols == 0;
    if (indices.size() != m.types.size() + 1) return false;
    return indices[0] == 0 && indices[m.types.size()] == cols &&
           std::is_sorted(indices.begin(), indices.end());
}

bool have_known_types(const mesh& m) {
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        if (m.indices[k] == m.indices[k + 1]) continue;
        const int type = m.types[k];
        if (type <= ET_UNKNOWN || type >= static_cast<int>(nbr_element_types)) return false;
        if (m.connect.rows() < nbr_nodes(static_cast<element_type>(type))) return false;
    }
    return true;
}

// Of runs that have passed the checks above.
bool have_nodes(const mesh& m) {
    const unsigned int limit = id_limit(m.pos);
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const std::size_t begin = m.indices[k];
        const std::size_t end = m.indices[k + 1];
        if (begin == end) continue;
        const auto type = static_cast<element_type>(m.types[k]);
        const id_matrix run = m.connect.sub_matrix(0, begin, nbr_nodes(type), end - begin);
        if (!check_IDs(run, type, limit)) return false;
    }
    return true;
}

bool has_size(const dense1D<unsigned int>& numbers, std::size_t size) {
    return numbers.empty() || numbers.size() == size;
}

bool are_ascending(const std::vector<named_set>& sets, std::size_t size) {
    for (const named_set& set : sets) {
        const dense1D<unsigned int>& ids = set.ids;
        for (std::size_t k = 1; k < ids.size(); ++k) {
            if (ids[k - 1] >= ids[k]) return false;
        }
        if (!ids.empty() && ids[ids.size() - 1] >= size) return false;
    }
    return true;
}

bool have_columns(const mesh& m) {
    for (const field& f : m.fields) {
        const std::size_t size = f.at == field_place::nodes ? m.pos.cols() : m.connect.cols();
        if (f.values.cols() != size || (f.values.rows() == 0 && size != 0)) return false;
    }
    return true;
}

} // namespace

const char* fault_of(const mesh& m) {
    const std::size_t nbr_nodes = m.pos.cols();
    const std::size_t nbr_elements = m.connect.cols();
    if (nbr_nodes != 0 && !is_2d_or_3d(m.pos)) return "nodes must have 2 or 3 coordinates";
    if (!are_finite(m.pos)) return "a coordinate is no finite number";
    if (!have_places(m)) return "the runs of elements don't fit the connectivity";
    if (!have_known_types(m)) return "the type of a run is unknown, or needs more rows";
    if (!have_nodes(m)) return "a node of an element is not there";
    if (!has_size(m.pids, nbr_elements)) return "not every element has a property";
    if (!has_size(m.node_numbers, nbr_nodes)) return "not every node has a number";
    if (!has_size(m.element_numbers, nbr_elements)) return "not every element has a number";
    if (!are_ascending(m.node_sets, nbr_nodes))
        return "a set of nodes is not ascending or too large";
    if (!are_ascending(m.element_sets, nbr_elements)) {
        return "a set of elements is not ascending or too large";
    }
    if (!have_columns(m)) return "a field has not the columns that its place asks for";
    return nullptr;
}

} // namespace kv7::tessmaker
