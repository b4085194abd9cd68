// Reading of the corners of elements.
#ifndef TESSMAKER_QUALITY_CORNERS_H
#define TESSMAKER_QUALITY_CORNERS_H

#include <array>
#include <cstddef>

#include "core/element_table.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"

namespace kv7::tessmaker {

// How many columns ahead of the walk nodes are prefetched.
inline constexpr std::size_t columns_ahead = 16;

// Reads the first `ROWS` coordinates of nodes of `pos`, up to three. Those that it does not read
// count as 0. `IS_FLAT`: there are no gaps between the columns of `pos`, and no more rows.
template <std::size_t ROWS, bool IS_FLAT> class node_reader {
public:
    static_assert(ROWS >= 1 && ROWS <= 3);
    static constexpr std::size_t rows = ROWS;

    explicit node_reader(const dense2D<double>& pos) : first_(pos.column(0)), ld_(pos.ld()) {}

    const double* at(unsigned int node) const { return first_ + stride() * node; }

    vector<3> operator()(unsigned int node) const {
        const double* const p = at(node);
        if constexpr (ROWS == 3) return {p[0], p[1], p[2]};
        if constexpr (ROWS == 2) return {p[0], p[1], 0.0};
        return {p[0], 0.0, 0.0};
    }
    // The vector from node a to node b.
    vector<3> edge(unsigned int a, unsigned int b) const {
        const double* const from = at(a);
        const double* const to = at(b);
        if constexpr (ROWS == 3) return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
        if constexpr (ROWS == 2) return {to[0] - from[0], to[1] - from[1], 0.0};
        return {to[0] - from[0], 0.0, 0.0};
    }

    template <std::size_t N> std::array<vector<3>, N> corners(const unsigned int* column) const {
        std::array<vector<3>, N> p;
        for (std::size_t i = 0; i < N; ++i) p[i] = (*this)(column[i]);
        return p;
    }

    // Prefetches the nodes of N columns, `columns_ahead` further on, if there are that many `left`
    // from `column` on. Columns of mixed types may end in absent IDs, and are left out.
    template <element_type TYPE, std::size_t N>
    [[gnu::always_inline]] void prefetch_later(const unsigned int* column, std::size_t ld,
                                               std::size_t left) const {
        if constexpr (TYPE != ET_FACE_MIX && TYPE != ET_SOLID_MIX) {
            if (left < columns_ahead + N) return;
            for (std::size_t k = 0; k < N; ++k) {
                const unsigned int* const later = column + (columns_ahead + k) * ld;
                for (std::size_t i = 0; i < shape_of(TYPE).nbr_nodes; ++i)
                    prefetch(first_, stride() * later[i]);
            }
        }
    }

private:
    std::size_t stride() const { return IS_FLAT ? ROWS : ld_; }

    const double* first_;
    std::size_t ld_;
};

// Calls `work` with a reader of `pos`, which is not empty.
template <class Work> decltype(auto) with_reader(const dense2D<double>& pos, Work work) {
    if (pos.ld() == 2 && pos.rows() == 2) return work(node_reader<2, true>(pos));
    if (pos.ld() == 3 && pos.rows() == 3) return work(node_reader<3, true>(pos));
    if (pos.rows() >= 3) return work(node_reader<3, false>(pos));
    if (pos.rows() == 2) return work(node_reader<2, false>(pos));
    return work(node_reader<1, false>(pos));
}

} // namespace kv7::tessmaker

#endif
