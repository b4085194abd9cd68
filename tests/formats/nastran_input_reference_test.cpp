// The NASTRAN reader compared with the plain one.
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "formats/nastran_cards.h"
#include "support/random.h"
#include "tessmaker/formats.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

TEST(nastran_input, truncated_at_every_byte) {
    std::string text =
        "$ comment\nBEGIN BULK\n" + card("GRID", {"2", "", "1.5", "2.5-1", "3.E+1"}) +
        "GRID,1,0,1.,2.,3.,0\nGRID,3,,1.,2.,3.\n" +
        card("GRID*", {"4", "", "1.25", "-2.5", "*N"}, 16) + card("*N", {"3.75+1"}, 16) +
        element_card("CHEXA", 20, 's') + card("CHEXA", {"1", "1", "1", "2", "3", "4", "5", "6"}) +
        card("", {"7", "8"}) + element_card("CHEXA", 8, 'l') + element_card("CPENTA", 15, 'f') +
        "CTRIA6,1,2,3,4,5,6,7,8\r\n" + "CBAR,1,1,1,2,\n,,,\nENDDATA\nGRID,0\n";
    for (std::size_t size = 0; size <= text.size(); ++size) {
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size))) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + "\n")) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + "\nCTRIA3,1,2,3,4,5\n")) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(size))) << size;
        ASSERT_TRUE(same_as_plain_reader(text.substr(0, size) + '\0' + text.substr(size))) << size;
    }
}

const std::vector<std::string> odd_integers{"",
                                            "0",
                                            "-1",
                                            "+7",
                                            "1.",
                                            "0.5",
                                            ".5",
                                            "1e3",
                                            "x",
                                            "12x",
                                            "2147483647",
                                            "2147483648",
                                            "-2147483648",
                                            "4294967295",
                                            "4294967296",
                                            "4294967297",
                                            "99999999",
                                            "9999999999999999",
                                            "999999999999999999",
                                            "00000012",
                                            "0x10",
                                            "1 2",
                                            "- 1",
                                            "--1",
                                            "+",
                                            "-",
                                            "+-1",
                                            "\t3",
                                            "3\t",
                                            "\xC2\xA0",
                                            "*",
                                            "+*",
                                            "1\r",
                                            "$",
                                            "'",
                                            "1,2",
                                            "1*2",
                                            "65536",
                                            "65537",
                                            "10000000000",
                                            "-99999999999999",
                                            "\v5",
                                            "5\f",
                                            "12345678",
                                            "123456789"};

const std::vector<std::string> odd_reals{"",          "0",
                                         "1",         "-1.",
                                         ".5",        "1.5E3",
                                         "1.5e-3",    "1.5+3",
                                         "1.5-3",     "-1.5-3",
                                         "+1.5+3",    "1.5D+3",
                                         "1.5D3",     "1.5 + 3",
                                         "1.5E +3",   "1.+",
                                         "1.-",       "-",
                                         "+",         "--1",
                                         "1-2-3",     "1+2E3",
                                         "1E2+3",     "nan",
                                         "-nan",      "inf",
                                         "-inf",      "inf-1",
                                         "nan+2",     "0x1p-3",
                                         "0x1.8",     "1e400",
                                         "1e-400",    "1.+400",
                                         "1.-400",    "1.-320",
                                         "4.9-324",   "1,5",
                                         "1.5.2",     "x",
                                         "1.5x",      "1e",
                                         "1E+",       "1.e-",
                                         "0x",        "0x.p1",
                                         "0x1p",      "0X1.8P+3",
                                         "nan(12)",   "nan(",
                                         "infinity",  "infin",
                                         "in",        "n",
                                         "1e5.5",     "+-1",
                                         "1e0000005", "1e99999",
                                         "-.0e-9999", "4.9e-324",
                                         "2e-324",    "1.7976931348623159e308",
                                         "0b1",       "1_0",
                                         ".",         "e5",
                                         "1d5",       "E+3",
                                         "e-3",       "-E+3",
                                         "1.\t5",     "1.5+3x",
                                         "1.5+ 3",    "1.5+99999",
                                         "1.5-0",     "1.5+00",
                                         "0.1-17",    "3.3+15",
                                         "1.7+308",   "1E+308+1"};

