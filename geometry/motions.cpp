#include "geometry/motions.h"

#include <cstddef>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "geometry/nodes_of.h"
#include "tessmaker/geometry.h"

namespace kv7::tessmaker {

namespace {

// A motion of all nodes, of those in a list, or of those in a connectivity. Returns the number of
// moves.
template <class Motion> int move_nodes(dense2D<double>& pos, const Motion& motion) {
    if (pos.empty()) return 0;
    move_from(pos, 0, motion);
    return static_cast<int>(pos.cols());
}

template <class Motion>
int move_nodes(dense2D<double>& pos, const Motion& motion, const id_list& nodes) {
    if (pos.empty() || nodes.empty()) return 0;
    return static_cast<int>(move_listed(pos, nodes, motion));
}

template <class Motion>
int move_nodes(dense2D<double>& pos, const Motion& motion, const id_matrix& connect) {
    if (pos.empty()) return 0;
    return move_nodes(pos, motion, nodes_of(connect));
}

// `Nodes` is nothing, a list or a connectivity.
template <std::size_t N, class... Nodes>
int translate_nodes(dense2D<double>& pos, const vector_fixed<double, N>& shift,
                    const Nodes&... nodes) {
    if (is_zero(shift)) return 0;
    return move_nodes(pos, translation<N>{shift}, nodes...);
}

template <class Center, class Rotation, class... Nodes>
int rotate_nodes(dense2D<double>& pos, const Center& center, const Rotation& rotation,
                 const Nodes&... nodes) {
    if (is_zero(rotation)) return 0;
    return move_nodes(pos, rotation_about(center, rotation), nodes...);
}

template <std::size_t N, class... Nodes>
int zoom_nodes(dense2D<double>& pos, const vector_fixed<double, N>& center, double factor,
               const Nodes&... nodes) {
    if (factor == 1.0) return 0;
    const int nbr_moves = move_nodes(pos, zooming<N>{center, factor - 1.0}, nodes...);
    return sizeof...(nodes) == 0 ? nbr_moves : 0; // kept: only the form for all nodes counts
}

} // namespace

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift) {
    return translate_nodes(pos, shift);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift) {
    return translate_nodes(pos, shift);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift, const id_list& nodes) {
    return translate_nodes(pos, shift, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift, const id_list& nodes) {
    return translate_nodes(pos, shift, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& shift,
              const dense2D<unsigned int>& connect) {
    return translate_nodes(pos, shift, connect);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& shift,
              const dense2D<unsigned int>& connect) {
    return translate_nodes(pos, shift, connect);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) {
    return rotate_nodes(pos, center, angle);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation) {
    return rotate_nodes(pos, center, rotation);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const id_list& nodes) {
    return rotate_nodes(pos, center, angle, nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const id_list& nodes) {
    return rotate_nodes(pos, center, rotation, nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense2D<unsigned int>& connect) {
    return rotate_nodes(pos, center, angle, connect);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const dense2D<unsigned int>& connect) {
    return rotate_nodes(pos, center, rotation, connect);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) {
    return zoom_nodes(pos, center, factor);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) {
    return zoom_nodes(pos, center, factor);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const id_list& nodes) {
    return zoom_nodes(pos, center, factor, nodes);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const id_list& nodes) {
    return zoom_nodes(pos, center, factor, nodes);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense2D<unsigned int>& connect) {
    return zoom_nodes(pos, center, factor, connect);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense2D<unsigned int>& connect) {
    return zoom_nodes(pos, center, factor, connect);
}

} // namespace kv7::tessmaker
