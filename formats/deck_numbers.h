// Numbers in the fields of a deck, as the format has them.
#ifndef TESSMAKER_FORMATS_DECK_NUMBERS_H
#define TESSMAKER_FORMATS_DECK_NUMBERS_H

#include <cstdint>
#include <string_view>

#include "formats/deck_card.h"
#include "formats/nastran_fields.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// What a field holds. All but the first two are refused.
enum class deck_value {
    number,
    blank,
    not_an_integer,
    not_a_real,
    not_an_id, // a number, but not from 1 to 4294967294
    too_large, // beyond the range of the type
    too_long,  // a real of more than 100 characters whose value takes all of them
};

// A sentence part: "an integer was expected". Static text.
const char* reason(deck_value value);

// White space may stand before and behind a number, and nowhere in it. The number is set if there
// is one, and else left alone. Words must be readable from each character of the field and from its
// end, as in the fields of a card.

// A sign, if any, and digits.
deck_value read_integer(std::string_view field, std::int64_t& number);

// A real has digits, one point among or beside them, a sign before them, and an exponent: a letter
// E or D, of either case, and an integer; or a sign and an integer without a letter (`1.5-3`). All
// but the digits may be left out. The point may too: writers do so, though the format asks for it.
// The value is the nearest double, also below the range of normal ones.
deck_value read_real(std::string_view field, double& number);

deck_value read_long_id(std::string_view field, unsigned int& id);

// A number from 1 to 4294967294. A word of blanks and digits is read as a whole.
inline deck_value read_id_in_word(std::uint64_t word, std::string_view field, unsigned int& id) {
    const std::size_t nbr_blanks = nbr_leading_blanks(word);
    if (nbr_blanks == word_size) return deck_value::blank;
    // Behind the last character zeros come in, where the other words are blank.
    const std::uint64_t number = word >> 8 * nbr_blanks;
    const std::size_t n = nbr_leading_digits(number);
    const std::uint64_t rest = (number ^ blank_word >> 8 * nbr_blanks) >> 8 * (n % word_size);
    if (n == 0 || (n != word_size && rest != 0)) return read_long_id(field, id);
    const std::uint32_t value = value_of_digits(number, n);
    if (value == 0) return deck_value::not_an_id;
    id = value;
    return deck_value::number;
}
inline deck_value read_id(std::string_view field, unsigned int& id) {
    if (field.size() == word_size) return read_id_in_word(load_word(field.data()), field, id);
    if (field.size() < word_size) return read_id_in_word(field_word(field), field, id);
    const std::uint64_t first = load_word(field.data());
    const std::string_view rest = field.substr(word_size);
    if (rest.size() <= word_size && first == blank_word) return read_id(rest, id);
    return read_long_id(field, id);
}
inline deck_value read_id(const deck_card& card, std::size_t i, unsigned int& id) {
    const std::uint32_t digits = card.digits(i);
    if (digits == 0) return read_id(card[i], id);
    id = digits;
    return deck_value::number;
}

} // namespace kv7::tessmaker

#endif
