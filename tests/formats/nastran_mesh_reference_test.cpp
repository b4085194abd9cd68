// Meshes of random decks compared with those of the plain reader of plain_nastran_mesh.h.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "formats/deck_meshes.h"
#include "formats/plain_nastran_mesh.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;

struct card_of_element {
    const char* name;
    std::size_t nbr_corners;
    std::size_t nbr_nodes;
};
const std::vector<card_of_element> element_cards{
    {"CBAR", 2, 2},   {"CROD", 2, 2},    {"CTRIA3", 3, 3}, {"CQUAD4", 4, 4}, {"CTRIA6", 3, 6},
    {"CQUAD8", 4, 8}, {"CTETRA", 4, 10}, {"CPENTA", 6, 6}, {"CHEXA", 8, 8}};

class random_deck {
public:
    static constexpr std::size_t any_style = 4;

    // Of free, small or large fields, or mixed.
    explicit random_deck(std::uint64_t seed, std::size_t style = any_style) : random_(seed) {
        style_ = style == any_style ? random_.below(4) : style;
        few_faults_ = !random_.one_in(3);
        mark_ = random_.one_of(strings{"", "*", "*C", "*N0", "+", "* A"});
        const std::size_t nbr_nodes = 1 + random_.below(12);
        const std::size_t step = random_.one_in(2) ? 1 : 1 + random_.below(900000);
        for (std::size_t k = 0; k < nbr_nodes; ++k) {
            numbers_.push_back(static_cast<unsigned int>(1 + k * step));
        }
        if (random_.one_in(2)) random_.shuffle(numbers_);
        for (const unsigned int n : numbers_) cards_.push_back(node(n));
        const std::size_t nbr_runs = random_.below(6);
        for (std::size_t k = 0; k < nbr_runs; ++k) add_run();
        if (random_.one_in(3)) add_others();
    }

    std::string text() {
        if (random_.one_in(4)) random_.shuffle(cards_);
        std::string all = random_.one_in(2) ? "SOL 101\nBEGIN BULK\n" : "";
        for (const std::string& card : cards_) all += card;
        if (random_.one_in(2)) all += "ENDDATA\n";
        if (random_.one_in(8)) {
            std::string with_returns;
            for (const char c : all)
                with_returns += c == '\n' ? std::string("\r\n") : std::string(1, c);
            all = with_returns;
        }
        if (random_.one_in(10)) all.pop_back();
        return all;
    }

private:
    // Fields in one of the layouts.
    std::string card(const std::string& name, strings fields) {
        const std::size_t layout = style_ == 3 ? random_.below(3) : style_;
        if (layout == 0) return free_card(name, fields);
        const std::size_t width = layout == 1 ? 8 : 16;
        const std::size_t per_line = 64 / width;
        const bool is_left = random_.one_in(4);
        std::string text;
        for (std::size_t at = 0; at == 0 || at < fields.size(); at += per_line) {
            std::string head = at == 0 ? name : "";
            if (width == 16) head += at == 0 || mark_.empty() ? "*" : mark_;
            text += head + std::string(8 - head.size(), ' ');
            for (std::size_t k = at; k < at + per_line && k < fields.size(); ++k) {
                const std::string blanks(width - std::min(width, fields[k].size()), ' ');
                text += is_left ? fields[k] + blanks : blanks + fields[k];
            }
            while (is_left && text.back() == ' ') text.pop_back();
            const std::size_t nbr_left = fields.size() - std::min(fields.size(), at + per_line);
            if (width == 16 && nbr_left != 0) text += std::string(at_mark(text), ' ') + mark_;
            text += "\n";
        }
        return text;
    }
    // How many blanks stand before the mark at the end of a line.
    static std::size_t at_mark(const std::string& text) {
        const std::size_t size = text.size() - (text.rfind('\n') + 1);
        return size < 72 ? 72 - size : 0;
    }
    std::string free_card(const std::string& name, const strings& fields) {
        std::string text = name;
        const bool is_long = random_.one_in(4);
        for (std::size_t k = 0; k < fields.size(); ++k) {
            if (k != 0 && k % 8 == 0 && !is_long) text += random_.one_in(2) ? ",+\n+" : "\n";
            text += "," + fields[k];
        }
        if (random_.one_in(10)) text += ",";
        return text + "\n";
    }

