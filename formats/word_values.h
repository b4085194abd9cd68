// Numbers that words of a text stand for.
#ifndef TESSMAKER_FORMATS_WORD_VALUES_H
#define TESSMAKER_FORMATS_WORD_VALUES_H

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

#include "formats/characters.h"
#include "formats/numbers.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Whether a word has the form of a number at its start, as no keyword has.
inline bool begins_as_number(std::string_view word) {
    return !word.empty() &&
           (is_digit(word[0]) || word[0] == '-' || word[0] == '+' || word[0] == '.');
}

// False, here and below, if the word stands for nothing of the kind.
template <class Integer> bool word_to_integer(std::string_view word, Integer& value) {
    if (word.size() > 1 && word[0] == '+' && is_digit(word[1])) word.remove_prefix(1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    return error == std::errc() && end == word.data() + word.size() && !word.empty();
}

// A finite number, its exponent behind an E or a D. Behind each character of the word `word_size`
// characters can be read.
inline bool word_to_number(std::string_view word, double& value) {
    if (word.empty()) return false;
    const char* const end = word.data() + word.size();
    if (scan_number_in_words(word.data(), value) == end) return true;
    constexpr std::size_t longest = 64;
    const std::size_t letter = word.find_first_of("dD");
    if (letter == std::string_view::npos || word.size() > longest) return false;
    std::array<char, longest + word_size> copy{};
    std::copy(word.begin(), word.end(), copy.begin());
    copy[letter] = 'e';
    return scan_number_in_words(copy.data(), value) == copy.data() + word.size();
}

// The same, or one of the words that programs write for what is no finite number.
inline bool word_to_value(std::string_view word, double& value) {
    if (word_to_number(word, value)) return true;
    const bool is_negative = !word.empty() && word[0] == '-';
    if (is_negative || (!word.empty() && word[0] == '+')) word.remove_prefix(1);
    if (is_word(word, "nan") || is_word(word.substr(0, 4), "nan(")) {
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    constexpr double infinity = std::numeric_limits<double>::infinity();
    value = is_negative ? -infinity : infinity;
    return is_word(word, "inf") || is_word(word, "infinity");
}

} // namespace kv7::tessmaker

#endif
