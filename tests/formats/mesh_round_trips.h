// Meshes with numbers and properties that are written and read again.
#ifndef TESSMAKER_TESTS_FORMATS_MESH_ROUND_TRIPS_H
#define TESSMAKER_TESTS_FORMATS_MESH_ROUND_TRIPS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <vector>

#include "formats/mesh_files.h"
#include "formats/meshes_for_files.h"
#include "support/random.h"

namespace test {

// Distinct numbers from 1 on, mostly short ones, in any order.
inline dense1D<unsigned int> random_numbers(random_source& random, std::size_t n) {
    std::set<unsigned int> used;
    dense1D<unsigned int> result;
    while (result.size() != n) {
        const std::size_t limit = random.one_in(10)  ? 4294967290
                                  : random.one_in(2) ? 99999999
                                                     : 500;
        const unsigned int number = 1 + random.id_below(limit);
        if (used.insert(number).second) result.push_back(number);
    }
    return result;
}

// Each of the lists may be empty.
inline file_mesh random_numbered_mesh(random_source& random,
                                      const std::vector<kv7::element_type>& types) {
    const std::size_t nbr_nodes = random.between(1, 40);
    file_mesh m = random_mesh(random, types, nbr_nodes, random.below(15));
    const std::size_t nbr_elements = m.connect.cols();
    if (random.one_in(2)) m.node_numbers = random_numbers(random, nbr_nodes);
    if (random.one_in(2)) m.element_numbers = random_numbers(random, nbr_elements);
    if (random.one_in(2)) {
        for (std::size_t c = 0; c < nbr_elements; ++c) m.pids.push_back(1 + random.id_below(5));
    }
    return random.one_in(2) ? with_gaps(m) : m;
}

inline unsigned int number_of(const dense1D<unsigned int>& numbers, std::size_t k) {
    return numbers.empty() ? static_cast<unsigned int>(k) + 1 : numbers[k];
}

// Of a mesh in a format that holds numbers and properties: elements, numbers and properties.
inline void expect_same_elements(const file_mesh& m, const read_file& back) {
    ASSERT_EQ(back.code, 0) << back.error();
    EXPECT_EQ(list(back.m.types), list(m.types));
    EXPECT_EQ(list(back.m.indices), list(m.indices));
    file_mesh expected = m;
    if (m.pids.empty()) expected.pids = dense1D<unsigned int>(m.connect.cols(), 1);
    EXPECT_EQ(elements_of(back.m), elements_of(expected));
    ASSERT_EQ(back.m.pos.cols(), m.pos.cols());
    for (std::size_t c = 0; c < m.pos.cols(); ++c) {
        EXPECT_EQ(back.m.node_numbers[c], number_of(m.node_numbers, c));
    }
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        EXPECT_EQ(back.m.element_numbers[c], number_of(m.element_numbers, c));
    }
}

// How many coordinates are others.
inline std::size_t nbr_changed_coordinates(const file_mesh& m, const file_mesh& back) {
    std::size_t count = 0;
    for (std::size_t c = 0; c < m.pos.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            const double x = r < m.pos.rows() ? m.pos(r, c) : 0.0;
            count += back.pos(r, c) != x ? 1U : 0U;
        }
    }
    return count;
}

} // namespace test

#endif
