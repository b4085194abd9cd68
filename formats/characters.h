// Kinds of characters, and words at the start of a text. White space and letters are those of the C
// locale, whatever the caller has set, so that a file reads the same everywhere.
#ifndef TESSMAKER_FORMATS_CHARACTERS_H
#define TESSMAKER_FORMATS_CHARACTERS_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace kv7::tessmaker {

constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Some editors put it ahead of a text.
inline constexpr std::string_view utf8_mark = "\xEF\xBB\xBF";
constexpr std::string_view skip_utf8_mark(std::string_view text) {
    return text.substr(text.starts_with(utf8_mark) ? utf8_mark.size() : 0);
}

// The first character that isn't white space.
inline const char* skip_spaces(const char* text) {
    while (is_space(*text)) ++text;
    return text;
}

// If the text starts with `word`, which is in lower case, in letters of any case, the end of the
// word in the text; else null.
inline const char* skip_word(const char* text, const char* word) {
    for (; *word != '\0'; ++text, ++word) {
        if (to_lower(*text) != *word) return nullptr;
    }
    return text;
}

// Whether two words are the same in letters of any case; the second is in lower case.
constexpr bool is_word(std::string_view word, std::string_view lower_word) {
    return std::equal(word.begin(), word.end(), lower_word.begin(), lower_word.end(),
                      [](char a, char b) { return to_lower(a) == b; });
}

// Whether a text starts with a word in letters of any case; the word is in lower case.
constexpr bool starts_with_word(std::string_view text, std::string_view lower_word) {
    return is_word(text.substr(0, lower_word.size()), lower_word);
}

// The text without the white space at its start, at its end, or at both.
constexpr std::string_view trim_left(std::string_view text) {
    while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
    return text;
}
constexpr std::string_view trim_right(std::string_view text) {
    while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
    return text;
}
constexpr std::string_view trim(std::string_view text) { return trim_right(trim_left(text)); }

// The text for a sentence that is shown: other bytes than the characters of ASCII become `?`.
inline std::string in_ascii(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c < ' ' || c > '~') c = '?';
    }
    return result;
}

// The start of a word of a file, for a sentence: it may be most of the file.
inline std::string shown_word(std::string_view word) {
    constexpr std::size_t longest = 32;
    return in_ascii(word.substr(0, longest));
}

} // namespace kv7::tessmaker

#endif
