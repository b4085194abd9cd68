// Trees and detectors with every allocation failing in turn: what is promised holds, nothing leaks
// (which the address sanitizer sees), nothing crashes. If only one allocation fails, a call may
// still succeed; then its result is complete.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "search/point_tree.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/node_detector.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::call_failing;
using test::connectivity;
using test::fail_each_allocation;
using test::failing_call;
using test::list;
using test::memory_failure;
using test::none;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;
using point2 = vector_fixed<double, 2>;

constexpr double largest_double = std::numeric_limits<double>::max();

// A tree of these nodes is a chain to the right, with a leaf on the left of each node. A walk over
// all of it must remember many subtrees, which takes memory.
dense2D<double> comb(std::size_t nbr_teeth) {
    dense2D<double> pos(2, 2 * nbr_teeth);
    for (std::size_t k = 0; k < nbr_teeth; ++k) {
        for (std::size_t r = 0; r < 2; ++r) {
            pos(r, k) = static_cast<double>(k);
            pos(r, nbr_teeth + k) = static_cast<double>(k) - 0.5;
        }
    }
    return pos;
}
id_vector all_of(const dense2D<double>& pos) {
    id_vector nodes(pos.cols());
    for (unsigned int i = 0; i < nodes.size(); ++i) nodes[i] = i;
    return nodes;
}
id_vector hits(const node_detector& detector) {
    ids found;
    detector.find_in_box(point2{-1e9, -1e9}, point2{1e9, 1e9}, found);
    return list(found);
}
bool is_subsequence(const id_vector& part, const id_vector& whole) {
    auto next = whole.begin();
    for (const unsigned int v : part) {
        next = std::find(next, whole.end(), v);
        if (next == whole.end()) return false;
        ++next;
    }
    return true;
}

TEST(point_tree_memory, build_makes_the_whole_tree_or_tells_that_it_did_not) {
    const dense2D<double> pos = comb(50);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  point_tree<2> tree(pos);
                  id_vector nodes = all_of(pos);
                  std::size_t nbr_built = 0;
                  const failing_call o = call_failing(
                      k, and_later, [&] { nbr_built = tree.build(nodes.data(), nodes.size()); });
                  EXPECT_TRUE(o.failed || nbr_built == 100);
                  EXPECT_EQ(tree.nbr_slots(), nbr_built);
                  // It can be used afterwards.
                  nodes = all_of(pos);
                  EXPECT_EQ(tree.build(nodes.data(), nodes.size()), 100U);
                  return o.failed;
              }),
              1U);
}

TEST(point_tree_memory, a_successful_reserve_rules_failure_out) {
    const dense2D<double> pos = comb(50);
    point_tree<2> tree(pos);
    ASSERT_TRUE(tree.reserve(100));
    id_vector nodes = all_of(pos);
    const memory_failure failure(0, true);
    EXPECT_EQ(tree.build(nodes.data(), nodes.size()), 100U);
    EXPECT_FALSE(failure.happened());
}

TEST(point_tree_memory, reserve_tells_its_failure_and_leaves_the_tree) {
    const dense2D<double> pos = comb(50);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  point_tree<2> tree(pos);
                  id_vector nodes{1, 2, 3};
                  tree.build(nodes.data(), nodes.size());
                  bool reserved = false;
                  const failing_call o =
                      call_failing(k, and_later, [&] { reserved = tree.reserve(100000); });
                  EXPECT_TRUE(reserved || o.failed);
                  EXPECT_FALSE(reserved && o.failed && and_later);
                  EXPECT_EQ(tree.nbr_slots(), 3U);
                  double dist2 = largest_double;
                  EXPECT_EQ(tree.find_closest(0U, dist2), 1U);
                  return o.failed;
              }),
              1U);
}

TEST(point_tree_memory, reserve_of_more_than_memory_can_hold_fails) {
    const dense2D<double> pos = comb(50);
    point_tree<2> tree(pos);
    EXPECT_FALSE(tree.reserve(std::numeric_limits<std::size_t>::max() / 2));
    EXPECT_EQ(tree.nbr_slots(), 0U);
}

