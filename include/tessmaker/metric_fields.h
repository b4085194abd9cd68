// Fields of sizes or metrics over the nodes of a mesh: checked, repaired, clamped, converted,
// bounded along the edges of the mesh, derived from it, and measured.
//
// `sizes` holds one size per node. `metrics` holds one metric per column, 3 rows in 2D and 6 rows
// in 3D, packed as in metric_algebra.h. `frames` holds one frame per column, 6 rows: the first axis
// in rows 0 to 2, the second in rows 3 to 5. `pos` has 2 or 3 rows and one column per
// node. 1.7976931348623157e+308, the largest double, is the word for no limit and for an infinite
// measure.
//
// A size is valid that lies strictly between 0 and the largest double, a metric whose smallest
// eigenvalue is above 0.
#ifndef TESSMAKER_METRIC_FIELDS_H
#define TESSMAKER_METRIC_FIELDS_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

// The index of the first invalid entry, or the number of entries. With `nodes`, the position in
// that list of the first ID that is beyond the field or has an invalid entry, or the size of the
// list. 0 for metrics of rows other than 3 or 6.
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<double, 8>& sizes);
TESSMAKER_API unsigned int first_invalid_metric(const dense2D<double>& metrics);
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<unsigned int, 8>& nodes,
                                                const dense1D<double, 8>& sizes);
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<unsigned int, 8>& nodes,
                                                const dense2D<double>& metrics);
// Whether there is no invalid one among the entries, or among those of the list.
TESSMAKER_API bool are_valid_metrics(const dense1D<double, 8>& sizes);
TESSMAKER_API bool are_valid_metrics(const dense2D<double>& metrics);
TESSMAKER_API bool are_valid_metrics(const dense1D<unsigned int, 8>& nodes,
                                     const dense1D<double, 8>& sizes);
TESSMAKER_API bool are_valid_metrics(const dense1D<unsigned int, 8>& nodes,
                                     const dense2D<double>& metrics);
// Appends to `valid` the indices of the valid columns, ascending. Nothing for rows other than 3
// or 6. An index for which memory fails is left out.
TESSMAKER_API void valid_metrics(const dense2D<double>& metrics, dense1D<unsigned int, 8>& valid);

// Replaces invalid entries and returns how many. Of two fields of different length the shorter
// counts. An invalid size here is one that is 0 or below; the largest double, and what is not a
// number, stay.

// By the sizes of another field that are above 0.
TESSMAKER_API int overwrite_invalid_metrics(dense1D<double, 8>& sizes,
                                            const dense1D<double, 8>& other);
// By one size. -2: h is not above 0.
TESSMAKER_API int overwrite_invalid_metrics(dense1D<double, 8>& sizes, double h);
// By the valid metrics of another field. -1: rows of `metrics` not 3 or 6. -2: rows of `other` not
// the same.
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics, const dense2D<double>& other);
// By the isotropic metrics of the sizes above 0. -1: rows of `metrics` not 3 or 6.
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const dense1D<double, 8>& sizes);
// By one metric. -1: rows of `metrics` not 3, or not 6. -2: M is not valid.
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const symmetric_fixed<double, 2>& M);
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const symmetric_fixed<double, 3>& M);

// Clamps sizes to [hmin, hmax] and returns how many entries changed; `modified` is emptied and gets
// their indices, ascending. Without a bound (hmin not above 0 and hmax the largest double) nothing
// happens. A size that is not a number becomes hmin. With hmin above hmax a size below hmin becomes
// hmin, but of a metric hmax wins. A metric that is changed and not valid afterwards stays changed
// and is not counted. -1: rows of `metrics` not 3 or 6. -2: hmin, and -3: hmax is infinite or not a
// number.
TESSMAKER_API int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax);
TESSMAKER_API int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax,
                                dense1D<unsigned int, 8>& modified);
TESSMAKER_API int bound_metrics(dense2D<double>& metrics, double hmin, double hmax);
TESSMAKER_API int bound_metrics(dense2D<double>& metrics, double hmin, double hmax,
                                dense1D<unsigned int, 8>& modified);

// Changes of form, column by column, into an array that the caller has sized; columns beyond the
// input stay. Return 0, also when all arguments are empty.

// Isotropic metrics of sizes; the column of a size that is not above 0 stays. -2: rows of `metrics`
// not 3, or not 6, or fewer columns than sizes.
TESSMAKER_API int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes, dense2D<double>& metrics);
TESSMAKER_API int metrics_iso_to_aniso3d(const dense1D<double, 8>& sizes, dense2D<double>& metrics);
// The same seen in the planes of frames; a size that is not above 0 gives the zero metric. -2:
// `frames` is not 6 rows by one column per size. -3: rows of `metrics` not 3, or fewer columns than
// sizes.
TESSMAKER_API int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes,
                                         const dense2D<double>& frames, dense2D<double>& metrics);
// Metrics seen in the planes of frames. -1: rows of `metrics3d` not 6. -2: `frames` is not 6 rows
// by one column per metric. -3: rows of `metrics2d` not 3, or fewer columns than `metrics3d`.
TESSMAKER_API int metrics_aniso3d_to_aniso2d(const dense2D<double>& metrics3d,
                                             const dense2D<double>& frames,
                                             dense2D<double>& metrics2d);

