// Calls with an allocation that fails.
#ifndef TESSMAKER_TESTS_FORMATS_FAILING_CALLS_H
#define TESSMAKER_TESTS_FORMATS_FAILING_CALLS_H

#include <cstddef>
#include <new>

#include "support/memory_failure.h"

namespace test {

struct failing_call {
    static constexpr int thrown = -1000;

    int code = thrown;   // what the call returned, unless an exception left it
    bool failed = false; // whether the allocation was reached
};

// Calls with allocation `k` failing, see memory_failure.
template <class Call> failing_call call_failing(std::size_t k, bool and_later, Call call) {
    failing_call result;
    const memory_failure failure(k, and_later);
    try {
        result.code = call();
    } catch (const std::bad_alloc&) {
    }
    result.failed = failure.happened();
    return result;
}

} // namespace test

#endif
