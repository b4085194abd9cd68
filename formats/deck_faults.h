// What is wrong with a deck, in words for its report.
#ifndef TESSMAKER_FORMATS_DECK_FAULTS_H
#define TESSMAKER_FORMATS_DECK_FAULTS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "formats/deck_coordinates.h"
#include "formats/deck_lexer.h"
#include "formats/deck_numbers.h"

namespace kv7::tessmaker {

// The name of a card as text.
std::string card_name_text(std::uint64_t name);

// "an integer is expected". Static text.
std::string_view expected_text(deck_value value);

std::string in_words(const deck_fault& fault);
std::string in_words(const deck_system_fault& fault);

} // namespace kv7::tessmaker

#endif
