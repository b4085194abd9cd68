// Numbers in the fields of a NASTRAN card. A field is part of a line of `text_lines`: behind each
// of its characters a word can be read.
#ifndef TESSMAKER_FORMATS_NASTRAN_FIELDS_H
#define TESSMAKER_FORMATS_NASTRAN_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/numbers.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// The first word of a field, with blanks behind its end.
inline std::uint64_t field_word(std::string_view field) {
    return first_characters(load_word(field.data()), field.size());
}

// Reads the integer at the start of a fixed field of at most two words, as `scan_integer` does.
// False if there is none. A word of blanks, digits and whatever follows is read as a whole.
inline bool scan_field(std::string_view field, unsigned int& value) {
    if (field.empty()) return false;
    std::string_view rest = field;
    std::uint64_t word = field_word(rest);
    if (word == blank_word) {
        if (rest.size() <= word_size) return false;
        rest.remove_prefix(word_size);
        word = field_word(rest);
        if (word == blank_word) return false;
    }
    const std::size_t nbr_blanks = nbr_leading_blanks(word);
    word >>= 8 * nbr_blanks;
    const std::size_t nbr_digits = nbr_leading_digits(word);
    const bool may_go_on = nbr_blanks + nbr_digits == word_size && rest.size() > word_size;
    if (nbr_digits == 0 || may_go_on) {
        return scan_integer(field.data(), field.data() + field.size(), value) != nullptr;
    }
    value = value_of_digits(word, nbr_digits);
    return true;
}

// The integer at the start of a fixed field; 0 if there is none.
inline unsigned int field_integer(std::string_view field) {
    unsigned int value = 0;
    return scan_field(field, value) ? value : 0;
}

// The real number of a fixed field of at most two words, with or without a letter before its
// exponent: `1.5+3` is 1500. Blanks are ignored, and none but blanks is 0.
double field_real(std::string_view field);

// A keyword, up to 8 characters, as `nastran_packed` gives it.
inline std::uint64_t packed_keyword(std::string_view keyword) {
    if (keyword.empty()) return 0;
    return reversed_bytes(load_word(keyword.data())) >> 8 * (word_size - keyword.size());
}

} // namespace kv7::tessmaker

#endif
