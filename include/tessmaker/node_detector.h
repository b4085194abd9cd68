// Spatial search among the nodes of a mesh: the node nearest to a point or to another node, the
// nodes in a box.
//
//   node          a column of `pos`, the array of coordinates, which has 2 or 3 rows and is packed
//                 (`ld == rows`); named by its ID, from 0
//   connectivity  `dense2D<unsigned int>`: a column per element, a row per node of the element
//                 (element_type.h)
//   absent ID     0xFFFFFFFF: no node
//   range         `begin`, `end`: a plain array of connectivities, `end` behind the last
//   tree          the k-d tree that a detector holds
//
// Codes are listed in the order of the checks; out of memory can be met at any point.
#ifndef TESSMAKER_NODE_DETECTOR_H
#define TESSMAKER_NODE_DETECTOR_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

template <unsigned DIM> class point_tree;

// A k-d tree over nodes, balanced when it is built and open to insertions.
// Based on: J. L. Bentley, Multidimensional binary search trees used for associative searching,
// 1975.
//
// The coordinates stay the caller's: the detector keeps a pointer to the array `pos`, which must
// exist and stay unchanged as long as the detector is used. Coordinates are read at each query. A
// temporary array does not compile in its place.
//
// `pos` must be packed. Two rows of columns that have three, as `sub_matrix` gives them and
// `resize(2, n)` leaves them, are not: the tree is then built on wrong coordinates, and a query
// finds nodes that exist but are not the right ones, without a sign. So it is, too, where `pos`
// gains or loses a row after the tree was built: `reinit` makes a new one.
//
// The root of a subtree of n nodes is the node of rank n / 2 by its coordinate on the axis of the
// level (x for the root, then y, in 3D z, then x again); equal coordinates are ranked by ID. The
// nodes of lower rank are its left subtree, those of higher rank its right one. A node that is
// inserted later goes left of a greater coordinate and right of all others.
//
// Cost: in most clouds of n nodes, a query for the nearest and an insertion take about log n steps.
// A query visits all nodes that are equally near, so all n from the centre of a sphere that they
// lie on, or from a point away from nodes that coincide. An insertion takes as many steps as the
// tree is deep where the node goes, and insertions do not balance the tree: n nodes that coincide,
// or that are inserted one call each in ascending order, make a chain, with n^2 / 2 steps in all.
// `reinit` with all nodes gives a balanced tree.
//
// Const members may run at once in several threads; all others need exclusive access. If memory for
// the tree object itself fails, std::bad_alloc is thrown and the detector is empty.
class TESSMAKER_API node_detector {
public:
    // Without a tree: nothing can be found or inserted.
    node_detector() noexcept = default;
    // As the matching `reinit`; if that fails, the detector is without a tree.
    explicit node_detector(const dense2D<double>& pos);
    node_detector(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes);
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>& connect);
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                  const dense2D<unsigned int>* end);
    // Not on a temporary array.
    explicit node_detector(const dense2D<double>&& pos) = delete;
    node_detector(const dense2D<double>&& pos, const dense1D<unsigned int, 8>& nodes) = delete;
    node_detector(const dense2D<double>&& pos, const dense2D<unsigned int>& connect) = delete;
    node_detector(const dense2D<double>&& pos, const dense2D<unsigned int>* begin,
                  const dense2D<unsigned int>* end) = delete;
    // Copies the tree; the coordinates are shared.
    node_detector(const node_detector& other);
    node_detector& operator=(const node_detector& other);
    // Leaves the coordinates alone.
    ~node_detector();

    // Deletes the tree.
    void clear();

    // Builds a new tree. After a negative code the old tree stays.

    // On all columns of `pos`.
    //
    // Returns the number of nodes in the tree; 0, with an empty tree, if memory for it fails, or
    //   -1    `pos` has neither 2 nor 3 rows
    //   -199  out of memory for the list of nodes
    int reinit(const dense2D<double>& pos);
    // On the nodes of a list. All must be columns of `pos`, which is not checked; a node that is
    // listed twice is held twice.
    //
    // Returns the number of nodes in the tree; 0, with an empty tree, if memory for it fails, or
    //   -1    `pos` has neither 2 nor 3 rows
    //   -199  out of memory for a copy of the list
    int reinit(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes);
    // On the distinct nodes of a connectivity, which must be columns of `pos` or the absent ID.
    //
    // Returns the number of nodes in the tree; 0, with an empty tree, if memory for it fails, or
    //   -1    `pos` has neither 2 nor 3 rows
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connect);
    // On the distinct nodes of a range.
    //
    // Returns the number of nodes in the tree; 0, with an empty tree, if memory for it fails or if
    // `pos` has neither 2 nor 3 rows, or
    //   -3    `end` lies before `begin`
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
               const dense2D<unsigned int>* end);
    // Not on a temporary array; there is no result.
    void reinit(const dense2D<double>&& pos) = delete;
    void reinit(const dense2D<double>&& pos, const dense1D<unsigned int, 8>& nodes) = delete;
    void reinit(const dense2D<double>&& pos, const dense2D<unsigned int>& connect) = delete;
    void reinit(const dense2D<double>&& pos, const dense2D<unsigned int>* begin,
                const dense2D<unsigned int>* end) = delete;

    // Adds nodes to the tree without balancing it again, in an order that is shuffled but the same
    // in every call. An ID is not added if it is no column of `pos`, or if it is met on its way
    // down the tree. (A node that was built to the left of an equal coordinate is not met, and is
    // then held twice.)
    //
    // Returns the number of nodes added; 0 without a tree. A tree built on an empty list will do.
    unsigned int insert(const dense1D<unsigned int, 8>& nodes);
    // The same for the distinct nodes of a connectivity.
    unsigned int insert(const dense2D<unsigned int>& connect);

    // The node nearest to a point, or the absent ID if there is none or no squared distance is a
    // finite number. On 3D coordinates a 2D point has z = 0; on 2D coordinates only x and y of a 3D
    // point count. Of several nodes at the same distance the first one met is taken: down the tree
    // to where the point would be inserted, then through the whole tree, each node before its right
    // subtree and the right subtree before the left one.
    unsigned int find_closest(const vector_fixed<double, 2>& point) const;
    unsigned int find_closest(const vector_fixed<double, 3>& point) const;
    // The node nearest to column `node` of the coordinates, other than `node` itself, which need
    // not be in the tree.
    unsigned int find_closest(unsigned int node) const;

    // Appends to `nodes` the nodes inside a box, bounds included: each node before those of its
    // right subtree, and these before those of its left one. On 3D coordinates a 2D box has z from
    // 0 to 0; on 2D coordinates only x and y of a 3D box count.
    void find_in_box(const vector_fixed<double, 2>& lower, const vector_fixed<double, 2>& upper,
                     dense1D<unsigned int, 8>& nodes) const;
    void find_in_box(const vector_fixed<double, 3>& lower, const vector_fixed<double, 3>& upper,
                     dense1D<unsigned int, 8>& nodes) const;

    // The number of places in the tree: its nodes, plus one if the last insertion met a node that
    // was there already.
    unsigned int size() const;

private:
    int build(const dense2D<double>& pos, dense1D<unsigned int, 8>& nodes);

    point_tree<2>* tree2_ = nullptr; // at most one of the two is there
    point_tree<3>* tree3_ = nullptr;
};

} // namespace kv7::tessmaker

#endif
