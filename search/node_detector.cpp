#include "tessmaker/node_detector.h"

#include <limits>
#include <numeric>
#include <random>
#include <utility>

#include "core/coordinates.h"
#include "core/ids.h"
#include "search/point_tree.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The same shuffle in every call. Insertions do not balance the tree, so a sorted run of nodes
// would become a chain.
void shuffle(id_list& nodes) {
    std::mt19937 generator(1);
    for (std::size_t k = 1; k < nodes.size(); ++k) {
        std::swap(nodes[k], nodes[generator() % (k + 1)]);
    }
}

template <class Place, unsigned DIM>
unsigned int closest(const point_tree<DIM>& tree, const Place& place) {
    double dist2 = std::numeric_limits<double>::max();
    return tree.find_closest(place, dist2);
}

template <unsigned DIM> std::size_t build_tree(point_tree<DIM>& tree, const id_list& nodes) {
    const std::size_t nbr_slots = tree.build(nodes.begin(), nodes.size());
    if (nbr_slots != 0) tree.index_distances(nodes.begin(), nodes.size());
    return nbr_slots;
}

} // namespace

node_detector::node_detector(const dense2D<double>& pos) { reinit(pos); }

node_detector::node_detector(const dense2D<double>& pos, const id_list& nodes) {
    reinit(pos, nodes);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    reinit(pos, connect);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                             const dense2D<unsigned int>* end) {
    reinit(pos, begin, end);
}

node_detector::node_detector(const node_detector& other) { *this = other; }

node_detector& node_detector::operator=(const node_detector& other) {
    if (this == &other) return *this;
    clear();
    if (other.tree2_) tree2_ = new point_tree<2>(*other.tree2_);
    if (other.tree3_) tree3_ = new point_tree<3>(*other.tree3_);
    return *this;
}

node_detector::~node_detector() { clear(); }

void node_detector::clear() {
    delete std::exchange(tree2_, nullptr);
    delete std::exchange(tree3_, nullptr);
}

int node_detector::build(const dense2D<double>& pos, id_list& nodes) {
    clear();
    std::size_t nbr_slots = 0;
    if (pos.rows() == 2) {
        tree2_ = new point_tree<2>(pos);
        nbr_slots = build_tree(*tree2_, nodes);
    } else if (pos.rows() == 3) {
        tree3_ = new point_tree<3>(pos);
        nbr_slots = build_tree(*tree3_, nodes);
    }
    return static_cast<int>(nbr_slots);
}

int node_detector::reinit(const dense2D<double>& pos) {
    if (!is_2d_or_3d(pos)) return -1;
    id_list nodes;
    if (!nodes.resize(pos.cols())) return -199;
    std::iota(nodes.begin(), nodes.end(), 0U);
    return build(pos, nodes);
}

int node_detector::reinit(const dense2D<double>& pos, const id_list& nodes) {
    if (!is_2d_or_3d(pos)) return -1;
    id_list own_nodes;
    if (!own_nodes.copy(nodes)) return -199;
    return build(pos, own_nodes);
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    if (!is_2d_or_3d(pos)) return -1;
    id_list nodes;
    unique_indices(nodes, connect, id_list());
    return build(pos, nodes);
}

// Kept: clients rely on this overload to accept a `pos` of any rows, and to empty the detector
// then.
int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                          const dense2D<unsigned int>* end) {
    id_list nodes;
    const int result = unique_indices(nodes, begin, end, id_list());
    if (result < 0) return result;
    return build(pos, nodes);
}

unsigned int node_detector::insert(const id_list& nodes) {
    id_list shuffled;
    shuffled.copy(nodes);
    shuffle(shuffled);
    if (tree2_) return tree2_->insert(shuffled.begin(), shuffled.end());
    if (tree3_) return tree3_->insert(shuffled.begin(), shuffled.end());
    return 0;
}

unsigned int node_detector::insert(const dense2D<unsigned int>& connect) {
    id_list nodes;
    unique_indices(nodes, connect, id_list());
    return insert(nodes);
}

unsigned int node_detector::find_closest(const vector_fixed<double, 2>& point) const {
    return find_closest(vector_fixed<double, 3>{point[0], point[1], 0.0});
}

unsigned int node_detector::find_closest(const vector_fixed<double, 3>& point) const {
    if (tree2_) return closest(*tree2_, point.data());
    if (tree3_) return closest(*tree3_, point.data());
    return no_id;
}

unsigned int node_detector::find_closest(unsigned int node) const {
    if (tree2_) return closest(*tree2_, node);
    if (tree3_) return closest(*tree3_, node);
    return no_id;
}

void node_detector::find_in_box(const vector_fixed<double, 2>& lower,
                                const vector_fixed<double, 2>& upper, id_list& nodes) const {
    find_in_box(vector_fixed<double, 3>{lower[0], lower[1], 0.0},
                vector_fixed<double, 3>{upper[0], upper[1], 0.0}, nodes);
}

void node_detector::find_in_box(const vector_fixed<double, 3>& lower,
                                const vector_fixed<double, 3>& upper, id_list& nodes) const {
    if (tree2_) {
        const double box[] = {lower[0], lower[1], upper[0], upper[1]};
        tree2_->find_in_box(box, nodes);
    } else if (tree3_) {
        const double box[] = {lower[0], lower[1], lower[2], upper[0], upper[1], upper[2]};
        tree3_->find_in_box(box, nodes);
    }
}

unsigned int node_detector::size() const {
    if (tree2_) return static_cast<unsigned int>(tree2_->nbr_slots());
    if (tree3_) return static_cast<unsigned int>(tree3_->nbr_slots());
    return 0;
}

} // namespace kv7::tessmaker
