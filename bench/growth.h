// How run time grows with the size of the input.
#ifndef TESSMAKER_BENCH_GROWTH_H
#define TESSMAKER_BENCH_GROWTH_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ctime>

#include <benchmark/benchmark.h>

namespace bench {

// Seconds of processor time of the fastest of some calls of what `make(n)` returns. Making it takes
// no part.
template <class Make> double seconds_of(const Make& make, std::size_t n, int nbr_calls) {
    double best = 1e30;
    for (int k = 0; k < nbr_calls; ++k) {
        auto call = make(n);
        const std::clock_t start = std::clock();
        call();
        const auto passed = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        best = std::min(best, passed);
    }
    return best;
}

// Times calls on inputs of sizes n and 8 n. The time reported is that of the larger one; the
// counter is the exponent e for which time grows like n^e. `make(n)` makes the input and returns
// the call.
template <class Make>
void report_growth(benchmark::State& state, std::size_t n, const Make& make, int nbr_calls = 5) {
    for ([[maybe_unused]] auto run : state) {
        const double small = seconds_of(make, n, nbr_calls);
        const double large = seconds_of(make, 8 * n, nbr_calls);
        state.SetIterationTime(large);
        state.counters["exponent"] = std::log2(large / small) / 3;
    }
}

} // namespace bench

#endif