    std::string coordinate() {
        switch (random_.below(6)) {
        case 0: return "";
        case 1: return std::to_string(random_.below(10)) + ".";
        case 2: return "-." + std::to_string(random_.below(1000));
        case 3: return std::to_string(random_.below(10)) + ".5-" + std::to_string(random_.below(9));
        case 4: return "1.25D+" + std::to_string(random_.below(9));
        default: return std::to_string(random_.below(100)) + ".75";
        }
    }
    std::string node(unsigned int number) {
        const strings fields{std::to_string(number), random_.one_in(3) ? "0" : "", coordinate(),
                             coordinate(), coordinate()};
        const std::string text = card("GRID", fields);
        const bool is_again = random_.one_in(few_faults_ ? 60 : 20);
        if (!is_again) return text;
        return text + (random_.one_in(few_faults_ ? 10 : 2) ? node(number) : card("GRID", fields));
    }
    std::string any_node() {
        if (random_.one_in(few_faults_ ? 2000 : 60)) return random_.one_in(2) ? "" : "77";
        return std::to_string(random_.one_of(numbers_));
    }
    // Elements of one card, most of them with the same fields.
    void add_run() {
        const card_of_element& kind = random_.one_of(element_cards);
        const std::size_t n = 1 + random_.below(6);
        const bool has_all = random_.one_in(2);
        for (std::size_t k = 0; k < n; ++k) {
            if (!random_.one_in(few_faults_ ? 40 : 8)) ++number_;
            strings fields{std::to_string(number_), random_.one_in(8) ? "" : "3"};
            for (std::size_t i = 0; i < (has_all ? kind.nbr_nodes : kind.nbr_corners); ++i) {
                fields.push_back(i >= kind.nbr_corners && random_.one_in(40) ? "" : any_node());
            }
            const std::string text = card(kind.name, fields);
            cards_.push_back(text);
            if (random_.one_in(20)) cards_.push_back(text);
            if (random_.one_in(10)) cards_.push_back("$ comment\n");
        }
    }
    void add_others() {
        cards_.push_back(card("CBUSH", {"1", "2", "3"}));
        cards_.push_back(card("MAT1", {"1", "2.+7", "", ".3"}));
        cards_.push_back(card("MAT1", {"2"}));
        if (random_.one_in(2)) cards_.push_back(card("BAROR", {"", "9"}));
    }

    random_source random_;
    std::size_t style_ = 0;
    bool few_faults_ = true;
    std::string mark_; // of continuations in large fields
    unsigned int number_ = 0;
    std::vector<unsigned int> numbers_;
    strings cards_;
};

using counts_by_name = std::map<std::string, std::size_t>;

// Of the remarks with some words in them.
counts_by_name counts_of(const read_file& deck, const std::string& words) {
    counts_by_name result;
    for (const remark& r : deck.report.remarks()) {
        if (r.sentence.find(words) != std::string::npos) result[r.keyword] += r.count;
    }
    return result;
}

void expect_same(const read_file& deck, const plain_mesh_reader& plain) {
    EXPECT_EQ(list(deck.m.node_numbers), plain.node_numbers);
    ASSERT_EQ(deck.m.pos.cols(), plain.nodes.size());
    for (std::size_t c = 0; c < plain.nodes.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_EQ(deck.m.pos(r, c), plain.nodes[c][r]);
    }
    ASSERT_EQ(deck.m.connect.cols(), plain.elements.size());
    for (std::size_t c = 0; c < plain.elements.size(); ++c) {
        const plain_deck_element& e = plain.elements[c];
        EXPECT_EQ(deck.types()[c], e.type);
        EXPECT_EQ(deck.nodes(c), e.nodes);
        EXPECT_EQ(deck.m.pids[c], e.property);
        EXPECT_EQ(deck.m.element_numbers[c], e.number);
    }
    EXPECT_EQ(counts_of(deck, "not read"), plain.lost);
    EXPECT_EQ(counts_of(deck, "given again"), plain.again);
    EXPECT_EQ(counts_of(deck, "made linear"), plain.linear);
    EXPECT_EQ(counts_of(deck, "given before"), plain.shared);
    counts_by_name seen;
    for (const keyword_count& c : deck.report.counts()) seen[c.keyword] = c.seen;
    EXPECT_EQ(seen, plain.seen);
}

