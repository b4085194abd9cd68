// What holds of write_mesh whatever the format.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "core/type_table.h"
#include "formats/comma_locale.h"
#include "formats/full_disk.h"
#include "formats/meshes_for_files.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

namespace fs = std::filesystem;

const std::vector<file_format> formats{
    file_format::stl_text, file_format::stl_binary, file_format::obj,
    file_format::medit,    file_format::vtk,        file_format::vtu,
    file_format::nastran,  file_format::femap,      file_format::ensight};

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{0, 1, 2}});
}
const std::string triangle_obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";

// All that can be in a mesh.
file_mesh rich_mesh() {
    file_mesh m =
        mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0.1}, {5, 5, 5}}),
                {{ET_TRIA3, {0, 1, 2}}, {ET_TETRA4, {0, 1, 2, 3}}, {ET_TRIA3, {1, 2, 3}}});
    m.pids = vector_of<unsigned int>({1, 2, 1});
    m.node_numbers = vector_of<unsigned int>({1, 2, 3, 4, 9});
    m.element_numbers = vector_of<unsigned int>({10, 20, 3});
    m.node_sets = {set_of("fixed", {0, 3})};
    m.element_sets = {set_of("skin", {0, 2}), set_of("all", {0, 1, 2})};
    m.fields = {{"temperature", field_place::nodes, dense2D<double>(1, 5, 20.5)},
                {"stress", field_place::elements, dense2D<double>(6, 3, 1.0)}};
    return m;
}

