// Nodes are put in a hash table by the cell of a grid that they lie in, in the order of their rank:
// whatever a node finds there ranks lower. Only the first node of a position is put in. The others
// end where the first one ends, as long as no other position is at a distance of 0.
#include "repair/grid_weld.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "core/element_table.h"
#include "core/ids.h"
#include "repair/closeness.h"

namespace kv7::tessmaker {

namespace {

// The table keys of the cells that the box of a node reaches, its own cell first.
template <unsigned int DIM> struct cell_keys {
    std::array<std::uint64_t, 1U << DIM> key;
    unsigned int count;
};

// Odd factors, one an axis, that spread cells over the keys.
constexpr std::array<std::uint64_t, 3> axis_factor{0x9E3779B97F4A7C15U, 0xC2B2AE3D27D4EB4FU,
                                                   0x165667B19E3779F9U};

// Every position is a cell of its own.
template <unsigned int DIM> class position_cells {
public:
    bool find(const double* p, cell_keys<DIM>& keys) const {
        keys.key[0] = 0;
        keys.count = 1;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const auto bits = std::bit_cast<std::uint64_t>(p[axis] + 0.0); // no negative zero
            keys.key[0] += (bits ^ bits >> 32) * axis_factor[axis];
        }
        return true;
    }
};

// Cells several tolerances wide. Cell numbers never fall along an axis, also as rounded, so that
// all nodes in a box lie in the cells between those of its ends.
template <unsigned int DIM> class cube_cells {
public:
    cube_cells(double tol, double width)
        : tol_(tol), per_length_(1 / width), reach_(std::min(width * 0x1p60, 1e150)) {}

    // False for a node that the grid has no cells for.
    bool find(const double* p, cell_keys<DIM>& keys) const {
        keys.key[0] = 0;
        keys.count = 1;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            if (!(std::fabs(p[axis]) <= reach_)) return false;
            const std::int64_t own = cell(p[axis]);
            const std::int64_t low = cell(p[axis] - tol_);
            const std::int64_t high = cell(p[axis] + tol_);
            if (high - low > 1) return false;
            for (unsigned int k = 0; k < keys.count; ++k)
                keys.key[k] += static_cast<std::uint64_t>(own) * axis_factor[axis];
            if (low == high) continue;
            const std::uint64_t step = low == own ? axis_factor[axis] : 0 - axis_factor[axis];
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

// IDs by key, with open addressing. An entry holds a hash of the key in its upper half and the ID
// in its lower one; the table is at most half full.
class node_table {
public:
    // False when memory fails.
    bool init() { return set_size(std::size_t{1} << 12); }

    void prefetch(std::uint64_t key) const {
        __builtin_prefetch(entries_.data() + place(hash_of(key)));
    }

    // Runs `found(id)` on the IDs under `key`, and on those under others of its hash, until it
    // returns true. Returns the number of entries passed.
    template <class Found> std::size_t search(std::uint64_t key, Found found) const {
        const std::uint64_t* const entries = entries_.data();
        const std::uint64_t hash = hash_of(key);
        std::size_t nbr_passed = 0;
        for (std::size_t i = place(hash); entries[i] != free_entry; i = (i + 1) & mask_) {
            if (entries[i] >> 32 == hash && found(static_cast<unsigned int>(entries[i]))) break;
            ++nbr_passed;
        }
        return nbr_passed;
    }

    // False when memory fails.
    bool insert(std::uint64_t key, unsigned int id) {
        if (2 * nbr_ids_ > mask_ && !grow()) return false;
        put(hash_of(key) << 32 | id);
        ++nbr_ids_;
        return true;
    }

private:
    static constexpr std::uint64_t free_entry = static_cast<std::uint64_t>(-1);

    static std::uint64_t hash_of(std::uint64_t key) {
        return (key ^ key >> 29) * 0xBF58476D1CE4E5B9U >> 32;
    }
    std::size_t place(std::uint64_t hash) const { return hash >> shift_; }

    bool set_size(std::size_t size) {
        if (size > std::size_t{1} << 32 || !entries_.resize(size, free_entry)) return false;
        mask_ = size - 1;
        shift_ = 32 - std::bit_width(mask_);
        return true;
    }
    void put(std::uint64_t entry) {
        std::uint64_t* const entries = entries_.data();
        std::size_t i = place(entry >> 32);
        while (entries[i] != free_entry) i = (i + 1) & mask_;
        entries[i] = entry;
    }
    bool grow() {
        node_table larger;
        if (!larger.set_size(2 * entries_.size())) return false;
        for (const std::uint64_t entry : entries_) {
            if (entry != free_entry) larger.put(entry);
        }
        larger.nbr_ids_ = nbr_ids_;
        *this = larger;
        return true;
    }

    dense1D<std::uint64_t, 8> entries_;
    std::size_t mask_ = 0;
    std::size_t shift_ = 0;
    std::size_t nbr_ids_ = 0;
};

// Where a node ends: where the nearest of the nodes that it is shown ends.
template <unsigned int DIM> class nearest_end {
public:
    nearest_end(const double* at, double tol) : at_(at), tol_(tol), dist2_(tol * tol) {}

    // True for a node at the same position, which settles the matter.
    bool show(const double* p, unsigned int end) {
        const double dist2 = squared_distance<DIM>(at_, p);
        if (dist2 == 0 && std::equal(at_, at_ + DIM, p)) {
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
    // 0xFFFFFFFF when none of the nodes shown is in reach.
    unsigned int end() const { return end_; }

private:
    const double* at_;
    double tol_;
    double dist2_;
    unsigned int end_ = no_id;
    bool is_settled_ = false;
    bool is_tie_ = false;
};

// More entries passed than this for each node is a crowd.
constexpr std::size_t crowd = 32;

template <unsigned int DIM, class Cells>
int weld(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol,
         const Cells& cells) {
    const std::size_t ld = pos.ld();
    const double* const xyz = pos.column(0);
    unsigned int* const to = new_IDs.data();
    node_table table;
    if (!table.init()) return -199;
    std::size_t nbr_merged = 0;
    std::size_t nbr_passed = 0;

    // The memory that a block of nodes needs is called for before it is used.
    std::array<cell_keys<DIM>, 64> block;
    for (std::size_t first = 0; first < nodes.size(); first += block.size()) {
        const std::size_t size = std::min(block.size(), nodes.size() - first);
        const unsigned int* const ids = nodes.data() + first;
        for (std::size_t i = 0; i < size; ++i) {
            if (!cells.find(xyz + ids[i] * ld, block[i])) return grid_undecided;
            for (unsigned int k = 0; k < block[i].count; ++k) table.prefetch(block[i].key[k]);
        }
        for (std::size_t i = 0; i < size; ++i) {
            table.search(block[i].key[0], [&](unsigned int id) {
                __builtin_prefetch(xyz + id * ld);
                __builtin_prefetch(to + id);
                return false;
            });
        }
        for (std::size_t i = 0; i < size; ++i) {
            nearest_end<DIM> nearest(xyz + ids[i] * ld, tol);
            for (unsigned int k = 0; k < block[i].count && !nearest.is_settled(); ++k) {
                nbr_passed += table.search(block[i].key[k], [&](unsigned int id) {
                    return nearest.show(xyz + id * ld, to[id]);
                });
            }
            if (nearest.is_undecided()) return grid_undecided;
            const bool merges = nearest.end() != no_id;
            to[ids[i]] = merges ? nearest.end() : ids[i];
            nbr_merged += merges ? 1 : 0;
            if (!nearest.is_settled() && !table.insert(block[i].key[0], ids[i])) return -199;
        }
        if (nbr_passed > crowd * (first + 4096)) return grid_undecided;
    }
    return static_cast<int>(nbr_merged);
}

template <unsigned int DIM>
int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    if (tol == 0) return weld<DIM>(pos, nodes, new_IDs, tol, position_cells<DIM>());
    // Squares must not come near the ends of the range.
    if (!(tol > 1e-150 && tol < 1e150)) return grid_undecided;
    // Boxes seldom leave a wide cell, and a crowd needs narrow ones.
    const int nbr_merged = weld<DIM>(pos, nodes, new_IDs, tol, cube_cells<DIM>(tol, 32 * tol));
    if (nbr_merged != grid_undecided) return nbr_merged;
    return weld<DIM>(pos, nodes, new_IDs, tol, cube_cells<DIM>(tol, 4 * tol));
}

} // namespace

int weld_by_grid(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    return pos.rows() == 2 ? weld_by_grid<2>(pos, nodes, new_IDs, tol)
                           : weld_by_grid<3>(pos, nodes, new_IDs, tol);
}

} // namespace kv7::tessmaker
