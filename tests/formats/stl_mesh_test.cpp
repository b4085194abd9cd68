// STL files read as meshes with a report.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

struct read_file {
    mesh m;
    file_report report;
    int code = 0;

    std::vector<std::string> sentences() const {
        std::vector<std::string> result;
        for (const remark& r : report.remarks()) result.push_back(r.sentence);
        return result;
    }
    // Of the error, from the place on.
    std::string error() const { return report.error() ? report.error()->sentence : "none"; }
    std::size_t nbr_facets() const { return m.connect.cols(); }
};

read_file read(const std::string& contents) {
    const scratch_stream stream(contents);
    read_file result;
    result.code = read_mesh(stream.get(), file_format::stl_text, result.m, result.report);
    // What holds of every mesh that is read, and of every failure.
    const mesh& m = result.m;
    EXPECT_EQ(result.code < 0, result.report.error() != nullptr);
    if (result.code < 0) {
        EXPECT_TRUE(m.pos.empty() && m.connect.empty() && m.indices.empty() && m.types.empty() &&
                    m.pids.empty() && m.element_sets.empty());
        return result;
    }
    EXPECT_EQ(m.indices.size(), m.types.size() + 1);
    EXPECT_EQ(m.indices[m.types.size()], m.connect.cols());
    EXPECT_EQ(m.pids.size(), m.connect.cols());
    EXPECT_TRUE(check_IDs(m.connect, ET_TRIA3, static_cast<unsigned int>(m.pos.cols())));
    for (const double x : list(m.pos).empty() ? std::vector<double>() : list(m.pos)[0]) {
        EXPECT_TRUE(std::isfinite(x));
    }
    for (const named_set& set : m.element_sets) {
        EXPECT_TRUE(std::is_sorted(set.ids.begin(), set.ids.end()));
        EXPECT_TRUE(check_IDs(set.ids, static_cast<unsigned int>(m.connect.cols())));
    }
    return result;
}

using facet = std::array<float, 9>;

std::string text_of(const facet& f, const char* blank = "\n") {
    std::string text = std::string("facet normal 0 0 1") + blank + "outer loop" + blank;
    for (std::size_t k = 0; k < 9; k += 3) {
        char line[200];
        std::snprintf(line, sizeof line, "vertex %.17g %.17g %.17g", static_cast<double>(f[k]),
                      static_cast<double>(f[k + 1]), static_cast<double>(f[k + 2]));
        text += std::string(line) + blank;
    }
    return text + "endloop" + blank + "endfacet" + blank;
}
std::string text_of(const std::vector<facet>& facets) {
    std::string text = "solid\n";
    for (const facet& f : facets) text += text_of(f);
    return text + "endsolid\n";
}
std::string binary_of(const std::vector<facet>& facets, std::string header = "") {
    header.resize(80);
    append_bytes(header, static_cast<std::uint32_t>(facets.size()));
    for (const facet& f : facets) {
        header.append(12, '\0');
        for (const float x : f) append_bytes(header, x);
        header.append(2, '\0');
    }
    return header;
}

const facet lower{0, 0, 0, 1, 0, 0, 1, 1, 0};
const facet upper{0, 0, 0, 1, 1, 0, 0, 1, 0};
const facet beside{1, 0, 0, 2, 0, 0, 1, 1, 0};

