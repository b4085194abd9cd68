// Runs of millions of moves. Kept out of the quick suite: scripts/large.sh.
#include <gtest/gtest.h>

#include "metrics/bounded_edges.h"
#include "metrics/bounding_calls.h"

using namespace test;

namespace {

void expect_bounded_chain(unsigned int nbr_in_row, unsigned int nbr_rows) {
    const mesh m = long_chain(nbr_in_row, nbr_rows);
    size_field sizes = convex_sizes(m, nbr_in_row);
    EXPECT_GT(bound(measured::variation, m.pos, m.connect, m.type, {}, true, -1, 0.3, sizes), 0);
    EXPECT_LE(largest_measure<2>(measured::variation, m, plain_sizes<2>{sizes}),
              limit_with_slack(measured::variation, 0.3));
}

TEST(large, a_convex_chain_of_4000_nodes_is_bounded_to_its_end) { expect_bounded_chain(4000, 1); }
TEST(large, a_convex_strip_of_8000_nodes_is_bounded_to_its_end) { expect_bounded_chain(4000, 2); }

} // namespace
