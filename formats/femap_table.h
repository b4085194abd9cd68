// The elements of a FEMAP neutral file, for reader and writer.
#ifndef TESSMAKER_FORMATS_FEMAP_TABLE_H
#define TESSMAKER_FORMATS_FEMAP_TABLE_H

#include <array>
#include <cstddef>

#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

inline constexpr std::size_t femap_nbr_slots = 20;

// The slot of each node.
using femap_slots = std::array<unsigned char, femap_nbr_slots>;

struct femap_element {
    element_type type;
    unsigned int element_class;
    unsigned int topology;
    femap_slots slots;
};

inline constexpr femap_slots femap_straight{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                            10, 11, 12, 13, 14, 15, 16, 17, 18, 19};

inline constexpr std::array<femap_element, 12> femap_table{{
    {ET_BAR2, 5, 0, femap_straight},
    {ET_BAR3, 8, 1, femap_straight},
    {ET_TRIA3, 17, 2, femap_straight},
    {ET_TRIA6, 18, 3, {0, 1, 2, 4, 5, 3}},
    {ET_QUAD4, 17, 4, femap_straight},
    {ET_QUAD8, 18, 5, femap_straight},
    {ET_TETRA4, 25, 6, {1, 0, 2, 4}},
    {ET_PENTA6, 25, 7, {0, 1, 2, 4, 5, 6}},
    {ET_HEXA8, 25, 8, femap_straight},
    {ET_NODE, 10, 9, femap_straight},
    {ET_TETRA10, 25, 10, {0, 2, 1, 4, 9, 8, 10, 12, 14, 13}},
    {ET_HEXA20, 26, 12, femap_straight},
}};

// Null where there is none.
constexpr const femap_element* femap_element_of(element_type type) {
    for (const femap_element& element : femap_table) {
        if (element.type == type) return &element;
    }
    return nullptr;
}
constexpr const femap_element* femap_element_of_topology(unsigned int topology) {
    for (const femap_element& element : femap_table) {
        if (element.topology == topology) return &element;
    }
    return nullptr;
}

} // namespace kv7::tessmaker

#endif