TEST(stl_mesh, two_solids_are_one_mesh_with_two_sets) {
    const read_file file =
        read("solid  left part\n" + text_of(lower) + text_of(upper) +
             "endsolid left part\nsolid right\n" + text_of(beside) + "endsolid right\n");
    EXPECT_EQ(file.code, 0);
    EXPECT_EQ(list(file.m.connect),
              (std::vector<std::vector<unsigned int>>{{0, 1, 2}, {0, 2, 3}, {1, 4, 2}}));
    EXPECT_EQ(file.m.pos.cols(), 5U);
    EXPECT_EQ(file.m.pos.rows(), 3U);
    EXPECT_EQ(list(file.m.indices), (std::vector<unsigned int>{0, 3}));
    EXPECT_EQ(list(file.m.types), (std::vector<int>{ET_TRIA3}));
    EXPECT_EQ(list(file.m.pids), (std::vector<unsigned int>{1, 1, 1}));
    EXPECT_TRUE(file.m.node_numbers.empty() && file.m.element_numbers.empty());
    ASSERT_EQ(file.m.element_sets.size(), 2U);
    EXPECT_EQ(file.m.element_sets[0].name, "left part");
    EXPECT_EQ(list(file.m.element_sets[0].ids), (std::vector<unsigned int>{0, 1}));
    EXPECT_EQ(file.m.element_sets[1].name, "right");
    EXPECT_EQ(list(file.m.element_sets[1].ids), (std::vector<unsigned int>{2}));
    EXPECT_EQ(file.sentences(), (std::vector<std::string>{
                                    "4 corners were welded to other ones: closer than 0.0354"}));
    ASSERT_EQ(file.report.counts().size(), 2U);
    EXPECT_EQ(file.report.counts()[0].keyword, "solid");
    EXPECT_EQ(file.report.counts()[0].seen, 2U);
    EXPECT_EQ(file.report.counts()[1].keyword, "facet");
    EXPECT_EQ(file.report.counts()[1].read, 3U);
}

TEST(stl_mesh, sets_are_made_where_there_is_something_to_be_told_apart) {
    const std::string f = text_of(lower);
    const auto names = [](const std::string& text) {
        std::string all;
        for (const named_set& set : read(text).m.element_sets) all += "(" + set.name + ")";
        return all;
    };
    EXPECT_EQ(names("solid\n" + f + "endsolid\n"), "");
    EXPECT_EQ(names("solid a\n" + f + "endsolid\n"), "(a)");
    EXPECT_EQ(names("solid\n" + f + "endsolid\nsolid\n" + text_of(upper) + "endsolid\n"),
              "(solid 1)(solid 2)");
    EXPECT_EQ(names("solid a\nendsolid\nsolid b\n" + f + "endsolid\nsolid c\nendsolid\n"), "(b)");
    // Facets behind the end of a solid, and a solid that does not end, are solids, too.
    EXPECT_EQ(names("solid a\n" + f + "endsolid\n" + f + "endsolid\n"), "(a)(solid 2)");
    EXPECT_EQ(read("solid a\n" + f + "endsolid\n" + f + "endsolid\n").report.counts()[0].seen, 1U);
    EXPECT_EQ(names("solid a\n" + f + "solid b\n" + text_of(upper) + "endsolid\n"), "(a)(b)");
    EXPECT_EQ(names("solid a\n" + f + "end solid a\nsolid b\n" + text_of(upper) + "endsolid"),
              "(a)(b)");
}

TEST(stl_mesh, a_file_without_facets_is_an_empty_mesh) {
    for (const std::string& text : {std::string("solid a\nendsolid a\n"), binary_of({})}) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, 0);
        EXPECT_EQ(file.nbr_facets(), 0U);
        EXPECT_EQ(list(file.m.indices), (std::vector<unsigned int>{0}));
        EXPECT_TRUE(file.report.remarks().empty());
    }
}

