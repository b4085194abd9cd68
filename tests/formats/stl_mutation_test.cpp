// Reading compared with the plain reader of plain_stl.h on files with random faults.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "formats/plain_stl.h"
#include "formats/scratch_files.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

const std::vector<std::string> odd_spellings{
    "+1",       "1e5",   "1.e-3",     ".5",      "0x10",      "nan",      "inf",     "-inf",
    "infinity", "1e400", "-1e400",    "1e-400",  "1d5",       "1e",       "1e+",     "0x",
    "--1",      "+-1",   "1,5",       "1.5.2",   "nan(12)",   "nan(",     "0X1.8P3", "1_0",
    ".",        "+",     "-",         "e5",      "+.5e+1",    "1e-5x",    "-0",      "-0.0",
    "00012",    "1.",    "1e0000005", "1e99999", "-.0e-9999", "infinite", "in",      "n",
    "0x.p1",    "0x1p",  "4.9e-324",  "2e-324",  "1e-320",    "1.5E+2",   "1 e5",    "0b1",
    "1e5.5",    "0.1e1", "9e15",      "1e22",    "1e23",      "8.5e-24",  "1f",      "\xC2\xA0"};

// A number in one of many spellings, odd ones now and then.
std::string random_spelling(random_source& random) {
    char text[400];
    switch (random.below(12)) {
    case 0:
        if (random.one_in(4)) return random.one_of(odd_spellings);
        return "1";
    case 1: std::snprintf(text, sizeof text, "%.17g", random.uniform(-2, 2)); break;
    case 2: std::snprintf(text, sizeof text, "%.6e", random.uniform(-2, 2)); break;
    case 3: std::snprintf(text, sizeof text, "%.9E", random.uniform(-2, 2)); break;
    case 4: std::snprintf(text, sizeof text, "%+.3f", random.uniform(-2, 2)); break;
    case 5: {
        // As many digits as it pleases.
        std::string digits = random.one_in(2) ? "-" : "";
        const std::size_t before = random.below(random.one_in(4) ? 30 : 3);
        const std::size_t after = random.below(random.one_in(4) ? 60 : 20);
        for (std::size_t k = 0; k < before; ++k) digits += "0123456789"[random.below(10)];
        if (random.one_in(3) || before == 0) {
            digits += '.';
            for (std::size_t k = 0; k <= after; ++k) digits += "0123456789"[random.below(10)];
        }
        if (random.one_in(3)) {
            digits += random.one_in(2) ? "e-" : "e+";
            digits += std::to_string(random.below(random.one_in(4) ? 330 : 25));
        }
        return digits;
    }
    case 6: {
        // Half way between two doubles, and the neighbours of that.
        const double v = random.uniform(1, 2);
        std::snprintf(text, sizeof text, "%.60Lf",
                      static_cast<long double>(v) + 0x1p-53L +
                          (random.one_in(3)   ? 0x1p-63L
                           : random.one_in(2) ? -0x1p-63L
                                              : 0.0L));
        break;
    }
    default: std::snprintf(text, sizeof text, "%d", static_cast<int>(random.below(4))); break;
    }
    return text;
}

std::string random_vertex(random_source& random) {
    // Mostly small integers, so that vertices meet.
    std::string line = "vertex";
    for (int k = 0; k < 3; ++k) {
        line += ' ';
        line += random.one_in(2) ? std::to_string(random.below(3)) : random_spelling(random);
    }
    return line;
}

std::vector<std::string> random_text_lines(random_source& random) {
    std::vector<std::string> lines;
    const std::size_t nbr_solids = 1 + random.below(3);
    for (std::size_t solid = 0; solid < nbr_solids; ++solid) {
        lines.push_back(random.one_in(3) ? "solid" : "solid part");
        const std::size_t nbr_facets = random.below(5);
        for (std::size_t facet = 0; facet < nbr_facets; ++facet) {
            if (random.one_in(8)) lines.push_back("color 0.5 0.5 1");
            lines.push_back("facet normal 0 0 " + random_spelling(random));
            lines.push_back("outer loop");
            for (int k = 0; k < 3; ++k) lines.push_back(random_vertex(random));
            lines.push_back("endloop");
            lines.push_back("endfacet");
        }
        lines.push_back(random.one_in(3) ? "endsolid" : "endsolid part");
    }
    return lines;
}

std::string joined(random_source& random, const std::vector<std::string>& lines) {
    const std::string line_end = random.one_in(4) ? "\r\n" : "\n";
    const bool indented = random.one_in(2);
    std::string text;
    for (const std::string& line : lines) {
        if (indented) text.append(random.below(8), random.one_in(4) ? '\t' : ' ');
        text += line;
        text += line_end;
    }
    if (random.one_in(6)) text.resize(text.size() - line_end.size());
    return text;
}

