// Fields written beside a mesh as MEDIT field files.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "formats/full_disk.h"
#include "formats/mesh_files.h"
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
using strings = std::vector<std::string>;

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class medit_fields_output : public testing::Test {
protected:
    medit_fields_output() {
        std::string pattern = testing::TempDir() + "tessmaker_XXXXXX";
        folder_ = mkdtemp(pattern.data());
        path_ = folder_ + "/a.sol";
    }
    ~medit_fields_output() override { fs::remove_all(folder_); }

    int write(const file_mesh& m, const write_options& options = {}) {
        return write_fields(path_.c_str(), m, options, report_);
    }
    int write_lossy(const file_mesh& m) {
        write_options options;
        options.lossy = true;
        return write(m, options);
    }
    std::string text() const { return contents(path_); }
    std::string error() const {
        return report_.error() ? report_.error()->sentence.substr(path_.size()) : "none";
    }

    std::string folder_;
    std::string path_;
    file_report report_;
};

field at_nodes(const dense2D<double>& values, const std::string& name = "") {
    return {name, field_place::nodes, values};
}

file_mesh triangle() {
    return mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{0, 1, 2}});
}

TEST_F(medit_fields_output, of_a_triangle_is_this_text) {
    file_mesh m = triangle();
    m.fields = {at_nodes(points({{0.1}, {2}, {-3e30}})),
                at_nodes(points({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}))};
    EXPECT_EQ(write(m), 0);
    EXPECT_EQ(text(), "MeshVersionFormatted 2\nDimension 3\n\nSolAtVertices\n3\n2 1 2\n"
                      "0.1 1 2 3\n2 4 5 6\n-3e+30 7 8 9\n\nEnd\n");
    EXPECT_TRUE(report_.remarks().empty());
    EXPECT_EQ(report_.format(), file_format::medit);
    EXPECT_EQ(report_.file(), path_);
}

TEST_F(medit_fields_output, kinds_go_by_components_and_dimension) {
    file_mesh m = triangle();
    for (const std::size_t rows : {9U, 1U, 6U, 3U}) {
        m.fields.push_back(at_nodes(dense2D<double>(rows, 3, 0.0)));
    }
    EXPECT_EQ(write(m), 0);
    EXPECT_NE(text().find("SolAtVertices\n3\n4 4 1 3 2\n"), std::string::npos);

    file_mesh flat = mesh_of(points({{0, 0}, {1, 0}, {0, 1}}), ET_TRIA3, {{0, 1, 2}});
    for (const std::size_t rows : {4U, 3U, 2U, 1U}) {
        flat.fields.push_back(at_nodes(dense2D<double>(rows, 3, 0.0)));
    }
    EXPECT_EQ(write(flat), 0);
    EXPECT_NE(text().find("Dimension 2\n\nSolAtVertices\n3\n4 4 3 2 1\n"), std::string::npos);
}

