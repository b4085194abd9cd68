// What becomes of a failure of LAPACK's dspev. This program defines the routine, so that the
// library calls it here: it destroys the matrix that it is given, as LAPACK's does, and leaves
// values and vectors that would do.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

#include <lapack.h>

#include "metrics/metric_reduction.h"
#include "metrics/nodal_fields.h"
#include "metrics/random_metrics.h"
#include "support/meshes.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// What the next calls leave.
struct outcome {
    lapack_int info;
    test::vector<3> values;
    test::matrix<3> vectors;
};
outcome next;
int nbr_calls;

} // namespace

extern "C" void LAPACK_dspev_base(char const* jobz, char const* uplo, lapack_int const* n,
                                  double* AP, double* W, double* Z, lapack_int const* ldz,
                                  double* work, lapack_int* info
#ifdef LAPACK_FORTRAN_STRLEN_END
                                  ,
                                  std::size_t, std::size_t
#endif
) {
    EXPECT_EQ(*uplo, 'U');
    EXPECT_EQ(*n, 3);
    EXPECT_EQ(*ldz, *jobz == 'V' ? 3 : 1);
    EXPECT_EQ(std::count(work, work + 9, 0.0), 9);
    ++nbr_calls;
    std::fill_n(AP, 6, not_a_number);
    std::copy_n(next.values.values, 3, W);
    if (*jobz == 'V') std::copy_n(next.vectors.values, 9, Z);
    *info = next.info;
}

namespace {

using tensor = test::metric<3>;

constexpr tensor unit{1.0, 0.0, 1.0, 0.0, 0.0, 1.0};
constexpr tensor any{3.0, 0.5, 2.0, 0.25, 0.125, 5.0};
// So large that the reduction leaves it to LAPACK.
constexpr tensor huge{1e120, 0.0, 1e120, 0.0, 0.0, 1e120};

// Two axes, and a third vector that only the cross product of those makes a unit vector.
constexpr test::matrix<3> axes{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 2.0};
constexpr test::matrix<3> unit_axes{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

constexpr lapack_int failed = 2;

void leave(lapack_int info, const test::vector<3>& values) {
    next = {info, values, axes};
    nbr_calls = 0;
}

TEST(lapack_failure, of_eigenpairs_is_false_and_leaves_the_third_vector) {
    const tensor M = any;
    test::vector<3> l{};
    test::matrix<3> P{};
    leave(failed, {1.0, 2.0, 3.0});
    EXPECT_FALSE(eigen_pairs(M, l, P));
    EXPECT_TRUE(same_bits(l, next.values));
    EXPECT_TRUE(same_bits(P, axes));
    leave(0, {1.0, 2.0, 3.0});
    EXPECT_TRUE(eigen_pairs(M, l, P));
    EXPECT_TRUE(same_bits(l, next.values));
    EXPECT_TRUE(same_bits(P, unit_axes));
    EXPECT_TRUE(same_bits(M, any));
    EXPECT_EQ(nbr_calls, 1);
}

TEST(lapack_failure, of_eigenvalues_goes_unnoticed) {
    const tensor M{-1.0, 0.0, -1.0, 0.0, 0.0, -1.0};
    test::vector<3> l{};
    leave(failed, {1.0, 2.0, 3.0});
    eigen_values(M, l);
    EXPECT_TRUE(same_bits(l, next.values));
    EXPECT_TRUE(is_valid_metric(M));
    leave(failed, {0.0, 2.0, 3.0});
    EXPECT_FALSE(is_valid_metric(M));
    EXPECT_EQ(nbr_calls, 1);
}

TEST(lapack_failure, gives_a_metric_the_size_0) {
    leave(failed, {0.25, 1.0, 4.0});
    EXPECT_EQ(metric_aniso_to_iso(any, 0.0), 0.0);
    EXPECT_EQ(metric_aniso_to_iso(any, 1.0), 0.0);
    leave(0, {0.25, 1.0, 4.0});
    EXPECT_EQ(metric_aniso_to_iso(any, 0.0), 0.5);
    EXPECT_EQ(metric_aniso_to_iso(any, 1.0), 2.0);
}

TEST(lapack_failure, lets_a_metric_be_clamped_by_what_is_there) {
    tensor M = any;
    leave(failed, {1.0, 2.0, 3.0});
    EXPECT_EQ(bound_metric(M, 1.0, largest), 0);
    EXPECT_TRUE(same_bits(M, tensor{1.0, 0.0, 1.0, 0.0, 0.0, 4.0}));
    M = any;
    leave(0, {1.0, 2.0, 3.0});
    EXPECT_EQ(bound_metric(M, 1.0, largest), 0);
    EXPECT_TRUE(same_bits(M, unit));
}

TEST(lapack_failure, ends_a_generalized_problem) {
    test::vector<3> l{};
    test::matrix<3> P{};
    tensor odd = any;
    odd[3] = not_a_number;
    tensor tiny = unit;
    for (double& entry : tiny.values) entry *= 1e-120;
    for (const tensor& B : {huge, odd, tiny}) {
        leave(failed, {1.0, 2.0, 3.0});
        EXPECT_FALSE(eigen_pairs(unit, B, l, P));
        EXPECT_EQ(nbr_calls, 1);
        leave(0, {1.0, 2.0, 3.0});
        EXPECT_TRUE(eigen_pairs(unit, B, l, P));
        EXPECT_EQ(nbr_calls, 1);
        EXPECT_TRUE(same_bits(l, next.values));
        EXPECT_TRUE(same_bits(P, unit_axes));
    }
    leave(failed, {1.0, 2.0, 3.0});
    metric_reduction<3> r{unit_axes, unit_axes, {1.0, 1.0, 1.0}, {1.0, 1.0, 1.0}};
    EXPECT_FALSE(reduce_metrics(unit, huge, r));
    EXPECT_TRUE(same_bits(r, metric_reduction<3>{}));
}

TEST(lapack_failure, leaves_of_two_metrics_the_first) {
    for (const lapack_int info : {failed, lapack_int{0}}) {
        tensor M{};
        leave(info, {1e120, 1e120, 1e120});
        EXPECT_EQ(maximum_metric(unit, huge, M), info == 0);
        EXPECT_TRUE(same_bits(M, unit));
        EXPECT_EQ(minimum_metric(unit, huge, M), info == 0);
        EXPECT_TRUE(same_bits(M, info == 0 ? huge : unit));
        EXPECT_EQ(metric_field<3>::interpolation(unit, huge, -1).at(0.5, M),
                  info == 0 ? interpolated::usable : interpolated::none);
        EXPECT_EQ(nbr_calls, 3);
    }
}

TEST(lapack_failure, makes_a_step_along_an_edge_no_change) {
    const dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}});
    const dense2D<unsigned int> bar = connectivity({{0, 1}});
    for (const lapack_int info : {failed, lapack_int{0}}) {
        dense2D<double> metrics(6, 2);
        std::copy_n(unit.values, 6, metrics.column(0));
        std::copy_n(huge.values, 6, metrics.column(1));
        const dense2D<double> start = copy_of(metrics);
        leave(info, {1e120, 1e120, 1e120});
        const int nbr = bound_metric_gradations(pos, bar, ET_BAR2, {}, true, -1, 0.2, metrics);
        EXPECT_EQ(nbr, info == 0 ? 1 : 0);
        EXPECT_EQ(same_bits(metrics, start), info != 0);
        EXPECT_GT(nbr_calls, 0);
    }
}

} // namespace
