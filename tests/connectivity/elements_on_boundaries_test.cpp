#include <gtest/gtest.h>

#include "connectivity/neighbors_of.h"
#include "connectivity/reference.h"
#include "support/memory_failure.h"
#include "support/zoo.h"
#include "tessmaker/connectivity.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using matrix = dense2D<unsigned int>;

struct located {
    int result = 1;
    ids handles;
    unsigned int stride = 77;
};

located locate(const matrix& boundaries, const matrix& connect, const matrix& neighbors,
               const dense1D<unsigned int>& ancestors, element_type type, int side) {
    located out;
    dense1D<unsigned int> handles{1, 2, 3};
    out.result = get_elements_on_boundaries(boundaries, connect, neighbors, ancestors, type, side,
                                            handles, out.stride);
    out.handles = list(handles);
    return out;
}

// The local facets of an element at a node, in the order in which a ball is walked; empty where the
// walk fails.
ids facets_at_node(const ids& column, element_type shape, unsigned int n) {
    const auto u =
        static_cast<unsigned int>(std::find(column.begin(), column.end(), n) - column.begin());
    const unsigned int nbr_corners = nbr_nodes(shape);
    if (shape == ET_BAR2) {
        ids facets;
        if (column[0] == n) facets.push_back(1);
        if (column[1] == n) facets.push_back(0);
        return facets;
    }
    if (shape == ET_TETRA4) {
        ids facets;
        for (unsigned int i = 0; i < 4; ++i) {
            if (column[i] != n) facets.push_back(i);
        }
        return facets;
    }
    if (u >= nbr_corners) return {};
    switch (shape) {
    case ET_TRIA3: return {(u + 1) % 3, 3 - (u + 1) % 3 - u};
    case ET_QUAD4: return {(u + 3) % 4, u};
    case ET_PYRA5: return u < 4 ? ids{(u + 3) % 4, u, 4} : ids{0, 1, 2, 3};
    case ET_PENTA6: return {u / 3, (u + 1) % 3 + 2, (u + 2) % 3 + 2};
    default: {
        const std::vector<ids> table{{0, 2, 4}, {1, 2, 4}, {1, 3, 4}, {0, 3, 4},
                                     {0, 2, 5}, {1, 2, 5}, {1, 3, 5}, {0, 3, 5}};
        return table[u];
    }
    }
}

// The search written plainly, with a set for the visited elements.
located plain_locate(const matrix& boundaries, const matrix& connect, const matrix& neighbors,
                     const dense1D<unsigned int>& ancestors, element_type type, int side) {
    type = narrowed(connect.rows(), type);
    located out{0, ids(boundaries.cols(), none), stride_of(type)};
    const auto columns = list(connect);
    for (std::size_t b = 0; b < boundaries.cols(); ++b) {
        ids wanted(boundaries.column(b), boundaries.column(b) + boundaries.rows());
        while (wanted.size() > 3 && wanted.back() == none) wanted.pop_back();
        const unsigned int n = wanted[0];
        if (n >= ancestors.size() || ancestors[n] == none) continue;
        ids ball;
        ids stack{ancestors[n]};
        std::set<unsigned int> visited{ancestors[n]};
        while (!stack.empty()) {
            const unsigned int e = stack.back();
            stack.pop_back();
            const element_type shape = shape_of_column(columns[e], type);
            const ids facets = facets_at_node(columns[e], shape, n);
            if (facets.empty()) {
                out.result = ball.empty() ? -4 : -3;
                return out;
            }
            ball.push_back(e);
            for (std::size_t k = facets.size(); k-- > 0;) {
                const unsigned int m = neighbors(facets[k], e);
                if (m != none && visited.insert(m).second) stack.push_back(m);
            }
        }
        unsigned int same = none;
        unsigned int opposite = none;
        for (const unsigned int e : ball) {
            const std::vector<ids> facets = facets_of_column(columns[e], type);
            for (unsigned int f = 0; f < facets.size(); ++f) {
                const int match = compare(facets[f], wanted);
                if (match == 0) continue;
                if (match > 0) same = e * out.stride + f;
                if (match < 0) opposite = e * out.stride + f;
                break;
            }
            if (side >= 2 && same != none) break;
            if (side <= -2 && opposite != none) break;
        }
        if (side >= 2) out.handles[b] = same;
        if (side == 0 || side == 1) out.handles[b] = same != none ? same : opposite;
        if (side == -1) out.handles[b] = opposite != none ? opposite : same;
        if (side <= -2) out.handles[b] = opposite;
    }
    return out;
}

dense1D<unsigned int> ancestors_of(const matrix& connect) {
    dense1D<unsigned int> ancestors;
    EXPECT_EQ(get_ancestors(connect, ancestors), 0);
    return ancestors;
}

