#include "metrics/eigen3.h"

#include <lapack.h>

#include "core/small_vectors.h"

namespace kv7::tessmaker {

namespace {

bool dspev(char job, const symmetric_fixed<double, 3>& M, double* values, double* vectors) {
    constexpr lapack_int n = 3;
    const lapack_int ld = vectors ? 3 : 1;
    const char upper = 'U';
    symmetric_fixed<double, 3> packed = M; // destroyed by the call
    double work[9] = {};
    lapack_int info = 0;
    LAPACK_dspev(&job, &upper, &n, packed.data(), values, vectors, &ld, work, &info);
    return info == 0;
}

} // namespace

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l) {
    return dspev('N', M, l.data(), nullptr);
}

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
            matrix_fixed<double, 3, 3>& P) {
    if (!dspev('V', M, l.data(), P.data())) return false;
    set_column(P, 2, cross(column(P, 0), column(P, 1)));
    return true;
}

} // namespace kv7::tessmaker
