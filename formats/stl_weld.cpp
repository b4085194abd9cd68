#include "formats/stl_weld.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/element_table.h"
#include "core/ids.h"
#include "core/small_vectors.h"
#include "tessmaker/repair.h"

namespace kv7::tessmaker {

namespace {

// Cubes over the bounding box of all nodes, at most 2^20 along an axis, with an edge that is long
// against `tol`: the surroundings of a node lie in few of them, most often in its own.
class cube_grid {
public:
    cube_grid(const double* pos, std::size_t nbr_nodes, double tol) {
        double upper[3];
        double not_finite = 0.0; // stays 0 as long as all coordinates are finite
        std::copy_n(pos, 3, origin_);
        std::copy_n(pos, 3, upper);
        for (const double* p = pos; p != pos + 3 * nbr_nodes; p += 3) {
            for (int i = 0; i < 3; ++i) {
                origin_[i] = std::min(origin_[i], p[i]);
                upper[i] = std::max(upper[i], p[i]);
                not_finite += 0.0 * p[i];
            }
        }
        double extent = 0.0;
        for (int i = 0; i < 3; ++i) extent = std::max(extent, upper[i] - origin_[i]);
        scale_ = 1.0 / std::max(16.0 * tol, extent / (1 << 20)) + not_finite;
    }

    // Neither overflow nor a coordinate that isn't finite stands in the way.
    bool is_usable() const { return scale_ > 0.0 && std::isfinite(scale_); }

    // The place along an axis of a coordinate at most `tol` beyond the box; never lower for a
    // higher coordinate, whatever is rounded.
    std::uint64_t place(double coordinate, int axis) const {
        const double distance = (coordinate - origin_[axis]) * scale_;
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(distance));
    }

private:
    double origin_[3];
    double scale_;
};

// The distinct positions met so far, hashed by their cubes. A node and its survivor are corners.
class met_positions {
public:
    met_positions(double tol, const dense2D<double>& pos, const unsigned int* survivors)
        : grid_(pos.column(0), pos.cols(), tol), tol_(tol), pos_(pos.column(0)),
          survivors_(survivors) {}

    bool init(std::size_t nbr_corners) {
        const std::size_t nbr_heads = std::bit_ceil(nbr_corners / 4 + 2);
        shift_ = 64 - std::countr_zero(nbr_heads);
        return grid_.is_usable() && heads_.resize(nbr_heads, no_id) && next_.resize(nbr_corners);
    }

    // Finds the survivor for a corner. False when equal distances, or too many positions in one
    // place, leave it open.
    bool find(unsigned int corner, unsigned int& survivor) {
        const double* const p = pos_ + 3 * std::size_t{corner};
        unsigned int& head =
            heads_[bucket(grid_.place(p[0], 0), grid_.place(p[1], 1), grid_.place(p[2], 2))];
        int nbr_looked_at = 0;
        for (unsigned int q = head; q != no_id; q = next_[q]) {
            if (is_same(p, pos_ + 3 * std::size_t{q})) {
                survivor = survivors_[q];
                return true;
            }
            if (++nbr_looked_at > crowd) return false;
        }
        if (!find_near(corner, p, survivor)) return false;
        next_[corner] = head;
        head = corner;
        return true;
    }

private:
    static constexpr int crowd = 64;

    static bool is_same(const double* p, const double* q) {
        return p[0] == q[0] && p[1] == q[1] && p[2] == q[2];
    }
    std::size_t bucket(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
        return static_cast<std::size_t>((x | y << 21 | z << 42) * 0x9E3779B97F4A7C15U >> shift_);
    }

