// Meshes written as EnSight geometry and case files.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/type_table.h"
#include "formats/full_disk.h"
#include "formats/mesh_round_trips.h"
#include "formats/meshes_for_files.h"
#include "support/memory_failure.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

namespace fs = std::filesystem;
using strings = std::vector<std::string>;

const std::string head = "EnSight Gold geometry\nParts are properties\nnode id given\n"
                         "element id given\n";

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, -0.5}}), ET_TRIA3, {{0, 1, 2}});
}
const std::string of_a_triangle = head +
                                  "part\n         1\nproperty 1\ncoordinates\n         3\n"
                                  "         1\n         2\n         3\n"
                                  " 0.00000e+00\n 1.00000e+00\n 0.00000e+00\n"
                                  " 0.00000e+00\n 0.00000e+00\n 1.00000e+00\n"
                                  " 0.00000e+00\n 0.00000e+00\n-5.00000e-01\n"
                                  "tria3\n         1\n         1\n         1         2         3\n";

TEST(ensight_mesh_output, of_a_triangle_is_this_text) {
    const written_mesh file = written(triangle(), file_format::ensight);
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(file.text, of_a_triangle);
    EXPECT_TRUE(file.report.remarks().empty());
    EXPECT_EQ(written(file_mesh(), file_format::ensight).text, head);
}

TEST(ensight_mesh_output, each_property_is_a_part_with_nodes_of_its_own) {
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}}),
                          {{ET_BAR2, {2, 1}}, {ET_NODE, {2}}, {ET_BAR2, {3, 1}}});
    m.pids = vector_of<unsigned int>({7, 7, 4});
    m.node_numbers = vector_of<unsigned int>({10, 20, 4000000000, 40});
    m.element_numbers = vector_of<unsigned int>({5, 6, 1});
    EXPECT_EQ(written(m, file_format::ensight).code, -4);
    const written_mesh file = written_lossy(m, file_format::ensight);
    const std::string zeros = " 0.00000e+00\n 0.00000e+00\n 0.00000e+00\n 0.00000e+00\n";
    EXPECT_EQ(file.text, head +
                             "part\n         1\nproperty 4\ncoordinates\n         2\n"
                             "        20\n        40\n 1.00000e+00\n 3.00000e+00\n" +
                             zeros +
                             "bar2\n         1\n         1\n         2         1\n"
                             "part\n         2\nproperty 7\ncoordinates\n         2\n"
                             "        20\n4000000000\n 1.00000e+00\n 2.00000e+00\n" +
                             zeros +
                             "point\n         1\n         6\n         2\n"
                             "bar2\n         1\n         5\n         2         1\n");
    EXPECT_EQ(file.sentences(),
              (strings{"node: 1 not written: in no element that is written",
                       "number of a node: 1 above 99999999: not all programs read such numbers",
                       "element: 3 written in another order: each property is a part, and each "
                       "type is together there"}));
}

TEST(ensight_mesh_output, coordinates_have_six_digits) {
    file_mesh m = triangle();
    m.pos(0, 0) = 1.0 / 3.0;
    m.pos(1, 0) = 1.23456e-300;
    const written_mesh file = written(m, file_format::ensight);
    EXPECT_EQ(file.sentences(), (strings{"coordinate: 1 rounded: the format has 6 digits"}));
    EXPECT_NE(file.text.find("\n 3.33333e-01\n"), std::string::npos);
    EXPECT_NE(file.text.find("\n1.23456e-300\n"), std::string::npos);
    write_options options;
    options.digits = 2;
    const written_mesh few = written(m, file_format::ensight, options);
    EXPECT_TRUE(few.report.remarks().empty());
    EXPECT_NE(few.text.find("\n     3.3e-01\n"), std::string::npos);
}

TEST(ensight_mesh_output, coordinates_have_twelve_characters_whatever_they_are) {
    file_mesh m = triangle();
    m.pos(0, 0) = -1.23456e-300;
    m.pos(0, 1) = -9.999999e99; // rounded up
    m.pos(0, 2) = -2e100;
    const written_mesh file = written(m, file_format::ensight);
    EXPECT_NE(file.text.find("\n-1.2346e-300\n-1.0000e+100\n-2.0000e+100\n"), std::string::npos)
        << file.text;
    EXPECT_EQ(file.sentences(), (strings{"coordinate: 2 rounded: the format has 6 digits"}));

    const double largest = std::numeric_limits<double>::max();
    random_source random(21);
    for (std::uint64_t run = 0; run < nbr_runs(5000); ++run) {
        double value = std::bit_cast<double>(random.draw());
        if (random.one_in(3)) value = -largest * random.uniform(0.9, 1.0);
        if (random.one_in(3)) value = -std::pow(10.0, random.one_in(2) ? 100 : -99);
        if (random.one_in(3)) value *= random.uniform(0.99999, 1.00001);
        if (!std::isfinite(value)) continue;
        m.pos(0, 0) = value;
        write_options options;
        options.digits = static_cast<int>(random.between(1, 7));
        const std::string text = written(m, file_format::ensight, options).text;
        const std::size_t begin = text.find("         3\n", text.find("         2\n")) + 11;
        const std::string line = text.substr(begin, text.find('\n', begin) - begin);
        EXPECT_EQ(line.size(), 12U) << line;
        const double found = std::strtod(line.c_str(), nullptr);
        EXPECT_TRUE(std::isfinite(found)) << line;
        // Half of the last digit, or all of it where it is cut off.
        const int nbr_digits = std::min(options.digits, 5);
        EXPECT_LE(std::abs(found - value), std::abs(value) * std::pow(10.0, 1 - nbr_digits))
            << line;
    }
}

