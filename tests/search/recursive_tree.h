// The k-d tree in its plainest form: built by sorting whole lists, walked by recursion. What the
// library's tree answers must be what this one answers, hit for hit and tie for tie.
#ifndef TESSMAKER_TESTS_SEARCH_RECURSIVE_TREE_H
#define TESSMAKER_TESTS_SEARCH_RECURSIVE_TREE_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <ostream>
#include <vector>

#include "support/meshes.h"

namespace test {

inline constexpr double largest_double = std::numeric_limits<double>::max();

struct nearest {
    unsigned int id = none;
    double dist2 = largest_double;

    friend bool operator==(const nearest&, const nearest&) = default;
    friend std::ostream& operator<<(std::ostream& out, const nearest& n) {
        return out << n.id << " at " << n.dist2;
    }
};

// (dy*dy + dx*dx) + dz*dz
template <unsigned DIM> double squared_distance(const double* a, const double* b) {
    const double dx = a[0] - b[0];
    const double dy = a[1] - b[1];
    const double in_plane = dy * dy + dx * dx;
    if (DIM == 2) return in_plane;
    const double dz = a[DIM - 1] - b[DIM - 1];
    return in_plane + dz * dz;
}

template <unsigned DIM> bool is_inside(const double* box, const double* p) {
    for (unsigned axis = 0; axis < DIM; ++axis) {
        if (!(box[axis] <= p[axis] && p[axis] <= box[axis + DIM])) return false;
    }
    return true;
}

template <unsigned DIM> class recursive_tree {
public:
    explicit recursive_tree(const dense2D<double>& pos) : pos_(pos) {}

    std::size_t nbr_slots() const { return slots_.size(); }
    std::size_t nbr_free_slots() const { return free_ ? 1 : 0; }

    void build(std::vector<unsigned int> ids) {
        slots_.clear();
        free_.reset();
        build_subtree(ids, 0);
    }

    unsigned int insert(const std::vector<unsigned int>& ids) {
        unsigned int nbr_added = 0;
        for (const unsigned int id : ids) {
            if (id >= pos_.cols()) continue;
            const bool was_empty = slots_.empty();
            const std::size_t slot = new_slot(id);
            if (was_empty || link(0, slot, 0)) {
                ++nbr_added;
            } else {
                free_ = slot;
            }
        }
        return nbr_added;
    }

    nearest find_closest(const double* point, unsigned int excluded = none) const {
        nearest best;
        if (slots_.empty()) return best;
        descend(0, 0, point, excluded, best);
        if (best.dist2 != 0.0) {
            double radius = best.dist2 < largest_double ? std::sqrt(best.dist2) : largest_double;
            search(0, 0, point, excluded, best, radius);
        }
        return best;
    }

    std::vector<unsigned int> find_in_box(const double* box, unsigned int excluded = none) const {
        std::vector<unsigned int> hits;
        if (!slots_.empty()) collect(0, 0, box, excluded, hits);
        return hits;
    }

private:
    using link_to = std::optional<std::size_t>;
    struct node {
        unsigned int id;
        link_to left;
        link_to right;
    };

    static unsigned next(unsigned axis) { return (axis + 1) % DIM; }
    const double* point_of(const node& n) const { return pos_.column(n.id); }

    std::size_t new_slot(unsigned int id) {
        if (free_) {
            const std::size_t slot = *free_;
            free_.reset();
            slots_[slot] = {id, {}, {}};
            return slot;
        }
        slots_.push_back({id, {}, {}});
        return slots_.size() - 1;
    }

    // The coordinate that the build goes by: as if columns were packed.
    double packed(unsigned int id, unsigned axis) const {
        return pos_.column(0)[std::size_t{id} * DIM + axis];
    }

    link_to build_subtree(std::vector<unsigned int> ids, unsigned axis) {
        if (ids.empty()) return {};
        std::sort(ids.begin(), ids.end(), [&](unsigned int a, unsigned int b) {
            return packed(a, axis) < packed(b, axis) ||
                   (packed(a, axis) == packed(b, axis) && a < b);
        });
        const auto mid = ids.begin() + static_cast<std::ptrdiff_t>(ids.size() / 2);
        const std::size_t slot = new_slot(*mid);
        const link_to left = build_subtree({ids.begin(), mid}, next(axis));
        const link_to right = build_subtree({mid + 1, ids.end()}, next(axis));
        slots_[slot].left = left;
        slots_[slot].right = right;
        return slot;
    }

    // False when the ID is met on the way.
    bool link(std::size_t at, std::size_t slot, unsigned axis) {
        node& n = slots_[at];
        const unsigned int id = slots_[slot].id;
        if (n.id == id) return false;
        const bool right = point_of(n)[axis] <= pos_.column(id)[axis];
        link_to& child = right ? n.right : n.left;
        if (child) return link(*child, slot, next(axis));
        child = slot;
        return true;
    }

    void take(const node& n, const double* point, unsigned int excluded, nearest& best) const {
        const double dist2 = squared_distance<DIM>(point, point_of(n));
        if (dist2 < best.dist2 && n.id != excluded) best = {n.id, dist2};
    }

    void descend(std::size_t at, unsigned axis, const double* point, unsigned int excluded,
                 nearest& best) const {
        const node& n = slots_[at];
        const double diff = point[axis] - point_of(n)[axis];
        if (diff * diff < best.dist2) take(n, point, excluded, best);
        if (best.dist2 == 0.0) return;
        const link_to child = diff < 0 ? n.left : n.right;
        if (child) descend(*child, next(axis), point, excluded, best);
    }

    void search(std::size_t at, unsigned axis, const double* point, unsigned int excluded,
                nearest& best, double& radius) const {
        const node& n = slots_[at];
        const double c = point_of(n)[axis];
        const auto go = [&](const link_to& child) {
            if (child && best.dist2 != 0.0) {
                search(*child, next(axis), point, excluded, best, radius);
            }
        };
        if (c <= point[axis] - radius) {
            go(n.right);
        } else if (c >= point[axis] + radius) {
            go(n.left);
        } else {
            const nearest before = best;
            take(n, point, excluded, best);
            if (!(best == before)) radius = std::sqrt(best.dist2);
            const bool both = n.left && n.right;
            go(n.right ? n.right : n.left);
            if (both && c > point[axis] - radius) go(n.left);
        }
    }

    void collect(std::size_t at, unsigned axis, const double* box, unsigned int excluded,
                 std::vector<unsigned int>& hits) const {
        const node& n = slots_[at];
        const double c = point_of(n)[axis];
        const bool ge = box[axis] <= c;
        const bool le = c <= box[axis + DIM];
        if (ge && le && is_inside<DIM>(box, point_of(n)) && n.id != excluded) hits.push_back(n.id);
        if (le && n.right) collect(*n.right, next(axis), box, excluded, hits);
        if (ge && n.left) collect(*n.left, next(axis), box, excluded, hits);
    }

    const dense2D<double>& pos_;
    std::vector<node> slots_;
    link_to free_;
};

} // namespace test

#endif