TEST(point_tree_memory, an_insertion_without_memory_is_counted_and_links_nothing) {
    const dense2D<double> pos = comb(100);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  point_tree<2> tree(pos);
                  const id_vector nodes = all_of(pos);
                  unsigned int nbr_added = 0;
                  const failing_call o = call_failing(k, and_later, [&] {
                      nbr_added = tree.insert(nodes.data(), nodes.data() + nodes.size());
                  });
                  EXPECT_EQ(nbr_added, 200U);
                  EXPECT_FALSE(o.threw());
                  EXPECT_TRUE(o.failed ? tree.nbr_slots() < 200 || !and_later
                                       : tree.nbr_slots() == 200);
                  ids found;
                  const double box[] = {-1, -1, 200, 200};
                  if (tree.nbr_slots() != 0) tree.find_in_box(box, found);
                  EXPECT_EQ(found.size(), tree.nbr_slots());
                  return o.failed;
              }),
              2U);
}

TEST(point_tree_memory, a_box_walk_without_memory_loses_hits_and_subtrees_and_nothing_else) {
    const dense2D<double> pos = comb(300);
    const id_vector nodes = all_of(pos);
    point_tree<2> tree(pos);
    ASSERT_EQ(tree.insert(nodes.data(), nodes.data() + nodes.size()), 600U);
    const double box[] = {-1, -1, 400, 400};
    ids all;
    tree.find_in_box(box, all);
    ASSERT_EQ(all.size(), 600U);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids found;
                  const failing_call o =
                      call_failing(k, and_later, [&] { tree.find_in_box(box, found); });
                  EXPECT_FALSE(o.threw());
                  EXPECT_TRUE(is_subsequence(list(found), list(all)));
                  EXPECT_TRUE(o.failed || found.size() == 600);
                  return o.failed;
              }),
              4U);
}

TEST(point_tree_memory, a_nearest_walk_without_memory_still_gives_a_node_at_its_distance) {
    const dense2D<double> pos = comb(300);
    const id_vector nodes = all_of(pos);
    point_tree<2> tree(pos);
    ASSERT_EQ(tree.insert(nodes.data(), nodes.data() + nodes.size()), 600U);
    const double point[] = {500, -200};
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  double dist2 = largest_double;
                  unsigned int found = none;
                  const failing_call o =
                      call_failing(k, and_later, [&] { found = tree.find_closest(point, dist2); });
                  EXPECT_FALSE(o.threw());
                  EXPECT_LT(found, 600U);
                  if (found < 600) {
                      const double dx = point[0] - pos(0, found);
                      const double dy = point[1] - pos(1, found);
                      EXPECT_EQ(dist2, dy * dy + dx * dx);
                  }
                  return o.failed;
              }),
              1U);
}

// The overloads of reinit.
enum class overload { coordinates, nodes, columns, range };
int reinit(node_detector& detector, overload by, const dense2D<double>& pos, const ids& nodes,
           const dense2D<unsigned int>& connect) {
    switch (by) {
    case overload::coordinates: return detector.reinit(pos);
    case overload::nodes: return detector.reinit(pos, nodes);
    case overload::columns: return detector.reinit(pos, connect);
    default: return detector.reinit(pos, &connect, &connect + 1);
    }
}

TEST(node_detector_memory, reinit_keeps_the_old_tree_or_empties_or_has_the_whole_new_one) {
    const dense2D<double> old_pos = comb(3);
    for (const std::size_t dim : {2U, 3U}) {
        test::random_source random(1);
        const dense2D<double> pos = test::random_points(random, dim, 40, 0, 1);
        const ids nodes{3, 1, 4, 15, 9, 2, 6};
        const auto connect = connectivity({{3, 1, 4}, {1, 5, 9}, {2, 6, none}});
        for (const overload by :
             {overload::coordinates, overload::nodes, overload::columns, overload::range}) {
            node_detector whole;
            const int nbr_nodes = reinit(whole, by, pos, nodes, connect);
            EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                          node_detector detector(old_pos);
                          const id_vector before = hits(detector);
                          int code = 1000;
                          const failing_call o = call_failing(k, and_later, [&] {
                              code = reinit(detector, by, pos, nodes, connect);
                          });
                          if (o.threw()) { // no memory for the tree object: the old tree is gone
                              EXPECT_EQ(detector.size(), 0U);
                          } else if (code == -199) {
                              EXPECT_TRUE(by == overload::coordinates || by == overload::nodes);
                              EXPECT_EQ(hits(detector), before);
                          } else if (code == -1 || code == -3) {
                              ADD_FAILURE() << code;
                          } else {
                              EXPECT_EQ(static_cast<int>(detector.size()), code);
                              EXPECT_LE(code, nbr_nodes);
                              EXPECT_TRUE(o.failed || code == nbr_nodes);
                          }
                          // It can be used afterwards.
                          EXPECT_EQ(reinit(detector, by, pos, nodes, connect), nbr_nodes);
                          return o.failed;
                      }),
                      3U);
        }
    }
}

