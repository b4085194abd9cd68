#include "tessmaker/element_type.h"

#include <algorithm>

#include "core/column_runs.h"
#include "core/element_table.h"
#include "core/ids.h"

namespace kv7::tessmaker {

namespace {

// Whether `is_bad` is false for all entries. Looks at whole blocks, without a branch per entry:
// that is faster than stopping at the first bad one.
template <class IsBad> bool none_bad(const unsigned int* ids, std::size_t n, IsBad is_bad) {
    constexpr std::size_t block = 1024;
    for (std::size_t begin = 0; begin < n; begin += block) {
        const std::size_t end = std::min(n, begin + block);
        unsigned int bad = 0;
        for (std::size_t i = begin; i < end; ++i) bad |= is_bad(ids[i]) ? 1U : 0U;
        if (bad != 0) return false;
    }
    return true;
}

bool all_below(const unsigned int* ids, std::size_t n, unsigned int limit) {
    return none_bad(ids, n, [limit](unsigned int id) { return id >= limit; });
}

// The same, but the absent ID passes: adding 1 wraps it to 0.
bool all_below_or_absent(const unsigned int* ids, std::size_t n, unsigned int limit) {
    return none_bad(ids, n, [limit](unsigned int id) { return id + 1U > limit; });
}

bool face_column_ok(const unsigned int* column, unsigned int limit) {
    return all_below(column, 3, limit) && (column[3] == no_id || column[3] < limit);
}

bool solid_column_ok(const unsigned int* column, unsigned int limit) {
    if (!all_below(column, 4, limit)) return false;
    std::size_t nbr_present = 4;
    while (nbr_present < 7 && column[nbr_present] != no_id) ++nbr_present;
    if (nbr_present == 7) return all_below(column + 4, 4, limit);
    if (!all_below(column + 4, nbr_present - 4, limit)) return false;
    for (std::size_t r = nbr_present + 1; r < 8; ++r) {
        if (column[r] != no_id) return false;
    }
    return true;
}

template <class ColumnCheck>
bool all_columns(const dense2D<unsigned int>& connect, ColumnCheck column_ok) {
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        if (!column_ok(connect.column(c))) return false;
    }
    return true;
}

} // namespace

unsigned int element_dim(element_type type) { return shape_of(type).dim; }
unsigned int nbr_nodes(element_type type) { return shape_of(type).nbr_nodes; }
unsigned int nbr_base_nodes(element_type type) { return shape_of(type).nbr_base_nodes; }
unsigned int nbr_boundaries(element_type type) { return shape_of(type).nbr_boundaries; }

const char* version() { return "5.4.1.0"; }

bool check_IDs(const id_list& nodes, unsigned int limit) {
    return limit == no_id || all_below_or_absent(nodes.data(), nodes.size(), limit);
}

bool check_IDs(const dense2D<unsigned int>& connect, unsigned int limit) {
    return limit == no_id || all_runs(connect, [limit](const unsigned int* ids, std::size_t n) {
               return all_below_or_absent(ids, n, limit);
           });
}

bool check_IDs(const dense2D<unsigned int>& connect, element_type type, unsigned int limit) {
    const std::size_t rows = connect.rows();
    if (rows * connect.cols() == 0) return true;
    type = resolve_mixed_type(rows, type);
    if (rows != nbr_nodes(type)) return false;
    switch (type) {
    case ET_FACE_MIX:
        return all_columns(connect,
                           [limit](const unsigned int* c) { return face_column_ok(c, limit); });
    case ET_SOLID_MIX:
        return all_columns(connect,
                           [limit](const unsigned int* c) { return solid_column_ok(c, limit); });
    default:
        return all_runs(connect, [limit](const unsigned int* ids, std::size_t n) {
            return all_below(ids, n, limit);
        });
    }
}

} // namespace kv7::tessmaker
