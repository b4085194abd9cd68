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

// Cubes several tolerances wide. The rounded number of a cube never falls when the coordinate
// rises, so all nodes in a box lie in the cubes between those of its ends.
template <unsigned int DIM> class cube_cells {
public:
    cube_cells(double tol, double width)
        : tol_(tol), per_length_(1 / width), reach_(std::min(width * 0x1p60, 1e150)) {}

    // Whether the numbers of cells near the node are in the range of an integer.
    bool holds(const double* p) const {
        return std::all_of(p, p + DIM, [this](double x) { return std::fabs(x) <= reach_; });
    }

    // The key of the cell of a node that the grid holds.
    std::uint64_t own(const double* p) const {
        std::uint64_t key = 0;
        for (unsigned int axis = 0; axis < DIM; ++axis)
            key += static_cast<std::uint64_t>(number(p[axis])) * axis_factor[axis];
        return key;
    }

    // False if the cells are too fine for the digits of the coordinates.
    bool find_reached(const double* p, cell_keys<DIM>& keys) const {
        keys.key[0] = own(p);
        keys.count = 1;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            const std::int64_t low = number(p[axis] - tol_);
            const std::int64_t high = number(p[axis] + tol_);
            if (low == high) continue;
            if (high - low > 1) return false;
            const bool is_low = low == number(p[axis]);
            const std::uint64_t step = is_low ? axis_factor[axis] : 0 - axis_factor[axis];
            for (unsigned int k = 0; k < keys.count; ++k)
                keys.key[keys.count + k] = keys.key[k] + step;
            keys.count *= 2;
        }
        return true;
    }

private:
    std::int64_t number(double x) const { return static_cast<std::int64_t>(x * per_length_); }

    double tol_;
    double per_length_;
    double reach_;
};

} // namespace kv7::tessmaker

#endif
