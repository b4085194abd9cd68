// The nodes are dealt out into parts by the block of the grid that they lie in. Each part is small
// enough for a cache. In it, nodes are inserted in a hash table by their cell, in the order of
// their rank, so that a node finds only nodes of lower rank. A node whose box reaches a block of
// another part is searched for there, too.
//
// Only the first node at a position is inserted. The others end where the first one ends, as long
// as no other position is at a distance of 0.
#include "repair/part_weld.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "core/ids.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"
#include "repair/closeness.h"
#include "repair/grid_cells.h"
#include "repair/grid_weld.h"

namespace kv7::tessmaker {

namespace {

constexpr int out_of_memory = -199;
constexpr int too_wide = -2; // cells hold too many nodes that are out of reach of each other

// Boxes seldom leave a wide cell, but where nodes are dense, cells must be narrow.
template <unsigned int DIM> struct cube_grid {
    cube_grid(double tol, double block_width)
        : cells{cube_cells<DIM>(tol, widest * tol), cube_cells<DIM>(tol, 24 * tol),
                cube_cells<DIM>(tol, 12 * tol), cube_cells<DIM>(tol, 6 * tol),
                cube_cells<DIM>(tol, 4 * tol)},
          blocks(tol, block_width, cells.back().reach()) {}

    static constexpr double widest = 128; // tolerances

    std::array<cube_cells<DIM>, 5> cells; // from the widest to the narrowest
    cube_cells<DIM> blocks;
};

// The parts that the box of a node reaches, its own first.
struct reached_parts {
    std::array<std::uint16_t, 8> part;
    unsigned int count = 0;

