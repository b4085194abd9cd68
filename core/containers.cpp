#define TESSMAKER_INSTANTIATION template
#include "tessmaker/containers.h"

#include <atomic>
#include <cstdlib>

#include "core/memory_hook.h"

namespace kv7 {

namespace {

std::atomic<memory_hook> installed_hook{nullptr};

} // namespace

memory_hook set_memory_hook(memory_hook hook) noexcept { return installed_hook.exchange(hook); }

// NOLINTBEGIN(bugprone-reserved-identifier)
void* __vector_num_alloc(std::size_t bytes) noexcept {
    const memory_hook hook = installed_hook.load(std::memory_order_relaxed);
    if (hook && !hook(bytes)) return nullptr;
    return std::malloc(bytes);
}

void __vector_num_free(void* memory) noexcept { std::free(memory); }
// NOLINTEND(bugprone-reserved-identifier)

namespace math1 {

ref_counted::~ref_counted() = default;

void ref_counted::__destroy() noexcept { delete this; }

} // namespace math1

} // namespace kv7
