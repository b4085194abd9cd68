// One metric, or two, at one place.
//
// The wanted size of a mesh at a node is a number h, or a metric: a symmetric positive definite
// matrix M that measures a vector v as sqrt(v^T M v). The two are tied by M = I / h^2: an
// eigenvalue l of M stands for the size 1 / sqrt(l), and the size along a unit vector u is 1 /
// sqrt(u^T M u). 1.7976931348623157e+308, the largest double, is the word for no limit.
//
// Metrics are packed, (m00, m10, m11) and (m00, m10, m11, m20, m21, m22). Eigenvectors and
// directions are the columns of a matrix. A frame is two vectors in space, the axes of a plane.
//
// Nothing here throws, keeps state or allocates. 2D has closed forms; 3D rests on LAPACK's dspev or
// on a solver with its order and accuracy.
#ifndef TESSMAKER_METRIC_ALGEBRA_H
#define TESSMAKER_METRIC_ALGEBRA_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The metric of a size, the same in all directions: diagonal 1 / h^2. Zero unless h > 0.
TESSMAKER_API void metric_aniso(double h, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(double h, symmetric_fixed<double, 3>& M);

// The metric of one size along each axis. A size that is not above 0 is no constraint: its diagonal
// entry is 0.
TESSMAKER_API void metric_aniso(double h0, double h1, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(double h0, double h1, double h2, symmetric_fixed<double, 3>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 2>& h, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 3>& h, symmetric_fixed<double, 3>& M);

// The metric of one size along each column of P: the sum of p_k p_k^T / h_k^2. Only a size of
// exactly 0 is no constraint; a negative one counts as its absolute value here.
TESSMAKER_API void metric_aniso(const vector_fixed<double, 2>& h,
                                const matrix_fixed<double, 2, 2>& P, symmetric_fixed<double, 2>& M);
TESSMAKER_API void metric_aniso(const vector_fixed<double, 3>& h,
                                const matrix_fixed<double, 3, 3>& P, symmetric_fixed<double, 3>& M);

// The isotropic metric of a size, seen in the plane of a frame: entry (i, j) is p_i . p_j / h^2.
// Zero unless h > 0.
TESSMAKER_API void metric_aniso2d(double h, const matrix_fixed<double, 3, 2>& frame,
                                  symmetric_fixed<double, 2>& M);
// A metric seen in the plane of a frame: entry (i, j) is p_i^T M3 p_j.
TESSMAKER_API void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3,
                                             const matrix_fixed<double, 3, 2>& frame,
                                             symmetric_fixed<double, 2>& M);

// Eigenvalues, ascending.
TESSMAKER_API void eigen_values(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l);
TESSMAKER_API void eigen_values(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l);

// Eigenvalues, ascending, and unit eigenvectors in the columns of P, which is a rotation. False
// when an eigenvalue is not finite (2D: the values are written, the vectors are not) or dspev fails
// (3D).
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& l,
                               matrix_fixed<double, 2, 2>& P);
TESSMAKER_API bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& l,
                               matrix_fixed<double, 3, 3>& P);
// The generalized problem B x = l A x, A positive definite: values ascending, unit vectors. False
// when A is not positive definite (2D: m00 is 0 or the determinant is not above 0, so that a
// negative definite A passes), or as above.
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

// Clamps the sizes of M to [hmin, hmax]; where hmin is above hmax, hmax wins. An hmin not above 0
// and an hmax not above 0 are no bound. Returns 0 when M was changed and is valid, or when there is
// no bound (hmin not above 0 and hmax the largest double); -1 when it was not changed, since its
// sizes lie within the bounds already or can't be brought there, or was changed and is not valid;
// -2: hmin, and -3: hmax is infinite or not a number.
TESSMAKER_API int bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax);
TESSMAKER_API int bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax);

// The metric with the larger (`maximum_metric`) or the smaller (`minimum_metric`, the intersection)
// size of the two along each direction of the basis in which both are diagonal. Where one of the
// two contains the other the result is a copy of it, bit for bit. M may be the same object as M1 or
// M2. False, and M is a copy of M1, when M1 is not positive definite or the result is zero. Based
// on: F. Alauzet, P. J. Frey, Estimateur d'erreur geometrique et metriques anisotropes pour
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
