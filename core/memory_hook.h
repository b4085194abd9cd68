// A hook that lets tests make allocations fail.
#ifndef TESSMAKER_CORE_MEMORY_HOOK_H
#define TESSMAKER_CORE_MEMORY_HOOK_H

#include <cstddef>

namespace kv7 {

// Called before each allocation of block memory; false makes the allocation fail.
using memory_hook = bool (*)(std::size_t bytes) noexcept;

// Installs a hook, or removes it if null, and returns the previous one. While a hook is installed,
// no other thread may allocate.
memory_hook set_memory_hook(memory_hook hook) noexcept;

} // namespace kv7

#endif
