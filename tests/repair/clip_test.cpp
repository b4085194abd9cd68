#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using vec3 = vector_fixed<double, 3>;

const vec3 origin{0, 0, 0};
const vec3 along_x{1, 0, 0};

dense2D<double> row_of_nodes() {
    return points({{-1, 0, 0}, {0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {1, 1, 0}});
}

TEST(clip, keeps_an_element_with_a_node_on_the_plane) {
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{0, 1, 2}, {1, 2, 4}, {2, 3, 4}}), origin, along_x,
                   kept),
              0);
    EXPECT_EQ(list(kept), list(connectivity({{1, 2, 4}, {2, 3, 4}})));
}

TEST(clip, appends_to_what_is_kept_already) {
    dense2D<unsigned int> kept = connectivity({{9, 8, 7}, {6, 5, 4}});
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{0, 1, 2}, {1, 2, 4}, {2, 3, 4}}), origin, along_x,
                   kept),
              0);
    EXPECT_EQ(list(kept), list(connectivity({{9, 8, 7}, {6, 5, 4}, {1, 2, 4}, {2, 3, 4}})));
}

TEST(clip, refuses_kept_columns_of_other_rows) {
    dense2D<unsigned int> kept = connectivity({{9, 8}});
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{1, 2, 4}}), origin, along_x, kept), -5);
    EXPECT_EQ(list(kept), list(connectivity({{9, 8}})));
}

TEST(clip, checks_in_order) {
    dense2D<unsigned int> kept = connectivity({{9, 8}});
    const vec3 zero{0, -0.0, 0};
    EXPECT_EQ(clip(row_of_nodes(), dense2D<unsigned int>(), origin, zero, kept), 0);
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{1, 2, 5}}), origin, zero, kept), -2);
    EXPECT_EQ(clip(dense2D<double>(), connectivity({{0, 0, 0}}), origin, zero, kept), -2);
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{1, 2, 4}}), origin, zero, kept), -4);
    EXPECT_EQ(list(kept), list(connectivity({{9, 8}})));
}

TEST(clip, with_nothing_kept_leaves_the_output) {
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{0, 1, 2}}), vec3{9, 0, 0}, along_x, kept), 0);
    EXPECT_TRUE(kept.empty());
}

TEST(clip, ends_an_element_at_its_first_sentinel) {
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(row_of_nodes(), connectivity({{2, none, 0}, {none, 0, 0}, {0, none, 2}}), origin,
                   along_x, kept),
              0);
    EXPECT_EQ(list(kept), list(connectivity({{2, none, 0}, {none, 0, 0}})));
}

TEST(clip, takes_z_of_plane_nodes_as_0) {
    const dense2D<double> pos = points({{0, 0}, {1, 0}});
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(pos, connectivity({{0, 1}}), vec3{0, 0, 5}, vec3{0, 0, 1}, kept), 0);
    EXPECT_EQ(list(kept), list(connectivity({{0, 1}})));
    kept.clear();
    EXPECT_EQ(clip(pos, connectivity({{0}, {1}}), vec3{1, 0, 0}, vec3{1, 0, -1}, kept), 0);
    EXPECT_EQ(list(kept), list(connectivity({{1}})));
}

TEST(clip, looks_at_no_more_than_three_rows) {
    const dense2D<double> pos = points({{1, 0, 0, -100}, {-1, 0, 0, 100}});
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(pos, connectivity({{0}, {1}}), origin, along_x, kept), 0);
    EXPECT_EQ(list(kept), list(connectivity({{0}})));
}

TEST(clip, drops_what_is_not_a_number) {
    const dense2D<double> pos = points({{std::nan(""), 0, 0}, {1, 0, 0}});
    dense2D<unsigned int> kept;
    EXPECT_EQ(clip(pos, connectivity({{0}, {1}}), origin, along_x, kept), 0);
    EXPECT_EQ(list(kept), list(connectivity({{1}})));
}

