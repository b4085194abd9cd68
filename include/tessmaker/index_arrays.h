// Arrays of IDs: the largest ID, renumbering, shifting, permuting, sorting by value, matching one
// list against another, listing the distinct IDs.
//
//   ID            number of a node or an element, counted from 0
//   absent ID     0xFFFFFFFF: no node, no element; each function says whether it skips or keeps it
//   list          IDs in a `dense1D<unsigned int, 8>`
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   range         `begin`, `end`: a plain array of connectivities, `end` behind the last
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_INDEX_ARRAYS_H
#define TESSMAKER_INDEX_ARRAYS_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// The largest ID that isn't the absent ID. The absent ID for an empty array, 0 for an array that
// holds only absent IDs.
TESSMAKER_API unsigned int max_ID(const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API unsigned int max_ID(const dense2D<unsigned int>& connect);

// Replaces each ID below new_IDs.size() by new_IDs[ID], which may be the absent ID. All others
// stay.
TESSMAKER_API void change_indices(dense1D<unsigned int, 8>& nodes,
                                  const dense1D<unsigned int, 8>& new_IDs);
TESSMAKER_API void change_indices(dense2D<unsigned int>& connect,
                                  const dense1D<unsigned int, 8>& new_IDs);

// Adds `shift` to each ID, modulo 2^32. Absent IDs stay in a list and under ET_FACE_MIX and
// ET_SOLID_MIX; under any other type they are shifted like the rest.
//
// Returns 0.
TESSMAKER_API int shift_indices(dense1D<unsigned int, 8>& nodes, int shift);
TESSMAKER_API int shift_indices(dense2D<unsigned int>& connect, int shift, element_type type);

// Moves the value at index i to index perm[i]. If perm[i] is i or out of range, nothing is moved;
// if two entries have the same target, the later one wins; a position that is no target keeps its
// value. Only the entries up to the length of the shorter array count.
//
// Returns 0, or
//   -199  out of memory; `values` is unchanged
TESSMAKER_API int permutation(dense1D<unsigned int, 8>& values,
                              const dense1D<unsigned int, 8>& perm);
TESSMAKER_API int permutation(dense1D<double, 8>& values, const dense1D<unsigned int, 8>& perm);

// Sorts indices by value, stably. Absent IDs are left out. Time and memory grow with the largest
// value.
//
//   values     the values
//   order      out: the indices i with values[i] == v are order[addresses[v]] to
//              order[addresses[v + 1] - 1], ascending
//   addresses  out: max_ID(values) + 2 entries; a single 0 for an empty list
//
// Returns 0, or
//   -199  out of memory; both outputs are empty
TESSMAKER_API int get_sorted_order(const dense1D<unsigned int, 8>& values,
                                   dense1D<unsigned int, 8>& order,
                                   dense1D<unsigned int, 8>& addresses);

// Finds the IDs of each list in the other.
//
//   a_of_b  out: a_of_b[j] is the first position of list_b[j] in `list_a`
//   b_of_a  out: b_of_a[i] is the first position of list_a[i] in `list_b`, if i is the first
//           position of that ID in `list_a`
//
// All other entries are the absent ID, which itself matches nothing.
//
// Returns 0, also if memory fails: an output may then be empty, or matches be missing.
TESSMAKER_API int get_IDs(const dense1D<unsigned int, 8>& list_a,
                          const dense1D<unsigned int, 8>& list_b, dense1D<unsigned int, 8>& a_of_b,
                          dense1D<unsigned int, 8>& b_of_a);

// Finds the columns of each connectivity in the other. Absent IDs are compared like any other.
//
//   a_of_b  out: for each column of `connect_b` the lowest matching column of `connect_a`, or the
//           absent ID
//   b_of_a  out: the same with the two connectivities exchanged
//   strict  true: columns match that hold the same nodes in the same order; false: columns match
//           that are the same closed loop, whatever its start and direction
//
// Returns 0, or
//   -2    both connectivities hold something and differ in rows; the outputs are sized and hold
//         only absent IDs
//   -199  out of memory
TESSMAKER_API int get_IDs(const dense2D<unsigned int>& connect_a,
                          const dense2D<unsigned int>& connect_b, dense1D<unsigned int, 8>& a_of_b,
                          dense1D<unsigned int, 8>& b_of_a, bool strict);

// Appends to `nodes` the distinct IDs of a list or a connectivity, in the order in which they are
// first seen (column by column), without the absent ID and without those in `skip`. What `nodes`
// held before stays and is not compared. An ID for which memory fails is left out.
//
// Returns 0.
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense1D<unsigned int, 8>& ids,
                                 dense1D<unsigned int, 8> skip);
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense2D<unsigned int>& connect,
                                 dense1D<unsigned int, 8> skip);
// The same for a range.
//
// Returns 0, or
//   -3    `end` lies before `begin`
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, dense1D<unsigned int, 8> skip);

// Counts the distinct IDs of a connectivity, without the absent ID. If memory fails on the way, an
// ID for which there is no room is not counted: the number is too small, and nothing tells.
//
// Returns their number, or
//   -1    out of memory before any ID could be counted
TESSMAKER_API int count_unique_indices(const dense2D<unsigned int>& connect);
// The same for a range.
//
// Returns the number of distinct IDs, or
//   -2    `end` lies before `begin`
//   -1    out of memory before any ID could be counted
TESSMAKER_API int count_unique_indices(const dense2D<unsigned int>* begin,
                                       const dense2D<unsigned int>* end);

} // namespace kv7::tessmaker

#endif
