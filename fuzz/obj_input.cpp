// Reads any bytes as a Wavefront OBJ file. Checks the shapes of the arrays, and that what can be
// written can be read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"

namespace {

using kv7::dense2D;

void require(bool condition) {
    if (!condition) std::abort();
}

// A file in memory, with a name to open it by.
class named_memory {
public:
    named_memory() : descriptor_(memfd_create("obj", 0)) { require(descriptor_ >= 0); }
    named_memory(const std::uint8_t* data, std::size_t size) : named_memory() {
        require(write(descriptor_, data, size) == static_cast<ssize_t>(size));
    }
    ~named_memory() { close(descriptor_); }
    named_memory(const named_memory&) = delete;
    named_memory& operator=(const named_memory&) = delete;

    std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

struct contents {
    dense2D<double> pos{3, 1, 0.0};
    dense2D<double> normals{3, 1, 0.0};
    dense2D<double> textures{2, 1, 0.0};
    dense2D<unsigned int> triangles{3, 1, 0U};
    dense2D<unsigned int> quadrangles{4, 1, 0U};

    int read(const named_memory& file) {
        return kv7::tessmaker::WavefrontOBJ_input(file.name().c_str(), pos, normals, textures,
                                                  triangles, quadrangles);
    }
};

template <class T> void check_shape(const dense2D<T>& array, std::size_t low, std::size_t high) {
    require(array.empty() || (array.rows() >= low && array.rows() <= high));
    require(array.ld() == array.rows());
}

void check_shapes(const contents& c) {
    check_shape(c.pos, 3, 3);
    check_shape(c.normals, 3, 3);
    check_shape(c.textures, 1, 3);
    check_shape(c.triangles, 3, 3);
    check_shape(c.quadrangles, 4, 4);
}

// Compares the vertices, and the faces if their numbers fit in an `int`.
void check_written(const contents& c) {
    constexpr unsigned int limit = 0x7FFFFFFF;
    if (c.pos.empty() || !kv7::tessmaker::check_IDs(c.triangles, kv7::ET_TRIA3, limit) ||
        !kv7::tessmaker::check_IDs(c.quadrangles, kv7::ET_QUAD4, limit)) {
        return;
    }
    const named_memory file;
    require(kv7::tessmaker::WavefrontOBJ_output(file.name().c_str(), c.pos, c.triangles,
                                                c.quadrangles, kv7::ET_TRIA3, kv7::ET_QUAD4) == 0);
    contents again;
    require(again.read(file) == 0);
    check_shapes(again);
    require(again.pos.cols() == c.pos.cols());
    require(again.normals.empty() && again.textures.empty());
    require(again.triangles.as_vector() == c.triangles.as_vector());
    require(again.quadrangles.as_vector() == c.quadrangles.as_vector());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const named_memory file(data, size);
    contents c;
    const int result = c.read(file);
    require(result == 0 || result == -2);
    check_shapes(c);
    check_written(c);
    return 0;
}
