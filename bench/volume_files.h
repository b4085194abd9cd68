// A block of a million tetrahedra, a folder for the files of it, and the same block in gmsh.
#ifndef TESSMAKER_BENCH_VOLUME_FILES_H
#define TESSMAKER_BENCH_VOLUME_FILES_H

#include <cmath>
#include <cstddef>

#include "tessmaker/containers.h"
#include "work_folder.h"

#ifdef TESSMAKER_HAVE_GMSH
#include <gmsh.h>

#include <vector>
#endif

namespace bench {

using kv7::dense2D;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
};

// A bent block of side^3 cubes of six tetrahedra each, with coordinates that use all digits.
inline mesh block(unsigned int side) {
    const unsigned int n = side + 1;
    mesh m;
    m.pos.resize(3, std::size_t{n} * n * n);
    m.connect.resize(4, std::size_t{6} * side * side * side);
    for (unsigned int k = 0; k < m.pos.cols(); ++k) {
        const double x = 1.0 * (k % n) / side;
        const double y = 1.0 * (k / n % n) / side;
        const double z = 1.0 * (k / n / n) / side;
        double* const p = m.pos.column(k);
        p[0] = x + 0.1 * std::sin(3.0 * y);
        p[1] = 10.0 * (y - 0.5) + 0.1 * std::sin(3.0 * z);
        p[2] = 100.0 * z * z + 0.1 * std::sin(3.0 * x);
    }
    constexpr unsigned int paths[6][2] = {{1, 2}, {2, 1}, {2, 4}, {4, 2}, {4, 1}, {1, 4}};
    const auto step = [n](unsigned int axes) {
        return (axes & 1U) + (axes >> 1U & 1U) * n + (axes >> 2U) * n * n;
    };
    unsigned int* id = m.connect.column(0);
    for (unsigned int c = 0; c < side * side * side; ++c) {
        const unsigned int low = c % side + c / side % side * n + c / side / side * n * n;
        for (const auto& [first, second] : paths) {
            for (const unsigned int axes : {0U, first, first | second, 7U})
                *id++ = low + step(axes);
        }
    }
    return m;
}

class volume_files : public work_folder {
public:
    const mesh volume = block(55);
};

inline const volume_files& files() {
    static const volume_files instance;
    return instance;
}

#ifdef TESSMAKER_HAVE_GMSH
class gmsh_model {
public:
    gmsh_model() {
        gmsh::initialize();
        gmsh::option::setNumber("General.Terminal", 0);
        gmsh::option::setNumber("Mesh.SaveAll", 1);
        const mesh& m = files().volume;
        const double* const p = m.pos.column(0);
        const unsigned int* const id = m.connect.column(0);
        std::vector<std::size_t> nodes(m.pos.cols());
        for (std::size_t k = 0; k < nodes.size(); ++k) nodes[k] = k + 1;
        std::vector<std::size_t> elements(m.connect.cols());
        for (std::size_t k = 0; k < elements.size(); ++k) elements[k] = k + 1;
        std::vector<std::size_t> corners(id, id + 4 * m.connect.cols());
        for (std::size_t& corner : corners) ++corner;
        constexpr int tetrahedra = 4;
        const int volume = gmsh::model::addDiscreteEntity(3);
        gmsh::model::mesh::addNodes(3, volume, nodes, {p, p + 3 * m.pos.cols()});
        gmsh::model::mesh::addElementsByType(volume, tetrahedra, elements, corners);
    }
    ~gmsh_model() { gmsh::finalize(); }
    gmsh_model(const gmsh_model&) = delete;
    gmsh_model& operator=(const gmsh_model&) = delete;
};
#endif

} // namespace bench

#endif
