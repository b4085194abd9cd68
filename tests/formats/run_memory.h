// Readers and writers of runs with every allocation failing in turn, as the NASTRAN and FEMAP tests
// share them.
#ifndef TESSMAKER_TESTS_FORMATS_RUN_MEMORY_H
#define TESSMAKER_TESTS_FORMATS_RUN_MEMORY_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>

#include "formats/scratch_files.h"
#include "support/failing_call.h"
#include "support/meshes.h"

namespace test {

template <class T> bool is_beginning_of_columns(const dense2D<T>& part, const dense2D<T>& whole) {
    if (part.cols() > whole.cols()) return false;
    for (std::size_t c = 0; c < part.cols(); ++c) {
        for (std::size_t r = 0; r < part.rows(); ++r) {
            if (part(r, c) != whole(r, c)) return false;
        }
    }
    return true;
}

inline void expect_told(const failing_call& call) {
    EXPECT_TRUE(call.code == 0 || call.code == -199 || call.threw()) << call.code;
    EXPECT_TRUE(call.failed || call.code == 0) << call.code;
}

inline void start_again(std::FILE* file) { std::rewind(file); }
inline void start_again(const char*) {}

// Reads a stream, or a file by its name, into result after result. `check` is told whether the
// allocation was reached and the result, unless an exception left.
template <class Result, class File, class Check> void fail_reading(File* file, Check check) {
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        SCOPED_TRACE(k);
        Result result;
        start_again(file);
        const failing_call call = call_failing(k, and_later, [&] {
            result.read(file);
            return result.code;
        });
        expect_told(call);
        if (!call.threw()) check(call.failed, result);
        return call.failed;
    });
    EXPECT_GT(nbr_failed, 4U);
}

// Either all is written, or nothing and a code tells of it, or an exception leaves.
template <class Functions, class... Arguments> void fail_writing(const Arguments&... arguments) {
    const auto write = [&](const scratch_stream& stream) {
        return Functions::output(stream.get(), arguments...);
    };
    const scratch_stream whole;
    ASSERT_EQ(write(whole), 0);
    const std::string expected = whole.contents();
    EXPECT_NE(expected, "");
    fail_each_allocation([&](std::size_t k, bool and_later) {
        SCOPED_TRACE(k);
        const scratch_stream stream;
        const failing_call call = call_failing(k, and_later, [&] { return write(stream); });
        expect_told(call);
        if (!call.threw()) {
            EXPECT_EQ(stream.contents(), call.code == 0 ? expected : "");
        }
        return call.failed;
    });
}

} // namespace test

#endif
