// What all calls that return a code have in common.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/meshes.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/node_detector.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::connectivity;
using test::list;
using test::points;

namespace {

using ids = dense1D<unsigned int>;
using column_list = std::vector<std::vector<unsigned int>>;

TEST(call_frame, an_empty_mesh_is_a_success_even_with_a_negative_tolerance) {
    dense2D<double> pos;
    dense2D<unsigned int> connect = connectivity({{0, 1}});
    ids new_ids{1, 2, 3};
    EXPECT_EQ(merge(pos, new_ids, -1.0), 0);
    EXPECT_TRUE(new_ids.empty());
    EXPECT_EQ(merge(pos, -1.0), 0);
    new_ids = ids{1, 2, 3};
    EXPECT_EQ(merge(pos, connect, new_ids, -1.0, 99), 0);
    EXPECT_TRUE(new_ids.empty());
    EXPECT_EQ(list(connect), (column_list{{0, 1}}));
}

TEST(call_frame, a_call_that_fails_on_its_arguments_has_emptied_its_outputs) {
    dense2D<double> pos = points({{0, 0}, {1, 0}});
    dense2D<unsigned int> connect = connectivity({{0, 9}});
    ids new_ids{1, 2, 3};
    EXPECT_EQ(merge(pos, new_ids, -1.0), -3);
    EXPECT_TRUE(new_ids.empty());
    new_ids = ids{1, 2, 3};
    EXPECT_EQ(simplify(pos, connect, new_ids, 0), -2);
    EXPECT_TRUE(new_ids.empty());
}

TEST(call_frame, what_is_both_input_and_output_stays_when_a_call_fails) {
    dense2D<double> pos = points({{0, 0}, {1, 0}});
    dense2D<unsigned int> connect = connectivity({{0, 9}});
    ids new_ids;
    EXPECT_EQ(merge(pos, std::numeric_limits<double>::quiet_NaN()), -3);
    EXPECT_EQ(merge(pos, connect, new_ids, 1.0, 0), -2);
    EXPECT_EQ(simplify(pos, connect, 0), -2);
    EXPECT_EQ(list(pos), (std::vector<std::vector<double>>{{0, 0}, {1, 0}}));
    EXPECT_EQ(list(connect), (column_list{{0, 9}}));
}

TEST(call_frame, arguments_are_checked_in_their_order) {
    dense2D<double> bad_rows(1, 2, 0.0);
    dense2D<double> pos = points({{0, 0}, {1, 0}});
    const ids bad_list{7}, good_list{0};
    ids new_ids;
    EXPECT_EQ(merge(bad_rows, bad_list, bad_list, new_ids, -1.0), -1);
    EXPECT_EQ(merge(pos, bad_list, bad_list, new_ids, -1.0), -2);
    EXPECT_EQ(merge(pos, good_list, bad_list, new_ids, -1.0), -3);
    EXPECT_EQ(merge(pos, good_list, good_list, new_ids, -1.0), -4);
}

TEST(call_frame, an_id_that_is_not_found_is_the_absent_id) {
    EXPECT_EQ(node_detector().find_closest(0U), 0xFFFFFFFFU);
    EXPECT_EQ(max_ID(ids()), 0xFFFFFFFFU);
}

} // namespace