// Bounds the growth of a field along the edges of a mesh, in place, best first: the edge that
// breaks the limit worst is repaired by moving one end's value towards the other's, and the edges
// of that node are looked at again, until none is left that can be repaired.
//
// An edge of length d between the sizes ha and hb has the gradation exp(|ha - hb| / d) - 1
// (`bound_metric_gradations`) or the variation |ha - hb| / d (`bound_metric_variations`); between
// metrics ha and hb are the sizes along the edge. All nodes of an element are joined, diagonals
// included. The gradation is the size shock of H. Borouchaki, F. Hecht, P. J. Frey, Mesh gradation
// control, 1998, less 1.
//
//   pos, connect, type   the mesh, any type; sentinels are skipped
//   nodes, nodes_fixed   true: the listed nodes are fixed, all others free; false: the reverse.
//                        0xFFFFFFFF is skipped
//   direction            +1: sizes only grow; -1: sizes only shrink; 0: each node goes on in
//                        the direction of its first change. The low 8 bits count, as a signed
//                        byte; any other value lets nothing change
//   max_gradation,       the limit, 0 or more; the largest double: none
//   max_variation
//   metrics, sizes       the field, changed in place
//
// Fixed nodes never change; a free node beside fixed ones moves only where that serves its edges to
// them.
//
// A step below a thousandth of the way is refused, so an edge can stay above the limit by a little.
// Values that are not finite or not positive are not looked for and end as the arithmetic makes
// them. The run always ends: where metrics whose sizes are many orders of magnitude apart would go
// round in circles by rounding alone, it is broken off after a million moves and a thousand a node.
//
// Return the number of nodes changed. An empty `connect`, or no limit: 0. -1: `pos` has not 2 or 3
// rows. -2: `connect` fails check_IDs. -4: `nodes` holds an ID that is no column of `pos`. -7: the
// limit is negative or not a number. -8: rows of `metrics` not 3 in 2D or 6 in 3D, or the field has
// no entry for a node of `connect`. -199: out of memory; changes made stay.
TESSMAKER_API int bound_metric_gradations(const dense2D<double>& pos,
                                          const dense2D<unsigned int>& connect, element_type type,
                                          const dense1D<unsigned int, 8>& nodes, bool nodes_fixed,
                                          int direction, double max_gradation,
                                          dense2D<double>& metrics);
TESSMAKER_API int bound_metric_gradations(const dense2D<double>& pos,
                                          const dense2D<unsigned int>& connect, element_type type,
                                          const dense1D<unsigned int, 8>& nodes, bool nodes_fixed,
                                          int direction, double max_gradation,
                                          dense1D<double, 8>& sizes);
TESSMAKER_API int bound_metric_variations(const dense2D<double>& pos,
                                          const dense2D<unsigned int>& connect, element_type type,
                                          const dense1D<unsigned int, 8>& nodes, bool nodes_fixed,
                                          int direction, double max_variation,
                                          dense2D<double>& metrics);
TESSMAKER_API int bound_metric_variations(const dense2D<double>& pos,
                                          const dense2D<unsigned int>& connect, element_type type,
                                          const dense1D<unsigned int, 8>& nodes, bool nodes_fixed,
                                          int direction, double max_variation,
                                          dense1D<double, 8>& sizes);

// Derives sizes from a mesh: at each node a mean of the lengths of the element edges that meet
// there. An edge counts once for each element that has it; one of length 0, or not finite, not at
// all.
//
//   exponent 0                     the shortest edge
//   exponent p > 0                 the power mean (sum of d^p / count)^(1 / p); the mean for 1
//   exponent the largest double    the longest edge
//
// Serves ET_BAR2, ET_TRIA3, ET_QUAD4, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8, ET_FACE_MIX,
// ET_SOLID_MIX. `sizes` grows to the columns of `pos`; a node that no edge reaches keeps its entry,
// 0 where it had none. Returns 0, also for an empty `connect`. -1: the type's dimension is above
// the rows of `pos`. -2: `connect` fails check_IDs. -5: `exponent` is negative or not a number.
// -199: out of memory. -3: a type that is not served, `sizes` has grown.
TESSMAKER_API int metrics_gen_iso(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                  element_type type, dense1D<double, 8>& sizes, double exponent);

// Measures a field against the gradation limit: at each node the largest gradation, as above, among
// the edges listed in `connect` (2 rows) that touch it. `shocks` grows to the columns of `pos`,
// entries that it holds before take part in the maximum; where memory fails for it, the nodes that
// it has no place for are left out. The field must have an entry for each node of `connect`, and
// `metrics` the rows that fit `pos`; this is not checked. Returns 0, also for an empty `connect`.
// -1: `pos` has not 2 or 3 rows. -2: `connect` has not 2 rows, or an ID that is no column of `pos`.
TESSMAKER_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                          const dense2D<double>& metrics, dense1D<double, 8>& shocks);
TESSMAKER_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                          const dense1D<double, 8>& sizes, dense1D<double, 8>& shocks);

} // namespace kv7::tessmaker

#endif
