// Nodes are inserted in a hash table by their grid cell, in the order of their rank, so a node
// finds only nodes of lower rank. Only the first node at a position is inserted. The others end
// where the first one ends, as long as no other position is at a distance of 0.
#include "repair/grid_weld.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "core/ids.h"
#include "core/prefetch.h"
#include "core/slot_table.h"
#include "core/small_vectors.h"
#include "repair/closeness.h"

namespace kv7::tessmaker {

namespace {

constexpr int out_of_memory = -199;
constexpr int crowded = -2; // many nodes in reach of each other, or in one cell

// Odd factors, one per axis, that spread cells over the keys.
constexpr std::array<std::uint64_t, 3> axis_factor{0x9E3779B97F4A7C15U, 0xC2B2AE3D27D4EB4FU,
                                                   0x165667B19E3779F9U};

std::uint64_t hash_of(std::uint64_t key) { return (key ^ key >> 29) * 0xBF58476D1CE4E5B9U; }

// Keys of the cells that the box of a node reaches, its own cell first.
template <unsigned int DIM> struct cell_keys {
    std::array<std::uint64_t, 1U << DIM> key;
    unsigned int count;
};

// For a tolerance of 0: every position is a cell of its own.
template <unsigned int DIM> class position_cells {
public:
    bool find_own(const double* p, std::uint64_t& key) const {
        key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const auto bits = std::bit_cast<std::uint64_t>(p[axis] + 0.0); // no negative zero
            key += (bits ^ bits >> 32) * axis_factor[axis];
        }
        return true;
    }
    bool find_reached(const double* p, cell_keys<DIM>& keys) const {
        keys.count = 1;
        return find_own(p, keys.key[0]);
    }
};

// Cells several tolerances wide. The rounded number of a cell never falls when the coordinate
// rises, so all nodes in a box lie in the cells between those of its ends.
template <unsigned int DIM> class cube_cells {
public:
    cube_cells(double tol, double width)
        : tol_(tol), per_length_(1 / width), reach_(std::min(width * 0x1p60, 1e150)) {}

    // False if the node is outside the grid.
    bool find_own(const double* p, std::uint64_t& key) const {
        key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(std::fabs(p[axis]) <= reach_)) return false;
            key += static_cast<std::uint64_t>(cell(p[axis])) * axis_factor[axis];
        }
        return true;
    }

    // False if the cells are too fine for the digits of the coordinates.
    bool find_reached(const double* p, cell_keys<DIM>& keys) const {
        find_own(p, keys.key[0]);
        keys.count = 1;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const std::int64_t low = cell(p[axis] - tol_);
            const std::int64_t high = cell(p[axis] + tol_);
            if (low == high) continue;
            if (high - low > 1) return false;
            const bool is_low = low == cell(p[axis]);
            const std::uint64_t step = is_low ? axis_factor[axis] : 0 - axis_factor[axis];
            for (unsigned int k = 0; k < keys.count; ++k)
                keys.key[keys.count + k] = keys.key[k] + step;
            keys.count *= 2;
        }
        return true;
    }

private:
    std::int64_t cell(double x) const { return static_cast<std::int64_t>(x * per_length_); }

    double tol_;
    double per_length_;
    double reach_;
};

// Where a node ends: where the nearest of the nodes that it is shown ends.
template <unsigned int DIM> class nearest_end {
public:
    nearest_end(const double* at, double tol) : at_(at), tol_(tol), dist2_(tol * tol) {}

    // True if the node is at the same position: the search is then over.
    bool show(const double* p, unsigned int end) {
        const double dist2 = squared_distance<DIM>(at_, p);
        if (std::equal(at_, at_ + DIM, p) && dist2 == 0) { // not at infinity
            end_ = end;
            is_settled_ = true;
        } else if (dist2 <= dist2_ && is_in_box<DIM>(at_, tol_, p)) {
            is_tie_ = end_ != no_id && dist2 == dist2_ && (is_tie_ || end != end_);
            end_ = end;
            dist2_ = dist2;
        }
        return is_settled_;
    }

    bool is_settled() const { return is_settled_; }
    bool is_undecided() const { return !is_settled_ && end_ != no_id && (is_tie_ || dist2_ == 0); }
    // The absent ID if none of the nodes shown is in reach.
    unsigned int end() const { return end_; }

private:
    const double* at_;
    double tol_;
    double dist2_;
    unsigned int end_ = no_id;
    bool is_settled_ = false;
    bool is_tie_ = false;
};

// The nodes to weld, by rank, and where each of them ends.
struct ranked_nodes {
    const double* xyz;
    std::size_t ld;
    const unsigned int* ids; // null for all columns in order
    std::size_t size;
    unsigned int* to; // by ID

