// The numeric containers that cross the library's interface. Include this header, not its parts.
//
//   block   `vector_num`: memory with elements in it, and a count of its owners
//   view    `dense1D` or `dense2D`: elements of a block. Copying or assigning a view shares the
//           block; only `copy` duplicates elements
//   ld      leading dimension of a `dense2D`: elements from the start of a column to that of the
//           next
//   packed  of a `dense2D`: without a gap between the columns, `ld == rows`
//
// `vector_fixed`, `matrix_fixed` and `symmetric_fixed` hold their few numbers inline.
//
// Nothing here throws. If memory fails, an operation returns false and leaves the array unchanged,
// and a constructor leaves an empty array. A size whose product or sum does not fit in
// `std::size_t` fails in the same way.
//
// Arguments of one call may share a block. An output that a function clears first gives up a block
// that is also that of an input or of another output: it gets one of its own, and the inputs come
// out whole. An array that a function changes in place or appends to stays where it is, and so does
// what it shares, unless the function says otherwise. Two outputs must be two objects.
//
// Elements that `resize` adds are not initialised unless a value is given. Element access is not
// checked. The reference count is atomic; nothing else is synchronised.
#ifndef TESSMAKER_CONTAINERS_H
#define TESSMAKER_CONTAINERS_H

#include <cstdint>
#include <utility>

#include "tessmaker/containers/dense1D.h"
#include "tessmaker/containers/dense2D.h"
#include "tessmaker/containers/fixed_size.h"
#include "tessmaker/containers/storage.h"

namespace kv7 {

// The instantiations that the library holds. They are declared here and defined once, in
// core/containers.cpp.
#ifndef TESSMAKER_INSTANTIATION
#define TESSMAKER_INSTANTIATION extern template
#endif
TESSMAKER_INSTANTIATION class vector_num<unsigned int>;
TESSMAKER_INSTANTIATION class vector_num<int>;
TESSMAKER_INSTANTIATION class vector_num<double>;
TESSMAKER_INSTANTIATION class vector_num<std::uint64_t>;
TESSMAKER_INSTANTIATION class vector_num<short>;
TESSMAKER_INSTANTIATION class vector_num<signed char>;
TESSMAKER_INSTANTIATION class vector_num<std::pair<unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class vector_num<triad<unsigned int, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<triad<double, unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class vector_num<
    triad<std::pair<unsigned int, unsigned int>, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<triad<std::uint64_t, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class vector_num<dense2D<unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<unsigned int>;
TESSMAKER_INSTANTIATION class dense1D<int>;
TESSMAKER_INSTANTIATION class dense1D<double>;
TESSMAKER_INSTANTIATION class dense1D<std::uint64_t>;
TESSMAKER_INSTANTIATION class dense1D<short>;
TESSMAKER_INSTANTIATION class dense1D<signed char>;
TESSMAKER_INSTANTIATION class dense1D<std::pair<unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<triad<unsigned int, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense1D<triad<double, unsigned int, unsigned int>>;
TESSMAKER_INSTANTIATION class dense1D<
    triad<std::pair<unsigned int, unsigned int>, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense1D<triad<std::uint64_t, std::uint64_t, std::uint64_t>>;
TESSMAKER_INSTANTIATION class dense2D<unsigned int>;
TESSMAKER_INSTANTIATION class dense2D<double>;
TESSMAKER_INSTANTIATION class dense2D<std::uint64_t>;
#undef TESSMAKER_INSTANTIATION

} // namespace kv7

#endif
