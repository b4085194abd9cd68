// Eigenvalues and eigenvectors of symmetric 3 by 3 matrices.
#ifndef TESSMAKER_METRICS_EIGEN3_H
#define TESSMAKER_METRICS_EIGEN3_H

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Eigenvalues, ascending. False when LAPACK reports a failure; what stands in `l` is then LAPACK's.
bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l);
// The same with unit eigenvectors in the columns of P, which is made right-handed on success.
bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
            matrix_fixed<double, 3, 3>& P);
// The same, as accurate and faster, for where the signs of eigenvectors don't matter. LAPACK does
// it where an entry is not finite or squares could leave the range of a double.
bool eigen3_by_rotations(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                         matrix_fixed<double, 3, 3>& P);

} // namespace kv7::tessmaker

#endif
