// Meshes whose elements form runs of equal type: what the NASTRAN and the FEMAP functions share.
#ifndef TESSMAKER_FORMATS_ELEMENT_RUNS_H
#define TESSMAKER_FORMATS_ELEMENT_RUNS_H

#include <cstddef>

#include "core/element_table.h"
#include "core/ids.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

using type_list = dense1D<int, 8>;

// The caller's arrays of a mesh in runs (formats.h says what each holds). `Reference<T>` is `T&` or
// `const T&`.
template <template <class> class Reference> struct mesh_in_runs {
    Reference<dense2D<double>> pos;
    Reference<id_matrix> connect;
    Reference<id_list> indices;
    Reference<type_list> types;
    Reference<id_list> pids;
};

template <class T> using mutable_reference = T&;
template <class T> using const_reference = const T&;
using mesh_to_read = mesh_in_runs<mutable_reference>;
using mesh_to_write = mesh_in_runs<const_reference>;

// Runs of a connectivity, for the functions whose callers pass none.
struct element_runs {
    id_list indices;
    type_list types;
    id_list pids;
};

// Empties all five arrays.
void clear_all(const mesh_to_read& mesh);

// Checks a mesh to be written.
//  0  it is valid
// -2  `pos` has neither 2 nor 3 rows
// -5  `indices` has not one entry more than `types`
// -6  `pids` has not one entry per column
// -3  a run ends before it begins, reaches beyond `connect`, has fewer rows than its type needs,
//     fails `check_IDs`, or has a mixed type with rows that leave a single shape
// A run without columns is valid whatever its type.
int check_runs(const mesh_to_write& mesh);

// Calls `visit(type, c, nodes)` for each element of a valid mesh, run by run: its plain type, also
// in mixed runs, its column and the nodes there.
template <class Visit> void for_each_element(const mesh_to_write& mesh, const Visit& visit) {
    for (std::size_t k = 0; k < mesh.types.size(); ++k) {
        const auto type = static_cast<element_type>(mesh.types[k]);
        const std::size_t end = mesh.indices[k + 1];
        std::size_t c = mesh.indices[k];
        const std::size_t ld = mesh.connect.ld();
        const unsigned int* nodes = mesh.connect.column(c);
        for (; c < end; ++c, nodes += ld) visit(column_type(type, nodes), c, nodes);
    }
}

// Makes one run of `cols` columns, all with property 1. False when memory fails.
bool make_single_run(std::size_t cols, element_type type, element_runs& runs);

// Adds the element in column `c` to the runs: the last run goes on if its type, `last`, is that of
// the element, otherwise a new run begins. `last` is ET_UNKNOWN before the first element, and
// becomes the element's type. `indices` holds a 0 already.
void add_to_runs(element_type type, unsigned int c, element_type& last, const mesh_to_read& mesh);

// A view of the first `rows` rows of run `k`.
id_matrix view_of_run(id_matrix& connect, const id_list& indices, std::size_t k, std::size_t rows);

} // namespace kv7::tessmaker

#endif
