// Memory failure at every allocation of the STL functions, one after the other.
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "repair/plain_merge.h"
#include "support/failing_call.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// One corner of the cube may be infinite: its five triangles keep it apart, and welding is done
// without the grid, so that it takes memory that must be there.
std::string cube_file(bool text, bool finite) {
    mesh soup = soup_of(cube_surface());
    for (unsigned int c = 0; c < soup.pos.cols() && !finite; ++c) {
        if (coordinates_of(soup.pos, c) == coordinates{1, 1, 1}) soup.pos(0, c) = infinite;
    }
    const scratch_stream stream;
    EXPECT_EQ(STL_output(stream.get(), soup.pos, soup.connect, text), 0);
    return stream.contents();
}

std::vector<coordinates> corners_of(const dense2D<double>& pos,
                                    const dense2D<unsigned int>& connect) {
    std::vector<coordinates> corners;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) {
            corners.push_back(coordinates_of(pos, connect(r, c)));
        }
    }
    return corners;
}

// Runs `read` with every allocation failing. Nodes that can't be noted down are not welded, but the
// triangles are then where they should be; or else the failure is reported, and nothing comes out.
// A failure in welding, other than one in reading, lets a text be tried as a binary file, for which
// it is too short.
template <class Read> void expect_promised_codes(bool text, bool finite, Read read) {
    dense2D<double> full_pos;
    dense2D<unsigned int> full_connect;
    ASSERT_EQ(read(full_pos, full_connect), 0);
    const std::size_t nbr_nodes = finite ? 8 : 12;
    ASSERT_EQ(full_pos.cols(), nbr_nodes);
    const int welding_failed = text ? -3 : -198;
    std::size_t nbr_not_welded = 0;
    const std::size_t nbr_open = nbr_open_files();
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        dense2D<double> pos(3, 2, 1.0);
        dense2D<unsigned int> connect(3, 2, 0U);
        const auto [code, failed] = call_failing(k, and_later, [&] { return read(pos, connect); });
        if (code == 0) {
            EXPECT_EQ(corners_of(pos, connect), corners_of(full_pos, full_connect)) << k;
            EXPECT_TRUE(failed || pos.cols() == nbr_nodes) << k;
        } else if (code != failing_call::thrown) {
            EXPECT_TRUE(code == -199 || code == welding_failed) << k << ": " << code;
            nbr_not_welded += code == welding_failed;
            EXPECT_TRUE(pos.empty() && connect.empty()) << k;
        }
        EXPECT_TRUE(failed || code == 0) << k;
        EXPECT_EQ(nbr_open_files(), nbr_open) << k;
        return failed;
    });
    EXPECT_GT(nbr_failed, 0U);
    EXPECT_EQ(nbr_not_welded > 0, !finite);
}

// The four files.
template <class Work> void for_each_file(Work work) {
    for (const bool text : {false, true}) {
        for (const bool finite : {false, true}) work(text, finite);
    }
}

TEST(stl_memory, input_from_a_stream) {
    for_each_file([](bool text, bool finite) {
        const scratch_stream stream(cube_file(text, finite));
        const auto read = [&](dense2D<double>& pos, dense2D<unsigned int>& connect) {
            std::rewind(stream.get());
            return STL_input(stream.get(), pos, connect);
        };
        expect_promised_codes(text, finite, read);
    });
}

TEST(stl_memory, input_by_name) {
    for_each_file([](bool text, bool finite) {
        const scratch_file file(cube_file(text, finite));
        const auto read = [&](dense2D<double>& pos, dense2D<unsigned int>& connect) {
            return STL_input(file.name(), pos, connect);
        };
        expect_promised_codes(text, finite, read);
    });
}

TEST(stl_memory, output_either_writes_all_or_throws) {
    const mesh cube = cube_surface();
    for (const bool text : {false, true}) {
        const std::string expected = [&] {
            const scratch_stream stream;
            EXPECT_EQ(STL_output(stream.get(), cube.pos, cube.connect, text), 0);
            return stream.contents();
        }();
        const std::size_t nbr_open = nbr_open_files();
        fail_each_allocation([&](std::size_t k, bool and_later) {
            const scratch_file file;
            const auto [code, failed] = call_failing(k, and_later, [&] {
                return STL_output(file.name(), cube.pos, cube.connect, text);
            });
            if (code != failing_call::thrown) {
                EXPECT_EQ(code, 0) << k;
                EXPECT_EQ(file.contents(), expected) << k;
            }
            EXPECT_TRUE(failed || code == 0) << k;
            EXPECT_EQ(nbr_open_files(), nbr_open) << k;
            return failed;
        });
    }
}

} // namespace
