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
using columns_list = std::vector<ids>;

columns_list element_boundaries(const matrix& connect, element_type type) {
    matrix boundaries;
    EXPECT_EQ(get_element_boundaries(connect, type, boundaries), 0);
    return list(boundaries);
}

columns_list mesh_boundaries(const matrix& connect, const matrix& neighbors, element_type type) {
    matrix boundaries;
    EXPECT_EQ(get_mesh_boundaries(connect, neighbors, type, boundaries), 0);
    return list(boundaries);
}

// The facets for which `is_wanted(facet, neighbour)` holds, in order.
template <class Test>
columns_list facets_where(const matrix& connect, const matrix& neighbors, element_type type,
                          Test is_wanted) {
    const element_type plain = narrowed(connect.rows(), type);
    columns_list result;
    for (const facet_at& facet : all_facets(connect, plain)) {
        if (is_wanted(facet, neighbors(facet.local, facet.element))) {
            result.push_back(padded(facet.nodes, height_of(plain)));
        }
    }
    return result;
}

TEST(element_boundaries, of_a_tetrahedron_come_in_the_order_of_its_facets) {
    EXPECT_EQ(element_boundaries(connectivity({{10, 11, 12, 13}}), ET_TETRA4),
              (columns_list{{11, 12, 13}, {12, 10, 13}, {10, 11, 13}, {12, 11, 10}}));
}

TEST(element_boundaries, of_two_tetrahedra_hold_the_shared_facet_twice) {
    const matrix connect = connectivity({{0, 1, 2, 3}, {0, 2, 1, 4}});
    EXPECT_EQ(element_boundaries(connect, ET_TETRA4).size(), 8U);
    EXPECT_EQ(mesh_boundaries(connect, neighbors_of(connect, ET_TETRA4), ET_TETRA4).size(), 6U);
}

TEST(element_boundaries, of_a_pyramid_pad_its_triangles) {
    EXPECT_EQ(
        element_boundaries(connectivity({{0, 1, 2, 3, 4}}), ET_PYRA5),
        (columns_list{
            {0, 4, 1, none}, {1, 4, 2, none}, {2, 4, 3, none}, {3, 4, 0, none}, {0, 1, 2, 3}}));
}

TEST(mesh_boundaries, of_a_closed_surface_are_none) {
    const matrix connect = cube_surface().connect;
    EXPECT_TRUE(mesh_boundaries(connect, neighbors_of(connect, ET_TRIA3), ET_TRIA3).empty());
}

TEST(mesh_boundaries, of_a_moebius_strip_are_one_border) {
    const matrix connect = moebius_strip(6).connect;
    EXPECT_EQ(mesh_boundaries(connect, neighbors_of(connect, ET_TRIA3), ET_TRIA3).size(), 12U);
}

TEST(colors_boundaries, show_an_interface_once_or_from_both_sides) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    const dense1D<unsigned int> colors{1, 2};
    matrix once;
    EXPECT_EQ(get_colors_boundaries(connect, neighbors, colors, ET_TRIA3, false, false, once), 0);
    EXPECT_EQ(list(once), (columns_list{{1, 2}, {2, 0}, {0, 1}, {1, 3}, {3, 2}}));
    matrix twice;
    EXPECT_EQ(get_colors_boundaries(connect, neighbors, colors, ET_TRIA3, true, false, twice), 0);
    EXPECT_EQ(list(twice), (columns_list{{1, 2}, {2, 0}, {0, 1}, {1, 3}, {3, 2}, {2, 1}}));
}

TEST(colors_boundaries, leave_out_an_interface_to_no_colour_on_demand) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    matrix colored;
    EXPECT_EQ(get_colors_boundaries(connect, neighbors, {none, 2}, ET_TRIA3, true, true, colored),
              0);
    EXPECT_EQ(list(colored), (columns_list{{2, 0}, {0, 1}, {1, 3}, {3, 2}}));
}

