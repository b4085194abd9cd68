// What formats hold of a mesh.
#ifndef TESSMAKER_FORMATS_FORMAT_HOLDINGS_H
#define TESSMAKER_FORMATS_FORMAT_HOLDINGS_H

#include "core/type_table.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// What remarks call the elements of a type.
inline constexpr type_table<const char*> element_names{{
    {ET_UNKNOWN, "unknown"}, {ET_NODE, "NODE"},       {ET_BAR_MIX, "BAR2"},
    {ET_BAR2, "BAR2"},       {ET_BAR3, "BAR3"},       {ET_FACE_MIX, "FACE_MIX"},
    {ET_TRIA3, "TRIA3"},     {ET_QUAD4, "QUAD4"},     {ET_TRIA6, "TRIA6"},
    {ET_QUAD8, "QUAD8"},     {ET_QUAD9, "QUAD9"},     {ET_SOLID_MIX, "SOLID_MIX"},
    {ET_TETRA4, "TETRA4"},   {ET_TETRA10, "TETRA10"}, {ET_PYRA5, "PYRA5"},
    {ET_PYRA13, "PYRA13"},   {ET_PYRA14, "PYRA14"},   {ET_PENTA6, "PENTA6"},
    {ET_PENTA15, "PENTA15"}, {ET_PENTA18, "PENTA18"}, {ET_HEXA8, "HEXA8"},
    {ET_HEXA20, "HEXA20"},   {ET_HEXA27, "HEXA27"},
}};

// As what each format holds the elements of a type: as they are; as a type with fewer nodes, which
// are then the first ones; or not at all, ET_UNKNOWN. Columns of mixed arrays have types of their
// own.
struct held_types {
    element_type stl = ET_UNKNOWN;
    element_type obj = ET_UNKNOWN;
    element_type medit = ET_UNKNOWN;
    element_type vtk = ET_UNKNOWN; // of both formats
    element_type nastran = ET_UNKNOWN;
    element_type femap = ET_UNKNOWN;
    element_type ensight = ET_UNKNOWN;
};

