// The hash under which a column is looked up by its form.
#ifndef TESSMAKER_INDICES_FORM_HASH_H
#define TESSMAKER_INDICES_FORM_HASH_H

#include <cstddef>
#include <cstdint>

#include "core/hash_step.h"

namespace kv7::tessmaker {

inline std::uint64_t hash_of_form(const unsigned int* form, std::size_t rows) {
    std::uint64_t hash = rows;
    for (std::size_t r = 0; r < rows; ++r) hash = hash_step(hash, form[r]);
    return hash;
}

} // namespace kv7::tessmaker

#endif
