// Memory failure at every allocation of the Wavefront OBJ functions, one after the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "formats/obj_files.h"
#include "formats/scratch_files.h"
#include "formats/written_files.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// Whether the columns of `part` are some of `whole`, in their order.
template <class T>
bool is_selection(const std::vector<std::vector<T>>& part,
                  const std::vector<std::vector<T>>& whole) {
    auto at = whole.begin();
    for (const auto& column : part) {
        at = std::find(at, whole.end(), column);
        if (at == whole.end()) return false;
        ++at;
    }
    return true;
}

TEST(obj_memory, input_loses_columns_without_a_report) {
    std::string text = "# " + std::string(500, 'x') + "\n";
    for (int k = 1; k <= 40; ++k) {
        const std::string n = std::to_string(k);
        text += "v " + n + " 1 2\nvt " + n + " 3\nvn 4 5 " + n + "\nf 1/1 2/2 " + n +
                "/1\nf 1 2 3 " + n + "\n";
    }
    const scratch_file file(text);
    obj_arrays whole;
    whole.read(file.name());
    ASSERT_EQ(whole.code, 0);
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        obj_arrays result;
        const auto [code, failed] = call_failing(k, and_later, [&] {
            result.read(file.name());
            return result.code;
        });
        EXPECT_TRUE(code == 0 || code == failing_call::thrown) << k << ": " << code;
        EXPECT_TRUE(failed || code == 0) << k;
        // Also what stands there when an exception leaves.
        EXPECT_TRUE(is_selection(list(result.pos), list(whole.pos))) << k;
        EXPECT_TRUE(is_selection(list(result.normals), list(whole.normals))) << k;
        EXPECT_TRUE(is_selection(list(result.textures), list(whole.textures))) << k;
        EXPECT_TRUE(is_selection(list(result.triangles), list(whole.triangles))) << k;
        EXPECT_TRUE(is_selection(list(result.quadrangles), list(whole.quadrangles))) << k;
        if (!failed) {
            EXPECT_EQ(list(result.pos), list(whole.pos));
            EXPECT_EQ(list(result.quadrangles), list(whole.quadrangles));
        }
        return failed;
    });
    EXPECT_GT(nbr_failed, 10U);
}

TEST(obj_memory, input_without_memory_for_columns_checks_on) {
    const scratch_file good("v 1 2 3\nvt 1\nvn 1 2 3\nf 1/1/1 2 3\nf 0 1 2 3\n");
    const scratch_file bad("v 1 2 3\nf 1 2 3x\n");
    obj_arrays result, failed;
    {
        const memory_limit limit(0);
        result.pos = dense2D<double>();
        result.normals = dense2D<double>();
        result.textures = dense2D<double>();
        result.triangles = dense2D<unsigned int>();
        result.quadrangles = dense2D<unsigned int>();
        failed = result;
        result.read(good.name());
        failed.read(bad.name());
    }
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(result.all_empty());
    EXPECT_EQ(failed.code, -2);
}

template <class... Arguments> void fail_writing(const Arguments&... arguments) {
    const std::size_t nbr_open = nbr_open_files();
    const auto write = [&](const char* name) { return WavefrontOBJ_output(name, arguments...); };
    expect_all_or_nothing(write, {});
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST(obj_memory, output_writes_all_or_nothing) {
    const dense2D<double> pos = points({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
    const dense2D<double> textures(2, 4, 0.5);
    const auto triangles = connectivity({{0, 1, 2}, {0, 2, 3}});
    const auto quadrangle = connectivity({{3, 2, 1, 0}});
    fail_writing(pos, pos, textures, triangles, quadrangle);
    fail_writing(pos, triangles, ET_TRIA3);
    fail_writing(pos, triangles, quadrangle, ET_TRIA3, ET_QUAD4);
    fail_writing(pos, triangles, triangles, ET_TRIA3, ET_TRIA3);
}

} // namespace
