#include <cstdio>
#include <cstring>
#include <string>

#include "formats/atomic_file.h"
#include "formats/file_calls.h"
#include "formats/file_report.h"
#include "formats/mesh_check.h"
#include "formats/mesh_writers.h"
#include "formats/streams.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

namespace {

// Null for a format that is not written.
const mesh_writer* writer_of(file_format format) {
    switch (format) {
    case file_format::stl_text: return &stl_text_writer;
    case file_format::stl_binary: return &stl_binary_writer;
    case file_format::obj: return &obj_writer;
    case file_format::medit: return &medit_writer;
    case file_format::vtk: return &vtk_writer;
    case file_format::vtu: return &vtu_writer;
    case file_format::nastran: return &nastran_writer;
    case file_format::femap: return &femap_writer;
    default: return nullptr;
    }
}

std::string not_written(file_format format) {
    return std::string(format_name(format)) + " files are not written";
}

// Checks the mesh and what would be lost of it, and calls `write(what)`, which returns a code.
// `mesh_place` is the place of the mesh among the arguments of the call.
template <class Write>
int write_checked(const mesh_writer& writer, file_format format, const mesh& m, int mesh_place,
                  const write_options& options, report_builder& report, const Write& write) {
    if (const char* const fault = fault_of(m)) return report.fail(-mesh_place, fault);
    const int options_failed = -mesh_place - 1;
    if (options.digits < 1 || options.digits > 17) {
        return report.fail(options_failed, "numbers must have from 1 to 17 digits");
    }
    const mesh_for_file what = choose_what_is_written(m, *writer.holdings, options.digits);
    write_losses losses(report);
    tell_losses(what, losses);
    if (writer.tell) writer.tell(what, losses);
    if (losses.any() && !options.lossy) {
        return report.fail(options_failed,
                           std::string(format_name(format)) + " can't hold all of the mesh");
    }
    return write(what);
}

int write_path(const char* path, file_format format, const mesh& m, const write_options& options,
               report_builder& report) {
    if (!path) return report.fail(file_failed, "there is no path");
    if (format == file_format::unknown) {
        const bool is_stream = std::strcmp(path, "-") == 0;
        return report.fail(file_failed, is_stream ? "the format of a stream must be named"
                                                  : "its ending tells no format");
    }
    const mesh_writer* const writer = writer_of(format);
    if (!writer) return report.fail(file_failed, not_written(format));
    const auto write = [&](const mesh_for_file& what) {
        atomic_file file(path);
        if (!file) {
            return report.fail(file_failed, "can't be opened: " + system_text(file.error()));
        }
        const bool is_written = writer->write(file.get(), what);
        report.finish(); // what asks for memory comes ahead of the commit
        if (file.commit() && is_written) return 0;
        return report.fail(file_failed, "can't be written: " + system_text(file.error()));
    };
    return write_checked(*writer, format, m, 2, options, report, write);
}

int write_stream(std::FILE* file, file_format format, const mesh& m, const write_options& options,
                 report_builder& report) {
    if (!is_usable(file)) return report.fail(-1, "there is no stream, or it is in error");
    const mesh_writer* const writer = writer_of(format);
    if (!writer) return report.fail(-2, not_written(format));
    const auto write = [&](const mesh_for_file& what) {
        const bool is_written = writer->write(file, what);
        return has_taken_all(file) && is_written ? 0 : file_failed;
    };
    return write_checked(*writer, format, m, 3, options, report, write);
}

} // namespace

int write_mesh(const char* path, const mesh& m, const write_options& options, file_report& report) {
    const bool is_named = options.format != file_format::unknown;
    const file_format format = is_named ? options.format : format_by_ending(path);
    return with_report(report, path ? path : "", format, [&](report_builder& builder) {
        return write_path(path, format, m, options, builder);
    });
}

int write_mesh(std::FILE* file, file_format format, const mesh& m, const write_options& options,
               file_report& report) {
    return with_report(report, "", format, [&](report_builder& builder) {
        return write_stream(file, format, m, options, builder);
    });
}

} // namespace kv7::tessmaker