std::string random_integer(random_source& random) {
    if (random.one_in(25)) return random.one_of(odd_integers);
    return std::to_string(random.below(random.one_in(10) ? 40000 : 40));
}

std::string random_real(random_source& random) {
    if (random.one_in(12)) return random.one_of(odd_reals);
    char text[40];
    static const char* const formats[] = {"%.1f", "%.3f", "%.6E", "%.10f", "%.9e", "%g", "%+.2f"};
    std::snprintf(text, sizeof text, formats[random.below(7)],
                  random.uniform(-1, 1) * std::pow(10.0, static_cast<double>(random.below(9)) - 4));
    std::string number = text;
    if (random.one_in(4)) {
        const std::size_t letter = number.find_first_of("eE");
        if (letter != std::string::npos) number.erase(letter, 1);
    }
    return number;
}

// A number in a field of the width, left or right or anywhere in it.
std::string in_field(random_source& random, std::string number, std::size_t width) {
    if (number.size() >= width) return number.substr(0, random.one_in(4) ? number.size() : width);
    const std::size_t gap = width - number.size();
    const std::size_t before = random.one_in(2) ? 0 : random.one_in(2) ? gap : random.below(gap);
    return std::string(before, ' ') + number + std::string(gap - before, ' ');
}

std::string random_mark(random_source& random, char first) {
    static const std::vector<std::string> tails{"", "", "C", "E1", "  ", "CONT", "1234567", "x y"};
    return first + random.one_of(tails);
}

std::vector<std::string> random_node(random_source& random) {
    const std::string id =
        random.one_in(20) ? random.one_of(odd_integers) : std::to_string(1 + random.below(60));
    const std::string system = random.one_in(2) ? "" : random_integer(random);
    const std::string xyz[] = {random_real(random), random_real(random), random_real(random)};
    switch (random.below(4)) {
    case 0: {
        std::string line = "GRID,";
        for (const std::string& text : {id, system, xyz[0], xyz[1], xyz[2]}) {
            line += random.one_in(6) ? " " + text + "  ," : text + ",";
        }
        if (random.one_in(2)) line.pop_back();
        if (random.one_in(3)) line += "0,1,2,3";
        return {line};
    }
    case 1: {
        std::string first = "GRID*   " + in_field(random, id, 16) + in_field(random, system, 16);
        first += in_field(random, xyz[0], 16) + in_field(random, xyz[1], 16);
        if (random.one_in(2)) first += random_mark(random, '*');
        std::string second = random_mark(random, '*');
        second.resize(8, ' ');
        return {first, second + in_field(random, xyz[2], 16)};
    }
    default: {
        std::string line = "GRID    ";
        for (const std::string& text : {id, system, xyz[0], xyz[1], xyz[2]}) {
            line += in_field(random, text, 8);
        }
        return {line};
    }
    }
}

std::vector<std::string> random_element(random_source& random) {
    static const std::vector<std::string> others{"MAT1",   "PSHELL", "FORCE",  "ctria3", "CTRIA",
                                                 "CQUADR", "CBUSH",  "CELAS1", "",       "CTRIA3 "};
    static constexpr element_type second_order[] = {ET_TETRA10, ET_PYRA13, ET_PENTA15, ET_HEXA20};
    const auto& [name, type] = keywords[random.below(std::size(keywords))];
    std::string keyword = random.one_in(15) ? random.one_of(others) : name;
    std::size_t n = nbr_nodes(type);
    if (element_dim(type) == 3 && random.one_in(2)) {
        for (const element_type t : second_order) {
            if (nbr_base_nodes(t) == nbr_base_nodes(type)) n = nbr_nodes(t);
        }
    }
    if (random.one_in(12)) n = random.below(24);
    std::vector<std::string> numbers;
    for (std::size_t k = 0; k < n + 2; ++k) numbers.push_back(random_integer(random));

    std::vector<std::string> lines;
    char layout = "slf"[random.below(3)];
    std::string start = keyword;
    for (std::size_t at = 0; at == 0 || at < numbers.size();) {
        if (random.one_in(30)) layout = "slf"[random.below(3)];
        const std::size_t full = layout == 'l' ? 4 : 8;
        const std::size_t per_line = random.one_in(20) ? random.below(full + 2) + 1 : full;
        const std::size_t end = std::min(at + per_line, numbers.size());
        const bool more = end < numbers.size();
        std::string line = start;
        const char mark = layout == 'l' ? '*' : '+';
        if (layout == 'f') {
            for (std::size_t k = at; k < end; ++k) line += "," + numbers[k];
            if (more != random.one_in(15)) line += "," + random_mark(random, mark);
            if (random.one_in(25)) line += ",";
        } else {
            const std::size_t width = layout == 'l' ? 16 : 8;
            if (layout == 'l' && at == 0) line += "*";
            line.resize(8, ' ');
            for (std::size_t k = at; k < end; ++k) line += in_field(random, numbers[k], width);
            if (more && !random.one_in(4)) {
                if (line.size() < 72) line.resize(72, ' ');
                line += random_mark(random, mark);
            } else if (layout == 'l' && random.one_in(8)) {
                line += std::string(random.below(30), ' ') + "*";
            }
        }
        lines.push_back(line);
        at = std::max(end, at + 1);
        start = random.one_in(3) ? "" : random_mark(random, mark);
    }
    return lines;
}

