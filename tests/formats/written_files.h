// What writers that take a name leave in their files.
#ifndef TESSMAKER_TESTS_FORMATS_WRITTEN_FILES_H
#define TESSMAKER_TESTS_FORMATS_WRITTEN_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>

#include "formats/plain_writers.h"
#include "formats/scratch_files.h"
#include "support/failing_call.h"

namespace test {

// What the call leaves in the file, which is closed then.
template <class Call> std::string written(Call call) {
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(call(file.name()), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    return file.contents();
}

// The call fails, and leaves a file that is there and empty, and open for the rest of the process.
template <class Call> void expect_empty_and_open(int code, Call call) {
    const scratch_file file("older contents");
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(call(file.name()), code);
    EXPECT_EQ(nbr_open_files(), nbr_open + 1);
    EXPECT_EQ(file.contents(), "");
}

// Fails each allocation of the call in turn: the file is as it would be without, or it is empty or
// not there and the call has told so, by one of the codes or by an exception. Returns how many
// allocations there were to fail.
template <class Call>
std::size_t expect_all_or_nothing(Call call, std::initializer_list<int> codes) {
    const std::string whole = written(call);
    return fail_each_allocation([&](std::size_t k, bool and_later) {
        SCOPED_TRACE(k);
        const scratch_file file;
        const auto [code, failed] = call_failing(k, and_later, [&] { return call(file.name()); });
        const bool is_told = code == failing_call::thrown ||
                             std::find(codes.begin(), codes.end(), code) != codes.end();
        EXPECT_TRUE(code == 0 || (failed && is_told)) << code;
        EXPECT_EQ(file.contents(), code == 0 ? whole : "") << code;
        return failed;
    });
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
