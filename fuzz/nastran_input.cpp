// Reads any bytes as a NASTRAN deck. Checks that the result is that of a plain reader, and that
// writing it gives the text of a plain writer.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/memory_hook.h"
#include "formats/plain_nastran.h"
#include "tessmaker/formats.h"

namespace {

using kv7::dense1D;
using kv7::dense2D;
using kv7::element_type;

// Blocks beyond this size are refused, so that an absurd node ID does not fill memory.
constexpr std::size_t limit = 1 << 20;
// Arrays grow to powers of two; this is the largest below the limit, with three doubles per node.
constexpr unsigned int largest_id = 1 << 15;

bool is_small(std::size_t bytes) noexcept { return bytes <= limit; }

void require(bool condition) {
    if (!condition) std::abort();
}

struct mesh {
    dense2D<double> pos{3, 1, 0.0};
    dense2D<unsigned int> connect{3, 1, 0U};
    dense1D<unsigned int, 8> indices{1, 2, 3};
    dense1D<int, 8> types{4};
    dense1D<unsigned int, 8> pids{5};
};

// Calls with a stream on the bytes, and returns where it was left.
template <class Call> long with_stream(void* bytes, std::size_t size, const Call& call) {
    std::FILE* const file = fmemopen(bytes, size, "rb");
    require(file != nullptr);
    call(file);
    const long place = std::ftell(file);
    std::fclose(file);
    return place;
}

int read(void* bytes, std::size_t size, mesh& m, long& place) {
    int result = 0;
    place = with_stream(bytes, size, [&](std::FILE* file) {
        result = kv7::tessmaker::NASTRAN_input(file, m.pos, m.connect, m.indices, m.types, m.pids);
    });
    return result;
}

template <class T> bool equal(const dense1D<T, 8>& list, const std::vector<T>& expected) {
    return std::equal(list.begin(), list.end(), expected.begin(), expected.end());
}

// Equal bits; all NaNs are equal.
bool equal(double x, double y) {
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y) ||
           (std::isnan(x) && std::isnan(y));
}

bool equal(const dense2D<unsigned int>& a, const dense2D<unsigned int>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (std::size_t c = 0; c < a.cols(); ++c) {
        if (!std::equal(a.column(c), a.column(c) + a.rows(), b.column(c))) return false;
    }
    return true;
}

void check_mesh(const mesh& m, const test::deck& expected) {
    require(m.pos.cols() == expected.nodes.size());
    for (std::size_t c = 0; c < m.pos.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) require(equal(m.pos(r, c), expected.nodes[c][r]));
    }
    require(m.connect.cols() == expected.elements.size());
    require(m.connect.rows() == expected.nbr_rows());
    const auto columns = expected.columns_of_all();
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        require(std::equal(columns[c].begin(), columns[c].end(), m.connect.column(c)));
    }
    require(equal(m.indices, expected.indices) && equal(m.types, expected.types) &&
            equal(m.pids, expected.pids));
}

// The overloads for one and two connectivities must give parts of the same result.
void check_other_forms(void* bytes, std::size_t size, const mesh& m, const test::deck& expected) {
    mesh one;
    element_type type = kv7::ET_NODE;
    with_stream(bytes, size, [&](std::FILE* file) {
        require(kv7::tessmaker::NASTRAN_input(file, one.pos, one.connect, type) == 0);
    });
    require(equal(one.connect, m.connect));
    require(type == (m.types.empty() ? kv7::ET_NODE : expected.one_type()));

    dense2D<unsigned int> connects[2];
    element_type types[2] = {kv7::ET_NODE, kv7::ET_NODE};
    with_stream(bytes, size, [&](std::FILE* file) {
        require(kv7::tessmaker::NASTRAN_input(file, one.pos, connects[0], connects[1], types[0],
                                              types[1]) == 0);
    });
    for (std::size_t k = 0; k < 2; ++k) {
        const bool is_there = k < m.types.size();
        require(types[k] == (is_there ? m.types[k] : kv7::ET_NODE));
        require(connects[k].cols() == (is_there ? m.indices[k + 1] - m.indices[k] : 0));
        require(!is_there || connects[k].rows() == kv7::tessmaker::nbr_nodes(types[k]));
    }
}

void check_written(const mesh& m, const test::deck& expected) {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&bytes, &size);
    require(file != nullptr);
    const int result =
        kv7::tessmaker::NASTRAN_output(file, m.pos, m.connect, m.indices, m.types, m.pids);
    std::fclose(file);
    require(result == 0 || result == -3 || (result == -2 && m.pos.empty()) ||
            (result == -5 && m.types.empty()));
    std::string text;
    if (result == 0) {
        text = test::plain_nastran_writer().write(m.pos, m.connect, expected.indices,
                                                  expected.types, expected.pids);
    }
    require(text == std::string(bytes, size));
    std::free(bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<std::uint8_t> bytes(data, data + size);
    kv7::set_memory_hook(is_small);

    test::deck expected;
    const long expected_place = with_stream(bytes.data(), size, [&](std::FILE* file) {
        expected = test::plain_nastran_reader(file, largest_id).read();
    });
    mesh m;
    long place = 0;
    require(read(bytes.data(), size, m, place) == expected.code);
    require(place == expected_place);
    check_mesh(m, expected);
    if (expected.code == 0) check_other_forms(bytes.data(), size, m, expected);
    check_written(m, expected);
    return 0;
}
