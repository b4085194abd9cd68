// A sink for measured values.
#ifndef TESSMAKER_HISTOGRAM_H
#define TESSMAKER_HISTOGRAM_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tessmaker/api.h"

namespace kv7::misc {

// Counts values in equal bins from `lower` to `upper`; the upper bound belongs to the last bin. A
// client can put a sink of its own in its place by overriding `process`.
//
// Without bins, a value within the bounds counts in `total()` alone.
class TESSMAKER_API histogram {
public:
    // An empty one, or a copy with all counts.
    histogram(double lower, double upper, std::size_t nbr_bins);
    histogram(const histogram&) = default;
    histogram& operator=(const histogram&) = default;
    virtual ~histogram();

    // Takes one value. One that is not a number counts in `total()` alone.
    virtual void process(double value);

    // Bins, and the values in one of them, which must exist.
    std::size_t nbr_bins() const noexcept { return bins_.size(); }
    std::uint64_t count(std::size_t bin) const noexcept { return bins_[bin]; }
    // Values taken, those outside the bounds and those that are not a number included.
    std::uint64_t total() const noexcept { return total_; }
    std::uint64_t underflow() const noexcept { return underflow_; }
    std::uint64_t overflow() const noexcept { return overflow_; }
    // Over all numbers taken, inside the bounds or not; not a number before the first.
    double min() const noexcept { return min_; }
    double max() const noexcept { return max_; }
    double mean() const noexcept;

private:
    double lower_;
    double upper_;
    std::vector<std::uint64_t> bins_;
    std::uint64_t total_ = 0;
    std::uint64_t numbers_ = 0;
    std::uint64_t underflow_ = 0;
    std::uint64_t overflow_ = 0;
    double min_;
    double max_;
    double sum_ = 0.0;
};

} // namespace kv7::misc

#endif
