// The step by which words are hashed one after the other.
#ifndef TESSMAKER_CORE_HASH_STEP_H
#define TESSMAKER_CORE_HASH_STEP_H

#include <cstdint>

namespace kv7::tessmaker {

// The hash of all words so far, with one more. Multiplication carries a bit into all higher ones,
// the shift back into the lower ones. The factor is 2^64 over the golden ratio, odd.
inline std::uint64_t hash_step(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ hash >> 32;
}

} // namespace kv7::tessmaker

#endif