void mutate_lines(random_source& random, std::vector<std::string>& lines) {
    static const std::vector<std::string> words{
        "BEGIN BULK", "ENDDATA", "$",     "$ ENDDATA", "GRID",      "GRID*",  "",
        " ",          "+",       "*",     ",",         "        1", "CTRIA3", "CEND",
        "\r",         " GRID",   "CBAR*", ",,,,",      "*,,,",      "GRID,"};
    if (lines.empty()) return;
    std::string& line = lines[random.below(lines.size())];
    const std::size_t at = random.below(lines.size());
    switch (random.below(10)) {
    case 0: line = random.one_of(words); break;
    case 1:
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), random.one_of(words));
        break;
    case 2: lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at)); break;
    case 3: std::swap(line, lines[at]); break;
    case 4: line += random.one_of(words); break;
    case 5: line.insert(random.below(line.size() + 1), random.below(300), ' '); break;
    case 6: line += std::string(random.below(300), 'x'); break;
    case 7: line.insert(0, random.one_of(words)); break;
    case 8: line.insert(random.below(line.size() + 1), random.one_of(words)); break;
    default: line.resize(random.below(line.size() + 1)); break;
    }
}

void mutate_bytes(random_source& random, std::string& bytes) {
    if (bytes.empty()) return;
    const std::size_t at = random.below(bytes.size());
    static constexpr char likely[] = " \t\v\f\n\r\0.-+eE0123456789,,,***$GRID";
    switch (random.below(5)) {
    case 0: bytes.erase(at, 1 + random.below(3)); break;
    case 1: bytes.insert(at, 1, likely[random.below(sizeof likely - 1)]); break;
    case 2: bytes[at] = likely[random.below(sizeof likely - 1)]; break;
    case 3: bytes[at] = static_cast<char>(random.below(256)); break;
    default: {
        const std::size_t end = bytes.find('\n', at);
        if (end != std::string::npos) bytes.erase(end, 1);
        break;
    }
    }
}

std::vector<std::string> random_lines(random_source& random) {
    std::vector<std::string> lines;
    for (std::size_t k = random.below(12); k > 0; --k) {
        const auto more = random.one_in(3) ? random_node(random) : random_element(random);
        lines.insert(lines.end(), more.begin(), more.end());
        if (random.one_in(20)) lines.push_back("$ comment");
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

TEST(nastran_input_as_the_plain_reader, on_random_decks) {
    int nbr_stored = 0;
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        int nbr_here = 0;
        ASSERT_TRUE(same_as_plain_reader(joined(random, random_lines(random)), &nbr_here))
            << "seed " << seed;
        nbr_stored += nbr_here;
    }
    EXPECT_GT(nbr_stored, 8000); // mostly elements that count
}

TEST(nastran_input_as_the_plain_reader, on_decks_with_faults) {
    const std::uint64_t n = nbr_runs(12000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed + 1000000);
        std::vector<std::string> lines = random_lines(random);
        for (std::size_t k = random.below(4); k > 0; --k) mutate_lines(random, lines);
        std::string text = joined(random, lines);
        for (std::size_t k = random.below(6); k > 0; --k) mutate_bytes(random, text);
        ASSERT_TRUE(same_as_plain_reader(text)) << "seed " << seed;
    }
}