class write_mesh_to : public testing::Test {
protected:
    write_mesh_to() {
        std::string pattern = testing::TempDir() + "tessmaker_XXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~write_mesh_to() override { fs::remove_all(folder_); }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    static std::string contents(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    std::size_t nbr_names() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }
    int write(const std::string& path, const file_mesh& m, const write_options& options = {}) {
        return write_mesh(path.c_str(), m, options, report_);
    }
    std::string error() const {
        if (!report_.error()) return "none";
        return report_.error()->sentence.substr(report_.file().size());
    }

    file_report report_;

private:
    std::string folder_;
};

TEST_F(write_mesh_to, a_path_takes_the_format_of_its_ending) {
    const std::size_t nbr_open = nbr_open_files();
    EXPECT_EQ(write(path("a.obj"), triangle()), 0);
    EXPECT_EQ(contents(path("a.obj")), triangle_obj);
    EXPECT_EQ(report_.file(), path("a.obj"));
    EXPECT_EQ(report_.format(), file_format::obj);
    EXPECT_TRUE(report_.remarks().empty());
    EXPECT_EQ(write(path("a.STL"), triangle()), 0);
    EXPECT_EQ(report_.format(), file_format::stl_binary);
    EXPECT_EQ(contents(path("a.STL")).size(), 134U);
    EXPECT_EQ(write(path("a.vtu"), triangle()), 0);
    EXPECT_EQ(report_.format(), file_format::vtu);
    EXPECT_EQ(nbr_open_files(), nbr_open);
    EXPECT_EQ(nbr_names(), 3U);
}

TEST_F(write_mesh_to, a_path_takes_the_format_that_is_named_before_that_of_its_ending) {
    write_options options;
    options.format = file_format::obj;
    EXPECT_EQ(write(path("a.stl"), triangle(), options), 0);
    EXPECT_EQ(contents(path("a.stl")), triangle_obj);
    EXPECT_EQ(write(path("a"), triangle(), options), 0);
    EXPECT_EQ(contents(path("a")), triangle_obj);
}

TEST_F(write_mesh_to, a_path_without_a_format_that_is_written_fails) {
    const write_options options;
    EXPECT_EQ(write_mesh(nullptr, triangle(), options, report_), -1);
    EXPECT_EQ(error(), "there is no path");
    EXPECT_EQ(write(path("a"), triangle()), -1);
    EXPECT_EQ(error(), ": its ending tells no format");
    EXPECT_EQ(write("-", triangle()), -1);
    EXPECT_EQ(error(), ": the format of a stream must be named");
    write_options odd;
    odd.format = static_cast<file_format>(1000);
    EXPECT_EQ(write(path("a.obj"), triangle(), odd), -1);
    EXPECT_EQ(error(), ": unknown files are not written");
    EXPECT_EQ(nbr_names(), 0U);
}

TEST_F(write_mesh_to, a_path_that_cant_be_opened_says_why) {
    EXPECT_EQ(write("/no/such/folder/a.obj", triangle()), -1);
    EXPECT_EQ(error(), ": can't be opened: No such file or directory");
    fs::create_directory(path("folder.obj"));
    EXPECT_EQ(write(path("folder.obj"), triangle()), -1);
    EXPECT_EQ(error(), ": can't be opened: Is a directory");
}

TEST_F(write_mesh_to, a_full_disk_leaves_the_old_file) {
    const std::string name = path("a.obj");
    EXPECT_EQ(write(name, triangle()), 0);
    random_source random(1);
    const file_mesh large = random_mesh(random, {ET_TRIA3}, 5000, 20000);
    for (const file_format format : formats) {
        write_options options;
        options.format = format;
        options.lossy = true;
        const size_limit full(1024);
        EXPECT_EQ(write(name, large, options), -1);
        EXPECT_EQ(error(), ": can't be written: File too large");
    }
    EXPECT_EQ(contents(name), triangle_obj);
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(write_mesh_to, a_full_device_is_an_error) {
    for (const file_format format : formats) {
        write_options options;
        options.format = format;
        EXPECT_EQ(write("/dev/full", triangle(), options), -1);
        EXPECT_EQ(error(), ": can't be written: No space left on device");
        EXPECT_EQ(write("/dev/null", triangle(), options), 0);
        std::FILE* const full = std::fopen("/dev/full", "wb");
        ASSERT_TRUE(full);
        EXPECT_EQ(write_mesh(full, format, triangle(), options, report_), -1);
        EXPECT_EQ(error(), "the system failed to read or write it");
        std::fclose(full);
    }
}

TEST_F(write_mesh_to, the_standard_output_and_pipes_are_written_straight) {
    write_options options;
    options.format = file_format::obj;
    testing::internal::CaptureStdout();
    EXPECT_EQ(write("-", triangle(), options), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), triangle_obj);
    EXPECT_EQ(report_.file(), "-");
    EXPECT_FALSE(fs::exists("-"));

    ASSERT_EQ(mkfifo(path("pipe.obj").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contents(path("pipe.obj")); });
    EXPECT_EQ(write(path("pipe.obj"), triangle()), 0);
    reader.join();
    EXPECT_EQ(received, triangle_obj);
}

TEST_F(write_mesh_to, a_loss_is_an_error_that_leaves_the_old_file_unless_it_is_allowed) {
    const std::string name = path("a.obj");
    EXPECT_EQ(write(name, triangle()), 0);
    const std::vector<std::string> losses{
        "TETRA4: 1 not written: the format has no such element",
        "node: 1 not written: in no element that is written",
        "number of a node: 1 not written: the format has no numbers",
        "number of an element: 2 not written: the format has no numbers",
        "property of an element: 1 not written: the format has no properties",
        "set of nodes: 1 not written: the format has no such sets",
        "field: 2 not written: the format has no fields"};
    EXPECT_EQ(write(name, rich_mesh()), -3);
    EXPECT_EQ(error(), ": Wavefront OBJ can't hold all of the mesh");
    std::vector<std::string> told = sentences(report_);
    told.pop_back();
    EXPECT_EQ(told, losses);
    EXPECT_EQ(contents(name), triangle_obj);
    EXPECT_EQ(nbr_names(), 1U);

    write_options options;
    options.lossy = true;
    EXPECT_EQ(write(name, rich_mesh(), options), 0);
    EXPECT_EQ(sentences(report_), losses);
    EXPECT_TRUE(report_.has_lost());
    EXPECT_EQ(report_.remarks()[3].count, 2U);
    EXPECT_EQ(report_.remarks()[3].keyword, "number of an element");
    EXPECT_EQ(contents(name), "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 0.1\n"
                              "g skin all\nf 1 2 3\nf 2 3 4\n");
}

TEST(write_mesh, what_says_nothing_is_not_lost) {
    file_mesh m = triangle();
    m.pids = vector_of<unsigned int>({1});
    m.node_numbers = vector_of<unsigned int>({1, 2, 3});
    m.element_numbers = vector_of<unsigned int>({1});
    for (const file_format format : formats) {
        const written_mesh plain = written(triangle(), format);
        const written_mesh numbered = written(m, format);
        EXPECT_EQ(numbered.code, 0);
        EXPECT_EQ(numbered.text, plain.text);
        EXPECT_TRUE(numbered.report.remarks().empty());
    }
}

TEST(write_mesh, a_mesh_of_nothing_is_written) {
    file_mesh of_indices;
    of_indices.indices.push_back(0);
    for (const file_format format : formats) {
        EXPECT_EQ(written(file_mesh(), format).code, 0);
        EXPECT_EQ(written(of_indices, format).text, written(file_mesh(), format).text);
    }
    EXPECT_EQ(written(file_mesh(), file_format::obj).text, "");
    EXPECT_EQ(written(file_mesh(), file_format::stl_text).text, "solid\nendsolid\n");
    EXPECT_EQ(written(file_mesh(), file_format::stl_binary).text.size(), 84U);
}

TEST(write_mesh, gaps_between_columns_are_not_looked_at) {
    random_source random(2);
    for (std::uint64_t run = 0; run < nbr_runs(100); ++run) {
        file_mesh m = random_mesh(random, {ET_TRIA3, ET_TRIA6, ET_HEXA27, ET_BAR3}, 30, 10);
        m.fields = {{"u", field_place::nodes, random_points(random, 3, 30, -1, 1)},
                    {"s", field_place::elements, random_points(random, 6, 10, -1, 1)}};
        for (const file_format format : formats) {
            EXPECT_EQ(written_lossy(with_gaps(m), format).text, written_lossy(m, format).text);
        }
    }
}

TEST(write_mesh, columns_of_mixed_types_are_written_by_their_own) {
    const dense2D<double> pos = points(
        {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
    const std::vector<unsigned int> bar{0, 1};
    const std::vector<unsigned int> tria{0, 1, 2};
    const std::vector<unsigned int> quad{0, 1, 2, 3};
    const std::vector<unsigned int> tetra{0, 1, 3, 4};
    const std::vector<unsigned int> pyra{0, 1, 2, 3, 4};
    const std::vector<unsigned int> penta{0, 1, 2, 4, 5, 6};
    const std::vector<unsigned int> hexa{0, 1, 2, 3, 4, 5, 6, 7};
    const file_mesh plain = mesh_of(pos, {{ET_BAR2, bar},
                                          {ET_TRIA3, tria},
                                          {ET_QUAD4, quad},
                                          {ET_TETRA4, tetra},
                                          {ET_PYRA5, pyra},
                                          {ET_PENTA6, penta},
                                          {ET_HEXA8, hexa}});
    const file_mesh mixed = mesh_of(pos, {{ET_BAR_MIX, bar},
                                          {ET_FACE_MIX, tria},
                                          {ET_FACE_MIX, quad},
                                          {ET_SOLID_MIX, tetra},
                                          {ET_SOLID_MIX, pyra},
                                          {ET_SOLID_MIX, penta},
                                          {ET_SOLID_MIX, hexa}});
    for (const file_format format : formats) {
        const written_mesh expected = written_lossy(plain, format);
        const written_mesh found = written_lossy(mixed, format);
        EXPECT_EQ(found.code, 0);
        EXPECT_EQ(found.text, expected.text);
        EXPECT_EQ(found.sentences(), expected.sentences());
    }
}

TEST(write_mesh, nodes_in_2d_get_a_third_coordinate) {
    const file_mesh flat = mesh_of(points({{0, 0}, {1, 0}, {0, 1}}), ET_TRIA3, {{0, 1, 2}});
    for (const file_format format : formats) {
        if (format == file_format::medit) continue; // has files in 2D
        const written_mesh found = written(flat, format);
        EXPECT_EQ(found.code, 0);
        EXPECT_EQ(found.text, written(triangle(), format).text);
        EXPECT_EQ(found.sentences(),
                  (std::vector<std::string>{"node: 3 written with a third coordinate of 0"}));
        EXPECT_EQ(found.report.remarks()[0].kind, remark_kind::changed);
    }
}

TEST(write_mesh, every_type_is_written_or_told_of) {
    for (const element_type type : all_element_types) {
        if (type == ET_UNKNOWN) continue;
        std::vector<unsigned int> nodes;
        for (unsigned int k = 0; k < nbr_nodes(type); ++k) nodes.push_back(k);
        random_source random(3);
        const file_mesh m = mesh_of(random_points(random, 3, 27, 0, 1), type, {nodes});
        for (const file_format format : formats) {
            const written_mesh found = written_lossy(m, format);
            EXPECT_EQ(found.code, 0) << type;
            if (format == file_format::vtk || format == file_format::vtu) {
                EXPECT_EQ(found.report.has_lost(), type == ET_PYRA14) << type;
            }
        }
    }
}

// The faults of a mesh in the order in which they are looked for.
struct fault {
    std::function<void(file_mesh&)> make;
    std::string sentence;
};
const double no_number = std::numeric_limits<double>::quiet_NaN();
const double no_bound = std::numeric_limits<double>::infinity();
const std::vector<fault> faults{
    {[](file_mesh& m) { m.pos = dense2D<double>(4, 5, 0.0); },
     "nodes must have 2 or 3 coordinates"},
    {[](file_mesh& m) { m.pos = dense2D<double>(1, 5, 0.0); },
     "nodes must have 2 or 3 coordinates"},
    {[](file_mesh& m) { m.pos(2, 4) = no_number; }, "a coordinate is no finite number"},
    {[](file_mesh& m) { m.pos(0, 0) = -no_bound; }, "a coordinate is no finite number"},
    {[](file_mesh& m) { m.indices[0] = 1; }, "the runs of elements don't fit the connectivity"},
    {[](file_mesh& m) { m.indices[1] = 3; }, "the runs of elements don't fit the connectivity"},
    {[](file_mesh& m) { m.indices[3] = 4; }, "the runs of elements don't fit the connectivity"},
    {[](file_mesh& m) { m.indices.push_back(3); },
     "the runs of elements don't fit the connectivity"},
    {[](file_mesh& m) { m.indices.clear(); }, "the runs of elements don't fit the connectivity"},
    {[](file_mesh& m) { m.types[2] = ET_UNKNOWN; },
     "the type of a run is unknown, or needs more rows"},
    {[](file_mesh& m) { m.types[0] = 23; }, "the type of a run is unknown, or needs more rows"},
    {[](file_mesh& m) { m.types[0] = -1; }, "the type of a run is unknown, or needs more rows"},
    {[](file_mesh& m) { m.types[0] = ET_TETRA10; },
     "the type of a run is unknown, or needs more rows"},
    {[](file_mesh& m) { m.types[1] = ET_SOLID_MIX; },
     "the type of a run is unknown, or needs more rows"},
    {[](file_mesh& m) { m.connect(2, 2) = 5; }, "a node of an element is not there"},
    {[](file_mesh& m) { m.connect(0, 0) = none; }, "a node of an element is not there"},
    {[](file_mesh& m) { m.pids.push_back(1); }, "not every element has a property"},
    {[](file_mesh& m) { m.node_numbers.push_back(1); }, "not every node has a number"},
    {[](file_mesh& m) { m.element_numbers.push_back(1); }, "not every element has a number"},
    {[](file_mesh& m) {
         m.node_sets[0].ids = vector_of<unsigned int>({3, 3});
     },
     "a set of nodes is not ascending or too large"},
    {[](file_mesh& m) { m.node_sets[0].ids = vector_of<unsigned int>({5}); },
     "a set of nodes is not ascending or too large"},
    {[](file_mesh& m) {
         m.element_sets[1].ids = vector_of<unsigned int>({1, 0});
     },
     "a set of elements is not ascending or too large"},
    {[](file_mesh& m) {
         m.element_sets[1].ids = vector_of<unsigned int>({0, 3});
     },
     "a set of elements is not ascending or too large"},
    {[](file_mesh& m) { m.fields[0].values = dense2D<double>(1, 3, 0.0); },
     "a field has not the columns that its place asks for"},
    {[](file_mesh& m) { m.fields[1].values = dense2D<double>(1, 5, 0.0); },
     "a field has not the columns that its place asks for"},
};

file_mesh own_copy(const file_mesh& m) {
    file_mesh result = m;
    result.pos = with_gaps(m.pos, 1, 0.0);
    result.connect = with_gaps(m.connect, 1, 0U);
    result.indices = vector_of(list(m.indices));
    result.types = vector_of(list(m.types));
    return result;
}

TEST(write_mesh, a_fault_of_the_mesh_comes_ahead_of_those_of_the_options) {
    write_options bad;
    bad.digits = 0;
    for (const file_format format : formats) {
        for (const fault& f : faults) {
            file_mesh m = own_copy(rich_mesh());
            f.make(m);
            const written_mesh found = written(m, format, bad);
            EXPECT_EQ(found.code, -3) << f.sentence;
            EXPECT_EQ(found.sentences(), (std::vector<std::string>{f.sentence}));
        }
    }
}

TEST_F(write_mesh_to, a_path_tells_the_first_fault_of_a_mesh) {
    for (std::size_t k = 0; k < faults.size(); ++k) {
        file_mesh m = own_copy(rich_mesh());
        faults[k].make(m);
        EXPECT_EQ(write(path("a.vtu"), m), -2);
        EXPECT_EQ(error(), ": " + faults[k].sentence);
        // Faults of the lists behind don't hide it.
        if (k < 16) m.node_numbers.push_back(1);
        if (k < 22) m.fields[0].values.clear();
        EXPECT_EQ(write(path("a.vtu"), m), -2);
        EXPECT_EQ(error(), ": " + faults[k].sentence);
    }
    EXPECT_EQ(nbr_names(), 0U);
}

TEST(write_mesh, of_a_stream_checks_the_stream_then_the_format_the_mesh_and_the_options) {
    file_report report;
    write_options options;
    options.digits = 18;
    file_mesh bad = triangle();
    bad.pids = vector_of<unsigned int>({1, 1});
    std::FILE* const no_file = nullptr;
    EXPECT_EQ(write_mesh(no_file, file_format::unknown, bad, options, report), -1);
    EXPECT_EQ(report.error()->sentence, "there is no stream, or it is in error");
    const scratch_stream stream;
    EXPECT_EQ(write_mesh(stream.get(), file_format::unknown, bad, options, report), -2);
    EXPECT_EQ(report.error()->sentence, "unknown files are not written");
    EXPECT_EQ(write_mesh(stream.get(), file_format::obj, bad, options, report), -3);
    EXPECT_EQ(write_mesh(stream.get(), file_format::obj, triangle(), options, report), -4);
    EXPECT_EQ(report.error()->sentence, "numbers must have from 1 to 17 digits");
    options.digits = 0;
    EXPECT_EQ(write_mesh(stream.get(), file_format::obj, triangle(), options, report), -4);
    options.digits = 1;
    EXPECT_EQ(write_mesh(stream.get(), file_format::obj, rich_mesh(), options, report), -4);
    EXPECT_EQ(report.error()->sentence, "Wavefront OBJ can't hold all of the mesh");
    EXPECT_EQ(stream.contents(), "");
    EXPECT_EQ(write_mesh(stream.get(), file_format::obj, triangle(), options, report), 0);
    EXPECT_EQ(stream.contents(), triangle_obj);
}

TEST(write_mesh, text_has_the_digits_that_are_asked_for_in_any_locale) {
    const file_mesh m =
        mesh_of(points({{1.0 / 3.0, -2e-300, 0.1}, {1, 1e300, 123456789}, {0, 1, 0}}), ET_TRIA3,
                {{0, 1, 2}});
    const auto first_lines = [&m](int digits) {
        write_options options;
        options.digits = digits;
        const std::string text = written(m, file_format::obj, options).text;
        return text.substr(0, text.find("\nv 0 1 0"));
    };
    const comma_locale locale;
    EXPECT_EQ(first_lines(17), "v 0.3333333333333333 -2e-300 0.1\nv 1 1e+300 123456789");
    EXPECT_EQ(first_lines(16), "v 0.3333333333333333 -2e-300 0.1\nv 1 1e+300 123456789");
    EXPECT_EQ(first_lines(4), "v 0.3333 -2e-300 0.1\nv 1 1e+300 1.235e+08");
    EXPECT_EQ(first_lines(1), "v 0.3 -2e-300 0.1\nv 1 1e+300 1e+08");
}

TEST(write_mesh, a_report_may_be_that_of_the_call_before) {
    file_report report;
    const write_options options;
    const scratch_file file;
    const std::string name = std::string(file.name()) + ".obj";
    EXPECT_EQ(write_mesh(name.c_str(), triangle(), options, report), 0);
    EXPECT_EQ(write_mesh(report.file().c_str(), triangle(), options, report), 0);
    EXPECT_EQ(report.file(), name);
    std::remove(name.c_str());
}

TEST_F(write_mesh_to, memory_failure_is_a_code_and_leaves_the_old_file) {
    write_options options;
    options.lossy = true;
    const std::string name = path("a");
    file_mesh m = rich_mesh();
    m.element_sets[0].name = std::string(300, 'x'); // too long to stand in a string itself
    m.fields[0].name = "<a name that is no word & has to be escaped>";
    for (const file_format format : formats) {
        options.format = format;
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            std::ofstream(name) << "old";
            file_report report;
            bool happened = false;
            int code = 0;
            {
                const memory_failure failure(k, and_later);
                code = write_mesh(name.c_str(), m, options, report);
                happened = failure.happened();
            }
            EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
            EXPECT_EQ(contents(name) == "old", code != 0);
            EXPECT_EQ(nbr_names(), 1U);
            return happened;
        });
        EXPECT_GT(nbr_failed, 20U);
    }
}

} // namespace
