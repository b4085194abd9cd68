// Files of other programs, read whole: their nodes, elements and box are those that were counted in
// them. They stand in the folder that the environment variable TESSMAKER_REAL_FILES names, with a
// table, truth.tsv, of lines with tabs between
//
//   file  origin  licence  nodes  elements  box  what is special
//
// Elements are counted by type (`QUAD4:25`) or, where a type is not told, by card; polygons of an
// OBJ file as `polygon:13`. The box is least x, y, z and greatest x, y, z.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/deck_meshes.h"
#include "formats/scratch_files.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

std::vector<std::string> split(const std::string& text, char c) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, c);) parts.push_back(part);
    return parts;
}

struct real_file {
    std::string path; // with the root
    std::size_t nbr_nodes = 0;
    std::map<std::string, std::uint64_t> elements;
    std::vector<double> box;
    bool includes_others = false;   // that are not there
    std::size_t nbr_properties = 0; // where the last column tells them
};

// The folders of the files, which are the first part of their names.
const char* const folders[] = {"nastran", "stl", "obj", "femap"};

std::vector<std::vector<std::string>> lines_of_table(const std::string& root) {
    std::vector<std::vector<std::string>> lines;
    std::ifstream table(root + "/truth.tsv");
    std::string line;
    std::getline(table, line); // what the columns are
    while (std::getline(table, line)) lines.push_back(split(line, '\t'));
    return lines;
}

std::vector<real_file> files_of(const std::string& root, const std::string& folder) {
    std::vector<real_file> files;
    for (const std::vector<std::string>& columns : lines_of_table(root)) {
        if (columns.size() < 7 || columns[0].rfind(folder + "/", 0) != 0) continue;
        real_file file;
        file.path = root + "/" + columns[0];
        file.nbr_nodes = std::stoul(columns[3]);
        for (const std::string& entry : split(columns[4], ',')) {
            const std::size_t colon = entry.find(':');
            if (colon == std::string::npos) continue;
            file.elements[entry.substr(0, colon)] = std::stoul(entry.substr(colon + 1));
        }
        for (const std::string& x : split(columns[5], ',')) file.box.push_back(std::stod(x));
        file.includes_others = columns[6].find("INCLUDE") != std::string::npos;
        const std::size_t at = columns[6].find("file has ");
        if (at != std::string::npos) file.nbr_properties = std::stoul(columns[6].substr(at + 9));
        files.push_back(file);
    }
    return files;
}

// Cards of the types that the table counts by card.
const std::map<std::string, element_type> types_by_card{
    {"CQUADR", ET_QUAD4}, {"CTRIAR", ET_TRIA3}, {"CQUAD", ET_QUAD9}};
const std::map<std::string, element_type> types_by_name{
    {"BAR2", ET_BAR2},     {"TRIA3", ET_TRIA3},     {"QUAD4", ET_QUAD4},
    {"TRIA6", ET_TRIA6},   {"QUAD8", ET_QUAD8},     {"HEXA8", ET_HEXA8},
    {"TETRA4", ET_TETRA4}, {"TETRA10", ET_TETRA10}, {"PENTA6", ET_PENTA6}};

read_file read_path(const std::string& path) {
    read_file result;
    result.code = read_mesh(path.c_str(), result.m, result.report);
    return result;
}

std::uint64_t nbr_seen(const read_file& mesh, const std::string& card) {
    for (const keyword_count& c : mesh.report.counts()) {
        if (c.keyword == card) return c.seen;
    }
    return 0;
}

void expect_elements(const read_file& mesh, const real_file& file) {
    std::map<int, std::uint64_t> expected;
    for (const auto& [name, n] : file.elements) {
        if (types_by_name.count(name) != 0) {
            expected[types_by_name.at(name)] += n;
            continue;
        }
        if (types_by_card.count(name) != 0) expected[types_by_card.at(name)] += n;
        EXPECT_EQ(nbr_seen(mesh, name), n) << name;
    }
    std::map<int, std::uint64_t> found;
    for (std::size_t k = 0; k < mesh.m.types.size(); ++k) {
        found[mesh.m.types[k]] += mesh.m.indices[k + 1] - mesh.m.indices[k];
    }
    EXPECT_EQ(found, expected);
}

