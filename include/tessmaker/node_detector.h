// Spatial search among the nodes of a mesh: the nearest node to a point or to a node, the nodes in
// a box.
#ifndef TESSMAKER_NODE_DETECTOR_H
#define TESSMAKER_NODE_DETECTOR_H

#include "tessmaker/api.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

template <unsigned DIM> class point_tree;

// A k-d tree over nodes of a coordinate array, balanced when it is made and open to insertions.
// Based on: J. L. Bentley, Multidimensional binary search trees used for associative searching,
// 1975.
//
// The array of coordinates, 2 or 3 rows and one column per node, packed (`ld == rows`), is the
// caller's: the detector keeps a pointer to it, so the array object must stay, unchanged, for as
// long as the detector is used. Coordinates are read at each query.
//
// On top of the n nodes of a subtree stands the one of rank n / 2 by its coordinate on the axis of
// the level (x for the root, then y, in 3D z, then x again), of equal coordinates by its ID. Those
// before it are its left subtree, those behind it the right one. Nodes that are inserted go left of
// a greater coordinate and right of all others.
//
// Const members may run at once in several threads; all others need exclusive access. Memory for
// the tree object itself that fails raises std::bad_alloc, and leaves the detector empty.
class TESSMAKER_API node_detector {
public:
    // Empty: no tree, nothing to find, nothing can be inserted.
    node_detector() noexcept = default;
    // As the matching `reinit`. Bad arguments leave the detector empty.
    explicit node_detector(const dense2D<double>& pos);
    node_detector(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes);
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>& connect);
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                  const dense2D<unsigned int>* end);
    // A tree of its own on the same coordinates.
    node_detector(const node_detector& other);
    node_detector& operator=(const node_detector& other);
    // The coordinates stay.
    ~node_detector();

    // Deletes the tree.
    void clear();

    // Builds a new tree and returns how many nodes it holds: 0, and an empty tree, where memory
    // fails for it. After a negative code the old tree stays.

    // On all columns of `pos`. -1: `pos` has not 2 or 3 rows. -199: out of memory.
    int reinit(const dense2D<double>& pos);
    // On the listed nodes as they stand: each must be a column of `pos`, which is not checked; one
    // that is listed twice is held twice. Codes as above.
    int reinit(const dense2D<double>& pos, const dense1D<unsigned int, 8>& nodes);
    // On the distinct nodes of a connectivity, which must be columns of `pos` or 0xFFFFFFFF. -1: as
    // above.
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connect);
    // On the distinct nodes of several. -3: `end` lies before `begin`. A `pos` that has not 2 or 3
    // rows empties the detector and gives 0.
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
               const dense2D<unsigned int>* end);

    // Adds nodes to the tree, without balancing it again, in an order that is shuffled but the same
    // in every call. Returns how many were added: an ID that is no column of `pos`, or that is met
    // on its way down the tree, is not. (One that was built to the left of an equal coordinate is
    // not met, and then held twice.) 0 without a tree; one made from an empty list will do.
    unsigned int insert(const dense1D<unsigned int, 8>& nodes);
    // Adds the distinct nodes of a connectivity.
    unsigned int insert(const dense2D<unsigned int>& connect);

    // The node nearest to a point, or 0xFFFFFFFF when there is none. A 2D point has z = 0 on 3D
    // coordinates; of a 3D point only x and y count on 2D coordinates. Also 0xFFFFFFFF when no
    // squared distance is a finite number. Of several at the same distance the first on the way
    // counts: down the tree to where the point would be inserted, then through all of it, each node
    // before its right subtree and that before its left one.
    unsigned int find_closest(const vector_fixed<double, 2>& point) const;
    unsigned int find_closest(const vector_fixed<double, 3>& point) const;
    // The node nearest to column `node` of the coordinates, other than `node` itself, which need
    // not be in the tree.
    unsigned int find_closest(unsigned int node) const;

    // Appends the nodes inside a box, bounds included, to `nodes`, each node before those of its
    // right subtree and these before those of its left one. A 2D box has z from 0 to 0 on 3D
    // coordinates; of a 3D box only x and y count on 2D coordinates.
    void find_in_box(const vector_fixed<double, 2>& lower, const vector_fixed<double, 2>& upper,
                     dense1D<unsigned int, 8>& nodes) const;
    void find_in_box(const vector_fixed<double, 3>& lower, const vector_fixed<double, 3>& upper,
                     dense1D<unsigned int, 8>& nodes) const;

    // Places in the tree: its nodes, plus one when the last insertion met a node already there.
    unsigned int size() const;

private:
    int build(const dense2D<double>& pos, dense1D<unsigned int, 8>& nodes);

    point_tree<2>* tree2_ = nullptr; // at most one of the two is there
    point_tree<3>* tree3_ = nullptr;
};

} // namespace kv7::tessmaker

#endif