TEST(clip, may_append_to_its_own_source) {
    dense2D<unsigned int> connect = connectivity({{1, 2, 4}, {0, 1, 2}});
    EXPECT_EQ(clip(row_of_nodes(), connect, origin, along_x, connect), 0);
    EXPECT_EQ(list(connect), list(connectivity({{1, 2, 4}, {0, 1, 2}, {1, 2, 4}})));
}

TEST(clip, agrees_with_a_plain_walk_on_random_meshes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(4000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t dim = 1 + random.below(4);
        const std::size_t n = 1 + random.below(15);
        dense2D<double> pos = grid_points(random, dim, n, 4);
        dense2D<unsigned int> connect(1 + random.below(6), 1 + random.below(12));
        for (std::size_t c = 0; c < connect.cols(); ++c) {
            const auto column = random_ids(random, connect.rows(), n, 6);
            std::copy(column.begin(), column.end(), connect.column(c));
        }
        const auto small = [&] { return static_cast<double>(random.below(5)) - 2.0; };
        const vec3 point{small() + 1, small() + 1, small() + 1};
        const vec3 normal{small(), small(), small()};
        const bool flat = normal[0] == 0 && normal[1] == 0 && normal[2] == 0;

        dense2D<unsigned int> kept;
        if (random.one_in(2)) {
            dense2D<unsigned int> parent(connect.rows() + 2, 3, 7U);
            kept = parent.sub_matrix(2, 1, connect.rows(), 1);
        }
        std::vector<std::vector<unsigned int>> expected = list(kept);
        for (const auto& column : list(connect)) {
            bool inside = true;
            for (const unsigned int id : column) {
                if (id == none) break;
                double sum = 0;
                for (std::size_t r = 0; r < 3; ++r) {
                    if (r < dim) sum += (pos(r, id) - point[r]) * normal[r];
                }
                if (sum < 0) inside = false;
                if (!inside) break;
            }
            if (inside && !flat) expected.push_back(column);
        }
        if (random.one_in(2)) pos = with_gaps(pos, 1 + random.below(3), 1e9);
        if (random.one_in(2)) connect = with_gaps(connect, 1 + random.below(3), 0U);
        EXPECT_EQ(clip(pos, connect, point, normal, kept), flat ? -4 : 0);
        EXPECT_EQ(list(kept), expected);
        if (HasFailure()) break;
    }
}

TEST(clip, halves_of_the_zoo_share_no_element_off_the_plane) {
    for (const mesh& m : zoo()) {
        SCOPED_TRACE(m.name);
        const vec3 point{0.123, 0.234, 0.345};
        const vec3 normal{0.5, 0.25, -1};
        dense2D<unsigned int> above;
        dense2D<unsigned int> below;
        ASSERT_EQ(clip(m.pos, m.connect, point, normal, above), 0);
        ASSERT_EQ(clip(m.pos, m.connect, point, vec3{-0.5, -0.25, 1}, below), 0);
        EXPECT_LE(above.cols() + below.cols(), m.connect.cols());
    }
}

TEST(clip, without_memory_gives_199_and_keeps_what_was_there) {
    const dense2D<double> pos = row_of_nodes();
    const dense2D<unsigned int> connect = connectivity({{1, 2, 4}, {0, 1, 2}, {2, 3, 4}});
    EXPECT_GT(fail_each_allocation([&](std::size_t k, bool and_later) {
                  dense2D<unsigned int> kept = connectivity({{9, 8, 7}});
                  int result = 0;
                  bool happened = false;
                  {
                      const memory_failure failure(k, and_later);
                      result = clip(pos, connect, origin, along_x, kept);
                      happened = failure.happened();
                  }
                  EXPECT_EQ(kept.column(0)[0], 9U);
                  if (result == -199) {
                      EXPECT_EQ(kept.cols(), 1U);
                  } else {
                      EXPECT_EQ(result, 0);
                      EXPECT_EQ(list(kept), list(connectivity({{9, 8, 7}, {1, 2, 4}, {2, 3, 4}})));
                  }
                  return happened;
              }),
              1U);
}

} // namespace