TEST(stl_mesh, facets_without_finite_coordinates_are_left_out_and_told) {
    for (const char* const word :
         {"nan", "-NaN", "inf", "Infinity", "-1.#IND", "1e999", "+nan(0)"}) {
        const std::string text =
            std::string("solid\n") + "facet normal 0 0 0 outer loop\nvertex 0 0 " + word +
            " vertex 1 0 0 vertex 0 1 0 endloop endfacet\n" + text_of(lower) + "endsolid\n";
        const read_file file = read(text);
        EXPECT_EQ(file.code, 0) << word;
        EXPECT_EQ(file.nbr_facets(), 1U);
        EXPECT_EQ(file.sentences(),
                  (std::vector<std::string>{
                      "facet: 1 left out, in line 2: a coordinate is no finite number"}));
        EXPECT_EQ(file.report.counts()[1].seen, 2U);
        EXPECT_EQ(file.report.counts()[1].read, 1U);
    }
    // Of a normal nothing is asked.
    EXPECT_EQ(read("solid\nfacet normal nan nan nan" + text_of(lower).substr(18) + "endsolid")
                  .nbr_facets(),
              1U);

    facet bad = lower;
    bad[4] = std::numeric_limits<float>::quiet_NaN();
    const read_file file = read(binary_of({upper, bad, lower}));
    EXPECT_EQ(file.nbr_facets(), 2U);
    EXPECT_EQ(file.sentences()[0], "facet: 1 left out: a coordinate is no finite number");
    const read_file none_left = read(binary_of({bad}));
    EXPECT_EQ(none_left.code, -102);
    EXPECT_EQ(none_left.sentences(),
              (std::vector<std::string>{"facet: 1 left out: a coordinate is no finite number",
                                        "no facet of three different corners is there"}));
}

TEST(stl_mesh, numbers_of_a_text_may_have_exponents_behind_a_d) {
    const std::string text = "solid\nfacet normal 0.D0 0.d+00 1D0\nouter loop\nvertex 1.5D+01 0 0\n"
                             "vertex 1.25d-1 2D0 0\nvertex 0 -.5D+1 1.E0\nendloop\nendfacet\n";
    const read_file file = read(text + "endsolid\n");
    ASSERT_EQ(file.nbr_facets(), 1U);
    EXPECT_EQ(list(file.m.pos),
              (std::vector<std::vector<double>>{{15, 0, 0}, {0.125, 2, 0}, {0, -5, 1}}));
    EXPECT_TRUE(file.report.remarks().empty());
}

TEST(stl_mesh, facets_that_collapse_are_told) {
    const facet needle{0, 0, 0, 1, 0, 0, 1, 1e-12F, 0};
    const facet point{5, 5, 5, 5, 5, 5, 5, 5, 5};
    const read_file file = read(binary_of({lower, point, upper}));
    EXPECT_EQ(file.nbr_facets(), 2U);
    EXPECT_EQ(file.sentences(), (std::vector<std::string>{
                                    "facet: 1 collapsed: corners of one facet were welded",
                                    "2 corners were welded to other ones: closer than 0.0354"}));
    EXPECT_EQ(read(binary_of({lower, needle})).nbr_facets(), 2U); // the tolerance follows it
    EXPECT_EQ(read(binary_of({point, point})).sentences(),
              (std::vector<std::string>{"6 corners not welded: no facet has a height"}));
}

TEST(stl_mesh, colors_attributes_and_what_follows_the_end_are_told) {
    EXPECT_EQ(read("solid a\ncolor 0.1 0.2 0.3\n" + text_of(lower) + "color 1 1 1\nendsolid\n")
                  .sentences(),
              (std::vector<std::string>{"color: 2 left out, first in line 2: a color"}));
    EXPECT_EQ(read("solid a\n" + text_of(lower) + "endsolid\n\nmade by hand\n").sentences(),
              (std::vector<std::string>{
                  "words: 3 follow the last solid and are not read, first in line 11"}));
    std::string bytes = binary_of({lower, upper});
    bytes[84 + 48] = 1;
    EXPECT_EQ(read(bytes + "tail").sentences(),
              (std::vector<std::string>{
                  "attribute: 1 left out: an attribute of a facet", "4 bytes behind the last facet",
                  "2 corners were welded to other ones: closer than 0.0354"}));
}

