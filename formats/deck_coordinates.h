// Nodes of a deck and the coordinate systems that they are given in.
#ifndef TESSMAKER_FORMATS_DECK_COORDINATES_H
#define TESSMAKER_FORMATS_DECK_COORDINATES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "core/ids.h"
#include "formats/deck_card.h"
#include "formats/deck_numbers.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// What is wrong with a card of nodes or systems.
struct deck_system_fault {
    enum fault_kind {
        none,
        bad_field,      // see `value`
        given_twice,    // a system, or GRDSET, with other values than before
        unknown_system, // `other`, to which `system` refers, or a node (`system` is 0 then)
        unknown_node,   // `other`, of CORD1
        circle,         // systems that refer to each other: `members`
        no_axes,        // the three points lie on one line
    };

    fault_kind kind = none;
    deck_position position; // of the field, or of the card of the system
    deck_value value = deck_value::number;
    unsigned int system = 0;
    unsigned int other = 0;
    std::vector<unsigned int> members; // of a circle, each of which refers to the next

    explicit operator bool() const { return kind != none; }
};

// A GRID card.
struct deck_node {
    unsigned int id = 0;
    unsigned int system = no_id; // 0 is the basic one; the absent ID if the field is blank
    double xyz[3] = {0.0, 0.0, 0.0};
};

// Coordinates of a system by its letter. Angles are degrees.
//
//   R  x, y, z
//   C  radius, angle from the xz-plane, z
//   S  radius, angle from the z-axis, angle from the xz-plane
//
// A system is given by three points: its origin, one on its z-axis, and one on the side of its
// xz-plane where x is positive. They have coordinates in another system (CORD2) or are nodes
// (CORD1), which may stand anywhere in the deck, in systems of their own. Memory that fails is told
// by std::bad_alloc.
class deck_coordinates {
public:
    // Cards of the deck, in any order. Blank coordinates are 0. Two systems may share a CORD1 card.
    static bool is_system(std::uint64_t name);
    static deck_system_fault read_node(const deck_card& card, deck_node& node);
    deck_system_fault read_defaults(const deck_card& card); // GRDSET
    deck_system_fault read_system(const deck_card& card);   // CORD1R to CORD2S

    // The next node has its coordinates in this system, see `deck_node`.
    void add_node(unsigned int system, const deck_position& position);

    // Finds the column of a node by its number; the absent ID if there is none.
    struct node_finder {
        unsigned int (*find)(const void* nodes, unsigned int id);
        const void* nodes;
        unsigned int operator()(unsigned int id) const { return find(nodes, id); }
    };
    // Moves the nodes that were added, a column of 3 rows each, to the basic system. A fault leaves
    // them as they are. Systems that no node needs may be at fault; only circles are refused.
    deck_system_fault to_basic(dense2D<double>& pos, const node_finder& find_node);

private:
    struct point {
        double x[3];
    };
    enum system_state { unvisited, open, placed, failed };
    struct local_system {
        unsigned int id;
        char kind; // R, C or S
        bool is_by_nodes;
        unsigned int reference; // of CORD2
        unsigned int nodes[3];  // of CORD1
        point points[3];        // of CORD2
        deck_position position;
        system_state state = unvisited;
        point origin{};
        point axes[3]{};
    };
    struct run {
        std::size_t first_node;
        unsigned int system;
    };
    struct visit {
        std::size_t system;
        unsigned int nbr_done; // of the systems that it refers to
    };
    struct mesh_nodes {
        const dense2D<double>& pos;
        const node_finder& find;
    };

    static local_system read_by_nodes(const deck_card& card, std::size_t first,
                                      deck_system_fault& fault);
    static local_system read_by_points(const deck_card& card, deck_system_fault& fault);
    deck_system_fault add_system(const local_system& added);
    const local_system* find_system(unsigned int id) const;
    unsigned int system_of_node(std::size_t node) const;
    unsigned int referred(const local_system& s, unsigned int k, const mesh_nodes& nodes,
                          deck_system_fault& fault) const;
    deck_system_fault place_with_others(std::size_t first, const mesh_nodes& nodes);
    deck_system_fault circle_from(const std::vector<visit>& stack, std::size_t system) const;
    deck_system_fault place(local_system& s, const mesh_nodes& nodes) const;
    deck_system_fault place_needed(const mesh_nodes& nodes);
    deck_system_fault look_for_circles(const mesh_nodes& nodes);
    point basic_point(unsigned int id, const point& local) const;

    std::vector<local_system> systems_;
    std::map<unsigned int, std::size_t> places_; // of systems, by their number
    std::map<unsigned int, deck_position> uses_; // by nodes: where each system is met first
    std::vector<run> runs_;                      // of nodes with one system
    std::size_t nbr_nodes_ = 0;
    unsigned int default_ = 0;
    bool has_defaults_ = false;
};

} // namespace kv7::tessmaker

#endif