// clang-format off
inline constexpr type_table<held_types> type_holdings = [] {
    constexpr element_type none = ET_UNKNOWN;
    return type_table<held_types>{{
    //              STL       OBJ       MEDIT       VTK         NASTRAN     FEMAP       EnSight
    {ET_UNKNOWN,   {none,     none,     none,       none,       none,       none,       none}},
    {ET_NODE,      {none,     ET_NODE,  none,       ET_NODE,    none,       ET_NODE,    ET_NODE}},
    {ET_BAR_MIX,   {none,     ET_BAR2,  ET_BAR2,    ET_BAR2,    ET_BAR2,    ET_BAR2,    ET_BAR2}},
    {ET_BAR2,      {none,     ET_BAR2,  ET_BAR2,    ET_BAR2,    ET_BAR2,    ET_BAR2,    ET_BAR2}},
    {ET_BAR3,      {none,     ET_BAR2,  ET_BAR3,    ET_BAR3,    ET_BAR2,    ET_BAR3,    ET_BAR3}},
    {ET_FACE_MIX,  {none,     none,     none,       none,       none,       none,       none}},
    {ET_TRIA3,     {ET_TRIA3, ET_TRIA3, ET_TRIA3,   ET_TRIA3,   ET_TRIA3,   ET_TRIA3,   ET_TRIA3}},
    {ET_QUAD4,     {none,     ET_QUAD4, ET_QUAD4,   ET_QUAD4,   ET_QUAD4,   ET_QUAD4,   ET_QUAD4}},
    {ET_TRIA6,     {ET_TRIA3, ET_TRIA3, ET_TRIA6,   ET_TRIA6,   ET_TRIA6,   ET_TRIA6,   ET_TRIA6}},
    {ET_QUAD8,     {none,     ET_QUAD4, ET_QUAD4,   ET_QUAD8,   ET_QUAD8,   ET_QUAD8,   ET_QUAD8}},
    {ET_QUAD9,     {none,     ET_QUAD4, ET_QUAD9,   ET_QUAD9,   ET_QUAD9,   ET_QUAD8,   ET_QUAD8}},
    {ET_SOLID_MIX, {none,     none,     none,       none,       none,       none,       none}},
    {ET_TETRA4,    {none,     none,     ET_TETRA4,  ET_TETRA4,  ET_TETRA4,  ET_TETRA4,  ET_TETRA4}},
    {ET_TETRA10,   {none,     none,     ET_TETRA10, ET_TETRA10, ET_TETRA10, ET_TETRA10, ET_TETRA10}},
    {ET_PYRA5,     {none,     none,     ET_PYRA5,   ET_PYRA5,   ET_PYRA5,   none,       ET_PYRA5}},
    {ET_PYRA13,    {none,     none,     ET_PYRA5,   ET_PYRA13,  ET_PYRA13,  none,       ET_PYRA13}},
    {ET_PYRA14,    {none,     none,     ET_PYRA5,   ET_PYRA13,  ET_PYRA13,  none,       ET_PYRA13}},
    {ET_PENTA6,    {none,     none,     ET_PENTA6,  ET_PENTA6,  ET_PENTA6,  ET_PENTA6,  ET_PENTA6}},
    {ET_PENTA15,   {none,     none,     ET_PENTA6,  ET_PENTA15, ET_PENTA15, ET_PENTA15, ET_PENTA15}},
    {ET_PENTA18,   {none,     none,     ET_PENTA6,  ET_PENTA18, ET_PENTA15, ET_PENTA15, ET_PENTA15}},
    {ET_HEXA8,     {none,     none,     ET_HEXA8,   ET_HEXA8,   ET_HEXA8,   ET_HEXA8,   ET_HEXA8}},
    {ET_HEXA20,    {none,     none,     ET_HEXA8,   ET_HEXA20,  ET_HEXA20,  ET_HEXA20,  ET_HEXA20}},
    {ET_HEXA27,    {none,     none,     ET_HEXA8,   ET_HEXA27,  ET_HEXA20,  ET_HEXA20,  ET_HEXA20}},
    }};
}();
// clang-format on

struct format_holdings {
    element_type held_types::*type; // the column of `type_holdings`
    bool lone_nodes = false;        // nodes in no element
    bool flat_nodes = false;        // nodes in 2D
    bool numbers = false;           // of nodes and elements
    bool strict_numbers = false; // which differ, and are neither 0 nor the absent ID; programs may
                                 // read eight digits at most, also of properties
    bool properties = false;
    bool node_sets = false;
    bool element_sets = false;
    bool fields = false;

    element_type held_as(element_type from) const { return type_holdings[from].*type; }
};

inline constexpr format_holdings stl_text_holdings{.type = &held_types::stl, .element_sets = true};
inline constexpr format_holdings stl_binary_holdings{.type = &held_types::stl};
inline constexpr format_holdings obj_holdings{.type = &held_types::obj, .element_sets = true};
inline constexpr format_holdings medit_holdings{
    .type = &held_types::medit, .flat_nodes = true, .properties = true};
inline constexpr format_holdings vtk_holdings{.type = &held_types::vtk,
                                              .lone_nodes = true,
                                              .numbers = true,
                                              .properties = true,
                                              .fields = true};
inline constexpr format_holdings nastran_holdings{.type = &held_types::nastran,
                                                  .lone_nodes = true,
                                                  .numbers = true,
                                                  .strict_numbers = true,
                                                  .properties = true};
inline constexpr format_holdings femap_holdings{.type = &held_types::femap,
                                                .lone_nodes = true,
                                                .numbers = true,
                                                .strict_numbers = true,
                                                .properties = true};
inline constexpr format_holdings ensight_holdings{
    .type = &held_types::ensight, .numbers = true, .strict_numbers = true, .properties = true};

} // namespace kv7::tessmaker

#endif
