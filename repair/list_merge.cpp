#include "repair/list_merge.h"

#include "core/ids.h"
#include "repair/box_tree.h"
#include "repair/grid_weld.h"
#include "repair/node_map.h"
#include "repair/rank_tree.h"

namespace kv7::tessmaker {

namespace {

// More than are visited where nodes fill the plane or space.
constexpr std::size_t most_visited_per_node = 64;

template <unsigned int DIM>
int merge_by_tree(const dense2D<double>& pos, const id_list& list1, const id_list& list2,
                  id_list& new_IDs, double tol) {
    id_list ranks;
    if (!ranks.resize(pos.cols(), no_id)) return -199;
    for (std::size_t k = 0; k < list2.size(); ++k) ranks[list2[k]] = static_cast<unsigned int>(k);
    rank_tree<DIM> tree;
    if (!tree.build(pos, list2, ranks.data())) return -199;

    // Answers a query at once where the first tree visits many nodes: where coordinates are equal,
    // which it splits by ID.
    box_tree<DIM> other;
    bool has_other = false;
    std::size_t nbr_visited = 0;
    std::size_t most_visited = 1024;

    unsigned int* const to = new_IDs.data();
    std::size_t nbr_merged = 0;
    for (const unsigned int p : list1) {
        unsigned int nearest = no_id;
        if (has_other) {
            nearest = other.find_nearest(pos.column(p), tol, ranks[p]);
        } else {
            nearest = tree.find_nearest(pos.column(p), tol, ranks[p], nbr_visited);
            most_visited += most_visited_per_node;
            if (nbr_visited > most_visited) {
                has_other = tree.copy_to(other);
                // Without memory for it, this one goes on.
                if (!has_other) nbr_visited = 0;
            }
        }
        to[p] = nearest == no_id ? p : nearest;
        nbr_merged += nearest == no_id ? 0 : 1;
    }
    // A step always lowers the rank, so that chains end.
    for (const unsigned int p : list1) resolve_chain(to, p);
    return static_cast<int>(nbr_merged);
}

int merge_by_tree(const dense2D<double>& pos, const id_list& list1, const id_list& list2,
                  id_list& new_IDs, double tol) {
    return pos.rows() == 2 ? merge_by_tree<2>(pos, list1, list2, new_IDs, tol)
                           : merge_by_tree<3>(pos, list1, list2, new_IDs, tol);
}

} // namespace

int merge_lists(const dense2D<double>& pos, const id_list& list1, const id_list& list2,
                id_list& new_IDs, double tol) {
    new_IDs.clear();
    if (list1.empty() || list2.empty()) return 0;
    if (!set_identity(new_IDs, pos.cols())) return -199;

    int result = grid_undecided;
    if (list1.data() == list2.data()) result = weld_by_grid(pos, list1, new_IDs, tol);
    if (result == grid_undecided) result = merge_by_tree(pos, list1, list2, new_IDs, tol);
    if (result < 0) new_IDs.clear();
    return result;
}

} // namespace kv7::tessmaker
