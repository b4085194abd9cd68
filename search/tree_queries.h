// J. L. Bentley, Multidimensional binary search trees used for associative searching,
// Communications of the ACM 18 (9), 1975. The quick search for the nearest point: S. Arya and
// D. M. Mount, Algorithms for fast vector quantization, Data Compression Conference, 1993.
#include "search/point_tree.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "core/ids.h"
#include "core/small_vectors.h"

namespace kv7::tessmaker {

namespace {

constexpr double no_limit = std::numeric_limits<double>::max();

// The branches of a tree that has grown since it was built. Sizes are not known.
struct grown_branches {
    static constexpr unsigned int some = 0xFFFFFFFFU;

    const unsigned int* links;

    subtree left(subtree at) const { return child(links[std::size_t{at.slot} * 2]); }
    subtree right(subtree at) const { return child(links[std::size_t{at.slot} * 2 + 1]); }

private:
    static subtree child(unsigned int slot) { return {slot, slot == no_slot ? 0 : some}; }
};

// Writes down the branches of a balanced tree.
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

// What a query reads.
template <unsigned DIM> class tree_points {
public:
    tree_points(const dense1D<unsigned int>& ids, const dense2D<double>& pos)
        : ids_(ids.data()), coordinates_(pos.column(0)), ld_(pos.ld()) {}

    unsigned int id(subtree at) const { return ids_[at.slot]; }
    const double* point(unsigned int id) const { return coordinates_ + id * ld_; }

    // Fetches the points of both children, while it is not known yet which one comes next: waiting
    // for memory takes up most of a query. (GCC drops calls of a function that only prefetches,
    // unless they are gone before it looks.)
    [[gnu::always_inline]] void prefetch(subtree left, subtree right) const {
        if (left) prefetch(point(id(left)));
        if (right) prefetch(point(id(right)));
    }

private:
    [[gnu::always_inline]] static void prefetch(const double* p) {
        __builtin_prefetch(p);
        __builtin_prefetch(p + DIM - 1);
    }

    const unsigned int* ids_;
    const double* coordinates_;
    std::size_t ld_;
};

// What a walk has still to do. A balanced tree needs one entry a level; insertions can make
// branches of any length, and the stack then moves to block memory.
template <class T> class walk_stack {
public:
    walk_stack() = default;
    walk_stack(const walk_stack&) = delete;
    walk_stack& operator=(const walk_stack&) = delete;
    ~walk_stack() {
        if (entries_ != local_.data()) __vector_num_free(entries_);
    }

    bool empty() const { return size_ == 0; }
    // An entry for which memory fails is left out.
    void push(const T& entry) {
        if (size_ == capacity_ && !grow()) return;
        entries_[size_++] = entry;
    }
    const T& pop() { return entries_[--size_]; }

private:
    bool grow() {
        const std::size_t bytes = size_ * sizeof(T);
        auto* const larger = static_cast<T*>(__vector_num_alloc(2 * bytes));
        if (!larger) return false;
        std::memcpy(larger, entries_, bytes);
        if (entries_ != local_.data()) __vector_num_free(entries_);
        entries_ = larger;
        capacity_ *= 2;
        return true;
    }

    std::array<T, 64> local_;
    T* entries_ = local_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = local_.size();
};

template <unsigned DIM> class box_search {
public:
    box_search(const tree_points<DIM>& tree, const double* box, unsigned int excluded_id,
               id_list& hits)
        : tree_(tree), box_(box), excluded_id_(excluded_id), hits_(hits) {}

    template <class Branches> void walk(const Branches& branches, subtree at) {
        walk_stack<pending_subtree> pending;
        unsigned int axis = 0;
        for (;;) {
            if (at.size == 1) { // half of all nodes; the way ends here in any case
                add_candidate(tree_.id(at));
                at = {};
            } else {
                const subtree left = branches.left(at);
                const subtree right = branches.right(at);
                tree_.prefetch(left, right);
                const unsigned int id = tree_.id(at);
                const double c = tree_.point(id)[axis];
                // Everything that is a number stands left of what is not.
                const bool go_left = !(c < box_[axis]);
                const bool go_right = c <= box_[DIM + axis];
                axis = next_axis<DIM>(axis);
                if (go_left && go_right) {
                    add_candidate(id);
                    if (left && right) pending.push({left, axis});
                }
                at = go_right ? right : subtree{};
                if (go_left && !at) at = left;
            }
            if (!at) {
                if (pending.empty()) break;
                const pending_subtree& next = pending.pop();
                at = next.at;
                axis = next.axis;
            }
        }
        settle_candidates();
    }

private:
    struct pending_subtree {
        subtree at;
        unsigned int axis;
    };

    // Nodes in range are tested many at a time, in a loop without branches, and not one by one on
    // the way, where every second guess on the outcome would be wrong.
    void add_candidate(unsigned int id) {
        if (nbr_candidates_ == candidates_.size()) settle_candidates();
        candidates_[nbr_candidates_++] = id;
    }

    void settle_candidates() {
        std::size_t nbr_hits = 0;
        for (std::size_t k = 0; k < nbr_candidates_; ++k) {
            const unsigned int id = candidates_[k];
            candidates_[nbr_hits] = id;
            nbr_hits += is_hit(id) ? 1 : 0;
        }
        for (std::size_t k = 0; k < nbr_hits; ++k) hits_.push_back(candidates_[k]);
        nbr_candidates_ = 0;
    }

    bool is_hit(unsigned int id) const {
        const double* const p = tree_.point(id);
        bool hit = id != excluded_id_;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            hit &= (box_[axis] <= p[axis]) & (p[axis] <= box_[DIM + axis]);
        }
        return hit;
    }

