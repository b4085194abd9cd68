// Errors of eigenvalues against arithmetic of 120 digits, on the matrices as they are stored,
// beside those of LAPACK's dspev.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "metrics/dspev.h"
#include "metrics/eigen3.h"
#include "metrics/precise_eigenvalues.h"
#include "metrics/random_metrics.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

using tensor = test::metric<3>;
using spectrum = test::vector<3>;
using basis = test::matrix<3>;

constexpr double eps = 2.220446049250313e-16;

struct errors {
    double of_norm = 0.0; // in units of eps times the norm
    double relative = 0.0;

    void add(const spectrum& l, const precise_spectrum& exact) {
        const precise norm = std::max(abs(exact.values[0]), abs(exact.values[2]));
        for (std::size_t k = 0; k < 3; ++k) {
            const precise error = abs(precise(l[k]) - exact.values[k]);
            if (norm.is_zero()) {
                EXPECT_EQ(l[k], 0.0);
                continue;
            }
            of_norm = std::max(of_norm, static_cast<double>(error / norm) / eps);
            if (exact.values[k].is_zero()) continue;
            relative = std::max(relative, static_cast<double>(error / abs(exact.values[k])));
        }
    }
};

struct both_errors {
    errors ours;
    errors lapack;
};

both_errors measure(std::uint64_t seed, const std::function<tensor(random_source&)>& make) {
    random_source random(seed);
    both_errors e;
    for (std::uint64_t run = 0; run < nbr_runs(2000); ++run) {
        const tensor M = make(random);
        const precise_spectrum exact = precise_eigenvalues(M);
        spectrum l;
        spectrum same;
        spectrum reference;
        basis P;
        EXPECT_TRUE(eigen3(M, l));
        EXPECT_TRUE(eigen3(M, same, P));
        EXPECT_TRUE(same_bits(l, same));
        EXPECT_TRUE(dspev(M, reference));
        e.ours.add(l, exact);
        e.lapack.add(reference, exact);
    }
    return e;
}

void expect_as_accurate_as_lapack(std::uint64_t seed,
                                  const std::function<tensor(random_source&)>& make) {
    const both_errors e = measure(seed, make);
    EXPECT_LE(e.ours.of_norm, 4.0);
    EXPECT_LE(e.ours.of_norm, e.lapack.of_norm);
}

// D B D with B of unit diagonal and condition at most 10.
tensor graded(random_source& random, double span, double coupling) {
    tensor B;
    precise_spectrum l;
    do {
        B = {1.0,
             coupling * random.uniform(-1.0, 1.0),
             1.0,
             coupling * random.uniform(-1.0, 1.0),
             coupling * random.uniform(-1.0, 1.0),
             1.0};
        l = precise_eigenvalues(B);
    } while (l.values[0] * precise(10.0) < l.values[2]);
    const double least = log_uniform(random, 1e-6 / span, 1e-6);
    const double d[3] = {least * log_uniform(random, 1.0, span),
                         least * log_uniform(random, 1.0, span),
                         least * (random.one_in(2) ? span : log_uniform(random, 1.0, span))};
    const std::size_t first = random.below(3);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j <= i; ++j) B(i, j) *= d[(first + i) % 3] * d[(first + j) % 3];
    }
    return B;
}

TEST(eigen3_accuracy, of_metrics_stretched_along_the_axes_is_relative_to_each_eigenvalue) {
    const both_errors e =
        measure(301, [](random_source& random) { return graded(random, 1e12, 1.0); });
    EXPECT_LE(e.ours.relative, 1e-14);
    EXPECT_GT(e.lapack.relative, 1.0);
}

TEST(eigen3_accuracy, of_metrics_stretched_nearly_along_the_axes_is_relative_to_each_eigenvalue) {
    const both_errors e = measure(302, [](random_source& random) {
        return graded(random, 1e12, log_uniform(random, 1e-16, 1.0));
    });
    EXPECT_LE(e.ours.relative, 1e-14);
    EXPECT_GT(e.lapack.relative, 1.0);
}

TEST(eigen3_accuracy, of_metrics_of_condition_10_is_relative_to_each_eigenvalue) {
    const both_errors e =
        measure(303, [](random_source& random) { return graded(random, 2.0, 1.0); });
    EXPECT_LE(e.ours.relative, 1e-14);
}

TEST(eigen3_accuracy, of_metrics_in_any_directions) {
    for (const double span : {2.0, 1e2, 1e6, 1e12}) {
        expect_as_accurate_as_lapack(
            304, [=](random_source& random) { return random_metric<3>(random, 1.0 / span, span); });
    }
}

TEST(eigen3_accuracy, of_nearly_multiple_eigenvalues) {
    expect_as_accurate_as_lapack(305, [](random_source& random) {
        const double l = random.uniform(-3.0, 3.0);
        const double close = l * (1.0 + log_uniform(random, 1e-18, 1e-2));
        const double other = random.one_in(3) ? l : random.uniform(-3.0, 3.0);
        return assembled<3>({l, close, other}, random_basis<3>(random));
    });
}

TEST(eigen3_accuracy, of_matrices_near_the_identity) {
    expect_as_accurate_as_lapack(306, [](random_source& random) {
        tensor M;
        const double size = log_uniform(random, 1e-17, 0.1);
        for (double& entry : M.values) entry = size * random.uniform(-1.0, 1.0);
        for (std::size_t i = 0; i < 3; ++i) M(i, i) += 1.0;
        return M;
    });
}

TEST(eigen3_accuracy, of_any_matrices_at_every_scale) {
    for (const double scale : {1e-307, 1e-150, 1.0, 1e150, 1e307}) {
        expect_as_accurate_as_lapack(307, [=](random_source& random) {
            tensor M;
            for (double& entry : M.values) {
                entry = random.one_in(4) ? 0.0 : scale * random.uniform(-1.0, 1.0);
            }
            return M;
        });
    }
}

TEST(eigen3_accuracy, of_entries_that_lie_far_apart) {
    for (const double least : {1e-8, 1e-20}) {
        expect_as_accurate_as_lapack(308, [=](random_source& random) {
            tensor M;
            for (double& entry : M.values) {
                entry = (random.one_in(2) ? -1.0 : 1.0) * log_uniform(random, least, 1.0);
            }
            return M;
        });
    }
}

TEST(eigen3_accuracy, of_integer_matrices_with_many_ties) {
    expect_as_accurate_as_lapack(309, [](random_source& random) {
        tensor M;
        for (double& entry : M.values) entry = static_cast<double>(random.between(0, 4)) - 2.0;
        return M;
    });
}

TEST(eigen3_accuracy, of_singular_matrices) {
    for (const double second : {0.0, 1.5}) {
        expect_as_accurate_as_lapack(310, [=](random_source& random) {
            return assembled<3>({0.0, second, random.uniform(-2.0, 2.0)}, random_basis<3>(random));
        });
    }
}

TEST(eigen3_accuracy, of_matrices_with_next_to_nothing_on_the_diagonal) {
    for (const double diagonal : {0.0, 1e-15}) {
        expect_as_accurate_as_lapack(311, [=](random_source& random) {
            tensor M;
            for (double& entry : M.values) entry = random.uniform(-1.0, 1.0);
            for (std::size_t i = 0; i < 3; ++i) M(i, i) *= diagonal;
            return M;
        });
    }
}

} // namespace