    unsigned int id(std::size_t rank) const {
        return ids ? ids[rank] : static_cast<unsigned int>(rank);
    }
    const double* at(unsigned int id) const { return xyz + id * ld; }
};

// One run over the nodes. Those inserted so far rank below the current one.
template <unsigned int DIM, class Cells> class grid_weld {
public:
    grid_weld(const ranked_nodes& nodes, double tol, const Cells& cells)
        : nodes_(nodes), tol_(tol), cells_(cells) {}

    // The number of nodes merged, or a code.
    int run() {
        if (!table_.init(std::size_t{1} << 12)) return out_of_memory;
        for (std::size_t first = 0; first < nodes_.size; first += block_size) {
            const std::size_t size = std::min(block_size, nodes_.size - first);
            if (!prefetch_block(first, size)) return grid_undecided;
            if (const int code = weld_block(first, size); code < 0) return code;
            if (nbr_passed_ > crowd * (first + 4096)) return crowded;
        }
        return static_cast<int>(nbr_merged_);
    }

private:
    static constexpr std::size_t block_size = 64;
    // More entries passed per node, on average, make a crowd.
    static constexpr std::size_t crowd = 32;

    // Hashes the cells of a block of nodes and prefetches their slots. False if a node is outside
    // the grid.
    bool prefetch_block(std::size_t first, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            std::uint64_t key;
            if (!cells_.find_own(nodes_.at(nodes_.id(first + i)), key)) return false;
            hashes_[i] = hash_of(key);
            table_.prefetch(hashes_[i]);
        }
        return true;
    }

    // Returns 0 or a code.
    int weld_block(std::size_t first, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            const unsigned int id = nodes_.id(first + i);
            nearest_end<DIM> nearest(nodes_.at(id), tol_);
            search(hashes_[i], nearest);
            if (!nearest.is_settled() && !search_beyond(id, nearest)) return grid_undecided;
            if (nearest.is_undecided()) return grid_undecided;
            const bool merges = nearest.end() != no_id;
            nodes_.to[id] = merges ? nearest.end() : id;
            nbr_merged_ += merges ? 1 : 0;
            if (!nearest.is_settled() && !table_.insert(hashes_[i], id)) return out_of_memory;
        }
        return 0;
    }

    void search(std::uint64_t hash, nearest_end<DIM>& nearest) {
        nbr_passed_ += table_.search(
            hash, [&](unsigned int met) { return nearest.show(nodes_.at(met), nodes_.to[met]); });
    }

    // Searches the other cells that the box of the node reaches.
    bool search_beyond(unsigned int id, nearest_end<DIM>& nearest) {
        cell_keys<DIM> keys;
        if (!cells_.find_reached(nodes_.at(id), keys)) return false;
        for (unsigned int k = 1; k < keys.count; ++k) search(hash_of(keys.key[k]), nearest);
        return true;
    }

    ranked_nodes nodes_;
    double tol_;
    Cells cells_;
    slot_table table_;
    std::array<std::uint64_t, block_size> hashes_; // of the own cells of a block of nodes
    std::size_t nbr_merged_ = 0;
    std::size_t nbr_passed_ = 0;
};

template <unsigned int DIM, class Cells>
int weld(const ranked_nodes& nodes, double tol, const Cells& cells) {
    return grid_weld<DIM, Cells>(nodes, tol, cells).run();
}

template <unsigned int DIM> int weld(const ranked_nodes& nodes, double tol) {
    if (tol == 0) return weld<DIM>(nodes, tol, position_cells<DIM>());
    // Squares must not come near the ends of the range of double, 1e-308 and 1e308.
    if (!(tol > 1e-150 && tol < 1e150)) return grid_undecided;
    // Boxes seldom leave a wide cell, but a crowd needs narrow ones.
    const int result = weld<DIM>(nodes, tol, cube_cells<DIM>(tol, 32 * tol));
    if (result != crowded) return result;
    return weld<DIM>(nodes, tol, cube_cells<DIM>(tol, 4 * tol));
}

int weld(const dense2D<double>& pos, const ranked_nodes& nodes, double tol) {
    const int result = pos.rows() == 2 ? weld<2>(nodes, tol) : weld<3>(nodes, tol);
    return result == crowded ? grid_undecided : result;
}

} // namespace

int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    return weld(pos, {pos.column(0), pos.ld(), nodes.data(), nodes.size(), new_IDs.data()}, tol);
}

int weld_by_grid(const dense2D<double>& pos, unsigned int* new_IDs, double tol) {
    return weld(pos, {pos.column(0), pos.ld(), nullptr, pos.cols(), new_IDs}, tol);
}

} // namespace kv7::tessmaker
