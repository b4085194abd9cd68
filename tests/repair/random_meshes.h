// Random clouds of points full of coincidences and ties, random connectivities on them, and arrays
// that are windows in larger ones.
#ifndef TESSMAKER_TESTS_REPAIR_RANDOM_MESHES_H
#define TESSMAKER_TESTS_REPAIR_RANDOM_MESHES_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

#include "repair/plain_merge.h"
#include "support/meshes.h"
#include "support/random.h"

namespace test {

enum class cloud {
    grid,      // small integers
    line,      // small integers on one axis
    spot,      // one position
    clusters,  // few centres, offsets of eighths
    uniform,   // unit cube
    tiny,      // small multiples of the smallest positive number
    huge,      // squares overflow
    infinite,  // a grid, and infinite coordinates here and there
    undefined, // a grid, and NaN coordinates here and there
    nbr_kinds
};

inline dense2D<double> random_cloud(random_source& rng, cloud kind, std::size_t dim,
                                    std::size_t n) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const unsigned int size = 2 + rng.id_below(5);
    const auto small = [&] {
        const double v = static_cast<double>(rng.id_below(size)) - static_cast<double>(size / 2);
        return v == 0 && rng.one_in(2) ? -0.0 : v;
    };
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < n; ++c) {
        const std::size_t centre = rng.id_below(4);
        for (std::size_t r = 0; r < dim; ++r) {
            double& v = pos(r, c);
            switch (kind) {
            case cloud::grid: v = small(); break;
            case cloud::line: v = r == 0 ? static_cast<double>(rng.id_below(2 * n)) : 0.5; break;
            case cloud::spot: v = 0.25; break;
            case cloud::clusters:
                v = static_cast<double>((centre >> r) & 1U) * 3 + small() * 0.125;
                break;
            case cloud::uniform: v = rng.uniform(0, 1); break;
            case cloud::tiny: v = small() * 5e-324; break;
            case cloud::huge: v = small() * 4e307; break;
            case cloud::infinite:
                v = rng.one_in(8) ? (rng.one_in(2) ? infinity : -infinity) : small();
                break;
            default: v = rng.one_in(8) ? std::nan("") : small(); break;
            }
        }
    }
    return pos;
}

// From zero to infinity, with the distances of neighbours on a grid and their neighbours among the
// numbers.
inline double random_tolerance(random_source& rng) {
    static const std::vector<double> choice{0,
                                            0,
                                            -0.0,
                                            0.125,
                                            0.25,
                                            0.5,
                                            std::nextafter(1, 0),
                                            1,
                                            1,
                                            std::nextafter(1, 2),
                                            std::sqrt(2.0),
                                            1.5,
                                            std::sqrt(3.0),
                                            2,
                                            10,
                                            5e-324,
                                            1.5e-323,
                                            1e-160,
                                            0.05,
                                            4e307,
                                            1e308,
                                            std::numeric_limits<double>::infinity()};
    return choice[rng.id_below(choice.size())];
}

// Columns of IDs below `nbr_nodes` and sentinels, most of them at the end of a column.
inline column_list random_columns(random_source& rng, std::size_t rows, std::size_t cols,
                                  std::size_t nbr_nodes) {
    column_list columns(cols, id_vector(rows));
    const bool sentinels = rng.one_in(2);
    const bool narrow = rng.one_in(2);
    for (id_vector& column : columns) {
        const std::size_t start = rng.id_below(nbr_nodes);
        const std::size_t end = sentinels && rng.one_in(3) ? 1 + rng.id_below(rows) : rows;
        for (std::size_t r = 0; r < rows; ++r) {
            const std::size_t id =
                narrow ? start + rng.id_below(2 * rows) : rng.id_below(nbr_nodes);
            column[r] = r < end ? static_cast<unsigned int>(id % nbr_nodes) : none;
        }
        if (sentinels && rng.one_in(6)) column[rng.id_below(rows)] = none;
    }
    return columns;
}

// An array, packed or as a window in a larger one, that knows whether anything beside it was
// changed.
template <class T> class window {
public:
    window(random_source& rng, const std::vector<std::vector<T>>& columns, T gap) : gap_(gap) {
        if (columns.empty() || columns[0].empty()) return;
        const std::size_t rows = columns[0].size();
        const bool flat = rng.one_in(3);
        const std::size_t above = flat ? 0 : rng.id_below(3);
        const std::size_t under = flat ? 0 : rng.id_below(3);
        const std::size_t before = rng.id_below(3);
        parent_.resize(above + rows + under, before + columns.size() + rng.id_below(3));
        std::fill(parent_.column(0), parent_.column(parent_.cols()), gap);
        view = parent_.sub_matrix(above, before, rows, columns.size());
        for (std::size_t c = 0; c < columns.size(); ++c) {
            std::copy(columns[c].begin(), columns[c].end(), view.column(c));
        }
        first_ = view.column(0);
        rows_ = rows;
        cols_ = columns.size();
    }

    // Whether all of the parent outside the window, as it was at first, holds the gap value.
    bool surroundings_untouched() const {
        for (std::size_t c = 0; c < parent_.cols(); ++c) {
            for (std::size_t r = 0; r < parent_.rows(); ++r) {
                const T* const cell = parent_.column(c) + r;
                const std::size_t offset = static_cast<std::size_t>(cell - first_);
                const bool inside = cell >= first_ && offset / parent_.rows() < cols_ &&
                                    offset % parent_.rows() < rows_;
                if (!inside && *cell != gap_) return false;
            }
        }
        return true;
    }

    dense2D<T> view;

private:
    dense2D<T> parent_;
    T gap_;
    const T* first_ = nullptr;
    std::size_t rows_ = 0;
    std::size_t cols_ = 0;
};

// The same shape and the same bits; every NaN is one value.
inline bool same_bits(const dense2D<double>& a, const dense2D<double>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (std::size_t c = 0; c < a.cols(); ++c) {
        for (std::size_t r = 0; r < a.rows(); ++r) {
            const double u = a(r, c);
            const double v = b(r, c);
            if (std::isnan(u) && std::isnan(v)) continue;
            if (std::memcmp(&u, &v, sizeof u) != 0) return false;
        }
    }
    return true;
}

} // namespace test

#endif
