// Elements of several types in one array, in runs of equal type: what the NASTRAN and the FEMAP
// functions share.
#ifndef TESSMAKER_FORMATS_ELEMENT_RUNS_H
#define TESSMAKER_FORMATS_ELEMENT_RUNS_H

#include <cstddef>
#include <cstdio>

#include "core/element_table.h"
#include "core/ids.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// What goes with a connectivity: its runs, and a property for each column.
struct element_runs {
    id_list indices;
    dense1D<int, 8> types;
    id_list pids;
};

// Empties all that a reader fills.
void clear_all(dense2D<double>& pos, dense2D<unsigned int>& connect, id_list& indices,
               dense1D<int, 8>& types, id_list& pids);

// Opens a file whose stream stays open. Kept: the functions that read or write runs don't close
// what they open by name. Null when the file can't be opened.
std::FILE* open_for_good(const char* filename, const char* mode);

// Checks what is to be written: 0; -2: `pos` has neither 2 nor 3 rows; -5: `indices` has not one
// entry more than `types`; -6: `pids` has not one entry for each column; -3: a run that ends before
// it begins or reaches beyond `connect`, has fewer rows than its type needs, fails `check_IDs`, or
// is mixed by its type and uniform by its rows. A run without columns is right whatever its type.
int check_runs(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
               const id_list& indices, const dense1D<int, 8>& types, const id_list& pids);

// Calls `visit(type, c)` for each element of runs that have been checked, in their order: the plain
// type, that of the column itself in a mixed run, and the column.
template <class Visit>
void for_each_element(const dense2D<unsigned int>& connect, const id_list& indices,
                      const dense1D<int, 8>& types, const Visit& visit) {
    for (std::size_t k = 0; k < types.size(); ++k) {
        const auto type = static_cast<element_type>(types[k]);
        for (std::size_t c = indices[k]; c < indices[k + 1]; ++c) {
            visit(column_type(type, connect.column(c)), c);
        }
    }
}

// One run of `cols` columns, all with property 1. False when memory fails.
bool make_single_run(std::size_t cols, element_type type, element_runs& runs);

// Notes that the element in column `c`, read after one of type `last`, or after none if that is
// ET_UNKNOWN, is of type `type`: a new run begins where the two differ. `indices` holds a 0
// already.
void note_type(element_type type, unsigned int c, element_type& last, id_list& indices,
               dense1D<int, 8>& types);

// Appends an element of `n` nodes. The array gets more rows if it needs them; entries below the
// nodes of an element are absent IDs. False when memory fails.
bool append_element(const unsigned int* nodes, std::size_t n, dense2D<unsigned int>& connect);

// The first `rows` rows of run `k` of arrays that have been read.
dense2D<unsigned int> view_of_run(dense2D<unsigned int>& connect, const id_list& indices,
                                  std::size_t k, std::size_t rows);

} // namespace kv7::tessmaker

#endif
