#include "formats/text_scanning.h"

#include <unistd.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace kv7::tessmaker {

namespace {

// A number taken apart: digits * 10 ^ exponent.
struct decimal {
    bool negative = false;
    std::uint64_t digits = 0;
    std::ptrdiff_t nbr_digits = 0;
    std::ptrdiff_t exponent = 0;

    // Takes digits up to the first other character. The first 19 are kept, which fit for certain.
    const char* take_digits(const char* text) {
        for (; is_digit(*text); ++text) {
            if (nbr_digits < 19) digits = 10 * digits + static_cast<std::uint64_t>(*text - '0');
            ++nbr_digits;
        }
        return text;
    }
    const char* take_fraction(const char* text) {
        const std::ptrdiff_t before = nbr_digits;
        text = take_digits(text);
        exponent -= nbr_digits - before;
        return text;
    }
    // Null where no digit follows. Exponents that are far out of range don't count any further.
    const char* take_exponent(const char* text) {
        const bool is_negative = *text == '-';
        if (*text == '-' || *text == '+') ++text;
        if (!is_digit(*text)) return nullptr;
        int value = 0;
        for (; is_digit(*text); ++text) {
            if (value < 10000) value = 10 * value + (*text - '0');
        }
        exponent += is_negative ? -value : value;
        return text;
    }

    // Whether digits and power of ten are exact as doubles, so that one operation on the two is
    // rounded once.
    bool is_exact() const {
        return nbr_digits <= 19 && digits <= std::uint64_t{1} << 53 && exponent >= -22 &&
               exponent <= 22;
    }
    double exact_value() const {
        static constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
        const double magnitude = static_cast<double>(digits);
        const double value = negative ? -magnitude : magnitude;
        return exponent < 0 ? value / powers[-exponent] : value * powers[exponent];
    }
};

const char* scan_decimal(const char* text, double& value) {
    const char* const end = scan_number(skip_spaces(text), value);
    return end && (*end == '\0' || is_space(*end)) ? end : nullptr;
}

// The value of `strtod` in the C locale.
double real_of_library(const char* text) {
    const c_locale_scope point_is_decimal;
    return std::strtod(text, nullptr);
}

// The bytes of this machine's memory, as far as it tells.
std::uint64_t physical_memory() {
    const long nbr_pages = sysconf(_SC_PHYS_PAGES);
    const long page_size = sysconf(_SC_PAGESIZE);
    if (nbr_pages <= 0 || page_size <= 0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(nbr_pages) * static_cast<std::uint64_t>(page_size);
}

} // namespace

int scan_text(const char* text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return result;
}

c_locale_scope::c_locale_scope()
    : c_locale_(newlocale(LC_ALL_MASK, "C", nullptr)), callers_(uselocale(c_locale_)) {}

c_locale_scope::~c_locale_scope() {
    uselocale(callers_);
    if (c_locale_) freelocale(c_locale_);
}

bool read_text_line(char* buffer, std::FILE* file) {
    return std::fgets(buffer, line_buffer_size, file) != nullptr;
}

void to_lower_line(char* buffer) {
    for (; *buffer != '\0'; ++buffer) *buffer = to_lower(*buffer);
}

const char* scan_number(const char* text, double& value) {
    decimal number;
    number.negative = *text == '-';
    if (*text == '+') ++text;
    const char* const begin = text;
    if (number.negative) ++text;
    text = number.take_digits(text);
    if (*text == '.') text = number.take_fraction(text + 1);
    if (number.nbr_digits == 0) return nullptr;
    if (*text == 'e' || *text == 'E') {
        text = number.take_exponent(text + 1);
        if (!text) return nullptr;
    }
    if (number.is_exact()) {
        value = number.exact_value();
        return text;
    }
    const auto [end, error] = std::from_chars(begin, text, value);
    if (error == std::errc()) return text;
    // Out of range, which is either side.
    value = real_of_library(begin);
    return std::isfinite(value) ? text : nullptr;
}

const char* scan_decimals(const char* text, double* values, int n) {
    for (int i = 0; text && i < n; ++i) text = scan_decimal(text, values[i]);
    return text;
}

const char* scan_real(const char* text, double& value) {
    text = skip_spaces(text);
    const char* const stop = scan_number(text, value);
    if (stop && to_lower(*stop) != 'x') return stop;
    // Hexadecimal, infinite or none, or no number.
    const c_locale_scope point_is_decimal;
    int size = 0;
    return scan_text(text, "%lf%n", &value, &size) == 1 ? text + size : nullptr;
}

const char* scan_integer(const char* text, const char* end, unsigned int& value) {
    while (text != end && is_space(*text)) ++text;
    const bool negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+')) ++text;
    if (text == end || !is_digit(*text)) return nullptr;
    constexpr std::uint64_t no_overflow = 100'000'000'000'000'000;
    const std::uint64_t limit = std::numeric_limits<std::int64_t>::max() + std::uint64_t{negative};
    std::uint64_t magnitude = 0;
    for (; text != end && is_digit(*text); ++text) {
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        const bool fits = magnitude < no_overflow || magnitude <= (limit - digit) / 10;
        magnitude = fits ? 10 * magnitude + digit : limit;
    }
    value = static_cast<unsigned int>(negative ? 0 - magnitude : magnitude);
    return text;
}

unsigned int to_integer(std::string_view text) {
    unsigned int value = 0;
    return scan_integer(text.data(), text.data() + text.size(), value) ? value : 0;
}

double to_real(const char* text) {
    text = skip_spaces(text);
    if (*text == '\0') return 0.0; // as blank fields often are
    double value = 0.0;
    const char* const stop = scan_number(text, value);
    return stop && to_lower(*stop) != 'x' ? value : real_of_library(text);
}

bool place_by_id(dense2D<double>& pos, unsigned int id) {
    const std::uint64_t k = std::uint64_t{id} - 1;
    const std::size_t ld = pos.empty() ? 3 : pos.ld();
    if (k >= pos.capacity() / ld) {
        // One absurd number must not take all memory: systems hand out more than they have.
        static const std::uint64_t memory = physical_memory();
        const std::uint64_t nbr_columns = std::bit_ceil(k + 1);
        if (nbr_columns > memory / (ld * sizeof(double))) return false;
        if (!pos.reserve(3, nbr_columns, 1)) return false;
    }
    return k < pos.cols() || pos.resize(3, id, 0.0);
}

} // namespace kv7::tessmaker
