// A sink for measured values: functions that measure many things hand each value to `process`.
//
//   bin    one of the equal intervals between the bounds `lower` and `upper`
//   bound  `lower` or `upper`; a value on the upper one belongs to the last bin
#ifndef TESSMAKER_HISTOGRAM_H
#define TESSMAKER_HISTOGRAM_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tessmaker/api.h"

namespace kv7::misc {

// Counts values in bins. A client that wants something else derives a class that overrides
// `process`.
//
// Without bins, a value within the bounds counts in `total()` only.
class TESSMAKER_API histogram {
public:
    // An empty histogram, or a copy with all counts.
    histogram(double lower, double upper, std::size_t nbr_bins);
    histogram(const histogram&) = default;
    histogram& operator=(const histogram&) = default;
    virtual ~histogram();

    // Takes a value. A value that is not a number counts in `total()` only.
    virtual void process(double value);

    // The number of bins, and the number of values in a bin, which must exist.
    std::size_t nbr_bins() const noexcept { return bins_.size(); }
    std::uint64_t count(std::size_t bin) const noexcept { return bins_[bin]; }
    // The number of values taken, including those that are not a number; of those below the lower
    // bound; of those above the upper bound.
    std::uint64_t total() const noexcept { return total_; }
    std::uint64_t underflow() const noexcept { return underflow_; }
    std::uint64_t overflow() const noexcept { return overflow_; }
    // The smallest, the largest and the mean of all numbers taken, inside the bounds or not. Not a
    // number before the first value.
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
