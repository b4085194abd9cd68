#include "connectivity/node_graph.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/element_walk.h"
#include "core/prefetch.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The most entries that 32-bit offsets can tell apart.
constexpr std::size_t most_entries = no_id;

// How a column joins nodes: each policy tells how many rows of a column count, visits the nodes
// that the column joins to one of its own, in order, itself and repeats among them, and bounds
// their number.

// All to one another. ROWS is their number, or 0 where it is known at run time only.
template <std::size_t ROWS> struct joined_to_all {
    static constexpr bool takes_all_rows = true;
    std::size_t rows;

    std::size_t nbr_rows(const unsigned int*) const { return ROWS == 0 ? rows : ROWS; }
    std::size_t most_joined() const { return ROWS == 0 ? rows : ROWS; }

    template <class Visit>
    void visit_joined(const unsigned int* column, unsigned int, Visit visit) const {
        const std::size_t n = nbr_rows(column);
        for (std::size_t r = 0; r < n; ++r) visit(column[r]);
    }
};

// The other ends of the local edges at one local node, in the order of the edges.
struct local_ends {
    unsigned int count = 0;
    std::array<std::uint8_t, 4> node{};
};

template <element_type SHAPE> constexpr auto ends_of_edges() {
    constexpr local_edges edges = topology_of(SHAPE).edges;
    std::array<local_ends, element_table[SHAPE].nbr_nodes> ends{};
    for (unsigned int k = 0; k < edges.count; ++k) {
        const auto [a, b] = edges.edge[k];
        ends[a].node[ends[a].count++] = b;
        ends[b].node[ends[b].count++] = a;
    }
    return ends;
}

// Along the edges of the column's shape.
template <element_type TYPE> struct joined_by_edges {
    static constexpr bool takes_all_rows = TYPE != ET_FACE_MIX && TYPE != ET_SOLID_MIX;

    static std::size_t nbr_rows(const unsigned int* column) {
        return with_shape<TYPE>(column, [](auto shape) {
            return std::size_t{element_table[decltype(shape)::value].nbr_nodes};
        });
    }
    // Both ends of each edge of a hexahedron, when all its nodes are one.
    static constexpr std::size_t most_joined() { return 24; }

    template <class Visit>
    static void visit_joined(const unsigned int* column, unsigned int node, Visit visit) {
        with_shape<TYPE>(column, [&](auto shape) {
            constexpr element_type SHAPE = decltype(shape)::value;
            static constexpr auto ends = ends_of_edges<SHAPE>();
            const unsigned int* const end = column + ends.size();
            const unsigned int* const place = std::find(column, end, node);
            if (std::find(place + 1, end, node) != end) {
                visit_along_all_edges<SHAPE>(column, node, visit);
                return;
            }
            const local_ends& joined = ends[static_cast<std::size_t>(place - column)];
            for (unsigned int k = 0; k < joined.count; ++k) visit(column[joined.node[k]]);
        });
    }

private:
    // For a node that the column repeats.
    template <element_type SHAPE, class Visit>
    static void visit_along_all_edges(const unsigned int* column, unsigned int node, Visit visit) {
        constexpr local_edges edges = topology_of(SHAPE).edges;
        for (unsigned int k = 0; k < edges.count; ++k) {
            const unsigned int a = column[edges.edge[k].a];
            const unsigned int b = column[edges.edge[k].b];
            if (a == node) visit(b);
            if (b == node) visit(a);
        }
    }
};

// Counts of IDs, ID n at n + 1. The successor of the sentinel is 0: it is counted in front.
class id_counts {
public:
    // The counts, once all is added: those of the IDs up to the largest one, of ID 0 at least.
    dense1D<unsigned int, 8>& finish() {
        std::size_t size = counts_.size();
        while (size > 2 && counts_[size - 1] == 0) --size;
        counts_.resize(size);
        return counts_;
    }

    bool init() { return counts_.resize(2, 0); }

    // False when memory fails.
    bool add(const unsigned int* ids, std::size_t n) {
        for (std::size_t i = 0; i < n;) {
            i = add_below_size(ids, i, n);
            if (i < n && !make_room(std::size_t{ids[i]} + 2)) return false;
        }
        return true;
    }

private:
    // From the i-th ID on; stops at the first one that has no count.
    std::size_t add_below_size(const unsigned int* ids, std::size_t i, std::size_t n) {
        const std::size_t size = counts_.size();
        unsigned int* const count = counts_.data();
        for (; i + ids_of_line <= n; i += ids_of_line) {
            prefetch(ids + i, ids_ahead);
            for (std::size_t k = i; k < i + ids_of_line; ++k) {
                if (ids[k] + 1U >= size) return k;
                ++count[ids[k] + 1U];
            }
        }
        for (; i < n && ids[i] + 1U < size; ++i) ++count[ids[i] + 1U];
        return i;
    }

