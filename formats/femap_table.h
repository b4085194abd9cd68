// The elements of a FEMAP neutral file, for reader and writer.
#ifndef TESSMAKER_FORMATS_FEMAP_TABLE_H
#define TESSMAKER_FORMATS_FEMAP_TABLE_H

#include <array>
#include <cstddef>

#include "core/type_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

inline constexpr std::size_t femap_nbr_slots = 20;

// The slot of each node.
using femap_slots = std::array<unsigned char, femap_nbr_slots>;

// How an element of a type is stored. Types without slots can't be.
struct femap_element {
    unsigned int element_class = 0;
    unsigned int topology = 0;
    const femap_slots* slots = nullptr;
};

inline constexpr femap_slots femap_straight{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                            10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
inline constexpr femap_slots femap_tria6{0, 1, 2, 4, 5, 3};
inline constexpr femap_slots femap_tetra4{1, 0, 2, 4};
inline constexpr femap_slots femap_tetra10{0, 2, 1, 4, 9, 8, 10, 12, 14, 13};
inline constexpr femap_slots femap_penta6{0, 1, 2, 4, 5, 6};

inline constexpr type_table<femap_element> femap_elements{{
    {ET_UNKNOWN, {}},
    {ET_NODE, {10, 9, &femap_straight}},
    {ET_BAR_MIX, {}},
    {ET_BAR2, {5, 0, &femap_straight}},
    {ET_BAR3, {8, 1, &femap_straight}},
    {ET_FACE_MIX, {}},
    {ET_TRIA3, {17, 2, &femap_straight}},
    {ET_QUAD4, {17, 4, &femap_straight}},
    {ET_TRIA6, {18, 3, &femap_tria6}},
    {ET_QUAD8, {18, 5, &femap_straight}},
    {ET_QUAD9, {}},
    {ET_SOLID_MIX, {}},
    {ET_TETRA4, {25, 6, &femap_tetra4}},
    {ET_TETRA10, {25, 10, &femap_tetra10}},
    {ET_PYRA5, {}},
    {ET_PYRA13, {}},
    {ET_PYRA14, {}},
    {ET_PENTA6, {25, 7, &femap_penta6}},
    {ET_PENTA15, {}},
    {ET_PENTA18, {}},
    {ET_HEXA8, {25, 8, &femap_straight}},
    {ET_HEXA20, {26, 12, &femap_straight}},
    {ET_HEXA27, {}},
}};

// ET_UNKNOWN for a topology that no type has.
constexpr element_type femap_type_of(unsigned int topology) {
    for (std::size_t i = 0; i < nbr_element_types; ++i) {
        const auto type = static_cast<element_type>(i);
        const femap_element& element = femap_elements[type];
        if (element.slots && element.topology == topology) return type;
    }
    return ET_UNKNOWN;
}

} // namespace kv7::tessmaker

#endif
