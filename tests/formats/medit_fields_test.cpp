// Fields in files beside a mesh.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "formats/mesh_files.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;
using table = std::vector<std::vector<double>>;

mesh mesh_of(std::size_t nbr_nodes, std::size_t nbr_elements = 0) {
    mesh m;
    m.pos = dense2D<double>(3, nbr_nodes, 0.0);
    m.connect = dense2D<unsigned int>(1, nbr_elements, 0U);
    m.fields.push_back({"old", field_place::nodes, dense2D<double>(1, nbr_nodes, 7.0)});
    return m;
}

struct fields_file {
    int code = 0;
    std::vector<field> fields; // without that which was there
    file_report report;
    std::string error() const {
        const std::string& text = report.error() ? report.error()->sentence : report.file();
        return text.substr(report.file().size());
    }
};

fields_file read(const std::string& contents, const mesh& beside) {
    const scratch_file file(contents);
    fields_file result;
    mesh m = beside;
    result.code = read_fields(file.name(), m, result.report);
    EXPECT_EQ(result.code < 0, result.report.error() != nullptr);
    EXPECT_EQ(result.report.format(), file_format::medit);
    EXPECT_EQ(m.fields[0].name, "old");
    EXPECT_EQ(m.fields.size() > 1, result.code == 0);
    result.fields.assign(m.fields.begin() + 1, m.fields.end());
    for (const field& f : result.fields) {
        EXPECT_EQ(f.values.cols(), f.at == field_place::nodes ? m.pos.cols() : m.connect.cols());
        EXPECT_EQ(f.name.substr(0, 10), "tessmaker_");
    }
    return result;
}

const std::string start = "MeshVersionFormatted 2\n\nDimension 3\n\n";

TEST(medit_fields, are_scalars_vectors_and_tensors_at_nodes) {
    const fields_file file = read(start + "SolAtVertices\n2\n4 1 2 3 4\n"
                                          "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19\n"
                                          "-1 -2 -3 -4 -5 -6 -7 -8 -9 -10 -11 -12 -13 -14 -15 "
                                          "-16 -17 -18 -19\nEnd\n",
                                  mesh_of(2));
    ASSERT_EQ(file.code, 0) << file.error();
    ASSERT_EQ(file.fields.size(), 4U);
    EXPECT_EQ(list(file.fields[0].values), (table{{1}, {-1}}));
    EXPECT_EQ(list(file.fields[1].values), (table{{2, 3, 4}, {-2, -3, -4}}));
    EXPECT_EQ(list(file.fields[2].values), (table{{5, 6, 7, 8, 9, 10}, {-5, -6, -7, -8, -9, -10}}));
    EXPECT_EQ(file.fields[3].values.rows(), 9U);
    EXPECT_EQ(file.fields[3].values(8, 1), -19);
    EXPECT_EQ(file.fields[3].name.substr(file.fields[3].name.size() - 2), " 4");
    EXPECT_TRUE(file.report.remarks().empty());

    const fields_file flat = read("MeshVersionFormatted 1 Dimension 2 SolAtVertices 1 3 1 2 3 "
                                  "1 2 3 4 5 6 End",
                                  mesh_of(1));
    ASSERT_EQ(flat.fields.size(), 3U);
    EXPECT_EQ(list(flat.fields[1].values), (table{{2, 3}}));
    EXPECT_EQ(list(flat.fields[2].values), (table{{4, 5, 6}}));
}

