// The cards of random decks: as they were made, and as the plain reader takes them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/decks.h"
#include "support/random.h"

using namespace test;

namespace {

// A card that any layout can hold: fields of at most eight characters.
struct made_card {
    std::string name;
    std::vector<std::string> fields;
};

std::string random_field(random_source& random) {
    static const std::vector<std::string> texts{
        "",      "",     "0",        "1",    "7.5",  "-1.5-3", "+2",       ".5",  "1.5E+3",
        "THRU",  "abc",  "12345678", "1.D0", "YES",  "-4",     "99999999", "007", "A-1",
        "1.e-3", "GRID", "3*4",      "0.0",  "-.25", "x y",    "00000000", "1",   "23"};
    return random.one_in(2) ? std::to_string(random.below(2000)) : random.one_of(texts);
}

made_card random_made_card(random_source& random) {
    static const std::vector<std::string> names{"GRID",   "CTRIA3", "CHEXA",  "CORD2R", "MAT1",
                                                "CBEAM",  "SPC1",   "BAROR",  "GRDSET", "CQUAD8",
                                                "CTETRA", "X",      "PBEAML", "TABLEM1"};
    made_card card{random.one_of(names), {}};
    const std::size_t n = random.one_in(20) ? random.below(64) : random.below(24);
    for (std::size_t k = 0; k < n; ++k) card.fields.push_back(random_field(random));
    while (!card.fields.empty() && card.fields.back().empty()) card.fields.pop_back();
    return card;
}

std::string in_columns(random_source& random, const std::string& text, std::size_t width) {
    const std::size_t gap = width - text.size();
    const std::size_t before = random.one_in(2) ? 0 : random.below(gap + 1);
    return std::string(before, ' ') + text + std::string(gap - before, ' ');
}

std::string in_any_case(random_source& random, std::string text) {
    if (random.one_in(3)) return text;
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z' && random.one_in(2)) c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// The lines of a card, each in a layout of its own.
class card_writer {
public:
    card_writer(random_source& random, const made_card& card) : random_(random), card_(card) {}

    std::string text() {
        std::size_t at = 0;
        do {
            const bool is_first = at == 0;
            const char layout = "slf"[random_.below(3)];
            const bool is_large = layout == 'l' || (layout == 'f' && random_.one_in(4));
            const std::size_t n = is_large ? 4 : 8;
            const bool is_last = at + n >= card_.fields.size();
            const std::string first = is_first ? first_field(is_large) : continuation(is_large);
            text_ += layout == 'f' ? free_line(first, at, n) : fixed_line(first, at, n);
            if (!is_last) announce(layout == 'f');
            end_line();
            at += n;
        } while (at < card_.fields.size());
        return text_;
    }

private:
    std::string field(std::size_t i) const {
        return i < card_.fields.size() ? card_.fields[i] : "";
    }
    std::string first_field(bool is_large) {
        return in_any_case(random_, card_.name) + (is_large ? "*" : "");
    }
    std::string continuation(bool is_large) {
        if (is_large) return "*" + name_;
        if (!name_.empty() || random_.one_in(2)) return "+" + name_;
        return "";
    }
    std::string fixed_line(const std::string& first, std::size_t at, std::size_t n) {
        std::string line = first;
        line.resize(8, ' ');
        for (std::size_t k = at; k < at + n; ++k) {
            line += in_columns(random_, field(k), n == 4 ? 16 : 8);
        }
        return line;
    }
    std::string free_line(const std::string& first, std::size_t at, std::size_t n) {
        std::string line = first + (random_.one_in(4) ? " ," : ",");
        for (std::size_t k = at; k < at + n; ++k) {
            line += std::string(random_.one_in(3), ' ') + field(k);
            line += std::string(random_.one_in(3), random_.one_in(2) ? ' ' : '\t');
            if (k + 1 < at + n) line += ',';
        }
        return line;
    }
    // A mark for the next line, or none.
    void announce(bool is_free) {
        name_.clear();
        if (random_.one_in(2)) name_ = random_.one_in(2) ? "C1" : "ABCDEF1";
        if (is_free) {
            text_ += "," + (name_.empty() && random_.one_in(2) ? "" : "+" + name_);
        } else if (!name_.empty() || random_.one_in(2)) {
            text_ += (random_.one_in(2) ? "+" : "*") + name_;
        }
    }
    void end_line() {
        while (random_.one_in(2) && text_.back() == ' ') text_.pop_back();
        if (random_.one_in(12)) text_ += "$ of no meaning, +X";
        text_ += "\n";
        if (random_.one_in(15)) text_ += "$ between\n\n   \n";
    }

    random_source& random_;
    made_card card_;
    std::string name_; // of the continuation to come
    std::string text_;
};

testing::AssertionResult is_as_made(const plain_card& card, const made_card& made) {
    if (card.name != made.name) return testing::AssertionFailure() << "name " << card.name;
    for (std::size_t i = 0; i < std::max(card.fields.size(), made.fields.size()); ++i) {
        const std::string expected = i < made.fields.size() ? made.fields[i] : "";
        const std::string text =
            i < card.fields.size() ? plain_strip(card.fields[i].text, " \t") : "";
        if (text != expected)
            return testing::AssertionFailure() << i << ": " << text << ", not " << expected;
    }
    return testing::AssertionSuccess();
}

std::string with_line_ends(random_source& random, const std::string& text) {
    static const std::vector<std::string> ends{"\n", "\n", "\r\n", "\r"};
    const std::string end = random.one_of(ends);
    std::string result;
    for (const char c : text) result += c == '\n' ? end : std::string(1, c);
    return result;
}

TEST(deck_lexer_on_random_decks, finds_the_cards_that_were_written_whatever_their_layout) {
    std::size_t nbr_fields = 0;
    const std::uint64_t n = nbr_runs(6000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        std::vector<made_card> made;
        std::string text = random.one_in(3) ? "SOL 101\nCEND\nTITLE=GRID,1\nbegin  bulk\n" : "";
        for (std::size_t k = random.below(8); k > 0; --k) {
            made.push_back(random_made_card(random));
            text += card_writer(random, made.back()).text();
            nbr_fields += made.back().fields.size();
        }
        if (random.one_in(2)) text += random.one_in(2) ? "ENDDATA" : "enddata 12\nGRID,1\n";
        text = with_line_ends(random, text);
        const read_cards read = read_all_cards(text);
        ASSERT_EQ(read.cards.size(), made.size()) << "seed " << seed << "\n" << text;
        for (std::size_t k = 0; k < made.size(); ++k) {
            ASSERT_TRUE(is_as_made(read.cards[k], made[k])) << "seed " << seed << "\n" << text;
        }
        ASSERT_TRUE(same_as_plain_deck(text)) << "seed " << seed;
    }
    EXPECT_GT(nbr_fields, 20 * n);
}

// Files that may be included, and the ways to do so.
files_by_name random_files(random_source& random) {
    files_by_name files;
    for (const char* const name : {"a.bdf", "b.bdf", "c d"}) {
        std::string text;
        for (std::size_t k = random.below(4); k > 0; --k) {
            text += card_writer(random, random_made_card(random)).text();
        }
        files[name] = with_line_ends(random, text);
    }
    return files;
}

const std::vector<std::string> likely{"GRID",
                                      "CTRIA3",
                                      "*",
                                      "+",
                                      "$",
                                      ",",
                                      "\n",
                                      " ",
                                      "        ",
                                      "\t",
                                      "\r",
                                      "\r\n",
                                      "ENDDATA",
                                      "BEGIN BULK",
                                      "begin\tbulk",
                                      "INCLUDE ",
                                      "include 'a.bdf'\n",
                                      "\ninclude 'a.bdf' ",
                                      "\nINCLUDE b.bdf\n",
                                      "'",
                                      "\"",
                                      "\nINCLUDE 'c \n d'\n",
                                      "+C1",
                                      "*C1",
                                      "C1",
                                      "1",
                                      "12345678",
                                      "1.5-3",
                                      "\f",
                                      "\nINCLUDE \"c d\"\n",
                                      "\n",
                                      "\n",
                                      "\n",
                                      ",,,,,,,,",
                                      "+A,",
                                      "\xEF\xBB\xBF",
                                      "GRID*,",
                                      "INCLUDE1",
                                      "\n+C1     ",
                                      "\n*C1     ",
                                      "  ENDDATA",
                                      "END",
                                      "IN",
                                      "BEGIN",
                                      std::string(1, '\0'),
                                      std::string(70, 'x'),
                                      std::string(60, ' '),
                                      std::string(9, ',')};

std::string random_bytes(random_source& random) {
    std::string text;
    for (std::size_t k = random.below(60); k > 0; --k) {
        text += random.one_in(12) ? std::string(1, static_cast<char>(random.below(256)))
                                  : random.one_of(likely);
    }
    return text;
}

TEST(deck_lexer_on_random_decks, is_as_the_plain_reader_on_any_bytes) {
    std::size_t nbr_cards = 0;
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        const files_by_name files = random_files(random);
        ASSERT_TRUE(same_as_plain_deck(random_bytes(random), files, &nbr_cards)) << seed;
    }
    EXPECT_GT(nbr_cards, n);
}

TEST(deck_lexer_on_random_decks, is_as_the_plain_reader_on_cards_with_faults) {
    std::size_t nbr_cards = 0;
    const std::uint64_t n = nbr_runs(8000);
    for (std::uint64_t seed = 0; seed < n; ++seed) {
        random_source random(seed);
        files_by_name files = random_files(random);
        std::string text;
        for (std::size_t k = 1 + random.below(5); k > 0; --k) {
            text += card_writer(random, random_made_card(random)).text();
        }
        for (std::size_t k = random.below(6); k > 0; --k) {
            std::string& changed = random.one_in(4) ? files["a.bdf"] : text;
            const std::size_t at = random.below(changed.size() + 1);
            switch (random.below(3)) {
            case 0: changed.insert(at, random.one_of(likely)); break;
            case 1: changed.erase(at, 1 + random.below(9)); break;
            default: changed.insert(at, 1, static_cast<char>(random.below(256))); break;
            }
        }
        ASSERT_TRUE(same_as_plain_deck(with_line_ends(random, text), files, &nbr_cards)) << seed;
    }
    EXPECT_GT(nbr_cards, 3 * n);
}

TEST(deck_lexer_on_random_decks, is_as_the_plain_reader_when_cut_at_every_byte) {
    for (std::uint64_t seed = 0; seed < nbr_runs(12); ++seed) {
        random_source random(seed);
        const files_by_name files = random_files(random);
        std::string text = "SOL 101\nBEGIN BULK\n";
        for (std::size_t k = 0; k < 4; ++k) {
            text += card_writer(random, random_made_card(random)).text();
        }
        text += "INCLUDE 'c\n d'\n" + card_writer(random, random_made_card(random)).text();
        text = with_line_ends(random, text + "ENDDATA\n");
        for (std::size_t size = 0; size <= text.size(); ++size) {
            ASSERT_TRUE(same_as_plain_deck(text.substr(0, size), files)) << seed << " " << size;
        }
    }
}

// The block of the lexer has 65536 characters.
TEST(deck_lexer_on_random_decks, is_as_the_plain_reader_around_the_end_of_a_block) {
    const std::string card = "CTRIA3  1       2       3       4       5\r\n+,7,8\r+\n";
    for (const char fill : {'x', '\n', '\r'}) {
        for (std::size_t size = 65536 - 12; size < 65536 + 3; ++size) {
            const std::string text = "GRID,1\n" + std::string(size - 7, fill) + "\n" + card;
            ASSERT_TRUE(same_as_plain_deck(text)) << size << fill;
        }
    }
    for (std::size_t size = 65536 - 60; size < 65536 + 3; ++size) {
        std::string text;
        while (text.size() < size - 600) text += "GRID,1," + std::string(500, ' ') + "\n";
        text += "$" + std::string(size - text.size(), 'x') + "\n" + card;
        ASSERT_TRUE(same_as_plain_deck(text)) << size;
    }
}

} // namespace
