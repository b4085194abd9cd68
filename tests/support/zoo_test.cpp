#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "support/zoo.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

TEST(zoo, every_mesh_is_valid_for_its_type_and_has_a_name_of_its_own) {
    std::set<std::string> names;
    for (const test::mesh& m : test::zoo()) {
        EXPECT_TRUE(names.insert(m.name).second) << m.name;
        EXPECT_TRUE(check_IDs(m.connect, m.type, static_cast<unsigned int>(m.pos.cols())))
            << m.name;
    }
}

TEST(zoo, a_soup_has_a_node_for_every_corner) {
    const test::mesh soup = test::soup_of(test::mixed_solids());
    EXPECT_EQ(soup.pos.cols(), 8U + 5U + 6U + 4U);
    EXPECT_EQ(soup.connect(0, 3), 19U);
    EXPECT_EQ(soup.connect(4, 3), test::none);
    EXPECT_EQ(soup.pos(2, 22), 2.0);
}

TEST(zoo, the_moebius_strip_is_a_manifold_that_cannot_be_oriented) {
    const test::mesh m = test::moebius_strip();
    std::multiset<std::pair<unsigned, unsigned>> undirected, directed;
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            const unsigned a = m.connect(r, c), b = m.connect((r + 1) % 3, c);
            directed.emplace(a, b);
            undirected.emplace(std::min(a, b), std::max(a, b));
        }
    }
    bool run_twice_the_same_way = false;
    for (const auto& e : undirected) EXPECT_LE(undirected.count(e), 2U);
    for (const auto& e : directed) run_twice_the_same_way |= directed.count(e) == 2;
    EXPECT_TRUE(run_twice_the_same_way);
}

} // namespace
