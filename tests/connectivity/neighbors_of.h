// The neighbours of a mesh, for tests of what follows from them.
#ifndef TESSMAKER_TESTS_CONNECTIVITY_NEIGHBORS_OF_H
#define TESSMAKER_TESTS_CONNECTIVITY_NEIGHBORS_OF_H

#include <gtest/gtest.h>

#include "tessmaker/connectivity.h"

namespace test {

inline kv7::dense2D<unsigned int> neighbors_of(const kv7::dense2D<unsigned int>& connect,
                                               kv7::element_type type, bool link = false) {
    kv7::dense2D<unsigned int> neighbors;
    EXPECT_EQ(kv7::tessmaker::get_neighbors(connect, type, link, neighbors), 0);
    return neighbors;
}

} // namespace test

#endif
