// Reads any bytes as an STL file. Checks that the result is a mesh or empty, and that a mesh can be
// written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

namespace {

using kv7::dense2D;

void require(bool condition) {
    if (!condition) std::abort();
}

int read(void* bytes, std::size_t size, dense2D<double>& pos, dense2D<unsigned int>& connect) {
    std::FILE* const file = fmemopen(bytes, size, "rb");
    require(file != nullptr);
    const int result = kv7::tessmaker::STL_input(file, pos, connect);
    std::fclose(file);
    return result;
}

void check_mesh(const dense2D<double>& pos, const dense2D<unsigned int>& connect) {
    require(pos.empty() || (pos.rows() == 3 && pos.ld() == 3));
    require(connect.empty() || connect.rows() == 3);
    require(connect.empty() == pos.empty());
    const auto nbr_nodes = static_cast<unsigned int>(pos.cols());
    require(kv7::tessmaker::check_IDs(connect, kv7::ET_TRIA3, nbr_nodes));
}

void check_written(const dense2D<double>& pos, const dense2D<unsigned int>& connect, bool text) {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&bytes, &size);
    require(file != nullptr);
    require(kv7::tessmaker::STL_output(file, pos, connect, text) == 0);
    std::fclose(file);
    dense2D<double> pos_again;
    dense2D<unsigned int> connect_again;
    require(read(bytes, size, pos_again, connect_again) == 0);
    check_mesh(pos_again, connect_again);
    require(connect_again.cols() <= connect.cols());
    std::free(bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<std::uint8_t> bytes(data, data + size);
    dense2D<double> pos(3, 1, 0.0);
    dense2D<unsigned int> connect(3, 1, 0U);
    if (read(bytes.data(), size, pos, connect) != 0) {
        require(pos.empty() && connect.empty());
        return 0;
    }
    check_mesh(pos, connect);
    check_written(pos, connect, true);
    check_written(pos, connect, false);
    return 0;
}
