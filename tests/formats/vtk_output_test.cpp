#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "formats/plain_writers.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = dense1D<unsigned int>;

struct cell_lists {
    unsigned int nbr_cells = 0;
    ids cells;
    ids types;
};

template <class Call> std::string written(Call call) {
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(call(file.name()), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    return file.contents();
}

// Conversion.

TEST(vtk_convert, makes_two_cells_of_a_quadratic_element) {
    cell_lists grid;
    EXPECT_EQ(vtk_convert(connectivity({{0, 1, 2, 3, 4, 5}}), ET_TRIA6, grid.nbr_cells, grid.cells,
                          grid.types),
              0);
    EXPECT_EQ(grid.nbr_cells, 2U);
    EXPECT_EQ(list(grid.cells), (std::vector<unsigned int>{3, 0, 1, 2, 3, 3, 4, 5}));
    EXPECT_EQ(list(grid.types), (std::vector<unsigned int>{5, 2}));

    dense2D<unsigned int> hexahedron(20, 1);
    for (unsigned int r = 0; r < 20; ++r) hexahedron(r, 0) = r;
    cell_lists other;
    EXPECT_EQ(vtk_convert(hexahedron, ET_HEXA20, other.nbr_cells, other.cells, other.types), 0);
    EXPECT_EQ(other.nbr_cells, 2U);
    EXPECT_EQ(list(other.cells),
              (std::vector<unsigned int>{8, 0,  1,  2,  3,  4,  5,  6,  7,  12, 8,
                                         9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
    EXPECT_EQ(list(other.types), (std::vector<unsigned int>{12, 2}));
}

TEST(vtk_convert, swaps_the_last_two_nodes_of_a_tetrahedron) {
    cell_lists grid;
    EXPECT_EQ(vtk_convert(connectivity({{10, 11, 12, 13}}), ET_TETRA4, grid.nbr_cells, grid.cells,
                          grid.types),
              0);
    EXPECT_EQ(list(grid.cells), (std::vector<unsigned int>{4, 10, 11, 13, 12}));
}

TEST(vtk_convert, adds_to_what_is_there) {
    cell_lists grid;
    grid.nbr_cells = 100;
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(
            vtk_convert(connectivity({{7, 8}}), ET_BAR2, grid.nbr_cells, grid.cells, grid.types),
            0);
    }
    EXPECT_EQ(grid.nbr_cells, 102U);
    EXPECT_EQ(list(grid.cells), (std::vector<unsigned int>{2, 7, 8, 2, 7, 8}));
    EXPECT_EQ(list(grid.types), (std::vector<unsigned int>{3, 3}));
}

TEST(vtk_convert, checks_in_order_and_then_appends_nothing) {
    cell_lists grid;
    grid.cells = ids{1, 5};
    grid.types = ids{1};
    const auto convert = [&](const dense2D<unsigned int>& connect, element_type type) {
        return vtk_convert(connect, type, grid.nbr_cells, grid.cells, grid.types);
    };
    EXPECT_EQ(convert(connectivity({{0, 1}}), ET_TRIA3), -1);
    EXPECT_EQ(convert(connectivity({{0, 1, none}}), ET_TRIA3), -1);
    EXPECT_EQ(convert(connectivity({{0, 1, 2}}), ET_UNKNOWN), -1);
    EXPECT_EQ(convert(connectivity({{0}}), ET_NODE), -2);
    EXPECT_EQ(convert(connectivity({{0, 1}}), ET_BAR_MIX), -2);
    EXPECT_EQ(convert(connectivity({{0, 1, 2}}), ET_FACE_MIX), -2);
    EXPECT_EQ(convert(connectivity({{0, 1, 2, 3}}), ET_SOLID_MIX), -2);
    EXPECT_EQ(convert(dense2D<unsigned int>(13, 1, 0U), ET_PYRA13), -2);
    EXPECT_EQ(convert(dense2D<unsigned int>(15, 1, 0U), ET_PENTA15), -2);
    for (int type = 0; type <= 22; ++type) {
        plain_cells served;
        EXPECT_EQ(convert({}, static_cast<element_type>(type)), served.add({}, type) ? -1 : -2)
            << type;
    }
    EXPECT_EQ(grid.nbr_cells, 0U);
    EXPECT_EQ(list(grid.cells), (std::vector<unsigned int>{1, 5}));
    EXPECT_EQ(list(grid.types), (std::vector<unsigned int>{1}));
}

TEST(vtk_convert, equals_a_plain_walk_for_every_type) {
    for (std::uint64_t seed = 0; seed < nbr_runs(2000); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        cell_lists grid;
        plain_cells expected;
        for (int part = 0; part < 3; ++part) {
            const auto type = static_cast<element_type>(1 + random.below(22));
            const dense2D<unsigned int> connect =
                random_connect(random, type, 1 + random.below(6), 0xFFFFFFFF);
            const bool served = expected.add(list(connect), type);
            EXPECT_EQ(vtk_convert(connect, type, grid.nbr_cells, grid.cells, grid.types),
                      served ? 0 : -2);
        }
        EXPECT_EQ(grid.nbr_cells, expected.nbr_cells);
        EXPECT_EQ(list(grid.cells), expected.cells);
        EXPECT_EQ(list(grid.types), expected.types);
        if (HasFailure()) break;
    }
}

// The stream.

std::string stream_text(const dense2D<double>& pos, unsigned int nbr_cells, const ids& cells,
                        const ids& types) {
    const scratch_stream stream;
    EXPECT_EQ(vtk_output(stream.get(), pos, nbr_cells, cells, types), 0);
    return stream.contents();
}

const std::string header_of_two_points = "# vtk DataFile Version 2.0\n"
                                         "Generated by KV7 Tessmaker(R).\n"
                                         "ASCII\n"
                                         "DATASET UNSTRUCTURED_GRID\n"
                                         "\n"
                                         "POINTS 2 double\n"
                                         "1.000000 -2.500000 0.000000\n"
                                         "0.000000 0.333333 0.000000\n";

dense2D<double> two_points() { return points({{1, -2.5}, {1e-7, 1.0 / 3.0}}); }

TEST(vtk_output, writes_a_grid_in_this_form) {
    EXPECT_EQ(stream_text(two_points(), 2, ids{2, 0, 1, 1, 1}, ids{3, 2}),
              header_of_two_points + "\nCELLS 2 5\n2 0 1 \n1 1 \n\nCELL_TYPES 2\n3\n2\n");
    EXPECT_EQ(stream_text(two_points(), 0, ids(), ids()),
              header_of_two_points + "\nCELLS 0 0\n\nCELL_TYPES 0\n");
}

TEST(vtk_output, takes_the_count_for_the_cells_and_the_sizes_for_the_headers) {
    EXPECT_EQ(stream_text(two_points(), 1, ids{2, 0, 1, 1, 1}, ids{3, 2, 7}),
              header_of_two_points + "\nCELLS 1 5\n2 0 1 \n\nCELL_TYPES 3\n3\n2\n7\n");
}

TEST(vtk_output, never_reads_behind_its_lists) {
    for (const unsigned int nbr_cells : {1U, 2U, 3U, 0xFFFFFFFFU}) {
        for (const ids& cells : {ids(), ids{0}, ids{4, 1, 2}, ids{2, 0, 1, none, 7}, ids{none}}) {
            const scratch_stream stream;
            EXPECT_EQ(vtk_output(stream.get(), two_points(), nbr_cells, cells, ids{3}), 0);
            const std::string text = stream.contents();
            EXPECT_LT(text.size(), 1000U);
            EXPECT_EQ(text.substr(text.find("\nCELL_TYPES")), "\nCELL_TYPES 1\n3\n");
        }
    }
}

TEST(vtk_output, of_a_stream_tests_the_stream_before_the_rows) {
    std::FILE* const no_file = nullptr;
    EXPECT_EQ(vtk_output(no_file, dense2D<double>(), 0, ids(), ids()), -1);
    const scratch_stream stream;
    EXPECT_EQ(vtk_output(stream.get(), dense2D<double>(), 0, ids(), ids()), -2);
    EXPECT_EQ(vtk_output(stream.get(), dense2D<double>(1, 1, 0.0), 0, ids(), ids()), -2);
    EXPECT_EQ(vtk_output(stream.get(), dense2D<double>(4, 1, 0.0), 0, ids(), ids()), -2);
    EXPECT_EQ(stream.contents(), "");
}

TEST(vtk_output, does_not_look_at_the_state_of_the_stream) {
    std::FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_TRUE(full);
    std::setvbuf(full, nullptr, _IONBF, 0);
    EXPECT_EQ(vtk_output(full, two_points(), 0, ids(), ids()), 0);
    EXPECT_TRUE(std::ferror(full));
    EXPECT_EQ(vtk_output(full, two_points(), 0, ids(), ids()), 0);
    std::fclose(full);
}

TEST(vtk_output, writes_the_largest_numbers_whole) {
    const double largest = std::numeric_limits<double>::max();
    char expected[1000];
    std::snprintf(expected, sizeof expected, "%f %f %f\n", -largest, largest, -largest);
    const std::string text = stream_text(points({{-largest, largest, -largest}}), 0, ids(), ids());
    EXPECT_NE(text.find(expected), std::string::npos);
    EXPECT_NE(stream_text(points({{std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::quiet_NaN(), 0}}),
                          0, ids(), ids())
                  .find("inf -nan 0.000000\n"),
              std::string::npos);
}

// Files.

std::string written(const dense2D<double>& pos, const mesh_list& m) {
    return written(
        [&](const char* name) { return vtk_output(name, pos, m.begin(), m.end(), m.type_list()); });
}

TEST(vtk_output, groups_mixed_faces_by_shape_quadrangles_first) {
    const dense2D<double> pos(2, 4, 0.0);
    const dense2D<unsigned int> faces =
        connectivity({{0, 1, 2, none}, {0, 1, 2, 3}, {1, 2, 3, none}});
    const std::string text =
        written([&](const char* name) { return vtk_output(name, pos, faces, ET_FACE_MIX); });
    EXPECT_EQ(text.substr(text.find("\nCELLS")), "\nCELLS 3 13\n4 0 1 2 3 \n3 0 1 2 \n3 1 2 3 \n"
                                                 "\nCELL_TYPES 3\n9\n5\n5\n");
    EXPECT_EQ(faces(3, 0), none);
}

TEST(vtk_output, of_elements_with_15_nodes_leaves_an_empty_file_open) {
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(vtk_output(file.name(), dense2D<double>(3, 1, 0.0), dense2D<unsigned int>(15, 1, 0U),
                         ET_PENTA15),
              -2);
    EXPECT_EQ(nbr_open_files(), nbr_open + 1);
    EXPECT_EQ(file.contents(), "");
}

TEST(vtk_output, leaves_an_empty_file_open_when_a_check_fails) {
    const auto expect_code = [](int code, auto call) {
        const scratch_file file("older contents");
        const std::size_t nbr_open = nbr_open_files();
        EXPECT_EQ(call(file.name()), code);
        EXPECT_EQ(nbr_open_files(), nbr_open + 1);
        EXPECT_EQ(file.contents(), "");
    };
    mesh_list m;
    m.add(connectivity({{0, 2}}), ET_BAR2);
    const dense1D<int> no_types;
    const dense2D<double> pos = two_points();
    expect_code(
        -2, [&](const char* name) { return vtk_output(name, {}, m.end(), m.begin(), no_types); });
    expect_code(-2, [&](const char* name) {
        return vtk_output(name, dense2D<double>(1, 3, 0.0), m.end(), m.begin(), no_types);
    });
    expect_code(
        -4, [&](const char* name) { return vtk_output(name, pos, m.end(), m.begin(), no_types); });
    expect_code(
        -5, [&](const char* name) { return vtk_output(name, pos, m.begin(), m.end(), no_types); });
    expect_code(-3, [&](const char* name) {
        return vtk_output(name, pos, m.begin(), m.end(), m.type_list());
    });
    expect_code(-3,
                [&](const char* name) { return vtk_output(name, pos, m.connects[0], ET_BAR2); });
    expect_code(-3, [&](const char* name) {
        return vtk_output(name, pos, {}, m.connects[0], ET_BAR2, ET_BAR2);
    });
    expect_code(-2, [&](const char* name) {
        return vtk_output(name, pos, connectivity({{0, 1}}), connectivity({{0}}), ET_BAR2, ET_NODE);
    });
    EXPECT_EQ(vtk_output("/nowhere/at/all", {}, m.end(), m.begin(), no_types), -1);
    EXPECT_EQ(vtk_output("/nowhere/at/all", pos, m.connects[0], ET_BAR2), -1);
}

TEST(vtk_output, equals_plain_printf_on_random_meshes) {
    for (std::uint64_t seed = 0; seed < nbr_runs(1500); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        const std::size_t n = 1 + random.below(30);
        const dense2D<double> pos = random_coordinates(random, 2 + random.below(2), n);
        const mesh_list m = random_mesh_list(random, n);
        plain_cells grid;
        bool served = true;
        for (const plain_group& group : plain_groups(m)) {
            if (!grid.add(group.elements, group.type)) served = false;
        }
        if (!served) {
            const scratch_file file;
            EXPECT_EQ(vtk_output(file.name(), pos, m.begin(), m.end(), m.type_list()), -2);
            EXPECT_EQ(file.contents(), "");
            if (nbr_open_files() > 200) break;
            continue;
        }
        const std::string expected = plain_vtk(pos, grid);
        EXPECT_EQ(written(pos, m), expected);
        EXPECT_EQ(stream_text(pos, grid.nbr_cells, vector_of(grid.cells), vector_of(grid.types)),
                  expected);
        if (m.size() == 1) {
            EXPECT_EQ(written([&](const char* name) {
                          return vtk_output(name, pos, m.connects[0],
                                            static_cast<element_type>(m.types[0]));
                      }),
                      expected);
        }
        if (m.size() == 2) {
            EXPECT_EQ(written([&](const char* name) {
                          return vtk_output(name, pos, m.connects[0], m.connects[1],
                                            static_cast<element_type>(m.types[0]),
                                            static_cast<element_type>(m.types[1]));
                      }),
                      expected);
        }
        if (HasFailure()) break;
    }
}

TEST(vtk_output, survives_every_failing_allocation) {
    const dense2D<double> pos(3, 8, 0.5);
    const dense2D<unsigned int> solids =
        connectivity({{0, 1, 2, 3, none, none, none, none}, {0, 1, 2, 3, 4, 5, 6, 7}});
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        const scratch_file file;
        int result = -1000;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            try {
                result = vtk_output(file.name(), pos, solids, solids, ET_SOLID_MIX, ET_SOLID_MIX);
            } catch (const std::bad_alloc&) {
            }
            happened = failure.happened();
        }
        if (!happened) {
            EXPECT_EQ(result, 0);
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 0U);
    EXPECT_EQ(solids(4, 0), none);
}

TEST(vtk_convert, survives_every_failing_allocation_with_lists_that_fit_each_other) {
    const dense2D<unsigned int> bars = connectivity({{0, 1}, {2, 3}, {4, 5}});
    fail_each_allocation([&](std::size_t k, bool and_later) {
        cell_lists grid;
        bool happened = false;
        {
            const memory_failure failure(k, and_later);
            EXPECT_EQ(vtk_convert(bars, ET_BAR2, grid.nbr_cells, grid.cells, grid.types), 0);
            happened = failure.happened();
        }
        if (!happened) {
            EXPECT_EQ(grid.cells.size(), 9U);
        }
        return happened;
    });
}

} // namespace