TEST(boundaries, go_behind_what_is_there) {
    matrix boundaries = connectivity({{8, 9}});
    const matrix connect = connectivity({{0, 1, 2}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    EXPECT_EQ(get_element_boundaries(connect, ET_TRIA3, boundaries), 0);
    EXPECT_EQ(get_mesh_boundaries(connect, neighbors, ET_TRIA3, boundaries), 0);
    EXPECT_EQ(list(boundaries),
              (columns_list{{8, 9}, {1, 2}, {2, 0}, {0, 1}, {1, 2}, {2, 0}, {0, 1}}));
    dense1D<unsigned int> handles{5};
    unsigned int stride = 9;
    EXPECT_EQ(get_mesh_bounding_elements(connect, neighbors, ET_TRIA3, handles, stride), 0);
    EXPECT_EQ(list(handles), (ids{5, 0, 1, 2}));
    EXPECT_EQ(stride, 3U);
}

TEST(boundaries, go_behind_what_is_there_in_a_view_with_gaps) {
    matrix boundaries = with_gaps(connectivity({{8, 9}}), 2, 77U);
    EXPECT_EQ(get_element_boundaries(connectivity({{0, 1, 2}}), ET_TRIA3, boundaries), 0);
    EXPECT_EQ(list(boundaries), (columns_list{{8, 9}, {1, 2}, {2, 0}, {0, 1}}));
}

TEST(boundaries, of_an_empty_connectivity_succeed_without_a_look_at_the_rest) {
    matrix wrong(7, 2, 1);
    EXPECT_EQ(get_element_boundaries(matrix(), ET_TRIA6, wrong), 0);
    EXPECT_EQ(get_mesh_boundaries(matrix(), wrong, ET_TRIA6, wrong), 0);
    EXPECT_EQ(get_colors_boundaries(matrix(), wrong, {}, ET_TRIA6, true, true, wrong), 0);
    dense1D<unsigned int> handles{3};
    unsigned int stride = 9;
    EXPECT_EQ(get_mesh_bounding_elements(matrix(), wrong, ET_TRIA6, handles, stride), 0);
    EXPECT_EQ(list(handles), ids{3});
    EXPECT_EQ(stride, 0U);
    EXPECT_EQ(wrong.cols(), 2U);
}

TEST(element_boundaries, refuse_in_order) {
    matrix wrong(7, 1, 1);
    EXPECT_EQ(get_element_boundaries(matrix(4, 1, 0), ET_TRIA3, wrong), -1);
    EXPECT_EQ(get_element_boundaries(connectivity({{0, 1, none}}), ET_TRIA3, wrong), -1);
    EXPECT_EQ(get_element_boundaries(matrix(3, 1, 0), ET_TRIA3, wrong), -2);
    matrix none_yet;
    EXPECT_EQ(get_element_boundaries(matrix(6, 1, 0), ET_TRIA6, none_yet), -2);
    EXPECT_EQ(list(wrong), (columns_list{ids(7, 1)}));
}

TEST(mesh_boundaries, refuse_in_order) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    matrix wrong(7, 1, 1);
    EXPECT_EQ(get_mesh_boundaries(matrix(4, 2, 0), neighbors, ET_TRIA3, wrong), -1);
    EXPECT_EQ(get_mesh_boundaries(connect, matrix(3, 1, none), ET_TRIA3, wrong), -2);
    EXPECT_EQ(get_mesh_boundaries(connect, matrix(4, 2, none), ET_TRIA3, wrong), -2);
    EXPECT_EQ(get_mesh_boundaries(connect, matrix(3, 2, 2), ET_TRIA3, wrong), -2);
    EXPECT_EQ(get_mesh_boundaries(connect, neighbors, ET_TRIA3, wrong), -4);
    EXPECT_EQ(list(wrong), (columns_list{ids(7, 1)}));
    // Facets of a quadratic triangle have 3 nodes: the height of the array is checked before the
    // type.
    EXPECT_EQ(get_mesh_boundaries(matrix(6, 2, 0), matrix(3, 2, none), ET_TRIA6, wrong), -4);
    matrix empty;
    EXPECT_EQ(get_mesh_boundaries(matrix(6, 2, 0), matrix(3, 2, none), ET_TRIA6, empty), -3);
}

TEST(colors_boundaries, refuse_in_order) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    const matrix neighbors = neighbors_of(connect, ET_TRIA3);
    matrix wrong(7, 1, 1);
    matrix empty;
    const auto code = [](const matrix& c, const matrix& n, const dense1D<unsigned int>& colors,
                         element_type type, matrix& out) {
        return get_colors_boundaries(c, n, colors, type, true, true, out);
    };
    EXPECT_EQ(code(matrix(4, 2, 0), neighbors, {1}, ET_TRIA3, wrong), -1);
    EXPECT_EQ(code(connect, matrix(3, 1, none), {1}, ET_TRIA3, wrong), -2);
    EXPECT_EQ(code(connect, matrix(4, 2, none), {1}, ET_TRIA3, wrong), -2);
    EXPECT_EQ(code(connect, matrix(3, 2, 2), {1}, ET_TRIA3, wrong), -2);
    EXPECT_EQ(code(connect, neighbors, {1}, ET_TRIA3, wrong), -3);
    EXPECT_EQ(code(connect, neighbors, {1, 2}, ET_TRIA3, wrong), -5);
    EXPECT_EQ(code(matrix(6, 2, 0), matrix(3, 2, none), {1, 2}, ET_TRIA6, wrong), -5);
    EXPECT_EQ(code(matrix(6, 2, 0), matrix(3, 2, none), {1, 2}, ET_TRIA6, empty), -4);
}

