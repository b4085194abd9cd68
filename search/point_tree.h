// A k-d tree over node IDs in two or three dimensions: nearest point, points in a box.
#ifndef TESSMAKER_SEARCH_POINT_TREE_H
#define TESSMAKER_SEARCH_POINT_TREE_H

#include <cstddef>
#include <optional>

#include "core/element_table.h"
#include "core/ids.h"
#include "search/balanced_order.h"
#include "search/distance_index.h"
#include "search/split_planes.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The slot where there is no node.
inline constexpr unsigned int no_slot = no_id;

// The tree holds IDs and reads coordinates, at every query, from an array of at least DIM rows that
// the caller keeps alive, unchanged and packed (`ld == rows == DIM`). It is balanced by medians
// when it is built, and grows by plain insertion; nothing is removed or balanced again.
//
// On axis `a` of a node, 0 at the root and the next one in the cycle on each level, the left
// subtree holds points whose coordinate is not above the node's, the right one points whose
// coordinate is not below. A coordinate that is not a number comes after all others.
//
// Const members may run at once in several threads.
template <unsigned DIM> class point_tree {
    static_assert(DIM == 2 || DIM == 3);

public:
    // An empty tree on `pos`, which must outlive it.
    explicit point_tree(const dense2D<double>& pos) : pos_(&pos) {}
    // A tree of its own on the same coordinates. Empty when memory fails.
    point_tree(const point_tree& other);
    point_tree& operator=(const point_tree&) = delete;
    ~point_tree() = default;

    const dense2D<double>& pos() const { return *pos_; }

    // Removes all nodes; memory stays.
    void reset();
    // Room to build a tree of `n` nodes. Whether it is there.
    bool reserve(std::size_t n);
    // Makes a balanced tree of `n` IDs, each a column of `pos`, in place of the nodes so far. It
    // depends on IDs and coordinates alone, not on the order of the IDs. An ID that is listed twice
    // becomes two nodes. Returns the number of slots: `n`, or 0 when memory fails, which a
    // successful `reserve` rules out.
    std::size_t build(const unsigned int* ids, std::size_t n);
    // Makes an index that finds the nearest point sooner where coordinates are equal by the
    // thousand, in the same nodes: IDs as given to the `build` before it. Answers stay the same.
    // Without memory, or where it would not help, there is none; insertions give it up.
    void index_distances(const unsigned int* ids, std::size_t n);
    bool has_distance_index() const { return !distances_.empty(); }
    // Adds nodes one by one. Returns how many were added: an ID that is no column of `pos`, or is
    // met on its way down, is not. One for which memory fails is counted, though it is not there.
    unsigned int insert(const unsigned int* begin, const unsigned int* end);

    // The point nearest to `point` (DIM coordinates), among those whose squared distance is below
    // `dist2`, which must come in as the largest finite double and goes out as the squared distance
    // found. The absent ID, and `dist2` unchanged, if there is none. Of several at the same
    // distance the first on the way counts: first the nodes from the root down to the point's
    // place, then each node before its right subtree and that before its left one.
    unsigned int find_closest(const double* point, double& dist2) const;
    // The same around column `id` of `pos`, which need not be in the tree and is never the answer.
    unsigned int find_closest(unsigned int id, double& dist2) const;

    // Appends to `hits` the IDs of the points in a box, bounds included, each node before those of
    // its right subtree and these before those of its left one. `box` holds DIM lower bounds, then
    // DIM upper bounds. An ID for which memory fails is lost.
    void find_in_box(const double* box, id_list& hits) const { find_in_box(box, hits, no_id); }
    // The same without `excluded_id`.
    void find_in_box(const double* box, id_list& hits, unsigned int excluded_id) const;

    // Places in the tree: its nodes, and the free ones.
    std::size_t nbr_slots() const { return ids_.size(); }
    // 1 when the last insertion met a node already there, and so left a place that the next one
    // takes; 0 otherwise.
    std::size_t nbr_free_slots() const { return free_slot_ == no_slot ? 0 : 1; }

private:
    void drop_index();
    template <class Action> auto on_branches(Action action) const;
    unsigned int new_slot(unsigned int id);
    bool insert(unsigned int id);
    unsigned int find_closest(const double* point, unsigned int excluded_id, double& dist2) const;

    const dense2D<double>* pos_;
    dense1D<unsigned int> ids_; // by slot; slot 0 is the root
    // By slot, the left and the right child or `no_slot`. No entries while the tree is as it was
    // built, in pre-order: the children then follow from the number of nodes.
    dense1D<unsigned int> links_;
    std::optional<dense1D<keyed_point>> scratch_; // from `reserve` to the end of the build
    distance_index<DIM> distances_;
    split_planes<DIM> planes_; // none without `distances_`
    unsigned int free_slot_ = no_slot;
};

extern template class point_tree<2>;
extern template class point_tree<3>;

} // namespace kv7::tessmaker

#endif
