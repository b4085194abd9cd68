// The calls that change meshes, with every allocation failing in turn.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "repair/plain_merge.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

// Six pairs of coincident nodes on a line, and one node more.
dense2D<double> pairs_on_a_line() {
    dense2D<double> pos(3, 13, 0.0);
    for (unsigned int i = 0; i < 13; ++i) pos(0, i) = i / 2;
    return pos;
}

struct mesh_under_test {
    dense2D<double> pos = pairs_on_a_line();
    std::vector<dense2D<unsigned int>> arrays{connectivity({{0, 1, 2}, {4, 4, 5}, {3, 4, 5}}),
                                              connectivity({{6, 7}, {8, 11}, {9, 10}})};
    ids nodes{11, 10, 9, 8, 3, 2, 1, 0};
    ids nodes2{10, 8, 2, 0};
    ids new_IDs;

    bool has_contents_of(const mesh_under_test& other) const {
        return list(pos) == list(other.pos) && list(arrays[0]) == list(other.arrays[0]) &&
               list(arrays[1]) == list(other.arrays[1]);
    }

    // Whether the elements are as before, but `count` nodes are each replaced by the other node of
    // their pair.
    bool is_partly_merged(int count) const {
        const mesh_under_test before;
        if (list(pos) != list(before.pos)) return false;
        std::set<unsigned int> gone;
        for (std::size_t k = 0; k < arrays.size(); ++k) {
            const dense2D<unsigned int>& now = arrays[k];
            const dense2D<unsigned int>& old = before.arrays[k];
            if (now.rows() != old.rows() || now.cols() != old.cols()) return false;
            for (std::size_t c = 0; c < now.cols(); ++c) {
                for (std::size_t r = 0; r < now.rows(); ++r) {
                    if (now(r, c) == old(r, c)) continue;
                    if (now(r, c) / 2 != old(r, c) / 2) return false;
                    gone.insert(old(r, c));
                }
            }
        }
        return gone.size() == static_cast<std::size_t>(count);
    }
};

// Whether the map sends `count` nodes to the other node of their pair, and no others anywhere.
bool is_map_of_pairs(const ids& new_IDs, int count) {
    int nbr_gone = 0;
    for (unsigned int i = 0; i < new_IDs.size(); ++i) {
        if (new_IDs[i] / 2 != i / 2) return false;
        nbr_gone += new_IDs[i] != i;
    }
    return nbr_gone == count;
}

// Makes `call` with every allocation failing in turn. It gives the full result; or it reports the
// failure by `code` or an exception, and leaves the mesh as it was; or it does only a part, for
// lack of memory to remember the rest, and returns the count of that part.
template <class Call, class Partly>
std::size_t fail_in_turn(int code, int full, Call call, Partly is_partly_done) {
    const mesh_under_test before;
    mesh_under_test after;
    EXPECT_EQ(call(after), full);
    return fail_each_allocation([&](std::size_t k, bool and_later) {
        mesh_under_test m;
        const failing_call result = call_failing(k, and_later, [&] { return call(m); });
        if (result.code == full) {
            EXPECT_TRUE(m.has_contents_of(after)) << k;
        } else if (result.code == code || result.threw()) {
            EXPECT_TRUE(result.failed) << k;
            EXPECT_TRUE(m.has_contents_of(before)) << k;
        } else {
            EXPECT_TRUE(result.failed) << k;
            EXPECT_GE(result.code, 0) << k;
            EXPECT_LT(result.code, full) << k;
            EXPECT_TRUE(is_partly_done(m, result.code)) << k << ": " << result.code;
        }
        return result.failed;
    });
}

bool is_never_partly_done(const mesh_under_test&, int) { return false; }

