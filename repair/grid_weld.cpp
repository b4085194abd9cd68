// Nodes are inserted in a hash table by their grid cell, in the order of their rank, so a node
// finds only nodes of lower rank. Only the first node at a position is inserted. The others end
// where the first one ends, as long as no other position is at a distance of 0.
#include "repair/grid_weld.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "core/slot_table.h"
#include "core/small_vectors.h"
#include "repair/closeness.h"
#include "repair/grid_cells.h"
#include "repair/part_weld.h"

namespace kv7::tessmaker {

namespace {

constexpr int out_of_memory = -199;
constexpr int by_parts = -2; // few nodes coincide, or many are in one cell

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
            if (is_for_parts(first + size)) return by_parts;
        }
        return static_cast<int>(nbr_merged_);
    }

private:
    static constexpr std::size_t block_size = 64;
    // More entries passed per node, on average, make a crowd.
    static constexpr std::size_t crowd = 32;
    // By so many nodes it is told whether half of them at least coincide with others, as in a file
    // that gives each facet its corners, one after the other.
    static constexpr std::size_t probe_size = 4096;

    bool is_for_parts(std::size_t nbr_welded) const {
        return nbr_passed_ > crowd * (nbr_welded + 4096) ||
               (nbr_welded == probe_size && 2 * nbr_inserted_ > probe_size && tol_ > 0);
    }

    // Hashes the cells of a block of nodes and prefetches their slots. False if a node is outside
    // the grid.
    bool prefetch_block(std::size_t first, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            const double* const p = nodes_.at(nodes_.id(first + i));
            if (!cells_.holds(p)) return false;
            hashes_[i] = hash_of(cells_.own(p));
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
            if (nearest.is_settled()) continue;
            if (!table_.insert(hashes_[i], id)) return out_of_memory;
            ++nbr_inserted_;
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
    std::size_t nbr_inserted_ = 0;
    std::size_t nbr_passed_ = 0;
};

template <unsigned int DIM, class Cells>
int weld(const ranked_nodes& nodes, double tol, const Cells& cells) {
    return grid_weld<DIM, Cells>(nodes, tol, cells).run();
}

template <unsigned int DIM> int weld(const ranked_nodes& nodes, double tol) {
    if (tol == 0) {
        const int result = weld<DIM>(nodes, tol, position_cells<DIM>());
        return result == by_parts ? grid_undecided : result;
    }
    // Squares must not come near the ends of the range of double, 1e-308 and 1e308.
    if (!(tol > 1e-150 && tol < 1e150)) return grid_undecided;
    // Boxes seldom leave a wide cell.
    const int result = weld<DIM>(nodes, tol, cube_cells<DIM>(tol, 32 * tol));
    return result == by_parts ? weld_by_parts<DIM>(nodes, tol) : result;
}

int weld(const dense2D<double>& pos, const ranked_nodes& nodes, double tol) {
    return pos.rows() == 2 ? weld<2>(nodes, tol) : weld<3>(nodes, tol);
}

} // namespace

int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    return weld(pos, {pos.column(0), pos.ld(), nodes.data(), nodes.size(), new_IDs.data()}, tol);
}

int weld_by_grid(const dense2D<double>& pos, unsigned int* new_IDs, double tol) {
    return weld(pos, {pos.column(0), pos.ld(), nullptr, pos.cols(), new_IDs}, tol);
}

} // namespace kv7::tessmaker