TEST(stl_mesh, a_fault_in_a_text_has_its_line_and_column) {
    const std::string start =
        "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n";
    const auto error = [](const std::string& text) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, -102);
        return file.error();
    };
    EXPECT_EQ(error("solid a\n  vertex 0 0 0\n"),
              "line 2, column 3: facet or endsolid is expected");
    EXPECT_EQ(error("solid a\nfacet normal 0 0\nouter"), "line 3, column 1: a number is expected");
    EXPECT_EQ(error("solid a\nfacet 0 0 1"), "line 2, column 7: normal is expected");
    EXPECT_EQ(error("solid a\nfacet normal 0 0 1\nloop"), "line 3, column 1: outer is expected");
    EXPECT_EQ(error("solid a\nfacet normal 0 0 1\nouter  vertex"),
              "line 3, column 8: loop is expected");
    EXPECT_EQ(error(start + "vertex 0 1 abc\n"), "line 6, column 12: a number is expected");
    EXPECT_EQ(error(start + "endloop\n"), "line 6, column 1: vertex is expected");
    EXPECT_EQ(error(start + "vertex 0 1 0\nvertex 1 1 1\n"),
              "line 7, column 1: endloop is expected");
    EXPECT_EQ(error(start + "vertex 0 1 0\nendloop\nfacet"),
              "line 8, column 1: endfacet is expected");
    EXPECT_EQ(error(start + "vertex 0 1"),
              "line 6, column 11: a number is expected, and the file ends");
    EXPECT_EQ(error("solid a\n" + text_of(lower)),
              "line 9, column 1: facet or endsolid is expected, and the file ends");
}

TEST(stl_mesh, a_fault_in_a_binary_file_says_what_is_there) {
    const auto error = [](const std::string& bytes) {
        const read_file file = read(bytes);
        EXPECT_EQ(file.code, -102);
        return file.error();
    };
    const std::string bytes = binary_of({lower, upper, beside});
    EXPECT_EQ(error(bytes.substr(0, 200)), "facet 3 of 3 is expected, and the file ends");
    EXPECT_EQ(error(bytes.substr(0, 84)), "facet 1 of 3 is expected, and the file ends");
    EXPECT_EQ(error(""), "neither the word solid nor the 84 bytes before binary facets");
    EXPECT_EQ(error(bytes.substr(0, 83)),
              "neither the word solid nor the 84 bytes before binary facets");
    EXPECT_EQ(error(std::string(300, '\0')), "a number of facets is expected in byte 81");
    EXPECT_EQ(error(std::string(80, 'x') + "\xFF\xFF\xFF\xFF" + std::string(100, 'x')),
              "facet 3 of 4294967295 is expected, and the file ends");
}

TEST(stl_mesh, binary_files_whose_header_begins_with_solid_are_binary) {
    const std::string bytes = binary_of({lower, upper}, "solid by another program");
    EXPECT_EQ(read(bytes).nbr_facets(), 2U);
    EXPECT_EQ(read(bytes + "more").nbr_facets(), 2U);
    EXPECT_EQ(read(bytes.substr(0, bytes.size() - 1)).error(),
              "facet 2 of 2 is expected, and the file ends");
}

// More than is in memory at once.
std::vector<facet> strip_of_facets() {
    std::vector<facet> facets;
    for (int k = 0; k < 2000; ++k) {
        const auto x = static_cast<float>(k);
        facets.push_back({x, 0, 0, x + 1, 0, 0, x, 1, 0});
    }
    return facets;
}

TEST(stl_mesh, long_texts_in_the_usual_spelling_are_read_like_binary_files) {
    const std::vector<facet> facets = strip_of_facets();
    const read_file binary = read(binary_of(facets));
    ASSERT_EQ(binary.nbr_facets(), facets.size());
    for (const char* const line_end : {"\n", "\r\n", "\r", " \t\n"}) {
        std::string text = std::string("solid") + line_end;
        for (const facet& f : facets) text += text_of(f, line_end);
        const read_file file = read(text + "endsolid");
        EXPECT_EQ(list(file.m.pos), list(binary.m.pos));
        EXPECT_EQ(list(file.m.connect), list(binary.m.connect));
        EXPECT_EQ(file.report.counts()[1].read, facets.size());
        // Lines are counted, and words must not be joined to numbers.
        EXPECT_EQ(read(text + "facet normal0 0 1").error(),
                  "line 14002, column 7: normal is expected");
        EXPECT_EQ(
            read(text + "facet normal 0 0 1" + line_end + "outer loop" + line_end + " vertex0 0 0")
                .error(),
            "line 14004, column 2: vertex is expected");
    }
}

