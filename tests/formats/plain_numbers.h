// Numbers in text, read character by character with the C library alone.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_NUMBERS_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_NUMBERS_H

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <string>

namespace test {

inline bool is_plain_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// An integer and whether there is one.
struct plain_integer {
    bool found = false;
    unsigned int value = 0;
};
inline plain_integer plain_integer_of(const std::string& text) {
    char* end = nullptr;
    const auto value = static_cast<unsigned int>(std::strtol(text.c_str(), &end, 10));
    return {end != text.c_str(), value};
}

// A real number of a NASTRAN field: blanks are dropped, a last sign that follows neither nothing
// nor the letter e begins an exponent.
inline double plain_field_real(const std::string& field) {
    std::string text;
    for (const char c : field) {
        if (!is_plain_space(c)) text += c;
    }
    const std::size_t sign = text.find_last_of("+-");
    if (sign == std::string::npos || sign == 0 || text[sign - 1] == 'e' || text[sign - 1] == 'E') {
        return std::atof(text.c_str());
    }
    const int exponent = std::atoi(text.c_str() + sign);
    const double value = std::atof(text.substr(0, sign).c_str());
    return exponent == 0 ? value : std::pow(10.0, exponent) * value;
}

// Calls `visit` with all texts over the characters, of lengths up to `most`.
template <class Visit>
void for_each_text(const std::string& characters, std::size_t most, const Visit& visit,
                   const std::string& start = "") {
    visit(start);
    if (start.size() == most) return;
    for (const char c : characters) for_each_text(characters, most, visit, start + c);
}

} // namespace test

#endif
