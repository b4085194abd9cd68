// What the driver needs of the library: files of every element type for other programs to read.
//
//   written_mesh medit|ensight|vtk OUT TYPE...
//
// Each TYPE, a value of element_type, is a connectivity of a few elements; a mixed type has all its
// shapes. The mesh goes to the standard output, too: a line `node X Y Z` for each node, and a line
// `element PLACE TYPE ID...` for each element, of plain type, in the order of the columns.
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

// Few digits, so that no format rounds.
dense2D<double> scattered_nodes() {
    dense2D<double> pos(3, nbr_nodes_of_mesh);
    for (unsigned int k = 0; k < nbr_nodes_of_mesh; ++k) {
        pos(0, k) = 0.25 * k - 4.0;
        pos(1, k) = 0.5 * (k * k % 11);
        pos(2, k) = 0.125 * (k * 7 % 17) - 1.0;
        std::printf("node %.17g %.17g %.17g\n", pos(0, k), pos(1, k), pos(2, k));
    }
    return pos;
}

std::vector<element_type> shapes_of(element_type type) {
    if (type == ET_FACE_MIX) return {ET_TRIA3, ET_QUAD4, ET_TRIA3, ET_QUAD4};
    if (type == ET_SOLID_MIX)
        return {ET_TETRA4, ET_HEXA8, ET_PYRA5, ET_PENTA6, ET_HEXA8, ET_TETRA4};
    return {type, type, type};
}

// Elements of nodes that all differ, but not in steps of one.
dense2D<unsigned int> elements(element_type type, unsigned int place) {
    const std::vector<element_type> shapes = shapes_of(type);
    dense2D<unsigned int> connect(nbr_nodes(type), shapes.size(), no_id);
    for (unsigned int c = 0; c < shapes.size(); ++c) {
        std::printf("element %u %d", place, shapes[c]);
        for (unsigned int r = 0; r < nbr_nodes(shapes[c]); ++r) {
            connect(r, c) = (17 * (r + 1) + 5 * c + place) % nbr_nodes_of_mesh;
            std::printf(" %u", connect(r, c));
        }
        std::printf("\n");
    }
    return connect;
}

int fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) return fail("usage: written_mesh medit|ensight|vtk OUT TYPE...");
    const dense2D<double> pos = scattered_nodes();
    std::vector<dense2D<unsigned int>> connects;
    dense1D<int, 8> types;
    for (int k = 3; k < argc; ++k) {
        const int type = std::atoi(argv[k]);
        connects.push_back(elements(static_cast<element_type>(type), static_cast<unsigned>(k - 3)));
        types.push_back(type);
    }

    const std::string format = argv[1];
    const dense2D<unsigned int>* const begin = connects.data();
    const dense2D<unsigned int>* const end = begin + connects.size();
    int code = 1;
    if (format == "medit") code = medit_output(argv[2], pos, begin, end, types);
    if (format == "ensight") code = ensight_output(argv[2], pos, begin, end, types);
    if (format == "vtk") code = vtk_output(argv[2], pos, begin, end, types);
    return code == 0 ? 0 : fail("not written");
}