void mutate_lines(random_source& random, std::vector<std::string>& lines) {
    static const std::vector<std::string> words{
        "solid",   "endsolid",  "color",      "endsolid color", "facet", "facet normal 0 0 1",
        "endloop", "endfacet",  "outer loop", "vertex 0 0 0",   "",      " ",
        "loop",    "outerloop", "vertex 1 2", "isolide",        "x"};
    std::string& line = lines[random.below(lines.size())];
    const std::size_t at = random.below(lines.size());
    switch (random.below(8)) {
    case 0: line = random.one_of(words); break;
    case 1:
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), random.one_of(words));
        break;
    case 2:
        if (lines.size() > 1) lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
        break;
    case 3: std::swap(line, lines[at]); break;
    case 4: line += " " + random.one_of(words); break;
    case 5: line.insert(random.below(line.size() + 1), 200 + random.below(120), ' '); break;
    case 6: line += std::string(random.below(300), 'x'); break;
    default:
        for (char& c : line) {
            if (c >= 'a' && c <= 'z' && random.one_in(2)) c = static_cast<char>(c - 'a' + 'A');
        }
        break;
    }
}

void mutate_bytes(random_source& random, std::string& bytes) {
    if (bytes.empty()) return;
    const std::size_t at = random.below(bytes.size());
    static constexpr char likely[] = " \t\v\f\n\r\0.-+eE0123456789xnaif";
    switch (random.below(5)) {
    case 0: bytes.erase(at, 1 + random.below(3)); break;
    case 1: bytes.insert(at, 1, likely[random.below(sizeof likely - 1)]); break;
    case 2: bytes[at] = likely[random.below(sizeof likely - 1)]; break;
    case 3: bytes[at] = static_cast<char>(random.below(256)); break;
    default: {
        const std::size_t blank = bytes.find(' ', at);
        if (blank != std::string::npos) bytes.erase(blank, 1);
        break;
    }
    }
}

dense2D<double> matrix_of(const std::vector<std::vector<double>>& points) {
    dense2D<double> pos(points.empty() ? 0 : 3, points.size());
    for (std::size_t c = 0; c < points.size(); ++c) {
        std::copy(points[c].begin(), points[c].end(), pos.column(c));
    }
    return pos;
}

// Code, arrays and the place where the stream is left.
testing::AssertionResult same_as_plain_reader(const std::string& bytes, int* code = nullptr) {
    const scratch_stream plain_stream(bytes);
    const surface expected = plain_stl_reader(plain_stream.get()).read();
    const scratch_stream stream(bytes);
    dense2D<double> pos(1, 1, 5.0);
    dense2D<unsigned int> connect(1, 1, 5U);
    const int result = STL_input(stream.get(), pos, connect);
    if (code) *code = result;
    if (result != expected.code) {
        return testing::AssertionFailure()
               << "code " << result << " in place of " << expected.code << " for\n"
               << bytes;
    }
    if (list(connect) != expected.triangles) {
        return testing::AssertionFailure() << "other triangles for\n" << bytes;
    }
    if (!same_bits(pos, matrix_of(expected.points))) {
        return testing::AssertionFailure() << "other points for\n" << bytes;
    }
    if (std::ftell(stream.get()) != std::ftell(plain_stream.get())) {
        return testing::AssertionFailure()
               << "left at " << std::ftell(stream.get()) << " in place of "
               << std::ftell(plain_stream.get()) << " for\n"
               << bytes;
    }
    return testing::AssertionSuccess();
}

TEST(stl_mutation, texts_with_and_without_faults) {
    unsigned int nbr_read = 0;
    for (std::uint64_t seed = 0; seed < nbr_runs(12000); ++seed) {
        random_source random(seed);
        std::vector<std::string> lines = random_text_lines(random);
        if (random.one_in(3)) mutate_lines(random, lines);
        std::string text = joined(random, lines);
        if (random.one_in(4)) mutate_bytes(random, text);
        int code = 0;
        ASSERT_TRUE(same_as_plain_reader(text, &code)) << "seed " << seed;
        nbr_read += code == 0;
    }
    // Faults are few enough for the mesh to be looked at.
    EXPECT_GT(nbr_read, 3000U);
}

TEST(stl_mutation, texts_with_many_faults) {
    for (std::uint64_t seed = 0; seed < nbr_runs(4000); ++seed) {
        random_source random(seed + 100000);
        std::vector<std::string> lines = random_text_lines(random);
        for (std::size_t k = random.below(6); k > 0; --k) mutate_lines(random, lines);
        std::string text = joined(random, lines);
        for (std::size_t k = random.below(8); k > 0; --k) mutate_bytes(random, text);
        ASSERT_TRUE(same_as_plain_reader(text)) << "seed " << seed;
    }
}

// The text with another facet in front of its first.
std::string behind_a_facet(std::string text) {
    const std::string facet = "  facet normal 0 0 1\n    outer loop\n      vertex 7 0 0\n"
                              "      vertex 8 0 0\n      vertex 7 1 0\n    endloop\n"
                              "  endfacet\n";
    return text.insert(text.find('\n') + 1, facet);
}

