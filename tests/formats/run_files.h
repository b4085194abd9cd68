// What the NASTRAN and FEMAP tests share: the outputs of all forms of a reader of runs, and what
// all forms of a writer leave. `Functions` names the reader and the writer of one format.
#ifndef TESSMAKER_TESTS_FORMATS_RUN_FILES_H
#define TESSMAKER_TESTS_FORMATS_RUN_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

namespace test {

using id_lists = std::vector<std::vector<unsigned int>>;
using number_lists = std::vector<std::vector<double>>;

// Names the typed tests by their format.
struct format_names {
    template <class Functions> static std::string GetName(int) { return Functions::name; }
};

// The outputs of the full form. They hold something before they are read into.
template <class Functions> struct run_arrays {
    int code = 12345;
    dense2D<double> pos = dense2D<double>(2, 5, 7.0);
    dense2D<unsigned int> connect = dense2D<unsigned int>(9, 4, 7U);
    dense1D<unsigned int> indices{7U, 7U, 7U};
    dense1D<int> types{7, 7};
    dense1D<unsigned int> pids{7U};

    template <class File> void read(File* file) {
        code = Functions::input(file, pos, connect, indices, types, pids);
    }
    bool all_empty() const {
        return pos.empty() && connect.empty() && indices.empty() && types.empty() && pids.empty();
    }
};

template <class Functions> struct one_connectivity_of {
    int code = 12345;
    dense2D<double> pos = dense2D<double>(2, 5, 7.0);
    dense2D<unsigned int> connect = dense2D<unsigned int>(9, 4, 7U);
    kv7::element_type type = kv7::ET_QUAD9;

    template <class File> void read(File* file) {
        code = Functions::input(file, pos, connect, type);
    }
};

template <class Functions> struct two_connectivities_of {
    int code = 12345;
    dense2D<double> pos = dense2D<double>(2, 5, 7.0);
    dense2D<unsigned int> connect1 = dense2D<unsigned int>(1, 1, 71U);
    dense2D<unsigned int> connect2 = dense2D<unsigned int>(1, 1, 72U);
    kv7::element_type type1 = kv7::ET_QUAD9;
    kv7::element_type type2 = kv7::ET_PYRA14;

    template <class File> void read(File* file) {
        code = Functions::input(file, pos, connect1, connect2, type1, type2);
    }
};

template <class Result> Result read_as(const std::string& text) {
    const scratch_stream stream(text);
    Result result;
    result.read(stream.get());
    return result;
}

// The `n` nodes from `first` on.
inline std::vector<unsigned int> counted(unsigned int first, std::size_t n) {
    std::vector<unsigned int> column(n);
    for (std::size_t r = 0; r < n; ++r) column[r] = first + static_cast<unsigned int>(r);
    return column;
}
// Elements as columns, filled up with absent IDs.
inline dense2D<unsigned int> array_of(const id_lists& elements, std::size_t rows) {
    dense2D<unsigned int> connect(rows, elements.size(), none);
    for (std::size_t c = 0; c < elements.size(); ++c) {
        std::copy(elements[c].begin(), elements[c].end(), connect.column(c));
    }
    return connect;
}

// What the stream and the file of one set of arguments hold. The file overload leaves its stream
// open, with data in it.
template <class Functions, class... Arguments>
std::string written_runs(int expected_code, const Arguments&... arguments) {
    const scratch_stream stream;
    EXPECT_EQ(Functions::output(stream.get(), arguments...), expected_code);
    const std::string bytes = stream.contents();
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(Functions::output(file.name(), arguments...), expected_code);
    EXPECT_EQ(nbr_open_files(), nbr_open + 1);
    std::fflush(nullptr);
    EXPECT_EQ(file.contents(), bytes);
    if (expected_code != 0) {
        EXPECT_EQ(bytes, "");
    }
    return bytes;
}

} // namespace test

#endif
