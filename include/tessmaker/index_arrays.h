// Arrays of IDs as data in their own right: the largest ID, relabelling, shifting, permuting,
// sorting by value, matching one list against another, the distinct IDs.
//
// 0xFFFFFFFF is the absent ID; each function says whether it skips or keeps it. A pair `begin`,
// `end` is a plain array of connectivities, `end` behind the last.
#ifndef TESSMAKER_INDEX_ARRAYS_H
#define TESSMAKER_INDEX_ARRAYS_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// The largest ID that isn't 0xFFFFFFFF. 0xFFFFFFFF for an empty array, 0 for sentinels only.
TESSMAKER_API unsigned int max_ID(const dense1D<unsigned int, 8>& nodes);
TESSMAKER_API unsigned int max_ID(const dense2D<unsigned int>& connect);

// Each ID below new_IDs.size() becomes new_IDs[ID], 0xFFFFFFFF included where that stands there.
// All others stay.
TESSMAKER_API void change_indices(dense1D<unsigned int, 8>& nodes,
                                  const dense1D<unsigned int, 8>& new_IDs);
TESSMAKER_API void change_indices(dense2D<unsigned int>& connect,
                                  const dense1D<unsigned int, 8>& new_IDs);

// Adds `shift` to each ID, modulo 2^32. The list, ET_FACE_MIX and ET_SOLID_MIX keep their
// sentinels; under every other type all entries are shifted, sentinels too. Returns 0.
TESSMAKER_API int shift_indices(dense1D<unsigned int, 8>& nodes, int shift);
TESSMAKER_API int shift_indices(dense2D<unsigned int>& connect, int shift, element_type type);

// Moves the value at index i to index perm[i]. An entry of `perm` that is i itself or out of range
// moves nothing; of two with one target the later wins; a position that no entry targets keeps its
// value. The shorter of the two arrays sets how many entries count.
// Returns 0; -199 when memory fails, `values` unchanged.
TESSMAKER_API int permutation(dense1D<unsigned int, 8>& values,
                              const dense1D<unsigned int, 8>& perm);
TESSMAKER_API int permutation(dense1D<double, 8>& values, const dense1D<unsigned int, 8>& perm);

// Sorts indices by value, stably. Afterwards the indices i with values[i] == v are
// order[addresses[v]] to order[addresses[v + 1] - 1], ascending. Sentinels appear nowhere.
// `addresses` has max_ID(values) + 2 entries, and the one entry 0 for an empty list. Time and
// memory grow with the largest value. Returns 0; -199 when memory fails, both outputs empty.
TESSMAKER_API int get_sorted_order(const dense1D<unsigned int, 8>& values,
                                   dense1D<unsigned int, 8>& order,
                                   dense1D<unsigned int, 8>& addresses);

// Cross-reference of two lists by value. a_of_b[j] is the first position of list_b[j] in `list_a`;
// b_of_a[i] the first position in `list_b` of list_a[i], at first occurrences in `list_a` only. All
// else is 0xFFFFFFFF, and sentinels match nothing. Returns 0, also when memory fails: an output may
// then be empty, or matches be missing.
TESSMAKER_API int get_IDs(const dense1D<unsigned int, 8>& list_a,
                          const dense1D<unsigned int, 8>& list_b, dense1D<unsigned int, 8>& a_of_b,
                          dense1D<unsigned int, 8>& b_of_a);

// Cross-reference of the columns of two connectivities. With `strict`, columns match that hold the
// same nodes in the same order; without, the same closed loop, up to rotation and direction.
// a_of_b[j] is the smallest matching column of `connect_a`, b_of_a[u] the smallest of `connect_b`,
// 0xFFFFFFFF where there is none. Sentinels are ordinary values here.
// Returns 0; -2 when both hold something and differ in rows, the outputs sized and all 0xFFFFFFFF;
// -199 when memory fails.
TESSMAKER_API int get_IDs(const dense2D<unsigned int>& connect_a,
                          const dense2D<unsigned int>& connect_b, dense1D<unsigned int, 8>& a_of_b,
                          dense1D<unsigned int, 8>& b_of_a, bool strict);

// Appends to `nodes` the distinct IDs of a list, a connectivity or several, in the order in which
// they are first seen (column by column), without 0xFFFFFFFF and without those in `skip`. What
// `nodes` holds before is kept and not looked at. An ID for which memory fails is left out.
// Returns 0; -3 when `end` lies before `begin`.
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense1D<unsigned int, 8>& ids,
                                 dense1D<unsigned int, 8> skip);
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense2D<unsigned int>& connect,
                                 dense1D<unsigned int, 8> skip);
TESSMAKER_API int unique_indices(dense1D<unsigned int, 8>& nodes,
                                 const dense2D<unsigned int>* begin,
                                 const dense2D<unsigned int>* end, dense1D<unsigned int, 8> skip);

// The number of distinct IDs, 0xFFFFFFFF not counted; -2 when `end` lies before `begin`, -1 when
// there is no memory to count with.
TESSMAKER_API int count_unique_indices(const dense2D<unsigned int>& connect);
TESSMAKER_API int count_unique_indices(const dense2D<unsigned int>* begin,
                                       const dense2D<unsigned int>* end);

} // namespace kv7::tessmaker

#endif
