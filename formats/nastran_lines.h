// The lines of a NASTRAN deck, with what tells one kind from another.
#ifndef TESSMAKER_FORMATS_NASTRAN_LINES_H
#define TESSMAKER_FORMATS_NASTRAN_LINES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "formats/nastran_fields.h"
#include "formats/nastran_tables.h"
#include "formats/text_lines.h"
#include "formats/words.h"

namespace kv7::tessmaker {

// Reads the deck line by line and knows about the current line.
class deck_reader {
public:
    explicit deck_reader(std::FILE* file) : lines_(file) {}

    // False at the end of the file; the current line is then empty.
    bool next() {
        const bool found = lines_.next();
        text_ = lines_.line();
        comma_ = static_cast<const char*>(std::memchr(text_.data(), ',', text_.size()));
        return found;
    }
    // The text behind the line, as `text_lines` gives it.
    std::string_view text_ahead() { return lines_.text_ahead(); }
    void pass_over(std::size_t size) {
        lines_.pass_over(size);
        text_ = lines_.line();
        comma_ = nullptr;
    }
    bool next_begins_blank() { return lines_.next_begins_with(' '); }
    bool has_met_end() const { return lines_.has_met_end(); }

    // With the line ending.
    std::string_view text() const { return text_; }
    bool has_comma() const { return comma_ != nullptr; }
    // Up to the first comma, which must exist.
    std::string_view first_token() const {
        return {text_.data(), static_cast<std::size_t>(comma_ - text_.data())};
    }
    bool has_star() const { return text_.find('*') != std::string_view::npos; }
    // Shorter, or empty, where the line ends earlier.
    std::string_view columns(std::size_t begin, std::size_t width) const {
        return begin < text_.size() ? text_.substr(begin, width) : std::string_view();
    }

private:
    text_lines lines_;
    std::string_view text_;
    const char* comma_ = nullptr; // the first of the line
};

// Whether the line may hold ENDDATA or BEGIN BULK. The T of the one is at least the sixth character
// of the line, the U of the other the eighth. In both letters the bits 0x50 are set, as in few
// characters of a card.
inline bool may_hold_mark(const deck_reader& deck) {
    const char* text = deck.text().data() + 5;
    const char* const end = deck.text().data() + deck.text().size();
    std::uint64_t bits = 0;
    for (; end - text >= static_cast<std::ptrdiff_t>(word_size); text += word_size) {
        const std::uint64_t word = load_word(text);
        bits |= word & word << 2;
    }
    if (text < end) {
        const std::uint64_t word = field_word({text, static_cast<std::size_t>(end - text)});
        bits |= word & word << 2;
    }
    return (bits & word_of('\x40')) != 0;
}
inline bool is_comment(const deck_reader& deck) { return deck.text().starts_with('$'); }
inline bool begins_bulk(const deck_reader& deck) {
    return deck.text().find("BEGIN BULK") != std::string_view::npos;
}
inline bool ends_data(const deck_reader& deck) {
    return deck.text().find("ENDDATA") != std::string_view::npos;
}
inline bool is_node(const deck_reader& deck) { return deck.text().starts_with("GRID"); }
inline bool is_large_node(const deck_reader& deck) { return deck.text().starts_with("GRID*"); }

// Data field `i`, from 0.
inline std::string_view field(const deck_reader& deck, const nastran_layout& layout,
                              std::size_t i) {
    return deck.columns(nastran_keyword_width + i * layout.field_width, layout.field_width);
}
// Whether the last field announces a continuation.
inline bool is_marked(const deck_reader& deck, const nastran_layout& layout) {
    return deck.columns(nastran_mark_column, 1) == std::string_view(&layout.mark, 1);
}

} // namespace kv7::tessmaker

#endif
