#include <algorithm>
#include <cstddef>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "geometry/motions.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/repair.h"

namespace kv7::tessmaker {

namespace {

// Lists the nodes of `connect` below `nbr_nodes` as they are first seen, and gives the k-th of them
// the new ID `nbr_nodes` + k. `new_IDs` is defined at the nodes listed only, since the mesh may be
// much larger than the part of it that is copied. False when memory fails.
bool list_nodes(const id_matrix& connect, std::size_t nbr_nodes, id_list& nodes, id_list& new_IDs) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    if (!nodes.resize(std::min(rows * cols, nbr_nodes)) || !new_IDs.resize(nbr_nodes)) return false;
    unsigned int* const list = nodes.data();
    unsigned int* const copy_of = new_IDs.data();

    for (std::size_t c = 0; c < cols; ++c) {
        const unsigned int* const column = connect.column(c);
        for (std::size_t r = 0; r < rows; ++r) {
            if (column[r] < nbr_nodes) copy_of[column[r]] = no_id;
        }
    }
    std::size_t nbr_listed = 0;
    for (std::size_t c = 0; c < cols; ++c) {
        const unsigned int* const column = connect.column(c);
        for (std::size_t r = 0; r < rows; ++r) {
            const unsigned int node = column[r];
            if (node >= nbr_nodes || copy_of[node] != no_id) continue;
            if (nbr_nodes + nbr_listed >= no_id) return false; // no ID is left for the copy
            copy_of[node] = static_cast<unsigned int>(nbr_nodes + nbr_listed);
            list[nbr_listed++] = node;
        }
    }
    nodes.resize(nbr_listed); // never more, so in place
    return true;
}

// Turns the connectivity of one copy, whose nodes are the `nbr_new` from `first` on, into that of
// the next copy.
void advance(id_matrix& copy, std::size_t first, std::size_t nbr_new) {
    const std::size_t size = copy.rows() * copy.cols();
    unsigned int* const ids = copy.column(0);
    const auto begin = static_cast<unsigned int>(first);
    const auto step = static_cast<unsigned int>(nbr_new);
    for (std::size_t i = 0; i < size; ++i) ids[i] += ids[i] - begin < step ? step : 0;
}

// The nodes of a copy are appended to `pos` as one run of columns, which then moves as a whole.
template <std::size_t N, class Rotation>
int copy_pattern(dense2D<double>& pos, id_matrix& connect_out, const vector_fixed<double, N>& shift,
                 const vector_fixed<double, N>& center, const Rotation& rotation,
                 unsigned int nbr_copies, const id_matrix& connect) {
    if (pos.empty() || nbr_copies == 0 || connect.empty()) return 0;
    id_list nodes;
    id_list new_IDs;
    id_matrix copy;
    if (!list_nodes(connect, pos.cols(), nodes, new_IDs) || !copy.copy(connect)) return -199;
    change_indices(copy, new_IDs);

    // Reserves once for all copies. If that fails, as many copies are made as memory allows.
    pos.reserve(pos.rows(), pos.cols() + nbr_copies * nodes.size(), 1);
    connect_out.reserve(copy.rows(), connect_out.cols() + nbr_copies * copy.cols(), 1);
    for (unsigned int k = 0; k < nbr_copies; ++k) {
        const std::size_t first = pos.cols();
        if (!pos.append(pos, nodes)) return -199;
        const Rotation turn = scaled(k + 1.0, rotation);
        const translation<N> move{scaled(k + 1.0, shift)};
        if (!nodes.empty() && !is_zero(turn)) move_from(pos, first, rotation_about(center, turn));
        if (!nodes.empty() && !is_zero(move.shift)) move_from(pos, first, move);
        connect_out.append(copy); // kept: a copy for which memory fails is left out
        advance(copy, first, nodes.size());
    }
    return 0;
}

// The reflection in the line (2D) or plane (3D) through `point` with this normal, whose squared
// length must not be 0.
template <std::size_t N> class reflection {
public:
    static constexpr std::size_t dim = N;

    reflection(const vector<N>& point, const vector<N>& normal)
        : point_(point), normal_(normal), scale_(-2.0 / dot(normal, normal)) {}

    void operator()(double* p) const {
        const double s = dot(difference<N>(p, point_.data()), normal_) * scale_;
        for (std::size_t i = 0; i < N; ++i) p[i] = p[i] + s * normal_[i];
    }

private:
    vector<N> point_;
    vector<N> normal_;
    double scale_;
};

template <std::size_t N>
int copy_mirrored(dense2D<double>& pos, id_matrix& connect_out,
                  const vector_fixed<double, N>& point, const vector_fixed<double, N>& normal,
                  const id_matrix& connect) {
    if (pos.empty()) return 0;
    if (dot(normal, normal) == 0.0) return -4;
    const std::size_t first = pos.cols();
    if (const int code = copy_mesh(pos, connect_out, connect); code < 0) return code;
    move_from(pos, first, reflection<N>(point, normal));
    return 0;
}

} // namespace

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
              const dense2D<unsigned int>& connect) {
    id_list nodes;
    id_list new_IDs;
    if (!list_nodes(connect, pos.cols(), nodes, new_IDs)) return -199;
    if (!pos.append(pos, nodes) || !connect_out.copy(connect)) return -199;
    change_indices(connect_out, new_IDs);
    return 0;
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
              const vector_fixed<double, 2>& shift, const vector_fixed<double, 2>& center,
              double angle, unsigned int nbr_copies, const dense2D<unsigned int>& connect) {
    return copy_pattern(pos, connect_out, shift, center, angle, nbr_copies, connect);
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
              const vector_fixed<double, 3>& shift, const vector_fixed<double, 3>& center,
              const vector_fixed<double, 3>& rotation, unsigned int nbr_copies,
              const dense2D<unsigned int>& connect) {
    return copy_pattern(pos, connect_out, shift, center, rotation, nbr_copies, connect);
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                  const vector_fixed<double, 2>& point, const vector_fixed<double, 2>& normal,
                  const dense2D<unsigned int>& connect) {
    return copy_mirrored(pos, connect_out, point, normal, connect);
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connect_out,
                  const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
                  const dense2D<unsigned int>& connect) {
    return copy_mirrored(pos, connect_out, point, normal, connect);
}

} // namespace kv7::tessmaker