// One field at a time, so that each spelling is judged on its own.
TEST(nastran_input_as_the_plain_reader, on_every_odd_spelling_in_every_field) {
    random_source random(3);
    std::vector<std::string> reals = odd_reals;
    for (int k = 0; k < 3000; ++k) reals.push_back(random_real(random));
    for (const std::string& text : reals) {
        const std::string eight = (text + std::string(8, ' ')).substr(0, 8);
        const std::string sixteen = (text + std::string(16, ' ')).substr(0, 16);
        ASSERT_TRUE(same_as_plain_reader(card("GRID", {"1", "", eight, eight, eight}))) << text;
        ASSERT_TRUE(same_as_plain_reader(card("GRID*", {"1", "", sixteen, sixteen}, 16) +
                                         card("*", {sixteen}, 16)))
            << text;
        for (const char* const form : {"GRID,1,0,%s,2.,3.\n", "GRID,1,,1.,%s,3.\n",
                                       "GRID,1,0,1.,2.,%s\n", "GRID,1,%s,1.,2.,3.\n"}) {
            char line[200];
            std::snprintf(line, sizeof line, form, text.c_str());
            ASSERT_TRUE(same_as_plain_reader(line)) << text;
        }
    }
    std::vector<std::string> integers = odd_integers;
    for (int k = 0; k < 300; ++k) integers.push_back(random_integer(random));
    for (const std::string& text : integers) {
        const std::string eight = (text + std::string(8, ' ')).substr(0, 8);
        const std::string sixteen = (text + std::string(16, ' ')).substr(0, 16);
        for (std::size_t at = 0; at < 5; ++at) {
            std::vector<std::string> small{"1", "2", "3", "4", "5"};
            small[at] = eight;
            ASSERT_TRUE(same_as_plain_reader(card("CTRIA3", small))) << text;
            if (at < 4) {
                std::vector<std::string> large{"1", "2", "3", "4"};
                large[at] = sixteen;
                ASSERT_TRUE(same_as_plain_reader(card("CBAR*", large, 16))) << text;
            }
            std::vector<std::string> tokens{"1", "2", "3", "4", "5"};
            tokens[at] = text;
            std::string line = "CTRIA3";
            for (const std::string& token : tokens) line += "," + token;
            ASSERT_TRUE(same_as_plain_reader(line + "\n")) << text;
            ASSERT_TRUE(same_as_plain_reader(line)) << text;
        }
        ASSERT_TRUE(same_as_plain_reader(card("GRID", {eight, "", "1."}))) << text;
        ASSERT_TRUE(same_as_plain_reader(card("GRID*", {sixteen, "", "1."}, 16))) << text;
        ASSERT_TRUE(same_as_plain_reader("GRID," + text + ",,1.,2.,3.\n")) << text;
        ASSERT_TRUE(same_as_plain_reader("GRID," + text + ",0,1.,2.,3.\n")) << text;
    }
}

TEST(nastran_input_as_the_plain_reader, on_lines_of_every_length_around_the_limits) {
    const std::string cards[] = {card("CTRIA3", {"1", "2", "3", "4", "5"}),
                                 card("CBAR*", {"1", "2", "3", "4"}, 16),
                                 card("CHEXA", {"1", "2", "3", "4", "5", "6", "7", "8", "+C"}),
                                 "CTRIA3,1,2,3,4,5\n",
                                 "CTRIA3,1,2,3,4,5,+\n",
                                 "GRID,1,,1.,2.,3.\n",
                                 card("GRID", {"1", "", "1.", "2.", "3."}),
                                 card("GRID*", {"1", "", "1.", "2."}, 16),
                                 "$\n",
                                 "BEGIN BULK\n",
                                 "ENDDATA\n"};
    for (const std::string& text : cards) {
        const std::string line = text.substr(0, text.size() - 1);
        for (const std::size_t limit : {80U, 255U, 510U}) {
            for (std::size_t length = limit - 10; length <= limit + 4; ++length) {
                if (length < line.size()) continue;
                for (const char fill : {' ', 'x', ',', '*', '1'}) {
                    const std::string padding(length - line.size(), fill);
                    for (const char* const next : {"+,7,8\n", "        7       8\n", "ENDDATA\n",
                                                   "CTRIA3,1,2,3,4,5\n", "GRID,2,,1.,2.,3.\n"}) {
                        ASSERT_TRUE(same_as_plain_reader(line + padding + "\n" + next));
                        ASSERT_TRUE(same_as_plain_reader(line + padding + next));
                        ASSERT_TRUE(same_as_plain_reader(padding + line + "\n" + next));
                    }
                }
            }
        }
    }
}

