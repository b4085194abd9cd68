// Calls of the library's tree, with their answers as the recursive tree gives them.
#ifndef TESSMAKER_TESTS_SEARCH_TREE_CALLS_H
#define TESSMAKER_TESTS_SEARCH_TREE_CALLS_H

#include <numeric>
#include <vector>

#include "search/point_tree.h"
#include "search/recursive_tree.h"

namespace test {

inline std::vector<unsigned int> all_of(const kv7::dense2D<double>& pos) {
    std::vector<unsigned int> ids(pos.cols());
    std::iota(ids.begin(), ids.end(), 0U);
    return ids;
}

template <unsigned DIM>
nearest closest(const kv7::tessmaker::point_tree<DIM>& tree, const double* point) {
    nearest found;
    found.id = tree.find_closest(point, found.dist2);
    return found;
}
template <unsigned DIM>
nearest closest_to(const kv7::tessmaker::point_tree<DIM>& tree, unsigned int id) {
    nearest found;
    found.id = tree.find_closest(id, found.dist2);
    return found;
}

} // namespace test

#endif