TEST(mesh_bounding_elements, refuse_in_order_and_keep_what_they_hold) {
    const matrix connect = connectivity({{0, 1, 2}, {2, 1, 3}});
    dense1D<unsigned int> handles{5};
    unsigned int stride = 9;
    const auto code = [&](const matrix& c, const matrix& n, element_type type) {
        stride = 9;
        const int result = get_mesh_bounding_elements(c, n, type, handles, stride);
        EXPECT_EQ(list(handles), ids{5});
        EXPECT_EQ(stride, 0U);
        return result;
    };
    EXPECT_EQ(code(matrix(4, 2, 0), matrix(), ET_TRIA3), -1);
    EXPECT_EQ(code(connectivity({{0, 1, none}}), matrix(), ET_TRIA3), -1);
    EXPECT_EQ(code(connect, matrix(3, 1, none), ET_TRIA3), -2);
    EXPECT_EQ(code(connect, matrix(4, 2, none), ET_TRIA3), -2);
    EXPECT_EQ(code(matrix(6, 2, 0), matrix(3, 2, none), ET_TRIA6), -2);
}

TEST(boundaries, equal_a_plain_walk_on_random_meshes_of_every_type) {
    for (std::uint64_t seed = 0; seed < nbr_runs(200); ++seed) {
        for (const element_type type : served_types) {
            random_source random(seed * 1000 + static_cast<std::uint64_t>(type));
            const matrix connect = random_mesh(random, type);
            matrix neighbors = neighbors_of(connect, type);
            if (random.one_in(2)) neighbors = with_gaps(neighbors, 1, 3U);
            const auto where = [&](auto test) {
                return facets_where(connect, neighbors, type, test);
            };
            ASSERT_EQ(element_boundaries(connect, type),
                      where([](const facet_at&, unsigned int) { return true; }));
            ASSERT_EQ(mesh_boundaries(connect, neighbors, type),
                      where([](const facet_at&, unsigned int n) { return n == none; }));

            dense1D<unsigned int> handles;
            unsigned int stride = 0;
            ids expected;
            for (const facet_at& facet : all_facets(connect, narrowed(connect.rows(), type))) {
                if (neighbors(facet.local, facet.element) == none) {
                    expected.push_back(facet.local + facet.element * stride_of(type));
                }
            }
            ASSERT_EQ(get_mesh_bounding_elements(connect, neighbors, type, handles, stride), 0);
            ASSERT_EQ(list(handles), expected);
            ASSERT_EQ(stride, stride_of(type));

            dense1D<unsigned int> colors(connect.cols());
            for (unsigned int& color : colors) color = random.one_in(4) ? none : random.id_below(3);
            for (const bool both : {false, true}) {
                for (const bool colored : {false, true}) {
                    matrix out;
                    ASSERT_EQ(
                        get_colors_boundaries(connect, neighbors, colors, type, both, colored, out),
                        0);
                    ASSERT_EQ(list(out), where([&](const facet_at& facet, unsigned int n) {
                                  if (n == none) return true;
                                  const unsigned int mine = colors[facet.element];
                                  const unsigned int its = colors[n];
                                  if (mine == its) return false;
                                  if (colored && (mine == none || its == none)) return false;
                                  return both || facet.element < n;
                              }));
                }
            }
        }
    }
}

TEST(boundaries, do_not_read_rows_that_a_shape_does_not_use) {
    const matrix connect = connectivity({{0, 1, 2, 3, none, none, none, none}});
    matrix neighbors(6, 1, 0);
    for (std::size_t f = 0; f < 4; ++f) neighbors(f, 0) = none;
    dense1D<unsigned int> handles;
    unsigned int stride = 0;
    EXPECT_EQ(mesh_boundaries(connect, neighbors, ET_SOLID_MIX).size(), 4U);
    EXPECT_EQ(get_mesh_bounding_elements(connect, neighbors, ET_SOLID_MIX, handles, stride), 0);
    EXPECT_EQ(list(handles), (ids{0, 1, 2, 3}));
}

