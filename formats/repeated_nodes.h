// Nodes that a file gives again.
#ifndef TESSMAKER_FORMATS_REPEATED_NODES_H
#define TESSMAKER_FORMATS_REPEATED_NODES_H

#include <algorithm>
#include <cstddef>

#include "core/ids.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

inline bool lie_together(const mesh& m, unsigned int a, unsigned int b) {
    const double* const p = m.pos.column(a);
    return std::equal(p, p + m.pos.rows(), m.pos.column(b));
}

// Takes nodes, with their numbers, out of a mesh that has some. `dropped` ascends and is not empty.
inline void drop_nodes(mesh& m, const id_list& dropped) {
    std::size_t to = dropped[0];
    std::size_t d = 0;
    for (std::size_t c = to; c < m.pos.cols(); ++c) {
        if (d < dropped.size() && dropped[d] == c) {
            ++d;
            continue;
        }
        std::copy_n(m.pos.column(c), m.pos.rows(), m.pos.column(to));
        m.node_numbers[to++] = m.node_numbers[c];
    }
    m.pos.resize(m.pos.rows(), to);
    m.node_numbers.resize(to);
}

} // namespace kv7::tessmaker

#endif
