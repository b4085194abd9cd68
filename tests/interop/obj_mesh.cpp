// What the driver needs of the library: OBJ files in both directions.
//
//   obj_mesh write OUT plain|textures|normals|both
//   obj_mesh read IN
//
// The contents go to the standard output: a line `node`, `texture` or `normal` with its coordinates
// for each column, and a line `face ID...` for each face.
#include <cstdio>
#include <string>

#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

constexpr unsigned int nbr_nodes_of_mesh = 53;

struct obj {
    dense2D<double> pos, normals, textures;
    dense2D<unsigned int> triangles, quadrangles;
};

// Few digits, so that no program rounds, and every column another one.
dense2D<double> scattered(std::size_t rows) {
    dense2D<double> columns(rows, nbr_nodes_of_mesh);
    for (unsigned int k = 0; k < nbr_nodes_of_mesh; ++k) {
        columns(0, k) = 0.25 * k - 4.0;
        columns(1, k) = 0.5 * (k * k % 11);
        if (rows == 3) columns(2, k) = 0.125 * (k * 7 % 17) - 1.0;
    }
    return columns;
}

// Faces of nodes that all differ, but not in steps of one. Every node is in one.
dense2D<unsigned int> faces(std::size_t rows) {
    dense2D<unsigned int> connect(rows, nbr_nodes_of_mesh);
    for (unsigned int c = 0; c < nbr_nodes_of_mesh; ++c) {
        for (unsigned int r = 0; r < rows; ++r) {
            connect(r, c) = (17 * (r + 1) + 5 * c) % nbr_nodes_of_mesh;
        }
    }
    return connect;
}

obj make(const std::string& kind) {
    obj m{scattered(3), {}, {}, faces(3), faces(4)};
    if (kind == "normals" || kind == "both") {
        // Of length one, also in few digits.
        m.normals = dense2D<double>(3, nbr_nodes_of_mesh, 0.0);
        for (unsigned int k = 0; k < nbr_nodes_of_mesh; ++k) {
            m.normals(k % 3, k) = k % 2 == 0 ? 1.0 : -1.0;
        }
    }
    if (kind == "textures" || kind == "both") m.textures = scattered(2);
    return m;
}

void print(const char* word, const dense2D<double>& values) {
    for (std::size_t c = 0; c < values.cols(); ++c) {
        std::printf("%s", word);
        for (std::size_t r = 0; r < values.rows(); ++r) std::printf(" %.17g", values(r, c));
        std::printf("\n");
    }
}
void print(const char* word, const dense2D<unsigned int>& values) {
    for (std::size_t c = 0; c < values.cols(); ++c) {
        std::printf("%s", word);
        for (std::size_t r = 0; r < values.rows(); ++r) std::printf(" %u", values(r, c));
        std::printf("\n");
    }
}

int fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    obj m;
    if (mode == "write" && argc == 4) {
        m = make(argv[3]);
        if (WavefrontOBJ_output(argv[2], m.pos, m.normals, m.textures, m.triangles,
                                m.quadrangles) != 0) {
            return fail("not written");
        }
    } else if (mode == "read" && argc == 3) {
        if (WavefrontOBJ_input(argv[2], m.pos, m.normals, m.textures, m.triangles, m.quadrangles) !=
            0) {
            return fail("not read");
        }
    } else {
        return fail("usage: obj_mesh write OUT plain|textures|normals|both, or read IN");
    }
    print("node", m.pos);
    print("texture", m.textures);
    print("normal", m.normals);
    print("face", m.triangles);
    print("face", m.quadrangles);
    return 0;
}
