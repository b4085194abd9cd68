// A seeded source of random numbers that draws the same everywhere.
#ifndef TESSMAKER_TESTS_SUPPORT_RANDOM_H
#define TESSMAKER_TESTS_SUPPORT_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "support/meshes.h"

namespace test {

// The standard's distributions may differ between libraries, the draws of its generators may not.
class random_source {
public:
    explicit random_source(std::uint64_t seed) : generator_(seed) {}

    std::uint64_t draw() { return generator_(); }
    // 0 to n - 1; 0 for n = 0.
    std::size_t below(std::size_t n) { return n == 0 ? 0 : static_cast<std::size_t>(draw() % n); }
    unsigned int id_below(std::size_t n) { return static_cast<unsigned int>(below(n)); }
    // From `low` to `high`, both included.
    std::size_t between(std::size_t low, std::size_t high) { return low + below(high - low + 1); }
    bool one_in(std::size_t n) { return below(n) == 0; }
    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(draw() >> 11) * 0x1p-53);
    }
    template <class T> const T& one_of(const std::vector<T>& choices) {
        return choices[below(choices.size())];
    }
    template <class T> void shuffle(std::vector<T>& values) {
        for (std::size_t k = values.size(); k > 1; --k) std::swap(values[k - 1], values[below(k)]);
    }

private:
    std::mt19937_64 generator_;
};

// How many seeds or inputs a random test goes through: `n`, or as many times more as the
// environment variable TESSMAKER_TEST_RUNS tells, for long runs apart from the quick suite.
inline std::uint64_t nbr_runs(std::uint64_t n) {
    const char* const factor = std::getenv("TESSMAKER_TEST_RUNS");
    return factor ? n * std::strtoull(factor, nullptr, 10) : n;
}

// Coordinates uniform in [low, high).
inline dense2D<double> random_points(random_source& random, std::size_t dim, std::size_t n,
                                     double low, double high) {
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        for (std::size_t r = 0; r < dim; ++r) pos(r, c) = random.uniform(low, high);
    }
    return pos;
}

// Integer coordinates from 0 to `side` - 1: ties on every axis, and duplicates when n is large.
inline dense2D<double> grid_points(random_source& random, std::size_t dim, std::size_t n,
                                   std::size_t side) {
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        for (std::size_t r = 0; r < dim; ++r) pos(r, c) = static_cast<double>(random.below(side));
    }
    return pos;
}

// IDs from 0 to `limit` - 1, one in `sentinel_every` of them the sentinel (0: none).
inline std::vector<unsigned int> random_ids(random_source& random, std::size_t n, std::size_t limit,
                                            std::size_t sentinel_every) {
    std::vector<unsigned int> ids(n);
    for (unsigned int& id : ids) {
        const bool absent = sentinel_every != 0 && random.one_in(sentinel_every);
        id = absent ? none : random.id_below(limit);
    }
    return ids;
}

} // namespace test

#endif
