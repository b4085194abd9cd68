#include "tessmaker/repair.h"

#include <algorithm>

#include "core/coordinates.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "repair/element_merge.h"
#include "repair/list_merge.h"
#include "repair/node_map.h"
#include "tessmaker/element_type.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// An overload with one argument less than the one that it calls shifts all codes of that one by 1,
// -199 included. Kept: clients rely on -198 there.
int shifted(int code) { return code < -2 ? code + 1 : code; }

// Any two nodes of the connectivities; the rank of a node is its place of first appearance.
int merge_all_nodes(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                    dense2D<unsigned int>* end, id_list& new_IDs, double tol) {
    id_list unique;
    unique_indices(unique, begin, end, {});
    if (unique.empty()) return 0;
    if (!check_IDs(unique, id_limit(pos))) return -2;
    const int nbr_merged = merge_lists(pos, unique, unique, new_IDs, tol);
    if (nbr_merged > 0) {
        for (dense2D<unsigned int>* connect = begin; connect != end; ++connect)
            change_indices(*connect, new_IDs);
    }
    return nbr_merged;
}

int merge_element_nodes(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                        dense2D<unsigned int>* end, id_list& new_IDs, double tol, bool repeated) {
    const unsigned int limit = id_limit(pos);
    const auto ids_are_nodes = [limit](const dense2D<unsigned int>& connect) {
        return check_IDs(connect, limit);
    };
    if (!std::all_of(begin, end, ids_are_nodes)) return -2;
    if (new_IDs.size() != pos.cols()) return -199;
    return merge_in_elements(pos, begin, end, new_IDs, tol, repeated);
}

void move_to_survivors(dense2D<double>& pos, const id_list& new_IDs) {
    const std::size_t rows = pos.rows();
    const std::size_t ld = pos.ld();
    double* const xyz = pos.column(0);
    const unsigned int* const to = new_IDs.data();
    for (std::size_t k = 0; k < new_IDs.size(); ++k) {
        if (to[k] != k) std::copy_n(xyz + to[k] * ld, rows, xyz + k * ld);
    }
}

} // namespace

// Lists.

int merge(const dense2D<double>& pos, const id_list& nodes1, const id_list& nodes2,
          id_list& new_IDs, double tol) {
    clear_outputs(outputs{new_IDs}, inputs{nodes1, nodes2});
    if (pos.empty()) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (!check_IDs(nodes1, id_limit(pos))) return -2;
    if (!check_IDs(nodes2, id_limit(pos))) return -3;
    if (!(tol >= 0)) return -4;

    id_list list1;
    unique_indices(list1, nodes1, {});
    if (nodes1 == nodes2) return merge_lists(pos, list1, list1, new_IDs, tol);
    id_list list2;
    unique_indices(list2, nodes2, {});
    return merge_lists(pos, list1, list2, new_IDs, tol);
}

int merge(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    return shifted(merge(pos, nodes, nodes, new_IDs, tol));
}

// All nodes of `pos`.

int merge(dense2D<double>& pos, id_list& new_IDs, double tol) {
    clear_outputs(outputs{new_IDs}, inputs{pos});
    if (pos.empty()) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (!(tol >= 0)) return -3;

    id_list all;
    if (!set_identity(all, pos.cols())) return shifted(-199);
    const int nbr_merged = merge_lists(pos, all, all, new_IDs, tol);
    if (nbr_merged > 0) move_to_survivors(pos, new_IDs);
    return shifted(nbr_merged);
}

int merge(dense2D<double>& pos, double tol) {
    id_list new_IDs;
    return merge(pos, new_IDs, tol);
}

// Connectivities.

int merge(const dense2D<double>& pos, dense2D<unsigned int>* begin, dense2D<unsigned int>* end,
          id_list& new_IDs, double tol, unsigned int flag) {
    clear_outputs(outputs{new_IDs}, inputs{pos, connectivities{begin, end}});
    if (pos.empty() || begin == end) return 0;
    if (!is_2d_or_3d(pos)) return -1;
    if (end < begin) return -3;
    if (!(tol >= 0)) return -5;
    if (flag > 2) return -6;

    // Kept: IDs are checked after this, so that a failed check leaves the identity in `new_IDs`.
    set_identity(new_IDs, pos.cols());
    if (flag == 0) return merge_all_nodes(pos, begin, end, new_IDs, tol);
    return merge_element_nodes(pos, begin, end, new_IDs, tol, flag == 2);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>* begin, dense2D<unsigned int>* end,
          double tol, unsigned int flag) {
    id_list new_IDs;
    return merge(pos, begin, end, new_IDs, tol, flag);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect1,
          dense2D<unsigned int>& connect2, id_list& new_IDs, double tol, unsigned int flag) {
    dense2D<unsigned int> both[] = {connect1, connect2};
    return merge(pos, std::begin(both), std::end(both), new_IDs, tol, flag);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect1,
          dense2D<unsigned int>& connect2, double tol, unsigned int flag) {
    id_list new_IDs;
    return merge(pos, connect1, connect2, new_IDs, tol, flag);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect, id_list& new_IDs, double tol,
          unsigned int flag) {
    return shifted(merge(pos, &connect, &connect + 1, new_IDs, tol, flag));
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connect, double tol,
          unsigned int flag) {
    id_list new_IDs;
    return merge(pos, connect, new_IDs, tol, flag);
}

} // namespace kv7::tessmaker
