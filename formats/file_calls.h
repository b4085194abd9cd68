// The frame of the calls that read or write a mesh: their report, and memory failure.
#ifndef TESSMAKER_FORMATS_FILE_CALLS_H
#define TESSMAKER_FORMATS_FILE_CALLS_H

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "formats/file_report.h"
#include "formats/mesh_readers.h"

namespace kv7::tessmaker {

// Where the system says no more.
inline constexpr std::string_view system_failed = "the system failed to read or write it";

// What the system says of an `errno`.
inline std::string system_text(int error) { return std::generic_category().message(error); }

// Runs `work(builder)`, which returns a code, with a builder of the report, and puts what it has
// collected into the report. A failure of which `work` has not told is told by its code. Memory
// failure becomes a code: nothing is thrown.
template <class Work>
int with_report(file_report& report, std::string_view path, file_format format, const Work& work) {
    try {
        report_builder builder(report, path, format);
        const int code = work(builder);
        if (code < 0 && !builder.has_failed()) {
            builder.fail(code,
                         code == out_of_memory ? "there is not enough memory" : system_failed);
        }
        builder.finish();
        return code;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) { // more than any memory
    }
    report_memory_failure(report, path, format);
    return out_of_memory;
}

} // namespace kv7::tessmaker

#endif
