#include "formats/medit_words.h"

#include <algorithm>

namespace kv7::tessmaker {

namespace {

constexpr remark_form section_dropped{remark_kind::lost, "left out", "left out",
                                      "no part of a mesh"};
constexpr remark_form end_missing{remark_kind::note, "missing", "missing",
                                  "the file may have been cut off"};
constexpr remark_form words_behind{remark_kind::note, "follows End and is not read",
                                   "follow End and are not read", ""};

} // namespace

bool medit_words::read_version() {
    const std::string_view name = "MeshVersionFormatted";
    if (!next_is("meshversionformatted", name)) return false;
    const unsigned int keyword = report().keyword(name);
    report().count_seen(keyword);
    std::uint64_t version = 0;
    if (!word_to_integer(next(), version) || version < 1 || version > 4) {
        return expect("a version from 1 to 4");
    }
    report().count_read(keyword);
    return true;
}

bool medit_words::read_dimension(unsigned int& dim) {
    const unsigned int keyword = report().keyword("Dimension");
    report().count_seen(keyword);
    if (!word_to_integer(next(), dim) || dim < 1 || dim > 3) {
        return expect("a dimension from 1 to 3");
    }
    report().count_read(keyword);
    return true;
}

std::string_view medit_words::next_keyword() {
    const std::string_view word = next();
    if (word.empty()) {
        report().add(end_missing, "End", {});
        return word;
    }
    if (is_word(word, "end")) {
        const unsigned int keyword = report().keyword("End");
        report().count_seen(keyword);
        report().count_read(keyword);
        tell_rest(words_behind);
        return {};
    }
    const char first = to_lower(word[0]);
    if (first >= 'a' && first <= 'z') return word;
    expect("a keyword");
    return {};
}

bool medit_words::pass_section(std::string_view name) {
    const unsigned int keyword = report().keyword(name);
    const file_place at = place();
    std::string_view word = next();
    // A section is a count and as many lines, or a value alone. How many numbers a line has is not
    // known, but it has one at least.
    std::uint64_t count = 0;
    const bool has_count = word_to_integer(word, count);
    std::uint64_t nbr_values = 0;
    for (; begins_as_number(word) || (!word.empty() && word[0] == '"'); word = next()) {
        if (word[0] == '"') skip_line(); // a name, perhaps of several words
        ++nbr_values;
    }
    if (code() < 0) return false;
    put_back();
    const bool is_value = !has_count || (nbr_values == 1 && count != 0);
    const std::uint64_t nbr_lines = is_value ? 1 : std::min(count, nbr_values - 1);
    report().count_seen(keyword, nbr_lines);
    if (nbr_lines != 0) report().add(section_dropped, keyword, at, nbr_lines);
    return true;
}

} // namespace kv7::tessmaker
