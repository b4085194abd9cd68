#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "connectivity/facet_index.h"
#include "connectivity/facets.h"
#include "core/element_table.h"
#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "tessmaker/connectivity.h"

namespace kv7::tessmaker {

namespace {

// A set of elements for frequent reuse: a plain list while it is small, then a mark on each of
// them.
class element_set {
public:
    explicit element_set(std::size_t nbr_elements) : nbr_elements_(nbr_elements) {}

    void clear() { few_.clear(); }

    // Inserts an element; `added` tells whether it is new. Returns false if memory fails.
    bool insert(unsigned int element, bool& added) {
        // More than most balls have: 8 hexahedra, about 24 tetrahedra.
        constexpr std::size_t most_few = 32;
        if (few_.size() < most_few) {
            added = std::find(few_.begin(), few_.end(), element) == few_.end();
            if (!added) return true;
            if (!few_.push_back(element)) return false;
            return few_.size() < most_few || move_to_marks();
        }
        added = marks_[element] != mark_;
        marks_[element] = mark_;
        return true;
    }

private:
    bool move_to_marks() {
        if (marks_.empty() && !marks_.resize(nbr_elements_, 0)) return false;
        if (++mark_ == 0) {
            marks_ = 0;
            mark_ = 1;
        }
        for (const unsigned int element : few_) marks_[element] = mark_;
        return true;
    }

    std::size_t nbr_elements_;
    id_list few_;
    id_list marks_; // by element; those of former balls are lower
    unsigned int mark_ = 0;
};

// The local facets through which a walk around `node` leaves an element, in order. If the element
// has the node twice, its first row counts, with two exceptions: a bar is left through the facets
// of both rows, and a tetrahedron through the facets opposite all other nodes, even if it does not
// have `node` at all (kept: clients rely on the walk going on there).
node_facets facets_around(unsigned int node, const unsigned int* column, element_type shape) {
    const auto& around = topology_of(shape).around;
    const unsigned int rows = nbr_nodes(shape);
    node_facets facets{};
    switch (shape) {
    case ET_TETRA4:
        for (unsigned int r = 0; r < rows; ++r) {
            if (column[r] != node) facets.facet[facets.count++] = static_cast<std::uint8_t>(r);
        }
        return facets;
    case ET_BAR2:
        for (unsigned int r = 0; r < rows; ++r) {
            if (column[r] == node) facets.facet[facets.count++] = around[r].facet[0];
        }
        return facets;
    default: {
        const auto u = static_cast<std::size_t>(std::find(column, column + rows, node) - column);
        return u < rows ? around[u] : facets;
    }
    }
}

// The ball of a node: the elements around it.
class node_ball {
public:
    node_ball(const dense2D<unsigned int>& connect, const dense2D<unsigned int>& neighbors,
              element_type type)
        : connect_(connect), neighbors_(neighbors), type_(type), reached_(connect.cols()) {}

    const id_list& elements() const { return elements_; }

    // Walks around `node` from the element `start`, depth first.
    // Returns 0; -4: `start` does not have the node; -3: an element reached from it does not have
    // the node; -199: out of memory.
    int walk(unsigned int node, unsigned int start) {
        elements_.clear();
        pending_.clear();
        reached_.clear();
        if (!reach(start)) return -199;
        while (!pending_.empty()) {
            const std::size_t top = pending_.size() - 1;
            const unsigned int e = pending_[top];
            pending_.resize(top);
            const unsigned int* const column = connect_.column(e);
            const node_facets facets = facets_around(node, column, column_type(type_, column));
            if (facets.count == 0) return elements_.empty() ? -4 : -3;
            if (!elements_.push_back(e)) return -199;
            for (unsigned int k = facets.count; k-- > 0;) {
                const unsigned int across = neighbors_(facets.facet[k], e);
                if (across != no_id && !reach(across)) return -199;
            }
        }
        return 0;
    }

private:
    bool reach(unsigned int element) {
        bool added = false;
        return reached_.insert(element, added) && (!added || pending_.push_back(element));
    }

    const dense2D<unsigned int>& connect_;
    const dense2D<unsigned int>& neighbors_;
    element_type type_;
    id_list elements_;
    id_list pending_; // a stack of elements still to visit
    element_set reached_;
};

// The local facet of an element that has the wanted nodes.
struct facet_match {
    int direction; // as from `compare_facets`; 0: the element has no such facet
    unsigned int local_facet;
};

facet_match find_facet(const facet_nodes& wanted, const unsigned int* column, element_type shape) {
    const local_facets& facets = topology_of(shape).facets;
    for (unsigned int f = 0; f < facets.count; ++f) {
        const int direction = compare_facets(facet_of(column, facets.facet[f]), wanted);
        if (direction != 0) return {direction, f};
    }
    return {0, 0};
}

// The handle of the facet that `side` selects among the matching ones of the elements, or `no_id`.
unsigned int select_handle(const facet_nodes& wanted, const id_list& elements,
                           const dense2D<unsigned int>& connect, element_type type, int side) {
    unsigned int same = no_id;
    unsigned int opposite = no_id;
    for (const unsigned int e : elements) {
        const unsigned int* const column = connect.column(e);
        const facet_match match = find_facet(wanted, column, column_type(type, column));
        const unsigned int handle = e * boundary_stride(type) + match.local_facet;
        if (match.direction > 0) {
            same = handle;
            if (side >= 2) break;
        } else if (match.direction < 0) {
            opposite = handle;
            if (side <= -2) break;
        }
    }
    if (side >= 2) return same;
    if (side <= -2) return opposite;
    if (side >= 0) return same != no_id ? same : opposite;
    return opposite != no_id ? opposite : same;
}

// The same from the facets with the wanted nodes in the same and in the opposite direction.
unsigned int select_handle(const facet_ends& same, const facet_ends& opposite, int side) {
    if (side >= 2) return same.first;
    if (side <= -2) return opposite.first;
    if (side >= 0) return same.last != no_id ? same.last : opposite.last;
    return opposite.last != no_id ? opposite.last : same.last;
}

// Finds the handles of facets.
class handle_search {
public:
    handle_search(const dense2D<unsigned int>& boundaries, const dense2D<unsigned int>& connect,
                  const dense2D<unsigned int>& neighbors, const id_list& ancestors,
                  element_type type, int side)
        : boundaries_(boundaries), connect_(connect), ancestors_(ancestors), type_(type),
          side_(side), ball_(connect, neighbors, type) {}

