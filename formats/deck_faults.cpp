#include "formats/deck_faults.h"

#include <cstddef>
#include <string_view>

#include "formats/characters.h"
#include "formats/deck_numbers.h"
#include "formats/words.h"

namespace kv7::tessmaker {

namespace {

// A path from a deck may hold any bytes.
std::string without_controls(std::string text) {
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7F) c = '?';
    }
    return text;
}

constexpr std::string_view other_values = "other values were given before";

// "an integer is expected".
std::string_view expected_text(deck_value value) {
    switch (value) {
    case deck_value::number:
    case deck_value::blank: return "a number is expected in a blank field";
    case deck_value::not_an_integer: return "an integer is expected";
    case deck_value::not_a_real: return "a real number is expected";
    case deck_value::not_an_id: return "a number from 1 to 4294967294 is expected";
    case deck_value::too_large: return "a number within the range of its type is expected";
    case deck_value::too_long: return "a number of at most 100 characters is expected";
    }
    return "";
}

std::string system_text_of(unsigned int system) {
    return "coordinate system " + std::to_string(system);
}

std::string circle_text(const deck_system_fault& fault) {
    constexpr std::size_t most_shown = 8;
    if (fault.members.size() == 1) return system_text_of(fault.system) + " refers to itself";
    std::string text = "coordinate systems refer to each other:";
    for (std::size_t k = 0; k < fault.members.size() && k < most_shown; ++k) {
        text += (k == 0 ? " " : ", ") + std::to_string(fault.members[k]);
    }
    if (fault.members.size() > most_shown) text += " ...";
    return text;
}

} // namespace

std::string card_name_text(std::uint64_t name) {
    char text[word_size];
    store_word(name, text);
    return std::string(trim_right({text, word_size}));
}

std::string in_words(const deck_fault& fault) {
    const std::string path = without_controls(fault.path);
    switch (fault.kind) {
    case deck_failure::none:
    case deck_failure::not_read: return "the system failed to read the file";
    case deck_failure::no_file_name: return "INCLUDE: the name of a file is expected";
    case deck_failure::file_not_found: return "INCLUDE: the file can't be opened: " + path;
    case deck_failure::not_a_file: return "INCLUDE: a regular file is expected: " + path;
    case deck_failure::included_in_itself: return "INCLUDE: the file includes itself: " + path;
    case deck_failure::too_deep: return "INCLUDE: files include each other to a depth above 16";
    case deck_failure::too_many_files: return "INCLUDE: more than 10000 files are included";
    }
    return "";
}

std::string in_words(const deck_system_fault& fault) {
    const std::string system = system_text_of(fault.system);
    switch (fault.kind) {
    case deck_system_fault::none: break;
    case deck_system_fault::bad_field: return std::string(expected_text(fault.value));
    case deck_system_fault::given_twice:
        return fault.system == 0 ? std::string(other_values)
                                 : system + " was given before with other values";
    case deck_system_fault::unknown_system:
        return system_text_of(fault.other) +
               (fault.system == 0 ? "" : ", in which " + system + " is given,") +
               " is not in the deck";
    case deck_system_fault::unknown_node:
        return "node " + std::to_string(fault.other) + " of " + system + " is not in the deck";
    case deck_system_fault::circle: return circle_text(fault);
    case deck_system_fault::no_axes: return "the points of " + system + " lie on one line";
    }
    return "";
}

std::string in_words(const deck_element_fault& fault) {
    return std::string(fault.is_given_twice ? other_values : expected_text(fault.value));
}

} // namespace kv7::tessmaker
