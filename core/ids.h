// IDs of nodes and elements, and lists of them.
#ifndef TESSMAKER_CORE_IDS_H
#define TESSMAKER_CORE_IDS_H

#include <algorithm>
#include <cstddef>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The absent ID.
inline constexpr unsigned int no_id = 0xFFFFFFFFU;

using id_list = dense1D<unsigned int, 8>;
using id_matrix = dense2D<unsigned int>;

// The limit for `check_IDs` that admits the columns of `pos`.
inline unsigned int id_limit(const dense2D<double>& pos) {
    return static_cast<unsigned int>(std::min(pos.cols(), std::size_t{no_id}));
}

} // namespace kv7::tessmaker

#endif