// The nodes of each type: corners, with the first triangle or quadrangle of a solid looking into
// it, then the middles of edges.
struct section_of_type {
    element_type type;
    std::string keyword;
    std::vector<unsigned int> nodes;
};
const std::vector<section_of_type> sections{
    {ET_NODE, "point", {0}},
    {ET_BAR2, "bar2", {0, 1}},
    {ET_BAR3, "bar3", {0, 2, 1}}, // along the bar
    {ET_TRIA3, "tria3", {0, 1, 2}},
    {ET_TRIA6, "tria6", {0, 1, 2, 5, 3, 4}},
    {ET_QUAD4, "quad4", {0, 1, 2, 3}},
    {ET_QUAD8, "quad8", {0, 1, 2, 3, 4, 5, 6, 7}},
    {ET_QUAD9, "quad8", {0, 1, 2, 3, 4, 5, 6, 7}},
    {ET_TETRA4, "tetra4", {0, 1, 3, 2}},
    {ET_TETRA10, "tetra10", {0, 1, 3, 2, 6, 8, 7, 5, 4, 9}},
    {ET_PYRA5, "pyramid5", {0, 1, 2, 3, 4}},
    {ET_PYRA13, "pyramid13", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
    {ET_PYRA14, "pyramid13", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
    {ET_PENTA6, "penta6", {0, 1, 2, 3, 4, 5}},
    // Edges of the lower triangle, of the upper one, between them.
    {ET_PENTA15, "penta15", {0, 1, 2, 3, 4, 5, 11, 9, 10, 14, 12, 13, 6, 7, 8}},
    {ET_PENTA18, "penta15", {0, 1, 2, 3, 4, 5, 11, 9, 10, 14, 12, 13, 6, 7, 8}},
    {ET_HEXA8, "hexa8", {0, 1, 2, 3, 4, 5, 6, 7}},
    {ET_HEXA20, "hexa20", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}},
    {ET_HEXA27, "hexa20", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}},
};
const section_of_type& section_of(element_type type) {
    return *std::find_if(sections.begin(), sections.end(),
                         [type](const section_of_type& s) { return s.type == type; });
}

// An element as a file has it, by the numbers of its nodes.
struct file_element {
    std::string keyword;
    std::string part;
    std::vector<unsigned int> nodes;
    bool operator==(const file_element& e) const {
        return keyword == e.keyword && part == e.part && nodes == e.nodes;
    }
};
struct plain_geometry {
    std::map<unsigned int, std::vector<double>> nodes;
    std::map<unsigned int, file_element> elements;

    explicit plain_geometry(const std::string& text) : in_(text) {
        std::string line;
        for (int k = 0; k < 4; ++k) std::getline(in_, line);
        std::getline(in_, line);
        for (unsigned int part = 1; in_; ++part) {
            EXPECT_EQ(line, "part");
            EXPECT_EQ(number(), part);
            read_part(line);
        }
    }

private:
    unsigned int number() {
        std::string line;
        std::getline(in_, line);
        EXPECT_EQ(line.size(), 10U);
        return static_cast<unsigned int>(std::stoul(line));
    }
    void read_part(std::string& line) {
        std::string title;
        std::getline(in_, title);
        std::getline(in_, line);
        EXPECT_EQ(line, "coordinates");
        std::vector<unsigned int> numbers(number());
        for (unsigned int& n : numbers) n = number();
        std::vector<std::vector<double>> pos(numbers.size());
        for (int r = 0; r < 3; ++r) {
            for (std::vector<double>& p : pos) {
                std::getline(in_, line);
                p.push_back(std::strtod(line.c_str(), nullptr));
            }
        }
        for (std::size_t k = 0; k < numbers.size(); ++k) nodes[numbers[k]] = pos[k];
        while (std::getline(in_, line) && line != "part") read_section(line, title, numbers);
    }
    void read_section(const std::string& keyword, const std::string& title,
                      const std::vector<unsigned int>& numbers) {
        std::vector<unsigned int> ids(number());
        for (unsigned int& id : ids) id = number();
        for (const unsigned int id : ids) {
            std::string line;
            std::getline(in_, line);
            file_element e{keyword, title, {}};
            for (std::size_t k = 0; k < line.size(); k += 10) {
                e.nodes.push_back(numbers.at(std::stoul(line.substr(k, 10)) - 1));
            }
            EXPECT_EQ(elements.count(id), 0U);
            elements[id] = e;
        }
    }