TEST(nastran_mesh_reference, random_decks_are_read_as_by_the_plain_reader) {
    std::size_t nbr_good = 0;
    std::size_t nbr_elements = 0;
    const std::uint64_t n = nbr_runs(4000);
    for (std::uint64_t seed = 0; seed < n && !testing::Test::HasFailure(); ++seed) {
        const std::string text = random_deck(seed).text();
        SCOPED_TRACE(text);
        SCOPED_TRACE(seed);
        plain_mesh_reader plain;
        plain.read(text);
        const read_file deck = read_deck_mesh(text);
        EXPECT_EQ(deck.code, plain.fault_line == 0 ? 0 : -102) << deck.error();
        if (plain.fault_line != 0) {
            EXPECT_EQ(deck.report.error() ? deck.report.error()->line : 0, plain.fault_line)
                << deck.error();
            continue;
        }
        ++nbr_good;
        nbr_elements += plain.elements.size();
        expect_same(deck, plain);
    }
    // Both happen often.
    EXPECT_GT(nbr_good, n / 4);
    EXPECT_LT(nbr_good, n - n / 10);
    EXPECT_GT(nbr_elements, n);
}

// With some characters changed, left out, or put in.
std::string with_faults(random_source& random, std::string text) {
    const std::string characters = "\n,+*$ 019-.Ex\t";
    for (std::size_t k = random.below(4); k != 0 && !text.empty(); --k) {
        const std::size_t at = random.below(text.size());
        const char c = characters[random.below(characters.size())];
        switch (random.below(3)) {
        case 0: text[at] = c; break;
        case 1: text.erase(at, 1); break;
        default: text.insert(at, 1, c); break;
        }
    }
    return text;
}

std::vector<std::string> sentences_of(const read_file& deck) {
    std::vector<std::string> all = deck.sentences();
    for (const keyword_count& c : deck.report.counts()) {
        all.push_back(c.keyword + std::to_string(c.seen) + "/" + std::to_string(c.read));
    }
    return all;
}

TEST(nastran_mesh_reference, short_cuts_change_nothing) {
    // None is taken where lines end with two characters.
    for (std::uint64_t seed = 0; seed < nbr_runs(6000) && !testing::Test::HasFailure(); ++seed) {
        random_source random(seed);
        std::string text = with_faults(random, random_deck(seed, seed % 3).text());
        std::erase(text, '\r');
        SCOPED_TRACE(text);
        SCOPED_TRACE(seed);
        std::string with_returns;
        for (const char c : text) {
            if (c == '\n') with_returns += '\r';
            with_returns += c;
        }
        const read_file deck = read_deck_mesh(text);
        const read_file slow = read_deck_mesh(with_returns);
        EXPECT_EQ(deck.code, slow.code);
        EXPECT_EQ(sentences_of(deck), sentences_of(slow));
        EXPECT_EQ(list(deck.m.pos), list(slow.m.pos));
        EXPECT_EQ(list(deck.m.connect), list(slow.m.connect));
        EXPECT_EQ(list(deck.m.pids), list(slow.m.pids));
        EXPECT_EQ(list(deck.m.indices), list(slow.m.indices));
        EXPECT_EQ(list(deck.m.node_numbers), list(slow.m.node_numbers));
        EXPECT_EQ(list(deck.m.element_numbers), list(slow.m.element_numbers));
    }
}

} // namespace
