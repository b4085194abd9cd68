// The distinct IDs of a list by a plain set.
#ifndef TESSMAKER_TESTS_INDICES_PLAIN_DISTINCT_H
#define TESSMAKER_TESTS_INDICES_PLAIN_DISTINCT_H

#include <set>
#include <vector>

#include "support/meshes.h"

namespace test {

// Appends to `before` the IDs of `values` as they are first met, without those of `skip` and the
// absent one.
inline std::vector<unsigned int> distinct(const std::vector<unsigned int>& values,
                                          const std::vector<unsigned int>& skip,
                                          std::vector<unsigned int> before = {}) {
    std::set<unsigned int> seen(skip.begin(), skip.end());
    seen.insert(none);
    for (const unsigned int id : values) {
        if (seen.insert(id).second) before.push_back(id);
    }
    return before;
}

} // namespace test

#endif
