// Real numbers for the fields of a deck.
#ifndef TESSMAKER_FORMATS_DECK_REALS_H
#define TESSMAKER_FORMATS_DECK_REALS_H

#include <cstddef>

namespace kv7::tessmaker {

// A real has a point and, if it has an exponent, a sign but no letter before that: `-.25`, `1.5-7`.
// It has an exponent if it does not fit the field without one. It has up to `digits` significant
// digits, from 1 to 17, and fewer if the field is too short for these. With 17 the same number is
// read back, if the field takes all that it needs. No text is of a number beyond the range of
// double. `value` is finite.

inline constexpr std::size_t deck_real_size = 16; // of a large field
inline constexpr int deck_real_least_digits = 10; // that fit whatever the value is

// Writes the number to the right of `deck_real_size` characters, with blanks before it.
void put_deck_real(double value, int digits, char* field);

// Whether the number that is written lacks digits that were asked for.
bool is_deck_real_rounded(double value, int digits);

} // namespace kv7::tessmaker

#endif