TEST(node_detector_memory, the_list_that_cannot_be_had_gives_minus_199_and_keeps_the_old_tree) {
    const dense2D<double> pos = comb(3);
    const ids nodes{3, 1, 4};
    node_detector detector(pos);
    const id_vector before = hits(detector);
    {
        const memory_failure failure(0, true);
        EXPECT_EQ(detector.reinit(pos), -199);
        EXPECT_EQ(detector.reinit(pos, nodes), -199);
    }
    EXPECT_EQ(hits(detector), before);
}

TEST(node_detector_memory, constructors_make_a_whole_detector_or_an_empty_one_or_throw) {
    const dense2D<double> pos = comb(10);
    const ids nodes{3, 1, 4};
    const auto connect = connectivity({{3, 1, 4}, {1, 5, 9}});
    for (const overload by :
         {overload::coordinates, overload::nodes, overload::columns, overload::range}) {
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      std::optional<node_detector> detector;
                      const failing_call o = call_failing(k, and_later, [&] {
                          switch (by) {
                          case overload::coordinates: detector.emplace(pos); break;
                          case overload::nodes: detector.emplace(pos, nodes); break;
                          case overload::columns: detector.emplace(pos, connect); break;
                          case overload::range:
                              detector.emplace(pos, &connect, &connect + 1);
                              break;
                          }
                      });
                      EXPECT_EQ(detector.has_value(), !o.threw());
                      if (detector) {
                          EXPECT_LE(detector->size(), 20U);
                          EXPECT_EQ(hits(*detector).size(), detector->size());
                      }
                      return o.failed;
                  }),
                  3U);
    }
}

TEST(node_detector_memory, a_copy_is_whole_or_empty_or_throws_and_the_source_stays) {
    const dense2D<double> pos = comb(10);
    const dense2D<double> old_pos = comb(2);
    node_detector source(pos);
    ASSERT_EQ(source.insert(ids{0}), 0U); // leaves a place
    const id_vector expected = hits(source);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  node_detector copy(old_pos);
                  const failing_call o = call_failing(k, and_later, [&] { copy = source; });
                  EXPECT_TRUE(copy.size() == 0 || copy.size() == 21) << copy.size();
                  EXPECT_TRUE(copy.size() == 0 || hits(copy) == expected);
                  EXPECT_TRUE(o.failed || copy.size() == 21);
                  EXPECT_EQ(hits(source), expected);
                  copy = source;
                  EXPECT_EQ(hits(copy), expected);
                  return o.failed;
              }),
              2U);
}

TEST(node_detector_memory, insertion_without_memory_leaves_a_tree_that_answers) {
    const dense2D<double> pos = comb(40);
    const ids nodes = test::vector_of(all_of(pos));
    const auto connect = connectivity({{3, 1, 4}, {1, 5, 9}, {70, 71, 72}});
    for (const bool by_columns : {false, true}) {
        EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                      node_detector detector(pos, ids{7, 8});
                      unsigned int nbr_added = 0;
                      const failing_call o = call_failing(k, and_later, [&] {
                          nbr_added =
                              by_columns ? detector.insert(connect) : detector.insert(nodes);
                      });
                      EXPECT_FALSE(o.threw());
                      EXPECT_LE(nbr_added, nodes.size());
                      EXPECT_LE(detector.size(), nodes.size() + 1);
                      EXPECT_TRUE(is_subsequence({7, 8}, hits(detector)) ||
                                  is_subsequence({8, 7}, hits(detector)));
                      EXPECT_LT(detector.find_closest(point2{1, 1}), nodes.size());
                      return o.failed;
                  }),
                  2U);
    }
}

TEST(node_detector_memory, queries_without_memory_give_true_answers) {
    const dense2D<double> pos = comb(100);
    const node_detector detector(pos);
    const id_vector all = hits(detector);
    EXPECT_GE(fail_each_allocation([&](std::size_t k, bool and_later) {
                  ids found;
                  unsigned int nearest = none;
                  const failing_call o = call_failing(k, and_later, [&] {
                      detector.find_in_box(point2{-1, -1}, point2{200, 200}, found);
                      nearest = detector.find_closest(point2{150, -30});
                  });
                  EXPECT_FALSE(o.threw());
                  EXPECT_TRUE(is_subsequence(list(found), all));
                  EXPECT_LT(nearest, 200U);
                  return o.failed;
              }),
              1U);
}

} // namespace