TEST(medit_fields, of_another_dimension_than_the_mesh_are_told) {
    const std::string flat = "MeshVersionFormatted 2\nDimension 2\n";
    const fields_file file = read(flat + "SolAtVertices 1 3 1 2 3\n1 2 3 4 5 6\n"
                                         "SolAtVertices 1 1 4 1 2 3 4\nEnd\n",
                                  mesh_of(1));
    EXPECT_EQ(file.fields.size(), 4U);
    ASSERT_EQ(file.report.remarks().size(), 1U);
    const remark& r = file.report.remarks()[0];
    EXPECT_EQ(r.sentence, "field: 3 with the components of the file, first in line 3: its "
                          "dimension is not that of the mesh");
    EXPECT_EQ(r.kind, remark_kind::note);

    mesh of_file = mesh_of(1);
    of_file.pos = dense2D<double>(2, 1, 0.0);
    EXPECT_TRUE(read(flat + "SolAtVertices 1 1 2 2 3 End", of_file).report.remarks().empty());
    EXPECT_TRUE(read(flat + "SolAtVertices 1 1 1 2 End", mesh_of(1)).report.remarks().empty());
    EXPECT_TRUE(read(flat + "SolAtVertices 0 1 2 End", mesh_of(0)).report.remarks().empty());
    EXPECT_EQ(read(start + "SolAtVertices 1 1 2 1 2 3 End", of_file).report.remarks().size(), 1U);
}

TEST(medit_fields, have_the_name_of_their_file) {
    const scratch_file file(start + "SolAtVertices 1 1 1 5 End");
    const std::string path = std::string(file.name()) + ".wing.sol";
    std::filesystem::copy_file(file.name(), path);
    mesh m = mesh_of(1);
    file_report report;
    EXPECT_EQ(read_fields(path.c_str(), m, report), 0);
    std::remove(path.c_str());
    const std::string name = std::filesystem::path(file.name()).filename().string();
    EXPECT_EQ(m.fields[1].name, name + ".wing");
    EXPECT_EQ(report.file(), path);
}

TEST(medit_fields, other_sections_and_what_follows_are_told) {
    const auto sentences = [](const fields_file& file) {
        strings result;
        for (const remark& r : file.report.remarks()) result.push_back(r.sentence);
        return result;
    };
    const fields_file file = read(start + "SolAtTriangles\n2\n1 1\n5\n6\nSolAtVertices\n1\n1 1\n"
                                          "4\nSolAtVertices 1 1 1 -4\n",
                                  mesh_of(1));
    ASSERT_EQ(file.fields.size(), 2U);
    EXPECT_EQ(sentences(file),
              (strings{"SolAtTriangles: 2 left out, first in line 5: no part of a mesh",
                       "End: 1 missing: the file may have been cut off"}));
    EXPECT_EQ(sentences(read("3 1 1 2\n5\n6 7\n", mesh_of(1))),
              (strings{"words: 2 follow the values and are not read, first in line 3"}));
    EXPECT_EQ(sentences(read("3 1 1 2\n5\n6\n", mesh_of(1))),
              (strings{"words: 1 follows the values and is not read, in line 3"}));
}

TEST(medit_fields, values_of_any_kind_are_taken) {
    const fields_file file = read("3 1 7 2 nan -inf Infinity 1D3 -NAN(x) +2 .5", mesh_of(7));
    ASSERT_EQ(file.fields.size(), 1U) << file.error();
    const dense2D<double>& v = file.fields[0].values;
    EXPECT_TRUE(std::isnan(v(0, 0)) && std::isnan(v(0, 4)));
    EXPECT_EQ(v(0, 1), -INFINITY);
    EXPECT_EQ(v(0, 2), INFINITY);
    EXPECT_EQ(v(0, 3), 1000.0);
    EXPECT_EQ(v(0, 5), 2.0);
    EXPECT_EQ(v(0, 6), 0.5);
}

TEST(medit_fields, of_numbers_alone_are_one_field_at_nodes_or_elements) {
    const fields_file at_nodes = read("3 2 2 2\n1 2 3 4\n", mesh_of(2, 5));
    ASSERT_EQ(at_nodes.fields.size(), 1U);
    EXPECT_EQ(list(at_nodes.fields[0].values), (table{{1, 2}, {3, 4}}));
    const fields_file at_elements = read("2 1 3 1\n1 2 3", mesh_of(2, 3));
    ASSERT_EQ(at_elements.fields.size(), 1U);
    EXPECT_EQ(at_elements.fields[0].at, field_place::elements);
    EXPECT_EQ(list(at_elements.fields[0].values), (table{{1}, {2}, {3}}));
}