TEST(elements_on_boundaries, find_a_reversed_facet_by_the_opposite_candidate) {
    const matrix connect = connectivity({{0, 1, 2, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TETRA4);
    const dense1D<unsigned int> ancestors = ancestors_of(connect);
    const matrix reversed = connectivity({{3, 2, 1}});
    for (const int side : {1, 0, -1, -2, -9}) {
        EXPECT_EQ(locate(reversed, connect, neighbors, ancestors, ET_TETRA4, side).handles, ids{0})
            << side;
    }
    EXPECT_EQ(locate(reversed, connect, neighbors, ancestors, ET_TETRA4, 2).handles, ids{none});
}

TEST(elements_on_boundaries, leave_a_node_without_an_ancestor_unfound) {
    const matrix connect = connectivity({{0, 1, 2}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    const located out =
        locate(connectivity({{0, 1}, {7, 1}}), connect, neighbors, {none, 0, 0}, ET_TRIA3, 1);
    EXPECT_EQ(out.result, 0);
    EXPECT_EQ(out.handles, (ids{none, none}));
    EXPECT_EQ(out.stride, 3U);
}

TEST(elements_on_boundaries, of_nothing_succeed_before_anything_is_looked_at) {
    const located out = locate(matrix(), matrix(7, 1, 9), matrix(), {9}, ET_TRIA6, 0);
    EXPECT_EQ(out.result, 0);
    EXPECT_TRUE(out.handles.empty());
    EXPECT_EQ(out.stride, 0U);
}

TEST(elements_on_boundaries, refuse_in_order_with_nothing_found) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    const dense1D<unsigned int> ancestors = ancestors_of(connect);
    const matrix edge = connectivity({{1, 2}});
    const auto code = [](const matrix& b, const matrix& c, const matrix& n,
                         const dense1D<unsigned int>& a, element_type type) {
        const located out = locate(b, c, n, a, type, 0);
        EXPECT_TRUE(out.handles.empty());
        EXPECT_EQ(out.stride, 0U);
        return out.result;
    };
    const dense1D<unsigned int> beyond{2};
    EXPECT_EQ(code(matrix(3, 1, 0), matrix(4, 1, 0), matrix(), beyond, ET_TRIA3), -1);
    EXPECT_EQ(code(edge, matrix(4, 2, 0), matrix(), beyond, ET_TRIA3), -2);
    EXPECT_EQ(code(edge, connect, matrix(3, 1, none), beyond, ET_TRIA3), -3);
    EXPECT_EQ(code(edge, connect, matrix(4, 2, none), beyond, ET_TRIA3), -3);
    EXPECT_EQ(code(edge, connect, matrix(3, 2, 2), beyond, ET_TRIA3), -3);
    EXPECT_EQ(code(edge, connect, neighbors, beyond, ET_TRIA3), -4);
    EXPECT_EQ(code(matrix(3, 1, 0), matrix(6, 2, 0), matrix(3, 2, none), ancestors, ET_TRIA6), -5);
}

TEST(elements_on_boundaries, of_a_value_that_is_no_type_have_no_rows) {
    const matrix connect = connectivity({{0, 1, 2}});
    for (const int value : {-1, 23, 1 << 20}) {
        const auto type = static_cast<element_type>(value);
        const located out =
            locate(connectivity({{0, 1}}), connect, matrix(3, 1, none), {0}, type, 0);
        EXPECT_EQ(out.result, -1);
        EXPECT_TRUE(out.handles.empty());
    }
}

TEST(elements_on_boundaries, tell_a_wrong_ancestor_from_wrong_neighbours) {
    const matrix connect = connectivity({{0, 1, 2}, {3, 4, 5}});
    matrix neighbors(3, 2, none);
    const matrix edges = connectivity({{0, 1}, {3, 4}, {1, 2}});
    located out = locate(edges, connect, neighbors, {0, 0, 0, 0, 1, 1}, ET_TRIA3, 0);
    EXPECT_EQ(out.result, -4);
    EXPECT_EQ(out.handles, (ids{2, none, none}));
    EXPECT_EQ(out.stride, 3U);
    neighbors(0, 1) = 0;
    neighbors(1, 1) = 0;
    neighbors(2, 1) = 0;
    out = locate(edges, connect, neighbors, {0, 0, 0, 1, 1, 1}, ET_TRIA3, 0);
    EXPECT_EQ(out.result, -3);
    EXPECT_EQ(out.handles, (ids{2, none, none}));
}

TEST(elements_on_boundaries, do_not_notice_a_tetrahedron_without_the_node) {
    const matrix connect = connectivity({{0, 1, 2, 3}, {4, 5, 6, 7}});
    const matrix neighbors(4, 2, none);
    const located out =
        locate(connectivity({{0, 1, 2}}), connect, neighbors, {1, 0, 0, 0}, ET_TETRA4, 0);
    EXPECT_EQ(out.result, 0);
    EXPECT_EQ(out.handles, ids{none});
}

TEST(elements_on_boundaries, of_bars_are_nodes_in_the_given_direction) {
    const matrix connect = connectivity({{0, 1}, {1, 2}});
    const matrix neighbors = neighbors_of(connect, ET_BAR2);
    const dense1D<unsigned int> ancestors = ancestors_of(connect);
    const matrix nodes = connectivity({{0}, {1}, {2}});
    for (const int side : {-3, -2, -1, 0, 1, 2, 3}) {
        const located out = locate(nodes, connect, neighbors, ancestors, ET_BAR2, side);
        const located plain = plain_locate(nodes, connect, neighbors, ancestors, ET_BAR2, side);
        EXPECT_EQ(out.handles, plain.handles) << side;
        EXPECT_TRUE(side >= -1 || out.handles == ids(3, none));
    }
}

TEST(elements_on_boundaries, are_reached_through_both_ends_of_a_bar_that_repeats_its_node) {
    const matrix connect = connectivity({{0, 0}, {0, 1}});
    const located out = locate(connectivity({{0}}), connect, connectivity({{1, none}, {none, 0}}),
                               {0, 1}, ET_BAR2, 0);
    EXPECT_EQ(out.result, 0);
    EXPECT_EQ(out.handles, ids{3});
}

// Facets of the elements, some reversed, some rotated, some that no element has.
matrix wanted_facets(random_source& random, const matrix& connect, element_type type) {
    matrix boundaries;
    EXPECT_EQ(get_element_boundaries(connect, type, boundaries), 0);
    const std::size_t rows = boundaries.rows();
    for (std::size_t b = 0; b < boundaries.cols(); ++b) {
        unsigned int* const column = boundaries.column(b);
        const std::size_t used = rows == 4 && column[3] == none ? 3 : rows;
        if (random.one_in(2)) std::reverse(column, column + used);
        if (random.one_in(2)) std::rotate(column, column + 1, column + used);
        if (random.one_in(6)) column[random.below(used)] = random.id_below(15);
    }
    return boundaries;
}

void expect_as_plain(const matrix& boundaries, const matrix& connect, const matrix& neighbors,
                     const dense1D<unsigned int>& ancestors, element_type type, int side) {
    const located plain = plain_locate(boundaries, connect, neighbors, ancestors, type, side);
    const located out = locate(boundaries, connect, neighbors, ancestors, type, side);
    ASSERT_EQ(out.result, plain.result);
    ASSERT_EQ(out.handles, plain.handles);
    ASSERT_EQ(out.stride, plain.stride);
}

TEST(elements_on_boundaries, equal_a_plain_search_on_random_meshes_types_and_sides) {
    for (std::uint64_t seed = 0; seed < nbr_runs(250); ++seed) {
        for (const element_type type : served_types) {
            random_source random(seed * 1000 + static_cast<std::uint64_t>(type));
            const matrix connect = random_mesh(random, type);
            matrix neighbors = neighbors_of(connect, type, random.one_in(2));
            dense1D<unsigned int> ancestors = ancestors_of(connect);
            const matrix boundaries = wanted_facets(random, connect, type);
            if (random.one_in(4)) {
                // Some ancestors and neighbours are wrong.
                for (unsigned int& a : ancestors) {
                    if (random.one_in(5))
                        a = random.one_in(3) ? none : random.id_below(connect.cols());
                }
                for (std::size_t e = 0; e < neighbors.cols(); ++e) {
                    if (random.one_in(5)) neighbors(0, e) = random.id_below(connect.cols());
                }
            }
            const int side = static_cast<int>(random.below(7)) - 3;
            SCOPED_TRACE(testing::Message() << "seed " << seed << " type " << type);
            ASSERT_NO_FATAL_FAILURE(
                expect_as_plain(boundaries, connect, neighbors, ancestors, type, side));
        }
    }
}

TEST(elements_on_boundaries, equal_a_plain_search_where_many_elements_share_few_nodes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6); ++seed) {
        for (const element_type type : served_types) {
            random_source random(seed * 1000 + static_cast<std::uint64_t>(type));
            const matrix connect =
                random_connectivity(random, type, random.between(200, 300), random.between(2, 9));
            matrix neighbors = neighbors_of(connect, type, true);
            dense1D<unsigned int> ancestors = ancestors_of(connect);
            const matrix boundaries = wanted_facets(random, connect, type);
            if (random.one_in(3)) ancestors[random.below(ancestors.size())] = none;
            if (random.one_in(3)) neighbors(0, random.below(connect.cols())) = 0;
            const int side = static_cast<int>(random.below(7)) - 3;
            SCOPED_TRACE(testing::Message() << "seed " << seed << " type " << type);
            ASSERT_NO_FATAL_FAILURE(
                expect_as_plain(boundaries, connect, neighbors, ancestors, type, side));
        }
    }
}

// Triangles in a closed fan around node 0, whose spokes and rims are looked for; the spokes alone
// begin at the hub.
TEST(elements_on_boundaries,
     end_at_the_first_facet_whose_walk_fails_whatever_the_number_of_others) {
    constexpr unsigned int nbr_triangles = 400;
    std::vector<ids> triangles;
    for (unsigned int i = 0; i < nbr_triangles; ++i)
        triangles.push_back({0, 1 + i, 1 + (i + 1) % nbr_triangles});
    const matrix connect = matrix_of(triangles);
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    dense1D<unsigned int> ancestors = ancestors_of(connect);
    ancestors[300] = 20; // neither of them has the node
    ancestors[100] = 30;
    std::vector<ids> facets;
    for (unsigned int i = 0; i < nbr_triangles; ++i) facets.push_back({0, 1 + i});
    for (const unsigned int node : {200U, 300U, 0U, 100U, 50U}) facets.push_back({node, node + 1});
    const matrix boundaries = matrix_of(facets);
    const located plain = plain_locate(boundaries, connect, neighbors, ancestors, ET_TRIA3, 0);
    const located out = locate(boundaries, connect, neighbors, ancestors, ET_TRIA3, 0);
    EXPECT_EQ(out.result, -4);
    EXPECT_EQ(out.result, plain.result);
    EXPECT_EQ(out.handles, plain.handles);
}

// Closed fans of triangles around nodes 0, 1, 2, in random order.
matrix three_fans(random_source& random, unsigned int nbr_triangles) {
    std::vector<ids> triangles;
    for (unsigned int hub = 0; hub < 3; ++hub) {
        const unsigned int rim = 3 + hub * nbr_triangles;
        for (unsigned int i = 0; i < nbr_triangles; ++i) {
            triangles.push_back({hub, rim + i, rim + (i + 1) % nbr_triangles});
        }
    }
    random.shuffle(triangles);
    return matrix_of(triangles);
}

TEST(elements_on_boundaries, are_found_among_any_number_of_elements_around_a_node) {
    for (const unsigned int nbr_triangles : {3U, 31U, 32U, 33U, 34U, 300U}) {
        random_source random(nbr_triangles);
        const matrix connect = three_fans(random, nbr_triangles);
        const matrix neighbors = neighbors_of(connect, ET_TRIA3);
        const dense1D<unsigned int> ancestors = ancestors_of(connect);
        matrix spokes;
        for (std::size_t e = 0; e < connect.cols(); ++e) {
            EXPECT_TRUE(spokes.append(connectivity({{connect(0, e), connect(1, e)}})));
        }
        for (const int side : {-2, -1, 0, 2}) {
            const located out = locate(spokes, connect, neighbors, ancestors, ET_TRIA3, side);
            const located plain =
                plain_locate(spokes, connect, neighbors, ancestors, ET_TRIA3, side);
            EXPECT_EQ(out.result, 0);
            EXPECT_EQ(out.handles, plain.handles) << nbr_triangles << " side " << side;
            EXPECT_EQ(std::count(out.handles.begin(), out.handles.end(), none), 0);
        }
    }
}

TEST(elements_on_boundaries, fail_by_their_code_when_memory_does) {
    random_source random(1);
    const matrix fans = three_fans(random, 40);
    for (const auto& mesh :
         {std::pair{mixed_solids().connect, ET_SOLID_MIX}, std::pair{fans, ET_TRIA3},
          std::pair{three_fans(random, 500), ET_TRIA3}}) {
        const matrix& connect = mesh.first;
        const element_type type = mesh.second;
        const matrix neighbors = neighbors_of(connect, type);
        const dense1D<unsigned int> ancestors = ancestors_of(connect);
        matrix boundaries;
        ASSERT_EQ(get_element_boundaries(connect, type, boundaries), 0);
        const located whole = locate(boundaries, connect, neighbors, ancestors, type, 0);
        const auto nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            dense1D<unsigned int> handles;
            unsigned int stride = 0;
            int result = 0;
            bool happened = false;
            {
                const memory_failure failure(k, and_later);
                result = get_elements_on_boundaries(boundaries, connect, neighbors, ancestors, type,
                                                    0, handles, stride);
                happened = failure.happened();
            }
            // An allocation that failed once may succeed when it is tried again.
            EXPECT_TRUE(result == 0 || (result == -199 && happened));
            EXPECT_EQ(list(handles), result == 0 ? whole.handles : ids{});
            EXPECT_EQ(stride, result == 0 ? whole.stride : 0U);
            return happened;
        });
        EXPECT_GT(nbr_failed, 0U);
    }
}

} // namespace