TEST(stl_mesh, facets_without_finite_coordinates_may_fill_blocks_of_a_binary_file) {
    std::vector<facet> facets = strip_of_facets();
    for (std::size_t k = 0; k < 1200; ++k) facets[k][3] = std::numeric_limits<float>::infinity();
    facets[1999][8] = std::numeric_limits<float>::quiet_NaN();
    const read_file file = read(binary_of(facets));
    EXPECT_EQ(file.sentences()[0], "facet: 1201 left out: a coordinate is no finite number");
    EXPECT_EQ(list(file.m.connect),
              list(read(binary_of({facets.begin() + 1200, facets.end() - 1})).m.connect));
}

// The same facets in a text of any layout: words in any case, blanks and line ends of any kind.
std::string spelled_text(const std::vector<facet>& facets, random_source& random) {
    std::string plain = text_of(facets);
    const std::string line_end = random.one_of(std::vector<std::string>{"\n", "\r\n", "\r"});
    std::string text = random.one_in(4) ? "\xEF\xBB\xBF" : "";
    bool is_first_line = true;
    for (const char c : plain) {
        if (c == '\n') {
            const bool must_end = is_first_line;
            is_first_line = false;
            text += must_end || random.one_in(2) ? line_end : " \t";
            if (random.one_in(8)) text += line_end + "  " + line_end;
        } else if (c == ' ') {
            text += random.one_in(5) ? "\t  " : " ";
        } else {
            const int upper_case = std::toupper(static_cast<unsigned char>(c));
            text += random.one_in(3) ? static_cast<char>(upper_case) : c;
        }
    }
    if (random.one_in(2)) text.resize(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

std::vector<facet> random_facets(random_source& random) {
    std::vector<facet> facets(random.below(30));
    for (facet& f : facets) {
        for (float& x : f) {
            x = static_cast<float>(random.below(4)) + (random.one_in(6) ? 0.001F : 0.0F);
        }
    }
    return facets;
}

TEST(stl_mesh, equals_what_the_plain_reader_makes_of_the_same_facets) {
    random_source random(17);
    unsigned int nbr_compared = 0;
    for (std::uint64_t k = 0; k < nbr_runs(500); ++k) {
        const std::vector<facet> facets = random_facets(random);
        const scratch_stream stream(binary_of(facets));
        dense2D<double> pos;
        dense2D<unsigned int> connect;
        ASSERT_EQ(STL_input(stream.get(), pos, connect), 0);
        for (const std::string& contents : {binary_of(facets), binary_of(facets, "solid"),
                                            text_of(facets), spelled_text(facets, random)}) {
            const read_file file = read(contents);
            if (connect.empty() && !facets.empty()) {
                ASSERT_EQ(file.code, -102);
                continue;
            }
            ASSERT_EQ(file.code, 0) << file.error() << '\n' << contents;
            ASSERT_EQ(list(file.m.pos), list(pos));
            ASSERT_EQ(list(file.m.connect), list(connect));
            ++nbr_compared;
        }
    }
    EXPECT_GT(nbr_compared, 1000U);
}

TEST(stl_mesh, a_solid_has_the_facets_between_its_words) {
    random_source random(23);
    for (int k = 0; k < 200; ++k) {
        std::string text;
        std::vector<std::vector<facet>> solids(1 + random.below(5));
        std::vector<facet> all;
        for (std::size_t s = 0; s < solids.size(); ++s) {
            solids[s] = random_facets(random);
            all.insert(all.end(), solids[s].begin(), solids[s].end());
            text += "solid s" + std::to_string(s) + "\n";
            for (const facet& f : solids[s]) text += text_of(f, " ");
            text += "\nendsolid\n";
        }
        const read_file file = read(text);
        if (file.code != 0) continue;
        std::size_t nbr_in_sets = 0;
        for (const named_set& set : file.m.element_sets) nbr_in_sets += set.ids.size();
        ASSERT_EQ(nbr_in_sets, file.nbr_facets());
        for (const named_set& set : file.m.element_sets) {
            const std::size_t s = static_cast<std::size_t>(set.name[1] - '0');
            for (const unsigned int c : set.ids) {
                // Welding moves corners by little: one of the facets of the solid is near.
                const bool is_there =
                    std::any_of(solids[s].begin(), solids[s].end(), [&](const facet& f) {
                        for (std::size_t i = 0; i < 9; ++i) {
                            const double x = file.m.pos(i % 3, file.m.connect(i / 3, c));
                            if (std::fabs(x - double{f[i]}) > 0.2) return false;
                        }
                        return true;
                    });
                ASSERT_TRUE(is_there);
            }
        }
    }
}

TEST(stl_mesh, cut_off_at_every_byte_is_a_fault_or_a_shorter_file) {
    const std::string text =
        "solid a\n" + text_of(lower) + "endsolid a\nsolid b\n" + text_of(upper) + "endsolid b\n";
    for (std::size_t size = 0; size < text.size(); ++size) {
        const read_file file = read(text.substr(0, size));
        if (file.code == 0) {
            // The word that ends a solid is there, and the next has not begun.
            EXPECT_EQ(file.nbr_facets(), size < text.size() / 2 + 10 ? 1U : 2U) << size;
        } else {
            EXPECT_EQ(file.code, -102);
        }
    }
    const std::string bytes = binary_of({lower, upper});
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_EQ(read(bytes.substr(0, size)).code, -102) << size;
    }
}

TEST(stl_mesh, garbage_is_refused) {
    random_source random(29);
    for (int k = 0; k < 300; ++k) {
        std::string bytes = random.one_in(2) ? "solid x\n" : "";
        const std::size_t size = random.one_in(100) ? 3000000 : random.below(2000);
        while (bytes.size() < size) bytes += static_cast<char>(random.draw());
        EXPECT_EQ(read(bytes).code, -102);
    }
}

TEST(stl_mesh, comes_through_a_pipe) {
    for (const std::string& contents :
         {text_of({lower, upper}), binary_of({lower, upper}), binary_of({lower, upper}, "solid"),
          binary_of({lower, upper}) + "tail"}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        std::thread writer([&] {
            EXPECT_EQ(write(ends[1], contents.data(), contents.size()),
                      static_cast<ssize_t>(contents.size()));
            close(ends[1]);
        });
        std::FILE* const file = fdopen(ends[0], "rb");
        mesh m;
        file_report report;
        EXPECT_EQ(read_mesh(file, file_format::stl_binary, m, report), 0);
        EXPECT_EQ(m.connect.cols(), 2U);
        EXPECT_TRUE(report.file().empty());
        std::fclose(file);
        writer.join();
    }
}

TEST(stl_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    const std::string text = "solid a long name that is no short string\n" + text_of(lower) +
                             "endsolid\nsolid b\n" + text_of(upper) + text_of(facet{}) +
                             "endsolid\n";
    for (const std::string& contents : {text, binary_of({lower, upper})}) {
        const scratch_file named(contents);
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            mesh m;
            file_report report;
            bool happened = false;
            int code = 0;
            {
                const scratch_stream stream(contents);
                const memory_failure failure(k, and_later);
                code = read_mesh(stream.get(), file_format::stl_text, m, report);
                happened = failure.happened();
            }
            EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
            EXPECT_EQ(m.connect.cols(), code == 0 ? 2U : 0U);
            EXPECT_EQ(m.element_sets.size(), code == 0 && contents == text ? 2U : 0U);
            return happened;
        });
        EXPECT_GT(nbr_failed, 20U);
    }
}

} // namespace