TEST(boundaries, take_what_they_do_not_check) {
    // Nodes where `neighbors` is given, and elements where handles are written.
    const matrix connect = connectivity({{0, 1, none}});
    EXPECT_EQ(mesh_boundaries(connect, matrix(3, 1, none), ET_TRIA3),
              (columns_list{{1, none}, {none, 0}, {0, 1}}));
    matrix colored;
    EXPECT_EQ(
        get_colors_boundaries(connect, matrix(3, 1, none), {0}, ET_TRIA3, false, false, colored),
        0);
    EXPECT_EQ(colored.cols(), 3U);
    dense1D<unsigned int> handles;
    unsigned int stride = 0;
    EXPECT_EQ(get_mesh_bounding_elements(connectivity({{0, 1, 2}}), connectivity({{9, none, 9}}),
                                         ET_TRIA3, handles, stride),
              0);
    EXPECT_EQ(list(handles), ids{1});
}

TEST(boundaries, under_a_uniform_mixed_type_are_those_of_the_plain_one) {
    for (const auto& types :
         {std::pair{ET_TRIA3, ET_FACE_MIX}, std::pair{ET_TETRA4, ET_SOLID_MIX},
          std::pair{ET_PYRA5, ET_SOLID_MIX}, std::pair{ET_PENTA6, ET_SOLID_MIX}}) {
        const element_type plain = types.first;
        const element_type mixed = types.second;
        random_source random(6);
        const matrix connect = random_box(random, plain);
        const matrix neighbors = neighbors_of(connect, plain);
        EXPECT_EQ(element_boundaries(connect, mixed), element_boundaries(connect, plain));
        EXPECT_EQ(mesh_boundaries(connect, neighbors, mixed),
                  mesh_boundaries(connect, neighbors, plain));
        // Facets already in the array must have the height of the plain type.
        matrix boundaries(height_of(plain), 1, 7);
        const dense1D<unsigned int> colors(connect.cols(), 0);
        EXPECT_EQ(
            get_colors_boundaries(connect, neighbors, colors, mixed, false, false, boundaries), 0);
        boundaries = boundaries.sub_matrix(0, 1, height_of(plain), boundaries.cols() - 1);
        EXPECT_EQ(list(boundaries), mesh_boundaries(connect, neighbors, plain));

        dense1D<unsigned int> handles;
        unsigned int stride = 0;
        EXPECT_EQ(get_mesh_bounding_elements(connect, neighbors, mixed, handles, stride), 0);
        EXPECT_EQ(handles.size(), boundaries.cols());
        EXPECT_EQ(stride, stride_of(plain));
        dense1D<unsigned int> ancestors;
        EXPECT_EQ(get_ancestors(connect, ancestors), 0);
        const auto found = [&](element_type type) {
            dense1D<unsigned int> at;
            EXPECT_EQ(get_elements_on_boundaries(boundaries, connect, neighbors, ancestors, type, 0,
                                                 at, stride),
                      0);
            EXPECT_EQ(stride, stride_of(plain));
            return list(at);
        };
        EXPECT_EQ(found(mixed), found(plain));
    }
}

TEST(boundaries, keep_what_they_hold_when_memory_fails) {
    const matrix connect = mixed_solids().connect;
    const matrix neighbors = neighbors_of(connect, ET_SOLID_MIX);
    const dense1D<unsigned int> colors{1, 2, 1, 2};
    const auto check = [&](auto call) {
        EXPECT_GT(fail_each_allocation([&](std::size_t k, bool and_later) {
                      matrix out = connectivity({{1, 2, 3, 4}});
                      const memory_failure failure(k, and_later);
                      const int result = call(out);
                      EXPECT_EQ(result, failure.happened() ? -199 : 0);
                      EXPECT_EQ(out.cols() == 1, failure.happened());
                      EXPECT_EQ(out(3, 0), 4U);
                      return failure.happened();
                  }),
                  0U);
    };
    check([&](matrix& out) { return get_element_boundaries(connect, ET_SOLID_MIX, out); });
    check([&](matrix& out) { return get_mesh_boundaries(connect, neighbors, ET_SOLID_MIX, out); });
    check([&](matrix& out) {
        return get_colors_boundaries(connect, neighbors, colors, ET_SOLID_MIX, true, false, out);
    });
    EXPECT_GT(fail_each_allocation([&](std::size_t k, bool and_later) {
                  dense1D<unsigned int> handles{5};
                  unsigned int stride = 0;
                  const memory_failure failure(k, and_later);
                  const int result =
                      get_mesh_bounding_elements(connect, neighbors, ET_SOLID_MIX, handles, stride);
                  EXPECT_EQ(result, failure.happened() ? -199 : 0);
                  EXPECT_EQ(stride, failure.happened() ? 0U : 6U);
                  EXPECT_EQ(handles.size() == 1, failure.happened());
                  return failure.happened();
              }),
              0U);
}

} // namespace
