// The FEMAP reader compared with the plain one.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "formats/femap_files.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;
using namespace test::femap_parts;

namespace {

const std::string small_file =
    "free text\n" + nodes(femap_node("2", "1.5", "-2e1", "+3") + femap_node("1")) +
    elements(femap_element(3, 6, {1, 2, 3, 0, 4}) + "1,5,1,17\n1,2,3,4,5,6,7,8,9,\n" +
             "0,0,0,0,0,0,0,0,0,0\n" + femap_four_lines + unknown + triangle + quadrangle);

TEST(femap_input_as_the_plain_reader, cut_off_at_every_byte) {
    for (std::size_t n = 0; n <= small_file.size(); ++n) {
        ASSERT_TRUE(same_as_plain_femap(small_file.substr(0, n)));
        ASSERT_TRUE(same_as_plain_femap(small_file.substr(0, n) + "\n"));
        ASSERT_TRUE(same_as_plain_femap(small_file.substr(n)));
    }
}

TEST(femap_input_as_the_plain_reader, without_every_line) {
    std::size_t begin = 0;
    while (begin < small_file.size()) {
        const std::size_t end = small_file.find('\n', begin) + 1;
        ASSERT_TRUE(same_as_plain_femap(small_file.substr(0, begin) + small_file.substr(end)));
        begin = end;
    }
}

const std::vector<std::string> odd_fields{
    "",
    "",
    " ",
    "\t",
    "x",
    "-",
    "+",
    ".",
    "0",
    "-0",
    "+0",
    "-1",
    "+7",
    " 7",
    "7 ",
    "7x",
    "7.5",
    "1e1",
    "0x7",
    "0x1p3",
    "nan",
    "-nan",
    "inf",
    "INFINITY",
    "nan(7)",
    "1e400",
    "-1e400",
    "1e-400",
    "5e-324",
    "2e-324",
    "2147483647",
    "2147483648",
    "-2147483648",
    "-2147483649",
    "4294967295",
    "4294967296",
    "4294967297",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775809",
    "99999999999999999999999",
    "--1",
    "+-1",
    "1-1",
    "1.5-3",
    "1d3",
    "1e",
    "1e+",
    "00007",
    "65536",
    "65537",
    "\r",
    "\v",
    "\f7",
    "\xA0",
    "\x85",
    "1.e5",
    ".5e-1",
    "0.1000000000000000055511151231257827021181583404541015625",
    "9007199254740993",
    "1.7976931348623159e308"};

std::string random_field(random_source& random, bool is_real) {
    if (random.one_in(60)) return random.one_of(odd_fields);
    if (!is_real) return std::to_string(random.below(random.one_in(20) ? 100000 : 30));
    char text[60];
    const double value =
        random.uniform(-9, 9) * std::pow(10., static_cast<double>(random.below(30)) - 15);
    std::snprintf(text, sizeof text, random.one_in(2) ? "%.17g" : "%lf", value);
    return text;
}

std::string random_line_of_fields(random_source& random, std::size_t n, bool is_real) {
    if (random.one_in(80)) n += random.below(4);
    if (random.one_in(80)) n -= n != 0;
    std::string line;
    for (std::size_t k = 0; k < n; ++k) {
        line += random_field(random, is_real && k >= 11 && k < 14);
        if (k + 1 < n || !random.one_in(5)) line += ",";
    }
    return line;
}

// Lines of blocks of nodes and elements.
std::vector<std::string> random_lines(random_source& random) {
    std::vector<std::string> lines;
    for (std::size_t block = random.below(4); block > 0; --block) {
        lines.push_back("   -1");
        const std::size_t kind = random.below(8);
        lines.push_back(kind < 3 ? "403" : kind < 7 ? "404" : "405");
        for (std::size_t k = random.below(5); k > 0; --k) {
            if (kind < 3) {
                lines.push_back(std::to_string(1 + random.below(random.one_in(30) ? 70000 : 12)) +
                                "," + random_line_of_fields(random, 14, true));
                if (random.one_in(40)) lines.back() = random_line_of_fields(random, 15, true);
            } else {
                lines.push_back("1," + random_field(random, false) + ",1,17," +
                                std::to_string(random.below(random.one_in(5) ? 15 : 11)) + ",1");
                if (random.one_in(30)) lines.back() = random_line_of_fields(random, 5, false);
                lines.push_back(random_line_of_fields(random, 10, false));
                lines.push_back(random_line_of_fields(random, 10, false));
                lines.insert(lines.end(), 4, "0.,0.,");
                if (random.one_in(40)) lines.pop_back();
            }
        }
        if (!random.one_in(20)) lines.push_back("   -1");
    }
    return lines;
}

std::string joined(random_source& random, const std::vector<std::string>& lines) {
    const std::string line_end = random.one_in(4) ? "\r\n" : "\n";
    std::string text;
    for (const std::string& line : lines) text += line + line_end;
    if (random.one_in(4) && !text.empty()) text.resize(text.size() - line_end.size());
    return text;
}

void mutate_lines(random_source& random, std::vector<std::string>& lines) {
    static const std::vector<std::string> words{"   -1", "-1", "403",  "404",   " 4 0 3 ", "",
                                                " ",     ",",  ",,,,", "1",     "1,2,3,4", "1,2,3",
                                                "0",     "\r", "405",  "   -1 "};
    if (lines.empty()) return;
    std::string& line = lines[random.below(lines.size())];
    const std::size_t at = random.below(lines.size());
    switch (random.below(9)) {
    case 0: line = random.one_of(words); break;
    case 1:
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), random.one_of(words));
        break;
    case 2: lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at)); break;
    case 3: std::swap(line, lines[at]); break;
    case 4: line += random.one_of(words); break;
    case 5: line.insert(random.below(line.size() + 1), random.below(300), ' '); break;
    case 6: line += std::string(random.below(300), ','); break;
    case 7: line.insert(0, random.one_of(words)); break;
    default: line.resize(random.below(line.size() + 1)); break;
    }
}

