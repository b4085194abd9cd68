// The algebra of metrics at one place: build them from sizes, take them apart, clamp them, combine
// two.
//
//   size         the wanted edge length h at a place
//   metric       a size for each direction: a symmetric positive definite matrix M, which gives a
//                vector v the length sqrt(v^T M v). An eigenvalue l stands for the size
//                1 / sqrt(l); the size along a unit vector u is 1 / sqrt(u^T M u). Packed as
//                (m00, m10, m11) or (m00, m10, m11, m20, m21, m22)
//   isotropic    of the same size in all directions: M = I / h^2
//   valid        of a metric: its smallest eigenvalue is above 0
//   directions   the columns of a matrix; eigenvectors too
//   frame        two vectors in space, the axes of a plane, as the columns of a matrix
//   no limit     1.7976931348623157e+308, the largest double
//
// Nothing here throws, keeps state or allocates. 2D has closed forms; 3D is solved by rotations,
// which give the same bits on every machine. Their eigenvectors have a rule for signs: in the first
// two the entry of largest magnitude (of several, the first) is positive, and the third is the
// cross product of those.
// Codes are listed in the order of the checks.
#ifndef TESSMAKER_METRIC_ALGEBRA_H
#define TESSMAKER_METRIC_ALGEBRA_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The isotropic metric of a size: diagonal 1 / h^2. Zero unless h > 0.
TESSMAKER_API void metric_aniso(double h, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(double h, symmetric_fixed<double, 3>& M);

// The metric with one size along each axis. A size that is not above 0 is no constraint: its
// diagonal entry is 0.
TESSMAKER_API void metric_aniso(double h0, double h1, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(double h0, double h1, double h2, symmetric_fixed<double, 3>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 2>& h, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 3>& h, symmetric_fixed<double, 3>& M);

// The metric with one size along each column of P: the sum of p_k p_k^T / h_k^2. Here only a size
// of exactly 0 is no constraint, and a negative size counts as its absolute value.
TESSMAKER_API void metric_aniso(const vector_fixed<double, 2>& h,
                                const matrix_fixed<double, 2, 2>& P, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 3>& h,
                                const matrix_fixed<double, 3, 3>& P, symmetric_fixed<double, 3>& M);

// The isotropic metric of a size in the plane of a frame: entry (i, j) is p_i . p_j / h^2.
// Zero unless h > 0.
TESSMAKER_API void metric_aniso2d(double h, const matrix_fixed<double, 3, 2>& frame,
                                  symmetric_fixed<double, 2>& M);
// A metric restricted to the plane of a frame: entry (i, j) is p_i^T M3 p_j.
TESSMAKER_API void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3,
                                             const matrix_fixed<double, 3, 2>& frame,
                                             symmetric_fixed<double, 2>& M);

// Eigenvalues, ascending. In 3D nothing is written when an entry of M is not finite.
TESSMAKER_API void eigen_values(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l);
TESSMAKER_API void eigen_values(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l);

// Eigenvalues, ascending, and unit eigenvectors in the columns of P, which is a rotation. False
// when an eigenvalue (2D: the values are written, the vectors are not) or an entry of M (3D:
// nothing is written) is not finite.
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l,
                               matrix_fixed<double, 2, 2>& P);
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                               matrix_fixed<double, 3, 3>& P);
// The generalized problem B x = l A x with A positive definite: eigenvalues ascending, unit
// vectors. False if A is not positive definite (2D: m00 is 0 or the determinant is not above 0, so
// that a negative definite A passes), and as above.
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 2>& A,
                               const symmetric_fixed<double, 2>& B, vector_fixed<double, 2>& l,
                               matrix_fixed<double, 2, 2>& P);
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 3>& A,
                               const symmetric_fixed<double, 3>& B, vector_fixed<double, 3>& l,
                               matrix_fixed<double, 3, 3>& P);

// Whether the smallest eigenvalue is above 0.
TESSMAKER_API bool is_valid_metric(const symmetric_fixed<double, 2>& M);
TESSMAKER_API bool is_valid_metric(const symmetric_fixed<double, 3>& M);

// A size between the smallest of the metric, for x = 0, and its largest, for x = 1; x is not
// limited. 0 for a metric that is not valid.
TESSMAKER_API double metric_aniso_to_iso(const symmetric_fixed<double, 2>& M, double x);
TESSMAKER_API double metric_aniso_to_iso(const symmetric_fixed<double, 3>& M, double x);

// Clamps the sizes of M to [hmin, hmax]. Where hmin is above hmax, hmax wins. A bound that is not
// above 0 is no bound. With no bound at all (hmin not above 0, hmax no limit) nothing is checked.
//
// Returns 0 if M was changed and is valid, or if there is no bound, or
//   -2    hmin is infinite or not a number
//   -3    hmax is infinite or not a number
//   -1    M was not changed, because its sizes lie within the bounds already or can't be brought
//         there; or it was changed and is not valid
TESSMAKER_API int bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax);
TESSMAKER_API int bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax);

// Combines two metrics: along each direction of the basis in which both are diagonal, M has the
// larger (`maximum_metric`) or the smaller (`minimum_metric`, the intersection) size of the two. If
// one metric contains the other, M is a copy of it, bit for bit. M may be the same object as M1 or
// M2. False if M1 is not positive definite, if the result is zero, or if products of entries
// overflow; M is then a copy of M1.
//
// An entry that is the largest double mostly overflows so. Where it does not, and neither metric
// contains the other, `minimum_metric` has no finite result: it leaves M as it was, and is true.
// `bound_metric` keeps metrics away from both.
//
// Based on: F. Alauzet, P. J. Frey, Estimateur d'erreur geometrique et metriques anisotropes pour
// l'adaptation de maillage, 2003 (simultaneous reduction of two metrics).
TESSMAKER_API bool maximum_metric(const symmetric_fixed<double, 2>& M1,
                                  const symmetric_fixed<double, 2>& M2,
                                  symmetric_fixed<double, 2>& M);
TESSMAKER_API bool maximum_metric(const symmetric_fixed<double, 3>& M1,
                                  const symmetric_fixed<double, 3>& M2,
                                  symmetric_fixed<double, 3>& M);
TESSMAKER_API bool minimum_metric(const symmetric_fixed<double, 2>& M1,
                                  const symmetric_fixed<double, 2>& M2,
                                  symmetric_fixed<double, 2>& M);
TESSMAKER_API bool minimum_metric(const symmetric_fixed<double, 3>& M1,
                                  const symmetric_fixed<double, 3>& M2,
                                  symmetric_fixed<double, 3>& M);

} // namespace kv7::tessmaker

#endif