    bool make_room(std::size_t size) {
        return counts_.resize(std::max(size, 2 * counts_.size()), 0);
    }

    dense1D<unsigned int, 8> counts_;
};

template <class Joined>
bool count_ids(const dense2D<unsigned int>& connect, const Joined& joined, id_counts& counts) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    if (!counts.init()) return false;
    if (Joined::takes_all_rows && connect.ld() == rows)
        return counts.add(connect.column(0), rows * cols);
    for (std::size_t c = 0; c < cols; ++c) {
        const unsigned int* const column = connect.column(c);
        if (!counts.add(column, joined.nbr_rows(column))) return false;
    }
    return true;
}

// Whether there are no more IDs than 32-bit offsets can tell apart.
bool has_few_IDs(const dense2D<unsigned int>& connect) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    if (rows * cols <= most_entries) return true;
    std::size_t nbr_IDs = 0;
    for (std::size_t c = 0; c < cols; ++c) {
        const unsigned int* const column = connect.column(c);
        nbr_IDs += rows - static_cast<std::size_t>(std::count(column, column + rows, no_id));
    }
    return nbr_IDs <= most_entries;
}

// Node to columns. False when memory fails.
template <class Joined>
bool invert_columns(const dense2D<unsigned int>& connect, const Joined& joined,
                    dense1D<unsigned int, 8>& first, dense1D<unsigned int, 8>& list) {
    id_counts counts;
    if (!has_few_IDs(connect) || !count_ids(connect, joined, counts)) return false;
    dense1D<unsigned int, 8>& places = counts.finish();
    const std::size_t nbr_nodes = places.size() - 1;
    if (!first.resize(nbr_nodes + 1)) return false;
    unsigned int* const start = first.data();
    unsigned int* const place = places.data() + 1;
    unsigned int nbr_entries = 0;
    for (std::size_t n = 0; n < nbr_nodes; ++n) {
        start[n] = nbr_entries;
        nbr_entries += std::exchange(place[n], nbr_entries);
    }
    start[nbr_nodes] = nbr_entries;

    if (!list.resize(nbr_entries)) return false;
    unsigned int* const entry = list.data();
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const unsigned int* column = connect.column(0);
    for (std::size_t e = 0; e < cols; ++e, column += ld) {
        prefetch(column, ids_ahead);
        const std::size_t rows = joined.nbr_rows(column);
        for (std::size_t r = 0; r < rows; ++r) {
            if (column[r] != no_id) entry[place[column[r]]++] = static_cast<unsigned int>(e);
        }
    }
    return true;
}

// Node to nodes. On entry `first` is that of the columns of the nodes; each of its entries is read
// for the last time before the one of the graph takes its place. False when memory fails.
template <class Joined>
bool join_nodes(const dense2D<unsigned int>& connect, const Joined& joined,
                const dense1D<unsigned int, 8>& columns, dense1D<unsigned int, 8>& first,
                dense1D<unsigned int, 8>& list) {
    constexpr std::size_t ahead = 24; // entries to the column that is fetched meanwhile
    const std::size_t nbr_nodes = first.size() - 1;
    const std::size_t nbr_columns = columns.size();
    dense1D<unsigned int, 8> stamps(nbr_nodes, no_id); // the last node whose list holds this one
    if (stamps.size() != nbr_nodes) return false;
    const unsigned int* const column_of = columns.data();
    const unsigned int* const entries = connect.column(0);
    const std::size_t ld = connect.ld();
    unsigned int* const stamp = stamps.data();
    unsigned int* const start = first.data();
    unsigned int* joined_node = list.data();
    std::size_t nbr_joined = 0;
    std::size_t end = 0;
    for (unsigned int n = 0; n < nbr_nodes; ++n) {
        const std::size_t begin = end;
        end = start[n + std::size_t{1}];
        start[n] = static_cast<unsigned int>(nbr_joined);
        const std::size_t room = std::min((end - begin) * joined.most_joined(), nbr_nodes);
        if (list.size() - nbr_joined < room) {
            // As if the nodes to come had as many neighbours as those so far, and a little more.
            const double expected =
                1.05 * static_cast<double>(nbr_joined) / (n + 1.0) * static_cast<double>(nbr_nodes);
            const double most =
                static_cast<double>(nbr_columns) * static_cast<double>(joined.most_joined());
            const std::size_t wanted =
                std::max({nbr_joined + room, list.size() + list.size() / 2,
                          static_cast<std::size_t>(std::min(expected, most))});
            if (!list.resize(wanted) && !list.resize(nbr_joined + room)) return false;
            joined_node = list.data();
        }
        stamp[n] = n;
        for (std::size_t k = begin; k < end; ++k) {
            if (k + ahead < nbr_columns) prefetch(entries, column_of[k + ahead] * ld);
            joined.visit_joined(entries + column_of[k] * ld, n, [&](unsigned int m) {
                if (m == no_id || stamp[m] == n) return;
                stamp[m] = n;
                joined_node[nbr_joined++] = m;
            });
        }
        if (nbr_joined > most_entries) return false;
    }
    start[nbr_nodes] = static_cast<unsigned int>(nbr_joined);
    return list.resize(nbr_joined);
}

