// Reads a deck card by card, whatever the layout of its cards.
#ifndef TESSMAKER_FORMATS_DECK_LEXER_H
#define TESSMAKER_FORMATS_DECK_LEXER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "formats/deck_card.h"
#include "formats/deck_files.h"
#include "formats/deck_layout.h"

namespace kv7::tessmaker {

// What ended the reading of a deck early, and the line that it is about.
struct deck_fault {
    deck_failure kind = deck_failure::none;
    deck_position position;
    std::string path; // of the file that an INCLUDE names
};

// What is read:
//
//   sections  From the line BEGIN BULK to the line ENDDATA, or to the end. Without the former the
//             deck is bulk data from its first line on. A second BEGIN comes as a card.
//             A stream that can't be put back, as a pipe, can't be searched for it: there, what
//             precedes BEGIN BULK comes as cards, and so does that line
//   comments  From a `$` to the end of the line. Blank lines are skipped
//   tabs      In free fields a blank; else they lead to the next column that follows a multiple of
//   8 fields    Small: a name of 8 columns, 8 fields of 8, and a mark in columns 73 to 80. Large,
//   by a
//             star behind the name or in the place of a plus: 4 fields of 16. Free, by a comma
//             behind the first field (deck_layout.h). A card may mix them
//   names     Letters of any case
//   INCLUDE   The path, perhaps in quotes, and then perhaps over several lines, whose blanks at
//             both ends are no part of it. See deck_files.h. Text behind the second quote is not
//             read
//
// A line continues the card before it if its first field is blank or begins with `+` or `*`, or is
// the mark with which the line before ended. If that line announced one name (behind a plus, a star
// or any other character) and this one has another, they don't belong together: the format lets
// continuations stand anywhere, but this reader takes those alone that follow their card. Others
// come as cards without a name, so that no data is lost in silence or read as another card's.
// Comments may stand between the lines of a card; the limits of a file end it.
//
// Memory that fails is told by std::bad_alloc. What was read stays bounded: a line is cut behind
// `deck_lines::most_length` characters, a card keeps `deck_card::most_fields` fields.
class deck_lexer {
public:
    // The stream stays the caller's, and is to be left alone meanwhile. The path may be empty.
    explicit deck_lexer(std::FILE* file, std::string_view path = {},
                        deck_opener open = open_deck_file);

    // Reads the next card. False at the end, or if the deck can't be read further.
    bool next();
    // Stays as it is until the next call.
    const deck_card& card() const { return builder_.card(); }

    // Lines of the same file behind the card, as they stand there, and the number of the first; for
    // those who know short cuts. The last one may be a part of a line, and the text may be empty.
    std::string_view lines_ahead() const {
        return has_line_ && !follows_limit_ ? files_.lines().ahead() : std::string_view();
    }
    // Whether these lines hold no tab and no comment.
    bool are_plain_ahead() const {
        return !files_.lines().may_hold_tab() && !files_.lines().may_hold_dollar();
    }
    std::uint64_t line_ahead() const { return files_.lines().number(); }
    unsigned int file_ahead() const { return files_.file(); }
    // The stream of that file, and how many bytes of it were read and belong to no line yet.
    std::FILE* stream_ahead() const { return files_.stream(); }
    std::size_t nbr_bytes_ahead() const { return files_.lines().nbr_bytes_ahead(); }
    // Leaves out the first of these lines, one at least. They must be whole cards.
    void pass_over(std::size_t nbr_bytes, std::size_t nbr_lines) {
        files_.pass_over(nbr_bytes, nbr_lines);
        has_line_ = false;
    }

    const deck_fault& fault() const { return fault_; }
    // The path of a file, by its number in a position.
    const std::string& path(unsigned int file) const { return files_.path(file); }
    // The INCLUDE that brought a file, which is not the first. Files are numbered as they come.
    const deck_position& included_at(unsigned int file) const { return files_.included_at(file); }
    // The lines, so far, on which text that is no comment stands behind the path of an INCLUDE.
    const std::vector<deck_position>& texts_behind_paths() const { return texts_behind_paths_; }

private:
    void skip_to_bulk();
    bool read_line();
    bool read_any_line();
    bool take_keyword();
    void prepare();
    std::string_view without_tabs(std::string_view text);
    bool continues_card() const;
    deck_failure include();
    deck_failure read_path(std::string& path);
    void look_behind_path(std::string_view rest);
    bool end(deck_failure kind);

    deck_files files_;
    deck_fault fault_;
    bool has_line_ = false; // one that was read and belongs to no card yet
    bool has_ended_ = false;
    bool follows_limit_ = false; // whether the line is the first behind a limit of a file
    std::string_view text_;
    deck_heads heads_;
    const deck_head* head_ = nullptr; // of the line
    deck_card_builder builder_;
    std::vector<deck_position> texts_behind_paths_;
    char expanded_[deck_lines::most_length + deck_lines::nbr_behind];
};

} // namespace kv7::tessmaker

#endif
