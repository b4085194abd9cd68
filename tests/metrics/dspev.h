// LAPACK's dspev on symmetric 3 by 3 matrices: a reference.
#ifndef TESSMAKER_TESTS_METRICS_DSPEV_H
#define TESSMAKER_TESTS_METRICS_DSPEV_H

#include <lapack.h>

#include "tessmaker/containers.h"

namespace test {

// With eigenvectors in the columns of Z if it is not null.
inline bool dspev(const kv7::symmetric_fixed<double, 3>& M, kv7::vector_fixed<double, 3>& l,
                  kv7::matrix_fixed<double, 3, 3>* Z = nullptr) {
    const char job = Z ? 'V' : 'N';
    const char upper = 'U';
    const lapack_int n = 3;
    const lapack_int ld = Z ? 3 : 1;
    kv7::symmetric_fixed<double, 3> packed = M; // destroyed by the call
    double work[9] = {};
    lapack_int info = 0;
    LAPACK_dspev(&job, &upper, &n, packed.data(), l.data(), Z ? Z->data() : nullptr, &ld, work,
                 &info);
    return info == 0;
}

} // namespace test

#endif