    // The node nearest to a new position.
    bool find_near(unsigned int corner, const double* p, unsigned int& survivor) const {
        double lower[3];
        double upper[3];
        std::uint64_t first[3];
        std::uint64_t last[3];
        for (int i = 0; i < 3; ++i) {
            lower[i] = p[i] - tol_;
            upper[i] = p[i] + tol_;
            first[i] = grid_.place(lower[i], i);
            last[i] = grid_.place(upper[i], i);
        }
        nearest best{no_id, tol_ * tol_, false};
        for (std::uint64_t z = first[2]; z <= last[2]; ++z) {
            for (std::uint64_t y = first[1]; y <= last[1]; ++y) {
                for (std::uint64_t x = first[0]; x <= last[0]; ++x) {
                    int nbr_looked_at = 0;
                    for (unsigned int q = heads_[bucket(x, y, z)]; q != no_id; q = next_[q]) {
                        look_at(q, p, lower, upper, best);
                        if (++nbr_looked_at > crowd) return false;
                    }
                }
            }
        }
        survivor = best.node == no_id ? corner : survivors_[best.node];
        // Distinct positions can be at distance 0 when its square is too small for a double.
        return best.node == no_id || (!best.is_open && best.dist2 > 0.0);
    }

    struct nearest {
        unsigned int node;
        double dist2;
        bool is_open; // another one with another survivor is as near
    };
    void look_at(unsigned int q, const double* p, const double* lower, const double* upper,
                 nearest& best) const {
        const double* const other = pos_ + 3 * std::size_t{q};
        for (int i = 0; i < 3; ++i) {
            if (other[i] < lower[i] || other[i] > upper[i]) return;
        }
        const double dist2 = squared_distance<3>(other, p);
        if (dist2 < best.dist2 || (dist2 == best.dist2 && best.node == no_id)) {
            best = {q, dist2, false};
        } else if (dist2 == best.dist2 && survivors_[q] != survivors_[best.node]) {
            best.is_open = true;
        }
    }

    cube_grid grid_;
    double tol_;
    const double* pos_;
    const unsigned int* survivors_;
    int shift_ = 0;
    id_list heads_;
    id_list next_; // the node met before in the same bucket
};

int merge_by_tree(double tol, const dense2D<double>& pos, dense2D<unsigned int>& connect) {
    constexpr std::size_t block_size = 100000;
    id_list new_IDs;
    for (std::size_t first = 0; first < connect.cols(); first += block_size) {
        const std::size_t size = std::min(block_size, connect.cols() - first);
        dense2D<unsigned int> block = connect.sub_matrix(0, first, 3, size);
        const int result = merge(pos, block, new_IDs, 0.0, 0);
        if (result < 0) return result;
    }
    return merge(pos, connect, new_IDs, tol, 0);
}

} // namespace

void number_corners(dense2D<unsigned int>& connect) {
    unsigned int* const ids = connect.column(0);
    const std::size_t nbr_corners = 3 * connect.cols();
    for (std::size_t c = 0; c < nbr_corners; ++c) ids[c] = static_cast<unsigned int>(c);
}

// Corners are met in the order of their rank, so that a position met before is of lower rank, and
// the first corner at a position stands for all others there: these lie at distance 0 from it, and
// go where it goes.
bool stl_merge_by_grid(double tol, const dense2D<double>& pos, dense2D<unsigned int>& connect) {
    if (connect.empty()) return true;
    unsigned int* const survivors = connect.column(0);
    const std::size_t nbr_corners = 3 * connect.cols();
    met_positions met(tol, pos, survivors);
    if (!met.init(nbr_corners)) return false;
    for (std::size_t c = 0; c < nbr_corners; ++c) {
        if (!met.find(static_cast<unsigned int>(c), survivors[c])) return false;
    }
    return true;
}

int stl_weld(double tol, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    int result = 0;
    if (!stl_merge_by_grid(tol, pos, connect)) {
        number_corners(connect);
        result = merge_by_tree(tol, pos, connect);
    }
    id_list new_IDs;
    if (result >= 0) result = remove_degenerated(connect, new_IDs, true);
    if (result >= 0) result = simplify(pos, connect, new_IDs, 0);
    return std::min(result, 0);
}

} // namespace kv7::tessmaker
