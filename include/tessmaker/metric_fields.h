// Fields of sizes or metrics over the nodes of a mesh: checked, repaired, clamped, converted,
// bounded along the edges of the mesh, derived from it, and measured.
//
//   node          a column of `pos`, which has 2 or 3 rows; named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node
//   field         `sizes`, one size per node, or `metrics`, one packed metric per column, with 3
//                 rows in 2D and 6 rows in 3D (metric_algebra.h)
//   frames        one frame per column, 6 rows: the first axis in rows 0 to 2, the second in 3 to 5
//   no limit      1.7976931348623157e+308, the largest double; also an infinite measure
//   valid         of a size: above 0 and below the largest double; of a metric: its smallest
//                 eigenvalue is above 0
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_METRIC_FIELDS_H
#define TESSMAKER_METRIC_FIELDS_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/metric_algebra.h"

namespace kv7::tessmaker {

// The index of the first invalid entry, or the number of entries if all are valid. With `nodes`,
// the position in that list of the first ID whose entry is invalid or missing, or the size of the
// list. 0 if `metrics` has neither 3 nor 6 rows.
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<double, 8>& sizes);
TESSMAKER_API unsigned int first_invalid_metric(const dense2D<double>& metrics);
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<unsigned int, 8>& nodes,
                                                const dense1D<double, 8>& sizes);
TESSMAKER_API unsigned int first_invalid_metric(const dense1D<unsigned int, 8>& nodes,
                                                const dense2D<double>& metrics);
// Whether all entries, or those of the listed nodes, are valid.
TESSMAKER_API bool are_valid_metrics(const dense1D<double, 8>& sizes);
TESSMAKER_API bool are_valid_metrics(const dense2D<double>& metrics);
TESSMAKER_API bool are_valid_metrics(const dense1D<unsigned int, 8>& nodes,
                                     const dense1D<double, 8>& sizes);
TESSMAKER_API bool are_valid_metrics(const dense1D<unsigned int, 8>& nodes,
                                     const dense2D<double>& metrics);
// Appends to `valid` the indices of the valid columns, ascending; nothing if `metrics` has neither
// 3 nor 6 rows. An index for which memory fails is left out.
TESSMAKER_API void valid_metrics(const dense2D<double>& metrics, dense1D<unsigned int, 8>& valid);

// Replaces invalid entries. Of two fields of different length the shorter one counts. Sizes are
// replaced here if they are 0 or below; the largest double stays, and so does a value that is not a
// number.

// By the sizes of another field, where these are above 0.
//
// Returns the number of entries replaced.
TESSMAKER_API int overwrite_invalid_metrics(dense1D<double, 8>& sizes,
                                            const dense1D<double, 8>& other);
// By one size.
//
// Returns the number of entries replaced; 0 for an empty field, before any check, or
//   -2    h is not above 0
TESSMAKER_API int overwrite_invalid_metrics(dense1D<double, 8>& sizes, double h);
// By the metrics of another field, where these are valid.
//
// Returns the number of entries replaced; 0 for an empty field, before any check, or
//   -1    `metrics` has neither 3 nor 6 rows
//   -2    `other` has another number of rows
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics, const dense2D<double>& other);
// By the isotropic metrics of sizes, where these are above 0.
//
// Returns the number of entries replaced; 0 for an empty field, before any check, or
//   -1    `metrics` has neither 3 nor 6 rows
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const dense1D<double, 8>& sizes);
// By one metric.
//
// Returns the number of entries replaced; 0 for an empty field, before any check, or
//   -1    `metrics` has not 3 rows for a 2D metric, or not 6 rows for a 3D one
//   -2    M is not valid
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const symmetric_fixed<double, 2>& M);
TESSMAKER_API int overwrite_invalid_metrics(dense2D<double>& metrics,
                                            const symmetric_fixed<double, 3>& M);

