// Which columns of a connectivity are long.
#ifndef TESSMAKER_REPAIR_FEW_ROWS_H
#define TESSMAKER_REPAIR_FEW_ROWS_H

#include <cstddef>

namespace kv7::tessmaker {

// In columns of up to so many rows, more than any element has, comparing all pairs is faster than
// sorting or searching a tree.
inline constexpr std::size_t few_rows = 64;

} // namespace kv7::tessmaker

#endif
