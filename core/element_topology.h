// Local edges and local facets of each element shape, and the facets around each corner, in the
// order that is used throughout the library.
#ifndef TESSMAKER_CORE_ELEMENT_TOPOLOGY_H
#define TESSMAKER_CORE_ELEMENT_TOPOLOGY_H

#include <array>
#include <cstdint>

#include "core/element_table.h"

namespace kv7::tessmaker {

// Two local corner nodes.
struct local_edge {
    std::uint8_t a;
    std::uint8_t b;
};

struct local_edges {
    unsigned int count;
    std::array<local_edge, 12> edge;
};

// One to four local corner nodes, in the order in which the facet is read.
struct local_facet {
    unsigned int size;
    std::array<std::uint8_t, 4> node;
};

struct local_facets {
    unsigned int count;
    std::array<local_facet, 6> facet;
};

// The local facets that hold one local node, in the order in which a walk around the node crosses
// them.
struct node_facets {
    unsigned int count;
    std::array<std::uint8_t, 4> facet;
};

struct element_topology {
    local_edges edges;
    local_facets facets;
    std::array<node_facets, 8> around;
};

namespace topology {

inline constexpr element_topology none{};

inline constexpr element_topology bar{
    {1, {{{0, 1}}}},
    {2, {{{1, {1}}, {1, {0}}}}},
    {{{1, {1}}, {1, {0}}}},
};
// Facet f of a simplex is the one opposite node f.
inline constexpr element_topology triangle{
    {3, {{{1, 2}, {2, 0}, {0, 1}}}},
    {3, {{{2, {1, 2}}, {2, {2, 0}}, {2, {0, 1}}}}},
    {{{2, {1, 2}}, {2, {2, 0}}, {2, {0, 1}}}},
};
inline constexpr element_topology quadrangle{
    {4, {{{0, 1}, {1, 2}, {2, 3}, {3, 0}}}},
    {4, {{{2, {0, 1}}, {2, {1, 2}}, {2, {2, 3}}, {2, {3, 0}}}}},
    {{{2, {3, 0}}, {2, {0, 1}}, {2, {1, 2}}, {2, {2, 3}}}},
};
inline constexpr element_topology tetrahedron{
    {6, {{{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}}}},
    {4, {{{3, {1, 2, 3}}, {3, {2, 0, 3}}, {3, {0, 1, 3}}, {3, {2, 1, 0}}}}},
    {{{3, {1, 2, 3}}, {3, {0, 2, 3}}, {3, {0, 1, 3}}, {3, {0, 1, 2}}}},
};
inline constexpr element_topology pyramid{
    {8, {{{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}}},
    {5, {{{3, {0, 4, 1}}, {3, {1, 4, 2}}, {3, {2, 4, 3}}, {3, {3, 4, 0}}, {4, {0, 1, 2, 3}}}}},
    {{{3, {3, 0, 4}}, {3, {0, 1, 4}}, {3, {1, 2, 4}}, {3, {2, 3, 4}}, {4, {0, 1, 2, 3}}}},
};
inline constexpr element_topology wedge{
    {9, {{{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}}},
    {5,
     {{{3, {0, 1, 2}}, {3, {3, 5, 4}}, {4, {2, 1, 4, 5}}, {4, {0, 2, 5, 3}}, {4, {1, 0, 3, 4}}}}},
    {{{3, {0, 3, 4}},
      {3, {0, 4, 2}},
      {3, {0, 2, 3}},
      {3, {1, 3, 4}},
      {3, {1, 4, 2}},
      {3, {1, 2, 3}}}},
};
inline constexpr element_topology hexahedron{
    {12,
     {{{0, 1},
       {1, 2},
       {2, 3},
       {3, 0},
       {4, 5},
       {5, 6},
       {6, 7},
       {7, 4},
       {0, 4},
       {1, 5},
       {2, 6},
       {3, 7}}}},
    {6,
     {{{4, {0, 3, 7, 4}},
       {4, {1, 5, 6, 2}},
       {4, {0, 4, 5, 1}},
       {4, {3, 2, 6, 7}},
       {4, {0, 1, 2, 3}},
       {4, {4, 7, 6, 5}}}}},
    {{{3, {0, 2, 4}},
      {3, {1, 2, 4}},
      {3, {1, 3, 4}},
      {3, {0, 3, 4}},
      {3, {0, 2, 5}},
      {3, {1, 2, 5}},
      {3, {1, 3, 5}},
      {3, {0, 3, 5}}}},
};

} // namespace topology

// The topology of the corners of a plain type. Types without a shape of their own have none.
constexpr const element_topology& topology_of(element_type type) {
    switch (linear_type(type)) {
    case ET_BAR2: return topology::bar;
    case ET_TRIA3: return topology::triangle;
    case ET_QUAD4: return topology::quadrangle;
    case ET_TETRA4: return topology::tetrahedron;
    case ET_PYRA5: return topology::pyramid;
    case ET_PENTA6: return topology::wedge;
    case ET_HEXA8: return topology::hexahedron;
    default: return topology::none;
    }
}

} // namespace kv7::tessmaker

#endif
