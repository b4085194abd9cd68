// Grids of cells over nodes, told apart by keys of 64 bits. Different cells may have the same key.
#ifndef TESSMAKER_REPAIR_GRID_CELLS_H
#define TESSMAKER_REPAIR_GRID_CELLS_H

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kv7::tessmaker {

// Odd factors, one per axis, that spread cells over the keys.
inline constexpr std::array<std::uint64_t, 3> axis_factor{0x9E3779B97F4A7C15U, 0xC2B2AE3D27D4EB4FU,
                                                          0x165667B19E3779F9U};

// The uppermost bits of the product are the well mixed ones.
inline std::uint64_t hash_of(std::uint64_t key) { return (key ^ key >> 29) * 0xBF58476D1CE4E5B9U; }

// Keys of the cells that the box of a node reaches, its own cell first.
template <unsigned int DIM> struct cell_keys {
    std::array<std::uint64_t, 1U << DIM> key;
    unsigned int count;
};

// For a tolerance of 0: every position is a cell of its own.
template <unsigned int DIM> class position_cells {
public:
    static bool holds(const double*) { return true; }

    std::uint64_t own(const double* p) const {
        std::uint64_t key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const auto bits = std::bit_cast<std::uint64_t>(p[axis] + 0.0); // no negative zero
            key += (bits ^ bits >> 32) * axis_factor[axis];
        }
        return key;
    }
    bool find_reached(const double* p, cell_keys<DIM>& keys) const {
        keys.key[0] = own(p);
        keys.count = 1;
        return true;
    }
};

// Cubes several tolerances wide. The number of a cube never falls when the coordinate rises, so all
// nodes in a box lie in the cubes between those of its ends. Far from the origin, where numbers are
// no longer consecutive integers, that is all that they have in common with places.
template <unsigned int DIM> class cube_cells {
public:
    // Nodes within `reach` of the origin are held.
    cube_cells(double tol, double width, double reach)
        : tol_(tol), per_length_(1 / width), reach_(std::min(reach, 1e150)),
          clear_(0.5 - tol / width - 0x1p-16), most_(std::min(0x1p32, reach_ / width)) {}
    cube_cells(double tol, double width) : cube_cells(tol, width, width * 0x1p60) {}

    double reach() const { return reach_; }
    bool holds(const double* p) const {
        return std::all_of(p, p + DIM, [this](double x) { return std::fabs(x) <= reach_; });
    }

    // The key of the cell of a node that the grid holds.
    std::uint64_t own(const double* p) const {
        std::uint64_t key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) key += number(p[axis]) * axis_factor[axis];
        return key;
    }

    // Quickly finds the key of the cell of any node. True only if the grid holds the node, and its
    // box reaches no other cell; false may come out for such a node, too.
    //
    // With u = 1.1e-16, the number of cells up to the node, and up to the ends of its box, are off
    // by 3 u of itself: 1.5e-6 below 2^32, a tenth of the 2^-16 kept free.
    bool find_only(const double* p, std::uint64_t& key) const {
        double off_middle = 0; // of the cell, in cells; the most of all axes
        double sum = 0;        // NaN if a coordinate is
        key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const double x = p[axis] * per_length_;
            const double shifted = x + shift;
            key += std::bit_cast<std::uint64_t>(shifted) * axis_factor[axis];
            off_middle = std::max(off_middle, std::fabs(x - (shifted - shift)));
            sum += std::fabs(x);
        }
        return off_middle < clear_ && sum < most_;
    }

    // False if the cells are too fine for the digits of the coordinates.
    bool find_reached(const double* p, cell_keys<DIM>& keys) const {
        keys.key[0] = own(p);
        keys.count = 1;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const std::uint64_t low = number(p[axis] - tol_);
            const std::uint64_t high = number(p[axis] + tol_);
            if (low == high) continue;
            if (high - low != 1) return false;
            const bool is_low = low == number(p[axis]);
            const std::uint64_t step = is_low ? axis_factor[axis] : 0 - axis_factor[axis];
            for (unsigned int k = 0; k < keys.count; ++k)
                keys.key[keys.count + k] = keys.key[k] + step;
            keys.count *= 2;
        }
        return true;
    }

private:
    // Added to a number below 2^51, it leaves the nearest integer in the last bits of the sum. The
    // bits of doubles of one sign are in order everywhere.
    static constexpr double shift = 0x1.8p52;

    std::uint64_t number(double x) const {
        return std::bit_cast<std::uint64_t>(x * per_length_ + shift);
    }

    double tol_;
    double per_length_;
    double reach_;
    double clear_; // off the middle by less, a box reaches no other cell
    double most_;
};

} // namespace kv7::tessmaker

#endif
