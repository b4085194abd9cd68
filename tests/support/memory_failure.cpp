#include "support/memory_failure.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "core/memory_hook.h"

namespace test {

namespace {

struct failure_plan {
    bool active = false;
    bool and_later = false;
    bool happened = false;
    std::size_t left = 0;
};
thread_local failure_plan plan;

std::atomic<unsigned long> nbr_failed{0};

// At the end of the program, if the environment asks for it (docs/reliability.md).
struct failure_report {
    ~failure_report() {
        if (std::getenv("TESSMAKER_COUNT_FAILURES"))
            std::fprintf(stderr, "%lu allocations failed\n", nbr_failed.load());
    }
};
const failure_report report_at_end;

bool may_allocate() noexcept {
    if (!plan.active) return true;
    if (plan.left > 0) {
        --plan.left;
        return true;
    }
    if (plan.happened && !plan.and_later) return true;
    plan.happened = true;
    ++nbr_failed;
    return false;
}

bool block_may_allocate(std::size_t) noexcept { return may_allocate(); }

thread_local std::size_t most_bytes = 0;
bool fits_limit(std::size_t bytes) noexcept { return bytes <= most_bytes; }

} // namespace

memory_failure::memory_failure(std::size_t fail_at, bool and_later) {
    plan = {true, and_later, false, fail_at};
    kv7::set_memory_hook(block_may_allocate);
}

memory_failure::~memory_failure() {
    plan.active = false;
    kv7::set_memory_hook(nullptr);
}

bool memory_failure::happened() const { return plan.happened; }

memory_limit::memory_limit(std::size_t bytes) {
    most_bytes = bytes;
    kv7::set_memory_hook(fits_limit);
}

memory_limit::~memory_limit() { kv7::set_memory_hook(nullptr); }

} // namespace test

namespace {

void* new_memory(std::size_t bytes) {
    void* const memory = test::may_allocate() ? std::malloc(bytes == 0 ? 1 : bytes) : nullptr;
    if (!memory) throw std::bad_alloc();
    return memory;
}

void* new_memory(std::size_t bytes, const std::nothrow_t&) noexcept {
    return test::may_allocate() ? std::malloc(bytes == 0 ? 1 : bytes) : nullptr;
}

} // namespace

// Sizes that no memory can hold are to be refused by null, as without the address sanitizer.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's name
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

void* operator new(std::size_t bytes) { return new_memory(bytes); }
void* operator new[](std::size_t bytes) { return new_memory(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t& tag) noexcept {
    return new_memory(bytes, tag);
}
void* operator new[](std::size_t bytes, const std::nothrow_t& tag) noexcept {
    return new_memory(bytes, tag);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
