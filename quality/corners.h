// Reading of the corners of elements.
#ifndef TESSMAKER_QUALITY_CORNERS_H
#define TESSMAKER_QUALITY_CORNERS_H

#include <algorithm>
#include <array>
#include <cstddef>

#include "core/element_table.h"
#include "core/prefetch.h"
#include "core/small_vectors.h"

namespace kv7::tessmaker {

// How many columns ahead of the walk nodes are prefetched.
inline constexpr std::size_t columns_ahead = 16;

// Reads nodes of `pos`. `IN_SPACE`: it has three coordinates at least. Rows behind the third are
// ignored, and missing ones read as 0.
template <bool IN_SPACE> class node_reader {
public:
    static constexpr bool in_space = IN_SPACE;

    explicit node_reader(const dense2D<double>& pos)
        : first_(pos.column(0)), ld_(pos.ld()), rows_(std::min<std::size_t>(pos.rows(), 3)) {}

    vector<3> operator()(unsigned int node) const {
        const double* const p = first_ + ld_ * node;
        if constexpr (IN_SPACE) return {p[0], p[1], p[2]};
        vector<3> v{};
        std::copy_n(p, rows_, v.values);
        return v;
    }
    // The vector from node a to node b.
    vector<3> edge(unsigned int a, unsigned int b) const {
        const double* const from = first_ + ld_ * a;
        const double* const to = first_ + ld_ * b;
        if constexpr (IN_SPACE) return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
        vector<3> v{};
        for (std::size_t r = 0; r < rows_; ++r) v[r] = to[r] - from[r];
        return v;
    }

    template <std::size_t N> std::array<vector<3>, N> corners(const unsigned int* column) const {
        std::array<vector<3>, N> p;
        for (std::size_t i = 0; i < N; ++i) p[i] = (*this)(column[i]);
        return p;
    }

    // Prefetches the nodes of the column `columns_ahead` further on, unless fewer than that are
    // `left` from `column` on. Columns of mixed types may end in absent IDs, and are left out.
    template <element_type TYPE>
    [[gnu::always_inline]] void prefetch_later(const unsigned int* column, std::size_t ld,
                                               std::size_t left) const {
        if constexpr (TYPE != ET_FACE_MIX && TYPE != ET_SOLID_MIX) {
            if (left <= columns_ahead) return;
            const unsigned int* const later = column + columns_ahead * ld;
            for (std::size_t i = 0; i < shape_of(TYPE).nbr_nodes; ++i) {
                prefetch(first_, ld_ * later[i]);
            }
        }
    }

private:
    const double* first_;
    std::size_t ld_;
    std::size_t rows_;
};

// Calls `work` with a reader of `pos`.
template <class Work> decltype(auto) with_reader(const dense2D<double>& pos, Work work) {
    return pos.rows() >= 3 ? work(node_reader<true>(pos)) : work(node_reader<false>(pos));
}

} // namespace kv7::tessmaker

#endif