    tree_points<DIM> tree_;
    const double* box_;
    unsigned int excluded_id_;
    id_list& hits_;
    std::array<unsigned int, 256> candidates_;
    std::size_t nbr_candidates_ = 0;
};

// The nearest point, and of several at the same distance the first on the way: down to the place of
// `point`, then through the tree, each node before its right subtree and that before its left one.
template <unsigned DIM> class plain_search {
public:
    plain_search(const tree_points<DIM>& tree, const double* point, unsigned int excluded_id,
                 double dist2)
        : tree_(tree), point_(point), excluded_id_(excluded_id), dist2_(dist2) {}

    template <class Branches> void run(const Branches& branches, subtree root) {
        descend(branches, root);
        radius_ = dist2_ < no_limit ? std::sqrt(dist2_) : no_limit;
        walk(branches, root);
    }
    unsigned int id() const { return id_; }
    double dist2() const { return dist2_; }

private:
    struct pending_node {
        double c;
        subtree left;
        unsigned int axis;
    };

    // Gives the walk a small radius to start with.
    template <class Branches> void descend(const Branches& branches, subtree at) {
        for (unsigned int axis = 0; at && dist2_ > 0.0; axis = next_axis<DIM>(axis)) {
            const unsigned int id = tree_.id(at);
            const double diff = point_[axis] - tree_.point(id)[axis];
            if (diff * diff < dist2_) test(id);
            at = diff < 0.0 ? branches.left(at) : branches.right(at);
        }
    }

    template <class Branches> void walk(const Branches& branches, subtree at) {
        walk_stack<pending_node> pending;
        unsigned int axis = 0;
        while (radius_ > 0.0) {
            const subtree left = branches.left(at);
            const subtree right = branches.right(at);
            const unsigned int id = tree_.id(at);
            const double c = tree_.point(id)[axis];
            if (c <= point_[axis] - radius_) {
                at = right;
            } else if (c < point_[axis] + radius_) {
                if (test(id)) radius_ = std::sqrt(dist2_);
                if (left && right) pending.push({c, left, axis});
                at = right ? right : left;
            } else {
                at = left; // here too when the coordinate is not a number
            }
            while (!at) {
                if (pending.empty()) return;
                const pending_node& node = pending.pop();
                axis = node.axis;
                if (node.c > point_[axis] - radius_) at = node.left;
            }
            axis = next_axis<DIM>(axis);
        }
    }

    // Whether the node is the best so far.
    bool test(unsigned int id) {
        if (id == excluded_id_) return false;
        const double d2 = squared_distance<DIM>(point_, tree_.point(id));
        if (!(d2 < dist2_)) return false;
        id_ = id;
        dist2_ = d2;
        return true;
    }

    tree_points<DIM> tree_;
    const double* point_;
    unsigned int excluded_id_;
    unsigned int id_ = no_id;
    double dist2_;
    double radius_ = no_limit;
};

// The nearest point on a shorter way, which begins at the bottom of the tree and leaves out more of
// it. The answer is that of `plain_search` where it is clear: where every other point is farther by
// more than all roundings together, those of the bounds by which `plain_search` leaves out subtrees
// included. Otherwise `plain_search` must decide.
template <unsigned DIM> class quick_search {
public:
    quick_search(const tree_points<DIM>& tree, const double* point, unsigned int excluded_id,
                 double dist2)
        : tree_(tree), point_(point), excluded_id_(excluded_id), dist2_(dist2) {
        // Far above the square root of the least double, below which squares lose their digits.
        double size = 1e-140;
        for (unsigned int axis = 0; axis < DIM; ++axis) size += std::fabs(point[axis]);
        margin_ = relative_margin * size;
        limit_ = dist2 < no_limit ? limit_around(dist2) : no_limit;
    }

    template <class Branches> void run(const Branches& branches, subtree root) {
        walk_stack<region> pending;
        region here{root, 0, 0.0, {}};
        for (;;) {
            while (here.at) {
                const subtree left = branches.left(here.at);
                const subtree right = branches.right(here.at);
                tree_.prefetch(left, right);
                const unsigned int id = tree_.id(here.at);
                const double* const p = tree_.point(id);
                test(id, p);

                const unsigned int axis = here.axis;
                const double diff = point_[axis] - p[axis];
                here.axis = next_axis<DIM>(axis);
                region far_side = here;
                far_side.at = diff < 0.0 ? right : left;
                far_side.offset[axis] = diff;
                far_side.dist2 = squared_length(far_side.offset);
                if (far_side.at && !(far_side.dist2 > limit_)) pending.push(far_side);
                here.at = diff < 0.0 ? left : right;
            }
            do {
                if (pending.empty() || !is_clear()) return;
                here = pending.pop();
            } while (here.dist2 > limit_);
        }
    }

    bool is_clear() const { return id_ == no_id || second_ >= limit_; }
    unsigned int id() const { return id_; }
    double dist2() const { return dist2_; }

private:
    // A subtree and its distance: on each axis the one to the plane that last cut it off.
    struct region {
        subtree at;
        unsigned int axis;
        double dist2;
        std::array<double, DIM> offset;
    };

    static constexpr double relative_margin = 1e-13;

    static double squared_length(const std::array<double, DIM>& v) {
        double sum = 0.0;
        for (const double x : v) sum += x * x;
        return sum;
    }

    double limit_around(double dist2) const {
        const double radius = std::sqrt(dist2);
        const double clear = radius + (margin_ + relative_margin * radius);
        return clear * clear;
    }

    void test(unsigned int id, const double* p) {
        const double d2 = squared_distance<DIM>(point_, p);
        if (!(d2 < limit_) || id == excluded_id_) return;
        if (d2 < dist2_) {
            second_ = dist2_;
            id_ = id;
            dist2_ = d2;
            limit_ = limit_around(d2);
        } else {
            second_ = std::min(second_, d2);
        }
    }

    tree_points<DIM> tree_;
    const double* point_;
    unsigned int excluded_id_;
    unsigned int id_ = no_id;
    double dist2_;
    double second_ = no_limit; // squared distance of the next best one
    double limit_;             // the same where it just leaves the best one clear
    double margin_ = 0.0;
};

// Where an ID goes: the child of a node, or nowhere when it is met on the way.
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
    if (!ids_.copy(other.ids_) || !links_.copy(other.links_)) reset();
}

template <unsigned DIM> void point_tree<DIM>::reset() {
    ids_.clear();
    links_.clear();
    free_slot_ = no_slot;
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
    return on_branches([&](const auto& branches, subtree root) {
        const auto answer = [&](const auto& search) {
            dist2 = search.dist2();
            return search.id();
        };
        // Without packed columns the medians were taken on wrong values.
        if (pos_->ld() == DIM) {
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

// Adds one ID. Its slot is taken before its place is sought, and stays free for the next ID when it
// is met on the way.
template <unsigned DIM> bool point_tree<DIM>::insert(unsigned int id) {
    if (id >= pos_->cols()) return false;
    const bool is_root = ids_.empty();
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