TEST_F(medit_fields_output, what_is_lost_is_told_and_an_error_unless_it_is_allowed) {
    file_mesh m =
        mesh_of(points({{9, 9, 9}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{1, 2, 3}});
    m.fields = {at_nodes(points({{9}, {1}, {2}, {std::nan("")}}), "temperature"),
                at_nodes(dense2D<double>(2, 4, 0.0), "of two"),
                {"stress", field_place::elements, dense2D<double>(6, 1, 0.0)}};
    const strings losses{
        "node: 1 not written: in no element that is written",
        "field: 1 not written: at elements; the file has those at nodes",
        "field: 1 not written: neither scalars nor vectors nor tensors of the mesh's dimension",
        "name of a field: 1 not written: the format has no names",
        "value: 1 written as a word: nan and inf are not read by all programs"};
    std::ofstream(path_) << "old";
    EXPECT_EQ(write(m), -3);
    EXPECT_EQ(error(), ": a MEDIT field file can't hold all of the fields");
    EXPECT_EQ(text(), "old");
    EXPECT_EQ(write_lossy(m), 0);
    EXPECT_EQ(sentences(report_), losses);
    EXPECT_EQ(text(), "MeshVersionFormatted 2\nDimension 3\n\nSolAtVertices\n3\n1 1\n1\n2\nnan\n"
                      "\nEnd\n");
    EXPECT_EQ(report_.remarks()[3].kind, remark_kind::changed);
}

TEST_F(medit_fields_output, names_alone_are_no_loss) {
    file_mesh m = triangle();
    m.fields = {at_nodes(dense2D<double>(1, 3, 0.0), "temperature")};
    EXPECT_EQ(write(m), 0);
    EXPECT_EQ(sentences(report_),
              (strings{"name of a field: 1 not written: the format has no names"}));
}

TEST_F(medit_fields_output, codes_come_in_their_order) {
    write_options options;
    options.digits = 0;
    file_mesh m = triangle();
    EXPECT_EQ(write_fields(nullptr, m, options, report_), -1);
    m.pids.push_back(1);
    m.pids.push_back(1);
    EXPECT_EQ(write(m, options), -2);
    EXPECT_EQ(error(), ": not every element has a property");
    m.pids.clear();
    EXPECT_EQ(write(m, options), -2);
    EXPECT_EQ(error(), ": there is no field to write");
    m.fields = {{"s", field_place::elements, dense2D<double>(1, 1, 0.0)}};
    EXPECT_EQ(write(m, options), -2);
    m.fields.push_back(at_nodes(dense2D<double>(1, 3, 0.0)));
    EXPECT_EQ(write(m, options), -3);
    EXPECT_EQ(error(), ": numbers must have from 1 to 17 digits");
    options.digits = 1;
    EXPECT_EQ(write(m, options), -3);
    EXPECT_EQ(error(), ": a MEDIT field file can't hold all of the fields");
    options.lossy = true;
    EXPECT_EQ(write_fields("/no/such/folder/a.sol", m, options, report_), -1);
    EXPECT_EQ(write_fields("/dev/full", m, options, report_), -1);
    EXPECT_EQ(report_.error()->sentence, "/dev/full: can't be written: No space left on device");
    EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(medit_fields_output, a_mesh_without_nodes_has_none_to_write) {
    file_mesh m;
    m.fields = {at_nodes(dense2D<double>())};
    EXPECT_EQ(write_lossy(m), -2);
    EXPECT_EQ(error(), ": there is no field to write");
    EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(medit_fields_output, a_full_disk_leaves_the_old_file) {
    random_source random(1);
    file_mesh m = random_mesh(random, {ET_TRIA3}, 5000, 20000);
    m.fields = {at_nodes(random_points(random, 1, 5000, 0, 1))};
    std::ofstream(path_) << "old";
    {
        const size_limit full(1024);
        EXPECT_EQ(write_lossy(m), -1);
    }
    EXPECT_EQ(error(), ": can't be written: File too large");
    EXPECT_EQ(text(), "old");
}

TEST_F(medit_fields_output, memory_failure_is_a_code_and_leaves_the_old_file) {
    file_mesh m = triangle();
    m.fields = {at_nodes(dense2D<double>(1, 3, 0.0), "a name of a field that has many words"),
                {"s", field_place::elements, dense2D<double>(1, 1, 0.0)}};
    write_options options;
    options.lossy = true;
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        std::ofstream(path_) << "old";
        file_report report;
        bool happened = false;
        int code = 0;
        {
            const memory_failure failure(k, and_later);
            code = write_fields(path_.c_str(), m, options, report);
            happened = failure.happened();
        }
        EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
        EXPECT_EQ(text() == "old", code != 0);
        return happened;
    });
    EXPECT_GT(nbr_failed, 10U);
}

// The mesh and its fields, in two files, come back as they were but for nodes in no element.
TEST_F(medit_fields_output, are_read_again_beside_the_mesh) {
    random_source random(2);
    for (std::uint64_t run = 0; run < nbr_runs(100); ++run) {
        const std::size_t n = random.between(3, 30);
        file_mesh m = random_mesh(random, {ET_TRIA3, ET_BAR2}, n, random.between(1, 10));
        const std::size_t dim = m.pos.rows();
        const std::vector<std::size_t> choices{1, dim, dim * (dim + 1) / 2, dim * dim};
        for (std::size_t k = random.between(1, 4); k > 0; --k) {
            m.fields.push_back(at_nodes(random_points(random, random.one_of(choices), n, -1, 1)));
        }
        if (random.one_in(2)) m = with_gaps(m);
        ASSERT_EQ(write_lossy(m), 0);
        read_file back = read_as(file_format::medit, written_lossy(m, file_format::medit).text);
        ASSERT_EQ(back.code, 0) << back.error();
        ASSERT_EQ(read_fields(path_.c_str(), back.m, report_), 0) << error();
        ASSERT_EQ(back.m.fields.size(), m.fields.size());
        std::vector<bool> is_used(n, false);
        for (const plain_element& e : elements_of(back.m)) EXPECT_FALSE(e.nodes.empty());
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            const std::size_t size = nbr_nodes(static_cast<element_type>(m.types[k]));
            for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
                for (std::size_t r = 0; r < size; ++r) is_used[m.connect(r, c)] = true;
            }
        }
        for (std::size_t k = 0; k < m.fields.size(); ++k) {
            const dense2D<double>& values = m.fields[k].values;
            ASSERT_EQ(back.m.fields[k].values.rows(), values.rows());
            std::size_t place = 0;
            for (std::size_t c = 0; c < n; ++c) {
                if (!is_used[c]) continue;
                for (std::size_t r = 0; r < values.rows(); ++r) {
                    EXPECT_EQ(back.m.fields[k].values(r, place), values(r, c));
                }
                ++place;
            }
            EXPECT_EQ(back.m.fields[k].values.cols(), place);
        }
    }
}

TEST_F(medit_fields_output, values_that_are_no_numbers_are_read_again) {
    const double no_bound = std::numeric_limits<double>::infinity();
    file_mesh m = triangle();
    m.fields = {at_nodes(points({{no_bound}, {-no_bound}, {-std::nan("")}}))};
    EXPECT_EQ(write(m), 0);
    file_mesh back = triangle();
    ASSERT_EQ(read_fields(path_.c_str(), back, report_), 0) << error();
    EXPECT_EQ(back.fields[0].values(0, 0), no_bound);
    EXPECT_EQ(back.fields[0].values(0, 1), -no_bound);
    EXPECT_TRUE(std::isnan(back.fields[0].values(0, 2)));
}

} // namespace
