// The merge of many nodes by a tolerance, part by part.
#ifndef TESSMAKER_REPAIR_PART_WELD_H
#define TESSMAKER_REPAIR_PART_WELD_H

#include <cstddef>

namespace kv7::tessmaker {

// The nodes to weld, by rank, and where each of them ends.
struct ranked_nodes {
    const double* xyz;
    std::size_t ld;
    const unsigned int* ids; // null for all columns in order
    std::size_t size;
    unsigned int* to; // by ID

    unsigned int id(std::size_t rank) const {
        return ids ? ids[rank] : static_cast<unsigned int>(rank);
    }
    const double* at(unsigned int id) const { return xyz + id * ld; }
};

// As `weld_by_grid`. The tolerance is above 0, and its square is far from the ends of the range of
// double.
template <unsigned int DIM> int weld_by_parts(const ranked_nodes& nodes, double tol);

} // namespace kv7::tessmaker

#endif