// Clamps sizes to [hmin, hmax]. Without a bound (hmin not above 0, hmax no limit) nothing happens.
// A size that is not a number becomes hmin. With hmin above hmax, a size below hmin becomes hmin,
// whereas for a metric hmax wins. A metric that is changed and not valid afterwards stays changed
// and is not counted.
//
//   modified  out: the indices of the entries that changed, ascending. An index for which memory
//             fails is left out and not counted; its entry is changed all the same
//
// Returns the number of entries that changed, with `modified` the size of that list; 0 for an empty
// field or no bound, before any check, or
//   -1    `metrics` has neither 3 nor 6 rows
//   -2    hmin is infinite or not a number
//   -3    hmax is infinite or not a number
TESSMAKER_API int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax);
TESSMAKER_API int bound_metrics(dense1D<double, 8>& sizes, double hmin, double hmax,
                                dense1D<unsigned int, 8>& modified);
TESSMAKER_API int bound_metrics(dense2D<double>& metrics, double hmin, double hmax);
TESSMAKER_API int bound_metrics(dense2D<double>& metrics, double hmin, double hmax,
                                dense1D<unsigned int, 8>& modified);

// Converts a field, column by column, into an array that the caller has sized; its columns beyond
// those of the input stay.

// Sizes to their isotropic metrics. If a size is not above 0, its column stays.
//
// Returns 0, also if both arrays are empty, or
//   -2    `metrics` has not 3 rows in 2D, 6 rows in 3D, or it has fewer columns than there are
//         sizes
TESSMAKER_API int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes, dense2D<double>& metrics);
TESSMAKER_API int metrics_iso_to_aniso3d(const dense1D<double, 8>& sizes, dense2D<double>& metrics);
// Sizes to their isotropic metrics in the planes of frames. A size that is not above 0 gives the
// zero metric.
//
// Returns 0, also if all arrays are empty, or
//   -2    `frames` has not 6 rows and one column per size
//   -3    `metrics` has not 3 rows, or fewer columns than there are sizes
TESSMAKER_API int metrics_iso_to_aniso2d(const dense1D<double, 8>& sizes,
                                         const dense2D<double>& frames, dense2D<double>& metrics);
// 3D metrics to 2D metrics in the planes of frames.
//
// Returns 0, also if all arrays are empty, or
//   -1    `metrics3d` has not 6 rows
//   -2    `frames` has not 6 rows and one column per metric
//   -3    `metrics2d` has not 3 rows, or fewer columns than `metrics3d`
TESSMAKER_API int metrics_aniso3d_to_aniso2d(const dense2D<double>& metrics3d,
                                             const dense2D<double>& frames,
                                             dense2D<double>& metrics2d);

