#include <algorithm>
#include <cstddef>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "geometry/motions.h"
#include "tessmaker/repair.h"

namespace kv7::tessmaker {

namespace {

// The side of a plane on which each node lies, computed when it is first needed.
class node_sides {
public:
    node_sides(const dense2D<double>& pos, const vector<3>& point, const vector<3>& normal)
        : pos_(pos.column(0)), ld_(pos.ld()), rows_(std::min(pos.rows(), std::size_t{3})),
          point_(point), normal_(normal) {}

    // False when memory fails.
    bool init(std::size_t nbr_nodes) { return sides_.resize(nbr_nodes, unknown); }

    // Whether all nodes up to the first absent ID lie on the kept side.
    bool keep(const unsigned int* column, std::size_t rows) {
        short* const sides = sides_.data();
        for (std::size_t r = 0; r < rows && column[r] != no_id; ++r) {
            short& side = sides[column[r]];
            if (side == unknown) side = classify(pos_ + column[r] * ld_);
            if (side == dropped) return false;
        }
        return true;
    }

private:
    static constexpr short unknown = 0;
    static constexpr short kept = 1;
    static constexpr short dropped = -1;

    // A coordinate that `pos` has no row for is taken to be that of the point.
    short classify(const double* p) const {
        vector<3> d{};
        for (std::size_t i = 0; i < rows_; ++i) d[i] = p[i] - point_[i];
        return dot(d, normal_) >= 0.0 ? kept : dropped;
    }

    const double* pos_;
    std::size_t ld_;
    std::size_t rows_;
    vector<3> point_;
    vector<3> normal_;
    dense1D<short, 8> sides_;
};

} // namespace

int clip(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
         const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
         dense2D<unsigned int>& kept) {
    if (connect.empty()) return 0;
    if (!check_IDs(connect, id_limit(pos))) return -2;
    if (is_zero(normal)) return -4;
    if (!kept.empty() && kept.rows() != connect.rows()) return -5;

    node_sides sides(pos, point, normal);
    id_list columns;
    if (!sides.init(pos.cols()) || !columns.resize(connect.cols())) return -199;
    std::size_t nbr_kept = 0;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        if (!sides.keep(connect.column(c), connect.rows())) continue;
        columns[nbr_kept++] = static_cast<unsigned int>(c);
    }
    columns.resize(nbr_kept); // never more, so in place
    return kept.append(connect, columns) ? 0 : -199;
}

} // namespace kv7::tessmaker