// Elements of free fields one below the other, with as many numbers, but for a few.
std::string like_lines(random_source& random, std::size_t nbr_lines) {
    static const std::vector<std::pair<std::string, std::size_t>> cards{
        {"CTRIA3", 3}, {"CQUAD4", 4},  {"CTETRA", 4}, {"CTETRA", 10}, {"TETRA", 4},  {"BAR", 2},
        {"CHEXA", 8},  {"CPENTA", 15}, {"CHEXA", 20}, {"CTRIA", 3},   {"CPYRAM", 5}, {"CBUSH", 2}};
    const auto& [keyword, nbr_nodes] = random.one_of(cards);
    const unsigned int limit = random.one_in(3) ? 100000000U : 200U;
    std::string text;
    for (std::size_t k = 0; k < nbr_lines; ++k) {
        text += keyword;
        for (std::size_t i = 0; i < nbr_nodes + 2; ++i) {
            const bool is_odd = random.one_in(200);
            text += ',';
            text += is_odd ? random.one_of(odd_integers) : std::to_string(random.id_below(limit));
        }
        if (random.one_in(50))
            text += random.one_of(std::vector<std::string>{",", ",+A", " ", ","});
        text += random.one_in(50) ? "\r\n" : "\n";
    }
    return text;
}

TEST(nastran_input_as_the_plain_reader, on_lines_that_are_like_the_one_before) {
    const std::uint64_t n = nbr_runs(4000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed + 2000000);
        std::string text;
        for (std::size_t k = 1 + random.below(3); k > 0; --k) {
            text += like_lines(random, random.below(12));
            if (random.one_in(3)) text += "GRID,7,0,1.,2.,3.\n";
        }
        if (random.one_in(3)) text += "ENDDATA\nCBAR,1,1,1,2\nCBAR,1,1,1,2\n";
        if (random.one_in(2)) mutate_bytes(random, text);
        if (random.one_in(4) && !text.empty()) text.resize(random.below(text.size()));
        ASSERT_TRUE(same_as_plain_reader(text)) << "seed " << seed;
    }
}

// More than any block takes at once, with lines across all block ends.
TEST(nastran_input_as_the_plain_reader, on_many_lines_that_are_like_the_one_before) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        random_source random(seed + 3000000);
        int nbr_stored = 0;
        std::string text(seed, '\n');
        while (text.size() < 100000) text += like_lines(random, 500);
        ASSERT_TRUE(same_as_plain_reader(text, &nbr_stored)) << "seed " << seed;
        EXPECT_GT(nbr_stored, 100);
    }
}

TEST(nastran_input_as_the_plain_reader, on_odd_spellings_in_a_line_like_the_one_before) {
    const std::string plain = "CTRIA3,1,2,3,4,5\n";
    for (const std::string& text : odd_integers) {
        for (std::size_t at = 0; at < 6; ++at) {
            std::vector<std::string> tokens{"CTRIA3", "1", "2", "3", "4", "5"};
            tokens[at] = text;
            std::string line = tokens[0];
            for (std::size_t i = 1; i < tokens.size(); ++i) line += "," + tokens[i];
            const std::string lines = plain + plain + line + "\n" + plain + plain;
            ASSERT_TRUE(same_as_plain_reader(lines)) << text;
        }
    }
    const std::string lines = plain + plain + plain;
    for (std::size_t size = 0; size <= lines.size(); ++size) {
        ASSERT_TRUE(same_as_plain_reader(lines.substr(0, size))) << size;
        ASSERT_TRUE(same_as_plain_reader(lines.substr(0, size) + '\0' + lines.substr(size)))
            << size;
    }
}

} // namespace
