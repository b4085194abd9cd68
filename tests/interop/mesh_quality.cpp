// Random elements and how we rate them, for a driver that lets VTK rate them, too:
//
//     mesh_quality faces|solids affine|shaken OUT.vtk
//
// The elements, of all shapes that we rate, are affine images of ideal ones: stretched by up to
// ten, turned, half of the solids mirrored. `shaken` moves their corners before that, quadrangles
// within their plane, and mirrors none. They go to OUT.vtk, in the order of nodes in which VTK
// measures as positive what we do. The standard output has the shape quality and the Jacobian of
// each, a line an element.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tessmaker/quality.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

constexpr std::size_t nbr_elements = 20000;

using point = std::array<double, 3>;

struct shape {
    int vtk_type;
    std::vector<point> corners;
};

const double height = std::sqrt(3.0) / 2;
const std::array<shape, 2> faces{{
    {5, {{0, 0, 0}, {1, 0, 0}, {0.5, height, 0}}},
    {9, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}},
}};
// Each positive for us.
const std::array<shape, 4> solids{{
    {10, {{1, 0, 0}, {0, 0, 0}, {0.5, height, 0}, {0.5, height / 3, std::sqrt(2.0 / 3)}}},
    {14, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, std::sqrt(0.5)}}},
    {13, {{0, 0, 0}, {1, 0, 0}, {0.5, height, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, height, 1}}},
    {12, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}},
}};

class random_source {
public:
    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(generator_() >> 11) * 0x1p-53);
    }
    std::size_t below(std::size_t n) { return generator_() % n; }

private:
    std::mt19937_64 generator_{1};
};

double dot(const point& a, const point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Stretches space along a random direction.
class stretch {
public:
    explicit stretch(random_source& random) {
        do {
            for (double& x : axis_) x = random.uniform(-1.0, 1.0);
        } while (dot(axis_, axis_) > 1.0 || dot(axis_, axis_) < 0.01);
        factor_ = std::exp(random.uniform(0.0, std::log(10.0)));
    }
    point operator()(const point& p) const {
        const double more = (factor_ - 1.0) * dot(p, axis_) / dot(axis_, axis_);
        return {p[0] + more * axis_[0], p[1] + more * axis_[1], p[2] + more * axis_[2]};
    }

private:
    point axis_{};
    double factor_ = 1.0;
};

// Turns space by the reflections at two random planes.
class turn {
public:
    explicit turn(random_source& random) {
        for (point& normal : normals_) {
            for (double& x : normal) x = random.uniform(0.1, 1.0);
        }
    }
    point operator()(point p) const {
        for (const point& n : normals_) {
            const double twice = 2.0 * dot(p, n) / dot(n, n);
            for (std::size_t k = 0; k < 3; ++k) p[k] -= twice * n[k];
        }
        return p;
    }

private:
    std::array<point, 2> normals_{};
};

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    std::vector<int> vtk_types;
};

mesh make_mesh(const shape* shapes, std::size_t nbr_shapes, bool are_solids, bool is_shaken) {
    const std::size_t rows = are_solids ? 8 : 4;
    mesh m{{}, dense2D<unsigned int>(rows, nbr_elements, 0xFFFFFFFFU), {}};
    std::vector<point> nodes;
    random_source random;
    for (std::size_t c = 0; c < nbr_elements; ++c) {
        const shape& ideal = shapes[random.below(nbr_shapes)];
        const stretch stretched(random);
        const turn turned(random);
        const double amplitude = is_shaken ? 0.4 : 0.0;
        const double mirror = are_solids && !is_shaken && random.below(2) == 0 ? -1.0 : 1.0;
        for (std::size_t r = 0; r < ideal.corners.size(); ++r) {
            point p = ideal.corners[r];
            for (std::size_t k = 0; k < (are_solids ? 3U : 2U); ++k) {
                p[k] += random.uniform(-amplitude, amplitude);
            }
            p[0] *= mirror;
            m.connect(r, c) = static_cast<unsigned int>(nodes.size());
            nodes.push_back(turned(stretched(p)));
        }
        m.vtk_types.push_back(ideal.vtk_type);
    }
    m.pos.resize(3, nodes.size());
    for (std::size_t n = 0; n < nodes.size(); ++n) std::copy_n(nodes[n].data(), 3, m.pos.column(n));
    return m;
}

std::size_t column_size(const mesh& m, std::size_t c) {
    const unsigned int* const begin = m.connect.column(c);
    const unsigned int* const end = begin + m.connect.rows();
    return static_cast<std::size_t>(std::find(begin, end, 0xFFFFFFFFU) - begin);
}

bool write_vtk(const char* filename, const mesh& m) {
    std::ofstream file(filename);
    file << std::setprecision(17) << "# vtk DataFile Version 2.0\nelements\nASCII\n"
         << "DATASET UNSTRUCTURED_GRID\nPOINTS " << m.pos.cols() << " double\n";
    for (std::size_t n = 0; n < m.pos.cols(); ++n) {
        file << m.pos(0, n) << ' ' << m.pos(1, n) << ' ' << m.pos(2, n) << '\n';
    }
    file << "CELLS " << nbr_elements << ' ' << m.pos.cols() + nbr_elements << '\n';
    for (std::size_t c = 0; c < nbr_elements; ++c) {
        const std::size_t size = column_size(m, c);
        std::vector<unsigned int> nodes(m.connect.column(c), m.connect.column(c) + size);
        // VTK sees the base of a tetrahedron from the other side, and that of a wedge.
        if (m.vtk_types[c] == 10) std::swap(nodes[0], nodes[1]);
        if (m.vtk_types[c] == 13) std::rotate(nodes.begin(), nodes.begin() + 3, nodes.end());
        file << size;
        for (const unsigned int node : nodes) file << ' ' << node;
        file << '\n';
    }
    file << "CELL_TYPES " << nbr_elements << '\n';
    for (const int type : m.vtk_types) file << type << '\n';
    return file.good();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const bool are_solids = std::string(argv[1]) == "solids";
    const bool is_shaken = std::string(argv[2]) == "shaken";
    const mesh m = are_solids ? make_mesh(solids.data(), solids.size(), true, is_shaken)
                              : make_mesh(faces.data(), faces.size(), false, is_shaken);
    const element_type type = are_solids ? ET_SOLID_MIX : ET_FACE_MIX;
    dense1D<double> qualities;
    dense1D<double> determinants;
    if (shape_qualities(m.pos, m.connect, type, qualities) != 0 ||
        jacobians(m.pos, m.connect, type, determinants) != 0 || !write_vtk(argv[3], m)) {
        return 1;
    }
    for (std::size_t c = 0; c < nbr_elements; ++c) {
        std::printf("%.17g %.17g\n", qualities[c], determinants[c]);
    }
    return 0;
}
