// The facets around a node by their nodes, for nodes with so many elements and facets to find that
// looking at all elements for each facet would be slow.
#ifndef TESSMAKER_CONNECTIVITY_FACET_INDEX_H
#define TESSMAKER_CONNECTIVITY_FACET_INDEX_H

#include <algorithm>
#include <array>
#include <cstddef>

#include "connectivity/facets.h"
#include "core/element_walk.h"
#include "core/ids.h"

namespace kv7::tessmaker {

// The nodes of a facet in an order of their own, and its direction in that order: 0 if both
// directions are the same. Two facets have equal keys exactly if `compare_facets` is not 0 for
// them; it is then 1 if their directions are equal.
struct facet_form {
    std::array<unsigned int, 5> key;
    int direction;
};

inline facet_form form_of(const facet_nodes& facet) {
    const unsigned int size = facet.size;
    std::array<unsigned int, 4> p = facet.node;
    std::rotate(p.begin(), std::min_element(p.begin(), p.begin() + size), p.begin() + size);
    const unsigned int next = p[size == 1 ? 0 : 1];
    const unsigned int last = size == 2 ? p[0] : p[size - 1];
    facet_form form{{size, p[0], std::min(next, last), std::max(next, last), no_id}, 0};
    if (size == 4) form.key[4] = p[2];
    // Both directions of an edge begin with its smaller node.
    if (size == 2) {
        form.direction = facet.node[0] == facet.node[1]  ? 0
                         : facet.node[0] < facet.node[1] ? 1
                                                         : -1;
    } else {
        form.direction = next == last ? 0 : next < last ? 1 : -1;
    }
    return form;
}

// The first and the last of the facets with a key that have one direction; absent IDs if there are
// none.
struct facet_ends {
    unsigned int first = no_id;
    unsigned int last = no_id;

    void add(unsigned int handle) {
        if (first == no_id) first = handle;
        last = handle;
    }
};

// The facets of some elements that hold a node. Of facets of one element with the same key only the
// first counts.
class facet_index {
public:
    // False when memory fails.
    bool init(unsigned int node, const id_list& elements, const dense2D<unsigned int>& connect,
              element_type type) {
        entries_.clear();
        const unsigned int stride = boundary_stride(type);
        for (std::size_t k = 0; k < elements.size(); ++k) {
            const unsigned int* const column = connect.column(elements[k]);
            const local_facets& facets = topology_of(column_type(type, column)).facets;
            for (unsigned int f = 0; f < facets.count; ++f) {
                const facet_nodes nodes = facet_of(column, facets.facet[f]);
                const auto* const end = nodes.node.begin() + nodes.size;
                if (std::find(nodes.node.begin(), end, node) == end) continue;
                if (!entries_.push_back({form_of(nodes), k, elements[k] * stride + f}))
                    return false;
            }
        }
        // Facets of one element stand in their order, since handles ascend with it.
        std::sort(entries_.begin(), entries_.end());
        return group();
    }

    // The facets with the nodes of `wanted` in its direction and in the opposite one.
    std::array<facet_ends, 2> find(const facet_nodes& wanted) const {
        const facet_form form = form_of(wanted);
        const group_of_facets* const found = std::lower_bound(
            groups_.begin(), groups_.end(), form.key,
            [](const group_of_facets& group, const auto& key) { return group.key < key; });
        if (found == groups_.end() || found->key != form.key) return {};
        return form.direction < 0 ? std::array<facet_ends, 2>{found->backward, found->forward}
                                  : std::array<facet_ends, 2>{found->forward, found->backward};
    }

private:
    struct entry {
        facet_form form;
        std::size_t place; // of the element in the list
        unsigned int handle;

        friend bool operator<(const entry& a, const entry& b) {
            if (a.form.key != b.form.key) return a.form.key < b.form.key;
            return a.place != b.place ? a.place < b.place : a.handle < b.handle;
        }
    };

    struct group_of_facets {
        std::array<unsigned int, 5> key;
        facet_ends forward, backward;
    };

    bool group() {
        groups_.clear();
        const entry* previous = nullptr;
        for (const entry& e : entries_) {
            const bool is_next = !previous || previous->form.key != e.form.key;
            if (is_next && !groups_.push_back({e.form.key, {}, {}})) return false;
            if (is_next || previous->place != e.place) {
                group_of_facets& last = groups_[groups_.size() - 1];
                (e.form.direction < 0 ? last.backward : last.forward).add(e.handle);
            }
            previous = &e;
        }
        return true;
    }

    dense1D<entry, 8> entries_;
    dense1D<group_of_facets, 8> groups_;
};

} // namespace kv7::tessmaker

#endif
