// Memory failure on demand, for tests.
#ifndef TESSMAKER_CORE_MEMORY_HOOK_H
#define TESSMAKER_CORE_MEMORY_HOOK_H

#include <cstddef>

namespace kv7 {

// Asked before each allocation of block memory whether it may take place.
using memory_hook = bool (*)(std::size_t bytes) noexcept;

// Installs a hook, or none with null, and returns the one before. While a hook is installed, no
// other thread may allocate.
memory_hook set_memory_hook(memory_hook hook) noexcept;

} // namespace kv7

#endif