void mutate_bytes(random_source& random, std::string& bytes) {
    if (bytes.empty()) return;
    static constexpr char likely[] = " \t\v\f\n\r\0.-+eExX0123456789,,,,,naif";
    const std::size_t at = random.below(bytes.size());
    const char c = random.one_in(6) ? static_cast<char>(random.below(256))
                                    : likely[random.below(sizeof likely - 1)];
    switch (random.below(4)) {
    case 0: bytes.erase(at, 1 + random.below(3)); break;
    case 1: bytes.insert(at, 1, c); break;
    case 2: bytes[at] = c; break;
    default: {
        const std::size_t end = bytes.find('\n', at);
        if (end != std::string::npos) bytes.erase(end, 1);
        break;
    }
    }
}

TEST(femap_input_as_the_plain_reader, on_random_files) {
    std::size_t nbr_elements = 0;
    const std::uint64_t n = nbr_runs(5000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        ASSERT_TRUE(same_as_plain_femap(joined(random, random_lines(random)), &nbr_elements))
            << "seed " << seed;
    }
    EXPECT_GT(nbr_elements, n / 2); // mostly files that hold something
}

TEST(femap_input_as_the_plain_reader, on_files_with_faults) {
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed + 1000000);
        std::vector<std::string> lines = random_lines(random);
        for (std::size_t k = random.below(3); k > 0; --k) mutate_lines(random, lines);
        std::string text = joined(random, lines);
        for (std::size_t k = random.below(5); k > 0; --k) mutate_bytes(random, text);
        ASSERT_TRUE(same_as_plain_femap(text)) << "seed " << seed;
    }
}

// Each spelling by itself.
TEST(femap_input_as_the_plain_reader, on_every_odd_spelling) {
    for (const std::string& field : odd_fields) {
        ASSERT_TRUE(same_as_plain_femap(nodes(femap_node(field, "1.", "2.", "3.")))) << field;
        ASSERT_TRUE(same_as_plain_femap(nodes(femap_node("1", field, "2.", "3.")))) << field;
        ASSERT_TRUE(same_as_plain_femap(nodes(femap_node("1", "1.", "2.", field)))) << field;
        for (std::size_t at = 0; at < 5; ++at) {
            std::vector<std::string> fields{"1", "2", "3", "4", "5"};
            fields[at] = field;
            std::string line;
            for (const std::string& f : fields) line += f + (line.size() > 99 ? "" : ",");
            const std::string slots = "1,2,3,4,5,6,7,8,9," + field + "\n";
            ASSERT_TRUE(same_as_plain_femap("404\n" + line + "\n" + slots + slots + triangle))
                << field;
            ASSERT_TRUE(
                same_as_plain_femap("404\n" + line + "\n" + field + "," + slots + slots + triangle))
                << field;
        }
    }
}

// Slot and node lines of every length around the limit of a line.
TEST(femap_input_as_the_plain_reader, on_long_lines) {
    for (std::size_t n = 180; n < 270; ++n) {
        const std::string blanks(n, ' ');
        ASSERT_TRUE(same_as_plain_femap("404\n1,2,1,26,12\n1,2,3,4,5,6,7,8,9," + blanks + "10,\n" +
                                        "1,2,3,4,5,6,7,8,9,10,\n" + femap_four_lines + triangle));
        ASSERT_TRUE(
            same_as_plain_femap("404\n1,2,1,17,2\n1,2,3,4,5,6,7,8,9,10\n1,2,3,4,5,6,7,8,9,10\n" +
                                blanks + "x\n" + femap_four_lines + triangle));
        ASSERT_TRUE(same_as_plain_femap("403\n1,2,3,4,5,6,7,8,9,10,11,1.5,1" + blanks + "2,3\n"));
        ASSERT_TRUE(same_as_plain_femap(blanks + "403\n1,2,3,4,5,6,7,8,9,10,11,1.5,12,3\n"));
        ASSERT_TRUE(same_as_plain_femap("403\n   -1" + blanks + "\n404\n" + triangle));
    }
}

// More than any block takes at once, with lines across all block ends.
TEST(femap_input_as_the_plain_reader, on_large_files) {
    for (std::uint64_t seed = 0; seed < 3; ++seed) {
        random_source random(seed);
        std::string text(seed, '\n');
        std::string lines;
        for (int id = 1; id <= 2000; ++id) {
            lines += femap_node(std::to_string(id), std::to_string(random.uniform(-9, 9)));
        }
        text += nodes(lines);
        lines.clear();
        for (int k = 0; k < 1500; ++k) {
            std::vector<int> slots(20);
            for (int& slot : slots) slot = static_cast<int>(random.below(2001));
            lines += femap_element(k, static_cast<int>(random.below(11)), slots);
        }
        text += elements(lines);
        std::size_t nbr_elements = 0;
        ASSERT_TRUE(same_as_plain_femap(text, &nbr_elements)) << seed;
        EXPECT_EQ(nbr_elements, 1500U);
    }
}

} // namespace
