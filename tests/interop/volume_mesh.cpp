// What we derive from the connectivity of a volume mesh, against METIS and against the surface that
// the mesh generator put into the file:
//
//     volume_mesh IN.mesh OUT.vtk
//
// IN.mesh is a MEDIT file with vertices, triangles and tetrahedra. The tetrahedra go to OUT.vtk,
// the boundary facets, each by its nodes in ascending order, to the standard output.
#include <metis.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "tessmaker/connectivity.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using triangle_set = std::multiset<std::array<unsigned int, 3>>;

struct volume_mesh {
    std::vector<std::array<double, 3>> nodes;
    triangle_set surface;
    dense2D<unsigned int> tetrahedra;
};

std::array<unsigned int, 3> sorted(std::array<unsigned int, 3> triangle) {
    std::sort(triangle.begin(), triangle.end());
    return triangle;
}

volume_mesh read_medit(const char* filename) {
    volume_mesh mesh;
    std::ifstream file(filename);
    for (std::string word; file >> word;) {
        std::size_t count = 0;
        double reference = 0.0;
        if (word == "Vertices") {
            file >> count;
            mesh.nodes.resize(count);
            for (auto& p : mesh.nodes) file >> p[0] >> p[1] >> p[2] >> reference;
        } else if (word == "Triangles") {
            file >> count;
            for (std::size_t k = 0; k < count; ++k) {
                std::array<unsigned int, 3> t{};
                file >> t[0] >> t[1] >> t[2] >> reference;
                mesh.surface.insert(sorted({t[0] - 1, t[1] - 1, t[2] - 1}));
            }
        } else if (word == "Tetrahedra") {
            file >> count;
            mesh.tetrahedra.resize(4, count);
            for (std::size_t k = 0; k < count; ++k) {
                for (std::size_t r = 0; r < 4; ++r) {
                    file >> mesh.tetrahedra(r, k);
                    --mesh.tetrahedra(r, k);
                }
                file >> reference;
            }
        }
    }
    return mesh;
}

int fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

// The lists of a compressed graph, each as a sorted vector.
template <class Index>
std::vector<std::vector<unsigned int>> sorted_lists(std::size_t n, const Index* first,
                                                    const Index* list) {
    std::vector<std::vector<unsigned int>> lists(n);
    for (std::size_t i = 0; i < n; ++i) {
        for (Index k = first[i]; k < first[i + 1]; ++k) {
            lists[i].push_back(static_cast<unsigned int>(list[k]));
        }
        std::sort(lists[i].begin(), lists[i].end());
    }
    return lists;
}

struct metis_graph {
    idx_t* first = nullptr;
    idx_t* list = nullptr;
    ~metis_graph() {
        METIS_Free(first);
        METIS_Free(list);
    }
};

bool agrees_with_metis(const volume_mesh& mesh, const dense2D<unsigned int>& neighbors) {
    auto nbr_elements = static_cast<idx_t>(mesh.tetrahedra.cols());
    auto nbr_nodes = static_cast<idx_t>(mesh.nodes.size());
    std::vector<idx_t> starts;
    std::vector<idx_t> nodes;
    for (std::size_t c = 0; c <= mesh.tetrahedra.cols(); ++c)
        starts.push_back(static_cast<idx_t>(4 * c));
    for (std::size_t c = 0; c < mesh.tetrahedra.cols(); ++c) {
        for (std::size_t r = 0; r < 4; ++r)
            nodes.push_back(static_cast<idx_t>(mesh.tetrahedra(r, c)));
    }
    idx_t numbering = 0;
    idx_t nbr_common = 3;
    metis_graph dual;
    metis_graph nodal;
    if (METIS_MeshToDual(&nbr_elements, &nbr_nodes, starts.data(), nodes.data(), &nbr_common,
                         &numbering, &dual.first, &dual.list) != METIS_OK ||
        METIS_MeshToNodal(&nbr_elements, &nbr_nodes, starts.data(), nodes.data(), &numbering,
                          &nodal.first, &nodal.list) != METIS_OK) {
        return false;
    }

    std::vector<std::vector<unsigned int>> across(neighbors.cols());
    for (std::size_t c = 0; c < neighbors.cols(); ++c) {
        for (std::size_t r = 0; r < neighbors.rows(); ++r) {
            if (neighbors(r, c) != 0xFFFFFFFFU) across[c].push_back(neighbors(r, c));
        }
        std::sort(across[c].begin(), across[c].end());
    }
    if (across != sorted_lists(neighbors.cols(), dual.first, dual.list)) return false;

    dense1D<unsigned int> first;
    dense1D<unsigned int> list;
    if (get_node_graph(mesh.tetrahedra, first, list, ET_TETRA4) != 0) return false;
    // Nodes of the surface's construction that no tetrahedron uses come last, if at all.
    const std::size_t n = first.size() - 1;
    return sorted_lists(n, first.data(), list.data()) == sorted_lists(n, nodal.first, nodal.list);
}

void write_vtk(const char* filename, const volume_mesh& mesh) {
    std::ofstream file(filename);
    file << "# vtk DataFile Version 2.0\ntetrahedra\nASCII\nDATASET UNSTRUCTURED_GRID\nPOINTS "
         << mesh.nodes.size() << " double\n";
    for (const auto& p : mesh.nodes) file << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
    const std::size_t n = mesh.tetrahedra.cols();
    file << "CELLS " << n << ' ' << 5 * n << '\n';
    for (std::size_t c = 0; c < n; ++c) {
        file << 4;
        for (std::size_t r = 0; r < 4; ++r) file << ' ' << mesh.tetrahedra(r, c);
        file << '\n';
    }
    file << "CELL_TYPES " << n << '\n';
    for (std::size_t c = 0; c < n; ++c) file << "10\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) return fail("usage: volume_mesh IN.mesh OUT.vtk");
    const volume_mesh mesh = read_medit(argv[1]);
    if (mesh.tetrahedra.empty() || mesh.surface.empty()) return fail("no mesh in the file");

    dense2D<unsigned int> neighbors;
    dense2D<unsigned int> boundaries;
    if (get_neighbors(mesh.tetrahedra, ET_TETRA4, false, neighbors) != 0 ||
        get_mesh_boundaries(mesh.tetrahedra, neighbors, ET_TETRA4, boundaries) != 0) {
        return fail("neighbours and boundaries fail");
    }
    triangle_set ours;
    for (std::size_t c = 0; c < boundaries.cols(); ++c) {
        ours.insert(sorted({boundaries(0, c), boundaries(1, c), boundaries(2, c)}));
    }
    if (ours != mesh.surface) return fail("the boundary is not the surface in the file");
    if (!agrees_with_metis(mesh, neighbors)) return fail("METIS finds other graphs");

    write_vtk(argv[2], mesh);
    for (const auto& t : ours) std::printf("%u %u %u\n", t[0], t[1], t[2]);
    return 0;
}
