// Memory failure at every allocation of the STL functions, one after the other.
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "repair/plain_merge.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/zoo.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr int thrown = -1000;

std::string cube_file(bool text) {
    const mesh soup = soup_of(cube_surface());
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
// A failure in welding, other than one in reading, lets a text be tried as a binary file.
template <class Read> void expect_promised_codes(bool text, Read read) {
    dense2D<double> full_pos;
    dense2D<unsigned int> full_connect;
    ASSERT_EQ(read(full_pos, full_connect), 0);
    ASSERT_EQ(full_pos.cols(), 8U);
    const std::size_t nbr_open = nbr_open_files();
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        dense2D<double> pos(3, 2, 1.0);
        dense2D<unsigned int> connect(3, 2, 0U);
        int code = thrown;
        bool failed = false;
        {
            const memory_failure failure(k, and_later);
            try {
                code = read(pos, connect);
            } catch (const std::bad_alloc&) {
            }
            failed = failure.happened();
        }
        if (code == 0) {
            EXPECT_EQ(corners_of(pos, connect), corners_of(full_pos, full_connect)) << k;
            EXPECT_TRUE(failed || pos.cols() == 8) << k;
        } else if (code != thrown) {
            EXPECT_TRUE(code == -199 || code == -198 || (text && code == -3)) << k << ": " << code;
            EXPECT_TRUE(pos.empty() && connect.empty()) << k;
        }
        EXPECT_TRUE(failed || code == 0) << k;
        EXPECT_EQ(nbr_open_files(), nbr_open) << k;
        return failed;
    });
    EXPECT_GT(nbr_failed, 0U);
}

TEST(stl_memory, input_from_a_stream) {
    for (const bool text : {false, true}) {
        const scratch_stream stream(cube_file(text));
        expect_promised_codes(text, [&](dense2D<double>& pos, dense2D<unsigned int>& connect) {
            std::rewind(stream.get());
            return STL_input(stream.get(), pos, connect);
        });
    }
}

TEST(stl_memory, input_by_name) {
    for (const bool text : {false, true}) {
        const scratch_file file(cube_file(text));
        expect_promised_codes(text, [&](dense2D<double>& pos, dense2D<unsigned int>& connect) {
            return STL_input(file.name(), pos, connect);
        });
    }
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
            int code = thrown;
            bool failed = false;
            {
                const memory_failure failure(k, and_later);
                try {
                    code = STL_output(file.name(), cube.pos, cube.connect, text);
                } catch (const std::bad_alloc&) {
                }
                failed = failure.happened();
            }
            if (code != thrown) {
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
