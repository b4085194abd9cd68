// Memory failure at a chosen allocation: block memory fails by null, `operator new` by
// std::bad_alloc.
#ifndef TESSMAKER_TESTS_SUPPORT_MEMORY_FAILURE_H
#define TESSMAKER_TESTS_SUPPORT_MEMORY_FAILURE_H

#include <cstddef>
#include <initializer_list>

namespace test {

// While it lives, allocation number `fail_at` of this thread (from 0) fails, and with `and_later`
// all after it too. Allocations of both kinds are counted together.
class memory_failure {
public:
    explicit memory_failure(std::size_t fail_at, bool and_later = false);
    ~memory_failure();
    memory_failure(const memory_failure&) = delete;
    memory_failure& operator=(const memory_failure&) = delete;

    // Whether the allocation was reached.
    bool happened() const;
};

// While it lives, this thread gets no block memory of more than `bytes` at a time.
class memory_limit {
public:
    explicit memory_limit(std::size_t bytes);
    ~memory_limit();
    memory_limit(const memory_limit&) = delete;
    memory_limit& operator=(const memory_limit&) = delete;
};

// Runs `attempt(k)` for k = 0, 1, ... with allocation k failing, in the two manners, until a run
// gets by without reaching it. `attempt` makes its arguments itself, and constructs a
// `memory_failure` with the numbers that it is given around the call under test; it returns
// happened(). Returns how many allocations were failed.
template <class Attempt> std::size_t fail_each_allocation(Attempt attempt) {
    std::size_t nbr_failed = 0;
    for (const bool and_later : {false, true}) {
        for (std::size_t k = 0; attempt(k, and_later); ++k) ++nbr_failed;
    }
    return nbr_failed;
}

} // namespace test

#endif
