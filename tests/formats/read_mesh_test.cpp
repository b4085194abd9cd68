// What holds of read_mesh whatever the format.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::string triangle = "solid a\nfacet normal 0 0 1 outer loop vertex 0 0 0 vertex 1 0 0 "
                             "vertex 0 1 0 endloop endfacet\nendsolid\n";

// A file that ends in .stl, or in anything else.
class named_file {
public:
    explicit named_file(const std::string& contents, const std::string& ending = ".stl")
        : name_(base_.name() + ending) {
        std::ofstream(name_, std::ios::binary) << contents;
    }
    ~named_file() { std::remove(name_.c_str()); }
    named_file(const named_file&) = delete;
    named_file& operator=(const named_file&) = delete;
    const char* name() const { return name_.c_str(); }

private:
    scratch_file base_;
    std::string name_;
};

std::string error_of(int expected_code, const char* path) {
    mesh m;
    m.pos = dense2D<double>(3, 1, 0.0);
    m.element_sets.resize(2);
    file_report report;
    EXPECT_EQ(read_mesh(path, m, report), expected_code);
    EXPECT_TRUE(m.pos.empty() && m.element_sets.empty());
    EXPECT_TRUE(report.error());
    if (!report.error()) return "";
    EXPECT_EQ(report.file(), path ? path : "");
    EXPECT_EQ(report.error()->file, report.file());
    return report.error()->sentence.substr(report.file().size());
}

TEST(read_mesh, reads_a_file_by_its_path) {
    const named_file file(triangle);
    mesh m;
    file_report report;
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(read_mesh(file.name(), m, report), 0);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    EXPECT_EQ(m.connect.cols(), 1U);
    EXPECT_EQ(report.file(), file.name());
    EXPECT_EQ(report.format(), file_format::stl_text);
    EXPECT_EQ(report.error(), nullptr);
    EXPECT_FALSE(report.has_lost());

    const named_file bare(triangle, "");
    EXPECT_EQ(read_mesh(bare.name(), m, report), 0);
    EXPECT_EQ(report.format(), file_format::stl_text);
}

TEST(read_mesh, a_fault_says_file_line_and_column) {
    const named_file file("solid a\nfacet normal 0 x 1\n");
    EXPECT_EQ(error_of(-102, file.name()), ", line 2, column 16: a number is expected");
}

TEST(read_mesh, says_why_a_file_cant_be_read) {
    EXPECT_EQ(error_of(-1, nullptr), "there is no path");
    EXPECT_EQ(error_of(-1, "-"), ": the format of a stream must be named");
    EXPECT_EQ(error_of(-1, ""), "can't be opened: No such file or directory");
    EXPECT_EQ(error_of(-1, "/no/such/folder/part.stl"),
              ": can't be opened: No such file or directory");
    EXPECT_EQ(error_of(-1, "/proc"), ": is a folder");
    const named_file text("hello\n", ".txt");
    EXPECT_EQ(error_of(-1, text.name()), ": neither its name nor its contents tell a format");
    const named_file geometry("", ".geo");
    EXPECT_EQ(error_of(-1, geometry.name()),
              ": EnSight files are not read, nor scripts of gmsh, which have the same ending");
    const named_file cases("", ".case");
    EXPECT_EQ(error_of(-1, cases.name()), ": EnSight case files are not read");
}

TEST(read_mesh, the_path_may_stand_in_the_report) {
    const named_file file(triangle);
    mesh m;
    file_report report;
    EXPECT_EQ(read_mesh(file.name(), m, report), 0);
    EXPECT_EQ(read_mesh(report.file().c_str(), m, report), 0);
    EXPECT_EQ(report.file(), file.name());
    EXPECT_EQ(m.connect.cols(), 1U);
}

TEST(read_mesh, copies_of_a_mesh_keep_what_they_hold) {
    const named_file file(triangle);
    mesh m;
    file_report report;
    EXPECT_EQ(read_mesh(file.name(), m, report), 0);
    const mesh copy = m;
    const named_file other("solid\nendsolid\n");
    EXPECT_EQ(read_mesh(other.name(), m, report), 0);
    EXPECT_TRUE(m.connect.empty());
    EXPECT_EQ(copy.connect.cols(), 1U);
    EXPECT_EQ(copy.element_sets[0].name, "a");
}

TEST(read_mesh, of_a_stream_checks_the_stream_before_the_format) {
    mesh m;
    file_report report;
    std::FILE* const no_file = nullptr;
    EXPECT_EQ(read_mesh(no_file, file_format::unknown, m, report), -1);
    EXPECT_EQ(report.error()->sentence, "there is no stream, or it is in error");
    const scratch_stream stream(triangle);
    EXPECT_EQ(read_mesh(stream.get(), file_format::unknown, m, report), -2);
    EXPECT_EQ(read_mesh(stream.get(), file_format::ensight, m, report), -2);
    EXPECT_EQ(read_mesh(stream.get(), static_cast<file_format>(1000), m, report), -2);
    EXPECT_EQ(report.error()->sentence, "unknown files are not read");
    EXPECT_EQ(read_mesh(stream.get(), file_format::stl_binary, m, report), 0);
    EXPECT_EQ(m.connect.cols(), 1U);
}

TEST(read_mesh, of_a_stream_that_the_system_cant_read_fails) {
    std::FILE* const folder = std::fopen("/proc", "rb");
    ASSERT_TRUE(folder);
    mesh m;
    file_report report;
    EXPECT_LT(read_mesh(folder, file_format::stl_text, m, report), 0);
    EXPECT_EQ(read_mesh(folder, file_format::stl_text, m, report), -1);
    std::fclose(folder);
}

TEST(read_mesh, a_failure_of_the_system_is_not_taken_for_the_end_of_the_file) {
    mesh m;
    file_report report;
    for (const file_format format : {file_format::stl_text, file_format::obj, file_format::femap,
                                     file_format::medit, file_format::vtk, file_format::vtu}) {
        std::FILE* const folder = std::fopen("/proc", "rb");
        ASSERT_TRUE(folder);
        EXPECT_EQ(read_mesh(folder, format, m, report), -1);
        EXPECT_EQ(report.error()->sentence, "the system failed to read or write it");
        std::fclose(folder);
    }
    // No process has memory at its start.
    EXPECT_EQ(read_fields("/proc/self/mem", m, report), -1);
    EXPECT_EQ(report.error()->sentence, "/proc/self/mem: the system failed to read or write it");
}

TEST(read_mesh, memory_failure_is_a_code_with_or_without_words) {
    const named_file file(triangle);
    unsigned int nbr_told = 0;
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        mesh m;
        file_report report;
        bool happened = false;
        int code = 0;
        {
            const memory_failure failure(k, and_later);
            code = read_mesh(file.name(), m, report);
            happened = failure.happened();
        }
        EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
        EXPECT_EQ(m.connect.cols(), code == 0 ? 1U : 0U);
        if (code < 0 && report.error()) {
            ++nbr_told;
            EXPECT_NE(report.error()->sentence.find("there is not enough memory"),
                      std::string::npos);
        }
        return happened;
    });
    EXPECT_GT(nbr_failed, 20U);
    EXPECT_GT(nbr_told, 10U);
}

} // namespace
