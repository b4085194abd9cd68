#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/scratch_files.h"
#include "tessmaker/mesh_file.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

using format_names = std::vector<std::pair<std::string, file_format>>;

const format_names& known_endings() {
    static const format_names all{
        {"stl", file_format::stl_binary},  {"nas", file_format::nastran},
        {"bdf", file_format::nastran},     {"dat", file_format::nastran},
        {"fem", file_format::nastran},     {"blk", file_format::nastran},
        {"nastran", file_format::nastran}, {"neu", file_format::femap},
        {"obj", file_format::obj},         {"mesh", file_format::medit},
        {"geo", file_format::ensight},     {"case", file_format::ensight_case},
        {"vtk", file_format::vtk},         {"vtu", file_format::vtu},
    };
    return all;
}

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

TEST(file_format, follows_from_the_ending_in_any_case) {
    for (const auto& [ending, format] : known_endings()) {
        for (const std::string& spelled :
             {ending, upper(ending), upper(ending.substr(0, 1)) + ending.substr(1)}) {
            for (const char* const start :
                 {"/no/such/folder/part.", "part.", ".", "a.b.c.", "../x.d/part."}) {
                const std::string path = start + spelled;
                EXPECT_EQ(format_by_ending(path.c_str()), format) << path;
                EXPECT_EQ(format_of(path.c_str()), format) << path;
            }
        }
    }
}

TEST(file_format, is_unknown_without_a_known_ending) {
    for (const char* const path :
         {"", "-", ".", "stl", "/stl", "part", "part.", "part.stl2", "part.st", "part.stl/part",
          "part.stl/", "part.stl ", "part.msh", "part.stl.gz", "/"}) {
        EXPECT_EQ(format_by_ending(path), file_format::unknown) << path;
        EXPECT_EQ(format_of(path), file_format::unknown) << path;
    }
    EXPECT_EQ(format_by_ending(nullptr), file_format::unknown);
    EXPECT_EQ(format_of(nullptr), file_format::unknown);
}

TEST(file_format, has_a_name_for_people) {
    EXPECT_STREQ(format_name(file_format::nastran), "NASTRAN");
    EXPECT_STREQ(format_name(file_format::stl_text), "text STL");
    EXPECT_STREQ(format_name(file_format::unknown), "unknown");
    EXPECT_STREQ(format_name(static_cast<file_format>(1000)), "unknown");
    for (const auto& [ending, format] : known_endings()) {
        EXPECT_STRNE(format_name(format), "unknown") << ending;
    }
}

// The format of a file of this ending and contents.
file_format format_of_contents(const std::string& ending, const std::string& contents) {
    const scratch_file base;
    const std::string path = base.name() + ending;
    std::ofstream(path, std::ios::binary) << contents;
    const file_format format = format_of(path.c_str());
    std::remove(path.c_str());
    return format;
}

std::string binary_stl(std::uint32_t count, std::size_t nbr_facets, std::string header = "") {
    header.resize(80);
    append_bytes(header, count);
    return header + std::string(50 * nbr_facets, 'x');
}

TEST(file_format, of_stl_files_is_text_or_binary_by_their_contents) {
    const auto format = [](const std::string& contents) {
        return format_of_contents(".stl", contents);
    };
    const file_format text = file_format::stl_text;
    const file_format binary = file_format::stl_binary;
    EXPECT_EQ(format("solid part\nendsolid part\n"), text);
    EXPECT_EQ(format("\r\n  SOLID\r\n"), text);
    EXPECT_EQ(format("solid " + std::string(200000, 'x')), text);
    EXPECT_EQ(format(binary_stl(2, 2)), binary);
    EXPECT_EQ(format(binary_stl(0, 0)), binary);
    EXPECT_EQ(format(binary_stl(2, 2, "solid by another program")), binary);
    EXPECT_EQ(format(binary_stl(5000, 5000, "solid beyond what is looked at")), binary);
    // Cut off, or with more behind the last facet.
    EXPECT_EQ(format(binary_stl(3, 2, "solid cut off")), binary);
    EXPECT_EQ(format(binary_stl(1, 2, "solid and more")), binary);
    EXPECT_EQ(format(binary_stl(3, 2, "cut off")), binary);
    EXPECT_EQ(format(""), binary);
    EXPECT_EQ(format("v 0 0 0\n"), binary);
    EXPECT_EQ(format_of_contents(".STL", "solid x\n"), text);
}