TEST(medit_fields, that_we_write_come_back) {
    random_source random(43);
    for (std::size_t n = 0; n < 40; ++n) {
        for (const std::size_t rows : {1U, 2U, 3U, 6U}) {
            if (n == 0 && rows != 1) continue; // an array without columns has no rows
            dense2D<double> values(rows, n);
            for (std::size_t c = 0; c < n; ++c) {
                for (std::size_t r = 0; r < rows; ++r) {
                    values(r, c) = static_cast<double>(random.below(100)) - 50.0;
                }
            }
            const scratch_stream stream;
            if (rows == 1) {
                ASSERT_EQ(medit_scalar(stream.get(), 3, values.as_vector()), 0);
            } else if (rows == 2) {
                ASSERT_EQ(medit_vector(stream.get(), 3, values), 0);
            } else {
                ASSERT_EQ(medit_tensor(stream.get(), values), 0);
            }
            const fields_file file = read(stream.contents(), mesh_of(n));
            ASSERT_EQ(file.fields.size(), 1U) << file.error();
            EXPECT_EQ(list(file.fields[0].values), list(values));
            EXPECT_TRUE(file.report.remarks().empty());
        }
    }
}

TEST(medit_fields, faults_have_their_place_and_say_what_was_expected) {
    const auto error = [](const std::string& text) {
        const fields_file file = read(text, mesh_of(2, 3));
        EXPECT_EQ(file.code, -102) << text;
        return file.error();
    };
    EXPECT_EQ(error(""), ", line 1, column 1: MeshVersionFormatted is expected, and the file ends");
    EXPECT_EQ(error(start + "End"), ": SolAtVertices is expected");
    EXPECT_EQ(error("MeshVersionFormatted 1 SolAtVertices"),
              ", line 1, column 24: Dimension is expected ahead of SolAtVertices");
    EXPECT_EQ(error(start + "SolAtVertices x"), ", line 5, column 15: a count is expected");
    EXPECT_EQ(error(start + "SolAtVertices 3 1 1"),
              ", line 5, column 15: 3 values for the 2 nodes of the mesh");
    EXPECT_EQ(error(start + "SolAtVertices 2 0"),
              ", line 5, column 17: a number of fields is expected");
    EXPECT_EQ(error(start + "SolAtVertices 2 99999999999 1 5"),
              ", line 5, column 31: a kind of values from 1 to 4 is expected");
    EXPECT_EQ(error(start + "SolAtVertices 2 1 1\n1\nx"),
              ", line 7, column 1: a number is expected");
    EXPECT_EQ(error(start + "SolAtVertices 2 1 1\n1\n1e999"),
              ", line 7, column 1: a number is expected");
    EXPECT_EQ(error(start + "SolAtVertices 2 1 1 1 2 3"),
              ", line 5, column 25: a keyword is expected");
    EXPECT_EQ(error("4 1 2 2 1 2"), ", line 1, column 1: a dimension from 1 to 3 is expected");
    EXPECT_EQ(error("3 0 2 2 1 2"), ", line 1, column 3: a number of components is expected");
    EXPECT_EQ(error("3 1 x 2 1 2"), ", line 1, column 5: a count is expected");
    EXPECT_EQ(error("3 1 2 3 1 2"),
              ", line 1, column 7: 1 for elements or 2 for nodes is expected");
    EXPECT_EQ(error("3 1 2 1 1 2"), ", line 1, column 7: 2 values for the 3 elements of the mesh");
    EXPECT_EQ(error("3 18446744073709551615 2 2 1 2"),
              ", line 1, column 31: a number is expected, and the file ends");
}

TEST(medit_fields, say_why_a_file_cant_be_read) {
    mesh m = mesh_of(1);
    file_report report;
    EXPECT_EQ(read_fields(nullptr, m, report), -1);
    EXPECT_EQ(report.error()->sentence, "there is no path");
    EXPECT_EQ(read_fields("/no/such/folder/x.sol", m, report), -1);
    EXPECT_EQ(report.error()->sentence,
              "/no/such/folder/x.sol: can't be opened: No such file or directory");
    EXPECT_EQ(read_fields("/proc", m, report), -1);
    EXPECT_EQ(report.error()->sentence, "/proc: is a folder");
    EXPECT_EQ(m.fields.size(), 1U);
}

