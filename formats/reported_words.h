// Words of a text file that are expected to be something, and the error if they are not.
#ifndef TESSMAKER_FORMATS_REPORTED_WORDS_H
#define TESSMAKER_FORMATS_REPORTED_WORDS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "formats/file_report.h"
#include "formats/mesh_readers.h"
#include "formats/text_words.h"
#include "formats/word_values.h"

namespace kv7::tessmaker {

// Reads a stream word by word. A call that expects what isn't there tells the report, and returns
// false; `code` is then that of the failure.
class reported_words {
public:
    // Lines have comments from a word that begins with `comment` on; a null for none. It is known
    // afterwards whether one of them was `known_comment`.
    reported_words(std::FILE* file, report_builder& report, char comment = '\0',
                   std::string_view known_comment = {})
        : words_(file), report_(report), comment_(comment), known_comment_(known_comment) {}

    // `already_read` comes ahead of the stream, as with `text_words`; there are no comments.
    reported_words(std::FILE* file, std::string_view already_read, report_builder& report)
        : words_(file, already_read), report_(report) {}

    int code() const { return code_; }
    file_place place() const { return {words_.line()}; }
    bool has_met_known_comment() const { return has_met_known_comment_; }
    report_builder& report() { return report_; }

    // The next word, which lives until the next call; empty at the end of the file.
    std::string_view next() {
        if (is_put_back_) {
            is_put_back_ = false;
            return last_;
        }
        for (;;) {
            last_ = words_.next();
            if (comment_ == '\0' || last_.empty() || last_[0] != comment_) return last_;
            pass_comment();
        }
    }
    // The next call of `next` returns the last word again.
    void put_back() { is_put_back_ = true; }

    // Of the text behind the last word, which was not put back.
    std::string_view rest_of_line() { return words_.rest_of_line(); }
    void skip_line() { words_.skip_line(); }
    bool to_next_line() { return words_.to_next_line(); }

    // Of the text behind the last word as well, where there are no comments.
    std::string_view text_ahead() const { return words_.text_ahead(); }
    void pass_over(std::size_t n, std::uint64_t nbr_lines) { words_.pass_over(n, nbr_lines); }

    // Tells that something else than the last word was expected.
    bool expect(std::string_view what) {
        std::string text(what);
        text += " is expected";
        if (last_.empty()) text += ", and the file ends";
        return fail(text);
    }
    // Tells what is wrong with the last word.
    bool fail(std::string_view text) {
        code_ = report_.fail(file_malformed, place(), words_.column(), text);
        return false;
    }
    bool fail_for_memory() {
        code_ = out_of_memory;
        return false;
    }

    // For a failure that has been told.
    bool fail_with(int code) {
        code_ = code;
        return false;
    }

    bool next_is(std::string_view lower_word, std::string_view what) {
        return is_word(next(), lower_word) || expect(what);
    }
    bool next_count(std::uint64_t& value, std::string_view what = "a count") {
        return word_to_integer(next(), value) || expect(what);
    }
    bool next_integer(std::int64_t& value) {
        return word_to_integer(next(), value) || expect("an integer");
    }
    bool next_number(double& value) { return word_to_number(next(), value) || expect("a number"); }
    bool next_value(double& value) { return word_to_value(next(), value) || expect("a number"); }

    // Counts the words that follow, if there are any, as not read.
    void tell_rest(const remark_form& not_read) {
        if (next().empty()) return;
        const file_place at = place();
        std::uint64_t nbr_words = 1;
        while (!next().empty()) ++nbr_words;
        report_.add(not_read, "words", at, nbr_words);
    }

private:
    void pass_comment() {
        const bool stands_alone = last_.size() == 1;
        const std::string_view text = words_.rest_of_line();
        if (stands_alone && !text.empty() && text == known_comment_) has_met_known_comment_ = true;
        words_.skip_line();
    }

    text_words words_;
    report_builder& report_;
    char comment_ = '\0';
    std::string_view known_comment_;
    std::string_view last_;
    bool is_put_back_ = false;
    bool has_met_known_comment_ = false;
    int code_ = 0;
};

} // namespace kv7::tessmaker

#endif