    std::istringstream in_;
};

TEST(ensight_mesh_output, a_plain_reader_gets_the_mesh) {
    random_source random(20);
    std::vector<element_type> types;
    for (const section_of_type& s : sections) types.push_back(s.type);
    for (std::uint64_t run = 0; run < nbr_runs(300); ++run) {
        const file_mesh m = random_numbered_mesh(random, types);
        const written_mesh file = written_lossy(m, file_format::ensight);
        const plain_geometry found(file.text);
        std::map<unsigned int, file_element> elements;
        std::map<unsigned int, std::vector<double>> nodes;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            const auto& section = section_of(static_cast<element_type>(m.types[k]));
            for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                const unsigned int pid = m.pids.empty() ? 1 : m.pids[c];
                file_element e{section.keyword, "property " + std::to_string(pid), {}};
                for (const unsigned int row : section.nodes) {
                    const unsigned int id = m.connect(row, c);
                    e.nodes.push_back(number_of(m.node_numbers, id));
                    std::vector<double>& p = nodes[e.nodes.back()];
                    p.assign(m.pos.column(id), m.pos.column(id) + m.pos.rows());
                    p.resize(3, 0.0);
                }
                elements[number_of(m.element_numbers, c)] = e;
            }
        }
        EXPECT_EQ(found.elements, elements);
        ASSERT_EQ(found.nodes.size(), nodes.size());
        for (const auto& [number, p] : nodes) {
            for (std::size_t r = 0; r < 3; ++r) {
                EXPECT_NEAR(found.nodes.at(number)[r], p[r], 5.1e-6 * std::abs(p[r]));
            }
        }
    }
}

// Mostly one that 6 digits are enough for, or its neighbour.
double coordinate_of_few_digits(random_source& random) {
    double x = random.uniform(-10, 10) * std::pow(10.0, random.uniform(-30, 30));
    if (random.one_in(8)) x = std::bit_cast<double>(random.draw());
    if (random.one_in(8)) x = std::ldexp(1.0, static_cast<int>(random.below(60)) - 30);
    if (!random.one_in(4)) {
        char text[64];
        std::snprintf(text, sizeof text, "%.*e", static_cast<int>(random.between(1, 6)), x);
        x = std::strtod(text, nullptr);
    }
    if (random.one_in(8)) x = std::nextafter(x, 0.0);
    return std::isfinite(x) ? x : 0.0;
}

TEST(ensight_mesh_output, coordinates_that_are_read_as_others_are_counted) {
    random_source random(22);
    for (std::uint64_t run = 0; run < nbr_runs(300); ++run) {
        file_mesh m = mesh_of(random_points(random, 3, 2, -10, 10), ET_BAR2, {{0, 1}});
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t r = 0; r < 3; ++r) m.pos(r, c) = coordinate_of_few_digits(random);
        }
        const written_mesh file = written(m, file_format::ensight);
        const plain_geometry found(file.text);
        std::size_t nbr_others = 0;
        for (const auto& [number, p] : found.nodes) {
            for (std::size_t r = 0; r < 3; ++r) {
                nbr_others += p[r] != m.pos(r, number - 1) ? 1U : 0U;
            }
        }
        ASSERT_EQ(file.report.remarks().size(), nbr_others == 0 ? 0U : 1U);
        if (nbr_others != 0) {
            EXPECT_EQ(file.report.remarks()[0].count, nbr_others);
        }
    }
}

class ensight_case_output : public testing::Test {
protected:
    ensight_case_output() {
        std::string pattern = testing::TempDir() + "tessmaker_XXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~ensight_case_output() override { fs::remove_all(folder_); }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string contents(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    int write(const std::string& path, const file_mesh& m, const write_options& options = {}) {
        return write_mesh(path.c_str(), m, options, report_);
    }

    file_report report_;

private:
    std::string folder_;
};

