// J. L. Bentley, Multidimensional binary search trees used for associative searching,
// Communications of the ACM 18 (9), 1975.
#include "search/point_tree.h"

#include <utility>

#include "core/ids.h"
#include "search/nearest_search.h"
#include "search/tie_search.h"
#include "search/tree_queries.h"

namespace kv7::tessmaker {

namespace {

// The branches of a tree that has grown since it was built. Sizes are not known.
struct grown_branches {
    static constexpr unsigned int some = 0xFFFFFFFFU;

    const unsigned int* links;

    subtree left(subtree at) const { return child(links[std::size_t{at.slot} * 2]); }
    subtree right(subtree at) const { return child(links[std::size_t{at.slot} * 2 + 1]); }

private:
    static subtree child(unsigned int slot) { return {slot, slot == no_slot ? 0 : some}; }
};

// Writes the links of a balanced tree.
void link_subtree(subtree at, unsigned int* links) {
    const subtree left = balanced_branches::left(at);
    const subtree right = balanced_branches::right(at);
    if (left) {
        links[std::size_t{at.slot} * 2] = left.slot;
        link_subtree(left, links);
    }
    if (right) {
        links[std::size_t{at.slot} * 2 + 1] = right.slot;
        link_subtree(right, links);
    }
}

// Where an ID is inserted: as a child of `parent`, or nowhere if the ID is met on the way down.
struct landing {
    subtree parent;
    bool is_left;
    bool is_met;
};

// Equal coordinates go right.
template <unsigned DIM, class Branches>
landing find_landing(const tree_points<DIM>& tree, const Branches& branches, subtree root,
                     unsigned int id) {
    const double* const point = tree.point(id);
    landing place{root, false, false};
    subtree at = root;
    for (unsigned int axis = 0; at; axis = next_axis<DIM>(axis)) {
        const unsigned int met = tree.id(at);
        place.parent = at;
        place.is_left = is_above(tree.point(met)[axis], point[axis]);
        place.is_met = met == id;
        if (place.is_met) break;
        at = place.is_left ? branches.left(at) : branches.right(at);
    }
    return place;
}

} // namespace

template <unsigned DIM>
point_tree<DIM>::point_tree(const point_tree& other)
    : pos_(other.pos_), free_slot_(other.free_slot_) {
    if (!ids_.copy(other.ids_) || !links_.copy(other.links_)) {
        reset();
    } else {
        distances_.copy(other.distances_);
        planes_.copy(other.planes_);
    }
}

template <unsigned DIM> void point_tree<DIM>::reset() {
    ids_.clear();
    links_.clear();
    drop_index();
    free_slot_ = no_slot;
}

template <unsigned DIM> void point_tree<DIM>::drop_index() {
    distances_.clear();
    planes_.clear();
}

template <unsigned DIM> bool point_tree<DIM>::reserve(std::size_t n) {
    if (!scratch_) scratch_.emplace();
    return n < no_slot && ids_.reserve(n, 1) && scratch_->reserve(n, 1);
}

template <unsigned DIM> std::size_t point_tree<DIM>::build(const unsigned int* ids, std::size_t n) {
    reset();
    if (!reserve(n)) return 0;
    ids_.resize(n);
    scratch_->resize(n);
    // Kept: columns are taken to stand DIM apart here, whatever `ld` says.
    balanced_order<DIM>(ids, n, {pos_->column(0), DIM}, scratch_->data(), ids_.data());
    scratch_.reset();
    return n;
}

// If columns are not packed, the tree was built on wrong coordinates.
template <unsigned DIM>
void point_tree<DIM>::index_distances(const unsigned int* ids, std::size_t n) {
    drop_index();
    if (pos_->ld() == DIM && n == ids_.size() && links_.empty()) {
        distances_.build(ids, n, {pos_->column(0), DIM});
        if (!distances_.empty()) planes_.build(ids_.data(), n, {pos_->column(0), DIM});
    }
}

template <unsigned DIM>
unsigned int point_tree<DIM>::insert(const unsigned int* begin, const unsigned int* end) {
    unsigned int nbr_added = 0;
    for (const unsigned int* id = begin; id != end; ++id) nbr_added += insert(*id) ? 1 : 0;
    return nbr_added;
}

template <unsigned DIM>
unsigned int point_tree<DIM>::find_closest(const double* point, double& dist2) const {
    return find_closest(point, no_id, dist2);
}

template <unsigned DIM>
unsigned int point_tree<DIM>::find_closest(unsigned int id, double& dist2) const {
    if (id >= pos_->cols()) return no_id;
    return find_closest(pos_->column(id), id, dist2);
}

template <unsigned DIM>
void point_tree<DIM>::find_in_box(const double* box, id_list& hits,
                                  unsigned int excluded_id) const {
    if (ids_.empty()) return;
    box_search<DIM> search(tree_points<DIM>(ids_, *pos_), box, excluded_id, hits);
    on_branches([&](const auto& branches, subtree root) { search.walk(branches, root); });
}

template <unsigned DIM>
unsigned int point_tree<DIM>::find_closest(const double* point, unsigned int excluded_id,
                                           double& dist2) const {
    if (ids_.empty()) return no_id;
    const tree_points<DIM> tree(ids_, *pos_);
    if (!distances_.empty() && pos_->ld() == DIM) {
        index_search<DIM> search(distances_, pos_->column(0), point, excluded_id);
        if (search.run()) {
            const near_nodes& near = search.nodes();
            const near_node nearest =
                near.size() == 1 ? near[0]
                                 : tie_search<DIM>(tree, planes_, point, near).run(ids_.size());
            dist2 = nearest.dist2;
            return nearest.id;
        }
    }
    return on_branches([&](const auto& branches, subtree root) {
        const auto answer = [&](const auto& search) {
            dist2 = search.dist2();
            return search.id();
        };
        if (pos_->ld() == DIM) { // as in `index_distances`
            quick_search<DIM> search(tree, point, excluded_id, dist2);
            search.run(branches, root);
            if (search.is_clear()) return answer(search);
        }
        plain_search<DIM> search(tree, point, excluded_id, dist2);
        search.run(branches, root);
        return answer(search);
    });
}

template <unsigned DIM>
template <class Action>
auto point_tree<DIM>::on_branches(Action action) const {
    if (links_.empty()) {
        return action(balanced_branches{}, subtree{0, static_cast<unsigned int>(ids_.size())});
    }
    return action(grown_branches{links_.data()}, subtree{0, grown_branches::some});
}

// Inserts one ID. Its slot is taken before the descent, and left free for the next ID if this one
// is met on the way down.
template <unsigned DIM> bool point_tree<DIM>::insert(unsigned int id) {
    if (id >= pos_->cols()) return false;
    const bool is_root = ids_.empty();
    drop_index();
    const unsigned int slot = new_slot(id);
    if (is_root) return true;

    const landing place = on_branches([&](const auto& branches, subtree root) {
        return find_landing(tree_points<DIM>(ids_, *pos_), branches, root, id);
    });
    if (place.is_met) {
        free_slot_ = slot;
        return false;
    }
    // Kept: an ID for which memory failed is counted too.
    if (slot != no_slot)
        links_[std::size_t{place.parent.slot} * 2 + (place.is_left ? 0 : 1)] = slot;
    return true;
}

// A slot without children for an ID, `no_slot` when memory fails.
template <unsigned DIM> unsigned int point_tree<DIM>::new_slot(unsigned int id) {
    unsigned int slot = std::exchange(free_slot_, no_slot);
    if (slot == no_slot) {
        const std::size_t n = ids_.size();
        const bool is_balanced = links_.empty();
        if (n + 1 >= no_slot) return no_slot;
        if (!ids_.reserve(n + 1, 2) || !links_.reserve(2 * (n + 1), 2)) return no_slot;
        ids_.resize(n + 1);
        links_.resize(2 * (n + 1), no_slot);
        slot = static_cast<unsigned int>(n);
        if (is_balanced && n != 0) link_subtree({0, slot}, links_.data());
    }
    ids_[slot] = id;
    return slot;
}

template class point_tree<2>;
template class point_tree<3>;

} // namespace kv7::tessmaker
