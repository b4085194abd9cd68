// A card of bulk data: its name and its fields, whatever their layout was.
#ifndef TESSMAKER_FORMATS_DECK_CARD_H
#define TESSMAKER_FORMATS_DECK_CARD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/words.h"

namespace kv7::tessmaker {

// A name of up to eight characters as one word, with blanks behind it.
constexpr std::uint64_t deck_name(std::string_view name) {
    std::uint64_t word = blank_word;
    for (std::size_t i = 0; i < name.size() && i < word_size; ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        word = (word & ~(std::uint64_t{0xFF} << 8 * i)) | std::uint64_t{c} << 8 * i;
    }
    return word;
}

// Counted from 1; a tab counts as the columns that it skips.
struct deck_position {
    unsigned int file = 0; // as the lexer numbers them
    std::uint64_t line = 0;
    std::size_t column = 0;
};

// Fields are counted from 0, the name not included. A line has room for 8 fields, or 4 large ones;
// those that it leaves out are blank, so that field 8 is the first of the second line, whatever
// stands on the first.
class deck_card {
public:
    // Fields beyond are counted, but not kept. An element's card has 24 at most.
    static constexpr std::size_t most_fields = 64;

    // In upper case, without a star; longer names are cut. Blank for a continuation without a card.
    std::uint64_t name() const { return name_; }
    bool is_stray() const { return name_ == blank_word; }

    // Up to the end of the last line.
    std::size_t nbr_fields() const { return nbr_fields_; }
    // The text of a field, with the blanks around it; empty if the card has no such field. From
    // each of its characters, and from its end, a word can be read.
    std::string_view operator[](std::size_t i) const {
        const bool is_there = i < nbr_fields_ && i < most_fields;
        return is_there ? std::string_view(text_ + fields_[i].begin, fields_[i].size) : no_text;
    }
    // The value of a free field of up to eight digits and nothing else; 0 for any other.
    std::uint32_t digits(std::size_t i) const {
        return i >= nbr_fields_ || i >= most_fields ? 0 : digits_[i];
    }
    // The same for a number of fields; null if one of them is not there.
    const std::uint32_t* digits(std::size_t begin, std::size_t end) const {
        return end <= nbr_fields_ && end <= most_fields ? digits_.data() + begin : nullptr;
    }
    bool is_blank(std::size_t i) const {
        const std::string_view text = (*this)[i];
        for (std::size_t at = 0; at < text.size(); at += word_size) {
            const std::uint64_t word = load_word(text.data() + at);
            if (first_characters(word, text.size() - at) != blank_word) return false;
        }
        return true;
    }

    // Where the card begins.
    deck_position position() const { return {file_, lines_[0].number, 1}; }
    // Where a field begins; for one beyond the card, where the card begins.
    deck_position position(std::size_t i) const {
        if (i >= nbr_fields_ || i >= most_fields) return position();
        std::size_t k = nbr_lines_ - 1;
        while (lines_[k].first_field > i) --k;
        return {file_, lines_[k].number, fields_[i].begin - lines_[k].begin + 1U};
    }
    // Whether a line was too long and was cut.
    bool is_cut() const { return is_cut_; }

private:
    friend class deck_card_builder;

    struct range {
        std::uint16_t begin;
        std::uint16_t size;
    };
    struct line {
        std::uint64_t number = 0;
        std::size_t first_field = 0;
        std::size_t begin = 0; // the place of its first column in the text
    };
    static constexpr std::size_t most_lines = most_fields / 4;
    // A word can be read from it.
    static constexpr std::string_view no_text = std::string_view("        ").substr(0, 0);

    std::uint64_t name_ = blank_word;
    unsigned int file_ = 0;
    bool is_cut_ = false;
    std::size_t nbr_fields_ = 0;
    std::size_t nbr_lines_ = 0; // that are kept
    const char* text_ = "";
    // Those behind the last that is kept are scratch of the builder.
    static constexpr std::size_t nbr_entries = most_fields + 16;
    std::array<range, nbr_entries> fields_;
    std::array<std::uint32_t, nbr_entries> digits_;
    std::array<line, most_lines> lines_;
};

} // namespace kv7::tessmaker

#endif
