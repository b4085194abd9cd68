#include "formats/deck_layout.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "formats/characters.h"

namespace kv7::tessmaker {

namespace {

constexpr std::size_t first_place(std::uint64_t places) {
    return static_cast<std::size_t>(std::countr_zero(places)) / 8;
}

// Letters from a to z in upper case.
constexpr std::uint64_t upper_case(std::uint64_t word) {
    constexpr std::uint64_t high_bits = word_of('\x80');
    const std::uint64_t low = word & ~high_bits;
    const std::uint64_t from_a = low + word_of(static_cast<char>(0x80 - 'a'));
    const std::uint64_t beyond_z = low + word_of(static_cast<char>(0x7F - 'z'));
    const std::uint64_t are_lower = (from_a ^ beyond_z) & ~word & high_bits;
    return word ^ are_lower >> 2;
}

// The word without its first `n` characters.
constexpr std::uint64_t without_first(std::uint64_t word, std::size_t n) {
    return n >= word_size ? blank_word : first_characters(word >> 8 * n, word_size - n);
}

// Whether a field behind the last one for data is a mark.
bool is_mark(std::string_view trimmed) {
    if (trimmed.empty()) return false;
    const char c = trimmed.front();
    return !(is_digit(c) || c == '-' || c == '.');
}

// Where the comma stands that ends a first field of more than eight characters, or one with blanks
// behind it. Beyond the word if there is none.
std::size_t late_comma(std::uint64_t head, std::uint64_t word) {
    const bool may_go_on = places_of(' ', head) == 0;
    const std::size_t comma = first_place(places_of(',', word));
    const std::size_t blanks = nbr_leading_blanks(word);
    if (blanks == comma) return comma;
    const bool is_one_word = first_place(places_of(' ', word)) > comma;
    return may_go_on && is_one_word ? comma : word_size;
}

void find_comma(std::string_view text, std::uint64_t& word, deck_head& head) {
    const std::uint64_t commas = places_of(',', word);
    if (commas != 0) {
        head.is_free = true;
        head.size = first_place(commas);
        word = first_characters(word, head.size);
    } else if (text.size() > word_size) {
        const std::size_t comma = late_comma(word, field_word(text.substr(word_size)));
        head.is_free = comma < word_size;
        if (head.is_free) head.size = word_size + comma;
    }
}

} // namespace

deck_head head_of(std::string_view text) {
    deck_head head;
    std::uint64_t word = field_word(text);
    find_comma(text, word, head);
    word = without_first(upper_case(word), nbr_leading_blanks(word));
    head.whole_word = word;
    const char first = static_cast<char>(word & 0xFF);
    if (first == ' ') {
        head.kind = deck_head::continuation;
    } else if (first == '+' || first == '*') {
        head.kind = deck_head::continuation;
        head.is_large = first == '*';
        head.word = without_first(word, 1);
        head.word = without_first(head.word, nbr_leading_blanks(head.word));
    } else {
        const std::uint64_t stars = places_of('*', word);
        head.is_large = stars != 0;
        head.word = stars == 0 ? word : first_characters(word, first_place(stars));
    }
    return head;
}

void deck_heads::known_head::find_anew(std::string_view text, std::uint64_t new_word) {
    head = head_of(text);
    word = new_word;
    if (!head.is_free) {
        mask = ~std::uint64_t{0};
    } else if (head.size < word_size) {
        mask = ~std::uint64_t{0} >> 8 * (word_size - 1 - head.size);
    } else {
        mask = 0;
    }
}

void deck_card_builder::begin(std::uint64_t name, unsigned int file) {
    card_.name_ = name;
    card_.file_ = file;
    card_.is_cut_ = false;
    card_.nbr_fields_ = 0;
    card_.nbr_lines_ = 0;
    card_.text_ = text_;
    size_ = name_width;
    mark_ = blank_word;
}

void deck_card_builder::add(std::string_view text, const deck_head& head, std::uint64_t number,
                            bool is_cut) {
    card_.is_cut_ = card_.is_cut_ || is_cut;
    const std::size_t old_size = size_;
    const bool is_kept = card_.nbr_fields_ < deck_card::most_fields;
    if (is_kept) {
        const std::size_t begin = head.is_free ? size_ : size_ - name_width;
        card_.lines_[card_.nbr_lines_++] = {number, card_.nbr_fields_, begin};
    }
    if (head.is_free) {
        add_free(text, head);
    } else if (head.is_large) {
        add_fixed<2 * word_size>(text);
    } else {
        add_fixed<word_size>(text);
    }
    if (!is_kept) size_ = old_size;
}

// Entries of fields that are not kept are scratch.
std::size_t deck_card_builder::first_free_entry() const {
    return std::min(card_.nbr_fields_, deck_card::most_fields);
}

void deck_card_builder::set_mark(std::string_view text) {
    const std::uint64_t word = field_word(text);
    mark_ = without_first(upper_case(word), nbr_leading_blanks(word));
}

template <std::size_t Width> void deck_card_builder::add_fixed(std::string_view text) {
    char* const data = text_ + size_;
    std::memcpy(data, text.data() + name_width, data_width);
    constexpr std::size_t last = name_width + data_width;
    mark_ = blank_word;
    if (text.size() < last) {
        const std::size_t size = text.size() - std::min(text.size(), name_width);
        std::memset(data + size, ' ', data_width - size);
    } else if (text.size() > last) {
        set_mark(text.substr(last));
    }
    const std::size_t entry = first_free_entry();
    constexpr std::size_t n = data_width / Width;
    for (std::size_t k = 0; k < n; ++k) {
        card_.fields_[entry + k] = {static_cast<std::uint16_t>(size_ + k * Width), Width};
        card_.digits_[entry + k] = 0;
    }
    card_.nbr_fields_ += n;
    size_ += data_width;
}

// A line may have more fields than its layout has room for. The one behind them is the mark, unless
// it is a number, or blank: then the line simply goes on. Blank fields at the end are no fields.
void deck_card_builder::add_free(std::string_view text, const deck_head& head) {
    while (text.size() > head.size + 1 && (text.back() == ',' || text.back() == ' '))
        text.remove_suffix(1);
    std::memcpy(text_ + size_, text.data(), text.size());
    const std::size_t end = size_ + text.size();
    store_word(blank_word ^ (' ' ^ ','), text_ + end); // ends the last field
    const std::size_t entry = first_free_entry();
    const std::size_t room = head.is_large ? 4 : 8;
    std::size_t n = cut_at_commas(size_ + head.size + 1, end);
    mark_ = blank_word;
    if (n > room && is_mark(trimmed_entry(entry + room))) {
        set_mark(trimmed_entry(entry + room));
        n = room;
    }
    const std::size_t nbr_fields = n <= room ? room : (n + room - 1) / room * room;
    for (; n < nbr_fields; ++n) add_entry(entry + n, end, end, 0);
    card_.nbr_fields_ += nbr_fields;
    size_ = end + word_size;
}

// Of a field for which there is no entry nothing is kept.
void deck_card_builder::add_entry(std::size_t entry, std::size_t begin, std::size_t end,
                                  std::uint32_t digits) {
    if (entry >= deck_card::nbr_entries) return;
    card_.fields_[entry] = {static_cast<std::uint16_t>(begin),
                            static_cast<std::uint16_t>(end - begin)};
    card_.digits_[entry] = digits;
}

// Makes an entry of each field of a part of the text, behind which a comma stands, and returns how
// many they are.
std::size_t deck_card_builder::cut_at_commas(std::size_t begin, std::size_t end) {
    const std::size_t entry = first_free_entry();
    std::size_t n = 0;
    for (std::size_t at = begin; at <= end; ++n) {
        const std::uint64_t word = load_word(text_ + at);
        const std::size_t nbr_digits = nbr_leading_digits(word);
        std::size_t comma = at + nbr_digits;
        std::uint32_t digits = 0;
        if (nbr_digits != 0 && text_[comma] == ',') {
            digits = value_of_digits(word, nbr_digits);
        } else {
            std::uint64_t commas = places_of(',', word);
            for (comma = at; commas == 0; commas = places_of(',', load_word(text_ + comma)))
                comma += word_size;
            comma += first_place(commas);
        }
        add_entry(entry + n, at, comma, digits);
        at = comma + 1;
    }
    return n;
}

std::string_view deck_card_builder::trimmed_entry(std::size_t entry) const {
    const range& r = card_.fields_[entry];
    return trim({text_ + r.begin, r.size});
}

} // namespace kv7::tessmaker