// Facets as most programs write them, more than any block takes at once.
TEST(stl_mutation, long_texts_with_few_faults) {
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
        random_source random(seed + 200000);
        std::string text = "solid " + std::string(seed, 'x') + "\n";
        const auto put_numbers = [&](const char* word) {
            text += word;
            for (int i = 0; i < 3; ++i) {
                char number[30];
                std::snprintf(number, sizeof number, random.one_in(3) ? " %g" : " %le",
                              static_cast<double>(random.below(200)) / 8);
                text += number;
            }
            text += '\n';
        };
        while (text.size() < 80000) {
            put_numbers("  facet normal");
            text += "    outer loop\n";
            for (int i = 0; i < 3; ++i) put_numbers("      vertex");
            text += "    endloop\n  endfacet\n";
            if (random.one_in(100)) text += "color\n";
            if (random.one_in(100)) text += "endsolid\nsolid\n";
        }
        text += "endsolid\n";
        if (seed % 3 == 0) mutate_bytes(random, text);
        int code = 0;
        ASSERT_TRUE(same_as_plain_reader(text, &code)) << "seed " << seed;
        EXPECT_TRUE(seed % 3 == 0 || code == 0);
    }
}

// One number at a time, so that each spelling is judged on its own.
TEST(stl_mutation, every_spelling_of_a_number_in_every_place) {
    random_source random(7);
    std::vector<std::string> spellings = odd_spellings;
    for (int k = 0; k < 3000; ++k) spellings.push_back(random_spelling(random));
    for (const std::string& spelling : spellings) {
        for (const char* const form : {"vertex %s 0 0\n", "vertex 0 %s 0\n", "vertex 0 0 %s\n",
                                       "vertex 0 0 %s", "vertex%s 1 2\n", "vertex 1\t%s\v3\n"}) {
            char line[600];
            std::snprintf(line, sizeof line, form, spelling.c_str());
            const std::string text = std::string("solid\nfacet normal 0 0 1\nouter loop\n") + line +
                                     (line[std::strlen(line) - 1] == '\n' ? "" : "\n") +
                                     "vertex 5 0 0\nvertex 0 5 0\nendloop\nendfacet\nendsolid\n";
            ASSERT_TRUE(same_as_plain_reader(text)) << form << ' ' << spelling;
            ASSERT_TRUE(same_as_plain_reader(behind_a_facet(text))) << form << ' ' << spelling;
        }
        const std::string normal = "solid\nfacet normal " + spelling + " " + spelling + " " +
                                   spelling +
                                   "\nouter loop\nvertex 0 0 0\nvertex 5 0 0\nvertex 0 5 0\n"
                                   "endloop\nendfacet\nendsolid\n";
        ASSERT_TRUE(same_as_plain_reader(normal)) << spelling;
        ASSERT_TRUE(same_as_plain_reader(behind_a_facet(normal))) << spelling;
    }
}

TEST(stl_mutation, lines_of_every_length_around_the_limit) {
    for (const char* const padded : {"solid", "facet normal 0 0 1", "outer loop", "vertex 1 0 0",
                                     "endloop", "endfacet", "endsolid", "color"}) {
        for (std::size_t length = 250; length <= 260; ++length) {
            for (const bool in_front : {false, true}) {
                std::string text = "solid\ncolor\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\n"
                                   "vertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid\n";
                const std::string word(padded);
                const std::size_t at = text.find(word);
                text.insert(in_front ? at : at + word.size(), length - word.size(), ' ');
                ASSERT_TRUE(same_as_plain_reader(text)) << padded << ' ' << length;
                const std::string behind = behind_a_facet(text);
                ASSERT_TRUE(same_as_plain_reader(behind)) << padded << ' ' << length;
            }
        }
    }
}

std::string random_binary(random_source& random) {
    const std::size_t nbr_facets = random.below(6);
    std::string bytes = random.one_in(2) ? "solid" : "";
    bytes.resize(80, random.one_in(2) ? ' ' : '\n');
    append_bytes(bytes, static_cast<std::int32_t>(nbr_facets));
    for (std::size_t facet = 0; facet < nbr_facets; ++facet) {
        for (int k = 0; k < 12; ++k) {
            append_bytes(bytes,
                         static_cast<float>(random.below(3)) * (random.one_in(3) ? 1.001F : 1.0F));
        }
        append_bytes(bytes, static_cast<std::uint16_t>(random.draw()));
    }
    return bytes;
}

TEST(stl_mutation, binary_files_with_and_without_faults) {
    for (std::uint64_t seed = 0; seed < nbr_runs(6000); ++seed) {
        random_source random(seed + 200000);
        std::string bytes = random_binary(random);
        for (std::size_t k = random.below(4); k > 0; --k) {
            const std::size_t at = random.below(bytes.size());
            switch (random.below(5)) {
            case 0: bytes[at] = static_cast<char>(random.below(256)); break;
            case 1: bytes.resize(at + 1); break;
            case 2:
                bytes[std::min<std::size_t>(80 + random.below(4), bytes.size() - 1)] ^= 1;
                break;
            case 3: bytes += "behind"; break;
            default:
                // Exponents of all ones, for what is infinite or no number.
                if (at + 4 <= bytes.size() && at >= 84) bytes.replace(at, 2, "\x80\x7F");
                break;
            }
        }
        ASSERT_TRUE(same_as_plain_reader(bytes)) << "seed " << seed;
    }
}

} // namespace