    void add(std::uint16_t p) {
        const auto end = part.begin() + count;
        if (std::find(part.begin(), end, p) == end) part[count++] = p;
    }
};

// A node dealt out to a part.
enum class role : unsigned int {
    inner,   // it lies in the part, and so does its box
    owned,   // it lies in the part, but its box reaches others
    visitor, // its box reaches the part
};
struct entry {
    unsigned int id;
    role as;
};

// Deals out nodes into parts.
template <unsigned int DIM> class dealer {
public:
    dealer(const ranked_nodes& nodes, const cube_grid<DIM>& grid) : nodes_(nodes), grid_(grid) {}

    // 0 or a code.
    int run() {
        const std::size_t wanted = std::bit_ceil(nodes_.size / nodes_per_part + 1);
        bits_ = static_cast<unsigned int>(std::bit_width(std::min(wanted, most_parts)) - 1);
        if (!first_.resize(nbr_parts() + 1, 0) || !part_of_.resize(nodes_.size))
            return out_of_memory;
        if (!count()) return grid_undecided;
        std::size_t sum = 0;
        for (std::size_t& first : first_) {
            const std::size_t size = first;
            first = sum;
            sum += size;
        }
        if (!entries_.resize(sum)) return out_of_memory;
        place();
        return 0;
    }

    std::size_t nbr_parts() const { return std::size_t{1} << bits_; }
    const entry* part(std::size_t k) const { return entries_.data() + begin_of(k); }
    std::size_t size_of_part(std::size_t k) const { return first_[k] - begin_of(k); }

private:
    // Some hundred kilobytes with all that is kept about a node.
    static constexpr std::size_t nodes_per_part = 2048;
    static constexpr std::size_t most_parts = 1024;
    static constexpr std::uint16_t several = 0xFFFF;

    // Placing moves the beginning of each part to its end.
    std::size_t begin_of(std::size_t k) const { return k == 0 ? 0 : first_[k - 1]; }

    std::uint16_t part_with(std::uint64_t key) const {
        return static_cast<std::uint16_t>((hash_of(key) >> 32) >> (32 - bits_));
    }

    // False if the blocks are too fine for the digits of the coordinates.
    bool find_parts(const double* p, reached_parts& parts) const {
        cell_keys<DIM> keys;
        if (!grid_.blocks.find_reached(p, keys)) return false;
        parts.count = 0;
        for (unsigned int k = 0; k < keys.count; ++k) parts.add(part_with(keys.key[k]));
        return true;
    }

    // False if a node is outside the grid.
    bool count() {
        std::size_t* const size = first_.data();
        std::uint16_t* const part_of = part_of_.data();
        reached_parts parts;
        for (std::size_t rank = 0; rank < nodes_.size; ++rank) {
            const double* const p = nodes_.at(nodes_.id(rank));
            std::uint64_t key = 0;
            if (grid_.blocks.find_only(p, key)) {
                part_of[rank] = part_with(key);
                ++size[part_of[rank]];
                continue;
            }
            if (!grid_.blocks.holds(p) || !find_parts(p, parts)) return false;
            part_of[rank] = parts.count == 1 ? parts.part[0] : several;
            for (unsigned int k = 0; k < parts.count; ++k) ++size[parts.part[k]];
        }
        return true;
    }

    void place() {
        std::size_t* const next = first_.data();
        entry* const entries = entries_.data();
        reached_parts parts;
        for (std::size_t rank = 0; rank < nodes_.size; ++rank) {
            const unsigned int id = nodes_.id(rank);
            if (part_of_[rank] != several) {
                entries[next[part_of_[rank]]++] = {id, role::inner};
                continue;
            }
            find_parts(nodes_.at(id), parts);
            for (unsigned int k = 0; k < parts.count; ++k)
                entries[next[parts.part[k]]++] = {id, k == 0 ? role::owned : role::visitor};
        }
    }

    ranked_nodes nodes_;
    cube_grid<DIM> grid_;
    unsigned int bits_ = 0;
    dense1D<std::size_t, 8> first_;
    dense1D<std::uint16_t, 8> part_of_; // by rank
    dense1D<entry, 8> entries_;
};

struct id_pair {
    unsigned int id, other;
};

// What is known after the parts are welded.
struct open_ends {
    // Inner nodes with another node as near as the nearest one, where it wasn't known yet whether
    // both end at the same node.
    dense1D<id_pair, 8> ties;
    // Nodes whose box reaches several parts, with nodes that are the nearest in one of these.
    dense1D<id_pair, 8> visits;
};

// Welds the nodes of one part after another.
template <unsigned int DIM> class part_weld {
public:
    part_weld(const ranked_nodes& nodes, double tol, const cube_grid<DIM>& grid, open_ends& open)
        : nodes_(nodes), tol_(tol), grid_(grid), open_(open) {}

    // 0 or a code.
    int run(const entry* entries, std::size_t n) {
        if (!local_.resize(n) || !heads_.resize(std::bit_ceil(2 * n + 1))) return out_of_memory;
        const std::size_t nbr_ties = open_.ties.size();
        const std::size_t nbr_visits = open_.visits.size();
        int code = weld(entries, n);
        while (code == too_wide) {
            ++level_; // for all later parts, too
            open_.ties.resize(nbr_ties);
            open_.visits.resize(nbr_visits);
            code = weld(entries, n);
        }
        return code;
    }

private:
    struct local_node {
        std::array<double, DIM> at;
        unsigned int next; // with the same head
        unsigned int end;  // the node where it ends, absent as long as that isn't known
    };

    // Of the nodes inserted so far.
    struct nearest_two {
        double dist2; // the smallest, the largest allowed if there is none
        double second_dist2;
        unsigned int id; // of the part's nodes
        std::size_t nbr_met;
        std::size_t nbr_missed; // out of reach
    };

    // The search for the nearest of the nodes inserted so far, whatever decides.
    struct search {
        const double* at;
        double dist2;              // the smallest found, the largest allowed before
        dense1D<id_pair, 8>& open; // gets nodes as near as the nearest one, from `first` on
        std::size_t first;
        unsigned int id;
        bool is_inner;
        unsigned int nearest = no_id;
        bool is_settled = false; // there is a node at the same position
        bool differs = false;    // two of the nearest nodes end at different ones
        bool is_lost = false;    // memory has failed
    };

    // More nodes met per node, on average, make a crowd.
    static constexpr std::size_t crowd = 32;
    // More nodes out of reach met per node, on average, ask for narrower cells.
    static constexpr std::size_t most_missed = 4;
    static constexpr std::size_t nodes_ahead = 16;

    int weld(const entry* entries, std::size_t n) {
        const std::size_t nbr_heads = std::bit_ceil(2 * n + 1);
        std::fill_n(heads_.data(), nbr_heads, no_id);
        shift_ = 64 - static_cast<unsigned int>(std::bit_width(nbr_heads - 1));
        const bool is_narrowest = level_ + 1 == grid_.cells.size();
        nbr_missed_ = 0;
        for (std::size_t i = 0; i < n; ++i) {
            if (i + nodes_ahead < n) prefetch_node(entries[i + nodes_ahead].id);
            const int code = weld_node(entries, static_cast<unsigned int>(i));
            if (code < 0) return code;
            if (!is_narrowest && nbr_missed_ > most_missed * (i + 256)) return too_wide;
            if (nbr_met_ > crowd * (++nbr_searches_ + 4096)) return grid_undecided;
        }
        return 0;
    }

    void prefetch_node(unsigned int id) const {
        prefetch(nodes_.at(id));
        prefetch(nodes_.at(id) + (DIM - 1));
    }

    // 0 or a code.
    int weld_node(const entry* entries, unsigned int i) {
        const entry e = entries[i];
        std::array<double, DIM>& at = local_[i].at;
        const double* const p = nodes_.at(e.id);
        for (unsigned int axis = 0; axis < DIM; ++axis) at[axis] = p[axis];
        const cube_cells<DIM>& cells = grid_.cells[level_];
        cell_keys<DIM> keys;
        keys.count = 1;
        if (!cells.find_only(at.data(), keys.key[0]) && !cells.find_reached(at.data(), keys))
            return grid_undecided;
        for (unsigned int k = 0; k < keys.count; ++k) keys.key[k] = hash_of(keys.key[k]);
        if (e.as == role::visitor || !weld_by_distance(keys, entries, i))
            return weld_with_care(keys, entries, i);
        insert(keys.key[0], i);
        return 0;
    }

    void insert(std::uint64_t hash, unsigned int i) {
        unsigned int& head = heads_[hash >> shift_];
        local_[i].next = head;
        head = i;
    }

    // Takes the nearest node in the cells of these hashes if nothing but its distance decides.
    // Otherwise false.
    bool weld_by_distance(const cell_keys<DIM>& hashes, const entry* entries, unsigned int i) {
        const local_node* const local = local_.data();
        local_node& node = local_[i];
        const nearest_two found = find_nearest_two(hashes, node.at);
        if (found.dist2 == 0 || found.dist2 == found.second_dist2) return false;
        const bool merges = found.id != no_id;
        const local_node& nearest = merges ? local[found.id] : node;
        if (!is_in_box<DIM>(node.at.data(), tol_, nearest.at.data())) return false;
        nbr_met_ += found.nbr_met;
        nbr_missed_ += found.nbr_missed;
        const entry e = entries[i];
        node.end = e.id;
        if (merges) node.end = nearest.end;
        if (e.as == role::owned) node.end = no_id;
        nodes_.to[e.id] = node.end != no_id ? node.end : entries[merges ? found.id : i].id;
        return true;
    }

    // No outcome of a comparison is known in advance here, so none decides about a branch.
    nearest_two find_nearest_two(const cell_keys<DIM>& hashes,
                                 const std::array<double, DIM> at) const {
        const local_node* const local = local_.data();
        const double most = tol_ * tol_;
        double least = most;
        double second = std::numeric_limits<double>::max();
        unsigned int nearest = no_id;
        std::size_t nbr_met = 0;
        std::size_t nbr_missed = 0;
        for (unsigned int k = 0; k < hashes.count; ++k) {
            for (unsigned int j = heads_[hashes.key[k] >> shift_]; j != no_id; j = local[j].next) {
                const double dist2 = squared_distance<DIM>(at.data(), local[j].at.data());
                ++nbr_met;
                nbr_missed += dist2 > most ? 1 : 0;
                const bool is_nearer = dist2 < least;
                const double farther = is_nearer ? least : dist2;
                second = farther < second ? farther : second;
                nearest = is_nearer ? j : nearest;
                least = is_nearer ? dist2 : least;
            }
        }
        return {least, second, nearest, nbr_met, nbr_missed};
    }

    // 0 or a code.
    int weld_with_care(const cell_keys<DIM>& hashes, const entry* entries, unsigned int i) {
        const entry e = entries[i];
        local_node& node = local_[i];
        const bool is_inner = e.as == role::inner;
        dense1D<id_pair, 8>& open = is_inner ? open_.ties : open_.visits;
        search s{node.at.data(), tol_ * tol_, open, open.size(), e.id, is_inner};
        for (unsigned int k = 0; k < hashes.count && !s.is_settled; ++k)
            search_cell(hashes.key[k], entries, s);
        if (s.is_lost) return out_of_memory;
        const bool is_apart = s.nearest != no_id && s.dist2 == 0 && !s.is_settled;
        if (is_apart || s.differs) return grid_undecided;
        store(e.as, entries, s, node);
        if (!s.is_settled && e.as != role::visitor) insert(hashes.key[0], i);
        return s.is_lost ? out_of_memory : 0;
    }

    void search_cell(std::uint64_t hash, const entry* entries, search& s) {
        const local_node* const local = local_.data();
        for (unsigned int j = heads_[hash >> shift_]; j != no_id; j = local[j].next) {
            const double* const p = local[j].at.data();
            ++nbr_met_;
            const double dist2 = squared_distance<DIM>(s.at, p);
            if (!(dist2 <= s.dist2)) { // it isn't at infinity either
                nbr_missed_ += dist2 <= tol_ * tol_ ? 0 : 1;
            } else if (dist2 == 0 && std::equal(s.at, s.at + DIM, p)) {
                s.is_settled = true;
                take(j, dist2, s);
                return;
            } else if (is_in_box<DIM>(s.at, tol_, p) && j != s.nearest) {
                meet(j, dist2, entries, s);
            }
        }
    }

    void take(unsigned int j, double dist2, search& s) const {
        s.nearest = j;
        s.dist2 = dist2;
        s.differs = false;
        s.open.resize(s.first);
    }

    // A node in reach, as near as the nearest one at least.
    void meet(unsigned int j, double dist2, const entry* entries, search& s) {
        if (s.nearest == no_id || dist2 < s.dist2) {
            take(j, dist2, s);
            return;
        }
        const unsigned int end = local_[j].end;
        const unsigned int nearest_end = local_[s.nearest].end;
        if (s.is_inner && end != no_id && nearest_end != no_id) {
            s.differs |= end != nearest_end;
        } else {
            s.is_lost |= !s.open.push_back({s.id, entries[j].id});
        }
    }

    void store(role as, const entry* entries, search& s, local_node& node) {
        const bool merges = s.nearest != no_id;
        const unsigned int nearest = merges ? entries[s.nearest].id : s.id;
        node.end = no_id;
        if (as == role::visitor) {
            if (merges) s.is_lost |= !s.open.push_back({s.id, nearest});
        } else if (as == role::owned) {
            nodes_.to[s.id] = nearest;
        } else {
            node.end = merges ? local_[s.nearest].end : s.id;
            nodes_.to[s.id] = node.end == no_id ? nearest : node.end;
        }
    }

    ranked_nodes nodes_;
    double tol_;
    cube_grid<DIM> grid_;
    open_ends& open_;
    std::size_t level_ = 0;
    dense1D<local_node, 8> local_;
    dense1D<unsigned int, 8> heads_; // of lists of nodes, by the uppermost bits of their hash
    unsigned int shift_ = 63;
    std::size_t nbr_missed_ = 0; // in this part
    std::size_t nbr_met_ = 0;
    std::size_t nbr_searches_ = 0;
};

// The parts together.
template <unsigned int DIM> class end_finder {
public:
    end_finder(const ranked_nodes& nodes, open_ends& open) : nodes_(nodes), open_(open) {}

    // The number of nodes merged, or a code.
    int run() {
        for (const id_pair visit : open_.visits) take_nearer(visit);
        for (const id_pair visit : open_.visits) {
            if (is_tie(visit) && !open_.ties.push_back(visit)) return out_of_memory;
        }
        const int nbr_merged = follow();
        const unsigned int* const to = nodes_.to;
        for (const id_pair tie : open_.ties) {
            if (to[tie.id] != to[tie.other]) return grid_undecided;
        }
        return nbr_merged;
    }

private:
    double dist2(unsigned int a, unsigned int b) const {
        return squared_distance<DIM>(nodes_.at(a), nodes_.at(b));
    }
    void take_nearer(id_pair visit) const {
        unsigned int& to = nodes_.to[visit.id];
        if (to == visit.id || dist2(visit.id, visit.other) < dist2(visit.id, to)) to = visit.other;
    }
    bool is_tie(id_pair visit) const {
        const unsigned int to = nodes_.to[visit.id];
        return to != visit.other && dist2(visit.id, visit.other) == dist2(visit.id, to);
    }

    // In the order of the ranks, each node goes where the nearest one has gone before.
    int follow() const {
        unsigned int* const to = nodes_.to;
        int nbr_merged = 0;
        for (std::size_t rank = 0; rank < nodes_.size; ++rank) {
            if (rank + 2 * ranks_ahead < nodes_.size) {
                prefetch(to + nodes_.id(rank + 2 * ranks_ahead));
                prefetch(to + to[nodes_.id(rank + ranks_ahead)]);
            }
            const unsigned int id = nodes_.id(rank);
            if (to[id] == id) continue;
            to[id] = to[to[id]];
            ++nbr_merged;
        }
        return nbr_merged;
    }
    static constexpr std::size_t ranks_ahead = 16;

    ranked_nodes nodes_;
    open_ends& open_;
};

// About the extent of the nodes along the longest axis: what the middle three quarters of a sample
// take, and the rest in proportion. Less than 0 if a coordinate of the sample isn't finite.
template <unsigned int DIM> double extent_of(const ranked_nodes& nodes) {
    constexpr std::size_t sample_size = 256;
    const std::size_t n = std::min(nodes.size, sample_size);
    double extent = 0;
    for (unsigned int axis = 0; axis < DIM; ++axis) {
        std::array<double, sample_size> x;
        for (std::size_t k = 0; k < n; ++k) {
            x[k] = nodes.at(nodes.id(k * nodes.size / n))[axis];
            if (!std::isfinite(x[k])) return -1;
        }
        std::sort(x.begin(), x.begin() + n);
        extent = std::max(extent, (x[n - 1 - n / 8] - x[n / 8]) / 0.75);
    }
    return extent;
}

} // namespace

template <unsigned int DIM> int weld_by_parts(const ranked_nodes& nodes, double tol) {
    // Some thousands of blocks on a surface, some ten thousands in a volume.
    constexpr double blocks_of_extent = 64;
    const double block_width =
        std::max(extent_of<DIM>(nodes) / blocks_of_extent, cube_grid<DIM>::widest * tol);
    const cube_grid<DIM> grid(tol, block_width);
    dealer<DIM> dealt(nodes, grid);
    if (const int code = dealt.run(); code < 0) return code;
    open_ends open;
    part_weld<DIM> weld(nodes, tol, grid, open);
    for (std::size_t k = 0; k < dealt.nbr_parts(); ++k) {
        if (const int code = weld.run(dealt.part(k), dealt.size_of_part(k)); code < 0) return code;
    }
    return end_finder<DIM>(nodes, open).run();
}

template int weld_by_parts<2>(const ranked_nodes& nodes, double tol);
template int weld_by_parts<3>(const ranked_nodes& nodes, double tol);

} // namespace kv7::tessmaker
