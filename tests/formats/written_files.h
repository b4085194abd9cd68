// What writers that take a name leave in their files.
#ifndef TESSMAKER_TESTS_FORMATS_WRITTEN_FILES_H
#define TESSMAKER_TESTS_FORMATS_WRITTEN_FILES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "formats/plain_writers.h"
#include "formats/scratch_files.h"

namespace test {

// What the call leaves in the file, which is closed then.
template <class Call> std::string written(Call call) {
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(call(file.name()), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    return file.contents();
}

// The form for a list of connectivities leaves this text, and so do the forms for one and for two
// where the list has as many. `output` stands for all forms of the writer.
template <class Output>
void expect_all_forms(const dense2D<double>& pos, const mesh_list& m, const std::string& expected,
                      Output output) {
    const auto type = [&m](std::size_t k) { return static_cast<kv7::element_type>(m.types[k]); };
    const auto write = [&](const auto&... mesh) {
        return written([&](const char* name) { return output(name, pos, mesh...); });
    };
    EXPECT_EQ(write(m.begin(), m.end(), m.type_list()), expected);
    if (m.size() == 1) {
        EXPECT_EQ(write(m.connects[0], type(0)), expected);
    }
    if (m.size() == 2) {
        EXPECT_EQ(write(m.connects[0], m.connects[1], type(0), type(1)), expected);
    }
}

} // namespace test

#endif