TEST(repair_memory, merge_of_all_nodes) {
    // After a failure the coordinates may have changed, but those of a pair are equal anyway.
    EXPECT_GT(
        fail_in_turn(
            -198, 6, [](mesh_under_test& m) { return merge(m.pos, m.new_IDs, 0.25); },
            [](const mesh_under_test& m, int count) { return is_map_of_pairs(m.new_IDs, count); }),
        0U);
    EXPECT_GT(fail_in_turn(
                  -198, 6, [](mesh_under_test& m) { return merge(m.pos, 0.25); },
                  [](const mesh_under_test&, int) { return true; }),
              0U);
}

TEST(repair_memory, merge_of_lists) {
    const auto map_tells = [](const mesh_under_test& m, int count) {
        return is_map_of_pairs(m.new_IDs, count) && m.has_contents_of(mesh_under_test());
    };
    for (const double tol : {0.0, 0.25}) {
        EXPECT_GT(
            fail_in_turn(
                -199, 4,
                [&](mesh_under_test& m) { return merge(m.pos, m.nodes, m.nodes2, m.new_IDs, tol); },
                map_tells),
            0U);
        EXPECT_GT(fail_in_turn(
                      -198, 4,
                      [&](mesh_under_test& m) { return merge(m.pos, m.nodes, m.new_IDs, tol); },
                      map_tells),
                  0U);
    }
}

template <class Call> void fail_connectivity_merge(int code, int full, Call call) {
    const auto partly = [](const mesh_under_test& m, int count) {
        return m.is_partly_merged(count);
    };
    EXPECT_GT(fail_in_turn(code, full, call, partly), 0U);
}

TEST(repair_memory, merge_of_connectivities) {
    for (unsigned int flag = 0; flag < 3; ++flag) {
        // Three of the six pairs lie within one element each, two of them in the first array.
        const int all = flag == 0 ? 6 : 3;
        const int of_first = flag == 0 ? 3 : 2;
        for (const double tol : {0.0, 0.25}) {
            fail_connectivity_merge(-199, all, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays.data(), m.arrays.data() + 2, m.new_IDs, tol, flag);
            });
            fail_connectivity_merge(-199, all, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays.data(), m.arrays.data() + 2, tol, flag);
            });
            fail_connectivity_merge(-199, all, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays[0], m.arrays[1], m.new_IDs, tol, flag);
            });
            fail_connectivity_merge(-199, all, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays[0], m.arrays[1], tol, flag);
            });
            fail_connectivity_merge(-198, of_first, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays[0], m.new_IDs, tol, flag);
            });
            fail_connectivity_merge(-198, of_first, [&](mesh_under_test& m) {
                return merge(m.pos, m.arrays[0], tol, flag);
            });
        }
    }
}

TEST(repair_memory, remove_degenerated) {
    EXPECT_GT(
        fail_in_turn(
            -199, 1,
            [](mesh_under_test& m) { return remove_degenerated(m.arrays[0], m.new_IDs, false); },
            is_never_partly_done),
        0U);
    fail_in_turn(
        -199, 1, [](mesh_under_test& m) { return remove_degenerated(m.arrays[0], false); },
        is_never_partly_done);
}

template <class Call> void fail_simplify(int full, Call call) {
    EXPECT_GT(fail_in_turn(-199, full, call, is_never_partly_done), 0U);
}

TEST(repair_memory, simplify) {
    fail_simplify(7, [](mesh_under_test& m) {
        return simplify(m.pos, m.arrays.data(), m.arrays.data() + 1, m.new_IDs, 0);
    });
    fail_simplify(1, [](mesh_under_test& m) {
        return simplify(m.pos, m.arrays.data(), m.arrays.data() + 2, 0);
    });
    fail_simplify(1,
                  [](mesh_under_test& m) { return simplify(m.pos, m.arrays[0], m.arrays[1], 0); });
    fail_simplify(7, [](mesh_under_test& m) { return simplify(m.pos, m.arrays[0], m.new_IDs, 0); });
    fail_simplify(7, [](mesh_under_test& m) { return simplify(m.pos, m.arrays[0], 0); });
}

} // namespace
