#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/file_calls.h"
#include "formats/file_report.h"
#include "formats/mesh_readers.h"
#include "formats/paths.h"
#include "formats/streams.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

namespace {

using mesh_reader = int (*)(std::FILE* file, mesh& result, report_builder& report);

// Null for a format that is not read.
mesh_reader reader_of(file_format format) {
    switch (format) {
    case file_format::stl_text:
    case file_format::stl_binary: return read_stl_mesh;
    case file_format::nastran: return read_nastran_mesh;
    case file_format::obj: return read_obj_mesh;
    case file_format::femap: return read_femap_mesh;
    case file_format::medit: return read_medit_mesh;
    case file_format::vtk: return read_vtk_mesh;
    case file_format::vtu: return read_vtu_mesh;
    default: return nullptr;
    }
}

std::string not_read(file_format format) {
    if (format == file_format::unknown) return "neither its name nor its contents tell a format";
    std::string text = std::string(format_name(format)) + " files are not read";
    if (format == file_format::ensight) text += ", nor scripts of gmsh, which have the same ending";
    return text;
}

// What a reader returns, but where the system failed: it may have taken that for the end of the
// file.
int code_of_reading(int code, std::FILE* file, report_builder& report) {
    if (!std::ferror(file) || code == file_failed || code == out_of_memory) return code;
    return report.fail(file_failed, system_failed);
}

int read_by(mesh_reader reader, std::FILE* file, mesh& result, report_builder& report) {
    return code_of_reading(reader(file, result, report), file, report);
}

bool is_folder(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

int read_path(const char* path, file_format format, mesh& result, report_builder& report) {
    if (!path) return report.fail(file_failed, "there is no path");
    if (std::strcmp(path, "-") == 0) {
        return report.fail(file_failed, "the format of a stream must be named");
    }
    const opened_file file(path, "rbe");
    if (!file) return report.fail(file_failed, "can't be opened: " + system_text(errno));
    if (is_folder(file.get())) return report.fail(file_failed, "is a folder");
    const mesh_reader reader = reader_of(format);
    if (!reader) return report.fail(file_failed, not_read(format));
    return read_by(reader, file.get(), result, report);
}

int read_fields_by_path(const char* path, const mesh& target, std::vector<field>& fields,
                        report_builder& report) {
    if (!path) return report.fail(file_failed, "there is no path");
    const opened_file file(path, "rbe");
    if (!file) return report.fail(file_failed, "can't be opened: " + system_text(errno));
    if (is_folder(file.get())) return report.fail(file_failed, "is a folder");
    const int code = read_medit_fields(file.get(), stem_of(path), target, fields, report);
    return code_of_reading(code, file.get(), report);
}

} // namespace

int read_mesh(const char* path, mesh& result, file_report& report) {
    result = mesh();
    const file_format format = format_of(path);
    const int code = with_report(report, path ? path : "", format, [&](report_builder& builder) {
        return read_path(path, format, result, builder);
    });
    if (code < 0) result = mesh(); // the report may be what memory failed for
    return code;
}

int read_mesh(std::FILE* file, file_format format, mesh& result, file_report& report) {
    result = mesh();
    const int code = with_report(report, "", format, [&](report_builder& builder) {
        if (!is_usable(file)) return builder.fail(-1, "there is no stream, or it is in error");
        const mesh_reader reader = reader_of(format);
        if (!reader) return builder.fail(-2, not_read(format));
        return read_by(reader, file, result, builder);
    });
    if (code < 0) result = mesh();
    return code;
}

int read_fields(const char* path, mesh& target, file_report& report) {
    std::vector<field> fields;
    const auto read = [&](report_builder& builder) {
        const int code = read_fields_by_path(path, target, fields, builder);
        if (code >= 0) target.fields.reserve(target.fields.size() + fields.size());
        return code;
    };
    const int code = with_report(report, path ? path : "", file_format::medit, read);
    if (code < 0) return code; // the report may be what memory failed for
    for (field& f : fields) target.fields.push_back(std::move(f));
    return 0;
}

} // namespace kv7::tessmaker