// 0, or -199 with both outputs given up.
int report(bool done, dense1D<unsigned int, 8>& first, dense1D<unsigned int, 8>& list) {
    if (done) return 0;
    first.clear_hard();
    list.clear_hard();
    return -199;
}

template <class Joined>
int node_graph(const dense2D<unsigned int>& connect, const Joined& joined,
               dense1D<unsigned int, 8>& first, dense1D<unsigned int, 8>& list) {
    dense1D<unsigned int, 8> columns;
    const bool done = invert_columns(connect, joined, first, columns) &&
                      join_nodes(connect, joined, columns, first, list);
    return report(done, first, list);
}

// Calls `work` with the policy for columns of that many rows.
template <class Work> int with_cliques(std::size_t rows, Work work) {
    switch (rows) {
    case 2: return work(joined_to_all<2>{rows});
    case 3: return work(joined_to_all<3>{rows});
    case 4: return work(joined_to_all<4>{rows});
    case 8: return work(joined_to_all<8>{rows});
    default: return work(joined_to_all<0>{rows});
    }
}

} // namespace

int node_graph_of_cliques(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& first,
                          dense1D<unsigned int, 8>& list) {
    first.clear();
    list.clear();
    if (connect.empty()) return 0;
    return with_cliques(connect.rows(), [&](const auto& joined) {
        return node_graph(connect, joined, first, list);
    });
}

int get_node_graph(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& first,
                   dense1D<unsigned int, 8>& list, element_type type) {
    first.clear();
    list.clear();
    if (connect.empty()) return 0;
    if (type == ET_UNKNOWN) return node_graph_of_cliques(connect, first, list);
    if (connect.rows() != nbr_nodes(type)) return -2;
    switch (type) {
    case ET_BAR2:
    case ET_TRIA3:
    case ET_TETRA4: return node_graph_of_cliques(connect, first, list);
    case ET_QUAD4: return node_graph(connect, joined_by_edges<ET_QUAD4>{}, first, list);
    case ET_FACE_MIX: return node_graph(connect, joined_by_edges<ET_FACE_MIX>{}, first, list);
    case ET_PYRA5: return node_graph(connect, joined_by_edges<ET_PYRA5>{}, first, list);
    case ET_PENTA6: return node_graph(connect, joined_by_edges<ET_PENTA6>{}, first, list);
    case ET_HEXA8: return node_graph(connect, joined_by_edges<ET_HEXA8>{}, first, list);
    case ET_SOLID_MIX: return node_graph(connect, joined_by_edges<ET_SOLID_MIX>{}, first, list);
    default: return -5;
    }
}

int get_connected_elements(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& first,
                           dense1D<unsigned int, 8>& list) {
    first.clear();
    list.clear();
    if (connect.empty()) return report(first.push_back(0), first, list);
    return with_cliques(connect.rows(), [&](const auto& joined) {
        return report(invert_columns(connect, joined, first, list), first, list);
    });
}

int get_ancestors(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& ancestors) {
    if (connect.empty()) return 0;
    if (ancestors.empty() && !ancestors.resize(std::size_t{max_ID(connect)} + 1, no_id))
        return -199;
    unsigned int* const ancestor = ancestors.data();
    const std::size_t nbr_nodes = ancestors.size();
    for (std::size_t e = 0; e < connect.cols(); ++e) {
        const unsigned int* const column = connect.column(e);
        for (std::size_t r = 0; r < connect.rows(); ++r) {
            if (column[r] < nbr_nodes) ancestor[column[r]] = static_cast<unsigned int>(e);
        }
    }
    return 0;
}

} // namespace kv7::tessmaker