// The table has five digits.
void expect_box(const read_file& mesh, const real_file& file) {
    ASSERT_EQ(file.box.size(), 6U);
    for (std::size_t r = 0; r < 3; ++r) {
        double least = HUGE_VAL;
        double greatest = -HUGE_VAL;
        for (std::size_t c = 0; c < mesh.m.pos.cols(); ++c) {
            least = std::min(least, mesh.m.pos(r, c));
            greatest = std::max(greatest, mesh.m.pos(r, c));
        }
        EXPECT_NEAR(least, file.box[r], 1e-4 * std::abs(file.box[r]) + 1e-12);
        EXPECT_NEAR(greatest, file.box[3 + r], 1e-4 * std::abs(file.box[3 + r]) + 1e-12);
    }
}

std::string contents_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool is_include(std::string line) {
    line = line.substr(0, 7);
    for (char& c : line) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return line == "INCLUDE";
}

// A deck without the lines that include others; nodes that it takes from those stand in the origin.
// `nbr_added` counts them.
read_file read_alone(const std::string& path, std::size_t& nbr_added) {
    std::string deck;
    for (const std::string& line : split(contents_of(path), '\n')) {
        if (!is_include(line)) deck += line + "\n";
    }
    read_file mesh = read_deck_mesh(deck);
    const std::string begin = "BEGIN BULK\n";
    for (nbr_added = 0; mesh.code < 0 && nbr_added < 100; ++nbr_added) {
        const std::string error = mesh.error();
        const std::size_t at = error.find("node ");
        if (at == std::string::npos || deck.find(begin) == std::string::npos) break;
        deck.insert(deck.find(begin) + begin.size(),
                    "GRID," + std::to_string(std::atoi(error.c_str() + at + 5)) + "\n");
        mesh = read_deck_mesh(deck);
    }
    return mesh;
}

std::string root_of_files() {
    const char* const root = std::getenv("TESSMAKER_REAL_FILES");
    return root ? root : "";
}

TEST(real_files, decks_are_read_whole) {
    if (root_of_files().empty()) GTEST_SKIP() << "TESSMAKER_REAL_FILES names no folder";
    const std::vector<real_file> files = files_of(root_of_files(), "nastran");
    EXPECT_FALSE(files.empty());
    for (const real_file& file : files) {
        SCOPED_TRACE(file.path);
        read_file mesh = read_path(file.path);
        std::size_t nbr_added = 0;
        if (file.includes_others) {
            EXPECT_EQ(mesh.code, -1);
            ASSERT_TRUE(mesh.report.error());
            const std::vector<std::string> lines = split(contents_of(file.path), '\n');
            ASSERT_LE(mesh.report.error()->line, lines.size());
            EXPECT_TRUE(is_include(lines[mesh.report.error()->line - 1])) << mesh.error();
            mesh = read_alone(file.path, nbr_added);
        }
        EXPECT_EQ(mesh.code, 0) << mesh.error();
        EXPECT_EQ(mesh.m.pos.cols(), file.nbr_nodes + nbr_added);
        check_deck(mesh);
        expect_elements(mesh, file);
        expect_box(mesh, file);
        for (const remark& r : mesh.report.remarks()) {
            EXPECT_TRUE(r.sentence.ends_with(": no mesh element")) << r.sentence;
        }
    }
}

TEST(real_files, stl_files_are_read_whole) {
    if (root_of_files().empty()) GTEST_SKIP() << "TESSMAKER_REAL_FILES names no folder";
    const std::vector<real_file> files = files_of(root_of_files(), "stl");
    EXPECT_FALSE(files.empty());
    for (const real_file& file : files) {
        SCOPED_TRACE(file.path);
        const read_file mesh = read_path(file.path);
        EXPECT_EQ(mesh.code, 0) << mesh.error();
        EXPECT_EQ(mesh.m.pos.cols(), file.nbr_nodes);
        expect_elements(mesh, file);
        expect_box(mesh, file);
        EXPECT_FALSE(mesh.report.has_lost());
    }
}

