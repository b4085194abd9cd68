// What the driver needs of the library: what a NASTRAN deck holds for us, and decks of every
// element type for other programs to read.
//
//   nastran_mesh read IN
//   nastran_mesh write OUT TYPE...
//
// Each TYPE, a value of element_type, is a run of a few elements; a mixed type has all its shapes.
// Both print the mesh that was read or written: a line `node X Y Z` for each node, and a line
// `element TYPE PROPERTY ID...` for each element, of plain type.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

constexpr unsigned int no_id = 0xFFFFFFFF;
constexpr unsigned int nbr_nodes_of_mesh = 61;

struct deck {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    dense1D<unsigned int> indices;
    dense1D<int> types;
    dense1D<unsigned int> pids;
};

void print(const deck& d) {
    for (std::size_t c = 0; c < d.pos.cols(); ++c) {
        std::printf("node %.17g %.17g %.17g\n", d.pos(0, c), d.pos(1, c), d.pos(2, c));
    }
    for (std::size_t run = 0; run < d.types.size(); ++run) {
        for (std::size_t c = d.indices[run]; c < d.indices[run + 1]; ++c) {
            auto type = static_cast<element_type>(d.types[run]);
            if (type == ET_FACE_MIX) type = d.connect(3, c) == no_id ? ET_TRIA3 : ET_QUAD4;
            std::printf("element %d %u", type, d.pids[c]);
            for (std::size_t r = 0; r < nbr_nodes(type); ++r) {
                std::printf(" %u", d.connect(r, c));
            }
            std::printf("\n");
        }
    }
}

// Few digits, so that no format rounds.
dense2D<double> scattered_nodes() {
    dense2D<double> pos(3, nbr_nodes_of_mesh);
    for (unsigned int k = 0; k < nbr_nodes_of_mesh; ++k) {
        pos(0, k) = 0.25 * k - 4.0;
        pos(1, k) = 0.5 * (k * k % 11);
        pos(2, k) = 0.125 * (k * 7 % 17) - 1.0;
    }
    return pos;
}

// Three elements for each type, of nodes that all differ, but not in steps of one.
deck made_deck(const std::vector<element_type>& types) {
    deck d;
    d.pos = scattered_nodes();
    unsigned int rows = 0;
    for (const element_type type : types) rows = std::max(rows, nbr_nodes(type));
    d.connect.resize(rows, 3 * types.size(), no_id);
    d.indices.push_back(0);
    for (unsigned int k = 0; k < types.size(); ++k) {
        for (unsigned int c = 3 * k; c < 3 * k + 3; ++c) {
            const bool is_triangle = types[k] == ET_FACE_MIX && c % 2 == 0;
            const unsigned int n = is_triangle ? 3 : nbr_nodes(types[k]);
            for (unsigned int r = 0; r < n; ++r) {
                d.connect(r, c) = (17 * (r + 1) + 5 * c + k) % nbr_nodes_of_mesh;
            }
            d.pids.push_back(100 + c);
        }
        d.indices.push_back(3 * k + 3);
        d.types.push_back(types[k]);
    }
    return d;
}

int fail(const char* what, int code = 0) {
    std::fprintf(stderr, "%s: %d\n", what, code);
    return 1;
}

int read(const char* filename) {
    deck d;
    const int code = NASTRAN_input(filename, d.pos, d.connect, d.indices, d.types, d.pids);
    if (code != 0) return fail("not read", code);
    print(d);
    return 0;
}

int write(const char* filename, const std::vector<element_type>& types) {
    const deck d = made_deck(types);
    const int code = NASTRAN_output(filename, d.pos, d.connect, d.indices, d.types, d.pids);
    if (code != 0) return fail("not written", code);
    print(d);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command == "read" && argc == 3) return read(argv[2]);
    if (command != "write") return fail("usage: nastran_mesh read IN | write OUT TYPE...");
    std::vector<element_type> types;
    for (int k = 3; k < argc; ++k) types.push_back(static_cast<element_type>(std::atoi(argv[k])));
    return write(argv[2], types);
}
