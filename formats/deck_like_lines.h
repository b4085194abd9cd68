// Cards of one line that repeat the layout of the card before.
#ifndef TESSMAKER_FORMATS_DECK_LIKE_LINES_H
#define TESSMAKER_FORMATS_DECK_LIKE_LINES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/deck_card.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Whether a line that begins so begins a card, or ends the data: it continues no card before it.
inline bool begins_card(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// Reads cards of a name, in upper case, with as many free fields as given, each of up to eight
// digits and nothing else. Whatever differs is left to the lexer, which reads these cards as well,
// and slower.
class deck_like_lines {
public:
    deck_like_lines(std::uint64_t name, std::size_t nbr_fields) : nbr_fields_(nbr_fields) {
        char text[word_size];
        store_word(name, text);
        while (head_size_ < word_size && text[head_size_] != ' ') ++head_size_;
        if (head_size_ == word_size) return; // there is no room for the comma
        text[head_size_++] = ',';
        mask_ = ~std::uint64_t{0} >> 8 * (word_size - head_size_);
        head_ = load_word(text) & mask_;
    }

    // Reads the card at the beginning of a text behind which words can be read. Returns the
    // beginning of the next line; null if there is no such card, or the next line may belong to it.
    // No value is 0.
    const char* read(const char* text, const char* text_end, std::uint32_t* values) const {
        if ((load_word(text) & mask_) != head_) return nullptr;
        text += head_size_;
        for (std::size_t i = 0; i < nbr_fields_; ++i) {
            const std::uint64_t word = load_word(text);
            const std::size_t nbr_digits = nbr_leading_digits(word);
            if (nbr_digits == 0) return nullptr;
            values[i] = value_of_digits(word, nbr_digits);
            text += nbr_digits;
            if (values[i] == 0 || *text != (i + 1 == nbr_fields_ ? '\n' : ',')) return nullptr;
            ++text;
        }
        return text < text_end && begins_card(*text) ? text : nullptr;
    }

private:
    std::size_t nbr_fields_;
    std::size_t head_size_ = 0;
    // Of no line: no character is a null under an empty mask.
    std::uint64_t mask_ = 0;
    std::uint64_t head_ = 1;
};

// The same of small fields, each of them digits and blanks around them. The last one may be short.
class deck_like_small_lines {
public:
    static constexpr std::size_t most_fields = 8;

    // Of `most_fields` at most: they stand on one line.
    deck_like_small_lines(std::uint64_t name, std::size_t nbr_fields)
        : name_(name), nbr_fields_(nbr_fields) {}

    const char* read(const char* text, const char* text_end, std::uint32_t* values) const {
        if (load_word(text) != name_) return nullptr;
        text += word_size;
        for (std::size_t i = 0; i < nbr_fields_; ++i) {
            const std::uint64_t word = load_word(text);
            const std::size_t nbr_blanks = nbr_leading_blanks(word);
            if (nbr_blanks == word_size) return nullptr;
            const std::uint64_t number = word >> 8 * nbr_blanks; // and nulls
            const std::size_t nbr_digits = nbr_leading_digits(number);
            if (nbr_digits == 0) return nullptr;
            values[i] = value_of_digits(number, nbr_digits);
            if (values[i] == 0) return nullptr;
            const std::size_t size = nbr_blanks + nbr_digits;
            const bool is_short = size < word_size && i + 1 == nbr_fields_ && text[size] == '\n';
            const bool is_whole =
                size == word_size || number >> 8 * nbr_digits == blank_word >> 8 * size;
            if (!is_short && !is_whole) return nullptr;
            text += is_short ? size : word_size;
        }
        if (*text != '\n') return nullptr;
        ++text;
        return text < text_end && begins_card(*text) ? text : nullptr;
    }

private:
    std::uint64_t name_;
    std::size_t nbr_fields_;
};

} // namespace kv7::tessmaker

#endif
