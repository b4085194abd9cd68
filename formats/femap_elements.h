// Elements of a FEMAP neutral file as the format has them, which isn't what femap_table.h has for
// the functions on plain arrays.
#ifndef TESSMAKER_FORMATS_FEMAP_ELEMENTS_H
#define TESSMAKER_FORMATS_FEMAP_ELEMENTS_H

#include <array>
#include <cstddef>

#include "core/element_table.h"
#include "formats/femap_table.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

// Node numbers, 0 in a slot that is not used.
using femap_numbers = std::array<unsigned int, femap_nbr_slots>;

// Solids stand in the slots of a brick: its lower corners in 0 to 3, the upper ones in 4 to 7, the
// middles of its lower edges in 8 to 11, of those between in 12 to 15, of the upper ones in 16 to
// 19. A wedge and a tetrahedron leave free what they lack: the fourth edge is that from the third
// corner back to the first. The orders of femap_tetra10 agree with this.
inline constexpr femap_slots femap_penta15{0, 1, 2, 4, 5, 6, 12, 13, 14, 9, 10, 8, 17, 18, 16};
inline constexpr femap_slots femap_hexa20{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                          10, 11, 16, 17, 18, 19, 12, 13, 14, 15};
// The middles of the sides of a triangle: as those of a quadrangle without its fourth corner.
inline constexpr femap_slots femap_tria6_as_quadrangle{0, 1, 2, 5, 6, 4};

// Quadratic solids have the class of bricks, triangles the slots of quadrangles.
inline constexpr femap_element femap_of_tria6{18, 3, &femap_tria6_as_quadrangle};
inline constexpr femap_element femap_of_tetra10{26, 10, &femap_tetra10};
inline constexpr femap_element femap_of_penta15{26, 11, &femap_penta15};
inline constexpr femap_element femap_of_hexa20{26, 12, &femap_hexa20};

// How an element of a type is written; without slots if there is no topology for it.
constexpr const femap_element& femap_written_as(element_type type) {
    switch (type) {
    case ET_TRIA6: return femap_of_tria6;
    case ET_TETRA10: return femap_of_tetra10;
    case ET_PENTA15: return femap_of_penta15;
    case ET_HEXA20: return femap_of_hexa20;
    default: return femap_elements[type];
    }
}

// The type of a topology; ET_UNKNOWN if no type has it.
constexpr element_type femap_type(long long topology) {
    if (topology == 11) return ET_PENTA15;
    return topology < 0 || topology > 12 ? ET_UNKNOWN
                                         : femap_type_of(static_cast<unsigned int>(topology));
}

// The slots of the nodes of a type that a topology has. Those of a triangle are told by which are
// used.
constexpr const femap_slots& femap_slots_of(element_type type, const femap_numbers& numbers) {
    if (type == ET_PENTA15) return femap_penta15;
    if (type == ET_HEXA20) return femap_hexa20;
    if (type == ET_TRIA6 && numbers[3] == 0 && numbers[6] != 0) return femap_tria6_as_quadrangle;
    return *femap_elements[type].slots;
}

} // namespace kv7::tessmaker

#endif
