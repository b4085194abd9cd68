#include "connectivity/node_graph.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "core/prefetch.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The largest number of entries that 32-bit offsets can address.
constexpr std::size_t most_entries = no_id;

// A policy says which nodes of a column are neighbours of one another. `nbr_rows` is the number of
// rows that hold nodes of the element. `visit_joined` visits the neighbours of one node of the
// column in order, possibly including the node itself and repeats. `most_joined` bounds their
// number.

// All nodes of a column are neighbours. ROWS is their number, or 0 if known only at run time.
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

// The other end nodes of the local edges at one local node, in the order of the edges.
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

// Nodes are neighbours if an edge of the element joins them.
template <element_type TYPE> struct joined_by_edges {
    static constexpr bool takes_all_rows = TYPE != ET_FACE_MIX && TYPE != ET_SOLID_MIX;

    static std::size_t nbr_rows(const unsigned int* column) {
        return with_shape<TYPE>(column, [](auto shape) {
            return std::size_t{element_table[decltype(shape)::value].nbr_nodes};
        });
    }
    // Reached by a hexahedron whose nodes are all the same: both ends of its 12 edges are visited.
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
    // For a node that occurs more than once in the column.
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

// Calls `work(run, e, column e)` for all columns, alternating between those before `split` (run 0)
// and the others (run 1), each run in ascending order. Consecutive columns often share nodes, and
// an update of the same counter would wait for the store of the one before; alternating avoids
// that. Returns false, without visiting the rest, as soon as `work` returns false.
template <class Work>
bool for_each_column_by_turns(const dense2D<unsigned int>& connect, std::size_t split, Work work) {
    const std::size_t cols = connect.cols();
    const std::size_t ld = connect.ld();
    const unsigned int* low = connect.column(0);
    const unsigned int* high = connect.column(split);
    for (std::size_t e = 0; e < split; ++e, low += ld, high += ld) {
        prefetch(low, ids_ahead);
        prefetch(high, ids_ahead);
        if (!work(0, e, low) || !work(1, split + e, high)) return false;
    }
    for (std::size_t e = 2 * split; e < cols; ++e, high += ld) {
        prefetch(high, ids_ahead);
        if (!work(1, e, high)) return false;
    }
    return true;
}

// One more than the largest node ID in the columns; at least 1.
template <class Joined>
std::size_t count_nodes(const dense2D<unsigned int>& connect, const Joined& joined) {
    if (Joined::takes_all_rows) return std::max(max_ID(connect) + 1U, 1U);
    unsigned int nbr_nodes = 1;
    for (std::size_t e = 0; e < connect.cols(); ++e) {
        const unsigned int* const column = connect.column(e);
        const std::size_t rows = joined.nbr_rows(column);
        for (std::size_t r = 0; r < rows; ++r) nbr_nodes = std::max(nbr_nodes, column[r] + 1U);
    }
    return nbr_nodes;
}

// Counters for each ID, separate for the two runs of columns. The counter of ID n is entry n + 1.
// For the absent ID n + 1 wraps around to 0, so entry 0 collects it.
struct column_runs {
    id_list low;
    id_list& high;
    std::size_t split = 0; // the first column of the second run
};

// Counts the IDs in all columns. Returns false if an ID is not below `nbr_nodes`.
template <class Joined>
bool add_counts(const dense2D<unsigned int>& connect, const Joined& joined, std::size_t nbr_nodes,
                column_runs& runs) {
    const std::array<unsigned int*, 2> counts{runs.low.data(), runs.high.data()};
    const auto add = [&](std::size_t run, std::size_t, const unsigned int* column) {
        const std::size_t rows = joined.nbr_rows(column);
        for (std::size_t r = 0; r < rows; ++r) {
            const unsigned int successor = column[r] + 1U;
            if (successor > nbr_nodes) return false;
            ++counts[run][successor];
        }
        return true;
    };
    return for_each_column_by_turns(connect, runs.split, add);
}

// Sizes the counters and counts the IDs. Returns false if memory fails.
template <class Joined>
bool count_ids(const dense2D<unsigned int>& connect, const Joined& joined, column_runs& runs) {
    const auto init = [&](std::size_t nbr_nodes, std::size_t split) {
        runs.split = split;
        runs.low.clear();
        runs.high.clear();
        return runs.low.resize(nbr_nodes + 1, 0) && runs.high.resize(nbr_nodes + 1, 0);
    };
    // A pass over all columns for the largest ID is usually spared: where nodes are numbered along
    // the columns, the last columns have it. If a larger one shows up, the numbering is scattered;
    // then consecutive columns rarely share nodes, and one run suffices, whose counters take less
    // cache. Reading 1000 columns costs nothing beside the counting.
    const std::size_t cols = connect.cols();
    const std::size_t nbr_last = std::min<std::size_t>(cols, 1000);
    std::size_t nbr_nodes =
        count_nodes(connect.sub_matrix(0, cols - nbr_last, connect.rows(), nbr_last), joined);
    if (!init(nbr_nodes, cols / 2)) return false;
    if (add_counts(connect, joined, nbr_nodes, runs)) return true;
    nbr_nodes = count_nodes(connect, joined);
    return init(nbr_nodes, 0) && add_counts(connect, joined, nbr_nodes, runs);
}

// Whether 32-bit offsets can address one entry for each node of each column.
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

// Lists the columns of each node: those of node n are list[first[n]] to list[first[n + 1] - 1].
// Returns false if memory fails.
template <class Joined>
bool invert_columns(const dense2D<unsigned int>& connect, const Joined& joined, id_list& first,
                    id_list& list) {
    column_runs runs{{}, first};
    if (!has_few_IDs(connect) || !count_ids(connect, joined, runs)) return false;
    // Turn the counters into the positions at which the next column of each node is listed. After
    // listing, entry n + 1 of the second run is the end of node n and the begin of node n + 1.
    const std::array<unsigned int*, 2> place{runs.low.data(), first.data()};
    unsigned int nbr_entries = 0;
    place[1][0] = 0;
    for (std::size_t n = 1; n < first.size(); ++n) {
        nbr_entries += std::exchange(place[0][n], nbr_entries);
        nbr_entries += std::exchange(place[1][n], nbr_entries);
    }

    if (!list.resize(nbr_entries)) return false;
    unsigned int* const entry = list.data();
    const auto add = [&](std::size_t run, std::size_t e, const unsigned int* column) {
        const std::size_t rows = joined.nbr_rows(column);
        for (std::size_t r = 0; r < rows; ++r) {
            if (column[r] == no_id) continue;
            entry[place[run][column[r] + std::size_t{1}]++] = static_cast<unsigned int>(e);
        }
        return true;
    };
    return for_each_column_by_turns(connect, runs.split, add);
}

// Grows `list`, of which `nbr_joined` entries are used by the first n nodes, by `room` entries at
// least. As it grows it takes what all nodes will need if the others have as many neighbours as the
// first n, plus 5 %, but no more than `most`. Returns false if memory fails.
bool grow_list(std::size_t room, std::size_t nbr_joined, unsigned int n, std::size_t nbr_nodes,
               double most, id_list& list) {
    const double expected =
        1.05 * static_cast<double>(nbr_joined) / (n + 1.0) * static_cast<double>(nbr_nodes);
    const std::size_t wanted = std::max({nbr_joined + room, list.size() + list.size() / 2,
                                         static_cast<std::size_t>(std::min(expected, most))});
    return list.resize(wanted) || list.resize(nbr_joined + room);
}

// Lists the neighbours of each node. On entry, `first` is that of `columns`, the columns of each
// node; it becomes that of `list`. Each entry is read for the last time before it is overwritten.
// Returns false if memory fails.
template <class Joined>
bool join_nodes(const dense2D<unsigned int>& connect, const Joined& joined, const id_list& columns,
                id_list& first, id_list& list) {
    constexpr std::size_t ahead = 24; // the column of that many entries later is prefetched
    const std::size_t nbr_nodes = first.size() - 1;
    const std::size_t nbr_columns = columns.size();
    const double most =
        static_cast<double>(nbr_columns) * static_cast<double>(joined.most_joined());
    id_list stamps(nbr_nodes, no_id); // the last node that listed this one as a neighbour
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
            if (!grow_list(room, nbr_joined, n, nbr_nodes, most, list)) return false;
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

// Returns 0 if `done`; otherwise -199, with the memory of both outputs released.
int report(bool done, id_list& first, id_list& list) {
    if (done) return 0;
    first.clear_hard();
    list.clear_hard();
    return -199;
}

template <class Joined>
int node_graph(const dense2D<unsigned int>& connect, const Joined& joined, id_list& first,
               id_list& list) {
    id_list columns;
    const bool done = invert_columns(connect, joined, first, columns) &&
                      join_nodes(connect, joined, columns, first, list);
    return report(done, first, list);
}

// Calls `work` with the policy `joined_to_all` for that many rows.
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

int node_graph_of_cliques(const dense2D<unsigned int>& connect, id_list& first, id_list& list) {
    first.clear();
    list.clear();
    if (connect.empty()) return 0;
    return with_cliques(connect.rows(), [&](const auto& joined) {
        return node_graph(connect, joined, first, list);
    });
}

int get_node_graph(const dense2D<unsigned int>& connect, id_list& first, id_list& list,
                   element_type type) {
    clear_outputs(outputs{first, list}, inputs{connect});
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

int get_connected_elements(const dense2D<unsigned int>& connect, id_list& first, id_list& list) {
    clear_outputs(outputs{first, list}, inputs{connect});
    if (connect.empty()) return report(first.push_back(0), first, list);
    return with_cliques(connect.rows(), [&](const auto& joined) {
        return report(invert_columns(connect, joined, first, list), first, list);
    });
}

int get_ancestors(const dense2D<unsigned int>& connect, id_list& ancestors) {
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
