// Numbers in text. Apart from `scan_text` all of it reads as in the C locale.
#ifndef TESSMAKER_FORMATS_NUMBERS_H
#define TESSMAKER_FORMATS_NUMBERS_H

#include <locale.h> // the types and functions that POSIX adds to <clocale>

#include <string_view>

namespace kv7::tessmaker {

// Formatted input as in the C library, in the caller's locale, with its result: the number of
// values found, or EOF when the text ends before the first.
[[gnu::format(scanf, 2, 3)]] int scan_text(const char* text, const char* format, ...);

// While it lives, the C library reads and writes numbers in this thread as in the C locale.
class c_locale_scope {
public:
    c_locale_scope();
    ~c_locale_scope();
    c_locale_scope(const c_locale_scope&) = delete;
    c_locale_scope& operator=(const c_locale_scope&) = delete;

private:
    locale_t c_locale_;
    locale_t callers_;
};

// Reads the decimal number at the start of the text, as `>>` of a stream does. Returns the end of
// the number, or null if the longest number-like prefix is malformed (`1e+`) or its value is beyond
// the range of double. Below that range the value is the nearest double. A hexadecimal number ends
// at its `x`; words such as `inf` are not numbers.
const char* scan_number(const char* text, double& value);
// The same, for a text behind each of whose characters a word can be read (words.h).
const char* scan_number_in_words(const char* text, double& value);

// Reads `n` decimal numbers, each after white space, if any, and followed by white space or the end
// of the text. Returns the end of the last, or null if there is anything else (also where
// `scan_text` would go on, as with hexadecimal numbers or `nan`) or a number is beyond the range of
// double. The values are those of `scan_text`, at a fraction of its cost.
const char* scan_decimals(const char* text, double* values, int n);
// The same, for a text behind each of whose characters a word can be read.
const char* scan_decimals_in_words(const char* text, double* values, int n);

// Reads the number at the start of the text as `%lf` of `scan_text` does. Returns its end, or null
// if there is none.
const char* scan_real(const char* text, double& value);

// Reads the integer at the start of the text, after white space, as `strtol` does, and converts it
// to `int`: an integer beyond `long` is clamped, one beyond `int` loses its upper bits. `value` has
// the bits of that `int`. Returns the end of the integer, or null if there is none.
const char* scan_integer(const char* text, const char* end, unsigned int& value);

// The values of `atoi` and `atof`: 0 for a text that doesn't start with a number.
unsigned int to_integer(std::string_view text);
double to_real(const char* text);

} // namespace kv7::tessmaker

#endif
