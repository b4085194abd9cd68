// What the driver needs of the library: reports on STL files, and STL files to report on.
//
//   stl_surface report FILE                       reads the file
//   stl_surface weld IN OUT text|binary           reads one file and writes it as another
//   stl_surface make torus|sheet OUT text|binary  writes a surface of known kind
//
// Each prints the counts of the mesh that was read or written, a name and a number on a line.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <string>
#include <utility>

#include "tessmaker/formats.h"

namespace {

using kv7::dense2D;

struct surface {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

// An edge is shared where two triangles run along it in opposite directions, open where there is
// but one, and odd in all other cases.
void print_report(const surface& s) {
    std::map<std::pair<unsigned int, unsigned int>, std::array<int, 2>> uses;
    for (std::size_t c = 0; c < s.connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            const unsigned int a = s.connect(r, c);
            const unsigned int b = s.connect((r + 1) % 3, c);
            ++uses[std::minmax(a, b)][a < b ? 0 : 1];
        }
    }
    int nbr_shared = 0;
    int nbr_open = 0;
    for (const auto& [edge, count] : uses) {
        nbr_shared += count[0] == 1 && count[1] == 1;
        nbr_open += count[0] + count[1] == 1;
    }
    const auto nbr_edges = static_cast<int>(uses.size());
    std::cout << "nodes " << s.pos.cols() << "\nfacets " << s.connect.cols() << "\nedges "
              << nbr_edges << "\nshared_edges " << nbr_shared << "\nopen_edges " << nbr_open
              << "\nodd_edges " << nbr_edges - nbr_shared - nbr_open << '\n';
}

bool fail(const char* what, int code) {
    std::cerr << what << ": " << code << '\n';
    return false;
}

bool read(const char* filename, surface& s) {
    const int code = kv7::tessmaker::STL_input(filename, s.pos, s.connect);
    return code == 0 || fail(filename, code);
}

bool write(const surface& s, const char* filename, const std::string& variant) {
    const int code = kv7::tessmaker::STL_output(filename, s.pos, s.connect, variant == "text");
    return code == 0 || fail(filename, code);
}

// `nu` by `nv` quadrangles of two triangles each, on a torus, or flat with a border.
surface make(bool torus, unsigned int nu, unsigned int nv) {
    const unsigned int nodes_u = torus ? nu : nu + 1;
    const unsigned int nodes_v = torus ? nv : nv + 1;
    surface s{dense2D<double>(3, std::size_t{nodes_u} * nodes_v),
              dense2D<unsigned int>(3, 2 * std::size_t{nu} * nv)};
    const double turn = 2 * std::acos(-1.0);
    for (unsigned int v = 0; v < nodes_v; ++v) {
        for (unsigned int u = 0; u < nodes_u; ++u) {
            double* const p = s.pos.column(v * nodes_u + u);
            const double around = turn * u / nu;
            const double across = turn * v / nv;
            p[0] = torus ? (3 + std::cos(across)) * std::cos(around) : u;
            p[1] = torus ? (3 + std::cos(across)) * std::sin(around) : v;
            p[2] = torus ? std::sin(across) : 0.125 * (u % 3);
        }
    }
    std::size_t c = 0;
    for (unsigned int v = 0; v < nv; ++v) {
        for (unsigned int u = 0; u < nu; ++u) {
            const unsigned int low = v * nodes_u;
            const unsigned int high = (v + 1) % nodes_v * nodes_u;
            const unsigned int next = (u + 1) % nodes_u;
            const unsigned int corners[2][3] = {{low + u, low + next, high + next},
                                                {low + u, high + next, high + u}};
            for (const auto& corner : corners) std::copy_n(corner, 3, s.connect.column(c++));
        }
    }
    return s;
}

bool run(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    surface s;
    bool done = false;
    if (command == "report" && argc == 3) {
        done = read(argv[2], s);
    } else if (command == "weld" && argc == 5) {
        done = read(argv[2], s) && write(s, argv[3], argv[4]);
    } else if (command == "make" && argc == 5) {
        const bool torus = std::string(argv[2]) == "torus";
        s = torus ? make(true, 40, 24) : make(false, 17, 9);
        done = write(s, argv[3], argv[4]);
    }
    if (done) print_report(s);
    return done;
}

} // namespace

int main(int argc, char** argv) { return run(argc, argv) ? 0 : 1; }