// Reads by `>>` alone.
TEST(medit_fields, equal_what_a_plain_reader_finds) {
    random_source random(47);
    for (std::uint64_t k = 0; k < nbr_runs(500); ++k) {
        const std::size_t n = random.below(12);
        const std::size_t dim = random.between(2, 3);
        std::ostringstream text;
        text.precision(17);
        text << "MeshVersionFormatted 2\nDimension " << dim << "\nSolAtVertices\n" << n << '\n';
        std::vector<std::size_t> sizes;
        const std::size_t nbr_fields = random.between(1, 4);
        text << nbr_fields;
        for (std::size_t f = 0; f < nbr_fields; ++f) {
            const std::size_t kind = random.between(1, 4);
            const std::size_t of_kind[] = {1, dim, dim == 2 ? 3U : 6U, dim * dim};
            sizes.push_back(of_kind[kind - 1]);
            text << ' ' << kind;
        }
        std::ostringstream numbers;
        numbers.precision(17);
        for (std::size_t v = 0; v < 40 * n; ++v) numbers << random.uniform(-5, 5) << '\n';
        std::istringstream in(numbers.str());
        std::vector<table> plain(nbr_fields);
        std::ostringstream used;
        used.precision(17);
        for (std::size_t c = 0; c < n; ++c) {
            for (std::size_t f = 0; f < nbr_fields; ++f) {
                plain[f].emplace_back(sizes[f]);
                for (double& x : plain[f].back()) {
                    in >> x;
                    used << (random.one_in(4) ? "\n" : " ") << x;
                }
            }
        }
        const std::string whole = text.str() + used.str() + "\nEnd\n";
        const fields_file file = read(whole, mesh_of(n));
        ASSERT_EQ(file.code, 0) << file.error();
        ASSERT_EQ(file.fields.size(), nbr_fields);
        for (std::size_t f = 0; f < nbr_fields; ++f) {
            ASSERT_EQ(list(file.fields[f].values), plain[f]);
        }
        const std::string cut = whole.substr(0, random.below(whole.size()));
        const fields_file part = read(cut, mesh_of(n));
        EXPECT_TRUE(part.code == 0 || part.code == -102);
    }
}

TEST(medit_fields, cut_off_at_every_byte_are_a_fault_until_the_last_value_has_begun) {
    const std::string text = start + "SolAtVertices\n2\n2 1 2\n1 2 3 4\n5 6 7 8\nEnd\n";
    const std::size_t last_value = text.find("8\n");
    for (std::size_t size = 0; size < text.size(); ++size) {
        // A part of the word End is taken for a keyword.
        const int code = read(text.substr(0, size), mesh_of(2)).code;
        EXPECT_EQ(code, size <= last_value ? -102 : 0) << size;
    }
}

TEST(medit_fields, memory_failure_leaves_the_mesh_as_it_was) {
    for (const std::string& contents :
         {start + "SolAtVertices 2 3 1 2 3\n1 2 3 4 5 6 7 8 9 10\n1 2 3 4 5 6 7 8 9 10 End more",
          std::string("3 3 2 2\n1 2 3\n4 5 6 7")}) {
        const scratch_file file(contents);
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            mesh m = mesh_of(2);
            file_report report;
            bool happened = false;
            int code = 0;
            {
                const memory_failure failure(k, and_later);
                code = read_fields(file.name(), m, report);
                happened = failure.happened();
            }
            EXPECT_TRUE(code == 0 || (code == -199 && happened));
            EXPECT_EQ(m.fields.size() > 1, code == 0);
            EXPECT_EQ(list(m.fields[0].values), (table{{7}, {7}}));
            return happened;
        });
        EXPECT_GT(nbr_failed, 10U);
    }
}

} // namespace