// How many triangles the faces of an OBJ file make that have more than four corners.
std::uint64_t nbr_triangles_of_polygons(const std::string& path) {
    std::uint64_t count = 0;
    std::string joined; // with the lines that go on in the next one
    for (std::string line : split(contents_of(path), '\n')) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        const bool goes_on = !line.empty() && line.back() == '\\';
        if (goes_on) line.pop_back();
        joined += line + " ";
        if (goes_on) continue;
        std::istringstream words(std::exchange(joined, ""));
        std::string keyword;
        words >> keyword;
        const auto nbr_corners = static_cast<std::uint64_t>(
            std::distance(std::istream_iterator<std::string>(words), {}));
        if (keyword == "f" && nbr_corners > 4) count += nbr_corners - 2;
    }
    return count;
}

TEST(real_files, obj_files_are_read_whole) {
    if (root_of_files().empty()) GTEST_SKIP() << "TESSMAKER_REAL_FILES names no folder";
    const std::vector<real_file> files = files_of(root_of_files(), "obj");
    EXPECT_FALSE(files.empty());
    for (real_file file : files) {
        SCOPED_TRACE(file.path);
        const read_file mesh = read_path(file.path);
        EXPECT_EQ(mesh.code, 0) << mesh.error();
        EXPECT_EQ(mesh.m.pos.cols(), file.nbr_nodes);
        const std::uint64_t nbr_polygons = std::exchange(file.elements["polygon"], 0);
        std::uint64_t nbr_faces = nbr_polygons;
        for (const auto& [name, n] : file.elements) nbr_faces += n;
        file.elements.erase("polygon");
        if (nbr_polygons > 0) file.elements["TRIA3"] += nbr_triangles_of_polygons(file.path);
        EXPECT_EQ(nbr_seen(mesh, "f"), nbr_faces);
        expect_elements(mesh, file);
        expect_box(mesh, file);
        for (const remark& r : mesh.report.remarks()) {
            const bool is_cut = r.keyword == "f" && r.kind == remark_kind::changed;
            EXPECT_TRUE(is_cut ? r.count <= nbr_polygons
                               : r.sentence.ends_with(": materials") ||
                                     r.sentence.ends_with(": normals") ||
                                     r.sentence.ends_with(": texture coordinates") ||
                                     r.sentence.ends_with(": smoothing"))
                << r.sentence;
        }
    }
}

TEST(real_files, neutral_files_are_read_whole) {
    if (root_of_files().empty()) GTEST_SKIP() << "TESSMAKER_REAL_FILES names no folder";
    const std::vector<real_file> files = files_of(root_of_files(), "femap");
    EXPECT_FALSE(files.empty());
    for (const real_file& file : files) {
        SCOPED_TRACE(file.path);
        const read_file mesh = read_path(file.path);
        EXPECT_EQ(mesh.code, 0) << mesh.error();
        EXPECT_EQ(mesh.m.pos.cols(), file.nbr_nodes);
        check_deck(mesh);
        expect_elements(mesh, file);
        expect_box(mesh, file);
        const std::set<unsigned int> properties(mesh.m.pids.begin(), mesh.m.pids.end());
        EXPECT_EQ(properties.size(), file.nbr_properties);
        for (const remark& r : mesh.report.remarks()) {
            EXPECT_TRUE(r.sentence.ends_with(": neither nodes nor elements")) << r.sentence;
        }
    }
}

TEST(real_files, none_is_of_a_folder_that_no_test_reads) {
    if (root_of_files().empty()) GTEST_SKIP() << "TESSMAKER_REAL_FILES names no folder";
    std::size_t nbr_files = 0;
    for (const char* const folder : folders) nbr_files += files_of(root_of_files(), folder).size();
    EXPECT_EQ(nbr_files, lines_of_table(root_of_files()).size());
}

} // namespace
