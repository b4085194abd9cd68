// Eigenvalues and eigenvectors of symmetric 3 by 3 matrices, the same bits on every machine.
//
// Eigenvalues are ascending and within 4 units in the last place of the largest. Where the matrix
// is D B D with a diagonal D and a well-conditioned positive definite B (a metric stretched along
// the axes or nearly so), each one has a small relative error, however far the entries of D lie
// apart. Equal ones keep the order of the axes that they come from.
//
// In the first two eigenvectors the entry of largest magnitude is positive; of several, the first.
// The third is the cross product of those two.
//
// The result is false, with the outputs untouched, where an entry is not finite. An eigenvalue
// beyond the range of a double is infinite.
#ifndef TESSMAKER_METRICS_EIGEN3_H
#define TESSMAKER_METRICS_EIGEN3_H

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l);
// The same eigenvalues, with unit eigenvectors in the columns of P.
bool eigen3(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
            matrix_fixed<double, 3, 3>& P);

} // namespace kv7::tessmaker

#endif
