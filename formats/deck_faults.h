// What is wrong with a deck, in words for its report.
#ifndef TESSMAKER_FORMATS_DECK_FAULTS_H
#define TESSMAKER_FORMATS_DECK_FAULTS_H

#include <cstdint>
#include <string>

#include "formats/deck_coordinates.h"
#include "formats/deck_elements.h"
#include "formats/deck_lexer.h"

namespace kv7::tessmaker {

// The name of a card as text.
std::string card_name_text(std::uint64_t name);

std::string in_words(const deck_fault& fault);
std::string in_words(const deck_system_fault& fault);
std::string in_words(const deck_element_fault& fault);

} // namespace kv7::tessmaker

#endif