    // Writes the handles of the facets that are found; `handles` is filled with `no_id` on entry.
    // Returns 0 or the code of `node_ball::walk`.
    int run(id_list& handles) {
        std::size_t work = 0; // elements looked at
        const std::size_t most_work = 64 * (boundaries_.cols() + connect_.cols());
        std::size_t center = no_node();
        for (std::size_t b = 0; b < boundaries_.cols(); ++b) {
            const unsigned int node = first_node(b);
            if (!has_ancestor(node)) continue;
            if (work > most_work) return run_by_node(b, handles);
            if (node != center) {
                const int result = ball_.walk(node, ancestors_[node]);
                if (result != 0) return result;
                center = node;
                work += ball_.elements().size();
            }
            handles[b] = select_handle(facet(b), ball_.elements(), connect_, type_, side_);
            work += ball_.elements().size();
        }
        return 0;
    }

private:
    // No node has this ID.
    std::size_t no_node() const { return ancestors_.size(); }
    unsigned int first_node(std::size_t b) const { return boundaries_(0, b); }
    bool has_ancestor(unsigned int node) const {
        return node < ancestors_.size() && ancestors_[node] != no_id;
    }
    facet_nodes facet(std::size_t b) const {
        return facet_of(boundaries_.column(b), static_cast<unsigned int>(boundaries_.rows()));
    }

    // The same from facet `begin` on, for facets that share few nodes with many elements: all
    // facets of a node at a time.
    int run_by_node(std::size_t begin, id_list& handles) {
        dense1D<std::size_t, 8> order;
        for (std::size_t b = begin; b < boundaries_.cols(); ++b) {
            if (has_ancestor(first_node(b)) && !order.push_back(b)) return -199;
        }
        std::sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
            return first_node(a) != first_node(b) ? first_node(a) < first_node(b) : a < b;
        });

        int result = 0;
        std::size_t end = boundaries_.cols(); // the first facet whose ball fails
        const std::size_t* next = order.begin();
        while (next != order.end()) {
            const std::size_t* const group = next;
            while (next != order.end() && first_node(*next) == first_node(*group)) ++next;
            const int code = find_around_node(group, next, handles);
            if (code == -199) return code;
            if (code != 0 && *group < end) {
                result = code;
                end = *group;
            }
        }
        // What comes behind it has not been looked for.
        for (std::size_t b = end; b < boundaries_.cols(); ++b) handles[b] = no_id;
        return result;
    }

    // For facets with the same first node.
    int find_around_node(const std::size_t* begin, const std::size_t* end, id_list& handles) {
        constexpr std::ptrdiff_t few = 8;
        const unsigned int node = first_node(*begin);
        const int code = ball_.walk(node, ancestors_[node]);
        if (code != 0) return code;
        const bool has_many = end - begin > few;
        if (has_many && !index_.init(node, ball_.elements(), connect_, type_)) return -199;
        for (const std::size_t* b = begin; b != end; ++b) {
            if (has_many) {
                const auto [same, opposite] = index_.find(facet(*b));
                handles[*b] = select_handle(same, opposite, side_);
            } else {
                handles[*b] = select_handle(facet(*b), ball_.elements(), connect_, type_, side_);
            }
        }
        return 0;
    }

    const dense2D<unsigned int>& boundaries_;
    const dense2D<unsigned int>& connect_;
    const id_list& ancestors_;
    element_type type_;
    int side_;
    node_ball ball_;
    facet_index index_;
};

int check_arguments(const dense2D<unsigned int>& boundaries, const dense2D<unsigned int>& connect,
                    const dense2D<unsigned int>& neighbors, const id_list& ancestors,
                    element_type type) {
    if (boundaries.rows() != boundary_height(type)) return -1;
    if (connect.rows() != nbr_nodes(type)) return -2;
    if (!are_neighbors(neighbors, connect, type)) return -3;
    if (!check_IDs(ancestors, static_cast<unsigned int>(connect.cols()))) return -4;
    return is_linear_type(type) ? 0 : -5;
}

} // namespace

int get_elements_on_boundaries(const dense2D<unsigned int>& boundaries,
                               const dense2D<unsigned int>& connect,
                               const dense2D<unsigned int>& neighbors, const id_list& ancestors,
                               element_type type, int side, id_list& handles,
                               unsigned int& stride) {
    clear_outputs(outputs{handles}, inputs{boundaries, connect, neighbors, ancestors});
    stride = 0;
    if (boundaries.empty()) return 0;
    if (!handles.reserve(boundaries.cols(), 1)) return -199;
    type = resolve_mixed_type(connect.rows(), type);
    const int fault = check_arguments(boundaries, connect, neighbors, ancestors, type);
    if (fault != 0) return fault;

    handles.resize(boundaries.cols(), no_id);
    stride = boundary_stride(type);
    const int result =
        handle_search(boundaries, connect, neighbors, ancestors, type, side).run(handles);
    if (result == -199) {
        handles.clear();
        stride = 0;
    }
    return result;
}

} // namespace kv7::tessmaker
