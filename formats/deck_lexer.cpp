#include "formats/deck_lexer.h"

#include <stdio.h> // the functions that POSIX adds to <cstdio>

#include <algorithm>
#include <cstring>
#include <memory>

#include "formats/characters.h"

namespace kv7::tessmaker {

namespace {

constexpr std::size_t tab_width = 8;

std::string_view without_comment(std::string_view text) { return text.substr(0, text.find('$')); }

// Takes a word, given in lower case, off the front of a text, with the blanks before it. False if
// another one stands there, or a longer one.
bool take_word(std::string_view& text, std::string_view word) {
    std::string_view rest = trim_left(text);
    if (!starts_with_word(rest, word)) return false;
    rest.remove_prefix(word.size());
    if (!rest.empty() && to_lower(rest.front()) >= 'a' && to_lower(rest.front()) <= 'z')
        return false;
    text = rest;
    return true;
}

bool begins_bulk(std::string_view line) {
    return take_word(line, "begin") && take_word(line, "bulk");
}

// Whether one of the lines to come is BEGIN BULK. The stream stays where it is; false if it can't
// be put back.
bool has_begin_of_bulk(std::FILE* file) {
    const off_t start = ftello(file);
    if (start < 0 || fseeko(file, start, SEEK_SET) != 0) return false;
    bool found = false;
    bool has_ended = false;
    const auto lines = std::make_unique<deck_lines>(file);
    while (!found && !has_ended && lines->next()) {
        std::string_view line = lines->line();
        found = begins_bulk(line);
        has_ended = take_word(line, "enddata");
    }
    if (std::ferror(file)) return false;
    std::clearerr(file);
    return fseeko(file, start, SEEK_SET) == 0 && found;
}

// Whether a line, whose first field is `head`, begins with a word in lower case, whose name is
// `upper`.
bool is_keyword(const deck_head& head, std::string_view text, std::string_view word,
                std::uint64_t upper) {
    constexpr std::uint64_t first_two = 0xFFFF;
    return ((head.word ^ upper) & first_two) == 0 && take_word(text, word);
}
bool is_include(const deck_head& head, std::string_view text) {
    constexpr std::uint64_t name = deck_name("INCLUDE");
    return is_keyword(head, text, "include", name);
}
bool ends_data(const deck_head& head, std::string_view text) {
    constexpr std::uint64_t name = deck_name("ENDDATA");
    return is_keyword(head, text, "enddata", name);
}

bool is_blank(std::string_view text) { return trim(text).empty(); }

// A mark without its first character, which may be anything, and the blanks behind that.
std::uint64_t name_of_mark(std::uint64_t mark) {
    const std::uint64_t rest = first_characters(mark >> 8, word_size - 1);
    const std::size_t nbr_blanks = nbr_leading_blanks(rest);
    return nbr_blanks == word_size
               ? rest
               : first_characters(rest >> 8 * nbr_blanks, word_size - nbr_blanks);
}

} // namespace

deck_lexer::deck_lexer(std::FILE* file, std::string_view path, deck_opener open)
    : files_(file, path, open) {
    if (has_begin_of_bulk(file)) skip_to_bulk();
}

bool deck_lexer::next() {
    if (!has_line_ && !read_line()) return false;
    const bool is_stray = head_->kind == deck_head::continuation;
    builder_.begin(is_stray ? blank_word : head_->word, files_.file());
    do {
        builder_.add(text_, *head_, files_.lines().number(), files_.lines().is_cut());
        has_line_ = read_line();
    } while (has_line_ && continues_card());
    return true;
}

void deck_lexer::skip_to_bulk() {
    while (read_any_line()) {
        if (begins_bulk(text_)) return;
        prepare();
        if (is_include(*head_, text_) && end(include())) return;
    }
}

// Reads the next line that holds something of a card.
bool deck_lexer::read_line() {
    follows_limit_ = false;
    while (read_any_line()) {
        if (text_.empty() || text_.front() == '$') continue;
        prepare();
        if (head_->whole_word == blank_word && is_blank(text_)) continue;
        if (!take_keyword()) return true;
    }
    return false;
}

// Reads the next line of the deck as it stands.
bool deck_lexer::read_any_line() {
    while (!has_ended_) {
        if (files_.next_in_file()) {
            text_ = files_.lines().line();
            return true;
        }
        follows_limit_ = true;
        if (files_.has_failed()) {
            end(deck_failure::not_read);
        } else if (!files_.leave()) {
            has_ended_ = true;
        }
    }
    return false;
}

// Does what a line asks for that is no card; false if it is one.
bool deck_lexer::take_keyword() {
    if (head_->kind != deck_head::card) return false;
    if (ends_data(*head_, text_)) {
        has_ended_ = true;
        return true;
    }
    if (!is_include(*head_, text_)) return false;
    follows_limit_ = true;
    end(include());
    return true;
}

// Takes comment and tabs off the line, and looks at its first field.
void deck_lexer::prepare() {
    if (files_.lines().may_hold_dollar()) text_ = without_comment(text_);
    if (files_.lines().may_hold_tab() && text_.find('\t') != std::string_view::npos) {
        text_ = without_tabs(text_);
    }
    head_ = &heads_.find(text_);
}

std::string_view deck_lexer::without_tabs(std::string_view text) {
    char* const end = std::replace_copy(text.begin(), text.end(), expanded_, '\t', ' ');
    std::fill_n(end, word_size, ' ');
    if (head_of({expanded_, text.size()}).is_free) return {expanded_, text.size()};
    std::size_t size = 0;
    for (const char c : text) {
        const std::size_t n = c == '\t' ? tab_width - size % tab_width : 1;
        if (size + n > deck_lines::most_length) break;
        std::fill_n(expanded_ + size, n, c == '\t' ? ' ' : c);
        size += n;
    }
    std::fill_n(expanded_ + size, word_size, ' ');
    return {expanded_, size};
}

bool deck_lexer::continues_card() const {
    if (follows_limit_) return false;
    const std::uint64_t mark = builder_.mark();
    if (head_->kind == deck_head::card) return mark != blank_word && mark == head_->whole_word;
    if (head_->word == blank_word || mark == blank_word || mark == head_->word) return true;
    const std::uint64_t name = name_of_mark(mark);
    return name == blank_word || name == head_->word;
}

// Opens the file that the current line names. The fault holds its path and the line.
deck_failure deck_lexer::include() {
    fault_.position = {files_.file(), files_.lines().number(), 1};
    fault_.path.clear();
    const deck_failure result = read_path(fault_.path);
    return result == deck_failure::none ? files_.include(fault_.path, fault_.position) : result;
}

deck_failure deck_lexer::read_path(std::string& path) {
    std::string_view rest = files_.lines().line();
    take_word(rest, "include");
    rest = trim(rest);
    if (rest.empty() || (rest.front() != '\'' && rest.front() != '"')) {
        path = trim(without_comment(rest));
        return path.empty() ? deck_failure::no_file_name : deck_failure::none;
    }
    const char quote = rest.front();
    rest.remove_prefix(1);
    for (;;) {
        const std::size_t size = rest.find(quote);
        path += rest.substr(0, size);
        if (size != std::string_view::npos) {
            look_behind_path(rest.substr(size + 1));
            return deck_failure::none;
        }
        const bool is_endless = path.size() > deck_files::longest_path || files_.lines().is_cut();
        if (is_endless || !files_.next_in_file()) return deck_failure::no_file_name;
        rest = trim(files_.lines().line());
    }
}

// Of a line that was cut, nobody knows what follows blanks.
void deck_lexer::look_behind_path(std::string_view rest) {
    const std::string_view text = without_comment(rest);
    const bool may_go_on = files_.lines().is_cut() && text.size() == rest.size();
    if (trim(text).empty() && !may_go_on) return;
    texts_behind_paths_.push_back({files_.file(), files_.lines().number(), 1});
}

// Ends the reading if it has failed, and tells whether it has.
bool deck_lexer::end(deck_failure kind) {
    if (kind == deck_failure::none) return false;
    if (kind == deck_failure::not_read) {
        fault_.position = {files_.file(), files_.lines().number(), 1};
        fault_.path.clear();
    }
    fault_.kind = kind;
    has_ended_ = true;
    return true;
}

} // namespace kv7::tessmaker