TEST_F(ensight_case_output, names_the_geometry_beside_it) {
    EXPECT_EQ(write(path("a.case"), triangle()), 0);
    EXPECT_EQ(contents("a.case"), "FORMAT\ntype: ensight gold\nGEOMETRY\nmodel: a.geo\n");
    EXPECT_EQ(contents("a.geo"), of_a_triangle);
    EXPECT_EQ(report_.format(), file_format::ensight_case);
    EXPECT_TRUE(report_.remarks().empty());
    EXPECT_EQ(write(path("a mesh.CASE"), triangle()), 0);
    EXPECT_EQ(contents("a mesh.CASE"),
              "FORMAT\ntype: ensight gold\nGEOMETRY\nmodel: \"a mesh.geo\"\n");
    EXPECT_EQ(contents("a mesh.geo"), of_a_triangle);
    EXPECT_EQ(sentences(report_), (strings{"name of the geometry file: 1 with blanks: in quotes, "
                                           "which not all programs read"}));
    write_options options;
    options.format = file_format::ensight_case;
    EXPECT_EQ(write(path("b.geo"), triangle(), options), 0);
    EXPECT_EQ(contents("b.geo.geo"), of_a_triangle);
}

TEST_F(ensight_case_output, is_no_stream) {
    write_options options;
    options.format = file_format::ensight_case;
    EXPECT_EQ(write("-", triangle(), options), -1);
    EXPECT_EQ(report_.error()->sentence, "-: a case file names another one and can't be a stream");
    EXPECT_EQ(written(triangle(), file_format::ensight_case).code, -2);
}

TEST_F(ensight_case_output, a_fault_leaves_the_old_files) {
    std::ofstream(path("a.case")) << "old case";
    std::ofstream(path("a.geo")) << "old geometry";
    const auto expect_old = [this] {
        EXPECT_EQ(contents("a.case"), "old case");
        EXPECT_EQ(contents("a.geo"), "old geometry");
    };
    file_mesh m = triangle();
    m.fields = {{"t", field_place::nodes, dense2D<double>(1, 3, 0.0)}};
    EXPECT_EQ(write(path("a.case"), m), -3);
    expect_old();
    {
        const size_limit full(10);
        EXPECT_EQ(write(path("a.case"), triangle()), -1);
    }
    EXPECT_EQ(report_.error()->sentence,
              path("a.case") + ": a.geo: can't be written: File too large");
    expect_old();
    fs::remove(path("a.geo"));
    fs::create_directory(path("a.geo"));
    EXPECT_EQ(write(path("a.case"), triangle()), -1);
    EXPECT_EQ(contents("a.case"), "old case");
}

TEST_F(ensight_case_output, that_cant_be_written_leaves_the_old_geometry) {
    std::ofstream(path("a.geo")) << "old geometry";
    fs::create_directory(path("a.case"));
    EXPECT_EQ(write(path("a.case"), triangle()), -1);
    EXPECT_EQ(report_.error()->sentence, path("a.case") + ": can't be opened: Is a directory");
    EXPECT_EQ(contents("a.geo"), "old geometry");
    EXPECT_EQ(std::distance(fs::directory_iterator(path("")), fs::directory_iterator()), 2);

    // Room for the geometry of a mesh of nothing, but not for the long name in the case.
    const std::string name(150, 'n');
    std::ofstream(path(name + ".geo")) << "old geometry";
    const size_limit full(120);
    EXPECT_EQ(write(path(name + ".case"), file_mesh()), -1);
    EXPECT_EQ(report_.error()->sentence,
              path(name + ".case") + ": can't be written: File too large");
    EXPECT_EQ(contents(name + ".geo"), "old geometry");
}

TEST_F(ensight_case_output, needs_a_name_that_a_line_can_hold) {
    for (const char* const name : {"a\nb.case", "a\"b.case", "a\tb.case", "\x7F.case"}) {
        file_mesh m = triangle();
        m.pids.push_back(1);
        m.pids.push_back(1);
        EXPECT_EQ(write(path(name), m), -1) << name;
        EXPECT_EQ(report_.error()->sentence,
                  path(name) + ": a case file can't name its geometry file: quotes and control "
                               "characters can't be in that name");
    }
    EXPECT_TRUE(fs::is_empty(path("")));
    EXPECT_EQ(write(path("a\nb.geo"), triangle()), 0); // no file names it
}

TEST_F(ensight_case_output, memory_failure_leaves_the_old_case) {
    const std::string name = path("a.case");
    const file_mesh m = triangle();
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        std::ofstream(name) << "old";
        file_report report;
        bool happened = false;
        int code = 0;
        {
            const memory_failure failure(k, and_later);
            code = write_mesh(name.c_str(), m, write_options(), report);
            happened = failure.happened();
        }
        EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
        EXPECT_EQ(contents("a.case") == "old", code != 0);
        return happened;
    });
    EXPECT_GT(nbr_failed, 10U);
}

} // namespace
