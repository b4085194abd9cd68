// Calls with an allocation that fails.
#ifndef TESSMAKER_TESTS_SUPPORT_FAILING_CALL_H
#define TESSMAKER_TESTS_SUPPORT_FAILING_CALL_H

#include <cstddef>
#include <new>
#include <type_traits>

#include "support/memory_failure.h"

namespace test {

struct failing_call {
    static constexpr int thrown = -1000;

    int code = thrown;   // what the call returned (0 if it returns nothing), unless it threw
    bool failed = false; // whether the allocation was reached

    bool threw() const { return code == thrown; }
};

// Makes the call with allocation `k` failing, see memory_failure.
template <class Call> failing_call call_failing(std::size_t k, bool and_later, Call call) {
    failing_call result;
    const memory_failure failure(k, and_later);
    try {
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            result.code = 0;
        } else {
            result.code = call();
        }
    } catch (const std::bad_alloc&) {
    }
    result.failed = failure.happened();
    return result;
}

} // namespace test

#endif