const format_names& beginnings() {
    static const format_names all{
        {"# vtk DataFile Version 2.0\nx\nASCII\n", file_format::vtk},
        {"<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\">\n", file_format::vtu},
        {"<VTKFile type=\"UnstructuredGrid\">\n", file_format::vtu},
        {"MeshVersionFormatted 1\nDimension 3\n", file_format::medit},
        {"# by hand\n\n MeshVersionFormatted\n2\n", file_format::medit},
        {"   -1\n   100\n<NULL>\n8.2\n   -1\n", file_format::femap},
        {"   -1\r\n   403\r\n1,0,0\r\n", file_format::femap},
        {"**********\n** NODES **\n**********\n   -1\n403\n", file_format::femap},
        {"GRID,1,,0.,0.,0.\n", file_format::nastran},
        {"grid           1              0.      0.      0.\n", file_format::nastran},
        {"GRID*                  1\n", file_format::nastran},
        {"$ comment\nSOL 101\nCEND\nTITLE = x\nBEGIN BULK\n", file_format::nastran},
        {"begin  bulk\n", file_format::nastran},
        {"$\n\tCQUAD4\t1\t1\t1\t2\t3\t4\n", file_format::nastran},
        {"MAT1,1,1.,,.3\r\nCHEXA,1,1,1,2,3,4,5,6,+\r\n", file_format::nastran},
        {"$ only this\rCORD2R  2\r", file_format::nastran},
    };
    return all;
}

TEST(file_format, of_files_without_a_known_ending_follows_from_their_beginning) {
    const std::string mark = "\xEF\xBB\xBF"; // the byte-order mark, which some editors write
    for (const char* const ending : {"", ".txt", ".bdf_01", ".inp"}) {
        for (const auto& [contents, format] : beginnings()) {
            EXPECT_EQ(format_of_contents(ending, contents), format) << contents;
            EXPECT_EQ(format_of_contents(ending, mark + contents), format) << contents;
        }
        EXPECT_EQ(format_of_contents(ending, mark + "v 0 0 0\n"), file_format::obj);
        EXPECT_EQ(format_of_contents(ending, "# x\no part\ng a\n\nv 0 0.5 -1\n"), file_format::obj);
        EXPECT_EQ(format_of_contents(ending, "mtllib x.mtl\n"), file_format::obj);
        EXPECT_EQ(format_of_contents(ending, "f -1 -2 -3\r\n"), file_format::obj);
        EXPECT_EQ(format_of_contents(ending, "solid x\nendsolid x\n"), file_format::stl_text);
        EXPECT_EQ(format_of_contents(ending, binary_stl(3, 3)), file_format::stl_binary);
    }
}

TEST(file_format, of_other_files_without_a_known_ending_is_unknown) {
    for (const std::string& contents : std::initializer_list<std::string>{
             "", "\n\n", "hello\n", "GRID\n", "GRID spacing 1\n", "a GRID,1\n", "BEGIN\n",
             "cend x\n", "-1\n", "-1\nx\n", "vertex 0 0 0\n", "v x\n", "<html>\n",
             "<VTKFile type=\"PolyData\">\n", std::string("\0\0\0", 3), binary_stl(3, 2),
             "# by hand\nMeshVersion 1\n"}) {
        EXPECT_EQ(format_of_contents("", contents), file_format::unknown) << contents;
    }
}

TEST(file_format, of_dat_files_is_a_deck_unless_they_begin_as_something_else) {
    for (const auto& [contents, format] : beginnings()) {
        EXPECT_EQ(format_of_contents(".dat", contents), format) << contents;
        EXPECT_EQ(format_of_contents(".DAT", contents), format) << contents;
    }
    for (const char* const contents : {"", "hello\n", "v 0 0 0\n", "solid x\n"}) {
        EXPECT_EQ(format_of_contents(".dat", contents), file_format::nastran) << contents;
    }
}

TEST(file_format, of_other_endings_does_not_ask_the_contents) {
    for (const auto& [ending, format] : known_endings()) {
        if (ending == "stl" || ending == "dat") continue;
        for (const auto& [contents, other] : beginnings()) {
            EXPECT_EQ(format_of_contents("." + ending, contents), format) << contents;
        }
    }
}

TEST(file_format, of_what_is_no_regular_file_follows_from_the_ending) {
    const scratch_file base;
    const std::string pipe = std::string(base.name()) + ".stl";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(format_of(pipe.c_str()), file_format::stl_binary); // and does not wait
    std::remove(pipe.c_str());
    const std::string folder = std::string(base.name()) + ".dat";
    std::filesystem::create_directory(folder);
    EXPECT_EQ(format_of(folder.c_str()), file_format::nastran);
    std::filesystem::remove(folder);
    EXPECT_EQ(format_of("/dev/null"), file_format::unknown);
}

} // namespace
