#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

#include "support/memory_failure.h"
#include "tessmaker/histogram.h"

using kv7::misc::histogram;

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::vector<std::uint64_t> counts(const histogram& h) {
    std::vector<std::uint64_t> result;
    for (std::size_t bin = 0; bin < h.nbr_bins(); ++bin) result.push_back(h.count(bin));
    return result;
}
histogram of(double lower, double upper, std::size_t nbr_bins, const std::vector<double>& values) {
    histogram h(lower, upper, nbr_bins);
    for (const double v : values) h.process(v);
    return h;
}

TEST(histogram, starts_with_empty_bins) {
    const histogram h(0.0, 1.0, 4);
    EXPECT_EQ(h.nbr_bins(), 4U);
    EXPECT_EQ(counts(h), (std::vector<std::uint64_t>{0, 0, 0, 0}));
    EXPECT_EQ(h.total(), 0U);
    EXPECT_EQ(h.underflow(), 0U);
    EXPECT_EQ(h.overflow(), 0U);
    EXPECT_TRUE(std::isnan(h.min()));
    EXPECT_TRUE(std::isnan(h.max()));
    EXPECT_TRUE(std::isnan(h.mean()));
}

TEST(histogram, counts_values_in_equal_bins) {
    const histogram h = of(0.0, 4.0, 4, {0.5, 1.5, 1.25, 3.5, 2.5, 2.25, 2.75});
    EXPECT_EQ(counts(h), (std::vector<std::uint64_t>{1, 2, 3, 1}));
    EXPECT_EQ(h.total(), 7U);
}

TEST(histogram, a_bound_between_two_bins_belongs_to_the_upper_one) {
    EXPECT_EQ(counts(of(0.0, 4.0, 4, {0.0, 1.0, 2.0, 3.0})),
              (std::vector<std::uint64_t>{1, 1, 1, 1}));
}

TEST(histogram, the_upper_bound_belongs_to_the_last_bin) {
    const histogram h = of(-1.0, 1.0, 3, {1.0, std::nextafter(1.0, 2.0)});
    EXPECT_EQ(counts(h), (std::vector<std::uint64_t>{0, 0, 1}));
    EXPECT_EQ(h.overflow(), 1U);
}

TEST(histogram, values_just_below_the_upper_bound_stay_in_the_last_bin) {
    for (const std::size_t nbr_bins : {1U, 3U, 7U, 10U, 49U, 1000U}) {
        for (const double upper : {0.1, 0.3, 1.0, 3.3, 1e300}) {
            const histogram h = of(0.0, upper, nbr_bins, {std::nextafter(upper, 0.0), upper});
            EXPECT_EQ(h.count(nbr_bins - 1), 2U) << nbr_bins << ' ' << upper;
        }
    }
}

TEST(histogram, values_outside_the_bounds_count_as_underflow_or_overflow) {
    const histogram h = of(0.0, 1.0, 2, {-0.1, 1.1, 5.0, -infinite, infinite, 0.5});
    EXPECT_EQ(h.underflow(), 2U);
    EXPECT_EQ(h.overflow(), 3U);
    EXPECT_EQ(counts(h), (std::vector<std::uint64_t>{0, 1}));
    EXPECT_EQ(h.total(), 6U);
}

TEST(histogram, minimum_maximum_and_mean_are_over_all_numbers_taken) {
    const histogram h = of(0.0, 1.0, 2, {0.5, -3.0, 8.5});
    EXPECT_EQ(h.min(), -3.0);
    EXPECT_EQ(h.max(), 8.5);
    EXPECT_EQ(h.mean(), 2.0);
}

TEST(histogram, what_is_not_a_number_counts_in_the_total_alone) {
    const histogram h = of(0.0, 1.0, 2, {nan, 0.25, nan});
    EXPECT_EQ(h.total(), 3U);
    EXPECT_EQ(counts(h), (std::vector<std::uint64_t>{1, 0}));
    EXPECT_EQ(h.underflow() + h.overflow(), 0U);
    EXPECT_EQ(h.min(), 0.25);
    EXPECT_EQ(h.max(), 0.25);
    EXPECT_EQ(h.mean(), 0.25);
}

TEST(histogram, every_value_is_counted_once_whatever_the_bounds) {
    const std::vector<double> values{0.0, -0.0, 1e-320, 0.5, 1.0, -1.0, 1e308, -1e308, infinite};
    const std::vector<std::pair<double, double>> bounds{
        {0.0, 1.0}, {-1e308, 1e308}, {0.0, 1e-320}, {1.0, 1.0}, {1.0, 0.0}, {0.0, infinite}};
    for (const auto& [lower, upper] : bounds) {
        const histogram h = of(lower, upper, 5, values);
        std::uint64_t counted = h.underflow() + h.overflow();
        for (const std::uint64_t n : counts(h)) counted += n;
        EXPECT_EQ(counted, values.size()) << lower << ' ' << upper;
    }
}

TEST(histogram, bounds_that_are_not_numbers_do_no_harm) {
    EXPECT_EQ(of(nan, 1.0, 3, {0.5}).total(), 1U);
    EXPECT_EQ(of(0.0, nan, 3, {0.5}).total(), 1U);
    EXPECT_EQ(of(-infinite, infinite, 3, {0.5, infinite, -infinite}).total(), 3U);
}

TEST(histogram, without_bins_counts_in_the_total) {
    const histogram h = of(0.0, 1.0, 0, {0.5, 2.0});
    EXPECT_EQ(h.nbr_bins(), 0U);
    EXPECT_EQ(h.total(), 2U);
    EXPECT_EQ(h.overflow(), 1U);
}

TEST(histogram, a_copy_counts_on_its_own) {
    histogram a = of(0.0, 1.0, 2, {0.25});
    histogram b = a;
    b.process(0.75);
    EXPECT_EQ(a.total(), 1U);
    EXPECT_EQ(b.total(), 2U);
    a = b;
    EXPECT_EQ(counts(a), (std::vector<std::uint64_t>{1, 1}));
}

TEST(histogram, a_client_can_put_a_sink_of_its_own_in_its_place) {
    class sink final : public histogram {
    public:
        explicit sink(bool& destroyed) : histogram(0.0, 1.0, 0), destroyed_(destroyed) {}
        ~sink() override { destroyed_ = true; }
        void process(double value) override { taken.push_back(value); }
        std::vector<double> taken;

    private:
        bool& destroyed_;
    };
    bool destroyed = false;
    auto own = std::make_unique<sink>(destroyed);
    sink& seen = *own;
    std::unique_ptr<histogram> base = std::move(own);
    base->process(3.0);
    EXPECT_EQ(seen.taken, (std::vector<double>{3.0}));
    base.reset();
    EXPECT_TRUE(destroyed);
}

TEST(histogram, memory_failure_reaches_the_caller_as_an_exception) {
    const std::size_t nbr_failed = test::fail_each_allocation([](std::size_t k, bool and_later) {
        const test::memory_failure failure(k, and_later);
        if (k == 0) {
            EXPECT_THROW(histogram(0.0, 1.0, 100), std::bad_alloc);
        } else {
            histogram(0.0, 1.0, 100).process(0.5);
        }
        return failure.happened();
    });
    EXPECT_EQ(nbr_failed, 2U);
}

} // namespace
