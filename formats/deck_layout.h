// The layouts of a card: small, large and free fields, line by line.
#ifndef TESSMAKER_FORMATS_DECK_LAYOUT_H
#define TESSMAKER_FORMATS_DECK_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/deck_card.h"
#include "formats/deck_lines.h"
#include "formats/nastran_fields.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// The high bit of each byte that is `c`.
constexpr std::uint64_t places_of(char c, std::uint64_t word) {
    constexpr std::uint64_t low_bits = word_of('\x7F');
    const std::uint64_t others = word ^ word_of(c);
    return ~(((others & low_bits) + low_bits) | others | low_bits);
}

// The first field of a line.
struct deck_head {
    enum kind_of_line { card, continuation };

    kind_of_line kind = card;
    bool is_free = false;  // a comma ends the field
    bool is_large = false; // a star stands behind the name, or begins a continuation
    std::size_t size = 8;  // characters before the comma
    // In upper case, without blanks before it: the name of a card, without its star; of a
    // continuation what follows its plus or star.
    std::uint64_t word = blank_word;
    std::uint64_t whole_word = blank_word; // with plus and star
};

// `text` is a line without its comment; words can be read behind it, and it has no tabs.
//
// A line has free fields if a comma ends its first one: within the first eight characters, behind
// blanks that fill the rest of them, or behind a longer word. A comma further on is text of a fixed
// field.
deck_head head_of(std::string_view text);

// Finds heads; lines of one kind mostly follow each other, or take turns with their continuations,
// so it compares with the last two first.
class deck_heads {
public:
    // Stays as it is until the next call.
    const deck_head& find(std::string_view text) {
        const std::uint64_t word = field_word(text);
        if (!recent_[last_].fits(text, word)) {
            last_ ^= 1U;
            if (!recent_[last_].fits(text, word)) recent_[last_].find_anew(text, word);
        }
        return recent_[last_].head;
    }

private:
    struct known_head {
        deck_head head;
        std::uint64_t word = 0;
        std::uint64_t mask = 0; // the bits of the word that tell the head; none if there are more

        bool fits(std::string_view text, std::uint64_t other) const {
            const bool is_same = ((other ^ word) & mask) == 0;
            return is_same && mask != 0 && (head.is_free || !may_have_late_comma(text));
        }
        void find_anew(std::string_view text, std::uint64_t new_word);
    };

    static bool may_have_late_comma(std::string_view text) {
        return text.size() > word_size && places_of(',', load_word(text.data() + word_size)) != 0;
    }

    known_head recent_[2];
    unsigned int last_ = 0;
};

// Puts a card together. The lines that it is given must be readable as those of `deck_lines` are.
class deck_card_builder {
public:
    void begin(std::uint64_t name, unsigned int file);
    void add(std::string_view text, const deck_head& head, std::uint64_t number, bool is_cut);

    const deck_card& card() const { return card_; }
    // What stands in the last field of the last line, in upper case, without blanks before it.
    std::uint64_t mark() const { return mark_; }

private:
    using range = deck_card::range;

    static constexpr std::size_t name_width = 8;
    static constexpr std::size_t data_width = 64;
    static constexpr std::size_t most_characters =
        (deck_card::most_lines + 1) * (deck_lines::most_length + word_size) + name_width;

    std::size_t first_free_entry() const;
    template <std::size_t Width> void add_fixed(std::string_view text);
    void add_free(std::string_view text, const deck_head& head);
    std::size_t cut_at_commas(std::size_t begin, std::size_t end);
    void add_entry(std::size_t entry, std::size_t begin, std::size_t end, std::uint32_t digits);
    void set_mark(std::string_view text);
    std::string_view trimmed_entry(std::size_t entry) const;

    deck_card card_;
    std::uint64_t mark_ = blank_word;
    std::size_t size_ = 0; // of the text that is kept
    char text_[most_characters];
};

} // namespace kv7::tessmaker

#endif
