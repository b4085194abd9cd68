// Reads any bytes as a FEMAP neutral file. Checks that the runs match the arrays, that what can be
// written can be read again, and that the file is read up to its end or the bad line.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/memory_hook.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

namespace {

using namespace kv7;
using namespace kv7::tessmaker;

// Blocks beyond this size are refused, so that an absurd node ID does not fill memory.
constexpr std::size_t most_bytes = std::size_t{1} << 22;
bool is_small(std::size_t bytes) noexcept { return bytes <= most_bytes; }

void require(bool condition) {
    if (!condition) std::abort();
}

struct contents {
    dense2D<double> pos{3, 1, 0.0};
    dense2D<unsigned int> connect{3, 1, 0U};
    dense1D<unsigned int> indices{7};
    dense1D<int> types{7};
    dense1D<unsigned int> pids{7};

    int read(void* bytes, std::size_t size) {
        std::FILE* const file = fmemopen(bytes, size, "r");
        require(file != nullptr);
        const int result = FEMAP_input(file, pos, connect, indices, types, pids);
        require(result == -102 || result == -199 || std::feof(file));
        std::fclose(file);
        return result;
    }
};

void check_runs(const contents& c) {
    require(c.pos.empty() || (c.pos.rows() == 3 && c.pos.ld() == 3));
    require(c.connect.rows() <= 20);
    require(c.pids.size() == c.connect.cols());
    require(c.indices.size() >= 2 && c.indices[0] == 0);
    require(c.indices[c.indices.size() - 1] == c.connect.cols());
    for (std::size_t k = 1; k < c.indices.size(); ++k) require(c.indices[k - 1] <= c.indices[k]);
    // An element of unknown topology adds a type, sometimes without a run.
    require(c.types.size() + 1 >= c.indices.size() || c.types.empty());
}

bool has_type(const contents& c, element_type type) {
    for (const int t : c.types) {
        if (t == type) return true;
    }
    return false;
}

// Whether a node surely fits on a line of 255 characters.
bool has_short_lines(const dense2D<double>& pos) {
    for (const double x : pos.as_vector()) {
        if (std::abs(x) > 1e50) return false;
    }
    return true;
}

// Leaves out ET_TRIA6, which is not written as it is read.
void check_written(const contents& c) {
    if (c.connect.empty() || c.pos.empty() || has_type(c, ET_TRIA6)) return;
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&bytes, &size);
    require(file != nullptr);
    const int result = FEMAP_output(file, c.pos, c.connect, c.indices, c.types, c.pids);
    require(result == 0 || result == -3 || result == -5);
    std::fclose(file);
    if (result == 0 && !has_type(c, ET_UNKNOWN) && has_short_lines(c.pos)) {
        contents again;
        require(again.read(bytes, size) == 0);
        require(again.pos.cols() == c.pos.cols());
        require(again.connect.as_vector() == c.connect.as_vector());
        require(again.indices == c.indices && again.types == c.types && again.pids == c.pids);
    }
    std::free(bytes);
}

// Reads every entry of the views, which must lie within their block.
void check_two(void* bytes, std::size_t size, int result) {
    std::FILE* const file = fmemopen(bytes, size, "r");
    require(file != nullptr);
    dense2D<double> pos;
    dense2D<unsigned int> connect1;
    dense2D<unsigned int> connect2;
    element_type type1 = ET_UNKNOWN;
    element_type type2 = ET_UNKNOWN;
    require(FEMAP_input(file, pos, connect1, connect2, type1, type2) == result);
    std::fclose(file);
    check_IDs(connect1, 1);
    check_IDs(connect2, 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    set_memory_hook(is_small);
    std::vector<std::uint8_t> bytes(data, data + size);
    contents c;
    const int result = c.read(bytes.data(), size);
    require(result == 0 || result == -102 || result == -199);
    check_runs(c);
    check_written(c);
    check_two(bytes.data(), size, result);
    return 0;
}
