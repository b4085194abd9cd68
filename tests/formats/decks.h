// Decks that are read card by card in tests, by the library and by the plain reader.
#ifndef TESSMAKER_TESTS_FORMATS_DECKS_H
#define TESSMAKER_TESTS_FORMATS_DECKS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "formats/deck_lexer.h"
#include "formats/plain_deck.h"
#include "formats/scratch_files.h"

namespace test {

// Files in memory that a deck can include, by their names.
class included_files {
public:
    explicit included_files(const std::map<std::string, std::string>& files) { current() = &files; }
    ~included_files() { current() = nullptr; }
    included_files(const included_files&) = delete;
    included_files& operator=(const included_files&) = delete;

    static kv7::tessmaker::deck_failure open(const char* path, std::FILE*& file) {
        const auto found = current()->find(path);
        if (found == current()->end()) return kv7::tessmaker::deck_failure::file_not_found;
        file = fdopen(memfd_create("included", 0), "w+b");
        std::fwrite(found->second.data(), 1, found->second.size(), file);
        std::rewind(file);
        return kv7::tessmaker::deck_failure::none;
    }

private:
    static const std::map<std::string, std::string>*& current() {
        static const std::map<std::string, std::string>* files = nullptr;
        return files;
    }
};

inline std::string text_of_name(std::uint64_t name) {
    char text[kv7::tessmaker::word_size];
    kv7::tessmaker::store_word(name, text);
    return plain_strip(std::string(text, sizeof text), " ");
}

inline const char* name_of_failure(kv7::tessmaker::deck_failure kind) {
    using enum kv7::tessmaker::deck_failure;
    switch (kind) {
    case none: return "";
    case not_read: return "not read";
    case no_file_name: return "name";
    case file_not_found: return "missing";
    case not_a_file: return "not a file";
    case included_in_itself: return "itself";
    case too_deep: return "depth";
    case too_many_files: return "count";
    }
    return "?";
}

// Cards as they were read, in a form that is easy to compare and to print.
struct read_cards {
    std::vector<plain_card> cards;
    std::vector<std::size_t> nbr_fields;
    std::string fault;
    unsigned int fault_file = 0;
    std::size_t fault_line = 0;
    std::string fault_path;
    std::vector<std::pair<unsigned int, std::size_t>> behind_quotes;
};

inline plain_card copy_of(const kv7::tessmaker::deck_card& card) {
    plain_card copy;
    copy.name = text_of_name(card.name());
    copy.file = card.position().file;
    copy.line = card.position().line;
    copy.is_cut = card.is_cut();
    EXPECT_EQ(card.position().column, 1U);
    EXPECT_EQ(card.is_stray(), copy.name.empty());
    for (std::size_t i = 0; i < card.nbr_fields() && i < kv7::tessmaker::deck_card::most_fields;
         ++i) {
        const std::string text = plain_strip(std::string(card[i]), " ");
        const kv7::tessmaker::deck_position place = card.position(i);
        copy.fields.push_back({text, place.file, place.line, place.column});
        EXPECT_EQ(card.is_blank(i), text.empty());
        if (card.digits(i) != 0) {
            EXPECT_EQ(text.find_first_not_of("0123456789"), std::string::npos) << text;
            EXPECT_EQ(std::to_string(card.digits(i)), text.substr(text.find_first_not_of('0')));
        }
    }
    EXPECT_TRUE(card.is_blank(card.nbr_fields()));
    EXPECT_TRUE(card[card.nbr_fields()].empty());
    return copy;
}

inline read_cards read_all_cards(kv7::tessmaker::deck_lexer& lexer) {
    read_cards result;
    while (lexer.next()) {
        result.cards.push_back(copy_of(lexer.card()));
        result.nbr_fields.push_back(lexer.card().nbr_fields());
    }
    EXPECT_FALSE(lexer.next());
    result.fault = name_of_failure(lexer.fault().kind);
    result.fault_file = lexer.fault().position.file;
    result.fault_line = lexer.fault().position.line;
    result.fault_path = lexer.fault().path;
    for (const kv7::tessmaker::deck_position& at : lexer.texts_behind_paths()) {
        result.behind_quotes.emplace_back(at.file, at.line);
    }
    return result;
}

using files_by_name = std::map<std::string, std::string>;

inline read_cards read_all_cards(const std::string& bytes, const files_by_name& files = {}) {
    const included_files sandbox(files);
    const scratch_stream stream(bytes);
    kv7::tessmaker::deck_lexer lexer(stream.get(), "", included_files::open);
    return read_all_cards(lexer);
}

inline testing::AssertionResult same_card(const plain_card& card, std::size_t nbr_fields,
                                          const plain_card& expected) {
    const auto different = [&](const char* what) {
        return testing::AssertionFailure()
               << what << " of card " << expected.name << " in line " << expected.line << ": ";
    };
    if (card.name != expected.name) return different("name") << card.name;
    if (card.file != expected.file) return different("file") << card.file;
    if (card.line != expected.line) return different("line") << card.line;
    if (card.is_cut != expected.is_cut) return different("cut") << card.is_cut;
    if (nbr_fields != expected.fields.size())
        return different("number of fields") << nbr_fields << ", not " << expected.fields.size();
    for (std::size_t i = 0; i < card.fields.size(); ++i) {
        const plain_field& field = card.fields[i];
        const plain_field& plain = expected.fields[i];
        if (field.text != plain.text)
            return different("field")
                   << i << " is '" << field.text << "', not '" << plain.text << "'";
        if (field.file != plain.file || field.line != plain.line ||
            (!field.text.empty() && field.column != plain.column))
            return different("place of field") << i << " is line " << field.line << ", column "
                                               << field.column << ", not " << plain.column;
    }
    return testing::AssertionSuccess();
}

inline testing::AssertionResult same_as_plain_deck(const std::string& bytes,
                                                   const files_by_name& files = {},
                                                   std::size_t* nbr_cards = nullptr) {
    plain_deck_reader plain(files);
    plain.read(bytes);
    const read_cards read = read_all_cards(bytes, files);
    if (nbr_cards) *nbr_cards += read.cards.size();
    for (std::size_t k = 0; k < read.cards.size() && k < plain.cards.size(); ++k) {
        const auto same = same_card(read.cards[k], read.nbr_fields[k], plain.cards[k]);
        if (!same) return testing::AssertionFailure() << same.message() << " in\n" << bytes;
    }
    if (read.cards.size() != plain.cards.size()) {
        return testing::AssertionFailure()
               << read.cards.size() << " cards, not " << plain.cards.size() << " in\n"
               << bytes;
    }
    if (read.fault != plain.fault ||
        (!plain.fault.empty() &&
         (read.fault_file != plain.fault_file || read.fault_line != plain.fault_line))) {
        return testing::AssertionFailure()
               << "fault '" << read.fault << "' in line " << read.fault_line << ", not '"
               << plain.fault << "' in line " << plain.fault_line << " in\n"
               << bytes;
    }
    if (read.behind_quotes != plain.behind_quotes) {
        return testing::AssertionFailure()
               << read.behind_quotes.size() << " texts behind quotes, not "
               << plain.behind_quotes.size() << ", or other lines, in\n"
               << bytes;
    }
    return testing::AssertionSuccess();
}

} // namespace test

#endif
