#include "tessmaker/histogram.h"

#include <limits>

namespace kv7::misc {

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

} // namespace

histogram::histogram(double lower, double upper, std::size_t nbr_bins)
    : lower_(lower), upper_(upper), bins_(nbr_bins, 0), min_(not_a_number), max_(not_a_number) {}

histogram::~histogram() = default;

void histogram::process(double value) {
    ++total_;
    if (value != value) return;
    ++numbers_;
    sum_ += value;
    if (!(min_ <= value)) min_ = value;
    if (!(max_ >= value)) max_ = value;
    if (value < lower_) {
        ++underflow_;
    } else if (value > upper_) {
        ++overflow_;
    } else if (!bins_.empty()) {
        const auto nbr_bins = static_cast<double>(bins_.size());
        // The bounds may be so far apart that their distance overflows; half of it does not.
        const double scale = upper_ - lower_ <= std::numeric_limits<double>::max() ? 1.0 : 0.5;
        const double width = upper_ * scale - lower_ * scale;
        const double place = (value * scale - lower_ * scale) / width * nbr_bins;
        // The upper bound falls behind the last bin, and without a width the place is NaN: both
        // count in the last bin.
        const bool inside = place >= 0.0 && place < nbr_bins;
        ++bins_[inside ? static_cast<std::size_t>(place) : bins_.size() - 1];
    }
}

double histogram::mean() const noexcept {
    return numbers_ == 0 ? not_a_number : sum_ / static_cast<double>(numbers_);
}

} // namespace kv7::misc