// Bounds the growth of a field along the edges of a mesh, in place, worst edge first: the edge that
// exceeds the limit most is repaired by moving the value of one end towards that of the other. Then
// the edges of that node are checked again, until no edge is left that can be repaired.
//
// On an edge of length d between the sizes ha and hb, `bound_metric_gradations` limits the
// gradation exp(|ha - hb| / d) - 1, `bound_metric_variations` the variation |ha - hb| / d. Between
// metrics, ha and hb are the sizes along the edge. All nodes of an element are joined by edges,
// diagonals included. The gradation is the size shock of H. Borouchaki, F. Hecht, P. J. Frey, Mesh
// gradation control, 1998, less 1.
//
//   pos, connect, type   the mesh, of any type; absent IDs are skipped
//   nodes, nodes_fixed   true: the listed nodes are fixed and all others free; false: the reverse.
//                        Absent IDs are skipped
//   direction            1 lets sizes only grow, -1 lets them only shrink; with 0 each node keeps
//                        the direction of its first change, with any other value nothing changes.
//                        Only the low 8 bits count, as a signed byte
//   max_gradation,       the limit, 0 or more, or no limit
//   max_variation
//   metrics, sizes       the field, changed in place
//
// Fixed nodes never change. A free node beside fixed ones moves only where that brings its edges to
// them closer to the limit.
//
// A step of less than a thousandth of the difference between the two values is refused, so an edge
// can stay slightly above the limit. Values that are not finite or not positive are not looked for;
// they end up as the arithmetic makes them.
//
// Two sizes whose difference is 1e12 times what the limit allows along their edge are too far apart
// for a step: a node that moves takes the value of its neighbour whole, without the growth. Beside
// a size 1, sizes of 1e13 or of the largest double shrink to 1 all over the mesh. So clamp a field
// that holds such sizes by `bound_metrics` first.
//
// The run has no limit of moves. Sizes can't go in circles; metrics whose sizes are many orders of
// magnitude apart can, by rounding. Such a run is broken off once it is proved to go in circles:
// when field and queue are those that it had before.
//
// Cost: a field that breaks the limit in few places is bounded in a few moves a node. Slow are
// fields that grow ever faster over a long way, where a node moves again each time that its
// neighbour has. The sizes 1 + x^2 / n at the nodes x = 0, ..., n - 1 of a row of bars, which may
// only shrink, take 0.36 n^2 moves: 3 s for 4000 nodes, and a time that grows like n^2.6 from there
// on, where the queue leaves the caches. The queue keeps entries that later moves have made stale
// until they come up: on that row up to 0.43 n^2 entries of 16 bytes, hundreds of times the memory
// of mesh and field.
//
// Returns the number of nodes changed; 0 for an empty `connect` or no limit, before any check, or
//   -1    `pos` has neither 2 nor 3 rows
//   -2    `connect` fails check_IDs
//   -4    `nodes` holds an ID that is no column of `pos`
//   -7    the limit is negative or not a number
//   -8    `metrics` has not 3 rows in 2D or 6 rows in 3D, or the field has no entry for a node of
//         `connect`
//   -199  out of memory; changes made so far stay
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

// Derives sizes from a mesh: the size at a node is a mean of the lengths of the element edges that
// meet there. An edge counts once for each element that has it. Edges whose length is 0 or not
// finite don't count.
//
//   exponent 0         the shortest edge
//   exponent p > 0     the power mean (sum of d^p / count)^(1 / p); for 1 the arithmetic mean
//   exponent no limit  the longest edge
//   type               ET_BAR2, ET_TRIA3, ET_QUAD4, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8,
//                      ET_FACE_MIX or ET_SOLID_MIX
//   sizes              in, out: grows to the number of columns of `pos`. A node that no edge
//                      reaches keeps its entry; a new entry is 0
//
// Returns 0, also for an empty `connect`, or
//   -1    the elements have more dimensions than `pos` has rows
//   -2    `connect` fails check_IDs
//   -5    `exponent` is negative or not a number
//   -3    any other type; `sizes` has grown
//   -199  out of memory
TESSMAKER_API int metrics_gen_iso(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                                  element_type type, dense1D<double, 8>& sizes, double exponent);

// Measures the gradation of a field, as defined above: at each node the largest among the edges
// that touch it. The field must have an entry for each node of `connect`, and `metrics` the rows
// that fit `pos`; this is not checked.
//
//   connect  the edges: 2 rows, a column per edge
//   shocks   in, out: resized to the number of columns of `pos`, new entries 0. Entries that it
//            held take part in the maximum. If memory for it fails, the nodes that it has no entry
//            for are left out
//
// Returns 0, also for an empty `connect`, or
//   -1    `pos` has neither 2 nor 3 rows
//   -2    `connect` has not 2 rows, or holds an ID that is no column of `pos`
TESSMAKER_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                          const dense2D<double>& metrics, dense1D<double, 8>& shocks);
TESSMAKER_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                          const dense1D<double, 8>& sizes, dense1D<double, 8>& shocks);

} // namespace kv7::tessmaker

#endif
