#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "formats/atomic_file.h"
#include "formats/file_calls.h"
#include "formats/file_report.h"
#include "formats/mesh_check.h"
#include "formats/mesh_writers.h"
#include "formats/paths.h"
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
    case file_format::ensight: return &ensight_writer;
    default: return nullptr;
    }
}

std::string not_written(file_format format) {
    return std::string(format_name(format)) + " files are not written";
}

// Refuses options. They stand behind the mesh, whose place among the arguments is `mesh_place`.
int check_digits(const write_options& options, int mesh_place, report_builder& report) {
    if (options.digits >= 1 && options.digits <= 17) return 0;
    return report.fail(-mesh_place - 1, "numbers must have from 1 to 17 digits");
}
int check_losses(const write_losses& losses, const write_options& options, int mesh_place,
                 report_builder& report, const std::string& what_is_too_small) {
    if (!losses.any() || options.lossy) return 0;
    return report.fail(-mesh_place - 1, what_is_too_small);
}

// Checks the mesh and what would be lost of it, and calls `write(what)`, which returns a code.
template <class Write>
int write_checked(const mesh_writer& writer, file_format format, const mesh& m, int mesh_place,
                  const write_options& options, report_builder& report, const Write& write) {
    if (const char* const fault = fault_of(m)) return report.fail(-mesh_place, fault);
    if (const int code = check_digits(options, mesh_place, report); code < 0) return code;
    const mesh_for_file what = choose_what_is_written(m, *writer.holdings, options.digits);
    write_losses losses(report);
    tell_losses(what, losses);
    if (writer.tell) writer.tell(what, losses);
    const std::string sentence = std::string(format_name(format)) + " can't hold all of the mesh";
    const int code = check_losses(losses, options, mesh_place, report, sentence);
    return code < 0 ? code : write(what);
}

// `subject` is for sentences, empty for the file of the report.
int fail(const atomic_file& file, const std::string& subject, const char* text,
         report_builder& report) {
    return report.fail(file_failed, subject + text + system_text(file.error()));
}

// Calls `write(file)`, which is false when the stream fails. The file is whole then, and has its
// name from the commit.
template <class Write>
int write_contents(atomic_file& file, const std::string& subject, report_builder& report,
                   const Write& write) {
    if (!file) return fail(file, subject, "can't be opened: ", report);
    const bool is_written = write(file.get());
    return file.end() && is_written ? 0 : fail(file, subject, "can't be written: ", report);
}

int commit(atomic_file& file, const std::string& subject, report_builder& report) {
    return file.commit() ? 0 : fail(file, subject, "can't be written: ", report);
}

template <class Write>
int write_whole_file(const char* path, report_builder& report, const Write& write) {
    atomic_file file(path);
    if (const int code = write_contents(file, "", report, write); code < 0) return code;
    report.finish(); // what asks for memory comes ahead of the commit
    return commit(file, "", report);
}

constexpr remark_form blanks_in_name{remark_kind::note, "with blanks", "with blanks",
                                     "in quotes, which not all programs read"};

// Where the geometry of a case file stands.
std::string geometry_path(std::string_view path) {
    constexpr std::string_view ending = ".case";
    const bool has_ending =
        format_by_ending(std::string(path).c_str()) == file_format::ensight_case;
    if (has_ending) path.remove_suffix(ending.size());
    return std::string(path) + ".geo";
}

// Whether a case file can name a file: in a line, and in quotes where it has blanks.
bool can_be_named(std::string_view name) {
    return std::none_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '"';
    });
}

// Neither of the files has its name before both are whole.
int write_case_and_geometry(const char* path, const std::string& geometry, const std::string& text,
                            const mesh_for_file& what, report_builder& report) {
    const std::string subject = std::string(name_of(geometry)) + ": ";
    atomic_file geometry_file(geometry.c_str());
    int code = write_contents(geometry_file, subject, report, [&what](std::FILE* file) {
        return ensight_writer.write(file, what);
    });
    if (code < 0) return code;
    atomic_file case_file(path);
    code = write_contents(case_file, "", report, [&text](std::FILE* file) {
        return std::fwrite(text.data(), 1, text.size(), file) == text.size();
    });
    if (code < 0) return code;
    report.finish();
    code = commit(geometry_file, subject, report);
    return code < 0 ? code : commit(case_file, "", report);
}

int write_case(const char* path, const mesh& m, const write_options& options,
               report_builder& report) {
    if (std::strcmp(path, "-") == 0) {
        return report.fail(file_failed, "a case file names another one and can't be a stream");
    }
    const std::string geometry = geometry_path(path);
    const std::string name(name_of(geometry));
    if (!can_be_named(name)) {
        return report.fail(file_failed, "a case file can't name its geometry file: quotes and "
                                        "control characters can't be in that name");
    }
    const bool is_word = name.find(' ') == std::string::npos;
    const std::string text =
        "FORMAT\ntype: ensight gold\nGEOMETRY\nmodel: " + (is_word ? name : '"' + name + '"') +
        '\n';
    const auto write = [&](const mesh_for_file& what) {
        if (!is_word) report.add(blanks_in_name, "name of the geometry file", {});
        return write_case_and_geometry(path, geometry, text, what, report);
    };
    return write_checked(ensight_writer, file_format::ensight_case, m, 2, options, report, write);
}

int write_path(const char* path, file_format format, const mesh& m, const write_options& options,
               report_builder& report) {
    if (!path) return report.fail(file_failed, "there is no path");
    if (format == file_format::unknown) {
        const bool is_stream = std::strcmp(path, "-") == 0;
        return report.fail(file_failed, is_stream ? "the format of a stream must be named"
                                                  : "its ending tells no format");
    }
    if (format == file_format::ensight_case) return write_case(path, m, options, report);
    const mesh_writer* const writer = writer_of(format);
    if (!writer) return report.fail(file_failed, not_written(format));
    const auto write = [&](const mesh_for_file& what) {
        return write_whole_file(path, report,
                                [&](std::FILE* file) { return writer->write(file, what); });
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

int write_fields_of(const char* path, const mesh& m, const write_options& options,
                    report_builder& report) {
    constexpr int mesh_place = 2;
    if (!path) return report.fail(file_failed, "there is no path");
    if (const char* const fault = fault_of(m)) return report.fail(-mesh_place, fault);
    if (nbr_medit_fields(m) == 0) return report.fail(-mesh_place, "there is no field to write");
    if (const int code = check_digits(options, mesh_place, report); code < 0) return code;
    const mesh_for_file what = choose_what_is_written(m, medit_holdings, options.digits);
    write_losses losses(report);
    tell_medit_field_losses(what, losses);
    const char* const sentence = "a MEDIT field file can't hold all of the fields";
    const int code = check_losses(losses, options, mesh_place, report, sentence);
    if (code < 0) return code;
    return write_whole_file(path, report,
                            [&](std::FILE* file) { return write_medit_fields(file, what); });
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

int write_fields(const char* path, const mesh& m, const write_options& options,
                 file_report& report) {
    return with_report(report, path ? path : "", file_format::medit, [&](report_builder& builder) {
        return write_fields_of(path, m, options, builder);
    });
}

} // namespace kv7::tessmaker
